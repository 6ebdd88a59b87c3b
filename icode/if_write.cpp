// Record writers of the function section and the initialisers. The caller
// writes a function in the order of the format: begin, parameters, end of
// arguments, locals, end of locals, statements, exception table, end.
#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/symbol.h"

void I_FILE::if_write_control(int id, const PSN* psn) {
  i_write_psn(psn);
  i_flush(id);
  switch (id) {
    case IREC_END_FUNC:
      block_depth = 0;
      break;
    case IREC_BEGIN_BLOCK:
      block_depth++;
      break;
    case IREC_END_BLOCK:
      block_depth--;
      break;
    case IREC_END_ARGS:
      block_depth = 2;
      break;
    default:
      break;
  }
}

void I_FILE::if_write_begin_func(SYMTAB* sym, const PSN* psn) {
  int32_t level;
  uint32_t index;
  if_symbol_numbers(sym, level, index);
  if (level != 0) if_bad_record();
  sym->file_offset = if_tell();
  placed_.insert(sym);
  i_write_psn(psn);
  i_write_uint(index);
  i_flush(IREC_BEGIN_FUNC);
  block_depth = 1;
  local_count = 0;
}

void I_FILE::if_write_assembly(const char* text, const PSN* psn) {
  i_write_string(text, 0);
  i_write_psn(psn);
  i_flush(IREC_ASM);
}

void I_FILE::if_write_loop(const uint32_t* words5, int value) {
  for (int i = 0; i < 5; i++) i_write_uint(words5[i]);
  i_write_i16(value);
  i_flush(IREC_LOOP);
}

void I_FILE::if_write_label(uint32_t id) {
  i_write_uint(id);
  i_flush(IREC_LABEL);
}

void I_FILE::if_write_mbank(const uint32_t* words5) {
  for (int i = 0; i < 5; i++) i_write_uint(words5[i]);
  i_flush(IREC_MBANK);
}

void I_FILE::if_write_expr(NODE* tree, const PSN* psn) {
  i_write_psn(psn);
  i_flush(IREC_EXPR);
  if (tree) if_write_expr_node(tree);
}

void I_FILE::if_write_comment(const char* text) {
  i_write_string(text, 0);
  i_flush(IREC_COMMENT);
}

void I_FILE::if_write_dep_edge(const uint32_t* words3) {
  for (int i = 0; i < 3; i++) i_write_uint(words3[i]);
  i_flush(IREC_DEP_EDGE);
}

void I_FILE::if_write_dep_vector(const IF_DD_PAIR* entries, uint32_t a, int b, int count) {
  // The count travels in one signed byte.
  if (count < 0 || count > 127) if_bad_record();
  i_write_uint(a);
  i_write_i8(b);
  i_write_i8(count);
  for (int i = 0; i < count; i++) {
    i_write_byte(entries[i].level);
    i_write_i8(entries[i].distance);
  }
  i_flush(IREC_DEP_VECTOR);
}

void I_FILE::if_write_eht_catch_entry(uint32_t count, const I_CATCH_ENTRY* entries) {
  for (uint32_t i = 0; i < count; i++) {
    i_write_string(entries[i].type_name, 0);
    i_write_uint(entries[i].number);
    i_write_bool(entries[i].flag);
  }
  i_flush(IREC_EHT_CATCH);
}

void I_FILE::if_write_func_info(int value) {
  i_write_i8(value);
  i_flush(IREC_FUNC_INFO);
}

void I_FILE::if_write_eht_entry(uint32_t id, uint32_t kind, uint32_t a, uint32_t b) {
  i_write_uint(id);
  i_write_uint(kind);
  i_write_uint(a);
  i_write_uint(b);
  i_flush(IREC_EHT_ENTRY);
}

void I_FILE::if_write_eht_hdr(uint32_t count) {
  i_write_uint(count);
  i_flush(IREC_EHT_HDR);
}

void I_FILE::if_write_func_eht(const EHT_ENTRY* entries, uint32_t count) {
  if_write_eht_hdr(count);
  for (uint32_t i = 0; i < count; i++) {
    const EHT_ENTRY& e = entries[i];
    if_write_eht_entry(e.id, e.kind, e.a, e.b);
    if (e.kind == EHT_KIND_EXPR)
      if_write_expr(e.tree, nullptr);
    else if (e.kind == EHT_KIND_CATCH)
      if_write_eht_catch_entry(e.b, e.catches);
  }
}

// The first initialiser ends the function section and opens its own.
void I_FILE::if_write_init(SYMTAB* sym) {
  int32_t level;
  uint32_t index;
  if_symbol_numbers(sym, level, index);
  if (level != 0) if_bad_record();
  if (!init_offset) {
    i_write_eof();
    init_offset = if_tell();
  }
  sym->file_offset = if_tell();
  placed_.insert(sym);
  i_write_uint(index);
  i_flush(IREC_INIT);
}

void I_FILE::if_write_ldspec_induct(uint32_t word, uint32_t a, int32_t b, TYPE* type,
                                    SYMTAB* sym) {
  int32_t level = -1;
  uint32_t index = 0;
  if (sym) if_symbol_numbers(sym, level, index);
  i_write_uint(word);
  i_write_byte(0);
  i_write_uint(a);
  i_write_sint(b);
  i_write_typeref(type);
  i_write_sint(level);
  i_write_uint(index);
  i_flush(IREC_LDSPEC);
}

void I_FILE::if_write_ldspec_rand(uint32_t word, uint32_t a, uint32_t b, TYPE* type, SYMTAB* sym) {
  int32_t level = -1;
  uint32_t index = 0;
  if (sym) if_symbol_numbers(sym, level, index);
  i_write_uint(word);
  i_write_byte(1);
  i_write_uint(a);
  i_write_uint(b);
  i_write_typeref(type);
  i_write_sint(level);
  i_write_uint(index);
  i_flush(IREC_LDSPEC);
}

void I_FILE::if_write_ldspec_region(uint32_t word, uint32_t a) {
  i_write_uint(word);
  i_write_byte(2);
  i_write_uint(a);
  i_flush(IREC_LDSPEC);
}

void I_FILE::if_write_inloop(uint32_t word, SYMTAB* sym, int value) {
  int32_t level = -1;
  uint32_t index = static_cast<uint32_t>(-1);
  if (sym) if_symbol_numbers(sym, level, index);
  i_write_uint(word);
  i_write_sint(level);
  i_write_sint(static_cast<int32_t>(index));
  i_write_i8(value);
  i_flush(IREC_INLOOP);
}

void I_FILE::if_write_source(const char* text) {
  i_write_string(text, 0);
  i_flush(IREC_SOURCE);
}

void I_FILE::if_write_ir_begin_func(uint32_t a, int32_t b, int c, uint32_t d, const PSN* psn) {
  i_write_uint(a);
  i_write_sint(b);
  i_write_i8(c);
  i_write_uint(d);
  i_write_psn(psn);
  i_flush(IREC_IR_BEGIN);
  block_depth = 1;
  local_count = 0;
}

void I_FILE::if_write_ir_end_func(const PSN* psn) {
  i_write_psn(psn);
  i_flush(IREC_IR_END);
  block_depth = 0;
}

void I_FILE::if_write_ir_ins(const PSN* psn, const uint8_t* data, uint32_t length) {
  i_write_psn(psn);
  if (length) i_write_string(reinterpret_cast<const char*>(data), length);
  i_flush(IREC_IR_INS);
}
