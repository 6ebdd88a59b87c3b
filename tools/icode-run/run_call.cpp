// Calls, frames and the statement loop.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "ir/symbol.h"
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_ops.h"

namespace {

// Return address and saved frame link of each call: target stack that no
// variable owns.
constexpr uint32_t kFrameOverhead = 2;

std::string format_text(const char* format, va_list ap) {
  char buf[1024];
  vsnprintf(buf, sizeof buf, format, ap);
  return buf;
}

uint32_t switch_target(const SWITCH_TABLE* t, uint32_t v) {
  if (!t->dense.empty()) {
    uint32_t i = v - t->lo;
    return i < t->dense.size() ? t->dense[i] : t->dflt;
  }
  auto it = std::lower_bound(t->sorted.begin(), t->sorted.end(), v,
                             [](const std::pair<uint32_t, uint32_t>& e, uint32_t x) { return e.first < x; });
  return it != t->sorted.end() && it->first == v ? it->second : t->dflt;
}

}  // namespace

void run_fail(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  std::string text = format_text(format, ap);
  va_end(ap);
  if (run_machine && run_machine->frame) {
    text += " in function ";
    text += run_machine->current_function();
  }
  throw RUN_ERROR{text, RUN_STATUS_ERROR};
}

void run_bad_input(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  std::string text = format_text(format, ap);
  va_end(ap);
  throw RUN_ERROR{text, RUN_STATUS_BAD_INPUT};
}

const char* RUN_MACHINE::current_function() const { return frame && frame->fn ? frame->fn->name : "(none)"; }

void RUN_MACHINE::hstack_overflow() { run_fail("stack overflow (interpreter frames)"); }

XFUNC* RUN_MACHINE::function_at(VAL p) {
  const RUN_OBJ* o = object_of(p);
  if (!o || o->kind != OBJ_FUNCTION || p_addr(p) != o->base) {
    if (p_addr(p) == 0) run_fail("call through a null function pointer");
    run_fail("call through a pointer that does not point to a function");
  }
  return o->fn;
}

VAL x_call(XN* n, FRAME* f) {
  ++n->hits;
  const CALLSITE& cs = *static_cast<const CALLSITE*>(n->p);
  RUN_MACHINE& m = *run_machine;
  XFUNC* callee = cs.direct ? cs.direct : m.function_at(EV(n->a));
  uint32_t nargs = static_cast<uint32_t>(cs.args.size());
  VAL* args = m.hpush(nargs);
  for (uint32_t i = 0; i < nargs; ++i) args[i] = EV(cs.args[i]);
  VAL slot = 0;
  if (cs.ret_var >= 0) slot = static_cast<VAL>(f->fp + f->fn->vars[cs.ret_var].off) | f->prov[cs.ret_var];
  VAL r = m.invoke(callee, cs, args, slot);
  m.hpop(nargs);
  return cs.ret_var >= 0 ? slot : r;
}

VAL RUN_MACHINE::invoke(XFUNC* fn, const CALLSITE& cs, const VAL* args, VAL ret_slot) {
  uint32_t nargs = static_cast<uint32_t>(cs.arg_vk.size());
  if (!fn->body) {
    if (!fn->builtin) run_fail("call of undefined function %s", fn->name);
    LIBCALL c{*this, fn, cs, args, nargs, ret_slot};
    return fn->builtin(c);
  }
  uint32_t nparams = static_cast<uint32_t>(fn->params.size());
  if (nargs < nparams) run_fail("call of %s with %u arguments; it has %u parameters", fn->name, nargs, nparams);
  uint32_t va_units = 0;
  for (uint32_t i = nparams; i < nargs; ++i) va_units += cs.arg_units[i];
  uint32_t need = kFrameOverhead + fn->frame_units + va_units;
  if (sp < heap_top + need + fn->frame_align - 1) run_fail("stack overflow");
  uint32_t caller_sp = sp;
  uint32_t fp = sp - need;
  fp -= fp % fn->frame_align;
  sp = fp;

  FRAME nf;
  nf.fn = fn;
  nf.fp = fp;
  nf.ret_slot = ret_slot;
  uint32_t nvars = static_cast<uint32_t>(fn->vars.size());
  nf.regs = hpush(fn->nregs + nvars);
  std::fill_n(nf.regs, fn->nregs, 0);
  nf.prov = nf.regs + fn->nregs;
  for (uint32_t k = 0; k < nvars; ++k) {
    const XVAR& v = fn->vars[k];
    nf.prov[k] = static_cast<VAL>(run_mem.create(fp + v.off, v.units, OBJ_STACK, v.name, false)) << 32;
  }
  uint32_t va_base = fp + fn->frame_units;
  uint32_t va_prov = run_mem.create(va_base, va_units, OBJ_VARARGS, "the variable arguments", false);
  nf.va = make_ptr(va_base, va_prov);

  for (uint32_t i = 0; i < nargs; ++i) {
    VK avk = cs.arg_vk[i];
    VAL v = args[i];
    uint32_t a;
    VK vk;
    if (i < nparams) {
      const XPARAM& p = fn->params[i];
      vk = p.vk;
      if (avk != vk && avk != VK_AGG && vk != VK_AGG) v = canon(convert_value(v, avk, vk), vk);
      if (p.in_reg) {
        nf.regs[p.index] = v;
        continue;
      }
      a = fp + fn->vars[p.index].off;
    } else {
      vk = avk;
      a = va_base;
      va_base += cs.arg_units[i];
    }
    if (vk == VK_AGG) {
      uint32_t units = std::min(cs.arg_units[i], i < nparams ? fn->params[i].units : cs.arg_units[i]);
      check_read(v, units);
      run_mem.move(a, p_addr(v), units);
    } else {
      acc_store(acc_of(vk), a, v);
    }
  }

  FRAME* caller = frame;
  frame = &nf;
  VAL r = exec(&nf);
  frame = caller;
  for (const ALLOCA_BLOCK& b : nf.allocas) run_mem.destroy(b.prov);
  for (uint32_t k = 0; k < nvars; ++k) run_mem.destroy(static_cast<uint32_t>(nf.prov[k] >> 32));
  run_mem.destroy(va_prov);
  sp = caller_sp;
  hpop(fn->nregs + nvars);
  return r;
}

VAL RUN_MACHINE::exec(FRAME* f) {
  XSTMT* code = f->fn->code.data();
  uint32_t pc = 0;
  const uint64_t max_steps = opts.max_steps;
  for (;;) {
    XSTMT* s = &code[pc];
    ++s->hits;
    if (++steps > max_steps) {
      if (s->kind != S_END) run_fail("step limit of %llu statements reached", static_cast<unsigned long long>(max_steps));
    }
    switch (s->kind) {
      case S_EXPR:
        EV(s->x);
        ++pc;
        break;
      case S_BRANCH:
        if (s->target != pc + 1) ++s->taken;
        pc = s->target;
        break;
      case S_CBRANCH:
        if (lo32(EV(s->x))) {
          if (s->target != pc + 1) ++s->taken;
          pc = s->target;
        } else {
          ++pc;
        }
        break;
      case S_IF: {
        uint32_t t = lo32(EV(s->x)) ? s->target : s->target2;
        if (t != pc + 1) ++s->taken;
        pc = t;
        break;
      }
      case S_SWITCH: {
        uint32_t t = switch_target(s->table, lo32(EV(s->x)));
        if (t != pc + 1) ++s->taken;
        pc = t;
        break;
      }
      case S_RETURN: {
        if (!s->x) return 0;
        VAL v = EV(s->x);
        if (f->fn->ret_vk != VK_AGG) return v;
        if (f->ret_slot) {
          check_read(v, f->fn->ret_units);
          run_mem.move(p_addr(f->ret_slot), p_addr(v), f->fn->ret_units);
        }
        return f->ret_slot;
      }
      case S_ASSERT:
        if (!lo32(EV(s->x))) run_fail("assertion failed");
        ++pc;
        break;
      case S_END:
        --steps;
        return 0;
    }
  }
}
