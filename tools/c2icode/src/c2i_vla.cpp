// Variable-length arrays. The counts of an array type are evaluated where C
// evaluates them (a declaration, a typedef, a function's parameters) into
// temporaries, so that later sizes and strides use the values of that
// moment. A VLA object `T a[n]...` is a local pointer `a` to storage that
// alloca takes from the frame; the object is `*a` in the trees. Before
// each VLA is made the stack is marked (__stack_save), and wherever
// control leaves the VLA's scope while the function goes on (the end of
// its block, break, continue, a goto to a place outside it) the stack is
// restored to the oldest mark left behind (__stack_restore), so a loop
// that declares a VLA does not grow the stack. A return needs nothing: the
// frame goes with its blocks.
#include <clang/AST/Decl.h>
#include <clang/AST/Type.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

TYPE* size_t_type() { return size_type(); }

SYMTAB* library(UNIT& u, const char* name, clang::QualType result, std::vector<clang::QualType> params) {
  clang::QualType ft = u.ctx.getFunctionType(result, params, clang::FunctionProtoType::ExtProtoInfo());
  return library_function(u, name, rill_type(u, ft, clang::SourceLocation()), nullptr);
}

NODE* call_of(SYMTAB* f, std::vector<NODE*> args, TYPE* result) {
  NODE* fn = tree(UAND, name_node(f), nullptr, tp->mk_ptr(f->type));
  if (args.empty()) {
    NODE* n = tree(UCALL, fn, nullptr, result);
    n->mk_ucall(0);
    return n;
  }
  NODE* n = tree(CALL, fn, comma_list(args), result);
  n->mk_call(0, 0);
  return n;
}

NODE* restore_to(UNIT& u, SYMTAB* mark) {
  SYMTAB* f = library(u, "__stack_restore", u.ctx.VoidTy, {u.ctx.VoidPtrTy});
  return call_of(f, {name_node(mark)}, tp->basic[TYPE_PKG::BT_VOID]);
}

// The counts of the variable-length array types that `t` spells out,
// outermost first. A typedef's counts were taken where it was declared,
// so the walk stops at one.
void evaluate_counts(UNIT& u, clang::QualType t, clang::SourceLocation loc) {
  for (;;) {
    const clang::Type* ty = t.getTypePtr();
    if (llvm::isa<clang::TypedefType>(ty) || llvm::isa<clang::TypeOfExprType>(ty) || llvm::isa<clang::TypeOfType>(ty))
      return;
    if (const auto* v = llvm::dyn_cast<clang::VariableArrayType>(ty)) {
      SYMTAB*& tmp = u.fn->vla_counts[llvm::cast<clang::VariableArrayType>(v->getCanonicalTypeInternal().getTypePtr())];
      if (!tmp) tmp = temp_symbol(u, size_t_type());
      emit(u, mk_ASG(name_node(tmp), convert(translate_expr(u, v->getSizeExpr()), size_t_type())), loc);
      t = v->getElementType();
    } else if (const auto* a = llvm::dyn_cast<clang::ArrayType>(ty)) {
      t = a->getElementType();
    } else if (const auto* p = llvm::dyn_cast<clang::PointerType>(ty)) {
      t = p->getPointeeType();
    } else if (const auto* d = llvm::dyn_cast<clang::DecayedType>(ty)) {
      t = d->getDecayedType();
    } else if (const auto* p = llvm::dyn_cast<clang::ParenType>(ty)) {
      t = p->getInnerType();
    } else if (const auto* at = llvm::dyn_cast<clang::AttributedType>(ty)) {
      t = at->getModifiedType();
    } else if (const auto* e = llvm::dyn_cast<clang::ElaboratedType>(ty)) {
      t = e->getNamedType();
    } else {
      return;
    }
  }
}

// How many elements a variable-length array type has, as a size_t tree.
NODE* count_of(UNIT& u, const clang::VariableArrayType* v) {
  const auto* canon = llvm::cast<clang::VariableArrayType>(v->getCanonicalTypeInternal().getTypePtr());
  if (u.fn) {
    auto it = u.fn->vla_counts.find(canon);
    if (it != u.fn->vla_counts.end()) return name_node(it->second);
  }
  // A type no declaration has measured yet (a cast, a sizeof): now.
  return convert(translate_expr(u, v->getSizeExpr()), size_t_type());
}

NODE* multiply(NODE* a, NODE* b) {
  if (a->op == ICON && b->op == ICON) return icon(a->value.as_int64() * b->value.as_int64(), size_t_type());
  if (b->op == ICON && b->value.as_int64() == 1) return a;
  if (a->op == ICON && a->value.as_int64() == 1) return b;
  return tree(MULT, a, b, size_t_type());
}

}  // namespace

NODE* size_units_tree(UNIT& u, clang::QualType t, clang::SourceLocation loc) {
  clang::QualType c = t.getCanonicalType();
  if (!c->isVariablyModifiedType() || !c->isArrayType()) return icon(size_bits(u, c, loc) / kUnitBits, size_t_type());
  const clang::ArrayType* at = u.ctx.getAsArrayType(c);
  NODE* elem = size_units_tree(u, at->getElementType(), loc);
  if (const auto* v = llvm::dyn_cast<clang::VariableArrayType>(at)) return multiply(count_of(u, v), elem);
  if (const auto* k = llvm::dyn_cast<clang::ConstantArrayType>(at))
    return multiply(icon(static_cast<int64_t>(k->getSize().getZExtValue()), size_t_type()), elem);
  refuse(u, "size of an incomplete array of variable-length arrays", loc);
}

NODE* elem_size_tree(UNIT& u, clang::QualType pointer, clang::SourceLocation where) {
  clang::QualType pointee = pointer->getPointeeType();
  if (pointee.isNull()) {
    const clang::ArrayType* at = u.ctx.getAsArrayType(pointer);
    if (!at) refuse(u, "pointer arithmetic on a non-pointer", where);
    pointee = at->getElementType();
  }
  if (pointee->isVariablyModifiedType()) return size_units_tree(u, pointee, where);
  return icon(elem_units(u, pointer, where), size_t_type());
}

bool is_vla_object(const clang::VarDecl* d) {
  return d->hasLocalStorage() && d->getType()->isVariableArrayType();
}

void evaluate_vla_counts(UNIT& u, clang::QualType t, clang::SourceLocation loc) { evaluate_counts(u, t, loc); }

void declare_vla(UNIT& u, const clang::VarDecl* d) {
  clang::SourceLocation loc = d->getLocation();
  evaluate_counts(u, d->getType(), loc);
  SYMTAB* mark = temp_symbol(u, tp->basic[TYPE_PKG::BT_PVOID]);
  SYMTAB* save = library(u, "__stack_save", u.ctx.VoidPtrTy, {});
  emit(u, mk_ASG(name_node(mark), call_of(save, {}, tp->basic[TYPE_PKG::BT_PVOID])), loc);
  u.fn->vla_marks.push_back(mark);
  SYMTAB* a = local_symbol(u, d);
  SYMTAB* alloca_fn = library(u, "alloca", u.ctx.VoidPtrTy, {u.ctx.getSizeType()});
  NODE* block = call_of(alloca_fn, {size_units_tree(u, d->getType(), loc)}, tp->basic[TYPE_PKG::BT_PVOID]);
  emit(u, mk_ASG(name_node(a), convert(block, strip_quals(a->type))), loc);
}

TYPE* vla_object_type(UNIT& u, const clang::VarDecl* d) {
  const clang::ArrayType* at = u.ctx.getAsArrayType(d->getType());
  return tp->mk_ptr(rill_type(u, at->getElementType(), d->getLocation()));
}

NODE* vla_object(UNIT& u, const clang::VarDecl* d, SYMTAB* a) {
  return tree(UMULT, name_node(a), nullptr, rill_type(u, d->getType(), d->getLocation()));
}

size_t vla_depth(UNIT& u) { return u.fn->vla_marks.size(); }

void vla_release(UNIT& u, size_t depth, clang::SourceLocation loc) {
  if (u.fn->vla_marks.size() > depth) emit(u, restore_to(u, u.fn->vla_marks[depth]), loc);
}

void vla_leave(UNIT& u, size_t depth, clang::SourceLocation loc) {
  vla_release(u, depth, loc);
  if (u.fn->vla_marks.size() > depth) u.fn->vla_marks.resize(depth);
}

void vla_note_label(UNIT& u, uint32_t label) { u.fn->label_marks[label] = u.fn->vla_marks; }

void vla_note_goto(UNIT& u, uint32_t label, clang::SourceLocation loc) {
  if (u.fn->vla_marks.empty()) return;
  u.fn->goto_marks.push_back({u.fn->items.size(), label, u.fn->vla_marks});
  emit(u, nullptr, loc);  // the restore, if the target lies outside a VLA's scope
}

void vla_patch_gotos(UNIT& u) {
  for (const FUNC::GOTO_MARKS& g : u.fn->goto_marks) {
    const std::vector<SYMTAB*>& there = u.fn->label_marks[g.label];
    size_t common = 0;
    while (common < g.marks.size() && common < there.size() && g.marks[common] == there[common]) ++common;
    if (common < g.marks.size()) u.fn->items[g.item].tree = restore_to(u, g.marks[common]);
  }
}

}  // namespace c2i
