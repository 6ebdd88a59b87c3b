// Integer and floating arithmetic, shifts, division and conversions, with
// C on the host's fixed-width types as the reference.
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "tools/icode-run/tests/run_test_util.h"

namespace {

std::string fmt(const char* f, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char* f, ...) {
  char buf[256];
  va_list ap;
  va_start(ap, f);
  vsnprintf(buf, sizeof buf, f, ap);
  va_end(ap);
  return buf;
}

}  // namespace

TEST_F(RunTest, PrintsAndReturnsStatus) {
  RUN_FUNCTION* m = main_fn();
  E(m, print("hello %d\n", {I(42)}));
  E(m, ret(m, I(300)));
  EXPECT_EQ(output(300 & 0xff), "hello 42\n");
}

TEST_F(RunTest, IntegersWrapAtTheirWidthInRegistersMemoryAndGlobals) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* s = local(m, "s", t_short());
  SYMTAB* us = local(m, "us", t_ushort(), SC_REGISTER);
  SYMTAB* c = local(m, "c", t_char(), SC_REG17);
  SYMTAB* i = global("i", t_int());
  SYMTAB* u = local(m, "u", t_uint());
  SYMTAB* x = local(m, "x", t_int(), SC_REG22);
  E(m, asg(N(s), I(32767, t_short())));
  E(m, asg(N(s), op(PLUS, t_short(), N(s), I(1, t_short()))));  // a narrowed addition
  E(m, asg(N(us), I(65535, t_ushort())));
  E(m, op(PLUSPLUS, t_ushort(), N(us), I(1, t_ushort())));
  E(m, asg(N(c), I(32767, t_char())));
  E(m, op(PLUSASG, t_char(), N(c), I(2, t_char())));
  E(m, asg(N(i), I(2147483647)));
  E(m, op(PLUSASG, t_int(), N(i), I(1)));
  E(m, asg(N(u), I(0, t_uint())));
  E(m, op(MINMIN, t_uint(), N(u), I(1, t_uint())));
  E(m, print("%d %u %d %d %u\n", {conv(N(s), t_int()), conv(N(us), t_uint()), conv(N(c), t_int()), N(i), N(u)}));
  E(m, asg(N(x), I(65537)));
  E(m, asg(N(x), op(MULT, t_int(), N(x), N(x))));  // 2^32 + 2^17 + 1
  E(m, asg(N(s), I(-32768, t_short())));
  E(m, asg(N(s), op(UMINUS, t_short(), N(s))));
  E(m, asg(N(us), conv(N(x), t_ushort())));
  E(m, print("%d %d %u %d\n", {N(x), conv(N(s), t_int()), conv(N(us), t_uint()), op(NOTB, t_int(), I(0))}));
  EXPECT_EQ(output(), "-32768 0 -32767 -2147483648 4294967295\n131073 -32768 1 -1\n");
}

TEST_F(RunTest, DivisionTruncatesAndWrapsAsCDefinesIt) {
  struct CASE {
    long long a, b;
    TYPE* t;
  };
  RUN_FUNCTION* m = main_fn();
  std::string expect;
  SYMTAB* a32 = local(m, "a32", t_int());
  SYMTAB* b32 = local(m, "b32", t_int(), SC_REGISTER);
  SYMTAB* ua = local(m, "ua", t_uint());
  SYMTAB* ub = local(m, "ub", t_uint());
  SYMTAB* a16 = local(m, "a16", t_short());
  SYMTAB* b16 = local(m, "b16", t_short());
  SYMTAB* ua16 = local(m, "ua16", t_ushort());
  SYMTAB* ub16 = local(m, "ub16", t_ushort());
  for (long long a : {-7LL, 7LL, -2147483648LL, 2147483647LL, 0LL, -32768LL, 65535LL}) {
    for (long long b : {2LL, -2LL, -1LL, 3LL, 65535LL, 32767LL}) {
      int32_t sa = static_cast<int32_t>(a), sb = static_cast<int32_t>(b);
      uint32_t xa = static_cast<uint32_t>(a), xb = static_cast<uint32_t>(b);
      int16_t ha = static_cast<int16_t>(a), hb = static_cast<int16_t>(b);
      uint16_t hua = static_cast<uint16_t>(a), hub = static_cast<uint16_t>(b);
      E(m, asg(N(a32), I(sa)));
      E(m, asg(N(b32), I(sb)));
      E(m, asg(N(ua), I(xa, t_uint())));
      E(m, asg(N(ub), I(xb, t_uint())));
      E(m, asg(N(a16), I(ha, t_short())));
      E(m, asg(N(b16), I(hb, t_short())));
      E(m, asg(N(ua16), I(hua, t_ushort())));
      E(m, asg(N(ub16), I(hub, t_ushort())));
      E(m, print("%d %d %u %u %d %d %u %u\n",
                 {op(DIV, t_int(), N(a32), N(b32)), op(MOD, t_int(), N(a32), N(b32)), op(DIV, t_uint(), N(ua), N(ub)),
                  op(MOD, t_uint(), N(ua), N(ub)), conv(op(DIV, t_short(), N(a16), N(b16)), t_int()),
                  conv(op(MOD, t_short(), N(a16), N(b16)), t_int()),
                  conv(op(DIV, t_ushort(), N(ua16), N(ub16)), t_uint()),
                  conv(op(MOD, t_ushort(), N(ua16), N(ub16)), t_uint())}));
      // INT_MIN / -1 wraps to INT_MIN, its remainder is 0.
      int32_t q = sa == INT32_MIN && sb == -1 ? sa : sa / sb;
      int32_t r = sb == -1 ? 0 : sa % sb;
      expect += fmt("%d %d %u %u %d %d %u %u\n", q, r, xa / xb, xa % xb, static_cast<int16_t>(ha / hb),
                    static_cast<int16_t>(ha % hb), static_cast<uint16_t>(hua / hub), static_cast<uint16_t>(hua % hub));
    }
  }
  // The assignment forms compute on the promoted operands.
  E(m, asg(N(a16), I(-100, t_short())));
  E(m, op(DIVASG, t_short(), N(a16), I(100000)));
  E(m, asg(N(ua16), I(65535, t_ushort())));
  E(m, op(DIVASG, t_ushort(), N(ua16), I(-1)));
  E(m, asg(N(a32), I(-7)));
  E(m, op(MODASG, t_int(), N(a32), I(3)));
  E(m, print("%d %u %d\n", {conv(N(a16), t_int()), conv(N(ua16), t_uint()), N(a32)}));
  expect += "0 1 -1\n";
  EXPECT_EQ(output(), expect);
}

TEST_F(RunTest, ShiftsByEveryWidth) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* n = local(m, "n", t_int(), SC_REGISTER);
  SYMTAB* s = local(m, "s", t_int());
  SYMTAB* u = local(m, "u", t_uint());
  SYMTAB* h = local(m, "h", t_short());
  SYMTAB* uh = local(m, "uh", t_ushort());
  E(m, asg(N(s), I(static_cast<int32_t>(0x80000001u))));
  E(m, asg(N(u), I(0x80000001u, t_uint())));
  E(m, asg(N(h), I(-32767, t_short())));
  E(m, asg(N(uh), I(0x8001, t_ushort())));
  E(m, asg(N(n), I(0)));
  L(m, 1);
  E(m, print("%d %d %u %u %d %d %u %u\n",
             {op(SRL, t_int(), N(s), N(n)), op(SLL, t_int(), N(s), N(n)), op(SRL, t_uint(), N(u), N(n)),
              op(SLL, t_uint(), N(u), N(n)), conv(op(SRL, t_short(), N(h), N(n)), t_int()),
              conv(op(SLL, t_short(), N(h), N(n)), t_int()), conv(op(SRL, t_ushort(), N(uh), N(n)), t_uint()),
              conv(op(SLL, t_ushort(), N(uh), N(n)), t_uint())}));
  E(m, op(PLUSPLUS, t_int(), N(n), I(1)));
  if_goto(m, op(LT, t_int(), N(n), I(32)), 1);
  // The assignment forms.
  E(m, op(SRLASG, t_short(), N(h), I(20)));
  E(m, op(SLLASG, t_ushort(), N(uh), I(15)));
  E(m, op(SRLASG, t_uint(), N(u), I(31)));
  E(m, print("%d %u %u\n", {conv(N(h), t_int()), conv(N(uh), t_uint()), N(u)}));
  std::string expect;
  int32_t sv = static_cast<int32_t>(0x80000001u);
  uint32_t uv = 0x80000001u;
  int16_t hv = -32767;
  uint16_t uhv = 0x8001;
  for (int k = 0; k < 32; ++k)
    expect += fmt("%d %d %u %u %d %d %u %u\n", sv >> k, static_cast<int32_t>(static_cast<uint32_t>(sv) << k), uv >> k,
                  uv << k, static_cast<int16_t>(hv >> k), static_cast<int16_t>(static_cast<uint32_t>(hv) << k),
                  static_cast<uint16_t>(uhv >> k), static_cast<uint16_t>(static_cast<uint32_t>(uhv) << k));
  expect += "-1 32768 1\n";
  EXPECT_EQ(output(), expect);
}

TEST_F(RunTest, ComparisonsFollowTheOperator) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* a = local(m, "a", t_int());
  SYMTAB* b = local(m, "b", t_uint());
  SYMTAB* f = local(m, "f", t_float());
  SYMTAB* nan = local(m, "nan", t_float());
  E(m, asg(N(a), I(-1)));
  E(m, asg(N(b), I(1, t_uint())));
  E(m, asg(N(f), F("0.5")));
  E(m, asg(N(nan), op(DIV, t_float(), F("0"), F("0"))));
  E(m, print("%d %d %d %d %d %d\n",
             {op(LT, t_int(), N(a), I(1)), op(ULT, t_int(), conv(N(a), t_uint()), N(b)),
              op(GE, t_int(), N(a), I(-1)), op(UGT, t_int(), conv(N(a), t_uint()), N(b)), op(EQ, t_int(), N(a), I(-1)),
              op(NEQ, t_int(), N(a), I(-1))}));
  E(m, print("%d %d %d %d %d %d\n",
             {op(LT, t_int(), N(f), F("1")), op(GT, t_int(), N(f), F("1")), op(EQ, t_int(), N(nan), N(nan)),
              op(NEQ, t_int(), N(nan), N(nan)), op(LE, t_int(), N(nan), F("0")), op(EXCLAIM, t_int(), N(f))}));
  EXPECT_EQ(output(), "1 0 1 1 1 0\n1 0 0 1 0 0\n");
}

TEST_F(RunTest, FloatArithmeticRoundsToBinary32) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* x = local(m, "x", t_float());
  SYMTAB* y = local(m, "y", t_double(), SC_REGISTER);
  SYMTAB* big = local(m, "big", t_float());
  E(m, asg(N(x), F("1")));
  E(m, asg(N(y), F("3", t_double())));
  E(m, asg(N(big), F("16777216")));
  E(m, print("%.9g %.9g %.9g %.9g\n",
             {op(DIV, t_float(), N(x), N(y)), op(PLUS, t_float(), F("0.1"), F("0.2")),
              op(PLUS, t_float(), N(big), N(x)), op(PLUS, t_float(), N(big), F("3"))}));
  E(m, asg(N(x), F("1e38")));
  E(m, print("%g %g %g %.9g\n",
             {op(MULT, t_float(), N(x), F("10")), op(DIV, t_float(), F("-1"), F("0")), op(UMINUS, t_float(), N(x)),
              op(SQRT, t_float(), F("2"))}));
  // x += 1 on a float; an int lvalue with a float right side computes in float.
  SYMTAB* i = local(m, "i", t_int());
  E(m, op(PLUSPLUS, t_float(), N(big), F("1")));
  E(m, asg(N(i), I(7)));
  E(m, op(MULTASG, t_int(), N(i), F("1.5")));
  E(m, print("%.9g %d %g\n", {N(big), N(i), op(ABS, t_float(), F("-2.5"))}));
  std::string expect = fmt("%.9g %.9g %.9g %.9g\n", 1.0f / 3.0f, 0.1f + 0.2f, 16777216.0f + 1.0f, 16777216.0f + 3.0f);
  expect += "inf -inf -1e+38 " + fmt("%.9g", std::sqrt(2.0f)) + "\n";
  expect += "16777216 10 2.5\n";
  EXPECT_EQ(output(), expect);
}

// Each pair of the basic types, with C's conversions on the host's types of
// the same widths as the reference.
TEST_F(RunTest, ConversionsBetweenEveryPairOfBasicTypes) {
  enum KIND { S16, U16, S32, U32, B, FL };
  struct T {
    TYPE* t;
    KIND k;
  };
  std::vector<T> types = {{t_char(), S16}, {bt(TYPE_PKG::BT_UCHAR), U16}, {t_short(), S16}, {t_ushort(), U16},
                          {t_int(), S32},  {t_uint(), U32},               {t_long(), S32},  {bt(TYPE_PKG::BT_ULONG), U32},
                          {t_bool(), B},   {t_float(), FL},               {t_double(), FL}};
  struct HV {
    bool fl;
    long long i;
    float f;
  };
  auto to_host = [](HV v, KIND k, bool& ok) -> HV {
    ok = true;
    if (v.fl) {
      double d = v.f;
      switch (k) {
        case S16: ok = d > -32769.0 && d < 32768.0; return {false, ok ? static_cast<int16_t>(v.f) : 0, 0};
        case U16: ok = d > -1.0 && d < 65536.0; return {false, ok ? static_cast<uint16_t>(v.f) : 0, 0};
        case S32: ok = d > -2147483649.0 && d < 2147483648.0; return {false, ok ? static_cast<int32_t>(v.f) : 0, 0};
        case U32: ok = d > -1.0 && d < 4294967296.0; return {false, ok ? static_cast<uint32_t>(v.f) : 0, 0};
        case B: return {false, v.f != 0.0f, 0};
        case FL: return v;
      }
    }
    switch (k) {
      case S16: return {false, static_cast<int16_t>(v.i), 0};
      case U16: return {false, static_cast<uint16_t>(v.i), 0};
      case S32: return {false, static_cast<int32_t>(v.i), 0};
      case U32: return {false, static_cast<uint32_t>(v.i), 0};
      case B: return {false, v.i != 0, 0};
      case FL: return {true, 0, static_cast<float>(v.i)};
    }
    return v;
  };
  RUN_FUNCTION* m = main_fn();
  std::string expect;
  int n = 0;
  for (const T& from : types) {
    for (const T& to : types) {
      for (double seed : {-1.0, 40000.0, 123456789.0, -70000.0, 2.75, -0.5, 65535.5, 16777217.0}) {
        bool fl_seed = seed != std::floor(seed);
        HV start = fl_seed ? HV{true, 0, static_cast<float>(seed)} : HV{false, static_cast<long long>(seed), 0};
        if (fl_seed && from.k != FL) continue;
        bool ok1, ok2;
        HV src = to_host(start, from.k, ok1);
        HV dst = to_host(src, to.k, ok2);
        if (!ok1 || !ok2) continue;  // out of range: undefined, tested elsewhere
        std::string name = "v" + std::to_string(n++);
        SYMTAB* a = local(m, name.c_str(), from.t);
        SYMTAB* b = local(m, (name + "b").c_str(), to.t, n % 2 ? SC_REGISTER : SC_LOCAL);
        NODE* init = src.fl ? F(fmt("%.9g", static_cast<double>(src.f)).c_str(), from.t) : I(src.i, from.t);
        E(m, asg(N(a), init));
        E(m, asg(N(b), conv(N(a), to.t)));
        if (to.k == FL) {
          E(m, print("%.9g\n", {N(b)}));
          expect += fmt("%.9g\n", static_cast<double>(dst.f));
        } else {
          bool uns = to.k == U16 || to.k == U32;
          E(m, print(uns ? "%u\n" : "%d\n", {conv(N(b), uns ? t_uint() : t_int())}));
          expect += uns ? fmt("%u\n", static_cast<uint32_t>(dst.i)) : fmt("%d\n", static_cast<int32_t>(dst.i));
        }
      }
    }
  }
  EXPECT_EQ(output(), expect);
}

TEST_F(RunTest, PointerArithmeticCountsUnitsAndWraps16Bits) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* arr = local(m, "arr", array(t_int(), 5));
  SYMTAB* p = local(m, "p", ptr(t_int()));
  SYMTAB* q = local(m, "q", ptr(t_int()), SC_REGISTER);
  E(m, asg(N(p), decay(N(arr))));
  E(m, asg(N(q), op(PLUS, ptr(t_int()), N(p), I(8))));  // element 4: two units each
  E(m, asg(deref(N(q)), I(77)));
  E(m, op(MINUSASG, ptr(t_int()), N(q), I(2)));
  E(m, asg(deref(op(PLUSPLUS, ptr(t_int()), N(q), I(2))), I(66)));
  E(m, print("%d %d %d %d\n",
             {op(MINUS, t_int(), N(q), N(p)), index(N(arr), I(4)), index(N(arr), I(3)),
              op(ULT, t_int(), N(p), N(q))}));
  E(m, print("%d %u\n", {op(EQ, t_int(), N(p), conv(op(PLUS, t_int(), conv(N(p), t_int()), I(65536)), ptr(t_int()))),
                        conv(conv(I(0x12345), ptr(t_int())), t_uint())}));
  EXPECT_EQ(output(), "8 77 66 1\n1 9029\n");
}
