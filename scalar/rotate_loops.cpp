// rotate_loops: the layout of a loop tested at the top is turned so that the
// test comes last. Only the order of the blocks changes, never an edge or a
// statement.
#include <cstdio>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"
#include "scalar/simpcfg_rules.h"

namespace {

bool has_loop_marker(const BBLK* b) {
  for (LIST* l = b->statements; l; l = l->next)
    if (l->tree && tree_has_op(l->tree, LOOP)) return true;
  return false;
}

bool ends_in_ENDLOOP_test(const BBLK* b) {
  NODE* last = last_stmt(b);
  return last && last->op == IF && if_has_ENDLOOP(last);
}

void number_layout() {
  int n = 0;
  BBLK* prev = nullptr;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    b->dfn = ++n;
    b->rdflink = prev;
    prev = b;
  }
  cfg.bb_list->rdflink = prev;
  cfg.bb_count = n;
  dominators_stale = true;
}

void print_layout() {
  if (!print_debug || !fdebug) return;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    fprintf(fdebug, "\t\tBB %d:", b->dfn);
    for (EDGE* e = b->successors; e; e = e->next) fprintf(fdebug, " %d", e->bb->dfn);
    fprintf(fdebug, "\n");
  }
}

// Rotates the loop whose back edge leaves A, if the layout allows; gives the
// block at which the walk goes on.
BBLK* try_rotate(BBLK* a) {
  BBLK* before_a = a->rdflink;
  BBLK* b = nullptr;
  for (EDGE* e = a->successors; e; e = e->next)
    if (e->bb->dfn < a->dfn) {
      b = e->bb;
      break;
    }
  if (!b || b == cfg.bb_list || ends_in_ENDLOOP_test(a) || has_loop_marker(b)) return before_a;
  BBLK* f = a->dflink;
  BBLK* c = nullptr;
  if (f)
    for (EDGE* e = f->predecessors; e; e = e->next)
      if (e->bb->dfn < a->dfn && (!c || e->bb->dfn > c->dfn)) c = e->bb;
  if (!c)
    for (BBLK* x = before_a; x && x != a; x = x == cfg.bb_list ? nullptr : x->rdflink) {
      bool later = false;
      for (EDGE* e = x->successors; e; e = e->next) later = later || e->bb->dfn > a->dfn;
      if (later) {
        c = x;
        break;
      }
    }
  if (!c) return before_a;
  BBLK* d = c->dflink;
  if (!d || d == a || d->dfn > a->dfn || ends_in_ENDLOOP_test(d)) return before_a;
  BBLK* e = nullptr;
  for (EDGE* s = a->successors; s; s = s->next)
    if (s->bb->dfn <= c->dfn && (!e || s->bb->dfn > e->dfn)) e = s->bb;
  if (!e || e == cfg.bb_list) return before_a;
  dprintf("\n\tCandidate: A=%d, B=%d, C=%d, D=%d, E=%d, F=%d\n", a->dfn, b->dfn, c->dfn, d->dfn, e->dfn,
          f ? f->dfn : 0);
  // D..A goes in front of E; C continues with F.
  BBLK* before_e = e->rdflink;
  c->dflink = f;
  before_e->dflink = d;
  a->dflink = e;
  number_layout();
  dprintf("\n\tAfter loop rotation:\n\n");
  print_layout();
  return before_e;
}

}  // namespace

void rotate_loops() {
  dprintf("\n\n\t\t\t---------- ENTERING 'rotate_loops' ----------\n");
  if (!cfg.bb_list) return;
  renumber_bblocks();
  for (BBLK* a = cfg.bb_list->rdflink; a && a != cfg.bb_list;) a = try_rotate(a);
  renumber_bblocks();
  check_cfg_after("rotate_loops");
}
