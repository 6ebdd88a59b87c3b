// One function: its parameters (level 1) with their local copies (level 2)
// and the argument prolog that fills them, its locals and temporaries, its
// statements, written in the order of the icode format.
#include <clang/AST/Decl.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

// The type an argument arrives in. A definition without a prototype (K&R)
// receives its arguments promoted; the parameter's own type is the local's.
TYPE* passing_type(UNIT& u, const clang::FunctionDecl* fd, const clang::ParmVarDecl* p) {
  clang::QualType t = p->getType();
  if (!fd->hasWrittenPrototype() && !fd->getType()->getAs<clang::FunctionProtoType>()) {
    if (t->isPromotableIntegerType()) t = u.ctx.getPromotedIntegerType(t);
    else if (t->isSpecificBuiltinType(clang::BuiltinType::Float)) t = u.ctx.DoubleTy;
  }
  return rill_unqualified(u, t, p->getLocation());
}

void write_function(UNIT& u, FUNC& fn, const clang::FunctionDecl* fd) {
  I_FILE* out = u.out;
  const clang::Stmt* body = fd->getBody();
  out->if_write_begin_func(fn.sym, make_psn(u, fd->getLocation()));
  for (SYMTAB* p : fn.params) {
    out->if_enter_local(p);
    out->if_write_symbol(p);
  }
  out->if_write_end_args(make_psn(u, body->getBeginLoc()));
  for (SYMTAB* l : fn.locals) {
    out->if_enter_local(l);
    out->if_write_symbol(l);
  }
  out->if_write_end_locals(make_psn(u, body->getBeginLoc()));
  for (const BODY_ITEM& it : fn.items) {
    switch (it.kind) {
      case BODY_ITEM::EXPR:
        if (it.tree) out->if_write_expr(it.tree, it.psn);  // a slot left unused
        break;
      case BODY_ITEM::LABEL:
        out->if_write_label(it.label);
        break;
      case BODY_ITEM::BEGIN_BLOCK:
        out->if_write_begin_block(it.psn);
        break;
      case BODY_ITEM::END_BLOCK:
        out->if_write_end_block(it.psn);
        break;
    }
  }
  out->if_write_end_func(make_psn(u, body->getEndLoc()));
}

}  // namespace

void translate_function(UNIT& u, const clang::FunctionDecl* fd) {
  FUNC fn;
  fn.decl = fd;
  fn.sym = global_symbol(u, fd);
  fn.result = rill_unqualified(u, fd->getReturnType(), fd->getLocation());
  if (fd->getReturnType()->isRecordType() && !fd->getReturnType()->isStructureOrClassType() &&
      !fd->getReturnType()->isUnionType())
    refuse(u, "return type", fd->getLocation());
  u.fn = &fn;
  // Parameters and the prolog that copies each into the local the body uses.
  NODE* prolog = nullptr;
  for (const clang::ParmVarDecl* p : fd->parameters()) {
    SYMTAB* param = new_symbol(p->getName().str(), passing_type(u, fd, p), SC_PARAM, make_psn(u, p->getLocation()));
    param->lex_level = 1;
    fn.params.push_back(param);
    if (!p->getIdentifier()) continue;
    SYMTAB* local = local_symbol(u, p);
    NODE* copy = mk_ASG(name_node(local), convert(name_node(param), strip_quals(local->type)));
    prolog = prolog ? tree(PCOMMA, prolog, copy, tp->basic[TYPE_PKG::BT_VOID]) : copy;
  }
  const auto* body = llvm::cast<clang::CompoundStmt>(fd->getBody());
  if (prolog) emit(u, prolog, body->getBeginLoc());
  // The counts of variable-length array parameters, `int m[n][k]`, are
  // taken on entry.
  for (const clang::ParmVarDecl* p : fd->parameters())
    if (p->getType()->isVariablyModifiedType()) evaluate_vla_counts(u, p->getType(), p->getLocation());
  for (const clang::Stmt* s : body->body()) translate_stmt(u, s);
  vla_patch_gotos(u);
  // Falling off the end: main returns 0, a void function returns.
  if (fd->isMain() && fd->getReturnType()->isIntegerType())
    emit(u, tree(RETURN, name_node(fn.sym), icon(0, fn.result), fn.result), body->getRBracLoc());
  else if (fd->getReturnType()->isVoidType())
    emit(u, tree(URETURN, name_node(fn.sym), nullptr, fn.result), body->getRBracLoc());
  write_function(u, fn, fd);
  u.fn = nullptr;
}

}  // namespace c2i
