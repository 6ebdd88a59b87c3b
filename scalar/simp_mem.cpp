// Memory access and assignment: UMULT, UAND, STREF, STDOT, the
// assignments, MEMCPY, and the vector operators (dormant on this target).
#include "ir/symbol.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool pure(const NODE* t) { return !tree_has_side_effects(t); }

bool same_size_both_ways(const TYPE* a, const TYPE* b) {
  return a && b && rep(a)->size == rep(b)->size && compatible_types(a, b, false);
}

TYPE* pointee(const NODE* p) {
  const TYPE* r = p ? rep(p->type) : nullptr;
  return r && r->kind == TYPE::KIND_POINTER ? r->type_pointed_to() : nullptr;
}

// The right side of an operator-assignment that leaves an integer target
// as it is: x += 0, x |= 0, x *= 1, x &= ~0 and the like.
bool is_identity_update(int op, const NODE* lhs, const NODE* rhs) {
  if (!is_icon(rhs) || !is_wrap_int(lhs->type) || !is_int_type(rhs->type)) return false;
  INT65 v = rhs->value;
  switch (op) {
    case PLUSASG: case MINUSASG: case ORBASG: case XORBASG: case SLLASG: case SRLASG:
      return v.is_zero();
    case MULTASG: case DIVASG:
      return v == INT65(1);
    case ANDBASG:
      // All ones over at least the target's width.
      return type_bits(rhs->type) >= type_bits(lhs->type) &&
             (truncate_to_width(v, type_bits(lhs->type), false) == width_mask(type_bits(lhs->type)));
    default:
      return false;
  }
}

}  // namespace

NODE* simp_UMULT(NODE* t, SIMP_CTX& c) {
  NODE* p = t->left;
  if (!p) return t;
  // *&x is x when the access reads x as its own type and adds no volatile.
  if (p->op == UAND && p->left && same_size_both_ways(t->type, p->left->type) &&
      !(is_volatile_type(t->type) && !is_lvalue_volatile(p->left))) {
    c.changed = true;
    return take_left(take_left(t));
  }
  return t;
}

NODE* simp_UAND(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  if (!x) return t;
  // &*p is p, with no access to *p.
  if (x->op == UMULT && x->left && is_ptr_type(x->left->type)) {
    TYPE* ty = t->type;
    c.changed = true;
    return as_type(take_left(take_left(t)), ty, c);
  }
  return t;
}

NODE* simp_STREF(NODE* t, SIMP_CTX& c) {
  NODE* p = t->left;
  // (&s)->f is s.f
  if (p && p->op == UAND && p->left && t->right && t->right->op == FIELD) {
    TYPE* target = pointee(p);
    if (target && same_size_both_ways(target, p->left->type)) {
      t->left = take_left(p);
      t->op = STDOT;
      c.changed = true;
      return t;
    }
  }
  return t;
}

NODE* simp_STDOT(NODE* t, SIMP_CTX& c) {
  NODE* x = t->left;
  // (*p).f is p->f
  if (x && x->op == UMULT && x->left && t->right && t->right->op == FIELD) {
    TYPE* target = pointee(x->left);
    if (target && same_size_both_ways(target, x->type) && !(x->left->op == UAND)) {
      t->left = take_left(x);
      t->op = STREF;
      c.changed = true;
      return t;
    }
  }
  return t;
}

NODE* simp_ASG(NODE* t, SIMP_CTX& c) {
  NODE* l = t->left;
  NODE* r = t->right;
  if (!l || !r) return t;
  TYPE* ty = t->type;
  // x = x stores what is there already.
  if (t->op == ASG && pure(l) && trees_are_congruent(l, r)) {
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  if (t->op != ASG && pure(l) && pure(r) && is_identity_update(t->op, l, r)) {
    c.changed = true;
    return as_type(take_left(t), ty, c);
  }
  return t;
}

namespace {

void memcpy_operands(NODE* args, NODE** out, int& n) {
  if (!args) return;
  if (args->op == COMMA) {
    memcpy_operands(args->left, out, n);
    memcpy_operands(args->right, out, n);
    return;
  }
  if (n < 3) out[n] = args;
  ++n;
}

NODE* strip_to_pointer(NODE* p) {
  while (p && (p->op == PCONV || p->op == ISP2CHAR) && p->left && is_ptr_type(p->left->type)) p = p->left;
  return p;
}

// The pointer of a typed object that a copy of `units` units fills
// exactly: an integer or pointer of that size (floating values could lose
// a NaN's pattern in a register), not volatile. Its type says it is
// aligned for the access.
NODE* scalar_object(NODE* p, uint32_t units) {
  NODE* q = strip_to_pointer(p);
  TYPE* target = q ? pointee(q) : nullptr;
  if (!target || is_volatile_type(target) || is_bool_type(target)) return nullptr;
  if (!is_int_type(target) && !is_ptr_type(target)) return nullptr;
  if (type_bits(target) <= 0 || static_cast<uint32_t>(type_bits(target)) != units * 16) return nullptr;
  return q;
}

bool is_fixed_address(const NODE* p) {
  while (p && (p->op == PCONV || p->op == ISP2CHAR)) p = p->left;
  return p && p->op == UAND && p->left && (p->left->op == NAME || p->left->op == SCON);
}

}  // namespace

// MEMCPY carries memcpy's operands, COMMA(COMMA(dest, src), units), and
// copies `units` units from src to dest; its value, when it has one, is
// dest. The vector passes make it; the rules keep the order dest, src,
// units of the evaluation.
NODE* simp_MEMCPY(NODE* t, SIMP_CTX& c) {
  NODE* a[3] = {nullptr, nullptr, nullptr};
  int n = 0;
  memcpy_operands(t->left, a, n);
  if (n != 3) return t;
  NODE* d = a[0];
  NODE* s = a[1];
  NODE* k = a[2];
  if (!is_ptr_type(d->type) || !is_ptr_type(s->type)) return t;
  TYPE* ty = t->type;
  bool value_wanted = !is_void_kind(ty);
  // No unit changes: nothing to copy, or every unit copied onto itself.
  TYPE* target = pointee(strip_to_pointer(d));
  bool onto_itself = pure(d) && pure(k) && trees_are_congruent(d, s) && !(target && is_volatile_type(target));
  if ((is_icon(k) && k->value.is_zero()) || onto_itself) {
    NODE* keep;
    if (pure(s) && pure(k)) keep = copy_tree(d, false);
    else if (!value_wanted) keep = mk_COMMAOP(mk_COMMAOP(copy_tree(d, false), copy_tree(s, false)), copy_tree(k, false));
    else if (pure(d) && is_fixed_address(d)) keep = mk_COMMAOP(mk_COMMAOP(copy_tree(s, false), copy_tree(k, false)), copy_tree(d, false));
    else return t;
    erase_tree(t);
    c.changed = true;
    return as_type(keep, ty, c);
  }
  // A copy of one scalar is an assignment: dest's address, then src, as
  // before. Its value would be the stored one, not dest.
  if (value_wanted || !is_icon(k) || !is_int_type(k->type)) return t;
  INT65 units = sign_extend_by_type(k->value, k->type);
  if (units < INT65(1) || units > INT65(4)) return t;
  NODE* dp = scalar_object(d, static_cast<uint32_t>(units.low));
  NODE* sp = scalar_object(s, static_cast<uint32_t>(units.low));
  if (!dp || !sp) return t;
  TYPE* dt = pointee(dp);
  TYPE* st = pointee(sp);
  if (!same_type(dt, st) && !(is_int_type(dt) && is_int_type(st))) return t;
  if (is_ptr_type(dt) != is_ptr_type(st)) return t;
  TYPE* vt = dt->normalized_type();
  NODE* lhs = maketree(UMULT, copy_tree(dp, false), nullptr, vt, t->scope);
  NODE* rhs = maketree(UMULT, copy_tree(sp, false), nullptr, st->normalized_type(), t->scope);
  // Integers of one size: the bits pass unchanged through the conversion.
  if (!same_type(dt, st)) rhs = coerce_to_type(vt, rhs);
  erase_tree(t);
  c.changed = true;
  return resimp(maketree(ASG, lhs, rhs, vt, lhs->scope), c);
}

// The vector operators stand only in trees of the vector passes; for this
// target there are none to simplify.
NODE* simp_vector_node(NODE* t, SIMP_CTX&) { return t; }

}  // namespace simp

using namespace simp;

NODE* opASG_to_ASG(NODE* t) {
  if (!t || !is_opASG(t->op) || !t->left || !t->right) return t;
  NODE* l = t->left;
  if (tree_has_side_effects(l) || is_lvalue_volatile(l)) return t;
  int op = op_of_opASG[t->op];
  TYPE* lt = l->type;
  NODE* r = t->right;
  NODE* value;
  if (is_ptr_type(lt)) {
    if (op != PLUS && op != MINUS) return t;
    value = maketree(op, copy_tree(l, false), r, lt, l->scope);
  } else {
    // C computes on the promoted operands and converts back to the target.
    TYPE* ct;
    if (op == SLL || op == SRL) ct = c_integral_promotions(lt);
    else ct = combined_type(is_int_type(lt) ? c_integral_promotions(lt) : lt,
                            is_int_type(r->type) ? c_integral_promotions(r->type) : r->type);
    if (!ct) return t;
    ct = ct->normalized_type();
    NODE* a = coerce_to_type(ct, copy_tree(l, false));
    NODE* b = (op == SLL || op == SRL) ? r : coerce_to_type(ct, r);
    value = coerce_to_type(lt, maketree(op, a, b, ct, l->scope));
  }
  t->right = value;
  t->op = ASG;
  return t;
}
