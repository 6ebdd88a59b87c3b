// The rules of simpcfg, shared between the files that hold them. Each rule
// returns true when it changed the graph; a rule that changes nothing leaves
// no trace.
#pragma once
#include <vector>

struct BBLK;
struct NODE;
struct LIST;
struct PSN;

// simpcfg.cpp
bool kill_dead_block(BBLK* bb);
bool chain_branch(BBLK* bb, NODE* label);
bool join_blocks(BBLK* bb, BBLK* succ);

// tail_recursion.cpp, tried by buildcfg on each block once edges exist.
bool tail_recursion_allowed();
bool remove_self_tail_call(BBLK* bb, const std::vector<BBLK*>& blocks);

// simpcfg_cond.cpp: the rules for a block ending in IF or SWITCH.
bool conditional_rules(BBLK* bb);
// cond_path.cpp
void mark_cond_path(BBLK* bb);
// if_convert.cpp
bool if_to_quest(BBLK* bb);
// merge_ifs.cpp: two IF in a row with a common target become one OROR.
bool merge_IFs_into_OROR(BBLK* bb);
// counter_loop.cpp
bool invert_counter_loop_test(BBLK* bb);
// switch_cases.cpp
bool simplify_SWITCH(BBLK* bb);
// cross_jump.cpp
bool cross_jump();
bool merge_like_tests();

// Helpers on blocks and transfers (simpcfg_util.cpp).
bool tree_has_op(const NODE* tree, int op);
NODE* first_stmt(const BBLK* bb);
// The block is nothing but an IF (or nothing but a BRANCH).
bool is_lone_IF(const BBLK* bb);
bool is_lone_BRANCH(const BBLK* bb);
// The LABEL of an IF for the given sense of its condition.
NODE* if_label(NODE* if_node, bool sense);
BBLK* if_target(NODE* if_node, bool sense);
bool if_has_ENDLOOP(const NODE* if_node);
// The next block in layout that still has statements.
BBLK* next_live_block(BBLK* bb);
// Peels `expr` for effect and keeps what remains as a statement before the
// ending transfer of the block.
void keep_effects_before_transfer(BBLK* bb, NODE* expr, PSN* psn);
// The ending transfer becomes a BRANCH through `label` (a LABEL node taken
// out of the old transfer, or new); the rest of the transfer is freed, its
// condition peeled for effect unless `drop_condition`.
void turn_into_BRANCH(BBLK* bb, NODE* label, bool drop_condition);
// Inverts the condition of an IF and swaps its targets; the second form
// also puts the block's successors in the new order.
void invert_IF(NODE* if_node);
void invert_IF_of(BBLK* bb);
// a and b are the same test, or (with `inverted`) opposite tests.
bool tests_are_congruent(NODE* a, NODE* b, bool* inverted);
// The function carries profile counts of the given mode.
bool function_has_profile();
int function_profile_mode();
