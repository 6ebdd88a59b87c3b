// Unrolling: the factor weighs code size against the tests and jumps it
// saves, and a loop's MUST_ITERATE facts follow the factor.
#include "test_cfg_fixture.h"

#include "scalar/loop.h"

namespace cfgtest {
namespace {

class Unroll : public CfgTest {
 public:
  NODE* trip_pragma(const char* lo, const char* hi, const char* multiple) {
    PRAGMA* p = static_cast<PRAGMA*>(zalloc(sizeof(PRAGMA)));
    *p = PRAGMA();
    p->id = PRAGMA_MUST_ITERATE;
    p->argc = 3;
    p->argv = static_cast<char**>(zalloc(3 * sizeof(char*)));
    p->argv[0] = zstrdup(1, lo);
    p->argv[1] = zstrdup(1, hi);
    p->argv[2] = zstrdup(1, multiple);
    NODE* t = maketree(PPRAGMA, nullptr, nullptr, void_t, nullptr);
    t->sym = p;
    return t;
  }

  // s += i * 3 for i from 0 while below `count`.
  NODE* make_loop(long count, NODE* pragma) {
    param("a");
    prolog();
    stmt(asg("s", k(0)));
    stmt(asg("i", k(0)));
    cbranch(op2(GE, n("i"), k(count)), 2);
    label(1);
    if (pragma) stmt(pragma);
    stmt(asg("s", op2(PLUS, n("s"), op2(MULT, n("i"), k(3)))));
    stmt(asg("i", op2(PLUS, n("i"), k(1))));
    cbranch(op2(LT, n("i"), k(count)), 1);
    label(2);
    ret(op2(PLUS, n("s"), n("i")));
    return pragma;
  }

  long factor_in_log() {
    std::string s = log_text();
    size_t at = s.find(">>> Unrolling the loop by a factor of ");
    if (at == std::string::npos) return 1;
    return atol(s.c_str() + at + strlen(">>> Unrolling the loop by a factor of "));
  }
};

TEST_F(Unroll, TripPragmaIsDividedByTheFactor) {
  NODE* p = make_loop(32, trip_pragma("8", "64", "8"));
  expect_same_runs({{0}}, [] { restructure_loops(); });
  long f = factor_in_log();
  ASSERT_GE(f, 2) << log_text();
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 0), 8 / f);
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 1), 64 / f);
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 2), 8 % f == 0 ? 8 / f : 1);
  // The pragma stays once, in front of the copies.
  EXPECT_EQ(count_ops(PPRAGMA), 1);
}

TEST_F(Unroll, PragmaArgumentsReadAndWritten) {
  NODE* p = trip_pragma("3", "x", "");
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 0), 3);
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 1), -1);  // not a number
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 2), -1);  // empty
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 5), -1);  // missing
  set_PPRAGMA_tree_int_arg(p, 1, 12);
  set_PPRAGMA_tree_int_arg(p, 4, 7);
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 1), 12);
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 4), 7);
  EXPECT_EQ(get_PPRAGMA_tree_int_arg(p, 3), -1);
}

TEST_F(Unroll, FactorWeighsSizeAgainstSpeed) {
  // A body of two small statements.
  LIST* body = mkelist(asg("s", op2(PLUS, n("s"), n("i"))), mkelist(asg("i", op2(PLUS, n("i"), k(1))), nullptr, nullptr),
                       nullptr);
  size_speed_goal = 4;
  optimize_code_size = -1;
  EXPECT_EQ(loop_unrolling_factor(body, INT65(5)), 5);     // small enough to unroll completely
  EXPECT_EQ(loop_unrolling_factor(body, INT65(1000)), 8);  // by a factor, the excess in front
  EXPECT_EQ(loop_unrolling_factor(body, INT65(1)), 1);
  size_speed_goal = 2;
  long at_goal_2 = loop_unrolling_factor(body, INT65(1000));
  EXPECT_LT(at_goal_2, 8);
  size_speed_goal = 1;
  EXPECT_EQ(loop_unrolling_factor(body, INT65(5)), 1);
  size_speed_goal = 4;
  optimize_code_size = 3;
  EXPECT_EQ(loop_unrolling_factor(body, INT65(5)), 1);
  optimize_code_size = 1;
  EXPECT_LE(loop_unrolling_factor(body, INT65(1000)), 8);
  optimize_code_size = -1;
  // A costly body gains too little.
  NODE* call = call_out(op2(MULT, n("s"), n("i")));
  LIST* big = mkelist(call, nullptr, nullptr);
  for (int c = 0; c < 6; ++c) big = mkelist(copy_tree(call, false), big, nullptr);
  EXPECT_EQ(loop_unrolling_factor(big, INT65(5)), 1);
}

}  // namespace
}  // namespace cfgtest
