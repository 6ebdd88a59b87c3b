// Stack blocks of a call: alloca, and the save and restore of the stack
// that the front end puts around the variable-length arrays of a block.
// A block lies below the frame of the function that asked for it and lives
// until that call returns, or until a restore to a mark above it.
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_libc.h"

namespace {

// Blocks start at the heap's alignment, which suits every basic type.
uint32_t align_down(uint32_t a, uint32_t align) { return a - a % align; }

VAL lib_alloca(LIBCALL& c) {
  uint32_t n = lib_uint(c, 0);
  FRAME* f = c.m.frame;
  // A request of zero units still gets a distinct address.
  uint64_t need = n ? n : 1;
  if (need > c.m.sp || c.m.sp - need < static_cast<uint64_t>(c.m.heap_top) + kHeapAlign)
    run_fail("stack overflow (alloca of %u units)", n);
  uint32_t base = align_down(c.m.sp - static_cast<uint32_t>(need), kHeapAlign);
  uint32_t prov = run_mem.create(base, n, OBJ_STACK, "a block of alloca", false);
  f->allocas.push_back(ALLOCA_BLOCK{base, prov});
  c.m.sp = base;
  return make_ptr(base, prov);
}

// The mark is the stack's lowest unit, as a pointer to no object.
VAL lib_stack_save(LIBCALL& c) { return make_ptr(c.m.sp, 0); }

VAL lib_stack_restore(LIBCALL& c) {
  uint32_t mark = p_addr(lib_ptr(c, 0));
  FRAME* f = c.m.frame;
  if (mark < c.m.sp || mark > f->fp) run_fail("%s: the mark was not saved by this call", c.fn->name);
  while (!f->allocas.empty() && f->allocas.back().base < mark) {
    run_mem.destroy(f->allocas.back().prov);
    f->allocas.pop_back();
  }
  c.m.sp = mark;
  return 0;
}

}  // namespace

const LIB_ENTRY lib_stack_entries[] = {
    {"alloca", lib_alloca, nullptr},
    {"__stack_save", lib_stack_save, nullptr},
    {"__stack_restore", lib_stack_restore, nullptr},
    {nullptr, nullptr, nullptr},
};
