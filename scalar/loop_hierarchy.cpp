// The natural loops of the flow graph and their nesting. A graph that is not
// reducible gets a single pseudo loop marked irreducible: no loop pass then
// touches it.
#include <algorithm>
#include <cstdlib>
#include <cstdio>
#include <new>
#include <vector>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/dominator.h"
#include "scalar/loop.h"
#include "ssa/alias.h"

struct LOOP* loop_root = nullptr;
int loop_count = 0;

namespace {

struct LOOP* outermost(struct LOOP* l) {
  while (l->outer) l = l->outer;
  return l;
}

bool reachable(Dominator* dom, BBLK* b) { return b == cfg.bb_list || dom->immediate_dominator(b) != nullptr; }

// In a layout that is a reverse postorder, an edge that does not go forward
// is a back edge and must go to a block that dominates its source. A layout
// some pass left otherwise, or a graph that is not reducible, fails here.
bool layout_is_reducible_order(Dominator* dom) {
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    if (!reachable(dom, b)) continue;
    for (EDGE* e = b->successors; e; e = e->next)
      if (e->bb->dfn <= b->dfn && !dom->dominates(e->bb, b)) return false;
  }
  return true;
}

void clear_block_loops() {
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) b->loop = nullptr;
}

void push_loop(LOOPLIST*& list, struct LOOP* l) {
  LOOPLIST* cell = new (zalloc(sizeof(LOOPLIST))) LOOPLIST();
  cell->loop = l;
  cell->next = list;
  list = cell;
}

// Contents by layout order: each block goes into its loop and every loop
// around that one.
void fill_contents(const std::vector<struct LOOP*>& loops) {
  for (struct LOOP* l : loops) {
    erase_edge_list(l->contents);
    l->contents = nullptr;
  }
  std::vector<BBLK*> order;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) order.push_back(b);
  for (auto it = order.rbegin(); it != order.rend(); ++it)
    for (struct LOOP* l = (*it)->loop; l; l = l->outer) {
      EDGE* e = mkedge(*it, -1.0);
      e->next = l->contents;
      l->contents = e;
    }
}

void find_preheader(struct LOOP* l) {
  l->preheader = nullptr;
  if (!l->head || !l->tail) return;
  BBLK* only = nullptr;
  int outside = 0;
  for (EDGE* e = l->head->predecessors; e; e = e->next)
    if (!block_in_loop(e->bb, l)) {
      only = e->bb;
      ++outside;
    }
  if (outside == 1 && edge_length(only->successors) == 1) l->preheader = only;
}

void finish_loop(struct LOOP* l) {
  add_exit_blocks(l);
  l->multi_exit = 0;
  for (EDGE* e = l->exits; e; e = e->next)
    if (e->bb != l->tail) l->multi_exit = 1;
  find_preheader(l);
}

void make_irreducible_root(int number) {
  clear_block_loops();
  loop_root = make_LOOP(cfg.bb_list, nullptr, number, nullptr);
  loop_root->irreducible = 1;
  loop_root->level = 0;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) b->loop = loop_root;
  fill_contents({loop_root});
  loop_count = number;
  dprintf("\n\tThe flow graph is irreducible: one pseudo loop #%d holds it.\n", number);
}

void visit_inside_out(struct LOOP* l, void (*visit)(struct LOOP*, void*), void* data) {
  for (LOOPLIST* c = l->inner; c; c = c->next) visit_inside_out(c->loop, visit, data);
  visit(l, data);
}

void print_loop(struct LOOP* l) {
  std::string blocks;
  for (EDGE* e = l->contents; e; e = e->next) blocks += " " + std::to_string(e->bb->dfn);
  dprintf("\tLoop #%d level %d: head %d, tail %d, preheader %d%s%s; blocks:%s\n", l->number, l->level,
          l->head ? l->head->dfn : 0, l->tail ? l->tail->dfn : 0, l->preheader ? l->preheader->dfn : 0,
          l->multi_exit ? ", several exits" : "", l->irreducible ? ", irreducible" : "", blocks.c_str());
  for (LOOPLIST* c = l->inner; c; c = c->next) print_loop(c->loop);
}

}  // namespace

bool SYMSET::contains(const SYMTAB* s) const {
  int lo = 0, hi = count;
  while (lo < hi) {
    int mid = (lo + hi) / 2;
    if (items[mid] == s) return true;
    if (items[mid]->serial < s->serial || (items[mid]->serial == s->serial && items[mid] < s)) lo = mid + 1;
    else hi = mid;
  }
  return false;
}

void SYMSET::insert(SYMTAB* s) {
  if (!s || contains(s)) return;
  if (count == capacity) {
    int cap = capacity ? capacity * 2 : 8;
    SYMTAB** grown = static_cast<SYMTAB**>(zalloc(sizeof(SYMTAB*) * static_cast<size_t>(cap)));
    for (int i = 0; i < count; ++i) grown[i] = items[i];
    items = grown;
    capacity = cap;
  }
  int at = count;
  while (at > 0 && (items[at - 1]->serial > s->serial || (items[at - 1]->serial == s->serial && items[at - 1] > s))) {
    items[at] = items[at - 1];
    --at;
  }
  items[at] = s;
  ++count;
}

struct LOOP* make_LOOP(BBLK* head, BBLK* tail, int number, struct LOOP* copy_from) {
  struct LOOP* l = new (zalloc(sizeof(struct LOOP))) struct LOOP();
  if (copy_from) *l = *copy_from;
  l->outer = nullptr;
  l->inner = nullptr;
  l->contents = l->exits = l->exit_targets = nullptr;
  l->head = head;
  l->tail = tail;
  l->number = number;
  l->level = 1;
  l->priority = 42;
  l->unroll_request = -1;
  l->assigned = new (zalloc(sizeof(SYMSET))) SYMSET();
  l->read = new (zalloc(sizeof(SYMSET))) SYMSET();
  l->symbols_known = 0;
  return l;
}

bool block_in_loop(const BBLK* bb, const struct LOOP* loop) {
  for (const struct LOOP* l = bb ? bb->loop : nullptr; l; l = l->outer)
    if (l == loop) return true;
  return false;
}

int loop_block_count(const struct LOOP* loop) { return edge_length(loop->contents); }

void assign_loop_levels(struct LOOP* loop, int level) {
  loop->level = level;
  for (LOOPLIST* c = loop->inner; c; c = c->next) assign_loop_levels(c->loop, level + 1);
}

void add_exit_blocks(struct LOOP* loop) {
  erase_edge_list(loop->exits);
  erase_edge_list(loop->exit_targets);
  loop->exits = loop->exit_targets = nullptr;
  for (EDGE* c = loop->contents; c; c = c->next)
    for (EDGE* s = c->bb->successors; s; s = s->next)
      if (!block_in_loop(s->bb, loop)) {
        loop->exits = add_edge(c->bb, loop->exits, -1.0);
        loop->exit_targets = add_edge(s->bb, loop->exit_targets, -1.0);
      }
  for (LOOPLIST* c = loop->inner; c; c = c->next) add_exit_blocks(c->loop);
}

void loops_inside_out(struct LOOP* root, void (*visit)(struct LOOP*, void*), void* data) {
  if (root) visit_inside_out(root, visit, data);
}

void erase_loop_hierarchy() {
  clear_block_loops();
  loop_root = nullptr;
  loop_count = 0;
}

void build_minimal_loop_hierarchy() {
  erase_loop_hierarchy();
  if (!cfg.bb_list) return;
  renumber_bblocks();
  mark_address_exposed_symbols_in_function();
  Dominator* dom = function_dominator();
  std::vector<struct LOOP*> loops;
  int count = 0;
  bool irreducible = !layout_is_reducible_order(dom);
  BBLK* last = cfg.bb_list->rdflink ? cfg.bb_list->rdflink : cfg.bb_list;
  for (BBLK* h = last; h && !irreducible; h = h == cfg.bb_list ? nullptr : h->rdflink) {
    if (!h->predecessors || !reachable(dom, h)) continue;
    // In a reducible graph no member of a loop comes before its header.
    if (h->loop) {
      irreducible = true;
      break;
    }
    h->predecessors = sort_edge_list(h->predecessors);
    BBLK* tail = nullptr;
    int back_edges = 0;
    for (EDGE* e = h->predecessors; e; e = e->next)
      if (e->bb->dfn >= h->dfn && reachable(dom, e->bb)) {
        tail = e->bb;
        ++back_edges;
      }
    if (!back_edges) continue;
    if (back_edges != 1 || !dom->dominates(h, tail)) {
      irreducible = true;
      break;
    }
    struct LOOP* l = make_LOOP(h, tail, ++count, nullptr);
    loops.push_back(l);
    h->loop = l;
    if (h == tail) continue;
    std::vector<BBLK*> work;
    auto join = [&](BBLK* b) {
      if (!reachable(dom, b)) return;
      if (!b->loop) {
        b->loop = l;
        work.push_back(b);
        return;
      }
      struct LOOP* o = outermost(b->loop);
      if (o == l) return;
      o->outer = l;
      work.push_back(o->head);
    };
    join(tail);
    while (!work.empty()) {
      BBLK* b = work.back();
      work.pop_back();
      for (EDGE* e = b->predecessors; e; e = e->next) join(e->bb);
    }
  }
  if (irreducible) {
    make_irreducible_root(count + 1);
    return;
  }
  loop_root = make_LOOP(cfg.bb_list, nullptr, count + 1, nullptr);
  loop_count = count + 1;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (!b->loop) b->loop = loop_root;
  // Inner lists in the order of the loop numbers.
  for (auto it = loops.rbegin(); it != loops.rend(); ++it) {
    if (!(*it)->outer) (*it)->outer = loop_root;
    push_loop((*it)->outer->inner, *it);
  }
  std::vector<struct LOOP*> all = loops;
  all.push_back(loop_root);
  fill_contents(all);
  assign_loop_levels(loop_root, 0);
  add_exit_blocks(loop_root);
  for (struct LOOP* l : loops) finish_loop(l);
}

void build_loop_hierarchy(bool replicate_tests, bool print, bool check, int limit) {
  dprintf("\n\n\t\t\t---------- ENTERING 'build_loop_hierarchy' -------\n");
  build_minimal_loop_hierarchy();
  if (replicate_tests && limit != 0 && loop_root && !loop_root->irreducible) {
    int done = 0;
    while (limit < 0 || done < limit) {
      if (!replicate_one_top_test()) break;
      ++done;
      rebuildcfg();
      build_minimal_loop_hierarchy();
      if (!loop_root || loop_root->irreducible) break;
    }
  }
  if (print) print_loop_hierarchy();
  if (check) check_loops_after("build_loop_hierarchy");
}

void print_loop_hierarchy() {
  if (!print_debug || !fdebug || !loop_root) return;
  dprintf("\n\tLoop hierarchy of %s():\n", currfunc && currfunc->name ? currfunc->name : "?");
  print_loop(loop_root);
}
