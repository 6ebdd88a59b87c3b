// Type records (id 116): the types section, read into the type package and
// written from it. A typeref is a type's uid; a type that was merged into
// another (its base link) is written as the end of its chain of base links.
#include <cstring>
#include <unordered_set>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "ir/symbol.h"
#include "ir/types.h"

namespace {

// Type codes of the file.
enum TYPE_CODE {
  TC_BOOL = 0, TC_ULONG = 9, TC_FLOAT = 10, TC_LDOUBLE = 12, TC_FIXED = 13, TC_TYPEDEF = 14,
  TC_POINTER = 15, TC_REFERENCE = 16, TC_QUALIFIED = 17, TC_ARRAY = 18, TC_PTM = 19,
  TC_FUNCTION = 20, TC_PARAM = 21, TC_ENUM = 22, TC_ETOR = 23, TC_CSU_SHORT = 24,
  TC_CSU_LONG = 25, TC_MDATA = 28, TC_BCLASS = 29, TC_ADECL = 30, TC_FFRIEND = 31,
  TC_CFRIEND = 32, TC_NTYPE = 33, TC_SDATA = 34, TC_MFUNC = 35, TC_COMPLEX = 36,
  TC_UNNAMEABLE = 48, TC_VOID = 49, TC_LLONG = 50, TC_ULLONG = 51, TC_LIST_HEADER = 254,
  TC_LIST_TRAILER = 255,
};

// Writer's state of one type, per output file.
enum : uint8_t { TS_NOTED = 1, TS_RECORD = 2, TS_BUSY = 4, TS_LISTS_BUSY = 8, TS_DONE = 16 };

// The lists of a class in the order they are written, with their codes.
const int kCsuListOrder[9] = {LK_BCLASS, LK_ADECL, LK_FFRIEND, LK_CFRIEND, LK_NTYPE,
                              LK_MDATA, LK_SDATA, LK_MFUNC, LK_PARAM};

int element_list_kind(int code) {
  switch (code) {
    case TC_PARAM: return LK_PARAM;
    case TC_ETOR: return LK_ETOR;
    case TC_MDATA: return LK_MDATA;
    case TC_BCLASS: return LK_BCLASS;
    case TC_ADECL: return LK_ADECL;
    case TC_FFRIEND: return LK_FFRIEND;
    case TC_CFRIEND: return LK_CFRIEND;
    case TC_NTYPE: return LK_NTYPE;
    case TC_SDATA: return LK_SDATA;
    case TC_MFUNC: return LK_MFUNC;
    default: return -1;
  }
}

bool is_csu_kind(const TYPE* t) {
  return t->kind == TYPE::KIND_CLASS || t->kind == TYPE::KIND_STRUCT || t->kind == TYPE::KIND_UNION;
}

bool has_lists(const TYPE* t) {
  return is_csu_kind(t) || t->kind == TYPE::KIND_FUNCTION || t->kind == TYPE::KIND_ENUM;
}

// A merged type stands for the end of its chain of base links.
TYPE* canonical(TYPE* t) {
  for (int guard = 0; t && t->base && guard < 100000; guard++) t = t->base;
  return t;
}

// Appends to a singly linked element list whose tail the reader remembers.
template <class T>
void append(T*& head, void*& tail, T* elem) {
  T* last = static_cast<T*>(tail);
  if (!last && head)
    for (last = head; last->next; last = last->next) {
    }
  if (last)
    last->next = elem;
  else
    head = elem;
  tail = elem;
}

// Every type reachable from the root, in a fixed order (pre-order over the
// derived maps), each once.
template <class F>
void walk_types(F f) {
  TYPE* root = TYPE_PKG::root_type;
  if (!root) return;
  std::vector<TYPE*> stack{root};
  std::unordered_set<TYPE*> seen{root};
  while (!stack.empty()) {
    TYPE* t = stack.back();
    stack.pop_back();
    f(t);
    for (auto it = t->derived.rbegin(); it != t->derived.rend(); ++it)
      if (it->second && seen.insert(it->second).second) stack.push_back(it->second);
  }
}

// File code of an integral kind and back; an unknown code reads as int.
int integral_code(int ikind) {
  return ikind >= TYPE::IK_LLONG ? TC_LLONG + (ikind - TYPE::IK_LLONG) : ikind;
}

int integral_ikind(int code) {
  if (code >= TC_BOOL && code <= TC_ULONG) return code;
  if (code == TC_LLONG) return TYPE::IK_LLONG;
  if (code == TC_ULLONG) return TYPE::IK_ULLONG;
  return TYPE::IK_INT;
}

// A target with cpu id 500 has 32-bit longs that are plain ints.
int read_type_long_as_int(int ikind, uint32_t size) {
  if (icode_cpu_id == ICODE_CPU_ID_LONG_IS_INT && size == 32) {
    if (ikind == TYPE::IK_LONG) return TYPE::IK_INT;
    if (ikind == TYPE::IK_ULONG) return TYPE::IK_UINT;
  }
  return ikind;
}

}  // namespace

// ---------------------------------------------------------------------------
// The id map

TYPE_INFO* IF_TYPE_MAP::find_sparse(uint32_t id) {
  auto it = sparse_.find(id);
  return it != sparse_.end() && it->second.type ? &it->second : nullptr;
}

TYPE_INFO* IF_TYPE_MAP::insert(uint32_t id) {
  if (id < kDenseLimit) {
    if (id >= dense_.size()) {
      size_t size = dense_.size() < 256 ? 256 : dense_.size();
      while (size <= id) size *= 2;
      dense_.resize(size < kDenseLimit ? size : kDenseLimit);
    }
    return dense_[id].type ? nullptr : &dense_[id];
  }
  TYPE_INFO& e = sparse_[id];
  return e.type ? nullptr : &e;
}

// ---------------------------------------------------------------------------
// Reading

TYPE_PKG* I_FILE::if_pkg() {
  if (!type_pkg) type_pkg = tp;
  if (!type_pkg) if_bad_record();
  return type_pkg;
}

void I_FILE::if_forward_type() { tp_die("invalid forward reference"); }

void I_FILE::enter_type(uint32_t id, const TYPE_INFO& info) {
  if (id == 0 || !info.type) if_bad_record();
  TYPE_INFO* e = types.insert(id);
  if (!e) tp_die("read type twice");
  *e = info;
}

fkMDATA* I_FILE::find_mdataref(uint32_t type_id, uint32_t member_id) {
  TYPE* t = find_typeref(type_id);
  CSU_RECORD* r = t ? t->get_csu() : nullptr;
  if (!r) return nullptr;
  for (fkMDATA* m = r->mdata; m; m = m->next)
    if (m->member_id == member_id) return m;
  return nullptr;
}

bool I_FILE::if_read_type_is_cpp(const char* name) {
  bool is_cpp = false;
  TYPE_PKG::demangle_type_name(name, false, is_cpp);
  return is_cpp;
}

void I_FILE::if_read_type_defs() {
  if (!types_offset) return;
  uint32_t back = if_tell();
  if_seek(types_offset);
  for (;;) {
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id == IREC_EOF) break;
    if (id != IREC_TYPE) if_bad_record();
    if_read_type();
  }
  if_seek(back);
}

void I_FILE::if_read_type() {
  uint32_t id = i_read_typeref();
  int code = i_read_u8();
  ref_depth_ = 0;
  TYPE* t = nullptr;
  uint8_t open = 0;
  if ((code >= TC_BOOL && code <= TC_ULONG) || code == TC_LLONG || code == TC_ULLONG) {
    bool sign = i_read_bool();
    uint32_t size = i_read_uint();
    uint32_t align = i_read_uint();
    bool is_bool = i_read_bool();
    bool is_bool2 = i_read_bool();
    int ikind = read_type_long_as_int(integral_ikind(code), size);
    t = if_pkg()->mk_int(ikind, sign, size, align, is_bool, is_bool2);
  } else {
    switch (code) {
      case TC_FLOAT:
      case TC_FLOAT + 1:
      case TC_LDOUBLE: {
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        t = if_pkg()->mk_fltpt(code - TC_FLOAT, size, align);
        break;
      }
      case TC_FIXED: {
        int scale = i_read_s8();
        bool sign = i_read_u8() != 0;
        TYPE* under = find_typeref(i_read_typeref());
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        t = if_pkg()->mk_fxtpt(under, scale, sign, size, align);
        break;
      }
      case TC_TYPEDEF: {
        const char* name = i_read_string(0);
        TYPE* target = find_typeref(i_read_typeref());
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        bool is_cpp = i_read_bool();
        bool lowered = i_read_bool();
        PSN* psn = i_read_psn();
        t = if_pkg()->mk_typedef(name, target, size, align, is_cpp, lowered);
        if (!t->psn) t->psn = psn;
        break;
      }
      case TC_POINTER:
      case TC_REFERENCE: {
        TYPE* target = find_typeref(i_read_typeref());
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        t = code == TC_POINTER ? if_pkg()->mk_ptr(target, size, align)
                               : if_pkg()->mk_ref(target, size, align);
        break;
      }
      case TC_QUALIFIED: {
        TYPE* target = find_typeref(i_read_typeref());
        uint32_t bits = i_read_uint();
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        t = if_pkg()->mk_qual(target, static_cast<uint8_t>(bits), size, align);
        break;
      }
      case TC_ARRAY: {
        TYPE* elem = find_typeref(i_read_typeref());
        uint32_t count = i_read_uint();
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        bool is_cpp = i_read_bool();
        bool complete = i_read_bool();
        bool vector = version >= -76 ? i_read_bool() : false;
        if (version == -75 || version == -74) i_read_bool();
        t = vector ? if_pkg()->mk_vector(elem, count, size, align)
                   : if_pkg()->mk_array(elem, count, size, align, is_cpp, complete);
        break;
      }
      case TC_PTM: {
        TYPE* target = find_typeref(i_read_typeref());
        TYPE* csu = find_typeref(i_read_typeref());
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        t = if_pkg()->mk_ptm(target, csu, size, align);
        break;
      }
      case TC_FUNCTION: {
        TYPE* result = find_typeref(i_read_typeref());
        bool flag1 = i_read_bool();
        bool flag2 = i_read_bool();
        int convention = i_read_u8();
        bool is_cpp = i_read_bool();
        t = if_pkg()->mk_func(result, flag1, flag2, is_cpp, convention, 0, 0);
        open = 1;  // the parameter list always follows
        break;
      }
      case TC_ENUM: {
        std::string name = i_read_string(0);
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        TYPE* under = find_typeref(i_read_typeref());
        bool is_cpp = version >= -81 ? i_read_bool() : if_read_type_is_cpp(name.c_str());
        PSN* psn = i_read_psn();
        t = if_pkg()->mk_enum(name, size, align, under, is_cpp);
        t->psn = psn;
        open = 1;
        break;
      }
      case TC_CSU_SHORT:
      case TC_CSU_LONG: {
        int csu_kind = i_read_s8();
        std::string name = i_read_string(0);
        bool complete = i_read_bool();
        bool lowered = i_read_bool();
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        uint32_t class_word = 0;
        if (code == TC_CSU_LONG) {
          class_word = i_read_uint();
          for (int i = 0; i < 9; i++) open += i_read_bool();
        } else {
          open = i_read_bool();
        }
        bool no_stack_sharing = version >= -84 ? i_read_bool() : false;
        bool is_cpp = version >= -81 ? i_read_bool() : if_read_type_is_cpp(name.c_str());
        PSN* psn = i_read_psn();
        if (csu_kind == 1)
          t = if_pkg()->mk_union(name, size, align);
        else if (csu_kind == 2)
          t = if_pkg()->mk_class(name, size, align);
        else
          t = if_pkg()->mk_struct(name, size, align);
        CSU_RECORD* r = t->getr_csu();
        r->complete = complete;
        r->lowered = lowered;
        r->class_word = class_word;
        r->no_stack_sharing = no_stack_sharing;
        r->union_compat = csu_kind == 1 && version < -80;
        t->lowered = lowered;
        t->is_cpp = is_cpp;
        t->psn = psn;
        break;
      }
      case TC_COMPLEX: {
        uint32_t size = i_read_uint();
        uint32_t align = i_read_uint();
        TYPE* part = find_typeref(i_read_typeref());
        t = if_pkg()->mk_complex(part, size, align);
        break;
      }
      case TC_VOID:
        t = if_pkg()->mk_void();
        break;
      case TC_LIST_HEADER:
        tp_make_list(id, i_read_s8());
        return;
      case TC_LIST_TRAILER:
        tp_end_list(id, i_read_s8());
        return;
      default:
        if (element_list_kind(code) >= 0) if_read_type_element(id, code);
        // Anything else, the writer's code 48 among them, is read past.
        return;
    }
  }
  TYPE_INFO info;
  info.type = t;
  info.open_lists = open;
  info.depth = ref_depth_ + 1;
  if (info.depth > IF_MAX_TYPE_DEPTH) if_bad_record();
  enter_type(id, info);
  if (open == 0 && has_lists(t)) {
    if_pkg()->type_frozen(t);
    types.find(id)->type = t;
  }
}

// The entry of a type whose list of `kind` is open now.
TYPE_INFO* I_FILE::if_list_owner(uint32_t id, int kind) {
  TYPE_INFO* e = types.find(id);
  if (!e || e->list_kind != kind) tp_die("Unexpected type attribute");
  return e;
}

void I_FILE::tp_make_list(uint32_t id, int kind) {
  TYPE_INFO* e = types.find(id);
  if (!e || e->open_lists == 0) tp_die("Unexpected type attribute");
  TYPE* t = e->type;
  if (t->kind == TYPE::KIND_FUNCTION && kind == LK_PARAM) {
    FUNC_RECORD* r = t->getr_func();
    if (r->has_params) tp_die("Duplicate function parameters");
    r->has_params = true;
  } else if (t->kind == TYPE::KIND_ENUM && kind == LK_ETOR) {
    ENUM_RECORD* r = t->getr_enum();
    if (r->has_etors) tp_die("Duplicate enumerator attributes");
    r->has_etors = true;
  } else if (is_csu_kind(t) && kind >= LK_PARAM && kind <= LK_MFUNC && kind != LK_ETOR) {
    CSU_RECORD* r = t->getr_csu();
    if (r->has_list[kind]) tp_die("Duplicate CSU attributes");
    r->has_list[kind] = true;
  } else {
    tp_die("Unexpected type attribute");
  }
  // Lists do not nest.
  if (e->list_kind >= 0) tp_die("Unexpected type attribute");
  e->list_kind = static_cast<int8_t>(kind);
  e->list_tail = nullptr;
}

void I_FILE::tp_end_list(uint32_t id, int kind) {
  TYPE_INFO* e = if_list_owner(id, kind);
  e->list_kind = -1;
  e->list_tail = nullptr;
  if (--e->open_lists == 0) {
    TYPE* t = e->type;
    if_pkg()->type_frozen(t);
    e->type = t;
  }
}

void I_FILE::if_read_type_element(uint32_t id, int code) {
  // No type is entered while an element is read, so the entry stays put.
  TYPE_INFO* e = if_list_owner(id, element_list_kind(code));
  TYPE* owner = e->type;
  void*& tail = e->list_tail;
  switch (code) {
    case TC_PARAM: {
      fkPARAM* p = new fkPARAM;
      p->type = find_typeref(i_read_typeref());
      p->flag = i_read_bool();
      p->word = i_read_uint();
      p->name = i_read_string(0);
      if (owner->kind == TYPE::KIND_FUNCTION)
        append(owner->getr_func()->params, tail, p);
      else
        append(owner->getr_csu()->params, tail, p);
      break;
    }
    case TC_ETOR: {
      fkETOR* p = new fkETOR;
      p->name = i_read_string(0);
      TYPE* under = owner->getr_enum()->underlying;
      p->value = under && under->is_signed() ? static_cast<int64_t>(i_read_sint())
                                             : static_cast<int64_t>(i_read_uint());
      p->psn = i_read_psn();
      append(owner->getr_enum()->etors, tail, p);
      break;
    }
    case TC_MDATA: {
      fkMDATA* m = new fkMDATA;
      m->member_id = i_read_uint();
      m->name = i_read_string(0);
      m->type = find_typeref(i_read_typeref());
      m->byte = i_read_u8();
      m->offset = i_read_sint();
      if (version >= -74) {
        m->field_type = i_read_u8();
        if (m->field_type) {
          char text[16];
          snprintf(text, sizeof text, "fti:%x", m->field_type);
          m->field_type_text = text;
        }
      }
      if (version >= -85) {
        m->width = i_read_uint();
        m->is_bitfield = i_read_bool();
        m->flag1 = i_read_bool();
        m->flag2 = i_read_bool();
      } else {
        m->is_bitfield = i_read_bool();
        m->width = i_read_uint();
        m->flag1 = i_read_bool();
      }
      m->psn = i_read_psn();
      append(owner->getr_csu()->mdata, tail, m);
      break;
    }
    case TC_BCLASS: {
      fkBCLASS* b = new fkBCLASS;
      b->base = find_typeref(i_read_typeref());
      b->offset = i_read_sint();
      b->byte = i_read_u8();
      b->flag = i_read_bool();
      append(owner->getr_csu()->bclasses, tail, b);
      break;
    }
    case TC_ADECL: {
      fkADECL* a = new fkADECL;
      a->word = i_read_uint();
      a->byte = i_read_u8();
      append(owner->getr_csu()->adecls, tail, a);
      break;
    }
    case TC_FFRIEND: {
      fkFFRIEND* f = new fkFFRIEND;
      f->name = i_read_string(0);
      f->type = find_typeref(i_read_typeref());
      append(owner->getr_csu()->ffriends, tail, f);
      break;
    }
    case TC_CFRIEND:
    case TC_NTYPE: {
      fkTYPE_ELEM* x = new fkTYPE_ELEM;
      x->type = find_typeref(i_read_typeref());
      CSU_RECORD* r = owner->getr_csu();
      append(code == TC_CFRIEND ? r->cfriends : r->ntypes, tail, x);
      break;
    }
    case TC_SDATA: {
      fkSDATA* s = new fkSDATA;
      s->name = i_read_string(0);
      s->type = find_typeref(i_read_typeref());
      s->byte = i_read_u8();
      append(owner->getr_csu()->sdata, tail, s);
      break;
    }
    case TC_MFUNC: {
      fkMFUNC* f = new fkMFUNC;
      f->name = i_read_string(0);
      f->type = find_typeref(i_read_typeref());
      f->byte = i_read_u8();
      f->offset = i_read_sint();
      for (bool& flag : f->flags) flag = i_read_bool();
      append(owner->getr_csu()->mfuncs, tail, f);
      break;
    }
  }
  // The owner rests on the types of its elements as well.
  if (ref_depth_ + 1 > e->depth) e->depth = ref_depth_ + 1;
  if (e->depth > IF_MAX_TYPE_DEPTH) if_bad_record();
}

void I_FILE::if_merge_type_defs() {
  TYPE_PKG* pkg = if_pkg();
  types.for_each([pkg](uint32_t, TYPE_INFO& info) {
    if (TYPE* eq = pkg->find_equivalent_type(info.type)) info.type = eq;
  });
}

// ---------------------------------------------------------------------------
// Writing

// The written and referenced marks belong to the file being written: a new
// output file starts with none.
void I_FILE::if_clear_type_marks() {
  walk_types([](TYPE* t) {
    t->written = false;
    t->referenced = false;
  });
}

void I_FILE::if_note_type_ref(TYPE* t) {
  const TYPE*& recent = noted_[(reinterpret_cast<uintptr_t>(t) >> 4) & 255];
  if (recent == t) return;
  recent = t;
  uint8_t& state = type_state_[t];
  if (state & TS_NOTED) return;
  state |= TS_NOTED;
  t->referenced = true;
  type_refs_.push_back(t);
}

void I_FILE::i_write_typeref(TYPE* type) {
  type = canonical(type);
  if (!type) {
    i_write_uint(0);
    return;
  }
  if_note_type_ref(type);
  i_write_uint(type->uid);
}

void I_FILE::if_reference_type(TYPE* type) {
  type = canonical(type);
  if (type) if_note_type_ref(type);
}

void I_FILE::if_mark_global_types() {
  for (uint32_t i = 0; i < global_count; i++) {
    if (!globals[i]) continue;
    if_reference_type(globals[i]->type);
    if_reference_type(globals[i]->type2);
  }
}

void I_FILE::if_write_all_types(bool all_named) {
  uint32_t start = if_tell();
  types_any_ = false;
  if_mark_global_types();
  if (TYPE_PKG::root_type) {
    TYPE::mark_named_types(all_named);
    TYPE::mark_refed_types();
  }
  write_all_csu_types();
  write_type_tree();
  // Whatever a typeref named and the tree walk did not reach.
  for (size_t i = 0; i < type_refs_.size(); i++) if_write_type(type_refs_[i]);
  if (types_any_) {
    i_write_eof();
    types_offset = start;
  }
}

// Class records first, so that anything may point at a class before the
// class's own lists are written.
void I_FILE::write_all_csu_types() {
  walk_types([this](TYPE* t) {
    if (!t->referenced || t->base || !is_csu_kind(t)) return;
    uint8_t state = type_state_[t];
    if (state & TS_RECORD) return;
    write_csu_record(t);
    type_state_[t] |= TS_RECORD;
    t->written = true;
  });
}

void I_FILE::write_type_tree() {
  walk_types([this](TYPE* t) {
    if (t->referenced) if_write_type(t);
  });
}

// A type whole: its record, then its lists.
void I_FILE::if_write_type(TYPE* type) {
  TYPE* t = canonical(type);
  if (!t) return;
  if_write_type_record(t);
  if (!has_lists(t) || (type_state_[t] & (TS_LISTS_BUSY | TS_DONE))) return;
  type_state_[t] |= TS_LISTS_BUSY;
  write_type_lists(t);
  type_state_[t] |= TS_DONE;
}

// Only the record, so that the type has an id. What other records and list
// elements name needs no more: a type whose lists come later is still open
// for the reader, and may be named meanwhile. Writing lists here instead
// could put one list inside another.
void I_FILE::if_write_type_record(TYPE* type) {
  TYPE* t = canonical(type);
  if (!t) return;
  if_note_type_ref(t);
  if (type_state_[t] & (TS_RECORD | TS_BUSY)) return;
  type_state_[t] |= TS_BUSY;
  write_type_deps(t);
  write_type_record(t);
  type_state_[t] |= TS_RECORD;
  type_state_[t] &= static_cast<uint8_t>(~TS_BUSY);
  t->written = true;
}

// The types a type's own record names.
void I_FILE::write_type_deps(TYPE* t) {
  switch (t->kind) {
    case TYPE::KIND_FIXED:
      if_write_type_record(t->getr_fixed()->underlying);
      break;
    case TYPE::KIND_COMPLEX:
      if_write_type_record(t->part_type());
      break;
    case TYPE::KIND_POINTER:
    case TYPE::KIND_REFERENCE:
    case TYPE::KIND_QUALIFIED:
    case TYPE::KIND_TYPEDEF:
      if_write_type_record(static_cast<TYPE*>(t->subpart));
      break;
    case TYPE::KIND_ARRAY:
      if_write_type_record(t->getr_array()->elem);
      break;
    case TYPE::KIND_PTM:
      if_write_type_record(t->getr_ptm()->target);
      if_write_type_record(t->getr_ptm()->csu);
      break;
    case TYPE::KIND_FUNCTION:
      if_write_type_record(t->getr_func()->result);
      break;
    case TYPE::KIND_ENUM:
      if_write_type_record(t->getr_enum()->underlying);
      break;
    default:
      break;
  }
}

void I_FILE::write_type_record(TYPE* t) {
  if (is_csu_kind(t)) {
    write_csu_record(t);
    return;
  }
  i_write_uint(t->uid);
  switch (t->kind) {
    case TYPE::KIND_VOID:
      i_write_byte(TC_VOID);
      break;
    case TYPE::KIND_INTEGRAL:
      i_write_byte(static_cast<uint8_t>(integral_code(t->ikind)));
      i_write_bool(t->subpart2 != 0);
      i_write_uint(t->size);
      i_write_uint(t->align);
      i_write_bool(t->ikind == TYPE::IK_BOOL);
      i_write_bool(t->is_bool2);
      break;
    case TYPE::KIND_FLOATING:
      i_write_byte(static_cast<uint8_t>(TC_FLOAT + t->fkind));
      i_write_uint(t->size);
      i_write_uint(t->align);
      break;
    case TYPE::KIND_FIXED:
      i_write_byte(TC_FIXED);
      i_write_i8(t->getr_fixed()->scale);
      i_write_byte(t->getr_fixed()->explicit_sign);
      i_write_typeref(t->getr_fixed()->underlying);
      i_write_uint(t->size);
      i_write_uint(t->align);
      break;
    case TYPE::KIND_COMPLEX:
      i_write_byte(TC_COMPLEX);
      i_write_uint(t->size);
      i_write_uint(t->align);
      i_write_typeref(t->part_type());
      break;
    case TYPE::KIND_POINTER:
    case TYPE::KIND_REFERENCE:
      i_write_byte(t->kind == TYPE::KIND_POINTER ? TC_POINTER : TC_REFERENCE);
      i_write_typeref(static_cast<TYPE*>(t->subpart));
      i_write_uint(t->size);
      i_write_uint(t->align);
      break;
    case TYPE::KIND_QUALIFIED:
      i_write_byte(TC_QUALIFIED);
      i_write_typeref(static_cast<TYPE*>(t->subpart));
      i_write_uint(t->subpart2);
      i_write_uint(t->size);
      i_write_uint(t->align);
      break;
    case TYPE::KIND_TYPEDEF:
      i_write_byte(TC_TYPEDEF);
      i_write_string(t->name.c_str(), 0);
      i_write_typeref(static_cast<TYPE*>(t->subpart));
      i_write_uint(t->size);
      i_write_uint(t->align);
      i_write_bool(t->is_cpp);
      i_write_bool(t->lowered);
      i_write_psn(t->psn);
      break;
    case TYPE::KIND_ARRAY: {
      ARRAY_RECORD* r = t->getr_array();
      i_write_byte(TC_ARRAY);
      i_write_typeref(r->elem);
      i_write_uint(r->count);
      i_write_uint(t->size);
      i_write_uint(t->align);
      i_write_bool(t->is_cpp);
      i_write_bool(r->complete);
      i_write_bool(r->vector);
      break;
    }
    case TYPE::KIND_PTM:
      i_write_byte(TC_PTM);
      i_write_typeref(t->getr_ptm()->target);
      i_write_typeref(t->getr_ptm()->csu);
      i_write_uint(t->size);
      i_write_uint(t->align);
      break;
    case TYPE::KIND_FUNCTION: {
      FUNC_RECORD* r = t->getr_func();
      i_write_byte(TC_FUNCTION);
      i_write_typeref(r->result);
      i_write_bool(r->flag1);
      i_write_bool(r->flag2);
      i_write_byte(r->convention);
      i_write_bool(t->is_cpp);
      break;
    }
    case TYPE::KIND_ENUM:
      i_write_byte(TC_ENUM);
      i_write_string(t->name.c_str(), 0);
      i_write_uint(t->size);
      i_write_uint(t->align);
      i_write_typeref(t->getr_enum()->underlying);
      i_write_bool(t->is_cpp);
      i_write_psn(t->psn);
      break;
    default:
      i_write_byte(TC_UNNAMEABLE);
      break;
  }
  i_flush(IREC_TYPE);
  types_any_ = true;
}

static bool csu_has_list(const CSU_RECORD* r, int kind) {
  if (r->has_list[kind]) return true;
  switch (kind) {
    case LK_PARAM: return r->params != nullptr;
    case LK_BCLASS: return r->bclasses != nullptr;
    case LK_ADECL: return r->adecls != nullptr;
    case LK_FFRIEND: return r->ffriends != nullptr;
    case LK_CFRIEND: return r->cfriends != nullptr;
    case LK_NTYPE: return r->ntypes != nullptr;
    case LK_MDATA: return r->mdata != nullptr;
    case LK_SDATA: return r->sdata != nullptr;
    case LK_MFUNC: return r->mfuncs != nullptr;
    default: return false;
  }
}

// The class's own record: the short form when data members are its only
// list and it has no class word.
void I_FILE::write_csu_record(TYPE* t) {
  CSU_RECORD* r = t->getr_csu();
  bool short_form = r->class_word == 0;
  for (int kind : kCsuListOrder)
    if (kind != LK_MDATA && csu_has_list(r, kind)) short_form = false;
  int csu_kind = t->kind == TYPE::KIND_STRUCT  ? 0
                 : t->kind == TYPE::KIND_UNION ? 1
                 : t->kind == TYPE::KIND_CLASS ? 2
                                               : -1;
  i_write_uint(t->uid);
  i_write_byte(short_form ? TC_CSU_SHORT : TC_CSU_LONG);
  i_write_i8(csu_kind);
  i_write_string(t->name.c_str(), 0);
  i_write_bool(r->complete);
  i_write_bool(r->lowered);
  i_write_uint(t->size);
  i_write_uint(t->align);
  if (short_form) {
    i_write_bool(csu_has_list(r, LK_MDATA));
  } else {
    i_write_uint(r->class_word);
    for (int kind : kCsuListOrder) i_write_bool(csu_has_list(r, kind));
  }
  i_write_bool(r->no_stack_sharing);
  i_write_bool(t->is_cpp);
  i_write_psn(t->psn);
  i_flush(IREC_TYPE);
  types_any_ = true;
}

void I_FILE::write_list_frame(TYPE* t, int code, int kind) {
  i_write_uint(t->uid);
  i_write_byte(static_cast<uint8_t>(code));
  i_write_i8(kind);
  i_flush(IREC_TYPE);
}

void I_FILE::write_elem_head(TYPE* owner, int code) {
  i_write_uint(owner->uid);
  i_write_byte(static_cast<uint8_t>(code));
}

// Each list is framed by a header and a trailer; every type its elements
// name has its record before the header, so no reference points forward.
void I_FILE::write_type_lists(TYPE* t) {
  auto write_params = [this, t](fkPARAM* params) {
    for (fkPARAM* p = params; p; p = p->next) if_write_type_record(p->type);
    write_list_frame(t, TC_LIST_HEADER, LK_PARAM);
    for (fkPARAM* p = params; p; p = p->next) {
      write_elem_head(t, TC_PARAM);
      i_write_typeref(p->type);
      i_write_bool(p->flag);
      i_write_uint(p->word);
      i_write_string(p->name.c_str(), 0);
      i_flush(IREC_TYPE);
    }
    write_list_frame(t, TC_LIST_TRAILER, LK_PARAM);
  };

  if (t->kind == TYPE::KIND_FUNCTION) {
    write_params(t->getr_func()->params);
    return;
  }
  if (t->kind == TYPE::KIND_ENUM) {
    ENUM_RECORD* r = t->getr_enum();
    TYPE* under = r->underlying;
    bool is_signed = under && under->is_signed();
    write_list_frame(t, TC_LIST_HEADER, LK_ETOR);
    for (fkETOR* e = r->etors; e; e = e->next) {
      write_elem_head(t, TC_ETOR);
      i_write_string(e->name.c_str(), 0);
      if (is_signed)
        i_write_sint(static_cast<int32_t>(e->value));
      else
        i_write_uint(static_cast<uint32_t>(e->value));
      i_write_psn(e->psn);
      i_flush(IREC_TYPE);
    }
    write_list_frame(t, TC_LIST_TRAILER, LK_ETOR);
    return;
  }

  CSU_RECORD* r = t->getr_csu();
  for (int kind : kCsuListOrder) {
    if (!csu_has_list(r, kind)) continue;
    switch (kind) {
      case LK_PARAM:
        write_params(r->params);
        continue;
      case LK_BCLASS:
        for (fkBCLASS* b = r->bclasses; b; b = b->next) if_write_type_record(b->base);
        break;
      case LK_FFRIEND:
        for (fkFFRIEND* f = r->ffriends; f; f = f->next) if_write_type_record(f->type);
        break;
      case LK_CFRIEND:
        for (fkTYPE_ELEM* x = r->cfriends; x; x = x->next) if_write_type_record(x->type);
        break;
      case LK_NTYPE:
        for (fkTYPE_ELEM* x = r->ntypes; x; x = x->next) if_write_type_record(x->type);
        break;
      case LK_MDATA:
        for (fkMDATA* m = r->mdata; m; m = m->next) if_write_type_record(m->type);
        break;
      case LK_SDATA:
        for (fkSDATA* s = r->sdata; s; s = s->next) if_write_type_record(s->type);
        break;
      case LK_MFUNC:
        for (fkMFUNC* f = r->mfuncs; f; f = f->next) if_write_type_record(f->type);
        break;
      default:
        break;
    }
    write_list_frame(t, TC_LIST_HEADER, kind);
    switch (kind) {
      case LK_BCLASS:
        for (fkBCLASS* b = r->bclasses; b; b = b->next) {
          write_elem_head(t, TC_BCLASS);
          i_write_typeref(b->base);
          i_write_sint(b->offset);
          i_write_byte(b->byte);
          i_write_bool(b->flag);
          i_flush(IREC_TYPE);
        }
        break;
      case LK_ADECL:
        for (fkADECL* a = r->adecls; a; a = a->next) {
          write_elem_head(t, TC_ADECL);
          i_write_uint(0);
          i_write_byte(a->byte);
          i_flush(IREC_TYPE);
        }
        break;
      case LK_FFRIEND:
        for (fkFFRIEND* f = r->ffriends; f; f = f->next) {
          write_elem_head(t, TC_FFRIEND);
          i_write_string(f->name.c_str(), 0);
          i_write_typeref(f->type);
          i_flush(IREC_TYPE);
        }
        break;
      case LK_CFRIEND:
      case LK_NTYPE:
        for (fkTYPE_ELEM* x = kind == LK_CFRIEND ? r->cfriends : r->ntypes; x; x = x->next) {
          write_elem_head(t, kind == LK_CFRIEND ? TC_CFRIEND : TC_NTYPE);
          i_write_typeref(x->type);
          i_flush(IREC_TYPE);
        }
        break;
      case LK_MDATA:
        for (fkMDATA* m = r->mdata; m; m = m->next) {
          write_elem_head(t, TC_MDATA);
          i_write_uint(m->member_id);
          i_write_string(m->name.c_str(), 0);
          i_write_typeref(m->type);
          i_write_byte(m->byte);
          i_write_sint(m->offset);
          i_write_byte(m->field_type);
          i_write_uint(m->width);
          i_write_bool(m->is_bitfield);
          i_write_bool(m->flag1);
          i_write_bool(m->flag2);
          i_write_psn(m->psn);
          i_flush(IREC_TYPE);
        }
        break;
      case LK_SDATA:
        for (fkSDATA* s = r->sdata; s; s = s->next) {
          write_elem_head(t, TC_SDATA);
          i_write_string(s->name.c_str(), 0);
          i_write_typeref(s->type);
          i_write_byte(s->byte);
          i_flush(IREC_TYPE);
        }
        break;
      case LK_MFUNC:
        for (fkMFUNC* f = r->mfuncs; f; f = f->next) {
          write_elem_head(t, TC_MFUNC);
          i_write_string(f->name.c_str(), 0);
          i_write_typeref(f->type);
          i_write_byte(f->byte);
          i_write_sint(f->offset);
          for (bool flag : f->flags) i_write_bool(flag);
          i_flush(IREC_TYPE);
        }
        break;
      default:
        break;
    }
    write_list_frame(t, TC_LIST_TRAILER, kind);
  }
}
