// The per-function pipeline: the fixed order of passes and the wrapper that
// reads, optimises and writes one function.
#pragma once
#include <cstdio>
#include <string>
#include <vector>

struct FUNLIST;
struct STEP;

void do_one_function(FUNLIST* element);
void do_the_current_function();
// The pre-pass pipeline run at the end of each function of the first reading.
void run_prepass_pipeline();

// The two orders, resolved against the pass registry; the first use resolves
// them and ends the run with an internal error if any name does not resolve.
const std::vector<STEP>& function_steps();
const std::vector<STEP>& prepass_steps();
// Resolves both orders now, so that a name that does not resolve stops the
// run at start-up rather than when a function reaches it.
void resolve_pass_order();
// What does not resolve, one line each; empty when all is well.
std::vector<std::string> pass_table_problems();
// Lists both orders with the state of each pass (--debug=passes).
void print_pass_order(FILE* out);

// A pass that is built in part names what it leaves out in the debug log.
void note_not_built(const std::string& what);

// Step 3 (driver/hidden_result_rewrite.cpp).
void hidden_result_rewrite();
