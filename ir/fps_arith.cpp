// The simulated format itself: named constants, fp_error, normalisation,
// the four operations and the comparisons.
#include <cstdio>
#include <cstdlib>

#include "ir/fps.h"

int fp_error = 0;

const simul_fval pos_zero = {{0, 0, 0, 0}, FPS_EXP_ZERO, 0};
const simul_fval neg_zero = {{0, 0, 0, 0}, FPS_EXP_ZERO, 1};
const simul_fval pos_infin = {{0, 0, 0, 0}, FPS_EXP_SPECIAL, 0};
const simul_fval neg_infin = {{0, 0, 0, 0}, FPS_EXP_SPECIAL, 1};
const simul_fval a_nan = {{1, 0, 0, 0}, FPS_EXP_SPECIAL, 0};
// (2 - 2^-52) * 2^1023: 53 ones under exponent 1024.
const simul_fval pos_huge = {{0xffff, 0xffff, 0xffff, 0xf800}, 1024, 0};
const simul_fval neg_huge = {{0xffff, 0xffff, 0xffff, 0xf800}, 1024, 1};
const simul_fval const_one = {{1, 0, 0, 0}, 16, 0};
const simul_fval const_ten = {{10, 0, 0, 0}, 16, 0};
const simul_fval const_sixteen = {{16, 0, 0, 0}, 16, 0};
const simul_fval const_dig[16] = {
    {{0, 0, 0, 0}, FPS_EXP_ZERO, 0}, {{1, 0, 0, 0}, 16, 0},  {{2, 0, 0, 0}, 16, 0},
    {{3, 0, 0, 0}, 16, 0},           {{4, 0, 0, 0}, 16, 0},  {{5, 0, 0, 0}, 16, 0},
    {{6, 0, 0, 0}, 16, 0},           {{7, 0, 0, 0}, 16, 0},  {{8, 0, 0, 0}, 16, 0},
    {{9, 0, 0, 0}, 16, 0},           {{10, 0, 0, 0}, 16, 0}, {{11, 0, 0, 0}, 16, 0},
    {{12, 0, 0, 0}, 16, 0},          {{13, 0, 0, 0}, 16, 0}, {{14, 0, 0, 0}, 16, 0},
    {{15, 0, 0, 0}, 16, 0},
};
const simul_fval one_q = {{0x4000, 0, 0, 0}, 0, 0};
const simul_fval one_half = {{0x8000, 0, 0, 0}, 0, 0};
const simul_fval three_q = {{0xc000, 0, 0, 0}, 0, 0};
const simul_fval one = {{1, 0, 0, 0}, 16, 0};
const simul_fval neg_one = {{1, 0, 0, 0}, 16, 1};
const simul_fval one_p_five = {{1, 0x8000, 0, 0}, 16, 0};
const simul_fval two = {{2, 0, 0, 0}, 16, 0};
const simul_fval neg_two = {{2, 0, 0, 0}, 16, 1};
const simul_fval four = {{4, 0, 0, 0}, 16, 0};

bool f_is_nan(const simul_fval* a) { return a->exponent == FPS_EXP_SPECIAL && a->mantissa[0] != 0; }
bool f_is_inf(const simul_fval* a) { return a->exponent == FPS_EXP_SPECIAL && a->mantissa[0] == 0; }
bool f_is_zero(const simul_fval* a) { return a->exponent == FPS_EXP_ZERO && a->mantissa[0] == 0; }
bool f_is_finite(const simul_fval* a) { return a->exponent != FPS_EXP_SPECIAL; }

namespace {

simul_fval signed_zero(unsigned sign) { return sign ? neg_zero : pos_zero; }
simul_fval signed_infin(unsigned sign) { return sign ? neg_infin : pos_infin; }

// Stores four digits of a normalised array (guard at index 0).
simul_fval from_digits(const uint16_t* w, long exponent, unsigned sign) {
  simul_fval r;
  for (int i = 0; i < 4; ++i) r.mantissa[i] = w[i + 1];
  r.exponent = static_cast<int16_t>(exponent);
  r.sign = static_cast<uint16_t>(sign);
  return r;
}

// Magnitude order of two finite non-zero values or infinities.
int compare_magnitude(const simul_fval* a, const simul_fval* b) {
  bool ia = f_is_inf(a), ib = f_is_inf(b);
  if (ia || ib) return ia == ib ? 0 : (ia ? 1 : -1);
  if (a->exponent != b->exponent) return a->exponent > b->exponent ? 1 : -1;
  for (int i = 0; i < 4; ++i)
    if (a->mantissa[i] != b->mantissa[i]) return a->mantissa[i] > b->mantissa[i] ? 1 : -1;
  return 0;
}

// -1, 0, 1 for less, equal, greater; 2 when a NaN makes them unordered.
int compare_values(const simul_fval* a, const simul_fval* b) {
  if (f_is_nan(a) || f_is_nan(b)) return 2;
  bool za = f_is_zero(a), zb = f_is_zero(b);
  if (za && zb) return 0;
  if (za) return b->sign ? 1 : -1;
  if (zb) return a->sign ? -1 : 1;
  if (a->sign != b->sign) return a->sign ? -1 : 1;
  int m = compare_magnitude(a, b);
  return a->sign ? -m : m;
}

// Common end of f_mul and f_div.
int finish_product(uint16_t* w, long exponent, unsigned sign, simul_fval* r) {
  f_normalize(w, &exponent, 9);
  if (exponent < FPS_EXP_ZERO) {
    *r = signed_zero(sign);
    fp_error |= FP_UNDERFLOW;
    return -1;
  }
  if (exponent >= FPS_EXP_SPECIAL) {
    *r = signed_infin(sign);
    fp_error |= FP_OVERFLOW;
    return -1;
  }
  *r = from_digits(w, exponent, sign);
  return 0;
}

int count_leading_zeros16(uint16_t d) {
  int n = 0;
  for (uint16_t bit = 0x8000; bit && !(d & bit); bit >>= 1) ++n;
  return n;
}

}  // namespace

// The rounding digit is digits[5]; only its top bit counts, which is all that
// rounding half away from zero needs. Lower places take part in the shifts
// and are cleared at the end.
void f_normalize(uint16_t* digits, long* exponent, long count) {
  for (;;) {
    if (digits[0] != 0) {
      for (long i = count - 1; i >= 1; --i) digits[i] = digits[i - 1];
      digits[0] = 0;
      *exponent += 16;
    }
    if (digits[1] == 0) {
      long first = 1;
      while (first < count && digits[first] == 0) ++first;
      if (first == count) {
        *exponent = 0;
        return;
      }
      long shift = first - 1;
      for (long i = 1; i < count; ++i) digits[i] = i + shift < count ? digits[i + shift] : 0;
      *exponent -= 16 * shift;
    }
    if (count > 5 && (digits[5] & 0x8000)) {
      for (int i = 4; i >= 0; --i) {
        digits[i] = static_cast<uint16_t>(digits[i] + 1);
        if (digits[i] != 0) break;
      }
      if (digits[0] != 0) continue;  // the carry ran into the guard digit
    }
    break;
  }
  for (long i = 5; i < count; ++i) digits[i] = 0;
}

int f_add(const simul_fval* a, const simul_fval* b, simul_fval* r) {
  if (f_is_nan(a)) {
    *r = *a;
    return 0;
  }
  if (f_is_nan(b)) {
    *r = *b;
    return 0;
  }
  if (f_is_inf(a)) {
    if (!f_is_inf(b) || a->sign == b->sign) {
      *r = *a;
      return 0;
    }
    *r = a_nan;
    fp_error |= FP_INVALID;
    return -1;
  }
  if (f_is_inf(b)) {
    *r = *b;
    return 0;
  }
  unsigned both_negative = a->sign && b->sign;
  bool za = f_is_zero(a), zb = f_is_zero(b);
  if (za && zb) {
    *r = signed_zero(both_negative);
    return 0;
  }
  if (za || zb) {
    *r = za ? *b : *a;
    return 0;
  }

  const simul_fval* big = a;
  const simul_fval* small = b;
  if (compare_magnitude(a, b) < 0) {
    big = b;
    small = a;
  }
  long distance = (static_cast<long>(big->exponent) - small->exponent) / 16;
  if (distance > 6) {
    *r = *big;
    return 0;
  }

  uint16_t w[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
  uint16_t s[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
  for (int i = 0; i < 4; ++i) {
    w[i + 1] = big->mantissa[i];
    long at = i + 1 + distance;
    if (at <= 8) s[at] = small->mantissa[i];
  }
  if (a->sign == b->sign) {
    uint32_t carry = 0;
    for (int i = 8; i >= 0; --i) {
      uint32_t t = uint32_t(w[i]) + s[i] + carry;
      w[i] = static_cast<uint16_t>(t);
      carry = t >> 16;
    }
  } else {
    int32_t borrow = 0;
    for (int i = 8; i >= 0; --i) {
      int32_t t = int32_t(w[i]) - s[i] - borrow;
      borrow = t < 0;
      w[i] = static_cast<uint16_t>(t + (borrow ? 0x10000 : 0));
    }
  }

  long exponent = big->exponent;
  f_normalize(w, &exponent, 9);
  if (exponent < FPS_EXP_ZERO) {
    *r = signed_zero(both_negative);
    fp_error |= FP_UNDERFLOW;
    return -1;
  }
  if (exponent > FPS_EXP_MAX) {
    *r = signed_infin(big->sign);
    fp_error |= FP_OVERFLOW;
    return -1;
  }
  if (w[1] == 0) {  // exact cancellation
    *r = signed_zero(both_negative);
    return 0;
  }
  *r = from_digits(w, exponent, big->sign);
  return 0;
}

int f_sub(const simul_fval* a, const simul_fval* b, simul_fval* r) {
  simul_fval nb = *b;
  nb.sign ^= 1;
  return f_add(a, &nb, r);
}

int f_mul(const simul_fval* a, const simul_fval* b, simul_fval* r) {
  if (f_is_nan(a)) {
    *r = *a;
    return 0;
  }
  if (f_is_nan(b)) {
    *r = *b;
    return 0;
  }
  if ((f_is_inf(a) && f_is_zero(b)) || (f_is_zero(a) && f_is_inf(b))) {
    *r = a_nan;
    fp_error |= FP_INVALID;
    return -1;
  }
  unsigned sign = a->sign ^ b->sign;
  if (f_is_zero(a) || f_is_zero(b)) {
    *r = signed_zero(sign);
    return 0;
  }
  if (f_is_inf(a) || f_is_inf(b)) {
    *r = signed_infin(sign);
    return 0;
  }

  uint16_t w[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
  for (int j = 3; j >= 0; --j) {
    uint32_t bd = b->mantissa[j];
    if (bd == 0) continue;
    uint32_t carry = 0;
    for (int i = 3; i >= 0; --i) {
      uint32_t t = a->mantissa[i] * bd + w[i + j + 2] + carry;
      w[i + j + 2] = static_cast<uint16_t>(t);
      carry = t >> 16;
    }
    w[j + 1] = static_cast<uint16_t>(carry);
  }
  return finish_product(w, static_cast<long>(a->exponent) + b->exponent, sign, r);
}

int f_div(const simul_fval* a, const simul_fval* b, simul_fval* r) {
  if (f_is_nan(a)) {
    *r = *a;
    return 0;
  }
  if (f_is_nan(b)) {
    *r = *b;
    return 0;
  }
  if ((f_is_zero(a) && f_is_zero(b)) || (f_is_inf(a) && f_is_inf(b))) {
    *r = a_nan;
    fp_error |= FP_INVALID;
    return -1;
  }
  unsigned sign = a->sign ^ b->sign;
  if (f_is_inf(a)) {
    *r = signed_infin(sign);
    return 0;
  }
  if (f_is_zero(b)) {
    *r = signed_infin(sign);
    fp_error |= FP_DIVBYZERO;
    return -1;
  }
  if (f_is_zero(a) || f_is_inf(b)) {
    *r = signed_zero(sign);
    return 0;
  }

  // Long division, one base-65536 digit at a time: w[0] takes the integer
  // digit of the quotient of the mantissas, w[1..8] the fraction digits.
  uint64_t divisor = f_mantissa64(b);
  unsigned __int128 rem = f_mantissa64(a);
  uint16_t w[9];
  for (int k = 0; k < 9; ++k) {
    if (k > 0) rem <<= 16;
    w[k] = static_cast<uint16_t>(rem / divisor);
    rem %= divisor;
  }
  return finish_product(w, static_cast<long>(a->exponent) - b->exponent, sign, r);
}

int f_neg(const simul_fval* a, simul_fval* r) {
  *r = *a;
  r->sign ^= 1;
  return 0;
}

int f_abs(const simul_fval* a, simul_fval* r) {
  *r = *a;
  r->sign = 0;
  return 0;
}

int f_cvf(const simul_fval* a, simul_fval* r) {
  *r = *a;
  return 0;
}

bool f_eq(const simul_fval* a, const simul_fval* b) { return compare_values(a, b) == 0; }
bool f_ne(const simul_fval* a, const simul_fval* b) { return compare_values(a, b) != 0; }
bool f_lt(const simul_fval* a, const simul_fval* b) { return compare_values(a, b) == -1; }
bool f_le(const simul_fval* a, const simul_fval* b) {
  int c = compare_values(a, b);
  return c == -1 || c == 0;
}
bool f_gt(const simul_fval* a, const simul_fval* b) { return compare_values(a, b) == 1; }
bool f_ge(const simul_fval* a, const simul_fval* b) {
  int c = compare_values(a, b);
  return c == 1 || c == 0;
}

bool f_bit_eq(const simul_fval* a, const simul_fval* b) {
  for (int i = 0; i < 4; ++i)
    if (a->mantissa[i] != b->mantissa[i]) return false;
  return a->exponent == b->exponent && a->sign == b->sign;
}

int f_min(const simul_fval* a, const simul_fval* b, simul_fval* r) {
  if (f_is_nan(a) || f_is_nan(b)) {
    *r = f_is_nan(a) ? *a : *b;
    return 0;
  }
  *r = f_lt(b, a) ? *b : *a;
  return 0;
}

int f_max(const simul_fval* a, const simul_fval* b, simul_fval* r) {
  if (f_is_nan(a) || f_is_nan(b)) {
    *r = f_is_nan(a) ? *a : *b;
    return 0;
  }
  *r = f_gt(b, a) ? *b : *a;
  return 0;
}

int f_sgn(const simul_fval* a, long* sign) {
  if (f_is_nan(a)) {
    *sign = 0;
    fp_error |= FP_INVALID;
    return -1;
  }
  *sign = f_is_zero(a) ? 0 : (a->sign ? -1 : 1);
  return 0;
}

int f_int(const simul_fval* a, long* is_integer) {
  if (!f_is_finite(a)) {
    *is_integer = 0;
    return 0;
  }
  if (f_is_zero(a) || a->exponent >= 64) {
    *is_integer = 1;
    return 0;
  }
  if (a->exponent <= 0) {
    *is_integer = 0;
    return 0;
  }
  uint64_t fraction_mask = ~uint64_t(0) >> a->exponent;
  *is_integer = (f_mantissa64(a) & fraction_mask) == 0;
  return 0;
}

long f_findexp(const simul_fval* a) {
  if (!f_is_finite(a) || f_is_zero(a)) return a->exponent;
  uint64_t m = f_mantissa64(a);
  long e = a->exponent;
  while (!(m & (uint64_t(1) << 63))) {
    m <<= 1;
    --e;
  }
  return e;
}

int f_left_justify(simul_fval* a) {
  if (!f_is_finite(a) || f_is_zero(a)) return 0;
  int first = 0;
  while (first < 3 && a->mantissa[first] == 0) ++first;
  if (first == 3) {
    fprintf(stderr, ">>>Internal Error: Illegal float representation!\n");
    exit(1);
  }
  int shift = 16 * first + count_leading_zeros16(a->mantissa[first]);
  long exponent = static_cast<long>(a->exponent) - shift;
  if (exponent < FPS_EXP_ZERO) {
    *a = signed_zero(a->sign);
    fp_error |= FP_UNDERFLOW;
    return -1;
  }
  f_set_mantissa64(a, f_mantissa64(a) << shift);
  a->exponent = static_cast<int16_t>(exponent);
  return 0;
}

int f_align_radix_pt(simul_fval* a) {
  if (!f_is_finite(a) || f_is_zero(a)) return 0;
  long exponent = a->exponent;
  long over = ((exponent % 16) + 16) % 16;
  uint64_t m = f_mantissa64(a);
  if (over != 0) {
    long raised = exponent + (16 - over);
    if (raised > FPS_EXP_MAX) {
      *a = signed_infin(a->sign);
      fp_error = FP_OVERFLOW;
      return -1;
    }
    m >>= 16 - over;
    exponent = raised;
  }
  // A mantissa that was not left-justified may now lead with zero digits.
  if (m == 0) {
    *a = signed_zero(a->sign);
    return 0;
  }
  while (!(m >> 48)) {
    m <<= 16;
    exponent -= 16;
  }
  if (exponent < FPS_EXP_ZERO) {
    *a = signed_zero(a->sign);
    fp_error |= FP_UNDERFLOW;
    return -1;
  }
  f_set_mantissa64(a, m);
  a->exponent = static_cast<int16_t>(exponent);
  return 0;
}
