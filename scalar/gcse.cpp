// gcse: partial redundancy elimination in its bidirectional form. A triple
// that is partially available at a block and anticipated there is made
// fully available by computing it at the ends of the blocks where it is
// missing (INSERT), and its first computation in the block reads the
// temporary instead (DELETE). The computations whose values the deletions
// read store them in the temporary.
#include <functional>
#include <unordered_map>
#include <unordered_set>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/cse_rewrite.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg.h"
#include "scalar/triples.h"

namespace {

struct GCSE_STATE {
  int nw = 0;
  std::vector<BITVEC*> ppin, ppout, insert, del, need_in, need_out;
  BITVEC* insertable = nullptr;
  CSE_REWRITE rw;
  std::unordered_set<const NODE*> erased;  // marks inside a deleted computation
  int explicit_evaluations = 0;

  BITVEC* set() { return mkBITVEC(unique_triple_count, 0); }
  void alloc(std::vector<BITVEC*>& v) {
    v.assign(cfg.bb_count + 1, nullptr);
    for (auto& x : v) x = set();
  }
  void release(std::vector<BITVEC*>& v) {
    for (auto& x : v) erase_bitvec(x);
    v.clear();
  }
  ~GCSE_STATE() {
    for (auto* v : {&ppin, &ppout, &insert, &del, &need_in, &need_out}) release(*v);
    erase_bitvec(insertable);
  }
};
GCSE_STATE* state = nullptr;

uint32_t universe(int w) {
  uint32_t u = ~triple_TRIVIAL->words[w];
  if (w == triple_TRIVIAL->nwords - 1 && (unique_triple_count & 31)) u &= (1u << (unique_triple_count & 31)) - 1;
  return u;
}

NODE* holder(const std::vector<std::pair<int, NODE*>>& list, int id) {
  for (auto& [t, n] : list)
    if (t == id) return n;
  return nullptr;
}

// Step 1 and 2: the placement-possible sets.
void solve_pp(GCSE_STATE& s) {
  int nw = s.nw;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (int w = 0; w < nw; ++w) {
      s.ppout[b->dfn]->words[w] = b->successors ? universe(w) : 0;
      s.ppin[b->dfn]->words[w] = b == cfg.bb_list ? 0 : universe(w);
    }
  for (bool first = true, changed = true; changed; first = false) {
    if (!first) dprintf("\n\tNext iteration of global PPIN/PPOUT loop\n");
    changed = false;
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      int d = b->dfn;
      uint32_t* out = s.ppout[d]->words;
      uint32_t* in = s.ppin[d]->words;
      const uint32_t* avout = triple_AVOUT[d]->words;
      const uint32_t* noins = block_cse[d].noinsert->words;
      const uint32_t* ins_ok = s.insertable->words;
      for (int w = 0; w < nw; ++w) {
        uint32_t o = b->successors ? universe(w) : 0;
        for (EDGE* e = b->successors; e; e = e->next) o &= s.ppin[e->bb->dfn]->words[w];
        // Nothing is computed at the end of a block whose transfer alters
        // it, nor where a computation isn't worth its temporary.
        o &= avout[w] | (~noins[w] & ins_ok[w]);
        if (o != out[w]) {
          out[w] = o;
          changed = true;
        }
      }
      if (b == cfg.bb_list) continue;
      const uint32_t* pav = triple_PAVIN[d]->words;
      const uint32_t* ant = triple_ANTIN[d]->words;
      const uint32_t* antloc = triple_ANTLOC[d]->words;
      const uint32_t* alt = triple_ALTERED[d]->words;
      for (int w = 0; w < nw; ++w) {
        uint32_t i = pav[w] & ant[w] & (antloc[w] | (out[w] & ~alt[w])) & universe(w);
        for (EDGE* e = b->predecessors; e; e = e->next) {
          int p = e->bb->dfn;
          i &= triple_AVOUT[p]->words[w] | s.ppout[p]->words[w];
        }
        if (!b->predecessors) i = 0;
        if (i != in[w]) {
          in[w] = i;
          changed = true;
        }
      }
    }
  }
}

// Step 3.
void insert_and_delete(GCSE_STATE& s) {
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    int d = b->dfn;
    for (int w = 0; w < s.nw; ++w) {
      uint32_t pin = s.ppin[d]->words[w], pout = s.ppout[d]->words[w];
      uint32_t alt = triple_ALTERED[d]->words[w];
      s.insert[d]->words[w] = pout & ~triple_AVOUT[d]->words[w] & ~(pin & ~alt);
      s.del[d]->words[w] = triple_ANTLOC[d]->words[w] & pin;
    }
  }
}

// Where the temporary must hold the triple: at the entry of a block that
// deletes it, and along the way there back to the computations.
void solve_need(GCSE_STATE& s) {
  std::vector<BBLK*> order;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) order.push_back(b);
  for (BBLK* b : order) {
    s.need_in[b->dfn]->bv_clear();
    s.need_out[b->dfn]->bv_clear();
  }
  for (bool changed = true; changed;) {
    changed = false;
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
      int d = (*it)->dfn;
      for (int w = 0; w < s.nw; ++w) {
        uint32_t o = 0;
        for (EDGE* e = (*it)->successors; e; e = e->next) o |= s.need_in[e->bb->dfn]->words[w];
        uint32_t i = s.del[d]->words[w] | (o & ~triple_AVLOC[d]->words[w] & ~s.insert[d]->words[w]);
        if (o != s.need_out[d]->words[w] || i != s.need_in[d]->words[w]) {
          s.need_out[d]->words[w] = o;
          s.need_in[d]->words[w] = i;
          changed = true;
        }
      }
    }
  }
}

// A value that flows through a block must not be altered there, and none
// is needed at the function's entry. A triple that breaks this is left to
// local CSE: the placement is then wrong, and nothing of it is used.
bool drop_inconsistent(GCSE_STATE& s) {
  std::vector<int> bad;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    int d = b->dfn;
    for (int w = 0; w < s.nw; ++w) {
      uint32_t through = s.need_out[d]->words[w] & ~triple_AVLOC[d]->words[w] & ~s.insert[d]->words[w];
      uint32_t wrong = through & triple_ALTERED[d]->words[w];
      if (b == cfg.bb_list) wrong |= s.need_in[d]->words[w] & ~s.del[d]->words[w];
      if (b == cfg.bb_list) wrong |= s.del[d]->words[w];
      for (int bit = 0; bit < 32; ++bit)
        if (wrong & (1u << bit)) bad.push_back(w * 32 + bit);
    }
  }
  for (int t : bad) {
    dprintf("\tgcse: the placement of triple %d is not consistent; it stays local\n", t);
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      s.insert[b->dfn]->bv_del(t);
      s.del[b->dfn]->bv_del(t);
    }
  }
  return !bad.empty();
}

void print_sets(GCSE_STATE& s) {
  if (!print_debug) return;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    int d = b->dfn;
    dprintf("\n\nMore global dataflow data for BB->DFN %d\n", d);
    dprintf("   PPIN:\t%s\n", triple_set_text(s.ppin[d]));
    dprintf("   PPOUT:\t%s\n", triple_set_text(s.ppout[d]));
    dprintf("   INSERT:\t%s\n", triple_set_text(s.insert[d]));
    dprintf("   DELETE:\t%s\n", triple_set_text(s.del[d]));
  }
}

void collect_erased(NODE* t, bool inside, GCSE_STATE& s) {
  for (; t; t = t->right) {
    if (t->op == CSE_DUPE) {
      if (inside) s.erased.insert(t);
      return;
    }
    if (t->op == CSE_ORIG) {
      if (inside) s.erased.insert(t);
      if (s.rw.deleted.count(t)) inside = true;
      collect_erased(t->left, inside, s);
      return;
    }
    collect_erased(t->left, inside, s);
  }
}

void decide_dupes(GCSE_STATE& s) {
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    int d = b->dfn;
    std::function<void(NODE*)> walk = [&](NODE* t) {
      for (; t; t = t->right) {
        if (t->op == CSE_DUPE) {
          if (s.erased.count(t)) return;
          NODE* orig = t->left;
          int id = static_cast<int>(t->value.as_int64());
          if (s.erased.count(orig)) {
            // Its source goes with the computation around it. The value at
            // the block's entry is in the temporary when the first
            // computation was deleted.
            if (!(s.del[d]->bv_test(id) && holder(block_cse[d].first_orig, id) == orig)) s.rw.recompute.insert(t);
          } else if (!s.rw.deleted.count(orig)) {
            s.rw.save.insert(orig);
          }
          return;
        }
        walk(t->left);
      }
    };
    for (LIST* l = b->statements; l; l = l->next) walk(l->tree);
  }
}

void place_insertions(GCSE_STATE& s) {
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    int d = b->dfn;
    for (int t = 0; t < unique_triple_count; ++t) {
      if (!s.insert[d]->bv_test(t)) continue;
      NODE* last = last_stmt(b);
      NODE* asg = mk_ASG(mk_NAME(triple_temp(t), last ? last->scope : nullptr), copy_triple_tree(t));
      insert_stmt_before_stmt_in_bb(asg, nullptr, b, b->last_psn);
    }
  }
}


// A temporary that only a larger computation read loses its reads when
// that computation is deleted too; its write, nested in the statement that
// computes the larger one, is then dead and the plain value stays. (A write
// that is a statement of its own is left to elim_dead_assigns.)
void drop_nested_unread_temps() {
  std::unordered_map<SYMTAB*, int> reads;
  for (int i = 0; i < unique_triple_count; ++i)
    if (unique_triple_temp && unique_triple_temp[i]) reads[unique_triple_temp[i]] = 0;
  if (reads.empty()) return;
  auto temp_of = [&](const NODE* n) -> SYMTAB* {
    if (!n || n->op != NAME) return nullptr;
    auto it = reads.find(n->name_symbol());
    return it == reads.end() ? nullptr : it->first;
  };
  std::function<void(const NODE*)> count = [&](const NODE* n) {
    for (; n; n = n->right) {
      if (SYMTAB* t = temp_of(n)) ++reads[t];
      if (n->op == ASG && temp_of(n->left)) {
        count(n->right);
        return;
      }
      count(n->left);
    }
  };
  std::function<NODE*(NODE*)> strip = [&](NODE* n) -> NODE* {
    if (!n) return n;
    n->left = strip(n->left);
    n->right = strip(n->right);
    if (n->op == ASG && n->right && simp::same_type(n->type, n->right->type)) {
      SYMTAB* t = temp_of(n->left);
      if (t && reads[t] == 0) return simp::take_right(n);
    }
    return n;
  };
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) count(l->tree);
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next)
      if (l->tree) {
        l->tree->left = strip(l->tree->left);
        l->tree->right = strip(l->tree->right);
      }
}

}  // namespace

void finagle_AVLOC() {
  GCSE_STATE* s = state;
  if (!s) return;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    int d = b->dfn;
    for (auto& [id, h] : block_cse[d].last_orig) {
      if (!s->need_out[d]->bv_test(id) || s->insert[d]->bv_test(id)) continue;
      if (s->rw.deleted.count(h)) continue;  // the temporary holds it already
      if (!s->erased.count(h)) {
        s->rw.save.insert(h);
        continue;
      }
      NODE* first = holder(block_cse[d].first_orig, id);
      if (first == h && s->del[d]->bv_test(id)) continue;  // the entry value, unchanged since
      // The computation lies inside one that goes: the value is made
      // explicit at the block's end.
      NODE* last = last_stmt(b);
      NODE* asg = mk_ASG(mk_NAME(triple_temp(id), last ? last->scope : nullptr), copy_triple_tree(id));
      insert_stmt_before_stmt_in_bb(asg, nullptr, b, b->last_psn);
      ++s->explicit_evaluations;
    }
  }
}

void gcse() {
  dprintf("\n\n\t\t\t---------- ENTERING 'gcse' ----------\n");
  if (opt_level < 1 || !cfg.bb_list || pass_disable("gcse")) {
    // annotate_cfg may have marked the trees already; nothing else reads
    // the marks, and the simplifier refuses them.
    if (cfg.bb_list) strip_cse_marks();
    free_triples();
    return;
  }
  if (!triples_exist()) annotate_cfg();
  if (!triples_exist()) return;
  GCSE_STATE s;
  state = &s;
  s.nw = triple_TRIVIAL->nwords;
  for (auto* v : {&s.ppin, &s.ppout, &s.insert, &s.del, &s.need_in, &s.need_out}) s.alloc(*v);
  // Computing at a block's end pays when the evaluation costs more than
  // the temporary on both paths it serves.
  s.insertable = s.set();
  int temp_cost = temp_write_cost() + temp_read_cost();
  for (int t = 0; t < unique_triple_count; ++t)
    if (!triple_TRIVIAL->bv_test(t) && cse_cost(unique_triples[t]) > 2 * temp_cost) s.insertable->bv_add(t);

  solve_pp(s);
  insert_and_delete(s);
  solve_need(s);
  if (drop_inconsistent(s)) solve_need(s);
  print_sets(s);

  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (auto& [id, orig] : block_cse[b->dfn].first_orig)
      if (s.del[b->dfn]->bv_test(id)) s.rw.deleted.insert(orig);
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) collect_erased(l->tree, false, s);
  finagle_AVLOC();
  decide_dupes(s);
  place_insertions(s);
  int inserted = 0;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) inserted += s.insert[b->dfn]->bv_count();
  int removed = rewrite_cse_marks(s.rw);
  cse_expressions_removed += removed;
  dprintf("\tgcse: %d evaluations removed, %d computations inserted, %d made explicit\n", removed, inserted,
          s.explicit_evaluations);
  state = nullptr;
  drop_nested_unread_temps();
  free_triples();
  // Blocks split for insertions that got none are bypassed again.
  simpcfg(false, false);
}
