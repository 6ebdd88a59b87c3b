// The global flags the passes read. They are filled from option objects by
// set_global_flags and saved and restored around per-function overrides.
#pragma once

class option_obj;
struct FUNINFO;

// Flags with a default that reset_global_flags stores, and an option id
// that set_global_flags reads (docs/options.md has the table).
extern int opt_level;                  // 0 to 4
extern int auto_inline;                // automatic inlining size limit
extern int inline_single;
extern int optimize_code_size;         // -1: not given
extern int size_speed_goal;            // 0 favours size ... 5 speed
extern int program_mode;               // -1: none
extern int alias_vars;
extern int dwim_aliases;
extern int dwim_loops;
extern int chars_alias_other_types;
extern int pointer_args_are_disjoint;
extern int loop_increments_are_not_zero;
extern int memory_is_big_endian;
extern int strict_fp;
extern int fp_add_is_associative;
extern int saturating_add_is_associative;
extern int far_externs;
extern int kr_flag;
extern int pass_args_in_regs;
extern int quiet_mode;
extern int source_interlist;
extern int remove_hooks_when_inlining;  // no default
extern int interrupt_threshold;
extern int max_unrolled_loop_size;
extern int code_is_reentrant;
extern int cache_sys_funinfo;
extern int unsigned_ok_for_RPTB;
extern int old_const_pointer_behavior;
extern int use_g2;
extern int use_llvm;                    // no default
extern int volit_vars;
extern int dump_ocg_in_GDL;
extern int enable_kv5_RPTK;
extern int XDEV_Si;
extern int data_align;
extern int memory_model;
extern int mini_mult;
extern int apply_symbolic_methods;
extern int unsigned_index_wraps;
extern int use_kv0_B_regs;
extern int use_fp_coprocessor;
extern unsigned char aux_cmd_flag[10];

// Set by target code; saved and restored with the others.
extern int code_state;
extern int thumb_2_mode;
extern int arm_neon;
extern int float_support;
extern int rtc_unified_memory;
extern int rtc_no_rpt_ins;
extern int rtc_rpt_threshold;
extern int use_block_repeat;

// Set by the driver from the options and keywords.
extern int do_MDF_vectorization;
extern int inhibit_clustering;
extern bool debug_zalloc;
extern bool debug_allochist;

// Stores the defaults of the flags that have one.
void reset_global_flags();
// The built-in defaults of a run: reset_global_flags and the auxiliary flags
// cleared. open_files calls it before applying the file-level options.
void assign_default_global_flags();
// Applies the options seen in `options`, in the order of first sighting.
// An invalid enumerator of --opt_level or --size_speed_goal ends the run
// through abort_optimizer.
void set_global_flags(const option_obj* options);
void save_global_flags();
void restore_global_flags();
// Applies the option words of `text` (words that begin with '-') over the
// base levels; other words are skipped.
void set_override_options(const char* text);
// As set_override_options, and the result becomes the saved state, so that
// it holds for every later function.
void save_global_overrides(const char* text);
// A file-level pragma text that begins with '$' carries options: applies
// them with save_global_overrides and returns true; any other text, false.
bool apply_file_option_pragma(const char* text);
// The options of one function, at cl_begin_func: its FUNINFO override text,
// else its option set when that is not 0. `option_set` is the symbol's.
void apply_function_options(const FUNINFO* funinfo, unsigned option_set);

// Debug keyword predicates over the "debug:", "enable:" and "disable:" keys:
// the stored value, 0 when the key was never set.
int pass_debug(const char* name);
int pass_enable(const char* name);
int pass_disable(const char* name);

// Debug trace line to fdebug when print_debug is set, flushed at once.
void dprintf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
