// Comparisons. The machine compares the 32-bit words of its operands, signed
// or unsigned by the operator; every integer rule here reasons on those
// words. Floating comparisons only fold: with NaN about, no ordered
// comparison can be inverted or decided from one operand.
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool pure(const NODE* t) { return !tree_has_side_effects(t); }

NODE* answer(NODE* t, bool v, SIMP_CTX& c) {
  TYPE* ty = is_int_type(t->type) ? t->type : int_type();
  NODE* l = t->left;
  NODE* r = t->right;
  t->left = t->right = nullptr;
  erase_tree(t);
  c.changed = true;
  NODE* result = mk_icon(INT65(v ? 1 : 0), ty);
  result = keep_effects(r, result);
  return keep_effects(l, result);
}

// The number the operator compares for a value v: its 32-bit word read
// signed or unsigned.
INT65 read_word(const INT65& v, int op) { return truncate_to_width(v, 32, !is_unsigned_relop(op)); }

// The words of [lo, hi] under the operator's reading form one interval
// (the reading has no jump inside it).
bool read_range(const INT65& lo, const INT65& hi, int op, INT65& rlo, INT65& rhi) {
  rlo = read_word(lo, op);
  rhi = read_word(hi, op);
  return rlo <= rhi && (rhi - rlo) == (hi - lo);
}

int decide(int op, const INT65& rlo, const INT65& rhi, const INT65& rc) {
  switch (op) {
    case EQ: return rc < rlo || rc > rhi ? 0 : (rlo == rhi ? 1 : -1);
    case NEQ: return rc < rlo || rc > rhi ? 1 : (rlo == rhi ? 0 : -1);
    case LT: case ULT: return rhi < rc ? 1 : (rlo >= rc ? 0 : -1);
    case LE: case ULE: return rhi <= rc ? 1 : (rlo > rc ? 0 : -1);
    case GT: case UGT: return rlo > rc ? 1 : (rhi <= rc ? 0 : -1);
    case GE: case UGE: return rlo >= rc ? 1 : (rhi < rc ? 0 : -1);
    default: return -1;
  }
}

// A comparison at an end of the range is an equality: x <= lo is x == lo.
bool tighten(int op, const INT65& rlo, const INT65& rhi, const INT65& rc, int& new_op, INT65& value) {
  switch (op) {
    case LE: case ULE:
      if (rc == rlo) return new_op = EQ, value = rlo, true;
      if (rc == rhi - INT65(1)) return new_op = NEQ, value = rhi, true;
      return false;
    case LT: case ULT:
      if (rc == rlo + INT65(1)) return new_op = EQ, value = rlo, true;
      if (rc == rhi) return new_op = NEQ, value = rhi, true;
      return false;
    case GE: case UGE:
      if (rc == rhi) return new_op = EQ, value = rhi, true;
      if (rc == rlo + INT65(1)) return new_op = NEQ, value = rlo, true;
      return false;
    case GT: case UGT:
      if (rc == rhi - INT65(1)) return new_op = EQ, value = rhi, true;
      if (rc == rlo) return new_op = NEQ, value = rlo, true;
      return false;
    default:
      return false;
  }
}

int unsigned_form(int op) {
  switch (op) {
    case LT: return ULT;
    case LE: return ULE;
    case GT: return UGT;
    case GE: return UGE;
    default: return op;
  }
}

int signed_form(int op) {
  switch (op) {
    case ULT: return LT;
    case ULE: return LE;
    case UGT: return GT;
    case UGE: return GE;
    default: return op;
  }
}

// A widening integer conversion whose source is a plain integer type.
bool is_int_widening(const NODE* x) {
  return x && x->op == SCONV && x->left && is_wrap_int(x->type) && is_wrap_int(x->left->type) &&
         type_bits(x->left->type) < type_bits(x->type) && type_bits(x->type) <= 32;
}

// The operator that compares the narrow values as the wide operator compares
// their extensions, or -1. Sign extension keeps signed order, and unsigned
// order of the patterns; zero extension keeps the order of the unsigned
// values.
int narrowed_op(int op, const TYPE* narrow) {
  if (op == EQ || op == NEQ) return op;
  if (type_is_signed(narrow)) return is_unsigned_relop(op) ? -1 : op;
  return unsigned_form(op);
}

NODE* narrow_compare(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  if (!is_int_widening(l)) return nullptr;
  TYPE* nt = l->left->type;
  int nop = narrowed_op(t->op, nt);
  if (nop < 0) return nullptr;
  if (is_icon(r)) {
    // The constant must be the extension of a narrow value.
    // Extension keeps the value, so the constant must be a narrow value.
    INT65 v = icon_in(r, r->type);
    if (!fits_type(v, nt)) return nullptr;
    r->value = v;
    r->type = nt;
    t->left = take_left(l);
    t->op = nop;
    c.changed = true;
    return t;
  }
  if (is_int_widening(r) && same_type(r->left->type, nt) && same_type(l->type, r->type)) {
    t->left = take_left(l);
    t->right = take_left(r);
    t->op = nop;
    c.changed = true;
    return t;
  }
  return nullptr;
}

// Equalities through operators that are one-to-one modulo 2^w.
NODE* equality_algebra(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* lt = l->type;
  if (!is_icon(r) || !is_wrap_int(lt) || !same_type(lt, r->type) || !same_type(l->type, lt)) return nullptr;
  INT65 k = icon_in(r, lt);
  auto rewrite = [&](const INT65& v) {
    r->value = truncate_to_type(v, lt);
    t->left = take_left(l);
    c.changed = true;
    return t;
  };
  switch (l->op) {
    case PLUS:
      if (is_icon(l->right) && same_type(l->left->type, lt)) {
        INT65 k2 = icon_in(l->right, lt);
        erase_tree(l->right);
        l->right = nullptr;
        return rewrite(k - k2);
      }
      return nullptr;
    case XORB:
      if (is_icon(l->right) && same_type(l->left->type, lt)) {
        INT65 k2 = icon_in(l->right, lt);
        erase_tree(l->right);
        l->right = nullptr;
        return rewrite(k ^ k2);
      }
      return nullptr;
    case UMINUS:
      if (same_type(l->left->type, lt)) return rewrite(-k);
      return nullptr;
    case NOTB:
      if (same_type(l->left->type, lt)) return rewrite(~k);
      return nullptr;
    case MINUS:
      // x - y == 0 is x == y
      if (k.is_zero() && !is_ptr_type(l->left->type) && same_type(l->left->type, lt) &&
          same_type(l->right->type, lt)) {
        erase_tree(r);
        t->right = l->right;
        l->right = nullptr;
        t->left = take_left(l);
        c.changed = true;
        return t;
      }
      return nullptr;
    default:
      return nullptr;
  }
}

// x + k1 < k2 is x < k2 - k1 when x + k1 can't wrap and k2 - k1 fits.
NODE* ordered_offset(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  TYPE* lt = l->type;
  if (t->op == EQ || t->op == NEQ || !is_icon(r) || l->op != PLUS || !is_icon(l->right)) return nullptr;
  if (!is_wrap_int(lt) || type_bits(lt) > 32 || !same_type(lt, r->type) || !same_type(l->left->type, lt)) return nullptr;
  if (type_is_signed(lt) == is_unsigned_relop(t->op)) return nullptr;
  if (!arith_cannot_wrap(l, &c)) return nullptr;
  INT65 v = icon_in(r, lt) - icon_in(l->right, lt);
  if (!fits_type(v, lt)) return nullptr;
  erase_tree(l->right);
  l->right = nullptr;
  r->value = v;
  t->left = take_left(l);
  c.changed = true;
  return t;
}

}  // namespace

NODE* simp_relop(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  if (!l || !r) return t;
  bool ints = is_int_type(l->type) && is_int_type(r->type);
  // A pointer equals itself.
  if (!ints && is_ptr_type(l->type) && is_ptr_type(r->type) && !tree_has_side_effects(l) &&
      trees_are_congruent(l, r)) {
    int op = t->op;
    return answer(t, op == EQ || op == LE || op == GE || op == ULE || op == UGE, c);
  }
  if (!ints) return t;
  if (type_bits(l->type) > 32 || type_bits(r->type) > 32) return t;
  // x cmp x
  if (pure(l) && trees_are_congruent(l, r)) {
    int op = t->op;
    return answer(t, op == EQ || op == LE || op == GE || op == ULE || op == UGE, c);
  }
  bool same = same_type(l->type, r->type);
  if (!same) return t;
  // A value of 1 or 0 against 0 or 1 is itself or its opposite.
  if ((t->op == EQ || t->op == NEQ) && is_icon(r) && returns_1_or_0(l) && !is_icon(l)) {
    INT65 k = icon_in(r, l->type);
    bool keep = (t->op == NEQ) == k.is_zero();
    // x == 0 stays itself unless x inverts into one comparison.
    if ((k.is_zero() || k == INT65(1)) && (keep || inverts_without_wrapper(l) || t->op == NEQ)) {
      TYPE* ty = t->type;
      NODE* x = take_left(t);
      c.changed = true;
      return as_type(keep ? x : invert_boolean_tree(x), ty, c);
    }
  }
  if (is_icon(r)) {
    INT65 lo, hi, rlo, rhi;
    INT65 rc = read_word(icon_in(r, l->type), t->op);
    if (value_range(l, lo, hi, &c) && read_range(lo, hi, t->op, rlo, rhi)) {
      int d = decide(t->op, rlo, rhi, rc);
      if (d >= 0) return answer(t, d == 1, c);
      int nop;
      INT65 v;
      if (tighten(t->op, rlo, rhi, rc, nop, v)) {
        r->value = truncate_to_type(v, l->type);
        t->op = nop;
        c.changed = true;
        return t;
      }
    }
    // Equality against a constant that has a bit the value can't have.
    if (t->op == EQ || t->op == NEQ) {
      int w = type_bits(l->type);
      INT65 z, o;
      known_bits(l, l->type, z, o);
      INT65 p = truncate_to_width(r->value, w, false);
      if (!(p & z).is_zero() || !(~p & o & width_mask(w)).is_zero()) return answer(t, t->op == NEQ, c);
    }
  }
  if (NODE* n = narrow_compare(t, c)) return n;
  if (t->op == EQ || t->op == NEQ) {
    if (NODE* n = equality_algebra(t, c)) return n;
  } else if (NODE* n = ordered_offset(t, c)) {
    return n;
  }
  // An unsigned operator on values that can't be negative reads like the
  // signed one, and the reverse; keep the operator that agrees with the
  // type.
  if (t->op != EQ && t->op != NEQ && type_bits(l->type) < 32) {
    int want = type_is_signed(l->type) ? signed_form(t->op) : unsigned_form(t->op);
    INT65 lo, hi, rlo, rhi;
    if (want != t->op && value_range(l, lo, hi, &c) && value_range(r, rlo, rhi, &c) && lo >= INT65(0) &&
        rlo >= INT65(0)) {
      t->op = want;
      c.changed = true;
      return t;
    }
  }
  return t;
}

}  // namespace simp
