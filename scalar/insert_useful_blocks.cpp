// Critical edges (from a block with several successors to one with several
// predecessors) on which gcse may have to compute a value get a block of
// their own: a computation placed there runs only on that edge.
#include "driver/globals.h"
#include "ir/bitvec.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/triples.h"

bool insert_useful_blocks() {
  if (!triples_exist() || !triple_PAVIN || !triple_ANTIN || !triple_AVOUT) return false;
  std::vector<std::pair<BBLK*, BBLK*>> edges;
  for (BBLK* p = cfg.bb_list; p; p = p->dflink) {
    if (!p->successors || !p->successors->next) continue;
    for (EDGE* e = p->successors; e; e = e->next) {
      BBLK* s = e->bb;
      if (!s->predecessors || !s->predecessors->next) continue;
      // Something partially available and anticipated at s that p doesn't
      // make available: the edge may need a computation.
      const BITVEC* pav = triple_PAVIN[s->dfn];
      const BITVEC* ant = triple_ANTIN[s->dfn];
      const BITVEC* avo = triple_AVOUT[p->dfn];
      bool useful = false;
      for (int w = 0; w < pav->nwords && !useful; ++w)
        useful = (pav->words[w] & ant->words[w] & ~avo->words[w] & ~triple_TRIVIAL->words[w]) != 0;
      if (useful) edges.emplace_back(p, s);
    }
  }
  for (auto& [p, s] : edges) {
    int from = p->dfn, to = s->dfn;
    split_cfg_edge(p, s);
    dprintf("\tinsert_useful_blocks: the critical edge BB %d -> BB %d gets a block\n", from, to);
  }
  return !edges.empty();
}
