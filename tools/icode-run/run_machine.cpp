// The machine: layout of the program in memory, translation of every
// function, initialisers, running main, and the counts.
#include "tools/icode-run/run_machine.h"

#include <algorithm>
#include <cstring>

#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "tools/icode-run/run_compile.h"
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_libc.h"
#include "tools/icode-run/run_ops.h"
#include "tools/icode-run/run_program.h"

RUN_MACHINE* run_machine = nullptr;

namespace {

// Address 0 is the null pointer; the first units stay unused.
constexpr uint32_t kFirstStatic = 4;
// Static data must leave this much room for the stack.
constexpr uint32_t kMinStack = 1024;
constexpr uint32_t kHostStack = 1u << 22;

}  // namespace

RUN_MACHINE::RUN_MACHINE(const RUN_OPTIONS& options) : opts(options) {
  run_machine = this;
  run_mem.reset();
  next_static = kFirstStatic;
  hstack_.reset(new VAL[kHostStack]);
  hstack_size_ = kHostStack;
}

RUN_MACHINE::~RUN_MACHINE() {
  if (run_machine == this) run_machine = nullptr;
}

void RUN_MACHINE::flush_output() {
  if (opts.out && !out_.empty()) {
    fwrite(out_.data(), 1, out_.size(), opts.out);
    fflush(opts.out);
    out_.clear();
  }
}

VAL RUN_MACHINE::static_object(uint32_t units, OBJ_KIND kind, const char* name, bool readonly, uint32_t align) {
  uint32_t base = align_up(next_static, align);
  if (base + units + kMinStack > ADDRESS_UNITS)
    run_bad_input("the program's static data does not fit in the 65536-unit address space");
  uint32_t prov = run_mem.create(base, units, kind, name, readonly);
  next_static = base + units + 1;  // one unit apart
  return make_ptr(base, prov);
}

XFUNC* RUN_MACHINE::function_named(const char* name) {
  auto it = func_by_name.find(name);
  if (it != func_by_name.end()) return it->second;
  XFUNC& f = funcs.emplace_back();
  f.name = keep_text(name);
  if (const LIB_ENTRY* e = find_library_function(name)) {
    f.builtin = e->fn;
    f.builtin_data = e->data;
  }
  // One unit of address space: a function pointer's target, never data.
  f.addr = static_object(1, OBJ_FUNCTION, f.name, true);
  RUN_OBJ& o = run_mem.objs[p_prov(f.addr) & 0xffffu];
  o.end = o.wend = o.base;
  o.fn = &f;
  func_by_name[f.name] = &f;
  return &f;
}

VAL RUN_MACHINE::literal(NODE* scon) {
  auto it = literals.find(scon);
  if (it != literals.end()) return it->second;
  uint32_t len = scon->text_len;
  uint32_t units = std::max(units_of(scon->type), len + 1);
  VAL p = static_object(units, OBJ_LITERAL, "a string literal", true);
  for (uint32_t i = 0; i < len; ++i) run_mem.mem[p_addr(p) + i] = static_cast<uint8_t>(scon->text[i]);
  literals[scon] = p;
  return p;
}

void RUN_MACHINE::layout_globals(RUN_PROGRAM& program) {
  for (auto& rf : program.functions) {
    if (!rf->sym || !rf->sym->name) run_bad_input("a function without a name");
    XFUNC* x = function_named(rf->sym->name);
    if (x->body) run_bad_input("function %s is defined twice", x->name);
    x->body = rf.get();
    x->sym = rf->sym;
    x->builtin = nullptr;  // the program's own definition wins over the library
    func_of[rf->sym] = x;
  }
  // Data: one object per name at level 0 (declarations and the definition
  // share it), one per symbol for the statics of functions.
  struct STORE {
    std::vector<SYMTAB*> syms;
    uint32_t units = 0;
    uint32_t align = 1;
    bool readonly = true;
  };
  std::vector<STORE> stores;
  std::unordered_map<std::string, size_t> by_name;
  for (SYMTAB* s : program.globals) {
    if (!s->name) run_bad_input("a global symbol without a name");
    VK vk = vk_of(s->type);
    if (vk == VK_FUNC) {
      XFUNC* x = function_named(s->name);
      if (!x->sym) x->sym = s;
      func_of[s] = x;
      continue;
    }
    size_t k;
    if (s->lex_level == 0) {
      auto it = by_name.find(s->name);
      if (it == by_name.end()) {
        k = stores.size();
        by_name[s->name] = k;
        stores.emplace_back();
      } else {
        k = it->second;
      }
    } else {
      k = stores.size();
      stores.emplace_back();
    }
    STORE& st = stores[k];
    st.syms.push_back(s);
    uint32_t units = std::max(units_of(s->type), static_cast<uint32_t>((std::max(s->size, 0) + 15) / 16));
    st.units = std::max(st.units, units);
    st.align = std::max(st.align, symbol_align_units(s));
    st.readonly = st.readonly && type_is_readonly(s->type);
  }
  for (STORE& st : stores) {
    SYMTAB* first = st.syms[0];
    VAL addr = static_object(st.units, OBJ_GLOBAL, first->name, st.readonly, st.align);
    for (SYMTAB* s : st.syms) data_of[s] = addr;
    if (first->lex_level == 0) data_by_name[first->name] = addr;
  }
}

void RUN_MACHINE::apply_initialiser(SYMTAB* sym, VAL where, uint32_t units) {
  RUN_COMPILER comp(*this, nullptr, true);
  FRAME none;
  uint32_t base = p_addr(where);
  uint64_t bit = 0;
  uint64_t limit = static_cast<uint64_t>(units) * 16;
  for (EXPR_ELEM* e = sym->init->head; e; e = e->next) {
    NODE* t = e->tree;
    if (!t) continue;
    if (t->op == ENDINIT) break;
    if (t->op == SKIP) {
      int64_t n = t->value.as_int64();
      if (n < 0) run_bad_input("a negative SKIP in the initialiser of %s", sym->name);
      bit += static_cast<uint64_t>(n);
      continue;
    }
    if (t->op == SCON) {
      uint32_t n = units_of(t->type);
      if (n == 0) n = t->text_len + 1;
      if (bit % 16) run_bad_input("a string in the initialiser of %s is not at a unit boundary", sym->name);
      if (bit + n * 16ull > limit) run_bad_input("the initialiser of %s is larger than the object", sym->name);
      uint32_t a = base + static_cast<uint32_t>(bit / 16);
      for (uint32_t i = 0; i < n; ++i) {
        run_mem.mem[a + i] = i < t->text_len ? static_cast<uint8_t>(t->text[i]) : 0;
        run_mem.shadow[a + i] = 0;
      }
      bit += n * 16ull;
      continue;
    }
    VK vk = vk_of(t->type);
    if (!vk_is_scalar(vk))
      run_bad_input("the initialiser of %s holds %s of type %s", sym->name, op_text(t->op).c_str(), type_text(t->type));
    uint32_t size = vk_units(vk) * 16;
    if (bit + size > limit) run_bad_input("the initialiser of %s is larger than the object", sym->name);
    XN* x = comp.rvalue(t);
    VAL v = x->fn(x, &none);
    uint32_t a = base + static_cast<uint32_t>(bit / 16);
    if (bit % 16 == 0) acc_store(acc_of(vk), a, v);
    else bf_store(a, static_cast<uint32_t>(bit % 16), size, false, v);
    bit += size;
  }
}

void RUN_MACHINE::apply_initialisers(RUN_PROGRAM& program) {
  for (SYMTAB* s : program.globals) {
    if (!s->init || vk_of(s->type) == VK_FUNC) continue;
    VAL where = data_of[s];
    const RUN_OBJ* o = object_of(where);
    apply_initialiser(s, where, o ? o->end - o->base : 0);
  }
}

void RUN_MACHINE::load(RUN_PROGRAM& program) {
  layout_globals(program);
  for (auto& rf : program.functions) {
    RUN_COMPILER comp(*this, func_of[rf->sym], false);
    comp.compile_function();
  }
  apply_initialisers(program);
  heap_top = align_up(next_static, kHeapAlign);
}

int RUN_MACHINE::run_main(const std::vector<std::string>& args) {
  auto it = func_by_name.find("main");
  XFUNC* mainf = it == func_by_name.end() ? nullptr : it->second;
  if (!mainf || !mainf->body) run_bad_input("the program has no function main");
  uint32_t np = static_cast<uint32_t>(mainf->params.size());
  if (np > 2) run_bad_input("main has %u parameters", np);

  std::vector<VAL> strings;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    VAL p = static_object(static_cast<uint32_t>(a.size() + 1), OBJ_ARGV, keep_text("argv[" + std::to_string(i) + "]"),
                          false);
    for (size_t k = 0; k < a.size(); ++k) run_mem.mem[p_addr(p) + k] = static_cast<uint8_t>(a[k]);
    strings.push_back(p);
  }
  VAL argv = static_object(static_cast<uint32_t>(args.size() + 1), OBJ_ARGV, "argv", false);
  for (size_t i = 0; i < strings.size(); ++i) APTR::st(p_addr(argv) + static_cast<uint32_t>(i), strings[i]);
  heap_top = align_up(next_static, kHeapAlign);

  CALLSITE cs;
  VAL a[2] = {static_cast<uint32_t>(args.size()), argv};
  for (uint32_t i = 0; i < np; ++i) {
    cs.arg_vk.push_back(i == 0 ? VK_I32S : VK_PTR);
    cs.arg_units.push_back(i == 0 ? 2 : 1);
  }
  int status;
  try {
    VAL r = invoke(mainf, cs, a, 0);
    status = vk_is_int(mainf->ret_vk) ? static_cast<int>(lo32(r) & 0xffu) : 0;
  } catch (const RUN_EXIT& e) {
    status = e.status & 0xff;
  }
  frame = nullptr;
  flush_output();
  return status;
}

RUN_STATS RUN_MACHINE::stats() const {
  RUN_STATS s;
  for (const XN& x : xns) {
    if (x.flags & XF_NOSTAT || !x.hits) continue;
    s.nodes += x.hits * x.nsrc;
    s.cost += x.hits * x.cost;
    s.mem_loads += x.hits * x.mem_loads;
    s.mem_stores += x.hits * x.mem_stores;
    s.reg_loads += x.hits * x.reg_loads;
    s.reg_stores += x.hits * x.reg_stores;
    if (x.flags & XF_CALL) s.calls += x.hits;
  }
  for (const XFUNC& f : funcs) {
    for (const XSTMT& st : f.code) {
      if (st.kind == S_END || st.kind == S_ASSERT) continue;
      s.statements += st.hits;
      s.nodes += st.hits * st.nsrc;
      s.cost += st.hits * st.cost + st.taken * W_TAKEN;
      s.taken_branches += st.taken;
    }
  }
  s.library_work = lib_work;
  s.cost += lib_work * W_LIB_UNIT;
  // A comparison function that qsort or bsearch calls: a call of two arguments.
  s.calls += lib_calls;
  s.cost += lib_calls * (W_CALL + 2 * W_ARG);
  return s;
}

void RUN_MACHINE::print_stats(FILE* f) const {
  RUN_STATS s = stats();
  auto line = [f](const char* what, uint64_t n) { fprintf(f, "  %-26s %llu\n", what, static_cast<unsigned long long>(n)); };
  fprintf(f, "icode-run statistics\n");
  line("statements executed", s.statements);
  line("operator nodes evaluated", s.nodes);
  line("memory loads", s.mem_loads);
  line("memory stores", s.mem_stores);
  line("register loads", s.reg_loads);
  line("register stores", s.reg_stores);
  line("calls", s.calls);
  line("taken branches", s.taken_branches);
  line("library work units", s.library_work);
  line("weighted cost", s.cost);
}
