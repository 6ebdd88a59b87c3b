// Flexible array members, as GNU C has them. A structure whose last member
// is `T m[]` has the size of what comes before; an object with static
// storage may still initialise the member, and is then made as large as
// its initialiser needs, while sizeof keeps the structure's size. Here such
// an object is a structure of its own: the declared structure as its one
// member `head`, and the room behind it. Every use of the object names the
// head, so the program sees the declared type, and the interpreter and
// zopt see an object of the size it really has. An automatic object cannot
// initialise the member (Clang refuses it, as GCC does).
#include <clang/AST/Expr.h>

#include <algorithm>

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

// The initialiser of the flexible member of `rd`, or null.
const clang::Expr* flex_initialiser(const clang::RecordDecl* rd, const clang::Expr* init,
                                    const clang::FieldDecl*& member) {
  member = nullptr;
  if (!rd || rd->isUnion() || !rd->hasFlexibleArrayMember() || !init) return nullptr;
  const auto* ile = llvm::dyn_cast<clang::InitListExpr>(strip(init));
  if (!ile) return nullptr;
  unsigned i = 0;
  for (const clang::FieldDecl* fd : rd->fields()) {
    if (fd->isUnnamedBitfield()) continue;
    if (i >= ile->getNumInits()) return nullptr;
    const clang::Expr* e = ile->getInit(i++);
    if (fd->getType()->isIncompleteArrayType()) {
      member = fd;
      return strip(e);
    }
  }
  return nullptr;
}

}  // namespace

clang::QualType flex_filled_type(UNIT& u, clang::QualType declared, const clang::Expr* init) {
  (void)u;
  if (!declared->isIncompleteArrayType() || !init) return declared;
  init = strip(init);
  if (llvm::isa<clang::ImplicitValueInitExpr>(init)) return declared;
  if (llvm::isa<clang::ConstantArrayType>(init->getType().getCanonicalType().getTypePtr()))
    return init->getType();
  return declared;
}

uint64_t flex_object_bits(UNIT& u, clang::QualType type, const clang::Expr* init, clang::SourceLocation loc) {
  const clang::RecordDecl* rd = type->getAsRecordDecl();
  if (rd) rd = rd->getDefinition();
  const clang::FieldDecl* member;
  const clang::Expr* e = flex_initialiser(rd, init, member);
  if (!e) return 0;
  clang::QualType filled = flex_filled_type(u, member->getType(), e);
  if (filled == member->getType()) return 0;
  uint64_t end = field_place(u, member).offset + static_cast<uint64_t>(size_bits(u, filled, loc));
  return end > size_bits(u, type, loc) ? end : 0;
}

TYPE* flex_object_type(UNIT& u, clang::QualType type, uint64_t bits, const std::string& name,
                       clang::SourceLocation loc) {
  TYPE* head = rill_type(u, type, loc);
  uint32_t align = align_bits(u, type, loc);
  uint64_t size = (bits + align - 1) / align * align;
  if (size > kLargestObjectUnits * kUnitBits) too_large(u, "'" + name + "'", size / kUnitBits, loc);
  TYPE* t = tp->mk_struct("", static_cast<uint32_t>(size), align);
  t->psn = make_psn(u, loc);
  CSU_RECORD* csu = t->getr_csu();
  auto* m = new fkMDATA;
  m->member_id = 1;
  m->type = head;
  m->name = "head";
  m->offset = 0;
  m->psn = t->psn;
  tp_append(csu->mdata, m);
  csu->complete = true;
  csu->has_list[LK_MDATA] = true;
  tp->type_frozen(t);
  u.flex_heads[t] = t->getr_csu()->mdata;
  // A const object stays constant as a whole.
  uint8_t quals = 0;
  if (type.isConstQualified()) quals |= TYPE::Q_CONST;
  if (type.isVolatileQualified()) quals |= TYPE::Q_VOLATILE;
  return quals ? tp->mk_qual(t, quals) : t;
}

NODE* flex_head(UNIT& u, NODE* object, TYPE* declared) {
  TYPE* wrapper = strip_quals(object->type);
  auto it = u.flex_heads.find(wrapper);
  if (it == u.flex_heads.end()) return object;
  NODE* f = tree(FIELD, nullptr, nullptr, it->second->type);
  f->mk_field(1, it->second, wrapper);
  return tree(STDOT, object, f, declared);
}

}  // namespace c2i
