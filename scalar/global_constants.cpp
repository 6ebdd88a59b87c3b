// Reads of const globals with a known initial value become that value. The
// form seq_trees uses on every statement at opt_level above 1.
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/fcp.h"
#include "scalar/simp_internal.h"

using namespace simp;

namespace {

// The constant a const global starts with and keeps: one scalar ICON or
// FCON in its initialiser.
NODE* global_constant_value(const SYMTAB* s) {
  if (!s || s->lex_level != 0 || !s->init || !s->init->head) return nullptr;
  const TYPE* dt = s->decl_type ? s->decl_type : s->type;
  if (!dt || !(dt->qual_kind(true) & TYPE::Q_CONST) || is_volatile_type(dt) || is_volatile_type(s->type)) return nullptr;
  if (!is_int_type(s->type) && !is_flt_type(s->type)) return nullptr;
  EXPR_ELEM* e = s->init->head;
  NODE* v = e->tree;
  if (!v || !is_const(v)) return nullptr;
  if (e->next && (!e->next->tree || e->next->tree->op != ENDINIT || e->next->next)) return nullptr;
  if (is_int_type(s->type) != is_int_type(v->type)) return nullptr;
  return v;
}

bool is_lvalue_slot(const NODE* parent, bool is_left) {
  if (!parent || !is_left) return false;
  switch (parent->op) {
    case ASG: case STASG: case ARASG: case PLUSPLUS: case MINMIN: case UAND: case STDOT:
      return true;
    default:
      return is_opASG(parent->op);
  }
}

NODE* replace(NODE* t, const NODE* parent, bool is_left, bool& changed) {
  if (!t) return t;
  if (t->op == NAME && !is_lvalue_slot(parent, is_left)) {
    NODE* v = global_constant_value(t->name_symbol());
    if (v) {
      TYPE* ty = t->type->type_qualified();  // a value has no qualifiers
      NODE* k = coerce_to_type(ty, copy_tree(v, false));
      k->scope = t->scope;
      erase_tree(t);
      changed = true;
      return k;
    }
    return t;
  }
  if (t->op == CSE_DUPE) return t;
  t->left = replace(t->left, t, true, changed);
  t->right = replace(t->right, t, false, changed);
  return t;
}

}  // namespace

NODE* propagate_global_constants(NODE* tree, LIST* cell, bool simplify) {
  if (!tree || tree->op == LABELDEF) return tree;
  bool changed = false;
  tree = replace(tree, nullptr, false, changed);
  if (changed && simplify) tree = simp_tree(tree, nullptr, nullptr);
  if (cell) cell->tree = tree;
  return tree;
}
