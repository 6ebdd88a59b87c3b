// The edges of the simulated format: IEEE binary32 and binary64 patterns,
// the target pattern, and the rounding of a constant to its target type.
#include "ir/fps.h"
#include "ir/types.h"

namespace {

struct IEEE_FORMAT {
  int precision;  // significand bits, hidden bit included
  long bias;      // added to the left-justified exponent
  long max_field;
  int sign_bit;
};
const IEEE_FORMAT kBinary32 = {24, 126, 254, 31};
const IEEE_FORMAT kBinary64 = {53, 1022, 2046, 63};

// Rounds `a` to nearest even in format `f`. The pattern comes back as the
// sign, the field and the fraction assembled into the low bits of *bits.
int to_ieee(const simul_fval* a, const IEEE_FORMAT& f, uint64_t* bits) {
  const int fraction_bits = f.precision - 1;
  const uint64_t sign = uint64_t(a->sign ? 1 : 0) << f.sign_bit;
  const uint64_t field_shift = fraction_bits;
  const uint64_t all_ones = uint64_t(f.max_field + 1);
  if (f_is_zero(a)) {
    *bits = sign;
    return 0;
  }
  if (f_is_inf(a)) {
    *bits = sign | (all_ones << field_shift);
    return 0;
  }
  if (f_is_nan(a)) {
    *bits = sign | (all_ones << field_shift) | (uint64_t(1) << (fraction_bits - 1));
    return 0;
  }

  simul_fval lj = *a;
  f_left_justify(&lj);
  uint64_t m = f_mantissa64(&lj);
  long field = static_cast<long>(lj.exponent) + f.bias;
  uint64_t sig = m >> (64 - f.precision);
  unsigned round = (m >> (63 - f.precision)) & 1;
  bool sticky = (m & ((uint64_t(1) << (63 - f.precision)) - 1)) != 0;

  if (field < 1) {
    // Denormalise so that a field of 0 reads the significand at 2^(1-bias).
    for (long shifts = 1 - field; shifts > 0 && (sig != 0 || round != 0); --shifts) {
      sticky = sticky || round;
      round = sig & 1;
      sig >>= 1;
    }
    field = 0;
  }
  if (round && (sticky || (sig & 1))) ++sig;
  if (field > 0 && (sig >> f.precision)) {
    sig >>= 1;
    ++field;
  }
  if (field == 0) {
    if (sig & (uint64_t(1) << fraction_bits)) {
      *bits = sign | (uint64_t(1) << field_shift);
      return 0;
    }
    if (sig == 0) {
      *bits = sign;
      fp_error = FP_UNDERFLOW;
      return 1;
    }
    *bits = sign | sig;
    return 0;
  }
  if (field > f.max_field) {
    *bits = sign | (all_ones << field_shift);
    fp_error = FP_OVERFLOW;
    return 1;
  }
  *bits = sign | (uint64_t(field) << field_shift) | (sig & ((uint64_t(1) << fraction_bits) - 1));
  return 0;
}

// A significand whose top bit is at bit 63, or below it for subnormals,
// under the left-justified exponent `exponent`, into working form. The
// shift is done here: a binary64 subnormal may have nothing above digit 3.
void from_ieee(uint64_t m, long exponent, unsigned sign, simul_fval* r) {
  while (!(m >> 63)) {
    m <<= 1;
    --exponent;
  }
  simul_fval t;
  f_set_mantissa64(&t, m);
  t.exponent = static_cast<int16_t>(exponent);
  t.sign = static_cast<uint16_t>(sign);
  f_align_radix_pt(&t);
  *r = t;
}

}  // namespace

int ieee_cvt_ftos(uint32_t bits, simul_fval* r) {
  unsigned sign = bits >> 31;
  uint32_t field = (bits >> 23) & 0xff;
  uint32_t fraction = bits & 0x7fffff;
  if (field == 0 && fraction == 0) {
    *r = sign ? neg_zero : pos_zero;
  } else if (field == 0) {
    from_ieee(uint64_t(fraction) << 41, -126, sign, r);
  } else if (field == 255) {
    *r = fraction ? a_nan : (sign ? neg_infin : pos_infin);
  } else {
    from_ieee(uint64_t(fraction | 0x800000) << 40, static_cast<long>(field) - 126, sign, r);
  }
  return 0;
}

int ieee_cvt_stof(const simul_fval* a, uint32_t* bits) {
  uint64_t b;
  int rc = to_ieee(a, kBinary32, &b);
  *bits = static_cast<uint32_t>(b);
  return rc;
}

int ieee_cvt_dtos(uint32_t hi, uint32_t lo, simul_fval* r) {
  unsigned sign = hi >> 31;
  uint32_t field = (hi >> 20) & 0x7ff;
  uint64_t fraction = (uint64_t(hi & 0xfffff) << 32) | lo;
  if (field == 0 && fraction == 0) {
    *r = sign ? neg_zero : pos_zero;
  } else if (field == 0) {
    from_ieee(fraction << 12, -1022, sign, r);
  } else if (field == 0x7ff) {
    *r = fraction ? a_nan : (sign ? neg_infin : pos_infin);
  } else {
    from_ieee((fraction | (uint64_t(1) << 52)) << 11, static_cast<long>(field) - 1022, sign, r);
  }
  return 0;
}

int ieee_cvt_stod(const simul_fval* a, uint32_t* hi, uint32_t* lo) {
  uint64_t b;
  int rc = to_ieee(a, kBinary64, &b);
  *hi = static_cast<uint32_t>(b >> 32);
  *lo = static_cast<uint32_t>(b);
  return rc;
}

uint32_t get_ieee_flt_fmt(const simul_fval* a) {
  uint32_t bits;
  ieee_cvt_stof(a, &bits);
  return bits;
}

uint64_t get_ieee_dbl_fmt(const simul_fval* a) {
  uint32_t hi, lo;
  ieee_cvt_stod(a, &hi, &lo);
  return (uint64_t(hi) << 32) | lo;
}

int f_cvt_ttos(const trg_fval* t, simul_fval* r, long) { return ieee_cvt_ftos(t->word, r); }

int f_cvt_stot(const simul_fval* a, trg_fval* t, long) { return ieee_cvt_stof(a, &t->word); }

int truncate_fval_to_width(simul_fval* value, int bits) {
  if (bits == 64) {
    uint32_t hi, lo;
    int rc = ieee_cvt_stod(value, &hi, &lo);
    ieee_cvt_dtos(hi, lo, value);
    return rc;
  }
  trg_fval t;
  int rc = f_cvt_stot(value, &t, 0);
  f_cvt_ttos(&t, value, 0);
  return rc;
}

int truncate_fval_to_target(simul_fval* value, const TYPE* type) {
  if (!type) return 0;
  const TYPE* rep = type->rep ? type->rep : type;
  if (rep->kind != TYPE::KIND_FLOATING) return 0;
  // float, double and long double share the one 32-bit pattern here.
  return truncate_fval_to_width(value, 32);
}
