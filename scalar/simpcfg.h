// Clean-up of the flow graph: simpcfg and its companions.
#pragma once

struct BBLK;
struct NODE;
struct LIST;

// Cleans the graph. `heavy` turns on early cross jumping, merging of tests
// and if-conversion; `strict_only` turns on if-conversion to a strict
// conditional only.
void simpcfg(bool heavy, bool strict_only);
// Tail merging of blocks that end alike, then merging of like tests.
void do_early_cross_jumping();
// Removes the range check of switches whose default can never run.
void optimize_SWITCH_cases();

// File-level pass gate: while set, simpcfg does nothing.
extern bool simpcfg_gate_closed;
// The two arguments of the simpcfg that is running.
extern bool simpcfg_first;
extern bool simpcfg_second;

// Block duplication: may S be copied into its predecessor B (null when the
// question is asked for S alone)?
bool ok_to_duplicate(BBLK* s, BBLK* b);
// A single statement small enough to be copied.
bool ok_to_dupe_stmt(NODE* stmt);
// Congruent statement lists, transfers compared by their target blocks.
bool tree_lists_are_congruent(LIST* a, LIST* b);
// Any statement of the block may change something the tree reads.
bool bb_modifies_lvalue_in_tree(BBLK* bb, NODE* tree);
