// Early cross jumping: returns and blocks that end alike, and like tests.
#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

using Cross = CfgTest;

const std::vector<std::vector<long>> kInputs = {{-3, 2}, {0, 0}, {1, -1}, {2, 7}, {5, 5}, {9, -4}};

TEST_F(Cross, LikeReturnsBecomeOne) {
  param("a");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  out(n("a"));
  ret(op2(PLUS, n("a"), k(1)));
  label(1);
  out(n("a"));
  ret(op2(PLUS, n("a"), k(1)));
  expect_same_runs(kInputs, [] { do_early_cross_jumping(); });
  EXPECT_TRUE(log_has("\n\n\t\t\t---------- ENTERING 'cross_jump' ----------\n"));
  EXPECT_EQ(log_count("\n\tBB "), 1);
  EXPECT_TRUE(log_has(" is redundant with BB "));
  EXPECT_EQ(count_ops(RETURN), 1);
}

TEST_F(Cross, LikeBlocksBeforeACommonSuccessorMerge) {
  param("a");
  param("b");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  stmt(asg("x", op2(MULT, n("b"), k(3))));
  out(n("x"));
  go(5);
  label(1);
  stmt(asg("x", op2(MULT, n("b"), k(3))));
  out(n("x"));
  go(5);
  label(5);
  out(n("a"));
  ret(n("x"));
  expect_same_runs(kInputs, [] { do_early_cross_jumping(); });
  EXPECT_TRUE(log_has(" is redundant with BB "));
  EXPECT_EQ(count_ops(CALL), 2) << "one out(x) left, and out(a)";
}

TEST_F(Cross, UnlikeBlocksStay) {
  param("a");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  out(k(1));
  ret(n("a"));
  label(1);
  out(k(2));
  ret(n("a"));
  expect_same_runs(kInputs, [] { do_early_cross_jumping(); });
  EXPECT_FALSE(log_has(" is redundant with BB "));
  EXPECT_EQ(count_ops(RETURN), 2);
}

TEST_F(Cross, NothingBelowLevelOne) {
  opt_level = 0;
  param("a");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  ret(n("a"));
  label(1);
  ret(n("a"));
  build();
  do_early_cross_jumping();
  EXPECT_FALSE(log_has("ENTERING 'cross_jump'"));
  EXPECT_EQ(count_ops(RETURN), 2);
}

// Two blocks that compute the same and end in the same test share it.
void like_tests(CfgTest& t, bool inverted, NODE* differ) {
  t.param("a");
  t.param("b");
  t.prolog();
  t.cbranch(t.op2(GT, t.n("b"), t.k(2)), 1);
  t.out(t.k(1));
  t.stmt(t.asg("x", t.op2(PLUS, t.n("a"), t.k(1))));
  t.cbranch(t.op2(GT, t.n("x"), t.k(0)), 10);
  t.go(20);
  t.label(1);
  t.out(t.k(2));
  t.stmt(differ ? differ : t.asg("x", t.op2(PLUS, t.n("a"), t.k(1))));
  if (inverted) {
    t.cbranch(t.op2(LE, t.n("x"), t.k(0)), 20);
    t.go(10);
  } else {
    t.cbranch(t.op2(GT, t.n("x"), t.k(0)), 10);
    t.go(20);
  }
  t.label(10);
  t.out(t.k(10));
  t.ret(t.n("x"));
  t.label(20);
  t.out(t.k(20));
  t.ret(t.op2(MINUS, t.k(0), t.n("x")));
}

TEST_F(Cross, LikeTestsShareTheirTail) {
  like_tests(*this, false, nullptr);
  expect_same_runs(kInputs, [] { do_early_cross_jumping(); });
  EXPECT_EQ(count_ops(IF), 2) << "the common tail with its test, and the first test";
  int plus = count_ops(PLUS);
  EXPECT_EQ(plus, 1) << shape();
}

TEST_F(Cross, InvertedLikeTestsShareTheirTail) {
  like_tests(*this, true, nullptr);
  expect_same_runs(kInputs, [] { do_early_cross_jumping(); });
  EXPECT_EQ(count_ops(IF), 2);
  EXPECT_EQ(count_ops(PLUS), 1) << shape();
}

TEST_F(Cross, TestsAfterUnlikeStatementsShareOnlyWhatIsAlike) {
  like_tests(*this, false, asg("x", op2(PLUS, n("a"), k(2))));
  expect_same_runs(kInputs, [] { do_early_cross_jumping(); });
  EXPECT_EQ(count_ops(PLUS), 2) << "the two different assignments stay";
}

TEST_F(Cross, HeavySweepCrossJumpsBeforeItCleans) {
  like_tests(*this, false, nullptr);
  expect_same_runs(kInputs, [] { simpcfg(true, false); });
  EXPECT_EQ(count_ops(PLUS), 1);
}

}  // namespace
}  // namespace cfgtest
