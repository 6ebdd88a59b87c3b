// Calls recognised by name. A library routine is folded only when its
// result is exact and the routine is not defined in this translation unit
// (where it could mean anything). The intrinsic handlers of this target's
// rule base (alignment, 32x32 multiplies, vector repacking) have nothing to
// do: the rule base is empty, so they never see a call.
#include <cstring>

#include "ir/symbol.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool name_is(const NODE* t, const char* name) {
  return t->sym && strcmp(static_cast<const char*>(t->sym), name) == 0;
}

// The text of a string literal argument, up to its first zero.
bool literal_text(NODE* arg, const char*& text, uint32_t& len) {
  while (arg && (arg->op == PCONV || arg->op == ISP2CHAR || arg->op == ACONV)) arg = arg->left;
  if (!arg || arg->op != UAND || !arg->left || arg->left->op != SCON) return false;
  text = arg->left->text;
  len = arg->left->text_len;
  return text != nullptr;
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

bool library_callee(NODE* call, const char* name) {
  SYMTAB* f = get_callee_for_call(call);
  if (!f || !f->name || strcmp(f->name, name) != 0) return false;
  FUNINFO* fi = find_FUNINFO(skip_name_prefix(f->name));
  return !function_is_defined(fi);
}

NODE* simp_library_call(NODE* t, SIMP_CTX& c) {
  NODE* args[2] = {nullptr, nullptr};
  int n = 0;
  if (t->op == CALL) flatten_args(t->right, args, n, 2);
  if (n != 1) return t;
  if (library_callee(t, "strlen") && is_int_type(t->type)) {
    const char* text;
    uint32_t len;
    if (!literal_text(args[0], text, len)) return t;
    uint32_t k = 0;
    while (k < len && text[k]) ++k;
    TYPE* ty = t->type;
    erase_tree(t);
    c.changed = true;
    return mk_icon(INT65(static_cast<unsigned long long>(k)), ty);
  }
  if ((library_callee(t, "sqrt") || library_callee(t, "_sqrt") || library_callee(t, "sqrtf")) && is_fcon(args[0]) &&
      is_flt_type(t->type)) {
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
  if (!tree_has_side_effects(a) && trees_are_congruent(a, b)) {
    NODE* keep = copy_tree(a, false);
    TYPE* ty = t->type;
    erase_tree(t);
    c.changed = true;
    return as_type(keep, ty, c);
  }
  bool pick_a;
  if (kind == MM_FLOAT) {
    if (!is_fcon(a) || !is_fcon(b) || f_is_nan(fval(a)) || f_is_nan(fval(b))) return t;
    // A tie of signed zeros is left to the routine.
    if (f_eq(fval(a), fval(b)) && !f_bit_eq(fval(a), fval(b))) return t;
    pick_a = is_max ? f_ge(fval(a), fval(b)) : f_le(fval(a), fval(b));
  } else {
    if (!is_icon(a) || !is_icon(b) || !is_int_type(t->type)) return t;
    int w = type_bits(t->type);
    INT65 x = truncate_to_width(a->value, w, kind == MM_SIGNED);
    INT65 y = truncate_to_width(b->value, w, kind == MM_SIGNED);
    pick_a = is_max ? x >= y : x <= y;
  }
  NODE* keep = copy_tree(pick_a ? a : b, false);
  TYPE* ty = t->type;
  erase_tree(t);
  c.changed = true;
  return as_type(keep, ty, c);
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
