#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/types.h"

// Converts `tree` to `type` with the conversion operator C would use. A
// constant converted to an integral type is folded at once.
NODE* coerce_to_type(TYPE* type, NODE* tree) {
  if (!tree || !type || tree->type == type) return tree;
  TYPE* to = type->rep ? type->rep : type;
  if (tree->op == ICON && (to->kind == TYPE::KIND_INTEGRAL || to->kind == TYPE::KIND_ENUM)) {
    tree->value = truncate_to_type(tree->value, type);
    tree->type = tree->cast_type = type;
    return tree;
  }
  int op = to->kind == TYPE::KIND_POINTER ? PCONV : SCONV;
  return maketree(op, tree, nullptr, type, tree->scope);
}
