// simpcfg: the sweeps that clean the flow graph, dead blocks, branch
// chaining, joining and duplication of blocks. The rules for blocks that
// end in a test are in simpcfg_cond.cpp.
#include "scalar/simpcfg.h"

#include <algorithm>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simpcfg_rules.h"

bool simpcfg_gate_closed = false;
bool simpcfg_first = false;
bool simpcfg_second = false;

namespace {

constexpr int kMaxSweeps = 20;
constexpr int kMaxRounds = 20;
constexpr int kMaxChainSteps = 17;

void unlink_cell(BBLK* bb, LIST* cell) {
  for (LIST** p = &bb->statements; *p; p = &(*p)->next)
    if (*p == cell) {
      *p = cell->next;
      cell->next = nullptr;
      return;
    }
}

// Replaces the final BRANCH of `bb` by a copy of the statements of `s`.
void duplicate_into(BBLK* bb, BBLK* s) {
  LIST* cell = last_cell(bb);
  unlink_cell(bb, cell);
  erase_tree_list(cell);
  append_statements(bb, copy_statements(s->statements, true));
  recompute_successors(bb);
}

bool simplify_block_once(BBLK* bb) {
  NODE* last = last_stmt(bb);
  if (!last) return false;
  if ((last->op == IF && edge_length(bb->successors) >= 2) || last->op == SWITCH) {
    if (conditional_rules(bb)) return true;
    last = last_stmt(bb);
  }
  // An IF whose two ways meet at once: only its effects remain.
  if (last->op == IF && if_target(last, true) && if_target(last, true) == if_target(last, false)) {
    turn_into_BRANCH(bb, if_label(last, true), false);
    return true;
  }
  if (last->op == BRANCH) {
    NODE* f = first_stmt(label_target(last->left));
    if (f && f->op == BRANCH && chain_branch(bb, last->left)) return true;
  }
  if (edge_length(bb->successors) != 1) return false;
  BBLK* s = bb->successors->bb;
  if (s != bb && s != cfg.bb_list && s->statements && edge_length(s->predecessors) == 1 &&
      s->predecessors->bb == bb && s->loop == bb->loop && !s->pinned)
    return join_blocks(bb, s);
  if (last->op == BRANCH && s->loop == bb->loop && ok_to_duplicate(s, bb)) {
    duplicate_into(bb, s);
    return true;
  }
  return false;
}

bool dead_block_sweep() {
  bool changed = false;
  for (BBLK* bb = cfg.bb_list ? cfg.bb_list->dflink : nullptr; bb; bb = bb->dflink)
    if (bb->statements && !bb->predecessors) changed |= kill_dead_block(bb);
  return changed;
}

// Blocks left without statements leave the chains; numbers close up.
bool unlink_empty_blocks() {
  bool changed = false;
  BBLK* prev = cfg.bb_list;
  if (!prev) return false;
  for (BBLK* bb = prev->dflink; bb;) {
    BBLK* next = bb->dflink;
    if (!bb->statements) {
      for (EDGE* e = bb->successors; e; e = e->next) e->bb->predecessors = remove_edge(bb, e->bb->predecessors);
      for (EDGE* e = bb->predecessors; e; e = e->next) e->bb->successors = remove_edge(bb, e->bb->successors);
      prev->dflink = next;
      bb->dflink = bb->rdflink = nullptr;
      bb->dfn = 0;
      unlink_from_allnext(bb);
      if (cfg.exit_block == bb) cfg.exit_block = nullptr;
      erase_bblock(bb);
      changed = true;
    } else {
      prev = bb;
    }
    bb = next;
  }
  int n = 0;
  prev = nullptr;
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
    bb->dfn = ++n;
    bb->rdflink = prev;
    prev = bb;
  }
  cfg.bb_list->rdflink = prev;
  cfg.bb_count = n;
  if (currfuninfo) currfuninfo->nblocks = n;
  dominators_stale = true;
  return changed;
}

}  // namespace

bool kill_dead_block(BBLK* bb) {
  if (bb == cfg.bb_list || !bb->statements) return false;
  std::vector<BBLK*> work{bb};
  while (!work.empty()) {
    BBLK* b = work.back();
    work.pop_back();
    if (b == cfg.bb_list || !b->statements) continue;
    erase_tree_list(b->statements);
    b->statements = nullptr;
    for (EDGE* e = b->successors; e; e = e->next) {
      BBLK* s = e->bb;
      s->predecessors = remove_edge(b, s->predecessors);
      if (s != cfg.bb_list && s->statements && !s->predecessors) work.push_back(s);
    }
    erase_edge_list(b->successors);
    b->successors = nullptr;
    if (cfg.exit_block == b) cfg.exit_block = nullptr;
  }
  dominators_stale = true;
  return true;
}

bool chain_branch(BBLK* bb, NODE* label) {
  BBLK* start = label_target(label);
  if (!start) return false;
  std::vector<BBLK*> met;
  BBLK* end = start;
  // The jump from bb to start is the first step.
  for (int step = 1; step < kMaxChainSteps; ++step) {
    if (end == bb || end->pinned || end->cond_path || !is_lone_BRANCH(end) ||
        std::find(met.begin(), met.end(), end) != met.end())
      break;
    met.push_back(end);
    BBLK* next = label_target(first_stmt(end)->left);
    if (!next) break;
    end = next;
  }
  if (end == start) return false;
  point_label_at(label, end);
  recompute_successors(bb);
  return true;
}

bool join_blocks(BBLK* bb, BBLK* s) {
  LIST* cell = last_cell(bb);
  NODE* t = cell->tree;
  unlink_cell(bb, cell);
  if (t->op == BRANCH) {
    erase_tree_list(cell);
  } else {
    NODE* expr = t->left;
    t->left = nullptr;
    PSN* psn = cell->psn;
    erase_tree_list(cell);
    keep_effects_before_transfer(bb, expr, psn);
  }
  append_statements(bb, s->statements);
  s->statements = nullptr;
  erase_edge_list(bb->successors);
  bb->successors = s->successors;
  s->successors = nullptr;
  for (EDGE* e = bb->successors; e; e = e->next)
    for (EDGE* p = e->bb->predecessors; p; p = p->next)
      if (p->bb == s) p->bb = bb;
  erase_edge_list(s->predecessors);
  s->predecessors = nullptr;
  bb->dFreqOut = s->dFreqOut;
  if (cfg.exit_block == s) cfg.exit_block = bb;
  dominators_stale = true;
  return true;
}

void simpcfg(bool first, bool second) {
  if (simpcfg_gate_closed || pass_disable("simpcfg") || !cfg.bb_list) return;
  simpcfg_first = first;
  simpcfg_second = second;
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'simpcfg' ----------\n");
  renumber_bblocks();
  auto block_count = [] {
    int n = 0;
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) ++n;
    return n;
  };
  // The rebuild finds blocks the sweeps left unreachable; their successors
  // may then join their one remaining predecessor, which a second reading
  // of the output would do: sweep again while the rebuild drops blocks.
  for (int rebuild = 0; rebuild < kMaxSweeps; ++rebuild) {
    bool any = false;
    for (int sweep = 0; sweep < kMaxSweeps; ++sweep) {
      bool changed = false;
      if (first && !function_has_profile() && opt_level > 0) {
        changed |= cross_jump();
        changed |= merge_like_tests();
      }
      for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
        if (!bb->statements) continue;
        if (bb != cfg.bb_list && !bb->predecessors) {
          changed |= kill_dead_block(bb);
          continue;
        }
        mark_cond_path(bb);
        for (int round = 0; round < kMaxRounds && bb->statements; ++round) {
          if (!simplify_block_once(bb)) break;
          changed = true;
        }
      }
      changed |= dead_block_sweep();
      changed |= unlink_empty_blocks();
      if (!changed) break;
      any = true;
    }
    if (!any) break;
    int before = block_count();
    rebuildcfg();
    if (block_count() == before) break;
  }
  check_cfg_after("simpcfg");
}
