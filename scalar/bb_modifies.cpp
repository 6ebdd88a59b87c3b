// May a block change what a tree reads? Conservative: calls and stores
// through pointers reach every variable whose address is taken and every
// variable outside the function.
#include <set>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"

namespace {

struct READS {
  std::set<const SYMTAB*> syms;
  bool indirect = false;  // reads memory through a pointer
};

void collect_reads(const NODE* t, READS& r) {
  for (; t; t = t->right) {
    if (t->op == NAME) r.syms.insert(t->name_symbol());
    if (t->op == UMULT || t->op == STREF || t->op == ARGREF || t->op == CALL || t->op == UCALL) r.indirect = true;
    if (t->op == CSE_DUPE) return;
    collect_reads(t->left, r);
  }
}

const SYMTAB* base_symbol(const NODE* lv) {
  while (lv && lv->op == STDOT) lv = lv->left;
  return lv && lv->op == NAME ? lv->name_symbol() : nullptr;
}

void collect_address_taken(const NODE* t, std::set<const SYMTAB*>& out) {
  for (; t; t = t->right) {
    if (t->op == UAND || t->op == ARGREF)
      if (const SYMTAB* s = base_symbol(t->left)) out.insert(s);
    if (t->op == CSE_DUPE) return;
    collect_address_taken(t->left, out);
  }
}

bool is_function_local(const SYMTAB* s) {
  return s && (s->sclass == SC_LOCAL || s->sclass == SC_REGISTER || s->sclass == SC_PARAM ||
               s->sclass == SC_REG17 || s->sclass == SC_REG22) &&
         s->lex_level >= 1;
}

class MODIFIES {
 public:
  explicit MODIFIES(const READS& r) : reads_(r) {}

  bool stmt(const NODE* t) {
    for (; t; t = t->right) {
      if (node(t)) return true;
      if (t->op == CSE_DUPE) return false;
      if (stmt(t->left)) return true;
    }
    return false;
  }

 private:
  const READS& reads_;
  bool escapes_known_ = false;
  std::set<const SYMTAB*> address_taken_;

  bool escapes(const SYMTAB* s) {
    if (!is_function_local(s)) return true;
    if (!escapes_known_) {
      for (BBLK* b = cfg.bb_list; b; b = b->dflink)
        for (LIST* l = b->statements; l; l = l->next) collect_address_taken(l->tree, address_taken_);
      escapes_known_ = true;
    }
    return address_taken_.count(s) != 0;
  }

  bool any_read_escapes() {
    if (reads_.indirect) return true;
    for (const SYMTAB* s : reads_.syms)
      if (escapes(s)) return true;
    return false;
  }

  bool node(const NODE* t) {
    switch (t->op) {
      case CALL:
      case UCALL:
      case MCALL:
      case UMCALL:
      case MEMCPY:
      case SSA_DEF:
      case SSA_CHI:
      case SSA_PHI:
        return any_read_escapes();
      case ICALL:
      case UICALL:
        return tree_has_side_effects(t) && any_read_escapes();
      case ASM:
        return t->value.as_int64() != ASM_COMMENT && any_read_escapes();
      case ASG:
      case STASG:
      case ARASG:
      case PLUSPLUS:
      case MINMIN:
        return store(t->left);
      default:
        if (t->op > 0 && t->op < 256 && op_of_opASG[t->op] != 255) return store(t->left);
        return false;
    }
  }

  bool store(const NODE* target) {
    const SYMTAB* s = base_symbol(target);
    if (!s) return any_read_escapes();
    if (reads_.syms.count(s)) return true;
    return reads_.indirect && escapes(s);
  }
};

}  // namespace

bool bb_modifies_lvalue_in_tree(BBLK* bb, NODE* tree) {
  READS r;
  collect_reads(tree, r);
  MODIFIES m(r);
  for (LIST* l = bb->statements; l; l = l->next)
    if (m.stmt(l->tree)) return true;
  return false;
}
