// Liveness of the scalar candidates over the current flow graph. The
// candidates are a function's local scalars that only their name reaches:
// not aliased, not volatile, not named by the exception table, not of vector
// or complex type, and never seen in part or by address. Each run numbers
// them afresh.
#pragma once
#include <vector>

struct BBLK;
struct BITVEC;
struct NODE;
struct SYMTAB;

// The vectors of BBLK::live_bits that liveness fills, one bit per candidate.
enum LVA_SET { LVA_USE = 0, LVA_DEF = 1, LVA_IN = 2, LVA_OUT = 3 };

// Numbers the candidates, scans every block for its use and definition sets
// and solves IN and OUT backwards. `mode` 1 also dumps the sets to the debug
// log; with `flag`, aggregates of the kind a register can hold count as
// candidates too.
void find_live_variables(int mode, bool flag);

// Results of the last run.
int lva_candidate_count();
// The candidate number of a symbol, -1 for any other symbol.
int lva_index(const SYMTAB* sym);
SYMTAB* lva_candidate(int index);
// One of the block's vectors; null for a block made after the last run.
BITVEC* lva_set(const BBLK* bb, LVA_SET which);

// Recomputes the sets of one block from its statements and the IN sets of
// its successors, making them for a block that has none: for a pass that
// has changed one block and knows that no set elsewhere changed with it.
void lva_refresh_block(BBLK* bb);

// What one statement does to the candidates, in the order it does it.
// MAYDEF is a store that happens on some evaluations only (under QUEST,
// ANDAND, OROR): it neither reads nor surely kills the variable.
struct LVA_EVENT {
  enum KIND { USE, DEF, MAYDEF } kind;
  int index;
};
void lva_statement_events(NODE* stmt, std::vector<LVA_EVENT>& events);
// `live` holds the candidates live after `stmt`; it becomes the set live
// before it.
void lva_transfer(NODE* stmt, BITVEC* live);
// The function has assembly text, which may read any variable by its name.
bool lva_function_has_asm();
