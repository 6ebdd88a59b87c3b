// lcse: local value numbering. Within each block a computation whose
// operands haven't changed since it was last computed reads a temporary
// that the first computation filled.
#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/bitvec.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/cse_rewrite.h"
#include "scalar/triples.h"
#include "scalar/deadasg.h"
#include "scalar/subrange.h"

void lcse() {
  dprintf("\n\n\t\t\t---------- ENTERING 'lcse' ----------\n");
  if (opt_level < 1 || !cfg.bb_list || pass_disable("lcse")) return;
  if (!build_triples(false)) {
    dprintf("\tNo triples worth a temporary.\n");
    return;
  }
  if (print_debug)
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      dprintf("\n   BB->DFN %d\n", b->dfn);
      dprintf("   ANTLOC:\t%s\n", triple_set_text(triple_ANTLOC[b->dfn]));
      dprintf("   AVLOC:\t%s\n", triple_set_text(triple_AVLOC[b->dfn]));
      dprintf("   ALTERED:\t%s\n", triple_set_text(triple_ALTERED[b->dfn]));
    }
  CSE_REWRITE rw;
  save_sources_of_dupes(rw);
  int removed = rewrite_cse_marks(rw);
  cse_expressions_removed += removed;
  dprintf("\tlcse: %d evaluations read a temporary\n", removed);
  free_triples();
  // Pieces of aggregates, once the marks are gone: the subrange pass reads
  // plain trees.
  lcse_subrange_assignments();
  elim_dead_assigns(0, 0);
}
