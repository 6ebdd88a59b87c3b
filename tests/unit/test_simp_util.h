// Trees for the simplifier's tests, written and read as text:
//   (OP type operand...)   an operator node, OP as in node_operator_name
//   #name                  a NAME of one of the fixture's symbols
//   5:i32  -1:u16          an ICON of that type
//   2.5:f32  -0.0:f32      an FCON (text read by the target's own reader)
// Types: bool i16 u16 i32 u32 f32 void, "p." before a type for a pointer.
#pragma once
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <new>
#include <string>

#include "driver/globals.h"
#include "ir/fps.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/simp.h"

namespace simp_test {

inline TYPE* type_named(const std::string& n) {
  if (n.rfind("p.", 0) == 0) return tp->mk_ptr(type_named(n.substr(2)));
  if (n.rfind("v.", 0) == 0) return tp->mk_qual(type_named(n.substr(2)), TYPE::Q_VOLATILE);
  static const std::map<std::string, int> kBasic = {
      {"bool", TYPE_PKG::BT_BOOL}, {"i16", TYPE_PKG::BT_SHORT}, {"u16", TYPE_PKG::BT_USHORT},
      {"i32", TYPE_PKG::BT_INT},   {"u32", TYPE_PKG::BT_UINT},  {"f32", TYPE_PKG::BT_FLOAT},
      {"void", TYPE_PKG::BT_VOID}, {"char", TYPE_PKG::BT_CHAR}, {"f64", TYPE_PKG::BT_DOUBLE}};
  auto it = kBasic.find(n);
  if (it == kBasic.end()) throw std::runtime_error("unknown type " + n);
  return tp->basic[it->second];
}

inline std::string type_text(const TYPE* t) {
  if (!t) return "?";
  if (t->qual_kind(true) & TYPE::Q_VOLATILE) return "v." + type_text(t->type_qualified());
  const TYPE* r = t->rep ? t->rep : t;
  switch (r->kind) {
    case TYPE::KIND_VOID: return "void";
    case TYPE::KIND_FLOATING: return "f32";
    case TYPE::KIND_POINTER: return "p." + type_text(r->type_pointed_to());
    case TYPE::KIND_INTEGRAL:
      if (r->is_bool()) return "bool";
      return std::string(r->is_signed() ? "i" : "u") + std::to_string(r->size);
    case TYPE::KIND_ARRAY: return "a." + type_text(r->elem_type());
    default: return "t" + std::to_string(r->kind);
  }
}

inline int op_named(const std::string& n) {
  for (int op = 0; op < 256; ++op)
    if (node_operator_name[op] && n == node_operator_name[op]) return op;
  throw std::runtime_error("unknown operator " + n);
}

class SimpTest : public testing::Test {
 public:
  std::map<std::string, SYMTAB*> syms;

  void SetUp() override {
    if (!tp) {
      tp = new TYPE_PKG();
      tp->init_type_pkg();
    }
    lex = 2;
    if_node_table_init();
    opt_level = 2;
    size_speed_goal = 4;
    strict_fp = 1;
    volit_vars = 0;
    currfuninfo = nullptr;
    currfunc = nullptr;
    fp_error = 0;
    for (const char* n : {"x", "y", "z", "w"}) add_sym(n, "i32");
    for (const char* n : {"u", "v"}) add_sym(n, "u32");
    for (const char* n : {"s", "t"}) add_sym(n, "i16");
    for (const char* n : {"us", "ut"}) add_sym(n, "u16");
    for (const char* n : {"f", "g"}) add_sym(n, "f32");
    for (const char* n : {"p", "q"}) add_sym(n, "p.i32");
    add_sym("b", "bool");
    add_sym("vx", "v.i32");
    SYMTAB* arr = add_sym("arr", "i32");
    TYPE* at = tp->mk_array(tp->basic[TYPE_PKG::BT_INT], 8, 8 * 32, 32, false, true);
    arr->type = arr->decl_type = at;
    arr->size = 8 * 32;
  }
  void TearDown() override {
    lex = 0;
    zfree_all();
    reset_node_free_lists();
  }

  SYMTAB* add_sym(const std::string& name, const std::string& type) {
    SYMTAB* s = new (zalloc0(1, sizeof(SYMTAB))) SYMTAB();
    s->name = zstrdup(1, name.c_str());
    s->type = s->decl_type = type_named(type)->normalized_type();
    s->size = static_cast<int32_t>(s->type->size);
    s->sclass = s->orig_sclass = SC_LOCAL;
    s->lex_level = 2;
    s->sflags = SF_USER | SF_HAS_HOME;
    syms[name] = s;
    return s;
  }

  // ---- parsing ----
  NODE* parse(const std::string& text) {
    size_t pos = 0;
    NODE* t = parse_at(text, pos);
    skip(text, pos);
    if (pos != text.size()) throw std::runtime_error("trailing text in " + text);
    return t;
  }
  static void skip(const std::string& s, size_t& p) {
    while (p < s.size() && isspace(static_cast<unsigned char>(s[p]))) ++p;
  }
  static std::string word(const std::string& s, size_t& p) {
    skip(s, p);
    size_t b = p;
    while (p < s.size() && !isspace(static_cast<unsigned char>(s[p])) && s[p] != '(' && s[p] != ')') ++p;
    return s.substr(b, p - b);
  }
  NODE* parse_at(const std::string& s, size_t& p) {
    skip(s, p);
    if (s[p] == '(') {
      ++p;
      std::string opn = word(s, p);
      TYPE* ty = type_named(word(s, p));
      NODE* kids[2] = {nullptr, nullptr};
      int n = 0;
      for (;;) {
        skip(s, p);
        if (s[p] == ')') {
          ++p;
          break;
        }
        NODE* k = parse_at(s, p);
        if (n < 2) kids[n] = k;
        ++n;
      }
      NODE* t = maketree(op_named(opn), kids[0], kids[1], ty, nullptr);
      return t;
    }
    std::string w = word(s, p);
    if (w[0] == '#') {
      auto it = syms.find(w.substr(1));
      if (it == syms.end()) throw std::runtime_error("unknown symbol " + w);
      return mk_NAME(it->second, nullptr);
    }
    size_t colon = w.rfind(':');
    if (colon == std::string::npos) throw std::runtime_error("bad leaf " + w);
    std::string val = w.substr(0, colon);
    TYPE* ty = type_named(w.substr(colon + 1));
    const TYPE* r = ty->rep ? ty->rep : ty;
    if (r->kind == TYPE::KIND_FLOATING) {
      simul_fval v;
      f_atof(val.c_str(), &v);
      truncate_fval_to_target(&v, ty);
      fp_error = 0;
      return mk_FCON(v, ty);
    }
    return mk_ICON(INT65(std::stoll(val, nullptr, 0)), ty);
  }

  // ---- printing ----
  static std::string show(const NODE* t) {
    if (!t) return "null";
    switch (t->op) {
      case NAME: return "#" + std::string(t->name_symbol()->name);
      case ICON: {
        const TYPE* r = t->type->rep ? t->type->rep : t->type;
        bool sgn = r->is_signed();
        std::string v = sgn ? std::to_string(t->value.as_int64()) : std::to_string(t->value.as_uint64());
        return v + ":" + type_text(t->type);
      }
      case FCON: {
        char buf[FPS_FCON_TEXT_MAX];
        fval2text(buf, static_cast<const simul_fval*>(t->sym));
        return std::string(buf) + ":" + type_text(t->type);
      }
      default: break;
    }
    std::string out = "(" + std::string(node_operator_name[t->op] ? node_operator_name[t->op] : "?") + " " +
                      type_text(t->type);
    if (t->left) out += " " + show(t->left);
    if (t->right) out += " " + show(t->right);
    return out + ")";
  }

  std::string simp(const std::string& text) { return show(simp_tree(parse(text), nullptr, nullptr)); }
  // The text after a round of the parser and printer, for expected forms
  // written with basic type names.
  std::string canon(const std::string& text) { return show(parse(text)); }
};

}  // namespace simp_test
