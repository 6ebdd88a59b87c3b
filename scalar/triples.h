// Triples: the unique expressions of the current function, numbered, with
// the sets the CSE passes compute over them. lcse and annotate_cfg build
// the table; lcse and gcse use it and free it.
//
// A statement's occurrence of a triple is marked in its tree: CSE_ORIG
// (left: the computation, value: the triple) at a computation whose value
// may be reused, CSE_DUPE (left: that CSE_ORIG node, shared; value: the
// triple) at each later occurrence that reuses it. The marks live only
// between the numbering walk and the rewrite that ends lcse and gcse.
#pragma once
#include <cstdint>
#include <vector>

struct NODE;
struct LIST;
struct BBLK;
struct BITVEC;
struct SYMTAB;
struct TYPE;

// ---- The table --------------------------------------------------------------

extern NODE** unique_triples;      // clean copies, index = triple number
extern int unique_triple_count;
extern SYMTAB** unique_triple_temp;  // the temporary of a triple, made on demand

// One-vector sets.
extern BITVEC* triple_TRIVIAL;   // too cheap to keep in a temporary
extern BITVEC* triple_BENIGN;    // evaluating early can't fail
extern BITVEC* triple_CONSTANT;  // same value everywhere in the function
extern BITVEC* triple_LVALUE;    // names a place in memory (variable or through a pointer)
// Per-block sets, indexed by dfn.
extern BITVEC** triple_ANTLOC;
extern BITVEC** triple_AVLOC;
extern BITVEC** triple_ALTERED;
extern BITVEC** triple_OCCURS;
extern BITVEC** triple_ANTIN;
extern BITVEC** triple_ANTOUT;
extern BITVEC** triple_AVIN;
extern BITVEC** triple_AVOUT;
extern BITVEC** triple_PAVIN;
extern BITVEC** triple_PAVOUT;

// Kill classes: everything such an event invalidates.
extern BITVEC* triple_kills_global_vars;      // globals, by name
extern BITVEC* triple_kills_aliased_vars;     // variables whose address escapes
extern BITVEC* triple_kills_aliased_scalars;  // the same, scalars only
extern BITVEC* triple_kills_ASSERTs;          // reads of what assertions read
extern BITVEC* triple_kills_indirect_refs;    // places reached through pointers
extern BITVEC* triple_kills_indirect_refs_NL; // the same, through pointers that aren't locals
extern BITVEC* triple_kills_indirect_NKV;     // indirect reads of variables no pointer reaches
extern BITVEC* triple_kills_indirect_NS_maybe;  // stores of aggregates, that may overlap
extern BITVEC* triple_kills_indirect_NS_yes;    // stores of aggregates, that do
extern BITVEC* triple_kills_indirect_ICON;    // places at constant addresses
extern int errno_triple;                      // the lvalue triple of errno, or -1

// What the walk of one block found, beyond the sets.
struct BLOCK_CSE {
  BBLK* bb = nullptr;
  bool has_call = false;  // a call that may not return, or that shows output
  BITVEC* antblock = nullptr;  // anticipation can't pass: ALTERED, and after a call what may fail
  BITVEC* noinsert = nullptr;  // altered by the transfer that ends the block
  std::vector<std::pair<int, NODE*>> first_orig;  // ANTLOC triple -> its CSE_ORIG
  std::vector<std::pair<int, NODE*>> last_orig;   // AVLOC triple -> its CSE_ORIG
};
extern std::vector<BLOCK_CSE> block_cse;  // indexed by dfn

// Builds the table and the per-block sets of the current flow graph and
// marks every occurrence. False (and nothing allocated) when the function
// has no triple worth a temporary. `for_global` also keeps the holders of
// ANTLOC and AVLOC for gcse.
bool build_triples(bool for_global);
// Frees the table and every per-triple and per-block vector.
void free_triples();
bool triples_exist();

// The Triple_Alias_Table row of an lvalue triple: the lvalue triples that
// may overlap it, made on first use.
const BITVEC* triple_alias_row(int lvalue_triple);
// Sets the triple's bit and ORs in its row (`result` resized to the count).
void kill_aliases_of_lvalue(int triple, BITVEC* result);
// Every triple a store to the lvalue triple invalidates.
const BITVEC* triples_killed_by_store(int lvalue_triple);
// The triple number of a tree (marks seen through), or -1.
int find_triple(NODE* tree);

// The temporary of a triple, made on first use: a plain local.
SYMTAB* triple_temp(int triple);
// A clean copy of what a triple computes.
NODE* copy_triple_tree(int triple);

// Adds to `result` the triples that the statement `stmt` may change an
// operand of.
void mark_altered_triples(NODE* stmt, BITVEC* result);
// The tree reads nothing whose triple is in `altered` (`flag` non-zero:
// its own triple counts too).
bool tree_is_unaltered(NODE* tree, BITVEC* altered, int flag);
// Debug dump of ALTERED per block.
void dump_altered();
// A debug listing of a set of triples: "[3 a+b, 7 *p]".
const char* triple_set_text(const BITVEC* set);

// ---- Predicates the passes share ---------------------------------------------

// A tree worth holding in a temporary: free of effects, of scalar type (or,
// with `allow_struct`, an aggregate a register can hold: none on this
// target), and not a mere constant.
bool good_CSE_tree(NODE* tree, bool allow_struct);
// The variable of a NAME will live in a register: a register class, or a
// plain scalar local when the register allocator runs.
bool is_likely_register(NODE* tree);
// Reading one for the other gives the same value: same type but for
// qualifiers, or integers of one size and signedness, or two pointers.
// `strict` non-zero: the types must be the same. `flag2` unused.
bool types_are_close_enough(NODE* a, NODE* b, int strict, int flag2);
// Weighted cost of evaluating a tree, by the interpreter's weights
// (docs/icode-semantics.md).
int cse_cost(NODE* tree);
// Cost of writing and of reading a CSE temporary.
int temp_write_cost();
// Whether the cost model takes temporaries and plain scalar locals to live
// in registers: -1 (the default) when the register allocator is built, 0 or
// 1 to fix the model, for tests of either.
extern int cse_assume_registers;
int temp_read_cost();
// Evaluating the tree can't stop the program (no division by a variable,
// no access through a pointer of unknown validity, no shift by a variable).
bool tree_is_benign(NODE* tree);

// Sees through CSE marks: the tree a mark stands for.
NODE* skip_dupes(NODE* tree);
// A copy with every CSE mark replaced by what it stands for.
NODE* copy_tree_without_dupes(NODE* tree);
// The tree holds a CSE mark.
bool tree_has_cse_marks(const NODE* tree);

// Counts over the run, for the information file.
extern long cse_expressions_removed;   // by gcse and lcse
extern long copies_propagated;         // by copyprop
extern long constants_propagated;      // by fast_CP
