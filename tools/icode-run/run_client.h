// icode-run's reader client: keeps every function's statements in file
// order, the symbols, and the initialisers.
#pragma once
#include "icode/if_client.h"
#include "tools/icode-run/run_program.h"

class RUN_CLIENT : public IF_CLIENT {
 public:
  explicit RUN_CLIENT(RUN_PROGRAM& program) : program_(program) {}
  ~RUN_CLIENT() override { delete current_; }
  RUN_CLIENT(const RUN_CLIENT&) = delete;
  RUN_CLIENT& operator=(const RUN_CLIENT&) = delete;

  SYMTAB* cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size, uint32_t align,
                           uint32_t offset, int sclass, int qualifier, PSN* psn, uint32_t file_offset,
                           uint32_t option_set) override;
  void cl_symbol_init(SYMTAB* sym, EXPR_LIST* list) override;
  void cl_begin_func(SYMTAB* sym, PSN* psn) override;
  void cl_end_args(PSN* psn) override;
  void cl_begin_block(PSN* psn) override;
  void cl_end_block(PSN* psn) override;
  void cl_expr(NODE* tree, PSN* psn) override;
  void cl_label(uint32_t id) override;
  void cl_inline_asm(const char* text, PSN* psn) override;
  void cl_end_func(PSN* psn) override;

 private:
  RUN_PROGRAM& program_;
  RUN_FUNCTION* current_ = nullptr;
};
