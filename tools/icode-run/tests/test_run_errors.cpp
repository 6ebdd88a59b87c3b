// Undefined behaviour and limits are reported with the function's name and
// status 3; programs that cannot be run at all with status 1.
#include <functional>

#include "tools/icode-run/tests/run_test_util.h"

TEST_F(RunTest, ArithmeticErrors) {
  struct CASE {
    int op;
    long long a, b;
    TYPE* t;
    const char* text;
  };
  for (const CASE& c : std::vector<CASE>{{DIV, 1, 0, t_int(), "division by zero in function main"},
                                         {MOD, 1, 0, t_uint(), "division by zero in function main"},
                                         {DIVASG, 1, 0, t_short(), "division by zero in function main"},
                                         {SLL, 1, 32, t_int(), "shift count 32 out of range in function main"},
                                         {SRL, 1, -1, t_int(), "shift count -1 out of range in function main"},
                                         {SLLASG, 1, 40, t_ushort(), "shift count 40 out of range in function main"}}) {
    reset();
    RUN_FUNCTION* m = main_fn();
    SYMTAB* a = local(m, "a", c.t);
    SYMTAB* b = local(m, "b", t_int(), SC_REGISTER);
    E(m, asg(N(a), I(c.a, c.t)));
    E(m, asg(N(b), I(c.b)));
    E(m, op(c.op, c.t, N(a), c.op == SLL || c.op == SRL || c.op == SLLASG ? N(b) : conv(N(b), c.t)));
    expect_error(c.text);
  }
  for (const char* v : {"3e9", "-40000", "nan"}) {
    reset();
    RUN_FUNCTION* m = main_fn();
    SYMTAB* f = local(m, "f", t_float());
    E(m, asg(N(f), std::string(v) == "nan" ? op(DIV, t_float(), F("0"), F("0")) : F(v)));
    E(m, conv(N(f), std::string(v) == "3e9" ? t_int() : t_short()));
    expect_error(std::string("conversion of ") + (std::string(v) == "3e9" ? "3e+09 to int" : std::string(v) == "nan" ? "-nan to short" : "-40000 to short") +
                 " is out of range in function main");
  }
}

TEST_F(RunTest, AccessesOutsideObjectsAreReported) {
  struct CASE {
    std::function<void(RunTest&, RUN_FUNCTION*)> body;
    const char* text;
  };
  auto arr_index = [](long long k, bool write) {
    return [k, write](RunTest& t, RUN_FUNCTION* m) {
      SYMTAB* arr = t.local(m, "arr", t.array(t.t_int(), 3));
      NODE* e = t.index(t.N(arr), t.I(k));
      t.E(m, write ? t.asg(e, t.I(1)) : e);
    };
  };
  std::vector<CASE> cases = {
      {arr_index(3, false), "out-of-bounds read of arr: units 6 to 7 of an object of 6 units in function main"},
      {arr_index(-1, true), "out-of-bounds write of arr: units -2 to -1 of an object of 6 units in function main"},
      {[](RunTest& t, RUN_FUNCTION* m) { t.E(m, t.deref(t.conv(t.I(0), t.ptr(t.t_int())))); },
       "null pointer read in function main"},
      {[](RunTest& t, RUN_FUNCTION* m) { t.E(m, t.asg(t.deref(t.conv(t.I(0), t.ptr(t.t_short()))), t.I(1, t.t_short()))); },
       "null pointer write in function main"},
      {[](RunTest& t, RUN_FUNCTION* m) { t.E(m, t.deref(t.conv(t.I(60000), t.ptr(t.t_int())))); },
       "read at address 0xea60, which lies in no object in function main"},
      // A pointer made from an integer may point anywhere inside an object.
      {[](RunTest& t, RUN_FUNCTION* m) {
         SYMTAB* g = t.global("g", t.array(t.t_short(), 2));
         t.E(m, t.asg(t.deref(t.conv(t.op(PLUS, t.t_int(), t.conv(t.decay(t.N(g)), t.t_int()), t.I(1)),
                                      t.ptr(t.t_short()))),
                      t.I(5, t.t_short())));
         t.E(m, t.deref(t.conv(t.op(PLUS, t.t_int(), t.conv(t.decay(t.N(g)), t.t_int()), t.I(2)),
                               t.ptr(t.t_short()))));
       },
       "read at address 0x0008, which lies in no object in function main"},
      {[](RunTest& t, RUN_FUNCTION* m) {
         SYMTAB* p = t.local(m, "p", t.ptr(t.t_char()));
         t.E(m, t.asg(t.N(p), t.str("lit")));
         t.E(m, t.asg(t.deref(t.N(p)), t.I(65, t.t_char())));
       },
       "write to constant object a string literal in function main"},
      {[](RunTest& t, RUN_FUNCTION* m) {
         SYMTAB* gc = t.global("gc", t.const_of(t.t_int()));
         t.E(m, t.asg(t.deref(t.conv(t.addr(t.N(gc)), t.ptr(t.t_int()))), t.I(1)));
       },
       "write to constant object gc in function main"},
      {[](RunTest& t, RUN_FUNCTION* m) {
         SYMTAB* f = t.extern_fn("putchar", t.t_int());
         t.E(m, t.deref(t.conv(t.op(UAND, t.ptr(f->type), t.N(f)), t.ptr(t.t_int()))));
       },
       "read of function putchar as data in function main"},
  };
  for (CASE& c : cases) {
    reset();
    RUN_FUNCTION* m = main_fn();
    c.body(*this, m);
    expect_error(c.text);
  }
}

TEST_F(RunTest, DeadObjectsAndTheHeap) {
  // int *f(void) { int x; return &x; }  main: *f();
  RUN_FUNCTION* f = func("f", ptr(t_int()));
  SYMTAB* x = local(f, "x", t_int());
  E(f, ret(f, addr(N(x))));
  RUN_FUNCTION* m = main_fn();
  E(m, deref(call(f, ptr(t_int()), {})));
  expect_error("read through a pointer to an object that no longer exists in function main");

  auto heap_case = [&](std::function<void(RUN_FUNCTION*, SYMTAB*, SYMTAB*, SYMTAB*)> body, const char* text) {
    reset();
    SYMTAB* mal = extern_fn("malloc", ptr(t_void()));
    SYMTAB* fre = extern_fn("free", t_void());
    RUN_FUNCTION* mm = main_fn();
    SYMTAB* p = local(mm, "p", ptr(t_int()));
    E(mm, asg(N(p), conv(call(mal, ptr(t_void()), {I(4, t_uint())}), ptr(t_int()))));
    body(mm, p, fre, mal);
    expect_error(text);
  };
  heap_case(
      [&](RUN_FUNCTION* mm, SYMTAB* p, SYMTAB* fre, SYMTAB*) {
        E(mm, call(fre, t_void(), {conv(N(p), ptr(t_void()))}));
        E(mm, call(fre, t_void(), {conv(N(p), ptr(t_void()))}));
      },
      "free of a heap block that was already freed in function main");
  heap_case(
      [&](RUN_FUNCTION* mm, SYMTAB* p, SYMTAB* fre, SYMTAB*) {
        E(mm, call(fre, t_void(), {conv(op(PLUS, ptr(t_int()), N(p), I(2)), ptr(t_void()))}));
      },
      "free of a pointer that malloc did not return in function main");
  heap_case(
      [&](RUN_FUNCTION* mm, SYMTAB* p, SYMTAB* fre, SYMTAB*) {
        E(mm, call(fre, t_void(), {conv(N(p), ptr(t_void()))}));
        E(mm, asg(deref(N(p)), I(1)));
      },
      "write through a pointer to an object that no longer exists in function main");
  heap_case([&](RUN_FUNCTION* mm, SYMTAB* p, SYMTAB*, SYMTAB*) { E(mm, deref(op(PLUS, ptr(t_int()), N(p), I(4)))); },
            "out-of-bounds read of a heap block: units 4 to 5 of an object of 4 units in function main");
}

TEST_F(RunTest, PointersIntoDifferentObjectsDoNotCompare) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* a = local(m, "a", t_int());
  SYMTAB* b = local(m, "b", t_int());
  E(m, print("%d ", {op(EQ, t_int(), addr(N(a)), addr(N(b)))}));  // equality is defined
  E(m, op(ULT, t_int(), addr(N(a)), addr(N(b))));
  expect_error("comparison of pointers to different objects (a and b) in function main");
  reset();
  RUN_FUNCTION* m2 = main_fn();
  SYMTAB* c = global("c", array(t_int(), 2));
  SYMTAB* d = global("d", t_int());
  E(m2, op(MINUS, t_int(), decay(N(c)), addr(N(d))));
  expect_error("subtraction of pointers to different objects (c and d) in function main");
}

TEST_F(RunTest, CallsThatCannotBeMade) {
  SYMTAB* nowhere = extern_fn("nowhere", t_int());
  RUN_FUNCTION* m = main_fn();
  E(m, call(nowhere, t_int(), {I(1)}));
  expect_error("call of undefined function nowhere in function main");

  reset();
  RUN_FUNCTION* two = func("two", t_int());
  param(two, "a", t_int());
  param(two, "b", t_int());
  begin_body(two);
  RUN_FUNCTION* m2 = main_fn();
  E(m2, call(two, t_int(), {I(1)}));
  expect_error("call of two with 1 arguments; it has 2 parameters in function main");

  reset();
  RUN_FUNCTION* m3 = main_fn();
  SYMTAB* fp = local(m3, "fp", ptr(fn_type(t_int())));
  E(m3, asg(N(fp), conv(I(0), fp->type)));
  E(m3, op(UCALL, t_int(), N(fp)));
  expect_error("call through a null function pointer in function main");

  reset();
  RUN_FUNCTION* m4 = main_fn();
  E(m4, intrinsic(UMCALL, "_never_executed", t_void()));
  expect_error("reached code marked _never_executed in function main");

  reset();
  RUN_FUNCTION* m5 = main_fn();
  E(m5, intrinsic(ICALL, "__frobnicate", t_int(), I(1)));
  expect_error("unknown intrinsic __frobnicate in function main");

  // Reading past the variable arguments.
  reset();
  RUN_FUNCTION* v = func("v", t_int());
  param(v, "n", t_int());
  SYMTAB* ap = local(v, "ap", ptr(t_char()));
  begin_body(v);
  E(v, asg(N(ap), va_start_()));
  E(v, va_arg_(ap, t_int()));
  E(v, va_arg_(ap, t_int()));
  RUN_FUNCTION* m6 = main_fn();
  E(m6, call(v, t_int(), {I(1), I(2)}, 1));
  expect_error("out-of-bounds read of the variable arguments: units 2 to 3 of an object of 2 units in function v");
}

TEST_F(RunTest, LimitsOfStackAndSteps) {
  RUN_FUNCTION* f = func("f", t_int());
  SYMTAB* x = param(f, "x", t_int());
  begin_body(f);
  E(f, ret(f, call(f, t_int(), {op(PLUS, t_int(), N(x), I(1))})));
  RUN_FUNCTION* m = main_fn();
  E(m, call(f, t_int(), {I(0)}));
  expect_error("stack overflow in function f");

  reset();
  RUN_FUNCTION* m2 = main_fn();
  L(m2, 1);
  goto_(m2, 1);
  RUN_OPTIONS o;
  o.max_steps = 100;
  RUN_RESULT r = run(o);
  EXPECT_EQ(r.status, RUN_STATUS_ERROR);
  EXPECT_EQ(r.error, "step limit of 100 statements reached in function main");
}

TEST_F(RunTest, AssertionsAreCheckedOnlyWhenStrict) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* x = local(m, "x", t_int());
  E(m, asg(N(x), I(3)));
  E(m, op(NASSERT, t_void(), op(GT, t_int(), N(x), I(2))));
  E(m, op(ASSERT, t_void(), op(LT, t_int(), N(x), I(2))));
  E(m, print("done\n"));
  RUN_RESULT loose = run();
  EXPECT_EQ(loose.error, "");
  EXPECT_EQ(loose.out, "done\n");
  RUN_OPTIONS o;
  o.strict = true;
  RUN_RESULT strict = run(o);
  EXPECT_EQ(strict.status, RUN_STATUS_ERROR);
  EXPECT_EQ(strict.error, "assertion failed in function main");
  EXPECT_EQ(strict.out, "");
  // Assertions are no code: they count in neither mode.
  EXPECT_EQ(loose.stats.statements, 2u);
}

TEST_F(RunTest, ProgramsThatCannotRunAreBadInput) {
  RUN_FUNCTION* m = main_fn();
  goto_(m, 9);
  RUN_RESULT r = run();
  EXPECT_EQ(r.status, RUN_STATUS_BAD_INPUT);
  EXPECT_EQ(r.error, "branch to undefined label 9 in function main");
  reset();
  func("start", t_int());
  r = run();
  EXPECT_EQ(r.status, RUN_STATUS_BAD_INPUT);
  EXPECT_EQ(r.error, "the program has no function main");
  reset();
  RUN_FUNCTION* m2 = main_fn();
  E(m2, op(PMCONV, t_int(), I(1), I(2)));
  E(m2, print("never\n"));
  r = run();
  EXPECT_EQ(r.status, RUN_STATUS_ERROR);  // only when reached
  EXPECT_EQ(r.error, "operator PMCONV is not supported in function main");
}
