// option_obj: the command-line parser with its closed set of 70 options.
// Names are matched without regard to case but must be written in full; the
// table of spellings is in docs/options.md and in --help.
#pragma once
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

class option_obj {
 public:
  enum option_id : int32_t {
    OPT_ABI = 0,
    OPT_CORE_SUPPORT = 1,
    OPT_DIAG_WRAP = 2,
    OPT_ALIASED_VARIABLES = 3,
    OPT_AUTO_INLINE = 4,  // also -i
    OPT_AUX_FLAGS = 5,
    OPT_BIG_ENDIAN = 6,
    OPT_GEN_DATA_SUBSECTIONS = 7,
    OPT_PROGRAM_MODE = 8,
    OPT_GEN_FUNC_SUBSECTIONS = 9,
    OPT_FLOAT_SUPPORT = 10,
    OPT_DEBUG_KEYWORDS = 11,  // "debug:" keywords
    OPT_DEBUG = 12,           // the debug option: debug log and its level
    OPT_INFO_FILE = 13,    // the information-file option
    OPT_DISABLE_KEYWORDS = 14,  // "disable:" keywords
    OPT_DISABLE_RPTK = 15,
    OPT_DUMP_OCG_GDL = 16,
    OPT_DUMP_OPTIONS = 17,  // the option-dump option
    OPT_DWIM_LOOPS = 18,
    OPT_ENABLE_KEYWORDS = 19,  // "enable:" keywords
    OPT_ENDIAN = 20,
    OPT_FAR_EXTERNS = 21,
    OPT_MEM_MODEL_CODE = 22,
    OPT_FP_MODE = 23,
    OPT_FP_REASSOC = 24,
    OPT_MEM_MODEL_DATA = 25,
    OPT_INFO = 26,                 // the information option
    OPT_IGNORE_FILE_OPTIONS = 27,  // ignore the input file's option sets
    OPT_SECTION_SIZES = 28,
    OPT_SILICON_ERRATA = 29,
    OPT_GEN_PROFILE_INFO = 30,
    OPT_INTERRUPT_THRESHOLD = 31,
    OPT_ISSUE_REMARKS = 32,
    OPT_KR_COMPATIBLE = 33,
    OPT_KEEP_UNNEEDED_STATICS = 34,
    OPT_MAX_UNROLL_SIZE = 35,
    OPT_EMIT_WARNINGS_AS_ERRORS = 36,
    OPT_NO_RPT = 37,
    OPT_NO_BAD_ALIASES = 38,
    OPT_NO_BSS_INIT = 39,
    OPT_NON_REENTRANT = 40,
    OPT_OPT_FOR_CACHE = 41,
    OPT_OPT_FOR_SPACE = 42,
    OPT_OPTIMIZE_WITH_DEBUG = 43,
    OPT_CROSS_REFERENCE = 44,
    OPT_OPT_LEVEL = 45,
    OPT_OPTIMIZER_INTERLIST = 46,
    OPT_PASS_ARGS_IN_REGS = 47,
    OPT_PRIVATE_FLAGS = 48,
    OPT_QUIET = 49,
    OPT_REMOVE_HOOKS_WHEN_INLINING = 50,
    OPT_RPT_THRESHOLD = 51,
    OPT_SAT_REASSOC = 52,
    OPT_RELAXED_ANSI = 53,
    OPT_STRICT_ANSI = 54,
    OPT_SINGLE_INLINE = 55,
    OPT_SIZE_SPEED_GOAL = 56,
    OPT_STD_LIB_FUNC_DEFINED = 57,
    OPT_STD_LIB_FUNC_NOT_DEFINED = 58,
    OPT_STD_LIB_FUNC_REDEFINED = 59,
    OPT_UNIFIED_MEMORY = 60,
    OPT_UNALIGNED_ACCESS = 61,
    OPT_UNSIGNED_RPT_COUNT = 62,
    OPT_USE_FPU = 63,
    OPT_OLD_CONST_POINTERS = 64,
    OPT_USE_G2 = 65,
    OPT_USE_G3 = 66,
    OPT_USE_LLVM = 67,
    OPT_VECTORIZE = 68,
    OPT_VOLATILE = 69,
  };
  static constexpr int OPTION_COUNT = 70;

  // Argument kinds.
  enum parm_kind : int32_t {
    NO_ARGS = 0,
    STRING_ARG = 1,
    NUMBER_ARG = 2,
    HEXNUM_ARG = 3,
    ENUMERATED_ARG = 4,
    STRING_LIST_ARG = 5,
    NUMBER_LIST_ARG = 6,
    ONEOF_LIST_ARG = 7,
  };

  // Groups of options, for help and for the class forms of the accessors.
  enum class_id : int32_t {
    CLASS_BASIC,
    CLASS_OPTIMIZATION,
    CLASS_TARGET,
    CLASS_DEBUG,
    CLASS_TOOLCHAIN,
    CLASS_COUNT,
    CLASS_ALL = -1,
  };

  // Item lists of the enumerated options.
  enum itemlist_id : int32_t {
    OO_NO_ITEMLIST = -1,
    OO_ABI_ITEMLIST,
    OO_CORE_SUPPORT_ITEMLIST,
    OO_DIAG_WRAP_ITEMLIST,
    OO_ENDIAN_ITEMLIST,
    OO_FLOAT_SUPPORT_ITEMLIST,
    OO_FP_MODE_ITEMLIST,
    OO_FP_REASSOC_ITEMLIST,
    OO_GEN_DATA_SUBSECTIONS_ITEMLIST,
    OO_GEN_FUNC_SUBSECTIONS_ITEMLIST,
    OO_MEM_MODEL__CODE_ITEMLIST,
    OO_MEM_MODEL__DATA_ITEMLIST,
    OO_OPT_LEVEL_ITEMLIST,
    OO_SAT_REASSOC_ITEMLIST,
    OO_SECTION_SIZES_ITEMLIST,
    OO_SIZE_SPEED_GOAL_ITEMLIST,
    OO_VECTORIZE_ITEMLIST,
    OO_ITEMLIST_COUNT,
  };

  // The value stored for an enumerated argument: one number across all lists.
  enum enumerator : int32_t {
    OO_ABI_COFFABI = 0, OO_ABI_EABI = 1,
    OO_CORE_SUPPORT_NONE = 2, OO_CORE_SUPPORT_BASIC = 3, OO_CORE_SUPPORT_FULL = 4,
    OO_CORE_SUPPORT_EXTENDED = 5,
    OO_DIAG_WRAP_OFF = 6, OO_DIAG_WRAP_ON = 7,
    OO_ENDIAN_BIG = 8, OO_ENDIAN_LITTLE = 9,
    OO_FLOAT_SUPPORT_NONE = 10, OO_FLOAT_SUPPORT_FPU32 = 11, OO_FLOAT_SUPPORT_FPU64 = 12,
    OO_FP_MODE_RELAXED = 13, OO_FP_MODE_STRICT = 14,
    OO_FP_REASSOC_OFF = 15, OO_FP_REASSOC_ON = 16,
    OO_GEN_DATA_SUBSECTIONS_OFF = 17, OO_GEN_DATA_SUBSECTIONS_ON = 18,
    OO_GEN_FUNC_SUBSECTIONS_OFF = 19, OO_GEN_FUNC_SUBSECTIONS_ON = 20,
    OO_MEM_MODEL__CODE_COMPACT = 21, OO_MEM_MODEL__CODE_FAR = 22, OO_MEM_MODEL__CODE_LARGE = 23,
    OO_MEM_MODEL__CODE_MEDIUM = 24, OO_MEM_MODEL__CODE_NEAR = 25, OO_MEM_MODEL__CODE_SMALL = 26,
    OO_MEM_MODEL__DATA_COMPACT = 27, OO_MEM_MODEL__DATA_FAR = 28,
    OO_MEM_MODEL__DATA_FAR_AGGREGATES = 29, OO_MEM_MODEL__DATA_LARGE = 30,
    OO_MEM_MODEL__DATA_NEAR = 31, OO_MEM_MODEL__DATA_SMALL = 32,
    OO_OPT_LEVEL_0 = 33, OO_OPT_LEVEL_1 = 34, OO_OPT_LEVEL_2 = 35, OO_OPT_LEVEL_3 = 36,
    OO_OPT_LEVEL_4 = 37, OO_OPT_LEVEL_OFF = 38,
    OO_SAT_REASSOC_OFF = 39, OO_SAT_REASSOC_ON = 40,
    OO_SECTION_SIZES_OFF = 41, OO_SECTION_SIZES_ON = 42,
    // Listed in this order; each word is the goal it gives.
    OO_SIZE_SPEED_GOAL_5 = 43, OO_SIZE_SPEED_GOAL_0 = 44, OO_SIZE_SPEED_GOAL_3 = 45,
    OO_SIZE_SPEED_GOAL_2 = 46, OO_SIZE_SPEED_GOAL_4 = 47, OO_SIZE_SPEED_GOAL_1 = 48,
    OO_VECTORIZE_OFF = 49, OO_VECTORIZE_ON = 50,
    OO_ENUMERATOR_COUNT = 51,
  };

  struct option_item {
    const char* word;
    int32_t value;  // an enumerator
    bool deprecated;
  };
  struct item_list {
    const char* name;
    const option_item* items;
    int count;
  };

  struct option_definition {
    const char* name;        // long form, without the leading "--"
    const char* short_name;  // short form without "-", or null
    const char* label;       // what the argument is, for messages
    long min, max;           // bounds of numbers
    itemlist_id items;
    class_id cls;
    bool persistent;  // clearopt leaves it alone
    const char* help;
  };

  // One sighting of an option.
  struct an_argument_t {
    option_id id = OPT_ABI;
    std::string arg;      // the argument as given, empty when none
    std::string spelled;  // the option as written, e.g. "-o" or "--opt_level"
  };

  typedef std::vector<std::pair<option_id, std::string>> export_option_list_type;
  typedef void (*merge_policy_function)(option_obj& into, const option_obj& from, option_id id);

  // Generated tables.
  static const parm_kind parm_type[OPTION_COUNT];
  static const option_definition option_definitions[OPTION_COUNT];
  static const char* const enum_to_enumtxt[OPTION_COUNT];
  static const char* const enum_to_optiontxt[OPTION_COUNT];
  static unsigned char conflicts[OPTION_COUNT][OPTION_COUNT];
  static unsigned char merge_conflicts[OPTION_COUNT][OPTION_COUNT];
  static merge_policy_function merge_policy_functions[OPTION_COUNT];
  static const item_list item_lists[OO_ITEMLIST_COUNT];
  static const option_id* const classes[CLASS_COUNT];  // each ended by -1
  static const char* const class_descriptions[CLASS_COUNT];

  // Set by the driver: the program name for help, and the source of the
  // next command-line word when an argument is given separately.
  static const char* executable_name;
  static const char* (*next_arg)();
  static const char* const tool_version;

  explicit option_obj(bool internal);
  option_obj(const option_obj&) = default;
  option_obj& operator=(const option_obj&) = default;
  ~option_obj() = default;

  // Parses one argument without its leading dash. On failure returns false
  // and stores the position of the bad text through `failed`; with a null
  // `failed` the failure is reported as "invalid option" and ends the run.
  bool process_option(const char* text, const char** failed);

  void setopt(option_id id);
  void setopt(option_id id, const char* arg);
  void setopt(option_id id, long arg);
  void setopt(option_id id, int arg) { setopt(id, static_cast<long>(arg)); }
  void setopt(class_id cls);
  void clearopt(option_id id);
  void clearopt(class_id cls);

  long getnumarg(option_id id, unsigned n = 0) const;
  const char* getstrarg(option_id id, unsigned n = 0) const;
  unsigned getargcount(option_id id) const;
  bool get_argument(option_id id, an_argument_t* out) const;
  bool args_match_list(option_id id, const char* const* list) const;
  bool parsed_option(option_id id) const;
  bool is_set(option_id id) const { return parsed_option(id); }
  unsigned state(option_id id) const;
  unsigned seen(option_id id) const;

  // The options seen, in the order of first sighting, with their text in the
  // form of a stored option: "--name" or "--name=value".
  void export_option_pairs(export_option_list_type& list, class_id cls = CLASS_ALL) const;
  export_option_list_type export_option_pairs() const;
  std::vector<std::string> export_option_list() const;
  std::vector<std::string> export_option_class(class_id cls) const;
  // form 0: "--name=value"; form 1: without the first dash, for process_option.
  std::string export_option(option_id id, int form) const;
  // Applies every option of `from` on top of this one: what the command line
  // does to each option set of the input file.
  void import_options(const option_obj& from);
  void import_option_pairs(const export_option_list_type& pairs);

  void addfileopt(std::string file, std::string tool);
  void clear_history();
  void dump_history() const;
  const std::vector<an_argument_t>& history() const { return history_; }
  void dump(int seen_only) const;
  void print() const;
  void debug_level(int level) { debug_ = level != 0; }
  void merge_init();
  void merge_options(option_obj& other);

  static void display_option_help(const char* program, int cls);
  static void print_banner(FILE* stream);
  static const char* rot13(const char* text);
  static long strtol_by_radix(const char* text, char** end, int radix);
  static unsigned long strtoul_by_radix(const char* text, char** end, int radix);
  static int get_radix(const char* text, const char** digits);

 private:
  struct arg_slot {
    std::vector<std::string> texts;
    std::vector<long> numbers;
    unsigned count = 0;
  };
  struct recovery_point;
  static recovery_point* recovery_chain_;  // not re-entrant

  const char* name() const { return internal_ ? "<internal>" : "<options>"; }
  void setarg(option_id id, const char* text, const long* number);
  void setopt_internal(option_id id, const char* text, const long* number);
  void add_to_history(option_id id, const char* arg);
  void do_conflicts(option_id id);
  const char* history_spelling(option_id id) const;
  void free_args(option_id id);
  std::string argument_text(option_id id) const;

  // Parser.
  [[noreturn]] static void parse_failure(const char* at);
  const char* parse_one(const char* text);
  const char* parse_name(const char* text, bool long_form);
  const char* parse_arg(option_id id, const char* text, const char* label, int parse_option_type,
                        an_argument_t* arg);
  long check_numerical_arg(option_id id, const char* text, long min, long max, bool hex);
  long parse_oneof(option_id id, const char* word);
  void deprecated_case(const char* found, const char* expected, size_t length);
  void count_sighting(option_id id);

  bool debug_ = false;
  unsigned state_[OPTION_COUNT] = {};
  unsigned seen_[OPTION_COUNT] = {};
  arg_slot args_[OPTION_COUNT];
  std::vector<an_argument_t> history_;
  const char* current_text_ = nullptr;
  char spelled_[96] = {};  // the option being parsed, as written
  bool internal_;
  bool merging_ = false;
  std::vector<std::pair<std::string, std::string>> files_;
};
