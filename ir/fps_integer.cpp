// Integers and rounding in the simulated format: conversions to and from
// host and compile-time integers, trunc/ceil/floor/round, modf, frexp,
// ldexp and fmod.
#include <climits>
#include <cstring>

#include "ir/fps.h"

namespace {

// Working form of a 64-bit magnitude under the exponent `exponent` (a
// multiple of 16): leading zero digits are shifted out.
simul_fval pack_magnitude(uint64_t m, long exponent, unsigned sign) {
  if (m == 0) return sign ? neg_zero : pos_zero;
  while (!(m >> 48)) {
    m <<= 16;
    exponent -= 16;
  }
  simul_fval r;
  f_set_mantissa64(&r, m);
  r.exponent = static_cast<int16_t>(exponent);
  r.sign = static_cast<uint16_t>(sign);
  return r;
}

// The integer part of a finite value with 0 < exponent <= 64.
uint64_t integer_magnitude(const simul_fval* a) {
  uint64_t m = f_mantissa64(a);
  return a->exponent >= 64 ? m : m >> (64 - a->exponent);
}

// Mask of the fraction bits of the mantissa; exponent in 0..64.
uint64_t fraction_mask(long exponent) {
  if (exponent <= 0) return ~uint64_t(0);
  if (exponent >= 64) return 0;
  return ~uint64_t(0) >> exponent;
}

bool is_special_or_zero(const simul_fval* a) { return !f_is_finite(a) || f_is_zero(a); }

}  // namespace

int f_ftoi(const simul_fval* a, long long* r) {
  bool negative = a->sign != 0;
  if (f_is_finite(a) && (f_is_zero(a) || a->exponent <= 0)) {
    *r = 0;
    return 0;
  }
  if (f_is_finite(a) && a->exponent <= 64) {
    uint64_t u = integer_magnitude(a);
    uint64_t limit = negative ? uint64_t(1) << 63 : (uint64_t(1) << 63) - 1;
    if (u <= limit) {
      *r = negative ? static_cast<long long>(0 - u) : static_cast<long long>(u);
      return 0;
    }
  }
  *r = negative ? LLONG_MIN : LLONG_MAX;
  fp_error |= FP_INVALID;
  return -1;
}

int f_ftou(const simul_fval* a, unsigned long long* r) {
  if (f_is_finite(a) && (f_is_zero(a) || a->exponent <= 0)) {
    *r = 0;
    return 0;
  }
  if (f_is_finite(a) && !a->sign && a->exponent <= 64) {
    *r = integer_magnitude(a);
    return 0;
  }
  *r = a->sign ? 0 : ULLONG_MAX;
  fp_error |= FP_INVALID;
  return -1;
}

int f_ftoi(const simul_fval* a, INT65* r) {
  bool negative = a->sign != 0;
  if (f_is_finite(a) && (f_is_zero(a) || a->exponent <= 0)) {
    *r = INT65();
    return 0;
  }
  if (f_is_finite(a) && a->exponent <= 64) {
    __int128 u = integer_magnitude(a);
    *r = INT65::from_i128(negative ? -u : u);
    return 0;
  }
  __int128 two64 = static_cast<__int128>(1) << 64;
  // -2^64 is the one value beyond 64 bits that fits.
  if (f_is_finite(a) && negative && a->exponent == 80 && f_mantissa64(a) == uint64_t(1) << 48) {
    *r = INT65::from_i128(-two64);
    return 0;
  }
  *r = INT65::from_i128(negative ? -two64 : two64 - 1);
  fp_error |= FP_INVALID;
  return -1;
}

int f_utof(unsigned long long v, simul_fval* r) {
  *r = pack_magnitude(v, 64, 0);
  return 0;
}

int f_itof(long long v, simul_fval* r) {
  uint64_t u = v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  simul_fval t = pack_magnitude(u, 64, v < 0);
  if (v == 0) t = pos_zero;
  *r = t;
  return 0;
}

int f_itof(const INT65& v, simul_fval* r) {
  __int128 x = v.i128();
  unsigned sign = x < 0;
  unsigned __int128 u = sign ? -static_cast<unsigned __int128>(x) : static_cast<unsigned __int128>(x);
  if (u >> 64) {  // only -2^64
    simul_fval t = {{1, 0, 0, 0}, 80, 1};
    *r = t;
    return 0;
  }
  *r = u == 0 ? pos_zero : pack_magnitude(static_cast<uint64_t>(u), 64, sign);
  return 0;
}

int f_trunc(const simul_fval* a, simul_fval* r) {
  if (is_special_or_zero(a) || a->exponent >= 64) {
    *r = *a;
    return 0;
  }
  if (a->exponent <= 0) {
    *r = a->sign ? neg_zero : pos_zero;
    return 0;
  }
  *r = pack_magnitude(f_mantissa64(a) & ~fraction_mask(a->exponent), a->exponent, a->sign);
  return 0;
}

namespace {

bool has_fraction(const simul_fval* a) {
  if (is_special_or_zero(a) || a->exponent >= 64) return false;
  return (f_mantissa64(a) & fraction_mask(a->exponent)) != 0;
}

// trunc(a) moved one unit away from zero when `away` holds.
int trunc_and_step(const simul_fval* a, bool away, simul_fval* r) {
  simul_fval t;
  f_trunc(a, &t);
  if (away) {
    const simul_fval* step = a->sign ? &neg_one : &one;
    return f_add(&t, step, r);
  }
  *r = t;
  return 0;
}

}  // namespace

int f_ceil(const simul_fval* a, simul_fval* r) { return trunc_and_step(a, has_fraction(a) && !a->sign, r); }

int f_floor(const simul_fval* a, simul_fval* r) { return trunc_and_step(a, has_fraction(a) && a->sign, r); }

int f_round(const simul_fval* a, simul_fval* r) {
  bool half_or_more = false;
  if (has_fraction(a)) {
    if (a->exponent <= 0)
      half_or_more = a->exponent == 0 && (a->mantissa[0] & 0x8000);
    else
      half_or_more = (f_mantissa64(a) >> (63 - a->exponent)) & 1;
  }
  return trunc_and_step(a, half_or_more, r);
}

int f_modf(const simul_fval* a, simul_fval* int_part, simul_fval* frac_part) {
  simul_fval whole, frac;
  if (f_is_nan(a)) {
    whole = frac = *a;
  } else if (f_is_inf(a)) {
    whole = *a;
    frac = a->sign ? neg_zero : pos_zero;
  } else {
    f_trunc(a, &whole);
    f_sub(a, &whole, &frac);  // exact: both lie in the same digit window
    if (f_is_zero(&frac)) frac = a->sign ? neg_zero : pos_zero;
  }
  *int_part = whole;
  *frac_part = frac;
  return 0;
}

int f_frexp(const simul_fval* a, long* exp, simul_fval* r) {
  if (is_special_or_zero(a)) {
    *exp = 0;
    *r = *a;
    return 0;
  }
  simul_fval m = *a;
  f_left_justify(&m);
  *exp = m.exponent;
  m.exponent = 0;  // a left-justified mantissa under exponent 0 is working form
  *r = m;
  return 0;
}

int f_ldexp(const simul_fval* a, long n, simul_fval* r) {
  if (is_special_or_zero(a) || n == 0) {
    *r = *a;
    return 0;
  }
  simul_fval m = *a;
  f_left_justify(&m);
  long exponent = static_cast<long>(m.exponent) + n;
  if (n > 0 && exponent > FPS_EXP_MAX) {  // the aligned exponent would be larger still
    *r = a->sign ? neg_infin : pos_infin;
    fp_error = FP_OVERFLOW;
    return -1;
  }
  if (exponent < FPS_EXP_ZERO) {
    *r = a->sign ? neg_zero : pos_zero;
    fp_error |= FP_UNDERFLOW;
    return -1;
  }
  m.exponent = static_cast<int16_t>(exponent);
  int rc = f_align_radix_pt(&m);
  *r = m;
  return rc;
}

int f_fmod(const simul_fval* a, const simul_fval* b, simul_fval* r) {
  if (f_is_nan(a) || f_is_nan(b)) {
    *r = f_is_nan(a) ? *a : *b;
    return 0;
  }
  if (f_is_inf(a) || f_is_zero(b)) {
    *r = a_nan;
    fp_error |= FP_INVALID;
    return -1;
  }
  simul_fval aa, ab;
  f_abs(a, &aa);
  f_abs(b, &ab);
  if (f_is_inf(b) || f_is_zero(a) || f_lt(&aa, &ab)) {
    *r = *a;
    return 0;
  }
  // |a| = A * 2^ea and |b| = B * 2^eb with integer mantissas; the remainder
  // is exact and a multiple of 2^min(ea, eb).
  uint64_t A = f_mantissa64(a), B = f_mantissa64(b);
  long ea = static_cast<long>(a->exponent) - 64, eb = static_cast<long>(b->exponent) - 64;
  uint64_t rem;
  long base;
  if (ea >= eb) {
    unsigned __int128 t = A % B;
    for (long shift = ea - eb; shift > 0;) {
      long s = shift > 63 ? 63 : shift;
      t = (t << s) % B;
      shift -= s;
    }
    rem = static_cast<uint64_t>(t);
    base = eb;
  } else {
    // |a| >= |b| keeps eb - ea below 16 here.
    unsigned __int128 bb = static_cast<unsigned __int128>(B) << (eb - ea);
    rem = static_cast<uint64_t>(A % bb);
    base = ea;
  }
  *r = pack_magnitude(rem, base + 64, a->sign);
  return 0;
}

int f_ftoh(const simul_fval* a, double* r) {
  int saved = fp_error;
  uint64_t bits = get_ieee_dbl_fmt(a);
  fp_error = saved;
  std::memcpy(r, &bits, sizeof bits);
  return 0;
}
