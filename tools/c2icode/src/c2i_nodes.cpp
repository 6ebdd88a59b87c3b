// Small tree constructors on top of the shared ones, with the shapes of the
// icode conventions: explicit conversions, null pointers as PCONV of 0,
// left-nested argument lists, FCON carrying its binary32 text.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "c2i_unit.h"

namespace c2i {

NODE* tree(int op, NODE* l, NODE* r, TYPE* type) { return maketree(op, l, r, type, nullptr); }

NODE* icon(int64_t v, TYPE* type) { return mk_ICON(INT65(static_cast<long long>(v)), type); }

NODE* fcon(float v, TYPE* type) {
  NODE* n = tree(FCON, nullptr, nullptr, type);
  // The text zopt's floating package reads back exactly: "%a" of binary32.
  char buf[48];
  if (std::isnan(v)) snprintf(buf, sizeof buf, "nan");
  else if (std::isinf(v)) snprintf(buf, sizeof buf, v < 0 ? "-inf" : "inf");
  else snprintf(buf, sizeof buf, "%.6a", static_cast<double>(v));
  n->text = static_cast<char*>(zalloc0(0, strlen(buf) + 1));
  memcpy(n->text, buf, strlen(buf) + 1);
  return n;
}

NODE* name_node(SYMTAB* s) { return mk_NAME(s, nullptr); }

NODE* scon_node(const std::string& bytes, TYPE* array_type) {
  NODE* n = tree(SCON, nullptr, nullptr, array_type);
  n->mk_scon(bytes.data(), static_cast<uint32_t>(bytes.size()));
  return n;
}

NODE* label_node(uint32_t label) { return mk_LABELREF(static_cast<int>(label), nullptr); }

NODE* addr_of(NODE* lvalue, TYPE* ptr_type) {
  // &*p is p.
  if (lvalue->op == UMULT) return convert(lvalue->left, ptr_type);
  return tree(UAND, lvalue, nullptr, ptr_type);
}

NODE* convert(NODE* n, TYPE* to) {
  TYPE* from = strip_quals(n->type);
  TYPE* want = strip_quals(to);
  if (!want || from == want || want->kind == TYPE::KIND_VOID) return n;
  if (want->kind == TYPE::KIND_POINTER) return tree(PCONV, n, nullptr, want);
  bool int_to_int = n->op == ICON && (want->kind == TYPE::KIND_INTEGRAL || want->kind == TYPE::KIND_ENUM);
  if (int_to_int) {
    int64_t v = is_unsigned_type(from) ? static_cast<int64_t>(n->value.as_uint64()) : n->value.as_int64();
    return icon(truncate_int(v, want), want);
  }
  return tree(SCONV, n, nullptr, want);
}

NODE* null_pointer(TYPE* ptr_type) {
  return tree(PCONV, icon(0, tp->basic[TYPE_PKG::BT_INT]), nullptr, strip_quals(ptr_type));
}

NODE* zero_of(TYPE* t) {
  TYPE* s = strip_quals(t);
  if (s->kind == TYPE::KIND_POINTER) return null_pointer(s);
  if (s->kind == TYPE::KIND_FLOATING) return fcon(0.0f, s);
  return icon(0, s);
}

NODE* comma_list(const std::vector<NODE*>& args) {
  NODE* list = nullptr;
  for (NODE* a : args) list = list ? tree(COMMA, list, a, a->type) : a;
  return list;
}

bool is_lvalue_node(const NODE* n) {
  return n->op == NAME || n->op == UMULT || n->op == STDOT || n->op == STREF || n->op == SCON;
}

}  // namespace c2i
