// Sharing of types with lists: freezing, the search for an equal type, and the
// merging of one type into another.
#include <set>
#include <utility>
#include <vector>

#include "ir/type_pkg.h"
#include "ir/type_tree.h"

namespace {

// Deep equality. Pairs of types with lists under comparison are assumed
// equal, which both ends recursion through pointers back to a structure and
// keeps every pair from being compared twice.
class SAME_TYPE {
 public:
  bool types(const TYPE* a, const TYPE* b) {
    if (a) a = a->last_base();
    if (b) b = b->last_base();
    if (a == b) return true;
    if (!a || !b || !a->frozen || !b->frozen) return false;
    if (a->kind != b->kind || a->size != b->size || a->align != b->align || a->is_cpp != b->is_cpp ||
        a->subpart2 != b->subpart2 || a->is_bool2 != b->is_bool2 || a->ikind != b->ikind || a->fkind != b->fkind ||
        a->lowered != b->lowered || a->name != b->name)
      return false;
    switch (a->kind) {
      case TYPE::KIND_VOID:
      case TYPE::KIND_INTEGRAL:
      case TYPE::KIND_FLOATING: return true;
      case TYPE::KIND_FIXED: {
        auto* x = static_cast<FIXED_RECORD*>(a->subpart);
        auto* y = static_cast<FIXED_RECORD*>(b->subpart);
        return x->scale == y->scale && x->explicit_sign == y->explicit_sign && types(x->underlying, y->underlying);
      }
      case TYPE::KIND_COMPLEX:
      case TYPE::KIND_POINTER:
      case TYPE::KIND_REFERENCE:
      case TYPE::KIND_QUALIFIED:
      case TYPE::KIND_TYPEDEF: return types(static_cast<TYPE*>(a->subpart), static_cast<TYPE*>(b->subpart));
      case TYPE::KIND_ARRAY: {
        auto* x = static_cast<ARRAY_RECORD*>(a->subpart);
        auto* y = static_cast<ARRAY_RECORD*>(b->subpart);
        return x->count == y->count && x->vector == y->vector && x->complete == y->complete &&
               types(x->elem, y->elem);
      }
      case TYPE::KIND_PTM: {
        auto* x = static_cast<PTM_RECORD*>(a->subpart);
        auto* y = static_cast<PTM_RECORD*>(b->subpart);
        return types(x->target, y->target) && types(x->csu, y->csu);
      }
      default: break;
    }
    if (!assumed.insert({a, b}).second) return true;
    switch (a->kind) {
      case TYPE::KIND_FUNCTION: return funcs(static_cast<FUNC_RECORD*>(a->subpart), static_cast<FUNC_RECORD*>(b->subpart));
      case TYPE::KIND_ENUM: return enums(static_cast<ENUM_RECORD*>(a->subpart), static_cast<ENUM_RECORD*>(b->subpart));
      case TYPE::KIND_CLASS:
      case TYPE::KIND_STRUCT:
      case TYPE::KIND_UNION: return csus(static_cast<CSU_RECORD*>(a->subpart), static_cast<CSU_RECORD*>(b->subpart));
      default: tp_die("unhandled type kind: same_type()");
    }
  }

 private:
  std::set<std::pair<const TYPE*, const TYPE*>> assumed;

  // Two lists of equal length whose elements agree pairwise.
  template <class E, class F>
  static bool lists(const E* x, const E* y, F same) {
    for (; x && y; x = x->next, y = y->next)
      if (!same(x, y)) return false;
    return !x && !y;
  }

  bool params(const fkPARAM* x, const fkPARAM* y) {
    return lists(x, y, [&](const fkPARAM* p, const fkPARAM* q) {
      return p->flag == q->flag && p->word == q->word && p->name == q->name && types(p->type, q->type);
    });
  }

  bool funcs(const FUNC_RECORD* x, const FUNC_RECORD* y) {
    return x->flag1 == y->flag1 && x->flag2 == y->flag2 && x->convention == y->convention &&
           x->has_params == y->has_params && types(x->result, y->result) && params(x->params, y->params);
  }

  bool enums(const ENUM_RECORD* x, const ENUM_RECORD* y) {
    return x->has_etors == y->has_etors && types(x->underlying, y->underlying) &&
           lists(x->etors, y->etors,
                 [](const fkETOR* p, const fkETOR* q) { return p->name == q->name && p->value == q->value; });
  }

  bool elems(const fkTYPE_ELEM* x, const fkTYPE_ELEM* y) {
    return lists(x, y, [&](const fkTYPE_ELEM* p, const fkTYPE_ELEM* q) { return types(p->type, q->type); });
  }

  bool csus(const CSU_RECORD* x, const CSU_RECORD* y) {
    if (x->word0 != y->word0 || x->no_stack_sharing != y->no_stack_sharing || x->class_word != y->class_word ||
        x->union_compat != y->union_compat || x->complete != y->complete)
      return false;
    for (int k = 0; k < 10; ++k)
      if (x->has_list[k] != y->has_list[k]) return false;
    return lists(x->bclasses, y->bclasses,
                 [&](const fkBCLASS* p, const fkBCLASS* q) {
                   return p->offset == q->offset && p->byte == q->byte && p->flag == q->flag && types(p->base, q->base);
                 }) &&
           lists(x->adecls, y->adecls,
                 [](const fkADECL* p, const fkADECL* q) { return p->word == q->word && p->byte == q->byte; }) &&
           lists(x->ffriends, y->ffriends,
                 [&](const fkFFRIEND* p, const fkFFRIEND* q) { return p->name == q->name && types(p->type, q->type); }) &&
           elems(x->cfriends, y->cfriends) && elems(x->ntypes, y->ntypes) &&
           lists(x->mdata, y->mdata,
                 [&](const fkMDATA* p, const fkMDATA* q) {
                   return p->member_id == q->member_id && p->name == q->name && p->byte == q->byte &&
                          p->offset == q->offset && p->width == q->width && p->field_type == q->field_type &&
                          p->field_type_text == q->field_type_text && p->is_bitfield == q->is_bitfield &&
                          p->flag1 == q->flag1 && p->flag2 == q->flag2 && types(p->type, q->type);
                 }) &&
           lists(x->sdata, y->sdata,
                 [&](const fkSDATA* p, const fkSDATA* q) {
                   return p->name == q->name && p->byte == q->byte && types(p->type, q->type);
                 }) &&
           lists(x->mfuncs, y->mfuncs,
                 [&](const fkMFUNC* p, const fkMFUNC* q) {
                   for (int i = 0; i < 4; ++i)
                     if (p->flags[i] != q->flags[i]) return false;
                   return p->name == q->name && p->byte == q->byte && p->offset == q->offset && types(p->type, q->type);
                 }) &&
           params(x->params, y->params);
  }
};

void unlink_derived(TYPE* root, TYPE* t, const std::string& key) {
  auto range = root->derived.equal_range(key);
  for (auto it = range.first; it != range.second; ++it)
    if (it->second == t) {
      root->derived.erase(it);
      return;
    }
  tp_die("type missing from its derived map");
}

// A type whose root was merged away has rep and normalized answers that may
// rest on the old root, as may everything built on it.
void refresh_subtree(TYPE* t) {
  auto refresh = [](TYPE* d) {
    if (d->kind == TYPE::KIND_QUALIFIED || d->kind == TYPE::KIND_TYPEDEF)
      d->rep = static_cast<TYPE*>(d->subpart)->rep;
    d->normalized = nullptr;
  };
  refresh(t);
  for_each_type(t, refresh);
}

// The first frozen type in `root`'s bucket for `key` equal to `t`.
TYPE* equal_in_bucket(TYPE* root, const std::string& key, TYPE* t) {
  auto range = root->derived.equal_range(key);
  for (auto it = range.first; it != range.second; ++it) {
    TYPE* c = it->second;
    if (c != t && !c->base && c->frozen && SAME_TYPE().types(c, t)) return c;
  }
  return nullptr;
}

void merge_into(TYPE* old, TYPE* keep);

// Moves `t` from the derived map of its root to that of `to`, an equal type,
// and merges it with an equal type found there.
void rehome(TYPE* t, TYPE* to) {
  TYPE* from = type_root(t);
  std::string key = type_key(t);
  unlink_derived(from, t, key);
  set_type_root(t, to);
  TYPE* equal = t->frozen ? equal_in_bucket(to, key, t) : nullptr;
  to->derived.emplace(key, t);
  refresh_subtree(t);
  if (equal) merge_into(t, equal);
}

// `old` is equal to `keep` and gives way to it; the types built on `old` move
// to `keep` so that what is made later is shared with them.
void merge_into(TYPE* old, TYPE* keep) {
  old->base = keep;
  keep->based.push_back(old);
  std::vector<TYPE*> built_on;
  for (auto& entry : old->derived)
    if (!entry.second->base) built_on.push_back(entry.second);
  for (TYPE* d : built_on)
    if (!d->base && type_root(d) == old) rehome(d, keep);
}

}  // namespace

bool same_type(const TYPE* a, const TYPE* b) { return SAME_TYPE().types(a, b); }

void TYPE_PKG::type_frozen(TYPE*& type) {
  if (!type) tp_die("type_frozen() of a null type");
  if (type->frozen) return;
  TYPE* t = type;
  TYPE* root = type_root(t);
  if (!root) tp_die("type_frozen() of a type without a root");
  // Its root may have been merged away while the lists were read.
  TYPE* home = root->last_base();
  unlink_derived(root, t, type_key(t));
  if (home != root) set_type_root(t, home);
  t->frozen = true;
  std::string key = type_key(t);
  TYPE* equal = equal_in_bucket(home, key, t);
  home->derived.emplace(key, t);
  if (equal) {
    merge_into(t, equal);
    type = equal;
    return;
  }
  if (is_named_type(t)) named.emplace(t->name, t);
}

TYPE* TYPE_PKG::find_equivalent_type(TYPE* type) {
  if (!type) return nullptr;
  TYPE* t = type->last_base();
  if (!t->frozen || t == root_type) return t;
  // Merging moves the types built on a merged type, so the root of `t` is
  // one that stays.
  if (TYPE* equal = equal_in_bucket(type_root(t), type_key(t), t)) {
    merge_into(t, equal);
    return equal;
  }
  if (is_named_type(t)) {
    auto range = named.equal_range(t->name);
    for (auto it = range.first; it != range.second; ++it) {
      TYPE* c = it->second;
      if (c != t && !c->base && same_type(c, t)) {
        merge_into(t, c);
        return c;
      }
    }
  }
  return t;
}
