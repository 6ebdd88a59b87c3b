// Alias facts: which variables may be touched other than by their name, and
// whether two lvalues may touch the same memory. docs/aliasing.md gives the
// rules and why each is sound.
#pragma once
#include <cstdint>
#include <vector>

struct NODE;
struct SYMTAB;
struct LIST;
struct BITVEC;
struct LOOP;  // the loop record; "struct LOOP" where LOOP is also an operator

// ---- Symbol-level facts ----------------------------------------------------

// Walks one tree and sets ALIAS_EXPOSED on each symbol whose address
// escapes. `in_deref` is true inside the address operand of a dereference:
// `*(&x + 4)` reads x through its own name, `p = &x` lets x escape.
void mark_address_exposed_symbols(NODE* tree, bool in_deref);
// Clears the marks of the current function's locals and parameters, sets
// globals as exposed, and walks every statement (the flow graph's blocks, or
// the statement list before one exists).
void mark_address_exposed_symbols_in_function();
// Marks the symbols of vector or complex type, which the scalar passes leave
// alone; `locals` and `params` choose which lists are looked at.
void mark_aliased_vector_and_complex_symbols(bool locals, bool params);

bool symbol_is_aliased(const SYMTAB* sym);
// A volatile variable: every access must stay as written.
bool symbol_is_immutable(const SYMTAB* sym);
// Named by an expression of the current function's exception table.
bool sym_appears_in_EHT(const SYMTAB* sym);
// The symbol of a NAME below any STDOT, or null.
SYMTAB* name_below_stdots(NODE* tree);

// ---- The state the answers rest on ----------------------------------------

// Computes, for the current function's flow graph: address exposure, the
// points-to bindings of its pointer variables, and the restrict groups.
// Passes that ask many questions call it first; the answers stay valid while
// the trees compute what they computed (rewrites that keep the values of
// every variable at every point keep them valid). With `alias_vars` set every
// address taken anywhere exposes its variable.
void init_aliasing_info();
// Forgets that state: the questions get the answers that need no analysis
// until init_aliasing_info runs again. For passes that give variables new
// values (merging symbols, register assignment).
void reset_alias_info();
bool aliasing_info_is_valid();

// ---- Lvalues -----------------------------------------------------------------

// The object an lvalue lies in, when the tree says so: a NAME, a member of
// one (STDOT), and, with `through_address`, an access through the address of
// one (`*(&x + k)`, `(&s)->m`, `a[i]`). With `through_pointsto` a dereference
// of a pointer variable whose points-to binding names one variable also
// counts. Null when unknown.
SYMTAB* object_name_if_known(NODE* lvalue, bool through_address, bool through_pointsto);
// The object a pointer value points into: `&x`, `&x + k`, `(char*)&s`, and
// with `through_pointsto` a pointer variable bound to one variable. Without
// `allow_offsets` only the start of the object counts (`&x`, `&s.m` at
// offset 0 of s).
SYMTAB* pointee_name_if_known(NODE* pointer, bool through_pointsto, bool allow_offsets);

// May the two lvalues touch the same memory, when both are taken in one
// state (a base pointer named by both is the same value in both)? Callers
// whose two accesses lie apart must themselves treat a change of what the
// addresses read (as CSE does by killing on every operand). With a loop the
// question is across its iterations: index variables may differ, so only
// constant placements are compared. Conservative: true unless proved false.
bool lvalues_may_be_aliased(NODE* a, NODE* b, struct LOOP* loop);

// The pointer an indirect access starts from: for `*(p + i)`, `p->m`,
// `*(T*)p` the tree `p`; null for an access that is not indirect.
NODE* get_umult_base(NODE* lvalue);
// The pointer-typed variables two indirect accesses start from may reach
// the same object, by their points-to bindings. Also takes a direct access,
// whose target is its own object.
bool UMULT_PT_targets_may_overlap(NODE* a, NODE* b);
// `restrict` settles that the two accesses are apart: one goes through a
// pointer of a restricted group whose value never escapes, the other does
// not.
bool unaliased_by_scope(NODE* a, NODE* b);
// The promise of `restrict` alone, between two base pointers.
bool unaliased_by_restriction(NODE* pa, NODE* pb);
// Two base pointer trees of restricted groups that are apart.
bool pointers_are_antialiased(NODE* pa, NODE* pb);

// ---- Restricted pointers --------------------------------------------------------

// A pointer variable of the current function and its place in the groups of
// pointers whose values derive from one another.
struct PTR {
  SYMTAB* sym = nullptr;
  PTR* rep = nullptr;        // union-find link; the representative links to itself
  int count = 1;             // members of the group (valid at the representative)
  bool restricted = false;   // the group holds a honoured restrict pointer
  bool escapes = false;      // a value of the group leaves its members
};
PTR* make_PTR_entry(SYMTAB* sym);
PTR* find_PTR_entry(SYMTAB* sym);
PTR* find_or_make_PTR_entry(SYMTAB* sym);
// A new entry for `to` in the group of `from`.
PTR* copy_PTR_entry(PTR* from, SYMTAB* to);
// The representative of the group of `entry`.
PTR* PTR_group(PTR* entry);
// Finds the restrict-qualified pointers whose promise holds for the whole
// run of the function (see docs/aliasing.md) and marks their groups.
void find_restricted_roots();
// The function's restricted roots found by the last find_restricted_roots.
const std::vector<SYMTAB*>& restricted_roots();

// ---- Assertions ----------------------------------------------------------------

// Splits a compound assertion (`a && b`, `a & b` of truth values) held by
// the statement `cell` into single ones, each in its own statement; true
// when it did.
bool expand_assertion(LIST* cell);
// Numbers the ASSERT and NASSERT statements of the function, after
// expand_assertion; the count.
int init_assertions();
int assertion_count();
NODE* assertion_tree(int index);
// The assertion index that states `tree` (an ASSERT or NASSERT statement):
// its bit goes into `valid` (resized to the count); `index` is -1 to look the
// tree up. The number set, or -1.
int add_assertion(NODE* tree, BITVEC* valid, int index);
// Assertions an assignment to the lvalue invalidates: those reading it.
void kill_assertions_for_store(NODE* lvalue, BITVEC* valid);
// Assertions a call invalidates: those reading memory it may change.
void kill_assertions_for_call(BITVEC* valid);
// A valid assertion proves the truth of `test`: 1 true, 0 false, -1 unknown.
int test_implied_by_assertions(NODE* test, const BITVEC* valid);
