// Block construction and self tail call removal.
#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

using Build = CfgTest;

TEST_F(Build, BodyOfOneLabelGetsALoneBranchInTheEntry) {
  label(1);
  ret(k(0));
  build();
  EXPECT_EQ(shape(), "1:BRANCH>2 2:RETURN");
  EXPECT_EQ(block_of(1), blocks()[1]);
}

TEST_F(Build, StatementsBehindAReturnVanishWithoutAMessage) {
  param("a");
  prolog();
  cbranch(n("a"), 5);
  out(k(1));
  ret(k(1));
  out(k(2));
  out(k(3));
  label(5);
  ret(k(2));
  expect_same_runs({{0}, {1}}, [] {});
  EXPECT_EQ(count_ops(CALL), 1);
  EXPECT_EQ(log_count("UNREACHABLE"), 1) << "only the exit block, which no path needs";
}

TEST_F(Build, UnreachableBlocksAreFreedWithAMessage) {
  out(k(1));
  ret(k(1));
  label(4);
  out(k(2));
  go(4);
  build();
  EXPECT_EQ(blocks().size(), 1u);
  EXPECT_TRUE(log_has("\nUNREACHABLE BASIC BLOCK: UON=="));
}

TEST_F(Build, SwitchWithoutDefaultGoesOnBehindTheSwitch) {
  param("a");
  prolog();
  switch_(n("a"), {{1, 10}, {2, 20}}, -1);
  out(k(7));
  ret(k(0));
  label(10);
  ret(k(1));
  label(20);
  ret(k(2));
  expect_same_runs({{1}, {2}, {3}, {-1}}, [] {});
  NODE* sw = last_stmt(blocks()[0]);
  ASSERT_EQ(sw->op, SWITCH);
  EXPECT_EQ(edge_length(blocks()[0]->successors), 3);
}

TEST_F(Build, FallThroughIntoALabelBecomesABranch) {
  param("a");
  prolog();
  out(n("a"));
  label(3);
  out(k(5));
  ret(k(0));
  build();
  EXPECT_EQ(shape(), "1:ASG,CALL,BRANCH>2 2:CALL,RETURN");
}

// f(a, b): if (a <= 0) return b; out(a); return f(b - 1, a);
void swapped_parameters(CfgTest& t) {
  t.param("a");
  t.param("b");
  t.prolog();
  t.cbranch(t.op2(LE, t.n("a"), t.k(0)), 1);
  t.out(t.n("a"));
  t.ret(t.self_call({t.op2(MINUS, t.n("b"), t.k(1)), t.n("a")}));
  t.label(1);
  t.ret(t.n("b"));
}

int temps_of(FUNINFO* f) {
  int c = 0;
  for (SYMTAB* s = f->temps; s; s = s->next) ++c;
  return c;
}

TEST_F(Build, TailCallWithSwappedParametersTakesOneTemporary) {
  swapped_parameters(*this);
  expect_same_runs({{3, 5}, {0, 7}, {4, -2}, {6, 6}}, [] {});
  EXPECT_EQ(count_ops(CALL), 1) << "only the call of out() is left";
  EXPECT_EQ(temps_of(fi), 1);
  EXPECT_TRUE(log_has("\n  ===> Tail recursive self-call removed at line "));
  EXPECT_EQ(count_ops(ASM), 1);
  // The branch back goes behind the prolog: the entry runs it once.
  BBLK* entry = blocks()[0];
  EXPECT_TRUE(entry->statements->tree->op == PCOMMA);
  EXPECT_EQ(entry->predecessors, nullptr);
}

TEST_F(Build, TailCallKeptBelowLevelTwoOrOutsideTheSecondReading) {
  opt_level = 1;
  swapped_parameters(*this);
  build();
  EXPECT_EQ(count_ops(CALL), 2);
  EXPECT_FALSE(log_has("Tail recursive"));
}

TEST_F(Build, TailCallKeptInThePrepass) {
  fileinfo.stage = 1;
  swapped_parameters(*this);
  build();
  EXPECT_EQ(count_ops(CALL), 2);
}

TEST_F(Build, TailCallWithAnotherArgumentCountIsLeftAlone) {
  param("a");
  param("b");
  prolog();
  cbranch(op2(LE, n("a"), k(0)), 1);
  ret(self_call({op2(MINUS, n("a"), k(1))}));
  label(1);
  ret(n("b"));
  build();
  EXPECT_EQ(count_ops(CALL), 1);
  EXPECT_FALSE(log_has("Tail recursive"));
}

TEST_F(Build, TailCallKeptWhenALocalHasItsAddressTaken) {
  param("a");
  prolog();
  stmt(mk_ASG(n("p"), maketree(UAND, n("x"), nullptr, tp->mk_ptr(int_t), nullptr)));
  cbranch(op2(LE, n("a"), k(0)), 1);
  ret(self_call({op2(MINUS, n("a"), k(1))}));
  label(1);
  ret(k(0));
  build();
  EXPECT_EQ(count_ops(CALL), 1);
}

// void-like: out(a); if (a <= 0) return; f(a - 1); return;
TEST_F(Build, CallFollowedByReturnWithoutValueIsATailCall) {
  param("a");
  prolog();
  out(n("a"));
  cbranch(op2(LE, n("a"), k(0)), 1);
  stmt(self_call({op2(MINUS, n("a"), k(1))}));
  uret();
  label(1);
  uret();
  expect_same_runs({{3}, {0}, {-1}}, [] {});
  EXPECT_EQ(count_ops(CALL), 1);
}

TEST_F(Build, TailCallWithoutParametersBranchesBehindTheEntry) {
  // f(): out(g); g = g - 1; if (g > 0) return f(); return 0;  (g a local
  // set first: the recursion still runs until the test fails)
  out(k(1));
  cbranch(op2(GT, n("g"), k(0)), 1);
  ret(k(0));
  label(1);
  stmt(asg("g", op2(MINUS, n("g"), k(1))));
  ret(self_call({}));
  build();
  EXPECT_EQ(count_ops(UCALL), 0);
  EXPECT_EQ(blocks()[0]->predecessors, nullptr) << "the entry never gets predecessors";
  EXPECT_TRUE(is_lone_BRANCH(blocks()[0]));
}

TEST_F(Build, ArgumentsWithEffectsKeepTheirOrder) {
  param("a");
  param("b");
  prolog();
  cbranch(op2(LE, n("a"), k(0)), 1);
  ret(self_call({op2(MINUS, call_out(n("a")), k(1)), call_out(n("b"))}));
  label(1);
  ret(n("b"));
  expect_same_runs({{3, 9}, {0, 1}}, [] {});
  EXPECT_EQ(count_ops(CALL), 2) << "the two calls of out() stay";
}

}  // namespace
}  // namespace cfgtest

namespace cfgtest {
namespace {

TEST_F(Build, FalseWayOfATestLiesBehindItAndStaysThere) {
  param("a");
  param("b");
  prolog();
  cbranch(op2(LT, n("a"), n("b")), 9);
  out(n("a"));
  ret(n("a"));
  label(9);
  out(n("b"));
  ret(n("b"));
  build();
  BBLK* entry = blocks()[0];
  NODE* test = last_stmt(entry);
  ASSERT_EQ(test->op, IF);
  BBLK* f = if_target(test, false);
  EXPECT_EQ(entry->dflink, f) << shape();
  std::string layout = shape();
  rebuildcfg();
  rebuildcfg();
  EXPECT_EQ(shape(), layout) << "the layout does not turn with each rebuild";
  // Turned round, the other block comes behind it: still the false way.
  invert_IF_of(entry);
  rebuildcfg();
  EXPECT_EQ(if_target(last_stmt(entry), true), f);
  EXPECT_EQ(entry->dflink, if_target(last_stmt(entry), false)) << "the false way again";
}

}  // namespace
}  // namespace cfgtest
