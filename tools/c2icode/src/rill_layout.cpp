// Structure and union layout on Rill, in bits. A member goes to the next
// multiple of its alignment; a bit-field goes where the previous member
// ended unless it would then cross a boundary of its declared type's
// alignment, and a zero-width bit-field moves on to that boundary. Unnamed
// bit-fields do not align the structure. "#pragma pack(n)" caps member
// alignment at n units, "packed" at one unit (bit-fields then abut), and
// "aligned(n)" raises an alignment to n units.
#include <clang/AST/Attr.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

uint32_t round_up(uint32_t v, uint32_t a) { return a ? (v + a - 1) / a * a : v; }

uint32_t aligned_attr_bits(UNIT& u, const clang::Decl* d) { return decl_align_bits(u, d); }

void lay_out(UNIT& u, const clang::RecordDecl* rd, RECORD_LAYOUT& lay) {
  const bool is_union = rd->isUnion();
  const bool packed = rd->hasAttr<clang::PackedAttr>();
  uint32_t cap = packed ? kUnitBits : 0;
  if (const auto* mfa = rd->getAttr<clang::MaxFieldAlignmentAttr>()) {
    // Clang holds "#pragma pack(n)" as n bytes in bits; here n counts units.
    uint32_t units = mfa->getAlignment() / 8;
    uint32_t c = std::max<uint32_t>(units, 1) * kUnitBits;
    cap = cap ? std::min(cap, c) : c;
  }
  CSU_RECORD* csu = lay.type->getr_csu();
  uint32_t offset = 0, size = 0, align = kUnitBits, member_id = 0;
  for (const clang::FieldDecl* fd : rd->fields()) {
    clang::SourceLocation loc = fd->getLocation();
    clang::QualType ft = fd->getType();
    TYPE* type = rill_type(u, ft, loc);
    uint32_t tsize = ft->isIncompleteArrayType() ? 0 : size_bits(u, ft, loc);
    uint32_t talign = align_bits(u, ft, loc);
    talign = std::max(talign, aligned_attr_bits(u, fd));
    uint32_t falign = talign;
    if (fd->hasAttr<clang::PackedAttr>()) falign = kUnitBits;
    if (cap) falign = std::min(falign, cap);
    FIELD_PLACE place;
    place.type = type;
    if (fd->isBitField()) {
      int64_t w = eval_int(u, fd->getBitWidth(), "bit-field width");
      if (!ft->isIntegralOrEnumerationType()) refuse(u, "bit-field of a non-integer type", loc);
      if (w < 0 || static_cast<uint64_t>(w) > tsize) refuse(u, "bit-field wider than its type", loc);
      place.bitfield = true;
      place.width = static_cast<uint32_t>(w);
      if (is_union) {
        place.offset = 0;
      } else if (w == 0) {
        offset = round_up(offset, falign == talign ? talign : falign);
        place.offset = offset;
      } else {
        bool abut = packed || fd->hasAttr<clang::PackedAttr>() || (cap && cap < talign);
        if (!abut) {
          uint32_t unit_start = offset - offset % talign;
          if (offset + w > unit_start + tsize) offset = round_up(offset, talign);
        }
        place.offset = offset;
        offset += static_cast<uint32_t>(w);
      }
      if (fd->getIdentifier() && w > 0) align = std::max(align, falign);
      size = std::max(size, is_union ? static_cast<uint32_t>(w) : offset);
    } else {
      if (is_union) {
        place.offset = 0;
        size = std::max(size, tsize);
      } else {
        offset = round_up(offset, falign);
        place.offset = offset;
        offset += tsize;
        size = offset;
        if (size > kLargestObjectUnits * kUnitBits)
          throw TOO_LARGE{std::string("struct '") + rd->getName().str() + "'", size / kUnitBits, rd->getLocation()};
      }
      align = std::max(align, falign);
    }
    auto* m = new fkMDATA;
    m->member_id = ++member_id;
    m->type = type;
    m->name = fd->getName().str();
    m->offset = static_cast<int32_t>(place.offset);
    m->width = place.bitfield ? place.width : 0;
    m->is_bitfield = place.bitfield;
    m->psn = make_psn(u, loc);
    tp_append(csu->mdata, m);
    place.member = m;
    lay.fields[fd] = place;
  }
  align = std::max(align, aligned_attr_bits(u, rd));
  lay.align = align;
  lay.size = round_up(size, align);
  if (lay.size > kLargestObjectUnits * kUnitBits)
    throw TOO_LARGE{std::string(is_union ? "union '" : "struct '") + rd->getName().str() + "'", lay.size / kUnitBits,
                    rd->getLocation()};
}

}  // namespace

uint32_t decl_align_bits(UNIT& u, const clang::Decl* d) {
  uint32_t best = 0;
  for (const auto* a : d->specific_attrs<clang::AlignedAttr>()) {
    if (a->isAlignmentExpr() && !a->getAlignmentExpr()) {
      best = std::max(best, 4 * kUnitBits);  // "aligned" alone: the largest useful alignment
      continue;
    }
    if (!a->isAlignmentExpr()) {
      // _Alignas(type)
      best = std::max(best, align_bits(u, a->getAlignmentType()->getType(), a->getLocation()));
      continue;
    }
    int64_t n = eval_int(u, a->getAlignmentExpr(), "alignment");
    best = std::max(best, static_cast<uint32_t>(n) * kUnitBits);
  }
  return best;
}

const RECORD_LAYOUT& record_layout(UNIT& u, const clang::RecordDecl* rd) {
  if (const clang::RecordDecl* def = rd->getDefinition()) rd = def;
  auto it = u.layouts.find(rd);
  if (it != u.layouts.end()) return it->second;
  RECORD_LAYOUT& lay = u.layouts[rd];
  std::string name = rd->getName().str();
  lay.type = rd->isUnion() ? tp->mk_union(name, 0, 0) : tp->mk_struct(name, 0, 0);
  lay.type->psn = make_psn(u, rd->getLocation());
  CSU_RECORD* csu = lay.type->getr_csu();
  if (!rd->isCompleteDefinition()) {
    // Declared only: stays an incomplete type of size 0.
    lay.complete = false;
    tp->type_frozen(lay.type);
    return lay;
  }
  lay_out(u, rd, lay);
  lay.type->size = lay.size;
  lay.type->align = lay.align;
  csu->complete = true;
  csu->has_list[LK_MDATA] = csu->mdata != nullptr;
  tp->type_frozen(lay.type);
  // Equal structures are shared; the members follow the surviving type.
  if (CSU_RECORD* kept = lay.type->getr_csu(); kept != csu) {
    fkMDATA* m = kept->mdata;
    for (auto& f : lay.fields) f.second.member = nullptr;
    for (const clang::FieldDecl* fd : rd->fields()) {
      if (!m) break;
      lay.fields[fd].member = m;
      m = m->next;
    }
  }
  lay.complete = true;
  return lay;
}

const FIELD_PLACE& field_place(UNIT& u, const clang::FieldDecl* fd) {
  const RECORD_LAYOUT& lay = record_layout(u, fd->getParent());
  auto it = lay.fields.find(fd);
  if (it == lay.fields.end()) refuse(u, "member of an incomplete structure", fd->getLocation());
  return it->second;
}

}  // namespace c2i
