// find_conflicts: two candidates conflict when one is stored to while the
// other is live, so that they cannot share a register; the source of a copy
// does not conflict with its target at that copy, since both hold the same
// value there. Copies between candidates are noted as preferences.
#include <algorithm>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/lva.h"
#include "scalar/regalloc.h"

std::vector<BITVEC*> var_conflicts;
std::vector<std::vector<int>> var_preferences;

namespace {

// The candidates of a copy y = x, or -1 each.
std::pair<int, int> copy_of(const NODE* t) {
  if (!t || t->op != ASG || !t->left || !t->right || t->left->op != NAME || t->right->op != NAME) return {-1, -1};
  return {lva_index(t->left->name_symbol()), lva_index(t->right->name_symbol())};
}

void add_conflict(int a, int b) {
  if (a == b) return;
  var_conflicts[static_cast<size_t>(a)]->bv_add(b);
  var_conflicts[static_cast<size_t>(b)]->bv_add(a);
}

void add_preference(int a, int b) {
  auto& p = var_preferences[static_cast<size_t>(a)];
  if (std::find(p.begin(), p.end(), b) == p.end()) p.push_back(b);
}

}  // namespace

void find_target_conflicts() {}

void find_conflicts() {
  int n = lva_candidate_count();
  for (BITVEC* v : var_conflicts) erase_bitvec(v);
  var_conflicts.assign(static_cast<size_t>(n), nullptr);
  var_preferences.assign(static_cast<size_t>(n), {});
  // Not in the function pool: init_reg_defs releases them, also after the
  // pool is gone.
  for (auto& v : var_conflicts) v = mkBITVEC(n, 0);
  if (n == 0) return;
  BITVEC* live = mkBITVEC(n, 0);
  std::vector<LVA_EVENT> ev;
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
    BITVEC* out = lva_set(bb, LVA_OUT);
    if (out) *live = *out;
    else
      for (int i = 0; i < n; ++i) live->bv_add(i);
    std::vector<LIST*> cells;
    for (LIST* l = bb->statements; l; l = l->next) cells.push_back(l);
    for (auto it = cells.rbegin(); it != cells.rend(); ++it) {
      NODE* t = (*it)->tree;
      auto copy = copy_of(t);
      if (copy.first >= 0 && copy.second >= 0 && copy.first != copy.second) {
        add_preference(copy.first, copy.second);
        add_preference(copy.second, copy.first);
      }
      ev.clear();
      lva_statement_events(t, ev);
      for (auto e = ev.rbegin(); e != ev.rend(); ++e) {
        if (e->kind == LVA_EVENT::USE) {
          live->bv_add(e->index);
          continue;
        }
        // y = x: x and y hold the same value here.
        int same = copy.first == e->index && e->kind == LVA_EVENT::DEF ? copy.second : -1;
        for (int w = 0; w < live->nwords; ++w)
          for (uint32_t bits = live->words[w]; bits; bits &= bits - 1) {
            int j = w * 32 + __builtin_ctz(bits);
            if (j != same) add_conflict(e->index, j);
          }
        if (e->kind == LVA_EVENT::DEF) live->bv_del(e->index);
      }
    }
  }
  erase_bitvec(live);
  find_target_conflicts();
}
