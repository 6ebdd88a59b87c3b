// A loop tested at the top (`while (c) body`) becomes a test in front of a
// loop tested at the bottom (`if (c) do body while (c)`): the body's last
// jump back to the test is replaced by a copy of the test. What was the
// head is then entered only from outside and guards the new loop.
#include <cstdio>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg_rules.h"

namespace {

// Tests larger than this stay where they are: the copy would cost more
// code than the jump it saves.
constexpr int kMaxTestNodes = 24;

int node_count(const NODE* t) {
  int n = 0;
  for (; t; t = t->right) n += 1 + node_count(t->left);
  return n;
}

bool is_relop(int op) { return op >= EQ && op <= UGT; }

// An operand worth computing once before the loop: invariant, not a leaf,
// and safe to evaluate where the test first runs (it runs there already).
bool worth_a_temp(NODE* operand, struct LOOP* loop) {
  if (!operand || operand->op == ICON || operand->op == NAME || operand->op == FCON) return false;
  if (operand->op == UAND && operand->left && operand->left->op == NAME) return false;
  if (!simp::is_int_type(operand->type) && !simp::is_ptr_type(operand->type)) return false;
  return tree_is_RC_in_loop(operand, loop, false);
}

// Enough of the test is invariant: a comparison with one side fixed, or a
// test that only reads invariant values.
bool invariant_enough(NODE* test, struct LOOP* loop) {
  if (is_relop(test->op) && test->left && test->right)
    return tree_is_RC_in_loop(test->left, loop, false) || tree_is_RC_in_loop(test->right, loop, false);
  return test->op == NAME || (test->op == EXCLAIM && test->left && test->left->op == NAME) ||
         tree_is_RC_in_loop(test, loop, false);
}

bool try_replicate(struct LOOP* loop) {
  if (!loop || loop == loop_root || loop->irreducible) return false;
  BBLK* head = loop->head;
  BBLK* tail = loop->tail;
  if (!head || !tail || head == tail || head == cfg.bb_list || head->pinned || !is_lone_IF(head)) return false;
  NODE* test_if = last_stmt(head);
  if (if_has_ENDLOOP(test_if) || edge_length(head->successors) != 2) return false;
  NODE* back = last_stmt(tail);
  if (!back || back->op != BRANCH || label_target(back->left) != head) return false;
  BBLK* on_true = if_target(test_if, true);
  BBLK* on_false = if_target(test_if, false);
  if (!on_true || !on_false || on_true == on_false) return false;
  bool true_stays = block_in_loop(on_true, loop);
  bool false_stays = block_in_loop(on_false, loop);
  if (true_stays == false_stays) return false;
  BBLK* body = true_stays ? on_true : on_false;
  // The body's first block becomes the head: nothing else may enter it.
  if (edge_length(body->predecessors) != 1 || body->pinned) return false;
  NODE* test = test_if->left;
  if (!test || tree_has_side_effects(test) || node_count(test) > kMaxTestNodes) return false;
  if (!invariant_enough(test, loop)) return false;

  if (print_debug && fdebug) {
    fprintf(fdebug, "\n\tReplicating WHILE loop test (loop #%d):", loop->number);
    fprintf(fdebug, " %s\n", tree2infix(test, false));
  }
  if (is_relop(test->op)) {
    for (NODE** side : {&test->left, &test->right}) {
      if (!worth_a_temp(*side, loop)) continue;
      SYMTAB* t = sym_temp('R', -1, (*side)->type, nullptr);
      t->sclass = SC_REGISTER;
      make_sym_RC_in_loop(t, loop);
      NODE* value = *side;
      *side = mk_NAME(t, value->scope);
      insert_stmt_before_stmt_in_bb(mk_ASG(mk_NAME(t, value->scope), value), test_if, head, head->first_psn);
      dprintf("\t\tThe invariant %s goes into %s.\n", tree2infix(value, false), t->name);
    }
  }
  LIST* cell = last_cell(tail);
  erase_tree(cell->tree);
  cell->tree = copy_tree(test_if, false);
  recompute_successors(tail);
  return true;
}

}  // namespace

bool replicate_one_top_test() {
  if (!loop_root || loop_root->irreducible) return false;
  struct FIND {
    bool done = false;
  } find;
  loops_inside_out(
      loop_root,
      [](struct LOOP* l, void* data) {
        FIND* f = static_cast<FIND*>(data);
        if (!f->done) f->done = try_replicate(l);
      },
      &find);
  return find.done;
}
