// Counter-loop inversion: `if ((x = x + K2) == K)` at the end of the paths
// into two blocks becomes `if (x == K - K2)`, the step moving to the tops of
// both blocks.
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg_rules.h"

namespace {

const TYPE* rep_of(const TYPE* t) { return t && t->rep ? t->rep : t; }

struct COUNTER_TEST {
  NODE* x = nullptr;     // the counter
  NODE* step = nullptr;  // K2
  NODE* bound = nullptr; // K
};

bool split_counter_test(NODE* bi, COUNTER_TEST& ct) {
  NODE* c = bi ? bi->left : nullptr;
  if (!c || (c->op != EQ && c->op != NEQ) || !c->left || !c->right || c->right->op != ICON) return false;
  NODE* asg = c->left;
  if (asg->op != ASG || !asg->left || asg->left->op != NAME || !asg->right || asg->right->op != PLUS) return false;
  NODE* x = asg->left;
  NODE* inc = asg->right;
  if (!inc->right || inc->right->op != ICON || !trees_are_congruent(inc->left, x)) return false;
  const SYMTAB* s = x->name_symbol();
  if (!s || s->lex_level < 1 || tree_has_side_effects(x)) return false;
  const TYPE* t = rep_of(x->type);
  if (!t || !(t->is_integral() || t->kind == TYPE::KIND_ENUM)) return false;
  for (const NODE* n : {asg, inc, inc->right, c->right})
    if (rep_of(n->type) != t) return false;
  ct.x = x;
  ct.step = inc->right;
  ct.bound = c->right;
  return true;
}

bool preds_within(BBLK* b, BBLK* p1, BBLK* p2) {
  for (EDGE* e = b->predecessors; e; e = e->next)
    if (e->bb != p1 && e->bb != p2) return false;
  return true;
}

void rewrite_test(NODE* bi, const COUNTER_TEST& ct) {
  NODE* c = bi->left;
  TYPE* t = ct.x->type;
  NODE* k = mk_ICON(truncate_to_type(ct.bound->value - ct.step->value, t), t);
  NODE* asg = c->left;
  c->left = copy_tree(ct.x, false);
  erase_tree(c->right);
  c->right = k;
  erase_tree(asg);
  bi->left = make_boolean(c, nullptr, nullptr);
}

}  // namespace

bool invert_counter_loop_test(BBLK* bb) {
  NODE* bi = last_stmt(bb);
  COUNTER_TEST ct;
  if (!split_counter_test(bi, ct)) return false;
  BBLK* s1 = if_target(bi, true);
  BBLK* s2 = if_target(bi, false);
  if (!s1 || !s2 || s1 == s2) return false;
  BBLK* earlier = s1->dfn < s2->dfn ? s1 : s2;
  BBLK* later = earlier == s1 ? s2 : s1;
  if (earlier->dfn > bb->dfn || later->dfn <= bb->dfn || later == cfg.bb_list) return false;
  if (edge_length(later->predecessors) != 2 || !edge_memberp(bb, later->predecessors)) return false;
  BBLK* p2 = later->predecessors->bb == bb ? later->predecessors->next->bb : later->predecessors->bb;
  if (p2 == bb) return false;
  NODE* pi = last_stmt(p2);
  if (!pi || pi->op != IF || if_target(pi, true) != s1 || if_target(pi, false) != s2) return false;
  if (!trees_are_congruent(bi->left, pi->left)) return false;
  if (!preds_within(earlier, bb, p2)) return false;
  // Every way into both blocks runs the step first: it may run there.
  NODE* x = copy_tree(ct.x, false);
  for (BBLK* top : {earlier, later}) {
    NODE* step = mk_ASG(copy_tree(x, false), maketree(PLUS, copy_tree(x, false), copy_tree(ct.step, false), x->type,
                                                      x->scope));
    top->statements = mkelist(step, top->statements, top->first_psn);
  }
  erase_tree(x);
  COUNTER_TEST cp;
  split_counter_test(pi, cp);
  rewrite_test(pi, cp);
  rewrite_test(bi, ct);
  return true;
}
