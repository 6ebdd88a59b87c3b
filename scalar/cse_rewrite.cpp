// CSE marks become temporaries: a saving CSE_ORIG is `temp = expr`, a
// deleted one and each CSE_DUPE read `temp`, every other mark goes.
#include "scalar/cse_rewrite.h"

#include <functional>
#include <vector>

#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/triples.h"

namespace {

struct REWRITER {
  const CSE_REWRITE& rw;
  std::vector<NODE*> garbage;  // freed at the end: marks may still point into them
  int removed = 0;
  bool changed = false;

  NODE* temp_read(int id, NODE* like) {
    SYMTAB* t = triple_temp(id);
    NODE* n = mk_NAME(t, like ? like->scope : nullptr);
    return n;
  }

  void visit(NODE*& slot) {
    NODE* t = slot;
    if (!t) return;
    if (t->op == CSE_ORIG) {
      int id = static_cast<int>(t->value.as_int64());
      // A mark that only goes leaves the statement as it was.
      if (rw.deleted.count(t)) {
        changed = true;
        slot = temp_read(id, t);
        garbage.push_back(t);  // with its whole computation
        ++removed;
        return;
      }
      bool save = rw.save.count(t) != 0;
      NODE* child = t->left;
      t->left = nullptr;
      garbage.push_back(t);
      slot = child;
      visit(slot);
      if (save && slot) {
        changed = true;
        LS* scope = slot->scope;
        NODE* asg = mk_ASG(mk_NAME(triple_temp(id), scope), slot);
        asg->scope = scope;
        slot = asg;
      }
      return;
    }
    if (t->op == CSE_DUPE) {
      int id = static_cast<int>(t->value.as_int64());
      changed = true;
      t->left = nullptr;
      garbage.push_back(t);
      if (rw.recompute.count(t)) {
        slot = copy_triple_tree(id);
      } else {
        slot = temp_read(id, t);
        ++removed;
      }
      return;
    }
    if (t->left) visit(t->left);
    if (t->right) visit(t->right);
  }
};

}  // namespace

void save_sources_of_dupes(CSE_REWRITE& rw) {
  std::function<void(NODE*)> walk = [&](NODE* t) {
    for (; t; t = t->right) {
      if (t->op == CSE_DUPE) {
        if (!rw.recompute.count(t)) rw.save.insert(t->left);
        return;
      }
      walk(t->left);
    }
  };
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) walk(l->tree);
}

int rewrite_cse_marks(const CSE_REWRITE& rw) {
  REWRITER r{rw, {}, 0, false};
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) {
      if (!l->tree || !tree_has_cse_marks(l->tree)) continue;
      r.changed = false;
      r.visit(l->tree);
      if (r.changed && l->tree && l->tree->op != IF && l->tree->op != SWITCH) l->tree = simp_tree(l->tree);
      else if (r.changed && l->tree) l->tree->left = simp_tree(l->tree->left);
    }
  for (NODE* g : r.garbage) erase_tree(g);
  return r.removed;
}

void strip_cse_marks() {
  // A CSE_ORIG keeps its operand until the end: the CSE_DUPEs that repeat
  // it are copied from there.
  std::vector<NODE*> garbage;
  std::function<void(NODE*&)> visit = [&](NODE*& slot) {
    NODE* t = slot;
    if (!t) return;
    if (t->op == CSE_ORIG) {
      slot = t->left;
      garbage.push_back(t);
      visit(slot);
      return;
    }
    if (t->op == CSE_DUPE) {
      // The computation it repeats, as it was.
      slot = copy_tree_without_dupes(t->left);
      garbage.push_back(t);
      return;
    }
    if (t->left) visit(t->left);
    if (t->right) visit(t->right);
  };
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next)
      if (l->tree && tree_has_cse_marks(l->tree)) visit(l->tree);
  for (NODE* g : garbage) g->left = g->right = nullptr;
  for (NODE* g : garbage) erase_tree(g);
}
