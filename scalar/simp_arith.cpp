// Additive and unary rules: PLUS, MINUS, UMINUS, the bitwise operators, ABS,
// SQR and SQRT. Integer rules hold modulo 2^width for both signednesses;
// floating rules only where IEEE arithmetic gives the same bits (signed
// zeros and NaN included).
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool pure(const NODE* t) { return !tree_has_side_effects(t); }

// Pattern of a value over `w` bits.
INT65 pattern(const INT65& v, int w) { return truncate_to_width(v, w, false); }

NODE* zero_keeping(NODE* dropped, TYPE* t) { return keep_effects(dropped, mk_zero_of(t)); }

// x with the operator node around it freed: `keep` is left or right.
NODE* keep_operand(NODE* t, bool left, SIMP_CTX& c) {
  TYPE* ty = t->type;
  NODE* x = left ? take_left(t) : take_right(t);
  c.changed = true;
  return as_type(x, ty, c);
}

}  // namespace

NODE* simp_PLUS(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* ty = t->type;
  if (!l || !r) return t;
  if (is_wrap_int(ty)) {
    if (is_icon(r) && icon_in(r, ty).is_zero()) return keep_operand(t, true, c);
    // ~x + 1 is -x
    if (is_icon_value(r, 1) && l->op == NOTB && same_type(l->type, ty)) {
      NODE* x = take_left(l);
      t->left = nullptr;
      erase_tree(t);
      c.changed = true;
      return mk_unary(UMINUS, x, ty, c);
    }
    // (c1 - x) + c2 is (c1 + c2) - x
    if (is_icon(r) && l->op == MINUS && is_icon(l->left) && same_type(l->type, ty)) {
      NODE* k = fold_constants(maketree(PLUS, l->left, r, ty, t->scope));
      l->left = k;
      t->left = t->right = nullptr;
      erase_tree(t);
      c.changed = true;
      return resimp(l, c);
    }
  }
  // Integers only: in floating point x - y and x + (-y) agree except in the
  // sign of a NaN, which the machine passes on.
  if (is_wrap_int(ty)) {
    // x + (-y) is x - y
    if (r->op == UMINUS && same_type(r->type, ty)) {
      t->right = take_left(r);
      t->op = MINUS;
      c.changed = true;
      return t;
    }
    // (-x) + y is y - x
    if (l->op == UMINUS && same_type(l->type, ty) && pure(l) && pure(r)) {
      NODE* x = take_left(l);
      t->left = r;
      t->right = x;
      t->op = MINUS;
      c.changed = true;
      return t;
    }
  }
  if (is_wrap_int(ty)) {
    // (x - y) + y is x, y + (x - y) is x
    if (l->op == MINUS && same_type(l->type, ty) && pure(r) && trees_are_congruent(l->right, r)) {
      t->left = nullptr;
      erase_tree(t);
      c.changed = true;
      return as_type(take_left(l), ty, c);
    }
    // The kept x runs between the two reads of y: it must leave y alone.
    if (r->op == MINUS && same_type(r->type, ty) && pure(l) && pure(r->left) && trees_are_congruent(r->right, l)) {
      t->right = nullptr;
      erase_tree(t);
      c.changed = true;
      return as_type(take_left(r), ty, c);
    }
  }
  if (is_flt_type(ty) && is_fcon_neg_zero(r)) return keep_operand(t, true, c);
  if (is_ptr_type(ty) && is_icon(r)) {
    if (r->value.is_zero()) return keep_operand(t, true, c);
    // (p + c1) + c2 is p + (c1 + c2); the sum wraps like the address does.
    if (l->op == PLUS && is_ptr_type(l->type) && is_icon(l->right) && same_type(l->right->type, r->type) &&
        same_type(l->type, ty)) {
      NODE* k = fold_constants(maketree(PLUS, l->right, r, r->type, t->scope));
      if (is_icon(k)) {
        l->right = k;
        t->left = t->right = nullptr;
        erase_tree(t);
        c.changed = true;
        return resimp(l, c);
      }
      l->right = k->left;
      t->right = k->right;
      k->left = k->right = nullptr;
      erase_tree(k);
    }
  }
  return t;
}

NODE* simp_MINUS(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* ty = t->type;
  if (!l || !r) return t;
  if (is_wrap_int(ty) && !is_ptr_type(l->type)) {
    if (is_icon(r)) {
      if (icon_in(r, ty).is_zero()) return keep_operand(t, true, c);
      // x - c is x + (-c): constants then gather in one chain.
      r->value = truncate_to_type(-icon_in(r, ty), ty);
      r->type = ty;
      t->op = PLUS;
      c.changed = true;
      return t;
    }
    if (pure(l) && trees_are_congruent(l, r)) {
      erase_tree(t);
      c.changed = true;
      return mk_icon(INT65(0), ty);
    }
    if (is_icon(l) && icon_in(l, ty).is_zero()) {
      t->left = r;
      t->right = nullptr;
      erase_tree(l);
      t->op = UMINUS;
      c.changed = true;
      return t;
    }
    // (x + y) - x is y; (x + y) - y is x
    if (l->op == PLUS && same_type(l->type, ty) && pure(r)) {
      // y runs between the two reads of x: it must leave x alone.
      if (pure(l->left) && pure(l->right) && trees_are_congruent(l->left, r)) {
        t->left = nullptr;
        erase_tree(t);
        c.changed = true;
        return as_type(take_right(l), ty, c);
      }
      if (trees_are_congruent(l->right, r)) {
        t->left = nullptr;
        erase_tree(t);
        c.changed = true;
        return as_type(take_left(l), ty, c);
      }
    }
    // c - (x + k) is (c - k) - x
    if (is_icon(l) && r->op == PLUS && is_icon(r->right) && same_type(r->type, ty)) {
      NODE* k2 = r->right;
      r->right = nullptr;
      NODE* k = fold_constants(maketree(MINUS, l, k2, ty, t->scope));
      t->left = k;
      t->right = take_left(r);
      c.changed = true;
      return t;
    }
  }
  if (is_wrap_int(ty)) {
    // x - (-y) is x + y
    if (r->op == UMINUS && same_type(r->type, ty) && !is_ptr_type(l->type)) {
      t->right = take_left(r);
      t->op = PLUS;
      c.changed = true;
      return t;
    }
  }
  // x - (+0) is x, -0 and NaN included.
  if (is_flt_type(ty) && is_fcon_pos_zero(r)) return keep_operand(t, true, c);
  if (is_ptr_type(l->type)) {
    if (is_icon(r) && r->value.is_zero() && is_ptr_type(ty)) return keep_operand(t, true, c);
    // p - p is 0 for any valid p
    if (is_ptr_type(r->type) && is_int_type(ty) && pure(l) && trees_are_congruent(l, r)) {
      erase_tree(t);
      c.changed = true;
      return mk_icon(INT65(0), ty);
    }
  }
  return t;
}

NODE* simp_UMINUS(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  TYPE* ty = t->type;
  if (!x) return t;
  bool is_int = is_wrap_int(ty);
  if (!is_int && !is_flt_type(ty)) return t;
  if (!same_type(x->type, ty)) return t;
  if (x->op == UMINUS) {
    c.changed = true;
    return as_type(take_left(take_left(t)), ty, c);
  }
  // -(x * c) is x * -c (for integers: a floating NaN keeps its sign through
  // the product)
  if (is_int && x->op == MULT && is_const(x->right)) {
    NODE* k = fold_constants(maketree(UMINUS, x->right, nullptr, ty, t->scope));
    if (is_const(k)) {
      x->right = k;
      c.changed = true;
      return resimp(take_left(t), c);
    }
    x->right = take_left(k);
  }
  if (is_int) {
    // -(x - y) is y - x
    if (x->op == MINUS && !is_ptr_type(x->left->type) && pure(x)) {
      NODE* a = x->left;
      x->left = x->right;
      x->right = a;
      c.changed = true;
      return resimp(take_left(t), c);
    }
    // -(~x) is x + 1
    if (x->op == NOTB) {
      NODE* y = take_left(take_left(t));
      c.changed = true;
      return mk_binary(PLUS, y, mk_icon(INT65(1), ty), ty, c);
    }
  }
  return t;
}

NODE* simp_bitwise(NODE* t, SIMP_CTX& c) {
  TYPE* ty = t->type;
  if (!is_wrap_int(ty)) return t;
  int w = type_bits(ty);
  INT65 all = width_mask(w);
  NODE* l = t->left;
  NODE* r = t->right;
  if (t->op == NOTB) {
    if (!l || !same_type(l->type, ty)) return t;
    if (l->op == NOTB) {
      c.changed = true;
      return as_type(take_left(take_left(t)), ty, c);
    }
    // ~(x ^ k) is x ^ ~k
    if (l->op == XORB && is_icon(l->right)) {
      l->right->value = truncate_to_type(~icon_in(l->right, ty), ty);
      c.changed = true;
      return resimp(take_left(t), c);
    }
    return t;
  }
  if (!l || !r) return t;
  if (is_icon(r)) {
    INT65 m = pattern(r->value, w);
    INT65 zeros, ones;
    known_bits(l, ty, zeros, ones);
    switch (t->op) {
      case ANDB:
        if (m.is_zero() || (~zeros & m & all).is_zero()) {
          c.changed = true;
          return zero_keeping(take_left(t), ty);
        }
        if (m == all || (~zeros & ~m & all).is_zero()) return keep_operand(t, true, c);
        // (x | k1) & k2: the bits of k1 outside k2 don't matter, and when
        // k1 covers k2 the result is k2.
        if (l->op == ORB && is_icon(l->right) && same_type(l->type, ty)) {
          INT65 k1 = pattern(l->right->value, w);
          if ((k1 & m) == m) {
            c.changed = true;
            NODE* x = take_left(take_left(t));
            return keep_effects(x, mk_icon(truncate_to_type(m, ty), ty));
          }
          if ((k1 & m).is_zero()) {
            t->left = take_left(l);
            c.changed = true;
            return t;
          }
        }
        break;
      case ORB:
        if (m.is_zero() || (m & ~ones & all).is_zero()) return keep_operand(t, true, c);
        if (m == all) {
          c.changed = true;
          NODE* x = take_left(t);
          return keep_effects(x, mk_icon(truncate_to_type(all, ty), ty));
        }
        break;
      case XORB:
        if (m.is_zero()) return keep_operand(t, true, c);
        if (m == all) {
          erase_tree(r);
          t->right = nullptr;
          t->op = NOTB;
          c.changed = true;
          return t;
        }
        // A value of 1 or 0 flipped by 1 is its logical opposite.
        if (m == INT65(1) && returns_1_or_0(l) && same_type(ty, int_type())) {
          NODE* x = take_left(t);
          c.changed = true;
          return as_type(invert_boolean_tree(x), ty, c);
        }
        break;
      default:
        break;
    }
    return t;
  }
  if (pure(l) && trees_are_congruent(l, r)) {
    c.changed = true;
    if (t->op == XORB) {
      erase_tree(t);
      return mk_icon(INT65(0), ty);
    }
    return keep_operand(t, true, c);  // x & x, x | x
  }
  // x & ~x is 0, x | ~x is all ones
  if ((t->op == ANDB || t->op == ORB) && pure(t)) {
    bool crossed = (r->op == NOTB && trees_are_congruent(r->left, l)) || (l->op == NOTB && trees_are_congruent(l->left, r));
    if (crossed) {
      bool is_and = t->op == ANDB;
      erase_tree(t);
      c.changed = true;
      return mk_icon(is_and ? INT65(0) : truncate_to_type(all, ty), ty);
    }
  }
  return t;
}

NODE* simp_SQR_ABS_SQRT(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  TYPE* ty = t->type;
  if (!x || !same_type(x->type, ty)) return t;
  bool signed_int = is_wrap_int(ty) && type_is_signed(ty);
  switch (t->op) {
    case SQR:
      // (-x)^2 and |x|^2 are x^2 (integers: a floating NaN keeps its sign).
      if (is_wrap_int(ty) && (x->op == UMINUS || x->op == ABS)) {
        t->left = take_left(x);
        c.changed = true;
      }
      return t;
    case ABS:
      if (!signed_int && !is_flt_type(ty)) return t;
      if (x->op == UMINUS || x->op == ABS) {
        t->left = take_left(x);
        c.changed = true;
        return t;
      }
      if (signed_int && tree_is_non_negative(x, c.loop, c.context)) return keep_operand(t, true, c);
      return t;
    default:
      return t;
  }
}

}  // namespace simp
