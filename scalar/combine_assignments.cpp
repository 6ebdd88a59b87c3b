// combine_assignments: t = e; S(t) becomes S(e) when S reads t once and no
// path reads t after S. The value then needs neither a store nor a
// variable, and a chain of temporaries folds into the one statement that
// uses it. e and every operand of S are free of effects, so e sees the
// same variables and memory at its new place; only the root of S acts, and
// it acts after its operands are evaluated.
#include <set>
#include <vector>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/deadasg.h"
#include "scalar/lva.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"

namespace {

std::set<BBLK*> targets_of(NODE* t) {
  std::set<BBLK*> out;
  std::vector<NODE*> stack{t};
  while (!stack.empty()) {
    NODE* n = stack.back();
    stack.pop_back();
    if (!n) continue;
    if (n->op == LABEL) out.insert(label_target(n));
    stack.push_back(n->left);
    stack.push_back(n->right);
  }
  return out;
}

bool cannot_take_value(const NODE* s) {
  switch (s->op) {
    case LABELDEF: case PCOMMA: case ASM: case PPRAGMA: case BRANCH: case URETURN:
      return true;
    default:
      return tree_has_side_effects(s->left) || tree_has_side_effects(s->right);
  }
}

// Moves the value of `a` into `b`, the next statement. On success `a`'s
// cell holds the combined statement and `b`'s cell is empty.
bool try_combine(LIST* a, LIST* b, const BITVEC* live_after_b) {
  NODE* t = a->tree;
  if (!t || t->op != ASG || !t->left || t->left->op != NAME || !t->right) return false;
  SYMTAB* x = t->left->name_symbol();
  int xi = lva_index(x);
  if (xi < 0 || live_after_b->bv_test(xi) || tree_is_arg_prolog(t)) return false;
  NODE* e = t->right;
  if (tree_has_side_effects(e) || !simp::same_type(t->left->type, e->type)) return false;
  NODE* s = b->tree;
  if (!s || cannot_take_value(s)) return false;
  NODE* moved = copy_tree(s, false);
  NODE** slot = find_sole_use(x, &moved);
  if (!slot || !simp::same_type((*slot)->type, e->type)) {
    erase_tree(moved);
    return false;
  }
  erase_tree(*slot);
  *slot = copy_tree(e, false);
  bool transfer = s->op == IF || s->op == SWITCH || s->op == CBRANCH;
  NODE* result = simp_tree(moved);
  // A transfer must keep its shape and its targets: the edges stay as
  // they are. A test that became constant is the flow-graph clean-up's to
  // fold, together with the dead code behind it.
  if (!result || (transfer && (result->op != s->op || targets_of(result) != targets_of(s) ||
                               simp::is_const_like(result->left)))) {
    erase_tree(result);
    return false;
  }
  if (print_debug && fdebug) fprintf(fdebug, "\tCombining %s", stmt2infix(t));
  if (print_debug && fdebug) fprintf(fdebug, " into %s\n", stmt2infix(s));
  erase_tree(t);
  erase_tree(s);
  a->tree = result;
  a->psn = b->psn;
  b->tree = nullptr;
  return true;
}

}  // namespace

void combine_assignments(LIST* list) {
  if (!list) return;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->statements == list) {
      combine_assignments_in_bb(b);
      return;
    }
}

bool combine_assignments_in_bb(BBLK* bb) {
  // At level 0 statements stay as they are written.
  if (opt_level < 1 || !bb->statements || lva_function_has_asm()) return false;
  BITVEC* out = lva_set(bb, LVA_OUT);
  if (!out) return false;
  std::vector<LIST*> cells;
  for (LIST* l = bb->statements; l; l = l->next) cells.push_back(l);
  // Scratch sets for all blocks, as in elim_locally_dead_assignments_in_bb.
  static BITVEC* live = mkBITVEC(0, 0);
  static BITVEC* after_next = mkBITVEC(0, 0);
  live->bv_resize(out->nbits);
  after_next->bv_resize(out->nbits);
  *live = *out;
  LIST* next = nullptr;  // the next statement that holds a tree
  bool changed = false;
  for (auto it = cells.rbegin(); it != cells.rend(); ++it) {
    LIST* a = *it;
    if (!a->tree) continue;
    // `live` holds what is live after a; `after_next` what is live after next.
    if (next && try_combine(a, next, after_next)) {
      *live = *after_next;
      changed = true;
    }
    *after_next = *live;
    lva_transfer(a->tree, live);
    next = a;
  }
  if (!changed) return false;
  unlink_empty_cells(bb);
  return true;
}
