// Initialisers of automatic objects: one assignment per scalar that the
// initialiser names, in the order C evaluates them. When the initialiser
// leaves parts to zero, the object is cleared with memset first.
#include <clang/AST/Expr.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

const clang::Expr* strip(const clang::Expr* e) {
  for (;;) {
    if (const auto* p = llvm::dyn_cast<clang::ParenExpr>(e)) e = p->getSubExpr();
    else if (const auto* c = llvm::dyn_cast<clang::ConstantExpr>(e)) e = c->getSubExpr();
    else return e;
  }
}

const clang::StringLiteral* string_init(const clang::Expr* e) {
  e = strip(e);
  if (const auto* ile = llvm::dyn_cast<clang::InitListExpr>(e))
    if (ile->getNumInits() == 1) e = strip(ile->getInit(0));
  return llvm::dyn_cast<clang::StringLiteral>(e);
}

struct FILLER {
  UNIT& u;
  clang::SourceLocation loc;
  bool zeroed = false;

  uint32_t count_of(clang::QualType t, uint32_t esize) {
    return esize ? rill_type(u, t, loc)->size / esize : 0;
  }

  // Whether the initialiser leaves some part of the object to be zero.
  bool partial(clang::QualType t, const clang::Expr* init) {
    init = strip(init);
    if (llvm::isa<clang::ImplicitValueInitExpr>(init)) return true;
    if (t->isArrayType()) {
      const clang::ArrayType* at = u.ctx.getAsArrayType(t);
      uint32_t esize = size_bits(u, at->getElementType(), loc);
      uint32_t count = count_of(t, esize);
      if (const clang::StringLiteral* s = string_init(init)) return s->getLength() < count;
      const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init);
      if (!ile) return false;
      if (ile->getNumInits() < count) return true;
      for (unsigned i = 0; i < ile->getNumInits(); ++i)
        if (partial(at->getElementType(), ile->getInit(i))) return true;
      return false;
    }
    if (t->isRecordType()) {
      const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init);
      if (!ile) return false;
      const clang::RecordDecl* rd = t->getAsRecordDecl()->getDefinition();
      if (rd->isUnion()) return true;
      unsigned i = 0;
      for (const clang::FieldDecl* fd : rd->fields()) {
        if (fd->isUnnamedBitfield()) continue;
        if (i >= ile->getNumInits() || partial(fd->getType(), ile->getInit(i))) return true;
        ++i;
      }
      return false;
    }
    return false;
  }

  NODE* element(NODE* target, clang::QualType et, uint32_t index, uint32_t esize) {
    TYPE* elem = rill_type(u, et, loc);
    NODE* base = addr_of(copy_tree(target, false), tp->mk_ptr(strip_quals(elem)));
    NODE* at = index ? tree(PLUS, base, icon(index * (esize / kUnitBits), tp->basic[TYPE_PKG::BT_INT]), base->type)
                     : base;
    return tree(UMULT, at, nullptr, elem);
  }

  void zero(NODE* target, clang::QualType t) {
    if (zeroed) return;
    if (t->isArrayType() || t->isRecordType()) {
      clear(target, t);
      return;
    }
    emit(u, mk_ASG(copy_tree(target, false), zero_of(rill_type(u, t, loc))), loc);
  }

  // memset(&target, 0, sizeof target)
  void clear(NODE* target, clang::QualType t) {
    clang::ASTContext& c = u.ctx;
    clang::QualType ft = c.getFunctionType(c.VoidPtrTy, {c.VoidPtrTy, c.IntTy, c.getSizeType()},
                                           clang::FunctionProtoType::ExtProtoInfo());
    TYPE* ftype = rill_type(u, ft, loc);
    SYMTAB* memset_fn = library_function(u, "memset", ftype, nullptr);
    TYPE* pv = tp->basic[TYPE_PKG::BT_PVOID];
    std::vector<NODE*> args = {addr_of(copy_tree(target, false), pv), icon(0, tp->basic[TYPE_PKG::BT_INT]),
                               icon(size_bits(u, t, loc) / kUnitBits, size_type())};
    NODE* call = tree(CALL, tree(UAND, name_node(memset_fn), nullptr, tp->mk_ptr(ftype)), comma_list(args), pv);
    call->mk_call(0, 0);
    emit(u, call, loc);
  }

  void fill(NODE* target, clang::QualType t, const clang::Expr* init) {
    init = strip(init);
    if (llvm::isa<clang::ImplicitValueInitExpr>(init)) {
      zero(target, t);
      return;
    }
    if (t->isArrayType()) {
      array(target, t, init);
    } else if (t->isRecordType()) {
      record(target, t, init);
    } else if (const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init)) {
      if (ile->getNumInits() == 0) zero(target, t);
      else fill(target, t, ile->getInit(0));
    } else {
      NODE* v = convert(translate_expr(u, init), rill_unqualified(u, t, loc));
      emit(u, mk_ASG(copy_tree(target, false), v), loc);
    }
  }

  void array(NODE* target, clang::QualType t, const clang::Expr* init) {
    const clang::ArrayType* at = u.ctx.getAsArrayType(t);
    clang::QualType et = at->getElementType();
    uint32_t esize = size_bits(u, et, loc);
    uint32_t count = count_of(t, esize);
    TYPE* ct = rill_unqualified(u, et, loc);
    if (const clang::StringLiteral* s = string_init(init)) {
      for (uint32_t i = 0; i < count; ++i) {
        uint32_t ch = i < s->getLength() ? s->getCodeUnit(i) : 0;
        if (ch == 0 && zeroed) continue;
        if (s->getCharByteWidth() == 1) ch &= 0xff;
        emit(u, mk_ASG(element(target, et, i, esize), icon(ch, ct)), loc);
      }
      return;
    }
    const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init);
    if (!ile) {
      refuse(u, "array initialised by an expression", init->getExprLoc());
    }
    for (uint32_t i = 0; i < count; ++i) {
      if (i < ile->getNumInits()) fill(element(target, et, i, esize), et, ile->getInit(i));
      else zero(element(target, et, i, esize), et);
    }
  }

  NODE* field(NODE* target, const clang::FieldDecl* fd) {
    const FIELD_PLACE& p = field_place(u, fd);
    NODE* f = tree(FIELD, nullptr, nullptr, p.type);
    f->mk_field(1, p.member, record_layout(u, fd->getParent()).type);
    return tree(STDOT, copy_tree(target, false), f, p.type);
  }

  void record(NODE* target, clang::QualType t, const clang::Expr* init) {
    const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init);
    if (!ile) {
      NODE* v = translate_expr(u, init);
      if (!is_lvalue_node(v) && v->op != CALL && v->op != UCALL) v = materialize(u, v, v->type);
      emit(u, mk_ASG(copy_tree(target, false), v), loc);
      return;
    }
    const clang::RecordDecl* rd = t->getAsRecordDecl()->getDefinition();
    if (rd->isUnion()) {
      const clang::FieldDecl* fd = ile->getInitializedFieldInUnion();
      if (!fd || ile->getNumInits() == 0) {
        zero(target, t);
        return;
      }
      fill(field(target, fd), fd->getType(), ile->getInit(0));
      return;
    }
    unsigned i = 0;
    for (const clang::FieldDecl* fd : rd->fields()) {
      if (fd->isUnnamedBitfield()) continue;
      if (i < ile->getNumInits()) fill(field(target, fd), fd->getType(), ile->getInit(i));
      else zero(field(target, fd), fd->getType());
      ++i;
    }
  }
};

}  // namespace

void init_lvalue(UNIT& u, NODE* target, clang::QualType type, const clang::Expr* init,
                 clang::SourceLocation loc) {
  FILLER f{u, loc};
  bool aggregate = type->isArrayType() || type->isRecordType();
  if (aggregate && (llvm::isa<clang::InitListExpr>(strip(init)) || string_init(init)) && f.partial(type, init)) {
    f.clear(target, type);
    f.zeroed = true;
  }
  f.fill(target, type, init);
}

}  // namespace c2i
