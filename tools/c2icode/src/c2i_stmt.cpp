// Statements as the records of a function body: one tree per statement,
// control flow as CBRANCH and BRANCH to numbered labels, a switch as one
// SWITCH tree whose case list is filled once its body has been read, and
// lexical blocks that declare objects as begin and end block records.
#include <clang/AST/Attr.h>
#include <clang/AST/Decl.h>
#include <clang/AST/DeclCXX.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

TYPE* void_type() { return tp->basic[TYPE_PKG::BT_VOID]; }

bool constant_truth(UNIT& u, const clang::Expr* e, bool& value) {
  CVALUE v;
  if (!eval_const(u, e, v) || v.kind != CVALUE::INT) return false;
  value = v.i != 0;
  return true;
}

void check_static_assert(UNIT& u, const clang::StaticAssertDecl* sa) {
  if (eval_int(u, sa->getAssertExpr(), "static assertion") == 0)
    program_error(u, "static assertion failed on Rill", sa->getLocation());
}

void declaration(UNIT& u, const clang::DeclStmt* ds) {
  for (const clang::Decl* d : ds->decls()) {
    if (const auto* sa = llvm::dyn_cast<clang::StaticAssertDecl>(d)) {
      check_static_assert(u, sa);
      continue;
    }
    const auto* vd = llvm::dyn_cast<clang::VarDecl>(d);
    if (!vd) {
      // A typedef of a variable-length array takes its counts here.
      if (const auto* td = llvm::dyn_cast<clang::TypedefNameDecl>(d))
        if (td->getUnderlyingType()->isVariablyModifiedType())
          evaluate_vla_counts(u, td->getUnderlyingType(), td->getLocation());
      continue;
    }
    if (vd->hasGlobalStorage() || vd->hasExternalStorage()) {
      global_symbol(u, vd);
      continue;
    }
    if (is_vla_object(vd)) {
      declare_vla(u, vd);
      continue;
    }
    if (vd->getType()->isVariablyModifiedType()) evaluate_vla_counts(u, vd->getType(), vd->getLocation());
    SYMTAB* s = local_symbol(u, vd);
    if (vd->getInit()) init_lvalue(u, name_node(s), vd->getType(), vd->getInit(), vd->getLocation());
  }
}

bool declares_objects(const clang::CompoundStmt* cs) {
  for (const clang::Stmt* s : cs->body())
    if (const auto* ds = llvm::dyn_cast<clang::DeclStmt>(s))
      for (const clang::Decl* d : ds->decls())
        if (const auto* vd = llvm::dyn_cast<clang::VarDecl>(d))
          if (vd->hasLocalStorage()) return true;
  return false;
}


void loop_body(UNIT& u, const clang::Stmt* body, uint32_t brk, uint32_t cont) {
  u.fn->breaks.push_back(brk);
  u.fn->continues.push_back(cont);
  u.fn->break_depths.push_back(vla_depth(u));
  u.fn->continue_depths.push_back(vla_depth(u));
  translate_stmt(u, body);
  u.fn->breaks.pop_back();
  u.fn->continues.pop_back();
  u.fn->break_depths.pop_back();
  u.fn->continue_depths.pop_back();
}

// Branches to `label` when `cond` is false; nothing when it is always true.
void branch_unless(UNIT& u, const clang::Expr* cond, uint32_t label) {
  bool value;
  if (constant_truth(u, cond, value) && value) return;
  emit(u, cbranch(condition(u, cond, true), label), cond->getBeginLoc());
}

void if_stmt(UNIT& u, const clang::IfStmt* s) {
  uint32_t else_label = new_label(u);
  branch_unless(u, s->getCond(), else_label);
  translate_stmt(u, s->getThen());
  if (s->getElse()) {
    uint32_t end = new_label(u);
    emit(u, branch_to(end), s->getElseLoc());
    emit_label(u, else_label);
    translate_stmt(u, s->getElse());
    emit_label(u, end);
  } else {
    emit_label(u, else_label);
  }
}

// Loops have their test at the bottom, behind a copy of it that guards the
// way in, the shape zopt gives loops itself: a loop whose body is one block
// is one block that branches to itself, whichever program wrote it.
// A test that holds a statement expression is not copied (its statements
// and labels would be there twice); that loop keeps its test at the top.
bool test_at_bottom(UNIT& u, const clang::Expr* cond) {
  bool value;
  return cond && !contains_stmt_expr(cond) && !(constant_truth(u, cond, value) && value);
}

void while_stmt(UNIT& u, const clang::WhileStmt* s) {
  uint32_t top = new_label(u), brk = new_label(u);
  if (test_at_bottom(u, s->getCond())) {
    uint32_t test = new_label(u);
    branch_unless(u, s->getCond(), brk);
    emit_label(u, top);
    loop_body(u, s->getBody(), brk, test);
    emit_label(u, test);
    emit(u, cbranch(condition(u, s->getCond(), false), top), s->getCond()->getBeginLoc());
    emit_label(u, brk);
    return;
  }
  emit_label(u, top);
  branch_unless(u, s->getCond(), brk);
  loop_body(u, s->getBody(), brk, top);
  emit(u, branch_to(top), s->getEndLoc());
  emit_label(u, brk);
}

void do_stmt(UNIT& u, const clang::DoStmt* s) {
  uint32_t top = new_label(u), cont = new_label(u), brk = new_label(u);
  emit_label(u, top);
  loop_body(u, s->getBody(), brk, cont);
  emit_label(u, cont);
  bool value;
  if (constant_truth(u, s->getCond(), value)) {
    if (value) emit(u, branch_to(top), s->getCond()->getBeginLoc());
  } else {
    emit(u, cbranch(condition(u, s->getCond(), false), top), s->getCond()->getBeginLoc());
  }
  emit_label(u, brk);
}

void for_stmt(UNIT& u, const clang::ForStmt* s) {
  bool block = s->getInit() && llvm::isa<clang::DeclStmt>(s->getInit());
  if (block) u.fn->items.push_back({BODY_ITEM::BEGIN_BLOCK, nullptr, make_psn(u, s->getBeginLoc()), 0});
  size_t depth = vla_depth(u);
  if (s->getInit()) translate_stmt(u, s->getInit());
  uint32_t top = new_label(u), cont = new_label(u), brk = new_label(u);
  bool bottom = test_at_bottom(u, s->getCond());
  if (bottom) branch_unless(u, s->getCond(), brk);
  emit_label(u, top);
  if (s->getCond() && !bottom) branch_unless(u, s->getCond(), brk);
  loop_body(u, s->getBody(), brk, cont);
  emit_label(u, cont);
  if (s->getInc()) emit(u, translate_expr(u, s->getInc()), s->getInc()->getBeginLoc());
  if (bottom) emit(u, cbranch(condition(u, s->getCond(), false), top), s->getCond()->getBeginLoc());
  else emit(u, branch_to(top), s->getEndLoc());
  emit_label(u, brk);
  vla_leave(u, depth, s->getEndLoc());
  if (block) u.fn->items.push_back({BODY_ITEM::END_BLOCK, nullptr, make_psn(u, s->getEndLoc()), 0});
}

void switch_stmt(UNIT& u, const clang::SwitchStmt* s) {
  if (s->getConditionVariable() || s->getInit()) refuse(u, "switch with a declaration", s->getBeginLoc());
  NODE* cond = translate_expr(u, s->getCond());
  SWITCH_STATE state;
  state.type = strip_quals(cond->type);
  uint32_t brk = new_label(u);
  size_t slot = u.fn->items.size();
  emit(u, nullptr, s->getBeginLoc());
  u.fn->switches.push_back(&state);
  u.fn->breaks.push_back(brk);
  u.fn->break_depths.push_back(vla_depth(u));
  translate_stmt(u, s->getBody());
  u.fn->breaks.pop_back();
  u.fn->break_depths.pop_back();
  u.fn->switches.pop_back();
  emit_label(u, brk);
  // The case list: COMMA(CASE(v1, L1), COMMA(CASE(v2, L2), DEFAULT(Ld))).
  TYPE* vt = void_type();
  NODE* list = tree(DEFAULT, label_node(state.default_label ? state.default_label : brk), nullptr, vt);
  for (auto it = state.cases.rbegin(); it != state.cases.rend(); ++it) {
    NODE* c = tree(CASE, icon(it->first, state.type), label_node(it->second), vt);
    list = tree(COMMA, c, list, vt);
  }
  NODE* sw = tree(SWITCH, cond, list, vt);
  sw->mk_switch(static_cast<uint32_t>(state.cases.size()));
  u.fn->items[slot].tree = sw;
}

void case_stmt(UNIT& u, const clang::CaseStmt* s) {
  if (u.fn->switches.empty()) refuse(u, "case outside a switch", s->getBeginLoc());
  SWITCH_STATE& st = *u.fn->switches.back();
  int64_t lo = truncate_int(eval_int(u, s->getLHS(), "case label"), st.type);
  int64_t hi = s->getRHS() ? truncate_int(eval_int(u, s->getRHS(), "case label"), st.type) : lo;
  if (hi - lo > 4096) refuse(u, "case range of more than 4096 values", s->getBeginLoc());
  uint32_t label = new_label(u);
  for (int64_t v = lo; v <= hi; ++v) {
    for (const auto& c : st.cases)
      if (c.first == v) program_error(u, "duplicate case value " + std::to_string(v) + " on Rill", s->getBeginLoc());
    st.cases.emplace_back(v, label);
  }
  emit_label(u, label);
  translate_stmt(u, s->getSubStmt());
}

void return_stmt(UNIT& u, const clang::ReturnStmt* s) {
  NODE* f = name_node(u.fn->sym);
  const clang::Expr* e = s->getRetValue();
  if (!e || e->getType()->isVoidType()) {
    if (e) emit(u, translate_expr(u, e), s->getBeginLoc());
    emit(u, tree(URETURN, f, nullptr, u.fn->result), s->getBeginLoc());
    return;
  }
  NODE* v = e->getType()->isRecordType() ? struct_lvalue(u, e) : convert(translate_expr(u, e), u.fn->result);
  emit(u, tree(RETURN, f, v, u.fn->result), s->getBeginLoc());
}

uint32_t label_of(UNIT& u, const clang::LabelDecl* d) {
  auto it = u.fn->labels.find(d);
  if (it != u.fn->labels.end()) return it->second;
  uint32_t l = new_label(u);
  u.fn->labels[d] = l;
  return l;
}

}  // namespace

NODE* branch_to(uint32_t label) { return tree(BRANCH, label_node(label), nullptr, void_type()); }

NODE* cbranch(NODE* cond, uint32_t label) { return tree(CBRANCH, cond, label_node(label), void_type()); }

void translate_compound(UNIT& u, const clang::CompoundStmt* cs, bool as_block) {
  bool block = as_block && declares_objects(cs);
  if (block) u.fn->items.push_back({BODY_ITEM::BEGIN_BLOCK, nullptr, make_psn(u, cs->getLBracLoc()), 0});
  size_t depth = vla_depth(u);
  for (const clang::Stmt* s : cs->body()) translate_stmt(u, s);
  vla_leave(u, depth, cs->getRBracLoc());
  if (block) u.fn->items.push_back({BODY_ITEM::END_BLOCK, nullptr, make_psn(u, cs->getRBracLoc()), 0});
}

void emit(UNIT& u, NODE* t, clang::SourceLocation loc) {
  u.fn->items.push_back({BODY_ITEM::EXPR, t, make_psn(u, loc), 0});
}

void emit_label(UNIT& u, uint32_t label) { u.fn->items.push_back({BODY_ITEM::LABEL, nullptr, nullptr, label}); }

uint32_t new_label(UNIT& u) { return u.fn->next_label++; }

void translate_stmt(UNIT& u, const clang::Stmt* s) {
  using namespace clang;
  if (!s) return;
  switch (s->getStmtClass()) {
    case Stmt::CompoundStmtClass:
      translate_compound(u, cast<CompoundStmt>(s), true);
      return;
    case Stmt::DeclStmtClass:
      declaration(u, cast<DeclStmt>(s));
      return;
    case Stmt::NullStmtClass:
      return;
    case Stmt::IfStmtClass:
      if_stmt(u, cast<IfStmt>(s));
      return;
    case Stmt::WhileStmtClass:
      while_stmt(u, cast<WhileStmt>(s));
      return;
    case Stmt::DoStmtClass:
      do_stmt(u, cast<DoStmt>(s));
      return;
    case Stmt::ForStmtClass:
      for_stmt(u, cast<ForStmt>(s));
      return;
    case Stmt::SwitchStmtClass:
      switch_stmt(u, cast<SwitchStmt>(s));
      return;
    case Stmt::CaseStmtClass:
      case_stmt(u, cast<CaseStmt>(s));
      return;
    case Stmt::DefaultStmtClass: {
      if (u.fn->switches.empty()) refuse(u, "default outside a switch", s->getBeginLoc());
      uint32_t l = new_label(u);
      u.fn->switches.back()->default_label = l;
      emit_label(u, l);
      translate_stmt(u, cast<DefaultStmt>(s)->getSubStmt());
      return;
    }
    case Stmt::BreakStmtClass:
      if (u.fn->breaks.empty()) refuse(u, "break outside a loop or switch", s->getBeginLoc());
      vla_release(u, u.fn->break_depths.back(), s->getBeginLoc());
      emit(u, branch_to(u.fn->breaks.back()), s->getBeginLoc());
      return;
    case Stmt::ContinueStmtClass:
      if (u.fn->continues.empty()) refuse(u, "continue outside a loop", s->getBeginLoc());
      vla_release(u, u.fn->continue_depths.back(), s->getBeginLoc());
      emit(u, branch_to(u.fn->continues.back()), s->getBeginLoc());
      return;
    case Stmt::ReturnStmtClass:
      return_stmt(u, cast<ReturnStmt>(s));
      return;
    case Stmt::LabelStmtClass: {
      const auto* ls = cast<LabelStmt>(s);
      uint32_t label = label_of(u, ls->getDecl());
      vla_note_label(u, label);
      emit_label(u, label);
      translate_stmt(u, ls->getSubStmt());
      return;
    }
    case Stmt::GotoStmtClass: {
      uint32_t label = label_of(u, cast<GotoStmt>(s)->getLabel());
      vla_note_goto(u, label, s->getBeginLoc());
      emit(u, branch_to(label), s->getBeginLoc());
      return;
    }
    case Stmt::AttributedStmtClass:
      translate_stmt(u, cast<AttributedStmt>(s)->getSubStmt());
      return;
    case Stmt::IndirectGotoStmtClass:
      refuse(u, "computed goto", s->getBeginLoc());
    case Stmt::GCCAsmStmtClass:
    case Stmt::MSAsmStmtClass:
      refuse(u, "inline assembly", s->getBeginLoc());
    default:
      break;
  }
  if (const auto* e = dyn_cast<Expr>(s)) {
    emit(u, translate_expr(u, e), e->getBeginLoc());
    return;
  }
  refuse(u, std::string("statement '") + s->getStmtClassName() + "'", s->getBeginLoc());
}

}  // namespace c2i
