// Shifts by constants. The machine shifts the 32-bit word of the value by a
// count from 0 to 31 and then brings the result back to the operator's
// type; a count outside that range traps, so such shifts are left for the
// run time to report.
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool count_of(const NODE* r, int& k) {
  if (!is_icon(r)) return false;
  INT65 w = truncate_to_width(r->value, 32, false);
  if (w > INT65(31)) return false;
  k = static_cast<int>(w.low);
  return true;
}

// Bits [from, to) of x are known zero.
bool bits_known_zero(NODE* x, TYPE* ty, int from, int to) {
  if (from >= to) return true;
  INT65 z = find_known_zeros(x, ty);
  INT65 want = width_mask(to) & ~width_mask(from);
  return (z & want) == want;
}

}  // namespace

NODE* simp_shift(NODE* t, SIMP_CTX& c) {
  TYPE* ty = t->type;
  NODE* x = t->left;
  NODE* r = t->right;
  int k;
  if (!x || !is_wrap_int(ty) || !count_of(r, k)) return t;
  int w = type_bits(ty);
  bool sgn = type_is_signed(ty);
  bool same = same_type(x->type, ty);
  if (k == 0) {
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  if (t->op == SLL) {
    // Everything shifted out, or only zeros left in.
    if (k >= w || (same && bits_known_zero(x, ty, 0, w - k))) {
      c.changed = true;
      return keep_effects(take_left(t), mk_icon(INT65(0), ty));
    }
    int k1;
    if (same && x->op == SLL && same_type(x->type, ty) && count_of(x->right, k1)) {
      if (k1 + k >= w) {
        c.changed = true;
        return keep_effects(take_left(t), mk_icon(INT65(0), ty));
      }
      r->value = INT65(k1 + k);
      t->left = take_left(x);
      c.changed = true;
      return t;
    }
    // (x >> k) << k clears the low k bits, arithmetic or logical.
    if (same && x->op == SRL && count_of(x->right, k1) && k1 == k && k < w) {
      NODE* y = take_left(x);
      erase_tree(r);
      t->left = y;
      t->right = mk_icon(truncate_to_type(width_mask(w) & ~width_mask(k), ty), ty);
      t->op = ANDB;
      c.changed = true;
      return t;
    }
    return t;
  }
  // SRL
  if (k >= w) {
    if (!sgn) {
      c.changed = true;
      return keep_effects(take_left(t), mk_icon(INT65(0), ty));
    }
    if (k != w - 1) {
      r->value = INT65(w - 1);  // nothing but copies of the sign remain
      c.changed = true;
      return t;
    }
  }
  if (same && bits_known_zero(x, ty, k < w ? k : w, w) && (!sgn || bits_known_zero(x, ty, w - 1, w))) {
    c.changed = true;
    return keep_effects(take_left(t), mk_icon(INT65(0), ty));
  }
  int k1;
  if (same && x->op == SRL && same_type(x->type, ty) && count_of(x->right, k1)) {
    int total = k1 + k;
    if (total >= w) {
      if (!sgn) {
        c.changed = true;
        return keep_effects(take_left(t), mk_icon(INT65(0), ty));
      }
      total = w - 1;
    }
    r->value = INT65(total);
    t->left = take_left(x);
    c.changed = true;
    return t;
  }
  // Unsigned (x << k) >> k keeps the low w - k bits.
  if (same && !sgn && x->op == SLL && count_of(x->right, k1) && k1 == k && k < w) {
    NODE* y = take_left(x);
    erase_tree(r);
    t->left = y;
    t->right = mk_icon(width_mask(w - k), ty);
    t->op = ANDB;
    c.changed = true;
    return t;
  }
  return t;
}

}  // namespace simp
