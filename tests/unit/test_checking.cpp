// Checking mode: passes that break an invariant of the flow graph or of the
// trees are caught right after they run, and the internal error names them.
#include "test_cfg_fixture.h"

#include "driver/checking.h"
#include "driver/pass_table.h"
#include "options/keywords.h"
#include "scalar/check_report.h"
#include "scalar/validate_trees.h"

namespace cfgtest {
namespace {

// The function the broken passes below work on: if (a) out(1); return a;
// Blocks: the entry ending in the test, the arm, the return.
class Checking : public CfgTest {
 public:
  void SetUp() override {
    CfgTest::SetUp();
    kw::debug_check = 1;
    checking_begin_function();
    cbranch(op2(EQ, n("a"), k(0)), 1);
    out(k(1));
    label(1);
    ret(n("a"));
    build();
    ASSERT_EQ(blocks().size(), 3u) << shape();
  }
  void TearDown() override {
    kw::debug_check = 0;
    CfgTest::TearDown();
  }

  // The block of out(1), between the test and the return.
  BBLK* arm() {
    for (BBLK* b : blocks())
      if (b != cfg.bb_list && b != block_of(1)) return b;
    return nullptr;
  }

  // Runs one step holding `passes` through the pipeline's own machinery.
  void run_passes(std::vector<PASS_DEF> registry, std::vector<PASS_CALL> passes) {
    std::vector<STEP> steps = {{1, {"always", [] { return true; }}, std::move(passes)}};
    std::vector<std::string> problems = resolve_steps({&steps}, registry);
    ASSERT_TRUE(problems.empty()) << problems.front();
    run_steps(steps);
  }
};

Checking* current = nullptr;

// Broken passes, each breaking one invariant.
void lose_predecessor_edge() {
  BBLK* arm = current->arm();
  BBLK* join = current->block_of(1);
  join->predecessors = remove_edge(arm, join->predecessors);
}
void lose_both_edges() {
  BBLK* arm = current->arm();
  BBLK* join = current->block_of(1);
  join->predecessors = remove_edge(arm, join->predecessors);
  arm->successors = remove_edge(join, arm->successors);
}
void jump_to_a_freed_block() {
  BBLK* arm = current->arm();
  // The arm's BRANCH is given a label of a block that left the graph.
  BBLK* gone = mkbblock(mkelist(mk_BRANCH(current->block_of(1), nullptr), nullptr, nullptr), nullptr);
  last_stmt(arm)->left->lbl = mklabel(fresh_label_number(), nullptr, gone);
}
void drop_an_operand() {
  BBLK* join = current->block_of(1);
  NODE* ret = last_stmt(join);
  ret->right = nullptr;
}
void leave_a_cse_mark() {
  BBLK* arm = current->arm();
  NODE* call = arm->statements->tree;
  // The mark as the CSE passes make it: the expression, its triple in the value.
  arm->statements->tree = maketree(CSE_ORIG, call, nullptr, call->type, nullptr);
  arm->statements->tree->value = INT65(0);
}
void remove_the_cse_mark() {
  BBLK* arm = current->arm();
  NODE* mark = arm->statements->tree;
  if (mark->op == CSE_ORIG) arm->statements->tree = mark->left;
}
void nothing() {}

TEST_F(Checking, AnEdgeLostOnOneSideIsFatalAfterThePass) {
  current = this;
  EXPECT_EXIT(run_passes({pass("lose_predecessor_edge", lose_predecessor_edge)}, {"lose_predecessor_edge"}),
              testing::ExitedWithCode(1),
              "!!! Opt error after lose_predecessor_edge: BB[0-9]+\\(uon [0-9]+\\) succeeds BB.* doesn't precede");
}

TEST_F(Checking, ALabelOfAFreedBlockIsFatal) {
  current = this;
  EXPECT_EXIT(run_passes({pass("jump_to_a_freed_block", jump_to_a_freed_block)}, {"jump_to_a_freed_block"}),
              testing::ExitedWithCode(1),
              "!!! Opt error after jump_to_a_freed_block: BB.*: LABEL [0-9-]+ names a block that is no longer in "
              "the flow graph !!!");
}

TEST_F(Checking, AMissingOperandIsFatalAndTheArgumentsNameThePass) {
  current = this;
  auto broken = [](int, bool) { drop_an_operand(); };
  EXPECT_EXIT(run_passes({pass("drop_an_operand", +broken)}, {call("drop_an_operand", 3, true)}),
              testing::ExitedWithCode(1),
              "!!! Opt error after drop_an_operand\\(3, true\\): BB.*: RETURN has 1 operand, the operator table "
              "says 2 !!!");
}

TEST_F(Checking, CseMarksMustBeGoneAfterGcse) {
  current = this;
  // Before gcse the marks may stand; gcse that takes them away is fine.
  run_passes({pass("mark", leave_a_cse_mark), pass("gcse", remove_the_cse_mark), pass("later", nothing)},
             {"mark", "gcse", "later"});
  EXPECT_EQ(count_ops(CSE_ORIG), 0);
  // A mark left by gcse, or put back after it, ends the run.
  checking_begin_function();
  EXPECT_EXIT(run_passes({pass("gcse", leave_a_cse_mark)}, {"gcse"}), testing::ExitedWithCode(1),
              "!!! Opt error after gcse: BB.*: CSE_ORIG left after gcse !!!");
  checking_begin_function();
  EXPECT_EXIT(run_passes({pass("gcse", nothing), pass("late_mark", leave_a_cse_mark)}, {"gcse", "late_mark"}),
              testing::ExitedWithCode(1), "!!! Opt error after late_mark: BB.*: CSE_ORIG left after gcse !!!");
}

TEST_F(Checking, CorrectedErrorsGoToTheLogAndTheRunGoesOn) {
  current = this;
  run_passes({pass("lose_both_edges", lose_both_edges), pass("after", nothing)}, {"lose_both_edges", "after"});
  EXPECT_TRUE(log_has("~~~#CHECK#1 validate_cfg after lose_both_edges:\n")) << log_text();
  EXPECT_TRUE(log_has("'s successors must include ")) << log_text();
  EXPECT_FALSE(log_has("after after")) << "the graph was repaired";
  EXPECT_TRUE(edge_memberp(block_of(1), arm()->successors));
}

TEST_F(Checking, WithoutTheKeywordNothingIsChecked) {
  current = this;
  kw::debug_check = 0;
  run_passes({pass("drop_an_operand", drop_an_operand)}, {"drop_an_operand"});
  EXPECT_FALSE(log_has("Opt error"));
}

// The tree checker on its own, before blocks exist and after.
using TreeChecker = CfgTest;

TEST_F(TreeChecker, FindsEachKindOfFault) {
  ABSENT_OPS none{};
  cbranch(n("a"), 7);  // label 7 is never defined
  label(1);
  NODE* untyped = op2(PLUS, n("a"), k(1));
  untyped->type = nullptr;
  stmt(mk_ASG(n("b"), untyped));
  ret(n("b"));
  CHECK_REPORT r;
  validate_trees(none, r);
  ASSERT_EQ(r.uncorrected.size(), 2u) << r.log;
  EXPECT_NE(r.log.find("LABEL 7 is not defined in the function"), std::string::npos) << r.log;
  EXPECT_NE(r.log.find("PLUS has no type"), std::string::npos) << r.log;

  reset();
  out(k(1));
  ret(k(0));
  build();
  CHECK_REPORT clean;
  validate_trees(none, clean);
  EXPECT_TRUE(clean.uncorrected.empty()) << clean.log;
  // A transfer in the middle of a block, and an operator ruled out.
  BBLK* entry = blocks()[0];
  LIST* first = entry->statements;
  NODE* call = first->tree;
  first->tree = maketree(RETURN, mk_NAME(fn, nullptr), k(2), int_t, nullptr);
  first->next = mkelist(call, first->next, nullptr);
  ABSENT_OPS no_calls{};
  no_calls[CALL] = "no_calls_pass";
  CHECK_REPORT bad;
  validate_trees(no_calls, bad);
  EXPECT_NE(bad.log.find("holds a transfer (RETURN) before its end"), std::string::npos) << bad.log;
  EXPECT_NE(bad.log.find("CALL left after no_calls_pass"), std::string::npos) << bad.log;
}

}  // namespace
}  // namespace cfgtest
