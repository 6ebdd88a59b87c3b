// TYPE: the record, its queries and its navigation.
#include "ir/types.h"

#include <vector>

#include "ir/type_tree.h"

template <class E>
static void delete_list(E* head) {
  while (head) {
    E* next = head->next;
    delete head;
    head = next;
  }
}

CSU_RECORD::~CSU_RECORD() {
  delete_list(bclasses);
  delete_list(adecls);
  delete_list(ffriends);
  delete_list(cfriends);
  delete_list(ntypes);
  delete_list(mdata);
  delete_list(sdata);
  delete_list(mfuncs);
  delete_list(params);
}

FUNC_RECORD::~FUNC_RECORD() { delete_list(params); }

ENUM_RECORD::~ENUM_RECORD() { delete_list(etors); }

TYPE::TYPE(KIND k) : kind(k), rep(this) {}

TYPE::~TYPE() {
  switch (kind) {
    case KIND_FIXED: tp_delete(static_cast<FIXED_RECORD*>(subpart)); break;
    case KIND_ARRAY: tp_delete(static_cast<ARRAY_RECORD*>(subpart)); break;
    case KIND_PTM: tp_delete(static_cast<PTM_RECORD*>(subpart)); break;
    case KIND_FUNCTION: tp_delete(static_cast<FUNC_RECORD*>(subpart)); break;
    case KIND_ENUM: tp_delete(static_cast<ENUM_RECORD*>(subpart)); break;
    case KIND_CLASS:
    case KIND_STRUCT:
    case KIND_UNION: tp_delete(static_cast<CSU_RECORD*>(subpart)); break;
    default: break;  // no record, or a type that is not ours
  }
}

static const TYPE* repr(const TYPE* t) { return t->rep ? t->rep : t; }

static bool is_ikind(const TYPE* t, int ik) {
  const TYPE* r = repr(t);
  return r->kind == TYPE::KIND_INTEGRAL && r->ikind == ik;
}

static bool is_fkind(const TYPE* t, int fk) {
  const TYPE* r = repr(t);
  return r->kind == TYPE::KIND_FLOATING && r->fkind == fk;
}

// Plain char and wchar_t are signed on this target.
static bool ikind_is_signed(int ik) {
  switch (ik) {
    case TYPE::IK_CHAR:
    case TYPE::IK_WCHAR:
    case TYPE::IK_SHORT:
    case TYPE::IK_INT:
    case TYPE::IK_LONG:
    case TYPE::IK_LLONG: return true;
    default: return false;
  }
}

bool TYPE::is_bool() const {
  const TYPE* r = repr(this);
  return r->kind == KIND_INTEGRAL && (r->ikind == IK_BOOL || r->is_bool2);
}
bool TYPE::is_schar() const { return is_ikind(this, IK_CHAR) && repr(this)->subpart2; }
bool TYPE::is_uchar() const { return is_ikind(this, IK_UCHAR); }
bool TYPE::is_plain_char() const {
  const TYPE* r = repr(this);
  return r->kind == KIND_INTEGRAL && r->ikind <= IK_CHAR && !r->subpart2;
}
bool TYPE::is_wchar_t() const { return is_ikind(this, IK_WCHAR); }
bool TYPE::is_short() const { return is_ikind(this, IK_SHORT); }
bool TYPE::is_ushort() const { return is_ikind(this, IK_USHORT); }
bool TYPE::is_int() const { return is_ikind(this, IK_INT); }
bool TYPE::is_uint() const { return is_ikind(this, IK_UINT); }
bool TYPE::is_long() const { return is_ikind(this, IK_LONG); }
bool TYPE::is_ulong() const { return is_ikind(this, IK_ULONG); }
bool TYPE::is_llong() const { return is_ikind(this, IK_LLONG); }
bool TYPE::is_ullong() const { return is_ikind(this, IK_ULLONG); }
bool TYPE::is_float() const { return is_fkind(this, FK_FLOAT); }
bool TYPE::is_double() const { return is_fkind(this, FK_DOUBLE); }
bool TYPE::is_ldouble() const { return is_fkind(this, FK_LDOUBLE); }

bool TYPE::is_signed() const {
  const TYPE* r = repr(this);
  switch (r->kind) {
    case KIND_INTEGRAL: return ikind_is_signed(r->ikind);
    case KIND_ENUM: return r->underlying_type()->is_signed();
    case KIND_FIXED: return static_cast<FIXED_RECORD*>(r->subpart)->explicit_sign;
    case KIND_FLOATING: return true;
    default: return false;
  }
}

bool TYPE::is_unsigned() const {
  const TYPE* r = repr(this);
  switch (r->kind) {
    case KIND_INTEGRAL: return !ikind_is_signed(r->ikind);
    case KIND_ENUM: return r->underlying_type()->is_unsigned();
    case KIND_FIXED: return !static_cast<FIXED_RECORD*>(r->subpart)->explicit_sign;
    case KIND_POINTER: return true;
    default: return false;
  }
}

bool TYPE::is_integral() const { return repr(this)->kind == KIND_INTEGRAL; }
bool TYPE::is_floating() const { return repr(this)->kind == KIND_FLOATING; }
bool TYPE::is_pointer() const { return repr(this)->kind == KIND_POINTER; }
bool TYPE::is_func() const { return repr(this)->kind == KIND_FUNCTION; }
bool TYPE::is_array() const { return repr(this)->kind == KIND_ARRAY; }
bool TYPE::is_void() const { return repr(this)->kind == KIND_VOID; }
bool TYPE::is_csu() const {
  KIND k = repr(this)->kind;
  return k == KIND_CLASS || k == KIND_STRUCT || k == KIND_UNION;
}
bool TYPE::is_udt() const { return is_csu(); }

bool TYPE::is_scalar() const {
  switch (repr(this)->kind) {
    case KIND_INTEGRAL:
    case KIND_ENUM:
    case KIND_FLOATING:
    case KIND_FIXED:
    case KIND_POINTER:
    case KIND_PTM: return true;
    default: return false;
  }
}

bool TYPE::is_complete() const {
  const TYPE* r = repr(this);
  switch (r->kind) {
    case KIND_VOID: return false;
    case KIND_ARRAY: return static_cast<ARRAY_RECORD*>(r->subpart)->complete;
    case KIND_CLASS:
    case KIND_STRUCT:
    case KIND_UNION: return static_cast<CSU_RECORD*>(r->subpart)->complete;
    default: return true;
  }
}

bool TYPE::is_lowered() const {
  const TYPE* t = this;
  while (t->kind == KIND_QUALIFIED) t = static_cast<TYPE*>(t->subpart);
  return (t->kind == KIND_TYPEDEF || t->is_csu()) && t->lowered;
}

bool TYPE::is_qualified() const { return qual_kind(true) != 0; }

bool TYPE::is_vpred() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_ARRAY) return false;
  auto* a = static_cast<ARRAY_RECORD*>(r->subpart);
  return a->vector && a->elem && a->elem->is_bool();
}

bool TYPE::has_flex_array_member(bool nested) const {
  const TYPE* t = repr(this);
  // The depth bound only guards against a malformed file with a cycle of
  // structures held by value.
  for (int depth = 0; depth < 64 && t->is_csu(); ++depth) {
    const fkMDATA* last = static_cast<CSU_RECORD*>(t->subpart)->mdata;
    if (!last) return false;
    while (last->next) last = last->next;
    if (!last->type) return false;
    const TYPE* m = repr(last->type);
    if (m->kind == KIND_ARRAY) {
      auto* a = static_cast<ARRAY_RECORD*>(m->subpart);
      return a->count == 0;
    }
    if (!nested) return false;
    t = m;
  }
  return false;
}

bool TYPE::has_explicit_sign() const {
  const TYPE* r = repr(this);
  if (r->kind == KIND_INTEGRAL) return r->subpart2 != 0;
  if (r->kind == KIND_FIXED) return static_cast<FIXED_RECORD*>(r->subpart)->explicit_sign;
  return false;
}

int TYPE::rank() const {
  static const int ranks[] = {0, 1, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5};
  const TYPE* r = repr(this);
  if (r->kind == KIND_INTEGRAL && r->ikind >= 0 && r->ikind <= IK_ULLONG) return ranks[r->ikind];
  if (r->kind == KIND_ENUM) return r->underlying_type()->rank();
  tp_die("Bad kind:  TYPE::rank()");
}

int TYPE::ekind() const {
  switch (kind) {
    case KIND_INTEGRAL: return ikind;
    case KIND_FLOATING: return EK_FLOAT + fkind;
    case KIND_FIXED: return EK_FIXED;
    case KIND_COMPLEX: return EK_COMPLEX;
    case KIND_POINTER: return EK_POINTER;
    case KIND_REFERENCE: return EK_REFERENCE;
    case KIND_ARRAY: return EK_ARRAY;
    case KIND_PTM: return EK_PTM;
    case KIND_FUNCTION: return EK_FUNCTION;
    case KIND_ENUM: return EK_ENUM;
    case KIND_CLASS: return EK_CLASS;
    case KIND_STRUCT: return EK_STRUCT;
    case KIND_UNION: return EK_UNION;
    case KIND_VOID: return EK_VOID;
    default: tp_die("unhandled type kind: TYPE::ekind()");
  }
}

uint32_t TYPE::size_in_bytes() const { return (size + 15) / 16; }
uint32_t TYPE::align_in_bytes() const { return (align + 15) / 16; }
uint32_t TYPE::storage_size() const {
  if (align <= 1) return size;
  return (size + align - 1) / align * align;
}

TYPE* TYPE::type_pointed_to() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_POINTER && r->kind != KIND_REFERENCE) tp_die("Bad kind:  TYPE::type_pointed_to()");
  return static_cast<TYPE*>(r->subpart);
}

TYPE* TYPE::type_qualified() const {
  const TYPE* t = this;
  while (t->kind == KIND_QUALIFIED) t = static_cast<TYPE*>(t->subpart);
  return const_cast<TYPE*>(t);
}

TYPE* TYPE::underlying_type() const {
  const TYPE* r = repr(this);
  if (r->kind == KIND_ENUM) return static_cast<ENUM_RECORD*>(r->subpart)->underlying;
  if (r->kind == KIND_FIXED) return static_cast<FIXED_RECORD*>(r->subpart)->underlying;
  tp_die("Bad kind:  TYPE::underlying_type()");
}

TYPE* TYPE::elem_type() const { return getr_array()->elem; }

TYPE* TYPE::part_type() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_COMPLEX) tp_die("Bad kind:  TYPE::part_type()");
  return static_cast<TYPE*>(r->subpart);
}

uint8_t TYPE::qual_kind(bool deep) const {
  if (!deep) return kind == KIND_QUALIFIED ? subpart2 : 0;
  uint8_t bits = 0;
  for (const TYPE* t = this; t->kind == KIND_QUALIFIED || t->kind == KIND_TYPEDEF;
       t = static_cast<TYPE*>(t->subpart)) {
    if (t->kind == KIND_QUALIFIED) bits |= t->subpart2;
  }
  return bits;
}

void* TYPE::getr(KIND k) const {
  const TYPE* r = repr(this);
  if (r->kind != k) tp_die("Bad kind:  TYPE::getr()");
  return r->subpart;
}

void* TYPE::getd(KIND k) const {
  const TYPE* r = repr(this);
  return r->kind == k ? r->subpart : nullptr;
}

CSU_RECORD* TYPE::getr_csu() const {
  if (!is_csu()) tp_die("Bad kind:  TYPE::getr_csu()");
  return static_cast<CSU_RECORD*>(repr(this)->subpart);
}

CSU_RECORD* TYPE::get_csu() const {
  return is_csu() ? static_cast<CSU_RECORD*>(repr(this)->subpart) : nullptr;
}

FUNC_RECORD* TYPE::getr_func() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_FUNCTION) tp_die("Bad kind:  TYPE::getr_func()");
  return static_cast<FUNC_RECORD*>(r->subpart);
}

ENUM_RECORD* TYPE::getr_enum() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_ENUM) tp_die("Bad kind:  TYPE::getr_enum()");
  return static_cast<ENUM_RECORD*>(r->subpart);
}

ARRAY_RECORD* TYPE::getr_array() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_ARRAY) tp_die("Bad kind:  TYPE::getr_array()");
  return static_cast<ARRAY_RECORD*>(r->subpart);
}

PTM_RECORD* TYPE::getr_ptm() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_PTM) tp_die("Bad kind:  TYPE::getr_ptm()");
  return static_cast<PTM_RECORD*>(r->subpart);
}

FIXED_RECORD* TYPE::getr_fixed() const {
  const TYPE* r = repr(this);
  if (r->kind != KIND_FIXED) tp_die("Bad kind:  TYPE::getr_fixed()");
  return static_cast<FIXED_RECORD*>(r->subpart);
}

TYPE* TYPE::stds() const {
  const TYPE* t = this;
  while (t->kind == KIND_TYPEDEF) t = static_cast<TYPE*>(t->subpart);
  return const_cast<TYPE*>(t);
}

TYPE* TYPE::stqs() const {
  const TYPE* t = this;
  while (t->kind == KIND_TYPEDEF || t->kind == KIND_QUALIFIED) t = static_cast<TYPE*>(t->subpart);
  return const_cast<TYPE*>(t);
}

TYPE* TYPE::last_base() const {
  const TYPE* t = this;
  while (t->base) t = t->base;
  return const_cast<TYPE*>(t);
}

TYPE* TYPE::normalized_type() {
  if (!normalized) normalized = normalized_type_uncached();
  return normalized;
}

TYPE* TYPE::normalized_type_uncached() {
  switch (kind) {
    case KIND_TYPEDEF: return static_cast<TYPE*>(subpart)->normalized_type();
    case KIND_ENUM: return underlying_type()->normalized_type();
    case KIND_QUALIFIED: {
      TYPE* target = static_cast<TYPE*>(subpart);
      TYPE* n = target->normalized_type();
      if (n == target || !tp) return this;
      return tp->mk_qual(n, subpart2);
    }
    case KIND_INTEGRAL:
    case KIND_FLOATING: {
      // A type equal in size to the basic type of its kind goes where the
      // basic type folds; one that acts as a bool keeps its own identity.
      if (!tp || is_bool2) return this;
      TYPE* b = kind == KIND_INTEGRAL ? (ikind >= 0 && ikind <= IK_ULLONG ? tp->basic[ikind] : nullptr)
                                      : (fkind >= 0 && fkind <= FK_LDOUBLE ? tp->basic[TYPE_PKG::BT_FLOAT + fkind] : nullptr);
      if (!b || b == this) return b && b->normalized ? b->normalized : this;
      if (b->size != size) return this;
      return b->normalized_type();
    }
    default: return this;
  }
}

bool is_named_type(const TYPE* t) {
  if (t->name.empty()) return false;
  switch (t->kind) {
    case TYPE::KIND_TYPEDEF:
    case TYPE::KIND_ENUM:
    case TYPE::KIND_CLASS:
    case TYPE::KIND_STRUCT:
    case TYPE::KIND_UNION: return true;
    default: return false;
  }
}

void TYPE::mark_named_types(bool all_named) {
  if (!all_named || !TYPE_PKG::root_type) return;
  for_each_type(TYPE_PKG::root_type, [](TYPE* t) {
    if (!t->base && t->frozen && is_named_type(t)) t->referenced = true;
  });
}

void TYPE::mark_refed_types() {
  if (!TYPE_PKG::root_type) return;
  std::vector<TYPE*> work;
  for_each_type(TYPE_PKG::root_type, [&](TYPE* t) {
    if (t->referenced) work.push_back(t);
  });
  // What goes to the file is the end of a base chain.
  auto mark = [&](TYPE* c) {
    if (!c) return;
    c = c->last_base();
    if (c == TYPE_PKG::root_type || c->referenced) return;
    c->referenced = true;
    work.push_back(c);
  };
  while (!work.empty()) {
    TYPE* t = work.back();
    work.pop_back();
    if (t->base) mark(t);
    for_each_component(t, mark);
  }
}
