// Superblocks: traces of blocks that the profile says run one after the
// other, laid out in a row so that the hot path falls through. Without a
// profile there is nothing to go by and both passes leave the graph alone.
#pragma once
#include <cstdio>
#include <vector>

struct BBLK;

struct SBLK {
  unsigned number = 0;
  std::vector<BBLK*> blocks;  // in the order they run
  SBLK* next = nullptr;
  // Only the head is entered from outside the trace.
  bool proper() const;
  void print(bool verbose, FILE* stream) const;
};

// Forms the traces of the current function from the profile counts.
void optimize_superblocks_in_cfg();
// Lays out the traces that optimize_superblocks_in_cfg formed, each as one
// run of blocks, and forgets them.
void straighten_traces_in_cfg();
// The traces formed last, head first.
SBLK* superblock_list();
