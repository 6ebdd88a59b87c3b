// Comparisons and truth values: bounds, known bits, narrowing, equality
// algebra, booleans, conditionals, ANDAND/OROR and control.
#include "test_simp_util.h"

namespace simp_test {
namespace {

using Relop = SimpTest;

TEST_F(Relop, DecidedByTheBoundsOfTheValue) {
  EXPECT_EQ(simp("(LT i32 (SCONV i32 #us) 65536:i32)"), "1:i32");
  EXPECT_EQ(simp("(LT i32 (SCONV i32 #us) 0:i32)"), "0:i32");
  EXPECT_EQ(simp("(UGE i32 #u 0:u32)"), "1:i32");
  EXPECT_EQ(simp("(ULT i32 #u 0:u32)"), "0:i32");
  EXPECT_EQ(simp("(GT i32 (ANDB i32 #x 255:i32) 255:i32)"), "0:i32");
  EXPECT_EQ(simp("(LE i32 (MOD i32 #x 10:i32) 9:i32)"), "1:i32");
  EXPECT_EQ(simp("(GE i32 (MOD i32 #x 10:i32) 0:i32)"), "(GE i32 (MOD i32 #x 10:i32) 0:i32)")
      << "a remainder of a negative x is negative";
  EXPECT_EQ(simp("(LT i32 (ASG i32 #x (ANDB i32 #y 7:i32)) 8:i32)"), "(COMMAOP i32 (ASG i32 #x (ANDB i32 #y 7:i32)) 1:i32)");
  EXPECT_EQ(simp("(LT i32 #x 5:i32)"), "(LT i32 #x 5:i32)");
  // At an end of the range a comparison is an equality.
  EXPECT_EQ(simp("(ULE i32 #u 0:u32)"), "(EQ i32 #u 0:u32)");
  EXPECT_EQ(simp("(UGT i32 #u 0:u32)"), "(NEQ i32 #u 0:u32)");
  EXPECT_EQ(simp("(LT i32 #x -2147483647:i32)"), "(EQ i32 #x -2147483648:i32)");
}

TEST_F(Relop, EqualityAgainstImpossibleBits) {
  EXPECT_EQ(simp("(EQ i32 (ANDB i32 #x 12:i32) 3:i32)"), "0:i32");
  EXPECT_EQ(simp("(NEQ i32 (ORB i32 #x 1:i32) 2:i32)"), "1:i32");
  EXPECT_EQ(simp("(EQ i32 (SLL i32 #x 2:i32) 6:i32)"), "0:i32");
  EXPECT_EQ(simp("(EQ i32 (ANDB i32 #x 12:i32) 4:i32)"), "(EQ i32 (ANDB i32 #x 12:i32) 4:i32)");
}

TEST_F(Relop, EqualityThroughOneToOneOperators) {
  EXPECT_EQ(simp("(EQ i32 (PLUS i32 #x 5:i32) 7:i32)"), "(EQ i32 #x 2:i32)");
  EXPECT_EQ(simp("(NEQ i32 (XORB i32 #x 5:i32) 7:i32)"), "(NEQ i32 #x 2:i32)");
  EXPECT_EQ(simp("(EQ i32 (UMINUS i32 #x) 7:i32)"), "(EQ i32 #x -7:i32)");
  EXPECT_EQ(simp("(EQ i32 (MINUS i32 #x #y) 0:i32)"), "(EQ i32 #x #y)");
  EXPECT_EQ(simp("(EQ i32 (PLUS u32 #u 1:u32) 0:u32)"), "(EQ i32 #u 4294967295:u32)");
  // Ordered comparisons only when the sum can't wrap.
  EXPECT_EQ(simp("(LT i32 (PLUS i32 #x 1:i32) 5:i32)"), "(LT i32 (PLUS i32 #x 1:i32) 5:i32)");
  EXPECT_EQ(simp("(LT i32 (PLUS i32 (SCONV i32 #s) 1:i32) 5:i32)"), "(LT i32 #s 4:i16)");
}

TEST_F(Relop, NarrowedToTheSourceOfAWidening) {
  EXPECT_EQ(simp("(LT i32 (SCONV i32 #s) 100:i32)"), "(LT i32 #s 100:i16)");
  EXPECT_EQ(simp("(LT i32 (SCONV i32 #us) 100:i32)"), "(ULT i32 #us 100:u16)");
  EXPECT_EQ(simp("(EQ i32 (SCONV i32 #s) (SCONV i32 #t))"), "(EQ i32 #s #t)");
  EXPECT_EQ(simp("(ULT i32 (SCONV u32 #s) 100:u32)"), "(ULT i32 (SCONV u32 #s) 100:u32)")
      << "sign extension against unsigned order";
  EXPECT_EQ(simp("(EQ i32 (SCONV i32 #s) 40000:i32)"), "0:i32");
}

TEST_F(Relop, FloatingComparisonsOnlyFold) {
  EXPECT_EQ(simp("(EQ i32 #f #f)"), "(EQ i32 #f #f)");
  EXPECT_EQ(simp("(LT i32 2.0:f32 #f)"), "(GT i32 #f 0x1.000000p+1:f32)");
  EXPECT_EQ(simp("(EXCLAIM i32 (LT i32 #f #g))"), "(EXCLAIM i32 (LT i32 #f #g))");
  EXPECT_EQ(simp("(EXCLAIM i32 (EQ i32 #f #g))"), "(NEQ i32 #f #g)");
  EXPECT_EQ(simp("(EXCLAIM i32 (LT i32 #x #y))"), "(GE i32 #x #y)");
}

TEST_F(Relop, SameOperandsAndBooleans) {
  EXPECT_EQ(simp("(LE i32 #x #x)"), "1:i32");
  EXPECT_EQ(simp("(NEQ i32 #x #x)"), "0:i32");
  EXPECT_EQ(simp("(LT i32 #vx #vx)"), "(LT i32 #vx #vx)");
  EXPECT_EQ(simp("(EQ i32 (UAND p.i32 #x) (UAND p.i32 #x))"), "1:i32");
  EXPECT_EQ(simp("(NEQ i32 (UAND p.i32 #x) (UAND p.i32 #y))"), "(NEQ i32 (UAND p.i32 #x) (UAND p.i32 #y))")
      << "two addresses stay in place";
  EXPECT_EQ(simp("(EQ i32 (ANDB u32 #u 1:u32) 0:u32)"), "(EQ i32 (ANDB u32 #u 1:u32) 0:u32)")
      << "a bit test against 0 stays itself";
  EXPECT_EQ(simp("(NEQ i32 (ANDB u32 #u 1:u32) 1:u32)"), "(EQ i32 (ANDB u32 #u 1:u32) 0:u32)");
  EXPECT_EQ(simp("(NEQ i32 (LT i32 #x #y) 0:i32)"), "(LT i32 #x #y)");
  EXPECT_EQ(simp("(EQ i32 (LT i32 #x #y) 0:i32)"), "(GE i32 #x #y)");
  EXPECT_EQ(simp("(EQ i32 (LT i32 #x #y) 1:i32)"), "(LT i32 #x #y)");
  EXPECT_EQ(simp("(EQ i32 (LT i32 #x #y) 2:i32)"), "0:i32");
}

using Bool = SimpTest;

TEST_F(Bool, MakeBooleanAndInvert) {
  EXPECT_EQ(show(make_boolean(parse("#x"), nullptr, nullptr)), "(NEQ i32 #x 0:i32)");
  EXPECT_EQ(show(make_boolean(parse("(LT i32 #x #y)"), nullptr, nullptr)), "(LT i32 #x #y)");
  EXPECT_EQ(show(make_boolean(parse("7:i32"), nullptr, nullptr)), "1:i32");
  EXPECT_EQ(show(make_boolean(parse("#f"), nullptr, nullptr)), "(NEQ i32 #f 0x0.000000p+0:f32)");
  EXPECT_EQ(show(make_boolean(parse("(EXCLAIM i32 0:i32)"), nullptr, nullptr)), "1:i32");
  EXPECT_EQ(show(invert_boolean_tree(parse("(LT i32 #x #y)"))), "(GE i32 #x #y)");
  EXPECT_EQ(show(invert_boolean_tree(parse("(LT i32 #f #g)"))), "(EQ i32 (LT i32 #f #g) 0:i32)");
  EXPECT_EQ(show(invert_boolean_tree(parse("#x"))), "(EQ i32 #x 0:i32)");
  EXPECT_EQ(show(invert_boolean_tree(parse("(EQ i32 (GT i32 #x #y) 0:i32)"))), "(GT i32 #x #y)");
}

TEST_F(Bool, ConditionsKeepOnlyTheirTruth) {
  auto control = [&](const char* text) { return show(simp_for_control(parse(text), nullptr, nullptr)); };
  EXPECT_EQ(control("(NEQ i32 #x 0:i32)"), "#x");
  EXPECT_EQ(control("(SCONV i32 #s)"), "#s");
  EXPECT_EQ(control("(SCONV i16 #x)"), "(SCONV i16 #x)") << "a narrowing can turn non-zero into zero";
  EXPECT_EQ(control("(SCONV i32 #f)"), "(SCONV i32 #f)");
  EXPECT_EQ(control("(EXCLAIM i32 (EXCLAIM i32 #x))"), "#x");
  EXPECT_EQ(control("(COMMAOP i32 #y (NEQ i32 #x 0:i32))"), "#x");
  EXPECT_EQ(control("(COMMAOP i32 (ASG i32 #y 1:i32) (NEQ i32 #x 0:i32))"), "(COMMAOP i32 (ASG i32 #y 1:i32) #x)");
  EXPECT_EQ(control("(QUEST i32 (LT i32 #x #y) (COLON i32 5:i32 0:i32))"), "(LT i32 #x #y)");
  EXPECT_EQ(control("(QUEST i32 (LT i32 #x #y) (COLON i32 0:i32 5:i32))"), "(GE i32 #x #y)");
}

TEST_F(Bool, ConditionalExpressions) {
  EXPECT_EQ(simp("(QUEST i32 1:i32 (COLON i32 #x #y))"), "#x");
  EXPECT_EQ(simp("(QUEST i32 0.0:f32 (COLON i32 #x #y))"), "#y");
  EXPECT_EQ(simp("(QUEST i32 (EXCLAIM i32 #z) (COLON i32 #x #y))"), "(QUEST i32 #z (COLON i32 #y #x))");
  EXPECT_EQ(simp("(QUEST i32 (ASG i32 #z 1:i32) (COLON i32 #x #x))"), "(COMMAOP i32 (ASG i32 #z 1:i32) #x)");
  EXPECT_EQ(simp("(QUEST i32 (LT i32 #x #y) (COLON i32 1:i32 0:i32))"), "(LT i32 #x #y)");
  EXPECT_EQ(simp("(QUEST i32 (LT i32 #x #y) (COLON i32 0:i32 1:i32))"), "(GE i32 #x #y)");
  EXPECT_EQ(simp("(QUEST i32 (COMMAOP i32 (ASG i32 #z 1:i32) #w) (COLON i32 #x #y))"),
            "(COMMAOP i32 (ASG i32 #z 1:i32) (QUEST i32 #w (COLON i32 #x #y)))");
}

TEST_F(Bool, AndAndOrOr) {
  EXPECT_EQ(simp("(ANDAND i32 0:i32 (ASG i32 #x 1:i32))"), "0:i32");
  EXPECT_EQ(simp("(OROR i32 3:i32 (ASG i32 #x 1:i32))"), "1:i32");
  EXPECT_EQ(simp("(ANDAND i32 1:i32 #x)"), "(NEQ i32 #x 0:i32)");
  EXPECT_EQ(simp("(ANDAND i32 (ASG i32 #x 1:i32) 0:i32)"), "(COMMAOP i32 (ASG i32 #x 1:i32) 0:i32)");
  // Cheap tests of locals need no branch.
  EXPECT_EQ(simp("(ANDAND i32 (LT i32 #x #y) (LT i32 #y #z))"), "(ANDB i32 (LT i32 #x #y) (LT i32 #y #z))");
  // A load through a pointer, a division by a variable, a call stay guarded.
  EXPECT_EQ(simp("(ANDAND i32 (NEQ i32 #p (PCONV p.i32 0:i16)) (LT i32 (UMULT i32 #p) #y))"),
            "(ANDAND i32 (NEQ i32 #p (PCONV p.i32 0:i16)) (LT i32 (UMULT i32 #p) #y))");
  EXPECT_EQ(simp("(ANDAND i32 (NEQ i32 #y 0:i32) (LT i32 (DIV i32 #x #y) 3:i32))"),
            "(ANDAND i32 (NEQ i32 #y 0:i32) (LT i32 (DIV i32 #x #y) 3:i32))");
  EXPECT_EQ(simp("(OROR i32 (GE i32 #y 32:i32) (EQ i32 (SLL i32 #x #y) 0:i32))"),
            "(OROR i32 (GE i32 #y 32:i32) (EQ i32 (SLL i32 #x #y) 0:i32))");
}

TEST_F(Bool, CommaOperators) {
  EXPECT_EQ(simp("(COMMAOP i32 #x #y)"), "#y");
  EXPECT_EQ(simp("(COMMAOP i32 (PLUS i32 (ASG i32 #x 1:i32) #z) #y)"), "(COMMAOP i32 (ASG i32 #x 1:i32) #y)");
  EXPECT_EQ(simp("(COMMAOP i32 (COMMAOP i32 (ASG i32 #x 1:i32) (ASG i32 #z 2:i32)) #y)"),
            "(COMMAOP i32 (ASG i32 #x 1:i32) (COMMAOP i32 (ASG i32 #z 2:i32) #y))");
  EXPECT_EQ(simp("(PLUS i32 (COMMAOP i32 (ASG i32 #x 1:i32) 3:i32) 4:i32)"), "(COMMAOP i32 (ASG i32 #x 1:i32) 7:i32)");
  EXPECT_EQ(simp("(PLUS i32 #y (COMMAOP i32 (ASG i32 #x 1:i32) 3:i32))"),
            "(PLUS i32 #y (COMMAOP i32 (ASG i32 #x 1:i32) 3:i32))")
      << "y is read before the assignment";
}

}  // namespace
}  // namespace simp_test

namespace simp_test {
namespace {

TEST_F(Bool, PromoteTreeKeepsOnlyEffectsInOrder) {
  LIST* head = mkelist(parse("#x"), nullptr, nullptr);
  promote_tree(parse("(PLUS i32 (COMMAOP i32 (ASG i32 #y 1:i32) #z) (PLUSPLUS i32 #w 1:i32))"), head);
  std::vector<std::string> got;
  for (LIST* l = head->next; l; l = l->next) got.push_back(show(l->tree));
  std::vector<std::string> want = {"(ASG i32 #y 1:i32)", "(PLUSASG i32 #w 1:i32)"};
  EXPECT_EQ(got, want);
  promote_tree(parse("(PLUS i32 #x #y)"), head);
  EXPECT_EQ(show(head->next->tree), "(ASG i32 #y 1:i32)") << "nothing to keep";
}

}  // namespace
}  // namespace simp_test
