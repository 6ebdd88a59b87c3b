// Counted loops of every relation, step and counter width, entered near the
// ends of their types: restructure_loops (down counters, counts 0 and 1,
// unrolling) must leave what each function computes unchanged, a loop that
// never ends must still not end, and the loops it can count must be counted.
#include <random>

#include "test_cfg_fixture.h"

#include "scalar/loop.h"

namespace cfgtest {
namespace {

class LoopCounts : public CfgTest {
 public:
  std::mt19937 rng;
  int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }

  struct SHAPE {
    TYPE* t = nullptr;     // the counter's type
    bool widen = false;    // compared as int
    int rel = LT;
    long step = 1;
    bool init_param = false;
    long init = 0;
    bool bound_param = false;
    long bound = 0;
    bool do_while = false;
    bool body_reads = false;  // the body reads the counter
    bool read_after = false;  // so does the code after the loop
  };

  TYPE* ushort_t() { return tp->basic[TYPE_PKG::BT_USHORT]; }
  TYPE* short_t() { return tp->basic[TYPE_PKG::BT_SHORT]; }

  long tmin(TYPE* t) { return t == int_t ? INT32_MIN : t == short_t() ? -32768 : 0; }
  long tmax(TYPE* t) { return t == int_t ? INT32_MAX : t == short_t() ? 32767 : t == uint_t ? 0xffffffffL : 65535; }

  // A value near one end of the type, or a small one.
  long near_end(TYPE* t) {
    switch (pick(5)) {
      case 0: return tmin(t) + pick(4);
      case 1: return tmax(t) - pick(4);
      case 2: return pick(7) - 3;
      default: return pick(40) - 10;
    }
  }

  SHAPE random_shape() {
    SHAPE s;
    TYPE* types[] = {int_t, uint_t, short_t(), ushort_t()};
    s.t = types[pick(4)];
    bool is32 = s.t == int_t || s.t == uint_t;
    s.widen = !is32 && pick(2);
    static const int signed_rels[] = {LT, LE, GT, GE, NEQ, EQ};
    static const int unsigned_rels[] = {ULT, ULE, UGT, UGE, NEQ, EQ};
    s.rel = s.t == uint_t ? unsigned_rels[pick(6)] : signed_rels[pick(6)];
    static const long steps[] = {1, -1, 1, -1, 2, -2, 3, -3, 7, 0x4000};
    s.step = steps[pick(10)];
    s.init_param = pick(3) == 0;
    s.init = near_end(s.t);
    s.bound_param = pick(3) == 0;
    s.bound = near_end(s.t);
    // Mostly loops that end soon: the bound a few steps from the start.
    if (!s.init_param && !s.bound_param && pick(3)) {
      bool up = s.step > 0;
      s.bound = s.init + (up ? 1 : -1) * (pick(30) * (s.step > 0 ? s.step : -s.step) + pick(3));
      if (s.bound > tmax(s.t) || s.bound < tmin(s.t)) s.bound = s.init;
    }
    if (pick(6) == 0) {
      // Counting down to zero, as a counter of the program's own.
      s.rel = pick(2) ? NEQ : (s.t == uint_t ? UGT : GT);
      s.step = -1;
      s.bound_param = false;
      s.bound = 0;
      s.init = pick(2) ? pick(20) : near_end(s.t);
    }
    s.do_while = pick(2);
    s.body_reads = pick(3) == 0;
    s.read_after = pick(2);
    return s;
  }

  NODE* counter_read(const SHAPE& s) {
    NODE* i = n("i");
    return s.widen ? maketree(SCONV, i, nullptr, int_t, nullptr) : i;
  }
  NODE* bound_tree(const SHAPE& s) {
    TYPE* ct = s.widen ? int_t : s.t;
    if (s.bound_param) {
      NODE* b = maketree(SCONV, n("b"), nullptr, s.t, nullptr);
      return s.widen ? maketree(SCONV, b, nullptr, int_t, nullptr) : b;
    }
    return k(s.bound, ct);
  }
  NODE* test(const SHAPE& s) { return op2(s.rel, counter_read(s), bound_tree(s)); }

  void make(const SHAPE& s) {
    var("i", s.t);
    param("a");
    param("b");
    prolog();
    stmt(asg("x", k(0)));
    stmt(asg("i", s.init_param ? maketree(SCONV, n("a"), nullptr, s.t, nullptr) : k(s.init, s.t)));
    NODE* step = maketree(PLUSASG, n("i"), k(s.step, s.t), s.t, nullptr);
    if (s.do_while) {
      label(1);
    } else {
      label(1);
      cbranch(op1(EXCLAIM, test(s)), 3);
    }
    stmt(asg("x", op2(PLUS, n("x"), k(1))));
    if (s.body_reads) out(op2(ANDB, maketree(SCONV, n("i"), nullptr, int_t, nullptr), k(0xffff)));
    stmt(step);
    if (s.do_while) {
      cbranch(test(s), 1);
    } else {
      go(1);
      label(3);
    }
    out(n("x"));
    if (s.read_after) out(maketree(SCONV, n("i"), nullptr, int_t, nullptr));
    ret(k(0));
  }

  std::vector<std::vector<long>> inputs(const SHAPE& s) {
    std::vector<std::vector<long>> v;
    for (int r = 0; r < 5; ++r) v.push_back({near_end(s.t), near_end(s.t)});
    v.push_back({0, 0});
    v.push_back({s.init, s.bound});
    return v;
  }
};

TEST_F(LoopCounts, RandomCountedLoopsKeepTheirRuns) {
  const int kBudget = 450000;
  int counted = 0, unrolled = 0, tried = 0, endless = 0;
  unsigned only = getenv("LOOPCNT_SEED") ? static_cast<unsigned>(atoi(getenv("LOOPCNT_SEED"))) : 0;
  for (unsigned seed = 1; seed <= 400; ++seed) {
    if (only && seed != only) continue;
    fresh_function("loopcnt");
    rng.seed(seed);
    SHAPE s = random_shape();
    make(s);
    std::vector<std::vector<long>> in = inputs(s);
    std::vector<RUN> before;
    for (const auto& a : in) before.push_back(run_list(a, kBudget));
    build();
    simpcfg(false, false);
    if (only)
      for (BBLK* b : blocks())
        for (LIST* l = b->statements; l; l = l->next) printf("before BB%d: %s\n", b->dfn, stmt2infix(l->tree));
    restructure_loops();
    expect_valid("restructure_loops");
    counted += log_count("loop_count_expr:");
    if (getenv("LOOPCNT_REASONS")) {
      for (const char* r : {"No valid loop test", "No/invalid loop increment", "Invalid relation", "not predictable",
                            "upper bound < 0", "doesn't fit", "nasty DIV", "DIV avoided", "runs once", "never runs",
                            "Unrolling", "New loop setup", "keeps its test", "Existing loop test"})
        if (log_has(r)) printf("seed %u: %s\n", seed, r);
      if (only) printf("%s\n", log_text().c_str());
      if (only)
        for (BBLK* b : blocks())
          for (LIST* l = b->statements; l; l = l->next) printf("BB%d: %s\n", b->dfn, stmt2infix(l->tree));
    }
    unrolled += log_count(">>> Unrolling");
    ++tried;
    for (size_t r = 0; r < in.size(); ++r) {
      if (!before[r].finished) {
        // Still endless (or at least as long): the run must not end early.
        RUN after = run_graph(in[r], kBudget / 8);
        EXPECT_FALSE(after.finished) << "seed " << seed << " input " << r << " ended: " << describe(after) << "\n"
                                     << shape() << "\n" << log_text();
        ++endless;
        continue;
      }
      RUN after = run_graph(in[r], kBudget);
      EXPECT_EQ(after, before[r]) << "seed " << seed << " input " << r << " (" << in[r][0] << ", " << in[r][1]
                                  << "): before " << describe(before[r]).substr(0, 200) << ", after "
                                  << describe(after).substr(0, 200) << "\n" << shape() << "\n" << log_text();
    }
    if (HasFailure()) break;
  }
  RecordProperty("counted", counted);
  RecordProperty("unrolled", unrolled);
  RecordProperty("endless", endless);
  printf("counted %d unrolled %d endless %d of %d\n", counted, unrolled, endless, tried);
  // The analysis must not give up on everything: most shapes have a count.
  EXPECT_GT(counted, tried / 3);
  EXPECT_GT(unrolled, 20);
  EXPECT_GT(endless, 0);
}

}  // namespace
}  // namespace cfgtest
