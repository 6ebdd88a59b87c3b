// Step 3 of the order: the hidden-result rewrite.
#include <cstring>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/type_pkg.h"
#include "ir/types.h"

// A function returning a class by copy construction copies its hidden result
// pointer to a local first; assert that the pointer is not null so that
// later passes may rely on it.
void hidden_result_rewrite() {
  LIST* first = currfuninfo->stmts;  // still newest first: the function's first statement is last
  if (!first) return;
  while (first->next) first = first->next;
  NODE* t = first->tree;
  while (t && t->op == PCOMMA) t = t->left;
  if (!t || t->op != ASG || !t->left || !t->right || t->left->op != NAME || t->right->op != NAME) return;
  SYMTAB* l = static_cast<SYMTAB*>(t->left->sym);
  SYMTAB* r = static_cast<SYMTAB*>(t->right->sym);
  if (!l || !r || l->lex_level != 2 || r->lex_level != 1 || r->serial != 0) return;
  if (strcmp(l->name, r->name) != 0) return;
  TYPE* lt = l->type && l->type->rep ? l->type->rep : l->type;
  if (!lt || lt->kind != TYPE::KIND_POINTER) return;
  TYPE* target = lt->type_pointed_to();
  TYPE* tr = target && target->rep ? target->rep : target;
  if (!tr || tr->kind < TYPE::KIND_CLASS || tr->kind > TYPE::KIND_UNION) return;
  if (!compatible_types(l->type, r->type, false)) return;
  csu_returning_function_parameter = l;
  TYPE* ctype = tp->mk_qual(r->type, TYPE::Q_CONST);
  t->type = t->left->type = t->right->type = ctype;
  l->type = r->type = ctype;
  NODE* zero = coerce_to_type(ctype, mk_ICON(INT65(0), tp->basic[TYPE_PKG::BT_INT]));
  NODE* neq = maketree(NEQ, mk_NAME(l, nullptr), zero, tp->basic[TYPE_PKG::BT_INT], nullptr);
  NODE* assertion = maketree(NASSERT, neq, nullptr, tp->basic[TYPE_PKG::BT_VOID], nullptr);
  // The cell keeps its position and takes the assertion; the copy moves to a
  // new cell behind it, so that in source order the assertion follows it.
  first->next = mkelist(first->tree, nullptr, first->psn);
  first->tree = assertion;
}

