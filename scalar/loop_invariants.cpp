// What a loop changes, and which trees keep their value while it runs.
#include <set>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "ssa/alias.h"

namespace {

// Temporaries that hold a value constant in some loop.
std::set<const SYMTAB*> rc_temps;
const void* rc_temps_owner = nullptr;

bool is_store(int op) {
  return op == ASG || op == STASG || op == ARASG || op == PLUSPLUS || op == MINMIN ||
         (op > 0 && op < 256 && op_of_opASG[op] != 255);
}

void scan(NODE* t, struct LOOP* l) {
  for (; t; t = t->right) {
    switch (t->op) {
      case NAME:
        l->read->insert(t->name_symbol());
        break;
      case CALL:
      case UCALL:
      case MCALL:
      case UMCALL:
      case MEMCPY:
      case SSA_CHI:
        l->has_calls = 1;
        break;
      case ICALL:
      case UICALL:
        if (tree_has_side_effects(t)) l->has_calls = 1;
        break;
      case ASM:
        if (t->value.as_int64() != 47) l->has_calls = 1;
        break;
      default:
        break;
    }
    if (is_store(t->op)) {
      if (SYMTAB* s = name_below_stdots(t->left)) l->assigned->insert(s);
      else l->has_calls = 1;  // a store through a pointer may reach any exposed variable
    }
    if (t->op == CSE_DUPE) return;
    scan(t->left, l);
  }
}

bool is_function_local(const SYMTAB* s) {
  return s && s->lex_level >= 1 &&
         (s->sclass == SC_LOCAL || s->sclass == SC_REGISTER || s->sclass == SC_PARAM || s->sclass == SC_REG17 ||
          s->sclass == SC_REG22);
}

}  // namespace

void collect_loop_symbols(struct LOOP* loop) {
  if (!loop || loop->symbols_known) return;
  loop->assigned->clear();
  loop->read->clear();
  loop->has_calls = 0;
  for (EDGE* c = loop->contents; c; c = c->next)
    for (LIST* s = c->bb->statements; s; s = s->next) scan(s->tree, loop);
  loop->symbols_known = 1;
}

bool sym_is_RC_in_loop(SYMTAB* sym, struct LOOP* loop) {
  if (!sym || !loop) return false;
  if (symbol_is_immutable(sym) || simp::is_volatile_type(sym->type)) return false;
  collect_loop_symbols(loop);
  if (loop->assigned->contains(sym)) return false;
  // A call or a store through a pointer reaches what is not private to the
  // function, and what has its address taken.
  if (loop->has_calls && (!is_function_local(sym) || symbol_is_aliased(sym))) return false;
  return true;
}

bool tree_is_RC_in_loop(NODE* t, struct LOOP* loop, bool strict) {
  if (!t) return true;
  switch (t->op) {
    case ICON:
    case FCON:
    case SCON:
      return true;
    case NAME:
      return sym_is_RC_in_loop(t->name_symbol(), loop);
    case UAND:
      // The address of a named object does not change.
      if (t->left && name_below_stdots(t->left) && t->left->op == NAME) return true;
      return tree_is_RC_in_loop(t->left, loop, strict);
    case UMULT:
    case STREF:
      if (strict || tree_has_side_effects(t)) return false;
      collect_loop_symbols(loop);
      if (loop->has_calls) return false;
      return tree_is_RC_in_loop(t->left, loop, strict) && (t->op == UMULT || tree_is_RC_in_loop(t->right, loop, strict));
    case FIELD:
      return true;
    default:
      break;
  }
  if (tree_has_side_effects(t) || number_of_operands[t->op] == 0 || number_of_operands[t->op] > 2) return false;
  if (!tree_is_RC_in_loop(t->left, loop, strict)) return false;
  return number_of_operands[t->op] < 2 || tree_is_RC_in_loop(t->right, loop, strict);
}

bool tree_may_trap(const NODE* t) {
  for (; t; t = t->right) {
    switch (t->op) {
      case DIV:
      case MOD:
      case DIVASG:
      case MODASG:
        if (!t->right || t->right->op != ICON || t->right->value.is_zero()) return true;
        break;
      case SLL:
      case SRL:
      case SLLASG:
      case SRLASG:
        if (!t->right || t->right->op != ICON) return true;
        break;
      case UMULT:
      case STREF:
      case CALL:
      case UCALL:
      case ICALL:
      case UICALL:
      case MCALL:
      case UMCALL:
      case MEMCPY:
      case ASM:
        return true;
      case SCONV:
        if (t->left && simp::is_flt_type(t->left->type) && !simp::is_flt_type(t->type)) return true;
        break;
      default:
        break;
    }
    if (t->op == CSE_DUPE) return false;
    if (tree_may_trap(t->left)) return true;
  }
  return false;
}

void make_sym_RC_in_loop(SYMTAB* sym, struct LOOP*) {
  if (rc_temps_owner != currfuninfo) {
    rc_temps.clear();
    rc_temps_owner = currfuninfo;
  }
  rc_temps.insert(sym);
}

bool sym_is_marked_RC(const SYMTAB* sym) { return rc_temps_owner == currfuninfo && rc_temps.count(sym) != 0; }
