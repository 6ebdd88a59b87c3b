#include "tools/icode-run/run_client.h"

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"

// Nodes and symbols come from the pools of the current lexical level; this
// tool never frees them.
SYMTAB* RUN_CLIENT::cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size, uint32_t align,
                                     uint32_t offset, int sclass, int qualifier, PSN* psn, uint32_t file_offset,
                                     uint32_t option_set) {
  SYMTAB* s = new (zalloc0(0, sizeof(SYMTAB))) SYMTAB();
  s->name = zstrdup(0, name);
  s->type = s->decl_type = type;
  s->type2 = type2;
  s->size = static_cast<int32_t>(size);
  s->align = static_cast<int32_t>(align);
  s->offset = static_cast<int32_t>(offset);
  s->sclass = s->orig_sclass = static_cast<uint8_t>(sclass);
  s->scqual = static_cast<uint16_t>(qualifier);
  s->psn = psn;
  s->file_offset = file_offset;
  s->option_set = option_set;
  s->lex_level = static_cast<uint8_t>(lex);
  if (lex == 0) {
    program_.globals.push_back(s);
  } else if (current_) {
    if (lex == 1) current_->params.push_back(s);
    else if (sclass == SC_STATIC) program_.globals.push_back(s);
    else current_->locals.push_back(s);
  }
  return s;
}

void RUN_CLIENT::cl_symbol_init(SYMTAB* sym, EXPR_LIST* list) { sym->init = list; }

void RUN_CLIENT::cl_begin_func(SYMTAB* sym, PSN*) {
  if (current_) program_.functions.emplace_back(current_);  // a function left open
  current_ = new RUN_FUNCTION;
  current_->sym = sym;
  lex = 1;
}

void RUN_CLIENT::cl_end_args(PSN*) { lex = 2; }

void RUN_CLIENT::cl_begin_block(PSN*) { ++lex; }

void RUN_CLIENT::cl_end_block(PSN*) {
  if (lex > 2) --lex;
}

void RUN_CLIENT::cl_expr(NODE* tree, PSN* psn) {
  if (current_ && tree) current_->body.push_back(RUN_STMT{tree, 0, psn});
}

void RUN_CLIENT::cl_label(uint32_t id) {
  if (current_) current_->body.push_back(RUN_STMT{nullptr, id, nullptr});
}

// Assembly text cannot be run; it fails when reached.
void RUN_CLIENT::cl_inline_asm(const char* text, PSN* psn) {
  if (!current_) return;
  NODE* n = new_node(ASM, tp->basic[TYPE_PKG::BT_VOID]);
  n->text = zstrdup(lex, text);
  n->value = INT65(36);
  current_->body.push_back(RUN_STMT{n, 0, psn});
}

void RUN_CLIENT::cl_end_func(PSN*) {
  if (current_) program_.functions.emplace_back(current_);
  current_ = nullptr;
  lex = 0;
}
