// Statement lists of blocks: copying, appending and inserting.
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "scalar/cfg.h"

LIST* copy_statements(LIST* list, bool keep_positions) {
  LIST* head = nullptr;
  LIST** tail = &head;
  for (; list; list = list->next) {
    *tail = mkelist(copy_tree(list->tree, false), nullptr, keep_positions ? list->psn : nullptr);
    (*tail)->a = list->a;
    (*tail)->b = list->b;
    tail = &(*tail)->next;
  }
  return head;
}

void append_statements(BBLK* bb, LIST* list) {
  if (!list) return;
  if (LIST* last = last_cell(bb)) last->next = list;
  else bb->statements = list;
  for (LIST* l = list; l; l = l->next)
    if (l->psn) {
      if (!bb->first_psn) bb->first_psn = l->psn;
      bb->last_psn = l->psn;
    }
}

void insert_stmt_before_stmt_in_bb(NODE* stmt, NODE* before, BBLK* bb, PSN* psn) {
  LIST** link = &bb->statements;
  if (before) {
    while (*link && (*link)->tree != before) link = &(*link)->next;
    optassert(*link != nullptr);
  } else {
    // Before the ending transfer.
    while (*link && (*link)->next) link = &(*link)->next;
    if (*link && !is_transfer((*link)->tree ? (*link)->tree->op : NOP)) link = &(*link)->next;
  }
  *link = mkelist(stmt, *link, psn);
}
