// Translation of a function's trees into the executable form of the machine.
#pragma once
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tools/icode-run/run_machine.h"

struct fkMDATA;

class RUN_COMPILER {
 public:
  // fn null: trees outside any function (initialisers). no_stat: the nodes
  // made are left out of the counts.
  RUN_COMPILER(RUN_MACHINE& m, XFUNC* fn, bool no_stat);

  // Lays out fn's frame and translates its body.
  void compile_function();
  // One tree as a value.
  XN* rvalue(NODE* n);

 private:
  // Where a variable of the function lives.
  struct BINDING {
    LOC_KIND kind = LK_GLOBAL;
    uint32_t index = 0;  // register or memory variable
    VAL addr = 0;        // LK_GLOBAL
  };
  // An lvalue being translated.
  struct LOC {
    LOC_KIND kind = LK_GLOBAL;
    uint32_t reg = 0;
    uint32_t var = 0;
    uint32_t off = 0;  // LK_LOCAL: frame offset; LK_PTR: units added to the pointer
    VAL gaddr = 0;     // LK_GLOBAL
    XN* ptr = nullptr;
    uint16_t nsrc = 0;
    bool bitfield = false;
    uint32_t bit = 0;
    uint32_t width = 0;
    bool bf_signed = false;
    VK vk = VK_VOID;
    TYPE* type = nullptr;
  };
  struct PENDING_SWITCH {
    uint32_t stmt;
    VK vk;
    std::vector<std::pair<uint32_t, uint32_t>> cases;  // (value, label)
    bool has_default = false;
    uint32_t default_label = 0;
  };

  XN* mk(XFN fn, NODE* src, uint16_t nsrc, uint16_t cost);
  XN* constant(VAL v, NODE* src, uint16_t nsrc);
  XN* fail_node(NODE* src, const std::string& text);
  [[noreturn]] void bad(const char* format, ...) __attribute__((format(printf, 2, 3)));

  void find_addressed(NODE* n);
  void layout_frame();
  uint32_t add_var(SYMTAB* sym, const char* name, uint32_t units, uint32_t align);
  BINDING bind(SYMTAB* sym);

  void lvalue(NODE* n, LOC& L);
  void add_member(LOC& L, NODE* field, NODE* src);
  XN* load(LOC& L, NODE* src);
  XN* address(LOC& L);
  XN* store(LOC& L, XN* value, NODE* src);
  XN* modify(LOC& L, int op, NODE* rhs_node, bool post, NODE* src);
  XN* address_of(NODE* n, NODE* src);

  XN* convert(XN* x, VK from, VK to, NODE* src);
  XN* as_test(XN* x, VK vk);
  XN* test(NODE* n);
  XN* value_as(NODE* n, VK to);
  XN* binary(NODE* n, VK vk);
  XN* compare(NODE* n);
  XN* unary(NODE* n, VK vk);
  XN* call(NODE* n);
  XN* intrinsic(NODE* n);
  XN* block_copy(NODE* n);
  VAL icon_value(NODE* n, VK vk);
  void flatten(NODE* n, int op, std::vector<NODE*>& out);

  void statement(NODE* t);
  uint32_t label_of(NODE* n);
  void resolve_labels();

  RUN_MACHINE& m_;
  XFUNC* fn_;
  bool no_stat_;
  std::unordered_map<const SYMTAB*, BINDING> locals_;
  std::unordered_set<const SYMTAB*> addressed_;
  std::unordered_map<uint32_t, uint32_t> label_at_;
  std::vector<PENDING_SWITCH> switches_;
};
