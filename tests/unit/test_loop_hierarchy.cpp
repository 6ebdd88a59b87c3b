// The loop hierarchy against a plain computation on random flow graphs:
// loops from the edges whose target dominates their source (dominators by
// the set equations), bodies by flooding back from the tail, nesting by
// inclusion of the bodies. A header with two back edges, or an edge back to
// a block that does not dominate its source, makes the function irreducible.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "test_cfg_fixture.h"

#include "scalar/loop.h"

namespace cfgtest {
namespace {

class Hierarchy : public CfgTest {
 public:
  std::mt19937 rng;
  int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }

  // Labels 1..n, each a block that steps x and then jumps anywhere, tests
  // and falls through, or returns.
  void random_function(unsigned seed, int n) {
    rng.seed(seed);
    param("a");
    prolog();
    for (int l = 1; l <= n; ++l) {
      label(l);
      stmt(asg("x", op2(PLUS, n_("x"), k(l))));
      switch (pick(7)) {
        case 0: case 1: go(1 + pick(n)); break;
        case 2: case 3: case 4: cbranch(op2(LT, n_("x"), n_("a")), 1 + pick(n)); break;
        case 5: if (pick(3) == 0) ret(n_("x")); break;
        default: break;
      }
    }
    ret(n_("x"));
  }
  NODE* n_(const char* v) { return n(v); }

  struct NAIVE {
    std::vector<BBLK*> bs;
    std::map<BBLK*, int> idx;
    std::vector<std::set<int>> dom;
    bool irreducible = false;
    std::map<int, int> tail_of;                 // header -> tail
    std::map<int, std::set<int>> body;          // header -> blocks
  };

  NAIVE naive() {
    NAIVE r;
    r.bs = blocks();
    int nb = static_cast<int>(r.bs.size());
    for (int i = 0; i < nb; ++i) r.idx[r.bs[i]] = i;
    std::vector<std::vector<int>> pred(nb);
    for (int i = 0; i < nb; ++i)
      for (EDGE* e = r.bs[i]->successors; e; e = e->next) pred[r.idx[e->bb]].push_back(i);
    std::set<int> all;
    for (int i = 0; i < nb; ++i) all.insert(i);
    r.dom.assign(nb, all);
    r.dom[0] = {0};
    for (bool ch = true; ch;) {
      ch = false;
      for (int i = 1; i < nb; ++i) {
        std::set<int> d = all;
        for (int p : pred[i]) {
          std::set<int> m;
          for (int x : d)
            if (r.dom[p].count(x)) m.insert(x);
          d = m;
        }
        d.insert(i);
        if (d != r.dom[i]) {
          r.dom[i] = d;
          ch = true;
        }
      }
    }
    std::map<int, int> back_edges;
    for (int a = 0; a < nb; ++a)
      for (EDGE* e = r.bs[a]->successors; e; e = e->next) {
        int b = r.idx[e->bb];
        bool dominates = r.dom[a].count(b) != 0;
        if (b <= a && !dominates) r.irreducible = true;
        if (dominates) {
          ++back_edges[b];
          r.tail_of[b] = a;
        }
      }
    for (auto& [h, c] : back_edges)
      if (c > 1) r.irreducible = true;
    if (r.irreducible) return r;
    for (auto& [h, t] : r.tail_of) {
      std::set<int>& body = r.body[h];
      body.insert(h);
      std::vector<int> work;
      if (body.insert(t).second) work.push_back(t);
      while (!work.empty()) {
        int x = work.back();
        work.pop_back();
        for (int p : pred[x])
          if (body.insert(p).second) work.push_back(p);
      }
    }
    return r;
  }

  std::set<int> contents(const NAIVE& r, struct LOOP* l) {
    std::set<int> s;
    for (EDGE* e = l->contents; e; e = e->next) s.insert(r.idx.at(e->bb));
    return s;
  }

  // The header of the smallest body that holds `blocks` strictly (or
  // loosely), -1 for none.
  int smallest_around(const NAIVE& r, const std::set<int>& blocks, bool strict) {
    int best = -1;
    size_t size = 0;
    for (auto& [h, b] : r.body) {
      bool holds = std::includes(b.begin(), b.end(), blocks.begin(), blocks.end());
      if (!holds || (strict && b == blocks)) continue;
      if (best < 0 || b.size() < size) {
        best = h;
        size = b.size();
      }
    }
    return best;
  }

  void compare(unsigned seed) {
    build_minimal_loop_hierarchy();
    NAIVE r = naive();
    ASSERT_NE(loop_root, nullptr);
    std::string where = "seed " + std::to_string(seed) + ": " + shape();
    ASSERT_EQ(loop_root->irreducible != 0, r.irreducible) << where;
    EXPECT_EQ(loop_root->level, 0) << where;
    EXPECT_EQ(loop_root->head, cfg.bb_list) << where;
    EXPECT_EQ(loop_root->tail, nullptr) << where;
    if (r.irreducible) {
      EXPECT_EQ(loop_root->inner, nullptr) << where;
      for (BBLK* b : r.bs) EXPECT_EQ(b->loop, loop_root) << where;
      EXPECT_EQ(static_cast<int>(contents(r, loop_root).size()), static_cast<int>(r.bs.size())) << where;
    } else {
      std::vector<struct LOOP*> loops;
      std::vector<struct LOOP*> work{loop_root};
      while (!work.empty()) {
        struct LOOP* l = work.back();
        work.pop_back();
        for (LOOPLIST* c = l->inner; c; c = c->next) {
          EXPECT_EQ(c->loop->outer, l) << where;
          loops.push_back(c->loop);
          work.push_back(c->loop);
        }
      }
      EXPECT_EQ(loops.size(), r.body.size()) << where;
      for (struct LOOP* l : loops) {
        int h = r.idx.at(l->head);
        ASSERT_TRUE(r.body.count(h)) << where << " loop at " << l->head->dfn;
        std::set<int> body = r.body.at(h);
        EXPECT_EQ(contents(r, l), body) << where << " loop at " << l->head->dfn;
        EXPECT_EQ(r.idx.at(l->tail), r.tail_of.at(h)) << where;
        int around = smallest_around(r, body, true);
        EXPECT_EQ(l->outer == loop_root ? -1 : r.idx.at(l->outer->head), around) << where;
        int depth = 1;
        for (auto& [oh, ob] : r.body)
          if (oh != h && std::includes(ob.begin(), ob.end(), body.begin(), body.end())) ++depth;
        EXPECT_EQ(l->level, depth) << where;
        // Exits, and whether a block other than the tail leaves.
        bool several = false;
        std::set<int> exits;
        for (int b : body)
          for (EDGE* e = r.bs[b]->successors; e; e = e->next)
            if (!body.count(r.idx.at(e->bb))) {
              exits.insert(b);
              several = several || b != r.tail_of.at(h);
            }
        std::set<int> got;
        for (EDGE* e = l->exits; e; e = e->next) got.insert(r.idx.at(e->bb));
        EXPECT_EQ(got, exits) << where;
        EXPECT_EQ(l->multi_exit != 0, several) << where;
        std::vector<BBLK*> outside;
        for (EDGE* e = l->head->predecessors; e; e = e->next)
          if (!body.count(r.idx.at(e->bb))) outside.push_back(e->bb);
        BBLK* pre = outside.size() == 1 && edge_length(outside[0]->successors) == 1 ? outside[0] : nullptr;
        EXPECT_EQ(l->preheader, pre) << where;
      }
      for (BBLK* b : r.bs) {
        int h = smallest_around(r, {r.idx.at(b)}, false);
        EXPECT_EQ(b->loop == loop_root ? -1 : r.idx.at(b->loop->head), h) << where << " block " << b->dfn;
      }
    }
    EXPECT_EQ(validate_loop(loop_root, 1), 0) << where;
    erase_loop_hierarchy();
  }
};

TEST_F(Hierarchy, AgreesWithThePlainComputationOnRandomGraphs) {
  int irreducible = 0, nested = 0, self = 0;
  for (unsigned seed = 1; seed <= 1500; ++seed) {
    fresh_function("hier");
    random_function(seed, 2 + static_cast<int>(seed % 11));
    build();
    compare(seed);
    build_minimal_loop_hierarchy();
    irreducible += loop_root->irreducible;
    for (LOOPLIST* c = loop_root->inner; c; c = c->next) {
      nested += c->loop->inner != nullptr;
      self += c->loop->head == c->loop->tail;
    }
    erase_loop_hierarchy();
    if (HasFailure()) break;
  }
  // The graphs must cover the cases that matter.
  EXPECT_GT(irreducible, 50);
  EXPECT_GT(nested, 50);
  EXPECT_GT(self, 50);
}

TEST_F(Hierarchy, TwoBackEdgesIntoOneHeaderMakeTheFunctionIrreducible) {
  // L1 is entered from above and from two later blocks.
  param("a");
  prolog();
  label(1);
  stmt(asg("x", op2(PLUS, n("x"), k(1))));
  cbranch(op2(LT, n("x"), k(3)), 1);
  stmt(asg("x", op2(PLUS, n("x"), k(2))));
  cbranch(op2(LT, n("x"), n("a")), 1);
  ret(n("x"));
  build();
  build_minimal_loop_hierarchy();
  ASSERT_NE(loop_root, nullptr);
  EXPECT_TRUE(loop_root->irreducible);
  EXPECT_EQ(loop_root->inner, nullptr);
  for (BBLK* b : blocks()) EXPECT_EQ(b->loop, loop_root);
  EXPECT_TRUE(log_has("irreducible"));
}

TEST_F(Hierarchy, ASelfLoopIsItsOwnHeadAndTail) {
  param("a");
  prolog();
  label(1);
  stmt(asg("x", op2(PLUS, n("x"), k(1))));
  cbranch(op2(LT, n("x"), n("a")), 1);
  ret(n("x"));
  build();
  build_minimal_loop_hierarchy();
  ASSERT_NE(loop_root->inner, nullptr);
  struct LOOP* l = loop_root->inner->loop;
  EXPECT_EQ(l->head, l->tail);
  EXPECT_EQ(l->level, 1);
  EXPECT_EQ(loop_block_count(l), 1);
  EXPECT_FALSE(l->multi_exit);
  EXPECT_NE(l->preheader, nullptr);
}

TEST_F(Hierarchy, ValidateLoopReportsWhatIsWrong) {
  param("a");
  prolog();
  label(1);
  stmt(asg("x", op2(PLUS, n("x"), k(1))));
  label(2);
  stmt(asg("y", op2(PLUS, n("y"), k(1))));
  cbranch(op2(LT, n("y"), n("a")), 2);
  cbranch(op2(LT, n("x"), n("a")), 1);
  ret(n("x"));
  build();
  build_minimal_loop_hierarchy();
  ASSERT_NE(loop_root->inner, nullptr);
  struct LOOP* outer = loop_root->inner->loop;
  ASSERT_NE(outer->inner, nullptr);
  struct LOOP* inner = outer->inner->loop;
  EXPECT_EQ(validate_loop(loop_root, 1), 0);
  EXPECT_TRUE(log_has("===== Validating LOOP"));

  // A level and a null <loop> are corrected; the second check is clean.
  inner->level = 7;
  EXPECT_EQ(validate_loop(outer, 0), 0);
  EXPECT_TRUE(log_has("has inner loop " + std::to_string(inner->number) + " with wrong level"));
  EXPECT_EQ(inner->level, 2);
  inner->level = 7;
  BBLK* member = inner->head;
  member->loop = nullptr;
  EXPECT_EQ(validate_loop(loop_root, 1), 0);
  EXPECT_TRUE(log_has("Loop " + std::to_string(inner->number) + " has incorrect level (7 --> 2)"));
  EXPECT_TRUE(log_has("with NULL <loop>"));
  EXPECT_EQ(inner->level, 2);
  EXPECT_EQ(member->loop, inner);
  EXPECT_EQ(validate_loop(loop_root, 1), 0);

  // A wrong tail, a stranger in the contents, a bad preheader: uncorrected.
  BBLK* tail = inner->tail;
  inner->tail = cfg.bb_list;
  EXPECT_GE(validate_loop(loop_root, 1), 1);
  EXPECT_TRUE(log_has("tail is missing or invalid"));
  EXPECT_TRUE(log_has("Uncorrected LOOP errors!!!"));
  inner->tail = tail;
  BBLK* pre = inner->preheader;
  inner->preheader = inner->head;
  EXPECT_GE(validate_loop(loop_root, 1), 1);
  EXPECT_TRUE(log_has("preheader is missing or invalid"));
  inner->preheader = pre;
  member->loop = loop_root;
  EXPECT_GE(validate_loop(loop_root, 1), 1);
  EXPECT_TRUE(log_has("incorrectly thinks it's NOT in Loop " + std::to_string(inner->number)));
  member->loop = inner;
  EXPECT_EQ(validate_loop(loop_root, 1), 0);
}

}  // namespace
}  // namespace cfgtest
