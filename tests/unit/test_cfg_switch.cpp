// SWITCH: constant switches, CASE pruning and full population.
#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

using Switch = CfgTest;

std::vector<std::vector<long>> many() {
  std::vector<std::vector<long>> v;
  for (long a = -9; a <= 20; ++a) v.push_back({a});
  v.push_back({-2147483647L - 1});
  v.push_back({2147483647L});
  return v;
}

// switch (e) with each case returning its own number, the default 99.
void cases_to_returns(CfgTest& t, NODE* e, const std::vector<long>& values, bool with_default) {
  t.param("a");
  t.prolog();
  std::vector<std::pair<long, int>> cases;
  for (size_t i = 0; i < values.size(); ++i) cases.push_back({values[i], 10 + static_cast<int>(i)});
  t.switch_(e, cases, with_default ? 9 : -1);
  t.out(t.k(98));
  t.ret(t.k(98));
  if (with_default) {
    t.label(9);
    t.out(t.k(99));
    t.ret(t.k(99));
  }
  for (size_t i = 0; i < values.size(); ++i) {
    t.label(10 + static_cast<int>(i));
    t.out(t.k(values[i]));
    t.ret(t.k(static_cast<long>(i)));
  }
}

NODE* switch_of(CfgTest& t) {
  for (BBLK* b : t.blocks()) {
    NODE* l = last_stmt(b);
    if (l && l->op == SWITCH) return l;
  }
  return nullptr;
}

TEST_F(Switch, ConstantSwitchBecomesABranch) {
  cases_to_returns(*this, k(2), {1, 2, 3}, true);
  expect_same_runs({{0}}, [] { simpcfg(false, false); });
  EXPECT_EQ(switch_of(*this), nullptr);
  EXPECT_EQ(shape(), "1:ASG,CALL,RETURN");
}

TEST_F(Switch, ConstantSwitchWithoutAMatchTakesTheDefault) {
  cases_to_returns(*this, k(7), {1, 2, 3}, true);
  expect_same_runs({{0}}, [] { simpcfg(false, false); });
  EXPECT_EQ(switch_of(*this), nullptr);
  EXPECT_EQ(count_ops(RETURN), 1);
}

TEST_F(Switch, CasesOutsideTheValueSetArePruned) {
  write_opt_info = 1;
  finfo = tmpfile();
  cases_to_returns(*this, op2(ANDB, n("a"), k(6)), {0, 1, 2, 4, 6, 8, -2}, true);
  expect_same_runs(many(), [] { simpcfg(false, false); });
  NODE* sw = switch_of(*this);
  ASSERT_NE(sw, nullptr);
  EXPECT_EQ(sw->value, INT65(4)) << "0, 2, 4 and 6 stay";
  for (const char* gone : {"1", "8", "-2"})
    EXPECT_TRUE(log_has(std::string("--> CASE ") + gone + " of this SWITCH cannot occur. \t(")) << gone;
  fflush(finfo);
  rewind(finfo);
  char buf[4096] = {0};
  size_t got = fread(buf, 1, sizeof buf - 1, finfo);
  std::string info(buf, got);
  EXPECT_NE(info.find("\nCase 8 of this statement cannot be reached:  switch ( "), std::string::npos) << info;
  EXPECT_NE(info.find("    in file <NO_FILE> at line 0, column 0\n"), std::string::npos);
  fclose(finfo);
  finfo = nullptr;
  write_opt_info = 0;
}

TEST_F(Switch, SwitchLeftWithItsDefaultOnlyBecomesABranchKeepingEffects) {
  cases_to_returns(*this, op2(PLUS, op2(ANDB, call_out(n("a")), k(1)), k(10)), {0, 1, 2}, true);
  expect_same_runs(many(), [] { simpcfg(false, false); });
  EXPECT_EQ(switch_of(*this), nullptr);
  EXPECT_EQ(count_ops(CALL), 2) << "the call in the expression and out(99)";
}

TEST_F(Switch, AssertionBeforeTheSwitchNarrowsIt) {
  param("a");
  prolog();
  stmt(maketree(ASSERT, op2(LT, op2(ANDB, n("a"), k(15)), k(3)), nullptr, void_t, nullptr));
  switch_(op2(ANDB, n("a"), k(15)), {{1, 10}, {5, 11}}, 9);
  label(9);
  ret(k(0));
  label(10);
  ret(k(1));
  label(11);
  ret(k(5));
  build();
  simpcfg(false, false);
  EXPECT_TRUE(log_has("--> CASE 5 of this SWITCH cannot occur."));
  EXPECT_FALSE(log_has("--> CASE 1 "));
}

TEST_F(Switch, FullSwitchLosesItsRangeCheck) {
  cases_to_returns(*this, op2(ANDB, n("a"), k(3)), {0, 1, 2, 3}, true);
  expect_same_runs(many(), [] { optimize_SWITCH_cases(); });
  EXPECT_TRUE(log_has("\n\n\t\t\t------ ENTERING 'optimize_SWITCH_cases' ----\n"));
  EXPECT_TRUE(log_has("~~~#OSiBB#1 Total CASEs=4, explicit CASEs=4, "));
  EXPECT_TRUE(log_has("--> Fully populating this SWITCH with 4 cases.\n"));
  EXPECT_TRUE(log_has("--> Adding a new DEFAULT basic block.\n"));
  EXPECT_FALSE(log_has("\tAdding "));
  EXPECT_EQ(count_ops(UMCALL), 1);
  // Run again: the default is the never-executed block already.
  optimize_SWITCH_cases();
  EXPECT_EQ(count_ops(UMCALL), 1);
  simpcfg(false, false);
  expect_valid("simpcfg after");
  EXPECT_EQ(count_ops(UMCALL), 1) << "the default stays, for the code generator, and goes nowhere";
  EXPECT_EQ(count_ops(ASM), 1);
  EXPECT_EQ(switch_of(*this)->value, INT65(4));
}

TEST_F(Switch, NearlyFullSwitchIsFilledUp) {
  cases_to_returns(*this, op2(ANDB, n("a"), k(7)), {0, 1, 2, 4, 5, 7}, true);
  expect_same_runs(many(), [] { optimize_SWITCH_cases(); });
  EXPECT_TRUE(log_has("\tAdding 3\n"));
  EXPECT_TRUE(log_has("\tAdding 6\n"));
  EXPECT_EQ(switch_of(*this)->value, INT65(8));
}

TEST_F(Switch, ThreeCasesAndADefaultAreLeftAlone) {
  cases_to_returns(*this, op2(ANDB, n("a"), k(3)), {0, 1, 2}, true);
  expect_same_runs(many(), [] { optimize_SWITCH_cases(); });
  EXPECT_TRUE(log_has("Total CASEs=4, explicit CASEs=3"));
  EXPECT_FALSE(log_has("Fully populating"));
  EXPECT_EQ(count_ops(UMCALL), 0);
}

TEST_F(Switch, WideRangeIsNotTouched) {
  cases_to_returns(*this, op2(ANDB, n("a"), k(511)), {0, 1, 2, 3, 4, 5}, true);
  expect_same_runs(many(), [] { optimize_SWITCH_cases(); });
  EXPECT_TRUE(log_has("--> Range is <= 0 or >= 500\n"));
  EXPECT_FALSE(log_has("Total CASEs="));
}

TEST_F(Switch, ExpressionWithEffectsOrDefaultThatRunsIsLeftAlone) {
  cases_to_returns(*this, op2(ANDB, call_out(n("a")), k(1)), {0, 1}, true);
  expect_same_runs(many(), [] { optimize_SWITCH_cases(); });
  EXPECT_FALSE(log_has("~~~#OSiBB#"));
  reset();
  cases_to_returns(*this, op2(ANDB, n("a"), k(1)), {0, 1}, true);
  build();
  NODE* sw = switch_of(*this);
  ASSERT_NE(sw, nullptr);
  // A profile that says the default runs.
  std::function<void(NODE*)> mark = [&](NODE* t) {
    if (!t) return;
    if (t->op == DEFAULT) t->left->edge_profile = 3.0;
    mark(t->left);
    mark(t->right);
  };
  mark(sw->right);
  fi->profile_mode = 2;
  optimize_SWITCH_cases();
  EXPECT_FALSE(log_has("~~~#OSiBB#"));
}

TEST_F(Switch, SingleValueSwitchGetsItsConstant) {
  cases_to_returns(*this, op2(ANDB, op2(ANDB, n("a"), k(4)), k(3)), {0, 1}, true);
  expect_same_runs(many(), [] {
    optimize_SWITCH_cases();
    simpcfg(false, false);
  });
  EXPECT_EQ(switch_of(*this), nullptr);
}

}  // namespace
}  // namespace cfgtest
