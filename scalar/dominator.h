// Dominators and post-dominators of the current function's flow graph.
// Numbers are block dfn values, 1 to bb_count; slot 0 is unused, and an
// answer of 0 means "none" (an unreachable block, or a block whose paths
// leave the function through different exits).
//
// Nobody refreshes this by hand: every edge or block edit raises the stale
// flag, and each query rebuilds first when it sees it.
#pragma once
#include <cstdint>
#include <cstdio>
#include <functional>
#include <vector>

struct BBLK;

class Dominator {
 public:
  std::vector<int> idom;
  std::vector<int> ipdom;
  std::vector<int> dom_walk;   // dominator tree, depth first from the entry
  std::vector<int> pdom_walk;  // post-dominator tree, depth first from the exits
  std::vector<std::vector<BBLK*>> dom_children;
  std::vector<std::vector<BBLK*>> pdom_children;
  int built_count = 0;
  uint8_t stale = 1;
  std::vector<BBLK*> blocks;  // block by dfn

  int immediate_dominator(int dfn);
  BBLK* immediate_dominator(BBLK* bb);
  int immediate_post_dominator(int dfn);
  BBLK* immediate_post_dominator(BBLK* bb);
  bool dominates(int a, int b);
  bool dominates(BBLK* a, BBLK* b);
  bool post_dominates(int a, int b);
  bool post_dominates(BBLK* a, BBLK* b);
  BBLK* DFSblock(int dfn);
  const std::vector<BBLK*>& dominator_children(int dfn);
  const std::vector<BBLK*>& dominator_children(BBLK* bb);
  const std::vector<BBLK*>& post_dominator_children(int dfn);
  const std::vector<BBLK*>& post_dominator_children(BBLK* bb);
  // Fills dom_walk and pdom_walk from the trees.
  void generate_tree_walk();
  // Visits the dominator tree parents first; rdf_traverse children first.
  void df_traverse(const std::function<void(BBLK*)>& visit);
  void rdf_traverse(const std::function<void(BBLK*)>& visit);
  void print_IDOM(FILE* f);
  void print_POSTDOM(FILE* f);
  void rebuild();

 private:
  void refresh();
  void builder();
  int intersect(int a, int b, const std::vector<int>& order) const;
  int post_intersect(int a, int b, const std::vector<int>& order) const;
  bool in_range(int n) const { return n >= 1 && n <= built_count; }
};

// The current function's dominator object, made on first use.
Dominator* function_dominator();
// Builds or rebuilds the dominators; with `also_live`, liveness as well.
void compute_dominators(bool also_live);
// Forgets the object of the previous function.
void erase_dominator();
