// The loop hierarchy of the current function: one LOOP per natural loop,
// nested by containment, under a pseudo loop of level 0 that holds the whole
// function. It lives from build_(minimal_)loop_hierarchy to
// erase_loop_hierarchy; while it exists every block's `loop` names the
// innermost loop that holds it.
//
// Write "struct LOOP": LOOP is also the name of an operator.
#pragma once
#include <cstdint>
#include <cstdio>

#include "ir/int65.h"

struct BBLK;
struct EDGE;
struct NODE;
struct LIST;
struct SYMTAB;
struct LOOP;

struct LOOPLIST {
  struct LOOP* loop = nullptr;
  LOOPLIST* next = nullptr;
};

// An ordered set of symbols (by creation serial), kept in the function pool.
struct SYMSET {
  SYMTAB** items = nullptr;
  int count = 0;
  int capacity = 0;
  bool contains(const SYMTAB* s) const;
  void insert(SYMTAB* s);
  void clear() { count = 0; }
};

struct LOOP {
  struct LOOP* outer = nullptr;
  LOOPLIST* inner = nullptr;       // directly nested loops
  EDGE* contents = nullptr;        // every block of the loop, nested loops included
  EDGE* exits = nullptr;           // blocks of the loop with a successor outside it
  EDGE* exit_targets = nullptr;    // the blocks outside that those reach
  BBLK* head = nullptr;
  BBLK* tail = nullptr;            // the one source of the back edge; null for the pseudo loop
  BBLK* preheader = nullptr;       // the one way in from outside, a block that only goes to head
  NODE* trips = nullptr;           // how often the body runs, as a tree valid in the preheader
  INT65 tripFactor;                // a known divisor of trips (0: none known)
  NODE* mixTrips = nullptr;
  SYMTAB* LCV = nullptr;           // the variable that controls the loop
  SYMSET* assigned = nullptr;      // symbols stored by name in the loop
  SYMSET* read = nullptr;          // symbols read by name in the loop
  int number = 0;
  int level = 1;                   // nesting depth, 0 for the pseudo loop
  unsigned multi_exit : 1;         // a block other than tail leaves the loop
  unsigned has_calls : 1;          // the loop calls out or stores through pointers
  unsigned symbols_known : 1;      // `assigned`, `read` and has_calls are filled
  uint8_t irreducible = 0;
  NODE* assertions = nullptr;      // the function's assertions when the loop was made
  uint8_t priority = 42;
  int unroll_request = -1;

  LOOP() : multi_exit(0), has_calls(0), symbols_known(0) {}
};

// The pseudo loop around the function, or null when no hierarchy exists.
extern struct LOOP* loop_root;
// Loops made for the current hierarchy, the pseudo loop last.
extern int loop_count;

struct LOOP* make_LOOP(BBLK* head, BBLK* tail, int number, struct LOOP* copy_from);
// Dominators and natural loops only.
void build_minimal_loop_hierarchy();
// The full analysis: the minimal hierarchy, then top tests replicated where
// that turns a loop bottom-tested (which rebuilds the hierarchy). The flags
// say whether to replicate top tests, whether to print the hierarchy, and
// whether to check it; `limit` caps the replications (negative: none).
void build_loop_hierarchy(bool replicate_tests, bool print, bool check, int limit);
// Turns one top-tested loop of the hierarchy bottom-tested by replicating
// its test at the end of the body; true when it changed the graph (the
// hierarchy is then stale).
bool replicate_one_top_test();
void erase_loop_hierarchy();
void assign_loop_levels(struct LOOP* loop, int level);
void add_exit_blocks(struct LOOP* loop);

// Walks of the hierarchy: innermost loops first (children before their
// parent), the pseudo loop last.
void loops_inside_out(struct LOOP* root, void (*visit)(struct LOOP*, void*), void* data);
bool block_in_loop(const BBLK* bb, const struct LOOP* loop);
// Blocks of the loop in layout order.
int loop_block_count(const struct LOOP* loop);
// Fills `assigned`, `read` and has_calls from the loop's statements.
void collect_loop_symbols(struct LOOP* loop);

// A tree whose value cannot change while the loop runs: constants, and
// variables that the loop never stores and that no call or store through a
// pointer in the loop can reach. `strict` refuses memory reads through
// pointers as well.
bool tree_is_RC_in_loop(NODE* tree, struct LOOP* loop, bool strict);
bool sym_is_RC_in_loop(SYMTAB* sym, struct LOOP* loop);
// Evaluating the tree may stop the program (a division by zero, a bad
// pointer, a call, a conversion out of range): it must not run earlier than
// it did.
bool tree_may_trap(const NODE* tree);
// Marks a temporary made to hold a value that is constant in a loop.
void make_sym_RC_in_loop(SYMTAB* sym, struct LOOP* loop);
bool sym_is_marked_RC(const SYMTAB* sym);

// Prints the hierarchy to the debug stream.
void print_loop_hierarchy();
// Checks a loop and, with `recurse`, every loop inside it; returns the
// number of errors it could not correct.
int validate_loop(struct LOOP* loop, int recurse);
// The same, its report written to `f`.
int validate_loop_into(struct LOOP* loop, int recurse, FILE* f);
// validate_loop on the whole hierarchy after a pass, when checking is on;
// a hierarchy that fails stops the run.
void check_loops_after(const char* pass);
extern bool loop_validate_always;

// The passes.
void rotate_loops();
void restructure_loops();
bool improve_single_loop(BBLK* head);
bool improve_nested_loops(int round, int flags);
// How many copies of a loop body of these statements to make for a loop
// that runs `count` times: 1 when unrolling does not pay for its size.
long loop_unrolling_factor(LIST* body, const INT65& count);

// MUST_ITERATE facts on a PPRAGMA statement: argument 0 the minimum trip
// count, 1 the maximum, 2 a multiple. The getter gives -1 for a missing or
// unreadable argument.
constexpr uint32_t PRAGMA_MUST_ITERATE = 77;
long get_PPRAGMA_tree_int_arg(NODE* pragma, int index);
void set_PPRAGMA_tree_int_arg(NODE* pragma, int index, long value);
// The MUST_ITERATE pragma statement of a loop (in its head or preheader), or null.
NODE* find_loop_trip_pragma(struct LOOP* loop);
