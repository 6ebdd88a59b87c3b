// Memory: the per-function pool (local zone), the file-lifetime global zone,
// the size-indexed free map, the type package's allocator and the checked
// malloc family.
#pragma once
#include <cstddef>

void* zalloc(size_t size);
void* zalloc0(int level, size_t size);
void zfree_all();
bool zlocalp(const void* p);
void zdump();

void* take_from_freemap(size_t size);
void add_to_freemap(void* block, size_t size);
void report_on_freemap(const char* caller);
void erase_all();

void* tp_alloc(size_t size);
void tp_free(void* block, size_t size);

void* safemalloc(size_t size);
void* safecalloc(size_t count, size_t size);
void* saferealloc(void* block, size_t size);

// Copies text into the pool of lexical level `level`.
char* zstrdup(int level, const char* text);

// Statistics for tests and zdump.
struct ZONE_STATS {
  size_t local_bytes = 0;      // bytes handed out since the last zfree_all
  size_t local_blocks = 0;     // blocks now in the local zone
  size_t largest_request = 0;
  size_t peak_local_bytes = 0;
  size_t global_calls = 0;
  size_t local_bitvecs = 0;
};
const ZONE_STATS& zone_stats();
