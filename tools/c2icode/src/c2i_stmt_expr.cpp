// GNU statement expressions. A tree has no room for statements, so the
// statements of ({ ... }) go out ahead of the statement whose expression
// holds it, and the value waits in a temporary. That is C's order
// wherever an operand may be evaluated in any order relative to the rest
// (a statement expression is sequenced like a call). Where C fixes the
// order or the operand may not run at all (the right of &&, || and the
// comma, the arms of ?:), the operator itself becomes branches ahead of
// the statement, so that the statement expression runs exactly when C
// runs it.
#include <clang/AST/Expr.h>
#include <clang/AST/Stmt.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

TYPE* int_t() { return tp->basic[TYPE_PKG::BT_INT]; }

// A temporary that takes `value`; structures are copied whole.
NODE* keep(UNIT& u, NODE* value, TYPE* type, clang::SourceLocation loc) {
  TYPE* t = strip_quals(type);
  SYMTAB* tmp = temp_symbol(u, t);
  emit(u, mk_ASG(name_node(tmp), value), loc);
  return name_node(tmp);
}

// The value of one operand, stored into `tmp` (null: evaluated for effect).
void store(UNIT& u, SYMTAB* tmp, const clang::Expr* e) {
  NODE* v = e->getType()->isRecordType() ? struct_lvalue(u, e) : translate_expr(u, e);
  if (!tmp) {
    emit(u, v, e->getExprLoc());
    return;
  }
  if (!e->getType()->isRecordType()) v = convert(v, tmp->type);
  emit(u, mk_ASG(name_node(tmp), v), e->getExprLoc());
}

}  // namespace

bool contains_stmt_expr(const clang::Stmt* s) {
  if (!s) return false;
  if (llvm::isa<clang::StmtExpr>(s)) return true;
  for (const clang::Stmt* c : s->children())
    if (contains_stmt_expr(c)) return true;
  return false;
}

NODE* translate_stmt_expr(UNIT& u, const clang::StmtExpr* e) {
  if (!u.fn) refuse(u, "statement expression outside a function", e->getExprLoc());
  const clang::CompoundStmt* cs = e->getSubStmt();
  const clang::Stmt* last = cs->body_empty() ? nullptr : cs->body_back();
  const auto* value = last ? llvm::dyn_cast<clang::Expr>(last) : nullptr;
  if (e->getType()->isVoidType() || !value) {
    translate_compound(u, cs, true);
    return icon(0, int_t());
  }
  // All but the value, in a block of its own when it declares objects;
  // the value is computed inside that block.
  bool block = false;
  for (const clang::Stmt* s : cs->body())
    if (const auto* ds = llvm::dyn_cast<clang::DeclStmt>(s))
      for (const clang::Decl* d : ds->decls())
        if (const auto* vd = llvm::dyn_cast<clang::VarDecl>(d)) block = block || vd->hasLocalStorage();
  if (block) u.fn->items.push_back({BODY_ITEM::BEGIN_BLOCK, nullptr, make_psn(u, cs->getLBracLoc()), 0});
  size_t depth = vla_depth(u);
  for (const clang::Stmt* s : cs->body())
    if (s != last) translate_stmt(u, s);
  TYPE* type = rill_unqualified(u, e->getType(), e->getExprLoc());
  NODE* v = value->getType()->isRecordType() ? struct_lvalue(u, value) : convert(translate_expr(u, value), type);
  NODE* result = keep(u, v, type, value->getExprLoc());
  vla_leave(u, depth, cs->getRBracLoc());
  if (block) u.fn->items.push_back({BODY_ITEM::END_BLOCK, nullptr, make_psn(u, cs->getRBracLoc()), 0});
  return result;
}

NODE* translate_sequenced(UNIT& u, const clang::Expr* e) {
  using namespace clang;
  SourceLocation loc = e->getExprLoc();
  if (const auto* b = dyn_cast<BinaryOperator>(e)) {
    if (b->getOpcode() == BO_Comma) {
      emit(u, translate_expr(u, b->getLHS()), b->getLHS()->getExprLoc());
      return translate_expr(u, b->getRHS());
    }
    // a && b: t = 0; if (!a) goto out; t = b != 0; out:   (|| the other way)
    bool is_and = b->getOpcode() == BO_LAnd;
    SYMTAB* t = temp_symbol(u, int_t());
    uint32_t out = new_label(u);
    emit(u, mk_ASG(name_node(t), icon(is_and ? 0 : 1, int_t())), loc);
    emit(u, cbranch(condition(u, b->getLHS(), is_and), out), loc);
    emit(u, mk_ASG(name_node(t), condition(u, b->getRHS(), false)), b->getRHS()->getExprLoc());
    emit_label(u, out);
    return name_node(t);
  }
  // c ? x : y, and c ?: y with c kept for the value.
  const Expr* cond;
  const Expr* yes = nullptr;
  const Expr* no;
  if (const auto* c = dyn_cast<ConditionalOperator>(e)) {
    cond = c->getCond();
    yes = c->getTrueExpr();
    no = c->getFalseExpr();
  } else {
    const auto* bc = cast<BinaryConditionalOperator>(e);
    cond = bc->getCommon();
    no = bc->getFalseExpr();
  }
  TYPE* rt = rill_unqualified(u, e->getType(), loc);
  SYMTAB* t = e->getType()->isVoidType() ? nullptr : temp_symbol(u, rt);
  uint32_t other = new_label(u), out = new_label(u);
  if (yes) {
    emit(u, cbranch(condition(u, cond, true), other), loc);
    store(u, t, yes);
  } else {
    NODE* common = translate_expr(u, cond);
    SYMTAB* c = temp_symbol(u, strip_quals(common->type));
    emit(u, mk_ASG(name_node(c), common), loc);
    NODE* is_zero = tree(EQ, name_node(c), zero_of(c->type), int_t());
    emit(u, cbranch(is_zero, other), loc);
    if (t) emit(u, mk_ASG(name_node(t), convert(name_node(c), rt)), loc);
  }
  emit(u, branch_to(out), loc);
  emit_label(u, other);
  store(u, t, no);
  emit_label(u, out);
  if (!t) return icon(0, int_t());
  return name_node(t);
}

}  // namespace c2i
