// SWITCH clean-up: constant switches, CASE pruning by the value set of the
// controlling expression, and optimize_SWITCH_cases, which removes the
// range check of switches that cover every value.
#include <string>
#include <vector>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"

namespace {

constexpr int kMaxPopulated = 500;
const char* const kNeverExecuted = "_never_executed";

struct CASES {
  std::vector<NODE*> cases;
  NODE* dflt = nullptr;
  std::vector<NODE*> commas;
};

void collect(NODE* t, CASES& out) {
  if (!t) return;
  switch (t->op) {
    case COMMA:
      out.commas.push_back(t);
      collect(t->left, out);
      collect(t->right, out);
      return;
    case CASE:
      out.cases.push_back(t);
      return;
    case DEFAULT:
      out.dflt = t;
      return;
    default:
      return;
  }
}

// The arms again as a right-nested COMMA list ending in the DEFAULT.
void rebuild(NODE* sw, CASES& c) {
  for (NODE* n : c.commas) {
    n->left = n->right = nullptr;
    erase_tree(n);
  }
  c.commas.clear();
  NODE* list = c.dflt;
  TYPE* v = tp->basic[TYPE_PKG::BT_VOID];
  for (auto it = c.cases.rbegin(); it != c.cases.rend(); ++it)
    list = list ? maketree(COMMA, *it, list, v, sw->scope) : *it;
  sw->right = list;
  sw->value = INT65(static_cast<long>(c.cases.size()));
}

struct VALUE_SET {
  INT65 min, max, factor, offset, mask;
};

__int128 floor_div(__int128 a, __int128 b) {
  __int128 q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// Narrows by the assertions that stand before the switch in its block, as
// long as nothing between can change the expression.
void narrow_by_assertions(BBLK* bb, NODE* sw, VALUE_SET& vs) {
  std::vector<NODE*> before;
  for (LIST* l = bb->statements; l && l->tree != sw; l = l->next) before.push_back(l->tree);
  const TYPE* t = sw->left->type && sw->left->type->rep ? sw->left->type->rep : sw->left->type;
  bool is_signed = t && t->is_signed();
  for (auto it = before.rbegin(); it != before.rend(); ++it) {
    NODE* s = *it;
    if (!s) continue;
    if (s->op != ASSERT && s->op != NASSERT) {
      if (tree_has_side_effects(s)) break;
      continue;
    }
    NODE* c = s->left;
    if (!c || c->op < EQ || c->op > UGT || !c->right || c->right->op != ICON) continue;
    if (!trees_are_congruent(c->left, sw->left)) continue;
    bool unsigned_op = c->op >= ULE;
    if (c->op != EQ && c->op != NEQ && unsigned_op == is_signed) continue;
    INT65 k = c->right->value;
    switch (c->op) {
      case EQ: if (k > vs.min) vs.min = k; if (k < vs.max) vs.max = k; break;
      case LT: case ULT: if (k - INT65(1) < vs.max) vs.max = k - INT65(1); break;
      case LE: case ULE: if (k < vs.max) vs.max = k; break;
      case GT: case UGT: if (k + INT65(1) > vs.min) vs.min = k + INT65(1); break;
      case GE: case UGE: if (k > vs.min) vs.min = k; break;
      default: break;
    }
  }
}

VALUE_SET value_set(BBLK* bb, NODE* sw) {
  NODE* e = sw->left;
  VALUE_SET vs;
  vs.min = calculate_minval_for_tree(e, bb->loop, nullptr);
  vs.max = calculate_maxval_for_tree(e, bb->loop, nullptr);
  vs.factor = max_ICON_factor(e);
  if (vs.factor <= INT65(0)) vs.factor = INT65(1);
  vs.offset = INT65(0);
  vs.mask = find_known_zeros(e, e->type);
  narrow_by_assertions(bb, sw, vs);
  // Both ends onto the lattice of the factor.
  __int128 f = vs.factor.i128();
  vs.min = INT65::from_i128(-floor_div(-vs.min.i128(), f) * f);
  vs.max = INT65::from_i128(floor_div(vs.max.i128(), f) * f);
  return vs;
}

bool value_can_occur(const VALUE_SET& vs, const INT65& v, const TYPE* t) {
  if (v < vs.min || v > vs.max) return false;
  if ((v - vs.offset) % vs.factor != INT65(0)) return false;
  // Known zeros speak of the bit pattern within the type's width.
  int width = static_cast<int>(t->size);
  INT65 bits = truncate_to_width(INT65(-1), width, false);
  return (truncate_to_width(v, width, false) & vs.mask & bits).is_zero();
}

std::string text_of(const INT65& v, const TYPE* t) { return int2text(v, t, -1, 10); }

int as_int(const INT65& v) { return static_cast<int>(v.as_int64()); }

void report_unreachable_case(const LIST* cell, NODE* sw, NODE* cs, const VALUE_SET& vs) {
  std::string v = text_of(cs->left->value, sw->left->type);
  dprintf("--> CASE %s of this SWITCH cannot occur. \t(%d|%d|%d|%d)\n", v.c_str(), as_int(vs.min), as_int(vs.max),
          as_int(vs.factor), as_int(vs.offset));
  if (write_opt_info && finfo) {
    fprintf(finfo, "\nCase %s of this statement cannot be reached:  switch ( %s ) ...\n", v.c_str(),
            tree2infix(sw->left, false));
    const PSN* p = cell ? cell->psn : nullptr;
    fprintf(finfo, "    in file <%s> at line %lu, column %lu\n", p && p->file ? p->file : "NO_FILE",
            p ? static_cast<unsigned long>(p->line) : 0UL, p ? static_cast<unsigned long>(p->col) : 0UL);
  }
}

bool prune_cases(BBLK* bb, NODE* sw) {
  CASES c;
  collect(sw->right, c);
  if (!c.dflt || !sw->left || c.cases.empty()) return false;
  const TYPE* t = sw->left->type && sw->left->type->rep ? sw->left->type->rep : sw->left->type;
  if (!t || !(t->is_integral() || t->kind == TYPE::KIND_ENUM)) return false;
  VALUE_SET vs = value_set(bb, sw);
  std::vector<NODE*> kept;
  bool pruned = false;
  for (NODE* cs : c.cases) {
    if (cs->left && cs->left->op == ICON && !value_can_occur(vs, cs->left->value, t)) {
      report_unreachable_case(last_cell(bb), sw, cs, vs);
      erase_tree(cs);
      pruned = true;
    } else {
      kept.push_back(cs);
    }
  }
  if (!pruned) return false;
  c.cases = kept;
  rebuild(sw, c);
  if (c.cases.empty()) turn_into_BRANCH(bb, c.dflt->left, false);
  else recompute_successors(bb);
  return true;
}

bool is_never_executed_call(const NODE* t) {
  return t && (t->op == UMCALL || t->op == MCALL) && t->sym && std::string(static_cast<const char*>(t->sym)) == kNeverExecuted;
}

BBLK* make_never_reached_block() {
  TYPE* v = tp->basic[TYPE_PKG::BT_VOID];
  LS* scope = LS::level_2_scope();
  NODE* never = mk_MCALL(kNeverExecuted, nullptr, v);
  never->op = UMCALL;
  NODE* note = maketree(ASM, nullptr, nullptr, v, scope);
  note->text = zstrdup(1, "***\t; this point in the function is never reached");
  note->value = INT65(ASM_COMMENT);
  NODE* ret = maketree(URETURN, mk_NAME(currfunc, scope), nullptr, v, scope);
  PSN* psn = currfuninfo ? currfuninfo->end_psn : nullptr;
  LIST* list = mkelist(never, mkelist(note, mkelist(ret, nullptr, psn), psn), psn);
  BBLK* last = cfg.bb_list->rdflink ? cfg.bb_list->rdflink : cfg.bb_list;
  BBLK* b = insert_new_bb(last->dfn + 1, last, list);
  b->loop = nullptr;
  return b;
}

// True when the switch changed.
bool populate(BBLK* bb, NODE* sw) {
  CASES c;
  collect(sw->right, c);
  if (!c.dflt || !c.dflt->left) return false;
  NODE* dlabel = c.dflt->left;
  BBLK* old_default = label_target(dlabel);
  if (!old_default) return false;
  // Without profile counts the LABEL holds an estimated probability only.
  if (function_profile_mode() == PROFILE_COUNTS && dlabel->edge_profile != 0.0) return false;
  if (is_never_executed_call(first_stmt(old_default))) return false;
  NODE* e = sw->left;
  if (!e || tree_has_side_effects(e)) return false;
  const TYPE* rt = e->type && e->type->rep ? e->type->rep : e->type;
  if (!rt || !(rt->is_integral() || rt->kind == TYPE::KIND_ENUM)) return false;
  VALUE_SET vs = value_set(bb, sw);
  dprintf("~~~#OSiBB#2 minval: %s\n", text_of(vs.min, e->type).c_str());
  dprintf("~~~#OSiBB#3 maxval: %s\n", text_of(vs.max, e->type).c_str());
  dprintf("~~~#OSiBB#4 factor: %s\n", text_of(vs.factor, nullptr).c_str());
  dprintf("~~~#OSiBB#5 offset: %s\n", text_of(vs.offset, nullptr).c_str());
  dprintf("~~~#OSiBB#6 mask: %s\n", int2text(vs.mask, nullptr, -1, 16).c_str());
  if (vs.min == vs.max) {
    dprintf("--> Simplified to switch(%s)...\n", text_of(vs.min, e->type).c_str());
    sw->left = mk_ICON(vs.min, e->type);
    erase_tree(e);
    return true;
  }
  __int128 total = (vs.max - vs.min).i128() / vs.factor.i128() + 1;
  if (vs.max < vs.min || total <= 0 || total > kMaxPopulated) {
    dprintf("--> Range is <= 0 or >= 500\n");
    return false;
  }
  int n = static_cast<int>(total);
  int explicit_cases = static_cast<int>(c.cases.size());
  dprintf("~~~#OSiBB#1 Total CASEs=%d, explicit CASEs=%d, %s\n", n, explicit_cases, tree2infix(e, false));
  if (!(n == explicit_cases || (n + 2 <= 2 * explicit_cases && explicit_cases >= 5))) return false;
  for (int k = 0; k < n; ++k) {
    INT65 v = vs.min + INT65(k) * vs.factor;
    bool present = false;
    for (NODE* cs : c.cases) present = present || (cs->left && cs->left->op == ICON && cs->left->value == v);
    if (present) continue;
    dprintf("\tAdding %s\n", text_of(v, e->type).c_str());
    NODE* label = mk_LABELREF_to_bb(old_default, sw->scope);
    label->edge_profile = dlabel->edge_profile;
    c.cases.push_back(maketree(CASE, mk_ICON(v, e->type), label, tp->basic[TYPE_PKG::BT_VOID], sw->scope));
  }
  dprintf("--> Fully populating this SWITCH with %d cases.\n", n);
  dprintf("--> Adding a new DEFAULT basic block.\n");
  point_label_at(dlabel, make_never_reached_block());
  rebuild(sw, c);
  recompute_successors(bb);
  return true;
}

}  // namespace

bool simplify_SWITCH(BBLK* bb) {
  NODE* sw = last_stmt(bb);
  CASES c;
  collect(sw->right, c);
  if (!c.dflt || !c.dflt->left) return false;
  bool changed = false;
  std::vector<NODE*> labels;
  for (NODE* cs : c.cases) labels.push_back(cs->right);
  labels.push_back(c.dflt->left);
  for (NODE* l : labels)
    if (l && is_lone_BRANCH(label_target(l)) && chain_branch(bb, l)) changed = true;
  if (changed) return true;
  // One way out: only the effects of the expression remain.
  if (edge_length(bb->successors) == 1) {
    turn_into_BRANCH(bb, c.dflt->left, false);
    return true;
  }
  if (sw->left && sw->left->op == ICON) {
    NODE* label = c.dflt->left;
    for (NODE* cs : c.cases)
      if (cs->left && cs->left->op == ICON && truncate_to_type(cs->left->value, sw->left->type) == sw->left->value)
        label = cs->right;
    turn_into_BRANCH(bb, label, true);
    return true;
  }
  return opt_level >= 1 && prune_cases(bb, sw);
}

void optimize_SWITCH_cases() {
  if (!cfg.bb_list || opt_level < 1) return;
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t------ ENTERING 'optimize_SWITCH_cases' ----\n");
  std::vector<BBLK*> blocks;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) blocks.push_back(b);
  bool changed = false;
  for (BBLK* b : blocks) {
    NODE* sw = last_stmt(b);
    if (sw && sw->op == SWITCH) changed = populate(b, sw) || changed;
  }
  // An old default that nothing reaches any more goes.
  if (changed) rebuildcfg();
  else renumber_bblocks();
  check_cfg_after("optimize_SWITCH_cases");
}
