// Dead assignments: stores to liveness candidates that no path reads, and
// the sinking of assignments towards the one successor that needs them.
#pragma once

struct BBLK;
struct LIST;
struct LOOP;  // the loop record; write "struct LOOP" (LOOP is also an operator)

// Deletes the dead assignments of the current function, keeping the side
// effects of their right sides; `mode` goes on to find_live_variables. With
// `delay`, assignments whose value only one successor needs move there.
void elim_dead_assigns(int mode, int delay);
// Within one block's statements: a value computed for a candidate that the
// next statement reads once, and that nothing reads later, goes straight
// into that statement.
void combine_assignments(LIST* list);
// The same for the statements of `bb`, whose sets it uses; true when it
// combined something.
bool combine_assignments_in_bb(BBLK* bb);
// The local part of elim_dead_assigns for one block, with the sets of the
// last find_live_variables; true when it deleted something.
bool elim_locally_dead_assignments_in_bb(BBLK* bb, struct LOOP* loop);
// Moves assignments down to the single successor that reads them, over a
// new block on the edge where that successor has other predecessors.
void delay_assignments();
// Drops the statements of the block that a pass emptied (tree set to null).
void unlink_empty_cells(BBLK* bb);
