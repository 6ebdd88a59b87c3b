// object_name_if_known: the named object an lvalue lies in, read off the
// tree. C keeps pointer arithmetic inside the object it started from, so an
// access through the address of x plus any offset stays in x.
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "ssa/alias.h"

namespace {

SYMTAB* pointee_of(NODE* p) {
  while (p) {
    switch (p->op) {
      case UAND:
        return object_name_if_known(p->left, true, false);
      case PLUS:
        // One side is the pointer: the one that is itself a pointer value.
        if (p->right && p->right->type && p->right->type->is_pointer()) p = p->right;
        else p = p->left;
        break;
      case MINUS:
      case PCONV:
      case ISP2CHAR:
        p = p->left;
        break;
      default:
        return nullptr;
    }
  }
  return nullptr;
}

}  // namespace

SYMTAB* object_name_if_known(NODE* lvalue, bool through_address, bool /*through_pointsto*/) {
  if (!lvalue) return nullptr;
  switch (lvalue->op) {
    case NAME:
      return lvalue->name_symbol();
    case STDOT:
      return object_name_if_known(lvalue->left, through_address, false);
    case UMULT:
    case STREF:
      return through_address ? pointee_of(lvalue->left) : nullptr;
    default:
      return nullptr;
  }
}
