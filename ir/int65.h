// INT65: the compile-time integer. Three 32-bit words (low, high, sign) hold
// 65 bits of value, enough for both the full signed and the full unsigned
// 64-bit ranges. Arithmetic wraps modulo 2^65; the sign word is always the
// sign extension of bit 64 (0 or 0xffffffff).
#pragma once
#include <cstdint>
#include <string>

struct TYPE;

struct INT65 {
  uint32_t low = 0;
  uint32_t high = 0;
  uint32_t sign = 0;

  INT65() = default;
  INT65(int v) { set(static_cast<__int128>(v)); }
  INT65(long v) { set(static_cast<__int128>(v)); }
  INT65(long long v) { set(static_cast<__int128>(v)); }
  INT65(unsigned v) { set(static_cast<__int128>(v)); }
  INT65(unsigned long v) { set(static_cast<__int128>(v)); }
  INT65(unsigned long long v) { set(static_cast<__int128>(v)); }
  static INT65 from_words(uint32_t lo, uint32_t hi, uint32_t sg) {
    INT65 r;
    r.low = lo;
    r.high = hi;
    r.sign = sg ? 0xffffffffu : 0;
    return r;
  }
  static INT65 from_i128(__int128 v) {
    INT65 r;
    r.set(v);
    return r;
  }

  // The exact value as a host 128-bit integer.
  __int128 i128() const {
    unsigned __int128 u = (static_cast<unsigned __int128>(high) << 32) | low;
    if (sign) return static_cast<__int128>(u) - (static_cast<__int128>(1) << 64);
    return static_cast<__int128>(u);
  }
  int64_t as_int64() const { return static_cast<int64_t>((static_cast<uint64_t>(high) << 32) | low); }
  uint64_t as_uint64() const { return (static_cast<uint64_t>(high) << 32) | low; }
  bool is_negative() const { return sign != 0; }
  bool is_zero() const { return low == 0 && high == 0 && sign == 0; }
  // True when the value fits the signed, or the unsigned, range of `bits` bits.
  bool fits_signed(int bits) const;
  bool fits_unsigned(int bits) const;

  INT65 operator-() const { return from_i128(-i128()); }
  INT65 operator~() const { return from_words(~low, ~high, ~sign); }
  friend INT65 operator+(const INT65& a, const INT65& b) { return from_i128(a.i128() + b.i128()); }
  friend INT65 operator-(const INT65& a, const INT65& b) { return from_i128(a.i128() - b.i128()); }
  friend INT65 operator*(const INT65& a, const INT65& b);
  // Truncating division as in C; division by zero yields 0 (callers check first).
  friend INT65 operator/(const INT65& a, const INT65& b);
  friend INT65 operator%(const INT65& a, const INT65& b);
  friend INT65 operator&(const INT65& a, const INT65& b) { return from_words(a.low & b.low, a.high & b.high, a.sign & b.sign); }
  friend INT65 operator|(const INT65& a, const INT65& b) { return from_words(a.low | b.low, a.high | b.high, a.sign | b.sign); }
  friend INT65 operator^(const INT65& a, const INT65& b) { return from_words(a.low ^ b.low, a.high ^ b.high, a.sign ^ b.sign); }
  // Shifts by 0..64; the right shift is arithmetic on the 65-bit value.
  friend INT65 operator<<(const INT65& a, int n);
  friend INT65 operator>>(const INT65& a, int n);
  friend bool operator==(const INT65& a, const INT65& b) { return a.low == b.low && a.high == b.high && a.sign == b.sign; }
  friend bool operator!=(const INT65& a, const INT65& b) { return !(a == b); }
  friend bool operator<(const INT65& a, const INT65& b) { return a.i128() < b.i128(); }
  friend bool operator>(const INT65& a, const INT65& b) { return b < a; }
  friend bool operator<=(const INT65& a, const INT65& b) { return !(b < a); }
  friend bool operator>=(const INT65& a, const INT65& b) { return !(a < b); }
  INT65& operator+=(const INT65& b) { return *this = *this + b; }
  INT65& operator-=(const INT65& b) { return *this = *this - b; }

 private:
  void set(__int128 v);
};

// Sum with an overflow report: `overflow` is set when the exact sum does not
// fit 65 bits.
INT65 long_add(const INT65& a, const INT65& b, bool& overflow);

// Wraps `value` to `bits` bits and extends it back by the signedness given.
INT65 truncate_to_width(const INT65& value, int bits, bool is_signed);
// The same driven by a type: integral, enum or pointer types; other types
// leave the value unchanged.
INT65 truncate_to_type(const INT65& value, const TYPE* type);
// Sign-extends from the width of `type` whatever its signedness.
INT65 sign_extend_by_type(const INT65& value, const TYPE* type);

// Text of the value. `type` (may be null) decides signed or unsigned reading
// of the 65 bits: null or signed prints the signed value. `width` pads with
// blanks on the left when positive; -1 means no padding. `base` is 16 for
// hexadecimal ("0x" prefix), 8 for octal, anything else decimal.
std::string int2text(const INT65& value, const TYPE* type, int width, int base);
