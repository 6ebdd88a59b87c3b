// The utility family on blocks, edges and labels.
#include "test_cfg_fixture.h"

#include "scalar/simpcfg_rules.h"

namespace cfgtest {
namespace {

using Util = CfgTest;

// entry: x = a; y = x + 1; switch (a) { 1: L1, 2: L2, default: L2 }
void small_switch(CfgTest& t) {
  t.param("a");
  t.prolog();
  t.stmt(t.asg("x", t.n("a")));
  t.stmt(t.asg("y", t.op2(PLUS, t.n("x"), t.k(1))));
  t.switch_(t.n("a"), {{1, 1}, {2, 2}}, 2);
  t.label(1);
  t.ret(t.n("x"));
  t.label(2);
  t.ret(t.n("y"));
}

TEST_F(Util, SplitBlockMovesTheSuccessorsToTheNewHalf) {
  small_switch(*this);
  expect_same_runs({{1}, {2}, {3}}, [this] {
    BBLK* entry = blocks()[0];
    entry->dFreqIn = 7.0;
    LIST* at = entry->statements->next->next;  // y = x + 1
    BBLK* tail = split_block(entry, at);
    EXPECT_EQ(tail->statements, at);
    NODE* br = last_stmt(entry);
    ASSERT_EQ(br->op, BRANCH);
    EXPECT_EQ(label_target(br->left), tail);
    EXPECT_EQ(br->left->edge_profile, 1.0);
    EXPECT_EQ(edge_length(entry->successors), 1);
    EXPECT_EQ(entry->successors->dFreq, 7.0);
    EXPECT_EQ(edge_length(tail->successors), 2);
    EXPECT_TRUE(edge_memberp(tail, block_of(1)->predecessors));
    EXPECT_FALSE(edge_memberp(entry, block_of(1)->predecessors));
    EXPECT_EQ(entry->dflink, tail);
    EXPECT_EQ(tail->uon, -1);
  });
}

TEST_F(Util, SplitEdgePutsABlockWhereTheEdgeWas) {
  small_switch(*this);
  expect_same_runs({{1}, {2}, {3}}, [this] {
    BBLK* entry = blocks()[0];
    BBLK* two = block_of(2);
    int position = 0;
    for (EDGE* e = entry->successors; e && e->bb != two; e = e->next) ++position;
    BBLK* mid = split_cfg_edge(entry, two);
    EXPECT_TRUE(is_lone_BRANCH(mid));
    EXPECT_EQ(label_target(first_stmt(mid)->left), two);
    int again = 0;
    for (EDGE* e = entry->successors; e && e->bb != mid; e = e->next) ++again;
    EXPECT_EQ(again, position) << "the edge keeps its place";
    EXPECT_FALSE(edge_memberp(two, entry->successors));
    EXPECT_TRUE(edge_memberp(mid, two->predecessors));
    // Both LABELs that went to the block (a CASE and the DEFAULT) go through.
    EDGE* targets = list_branch_targets(last_stmt(entry), nullptr);
    EXPECT_EQ(edge_length(targets), 2);
    EXPECT_TRUE(edge_memberp(mid, targets));
    erase_edge_list(targets);
    EXPECT_EQ(subst_bb_for_bb_in_stmts(mid, mid, entry->statements), 2);
    EXPECT_EQ(subst_bb_for_bb_in_stmts(mid, two, entry->statements), 0);
  });
}

TEST_F(Util, StatementsGoBeforeTheTransferOrBeforeAGivenOne) {
  small_switch(*this);
  expect_same_runs({{1}, {2}}, [this] {
    BBLK* entry = blocks()[0];
    NODE* sw = last_stmt(entry);
    insert_stmt_before_stmt_in_bb(asg("z", op2(PLUS, n("x"), k(10))), nullptr, entry, nullptr);
    EXPECT_EQ(last_stmt(entry), sw);
    NODE* first_asg = entry->statements->next->tree;
    insert_stmt_before_stmt_in_bb(asg("a", op2(PLUS, n("a"), k(0))), first_asg, entry, nullptr);
    EXPECT_EQ(entry->statements->next->next->tree, first_asg);
  });
}

TEST_F(Util, EdgeListsSortAndCopy) {
  small_switch(*this);
  build();
  std::vector<BBLK*> bs = blocks();
  EDGE* list = nullptr;
  for (auto it = bs.rbegin(); it != bs.rend(); ++it) list = add_edge(*it, list, (*it)->dfn * 1.5);
  EXPECT_EQ(add_edge(bs[0], list, 9.0), list) << "no duplicates";
  EXPECT_EQ(edge_length(list), static_cast<int>(bs.size()));
  EDGE* copy = copy_edge_list(list);
  EDGE* sorted = fast_sort_edge_list(copy);
  int last = 0;
  for (EDGE* e = sorted; e; e = e->next) {
    EXPECT_GT(e->bb->dfn, last);
    EXPECT_EQ(e->dFreq, e->bb->dfn * 1.5) << "the count stays with its block";
    last = e->bb->dfn;
  }
  EDGE* rev = rev_edge_list(sorted);
  EXPECT_EQ(rev->bb, bs.back());
  rev = remove_edge(bs.back(), rev);
  EXPECT_FALSE(edge_memberp(bs.back(), rev));
  erase_edge_list(rev);
  erase_edge_list(list);
}

TEST_F(Util, PragmaBeforeThePrologGoesBehindIt) {
  param("a");
  NODE* pragma = maketree(PPRAGMA, nullptr, nullptr, void_t, nullptr);
  stmt(pragma);
  prolog();
  ret(n("a"));
  build();
  BBLK* entry = blocks()[0];
  ASSERT_NE(entry->statements, nullptr);
  EXPECT_EQ(entry->statements->tree->op, ASG) << "the prolog first";
  EXPECT_EQ(entry->statements->next->tree, pragma);
  EXPECT_NE(cfg.arg_prolog, nullptr);
}

}  // namespace
}  // namespace cfgtest
