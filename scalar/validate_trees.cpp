#include "scalar/validate_trees.h"

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/check_report.h"

namespace {

// A report of thousands of lines helps nobody: the first errors say it.
constexpr size_t kMaxErrors = 50;

// Statement kinds and parts of transfers that carry no value.
bool needs_no_type(int op) {
  switch (op) {
    case NOP: case LABEL: case LABELDEF: case BRANCH: case CBRANCH: case IF: case SWITCH: case CASE:
    case DEFAULT: case ASM: case PPRAGMA: case SKIP: case ENDINIT: case BGNBLOCK: case ENDBLOCK:
      return true;
    default:
      return false;
  }
}

std::string op_text(int op) {
  const char* name = op >= 0 && op < 256 ? node_operator_name[op] : nullptr;
  return name ? name : "operator " + std::to_string(op);
}

// The label part of a transfer: the subtree whose LABELs name targets.
NODE* target_part(const NODE* t) {
  switch (t->op) {
    case IF: case SWITCH: case CBRANCH: return t->right;
    case BRANCH: return t->left;
    default: return nullptr;
  }
}

class TreeChecker {
 public:
  TreeChecker(const ABSENT_OPS& absent, CHECK_REPORT& r) : absent_(absent), r_(r) {}

  void check_function() {
    if (cfg.bb_list) {
      for (BBLK* b = cfg.bb_list; b; b = b->dflink) live_.insert(b);
      for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
        where_ = b->str();
        for (LIST* l = b->statements; l; l = l->next) {
          if (!l->tree) continue;
          if (l->next && is_transfer(l->tree->op))
            error("%s holds a transfer (%s) before its end", where_.c_str(), op_text(l->tree->op).c_str());
          check_statement(l->tree);
        }
      }
    } else if (currfuninfo) {
      for (LIST* l = currfuninfo->stmts; l; l = l->next)
        if (l->tree && l->tree->op == LABELDEF) defined_.insert(static_cast<int>(l->tree->value.as_int64()));
      int n = 0;
      for (LIST* l = currfuninfo->stmts; l; l = l->next) {
        where_ = "statement " + std::to_string(++n);
        if (l->tree) check_statement(l->tree);
      }
    }
    if (dropped_) r_.print(" +++++ ... and %zu more tree errors\n", dropped_);
  }

 private:
  template <typename... A>
  void error(const char* format, A... args) {
    if (r_.uncorrected.size() >= kMaxErrors) {
      ++dropped_;
      return;
    }
    r_.error(false, format, args...);
  }

  void check_statement(NODE* root) {
    NODE* targets = target_part(root);
    stack_.clear();
    stack_.emplace_back(root, false);
    while (!stack_.empty()) {
      NODE* t = stack_.back().first;
      bool in_targets = stack_.back().second;
      stack_.pop_back();
      check_node(t, in_targets);
      if (t->op == CSE_DUPE) continue;  // its operand is shared with the original
      if (t->right) stack_.emplace_back(t->right, in_targets || (t == root && t->right == targets));
      if (t->left) stack_.emplace_back(t->left, in_targets || (t == root && t->left == targets));
    }
  }

  void check_node(NODE* t, bool in_targets) {
    if (t->op < 0 || t->op > 255 || number_of_operands[t->op] == 255) {
      error("%s: unknown operator %d", where_.c_str(), static_cast<int>(t->op));
      return;
    }
    int want = number_of_operands[t->op];
    int have = (t->left ? 1 : 0) + (t->right ? 1 : 0);
    // A CSE mark wraps the one expression it marks; its triple number is
    // in its value, not in an operand.
    if (t->op == CSE_ORIG || t->op == CSE_DUPE) want = 1;
    if (have != want || (want == 1 && !t->left))
      error("%s: %s has %d operand%s, the operator table says %d", where_.c_str(), op_text(t->op).c_str(), have,
            have == 1 ? "" : "s", want);
    if (!t->type && !needs_no_type(t->op) && !(in_targets && t->op != ICON))
      error("%s: %s has no type", where_.c_str(), op_text(t->op).c_str());
    if (absent_[t->op]) error("%s: %s left after %s", where_.c_str(), op_text(t->op).c_str(), absent_[t->op]);
    if (t->op == LABEL && in_targets) check_label(t);
  }

  void check_label(const NODE* t) {
    if (cfg.bb_list) {
      if (!t->lbl) error("%s: a LABEL (%d) without its label record", where_.c_str(), static_cast<int>(t->label_id()));
      else if (!live_.count(t->lbl->bb))
        error("%s: LABEL %d names a block that is no longer in the flow graph", where_.c_str(), t->lbl->number);
    } else if (!defined_.count(static_cast<int>(t->value.as_int64()))) {
      error("%s: LABEL %d is not defined in the function", where_.c_str(), static_cast<int>(t->value.as_int64()));
    }
  }

  const ABSENT_OPS& absent_;
  CHECK_REPORT& r_;
  std::unordered_set<const BBLK*> live_;
  std::unordered_set<int> defined_;
  std::vector<std::pair<NODE*, bool>> stack_;
  std::string where_;
  size_t dropped_ = 0;
};

}  // namespace

void validate_trees(const ABSENT_OPS& absent, CHECK_REPORT& report) {
  report.print("\n\n ===== Validating the trees\n");
  TreeChecker(absent, report).check_function();
  report.print(" ===== Uncorrected errors: %zu\n\n", report.uncorrected.size());
}
