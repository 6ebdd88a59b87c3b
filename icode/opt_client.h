// zopt's reader client: how the optimizer takes in what the icode reader finds.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "icode/if_client.h"

struct OPTION_SET_TEXT {
  uint32_t id = 0;
  std::vector<std::string> texts;
};

class OPT_CLIENT : public IF_CLIENT {
 public:
  bool cl_magic(int version, int cpu) override;
  void cl_option_set(uint32_t id, uint32_t count, char** texts) override;
  SYMTAB* cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size, uint32_t align,
                           uint32_t offset, int sclass, int qual, PSN* psn, uint32_t file_offset,
                           uint32_t option_set) override;
  void cl_symbol_def(SYMTAB* sym) override;
  void cl_symbol_init(SYMTAB* sym, EXPR_LIST* list) override;
  void cl_pragma(SYMTAB* sym, PRAGMA* pragma) override;
  void cl_begin_func(SYMTAB* sym, PSN* psn) override;
  void cl_end_args(PSN* psn) override;
  void cl_end_locals(PSN* psn) override;
  void cl_begin_block(PSN* psn) override;
  void cl_end_block(PSN* psn) override;
  void cl_expr(NODE* tree, PSN* psn) override;
  void cl_label(uint32_t id) override;
  void cl_comment(const char* text) override;
  void cl_inline_asm(const char* text, PSN* psn) override;
  void cl_end_func(PSN* psn) override;
  void cl_func_eht(EHT_ENTRY* entries, uint32_t count) override;
};

extern OPT_CLIENT opt_client;
// The option sets of the input file, in the file's order.
extern std::vector<OPTION_SET_TEXT> icode_optionlist;
// Running count of calls in the current function.
extern int unique_call_index;
