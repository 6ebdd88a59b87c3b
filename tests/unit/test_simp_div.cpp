// Division and remainder: the exact rules, the reciprocal under strict_fp,
// and the warps of a division by a constant with their guards.
#include "test_simp_util.h"

namespace simp_test {
namespace {

using Div = SimpTest;

TEST_F(Div, ExactRules) {
  EXPECT_EQ(simp("(DIV i32 #x #x)"), "1:i32");
  EXPECT_EQ(simp("(DIV f32 #f #f)"), "(DIV f32 #f #f)");
  EXPECT_EQ(simp("(DIV i32 #x 1:i32)"), "#x");
  EXPECT_EQ(simp("(DIV i32 #x -1:i32)"), "(UMINUS i32 #x)");
  EXPECT_EQ(simp("(DIV i32 #x -7:i32)"), "(UMINUS i32 (DIV i32 #x 7:i32))");
  EXPECT_EQ(simp("(DIV i32 -7:i32 #x)"), "(UMINUS i32 (DIV i32 7:i32 #x))");
  EXPECT_EQ(simp("(DIV u32 #u 4294967289:u32)"), "(DIV u32 #u 4294967289:u32)") << "unsigned has no sign";
  EXPECT_EQ(simp("(DIV i32 (UMINUS i32 #x) (UMINUS i32 #y))"), "(DIV i32 (UMINUS i32 #x) (UMINUS i32 #y))")
      << "either could be the most negative value";
  EXPECT_EQ(simp("(DIV i32 (UMINUS i32 (SCONV i32 #s)) (UMINUS i32 (SCONV i32 #t)))"),
            "(DIV i32 (SCONV i32 #s) (SCONV i32 #t))");
}

TEST_F(Div, ZeroDividendKeepsTheDivisor) {
  SYMTAB* fn = add_sym("fn", "i32");
  (void)fn;
  EXPECT_EQ(simp("(DIV i32 0:i32 #x)"), "0:i32");
  EXPECT_EQ(simp("(DIV i32 0:i32 (ASG i32 #x #y))"), "(COMMAOP i32 (ASG i32 #x #y) 0:i32)");
  EXPECT_EQ(simp("(MOD i32 0:i32 (ASG i32 #x #y))"), "(COMMAOP i32 (ASG i32 #x #y) 0:i32)");
}

TEST_F(Div, FactorsCancelOnlyWithoutWrapAround) {
  // (s * 6) / 4 can't wrap in 32 bits when s is a 16-bit value.
  EXPECT_EQ(simp("(DIV i32 (MULT i32 (SCONV i32 #s) 6:i32) 4:i32)"), "(DIV i32 (MULT i32 (SCONV i32 #s) 3:i32) 2:i32)");
  EXPECT_EQ(simp("(DIV i32 (MULT i32 #x 6:i32) 4:i32)"), "(DIV i32 (MULT i32 #x 6:i32) 4:i32)");
  EXPECT_EQ(simp("(DIV i32 (MULT i32 (SCONV i32 #s) 6:i32) 3:i32)"), "(SLL i32 (SCONV i32 #s) 1:i32)");
  EXPECT_EQ(simp("(DIV u32 (MULT u32 #u 6:u32) 3:u32)"), "(DIV u32 (MULT u32 #u 6:u32) 3:u32)");
  EXPECT_EQ(simp("(DIV u32 (MULT u32 (SCONV u32 #us) 6:u32) 3:u32)"), "(SLL u32 (SCONV u32 #us) 1:i32)");
  EXPECT_EQ(simp("(DIV u32 (PLUS u32 (MULT u32 (SCONV u32 #us) 8:u32) 5:u32) 8:u32)"), "(SCONV u32 #us)");
  EXPECT_EQ(simp("(DIV u32 (SLL u32 (SCONV u32 #us) 4:i32) 4:u32)"), "(SLL u32 (SCONV u32 #us) 2:i32)");
  EXPECT_EQ(simp("(DIV u32 (SLL u32 (SCONV u32 #us) 2:i32) 16:u32)"), "(DIV u32 (SCONV u32 #us) 4:u32)");
  EXPECT_EQ(simp("(DIV u32 (SLL u32 #u 2:i32) 16:u32)"), "(DIV u32 (SLL u32 #u 2:i32) 16:u32)");
  EXPECT_EQ(simp("(DIV i32 (PLUS i32 (MULT i32 (SCONV i32 #s) 8:i32) 5:i32) 8:i32)"),
            "(DIV i32 (PLUS i32 (SLL i32 (SCONV i32 #s) 3:i32) 5:i32) 8:i32)")
      << "a negative s rounds the other way";
}

TEST_F(Div, ReciprocalOnlyWhereExactUnderStrictFp) {
  EXPECT_EQ(simp("(DIV f32 #f 4.0:f32)"), "(MULT f32 #f 0x1.000000p-2:f32)");
  EXPECT_EQ(simp("(DIV f32 #f 3.0:f32)"), "(DIV f32 #f 0x1.800000p+1:f32)");
  EXPECT_EQ(simp("(DIV f32 #f 1.0:f32)"), "#f");
  EXPECT_EQ(simp("(DIV f32 #f 0.0:f32)"), "(DIV f32 #f 0x0.000000p+0:f32)");
  strict_fp = 0;
  EXPECT_EQ(simp("(DIV f32 #f 3.0:f32)"), "(MULT f32 #f 0x1.555556p-2:f32)");
  EXPECT_EQ(simp("(DIV f32 #f 1.0e-39:f32)"), "(DIV f32 #f 0x1.5c7300p-130:f32)")
      << "a reciprocal beyond the range stays a division";
}

TEST_F(Div, RemainderRules) {
  EXPECT_EQ(simp("(MOD i32 #x #x)"), "0:i32");
  EXPECT_EQ(simp("(MOD i32 #x 1:i32)"), "0:i32");
  EXPECT_EQ(simp("(MOD i32 #x -1:i32)"), "0:i32");
  EXPECT_EQ(simp("(MOD i32 #x -8:i32)"), "(MOD i32 #x 8:i32)");
  EXPECT_EQ(simp("(MOD u32 #u 8:u32)"), "(ANDB u32 #u 7:u32)");
  EXPECT_EQ(simp("(MOD i32 #x 8:i32)"), "(MOD i32 #x 8:i32)") << "x & 7 loses the sign of a negative x";
  EXPECT_EQ(simp("(MOD i32 (SCONV i32 #us) 8:i32)"), "(ANDB i32 (SCONV i32 #us) 7:i32)");
  EXPECT_EQ(simp("(MOD i32 (ANDB i32 #x 7:i32) 10:i32)"), "(ANDB i32 #x 7:i32)");
  EXPECT_EQ(simp("(MOD i32 (MULT i32 (SCONV i32 #s) 12:i32) 4:i32)"), "0:i32");
}

NODE* warp(SimpTest& t, const std::string& text) {
  return warp_DIV_to_MULT(simp_tree(t.parse(text)), false, nullptr, nullptr, true);
}

TEST_F(Div, WarpsOnlyForSpeed) {
  size_speed_goal = 2;
  EXPECT_EQ(show(warp(*this, "(DIV i32 #x 8:i32)")), "(DIV i32 #x 8:i32)");
  EXPECT_EQ(show(warp(*this, "(DIV u32 #u 8:u32)")), "(DIV u32 #u 8:u32)");
  size_speed_goal = 3;
  EXPECT_EQ(show(warp(*this, "(DIV u32 #u 8:u32)")), "(SRL u32 #u 3:i32)");
  // A signed x may be negative: add the rounding term first.
  EXPECT_EQ(show(warp(*this, "(DIV i32 #x 8:i32)")),
            "(SRL i32 (PLUS i32 (SCONV i32 (SRL u32 (SCONV u32 (SRL i32 #x 2:i32)) 29:i32)) #x) 3:i32)");
  EXPECT_EQ(show(warp(*this, "(DIV i32 #x 2:i32)")),
            "(SRL i32 (PLUS i32 (SCONV i32 (SRL u32 (SCONV u32 #x) 31:i32)) #x) 1:i32)");
  EXPECT_EQ(show(warp(*this, "(DIV i32 (ANDB i32 #x 1023:i32) 8:i32)")), "(SRL i32 (ANDB i32 #x 1023:i32) 3:i32)");
  EXPECT_EQ(show(warp(*this, "(DIV i32 (SLL i32 #x 3:i32) 8:i32)")), "(SRL i32 (SLL i32 #x 3:i32) 3:i32)")
      << "no remainder, no rounding";
  EXPECT_EQ(show(warp(*this, "(DIV i32 (ASG i32 #y #x) 8:i32)")), "(DIV i32 (ASG i32 #y #x) 8:i32)")
      << "x would be evaluated twice";
  EXPECT_EQ(show(warp(*this, "(DIV i16 #s 8:i16)")), "(DIV i16 #s 8:i16)") << "16-bit values are not shifted";
}

TEST_F(Div, WarpsByValueBounds) {
  EXPECT_EQ(show(warp(*this, "(DIV i32 #x 7:i32)")), "(DIV i32 #x 7:i32)");
  EXPECT_EQ(show(warp(*this, "(DIV i32 (MOD i32 #x 14:i32) 7:i32)")), "(DIV i32 (MOD i32 #x 14:i32) 7:i32)");
  // x in 0..13: x / 7 is x >= 7.
  EXPECT_EQ(show(warp(*this, "(DIV i32 (MOD i32 (SCONV i32 #us) 14:i32) 7:i32)")),
            "(GE i32 (MOD i32 (SCONV i32 #us) 14:i32) 7:i32)");
  // x in -6..6: the quotient is 0.
  EXPECT_EQ(show(warp(*this, "(DIV i32 (MOD i32 #x 7:i32) 7:i32)")), "0:i32");
  EXPECT_EQ(show(warp(*this, "(DIV i32 (MOD i32 (ASG i32 #y #x) 7:i32) 7:i32)")),
            "(COMMAOP i32 (ASG i32 #y #x) 0:i32)");
  EXPECT_EQ(show(warp(*this, "(DIV i32 #x -2147483648:i32)")), "(EQ i32 #x -2147483648:i32)");
  EXPECT_EQ(show(warp(*this, "(DIV u32 #u 1:u32)")), "#u");
}

TEST_F(Div, RemainderByTransform) {
  auto transform = [&](const char* text) { return show(transform_DIV_or_MOD(simp_tree(parse(text)), nullptr)); };
  // x - ((x + rounding) >> 3 << 3), the shifts become a mask.
  EXPECT_EQ(transform("(MOD i32 #x 8:i32)"),
            "(MINUS i32 #x (ANDB i32 (PLUS i32 (SCONV i32 (SRL u32 (SCONV u32 (SRL i32 #x 2:i32)) 29:i32)) #x) "
            "-8:i32))");
  EXPECT_EQ(transform("(MOD i32 #x 7:i32)"), "(MOD i32 #x 7:i32)");
  EXPECT_EQ(transform("(MOD i32 (ASG i32 #y #x) 8:i32)"), "(MOD i32 (ASG i32 #y #x) 8:i32)");
  size_speed_goal = 2;
  EXPECT_EQ(transform("(MOD i32 #x 8:i32)"), "(MOD i32 #x 8:i32)");
}

}  // namespace
}  // namespace simp_test
