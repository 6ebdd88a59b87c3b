// Consistency checks of the flow graph, with the corrections that are safe.
#include <cstdio>
#include <unordered_set>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/check_report.h"

namespace {

void label_targets(NODE* t, std::vector<BBLK*>& out) {
  if (!t) return;
  if (t->op == LABEL) {
    if (t->lbl) out.push_back(t->lbl->bb);
    return;
  }
  switch (t->op) {
    case IF:
    case SWITCH:
      label_targets(t->right, out);
      return;
    case BRANCH:
    case CBRANCH:
    case COLON:
    case COMMA:
    case CASE:
    case DEFAULT:
      label_targets(t->left, out);
      label_targets(t->right, out);
      return;
    default:
      return;
  }
}

}  // namespace

int cfg_errors_corrected = 0;
int cfg_errors_uncorrected = 0;
bool cfg_validate_always = false;

void check_cfg_after(const char* pass) {
  if (!cfg_validate_always && !pass_debug("validate_cfg")) return;
  dprintf("~~~#VCFG#1 after %s\n", pass);
  validate_cfg();
}

void validate_cfg(CHECK_REPORT& r) {
  r.print("\n\n ===== Validating this CFG\n");
  if (!cfg.bb_list) r.error(false, "currfuninfo->bb_list == NULL");
  std::unordered_set<const BBLK*> blocks;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) blocks.insert(b);
  BBLK* prev = nullptr;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    if (!b->statements) {
      r.error(false, "%s has no statement list", b->str().c_str());
    } else {
      NODE* last = last_stmt(b);
      if (!last || !is_transfer(last->op)) r.error(false, "%s has no ending branch", b->str().c_str());
    }
    if (b == cfg.bb_list && b->predecessors) r.error(false, "Entry block %s has predecessors", b->str().c_str());
    if (b->dflink && b->dflink->rdflink != b) r.error(false, "%s has improper <dflink>", b->str().c_str());
    if (b != cfg.bb_list && b->rdflink != prev) r.error(false, "%s has improper <rdflink>", b->str().c_str());
    for (EDGE* e = b->successors; e; e = e->next) {
      if (!blocks.count(e->bb)) {
        r.error(false, "%s has bogus successor: %s", b->str().c_str(), e->bb ? e->bb->str().c_str() : "(nil)");
      } else if (!edge_memberp(b, e->bb->predecessors)) {
        r.error(false, "%s succeeds %s but %s doesn't precede %s", e->bb->str().c_str(), b->str().c_str(),
                b->str().c_str(), e->bb->str().c_str());
      }
    }
    for (EDGE* e = b->predecessors; e; e = e->next)
      if (blocks.count(e->bb) && !edge_memberp(b, e->bb->successors))
        r.error(false, "%s precedes %s but %s doesn't succeed %s", e->bb->str().c_str(), b->str().c_str(),
                b->str().c_str(), e->bb->str().c_str());
    std::vector<BBLK*> targets;
    label_targets(last_stmt(b), targets);
    for (BBLK* t : targets)
      if (blocks.count(t) && !edge_memberp(t, b->successors)) {
        r.error(true, "%s's successors must include %s", b->str().c_str(), t->str().c_str());
        b->successors = add_edge(t, b->successors, -1.0);
        t->predecessors = add_edge(b, t->predecessors, -1.0);
      }
    prev = b;
  }
  // Reachability from the entry.
  std::unordered_set<const BBLK*> seen;
  std::vector<BBLK*> work;
  if (cfg.bb_list) work.push_back(cfg.bb_list);
  while (!work.empty()) {
    BBLK* b = work.back();
    work.pop_back();
    if (!seen.insert(b).second) continue;
    for (EDGE* e = b->successors; e; e = e->next)
      if (blocks.count(e->bb)) work.push_back(e->bb);
  }
  std::vector<BBLK*> unreachable;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (!seen.count(b)) {
      r.error(true, "%s cannot be reached from the entry block", b->str().c_str());
      unreachable.push_back(b);
    }
  for (BBLK* b : unreachable) {
    for (EDGE* e = b->successors; e; e = e->next) e->bb->predecessors = remove_edge(b, e->bb->predecessors);
    erase_tree_list(b->statements);
    b->statements = nullptr;
    delink_old_bb(b);
  }
  int corrected = static_cast<int>(r.corrected.size());
  int uncorrected = static_cast<int>(r.uncorrected.size());
  cfg_errors_corrected = corrected;
  cfg_errors_uncorrected = uncorrected;
  r.print(" ===== Corrected errors: %d, Uncorrected errors: %d\n\n", corrected, uncorrected);
  if (uncorrected) r.print("\n\n +++++ %d Uncorrected CFG errors!!!", uncorrected);
  else if (corrected) r.print("\n\n ----- %d Corrected CFG errors!!!", corrected);
}

void validate_cfg() {
  CHECK_REPORT r;
  validate_cfg(r);
  fputs(r.log.c_str(), fdebug ? fdebug : stderr);
}
