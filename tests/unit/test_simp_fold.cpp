// Constant folding: integers wrap in the operator's type, the machine's
// traps are not folded away, floating folds go through the target's format.
#include <cmath>
#include <cstring>
#include <random>

#include "test_simp_util.h"

namespace simp_test {
namespace {

using Fold = SimpTest;

TEST_F(Fold, IntegersWrapInTheOperatorsType) {
  EXPECT_EQ(simp("(PLUS i32 2147483647:i32 1:i32)"), "-2147483648:i32");
  EXPECT_EQ(simp("(PLUS u16 65535:u16 1:u16)"), "0:u16");
  EXPECT_EQ(simp("(MULT i16 300:i16 300:i16)"), "24464:i16");
  EXPECT_EQ(simp("(MINUS u32 0:u32 1:u32)"), "4294967295:u32");
  EXPECT_EQ(simp("(UMINUS i16 -32768:i16)"), "-32768:i16");
  EXPECT_EQ(simp("(NOTB u16 0:u16)"), "65535:u16");
  EXPECT_EQ(simp("(DIV i32 -7:i32 2:i32)"), "-3:i32") << "C division truncates";
  EXPECT_EQ(simp("(MOD i32 -7:i32 2:i32)"), "-1:i32");
  EXPECT_EQ(simp("(DIV u32 4294967295:u32 2:u32)"), "2147483647:u32");
  EXPECT_EQ(simp("(SRL i16 -32768:i16 15:i32)"), "-1:i16") << "arithmetic shift of a signed value";
  EXPECT_EQ(simp("(SRL u16 32768:u16 15:i32)"), "1:u16");
  EXPECT_EQ(simp("(SLL i16 1:i16 20:i32)"), "0:i16") << "the machine shifts the word, the type keeps 16 bits";
  EXPECT_EQ(simp("(SRL i16 -2:i16 20:i32)"), "-1:i16");
}

TEST_F(Fold, WhatTheMachineTrapsOnStays) {
  EXPECT_EQ(simp("(DIV i32 7:i32 0:i32)"), "(DIV i32 7:i32 0:i32)");
  EXPECT_EQ(simp("(MOD u16 7:u16 0:u16)"), "(MOD u16 7:u16 0:u16)");
  // The quotient that overflows is not folded as such; the rules that take
  // the divisor's sign out give the machine's wrapped answer.
  NODE* q = fold_constants(parse("(DIV i32 -2147483648:i32 -1:i32)"));
  EXPECT_EQ(show(q), "(DIV i32 -2147483648:i32 -1:i32)");
  EXPECT_EQ(show(simp_tree(q)), "-2147483648:i32");
  EXPECT_EQ(show(fold_constants(parse("(MOD i32 -2147483648:i32 -1:i32)"))), "(MOD i32 -2147483648:i32 -1:i32)");
  EXPECT_EQ(simp("(MOD i32 -2147483648:i32 -1:i32)"), "0:i32");
  EXPECT_EQ(simp("(DIV i16 -32768:i16 -1:i16)"), "-32768:i16");
  EXPECT_EQ(simp("(SLL i32 1:i32 32:i32)"), "(SLL i32 1:i32 32:i32)");
  EXPECT_EQ(simp("(SRL u32 1:u32 -1:i32)"), "(SRL u32 1:u32 -1:i32)");
  EXPECT_EQ(simp("(ABS i32 -2147483648:i32)"), "(ABS i32 -2147483648:i32)");
  EXPECT_EQ(simp("(SCONV i16 40000.0:f32)"), "(SCONV i16 0x1.388000p+15:f32)") << "out of range traps";
  EXPECT_EQ(simp("(SCONV u32 -1.0:f32)"), "(SCONV u32 -0x1.000000p+0:f32)");
  EXPECT_EQ(simp("(SCONV u32 -0.5:f32)"), "0:u32") << "truncation gives 0, in range";
  EXPECT_EQ(simp("(DIV f32 1.0:f32 0.0:f32)"), "(DIV f32 0x1.000000p+0:f32 0x0.000000p+0:f32)");
  EXPECT_EQ(simp("(MULT f32 3.0e38:f32 10.0:f32)").substr(0, 10), "(MULT f32 ")
      << "overflow to infinity is left to the machine";
}

TEST_F(Fold, ComparisonsReadTheOperandsAsTheMachineDoes) {
  EXPECT_EQ(simp("(LT i32 -1:i32 1:i32)"), "1:i32");
  EXPECT_EQ(simp("(ULT i32 -1:u32 1:u32)"), "0:i32");
  EXPECT_EQ(simp("(UGT i32 65535:u16 1:u16)"), "1:i32");
  EXPECT_EQ(simp("(EQ i32 -1:i16 65535:u16)"), "0:i32") << "both widen to their true values";
  EXPECT_EQ(simp("(LT i32 nan:f32 1.0:f32)"), "0:i32");
  EXPECT_EQ(simp("(NEQ i32 nan:f32 nan:f32)"), "1:i32");
  EXPECT_EQ(simp("(EQ i32 -0.0:f32 0.0:f32)"), "1:i32");
  EXPECT_EQ(simp("(EXCLAIM i32 nan:f32)"), "0:i32");
  EXPECT_EQ(simp("(EXCLAIM i32 -0.0:f32)"), "1:i32");
  EXPECT_EQ(simp("(ANDAND i32 2:i32 0.5:f32)"), "1:i32");
  EXPECT_EQ(simp("(OROR i32 0:i32 -0.0:f32)"), "0:i32");
}

TEST_F(Fold, ConversionsOfConstants) {
  EXPECT_EQ(simp("(SCONV i16 70000:i32)"), "4464:i16");
  EXPECT_EQ(simp("(SCONV u32 -1:i16)"), "4294967295:u32");
  EXPECT_EQ(simp("(SCONV bool 256:i32)"), "1:bool");
  EXPECT_EQ(simp("(SCONV f32 16777217:i32)"), "0x1.000000p+24:f32") << "rounds to nearest even";
  EXPECT_EQ(simp("(SCONV f32 4294967295:u32)"), "0x1.000000p+32:f32");
  EXPECT_EQ(simp("(SCONV i32 -2.75:f32)"), "-2:i32");
  EXPECT_EQ(simp("(SCONV bool nan:f32)"), "1:bool");
}

TEST_F(Fold, FloatingFoldsKeepSignedZerosAndRefuseNaN) {
  EXPECT_EQ(simp("(MULT f32 -0.0:f32 5.0:f32)"), "-0x0.000000p+0:f32");
  EXPECT_EQ(simp("(PLUS f32 -0.0:f32 -0.0:f32)"), "-0x0.000000p+0:f32");
  EXPECT_EQ(simp("(MINUS f32 1.0:f32 1.0:f32)"), "0x0.000000p+0:f32");
  EXPECT_EQ(simp("(UMINUS f32 0.0:f32)"), "-0x0.000000p+0:f32");
  EXPECT_EQ(simp("(PLUS f32 nan:f32 1.0:f32)"), "(PLUS f32 nan:f32 0x1.000000p+0:f32)");
  EXPECT_EQ(simp("(SQRT f32 6.25:f32)"), "0x1.400000p+1:f32");
  EXPECT_EQ(simp("(SQRT f32 2.0:f32)"), "(SQRT f32 0x1.000000p+1:f32)") << "only exact roots fold";
  EXPECT_EQ(simp("(SQRT f32 -0.0:f32)"), "-0x0.000000p+0:f32");
}

// The simulation against the host's binary32 arithmetic, which is the
// target's: random operands of every magnitude, every operator, bit for bit.
TEST_F(Fold, FloatingFoldsAgreeWithBinary32Arithmetic) {
  std::mt19937 rng(12345);
  auto random_float = [&]() {
    uint32_t bits;
    do {
      bits = rng();
      if (rng() % 4 == 0) bits = (bits & 0x807fffffu) | ((120u + rng() % 16) << 23);  // near 1
    } while (std::isnan([&] { float f; memcpy(&f, &bits, 4); return f; }()));
    float f;
    memcpy(&f, &bits, 4);
    return f;
  };
  int checked = 0, mismatches = 0;
  std::string first;
  for (int i = 0; i < 20000; ++i) {
    float a = random_float(), b = random_float();
    static const int ops[] = {PLUS, MINUS, MULT, DIV};
    int op = ops[i % 4];
    float want = op == PLUS ? a + b : op == MINUS ? a - b : op == MULT ? a * b : a / b;
    if (std::isnan(want) || std::isinf(want)) continue;
    simul_fval fa, fb;
    uint32_t ba, bb;
    memcpy(&ba, &a, 4);
    memcpy(&bb, &b, 4);
    ieee_cvt_ftos(ba, &fa);
    ieee_cvt_ftos(bb, &fb);
    TYPE* ft = tp->basic[TYPE_PKG::BT_FLOAT];
    NODE* t = maketree(op, mk_FCON(fa, ft), mk_FCON(fb, ft), ft, nullptr);
    NODE* r = fold_constants(t);
    if (r->op != FCON) {
      // Refused: only allowed when the result leaves the normal range.
      EXPECT_LT(std::fabs(want), 1.2e-38f) << a << " op " << b;
      erase_tree(r);
      continue;
    }
    uint32_t got;
    ieee_cvt_stof(static_cast<const simul_fval*>(r->sym), &got);
    uint32_t wb;
    memcpy(&wb, &want, 4);
    ++checked;
    if (got != wb) {
      ++mismatches;
      if (first.empty())
        first = std::to_string(a) + " " + opname(op) + " " + std::to_string(b) + " got " + std::to_string(got) +
                " want " + std::to_string(wb);
    }
    erase_tree(r);
  }
  EXPECT_GT(checked, 15000);
  EXPECT_EQ(mismatches, 0) << first;
}

// Integer folds against C arithmetic on the host, for random values of
// every type and operator.
TEST_F(Fold, IntegerFoldsAgreeWithCArithmetic) {
  std::mt19937 rng(777);
  const char* types[] = {"i16", "u16", "i32", "u32"};
  static const int ops[] = {PLUS, MINUS, MULT, DIV, MOD, ANDB, ORB, XORB, SLL, SRL};
  int checked = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string tn = types[rng() % 4];
    TYPE* ty = type_named(tn);
    int bits = tn[1] == '1' ? 16 : 32;
    bool sgn = tn[0] == 'i';
    int op = ops[rng() % 10];
    uint32_t ra = rng(), rb = rng();
    if (rng() % 3 == 0) rb %= 40;
    auto canon = [&](uint32_t v) -> int64_t {
      if (bits == 16) return sgn ? int64_t(int16_t(v)) : int64_t(uint16_t(v));
      return sgn ? int64_t(int32_t(v)) : int64_t(v);
    };
    int64_t a = canon(ra), b = op == SLL || op == SRL ? int64_t(rb % 40) : canon(rb);
    // The machine's answer: promoted operands, then the type's width.
    bool defined = true;
    int64_t want = 0;
    switch (op) {
      case PLUS: want = a + b; break;
      case MINUS: want = a - b; break;
      case MULT: want = static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b)); break;
      case DIV: defined = b != 0 && !(sgn && bits == 32 && a == INT32_MIN && b == -1); if (defined) want = a / b; break;
      case MOD: defined = b != 0 && !(sgn && bits == 32 && a == INT32_MIN && b == -1); if (defined) want = a % b; break;
      case ANDB: want = a & b; break;
      case ORB: want = a | b; break;
      case XORB: want = a ^ b; break;
      case SLL: defined = b < 32; if (defined) want = int64_t(uint32_t(a) << b); break;
      case SRL:
        defined = b < 32;
        if (defined) want = sgn ? int64_t(int32_t(a) >> b) : int64_t(uint32_t(a) >> b);
        break;
    }
    NODE* t = maketree(op, mk_ICON(INT65(static_cast<long long>(a)), ty),
                       mk_ICON(INT65(static_cast<long long>(b)), op == SLL || op == SRL ? type_named("i32") : ty), ty,
                       nullptr);
    NODE* r = fold_constants(t);
    if (!defined) {
      EXPECT_NE(r->op, ICON) << a << " " << opname(op) << " " << b << " " << tn;
    } else if (op == DIV && sgn && bits == 16 && a == -32768 && b == -1) {
      EXPECT_NE(r->op, ICON) << "a quotient out of the type's range is left alone";
    } else {
      ++checked;
      EXPECT_EQ(r->op, ICON);
      EXPECT_EQ(r->value, truncate_to_type(INT65(static_cast<long long>(want)), ty))
          << a << " " << opname(op) << " " << b << " in " << tn;
    }
    erase_tree(r);
  }
  EXPECT_GT(checked, 15000);
}

}  // namespace
}  // namespace simp_test
