// init_reg_defs: the target's register tables. Rill has none to set up; what
// is left is to forget the conflicts of the previous function.
#include "ir/bitvec.h"
#include "scalar/regalloc.h"

void init_reg_defs() {
  for (BITVEC* v : var_conflicts) erase_bitvec(v);
  var_conflicts.clear();
  var_preferences.clear();
}
