// Checks of the loop hierarchy against the flow graph. Small slips (a level,
// a block whose `loop` was left null) are corrected and counted; the rest is
// reported.
#include <cstdio>
#include <cstdlib>
#include <set>

#include "driver/checking.h"
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"

bool loop_validate_always = false;

namespace {

struct COUNTS {
  int corrected = 0;
  int uncorrected = 0;
};

void check_one(struct LOOP* loop, FILE* f, const std::set<const BBLK*>& live, COUNTS& n) {
  fprintf(f, "===== Validating LOOP %d at level %d\n", loop->number, loop->level);
  bool root = loop == loop_root;
  if (root && loop->irreducible) {
    for (BBLK* b = cfg.bb_list; b; b = b->dflink)
      if (b->loop != loop) {
        fprintf(f, " +++++ %s in Loop%d should be in the irreducible loop0\n", b->str().c_str(),
                b->loop ? b->loop->number : 0);
        ++n.uncorrected;
      }
  }
  int want = loop->outer ? loop->outer->level + 1 : 0;
  if (loop->level != want) {
    fprintf(f, " ----- Loop %d has incorrect level (%d --> %d)\n", loop->number, loop->level, want);
    loop->level = want;
    ++n.corrected;
  }
  for (LOOPLIST* c = loop->inner; c; c = c->next) {
    struct LOOP* in = c->loop;
    if (in->outer != loop) {
      fprintf(f, " +++++ Loop %d inner loop %d has wrong parent: %d\n", loop->number, in->number,
              in->outer ? in->outer->number : 0);
      ++n.uncorrected;
    } else if (in->level != loop->level + 1) {
      fprintf(f, " ----- Loop %d has inner loop %d with wrong level\n", loop->number, in->number);
      in->level = loop->level + 1;
      ++n.corrected;
    }
  }
  bool head_seen = false, tail_seen = false;
  for (EDGE* e = loop->contents; e; e = e->next) {
    BBLK* b = e->bb;
    if (!b) {
      fprintf(f, " +++++ Loop %d contents includes a NULL bb\n", loop->number);
      ++n.uncorrected;
      continue;
    }
    if (!live.count(b)) {
      fprintf(f, " +++++ Deleted %s thinks it's in Loop %d\n", b->str().c_str(), loop->number);
      ++n.uncorrected;
      continue;
    }
    head_seen = head_seen || b == loop->head;
    tail_seen = tail_seen || b == loop->tail;
    if (!b->loop) {
      fprintf(f, " ----- Loop %d has body member %s with NULL <loop>\n", loop->number, b->str().c_str());
      b->loop = loop;
      ++n.corrected;
    } else if (!block_in_loop(b, loop)) {
      fprintf(f, " +++++ %s incorrectly thinks it's NOT in Loop %d\n", b->str().c_str(), loop->number);
      ++n.uncorrected;
    }
  }
  if (!loop->head || !head_seen || !live.count(loop->head)) {
    fprintf(f, " +++++ Loop %d head is missing or invalid\n", loop->number);
    ++n.uncorrected;
  }
  if (!root) {
    if (!loop->tail || !tail_seen || !live.count(loop->tail) || !edge_memberp(loop->head, loop->tail->successors)) {
      fprintf(f, " +++++ Loop %d tail is missing or invalid\n", loop->number);
      ++n.uncorrected;
    }
    if (loop->preheader && (!live.count(loop->preheader) || block_in_loop(loop->preheader, loop) ||
                            !edge_memberp(loop->head, loop->preheader->successors) ||
                            edge_length(loop->preheader->successors) != 1)) {
      fprintf(f, " +++++ Loop %d preheader is missing or invalid\n", loop->number);
      ++n.uncorrected;
    }
    if (loop->head) {
      bool improper = false;
      for (EDGE* p = loop->head->predecessors; p; p = p->next)
        if (block_in_loop(p->bb, loop) && p->bb != loop->tail) improper = true;
      if (improper) {
        fprintf(f, " +++++ Loop %d header has improper predecessors\n", loop->number);
        ++n.uncorrected;
      }
    }
    if (loop->tail && edge_length(loop->tail->successors) > 2) {
      fprintf(f, " +++++ Loop %d tail %s has too many successors\n", loop->number, loop->tail->str().c_str());
      ++n.uncorrected;
    }
  }
}

// Inner loops first, so that a block left without <loop> goes back to the
// innermost loop that holds it.
void check_tree(struct LOOP* loop, FILE* f, const std::set<const BBLK*>& live, COUNTS& n, int recurse) {
  if (recurse)
    for (LOOPLIST* c = loop->inner; c; c = c->next) check_tree(c->loop, f, live, n, recurse);
  check_one(loop, f, live, n);
}

}  // namespace

int validate_loop(struct LOOP* loop, int recurse) { return validate_loop_into(loop, recurse, fdebug ? fdebug : stderr); }

int validate_loop_into(struct LOOP* loop, int recurse, FILE* f) {
  if (!loop) return 0;
  std::set<const BBLK*> live;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) live.insert(b);
  // Every block of the graph must be somewhere in the hierarchy.
  COUNTS n;
  check_tree(loop, f, live, n, recurse);
  if (loop == loop_root) {
    for (BBLK* b = cfg.bb_list; b; b = b->dflink)
      if (!b->loop) {
        fprintf(f, " ----- Loop %d has body member %s with NULL <loop>\n", loop->number, b->str().c_str());
        b->loop = loop;
        ++n.corrected;
      }
  }
  fprintf(f, " ===== (%d,%d) Corrected errors: %d, Uncorrected errors: %d\n\n", loop->number, loop->level, n.corrected,
          n.uncorrected);
  if (n.uncorrected) fprintf(f, "\n\n +++++ %d Uncorrected LOOP errors!!!", n.uncorrected);
  return n.uncorrected;
}

void check_loops_after(const char* pass) {
  if (!loop_root) return;
  if (!loop_validate_always && !cfg_validate_always && !pass_debug("validate_loop") && !pass_debug("validate_cfg") &&
      !checking_mode())
    return;
  dprintf("~~~#VLOOP#1 after %s\n", pass);
  if (fdebug) {
    if (!validate_loop(loop_root, 1)) return;
  } else {
    // Without a debug log the report is kept for the error alone.
    char* text = nullptr;
    size_t size = 0;
    FILE* f = open_memstream(&text, &size);
    int errors = f ? validate_loop_into(loop_root, 1, f) : validate_loop_into(loop_root, 1, stderr);
    if (f) fclose(f);
    if (errors && text) fputs(text, stderr);
    free(text);
    if (!errors) return;
  }
  fprintf(stderr, "!!! Opt error in %s(): the loop hierarchy is broken !!!\n", pass);
  abort_optimizer();
}
