// The run-time library as the simplifier sees it: which call is a call of a
// library routine, and the declarations of the routines that a rewrite
// calls instead (puts for printf, memcpy for strcpy). A routine that the
// translation unit defines, or declares with another type, is never used.
#include <cstring>
#include <initializer_list>
#include <new>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/simp_internal.h"

namespace simp {

namespace {

bool defined_here(const SYMTAB* s) {
  if (s->sclass != SC_EXTREF) return true;
  FUNINFO* fi = find_FUNINFO(skip_name_prefix(s->name));
  return fi && function_is_defined(fi);
}

// Two types a call may pass for one another: both pointers, or both
// integers (or floating) of one size.
bool same_kind(const TYPE* a, const TYPE* b) {
  if (is_ptr_type(a) || is_ptr_type(b)) return is_ptr_type(a) && is_ptr_type(b);
  if (is_void_kind(a) || is_void_kind(b)) return is_void_kind(a) && is_void_kind(b);
  if (is_int_type(a) != is_int_type(b) || is_flt_type(a) != is_flt_type(b)) return false;
  return type_bits(a) == type_bits(b);
}

// A declaration already in the unit agrees with the routine we mean.
bool declaration_agrees(const TYPE* have, TYPE* result, std::initializer_list<TYPE*> params) {
  const TYPE* h = rep(have);
  if (!h || h->kind != TYPE::KIND_FUNCTION) return false;
  const FUNC_RECORD* hf = h->getr_func();
  if (!same_kind(hf->result, result)) return false;
  if (!hf->has_params || !hf->flag2) return true;  // no prototype: any arguments
  if (hf->flag1) return false;                     // a variable-argument routine is another one
  const fkPARAM* p = hf->params;
  for (TYPE* want : params) {
    if (!p || !same_kind(p->type, want)) return false;
    p = p->next;
  }
  return !p;
}

// The prototyped, fixed-argument function type. One that exists already is
// taken as it is: a new type merged into an old one would leave its number
// unused, and the written file would change when it is read again.
TYPE* library_function_type(TYPE* result, std::initializer_list<TYPE*> params) {
  TYPE* home = result->last_base();
  for (const auto& entry : home->derived) {
    TYPE* t = entry.second;
    if (!t->frozen || t->base || t->kind != TYPE::KIND_FUNCTION) continue;
    const FUNC_RECORD* f = t->getr_func();
    if (f->flag1 || !f->flag2 || !f->has_params || t->is_cpp || f->convention != 0) continue;
    const fkPARAM* p = f->params;
    bool same = true;
    for (TYPE* want : params) {
      if (!p || !exact_types(p->type, want)) {
        same = false;
        break;
      }
      p = p->next;
    }
    if (same && !p) return t;
  }
  TYPE* ft = tp->mk_func(result, false, true, false, 0, 0, 0);
  FUNC_RECORD* r = ft->getr_func();
  for (TYPE* p : params) {
    fkPARAM* e = new fkPARAM;
    e->type = p;
    tp_append(r->params, e);
  }
  r->has_params = true;
  tp->type_frozen(ft);
  return ft;
}

}  // namespace

SYMTAB* library_callee(NODE* call, const char* name) {
  if (!call || (call->op != CALL && call->op != UCALL)) return nullptr;
  SYMTAB* f = get_callee_for_call(call);
  if (!f || !f->name || strcmp(f->name, name) != 0 || f->lex_level != 0 || defined_here(f)) return nullptr;
  return f;
}

bool library_declared(const char* name) {
  for (SYMTAB* s = global_symbols; s; s = s->next)
    if (s->name && strcmp(s->name, name) == 0) return true;
  return false;
}

SYMTAB* library_function(const char* name, TYPE* result, std::initializer_list<TYPE*> params) {
  for (SYMTAB* s = global_symbols; s; s = s->next) {
    if (!s->name || strcmp(s->name, name) != 0) continue;
    if (!s->type || !s->type->is_func() || defined_here(s) || !declaration_agrees(s->type, result, params))
      return nullptr;
    return s;
  }
  TYPE* ftype = library_function_type(result, params);
  // A declaration of our own, as the front end writes one for a routine
  // that it calls: level 0, external reference. It lives for the whole run,
  // and a function read again later finds it here.
  SYMTAB* s = new (zalloc0(0, sizeof(SYMTAB))) SYMTAB();
  s->name = zstrdup(0, name);
  s->type = ftype->normalized_type();
  s->decl_type = ftype;
  s->sclass = s->orig_sclass = SC_EXTREF;
  // The usage bits a declaration read from a file gets.
  if (opt_level < 3) s->scqual = SQ_USAGE_BITS;
  s->sflags = SF_HAS_HOME;
  s->lex_level = 0;
  s->scope = LS::level_0_scope();
  make_FUNINFO(skip_name_prefix(name))->sym = s;
  sym_def(s);
  // The globals of the output are numbered once the first reading is done;
  // a symbol made later joins them here.
  if (fileinfo.stage == STAGE_SECOND_READING && o_file) o_file->if_enter_global(s);
  return s;
}

NODE* mk_callee(SYMTAB* f, LS* scope) {
  NODE* name = mk_NAME(f, scope);
  name->type = f->type;
  return maketree(UAND, name, nullptr, tp->mk_ptr(f->type), scope);
}

void set_callee(NODE* call, SYMTAB* f) {
  erase_tree(call->left);
  call->left = mk_callee(f, call->scope);
  call->fun = make_FUNINFO(skip_name_prefix(f->name));
  call->value = INT65(0);  // no variable arguments
  const TYPE* ft = rep(f->type);
  call->type = ft->getr_func()->result->normalized_type();
}

TYPE* param_type(const SYMTAB* f, int index) {
  const TYPE* ft = rep(f->type);
  const fkPARAM* p = ft && ft->kind == TYPE::KIND_FUNCTION ? ft->getr_func()->params : nullptr;
  for (; p && index > 0; p = p->next) --index;
  return p ? p->type : nullptr;
}

}  // namespace simp
