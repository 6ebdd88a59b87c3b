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


bool type_is_vector(const TYPE* t) {
  const TYPE* r = t && t->rep ? t->rep : t;
  return r && r->kind == TYPE::KIND_ARRAY && r->getr_array()->vector;
}

bool type_is_complex(const TYPE* t) {
  const TYPE* r = t && t->rep ? t->rep : t;
  return r && r->kind == TYPE::KIND_COMPLEX;
}

struct STMT_SCAN {
  bool vector = false;
  bool complex = false;
  bool never_returns = false;  // of this statement
};

// One walk per statement for what the sequencer needs to know of it: calls
// that never return, and vector or complex types (for a SWITCH, only in the
// controlling expression).
void scan_statement(const NODE* t, STMT_SCAN& s, bool types_wanted) {
  for (; t; t = t->right) {
    if ((t->op == CALL || t->op == UCALL) && t->fun && (t->fun->flags & FUN_never_returns)) s.never_returns = true;
    if (types_wanted) {
      s.vector = s.vector || type_is_vector(t->type);
      s.complex = s.complex || type_is_complex(t->type);
    }
    if (t->op == CSE_DUPE) return;
    scan_statement(t->left, s, types_wanted);
    if (t->op == SWITCH) types_wanted = false;
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
  bool vector = false, complex = false;
  for (LIST* l = list; l; l = l->next) {
    if (!l->tree) continue;
    STMT_SCAN s;
    scan_statement(l->tree, s, !(vector && complex));
    vector = vector || s.vector;
    complex = complex || s.complex;
    if (s.never_returns && !already_marked(l)) l = mark_never_returning_call(l);
  }
  if (vector) file_has_vector_trees = true;
  currfuninfo->byte0 = static_cast<uint8_t>((vector ? 1 : 0) | (complex ? 2 : 0));
}
