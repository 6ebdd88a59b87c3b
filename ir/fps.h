// Target floating point in software. Every floating constant is carried as a
// simul_fval and all compile-time arithmetic on it goes through the f_*
// functions below, so that folding gives the same bits on every host. The
// host's floating point is used only by f_ftoh, for printing.
//
// A simul_fval is a base-65536 number: four 16-bit digits d0..d3 (d0 most
// significant) and a binary exponent, value = 0.d0d1d2d3 (base 65536) *
// 2^exponent, negated when sign is 1. In working form the exponent is a
// multiple of 16 and d0 is not 0, so every finite non-zero value has exactly
// one representation; 1.0 is {1,0,0,0} with exponent 16. Zero has exponent
// -32767 and d0 == 0, infinity exponent 0x7fff and d0 == 0, NaN exponent
// 0x7fff and d0 != 0.
//
// Functions take inputs and outputs through pointers; an output may be the
// same object as an input. An int result is 0 on success and -1 when the
// operation set an overflow, underflow or invalid bit in fp_error (the IEEE
// conversions answer 1 instead, see there).
#pragma once
#include <cstdint>
#include <string>

#include "ir/int65.h"

struct TYPE;

// The 12-byte simulated value. A FCON node's `sym` points to one of these,
// allocated by the node's owner, holding a value already rounded to the
// target format (see truncate_fval_to_target).
struct simul_fval {
  uint16_t mantissa[4];
  int16_t exponent;
  uint16_t sign;
};
static_assert(sizeof(simul_fval) == 12, "a FCON value is 12 bytes");

// The target's own bit pattern: IEEE-754 binary32 for float, double and long
// double alike. Nodes never hold one; it exists at the conversions.
struct trg_fval {
  uint32_t word;
};

// Extended entry of the table of powers of ten: ten digits, same meaning of
// exponent and sign as simul_fval.
struct precise_sim_fval {
  uint16_t mantissa[10];
  int16_t exponent;
  uint16_t sign;
};

// Exponent markers of the special values.
enum : int {
  FPS_EXP_SPECIAL = 0x7fff,  // infinity (d0 == 0) and NaN (d0 != 0)
  FPS_EXP_ZERO = -32767,     // zero (d0 == 0)
  FPS_EXP_MAX = 32766,       // largest exponent of a finite value
};

// fp_error bits. fp_error is never cleared here: a caller clears it before an
// operation whose outcome it wants to know. The IEEE conversions and
// f_align_radix_pt assign a single bit instead of adding one.
enum : int {
  FP_INVALID = 1,    // result is a_nan or a chosen replacement value
  FP_DIVBYZERO = 2,  // result is an infinity
  FP_OVERFLOW = 4,   // result is an infinity
  FP_UNDERFLOW = 8,  // result is a zero
};
extern int fp_error;

// Named constants, all in working form.
extern const simul_fval pos_zero, neg_zero, pos_infin, neg_infin, a_nan;
extern const simul_fval pos_huge, neg_huge;  // largest binary64 magnitude
extern const simul_fval const_one, const_ten, const_sixteen;
extern const simul_fval const_dig[16];  // 0 to 15, indexed by hexadecimal digit
extern const simul_fval one_q, one_half, three_q, one, neg_one, one_p_five, two, neg_two, four;

// The four digits as one 64-bit number, d0 in the top bits.
inline uint64_t f_mantissa64(const simul_fval* a) {
  return (uint64_t(a->mantissa[0]) << 48) | (uint64_t(a->mantissa[1]) << 32) |
         (uint64_t(a->mantissa[2]) << 16) | uint64_t(a->mantissa[3]);
}
inline void f_set_mantissa64(simul_fval* a, uint64_t m) {
  for (int i = 3; i >= 0; --i, m >>= 16) a->mantissa[i] = static_cast<uint16_t>(m);
}

// Classification.
bool f_is_nan(const simul_fval* a);
bool f_is_inf(const simul_fval* a);
bool f_is_zero(const simul_fval* a);
bool f_is_finite(const simul_fval* a);  // zero included

// ---- Arithmetic and comparison --------------------------------------------

int f_add(const simul_fval* a, const simul_fval* b, simul_fval* r);
int f_sub(const simul_fval* a, const simul_fval* b, simul_fval* r);
int f_mul(const simul_fval* a, const simul_fval* b, simul_fval* r);
int f_div(const simul_fval* a, const simul_fval* b, simul_fval* r);
int f_neg(const simul_fval* a, simul_fval* r);
int f_abs(const simul_fval* a, simul_fval* r);
int f_cvf(const simul_fval* a, simul_fval* r);  // copy

// Ordered comparisons of values: +0 equals -0; a NaN operand gives false,
// except for f_ne which gives true.
bool f_eq(const simul_fval* a, const simul_fval* b);
bool f_ne(const simul_fval* a, const simul_fval* b);
bool f_lt(const simul_fval* a, const simul_fval* b);
bool f_le(const simul_fval* a, const simul_fval* b);
bool f_gt(const simul_fval* a, const simul_fval* b);
bool f_ge(const simul_fval* a, const simul_fval* b);
// Equality of representation: +0 and -0 differ, a NaN equals itself.
bool f_bit_eq(const simul_fval* a, const simul_fval* b);

// The smaller or larger value; a NaN operand is passed through, a first.
int f_min(const simul_fval* a, const simul_fval* b, simul_fval* r);
int f_max(const simul_fval* a, const simul_fval* b, simul_fval* r);
// -1, 0 or 1 (zero for either zero); a NaN is invalid.
int f_sgn(const simul_fval* a, long* sign);
// 1 when the value is an integer (zeros included), else 0.
int f_int(const simul_fval* a, long* is_integer);
// e such that |a| = m * 2^e with 0.5 <= m < 1 (the exponent of the
// left-justified form); the stored exponent for zero, infinity and NaN.
long f_findexp(const simul_fval* a);

// The common finish of wide results: digits[0] is a guard digit, digits[1]
// to digits[4] the mantissa, digits[5] and on lower places. Brings the value
// to working form and rounds to nearest, ties away from zero, by the top bit
// of digits[5]. A result of all zeros sets *exponent to 0.
void f_normalize(uint16_t* digits, long* exponent, long count);
// Shifts the mantissa up until the top bit of d0 is set. Ends the process on
// a finite value without a non-zero digit among d0 to d2.
int f_left_justify(simul_fval* a);
// The inverse: raises the exponent to a multiple of 16, shifting the
// mantissa right; bits falling off are lost.
int f_align_radix_pt(simul_fval* a);

// ---- Integers and rounding --------------------------------------------------

// Truncation towards zero. |a| < 1 gives 0. Out of range (2^63 and more for
// f_ftoi, negative or 2^64 and more for f_ftou, infinities and NaN) gives
// the limit for the sign and FP_INVALID.
int f_ftoi(const simul_fval* a, long long* r);
int f_ftou(const simul_fval* a, unsigned long long* r);
// The same into the 65-bit compile-time integer: range -2^64 .. 2^64-1.
int f_ftoi(const simul_fval* a, INT65* r);
// Exact conversions.
int f_itof(long long v, simul_fval* r);
int f_utof(unsigned long long v, simul_fval* r);
int f_itof(const INT65& v, simul_fval* r);

int f_trunc(const simul_fval* a, simul_fval* r);
int f_ceil(const simul_fval* a, simul_fval* r);
int f_floor(const simul_fval* a, simul_fval* r);
int f_round(const simul_fval* a, simul_fval* r);  // halves away from zero
int f_modf(const simul_fval* a, simul_fval* int_part, simul_fval* frac_part);
int f_frexp(const simul_fval* a, long* exp, simul_fval* r);
int f_ldexp(const simul_fval* a, long n, simul_fval* r);
int f_fmod(const simul_fval* a, const simul_fval* b, simul_fval* r);
// To a host double, for printing only.
int f_ftoh(const simul_fval* a, double* r);

// ---- Text -------------------------------------------------------------------

// Parses decimal ("1.5e-3") or hexadecimal ("0x1.8p+1") text, or one of the
// words "nan", "inf", "+inf", "-inf" (any case, at the very start). Text
// beyond the number is ignored. A magnitude beyond the binary64 range gives
// an infinity with FP_OVERFLOW, or a zero with FP_UNDERFLOW; text without
// digits gives a zero with FP_INVALID.
// A FCON node fills its value with f_atof(text, value) followed by
// truncate_fval_to_target(value, node type).
int f_atof(const char* text, simul_fval* r);

// Largest text f_ftoa and f_f2ascii write, besides the format's own text.
enum : int { FPS_TEXT_MAX = 12000, FPS_PREC_MAX = 1100 };
// Prints `a` with a format holding one conversion (%e %f %g %a, any case;
// flags "-+ #0", width, precision; default precision 6, also for %a) and
// copies the rest of the format. Returns the length written, or -1 when the
// format has no conversion (out is then empty). `out` must hold
// FPS_TEXT_MAX plus the length of the format. A node prints its value with
// "%a" through fval2text.
int f_ftoa(char* out, const char* format, const simul_fval* a);
// Writes "%g" and a new line to standard output.
void f_print(const simul_fval* a);

// Digit strings in a buffer that the next call reuses; *sign is 1 for a
// negative value. f_ecvt gives `digits` significant digits, f_fcvt `digits`
// digits after the point, both rounded half to even on the exact value, with
// *exp the position of the point (value = 0.DIGITS * 10^exp). f_acvt gives
// one leading hexadecimal digit and `digits` fraction digits with *exp the
// binary exponent, as %a prints them (value = D.DIGITS * 2^exp).
const char* f_ecvt(const simul_fval* a, long digits, long* exp, long* sign);
const char* f_fcvt(const simul_fval* a, long digits, long* exp, long* sign);
const char* f_acvt(const simul_fval* a, long digits, long* exp, long* sign);

enum : long { FPS_FLAG_ALT = 1, FPS_FLAG_PLUS = 2, FPS_FLAG_SPACE = 4 };
// One conversion of the family e, f, g, a (upper case too) without width.
// Infinity prints "inf" or "-inf" and NaN "nan", whatever the conversion.
// Returns the length written.
int f_f2ascii(char* out, long prec, long flags, char conversion, const simul_fval* a);

void f_utoa(char* out, unsigned long long v);
// Raw fields, for debug dumps: "{d0 d1 d2 d3} e=EXP s=SIGN" in hexadecimal.
void f_dbg(char* out, const simul_fval* a);

// Rounds `count` precise entries to simul_fval.
void f_rnd_prectbl(const precise_sim_fval* table, simul_fval* out, long count);

// The text of a FCON value as the node gives it out: f_ftoa with "%a"
// ("0x1.800000p+1", "-0x0.000000p+0", "inf", "nan"), exact for every binary32
// value and read back unchanged by f_atof. NODE::fcon_value caches it.
enum : int { FPS_FCON_TEXT_MAX = 48 };
void fval2text(char* out, const simul_fval* v);
// Text read, rounded to a floating type of `bits` bits and printed again.
std::string normalize_fcon(const char* text, int bits);

// ---- Target formats ---------------------------------------------------------

// Target pattern to simul_fval and back; `kind` is accepted and ignored.
int f_cvt_ttos(const trg_fval* t, simul_fval* r, long kind);
int f_cvt_stot(const simul_fval* a, trg_fval* t, long kind);
// IEEE binary32. To the pattern: round to nearest even, subnormals included;
// a zero result of a non-zero value sets fp_error to FP_UNDERFLOW, an
// infinite one to FP_OVERFLOW, and the result is then 1. From the pattern: a
// NaN reads as a_nan, losing its sign and payload.
int ieee_cvt_ftos(uint32_t bits, simul_fval* r);
int ieee_cvt_stof(const simul_fval* a, uint32_t* bits);
// IEEE binary64 as two 32-bit halves, high word first. Reading may drop up
// to four low bits that do not fit the base-65536 mantissa.
int ieee_cvt_dtos(uint32_t hi, uint32_t lo, simul_fval* r);
int ieee_cvt_stod(const simul_fval* a, uint32_t* hi, uint32_t* lo);
uint32_t get_ieee_flt_fmt(const simul_fval* a);
uint64_t get_ieee_dbl_fmt(const simul_fval* a);

// Rounds `value` in place to a floating format of `bits` bits: 64 gives
// binary64, any other width binary32. Returns the conversion's result.
int truncate_fval_to_width(simul_fval* value, int bits);
// Rounds `value` in place to what a constant of `type` holds on the target:
// every floating type (seen through `rep`) rounds to binary32; other types
// leave the value alone. Overflow and underflow show in fp_error.
// A FCON node calls it right after f_atof, and folding calls it on each
// result before making a FCON of it.
int truncate_fval_to_target(simul_fval* value, const TYPE* type);

// ---- Mathematical functions -------------------------------------------------
// Rational approximations of Cody and Waite evaluated in simul_fval
// arithmetic. Domain errors set FP_INVALID and answer -1.

int f_sqrt(const simul_fval* x, simul_fval* r);
int f_exp(const simul_fval* x, simul_fval* r);
int f_log(const simul_fval* x, simul_fval* r);
int f_log10(const simul_fval* x, simul_fval* r);
int f_pow(const simul_fval* x, const simul_fval* y, simul_fval* r);
int f_sin(const simul_fval* x, simul_fval* r);
int f_cos(const simul_fval* x, simul_fval* r);
int f_tan(const simul_fval* x, simul_fval* r);
int f_asin(const simul_fval* x, simul_fval* r);
int f_acos(const simul_fval* x, simul_fval* r);
int f_atan(const simul_fval* x, simul_fval* r);
int f_atan2(const simul_fval* y, const simul_fval* x, simul_fval* r);
int f_sinh(const simul_fval* x, simul_fval* r);
int f_cosh(const simul_fval* x, simul_fval* r);
int f_tanh(const simul_fval* x, simul_fval* r);
