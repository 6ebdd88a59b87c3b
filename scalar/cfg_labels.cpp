// The LABELs below the transfers that end blocks: enumerating them,
// pointing them elsewhere, and keeping the edge lists in step with them.
#include <algorithm>
#include <functional>
#include <unordered_map>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "scalar/cfg.h"

namespace {

// The targets of a transfer only: never the condition of an IF or the
// controlling expression of a SWITCH.
void for_each_label(NODE* t, const std::function<void(NODE*)>& fn) {
  if (!t) return;
  switch (t->op) {
    case LABEL:
      fn(t);
      return;
    case IF:
    case SWITCH:
    case CBRANCH:
      for_each_label(t->right, fn);
      return;
    case BRANCH:
      for_each_label(t->left, fn);
      return;
    case COLON:
    case COMMA:
    case CASE:
    case DEFAULT:
      for_each_label(t->left, fn);
      for_each_label(t->right, fn);
      return;
    default:
      return;
  }
}

}  // namespace

BBLK* label_target(const NODE* label) { return label && label->lbl ? label->lbl->bb : nullptr; }

void point_label_at(NODE* label, BBLK* bb) {
  LBL* l = ensure_label(bb);
  label->lbl = l;
  label->value = INT65(l->number);
}

EDGE* list_branch_targets(NODE* tree, EDGE* list) {
  for_each_label(tree, [&list](NODE* l) {
    if (BBLK* b = label_target(l)) list = add_edge(b, list, -1.0);
  });
  return list;
}

int remap_labelrefs(NODE* tree, BBLK* from, BBLK* to) {
  int n = 0;
  for_each_label(tree, [&](NODE* l) {
    if (label_target(l) == from) {
      point_label_at(l, to);
      ++n;
    }
  });
  return n;
}

int subst_bb_for_bb_in_stmts(BBLK* to, BBLK* from, LIST* stmts) {
  int n = 0;
  for (LIST* l = stmts; l; l = l->next)
    if (l->tree && is_transfer(l->tree->op)) n += remap_labelrefs(l->tree, from, to);
  return n;
}

void recompute_successors(BBLK* bb) {
  std::vector<BBLK*> targets;
  for_each_label(last_stmt(bb), [&targets](NODE* l) {
    BBLK* b = label_target(l);
    if (b && std::find(targets.begin(), targets.end(), b) == targets.end()) targets.push_back(b);
  });
  std::vector<BBLK*> gone;
  for (EDGE* e = bb->successors; e; e = e->next)
    if (std::find(targets.begin(), targets.end(), e->bb) == targets.end()) gone.push_back(e->bb);
  for (BBLK* g : gone) {
    bb->successors = remove_edge(g, bb->successors);
    g->predecessors = remove_edge(bb, g->predecessors);
  }
  for (BBLK* t : targets) {
    double freq = -1.0;
    if (!edge_memberp(t, bb->successors)) bb->successors = add_edge(t, bb->successors, freq);
    if (!edge_memberp(bb, t->predecessors)) t->predecessors = add_edge(bb, t->predecessors, freq);
  }
  dominators_stale = true;
}

std::vector<EDGE*> successors_by_labels(const BBLK* bb) {
  std::unordered_map<const BBLK*, EDGE*> edge_to;
  for (EDGE* e = bb->successors; e; e = e->next) edge_to.emplace(e->bb, e);
  std::vector<EDGE*> ordered;
  for_each_label(last_stmt(bb), [&](NODE* l) {
    auto it = edge_to.find(label_target(l));
    if (it == edge_to.end() || !it->second) return;
    ordered.push_back(it->second);
    it->second = nullptr;
  });
  // Edges no LABEL names (there should be none) keep their place at the end.
  for (EDGE* e = bb->successors; e; e = e->next)
    if (edge_to[e->bb] == e) ordered.push_back(e);
  return ordered;
}

void order_successors_by_labels(BBLK* bb) {
  std::vector<EDGE*> ordered = successors_by_labels(bb);
  EDGE* head = nullptr;
  for (auto it = ordered.rbegin(); it != ordered.rend(); ++it) {
    (*it)->next = head;
    head = *it;
  }
  bb->successors = head;
}

void sync_label_values() {
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for_each_label(last_stmt(b), [](NODE* l) {
      if (l->lbl) l->value = INT65(l->lbl->number);
    });
}
