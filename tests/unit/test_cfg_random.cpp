// Random functions with forward jumps, counted loops, switches, bit tests
// and self tail calls: every clean-up of the graph must leave what the
// function computes unchanged, and the dominator answers must agree with a
// plain set computation on every graph met.
#include <cstdlib>
#include <random>
#include <set>
#include <unordered_set>

#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

class Random : public CfgTest {
 public:
  std::mt19937 rng;
  int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }


  const char* vars[5] = {"a", "b", "x", "y", "i"};
  NODE* leaf() { return pick(3) ? n(vars[pick(5)]) : k(pick(13) - 3); }
  NODE* expr(int depth) {
    if (depth <= 0 || pick(3) == 0) return leaf();
    static const int ops[] = {PLUS, MINUS, MULT, ANDB, ORB, XORB, LT, EQ, GT};
    int op = ops[pick(9)];
    if (op == MULT) return op2(MULT, expr(depth - 1), k(pick(5) - 1));
    return op2(op, expr(depth - 1), expr(depth - 1));
  }
  NODE* cond() {
    switch (pick(6)) {
      case 0: return op2(ANDB, n(vars[pick(4)]), k(1 << pick(4)));
      case 1: return n(vars[pick(5)]);
      case 2: return op2(NEQ, op2(ANDB, n(vars[pick(4)]), k(1 << pick(4))), k(0));
      case 3: return n("t");
      default: {
        static const int rel[] = {LT, LE, GT, GE, EQ, NEQ};
        return op2(rel[pick(6)], expr(1), expr(1));
      }
    }
  }

  // One function of about `len` statements between `labels` labels.
  void generate(unsigned seed, int len, int labels) {
    rng.seed(seed);
    var("t", bool_t);
    param("a");
    param("b");
    prolog();
    stmt(asg("x", n("a")));
    stmt(asg("y", op2(MINUS, n("b"), k(1))));
    stmt(asg("i", k(0)));
    stmt(mk_ASG(n("t"), maketree(SCONV, op2(GT, n("a"), n("b")), nullptr, bool_t, nullptr)));
    std::vector<int> pos;
    for (int l = 1; l <= labels; ++l) pos.push_back(pick(len));
    std::sort(pos.begin(), pos.end());
    int next_label = 1;
    int local = 1000;
    auto forward = [&]() { return next_label + pick(labels - next_label + 1); };
    for (int p = 0; p < len; ++p) {
      while (next_label <= labels && pos[next_label - 1] == p) {
        label(next_label++);
        if (pick(4) == 0) {
          // A counted loop back to here.
          int back = next_label - 1;
          out(n("i"));
          NODE* step = mk_ASG(n("i"), op2(PLUS, n("i"), k(1)));
          cbranch(op2(pick(2) ? NEQ : LT, step, k(2 + pick(3))), back);
        }
      }
      if (next_label > labels) {
        if (pick(2)) out(expr(2));
        continue;
      }
      switch (pick(15)) {
        case 0: case 1: case 2: stmt(asg(vars[2 + pick(3)], expr(2))); break;
        case 3: out(expr(2)); break;
        case 4: case 5: cbranch(cond(), forward()); break;
        case 6: go(forward()); break;
        case 7: ret(expr(1)); break;
        case 8: {
          // if (v & K2) v op= K: a triangle, the arm on either side.
          const char* v = vars[2 + pick(2)];
          NODE* bit = op2(ANDB, n(v), k(1 << pick(5)));
          NODE* arm = asg(v, op2(pick(2) ? ORB : XORB, n(v), k(1 << pick(6))));
          int a = local++, j = local++;
          if (pick(2)) {
            cbranch(pick(2) ? bit : op2(NEQ, bit, k(0)), a);
            go(j);
            label(a);
            stmt(arm);
          } else {
            cbranch(op2(EQ, bit, k(0)), j);
            stmt(arm);
          }
          label(j);
          break;
        }
        case 9: {
          std::vector<std::pair<long, int>> cases;
          int nc = 1 + pick(4);
          for (int c = 0; c < nc; ++c) cases.push_back({c + (pick(3) == 0 ? 4 : 0), forward()});
          switch_(op2(ANDB, n(vars[pick(5)]), k(3)), cases, pick(2) ? forward() : -1);
          break;
        }
        case 10: {
          // A diamond, or a triangle with a boolean arm.
          int a = local++, j = local++;
          cbranch(pick(3) ? cond() : k(pick(2)), a);
          if (pick(2)) {
            const char* v = vars[2 + pick(2)];
            stmt(asg(v, expr(1)));
            go(j);
            label(a);
            stmt(asg(v, expr(1)));
          } else {
            go(j);
            label(a);
            if (pick(2)) stmt(mk_ASG(n("t"), k(pick(2), bool_t)));
            else stmt(maketree(pick(2) ? ORBASG : XORBASG, n("t"), maketree(SCONV, op2(LT, expr(1), expr(1)), nullptr, bool_t, nullptr), bool_t, nullptr));
          }
          label(j);
          break;
        }
        case 13: {
          // The same test twice, with or without something between.
          NODE* c = cond();
          NODE* c2 = copy_tree(c, false);
          cbranch(c, forward());
          if (pick(2)) out(k(pick(9)));
          cbranch(pick(4) ? c2 : op1(EXCLAIM, c2), forward());
          break;
        }
        case 11:
          if (pick(3) == 0) stmt(asm_comment());
          else stmt(mk_ASG(n("t"), op2(ORB, n("t"), maketree(SCONV, cond(), nullptr, bool_t, nullptr), bool_t)));
          break;
        case 12:
          // A self tail call that runs down.
          cbranch(op2(LE, n("a"), k(0)), forward());
          ret(self_call({op2(MINUS, n("a"), k(1)), pick(2) ? n("x") : op2(PLUS, n("b"), n("a"))}));
          break;
        default:
          stmt(asg(vars[2 + pick(3)], op2(PLUS, n(vars[2 + pick(3)]), k(1))));
          break;
      }
    }
    while (next_label <= labels) label(next_label++);
    ret(expr(2));
  }

  NODE* asm_comment() {
    NODE* c = maketree(ASM, nullptr, nullptr, void_t, nullptr);
    c->text = zstrdup(1, "***\t; a comment");
    c->value = INT65(47);
    return c;
  }

  // Dominators by the plain set equations.
  void check_dominators() {
    std::vector<BBLK*> bs = blocks();
    int nb = static_cast<int>(bs.size());
    std::map<BBLK*, int> idx;
    for (int i = 0; i < nb; ++i) idx[bs[i]] = i;
    std::vector<std::vector<int>> succ(nb), pred(nb);
    for (int i = 0; i < nb; ++i)
      for (EDGE* e = bs[i]->successors; e; e = e->next) {
        succ[i].push_back(idx[e->bb]);
        pred[idx[e->bb]].push_back(i);
      }
    std::vector<std::set<int>> dom(nb);
    std::set<int> all;
    for (int i = 0; i < nb; ++i) all.insert(i);
    for (int i = 0; i < nb; ++i) dom[i] = i == 0 ? std::set<int>{0} : all;
    for (bool ch = true; ch;) {
      ch = false;
      for (int i = 1; i < nb; ++i) {
        std::set<int> d = all;
        for (int p : pred[i]) {
          std::set<int> m;
          for (int x : d)
            if (dom[p].count(x)) m.insert(x);
          d = m;
        }
        d.insert(i);
        if (d != dom[i]) {
          dom[i] = d;
          ch = true;
        }
      }
    }
    // Post-dominators below a virtual exit that follows every exit.
    std::vector<std::set<int>> pdom(nb, all);
    std::vector<bool> exit(nb);
    for (int i = 0; i < nb; ++i) exit[i] = succ[i].empty() || bs[i] == cfg.exit_block;
    for (bool ch = true; ch;) {
      ch = false;
      for (int i = nb - 1; i >= 0; --i) {
        std::set<int> d = exit[i] ? std::set<int>{} : all;
        for (int s : succ[i]) {
          std::set<int> m;
          for (int x : d)
            if (pdom[s].count(x)) m.insert(x);
          d = m;
        }
        d.insert(i);
        if (d != pdom[i]) {
          pdom[i] = d;
          ch = true;
        }
      }
    }
    // Blocks that reach no exit have no post-dominator to compare.
    std::vector<bool> reaches(nb, false);
    for (bool ch = true; ch;) {
      ch = false;
      for (int i = 0; i < nb; ++i) {
        bool r = exit[i];
        for (int s : succ[i]) r = r || reaches[s];
        if (r && !reaches[i]) reaches[i] = ch = true;
      }
    }
    Dominator* d = function_dominator();
    for (int a = 0; a < nb; ++a)
      for (int b = 0; b < nb; ++b) {
        ASSERT_EQ(d->dominates(bs[a], bs[b]), dom[b].count(a) != 0) << a << " dom " << b << "\n" << shape();
        if (reaches[b] && reaches[a]) {
          ASSERT_EQ(d->post_dominates(bs[a], bs[b]), pdom[b].count(a) != 0) << a << " pdom " << b << "\n" << shape();
        }
      }
  }

  // Runs seeds [from, to) through `transform`, comparing with the list.
  void sweep(unsigned from, unsigned to, const std::function<void()>& transform) {
    const std::vector<std::vector<long>> inputs = {{0, 0}, {3, 5}, {-2, 7}, {6, -1}, {1, 1}, {9, 4}, {5, 12}};
    int compared = 0, total_blocks = 0;
    for (unsigned seed = from; seed < to; ++seed) {
      fresh_function("rnd");
      generate(seed, 12 + static_cast<int>(seed % 20), 2 + static_cast<int>(seed % 7));
      std::vector<RUN> before;
      for (const auto& in : inputs) before.push_back(run_list(in));
      seq_trees();
      buildcfg();
      transform();
      ASSERT_FALSE(log_has("CFG errors!!!")) << "seed " << seed << "\n" << log_text();
      validate_cfg();
      ASSERT_EQ(cfg_errors_uncorrected + cfg_errors_corrected, 0) << "seed " << seed << "\n" << log_text();
      for (size_t i = 0; i < inputs.size(); ++i) {
        if (!before[i].finished) continue;
        RUN after = run_graph(inputs[i]);
        ++compared;
        ASSERT_EQ(after, before[i]) << "seed " << seed << " input #" << i << ": before " << describe(before[i])
                                    << ", after " << describe(after) << "\n" << shape() << "\n" << log_text();
      }
      check_dominators();
      total_blocks += cfg.bb_count;
      if (HasFatalFailure()) return;
    }
    EXPECT_GT(compared, static_cast<int>(to - from)) << "most runs must finish to be compared";
    if (getenv("CFG_RANDOM_STATS")) fprintf(stderr, "compared %d runs, %d blocks in all\n", compared, total_blocks);
  }
};

TEST_F(Random, BuildOnlyAtEveryLevel) {
  for (int level = 0; level <= 4; ++level) {
    opt_level = level;
    sweep(1000 + 100 * level, 1060 + 100 * level, [] {});
    if (HasFatalFailure()) return;
  }
}

TEST_F(Random, LightClean) {
  sweep(1, 300, [] { simpcfg(false, false); });
}

TEST_F(Random, LightCleanForSpeed) {
  size_speed_goal = 5;
  sweep(2001, 2300, [] { simpcfg(false, false); });
}

TEST_F(Random, HeavyClean) {
  sweep(3001, 3300, [] { simpcfg(true, false); });
}

TEST_F(Random, HeavyCleanForSizeAtLevelOne) {
  size_speed_goal = 1;
  opt_level = 1;
  sweep(4001, 4200, [] { simpcfg(true, false); });
}

TEST_F(Random, StrictIfConversion) {
  sweep(5001, 5200, [] { simpcfg(false, true); });
}

TEST_F(Random, SwitchesThenTheLastClean) {
  sweep(6001, 6300, [] {
    simpcfg(false, false);
    optimize_SWITCH_cases();
    simpcfg(true, false);
  });
}

TEST_F(Random, EarlyCrossJumpingAlone) {
  sweep(7001, 7200, [] { do_early_cross_jumping(); });
}

TEST_F(Random, RepeatedCleansAreStable) {
  sweep(8001, 8200, [] {
    simpcfg(true, false);
    rebuildcfg();
    simpcfg(false, false);
    simpcfg(true, false);
  });
}

// The layout is a function of the transfers: another walk makes it again.
// Tests that unsimplify may turn round to fall through: turning any of them,
// one or all, leaves the layout that rebuildcfg (and so a later reading of
// the written function) makes. Some of the others do move blocks when turned,
// which is why they are kept out.
TEST_F(Random, TurningATestFreeToTurnKeepsTheLayout) {
  int turned = 0, moved_by_others = 0;
  for (unsigned seed = 9001; seed < 9300; ++seed) {
    fresh_function("rnd");
    generate(seed, 12 + static_cast<int>(seed % 20), 2 + static_cast<int>(seed % 7));
    seq_trees();
    buildcfg();
    simpcfg(true, false);
    rebuildcfg();
    const std::vector<BBLK*> layout = blocks();
    rebuildcfg();
    ASSERT_EQ(blocks(), layout) << "seed " << seed << ": a second walk lays the blocks out otherwise\n" << shape();
    std::unordered_set<const BBLK*> free = tests_free_to_turn();
    for (BBLK* b : layout) {
      NODE* last = last_stmt(b);
      if (!last || last->op != IF || if_target(last, true) == if_target(last, false)) continue;
      invert_IF_of(b);
      rebuildcfg();
      bool same = blocks() == layout;
      invert_IF_of(b);
      rebuildcfg();
      ASSERT_EQ(blocks(), layout) << "seed " << seed << ": turned twice";
      if (free.count(b)) {
        ASSERT_TRUE(same) << "seed " << seed << ": block " << b->dfn << " moves blocks\n" << shape();
        ++turned;
      } else if (!same) {
        ++moved_by_others;
      }
    }
    for (BBLK* b : layout)
      if (free.count(b)) invert_IF_of(b);
    rebuildcfg();
    ASSERT_EQ(blocks(), layout) << "seed " << seed << ": all of them turned\n" << shape();
  }
  EXPECT_GT(turned, 100);
  EXPECT_GT(moved_by_others, 0);
}

}  // namespace
}  // namespace cfgtest
