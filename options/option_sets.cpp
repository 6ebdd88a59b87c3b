#include "options/option_sets.h"

option_obj* cmdline_options = nullptr;
option_obj* file_options = nullptr;
std::vector<option_obj*> all_option_sets;
