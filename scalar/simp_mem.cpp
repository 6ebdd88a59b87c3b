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

// MEMCPY trees are made by the vector passes only, which have nothing to do
// for this target: no rule applies to them.
NODE* simp_MEMCPY(NODE* t, SIMP_CTX&) { return t; }

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
