// delay_assignments: an assignment at the end of a block whose variable
// only one successor reads moves into that successor, so that the paths
// that never read it no longer compute it. Where the successor has other
// predecessors the move goes onto a new block on the edge, which runs
// exactly as often as the edge: a moved statement never runs more often
// than before.
#include <cstdio>
#include <unordered_set>
#include <vector>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/deadasg.h"
#include "scalar/lva.h"
#include "scalar/simp.h"

namespace {

bool sym_appears_in_tree(const SYMTAB* sym, const NODE* t) {
  for (; t; t = t->right) {
    if (t->op == NAME && t->name_symbol() == sym) return true;
    if (sym_appears_in_tree(sym, t->left)) return true;
  }
  return false;
}

// What the value of an assignment depends on: the candidates it reads, and
// whether it reads anything else (memory, which any effect may change).
struct DEPENDS {
  std::unordered_set<int> candidates;
  bool memory = false;
};

void depends_of(const NODE* t, DEPENDS& d) {
  for (; t; t = t->right) {
    switch (t->op) {
      case NAME: {
        int i = lva_index(t->name_symbol());
        if (i >= 0) d.candidates.insert(i);
        else d.memory = true;
        return;
      }
      case UMULT: case STREF: case ICALL: case UICALL: case MCALL: case UMCALL: case CALL: case UCALL:
        d.memory = true;
        break;
      case UAND:
      case ARGREF:
        // An address reads nothing; what lies under it names the object.
        return;
      default:
        break;
    }
    depends_of(t->left, d);
  }
}

// The statements from `from` on (the block's transfer included) let the
// assignment of candidate `x` with value `e` pass.
bool may_pass(const NODE* e, int x, LIST* from) {
  DEPENDS d;
  depends_of(e, d);
  std::vector<LVA_EVENT> ev;
  for (LIST* l = from; l; l = l->next) {
    if (!l->tree) continue;
    if (sym_appears_in_tree(lva_candidate(x), l->tree)) return false;
    if (d.memory && tree_has_side_effects(l->tree)) return false;
    ev.clear();
    lva_statement_events(l->tree, ev);
    for (const LVA_EVENT& v : ev)
      if (v.kind != LVA_EVENT::USE && d.candidates.count(v.index)) return false;
  }
  return true;
}

// The one successor that reads `x` at its entry, or null.
BBLK* only_reader(BBLK* bb, int x) {
  BBLK* found = nullptr;
  for (EDGE* s = bb->successors; s; s = s->next) {
    BITVEC* in = lva_set(s->bb, LVA_IN);
    if (in && !in->bv_test(x)) continue;
    if (found) return nullptr;
    found = s->bb;
  }
  return found;
}

bool sink_one(BBLK* bb, LIST* prev, LIST* cell) {
  NODE* t = cell->tree;
  if (!t || t->op != ASG || !t->left || t->left->op != NAME || !t->right) return false;
  int x = lva_index(t->left->name_symbol());
  if (x < 0 || tree_is_arg_prolog(t) || tree_has_side_effects(t->right)) return false;
  BITVEC* out = lva_set(bb, LVA_OUT);
  if (!out || !out->bv_test(x)) return false;
  if (!may_pass(t->right, x, cell->next)) return false;
  BBLK* target = only_reader(bb, x);
  if (!target) return false;
  BBLK* dest = target;
  if (target == bb || edge_length(target->predecessors) != 1) dest = split_cfg_edge(bb, target);
  if (print_debug && fdebug) fprintf(fdebug, "\tDelaying %s into %s\n", stmt2infix(t), dest->str().c_str());
  if (prev) prev->next = cell->next;
  else bb->statements = cell->next;
  cell->tree = simp_tree(t);
  if (!cell->tree) {
    cell->next = nullptr;
    erase_tree_list_only(cell);
  } else {
    cell->next = dest->statements;
    dest->statements = cell;
  }
  if (dest != target) lva_refresh_block(dest);
  else if (cell->tree) lva_transfer(cell->tree, lva_set(dest, LVA_IN));
  lva_refresh_block(bb);
  return true;
}

}  // namespace

void delay_assignments() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'delay_assignments' ----------\n");
  if (!currfuninfo || lva_candidate_count() == 0 || lva_function_has_asm()) return;
  std::vector<BBLK*> blocks;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) blocks.push_back(b);
  bool moved = false;
  for (BBLK* bb : blocks) {
    if (edge_length(bb->successors) < 2) continue;
    // The statements before the transfer, last first, so that a value and
    // the values it reads can follow each other.
    std::vector<std::pair<LIST*, LIST*>> cells;  // (previous, cell)
    LIST* prev = nullptr;
    for (LIST* l = bb->statements; l && l->next; prev = l, l = l->next) cells.push_back({prev, l});
    for (auto it = cells.rbegin(); it != cells.rend(); ++it) {
      // A cell removed behind this one leaves `prev` of this one intact.
      moved |= sink_one(bb, it->first, it->second);
    }
  }
  if (moved) renumber_bblocks();
}
