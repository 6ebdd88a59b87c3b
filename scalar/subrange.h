// SUBRANGE: a known piece of a named object, for the passes that follow the
// stores to the parts of structures, arrays and globals within a block.
#pragma once

struct NODE;
struct SYMTAB;
struct TYPE;

struct SUBRANGE {
  SYMTAB* sym = nullptr;
  long offset = 0;  // in addressable units (16 bits) from the object's start
  long size = 0;    // in addressable units
  TYPE* type = nullptr;
  SUBRANGE* link = nullptr;
};

// Cells given back, for the next compute_subrange.
extern SUBRANGE* free_SUBRANGE_list;

// The piece an lvalue names: a NAME, a member (STDOT, or STREF through the
// address of an object), an element at a constant offset through the
// address of an object. Null for anything else, a bit-field included, and
// for a piece that does not lie inside its object.
SUBRANGE* compute_subrange(NODE* lvalue);
void erase_subrange(SUBRANGE* range);
void erase_subrange_list(SUBRANGE* list);
bool subranges_overlap(const SUBRANGE* a, const SUBRANGE* b);
// `inner` lies wholly inside `outer`.
bool subrange_contains(const SUBRANGE* outer, const SUBRANGE* inner);
// The list without the ranges that overlap `range`.
SUBRANGE* remove_aliased_subranges(SUBRANGE* range, SUBRANGE* list);
// The list without the ranges that an access to `lvalue` may touch.
SUBRANGE* kill_aliased_subranges(NODE* lvalue, SUBRANGE* list);
// The list without the ranges of objects that something outside the
// function's names reaches: a callee, or a pointer of unknown target.
SUBRANGE* kill_reachable_subranges(SUBRANGE* list);
// A symbol that a callee or a pointer of unknown target may reach.
bool symbol_is_reachable(const SYMTAB* sym);

// Replaces, block by block, a read of a piece that an earlier statement of
// the block stored a constant or a variable's value to by that value.
void lcse_subrange_assignments();
// Deletes, block by block, a store to a piece that a later store of the
// block covers with no read of it between.
void elim_dead_subrange_assigns();
