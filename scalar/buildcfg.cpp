// Block construction from the statement list, and the renumbering and
// predecessor rebuild shared with rebuildcfg.
#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "ssa/pointsto.h"
#include "scalar/simp.h"
#include "scalar/simpcfg_rules.h"

namespace {

std::map<int, LBL*> label_mapping;

int label_of(const NODE* labeldef_or_label) { return static_cast<int>(labeldef_or_label->value.as_int64()); }

// Two-way branches arrive as CBRANCH(cond, LABEL) followed by the way taken
// otherwise; in memory they are IF(cond, COLON(LABEL true, LABEL false)).
void cbranches_to_ifs(LIST* list, int& next_label) {
  for (LIST* l = list; l; l = l->next) {
    NODE* t = l->tree;
    if (!t || t->op != CBRANCH) continue;
    NODE* false_label = nullptr;
    LIST* after = l->next;
    if (after && after->tree && after->tree->op == BRANCH && after->tree->left && after->tree->left->op == LABEL) {
      false_label = after->tree->left;
      after->tree->left = nullptr;
      erase_tree(after->tree);
      l->next = after->next;
      after->next = nullptr;
      erase_tree_list_only(after);
    } else if (after && after->tree && after->tree->op == LABELDEF) {
      false_label = mk_LABELREF(label_of(after->tree), nullptr);
    } else {
      int fresh = next_label++;
      false_label = mk_LABELREF(fresh, nullptr);
      l->next = mkelist(mk_LABELDEF(fresh), l->next, l->psn);
    }
    NODE* targets = maketree(COLON, t->right, false_label, tp->basic[TYPE_PKG::BT_VOID], t->scope);
    t->op = IF;
    t->right = targets;
  }
}

int max_label_in(NODE* t) {
  if (!t) return 0;
  int m = (t->op == LABEL || t->op == LABELDEF) ? label_of(t) : 0;
  if (t->op == CSE_DUPE) return m;
  return std::max(m, std::max(max_label_in(t->left), max_label_in(t->right)));
}

bool ends_flow(int op) { return op == RETURN || op == BRANCH || op == URETURN || op == IF || op == SWITCH; }

bool has_default(NODE* cases) {
  if (!cases) return false;
  if (cases->op == DEFAULT) return true;
  if (cases->op == COMMA) return has_default(cases->left) || has_default(cases->right);
  return false;
}

LBL* head_label_for(int number) {
  auto it = label_mapping.find(number);
  if (it != label_mapping.end()) return it->second;
  LBL* l = find_label(number);
  return l ? l->bb->labels : nullptr;
}

// Points every LABEL below a transfer at the head label of its block and adds
// the edges; a LABEL with no block is an internal error of the input.
void link_labels(BBLK* bb, NODE* t) {
  if (!t) return;
  if (t->op == LABEL) {
    LBL* l = head_label_for(label_of(t));
    if (!l) {
      fprintf(stderr, "\n>>>> Branch to undefined label %d\n", label_of(t));
      abort_optimizer();
    }
    t->lbl = l;
    bb->successors = add_edge(l->bb, bb->successors, -1.0);
    return;
  }
  switch (t->op) {
    case IF:
    case SWITCH:
      link_labels(bb, t->right);
      return;
    case BRANCH:
    case COLON:
    case COMMA:
    case CASE:
    case DEFAULT:
      link_labels(bb, t->left);
      link_labels(bb, t->right);
      return;
    default:
      return;
  }
}

// Where a target stands in the order of the walk: single-successor targets
// first, then those with more, exits last.
int walk_rank(const BBLK* target) {
  int n = edge_length(target->successors);
  return n == 1 ? 0 : n > 1 ? 1 : 2;
}

// Exit paths first, the single-successor path last: the depth-first walk then
// lays the main path out late and exits early. Within a rank the targets
// keep the order in which the block's transfer names them (exits reversed),
// whatever order earlier walks left in the list: the layout is a function of
// the transfers alone, so that another walk, or a reading of the written
// function, lays the blocks out alike. The list is left as it is.
std::vector<EDGE*> walk_order(const BBLK* bb) {
  std::vector<EDGE*> one, many, none;
  for (EDGE* e : successors_by_labels(bb)) {
    int r = walk_rank(e->bb);
    (r == 0 ? one : r == 1 ? many : none).push_back(e);
  }
  std::vector<EDGE*> all(one);
  all.insert(all.end(), many.begin(), many.end());
  all.insert(all.end(), none.rbegin(), none.rend());
  // The two ways of a test that rank alike, exits too: the false way is
  // walked last, so that it lies right behind the test unless the true way
  // leads there first.
  NODE* last = last_stmt(bb);
  if (last && last->op == IF && last->right) {
    BBLK* t = label_target(last->right->left);
    BBLK* f = label_target(last->right->right);
    auto pos = [&all](BBLK* b) {
      for (size_t i = 0; i < all.size(); ++i)
        if (all[i]->bb == b) return static_cast<int>(i);
      return -1;
    };
    int pt = pos(t), pf = pos(f);
    if (t != f && pt >= 0 && pf >= 0 && pf < pt && walk_rank(t) == walk_rank(f)) std::swap(all[pt], all[pf]);
  }
  return all;
}

void order_successors(BBLK* bb) {
  std::vector<EDGE*> all = walk_order(bb);
  EDGE* head = nullptr;
  for (auto it = all.rbegin(); it != all.rend(); ++it) {
    (*it)->next = head;
    head = *it;
  }
  bb->successors = head;
}

// Iterative depth-first walk; leaves dflink as reverse postorder from the entry.
void depth_first_order(int count) {
  for (BBLK* b = cfg.all_blocks; b; b = b->allnext) {
    b->dfn = 0;
    b->edge_cursor = nullptr;
  }
  BBLK* entry = cfg.bb_list;
  std::vector<BBLK*> stack;
  BBLK* order_head = nullptr;
  int next = count;
  entry->dfn = 1;
  entry->edge_cursor = entry->successors;
  stack.push_back(entry);
  while (!stack.empty()) {
    BBLK* b = stack.back();
    if (b->edge_cursor) {
      BBLK* s = b->edge_cursor->bb;
      b->edge_cursor = b->edge_cursor->next;
      if (s->dfn == 0) {
        s->dfn = 1;
        s->edge_cursor = s->successors;
        stack.push_back(s);
      }
      continue;
    }
    stack.pop_back();
    b->dfn = next--;
    b->dflink = order_head;
    order_head = b;
  }
  cfg.bb_list = order_head;
}

void finish_cfg() {
  for (BBLK* b = cfg.all_blocks; b; b = b->allnext) {
    erase_edge_list(b->predecessors);
    b->predecessors = nullptr;
    b->visited = 0;
  }
  int n = 0;
  BBLK* prev = nullptr;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    optassert(!b->visited);
    b->visited = 1;
    for (EDGE* e = b->successors; e; e = e->next) e->bb->predecessors = add_edge(b, e->bb->predecessors, e->dFreq);
    b->rdflink = prev;
    b->dfn = ++n;
    if (b->labels) b->labels->number = b->dfn;
    prev = b;
  }
  if (cfg.bb_list) cfg.bb_list->rdflink = prev;
  cfg.bb_count = n;
  // Blocks the walk did not reach are dropped with their statements.
  BBLK** link = &cfg.all_blocks;
  while (*link) {
    BBLK* b = *link;
    if (b->dfn == 0 || !b->visited) {
      if (print_debug && fdebug) fprintf(fdebug, "\nUNREACHABLE BASIC BLOCK: UON==%d\n", b->uon);
      for (EDGE* e = b->successors; e; e = e->next) e->bb->predecessors = remove_edge(b, e->bb->predecessors);
      erase_tree_list(b->statements);
      b->statements = nullptr;
      if (cfg.exit_block == b) cfg.exit_block = nullptr;
      erase_bblock(b);
      *link = b->allnext;
      continue;
    }
    link = &b->allnext;
  }
  LIST* first = cfg.bb_list ? cfg.bb_list->statements : nullptr;
  cfg.arg_prolog = first && tree_is_arg_prolog(first->tree) ? copy_tree(first->tree, false) : nullptr;
  if (currfuninfo) {
    currfuninfo->first_block = cfg.bb_list;
    currfuninfo->nblocks = cfg.bb_count;
  }
  sync_label_values();
  dominators_stale = true;
  // Points-to vectors are indexed by block number.
  clear_PT_vectors();
}

}  // namespace

void buildcfg() {
  label_mapping.clear();
  forget_all_labels();
  cfg = CFG_STATE();
  cfg.label_counter = -2;
  dominators_stale = true;
  LS* outer = LS::level_2_scope();

  LIST* list = currfuninfo->stmts;
  currfuninfo->stmts = nullptr;
  int next_label = 1;
  // Labels stand only in labels and transfers.
  for (LIST* l = list; l; l = l->next)
    if (l->tree && (l->tree->op == LABELDEF || is_transfer(l->tree->op)))
      next_label = std::max(next_label, max_label_in(l->tree) + 1);
  cbranches_to_ifs(list, next_label);

  // The exit block: the one URETURN of the function.
  NODE* uret = maketree(URETURN, mk_NAME(currfunc, outer), nullptr, tp->basic[TYPE_PKG::BT_VOID], outer);
  LIST* last = nullptr;
  for (LIST* l = list; l; l = l->next) last = l;
  if (!last || !last->tree || (last->tree->op != RETURN && last->tree->op != BRANCH && last->tree->op != URETURN)) {
    LIST* u = mkelist(copy_tree(uret, false), nullptr, currfuninfo->end_psn);
    if (last) last->next = u;
    else list = u;
  }

  // Cut the list into blocks in source order.
  std::vector<BBLK*> blocks;
  LIST* cur_head = nullptr;
  LIST* cur_tail = nullptr;
  LBL* cur_labels = nullptr;
  bool dead = false;
  NODE* open_switch = nullptr;  // a SWITCH that falls through to its default
  auto close_block = [&]() {
    BBLK* b = mkbblock(cur_head, nullptr);
    b->labels = cur_labels;
    for (LBL* x = cur_labels; x; x = x->next) x->bb = b;
    blocks.push_back(b);
    cur_head = cur_tail = nullptr;
    cur_labels = nullptr;
  };
  auto append = [&](LIST* cell) {
    cell->next = nullptr;
    if (cur_tail) cur_tail->next = cell;
    else cur_head = cell;
    cur_tail = cell;
  };
  // A pragma in front of the argument prolog goes behind it.
  for (LIST* c = list; c && c->next; c = c->next)
    if (c->tree && c->tree->op == PPRAGMA && tree_is_arg_prolog(c->next->tree)) {
      std::swap(c->tree, c->next->tree);
      std::swap(c->psn, c->next->psn);
      c = c->next;
    }
  LIST* l = list;
  while (l) {
    LIST* next = l->next;
    NODE* t = l->tree;
    if (t && t->op == LABELDEF) {
      int number = label_of(t);
      if (open_switch) {
        if (!has_default(open_switch->right))
          open_switch->right = maketree(COMMA, open_switch->right,
                                        maketree(DEFAULT, mk_LABELREF(number, nullptr), nullptr,
                                                 tp->basic[TYPE_PKG::BT_VOID], open_switch->scope),
                                        tp->basic[TYPE_PKG::BT_VOID], open_switch->scope);
        open_switch = nullptr;
      }
      if (!dead && cur_head) {
        append(mkelist(maketree(BRANCH, mk_LABELREF(number, nullptr), nullptr, tp->basic[TYPE_PKG::BT_VOID], t->scope),
                       nullptr, l->psn));
        close_block();
      } else if (!dead && !cur_labels && blocks.empty()) {
        // The function begins with a label: the entry is a lone branch to it.
        append(mkelist(maketree(BRANCH, mk_LABELREF(number, nullptr), nullptr, tp->basic[TYPE_PKG::BT_VOID], t->scope),
                       nullptr, l->psn));
        close_block();
      }
      cur_labels = mklabel(number, cur_labels, nullptr);
      dead = false;
      l->next = nullptr;
      erase_tree_list(l);
    } else if (dead) {
      if (open_switch && t && t->op == BRANCH && t->left && t->left->op == LABEL) {
        // The branch behind a switch is the way to its default.
        if (!has_default(open_switch->right))
          open_switch->right = maketree(COMMA, open_switch->right,
                                        maketree(DEFAULT, mk_LABELREF(label_of(t->left), nullptr), nullptr,
                                                 tp->basic[TYPE_PKG::BT_VOID], open_switch->scope),
                                        tp->basic[TYPE_PKG::BT_VOID], open_switch->scope);
        open_switch = nullptr;
      } else if (open_switch && !has_default(open_switch->right)) {
        // Code right behind a switch without default is where the default goes.
        int fresh = next_label++;
        open_switch->right = maketree(COMMA, open_switch->right,
                                      maketree(DEFAULT, mk_LABELREF(fresh, nullptr), nullptr,
                                               tp->basic[TYPE_PKG::BT_VOID], open_switch->scope),
                                      tp->basic[TYPE_PKG::BT_VOID], open_switch->scope);
        open_switch = nullptr;
        cur_labels = mklabel(fresh, nullptr, nullptr);
        dead = false;
        continue;  // take this statement again as the start of a block
      }
      // Behind an unconditional transfer with no label between: unreachable.
      l->next = nullptr;
      erase_tree_list(l);
    } else {
      append(l);
      if (t && ends_flow(t->op)) {
        close_block();
        dead = true;
        open_switch = t->op == SWITCH ? t : nullptr;
      }
    }
    l = next;
  }
  if (open_switch && !has_default(open_switch->right)) {
    // Nothing follows the switch: its default leaves the function.
    int fresh = next_label++;
    open_switch->right = maketree(COMMA, open_switch->right,
                                  maketree(DEFAULT, mk_LABELREF(fresh, nullptr), nullptr,
                                           tp->basic[TYPE_PKG::BT_VOID], open_switch->scope),
                                  tp->basic[TYPE_PKG::BT_VOID], open_switch->scope);
    cur_labels = mklabel(fresh, nullptr, nullptr);
    append(mkelist(copy_tree(uret, false), nullptr, currfuninfo->end_psn));
    close_block();
  }
  if (cur_head || cur_labels) close_block();  // only labels can be left here

  BBLK* exit_block = mkbblock(mkelist(uret, nullptr, currfuninfo->end_psn), nullptr);
  exit_block->labels = mklabel(-1, nullptr, exit_block);
  blocks.push_back(exit_block);
  cfg.exit_block = exit_block;

  // allnext and dflink in source order, the exit block last.
  for (size_t i = 0; i < blocks.size(); ++i) {
    blocks[i]->uon = static_cast<int>(i) + 1;
    blocks[i]->allnext = blocks[i]->dflink = i + 1 < blocks.size() ? blocks[i + 1] : nullptr;
  }
  cfg.all_blocks = blocks.front();
  cfg.bb_list = blocks.front();

  for (BBLK* b : blocks)
    for (LBL* lb = b->labels; lb; lb = lb->next) label_mapping[lb->number] = b->labels;

  for (BBLK* b : blocks) {
    b->dfn = 0;
    NODE* t = last_stmt(b);
    if (!t) continue;
    if (t->op == URETURN && b != exit_block) {
      erase_tree(t->left);
      t->op = BRANCH;
      t->left = mk_LABELREF(exit_block->labels->number, exit_block->labels);
    }
    link_labels(b, t);
  }
  if (tail_recursion_allowed())
    for (size_t i = 0; i < blocks.size(); ++i) remove_self_tail_call(blocks[i], blocks);
  label_mapping.clear();

  // Tail call removal may have split the entry.
  blocks.clear();
  for (BBLK* b = cfg.all_blocks; b; b = b->allnext) blocks.push_back(b);
  for (BBLK* b : blocks) order_successors(b);
  depth_first_order(static_cast<int>(blocks.size()));
  finish_cfg();
  check_cfg_after("buildcfg");
}

void rebuildcfg() {
  int n = 0;
  for (BBLK* b = cfg.all_blocks; b; b = b->allnext) ++n;
  for (BBLK* b = cfg.all_blocks; b; b = b->allnext) order_successors(b);
  depth_first_order(n);
  finish_cfg();
  check_cfg_after("rebuildcfg");
}

std::unordered_set<const BBLK*> tests_free_to_turn() {
  std::unordered_set<const BBLK*> free;
  if (!cfg.bb_list) return free;
  // The walk of rebuildcfg over the graph as it stands, noting the order in
  // which it first reaches each block.
  std::unordered_map<const BBLK*, int> reached;
  std::vector<std::pair<std::vector<EDGE*>, size_t>> stack;
  reached[cfg.bb_list] = 0;
  stack.push_back({walk_order(cfg.bb_list), 0});
  while (!stack.empty()) {
    auto& top = stack.back();
    if (top.second == top.first.size()) {
      stack.pop_back();
      continue;
    }
    BBLK* s = top.first[top.second++]->bb;
    if (reached.count(s)) continue;
    reached.emplace(s, static_cast<int>(reached.size()));
    stack.push_back({walk_order(s), 0});
  }
  for (const auto& [bb, when] : reached) {
    NODE* last = last_stmt(bb);
    if (!last || last->op != IF || !last->right) continue;
    BBLK* t = label_target(last->right->left);
    BBLK* f = label_target(last->right->right);
    if (!t || !f || t == f) continue;
    // Ways that rank apart are walked in the same order either way. Ways
    // that rank alike are walked true way first; the turn makes no
    // difference when one of them was reached before the test (or is the
    // test itself), so that the walk goes on to at most one of them.
    auto rt = reached.find(t), rf = reached.find(f);
    if (walk_rank(t) != walk_rank(f) || (rt != reached.end() && rt->second <= when) ||
        (rf != reached.end() && rf->second <= when))
      free.insert(bb);
  }
  return free;
}

void renumber_bblocks() {
  int n = 0;
  BBLK* prev = nullptr;
  bool every_block_continues = true;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    b->rdflink = prev;
    b->dfn = ++n;
    prev = b;
    if (!b->successors) every_block_continues = false;
  }
  if (cfg.bb_list) cfg.bb_list->rdflink = prev;
  cfg.bb_count = n;
  // Referenced labels get fresh numbers from 1 in layout order.
  int label = 0;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->labels && b->predecessors) b->labels->number = ++label;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->labels && !b->predecessors) b->labels->number = ++label;
  if (currfuninfo) {
    currfuninfo->first_block = cfg.bb_list;
    currfuninfo->nblocks = n;
    if (every_block_continues && n > 0) currfuninfo->flags |= FUN_never_returns;
    currfuninfo->flags &= ~static_cast<uint32_t>(FUN_is_pure_fun);
  }
  sync_label_values();
  dominators_stale = true;
  // Points-to vectors are indexed by block number.
  clear_PT_vectors();
}
