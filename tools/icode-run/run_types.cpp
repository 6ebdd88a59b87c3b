#include "tools/icode-run/run_types.h"

#include <algorithm>

#include "ir/symbol.h"
#include "ir/types.h"

static const TYPE* repr(const TYPE* t) { return t->rep ? t->rep : t; }

VK vk_of(const TYPE* type) {
  if (!type) return VK_VOID;
  const TYPE* r = repr(type);
  switch (r->kind) {
    case TYPE::KIND_VOID: return VK_VOID;
    case TYPE::KIND_INTEGRAL:
      if (r->is_bool()) return r->size == 32 ? VK_BOOL : VK_BAD;
      if (r->size == 16) return r->is_signed() ? VK_I16S : VK_I16U;
      if (r->size == 32) return r->is_signed() ? VK_I32S : VK_I32U;
      return VK_BAD;
    case TYPE::KIND_ENUM: {
      const TYPE* u = r->underlying_type();
      if (u) return vk_of(u);
      return r->size == 16 ? VK_I16S : r->size == 32 ? VK_I32S : VK_BAD;
    }
    case TYPE::KIND_FLOATING: return r->size == 32 ? VK_F32 : VK_BAD;
    case TYPE::KIND_POINTER:
    case TYPE::KIND_REFERENCE: return VK_PTR;
    case TYPE::KIND_ARRAY:
    case TYPE::KIND_CLASS:
    case TYPE::KIND_STRUCT:
    case TYPE::KIND_UNION: return VK_AGG;
    case TYPE::KIND_FUNCTION: return VK_FUNC;
    default: return VK_BAD;
  }
}

uint32_t units_of(const TYPE* type) { return type ? (repr(type)->size + 15) / 16 : 0; }

uint32_t align_units_of(const TYPE* type) {
  uint32_t a = type ? std::max(type->align, repr(type)->align) / 16 : 0;
  return a ? a : 1;
}

uint32_t symbol_align_units(const SYMTAB* sym) {
  uint32_t own = sym->align > 0 ? static_cast<uint32_t>(sym->align) / 16 : 0;
  return std::max(own, align_units_of(sym->type));
}

uint32_t vk_units(VK vk) {
  switch (vk) {
    case VK_I16S:
    case VK_I16U:
    case VK_PTR: return 1;
    case VK_I32S:
    case VK_I32U:
    case VK_BOOL:
    case VK_F32: return 2;
    default: return 0;
  }
}

const char* vk_name(VK vk) {
  static const char* const names[] = {"void", "short", "unsigned short", "int", "unsigned int",
                                      "bool", "float", "pointer", "aggregate", "function", "unsupported"};
  return vk <= VK_BAD ? names[vk] : "?";
}

bool type_is_readonly(const TYPE* type) {
  for (const TYPE* t = type; t;) {
    if (t->qual_kind(true) & TYPE::Q_CONST) return true;
    const TYPE* r = repr(t);
    if (r->kind != TYPE::KIND_ARRAY) return false;
    t = r->elem_type();
  }
  return false;
}

const char* type_text(const TYPE* type) { return type ? type->printstr(false) : "(no type)"; }
