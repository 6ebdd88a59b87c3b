// Assertions: ASSERT and NASSERT statements state that their operand is
// true where they stand. A pass that walks the blocks forward keeps the set
// of assertions still true (none of what they read has changed since) and
// may settle a test they imply.
#include <functional>
#include <vector>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"
#include "ssa/pred_implies_pred.h"

namespace {

std::vector<NODE*> assertions;  // the statements, numbered

bool is_assertion(const NODE* t) { return t && (t->op == ASSERT || t->op == NASSERT) && t->left; }

// The lvalues a tree reads, in value positions.
void lvalues_read(NODE* t, std::vector<NODE*>& out) {
  t = strip_transparent_marks(t);
  if (!t) return;
  switch (t->op) {
    case NAME:
    case UMULT:
    case STREF:
    case STDOT:
      out.push_back(t);
      if (t->op == UMULT || t->op == STREF) lvalues_read(t->left, out);
      return;
    case UAND:
    case ARGREF: {
      // The address reads what its address parts read.
      NODE* l = strip_transparent_marks(t->left);
      while (l && l->op == STDOT) l = strip_transparent_marks(l->left);
      if (l && (l->op == UMULT || l->op == STREF)) lvalues_read(l->left, out);
      return;
    }
    default:
      if (number_of_operands[t->op] >= 1) lvalues_read(t->left, out);
      if (number_of_operands[t->op] >= 2) lvalues_read(t->right, out);
      return;
  }
}

bool reads_memory_a_call_may_change(NODE* cond) {
  std::vector<NODE*> lv;
  lvalues_read(cond, lv);
  for (NODE* l : lv) {
    LVALUE_DESC d;
    describe_lvalue(l, d);
    if (!d.object) return true;
    if (d.object->lex_level == 0 || d.object->sclass == SC_STATIC || symbol_is_aliased(d.object)) return true;
  }
  return false;
}

}  // namespace

bool expand_assertion(LIST* cell) {
  if (!cell || !is_assertion(cell->tree)) return false;
  NODE* a = cell->tree;
  NODE* c = a->left;
  bool split = c->op == ANDAND || (c->op == ANDB && returns_1_or_0(c->left) && returns_1_or_0(c->right));
  if (!split || tree_has_side_effects(c)) return false;
  NODE* second = maketree(a->op, c->right, nullptr, a->type, a->scope);
  a->left = c->left;
  c->left = c->right = nullptr;
  erase_tree(c);
  cell->next = mkelist(second, cell->next, cell->psn);
  expand_assertion(cell);
  expand_assertion(cell->next);
  return true;
}

int init_assertions() {
  assertions.clear();
  if (!cfg.bb_list) return 0;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) {
      expand_assertion(l);
      if (is_assertion(l->tree) && !tree_has_side_effects(l->tree->left)) assertions.push_back(l->tree);
    }
  return static_cast<int>(assertions.size());
}

int assertion_count() { return static_cast<int>(assertions.size()); }

NODE* assertion_tree(int index) {
  return index >= 0 && index < static_cast<int>(assertions.size()) ? assertions[index] : nullptr;
}

int add_assertion(NODE* tree, BITVEC* valid, int index) {
  if (index < 0)
    for (size_t i = 0; i < assertions.size(); ++i)
      if (assertions[i] == tree) index = static_cast<int>(i);
  if (index < 0 || index >= static_cast<int>(assertions.size()) || !valid) return -1;
  if (valid->nbits < static_cast<int>(assertions.size())) valid->bv_resize(static_cast<int>(assertions.size()));
  valid->bv_add(index);
  return index;
}

void kill_assertions_for_store(NODE* lvalue, BITVEC* valid) {
  if (!valid) return;
  for (size_t i = 0; i < assertions.size(); ++i) {
    if (!valid->bv_test(static_cast<int>(i))) continue;
    std::vector<NODE*> lv;
    lvalues_read(assertions[i]->left, lv);
    for (NODE* l : lv)
      if (lvalues_may_be_aliased(lvalue, l, nullptr)) {
        valid->bv_del(static_cast<int>(i));
        break;
      }
  }
}

void kill_assertions_for_call(BITVEC* valid) {
  if (!valid) return;
  for (size_t i = 0; i < assertions.size(); ++i)
    if (valid->bv_test(static_cast<int>(i)) && reads_memory_a_call_may_change(assertions[i]->left))
      valid->bv_del(static_cast<int>(i));
}

int test_implied_by_assertions(NODE* test, const BITVEC* valid) {
  if (!valid || !test || tree_has_side_effects(test)) return -1;
  for (size_t i = 0; i < assertions.size(); ++i) {
    if (!valid->bv_test(static_cast<int>(i))) continue;
    NODE* c = assertions[i]->left;
    if (pred_implies_pred(c, 1, test, 1)) return 1;
    if (pred_implies_pred(c, 1, test, 0)) return 0;
  }
  return -1;
}
