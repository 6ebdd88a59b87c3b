// elim_dead_subrange_assigns: walking a block backwards, the pieces that a
// later store of the block overwrites whole, with no read between, are
// "covered"; a store that lies wholly inside one of them is dead. Whatever
// may read a covered piece uncovers it first: a read of the piece or of an
// unknown part of its object, a read through a pointer of unknown target
// or a call (for objects such reads can reach), assembly text (for all).
#include <cstdio>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/deadasg.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/subrange.h"
#include "ssa/alias.h"

namespace {

bool is_rmw(int op) {
  return op == PLUSPLUS || op == MINMIN || (op > 0 && op < 256 && op_of_opASG[op] != 255 && op_of_opASG[op] != 0);
}
bool is_store(int op) { return op == ASG || op == STASG || op == ARASG || is_rmw(op); }
bool is_call(int op) {
  return op == CALL || op == UCALL || op == MCALL || op == UMCALL || op == ICALL || op == UICALL || op == MEMCPY;
}
bool is_lvalue_op(int op) { return op == NAME || op == STDOT || op == STREF || op == UMULT; }

SUBRANGE* uncover_reads(NODE* t, SUBRANGE* covered);

// The reads that finding the lvalue's place takes.
SUBRANGE* uncover_address(NODE* lv, SUBRANGE* covered) {
  if (!lv) return covered;
  switch (lv->op) {
    case NAME:
      return covered;
    case STDOT:
      return uncover_address(lv->left, covered);
    case UMULT:
    case STREF:
      return uncover_reads(lv->left, covered);
    default:
      return uncover_reads(lv, covered);
  }
}

// A read of the value of the lvalue `lv`.
SUBRANGE* uncover_piece(NODE* lv, SUBRANGE* covered) {
  covered = uncover_address(lv, covered);
  return kill_aliased_subranges(lv, covered);
}

SUBRANGE* uncover_reads(NODE* t, SUBRANGE* covered) {
  if (!t || !covered) return covered;
  if (is_lvalue_op(t->op)) return uncover_piece(t, covered);
  if (t->op == ASM) {
    if (t->value.as_int64() == 47) return covered;
    erase_subrange_list(covered);
    return nullptr;
  }
  if (t->op == UAND || t->op == ARGREF) return uncover_address(t->left, covered);
  if (is_store(t->op)) {
    covered = uncover_reads(t->right, covered);
    if (is_rmw(t->op)) return uncover_piece(t->left, covered);
    return uncover_address(t->left, covered);
  }
  covered = uncover_reads(t->left, covered);
  covered = uncover_reads(t->right, covered);
  if (is_call(t->op)) covered = kill_reachable_subranges(covered);
  return covered;
}

// The piece a root store of the statement writes, when it may be covered
// or cover: a known piece of a plain, non-volatile, non-exception object.
SUBRANGE* stored_piece(NODE* t) {
  if (!t || !is_store(t->op) || !t->left || simp::is_lvalue_volatile(t->left)) return nullptr;
  SUBRANGE* r = compute_subrange(t->left);
  if (r && (symbol_is_immutable(r->sym) || sym_appears_in_EHT(r->sym) || tree_has_side_effects(t->left))) {
    erase_subrange(r);
    return nullptr;
  }
  return r;
}

bool is_covered(const SUBRANGE* r, const SUBRANGE* covered) {
  for (const SUBRANGE* c = covered; c; c = c->link)
    if (subrange_contains(c, r)) return true;
  return false;
}

long line_of(const LIST* cell) { return cell->psn ? static_cast<long>(cell->psn->line) : 0L; }

void scan_block(BBLK* bb) {
  std::vector<LIST*> cells;
  for (LIST* l = bb->statements; l; l = l->next) cells.push_back(l);
  SUBRANGE* covered = nullptr;
  bool changed = false;
  for (auto it = cells.rbegin(); it != cells.rend(); ++it) {
    LIST* cell = *it;
    NODE* t = cell->tree;
    SUBRANGE* r = stored_piece(t);
    if (r && is_covered(r, covered)) {
      erase_subrange(r);
      NODE* value = t->op == PLUSPLUS || t->op == MINMIN ? nullptr : t->right;
      bool effect = tree_has_side_effects(value);
      if (print_debug && fdebug)
        fprintf(fdebug, t->op == ASG || t->op == STASG || t->op == ARASG
                            ? "\n(%ld) DEAD ASSIGNMENT (edsa_ASG):  %s, Effect? %d\n"
                            : "\n(%ld) DEAD ASSIGNMENT (edsa_opASG) : %s, Effect? %d\n",
                line_of(cell), stmt2infix(t), effect ? 1 : 0);
      if (value) t->right = nullptr;
      erase_tree(t);
      cell->tree = nullptr;
      LIST* after = cell->next;
      promote_tree(value, cell);
      std::vector<LIST*> added;
      for (LIST* l = cell->next; l != after; l = l->next) added.push_back(l);
      for (auto a = added.rbegin(); a != added.rend(); ++a) covered = uncover_reads((*a)->tree, covered);
      changed = true;
      continue;
    }
    // The store comes last in its statement: what the statement reads
    // before it is read between this store and any earlier one.
    if (r) {
      r->link = covered;
      covered = r;
    }
    covered = uncover_reads(t, covered);
  }
  erase_subrange_list(covered);
  if (changed) unlink_empty_cells(bb);
}

}  // namespace

void elim_dead_subrange_assigns() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'elim_dead_subrange_assigns' ---\n\n");
  if (!currfuninfo || !cfg.bb_list) return;
  mark_address_exposed_symbols_in_function();
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) scan_block(bb);
}
