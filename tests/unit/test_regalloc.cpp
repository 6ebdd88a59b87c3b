// Register choice and the joining of copies: which variables may live in a
// register, the conflicts that keep two variables apart, and merges of
// y = x that must leave what the function computes unchanged.
#include <random>

#include "test_cfg_fixture.h"

#include "ir/bitvec.h"
#include "scalar/lva.h"
#include "scalar/regalloc.h"

namespace cfgtest {
namespace {

class RegAlloc : public CfgTest {
 public:
  std::mt19937 rng;
  int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }

  void link_locals() {
    fi->symbols = nullptr;
    int serial = 0;
    for (auto& [name, s] : locals) {
      s->serial = serial++;
      s->orig_sclass = s->orig_sclass ? s->orig_sclass : s->sclass;
      s->next = fi->symbols;
      fi->symbols = s;
    }
  }
  std::string text() {
    std::string s;
    for (BBLK* b : blocks())
      for (LIST* l = b->statements; l; l = l->next) s += std::string(stmt2infix(l->tree)) + "\n";
    return s;
  }
  bool conflict(const char* a, const char* b) {
    int i = lva_index(var(a)), j = lva_index(var(b));
    return i >= 0 && j >= 0 && var_conflicts[static_cast<size_t>(i)]->bv_test(j);
  }
};

TEST_F(RegAlloc, ScalarsThatOnlyTheirNameReachesGetRegisters) {
  TYPE* arr = tp->mk_array(int_t, 4, 4 * int_t->size, int_t->align, false, true);
  var("v", tp->mk_qual(int_t, TYPE::Q_VOLATILE));
  var("arr", arr);
  var("p", tp->mk_ptr(int_t));
  SYMTAB* x = param("x");
  stmt(asg("s", n("x")));
  stmt(asg("v", n("s")));
  stmt(asg("p", maketree(UAND, n("t"), nullptr, tp->mk_ptr(int_t), nullptr)));
  stmt(mk_ASG(maketree(UMULT, maketree(UAND, n("arr"), nullptr, tp->mk_ptr(int_t), nullptr), nullptr, int_t, nullptr),
              n("s")));
  ret(op2(PLUS, n("v"), maketree(UMULT, n("p"), nullptr, int_t, nullptr)));
  build();
  link_locals();
  allocate_regs();
  EXPECT_EQ(var("s")->sclass, SC_REGISTER);
  EXPECT_FALSE(var("s")->sflags & SF_HAS_HOME);
  EXPECT_EQ(x->sclass, SC_REGISTER) << "the local copy of a parameter";
  EXPECT_EQ(var("p")->sclass, SC_REGISTER) << "a pointer whose own address is not taken";
  for (const char* stack : {"v", "arr", "t"}) {
    EXPECT_EQ(var(stack)->sclass, SC_LOCAL) << stack;
    EXPECT_TRUE(var(stack)->sflags & SF_HAS_HOME) << stack;
  }
  EXPECT_EQ(params["x"]->sclass, SC_PARAM) << "parameters keep their class";
  EXPECT_TRUE(log_has("(1) 'arr' remains allocated on the stack.") || log_has("'arr' remains allocated on the stack."))
      << log_text();
  EXPECT_TRUE(log_has("'s' is allocated to register r")) << log_text();
}

TEST_F(RegAlloc, LevelZeroKeepsTheChoiceOfTheFile) {
  opt_level = 0;
  param("a");
  prolog();
  stmt(asg("kept", op2(PLUS, n("a"), k(1))));
  stmt(asg("plain", op2(PLUS, n("kept"), k(1))));
  ret(n("plain"));
  var("kept")->orig_sclass = SC_REGISTER;
  build();
  link_locals();
  allocate_regs();
  EXPECT_EQ(var("kept")->sclass, SC_REGISTER);
  EXPECT_EQ(var("plain")->sclass, SC_LOCAL);
  EXPECT_EQ(var("a")->sclass, SC_LOCAL);
}

TEST_F(RegAlloc, ConflictsAreStoresWhileTheOtherIsLive) {
  // x and y overlap; z starts after x dies; w = y is a copy of y at y's
  // last use and shares y's register.
  param("a");
  prolog();
  stmt(asg("x", op2(PLUS, n("a"), k(1))));
  stmt(asg("y", op2(PLUS, n("a"), k(2))));
  out(op2(PLUS, n("x"), n("y")));
  stmt(asg("z", op2(MULT, n("y"), k(3))));
  stmt(asg("w", n("y")));
  ret(op2(PLUS, n("z"), n("w")));
  build();
  link_locals();
  find_live_variables(0, false);
  find_conflicts();
  EXPECT_TRUE(conflict("x", "y"));
  EXPECT_TRUE(conflict("y", "x"));
  EXPECT_FALSE(conflict("x", "z"));
  EXPECT_TRUE(conflict("z", "y"));
  EXPECT_FALSE(conflict("w", "y")) << "a copy: both hold the same value";
  EXPECT_TRUE(conflict("w", "z"));
  int w = lva_index(var("w")), y = lva_index(var("y"));
  ASSERT_EQ(var_preferences[static_cast<size_t>(w)].size(), 1u);
  EXPECT_EQ(var_preferences[static_cast<size_t>(w)][0], y);
  init_reg_defs();
  EXPECT_TRUE(var_conflicts.empty());
}

TEST_F(RegAlloc, ACopyAtTheLastUseJoinsTheTwoVariables) {
  param("a");
  prolog();
  stmt(asg("x", op2(MULT, n("a"), k(3))));
  stmt(asg("y", n("x")));  // x dies here
  stmt(asg("y", op2(PLUS, n("y"), k(1))));
  out(n("y"));
  // u = v where v lives on: no merge.
  stmt(asg("v", op2(PLUS, n("a"), k(5))));
  stmt(asg("u", n("v")));
  stmt(asg("v", op2(PLUS, n("v"), k(1))));
  out(op2(MINUS, n("u"), n("v")));
  ret(k(0));
  expect_same_runs({{0}, {4}, {-9}}, [&] {
    link_locals();
    merge_symbols();
  });
  std::string s = text();
  EXPECT_TRUE(log_has("Merging 'x' into 'y'") || log_has("Merging 'y' into 'x'")) << log_text();
  EXPECT_FALSE(log_has("Merging 'u'")) << log_text();
  EXPECT_FALSE(log_has("Merging 'v'")) << log_text();
  EXPECT_EQ(s.find("(y = x)"), std::string::npos) << s;
  EXPECT_NE(s.find("(u = v)"), std::string::npos) << s;
}

// Random copies between a few variables: every merge keeps the runs.
TEST_F(RegAlloc, RandomCopiesMergeWithoutChangingTheRuns) {
  const char* vars[] = {"p", "q", "r", "s", "t"};
  for (unsigned seed = 1; seed <= 120; ++seed) {
    fresh_function("merge");
    rng.seed(seed);
    param("a");
    prolog();
    for (const char* v : vars) stmt(asg(v, op2(PLUS, n("a"), k(pick(5)))));
    int labels = 2 + pick(3);
    int next = 1;
    for (int i = 0; i < 18; ++i) {
      if (next <= labels && pick(4) == 0) label(next++);
      const char* a = vars[pick(5)];
      const char* b = vars[pick(5)];
      switch (pick(7)) {
        case 0: case 1: case 2: stmt(asg(a, n(b))); break;
        case 3: stmt(asg(a, op2(PLUS, n(b), k(1 + pick(3))))); break;
        case 4: out(n(a)); break;
        case 5: cbranch(op2(LT, n(a), n(b)), 1 + pick(labels)); break;
        default:
          if (next > 1) cbranch(op2(LT, mk_ASG(n("a"), op2(PLUS, n("a"), k(1))), k(4)), 1 + pick(next - 1));
          break;
      }
    }
    while (next <= labels) label(next++);
    ret(op2(PLUS, n(vars[pick(5)]), n(vars[pick(5)])));
    expect_same_runs({{0}, {1}, {-2}, {3}}, [&] {
      link_locals();
      merge_symbols();
    });
    if (HasFailure()) {
      ADD_FAILURE() << "seed " << seed << "\n" << log_text();
      return;
    }
  }
}

}  // namespace
}  // namespace cfgtest
