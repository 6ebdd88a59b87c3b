// qsort and bsearch: the library calls the program's comparison function,
// which runs and is counted like any call. qsort is a stable merge sort of
// the elements' places, so the order of the calls depends on the data only;
// the elements move once, at the end (two work units per unit of the array).
// bsearch halves [0, n) as the usual implementation does.
#include <vector>

#include "tools/icode-run/run_ops.h"

#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_libc.h"

namespace {

struct COMPARE {
  RUN_MACHINE& m;
  XFUNC* fn;
  CALLSITE cs;

  COMPARE(LIBCALL& c, VAL f) : m(c.m), fn(c.m.function_at(f)) {
    cs.arg_vk = {VK_PTR, VK_PTR};
    cs.arg_units = {1, 1};
  }
  int operator()(VAL a, VAL b) {
    VAL args[2] = {a, b};
    ++m.lib_calls;
    return static_cast<int32_t>(lo32(m.invoke(fn, cs, args, 0)));
  }
};

// The array of n elements of `size` units at base, checked whole.
uint32_t array_units(LIBCALL& c, VAL base, uint32_t n, uint32_t size, bool write) {
  uint64_t units = static_cast<uint64_t>(n) * size;
  if (units >= ADDRESS_UNITS) run_fail("%s: an array of %u elements of %u units does not fit in memory", c.fn->name, n, size);
  if (write) check_write(base, static_cast<uint32_t>(units));
  else check_read(base, static_cast<uint32_t>(units));
  return static_cast<uint32_t>(units);
}

void merge_sort(std::vector<uint32_t>& idx, std::vector<uint32_t>& tmp, size_t lo, size_t hi, COMPARE& cmp,
                VAL base, uint32_t size) {
  if (hi - lo < 2) return;
  size_t mid = lo + (hi - lo) / 2;
  merge_sort(idx, tmp, lo, mid, cmp, base, size);
  merge_sort(idx, tmp, mid, hi, cmp, base, size);
  size_t i = lo, j = mid, k = lo;
  while (i < mid && j < hi) {
    // Equal elements keep their order: the right one goes first only when smaller.
    if (cmp(ptr_add(base, idx[j] * size), ptr_add(base, idx[i] * size)) < 0) tmp[k++] = idx[j++];
    else tmp[k++] = idx[i++];
  }
  while (i < mid) tmp[k++] = idx[i++];
  while (j < hi) tmp[k++] = idx[j++];
  for (k = lo; k < hi; ++k) idx[k] = tmp[k];
}

VAL lib_qsort(LIBCALL& c) {
  VAL base = lib_ptr(c, 0);
  uint32_t n = lib_uint(c, 1);
  uint32_t size = lib_uint(c, 2);
  VAL f = lib_ptr(c, 3);
  if (n < 2 || size == 0) return 0;
  uint32_t units = array_units(c, base, n, size, true);
  COMPARE cmp(c, f);
  std::vector<uint32_t> idx(n), tmp(n);
  for (uint32_t i = 0; i < n; ++i) idx[i] = i;
  merge_sort(idx, tmp, 0, n, cmp, base, size);
  // The comparisons may not change the array; the elements move now.
  uint32_t a = p_addr(base);
  std::vector<uint16_t> mem(run_mem.mem + a, run_mem.mem + a + units);
  std::vector<uint32_t> shadow(run_mem.shadow + a, run_mem.shadow + a + units);
  for (uint32_t k = 0; k < n; ++k)
    for (uint32_t u = 0; u < size; ++u) {
      run_mem.mem[a + k * size + u] = mem[idx[k] * size + u];
      run_mem.shadow[a + k * size + u] = shadow[idx[k] * size + u];
    }
  c.m.lib_work += 2ull * units;
  return 0;
}

VAL lib_bsearch(LIBCALL& c) {
  VAL key = lib_ptr(c, 0);
  VAL base = lib_ptr(c, 1);
  uint32_t n = lib_uint(c, 2);
  uint32_t size = lib_uint(c, 3);
  VAL f = lib_ptr(c, 4);
  if (n == 0 || size == 0) return 0;
  array_units(c, base, n, size, false);
  COMPARE cmp(c, f);
  uint32_t lo = 0, hi = n;
  while (lo < hi) {
    uint32_t mid = lo + (hi - lo) / 2;
    VAL at = ptr_add(base, mid * size);
    int r = cmp(key, at);
    if (r < 0) hi = mid;
    else if (r > 0) lo = mid + 1;
    else return at;
  }
  return 0;
}

}  // namespace

const LIB_ENTRY lib_sort_entries[] = {
    {"qsort", lib_qsort, nullptr},
    {"bsearch", lib_bsearch, nullptr},
    {nullptr, nullptr, nullptr},
};
