// Multiplication, in the order of its rules: operand placement, floating
// constants that are exact (1, -1, 2), powers, the integer constants 0, 1,
// -1, same-size conversions, negation taken out, constants carried out of a
// widened product; then distribution of constants and powers of two as
// shifts.
#include "options/global_flags.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool pure(const NODE* t) { return !tree_has_side_effects(t); }

bool is_same_size_int_sconv(const NODE* x, const TYPE* ty) {
  return x && x->op == SCONV && x->left && is_wrap_int(x->type) && is_wrap_int(x->left->type) &&
         type_bits(x->type) == type_bits(x->left->type) && type_bits(x->type) == type_bits(ty);
}

NODE* restart(NODE* t, SIMP_CTX& c) {
  c.changed = true;
  return t;
}

}  // namespace

NODE* simp_MULT(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* ty = t->type;
  if (!l || !r) return t;
  // 1-3: leaf right, constant right, power left.
  bool floating = is_flt_type(ty);
  if (!is_leaf(r) && is_leaf(l) && pure(l) && pure(r) && !floating) {
    t->left = r, t->right = l;
    return restart(t, c);
  }
  if (is_const(l) && !is_const(r) && !(floating && is_fcon(l) && f_is_nan(fval(l)))) {
    t->left = r, t->right = l;
    return restart(t, c);
  }
  if (r->op == EXPT && l->op != EXPT && pure(l) && pure(r)) {
    t->left = r, t->right = l;
    return restart(t, c);
  }
  // 4: floating constants with an exact meaning.
  if (is_flt_type(ty) && is_fcon(r)) {
    const simul_fval* k = fval(r);
    if (f_is_nan(k)) {
      t->op = COMMAOP;
      return restart(t, c);
    }
    simul_fval one_v, m_one, two_v;
    f_itof(1LL, &one_v);
    f_itof(-1LL, &m_one);
    f_itof(2LL, &two_v);
    if (f_eq(k, &one_v) || f_eq(k, &m_one)) {
      bool negate = f_eq(k, &m_one);
      erase_tree(r);
      t->right = nullptr;
      if (negate) {
        t->op = UMINUS;
        return restart(t, c);
      }
      c.changed = true;
      return as_type(take_left(t), ty, c);
    }
    if (f_eq(k, &two_v) && pure(l)) {
      erase_tree(r);
      t->right = copy_tree(l, false);
      t->op = PLUS;
      return restart(t, c);
    }
  }
  // 5-6: powers of one base.
  if (l->op == EXPT && l->left && trees_are_congruent(l->left, r) && pure(r) && is_int_type(l->right->type)) {
    TYPE* et = c_integral_promotions(r->type);
    t->right = maketree(EXPT, r, mk_icon(INT65(1), et ? et : int_type()), r->type, r->scope);
    return restart(t, c);
  }
  if (l->op == EXPT && r->op == EXPT && trees_are_congruent(l->left, r->left) && pure(r) &&
      compatible_types(l->type, ty, false) && compatible_types(r->type, ty, false) && is_icon(l->right) &&
      is_icon(r->right)) {
    NODE* n = fold_constants(maketree(PLUS, l->right, r->right, l->right->type, t->scope));
    r->right = nullptr;
    l->right = n;
    t->left = nullptr;
    erase_tree(t);
    c.changed = true;
    return resimp(l, c);
  }
  if (!is_wrap_int(ty)) return t;
  // 7: the integer constants 0, 1 and -1 (an unsigned one counts as -1 when
  // all its bits are set).
  if (is_icon(r)) {
    INT65 k = icon_in(r, ty);
    INT65 sk = sign_extend_by_type(k, ty);
    if (k.is_zero()) {
      c.changed = true;
      return keep_effects(take_left(t), mk_icon(INT65(0), ty));
    }
    if (k == INT65(1)) {
      c.changed = true;
      return as_type(take_left(t), ty, c);
    }
    if (sk == INT65(-1)) {
      erase_tree(r);
      t->right = nullptr;
      t->op = UMINUS;
      return restart(t, c);
    }
  }
  // 8: conversions between integers of the node's size change no bit of a
  // product.
  if (is_same_size_int_sconv(l, ty)) {
    t->left = take_left(l);
    return restart(t, c);
  }
  if (is_same_size_int_sconv(r, ty)) {
    t->right = take_left(r);
    return restart(t, c);
  }
  // 9: (-x) * k is x * -k
  if (l->op == UMINUS && is_icon(r) && same_type(l->type, ty)) {
    t->left = take_left(l);
    r->value = truncate_to_type(-icon_in(r, ty), ty);
    return restart(t, c);
  }
  // 10: (widen)(x * k1) * k2 is (widen)x * (k1 * k2) when x * k1 can't
  // overflow its own type.
  if (is_icon(r) && l->op == SCONV && l->left && l->left->op == MULT && is_icon(l->left->right)) {
    NODE* inner = l->left;
    TYPE* it = inner->type;
    if (is_wrap_int(it) && type_is_signed(it) && type_bits(l->type) >= type_bits(it) &&
        compatible_types(combined_type(l->type, r->type), ty, false) &&
        arith_cannot_wrap(inner, &c)) {
      INT65 k = truncate_to_type(icon_in(inner->right, it) * icon_in(r, ty), ty);
      r->value = k;
      l->left = take_left(inner);
      t->left = resimp(l, c);
      return restart(t, c);
    }
  }
  // (x + k1) * k2 is x * k2 + k1 * k2
  if (is_icon(r) && l->op == PLUS && is_icon(l->right) && same_type(l->type, ty)) {
    NODE* k1 = l->right;
    l->right = nullptr;
    NODE* x = take_left(l);
    NODE* prod = fold_constants(maketree(MULT, k1, copy_tree(r, false), ty, t->scope));
    t->left = x;
    c.changed = true;
    return mk_binary(PLUS, resimp(t, c), prod, ty, c);
  }
  // x * 2^k is x << k
  if (is_icon(r)) {
    int k = log2_exact(icon_in(r, ty));
    if (k > 0 && k < type_bits(ty)) {
      erase_tree(r);
      t->right = mk_icon(INT65(k), int_type());
      t->op = SLL;
      return restart(t, c);
    }
  }
  return t;
}

NODE* simp_EXPT(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  NODE* n = t->right;
  if (!x || !is_icon(n)) return t;
  if (n->value == INT65(1)) {
    TYPE* ty = t->type;
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  if (n->value.is_zero() && (is_wrap_int(t->type) || is_flt_type(t->type))) {
    TYPE* ty = t->type;
    NODE* one;
    if (is_flt_type(ty)) {
      simul_fval v;
      f_itof(1LL, &v);
      one = mk_FCON(v, ty);
    } else {
      one = mk_icon(INT65(1), ty);
    }
    c.changed = true;
    return keep_effects(take_left(t), one);
  }
  return t;
}

}  // namespace simp

using namespace simp;

bool tree_is_16x16_mpy(NODE* t) {
  if (!t || t->op != MULT || !t->left || !t->right) return false;
  if (type_bits(t->type) < 32 || !is_int_type(t->type)) return false;
  TYPE* half = tp->basic[TYPE_PKG::BT_SHORT];
  auto fits16 = [&](NODE* x) {
    if (is_icon(x)) return fits_type(x->value, half) || fits_type(x->value, tp->basic[TYPE_PKG::BT_USHORT]);
    INT65 lo, hi;
    if (!value_range(x, lo, hi, nullptr)) return false;
    return (lo >= type_min(half) && hi <= type_max(half)) ||
           (lo >= INT65(0) && hi <= type_max(tp->basic[TYPE_PKG::BT_USHORT]));
  };
  return fits16(t->left) && fits16(t->right);
}

