// coerce_to_type: the conversion C would apply to bring a tree to a type.
// Constants are converted at once where the value is exact: an integer to an
// integer type, an integer to a floating type, a floating constant to
// another floating type. Everything else becomes SCONV, or PCONV for a
// pointer target.
#include "driver/globals.h"
#include "ir/fps.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/types.h"

namespace {

const TYPE* repr(const TYPE* t) { return t && t->rep ? t->rep : t; }

bool is_int_kind(const TYPE* t) {
  const TYPE* r = repr(t);
  return r && (r->kind == TYPE::KIND_INTEGRAL || r->kind == TYPE::KIND_ENUM);
}

bool is_float_kind(const TYPE* t) {
  const TYPE* r = repr(t);
  return r && r->kind == TYPE::KIND_FLOATING;
}

NODE* new_fcon(const simul_fval& v, TYPE* type, LS* scope) {
  NODE* n = maketree(FCON, nullptr, nullptr, type, scope);
  simul_fval* p = static_cast<simul_fval*>(zalloc0(1, sizeof(simul_fval)));
  *p = v;
  n->sym = p;
  return n;
}

}  // namespace

NODE* coerce_to_type(TYPE* type, NODE* tree) {
  if (!tree || !type || tree->type == type) return tree;
  const TYPE* to = repr(type);
  if (to->kind == TYPE::KIND_VOID) return tree;
  if (tree->op == ICON && is_int_kind(type)) {
    tree->value = truncate_to_type(tree->value, type);
    tree->type = tree->cast_type = type;
    return tree;
  }
  if (tree->op == ICON && is_float_kind(type)) {
    simul_fval v;
    int saved = fp_error;
    fp_error = 0;
    int st = f_itof(tree->value, &v);
    if (st == 0 && !fp_error) truncate_fval_to_target(&v, type);
    bool ok = st == 0 && !fp_error;
    fp_error = saved;
    if (ok) {
      NODE* n = new_fcon(v, type, tree->scope);
      erase_tree(tree);
      return n;
    }
  }
  if (tree->op == FCON && tree->sym && is_float_kind(type) && is_float_kind(tree->type) &&
      repr(tree->type)->size == to->size) {
    NODE* n = new_fcon(*static_cast<const simul_fval*>(tree->sym), type, tree->scope);
    erase_tree(tree);
    return n;
  }
  int op = to->kind == TYPE::KIND_POINTER ? PCONV : SCONV;
  return maketree(op, tree, nullptr, type, tree->scope);
}
