// Small helpers on blocks and their ending transfers, shared by the rules of
// simpcfg.
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg_rules.h"

bool tree_has_op(const NODE* t, int op) {
  for (; t; t = t->right) {
    if (t->op == op) return true;
    if (t->op == CSE_DUPE) return false;
    if (tree_has_op(t->left, op)) return true;
  }
  return false;
}

NODE* first_stmt(const BBLK* bb) { return bb && bb->statements ? bb->statements->tree : nullptr; }

bool is_lone_IF(const BBLK* bb) {
  NODE* f = first_stmt(bb);
  return f && f->op == IF && !bb->statements->next;
}

bool is_lone_BRANCH(const BBLK* bb) {
  NODE* f = first_stmt(bb);
  return f && f->op == BRANCH && !bb->statements->next;
}

NODE* if_label(NODE* if_node, bool sense) {
  if (!if_node || if_node->op != IF || !if_node->right) return nullptr;
  return sense ? if_node->right->left : if_node->right->right;
}

BBLK* if_target(NODE* if_node, bool sense) { return label_target(if_label(if_node, sense)); }

bool if_has_ENDLOOP(const NODE* if_node) { return if_node && tree_has_op(if_node->left, ENDLOOP); }

BBLK* next_live_block(BBLK* bb) {
  BBLK* n = bb ? bb->dflink : nullptr;
  while (n && !n->statements) n = n->dflink;
  return n;
}

void keep_effects_before_transfer(BBLK* bb, NODE* expr, PSN* psn) {
  NODE* rest = peel_for_effect(expr);
  if (rest) insert_stmt_before_stmt_in_bb(rest, nullptr, bb, psn);
}

namespace {

bool detach(NODE* t, const NODE* target) {
  if (!t) return false;
  if (t->left == target) {
    t->left = nullptr;
    return true;
  }
  if (t->right == target) {
    t->right = nullptr;
    return true;
  }
  return detach(t->left, target) || detach(t->right, target);
}

}  // namespace

void turn_into_BRANCH(BBLK* bb, NODE* label, bool drop_condition) {
  LIST* cell = last_cell(bb);
  NODE* t = cell->tree;
  if (t->right) detach(t->right, label);
  NODE* cond = t->left;
  erase_tree(t->right);
  t->op = BRANCH;
  t->left = label;
  t->right = nullptr;
  t->value = INT65(0);
  if (drop_condition) erase_tree(cond);
  else keep_effects_before_transfer(bb, cond, cell->psn);
  recompute_successors(bb);
}

void invert_IF(NODE* if_node) {
  if_node->left = simp_node(mk_EXCLAIM(if_node->left), nullptr, nullptr);
  NODE* c = if_node->right;
  NODE* l = c->left;
  c->left = c->right;
  c->right = l;
}

void invert_IF_of(BBLK* bb) {
  invert_IF(last_stmt(bb));
  order_successors_by_labels(bb);
}

namespace {

bool is_relational(int op) { return op >= EQ && op <= UGT; }

const TYPE* rep_of(const TYPE* t) { return t && t->rep ? t->rep : t; }

// Inverting a comparison of floating values is wrong for NaN.
bool may_invert(const NODE* rel) {
  const TYPE* l = rep_of(rel->left ? rel->left->type : nullptr);
  return l && (l->is_integral() || l->is_pointer() || l->kind == TYPE::KIND_ENUM);
}

}  // namespace

bool tests_are_congruent(NODE* a, NODE* b, bool* inverted) {
  *inverted = false;
  if (!a || !b) return false;
  if (trees_are_congruent(a, b)) return true;
  if (is_relational(a->op) && is_relational(b->op) && a->left && a->right && b->left && b->right) {
    if (b->op == commute_inv[a->op] && trees_are_congruent(a->left, b->right) && trees_are_congruent(a->right, b->left))
      return true;
    if (may_invert(a) && boolean_inv[a->op] != 255) {
      int inv = boolean_inv[a->op];
      if ((b->op == inv && trees_are_congruent(a->left, b->left) && trees_are_congruent(a->right, b->right)) ||
          (b->op == commute_inv[inv] && trees_are_congruent(a->left, b->right) &&
           trees_are_congruent(a->right, b->left))) {
        *inverted = true;
        return true;
      }
    }
  }
  if (a->op == EXCLAIM && trees_are_congruent(a->left, b)) {
    *inverted = true;
    return true;
  }
  if (b->op == EXCLAIM && trees_are_congruent(b->left, a)) {
    *inverted = true;
    return true;
  }
  return false;
}

int function_profile_mode() { return currfuninfo ? currfuninfo->profile_mode : 0; }

bool function_has_profile() { return function_profile_mode() != PROFILE_NONE; }

namespace {

bool switch_arms_congruent(NODE* a, NODE* b) {
  if (!a || !b) return a == b;
  if (a->op != b->op) return false;
  switch (a->op) {
    case LABEL:
      return label_target(a) == label_target(b);
    case COMMA:
    case CASE:
    case DEFAULT:
      return switch_arms_congruent(a->left, b->left) && switch_arms_congruent(a->right, b->right);
    default:
      return trees_are_congruent(a, b);
  }
}

// Transfers go to the same blocks; LABEL numbers are not compared, since
// they may be stale between renumberings.
bool transfers_congruent(NODE* a, NODE* b) {
  if (a->op != b->op) return false;
  switch (a->op) {
    case BRANCH:
      return label_target(a->left) == label_target(b->left);
    case IF:
      return trees_are_congruent(a->left, b->left) && if_target(a, true) == if_target(b, true) &&
             if_target(a, false) == if_target(b, false);
    case SWITCH:
      return trees_are_congruent(a->left, b->left) && switch_arms_congruent(a->right, b->right);
    default:
      return trees_are_congruent(a, b);
  }
}

}  // namespace

bool tree_lists_are_congruent(LIST* a, LIST* b) {
  for (; a && b; a = a->next, b = b->next) {
    if (!a->tree || !b->tree) {
      if (a->tree != b->tree) return false;
      continue;
    }
    bool ta = is_transfer(a->tree->op), tb = is_transfer(b->tree->op);
    if (ta != tb) return false;
    if (ta ? !transfers_congruent(a->tree, b->tree) : !trees_are_congruent(a->tree, b->tree)) return false;
  }
  return !a && !b;
}
