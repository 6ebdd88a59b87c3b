// Counted loops: the variable that controls a loop, its step and test, and
// how often the body runs, computed in the target's arithmetic. Shared by
// restructure_loops, improve_single_loop and improve_nested_loops.
#pragma once
#include <vector>

#include "ir/int65.h"

struct BBLK;
struct LIST;
struct NODE;
struct SYMTAB;
struct TYPE;
struct LOOP;

struct COUNTED_LOOP {
  struct LOOP* loop = nullptr;
  BBLK* head = nullptr;
  BBLK* tail = nullptr;
  BBLK* preheader = nullptr;
  BBLK* exit = nullptr;          // where the tail's test leaves the loop
  NODE* test_if = nullptr;       // the IF that ends the tail
  LIST* test_cell = nullptr;
  int rel = 0;                   // counter REL bound holds when the body runs again
  NODE* counter = nullptr;       // the test's operand that reads the counter
  NODE* bound = nullptr;         // the other operand, invariant in the loop
  SYMTAB* var = nullptr;         // the counter
  TYPE* var_type = nullptr;
  LIST* update = nullptr;        // the counter's one step
  BBLK* update_block = nullptr;
  INT65 step;                    // sign-extended by the counter's size
  int width = 0;                 // bits of the counter
  // The counter's values as the test compares them lie on [lo, hi] and wrap
  // from one end to the other.
  INT65 lo, hi;
  // On entry.
  bool entry_known = false;      // the counter enters with a constant
  INT65 entry;
  NODE* entry_tree = nullptr;    // the value last stored in it before the loop, when free of effects
  LIST* entry_cell = nullptr;    // that store
  BBLK* entry_block = nullptr;
  BBLK* guard = nullptr;         // a test in front that lets only a running loop in
  bool guard_sense = true;       // the way of the guard's IF that leads to the loop
  bool guard_always = false;     // the guard's test is known true
  bool may_skip = false;         // the guard's test is known false: the body never runs
  // The count.
  NODE* count = nullptr;         // trips, a tree of unsigned int valid at the end of the preheader
  bool count_known = false;
  INT65 count_value;
  // A down counter steps by this instead of 1 (0: by 1) and tests with this
  // operator.
  INT65 counter_step;
  int term_op = 0;
  bool existing_down_counter = false;
  int var_uses = 0;              // occurrences of the counter in the loop
  // The down counter restructure_loops put in (or found), with its setup
  // before the loop and its step at the end of the tail.
  SYMTAB* down = nullptr;
  LIST* down_setup = nullptr;
  BBLK* down_setup_block = nullptr;
  LIST* down_step = nullptr;
};

// Reads the loop. On a failure it prints the reason (when `verbose`) and
// gives false.
bool analyze_counted_loop(struct LOOP* loop, COUNTED_LOOP& cl, bool verbose);
// The analysis of the loop in the current round, or null.
COUNTED_LOOP* counted_loop_of(struct LOOP* loop);
void remember_counted_loop(const COUNTED_LOOP& cl);
void forget_counted_loops();

// Blocks a loop improvement edited in the current round: a loop whose
// blocks were touched waits for the next round, when it is read again.
void touch_block(BBLK* bb);
bool block_touched(const BBLK* bb);
void forget_touched_blocks();
// None of the blocks the analysis of the loop rests on was edited.
bool counted_loop_untouched(const COUNTED_LOOP& cl);

// A test in front of the loop that always lets it in goes.
bool fold_loop_guard(COUNTED_LOOP& cl);

// Down counters this pass made in the current function: each is set before
// its loop to a value of at least 1.
void note_down_counter(SYMTAB* sym);
bool is_down_counter(const SYMTAB* sym);

// The one store to `sym` in the loop (inner loops included), when it is a
// step by a constant in a block of the loop itself that runs on every pass.
bool find_loop_step(struct LOOP* loop, const SYMTAB* sym, LIST*& cell, BBLK*& block, INT65& step);
// A variable a counter may be: a private integer of 16 or 32 bits.
bool plain_integer_variable(const SYMTAB* sym);
// Stores of variables that nothing reads any more are dropped (their
// right sides kept for effect).
void drop_stores_of_unread(const std::vector<SYMTAB*>& syms);

// Stores of `sym` by name in a tree.
int count_stores(const NODE* tree, const SYMTAB* sym);
// Occurrences of a symbol in a tree, and in the statements of the loop.
int count_symbol(const NODE* tree, const SYMTAB* sym);
int count_symbol_in_loop(struct LOOP* loop, const SYMTAB* sym);
// The variable may be read after the loop ends before anything stores it.
bool var_live_after_loop(struct LOOP* loop, const SYMTAB* sym);
// A copy of `tree` with every read of `sym` replaced by a copy of `value`.
NODE* subst_symbol(NODE* tree, const SYMTAB* sym, NODE* value);
// Cost of evaluating a tree under the interpreter's weights (variables in
// registers cost nothing to read).
int tree_cost(const NODE* tree);
int tree_size(const NODE* tree);
TYPE* counter_type();
