// The duplication rule: when a block may be copied into a predecessor in
// place of the branch to it.
#include <utility>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"

namespace {

int node_count(const NODE* t) {
  int n = 0;
  for (; t; t = t->right) {
    ++n;
    if (t->op == CSE_DUPE) break;
    n += node_count(t->left);
  }
  return n;
}

bool is_back_edge_target(const BBLK* s) {
  for (EDGE* p = s->predecessors; p; p = p->next)
    if (p->bb->dfn >= s->dfn) return true;
  return false;
}

// Two predecessors, one before and one after S, that do the same thing from
// the same place: cross jumping will merge them, copying S would undo it.
bool is_cross_jump_case(BBLK* s) {
  if (is_back_edge_target(s) || s == cfg.bb_list || edge_length(s->predecessors) != 2) return false;
  BBLK* p1 = s->predecessors->bb;
  BBLK* p2 = s->predecessors->next->bb;
  if (p1->dfn > p2->dfn) std::swap(p1, p2);
  if (!(p1->dfn < s->dfn && p2->dfn > s->dfn)) return false;
  if (edge_length(p1->successors) != 1 || edge_length(p2->successors) != 1) return false;
  if (edge_length(p1->predecessors) != 1 || edge_length(p2->predecessors) != 1) return false;
  if (p1->predecessors->bb != p2->predecessors->bb) return false;
  return tree_lists_are_congruent(p1->statements, p2->statements);
}

}  // namespace

bool ok_to_dupe_stmt(NODE* stmt) {
  if (!stmt || tree_has_op(stmt, ASM) || tree_has_op(stmt, PPRAGMA) || tree_has_op(stmt, DDNODE)) return false;
  int limit = size_speed_goal >= 5 ? 16 : size_speed_goal == 4 ? 10 : 6;
  return node_count(stmt) <= limit;
}

bool ok_to_duplicate(BBLK* s, BBLK* b) {
  if (!s || s->pinned || !s->statements) return false;
  if (is_lone_BRANCH(s)) return label_target(first_stmt(s)->left) != s;
  if (opt_level == 0 || size_speed_goal < 3 || simpcfg_first) return false;
  if (is_cross_jump_case(s)) return false;
  if (b && next_live_block(b) == s) return false;
  if (s->statements->next) return false;
  NODE* st = first_stmt(s);
  if (st->op == RETURN) return ok_to_dupe_stmt(st);
  if (st->op != IF || if_has_ENDLOOP(st)) return false;
  bool all_after = true;
  for (EDGE* e = s->successors; e; e = e->next) all_after = all_after && e->bb->dfn > s->dfn;
  int later_preds = 0, single_exit_preds = 0;
  for (EDGE* p = s->predecessors; p; p = p->next) {
    if (p->bb->dfn >= s->dfn) ++later_preds;
    if (edge_length(p->bb->successors) == 1) ++single_exit_preds;
  }
  bool shape = all_after && later_preds <= 1 && single_exit_preds <= (s == cfg.bb_list ? 1 : 2);
  if (shape || (st->left && st->left->op == NAME)) return ok_to_dupe_stmt(st);
  return false;
}
