// Speed of icode-run: operator nodes evaluated per second on a few kernels
// built in memory (loops over arrays, nested loops with multiplication,
// recursive calls, floating point, sorting through pointers).
//   icode_run_bench [repeat]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "tools/icode-run/tests/run_builder.h"

namespace {

struct KERNEL {
  const char* name;
  std::function<void(RUN_BUILDER&, int)> build;
};

// for (v = from; v < to; v += step) body
void loop(RUN_BUILDER& b, RUN_FUNCTION* f, SYMTAB* v, NODE* from, NODE* to, long long step, uint32_t& label,
          const std::function<void()>& body) {
  uint32_t top = label++, done = label++;
  b.E(f, b.asg(b.N(v), from));
  b.L(f, top);
  b.if_goto(f, b.op(GE, b.t_int(), b.N(v), to), done);
  body();
  b.E(f, b.op(PLUSASG, b.t_int(), b.N(v), b.I(step)));
  b.goto_(f, top);
  b.L(f, done);
}

void sieve(RUN_BUILDER& b, int repeat) {
  const int n = 8000;
  RUN_FUNCTION* m = b.main_fn();
  SYMTAB* flags = b.local(m, "flags", b.array(b.t_char(), n));
  SYMTAB* r = b.local(m, "r", b.t_int(), SC_REGISTER);
  SYMTAB* i = b.local(m, "i", b.t_int(), SC_REGISTER);
  SYMTAB* j = b.local(m, "j", b.t_int(), SC_REGISTER);
  SYMTAB* count = b.local(m, "count", b.t_int());
  uint32_t label = 1;
  loop(b, m, r, b.I(0), b.I(repeat), 1, label, [&] {
    loop(b, m, i, b.I(0), b.I(n), 1, label, [&] { b.E(m, b.asg(b.index(b.N(flags), b.N(i)), b.I(1, b.t_char()))); });
    b.E(m, b.asg(b.N(count), b.I(0)));
    loop(b, m, i, b.I(2), b.I(n), 1, label, [&] {
      uint32_t skip = label++;
      b.if_goto(m, b.op(EQ, b.t_int(), b.conv(b.index(b.N(flags), b.N(i)), b.t_int()), b.I(0)), skip);
      b.E(m, b.op(PLUSPLUS, b.t_int(), b.N(count), b.I(1)));
      uint32_t top = label++, done = label++;
      b.E(m, b.asg(b.N(j), b.op(PLUS, b.t_int(), b.N(i), b.N(i))));
      b.L(m, top);
      b.if_goto(m, b.op(GE, b.t_int(), b.N(j), b.I(n)), done);
      b.E(m, b.asg(b.index(b.N(flags), b.N(j)), b.I(0, b.t_char())));
      b.E(m, b.op(PLUSASG, b.t_int(), b.N(j), b.N(i)));
      b.goto_(m, top);
      b.L(m, done);
      b.L(m, skip);
    });
  });
  b.E(m, b.print("%d\n", {b.N(count)}));
}

void matmul(RUN_BUILDER& b, int repeat) {
  const int n = 24;
  SYMTAB* a = b.global("a", b.array(b.t_int(), n * n));
  SYMTAB* bb = b.global("bb", b.array(b.t_int(), n * n));
  SYMTAB* c = b.global("c", b.array(b.t_int(), n * n));
  RUN_FUNCTION* m = b.main_fn();
  SYMTAB* r = b.local(m, "r", b.t_int());
  SYMTAB* i = b.local(m, "i", b.t_int(), SC_REGISTER);
  SYMTAB* j = b.local(m, "j", b.t_int(), SC_REGISTER);
  SYMTAB* k = b.local(m, "k", b.t_int(), SC_REGISTER);
  SYMTAB* sum = b.local(m, "sum", b.t_int());
  auto at = [&](SYMTAB* arr, SYMTAB* x, SYMTAB* y) {
    return b.index(b.N(arr), b.op(PLUS, b.t_int(), b.op(MULT, b.t_int(), b.N(x), b.I(n)), b.N(y)));
  };
  uint32_t label = 1;
  loop(b, m, i, b.I(0), b.I(n * n), 1, label, [&] {
    b.E(m, b.asg(b.index(b.N(a), b.N(i)), b.op(MOD, b.t_int(), b.N(i), b.I(7))));
    b.E(m, b.asg(b.index(b.N(bb), b.N(i)), b.op(MINUS, b.t_int(), b.N(i), b.I(100))));
  });
  loop(b, m, r, b.I(0), b.I(repeat), 1, label, [&] {
    loop(b, m, i, b.I(0), b.I(n), 1, label, [&] {
      loop(b, m, j, b.I(0), b.I(n), 1, label, [&] {
        b.E(m, b.asg(b.N(sum), b.I(0)));
        loop(b, m, k, b.I(0), b.I(n), 1, label, [&] {
          b.E(m, b.op(PLUSASG, b.t_int(), b.N(sum), b.op(MULT, b.t_int(), at(a, i, k), at(bb, k, j))));
        });
        b.E(m, b.asg(at(c, i, j), b.N(sum)));
      });
    });
  });
  b.E(m, b.print("%d\n", {b.index(b.N(c), b.I(n * n - 1))}));
}

void fib(RUN_BUILDER& b, int repeat) {
  RUN_FUNCTION* f = b.func("fib", b.t_int());
  SYMTAB* x = b.param(f, "x", b.t_int(), SC_REGISTER);
  b.begin_body(f);
  b.if_goto(f, b.op(GE, b.t_int(), b.N(x), b.I(2)), 1);
  b.E(f, b.ret(f, b.N(x)));
  b.L(f, 1);
  b.E(f, b.ret(f, b.op(PLUS, b.t_int(), b.call(f, b.t_int(), {b.op(MINUS, b.t_int(), b.N(x), b.I(1))}),
                       b.call(f, b.t_int(), {b.op(MINUS, b.t_int(), b.N(x), b.I(2))}))));
  RUN_FUNCTION* m = b.main_fn();
  SYMTAB* r = b.local(m, "r", b.t_int());
  SYMTAB* s = b.local(m, "s", b.t_int());
  uint32_t label = 10;
  b.E(m, b.asg(b.N(s), b.I(0)));
  loop(b, m, r, b.I(0), b.I(repeat), 1, label,
       [&] { b.E(m, b.op(PLUSASG, b.t_int(), b.N(s), b.call(f, b.t_int(), {b.I(20)}))); });
  b.E(m, b.print("%d\n", {b.N(s)}));
}

void floats(RUN_BUILDER& b, int repeat) {
  RUN_FUNCTION* m = b.main_fn();
  SYMTAB* i = b.local(m, "i", b.t_int(), SC_REGISTER);
  SYMTAB* x = b.local(m, "x", b.t_float());
  SYMTAB* y = b.local(m, "y", b.t_float(), SC_REGISTER);
  uint32_t label = 1;
  b.E(m, b.asg(b.N(x), b.F("1")));
  b.E(m, b.asg(b.N(y), b.F("0")));
  loop(b, m, i, b.I(0), b.I(repeat * 20000), 1, label, [&] {
    b.E(m, b.asg(b.N(x), b.op(PLUS, b.t_float(), b.op(MULT, b.t_float(), b.N(x), b.F("0.999")), b.F("0.5"))));
    b.E(m, b.op(PLUSASG, b.t_float(), b.N(y),
                    b.op(DIV, b.t_float(), b.N(x), b.conv(b.op(PLUS, b.t_int(), b.N(i), b.I(1)), b.t_float()))));
  });
  b.E(m, b.print("%g %g\n", {b.N(x), b.N(y)}));
}

void sort(RUN_BUILDER& b, int repeat) {
  const int n = 300;
  RUN_FUNCTION* m = b.main_fn();
  SYMTAB* v = b.local(m, "v", b.array(b.t_short(), n));
  SYMTAB* r = b.local(m, "r", b.t_int());
  SYMTAB* i = b.local(m, "i", b.t_int(), SC_REGISTER);
  SYMTAB* p = b.local(m, "p", b.ptr(b.t_short()), SC_REGISTER);
  SYMTAB* t = b.local(m, "t", b.t_short(), SC_REGISTER);
  uint32_t label = 1;
  loop(b, m, r, b.I(0), b.I(repeat), 1, label, [&] {
    loop(b, m, i, b.I(0), b.I(n), 1, label, [&] {
      b.E(m, b.asg(b.index(b.N(v), b.N(i)),
                   b.conv(b.op(MOD, b.t_int(), b.op(MULT, b.t_int(), b.N(i), b.I(7919)), b.I(1000)), b.t_short())));
    });
    loop(b, m, i, b.I(0), b.I(n - 1), 1, label, [&] {
      b.E(m, b.asg(b.N(p), b.decay(b.N(v))));
      uint32_t top = label++, done = label++, keep = label++;
      b.L(m, top);
      b.if_goto(m, b.op(UGE, b.t_int(), b.N(p), b.op(PLUS, b.ptr(b.t_short()), b.decay(b.N(v)), b.op(MINUS, b.t_int(), b.I(n - 1), b.N(i)))), done);
      b.if_goto(m, b.op(LE, b.t_int(), b.conv(b.deref(b.N(p)), b.t_int()),
                        b.conv(b.deref(b.op(PLUS, b.ptr(b.t_short()), b.N(p), b.I(1))), b.t_int())),
                keep);
      b.E(m, b.asg(b.N(t), b.deref(b.N(p))));
      b.E(m, b.asg(b.deref(b.N(p)), b.deref(b.op(PLUS, b.ptr(b.t_short()), b.N(p), b.I(1)))));
      b.E(m, b.asg(b.deref(b.op(PLUS, b.ptr(b.t_short()), b.N(p), b.I(1))), b.N(t)));
      b.L(m, keep);
      b.E(m, b.op(PLUSPLUS, b.ptr(b.t_short()), b.N(p), b.I(1)));
      b.goto_(m, top);
      b.L(m, done);
    });
  });
  b.E(m, b.print("%d %d\n", {b.conv(b.index(b.N(v), b.I(0)), b.t_int()), b.conv(b.index(b.N(v), b.I(n - 1)), b.t_int())}));
}

}  // namespace

int main(int argc, char** argv) {
  int repeat = argc > 1 ? atoi(argv[1]) : 20;
  if (repeat < 1) repeat = 1;
  KERNEL kernels[] = {{"sieve", sieve}, {"matmul", matmul}, {"fib", fib}, {"floats", floats}, {"sort", sort}};
  uint64_t all_nodes = 0;
  double all_seconds = 0;
  int status = 0;
  printf("%-8s %12s %12s %9s %10s  %s\n", "kernel", "nodes", "statements", "seconds", "Mnodes/s", "output");
  for (KERNEL& k : kernels) {
    run_with_stack(RUN_STACK_BYTES, [&] {
      RUN_BUILDER b;
      k.build(b, repeat);
      RUN_OPTIONS opts;
      opts.out = nullptr;
      opts.max_steps = ~0ull;
      RUN_MACHINE m(opts);
      try {
        m.load(b.prog);
        auto t0 = std::chrono::steady_clock::now();
        m.run_main({k.name});
        double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        RUN_STATS st = m.stats();
        std::string out = m.output();
        if (!out.empty() && out.back() == '\n') out.pop_back();
        printf("%-8s %12llu %12llu %9.3f %10.1f  %s\n", k.name, static_cast<unsigned long long>(st.nodes),
               static_cast<unsigned long long>(st.statements), s, st.nodes / s / 1e6, out.c_str());
        all_nodes += st.nodes;
        all_seconds += s;
      } catch (const RUN_ERROR& e) {
        printf("%-8s error: %s\n", k.name, e.text.c_str());
        status = 1;
      }
    });
  }
  printf("%-8s %12llu %12s %9.3f %10.1f\n", "all", static_cast<unsigned long long>(all_nodes), "", all_seconds,
         all_nodes / all_seconds / 1e6);
  return status;
}
