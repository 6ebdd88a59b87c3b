// The global flags the passes read. They are filled from option objects by
// set_global_flags and saved and restored around per-function overrides.
#pragma once

extern int opt_level;
extern int size_speed_goal;
extern int optimize_code_size;
extern int strict_fp;
extern int quiet_mode;
extern int volit_vars;
extern int do_MDF_vectorization;
extern int inhibit_clustering;
extern int chars_alias_other_types;
extern int source_interlist;
extern bool debug_zalloc;
extern bool debug_allochist;

// Debug keyword predicates over the "debug:", "enable:" and "disable:" keys.
bool pass_debug(const char* name);
bool pass_enable(const char* name);
bool pass_disable(const char* name);

// Debug trace line to fdebug when print_debug is set.
void dprintf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
