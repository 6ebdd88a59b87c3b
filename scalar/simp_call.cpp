// Calls recognised by name. A library routine is rewritten only when the
// translation unit declares it and does not define it (where it could mean
// anything), and only into a form with the same value and the same effects
// in the same order: strlen of a literal, exact square roots, strcpy from a
// literal as memcpy of its known size, memmove between objects that cannot
// overlap as memcpy, copies of no units. Rewrites that change the value
// (printf as puts) wait for a call whose value is unused: see
// simp_printf.cpp.
//
// The intrinsic handlers of this target's rule base (alignment, 32x32
// multiplies, vector repacking) have nothing to do: the rule base is empty,
// so they never see a call. "_ftable", "_sshl", "_ssub" and "_ssub2" have
// no meaning the run-time defines, and are left as they are.
#include <cstring>

#include "ir/symbol.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool name_is(const NODE* t, const char* name) {
  return t->sym && strcmp(static_cast<const char*>(t->sym), name) == 0;
}

NODE* strip_pointer_conversions(NODE* t) {
  while (t && (t->op == PCONV || t->op == ISP2CHAR || t->op == ACONV)) t = t->left;
  return t;
}

// The arguments of a call as a vector (left-nested COMMA list).
void flatten_args(NODE* args, NODE** out, int& n, int max) {
  if (!args) return;
  if (args->op == COMMA) {
    flatten_args(args->left, out, n, max);
    flatten_args(args->right, out, n, max);
    return;
  }
  if (n < max) out[n] = args;
  ++n;
}

// An argument that points to the literal's unit `offset`: &"..." or
// &"..." + k, seen through pointer conversions.
NODE* literal_at(NODE* arg, uint32_t& offset) {
  arg = strip_pointer_conversions(arg);
  offset = 0;
  if (arg && arg->op == PLUS && is_icon(arg->right) && is_int_type(arg->right->type)) {
    INT65 k = sign_extend_by_type(arg->right->value, arg->right->type);
    if (k.is_negative() || k > INT65(0xffff)) return nullptr;
    offset = static_cast<uint32_t>(k.low);
    arg = strip_pointer_conversions(arg->left);
  }
  if (!arg || arg->op != UAND || !arg->left || arg->left->op != SCON || !arg->left->text) return nullptr;
  if (offset > arg->left->text_len) return nullptr;
  return arg->left;
}

// The C string an argument points to, when it is a literal: the units up
// to the first zero (the array's own terminator stands behind the text).
bool literal_string(NODE* arg, const char*& text, uint32_t& len) {
  uint32_t offset;
  NODE* s = literal_at(arg, offset);
  if (!s) return false;
  text = s->text + offset;
  len = 0;
  while (offset + len < s->text_len && text[len]) ++len;
  return true;
}

// The address of a named object or a literal, plus a constant: its value
// can't change while the statement runs.
const void* fixed_object(NODE* p) {
  p = strip_pointer_conversions(p);
  if (p && p->op == PLUS && is_icon(p->right)) p = strip_pointer_conversions(p->left);
  if (!p || p->op != UAND || !p->left) return nullptr;
  if (p->left->op == NAME) return p->left->sym;
  if (p->left->op == SCON) return p->left;
  return nullptr;
}

// Two pointers into objects that can't overlap: a literal is never written,
// and two different named objects are apart.
bool cannot_overlap(NODE* d, NODE* s) {
  uint32_t off;
  if (literal_at(s, off)) return true;
  const void* a = fixed_object(d);
  const void* b = fixed_object(s);
  if (!a || !b || a == b) return false;
  // Globals of one name are one object, whatever records name them.
  uint32_t unused;
  if (literal_at(d, unused)) return true;
  const SYMTAB* x = static_cast<const SYMTAB*>(a);
  const SYMTAB* y = static_cast<const SYMTAB*>(b);
  return !(x->lex_level == 0 && y->lex_level == 0 && x->name && y->name && strcmp(x->name, y->name) == 0);
}

TYPE* const_void_ptr() { return tp->mk_ptr(tp->mk_qual(void_type(), TYPE::Q_CONST)); }

SYMTAB* memcpy_routine() {
  TYPE* pv = tp->mk_ptr(void_type());
  // The unit's own declaration is checked by kind; const void is made only
  // for a declaration of our own, so that no type goes unused.
  if (library_declared("memcpy")) return library_function("memcpy", pv, {pv, pv, uint_type()});
  return library_function("memcpy", pv, {pv, const_void_ptr(), uint_type()});
}

NODE* as_param(NODE* arg, const SYMTAB* f, int index) {
  TYPE* pt = param_type(f, index);
  if (!pt || same_type(arg->type, pt)) return arg;
  return coerce_to_type(pt->normalized_type(), arg);
}

// memcpy(d, s, 0) and memmove(d, s, 0) copy nothing and give d.
NODE* copy_of_nothing(NODE* t, NODE* d, NODE* s, SIMP_CTX& c) {
  TYPE* ty = t->type;
  NODE* keep;
  if (!tree_has_side_effects(s)) {
    keep = copy_tree(d, false);
  } else if (!tree_has_side_effects(d) && fixed_object(d)) {
    // s runs first now; d is an address no effect can change.
    keep = mk_COMMAOP(copy_tree(s, false), copy_tree(d, false));
  } else {
    return t;
  }
  erase_tree(t);
  c.changed = true;
  return as_type(keep, ty, c);
}

NODE* simp_library_call(NODE* t, SIMP_CTX& c) {
  if (t->op != CALL) return t;
  NODE* args[3] = {nullptr, nullptr, nullptr};
  int n = 0;
  flatten_args(t->right, args, n, 3);
  if (n == 1 && library_callee(t, "strlen") && is_int_type(t->type)) {
    const char* text;
    uint32_t len;
    if (!literal_string(args[0], text, len)) return t;
    TYPE* ty = t->type;
    erase_tree(t);
    c.changed = true;
    return mk_icon(INT65(static_cast<unsigned long long>(len)), ty);
  }
  if (n == 1 && (library_callee(t, "sqrt") || library_callee(t, "_sqrt") || library_callee(t, "sqrtf")) &&
      is_fcon(args[0]) && is_flt_type(t->type)) {
    // The exact square roots only; anything else is left to the library.
    NODE* s = fold_constants(maketree(SQRT, copy_tree(args[0], false), nullptr, t->type, t->scope));
    if (!is_fcon(s)) {
      erase_tree(s);
      return t;
    }
    erase_tree(t);
    c.changed = true;
    return s;
  }
  if (n == 2 && library_callee(t, "strcpy") && is_ptr_type(args[0]->type) && is_ptr_type(t->type)) {
    // strcpy(d, "abc") is memcpy(d, "abc", 4): both give d.
    const char* text;
    uint32_t len;
    if (!literal_string(args[1], text, len)) return t;
    SYMTAB* mc = memcpy_routine();
    if (!mc) return t;
    TYPE* ty = t->type;
    NODE* d = as_param(copy_tree(args[0], false), mc, 0);
    NODE* s = as_param(copy_tree(args[1], false), mc, 1);
    TYPE* st = param_type(mc, 2) ? param_type(mc, 2)->normalized_type() : uint_type();
    NODE* size = mk_icon(INT65(static_cast<unsigned long long>(len) + 1), st);
    erase_tree(t->right);
    t->right = maketree(COMMA, maketree(COMMA, d, s, void_type(), t->scope), size, void_type(), t->scope);
    set_callee(t, mc);
    c.changed = true;
    return as_type(t, ty, c);
  }
  bool is_memmove = n == 3 && library_callee(t, "memmove");
  if (n == 3 && (is_memmove || library_callee(t, "memcpy"))) {
    if (is_icon(args[2]) && args[2]->value.is_zero()) return copy_of_nothing(t, args[0], args[1], c);
    if (is_memmove && cannot_overlap(args[0], args[1])) {
      SYMTAB* mc = memcpy_routine();
      if (!mc) return t;
      TYPE* ty = t->type;
      set_callee(t, mc);
      c.changed = true;
      return as_type(t, ty, c);
    }
  }
  return t;
}

enum MINMAX_KIND { MM_NONE, MM_SIGNED, MM_UNSIGNED, MM_FLOAT };

MINMAX_KIND minmax_kind(const char* name, bool& is_max) {
  static const struct {
    const char* name;
    MINMAX_KIND kind;
    bool max;
  } kTable[] = {{"MAX", MM_SIGNED, true},     {"MAXU", MM_UNSIGNED, true},  {"MIN", MM_SIGNED, false},
                {"MINU", MM_UNSIGNED, false}, {"LMAX", MM_SIGNED, true},    {"LMAXU", MM_UNSIGNED, true},
                {"LMIN", MM_SIGNED, false},   {"LMINU", MM_UNSIGNED, false}, {"LLMAX", MM_SIGNED, true},
                {"LLMAXU", MM_UNSIGNED, true}, {"LLMIN", MM_SIGNED, false}, {"LLMINU", MM_UNSIGNED, false},
                {"FMAX", MM_FLOAT, true},     {"FMIN", MM_FLOAT, false},    {"DMAX", MM_FLOAT, true},
                {"DMIN", MM_FLOAT, false},    {"LDMAX", MM_FLOAT, true},    {"LDMIN", MM_FLOAT, false}};
  if (!name) return MM_NONE;
  for (const auto& e : kTable)
    if (strcmp(name, e.name) == 0) {
      is_max = e.max;
      return e.kind;
    }
  return MM_NONE;
}

// Replaces the call by one operand, which moves out of the argument list.
NODE* keep_operand(NODE* t, NODE* keep, SIMP_CTX& c) {
  NODE* k = copy_tree(keep, false);
  TYPE* ty = t->type;
  erase_tree(t);
  c.changed = true;
  return as_type(k, ty, c);
}

NODE* simp_minmax_ICALL(NODE* t, SIMP_CTX& c) {
  bool is_max = false;
  MINMAX_KIND kind = minmax_kind(static_cast<const char*>(t->sym), is_max);
  if (kind == MM_NONE) return t;
  NODE* args[2] = {nullptr, nullptr};
  int n = 0;
  flatten_args(t->left, args, n, 2);
  if (n != 2) return t;
  NODE* a = args[0];
  NODE* b = args[1];
  if (!tree_has_side_effects(a) && trees_are_congruent(a, b)) return keep_operand(t, a, c);
  if (kind == MM_FLOAT) {
    if (!is_fcon(a) || !is_fcon(b) || f_is_nan(fval(a)) || f_is_nan(fval(b))) return t;
    // A tie of signed zeros is left to the routine.
    if (f_eq(fval(a), fval(b)) && !f_bit_eq(fval(a), fval(b))) return t;
    bool pick_a = is_max ? f_ge(fval(a), fval(b)) : f_le(fval(a), fval(b));
    return keep_operand(t, pick_a ? a : b, c);
  }
  if (!is_int_type(t->type)) return t;
  int w = type_bits(t->type);
  bool sgn = kind == MM_SIGNED;
  auto value = [&](const NODE* k) { return truncate_to_width(k->value, w, sgn); };
  if (is_icon(a) && is_icon(b)) {
    bool pick_a = is_max ? value(a) >= value(b) : value(a) <= value(b);
    return keep_operand(t, pick_a ? a : b, c);
  }
  // One constant operand at an end of the range: the other operand, or the
  // constant once the other has run.
  NODE* k = is_icon(b) ? b : is_icon(a) ? a : nullptr;
  NODE* x = k == b ? a : b;
  if (!k) return t;
  INT65 lo = sgn ? -(INT65(1) << (w - 1)) : INT65(0);
  INT65 hi = sgn ? (INT65(1) << (w - 1)) - INT65(1) : width_mask(w);
  INT65 kv = value(k);
  if ((is_max && kv == lo) || (!is_max && kv == hi)) return keep_operand(t, x, c);
  if ((is_max && kv == hi) || (!is_max && kv == lo)) {
    NODE* keep = keep_effects(copy_tree(x, false), copy_tree(k, false));
    TYPE* ty = t->type;
    erase_tree(t);
    c.changed = true;
    return as_type(keep, ty, c);
  }
  // MAX(MAX(x, c1), c2) is MAX(x, max(c1, c2)).
  if (k == b && a->op == t->op && a->sym && name_is(a, static_cast<const char*>(t->sym)) &&
      same_type(a->type, t->type)) {
    NODE* inner[2] = {nullptr, nullptr};
    int m = 0;
    flatten_args(a->left, inner, m, 2);
    if (m == 2 && is_icon(inner[1]) && same_type(inner[1]->type, k->type)) {
      INT65 iv = value(inner[1]);
      bool keep_inner = is_max ? iv >= kv : iv <= kv;
      if (!keep_inner) inner[1]->value = k->value;
      return keep_operand(t, a, c);
    }
  }
  return t;
}

// The conditional evaluated without branches: a constant test or equal arms
// leave one arm.
NODE* simp_strict_ternary_ICALL(NODE* t, SIMP_CTX& c) {
  NODE* args = t->left;
  if (!args || args->op != COMMA || !args->left || args->left->op != COMMA) return t;
  NODE* cond = args->left->left;
  NODE* a = args->left->right;
  NODE* b = args->right;
  if (is_const(cond) || (trees_are_congruent(a, b) && !tree_has_side_effects(cond))) {
    bool take_a = is_const(cond) ? const_is_true(cond) : true;
    NODE* keep = take_a ? a : b;
    if (take_a) args->left->right = nullptr;
    else args->right = nullptr;
    TYPE* ty = t->type;
    erase_tree(t);
    c.changed = true;
    return as_type(keep, ty, c);
  }
  return t;
}

// __builtin_expect(x, c) is x.
NODE* simp_builtin_expect_ICALL(NODE* t, SIMP_CTX& c) {
  NODE* args[2] = {nullptr, nullptr};
  int n = 0;
  flatten_args(t->left, args, n, 2);
  if (n != 2 || tree_has_side_effects(args[1])) return t;
  NODE* x = args[0];
  if (t->left == x) return t;
  NODE* parent = t->left;  // COMMA(x, c)
  if (parent->left != x) return t;
  parent->left = nullptr;
  TYPE* ty = t->type;
  erase_tree(t);
  c.changed = true;
  return as_type(x, ty, c);
}

}  // namespace

NODE* simp_call(NODE* t, SIMP_CTX& c) {
  switch (t->op) {
    case CALL:
    case UCALL:
      return simp_library_call(t, c);
    case ICALL:
      if (name_is(t, kStrictTernaryName)) return simp_strict_ternary_ICALL(t, c);
      if (name_is(t, "__builtin_expect")) return simp_builtin_expect_ICALL(t, c);
      return simp_minmax_ICALL(t, c);
    default:
      return t;
  }
}

}  // namespace simp
