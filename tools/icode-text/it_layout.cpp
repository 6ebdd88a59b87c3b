// Layouts of the records the text tools decode: type records by code and
// version, the function-section records with a fixed field list, operator
// names and operand counts, storage-class names.
#include <cstring>
#include <map>
#include <mutex>

#include "ir/opt_expr.h"
#include "tools/icode-text/itext.h"

namespace {

const int LO = -100000, HI = 100000;

IT_FIELD pos(const char* key, IT_KIND kind) { return {key, kind, ROLE_POS, LO, HI}; }
IT_FIELD key(const char* key, IT_KIND kind) { return {key, kind, ROLE_KEY, LO, HI}; }
IT_FIELD flag(const char* key, IT_KIND kind = K_BOOL) { return {key, kind, ROLE_FLAG, LO, HI}; }
IT_FIELD psn() { return {"psn", K_PSN, ROLE_PSN, LO, HI}; }
IT_FIELD from(IT_FIELD f, int version) {
  f.min_version = version;
  return f;
}
IT_FIELD upto(IT_FIELD f, int version) {
  f.max_version = version;
  return f;
}

// Every field a code may have, over all versions.
std::vector<IT_FIELD> full_type_layout(int code) {
  switch (code) {
    case TC_BOOL: case TC_CHAR: case TC_UCHAR: case TC_WCHAR: case TC_SHORT: case TC_USHORT:
    case TC_INT: case TC_UINT: case TC_LONG: case TC_ULONG: case TC_LLONG: case TC_ULLONG:
      return {flag("sign"), key("size", K_UINT), key("align", K_UINT), flag("isbool"), flag("bool2")};
    case TC_FLOAT: case TC_DOUBLE: case TC_LDOUBLE:
      return {key("size", K_UINT), key("align", K_UINT)};
    case TC_FIXED:
      return {key("scale", K_I8), flag("signed", K_U8), pos("under", K_TREF), key("size", K_UINT),
              key("align", K_UINT)};
    case TC_TYPEDEF:
      return {pos("name", K_STR), pos("target", K_TREF), key("size", K_UINT), key("align", K_UINT),
              flag("cpp"), flag("lowered"), psn()};
    case TC_POINTER: case TC_REFERENCE:
      return {pos("target", K_TREF), key("size", K_UINT), key("align", K_UINT)};
    case TC_QUALIFIED:
      return {pos("target", K_TREF), key("quals", K_UINT), key("size", K_UINT), key("align", K_UINT)};
    case TC_ARRAY:
      return {pos("elem", K_TREF), pos("count", K_UINT), key("size", K_UINT), key("align", K_UINT),
              flag("cpp"), flag("complete"), from(flag("vector"), -76),
              upto(from(flag("v75"), -75), -74)};
    case TC_PTM:
      return {pos("target", K_TREF), pos("class", K_TREF), key("size", K_UINT), key("align", K_UINT)};
    case TC_FUNCTION:
      return {pos("result", K_TREF), flag("variadic"), flag("prototype"), key("cc", K_U8), flag("cpp")};
    case TC_PARAM:
      return {pos("type", K_TREF), flag("flag"), key("word", K_UINT), key("name", K_STR)};
    case TC_ENUM:
      return {pos("name", K_STR), key("size", K_UINT), key("align", K_UINT), pos("under", K_TREF),
              from(flag("cpp"), -81), psn()};
    case TC_ETOR:
      return {pos("name", K_STR), pos("value", K_EVAL), psn()};
    case TC_CSU_SHORT:
      return {key("csu", K_I8), pos("name", K_STR), flag("complete"), flag("lowered"),
              key("size", K_UINT), key("align", K_UINT), flag("members"), from(flag("nss"), -84),
              from(flag("cpp"), -81), psn()};
    case TC_CSU_LONG:
      return {key("csu", K_I8), pos("name", K_STR), flag("complete"), flag("lowered"),
              key("size", K_UINT), key("align", K_UINT), key("classword", K_UINT), flag("bases"),
              flag("accessdecls"), flag("friendfuncs"), flag("friendclasses"), flag("nestedtypes"),
              flag("members"), flag("statics"), flag("methods"), flag("params"),
              from(flag("nss"), -84), from(flag("cpp"), -81), psn()};
    case TC_MDATA:
      return {pos("id", K_UINT), pos("name", K_STR), pos("type", K_TREF), key("byte", K_U8),
              key("offset", K_SINT), from(key("fti", K_U8), -74), from(key("width", K_UINT), -85),
              from(flag("bitfield"), -85), from(flag("flag1"), -85), from(flag("flag2"), -85),
              upto(flag("bitfield"), -86), upto(key("width", K_UINT), -86), upto(flag("flag1"), -86),
              psn()};
    case TC_BCLASS:
      return {pos("type", K_TREF), key("offset", K_SINT), key("byte", K_U8), flag("flag")};
    case TC_ADECL:
      return {key("word", K_UINT), key("byte", K_U8)};
    case TC_FFRIEND:
      return {pos("name", K_STR), pos("type", K_TREF)};
    case TC_CFRIEND: case TC_NTYPE:
      return {pos("type", K_TREF)};
    case TC_SDATA:
      return {pos("name", K_STR), pos("type", K_TREF), key("byte", K_U8)};
    case TC_MFUNC:
      return {pos("name", K_STR), pos("type", K_TREF), key("byte", K_U8), key("offset", K_SINT),
              flag("f1"), flag("f2"), flag("f3"), flag("f4")};
    case TC_COMPLEX:
      return {key("size", K_UINT), key("align", K_UINT), pos("part", K_TREF)};
    case TC_VOID:
      return {};
    case TC_LIST_HEADER: case TC_LIST_TRAILER:
      return {pos("kind", K_I8)};
    default:
      return {{nullptr, K_UINT, ROLE_POS, 1, 0}};  // marks an unknown code
  }
}

struct KEYWORD {
  int code;
  const char* word;
};
const KEYWORD kTypeKeywords[] = {
    {TC_BOOL, "bool"}, {TC_CHAR, "char"}, {TC_UCHAR, "uchar"}, {TC_WCHAR, "wchar"},
    {TC_SHORT, "short"}, {TC_USHORT, "ushort"}, {TC_INT, "int"}, {TC_UINT, "uint"},
    {TC_LONG, "long"}, {TC_ULONG, "ulong"}, {TC_LLONG, "llong"}, {TC_ULLONG, "ullong"},
    {TC_FLOAT, "float"}, {TC_DOUBLE, "double"}, {TC_LDOUBLE, "ldouble"}, {TC_FIXED, "fixed"},
    {TC_TYPEDEF, "typedef"}, {TC_POINTER, "pointer"}, {TC_REFERENCE, "reference"},
    {TC_QUALIFIED, "qualified"}, {TC_ARRAY, "array"}, {TC_PTM, "ptm"},
    {TC_FUNCTION, "function"}, {TC_PARAM, "param"}, {TC_ENUM, "enum"},
    {TC_ETOR, "enumerator"}, {TC_CSU_SHORT, "struct"}, {TC_MDATA, "member"}, {TC_BCLASS, "base"},
    {TC_ADECL, "access"}, {TC_FFRIEND, "friendfunc"}, {TC_CFRIEND, "friendclass"},
    {TC_NTYPE, "nested"}, {TC_SDATA, "static"}, {TC_MFUNC, "method"}, {TC_COMPLEX, "complex"},
    {TC_VOID, "void"},
};

const char* const kListKinds[] = {"params", "enumerators", "bases", "accessdecls", "friendfuncs",
                                  "friendclasses", "nestedtypes", "members", "statics", "methods"};

std::vector<IT_RECORD_LAYOUT> make_record_layouts() {
  IT_FIELD u = pos("word", K_UINT);
  return {
      {R_END_FUNC, "end", {psn()}},
      {R_BEGIN_BLOCK, "{", {psn()}},
      {R_END_BLOCK, "}", {psn()}},
      {R_END_ARGS, "endargs", {psn()}},
      {R_END_LOCALS, "endlocals", {psn()}},
      {R_IR_INS, "irins", {psn()}},
      {R_ASM, "asm", {pos("text", K_STR), psn()}},
      {R_LOOP, "loop", {u, u, u, u, u, pos("value", K_I16)}},
      {R_MBANK, "mbank", {u, u, u, u, u}},
      {R_COMMENT, "comment", {pos("text", K_STR)}},
      {R_DEP_EDGE, "depedge", {u, u, u}},
      {R_FUNC_INFO, "funcinfo", {pos("value", K_I8)}},
      {R_EHT_ENTRY, "ehtentry", {u, u, u, u}},
      {R_EHT_HDR, "eht", {pos("count", K_UINT)}},
      {R_IR_BEGIN, "irbegin", {u, pos("word", K_SINT), pos("byte", K_I8), u, psn()}},
      {R_IR_END, "irend", {psn()}},
      {R_SOURCE, "source", {pos("text", K_STR)}},
  };
}

const std::vector<IT_RECORD_LAYOUT>& record_layouts() {
  static const std::vector<IT_RECORD_LAYOUT> layouts = make_record_layouts();
  return layouts;
}

void init_ops() {
  static std::once_flag once;
  std::call_once(once, [] { if_node_table_init(); });
}

}  // namespace

const std::vector<IT_FIELD>* it_type_layout(int code, int version) {
  static std::map<std::pair<int, int>, std::vector<IT_FIELD>> cache;
  auto key_ = std::make_pair(code, version);
  auto it = cache.find(key_);
  if (it == cache.end()) {
    std::vector<IT_FIELD> all = full_type_layout(code);
    std::vector<IT_FIELD> fields;
    bool unknown = all.size() == 1 && all[0].key == nullptr;
    for (const IT_FIELD& f : all)
      if (f.key && version >= f.min_version && version <= f.max_version) fields.push_back(f);
    if (unknown) fields.push_back(all[0]);
    it = cache.emplace(key_, fields).first;
  }
  if (!it->second.empty() && it->second[0].key == nullptr) return nullptr;
  return &it->second;
}

const char* it_type_keyword(int code) {
  if (code == TC_CSU_LONG) return "struct";
  for (const KEYWORD& k : kTypeKeywords)
    if (k.code == code) return k.word;
  return nullptr;
}

int it_type_code(const std::string& keyword) {
  if (keyword == "union" || keyword == "class" || keyword == "csu") return TC_CSU_SHORT;
  for (const KEYWORD& k : kTypeKeywords)
    if (keyword == k.word) return k.code;
  return -1;
}

int it_element_list_kind(int code) {
  switch (code) {
    case TC_PARAM: return 0;
    case TC_ETOR: return 1;
    case TC_BCLASS: return 2;
    case TC_ADECL: return 3;
    case TC_FFRIEND: return 4;
    case TC_CFRIEND: return 5;
    case TC_NTYPE: return 6;
    case TC_MDATA: return 7;
    case TC_SDATA: return 8;
    case TC_MFUNC: return 9;
    default: return -1;
  }
}

const char* it_list_kind_name(int kind) {
  return kind >= 0 && kind < 10 ? kListKinds[kind] : nullptr;
}

int it_list_kind(const std::string& name) {
  for (int i = 0; i < 10; i++)
    if (name == kListKinds[i]) return i;
  return -1;
}

const IT_RECORD_LAYOUT* it_record_layout(int id) {
  for (const IT_RECORD_LAYOUT& l : record_layouts())
    if (l.id == id) return &l;
  return nullptr;
}

const IT_RECORD_LAYOUT* it_record_layout(const std::string& keyword) {
  for (const IT_RECORD_LAYOUT& l : record_layouts())
    if (keyword == l.keyword) return &l;
  return nullptr;
}

int it_operand_count(int op) {
  init_ops();
  switch (op) {
    case OP_LABEL: case OP_NAME: case OP_SCON: case OP_ICON: case OP_FCON: case OP_LCON:
    case OP_FIELD: case OP_SKIP: case OP_VREG:
      return 0;
    default:
      break;
  }
  // Operators from 164 up live only in memory.
  if (op < 0 || op >= 164) return -1;
  int n = if_node_info[op].operands;
  return n <= 2 ? n : -1;
}

const char* it_op_name(int op) {
  init_ops();
  if (op < 0 || op > 200) return nullptr;
  const char* name = if_node_info[op].name;
  return name && *name ? name : nullptr;
}

int it_op_number(const std::string& name) {
  init_ops();
  if (name.size() > 2 && name.compare(0, 2, "OP") == 0 &&
      name.find_first_not_of("0123456789", 2) == std::string::npos && name.size() <= 5) {
    int op = std::stoi(name.substr(2));
    return op <= 255 ? op : -1;
  }
  for (int op = 0; op < 164; op++)
    if (const char* n = it_op_name(op))
      if (name == n) return op;
  return -1;
}

namespace {
struct SCLASS_NAME {
  int sclass;
  const char* name;
};
const SCLASS_NAME kSclassNames[] = {{1, "local"},  {2, "extdef"}, {3, "static"},
                                    {4, "register"}, {5, "extref"}, {6, "nolist"},
                                    {9, "param"},  {27, "param_noinline"}};
}  // namespace

const char* it_sclass_name(int sclass) {
  for (const SCLASS_NAME& s : kSclassNames)
    if (s.sclass == sclass) return s.name;
  return nullptr;
}

int it_sclass_number(const std::string& name) {
  for (const SCLASS_NAME& s : kSclassNames)
    if (name == s.name) return s.sclass;
  return -1;
}
