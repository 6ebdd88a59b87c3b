// Early cross jumping: blocks that end alike are merged (tail merging), and
// blocks that end in like tests share the test.
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"

namespace {

std::vector<BBLK*> live_blocks() {
  std::vector<BBLK*> v;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->statements) v.push_back(b);
  return v;
}

// The block's statements become one BRANCH to `target`.
void replace_by_branch(BBLK* bb, BBLK* target) {
  LIST* last = last_cell(bb);
  LS* scope = last && last->tree ? last->tree->scope : nullptr;
  PSN* psn = last ? last->psn : nullptr;
  erase_tree_list(bb->statements);
  bb->statements = mkelist(mk_BRANCH(target, scope), nullptr, psn);
  recompute_successors(bb);
}

void report_redundant(const BBLK* gone, const BBLK* kept) {
  dprintf("\n\tBB %d is redundant with BB %d\n", gone->dfn, kept->dfn);
}

BBLK* live_block_before(BBLK* bb) {
  if (bb == cfg.bb_list) return nullptr;
  BBLK* p = bb->rdflink;
  while (p && !p->statements && p != cfg.bb_list) p = p->rdflink;
  return p && p->statements ? p : nullptr;
}

}  // namespace

bool cross_jump() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'cross_jump' ----------\n");
  bool changed = false;
  // Returns that do the same: the earlier ones jump to the later one.
  std::vector<BBLK*> v = live_blocks();
  for (size_t i = v.size(); i-- > 0;) {
    BBLK* later = v[i];
    if (later->successors || ok_to_duplicate(later, nullptr)) continue;
    for (size_t j = 0; j < i; ++j) {
      BBLK* earlier = v[j];
      if (earlier->successors || !tree_lists_are_congruent(earlier->statements, later->statements)) continue;
      report_redundant(earlier, later);
      replace_by_branch(earlier, later);
      changed = true;
    }
  }
  // Blocks with one successor that do the same.
  v = live_blocks();
  for (size_t i = v.size(); i-- > 0;) {
    BBLK* b = v[i];
    if (!b->statements || edge_length(b->successors) != 1 || is_lone_BRANCH(b)) continue;
    BBLK* s = b->successors->bb;
    if (s == b) continue;
    BBLK* p = live_block_before(s);
    if (s->dfn < b->dfn && s != cfg.bb_list && p && p != b && p != cfg.bb_list &&
        edge_length(p->successors) == 1 && p->successors->bb == s && !is_lone_BRANCH(p) &&
        tree_lists_are_congruent(p->statements, b->statements)) {
      report_redundant(b, p);
      replace_by_branch(b, p);
      changed = true;
      continue;
    }
    if (b == cfg.bb_list) continue;
    std::vector<BBLK*> same;
    for (EDGE* e = s->predecessors; e; e = e->next) {
      BBLK* q = e->bb;
      if (q != b && q->statements && edge_length(q->successors) == 1 && !is_lone_BRANCH(q) &&
          tree_lists_are_congruent(q->statements, b->statements))
        same.push_back(q);
    }
    for (BBLK* q : same) {
      report_redundant(q, b);
      replace_by_branch(q, b);
      changed = true;
    }
  }
  return changed;
}

namespace {

bool mergeable(BBLK* x, BBLK* y) {
  return x == y || (x && y && x->loop == y->loop && tree_lists_are_congruent(x->statements, y->statements));
}

std::vector<LIST*> cells_of(BBLK* bb) {
  std::vector<LIST*> v;
  for (LIST* l = bb->statements; l; l = l->next) v.push_back(l);
  return v;
}

// B and C end in the same test and go to the same places, or to places
// that do the same: C's common tail is replaced by a jump into B's.
bool merge_pair(BBLK* b, BBLK* c, bool inverted) {
  NODE* bi = last_stmt(b);
  NODE* ci = last_stmt(c);
  BBLK* bt = if_target(bi, true);
  BBLK* bf = if_target(bi, false);
  BBLK* ct = if_target(ci, !inverted);
  BBLK* cf = if_target(ci, inverted);
  bool shared_true = bt == ct, shared_false = bf == cf;
  if (!shared_true && !shared_false) return false;
  if (!(shared_true ? mergeable(bf, cf) : mergeable(bt, ct))) return false;
  // The congruent statements before the two tests.
  std::vector<LIST*> lb = cells_of(b), lc = cells_of(c);
  size_t k = 0;
  while (k + 1 < lb.size() && k + 1 < lc.size()) {
    NODE* x = lb[lb.size() - 2 - k]->tree;
    NODE* y = lc[lc.size() - 2 - k]->tree;
    if (!x || !y || !trees_are_congruent(x, y)) break;
    ++k;
  }
  bool targets_differ = bt != ct || bf != cf;
  if (k == 0 && !targets_differ) return false;
  size_t tail_b = lb.size() - 1 - k, tail_c = lc.size() - 1 - k;
  BBLK* common;
  BBLK* other;
  size_t other_tail;
  if (tail_b == 0 && b != cfg.bb_list) {
    common = b;
    other = c;
    other_tail = tail_c;
  } else if (tail_c == 0 && c != cfg.bb_list && !targets_differ) {
    common = c;
    other = b;
    other_tail = tail_b;
  } else {
    common = split_block(b, lb[tail_b]);
    other = c;
    other_tail = tail_c;
  }
  // The other block keeps its own statements and jumps to the common tail.
  std::vector<LIST*> lo = cells_of(other);
  LS* scope = lo.back()->tree ? lo.back()->tree->scope : nullptr;
  PSN* psn = lo.back()->psn;
  if (other_tail == 0) {
    erase_tree_list(other->statements);
    other->statements = nullptr;
  } else {
    lo[other_tail - 1]->next = nullptr;
    erase_tree_list(lo[other_tail]);
  }
  append_statements(other, mkelist(mk_BRANCH(common, scope), nullptr, psn));
  recompute_successors(other);
  return true;
}

}  // namespace

bool merge_like_tests() {
  bool changed = false;
  std::vector<BBLK*> v = live_blocks();
  for (BBLK* b : v) {
    NODE* bi = last_stmt(b);
    if (!b->statements || !bi || bi->op != IF || edge_length(b->successors) != 2 || if_has_ENDLOOP(bi)) continue;
    bool merged = false;
    for (EDGE* se = b->successors; se && !merged; se = se->next) {
      std::vector<BBLK*> others;
      for (EDGE* pe = se->bb->predecessors; pe; pe = pe->next) others.push_back(pe->bb);
      for (BBLK* c : others) {
        if (c == b || !c->statements || c->loop != b->loop || edge_length(c->successors) != 2) continue;
        NODE* ci = last_stmt(c);
        bool inverted = false;
        if (!ci || ci->op != IF || if_has_ENDLOOP(ci) || !tests_are_congruent(bi->left, ci->left, &inverted)) continue;
        if (size_speed_goal > 3) {
          BBLK* n = next_live_block(c);
          if (n && edge_memberp(n, c->successors)) continue;
        }
        if (merge_pair(b, c, inverted)) {
          merged = changed = true;
          break;
        }
      }
    }
  }
  return changed;
}

void do_early_cross_jumping() {
  if (opt_level <= 0 || !cfg.bb_list) return;
  renumber_bblocks();
  bool changed = cross_jump();
  changed = merge_like_tests() || changed;
  if (changed) rebuildcfg();
  check_cfg_after("do_early_cross_jumping");
}
