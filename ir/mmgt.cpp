#include "ir/mmgt.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sys/mman.h>
#include <vector>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "options/global_flags.h"

namespace {

struct ZONE_BLOCK {
  ZONE_BLOCK* next;
  char* memory;
  size_t size;
  size_t used;
};

struct RANGE {
  const char* start;
  const char* end;
};

const size_t kBlockSize = 0x40000;
const int kSearchLimit = 8;

ZONE_BLOCK* local_chain = nullptr;
// Blocks of the standard size that zfree_all gave back, kept for the next
// function: their pages are in memory already, so a large function read a
// second time, or the next of many functions, touches no fresh memory. They
// never outnumber the blocks of the largest function so far. Under the
// address sanitizer they are freed instead, so that a stale pointer into a
// finished function's zone is still caught.
ZONE_BLOCK* spare_blocks = nullptr;
#if defined(__SANITIZE_ADDRESS__)
const bool kKeepSpareBlocks = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
const bool kKeepSpareBlocks = false;
#else
const bool kKeepSpareBlocks = true;
#endif
#else
const bool kKeepSpareBlocks = true;
#endif
std::vector<RANGE> local_ranges;     // sorted by start, for zlocalp
std::vector<void*> debug_blocks;     // one malloc per request under debug_zalloc
std::map<size_t, size_t> alloc_histogram;
ZONE_STATS stats;
size_t lost_bytes = 0;

// The global zone is never released: its blocks stay chained from here for
// the whole run, and everything in it stays reachable.
const size_t kGlobalBlockSize = 0x10000;
ZONE_BLOCK* global_chain = nullptr;
std::vector<void*> global_debug_blocks;

std::vector<void*> freemap;  // index: block size in bytes
size_t tp_total = 0;

// The link of a free block lives in its second word, so that the first
// (often a tag or an operator) stays readable in a dump; blocks too small for
// that use the first.
void*& link_of(void* block, size_t size) {
  return static_cast<void**>(block)[size >= 2 * sizeof(void*) ? 1 : 0];
}

void add_range(const ZONE_BLOCK* b) {
  RANGE r{b->memory, b->memory + b->size};
  auto at = std::upper_bound(local_ranges.begin(), local_ranges.end(), r,
                             [](const RANGE& x, const RANGE& y) { return x.start < y.start; });
  local_ranges.insert(at, r);
}

}  // namespace

void* zalloc(size_t size) {
  if (debug_allochist) alloc_histogram[size]++;
  void* result = nullptr;
  if (debug_zalloc) {
    result = malloc(size ? size : 1);
    if (!result) report_allocation_error("ZALLOC", static_cast<unsigned>(size));
    debug_blocks.push_back(result);
  } else {
    size = (size + 7) & ~static_cast<size_t>(7);
    if (size == 0) size = 8;
    ZONE_BLOCK* b = local_chain;
    for (int i = 0; b && i < kSearchLimit; ++i, b = b->next)
      if (b->size - b->used >= size) break;
    if (!b || b->size - b->used < size) {
      if (local_chain) lost_bytes += local_chain->size - local_chain->used;
      size_t want = 2 * size <= kBlockSize ? kBlockSize : size;
      b = nullptr;
      if (want == kBlockSize && spare_blocks) {
        b = spare_blocks;
        spare_blocks = b->next;
        b->next = local_chain;
        b->used = 0;
      } else if (want == kBlockSize && kKeepSpareBlocks) {
        // A block that is kept is mapped with its pages present: one call
        // instead of a fault for each page as the pool first writes it.
        void* mem = mmap(nullptr, want, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        if (mem != MAP_FAILED) {
          b = static_cast<ZONE_BLOCK*>(malloc(sizeof(ZONE_BLOCK)));
          if (!b) report_allocation_error("ZALLOC_NEW_BUFFER", static_cast<unsigned>(sizeof(ZONE_BLOCK)));
          *b = ZONE_BLOCK{local_chain, static_cast<char*>(mem), want, 0};
        }
      }
      if (!b) {
        char* mem = nullptr;
        for (;;) {
          mem = static_cast<char*>(malloc(want));
          if (mem || want / 2 < size) break;
          want /= 2;
        }
        if (!mem) report_allocation_error("ZALLOC_NEW_BUFFER", static_cast<unsigned>(size));
        b = static_cast<ZONE_BLOCK*>(malloc(sizeof(ZONE_BLOCK)));
        if (!b) report_allocation_error("ZALLOC_NEW_BUFFER", static_cast<unsigned>(sizeof(ZONE_BLOCK)));
        *b = ZONE_BLOCK{local_chain, mem, want, 0};
      }
      local_chain = b;
      stats.local_blocks++;
      add_range(b);
    }
    result = b->memory + b->used;
    b->used += size;
  }
  stats.local_bytes += size;
  stats.peak_local_bytes = std::max(stats.peak_local_bytes, stats.local_bytes);
  stats.largest_request = std::max(stats.largest_request, size);
  return result;
}

void* zalloc0(int level, size_t size) {
  if (level != 0) return zalloc(size);
  stats.global_calls++;
  if (debug_zalloc) {
    void* p = malloc(size ? size : 1);
    if (!p) report_allocation_error("ZALLOC0", static_cast<unsigned>(size));
    global_debug_blocks.push_back(p);
    return p;
  }
  size = (size + 7) & ~static_cast<size_t>(7);
  if (size == 0) size = 8;
  ZONE_BLOCK* b = global_chain;
  if (!b || b->size - b->used < size) {
    // A large request gets a block of its own behind the head, so that the
    // head's room is not given up for it.
    size_t want = 4 * size <= kGlobalBlockSize ? kGlobalBlockSize : size;
    char* mem = static_cast<char*>(malloc(want));
    ZONE_BLOCK* nb = mem ? static_cast<ZONE_BLOCK*>(malloc(sizeof(ZONE_BLOCK))) : nullptr;
    if (!nb) report_allocation_error("ZALLOC0", static_cast<unsigned>(size));
    *nb = ZONE_BLOCK{nullptr, mem, want, 0};
    if (want == kGlobalBlockSize || !global_chain) {
      nb->next = global_chain;
      global_chain = nb;
    } else {
      nb->next = global_chain->next;
      global_chain->next = nb;
    }
    b = nb;
  }
  void* p = b->memory + b->used;
  b->used += size;
  return p;
}

char* zstrdup(int level, const char* text) {
  size_t n = strlen(text) + 1;
  char* p = static_cast<char*>(zalloc0(level, n));
  memcpy(p, text, n);
  return p;
}

void zfree_all() {
  // Blocks on the free lists live in the zone and die with it.
  std::fill(freemap.begin(), freemap.end(), nullptr);
  reset_node_free_lists();
  while (local_chain) {
    ZONE_BLOCK* next = local_chain->next;
    if (kKeepSpareBlocks && local_chain->size == kBlockSize) {
      local_chain->next = spare_blocks;
      spare_blocks = local_chain;
    } else {
      free(local_chain->memory);
      free(local_chain);
    }
    local_chain = next;
  }
  for (void* p : debug_blocks) free(p);
  debug_blocks.clear();
  local_ranges.clear();
  free_local_bitvecs();
  stats.local_bytes = 0;
  stats.local_blocks = 0;
  lost_bytes = 0;
}

bool zlocalp(const void* p) {
  if (debug_zalloc) return false;
  const char* c = static_cast<const char*>(p);
  auto it = std::upper_bound(local_ranges.begin(), local_ranges.end(), c,
                             [](const char* x, const RANGE& r) { return x < r.start; });
  if (it == local_ranges.begin()) return false;
  --it;
  return c >= it->start && c < it->end;
}

const ZONE_STATS& zone_stats() {
  stats.local_bitvecs = static_cast<size_t>(local_bitvec_count());
  return stats;
}

void zdump() {
  if (!print_debug || !fdebug) return;
  fprintf(fdebug, "\n ==== MEMORY USAGE STATISTICS ====\n");
  fprintf(fdebug, "%10ld BYTES ALLOCATED IN THE LOCAL ZONE\n", static_cast<long>(stats.local_bytes));
  fprintf(fdebug, "%10ld BYTES LOST TO FRAGMENTATION (LOCAL)\n", static_cast<long>(lost_bytes));
  fprintf(fdebug, "%10ld BYTES IN THE LARGEST REQUEST\n", static_cast<long>(stats.largest_request));
  fprintf(fdebug, "%10ld BYTES AT THE PEAK OF THE LOCAL ZONE\n", static_cast<long>(stats.peak_local_bytes));
  fprintf(fdebug, "%10d LOCAL BITVECS ALLOCATED\n", local_bitvec_count());
  fprintf(fdebug, "%10ld CALLS FOR GLOBAL ALLOCATION\n", static_cast<long>(stats.global_calls));
  if (debug_allochist)
    for (const auto& kv : alloc_histogram)
      fprintf(fdebug, "%10ld REQUESTS OF %ld BYTES\n", static_cast<long>(kv.second), static_cast<long>(kv.first));
}

void* take_from_freemap(size_t size) {
  if (size >= freemap.size() || !freemap[size]) return nullptr;
  void* block = freemap[size];
  freemap[size] = link_of(block, size);
  return block;
}

void add_to_freemap(void* block, size_t size) {
  if (size < 4 || size < sizeof(void*)) abort_optimizer();
  if (size >= freemap.size()) freemap.resize(size + 1, nullptr);
  link_of(block, size) = freemap[size];
  freemap[size] = block;
}

void report_on_freemap(const char* caller) {
  if (!print_debug || !fdebug) return;
  fprintf(fdebug, "\n ==== CURRENT GENERIC FREE LIST STORAGE CAPACITY ====\t\t%s()\n", caller);
  for (size_t size = 0; size < freemap.size(); ++size) {
    size_t n = 0;
    for (void* b = freemap[size]; b; b = link_of(b, size)) ++n;
    if (n) fprintf(fdebug, "%10ld BLOCKS OF %ld BYTES\n", static_cast<long>(n), static_cast<long>(size));
  }
}

void* tp_alloc(size_t size) {
  void* p = calloc(1, size ? size : 1);
  if (!p) {
    fprintf(stderr, "Out of memory: tp_alloc()\n");
    exit(1);
  }
  tp_total += size;
  return p;
}

void tp_free(void* block, size_t size) {
  free(block);
  tp_total -= std::min(tp_total, size);
}

void* safemalloc(size_t size) {
  void* p = malloc(size ? size : 1);
  if (!p) {
    fprintf(stderr, "ERROR: out of memory\n");
    exit(1);
  }
  return p;
}

void* safecalloc(size_t count, size_t size) {
  void* p = calloc(count ? count : 1, size ? size : 1);
  if (!p) {
    fprintf(stderr, "ERROR: out of memory\n");
    exit(1);
  }
  return p;
}

void* saferealloc(void* block, size_t size) {
  void* p = realloc(block, size ? size : 1);
  if (!p) {
    fprintf(stderr, "ERROR: out of memory\n");
    exit(1);
  }
  return p;
}
