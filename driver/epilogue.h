// The second half of a run: functions in processing order, then the global
// symbols and their initialisers.
#pragma once

void process_functions_in_order();
void write_global_epilogue();
