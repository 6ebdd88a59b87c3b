#include <gtest/gtest.h>

#include <vector>

#include "ir/int65.h"

TEST(Int65, HoldsFullSignedAndUnsigned64BitRanges) {
  INT65 umax(0xffffffffffffffffull);
  EXPECT_FALSE(umax.is_negative());
  EXPECT_EQ(umax.low, 0xffffffffu);
  EXPECT_EQ(umax.high, 0xffffffffu);
  EXPECT_EQ(umax.sign, 0u);
  INT65 smin(static_cast<long long>(INT64_MIN));
  EXPECT_TRUE(smin.is_negative());
  EXPECT_EQ(smin.sign, 0xffffffffu);
  EXPECT_LT(smin, INT65(0));
  EXPECT_GT(umax, INT65(static_cast<long long>(INT64_MAX)));
  // -1 and 2^64-1 share the low 64 bits but are different values.
  EXPECT_NE(INT65(-1), umax);
  EXPECT_EQ(INT65(-1).as_uint64(), umax.as_uint64());
}

TEST(Int65, ArithmeticWrapsAt65Bits) {
  INT65 umax(0xffffffffffffffffull);
  // 2^64 - 1 + 1 = 2^64, which is the most negative 65-bit value.
  INT65 wrapped = umax + INT65(1);
  EXPECT_TRUE(wrapped.is_negative());
  EXPECT_EQ(wrapped.low, 0u);
  EXPECT_EQ(wrapped.high, 0u);
  bool overflow = false;
  long_add(umax, INT65(1), overflow);
  EXPECT_TRUE(overflow) << "2^64 is outside the 65-bit range";
}

TEST(Int65, LongAddReportsOverflow) {
  bool overflow = true;
  INT65 r = long_add(INT65(5), INT65(-7), overflow);
  EXPECT_FALSE(overflow);
  EXPECT_EQ(r, INT65(-2));
  INT65 big = INT65(0xffffffffffffffffull);
  long_add(big, big, overflow);
  EXPECT_TRUE(overflow);
}

TEST(Int65, DivisionAndShiftsFollowC) {
  EXPECT_EQ(INT65(-7) / INT65(2), INT65(-3));
  EXPECT_EQ(INT65(-7) % INT65(2), INT65(-1));
  EXPECT_EQ(INT65(7) % INT65(-2), INT65(1));
  EXPECT_EQ(INT65(-8) >> 1, INT65(-4));
  EXPECT_EQ(INT65(1) << 64, INT65::from_words(0, 0, 1));
  EXPECT_EQ(INT65(3) << 65, INT65(0));
  EXPECT_EQ(INT65(0x12345678) * INT65(0x1000), INT65(0x12345678000ll));
  EXPECT_EQ(INT65(5) / INT65(0), INT65(0));
}

TEST(Int65, TruncationToWidths) {
  EXPECT_EQ(truncate_to_width(INT65(0x18000), 16, true), INT65(-32768));
  EXPECT_EQ(truncate_to_width(INT65(0x18000), 16, false), INT65(0x8000));
  EXPECT_EQ(truncate_to_width(INT65(-1), 32, false), INT65(0xffffffffll));
  EXPECT_EQ(truncate_to_width(INT65(0xffffffffll), 32, true), INT65(-1));
  EXPECT_EQ(truncate_to_width(INT65(0x7fffffff), 32, true), INT65(0x7fffffff));
  EXPECT_TRUE(INT65(-32768).fits_signed(16));
  EXPECT_FALSE(INT65(32768).fits_signed(16));
  EXPECT_TRUE(INT65(65535).fits_unsigned(16));
  EXPECT_FALSE(INT65(-1).fits_unsigned(64));
}

TEST(Int65, Text) {
  EXPECT_EQ(int2text(INT65(-42), nullptr, -1, 10), "-42");
  EXPECT_EQ(int2text(INT65(255), nullptr, 6, 16), "  0xff");
  EXPECT_EQ(int2text(INT65(8), nullptr, -1, 8), "010");
  EXPECT_EQ(int2text(INT65(0xffffffffffffffffull), nullptr, -1, 10), "18446744073709551615");
  EXPECT_EQ(int2text(INT65(static_cast<long long>(INT64_MIN)), nullptr, -1, 10), "-9223372036854775808");
}

TEST(Int65, AnyHostValueWrapsToItsLow65Bits) {
  const __int128 one = 1;
  const __int128 mod = one << 65;
  auto reference = [&](__int128 v) {
    v %= mod;
    if (v < 0) v += mod;
    if (v >= (one << 64)) v -= mod;
    return v;
  };
  std::vector<__int128> values;
  for (int bit : {0, 1, 31, 32, 63, 64, 65, 66, 100, 126})
    for (int d : {-2, -1, 0, 1, 2}) {
      values.push_back((one << bit) + d);
      values.push_back(-(one << bit) + d);
    }
  values.push_back(static_cast<__int128>(~(static_cast<unsigned __int128>(1) << 127)));  // the largest
  values.push_back(-static_cast<__int128>(~(static_cast<unsigned __int128>(1) << 127)) - 1);  // the smallest
  values.push_back(static_cast<__int128>(0x123456789abcdef0ull) * 0x1000000007ll);
  for (__int128 v : values) {
    __int128 got = INT65::from_i128(v).i128();
    ASSERT_TRUE(got == reference(v)) << "for " << static_cast<long long>(v) << " (low 64 bits)";
  }
}
