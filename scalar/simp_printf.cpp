// Output calls whose value nobody reads: printf and fprintf of plain text
// or of one string become puts, putchar or fputs, and output of nothing
// goes. The results differ (printf counts characters, puts does not), so
// these run only where the value is dropped: from peel_for_effect, and on
// the calls that stand as statements in unsimplify, which runs at every
// level (so that a file and the file read again at another level agree). The
// characters written, their order and every effect of the arguments stay.
//
// fprintf with text that does not end in a newline would be fputs to
// stdout, which the unit may not name: printf of such text stays.
#include <cstring>
#include <string>

#include "ir/symbol.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

void flatten(NODE* args, NODE** out, int& n, int max) {
  if (!args) return;
  if (args->op == COMMA) {
    flatten(args->left, out, n, max);
    flatten(args->right, out, n, max);
    return;
  }
  if (n < max) out[n] = args;
  ++n;
}

NODE* literal_of(NODE* arg) {
  while (arg && (arg->op == PCONV || arg->op == ISP2CHAR || arg->op == ACONV)) arg = arg->left;
  if (!arg || arg->op != UAND || !arg->left || arg->left->op != SCON || !arg->left->text) return nullptr;
  return arg->left;
}

// The characters of a literal up to its first zero.
bool literal_chars(NODE* arg, std::string& out) {
  NODE* s = literal_of(arg);
  if (!s) return false;
  out.clear();
  for (uint32_t i = 0; i < s->text_len && s->text[i]; ++i) out.push_back(s->text[i]);
  return true;
}

// What a format prints when it has no conversion but %%; false when it
// reads an argument.
bool format_prints(NODE* fmt, std::string& out) {
  std::string f;
  if (!literal_chars(fmt, f)) return false;
  out.clear();
  for (size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '%') {
      out.push_back(f[i]);
      continue;
    }
    if (i + 1 >= f.size() || f[i + 1] != '%') return false;
    out.push_back('%');
    ++i;
  }
  return true;
}

// &"text" beside the literal `like`: same element type, same pointer type.
NODE* mk_literal(const std::string& text, NODE* like_arg) {
  NODE* like = literal_of(like_arg);
  const TYPE* at = rep(like->type);
  TYPE* elem = at->elem_type();
  uint32_t count = static_cast<uint32_t>(text.size()) + 1;
  TYPE* array = tp->mk_array(elem, count, count * elem->size, elem->align, at->is_cpp, true);
  NODE* s = new_node(SCON, array);
  s->mk_scon(text.data(), static_cast<uint32_t>(text.size()));
  s->scope = like->scope;
  return maketree(UAND, s, nullptr, like_arg->type, like->scope);
}

NODE* as_arg(NODE* arg, TYPE* want) {
  if (!want || same_type(arg->type, want)) return arg;
  return coerce_to_type(want->normalized_type(), arg);
}

TYPE* char_ptr_of(NODE* fmt) { return fmt->type; }

// The call made a call of `routine` with `args` (built from copies); the
// old arguments go.
NODE* recall(NODE* t, SYMTAB* routine, NODE* args) {
  erase_tree(t->right);
  t->right = args;
  set_callee(t, routine);
  return t;
}

SYMTAB* putchar_routine() { return library_function("putchar", int_type(), {int_type()}); }
SYMTAB* puts_routine(TYPE* char_ptr) { return library_function("puts", int_type(), {char_ptr}); }
SYMTAB* fputs_routine(TYPE* char_ptr, TYPE* stream) {
  return library_function("fputs", int_type(), {char_ptr, stream});
}

// The routine is looked up before anything is built for it: a type made
// for a rewrite that does not happen would leave a number unused.
NODE* call_putchar(NODE* t, SYMTAB* pc, NODE* ch) { return recall(t, pc, as_arg(ch, param_type(pc, 0))); }

NODE* call_puts(NODE* t, SYMTAB* ps, NODE* s) { return recall(t, ps, as_arg(s, param_type(ps, 0))); }

NODE* call_fputs(NODE* t, SYMTAB* fp, NODE* s, NODE* f) {
  NODE* args = maketree(COMMA, as_arg(s, param_type(fp, 0)), as_arg(f, param_type(fp, 1)), void_type(), t->scope);
  return recall(t, fp, args);
}

NODE* mk_char(unsigned char ch) { return mk_icon(INT65(static_cast<long long>(ch)), int_type()); }

bool is_char_pointer(const TYPE* t) {
  const TYPE* r = rep(t);
  if (!r || r->kind != TYPE::KIND_POINTER) return false;
  const TYPE* e = rep(r->type_pointed_to());
  return e && is_int_type(e) && type_bits(e) == 16;
}

NODE* printf_for_effect(NODE* t) {
  NODE* a[3] = {nullptr, nullptr, nullptr};
  int n = 0;
  flatten(t->right, a, n, 3);
  std::string text;
  if (n == 1 && format_prints(a[0], text)) {
    // The format is a literal: nothing of it has to run.
    if (text.empty()) {
      erase_tree(t);
      return nullptr;
    }
    if (text.size() == 1) {
      SYMTAB* pc = putchar_routine();
      return pc ? call_putchar(t, pc, mk_char(static_cast<unsigned char>(text[0]))) : t;
    }
    if (text.back() == '\n') {
      SYMTAB* ps = puts_routine(char_ptr_of(a[0]));
      if (!ps) return t;
      text.pop_back();
      return call_puts(t, ps, mk_literal(text, a[0]));
    }
    return t;
  }
  if (n == 2 && literal_chars(a[0], text)) {
    if (text == "%s\n" && is_char_pointer(a[1]->type)) {
      SYMTAB* ps = puts_routine(char_ptr_of(a[0]));
      return ps ? call_puts(t, ps, copy_tree(a[1], false)) : t;
    }
    if (text == "%c" && is_int_type(a[1]->type) && type_bits(a[1]->type) == 32) {
      SYMTAB* pc = putchar_routine();
      return pc ? call_putchar(t, pc, copy_tree(a[1], false)) : t;
    }
  }
  return t;
}

NODE* fprintf_for_effect(NODE* t) {
  NODE* a[3] = {nullptr, nullptr, nullptr};
  int n = 0;
  flatten(t->right, a, n, 3);
  if (n < 2 || !is_ptr_type(a[0]->type)) return t;
  std::string text;
  if (n == 2 && format_prints(a[1], text)) {
    if (text.empty()) {
      NODE* f = copy_tree(a[0], false);
      erase_tree(t);
      return peel_for_effect(f);
    }
    // The stream ran before the format; the literal has no effect, so the
    // stream may run after it.
    SYMTAB* fp = fputs_routine(char_ptr_of(a[1]), a[0]->type);
    return fp ? call_fputs(t, fp, mk_literal(text, a[1]), copy_tree(a[0], false)) : t;
  }
  if (n == 3 && literal_chars(a[1], text) && text == "%s" && is_char_pointer(a[2]->type) &&
      !tree_has_side_effects(a[0]) && !tree_has_side_effects(a[2])) {
    SYMTAB* fp = fputs_routine(char_ptr_of(a[1]), a[0]->type);
    return fp ? call_fputs(t, fp, copy_tree(a[2], false), copy_tree(a[0], false)) : t;
  }
  return t;
}

NODE* puts_for_effect(NODE* t) {
  NODE* a[2] = {nullptr, nullptr};
  int n = 0;
  flatten(t->right, a, n, 2);
  std::string text;
  if (n == 1 && literal_chars(a[0], text) && text.empty()) {
    SYMTAB* pc = putchar_routine();
    return pc ? call_putchar(t, pc, mk_char('\n')) : t;
  }
  return t;
}

NODE* fputs_for_effect(NODE* t) {
  NODE* a[2] = {nullptr, nullptr};
  int n = 0;
  flatten(t->right, a, n, 2);
  std::string text;
  if (n == 2 && literal_chars(a[0], text) && text.empty()) {
    NODE* f = copy_tree(a[1], false);
    erase_tree(t);
    return peel_for_effect(f);
  }
  return t;
}

NODE* one_call_for_effect(NODE* t) {
  if (!t || t->op != CALL) return t;
  if (library_callee(t, "printf")) return printf_for_effect(t);
  if (library_callee(t, "fprintf")) return fprintf_for_effect(t);
  if (library_callee(t, "puts")) return puts_for_effect(t);
  if (library_callee(t, "fputs")) return fputs_for_effect(t);
  return t;
}

}  // namespace

// A rewrite may give a call another rule takes up (printf("%s\n", "")
// becomes puts(""), which is putchar('\n')): the rules run until the
// routine stays, so that a reading of the output finds nothing left to do.
NODE* simp_call_for_effect(NODE* t) {
  for (int round = 0; round < 4 && t && t->op == CALL; ++round) {
    SYMTAB* before = get_callee_for_call(t);
    t = one_call_for_effect(t);
    if (!t || t->op != CALL || get_callee_for_call(t) == before) break;
  }
  return t;
}

}  // namespace simp
