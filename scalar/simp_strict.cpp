// Strictness: which evaluations may move ahead of the test that guards them.
// A load through a pointer, a division by a variable, a shift by a variable
// count, a floating conversion to an integer and any call can trap or have
// effects when the guard is false, so they stay behind it unless the guard
// itself already evaluates the same expression.
#include <cstring>

#include "ir/symbol.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

// Units of an access of type t.
long units_of(const TYPE* t) { return t ? static_cast<long>(t->size_in_bytes()) : 0; }

// The named object a pointer points into and the constant offset in units,
// when the pointer is the address of a named object plus a constant.
SYMTAB* pointee_name_if_known(NODE* p, long& offset) {
  offset = 0;
  while (p && (p->op == PCONV || p->op == ISP2CHAR)) p = p->left;
  if (!p) return nullptr;
  if (p->op == PLUS && is_icon(p->right)) {
    long base;
    SYMTAB* s = pointee_name_if_known(p->left, base);
    if (!s) return nullptr;
    INT65 k = p->right->value;
    if (!k.fits_signed(32)) return nullptr;
    offset = base + static_cast<long>(k.as_int64());
    return s;
  }
  if (p->op == UAND && p->left && p->left->op == NAME) return p->left->name_symbol();
  return nullptr;
}

// A read at this address stays inside the object.
bool access_is_inside(NODE* ptr, const TYPE* access) {
  long off;
  SYMTAB* s = pointee_name_if_known(ptr, off);
  if (!s || s->size <= 0) return false;
  long size = (s->size + 15) / 16;
  return off >= 0 && off + units_of(access) <= size;
}

// `sub` is evaluated every time `tree` is, outside any conditional part.
bool tree_is_strict_subtree_of_tree(const NODE* sub, const NODE* tree) {
  if (!tree) return false;
  if (trees_are_congruent(sub, tree)) return true;
  switch (tree->op) {
    case ANDAND:
    case OROR:
    case QUEST:
      return tree_is_strict_subtree_of_tree(sub, tree->left);
    default:
      return tree_is_strict_subtree_of_tree(sub, tree->left) || tree_is_strict_subtree_of_tree(sub, tree->right);
  }
}

bool needs_guard(NODE* t, NODE* guard) {
  if (!t) return false;
  bool risky = false;
  switch (t->op) {
    case UMULT:
      risky = !access_is_inside(t->left, t->type);
      break;
    case STREF:
      risky = !(t->left && t->left->op == UAND && t->left->left && t->left->left->op == NAME);
      break;
    case QUEST:
    case ANDAND:
    case OROR:
    case CALL:
    case UCALL:
    case MCALL:
    case UMCALL:
      return true;
    case ICALL:
    case UICALL:
      if (!is_pure_intrinsic(static_cast<const char*>(t->sym))) return true;
      break;
    case DIV:
    case MOD: {
      NODE* d = t->right;
      if (!is_icon(d) || d->value.is_zero()) risky = true;
      else if (type_is_signed(t->type) && sign_extend_by_type(d->value, t->type) == INT65(-1)) risky = true;
      break;
    }
    case SLL:
    case SRL: {
      NODE* k = t->right;
      risky = !is_icon(k) || truncate_to_width(k->value, 32, false) > INT65(31);
      break;
    }
    case SCONV:
      // Out-of-range floating values trap in the conversion.
      risky = t->left && is_flt_type(t->left->type) && is_int_type(t->type) && !is_bool_type(t->type);
      break;
    default:
      break;
  }
  if (risky && !(guard && tree_is_strict_subtree_of_tree(t, guard))) return true;
  return needs_guard(t->left, guard) || needs_guard(t->right, guard);
}

}  // namespace

}  // namespace simp

using namespace simp;

bool rhs_may_need_guard_in_lhs(NODE* rhs, NODE* lhs) { return needs_guard(rhs, lhs); }

bool lvalue_is_inherently_strict(NODE* lv) {
  if (!lv) return false;
  switch (lv->op) {
    case NAME: return true;
    case UMULT: return access_is_inside(lv->left, lv->type);
    case STDOT: return lvalue_is_inherently_strict(lv->left);
    default: return false;
  }
}

bool strict_expr_allows_strict_expr(NODE* a, NODE* b, struct LOOP*) {
  if (!b) return true;
  return !needs_guard(b, a);
}

// The test runs first either way, so it may have effects of its own; the
// arms may not, and neither may need the test as a guard.
bool quest_colon_is_strict(NODE* q) {
  if (!q || q->op != QUEST || !q->right || q->right->op != COLON) return false;
  NODE* a = q->right->left;
  NODE* b = q->right->right;
  if (!a || !b || tree_has_side_effects(a) || tree_has_side_effects(b)) return false;
  return !needs_guard(a, q->left) && !needs_guard(b, q->left);
}

NODE* make_strict_ternary_ICALL(NODE* q) {
  if (!q || q->op != QUEST || !q->right || q->right->op != COLON) return q;
  NODE* colon = q->right;
  NODE* args = maketree(COMMA, maketree(COMMA, q->left, colon->left, void_type(), q->scope), colon->right,
                        void_type(), q->scope);
  colon->left = colon->right = nullptr;
  q->left = q->right = nullptr;
  NODE* call = mk_ICALL(kStrictTernaryName, args, q->type);
  call->scope = q->scope;
  erase_tree(q);
  return call;
}

NODE* revert_strict_ternary_ICALL(NODE* call) {
  if (!call || call->op != ICALL || !call->sym || strcmp(static_cast<const char*>(call->sym), kStrictTernaryName) != 0)
    return call;
  NODE* args = call->left;
  if (!args || args->op != COMMA || !args->left || args->left->op != COMMA) return call;
  NODE* cond = args->left->left;
  NODE* a = args->left->right;
  NODE* b = args->right;
  args->left->left = args->left->right = nullptr;
  args->right = nullptr;
  call->left = nullptr;
  erase_tree(args);
  NODE* q = maketree(QUEST, cond, maketree(COLON, a, b, call->type, call->scope), call->type, call->scope);
  erase_tree(call);
  return q;
}

bool find_or_make_safe_for_ANDB(NODE* t) {
  if (!t) return false;
  if (t->op != ANDB) return true;
  // Left-leaning chain: every left term returns 1 or 0, the last may be
  // anything.
  NODE* left = t->left;
  if (left && left->op == ANDB) return find_or_make_safe_for_ANDB(left) && returns_1_or_0(left->right);
  return returns_1_or_0(left);
}
