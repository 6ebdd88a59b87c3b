// The C questions about types: compatibility, the integral promotions and the
// usual arithmetic conversions.
#include <set>
#include <utility>

#include "ir/type_pkg.h"

namespace {

class COMPAT {
 public:
  COMPAT(bool check_quals, bool exact, const char* who) : check_quals(check_quals || exact), exact(exact), who(who) {}

  // The top level: qualifiers and typedefs do not count unless exact.
  bool top(const TYPE* a, const TYPE* b) {
    if (a == b) return true;
    if (!a || !b) return false;
    if (exact) {
      if (a->qual_kind(true) != b->qual_kind(true)) return false;
      return reps(a->stqs()->last_base(), b->stqs()->last_base());
    }
    return reps(a->rep->last_base()->rep, b->rep->last_base()->rep);
  }

 private:
  bool check_quals;
  bool exact;
  const char* who;
  std::set<std::pair<const TYPE*, const TYPE*>> assumed;

  // Below the top: pointer targets, elements, parameters, members.
  bool inner(const TYPE* a, const TYPE* b) {
    if (!a || !b) return a == b;
    if (check_quals && a->qual_kind(true) != b->qual_kind(true)) return false;
    return top(a, b);
  }

  bool reps(const TYPE* a, const TYPE* b) {
    if (a == b) return true;
    if (a->kind != b->kind) {
      // An enum is compatible with its underlying integral type.
      if (exact) return false;
      if (a->kind == TYPE::KIND_ENUM && b->kind == TYPE::KIND_INTEGRAL) return top(a->underlying_type(), b);
      if (b->kind == TYPE::KIND_ENUM && a->kind == TYPE::KIND_INTEGRAL) return top(a, b->underlying_type());
      return false;
    }
    switch (a->kind) {
      case TYPE::KIND_VOID: return true;
      case TYPE::KIND_INTEGRAL:
        return a->ikind == b->ikind && a->subpart2 == b->subpart2 && a->size == b->size &&
               (!exact || (a->is_bool2 == b->is_bool2 && a->align == b->align));
      case TYPE::KIND_FLOATING: return a->fkind == b->fkind && a->size == b->size && (!exact || a->align == b->align);
      case TYPE::KIND_FIXED: {
        auto* x = a->getr_fixed();
        auto* y = b->getr_fixed();
        return x->scale == y->scale && x->explicit_sign == y->explicit_sign && a->size == b->size;
      }
      case TYPE::KIND_COMPLEX: return inner(a->part_type(), b->part_type());
      case TYPE::KIND_POINTER:
      case TYPE::KIND_REFERENCE: return inner(a->type_pointed_to(), b->type_pointed_to());
      case TYPE::KIND_ARRAY: {
        auto* x = a->getr_array();
        auto* y = b->getr_array();
        if (x->vector != y->vector) return false;
        if (exact) {
          if (x->count != y->count || x->complete != y->complete) return false;
        } else if (known_count(x) && known_count(y) && x->count != y->count) {
          return false;
        }
        return inner(x->elem, y->elem);
      }
      case TYPE::KIND_PTM: {
        auto* x = a->getr_ptm();
        auto* y = b->getr_ptm();
        return inner(x->target, y->target) && top(x->csu, y->csu);
      }
      case TYPE::KIND_FUNCTION: return assume(a, b) || funcs(a->getr_func(), b->getr_func());
      case TYPE::KIND_ENUM: return assume(a, b) || enums(a, b);
      case TYPE::KIND_CLASS:
      case TYPE::KIND_STRUCT:
      case TYPE::KIND_UNION: return assume(a, b) || csus(a, b);
      default: tp_die(who);
    }
  }

  static bool known_count(const ARRAY_RECORD* r) { return r->complete || r->count != 0; }

  // A pair met again while it is being compared is taken as compatible.
  bool assume(const TYPE* a, const TYPE* b) { return !assumed.insert({a, b}).second; }

  bool funcs(const FUNC_RECORD* x, const FUNC_RECORD* y) {
    if (exact && (x->flag1 != y->flag1 || x->flag2 != y->flag2 || x->convention != y->convention)) return false;
    // The qualifiers of a result or a parameter are not part of the function
    // type: they are compared as at the top.
    if (!top(x->result, y->result)) return false;
    const fkPARAM* p = x->params;
    const fkPARAM* q = y->params;
    for (; p && q; p = p->next, q = q->next)
      if (!top(p->type, q->type)) return false;
    return !p && !q;
  }

  bool enums(const TYPE* a, const TYPE* b) {
    if (a->name != b->name || !top(a->underlying_type(), b->underlying_type())) return false;
    const fkETOR* p = a->getr_enum()->etors;
    const fkETOR* q = b->getr_enum()->etors;
    for (; p && q; p = p->next, q = q->next)
      if (p->name != q->name || p->value != q->value) return false;
    return !p && !q;
  }

  // Two class types are one type in C only when they are the same record;
  // equal records (as from two translation units) count as compatible.
  bool csus(const TYPE* a, const TYPE* b) {
    if (a->name != b->name || a->size != b->size) return false;
    const fkMDATA* p = a->getr_csu()->mdata;
    const fkMDATA* q = b->getr_csu()->mdata;
    for (; p && q; p = p->next, q = q->next)
      if (p->name != q->name || p->offset != q->offset || p->is_bitfield != q->is_bitfield ||
          (p->is_bitfield && p->width != q->width) || !inner(p->type, q->type))
        return false;
    return !p && !q;
  }
};

TYPE* int_type(TYPE_PKG::BASIC b) {
  if (!tp || !tp->basic[b]) tp_die("type package not initialised");
  return tp->basic[b];
}

// The arithmetic type of `t`: qualifiers, typedefs and enum-ness gone.
TYPE* arithmetic(TYPE* t) {
  t = t->stqs();
  if (t->kind == TYPE::KIND_ENUM) t = t->underlying_type()->stqs();
  return t;
}

}  // namespace

bool compatible_types(const TYPE* a, const TYPE* b, bool check_quals) {
  return COMPAT(check_quals, false, "unhandled type: compatible_types()").top(a, b);
}

bool exact_types(const TYPE* a, const TYPE* b) {
  return COMPAT(true, true, "unhandled type: exact_types()").top(a, b);
}

TYPE* normalized_underlying_type(TYPE* type) { return type ? type->normalized_type() : nullptr; }

TYPE* c_integral_promotions(TYPE* type) {
  if (!type) return nullptr;
  TYPE* t = arithmetic(type);
  if (t->kind != TYPE::KIND_INTEGRAL) return t;
  TYPE* i = int_type(TYPE_PKG::BT_INT);
  if (t->ikind == TYPE::IK_BOOL) return i;
  if (t->rank() >= i->rank()) return t;
  // int when it holds every value of the type, unsigned int otherwise.
  if (t->size < i->size || (t->size == i->size && t->is_signed())) return i;
  return int_type(TYPE_PKG::BT_UINT);
}

TYPE* c_usual_arith_conv(TYPE* a, TYPE* b) {
  if (!a || !b) return a ? a : b;
  TYPE* x = arithmetic(a);
  TYPE* y = arithmetic(b);
  bool fx = x->kind == TYPE::KIND_FLOATING;
  bool fy = y->kind == TYPE::KIND_FLOATING;
  if (fx && fy) return y->fkind > x->fkind || (y->fkind == x->fkind && y->size > x->size) ? y : x;
  if (fx || fy) return fx ? x : y;
  if (x->kind != TYPE::KIND_INTEGRAL || y->kind != TYPE::KIND_INTEGRAL) return x;
  x = c_integral_promotions(x);
  y = c_integral_promotions(y);
  if (x == y) return x;
  bool sx = x->is_signed();
  if (sx == y->is_signed()) {
    if (x->rank() != y->rank()) return x->rank() > y->rank() ? x : y;
    return y->size > x->size ? y : x;
  }
  TYPE* u = sx ? y : x;
  TYPE* s = sx ? x : y;
  if (u->rank() >= s->rank()) return u;
  if (s->size > u->size) return s;
  return tp->mk_unsigned(s);
}
