// Dominators and post-dominators by the two-finger iterative method over
// reverse postorder.
#include "scalar/dominator.h"

#include <algorithm>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/lva.h"

namespace {

Dominator* the_dominator = nullptr;

// Depth-first postorder from the given roots over `next`, iterative.
std::vector<int> postorder(const std::vector<int>& roots, const std::vector<std::vector<int>>& next) {
  std::vector<int> out;
  std::vector<char> seen(next.size(), 0);
  std::vector<std::pair<int, size_t>> stack;
  for (int r : roots) {
    if (seen[r]) continue;
    seen[r] = 1;
    stack.push_back({r, 0});
    while (!stack.empty()) {
      auto& top = stack.back();
      if (top.second < next[top.first].size()) {
        int s = next[top.first][top.second++];
        if (!seen[s]) {
          seen[s] = 1;
          stack.push_back({s, 0});
        }
        continue;
      }
      out.push_back(top.first);
      stack.pop_back();
    }
  }
  return out;
}

}  // namespace

Dominator* function_dominator() {
  if (!the_dominator) the_dominator = new Dominator();
  return the_dominator;
}

void erase_dominator() {
  delete the_dominator;
  the_dominator = nullptr;
}

void compute_dominators(bool also_live) {
  function_dominator()->rebuild();
  if (also_live) find_live_variables(0, 0);
}

void Dominator::refresh() {
  if (stale || dominators_stale || built_count != cfg.bb_count) rebuild();
}

void Dominator::rebuild() {
  dprintf(" ==== Entering Dominator rebuild ====\n");
  builder();
  generate_tree_walk();
  stale = 0;
  dominators_stale = false;
  dprintf(" ==== Exiting Dominator rebuild ====\n");
}

int Dominator::intersect(int a, int b, const std::vector<int>& order) const {
  while (a != b) {
    while (order[a] > order[b]) a = idom[a];
    while (order[b] > order[a]) b = idom[b];
  }
  return a;
}

int Dominator::post_intersect(int a, int b, const std::vector<int>& order) const {
  while (a != b) {
    while (order[a] > order[b]) a = ipdom[a];
    while (order[b] > order[a]) b = ipdom[b];
  }
  return a;
}

void Dominator::builder() {
  // Numbers follow the layout chain. A pass that edited the chain without
  // renumbering still gets answers by dfn as they stand after this.
  std::vector<BBLK*> chain;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) chain.push_back(b);
  bool numbered = static_cast<int>(chain.size()) == cfg.bb_count;
  for (size_t i = 0; numbered && i < chain.size(); ++i) numbered = chain[i]->dfn == static_cast<int>(i) + 1;
  if (!numbered) {
    BBLK* prev = nullptr;
    for (size_t i = 0; i < chain.size(); ++i) {
      chain[i]->dfn = static_cast<int>(i) + 1;
      chain[i]->rdflink = prev;
      prev = chain[i];
    }
    if (!chain.empty()) chain.front()->rdflink = prev;
    cfg.bb_count = static_cast<int>(chain.size());
  }
  const int n = static_cast<int>(chain.size());
  built_count = n;
  blocks.assign(n + 1, nullptr);
  for (int i = 1; i <= n; ++i) blocks[i] = chain[i - 1];
  idom.assign(n + 1, 0);
  ipdom.assign(n + 1, 0);
  dom_children.assign(n + 1, {});
  pdom_children.assign(n + 1, {});
  if (n == 0) return;

  auto number = [&](const BBLK* b) { return b && b->dfn >= 1 && b->dfn <= n && blocks[b->dfn] == b ? b->dfn : 0; };
  // Slot 0 is the virtual exit that follows every exit block.
  std::vector<std::vector<int>> succ(n + 1), pred(n + 1);
  std::vector<int> exits;
  for (int i = 1; i <= n; ++i) {
    for (EDGE* e = blocks[i]->successors; e; e = e->next) {
      int s = number(e->bb);
      if (s && std::find(succ[i].begin(), succ[i].end(), s) == succ[i].end()) {
        succ[i].push_back(s);
        pred[s].push_back(i);
      }
    }
    if (succ[i].empty() || blocks[i] == cfg.exit_block) exits.push_back(i);
  }

  // Dominators, from the entry.
  std::vector<int> po = postorder({1}, succ);
  std::vector<int> order(n + 1, 0);  // reverse postorder number, entry 1
  for (size_t k = 0; k < po.size(); ++k) order[po[k]] = static_cast<int>(po.size() - k);
  idom[1] = 1;
  for (bool changed = true; changed;) {
    changed = false;
    for (auto it = po.rbegin(); it != po.rend(); ++it) {
      int b = *it;
      if (b == 1) continue;
      int d = 0;
      for (int p : pred[b])
        if (idom[p]) d = d ? intersect(p, d, order) : p;
      if (idom[b] != d) {
        idom[b] = d;
        changed = true;
      }
    }
  }

  // Post-dominators, from the virtual exit over reversed edges.
  std::vector<std::vector<int>> rsucc(n + 1);
  rsucc[0] = exits;
  for (int i = 1; i <= n; ++i) rsucc[i] = pred[i];
  std::vector<int> ppo = postorder({0}, rsucc);
  std::vector<int> porder(n + 1, 0);
  for (size_t k = 0; k < ppo.size(); ++k) porder[ppo[k]] = static_cast<int>(ppo.size() - k) - 1;
  std::vector<char> is_exit(n + 1, 0);
  for (int x : exits) is_exit[x] = 1;
  std::vector<char> done(n + 1, 0);
  done[0] = 1;
  for (bool changed = true; changed;) {
    changed = false;
    for (auto it = ppo.rbegin(); it != ppo.rend(); ++it) {
      int b = *it;
      if (b == 0) continue;
      int d = -1;
      auto meet = [&](int p) { d = d < 0 ? p : post_intersect(p, d, porder); };
      if (is_exit[b]) meet(0);
      for (int s : succ[b])
        if (done[s]) meet(s);
      if (d >= 0 && (!done[b] || ipdom[b] != d)) {
        ipdom[b] = d;
        done[b] = 1;
        changed = true;
      }
    }
  }
  // An exit is its own post-dominator; 0 below an exit means "none".
  for (int x : exits) ipdom[x] = x;

  for (int b = 2; b <= n; ++b)
    if (idom[b]) dom_children[idom[b]].push_back(blocks[b]);
  for (int b = 1; b <= n; ++b)
    if (ipdom[b] && ipdom[b] != b) pdom_children[ipdom[b]].push_back(blocks[b]);
}

void Dominator::generate_tree_walk() {
  dom_walk.clear();
  pdom_walk.clear();
  if (built_count == 0) return;
  auto walk = [](int root, const std::vector<std::vector<BBLK*>>& children, std::vector<int>& out) {
    std::vector<int> stack{root};
    while (!stack.empty()) {
      int b = stack.back();
      stack.pop_back();
      out.push_back(b);
      const auto& c = children[b];
      for (auto it = c.rbegin(); it != c.rend(); ++it) stack.push_back((*it)->dfn);
    }
  };
  walk(1, dom_children, dom_walk);
  for (int b = 1; b <= built_count; ++b)
    if (ipdom[b] == b) walk(b, pdom_children, pdom_walk);
}

int Dominator::immediate_dominator(int dfn) {
  refresh();
  return in_range(dfn) ? idom[dfn] : 0;
}

BBLK* Dominator::immediate_dominator(BBLK* bb) {
  refresh();  // numbers may change
  int d = immediate_dominator(bb ? bb->dfn : 0);
  return d ? blocks[d] : nullptr;
}

int Dominator::immediate_post_dominator(int dfn) {
  refresh();
  return in_range(dfn) ? ipdom[dfn] : 0;
}

BBLK* Dominator::immediate_post_dominator(BBLK* bb) {
  refresh();
  int d = immediate_post_dominator(bb ? bb->dfn : 0);
  return d ? blocks[d] : nullptr;
}

bool Dominator::dominates(int a, int b) {
  if (a == b) return true;
  refresh();
  if (!in_range(b) || !in_range(a)) return false;
  for (int x = b; x != a; x = idom[x])
    if (idom[x] == 0 || idom[x] == x) return false;
  return true;
}

bool Dominator::dominates(BBLK* a, BBLK* b) {
  if (a == b) return true;
  refresh();
  return a && b && dominates(a->dfn, b->dfn);
}

bool Dominator::post_dominates(int a, int b) {
  if (a == b) return true;
  refresh();
  if (!in_range(b) || !in_range(a)) return false;
  for (int x = b; x != a; x = ipdom[x])
    if (ipdom[x] == 0 || ipdom[x] == x) return false;
  return true;
}

bool Dominator::post_dominates(BBLK* a, BBLK* b) {
  if (a == b) return true;
  refresh();
  return a && b && post_dominates(a->dfn, b->dfn);
}

BBLK* Dominator::DFSblock(int dfn) {
  refresh();
  return in_range(dfn) ? blocks[dfn] : nullptr;
}

const std::vector<BBLK*>& Dominator::dominator_children(int dfn) {
  static const std::vector<BBLK*> none;
  refresh();
  return in_range(dfn) ? dom_children[dfn] : none;
}

const std::vector<BBLK*>& Dominator::dominator_children(BBLK* bb) {
  refresh();
  return dominator_children(bb ? bb->dfn : 0);
}

const std::vector<BBLK*>& Dominator::post_dominator_children(int dfn) {
  static const std::vector<BBLK*> none;
  refresh();
  return in_range(dfn) ? pdom_children[dfn] : none;
}

const std::vector<BBLK*>& Dominator::post_dominator_children(BBLK* bb) {
  refresh();
  return post_dominator_children(bb ? bb->dfn : 0);
}

void Dominator::df_traverse(const std::function<void(BBLK*)>& visit) {
  refresh();
  std::vector<int> walk = dom_walk;  // the visitor may edit the graph
  for (int b : walk) visit(blocks[b]);
}

void Dominator::rdf_traverse(const std::function<void(BBLK*)>& visit) {
  refresh();
  std::vector<int> walk = dom_walk;
  for (auto it = walk.rbegin(); it != walk.rend(); ++it) visit(blocks[*it]);
}

void Dominator::print_IDOM(FILE* f) {
  refresh();
  if (!f) return;
  fprintf(f, "\n\tImmediate dominators:\n");
  for (int b = 1; b <= built_count; ++b) fprintf(f, "\tIDOM[%d] = %d\n", b, idom[b]);
}

void Dominator::print_POSTDOM(FILE* f) {
  refresh();
  if (!f) return;
  fprintf(f, "\n\tImmediate post-dominators:\n");
  for (int b = 1; b <= built_count; ++b) fprintf(f, "\tIPDOM[%d] = %d\n", b, ipdom[b]);
}
