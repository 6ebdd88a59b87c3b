#include "ssa/alias.h"

#include "driver/globals.h"
#include "icode/if_client.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"

namespace {

void set_marks_of_chain(SYMTAB* chain, uint8_t value) {
  for (SYMTAB* s = chain; s; s = s->next) s->alias_marks = value;
}

bool tree_names(const NODE* tree, const SYMTAB* sym) {
  if (!tree) return false;
  if (tree->op == NAME && tree->sym == sym) return true;
  return tree_names(tree->left, sym) || tree_names(tree->right, sym);
}

bool type_is_vector_or_complex(TYPE* type) {
  if (!type) return false;
  for (TYPE* t = type->stqs(); t; t = t->elem_type() ? t->elem_type()->stqs() : nullptr) {
    if (t->kind == TYPE::KIND_COMPLEX) return true;
    if (t->kind != TYPE::KIND_ARRAY) return false;
    if (t->getr_array()->vector) return true;
  }
  return false;
}

}  // namespace

SYMTAB* name_below_stdots(NODE* tree) {
  while (tree && tree->op == STDOT) tree = tree->left;
  return tree && tree->op == NAME ? static_cast<SYMTAB*>(tree->sym) : nullptr;
}

void mark_address_exposed_symbols(NODE* tree, bool in_deref) {
  for (; tree; tree = tree->right) {
    switch (tree->op) {
      case UAND:
        if (!in_deref)
          if (SYMTAB* s = name_below_stdots(tree->left)) s->alias_marks |= ALIAS_EXPOSED;
        mark_address_exposed_symbols(tree->left, false);
        return;
      case UMULT:
      case STREF:
        mark_address_exposed_symbols(tree->left, true);
        if (tree->op == UMULT) return;
        in_deref = false;
        continue;
      case PLUS:
      case MINUS:
        mark_address_exposed_symbols(tree->left, in_deref);
        continue;
      case PCONV:
      case ISP2CHAR:
        mark_address_exposed_symbols(tree->left, in_deref);
        return;
      case IF:
      case SWITCH:
        mark_address_exposed_symbols(tree->left, false);
        return;
      case OUIALIGN:
      case NONALIGN:
        return;
      default:
        if (number_of_operands[tree->op] == 0) return;
        mark_address_exposed_symbols(tree->left, false);
        in_deref = false;
        if (number_of_operands[tree->op] < 2) return;
        continue;
    }
  }
}

void mark_address_exposed_symbols_in_function() {
  if (!currfuninfo) return;
  set_marks_of_chain(currfuninfo->symbols, 0);
  set_marks_of_chain(currfuninfo->temps, 0);
  set_marks_of_chain(currfuninfo->params, 0);
  // Without a whole-program view every global may be reached by a pointer.
  for (SYMTAB* g = global_symbols; g; g = g->next) g->alias_marks |= ALIAS_EXPOSED;
  if (cfg.bb_list) {
    for (BBLK* b = cfg.bb_list; b; b = b->dflink)
      for (LIST* l = b->statements; l; l = l->next) mark_address_exposed_symbols(l->tree, false);
  } else {
    for (LIST* l = currfuninfo->stmts; l; l = l->next) mark_address_exposed_symbols(l->tree, false);
  }
}

void mark_aliased_vector_and_complex_symbols(bool locals, bool params) {
  if (!currfuninfo) return;
  auto mark = [](SYMTAB* chain) {
    for (SYMTAB* s = chain; s; s = s->next) {
      if (type_is_vector_or_complex(s->type)) s->alias_marks |= ALIAS_VECTOR_OR_COMPLEX;
      else s->alias_marks &= static_cast<uint8_t>(~ALIAS_VECTOR_OR_COMPLEX);
    }
  };
  if (locals) {
    mark(currfuninfo->symbols);
    mark(currfuninfo->temps);
  }
  if (params) mark(currfuninfo->params);
}

bool symbol_is_aliased(const SYMTAB* sym) {
  return sym && (sym->alias_marks & (ALIAS_EXPOSED | ALIAS_GROUP_A | ALIAS_GROUP_B));
}

bool symbol_is_immutable(const SYMTAB* sym) {
  return sym && sym->type && (sym->type->qual_kind(true) & TYPE::Q_VOLATILE);
}

bool sym_appears_in_EHT(const SYMTAB* sym) {
  if (!currfuninfo || !sym) return false;
  for (int i = 0; i < currfuninfo->eht_count; ++i)
    if (tree_names(currfuninfo->eht[i].tree, sym)) return true;
  return false;
}
