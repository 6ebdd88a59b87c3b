// Reading the function section: the record dispatch, initialisers,
// exception tables, whole files and single functions, and the length check.
#include <cinttypes>
#include <cstring>
#include <new>
#include <vector>

#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"

void I_FILE::if_read_file() {
  if_read_file_names();
  if_read_type_defs();
  client->cl_merge_type_defs();
  if_read_globals();
  if_read_all_init();
  client->cl_preprocess_statics();
  if_seek(magic_end_);
  while (if_read_record() != IREC_EOF) {
  }
}

void I_FILE::if_read_func(uint32_t offset) {
  if (offset) if_seek(offset);
  for (;;) {
    int id = if_read_record();
    if (id == IREC_END_FUNC) break;
    // The section ends inside the function: the file is cut short.
    if (id == IREC_EOF) if_bad_record();
  }
}

void I_FILE::if_skip_func() {
  for (;;) {
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id == IREC_EOF) if_bad_record();
    i_read_skip(length);
    if (id == IREC_END_FUNC) break;
  }
  block_depth = 0;
}

// Records of a function's body mean nothing outside one; a client may
// rightly take the open function for granted.
void I_FILE::if_need_function() {
  if (block_depth == 0) if_bad_record();
}

// Reads one record of the function section and hands it to the client.
int I_FILE::if_read_record() {
  int id;
  uint32_t length;
  i_read_header(id, length);
  switch (id) {
    case IREC_EOF:
      break;
    case IREC_BEGIN_FUNC: {
      PSN* psn = i_read_psn();
      SYMTAB* sym = if_symbol_ref(0, i_read_uint());
      block_depth = 1;
      local_count = 0;
      client->cl_begin_func(sym, psn);
      break;
    }
    case IREC_END_FUNC: {
      if_need_function();
      PSN* psn = i_read_psn();
      block_depth = 0;
      client->cl_end_func(psn);
      break;
    }
    case IREC_BEGIN_BLOCK: {
      if_need_function();
      PSN* psn = i_read_psn();
      if (block_depth - 2 >= IF_MAX_BLOCK_NESTING) if_bad_record();
      block_depth++;
      client->cl_begin_block(psn);
      break;
    }
    case IREC_END_BLOCK: {
      PSN* psn = i_read_psn();
      // Only a block opened after the arguments can end.
      if (block_depth <= 2) if_bad_record();
      block_depth--;
      client->cl_end_block(psn);
      break;
    }
    case IREC_END_ARGS: {
      if_need_function();
      PSN* psn = i_read_psn();
      block_depth = 2;
      client->cl_end_args(psn);
      break;
    }
    case IREC_END_LOCALS:
      if_need_function();
      client->cl_end_locals(i_read_psn());
      break;
    case IREC_IR_INS: {
      PSN* psn = i_read_psn();
      uint32_t left = i_body_left();
      const uint8_t* rest = static_cast<const uint8_t*>(body_) + body_pos_;
      i_read_skip(left);
      client->cl_ir_ins(psn, rest, left);
      break;
    }
    case IREC_SYMBOL:
      if_read_symbol_def();
      break;
    case IREC_ASM: {
      const char* text = i_read_string(0);
      client->cl_inline_asm(text, i_read_psn());
      break;
    }
    case IREC_LOOP: {
      uint32_t words[5];
      for (uint32_t& w : words) w = i_read_uint();
      client->cl_loop_def(words, i_read_s16());
      break;
    }
    case IREC_LABEL:
      if_need_function();
      client->cl_label(i_read_uint());
      break;
    case IREC_MBANK: {
      uint32_t words[5];
      for (uint32_t& w : words) w = i_read_uint();
      client->cl_mbank(words);
      break;
    }
    case IREC_EXPR: {
      if_need_function();
      PSN* psn = i_read_psn();
      NODE* tree = if_read_tree();
      client->cl_expr(tree, psn);
      break;
    }
    case IREC_COMMENT:
      client->cl_comment(i_read_string(0));
      break;
    case IREC_DEP_EDGE: {
      uint32_t words[3];
      for (uint32_t& w : words) w = i_read_uint();
      client->cl_dd_edge(words);
      break;
    }
    case IREC_DEP_VECTOR: {
      uint32_t a = i_read_uint();
      int8_t b = i_read_s8();
      int8_t count = i_read_s8();
      if (count < 0) if_bad_record();
      if_check_count(static_cast<uint32_t>(count), 2);
      IF_DD_PAIR pairs[128];
      for (int i = 0; i < count; i++) {
        pairs[i].level = i_read_u8();
        pairs[i].distance = i_read_s8();
      }
      client->cl_dd_vector(pairs, a, b, count);
      break;
    }
    case IREC_FUNC_INFO:
      client->cl_func_info(i_read_s8());
      break;
    case IREC_EHT_HDR:
      if_need_function();
      if_read_eht();
      break;
    case IREC_PRAGMA:
      client->cl_pragma(nullptr, if_read_pragma());
      break;
    case IREC_LDSPEC:
      if_read_ldspec();
      break;
    case IREC_IR_BEGIN: {
      uint32_t a = i_read_uint();
      int32_t b = i_read_sint();
      int8_t c = i_read_s8();
      uint32_t d = i_read_uint();
      PSN* psn = i_read_psn();
      block_depth = 1;
      local_count = 0;
      client->cl_ir_begin_func(a, b, c, d, psn);
      break;
    }
    case IREC_INLOOP: {
      uint32_t word = i_read_uint();
      int32_t level = i_read_sint();
      int32_t index = i_read_sint();
      int8_t value = i_read_s8();
      client->cl_loop_header(word, if_symbol_ref(level, static_cast<uint32_t>(index)), value);
      break;
    }
    case IREC_IR_END: {
      PSN* psn = i_read_psn();
      block_depth = 0;
      client->cl_ir_end_func(psn);
      break;
    }
    case IREC_SOURCE:
      client->cl_source(i_read_string(0));
      break;
    default:
      // Not ours to read; the body is behind us already.
      printf("\n///ERROR @0x%lx\n\n", static_cast<unsigned long>(rec_start_));
      break;
  }
  return id;
}

void I_FILE::if_read_ldspec() {
  uint32_t word = i_read_uint();
  int form = i_read_u8();
  switch (form) {
    case 0: {
      uint32_t a = i_read_uint();
      int32_t b = i_read_sint();
      TYPE* type = find_typeref(i_read_typeref());
      int32_t level = i_read_sint();
      uint32_t index = i_read_uint();
      client->cl_ldspec_induct(word, a, b, type, if_symbol_ref(level, index));
      break;
    }
    case 1: {
      uint32_t a = i_read_uint();
      uint32_t b = i_read_uint();
      TYPE* type = find_typeref(i_read_typeref());
      int32_t level = i_read_sint();
      uint32_t index = i_read_uint();
      client->cl_ldspec_rand(word, a, b, type, if_symbol_ref(level, index));
      break;
    }
    case 2:
      client->cl_ldspec_region(word, i_read_uint());
      break;
    default:
      if_bad_record();
  }
}

// An exception table: the header, then per entry a record 91 and what its
// kind carries. The entries are gathered before they get their pool block,
// so that a count the file does not back costs nothing.
void I_FILE::if_read_eht() {
  uint32_t count = i_read_uint();
  // Every entry takes at least a record 91 of six bytes.
  if (count > (image_end_ - pos_) / 6) if_bad_record();
  std::vector<EHT_ENTRY> read;
  for (uint32_t i = 0; i < count; i++) {
    EHT_ENTRY e;
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id != IREC_EHT_ENTRY) if_fail(IF_MSG_INVALID_EHT);
    e.id = i_read_uint();
    e.kind = i_read_uint();
    e.a = i_read_uint();
    e.b = i_read_uint();
    if (e.kind == EHT_KIND_EXPR) {
      i_read_header(id, length);
      if (id != IREC_EXPR) if_fail(IF_MSG_INVALID_EHT);
      e.tree = if_read_tree();
    } else if (e.kind == EHT_KIND_CATCH) {
      i_read_header(id, length);
      if (id != IREC_EHT_CATCH) if_fail(IF_MSG_INVALID_EHT);
      // A clause takes at least a string, a uint and a bool.
      uint32_t n = if_check_count(e.b, 3);
      e.catches = static_cast<I_CATCH_ENTRY*>(if_alloc((n ? n : 1) * sizeof(I_CATCH_ENTRY)));
      for (uint32_t j = 0; j < n; j++) {
        I_CATCH_ENTRY* c = new (&e.catches[j]) I_CATCH_ENTRY;
        c->type_name = if_strdup(i_read_string(0));
        c->number = i_read_uint();
        c->flag = i_read_bool();
      }
    }
    read.push_back(e);
  }
  EHT_ENTRY* entries = static_cast<EHT_ENTRY*>(if_alloc((count ? count : 1) * sizeof(EHT_ENTRY)));
  for (uint32_t i = 0; i < count; i++) new (&entries[i]) EHT_ENTRY(read[i]);
  client->cl_func_eht(entries, count);
}

void I_FILE::if_read_all_init() {
  if (!init_offset) return;
  uint32_t back = if_tell();
  if_seek(init_offset);
  for (;;) {
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id == IREC_EOF) break;
    if (id != IREC_INIT) if_bad_record();
    if_read_init();
  }
  if_seek(back);
}

// An initialiser: its trees up to and including the one rooted in ENDINIT.
void I_FILE::if_read_init() {
  SYMTAB* sym = if_symbol_ref(0, i_read_uint());
  EXPR_LIST* list = new (if_alloc(sizeof(EXPR_LIST))) EXPR_LIST;
  for (;;) {
    NODE* tree = if_read_tree();
    EXPR_ELEM* e = new (if_alloc(sizeof(EXPR_ELEM))) EXPR_ELEM;
    e->tree = tree;
    if (list->tail)
      list->tail->next = e;
    else
      list->head = e;
    list->tail = e;
    if (tree->op == ENDINIT) break;
  }
  client->cl_symbol_init(sym, list);
}

// Walks the function section by the record lengths alone.
bool I_FILE::if_check_lengths() {
  static const uint8_t allowed[] = {1,  2,  3,  4,  5,   6,   33,  34,  35,  36,  38,
                                    42, 43, 45, 46, 47,  58,  59,  60,  62,  63,  64,
                                    91, 93, 94, 101, 108, 123, 124, 125, 126};
  uint32_t start = if_tell();
  if_seek(magic_end_);
  uint32_t prev_at = 0, prev_id = 0, prev_size = 0;
  for (;;) {
    uint32_t at = if_tell();
    rec_hdr_len_ = 0;
    int id = i_getc();
    if (id == IREC_EOF) break;
    bool ok = false;
    uint32_t size = id == EOF ? 0 : i_read_stream_uint(ok);
    bool known = id != EOF && memchr(allowed, id, sizeof allowed) != nullptr;
    if (!known || !ok || size > image_end_ - pos_) {
      printf(">>I-file error:@%d,id=%d,sz=%d,prev [@%d,id=%d,sz=%d]\n", static_cast<int>(at), id,
             static_cast<int>(size), static_cast<int>(prev_at), static_cast<int>(prev_id),
             static_cast<int>(prev_size));
      return false;
    }
    if_seek(static_cast<uint32_t>(pos_) + size);
    prev_at = at;
    prev_id = static_cast<uint32_t>(id);
    prev_size = size;
  }
  if_seek(start);
  return true;
}
