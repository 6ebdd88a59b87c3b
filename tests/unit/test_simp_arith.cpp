// Operand order, reassociation and the additive, multiplicative, bitwise
// and shift rules, each with the guard that stops it.
#include "test_simp_util.h"

namespace simp_test {
namespace {

using Arith = SimpTest;

TEST_F(Arith, ConstantsGoRightAndGatherAtTheTopOfAChain) {
  EXPECT_EQ(simp("(PLUS i32 3:i32 #x)"), "(PLUS i32 #x 3:i32)");
  EXPECT_EQ(simp("(PLUS i32 (PLUS i32 #x 1:i32) 2:i32)"), "(PLUS i32 #x 3:i32)");
  EXPECT_EQ(simp("(PLUS i32 (PLUS i32 #x 1:i32) #y)"), "(PLUS i32 (PLUS i32 #x #y) 1:i32)");
  EXPECT_EQ(simp("(PLUS i32 (PLUS i32 #x 1:i32) (PLUS i32 #y 2:i32))"), "(PLUS i32 (PLUS i32 #x #y) 3:i32)");
  EXPECT_EQ(simp("(ANDB u16 (ANDB u16 #us 255:u16) 15:u16)"), "(ANDB u16 #us 15:u16)");
  EXPECT_EQ(simp("(MINUS i32 (MINUS i32 #x 5:i32) 7:i32)"), "(PLUS i32 #x -12:i32)");
  EXPECT_EQ(simp("(PLUS u32 (PLUS u32 #u 4294967295:u32) 1:u32)"), "#u") << "unsigned wrap";
  // A leaf goes right of a bigger operand; a call stays where it is against
  // another operand with effects.
  EXPECT_EQ(simp("(PLUS i32 #x (MULT i32 #y #z))"), "(PLUS i32 (MULT i32 #y #z) #x)");
  EXPECT_EQ(simp("(PLUS i32 (ASG i32 #x 1:i32) (ASG i32 #y 2:i32))"),
            "(PLUS i32 (ASG i32 #x 1:i32) (ASG i32 #y 2:i32))");
  // Floating sums are not associative.
  EXPECT_EQ(simp("(PLUS f32 (PLUS f32 #f 1.0:f32) 2.0:f32)"),
            "(PLUS f32 (PLUS f32 #f 0x1.000000p+0:f32) 0x1.000000p+1:f32)");
}

TEST_F(Arith, AdditiveIdentities) {
  EXPECT_EQ(simp("(PLUS i32 #x 0:i32)"), "#x");
  EXPECT_EQ(simp("(MINUS i32 #x #x)"), "0:i32");
  EXPECT_EQ(simp("(MINUS i32 #vx #vx)"), "(MINUS i32 #vx #vx)") << "two volatile reads stay";
  EXPECT_EQ(simp("(MINUS i32 0:i32 #x)"), "(UMINUS i32 #x)");
  EXPECT_EQ(simp("(PLUS i32 #x (UMINUS i32 #y))"), "(MINUS i32 #x #y)");
  EXPECT_EQ(simp("(MINUS i32 #x (UMINUS i32 #y))"), "(PLUS i32 #x #y)");
  EXPECT_EQ(simp("(MINUS i32 (PLUS i32 #x #y) #x)"), "#y");
  EXPECT_EQ(simp("(PLUS i32 (MINUS i32 #x #y) #y)"), "#x");
  EXPECT_EQ(simp("(PLUS i32 (NOTB i32 #x) 1:i32)"), "(UMINUS i32 #x)");
  EXPECT_EQ(simp("(UMINUS i32 (UMINUS i32 #x))"), "#x");
  EXPECT_EQ(simp("(UMINUS i32 (MINUS i32 #x #y))"), "(MINUS i32 #y #x)");
  EXPECT_EQ(simp("(MINUS i32 10:i32 (PLUS i32 #x 3:i32))"), "(MINUS i32 7:i32 #x)");
  // (x + call) - x: x is read twice, the call runs once either way.
  SYMTAB* f = add_sym("fn", "i32");
  (void)f;
}

TEST_F(Arith, FloatingAdditionKeepsSignedZeros) {
  // x + 0.0 is not x for x = -0.0; x + -0.0 is.
  EXPECT_EQ(simp("(PLUS f32 #f 0.0:f32)"), "(PLUS f32 #f 0x0.000000p+0:f32)");
  EXPECT_EQ(simp("(PLUS f32 #f -0.0:f32)"), "#f");
  EXPECT_EQ(simp("(MINUS f32 #f 0.0:f32)"), "#f");
  EXPECT_EQ(simp("(MINUS f32 #f -0.0:f32)"), "(MINUS f32 #f -0x0.000000p+0:f32)");
  EXPECT_EQ(simp("(MINUS f32 #f #f)"), "(MINUS f32 #f #f)") << "NaN and infinities";
  EXPECT_EQ(simp("(MINUS f32 0.0:f32 #f)"), "(MINUS f32 0x0.000000p+0:f32 #f)");
  // Rewrites that would pass a NaN on with another sign are not made.
  EXPECT_EQ(simp("(MINUS f32 -0.0:f32 #f)"), "(MINUS f32 -0x0.000000p+0:f32 #f)");
  EXPECT_EQ(simp("(PLUS f32 #f (UMINUS f32 #g))"), "(PLUS f32 #f (UMINUS f32 #g))");
  EXPECT_EQ(simp("(PLUS f32 #f (MULT f32 #g #f))"), "(PLUS f32 #f (MULT f32 #g #f))") << "operands stay in order";
  EXPECT_EQ(simp("(PLUS f32 2.0:f32 #f)"), "(PLUS f32 #f 0x1.000000p+1:f32)");
  EXPECT_EQ(simp("(UMINUS f32 (MINUS f32 #f #g))"), "(UMINUS f32 (MINUS f32 #f #g))") << "-(a-a) is -0";
}

TEST_F(Arith, PointerArithmeticKeepsItsPointerLeft) {
  EXPECT_EQ(simp("(PLUS p.i32 (PLUS p.i32 #p 2:i32) 4:i32)"), "(PLUS p.i32 #p 6:i32)");
  EXPECT_EQ(simp("(PLUS p.i32 #p 0:i32)"), "#p");
  EXPECT_EQ(simp("(PLUS p.i32 #p (MULT i32 #x 2:i32))"), "(PLUS p.i32 #p (SLL i32 #x 1:i32))");
  EXPECT_EQ(simp("(MINUS i32 #p #p)"), "0:i32");
}

TEST_F(Arith, MultiplicationRules) {
  EXPECT_EQ(simp("(MULT i32 #x 0:i32)"), "0:i32");
  EXPECT_EQ(simp("(MULT i32 #vx 0:i32)"), "(COMMAOP i32 #vx 0:i32)") << "the read stays";
  EXPECT_EQ(simp("(MULT i32 5:i32 #x)"), "(MULT i32 #x 5:i32)");
  EXPECT_EQ(simp("(MULT i32 #x 1:i32)"), "#x");
  EXPECT_EQ(simp("(MULT u32 #u 4294967295:u32)"), "(UMINUS u32 #u)") << "all ones is -1";
  EXPECT_EQ(simp("(MULT i32 (MULT i32 #x 3:i32) 5:i32)"), "(MULT i32 #x 15:i32)");
  EXPECT_EQ(simp("(MULT i32 (UMINUS i32 #x) 3:i32)"), "(MULT i32 #x -3:i32)");
  EXPECT_EQ(simp("(MULT i32 (PLUS i32 #x 1:i32) 3:i32)"), "(PLUS i32 (MULT i32 #x 3:i32) 3:i32)");
  EXPECT_EQ(simp("(MULT i32 #x 8:i32)"), "(SLL i32 #x 3:i32)");
  EXPECT_EQ(simp("(MULT u16 #us 8:u16)"), "(SLL u16 #us 3:i32)");
  // Same-size conversions change no bit of a product.
  EXPECT_EQ(simp("(MULT i32 (SCONV i32 #u) #x)"), "(MULT i32 #u #x)");
  // A widened product keeps its constant inside unless it can't wrap.
  EXPECT_EQ(simp("(MULT i32 (SCONV i32 (MULT i16 #s 3:i16)) 5:i32)"),
            "(MULT i32 (SCONV i32 (MULT i16 #s 3:i16)) 5:i32)");
  EXPECT_EQ(simp("(MULT i32 (SCONV i32 (MULT i16 (ANDB i16 #s 255:i16) 3:i16)) 5:i32)"),
            "(MULT i32 (SCONV i32 (ANDB i16 #s 255:i16)) 15:i32)");
}

TEST_F(Arith, FloatingMultiplicationByExactConstants) {
  EXPECT_EQ(simp("(MULT f32 #f 1.0:f32)"), "#f");
  EXPECT_EQ(simp("(MULT f32 #f -1.0:f32)"), "(UMINUS f32 #f)");
  EXPECT_EQ(simp("(MULT f32 #f 2.0:f32)"), "(PLUS f32 #f #f)");
  EXPECT_EQ(simp("(MULT f32 (ASG f32 #f #g) 2.0:f32)"), "(MULT f32 (ASG f32 #f #g) 0x1.000000p+1:f32)")
      << "the assignment would run twice";
  EXPECT_EQ(simp("(MULT f32 #f 0.0:f32)"), "(MULT f32 #f 0x0.000000p+0:f32)") << "NaN, infinity and -0";
  EXPECT_EQ(simp("(MULT f32 #f nan:f32)"), "nan:f32");
  EXPECT_EQ(simp("(MULT f32 (ASG f32 #f #g) nan:f32)"), "(COMMAOP f32 (ASG f32 #f #g) nan:f32)");
}

TEST_F(Arith, BitwiseRulesAndKnownBits) {
  EXPECT_EQ(simp("(ANDB i32 #x 0:i32)"), "0:i32");
  EXPECT_EQ(simp("(ANDB i32 #x -1:i32)"), "#x");
  EXPECT_EQ(simp("(ORB i32 #x 0:i32)"), "#x");
  EXPECT_EQ(simp("(ORB u16 #us 65535:u16)"), "65535:u16");
  EXPECT_EQ(simp("(XORB i32 #x -1:i32)"), "(NOTB i32 #x)");
  EXPECT_EQ(simp("(XORB i32 #x #x)"), "0:i32");
  EXPECT_EQ(simp("(ANDB i32 #x #x)"), "#x");
  EXPECT_EQ(simp("(ANDB i32 #x (NOTB i32 #x))"), "0:i32");
  EXPECT_EQ(simp("(NOTB i32 (NOTB i32 #x))"), "#x");
  // Known bits: a zero-extended u16 has no bit above 15.
  EXPECT_EQ(simp("(ANDB i32 (SCONV i32 #us) 65535:i32)"), "(SCONV i32 #us)");
  EXPECT_EQ(simp("(ANDB i32 (SCONV i32 #us) -65536:i32)"), "0:i32");
  EXPECT_EQ(simp("(ANDB i32 (SCONV i32 #s) 65535:i32)"), "(ANDB i32 (SCONV i32 #s) 65535:i32)")
      << "a sign-extended i16 may have them";
  EXPECT_EQ(simp("(ANDB i32 (SLL i32 #x 4:i32) 15:i32)"), "0:i32");
  EXPECT_EQ(simp("(ANDB i32 (ORB i32 #x 12:i32) 3:i32)"), "(ANDB i32 #x 3:i32)");
  EXPECT_EQ(simp("(ANDB i32 (ORB i32 #x 12:i32) 4:i32)"), "4:i32");
  EXPECT_EQ(simp("(ORB i32 (ORB i32 #x 12:i32) 4:i32)"), "(ORB i32 #x 12:i32)");
  EXPECT_EQ(simp("(ANDB i32 (LT i32 #x #y) 1:i32)"), "(LT i32 #x #y)");
  EXPECT_EQ(simp("(XORB i32 (LT i32 #x #y) 1:i32)"), "(GE i32 #x #y)");
  EXPECT_EQ(simp("(XORB i32 (LT i32 #f #g) 1:i32)"), "(EQ i32 (LT i32 #f #g) 0:i32)")
      << "a floating order can't be inverted";
}

TEST_F(Arith, ShiftsByConstants) {
  EXPECT_EQ(simp("(SLL i32 #x 0:i32)"), "#x");
  EXPECT_EQ(simp("(SLL i32 (SLL i32 #x 3:i32) 4:i32)"), "(SLL i32 #x 7:i32)");
  EXPECT_EQ(simp("(SLL i32 (SLL i32 #x 30:i32) 4:i32)"), "0:i32");
  EXPECT_EQ(simp("(SLL i16 #s 16:i32)"), "0:i16");
  EXPECT_EQ(simp("(SLL i32 #x 32:i32)"), "(SLL i32 #x 32:i32)") << "the machine traps";
  EXPECT_EQ(simp("(SRL i32 (SRL i32 #x 20:i32) 20:i32)"), "(SRL i32 #x 31:i32)");
  EXPECT_EQ(simp("(SRL u32 (SRL u32 #u 20:i32) 20:i32)"), "0:u32");
  EXPECT_EQ(simp("(SRL i16 #s 20:i32)"), "(SRL i16 #s 15:i32)");
  EXPECT_EQ(simp("(SRL u16 #us 16:i32)"), "0:u16");
  EXPECT_EQ(simp("(SLL i32 (SRL i32 #x 4:i32) 4:i32)"), "(ANDB i32 #x -16:i32)");
  EXPECT_EQ(simp("(SRL u32 (SLL u32 #u 8:i32) 8:i32)"), "(ANDB u32 #u 16777215:u32)");
  EXPECT_EQ(simp("(SRL i32 (SLL i32 #x 8:i32) 8:i32)"), "(SRL i32 (SLL i32 #x 8:i32) 8:i32)")
      << "a signed one sign-extends";
  EXPECT_EQ(simp("(SRL i32 (ANDB i32 #x 15:i32) 4:i32)"), "0:i32");
  EXPECT_EQ(simp("(SRL i32 #x #y)"), "(SRL i32 #x #y)");
}

TEST_F(Arith, AbsAndSquare) {
  EXPECT_EQ(simp("(ABS i32 (UMINUS i32 #x))"), "(ABS i32 #x)");
  EXPECT_EQ(simp("(ABS f32 (UMINUS f32 #f))"), "(ABS f32 #f)");
  EXPECT_EQ(simp("(ABS u16 (UMINUS u16 #us))"), "(ABS u16 (UMINUS u16 #us))") << "no sign to drop";
  EXPECT_EQ(simp("(ABS i32 (ANDB i32 #x 255:i32))"), "(ANDB i32 #x 255:i32)");
  EXPECT_EQ(simp("(SQR i32 (UMINUS i32 #x))"), "(SQR i32 #x)");
}

}  // namespace
}  // namespace simp_test
