// The dynamic counts: what each statement and node adds.
#include "tools/icode-run/tests/run_test_util.h"

TEST_F(RunTest, CountsFollowTheDocumentedRules) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* i = local(m, "i", t_int(), SC_REGISTER);
  SYMTAB* s = local(m, "s", t_int());
  E(m, asg(N(i), I(0)));                                 // 3 nodes, a register store
  E(m, asg(N(s), I(0)));                                 // 3 nodes, a memory store
  L(m, 1);
  E(m, asg(N(s), op(PLUS, t_int(), N(s), N(i))));        // 5 nodes
  E(m, op(PLUSPLUS, t_int(), N(i), I(1)));               // 3 nodes
  if_goto(m, op(LT, t_int(), N(i), I(3)), 1);            // 4 nodes, taken twice
  E(m, ret(m, N(s)));                                    // 2 nodes
  RUN_RESULT r = run();
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.stats.statements, 12u);
  EXPECT_EQ(r.stats.nodes, 44u);
  EXPECT_EQ(r.stats.mem_loads, 4u);
  EXPECT_EQ(r.stats.mem_stores, 4u);
  EXPECT_EQ(r.stats.reg_loads, 9u);
  EXPECT_EQ(r.stats.reg_stores, 4u);
  EXPECT_EQ(r.stats.taken_branches, 2u);
  EXPECT_EQ(r.stats.calls, 0u);
  // 1 + 2, then per pass 5 + 2 + 2, two taken branches of 2, and 2 to load s.
  EXPECT_EQ(r.stats.cost, 36u);
}

TEST_F(RunTest, CountsAreDeterministicAndSeeCallsAndFallThrough) {
  RUN_FUNCTION* id = func("id", t_int());
  SYMTAB* x = param(id, "x", t_int());
  begin_body(id);
  E(id, ret(id, N(x)));
  RUN_FUNCTION* m = main_fn();
  SYMTAB* v = local(m, "v", t_int());
  E(m, asg(N(v), call(id, t_int(), {I(4)})));
  goto_(m, 1);  // to the next statement: no taken branch
  L(m, 1);
  E(m, print("%d\n", {N(v)}));
  RUN_RESULT a = run();
  RUN_RESULT b = run();
  EXPECT_EQ(a.out, "4\n");
  EXPECT_EQ(a.stats.calls, 2u);
  EXPECT_EQ(a.stats.taken_branches, 0u);
  EXPECT_EQ(a.stats.library_work, 6u);  // the format's four units read, two characters written
  EXPECT_EQ(a.stats.statements, 5u);    // three in main, the prolog and the return of id
  EXPECT_EQ(a.stats.cost, b.stats.cost);
  EXPECT_EQ(a.stats.nodes, b.stats.nodes);
  EXPECT_EQ(a.stats.mem_loads, b.stats.mem_loads);
}
