// The option objects of a run: the command line, and one object per option
// set of the input file with the command line applied on top. The driver
// defines them.
#pragma once
#include <vector>

#include "options/optobj.h"

extern option_obj* cmdline_options;
extern option_obj* file_options;  // entry 0 of all_option_sets
extern std::vector<option_obj*>& all_option_sets;
