// remove_empty_loop through simpcfg: counting loops of every counter width
// and signedness, step, test and entry value, on a grid and at random. Runs
// before and after the clean-up must agree, and a 16-bit loop that never
// ends (its whole cycle fits the step budget) must still never end.
#include <random>

#include "test_cfg_fixture.h"

namespace cfgtest {
namespace {

class EmptyLoop : public CfgTest {
 public:
  std::mt19937 rng;
  long pick(long n) { return static_cast<long>(rng() % static_cast<unsigned long>(n)); }
  template <class T>
  T one_of(const std::vector<T>& v) {
    return v[static_cast<size_t>(pick(static_cast<long>(v.size())))];
  }


  // The loop: x of type t enters with `entry` (or the parameter when
  // not `known`), steps by `step` in one of four spellings, and goes round
  // again while `x op bound` holds (with the test turned round when
  // `again_on_false`); `cond` 1 and 2 test x alone and !x instead.
  struct SHAPE {
    TYPE* t;
    bool known;
    long entry;
    long step;
    int form;
    int cond;
    int op;
    long bound;
    bool swapped;
    bool again_on_false;
    bool store;
  };

  void generate(const SHAPE& sh) {
    TYPE* t = sh.t;
    param("a");
    var("x", t);
    prolog();
    stmt(asg("y", k(0)));
    if (sh.known) stmt(mk_ASG(n("x"), k(sh.entry, t)));
    else stmt(mk_ASG(n("x"), maketree(SCONV, n("a"), nullptr, t, nullptr)));
    label(1);
    if (sh.store) stmt(asg("y", k(7)));
    switch (sh.form) {
      case 0: stmt(mk_ASG(n("x"), op2(PLUS, n("x"), k(sh.step, t), t))); break;
      case 1: stmt(op2(PLUSASG, n("x"), k(sh.step, t), t)); break;
      case 2: stmt(op2(MINUSASG, n("x"), k(-sh.step, t), t)); break;
      default:
        stmt(mk_ASG(n("x"), maketree(SCONV, op2(PLUS, maketree(SCONV, n("x"), nullptr, int_t, nullptr), k(sh.step)),
                                      nullptr, t, nullptr)));
        break;
    }
    NODE* c;
    if (sh.cond == 1) c = n("x");
    else if (sh.cond == 2) c = op1(EXCLAIM, n("x"));
    else if (sh.swapped) c = op2(commute_inv[sh.op], k(sh.bound, t), n("x"));
    else c = op2(sh.op, n("x"), k(sh.bound, t));
    if (sh.again_on_false) {
      cbranch(c, 2);
      go(1);
      label(2);
    } else {
      cbranch(c, 1);
    }
    out(n("x"));
    out(n("y"));
    ret(n("x"));
  }

  SHAPE random_shape() {
    TYPE* types[] = {tp->basic[TYPE_PKG::BT_SHORT], tp->basic[TYPE_PKG::BT_USHORT], int_t, uint_t};
    SHAPE sh;
    sh.t = types[pick(4)];
    bool narrow = sh.t->size == 16;
    std::vector<long> bounds = narrow ? std::vector<long>{-32768, -3, 0, 1, 7, 10, 32767, 40000, 65535}
                                      : std::vector<long>{-2147483647L - 1, -3, 0, 1, 7, 10, 2147483647L, 4294967295L};
    sh.step = pick(2) ? one_of<long>({1, -1}) : one_of<long>({2, -2, 3, -3, 5, 65535, 4});
    sh.known = pick(3) == 0;
    sh.entry = one_of<long>({-5, 0, 3, 8, 9, 10, 11, 30000, 65534});
    sh.store = pick(2);
    sh.form = static_cast<int>(pick(4));
    sh.cond = static_cast<int>(pick(10));
    sh.op = ops_for(sh.t)[pick(10)];
    sh.bound = one_of(bounds);
    sh.swapped = sh.cond == 3;
    sh.again_on_false = pick(2);
    return sh;
  }

  // The fixture's evaluator orders a 32-bit unsigned operand unsigned
  // whatever the operator: only the operators that agree with it.
  const int* ops_for(TYPE* t) {
    static const int ops[] = {EQ, NEQ, LT, LE, GT, GE, ULT, ULE, UGT, UGE};
    static const int uops[] = {EQ, NEQ, ULT, ULE, UGT, UGE, ULT, ULE, UGT, UGE};
    return t == uint_t ? uops : ops;
  }

  int removed = 0, kept = 0, compared = 0;

  // Cleans the loop; when it went, runs a second copy made alike before
  // and after the clean-up. A loop that stays is the loop it was.
  void check(const SHAPE& sh, const std::string& what, const std::vector<long>& args) {
    fresh_function("loop");
    generate(sh);
    build();
    simpcfg(false, false);
    if (!log_has("is essentially empty.")) {
      ++kept;
      return;
    }
    ++removed;
    fresh_function("loop");
    generate(sh);
    bool narrow = sh.t->size == 16;
    std::vector<long> inputs;
    for (long a : args)
      if (!sh.known || inputs.empty()) inputs.push_back(a);
    // A 16-bit counter goes through all its values within this budget, so
    // that a run that does not end never would.
    int budget = narrow ? 400000 : 20000;
    std::vector<RUN> before;
    for (long a : inputs) before.push_back(run_list({a}, budget));
    build();
    simpcfg(false, false);
    expect_valid("simpcfg");
    for (size_t i = 0; i < inputs.size(); ++i) {
      if (!before[i].finished && !narrow) continue;
      RUN after = run_graph({inputs[i]}, 2 * budget);
      if (before[i].finished) {
        ++compared;
        EXPECT_EQ(after, before[i]) << what << " input " << inputs[i] << ": before " << describe(before[i])
                                    << ", after " << describe(after) << "\n" << shape();
      } else {
        EXPECT_FALSE(after.finished) << what << " input " << inputs[i] << ": an endless loop ended\n" << shape();
      }
    }
  }
};

TEST_F(EmptyLoop, CountingByOneFromAnyEntry) {
  // Every test against bounds at the ends and inside the range, both ways
  // round, a step of one either way, on all four counter types.
  TYPE* types[] = {tp->basic[TYPE_PKG::BT_SHORT], tp->basic[TYPE_PKG::BT_USHORT], int_t, uint_t};
  int form = 0;
  for (TYPE* t : types)
    for (int i = 0; i < 10; ++i)
      for (long step : {1L, -1L})
        for (long bound : {-3L, 10L})
          for (bool again_on_false : {false, true}) {
            SHAPE sh{t, false, 0, step, form++ % 4, 0, ops_for(t)[i], bound, false, again_on_false, bound == 10};
            check(sh, std::string(opname(sh.op)) + " step " + std::to_string(step) + " bound " + std::to_string(bound),
                  {-32768, -1, 9, 11, 32767, 2147483647});
            if (HasFailure()) return;
          }
  EXPECT_GT(removed, 100);
  EXPECT_GT(kept, 100);
}

TEST_F(EmptyLoop, RandomCountingLoopsComputeTheSame) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    rng.seed(seed);
    check(random_shape(), "seed " + std::to_string(seed), {-70000, -32768, -1, 0, 9, 11, 32767, 65535, 2147483647});
    if (HasFailure()) return;
  }
  EXPECT_GT(removed, 120);
  EXPECT_GT(kept, 40);
  EXPECT_GT(compared, 500);
}

}  // namespace
}  // namespace cfgtest
