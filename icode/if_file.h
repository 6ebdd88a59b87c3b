// I_FILE: reader and writer of icode files. One object is one open file,
// either read (if_open) or written (if_create); if_close ends both.
//
// Reading hands everything to an IF_CLIENT. Writing is driven by the tool:
// it calls the if_write_* record writers in the order of the format, and
// if_close adds the trailing sections and the final header.
//
// The format itself is described in docs/icode-format.md.
#pragma once
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

struct TYPE;
class TYPE_PKG;
struct SYMTAB;
struct PRAGMA;
struct PSN;
struct NODE;
struct EXPR_LIST;
struct fkMDATA;
class IF_CLIENT;
struct EHT_ENTRY;
struct I_CATCH_ENTRY;
struct IF_DD_PAIR;

// Record ids.
enum IF_RECORD_ID : int {
  IREC_BEGIN_FUNC = 1,
  IREC_END_FUNC = 2,
  IREC_BEGIN_BLOCK = 3,
  IREC_END_BLOCK = 4,
  IREC_END_ARGS = 5,
  IREC_END_LOCALS = 6,
  IREC_MAGIC = 8,
  IREC_IR_INS = 34,
  IREC_SYMBOL = 35,
  IREC_ASM = 36,
  IREC_LOOP = 38,
  IREC_LABEL = 42,
  IREC_MBANK = 45,
  IREC_EXPR = 46,
  IREC_COMMENT = 47,
  IREC_DEP_EDGE = 58,
  IREC_DEP_VECTOR = 59,
  IREC_EHT_CATCH = 63,
  IREC_FUNC_INFO = 64,
  IREC_EHT_ENTRY = 91,
  IREC_EHT_HDR = 93,
  IREC_PRAGMA = 94,
  IREC_NODE = 101,
  IREC_INIT = 105,
  IREC_LDSPEC = 108,
  IREC_OPTION_SET = 111,
  IREC_TYPE = 116,
  IREC_IR_BEGIN = 123,
  IREC_INLOOP = 124,
  IREC_IR_END = 125,
  IREC_SOURCE = 126,
  IREC_EOF = 255,  // end of a section: one byte, no length, no body
};

// Format versions: the writer stamps the newest; the reader takes all in
// between. Older is more negative.
constexpr int ICODE_VERSION = -73;
constexpr int ICODE_OLDEST_VERSION = -86;
constexpr int ICODE_CPU_ID = 1000;
// A target whose 32-bit longs are read as ints.
constexpr int ICODE_CPU_ID_LONG_IS_INT = 500;
// The deepest expression tree a reader takes. The passes walk trees
// recursively; past this depth a tree is refused as a broken record rather
// than left to exhaust the stack. A switch's cases and a sum's terms nest,
// so a switch of some thousands of cases still reads.
constexpr uint32_t IF_MAX_TREE_DEPTH = 10000;
// The longest chain of types a type may rest on (typedef of typedef, pointer
// to pointer, a structure holding a structure...), for the same reason: the
// type package follows such chains recursively.
constexpr uint32_t IF_MAX_TYPE_DEPTH = 10000;
// The deepest nesting of blocks inside a function's outer block. A symbol
// keeps its lexical level in a byte, and a C front end stops at 256
// brackets anyway.
constexpr int32_t IF_MAX_BLOCK_NESTING = 250;

// The reader's failure texts, printed with puts before exit(1).
extern const char* const IF_MSG_INVALID_RECORD;
extern const char* const IF_MSG_INVALID_EHT;

// What the reader knows of one type id.
struct TYPE_INFO {
  TYPE* type = nullptr;
  uint8_t open_lists = 0;    // lists announced and not yet ended
  int8_t list_kind = -1;     // the list open now, -1 for none
  void* list_tail = nullptr; // its last element, so that appending is cheap
  uint32_t depth = 0;        // 1 + the depth of the deepest type it rests on
};

// Type id to TYPE_INFO, walked in id order. Ids are dense in practice, so
// small ones live in a vector; a stray large id costs one map node.
class IF_TYPE_MAP {
 public:
  TYPE_INFO* find(uint32_t id) {
    if (id < dense_.size()) return dense_[id].type ? &dense_[id] : nullptr;
    return id < kDenseLimit ? nullptr : find_sparse(id);
  }
  // A new entry, or null when the id is already defined.
  TYPE_INFO* insert(uint32_t id);
  template <class F>
  void for_each(F f) {
    for (uint32_t id = 0; id < dense_.size(); id++)
      if (dense_[id].type) f(id, dense_[id]);
    for (auto& e : sparse_)
      if (e.second.type) f(e.first, e.second);
  }
  void clear() {
    dense_.clear();
    sparse_.clear();
  }

 private:
  TYPE_INFO* find_sparse(uint32_t id);
  static constexpr uint32_t kDenseLimit = 1u << 20;
  std::vector<TYPE_INFO> dense_;
  std::map<uint32_t, TYPE_INFO> sparse_;
};

// An option set queued for writing.
struct IF_OPTION_SET {
  uint32_t id = 0;
  uint32_t count = 0;
  char** texts = nullptr;
  IF_OPTION_SET* next = nullptr;
};

struct I_FILE {
  // ---- Fields of the file.
  char* source_name = nullptr;
  FILE* stream = nullptr;
  long base = 0;  // stream position of the image's first byte
  bool writing = false;
  IF_CLIENT* client = nullptr;  // null on writing
  int32_t version = ICODE_VERSION;
  uint32_t options_offset = 0;
  uint32_t init_offset = 0;
  uint32_t types_offset = 0;
  uint32_t files_offset = 0;
  uint32_t globals_offset = 0;
  IF_OPTION_SET* options = nullptr;
  IF_OPTION_SET* options_tail = nullptr;
  TYPE_PKG* type_pkg = nullptr;
  IF_TYPE_MAP types;
  char** file_names = nullptr;  // index 0 unused
  uint32_t file_count = 0;      // highest id in use
  uint32_t file_capacity = 0;
  uint32_t extra_word = 0;
  int32_t block_depth = 0;  // 0 outside a function, 1 in it, 2 after the arguments, +1 per block
  SYMTAB** locals = nullptr;
  uint32_t local_capacity = 0;
  uint32_t local_count = 0;
  SYMTAB** globals = nullptr;
  uint32_t global_capacity = 0;
  uint32_t global_count = 0;
  uint8_t* buffer = nullptr;  // body of the record being written
  uint32_t buffer_size = 0;
  uint32_t buffer_end = 0;

  // ---- Opening and closing.
  // Reads and checks the header, the options section, and tells the client
  // the source name. Null when the stream holds no icode this reader takes;
  // the stream then stays open and belongs to the caller again.
  static I_FILE* if_open(FILE* stream, IF_CLIENT* client);
  static I_FILE* if_open_basic(FILE* stream, IF_CLIENT* client);
  static I_FILE* if_create(FILE* stream, TYPE_PKG* type_pkg, const char* source_name);
  // Ends the file and frees the object; closes the stream. Non-zero when
  // the stream failed at any point.
  int if_close(bool all_named, bool discard);
  void if_type_init(TYPE_PKG* pkg);
  void if_seek(uint32_t offset);
  uint32_t if_tell() const { return static_cast<uint32_t>(pos_); }
  void if_flush();

  // ---- Reading primitives. They read the body of the record whose header
  // was read last; reading past its end is an invalid record.
  bool i_read_bool();
  int8_t i_read_s8();
  uint8_t i_read_u8() {
    if (body_pos_ >= body_len_) if_bad_record();
    return body_[body_pos_++];
  }
  int16_t i_read_s16();
  uint16_t i_read_u16();
  int32_t i_read_s32();
  uint32_t i_read_u32();
  int32_t i_read_sint();
  uint32_t i_read_uint() {
    // One byte is the common case.
    if (body_pos_ < body_len_ && body_[body_pos_] < 0x80) return body_[body_pos_++];
    return i_read_uint_slow();
  }
  PSN* i_read_psn();
  uint32_t i_read_typeref() { return i_read_uint(); }
  // n == 0: up to and including the terminating 0; otherwise exactly n
  // bytes, with a 0 added. The text is valid until the next record header.
  char* i_read_string(uint32_t n);
  void i_read_raw(void* target, uint32_t n);
  void i_read_skip(uint32_t n);
  // Reads the next record's id and, below 255, its length and body.
  void i_read_header(int& id, uint32_t& length);
  uint32_t i_body_left() const { return body_len_ - body_pos_; }
  const char* i_get_file_name(uint32_t id) const;

  // ---- Writing primitives: into the record buffer until i_flush.
  void i_write_i8(int v);
  void i_write_i16(int v);
  void i_write_i32(int32_t v);
  void i_write_u32(uint32_t v);
  void i_write_bool(bool v);
  void i_write_byte(uint8_t v);  // a bool or byte written exactly as given
  void i_write_uint(uint32_t v);
  void i_write_sint(int32_t v);
  // n == 0: the text and its 0; otherwise exactly n bytes.
  void i_write_string(const char* text, uint32_t n);
  void i_write_psn(const PSN* psn);
  void i_write_typeref(TYPE* type);
  void i_flush(int id);
  // Straight to the stream, past the record buffer.
  void i_write_raw(const void* data, uint32_t n);
  void i_write_eof();

  // ---- Header, sections, file names, option sets, copying.
  bool if_read_magic();
  void if_write_magic();
  void if_read_options();
  void if_read_option_set();
  void if_enter_option_set(uint32_t id, uint32_t count, const char* const* texts);
  void if_write_all_options();
  void if_read_file_names();
  uint32_t i_enter_file_name(const char* name);
  uint32_t i_get_file_id(const char* name);
  void if_write_all_files();
  void if_copy_raw(uint32_t offset, uint32_t length, I_FILE* target);
  void if_copy_symbols(I_FILE* target);
  int if_extract_file(const char* name);

  // ---- Types.
  void if_read_type_defs();
  void if_read_type();
  TYPE* find_typeref(uint32_t id) {
    if (id == 0) return nullptr;
    TYPE_INFO* e = types.find(id);
    if (!e) if_forward_type();
    if (e->depth > ref_depth_) ref_depth_ = e->depth;
    return e->type;
  }
  [[noreturn]] static void if_forward_type();
  void enter_type(uint32_t id, const TYPE_INFO& info);
  fkMDATA* find_mdataref(uint32_t type_id, uint32_t member_id);
  void if_merge_type_defs();
  void if_write_all_types(bool all_named);
  void if_write_type(TYPE* type);
  void if_write_type_record(TYPE* type);
  void if_reference_type(TYPE* type);
  void if_mark_global_types();

  // ---- Symbols and pragmas.
  void if_read_globals();
  SYMTAB* if_read_symbol_def();
  SYMTAB* if_read_sym(int& pragma_count);
  PRAGMA* if_read_pragma();
  void if_enter_global(SYMTAB* sym);
  void if_enter_local(SYMTAB* sym);
  // The symbol a (level, index) pair of the file names; level -1 is none.
  SYMTAB* if_symbol_ref(int32_t level, uint32_t index);
  // The pair for a symbol entered in this file.
  void if_symbol_numbers(const SYMTAB* sym, int32_t& level, uint32_t& index);
  void if_write_all_globals();
  void if_write_symbol(SYMTAB* sym);
  void if_write_pragma(const PRAGMA* pragma);

  // ---- Trees.
  // Reads one tree whose root record header is read next.
  NODE* if_read_tree();
  void if_write_expr_node(NODE* tree);
  void if_write_expr_icon(NODE* node);
  void if_write_expr_field(NODE* node);

  // ---- Function section and initialisers.
  void if_read_file();
  int if_read_record();
  void if_read_func(uint32_t offset);
  void if_skip_func();
  bool if_check_lengths();
  void if_read_all_init();
  void if_read_init();
  void if_read_eht();

  // ---- Record writers of the function section and initialisers.
  void if_write_control(int id, const PSN* psn);
  void if_write_begin_func(SYMTAB* sym, const PSN* psn);
  void if_write_end_func(const PSN* psn) { if_write_control(2, psn); }
  void if_write_begin_block(const PSN* psn) { if_write_control(3, psn); }
  void if_write_end_block(const PSN* psn) { if_write_control(4, psn); }
  void if_write_end_args(const PSN* psn) { if_write_control(5, psn); }
  void if_write_end_locals(const PSN* psn) { if_write_control(6, psn); }
  void if_write_assembly(const char* text, const PSN* psn);
  void if_write_loop(const uint32_t* words5, int value);
  void if_write_label(uint32_t id);
  void if_write_mbank(const uint32_t* words5);
  void if_write_expr(NODE* tree, const PSN* psn);
  void if_write_comment(const char* text);
  void if_write_dep_edge(const uint32_t* words3);
  void if_write_dep_vector(const IF_DD_PAIR* entries, uint32_t a, int b, int count);
  void if_write_eht_catch_entry(uint32_t count, const I_CATCH_ENTRY* entries);
  void if_write_func_info(int value);
  void if_write_eht_entry(uint32_t id, uint32_t kind, uint32_t a, uint32_t b);
  void if_write_eht_hdr(uint32_t count);
  // The whole table: header, entries and what each entry carries.
  void if_write_func_eht(const EHT_ENTRY* entries, uint32_t count);
  void if_write_init(SYMTAB* sym);
  void if_write_ldspec_induct(uint32_t word, uint32_t a, int32_t b, TYPE* type, SYMTAB* sym);
  void if_write_ldspec_rand(uint32_t word, uint32_t a, uint32_t b, TYPE* type, SYMTAB* sym);
  void if_write_ldspec_region(uint32_t word, uint32_t a);
  void if_write_inloop(uint32_t word, SYMTAB* sym, int value);
  void if_write_source(const char* text);
  void if_write_ir_begin_func(uint32_t a, int32_t b, int c, uint32_t d, const PSN* psn);
  void if_write_ir_end_func(const PSN* psn);
  void if_write_ir_ins(const PSN* psn, const uint8_t* data, uint32_t length);

  // ---- Failure exits of the file layer.
  [[noreturn]] static void if_fail(const char* text);
  [[noreturn]] static void if_bad_record();
  void if_need_function();

  ~I_FILE();

 private:
  I_FILE() = default;
  I_FILE(const I_FILE&) = delete;
  I_FILE& operator=(const I_FILE&) = delete;

  // Reading state.
  uint64_t pos_ = 0;          // logical position of the stream
  uint64_t image_end_ = 0;    // size of the image, for judging lengths
  uint32_t magic_end_ = 0;    // where the function section starts
  uint8_t* in_buf_ = nullptr;  // the reader's own buffer over the stream
  uint32_t in_pos_ = 0;
  uint32_t in_len_ = 0;
  uint64_t in_base_ = 0;       // position of its first byte
  uint8_t* body_ = nullptr;    // body of the record read last: in in_buf_ or body_store_
  uint8_t* body_store_ = nullptr;
  uint32_t body_store_size_ = 0;
  uint32_t body_len_ = 0;
  uint32_t body_pos_ = 0;
  uint32_t rec_start_ = 0;    // position of its id byte
  uint8_t rec_hdr_[6] = {};   // its id and length as they stood (no more than six bytes)
  uint8_t rec_hdr_len_ = 0;
  char* strbuf_ = nullptr;    // for i_read_string(n)
  uint32_t strbuf_size_ = 0;
  bool stream_failed_ = false;
  uint32_t ref_depth_ = 0;    // deepest type named since the type record began
  struct PSN_KEY {
    uint32_t file, line, col;
    bool operator==(const PSN_KEY& o) const { return file == o.file && line == o.line && col == o.col; }
  };
  struct PSN_HASH {
    size_t operator()(const PSN_KEY& k) const {
      uint64_t h = (static_cast<uint64_t>(k.line) << 32 | k.col) * 0x9e3779b97f4a7c15ull;
      return static_cast<size_t>(h ^ (h >> 29) ^ (static_cast<uint64_t>(k.file) * 0xff51afd7ed558ccdull));
    }
  };
  std::unordered_map<PSN_KEY, PSN*, PSN_HASH> psns_;  // positions are shared
  PSN* psn_chunk_ = nullptr;
  uint32_t psn_chunk_left_ = 0;

  // Writing state.
  uint8_t* out_buf_ = nullptr;  // staged for the stream
  uint32_t out_len_ = 0;
  const TYPE* noted_[256] = {};  // types whose references were noted lately
  std::unordered_map<std::string, uint32_t> name_ids_;
  std::unordered_map<const char*, uint32_t> name_ptr_ids_;
  std::unordered_map<const TYPE*, uint8_t> type_state_;
  std::vector<TYPE*> type_refs_;  // every type a typeref named, in order
  bool types_any_ = false;
  std::unordered_set<const SYMTAB*> placed_;  // globals whose function or initialiser is in this file

  // Helpers (definitions by record family).
  void if_init_stream(FILE* f);
  bool i_fill();
  int i_getc();
  uint32_t i_read_stream_uint(bool& ok);
  bool i_load_body(uint32_t length);
  uint32_t i_read_uint_slow();
  void i_buffer_reserve(uint32_t n);
  void i_put(const void* data, uint32_t n);
  void i_stream_write(const void* data, size_t n);
  void i_out_drain();
  uint32_t if_check_count(uint32_t count, uint32_t min_bytes_each);
  void* if_alloc(size_t size);
  char* if_strdup(const char* text);
  PSN* if_intern_psn(uint32_t file, uint32_t line, uint32_t col);
  NODE* if_read_node(int& operands);
  void if_write_one_node(NODE* node);
  void if_read_ldspec();
  struct READ_FRAME {
    NODE* node;
    int need;
    int have;
  };
  std::vector<READ_FRAME> rstack_;
  std::vector<NODE*> wstack_;
  // Types.
  TYPE_PKG* if_pkg();
  TYPE_INFO* if_list_owner(uint32_t id, int kind);
  void tp_make_list(uint32_t id, int kind);
  void tp_end_list(uint32_t id, int kind);
  void if_read_type_element(uint32_t id, int code);
  bool if_read_type_is_cpp(const char* name);
  void if_clear_type_marks();
  void if_note_type_ref(TYPE* t);
  void write_all_csu_types();
  void write_type_tree();
  void write_type_record(TYPE* t);
  void write_type_deps(TYPE* t);
  void write_type_lists(TYPE* t);
  void write_csu_record(TYPE* t);
  void write_list_frame(TYPE* t, int code, int kind);
  void write_elem_head(TYPE* owner, int code);
};
