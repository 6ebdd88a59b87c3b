// Checking mode (--debug=check): after every pass of the order and of the
// pre-pass, the checkers below look at the current function. An error they
// cannot correct ends the run as an internal error naming the pass after
// which it was found; corrected errors are reported in the debug log.
#pragma once
#include <string>
#include <vector>

#include "scalar/check_report.h"

struct PASS_CALL;

bool checking_mode();

// A checker: runs on the current function when `applies` holds.
struct CHECKER {
  const char* name;
  bool (*applies)();
  void (*run)(CHECK_REPORT& report);
};
// The checkers in the order they run. To add one, add a line to the list in
// driver/checking.cpp: {"validate_loop", loops_exist, check_loops}.
std::vector<CHECKER>& checkers();

// Once pass `after` has run in a function, none of `ops` may appear in its
// trees until the function is written.
struct ABSENT_OPS_RULE {
  const char* after;
  std::vector<int> ops;
};
std::vector<ABSENT_OPS_RULE>& absent_ops_rules();

// Called, when set, before the run ends on an uncorrected error: the fuzz
// target makes it a crash, so that the fuzzer keeps the input.
extern void (*checking_failure_hook)();

// Forgets the passes that ran in the previous function.
void checking_begin_function();
// Runs the checkers after `c`; fatal on an uncorrected error.
void check_after_pass(const PASS_CALL& c);
// The same for a pass named by its text, `base` being its name without
// arguments (what absent-operator rules name).
void check_after_pass(const std::string& text, const std::string& base);
