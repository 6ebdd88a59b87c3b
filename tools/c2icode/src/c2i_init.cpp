// Initialisers of objects with static storage: the object's contents in
// address order as constant trees (ICON, FCON, SCON, UAND of an object or
// PLUS of it and an offset), SKIP over zero bits, bit-fields gathered into
// one unsigned short ICON per 16-bit unit, and ENDINIT.
#include <clang/AST/Expr.h>

#include <algorithm>
#include <cmath>

#include "c2i_unit.h"

namespace c2i {

namespace {

struct PIECE {
  uint32_t offset = 0;  // bits
  uint32_t bits = 0;
  NODE* tree = nullptr;
};

const clang::Expr* strip(const clang::Expr* e) {
  for (;;) {
    if (const auto* p = llvm::dyn_cast<clang::ParenExpr>(e)) e = p->getSubExpr();
    else if (const auto* c = llvm::dyn_cast<clang::ConstantExpr>(e)) e = c->getSubExpr();
    else return e;
  }
}

// A string literal that initialises a character array, also in braces.
const clang::StringLiteral* string_init(const clang::Expr* e) {
  e = strip(e);
  if (const auto* ile = llvm::dyn_cast<clang::InitListExpr>(e))
    if (ile->getNumInits() == 1) e = strip(ile->getInit(0));
  return llvm::dyn_cast<clang::StringLiteral>(e);
}

struct FLATTEN {
  UNIT& u;
  clang::SourceLocation loc;
  std::vector<PIECE> pieces;
  std::map<uint32_t, uint32_t> bit_units;  // unit index to its bits

  void add(uint32_t offset, uint32_t bits, NODE* t) { pieces.push_back({offset, bits, t}); }
  void fill(clang::QualType t, const clang::Expr* init, uint32_t offset);
  void array(clang::QualType t, const clang::Expr* init, uint32_t offset);
  void record(clang::QualType t, const clang::Expr* init, uint32_t offset);
  void scalar(clang::QualType t, const clang::Expr* init, uint32_t offset);
  void bitfield(const FIELD_PLACE& place, const clang::Expr* init, uint32_t offset);
  NODE* address(const CVALUE& v, TYPE* t, const clang::Expr* init);
};

void FLATTEN::fill(clang::QualType t, const clang::Expr* init, uint32_t offset) {
  init = strip(init);
  if (llvm::isa<clang::ImplicitValueInitExpr>(init)) return;
  if (const auto* cl = llvm::dyn_cast<clang::CompoundLiteralExpr>(init)) init = strip(cl->getInitializer());
  if (t->isArrayType()) array(t, init, offset);
  else if (t->isRecordType()) record(t, init, offset);
  else scalar(t, init, offset);
}

void FLATTEN::array(clang::QualType t, const clang::Expr* init, uint32_t offset) {
  t = flex_filled_type(u, t, init);
  const clang::ArrayType* at = u.ctx.getAsArrayType(t);
  clang::QualType et = at->getElementType();
  uint32_t esize = size_bits(u, et, loc);
  uint32_t count = esize ? rill_type(u, t, loc)->size / esize : 0;
  if (const clang::StringLiteral* s = string_init(init)) {
    if (s->getCharByteWidth() == 1) {
      std::string bytes = s->getBytes().str().substr(0, count);
      add(offset, count * esize, scon_node(bytes, rill_unqualified(u, t, loc)));
    } else {
      TYPE* ct = rill_unqualified(u, et, loc);
      for (uint32_t i = 0; i < count && i < s->getLength(); ++i)
        if (s->getCodeUnit(i)) add(offset + i * esize, esize, icon(s->getCodeUnit(i), ct));
    }
    return;
  }
  const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init);
  if (!ile) refuse(u, "array initialised by an expression", init->getExprLoc());
  for (unsigned i = 0; i < ile->getNumInits() && i < count; ++i) fill(et, ile->getInit(i), offset + i * esize);
}

void FLATTEN::record(clang::QualType t, const clang::Expr* init, uint32_t offset) {
  const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init);
  if (!ile) refuse(u, "structure initialised by an expression that is not constant", init->getExprLoc());
  const clang::RecordDecl* rd = t->getAsRecordDecl()->getDefinition();
  if (rd->isUnion()) {
    const clang::FieldDecl* fd = ile->getInitializedFieldInUnion();
    if (!fd || ile->getNumInits() == 0) return;
    const FIELD_PLACE& p = field_place(u, fd);
    if (p.bitfield) bitfield(p, ile->getInit(0), offset);
    else fill(fd->getType(), ile->getInit(0), offset + p.offset);
    return;
  }
  unsigned i = 0;
  for (const clang::FieldDecl* fd : rd->fields()) {
    if (i >= ile->getNumInits()) break;
    if (fd->isUnnamedBitfield()) continue;
    const FIELD_PLACE& p = field_place(u, fd);
    const clang::Expr* e = ile->getInit(i++);
    if (p.bitfield) bitfield(p, e, offset);
    else fill(fd->getType(), e, offset + p.offset);
  }
}

void FLATTEN::bitfield(const FIELD_PLACE& place, const clang::Expr* init, uint32_t offset) {
  init = strip(init);
  if (llvm::isa<clang::ImplicitValueInitExpr>(init)) return;
  if (const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init)) {
    if (ile->getNumInits() == 0) return;
    init = ile->getInit(0);
  }
  uint64_t v = static_cast<uint64_t>(eval_int(u, init, "bit-field initialiser"));
  for (uint32_t i = 0; i < place.width; ++i) {
    if (!((v >> i) & 1)) continue;
    uint32_t bit = offset + place.offset + i;
    bit_units[bit / kUnitBits] |= 1u << (bit % kUnitBits);
  }
  bit_units[(offset + place.offset) / kUnitBits] |= 0;  // the unit exists even when zero
}

NODE* FLATTEN::address(const CVALUE& v, TYPE* t, const clang::Expr* init) {
  NODE* base;
  if (v.decl) {
    base = name_node(global_symbol(u, v.decl));
  } else if (const auto* s = llvm::dyn_cast<clang::StringLiteral>(v.literal)) {
    if (s->getCharByteWidth() == 1) base = scon_node(s->getBytes().str(), rill_unqualified(u, s->getType(), loc));
    else base = name_node(literal_object(u, s, rill_unqualified(u, s->getType(), loc), "wstr"));
  } else {
    const auto* cl = llvm::cast<clang::CompoundLiteralExpr>(v.literal);
    base = name_node(literal_object(u, cl, rill_type(u, cl->getType(), loc), "literal"));
  }
  (void)init;
  NODE* a = tree(UAND, base, nullptr, t);
  if (v.offset == 0) return a;
  return tree(PLUS, a, icon(v.offset, tp->basic[TYPE_PKG::BT_INT]), t);
}

void FLATTEN::scalar(clang::QualType t, const clang::Expr* init, uint32_t offset) {
  if (const auto* ile = llvm::dyn_cast<clang::InitListExpr>(init)) {
    if (ile->getNumInits() == 0) return;
    fill(t, ile->getInit(0), offset);
    return;
  }
  TYPE* rt = rill_unqualified(u, t, loc);
  CVALUE v;
  if (!eval_const(u, init, v)) refuse(u, "initialiser that is not a constant", init->getExprLoc());
  switch (v.kind) {
    case CVALUE::INT:
      if (v.i != 0) add(offset, rt->size, icon(v.i, rt));
      return;
    case CVALUE::FLOAT: {
      float f = static_cast<float>(v.f);
      if (f != 0 || std::signbit(f)) add(offset, rt->size, fcon(f, rt));
      return;
    }
    case CVALUE::ADDR:
      if (rt->kind != TYPE::KIND_POINTER) refuse(u, "address constant used as an integer", init->getExprLoc());
      if (!v.decl && !v.literal) {
        if (v.offset) add(offset, rt->size, icon(v.offset, tp->basic[TYPE_PKG::BT_USHORT]));
        return;
      }
      add(offset, rt->size, address(v, rt, init));
      return;
    default:
      refuse(u, "initialiser that is not a constant", init->getExprLoc());
  }
}

NODE* skip(uint32_t bits) {
  NODE* n = tree(SKIP, nullptr, nullptr, tp->basic[TYPE_PKG::BT_VOID]);
  n->mk_skip(bits);
  return n;
}

}  // namespace

std::vector<NODE*> global_init_trees(UNIT& u, clang::QualType type, const clang::Expr* init,
                                     clang::SourceLocation loc, uint32_t object_bits) {
  FLATTEN f{u, loc, {}, {}};
  f.fill(type, init, 0);
  for (const auto& bu : f.bit_units)
    f.add(bu.first * kUnitBits, kUnitBits, icon(bu.second, tp->basic[TYPE_PKG::BT_USHORT]));
  std::vector<NODE*> out;
  if (f.pieces.empty()) return out;
  std::stable_sort(f.pieces.begin(), f.pieces.end(),
                   [](const PIECE& a, const PIECE& b) { return a.offset < b.offset; });
  uint32_t at = 0;
  for (const PIECE& p : f.pieces) {
    if (p.offset < at) refuse(u, "overlapping initialisers", loc);
    if (p.offset > at) out.push_back(skip(p.offset - at));
    out.push_back(p.tree);
    at = p.offset + p.bits;
  }
  uint32_t size = std::max(object_bits, rill_unqualified(u, type, loc)->size);
  if (at > size) refuse(u, "initialiser larger than its object", loc);
  if (size > at) out.push_back(skip(size - at));
  out.push_back(tree(ENDINIT, nullptr, nullptr, tp->basic[TYPE_PKG::BT_VOID]));
  return out;
}

}  // namespace c2i
