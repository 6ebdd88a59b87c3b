// Splitting a block at a statement, and putting a new block on an edge.
#include <cstdio>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "scalar/cfg.h"

BBLK* split_block(BBLK* bb, LIST* at) {
  LIST** link = &bb->statements;
  while (*link && *link != at) link = &(*link)->next;
  optassert(at && *link == at);
  *link = nullptr;
  LS* scope = at->tree ? at->tree->scope : nullptr;
  PSN* psn = bb->last_psn;
  BBLK* nb = insert_new_bb(bb->dfn + 1, bb, at);
  nb->loop = bb->loop;
  nb->dFreqIn = bb->dFreqIn;
  nb->dFreqOut = bb->dFreqOut;
  nb->successors = bb->successors;
  bb->successors = nullptr;
  for (EDGE* s = nb->successors; s; s = s->next)
    for (EDGE* p = s->bb->predecessors; p; p = p->next)
      if (p->bb == bb) p->bb = nb;
  NODE* br = mk_BRANCH(nb, scope);
  br->left->edge_profile = 1.0;
  LIST* cell = mkelist(br, nullptr, psn);
  if (LIST* last = last_cell(bb)) last->next = cell;
  else bb->statements = cell;
  bb->successors = mkedge(nb, bb->dFreqIn);
  nb->predecessors = mkedge(bb, bb->dFreqIn);
  // The old block's positions now end where the cut was made.
  bb->last_psn = nullptr;
  for (LIST* l = bb->statements; l; l = l->next)
    if (l->psn) bb->last_psn = l->psn;
  nb->first_psn = nullptr;
  for (LIST* l = at; l; l = l->next)
    if (l->psn) {
      if (!nb->first_psn) nb->first_psn = l->psn;
      nb->last_psn = l->psn;
    }
  dominators_stale = true;
  return nb;
}

BBLK* split_cfg_edge(BBLK* from, BBLK* to) {
  if (from->lir) {
    // The instruction form has no edge splitting in this tree yet.
    fprintf(stderr, "!!! Opt error in split_cfg_edge() !!!\n");
    abort_optimizer();
  }
  NODE* last = last_stmt(from);
  LS* scope = last ? last->scope : nullptr;
  BBLK* nb = insert_new_bb(from->dfn + 1, from, nullptr);
  nb->statements = mkelist(mk_BRANCH(to, scope), nullptr, from->last_psn);
  nb->first_psn = nb->last_psn = from->last_psn;
  // Callers that keep a loop hierarchy place the block themselves when the
  // edge crosses a loop boundary.
  nb->loop = from->loop == to->loop ? from->loop : nullptr;
  remap_labelrefs(last, to, nb);
  double freq = -1.0;
  for (EDGE* e = from->successors; e; e = e->next)
    if (e->bb == to) {
      e->bb = nb;
      freq = e->dFreq;
    }
  for (EDGE* e = to->predecessors; e; e = e->next)
    if (e->bb == from) e->bb = nb;
  nb->successors = mkedge(to, freq);
  nb->predecessors = mkedge(from, freq);
  nb->dFreqIn = nb->dFreqOut = freq;
  dominators_stale = true;
  return nb;
}
