// find_live_variables: which candidates may still be read at the entry and
// exit of every block. Candidates are few (a function's local scalars), so
// the sets are sized for them alone and rebuilt at each call; the per-block
// work is one forward scan that fills USE and DEF, and the global part
// iterates IN(b) = USE(b) + (OUT(b) - DEF(b)) backwards to a fixed point.
#include "scalar/lva.h"

#include <algorithm>
#include <cstdio>
#include <unordered_map>
#include <unordered_set>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "ssa/alias.h"

namespace {

struct LVA_STATE {
  std::vector<SYMTAB*> candidates;
  std::unordered_map<const SYMTAB*, int> index;
  bool has_asm = false;
};
LVA_STATE lva;

// ASM nodes hold the record kind they came from; 47 is a comment.
bool is_inline_asm(const NODE* t) { return t->op == ASM && t->value.as_int64() != 47; }

[[noreturn]] void unknown_opcode(int op) {
  const char* name = op >= 0 && op < 256 && node_operator_name[op] ? node_operator_name[op] : "?";
  fprintf(stderr, "\n\n   !!! Error in 'local_lva_defs()', opcode=%d %s !!!\n", op, name);
  if (print_debug && fdebug) fprintf(fdebug, "\n\n   !!! Error in 'local_lva_defs()', opcode=%d %s !!!\n", op, name);
  abort_optimizer();
}

// Operators that must not reach liveness: SSA decoration, which never
// survives a pass group, and the partial evaluator's values.
bool is_known_opcode(int op) {
  if (op < 0 || op > 255 || !node_operator_name[op]) return false;
  switch (op) {
    case SSA_PHI: case SSA_USE: case SSA_DEF: case SSA_MU: case SSA_CHI:
    case MIXVALUE: case MIX_CONJ: case MIX_DISJ: case MIX_SET:
    case BGNBLOCK: case ENDBLOCK: case EXPRSTUB:
      return false;
    default:
      return true;
  }
}

bool is_rmw(int op) { return op == PLUSPLUS || op == MINMIN || (op_of_opASG[op] != 255 && op_of_opASG[op] != 0); }

// The events of a tree in the interpreter's order of evaluation: operands
// left to right, the address of an assignment's target before its value.
class EVENT_WALK {
 public:
  explicit EVENT_WALK(std::vector<LVA_EVENT>& ev) : ev_(ev) {}

  void walk(NODE* t, bool maybe) {
    if (t) {
      if (!is_known_opcode(t->op)) unknown_opcode(t->op);
      switch (t->op) {
        case NAME:
          use(t);
          return;
        case ASM:
          if (is_inline_asm(t))
            for (int i = 0; i < static_cast<int>(lva.candidates.size()); ++i) ev_.push_back({LVA_EVENT::USE, i});
          return;
        case ASG:
        case STASG:
        case ARASG:
          store(t->left, t->right, maybe, false);
          return;
        case PLUSPLUS:
        case MINMIN:
          store(t->left, t->right, maybe, true);
          return;
        case QUEST:
          walk(t->left, maybe);
          if (t->right && t->right->op == COLON) {
            walk(t->right->left, true);
            walk(t->right->right, true);
          } else {
            walk(t->right, true);
          }
          return;
        case ANDAND:
        case OROR:
          walk(t->left, maybe);
          walk(t->right, true);
          return;
        case UAND:
        case ARGREF:
          address_of(t->left, maybe);
          return;
        default:
          if (is_rmw(t->op)) {
            store(t->left, t->right, maybe, true);
            return;
          }
          walk(t->left, maybe);
          walk(t->right, maybe);
          return;
      }
    }
  }

 private:
  std::vector<LVA_EVENT>& ev_;

  int index_of(const NODE* name) {
    auto it = lva.index.find(name->name_symbol());
    return it == lva.index.end() ? -1 : it->second;
  }
  void use(const NODE* name) {
    int i = index_of(name);
    if (i >= 0) ev_.push_back({LVA_EVENT::USE, i});
  }

  // Evaluates what an lvalue needs to be found, not the object itself.
  void address_of(NODE* lv, bool maybe) {
    if (!lv) return;
    if (!is_known_opcode(lv->op)) unknown_opcode(lv->op);
    switch (lv->op) {
      case NAME:
        // Never a candidate: an object whose address is taken is none.
        use(lv);
        return;
      case STDOT:
        address_of(lv->left, maybe);
        return;
      case UMULT:
      case STREF:
        walk(lv->left, maybe);
        return;
      default:
        walk(lv, maybe);
        return;
    }
  }

  // A store to `lv`; `reads` when the old value is read as well.
  void store(NODE* lv, NODE* value, bool maybe, bool reads) {
    if (lv && lv->op == NAME) {
      int i = index_of(lv);
      if (i >= 0 && reads) ev_.push_back({LVA_EVENT::USE, i});
      walk(value, maybe);
      if (i >= 0) {
        // An operator-assignment may read its target after the value too.
        if (reads) ev_.push_back({LVA_EVENT::USE, i});
        ev_.push_back({maybe ? LVA_EVENT::MAYDEF : LVA_EVENT::DEF, i});
      }
      return;
    }
    address_of(lv, maybe);
    // A piece of an aggregate candidate: read in part and written in part.
    SYMTAB* base = name_below_stdots(lv);
    auto it = base ? lva.index.find(base) : lva.index.end();
    if (it != lva.index.end() && reads) ev_.push_back({LVA_EVENT::USE, it->second});
    walk(value, maybe);
    if (it != lva.index.end()) {
      if (reads) ev_.push_back({LVA_EVENT::USE, it->second});
      ev_.push_back({LVA_EVENT::MAYDEF, it->second});
    }
  }
};

// ---- Candidates ----------------------------------------------------------

// The symbol whose address an address operand yields, through the forms
// that stay inside one object.
SYMTAB* addressed_symbol(NODE* t) {
  while (t) {
    switch (t->op) {
      case NAME:
        return t->name_symbol();
      case STDOT:
      case UMULT:
      case PCONV:
      case ISP2CHAR:
        t = t->left;
        break;
      case PLUS:
        if (t->right && t->right->op == ICON) t = t->left;
        else return nullptr;
        break;
      default:
        return nullptr;
    }
  }
  return nullptr;
}

size_t type_bits(const TYPE* t) { return t ? t->size : 0; }

// Symbols whose storage something other than a whole read or write by name
// reaches: the operand of an address, or a NAME seen in another size.
void note_excluded(NODE* t, std::unordered_set<const SYMTAB*>& out) {
  for (; t; t = t->right) {
    if (t->op == SWITCH) {
      note_excluded(t->left, out);
      return;
    }
    if (t->op == UAND || t->op == ARGREF) {
      if (SYMTAB* s = addressed_symbol(t->left)) out.insert(s);
    } else if (t->op == NAME) {
      const SYMTAB* s = t->name_symbol();
      if (s && s->type && t->type && type_bits(t->type) != type_bits(s->type)) out.insert(s);
      return;
    }
    note_excluded(t->left, out);
  }
}

// For this target no aggregate fits a register: the register file holds
// scalars only.
bool is_register_capable_aggregate(const TYPE*) { return false; }

bool is_local_variable(const SYMTAB* s) {
  return s->lex_level == 2 && (s->sclass == SC_LOCAL || s->sclass == SC_REGISTER || s->sclass == SC_REG17 ||
                               s->sclass == SC_REG22);
}

bool may_be_candidate(const SYMTAB* s, bool flag, const std::unordered_set<const SYMTAB*>& excluded) {
  if (!s || !s->type || !is_local_variable(s)) return false;
  if (symbol_is_aliased(s) || symbol_is_immutable(s) || sym_appears_in_EHT(s)) return false;
  if (s->alias_marks & ALIAS_VECTOR_OR_COMPLEX) return false;
  if (excluded.count(s)) return false;
  if (s->type->is_scalar()) return true;
  return flag && is_register_capable_aggregate(s->type);
}

void number_candidates(bool flag) {
  lva = LVA_STATE();
  mark_address_exposed_symbols_in_function();
  mark_aliased_vector_and_complex_symbols(true, true);
  std::unordered_set<const SYMTAB*> excluded;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) {
      note_excluded(l->tree, excluded);
      if (l->tree && is_inline_asm(l->tree)) lva.has_asm = true;
    }
  std::vector<SYMTAB*> all;
  for (SYMTAB* chain : {currfuninfo->symbols, currfuninfo->chain4, currfuninfo->temps})
    for (SYMTAB* s = chain; s; s = s->next) all.push_back(s);
  // Creation order: a second reading of our own output numbers alike.
  std::stable_sort(all.begin(), all.end(), [](const SYMTAB* a, const SYMTAB* b) { return a->serial < b->serial; });
  for (SYMTAB* s : all) {
    if (lva.index.count(s) || !may_be_candidate(s, flag, excluded)) continue;
    lva.index[s] = static_cast<int>(lva.candidates.size());
    lva.candidates.push_back(s);
    if (print_debug && fdebug)
      fprintf(fdebug, "\tLVA candidate %2d is variable '%s'\n", lva.index[s], s->name ? s->name : "");
  }
}

// ---- Sets ----------------------------------------------------------------

BITVEC* fresh_set(BBLK* bb, LVA_SET which, int n) {
  BITVEC*& v = bb->live_bits[which];
  if (!v) v = mkBITVEC(n, 1);
  else {
    v->bv_resize(n);
    v->bv_clear();
  }
  return v;
}

// Statements that compute a value nobody takes go first; a cell emptied
// that way takes over the cell behind it.
void drop_statements_without_effect(BBLK* bb) {
  for (LIST* l = bb->statements; l && l->next;) {
    NODE* t = l->tree;
    if (!t || t->op < 0 || t->op > 255 || side_effects[t->op] != 0) {
      l = l->next;
      continue;
    }
    l->tree = peel_for_effect(t);
    if (l->tree) {
      l = l->next;
      continue;
    }
    LIST* next = l->next;
    l->tree = next->tree;
    l->psn = next->psn;
    l->a = next->a;
    l->b = next->b;
    l->next = next->next;
    next->next = nullptr;
    erase_tree_list_only(next);
  }
}

void local_lva_defs(BBLK* bb, int n) {
  BITVEC* use = fresh_set(bb, LVA_USE, n);
  BITVEC* def = fresh_set(bb, LVA_DEF, n);
  fresh_set(bb, LVA_IN, n);
  fresh_set(bb, LVA_OUT, n);
  std::vector<LVA_EVENT> ev;
  for (LIST* l = bb->statements; l; l = l->next) {
    ev.clear();
    lva_statement_events(l->tree, ev);
    for (const LVA_EVENT& e : ev) {
      if (e.kind == LVA_EVENT::USE) {
        if (!def->bv_test(e.index)) use->bv_add(e.index);
      } else if (e.kind == LVA_EVENT::DEF) {
        def->bv_add(e.index);
      }
    }
  }
}

void dump_sets(const std::vector<BBLK*>& blocks) {
  if (!print_debug || !fdebug) return;
  static const char* const names[] = {"USE", "DEF", "IN", "OUT"};
  for (BBLK* b : blocks) {
    fprintf(fdebug, "\n  LVA sets of %s:\n", b->str().c_str());
    for (int w = LVA_USE; w <= LVA_OUT; ++w) {
      fprintf(fdebug, "   %s:\t", names[w]);
      b->live_bits[w]->bv_print(fdebug);
      fputc('\n', fdebug);
    }
  }
}

}  // namespace

int lva_candidate_count() { return static_cast<int>(lva.candidates.size()); }

int lva_index(const SYMTAB* sym) {
  auto it = lva.index.find(sym);
  return it == lva.index.end() ? -1 : it->second;
}

SYMTAB* lva_candidate(int index) {
  return index >= 0 && index < lva_candidate_count() ? lva.candidates[static_cast<size_t>(index)] : nullptr;
}

BITVEC* lva_set(const BBLK* bb, LVA_SET which) {
  BITVEC* v = bb ? bb->live_bits[which] : nullptr;
  return v && v->nbits == lva_candidate_count() ? v : nullptr;
}

bool lva_function_has_asm() { return lva.has_asm; }

void lva_statement_events(NODE* stmt, std::vector<LVA_EVENT>& events) {
  EVENT_WALK(events).walk(stmt, false);
}

void lva_transfer(NODE* stmt, BITVEC* live) {
  std::vector<LVA_EVENT> ev;
  lva_statement_events(stmt, ev);
  for (auto it = ev.rbegin(); it != ev.rend(); ++it) {
    if (it->kind == LVA_EVENT::USE) live->bv_add(it->index);
    else if (it->kind == LVA_EVENT::DEF) live->bv_del(it->index);
  }
}

void lva_refresh_block(BBLK* bb) {
  int n = lva_candidate_count();
  local_lva_defs(bb, n);
  BITVEC* out = bb->live_bits[LVA_OUT];
  for (EDGE* s = bb->successors; s; s = s->next) {
    if (BITVEC* sin = lva_set(s->bb, LVA_IN)) out->bv_union(*sin);
    else
      for (int i = 0; i < n; ++i) out->bv_add(i);  // unknown: anything may be read there
  }
  BITVEC* in = bb->live_bits[LVA_IN];
  in->bv_diff(*out, *bb->live_bits[LVA_DEF]);
  in->bv_union(*bb->live_bits[LVA_USE]);
}

void find_live_variables(int mode, bool flag) {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'find_live_variables' --------\n");
  if (!currfuninfo) return;
  std::vector<BBLK*> blocks;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    blocks.push_back(b);
    // Level 0 keeps every statement as it is written.
    if (opt_level > 0) drop_statements_without_effect(b);
  }
  number_candidates(flag);
  int n = lva_candidate_count();
  for (BBLK* b : blocks) local_lva_defs(b, n);
  if (n == 0) return;
  BITVEC* in = mkBITVEC(n, 0);
  bool changed = true;
  while (changed) {
    changed = false;
    if (print_debug && fdebug) fprintf(fdebug, "\n\tNext iteration of global live variable loop\n");
    for (auto it = blocks.rbegin(); it != blocks.rend(); ++it) {
      BBLK* b = *it;
      BITVEC* out = b->live_bits[LVA_OUT];
      out->bv_clear();
      for (EDGE* s = b->successors; s; s = s->next)
        if (BITVEC* sin = s->bb->live_bits[LVA_IN]) out->bv_union(*sin);
      in->bv_diff(*out, *b->live_bits[LVA_DEF]);
      in->bv_union(*b->live_bits[LVA_USE]);
      if (!in->bv_equal(*b->live_bits[LVA_IN])) {
        *b->live_bits[LVA_IN] = *in;
        changed = true;
      }
    }
  }
  erase_bitvec(in);
  if (mode == 1) dump_sets(blocks);
}
