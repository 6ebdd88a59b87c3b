// The icode file as the text tools see it: every record of every section,
// in file order, with every field as it stands in the file. icode-dis reads
// a file into this model and prints it; icode-as parses text into it and
// writes it. Both directions share the record layouts below, so that what
// one prints the other reads back to the same bytes.
#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

typedef std::vector<uint8_t> IT_BYTES;

// How a field is encoded (the primitives of the container).
enum IT_KIND : uint8_t {
  K_UINT,     // base-128
  K_SINT,     // signed base-128
  K_BOOL,     // one byte, printed as a flag
  K_U8,
  K_I8,
  K_I16,      // two bytes, signed value
  K_U16,      // two bytes, unsigned value
  K_U32,      // four bytes
  K_STR,      // bytes and a 0
  K_COUNTED,  // a uint length, then exactly that many bytes
  K_PSN,      // file id; line and column when the id is not 0
  K_TREF,     // a type id, encoded as a uint
  K_EVAL,     // layouts only: an enumerator's value, sint or uint by its enum
};

// A source position: file id 0 is none.
struct IT_PSN {
  uint32_t file = 0, line = 0, col = 0;
};

struct IT_VAL {
  IT_KIND kind = K_UINT;
  int64_t n = 0;
  std::string s;  // K_STR, K_COUNTED
  IT_PSN psn;     // K_PSN
};

inline IT_VAL it_num(IT_KIND k, int64_t n) {
  IT_VAL v;
  v.kind = k;
  v.n = n;
  return v;
}
inline IT_VAL it_str(const std::string& s, IT_KIND k = K_STR) {
  IT_VAL v;
  v.kind = k;
  v.s = s;
  return v;
}
inline IT_VAL it_psn(const IT_PSN& p) {
  IT_VAL v;
  v.kind = K_PSN;
  v.psn = p;
  return v;
}

// One expression node (record 101) and its operands.
struct IT_NODE {
  int op = 0;
  uint32_t type = 0;          // type id, 0 for none
  std::vector<IT_VAL> v;      // the op's value fields
  IT_BYTES extra;             // bytes behind them
  std::vector<std::unique_ptr<IT_NODE>> kids;
};

// One record. `f` holds the decoded fields in file order; `extra` the bytes
// behind them. A record that doesn't decode is raw: its whole body is in
// `extra` and `f` is empty.
struct IT_REC {
  int id = 0;
  bool raw = false;
  std::vector<IT_VAL> f;
  IT_BYTES extra;
  std::vector<std::unique_ptr<IT_NODE>> trees;  // 46: its tree; 105: its trees
  std::vector<IT_REC> pragmas;                  // 35: the pragma records behind it
  bool bare = false;  // 1: the function has no end-of-arguments or end-of-locals records
  bool open = false;  // 105: its trees don't end in ENDINIT
  bool derive_fileoff = false;  // 35 of a global: the writer fills the file offset
  uint32_t at = 0;    // offset in the file read (reading only)
};

// A whole file. Header offsets are not kept: the writer derives them from
// the sections, which always follow one another in the writer's order.
struct IT_MODEL {
  int version = -73;
  int cpu = 1000;
  std::string source;
  uint32_t extra_word = 0;
  IT_BYTES magic_extra;  // header bytes behind the known fields
  std::vector<IT_REC> code;     // function section
  std::vector<IT_REC> inits;    // 105 records with their trees
  std::vector<IT_REC> options;  // 111
  std::vector<IT_REC> types;    // 116
  std::vector<IT_REC> files;    // 126
  std::vector<IT_REC> globals;  // 35 with their pragmas
};

// Record ids the tools name (the numbers are the format's).
enum : int {
  R_BEGIN_FUNC = 1, R_END_FUNC = 2, R_BEGIN_BLOCK = 3, R_END_BLOCK = 4, R_END_ARGS = 5,
  R_END_LOCALS = 6, R_IR_INS = 34, R_SYMBOL = 35, R_ASM = 36, R_LOOP = 38, R_LABEL = 42,
  R_MBANK = 45, R_EXPR = 46, R_COMMENT = 47, R_DEP_EDGE = 58, R_DEP_VECTOR = 59,
  R_EHT_CATCH = 63, R_FUNC_INFO = 64, R_EHT_ENTRY = 91, R_EHT_HDR = 93, R_PRAGMA = 94,
  R_NODE = 101, R_INIT = 105, R_LDSPEC = 108, R_OPTION_SET = 111, R_TYPE = 116,
  R_IR_BEGIN = 123, R_INLOOP = 124, R_IR_END = 125, R_SOURCE = 126,
};

// Type record codes.
enum : int {
  TC_BOOL = 0, TC_CHAR = 1, TC_UCHAR = 2, TC_WCHAR = 3, TC_SHORT = 4, TC_USHORT = 5, TC_INT = 6,
  TC_UINT = 7, TC_LONG = 8, TC_ULONG = 9, TC_FLOAT = 10, TC_DOUBLE = 11, TC_LDOUBLE = 12,
  TC_FIXED = 13, TC_TYPEDEF = 14, TC_POINTER = 15, TC_REFERENCE = 16, TC_QUALIFIED = 17,
  TC_ARRAY = 18, TC_PTM = 19, TC_FUNCTION = 20, TC_PARAM = 21, TC_ENUM = 22, TC_ETOR = 23,
  TC_CSU_SHORT = 24, TC_CSU_LONG = 25, TC_MDATA = 28, TC_BCLASS = 29, TC_ADECL = 30,
  TC_FFRIEND = 31, TC_CFRIEND = 32, TC_NTYPE = 33, TC_SDATA = 34, TC_MFUNC = 35,
  TC_COMPLEX = 36, TC_VOID = 49, TC_LLONG = 50, TC_ULLONG = 51, TC_LIST_HEADER = 254,
  TC_LIST_TRAILER = 255,
};

// Operators whose value the tools read or write.
enum : int {
  OP_LABEL = 1, OP_NAME = 2, OP_SCON = 3, OP_ICON = 4, OP_FCON = 5, OP_LCON = 25, OP_FIELD = 26,
  OP_SWITCH = 40, OP_CASE = 47, OP_COMMA = 56, OP_CALL = 70, OP_UCALL = 72, OP_EPVAL = 110,
  OP_ENDINIT = 112, OP_SKIP = 115, OP_DDNODE = 119, OP_ICALL = 129, OP_UICALL = 130,
  OP_MCALL = 132, OP_UMCALL = 133, OP_VREG = 163,
};

// ---------------------------------------------------------------------------
// Layouts of records (it_layout.cpp)

// How a field is shown in text: positional, `key=value`, a flag word
// (bare `key` for 1), or the `@file:line:col` position.
enum IT_ROLE : uint8_t { ROLE_POS, ROLE_KEY, ROLE_FLAG, ROLE_PSN };

struct IT_FIELD {
  const char* key;
  IT_KIND kind;
  IT_ROLE role;
  int min_version;  // the field exists from this version
  int max_version;  // up to this version
};

// The fields behind the id and code of a type record of `code`; null for a
// code the tools don't decode.
const std::vector<IT_FIELD>* it_type_layout(int code, int version);
const char* it_type_keyword(int code);
int it_type_code(const std::string& keyword);  // -1 when unknown
// The list kind that an element code belongs to, -1 for none.
int it_element_list_kind(int code);
const char* it_list_kind_name(int kind);  // null for an unknown kind
int it_list_kind(const std::string& name);

// Records of the function section with a fixed field list.
struct IT_RECORD_LAYOUT {
  int id;
  const char* keyword;
  std::vector<IT_FIELD> fields;
};
const IT_RECORD_LAYOUT* it_record_layout(int id);
const IT_RECORD_LAYOUT* it_record_layout(const std::string& keyword);

// Operand records that follow a node of `op`; -1 when the op cannot stand
// in a file.
int it_operand_count(int op);
const char* it_op_name(int op);  // null for an op without a name
int it_op_number(const std::string& name);  // -1 when unknown

const char* it_sclass_name(int sclass);  // null when unnamed
int it_sclass_number(const std::string& name);

// ---------------------------------------------------------------------------
// The types table seen as types (it_typeinfo.cpp)

// What the tools need to know of the types of a model: where each id is
// defined, names for text, and the answers that decide encodings and
// defaults. Built from the types section; grows as icode-as makes types.
class IT_TYPES {
 public:
  explicit IT_TYPES(IT_MODEL& model);
  // Indexes every type record of the model and names every id.
  void rebuild();
  // Indexes one record appended to the section; `named` then names a new
  // type once its lists are in.
  void add(size_t index);
  void named(uint32_t id);

  const IT_REC* rec(uint32_t id) const;  // the defining record, null when none
  int code(uint32_t id) const;           // -1 when unknown
  bool known(uint32_t id) const { return rec(id) != nullptr; }
  int64_t field(uint32_t id, const char* key) const;  // 0 when absent
  uint32_t ref_field(uint32_t id, const char* key) const;
  std::string str_field(uint32_t id, const char* key) const;
  // Through typedefs and qualifiers.
  uint32_t strip(uint32_t id) const;
  bool is_signed(uint32_t id) const;
  uint32_t size(uint32_t id) const;
  uint32_t align(uint32_t id) const;
  bool is_function(uint32_t id) const;
  uint32_t pointee(uint32_t id) const;  // 0 when not a pointer or reference
  uint32_t result(uint32_t id) const;   // of a function or pointer to one
  // Elements of a list of `owner` (records with that id and the code),
  // in file order.
  std::vector<const IT_REC*> elements(uint32_t owner, int code) const;
  // Member id and type of a data member by name; false when not unique.
  bool member_by_name(uint32_t csu, const std::string& name, uint32_t& member, uint32_t& type) const;
  const IT_REC* member_by_id(uint32_t csu, uint32_t member) const;
  uint32_t next_id() const { return max_id_ + 1; }

  // The text that names `id`: its C-like name when that name is unique,
  // otherwise "#id"; "-" for 0.
  std::string ref(uint32_t id) const;
  // The C-like name of a record, "" when it has none.
  std::string name(uint32_t id) const;
  // Ids that carry a name; empty when none.
  std::vector<uint32_t> lookup(const std::string& name) const;
  bool is_typedef_name(const std::string& name) const;

  // Names built from parts, the same way for table types and type text.
  static std::string basic_name(int code, bool explicit_sign);
  static std::string compose(int code, const std::vector<std::string>& parts, int64_t count,
                             bool flag1, bool flag2, bool complete);

 private:
  std::string compose_for(uint32_t id) const;
  void rename_all();
  IT_MODEL& m_;
  std::map<uint32_t, size_t> def_;  // id to index of its defining record
  std::map<uint32_t, std::vector<size_t>> elems_;  // owner id to element records
  std::map<uint32_t, std::string> names_;
  std::map<std::string, std::vector<uint32_t>> by_name_;
  uint32_t max_id_ = 0;
};

// Sizes the type package gives the basic types of the target.
struct IT_BASIC {
  uint32_t size = 0, align = 0;
  bool explicit_sign = false;
};
IT_BASIC it_basic(int code);  // integral and floating codes
IT_BASIC it_basic_pointer();

// Defaults of keyed and flag fields of a type record: what icode-as takes
// when the text leaves a field out, and what icode-dis therefore leaves out.
// `f` holds the fields behind the id and code, in layout order.
int64_t it_type_default(const IT_TYPES& types, int code, const IT_VAL* f, size_t count,
                        const std::vector<IT_FIELD>& layout, size_t field);

// ---------------------------------------------------------------------------
// Files and text

struct IT_ERROR : std::runtime_error {
  explicit IT_ERROR(const std::string& what) : std::runtime_error(what) {}
};

// Reads an icode file. False with a message in `error` when the file is not
// icode; `warnings` gets what would keep the text from giving the same bytes.
bool it_read_file(const char* path, IT_MODEL& model, std::string& error,
                  std::vector<std::string>& warnings);
// Writes the model as an icode file; false with a message when the file
// cannot be written.
bool it_write_file(const IT_MODEL& model, const char* path, std::string& error);
std::string it_print(IT_MODEL& model);
// Parses text; a mistake throws IT_ERROR with "FILE:LINE:COL: error: ...".
void it_parse(const std::string& text, const std::string& file_name, IT_MODEL& model);

// Helpers shared by the printer and the parser.
std::string it_quote(const std::string& bytes);
std::string it_hex(const IT_BYTES& bytes);
bool it_is_ident(const std::string& s);
bool it_reserved_word(const std::string& s);  // type words that can't stand bare as names
// True when the text reads back as one number token (FCON and LCON texts).
bool it_number_like(const std::string& s);
uint32_t it_uint_size(uint32_t v);
void it_put_uint(IT_BYTES& out, uint32_t v);
void it_put_sint(IT_BYTES& out, int32_t v);
// The value fields of a node of `op` (ICON by the signedness of its type).
std::vector<IT_KIND> it_op_values(int op, bool icon_signed);
