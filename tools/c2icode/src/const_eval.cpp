// Constant expressions evaluated on Rill's terms. Clang's own evaluator
// measures in 8-bit bytes and wraps char at 8 bits, so whatever involves
// sizeof, _Alignof, offsetof, layout or char width is evaluated here:
// integers in 64-bit host arithmetic truncated to the Rill type after each
// step, floating values in binary32, and address constants as an object
// plus an offset in units.
#include <clang/AST/Attr.h>
#include <clang/Basic/Builtins.h>

#include <cmath>
#include <limits>

#include "c2i_unit.h"

namespace c2i {

namespace {

struct EVAL {
  UNIT& u;
  bool eval(const clang::Expr* e, CVALUE& out);
  bool lvalue(const clang::Expr* e, CVALUE& out);
  bool conversion(const clang::CastExpr* e, CVALUE& out);
  bool unary(const clang::UnaryOperator* e, CVALUE& out);
  bool binary(const clang::BinaryOperator* e, CVALUE& out);
  bool call(const clang::CallExpr* e, CVALUE& out);
  bool offset_of(const clang::OffsetOfExpr* e, CVALUE& out);
  TYPE* type_of(const clang::Expr* e) { return rill_unqualified(u, e->getType(), e->getExprLoc()); }
};

CVALUE make_int(int64_t v, TYPE* t) {
  CVALUE c;
  c.kind = CVALUE::INT;
  c.type = t;
  c.i = truncate_int(v, t);
  return c;
}

CVALUE make_float(double v, TYPE* t) {
  CVALUE c;
  c.kind = CVALUE::FLOAT;
  c.type = t;
  c.f = static_cast<float>(v);
  return c;
}

bool truth(const CVALUE& c) {
  switch (c.kind) {
    case CVALUE::INT: return c.i != 0;
    case CVALUE::FLOAT: return c.f != 0;
    case CVALUE::ADDR: return c.decl || c.literal || c.offset != 0;
    default: return false;
  }
}

uint32_t type_bits(TYPE* t) {
  TYPE* s = strip_quals(t);
  if (s && s->kind == TYPE::KIND_ENUM) s = s->underlying_type();
  return s ? s->size : 32;
}

bool is_float_type(TYPE* t) {
  TYPE* s = strip_quals(t);
  return s && s->kind == TYPE::KIND_FLOATING;
}

bool is_bool_type(TYPE* t) {
  TYPE* s = strip_quals(t);
  return s && s->kind == TYPE::KIND_INTEGRAL && s->ikind == TYPE::IK_BOOL;
}

bool EVAL::eval(const clang::Expr* e, CVALUE& out) {
  using namespace clang;
  switch (e->getStmtClass()) {
    case Stmt::IntegerLiteralClass:
      out = make_int(static_cast<int64_t>(cast<IntegerLiteral>(e)->getValue().getZExtValue()), type_of(e));
      return true;
    case Stmt::CharacterLiteralClass: {
      const auto* c = cast<CharacterLiteral>(e);
      int64_t v = c->getValue();
      // Clang sign-extends a single byte from its 8-bit char; a 16-bit char
      // holds 0x80 to 0xff as they are.
      if (c->getKind() == CharacterLiteral::Ascii && static_cast<int32_t>(v) < 0 &&
          static_cast<int32_t>(v) >= -128)
        v = static_cast<int32_t>(v) & 0xff;
      out = make_int(v, type_of(e));
      return true;
    }
    case Stmt::FloatingLiteralClass:
      out = make_float(to_binary32(cast<FloatingLiteral>(e)->getValue()), type_of(e));
      return true;
    case Stmt::ParenExprClass:
      return eval(cast<ParenExpr>(e)->getSubExpr(), out);
    case Stmt::ConstantExprClass:
      return eval(cast<ConstantExpr>(e)->getSubExpr(), out);
    case Stmt::ChooseExprClass:
      return eval(cast<ChooseExpr>(e)->getChosenSubExpr(), out);
    case Stmt::GenericSelectionExprClass:
      return eval(cast<GenericSelectionExpr>(e)->getResultExpr(), out);
    case Stmt::DeclRefExprClass: {
      const ValueDecl* d = cast<DeclRefExpr>(e)->getDecl();
      if (const auto* ec = dyn_cast<EnumConstantDecl>(d)) {
        out = make_int(enum_value(u, ec), type_of(e));
        return true;
      }
      return false;
    }
    case Stmt::ImplicitCastExprClass:
    case Stmt::CStyleCastExprClass:
      return conversion(llvm::cast<CastExpr>(e), out);
    case Stmt::UnaryOperatorClass:
      return unary(cast<UnaryOperator>(e), out);
    case Stmt::BinaryOperatorClass:
      return binary(cast<BinaryOperator>(e), out);
    case Stmt::ConditionalOperatorClass: {
      const auto* c = cast<ConditionalOperator>(e);
      CVALUE cond;
      if (!eval(c->getCond(), cond)) return false;
      return eval(truth(cond) ? c->getTrueExpr() : c->getFalseExpr(), out);
    }
    case Stmt::BinaryConditionalOperatorClass: {
      const auto* c = cast<BinaryConditionalOperator>(e);
      CVALUE cond;
      if (!eval(c->getCommon(), cond)) return false;
      if (truth(cond)) {
        out = cond;
        return true;
      }
      return eval(c->getFalseExpr(), out);
    }
    case Stmt::UnaryExprOrTypeTraitExprClass: {
      const auto* s = cast<UnaryExprOrTypeTraitExpr>(e);
      QualType t = s->getTypeOfArgument();
      if (t->isVariablyModifiedType()) return false;
      uint32_t bits;
      if (s->getKind() == UETT_SizeOf)
        bits = size_bits(u, t, e->getExprLoc());
      else if (s->getKind() == UETT_AlignOf || s->getKind() == UETT_PreferredAlignOf)
        bits = align_bits(u, t, e->getExprLoc());
      else
        return false;
      out = make_int(bits / kUnitBits, type_of(e));
      return true;
    }
    case Stmt::OffsetOfExprClass:
      return offset_of(cast<OffsetOfExpr>(e), out);
    case Stmt::CallExprClass:
      return call(cast<CallExpr>(e), out);
    case Stmt::CompoundLiteralExprClass:
    case Stmt::StringLiteralClass:
    case Stmt::PredefinedExprClass:
      return false;  // arrays: only their addresses are constants
    default:
      return false;
  }
}

// The address of an lvalue with static storage, as ADDR.
bool EVAL::lvalue(const clang::Expr* e, CVALUE& out) {
  using namespace clang;
  e = e->IgnoreParens();
  out = CVALUE();
  out.kind = CVALUE::ADDR;
  switch (e->getStmtClass()) {
    case Stmt::DeclRefExprClass: {
      const ValueDecl* d = llvm::cast<DeclRefExpr>(e)->getDecl();
      if (const auto* v = dyn_cast<VarDecl>(d)) {
        if (!v->hasGlobalStorage()) return false;
      } else if (!isa<FunctionDecl>(d)) {
        return false;
      }
      out.decl = d;
      return true;
    }
    case Stmt::StringLiteralClass:
      out.literal = e;
      return true;
    case Stmt::PredefinedExprClass:
      out.literal = llvm::cast<PredefinedExpr>(e)->getFunctionName();
      return out.literal != nullptr;
    case Stmt::CompoundLiteralExprClass:
      if (!llvm::cast<CompoundLiteralExpr>(e)->isFileScope()) return false;
      out.literal = e;
      return true;
    case Stmt::MemberExprClass: {
      const auto* m = llvm::cast<MemberExpr>(e);
      const auto* fd = dyn_cast<FieldDecl>(m->getMemberDecl());
      if (!fd || fd->isBitField()) return false;
      if (m->isArrow() ? !eval(m->getBase(), out) : !lvalue(m->getBase(), out)) return false;
      if (out.kind != CVALUE::ADDR) return false;
      out.offset += field_place(u, fd).offset / kUnitBits;
      return true;
    }
    case Stmt::ArraySubscriptExprClass: {
      const auto* a = llvm::cast<ArraySubscriptExpr>(e);
      CVALUE base, idx;
      if (!eval(a->getBase(), base) || base.kind != CVALUE::ADDR) return false;
      if (!eval(a->getIdx(), idx) || idx.kind != CVALUE::INT) return false;
      out = base;
      out.offset += idx.i * static_cast<int64_t>(size_bits(u, e->getType(), e->getExprLoc()) / kUnitBits);
      return true;
    }
    case Stmt::UnaryOperatorClass: {
      const auto* uo = llvm::cast<UnaryOperator>(e);
      if (uo->getOpcode() != UO_Deref) return false;
      return eval(uo->getSubExpr(), out) && out.kind == CVALUE::ADDR;
    }
    default:
      return false;
  }
}

bool EVAL::conversion(const clang::CastExpr* e, CVALUE& out) {
  using namespace clang;
  const Expr* sub = e->getSubExpr();
  TYPE* to = type_of(e);
  switch (e->getCastKind()) {
    case CK_ArrayToPointerDecay:
    case CK_FunctionToPointerDecay:
      return lvalue(sub, out);
    case CK_NullToPointer:
      out = CVALUE();
      out.kind = CVALUE::ADDR;
      return true;
    case CK_LValueToRValue: {
      // A const object with a constant initialiser, which Clang folds too.
      const auto* ref = dyn_cast<DeclRefExpr>(sub->IgnoreParens());
      const auto* v = ref ? dyn_cast<VarDecl>(ref->getDecl()) : nullptr;
      if (!v || !v->getType().isConstQualified() || v->getType().isVolatileQualified() || !v->getInit())
        return false;
      if (!eval(v->getInit(), out)) return false;
      return out.kind != CVALUE::ADDR;
    }
    case CK_NoOp:
    case CK_BitCast:
    case CK_ToVoid:
      return eval(sub, out);
    default:
      break;
  }
  CVALUE v;
  if (!eval(sub, v)) return false;
  switch (e->getCastKind()) {
    case CK_IntegralCast:
    case CK_IntegralToBoolean:
    case CK_BooleanToSignedIntegral:
      if (v.kind == CVALUE::ADDR && !v.decl && !v.literal) {
        v = make_int(v.offset, to);
      }
      if (v.kind != CVALUE::INT) return false;
      if (e->getCastKind() == CK_IntegralToBoolean) out = make_int(v.i != 0, to);
      else if (e->getCastKind() == CK_BooleanToSignedIntegral) out = make_int(v.i ? -1 : 0, to);
      else out = make_int(v.i, to);
      return true;
    case CK_IntegralToFloating:
      if (v.kind != CVALUE::INT) return false;
      out = make_float(is_unsigned_type(v.type) ? static_cast<float>(static_cast<uint64_t>(v.i))
                                                : static_cast<float>(v.i),
                       to);
      return true;
    case CK_FloatingToIntegral: {
      if (v.kind != CVALUE::FLOAT || std::isnan(v.f)) return false;
      double t = std::trunc(v.f);
      if (t < -9.2e18 || t > 9.2e18) return false;
      out = make_int(static_cast<int64_t>(t), to);
      return true;
    }
    case CK_FloatingToBoolean:
      if (v.kind != CVALUE::FLOAT) return false;
      out = make_int(v.f != 0, to);
      return true;
    case CK_FloatingCast:
      if (v.kind != CVALUE::FLOAT) return false;
      out = make_float(v.f, to);
      return true;
    case CK_PointerToBoolean:
      if (v.kind != CVALUE::ADDR) return false;
      out = make_int(truth(v), to);
      return true;
    case CK_IntegralToPointer:
      if (v.kind == CVALUE::ADDR) {
        out = v;
        return true;
      }
      if (v.kind != CVALUE::INT) return false;
      out = CVALUE();
      out.kind = CVALUE::ADDR;
      out.offset = static_cast<int64_t>(static_cast<uint64_t>(v.i) & 0xffff);
      return true;
    case CK_PointerToIntegral:
      if (v.kind != CVALUE::ADDR) return false;
      if (!v.decl && !v.literal) {
        out = make_int(v.offset, to);
        return true;
      }
      out = v;  // an address used as an integer constant in an initialiser
      return true;
    default:
      return false;
  }
}

bool EVAL::unary(const clang::UnaryOperator* e, CVALUE& out) {
  using namespace clang;
  if (e->getOpcode() == UO_AddrOf) return lvalue(e->getSubExpr(), out);
  if (e->getOpcode() == UO_Extension || e->getOpcode() == UO_Plus) return eval(e->getSubExpr(), out);
  CVALUE v;
  if (!eval(e->getSubExpr(), v)) return false;
  TYPE* t = type_of(e);
  switch (e->getOpcode()) {
    case UO_Minus:
      if (v.kind == CVALUE::INT) out = make_int(static_cast<int64_t>(0ull - static_cast<uint64_t>(v.i)), t);
      else if (v.kind == CVALUE::FLOAT) out = make_float(-v.f, t);
      else return false;
      return true;
    case UO_Not:
      if (v.kind != CVALUE::INT) return false;
      out = make_int(~v.i, t);
      return true;
    case UO_LNot:
      if (v.kind == CVALUE::NONE) return false;
      out = make_int(!truth(v), t);
      return true;
    default:
      return false;
  }
}

bool EVAL::binary(const clang::BinaryOperator* e, CVALUE& out) {
  using namespace clang;
  BinaryOperatorKind op = e->getOpcode();
  TYPE* t = type_of(e);
  CVALUE a, b;
  if (op == BO_LAnd || op == BO_LOr) {
    if (!eval(e->getLHS(), a) || a.kind == CVALUE::NONE) return false;
    if (op == BO_LAnd && !truth(a)) return out = make_int(0, t), true;
    if (op == BO_LOr && truth(a)) return out = make_int(1, t), true;
    if (!eval(e->getRHS(), b) || b.kind == CVALUE::NONE) return false;
    out = make_int(truth(b), t);
    return true;
  }
  if (op == BO_Comma) return eval(e->getLHS(), a) && eval(e->getRHS(), out);
  if (!eval(e->getLHS(), a) || !eval(e->getRHS(), b)) return false;
  // Address arithmetic: pointer plus or minus an integer, pointer difference.
  if (a.kind == CVALUE::ADDR || b.kind == CVALUE::ADDR) {
    if ((op == BO_Add || op == BO_Sub) && a.kind == CVALUE::ADDR && b.kind == CVALUE::INT) {
      int64_t step = elem_units(u, e->getLHS()->getType(), e->getExprLoc());
      out = a;
      out.offset += (op == BO_Add ? b.i : -b.i) * step;
      return true;
    }
    if (op == BO_Add && b.kind == CVALUE::ADDR && a.kind == CVALUE::INT) {
      int64_t step = elem_units(u, e->getRHS()->getType(), e->getExprLoc());
      out = b;
      out.offset += a.i * step;
      return true;
    }
    if (op == BO_Sub && a.kind == CVALUE::ADDR && b.kind == CVALUE::ADDR && a.decl == b.decl &&
        a.literal == b.literal) {
      int64_t step = elem_units(u, e->getLHS()->getType(), e->getExprLoc());
      out = make_int(step ? (a.offset - b.offset) / step : 0, t);
      return true;
    }
    if ((op == BO_EQ || op == BO_NE) && a.decl == b.decl && a.literal == b.literal) {
      bool eq = a.offset == b.offset;
      out = make_int(op == BO_EQ ? eq : !eq, t);
      return true;
    }
    return false;
  }
  if (a.kind == CVALUE::FLOAT || b.kind == CVALUE::FLOAT) {
    if (a.kind != CVALUE::FLOAT || b.kind != CVALUE::FLOAT) return false;
    float x = static_cast<float>(a.f), y = static_cast<float>(b.f);
    switch (op) {
      case BO_Add: out = make_float(static_cast<float>(x + y), t); return true;
      case BO_Sub: out = make_float(static_cast<float>(x - y), t); return true;
      case BO_Mul: out = make_float(static_cast<float>(x * y), t); return true;
      case BO_Div: out = make_float(static_cast<float>(x / y), t); return true;
      case BO_LT: out = make_int(x < y, t); return true;
      case BO_GT: out = make_int(x > y, t); return true;
      case BO_LE: out = make_int(x <= y, t); return true;
      case BO_GE: out = make_int(x >= y, t); return true;
      case BO_EQ: out = make_int(x == y, t); return true;
      case BO_NE: out = make_int(x != y, t); return true;
      default: return false;
    }
  }
  if (a.kind != CVALUE::INT || b.kind != CVALUE::INT) return false;
  // Comparisons look at the operands' type, arithmetic at the result's.
  bool uns = is_unsigned_type(a.type);
  uint64_t ua = static_cast<uint64_t>(a.i), ub = static_cast<uint64_t>(b.i);
  uint32_t bits = type_bits(a.type);
  if (uns && bits < 64) {
    ua &= (1ull << bits) - 1;
    ub &= (1ull << bits) - 1;
  }
  switch (op) {
    case BO_LT: out = make_int(uns ? ua < ub : a.i < b.i, t); return true;
    case BO_GT: out = make_int(uns ? ua > ub : a.i > b.i, t); return true;
    case BO_LE: out = make_int(uns ? ua <= ub : a.i <= b.i, t); return true;
    case BO_GE: out = make_int(uns ? ua >= ub : a.i >= b.i, t); return true;
    case BO_EQ: out = make_int(a.i == b.i, t); return true;
    case BO_NE: out = make_int(a.i != b.i, t); return true;
    default: break;
  }
  uns = is_unsigned_type(t);
  bits = type_bits(t);
  switch (op) {
    case BO_Add: out = make_int(static_cast<int64_t>(ua + ub), t); return true;
    case BO_Sub: out = make_int(static_cast<int64_t>(ua - ub), t); return true;
    case BO_Mul: out = make_int(static_cast<int64_t>(ua * ub), t); return true;
    case BO_Div:
    case BO_Rem: {
      if (b.i == 0) return false;
      int64_t r;
      if (uns) r = static_cast<int64_t>(op == BO_Div ? ua / ub : ua % ub);
      else if (b.i == -1) r = op == BO_Div ? -a.i : 0;
      else r = op == BO_Div ? a.i / b.i : a.i % b.i;
      out = make_int(r, t);
      return true;
    }
    case BO_And: out = make_int(a.i & b.i, t); return true;
    case BO_Or: out = make_int(a.i | b.i, t); return true;
    case BO_Xor: out = make_int(a.i ^ b.i, t); return true;
    case BO_Shl:
    case BO_Shr: {
      if (b.i < 0 || b.i >= bits) return false;
      if (op == BO_Shl) out = make_int(static_cast<int64_t>(ua << b.i), t);
      else if (uns) out = make_int(static_cast<int64_t>(ua >> b.i), t);
      else out = make_int(a.i >> b.i, t);
      return true;
    }
    default:
      return false;
  }
}

bool EVAL::call(const clang::CallExpr* e, CVALUE& out) {
  unsigned id = e->getBuiltinCallee();
  if (!id) return false;
  TYPE* t = type_of(e);
  switch (id) {
    case clang::Builtin::BI__builtin_constant_p: {
      CVALUE v;
      bool c = e->getNumArgs() == 1 && eval(e->getArg(0), v) &&
               (v.kind == CVALUE::INT || v.kind == CVALUE::FLOAT);
      out = make_int(c, t);
      return true;
    }
    case clang::Builtin::BI__builtin_expect:
      return eval(e->getArg(0), out);
    case clang::Builtin::BI__builtin_inf:
    case clang::Builtin::BI__builtin_inff:
    case clang::Builtin::BI__builtin_infl:
    case clang::Builtin::BI__builtin_huge_val:
    case clang::Builtin::BI__builtin_huge_valf:
    case clang::Builtin::BI__builtin_huge_vall:
      out = make_float(std::numeric_limits<float>::infinity(), t);
      return true;
    case clang::Builtin::BI__builtin_nan:
    case clang::Builtin::BI__builtin_nanf:
    case clang::Builtin::BI__builtin_nanl:
      out = make_float(std::numeric_limits<float>::quiet_NaN(), t);
      return true;
    default:
      return false;
  }
}

bool EVAL::offset_of(const clang::OffsetOfExpr* e, CVALUE& out) {
  using namespace clang;
  int64_t bits = 0;
  QualType cur = e->getTypeSourceInfo()->getType();
  for (unsigned i = 0; i < e->getNumComponents(); ++i) {
    const OffsetOfNode& n = e->getComponent(i);
    switch (n.getKind()) {
      case OffsetOfNode::Field: {
        const FieldDecl* fd = n.getField();
        const FIELD_PLACE& p = field_place(u, fd);
        if (p.bitfield) return false;
        bits += p.offset;
        cur = fd->getType();
        break;
      }
      case OffsetOfNode::Array: {
        CVALUE idx;
        if (!eval(e->getIndexExpr(n.getArrayExprIndex()), idx) || idx.kind != CVALUE::INT) return false;
        const clang::ArrayType* at = u.ctx.getAsArrayType(cur);
        if (!at) return false;
        cur = at->getElementType();
        bits += idx.i * static_cast<int64_t>(size_bits(u, cur, e->getExprLoc()));
        break;
      }
      default:
        return false;
    }
  }
  out = make_int(bits / kUnitBits, type_of(e));
  return true;
}

}  // namespace

int64_t truncate_int(int64_t v, TYPE* t) {
  if (is_bool_type(t)) return v != 0;
  if (is_float_type(t)) return v;
  uint32_t bits = type_bits(t);
  if (bits == 0 || bits >= 64) return v;
  uint64_t mask = (1ull << bits) - 1;
  uint64_t x = static_cast<uint64_t>(v) & mask;
  if (!is_unsigned_type(t) && (x >> (bits - 1)) & 1) x |= ~mask;
  return static_cast<int64_t>(x);
}

float to_binary32(const llvm::APFloat& v) {
  llvm::APFloat f = v;
  bool lost = false;
  f.convert(llvm::APFloat::IEEEsingle(), llvm::APFloat::rmNearestTiesToEven, &lost);
  return f.convertToFloat();
}

bool eval_const(UNIT& u, const clang::Expr* e, CVALUE& out) {
  EVAL ev{u};
  out = CVALUE();
  return ev.eval(e, out);
}

int64_t eval_int(UNIT& u, const clang::Expr* e, const char* what) {
  CVALUE v;
  if (!eval_const(u, e, v) || v.kind != CVALUE::INT)
    refuse(u, std::string(what) + " that is not an integer constant", e->getExprLoc());
  return v.i;
}

int64_t enum_value(UNIT& u, const clang::EnumConstantDecl* ec) {
  auto it = u.enum_values.find(ec);
  if (it != u.enum_values.end()) return it->second;
  const auto* ed = llvm::cast<clang::EnumDecl>(ec->getDeclContext());
  int64_t next = 0;
  TYPE* t = tp->basic[TYPE_PKG::BT_INT];
  for (const clang::EnumConstantDecl* e : ed->enumerators()) {
    int64_t v = e->getInitExpr() ? eval_int(u, e->getInitExpr(), "enumerator value") : next;
    // Clang widens enumerators past int as an extension; Rill has no wider type.
    if (!e->getInitExpr() && v > 0xffffffffll) refuse(u, "enumerator value out of range", e->getLocation());
    u.enum_values[e] = v;
    next = truncate_int(v + 1, v + 1 > 2147483647 ? tp->basic[TYPE_PKG::BT_UINT] : t);
    if (e == ec) break;
  }
  return u.enum_values[ec];
}

}  // namespace c2i
