// The CSE passes over the flow graph: local value numbering (lcse), the
// global sets (annotate_cfg and the compute_ functions), partial redundancy
// elimination (gcse) and copy propagation (copyprop).
#pragma once

struct BITVEC;

// Local CSE: each block's repeated computations read a temporary.
void lcse();
// Builds the triples and every block's local and global sets for gcse;
// splits the critical edges on which gcse may need to compute something.
void annotate_cfg();
// Partial redundancy elimination on the annotated triples.
void gcse();
// Copies `x = y` (and `x = constant`) propagated into the uses of x.
void copyprop(int flag);

// Global sets, word-parallel, swept in dflink order (ANTIN backwards).
void compute_PAVIN();
void compute_AVOUT();
void compute_ANTIN();
// Gives a computation whose value gcse needs at a block's end, but that
// lies inside one gcse replaces, an evaluation of its own there.
void finagle_AVLOC();
// Splits the critical edges into blocks where some triple is partially
// available and anticipated; true when it split any.
bool insert_useful_blocks();
// Removes every CSE mark, leaving the trees as they were.
void strip_cse_marks();
