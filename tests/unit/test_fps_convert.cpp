// IEEE patterns, integers and the rounding family of the simulated format,
// checked against the host's own binary32 and binary64.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <random>

#include "ir/fps.h"

namespace {

float float_of(uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, 4);
  return f;
}
uint32_t bits_of(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  return bits;
}
uint64_t bits_of(double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, 8);
  return bits;
}
double double_of(uint64_t bits) {
  double d;
  std::memcpy(&d, &bits, 8);
  return d;
}

simul_fval sf(float f) {
  simul_fval v;
  ieee_cvt_ftos(bits_of(f), &v);
  return v;
}
float fs(const simul_fval& v) { return float_of(get_ieee_flt_fmt(&v)); }

simul_fval sd(double d) {
  uint64_t b = bits_of(d);
  simul_fval v;
  ieee_cvt_dtos(static_cast<uint32_t>(b >> 32), static_cast<uint32_t>(b), &v);
  return v;
}

bool is_working_form(const simul_fval& v) {
  if (!f_is_finite(&v) || f_is_zero(&v)) return true;
  return v.exponent % 16 == 0 && v.mantissa[0] != 0;
}

}  // namespace

// Sampled over the whole 32-bit space with a stride prime to it, so every
// exponent and both signs are visited about four thousand times each.
TEST(FpsConvertSweep, EveryBinary32PatternRoundTrips) {
  const uint64_t stride = 4093;
  long checked = 0, failures = 0;
  for (uint64_t i = 0; i < (uint64_t(1) << 32); i += stride) {
    uint32_t bits = static_cast<uint32_t>(i * 2654435761u);  // scatter the low bits too
    if ((bits & 0x7f800000) == 0x7f800000 && (bits & 0x7fffff)) continue;  // NaN
    simul_fval v;
    ieee_cvt_ftos(bits, &v);
    uint32_t back = 0;
    fp_error = 0;
    int rc = ieee_cvt_stof(&v, &back);
    if (back != bits || rc != 0 || fp_error != 0 || !is_working_form(v)) {
      if (++failures <= 10) ADD_FAILURE() << std::hex << "pattern 0x" << bits << " came back as 0x" << back;
    }
    ++checked;
  }
  printf("binary32 round trip: %ld patterns, %ld failures\n", checked, failures);
  EXPECT_GT(checked, 1000000);
  EXPECT_EQ(failures, 0);
}

TEST(FpsConvert, SubnormalsAcrossTheNormalBoundary) {
  uint32_t bits = 0;
  simul_fval v;
  // The smallest subnormal, the largest, and the smallest normal.
  for (uint32_t p : {0x00000001u, 0x80000001u, 0x007fffffu, 0x00800000u, 0x00400001u}) {
    ieee_cvt_ftos(p, &v);
    EXPECT_EQ(get_ieee_flt_fmt(&v), p) << std::hex << p;
  }
  // Just below the smallest normal, rounding up: exactly 0x00800000, no error.
  f_atof("0x1.fffffffp-127", &v);
  fp_error = 0;
  EXPECT_EQ(ieee_cvt_stof(&v, &bits), 0);
  EXPECT_EQ(bits, 0x00800000u);
  EXPECT_EQ(fp_error, 0);
  // Just below, rounding down, stays subnormal.
  f_atof("0x1.fffff8p-127", &v);
  EXPECT_EQ(get_ieee_flt_fmt(&v), 0x007ffffeu);
  // Half the smallest subnormal is a tie towards the even zero: underflow.
  simul_fval half_min;
  f_atof("-0x1p-150", &half_min);
  fp_error = FP_INVALID;
  EXPECT_EQ(ieee_cvt_stof(&half_min, &bits), 1);
  EXPECT_EQ(bits, 0x80000000u);
  EXPECT_EQ(fp_error, FP_UNDERFLOW);
  // A hair above half rounds up to the smallest subnormal.
  f_atof("0x1.00001p-150", &v);
  fp_error = 0;
  EXPECT_EQ(ieee_cvt_stof(&v, &bits), 0);
  EXPECT_EQ(bits, 0x00000001u);
  // 1.5 units rounds to 2 units, 2.5 units to 2 units (even).
  f_atof("0x1.8p-149", &v);
  EXPECT_EQ(get_ieee_flt_fmt(&v), 0x00000002u);
  f_atof("0x1.4p-148", &v);
  EXPECT_EQ(get_ieee_flt_fmt(&v), 0x00000002u);
  // Far below the range.
  f_ldexp(&one, -2000, &v);
  fp_error = 0;
  EXPECT_EQ(ieee_cvt_stof(&v, &bits), 1);
  EXPECT_EQ(bits, 0u);
  EXPECT_EQ(fp_error, FP_UNDERFLOW);
}

TEST(FpsConvert, OverflowAtTheTopOfBinary32) {
  simul_fval v;
  uint32_t bits = 0;
  // FLT_MAX plus just under half an ulp stays; exactly half rounds to even,
  // which is upward here, and overflows.
  f_atof("0x1.fffffefffp127", &v);
  fp_error = 0;
  EXPECT_EQ(ieee_cvt_stof(&v, &bits), 0);
  EXPECT_EQ(bits, 0x7f7fffffu);
  f_atof("-0x1.ffffffp127", &v);
  EXPECT_EQ(ieee_cvt_stof(&v, &bits), 1);
  EXPECT_EQ(bits, 0xff800000u);
  EXPECT_EQ(fp_error, FP_OVERFLOW);
}

TEST(FpsConvert, NanPayloadsAreNotKept) {
  std::mt19937 rng(7);
  for (int i = 0; i < 1000; ++i) {
    uint32_t payload = (rng() & 0x7fffff) | 1;
    uint32_t p = 0x7f800000u | payload | (i & 1 ? 0x80000000u : 0);
    simul_fval v;
    ieee_cvt_ftos(p, &v);
    ASSERT_TRUE(f_bit_eq(&v, &a_nan)) << std::hex << p;
    ASSERT_EQ(get_ieee_flt_fmt(&v), 0x7fc00000u);  // the sign went on reading
  }
  simul_fval negative_nan = a_nan;
  negative_nan.sign = 1;
  EXPECT_EQ(get_ieee_flt_fmt(&negative_nan), 0xffc00000u);
  EXPECT_EQ(get_ieee_dbl_fmt(&negative_nan), 0xfff8000000000000ull);
  simul_fval v;
  ieee_cvt_dtos(0xfff00000u, 1u, &v);
  EXPECT_TRUE(f_bit_eq(&v, &a_nan));
  // The target pattern is the same 32-bit word, whatever the kind asked.
  trg_fval t = {0x40490fdbu};
  f_cvt_ttos(&t, &v, 1);
  trg_fval back = {0};
  f_cvt_stot(&v, &back, 2);
  EXPECT_EQ(back.word, 0x40490fdbu);
}

TEST(FpsConvert, Binary64PatternsAgreeWithTheHost) {
  std::mt19937_64 rng(11);
  long truncated = 0;
  for (int i = 0; i < 200000; ++i) {
    uint64_t b = rng();
    if (((b >> 52) & 0x7ff) == 0x7ff) continue;
    simul_fval v;
    ieee_cvt_dtos(static_cast<uint32_t>(b >> 32), static_cast<uint32_t>(b), &v);
    ASSERT_TRUE(is_working_form(v));
    uint64_t back = get_ieee_dbl_fmt(&v);
    // Reading drops what does not fit the digits: towards zero, under 16
    // units of the last place, and nothing when the low four bits are clear.
    if (back != b) ++truncated;
    ASSERT_EQ(back >> 63, b >> 63);
    uint64_t mag = b & ~(1ull << 63), bmag = back & ~(1ull << 63);
    ASSERT_LE(bmag, mag);
    ASSERT_LT(mag - bmag, 16u);
    uint64_t clear = b & ~0xfull;
    if (((clear >> 52) & 0x7ff) != 0) {
      ieee_cvt_dtos(static_cast<uint32_t>(clear >> 32), static_cast<uint32_t>(clear), &v);
      ASSERT_EQ(get_ieee_dbl_fmt(&v), clear);
    }
  }
  EXPECT_GT(truncated, 0);
  // Binary32 values widen exactly, as the host widens them.
  std::mt19937 r32(5);
  for (int i = 0; i < 100000; ++i) {
    float f = float_of(r32());
    if (std::isnan(f)) continue;
    simul_fval v = sf(f);
    ASSERT_EQ(get_ieee_dbl_fmt(&v), bits_of(static_cast<double>(f)));
    // And binary64 narrows to binary32 as the host rounds; the low four
    // bits are cleared so that reading keeps the value whole.
    double d = double_of(rng() & ~0xfull);
    if (std::isnan(d)) continue;
    simul_fval w = sd(d);
    ASSERT_EQ(get_ieee_flt_fmt(&w), bits_of(static_cast<float>(d))) << d;
  }
}

TEST(FpsConvert, TruncateToWidthRoundsInPlace) {
  simul_fval v;
  f_atof("0.1", &v);
  simul_fval w = v;
  EXPECT_EQ(truncate_fval_to_width(&w, 32), 0);
  EXPECT_EQ(get_ieee_flt_fmt(&w), bits_of(0.1f));
  EXPECT_EQ(get_ieee_dbl_fmt(&w), bits_of(static_cast<double>(0.1f)));
  w = v;
  EXPECT_EQ(truncate_fval_to_width(&w, 64), 0);
  EXPECT_EQ(get_ieee_dbl_fmt(&w), bits_of(0.1));
  f_atof("1e39", &w);
  fp_error = 0;
  EXPECT_EQ(truncate_fval_to_width(&w, 32), 1);
  EXPECT_TRUE(f_bit_eq(&w, &pos_infin));
  EXPECT_EQ(fp_error, FP_OVERFLOW);
  simul_fval n = a_nan;
  n.sign = 1;
  truncate_fval_to_width(&n, 32);
  EXPECT_TRUE(f_bit_eq(&n, &a_nan));
}

TEST(FpsConvert, IntegerConversions) {
  simul_fval v;
  long long i = 0;
  unsigned long long u = 0;
  const long long values[] = {0, 1, -1, 65535, 65536, -65537, (1ll << 53) + 1, LLONG_MAX, LLONG_MIN, -1234567890123ll};
  for (long long x : values) {
    f_itof(x, &v);
    EXPECT_TRUE(is_working_form(v));
    fp_error = 0;
    EXPECT_EQ(f_ftoi(&v, &i), 0);
    EXPECT_EQ(i, x);
    EXPECT_EQ(fp_error, 0);
    INT65 w;
    f_itof(INT65(x), &v);
    EXPECT_EQ(f_ftoi(&v, &w), 0);
    EXPECT_EQ(w, INT65(x));
  }
  f_utof(ULLONG_MAX, &v);
  EXPECT_EQ(f_ftou(&v, &u), 0);
  EXPECT_EQ(u, ULLONG_MAX);
  // 2^63 and more give the limit, with the invalid bit; -2^63 is exact.
  f_utof(1ull << 63, &v);
  fp_error = 0;
  EXPECT_EQ(f_ftoi(&v, &i), -1);
  EXPECT_EQ(i, LLONG_MAX);
  EXPECT_EQ(fp_error, FP_INVALID);
  f_neg(&v, &v);
  fp_error = 0;
  EXPECT_EQ(f_ftoi(&v, &i), 0);
  EXPECT_EQ(i, LLONG_MIN);
  EXPECT_EQ(fp_error, 0);
  f_atof("-1e30", &v);
  EXPECT_EQ(f_ftoi(&v, &i), -1);
  EXPECT_EQ(i, LLONG_MIN);
  EXPECT_EQ(f_ftou(&v, &u), -1);
  EXPECT_EQ(u, 0u);
  EXPECT_EQ(f_ftoi(&pos_infin, &i), -1);
  EXPECT_EQ(i, LLONG_MAX);
  // Truncation towards zero, and below one nothing is left.
  v = sf(-3.75f);
  f_ftoi(&v, &i);
  EXPECT_EQ(i, -3);
  v = sf(0.999f);
  f_ftoi(&v, &i);
  EXPECT_EQ(i, 0);
  v = sf(-0.5f);
  f_ftou(&v, &u);
  EXPECT_EQ(u, 0u);
  // The 65-bit integer holds -2^64 and 2^64 - 1.
  INT65 lowest = INT65::from_i128(-(static_cast<__int128>(1) << 64));
  f_itof(lowest, &v);
  EXPECT_EQ(get_ieee_flt_fmt(&v), 0xdf800000u);
  INT65 back;
  fp_error = 0;
  EXPECT_EQ(f_ftoi(&v, &back), 0);
  EXPECT_EQ(back, lowest);
  f_neg(&v, &v);
  EXPECT_EQ(f_ftoi(&v, &back), -1);
  EXPECT_EQ(back, INT65(ULLONG_MAX));
  EXPECT_EQ(fp_error, FP_INVALID);
}

// The rounding family is exact, so the host's float functions are the
// reference bit for bit.
TEST(FpsConvert, RoundingFamilyMatchesTheHost) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> small(-40.0f, 40.0f);
  for (int i = 0; i < 100000; ++i) {
    float f;
    if (i % 3 == 0) {
      f = float_of(rng());
      if (std::isnan(f)) continue;
    } else if (i % 3 == 1) {
      f = small(rng);
    } else {
      f = std::ldexp(small(rng), -static_cast<int>(rng() % 30));
    }
    simul_fval v = sf(f), r, ip, fr;
    f_trunc(&v, &r);
    ASSERT_EQ(bits_of(fs(r)), bits_of(std::trunc(f))) << f;
    f_floor(&v, &r);
    ASSERT_EQ(bits_of(fs(r)), bits_of(std::floor(f))) << f;
    f_ceil(&v, &r);
    ASSERT_EQ(bits_of(fs(r)), bits_of(std::ceil(f))) << f;
    f_round(&v, &r);
    ASSERT_EQ(bits_of(fs(r)), bits_of(std::round(f))) << f;
    f_modf(&v, &ip, &fr);
    float hi;
    float hf = std::modf(f, &hi);
    ASSERT_EQ(bits_of(fs(ip)), bits_of(hi)) << f;
    ASSERT_EQ(bits_of(fs(fr)), bits_of(hf)) << f;
    long e = 0;
    int he = 0;
    f_frexp(&v, &e, &r);
    float hm = std::frexp(f, &he);
    ASSERT_EQ(bits_of(fs(r)), bits_of(hm)) << f;
    if (std::isfinite(f)) {
      ASSERT_EQ(e, he) << f;
    }
    int n = static_cast<int>(rng() % 80) - 40;
    f_ldexp(&v, n, &r);
    ASSERT_EQ(bits_of(fs(r)), bits_of(std::ldexp(f, n))) << f << " " << n;
    float g = small(rng);
    simul_fval w = sf(g);
    fp_error = 0;
    f_fmod(&v, &w, &r);
    ASSERT_EQ(bits_of(fs(r)), bits_of(std::fmod(f, g))) << f << " " << g;
  }
  // Domain errors of fmod.
  simul_fval r;
  fp_error = 0;
  EXPECT_EQ(f_fmod(&pos_infin, &one, &r), -1);
  EXPECT_TRUE(f_is_nan(&r));
  EXPECT_EQ(f_fmod(&one, &neg_zero, &r), -1);
  EXPECT_EQ(fp_error, FP_INVALID);
  // fmod of values far apart in magnitude stays exact.
  simul_fval a, b;
  f_atof("0x1.3p900", &a);
  f_atof("0x1.1p-900", &b);
  f_fmod(&a, &b, &r);
  EXPECT_TRUE(f_lt(&r, &b));
  EXPECT_FALSE(f_is_zero(&r));
}

TEST(FpsConvert, LdexpAtTheEdgesOfTheFormat) {
  simul_fval r;
  fp_error = 0;
  EXPECT_EQ(f_ldexp(&one, 40000, &r), -1);
  EXPECT_TRUE(f_bit_eq(&r, &pos_infin));
  EXPECT_EQ(fp_error, FP_OVERFLOW);
  fp_error = 0;
  EXPECT_EQ(f_ldexp(&neg_one, -40000, &r), -1);
  EXPECT_TRUE(f_bit_eq(&r, &neg_zero));
  EXPECT_EQ(fp_error, FP_UNDERFLOW);
  // A shift that is not a whole digit loses the low bits of a full mantissa.
  simul_fval full = {{0xffff, 0xffff, 0xffff, 0xffff}, 0, 0};
  f_ldexp(&full, -1, &r);
  simul_fval expect = {{0x7fff, 0xffff, 0xffff, 0xffff}, 0, 0};
  EXPECT_TRUE(f_bit_eq(&r, &expect));
  f_ldexp(&full, 16, &r);
  expect = full;
  expect.exponent = 16;
  EXPECT_TRUE(f_bit_eq(&r, &expect));
}

TEST(FpsConvert, HostDoubleOnlyForPrinting) {
  simul_fval v;
  f_atof("-2.5", &v);
  double d = 0;
  fp_error = FP_INVALID;
  f_ftoh(&v, &d);
  EXPECT_EQ(d, -2.5);
  EXPECT_EQ(fp_error, FP_INVALID);  // printing leaves the record alone
  f_ftoh(&pos_huge, &d);
  EXPECT_EQ(bits_of(d), 0x7fefffffffffffffull);
}
