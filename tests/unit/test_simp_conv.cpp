// Conversions, memory access, assignments, calls by name, known bits and
// value bounds.
#include <random>

#include "test_simp_util.h"

namespace simp_test {
namespace {

using Conv = SimpTest;

TEST_F(Conv, ChainsOfConversions) {
  EXPECT_EQ(simp("(SCONV i16 (SCONV i32 #s))"), "#s");
  EXPECT_EQ(simp("(SCONV u32 (SCONV i32 #s))"), "(SCONV u32 #s)") << "sign extension, then the same bits";
  EXPECT_EQ(simp("(SCONV i32 (SCONV u32 #s))"), "(SCONV i32 #s)");
  EXPECT_EQ(simp("(SCONV i32 (SCONV u16 #s))"), "(SCONV i32 (SCONV u16 #s))") << "zero extension of a signed value";
  EXPECT_EQ(simp("(SCONV i16 (SCONV i32 #x))"), "(SCONV i16 #x)");
  EXPECT_EQ(simp("(SCONV i32 (SCONV i16 #x))"), "(SCONV i32 (SCONV i16 #x))") << "the truncation matters";
  EXPECT_EQ(simp("(SCONV f32 (SCONV i32 #s))"), "(SCONV f32 #s)");
  EXPECT_EQ(simp("(SCONV i32 (SCONV f32 #s))"), "(SCONV i32 #s)") << "16 bits go through binary32 exactly";
  EXPECT_EQ(simp("(SCONV u16 (SCONV f32 #s))"), "(SCONV u16 (SCONV f32 #s))") << "-1.0 to u16 traps";
  EXPECT_EQ(simp("(SCONV i32 (SCONV f32 #x))"), "(SCONV i32 (SCONV f32 #x))") << "32 bits are rounded";
  EXPECT_EQ(simp("(SCONV f32 (SCONV f64 #f))"), "#f") << "every floating type is binary32 here";
}

TEST_F(Conv, NarrowingGoesIntoArithmeticWhenItRemovesConversions) {
  EXPECT_EQ(simp("(SCONV i16 (PLUS i32 (SCONV i32 #s) (SCONV i32 #t)))"), "(PLUS i16 #s #t)");
  EXPECT_EQ(simp("(SCONV i16 (MULT i32 (SCONV i32 #s) 3:i32))"), "(MULT i16 #s 3:i16)");
  EXPECT_EQ(simp("(SCONV u16 (XORB i32 (SCONV i32 #s) (SCONV i32 #us)))"), "(XORB u16 (SCONV u16 #s) #us)");
  EXPECT_EQ(simp("(SCONV i16 (PLUS i32 #x (SCONV i32 #t)))"), "(SCONV i16 (PLUS i32 (SCONV i32 #t) #x))")
      << "x would need a new conversion";
  EXPECT_EQ(simp("(SCONV i16 (DIV i32 (SCONV i32 #s) (SCONV i32 #t)))"),
            "(SCONV i16 (DIV i32 (SCONV i32 #s) (SCONV i32 #t)))")
      << "a quotient's low bits need all the bits";
  EXPECT_EQ(simp("(SCONV i16 (SRL i32 (SCONV i32 #s) 2:i32))"), "(SCONV i16 (SRL i32 (SCONV i32 #s) 2:i32))");
}

TEST_F(Conv, PointerConversionsAndAddresses) {
  EXPECT_EQ(simp("(PCONV p.i32 (PCONV p.u32 #p))"), "#p");
  EXPECT_EQ(simp("(PCONV p.u32 (PCONV p.i16 #p))"), "(PCONV p.u32 #p)");
  EXPECT_EQ(simp("(UMULT i32 (UAND p.i32 #x))"), "#x");
  EXPECT_EQ(simp("(UMULT u32 (PCONV p.u32 (UAND p.i32 #x)))"), "(UMULT u32 (PCONV p.u32 (UAND p.i32 #x)))")
      << "an int read as unsigned stays a load";
  EXPECT_EQ(simp("(UAND p.i32 (UMULT i32 #p))"), "#p") << "&*p reads nothing";
  EXPECT_EQ(simp("(UMULT v.i32 (UAND p.v.i32 #x))"), "(UMULT v.i32 (UAND p.v.i32 #x))") << "the access adds volatile";
}

TEST_F(Conv, AssignmentsThatChangeNothing) {
  EXPECT_EQ(simp("(ASG i32 #x #x)"), "#x");
  EXPECT_EQ(simp("(ASG i32 #vx #vx)"), "(ASG i32 #vx #vx)");
  EXPECT_EQ(simp("(PLUSASG i32 #x 0:i32)"), "#x");
  EXPECT_EQ(simp("(MULTASG i16 #s 1:i32)"), "#s");
  EXPECT_EQ(simp("(ANDBASG i16 #s -1:i32)"), "#s");
  EXPECT_EQ(simp("(ANDBASG i32 #x 65535:u16)"), "(ANDBASG i32 #x 65535:u16)") << "clears the high bits";
  EXPECT_EQ(simp("(PLUSASG f32 #f 0.0:f32)"), "(PLUSASG f32 #f 0x0.000000p+0:f32)") << "-0 + 0 is +0";
  EXPECT_EQ(simp("(PLUSASG i32 #vx 0:i32)"), "(PLUSASG i32 #vx 0:i32)");
}

TEST_F(Conv, OperatorAssignmentAsPlainAssignment) {
  EXPECT_EQ(show(opASG_to_ASG(parse("(PLUSASG i32 #x #y)"))), "(ASG i32 #x (PLUS i32 #x #y))");
  // C computes a short's update in int and converts back.
  EXPECT_EQ(show(opASG_to_ASG(parse("(PLUSASG i16 #s 1:i32)"))),
            "(ASG i16 #s (SCONV i16 (PLUS i32 (SCONV i32 #s) 1:i32)))");
  EXPECT_EQ(show(opASG_to_ASG(parse("(SRLASG u16 #us 3:i32)"))),
            "(ASG u16 #us (SCONV u16 (SRL i32 (SCONV i32 #us) 3:i32)))");
  EXPECT_EQ(show(opASG_to_ASG(parse("(PLUSASG i32 #vx 1:i32)"))), "(PLUSASG i32 #vx 1:i32)") << "read once";
}

TEST_F(Conv, CallsByName) {
  SYMTAB* strlen_sym = add_sym("strlen", "u32");
  strlen_sym->lex_level = 0;
  strlen_sym->sclass = SC_EXTREF;  // declared, not defined
  NODE* scon = maketree(SCON, nullptr, nullptr, type_named("char"), nullptr);
  scon->mk_scon("hello\0x", 7);
  NODE* call = maketree(CALL, maketree(UAND, mk_NAME(strlen_sym, nullptr), nullptr, type_named("p.u32"), nullptr),
                        maketree(UAND, scon, nullptr, type_named("p.char"), nullptr), type_named("u32"), nullptr);
  EXPECT_EQ(show(simp_tree(call)), "5:u32");
  NODE* maxcall = mk_ICALL("MAX", maketree(COMMA, mk_ICON(INT65(-3), type_named("i32")),
                                           mk_ICON(INT65(2), type_named("i32")), type_named("void"), nullptr),
                           type_named("i32"));
  EXPECT_EQ(show(simp_tree(maxcall)), "2:i32");
  NODE* maxu = mk_ICALL("MAXU", maketree(COMMA, mk_ICON(INT65(-3), type_named("u32")),
                                         mk_ICON(INT65(2), type_named("u32")), type_named("void"), nullptr),
                        type_named("u32"));
  EXPECT_EQ(show(simp_tree(maxu)), "4294967293:u32");
  NODE* same = mk_ICALL("MIN", maketree(COMMA, mk_NAME(syms["x"], nullptr), mk_NAME(syms["x"], nullptr),
                                        type_named("void"), nullptr),
                        type_named("i32"));
  EXPECT_EQ(show(simp_tree(same)), "#x");
  NODE* va = mk_ICALL("__va_arg", mk_NAME(syms["p"], nullptr), type_named("i32"));
  EXPECT_TRUE(tree_has_side_effects(va)) << "an intrinsic that is not known to be pure";
  EXPECT_EQ(peel_for_effect(va), va);
}

TEST_F(Conv, KnownBitsAndBounds) {
  NODE* t = parse("(ANDB i32 (SCONV i32 #us) 240:i32)");
  EXPECT_EQ(find_known_zeros(t, t->type), INT65(0xffffff0fLL));
  EXPECT_EQ(find_known_ones(parse("(ORB i32 #x 5:i32)"), type_named("i32")), INT65(5));
  EXPECT_EQ(calculate_maxval_for_tree(parse("(SRL u32 #u 28:i32)"), nullptr, nullptr), INT65(15));
  EXPECT_EQ(calculate_minval_for_tree(parse("(MOD i32 #x 10:i32)"), nullptr, nullptr), INT65(-9));
  EXPECT_TRUE(tree_is_non_negative(parse("(ANDB i32 #x 255:i32)"), nullptr, nullptr));
  EXPECT_FALSE(tree_is_non_negative(parse("(SCONV i32 #s)"), nullptr, nullptr));
  EXPECT_EQ(max_ICON_factor(parse("(MULT i32 (SCONV i32 #s) 12:i32)")), INT65(12));
  EXPECT_EQ(max_ICON_factor(parse("(MULT i32 #x 12:i32)")), INT65(4)) << "a wrapped product keeps only 2^k";
  EXPECT_TRUE(integer_DIV_is_exact(parse("(SLL i32 #x 3:i32)"), INT65(8)));
  EXPECT_FALSE(integer_DIV_is_exact(parse("(MULT i32 #x 6:i32)"), INT65(3)));
  EXPECT_EQ(find_known_zeros_in_range(INT65(16), INT65(31)), ~INT65(31));
  EXPECT_EQ(find_known_ones_in_range(INT65(16), INT65(31)), INT65(16));
  EXPECT_EQ(find_known_zeros_in_range(INT65(5), INT65(5)), ~INT65(5));
  EXPECT_EQ(find_known_zeros_in_ANDB(parse("(ANDB i32 (ANDB i32 #x 7:i32) #y)"), nullptr, nullptr) & INT65(0xffffffffLL),
            INT65(0xfffffff8LL));
  // Beyond a depth of 8 nothing is known, and nothing fails.
  std::string deep = "(SCONV i32 #us)";
  for (int i = 0; i < 12; ++i) deep = "(PLUS i32 " + deep + " 0:i32)";
  NODE* d = parse(deep);
  EXPECT_EQ(find_known_zeros(d, d->type), INT65(0));
  EXPECT_EQ(calculate_maxval_for_tree(d, nullptr, nullptr), INT65(2147483647));
  EXPECT_TRUE(tree_is_16x16_mpy(parse("(MULT i32 (SCONV i32 #s) (SCONV i32 #us))")));
  EXPECT_FALSE(tree_is_16x16_mpy(parse("(MULT i32 #x (SCONV i32 #us))")));
}

TEST_F(Conv, StrictnessOfAnEagerRightSide) {
  EXPECT_TRUE(rhs_may_need_guard_in_lhs(parse("(UMULT i32 #p)"), parse("(NEQ i32 #p (PCONV p.i32 0:i16))")));
  EXPECT_FALSE(rhs_may_need_guard_in_lhs(parse("(UMULT i32 (PLUS p.i32 (UAND p.i32 #arr) 6:i16))"), parse("#x")))
      << "inside a known object";
  EXPECT_TRUE(rhs_may_need_guard_in_lhs(parse("(UMULT i32 (PLUS p.i32 (UAND p.i32 #arr) 16:i16))"), parse("#x")))
      << "past its end";
  EXPECT_TRUE(rhs_may_need_guard_in_lhs(parse("(DIV i32 #x #y)"), parse("#y")));
  EXPECT_FALSE(rhs_may_need_guard_in_lhs(parse("(DIV i32 #x 3:i32)"), parse("#y")));
  EXPECT_TRUE(rhs_may_need_guard_in_lhs(parse("(DIV i32 #x -1:i32)"), parse("#y")));
  EXPECT_FALSE(rhs_may_need_guard_in_lhs(parse("(DIV i32 #x #y)"), parse("(LT i32 (DIV i32 #x #y) 2:i32)")))
      << "the test computes it already";
  EXPECT_TRUE(rhs_may_need_guard_in_lhs(parse("(SCONV i32 #f)"), parse("#x")));
  EXPECT_TRUE(lvalue_is_inherently_strict(parse("#x")));
  EXPECT_FALSE(lvalue_is_inherently_strict(parse("(UMULT i32 #p)")));
  NODE* q = parse("(QUEST i32 #x (COLON i32 #y (PLUS i32 #z 1:i32)))");
  EXPECT_TRUE(quest_colon_is_strict(q));
  EXPECT_FALSE(quest_colon_is_strict(parse("(QUEST i32 #x (COLON i32 (UMULT i32 #p) 1:i32))")));
  EXPECT_TRUE(find_or_make_safe_for_ANDB(parse("(ANDB i32 (ANDB i32 (LT i32 #x #y) (GT i32 #x 0:i32)) #z)")));
  EXPECT_FALSE(find_or_make_safe_for_ANDB(parse("(ANDB i32 (ANDB i32 #w (GT i32 #x 0:i32)) #z)")));
}

TEST(KnownBitsInRange, CommonPrefixOfAnyTwo65BitValues) {
  // The bits of a range [lo, hi] known from the prefix the two share, against
  // a bit-by-bit reading of it, for values of every width and sign.
  std::mt19937_64 rng(17);
  auto value = [&](int bits) {
    __int128 v = static_cast<__int128>(rng() & (bits >= 64 ? ~0ull : (1ull << bits) - 1));
    if (bits == 65 && (rng() & 1)) v -= static_cast<__int128>(1) << 64;
    return INT65::from_i128(v);
  };
  for (int i = 0; i < 4000; ++i) {
    INT65 lo = value(1 + static_cast<int>(rng() % 65));
    INT65 hi = (i % 3 == 0) ? lo ^ INT65(static_cast<long long>(rng() % 16)) : value(1 + static_cast<int>(rng() % 65));
    INT65 zeros(0), ones(0);
    bool same = true;
    for (int b = 64; b >= 0; --b) {
      bool x = !((lo >> b) & INT65(1)).is_zero();
      bool y = !((hi >> b) & INT65(1)).is_zero();
      same = same && x == y;
      if (!same) continue;
      INT65 bit = INT65(1) << b;
      if (x) ones = ones | bit;
      else zeros = zeros | bit;
    }
    ASSERT_EQ(find_known_ones_in_range(lo, hi), ones) << i;
    ASSERT_EQ(find_known_zeros_in_range(lo, hi), zeros) << i;
  }
}

}  // namespace
}  // namespace simp_test
