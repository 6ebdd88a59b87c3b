// merge_symbols: y = x at the last use of x joins x and y into one
// variable, and the copy goes. Two candidates of equal type may share a
// variable when neither is stored to while the other is live
// (find_conflicts); a copy between them does not count, as both hold the
// same value there. Joined variables take over each other's conflicts, so
// a chain of copies merges step by step without ever joining two values
// that are live at once.
#include <cstdio>
#include <cstring>
#include <vector>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/lva.h"
#include "scalar/regalloc.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"

namespace {

bool equal_types(const TYPE* a, const TYPE* b) {
  return a == b || (simp::same_type(a, b) && a->qual_kind(true) == b->qual_kind(true));
}

struct COPY {
  LIST* cell;
  int to;    // y
  int from;  // x
};

// The copies y = x of candidates at which x dies.
std::vector<COPY> copies_at_last_use() {
  std::vector<COPY> found;
  int n = lva_candidate_count();
  BITVEC* live = mkBITVEC(n, 0);
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
    BITVEC* out = lva_set(bb, LVA_OUT);
    if (!out) continue;
    *live = *out;
    std::vector<LIST*> cells;
    for (LIST* l = bb->statements; l; l = l->next) cells.push_back(l);
    for (auto it = cells.rbegin(); it != cells.rend(); ++it) {
      NODE* t = (*it)->tree;
      if (t && t->op == ASG && t->left && t->right && t->left->op == NAME && t->right->op == NAME &&
          !tree_is_arg_prolog(t)) {
        int y = lva_index(t->left->name_symbol());
        int x = lva_index(t->right->name_symbol());
        if (x >= 0 && y >= 0 && x != y && !live->bv_test(x) &&
            equal_types(lva_candidate(x)->type, lva_candidate(y)->type) &&
            equal_types(t->left->type, t->right->type))
          found.push_back({*it, y, x});
      }
      lva_transfer(t, live);
    }
  }
  erase_bitvec(live);
  return found;
}

// Symbols of the argument prolog keep their names: the prolog pairs a
// parameter with the local of the same name.
void note_prolog_symbols(const NODE* t, std::vector<bool>& fixed) {
  for (; t; t = t->right) {
    if (t->op == NAME) {
      int i = lva_index(t->name_symbol());
      if (i >= 0) fixed[static_cast<size_t>(i)] = true;
      return;
    }
    note_prolog_symbols(t->left, fixed);
  }
}

bool is_temporary(const SYMTAB* s) { return !(s->sflags & SF_USER) || (s->name && !strncmp(s->name, "$O", 2)); }

void rename_in_tree(NODE* t, const std::vector<SYMTAB*>& to) {
  for (; t; t = t->right) {
    if (t->op == NAME) {
      int i = lva_index(t->name_symbol());
      if (i >= 0 && to[static_cast<size_t>(i)]) t->sym = to[static_cast<size_t>(i)];
      return;
    }
    rename_in_tree(t->left, to);
  }
}

}  // namespace

void merge_symbols() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'merge_symbols' ----------\n");
  if (!currfuninfo || !cfg.bb_list) return;
  find_live_variables(0, false);
  int n = lva_candidate_count();
  // Assembly text may name a variable the trees do not show.
  if (n < 2 || lva_function_has_asm()) return;
  std::vector<COPY> copies = copies_at_last_use();
  if (copies.empty()) return;
  find_conflicts();
  std::vector<bool> fixed(static_cast<size_t>(n), false);
  LIST* first = cfg.bb_list->statements;
  if (first && tree_is_arg_prolog(first->tree)) note_prolog_symbols(first->tree, fixed);

  // Classes of joined candidates: a representative, its members, and the
  // conflicts of all members.
  std::vector<int> rep(static_cast<size_t>(n));
  std::vector<BITVEC*> members(static_cast<size_t>(n)), conflicts(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    rep[static_cast<size_t>(i)] = i;
    members[static_cast<size_t>(i)] = mkBITVEC(n, 0);
    members[static_cast<size_t>(i)]->bv_add(i);
    conflicts[static_cast<size_t>(i)] = mkBITVEC(n, 0);
    *conflicts[static_cast<size_t>(i)] = *var_conflicts[static_cast<size_t>(i)];
  }
  auto find = [&rep](int i) {
    while (rep[static_cast<size_t>(i)] != i) i = rep[static_cast<size_t>(i)];
    return i;
  };
  BITVEC* common = mkBITVEC(n, 0);
  bool merged = false;
  for (const COPY& c : copies) {
    int a = find(c.from), b = find(c.to);
    if (a == b || fixed[static_cast<size_t>(c.from)] || fixed[static_cast<size_t>(c.to)]) continue;
    *common = *conflicts[static_cast<size_t>(a)];
    common->bv_intersect(*members[static_cast<size_t>(b)]);
    if (common->bv_count() != 0) continue;
    // The variable that stays: a user's name rather than a temporary's.
    if (is_temporary(lva_candidate(a)) && !is_temporary(lva_candidate(b))) std::swap(a, b);
    if (print_debug && fdebug)
      fprintf(fdebug, "\tMerging '%s' into '%s'\n", lva_candidate(b)->name, lva_candidate(a)->name);
    rep[static_cast<size_t>(b)] = a;
    members[static_cast<size_t>(a)]->bv_union(*members[static_cast<size_t>(b)]);
    conflicts[static_cast<size_t>(a)]->bv_union(*conflicts[static_cast<size_t>(b)]);
    merged = true;
  }
  erase_bitvec(common);
  init_reg_defs();
  for (int i = 0; i < n; ++i) {
    erase_bitvec(members[static_cast<size_t>(i)]);
    erase_bitvec(conflicts[static_cast<size_t>(i)]);
  }
  if (!merged) return;
  std::vector<SYMTAB*> to(static_cast<size_t>(n), nullptr);
  for (int i = 0; i < n; ++i)
    if (find(i) != i) to[static_cast<size_t>(i)] = lva_candidate(find(i));
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
    for (LIST* l = bb->statements; l; l = l->next) rename_in_tree(l->tree, to);
    // The copies that joined their two sides copy a variable to itself.
    LIST** link = &bb->statements;
    while (*link) {
      LIST* cell = *link;
      NODE* t = cell->tree;
      if (t && t->op == ASG && t->left && t->right && t->left->op == NAME && t->right->op == NAME &&
          t->left->sym == t->right->sym && cell->next) {
        *link = cell->next;
        cell->next = nullptr;
        erase_tree_list(cell);
        continue;
      }
      link = &cell->next;
    }
  }
}
