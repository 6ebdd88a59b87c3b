// restructure_loops: counted loops get a counter that runs down to 0, and
// then the single and nested loop improvements, in rounds while something
// changes.
#include <cstdio>
#include <vector>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"
#include "scalar/loop_count.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"
#include "scalar/deadasg.h"
#include "scalar/fcp.h"

namespace {

constexpr int kMaxRounds = 6;

bool proper(struct LOOP* l) {
  return l && l != loop_root && !l->irreducible && l->tail && l->preheader && l->head != cfg.bb_list;
}

// A loop whose head is entered from outside by more than one edge, or from
// a block that also goes elsewhere, gets a block of its own in front.
bool make_preheader(struct LOOP* l) {
  if (!l || l == loop_root || l->irreducible || !l->tail || l->preheader || l->head == cfg.bb_list) return false;
  std::vector<BBLK*> outside;
  for (EDGE* e = l->head->predecessors; e; e = e->next)
    if (!block_in_loop(e->bb, l)) outside.push_back(e->bb);
  if (outside.empty()) return false;
  for (BBLK* p : outside) {
    NODE* last = last_stmt(p);
    if (!last || (last->op != BRANCH && last->op != IF && last->op != SWITCH)) return false;
  }
  NODE* first = last_stmt(outside[0]);
  BBLK* pre = insert_new_bb(outside[0]->dfn + 1, outside[0], nullptr);
  pre->statements = mkelist(mk_BRANCH(l->head, first->scope), nullptr, l->head->first_psn);
  pre->first_psn = pre->last_psn = l->head->first_psn;
  recompute_successors(pre);
  for (BBLK* p : outside) {
    remap_labelrefs(last_stmt(p), l->head, pre);
    recompute_successors(p);
  }
  dprintf("\tNew pre-header for the loop at BB %d.\n", l->head->dfn);
  return true;
}

struct PASS_STATE {
  bool changed = false;
};

void make_preheaders(struct LOOP* l, void* data) {
  if (make_preheader(l)) static_cast<PASS_STATE*>(data)->changed = true;
}

LIST* cell_before_transfer(BBLK* bb, NODE* stmt) {
  insert_stmt_before_stmt_in_bb(stmt, nullptr, bb, bb->last_psn);
  for (LIST* l = bb->statements; l; l = l->next)
    if (l->tree == stmt) return l;
  return nullptr;
}

void unlink_cell(BBLK* bb, LIST* cell) {
  for (LIST** p = &bb->statements; *p; p = &(*p)->next)
    if (*p == cell) {
      *p = cell->next;
      cell->next = nullptr;
      erase_tree_list(cell);
      return;
    }
}

// The counter steps by its increment and the test is a comparison with 0
// already.
bool keep_existing(COUNTED_LOOP& cl) {
  dprintf("\tExisting loop test is good enough.\n");
  cl.down = cl.var;
  cl.down_step = cl.update;
  cl.down_setup = cl.entry_cell;
  cl.down_setup_block = cl.entry_block;
  cl.loop->LCV = cl.var;
  cl.loop->trips = cl.count;
  return false;
}

bool install_down_counter(COUNTED_LOOP& cl) {
  struct LOOP* loop = cl.loop;
  if (cl.count_known && cl.count_value.is_zero()) return false;  // improve_single_loop deletes it
  if (cl.existing_down_counter) return keep_existing(cl);
  loop->LCV = cl.var;
  loop->trips = cl.count;
  if (pass_disable("downcounters")) return false;
  // Only where it pays: the new step and test against the old test, and the
  // old step when the user's variable goes.
  int others = count_symbol_in_loop(loop, cl.var) - count_symbol(cl.test_if->left, cl.var) -
               count_symbol(cl.update->tree, cl.var);
  bool removable = others == 0 && cl.term_op == NEQ;
  int old_cost = tree_cost(cl.test_if->left) + (removable ? tree_cost(cl.update->tree) : 0);
  int new_cost = 3;
  if (new_cost >= old_cost) {
    dprintf("\tA down counter would cost %d a pass against %d now: the loop keeps its test.\n", new_cost, old_cost);
    return false;
  }
  LS* scope = cl.test_if->scope;
  bool by_distance = cl.term_op == GT;
  TYPE* ctype = by_distance ? simp::int_type() : counter_type();
  SYMTAB* c = sym_temp('D', -1, ctype, nullptr);
  c->sclass = SC_REGISTER;
  if (cl.term_op == NEQ && cl.counter_step == INT65(1)) note_down_counter(c);
  NODE* value = copy_tree(cl.count, false);
  if (by_distance) value = coerce_to_type(ctype, value);
  NODE* setup = mk_ASG(mk_NAME(c, scope), value);
  LIST* setup_cell = cell_before_transfer(cl.preheader, setup);
  dprintf("\tNew loop setup: %s\n", tree2infix(setup, false));
  NODE* step = mk_ASG(mk_NAME(c, scope), maketree(MINUS, mk_NAME(c, scope), mk_ICON(cl.counter_step, ctype), ctype, scope));
  LIST* step_cell = cell_before_transfer(cl.tail, step);
  dprintf("\tNew increment for %s is %s", c->name, tree2infix(step->right, false));
  dprintf("\n");
  if (cl.counter_step != INT65(1)) dprintf("\tNew increment:  %s\t(DIV avoided!)\n", tree2infix(step->right, false));
  NODE* test = maketree(cl.term_op, mk_NAME(c, scope), mk_ICON(INT65(0), ctype), simp::int_type(), scope);
  dprintf("\tNew termination test: %s\n", tree2infix(test, false));
  NODE* new_if = mk_IF(test, cl.head, cl.exit, scope);
  erase_tree(cl.test_cell->tree);
  cl.test_cell->tree = new_if;
  cl.test_if = new_if;
  recompute_successors(cl.tail);
  order_successors_by_labels(cl.tail);

  if (others == 0) {
    if (cl.term_op != NEQ) {
      dprintf("\tCan't remove user's loop var: term_operator != NEQ.\n");
    } else if (!var_live_after_loop(loop, cl.var)) {
      dprintf("\tThe loop variable %s is not needed any more.\n", cl.var->name);
      unlink_cell(cl.update_block, cl.update);
      cl.update = nullptr;
    } else if (!loop->multi_exit) {
      // Nothing in the loop reads it: it may take its final value at once.
      TYPE* vt = cl.var_type;
      NODE* steps = cl.count_known ? mk_ICON(cl.count_value * cl.step, vt)
                                   : maketree(MULT, coerce_to_type(vt, mk_NAME(c, scope)), mk_ICON(cl.step, vt), vt, scope);
      NODE* final_value = maketree(PLUS, mk_NAME(cl.var, scope), steps, vt, scope);
      NODE* store = simp_tree(mk_ASG(mk_NAME(cl.var, scope), final_value), nullptr, nullptr);
      if (store) cell_before_transfer(cl.preheader, store);
      dprintf("\tThe loop variable %s takes its final value before the loop: %s\n", cl.var->name,
              store ? tree2infix(store, false) : "");
      unlink_cell(cl.update_block, cl.update);
      cl.update = nullptr;
    }
  }
  cl.down = c;
  cl.down_setup = setup_cell;
  cl.down_setup_block = cl.preheader;
  cl.down_step = step_cell;
  loop->LCV = c;
  loop->trips = cl.count;
  return true;
}

struct ROUND {
  std::vector<struct LOOP*> counted;
  std::vector<SYMTAB*> dropped;  // loop variables that lost their steps
  bool changed = false;
};

void restructure_one(struct LOOP* l, void* data) {
  ROUND* r = static_cast<ROUND*>(data);
  if (!proper(l)) return;
  dprintf("\n\t'Proper' %s loop: BB->DFN [%d-%d] with pre-header %d\n\n", l->inner ? "outer" : "inner", l->head->dfn,
          l->tail->dfn, l->preheader->dfn);
  COUNTED_LOOP cl;
  if (!analyze_counted_loop(l, cl, true)) return;
  if (fold_loop_guard(cl)) r->changed = true;
  SYMTAB* var = cl.var;
  if (install_down_counter(cl)) r->changed = true;
  if (!cl.update && var) r->dropped.push_back(var);
  remember_counted_loop(cl);
  r->counted.push_back(l);
}

}  // namespace

void restructure_loops() {
  if (!cfg.bb_list) return;
  dprintf("\n\n\t\t\t---------- ENTERING 'restructure_loops' ----------\n");
  for (int round = 0; round < kMaxRounds; ++round) {
    if (round) dprintf("\n\n\t\t\t---------- RE-ENTERING 'restructure_loops' -------\n");
    bool changed = false;
    rebuildcfg();
    build_loop_hierarchy(true, true, false, -1);
    if (!loop_root || loop_root->irreducible) {
      check_loops_after("build_loop_hierarchy");
      break;
    }
    PASS_STATE pre;
    loops_inside_out(loop_root, make_preheaders, &pre);
    if (pre.changed) {
      rebuildcfg();
      build_minimal_loop_hierarchy();
      if (!loop_root || loop_root->irreducible) break;
    }
    check_loops_after("build_loop_hierarchy");
    forget_counted_loops();
    forget_touched_blocks();
    ROUND r;
    loops_inside_out(loop_root, restructure_one, &r);
    check_loops_after("restructure_loops");
    changed |= r.changed;
    for (struct LOOP* l : r.counted) changed |= improve_single_loop(l->head);
    drop_stores_of_unread(r.dropped);
    forget_counted_loops();
    erase_loop_hierarchy();
    // The tests changed: which blocks sit between two like tests is for
    // simpcfg to find again.
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) b->cond_path = 0;
    elim_dead_assigns(0, 0);
    simpcfg(false, false);
    fast_CP(1, 0);
    rebuildcfg();
    build_minimal_loop_hierarchy();
    if (loop_root && !loop_root->irreducible) changed |= improve_nested_loops(round, 0);
    forget_counted_loops();
    erase_loop_hierarchy();
    elim_dead_assigns(0, 0);
    simpcfg(false, false);
    if (!changed) break;
  }
  erase_loop_hierarchy();
  forget_touched_blocks();
  check_cfg_after("restructure_loops");
}
