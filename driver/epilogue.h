// The second half of a run: functions in processing order, then the global
// symbols and their initialisers.
#pragma once
#include <functional>
#include <vector>

struct FUNLIST;

void process_functions_in_order();
// The sweeps behind the first: each function still wanted (not processed;
// not suppressed, or suppressed but needed) goes to do_one, until a sweep
// writes nothing new.
void run_unsuppress_sweeps(const std::vector<FUNLIST*>& order, const std::function<void(FUNLIST*)>& do_one);
void write_global_epilogue();
