#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "ir/bitvec.h"
#include "ir/mmgt.h"

TEST(Pool, RoundsRequestsAndReusesMemoryWithoutClearing) {
  zfree_all();
  char* a = static_cast<char*>(zalloc(1));
  char* b = static_cast<char*>(zalloc(1));
  EXPECT_EQ(b - a, 8) << "a 1-byte request takes 8";
  memset(a, 0x5a, 8);
  EXPECT_TRUE(zlocalp(a));
  zfree_all();
  EXPECT_FALSE(zlocalp(a)) << "old pointers are not local after zfree_all";
  EXPECT_EQ(zone_stats().local_bytes, 0u);
}

TEST(Pool, LargeRequestGetsItsOwnBlock) {
  zfree_all();
  // A request whose double exceeds the block size gets an exact block, so
  // the zone is then full.
  zalloc(0x3ff00);
  EXPECT_EQ(zone_stats().local_blocks, 1u);
  char* big = static_cast<char*>(zalloc(0x20001));
  EXPECT_EQ(zone_stats().local_blocks, 2u);
  EXPECT_TRUE(zlocalp(big));
  EXPECT_TRUE(zlocalp(big + 0x20007)) << "rounded up to 0x20008";
  // Both blocks are full: a small request needs a new ordinary block.
  char* small = static_cast<char*>(zalloc(8));
  EXPECT_EQ(zone_stats().local_blocks, 3u);
  EXPECT_TRUE(zlocalp(small));
  // ... which then serves the next ones.
  zalloc(8);
  EXPECT_EQ(zone_stats().local_blocks, 3u);
  zfree_all();
}

TEST(Pool, GlobalZoneSurvivesFunctionRelease) {
  zfree_all();
  void* g = zalloc0(0, 64);
  void* l = zalloc0(1, 64);
  EXPECT_FALSE(zlocalp(g));
  EXPECT_TRUE(zlocalp(l));
  zfree_all();
  memset(g, 0, 64);  // still ours
  // Later requests of the global zone never overlap earlier ones.
  char* h = static_cast<char*>(zalloc0(0, 0x20000));
  char* gc = static_cast<char*>(g);
  EXPECT_TRUE(h + 0x20000 <= gc || gc + 64 <= h);
  memset(h, 1, 0x20000);
  EXPECT_EQ(gc[63], 0);
}

TEST(Pool, FreeMapIsExactSizeLifo) {
  zfree_all();
  void* a = zalloc(32);
  void* b = zalloc(32);
  EXPECT_EQ(take_from_freemap(32), nullptr);
  add_to_freemap(a, 32);
  add_to_freemap(b, 32);
  EXPECT_EQ(take_from_freemap(24), nullptr);
  EXPECT_EQ(take_from_freemap(32), b);
  EXPECT_EQ(take_from_freemap(32), a);
  EXPECT_EQ(take_from_freemap(32), nullptr);
  add_to_freemap(a, 32);
  zfree_all();
  EXPECT_EQ(take_from_freemap(32), nullptr) << "the free map dies with the pool";
}

TEST(Bitvec, GrowsOnAddAndKeepsOldBits) {
  BITVEC* v = mkBITVEC(40, 0);
  v->bv_add(3);
  v->bv_add(39);
  v->bv_add(40);  // one beyond: grows to 41 bits
  EXPECT_EQ(v->nbits, 41);
  EXPECT_TRUE(v->bv_test(3));
  EXPECT_TRUE(v->bv_test(39));
  EXPECT_TRUE(v->bv_test(40));
  EXPECT_FALSE(v->bv_test(41));
  erase_bitvec(v);
}

TEST(Bitvec, ShrinkThenGrowLeavesNoStaleBits) {
  BITVEC* v = mkBITVEC(100, 0);
  for (int i = 0; i < 100; ++i) v->bv_add(i);
  v->bv_resize(10);
  EXPECT_EQ(v->bv_count(), 10);
  v->bv_resize(100);
  EXPECT_EQ(v->bv_count(), 10);
  for (int i = 10; i < 100; ++i) EXPECT_FALSE(v->bv_test(i)) << i;
  v->bv_resize(300);  // beyond capacity: fresh words
  EXPECT_EQ(v->bv_count(), 10);
  erase_bitvec(v);
}

TEST(Bitvec, EmptyVectorAndSetOperations) {
  BITVEC* e = mkBITVEC(0, 0);
  EXPECT_EQ(e->words, nullptr);
  EXPECT_EQ(e->nwords, 0);
  erase_bitvec(e);

  BITVEC* a = mkBITVEC(70, 0);
  BITVEC* b = mkBITVEC(70, 0);
  for (int i : {1, 2, 3, 5, 64, 65, 66}) a->bv_add(i);
  for (int i : {2, 65}) b->bv_add(i);
  BITVEC* d = mkBITVEC(70, 0);
  d->bv_diff(*a, *b);
  testing::internal::CaptureStdout();
  d->bv_print(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[1,3,5,64,66]");
  testing::internal::CaptureStdout();
  a->bv_print(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[1-3,5,64-66]");
  EXPECT_FALSE(a->bv_union(*b));
  EXPECT_TRUE(b->bv_union(*d));
  EXPECT_TRUE(b->bv_equal(*a));
  erase_bitvec(a);
  erase_bitvec(b);
  erase_bitvec(d);
}

TEST(Bitvec, LocalVectorsDieWithThePool) {
  zfree_all();
  mkBITVEC(10, 1);
  mkBITVEC(10, 1);
  EXPECT_EQ(zone_stats().local_bitvecs, 2u);
  zfree_all();
  EXPECT_EQ(zone_stats().local_bitvecs, 0u);
}

TEST(Pool, ReleasedBlocksServeTheNextFunctionIntact) {
  zfree_all();
  // Three blocks' worth of requests, each stamped with its own number.
  std::vector<uint32_t*> first;
  for (uint32_t i = 0; i < 3 * 0x40000 / 0x1000; ++i) {
    auto* p = static_cast<uint32_t*>(zalloc(0x1000 - 8));
    std::fill(p, p + (0x1000 - 8) / 4, i);
    first.push_back(p);
  }
  EXPECT_GE(zone_stats().local_blocks, 3u);
  zfree_all();
  for (uint32_t* p : first) EXPECT_FALSE(zlocalp(p));
  // The next function gets the same amount; its memory is local again and
  // no two requests share a byte.
  std::vector<uint32_t*> second;
  for (uint32_t i = 0; i < first.size(); ++i) {
    auto* p = static_cast<uint32_t*>(zalloc(0x1000 - 8));
    EXPECT_TRUE(zlocalp(p));
    std::fill(p, p + (0x1000 - 8) / 4, 1000 + i);
    second.push_back(p);
  }
  for (uint32_t i = 0; i < second.size(); ++i) {
    const uint32_t* p = second[i];
    ASSERT_EQ(p[0], 1000 + i);
    ASSERT_EQ(p[(0x1000 - 8) / 4 - 1], 1000 + i);
  }
#if !defined(__SANITIZE_ADDRESS__)
  // Outside the address sanitizer the pages are the ones already in use.
  std::set<uintptr_t> old_pages, new_pages;
  for (uint32_t* p : first) old_pages.insert(reinterpret_cast<uintptr_t>(p) >> 12);
  for (uint32_t* p : second) new_pages.insert(reinterpret_cast<uintptr_t>(p) >> 12);
  EXPECT_EQ(old_pages, new_pages);
#endif
  zfree_all();
}
