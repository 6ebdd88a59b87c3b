#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"

// The per-function clean-up. Blocks, trees, symbols and scopes of a function
// all live in the function pool, so releasing the pool frees them at once;
// what must go first are the records that point into it from outside.
void erase_all() {
  report_on_freemap("erase_all");
  zdump();
  erase_all_bblocks();
  forget_all_labels();
  if (currfuninfo) {
    currfuninfo->stmts = nullptr;
    currfuninfo->symbols = currfuninfo->temps = currfuninfo->params = currfuninfo->chain4 = nullptr;
    currfuninfo->root_scope = nullptr;
    currfuninfo->first_block = nullptr;
  }
  reset_function_scopes();
  reset_node_free_lists();
  zfree_all();
}
