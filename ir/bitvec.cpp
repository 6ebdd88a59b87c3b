#include "ir/bitvec.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "driver/globals.h"

const uint32_t BV_mask_[32] = {
    1u << 0,  1u << 1,  1u << 2,  1u << 3,  1u << 4,  1u << 5,  1u << 6,  1u << 7,
    1u << 8,  1u << 9,  1u << 10, 1u << 11, 1u << 12, 1u << 13, 1u << 14, 1u << 15,
    1u << 16, 1u << 17, 1u << 18, 1u << 19, 1u << 20, 1u << 21, 1u << 22, 1u << 23,
    1u << 24, 1u << 25, 1u << 26, 1u << 27, 1u << 28, 1u << 29, 1u << 30, 1u << 31};

namespace {
std::vector<BITVEC*> local_bitvecs;

int words_for(int nbits) { return nbits <= 0 ? 0 : (nbits + 31) >> 5; }

// Clears bits [from, to) of the words in use.
void clear_range(BITVEC& v, int from, int to) {
  for (int i = from; i < to && i < v.nwords * 32;) {
    if ((i & 31) == 0 && to - i >= 32) {
      v.words[i >> 5] = 0;
      i += 32;
    } else {
      v.words[i >> 5] &= ~BV_mask_[i & 31];
      ++i;
    }
  }
}
}  // namespace

void bv_warn(const char*) {}

BITVEC* mkBITVEC(int nbits, int local) {
  BITVEC* v = new BITVEC;
  if (nbits < 0) nbits = 0;
  v->nbits = nbits;
  v->nwords = v->capacity = words_for(nbits);
  v->words = v->capacity ? new uint32_t[v->capacity]() : nullptr;
  if (local) local_bitvecs.push_back(v);
  return v;
}

void erase_bitvec(BITVEC* v) {
  if (!v) return;
  auto it = std::find(local_bitvecs.begin(), local_bitvecs.end(), v);
  if (it != local_bitvecs.end()) local_bitvecs.erase(it);
  if (v->borrowed) bv_warn("erase_bitvec of borrowed words");
  else delete[] v->words;
  delete v;
}

void free_local_bitvecs() {
  std::vector<BITVEC*> all;
  all.swap(local_bitvecs);
  for (BITVEC* v : all) {
    if (!v->borrowed) delete[] v->words;
    delete v;
  }
}

int local_bitvec_count() { return static_cast<int>(local_bitvecs.size()); }

void BITVEC::bv_resize(int n) {
  if (n < 0) n = 0;
  int need = words_for(n);
  if (need <= capacity) {
    int old = nbits;
    nwords = need;
    nbits = n;
    if (n > old) clear_range(*this, old, n);
    // Shrinking leaves no stale bits above the end in the last word.
    else clear_range(*this, n, nwords * 32);
    return;
  }
  uint32_t* fresh = new uint32_t[need]();
  if (words) {
    std::memcpy(fresh, words, sizeof(uint32_t) * nwords);
    if (!borrowed) delete[] words;
  }
  words = fresh;
  borrowed = 0;
  capacity = need;
  int old = nbits;
  nwords = need;
  nbits = n;
  clear_range(*this, old, n);
}

void BITVEC::bv_add(int i) {
  if (i < 0) return;
  if (i >= nbits) {
    bv_warn("bv_add beyond the end");
    bv_resize(i + 1);
  }
  words[i >> 5] |= BV_mask_[i & 31];
}

void BITVEC::bv_del(int i) {
  if (i >= 0 && i < nbits) words[i >> 5] &= ~BV_mask_[i & 31];
}

void BITVEC::bv_clear() {
  if (nwords) std::memset(words, 0, sizeof(uint32_t) * nwords);
}

void BITVEC::bv_copy_seg(const BITVEC& source, int start, int count) {
  for (int i = start; i < start + count; ++i) {
    if (source.bv_test(i)) bv_add(i);
    else bv_del(i);
  }
}

void BITVEC::bv_diff(const BITVEC& a, const BITVEC& b) {
  if (nbits < a.nbits) bv_resize(a.nbits);
  for (int w = 0; w < nwords; ++w) {
    uint32_t x = w < a.nwords ? a.words[w] : 0;
    uint32_t y = w < b.nwords ? b.words[w] : 0;
    words[w] = x & ~y;
  }
}

bool BITVEC::bv_union(const BITVEC& other) {
  if (nbits < other.nbits) bv_resize(other.nbits);
  bool changed = false;
  for (int w = 0; w < other.nwords; ++w) {
    uint32_t n = words[w] | other.words[w];
    changed |= n != words[w];
    words[w] = n;
  }
  return changed;
}

void BITVEC::bv_intersect(const BITVEC& other) {
  for (int w = 0; w < nwords; ++w) words[w] &= w < other.nwords ? other.words[w] : 0;
}

bool BITVEC::bv_equal(const BITVEC& other) const {
  int n = std::max(nwords, other.nwords);
  for (int w = 0; w < n; ++w) {
    uint32_t x = w < nwords ? words[w] : 0;
    uint32_t y = w < other.nwords ? other.words[w] : 0;
    if (x != y) return false;
  }
  return true;
}

int BITVEC::bv_count() const {
  int n = 0;
  for (int w = 0; w < nwords; ++w) n += __builtin_popcount(words[w]);
  return n;
}

BITVEC& BITVEC::operator=(const BITVEC& other) {
  if (this == &other) return *this;
  if (capacity < other.nwords) {
    if (!borrowed) delete[] words;
    words = new uint32_t[other.nwords]();
    capacity = other.nwords;
    borrowed = 0;
  }
  nbits = other.nbits;
  nwords = other.nwords;
  if (nwords) std::memcpy(words, other.words, sizeof(uint32_t) * nwords);
  return *this;
}

namespace {
std::string bv_text(const BITVEC& v) {
  std::string s = "[";
  bool first = true;
  char buf[32];
  for (int i = 0; i < v.nbits; ++i) {
    if (!v.bv_test(i)) continue;
    int j = i;
    while (j + 1 < v.nbits && v.bv_test(j + 1)) ++j;
    if (!first) s += ",";
    first = false;
    if (j > i) snprintf(buf, sizeof buf, "%d-%d", i, j);
    else snprintf(buf, sizeof buf, "%d", i);
    s += buf;
    i = j;
  }
  return s + "]";
}
}  // namespace

void BITVEC::bv_print(FILE* f) const { fputs(bv_text(*this).c_str(), f); }

void BITVEC::bv_dump(FILE* f) const {
  fprintf(f, "BITVEC nbits=%d nwords=%d capacity=%d%s ", nbits, nwords, capacity, borrowed ? " borrowed" : "");
  bv_print(f);
  fputc('\n', f);
}

std::ostream& operator<<(std::ostream& os, const BITVEC& v) { return os << bv_text(v); }

void dump_bitvec(const BITVEC* v) {
  if (print_debug && fdebug && v) v->bv_dump(fdebug);
}
