// simpcfg: the sweep rules, each checked on its graph and on what the
// function computes before and after.
#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

using Simp = CfgTest;

const std::vector<std::vector<long>> kSmall = {{-3, 2}, {0, 0}, {1, -1}, {2, 7}, {5, 5}, {9, -4}};

NODE* asm_comment(const char* text) {
  NODE* n = maketree(ASM, nullptr, nullptr, tp->basic[TYPE_PKG::BT_VOID], nullptr);
  n->text = zstrdup(1, text);
  n->value = INT65(47);
  return n;
}

bool any_if_condition_has(CfgTest& t, int op) {
  for (BBLK* b : t.blocks()) {
    NODE* l = last_stmt(b);
    if (l && l->op == IF && tree_has_op(l->left, op)) return true;
  }
  return false;
}

TEST_F(Simp, ChainOf18BranchesShortensToThe17thInOneStep) {
  out(k(1));
  go(1);
  for (int i = 1; i <= 18; ++i) {
    label(i);
    go(i + 1);
  }
  label(19);
  ret(k(0));
  build();
  BBLK* entry = blocks()[0];
  NODE* br = last_stmt(entry);
  ASSERT_EQ(br->op, BRANCH);
  ASSERT_TRUE(chain_branch(entry, br->left));
  EXPECT_EQ(label_target(br->left), block_of(17));
  EXPECT_TRUE(edge_memberp(block_of(17), entry->successors));
  EXPECT_FALSE(edge_memberp(block_of(1), entry->successors));
  EXPECT_EQ(block_of(1)->predecessors, nullptr);
  // The blocks skipped are dead now; the graph is otherwise sound.
  validate_cfg();
  EXPECT_EQ(cfg_errors_uncorrected, 0);
  EXPECT_EQ(cfg_errors_corrected, 16);
  simpcfg(false, false);
  EXPECT_EQ(shape(), "1:CALL,RETURN");
}

TEST_F(Simp, ChainStopsAtAPinnedBlockAndInALoopOfBranches) {
  out(k(1));
  go(1);
  label(1);
  go(2);
  label(2);
  go(3);
  label(3);
  go(2);  // 2 and 3 jump to each other for ever
  build();
  block_of(2)->pinned = 1;
  BBLK* entry = blocks()[0];
  NODE* br = last_stmt(entry);
  ASSERT_TRUE(chain_branch(entry, br->left)) << shape();
  EXPECT_EQ(label_target(br->left), block_of(2)) << "the pinned block stays";
  block_of(2)->pinned = 0;
  EXPECT_FALSE(chain_branch(entry, br->left)) << "the loop of branches comes back to where it started";
  EXPECT_EQ(label_target(br->left), block_of(2));
  validate_cfg();
  EXPECT_EQ(cfg_errors_uncorrected, 0) << "the skipped block is only dead";
  simpcfg(false, false);
  RUN r = run_graph({}, 500);
  EXPECT_FALSE(r.finished);
  EXPECT_EQ(r.out, std::vector<long>{1});
}

TEST_F(Simp, IfWithEqualTargetsKeepsTheEffectsOfItsCondition) {
  param("a");
  prolog();
  cbranch(call_out(n("a")), 1);
  go(1);
  label(1);
  ret(n("a"));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 0);
  EXPECT_EQ(count_ops(CALL), 1);
  EXPECT_EQ(shape(), "1:ASG,CALL,RETURN");
}

TEST_F(Simp, ConstantTestLeavesOnlyTheLiveWayAndDeadCodeGoesAtOnce) {
  param("a");
  prolog();
  cbranch(k(0), 1);
  out(k(1));
  ret(k(0));
  label(1);
  out(k(2));
  go(2);
  label(2);
  out(k(3));
  go(3);
  label(3);
  out(k(4));
  ret(k(1));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(shape(), "1:ASG,CALL,RETURN");
}

TEST_F(Simp, KillingADeadBlockFollowsItsSuccessors) {
  param("a");
  prolog();
  cbranch(n("a"), 1);
  ret(k(0));
  label(1);
  out(k(2));
  go(2);
  label(2);
  out(k(3));
  cbranch(n("a"), 4);
  go(3);
  label(3);
  ret(k(3));
  label(4);
  ret(k(4));
  build();
  BBLK* entry = blocks()[0];
  BBLK* dead = block_of(1);
  // Cut the only way in by hand, as a pass would.
  NODE* test = last_stmt(entry);
  turn_into_BRANCH(entry, if_label(test, false), true);
  ASSERT_EQ(dead->predecessors, nullptr);
  EXPECT_TRUE(kill_dead_block(dead));
  for (int l : {1, 2, 3, 4}) EXPECT_EQ(block_of(l)->statements, nullptr) << "label " << l;
  simpcfg(false, false);
  expect_valid("simpcfg");
  EXPECT_EQ(shape(), "1:ASG,RETURN");
}

TEST_F(Simp, BlockWithOnePredecessorIsJoined) {
  out(k(1));
  go(1);
  label(1);
  out(k(2));
  ret(k(0));
  expect_same_runs({{}}, [] { simpcfg(false, false); });
  EXPECT_EQ(shape(), "1:CALL,CALL,RETURN");
}

// if (a) out(1) else out(2); return a + 1;
void two_ways_to_a_return(CfgTest& t) {
  t.param("a");
  t.prolog();
  t.cbranch(t.n("a"), 1);
  t.out(t.k(1));
  t.go(5);
  t.label(1);
  t.out(t.k(2));
  t.go(5);
  t.label(5);
  t.ret(t.op2(PLUS, t.n("a"), t.k(1)));
}

TEST_F(Simp, ShortReturnIsCopiedIntoAPredecessorWhenSpeedCounts) {
  size_speed_goal = 4;
  two_ways_to_a_return(*this);
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(RETURN), 2);
  EXPECT_EQ(count_ops(BRANCH), 0);
}

TEST_F(Simp, NoCopyWhenSizeCountsOrInTheHeavySweep) {
  size_speed_goal = 2;
  two_ways_to_a_return(*this);
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(RETURN), 1);
}

TEST_F(Simp, NoCopyInTheHeavySweep) {
  size_speed_goal = 4;
  two_ways_to_a_return(*this);
  expect_same_runs(kSmall, [] { simpcfg(true, false); });
  EXPECT_EQ(count_ops(RETURN), 1);
}

// B: if (a > 0) goto T else X;  X: [x-stuff] goto T;  T: if (a > 0) ...
void diamond_into_same_test(CfgTest& t, NODE* x_stmt) {
  t.param("a");
  t.param("b");
  t.prolog();
  t.cbranch(t.op2(GT, t.n("a"), t.k(0)), 1);
  t.stmt(x_stmt);
  t.label(1);
  t.cbranch(t.op2(GT, t.n("a"), t.k(0)), 2);
  t.go(3);
  t.label(2);
  t.out(t.k(10));
  t.ret(t.n("a"));
  t.label(3);
  t.out(t.k(20));
  t.ret(t.n("b"));
}

TEST_F(Simp, SecondTestOfADiamondIsBypassed) {
  diamond_into_same_test(*this, call_out(n("b")));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 1);
}

TEST_F(Simp, SecondTestStaysWhenTheSideBlockChangesItsVariable) {
  diamond_into_same_test(*this, asg("a", n("b")));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 2);
}

TEST_F(Simp, SecondTestStaysWhenACallMayChangeAGlobal) {
  static SYMTAB* g = global_symbol("g_test", int_t);
  param("a");
  prolog();
  cbranch(op2(GT, mk_NAME(g, nullptr), k(0)), 1);
  out(k(1));
  label(1);
  cbranch(op2(GT, mk_NAME(g, nullptr), k(0)), 2);
  ret(k(0));
  label(2);
  ret(k(1));
  build();
  simpcfg(false, false);
  EXPECT_EQ(count_ops(IF), 2);
}

TEST_F(Simp, TestImpliedByTheFalseTargetIsDropped) {
  param("a");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  cbranch(op2(GT, n("a"), k(0)), 1);
  go(2);
  label(2);
  go(3);
  label(3);
  out(k(2));
  ret(k(2));
  label(1);
  out(k(1));
  ret(k(1));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 1);
}

TEST_F(Simp, InvertedTestIsThreadedToTheOtherWay) {
  param("a");
  prolog();
  cbranch(op2(LT, n("a"), k(3)), 1);
  out(k(7));
  ret(k(7));
  label(1);
  cbranch(op2(GE, n("a"), k(3)), 2);
  out(k(1));
  ret(k(1));
  label(2);
  out(k(2));
  ret(k(2));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 1);
  EXPECT_EQ(count_ops(RETURN), 2) << "the second test's true way can't be reached";
}

TEST_F(Simp, CongruentTargetsMeet) {
  param("a");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  out(k(5));
  ret(n("a"));
  label(1);
  out(k(5));
  ret(n("a"));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(shape(), "1:ASG,CALL,RETURN");
}

TEST_F(Simp, LaterArmThatOnlyJumpsBackIsMerged) {
  param("a");
  prolog();
  label(1);
  out(n("a"));
  stmt(asg("a", op2(MINUS, n("a"), k(1))));
  cbranch(op2(LE, n("a"), k(0)), 9);
  cbranch(op2(GT, n("a"), k(5)), 1);
  stmt(asm_comment("***\t; nothing here"));
  go(1);
  label(9);
  ret(n("a"));
  expect_same_runs({{3}, {8}, {0}, {-2}}, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 1);
  EXPECT_EQ(count_ops(ASM), 0);
}

TEST_F(Simp, TwoTestsWithACommonTargetBecomeOneInTheHeavySweep) {
  param("a");
  param("b");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  cbranch(op2(GT, n("b"), k(0)), 1);
  out(k(0));
  ret(k(0));
  label(1);
  out(k(1));
  ret(k(1));
  expect_same_runs(kSmall, [] { simpcfg(true, false); });
  EXPECT_EQ(count_ops(IF), 1);
}

TEST_F(Simp, TwoTestsStayTwoInTheLightSweep) {
  param("a");
  param("b");
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  cbranch(op2(GT, n("b"), k(0)), 1);
  out(k(0));
  ret(k(0));
  label(1);
  out(k(1));
  ret(k(1));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_EQ(count_ops(IF), 2);
}

TEST_F(Simp, CounterTestMovesTheStepIntoBothSuccessors) {
  param("a");
  prolog();
  stmt(asg("i", n("a")));
  NODE* step1 = mk_ASG(n("i"), op2(PLUS, n("i"), k(1)));
  cbranch(op2(NEQ, step1, k(5)), 1);
  go(2);
  label(1);
  out(n("i"));
  NODE* step2 = mk_ASG(n("i"), op2(PLUS, n("i"), k(1)));
  cbranch(op2(NEQ, step2, k(5)), 1);
  label(2);
  ret(n("i"));
  expect_same_runs({{0}, {2}, {4}, {-3}, {5}}, [] { simpcfg(false, false); });
  EXPECT_FALSE(any_if_condition_has(*this, ASG));
  EXPECT_EQ(count_ops(IF), 2);
}

TEST_F(Simp, AssignmentAsTheTestGoesBeforeIt) {
  param("a");
  prolog();
  cbranch(asg("x", op2(MINUS, n("a"), k(2))), 1);
  out(n("x"));
  ret(k(0));
  label(1);
  ret(n("x"));
  expect_same_runs(kSmall, [] { simpcfg(false, false); });
  EXPECT_FALSE(any_if_condition_has(*this, ASG));
}

TEST_F(Simp, GatedSimpcfgDoesNothing) {
  out(k(1));
  go(1);
  label(1);
  ret(k(0));
  build();
  std::string before = shape();
  simpcfg_gate_closed = true;
  simpcfg(false, false);
  simpcfg_gate_closed = false;
  EXPECT_EQ(shape(), before);
  EXPECT_FALSE(log_has("ENTERING 'simpcfg'"));
  simpcfg(false, false);
  EXPECT_TRUE(log_has("\n\n\t\t\t---------- ENTERING 'simpcfg' ----------\n"));
}

TEST_F(Simp, ValidationReportsAndCorrects) {
  param("a");
  prolog();
  cbranch(n("a"), 1);
  ret(k(0));
  label(1);
  ret(k(1));
  build();
  BBLK* entry = blocks()[0];
  BBLK* one = block_of(1);
  // A successor edge lost: corrected from the LABEL.
  entry->successors = remove_edge(one, entry->successors);
  validate_cfg();
  EXPECT_EQ(cfg_errors_corrected, 1);
  EXPECT_TRUE(log_has("'s successors must include "));
  EXPECT_TRUE(log_has("\n\n ----- 1 Corrected CFG errors!!!"));
  // A predecessor edge lost: only reported.
  one->predecessors = remove_edge(entry, one->predecessors);
  validate_cfg();
  EXPECT_EQ(cfg_errors_uncorrected, 1);
  EXPECT_TRUE(log_has(" doesn't precede "));
  EXPECT_TRUE(log_has("\n\n +++++ 1 Uncorrected CFG errors!!!"));
  one->predecessors = add_edge(entry, one->predecessors, -1.0);
  // An entry with a predecessor, and a block without an ending transfer.
  entry->predecessors = add_edge(one, entry->predecessors, -1.0);
  LIST* l = last_cell(one);
  NODE* saved = l->tree;
  l->tree = asg("a", k(1));
  validate_cfg();
  EXPECT_EQ(cfg_errors_uncorrected, 3) << log_text();
  EXPECT_TRUE(log_has(" has no ending branch\n"));
  EXPECT_TRUE(log_has(" +++++ Entry block "));
  l->tree = saved;
  entry->predecessors = remove_edge(one, entry->predecessors);
  validate_cfg();
  EXPECT_EQ(cfg_errors_corrected + cfg_errors_uncorrected, 0) << "repaired";
}

}  // namespace
}  // namespace cfgtest

namespace cfgtest {
namespace {

// The loop body is reached by the same test from before and from itself.
void same_test_before_and_after(CfgTest& t, bool inverted_before) {
  t.param("a");
  t.prolog();
  t.stmt(t.asg("x", t.n("a")));
  if (inverted_before) {
    t.cbranch(t.op2(LE, t.n("x"), t.k(0)), 9);
  } else {
    t.cbranch(t.op2(GT, t.n("x"), t.k(0)), 1);
    t.go(9);
  }
  t.label(1);
  t.out(t.n("x"));
  t.stmt(t.asg("x", t.op2(MINUS, t.n("x"), t.k(1))));
  t.cbranch(t.op2(GT, t.n("x"), t.k(0)), 1);
  t.label(9);
  t.ret(t.n("x"));
}

TEST_F(Simp, BlockBetweenTwoLikeTestsIsMarked) {
  for (bool inverted : {false, true}) {
    SCOPED_TRACE(inverted ? "opposite test before" : "same test before");
    same_test_before_and_after(*this, inverted);
    expect_same_runs({{3}, {0}, {-2}}, [] { simpcfg(false, false); });
    ASSERT_NE(block_of(1), nullptr);
    EXPECT_EQ(block_of(1)->cond_path, 1u);
    reset();
  }
  opt_level = 1;
  same_test_before_and_after(*this, false);
  expect_same_runs({{3}}, [] { simpcfg(false, false); });
  EXPECT_EQ(block_of(1)->cond_path, 0u) << "only above level 1";
}

}  // namespace
}  // namespace cfgtest

namespace cfgtest {
namespace {

TEST_F(Simp, TestOnEqualToZeroIsTurnedRound) {
  param("a");
  prolog();
  cbranch(op2(EQ, op2(ANDB, n("a"), k(6)), k(0)), 1);
  out(k(1));
  ret(k(1));
  label(1);
  out(k(2));
  ret(k(2));
  expect_same_runs({{0}, {1}, {2}, {4}, {6}, {7}}, [] { simpcfg(false, false); });
  NODE* test = last_stmt(blocks()[0]);
  ASSERT_EQ(test->op, IF);
  EXPECT_NE(test->left->op, EQ) << "the test is on the value itself";
  EXPECT_EQ(blocks()[0]->dflink, if_target(test, false));
}

}  // namespace
}  // namespace cfgtest
