// The list operations on blocks, edges and labels that every pass uses.
#include <map>
#include <new>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"

CFG_STATE cfg;
bool dominators_stale = true;

std::string BBLK::str() const { return "BB" + std::to_string(dfn) + "(uon " + std::to_string(uon) + ")"; }

BBLK* mkbblock(LIST* statements, BBLK* next) {
  BBLK* bb = new (zalloc(sizeof(BBLK))) BBLK();
  bb->statements = statements;
  bb->dflink = next;
  bb->allnext = next;
  bb->serial = cfg.next_serial++;
  for (LIST* l = statements; l; l = l->next)
    if (l->psn) {
      if (!bb->first_psn) bb->first_psn = l->psn;
      bb->last_psn = l->psn;
    }
  dominators_stale = true;
  return bb;
}

BBLK* insert_new_bb(int dfn, BBLK* after, LIST* statements) {
  BBLK* bb = mkbblock(statements, after->dflink);
  bb->allnext = after->allnext;
  after->allnext = bb;
  after->dflink = bb;
  bb->rdflink = after;
  bb->uon = -1;
  bb->dfn = dfn;
  if (bb->dflink) bb->dflink->rdflink = bb;
  else if (cfg.bb_list) cfg.bb_list->rdflink = bb;
  bb->labels = mklabel(fresh_label_number(), nullptr, bb);
  cfg.changed = true;
  return bb;
}

int fresh_label_number() {
  int n = cfg.label_counter--;
  if (cfg.label_counter < -30000) cfg.label_counter = -1;
  return n;
}

LBL* ensure_label(BBLK* bb) {
  if (!bb->labels) bb->labels = mklabel(fresh_label_number(), nullptr, bb);
  return bb->labels;
}

void unlink_from_allnext(BBLK* bb) {
  for (BBLK** p = &cfg.all_blocks; *p; p = &(*p)->allnext)
    if (*p == bb) {
      *p = bb->allnext;
      bb->allnext = nullptr;
      return;
    }
}

void erase_bblock(BBLK* bb) {
  erase_edge_list(bb->predecessors);
  erase_edge_list(bb->successors);
  bb->predecessors = bb->successors = nullptr;
  for (BITVEC*& v : bb->live_bits) {
    erase_bitvec(v);
    v = nullptr;
  }
  dominators_stale = true;
}

void delink_old_bb(BBLK* bb) {
  if (bb->rdflink && bb->rdflink->dflink == bb) bb->rdflink->dflink = bb->dflink;
  if (bb->dflink) bb->dflink->rdflink = bb->rdflink;
  else if (cfg.bb_list && cfg.bb_list != bb) cfg.bb_list->rdflink = bb->rdflink;
  bb->dflink = bb->rdflink = nullptr;
  erase_bblock(bb);
}

void erase_all_bblocks() {
  for (BBLK* bb = cfg.all_blocks; bb; bb = bb->allnext) {
    for (BITVEC*& v : bb->live_bits) {
      erase_bitvec(v);
      v = nullptr;
    }
  }
  cfg = CFG_STATE();
  dominators_stale = true;
}

EDGE* mkedge(BBLK* bb, double freq) {
  void* mem = take_from_freemap(sizeof(EDGE));
  if (!mem) mem = zalloc(sizeof(EDGE));
  EDGE* e = new (mem) EDGE();
  e->bb = bb;
  e->dFreq = freq;
  dominators_stale = true;
  return e;
}

EDGE* add_edge(BBLK* bb, EDGE* list, double freq) {
  dominators_stale = true;
  for (EDGE* e = list; e; e = e->next)
    if (e->bb == bb) return list;
  EDGE* e = mkedge(bb, freq);
  // Appended, so that successor order follows the order of the labels.
  if (!list) return e;
  EDGE* t = list;
  while (t->next) t = t->next;
  t->next = e;
  return list;
}

EDGE* remove_edge(BBLK* bb, EDGE* list) {
  dominators_stale = true;
  EDGE** p = &list;
  while (*p) {
    if ((*p)->bb == bb) {
      EDGE* gone = *p;
      *p = gone->next;
      erase_edge(gone);
      break;
    }
    p = &(*p)->next;
  }
  return list;
}

void erase_edge(EDGE* e) {
  dominators_stale = true;
  if (e) add_to_freemap(e, sizeof(EDGE));
}

void erase_edge_list(EDGE* list) {
  while (list) {
    EDGE* next = list->next;
    erase_edge(list);
    list = next;
  }
}

EDGE* copy_edge_list(EDGE* list) {
  EDGE* head = nullptr;
  EDGE** tail = &head;
  for (; list; list = list->next) {
    *tail = mkedge(list->bb, list->dFreq);
    tail = &(*tail)->next;
  }
  return head;
}

EDGE* rev_edge_list(EDGE* list) {
  EDGE* out = nullptr;
  while (list) {
    EDGE* next = list->next;
    list->next = out;
    out = list;
    list = next;
  }
  return out;
}

int edge_length(const EDGE* list) {
  int n = 0;
  for (; list; list = list->next) ++n;
  return n;
}

bool edge_memberp(const BBLK* bb, const EDGE* list) {
  for (; list; list = list->next)
    if (list->bb == bb) return true;
  return false;
}

EDGE* sort_edge_list(EDGE* list) {
  // Insertion sort: edge lists are short.
  EDGE* sorted = nullptr;
  while (list) {
    EDGE* e = list;
    list = list->next;
    EDGE** p = &sorted;
    while (*p && (*p)->bb->dfn <= e->bb->dfn) p = &(*p)->next;
    e->next = *p;
    *p = e;
  }
  return sorted;
}

EDGE* fast_sort_edge_list(EDGE* list) {
  // Already sorted is the common case.
  bool sorted = true;
  for (EDGE* e = list; e && e->next && sorted; e = e->next) sorted = e->bb->dfn <= e->next->bb->dfn;
  return sorted ? list : sort_edge_list(list);
}

namespace {
std::map<int, LBL*> all_labels;  // every label of the current function
}

LBL* mklabel(int number, LBL* next, BBLK* bb) {
  LBL* l = new (zalloc(sizeof(LBL))) LBL();
  l->number = number;
  l->next = next;
  l->bb = bb;
  all_labels[number] = l;
  return l;
}

LBL* find_label(int number) {
  auto it = all_labels.find(number);
  return it == all_labels.end() ? nullptr : it->second;
}

void forget_all_labels() { all_labels.clear(); }

NODE* mk_LABELREF_to_bb(BBLK* bb, LS* scope) {
  LBL* l = ensure_label(bb);
  NODE* n = mk_LABELREF(l->number, l);
  n->scope = scope;
  return n;
}

NODE* mk_BRANCH(BBLK* bb, LS* scope) {
  return maketree(BRANCH, mk_LABELREF_to_bb(bb, scope), nullptr, tp->basic[TYPE_PKG::BT_VOID], scope);
}

NODE* mk_IF(NODE* cond, BBLK* if_true, BBLK* if_false, LS* scope) {
  NODE* targets = maketree(COLON, mk_LABELREF_to_bb(if_true, scope), mk_LABELREF_to_bb(if_false, scope),
                           tp->basic[TYPE_PKG::BT_VOID], scope);
  return maketree(IF, cond, targets, tp->basic[TYPE_PKG::BT_VOID], scope);
}

bool is_transfer(int op) {
  return op == BRANCH || op == IF || op == SWITCH || op == RETURN || op == URETURN || op == CBRANCH;
}

LIST* last_cell(const BBLK* bb) {
  LIST* l = bb->statements;
  if (!l) return nullptr;
  while (l->next) l = l->next;
  return l;
}

NODE* last_stmt(const BBLK* bb) {
  LIST* l = last_cell(bb);
  return l ? l->tree : nullptr;
}

void fixup_edge_lists(BBLK* bb, NODE* tree) {
  if (!tree) return;
  if (tree->op == LABEL) {
    LBL* l = tree->lbl ? tree->lbl : find_label(static_cast<int>(tree->value.as_int64()));
    if (!l) return;
    tree->lbl = l;
    bb->successors = add_edge(l->bb, bb->successors, -1.0);
    l->bb->predecessors = add_edge(bb, l->bb->predecessors, -1.0);
    return;
  }
  switch (tree->op) {
    case IF:
    case SWITCH:
      fixup_edge_lists(bb, tree->right);
      return;
    case BRANCH:
    case CBRANCH:
    case COLON:
    case COMMA:
    case CASE:
    case DEFAULT:
      fixup_edge_lists(bb, tree->left);
      fixup_edge_lists(bb, tree->right);
      return;
    default:
      return;
  }
}
