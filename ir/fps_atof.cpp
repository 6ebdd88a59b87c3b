// Reading text into the simulated format, with the table of powers of ten
// that the decimal reader scales by.
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>
#include <vector>

#include "ir/fps.h"

namespace {

const int kPowers = 9;  // 10^(2^k), k = 0..8: decimal exponents up to 511

// Exact 10^(2^k) as a little-endian array of 32-bit words.
using BIG = std::vector<uint32_t>;

BIG big_square(const BIG& a) {
  BIG r(2 * a.size(), 0);
  for (size_t i = 0; i < a.size(); ++i) {
    uint64_t carry = 0;
    for (size_t j = 0; j < a.size(); ++j) {
      uint64_t t = uint64_t(a[i]) * a[j] + r[i + j] + carry;
      r[i + j] = static_cast<uint32_t>(t);
      carry = t >> 32;
    }
    r[i + a.size()] = static_cast<uint32_t>(carry);
  }
  while (r.size() > 1 && r.back() == 0) r.pop_back();
  return r;
}

long big_bit_length(const BIG& a) {
  long n = static_cast<long>(a.size()) * 32;
  for (int b = 31; b >= 0 && !(a.back() >> b & 1); --b) --n;
  return n;
}

unsigned big_bit(const BIG& a, long i) {
  if (i < 0 || i / 32 >= static_cast<long>(a.size())) return 0;
  return a[i / 32] >> (i % 32) & 1;
}

// The integer `n` in working form with ten digits, rounded to nearest.
precise_sim_fval precise_from_integer(const BIG& n) {
  precise_sim_fval p = {};
  long length = big_bit_length(n);
  long exponent = (length + 15) / 16 * 16;
  long low = exponent - 160;  // bit of n under the last digit's lowest bit
  for (int d = 0; d < 10; ++d) {
    unsigned digit = 0;
    for (int b = 0; b < 16; ++b) digit = digit << 1 | big_bit(n, exponent - 1 - 16 * d - b);
    p.mantissa[d] = static_cast<uint16_t>(digit);
  }
  if (big_bit(n, low - 1)) {
    int d = 9;
    while (d >= 0 && ++p.mantissa[d] == 0) --d;
    if (d < 0) {  // 0xffff... rounded up to a power of 65536
      p.mantissa[0] = 1;
      exponent += 16;
    }
  }
  p.exponent = static_cast<int16_t>(exponent);
  p.sign = 0;
  return p;
}

precise_sim_fval precise_powers[kPowers];
simul_fval powers_of_ten[kPowers];
bool powers_ready = false;

// The table is rounded once, at the first use.
const simul_fval* ten_powers() {
  if (!powers_ready) {
    BIG n(1, 10);
    for (int k = 0; k < kPowers; ++k) {
      precise_powers[k] = precise_from_integer(n);
      if (k + 1 < kPowers) n = big_square(n);
    }
    f_rnd_prectbl(precise_powers, powers_of_ten, kPowers);
    powers_ready = true;
  }
  return powers_of_ten;
}

int hex_value(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The smallest magnitude that binary64 does not round to zero lies above
// 2^-1075.
const simul_fval kBinary64Tiny = {{0x8000, 0, 0, 0}, -1074, 0};

// Values are read within the binary64 range, as a C reader of double would.
int limit_to_binary64(simul_fval* r) {
  if (!f_is_finite(r) || f_is_zero(r)) return 0;
  simul_fval mag;
  f_abs(r, &mag);
  if (f_gt(&mag, &pos_huge)) {
    *r = r->sign ? neg_infin : pos_infin;
    fp_error |= FP_OVERFLOW;
    return -1;
  }
  simul_fval tiny = kBinary64Tiny;
  f_align_radix_pt(&tiny);
  if (f_le(&mag, &tiny)) {
    *r = r->sign ? neg_zero : pos_zero;
    fp_error |= FP_UNDERFLOW;
    return -1;
  }
  return 0;
}

// Reads "p[+-]digits" or "e[+-]digits" after the mantissa; no digits, no
// exponent.
long read_exponent(const char* p) {
  if (!(isdigit(static_cast<unsigned char>(p[0])) ||
        ((p[0] == '+' || p[0] == '-') && isdigit(static_cast<unsigned char>(p[1])))))
    return 0;
  errno = 0;
  long e = strtol(p, nullptr, 10);
  const long cap = 1000000;  // far beyond any range; keeps sums from wrapping
  if (e > cap) e = cap;
  if (e < -cap) e = -cap;
  return e;
}

int read_hexadecimal(const char* p, unsigned negative, simul_fval* r) {
  simul_fval v = pos_zero;
  long exponent = 0;
  bool point = false, any = false;
  int rc = 0;
  for (;; ++p) {
    int d = hex_value(*p);
    if (d >= 0) {
      f_mul(&v, &const_sixteen, &v);
      f_add(&v, &const_dig[d], &v);
      if (point) exponent -= 4;
      any = true;
    } else if (*p == '.') {
      if (point) {
        rc = -1;
        break;
      }
      point = true;
    } else {
      break;
    }
  }
  if (rc == 0 && (*p == 'p' || *p == 'P')) exponent += read_exponent(p + 1);
  if (!f_is_zero(&v)) f_ldexp(&v, exponent, &v);
  v.sign = static_cast<uint16_t>(negative);
  *r = v;
  if (rc != 0) return rc;
  if (!any) {
    fp_error |= FP_INVALID;
    return -1;
  }
  return limit_to_binary64(r);
}

int read_decimal(const char* p, unsigned negative, simul_fval* r) {
  // Digits beyond the fortieth are far below the 64-bit mantissa; they only
  // move the point.
  const int kMaxDigits = 40;
  char digits[kMaxDigits];
  int count = 0;
  long exponent = 0;
  bool point = false, any = false;
  while (*p == '0') {
    ++p;
    any = true;
  }
  for (;; ++p) {
    if (*p >= '0' && *p <= '9') {
      any = true;
      if (count == 0 && *p == '0') {
        if (point) --exponent;
        continue;
      }
      if (count < kMaxDigits) {
        digits[count++] = *p;
        if (point) --exponent;
      } else if (!point) {
        ++exponent;
      }
    } else if (*p == '.' && !point) {
      point = true;
    } else {
      break;
    }
  }
  if (any && (*p == 'e' || *p == 'E')) exponent += read_exponent(p + 1);
  // Trailing zeros would only add roundings to the accumulation.
  while (count > 0 && digits[count - 1] == '0') {
    --count;
    ++exponent;
  }

  // The digits are accumulated nineteen at a time, each group exact in the
  // 64-bit mantissa: v = v * 10^n + group.
  simul_fval v = pos_zero;
  for (int at = 0; at < count;) {
    int n = count - at < 19 ? count - at : 19;
    uint64_t group = 0, scale = 1;
    for (int i = 0; i < n; ++i) {
      group = group * 10 + static_cast<uint64_t>(digits[at + i] - '0');
      scale *= 10;
    }
    simul_fval g, s;
    f_utof(group, &g);
    f_utof(scale, &s);
    f_mul(&v, &s, &v);
    f_add(&v, &g, &v);
    at += n;
  }

  int rc = 0;
  if (!f_is_zero(&v)) {
    const simul_fval* table = ten_powers();
    long magnitude = exponent < 0 ? -exponent : exponent;
    if (magnitude >= (1L << kPowers)) {
      // At least 10^512, or below 10^-472: beyond binary64 either way.
      v = exponent > 0 ? pos_infin : pos_zero;
      fp_error |= exponent > 0 ? FP_OVERFLOW : FP_UNDERFLOW;
      rc = -1;
    } else {
      for (int k = 0; k < kPowers; ++k) {
        if (!(magnitude >> k & 1)) continue;
        if (exponent > 0)
          f_mul(&v, &table[k], &v);
        else
          f_div(&v, &table[k], &v);
      }
    }
  }
  v.sign = static_cast<uint16_t>(negative);
  *r = v;
  if (!any) {
    fp_error |= FP_INVALID;
    return -1;
  }
  if (rc != 0) return rc;
  return limit_to_binary64(r);
}

}  // namespace

void f_rnd_prectbl(const precise_sim_fval* table, simul_fval* out, long count) {
  for (long i = 0; i < count; ++i) {
    simul_fval v;
    for (int d = 0; d < 4; ++d) v.mantissa[d] = table[i].mantissa[d];
    long exponent = table[i].exponent;
    v.sign = table[i].sign;
    if (table[i].mantissa[4] & 0x8000) {
      int d = 3;
      while (d >= 0 && ++v.mantissa[d] == 0) --d;
      if (d < 0) {
        v.mantissa[0] = 1;
        exponent += 16;
      }
    }
    v.exponent = static_cast<int16_t>(exponent);
    f_align_radix_pt(&v);
    out[i] = v;
  }
}

int f_atof(const char* text, simul_fval* r) {
  if (strncasecmp(text, "nan", 3) == 0) {
    *r = a_nan;
    return 0;
  }
  if (strncasecmp(text, "-inf", 4) == 0) {
    *r = neg_infin;
    return 0;
  }
  if (strncasecmp(text, "+inf", 4) == 0 || strncasecmp(text, "inf", 3) == 0) {
    *r = pos_infin;
    return 0;
  }
  const char* p = text;
  unsigned negative = 0;
  if (*p == '-' || *p == '+') negative = *p++ == '-';
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) return read_hexadecimal(p + 2, negative, r);
  return read_decimal(p, negative, r);
}
