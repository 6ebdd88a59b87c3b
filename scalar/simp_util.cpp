// Queries and small constructors shared by the simplifier's rule files, and
// the tree predicates other passes use with it (side effects, congruence,
// peeling for effect).
#include <cstring>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/simp_internal.h"

namespace simp {

// ---- Types -------------------------------------------------------------------

bool is_int_type(const TYPE* t) {
  const TYPE* r = rep(t);
  return r && (r->kind == TYPE::KIND_INTEGRAL || r->kind == TYPE::KIND_ENUM);
}

bool is_bool_type(const TYPE* t) {
  const TYPE* r = rep(t);
  return r && r->kind == TYPE::KIND_INTEGRAL && r->is_bool() && !r->is_bool2;
}

bool is_wrap_int(const TYPE* t) {
  if (!is_int_type(t) || is_bool_type(t)) return false;
  int b = type_bits(t);
  return b >= 1 && b <= 64;
}

bool is_flt_type(const TYPE* t) {
  const TYPE* r = rep(t);
  return r && r->kind == TYPE::KIND_FLOATING;
}

bool is_ptr_type(const TYPE* t) {
  const TYPE* r = rep(t);
  return r && r->kind == TYPE::KIND_POINTER;
}

bool is_volatile_type(const TYPE* t) { return t && (t->qual_kind(true) & TYPE::Q_VOLATILE); }

int type_bits(const TYPE* t) {
  const TYPE* r = rep(t);
  if (!r) return 0;
  if (r->kind == TYPE::KIND_ENUM) return static_cast<int>(rep(r->underlying_type())->size);
  return static_cast<int>(r->size);
}

bool type_is_signed(const TYPE* t) { return t && t->is_signed(); }

bool same_type(const TYPE* a, const TYPE* b) {
  if (a == b) return true;
  if (!a || !b) return false;
  TYPE* na = const_cast<TYPE*>(a)->normalized_type()->type_qualified();
  TYPE* nb = const_cast<TYPE*>(b)->normalized_type()->type_qualified();
  if (na == nb) return true;
  return rep(na) == rep(nb);
}

TYPE* int_type() { return tp->basic[TYPE_PKG::BT_INT]; }
TYPE* uint_type() { return tp->basic[TYPE_PKG::BT_UINT]; }
TYPE* void_type() { return tp->basic[TYPE_PKG::BT_VOID]; }

TYPE* int_type_of(int bits, bool is_signed) {
  static const int kinds[][2] = {{TYPE_PKG::BT_UCHAR, TYPE_PKG::BT_CHAR},
                                 {TYPE_PKG::BT_USHORT, TYPE_PKG::BT_SHORT},
                                 {TYPE_PKG::BT_UINT, TYPE_PKG::BT_INT},
                                 {TYPE_PKG::BT_ULONG, TYPE_PKG::BT_LONG},
                                 {TYPE_PKG::BT_ULLONG, TYPE_PKG::BT_LLONG}};
  for (const auto& k : kinds) {
    TYPE* t = tp->basic[k[is_signed ? 1 : 0]];
    if (static_cast<int>(t->size) == bits) return t->normalized_type();
  }
  return nullptr;
}

TYPE* combined_type(TYPE* a, TYPE* b) {
  if (!a) return b;
  if (!b) return a;
  if (is_flt_type(a)) return a;
  if (is_flt_type(b)) return b;
  if (!is_int_type(a) || !is_int_type(b)) return a;
  TYPE* r = c_usual_arith_conv(a, b);
  return r ? r->normalized_type() : a;
}

INT65 width_mask(int bits) {
  if (bits >= 65) return INT65(-1);
  return INT65::from_i128((static_cast<__int128>(1) << bits) - 1);
}

INT65 type_min(const TYPE* t) {
  int b = type_bits(t);
  if (is_bool_type(t) || !type_is_signed(t)) return INT65(0);
  return INT65::from_i128(-(static_cast<__int128>(1) << (b - 1)));
}

INT65 type_max(const TYPE* t) {
  int b = type_bits(t);
  if (is_bool_type(t)) return INT65(1);
  if (type_is_signed(t)) return INT65::from_i128((static_cast<__int128>(1) << (b - 1)) - 1);
  return width_mask(b);
}

bool fits_type(const INT65& v, const TYPE* t) { return v >= type_min(t) && v <= type_max(t); }

int log2_exact(const INT65& v) {
  if (v <= INT65(0)) return -1;
  __int128 x = v.i128();
  if (x & (x - 1)) return -1;
  int n = 0;
  while (x > 1) x >>= 1, ++n;
  return n;
}

// ---- Nodes -------------------------------------------------------------------

bool is_icon_value(const NODE* t, long long v) { return is_icon(t) && t->value == INT65(v); }

bool is_fcon_value(const NODE* t, long long v) {
  if (!is_fcon(t)) return false;
  simul_fval k;
  f_itof(v, &k);
  return f_eq(fval(t), &k);
}

bool is_fcon_pos_zero(const NODE* t) { return is_fcon(t) && f_bit_eq(fval(t), &pos_zero); }
bool is_fcon_neg_zero(const NODE* t) { return is_fcon(t) && f_bit_eq(fval(t), &neg_zero); }

bool const_is_true(const NODE* t) {
  if (is_icon(t)) return !t->value.is_zero();
  return !f_is_zero(fval(t));  // a NaN is true
}

bool is_leaf(const NODE* t) { return t && !t->left && !t->right; }

bool is_leaf_like(const NODE* t) {
  if (!t) return false;
  if (is_leaf(t)) return true;
  return t->op == UAND && t->left && t->left->op == NAME && !t->right;
}

bool is_lvalue_volatile(const NODE* t) {
  if (!t) return false;
  if (is_volatile_type(t->type) || is_volatile_type(t->cast_type)) return true;
  switch (t->op) {
    case NAME: {
      const SYMTAB* s = t->name_symbol();
      if (!s) return false;
      if (volit_vars && s->lex_level != 0 && (s->sflags & SF_USER)) return true;
      return is_volatile_type(s->type) || is_volatile_type(s->decl_type);
    }
    case UMULT:
    case STREF: {
      const TYPE* p = t->left ? rep(t->left->type) : nullptr;
      if (volit_vars) return true;
      return p && p->kind == TYPE::KIND_POINTER && is_volatile_type(p->type_pointed_to());
    }
    case STDOT: return is_lvalue_volatile(t->left);
    default: return false;
  }
}

bool is_commutative(int op) { return op >= 0 && op < 256 && commute_inv[op] != 255; }
bool is_relop(int op) { return op >= EQ && op <= UGT; }
bool is_unsigned_relop(int op) { return op >= ULE && op <= UGT; }
bool is_opASG(int op) { return op >= 0 && op < 256 && op_of_opASG[op] != 255; }

INT65 icon_in(const NODE* c, const TYPE* t) { return truncate_to_type(c->value, t); }

NODE* mk_icon(const INT65& v, TYPE* t) { return mk_ICON(v, t); }
NODE* mk_int_icon(long long v) { return mk_ICON(INT65(v), int_type()); }

NODE* take_left(NODE* t) {
  NODE* l = t->left;
  t->left = nullptr;
  erase_tree(t);
  return l;
}

NODE* take_right(NODE* t) {
  NODE* r = t->right;
  t->right = nullptr;
  erase_tree(t);
  return r;
}

NODE* resimp(NODE* t, SIMP_CTX& c) { return simp_node(t, c.loop, c.context); }

NODE* as_type(NODE* x, TYPE* t, SIMP_CTX& c) {
  if (!x || !t || same_type(x->type, t)) return x;
  if (is_void_kind(t)) return x;
  return resimp(coerce_to_type(t, x), c);
}

NODE* keep_effects(NODE* dropped, NODE* value) {
  NODE* effects = peel_for_effect(dropped);
  if (!effects) return value;
  return mk_COMMAOP(effects, value);
}

NODE* mk_zero_of(TYPE* t) {
  if (is_flt_type(t)) return mk_FCON(pos_zero, t);
  if (is_ptr_type(t)) return coerce_to_type(t, mk_ICON(INT65(0), tp->basic[TYPE_PKG::BT_SHORT]));
  return mk_ICON(INT65(0), t);
}

NODE* mk_binary(int op, NODE* l, NODE* r, TYPE* t, SIMP_CTX& c) {
  return resimp(maketree(op, l, r, t, l ? l->scope : nullptr), c);
}

NODE* mk_unary(int op, NODE* l, TYPE* t, SIMP_CTX& c) {
  return resimp(maketree(op, l, nullptr, t, l ? l->scope : nullptr), c);
}

bool is_pure_intrinsic(const char* name) {
  static const char* const kPure[] = {"MAX",  "MAXU",  "MIN",  "MINU",  "LMAX", "LMAXU", "LMIN", "LMINU",
                                      "LLMAX", "LLMAXU", "LLMIN", "LLMINU", "FMAX", "FMIN",  "DMAX", "DMIN",
                                      "LDMAX", "LDMIN", kStrictTernaryName};
  if (!name) return false;
  for (const char* p : kPure)
    if (strcmp(name, p) == 0) return true;
  return false;
}

bool is_void_kind(const TYPE* t) {
  const TYPE* r = rep(t);
  return !r || r->kind == TYPE::KIND_VOID;
}

}  // namespace simp

using namespace simp;

NODE* mk_FCON(const simul_fval& value, TYPE* type) {
  NODE* n = maketree(FCON, nullptr, nullptr, type, nullptr);
  simul_fval* v = static_cast<simul_fval*>(zalloc0(1, sizeof(simul_fval)));
  *v = value;
  n->sym = v;
  return n;
}

// ---- Side effects and congruence ------------------------------------------------

namespace {

// The node itself, its operands aside.
bool node_has_side_effect(const NODE* t) {
  switch (t->op) {
    case CALL:
    case UCALL:
    case MCALL:
    case UMCALL:
    case ASG:
    case STASG:
    case ARASG:
    case PLUSPLUS:
    case MINMIN:
    case ASM:
    case MEMCPY:
    case ASSERT:
    case NASSERT:
    case RETURN:
    case URETURN:
    case BRANCH:
    case CBRANCH:
    case IF:
    case SWITCH:
    case LABELDEF:
    case PPRAGMA:
    case SSA_PHI:
    case SSA_DEF:
    case SSA_CHI:
    case CSE_DUPE:
    case CSE_ORIG:
      return true;
    case ICALL:
    case UICALL:
      // Most intrinsics are library routines with effects of their own
      // (variable arguments, for one); a few are known to be pure.
      if (!is_pure_intrinsic(static_cast<const char*>(t->sym))) return true;
      break;
    case NAME:
    case UMULT:
    case STREF:
    case STDOT:
      if (is_lvalue_volatile(t)) return true;
      break;
    default:
      if (simp::is_opASG(t->op)) return true;
      break;
  }
  return false;
}

}  // namespace

bool tree_has_side_effects(const NODE* t) {
  for (; t; t = t->right) {
    if (node_has_side_effect(t)) return true;
    if (tree_has_side_effects(t->left)) return true;
  }
  return false;
}

bool tree_may_have_side_effects(const NODE* t, int& budget) {
  for (; t; t = t->right) {
    if (--budget < 0 || node_has_side_effect(t)) return true;
    if (tree_may_have_side_effects(t->left, budget)) return true;
  }
  return false;
}

bool trees_are_congruent(const NODE* a, const NODE* b) {
  for (;;) {
    if (a == b) return true;
    if (!a || !b) return false;
    if (a->op != b->op) return false;
    if (!same_type(a->type, b->type)) return false;
    switch (a->op) {
      case NAME:
        if (a->sym != b->sym) return false;
        break;
      case ICON:
      case LABEL:
      case LABELDEF:
      case SKIP:
        if (a->value != b->value) return false;
        break;
      case FCON:
        if (!a->sym || !b->sym || !f_bit_eq(fval(a), fval(b))) return false;
        break;
      case SCON:
        if (a->text_len != b->text_len || (a->text_len && memcmp(a->text, b->text, a->text_len) != 0)) return false;
        break;
      case FIELD:
        if (a->mval != b->mval || a->sym != b->sym) return false;
        break;
      case ICALL:
      case UICALL:
      case MCALL:
      case UMCALL:
        if (!a->sym || !b->sym || strcmp(static_cast<const char*>(a->sym), static_cast<const char*>(b->sym)) != 0)
          return false;
        break;
      case ASM:
        if (!a->text || !b->text || strcmp(a->text, b->text) != 0) return false;
        break;
      case CSE_DUPE:
      case CSE_ORIG:
        return false;
      default:
        if (a->value != b->value) return false;
        break;
    }
    if (!trees_are_congruent(a->left, b->left)) return false;
    a = a->right;
    b = b->right;
  }
}

bool returns_1_or_0(const NODE* t) {
  if (!t) return false;
  if (t->op >= 0 && t->op < 256 && boolean_result[t->op]) return true;
  if (t->op == ICON) return t->value == INT65(0) || t->value == INT65(1);
  if (is_bool_type(t->type) && t->op != FCON) return true;
  switch (t->op) {
    case ANDB: return returns_1_or_0(t->left) || returns_1_or_0(t->right);
    case ORB:
    case XORB: return returns_1_or_0(t->left) && returns_1_or_0(t->right);
    case QUEST: return t->right && returns_1_or_0(t->right->left) && returns_1_or_0(t->right->right);
    case COMMAOP: return returns_1_or_0(t->right);
    case SCONV: return is_int_type(t->type) && is_int_type(t->left->type) && returns_1_or_0(t->left);
    default: return false;
  }
}

bool tree_is_arg_prolog(const NODE* t) {
  if (!t) return false;
  if (t->op == PCOMMA) return tree_is_arg_prolog(t->left) && tree_is_arg_prolog(t->right);
  if (t->op != ASG || !t->left || t->left->op != NAME || !t->right) return false;
  const NODE* r = t->right;
  while (r && (r->op == SCONV || r->op == PCONV || r->op == ISP2CHAR)) r = r->left;
  if (!r || r->op != NAME) return false;
  const SYMTAB* l = t->left->name_symbol();
  const SYMTAB* p = r->name_symbol();
  return l && p && p->sclass == SC_PARAM && l->name && p->name && strcmp(l->name, p->name) == 0;
}

// ---- Peeling ------------------------------------------------------------------------

namespace {

NODE* join_effects(NODE* a, NODE* b) {
  if (!a) return b;
  if (!b) return a;
  return mk_COMMAOP(a, b);
}

}  // namespace

NODE* peel_for_effect(NODE* t) {
  if (!t) return nullptr;
  if (!tree_has_side_effects(t)) {
    erase_tree(t);
    return nullptr;
  }
  switch (t->op) {
    case COMMAOP:
    case COMMA: {
      NODE* l = peel_for_effect(t->left);
      NODE* r = peel_for_effect(t->right);
      t->left = t->right = nullptr;
      erase_tree(t);
      return join_effects(l, r);
    }
    case NAME:
    case UMULT:
    case STREF:
    case STDOT:
      // A volatile access is itself the effect.
      if (is_lvalue_volatile(t)) return t;
      break;
    case QUEST:
    case ANDAND:
    case OROR:
      // The right side runs only on some paths: keep the whole test.
      return t;
    case PCOMMA:
      return t;
    case CALL:
      // Nobody reads the result: a cheaper routine may do the same output.
      return simp_call_for_effect(t);
    default:
      break;
  }
  if (t->op >= 0 && t->op < 256 && side_effects[t->op] != 0) return t;
  if (t->op == ICALL || t->op == UICALL) return t;
  // A pure operator: only its operands can have effects, and the order
  // between them is free.
  NODE* l = peel_for_effect(t->left);
  NODE* r = peel_for_effect(t->right);
  t->left = t->right = nullptr;
  erase_tree(t);
  return join_effects(l, r);
}

namespace {

// Statements for the effects of t, in order, behind `at`; gives the last.
LIST* link_effects(NODE* t, LIST* at) {
  if (!t) return at;
  if (t->op == COMMAOP) {
    NODE* a = t->left;
    NODE* b = t->right;
    t->left = t->right = nullptr;
    erase_tree(t);
    return link_effects(b, link_effects(a, at));
  }
  // The old value of x++ is not wanted here.
  if (t->op == PLUSPLUS) t->op = PLUSASG;
  else if (t->op == MINMIN) t->op = MINUSASG;
  at->next = mkelist(t, at->next, at->psn);
  return at->next;
}

}  // namespace

void promote_tree(NODE* tree, LIST* cell) {
  if (!cell) {
    erase_tree(tree);
    return;
  }
  link_effects(peel_for_effect(tree), cell);
}
