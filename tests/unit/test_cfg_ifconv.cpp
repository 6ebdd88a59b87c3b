// If-conversion: triangles with a bit copy or a boolean arm, and diamonds
// that become one conditional assignment.
#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

using IfConv = CfgTest;

std::vector<std::vector<long>> all_small_values() {
  std::vector<std::vector<long>> v;
  for (long x = -40; x <= 70; x += 3) v.push_back({x, 7 - x});
  v.push_back({-2147483647L - 1, 0});
  return v;
}

// if (x & k2) x = x op k; return x;  with the arm as the true target.
void bit_triangle(CfgTest& t, long k2, int op, long kk) {
  t.param("a");
  t.param("b");
  t.prolog();
  t.cbranch(t.op2(ANDB, t.n("a"), t.k(k2)), 1);
  t.go(2);
  t.label(1);
  t.stmt(t.asg("a", t.op2(op, t.n("a"), t.k(kk))));
  t.go(2);
  t.label(2);
  t.ret(t.n("a"));
}

TEST_F(IfConv, BitCopyTrianglesBecomeShifts) {
  struct {
    long k2;
    int op;
    long k;
    bool converts;
  } cases[] = {{4, ORB, 4, true},   {4, ORB, 8, true},  {4, XORB, 16, true}, {4, ORB, 32, false},
               {64, ORB, 1, true},  {1 << 30, XORB, 2, true}, {8, ORB, 6, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "k2=" << c.k2 << " k=" << c.k);
    bit_triangle(*this, c.k2, c.op, c.k);
    expect_same_runs(all_small_values(), [] { simpcfg(false, false); });
    EXPECT_EQ(count_ops(IF), c.converts ? 0 : 1) << shape();
    reset();
  }
}
}  // namespace
}  // namespace cfgtest

namespace cfgtest {
namespace {

// if (a > b) <arm>; return t * 100 + x;  with t a bool set from b first.
void boolean_triangle(CfgTest& t, NODE* arm) {
  t.param("a");
  t.param("b");
  t.prolog();
  t.var("t", t.bool_t);
  t.stmt(mk_ASG(t.n("t"), maketree(SCONV, t.op2(GT, t.n("b"), t.k(3)), nullptr, t.bool_t, nullptr)));
  t.stmt(t.asg("x", t.op2(MINUS, t.n("a"), t.n("b"))));
  t.cbranch(t.op2(GT, t.n("a"), t.n("b")), 1);
  t.go(2);
  t.label(1);
  t.stmt(arm);
  t.go(2);
  t.label(2);
  t.ret(t.op2(PLUS, t.op2(MULT, maketree(SCONV, t.n("t"), nullptr, t.int_t, nullptr), t.k(100)), t.n("x")));
}

std::vector<std::vector<long>> pairs() {
  std::vector<std::vector<long>> v;
  for (long a = -2; a <= 6; ++a)
    for (long b = -1; b <= 6; b += 2) v.push_back({a, b});
  return v;
}

TEST_F(IfConv, BooleanArmsTakeTheTest) {
  auto bool_of = [this](NODE* e) { return maketree(SCONV, e, nullptr, bool_t, nullptr); };
  std::vector<std::function<NODE*()>> arms = {
      [&] { return mk_ASG(n("t"), k(1, bool_t)); },
      [&] { return mk_ASG(n("t"), k(0, bool_t)); },
      [&] { return maketree(ORBASG, n("t"), bool_of(op2(LT, n("a"), k(4))), bool_t, nullptr); },
      [&] { return maketree(XORBASG, n("t"), bool_of(op2(LT, n("a"), k(4))), bool_t, nullptr); },
      [&] { return maketree(ANDBASG, n("t"), bool_of(op2(LT, n("a"), k(4))), bool_t, nullptr); },
      [&] { return mk_ASG(n("x"), op2(ORB, n("x"), op2(EQ, n("b"), k(1)))); },
  };
  for (size_t i = 0; i < arms.size(); ++i) {
    SCOPED_TRACE(testing::Message() << "arm #" << i);
    var("t", bool_t);
    boolean_triangle(*this, arms[i]());
    expect_same_runs(pairs(), [] { simpcfg(false, false); });
    EXPECT_EQ(count_ops(IF), 0) << shape();
    reset();
  }
}

TEST_F(IfConv, ArmThatMayTrapStaysGuarded) {
  // if (p != 0) t |= *p: the load must not run when p is 0.
  param("a");
  prolog();
  var("t", bool_t);
  var("p", tp->mk_ptr(bool_t));
  cbranch(op2(NEQ, n("p"), mk_ICON(INT65(0), tp->mk_ptr(bool_t))), 1);
  go(2);
  label(1);
  stmt(maketree(ORBASG, n("t"), maketree(UMULT, n("p"), nullptr, bool_t, nullptr), bool_t, nullptr));
  label(2);
  ret(n("a"));
  build();
  simpcfg(false, false);
  EXPECT_EQ(count_ops(IF), 1);
}

// if (a > b) x = a - 1; else x = b + 2; return x;
void diamond(CfgTest& t) {
  t.param("a");
  t.param("b");
  t.prolog();
  t.cbranch(t.op2(GT, t.n("a"), t.n("b")), 1);
  t.stmt(t.asg("x", t.op2(PLUS, t.n("b"), t.k(2))));
  t.go(2);
  t.label(1);
  t.stmt(t.asg("x", t.op2(MINUS, t.n("a"), t.k(1))));
  t.label(2);
  t.ret(t.n("x"));
}

TEST_F(IfConv, DiamondBecomesAConditionalInTheHeavySweepOnly) {
  diamond(*this);
  expect_same_runs(pairs(), [] { simpcfg(true, false); });
  EXPECT_EQ(count_ops(IF), 0);
  EXPECT_EQ(count_ops(QUEST), 1);
  reset();
  diamond(*this);
  expect_same_runs(pairs(), [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 1);
  EXPECT_EQ(count_ops(QUEST), 0);
}

TEST_F(IfConv, StrictConditionalWhenBothArmsAreSafe) {
  diamond(*this);
  expect_same_runs(pairs(), [] { simpcfg(false, true); });
  EXPECT_EQ(count_ops(IF), 0);
  EXPECT_EQ(count_ops(ICALL), 1);
}

TEST_F(IfConv, DiamondWithACallInAnArmKeepsItsBranch) {
  param("a");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  stmt(asg("x", call_out(n("a"))));
  go(2);
  label(1);
  stmt(asg("x", k(3)));
  label(2);
  ret(n("x"));
  expect_same_runs({{1}, {-1}}, [] { simpcfg(false, true); });
  EXPECT_EQ(count_ops(IF), 1) << "an arm with a call makes no strict conditional";
}

}  // namespace
}  // namespace cfgtest
