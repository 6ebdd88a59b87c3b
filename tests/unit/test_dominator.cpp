// Dominators and post-dominators, and their freshness after graph edits.
#include <set>

#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

using Dom = CfgTest;

// entry: if (a) goto 1 else goto 2;  1: out; goto 3;  2: out; goto 3;
// 3: loop head: out; if (b) goto 3 else goto 4;  4: return
void diamond_then_loop(CfgTest& t) {
  t.param("a");
  t.param("b");
  t.prolog();
  t.cbranch(t.n("a"), 1);
  t.go(2);
  t.label(1);
  t.out(t.k(1));
  t.go(3);
  t.label(2);
  t.out(t.k(2));
  t.go(3);
  t.label(3);
  t.out(t.k(3));
  t.stmt(t.asg("b", t.op2(MINUS, t.n("b"), t.k(1))));
  t.cbranch(t.op2(GT, t.n("b"), t.k(0)), 3);
  t.go(4);
  t.label(4);
  t.ret(t.n("b"));
}

TEST_F(Dom, DiamondAndLoop) {
  diamond_then_loop(*this);
  build();
  Dominator* d = function_dominator();
  BBLK* entry = blocks()[0];
  BBLK *b1 = block_of(1), *b2 = block_of(2), *b3 = block_of(3), *b4 = block_of(4);
  EXPECT_EQ(d->immediate_dominator(entry), entry);
  EXPECT_EQ(d->immediate_dominator(b1), entry);
  EXPECT_EQ(d->immediate_dominator(b2), entry);
  EXPECT_EQ(d->immediate_dominator(b3), entry) << "the join is dominated by the test, not by an arm";
  EXPECT_EQ(d->immediate_dominator(b4), b3);
  EXPECT_TRUE(d->dominates(entry, b4));
  EXPECT_TRUE(d->dominates(b3, b3));
  EXPECT_FALSE(d->dominates(b1, b3));
  EXPECT_FALSE(d->dominates(b4, b3));
  EXPECT_FALSE(d->dominates(1, 0)) << "0 is no block";
  EXPECT_FALSE(d->dominates(1, cfg.bb_count + 1));
  EXPECT_TRUE(d->dominates(7, 7)) << "equal numbers dominate even out of range";
  EXPECT_EQ(d->immediate_post_dominator(entry), b3);
  EXPECT_EQ(d->immediate_post_dominator(b1), b3);
  EXPECT_EQ(d->immediate_post_dominator(b3), b4);
  EXPECT_EQ(d->immediate_post_dominator(b4), b4) << "an exit is its own post-dominator";
  EXPECT_TRUE(d->post_dominates(b4, entry));
  EXPECT_FALSE(d->post_dominates(b1, entry));
  // Children and the tree walk.
  const auto& kids = d->dominator_children(entry);
  EXPECT_EQ(kids.size(), 3u);
  EXPECT_EQ(d->dominator_children(b3).size(), 1u);
  EXPECT_EQ(d->post_dominator_children(b4).size(), 1u);
  EXPECT_EQ(d->dom_walk.size(), static_cast<size_t>(cfg.bb_count));
  EXPECT_EQ(d->dom_walk.front(), entry->dfn);
  std::vector<BBLK*> pre, post;
  d->df_traverse([&](BBLK* b) { pre.push_back(b); });
  d->rdf_traverse([&](BBLK* b) { post.push_back(b); });
  ASSERT_EQ(pre.size(), post.size());
  EXPECT_TRUE(std::equal(pre.begin(), pre.end(), post.rbegin()));
  for (size_t i = 0; i < pre.size(); ++i)
    for (size_t j = i + 1; j < pre.size(); ++j)
      EXPECT_FALSE(d->dominates(pre[j], pre[i]) && pre[j] != pre[i]) << "parents come first";
  EXPECT_EQ(d->DFSblock(b3->dfn), b3);
  EXPECT_EQ(d->DFSblock(0), nullptr);
}

TEST_F(Dom, SeveralExitsHaveNoCommonPostDominator) {
  param("a");
  prolog();
  cbranch(n("a"), 1);
  out(k(0));
  ret(k(0));
  label(1);
  cbranch(op2(GT, n("a"), k(5)), 2);
  out(k(1));
  ret(k(1));
  label(2);
  ret(k(2));
  build();
  Dominator* d = function_dominator();
  BBLK* entry = blocks()[0];
  std::vector<BBLK*> exits;
  for (BBLK* b : blocks())
    if (!b->successors) exits.push_back(b);
  ASSERT_EQ(exits.size(), 3u);
  EXPECT_EQ(d->immediate_post_dominator(entry), nullptr);
  EXPECT_EQ(d->immediate_post_dominator(block_of(1)), nullptr);
  for (BBLK* x : exits) {
    EXPECT_EQ(d->immediate_post_dominator(x), x);
    EXPECT_FALSE(d->post_dominates(x, entry));
  }
  d->print_POSTDOM(log);
  EXPECT_TRUE(log_has("\tIPDOM[1] = 0\n"));
}

TEST_F(Dom, InfiniteLoopHasNoPostDominators) {
  param("a");
  prolog();
  cbranch(n("a"), 1);
  ret(k(0));
  label(1);
  out(k(1));
  go(1);
  build();
  Dominator* d = function_dominator();
  EXPECT_EQ(d->immediate_post_dominator(block_of(1)), nullptr);
  EXPECT_FALSE(d->post_dominates(blocks()[0], block_of(1)));
  EXPECT_EQ(d->immediate_dominator(block_of(1)), blocks()[0]);
}

TEST_F(Dom, AnswersAreFreshAfterEveryKindOfEdit) {
  diamond_then_loop(*this);
  build();
  Dominator* d = function_dominator();
  BBLK* entry = blocks()[0];
  BBLK *b1 = block_of(1), *b2 = block_of(2), *b3 = block_of(3);
  EXPECT_EQ(d->immediate_dominator(b3), entry);
  int rebuilds = log_count(" ==== Entering Dominator rebuild ====\n");
  EXPECT_EQ(d->immediate_dominator(b3), entry);
  EXPECT_EQ(log_count(" ==== Entering Dominator rebuild ====\n"), rebuilds) << "no edit, no rebuild";

  // A LABEL pointed elsewhere: b2 now jumps to b1, so b1 dominates b3.
  point_label_at(last_stmt(b2)->left, b1);
  recompute_successors(b2);
  EXPECT_EQ(d->immediate_dominator(b3), b1);
  EXPECT_EQ(d->immediate_dominator(b1), entry);
  EXPECT_GT(log_count(" ==== Exiting Dominator rebuild ====\n"), rebuilds);

  // A block split: the new half sits between b1 and b3.
  BBLK* tail = split_block(b1, last_cell(b1));
  EXPECT_EQ(d->immediate_dominator(tail), b1);
  EXPECT_EQ(d->immediate_dominator(b3), tail);
  EXPECT_TRUE(d->dominates(b1, b3));

  // An edge split: the new block on the back edge of the loop.
  BBLK* latch = split_cfg_edge(b3, b3);
  EXPECT_EQ(d->immediate_dominator(latch), b3);
  EXPECT_TRUE(d->post_dominates(b3, latch));
  expect_valid("splits");

  // A block left without statements goes with the next clean-up.
  simpcfg(false, false);
  expect_valid("simpcfg");
  for (BBLK* b : blocks()) {
    BBLK* id = d->immediate_dominator(b);
    ASSERT_NE(id, nullptr);
    EXPECT_TRUE(d->dominates(id, b));
    EXPECT_TRUE(b == entry || id != b);
  }

  // Renumbering alone.
  renumber_bblocks();
  EXPECT_EQ(d->immediate_dominator(blocks().back())->dfn, d->idom[blocks().back()->dfn]);
}

TEST_F(Dom, LayoutEditedWithoutRenumberingStillAnswers) {
  diamond_then_loop(*this);
  build();
  Dominator* d = function_dominator();
  BBLK* b3 = block_of(3);
  // A block put in the chain by hand, dfn left stale.
  BBLK* extra = insert_new_bb(1, blocks()[0], nullptr);
  extra->statements = mkelist(mk_BRANCH(b3, nullptr), nullptr, nullptr);
  point_label_at(last_stmt(block_of(2))->left, extra);
  recompute_successors(block_of(2));
  recompute_successors(extra);
  EXPECT_EQ(d->immediate_dominator(extra), block_of(2));
  EXPECT_EQ(d->immediate_dominator(b3), blocks()[0]);
  std::set<int> numbers;
  for (BBLK* b : blocks()) numbers.insert(b->dfn);
  EXPECT_EQ(numbers.size(), blocks().size()) << "numbers made unique again";
}

TEST_F(Dom, ComputeDominatorsBuildsAtOnce) {
  diamond_then_loop(*this);
  build();
  int before = log_count(" ==== Entering Dominator rebuild ====\n");
  compute_dominators(false);
  EXPECT_EQ(log_count(" ==== Entering Dominator rebuild ====\n"), before + 1);
  function_dominator()->print_IDOM(log);
  EXPECT_TRUE(log_has("\tIDOM[1] = 1\n"));
}

}  // namespace
}  // namespace cfgtest
