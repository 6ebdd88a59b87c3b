// Symbol records (35) and pragma records (94), the globals section, and the
// numbering by which trees and function records name symbols: level 0 and
// an index into the globals, or a block level and an index into the
// current function's locals.
#include <cstring>
#include <new>

#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"

static const uint32_t kGlobalStep = 100;
static const uint32_t kLocalStep = 20;

template <class T>
static void grow_symbols(T*& array, uint32_t& capacity, uint32_t step) {
  uint64_t want = static_cast<uint64_t>(capacity) + step;
  T* grown = want > 0xffffffffu / sizeof(T) ? nullptr : static_cast<T*>(realloc(array, want * sizeof(T)));
  if (!grown) I_FILE::if_fail(">> out of memory");
  array = grown;
  capacity = static_cast<uint32_t>(want);
}

// ---------------------------------------------------------------------------
// Numbering

void I_FILE::if_enter_global(SYMTAB* sym) {
  if (global_count >= global_capacity) grow_symbols(globals, global_capacity, kGlobalStep);
  globals[global_count] = sym;
  if (sym) {
    sym->file_level = 0;
    sym->file_index = static_cast<int32_t>(global_count);
    // So that the file-name table is complete before the globals are
    // written behind it.
    if (writing && sym->psn && sym->psn->file) i_enter_file_name(sym->psn->file);
  }
  global_count++;
}

void I_FILE::if_enter_local(SYMTAB* sym) {
  if (local_count >= local_capacity) grow_symbols(locals, local_capacity, kLocalStep);
  locals[local_count] = sym;
  if (sym) {
    sym->file_level = block_depth;
    sym->file_index = static_cast<int32_t>(local_count);
  }
  local_count++;
}

SYMTAB* I_FILE::if_symbol_ref(int32_t level, uint32_t index) {
  if (level == -1) return nullptr;
  if (level == 0) {
    if (index >= global_count) if_bad_record();
    return globals[index];
  }
  if (index >= local_count) if_bad_record();
  return locals[index];
}

// The numbers of a symbol in this file; a symbol that was never entered
// here cannot be named.
void I_FILE::if_symbol_numbers(const SYMTAB* sym, int32_t& level, uint32_t& index) {
  level = sym->file_level;
  index = static_cast<uint32_t>(sym->file_index);
  bool entered = level == 0 ? index < global_count && globals[index] == sym
                            : level > 0 && index < local_count && locals[index] == sym;
  if (!entered) if_bad_record();
}

// ---------------------------------------------------------------------------
// Reading

void I_FILE::if_read_globals() {
  if (!globals_offset) return;
  uint32_t back = if_tell();
  if_seek(globals_offset);
  for (;;) {
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id == IREC_EOF) break;
    if (id != IREC_SYMBOL) if_bad_record();
    if_read_symbol_def();
  }
  if_seek(back);
}

SYMTAB* I_FILE::if_read_symbol_def() {
  int pragma_count;
  SYMTAB* sym = if_read_sym(pragma_count);
  if (block_depth != 0)
    if_enter_local(sym);
  else
    if_enter_global(sym);
  for (int i = 0; i < pragma_count; i++) {
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id != IREC_PRAGMA) if_bad_record();
    client->cl_pragma(sym, if_read_pragma());
  }
  client->cl_symbol_def(sym);
  return sym;
}

SYMTAB* I_FILE::if_read_sym(int& pragma_count) {
  const char* name = i_read_string(0);
  uint32_t size = i_read_uint();
  uint32_t offset = i_read_uint();
  int sclass = i_read_u8();
  int qualifier = i_read_u16();
  TYPE* type = find_typeref(i_read_typeref());
  TYPE* type2 = find_typeref(i_read_typeref());
  uint32_t align = i_read_uint();
  pragma_count = i_read_s8();
  if (pragma_count < 0) if_bad_record();
  uint32_t file_offset = i_read_uint();
  uint32_t option_set = i_read_uint();
  PSN* psn = i_read_psn();
  return client->cl_symbol_create(name, type, type2, size, align, offset, sclass, qualifier, psn,
                                  file_offset, option_set);
}

PRAGMA* I_FILE::if_read_pragma() {
  PRAGMA* p = new (if_alloc(sizeof(PRAGMA))) PRAGMA;
  p->id = i_read_uint() & 0xff;
  p->argc = if_check_count(i_read_uint(), 1);
  p->argv = static_cast<char**>(if_alloc((p->argc + 1) * sizeof(char*)));
  for (uint32_t i = 0; i < p->argc; i++) p->argv[i] = if_strdup(i_read_string(0));
  p->argv[p->argc] = nullptr;
  return p;
}

// ---------------------------------------------------------------------------
// Writing

void I_FILE::if_write_all_globals() {
  globals_offset = if_tell();
  for (uint32_t i = 0; i < global_count; i++)
    if (globals[i]) if_write_symbol(globals[i]);
  i_write_eof();
}

void I_FILE::if_write_symbol(SYMTAB* sym) {
  int pragma_count = 0;
  for (PRAGMA* p = sym->pragmas; p; p = p->next) pragma_count++;
  // The count travels in one signed byte.
  if (pragma_count > 127) if_bad_record();
  // A global's file offset names its function or initialiser record in this
  // file; one whose body is not here has none.
  bool is_global_here = sym->file_level == 0 && static_cast<uint32_t>(sym->file_index) < global_count &&
                        globals[sym->file_index] == sym;
  uint32_t file_offset = !is_global_here || placed_.count(sym) ? sym->file_offset : 0;
  i_write_string(sym->name, 0);
  i_write_uint(static_cast<uint32_t>(sym->size));
  i_write_uint(static_cast<uint32_t>(sym->offset));
  i_write_i8(sym->sclass);
  i_write_i16(sym->scqual);
  i_write_typeref(sym->type);
  i_write_typeref(sym->type2);
  i_write_uint(static_cast<uint32_t>(sym->align));
  i_write_i8(pragma_count);
  i_write_uint(file_offset);
  i_write_uint(sym->option_set);
  i_write_psn(sym->psn);
  i_flush(IREC_SYMBOL);
  for (PRAGMA* p = sym->pragmas; p; p = p->next) if_write_pragma(p);
}

void I_FILE::if_write_pragma(const PRAGMA* pragma) {
  i_write_uint(pragma->id);
  i_write_uint(pragma->argc);
  for (uint32_t i = 0; i < pragma->argc; i++) i_write_string(pragma->argv[i], 0);
  i_flush(IREC_PRAGMA);
}
