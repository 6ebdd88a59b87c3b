// elim_dead_assigns: a store to a candidate that no path reads before the
// next store is dead. Each block is walked backwards from the set live at
// its exit; a dead store goes, and what its right side must still do stays
// as statements. Deleting a store deletes the reads of its right side, which
// may kill stores in earlier blocks: the whole is repeated, with liveness
// computed again, until a round finds nothing.
#include "scalar/deadasg.h"

#include <cstdio>
#include <vector>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/lva.h"
#include "scalar/simp.h"

namespace {

// Rounds of the whole function; each one that changes something removes a
// statement, and a chain that dies in several places rarely needs more.
constexpr int kMaxRounds = 10;

bool is_read_modify_write(int op) {
  return op == PLUSPLUS || op == MINMIN || (op > 0 && op < 256 && op_of_opASG[op] != 255 && op_of_opASG[op] != 0);
}

// The candidate a statement stores to as a whole, or -1.
int stored_candidate(const NODE* t) {
  if (!t || !(t->op == ASG || is_read_modify_write(t->op)) || !t->left || t->left->op != NAME) return -1;
  return lva_index(t->left->name_symbol());
}

long line_of(const LIST* cell) { return cell->psn ? static_cast<long>(cell->psn->line) : 0L; }

// Deletes the store of `cell`, leaving the effects of its value as
// statements behind it; the live set takes in what those statements read.
void delete_store(LIST* cell, BITVEC* live) {
  NODE* t = cell->tree;
  NODE* value = t->op == PLUSPLUS || t->op == MINMIN ? nullptr : t->right;
  bool effect = tree_has_side_effects(value);
  if (print_debug && fdebug)
    fprintf(fdebug, "\n(%ld) DEAD ASSIGNMENT (eda):  %s, Effect? %d\n", line_of(cell), stmt2infix(t), effect ? 1 : 0);
  if (value) t->right = nullptr;
  erase_tree(t);
  cell->tree = nullptr;
  LIST* after = cell->next;
  promote_tree(value, cell);
  std::vector<LIST*> added;
  for (LIST* l = cell->next; l != after; l = l->next) added.push_back(l);
  for (auto it = added.rbegin(); it != added.rend(); ++it) lva_transfer((*it)->tree, live);
}

}  // namespace

void unlink_empty_cells(BBLK* bb) {
  LIST** link = &bb->statements;
  while (*link) {
    LIST* cell = *link;
    if (!cell->tree) {
      *link = cell->next;
      cell->next = nullptr;
      erase_tree_list_only(cell);
      continue;
    }
    link = &cell->next;
  }
}

bool elim_locally_dead_assignments_in_bb(BBLK* bb, struct LOOP*) {
  if (!bb || !bb->statements) return false;
  int n = lva_candidate_count();
  if (n == 0) return false;
  BITVEC* out = lva_set(bb, LVA_OUT);
  // One scratch set for all blocks: making and freeing one per block costs
  // a search of the pool's list each time.
  static BITVEC* live = mkBITVEC(0, 0);
  live->bv_resize(n);
  // A block the last liveness run did not see: everything may be read.
  if (out) *live = *out;
  else
    for (int i = 0; i < n; ++i) live->bv_add(i);
  std::vector<LIST*> cells;
  for (LIST* l = bb->statements; l; l = l->next) cells.push_back(l);
  bool changed = false;
  for (auto it = cells.rbegin(); it != cells.rend(); ++it) {
    LIST* cell = *it;
    int v = stored_candidate(cell->tree);
    if (v >= 0 && !live->bv_test(v)) {
      delete_store(cell, live);
      changed = true;
    } else if (cell->tree) {
      lva_transfer(cell->tree, live);
    }
  }
  if (changed) unlink_empty_cells(bb);
  return changed;
}

void elim_dead_assigns(int mode, int delay) {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'elim_dead_assigns' ----------\n");
  // Level 0 keeps every statement as it is written.
  if (!currfuninfo || !cfg.bb_list || opt_level < 1) return;
  for (int round = 0; round < kMaxRounds; ++round) {
    find_live_variables(mode, false);
    if (lva_candidate_count() == 0) return;
    bool changed = false;
    for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
      // Dead stores go first, so that no value is combined into a store
      // that dies. A combined statement may simplify to a bare read, which
      // the next round's clean-up drops.
      changed |= elim_locally_dead_assignments_in_bb(bb, nullptr);
      changed |= combine_assignments_in_bb(bb);
    }
    if (!changed) break;
  }
  if (delay) {
    find_live_variables(mode, false);
    delay_assignments();
  }
}
