// Known bits and value bounds of integer trees, and the constant factors a
// value is known to be a multiple of. All answers are conservative: an
// unknown operator, a deep tree (a walk deeper than 8 knows nothing) or
// arithmetic that may wrap gives the full range of the type. Masks are
// patterns over the width of the type asked about: bit i set means bit i of
// the value's two's complement pattern is known.
#include "options/global_flags.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

const int kMaxDepth = 8;
int known_depth = 0;

// The depth counter is restored on every way out, exceptions included.
struct DEPTH_GUARD {
  bool too_deep;
  DEPTH_GUARD() : too_deep(++known_depth > kMaxDepth) {}
  ~DEPTH_GUARD() { --known_depth; }
};

INT65 pattern(const INT65& v, int w) { return truncate_to_width(v, w, false); }

INT65 low_bits(int n, int w) { return width_mask(n < w ? n : w); }

// Trailing bits known to be zero.
int trailing_zeros(const INT65& zeros, int w) {
  int n = 0;
  while (n < w && !((zeros >> n) & INT65(1)).is_zero()) ++n;
  return n;
}

bool same_width(const NODE* t, const TYPE* type) {
  return t && t->type && is_int_type(t->type) && type_bits(t->type) == type_bits(type);
}

bool shift_amount(const NODE* c, int& k) {
  if (!is_icon(c)) return false;
  INT65 w = truncate_to_width(c->value, 32, false);
  if (w > INT65(31)) return false;
  k = static_cast<int>(w.low);
  return true;
}

// Sign knowledge of a w-bit pattern: 0 unknown, 1 known clear, 2 known set.
int sign_state(const INT65& zeros, const INT65& ones, int w) {
  INT65 bit = INT65(1) << (w - 1);
  if (!(zeros & bit).is_zero()) return 1;
  if (!(ones & bit).is_zero()) return 2;
  return 0;
}

void bits_of(NODE* t, int w, INT65& z, INT65& o);

void bits_of_operand(NODE* t, const TYPE* type, INT65& z, INT65& o) {
  z = o = INT65(0);
  if (!same_width(t, type)) return;
  bits_of(t, type_bits(type), z, o);
}

void bits_of(NODE* t, int w, INT65& z, INT65& o) {
  z = o = INT65(0);
  DEPTH_GUARD guard;
  if (guard.too_deep || !t) return;
  INT65 mask = width_mask(w);
  if (returns_1_or_0(t) && t->op != ICON) {
    z = mask & ~INT65(1);
    return;
  }
  INT65 z1, o1, z2, o2;
  switch (t->op) {
    case ICON: {
      INT65 p = pattern(t->value, w);
      o = p;
      z = ~p & mask;
      return;
    }
    case ANDB:
    case ORB:
    case XORB:
      bits_of_operand(t->left, t->type, z1, o1);
      bits_of_operand(t->right, t->type, z2, o2);
      if (t->op == ANDB) z = z1 | z2, o = o1 & o2;
      else if (t->op == ORB) z = z1 & z2, o = o1 | o2;
      else z = (z1 & z2) | (o1 & o2), o = (z1 & o2) | (o1 & z2);
      return;
    case NOTB:
      bits_of_operand(t->left, t->type, z1, o1);
      z = o1, o = z1;
      return;
    case SLL: {
      int k;
      if (!shift_amount(t->right, k)) return;
      if (k >= w) {
        z = mask;
        return;
      }
      bits_of_operand(t->left, t->type, z1, o1);
      z = ((z1 << k) | low_bits(k, w)) & mask;
      o = (o1 << k) & mask;
      return;
    }
    case SRL: {
      int k;
      if (!shift_amount(t->right, k)) return;
      bits_of_operand(t->left, t->type, z1, o1);
      int s = type_is_signed(t->type) ? sign_state(z1, o1, w) : 1;
      if (k >= w) k = w;
      INT65 high = mask & ~(k >= w ? INT65(0) : width_mask(w - k));
      z = k >= w ? INT65(0) : (z1 >> k);
      o = k >= w ? INT65(0) : (o1 >> k);
      if (s == 1) z = z | high;
      if (s == 2) o = o | high;
      z = z & mask, o = o & mask;
      return;
    }
    case SCONV: {
      NODE* x = t->left;
      if (!x || !is_int_type(x->type)) return;
      if (is_bool_type(t->type)) {
        z = mask & ~INT65(1);
        return;
      }
      int wi = type_bits(x->type);
      bits_of(x, wi, z1, o1);
      if (wi >= w) {
        z = z1 & mask, o = o1 & mask;
        return;
      }
      INT65 high = mask & ~width_mask(wi);
      int s = type_is_signed(x->type) && !is_bool_type(x->type) ? sign_state(z1, o1, wi) : 1;
      z = z1, o = o1;
      if (s == 1) z = z | high;
      if (s == 2) o = o | high;
      return;
    }
    case MULT:
    case PLUS:
    case MINUS: {
      // Low zero bits survive wrap-around: products add them, sums keep the
      // fewer.
      if (!is_wrap_int(t->type)) return;
      bits_of_operand(t->left, t->type, z1, o1);
      bits_of_operand(t->right, t->type, z2, o2);
      int a = trailing_zeros(z1, w), b = trailing_zeros(z2, w);
      int n = t->op == MULT ? a + b : (a < b ? a : b);
      z = low_bits(n, w);
      return;
    }
    case UMINUS:
      if (!is_wrap_int(t->type)) return;
      bits_of_operand(t->left, t->type, z1, o1);
      z = low_bits(trailing_zeros(z1, w), w);
      return;
    case QUEST:
      if (!t->right || t->right->op != COLON) return;
      bits_of_operand(t->right->left, t->type, z1, o1);
      bits_of_operand(t->right->right, t->type, z2, o2);
      z = z1 & z2, o = o1 & o2;
      return;
    case COMMAOP:
      bits_of_operand(t->right, t->type, z, o);
      return;
    case ASG:
      if (t->right && same_type(t->right->type, t->type)) bits_of_operand(t->right, t->type, z, o);
      return;
    default:
      return;
  }
}

bool no_wrap(const INT65& lo, const INT65& hi, const TYPE* t) { return lo >= type_min(t) && hi <= type_max(t); }

bool range_of(NODE* t, INT65& lo, INT65& hi, SIMP_CTX* c);
bool cannot_wrap(NODE* t, SIMP_CTX* c);

bool operand_range(NODE* x, const TYPE* type, INT65& lo, INT65& hi, SIMP_CTX* c) {
  if (!x || !is_int_type(x->type)) return false;
  if (!range_of(x, lo, hi, c)) return false;
  // Read in another type of the node's width, a range that fits stays.
  return no_wrap(lo, hi, type);
}

void full(const TYPE* t, INT65& lo, INT65& hi) {
  lo = type_min(t);
  hi = type_max(t);
}

// The range a set of known bits allows.
void range_from_bits(const INT65& z, const INT65& o, const TYPE* t, INT65& lo, INT65& hi) {
  int w = type_bits(t);
  INT65 mask = width_mask(w);
  INT65 may = ~z & mask;  // bits that may be one
  if (!type_is_signed(t)) {
    lo = o;
    hi = may;
    return;
  }
  INT65 sign = INT65(1) << (w - 1);
  int s = sign_state(z, o, w);
  INT65 body = mask & ~sign;
  if (s == 1) {
    lo = o & body;
    hi = may & body;
  } else if (s == 2) {
    lo = sign_extend_by_type(o | sign, t);
    hi = sign_extend_by_type(may | sign, t);
  } else {
    lo = sign_extend_by_type((o & body) | sign, t);
    hi = may & body;
  }
}

bool range_of(NODE* t, INT65& lo, INT65& hi, SIMP_CTX* c) {
  if (!t || !is_int_type(t->type) || type_bits(t->type) > 64 || type_bits(t->type) < 1) return false;
  TYPE* ty = t->type;
  full(ty, lo, hi);
  DEPTH_GUARD guard;
  if (guard.too_deep) return true;
  if (is_bool_type(ty) || returns_1_or_0(t)) {
    if (is_icon(t)) lo = hi = t->value;
    else lo = INT65(0), hi = INT65(1);
    return true;
  }
  INT65 a, b, x, y;
  switch (t->op) {
    case ICON:
      lo = hi = truncate_to_type(t->value, ty);
      return true;
    case SCONV:
      if (t->left && is_int_type(t->left->type) && range_of(t->left, a, b, c) && no_wrap(a, b, ty)) lo = a, hi = b;
      return true;
    case PLUS:
    case MINUS:
      if (!is_wrap_int(ty)) return true;
      if (operand_range(t->left, ty, a, b, c) && operand_range(t->right, ty, x, y, c)) {
        INT65 l2 = t->op == PLUS ? a + x : a - y;
        INT65 h2 = t->op == PLUS ? b + y : b - x;
        if (no_wrap(l2, h2, ty)) lo = l2, hi = h2;
      }
      return true;
    case MULT:
      if (!is_wrap_int(ty)) return true;
      if (operand_range(t->left, ty, a, b, c) && operand_range(t->right, ty, x, y, c)) {
        INT65 p[4] = {a * x, a * y, b * x, b * y};
        INT65 mn = p[0], mx = p[0];
        for (const INT65& v : p) mn = v < mn ? v : mn, mx = v > mx ? v : mx;
        // 32-bit operands: the products fit 65 bits exactly.
        if (type_bits(ty) <= 32 && no_wrap(mn, mx, ty)) lo = mn, hi = mx;
      }
      return true;
    case UMINUS:
      if (is_wrap_int(ty) && operand_range(t->left, ty, a, b, c) && no_wrap(-b, -a, ty)) lo = -b, hi = -a;
      return true;
    case ABS:
      if (is_wrap_int(ty) && type_is_signed(ty) && operand_range(t->left, ty, a, b, c)) {
        if (a >= INT65(0)) lo = a, hi = b;
        else if (b <= INT65(0) && no_wrap(-b, -a, ty)) lo = -b, hi = -a;
        else if (no_wrap(-a, -a, ty)) lo = INT65(0), hi = -a > b ? -a : b;
      }
      return true;
    case SRL: {
      int k;
      if (!shift_amount(t->right, k) || !operand_range(t->left, ty, a, b, c)) break;
      lo = a >> k, hi = b >> k;
      return true;
    }
    case SLL:
      if (cannot_wrap(t, c)) {
        int k;
        shift_amount(t->right, k);
        operand_range(t->left, ty, a, b, c);
        lo = a * (INT65(1) << k), hi = b * (INT65(1) << k);
        return true;
      }
      break;
    case DIV:
      if (!is_wrap_int(ty) || !operand_range(t->left, ty, a, b, c)) return true;
      if (is_icon(t->right)) {
        INT65 d = icon_in(t->right, ty);
        if (d.is_zero()) return true;
        INT65 q1 = a / d, q2 = b / d;
        INT65 mn = q1 < q2 ? q1 : q2, mx = q1 < q2 ? q2 : q1;
        if (no_wrap(mn, mx, ty)) lo = mn, hi = mx;
        return true;
      }
      if (operand_range(t->right, ty, x, y, c) && x >= INT65(1)) {
        lo = a < INT65(0) ? a : INT65(0);
        hi = b > INT65(0) ? b : INT65(0);
      }
      return true;
    case MOD:
      if (!is_wrap_int(ty) || !is_icon(t->right)) break;
      {
        INT65 d = icon_in(t->right, ty);
        if (d.is_zero() || d == type_min(ty)) return true;
        INT65 m = (d.is_negative() ? -d : d) - INT65(1);
        bool have = operand_range(t->left, ty, a, b, c);
        if (!have) a = type_min(ty), b = type_max(ty);
        if (a >= INT65(0)) lo = INT65(0), hi = b < m ? b : m;
        else if (b <= INT65(0)) lo = a > -m ? a : -m, hi = INT65(0);
        else lo = a > -m ? a : -m, hi = b < m ? b : m;
        return true;
      }
    case QUEST:
      if (t->right && t->right->op == COLON && operand_range(t->right->left, ty, a, b, c) &&
          operand_range(t->right->right, ty, x, y, c)) {
        lo = a < x ? a : x;
        hi = b > y ? b : y;
      }
      return true;
    case COMMAOP:
      if (operand_range(t->right, ty, a, b, c)) lo = a, hi = b;
      return true;
    case ASG:
      if (t->right && same_type(t->right->type, ty) && operand_range(t->right, ty, a, b, c)) lo = a, hi = b;
      return true;
    default:
      break;
  }
  // What the bits say.
  INT65 z, o;
  bits_of(t, type_bits(ty), z, o);
  INT65 l2, h2;
  range_from_bits(z, o, ty, l2, h2);
  if (l2 > lo) lo = l2;
  if (h2 < hi) hi = h2;
  return true;
}

INT65 abs65(const INT65& v) { return v.is_negative() ? -v : v; }

// The exact result of an arithmetic node stays in its type for every value
// its operands can take.
bool cannot_wrap(NODE* t, SIMP_CTX* c) {
  if (!t || !is_wrap_int(t->type) || type_bits(t->type) > 32) return false;
  TYPE* ty = t->type;
  INT65 a, b, x, y;
  switch (t->op) {
    case PLUS:
    case MINUS:
      if (!operand_range(t->left, ty, a, b, c) || !operand_range(t->right, ty, x, y, c)) return false;
      return t->op == PLUS ? no_wrap(a + x, b + y, ty) : no_wrap(a - y, b - x, ty);
    case MULT: {
      if (!operand_range(t->left, ty, a, b, c) || !operand_range(t->right, ty, x, y, c)) return false;
      INT65 p[4] = {a * x, a * y, b * x, b * y};
      for (const INT65& v : p)
        if (!no_wrap(v, v, ty)) return false;
      return true;
    }
    case SLL: {
      int k;
      if (!shift_amount(t->right, k) || k >= type_bits(ty) || !operand_range(t->left, ty, a, b, c)) return false;
      INT65 m = INT65(1) << k;
      return no_wrap(a * m, b * m, ty);
    }
    case UMINUS:
      return operand_range(t->left, ty, a, b, c) && no_wrap(-b, -a, ty);
    default:
      return false;
  }
}

INT65 gcd65(INT65 a, INT65 b) {
  a = abs65(a), b = abs65(b);
  while (!b.is_zero()) {
    INT65 r = a % b;
    a = b;
    b = r;
  }
  return a;
}

// The power-of-two part of a factor: what survives wrap-around.
INT65 two_part(const INT65& f, int w) {
  if (f.is_zero()) return INT65(1) << (w < 62 ? w : 62);
  INT65 p(1);
  INT65 x = abs65(f);
  while (((x & INT65(1)).is_zero()) && p < (INT65(1) << 62)) x = x >> 1, p = p + p;
  return p;
}

INT65 factor_of(NODE* t, SIMP_CTX* c);

// The factor of an arithmetic result that may wrap: exact only when the
// exact result stays in range.
INT65 wrapped(NODE* t, const INT65& f, SIMP_CTX* c) {
  if (cannot_wrap(t, c)) return f;
  return two_part(f, type_bits(t->type));
}

INT65 factor_of(NODE* t, SIMP_CTX* c) {
  if (!t || !is_wrap_int(t->type)) return INT65(1);
  DEPTH_GUARD guard;
  if (guard.too_deep) return INT65(1);
  int w = type_bits(t->type);
  INT65 z, o;
  bits_of(t, w, z, o);
  INT65 bits_factor = INT65(1) << trailing_zeros(z, w);
  INT65 f(1);
  switch (t->op) {
    case ICON: {
      INT65 v = abs65(truncate_to_type(t->value, t->type));
      return v.is_zero() ? (INT65(1) << (w < 62 ? w : 62)) : v;
    }
    case MULT: {
      INT65 p = factor_of(t->left, c) * factor_of(t->right, c);
      if (p > (INT65(1) << 62)) p = INT65(1) << 62;
      f = wrapped(t, p, c);
      break;
    }
    case PLUS:
    case MINUS:
      f = wrapped(t, gcd65(factor_of(t->left, c), factor_of(t->right, c)), c);
      break;
    case UMINUS:
      f = factor_of(t->left, c);
      break;
    case SCONV:
      if (t->left && is_wrap_int(t->left->type) && type_bits(t->left->type) <= w) {
        INT65 lo, hi;
        INT65 inner = factor_of(t->left, c);
        // A widening keeps the value when it fits the new type.
        if (range_of(t->left, lo, hi, c) && lo >= type_min(t->type) && hi <= type_max(t->type)) f = inner;
        else f = two_part(inner, w);
      }
      break;
    case QUEST:
      if (t->right && t->right->op == COLON) f = gcd65(factor_of(t->right->left, c), factor_of(t->right->right, c));
      break;
    case COMMAOP:
      f = factor_of(t->right, c);
      break;
    default:
      break;
  }
  // Products and sums mixed with pure bit facts: the larger known factor
  // wins when one divides the other; otherwise their lcm is not sure, keep
  // the larger.
  return f > bits_factor ? f : bits_factor;
}

}  // namespace

bool value_range(NODE* t, INT65& lo, INT65& hi, SIMP_CTX* c) { return range_of(t, lo, hi, c); }

bool arith_cannot_wrap(NODE* t, SIMP_CTX* c) { return cannot_wrap(t, c); }

void known_bits(NODE* t, const TYPE* type, INT65& zeros, INT65& ones) {
  zeros = ones = INT65(0);
  if (!t || !type || !is_int_type(type) || !same_width(t, type)) return;
  int w = type_bits(type);
  bits_of(t, w, zeros, ones);
  INT65 lo, hi;
  if (range_of(t, lo, hi, nullptr) && (lo.is_negative() == hi.is_negative())) {
    zeros = zeros | (find_known_zeros_in_range(lo, hi) & width_mask(w));
    ones = ones | (find_known_ones_in_range(lo, hi) & width_mask(w));
  }
}

}  // namespace simp

using namespace simp;

namespace {
// The bits from the highest one in which lo and hi differ down to bit 0:
// below their common prefix every bit takes both values in the range.
INT65 varying_bits(const INT65& lo, const INT65& hi) {
  INT65 diff = lo ^ hi;
  int top = diff.sign ? 64 : diff.high ? 63 - __builtin_clz(diff.high) : diff.low ? 31 - __builtin_clz(diff.low) : -1;
  return top < 0 ? INT65(0) : width_mask(top + 1);
}
}  // namespace

INT65 find_known_zeros_in_range(const INT65& lo, const INT65& hi) {
  INT65 m = varying_bits(lo, hi);
  return ~((lo & ~m) | m);
}

INT65 find_known_ones_in_range(const INT65& lo, const INT65& hi) { return lo & ~varying_bits(lo, hi); }

INT65 find_known_zeros(NODE* t, TYPE* type) {
  INT65 z, o;
  known_bits(t, type, z, o);
  return z;
}

INT65 find_known_ones(NODE* t, TYPE* type) {
  INT65 z, o;
  known_bits(t, type, z, o);
  return o;
}

INT65 find_known_zeros_in_ANDB(NODE* t, struct LOOP* loop, CONTEXT* context) {
  if (!t || t->op != ANDB || !is_int_type(t->type)) return INT65(0);
  SIMP_CTX c;
  c.loop = loop;
  c.context = context;
  int w = type_bits(t->type);
  INT65 result(0);
  for (NODE* side : {t->left, t->right}) {
    INT65 lo, hi;
    if (side && range_of(side, lo, hi, &c) && lo.is_negative() == hi.is_negative())
      result = result | (find_known_zeros_in_range(lo, hi) & width_mask(w));
  }
  return result;
}

INT65 calculate_maxval_for_tree(NODE* t, struct LOOP* loop, CONTEXT* context) {
  SIMP_CTX c;
  c.loop = loop;
  c.context = context;
  INT65 lo, hi;
  if (!range_of(t, lo, hi, &c)) return t && t->type ? type_max(t->type) : INT65(0);
  return hi;
}

INT65 calculate_minval_for_tree(NODE* t, struct LOOP* loop, CONTEXT* context) {
  SIMP_CTX c;
  c.loop = loop;
  c.context = context;
  INT65 lo, hi;
  if (!range_of(t, lo, hi, &c)) return t && t->type ? type_min(t->type) : INT65(0);
  return lo;
}

bool tree_is_non_negative(NODE* t, struct LOOP* loop, CONTEXT* context) {
  if (!t || !is_int_type(t->type)) return false;
  if (!type_is_signed(t->type)) return true;
  return calculate_minval_for_tree(t, loop, context) >= INT65(0);
}

INT65 max_ICON_factor(NODE* t) { return factor_of(t, nullptr); }

bool integer_DIV_is_exact(NODE* num, const INT65& d) {
  if (d.is_zero() || !num) return false;
  INT65 f = max_ICON_factor(num);
  return (f % (d.is_negative() ? -d : d)).is_zero();
}
