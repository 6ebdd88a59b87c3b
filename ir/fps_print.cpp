// Text out of the simulated format: digit strings, printf-like conversions
// e, f, g and a, and the text of a FCON value. Decimal digits are exact:
// the value's binary expansion is turned into decimal with big integers and
// rounded half to even, as a C library prints a double.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ir/fps.h"

namespace {

using BIG = std::vector<uint32_t>;  // little-endian 32-bit words

void big_mul_small(BIG& a, uint32_t m) {
  uint64_t carry = 0;
  for (uint32_t& w : a) {
    uint64_t t = uint64_t(w) * m + carry;
    w = static_cast<uint32_t>(t);
    carry = t >> 32;
  }
  if (carry) a.push_back(static_cast<uint32_t>(carry));
}

void big_shift_left(BIG& a, long bits) {
  long words = bits / 32;
  int rest = static_cast<int>(bits % 32);
  if (rest) {
    uint32_t carry = 0;
    for (uint32_t& w : a) {
      uint32_t next = w >> (32 - rest);
      w = (w << rest) | carry;
      carry = next;
    }
    if (carry) a.push_back(carry);
  }
  a.insert(a.begin(), static_cast<size_t>(words), 0);
}

// Decimal digits of a big integer, most significant first.
std::string big_to_decimal(BIG a) {
  std::string out;
  while (a.size() > 1 && a.back() == 0) a.pop_back();
  while (!(a.size() == 1 && a[0] == 0)) {
    uint64_t rem = 0;
    for (size_t i = a.size(); i-- > 0;) {
      uint64_t cur = (rem << 32) | a[i];
      a[i] = static_cast<uint32_t>(cur / 1000000000u);
      rem = cur % 1000000000u;
    }
    while (a.size() > 1 && a.back() == 0) a.pop_back();
    bool last = a.size() == 1 && a[0] == 0;
    for (int k = 0; k < 9 && (!last || rem != 0); ++k) {
      out.push_back(static_cast<char>('0' + rem % 10));
      rem /= 10;
    }
  }
  return std::string(out.rbegin(), out.rend());
}

// A decimal value 0.DIGITS * 10^exp; no digits means zero.
struct DECIMAL {
  std::string digits;
  long exp = 0;
};

// The exact decimal expansion of a finite non-zero magnitude.
DECIMAL exact_decimal(const simul_fval* a) {
  uint64_t m = f_mantissa64(a);
  long e2 = static_cast<long>(a->exponent) - 64;
  BIG n = {static_cast<uint32_t>(m), static_cast<uint32_t>(m >> 32)};
  long scale = 0;  // value = n / 10^scale
  if (e2 >= 0) {
    big_shift_left(n, e2);
  } else {
    // m * 2^-k = m * 5^k / 10^k
    long k = -e2;
    for (; k >= 13; k -= 13) big_mul_small(n, 1220703125u);  // 5^13
    uint32_t rest = 1;
    for (; k > 0; --k) rest *= 5;
    big_mul_small(n, rest);
    scale = -e2;
  }
  DECIMAL d;
  d.digits = big_to_decimal(n);
  d.exp = static_cast<long>(d.digits.size()) - scale;
  size_t last = d.digits.find_last_not_of('0');
  d.digits.erase(last + 1);
  return d;
}

// Keeps `keep` leading digits (none or fewer is allowed), rounding half to
// even on the digits dropped.
void round_decimal(DECIMAL& d, long keep) {
  long n = static_cast<long>(d.digits.size());
  if (keep >= n) return;
  if (keep < 0) {
    d.digits.clear();
    return;
  }
  char first = d.digits[keep];
  bool rest_nonzero = d.digits.find_first_not_of('0', keep + 1) != std::string::npos;
  bool last_odd = keep > 0 && ((d.digits[keep - 1] - '0') & 1);
  bool up = first > '5' || (first == '5' && (rest_nonzero || last_odd));
  d.digits.erase(keep);
  if (!up) return;
  long i = keep - 1;
  while (i >= 0 && d.digits[i] == '9') d.digits[i--] = '0';
  if (i >= 0) {
    ++d.digits[i];
  } else {
    d.digits.insert(d.digits.begin(), '1');
    d.digits.pop_back();
    if (keep == 0) d.digits = "1";
    ++d.exp;
  }
}

char digit_at(const DECIMAL& d, long i) {
  return i >= 0 && i < static_cast<long>(d.digits.size()) ? d.digits[i] : '0';
}

DECIMAL decimal_of(const simul_fval* a) {
  if (f_is_zero(a)) return DECIMAL();
  return exact_decimal(a);
}

// Mantissa digits of %e: exactly `prec` + 1 of them, and the exponent of the
// first one.
std::string e_body(const simul_fval* a, long prec, long flags, bool upper) {
  DECIMAL d = decimal_of(a);
  long exp10 = 0;
  if (!d.digits.empty()) {
    round_decimal(d, prec + 1);
    exp10 = d.exp - 1;
  }
  std::string s(1, digit_at(d, 0));
  if (prec > 0 || (flags & FPS_FLAG_ALT)) s += '.';
  for (long i = 1; i <= prec; ++i) s += digit_at(d, i);
  char buf[32];
  snprintf(buf, sizeof buf, "%c%c%02ld", upper ? 'E' : 'e', exp10 < 0 ? '-' : '+', exp10 < 0 ? -exp10 : exp10);
  return s + buf;
}

std::string f_body(const simul_fval* a, long prec, long flags) {
  DECIMAL d = decimal_of(a);
  if (!d.digits.empty()) round_decimal(d, d.exp + prec);
  std::string s;
  if (d.digits.empty() || d.exp <= 0) {
    s = "0";
  } else {
    for (long i = 0; i < d.exp; ++i) s += digit_at(d, i);
  }
  if (prec > 0 || (flags & FPS_FLAG_ALT)) s += '.';
  for (long i = 0; i < prec; ++i) s += d.digits.empty() ? '0' : digit_at(d, d.exp + i);
  return s;
}

std::string g_body(const simul_fval* a, long prec, long flags, bool upper) {
  long p = prec == 0 ? 1 : prec;
  long x = 0;
  if (!f_is_zero(a)) {
    DECIMAL d = exact_decimal(a);
    round_decimal(d, p);
    x = d.exp - 1;
  }
  std::string s;
  bool fixed = p > x && x >= -4;
  s = fixed ? f_body(a, p - 1 - x, flags) : e_body(a, p - 1, flags, upper);
  if (!(flags & FPS_FLAG_ALT)) {
    size_t e = fixed ? s.size() : s.find(upper ? 'E' : 'e');
    std::string tail = s.substr(e);
    std::string body = s.substr(0, e);
    if (body.find('.') != std::string::npos) {
      body.erase(body.find_last_not_of('0') + 1);
      if (!body.empty() && body.back() == '.') body.pop_back();
    }
    s = body + tail;
  }
  return s;
}

// Leading hexadecimal digit and `prec` fraction digits of a finite non-zero
// magnitude, rounded half to even; *exp2 is the binary exponent.
std::string hex_digits(const simul_fval* a, long prec, long* exp2, bool upper) {
  const char* hex = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  simul_fval lj = *a;
  f_left_justify(&lj);
  uint64_t fraction = f_mantissa64(&lj) << 1;  // the bits after the leading 1
  *exp2 = static_cast<long>(lj.exponent) - 1;
  unsigned lead = 1;
  std::string s;
  if (prec < 16) {
    int kept_bits = static_cast<int>(4 * prec);
    uint64_t kept = kept_bits ? fraction >> (64 - kept_bits) : 0;
    uint64_t rest = kept_bits ? fraction << kept_bits : fraction;
    const uint64_t half = uint64_t(1) << 63;
    bool odd = kept_bits ? (kept & 1) : (lead & 1);
    if (rest > half || (rest == half && odd)) {
      ++kept;
      if (kept_bits == 0 || kept >> kept_bits) {
        kept = 0;
        ++lead;
      }
    }
    for (long i = prec - 1; i >= 0; --i) {
      s.insert(s.begin(), hex[kept & 15]);
      kept >>= 4;
    }
  } else {
    for (int i = 0; i < 16; ++i) s += hex[(fraction >> (60 - 4 * i)) & 15];
    s.append(static_cast<size_t>(prec - 16), '0');
  }
  return std::string(1, hex[lead]) + s;
}

std::string a_body(const simul_fval* a, long prec, long flags, bool upper) {
  long exp2 = 0;
  std::string digits;
  if (f_is_zero(a))
    digits = std::string(static_cast<size_t>(prec + 1), '0');
  else
    digits = hex_digits(a, prec, &exp2, upper);
  std::string s = upper ? "0X" : "0x";
  s += digits[0];
  if (prec > 0 || (flags & FPS_FLAG_ALT)) s += '.';
  s += digits.substr(1);
  char buf[32];
  snprintf(buf, sizeof buf, "%c%c%ld", upper ? 'P' : 'p', exp2 < 0 ? '-' : '+', exp2 < 0 ? -exp2 : exp2);
  return s + buf;
}

std::string conversion_text(long prec, long flags, char conversion, const simul_fval* a) {
  if (f_is_nan(a)) return "nan";
  if (f_is_inf(a)) return a->sign ? "-inf" : "inf";
  if (prec < 0) prec = 6;
  if (prec > FPS_PREC_MAX) prec = FPS_PREC_MAX;
  bool upper = isupper(static_cast<unsigned char>(conversion)) != 0;
  std::string body;
  switch (tolower(static_cast<unsigned char>(conversion))) {
    case 'e': body = e_body(a, prec, flags, upper); break;
    case 'f': body = f_body(a, prec, flags); break;
    case 'a': body = a_body(a, prec, flags, upper); break;
    default: body = g_body(a, prec, flags, upper); break;
  }
  const char* sign = a->sign ? "-" : (flags & FPS_FLAG_PLUS) ? "+" : (flags & FPS_FLAG_SPACE) ? " " : "";
  return sign + body;
}

std::string digit_buffer;  // what f_ecvt, f_fcvt and f_acvt hand out

}  // namespace

int f_f2ascii(char* out, long prec, long flags, char conversion, const simul_fval* a) {
  std::string s = conversion_text(prec, flags, conversion, a);
  memcpy(out, s.c_str(), s.size() + 1);
  return static_cast<int>(s.size());
}

int f_ftoa(char* out, const char* format, const simul_fval* a) {
  const char* p = format;
  std::string prefix;
  for (; *p; ++p) {
    if (*p != '%') {
      prefix += *p;
    } else if (p[1] == '%') {
      prefix += '%';
      ++p;
    } else {
      break;
    }
  }
  if (!*p) {
    out[0] = '\0';
    return -1;
  }
  ++p;
  long flags = 0;
  bool left = false, zero_pad = false;
  for (;; ++p) {
    if (*p == '-') left = true;
    else if (*p == '0') zero_pad = true;
    else if (*p == '+') flags |= FPS_FLAG_PLUS;
    else if (*p == ' ') flags |= FPS_FLAG_SPACE;
    else if (*p == '#') flags |= FPS_FLAG_ALT;
    else break;
  }
  long width = 0;
  for (; isdigit(static_cast<unsigned char>(*p)); ++p)
    if (width <= FPS_PREC_MAX) width = width * 10 + (*p - '0');
  if (width > FPS_PREC_MAX) width = FPS_PREC_MAX;
  long prec = 6;
  if (*p == '.') {
    prec = 0;
    for (++p; isdigit(static_cast<unsigned char>(*p)); ++p)
      if (prec <= FPS_PREC_MAX) prec = prec * 10 + (*p - '0');
  }
  while (*p && strchr("lLhqjzt", *p)) ++p;
  if (!*p || !strchr("eEfFgGaA", *p)) {
    out[0] = '\0';
    return -1;
  }
  char conversion = *p++;
  std::string body = conversion_text(prec, flags, conversion, a);
  long pad = width - static_cast<long>(body.size());
  if (pad > 0) {
    if (left) {
      body.append(static_cast<size_t>(pad), ' ');
    } else if (zero_pad && f_is_finite(a)) {
      size_t at = (body[0] == '-' || body[0] == '+' || body[0] == ' ') ? 1 : 0;
      if (body.compare(at, 2, "0x") == 0 || body.compare(at, 2, "0X") == 0) at += 2;
      body.insert(at, static_cast<size_t>(pad), '0');
    } else {
      body.insert(0, static_cast<size_t>(pad), ' ');
    }
  }
  std::string s = prefix + body + p;
  memcpy(out, s.c_str(), s.size() + 1);
  return static_cast<int>(s.size());
}

void f_print(const simul_fval* a) {
  std::string s = conversion_text(6, 0, 'g', a);
  puts(s.c_str());
}

const char* f_ecvt(const simul_fval* a, long digits, long* exp, long* sign) {
  *sign = a->sign ? 1 : 0;
  if (digits < 1) digits = 1;
  if (digits > FPS_PREC_MAX) digits = FPS_PREC_MAX;
  if (!f_is_finite(a)) {
    *exp = 0;
    return f_is_nan(a) ? "nan" : "inf";
  }
  DECIMAL d = decimal_of(a);
  if (d.digits.empty()) d.exp = 1;
  round_decimal(d, digits);
  digit_buffer.clear();
  for (long i = 0; i < digits; ++i) digit_buffer += digit_at(d, i);
  *exp = d.exp;
  return digit_buffer.c_str();
}

const char* f_fcvt(const simul_fval* a, long digits, long* exp, long* sign) {
  *sign = a->sign ? 1 : 0;
  if (digits < 0) digits = 0;
  if (digits > FPS_PREC_MAX) digits = FPS_PREC_MAX;
  if (!f_is_finite(a)) {
    *exp = 0;
    return f_is_nan(a) ? "nan" : "inf";
  }
  DECIMAL d = decimal_of(a);
  if (!d.digits.empty()) round_decimal(d, d.exp + digits);
  if (d.digits.empty()) d.exp = 0;
  digit_buffer.clear();
  long total = d.exp + digits;
  for (long i = 0; i < total; ++i) digit_buffer += digit_at(d, i);
  *exp = d.exp;
  return digit_buffer.c_str();
}

const char* f_acvt(const simul_fval* a, long digits, long* exp, long* sign) {
  *sign = a->sign ? 1 : 0;
  if (digits < 0) digits = 0;
  if (digits > FPS_PREC_MAX) digits = FPS_PREC_MAX;
  if (!f_is_finite(a)) {
    *exp = 0;
    return f_is_nan(a) ? "nan" : "inf";
  }
  *exp = 0;
  if (f_is_zero(a))
    digit_buffer.assign(static_cast<size_t>(digits + 1), '0');
  else
    digit_buffer = hex_digits(a, digits, exp, false);
  return digit_buffer.c_str();
}

void f_utoa(char* out, unsigned long long v) { snprintf(out, 24, "%llu", v); }

void f_dbg(char* out, const simul_fval* a) {
  snprintf(out, 48, "{%04x %04x %04x %04x} e=%d s=%u", a->mantissa[0], a->mantissa[1], a->mantissa[2],
           a->mantissa[3], a->exponent, a->sign);
}

void fval2text(char* out, const simul_fval* v) { f_ftoa(out, "%a", v); }

std::string normalize_fcon(const char* text, int bits) {
  simul_fval v;
  f_atof(text, &v);
  truncate_fval_to_width(&v, bits);
  char buf[FPS_FCON_TEXT_MAX];
  // Thirteen hexadecimal digits hold a binary64 fraction, six a binary32 one.
  f_ftoa(buf, bits == 64 ? "%.13a" : "%a", &v);
  return buf;
}
