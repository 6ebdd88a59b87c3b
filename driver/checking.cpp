#include "driver/checking.h"

#include <cstdio>
#include <cstdlib>

#include "driver/globals.h"
#include "driver/pass_table.h"
#include "ir/opt_expr.h"
#include "options/keywords.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"
#include "scalar/validate_trees.h"

namespace {

bool graph_exists() { return cfg.bb_list != nullptr; }
bool function_exists() { return currfuninfo != nullptr; }

// Operators ruled out in the current function by the passes run so far.
ABSENT_OPS absent_now{};

void check_trees(CHECK_REPORT& r) { validate_trees(absent_now, r); }
void check_cfg(CHECK_REPORT& r) { validate_cfg(r); }

bool loops_exist() { return loop_root != nullptr && cfg.bb_list != nullptr; }
void check_loops(CHECK_REPORT& r) {
  char* text = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&text, &size);
  int errors = f ? validate_loop_into(loop_root, 1, f) : 0;
  if (f) fclose(f);
  if (text) r.log += text;
  free(text);
  if (errors) r.error(false, "the loop hierarchy has %d uncorrected errors", errors);
}

void note_pass_ran(const std::string& base) {
  for (const ABSENT_OPS_RULE& rule : absent_ops_rules())
    if (base == rule.after)
      for (int op : rule.ops)
        if (op >= 0 && op < 256 && !absent_now[op]) absent_now[op] = rule.after;
}

}  // namespace

void (*checking_failure_hook)() = nullptr;

bool checking_mode() { return kw::debug_check; }

std::vector<CHECKER>& checkers() {
  static std::vector<CHECKER> list = {
      {"validate_cfg", graph_exists, check_cfg},
      {"validate_trees", function_exists, check_trees},
      {"validate_loop", loops_exist, check_loops},
  };
  return list;
}

std::vector<ABSENT_OPS_RULE>& absent_ops_rules() {
  static std::vector<ABSENT_OPS_RULE> rules = {
      {"gcse", {CSE_ORIG, CSE_DUPE}},
  };
  return rules;
}

void checking_begin_function() { absent_now.fill(nullptr); }

void check_after_pass(const PASS_CALL& c) { check_after_pass(c.text(), c.name); }

void check_after_pass(const std::string& text, const std::string& base) {
  note_pass_ran(base);
  for (const CHECKER& k : checkers()) {
    if (!k.applies()) continue;
    CHECK_REPORT r;
    k.run(r);
    if (r.uncorrected.empty() && r.corrected.empty()) continue;
    if (print_debug && fdebug) {
      fprintf(fdebug, "~~~#CHECK#1 %s after %s:\n%s\n", k.name, text.c_str(), r.log.c_str());
      fflush(fdebug);
    }
    if (r.uncorrected.empty()) continue;
    fprintf(stderr, "!!! Opt error after %s: %s !!!\n", text.c_str(), r.uncorrected.front().c_str());
    if (print_debug && fdebug)
      fprintf(fdebug, "!!! Opt error after %s: %s !!!\n", text.c_str(), r.uncorrected.front().c_str());
    if (checking_failure_hook) checking_failure_hook();
    abort_optimizer();
  }
}
