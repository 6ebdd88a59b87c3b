#include "icode/opt_client.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "driver/globals.h"
#include "driver/pass_times.h"
#include "driver/pipeline.h"
#include "icode/if_file.h"
#include "icode/opt_write.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/option_sets.h"
#include "options/global_flags.h"
#include "scalar/simp.h"

OPT_CLIENT opt_client;
std::vector<OPTION_SET_TEXT> icode_optionlist;
int unique_call_index = 0;

namespace {

// Comments and assembly text share one path; the kind is the record id.
void comment_or_asm(int kind, const char* text, PSN* psn) {
  if (text[0] == '*') return;
  if (currfuninfo && lex != 0) {
    NODE* n = new_node(ASM, tp->basic[TYPE_PKG::BT_VOID]);
    n->text = zstrdup(lex, text);
    n->value = INT65(kind);
    currfuninfo->stmts = mkelist(n, currfuninfo->stmts, psn);
  } else {
    wrasmr(kind, text, psn);
  }
}

// Whether a call of the current function carries a call-argument word,
// which cl_end_func clears when the function has no exception table.
bool call_arguments_seen = false;

// One walk over a new statement: numbers its calls and gives every node the
// current scope.
void number_calls_and_assign_scope(NODE* t, LS* scope) {
  for (; t; t = t->right) {
    if (!t->scope) t->scope = scope;
    if (t->op == CALL || t->op == UCALL) {
      t->value2 = static_cast<uint32_t>(unique_call_index++);
      if (t->eh_entry) call_arguments_seen = true;
      SYMTAB* callee = get_callee_for_call(t);
      if (callee) t->fun = make_FUNINFO(skip_name_prefix(callee->name));
    }
    if (t->op == CSE_DUPE) return;
    number_calls_and_assign_scope(t->left, scope);
  }
}

void clear_call_arguments(NODE* t) {
  for (; t; t = t->right) {
    if (t->op == CALL || t->op == UCALL) t->eh_entry = 0;
    if (t->op == CSE_DUPE) return;
    clear_call_arguments(t->left);
  }
}

}  // namespace

bool OPT_CLIENT::cl_magic(int, int) { return true; }

void OPT_CLIENT::cl_option_set(uint32_t id, uint32_t count, char** texts) {
  OPTION_SET_TEXT set;
  set.id = id;
  for (uint32_t i = 0; i < count; ++i) set.texts.emplace_back(texts[i]);
  icode_optionlist.push_back(std::move(set));
}

SYMTAB* OPT_CLIENT::cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size, uint32_t align,
                                     uint32_t offset, int sclass, int qual, PSN* psn, uint32_t file_offset,
                                     uint32_t option_set) {
  TYPE* declared = type;
  TYPE* norm = declared ? declared->normalized_type() : nullptr;
  if (declared && declared->rep && declared->rep->kind == TYPE::KIND_ENUM) {
    norm = normalized_underlying_type(declared);
    if (declared->is_qualified()) norm = tp->mk_qual(norm, declared->qual_kind(false));
  }
  uint16_t q = static_cast<uint16_t>(qual & SQ_READ_MASK);
  bool is_const = declared && (declared->qual_kind(false) & TYPE::Q_CONST);
  if (lex == 0 && !is_const && opt_level < 3) {
    q |= SQ_USAGE_2 | SQ_REFERENCED;
    if ((q & (SQ_INTRINSIC | SQ_GLOBAL_REG)) != (SQ_INTRINSIC | SQ_GLOBAL_REG)) q |= SQ_USAGE_1;
  }
  SYMTAB* s = new (zalloc0(lex, sizeof(SYMTAB))) SYMTAB();
  s->name = zstrdup(lex, name);
  s->type = norm;
  s->decl_type = declared;
  s->type2 = type2;
  s->size = static_cast<int32_t>(size);
  s->align = static_cast<int32_t>(align);
  s->offset = static_cast<int32_t>(offset);
  s->sclass = s->orig_sclass = static_cast<uint8_t>(sclass);
  s->scqual = q;
  s->psn = psn;
  s->file_offset = file_offset;
  s->option_set = option_set;
  s->lex_level = static_cast<uint8_t>(lex);
  s->serial = symbol_serial++;
  s->word16 = 65535;
  if (sclass != SC_REGISTER && sclass != SC_REG17 && sclass != SC_REG22) s->sflags |= SF_HAS_HOME;
  if (lex != 0) s->sflags |= SF_USER;
  if (sclass == SC_PARAM_NOINLINE) {
    s->sclass = SC_PARAM;
    if (currfuninfo) currfuninfo->flags |= FUN_cannot_suppress | FUN_cannot_inline | FUN_cannot_beta;
  }
  if (!(!declared || declared->is_func() || size == declared->size)) {
    fprintf(stderr, "Assertion failed: otype->is_func() || size == otype->size() (symbol %s)\n", name);
    abort_optimizer();
  }
  if (declared && declared->is_func()) {
    FUNINFO* f = make_FUNINFO(skip_name_prefix(name));
    // The record lives as long as the file; a declaration inside a function
    // goes with the function's pool and would leave it pointing at nothing.
    if (lex == 0) f->sym = s;
  }
  sym_def(s);
  if (lex != 0) {
    LS* scope = LS::current();
    s->scope = scope;
    if (currfuninfo && currfuninfo->root_scope) currfuninfo->root_scope->add_symbol(s);
  }
  return s;
}

void OPT_CLIENT::cl_symbol_def(SYMTAB*) {}

void OPT_CLIENT::cl_symbol_init(SYMTAB* sym, EXPR_LIST* list) { sym->init = list; }

void OPT_CLIENT::cl_pragma(SYMTAB* sym, PRAGMA* pragma) {
  if (!sym) return;
  pragma->next = sym->pragmas;
  sym->pragmas = pragma;
  opt_process_pragma(sym, pragma);
}

void OPT_CLIENT::cl_begin_func(SYMTAB* sym, PSN* psn) {
  currfunc = sym;
  currfuninfo = make_FUNINFO(skip_name_prefix(sym->name));
  currfuninfo->sym = sym;
  TYPE* ft = sym->type && sym->type->rep ? sym->type->rep : sym->type;
  currfuninfo->return_type = ft && ft->kind == TYPE::KIND_FUNCTION ? ft->getr_func()->result : nullptr;
  currfuninfo->begin_psn = psn;
  const char* file = !psn ? "NO_PSN_FILE" : psn->file ? psn->file : "NO_FILE";
  snprintf(curr_file, sizeof curr_file, "%s", file);
  currfuninfo->stmts = nullptr;
  currfuninfo->symbols = currfuninfo->temps = currfuninfo->params = currfuninfo->chain4 = nullptr;
  currfuninfo->root_scope = nullptr;
  temp_count = 0;
  unique_call_index = 0;
  symbol_serial = 0;
  lex = 1;
  currfuninfo->byte0 = currfuninfo->bitfield_used = currfuninfo->intrinsic_used = 0;
  currfuninfo->leaf = 1;
  if (sym->scqual & SQ_INTERRUPT) currfuninfo->flags |= FUN_is_interrupt;
  reset_function_scopes();
  LS::open(psn, nullptr, 0);  // the file level
  LS::open(psn, sym, 0);      // the function
  if (fileinfo.stage == STAGE_FIRST_READING && !function_prepass) return;
  if (print_debug) printf("   \"%s\"   ==> %s\n", sym->name, curr_file);
  apply_function_options(currfuninfo, sym->option_set);
  if (opt_level == 0) inhibit_clustering = 1;
}

void OPT_CLIENT::cl_end_args(PSN* psn) {
  currfuninfo->args_psn = psn;
  currfuninfo->locals_psn = psn;
  LS::open(psn, nullptr, 0);
  lex = 2;
}

void OPT_CLIENT::cl_end_locals(PSN* psn) { currfuninfo->locals_psn = psn; }

void OPT_CLIENT::cl_begin_block(PSN* psn) {
  LS::open(psn, nullptr, 0);
  ++lex;
}

void OPT_CLIENT::cl_end_block(PSN* psn) {
  LS::close(psn, nullptr, 0);
  if (lex > 2) --lex;
}

void OPT_CLIENT::cl_expr(NODE* tree, PSN* psn) {
  number_calls_and_assign_scope(tree, LS::current());
  currfuninfo->stmts = mkelist(tree, currfuninfo->stmts, psn);
}

void OPT_CLIENT::cl_label(uint32_t id) {
  LIST* l = currfuninfo->stmts;
  if (l && !l->next && l->tree && l->tree->op == BRANCH && l->tree->left && l->tree->left->op == LABEL &&
      l->tree->left->value == INT65(static_cast<unsigned long long>(id))) {
    // A leading branch to the label right behind it does nothing.
    erase_tree_list(l);
    currfuninfo->stmts = nullptr;
    return;
  }
  NODE* n = new_node(LABELDEF, tp->basic[TYPE_PKG::BT_VOID]);
  n->value = INT65(static_cast<unsigned long long>(id));
  n->scope = LS::current();
  currfuninfo->stmts = mkelist(n, currfuninfo->stmts, nullptr);
}

void OPT_CLIENT::cl_comment(const char* text) { comment_or_asm(ASM_COMMENT, text, nullptr); }

void OPT_CLIENT::cl_inline_asm(const char* text, PSN* psn) { comment_or_asm(ASM_TEXT, text, psn); }

void OPT_CLIENT::cl_end_func(PSN* psn) {
  // No built-in descriptors exist on this target, so fix_BIF_types has
  // nothing to retype; every statement is simplified.
  {
    PASS_CLOCK clock("simp_tree of each statement read");
    for (LIST* l = currfuninfo->stmts; l; l = l->next)
      if (l->tree) l->tree = simp_tree(l->tree, nullptr, nullptr);
  }
  while (LS::current() && LS::current()->level > 0) LS::close(psn, nullptr, 0);
  if (!currfuninfo->eht && call_arguments_seen)
    for (LIST* l = currfuninfo->stmts; l; l = l->next) clear_call_arguments(l->tree);
  call_arguments_seen = false;
  lex = 0;
  currfuninfo->end_psn = psn;
  if (function_prepass && fileinfo.stage == STAGE_FIRST_READING) {
    // Without the call graph, the processing order is the order of definition.
    // The last cell appended is remembered: a walk from the head each time
    // would make a file of many functions quadratic.
    static FUNLIST* last_head = nullptr;
    static FUNLIST* last_cell = nullptr;
    FUNLIST** tail = &fileinfo.funlist;
    if (fileinfo.funlist && fileinfo.funlist == last_head && last_cell && !last_cell->next) tail = &last_cell->next;
    while (*tail) tail = &(*tail)->next;
    *tail = mkFUNLIST(currfuninfo, nullptr);
    last_head = fileinfo.funlist;
    last_cell = *tail;
    ++fileinfo.cg_count;
    run_prepass_pipeline();
  }
}

void OPT_CLIENT::cl_func_eht(EHT_ENTRY* entries, uint32_t count) {
  currfuninfo->eht = entries;
  currfuninfo->eht_count = static_cast<int>(count);
  currfuninfo->flags |= FUN_cannot_inline;
}
