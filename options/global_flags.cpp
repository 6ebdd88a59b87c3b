// The global flags: defaults, filling from an option object, and the one
// saved state that per-function and per-file overrides return to.
#include "options/global_flags.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "driver/globals.h"
#include "ir/symbol.h"
#include "options/option_sets.h"
#include "options/optobj.h"
#include "options/register_option.h"

int opt_level = 1;
int auto_inline = 1;
int inline_single = 0;
int optimize_code_size = -1;
int size_speed_goal = 4;
int program_mode = -1;
int alias_vars = 0;
int dwim_aliases = 0;
int dwim_loops = 0;
int chars_alias_other_types = 1;
int pointer_args_are_disjoint = 0;
int loop_increments_are_not_zero = 0;
int memory_is_big_endian = 0;
int strict_fp = 1;
int fp_add_is_associative = 1;
int saturating_add_is_associative = 0;
int far_externs = 0;
int kr_flag = 0;
int pass_args_in_regs = 0;
int quiet_mode = 0;
int source_interlist = 0;
int remove_hooks_when_inlining = 0;
int interrupt_threshold = 0;
int max_unrolled_loop_size = 195;
int code_is_reentrant = 1;
int cache_sys_funinfo = 2;
int unsigned_ok_for_RPTB = 0;
int old_const_pointer_behavior = 0;
int use_g2 = 0;
int use_llvm = 0;
int volit_vars = 0;
int dump_ocg_in_GDL = 0;
int enable_kv5_RPTK = 1;
int XDEV_Si = 0;
int data_align = 0;
int memory_model = 0;
int mini_mult = 0;
int apply_symbolic_methods = 0;
int unsigned_index_wraps = 1;
int use_kv0_B_regs = 1;
int use_fp_coprocessor = 0;
unsigned char aux_cmd_flag[10];

int code_state = 0;
int thumb_2_mode = 0;
int arm_neon = 0;
int float_support = 0;
int rtc_unified_memory = 0;
int rtc_no_rpt_ins = 0;
int rtc_rpt_threshold = 0;
int use_block_repeat = 0;

int do_MDF_vectorization = 0;
int inhibit_clustering = 0;
bool debug_zalloc = false;
bool debug_allochist = false;

// Every flag that save and restore carry, in the order of the flag table,
// then those of target code.
#define SAVED_FLAGS(X)                                                                    \
  X(opt_level) X(auto_inline) X(inline_single) X(optimize_code_size) X(size_speed_goal)   \
  X(program_mode) X(alias_vars) X(dwim_aliases) X(dwim_loops) X(chars_alias_other_types)  \
  X(pointer_args_are_disjoint) X(loop_increments_are_not_zero) X(memory_is_big_endian)    \
  X(strict_fp) X(fp_add_is_associative) X(saturating_add_is_associative) X(far_externs)   \
  X(kr_flag) X(pass_args_in_regs) X(quiet_mode) X(source_interlist)                       \
  X(remove_hooks_when_inlining) X(interrupt_threshold) X(max_unrolled_loop_size)          \
  X(code_is_reentrant) X(cache_sys_funinfo) X(unsigned_ok_for_RPTB)                       \
  X(old_const_pointer_behavior) X(use_g2) X(use_llvm) X(volit_vars) X(dump_ocg_in_GDL)    \
  X(enable_kv5_RPTK) X(XDEV_Si) X(data_align) X(memory_model) X(mini_mult)                \
  X(apply_symbolic_methods) X(unsigned_index_wraps) X(use_kv0_B_regs)                     \
  X(use_fp_coprocessor) X(code_state) X(thumb_2_mode) X(arm_neon) X(float_support)        \
  X(rtc_unified_memory) X(rtc_no_rpt_ins) X(rtc_rpt_threshold) X(use_block_repeat)

namespace {

struct saved_flags {
#define FIELD(name) int name;
  SAVED_FLAGS(FIELD)
#undef FIELD
  unsigned char aux[10];
};

saved_flags saved_option;
bool saved_once = false;

using O = option_obj;

void trace_levels() {
  if (!print_debug || !fdebug) return;
  fprintf(fdebug, " --> -o%d -i%d", opt_level, auto_inline);
  if (optimize_code_size >= 0) fprintf(fdebug, " -Z%d", optimize_code_size);
  fprintf(fdebug, " --opt_for_speed=%d", size_speed_goal);
}

void set_opt_level(long value) {
  switch (value) {
    case O::OO_OPT_LEVEL_0: case O::OO_OPT_LEVEL_OFF: opt_level = 0; break;
    case O::OO_OPT_LEVEL_1: opt_level = 1; break;
    case O::OO_OPT_LEVEL_2: opt_level = 2; break;
    case O::OO_OPT_LEVEL_3: opt_level = 3; break;
    case O::OO_OPT_LEVEL_4: opt_level = 4; break;
    default:
      fprintf(stderr, "--opt_level given invalid value: %ld\n", value);
      abort_optimizer();
  }
}

// Not monotonic: each enumerator gives the goal its word names.
void set_size_speed_goal(long value) {
  switch (value) {
    case O::OO_SIZE_SPEED_GOAL_5: size_speed_goal = 5; break;
    case O::OO_SIZE_SPEED_GOAL_0: size_speed_goal = 0; break;
    case O::OO_SIZE_SPEED_GOAL_3: size_speed_goal = 3; break;
    case O::OO_SIZE_SPEED_GOAL_2: size_speed_goal = 2; break;
    case O::OO_SIZE_SPEED_GOAL_4: size_speed_goal = 4; break;
    case O::OO_SIZE_SPEED_GOAL_1: size_speed_goal = 1; break;
    default:
      fprintf(stderr, "--size_speed_goal given invalid value:  %ld\n", value);
      abort_optimizer();
  }
}

void set_aux_flags(const option_obj* options) {
  bool digits_allowed = options->parsed_option(O::OPT_PRIVATE_FLAGS);
  for (unsigned n = 0; n < options->getargcount(O::OPT_AUX_FLAGS); ++n) {
    const char* text = options->getstrarg(O::OPT_AUX_FLAGS, n);
    if (!text) continue;
    if (isdigit(static_cast<unsigned char>(text[0]))) {
      if (digits_allowed) aux_cmd_flag[text[0] - '0'] = 1;
    } else {
      XDEV_Si = 1;
    }
  }
}

void set_keywords(const option_obj* options, O::option_id id, const char* prefix) {
  for (unsigned n = 0; n < options->getargcount(id); ++n)
    process_debug_option(prefix, options->getstrarg(id, n));
}

}  // namespace

void reset_global_flags() {
  opt_level = 1;
  auto_inline = 1;
  inline_single = 0;
  optimize_code_size = -1;
  size_speed_goal = 4;
  program_mode = -1;
  alias_vars = 0;
  dwim_aliases = 0;
  dwim_loops = 0;
  chars_alias_other_types = 1;
  pointer_args_are_disjoint = 0;
  loop_increments_are_not_zero = 0;
  memory_is_big_endian = 0;
  strict_fp = 1;
  fp_add_is_associative = 1;
  saturating_add_is_associative = 0;
  far_externs = 0;
  kr_flag = 0;
  pass_args_in_regs = 0;
  quiet_mode = 0;
  source_interlist = 0;
  interrupt_threshold = 0;
  max_unrolled_loop_size = 195;
  code_is_reentrant = 1;
  cache_sys_funinfo = 2;
  unsigned_ok_for_RPTB = 0;
  old_const_pointer_behavior = 0;
  use_g2 = 0;
  volit_vars = 0;
  dump_ocg_in_GDL = 0;
  enable_kv5_RPTK = 1;
  XDEV_Si = 0;
  data_align = 0;
  memory_model = 0;
  mini_mult = 0;
  apply_symbolic_methods = 0;
  unsigned_index_wraps = 1;
  use_kv0_B_regs = 1;
  use_fp_coprocessor = 0;
  memset(aux_cmd_flag, 0, sizeof aux_cmd_flag);
}

void assign_default_global_flags() {
  reset_global_flags();
  memset(aux_cmd_flag, 0, sizeof aux_cmd_flag);
}

void set_global_flags(const option_obj* options) {
  if (!options) return;
  O::export_option_list_type pairs;
  options->export_option_pairs(pairs);
  for (auto& pair : pairs) {
    O::option_id id = pair.first;
    long value = options->getnumarg(id, 0);
    switch (id) {
      case O::OPT_ALIASED_VARIABLES: alias_vars = 1; break;
      case O::OPT_AUTO_INLINE: auto_inline = static_cast<int>(value); break;
      case O::OPT_AUX_FLAGS: set_aux_flags(options); break;
      case O::OPT_BIG_ENDIAN: memory_is_big_endian = 1; break;
      case O::OPT_PROGRAM_MODE: program_mode = static_cast<int>(value); break;
      case O::OPT_DEBUG_KEYWORDS: set_keywords(options, id, "debug"); break;
      case O::OPT_DISABLE_KEYWORDS: set_keywords(options, id, "disable"); break;
      case O::OPT_DISABLE_RPTK: enable_kv5_RPTK = 0; break;
      case O::OPT_DUMP_OCG_GDL: dump_ocg_in_GDL = 1; break;
      case O::OPT_DWIM_LOOPS: dwim_loops = 1; break;
      case O::OPT_ENABLE_KEYWORDS: set_keywords(options, id, "enable"); break;
      case O::OPT_ENDIAN: memory_is_big_endian = value == O::OO_ENDIAN_BIG; break;
      case O::OPT_FAR_EXTERNS: far_externs = 1; break;
      case O::OPT_FP_MODE:
        if (value == O::OO_FP_MODE_STRICT) strict_fp = 1;
        if (value == O::OO_FP_MODE_RELAXED) strict_fp = 0;
        break;
      case O::OPT_FP_REASSOC:
        if (value == O::OO_FP_REASSOC_OFF) fp_add_is_associative = 0;
        if (value == O::OO_FP_REASSOC_ON) fp_add_is_associative = 1;
        break;
      case O::OPT_INTERRUPT_THRESHOLD: interrupt_threshold = static_cast<int>(value); break;
      case O::OPT_KR_COMPATIBLE: kr_flag = 1; break;
      case O::OPT_MAX_UNROLL_SIZE: max_unrolled_loop_size = static_cast<int>(value); break;
      case O::OPT_NO_BAD_ALIASES: dwim_aliases = 1; dwim_loops = 1; break;
      case O::OPT_NON_REENTRANT: code_is_reentrant = 0; break;
      case O::OPT_OPT_FOR_SPACE: optimize_code_size = static_cast<int>(value); break;
      case O::OPT_OPT_LEVEL: set_opt_level(value); break;
      case O::OPT_OPTIMIZER_INTERLIST: source_interlist = 1; break;
      case O::OPT_PASS_ARGS_IN_REGS: pass_args_in_regs = 1; break;
      case O::OPT_QUIET: quiet_mode = 1; break;
      case O::OPT_REMOVE_HOOKS_WHEN_INLINING: remove_hooks_when_inlining = 1; break;
      case O::OPT_SAT_REASSOC:
        if (value == O::OO_SAT_REASSOC_OFF) saturating_add_is_associative = 0;
        if (value == O::OO_SAT_REASSOC_ON) saturating_add_is_associative = 1;
        break;
      case O::OPT_SINGLE_INLINE: inline_single = 1; break;
      case O::OPT_SIZE_SPEED_GOAL: set_size_speed_goal(value); break;
      case O::OPT_STD_LIB_FUNC_DEFINED: cache_sys_funinfo = 1; break;
      case O::OPT_STD_LIB_FUNC_NOT_DEFINED: cache_sys_funinfo = 2; break;
      case O::OPT_STD_LIB_FUNC_REDEFINED: cache_sys_funinfo = 0; break;
      case O::OPT_UNSIGNED_RPT_COUNT: unsigned_ok_for_RPTB = 1; break;
      case O::OPT_OLD_CONST_POINTERS: old_const_pointer_behavior = 1; break;
      case O::OPT_USE_G2: use_g2 = 1; break;
      case O::OPT_USE_G3: use_g2 = 0; break;
      case O::OPT_USE_LLVM: use_llvm = 1; break;
      case O::OPT_VOLATILE: volit_vars = 1; break;
      default: break;  // options the driver reads, or of other tools
    }
  }
}

void save_global_flags() {
#define SAVE(name) saved_option.name = name;
  SAVED_FLAGS(SAVE)
#undef SAVE
  memcpy(saved_option.aux, aux_cmd_flag, sizeof aux_cmd_flag);
  saved_once = true;
}

void restore_global_flags() {
  if (!saved_once) return;  // nothing saved yet: the flags stand
#define RESTORE(name) name = saved_option.name;
  SAVED_FLAGS(RESTORE)
#undef RESTORE
  memcpy(aux_cmd_flag, saved_option.aux, sizeof aux_cmd_flag);
  if (print_debug && fdebug) {
    fprintf(fdebug, "[Restoring options");
    trace_levels();
    fprintf(fdebug, "]\n");
  }
}

void set_override_options(const char* text) {
  option_obj options(true);
  opt_level = 1;
  optimize_code_size = -1;
  size_speed_goal = 4;
  auto_inline = 1;
  if (print_debug && fdebug) fprintf(fdebug, "[Overriding options to be \"%s\"", text ? text : "");
  std::string copy = text ? text : "";
  char* cursor = &copy[0];
  for (char* word; (word = strsep(&cursor, " ")) != nullptr;)
    if (word[0] == '-') options.process_option(word + 1, nullptr);
  set_global_flags(&options);
  if (opt_level < 1) inhibit_clustering = 1;
  trace_levels();
  if (print_debug && fdebug) fprintf(fdebug, "]\n");
}

void save_global_overrides(const char* text) {
  if (print_debug && fdebug) fprintf(fdebug, "[Global override:  %s]\n", text ? text : "");
  set_override_options(text);
  save_global_flags();
}

bool apply_file_option_pragma(const char* text) {
  if (!text || text[0] != '$') return false;
  save_global_overrides(text + 1);
  return true;
}

void apply_function_options(const FUNINFO* funinfo, unsigned option_set) {
  if (funinfo && funinfo->override_options) {
    set_override_options(funinfo->override_options);
    return;
  }
  if (option_set == 0) return;
  if (option_set >= all_option_sets.size() || !all_option_sets[option_set]) {
    fprintf(stderr, "\n>>>> OPTIMIZER ERROR: function refers to option set %u, the file has %zu\n",
            option_set, all_option_sets.size());
    abort_optimizer();
  }
  reset_global_flags();
  set_global_flags(all_option_sets[option_set]);
  if (opt_level == 0) inhibit_clustering = 1;
}
