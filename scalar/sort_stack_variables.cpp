// sort_stack_variables: the order of a function's locals in its frame.
// Scalars come before aggregates and the most used before the rest, so that
// the frequent accesses get the short offsets and an array sits at the far
// end; then the larger alignments first, which leaves the fewest holes.
// Ties keep the order the locals had, so a second run over our own output
// finds them sorted already.
//
// The file lists a function's locals in creation order (serial), which is
// the order the code generator lays out: the sort hands the stack order on
// by giving the locals the same serials in the new order.
#include <algorithm>
#include <map>
#include <vector>

#include "driver/globals.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/simp_internal.h"

namespace {

bool has_stack_slot(const SYMTAB* s) {
  if (s->lex_level != 2 || !s->type) return false;
  return s->sclass != SC_REGISTER && s->sclass != SC_REG17 && s->sclass != SC_REG22 && s->sclass != SC_PARAM;
}

bool is_aggregate(const SYMTAB* s) {
  const TYPE* r = simp::rep(s->type);
  return r && (r->kind == TYPE::KIND_ARRAY || r->kind == TYPE::KIND_STRUCT || r->kind == TYPE::KIND_UNION ||
               r->kind == TYPE::KIND_CLASS);
}

int32_t align_of(const SYMTAB* s) {
  int32_t a = s->align > 0 ? s->align : static_cast<int32_t>(s->type->align);
  return a > 16 ? a : 16;
}

int32_t size_of(const SYMTAB* s) { return s->size > 0 ? s->size : static_cast<int32_t>(s->type->size); }

void count_uses(const NODE* t, std::map<const SYMTAB*, long>& uses) {
  for (; t; t = t->right) {
    if (t->op == NAME) ++uses[t->name_symbol()];
    count_uses(t->left, uses);
  }
}

std::map<const SYMTAB*, long> use_counts() {
  std::map<const SYMTAB*, long> uses;
  if (cfg.bb_list) {
    for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink)
      for (LIST* l = bb->statements; l; l = l->next) count_uses(l->tree, uses);
  } else if (currfuninfo) {
    for (LIST* l = currfuninfo->stmts; l; l = l->next) count_uses(l->tree, uses);
  }
  return uses;
}

}  // namespace

SYMTAB* sort_stack_variables(SYMTAB* chain) {
  std::vector<SYMTAB*> all;
  std::vector<SYMTAB*> slots;
  for (SYMTAB* s = chain; s; s = s->next) {
    all.push_back(s);
    if (has_stack_slot(s)) slots.push_back(s);
  }
  if (slots.empty()) return chain;
  std::map<const SYMTAB*, long> uses = use_counts();
  auto uses_of = [&uses](const SYMTAB* s) {
    auto it = uses.find(s);
    return it == uses.end() ? 0L : it->second;
  };
  std::vector<int32_t> serials;
  for (SYMTAB* s : slots) serials.push_back(s->serial);
  std::sort(serials.begin(), serials.end());
  std::sort(slots.begin(), slots.end(), [&](const SYMTAB* a, const SYMTAB* b) {
    if (is_aggregate(a) != is_aggregate(b)) return !is_aggregate(a);
    long ua = uses_of(a), ub = uses_of(b);
    if (ua != ub) return ua > ub;
    if (align_of(a) != align_of(b)) return align_of(a) > align_of(b);
    if (size_of(a) != size_of(b)) return size_of(a) < size_of(b);
    return a->serial < b->serial;
  });
  int32_t offset = 0;
  for (size_t i = 0; i < slots.size(); ++i) {
    SYMTAB* s = slots[i];
    s->serial = serials[i];
    int32_t a = align_of(s);
    offset = (offset + a - 1) / a * a;
    s->offset = offset;  // bits from the start of the locals' area
    offset += size_of(s);
  }
  // The chain stays newest first.
  std::stable_sort(all.begin(), all.end(), [](const SYMTAB* a, const SYMTAB* b) { return a->serial > b->serial; });
  for (size_t i = 0; i + 1 < all.size(); ++i) all[i]->next = all[i + 1];
  all.back()->next = nullptr;
  return all.front();
}
