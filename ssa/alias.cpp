// Whether two lvalues may touch the same memory: the one question every
// pass asks. The steps go from the cheapest proof to the dearest; each
// answer "no" rests on a fact written next to it, and anything unproved is
// "yes" (docs/aliasing.md).
#include <cstring>
#include <map>
#include <string>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"
#include "ssa/pointsto.h"

namespace {

bool info_valid = false;

bool symbol_type_is_volatile(const SYMTAB* s) {
  return s && s->type && (s->type->qual_kind(true) & TYPE::Q_VOLATILE);
}

// The two symbols are one object although they are two records.
bool group_marks_pair(const SYMTAB* a, const SYMTAB* b) {
  uint8_t ma = a->alias_marks, mb = b->alias_marks;
  return ((ma & ALIAS_GROUP_A) && (mb & ALIAS_GROUP_B)) || ((ma & ALIAS_GROUP_B) && (mb & ALIAS_GROUP_A));
}

// Globals of one name share one object: a declaration and the definition
// can both stand in the file. They get both group marks, so that every
// pair of them aliases.
void mark_same_name_globals() {
  // The marks stay on the globals; the names are compared again only when
  // the list has changed since the last function.
  static const SYMTAB* marked_head = nullptr;
  static size_t marked_count = 0;
  size_t count = 0;
  for (SYMTAB* g = global_symbols; g; g = g->next) ++count;
  if (global_symbols == marked_head && count == marked_count) return;
  marked_head = global_symbols;
  marked_count = count;
  std::map<std::string, SYMTAB*> first;
  for (SYMTAB* g = global_symbols; g; g = g->next) {
    if (!g->name) continue;
    auto it = first.emplace(skip_name_prefix(g->name), g);
    if (it.second) continue;
    it.first->second->alias_marks |= ALIAS_GROUP_A | ALIAS_GROUP_B;
    g->alias_marks |= ALIAS_GROUP_A | ALIAS_GROUP_B;
  }
}

// With alias_vars every address taken anywhere exposes its variable, also
// one that is dereferenced on the spot.
void mark_every_address_taken(NODE* t) {
  for (; t; t = t->right) {
    if (t->op == CSE_DUPE) return;
    if (t->op == UAND || t->op == ARGREF)
      if (SYMTAB* s = name_below_stdots(t->left)) s->alias_marks |= ALIAS_EXPOSED;
    if (number_of_operands[t->op] == 0) return;
    mark_every_address_taken(t->left);
    if (number_of_operands[t->op] < 2) return;
  }
}

enum TYPE_FAMILY { TF_OTHER, TF_CHAR, TF_INTEGRAL, TF_FLOATING, TF_POINTER };

TYPE_FAMILY family(const TYPE* t) {
  const TYPE* r = t ? t->stqs() : nullptr;
  if (!r) return TF_OTHER;
  if (r->kind == TYPE::KIND_POINTER) return TF_POINTER;
  if (r->kind == TYPE::KIND_FLOATING) return TF_FLOATING;
  if (r->kind == TYPE::KIND_ENUM) return TF_INTEGRAL;
  if (r->kind == TYPE::KIND_INTEGRAL) {
    if (r->ikind == TYPE::IK_CHAR || r->ikind == TYPE::IK_UCHAR) return TF_CHAR;
    return TF_INTEGRAL;
  }
  return TF_OTHER;
}

// Scalars of different kinds of value can't share memory in a program that
// keeps to C's rules on effective types. Only on the user's word
// (--no_bad_aliases): type punning through pointers runs as written here.
bool types_cannot_overlap(const TYPE* a, const TYPE* b) {
  if (!dwim_aliases) return false;
  TYPE_FAMILY fa = family(a), fb = family(b);
  if (fa == TF_OTHER || fb == TF_OTHER) return false;
  if (chars_alias_other_types && (fa == TF_CHAR || fb == TF_CHAR)) return false;
  if (fa == TF_CHAR) fa = TF_INTEGRAL;
  if (fb == TF_CHAR) fb = TF_INTEGRAL;
  return fa != fb;
}

bool ranges_overlap(int64_t oa, int64_t sa, int64_t ob, int64_t sb) {
  if (sa < 0 || sb < 0) return true;
  return oa < ob + sb && ob < oa + sa;
}

// The base trees read no variable: the same place in every iteration.
bool base_is_loop_invariant(const NODE* t) {
  for (; t; t = t->right) {
    if (t->op == NAME || tree_has_side_effects(t)) return false;
    if (!base_is_loop_invariant(t->left)) return false;
  }
  return true;
}

}  // namespace

void init_aliasing_info() {
  if (!currfuninfo) return;
  mark_address_exposed_symbols_in_function();
  if (alias_vars) {
    if (cfg.bb_list) {
      for (BBLK* b = cfg.bb_list; b; b = b->dflink)
        for (LIST* l = b->statements; l; l = l->next) mark_every_address_taken(l->tree);
    } else {
      for (LIST* l = currfuninfo->stmts; l; l = l->next) mark_every_address_taken(l->tree);
    }
  }
  mark_same_name_globals();
  if (cfg.bb_list) propagate_PT_info();
  find_restricted_roots();
  if (currfuninfo->root_scope) {
    currfuninfo->root_scope->build_PTR_equivalence_groups();
  } else {
    LS scope;
    scope.build_PTR_equivalence_groups();
  }
  info_valid = cfg.bb_list != nullptr;
}

void reset_alias_info() {
  info_valid = false;
  clear_PT_vectors();
}

bool aliasing_info_is_valid() { return info_valid && currfuninfo; }

bool lvalues_may_be_aliased(NODE* a, NODE* b, struct LOOP* loop) {
  a = strip_transparent_marks(a);
  b = strip_transparent_marks(b);
  if (!a || !b) return true;
  LVALUE_DESC da, db;
  describe_lvalue(a, da);
  describe_lvalue(b, db);
  SYMTAB* oa = da.object;
  SYMTAB* ob = db.object;

  // 1. Volatile accesses: two of them alias, unless they are two different
  // volatile objects. The function's top flag turns the step off.
  if (!(currfuninfo && (currfuninfo->flags & 0x80000000u))) {
    bool apart = oa && ob && oa != ob && symbol_type_is_volatile(oa) && symbol_type_is_volatile(ob) &&
                 !group_marks_pair(oa, ob);
    if (da.volatile_access && db.volatile_access) return !apart;
    if ((da.volatile_access || db.volatile_access) && apart) return false;
  }

  // 2. Two different named objects are apart, unless their group marks
  // make them one.
  if (oa && ob && oa != ob) return group_marks_pair(oa, ob);

  // 3. A named object against an access through a pointer: no pointer
  // reaches a variable whose address never escapes. Within one object,
  // the whole of it overlaps every part.
  if (oa && ob) {
    if (da.whole || db.whole) return true;
  } else if ((oa || ob) && aliasing_info_is_valid()) {
    SYMTAB* s = oa ? oa : ob;
    if (!symbol_is_aliased(s) && s->lex_level != 0) return false;
  }

  // 4. Through pointers: restrict, the user's word on types, points-to.
  if (!(oa && ob)) {
    if (unaliased_by_scope(a, b)) return false;
    if (types_cannot_overlap(a->type, b->type)) return false;
    if (aliasing_info_is_valid() && !UMULT_PT_targets_may_overlap(a, b)) return false;
    if (!oa && !ob && pointers_are_antialiased(da.base, db.base)) return false;
  }

  // 5. A loop's alias assertion would answer here; no loop carries one yet.

  // 6. An address that changes something can't be compared.
  if (da.side_effects || db.side_effects) return true;

  // 7. The same object or the same base: compare the places.
  bool same_place_base = (oa && oa == ob) ||
                         (!oa && !ob && da.base && db.base && trees_are_congruent(da.base, db.base));
  if (same_place_base && !da.absolute && !db.absolute) {
    bool constant_places = da.index.empty() && db.index.empty();
    if (loop) {
      // Across iterations only places that are the same in each compare.
      if (constant_places && (oa || base_is_loop_invariant(da.base)))
        return ranges_overlap(da.offset_bits, da.size_bits, db.offset_bits, db.size_bits);
      return true;
    }
    if (constant_places || same_index_terms(da, db))
      return ranges_overlap(da.offset_bits, da.size_bits, db.offset_bits, db.size_bits);
  }

  // 8. Nothing proved them apart.
  return true;
}
