#include "icode/opt_write.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "driver/globals.h"
#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"

namespace {

void control_debug(const char* name, int id, const PSN* psn) {
  if (print_debug && fdebug)
    fprintf(fdebug, "%s\t%d\t%ld\t\t\t;%s\n", name, id, psn ? static_cast<long>(psn->line) : 0L,
            currfunc ? currfunc->name : "");
}

void write_one_symbol(SYMTAB* sym) {
  uint8_t sclass = sym->sclass;
  int32_t offset = sym->offset;
  TYPE* type = sym->type;
  if (sym->sclass == SC_PARAM && sym->orig_sclass == SC_PARAM_NOINLINE) sym->sclass = SC_PARAM_NOINLINE;
  if (sclass != SC_REG22 && sclass != SC_REGISTER) sym->offset = 0;
  revert_symbol_type(sym);
  o_file->if_enter_local(sym);
  o_file->if_write_symbol(sym);
  sym->sclass = sclass;
  sym->offset = offset;
  sym->type = type;
}

// Symbols of a chain at one lexical level, in creation order: chains are
// built newest first, and writing them in creation order keeps a second run
// over our own output identical.
std::vector<SYMTAB*> chain_at_level(SYMTAB* chain, int level, bool user_only) {
  std::vector<SYMTAB*> v;
  for (SYMTAB* s = chain; s; s = s->next)
    if (s->lex_level == level && (!user_only || (s->sflags & SF_USER))) v.push_back(s);
  std::stable_sort(v.begin(), v.end(), [](const SYMTAB* a, const SYMTAB* b) { return a->serial < b->serial; });
  return v;
}

int label_number(const NODE* label) {
  return label->lbl ? label->lbl->number : static_cast<int>(label->value.as_int64());
}

NODE* file_label(const NODE* label) {
  return mk_LABELREF(label_number(label), nullptr);
}

void write_tree_record(NODE* tree, PSN* psn) {
  o_file->if_write_expr(nullptr, psn);
  tree = rewrite_for_output(tree);
  if (currfuninfo && currfuninfo->profile_mode == PROFILE_NONE) tree->set_edge_profile_value(-1.0);
  o_file->if_write_expr_node(tree);
  if (print_debug) dump_tree_debug(tree);
}

[[noreturn]] void illegal_in_file(int op) {
  fprintf(stderr, "!!! Opt error in rewrite_for_output() !!!\n");
  if (print_debug && fdebug) fprintf(fdebug, "!!! operator %s may not stand in a file !!!\n", opname(op));
  abort_optimizer();
}

bool is_exact_in_32_bits(const NODE* t) {
  const TYPE* r = t->type && t->type->rep ? t->type->rep : t->type;
  bool is_signed = r && r->is_signed();
  return is_signed ? t->value.fits_signed(32) : t->value.fits_unsigned(32);
}

}  // namespace

void revert_symbol_type(SYMTAB* sym) {
  TYPE* cur = sym->type;
  TYPE* decl = sym->decl_type;
  if (!cur || !decl) return;
  TYPE* decl_norm = decl->normalized_type();
  TYPE* decl_rep = decl->rep ? decl->rep : decl;
  bool ok = compatible_types(cur, decl_norm, true);
  if (!ok && decl_rep->kind == TYPE::KIND_ENUM) ok = compatible_types(cur, decl_rep->underlying_type(), true);
  if (!ok) return;
  uint8_t cur_q = cur->qual_kind(false);
  uint8_t decl_q = decl->qual_kind(false);
  TYPE* result = decl;
  if (cur_q != decl_q) result = tp->mk_qual(decl->type_qualified(), cur_q);
  sym->type = result;
  o_file->if_reference_type(result);
  if (result->rep) o_file->if_reference_type(result->rep);
  if (result->stds()) o_file->if_reference_type(result->stds());
}

NODE* rewrite_for_output(NODE* t) {
  if (!t) return t;
  switch (t->op) {
    case ICON: {
      const TYPE* r = t->type && t->type->rep ? t->type->rep : t->type;
      if (r && r->size > 32 && !is_exact_in_32_bits(t)) t->op = LCON;
      break;
    }
    case NAME: {
      SYMTAB* s = t->name_symbol();
      if (s && s->lex_level == 0) s->scqual |= SQ_REFERENCED;
      break;
    }
    case LABEL:
      if (t->lbl) t->value = INT65(t->lbl->number);
      break;
    case ICALL: {
      const char* name = t->icall_name();
      if (name && (!strcmp(name, "__s2v") || !strcmp(name, "__v2s") || !strcmp(name, "__repack"))) {
        NODE* arg = t->left;
        if (arg && arg->op == ICON) {
          NODE* c = mk_ICON(arg->value, t->type);
          return c;
        }
        // "__repack" becomes VRCONV and the others SCONV; VRCONV in turn
        // leaves as SCONV.
        t->op = SCONV;
        t->sym = nullptr;
      }
      break;
    }
    case VSCONV:
    case VRCONV:
      t->op = SCONV;
      break;
    default:
      if (t->op >= VREG && t->op != ASM) illegal_in_file(t->op);
      if (t->op < 0 || t->op > 255 || number_of_operands[t->op] == 255) illegal_in_file(t->op);
      break;
  }
  if (t->left) t->left = rewrite_for_output(t->left);
  if (t->right) t->right = rewrite_for_output(t->right);
  return t;
}

namespace {

bool tree_has_calls(const NODE* t) {
  for (; t; t = t->right) {
    if (t->op == CALL || t->op == UCALL) return true;
    if (t->op == CSE_DUPE) return false;
    if (tree_has_calls(t->left)) return true;
  }
  return false;
}

bool body_has_calls() {
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink)
    for (LIST* l = bb->statements; l; l = l->next)
      if (tree_has_calls(l->tree)) return true;
  return false;
}

}  // namespace

void write_func_header() {
  control_debug("I_BF", 1, currfuninfo->begin_psn);
  o_file->if_write_begin_func(currfunc, currfuninfo->begin_psn);
}

void write_func_body() {
  for (SYMTAB* s : chain_at_level(currfuninfo->params, 1, true)) write_one_symbol(s);
  control_debug("I_EA", 5, currfuninfo->args_psn);
  o_file->if_write_end_args(currfuninfo->args_psn);
  for (SYMTAB* chain : {currfuninfo->symbols, currfuninfo->chain4, currfuninfo->temps, currfuninfo->params})
    for (SYMTAB* s : chain_at_level(chain, 2, false)) write_one_symbol(s);
  control_debug("I_EL", 6, currfuninfo->locals_psn);
  o_file->if_write_end_locals(currfuninfo->locals_psn);
  // The leaf record tells of the body as written: calls an optimisation
  // removed make a function a leaf, as a reading of the output finds.
  if (!currfuninfo->leaf && !body_has_calls()) currfuninfo->leaf = 1;
  if (currfuninfo->leaf) o_file->if_write_func_info(76);
  wrbblocks();
  if (currfuninfo->eht) {
    for (int i = 0; i < currfuninfo->eht_count; ++i) {
      EHT_ENTRY& e = currfuninfo->eht[i];
      if (e.kind == EHT_KIND_CATCH)
        for (uint32_t c = 0; c < e.b; ++c) e.catches[c].number = 0u - e.catches[c].number;
    }
    o_file->if_write_func_eht(currfuninfo->eht, static_cast<uint32_t>(currfuninfo->eht_count));
  }
  control_debug("I_EF", 2, currfuninfo->end_psn);
  o_file->if_write_end_func(currfuninfo->end_psn);
  currfuninfo->flags |= FUN_is_processed;
  o_file->if_flush();
}

void wrbblocks() {
  renumber_bblocks();
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
    // Only a block something jumps to needs its label in the file.
    if (bb->predecessors && bb->labels) o_file->if_write_label(static_cast<uint32_t>(bb->labels->number));
    for (LIST* l = bb->statements; l; l = l->next) wrexpr(l);
  }
}

void wrexpr(LIST* element) {
  NODE* t = element->tree;
  if (!t) return;
  if (source_interlist && t->op != ASM && t->op != PCOMMA) o_file->if_write_comment(stmt2infix(t));
  switch (t->op) {
    case ASM:
      if (t->value.as_int64() == ASM_COMMENT) o_file->if_write_comment(t->text ? t->text : "");
      else o_file->if_write_assembly(t->text ? t->text : "", element->psn);
      return;
    case PPRAGMA:
      if (t->sym && static_cast<PRAGMA*>(t->sym)->id != PRAGMA_NOT_WRITTEN) o_file->if_write_pragma(static_cast<PRAGMA*>(t->sym));
      return;
    case IF: {
      // A two-way branch travels as CBRANCH to the true target followed by
      // an explicit BRANCH to the false one.
      NODE* cond = t->left;
      NODE* cb = maketree(CBRANCH, cond, file_label(t->right->left), t->type, t->scope);
      NODE* br = maketree(BRANCH, file_label(t->right->right), nullptr, t->type, t->scope);
      write_tree_record(cb, element->psn);
      write_tree_record(br, element->psn);
      cb->left = nullptr;
      erase_tree(cb);
      erase_tree(br);
      return;
    }
    default:
      write_tree_record(t, element->psn);
      return;
  }
}

void wrtree(NODE* tree) {
  tree = rewrite_for_output(tree);
  o_file->if_write_expr_node(tree);
  if (print_debug) dump_tree_debug(tree);
}

void wrasmr(int kind, const char* text, PSN* psn) {
  if (!o_file) return;
  if (kind == ASM_COMMENT) o_file->if_write_comment(text);
  else o_file->if_write_assembly(text, psn);
}
