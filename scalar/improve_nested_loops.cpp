// improve_nested_loops: a loop that holds one loop and nothing else becomes
// one loop with the product of the counts (collapse); a variable set from
// the outer counter before the inner loop and stepped in it runs on across
// outer passes instead of being set again (deltafy).
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/dominator.h"
#include "scalar/loop.h"
#include "scalar/loop_count.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg_rules.h"

namespace {

constexpr int kMaxLinearDepth = 8;

std::string text_of(const INT65& v) { return int2text(v, nullptr, -1, 10); }

bool only_comments_and(const BBLK* b, const LIST* wanted) {
  for (LIST* l = b->statements; l && l->next; l = l->next)
    if (l != wanted && !(l->tree && l->tree->op == ASM && l->tree->value.as_int64() == 47)) return false;
  return true;
}

bool proper(struct LOOP* l) { return l && l != loop_root && !l->irreducible && l->tail && l->preheader; }

void unlink_and_erase(BBLK* bb, LIST* cell) {
  for (LIST** p = &bb->statements; *p; p = &(*p)->next)
    if (*p == cell) {
      *p = cell->next;
      cell->next = nullptr;
      erase_tree_list(cell);
      return;
    }
}

// How often the inner loop's body runs each time the loop is entered, as a
// tree valid in its preheader.
NODE* inner_count(const COUNTED_LOOP& ci) {
  if (!ci.count || ci.counter_step != INT65(1) || (ci.count_known && ci.count_value.is_zero())) return nullptr;
  return copy_tree(ci.count, false);
}

// The inner loop starts once on every outer pass and runs its whole count.
bool inner_runs_whole(struct LOOP* outer, struct LOOP* inner, const COUNTED_LOOP& ci) {
  if (inner->multi_exit || !ci.preheader || ci.preheader->loop != outer) return false;
  if (ci.guard && !ci.guard_always && block_in_loop(ci.guard, outer)) return false;
  return function_dominator()->dominates(ci.preheader, outer->tail);
}

// ---- Collapse ---------------------------------------------------------------

bool collapse(struct LOOP* outer, struct LOOP* inner, COUNTED_LOOP& co, COUNTED_LOOP& ci) {
  // Both run on counters of ours, which nothing else reads.
  if (!co.existing_down_counter || !ci.existing_down_counter || !is_down_counter(co.var) || !is_down_counter(ci.var))
    return false;
  if (!co.entry_cell || !ci.entry_cell || ci.entry_block != outer->head || outer->head != inner->preheader) return false;
  if (ci.exit != outer->tail || outer->tail == outer->head || co.update_block != outer->tail) return false;
  if (edge_length(outer->tail->predecessors) != 1) return false;
  if (loop_block_count(outer) != loop_block_count(inner) + 2) return false;
  // The outer pass does nothing but start the inner loop and count.
  if (!only_comments_and(outer->head, ci.entry_cell) || !only_comments_and(outer->tail, co.update)) return false;
  NODE* m = inner_count(ci);
  if (!m) return false;
  if (!tree_is_RC_in_loop(m, outer, false) || count_symbol(m, co.var) || count_symbol(m, ci.var)) {
    erase_tree(m);
    return false;
  }
  INT65 n_max = co.entry_known ? truncate_to_width(co.entry, 32, false)
                               : (co.entry_tree ? calculate_maxval_for_tree(co.entry_tree, nullptr, nullptr) : INT65(0));
  INT65 m_max = m->op == ICON ? truncate_to_width(m->value, 32, false) : calculate_maxval_for_tree(m, nullptr, nullptr);
  if (n_max.is_zero() || n_max * m_max > (INT65(1) << 32) - INT65(1)) {
    dprintf("\tThe total count of loops [%d-%d] and [%d-%d] might not fit 32 bits.\n", outer->head->dfn,
            outer->tail->dfn, inner->head->dfn, inner->tail->dfn);
    erase_tree(m);
    return false;
  }
  LS* scope = co.test_if->scope;
  TYPE* u = counter_type();
  NODE* total;
  if (co.entry_known && m->op == ICON) {
    total = mk_ICON(n_max * m_max, u);
    NODE* setup = co.entry_cell->tree;
    erase_tree(setup->right);
    setup->right = copy_tree(total, false);
  } else {
    // N stays where it is set; the preheader multiplies it by M on the way in.
    total = maketree(MULT, mk_NAME(co.var, scope), copy_tree(m, false), u, scope);
    NODE* scale = simp_tree(mk_ASG(mk_NAME(co.var, scope), copy_tree(total, false)), nullptr, nullptr);
    insert_stmt_before_stmt_in_bb(scale, nullptr, outer->preheader, outer->preheader->last_psn);
  }
  dprintf("\n\tCollapsing loops [%d,%d-%d] and [%d-%d]: total count=%s\n\n", outer->preheader->dfn, outer->head->dfn,
          outer->tail->dfn, inner->head->dfn, inner->tail->dfn, tree2infix(total, false));
  erase_tree(total);
  erase_tree(m);
  // The inner loop counts on the outer counter and leaves where the outer did.
  dprintf("\tRenaming deprecated downcounter: %s", ci.var->name);
  dprintf("\n");
  NODE* step = ci.update->tree;
  erase_tree(step);
  ci.update->tree = mk_ASG(mk_NAME(co.var, scope), maketree(MINUS, mk_NAME(co.var, scope), mk_ICON(INT65(1), u), u, scope));
  NODE* test = maketree(NEQ, mk_NAME(co.var, scope), mk_ICON(INT65(0), u), simp::int_type(), scope);
  erase_tree(ci.test_cell->tree);
  ci.test_cell->tree = mk_IF(test, inner->head, co.exit, scope);
  recompute_successors(inner->tail);
  order_successors_by_labels(inner->tail);
  unlink_and_erase(outer->head, ci.entry_cell);
  return true;
}

// ---- Deltafy ------------------------------------------------------------------

struct LINEAR {
  NODE* a = nullptr;       // the invariant part, null for none
  SYMTAB* iv = nullptr;    // the outer counter
  INT65 d1;                // its coefficient
  INT65 k;                 // the constant
};

// tree = a + d1 * iv + k with a invariant in `loop`; false when it isn't
// of that form. Every node must be of the variable's type, so that the
// arithmetic is modulo its size throughout.
bool linear(NODE* t, struct LOOP* loop, const TYPE* vt, const SYMTAB* v, INT65 sign, LINEAR& out, std::vector<NODE*>& rc,
            int depth, bool& too_deep) {
  if (depth > kMaxLinearDepth) {
    too_deep = true;
    return false;
  }
  if (!t || !simp::same_type(t->type, vt)) return false;
  switch (t->op) {
    case ICON:
      out.k += sign * sign_extend_by_type(truncate_to_type(t->value, t->type), vt);
      return true;
    case PLUS:
      return linear(t->left, loop, vt, v, sign, out, rc, depth + 1, too_deep) &&
             linear(t->right, loop, vt, v, sign, out, rc, depth + 1, too_deep);
    case MINUS:
      return linear(t->left, loop, vt, v, sign, out, rc, depth + 1, too_deep) &&
             linear(t->right, loop, vt, v, -sign, out, rc, depth + 1, too_deep);
    case MULT:
    case SLL: {
      if (!t->right || t->right->op != ICON) break;
      INT65 c = truncate_to_type(t->right->value, t->right->type);
      if (t->op == SLL) {
        if (c.is_negative() || c > INT65(31)) return false;
        c = INT65(1) << static_cast<int>(c.as_int64());
      } else {
        c = sign_extend_by_type(c, vt);
      }
      if (t->left && t->left->op == NAME && t->left->name_symbol() != v && !tree_is_RC_in_loop(t->left, loop, true)) {
        if (out.iv && out.iv != t->left->name_symbol()) return false;
        out.iv = t->left->name_symbol();
        out.d1 += sign * c;
        return true;
      }
      break;
    }
    case NAME:
      if (t->name_symbol() == v) return false;
      if (!tree_is_RC_in_loop(t, loop, true)) {
        if (out.iv && out.iv != t->name_symbol()) return false;
        out.iv = t->name_symbol();
        out.d1 += sign;
        return true;
      }
      break;
    default:
      break;
  }
  // Anything else must be invariant.
  if (!tree_is_RC_in_loop(t, loop, true) || count_symbol(t, v) || tree_has_side_effects(t)) return false;
  NODE* part = copy_tree(t, false);
  if (sign.is_negative()) part = maketree(UMINUS, part, nullptr, t->type, t->scope);
  rc.push_back(part);
  return true;
}

// The constant the variable holds on the way into the loop, when the
// blocks in front (with no other way in) store one last.
bool entry_constant(struct LOOP* loop, const SYMTAB* v, NODE*& value) {
  BBLK* b = loop->preheader;
  for (int hop = 0; b && hop < 6; ++hop) {
    std::vector<LIST*> cells;
    for (LIST* l = b->statements; l && l->next; l = l->next) cells.push_back(l);
    for (size_t i = cells.size(); i-- > 0;) {
      NODE* t = cells[i]->tree;
      if (!count_stores(t, v)) continue;
      if (t->op != ASG || t->left->op != NAME || t->left->sym != v || !t->right || t->right->op != ICON) return false;
      value = t->right;
      return true;
    }
    if (edge_length(b->predecessors) != 1 || b == cfg.bb_list) return false;
    b = b->predecessors->bb;
  }
  return false;
}

bool fits(const INT65& v, const TYPE* t) { return truncate_to_type(v, t) == v || sign_extend_by_type(truncate_to_type(v, t), t) == v; }

bool try_deltafy_candidate(struct LOOP* outer, struct LOOP* inner, COUNTED_LOOP& ci, LIST* reset) {
  NODE* t = reset->tree;
  if (!t || t->op != ASG || !t->left || t->left->op != NAME) return false;
  SYMTAB* v = t->left->name_symbol();
  if (!plain_integer_variable(v) || v == ci.var || is_down_counter(v)) return false;
  TYPE* vt = t->left->type;
  NODE* e = t->right;
  if (!e || tree_has_side_effects(e) || count_symbol(e, v)) {
    dprintf("\tCandidate failed delta_1 test #1.\n");
    return false;
  }
  LINEAR lin;
  std::vector<NODE*> rc;
  bool too_deep = false;
  bool ok = linear(e, outer, vt, v, INT65(1), lin, rc, 0, too_deep);
  auto drop_rc = [&rc]() {
    for (NODE* n : rc) erase_tree(n);
    rc.clear();
  };
  if (too_deep) {
    dprintf("\tCandidate failed delta_1 test, recursion too deep.\n");
    drop_rc();
    return false;
  }
  if (!ok || !lin.iv || truncate_to_type(lin.d1, vt).is_zero()) {
    dprintf("\tCandidate failed delta_1 test #%d.\n", 2);
    drop_rc();
    return false;
  }
  // The outer counter steps once a pass, after the inner loop.
  LIST* iv_cell = nullptr;
  BBLK* iv_block = nullptr;
  INT65 s_outer;
  Dominator* dom = function_dominator();
  if (!find_loop_step(outer, lin.iv, iv_cell, iv_block, s_outer) || !plain_integer_variable(lin.iv) ||
      !simp::same_type(lin.iv->type, vt)) {
    dprintf("\tCandidate failed delta_1 test #%d.\n", 3);
    drop_rc();
    return false;
  }
  if (block_in_loop(iv_block, inner) || !dom->dominates(ci.exit, iv_block)) {
    dprintf("\tCandidate failed delta_1 test #%d.\n", 4);
    drop_rc();
    return false;
  }
  // v is set here and stepped in the inner loop, and stored nowhere else;
  // nothing in the outer head reads it before the reset.
  int stores_outside = 0;
  for (EDGE* c = outer->contents; c; c = c->next)
    if (!block_in_loop(c->bb, inner))
      for (LIST* l = c->bb->statements; l; l = l->next)
        if (l != reset) stores_outside += count_stores(l->tree, v);
  bool read_before = false;
  for (LIST* l = outer->head->statements; l && l != reset; l = l->next) read_before = read_before || count_symbol(l->tree, v);
  if (stores_outside || read_before) {
    dprintf("\tCandidate failed delta_1 test #5.\n");
    drop_rc();
    return false;
  }
  LIST* v_cell = nullptr;
  BBLK* v_block = nullptr;
  INT65 d2;
  if (!find_loop_step(inner, v, v_cell, v_block, d2)) {
    dprintf("\tCandidate failed delta_2 test #%d.\n", 1);
    drop_rc();
    return false;
  }
  NODE* m = inner_runs_whole(outer, inner, ci) ? inner_count(ci) : nullptr;
  if (!m || !tree_is_RC_in_loop(m, outer, false)) {
    dprintf("\tCandidate failed delta_2 test #%d.\n", 2);
    erase_tree(m);
    drop_rc();
    return false;
  }
  NODE* a = nullptr;
  for (NODE* part : rc) a = a ? maketree(PLUS, a, part, vt, e->scope) : part;
  rc.clear();
  dprintf("\n\tCandidate found:  %s = ", v->name);
  if (a) dprintf("%s + ", tree2infix(a, false));
  dprintf("(%s * %s) + ", text_of(lin.d1).c_str(), lin.iv->name);
  dprintf("constant  ===  %s\n", text_of(lin.k).c_str());
  dprintf(" with d1 = %s, d2 = %s, exprM = %s\n", text_of(lin.d1).c_str(), text_of(d2).c_str(), tree2infix(m, false));
  auto give_up = [&]() {
    erase_tree(a);
    erase_tree(m);
    return false;
  };
  // delta: what the next outer pass's reset adds to the value the inner
  // loop left, d1 * s - M * d2, in v's arithmetic.
  INT65 d1s = lin.d1 * s_outer;
  if (!fits(d1s, vt)) {
    dprintf("\t!!! Aborted: k*d2 overflows\n");
    return give_up();
  }
  LS* scope = e->scope;
  NODE* delta;
  bool delta_zero = false;
  if (m->op == ICON) {
    INT65 md2 = truncate_to_width(m->value, 32, false) * d2;
    if (!fits(md2, vt)) {
      dprintf("\t!!! Aborted: d1*M overflows\n");
      return give_up();
    }
    INT65 dv = sign_extend_by_type(truncate_to_type(d1s - md2, vt), vt);
    delta_zero = dv.is_zero();
    delta = mk_ICON(dv, vt);
  } else {
    if (lin.d1 > INT65(1) || lin.d1 < INT65(-1)) {
      dprintf("\t!!! Aborted: |d1|>1 and M not an ICON: %s\n", tree2infix(m, false));
      return give_up();
    }
    delta = maketree(MINUS, mk_ICON(d1s, vt),
                     maketree(MULT, coerce_to_type(vt, copy_tree(m, false)), mk_ICON(d2, vt), vt, scope), vt, scope);
  }
  // Stepping by delta must be cheaper than computing the value again.
  if (!delta_zero && tree_cost(e) <= 3) {
    dprintf("\t!!! Aborted: new delta is not 0 and RHS=%s\n", tree2infix(e, false));
    erase_tree(delta);
    return give_up();
  }
  erase_tree(a);
  erase_tree(m);
  dprintf("\tDeltafying loops [%d,%d-%d] and [%d-%d]", outer->preheader->dfn, outer->head->dfn, outer->tail->dfn,
          inner->head->dfn, inner->tail->dfn);
  dprintf("\n");
  BBLK* pre = outer->preheader;
  if (delta->op != ICON) {
    SYMTAB* tmp = sym_temp('R', -1, vt, nullptr);
    tmp->sclass = SC_REGISTER;
    make_sym_RC_in_loop(tmp, outer);
    insert_stmt_before_stmt_in_bb(simp_tree(mk_ASG(mk_NAME(tmp, scope), delta), nullptr, nullptr), nullptr, pre,
                                  pre->last_psn);
    delta = mk_NAME(tmp, scope);
  }
  // On the way in, v is set so that the first pass's step gives the value
  // the reset gave; in the loop the reset becomes the step.
  NODE* start = nullptr;
  NODE* reset_value = entry_constant(outer, lin.iv, start) ? subst_symbol(e, lin.iv, copy_tree(start, false))
                                                          : copy_tree(e, false);
  NODE* first = delta_zero ? reset_value : maketree(MINUS, reset_value, copy_tree(delta, false), vt, scope);
  NODE* init = simp_tree(mk_ASG(mk_NAME(v, scope), first), nullptr, nullptr);
  if (init) insert_stmt_before_stmt_in_bb(init, nullptr, pre, pre->last_psn);
  if (delta_zero) {
    erase_tree(delta);
    unlink_and_erase(outer->head, reset);
  } else {
    erase_tree(reset->tree);
    reset->tree = simp_tree(mk_ASG(mk_NAME(v, scope), maketree(PLUS, mk_NAME(v, scope), delta, vt, scope)), nullptr, nullptr);
  }
  return true;
}

bool deltafy(struct LOOP* outer, struct LOOP* inner, COUNTED_LOOP& ci) {
  for (LIST* l = outer->head->statements; l && l->next; l = l->next) {
    NODE* t = l->tree;
    if (!t || t->op != ASG || !t->left || t->left->op != NAME) continue;
    if (try_deltafy_candidate(outer, inner, ci, l)) return true;
  }
  return false;
}

struct NESTED {
  bool changed = false;
};

void try_pair(struct LOOP* outer, void* data) {
  NESTED* r = static_cast<NESTED*>(data);
  if (r->changed || !proper(outer) || !outer->inner || outer->inner->next) return;
  struct LOOP* inner = outer->inner->loop;
  if (!proper(inner) || inner->inner) return;
  dprintf("\n\tNested loops: BB->DFN [%d,%d-%d] and BB->DFN [%d-%d]\n\n", outer->preheader->dfn, outer->head->dfn,
          outer->tail->dfn, inner->head->dfn, inner->tail->dfn);
  COUNTED_LOOP ci, co;
  if (!analyze_counted_loop(inner, ci, false)) return;
  bool outer_counted = analyze_counted_loop(outer, co, false);
  if (outer_counted && collapse(outer, inner, co, ci)) {
    r->changed = true;
    return;
  }
  if (deltafy(outer, inner, ci)) r->changed = true;
}

}  // namespace

bool improve_nested_loops(int, int) {
  if (!loop_root || loop_root->irreducible) return false;
  NESTED r;
  loops_inside_out(loop_root, try_pair, &r);
  return r.changed;
}
