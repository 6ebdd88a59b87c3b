// Conversions: chains of integer conversions collapse when the composed
// conversion is one conversion; a narrowing of integer arithmetic is pushed
// into the operands when that removes conversions (the low bits of a sum,
// difference, product or bitwise result depend only on the low bits of the
// operands); pointer conversions collapse.
#include "scalar/simp_internal.h"

namespace simp {

namespace {

// Extension of A to B keeps every value of A.
bool value_preserving(const TYPE* a, const TYPE* b) {
  if (!is_wrap_int(a) || !is_wrap_int(b)) return false;
  int wa = type_bits(a), wb = type_bits(b);
  if (type_is_signed(a)) return type_is_signed(b) && wb >= wa;
  return type_is_signed(b) ? wb > wa : wb >= wa;
}

// SCONV(SCONV(y: A -> B) -> C) as one conversion from A, when there is one.
bool chain_collapses(const TYPE* a, const TYPE* b, const TYPE* c) {
  if (!is_wrap_int(a) || !is_wrap_int(b) || !is_wrap_int(c)) return false;
  int wa = type_bits(a), wb = type_bits(b), wc = type_bits(c);
  if (wb >= wa && wc <= wa) return true;  // the low bits of y
  if (wb < wa) return wc <= wb;           // truncation twice
  if (wb == wa) return type_is_signed(a) == type_is_signed(b) || wc <= wb;
  // wb > wa, wc > wa: extension by A's sign, then by B's.
  return !type_is_signed(a) || type_is_signed(b) || wc == wb;
}

bool is_narrowable_op(int op) {
  switch (op) {
    case PLUS: case MINUS: case MULT: case ANDB: case ORB: case XORB: case UMINUS: case NOTB: case SLL:
      return true;
    default:
      return false;
  }
}

// Narrowing x to N costs no new conversion: a constant, a widening of a
// value of N's size, or narrowable arithmetic made of such.
bool narrows_for_free(const NODE* x, const TYPE* n, int depth) {
  if (!x || depth > 6 || !is_wrap_int(x->type)) return false;
  if (is_icon(x)) return true;
  if (x->op == SCONV && x->left && is_wrap_int(x->left->type) && type_bits(x->left->type) == type_bits(n) &&
      type_bits(x->type) >= type_bits(n))
    return true;
  if (!is_narrowable_op(x->op)) return false;
  if (x->op == SLL) {
    if (!is_icon(x->right) || truncate_to_width(x->right->value, 32, false) >= INT65(type_bits(n))) return false;
    return narrows_for_free(x->left, n, depth + 1);
  }
  if (!same_type(x->left->type, x->type)) return false;
  if (x->right && !same_type(x->right->type, x->type)) return false;
  return narrows_for_free(x->left, n, depth + 1) && (!x->right || narrows_for_free(x->right, n, depth + 1));
}

NODE* narrow_to(NODE* x, TYPE* n, SIMP_CTX& c) {
  if (!is_narrowable_op(x->op) || is_icon(x)) return resimp(coerce_to_type(n, x), c);
  x->left = narrow_to(x->left, n, c);
  if (x->right && x->op != SLL) x->right = narrow_to(x->right, n, c);
  x->type = n;
  x->cast_type = n;
  return resimp(x, c);
}

}  // namespace

NODE* simp_SCONV(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  if (!x) return t;
  TYPE* ty = t->type;
  if (same_type(x->type, ty)) {
    c.changed = true;
    return take_left(t);
  }
  // All floating types are binary32 here: a conversion between them changes
  // no bit.
  if (is_flt_type(ty) && is_flt_type(x->type) && type_bits(ty) == type_bits(x->type)) {
    x->type = ty;
    c.changed = true;
    return take_left(t);
  }
  if (x->op == SCONV && x->left) {
    NODE* y = x->left;
    if (chain_collapses(y->type, x->type, ty)) {
      t->left = take_left(x);
      c.changed = true;
      return t;
    }
    // (F)(B)y with y widened without loss: the value is y's.
    if (is_flt_type(ty) && value_preserving(y->type, x->type)) {
      t->left = take_left(x);
      c.changed = true;
      return t;
    }
    // (C)(F)y with y a 16-bit integer: exact in binary32, and back without
    // a trap when every value of y fits C.
    if (is_flt_type(x->type) && is_wrap_int(y->type) && is_wrap_int(ty) && type_bits(y->type) <= 24 &&
        type_min(y->type) >= type_min(ty) && type_max(y->type) <= type_max(ty)) {
      t->left = take_left(x);
      c.changed = true;
      return t;
    }
  }
  // (N)(a op b) is (N)a op (N)b in N, when that removes conversions.
  if (is_wrap_int(ty) && is_wrap_int(x->type) && type_bits(ty) < type_bits(x->type) && is_narrowable_op(x->op) &&
      narrows_for_free(x, ty, 0)) {
    NODE* n = narrow_to(take_left(t), ty, c);
    c.changed = true;
    return n;
  }
  return t;
}

NODE* simp_PCONV(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  if (!x) return t;
  if (same_type(x->type, t->type)) {
    c.changed = true;
    return take_left(t);
  }
  // Pointers are all of one size: a conversion of a conversion is one.
  if ((x->op == PCONV || x->op == ISP2CHAR) && x->left &&
      (is_ptr_type(x->left->type) || is_int_type(x->left->type))) {
    t->left = take_left(x);
    c.changed = true;
    return t;
  }
  return t;
}

}  // namespace simp
