#include "ir/symbol.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/types.h"
#include "options/global_flags.h"

SYMTAB* errno_symbol = nullptr;
long temp_count = 0;
int symbol_serial = 0;

namespace {
const int kBuckets = 73;
FUNINFO* funinfo_table[kBuckets];
// Beside the buckets, whose chains keep the order of creation, an index by
// the whole name: with thousands of functions a chain holds hundreds of
// records, and every lookup walked one. Open addressing over a table at most
// half full; the names live in the global zone.
class FUNINFO_INDEX {
 public:
  FUNINFO* find(const char* name) const {
    if (slots_.empty()) return nullptr;
    size_t mask = slots_.size() - 1;
    for (size_t i = hash(name) & mask;; i = (i + 1) & mask) {
      FUNINFO* f = slots_[i];
      if (!f || strcmp(f->name, name) == 0) return f;
    }
  }
  void add(FUNINFO* f) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    place(f);
    ++count_;
  }

 private:
  static size_t hash(const char* name) { return std::hash<std::string_view>()(name); }
  void place(FUNINFO* f) {
    size_t mask = slots_.size() - 1;
    size_t i = hash(f->name) & mask;
    while (slots_[i]) i = (i + 1) & mask;
    slots_[i] = f;
  }
  void grow() {
    std::vector<FUNINFO*> old(std::max<size_t>(64, 2 * slots_.size()), nullptr);
    old.swap(slots_);
    for (FUNINFO* f : old)
      if (f) place(f);
  }
  std::vector<FUNINFO*> slots_;
  size_t count_ = 0;
};
FUNINFO_INDEX funinfo_index;

struct SystemName {
  const char* name;
  uint32_t flags;
};

// What calls of these library functions are known to do.
const SystemName kSystemNames[] = {
    {"longjmp", FUN_is_SYSTEM | 0x180}, {"setjmp", FUN_is_SYSTEM | 0x180},
    {"signal", FUN_is_SYSTEM | 0x180}, {"bsearch", FUN_is_SYSTEM | 0x180},
    {"qsort", FUN_is_SYSTEM | 0x180}, {"__cxa_throw", FUN_is_SYSTEM | 0x180},
    {"__cxa_rethrow", FUN_is_SYSTEM | 0x180}, {"__cxa_begin_catch", FUN_is_SYSTEM | 0x180},
    {"fopen", FUN_is_SYSTEM | 0x180}, {"freopen", FUN_is_SYSTEM | 0x180},
    {"fclose", FUN_is_SYSTEM | 0x180}, {"fread", FUN_is_SYSTEM | 0x180},
    {"fwrite", FUN_is_SYSTEM | 0x180}, {"fseek", FUN_is_SYSTEM | 0x180},
    {"rename", FUN_is_SYSTEM | 0x180},
    {"strcmp", FUN_is_SYSTEM | 0x410180}, {"strlen", FUN_is_SYSTEM | 0x410180},
    {"ferror", FUN_is_SYSTEM | 0x410180}, {"feof", FUN_is_SYSTEM | 0x410180},
    {"ftell", FUN_is_SYSTEM | 0x410180}, {"getenv", FUN_is_SYSTEM | 0x410180},
    {"mblen", FUN_is_SYSTEM | 0x410180}, {"printf", FUN_is_SYSTEM | 0x410180},
    {"fprintf", FUN_is_SYSTEM | 0x410180},
    {"atan", FUN_is_SYSTEM | 0xc30180}, {"ceil", FUN_is_SYSTEM | 0xc30180},
    {"fabs", FUN_is_SYSTEM | 0xc30180}, {"floor", FUN_is_SYSTEM | 0xc30180},
    {"isalnum", FUN_is_SYSTEM | 0xc30180}, {"isalpha", FUN_is_SYSTEM | 0xc30180},
    {"iscntrl", FUN_is_SYSTEM | 0xc30180}, {"isdigit", FUN_is_SYSTEM | 0xc30180},
    {"isgraph", FUN_is_SYSTEM | 0xc30180}, {"islower", FUN_is_SYSTEM | 0xc30180},
    {"isprint", FUN_is_SYSTEM | 0xc30180}, {"ispunct", FUN_is_SYSTEM | 0xc30180},
    {"isspace", FUN_is_SYSTEM | 0xc30180}, {"isupper", FUN_is_SYSTEM | 0xc30180},
    {"isxdigit", FUN_is_SYSTEM | 0xc30180}, {"labs", FUN_is_SYSTEM | 0xc30180},
    {"tolower", FUN_is_SYSTEM | 0xc30180}, {"toupper", FUN_is_SYSTEM | 0xc30180},
    {"_sqrt", FUN_is_SYSTEM | 0xc30180},
    {"acos", FUN_is_SYSTEM | 0xc10180}, {"asin", FUN_is_SYSTEM | 0xc10180},
    {"atan2", FUN_is_SYSTEM | 0xc10180}, {"cosh", FUN_is_SYSTEM | 0xc10180},
    {"fmod", FUN_is_SYSTEM | 0xc10180}, {"ldexp", FUN_is_SYSTEM | 0xc10180},
    {"ldiv", FUN_is_SYSTEM | 0xc10180}, {"log", FUN_is_SYSTEM | 0xc10180},
    {"log10", FUN_is_SYSTEM | 0xc10180}, {"malloc", FUN_is_SYSTEM | 0xc10180},
    {"pow", FUN_is_SYSTEM | 0xc10180}, {"sinh", FUN_is_SYSTEM | 0xc10180},
    {"sqrt", FUN_is_SYSTEM | 0xc10180}, {"tanh", FUN_is_SYSTEM | 0xc10180},
};
const char* const kNeverReturns[] = {"exit", "abort", "longjmp", "__cxa_throw", "__cxa_rethrow"};

const SystemName* find_system_name(const char* name) {
  for (const SystemName& s : kSystemNames)
    if (strcmp(s.name, name) == 0) return &s;
  return nullptr;
}

// Interned file-lifetime twins of locals moved across functions.
std::unordered_map<std::string, SYMTAB*> interned;
int interned_null_funinfo = 0;
}  // namespace

FUNLIST* mkFUNLIST(FUNINFO* fun, FUNLIST* next) {
  FUNLIST* f = static_cast<FUNLIST*>(zalloc0(0, sizeof(FUNLIST)));
  f->fun = fun;
  f->next = next;
  return f;
}

SYMLIST* mk_symlist(SYMTAB* sym, SYMLIST* next) {
  void* mem = take_from_freemap(sizeof(SYMLIST));
  if (!mem) mem = zalloc0(lex, sizeof(SYMLIST));
  SYMLIST* l = static_cast<SYMLIST*>(mem);
  l->sym = sym;
  l->next = next;
  return l;
}

void erase_symlist(SYMLIST* list) {
  while (list) {
    SYMLIST* next = list->next;
    if (zlocalp(list)) add_to_freemap(list, sizeof(SYMLIST));
    list = next;
  }
}

unsigned funinfo_hash(const char* name) {
  unsigned h = 0;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p) {
    h = (h << 4) + *p;
    unsigned top = h & 0xf0000000u;
    if (top) {
      h ^= top >> 28;
      h &= ~top;
    }
  }
  return (h & 0x7fff) % kBuckets;
}

FUNINFO* find_FUNINFO(const char* name) {
  return funinfo_index.find(name);
}

FUNINFO* make_FUNINFO(const char* name) {
  if (FUNINFO* f = find_FUNINFO(name)) return f;
  FUNINFO* f = new (zalloc0(0, sizeof(FUNINFO))) FUNINFO();
  f->name = zstrdup(0, name);
  unsigned h = funinfo_hash(name);
  f->hash_next = funinfo_table[h];
  funinfo_table[h] = f;
  funinfo_index.add(f);
  init_FUNINFO_flags(f, is_system_function(name));
  fileinfo.all_functions = mkFUNLIST(f, fileinfo.all_functions);
  f->in_all_functions = true;
  return f;
}

void init_FUNINFO_flags(FUNINFO* f, bool system) {
  const char* name = f->name;
  if (strcmp(name, "main") == 0) f->flags |= FUN_is_main;
  if (strcmp(name, "_system_pre_init") == 0 || strcmp(name, "_system_post_cinit") == 0 ||
      strcmp(name, "__mpu_init") == 0 || strncmp(name, "__sti__", 7) == 0)
    f->flags |= FUN_is_cg_root;
  if (system)
    if (const SystemName* s = find_system_name(name)) f->flags |= s->flags;
  for (const char* n : kNeverReturns)
    if (strcmp(n, name) == 0) f->flags |= FUN_never_returns;
}

bool is_system_function(const char* name) { return find_system_name(name) != nullptr; }

// This target adds no prefix to names.
const char* skip_name_prefix(const char* name) { return name; }

bool function_is_defined(const FUNINFO* f) { return f && f->sym && f->sym->file_offset != 0; }

void dump_FUNINFO(const FUNINFO* f, FILE* stream) {
  if (!stream) {
    if (!print_debug || !fdebug) return;
    stream = fdebug;
  }
  static const char* const kNames[32] = {
      "FUN_calls_anonymous", "FUN_cannot_suppress", "FUN_is_unsuppressed", "FUN_never_returns",
      "FUN_calls_OUTSIDE", "FUN_cannot_inline", "FUN_is_suppressed", "FUN_no_global_asg",
      "FUN_no_global_use", "FUN_is_pragma_EXT", "FUN_calls_SYSTEM", "FUN_is_processed",
      "FUN_is_anonymous", "FUN_is_interrupt", "FUN_follows_call", "FUN_value_needed",
      "FUN_no_byref_asg", "FUN_is_pure_fun", "FUN_cannot_beta", "FUN_no_RPT_loop",
      nullptr, "FUN_is_inlined", "FUN_no_ind_asg", "FUN_no_ind_use",
      "FUN_is_cg_root", nullptr, "FUN_is_called", "FUN_is_extern",
      "FUN_is_SYSTEM", "FUN_has_1_BB", "FUN_is_main", "FUN_is_cpp"};
  fprintf(stream, "%s() has these properties: 0x%08lx\n", f->name, static_cast<unsigned long>(f->flags));
  for (int bit = 0; bit < 32; ++bit)
    if ((f->flags >> bit) & 1 && kNames[bit]) fprintf(stream, "\t%s\n", kNames[bit]);
}

bool symbol_has_pragma(const SYMTAB* sym, uint32_t id) {
  for (const PRAGMA* p = sym->pragmas; p; p = p->next)
    if ((p->id & 0xff) == id) return true;
  return false;
}

void opt_process_pragma(SYMTAB* sym, PRAGMA* pragma) {
  if (!sym) return;
  uint32_t id = pragma->id & 0xff;
  FUNINFO* f = sym->type && sym->type->is_func() ? make_FUNINFO(skip_name_prefix(sym->name)) : nullptr;
  switch (id) {
    case PRAGMA_KEEP_ALIVE:
      sym->scqual |= SQ_USAGE_BITS;
      break;
    case PRAGMA_SOURCE_LANGUAGE:
      if (f && pragma->argc > 0 && strcmp(pragma->argv[0], "C++") == 0) f->flags |= FUN_is_cpp;
      break;
    case PRAGMA_FUNCTION_SYNONYM:
      if (f) f->flags |= FUN_cannot_inline | FUN_cannot_suppress;
      break;
    default:
      break;
  }
  for (uint32_t i = 0; f && i < pragma->argc; ++i) {
    const char* a = pragma->argv[i];
    if (strcmp(a, "extern") == 0 || strcmp(a, "default") == 0 || strcmp(a, "protected") == 0)
      f->flags |= FUN_is_pragma_EXT;
  }
}

namespace {
bool errno_name(const char* n) {
  if (n[0] == '_' || n[0] == '.') ++n;
  return strcmp(n, "errno") == 0 || strcmp(n, "_Errno") == 0;
}
}  // namespace

void sym_def(SYMTAB* sym) {
  if (sym->lex_level == 0) {
    sym->next = global_symbols;
    global_symbols = sym;
    if (sym->type && sym->type->is_int() && !sym->type->is_func() && errno_name(sym->name)) errno_symbol = sym;
    return;
  }
  if (sym->sclass == SC_NOLIST || !currfuninfo) return;
  // A local's register class is the allocator's to give again; a
  // parameter keeps the class its caller passes it in.
  if (sym->lex_level >= 2 && (sym->sclass == SC_REG22 || sym->sclass == SC_REGISTER)) sym->sclass = SC_LOCAL;
  if (sym->lex_level > 2) sym->lex_level = 2;
  if (sym->sclass == SC_PARAM || sym->lex_level == 1) {
    sym->next = currfuninfo->params;
    currfuninfo->params = sym;
  } else {
    sym->next = currfuninfo->symbols;
    currfuninfo->symbols = sym;
  }
}

SYMTAB* sym_temp(char kind, long number, TYPE* type, LS* scope) {
  if (number < 0) number = ++temp_count;
  char name[64];
  snprintf(name, sizeof name, "%s$%c%ld", "$O", kind, number);
  if (type && type->rep && type->rep->kind == TYPE::KIND_ENUM) type = tp->basic[TYPE_PKG::BT_INT];
  if (type && type->is_qualified()) type = type->type_qualified();
  if (type && type->is_array()) {
    TYPE* elem = type->elem_type();
    if (elem && elem->is_qualified()) {
      ARRAY_RECORD* a = type->getr_array();
      type = tp->mk_array(elem->type_qualified(), a->count, type->size, type->align, type->is_cpp, a->complete);
    }
  }
  SYMTAB* s = new (zalloc(sizeof(SYMTAB))) SYMTAB();
  s->name = zstrdup(1, name);
  s->type = s->decl_type = type;
  s->size = type ? static_cast<int32_t>(type->size) : 0;
  s->align = type ? static_cast<int32_t>(type->align) : 0;
  s->sclass = s->orig_sclass = SC_LOCAL;
  s->sflags = SF_HAS_HOME;
  s->scope = scope ? scope : LS::level_2_scope();
  s->lex_level = 2;
  s->serial = symbol_serial++;
  if (currfuninfo) {
    s->next = currfuninfo->temps;
    currfuninfo->temps = s;
    if (currfuninfo->root_scope) currfuninfo->root_scope->add_symbol(s);
  }
  if (i_file) i_file->if_enter_local(s);
  return s;
}

SYMTAB* revsymtab(SYMTAB* chain, SYMTAB* tail) {
  while (chain) {
    SYMTAB* next = chain->next;
    chain->next = tail;
    tail = chain;
    chain = next;
  }
  return tail;
}

SYMTAB* intern_symbol(SYMTAB* sym, FUNINFO* funinfo) {
  if (!sym || sym->lex_level == 0) return sym;
  // Combine the name, the type text and the file index as a hash key.
  std::string key = std::string(sym->name) + "\x01" + (sym->type ? sym->type->printstr(false) : "") + "\x01" +
                    std::to_string(sym->file_index);
  auto it = interned.find(key);
  if (it != interned.end()) return it->second;
  SYMTAB* twin = new (zalloc0(0, sizeof(SYMTAB))) SYMTAB(*sym);
  twin->name = zstrdup(0, sym->name);
  twin->next = nullptr;
  if (!funinfo) ++interned_null_funinfo;
  interned.emplace(key, twin);
  return twin;
}

void init_symbols() {
  interned.clear();
  interned_null_funinfo = 0;
}

void interned_stats() {
  if (!print_debug || !fdebug) return;
  fprintf(fdebug, "\n%u interned symbols;  load factor %.2f, max load factor %.2f, %d with NULL funinfo.\n",
          static_cast<unsigned>(interned.size()), interned.load_factor(), interned.max_load_factor(),
          interned_null_funinfo);
}

bool is_internal_name(const char* name) { return name && name[0] == '$'; }

// Optimizer temporaries are named "$O$<kind><number>".
bool is_optimizer_temp(const char* name, int kind, int) {
  return name && strncmp(name, "$O$", 3) == 0 && name[3] == static_cast<char>(kind);
}
