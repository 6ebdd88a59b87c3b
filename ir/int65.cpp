#include "ir/int65.h"

#include "ir/types.h"

namespace {
const __int128 kOne = 1;
const __int128 kMod65 = kOne << 65;
const __int128 kHalf65 = kOne << 64;

// The low 65 bits of v, read as a signed number: v modulo 2^65 in the range
// [-2^64, 2^64), by masking rather than a 128-bit division.
__int128 wrap65(__int128 v) {
  unsigned __int128 low = static_cast<unsigned __int128>(v) & static_cast<unsigned __int128>(kMod65 - 1);
  return low >= static_cast<unsigned __int128>(kHalf65) ? static_cast<__int128>(low) - kMod65
                                                          : static_cast<__int128>(low);
}
}  // namespace

void INT65::set(__int128 v) {
  v = wrap65(v);
  unsigned __int128 u = static_cast<unsigned __int128>(v);
  low = static_cast<uint32_t>(u);
  high = static_cast<uint32_t>(u >> 32);
  sign = v < 0 ? 0xffffffffu : 0;
}

bool INT65::fits_signed(int bits) const {
  __int128 v = i128();
  if (bits >= 65) return true;
  __int128 lim = kOne << (bits - 1);
  return v >= -lim && v < lim;
}

bool INT65::fits_unsigned(int bits) const {
  __int128 v = i128();
  if (v < 0) return false;
  if (bits >= 65) return true;
  return v < (kOne << bits);
}

INT65 operator*(const INT65& a, const INT65& b) {
  // The product of two 65-bit values needs 130 bits; wrap through unsigned
  // arithmetic so that the host never overflows a signed type.
  unsigned __int128 x = static_cast<unsigned __int128>(a.i128());
  unsigned __int128 y = static_cast<unsigned __int128>(b.i128());
  return INT65::from_i128(static_cast<__int128>((x * y) & ((static_cast<unsigned __int128>(1) << 65) - 1)));
}

INT65 operator/(const INT65& a, const INT65& b) {
  if (b.is_zero()) return INT65();
  return INT65::from_i128(a.i128() / b.i128());
}

INT65 operator%(const INT65& a, const INT65& b) {
  if (b.is_zero()) return INT65();
  return INT65::from_i128(a.i128() % b.i128());
}

INT65 operator<<(const INT65& a, int n) {
  if (n <= 0) return a;
  if (n >= 65) return INT65();
  unsigned __int128 x = static_cast<unsigned __int128>(a.i128());
  return INT65::from_i128(static_cast<__int128>((x << n) & ((static_cast<unsigned __int128>(1) << 65) - 1)));
}

INT65 operator>>(const INT65& a, int n) {
  if (n <= 0) return a;
  if (n >= 65) return a.is_negative() ? INT65(-1) : INT65();
  return INT65::from_i128(a.i128() >> n);
}

INT65 long_add(const INT65& a, const INT65& b, bool& overflow) {
  __int128 s = a.i128() + b.i128();
  overflow = s >= kHalf65 || s < -kHalf65;
  return INT65::from_i128(s);
}

INT65 truncate_to_width(const INT65& value, int bits, bool is_signed) {
  if (bits <= 0 || bits >= 65) return value;
  unsigned __int128 mask = (static_cast<unsigned __int128>(1) << bits) - 1;
  unsigned __int128 u = static_cast<unsigned __int128>(value.i128()) & mask;
  __int128 v = static_cast<__int128>(u);
  if (is_signed && (u >> (bits - 1)) & 1) v -= static_cast<__int128>(1) << bits;
  return INT65::from_i128(v);
}

INT65 truncate_to_type(const INT65& value, const TYPE* type) {
  if (!type) return value;
  const TYPE* t = type->rep ? type->rep : type;
  if (t->kind == TYPE::KIND_ENUM) t = t->underlying_type();
  if (!t) return value;
  t = t->rep ? t->rep : t;
  if (t->kind == TYPE::KIND_POINTER) return truncate_to_width(value, t->size, false);
  if (t->kind != TYPE::KIND_INTEGRAL) return value;
  if (t->is_bool() && !t->is_bool2) return INT65(value.is_zero() ? 0 : 1);
  return truncate_to_width(value, t->size, t->is_signed());
}

INT65 sign_extend_by_type(const INT65& value, const TYPE* type) {
  if (!type) return value;
  const TYPE* t = type->rep ? type->rep : type;
  return truncate_to_width(value, t->size, true);
}

std::string int2text(const INT65& value, const TYPE* type, int width, int base) {
  bool as_signed = true;
  if (type) {
    const TYPE* t = type->rep ? type->rep : type;
    as_signed = !t->is_unsigned();
  }
  __int128 v = value.i128();
  if (!as_signed && v < 0) v += kMod65;  // the unsigned reading of the 65 bits
  bool neg = v < 0;
  unsigned __int128 u = neg ? static_cast<unsigned __int128>(-v) : static_cast<unsigned __int128>(v);
  unsigned b = base == 16 ? 16 : base == 8 ? 8 : 10;
  std::string digits;
  do {
    unsigned d = static_cast<unsigned>(u % b);
    digits.insert(digits.begin(), static_cast<char>(d < 10 ? '0' + d : 'a' + d - 10));
    u /= b;
  } while (u != 0);
  if (b == 16) digits = "0x" + digits;
  else if (b == 8 && digits != "0") digits = "0" + digits;
  if (neg) digits = "-" + digits;
  if (width > 0 && static_cast<int>(digits.size()) < width)
    digits.insert(digits.begin(), static_cast<size_t>(width) - digits.size(), ' ');
  return digits;
}
