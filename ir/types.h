// TYPE: the shared type record of a translation unit, and the element records
// of the lists a type can carry. Sizes and alignments are in bits. Equal types
// are shared (see TYPE_PKG in ir/type_pkg.h), so pointer equality is the first
// test everywhere.
#pragma once
#include <cstdint>
#include <cstdio>
#include <list>
#include <map>
#include <new>
#include <string>
#include <utility>

#include "ir/mmgt.h"

struct PSN;
struct TYPE;

// Types and their records live for the whole run in blocks of tp_alloc, made
// by tp_new and freed by tp_delete.
template <class T, class... A>
T* tp_new(A&&... args) {
  return new (tp_alloc(sizeof(T))) T(std::forward<A>(args)...);
}
template <class T>
void tp_delete(T* p) {
  if (!p) return;
  p->~T();
  tp_free(p, sizeof(T));
}

// Element records of the lists a type can carry. Whoever builds a list makes
// the elements with `new` and links them with tp_append; the type owns them
// and deletes them with itself.
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

// Appends `elem` at the end of the list that starts at `head`.
template <class E>
void tp_append(E*& head, E* elem) {
  E** link = &head;
  while (*link) link = &(*link)->next;
  *link = elem;
}

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
  bool lowered = false;  // mirrors TYPE::lowered, which is the one read
  fkBCLASS* bclasses = nullptr;
  fkADECL* adecls = nullptr;
  fkFFRIEND* ffriends = nullptr;
  fkTYPE_ELEM* cfriends = nullptr;
  fkTYPE_ELEM* ntypes = nullptr;
  fkMDATA* mdata = nullptr;
  fkSDATA* sdata = nullptr;
  fkMFUNC* mfuncs = nullptr;
  fkPARAM* params = nullptr;
  // Which of the nine lists are present (indexed by LIST_KIND; LK_ETOR unused).
  bool has_list[10] = {false, false, false, false, false, false, false, false, false, false};

  CSU_RECORD() = default;
  CSU_RECORD(const CSU_RECORD&) = delete;
  CSU_RECORD& operator=(const CSU_RECORD&) = delete;
  ~CSU_RECORD();
};

struct FUNC_RECORD {
  TYPE* result = nullptr;
  fkPARAM* params = nullptr;
  bool flag1 = false;
  bool flag2 = false;
  uint8_t convention = 0;  // TYPE::CC_KIND
  bool has_params = false;

  FUNC_RECORD() = default;
  FUNC_RECORD(const FUNC_RECORD&) = delete;
  FUNC_RECORD& operator=(const FUNC_RECORD&) = delete;
  ~FUNC_RECORD();
};

struct ENUM_RECORD {
  TYPE* underlying = nullptr;
  fkETOR* etors = nullptr;
  bool has_etors = false;

  ENUM_RECORD() = default;
  ENUM_RECORD(const ENUM_RECORD&) = delete;
  ENUM_RECORD& operator=(const ENUM_RECORD&) = delete;
  ~ENUM_RECORD();
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
  int8_t scale = 0;  // the fraction; also held in TYPE::subpart2
  bool explicit_sign = false;
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
  // Flattened kinds of ekind(): 0 to 11 are the IKIND values.
  enum EKIND {
    EK_FLOAT = 12, EK_DOUBLE = 13, EK_LDOUBLE = 14, EK_FIXED = 15, EK_COMPLEX = 16,
    EK_POINTER = 17, EK_REFERENCE = 18, EK_ARRAY = 19, EK_PTM = 20, EK_FUNCTION = 21,
    EK_ENUM = 22, EK_CLASS = 23, EK_STRUCT = 24, EK_UNION = 25, EK_VOID = 26,
  };

  uint32_t uid = 0;
  KIND kind = KIND_VOID;
  uint32_t size = 0;
  uint32_t align = 0;
  bool frozen = false;
  bool flag = false;  // free for a walk's own marks; the package leaves it alone
  TYPE* rep = nullptr;
  PSN* psn = nullptr;
  TYPE* normalized = nullptr;
  bool written = false;
  bool referenced = false;
  TYPE* base = nullptr;
  bool is_cpp = false;
  // The kind's own record: FIXED_RECORD (3), ARRAY_RECORD (9), PTM_RECORD
  // (10), FUNC_RECORD (11), ENUM_RECORD (12), CSU_RECORD (13 to 15); the part
  // type for complex (4); the target type for kinds 5 to 8.
  void* subpart = nullptr;
  // Integral: explicit-sign flag; qualified: qualifier bits; fixed: fraction.
  uint8_t subpart2 = 0;
  bool is_bool2 = false;
  std::string name;
  int ikind = 0;   // IKIND of an integral type
  int fkind = 0;   // FKIND of a floating type
  bool lowered = false;  // typedef and class, structure, union
  // The types built on this one (or, for the root type, the types built on
  // nothing), by a key of their own attributes. Several types may share a key
  // only while they have lists: their lists tell them apart.
  std::multimap<std::string, TYPE*> derived;
  std::list<TYPE*> based;  // the types whose base link ends at this one

  explicit TYPE(KIND k);
  TYPE(const TYPE&) = delete;
  TYPE& operator=(const TYPE&) = delete;
  virtual ~TYPE();

  // Kind queries; they look through qualifiers and typedefs via `rep`.
  bool is_bool() const;
  bool is_schar() const;
  bool is_uchar() const;
  bool is_plain_char() const;  // ikind at most char, no explicit sign: bool too, so ask is_bool first
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
  bool is_signed() const;    // integral, enum, fixed by their sign; floating
  bool is_unsigned() const;  // integral and enum by their sign; pointers
  bool is_integral() const;
  bool is_floating() const;
  bool is_pointer() const;
  bool is_func() const;
  bool is_array() const;
  bool is_csu() const;
  bool is_void() const;
  bool is_scalar() const;  // integral, enum, floating, fixed, pointer, ptm
  bool is_udt() const;     // class, structure or union
  bool is_complete() const;
  bool is_lowered() const;
  bool is_qualified() const;  // carries qualifier bits, through typedefs
  bool is_vpred() const;      // a vector of bool
  // A structure whose last data member is an array without elements; with
  // `nested`, also one whose last member is such a structure.
  bool has_flex_array_member(bool nested) const;
  bool has_explicit_sign() const;  // integral and fixed point

  int rank() const;   // of an integral or enum type
  int ekind() const;  // of this very record: a typedef or qualifier ends the program
  uint32_t size_in_bytes() const;   // in addressable units of 16 bits, rounded up
  uint32_t align_in_bytes() const;  // likewise
  uint32_t storage_size() const;    // bits, the size rounded up to the alignment

  TYPE* type_pointed_to() const;  // of a pointer or reference
  TYPE* type_qualified() const;   // the type less its qualifiers
  TYPE* underlying_type() const;  // of an enum or fixed-point type
  TYPE* elem_type() const;        // of an array
  TYPE* part_type() const;        // of a complex type
  // Qualifier bits of this type; with `deep`, gathered through typedefs and
  // nested qualifier records as well.
  uint8_t qual_kind(bool deep) const;
  TYPE* normalized_type();
  TYPE* normalized_type_uncached();

  // Record getters: they look through `rep` and end the program when the type
  // is of another kind; getd and get_csu give null instead.
  void* getr(KIND k) const;
  void* getd(KIND k) const;
  CSU_RECORD* getr_csu() const;
  CSU_RECORD* get_csu() const;
  FUNC_RECORD* getr_func() const;
  ENUM_RECORD* getr_enum() const;
  ARRAY_RECORD* getr_array() const;
  PTM_RECORD* getr_ptm() const;
  FIXED_RECORD* getr_fixed() const;
  TYPE* stds() const;  // the type stripped of typedefs
  TYPE* stqs() const;  // the type stripped of qualifiers and typedefs
  TYPE* last_base() const;  // the end of the chain of base links

  // Type in C form; the text lives in one static buffer. With `verbose`, the
  // data members of a class, structure or union are listed with their offsets.
  const char* printstr(bool verbose) const;

  // Walks from TYPE_PKG::root_type before a file is written. mark_named_types
  // marks every named class, structure, union, enum and typedef as referenced
  // when `all_named` is set (and does nothing otherwise); mark_refed_types
  // then marks everything a referenced type refers to.
  static void mark_named_types(bool all_named);
  static void mark_refed_types();
};

#include "ir/type_pkg.h"
