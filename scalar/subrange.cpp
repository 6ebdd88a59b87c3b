// SUBRANGE and its list operations. Pieces are measured in addressable
// units; a bit-field shares its unit with its neighbours and is no piece.
#include "scalar/subrange.h"

#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "ssa/alias.h"

SUBRANGE* free_SUBRANGE_list = nullptr;

namespace {

long units(const TYPE* t) { return t ? static_cast<long>((t->size + 15) / 16) : 0; }

SUBRANGE* new_subrange() {
  SUBRANGE* r = free_SUBRANGE_list;
  if (r) {
    free_SUBRANGE_list = r->link;
    *r = SUBRANGE();
    return r;
  }
  // Outside the function pool: the free list outlives a function.
  return new SUBRANGE();
}

// The object and the offset a pointer value points at, or null.
SUBRANGE* pointed_at(NODE* p) {
  if (!p) return nullptr;
  switch (p->op) {
    case UAND:
      return compute_subrange(p->left);
    case PCONV:
    case ISP2CHAR:
      return pointed_at(p->left);
    case PLUS:
    case MINUS: {
      if (!p->right || p->right->op != ICON) return nullptr;
      SUBRANGE* r = pointed_at(p->left);
      if (r) r->offset += (p->op == PLUS ? 1 : -1) * static_cast<long>(p->right->value.as_int64());
      return r;
    }
    default:
      return nullptr;
  }
}

SUBRANGE* member_of(SUBRANGE* base, NODE* lvalue) {
  const NODE* field = lvalue->right;
  if (!base || !field || field->op != FIELD || !field->mval || field->mval->is_bitfield ||
      field->mval->offset % 16 != 0) {
    erase_subrange(base);
    return nullptr;
  }
  base->offset += field->mval->offset / 16;
  return base;
}

// Two lvalues whose pieces are not known may overlap unless both lie in
// known objects that differ.
bool lvalues_may_overlap(NODE* a, const SYMTAB* object_of_b) {
  SYMTAB* oa = object_name_if_known(a, true, false);
  if (oa && object_of_b && oa != object_of_b) {
    // Two names of one storage (a pair of alias groups) may still overlap.
    bool paired = ((oa->alias_marks & ALIAS_GROUP_A) && (object_of_b->alias_marks & ALIAS_GROUP_B)) ||
                  ((oa->alias_marks & ALIAS_GROUP_B) && (object_of_b->alias_marks & ALIAS_GROUP_A));
    return paired;
  }
  if (!oa) return symbol_is_reachable(object_of_b);
  return true;
}

}  // namespace

bool symbol_is_reachable(const SYMTAB* sym) {
  return sym && (sym->lex_level == 0 || sym->sclass == SC_STATIC || symbol_is_aliased(sym));
}

SUBRANGE* compute_subrange(NODE* lvalue) {
  if (!lvalue) return nullptr;
  SUBRANGE* r = nullptr;
  switch (lvalue->op) {
    case NAME:
      r = new_subrange();
      r->sym = lvalue->name_symbol();
      break;
    case STDOT:
      r = member_of(compute_subrange(lvalue->left), lvalue);
      break;
    case STREF:
      r = member_of(pointed_at(lvalue->left), lvalue);
      break;
    case UMULT:
      r = pointed_at(lvalue->left);
      break;
    default:
      return nullptr;
  }
  if (!r || !r->sym || !r->sym->type) {
    erase_subrange(r);
    return nullptr;
  }
  r->size = units(lvalue->type);
  r->type = lvalue->type;
  if (r->size <= 0 || r->offset < 0 || r->offset + r->size > units(r->sym->type)) {
    erase_subrange(r);
    return nullptr;
  }
  return r;
}

void erase_subrange(SUBRANGE* range) {
  if (!range) return;
  range->link = free_SUBRANGE_list;
  free_SUBRANGE_list = range;
}

void erase_subrange_list(SUBRANGE* list) {
  while (list) {
    SUBRANGE* next = list->link;
    erase_subrange(list);
    list = next;
  }
}

bool subranges_overlap(const SUBRANGE* a, const SUBRANGE* b) {
  return a->sym == b->sym && a->offset < b->offset + b->size && b->offset < a->offset + a->size;
}

bool subrange_contains(const SUBRANGE* outer, const SUBRANGE* inner) {
  return outer->sym == inner->sym && outer->offset <= inner->offset &&
         inner->offset + inner->size <= outer->offset + outer->size;
}

SUBRANGE* remove_aliased_subranges(SUBRANGE* range, SUBRANGE* list) {
  SUBRANGE** link = &list;
  while (*link) {
    SUBRANGE* r = *link;
    if (subranges_overlap(range, r)) {
      *link = r->link;
      erase_subrange(r);
    } else {
      link = &r->link;
    }
  }
  return list;
}

SUBRANGE* kill_aliased_subranges(NODE* lvalue, SUBRANGE* list) {
  if (SUBRANGE* piece = compute_subrange(lvalue)) {
    list = remove_aliased_subranges(piece, list);
    erase_subrange(piece);
    return list;
  }
  SUBRANGE** link = &list;
  while (*link) {
    SUBRANGE* r = *link;
    if (lvalues_may_overlap(lvalue, r->sym)) {
      *link = r->link;
      erase_subrange(r);
    } else {
      link = &r->link;
    }
  }
  return list;
}

SUBRANGE* kill_reachable_subranges(SUBRANGE* list) {
  SUBRANGE** link = &list;
  while (*link) {
    SUBRANGE* r = *link;
    if (symbol_is_reachable(r->sym)) {
      *link = r->link;
      erase_subrange(r);
    } else {
      link = &r->link;
    }
  }
  return list;
}
