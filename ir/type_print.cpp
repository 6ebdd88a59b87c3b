// TYPE::printstr: a type in C declarator form, for messages and traces.
#include <string>

#include "ir/types.h"

namespace {

std::string trimmed(std::string s) {
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

std::string qual_words(uint8_t bits) {
  static const struct {
    uint8_t bit;
    const char* word;
  } words[] = {{TYPE::Q_CONST, "const "},   {TYPE::Q_VOLATILE, "volatile "}, {TYPE::Q_PACKED, "packed "},
               {TYPE::Q_NEAR, "near "},     {TYPE::Q_FAR, "far "},           {TYPE::Q_RESTRICT, "restrict "},
               {TYPE::Q_IOPORT, "ioport "}, {TYPE::Q_ONCHIP, "onchip "}};
  std::string s;
  for (auto& w : words)
    if (bits & w.bit) s += w.word;
  return s;
}

std::string integral_words(const TYPE* t) {
  static const char* const words[] = {"bool ",  "char ",           "unsigned char ", "wchar_t ",
                                      "short ", "unsigned short ", "int ",           "unsigned ",
                                      "long ",  "unsigned long ",  "long long ",     "unsigned long long "};
  if (t->ikind < TYPE::IK_BOOL || t->ikind > TYPE::IK_ULLONG) return "int ";
  std::string s = words[t->ikind];
  // Only for char does the flag tell two types apart: char and signed char.
  if (t->ikind == TYPE::IK_CHAR && t->subpart2) s = "[ExplSign] " + s;
  return s;
}

std::string floating_words(int fkind) {
  static const char* const words[] = {"float ", "double ", "long double "};
  return fkind >= 0 && fkind <= 2 ? words[fkind] : "float ";
}

std::string complex_words(const TYPE* part) {
  const TYPE* p = part->rep;
  if (p->kind == TYPE::KIND_FLOATING) return p->fkind == TYPE::FK_FLOAT ? "cfloat " : "cdouble ";
  if (p->kind != TYPE::KIND_INTEGRAL) return "cint ";
  static const char* const words[] = {"cchar ", "cchar ", "cshort ", "cint ", "clong ", "cllong "};
  return words[p->rank()];
}

class PRINTER {
 public:
  explicit PRINTER(bool verbose) : verbose(verbose) {}

  // `inner` is the declarator built so far, read from the inside out.
  std::string decl(const TYPE* t, const std::string& inner) {
    switch (t->kind) {
      case TYPE::KIND_QUALIFIED: {
        const TYPE* target = static_cast<TYPE*>(t->subpart);
        std::string q = qual_words(t->subpart2);
        // A qualified pointer takes its qualifiers after the star.
        if (target->kind == TYPE::KIND_POINTER || target->kind == TYPE::KIND_REFERENCE ||
            target->kind == TYPE::KIND_PTM)
          return decl(target, q + inner);
        return q + decl(target, inner);
      }
      case TYPE::KIND_POINTER: return decl(static_cast<TYPE*>(t->subpart), "*" + inner);
      case TYPE::KIND_REFERENCE: return decl(static_cast<TYPE*>(t->subpart), "&" + inner);
      case TYPE::KIND_PTM: {
        auto* m = static_cast<PTM_RECORD*>(t->subpart);
        return decl(m->target, (m->csu ? m->csu->name : std::string()) + "::*" + inner);
      }
      case TYPE::KIND_ARRAY: {
        auto* a = static_cast<ARRAY_RECORD*>(t->subpart);
        std::string dim = a->count || a->complete ? "[" + std::to_string(a->count) + "]" : "[]";
        return decl(a->elem, grouped(inner) + dim);
      }
      case TYPE::KIND_FUNCTION: {
        auto* f = static_cast<FUNC_RECORD*>(t->subpart);
        std::string params;
        for (const fkPARAM* p = f->params; p; p = p->next) {
          if (!params.empty()) params += ", ";
          params += p->type ? trimmed(PRINTER(false).decl(p->type, "")) : "?";
        }
        return decl(f->result, grouped(inner) + "(" + params + ")");
      }
      default: return leaf(t) + inner;
    }
  }

 private:
  bool verbose;
  int depth = 0;

  // A pointer declarator inside an array or function declarator needs
  // parentheses: int (*)[4], not int *[4].
  static std::string grouped(const std::string& inner) {
    if (inner.empty() || (inner[0] != '*' && inner[0] != '&' && inner.find("::*") == std::string::npos)) return inner;
    return "(" + trimmed(inner) + ")";
  }

  std::string leaf(const TYPE* t) {
    switch (t->kind) {
      case TYPE::KIND_VOID: return "void ";
      case TYPE::KIND_INTEGRAL: return integral_words(t);
      case TYPE::KIND_FLOATING: return floating_words(t->fkind);
      case TYPE::KIND_COMPLEX: return complex_words(static_cast<TYPE*>(t->subpart));
      case TYPE::KIND_FIXED: {
        auto* f = static_cast<FIXED_RECORD*>(t->subpart);
        std::string s = f->explicit_sign ? "[ExplSign] " : "";
        if (f->underlying) s += trimmed(decl(f->underlying, ""));
        return s + " [FxtPt:" + std::to_string(f->scale) + "] ";
      }
      case TYPE::KIND_TYPEDEF: return t->name + " ";
      case TYPE::KIND_ENUM: return "enum " + with_name(t);
      case TYPE::KIND_CLASS: return "class " + with_name(t) + members(t);
      case TYPE::KIND_STRUCT: return "struct " + with_name(t) + members(t);
      case TYPE::KIND_UNION: return "union " + with_name(t) + members(t);
      default: return "? ";
    }
  }

  static std::string with_name(const TYPE* t) { return t->name.empty() ? std::string() : t->name + " "; }

  // The data members of the outermost class only: members may lead back to
  // the class itself.
  std::string members(const TYPE* t) {
    if (!verbose || depth > 0) return "";
    ++depth;
    std::string s = "{ ";
    for (const fkMDATA* m = static_cast<CSU_RECORD*>(t->subpart)->mdata; m; m = m->next) {
      char buf[32];
      snprintf(buf, sizeof buf, "off:%3d ", m->offset);
      s += buf;
      if (m->is_bitfield) {
        snprintf(buf, sizeof buf, "bitfld(%2d) ", static_cast<int>(m->width));
        s += buf;
      }
      s += m->type ? trimmed(decl(m->type, "")) : "?";
      s += " " + m->name + "; ";
    }
    --depth;
    return s + "} ";
  }
};

}  // namespace

const char* TYPE::printstr(bool verbose) const {
  static std::string text;
  text = trimmed(PRINTER(verbose).decl(this, ""));
  return text.c_str();
}
