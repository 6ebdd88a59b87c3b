// The node functions that are not worth a specialisation per type: generic
// assignment operators, bit-fields, block copies, and the failure helpers.
#include "ir/opt_expr.h"
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_ops.h"

void fail_div_zero() { run_fail("division by zero"); }

void fail_shift(uint32_t count) { run_fail("shift count %d out of range", static_cast<int32_t>(count)); }

void fail_float_conversion(float x, VK to) {
  run_fail("conversion of %g to %s is out of range", static_cast<double>(x), vk_name(to));
}

void check_same_object(VAL x, VAL y, const char* what) {
  const RUN_OBJ* a = object_of(x);
  const RUN_OBJ* b = object_of(y);
  if (a && b && a != b)
    run_fail("%s of pointers to different objects (%s and %s)", what, a->name ? a->name : "an object",
             b->name ? b->name : "an object");
}

VAL x_modify(XN* n, FRAME* f) {
  ++n->hits;
  const MODIFY_INFO* mi = static_cast<const MODIFY_INFO*>(n->p);
  bool post = n->flags & XF_POST;
  if (n->lk == LK_REG) {
    VAL r = EV(n->b);
    VAL old = f->regs[n->u];
    VAL x = mi->to_op ? mi->to_op(old) : old;
    VAL y = mi->op(x, r);
    VAL nv = mi->from_op ? mi->from_op(y) : y;
    f->regs[n->u] = nv;
    return post ? old : nv;
  }
  bool bf = n->acc == ACC_BF;
  uint32_t units = bf ? bf_units(mi->bit, mi->width) : acc_units(n->acc);
  VAL p = loc_addr(n, f, units, true);
  VAL r = EV(n->b);
  uint32_t a = p_addr(p);
  VAL old = bf ? bf_load(a, mi->bit, mi->width, mi->bf_signed) : acc_load(n->acc, a);
  VAL x = mi->to_op ? mi->to_op(old) : old;
  VAL y = mi->op(x, r);
  VAL nv = mi->from_op ? mi->from_op(y) : y;
  if (bf) nv = bf_store(a, mi->bit, mi->width, mi->bf_signed, nv);
  else acc_store(n->acc, a, nv);
  return post ? old : nv;
}

VAL x_load_bf(XN* n, FRAME* f) {
  ++n->hits;
  const MODIFY_INFO* mi = static_cast<const MODIFY_INFO*>(n->p);
  VAL p = loc_addr(n, f, bf_units(mi->bit, mi->width), false);
  return bf_load(p_addr(p), mi->bit, mi->width, mi->bf_signed);
}

VAL x_store_bf(XN* n, FRAME* f) {
  ++n->hits;
  const MODIFY_INFO* mi = static_cast<const MODIFY_INFO*>(n->p);
  VAL p = loc_addr(n, f, bf_units(mi->bit, mi->width), true);
  VAL v = EV(n->b);
  return bf_store(p_addr(p), mi->bit, mi->width, mi->bf_signed, v);
}

// Structure and array assignment: a is the target's address, b the source's.
VAL x_copy(XN* n, FRAME* f) {
  ++n->hits;
  VAL dst = EV(n->a);
  VAL src = EV(n->b);
  check_write(dst, n->u);
  check_read(src, n->u);
  run_mem.move(p_addr(dst), p_addr(src), n->u);
  return dst;
}

VAL x_fail(XN* n, FRAME*) {
  ++n->hits;
  run_fail("%s", static_cast<const char*>(n->p));
}

VAL x_va_start(XN* n, FRAME* f) {
  ++n->hits;
  return f->va;
}
