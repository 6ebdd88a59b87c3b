// IF_CLIENT: the call-back object through which I_FILE hands what it reads
// to the tool that reads it. Each tool derives its own client and overrides
// what it wants; the default of every call-back is to accept and drop,
// except cl_symbol_create, because only the client knows how to allocate
// its symbols.
//
// What the reader passes stays valid as follows: trees, symbols and
// pragmas belong to the client; PSN records are shared by all readers of
// one file and must not be changed; texts passed as `const char*` live
// only for the call and are to be copied if kept.
#pragma once
#include <cstdint>

struct NODE;
struct PSN;
struct SYMTAB;
struct TYPE;
struct PRAGMA;
struct EXPR_LIST;

// One catch clause of an exception-table entry of kind 2.
struct I_CATCH_ENTRY {
  char* type_name = nullptr;
  uint32_t number = 0;
  bool flag = false;
};

enum EHT_ENTRY_KIND : uint32_t {
  EHT_KIND_EXPR = 1,   // followed by an expression
  EHT_KIND_CATCH = 2,  // followed by `b` catch clauses
};

// One entry of a function's exception table.
struct EHT_ENTRY {
  uint32_t id = 0;
  uint32_t kind = 0;
  uint32_t a = 0;
  uint32_t b = 0;  // for kind 2: the number of catch clauses
  NODE* tree = nullptr;                // kind 1
  I_CATCH_ENTRY* catches = nullptr;    // kind 2
};

// One pair of a dependence vector record.
struct IF_DD_PAIR {
  uint8_t level = 0;
  int8_t distance = 0;
};

class IF_CLIENT {
 public:
  virtual ~IF_CLIENT() = default;

  // File level.
  virtual bool cl_magic(int /*version*/, int /*cpu_id*/) { return true; }
  virtual void cl_source(const char* /*name*/) {}
  // `texts` and its strings are allocated for the client and never freed
  // by the reader.
  virtual void cl_option_set(uint32_t /*id*/, uint32_t /*count*/, char** /*texts*/) {}
  virtual void cl_merge_type_defs() {}
  virtual void cl_preprocess_statics() {}

  // Symbols. `name` is the reader's text, to be copied.
  virtual SYMTAB* cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size,
                                   uint32_t align, uint32_t offset, int sclass, int qualifier,
                                   PSN* psn, uint32_t file_offset, uint32_t option_set) = 0;
  virtual void cl_symbol_def(SYMTAB* /*sym*/) {}
  virtual void cl_symbol_init(SYMTAB* /*sym*/, EXPR_LIST* /*list*/) {}
  // `sym` is null for a pragma that stands alone in a function.
  virtual void cl_pragma(SYMTAB* /*sym*/, PRAGMA* /*pragma*/) {}

  // Function bodies.
  virtual void cl_func_info(int /*value*/) {}
  virtual void cl_begin_func(SYMTAB* /*sym*/, PSN* /*psn*/) {}
  virtual void cl_end_args(PSN* /*psn*/) {}
  virtual void cl_end_locals(PSN* /*psn*/) {}
  virtual void cl_begin_block(PSN* /*psn*/) {}
  virtual void cl_end_block(PSN* /*psn*/) {}
  virtual void cl_expr(NODE* /*tree*/, PSN* /*psn*/) {}
  virtual void cl_label(uint32_t /*id*/) {}
  virtual void cl_comment(const char* /*text*/) {}
  virtual void cl_inline_asm(const char* /*text*/, PSN* /*psn*/) {}
  virtual void cl_end_func(PSN* /*psn*/) {}
  // The entries come from the pool of the function being read.
  virtual void cl_func_eht(EHT_ENTRY* /*entries*/, uint32_t /*count*/) {}

  // Loop, dependence and speculation notes (records 38, 124, 59, 58, 45, 108).
  virtual void cl_loop_def(const uint32_t* /*words5*/, int16_t /*value*/) {}
  virtual void cl_loop_header(uint32_t /*word*/, SYMTAB* /*sym*/, int8_t /*value*/) {}
  virtual void cl_dd_vector(const IF_DD_PAIR* /*entries*/, uint32_t /*a*/, int8_t /*b*/,
                            int8_t /*count*/) {}
  virtual void cl_dd_edge(const uint32_t* /*words3*/) {}
  virtual void cl_mbank(const uint32_t* /*words5*/) {}
  virtual void cl_ldspec_induct(uint32_t /*word*/, uint32_t /*a*/, int32_t /*b*/, TYPE* /*type*/,
                                SYMTAB* /*sym*/) {}
  virtual void cl_ldspec_rand(uint32_t /*word*/, uint32_t /*a*/, uint32_t /*b*/, TYPE* /*type*/,
                              SYMTAB* /*sym*/) {}
  virtual void cl_ldspec_region(uint32_t /*word*/, uint32_t /*a*/) {}

  // Low-level form (records 123, 125, 34). `data` is the rest of the
  // instruction record after its position, valid only for the call.
  virtual void cl_ir_begin_func(uint32_t /*a*/, int32_t /*b*/, int8_t /*c*/, uint32_t /*d*/,
                                PSN* /*psn*/) {}
  virtual void cl_ir_end_func(PSN* /*psn*/) {}
  virtual void cl_ir_ins(PSN* /*psn*/, const uint8_t* /*data*/, uint32_t /*length*/) {}
};
