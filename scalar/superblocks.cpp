// optimize_superblocks_in_cfg: a trace starts at the most frequent block
// not yet in one and grows along the most frequent edge, as long as the
// next block is not in a trace, lies in the same loop, and gets most of its
// count from this edge. Tail duplication of side entries is not done: a
// trace may keep a side entry, and SBLK::proper says so.
#include "scalar/superblocks.h"

#include <algorithm>
#include <memory>

#include "driver/globals.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simpcfg_rules.h"

namespace {

SBLK* traces = nullptr;
// The records of the traces, kept until the next function forms its own.
std::vector<std::unique_ptr<SBLK>> records;

bool has_profile() {
  if (function_profile_mode() != 2 || !cfg.bb_list) return false;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->dFreqIn < 0.0) return false;
  return true;
}

// The successor the block passes most of its count to, when that edge also
// brings the successor most of its own.
BBLK* likely_next(BBLK* bb) {
  EDGE* best = nullptr;
  for (EDGE* e = bb->successors; e; e = e->next)
    if (e->dFreq > 0.0 && (!best || e->dFreq > best->dFreq)) best = e;
  if (!best) return nullptr;
  BBLK* next = best->bb;
  if (next == cfg.bb_list || next->trace || next->loop != bb->loop) return nullptr;
  double in = 0.0;
  for (EDGE* p = next->predecessors; p; p = p->next)
    for (EDGE* s = p->bb->successors; s; s = s->next)
      if (s->bb == next && s->dFreq > 0.0) in += s->dFreq;
  return best->dFreq * 2 > in ? next : nullptr;
}

}  // namespace

bool SBLK::proper() const {
  for (size_t i = 1; i < blocks.size(); ++i)
    for (EDGE* p = blocks[i]->predecessors; p; p = p->next)
      if (p->bb != blocks[i - 1]) return false;
  return true;
}

void SBLK::print(bool verbose, FILE* stream) const {
  if (!stream) return;
  fprintf(stream, "SBLK #%u: is%s a proper superblock\n", number, proper() ? "" : " not");
  if (!verbose) return;
  for (BBLK* b : blocks) fprintf(stream, "\t%s (%.0f)\n", b->str().c_str(), b->dFreqIn);
}

SBLK* superblock_list() { return traces; }

void optimize_superblocks_in_cfg() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t------ ENTERING 'optimize_superblocks_in_cfg' ------\n");
  traces = nullptr;
  records.clear();
  if (pass_disable("superblock_opt") || !currfuninfo) return;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->trace) optassert_fail("bb->trace should be NULL", __FILE__, __LINE__);
  if (!has_profile()) return;
  renumber_bblocks();
  std::vector<BBLK*> order;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) order.push_back(b);
  std::stable_sort(order.begin(), order.end(), [](const BBLK* a, const BBLK* b) { return a->dFreqIn > b->dFreqIn; });
  SBLK** tail = &traces;
  unsigned number = 0;
  for (BBLK* seed : order) {
    if (seed->trace || seed->dFreqIn <= 0.0) continue;
    auto t = std::make_unique<SBLK>();
    for (BBLK* b = seed; b; b = likely_next(b)) {
      b->trace = t.get();
      t->blocks.push_back(b);
    }
    // A trace of one block changes nothing.
    if (t->blocks.size() < 2) {
      seed->trace = nullptr;
      continue;
    }
    t->number = ++number;
    if (print_debug && fdebug) t->print(true, fdebug);
    *tail = t.get();
    tail = &t->next;
    records.push_back(std::move(t));
  }
  // The most frequent edge first: the walk that lays blocks out follows it.
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    std::vector<EDGE*> edges;
    for (EDGE* e = b->successors; e; e = e->next) edges.push_back(e);
    std::stable_sort(edges.begin(), edges.end(), [](const EDGE* x, const EDGE* y) { return x->dFreq > y->dFreq; });
    EDGE* list = nullptr;
    for (auto it = edges.rbegin(); it != edges.rend(); ++it) {
      (*it)->next = list;
      list = *it;
    }
    b->successors = list;
  }
  renumber_bblocks();
}
