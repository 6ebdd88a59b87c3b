// The types section read as types: which record defines an id, the C-like
// names the text uses for types, the queries that decide how a value is
// encoded (signed or not) and what a field defaults to.
#include <algorithm>
#include <cstring>

#include "ir/type_pkg.h"
#include "tools/icode-text/itext.h"

namespace {

// Words that can't name a typedef or stand bare as a symbol in text.
const char* const kReserved[] = {"void",  "bool",   "char",     "signed",  "unsigned", "short",
                                 "int",   "long",   "float",    "double",  "wchar_t",  "const",
                                 "volatile", "packed", "near", "far",     "ioport",   "restrict",
                                 "onchip", "struct", "union",   "class",   "enum",     "typedef"};

const char* const kQualWords[] = {"const", "volatile", "packed", "near",
                                  "far",   "ioport",   "restrict", "onchip"};

bool reserved(const std::string& s) { return it_reserved_word(s); }

bool is_integral_code(int code) {
  return (code >= TC_BOOL && code <= TC_ULONG) || code == TC_LLONG || code == TC_ULLONG;
}

bool is_simple_code(int code) {
  return is_integral_code(code) || (code >= TC_FLOAT && code <= TC_LDOUBLE) || code == TC_VOID ||
         code == TC_CSU_SHORT || code == TC_CSU_LONG || code == TC_ENUM || code == TC_TYPEDEF;
}

int field_index(const std::vector<IT_FIELD>& layout, const char* key) {
  for (size_t i = 0; i < layout.size(); i++)
    if (strcmp(layout[i].key, key) == 0) return static_cast<int>(i);
  return -1;
}

}  // namespace

bool it_reserved_word(const std::string& s) {
  for (const char* w : kReserved)
    if (s == w) return true;
  return false;
}

// ---------------------------------------------------------------------------
// Basic types of the target, as the type package makes them

namespace {
TYPE_PKG* basic_pkg() {
  static TYPE_PKG* pkg = nullptr;
  if (!pkg) {
    pkg = tp_new<TYPE_PKG>();
    pkg->init_type_pkg();
  }
  return pkg;
}
}  // namespace

IT_BASIC it_basic(int code) {
  int bt;
  if (code == TC_LLONG)
    bt = TYPE_PKG::BT_LLONG;
  else if (code == TC_ULLONG)
    bt = TYPE_PKG::BT_ULLONG;
  else if (code >= TC_BOOL && code <= TC_ULONG)
    bt = code;  // integral codes follow the basic order
  else if (code >= TC_FLOAT && code <= TC_LDOUBLE)
    bt = TYPE_PKG::BT_FLOAT + (code - TC_FLOAT);
  else
    return {};
  const TYPE* t = basic_pkg()->basic[bt];
  return {t->size, t->align, t->subpart2 != 0 && t->kind == TYPE::KIND_INTEGRAL};
}

IT_BASIC it_basic_pointer() {
  const TYPE* t = basic_pkg()->basic[TYPE_PKG::BT_PVOID];
  return {t->size, t->align, false};
}

// ---------------------------------------------------------------------------
// Index

IT_TYPES::IT_TYPES(IT_MODEL& model) : m_(model) {}

void IT_TYPES::rebuild() {
  def_.clear();
  elems_.clear();
  max_id_ = 0;
  for (size_t i = 0; i < m_.types.size(); i++) add(i);
  rename_all();
}

void IT_TYPES::add(size_t index) {
  const IT_REC& r = m_.types[index];
  if (r.raw || r.f.size() < 2) return;
  uint32_t id = static_cast<uint32_t>(r.f[0].n);
  int code = static_cast<int>(r.f[1].n);
  max_id_ = std::max(max_id_, id);
  if (code == TC_LIST_HEADER || code == TC_LIST_TRAILER || it_element_list_kind(code) >= 0) {
    elems_[id].push_back(index);
    return;
  }
  def_.emplace(id, index);  // a second definition is the reader's error; the first counts
}

void IT_TYPES::named(uint32_t id) {
  std::string n = compose_for(id);
  names_[id] = n;
  if (!n.empty()) by_name_[n].push_back(id);
}

const IT_REC* IT_TYPES::rec(uint32_t id) const {
  auto it = def_.find(id);
  return it == def_.end() ? nullptr : &m_.types[it->second];
}

int IT_TYPES::code(uint32_t id) const {
  const IT_REC* r = rec(id);
  return r ? static_cast<int>(r->f[1].n) : -1;
}

namespace {
const IT_VAL* find_field(const IT_REC* r, int version, const char* key) {
  if (!r) return nullptr;
  const std::vector<IT_FIELD>* layout = it_type_layout(static_cast<int>(r->f[1].n), version);
  if (!layout) return nullptr;
  int i = field_index(*layout, key);
  if (i < 0 || static_cast<size_t>(i) + 2 >= r->f.size()) return nullptr;
  return &r->f[static_cast<size_t>(i) + 2];
}
}  // namespace

int64_t IT_TYPES::field(uint32_t id, const char* key) const {
  const IT_VAL* v = find_field(rec(id), m_.version, key);
  return v ? v->n : 0;
}

uint32_t IT_TYPES::ref_field(uint32_t id, const char* key) const {
  return static_cast<uint32_t>(field(id, key));
}

std::string IT_TYPES::str_field(uint32_t id, const char* key) const {
  const IT_VAL* v = find_field(rec(id), m_.version, key);
  return v ? v->s : std::string();
}

uint32_t IT_TYPES::strip(uint32_t id) const {
  for (int guard = 0; guard < 1000; guard++) {
    int c = code(id);
    if (c != TC_TYPEDEF && c != TC_QUALIFIED) break;
    id = ref_field(id, "target");
  }
  return id;
}

bool IT_TYPES::is_signed(uint32_t id) const {
  for (int guard = 0; guard < 1000; guard++) {
    id = strip(id);
    switch (code(id)) {
      case TC_CHAR: case TC_WCHAR: case TC_SHORT: case TC_INT: case TC_LONG: case TC_LLONG:
        return true;
      case TC_FLOAT: case TC_DOUBLE: case TC_LDOUBLE:
        return true;
      case TC_FIXED:
        return field(id, "signed") != 0;
      case TC_ENUM:
        id = ref_field(id, "under");
        continue;
      default:
        return false;
    }
  }
  return false;
}

uint32_t IT_TYPES::size(uint32_t id) const { return static_cast<uint32_t>(field(id, "size")); }
uint32_t IT_TYPES::align(uint32_t id) const { return static_cast<uint32_t>(field(id, "align")); }

bool IT_TYPES::is_function(uint32_t id) const { return code(strip(id)) == TC_FUNCTION; }

uint32_t IT_TYPES::pointee(uint32_t id) const {
  id = strip(id);
  int c = code(id);
  return c == TC_POINTER || c == TC_REFERENCE ? ref_field(id, "target") : 0;
}

uint32_t IT_TYPES::result(uint32_t id) const {
  id = strip(id);
  if (code(id) == TC_POINTER) id = strip(ref_field(id, "target"));
  return code(id) == TC_FUNCTION ? ref_field(id, "result") : 0;
}

std::vector<const IT_REC*> IT_TYPES::elements(uint32_t owner, int code_) const {
  std::vector<const IT_REC*> out;
  auto it = elems_.find(owner);
  if (it == elems_.end()) return out;
  for (size_t i : it->second)
    if (m_.types[i].f[1].n == code_) out.push_back(&m_.types[i]);
  return out;
}

bool IT_TYPES::member_by_name(uint32_t csu, const std::string& name, uint32_t& member,
                              uint32_t& type) const {
  int found = 0;
  for (const IT_REC* r : elements(csu, TC_MDATA)) {
    if (find_field(r, m_.version, "name")->s != name) continue;
    found++;
    member = static_cast<uint32_t>(find_field(r, m_.version, "id")->n);
    type = static_cast<uint32_t>(find_field(r, m_.version, "type")->n);
  }
  return found == 1;
}

const IT_REC* IT_TYPES::member_by_id(uint32_t csu, uint32_t member) const {
  for (const IT_REC* r : elements(csu, TC_MDATA))
    if (static_cast<uint32_t>(find_field(r, m_.version, "id")->n) == member) return r;
  return nullptr;
}

// ---------------------------------------------------------------------------
// Names

std::string IT_TYPES::basic_name(int code, bool explicit_sign) {
  switch (code) {
    case TC_BOOL: return "bool";
    case TC_CHAR: return explicit_sign ? "signed char" : "char";
    case TC_UCHAR: return "unsigned char";
    case TC_WCHAR: return "wchar_t";
    case TC_SHORT: return "short";
    case TC_USHORT: return "unsigned short";
    case TC_INT: return "int";
    case TC_UINT: return "unsigned";
    case TC_LONG: return "long";
    case TC_ULONG: return "unsigned long";
    case TC_LLONG: return "long long";
    case TC_ULLONG: return "unsigned long long";
    case TC_FLOAT: return "float";
    case TC_DOUBLE: return "double";
    case TC_LDOUBLE: return "long double";
    case TC_VOID: return "void";
    default: return "";
  }
}

// `parts` holds the names of the types a type is built on: the target,
// element or result first, then the parameters. For a qualified type
// `count` is the qualifier bits and `flag1` asks for the prefix form.
std::string IT_TYPES::compose(int code, const std::vector<std::string>& parts, int64_t count,
                              bool flag1, bool flag2, bool complete) {
  for (const std::string& p : parts)
    if (p.empty() || p == "-") return "";
  switch (code) {
    case TC_POINTER: return parts[0] + "*";
    case TC_REFERENCE: return parts[0] + "&";
    case TC_ARRAY:
      if (complete) return parts[0] + "[" + std::to_string(count) + "]";
      return count == 0 ? parts[0] + "[]" : "";
    case TC_QUALIFIED: {
      if (count <= 0 || count > 255) return "";
      std::string words;
      for (int bit = 0; bit < 8; bit++) {
        if (!(count & (1 << bit))) continue;
        if (!words.empty()) words += " ";
        words += kQualWords[bit];
      }
      return flag1 ? words + " " + parts[0] : parts[0] + " " + words;
    }
    case TC_FUNCTION: {
      // flag1: variadic; flag2: has a prototype.
      std::string s = parts[0] + "(";
      if (!flag2) return parts.size() == 1 && !flag1 ? parts[0] + "()" : "";
      if (parts.size() == 1 && !flag1) return s + "void)";
      for (size_t i = 1; i < parts.size(); i++) s += (i > 1 ? ", " : "") + parts[i];
      if (flag1) s += parts.size() > 1 ? ", ..." : "...";
      return s + ")";
    }
    default:
      return "";
  }
}

std::string IT_TYPES::compose_for(uint32_t id) const {
  int c = code(id);
  if (c < 0) return "";
  // A part the file doesn't define leaves the type without a name.
  auto ref = [this](uint32_t part) { return part && !known(part) ? std::string() : this->ref(part); };
  if (is_integral_code(c)) return basic_name(c, field(id, "sign") != 0);
  switch (c) {
    case TC_FLOAT: case TC_DOUBLE: case TC_LDOUBLE: case TC_VOID:
      return basic_name(c, false);
    case TC_TYPEDEF: {
      std::string n = str_field(id, "name");
      return it_is_ident(n) && !reserved(n) ? n : "";
    }
    case TC_ENUM: case TC_CSU_SHORT: case TC_CSU_LONG: {
      std::string n = str_field(id, "name");
      if (!it_is_ident(n) || reserved(n)) return "";
      if (c == TC_ENUM) return "enum " + n;
      switch (field(id, "csu")) {
        case 0: return "struct " + n;
        case 1: return "union " + n;
        case 2: return "class " + n;
        default: return "";
      }
    }
    case TC_POINTER: case TC_REFERENCE:
      return compose(c, {ref(ref_field(id, "target"))}, 0, false, false, false);
    case TC_QUALIFIED: {
      uint32_t target = ref_field(id, "target");
      std::string r = ref(target);
      bool prefix = r[0] == '#' || is_simple_code(code(target));
      return compose(c, {r}, field(id, "quals"), prefix, false, false);
    }
    case TC_ARRAY:
      if (field(id, "vector") || field(id, "cpp") || field(id, "v75")) return "";
      return compose(c, {ref(ref_field(id, "elem"))}, field(id, "count"), false, false,
                     field(id, "complete") != 0);
    case TC_FUNCTION: {
      if (field(id, "cc") || field(id, "cpp")) return "";
      std::vector<std::string> parts{ref(ref_field(id, "result"))};
      for (const IT_REC* p : elements(id, TC_PARAM))
        parts.push_back(ref(static_cast<uint32_t>(find_field(p, m_.version, "type")->n)));
      return compose(c, parts, 0, field(id, "variadic") != 0, field(id, "prototype") != 0, false);
    }
    default:
      return "";
  }
}

// A name depends on the names of its parts, and a part's name is used only
// when no other type has it; so names are settled by repeating until
// nothing changes.
void IT_TYPES::rename_all() {
  names_.clear();
  by_name_.clear();
  for (int round = 0; round < 16; round++) {
    std::map<uint32_t, std::string> next;
    for (auto& d : def_) next[d.first] = compose_for(d.first);
    bool same = next == names_;
    names_ = next;
    by_name_.clear();
    for (auto& n : names_)
      if (!n.second.empty()) by_name_[n.second].push_back(n.first);
    if (same) break;
  }
}

std::string IT_TYPES::name(uint32_t id) const {
  auto it = names_.find(id);
  return it == names_.end() ? "" : it->second;
}

std::string IT_TYPES::ref(uint32_t id) const {
  if (id == 0) return "-";
  std::string n = name(id);
  if (!n.empty()) {
    auto it = by_name_.find(n);
    if (it != by_name_.end() && it->second.size() == 1) return n;
  }
  return "#" + std::to_string(id);
}

std::vector<uint32_t> IT_TYPES::lookup(const std::string& n) const {
  auto it = by_name_.find(n);
  return it == by_name_.end() ? std::vector<uint32_t>() : it->second;
}

bool IT_TYPES::is_typedef_name(const std::string& n) const {
  for (uint32_t id : lookup(n))
    if (code(id) == TC_TYPEDEF) return true;
  return false;
}

// ---------------------------------------------------------------------------
// Defaults of type record fields

int64_t it_type_default(const IT_TYPES& types, int code, const IT_VAL* f, size_t count,
                        const std::vector<IT_FIELD>& layout, size_t field) {
  const char* key = layout[field].key;
  auto value_of = [&](const char* k) -> int64_t {
    int i = field_index(layout, k);
    return i >= 0 && static_cast<size_t>(i) < count ? f[static_cast<size_t>(i)].n : 0;
  };
  bool size = strcmp(key, "size") == 0, align = strcmp(key, "align") == 0;
  if (is_integral_code(code) || (code >= TC_FLOAT && code <= TC_LDOUBLE)) {
    IT_BASIC b = it_basic(code);
    if (size) return b.size;
    if (align) return b.align;
    if (strcmp(key, "sign") == 0) return b.explicit_sign;
    if (strcmp(key, "isbool") == 0) return code == TC_BOOL;
    return 0;
  }
  switch (code) {
    case TC_POINTER: case TC_REFERENCE: {
      IT_BASIC b = it_basic_pointer();
      return size ? b.size : align ? b.align : 0;
    }
    case TC_TYPEDEF: case TC_QUALIFIED: {
      uint32_t target = static_cast<uint32_t>(value_of("target"));
      return size ? types.size(target) : align ? types.align(target) : 0;
    }
    case TC_ENUM: {
      uint32_t under = static_cast<uint32_t>(value_of("under"));
      return size ? types.size(under) : align ? types.align(under) : 0;
    }
    case TC_ARRAY: {
      uint32_t elem = static_cast<uint32_t>(value_of("elem"));
      if (size) return value_of("count") * static_cast<int64_t>(types.size(elem));
      if (align) return types.align(elem);
      if (strcmp(key, "complete") == 0) return value_of("count") != 0;
      return 0;
    }
    default:
      return 0;
  }
}
