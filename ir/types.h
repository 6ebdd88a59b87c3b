// TYPE and TYPE_PKG: the shared type records of a translation unit. Sizes and
// alignments are in bits. Equal types are shared, so pointer equality is the
// first test everywhere.
#pragma once
#include <cstdint>
#include <list>
#include <map>
#include <string>

struct PSN;
struct TYPE;

// Element records of the lists a type can carry.
struct fkPARAM {
  TYPE* type = nullptr;
  bool flag = false;   // carried opaquely from the file
  uint32_t word = 0;   // carried opaquely from the file
  std::string name;
  fkPARAM* next = nullptr;
};

struct fkETOR {
  std::string name;
  int64_t value = 0;
  PSN* psn = nullptr;
  fkETOR* next = nullptr;
};

struct fkMDATA {
  uint32_t member_id = 0;
  TYPE* type = nullptr;
  std::string name;
  uint8_t byte = 0;  // carried opaquely
  int32_t offset = 0;
  uint32_t width = 0;
  uint8_t field_type = 0;  // field-type index; non-zero gives the "fti:%x" text
  std::string field_type_text;
  bool is_bitfield = false;
  bool flag1 = false;  // carried opaquely
  bool flag2 = false;  // carried opaquely
  PSN* psn = nullptr;
  fkMDATA* next = nullptr;
};

struct fkBCLASS {
  TYPE* base = nullptr;
  int32_t offset = 0;
  uint8_t byte = 0;
  bool flag = false;
  fkBCLASS* next = nullptr;
};

struct fkADECL {
  uint32_t word = 0;
  uint8_t byte = 0;
  fkADECL* next = nullptr;
};

struct fkFFRIEND {
  std::string name;
  TYPE* type = nullptr;
  fkFFRIEND* next = nullptr;
};

// Friend classes and nested types.
struct fkTYPE_ELEM {
  TYPE* type = nullptr;
  fkTYPE_ELEM* next = nullptr;
};

struct fkSDATA {
  std::string name;
  TYPE* type = nullptr;
  uint8_t byte = 0;
  fkSDATA* next = nullptr;
};

struct fkMFUNC {
  std::string name;
  TYPE* type = nullptr;
  uint8_t byte = 0;
  int32_t offset = 0;
  bool flags[4] = {false, false, false, false};
  fkMFUNC* next = nullptr;
};

// List kinds as numbered in the file.
enum LIST_KIND {
  LK_PARAM = 0,
  LK_ETOR = 1,
  LK_BCLASS = 2,
  LK_ADECL = 3,
  LK_FFRIEND = 4,
  LK_CFRIEND = 5,
  LK_NTYPE = 6,
  LK_MDATA = 7,
  LK_SDATA = 8,
  LK_MFUNC = 9,
};

struct CSU_RECORD {
  uint32_t word0 = 0;
  bool no_stack_sharing = false;
  uint32_t class_word = 0;
  bool union_compat = false;  // a union from a file older than version -80
  bool complete = false;
  bool lowered = false;
  fkBCLASS* bclasses = nullptr;
  fkADECL* adecls = nullptr;
  fkFFRIEND* ffriends = nullptr;
  fkTYPE_ELEM* cfriends = nullptr;
  fkTYPE_ELEM* ntypes = nullptr;
  fkMDATA* mdata = nullptr;
  fkSDATA* sdata = nullptr;
  fkMFUNC* mfuncs = nullptr;
  fkPARAM* params = nullptr;
  // Which of the nine lists are present (indexed by LIST_KIND).
  bool has_list[10] = {false, false, false, false, false, false, false, false, false, false};
};

struct FUNC_RECORD {
  TYPE* result = nullptr;
  fkPARAM* params = nullptr;
  bool flag1 = false;
  bool flag2 = false;
  uint8_t convention = 0;  // TYPE::CC_KIND
  bool has_params = false;
};

struct ENUM_RECORD {
  TYPE* underlying = nullptr;
  fkETOR* etors = nullptr;
  bool has_etors = false;
};

struct ARRAY_RECORD {
  TYPE* elem = nullptr;
  uint32_t count = 0;
  bool vector = false;
  bool complete = false;
};

struct PTM_RECORD {
  TYPE* target = nullptr;
  TYPE* csu = nullptr;
};

struct FIXED_RECORD {
  TYPE* underlying = nullptr;
  int8_t scale = 0;
};

struct TYPE {
  enum KIND {
    KIND_VOID = 0,
    KIND_INTEGRAL = 1,
    KIND_FLOATING = 2,
    KIND_FIXED = 3,
    KIND_COMPLEX = 4,
    KIND_POINTER = 5,
    KIND_REFERENCE = 6,
    KIND_QUALIFIED = 7,
    KIND_TYPEDEF = 8,
    KIND_ARRAY = 9,
    KIND_PTM = 10,
    KIND_FUNCTION = 11,
    KIND_ENUM = 12,
    KIND_CLASS = 13,
    KIND_STRUCT = 14,
    KIND_UNION = 15,
  };
  enum IKIND {
    IK_BOOL = 0, IK_CHAR, IK_UCHAR, IK_WCHAR, IK_SHORT, IK_USHORT, IK_INT, IK_UINT,
    IK_LONG, IK_ULONG, IK_LLONG, IK_ULLONG,
  };
  enum FKIND { FK_FLOAT = 0, FK_DOUBLE, FK_LDOUBLE };
  enum CC_KIND { CC_DEFAULT = 0 };
  enum QUAL {
    Q_CONST = 0x01, Q_VOLATILE = 0x02, Q_PACKED = 0x04, Q_NEAR = 0x08,
    Q_FAR = 0x10, Q_IOPORT = 0x20, Q_RESTRICT = 0x40, Q_ONCHIP = 0x80,
  };

  uint32_t uid = 0;
  KIND kind = KIND_VOID;
  uint32_t size = 0;
  uint32_t align = 0;
  bool frozen = false;
  bool flag = false;
  TYPE* rep = nullptr;
  PSN* psn = nullptr;
  TYPE* normalized = nullptr;
  bool written = false;
  bool referenced = false;
  TYPE* base = nullptr;
  bool is_cpp = false;
  // The kind's own record (CSU_RECORD, FUNC_RECORD, ...), or the target type
  // for kinds 5 to 8.
  void* subpart = nullptr;
  // Integral: explicit-sign flag; qualified: qualifier bits; fixed: fraction.
  uint8_t subpart2 = 0;
  bool is_bool2 = false;
  std::string name;
  int ikind = 0;   // IKIND of an integral type
  int fkind = 0;   // FKIND of a floating type
  bool lowered = false;  // typedef and csu records carry it
  std::map<std::string, TYPE*> derived;
  std::list<TYPE*> based;

  explicit TYPE(KIND k);
  virtual ~TYPE();

  // Kind queries; they look through qualifiers and typedefs via `rep`.
  bool is_bool() const;
  bool is_schar() const;
  bool is_uchar() const;
  bool is_plain_char() const;
  bool is_wchar_t() const;
  bool is_short() const;
  bool is_ushort() const;
  bool is_int() const;
  bool is_uint() const;
  bool is_long() const;
  bool is_ulong() const;
  bool is_llong() const;
  bool is_ullong() const;
  bool is_float() const;
  bool is_double() const;
  bool is_ldouble() const;
  bool is_signed() const;
  bool is_unsigned() const;
  bool is_integral() const;
  bool is_floating() const;
  bool is_pointer() const;
  bool is_func() const;
  bool is_array() const;
  bool is_csu() const;
  bool is_void() const;
  bool is_scalar() const;
  bool is_udt() const;
  bool is_complete() const;
  bool is_lowered() const;
  bool is_qualified() const;
  bool is_vpred() const;
  bool has_flex_array_member(bool flag) const;

  int rank() const;
  int ekind() const;
  uint32_t size_in_bytes() const;   // in addressable units of 16 bits
  uint32_t align_in_bytes() const;
  uint32_t storage_size() const;

  TYPE* type_pointed_to() const;
  TYPE* type_qualified() const;   // the type less its qualifiers
  TYPE* underlying_type() const;  // of an enum or fixed-point type
  TYPE* elem_type() const;
  TYPE* part_type() const;        // of a complex type
  uint8_t qual_kind(bool deep) const;
  TYPE* normalized_type();
  TYPE* normalized_type_uncached();

  CSU_RECORD* getr_csu() const;
  CSU_RECORD* get_csu() const;  // null for a non-class type
  FUNC_RECORD* getr_func() const;
  ENUM_RECORD* getr_enum() const;
  ARRAY_RECORD* getr_array() const;
  PTM_RECORD* getr_ptm() const;
  FIXED_RECORD* getr_fixed() const;
  TYPE* stds() const;  // the type stripped of typedefs
  TYPE* stqs() const;  // the type stripped of qualifiers and typedefs

  // Type in C form; the text lives in one static buffer.
  const char* printstr(bool flag) const;

  static void mark_named_types(bool all_named);
  static void mark_refed_types();
};

class TYPE_PKG {
 public:
  enum BASIC {
    BT_BOOL = 0, BT_CHAR, BT_UCHAR, BT_WCHAR, BT_SHORT, BT_USHORT, BT_INT, BT_UINT,
    BT_LONG, BT_ULONG, BT_LLONG, BT_ULLONG, BT_FLOAT, BT_DOUBLE, BT_LDOUBLE, BT_VOID,
    BT_PVOID, BT_COUNT
  };
  TYPE* basic[BT_COUNT] = {};
  std::map<int, TYPE*> by_id;
  std::map<std::string, TYPE*> named;

  static TYPE* root_type;
  static int tp_count;
  static int cpu_version;
  static int wchar_t_size_in_bits;

  void init_type_pkg();
  void update_basic_types();
  void normalize_basic_types();

  TYPE* mk_void();
  TYPE* mk_int(int ikind, bool explicit_sign, uint32_t size, uint32_t align, bool is_bool, bool is_bool2);
  TYPE* mk_int(int ikind, bool explicit_sign);
  TYPE* mk_fltpt(int fkind, uint32_t size, uint32_t align);
  TYPE* mk_fltpt(int fkind);
  TYPE* mk_fxtpt(TYPE* underlying, int scale, bool explicit_sign, uint32_t size, uint32_t align);
  TYPE* mk_complex(TYPE* part, uint32_t size, uint32_t align);
  TYPE* mk_ptr(TYPE* target, uint32_t size, uint32_t align);
  TYPE* mk_ptr(TYPE* target);
  TYPE* mk_ref(TYPE* target, uint32_t size, uint32_t align);
  TYPE* mk_ptm(TYPE* target, TYPE* csu, uint32_t size, uint32_t align);
  TYPE* mk_qual(TYPE* type, uint8_t bits, uint32_t size, uint32_t align);
  TYPE* mk_qual(TYPE* type, uint8_t bits);
  TYPE* mk_array(TYPE* elem, uint32_t count, uint32_t size, uint32_t align, bool is_cpp, bool complete);
  TYPE* mk_vector(TYPE* elem, uint32_t count, uint32_t size, uint32_t align);
  TYPE* mk_func(TYPE* result, bool flag1, bool flag2, bool is_cpp, int convention, uint32_t size, uint32_t align);
  TYPE* mk_enum(const std::string& name, uint32_t size, uint32_t align, TYPE* underlying, bool is_cpp);
  TYPE* mk_struct(const std::string& name, uint32_t size, uint32_t align);
  TYPE* mk_union(const std::string& name, uint32_t size, uint32_t align);
  TYPE* mk_class(const std::string& name, uint32_t size, uint32_t align);
  TYPE* mk_typedef(const std::string& name, TYPE* target, uint32_t size, uint32_t align, bool is_cpp, bool lowered);
  TYPE* mk_signed(TYPE* type);

  void register_type(TYPE* t, TYPE* root);
  uint32_t assign_uid();
  // Called when a type with lists is complete; may replace it with an equal one.
  void type_frozen(TYPE*& type);
  TYPE* find_equivalent_type(TYPE* type);
  static TYPE* demangle_type_name(const char* name, bool flag, bool& is_cpp);
  void print_stats(FILE* f) const;
};

void delete_type_tree(TYPE* root, bool all, bool flag);

extern TYPE_PKG* tp;

bool compatible_types(const TYPE* a, const TYPE* b, bool flag);
bool exact_types(const TYPE* a, const TYPE* b);
TYPE* normalized_underlying_type(TYPE* type);
TYPE* c_integral_promotions(TYPE* type);
TYPE* c_usual_arith_conv(TYPE* a, TYPE* b);

// Prints "TP>> internal error: %s\n" and ends the program with status 1.
[[noreturn]] void tp_die(const char* text);
