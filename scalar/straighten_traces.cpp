// straighten_traces_in_cfg: each trace becomes one run of blocks in the
// layout, at the place of its head. Passes between the two superblock
// passes may have changed the graph: a trace whose blocks no longer follow
// one another is dropped, the layout of the rest is as before.
#include <unordered_set>

#include "driver/globals.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/superblocks.h"

namespace {

bool still_a_path(const SBLK* t, const std::unordered_set<BBLK*>& live) {
  for (size_t i = 0; i < t->blocks.size(); ++i) {
    if (!live.count(t->blocks[i]) || t->blocks[i]->trace != t) return false;
    if (i && !edge_memberp(t->blocks[i], t->blocks[i - 1]->successors)) return false;
  }
  return true;
}

}  // namespace

void straighten_traces_in_cfg() {
  if (!currfuninfo || !cfg.bb_list) return;
  std::unordered_set<BBLK*> live;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) live.insert(b);
  std::unordered_set<const SBLK*> kept;
  if (!pass_disable("trace_straighten"))
    for (SBLK* t = superblock_list(); t; t = t->next)
      if (still_a_path(t, live)) kept.insert(t);
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->trace && !kept.count(b->trace)) {
      bool listed = false;
      for (SBLK* t = superblock_list(); t && !listed; t = t->next) listed = t == b->trace;
      if (!listed) optassert_fail("Trace is not marked as a superblock", __FILE__, __LINE__);
    }
  if (!kept.empty()) {
    std::vector<BBLK*> layout;
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      if (b->trace && kept.count(b->trace)) {
        if (b != b->trace->blocks.front()) continue;
        for (BBLK* m : b->trace->blocks) layout.push_back(m);
      } else {
        layout.push_back(b);
      }
    }
    for (size_t i = 0; i < layout.size(); ++i) layout[i]->dflink = i + 1 < layout.size() ? layout[i + 1] : nullptr;
    cfg.bb_list = layout.front();
    renumber_bblocks();
    for (const SBLK* t : kept)
      for (size_t i = 1; i < t->blocks.size(); ++i)
        if (t->blocks[i - 1]->dflink != t->blocks[i])
          optassert_fail("Trace should follow trace->next in order", __FILE__, __LINE__);
  }
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) b->trace = nullptr;
}
