// Truth values: make_boolean, invert_boolean_tree, simp_for_control and the
// rules of EXCLAIM, QUEST, ANDAND/OROR, COMMAOP and the transfers.
#include "ir/symbol.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool pure(const NODE* t) { return !tree_has_side_effects(t); }

// A comparison whose logical opposite is again one comparison: every
// integer or pointer comparison, and the floating ones only for equality
// (an ordered comparison with a NaN is false both ways).
bool trivially_invertible(const NODE* t) {
  if (!t || !is_relop(t->op) || boolean_inv[t->op] == 255) return false;
  if (t->op == EQ || t->op == NEQ) return true;
  return t->left && t->right && !is_flt_type(t->left->type) && !is_flt_type(t->right->type);
}

NODE* zero_for(NODE* x) {
  TYPE* t = x->type;
  if (is_flt_type(t) || is_ptr_type(t)) return mk_zero_of(t);
  if (is_int_type(t)) return mk_icon(INT65(0), t);
  return mk_int_icon(0);
}

// The cost of evaluating a side of ANDAND/OROR without its guard.
int andor_andor_height(const NODE* t) {
  if (!t) return 0;
  int h = 0;
  if (is_relop(t->op) || t->op == ANDAND || t->op == OROR) h = 1;
  if (t->op == STDOT && t->right && t->right->mval && t->right->mval->is_bitfield) h = 1;
  if (t->op == NAME) {
    const SYMTAB* s = t->name_symbol();
    bool reg_like = s && (s->sclass == SC_REGISTER || s->sclass == SC_REG22 ||
                          (s->sclass == SC_LOCAL && s->lex_level >= 2 && !is_volatile_type(s->type)));
    return reg_like ? 1 : 5;
  }
  if (t->op == UMULT || t->op == STREF) h += 5;
  return h + andor_andor_height(t->left) + andor_andor_height(t->right);
}

NODE* boolean_of_const(NODE* t) {
  bool v = const_is_true(t);
  erase_tree(t);
  return mk_int_icon(v ? 1 : 0);
}

}  // namespace

bool inverts_without_wrapper(const NODE* t) {
  if (!t) return false;
  if (trivially_invertible(t) || (is_icon(t) && returns_1_or_0(t))) return true;
  if (t->op == EQ && t->left && returns_1_or_0(t->left) && is_icon(t->right) && t->right->value.is_zero()) return true;
  return t->op == EXCLAIM && t->left && is_int_type(t->left->type);
}

NODE* simp_EXCLAIM(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  if (!x) return t;
  if (trivially_invertible(x)) {
    x->op = boolean_inv[x->op];
    TYPE* ty = t->type;
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  if (x->op == EXCLAIM) {
    NODE* y = take_left(take_left(t));
    c.changed = true;
    return make_boolean(y, c.loop, c.context);
  }
  return t;
}

NODE* simp_QUEST(NODE* t, SIMP_CTX& c) {
  NODE* cond = t->left;
  NODE* colon = t->right;
  if (!cond || !colon || colon->op != COLON || !colon->left || !colon->right) return t;
  TYPE* ty = t->type;
  if (is_const(cond)) {
    bool v = const_is_true(cond);
    NODE* keep = v ? colon->left : colon->right;
    if (v) colon->left = nullptr;
    else colon->right = nullptr;
    erase_tree(t);
    c.changed = true;
    return keep;
  }
  // (x, c) ? a : b is x, (c ? a : b)
  if (cond->op == COMMAOP) {
    t->left = cond->right;
    cond->right = resimp(t, c);
    cond->type = cond->right->type;
    c.changed = true;
    return cond;
  }
  // !c ? a : b is c ? b : a
  if (cond->op == EXCLAIM) {
    t->left = take_left(cond);
    NODE* a = colon->left;
    colon->left = colon->right;
    colon->right = a;
    c.changed = true;
    return t;
  }
  NODE* a = colon->left;
  NODE* b = colon->right;
  if (pure(a) && pure(b) && trees_are_congruent(a, b)) {
    colon->left = nullptr;
    NODE* test = take_left(t);  // frees the COLON with b
    t = nullptr;
    c.changed = true;
    return keep_effects(test, a);
  }
  if (is_icon(a) && is_icon(b) && is_int_type(ty)) {
    INT65 va = icon_in(a, ty), vb = icon_in(b, ty);
    if ((va == INT65(1) && vb.is_zero()) || (va.is_zero() && vb == INT65(1))) {
      NODE* test = take_left(t);
      NODE* bv = make_boolean(test, c.loop, c.context);
      if (va.is_zero()) bv = resimp(invert_boolean_tree(bv), c);
      c.changed = true;
      return as_type(bv, ty, c);
    }
  }
  NODE* nc = simp_for_control(cond, c.loop, c.context);
  if (nc != cond) {
    t->left = nc;
    c.changed = true;
  }
  return t;
}

NODE* simp_ANDOR_ANDOR(NODE* t, SIMP_CTX& c) {
  bool is_and = t->op == ANDAND;
  if (!t->left || !t->right) return t;
  if (!returns_1_or_0(t->left)) {
    t->left = make_boolean(t->left, c.loop, c.context);
    c.changed = true;
  }
  if (!returns_1_or_0(t->right)) {
    t->right = make_boolean(t->right, c.loop, c.context);
    c.changed = true;
  }
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* ty = is_int_type(t->type) ? t->type : int_type();
  if (is_const(l)) {
    bool v = const_is_true(l);
    c.changed = true;
    if (v != is_and) {
      // 0 && x, 1 || x: x never runs.
      erase_tree(t);
      return mk_icon(INT65(is_and ? 0 : 1), ty);
    }
    return as_type(make_boolean(take_right(t), c.loop, c.context), ty, c);
  }
  if (is_const(r)) {
    bool v = const_is_true(r);
    c.changed = true;
    NODE* x = take_left(t);
    if (v != is_and) return keep_effects(x, mk_icon(INT65(is_and ? 0 : 1), ty));
    return as_type(make_boolean(x, c.loop, c.context), ty, c);
  }
  if (pure(l) && pure(r) && trees_are_congruent(l, r)) {
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  // Cheap sides that need no guard are evaluated both: no branch.
  if (pure(l) && pure(r) && !rhs_may_need_guard_in_lhs(r, l)) {
    int hl = andor_andor_height(l), hr = andor_andor_height(r);
    if (hr <= 4 && hl + hr <= 8) {
      t->op = is_and ? ANDB : ORB;
      t->type = ty;
      c.changed = true;
      return t;
    }
  }
  return t;
}

NODE* simp_COMMAOP(NODE* t, SIMP_CTX& c) {
  NODE* a = t->left;
  NODE* b = t->right;
  if (!b) {
    c.changed = true;
    return take_left(t);
  }
  if (!a || pure(a)) {
    c.changed = true;
    return take_right(t);
  }
  // (a, b), c is a, (b, c)
  if (a->op == COMMAOP && a->right) {
    t->left = a->right;
    a->right = resimp(t, c);
    a->type = a->right->type;
    c.changed = true;
    return a;
  }
  // Only the effects of a are wanted. The peeling may rewrite a in place
  // (into a comma of its operands' effects): that is a change too.
  int old_op = a->op;
  NODE* effects = peel_for_effect(a);
  if (effects != a || effects->op != old_op) {
    t->left = effects;
    c.changed = true;
    if (!effects) return take_right(t);
    // A comma left of a comma: associate it now, so that one pass reaches
    // the form a second would.
    if (effects->op == COMMAOP && effects->right) return simp_COMMAOP(t, c);
  }
  return t;
}

NODE* simp_control(NODE* t, SIMP_CTX& c) {
  if ((t->op == IF || t->op == CBRANCH) && t->left) {
    NODE* cond = simp_for_control(t->left, c.loop, c.context);
    if (cond != t->left) {
      t->left = cond;
      c.changed = true;
    }
    // if (!x) goto a else b is if (x) goto b else a; the edges stay.
    if (t->op == IF && cond->op == EXCLAIM && t->right && t->right->op == COLON) {
      t->left = take_left(cond);
      NODE* a = t->right->left;
      t->right->left = t->right->right;
      t->right->right = a;
      c.changed = true;
    }
  }
  return t;
}

// Operators out of which a COMMAOP of the left operand may move: all its
// operands are evaluated after the left one, and the node is no lvalue.
bool may_hoist_comma(int op) {
  switch (op) {
    case PLUS: case MINUS: case MULT: case DIV: case MOD: case ANDB: case ORB: case XORB: case SLL:
    case SRL: case EQ: case NEQ: case LE: case LT: case GE: case GT: case ULE: case ULT: case UGE:
    case UGT: case UMINUS: case NOTB: case ABS: case SQR: case SQRT: case EXCLAIM: case SCONV:
    case PCONV: case ANDAND: case OROR: case QUEST:
      return true;
    default:
      return false;
  }
}

}  // namespace simp

using namespace simp;

NODE* make_boolean(NODE* t, struct LOOP* loop, CONTEXT* context) {
  if (!t) return t;
  if (t->op == EXCLAIM && is_const(t->left)) {
    bool v = const_is_true(t->left);
    erase_tree(t);
    return mk_int_icon(v ? 0 : 1);
  }
  if (is_const(t)) return boolean_of_const(t);
  if (returns_1_or_0(t)) return t;
  if (t->op == MIXVALUE && t->value < INT65(2)) return t;
  if (!is_int_type(t->type) && !is_flt_type(t->type) && !is_ptr_type(t->type)) return t;
  NODE* zero = zero_for(t);
  return simp_node(maketree(NEQ, t, zero, int_type(), t->scope), loop, context);
}

NODE* invert_boolean_tree(NODE* t) {
  if (!t) return t;
  if (t->op == EQ && t->left && returns_1_or_0(t->left) && is_icon(t->right) && t->right->value.is_zero()) {
    NODE* x = take_left(t);
    return coerce_to_type(int_type(), x);
  }
  if (trivially_invertible(t)) {
    t->op = boolean_inv[t->op];
    return t;
  }
  if (is_icon(t) && returns_1_or_0(t)) {
    bool v = t->value.is_zero();
    erase_tree(t);
    return mk_int_icon(v ? 1 : 0);
  }
  if (t->op == EXCLAIM && t->left && is_int_type(t->left->type)) {
    t->op = NEQ;
    t->right = zero_for(t->left);
    return t;
  }
  return maketree(EQ, t, zero_for(t), int_type(), t->scope);
}

NODE* simp_for_control(NODE* t, struct LOOP* loop, CONTEXT* context) {
  for (int guard = 0; t && guard < 64; ++guard) {
    switch (t->op) {
      case NEQ:
        // x != 0 tests x itself.
        if (t->left && is_icon(t->right) && t->right->value.is_zero() && is_int_type(t->left->type) &&
            type_bits(t->left->type) <= type_bits(int_type())) {
          t = take_left(t);
          continue;
        }
        return t;
      case SCONV:
        // Widening and conversions to bool keep zero and non-zero apart.
        if (t->left && is_int_type(t->type) && is_int_type(t->left->type) &&
            (type_bits(t->left->type) <= type_bits(t->type) || is_bool_type(t->type))) {
          t = take_left(t);
          continue;
        }
        return t;
      case EXCLAIM:
        if (t->left && t->left->op == EXCLAIM) {
          t = take_left(take_left(t));
          continue;
        }
        return t;
      case COMMAOP:
        if (t->left && !tree_has_side_effects(t->left)) {
          t = take_right(t);
          continue;
        }
        if (t->right) t->right = simp_for_control(t->right, loop, context);
        return t;
      case QUEST: {
        NODE* colon = t->right;
        if (!colon || colon->op != COLON || !colon->left || !colon->right) return t;
        colon->left = simp_for_control(colon->left, loop, context);
        colon->right = simp_for_control(colon->right, loop, context);
        if (is_const(colon->left) && is_const(colon->right)) {
          bool a = const_is_true(colon->left), b = const_is_true(colon->right);
          NODE* test = take_left(t);
          if (a && b) return keep_effects(test, mk_int_icon(1));
          if (!a && !b) return keep_effects(test, mk_int_icon(0));
          if (a) {
            t = test;
            continue;
          }
          return simp_node(invert_boolean_tree(make_boolean(test, loop, context)), loop, context);
        }
        return t;
      }
      default:
        return t;
    }
  }
  return t;
}
