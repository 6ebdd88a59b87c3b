// Symbols (SYMTAB), lexical scopes (LS), function records (FUNINFO) and the
// small lists around them.
#pragma once
#include <cstdint>
#include <cstdio>

struct TYPE;
struct PSN;
struct LS;
struct LIST;
struct NODE;
struct FUNINFO;
struct BBLK;
struct BITVEC;

struct PRAGMA {
  uint32_t id = 0;  // 8 bits in use
  uint32_t argc = 0;
  char** argv = nullptr;
  PRAGMA* next = nullptr;
};

struct EXPR_ELEM {
  NODE* tree = nullptr;
  EXPR_ELEM* next = nullptr;
};
struct EXPR_LIST {
  EXPR_ELEM* head = nullptr;
  EXPR_ELEM* tail = nullptr;
  EXPR_ELEM* cursor = nullptr;
};

// Storage classes the logic looks at.
enum SCLASS {
  SC_LOCAL = 1, SC_EXTDEF = 2, SC_STATIC = 3, SC_REGISTER = 4, SC_EXTREF = 5,
  SC_NOLIST = 6, SC_PARAM = 9, SC_REG17 = 17, SC_REG22 = 22, SC_PARAM_NOINLINE = 27,
  SC_CLUSTER_OTHER = 108, SC_CLUSTER_EXTDEF = 109,
};

// Bits of the 16-bit storage qualifier `scqual`.
enum SCQUAL_BITS : uint16_t {
  SQ_INLINE = 0x0004,
  SQ_0008 = 0x0008,  // no meaning to the optimizer but this:
  // cleared on the function in hand while do_one_function optimises it
  SQ_CLEARED_WHILE_OPTIMISED = SQ_INLINE | SQ_0008,
  SQ_INTRINSIC = 0x0010,  // a cregister; a NAME of it marks the function
  SQ_INTERRUPT = 0x0020,
  SQ_GLOBAL_REG = 0x0080,  // a variable held in a global register
  // The three usage bits of a global; SQ_REFERENCED is set for each global
  // the written code refers to.
  SQ_USAGE_1 = 0x2000,
  SQ_USAGE_2 = 0x4000,
  SQ_REFERENCED = 0x8000,
  SQ_USAGE_BITS = SQ_USAGE_1 | SQ_USAGE_2 | SQ_REFERENCED,
  // The bits of a qualifier read from a file that are kept.
  SQ_READ_MASK = 0x19ff,
};

// Pragma ids the optimizer reads or writes (PRAGMA::id, 8 bits in use).
enum PRAGMA_ID : uint32_t {
  PRAGMA_SOURCE_LANGUAGE = 49,
  PRAGMA_LOCAL_STATIC_OF = 51,
  PRAGMA_KEEP_ALIVE = 52,  // keeps the symbol from being marked dead
  PRAGMA_TRANSLATION_UNIT = 55,
  PRAGMA_NOT_WRITTEN = 57,  // a statement pragma that never goes to the output
  PRAGMA_CLASS_MEMBER = 58,
  PRAGMA_DEAD = 59,
  PRAGMA_COMDAT_GROUP = 69,
  PRAGMA_CTOR_DTOR = 71,
  PRAGMA_EXCEPTION_SPEC = 75,
  PRAGMA_FUNCTION_SYNONYM = 78,
  PRAGMA_RET_BY_CCTOR = 81,  // returns a class by copy construction
  PRAGMA_ALWAYS_INLINE = 88,
};

enum SFLAGS {
  SF_HAS_HOME = 0x01, SF_USER = 0x04, SF_SAFE_AUTO = 0x08, SF_OWN_STATIC = 0x10,
  SF_CLUSTERED = 0x80,
};

struct SYMTAB {
  char* name = nullptr;
  int32_t size = 0;    // bits
  int32_t offset = 0;
  uint8_t sclass = 0;
  uint8_t orig_sclass = 0;
  uint16_t scqual = 0;
  TYPE* type = nullptr;
  TYPE* decl_type = nullptr;
  TYPE* type2 = nullptr;
  int32_t align = 0;
  LS* scope = nullptr;
  PSN* psn = nullptr;
  PRAGMA* pragmas = nullptr;
  EXPR_LIST* init = nullptr;
  int32_t file_level = -1;
  int32_t file_index = -1;
  uint32_t file_offset = 0;
  uint32_t option_set = 0;
  SYMTAB* next = nullptr;
  uint8_t lex_level = 0;
  int32_t serial = 0;
  uint16_t word16 = 65535;
  uint8_t sflags = 0;
  int32_t block = 0;  // block number of the definition, for dumps
  uint8_t alias_marks = 0;  // ALIAS_MARKS; recomputed by the passes that read them
};

// Per-symbol alias facts. ALIAS_EXPOSED: the address escapes, so the symbol
// may be read or written through a pointer or by a callee. The two group bits
// pair symbols that overlap in memory although they have different names: a
// pair aliases when one carries ALIAS_GROUP_A and the other ALIAS_GROUP_B.
enum ALIAS_MARKS : uint8_t {
  ALIAS_EXPOSED = 0x01, ALIAS_GROUP_A = 0x02, ALIAS_GROUP_B = 0x04,
  ALIAS_VECTOR_OR_COMPLEX = 0x08,
};

// Lexical scope.
struct LS {
  LS* parent = nullptr;
  LS* first_child = nullptr;
  LS* next_sibling = nullptr;
  LS* last_child = nullptr;  // so that a function of many blocks opens each at once
  PSN* open_psn = nullptr;
  PSN* close_psn = nullptr;
  SYMTAB* owner = nullptr;
  struct SYMLIST* pointers = nullptr;
  struct SYMLIST* classes = nullptr;
  struct SYMLIST* arrays = nullptr;
  struct SYMLIST* others = nullptr;
  uint32_t flags = 0;
  int num1 = 0;
  int num2 = 0;
  int level = 0;
  uint8_t flag_byte = 0;

  static LS* open(PSN* psn, SYMTAB* sym, uint32_t flags);
  static void close(PSN* psn, SYMTAB* sym, uint32_t flags);
  void add_symbol(SYMTAB* sym);
  bool encloses(const LS* scope) const;
  bool is_strictly_contained_by(const LS* scope) const;
  static LS* innermost_common_scope(LS* a, LS* b);
  static LS* level_0_scope();
  static LS* level_1_scope();
  static LS* level_2_scope();
  static LS* current();
  void validate() const;
  void print(bool flag, FILE* stream, int indent, bool flag2) const;
  // Groups the pointer variables of the current function whose values derive
  // from one another (ssa/restrict.cpp).
  void build_PTR_equivalence_groups();
};

struct SYMLIST {
  SYMTAB* sym = nullptr;
  SYMLIST* next = nullptr;
};
SYMLIST* mk_symlist(SYMTAB* sym, SYMLIST* next);
void erase_symlist(SYMLIST* list);

enum FUN_FLAGS : uint32_t {
  FUN_calls_anonymous = 0x00000001, FUN_cannot_suppress = 0x00000002,
  FUN_is_unsuppressed = 0x00000004, FUN_never_returns = 0x00000008,
  FUN_calls_OUTSIDE = 0x00000010, FUN_cannot_inline = 0x00000020,
  FUN_is_suppressed = 0x00000040, FUN_no_global_asg = 0x00000080,
  FUN_no_global_use = 0x00000100, FUN_is_pragma_EXT = 0x00000200,
  FUN_calls_SYSTEM = 0x00000400, FUN_is_processed = 0x00000800,
  FUN_is_anonymous = 0x00001000, FUN_is_interrupt = 0x00002000,
  FUN_follows_call = 0x00004000, FUN_value_needed = 0x00008000,
  FUN_no_byref_asg = 0x00010000, FUN_is_pure_fun = 0x00020000,
  FUN_cannot_beta = 0x00040000, FUN_no_RPT_loop = 0x00080000,
  FUN_is_inlined = 0x00200000, FUN_no_ind_asg = 0x00400000,
  FUN_no_ind_use = 0x00800000, FUN_is_cg_root = 0x01000000,
  FUN_is_called = 0x04000000, FUN_is_extern = 0x08000000,
  FUN_is_SYSTEM = 0x10000000, FUN_has_1_BB = 0x20000000,
  FUN_is_main = 0x40000000, FUN_is_cpp = 0x80000000,
};

struct EHT_ENTRY;
struct FUNINFO {
  FUNINFO* hash_next = nullptr;
  SYMTAB* sym = nullptr;
  void* cg_callers = nullptr;
  void* cg_callees = nullptr;
  TYPE* return_type = nullptr;
  char* override_options = nullptr;
  EHT_ENTRY* eht = nullptr;
  int eht_count = 0;
  void* body[2] = {nullptr, nullptr};
  PSN* begin_psn = nullptr;
  PSN* args_psn = nullptr;
  PSN* locals_psn = nullptr;
  PSN* end_psn = nullptr;
  uint32_t flags = 0;
  int16_t dfs_number = -1;
  int profile_mode = 0;  // PROFILE_MODE
  BITVEC* call_sites = nullptr;
  BITVEC* saved_call_sites = nullptr;
  char* name = nullptr;
  int nblocks = 0;
  BBLK* first_block = nullptr;
  LIST* stmts = nullptr;
  SYMTAB* symbols = nullptr;
  SYMTAB* temps = nullptr;
  SYMTAB* params = nullptr;
  SYMTAB* chain4 = nullptr;
  LS* root_scope = nullptr;
  uint8_t byte0 = 0;
  uint8_t bitfield_used = 0;
  uint8_t intrinsic_used = 0;
  uint8_t leaf = 0;
  bool in_all_functions = false;
};

// Functions in processing order.
struct FUNLIST {
  FUNINFO* fun = nullptr;
  FUNLIST* next = nullptr;
};
FUNLIST* mkFUNLIST(FUNINFO* fun, FUNLIST* next);

// FUNINFO::profile_mode: whether the function carries profile counts.
enum PROFILE_MODE { PROFILE_NONE = 0, PROFILE_COUNTS = 2 };

// FILEINFO::stage: before the global symbols enter the output (the first
// reading and the call-graph analysis), and after.
enum FILE_STAGE : uint8_t { STAGE_FIRST_READING = 1, STAGE_SECOND_READING = 2 };

// The one record of the translation unit.
struct FILEINFO {
  FUNLIST* all_functions = nullptr;
  FUNLIST* funlist = nullptr;
  FUNINFO* cg_root = nullptr;
  uint16_t cg_count = 0;
  uint8_t flags = 0;
  uint8_t stage = 0;  // FILE_STAGE
};
extern FILEINFO fileinfo;

FUNINFO* make_FUNINFO(const char* name);
FUNINFO* find_FUNINFO(const char* name);
unsigned funinfo_hash(const char* name);
void init_FUNINFO_flags(FUNINFO* funinfo, bool flag);
const char* skip_name_prefix(const char* name);
bool function_is_defined(const FUNINFO* funinfo);
bool is_system_function(const char* name);
void dump_FUNINFO(const FUNINFO* funinfo, FILE* stream);

bool symbol_has_pragma(const SYMTAB* sym, uint32_t id);
void opt_process_pragma(SYMTAB* sym, PRAGMA* pragma);

void sym_def(SYMTAB* sym);
SYMTAB* sym_temp(char kind, long number, TYPE* type, LS* scope);
SYMTAB* revsymtab(SYMTAB* chain, SYMTAB* tail);
SYMTAB* intern_symbol(SYMTAB* sym, FUNINFO* funinfo);
void init_symbols();
void interned_stats();
bool is_internal_name(const char* name);
bool is_optimizer_temp(const char* name, int kind, int flag);

extern SYMTAB* errno_symbol;
extern long temp_count;
extern int symbol_serial;
void reset_function_scopes();
