// Liveness and dead assignments. The sets of find_live_variables are
// checked against a plain path search on random flow graphs, and every
// deletion, combination and sinking of elim_dead_assigns must leave what the
// function computes, calls included, unchanged.
#include <random>
#include <set>

#include "test_cfg_fixture.h"

#include "ir/bitvec.h"
#include "scalar/deadasg.h"
#include "scalar/lva.h"

namespace cfgtest {
namespace {

class Lva : public CfgTest {
 public:
  std::mt19937 rng;
  int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
  const char* vars[6] = {"a", "b", "x", "y", "z", "i"};

  // The fixture's locals on the function's list, as the reader puts them.
  void link_locals() {
    fi->symbols = nullptr;
    int serial = 0;
    for (auto& [name, s] : locals) {
      s->serial = serial++;
      s->next = fi->symbols;
      fi->symbols = s;
    }
  }

  NODE* leaf() { return pick(3) ? n(vars[pick(6)]) : k(pick(9) - 2); }
  NODE* expr(int depth) {
    if (depth <= 0 || pick(3) == 0) return leaf();
    static const int ops[] = {PLUS, MINUS, ANDB, ORB, XORB, LT, EQ};
    return op2(ops[pick(7)], expr(depth - 1), expr(depth - 1));
  }
  // A store that happens on one arm only: v = c ? (w = e) : e'.
  NODE* maybe_store() {
    NODE* inner = asg(vars[2 + pick(4)], expr(1));
    NODE* arms = pick(2) ? op2(COLON, inner, expr(1)) : op2(COLON, expr(1), inner);
    return asg(vars[2 + pick(4)], op2(QUEST, expr(1), arms));
  }

  void generate(unsigned seed, int len, int labels) {
    rng.seed(seed);
    param("a");
    param("b");
    prolog();
    for (const char* v : {"x", "y", "z", "i"})
      if (pick(4)) stmt(asg(v, k(pick(5))));
    std::vector<int> pos;
    for (int l = 0; l < labels; ++l) pos.push_back(pick(len));
    std::sort(pos.begin(), pos.end());
    int next_label = 1;
    auto target = [&]() { return 1 + pick(labels); };
    for (int p = 0; p < len; ++p) {
      while (next_label <= labels && pos[static_cast<size_t>(next_label - 1)] == p) label(next_label++);
      switch (pick(12)) {
        case 0: case 1: case 2: stmt(asg(vars[2 + pick(4)], expr(2))); break;
        case 3: out(expr(1)); break;
        case 4: stmt(maybe_store()); break;
        case 5: stmt(op2(PLUSASG, n(vars[2 + pick(4)]), expr(1))); break;
        case 6: stmt(op2(PLUSPLUS, n(vars[2 + pick(4)]), k(1))); break;
        case 7: {
          // A counted loop back to an earlier label, so that values live
          // around back edges.
          int back = next_label > 1 ? 1 + pick(next_label - 1) : 0;
          if (back) cbranch(op2(LT, mk_ASG(n("i"), op2(PLUS, n("i"), k(1))), k(3 + pick(4))), back);
          break;
        }
        case 8: case 9: cbranch(expr(1), target()); break;
        case 10: if (pick(3) == 0) ret(expr(1)); break;
        default: stmt(asg(vars[2 + pick(4)], op2(PLUS, n(vars[2 + pick(4)]), call_out(expr(1))))); break;
      }
    }
    while (next_label <= labels) label(next_label++);
    ret(expr(2));
  }

  // ---- A plain model of what each statement reads and writes -----------
  // In the order of evaluation: operands left to right, an assignment's
  // value before its store; an operator-assignment or increment reads its
  // target first. A store under QUEST, ANDAND or OROR may not happen: it
  // kills nothing.
  struct ACCESS {
    const SYMTAB* sym;
    bool write;
  };
  static void accesses(const NODE* t, bool sure, std::vector<ACCESS>& out) {
    if (!t) return;
    switch (t->op) {
      case NAME:
        out.push_back({t->name_symbol(), false});
        return;
      case ASG:
        accesses(t->right, sure, out);
        if (sure && t->left->op == NAME) out.push_back({t->left->name_symbol(), true});
        return;
      case PLUSPLUS: case MINMIN: case PLUSASG: case MINUSASG: case ORBASG: case XORBASG: case ANDBASG:
        out.push_back({t->left->name_symbol(), false});
        accesses(t->right, sure, out);
        if (sure) out.push_back({t->left->name_symbol(), true});
        return;
      case QUEST: case ANDAND: case OROR:
        accesses(t->left, sure, out);
        accesses(t->right, false, out);
        return;
      default:
        accesses(t->left, sure, out);
        accesses(t->right, sure, out);
        return;
    }
  }
  // Whether the statement reads v before it surely writes it (1), surely
  // writes it first (0), or does neither (-1).
  static int reads_first(const NODE* t, const SYMTAB* v) {
    std::vector<ACCESS> acc;
    accesses(t, true, acc);
    for (const ACCESS& a : acc)
      if (a.sym == v) return a.write ? 0 : 1;
    return -1;
  }
  static const SYMTAB* killed(const NODE* t) {
    if (!t || !t->left || t->left->op != NAME) return nullptr;
    if (t->op == ASG || t->op == PLUSPLUS || (op_of_opASG[t->op] != 255 && op_of_opASG[t->op] != 0))
      return t->left->name_symbol();
    return nullptr;
  }

  // Live at the start of statement `i` of `b` on some path: a read comes
  // before any kill.
  bool naive_live(BBLK* b, size_t i, const SYMTAB* v) {
    std::set<std::pair<BBLK*, size_t>> seen;
    std::vector<std::pair<BBLK*, size_t>> work{{b, i}};
    while (!work.empty()) {
      auto [bb, at] = work.back();
      work.pop_back();
      if (!seen.insert({bb, at}).second) continue;
      std::vector<LIST*> cells;
      for (LIST* l = bb->statements; l; l = l->next) cells.push_back(l);
      if (at >= cells.size()) {
        for (EDGE* e = bb->successors; e; e = e->next) work.push_back({e->bb, 0});
        continue;
      }
      int r = reads_first(cells[at]->tree, v);
      if (r == 1) return true;
      if (r == 0) continue;
      work.push_back({bb, at + 1});
    }
    return false;
  }

  void check_sets_against_paths() {
    for (BBLK* b : blocks()) {
      BITVEC* in = lva_set(b, LVA_IN);
      BITVEC* out = lva_set(b, LVA_OUT);
      ASSERT_TRUE(in && out);
      for (int v = 0; v < lva_candidate_count(); ++v) {
        const SYMTAB* s = lva_candidate(v);
        bool live_out = false;
        for (EDGE* e = b->successors; e; e = e->next) live_out = live_out || naive_live(e->bb, 0, s);
        EXPECT_EQ(in->bv_test(v), naive_live(b, 0, s)) << s->name << " at the entry of " << b->dfn << "\n" << shape();
        EXPECT_EQ(out->bv_test(v), live_out) << s->name << " at the exit of " << b->dfn << "\n" << shape();
      }
    }
  }

  // No store to a candidate is left that no path reads.
  void check_no_dead_store_left() {
    find_live_variables(0, false);
    for (BBLK* b : blocks()) {
      size_t i = 0;
      for (LIST* l = b->statements; l; l = l->next, ++i) {
        const SYMTAB* v = killed(l->tree);
        if (!v || lva_index(v) < 0) continue;
        EXPECT_TRUE(naive_live(b, i + 1, v)) << "dead store left: " << stmt2infix(l->tree) << "\n" << shape();
      }
    }
  }
};

TEST_F(Lva, SetsAgreeWithAPathSearchOnRandomGraphs) {
  for (unsigned seed = 1; seed <= 150; ++seed) {
    fresh_function("lva");
    generate(seed, 14 + static_cast<int>(seed % 17), 2 + static_cast<int>(seed % 5));
    build();
    simpcfg(false, false);
    link_locals();
    find_live_variables(0, false);
    ASSERT_EQ(lva_candidate_count(), static_cast<int>(locals.size())) << "every local is a plain scalar";
    check_sets_against_paths();
    if (HasFailure()) {
      ADD_FAILURE() << "seed " << seed;
      return;
    }
  }
}

TEST_F(Lva, DeadAssignmentsGoAndTheFunctionComputesTheSame) {
  const std::vector<std::vector<long>> inputs = {{0, 0}, {1, 2}, {5, -3}, {-4, 7}, {9, 9}, {2, 0}};
  for (unsigned seed = 1; seed <= 150; ++seed) {
    fresh_function("eda");
    generate(seed * 7 + 3, 16 + static_cast<int>(seed % 13), 2 + static_cast<int>(seed % 4));
    bool delay = seed % 2 == 0;
    expect_same_runs(inputs, [&] {
      simpcfg(false, false);
      link_locals();
      elim_dead_assigns(0, delay ? 1 : 0);
    });
    check_no_dead_store_left();
    if (HasFailure()) {
      ADD_FAILURE() << "seed " << seed << (delay ? " with delay" : "") << "\n" << log_text();
      return;
    }
  }
}

// Builds `body`, runs elim_dead_assigns and gives the statements as text.
class DeadAsg : public Lva {
 public:
  std::string run(int delay = 0) {
    build();
    link_locals();
    elim_dead_assigns(0, delay);
    expect_valid("elim_dead_assigns");
    std::string s;
    for (BBLK* b : blocks())
      for (LIST* l = b->statements; l; l = l->next) s += std::string(stmt2infix(l->tree)) + "\n";
    return s;
  }
};

TEST_F(DeadAsg, StoresAfterStoresAndChainsThatDieWithTheirLastUse) {
  param("a");
  prolog();
  stmt(asg("x", op2(PLUS, n("a"), k(1))));
  stmt(asg("x", op2(PLUS, n("a"), k(2))));  // the first store is dead
  stmt(asg("t1", op2(MULT, n("a"), n("a"))));
  stmt(asg("t2", op2(PLUS, n("t1"), k(4))));
  stmt(asg("t3", op2(MINUS, n("t2"), n("a"))));  // t3 is never read: t2, t1 go with it
  out(n("x"));
  ret(k(0));
  std::string s = run();
  EXPECT_EQ(s.find("(a + 1)"), std::string::npos) << s;
  EXPECT_EQ(s.find("t1"), std::string::npos) << s;
  EXPECT_EQ(s.find("t2"), std::string::npos) << s;
  EXPECT_EQ(s.find("t3"), std::string::npos) << s;
  // x only carries its value into the call.
  EXPECT_NE(s.find("out((a + 2))"), std::string::npos) << s;
}

TEST_F(DeadAsg, SideEffectsOfADeadValueStay) {
  param("a");
  prolog();
  stmt(asg("x", op2(PLUS, call_out(n("a")), k(1))));
  stmt(op2(PLUSASG, n("y"), call_out(k(5))));
  stmt(op2(PLUSPLUS, n("z"), k(1)));
  ret(k(0));
  std::string s = run();
  EXPECT_NE(s.find("out(a)"), std::string::npos) << s;
  EXPECT_NE(s.find("out(5)"), std::string::npos) << s;
  EXPECT_EQ(s.find("x ="), std::string::npos) << s;
  EXPECT_EQ(s.find("y"), std::string::npos) << s;
  EXPECT_EQ(s.find("z"), std::string::npos) << s;
  EXPECT_TRUE(log_has("Effect? 1")) << log_text();
}

TEST_F(DeadAsg, AValueLiveOnlyAroundTheBackEdgeStays) {
  // s is read only at the top of the loop, by the store of the next round.
  param("a");
  prolog();
  stmt(asg("s", k(0)));
  stmt(asg("i", k(0)));
  label(1);
  stmt(asg("s", op2(PLUS, n("s"), n("i"))));
  stmt(asg("i", op2(PLUS, n("i"), k(1))));
  cbranch(op2(LT, n("i"), n("a")), 1);
  ret(n("s"));
  expect_same_runs({{0}, {1}, {4}, {7}}, [&] {
    link_locals();
    elim_dead_assigns(0, 0);
  });
  std::string s;
  for (BBLK* b : blocks())
    for (LIST* l = b->statements; l; l = l->next) s += std::string(stmt2infix(l->tree)) + "\n";
  EXPECT_NE(s.find("(s = 0)"), std::string::npos) << s;
  EXPECT_NE(s.find("(s = (s + i))"), std::string::npos) << s;
}

TEST_F(DeadAsg, AStoreOnOneArmDoesNotKill) {
  // w = a + 7; y = a ? (w = 1) : 2; out(y); return w: the store under QUEST
  // happens on one arm only, so the first store stays. The sequencer takes
  // QUEST apart, so the statement goes in once the graph is built.
  param("a");
  prolog();
  ret(n("w"));
  build();
  link_locals();
  BBLK* bb = cfg.bb_list;
  insert_stmt_before_stmt_in_bb(asg("w", op2(PLUS, n("a"), k(7))), nullptr, bb, nullptr);
  insert_stmt_before_stmt_in_bb(asg("y", op2(QUEST, n("a"), op2(COLON, asg("w", k(1)), k(2)))), nullptr, bb, nullptr);
  insert_stmt_before_stmt_in_bb(call_out(n("y")), nullptr, bb, nullptr);
  link_locals();
  const std::vector<long> args = {0, 1, 3};
  std::vector<RUN> before;
  for (long a : args) before.push_back(run_graph({a}));
  elim_dead_assigns(0, 0);
  for (size_t i = 0; i < args.size(); ++i)
    EXPECT_EQ(run_graph({args[i]}), before[i]) << "a = " << args[i] << ": " << describe(before[i]);
  find_live_variables(0, false);
  LIST* quest = bb->statements;
  while (quest && !(quest->tree->op == ASG && quest->tree->right->op == QUEST)) quest = quest->next;
  ASSERT_TRUE(quest);
  std::vector<LVA_EVENT> ev;
  lva_statement_events(quest->tree, ev);
  ASSERT_EQ(ev.size(), 3u) << "a read, w may be stored, y stored";
  EXPECT_EQ(ev[0].kind, LVA_EVENT::USE);
  EXPECT_EQ(ev[1].kind, LVA_EVENT::MAYDEF);
  EXPECT_EQ(ev[2].kind, LVA_EVENT::DEF);
}

TEST_F(DeadAsg, SinkingMovesAValueToTheOneSuccessorThatReadsIt) {
  // if (a > 0) { out(x) } else { out(0) }; x = a * 3 is needed on one way.
  param("a");
  prolog();
  stmt(asg("x", op2(MULT, n("a"), k(3))));
  stmt(asg("w", op2(PLUS, n("a"), k(1))));
  cbranch(op2(GT, n("a"), k(0)), 1);
  out(k(0));
  go(2);
  label(1);
  out(n("x"));
  out(n("x"));
  label(2);
  out(n("w"));
  ret(k(0));
  expect_same_runs({{0}, {2}, {-5}}, [&] {
    link_locals();
    elim_dead_assigns(0, 1);
  });
  BBLK* reader = block_of(1);
  ASSERT_TRUE(reader);
  ASSERT_TRUE(reader->statements);
  EXPECT_STREQ(stmt2infix(reader->statements->tree), "(x = (a * 3));") << shape();
  // w is read after the join: it stays where it was.
  EXPECT_TRUE(log_has("Delaying (x = (a * 3));")) << log_text();
  EXPECT_FALSE(log_has("Delaying (w")) << log_text();
}

TEST_F(DeadAsg, SinkingOntoAnEdgeWhoseTargetHasOtherPredecessors) {
  // The reader is also reached from elsewhere: the value goes onto a new
  // block on the edge, and the other way in does not compute it.
  param("a");
  param("b");
  prolog();
  cbranch(op2(LT, n("b"), k(0)), 1);
  stmt(asg("x", op2(MULT, n("a"), k(5))));
  cbranch(op2(GT, n("a"), k(0)), 2);
  ret(k(9));
  label(1);
  stmt(asg("x", k(4)));
  label(2);
  out(n("x"));
  ret(k(0));
  int before = 0;
  expect_same_runs({{0, 0}, {2, 1}, {-5, 3}, {3, -1}}, [&] {
    link_locals();
    before = static_cast<int>(blocks().size());
    elim_dead_assigns(0, 1);
  });
  EXPECT_EQ(static_cast<int>(blocks().size()), before + 1) << shape();
  EXPECT_TRUE(log_has("Delaying (x = (a * 5));")) << log_text();
}

TEST_F(DeadAsg, SinkingStopsAtAStoreToWhatTheValueReads) {
  // x = a + 1; a = 0; if (...) out(x): x cannot pass the store to a.
  param("a");
  prolog();
  stmt(asg("x", op2(PLUS, n("a"), k(1))));
  stmt(asg("a", op2(PLUS, n("a"), k(10))));
  cbranch(op2(GT, n("a"), k(12)), 1);
  ret(n("a"));
  label(1);
  out(n("x"));
  ret(k(0));
  expect_same_runs({{0}, {2}, {5}}, [&] {
    link_locals();
    elim_dead_assigns(0, 1);
  });
  EXPECT_FALSE(log_has("Delaying")) << log_text();
}

TEST_F(DeadAsg, LevelZeroKeepsEveryStatement) {
  opt_level = 0;
  param("a");
  prolog();
  stmt(asg("x", k(1)));
  stmt(asg("x", k(2)));
  ret(k(0));
  std::string s = run();
  EXPECT_NE(s.find("(x = 1)"), std::string::npos) << s;
  EXPECT_NE(s.find("(x = 2)"), std::string::npos) << s;
}

TEST_F(Lva, AddressTakenVolatileAndPartViewsAreNoCandidates) {
  TYPE* vol = tp->mk_qual(int_t, TYPE::Q_VOLATILE);
  var("v", vol);
  var("p", tp->mk_ptr(int_t));
  stmt(asg("x", k(1)));
  stmt(asg("v", k(2)));
  stmt(asg("p", maketree(UAND, n("y"), nullptr, tp->mk_ptr(int_t), nullptr)));
  // z read as a 16-bit half: only memory gives that.
  NODE* half = mk_NAME(var("z"), nullptr);
  half->type = tp->basic[TYPE_PKG::BT_SHORT];
  out(maketree(SCONV, half, nullptr, int_t, nullptr));
  ret(n("x"));
  build();
  link_locals();
  find_live_variables(0, false);
  EXPECT_GE(lva_index(var("x")), 0);
  EXPECT_GE(lva_index(var("p")), 0);
  EXPECT_EQ(lva_index(var("v")), -1);
  EXPECT_EQ(lva_index(var("y")), -1);
  EXPECT_EQ(lva_index(var("z")), -1);
}

using LvaDeathTest = Lva;
TEST_F(LvaDeathTest, AnUnknownOperatorEndsTheRun) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  stmt(asg("x", k(1)));
  ret(n("x"));
  build();
  link_locals();
  // SSA decoration never outlives its pass group.
  insert_stmt_before_stmt_in_bb(asg("y", maketree(SSA_USE, n("x"), nullptr, int_t, nullptr)), nullptr, cfg.bb_list,
                                nullptr);
  EXPECT_EXIT(find_live_variables(0, false), testing::ExitedWithCode(1),
              "Error in 'local_lva_defs\\(\\)', opcode=186 SSA_USE");
}

}  // namespace
}  // namespace cfgtest
