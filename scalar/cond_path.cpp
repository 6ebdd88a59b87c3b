// cond_path: a block both of whose predecessors end in the same test, one
// before it and one after it in layout. Branch chaining stops at such a
// block, so that the paths through it stay apart for later passes.
#include <utility>

#include "ir/opt_expr.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg_rules.h"

namespace {

bool same_two_successors(const BBLK* p, const BBLK* q) {
  if (edge_length(p->successors) != 2 || edge_length(q->successors) != 2) return false;
  for (EDGE* e = p->successors; e; e = e->next)
    if (!edge_memberp(e->bb, q->successors)) return false;
  return true;
}

}  // namespace

void mark_cond_path(BBLK* bb) {
  if (bb == cfg.bb_list || opt_level <= 1 || bb->cond_path || !bb->statements || !bb->successors) return;
  if (edge_length(bb->predecessors) != 2) return;
  BBLK* p = bb->predecessors->bb;
  BBLK* q = bb->predecessors->next->bb;
  if (p->dfn > q->dfn) std::swap(p, q);
  if (!(p->dfn < bb->dfn && q->dfn >= bb->dfn) || !same_two_successors(p, q)) return;
  NODE* pi = last_stmt(p);
  NODE* qi = last_stmt(q);
  if (!pi || !qi || pi->op != IF || qi->op != IF) return;
  if (if_target(pi, true) != if_target(qi, true)) {
    // Only an opposite test is worth turning round.
    bool inverted = false;
    if (!tests_are_congruent(pi->left, qi->left, &inverted) || !inverted) return;
    invert_IF_of(p);
  }
  if (trees_are_congruent(pi->left, qi->left)) {
    bb->cond_path = 1;
    return;
  }
  const NODE* a = pi->left;
  const NODE* b = qi->left;
  if (a && b && a->op >= EQ && a->op <= UGT && b->op == commute_inv[a->op] && trees_are_congruent(a->left, b->right) &&
      trees_are_congruent(a->right, b->left))
    bb->cond_path = 1;
}
