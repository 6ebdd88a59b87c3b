// Expressions as trees. Clang has made every conversion of C explicit in
// its AST; each becomes SCONV or PCONV between Rill types. Pointer
// arithmetic is scaled to units here, lvalues stay lvalue trees (NAME,
// UMULT, STDOT, STREF), and a structure value that must be an lvalue but
// is not one goes through a temporary.
#include <clang/AST/ExprCXX.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

TYPE* type_of(UNIT& u, const clang::Expr* e) { return rill_type(u, e->getType(), e->getExprLoc()); }
TYPE* rvalue_type(UNIT& u, const clang::Expr* e) {
  return rill_unqualified(u, e->getType(), e->getExprLoc());
}
TYPE* pointer_to(TYPE* t) { return tp->mk_ptr(t); }

NODE* constant(UNIT& u, const clang::Expr* e) {
  CVALUE v;
  if (!eval_const(u, e, v)) refuse(u, "constant", e->getExprLoc());
  if (v.kind == CVALUE::INT) return icon(v.i, v.type);
  if (v.kind == CVALUE::FLOAT) return fcon(static_cast<float>(v.f), v.type);
  refuse(u, "constant", e->getExprLoc());
}

// `n` multiplied by a unit count, for pointer arithmetic.
NODE* scale(NODE* n, uint32_t units) {
  if (units == 1) return n;
  if (n->op == ICON) {
    int64_t v = is_unsigned_type(n->type) ? static_cast<int64_t>(n->value.as_uint64()) : n->value.as_int64();
    return icon(v * units, n->type);
  }
  return tree(MULT, n, icon(units, n->type), n->type);
}

// `n` multiplied by a unit count that is known only at run time (the
// elements of a variable-length array), or by a constant one.
NODE* scale_by(NODE* n, NODE* units) {
  if (units->op == ICON) return scale(n, static_cast<uint32_t>(units->value.as_int64()));
  TYPE* it = strip_quals(n->type);
  if (it->kind != TYPE::KIND_INTEGRAL || it->size < 32) it = tp->basic[TYPE_PKG::BT_INT];
  return tree(MULT, convert(n, it), convert(units, it), it);
}

bool is_pointer(const clang::Expr* e) { return e->getType()->isPointerType(); }

// sizeof and _Alignof of a variably modified type: the size from the
// counts taken when the type was declared.
NODE* vla_trait(UNIT& u, const clang::UnaryExprOrTypeTraitExpr* s) {
  clang::QualType t = s->getTypeOfArgument();
  TYPE* rt = rvalue_type(u, s);
  if (s->getKind() == clang::UETT_SizeOf) {
    if (!s->isArgumentType() && s->getArgumentExpr()->HasSideEffects(u.ctx))
      refuse(u, "sizeof of a variable-length array expression with side effects", s->getExprLoc());
    return convert(size_units_tree(u, t, s->getExprLoc()), rt);
  }
  if (s->getKind() == clang::UETT_AlignOf || s->getKind() == clang::UETT_PreferredAlignOf)
    return icon(align_bits(u, u.ctx.getBaseElementType(t), s->getExprLoc()) / kUnitBits, rt);
  refuse(u, "this operator on a variable-length array", s->getExprLoc());
}

NODE* string_literal(UNIT& u, const clang::StringLiteral* s) {
  TYPE* t = type_of(u, s);
  if (s->getCharByteWidth() != 1) return name_node(literal_object(u, s, t, "wstr"));
  return scon_node(s->getBytes().str(), t);
}

NODE* decl_ref(UNIT& u, const clang::DeclRefExpr* e) {
  const clang::ValueDecl* d = e->getDecl();
  if (const auto* ec = llvm::dyn_cast<clang::EnumConstantDecl>(d)) return icon(enum_value(u, ec), type_of(u, e));
  if (const auto* v = llvm::dyn_cast<clang::VarDecl>(d)) {
    if (v->hasLocalStorage()) {
      if (!u.fn) refuse(u, "local variable outside a function", e->getExprLoc());
      auto it = u.fn->vars.find(v);
      if (it == u.fn->vars.end()) refuse(u, "reference to an unknown local", e->getExprLoc());
      if (is_vla_object(v)) return vla_object(u, v, it->second);
      return name_node(it->second);
    }
    return flex_head(u, name_node(global_symbol(u, v)), type_of(u, e));
  }
  if (llvm::isa<clang::FunctionDecl>(d)) return name_node(global_symbol(u, d));
  refuse(u, "reference to '" + d->getName().str() + "'", e->getExprLoc());
}

NODE* bool_of(NODE* n) {
  if (boolean_result[n->op]) return n;
  return tree(NEQ, n, zero_of(n->type), tp->basic[TYPE_PKG::BT_INT]);
}

NODE* cast_expr(UNIT& u, const clang::CastExpr* e) {
  using namespace clang;
  const Expr* sub = e->getSubExpr();
  switch (e->getCastKind()) {
    case CK_LValueToRValue:
    case CK_NoOp:
    case CK_ToVoid:
    case CK_NonAtomicToAtomic:
    case CK_AtomicToNonAtomic:
      if (e->getCastKind() == CK_NonAtomicToAtomic || e->getCastKind() == CK_AtomicToNonAtomic)
        refuse(u, "_Atomic type", e->getExprLoc());
      return translate_expr(u, sub);
    case CK_ArrayToPointerDecay: {
      NODE* a = sub->getType()->isRecordType() ? struct_lvalue(u, sub) : translate_expr(u, sub);
      if (!is_lvalue_node(a)) a = materialize(u, a, a->type);
      return addr_of(a, rvalue_type(u, e));
    }
    case CK_FunctionToPointerDecay: {
      NODE* f = translate_expr(u, sub);
      if (f->op == UMULT) return convert(f->left, rvalue_type(u, e));  // (*fp) is fp
      return tree(UAND, f, nullptr, rvalue_type(u, e));
    }
    case CK_NullToPointer:
      return null_pointer(rvalue_type(u, e));
    case CK_IntegralToBoolean:
    case CK_FloatingToBoolean:
    case CK_PointerToBoolean:
      return convert(bool_of(translate_expr(u, sub)), rvalue_type(u, e));
    case CK_BooleanToSignedIntegral: {
      NODE* b = convert(translate_expr(u, sub), rvalue_type(u, e));
      return tree(UMINUS, b, nullptr, rvalue_type(u, e));
    }
    case CK_IntegralCast:
    case CK_IntegralToFloating:
    case CK_FloatingToIntegral:
    case CK_FloatingCast:
    case CK_IntegralToPointer:
    case CK_PointerToIntegral:
    case CK_BitCast:
      return convert(translate_expr(u, sub), rvalue_type(u, e));
    case CK_ToUnion:
      refuse(u, "cast to a union", e->getExprLoc());
    case CK_BuiltinFnToFnPtr:
      refuse(u, "address of a builtin function", e->getExprLoc());
    default:
      refuse(u, std::string("conversion '") + e->getCastKindName() + "'", e->getExprLoc());
  }
}

NODE* stable_lvalue(UNIT& u, NODE* l, NODE*& prelude);

NODE* inc_dec(UNIT& u, const clang::UnaryOperator* e) {
  const clang::Expr* sub = e->getSubExpr();
  if (sub->getType()->isBooleanType()) refuse(u, "++ or -- on _Bool", e->getExprLoc());
  NODE* l = translate_expr(u, sub);
  TYPE* t = rvalue_type(u, sub);
  NODE* step;
  if (is_pointer(sub)) step = elem_size_tree(u, sub->getType(), e->getExprLoc());
  else if (sub->getType()->isRealFloatingType()) step = fcon(1.0f, t);
  else step = icon(1, t);
  if (step->op == ICON && is_pointer(sub)) step = icon(step->value.as_int64(), tp->basic[TYPE_PKG::BT_INT]);
  bool post = e->getOpcode() == clang::UO_PostInc || e->getOpcode() == clang::UO_PostDec;
  bool up = e->getOpcode() == clang::UO_PostInc || e->getOpcode() == clang::UO_PreInc;
  if (step->op != ICON && step->op != FCON) {
    // A pointer to a variable-length array steps by a size known at run
    // time; the postfix forms take a constant step, so they are spelled out.
    step = convert(step, tp->basic[TYPE_PKG::BT_INT]);
    if (!post) return tree(up ? PLUSASG : MINUSASG, l, step, t);
    NODE* prelude;
    NODE* target = stable_lvalue(u, l, prelude);
    SYMTAB* old = temp_symbol(u, t);
    NODE* n = tree(COMMAOP, mk_ASG(name_node(old), copy_tree(target, false)),
                   tree(COMMAOP, tree(up ? PLUSASG : MINUSASG, target, step, t), name_node(old), t), t);
    return prelude ? tree(COMMAOP, prelude, n, t) : n;
  }
  int op = post ? (up ? PLUSPLUS : MINMIN) : (up ? PLUSASG : MINUSASG);
  return tree(op, l, step, t);
}

NODE* unary(UNIT& u, const clang::UnaryOperator* e) {
  using namespace clang;
  const Expr* sub = e->getSubExpr();
  switch (e->getOpcode()) {
    case UO_AddrOf: {
      NODE* l = sub->getType()->isRecordType() ? struct_lvalue(u, sub) : translate_expr(u, sub);
      if (!is_lvalue_node(l)) refuse(u, "address of a value that is not an object", e->getExprLoc());
      return addr_of(l, rvalue_type(u, e));
    }
    case UO_Deref:
      return tree(UMULT, translate_expr(u, sub), nullptr, type_of(u, e));
    case UO_Plus:
    case UO_Extension:
      return translate_expr(u, sub);
    case UO_Minus:
      return tree(UMINUS, translate_expr(u, sub), nullptr, rvalue_type(u, e));
    case UO_Not:
      return tree(NOTB, translate_expr(u, sub), nullptr, rvalue_type(u, e));
    case UO_LNot:
      return tree(EXCLAIM, translate_expr(u, sub), nullptr, rvalue_type(u, e));
    case UO_PostInc:
    case UO_PostDec:
    case UO_PreInc:
    case UO_PreDec:
      return inc_dec(u, e);
    default:
      refuse(u, std::string("operator '") + UnaryOperator::getOpcodeStr(e->getOpcode()).str() + "'",
             e->getExprLoc());
  }
}

int compare_op(clang::BinaryOperatorKind k, bool uns) {
  switch (k) {
    case clang::BO_LT: return uns ? ULT : LT;
    case clang::BO_GT: return uns ? UGT : GT;
    case clang::BO_LE: return uns ? ULE : LE;
    case clang::BO_GE: return uns ? UGE : GE;
    case clang::BO_EQ: return EQ;
    default: return NEQ;
  }
}

int arith_op(clang::BinaryOperatorKind k) {
  switch (k) {
    case clang::BO_Mul: case clang::BO_MulAssign: return MULT;
    case clang::BO_Div: case clang::BO_DivAssign: return DIV;
    case clang::BO_Rem: case clang::BO_RemAssign: return MOD;
    case clang::BO_Add: case clang::BO_AddAssign: return PLUS;
    case clang::BO_Sub: case clang::BO_SubAssign: return MINUS;
    case clang::BO_Shl: case clang::BO_ShlAssign: return SLL;
    case clang::BO_Shr: case clang::BO_ShrAssign: return SRL;
    case clang::BO_And: case clang::BO_AndAssign: return ANDB;
    case clang::BO_Xor: case clang::BO_XorAssign: return XORB;
    default: return ORB;
  }
}

int assign_op(int op) {
  switch (op) {
    case MULT: return MULTASG;
    case DIV: return DIVASG;
    case MOD: return MODASG;
    case PLUS: return PLUSASG;
    case MINUS: return MINUSASG;
    case SLL: return SLLASG;
    case SRL: return SRLASG;
    case ANDB: return ANDBASG;
    case XORB: return XORBASG;
    default: return ORBASG;
  }
}

NODE* assignment(UNIT& u, const clang::BinaryOperator* e) {
  const clang::Expr* rhs = e->getRHS();
  NODE* l = translate_expr(u, e->getLHS());
  NODE* r;
  if (rhs->getType()->isRecordType()) {
    r = translate_expr(u, rhs);
    if (!is_lvalue_node(r) && r->op != CALL && r->op != UCALL) r = materialize(u, r, r->type);
  } else {
    r = convert(translate_expr(u, rhs), rvalue_type(u, e->getLHS()));
  }
  NODE* n = mk_ASG(l, r);
  n->type = rvalue_type(u, e->getLHS());
  n->cast_type = n->type;
  return n;
}

// Two integer types that hold the same values.
bool same_values(TYPE* a, TYPE* b) {
  a = strip_quals(a);
  b = strip_quals(b);
  if (a == b) return true;
  if (a->kind == TYPE::KIND_ENUM) a = a->underlying_type();
  if (b->kind == TYPE::KIND_ENUM) b = b->underlying_type();
  return a->kind == TYPE::KIND_INTEGRAL && b->kind == TYPE::KIND_INTEGRAL && a->size == b->size &&
         is_unsigned_type(a) == is_unsigned_type(b) && a->ikind != TYPE::IK_BOOL && b->ikind != TYPE::IK_BOOL;
}

// An lvalue that may be named twice: a NAME, or the object behind a
// temporary pointer (`prelude` then sets the temporary). A bit-field keeps
// its member access with only the structure's address in the temporary.
NODE* stable_lvalue(UNIT& u, NODE* l, NODE*& prelude) {
  prelude = nullptr;
  if (l->op == NAME) return l;
  if (l->op == STDOT && l->left->op == NAME) return l;
  if (l->op == STREF && l->left->op == NAME) return l;
  if (l->op == STDOT || l->op == STREF) {
    NODE* base = l->op == STDOT ? addr_of(l->left, pointer_to(strip_quals(l->left->type))) : l->left;
    SYMTAB* t = temp_symbol(u, base->type);
    prelude = mk_ASG(name_node(t), base);
    return tree(STREF, name_node(t), l->right, l->type);
  }
  NODE* addr = addr_of(l, pointer_to(l->type));
  SYMTAB* t = temp_symbol(u, addr->type);
  prelude = mk_ASG(name_node(t), addr);
  return tree(UMULT, name_node(t), nullptr, l->type);
}

NODE* compound_assignment(UNIT& u, const clang::CompoundAssignOperator* e) {
  const clang::Expr* lhs = e->getLHS();
  TYPE* lt = rvalue_type(u, lhs);
  TYPE* ct = rill_unqualified(u, e->getComputationLHSType(), e->getExprLoc());
  int op = arith_op(e->getOpcode());
  NODE* l = translate_expr(u, lhs);
  NODE* r = translate_expr(u, e->getRHS());
  if (lhs->getType()->isBooleanType()) refuse(u, "compound assignment to _Bool", e->getExprLoc());
  if (is_pointer(lhs)) return tree(assign_op(op), l, scale_by(r, elem_size_tree(u, lhs->getType(), e->getExprLoc())), lt);
  if (same_values(lt, ct)) return tree(assign_op(op), l, convert(r, lt), lt);
  // The operation happens in another type than the object's: spell it out.
  NODE* prelude;
  NODE* target = stable_lvalue(u, l, prelude);
  NODE* value = tree(op, convert(copy_tree(target, false), ct),
                     op == SLL || op == SRL ? convert(r, ct) : convert(r, ct), ct);
  NODE* n = tree(ASG, target, convert(value, lt), lt);
  return prelude ? tree(COMMAOP, prelude, n, lt) : n;
}

NODE* binary(UNIT& u, const clang::BinaryOperator* e) {
  using namespace clang;
  BinaryOperatorKind k = e->getOpcode();
  if (k == BO_Assign) return assignment(u, e);
  if (const auto* ca = dyn_cast<CompoundAssignOperator>(e)) return compound_assignment(u, ca);
  const Expr* lhs = e->getLHS();
  const Expr* rhs = e->getRHS();
  TYPE* t = rvalue_type(u, e);
  if ((k == BO_Comma || k == BO_LAnd || k == BO_LOr) && u.fn && contains_stmt_expr(rhs))
    return translate_sequenced(u, e);
  if (k == BO_Comma) {
    NODE* l = translate_expr(u, lhs);
    NODE* r = translate_expr(u, rhs);
    return tree(COMMAOP, l, r, r->type);
  }
  if (k == BO_LAnd || k == BO_LOr) {
    NODE* l = translate_expr(u, lhs);
    NODE* r = translate_expr(u, rhs);
    return tree(k == BO_LAnd ? ANDAND : OROR, l, r, t);
  }
  NODE* l = translate_expr(u, lhs);
  NODE* r = translate_expr(u, rhs);
  if (e->isComparisonOp()) {
    TYPE* opnd = rvalue_type(u, lhs);
    if (is_pointer(lhs) && !is_pointer(rhs)) r = convert(r, opnd);
    if (is_pointer(rhs) && !is_pointer(lhs)) l = convert(l, rvalue_type(u, rhs));
    return tree(compare_op(k, is_unsigned_type(l->type) || is_pointer(lhs)), l, r, t);
  }
  if ((k == BO_Add || k == BO_Sub) && (is_pointer(lhs) || is_pointer(rhs))) {
    if (is_pointer(lhs) && is_pointer(rhs)) {
      NODE* d = tree(MINUS, l, r, ptrdiff_type());
      NODE* units = elem_size_tree(u, lhs->getType(), e->getExprLoc());
      if (units->op != ICON || units->value.as_int64() != 1)
        d = tree(DIV, d, convert(units, ptrdiff_type()), ptrdiff_type());
      return convert(d, t);
    }
    if (is_pointer(rhs)) std::swap(l, r), std::swap(lhs, rhs);
    NODE* n = scale_by(r, elem_size_tree(u, lhs->getType(), e->getExprLoc()));
    return tree(k == BO_Add ? PLUS : MINUS, l, n, t);
  }
  int op = arith_op(k);
  if (op == SLL || op == SRL) r = convert(r, l->type);
  return tree(op, l, r, t);
}

NODE* conditional(UNIT& u, const clang::ConditionalOperator* e) {
  if (u.fn && (contains_stmt_expr(e->getTrueExpr()) || contains_stmt_expr(e->getFalseExpr())))
    return translate_sequenced(u, e);
  NODE* c = translate_expr(u, e->getCond());
  if (e->getType()->isRecordType()) {
    TYPE* st = rvalue_type(u, e);
    TYPE* pt = pointer_to(st);
    NODE* a = addr_of(struct_lvalue(u, e->getTrueExpr()), pt);
    NODE* b = addr_of(struct_lvalue(u, e->getFalseExpr()), pt);
    return tree(UMULT, tree(QUEST, c, tree(COLON, a, b, pt), pt), nullptr, st);
  }
  TYPE* t = rvalue_type(u, e);
  NODE* a = convert(translate_expr(u, e->getTrueExpr()), t);
  NODE* b = convert(translate_expr(u, e->getFalseExpr()), t);
  return tree(QUEST, c, tree(COLON, a, b, t), t);
}

NODE* binary_conditional(UNIT& u, const clang::BinaryConditionalOperator* e) {
  if (e->getType()->isRecordType()) refuse(u, "'?:' without a middle operand on structures", e->getExprLoc());
  if (u.fn && contains_stmt_expr(e->getFalseExpr())) return translate_sequenced(u, e);
  NODE* common = translate_expr(u, e->getCommon());
  SYMTAB* t = temp_symbol(u, common->type);
  u.opaque[e->getOpaqueValue()] = t;
  TYPE* rt = rvalue_type(u, e);
  NODE* a = convert(translate_expr(u, e->getTrueExpr()), rt);
  NODE* b = convert(translate_expr(u, e->getFalseExpr()), rt);
  NODE* set = mk_ASG(name_node(t), common);
  return tree(QUEST, set, tree(COLON, a, b, rt), rt);
}

NODE* member(UNIT& u, const clang::MemberExpr* e) {
  const auto* fd = llvm::dyn_cast<clang::FieldDecl>(e->getMemberDecl());
  if (!fd) refuse(u, "member that is not a field", e->getExprLoc());
  const FIELD_PLACE& place = field_place(u, fd);
  TYPE* record = record_layout(u, fd->getParent()).type;
  NODE* f = tree(FIELD, nullptr, nullptr, place.type);
  f->mk_field(1, place.member, record);
  TYPE* t = type_of(u, e);
  if (e->isArrow()) return tree(STREF, translate_expr(u, e->getBase()), f, t);
  return tree(STDOT, struct_lvalue(u, e->getBase()), f, t);
}

NODE* subscript(UNIT& u, const clang::ArraySubscriptExpr* e) {
  const clang::Expr* base = e->getBase();
  NODE* p = translate_expr(u, base);
  NODE* i = translate_expr(u, e->getIdx());
  NODE* addr = tree(PLUS, p, scale_by(i, elem_size_tree(u, base->getType(), e->getExprLoc())), p->type);
  return tree(UMULT, addr, nullptr, type_of(u, e));
}

NODE* compound_literal(UNIT& u, const clang::CompoundLiteralExpr* e) {
  TYPE* t = type_of(u, e);
  if (e->isFileScope() || !u.fn) return name_node(literal_object(u, e, t, "literal"));
  SYMTAB* obj = temp_symbol(u, t);
  std::vector<NODE*> sets;
  // The object is filled where the literal stands, then named.
  size_t mark = u.fn->items.size();
  init_lvalue(u, name_node(obj), e->getType(), e->getInitializer(), e->getExprLoc());
  // A statement expression in the initialiser leaves branches and labels,
  // and the statements stay where they are then: that is a place where
  // the whole expression runs (see translate_sequenced).
  for (size_t i = mark; i < u.fn->items.size(); ++i) {
    const BODY_ITEM& it = u.fn->items[i];
    if (it.kind != BODY_ITEM::EXPR || !it.tree || it.tree->op == BRANCH || it.tree->op == CBRANCH)
      return name_node(obj);
  }
  for (size_t i = mark; i < u.fn->items.size(); ++i) sets.push_back(u.fn->items[i].tree);
  u.fn->items.resize(mark);
  TYPE* pt = pointer_to(strip_quals(t));
  NODE* result = tree(UAND, name_node(obj), nullptr, pt);
  for (auto it = sets.rbegin(); it != sets.rend(); ++it) result = tree(COMMAOP, *it, result, pt);
  return tree(UMULT, result, nullptr, t);
}

}  // namespace

uint32_t elem_units(UNIT& u, clang::QualType pointer, clang::SourceLocation where) {
  clang::QualType pointee = pointer->getPointeeType();
  if (pointee.isNull()) {
    const clang::ArrayType* at = u.ctx.getAsArrayType(pointer);
    if (!at) refuse(u, "pointer arithmetic on a non-pointer", where);
    pointee = at->getElementType();
  }
  if (pointee->isVariablyModifiedType()) refuse(u, "pointer to a variable-length array", where);
  return size_bits(u, pointee, where) / kUnitBits;
}

NODE* materialize(UNIT& u, NODE* value, TYPE* type) {
  if (!u.fn) refuse(u, "structure value outside a function", clang::SourceLocation());
  TYPE* st = strip_quals(type);
  SYMTAB* t = temp_symbol(u, st);
  TYPE* pt = pointer_to(st);
  NODE* set = mk_ASG(name_node(t), value);
  NODE* seq = tree(COMMAOP, set, tree(UAND, name_node(t), nullptr, pt), pt);
  return tree(UMULT, seq, nullptr, st);
}

NODE* struct_lvalue(UNIT& u, const clang::Expr* e) {
  NODE* n = translate_expr(u, e);
  if (is_lvalue_node(n)) return n;
  return materialize(u, n, rvalue_type(u, e));
}

NODE* condition(UNIT& u, const clang::Expr* e, bool negate) {
  NODE* n = translate_expr(u, e);
  while (n->op == EXCLAIM) {
    negate = !negate;
    n = n->left;
  }
  if (!negate) return bool_of(n);
  bool comparison = n->op >= EQ && n->op <= UGT;
  bool floating = comparison && strip_quals(n->left->type)->kind == TYPE::KIND_FLOATING;
  if (comparison && (!floating || n->op == EQ || n->op == NEQ)) {
    n->op = boolean_inv[n->op];
    return n;
  }
  if (boolean_result[n->op]) return tree(EXCLAIM, n, nullptr, tp->basic[TYPE_PKG::BT_INT]);
  return tree(EQ, n, zero_of(n->type), tp->basic[TYPE_PKG::BT_INT]);
}

NODE* translate_expr(UNIT& u, const clang::Expr* e) {
  using namespace clang;
  switch (e->getStmtClass()) {
    case Stmt::IntegerLiteralClass:
    case Stmt::CharacterLiteralClass:
    case Stmt::FloatingLiteralClass:
    case Stmt::UnaryExprOrTypeTraitExprClass:
    case Stmt::OffsetOfExprClass:
      if (const auto* s = dyn_cast<UnaryExprOrTypeTraitExpr>(e))
        if (s->getTypeOfArgument()->isVariablyModifiedType()) return vla_trait(u, s);
      return constant(u, e);
    case Stmt::TypeTraitExprClass:
      return icon(cast<TypeTraitExpr>(e)->getValue(), rvalue_type(u, e));
    case Stmt::StringLiteralClass:
      return string_literal(u, cast<StringLiteral>(e));
    case Stmt::PredefinedExprClass:
      return string_literal(u, cast<PredefinedExpr>(e)->getFunctionName());
    case Stmt::DeclRefExprClass:
      return decl_ref(u, cast<DeclRefExpr>(e));
    case Stmt::ParenExprClass:
      return translate_expr(u, cast<ParenExpr>(e)->getSubExpr());
    case Stmt::ConstantExprClass:
      return translate_expr(u, cast<ConstantExpr>(e)->getSubExpr());
    case Stmt::ChooseExprClass:
      return translate_expr(u, cast<ChooseExpr>(e)->getChosenSubExpr());
    case Stmt::GenericSelectionExprClass:
      return translate_expr(u, cast<GenericSelectionExpr>(e)->getResultExpr());
    case Stmt::ImplicitCastExprClass:
    case Stmt::CStyleCastExprClass:
      return cast_expr(u, cast<CastExpr>(e));
    case Stmt::UnaryOperatorClass:
      return unary(u, cast<UnaryOperator>(e));
    case Stmt::BinaryOperatorClass:
    case Stmt::CompoundAssignOperatorClass:
      return binary(u, cast<BinaryOperator>(e));
    case Stmt::ConditionalOperatorClass:
      return conditional(u, cast<ConditionalOperator>(e));
    case Stmt::BinaryConditionalOperatorClass:
      return binary_conditional(u, cast<BinaryConditionalOperator>(e));
    case Stmt::OpaqueValueExprClass: {
      auto it = u.opaque.find(cast<OpaqueValueExpr>(e));
      if (it == u.opaque.end()) refuse(u, "expression form", e->getExprLoc());
      return name_node(it->second);
    }
    case Stmt::CallExprClass:
      return translate_call(u, cast<CallExpr>(e));
    case Stmt::MemberExprClass:
      return member(u, cast<MemberExpr>(e));
    case Stmt::ArraySubscriptExprClass:
      return subscript(u, cast<ArraySubscriptExpr>(e));
    case Stmt::CompoundLiteralExprClass:
      return compound_literal(u, cast<CompoundLiteralExpr>(e));
    case Stmt::ImplicitValueInitExprClass:
      return zero_of(rvalue_type(u, e));
    case Stmt::VAArgExprClass:
      return translate_va_arg(u, cast<VAArgExpr>(e));
    case Stmt::StmtExprClass:
      return translate_stmt_expr(u, cast<StmtExpr>(e));
    case Stmt::AddrLabelExprClass:
      refuse(u, "address of a label", e->getExprLoc());
    case Stmt::AtomicExprClass:
      refuse(u, "atomic operation", e->getExprLoc());
    case Stmt::InitListExprClass:
      refuse(u, "initialiser list in an expression", e->getExprLoc());
    default:
      refuse(u, std::string("expression '") + e->getStmtClassName() + "'", e->getExprLoc());
  }
}

}  // namespace c2i
