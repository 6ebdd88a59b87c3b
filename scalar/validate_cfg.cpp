// Consistency checks of the flow graph, with the corrections that are safe.
#include <set>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"

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

void validate_cfg() {
  FILE* f = fdebug ? fdebug : stderr;
  int corrected = 0, uncorrected = 0;
  fprintf(f, "\n\n ===== Validating this CFG\n");
  if (!cfg.bb_list) {
    fprintf(f, " +++++ currfuninfo->bb_list == NULL\n");
    ++uncorrected;
  }
  std::set<BBLK*> blocks;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) blocks.insert(b);
  BBLK* prev = nullptr;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    if (!b->statements) {
      fprintf(f, " +++++ %s has no statement list\n", b->str().c_str());
      ++uncorrected;
    } else {
      NODE* last = last_stmt(b);
      if (!last || !is_transfer(last->op)) {
        fprintf(f, " +++++ %s has no ending branch\n", b->str().c_str());
        ++uncorrected;
      }
    }
    if (b == cfg.bb_list && b->predecessors) {
      fprintf(f, " +++++ Entry block %s has predecessors\n", b->str().c_str());
      ++uncorrected;
    }
    if (b->dflink && b->dflink->rdflink != b) {
      fprintf(f, " +++++ %s has improper <dflink>\n", b->str().c_str());
      ++uncorrected;
    }
    if (b != cfg.bb_list && b->rdflink != prev) {
      fprintf(f, " +++++ %s has improper <rdflink>\n", b->str().c_str());
      ++uncorrected;
    }
    for (EDGE* e = b->successors; e; e = e->next) {
      if (!blocks.count(e->bb)) {
        fprintf(f, " +++++ %s has bogus successor: %s\n", b->str().c_str(), e->bb ? e->bb->str().c_str() : "(nil)");
        ++uncorrected;
      } else if (!edge_memberp(b, e->bb->predecessors)) {
        fprintf(f, " +++++ %s succeeds %s but %s doesn't precede %s\n", e->bb->str().c_str(), b->str().c_str(),
                b->str().c_str(), e->bb->str().c_str());
        ++uncorrected;
      }
    }
    for (EDGE* e = b->predecessors; e; e = e->next)
      if (blocks.count(e->bb) && !edge_memberp(b, e->bb->successors)) {
        fprintf(f, " +++++ %s precedes %s but %s doesn't succeed %s\n", e->bb->str().c_str(), b->str().c_str(),
                b->str().c_str(), e->bb->str().c_str());
        ++uncorrected;
      }
    std::vector<BBLK*> targets;
    label_targets(last_stmt(b), targets);
    for (BBLK* t : targets)
      if (blocks.count(t) && !edge_memberp(t, b->successors)) {
        fprintf(f, " ----- %s's successors must include %s\n", b->str().c_str(), t->str().c_str());
        b->successors = add_edge(t, b->successors, -1.0);
        t->predecessors = add_edge(b, t->predecessors, -1.0);
        ++corrected;
      }
    prev = b;
  }
  // Reachability from the entry.
  std::set<BBLK*> seen;
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
      fprintf(f, " ----- %s cannot be reached from the entry block\n", b->str().c_str());
      unreachable.push_back(b);
      ++corrected;
    }
  for (BBLK* b : unreachable) {
    for (EDGE* e = b->successors; e; e = e->next) e->bb->predecessors = remove_edge(b, e->bb->predecessors);
    erase_tree_list(b->statements);
    b->statements = nullptr;
    delink_old_bb(b);
  }
  cfg_errors_corrected = corrected;
  cfg_errors_uncorrected = uncorrected;
  fprintf(f, " ===== Corrected errors: %d, Uncorrected errors: %d\n\n", corrected, uncorrected);
  if (uncorrected) fprintf(f, "\n\n +++++ %d Uncorrected CFG errors!!!", uncorrected);
  else if (corrected) fprintf(f, "\n\n ----- %d Corrected CFG errors!!!", corrected);
}
