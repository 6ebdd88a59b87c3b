// TYPE_PKG: the one package of the types of a translation unit, reached through
// `tp`. It makes types, shares equal ones, knows the target's basic types and
// answers the C questions about them. Made once per run on a block of
// tp_alloc (tp = tp_new<TYPE_PKG>()), then init_type_pkg.
#pragma once
#include "ir/types.h"

class TYPE_PKG {
 public:
  enum BASIC {
    BT_BOOL = 0, BT_CHAR, BT_UCHAR, BT_WCHAR, BT_SHORT, BT_USHORT, BT_INT, BT_UINT,
    BT_LONG, BT_ULONG, BT_LLONG, BT_ULLONG, BT_FLOAT, BT_DOUBLE, BT_LDOUBLE, BT_VOID,
    BT_PVOID, BT_COUNT
  };
  TYPE* basic[BT_COUNT] = {};
  std::map<int, TYPE*> by_id;               // uid to type
  std::multimap<std::string, TYPE*> named;  // frozen named types by name
  uint32_t next_uid = 1;
  uint32_t type_count = 0;

  // The root of the tree of types: every type hangs in the derived map of the
  // type it is built on, or of the root. Shared by all packages of a run.
  static TYPE* root_type;
  static int tp_count;
  static int cpu_version;
  static int wchar_t_size_in_bits;

  // Makes the root (first package), the basic types, and folds their sizes.
  void init_type_pkg();
  // Stores the target's basic sizes again, then folds.
  void update_basic_types();
  // Sets each basic type's normalized type by folding equal sizes.
  void normalize_basic_types();

  // Constructors. Types without lists come back shared; a function, enum,
  // class, structure or union comes back open: fill its lists, then call
  // type_frozen.
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
  // Bits 0 give `type` back; qualifiers of a qualified type are merged.
  TYPE* mk_qual(TYPE* type, uint8_t bits, uint32_t size, uint32_t align);
  TYPE* mk_qual(TYPE* type, uint8_t bits);
  TYPE* mk_array(TYPE* elem, uint32_t count, uint32_t size, uint32_t align, bool is_cpp, bool complete);
  TYPE* mk_vector(TYPE* elem, uint32_t count, uint32_t size, uint32_t align);
  TYPE* mk_func(TYPE* result, bool flag1, bool flag2, bool is_cpp, int convention, uint32_t size, uint32_t align);
  // A null underlying type stands for int.
  TYPE* mk_enum(const std::string& name, uint32_t size, uint32_t align, TYPE* underlying, bool is_cpp);
  TYPE* mk_struct(const std::string& name, uint32_t size, uint32_t align);
  TYPE* mk_union(const std::string& name, uint32_t size, uint32_t align);
  TYPE* mk_class(const std::string& name, uint32_t size, uint32_t align);
  TYPE* mk_typedef(const std::string& name, TYPE* target, uint32_t size, uint32_t align, bool is_cpp, bool lowered);
  TYPE* mk_signed(TYPE* type);    // the signed type of the same size
  TYPE* mk_unsigned(TYPE* type);  // the unsigned type of the same size

  // Links a new type into the derived map of `root` and gives it a uid.
  void register_type(TYPE* t, TYPE* root);
  uint32_t assign_uid();
  // Called when a type with lists is complete; replaces it with an equal
  // frozen type if there is one (the replaced type keeps a base link to it).
  void type_frozen(TYPE*& type);
  // After a file is read: the type equal to `type` that stays, merging
  // `type` into it; `type` itself when there is none.
  TYPE* find_equivalent_type(TYPE* type);
  // The display name of a type name from the file, and whether it is a C++
  // name. Demangling is not done: the name comes back as it is.
  static std::string demangle_type_name(const char* name, bool flag, bool& is_cpp);
  // strcmp order of two type names; null counts as empty.
  static int compare_type_names(const char* a, const char* b);
  void print_stats(FILE* f) const;  // types per kind
  void db_stats(FILE* f) const;     // shape of the derived maps
};

// Frees the types hanging under `root`, and `root` itself when `free_root`;
// freeing TYPE_PKG::root_type ends the tree (the next package makes a new one).
// `flag` has no effect on this target.
void delete_type_tree(TYPE* root, bool free_root, bool flag);

extern TYPE_PKG* tp;

// C compatibility. Types with the same representation are compatible, so
// qualifiers and typedefs at the top do not count; below it (pointer targets,
// elements, parameters) qualifiers must agree when `check_quals` is set.
bool compatible_types(const TYPE* a, const TYPE* b, bool check_quals);
// Identical types once typedefs are stripped: qualifiers count everywhere,
// an enum is not its underlying type, array counts and function flags agree.
bool exact_types(const TYPE* a, const TYPE* b);
TYPE* normalized_underlying_type(TYPE* type);
TYPE* c_integral_promotions(TYPE* type);
TYPE* c_usual_arith_conv(TYPE* a, TYPE* b);

// Prints "TP>> internal error: %s\n" and ends the program with status 1.
[[noreturn]] void tp_die(const char* text);
