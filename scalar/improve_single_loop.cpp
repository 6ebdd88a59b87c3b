// improve_single_loop: a loop with a known count. Count 0: the loop goes;
// count 1: the body stays once without its test; a small body with a larger
// count is unrolled, the iterations that don't fill a whole unrolled pass
// run in a block of their own in front.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"
#include "scalar/loop_count.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg_rules.h"

namespace {

// A body whose pass costs more than this gains little from losing a test
// and a jump (about 6) and is not unrolled.
constexpr int kMaxUnrollBodyCost = 60;
constexpr long kMaxFullUnroll = 16;
const long kPartialFactors[] = {8, 4, 2};

std::string count_text(const INT65& v) { return int2text(v, nullptr, -1, 10); }

void unlink_and_erase(BBLK* bb, LIST* cell) {
  for (LIST** p = &bb->statements; *p; p = &(*p)->next)
    if (*p == cell) {
      *p = cell->next;
      cell->next = nullptr;
      erase_tree_list(cell);
      return;
    }
}

bool cell_in_block(const BBLK* bb, const LIST* cell) {
  for (LIST* l = bb ? bb->statements : nullptr; l; l = l->next)
    if (l == cell) return true;
  return false;
}

int uses_in_function(const SYMTAB* sym) {
  int n = 0;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) n += count_symbol(l->tree, sym);
  return n;
}

// The counter of ours goes with the test it fed: its step, and its setup
// unless something else (a final value computed from it) still reads it.
void drop_down_counter(COUNTED_LOOP& cl) {
  if (!cl.down || !is_down_counter(cl.down)) return;
  BBLK* step_block = cl.down == cl.var ? cl.update_block : cl.tail;
  if (cl.down_step && cell_in_block(step_block, cl.down_step)) unlink_and_erase(step_block, cl.down_step);
  cl.down_step = nullptr;
  if (!cl.down_setup || !cell_in_block(cl.down_setup_block, cl.down_setup)) return;
  if (uses_in_function(cl.down) == count_symbol(cl.down_setup->tree, cl.down))
    unlink_and_erase(cl.down_setup_block, cl.down_setup);
  cl.down_setup = nullptr;
}

// Markers of the loop itself: they stay once, in front of the copies.
bool stays_in_place(const NODE* t) {
  return t && (t->op == PPRAGMA || t->op == LOOP || (t->op == ASM && t->value.as_int64() == 47));
}

bool copyable(const NODE* t) {
  if (!t) return false;
  if (t->op == PPRAGMA || t->op == LOOP || t->op == LABELDEF) return false;
  if (t->op == ASM && t->value.as_int64() != 47) return false;
  return !tree_has_op(t, DDNODE) && !tree_has_op(t, ENDLOOP) && !tree_has_op(t, LABEL);
}

LIST* append_copies(LIST* to, const std::vector<LIST*>& body, long times) {
  LIST** tail = &to;
  while (*tail) tail = &(*tail)->next;
  for (long i = 0; i < times; ++i)
    for (LIST* b : body) {
      *tail = mkelist(copy_tree(b->tree, false), nullptr, b->psn);
      tail = &(*tail)->next;
    }
  return to;
}

void divide_trip_pragma(struct LOOP* loop, long factor) {
  NODE* p = find_loop_trip_pragma(loop);
  if (!p) return;
  for (int i = 0; i < 2; ++i) {
    long v = get_PPRAGMA_tree_int_arg(p, i);
    if (v >= 0) set_PPRAGMA_tree_int_arg(p, i, v / factor);
  }
  long m = get_PPRAGMA_tree_int_arg(p, 2);
  if (m >= 1) set_PPRAGMA_tree_int_arg(p, 2, m % factor == 0 ? m / factor : 1);
}

bool delete_never_run(COUNTED_LOOP& cl) {
  NODE* gi = last_stmt(cl.guard);
  dprintf("\tThe loop [%d-%d] never runs: its guard goes.\n", cl.head->dfn, cl.tail->dfn);
  turn_into_BRANCH(cl.guard, if_label(gi, !cl.guard_sense), true);
  touch_block(cl.guard);
  return true;
}

bool run_once(COUNTED_LOOP& cl) {
  dprintf("\tThe loop [%d-%d] runs once: its test goes.\n", cl.head->dfn, cl.tail->dfn);
  NODE* ti = cl.test_if;
  bool exit_when_true = if_target(ti, true) == cl.exit;
  turn_into_BRANCH(cl.tail, if_label(ti, exit_when_true), true);
  drop_down_counter(cl);
  touch_block(cl.tail);
  touch_block(cl.head);
  return true;
}

bool unroll(COUNTED_LOOP& cl) {
  BBLK* head = cl.head;
  if (head != cl.tail || cl.loop->inner || head->pinned) return false;
  // The body: every statement but the test and the step of our counter,
  // which nothing else reads; a counter of the program's steps in every copy.
  bool ours = cl.down && cl.down_step && cl.down_setup && is_down_counter(cl.down) &&
              cell_in_block(head, cl.down_step) && cell_in_block(cl.down_setup_block, cl.down_setup);
  LIST* step = ours ? cl.down_step : nullptr;
  std::vector<LIST*> body;
  for (LIST* l = head->statements; l && l->next; l = l->next) {
    if (l == step || stays_in_place(l->tree)) continue;
    if (!copyable(l->tree)) return false;
    body.push_back(l);
  }
  if (body.empty()) return false;
  INT65 n = cl.count_value;
  dprintf("\n\tConsidering unrolling loop [%d-%d] with count %s.\n", head->dfn, cl.tail->dfn, count_text(n).c_str());
  // The body as a list of its own for the estimate.
  LIST* list = nullptr;
  for (auto it = body.rbegin(); it != body.rend(); ++it) list = mklist((*it)->tree, list, 0, 0);
  long factor = loop_unrolling_factor(list, n);
  erase_tree_list_only(list);
  if (factor < 2) return false;
  long total = static_cast<long>(n.as_int64());
  long excess = total % factor;
  dprintf("\t>>> Unrolling the loop by a factor of %ld (excess=%ld).\n\n", factor, excess);
  // The new pass: `factor` bodies, then our step once, then the test.
  LIST* test = last_cell(head);
  LIST* kept = nullptr;
  LIST** kt = &kept;
  for (LIST* l = head->statements; l != test;) {
    LIST* next = l->next;
    l->next = nullptr;
    bool is_body = false;
    for (LIST* b : body) is_body = is_body || b == l;
    if (!is_body && l != step) {
      *kt = l;
      kt = &l->next;
    }
    l = next;
  }
  LIST* pass = append_copies(nullptr, body, factor);
  if (excess) {
    BBLK* pre = cl.preheader;
    LIST* extra = append_copies(nullptr, body, excess);
    NODE* last = last_stmt(pre);
    BBLK* block = insert_new_bb(pre->dfn + 1, pre, nullptr);
    append_statements(block, extra);
    append_statements(block, mkelist(mk_BRANCH(head, last->scope), nullptr, pre->last_psn));
    recompute_successors(block);
    remap_labelrefs(last, head, block);
    recompute_successors(pre);
    touch_block(block);
    touch_block(pre);
  }
  for (LIST* b : body) {
    b->next = nullptr;
    erase_tree_list(b);
  }
  *kt = pass;
  while (*kt) kt = &(*kt)->next;
  if (step) {
    *kt = step;
    kt = &step->next;
  }
  *kt = test;
  head->statements = kept;
  if (ours) {
    NODE* setup = cl.down_setup->tree;
    erase_tree(setup->right);
    setup->right = mk_ICON(INT65((total - excess) / factor), setup->left->type);
    touch_block(cl.down_setup_block);
  }
  divide_trip_pragma(cl.loop, factor);
  touch_block(head);
  // A pass that holds every iteration left runs once.
  if ((total - excess) / factor == 1) {
    cl.test_if = last_stmt(head);
    return run_once(cl);
  }
  return true;
}

}  // namespace

bool fold_loop_guard(COUNTED_LOOP& cl) {
  if (!cl.guard || !cl.guard_always || block_touched(cl.guard)) return false;
  NODE* gi = last_stmt(cl.guard);
  if (!gi || gi->op != IF) return false;
  dprintf("\tThe guard of the loop [%d-%d] always holds.\n", cl.head->dfn, cl.tail->dfn);
  turn_into_BRANCH(cl.guard, if_label(gi, cl.guard_sense), true);
  touch_block(cl.guard);
  cl.guard = nullptr;
  return true;
}

long loop_unrolling_factor(LIST* stmts, const INT65& count) {
  int cost = 0, size = 0;
  for (LIST* l = stmts; l; l = l->next) {
    if (!l->tree || is_transfer(l->tree->op)) continue;
    cost += tree_cost(l->tree);
    size += tree_size(l->tree);
    dprintf("\tCumulative loop_unrolling_factor() cost=%d for %s\n", cost, stmt2infix(l->tree));
  }
  if (count < INT65(2) || size == 0 || cost > kMaxUnrollBodyCost) return 1;
  // Room for the copies: the size limit, less as code size weighs more.
  long room = max_unrolled_loop_size;
  if (size_speed_goal <= 1) return 1;
  if (size_speed_goal == 2) room /= 4;
  else if (size_speed_goal == 3) room /= 2;
  if (optimize_code_size >= 0) room = room * (3 - std::min(optimize_code_size, 3)) / 4;
  long n = count > INT65(1L << 30) ? (1L << 30) : static_cast<long>(count.as_int64());
  if (n <= kMaxFullUnroll && n * size <= room) return n;
  for (long f : kPartialFactors)
    if (f < n && (f + n % f) * size <= room) return f;
  return 1;
}

bool improve_single_loop(BBLK* head) {
  struct LOOP* loop = head ? head->loop : nullptr;
  COUNTED_LOOP* cl = loop ? counted_loop_of(loop) : nullptr;
  if (!cl || cl->head != head || !cl->count_known || !counted_loop_untouched(*cl)) return false;
  INT65 n = cl->count_value;
  if (n.is_zero()) return cl->guard && delete_never_run(*cl);
  if (n == INT65(1)) return run_once(*cl);
  return unroll(*cl);
}
