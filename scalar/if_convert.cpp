// If-conversion: small triangles and diamonds below an IF become straight
// code, the test folded into the arm or into a conditional expression.
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"

namespace {

const TYPE* rep_of(const TYPE* t) { return t && t->rep ? t->rep : t; }

bool is_int_type(const TYPE* t) {
  const TYPE* r = rep_of(t);
  return r && (r->is_integral() || r->kind == TYPE::KIND_ENUM);
}

// An arm: one statement, then a BRANCH to the join; reached from B only.
NODE* arm_statement(BBLK* arm, BBLK* bb, BBLK* join) {
  if (arm->pinned || edge_length(arm->predecessors) != 1 || arm->predecessors->bb != bb) return nullptr;
  LIST* l = arm->statements;
  if (!l || !l->next || l->next->next) return nullptr;
  NODE* br = l->next->tree;
  if (!br || br->op != BRANCH || label_target(br->left) != join) return nullptr;
  return l->tree;
}

int log2_of_power(const INT65& v) {
  if (v.is_negative() || v.is_zero()) return -1;
  uint64_t u = v.as_uint64();
  if (u & (u - 1)) return -1;
  int n = 0;
  while (u >>= 1) ++n;
  return n;
}

// A pure lvalue that may be read and written at any time.
bool free_lvalue(NODE* lv) { return lv && !tree_has_side_effects(lv) && lvalue_is_inherently_strict(lv); }

// `x op= v` or `x = x op v`: the target, the plain operator and v.
bool split_update(NODE* s, NODE*& target, int& op, NODE*& value) {
  if (!s) return false;
  if (s->op == ANDBASG || s->op == ORBASG || s->op == XORBASG) {
    target = s->left;
    op = op_of_opASG[s->op];
    value = s->right;
    return true;
  }
  if (s->op != ASG || !s->right || !(s->right->op == ANDB || s->right->op == ORB || s->right->op == XORB) ||
      rep_of(s->right->type) != rep_of(s->left->type))
    return false;
  // The operators commute: x may stand on either side.
  bool left = trees_are_congruent(s->left, s->right->left);
  if (!left && !trees_are_congruent(s->left, s->right->right)) return false;
  target = s->left;
  op = s->right->op;
  value = left ? s->right->right : s->right->left;
  return true;
}

// The tested value and its bit when the test is `y & K2` or `(y & K2) != 0`.
bool split_bit_test(NODE* test, NODE*& y, INT65& k2) {
  NODE* a = test;
  if (a && a->op == NEQ && a->right && a->right->op == ICON && a->right->value.is_zero()) a = a->left;
  if (!a || a->op != ANDB || !a->right || a->right->op != ICON) return false;
  y = a->left;
  k2 = a->right->value;
  return true;
}

// Triangle with `x = x op K` (op ORB or XORB, K a power of two) guarded by
// a test of one bit of x: the bit is moved into place instead.
bool convert_bit_copy(NODE* test, NODE* arm) {
  NODE *x, *k, *y;
  int op;
  INT65 k2;
  if (!split_update(arm, x, op, k) || (op != ORB && op != XORB) || !k || k->op != ICON) return false;
  if (!split_bit_test(test, y, k2)) return false;
  TYPE* t = x->type;
  const TYPE* r = rep_of(t);
  if (!is_int_type(t) || !free_lvalue(x)) return false;
  // The test may read x widened.
  NODE* yy = y;
  if (yy->op == SCONV && is_int_type(yy->type) && rep_of(yy->type)->size >= r->size) yy = yy->left;
  if (!trees_are_congruent(yy, x)) return false;
  int p = log2_of_power(k->value), p2 = log2_of_power(k2);
  int width = static_cast<int>(r->size);
  if (p < 0 || p2 < 0 || p >= width || p2 >= width) return false;
  int d = p - p2;
  if (d > 2) return false;
  LS* scope = arm->scope;
  NODE* bit = maketree(ANDB, copy_tree(x, false), mk_ICON(k2, t), t, scope);
  NODE* moved;
  if (d >= 0) {
    moved = d ? maketree(SLL, bit, mk_ICON(INT65(d), tp->basic[TYPE_PKG::BT_INT]), t, scope) : bit;
  } else {
    TYPE* u = r->is_signed() ? tp->mk_unsigned(t) : t;
    NODE* ub = u == t ? bit : maketree(SCONV, bit, nullptr, u, scope);
    moved = maketree(SRL, ub, mk_ICON(INT65(-d), tp->basic[TYPE_PKG::BT_INT]), u, scope);
    if (u != t) moved = maketree(SCONV, moved, nullptr, t, scope);
  }
  moved = simp_tree(moved, nullptr, nullptr);
  if (arm->op == ASG) {
    NODE*& slot = arm->right->right == k ? arm->right->right : arm->right->left;
    erase_tree(slot);
    slot = moved;
  } else {
    erase_tree(arm->right);
    arm->right = moved;
  }
  return true;
}

// Triangle whose test and values are 0 or 1: the test joins the arm.
bool convert_boolean_arm(NODE* test, NODE* arm) {
  if (!returns_1_or_0(test) || tree_has_side_effects(test)) return false;
  LS* scope = arm->scope;
  NODE *x, *v;
  int op;
  if (split_update(arm, x, op, v)) {
    if (!free_lvalue(x) || !v || !returns_1_or_0(v) || tree_has_side_effects(v) || rhs_may_need_guard_in_lhs(v, test))
      return false;
    if (!is_int_type(v->type)) return false;
    TYPE* vt = v->type;
    NODE* c = coerce_to_type(vt, copy_tree(test, false));
    NODE* folded;
    if (op == ANDB) {
      // x &= (v | !test) needs x itself to be 0 or 1.
      if (!returns_1_or_0(x)) {
        erase_tree(c);
        return false;
      }
      folded = maketree(ORB, v, maketree(XORB, c, mk_ICON(INT65(1), vt), vt, scope), vt, scope);
    } else {
      folded = maketree(ANDB, c, v, vt, scope);
    }
    folded = simp_tree(folded, nullptr, nullptr);
    if (arm->op == ASG) (arm->right->right == v ? arm->right->right : arm->right->left) = folded;
    else arm->right = folded;
    return true;
  }
  // `x = 1` and `x = 0` on a target that holds 0 or 1.
  if (arm->op != ASG || !arm->right || arm->right->op != ICON || !free_lvalue(arm->left) ||
      !returns_1_or_0(arm->left) || !is_int_type(arm->left->type))
    return false;
  if (!returns_1_or_0(arm->right)) return false;
  bool one = !arm->right->value.is_zero();
  TYPE* xt = arm->left->type;
  NODE* c = coerce_to_type(xt, copy_tree(test, false));
  erase_tree(arm->right);
  if (one) {
    arm->op = ORBASG;
    arm->right = c;
  } else {
    arm->op = ANDBASG;
    arm->right = simp_tree(maketree(XORB, c, mk_ICON(INT65(1), xt), xt, scope), nullptr, nullptr);
  }
  return true;
}

// The arm may hang on either side of the test; on the false side the test
// is read inverted. The arm then runs on both ways and the test decides
// nothing any more.
bool if_triangle(BBLK* bb, NODE* bi, BBLK* a, BBLK* b) {
  NODE* test = bi->left;
  if (tree_has_side_effects(test)) return false;
  for (bool sense : {true, false}) {
    BBLK* arm_block = sense ? a : b;
    BBLK* join = sense ? b : a;
    NODE* arm = arm_statement(arm_block, bb, join);
    if (!arm || edge_length(join->predecessors) != 2 || !edge_memberp(arm_block, join->predecessors)) continue;
    NODE* t = sense ? test : simp_node(mk_EXCLAIM(copy_tree(test, false)), bb->loop, nullptr);
    bool done = convert_bit_copy(t, arm) || convert_boolean_arm(t, arm);
    if (!sense) erase_tree(t);
    if (!done) continue;
    erase_tree(bi->left);
    bi->left = mk_ICON(INT65(sense ? 1 : 0), tp->basic[TYPE_PKG::BT_INT]);
    return true;
  }
  return false;
}

bool if_diamond(BBLK* bb, NODE* bi, BBLK* a, BBLK* b) {
  if (!simpcfg_first && !simpcfg_second) return false;
  if (!a->statements || !a->statements->next) return false;
  NODE* br = a->statements->next->tree;
  if (!br || br->op != BRANCH) return false;
  BBLK* join = label_target(br->left);
  if (!join || join == a || join == b || join == bb) return false;
  NODE* s1 = arm_statement(a, bb, join);
  NODE* s2 = arm_statement(b, bb, join);
  if (!s1 || !s2 || s1->op != ASG || s2->op != ASG) return false;
  NODE* test = bi->left;
  if (tree_has_side_effects(test) || !trees_are_congruent(s1->left, s2->left)) return false;
  // The target's address must not depend on what the arms do.
  const NODE* base = s1->left;
  while (base && base->op == STDOT) base = base->left;
  if (!base || base->op != NAME || tree_has_side_effects(s1->left)) return false;
  TYPE* t = s1->left->type;
  if (!compatible_types(t, s1->right->type, false) || !compatible_types(t, s2->right->type, false)) return false;
  LS* scope = bi->scope;
  NODE* quest = maketree(QUEST, copy_tree(test, false),
                         maketree(COLON, copy_tree(s1->right, false), copy_tree(s2->right, false), t, scope), t, scope);
  double p = if_label(bi, true)->edge_profile;
  quest->edge_profile = p;
  quest->right->edge_profile = p >= 0.0 ? 1.0 - p : p;
  if (simpcfg_second) {
    if (!tree_has_side_effects(quest) && quest_colon_is_strict(quest)) {
      quest = make_strict_ternary_ICALL(quest);
    } else if (!simpcfg_first) {
      erase_tree(quest);
      return false;
    }
  }
  // Simplified as any new tree, so that a later reading finds it as written.
  NODE* asg = simp_tree(mk_ASG(copy_tree(s1->left, false), quest), bb->loop, nullptr);
  insert_stmt_before_stmt_in_bb(asg, bi, bb, last_cell(bb)->psn);
  NODE* label = if_label(bi, true);
  point_label_at(label, join);
  turn_into_BRANCH(bb, label, true);
  return true;
}

}  // namespace

bool if_to_quest(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  if (!bi || bi->op != IF || if_has_ENDLOOP(bi)) return false;
  BBLK* a = if_target(bi, true);
  BBLK* b = if_target(bi, false);
  if (!a || !b || a == b || a == bb || b == bb || a == cfg.bb_list || b == cfg.bb_list) return false;
  if (a->loop != bb->loop || b->loop != bb->loop) return false;
  return if_triangle(bb, bi, a, b) || if_diamond(bb, bi, a, b);
}
