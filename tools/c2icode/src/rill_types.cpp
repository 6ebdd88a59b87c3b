// Clang's C types as Rill's TYPE records: typedefs are seen through,
// qualifiers kept, and every size is Rill's own (16-bit char and short,
// 32-bit int, long, long long and floating types, 16-bit pointers).
#include <clang/AST/Type.h>

#include <algorithm>

#include "c2i_unit.h"

namespace c2i {

namespace {

TYPE* builtin_type(UNIT& u, const clang::BuiltinType* b, clang::SourceLocation where) {
  using K = clang::BuiltinType::Kind;
  switch (b->getKind()) {
    case K::Void: return tp->basic[TYPE_PKG::BT_VOID];
    case K::Bool: return tp->basic[TYPE_PKG::BT_BOOL];
    case K::Char_S:
    case K::Char_U: return tp->basic[TYPE_PKG::BT_CHAR];
    case K::SChar: return tp->mk_int(TYPE::IK_CHAR, true);
    case K::UChar: return tp->basic[TYPE_PKG::BT_UCHAR];
    case K::Short: return tp->basic[TYPE_PKG::BT_SHORT];
    case K::UShort: return tp->basic[TYPE_PKG::BT_USHORT];
    case K::Int: return tp->basic[TYPE_PKG::BT_INT];
    case K::UInt: return tp->basic[TYPE_PKG::BT_UINT];
    case K::Long: return tp->basic[TYPE_PKG::BT_LONG];
    case K::ULong: return tp->basic[TYPE_PKG::BT_ULONG];
    case K::LongLong: return tp->basic[TYPE_PKG::BT_LLONG];
    case K::ULongLong: return tp->basic[TYPE_PKG::BT_ULLONG];
    case K::Float: return tp->basic[TYPE_PKG::BT_FLOAT];
    case K::Double: return tp->basic[TYPE_PKG::BT_DOUBLE];
    case K::LongDouble: return tp->basic[TYPE_PKG::BT_LDOUBLE];
    default: break;
  }
  clang::PrintingPolicy pp(u.ctx.getLangOpts());
  refuse(u, "type '" + std::string(b->getName(pp)) + "'", where);
}

TYPE* function_type(UNIT& u, const clang::FunctionType* ft, clang::SourceLocation where) {
  TYPE* result = rill_type(u, ft->getReturnType(), where);
  const auto* proto = llvm::dyn_cast<clang::FunctionProtoType>(ft);
  // flag1: declared with "...", flag2: has a prototype.
  TYPE* f = tp->mk_func(result, proto && proto->isVariadic(), proto != nullptr, false,
                        TYPE::CC_DEFAULT, 0, 0);
  FUNC_RECORD* rec = f->getr_func();
  if (proto) {
    for (clang::QualType p : proto->getParamTypes()) {
      auto* param = new fkPARAM;
      param->type = rill_type(u, p, where);
      tp_append(rec->params, param);
    }
  }
  rec->has_params = true;
  tp->type_frozen(f);
  return f;
}

TYPE* enum_type(UNIT& u, const clang::EnumDecl* ed, clang::SourceLocation where) {
  if (const clang::EnumDecl* def = ed->getDefinition()) ed = def;
  auto it = u.enum_types.find(ed);
  if (it != u.enum_types.end()) return it->second;
  TYPE* under = ed->getIntegerType().isNull() ? tp->basic[TYPE_PKG::BT_INT]
                                              : rill_unqualified(u, ed->getIntegerType(), where);
  TYPE* e = tp->mk_enum(ed->getName().str(), under->size, under->align, under, false);
  ENUM_RECORD* rec = e->getr_enum();
  for (const clang::EnumConstantDecl* ec : ed->enumerators()) {
    auto* et = new fkETOR;
    et->name = ec->getName().str();
    et->value = enum_value(u, ec);
    et->psn = make_psn(u, ec->getLocation());
    tp_append(rec->etors, et);
  }
  rec->has_etors = true;
  tp->type_frozen(e);
  u.enum_types[ed] = e;
  return e;
}

}  // namespace

TYPE* rill_type(UNIT& u, clang::QualType t, clang::SourceLocation where) {
  clang::QualType c = t.getCanonicalType();
  uint8_t quals = 0;
  if (c.isConstQualified()) quals |= TYPE::Q_CONST;
  if (c.isVolatileQualified()) quals |= TYPE::Q_VOLATILE;
  if (c.isRestrictQualified()) quals |= TYPE::Q_RESTRICT;
  TYPE* base = rill_unqualified(u, c, where);
  return quals ? tp->mk_qual(base, quals) : base;
}

TYPE* rill_unqualified(UNIT& u, clang::QualType t, clang::SourceLocation where) {
  const clang::Type* c = t.getCanonicalType().getTypePtr();
  auto cached = u.type_cache.find(c);
  if (cached != u.type_cache.end()) return cached->second;
  TYPE* r = nullptr;
  switch (c->getTypeClass()) {
    case clang::Type::Builtin:
      r = builtin_type(u, llvm::cast<clang::BuiltinType>(c), where);
      break;
    case clang::Type::Pointer:
      r = tp->mk_ptr(rill_type(u, llvm::cast<clang::PointerType>(c)->getPointeeType(), where));
      break;
    case clang::Type::ConstantArray: {
      const auto* at = llvm::cast<clang::ConstantArrayType>(c);
      TYPE* elem = rill_type(u, at->getElementType(), where);
      uint64_t count = at->getSize().getZExtValue();
      uint64_t bits = count * elem->size;
      if (bits > kLargestObjectUnits * kUnitBits)
        throw TOO_LARGE{"an array of type '" + t.getAsString() + "'", bits / kUnitBits, where};
      r = tp->mk_array(elem, static_cast<uint32_t>(count), static_cast<uint32_t>(bits), elem->align,
                       false, true);
      break;
    }
    case clang::Type::IncompleteArray: {
      TYPE* elem = rill_type(u, llvm::cast<clang::IncompleteArrayType>(c)->getElementType(), where);
      r = tp->mk_array(elem, 0, 0, elem->align, false, false);
      break;
    }
    case clang::Type::VariableArray: {
      // Its size lives in the trees (size_units_tree); the type has none.
      TYPE* elem = rill_type(u, llvm::cast<clang::VariableArrayType>(c)->getElementType(), where);
      r = tp->mk_array(elem, 0, 0, elem->align, false, false);
      break;
    }
    case clang::Type::FunctionProto:
    case clang::Type::FunctionNoProto:
      r = function_type(u, llvm::cast<clang::FunctionType>(c), where);
      break;
    case clang::Type::Record:
      r = record_layout(u, llvm::cast<clang::RecordType>(c)->getDecl()).type;
      break;
    case clang::Type::Enum:
      r = enum_type(u, llvm::cast<clang::EnumType>(c)->getDecl(), where);
      break;
    case clang::Type::Complex:
      refuse(u, "complex type", where);
    case clang::Type::Vector:
    case clang::Type::ExtVector:
      refuse(u, "vector type", where);
    case clang::Type::Atomic:
      refuse(u, "_Atomic type", where);
    default:
      refuse(u, "type '" + t.getAsString() + "'", where);
  }
  // A structure is cached only once complete: its layout may still grow.
  if (c->getTypeClass() != clang::Type::Record ||
      record_layout(u, llvm::cast<clang::RecordType>(c)->getDecl()).complete)
    u.type_cache[c] = r;
  return r;
}

uint32_t size_bits(UNIT& u, clang::QualType t, clang::SourceLocation where) {
  clang::QualType c = t.getCanonicalType();
  // GNU C: void and functions have size 1.
  if (c->isVoidType() || c->isFunctionType()) return kUnitBits;
  if (c->isIncompleteType()) refuse(u, "size of an incomplete type", where);
  if (c->isVariablyModifiedType() && c->isArrayType()) refuse(u, "constant size of a variable-length array", where);
  return rill_unqualified(u, c, where)->size;
}

uint32_t align_bits(UNIT& u, clang::QualType t, clang::SourceLocation where) {
  clang::QualType c = t.getCanonicalType();
  if (c->isVoidType() || c->isFunctionType()) return kUnitBits;
  TYPE* r = rill_unqualified(u, c, where);
  uint32_t a = r->align ? r->align : kUnitBits;
  // A typedef may raise the alignment of the type it names.
  for (const clang::TypedefType* td = t->getAs<clang::TypedefType>(); td;
       td = td->getDecl()->getUnderlyingType()->getAs<clang::TypedefType>())
    a = std::max(a, decl_align_bits(u, td->getDecl()));
  return a;
}

TYPE* int_type(int basic) { return tp->basic[basic]; }
TYPE* size_type() { return tp->basic[TYPE_PKG::BT_UINT]; }
TYPE* ptrdiff_type() { return tp->basic[TYPE_PKG::BT_INT]; }

TYPE* strip_quals(TYPE* t) { return t ? t->stqs() : t; }

bool is_unsigned_type(TYPE* t) {
  TYPE* s = strip_quals(t);
  if (!s) return false;
  if (s->kind == TYPE::KIND_POINTER) return true;
  if (s->kind == TYPE::KIND_ENUM) return is_unsigned_type(s->underlying_type());
  return s->kind == TYPE::KIND_INTEGRAL && s->is_unsigned();
}

}  // namespace c2i
