// The global sets of the triples: partially available, available and
// anticipated, each a fixed point swept over the blocks in dflink order (in
// reverse for the backward one), one word of 32 triples at a time.
#include "driver/globals.h"
#include "ir/bitvec.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/triples.h"

namespace {

BITVEC** fresh_array() {
  BITVEC** a = new BITVEC*[cfg.bb_count + 1]();
  for (int i = 0; i <= cfg.bb_count; ++i) a[i] = mkBITVEC(unique_triple_count, 0);
  return a;
}

void release(BITVEC**& a) {
  if (!a) return;
  for (int i = 0; i <= cfg.bb_count; ++i) erase_bitvec(a[i]);
  delete[] a;
  a = nullptr;
}

// The triples a temporary is worth for: the universe of the sets.
uint32_t universe_word(int w) {
  uint32_t u = ~triple_TRIVIAL->words[w];
  if (w == triple_TRIVIAL->nwords - 1 && (unique_triple_count & 31)) u &= (1u << (unique_triple_count & 31)) - 1;
  return u;
}

std::vector<BBLK*> blocks_in_order() {
  std::vector<BBLK*> v;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) v.push_back(b);
  return v;
}

}  // namespace

void compute_PAVIN() {
  if (!triples_exist()) return;
  release(triple_PAVIN);
  release(triple_PAVOUT);
  triple_PAVIN = fresh_array();
  triple_PAVOUT = fresh_array();
  int nw = triple_TRIVIAL->nwords;
  std::vector<BBLK*> order = blocks_in_order();
  for (BBLK* b : order) *triple_PAVOUT[b->dfn] = *triple_AVLOC[b->dfn];
  for (bool first = true, changed = true; changed; first = false) {
    if (!first) dprintf("\n\tNext iteration of global PAVIN/PAVOUT loop\n");
    changed = false;
    for (BBLK* b : order) {
      uint32_t* in = triple_PAVIN[b->dfn]->words;
      uint32_t* out = triple_PAVOUT[b->dfn]->words;
      const uint32_t* alt = triple_ALTERED[b->dfn]->words;
      const uint32_t* gen = triple_AVLOC[b->dfn]->words;
      for (int w = 0; w < nw; ++w) in[w] = 0;
      for (EDGE* e = b->predecessors; e; e = e->next) {
        const uint32_t* po = triple_PAVOUT[e->bb->dfn]->words;
        for (int w = 0; w < nw; ++w) in[w] |= po[w];
      }
      for (int w = 0; w < nw; ++w) {
        uint32_t n = ((in[w] & ~alt[w]) | gen[w]) & universe_word(w);
        if (n != out[w]) {
          out[w] = n;
          changed = true;
        }
      }
    }
  }
}

void compute_AVOUT() {
  if (!triples_exist()) return;
  release(triple_AVIN);
  release(triple_AVOUT);
  triple_AVIN = fresh_array();
  triple_AVOUT = fresh_array();
  int nw = triple_TRIVIAL->nwords;
  std::vector<BBLK*> order = blocks_in_order();
  // The greatest fixed point: everything is available until a path says not.
  for (BBLK* b : order)
    for (int w = 0; w < nw; ++w)
      triple_AVOUT[b->dfn]->words[w] = b == cfg.bb_list ? triple_AVLOC[b->dfn]->words[w] : universe_word(w);
  for (bool first = true, changed = true; changed; first = false) {
    if (!first) dprintf("\n\tNext iteration of global AVIN/AVOUT loop\n");
    changed = false;
    for (BBLK* b : order) {
      uint32_t* in = triple_AVIN[b->dfn]->words;
      uint32_t* out = triple_AVOUT[b->dfn]->words;
      const uint32_t* alt = triple_ALTERED[b->dfn]->words;
      const uint32_t* gen = triple_AVLOC[b->dfn]->words;
      bool any_pred = false;
      for (int w = 0; w < nw; ++w) in[w] = b == cfg.bb_list ? 0 : universe_word(w);
      for (EDGE* e = b->predecessors; e; e = e->next) {
        any_pred = true;
        const uint32_t* po = triple_AVOUT[e->bb->dfn]->words;
        for (int w = 0; w < nw; ++w) in[w] &= po[w];
      }
      if (!any_pred)
        for (int w = 0; w < nw; ++w) in[w] = 0;
      for (int w = 0; w < nw; ++w) {
        uint32_t n = ((in[w] & ~alt[w]) | gen[w]) & universe_word(w);
        if (n != out[w]) {
          out[w] = n;
          changed = true;
        }
      }
    }
  }
}

void compute_ANTIN() {
  if (!triples_exist()) return;
  release(triple_ANTIN);
  release(triple_ANTOUT);
  triple_ANTIN = fresh_array();
  triple_ANTOUT = fresh_array();
  int nw = triple_TRIVIAL->nwords;
  std::vector<BBLK*> order = blocks_in_order();
  for (BBLK* b : order)
    for (int w = 0; w < nw; ++w) triple_ANTIN[b->dfn]->words[w] = universe_word(w);
  for (bool first = true, changed = true; changed; first = false) {
    if (!first) dprintf("\n\tNext iteration of global ANTIN/ANTOUT loop\n");
    changed = false;
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
      BBLK* b = *it;
      uint32_t* in = triple_ANTIN[b->dfn]->words;
      uint32_t* out = triple_ANTOUT[b->dfn]->words;
      const uint32_t* block = block_cse[b->dfn].antblock->words;
      const uint32_t* gen = triple_ANTLOC[b->dfn]->words;
      for (int w = 0; w < nw; ++w) out[w] = b->successors ? universe_word(w) : 0;
      for (EDGE* e = b->successors; e; e = e->next) {
        const uint32_t* si = triple_ANTIN[e->bb->dfn]->words;
        for (int w = 0; w < nw; ++w) out[w] &= si[w];
      }
      for (int w = 0; w < nw; ++w) {
        uint32_t n = (gen[w] | (out[w] & ~block[w])) & universe_word(w);
        if (n != in[w]) {
          in[w] = n;
          changed = true;
        }
      }
    }
  }
}
