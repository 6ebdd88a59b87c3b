// The generated tables of option_obj: spellings, argument kinds, bounds,
// item lists, classes. docs/options.md describes the same table for users.
#include <climits>

#include "options/optobj.h"

using O = option_obj;

namespace {

constexpr long NOLIM = 0x7fffffffL;

const O::option_item abi_items[] = {{"coffabi", O::OO_ABI_COFFABI, true},
                                    {"eabi", O::OO_ABI_EABI, false}};
const O::option_item core_support_items[] = {{"none", O::OO_CORE_SUPPORT_NONE, false},
                                             {"basic", O::OO_CORE_SUPPORT_BASIC, false},
                                             {"full", O::OO_CORE_SUPPORT_FULL, false},
                                             {"extended", O::OO_CORE_SUPPORT_EXTENDED, false}};
const O::option_item diag_wrap_items[] = {{"off", O::OO_DIAG_WRAP_OFF, false},
                                          {"on", O::OO_DIAG_WRAP_ON, false}};
const O::option_item endian_items[] = {{"big", O::OO_ENDIAN_BIG, false},
                                       {"little", O::OO_ENDIAN_LITTLE, false}};
const O::option_item float_support_items[] = {{"none", O::OO_FLOAT_SUPPORT_NONE, false},
                                              {"fpu32", O::OO_FLOAT_SUPPORT_FPU32, false},
                                              {"fpu64", O::OO_FLOAT_SUPPORT_FPU64, false}};
const O::option_item fp_mode_items[] = {{"relaxed", O::OO_FP_MODE_RELAXED, false},
                                        {"strict", O::OO_FP_MODE_STRICT, false}};
const O::option_item fp_reassoc_items[] = {{"off", O::OO_FP_REASSOC_OFF, false},
                                           {"on", O::OO_FP_REASSOC_ON, false}};
const O::option_item gen_data_items[] = {{"off", O::OO_GEN_DATA_SUBSECTIONS_OFF, false},
                                         {"on", O::OO_GEN_DATA_SUBSECTIONS_ON, false}};
const O::option_item gen_func_items[] = {{"off", O::OO_GEN_FUNC_SUBSECTIONS_OFF, false},
                                         {"on", O::OO_GEN_FUNC_SUBSECTIONS_ON, false}};
const O::option_item mem_code_items[] = {{"compact", O::OO_MEM_MODEL__CODE_COMPACT, false},
                                         {"far", O::OO_MEM_MODEL__CODE_FAR, false},
                                         {"large", O::OO_MEM_MODEL__CODE_LARGE, false},
                                         {"medium", O::OO_MEM_MODEL__CODE_MEDIUM, false},
                                         {"near", O::OO_MEM_MODEL__CODE_NEAR, false},
                                         {"small", O::OO_MEM_MODEL__CODE_SMALL, false}};
const O::option_item mem_data_items[] = {
    {"compact", O::OO_MEM_MODEL__DATA_COMPACT, false},
    {"far", O::OO_MEM_MODEL__DATA_FAR, false},
    {"far_aggregates", O::OO_MEM_MODEL__DATA_FAR_AGGREGATES, false},
    {"large", O::OO_MEM_MODEL__DATA_LARGE, false},
    {"near", O::OO_MEM_MODEL__DATA_NEAR, false},
    {"small", O::OO_MEM_MODEL__DATA_SMALL, false}};
const O::option_item opt_level_items[] = {
    {"0", O::OO_OPT_LEVEL_0, false}, {"1", O::OO_OPT_LEVEL_1, false},
    {"2", O::OO_OPT_LEVEL_2, false}, {"3", O::OO_OPT_LEVEL_3, false},
    {"4", O::OO_OPT_LEVEL_4, false}, {"off", O::OO_OPT_LEVEL_OFF, false}};
const O::option_item sat_reassoc_items[] = {{"off", O::OO_SAT_REASSOC_OFF, false},
                                            {"on", O::OO_SAT_REASSOC_ON, false}};
const O::option_item section_sizes_items[] = {{"off", O::OO_SECTION_SIZES_OFF, false},
                                              {"on", O::OO_SECTION_SIZES_ON, false}};
const O::option_item size_speed_items[] = {
    {"5", O::OO_SIZE_SPEED_GOAL_5, false}, {"0", O::OO_SIZE_SPEED_GOAL_0, false},
    {"3", O::OO_SIZE_SPEED_GOAL_3, false}, {"2", O::OO_SIZE_SPEED_GOAL_2, false},
    {"4", O::OO_SIZE_SPEED_GOAL_4, false}, {"1", O::OO_SIZE_SPEED_GOAL_1, false}};
const O::option_item vectorize_items[] = {{"off", O::OO_VECTORIZE_OFF, false},
                                          {"on", O::OO_VECTORIZE_ON, false}};

#define ITEMS(name, array) {name, array, sizeof(array) / sizeof(array[0])}

const O::option_id basic_members[] = {
    O::OPT_OPT_LEVEL, O::OPT_SIZE_SPEED_GOAL, O::OPT_AUTO_INLINE, O::OPT_INFO,
    O::OPT_INFO_FILE, O::OPT_IGNORE_FILE_OPTIONS, O::OPT_KR_COMPATIBLE,
    O::OPT_OPTIMIZER_INTERLIST, O::OPT_QUIET, O::OPT_VOLATILE, static_cast<O::option_id>(-1)};
const O::option_id optimization_members[] = {
    O::OPT_ALIASED_VARIABLES, O::OPT_DWIM_LOOPS, O::OPT_NO_BAD_ALIASES, O::OPT_FP_MODE,
    O::OPT_FP_REASSOC, O::OPT_SAT_REASSOC, O::OPT_INTERRUPT_THRESHOLD, O::OPT_MAX_UNROLL_SIZE,
    O::OPT_NON_REENTRANT, O::OPT_OPT_FOR_SPACE, O::OPT_PROGRAM_MODE,
    O::OPT_REMOVE_HOOKS_WHEN_INLINING, O::OPT_SINGLE_INLINE, O::OPT_STD_LIB_FUNC_DEFINED,
    O::OPT_STD_LIB_FUNC_NOT_DEFINED, O::OPT_STD_LIB_FUNC_REDEFINED, O::OPT_OLD_CONST_POINTERS,
    O::OPT_VECTORIZE, static_cast<O::option_id>(-1)};
const O::option_id target_members[] = {
    O::OPT_AUX_FLAGS, O::OPT_PRIVATE_FLAGS, O::OPT_BIG_ENDIAN, O::OPT_ENDIAN,
    O::OPT_DISABLE_RPTK, O::OPT_FAR_EXTERNS, O::OPT_PASS_ARGS_IN_REGS, O::OPT_UNSIGNED_RPT_COUNT,
    O::OPT_USE_G2, O::OPT_USE_G3, O::OPT_USE_LLVM, static_cast<O::option_id>(-1)};
const O::option_id debug_members[] = {O::OPT_DEBUG, O::OPT_DEBUG_KEYWORDS, O::OPT_ENABLE_KEYWORDS,
                                      O::OPT_DISABLE_KEYWORDS, O::OPT_DUMP_OPTIONS, O::OPT_DUMP_OCG_GDL,
                                      static_cast<O::option_id>(-1)};
const O::option_id toolchain_members[] = {
    O::OPT_ABI, O::OPT_CORE_SUPPORT, O::OPT_DIAG_WRAP, O::OPT_GEN_DATA_SUBSECTIONS,
    O::OPT_GEN_FUNC_SUBSECTIONS, O::OPT_FLOAT_SUPPORT, O::OPT_MEM_MODEL_CODE,
    O::OPT_MEM_MODEL_DATA, O::OPT_SECTION_SIZES, O::OPT_SILICON_ERRATA, O::OPT_GEN_PROFILE_INFO,
    O::OPT_ISSUE_REMARKS, O::OPT_KEEP_UNNEEDED_STATICS, O::OPT_EMIT_WARNINGS_AS_ERRORS,
    O::OPT_NO_RPT, O::OPT_NO_BSS_INIT, O::OPT_OPT_FOR_CACHE, O::OPT_OPTIMIZE_WITH_DEBUG,
    O::OPT_CROSS_REFERENCE, O::OPT_RPT_THRESHOLD, O::OPT_RELAXED_ANSI, O::OPT_STRICT_ANSI,
    O::OPT_UNIFIED_MEMORY, O::OPT_UNALIGNED_ACCESS, O::OPT_USE_FPU,
    static_cast<O::option_id>(-1)};

}  // namespace

const O::item_list O::item_lists[O::OO_ITEMLIST_COUNT] = {
    ITEMS("OO_ABI_ITEMLIST", abi_items),
    ITEMS("OO_CORE_SUPPORT_ITEMLIST", core_support_items),
    ITEMS("OO_DIAG_WRAP_ITEMLIST", diag_wrap_items),
    ITEMS("OO_ENDIAN_ITEMLIST", endian_items),
    ITEMS("OO_FLOAT_SUPPORT_ITEMLIST", float_support_items),
    ITEMS("OO_FP_MODE_ITEMLIST", fp_mode_items),
    ITEMS("OO_FP_REASSOC_ITEMLIST", fp_reassoc_items),
    ITEMS("OO_GEN_DATA_SUBSECTIONS_ITEMLIST", gen_data_items),
    ITEMS("OO_GEN_FUNC_SUBSECTIONS_ITEMLIST", gen_func_items),
    ITEMS("OO_MEM_MODEL__CODE_ITEMLIST", mem_code_items),
    ITEMS("OO_MEM_MODEL__DATA_ITEMLIST", mem_data_items),
    ITEMS("OO_OPT_LEVEL_ITEMLIST", opt_level_items),
    ITEMS("OO_SAT_REASSOC_ITEMLIST", sat_reassoc_items),
    ITEMS("OO_SECTION_SIZES_ITEMLIST", section_sizes_items),
    ITEMS("OO_SIZE_SPEED_GOAL_ITEMLIST", size_speed_items),
    ITEMS("OO_VECTORIZE_ITEMLIST", vectorize_items),
};

const O::option_id* const O::classes[O::CLASS_COUNT] = {
    basic_members, optimization_members, target_members, debug_members, toolchain_members};

const char* const O::class_descriptions[O::CLASS_COUNT] = {
    "Basic Options:", "Optimization Options:", "Target Options:",
    "Debug and Trace Options:", "Tool Chain Options (accepted, no effect in this tool):"};

#define NOARG(name, sh, cls, help) {name, sh, nullptr, 0, 0, O::OO_NO_ITEMLIST, O::cls, false, help}
#define NUM(name, sh, label, lo, hi, cls, help) \
  {name, sh, label, lo, hi, O::OO_NO_ITEMLIST, O::cls, false, help}
#define ENUMD(name, sh, list, cls, help) \
  {name, sh, "value", 0, 0, O::list, O::cls, false, help}

const O::option_definition O::option_definitions[O::OPTION_COUNT] = {
    /* 0 */ ENUMD("abi", nullptr, OO_ABI_ITEMLIST, CLASS_TOOLCHAIN, "Application binary interface"),
    /* 1 */ ENUMD("core_support", nullptr, OO_CORE_SUPPORT_ITEMLIST, CLASS_TOOLCHAIN,
                  "Level of the core support library"),
    /* 2 */ ENUMD("diag_wrap", nullptr, OO_DIAG_WRAP_ITEMLIST, CLASS_TOOLCHAIN,
                  "Wrap diagnostic messages"),
    /* 3 */ NOARG("aliased_variables", "a", CLASS_OPTIMIZATION,
                  "Assume that variables may be aliased"),
    /* 4 */ NUM("auto_inline", "i", "limit", 0, NOLIM, CLASS_BASIC,
                "Size limit of automatic inlining"),
    /* 5 */ {"aux_flags", nullptr, "flags", 0, 0, O::OO_NO_ITEMLIST, O::CLASS_TARGET, false,
             "Auxiliary flags: digits (with --private_flags), revisions"},
    /* 6 */ NOARG("big_endian", nullptr, CLASS_TARGET, "Target memory is big-endian"),
    /* 7 */ ENUMD("gen_data_subsections", nullptr, OO_GEN_DATA_SUBSECTIONS_ITEMLIST,
                  CLASS_TOOLCHAIN, "Data in subsections"),
    /* 8 */ NUM("program_mode", nullptr, "mode", 0, 3, CLASS_OPTIMIZATION, "Whole-program mode"),
    /* 9 */ ENUMD("gen_func_subsections", nullptr, OO_GEN_FUNC_SUBSECTIONS_ITEMLIST,
                  CLASS_TOOLCHAIN, "Functions in subsections"),
    /* 10 */ ENUMD("float_support", nullptr, OO_FLOAT_SUPPORT_ITEMLIST, CLASS_TOOLCHAIN,
                   "Floating-point hardware"),
    /* 11 */ {"debug", nullptr, "keywords", 0, 0, O::OO_NO_ITEMLIST, O::CLASS_DEBUG, false,
              "Debug keywords: name or name=value, separated by commas"},
    /* 12 */ NUM("debug_level", "d", "level", 0, NOLIM, CLASS_DEBUG,
                 "Write the debug log (.odb) at this level"),
    /* 13 */ {"info_file", nullptr, "file", 0, 0, O::OO_NO_ITEMLIST, O::CLASS_BASIC, false,
              "Name of the information file"},
    /* 14 */ {"disable", nullptr, "keywords", 0, 0, O::OO_NO_ITEMLIST, O::CLASS_DEBUG, false,
              "Disable keywords: name or name=value, separated by commas"},
    /* 15 */ NOARG("disable_rptk", nullptr, CLASS_TARGET,
                   "Do not use the single-instruction repeat"),
    /* 16 */ NOARG("dump_ocg_gdl", nullptr, CLASS_DEBUG, "Write the graph dump"),
    /* 17 */ NOARG("dump_options", nullptr, CLASS_DEBUG, "Print the options in effect and stop"),
    /* 18 */ NOARG("dwim_loops", nullptr, CLASS_OPTIMIZATION, "Assume well-behaved loops"),
    /* 19 */ {"enable", nullptr, "keywords", 0, 0, O::OO_NO_ITEMLIST, O::CLASS_DEBUG, false,
              "Enable keywords: name or name=value, separated by commas"},
    /* 20 */ ENUMD("endian", nullptr, OO_ENDIAN_ITEMLIST, CLASS_TARGET,
                   "Byte order of target memory"),
    /* 21 */ NOARG("far_externs", nullptr, CLASS_TARGET, "External data is far"),
    /* 22 */ ENUMD("mem_model_code", nullptr, OO_MEM_MODEL__CODE_ITEMLIST, CLASS_TOOLCHAIN,
                   "Code memory model"),
    /* 23 */ ENUMD("fp_mode", nullptr, OO_FP_MODE_ITEMLIST, CLASS_OPTIMIZATION,
                   "Floating-point order: strict keeps it"),
    /* 24 */ ENUMD("fp_reassoc", nullptr, OO_FP_REASSOC_ITEMLIST, CLASS_OPTIMIZATION,
                   "Reassociate floating additions"),
    /* 25 */ ENUMD("mem_model_data", nullptr, OO_MEM_MODEL__DATA_ITEMLIST, CLASS_TOOLCHAIN,
                   "Data memory model"),
    /* 26 */ NUM("info_level", "n", "level", 0, NOLIM, CLASS_BASIC,
                 "Write the information file (.nfo) at this level"),
    /* 27 */ {"ignore_file_options", "x", nullptr, 0, 0, O::OO_NO_ITEMLIST, O::CLASS_BASIC, true,
              "Ignore the option sets stored in the input file"},
    /* 28 */ ENUMD("section_sizes", nullptr, OO_SECTION_SIZES_ITEMLIST, CLASS_TOOLCHAIN,
                   "Report section sizes"),
    /* 29 */ {"silicon_errata", nullptr, "numbers", 0, NOLIM, O::OO_NO_ITEMLIST,
              O::CLASS_TOOLCHAIN, false, "Silicon errata to work around"},
    /* 30 */ NOARG("gen_profile_info", nullptr, CLASS_TOOLCHAIN, "Profiling instrumentation"),
    /* 31 */ NUM("interrupt_threshold", nullptr, "cycles", 0, NOLIM, CLASS_OPTIMIZATION,
                 "Limit of uninterruptible sequences"),
    /* 32 */ NOARG("issue_remarks", nullptr, CLASS_TOOLCHAIN, "Show remarks"),
    /* 33 */ NOARG("kr_compatible", "k", CLASS_BASIC, "Old-style (K&R) C source"),
    /* 34 */ NOARG("keep_unneeded_statics", nullptr, CLASS_TOOLCHAIN,
                   "Keep unreferenced static data"),
    /* 35 */ NUM("max_unroll_size", nullptr, "size", 0, NOLIM, CLASS_OPTIMIZATION,
                 "Size limit of unrolled loops"),
    /* 36 */ NOARG("emit_warnings_as_errors", nullptr, CLASS_TOOLCHAIN,
                   "Treat warnings as errors"),
    /* 37 */ NOARG("no_rpt", nullptr, CLASS_TOOLCHAIN, "Do not use repeat instructions"),
    /* 38 */ NOARG("no_bad_aliases", nullptr, CLASS_OPTIMIZATION,
                   "Relaxed aliasing and loop assumptions"),
    /* 39 */ NOARG("no_bss_init", nullptr, CLASS_TOOLCHAIN, "Do not zero uninitialised data"),
    /* 40 */ NOARG("non_reentrant", nullptr, CLASS_OPTIMIZATION, "Code need not be reentrant"),
    /* 41 */ NOARG("opt_for_cache", nullptr, CLASS_TOOLCHAIN, "Optimise for cache layout"),
    /* 42 */ NUM("opt_for_space", "z", "level", 0, 3, CLASS_OPTIMIZATION,
                 "Code-size level"),
    /* 43 */ NOARG("optimize_with_debug", nullptr, CLASS_TOOLCHAIN,
                   "Optimise with full debug information"),
    /* 44 */ NOARG("cross_reference", nullptr, CLASS_TOOLCHAIN, "Cross-reference listing"),
    /* 45 */ ENUMD("opt_level", "o", OO_OPT_LEVEL_ITEMLIST, CLASS_BASIC,
                   "Optimisation level"),
    /* 46 */ NOARG("optimizer_interlist", "s", CLASS_BASIC, "Keep source for interlisting"),
    /* 47 */ NOARG("pass_args_in_regs", nullptr, CLASS_TARGET, "Pass arguments in registers"),
    /* 48 */ NOARG("private_flags", nullptr, CLASS_TARGET,
                   "Let digits of --aux_flags set the auxiliary flags"),
    /* 49 */ NOARG("quiet", "q", CLASS_BASIC, "Suppress progress text"),
    /* 50 */ NOARG("remove_hooks_when_inlining", nullptr, CLASS_OPTIMIZATION,
                   "Drop entry and exit hooks of inlined calls"),
    /* 51 */ NUM("rpt_threshold", nullptr, "count", 0, 0xFFFF, CLASS_TOOLCHAIN,
                 "Repeat-block threshold (hexadecimal)"),
    /* 52 */ ENUMD("sat_reassoc", nullptr, OO_SAT_REASSOC_ITEMLIST, CLASS_OPTIMIZATION,
                   "Reassociate saturating additions"),
    /* 53 */ NOARG("relaxed_ansi", nullptr, CLASS_TOOLCHAIN, "Relaxed language mode"),
    /* 54 */ NOARG("strict_ansi", nullptr, CLASS_TOOLCHAIN, "Strict language mode"),
    /* 55 */ NOARG("single_inline", nullptr, CLASS_OPTIMIZATION,
                   "Inline functions that have a single call site"),
    /* 56 */ ENUMD("size_speed_goal", nullptr, OO_SIZE_SPEED_GOAL_ITEMLIST, CLASS_BASIC,
                   "Size against speed: 0 favours size, 5 speed"),
    /* 57 */ NOARG("std_lib_func_defined", nullptr, CLASS_OPTIMIZATION,
                   "Standard library functions are the standard ones"),
    /* 58 */ NOARG("std_lib_func_not_defined", nullptr, CLASS_OPTIMIZATION,
                   "Standard library functions may be user-defined"),
    /* 59 */ NOARG("std_lib_func_redefined", nullptr, CLASS_OPTIMIZATION,
                   "Standard library functions are redefined"),
    /* 60 */ NOARG("unified_memory", nullptr, CLASS_TOOLCHAIN, "Unified memory"),
    /* 61 */ NOARG("unaligned_access", nullptr, CLASS_TOOLCHAIN, "Allow unaligned access"),
    /* 62 */ NOARG("unsigned_rpt_count", nullptr, CLASS_TARGET,
                   "Repeat blocks may use an unsigned count"),
    /* 63 */ NOARG("use_fpu", nullptr, CLASS_TOOLCHAIN, "Use the floating-point unit"),
    /* 64 */ NOARG("old_const_pointers", nullptr, CLASS_OPTIMIZATION,
                   "Earlier treatment of const pointers"),
    /* 65 */ NOARG("use_g2", nullptr, CLASS_TARGET, "Use the second-generation back-end path"),
    /* 66 */ NOARG("use_g3", nullptr, CLASS_TARGET, "Do not use the second-generation path"),
    /* 67 */ NOARG("use_llvm", nullptr, CLASS_TARGET, "Hand over through the low-level form"),
    /* 68 */ ENUMD("vectorize", nullptr, OO_VECTORIZE_ITEMLIST, CLASS_OPTIMIZATION,
                   "Vectorisation"),
    /* 69 */ NOARG("volatile", "v", CLASS_BASIC, "Treat variables as volatile"),
};

const O::parm_kind O::parm_type[O::OPTION_COUNT] = {
    ENUMERATED_ARG,  ENUMERATED_ARG, ENUMERATED_ARG, NO_ARGS,        NUMBER_ARG,      // 0-4
    STRING_LIST_ARG, NO_ARGS,        ENUMERATED_ARG, NUMBER_ARG,     ENUMERATED_ARG,  // 5-9
    ENUMERATED_ARG,  STRING_LIST_ARG, NUMBER_ARG,    STRING_ARG,     STRING_LIST_ARG, // 10-14
    NO_ARGS,         NO_ARGS,        NO_ARGS,        NO_ARGS,        STRING_LIST_ARG, // 15-19
    ENUMERATED_ARG,  NO_ARGS,        ENUMERATED_ARG, ENUMERATED_ARG, ENUMERATED_ARG,  // 20-24
    ENUMERATED_ARG,  NUMBER_ARG,     NO_ARGS,        ENUMERATED_ARG, NUMBER_LIST_ARG, // 25-29
    NO_ARGS,         NUMBER_ARG,     NO_ARGS,        NO_ARGS,        NO_ARGS,         // 30-34
    NUMBER_ARG,      NO_ARGS,        NO_ARGS,        NO_ARGS,        NO_ARGS,         // 35-39
    NO_ARGS,         NO_ARGS,        NUMBER_ARG,     NO_ARGS,        NO_ARGS,         // 40-44
    ENUMERATED_ARG,  NO_ARGS,        NO_ARGS,        NO_ARGS,        NO_ARGS,         // 45-49
    NO_ARGS,         HEXNUM_ARG,     ENUMERATED_ARG, NO_ARGS,        NO_ARGS,         // 50-54
    NO_ARGS,         ENUMERATED_ARG, NO_ARGS,        NO_ARGS,        NO_ARGS,         // 55-59
    NO_ARGS,         NO_ARGS,        NO_ARGS,        NO_ARGS,        NO_ARGS,         // 60-64
    NO_ARGS,         NO_ARGS,        NO_ARGS,        ENUMERATED_ARG, NO_ARGS,         // 65-69
};

const char* const O::enum_to_enumtxt[O::OPTION_COUNT] = {
    "OPT_ABI", "OPT_CORE_SUPPORT", "OPT_DIAG_WRAP", "OPT_ALIASED_VARIABLES", "OPT_AUTO_INLINE",
    "OPT_AUX_FLAGS", "OPT_BIG_ENDIAN", "OPT_GEN_DATA_SUBSECTIONS", "OPT_PROGRAM_MODE",
    "OPT_GEN_FUNC_SUBSECTIONS", "OPT_FLOAT_SUPPORT", "OPT_DEBUG_KEYWORDS", "OPT_DEBUG",
    "OPT_INFO_FILE", "OPT_DISABLE_KEYWORDS", "OPT_DISABLE_RPTK", "OPT_DUMP_OCG_GDL", "OPT_DUMP_OPTIONS",
    "OPT_DWIM_LOOPS", "OPT_ENABLE_KEYWORDS", "OPT_ENDIAN", "OPT_FAR_EXTERNS", "OPT_MEM_MODEL_CODE",
    "OPT_FP_MODE", "OPT_FP_REASSOC", "OPT_MEM_MODEL_DATA", "OPT_INFO",
    "OPT_IGNORE_FILE_OPTIONS", "OPT_SECTION_SIZES", "OPT_SILICON_ERRATA", "OPT_GEN_PROFILE_INFO",
    "OPT_INTERRUPT_THRESHOLD", "OPT_ISSUE_REMARKS", "OPT_KR_COMPATIBLE",
    "OPT_KEEP_UNNEEDED_STATICS", "OPT_MAX_UNROLL_SIZE", "OPT_EMIT_WARNINGS_AS_ERRORS",
    "OPT_NO_RPT", "OPT_NO_BAD_ALIASES", "OPT_NO_BSS_INIT", "OPT_NON_REENTRANT",
    "OPT_OPT_FOR_CACHE", "OPT_OPT_FOR_SPACE", "OPT_OPTIMIZE_WITH_DEBUG", "OPT_CROSS_REFERENCE",
    "OPT_OPT_LEVEL", "OPT_OPTIMIZER_INTERLIST", "OPT_PASS_ARGS_IN_REGS", "OPT_PRIVATE_FLAGS",
    "OPT_QUIET", "OPT_REMOVE_HOOKS_WHEN_INLINING", "OPT_RPT_THRESHOLD", "OPT_SAT_REASSOC",
    "OPT_RELAXED_ANSI", "OPT_STRICT_ANSI", "OPT_SINGLE_INLINE", "OPT_SIZE_SPEED_GOAL",
    "OPT_STD_LIB_FUNC_DEFINED", "OPT_STD_LIB_FUNC_NOT_DEFINED", "OPT_STD_LIB_FUNC_REDEFINED",
    "OPT_UNIFIED_MEMORY", "OPT_UNALIGNED_ACCESS", "OPT_UNSIGNED_RPT_COUNT", "OPT_USE_FPU",
    "OPT_OLD_CONST_POINTERS", "OPT_USE_G2", "OPT_USE_G3", "OPT_USE_LLVM", "OPT_VECTORIZE",
    "OPT_VOLATILE",
};

const char* const O::enum_to_optiontxt[O::OPTION_COUNT] = {
    "--abi", "--core_support", "--diag_wrap", "--aliased_variables", "--auto_inline",
    "--aux_flags", "--big_endian", "--gen_data_subsections", "--program_mode",
    "--gen_func_subsections", "--float_support", "--debug", "--debug_level", "--info_file",
    "--disable", "--disable_rptk", "--dump_ocg_gdl", "--dump_options", "--dwim_loops", "--enable",
    "--endian", "--far_externs", "--mem_model_code", "--fp_mode", "--fp_reassoc",
    "--mem_model_data", "--info_level", "--ignore_file_options", "--section_sizes",
    "--silicon_errata", "--gen_profile_info", "--interrupt_threshold", "--issue_remarks",
    "--kr_compatible", "--keep_unneeded_statics", "--max_unroll_size",
    "--emit_warnings_as_errors", "--no_rpt", "--no_bad_aliases", "--no_bss_init",
    "--non_reentrant", "--opt_for_cache", "--opt_for_space", "--optimize_with_debug",
    "--cross_reference", "--opt_level", "--optimizer_interlist", "--pass_args_in_regs",
    "--private_flags", "--quiet", "--remove_hooks_when_inlining", "--rpt_threshold",
    "--sat_reassoc", "--relaxed_ansi", "--strict_ansi", "--single_inline", "--size_speed_goal",
    "--std_lib_func_defined", "--std_lib_func_not_defined", "--std_lib_func_redefined",
    "--unified_memory", "--unaligned_access", "--unsigned_rpt_count", "--use_fpu",
    "--old_const_pointers", "--use_g2", "--use_g3", "--use_llvm", "--vectorize", "--volatile",
};

// No two options of this tool conflict, and it merges no files; the tables
// stay for the machinery that the rest of the tool chain shares.
unsigned char O::conflicts[O::OPTION_COUNT][O::OPTION_COUNT] = {};
unsigned char O::merge_conflicts[O::OPTION_COUNT][O::OPTION_COUNT] = {};
O::merge_policy_function O::merge_policy_functions[O::OPTION_COUNT] = {};

const char* O::executable_name = "zopt";
const char* (*O::next_arg)() = nullptr;
const char* const O::tool_version = "v1.0.0";
