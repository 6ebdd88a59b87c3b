// Superblocks: with a profile the hot path is laid out as one run of
// blocks; without one nothing changes; the invariants are checked.
#include "test_cfg_fixture.h"

#include "options/keywords.h"
#include "scalar/superblocks.h"

namespace cfgtest {
namespace {

class Superblocks : public CfgTest {
 public:
  BBLK *entry = nullptr, *hot = nullptr, *cold = nullptr, *join = nullptr;

  // if (a > 0) out(2) [hot] else out(1) [cold]; return 0 [join]
  void diamond() {
    param("a");
    prolog();
    cbranch(op2(GT, n("a"), k(0)), 1);
    out(k(1));
    go(2);
    label(1);
    out(k(2));
    label(2);
    ret(k(0));
    build();
    entry = cfg.bb_list;
    hot = block_of(1);
    join = block_of(2);
    for (EDGE* e = entry->successors; e; e = e->next)
      if (e->bb != hot) cold = e->bb;
    ASSERT_TRUE(hot && cold && join && cold != join);
  }

  void set_counts(double to_hot, double to_cold) {
    fi->profile_mode = 2;
    entry->dFreqIn = to_hot + to_cold;
    hot->dFreqIn = to_hot;
    cold->dFreqIn = to_cold;
    join->dFreqIn = to_hot + to_cold;
    for (BBLK* b : blocks())
      for (EDGE* e = b->successors; e; e = e->next) e->dFreq = e->bb->dFreqIn;
    for (EDGE* e = entry->successors; e; e = e->next) e->dFreq = e->bb == hot ? to_hot : to_cold;
    for (EDGE* e = hot->successors; e; e = e->next) e->dFreq = to_hot;
    for (EDGE* e = cold->successors; e; e = e->next) e->dFreq = to_cold;
  }
};

TEST_F(Superblocks, TheHotPathBecomesOneRunOfBlocks) {
  diamond();
  std::vector<RUN> before;
  for (long a : {-1L, 3L}) before.push_back(run_graph({a}));
  for (double hot_count : {90.0, 10.0}) {
    set_counts(hot_count, 100.0 - hot_count);
    BBLK* likely = hot_count > 50 ? hot : cold;
    optimize_superblocks_in_cfg();
    SBLK* t = superblock_list();
    ASSERT_TRUE(t) << log_text();
    ASSERT_EQ(t->blocks.size(), 3u);
    EXPECT_EQ(t->blocks[0], entry);
    EXPECT_EQ(t->blocks[1], likely);
    EXPECT_EQ(t->blocks[2], join);
    EXPECT_FALSE(t->next) << "the other arm alone is no trace";
    EXPECT_FALSE(t->proper()) << "the join is entered from the other arm too";
    EXPECT_TRUE(log_has("SBLK #1: is not a proper superblock")) << log_text();
    straighten_traces_in_cfg();
    expect_valid("straighten_traces_in_cfg");
    EXPECT_EQ(entry->dflink, likely) << shape();
    EXPECT_EQ(likely->dflink, join) << shape();
    for (BBLK* b : blocks()) EXPECT_FALSE(b->trace);
    EXPECT_EQ(run_graph({-1}), before[0]);
    EXPECT_EQ(run_graph({3}), before[1]);
  }
}

TEST_F(Superblocks, NothingWithoutAProfileOrWhenDisabled) {
  diamond();
  std::string layout = shape();
  optimize_superblocks_in_cfg();
  EXPECT_FALSE(superblock_list());
  straighten_traces_in_cfg();
  EXPECT_EQ(shape(), layout);
  set_counts(90, 10);
  kw::disable_superblock_opt = 1;
  optimize_superblocks_in_cfg();
  kw::disable_superblock_opt = 0;
  EXPECT_FALSE(superblock_list());
  EXPECT_EQ(shape(), layout);
}

TEST_F(Superblocks, ATraceBrokenByALaterPassIsDropped) {
  diamond();
  set_counts(90, 10);
  optimize_superblocks_in_cfg();
  ASSERT_TRUE(superblock_list());
  std::string layout = shape();
  // A later pass sent the hot arm elsewhere: the trace no longer holds.
  LIST* last = last_cell(hot);
  last->tree = mk_BRANCH(hot, nullptr);
  recompute_successors(hot);
  straighten_traces_in_cfg();
  for (BBLK* b : blocks()) EXPECT_FALSE(b->trace);
  EXPECT_EQ(entry->dflink == hot && hot->dflink == join, false) << shape();
}

using SuperblocksDeathTest = Superblocks;
TEST_F(SuperblocksDeathTest, ATraceLeftOverIsAnInternalError) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  diamond();
  SBLK stray;
  hot->trace = &stray;
  EXPECT_EXIT(optimize_superblocks_in_cfg(), testing::ExitedWithCode(1), "bb->trace should be NULL");
  hot->trace = nullptr;
}

}  // namespace
}  // namespace cfgtest
