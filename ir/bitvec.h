// BITVEC: the bit set of all data-flow work. Bit i is bit (i % 32) of word
// (i / 32), low bit first.
#pragma once
#include <cstdint>
#include <cstdio>
#include <ostream>

extern const uint32_t BV_mask_[32];

struct BITVEC {
  int32_t nbits = 0;
  int32_t nwords = 0;
  int32_t capacity = 0;
  int32_t borrowed = 0;
  uint32_t* words = nullptr;

  bool bv_test(int i) const { return i >= 0 && i < nbits && (words[i >> 5] & BV_mask_[i & 31]); }
  void bv_add(int i);
  void bv_del(int i);
  void bv_clear();
  void bv_resize(int nbits);
  void bv_copy_seg(const BITVEC& source, int start, int count);
  void bv_diff(const BITVEC& a, const BITVEC& b);
  bool bv_union(const BITVEC& other);  // true when this changed
  void bv_intersect(const BITVEC& other);
  bool bv_equal(const BITVEC& other) const;
  int bv_count() const;
  BITVEC& operator=(const BITVEC& other);
  void bv_print(FILE* f) const;
  void bv_dump(FILE* f) const;
};
std::ostream& operator<<(std::ostream& os, const BITVEC& v);

BITVEC* mkBITVEC(int nbits, int local);
void erase_bitvec(BITVEC* v);
void dump_bitvec(const BITVEC* v);
void bv_warn(const char* text);
// Frees every bit vector made with `local` set; zfree_all calls it.
void free_local_bitvecs();
int local_bitvec_count();
