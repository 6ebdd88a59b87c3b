// The rules of simpcfg for a block that ends in a test: IF with two
// successors, and SWITCH.
#include <utility>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"
#include "ssa/pred_implies_pred.h"

namespace {

bool is_bitfield_access(const NODE* lv) {
  for (; lv; lv = lv->left) {
    if ((lv->op == STDOT || lv->op == STREF) && lv->right && lv->right->op == FIELD && lv->right->mval &&
        lv->right->mval->is_bitfield)
      return true;
    if (lv->op == VFIELD) return true;
    if (lv->op != STDOT) return false;
  }
  return false;
}

const TYPE* rep_of(const TYPE* t) { return t && t->rep ? t->rep : t; }

// The value an assignment yields, without running it again: the constant
// at the end of a chain of assignments of one type, or the target read back.
NODE* value_of_assignment(NODE* asg) {
  NODE* v = asg;
  while (v && v->op == ASG) {
    if (is_bitfield_access(v->left) || rep_of(v->left->type) != rep_of(asg->type)) break;
    v = v->right;
  }
  if (v && v->op == ICON && rep_of(v->type) == rep_of(asg->type)) return copy_tree(v, false);
  NODE* target = asg->left;
  if (is_bitfield_access(target) || tree_has_side_effects(target)) return nullptr;
  return copy_tree(target, false);
}

// 5a: the test simplified again, and assignments out of it.
bool resimplify_IF(BBLK* bb) {
  LIST* cell = last_cell(bb);
  bool changed = false;
  // Until it settles: a test simplified once may simplify again once its
  // targets were turned round, and a second run must find nothing to do.
  for (int round = 0; round < 4; ++round) {
    NODE* before = copy_tree(cell->tree->left, false);
    BBLK* true_target = if_target(cell->tree, true);
    cell->tree = simp_node(cell->tree, bb->loop, nullptr);
    optassert(cell->tree && cell->tree->op == IF);
    bool turned = if_target(cell->tree, true) != true_target;
    bool same = !turned && trees_are_congruent(before, cell->tree->left);
    erase_tree(before);
    if (turned) {
      // The layout follows the order of the targets.
      order_successors_by_labels(bb);
      changed = true;
    }
    if (same) break;
  }
  NODE* t = cell->tree;
  // A test on x == 0 is the test on x turned round: one form for both, so
  // that a second reading of our output finds the test as it left it.
  NODE* c0 = t->left;
  if (c0 && c0->op == EQ && c0->right && c0->right->op == ICON && c0->right->value.is_zero() && c0->left) {
    const TYPE* ct = c0->left->type && c0->left->type->rep ? c0->left->type->rep : c0->left->type;
    if (ct && (ct->is_integral() || ct->is_pointer() || ct->kind == TYPE::KIND_ENUM)) {
      t->left = simp_for_control(c0->left, bb->loop, nullptr);
      c0->left = nullptr;
      erase_tree(c0);
      NODE* colon = t->right;
      std::swap(colon->left, colon->right);
      order_successors_by_labels(bb);
      changed = true;
    }
  }
  for (int guard = 0; guard < 8 && t->left; ++guard) {
    NODE* c = t->left;
    if (c->op == COMMAOP) {
      t->left = c->right;
      NODE* first = c->left;
      c->left = c->right = nullptr;
      erase_tree(c);
      NODE* rest = peel_for_effect(first);
      if (rest) insert_stmt_before_stmt_in_bb(rest, t, bb, cell->psn);
      changed = true;
      continue;
    }
    // The assignment is the test. (Within a comparison it is the counter
    // loop's business.)
    if (c->op != ASG) break;
    NODE* value = value_of_assignment(c);
    if (!value) break;
    NODE* asg = c;
    t->left = value;
    insert_stmt_before_stmt_in_bb(asg, t, bb, cell->psn);
    changed = true;
  }
  if (changed) t->left = simp_for_control(t->left, bb->loop, nullptr);
  return changed;
}

bool test_is_pure(const NODE* test) { return test && !tree_has_side_effects(test); }

// 5c: B to X to T and B to T, T testing what B tested, X changing none of
// it: both ways already know T's answer.
bool bypass_diamond(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  if (!test_is_pure(bi->left)) return false;
  for (bool sense : {true, false}) {
    BBLK* t = if_target(bi, sense);
    BBLK* x = if_target(bi, !sense);
    if (!t || !x || t == bb || x == bb || t == x || t == cfg.bb_list || !is_lone_IF(t)) continue;
    if (edge_length(t->predecessors) != 2 || !edge_memberp(x, t->predecessors)) continue;
    if (edge_length(x->predecessors) != 1 || edge_length(x->successors) != 1 || x->successors->bb != t) continue;
    NODE* xl = last_stmt(x);
    if (!xl || xl->op != BRANCH) continue;
    NODE* ti = first_stmt(t);
    bool inverted = false;
    if (if_has_ENDLOOP(ti) || !tests_are_congruent(bi->left, ti->left, &inverted)) continue;
    if (bb_modifies_lvalue_in_tree(x, bi->left)) continue;
    BBLK* direct = if_target(ti, inverted ? !sense : sense);
    BBLK* through = if_target(ti, inverted ? sense : !sense);
    if (!direct || !through) continue;
    point_label_at(if_label(bi, sense), direct);
    recompute_successors(bb);
    point_label_at(xl->left, through);
    recompute_successors(x);
    return true;
  }
  return false;
}

// 5d: the target is nothing but a test whose outcome B's outcome decides,
// either way round.
bool thread_implied_IF(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  for (bool sense : {true, false}) {
    BBLK* t = if_target(bi, sense);
    if (!t || t == bb || !is_lone_IF(t)) continue;
    NODE* ti = first_stmt(t);
    BBLK* next = nullptr;
    for (int outcome : {1, 0})
      if (pred_implies_pred(bi->left, sense, ti->left, outcome)) {
        next = if_target(ti, outcome == 1);
        break;
      }
    if (!next || next == t || is_lone_BRANCH(next)) continue;
    point_label_at(if_label(bi, sense), next);
    recompute_successors(bb);
    return true;
  }
  return false;
}

// 5e: the false target tests again and goes where B's true way goes
// whenever B's test holds: B's test is not needed.
bool drop_implied_test(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  BBLK* f = if_target(bi, false);
  if (!f || f == bb || !is_lone_IF(f) || !test_is_pure(bi->left)) return false;
  if (bi->left->op == ICON) return false;
  NODE* fi = first_stmt(f);
  for (int outcome : {1, 0}) {
    if (if_target(fi, outcome == 1) != if_target(bi, true)) continue;
    if (!pred_implies_pred(bi->left, 1, fi->left, outcome)) continue;
    // F's test now also runs where B's test held: what in it may trap must
    // have run in B's test already.
    bool inverted = false;
    if (!tests_are_congruent(bi->left, fi->left, &inverted) && rhs_may_need_guard_in_lhs(fi->left, bi->left)) continue;
    erase_tree(bi->left);
    bi->left = mk_ICON(INT65(0), tp->basic[TYPE_PKG::BT_INT]);
    return true;
  }
  return false;
}

// 5f: a constant test.
bool constant_IF(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  if (!bi->left || bi->left->op != ICON) return false;
  turn_into_BRANCH(bb, if_label(bi, !bi->left->value.is_zero()), true);
  return true;
}

// 5g: both ways run the same statements.
bool congruent_targets(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  BBLK* a = if_target(bi, true);
  BBLK* b = if_target(bi, false);
  if (!a || !b || a == b || a->loop != b->loop) return false;
  if (!tree_lists_are_congruent(a->statements, b->statements)) return false;
  point_label_at(if_label(bi, false), a);
  recompute_successors(bb);
  return true;
}

// 5h: the later way is only a jump to the earlier one.
bool lone_branch_arm(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  BBLK* a = if_target(bi, true);
  BBLK* b = if_target(bi, false);
  if (!a || !b || a == b) return false;
  BBLK* later = a->dfn > b->dfn ? a : b;
  BBLK* earlier = later == a ? b : a;
  if (later->pinned || edge_length(later->predecessors) != 1) return false;
  LIST* l = later->statements;
  while (l && l->next && l->tree && l->tree->op == ASM && l->tree->value.as_int64() == ASM_COMMENT) l = l->next;
  if (!l || l->next || !l->tree || l->tree->op != BRANCH || label_target(l->tree->left) != earlier) return false;
  point_label_at(if_label(bi, later == a), earlier);
  recompute_successors(bb);
  return true;
}

// 5k: the next block in layout tests the same again and is one of B's
// ways; B may as well go there at once.
bool next_block_same_test(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  BBLK* n = next_live_block(bb);
  if (!n || n == bb || !is_lone_IF(n) || !test_is_pure(bi->left)) return false;
  NODE* ni = first_stmt(n);
  bool inverted = false;
  if (if_has_ENDLOOP(ni) || !tests_are_congruent(bi->left, ni->left, &inverted)) return false;
  for (bool sense : {true, false}) {
    if (if_target(bi, sense) != n) continue;
    BBLK* other = if_target(bi, !sense);
    // Where n goes when the test has B's other outcome.
    if (if_target(ni, inverted ? sense : !sense) != other) continue;
    turn_into_BRANCH(bb, if_label(bi, sense), true);
    return true;
  }
  return false;
}

}  // namespace

bool conditional_rules(BBLK* bb) {
  NODE* last = last_stmt(bb);
  if (last->op == SWITCH) return simplify_SWITCH(bb);
  bool changed = resimplify_IF(bb);
  NODE* bi = last_stmt(bb);
  for (bool sense : {true, false}) {
    NODE* label = if_label(bi, sense);
    if (is_lone_BRANCH(label_target(label)) && chain_branch(bb, label)) changed = true;
  }
  if (changed) return true;
  if (opt_level >= 1 && !if_has_ENDLOOP(bi) && bypass_diamond(bb)) return true;
  if (thread_implied_IF(bb)) return true;
  if (drop_implied_test(bb)) return true;
  if (constant_IF(bb)) return true;
  if (congruent_targets(bb)) return true;
  if (lone_branch_arm(bb)) return true;
  if ((if_target(bi, true) == bb || if_target(bi, false) == bb) && remove_empty_loop(bb)) return true;
  if (simpcfg_first && next_block_same_test(bb)) return true;
  if (if_to_quest(bb)) return true;
  if (merge_IFs_into_OROR(bb)) return true;
  if (invert_counter_loop_test(bb)) return true;
  return false;
}
