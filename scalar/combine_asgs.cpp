// combine_asgs_to_memory: two stores in a row of 16-bit constants to the
// two halves of one 32-bit place become one 32-bit store: `s.a = 1;
// s.b = 2;` with b right behind a is one store of 0x00020001 (the low half
// at the lower address, unless memory is big-endian).
#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/type_pkg.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/fcp.h"
#include "scalar/simp_internal.h"
#include "ssa/lvalue_desc.h"

using namespace simp;

namespace {

struct NARROW_STORE {
  NODE* lvalue = nullptr;
  INT65 value;
  LVALUE_DESC desc;
};

bool is_bitfield(const NODE* lv) {
  return lv && (lv->op == STDOT || lv->op == STREF) && lv->right && lv->right->mval && lv->right->mval->is_bitfield;
}

// A store of an integer constant to a 16-bit memory place, not volatile.
bool narrow_store(NODE* t, NARROW_STORE& s) {
  if (!t || t->op != ASG || !t->left || !t->right || t->right->op != ICON) return false;
  NODE* lv = t->left;
  if (lv->op != STDOT && lv->op != STREF && lv->op != UMULT) return false;  // whole variables are no halves
  if (is_bitfield(lv) || !is_int_type(rep(lv->type)) || type_bits(rep(lv->type)) != 16) return false;
  if (is_lvalue_volatile(lv) || tree_has_side_effects(lv)) return false;
  s.lvalue = lv;
  s.value = truncate_to_type(t->right->value, lv->type);
  describe_lvalue(lv, s.desc);
  if (s.desc.side_effects || s.desc.absolute || s.desc.size_bits != 16) return false;
  return s.desc.offset_bits % 16 == 0;
}

// `b` lies right behind `a`, in one object or from one base.
bool adjacent(const NARROW_STORE& a, const NARROW_STORE& b) {
  if (b.desc.offset_bits != a.desc.offset_bits + 16) return false;
  if (a.desc.object || b.desc.object) {
    if (a.desc.object != b.desc.object) return false;
  } else if (!a.desc.base || !b.desc.base || !trees_are_congruent(a.desc.base, b.desc.base)) {
    return false;
  }
  return same_index_terms(a.desc, b.desc);
}

NODE* combined_store(const NARROW_STORE& low, const NARROW_STORE& high) {
  TYPE* u32 = tp->basic[TYPE_PKG::BT_UINT];
  uint64_t lo = low.value.as_uint64() & 0xffff, hi = high.value.as_uint64() & 0xffff;
  uint64_t word = memory_is_big_endian ? (lo << 16) | hi : (hi << 16) | lo;
  LS* scope = low.lvalue->scope;
  NODE* addr = maketree(UAND, copy_tree(low.lvalue, false), nullptr, tp->mk_ptr(low.lvalue->type), scope);
  NODE* ptr = maketree(PCONV, addr, nullptr, tp->mk_ptr(u32), scope);
  NODE* place = maketree(UMULT, ptr, nullptr, u32, scope);
  return mk_ASG(place, mk_ICON(INT65(static_cast<int64_t>(word)), u32));
}

}  // namespace

void combine_asgs_to_memory() {
  if (opt_level < 1 || !cfg.bb_list || pass_disable("combine_asgs_to_memory")) return;
  dprintf("\n\n\t\t\t---------- ENTERING 'combine_asgs_to_memory' ----------\n");
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l && l->next; l = l->next) {
      NARROW_STORE first, second;
      if (!narrow_store(l->tree, first) || !narrow_store(l->next->tree, second)) continue;
      const NARROW_STORE* low = nullptr;
      const NARROW_STORE* high = nullptr;
      if (adjacent(first, second)) {
        low = &first;
        high = &second;
      } else if (adjacent(second, first)) {
        low = &second;
        high = &first;
      } else {
        continue;
      }
      NODE* store = simp_tree(combined_store(*low, *high));
      LIST* gone = l->next;
      erase_tree(l->tree);
      l->tree = store;
      l->next = gone->next;
      gone->next = nullptr;
      erase_tree_list(gone);
      dprintf("\tTwo stores combined into %s\n", stmt2infix(store));
    }
}
