// The sweeps that pick up functions still needed after their callers: they
// end whatever the flags do, and still find a function that a later write
// made necessary.
#include <gtest/gtest.h>

#include <vector>

#include "driver/epilogue.h"
#include "ir/symbol.h"

namespace {

struct Functions {
  std::vector<FUNINFO> infos;
  std::vector<FUNLIST> cells;
  std::vector<FUNLIST*> order;
  explicit Functions(size_t n) : infos(n), cells(n) {
    for (size_t i = 0; i < n; i++) {
      cells[i].fun = &infos[i];
      order.push_back(&cells[i]);
    }
  }
  size_t index(const FUNLIST* f) const { return static_cast<size_t>(f - cells.data()); }
};

TEST(DriverSweeps, AFunctionThatStaysSuppressedEndsTheSweeps) {
  // Needed but suppressed again by its own optimisation each time: the
  // sweeps once went round for ever on such a function.
  Functions fs(3);
  fs.infos[0].flags = FUN_is_processed;
  fs.infos[1].flags = FUN_is_suppressed | FUN_cannot_suppress;
  fs.infos[2].flags = FUN_is_suppressed;
  int calls = 0;
  run_unsuppress_sweeps(fs.order, [&](FUNLIST* f) {
    ++calls;
    ASSERT_EQ(fs.index(f), 1u) << "only the needed function is read";
    f->fun->flags |= FUN_is_suppressed;
  });
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(fs.infos[1].flags & FUN_is_processed);
  EXPECT_TRUE(fs.infos[2].flags & FUN_is_suppressed) << "a function nobody needs stays set aside";
}

TEST(DriverSweeps, AWriteThatNeedsAnEarlierFunctionBringsAnotherSweep) {
  // 0 is set aside; writing 2 needs 0 after all, but the sweep has passed
  // it, so a second sweep must come back for it. Writing 0 needs nothing.
  Functions fs(3);
  fs.infos[0].flags = FUN_is_suppressed;
  fs.infos[1].flags = FUN_is_processed;
  fs.infos[2].flags = FUN_is_suppressed | FUN_cannot_suppress;
  std::vector<size_t> seen;
  run_unsuppress_sweeps(fs.order, [&](FUNLIST* f) {
    seen.push_back(fs.index(f));
    EXPECT_FALSE(f->fun->flags & FUN_is_suppressed) << "cleared before the function is read";
    f->fun->flags |= FUN_is_processed;
    if (fs.index(f) == 2) fs.infos[0].flags |= FUN_cannot_suppress;
  });
  EXPECT_EQ(seen, (std::vector<size_t>{2, 0}));
}

TEST(DriverSweeps, ReadingNeverMarksItsFunctionDoneAndTheSweepsStillEnd) {
  // What a broken file offset did: every read optimised some other function,
  // so nothing still wanted ever became done.
  Functions fs(50);
  for (FUNINFO& f : fs.infos) f.flags = 0;
  int calls = 0;
  run_unsuppress_sweeps(fs.order, [&](FUNLIST*) { ++calls; });
  EXPECT_EQ(calls, 50) << "one sweep, and no second one without progress";
}

TEST(DriverSweeps, ChainOfNeedsTakesOneSweepPerLink) {
  // Each write needs the function before it in the order: n sweeps for n
  // functions, the most the rule allows.
  const size_t n = 20;
  Functions fs(n);
  for (FUNINFO& f : fs.infos) f.flags = FUN_is_suppressed;
  fs.infos[n - 1].flags |= FUN_cannot_suppress;
  int calls = 0;
  run_unsuppress_sweeps(fs.order, [&](FUNLIST* f) {
    ++calls;
    f->fun->flags |= FUN_is_processed;
    size_t i = fs.index(f);
    if (i > 0) fs.infos[i - 1].flags |= FUN_cannot_suppress;
  });
  EXPECT_EQ(calls, static_cast<int>(n));
  for (const FUNINFO& f : fs.infos) EXPECT_TRUE(f.flags & FUN_is_processed);
}

}  // namespace
