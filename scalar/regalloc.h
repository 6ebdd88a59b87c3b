// Register choice for the liveness candidates. On this target a variable is
// either in a register (storage class 4, no memory home) or on the stack;
// the register a variable would share with others is worked out as well,
// for the debug log and the information file.
#pragma once
#include <vector>

struct BITVEC;
struct SYMTAB;

// Per candidate of the last find_live_variables: the candidates live at a
// store to it, and the candidates a copy joins it with.
extern std::vector<BITVEC*> var_conflicts;
extern std::vector<std::vector<int>> var_preferences;

// Target hook: this target has no register tables, so it only releases
// the conflicts and preferences of the last find_conflicts.
void init_reg_defs();
// Builds var_conflicts and var_preferences from the current liveness.
void find_conflicts();
// Conflicts the target's registers add; none on this target.
void find_target_conflicts();
void allocate_regs();
// y = x at the last use of x: the two variables become one.
void merge_symbols();
// One line of the allocation for the debug log and the information file:
// candidate `index` is in register `reg` (null: on the stack) of class
// `sclass`.
void report_allocation(int index, char* reg, int sclass, SYMTAB* sym);
