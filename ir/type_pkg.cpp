// TYPE_PKG: start-up, the basic types of the target, the constructors and the
// tree of derived maps that shares equal types.
#include "ir/type_pkg.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <unordered_set>
#include <vector>

#include "ir/type_tree.h"

TYPE_PKG* tp = nullptr;
TYPE* TYPE_PKG::root_type = nullptr;
int TYPE_PKG::tp_count = 0;
int TYPE_PKG::cpu_version = 0;
int TYPE_PKG::wchar_t_size_in_bits = 16;

void tp_die(const char* text) {
  fprintf(stderr, "TP>> internal error: %s\n", text);
  exit(1);
}

// ---------------------------------------------------------------- the target

// Integral sizes of Rill in bits, by IKIND; wchar_t follows
// wchar_t_size_in_bits. Size and alignment are equal.
static uint32_t target_int_bits(int ikind) {
  static const uint32_t bits[] = {32, 16, 16, 16, 16, 16, 32, 32, 32, 32, 32, 32};
  if (ikind == TYPE::IK_WCHAR) return static_cast<uint32_t>(TYPE_PKG::wchar_t_size_in_bits);
  return bits[ikind];
}
static const uint32_t target_float_bits = 32;
static const uint32_t target_ptr_bits = 16;

// Signed kinds carry the explicit-sign flag; plain char does not.
static bool made_with_explicit_sign(int ikind) {
  return ikind == TYPE::IK_WCHAR || ikind == TYPE::IK_SHORT || ikind == TYPE::IK_INT ||
         ikind == TYPE::IK_LONG || ikind == TYPE::IK_LLONG;
}

static void check_ikind(int ikind) {
  if (ikind < TYPE::IK_BOOL || ikind > TYPE::IK_ULLONG) tp_die("bad integral kind");
}

static void check_fkind(int fkind) {
  if (fkind < TYPE::FK_FLOAT || fkind > TYPE::FK_LDOUBLE) tp_die("bad floating kind");
}

void TYPE_PKG::init_type_pkg() {
  ++tp_count;
  if (!root_type) {
    root_type = tp_new<TYPE>(TYPE::KIND_VOID);
    root_type->frozen = true;
  }
  basic[BT_VOID] = mk_void();
  basic[BT_PVOID] = mk_ptr(basic[BT_VOID], target_ptr_bits, target_ptr_bits);
  for (int ik = TYPE::IK_BOOL; ik <= TYPE::IK_ULLONG; ++ik) {
    uint32_t bits = target_int_bits(ik);
    basic[ik] = mk_int(ik, made_with_explicit_sign(ik), bits, bits, ik == TYPE::IK_BOOL, false);
  }
  for (int fk = TYPE::FK_FLOAT; fk <= TYPE::FK_LDOUBLE; ++fk)
    basic[BT_FLOAT + fk] = mk_fltpt(fk, target_float_bits, target_float_bits);
  normalize_basic_types();
}

void TYPE_PKG::normalize_basic_types() {
  for (TYPE* b : basic)
    if (b) b->normalized = b;
  auto same_size = [&](int a, int b) { return basic[a]->size == basic[b]->size; };
  auto fold = [&](int from, int to) { basic[from]->normalized = basic[to]; };
  if (same_size(BT_LLONG, BT_INT)) fold(BT_LLONG, BT_INT), fold(BT_ULLONG, BT_UINT);
  if (same_size(BT_LONG, BT_INT)) fold(BT_LONG, BT_INT), fold(BT_ULONG, BT_UINT);
  if (same_size(BT_SHORT, BT_INT)) {
    fold(BT_SHORT, BT_INT), fold(BT_USHORT, BT_UINT);
  } else if (same_size(BT_SHORT, BT_CHAR)) {
    fold(BT_SHORT, BT_CHAR), fold(BT_USHORT, BT_UCHAR);
  }
  if (same_size(BT_CHAR, BT_INT)) fold(BT_CHAR, BT_INT), fold(BT_UCHAR, BT_UINT);
  if (same_size(BT_WCHAR, BT_SHORT)) fold(BT_WCHAR, BT_SHORT);
  if (same_size(BT_LDOUBLE, BT_DOUBLE)) fold(BT_LDOUBLE, BT_DOUBLE);
  if (same_size(BT_LDOUBLE, BT_FLOAT)) fold(BT_LDOUBLE, BT_FLOAT);
  if (same_size(BT_DOUBLE, BT_FLOAT)) fold(BT_DOUBLE, BT_FLOAT);
  // A type folded onto one that folds further ends where that one ends.
  for (TYPE* b : basic) {
    if (!b) continue;
    TYPE* n = b->normalized;
    for (int steps = 0; n->normalized != n && steps < BT_COUNT; ++steps) n = n->normalized;
    b->normalized = n;
  }
}

void TYPE_PKG::update_basic_types() {
  if (!root_type) tp_die("type package not initialised");
  for (int ik = TYPE::IK_BOOL; ik <= TYPE::IK_ULLONG; ++ik) {
    uint32_t bits = target_int_bits(ik);
    if (basic[ik]->size != bits || basic[ik]->align != bits)
      basic[ik] = mk_int(ik, made_with_explicit_sign(ik), bits, bits, ik == TYPE::IK_BOOL, false);
  }
  for (int fk = TYPE::FK_FLOAT; fk <= TYPE::FK_LDOUBLE; ++fk) {
    TYPE*& b = basic[BT_FLOAT + fk];
    if (b->size != target_float_bits) b = mk_fltpt(fk, target_float_bits, target_float_bits);
  }
  if (basic[BT_PVOID]->size != target_ptr_bits)
    basic[BT_PVOID] = mk_ptr(basic[BT_VOID], target_ptr_bits, target_ptr_bits);
  // Cached answers may rest on the old folding.
  for_each_type(root_type, [](TYPE* t) { t->normalized = nullptr; });
  normalize_basic_types();
}

// ---------------------------------------------------------------- keys

static std::string fmt(const char* format, ...) {
  char buf[160];
  va_list ap;
  va_start(ap, format);
  vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  return buf;
}

std::string key_int(int ikind, bool explicit_sign, uint32_t size, uint32_t align, bool is_bool2) {
  return fmt("I%d,%d,%u,%u,%d", ikind, explicit_sign, size, align, is_bool2);
}
std::string key_float(int fkind, uint32_t size, uint32_t align) { return fmt("F%d,%u,%u", fkind, size, align); }
std::string key_fixed(int scale, bool explicit_sign, uint32_t size, uint32_t align) {
  return fmt("X%d,%d,%u,%u", scale, explicit_sign, size, align);
}
std::string key_sized(char tag, uint32_t size, uint32_t align) { return fmt("%c%u,%u", tag, size, align); }
std::string key_qual(uint8_t bits, uint32_t size, uint32_t align) { return fmt("Q%u,%u,%u", bits, size, align); }
std::string key_typedef(const std::string& name, uint32_t size, uint32_t align, bool is_cpp, bool lowered) {
  return fmt("T%u,%u,%d,%d,", size, align, is_cpp, lowered) + name;
}
std::string key_array(uint32_t count, uint32_t size, uint32_t align, bool is_cpp, bool complete, bool vector) {
  return fmt("A%u,%u,%u,%d,%d,%d", count, size, align, is_cpp, complete, vector);
}
std::string key_ptm(const TYPE* csu, uint32_t size, uint32_t align) {
  return fmt("M%u,%u,%u", csu ? csu->uid : 0u, size, align);
}

template <class E>
static unsigned list_length(const E* head) {
  unsigned n = 0;
  for (; head; head = head->next) ++n;
  return n;
}

std::string type_key(const TYPE* t) {
  switch (t->kind) {
    case TYPE::KIND_VOID: return "V";
    case TYPE::KIND_INTEGRAL: return key_int(t->ikind, t->subpart2, t->size, t->align, t->is_bool2);
    case TYPE::KIND_FLOATING: return key_float(t->fkind, t->size, t->align);
    case TYPE::KIND_FIXED: {
      auto* f = static_cast<FIXED_RECORD*>(t->subpart);
      return key_fixed(f->scale, f->explicit_sign, t->size, t->align);
    }
    case TYPE::KIND_COMPLEX: return key_sized('C', t->size, t->align);
    case TYPE::KIND_POINTER: return key_sized('P', t->size, t->align);
    case TYPE::KIND_REFERENCE: return key_sized('R', t->size, t->align);
    case TYPE::KIND_QUALIFIED: return key_qual(t->subpart2, t->size, t->align);
    case TYPE::KIND_TYPEDEF: return key_typedef(t->name, t->size, t->align, t->is_cpp, t->lowered);
    case TYPE::KIND_ARRAY: {
      auto* a = static_cast<ARRAY_RECORD*>(t->subpart);
      return key_array(a->count, t->size, t->align, t->is_cpp, a->complete, a->vector);
    }
    case TYPE::KIND_PTM: {
      auto* m = static_cast<PTM_RECORD*>(t->subpart);
      return key_ptm(m->csu, t->size, t->align);
    }
    default: break;
  }
  // Types with lists: an open one is alone under its uid; a frozen one is
  // filed with the types that may equal it.
  if (!t->frozen) return fmt("~%u", t->uid);
  switch (t->kind) {
    case TYPE::KIND_FUNCTION: {
      auto* f = static_cast<FUNC_RECORD*>(t->subpart);
      return fmt("U%d,%d,%d,%u,%u,%u,%u", f->flag1, f->flag2, t->is_cpp, f->convention, t->size, t->align,
                 list_length(f->params));
    }
    case TYPE::KIND_ENUM: {
      auto* e = static_cast<ENUM_RECORD*>(t->subpart);
      return fmt("E%u,%u,%d,%u,", t->size, t->align, t->is_cpp, list_length(e->etors)) + t->name;
    }
    case TYPE::KIND_CLASS:
    case TYPE::KIND_STRUCT:
    case TYPE::KIND_UNION: {
      auto* c = static_cast<CSU_RECORD*>(t->subpart);
      return fmt("S%d,%u,%u,%u,%u,%u,", t->kind, t->size, t->align, list_length(c->bclasses),
                 list_length(c->mdata), list_length(c->mfuncs)) +
             t->name;
    }
    default: tp_die("unhandled type kind: type_key()");
  }
}

TYPE* type_root(const TYPE* t) {
  switch (t->kind) {
    case TYPE::KIND_FIXED: return static_cast<FIXED_RECORD*>(t->subpart)->underlying;
    case TYPE::KIND_COMPLEX:
    case TYPE::KIND_POINTER:
    case TYPE::KIND_REFERENCE:
    case TYPE::KIND_QUALIFIED:
    case TYPE::KIND_TYPEDEF: return static_cast<TYPE*>(t->subpart);
    case TYPE::KIND_ARRAY: return static_cast<ARRAY_RECORD*>(t->subpart)->elem;
    case TYPE::KIND_PTM: return static_cast<PTM_RECORD*>(t->subpart)->target;
    case TYPE::KIND_FUNCTION: return static_cast<FUNC_RECORD*>(t->subpart)->result;
    case TYPE::KIND_ENUM: return static_cast<ENUM_RECORD*>(t->subpart)->underlying;
    default: return TYPE_PKG::root_type;
  }
}

void set_type_root(TYPE* t, TYPE* root) {
  switch (t->kind) {
    case TYPE::KIND_FIXED: static_cast<FIXED_RECORD*>(t->subpart)->underlying = root; break;
    case TYPE::KIND_COMPLEX:
    case TYPE::KIND_POINTER:
    case TYPE::KIND_REFERENCE:
    case TYPE::KIND_QUALIFIED:
    case TYPE::KIND_TYPEDEF: t->subpart = root; break;
    case TYPE::KIND_ARRAY: static_cast<ARRAY_RECORD*>(t->subpart)->elem = root; break;
    case TYPE::KIND_PTM: static_cast<PTM_RECORD*>(t->subpart)->target = root; break;
    case TYPE::KIND_FUNCTION: static_cast<FUNC_RECORD*>(t->subpart)->result = root; break;
    case TYPE::KIND_ENUM: static_cast<ENUM_RECORD*>(t->subpart)->underlying = root; break;
    default: break;
  }
  if (t->kind == TYPE::KIND_QUALIFIED || t->kind == TYPE::KIND_TYPEDEF) t->rep = root->rep;
}

// ---------------------------------------------------------------- walks

void for_each_type(TYPE* root, const std::function<void(TYPE*)>& fn) {
  std::vector<TYPE*> stack{root};
  while (!stack.empty()) {
    TYPE* t = stack.back();
    stack.pop_back();
    if (t != root) fn(t);
    for (auto it = t->derived.rbegin(); it != t->derived.rend(); ++it) stack.push_back(it->second);
  }
}

void for_each_component(const TYPE* t, const std::function<void(TYPE*)>& fn) {
  TYPE* root = type_root(t);
  if (root && root != TYPE_PKG::root_type) fn(root);
  switch (t->kind) {
    case TYPE::KIND_PTM: fn(static_cast<PTM_RECORD*>(t->subpart)->csu); break;
    case TYPE::KIND_FUNCTION:
      for (fkPARAM* p = static_cast<FUNC_RECORD*>(t->subpart)->params; p; p = p->next) fn(p->type);
      break;
    case TYPE::KIND_CLASS:
    case TYPE::KIND_STRUCT:
    case TYPE::KIND_UNION: {
      auto* c = static_cast<CSU_RECORD*>(t->subpart);
      for (fkBCLASS* e = c->bclasses; e; e = e->next) fn(e->base);
      for (fkFFRIEND* e = c->ffriends; e; e = e->next) fn(e->type);
      for (fkTYPE_ELEM* e = c->cfriends; e; e = e->next) fn(e->type);
      for (fkTYPE_ELEM* e = c->ntypes; e; e = e->next) fn(e->type);
      for (fkMDATA* e = c->mdata; e; e = e->next) fn(e->type);
      for (fkSDATA* e = c->sdata; e; e = e->next) fn(e->type);
      for (fkMFUNC* e = c->mfuncs; e; e = e->next) fn(e->type);
      for (fkPARAM* e = c->params; e; e = e->next) fn(e->type);
      break;
    }
    default: break;
  }
}

// ---------------------------------------------------------------- making

uint32_t TYPE_PKG::assign_uid() { return next_uid++; }

void TYPE_PKG::register_type(TYPE* t, TYPE* root) {
  if (!root) tp_die("type package not initialised");
  t->uid = assign_uid();
  by_id[static_cast<int>(t->uid)] = t;
  root->derived.emplace(type_key(t), t);
  ++type_count;
}

// The shared type under `key`, if one was made already. A type merged away
// stands for the one it was merged with.
static TYPE* lookup(TYPE* root, const std::string& key) {
  auto range = root->derived.equal_range(key);
  for (auto it = range.first; it != range.second; ++it)
    if (it->second->frozen) return it->second->last_base();
  return nullptr;
}

// Root of a new type: a type merged away stands for the one that stays.
static TYPE* effective(TYPE* t, const char* who) {
  if (!t) tp_die(who);
  return t->last_base();
}

static TYPE* package_root() {
  if (!TYPE_PKG::root_type) tp_die("type package not initialised");
  return TYPE_PKG::root_type;
}

TYPE* TYPE_PKG::mk_void() {
  TYPE* root = package_root();
  if (TYPE* t = lookup(root, "V")) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_VOID);
  t->frozen = true;
  register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_int(int ikind, bool explicit_sign, uint32_t size, uint32_t align, bool is_bool, bool is_bool2) {
  if (is_bool) ikind = TYPE::IK_BOOL;
  check_ikind(ikind);
  TYPE* root = package_root();
  std::string key = key_int(ikind, explicit_sign, size, align, is_bool2);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_INTEGRAL);
  t->ikind = ikind;
  t->subpart2 = explicit_sign;
  t->size = size;
  t->align = align;
  t->is_bool2 = is_bool2;
  t->frozen = true;
  register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_int(int ikind, bool explicit_sign) {
  check_ikind(ikind);
  uint32_t bits = target_int_bits(ikind);
  return mk_int(ikind, explicit_sign, bits, bits, ikind == TYPE::IK_BOOL, false);
}

TYPE* TYPE_PKG::mk_fltpt(int fkind, uint32_t size, uint32_t align) {
  check_fkind(fkind);
  TYPE* root = package_root();
  std::string key = key_float(fkind, size, align);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_FLOATING);
  t->fkind = fkind;
  t->size = size;
  t->align = align;
  t->frozen = true;
  register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_fltpt(int fkind) { return mk_fltpt(fkind, target_float_bits, target_float_bits); }

TYPE* TYPE_PKG::mk_fxtpt(TYPE* underlying, int scale, bool explicit_sign, uint32_t size, uint32_t align) {
  TYPE* root = underlying ? underlying->last_base() : basic[BT_INT];
  if (!root) tp_die("type package not initialised");
  std::string key = key_fixed(static_cast<int8_t>(scale), explicit_sign, size, align);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_FIXED);
  auto* f = tp_new<FIXED_RECORD>();
  f->underlying = root;
  f->scale = static_cast<int8_t>(scale);
  f->explicit_sign = explicit_sign;
  t->subpart = f;
  t->subpart2 = static_cast<uint8_t>(f->scale);
  t->size = size;
  t->align = align;
  t->frozen = true;
  register_type(t, root);
  return t;
}

// Complex, pointer and reference: a target and a size.
static TYPE* mk_on_target(TYPE_PKG* pkg, TYPE::KIND kind, char tag, TYPE* target, uint32_t size, uint32_t align,
                          const char* who) {
  TYPE* root = effective(target, who);
  std::string key = key_sized(tag, size, align);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(kind);
  t->subpart = root;
  t->size = size;
  t->align = align;
  t->frozen = true;
  pkg->register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_complex(TYPE* part, uint32_t size, uint32_t align) {
  return mk_on_target(this, TYPE::KIND_COMPLEX, 'C', part, size, align, "mk_complex() of a null type");
}

TYPE* TYPE_PKG::mk_ptr(TYPE* target, uint32_t size, uint32_t align) {
  return mk_on_target(this, TYPE::KIND_POINTER, 'P', target, size, align, "mk_ptr() of a null type");
}

TYPE* TYPE_PKG::mk_ptr(TYPE* target) {
  uint32_t bits = basic[BT_PVOID] ? basic[BT_PVOID]->size : target_ptr_bits;
  return mk_ptr(target, bits, bits);
}

TYPE* TYPE_PKG::mk_ref(TYPE* target, uint32_t size, uint32_t align) {
  return mk_on_target(this, TYPE::KIND_REFERENCE, 'R', target, size, align, "mk_ref() of a null type");
}

TYPE* TYPE_PKG::mk_ptm(TYPE* target, TYPE* csu, uint32_t size, uint32_t align) {
  TYPE* root = effective(target, "mk_ptm() of a null type");
  if (!csu) tp_die("mk_ptm() without a class");
  csu = csu->last_base();
  std::string key = key_ptm(csu, size, align);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_PTM);
  auto* m = tp_new<PTM_RECORD>();
  m->target = root;
  m->csu = csu;
  t->subpart = m;
  t->size = size;
  t->align = align;
  t->frozen = true;
  register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_qual(TYPE* type, uint8_t bits, uint32_t size, uint32_t align) {
  TYPE* root = effective(type, "mk_qual() of a null type");
  if (bits == 0) return root;
  // Qualifiers gather on one record, so that equal qualified types are one.
  while (root->kind == TYPE::KIND_QUALIFIED && root->size == size && root->align == align) {
    bits |= root->subpart2;
    root = static_cast<TYPE*>(root->subpart);
  }
  std::string key = key_qual(bits, size, align);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_QUALIFIED);
  t->subpart = root;
  t->subpart2 = bits;
  t->rep = root->rep;
  t->size = size;
  t->align = align;
  t->frozen = true;
  register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_qual(TYPE* type, uint8_t bits) {
  if (!type) tp_die("mk_qual() of a null type");
  return mk_qual(type, bits, type->size, type->align);
}

static TYPE* mk_array_type(TYPE_PKG* pkg, TYPE* elem, uint32_t count, uint32_t size, uint32_t align, bool is_cpp,
                           bool complete, bool vector) {
  TYPE* root = effective(elem, "mk_array() of a null type");
  std::string key = key_array(count, size, align, is_cpp, complete, vector);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_ARRAY);
  auto* a = tp_new<ARRAY_RECORD>();
  a->elem = root;
  a->count = count;
  a->complete = complete;
  a->vector = vector;
  t->subpart = a;
  t->size = size;
  t->align = align;
  t->is_cpp = is_cpp;
  t->frozen = true;
  pkg->register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_array(TYPE* elem, uint32_t count, uint32_t size, uint32_t align, bool is_cpp, bool complete) {
  return mk_array_type(this, elem, count, size, align, is_cpp, complete, false);
}

TYPE* TYPE_PKG::mk_vector(TYPE* elem, uint32_t count, uint32_t size, uint32_t align) {
  return mk_array_type(this, elem, count, size, align, false, true, true);
}

TYPE* TYPE_PKG::mk_typedef(const std::string& name, TYPE* target, uint32_t size, uint32_t align, bool is_cpp,
                           bool lowered) {
  TYPE* root = effective(target, "mk_typedef() of a null type");
  std::string key = key_typedef(name, size, align, is_cpp, lowered);
  if (TYPE* t = lookup(root, key)) return t;
  TYPE* t = tp_new<TYPE>(TYPE::KIND_TYPEDEF);
  t->name = name;
  t->subpart = root;
  t->rep = root->rep;
  t->size = size;
  t->align = align;
  t->is_cpp = is_cpp;
  t->lowered = lowered;
  t->frozen = true;
  register_type(t, root);
  if (!name.empty()) named.emplace(name, t);
  return t;
}

// Types with lists start open and alone; type_frozen files them with their
// possible equals.
TYPE* TYPE_PKG::mk_func(TYPE* result, bool flag1, bool flag2, bool is_cpp, int convention, uint32_t size,
                        uint32_t align) {
  TYPE* root = effective(result, "mk_func() without a result type");
  TYPE* t = tp_new<TYPE>(TYPE::KIND_FUNCTION);
  auto* f = tp_new<FUNC_RECORD>();
  f->result = root;
  f->flag1 = flag1;
  f->flag2 = flag2;
  f->convention = static_cast<uint8_t>(convention);
  t->subpart = f;
  t->is_cpp = is_cpp;
  t->size = size;
  t->align = align;
  register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_enum(const std::string& name, uint32_t size, uint32_t align, TYPE* underlying, bool is_cpp) {
  TYPE* root = underlying ? underlying->last_base() : basic[BT_INT];
  if (!root) tp_die("type package not initialised");
  TYPE* t = tp_new<TYPE>(TYPE::KIND_ENUM);
  auto* e = tp_new<ENUM_RECORD>();
  e->underlying = root;
  t->subpart = e;
  t->name = name;
  t->is_cpp = is_cpp;
  t->size = size;
  t->align = align;
  register_type(t, root);
  return t;
}

static TYPE* mk_csu(TYPE_PKG* pkg, TYPE::KIND kind, const std::string& name, uint32_t size, uint32_t align) {
  TYPE* root = package_root();
  TYPE* t = tp_new<TYPE>(kind);
  t->subpart = tp_new<CSU_RECORD>();
  t->name = name;
  t->size = size;
  t->align = align;
  pkg->register_type(t, root);
  return t;
}

TYPE* TYPE_PKG::mk_struct(const std::string& name, uint32_t size, uint32_t align) {
  return mk_csu(this, TYPE::KIND_STRUCT, name, size, align);
}
TYPE* TYPE_PKG::mk_union(const std::string& name, uint32_t size, uint32_t align) {
  return mk_csu(this, TYPE::KIND_UNION, name, size, align);
}
TYPE* TYPE_PKG::mk_class(const std::string& name, uint32_t size, uint32_t align) {
  return mk_csu(this, TYPE::KIND_CLASS, name, size, align);
}

static const int signed_of[] = {TYPE::IK_BOOL, TYPE::IK_CHAR, TYPE::IK_CHAR,  TYPE::IK_WCHAR,
                                TYPE::IK_SHORT, TYPE::IK_SHORT, TYPE::IK_INT, TYPE::IK_INT,
                                TYPE::IK_LONG, TYPE::IK_LONG, TYPE::IK_LLONG, TYPE::IK_LLONG};
static const int unsigned_of[] = {TYPE::IK_BOOL,   TYPE::IK_UCHAR, TYPE::IK_UCHAR, TYPE::IK_USHORT,
                                  TYPE::IK_USHORT, TYPE::IK_USHORT, TYPE::IK_UINT, TYPE::IK_UINT,
                                  TYPE::IK_ULONG,  TYPE::IK_ULONG, TYPE::IK_ULLONG, TYPE::IK_ULLONG};

// The integral record that decides the sign of `type`, or null.
static TYPE* sign_carrier(TYPE* type) {
  if (!type) return nullptr;
  TYPE* r = type->rep;
  if (r->kind == TYPE::KIND_ENUM) r = r->underlying_type()->rep;
  return r->kind == TYPE::KIND_INTEGRAL ? r : nullptr;
}

TYPE* TYPE_PKG::mk_signed(TYPE* type) {
  TYPE* r = sign_carrier(type);
  if (!r) tp_die("Bad kind:  TYPE_PKG::mk_signed()");
  if (r->ikind == TYPE::IK_BOOL) return r;
  return mk_int(signed_of[r->ikind], true, r->size, r->align, false, r->is_bool2);
}

TYPE* TYPE_PKG::mk_unsigned(TYPE* type) {
  TYPE* r = sign_carrier(type);
  if (!r) tp_die("Bad kind:  TYPE_PKG::mk_unsigned()");
  if (r->ikind == TYPE::IK_BOOL) return r;
  return mk_int(unsigned_of[r->ikind], false, r->size, r->align, false, r->is_bool2);
}

// ---------------------------------------------------------------- the rest

std::string TYPE_PKG::demangle_type_name(const char* name, bool /*flag*/, bool& is_cpp) {
  std::string s = name ? name : "";
  // Scope operators, template arguments and mangled prefixes only come from
  // the C++ front end.
  is_cpp = s.find("::") != std::string::npos || s.find('<') != std::string::npos || s.compare(0, 2, "_Z") == 0;
  return s;
}

int TYPE_PKG::compare_type_names(const char* a, const char* b) { return strcmp(a ? a : "", b ? b : ""); }

static const char* const kind_names[] = {"void",     "integral", "floating", "fixed point", "complex", "pointer",
                                         "reference", "qualified", "typedef", "array",     "ptm",     "function",
                                         "enum",     "class",    "structure", "union"};

void TYPE_PKG::print_stats(FILE* f) const {
  if (!f || !root_type) return;
  unsigned counts[16] = {};
  unsigned merged = 0;
  for_each_type(root_type, [&](TYPE* t) {
    if (t->kind >= 0 && t->kind < 16) ++counts[t->kind];
    if (t->base) ++merged;
  });
  fprintf(f, "types: %u made, %u merged away, %zu named\n", type_count, merged, named.size());
  for (int k = 0; k < 16; ++k)
    if (counts[k]) fprintf(f, "  %-12s %u\n", kind_names[k], counts[k]);
}

void TYPE_PKG::db_stats(FILE* f) const {
  if (!f || !root_type) return;
  size_t maps = 0, entries = 0, widest = 0, deepest_bucket = 0;
  auto visit = [&](TYPE* t) {
    if (t->derived.empty()) return;
    ++maps;
    entries += t->derived.size();
    widest = std::max(widest, t->derived.size());
    for (auto it = t->derived.begin(); it != t->derived.end(); it = t->derived.upper_bound(it->first))
      deepest_bucket = std::max(deepest_bucket, t->derived.count(it->first));
  };
  visit(root_type);
  for_each_type(root_type, visit);
  fprintf(f, "derived maps: %zu holding %zu types, widest %zu, largest bucket %zu\n", maps, entries, widest,
          deepest_bucket);
}

void delete_type_tree(TYPE* root, bool free_root, bool /*flag*/) {
  if (!root) return;
  std::vector<TYPE*> doomed;
  for_each_type(root, [&](TYPE* t) { doomed.push_back(t); });
  if (free_root) {
    doomed.push_back(root);
    if (root != TYPE_PKG::root_type) {
      TYPE* parent = type_root(root);
      if (parent) {
        auto range = parent->derived.equal_range(type_key(root));
        for (auto it = range.first; it != range.second; ++it)
          if (it->second == root) {
            parent->derived.erase(it);
            break;
          }
      }
    }
  } else {
    root->derived.clear();
  }
  if (tp) {
    for (TYPE* t : doomed) {
      auto id = tp->by_id.find(static_cast<int>(t->uid));
      if (id != tp->by_id.end() && id->second == t) tp->by_id.erase(id);
      for (TYPE*& b : tp->basic)
        if (b == t) b = nullptr;
    }
    std::unordered_set<TYPE*> gone(doomed.begin(), doomed.end());
    for (auto it = tp->named.begin(); it != tp->named.end();)
      it = gone.count(it->second) ? tp->named.erase(it) : std::next(it);
  }
  if (free_root && root == TYPE_PKG::root_type) TYPE_PKG::root_type = nullptr;
  for (TYPE* t : doomed) tp_delete(t);
}
