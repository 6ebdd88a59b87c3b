// Annotates the flow graph for gcse: the triples, each block's local sets,
// and the global ones. Critical edges where a computation may have to go
// are split first; the sets are then built on the final graph.
#include "driver/globals.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/triples.h"

namespace {

void compute_global_sets() {
  compute_PAVIN();
  compute_ANTIN();
  compute_AVOUT();
}

}  // namespace

void annotate_cfg() {
  dprintf("\n\n\t\t\t---------- ENTERING 'annotate_cfg' ----------\n");
  if (opt_level < 1 || !cfg.bb_list || pass_disable("gcse")) return;  // its marks serve gcse alone
  if (!build_triples(true)) {
    dprintf("\tNo triples worth a temporary.\n");
    return;
  }
  compute_global_sets();
  if (!insert_useful_blocks()) return;
  // The new blocks change the numbering: the sets are made again.
  strip_cse_marks();
  free_triples();
  rebuildcfg();
  if (!build_triples(true)) return;
  compute_global_sets();
}
