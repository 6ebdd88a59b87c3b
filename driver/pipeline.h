// The per-function pipeline: the fixed order of passes and the wrapper that
// reads, optimises and writes one function.
#pragma once
#include <string>
#include <vector>

struct FUNLIST;

void do_one_function(FUNLIST* element);
void do_the_current_function();
// The pre-pass pipeline run at the end of each function of the first reading.
void run_prepass_pipeline();

// Passes of the fixed order that are not built yet. The pipeline names them
// in the debug log instead of running them.
const std::vector<std::string>& passes_not_built_yet();
// Every pass name the fixed order mentions, in order, for checks.
std::vector<std::string> pipeline_pass_names();
bool pass_is_built(const std::string& name);
// A pass that is built in part names what it leaves out in the debug log.
void note_not_built(const std::string& what);
