// Division and remainder: the rules of simp_DIV and simp_MOD, the exact
// rewrites of simp_DIV_by_ICON, and the warps of a division by a constant
// into cheaper operators (warp_DIV_to_MULT, transform_DIV_or_MOD), which run
// only where speed is asked for. Integer rules hold for every value of the
// operands in wrap-around arithmetic; where a rule needs "no overflow" it
// asks the value bounds.
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp_internal.h"

namespace simp {


namespace {

bool pure(const NODE* t) { return !tree_has_side_effects(t); }

INT65 abs65(const INT65& v) { return v.is_negative() ? -v : v; }

INT65 gcd65(INT65 a, INT65 b) {
  a = abs65(a), b = abs65(b);
  while (!b.is_zero()) {
    INT65 r = a % b;
    a = b;
    b = r;
  }
  return a;
}

// The range of x excludes the most negative value of its type, so that -x
// is exact.
bool negation_is_exact(NODE* x, SIMP_CTX& c) {
  INT65 lo, hi;
  return value_range(x, lo, hi, &c) && lo > type_min(x->type);
}

// The constant coefficient of a product through signed UMINUS and MULT, and
// where it stands. `slot` gets the ICON node to divide.
NODE** coef_slot(NODE** p, INT65& coef) {
  NODE* t = *p;
  if (!t) return nullptr;
  if (t->op == MULT && is_icon(t->right) && type_is_signed(t->type)) {
    coef = icon_in(t->right, t->type);
    return &t->right;
  }
  if (t->op == UMINUS && type_is_signed(t->type)) return coef_slot(&t->left, coef);
  if (is_icon(t) && type_is_signed(t->type)) {
    coef = icon_in(t, t->type);
    return p;
  }
  return nullptr;
}

INT65 max_ICON_coef(NODE** p) {
  INT65 k;
  return coef_slot(p, k) ? k : INT65(1);
}

// The product with its coefficient in place can't have wrapped, so that
// dividing the coefficient divides the value.
bool product_is_exact(NODE* t, SIMP_CTX& c) {
  if (is_icon(t)) return true;
  if (t->op == UMINUS) return negation_is_exact(t->left, c) && product_is_exact(t->left, c);
  return t->op == MULT && arith_cannot_wrap(t, &c);
}

void div_ICON_coef(NODE** p, const INT65& g) {
  INT65 k;
  NODE** slot = coef_slot(p, k);
  (*slot)->value = truncate_to_type(k / g, (*slot)->type);
}

// (a * 6) / (b * 4) is (a * 3) / (b * 2) when neither product wraps.
bool cancel_common_simple_factors(NODE* t, SIMP_CTX& c) {
  INT65 kl = max_ICON_coef(&t->left);
  INT65 kr = max_ICON_coef(&t->right);
  if (kl.is_zero() || kr.is_zero()) return false;
  INT65 g = gcd65(kl, kr);
  if (g < INT65(2)) return false;
  if (!product_is_exact(t->left, c) || !product_is_exact(t->right, c)) return false;
  div_ICON_coef(&t->left, g);
  div_ICON_coef(&t->right, g);
  t->left = simp_tree(t->left, c.loop, c.context);
  t->right = simp_tree(t->right, c.loop, c.context);
  return true;
}

NODE* to_uminus(NODE* t, SIMP_CTX& c) {
  TYPE* ty = t->type;
  NODE* inner = resimp(t, c);
  c.changed = true;
  return mk_unary(UMINUS, inner, ty, c);
}

// The reciprocal of a floating constant, when multiplying by it gives the
// same bits as dividing: always unless strict_fp, and under strict_fp only
// for exact reciprocals (powers of two).
bool usable_reciprocal(const simul_fval* k, TYPE* ty, simul_fval& recip) {
  if (f_is_nan(k) || f_is_zero(k) || f_is_inf(k)) return false;
  fp_error = 0;
  int st = f_div(&const_one, k, &recip);
  if (st != 0 || fp_error) {
    fp_error = 0;
    return false;
  }
  truncate_fval_to_target(&recip, ty);
  if (fp_error) {
    fp_error = 0;
    return false;
  }
  if (!strict_fp) return true;
  simul_fval prod;
  st = f_mul(&recip, k, &prod);
  bool exact = st == 0 && !fp_error && f_bit_eq(&prod, &const_one);
  fp_error = 0;
  return exact;
}

}  // namespace

NODE* simp_DIV(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* ty = t->type;
  if (!l || !r) return t;
  // 2: x / x is 1 for integers; the division by zero it may hide goes.
  if (is_wrap_int(ty) && pure(l) && trees_are_congruent(l, r)) {
    erase_tree(t);
    c.changed = true;
    return mk_icon(INT65(1), ty);
  }
  // 3: x / k is x * (1 / k)
  if (is_flt_type(ty) && is_fcon(r)) {
    simul_fval recip;
    if (usable_reciprocal(fval(r), ty, recip)) {
      erase_tree(r);
      t->right = mk_FCON(recip, ty);
      t->op = MULT;
      c.changed = true;
      return t;
    }
    return t;
  }
  // 4: the rest is for integers.
  if (!is_wrap_int(ty)) return t;
  // 5: 0 / x keeps x.
  if (is_icon(l) && icon_in(l, ty).is_zero()) {
    c.changed = true;
    return keep_effects(take_right(t), mk_icon(INT65(0), ty));
  }
  if (is_icon(r) && icon_in(r, ty) == INT65(1)) {
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  // 6: unsigned goes to the constant rules; signed negative constants come
  // out as a negation.
  if (!type_is_signed(ty) || !type_is_signed(l->type) || !type_is_signed(r->type)) return simp_DIV_by_ICON(t, c);
  if (is_icon(r)) {
    INT65 d = icon_in(r, ty);
    if (d.is_negative() && fits_type(-d, ty)) {
      r->value = -d;
      return to_uminus(t, c);
    }
  }
  if (is_icon(l)) {
    INT65 n = icon_in(l, ty);
    if (n.is_negative() && fits_type(-n, ty)) {
      l->value = -n;
      return to_uminus(t, c);
    }
  }
  // Two negations cancel when neither operand can be the most negative
  // value; so does a negation against a difference.
  bool lneg = l->op == UMINUS && same_type(l->type, ty) && negation_is_exact(l->left, c);
  bool rneg = r->op == UMINUS && same_type(r->type, ty) && negation_is_exact(r->left, c);
  if (lneg && rneg) {
    t->left = take_left(l);
    t->right = take_left(r);
    c.changed = true;
    return t;
  }
  if (lneg && r->op == MINUS && same_type(r->type, ty) && !is_ptr_type(r->left->type) && negation_is_exact(r, c) &&
      pure(r)) {
    t->left = take_left(l);
    NODE* a = r->left;
    r->left = r->right;
    r->right = a;
    t->right = resimp(r, c);
    c.changed = true;
    return t;
  }
  // 7: common factors of the two sides.
  if (cancel_common_simple_factors(t, c)) {
    c.changed = true;
    return t;
  }
  return simp_DIV_by_ICON(t, c);
}

NODE* simp_DIV_by_ICON(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* ty = t->type;
  if (!is_icon(r) || !is_wrap_int(ty) || !same_type(l->type, ty)) return t;
  INT65 d = icon_in(r, ty);
  if (d <= INT65(1)) return t;
  // (a * k) / d: when d divides k the quotient is a * (k / d); when k
  // divides d it is a / (d / k). Both need a * k not to wrap.
  if (l->op == MULT && is_icon(l->right) && same_type(l->type, ty) && arith_cannot_wrap(l, &c)) {
    INT65 k = icon_in(l->right, ty);
    if (!k.is_zero() && (k % d).is_zero()) {
      l->right->value = truncate_to_type(k / d, ty);
      c.changed = true;
      return resimp(take_left(t), c);
    }
    if (k > INT65(0) && (d % k).is_zero()) {
      r->value = truncate_to_type(d / k, ty);
      t->left = take_left(l);
      c.changed = true;
      return t;
    }
  }
  // (a << s) / d, the same with k = 2^s.
  if (l->op == SLL && is_icon(l->right) && same_type(l->type, ty) && arith_cannot_wrap(l, &c)) {
    INT65 sc = truncate_to_width(l->right->value, 32, false);
    int dk = log2_exact(d);
    if (sc < INT65(type_bits(ty)) && dk > 0) {
      int s = static_cast<int>(sc.low);
      if (s >= dk) {
        l->right->value = INT65(s - dk);
        c.changed = true;
        return resimp(take_left(t), c);
      }
      r->value = INT65(1) << (dk - s);
      t->left = take_left(l);
      c.changed = true;
      return t;
    }
  }
  // (a + b) / d where d divides both sides: a / d + b / d. And (a + k) / d
  // with d dividing a, 0 <= k < d and a not negative: a / d.
  if (l->op == PLUS && same_type(l->type, ty) && arith_cannot_wrap(l, &c)) {
    NODE* a = l->left;
    NODE* b = l->right;
    if (integer_DIV_is_exact(a, d) && integer_DIV_is_exact(b, d) && pure(l)) {
      NODE* qa = maketree(DIV, a, copy_tree(r, false), ty, t->scope);
      NODE* qb = maketree(DIV, b, r, ty, t->scope);
      l->left = l->right = nullptr;
      erase_tree(l);
      t->left = t->right = nullptr;
      erase_tree(t);
      c.changed = true;
      return mk_binary(PLUS, resimp(qa, c), resimp(qb, c), ty, c);
    }
    if (is_icon(b) && integer_DIV_is_exact(a, d) && tree_is_non_negative(a, c.loop, c.context)) {
      INT65 k = icon_in(b, ty);
      if (k >= INT65(0) && k < d) {
        t->left = take_left(l);
        c.changed = true;
        return t;
      }
    }
  }
  return t;
}

NODE* simp_MOD(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* ty = t->type;
  if (!l || !r || !is_wrap_int(ty)) return t;
  if (pure(l) && trees_are_congruent(l, r)) {
    erase_tree(t);
    c.changed = true;
    return mk_icon(INT65(0), ty);
  }
  if (is_icon(l) && icon_in(l, ty).is_zero()) {
    c.changed = true;
    return keep_effects(take_right(t), mk_icon(INT65(0), ty));
  }
  if (!is_icon(r)) return t;
  INT65 d = icon_in(r, ty);
  bool sgn = type_is_signed(ty);
  if (d == INT65(1) || (sgn && d == INT65(-1))) {
    c.changed = true;
    return keep_effects(take_left(t), mk_icon(INT65(0), ty));
  }
  // The sign of a remainder follows the dividend: x % -d is x % d.
  if (sgn && d.is_negative() && fits_type(-d, ty)) {
    r->value = -d;
    c.changed = true;
    return t;
  }
  if (d <= INT65(1)) return t;
  INT65 lo, hi;
  bool ranged = value_range(l, lo, hi, &c) && same_type(l->type, ty);
  // |x| < d: the remainder is x itself.
  if (ranged && lo > -d && hi < d) {
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  // A dividend that can't be negative keeps the low bits: x % 2^k is
  // x & (2^k - 1). With a possibly negative x the sign would be lost.
  int k = log2_exact(d);
  if (k > 0 && (!sgn || (ranged && lo >= INT65(0)))) {
    r->value = d - INT65(1);
    t->op = ANDB;
    c.changed = true;
    return t;
  }
  if (integer_DIV_is_exact(l, d)) {
    c.changed = true;
    return keep_effects(take_left(t), mk_icon(INT65(0), ty));
  }
  return t;
}

}  // namespace simp

using namespace simp;

NODE* warp_DIV_to_MULT(NODE* t, bool, struct LOOP* loop, CONTEXT* context, bool) {
  if (size_speed_goal <= 2 || !t || t->op != DIV || !is_icon(t->right) || !t->left) return t;
  TYPE* ty = t->type;
  if (!is_wrap_int(ty) || !is_wrap_int(t->left->type)) return t;
  SIMP_CTX c;
  c.loop = loop;
  c.context = context;
  INT65 d = icon_in(t->right, ty);
  if (d.is_zero()) return t;
  bool sgn = type_is_signed(ty);
  NODE* x = t->left;
  // 1: negative divisors
  if (sgn && d.is_negative()) {
    if (fits_type(-d, ty)) {
      t->right->value = -d;
      NODE* w = warp_DIV_to_MULT(t, false, loop, context, true);
      return mk_unary(UMINUS, w, ty, c);
    }
    // x / MIN is 1 only for x == MIN.
    t->op = EQ;
    t->type = int_type();
    return as_type(resimp(t, c), ty, c);
  }
  // 2
  if (d == INT65(1)) return as_type(take_left(t), ty, c);
  INT65 lo, hi;
  bool ranged = value_range(x, lo, hi, &c) && same_type(x->type, ty);
  // 3: every value strictly between -d and d divides to 0.
  if (ranged && lo > -d && hi < d) return keep_effects(take_left(t), mk_icon(INT65(0), ty));
  // 4: 0 <= x < 2d: the quotient is x >= d.
  if (ranged && lo >= INT65(0) && hi < d + d) {
    t->op = sgn ? GE : UGE;
    t->type = int_type();
    return as_type(resimp(t, c), ty, c);
  }
  // 5: powers of two become shifts.
  int k = log2_exact(d);
  if (k > 0 && type_bits(int_type()) == 32 && type_bits(x->type) == 32 && type_bits(ty) == 32 &&
      !tree_has_side_effects(x)) {
    bool may_be_negative = sgn && !(ranged && lo >= INT65(0));
    if (may_be_negative && !integer_DIV_is_exact(x, d)) {
      // x + ((unsigned)(x >> (k - 1)) >> (w - k)) rounds toward zero.
      TYPE* st = int_type_of(32, true);
      TYPE* ut = int_type_of(32, false);
      NODE* xs = coerce_to_type(st, copy_tree(x, false));
      NODE* sh1 = maketree(SRL, xs, mk_icon(INT65(k - 1), int_type()), st, x->scope);
      NODE* us = coerce_to_type(ut, simp_node(sh1, loop, context));
      NODE* sh2 = maketree(SRL, simp_node(us, loop, context), mk_icon(INT65(32 - k), int_type()), ut, x->scope);
      NODE* term = coerce_to_type(st, simp_node(sh2, loop, context));
      NODE* sum = maketree(PLUS, coerce_to_type(st, x), simp_node(term, loop, context), st, x->scope);
      t->left = as_type(simp_node(sum, loop, context), ty, c);
    }
    erase_tree(t->right);
    t->right = mk_icon(INT65(k), int_type());
    t->op = SRL;
    return simp_node(t, loop, context);
  }
  return t;
}

NODE* transform_DIV_or_MOD(NODE* t, struct LOOP* loop) {
  if (!t) return t;
  t->left = transform_DIV_or_MOD(t->left, loop);
  t->right = transform_DIV_or_MOD(t->right, loop);
  if (t->op == DIV && is_icon(t->right)) return warp_DIV_to_MULT(t, false, loop, nullptr, true);
  if (t->op == MOD && is_icon(t->right) && t->left && !tree_has_side_effects(t->left) && is_wrap_int(t->type)) {
    NODE* q = maketree(DIV, copy_tree(t->left, false), copy_tree(t->right, false), t->type, t->scope);
    q = warp_DIV_to_MULT(q, false, loop, nullptr, true);
    if (q->op == DIV) {
      erase_tree(q);
      return t;
    }
    // x - (x / c) * c
    SIMP_CTX c;
    c.loop = loop;
    TYPE* ty = t->type;
    NODE* x = t->left;
    NODE* k = t->right;
    t->left = t->right = nullptr;
    erase_tree(t);
    NODE* prod = simp_node(maketree(MULT, q, k, ty, x->scope), loop, nullptr);
    return simp_node(mk_MINUS(x, prod, ty), loop, nullptr);
  }
  return t;
}

void transform_DIVs_by_ICONs() {
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink)
    for (LIST* l = bb->statements; l; l = l->next)
      if (l->tree) l->tree = transform_DIV_or_MOD(l->tree, bb->loop);
}
