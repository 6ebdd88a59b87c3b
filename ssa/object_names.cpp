// Where lvalues and pointer values lie: the object they name, their base
// pointer, offsets and index terms.
#include <algorithm>

#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/simp.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"
#include "ssa/pointsto.h"

namespace {

bool is_pointer_typed(const NODE* t) {
  const TYPE* ty = t && t->type ? (t->type->rep ? t->type->rep : t->type) : nullptr;
  return ty && (ty->is_pointer() || ty->is_array());
}

bool is_volatile_typed(const NODE* t) {
  return t && t->type && (t->type->qual_kind(true) & TYPE::Q_VOLATILE);
}

// The member a FIELD operand names.
const fkMDATA* member_of(const NODE* field) {
  return field && field->op == FIELD ? field->mval : nullptr;
}

void add_member(LVALUE_DESC& d, const NODE* field) {
  const fkMDATA* m = member_of(field);
  if (!m) {
    d.offset_bits = 0;
    d.index.push_back(INDEX_TERM{nullptr, 1});  // an unknown place
    return;
  }
  d.offset_bits += m->offset;
}

void size_from(LVALUE_DESC& d, const NODE* lvalue, const NODE* field) {
  const fkMDATA* m = member_of(field);
  if (m && m->is_bitfield) {
    d.size_bits = m->width;
    return;
  }
  const TYPE* t = lvalue->type;
  d.size_bits = t && t->size ? static_cast<int64_t>(t->size) : -1;
}

}  // namespace

NODE* strip_transparent_marks(NODE* t) {
  while (t && (t->op == CSE_ORIG || t->op == CSE_DUPE || t->op == SSA_USE)) t = t->left;
  return t;
}

void describe_address(NODE* p, LVALUE_DESC& d) {
  p = strip_transparent_marks(p);
  if (!p) {
    d.base = nullptr;
    d.index.push_back(INDEX_TERM{nullptr, 1});
    return;
  }
  switch (p->op) {
    case UAND:
    case ARGREF: {
      NODE* lv = strip_transparent_marks(p->left);
      if (lv && (lv->op == NAME || lv->op == STDOT || lv->op == UMULT || lv->op == STREF)) {
        int64_t size = d.size_bits;
        describe_lvalue(lv, d);
        d.size_bits = size;
        d.whole = false;
        d.volatile_access = false;
        return;
      }
      if (lv && lv->op == SCON) {
        d.base = p;  // a literal: an object of its own
        return;
      }
      break;
    }
    case PLUS:
    case MINUS: {
      NODE* a = strip_transparent_marks(p->left);
      NODE* b = strip_transparent_marks(p->right);
      bool left_ptr = is_pointer_typed(a) || !is_pointer_typed(b);
      if (p->op == MINUS && (!left_ptr || is_pointer_typed(b))) break;  // a difference, not a place
      NODE* ptr = left_ptr ? a : b;
      NODE* k = left_ptr ? b : a;
      describe_address(ptr, d);
      int sign = p->op == MINUS ? -1 : 1;
      if (k && k->op == ICON) {
        d.offset_bits += sign * k->value.as_int64() * kBitsPerUnit;
      } else {
        // i + c inside the index: the constant joins the offset.
        while (k && (k->op == PLUS || k->op == MINUS) && k->right && k->right->op == ICON &&
               !is_pointer_typed(k)) {
          int64_t c = k->right->value.as_int64();
          d.offset_bits += sign * (k->op == PLUS ? c : -c) * kBitsPerUnit;
          k = strip_transparent_marks(k->left);
        }
        if (tree_has_side_effects(k)) d.side_effects = true;
        d.index.push_back(INDEX_TERM{k, sign});
      }
      return;
    }
    case PCONV:
    case ISP2CHAR:
      if (is_pointer_typed(p->left)) {
        describe_address(p->left, d);
        return;
      }
      d.absolute = true;
      d.base = p;
      if (tree_has_side_effects(p)) d.side_effects = true;
      return;
    case COMMAOP:
      d.side_effects = true;
      describe_address(p->right, d);
      return;
    case ASG:
      d.side_effects = true;
      break;
    case NAME:
      d.base = p;
      d.base_var = p->name_symbol();
      return;
    default:
      break;
  }
  d.base = p;
  if (tree_has_side_effects(p)) d.side_effects = true;
}

void describe_lvalue(NODE* lv, LVALUE_DESC& d) {
  lv = strip_transparent_marks(lv);
  d.lvalue = lv;
  if (!lv) return;
  d.volatile_access = is_volatile_typed(lv);
  switch (lv->op) {
    case NAME:
      d.object = lv->name_symbol();
      d.direct = true;
      d.whole = true;
      d.offset_bits = 0;
      d.size_bits = d.object && d.object->size > 0 ? d.object->size
                    : lv->type && lv->type->size ? static_cast<int64_t>(lv->type->size) : -1;
      return;
    case STDOT: {
      describe_lvalue(lv->left, d);
      d.lvalue = lv;
      d.whole = false;
      add_member(d, lv->right);
      size_from(d, lv, lv->right);
      d.volatile_access = d.volatile_access || is_volatile_typed(lv);
      return;
    }
    case UMULT:
      describe_address(lv->left, d);
      d.lvalue = lv;
      d.direct = false;
      d.whole = false;
      size_from(d, lv, nullptr);
      d.volatile_access = is_volatile_typed(lv);
      return;
    case STREF:
      describe_address(lv->left, d);
      d.lvalue = lv;
      d.direct = false;
      d.whole = false;
      add_member(d, lv->right);
      size_from(d, lv, lv->right);
      d.volatile_access = is_volatile_typed(lv);
      return;
    default:
      // Not an lvalue of memory (a call's structure, a conditional): a place
      // of its own that nothing else names.
      d.base = lv;
      d.side_effects = tree_has_side_effects(lv);
      d.index.push_back(INDEX_TERM{nullptr, 1});
      return;
  }
}

bool same_index_terms(const LVALUE_DESC& a, const LVALUE_DESC& b) {
  if (a.index.size() != b.index.size()) return false;
  std::vector<bool> used(b.index.size(), false);
  for (const INDEX_TERM& t : a.index) {
    if (!t.tree) return false;
    bool found = false;
    for (size_t i = 0; i < b.index.size(); ++i) {
      if (used[i] || !b.index[i].tree || b.index[i].sign != t.sign) continue;
      if (trees_are_congruent(strip_transparent_marks(t.tree), strip_transparent_marks(b.index[i].tree))) {
        used[i] = true;
        found = true;
        break;
      }
    }
    if (!found) return false;
  }
  return true;
}

SYMTAB* object_name_if_known(NODE* lvalue, bool through_address, bool through_pointsto) {
  LVALUE_DESC d;
  describe_lvalue(lvalue, d);
  if (!d.object && d.base_var && through_pointsto) return single_pointsto_target_if_known(d.base_var);
  if (!d.object || (!d.direct && !through_address)) return nullptr;
  return d.object;
}

SYMTAB* pointee_name_if_known(NODE* pointer, bool through_pointsto, bool allow_offsets) {
  LVALUE_DESC d;
  describe_address(pointer, d);
  if (!d.object) {
    if (!through_pointsto || !d.base_var || !allow_offsets) return nullptr;
    return single_pointsto_target_if_known(d.base_var);
  }
  if (!allow_offsets && (d.offset_bits != 0 || !d.index.empty())) return nullptr;
  return d.object;
}

NODE* get_umult_base(NODE* lvalue) {
  LVALUE_DESC d;
  describe_lvalue(lvalue, d);
  if (d.direct || d.object) return nullptr;
  return d.base;
}
