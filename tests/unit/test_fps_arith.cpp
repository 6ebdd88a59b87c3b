// The simulated format's own rules: constants, normalisation, the four
// operations, comparisons and the fp_error quirks.
#include <gtest/gtest.h>

#include <cstring>

#include "ir/fps.h"

namespace {

simul_fval mk(uint16_t d0, uint16_t d1, uint16_t d2, uint16_t d3, int exponent, unsigned sign = 0) {
  simul_fval v = {{d0, d1, d2, d3}, static_cast<int16_t>(exponent), static_cast<uint16_t>(sign)};
  return v;
}

simul_fval from_float(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  simul_fval v;
  ieee_cvt_ftos(bits, &v);
  return v;
}

uint32_t bits_of(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  return bits;
}

::testing::AssertionResult same(const simul_fval& a, const simul_fval& b) {
  if (f_bit_eq(&a, &b)) return ::testing::AssertionSuccess();
  char ta[64], tb[64];
  f_dbg(ta, &a);
  f_dbg(tb, &b);
  return ::testing::AssertionFailure() << ta << " != " << tb;
}

}  // namespace

TEST(FpsArith, NamedConstantsHaveTheirValues) {
  EXPECT_EQ(get_ieee_flt_fmt(&one), bits_of(1.0f));
  EXPECT_EQ(get_ieee_flt_fmt(&const_one), bits_of(1.0f));
  EXPECT_EQ(get_ieee_flt_fmt(&neg_one), bits_of(-1.0f));
  EXPECT_EQ(get_ieee_flt_fmt(&two), bits_of(2.0f));
  EXPECT_EQ(get_ieee_flt_fmt(&neg_two), bits_of(-2.0f));
  EXPECT_EQ(get_ieee_flt_fmt(&four), bits_of(4.0f));
  EXPECT_EQ(get_ieee_flt_fmt(&one_q), bits_of(0.25f));
  EXPECT_EQ(get_ieee_flt_fmt(&one_half), bits_of(0.5f));
  EXPECT_EQ(get_ieee_flt_fmt(&three_q), bits_of(0.75f));
  EXPECT_EQ(get_ieee_flt_fmt(&one_p_five), bits_of(1.5f));
  EXPECT_EQ(get_ieee_flt_fmt(&const_ten), bits_of(10.0f));
  EXPECT_EQ(get_ieee_flt_fmt(&const_sixteen), bits_of(16.0f));
  for (int d = 0; d < 16; ++d) EXPECT_EQ(get_ieee_flt_fmt(&const_dig[d]), bits_of(static_cast<float>(d))) << d;
  EXPECT_EQ(get_ieee_dbl_fmt(&pos_huge), 0x7fefffffffffffffull);
  EXPECT_EQ(get_ieee_dbl_fmt(&neg_huge), 0xffefffffffffffffull);
  EXPECT_EQ(get_ieee_flt_fmt(&pos_infin), 0x7f800000u);
  EXPECT_EQ(get_ieee_flt_fmt(&neg_infin), 0xff800000u);
  EXPECT_EQ(get_ieee_flt_fmt(&neg_zero), 0x80000000u);
  EXPECT_TRUE(f_is_nan(&a_nan));
  EXPECT_EQ(a_nan.mantissa[0], 1);
  EXPECT_EQ(a_nan.exponent, 0x7fff);
  EXPECT_EQ(pos_zero.exponent, -32767);
  // Every constant but the specials is in working form.
  const simul_fval* all[] = {&one, &neg_one, &two, &four, &one_q, &one_half, &three_q, &one_p_five, &const_ten, &pos_huge};
  for (const simul_fval* c : all) {
    EXPECT_EQ(c->exponent % 16, 0);
    EXPECT_NE(c->mantissa[0], 0);
  }
}

TEST(FpsArith, NormalizeShiftsAndRoundsTiesAway) {
  // A carry in the guard digit moves everything down one place, and the
  // digit pushed out rounds.
  uint16_t w[9] = {1, 2, 3, 4, 0x8000, 0, 0, 0, 0};
  long e = 16;
  f_normalize(w, &e, 9);
  EXPECT_EQ(e, 32);
  EXPECT_EQ(w[1], 1);
  EXPECT_EQ(w[2], 2);
  EXPECT_EQ(w[3], 3);
  EXPECT_EQ(w[4], 5);  // the 0x8000 pushed out into digit 5 rounded it up
  EXPECT_EQ(w[5], 0);
  // Leading zero digits shift up, bringing lower places in.
  uint16_t v[9] = {0, 0, 0, 7, 1, 2, 3, 0x8000, 0};
  e = 0;
  f_normalize(v, &e, 9);
  EXPECT_EQ(e, -32);
  EXPECT_EQ(v[1], 7);
  EXPECT_EQ(v[4], 4);  // 3 rounded up by the 0x8000 that became digit 5
  // A rounding carry through 0xffff digits reaches the guard and renormalises.
  uint16_t c[9] = {0, 0xffff, 0xffff, 0xffff, 0xffff, 0x8000, 0, 0, 0};
  e = 0;
  f_normalize(c, &e, 9);
  EXPECT_EQ(e, 16);
  EXPECT_EQ(c[1], 1);
  EXPECT_EQ(c[2] | c[3] | c[4], 0);
  // All zeros give exponent 0.
  uint16_t z[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
  e = 1234;
  f_normalize(z, &e, 9);
  EXPECT_EQ(e, 0);
  // With five places there is no rounding digit.
  uint16_t s[5] = {0, 0, 5, 6, 7};
  e = 64;
  f_normalize(s, &e, 5);
  EXPECT_EQ(e, 48);
  EXPECT_EQ(s[1], 5);
  EXPECT_EQ(s[3], 7);
  EXPECT_EQ(s[4], 0);
}

TEST(FpsArith, TiesRoundAwayInArithmeticButToEvenAtConversion) {
  // Last digit 2 plus exactly half a unit of it: away from zero gives 3,
  // where round-to-even would have kept 2.
  simul_fval a = mk(0x8000, 0, 0, 2, 0);
  simul_fval half_unit = mk(0x8000, 0, 0, 0, -64);
  simul_fval r;
  fp_error = 0;
  EXPECT_EQ(f_add(&a, &half_unit, &r), 0);
  EXPECT_TRUE(same(r, mk(0x8000, 0, 0, 3, 0)));
  simul_fval na, nh;
  f_neg(&a, &na);
  f_neg(&half_unit, &nh);
  f_add(&na, &nh, &r);
  EXPECT_TRUE(same(r, mk(0x8000, 0, 0, 3, 0, 1)));
  EXPECT_EQ(fp_error, 0);
  // The conversion to binary32 takes the even neighbour on a tie.
  simul_fval t1, t3;
  f_atof("0x1.000001p0", &t1);  // 1 + 2^-24: between 1 and 1 + 2^-23
  f_atof("0x1.000003p0", &t3);  // 1 + 3 * 2^-24
  EXPECT_EQ(get_ieee_flt_fmt(&t1), 0x3f800000u);
  EXPECT_EQ(get_ieee_flt_fmt(&t3), 0x3f800002u);
}

TEST(FpsArith, SignedZerosInAddition) {
  simul_fval r;
  fp_error = 0;
  f_add(&neg_zero, &pos_zero, &r);
  EXPECT_TRUE(same(r, pos_zero));
  f_add(&pos_zero, &neg_zero, &r);
  EXPECT_TRUE(same(r, pos_zero));
  f_add(&neg_zero, &neg_zero, &r);
  EXPECT_TRUE(same(r, neg_zero));
  f_sub(&neg_zero, &pos_zero, &r);
  EXPECT_TRUE(same(r, neg_zero));
  // Exact cancellation is +0 in either order.
  simul_fval x = from_float(3.25f), nx;
  f_neg(&x, &nx);
  f_add(&x, &nx, &r);
  EXPECT_TRUE(same(r, pos_zero));
  f_add(&nx, &x, &r);
  EXPECT_TRUE(same(r, pos_zero));
  // A zero and a non-zero give the other operand itself.
  f_add(&neg_zero, &nx, &r);
  EXPECT_TRUE(same(r, nx));
  f_add(&x, &neg_zero, &r);
  EXPECT_TRUE(same(r, x));
  EXPECT_EQ(fp_error, 0);
}

TEST(FpsArith, AdditionSevenDigitsApartKeepsTheLargerOperand) {
  simul_fval big = mk(0x8000, 0, 0, 1, 16);
  simul_fval r;
  for (int sign = 0; sign < 2; ++sign) {
    // Seven digits apart: unchanged, whatever the small operand holds.
    simul_fval tiny = mk(0xffff, 0xffff, 0xffff, 0xffff, 16 - 7 * 16, sign);
    fp_error = 0;
    EXPECT_EQ(f_add(&big, &tiny, &r), 0);
    EXPECT_TRUE(same(r, big));
    EXPECT_EQ(f_add(&tiny, &big, &r), 0);
    EXPECT_TRUE(same(r, big));
    EXPECT_EQ(fp_error, 0);
  }
  // Five digits apart the small operand still counts: 1 - 0x8001 * 2^-80.
  simul_fval small = mk(0x8001, 0, 0, 0, 16 - 5 * 16, 1);
  f_add(&one, &small, &r);
  EXPECT_TRUE(same(r, mk(0xffff, 0xffff, 0xffff, 0xffff, 0)));
  // Extreme exponents far apart: no overflow or underflow on the way.
  simul_fval huge = mk(0xffff, 0xffff, 0xffff, 0xffff, 32752);
  simul_fval least = mk(1, 0, 0, 0, -32752);
  fp_error = 0;
  EXPECT_EQ(f_add(&huge, &least, &r), 0);
  EXPECT_TRUE(same(r, huge));
  EXPECT_EQ(fp_error, 0);
}

TEST(FpsArith, OverflowUnderflowAndInvalidResults) {
  simul_fval huge = mk(0xffff, 0xffff, 0xffff, 0xffff, 32752);
  simul_fval least = mk(1, 0, 0, 0, -32752);
  simul_fval r;

  fp_error = 0;
  EXPECT_EQ(f_add(&huge, &huge, &r), -1);
  EXPECT_TRUE(same(r, pos_infin));
  EXPECT_EQ(fp_error, FP_OVERFLOW);

  simul_fval nhuge;
  f_neg(&huge, &nhuge);
  fp_error = 0;
  EXPECT_EQ(f_mul(&nhuge, &huge, &r), -1);
  EXPECT_TRUE(same(r, neg_infin));
  EXPECT_EQ(fp_error, FP_OVERFLOW);

  simul_fval nleast;
  f_neg(&least, &nleast);
  fp_error = 0;
  EXPECT_EQ(f_mul(&least, &nleast, &r), -1);
  EXPECT_TRUE(same(r, neg_zero));
  EXPECT_EQ(fp_error, FP_UNDERFLOW);

  fp_error = 0;
  EXPECT_EQ(f_div(&least, &huge, &r), -1);
  EXPECT_TRUE(same(r, pos_zero));
  EXPECT_EQ(fp_error, FP_UNDERFLOW);

  // Bits accumulate across operations.
  fp_error = 0;
  f_mul(&pos_infin, &pos_zero, &r);
  EXPECT_TRUE(same(r, a_nan));
  f_div(&one, &neg_zero, &r);
  EXPECT_TRUE(same(r, neg_infin));
  EXPECT_EQ(fp_error, FP_INVALID | FP_DIVBYZERO);

  fp_error = 0;
  EXPECT_EQ(f_add(&pos_infin, &neg_infin, &r), -1);
  EXPECT_TRUE(same(r, a_nan));
  EXPECT_EQ(f_div(&pos_zero, &neg_zero, &r), -1);
  EXPECT_TRUE(same(r, a_nan));
  EXPECT_EQ(f_div(&neg_infin, &pos_infin, &r), -1);
  EXPECT_TRUE(same(r, a_nan));
  EXPECT_EQ(fp_error, FP_INVALID);

  // No error bit for these.
  fp_error = 0;
  f_add(&pos_infin, &pos_infin, &r);
  EXPECT_TRUE(same(r, pos_infin));
  f_add(&one, &neg_infin, &r);
  EXPECT_TRUE(same(r, neg_infin));
  f_div(&neg_one, &pos_infin, &r);
  EXPECT_TRUE(same(r, neg_zero));
  f_div(&neg_infin, &two, &r);
  EXPECT_TRUE(same(r, neg_infin));
  f_div(&pos_infin, &neg_zero, &r);
  EXPECT_TRUE(same(r, neg_infin));
  f_div(&neg_zero, &two, &r);
  EXPECT_TRUE(same(r, neg_zero));
  f_mul(&neg_infin, &neg_two, &r);
  EXPECT_TRUE(same(r, pos_infin));
  f_mul(&neg_zero, &two, &r);
  EXPECT_TRUE(same(r, neg_zero));
  EXPECT_EQ(fp_error, 0);
}

TEST(FpsArith, NanOperandsPassThroughFirstOperandFirst) {
  simul_fval n1 = mk(0x1234, 5, 6, 7, 0x7fff, 1);
  simul_fval n2 = mk(0x0042, 0, 0, 0, 0x7fff, 0);
  simul_fval r;
  fp_error = 0;
  f_add(&n1, &n2, &r);
  EXPECT_TRUE(same(r, n1));
  f_add(&one, &n2, &r);
  EXPECT_TRUE(same(r, n2));
  f_mul(&n2, &n1, &r);
  EXPECT_TRUE(same(r, n2));
  f_mul(&pos_infin, &n1, &r);
  EXPECT_TRUE(same(r, n1));
  f_div(&n1, &pos_zero, &r);
  EXPECT_TRUE(same(r, n1));
  f_div(&pos_zero, &n2, &r);
  EXPECT_TRUE(same(r, n2));
  EXPECT_EQ(fp_error, 0);
}

TEST(FpsArith, ResultMayShareStorageWithOperands) {
  simul_fval x = from_float(1.5f), y = from_float(-2.25f);
  simul_fval expect;
  f_mul(&x, &y, &expect);
  f_mul(&x, &y, &x);
  EXPECT_TRUE(same(x, expect));
  x = from_float(1.5f);
  f_div(&x, &y, &expect);
  f_div(&x, &y, &y);
  EXPECT_TRUE(same(y, expect));
  y = from_float(-2.25f);
  f_add(&y, &y, &y);
  EXPECT_EQ(get_ieee_flt_fmt(&y), bits_of(-4.5f));
}

TEST(FpsArith, MultiplyAndDivideKeepSixtyFourBits) {
  // (2^32 + 1)^2 = 2^64 + 2^33 + 1 needs 65 bits; it rounds at the 64th.
  simul_fval a;
  f_utof((1ull << 32) + 1, &a);
  simul_fval sq;
  f_mul(&a, &a, &sq);
  simul_fval expect = mk(1, 0, 2, 0, 80);  // 2^64 + 2^33; the final 1 is gone
  EXPECT_TRUE(same(sq, expect));
  // 1/3 fills every digit with 0x5555 and rounds the last.
  simul_fval third;
  f_div(&one, &const_dig[3], &third);
  EXPECT_TRUE(same(third, mk(0x5555, 0x5555, 0x5555, 0x5555, 0)));
  simul_fval two_thirds;
  f_div(&two, &const_dig[3], &two_thirds);
  EXPECT_TRUE(same(two_thirds, mk(0xaaaa, 0xaaaa, 0xaaaa, 0xaaab, 0)));
  // Division with the integer digit present.
  simul_fval q;
  f_div(&const_ten, &one_q, &q);
  EXPECT_EQ(get_ieee_flt_fmt(&q), bits_of(40.0f));
}

TEST(FpsArith, ComparisonsOfValuesAndRepresentations) {
  simul_fval a = from_float(-3.0f), b = from_float(-2.0f), c = from_float(0.5f);
  EXPECT_TRUE(f_lt(&a, &b));
  EXPECT_TRUE(f_lt(&b, &c));
  EXPECT_TRUE(f_gt(&c, &a));
  EXPECT_TRUE(f_le(&a, &a));
  EXPECT_TRUE(f_ge(&b, &b));
  EXPECT_FALSE(f_lt(&c, &c));
  EXPECT_TRUE(f_lt(&neg_infin, &a));
  EXPECT_TRUE(f_gt(&pos_infin, &pos_huge));
  EXPECT_TRUE(f_lt(&neg_zero, &c));
  EXPECT_TRUE(f_gt(&neg_zero, &a));
  // +0 and -0: equal values, different representations.
  EXPECT_TRUE(f_eq(&pos_zero, &neg_zero));
  EXPECT_FALSE(f_ne(&pos_zero, &neg_zero));
  EXPECT_FALSE(f_bit_eq(&pos_zero, &neg_zero));
  // A NaN is unordered, but equal to itself in representation.
  EXPECT_FALSE(f_eq(&a_nan, &a_nan));
  EXPECT_TRUE(f_ne(&a_nan, &a_nan));
  EXPECT_FALSE(f_lt(&a_nan, &one));
  EXPECT_FALSE(f_ge(&one, &a_nan));
  EXPECT_FALSE(f_le(&a_nan, &pos_infin));
  EXPECT_TRUE(f_bit_eq(&a_nan, &a_nan));

  simul_fval r;
  f_min(&a, &c, &r);
  EXPECT_TRUE(same(r, a));
  f_max(&a, &c, &r);
  EXPECT_TRUE(same(r, c));
  f_max(&one, &a_nan, &r);
  EXPECT_TRUE(f_is_nan(&r));

  long s = 7;
  f_sgn(&a, &s);
  EXPECT_EQ(s, -1);
  f_sgn(&neg_zero, &s);
  EXPECT_EQ(s, 0);
  f_sgn(&pos_infin, &s);
  EXPECT_EQ(s, 1);
  fp_error = 0;
  EXPECT_EQ(f_sgn(&a_nan, &s), -1);
  EXPECT_EQ(fp_error, FP_INVALID);

  long whole = -1;
  f_int(&a, &whole);
  EXPECT_EQ(whole, 1);
  f_int(&c, &whole);
  EXPECT_EQ(whole, 0);
  simul_fval big = from_float(1.5e30f);
  f_int(&big, &whole);
  EXPECT_EQ(whole, 1);
  simul_fval frac = from_float(12345.5f);
  f_int(&frac, &whole);
  EXPECT_EQ(whole, 0);
  f_int(&pos_infin, &whole);
  EXPECT_EQ(whole, 0);

  EXPECT_EQ(f_findexp(&one), 1);        // 1 = 0.5 * 2^1
  EXPECT_EQ(f_findexp(&one_q), -1);     // 0.25 = 0.5 * 2^-1
  EXPECT_EQ(f_findexp(&const_ten), 4);  // 10 = 0.625 * 2^4
}

TEST(FpsArith, JustifyAndAlignAssignTheirBits) {
  simul_fval v = mk(0, 0x0003, 0, 0, 16);  // 3 * 2^-16 * 2^16 / 65536, not in working form
  f_left_justify(&v);
  EXPECT_TRUE(same(v, mk(0xc000, 0, 0, 0, -14)));
  f_align_radix_pt(&v);
  EXPECT_TRUE(same(v, mk(3, 0, 0, 0, 0)));
  // Alignment loses the bits that fall off.
  simul_fval w = mk(0xffff, 0xffff, 0xffff, 0xffff, -1);
  f_align_radix_pt(&w);
  EXPECT_TRUE(same(w, mk(0x7fff, 0xffff, 0xffff, 0xffff, 0)));
  // Above the range: infinity, and fp_error holds only the overflow bit.
  simul_fval o = mk(0x8000, 0, 0, 0, 32760, 1);
  fp_error = FP_UNDERFLOW | FP_INVALID;
  EXPECT_EQ(f_align_radix_pt(&o), -1);
  EXPECT_TRUE(same(o, neg_infin));
  EXPECT_EQ(fp_error, FP_OVERFLOW);
  // The binary32 conversion assigns as well.
  simul_fval h = from_float(3.0e38f), hh;
  f_add(&h, &h, &hh);
  fp_error = FP_INVALID;
  uint32_t bits = 0;
  EXPECT_EQ(ieee_cvt_stof(&hh, &bits), 1);
  EXPECT_EQ(bits, 0x7f800000u);
  EXPECT_EQ(fp_error, FP_OVERFLOW);
}

TEST(FpsArithDeathTest, LeftJustifyRejectsAMantissaWithoutLeadingDigits) {
  simul_fval bad = mk(0, 0, 0, 5, 16);
  EXPECT_EXIT(f_left_justify(&bad), ::testing::ExitedWithCode(1), "Illegal float representation");
}

TEST(FpsArith, SumOfRoundedTenthsMatchesBinary32) {
  simul_fval a, b, s;
  f_atof("0.1", &a);
  f_atof("0.2", &b);
  truncate_fval_to_width(&a, 32);
  truncate_fval_to_width(&b, 32);
  f_add(&a, &b, &s);
  trg_fval t;
  fp_error = 0;
  EXPECT_EQ(f_cvt_stot(&s, &t, 0), 0);
  volatile float fa = 0.1f, fb = 0.2f;
  float sum = fa + fb;
  EXPECT_EQ(t.word, bits_of(sum));
  EXPECT_EQ(fp_error, 0);
}
