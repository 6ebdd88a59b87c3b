// The sequencer: the statement list of a function, held newest first while
// it is read, put into source order and made ready for block construction.
#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"

namespace {

LIST* reverse_list(LIST* l) {
  LIST* out = nullptr;
  while (l) {
    LIST* next = l->next;
    l->next = out;
    out = l;
    l = next;
  }
  return out;
}

bool calls_function_that_never_returns(const NODE* t) {
  for (; t; t = t->right) {
    if ((t->op == CALL || t->op == UCALL) && t->fun && (t->fun->flags & FUN_never_returns)) return true;
    if (t->op == CSE_DUPE) return false;
    if (calls_function_that_never_returns(t->left)) return true;
  }
  return false;
}

bool type_is_vector(const TYPE* t) {
  const TYPE* r = t && t->rep ? t->rep : t;
  return r && r->kind == TYPE::KIND_ARRAY && r->getr_array()->vector;
}

bool type_is_complex(const TYPE* t) {
  const TYPE* r = t && t->rep ? t->rep : t;
  return r && r->kind == TYPE::KIND_COMPLEX;
}

void scan_types(const NODE* t, bool& vector, bool& complex) {
  for (; t && !(vector && complex); t = t->right) {
    vector = vector || type_is_vector(t->type);
    complex = complex || type_is_complex(t->type);
    if (t->op == CSE_DUPE) return;
    scan_types(t->left, vector, complex);
    if (t->op == SWITCH) return;  // only the controlling expression
  }
}

// Our own output read again already has the marks behind the call.
bool already_marked(const LIST* cell) {
  const NODE* next = cell->next ? cell->next->tree : nullptr;
  return next && (next->op == ASM || next->op == UMCALL);
}

// Behind a call that never returns, tell the code generator so and end the
// path.
LIST* mark_never_returning_call(LIST* cell) {
  TYPE* v = tp->basic[TYPE_PKG::BT_VOID];
  LS* scope = cell->tree->scope;
  NODE* note = maketree(ASM, nullptr, nullptr, v, scope);
  note->text = zstrdup(1, "***\t; the preceding call never returns");
  note->value = INT65(47);
  NODE* never = mk_MCALL("_never_executed", nullptr, v);
  NODE* ret = maketree(URETURN, mk_NAME(currfunc, scope), nullptr, v, scope);
  LIST* c3 = mkelist(ret, cell->next, cell->psn);
  LIST* c2 = mkelist(never, c3, cell->psn);
  cell->next = mkelist(note, c2, cell->psn);
  return c3;
}

}  // namespace

bool file_has_vector_trees = false;

void seq_trees() {
  LIST* list = reverse_list(currfuninfo->stmts);
  currfuninfo->stmts = list;
  if (opt_level == 0) return;

  note_not_built("seq_trees: propagate_global_constants, sequencing of embedded control flow, simp_tree, "
                 "peel_for_effect, variable shortening, initialize_labelref_probabilities");
  for (LIST* l = list; l; l = l->next)
    if (l->tree && calls_function_that_never_returns(l->tree) && !already_marked(l))
      l = mark_never_returning_call(l);

  bool vector = false, complex = false;
  for (LIST* l = list; l && !(vector && complex); l = l->next) scan_types(l->tree, vector, complex);
  if (vector) file_has_vector_trees = true;
  currfuninfo->byte0 = static_cast<uint8_t>((vector ? 1 : 0) | (complex ? 2 : 0));
}
