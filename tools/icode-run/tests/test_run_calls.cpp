// Calls, recursion, variable arguments, function pointers and control flow.
#include "tools/icode-run/tests/run_test_util.h"

TEST_F(RunTest, RecursionAndArgumentsOfEveryKind) {
  RUN_FUNCTION* fib = func("fib", t_int());
  SYMTAB* n = param(fib, "n", t_int(), SC_REGISTER);
  begin_body(fib);
  if_goto(fib, op(GE, t_int(), N(n), I(2)), 1);
  E(fib, ret(fib, N(n)));
  L(fib, 1);
  E(fib, ret(fib, op(PLUS, t_int(), call(fib, t_int(), {op(MINUS, t_int(), N(n), I(1))}),
                     call(fib, t_int(), {op(MINUS, t_int(), N(n), I(2))}))));

  RUN_FUNCTION* mix = func("mix", t_float());
  SYMTAB* a = param(mix, "a", t_short());
  SYMTAB* b = param(mix, "b", t_ushort());
  SYMTAB* c = param(mix, "c", t_float());
  SYMTAB* s = param(mix, "s", ptr(t_char()));
  SYMTAB* d = param(mix, "d", t_uint(), SC_REGISTER);
  begin_body(mix);
  E(mix, print("%d %u %g %s %u\n", {conv(N(a), t_int()), conv(N(b), t_uint()), N(c), N(s), N(d)}));
  E(mix, ret(mix, op(MULT, t_float(), N(c), F("2"))));

  RUN_FUNCTION* m = main_fn();
  E(m, print("%d\n", {call(fib, t_int(), {I(20)})}));
  E(m, print("%g\n", {call(mix, t_float(), {I(-3, t_short()), I(65535, t_ushort()), F("1.25"), str("str"),
                                             I(4000000000LL, t_uint())})}));
  EXPECT_EQ(output(), "6765\n-3 65535 1.25 str 4000000000\n2.5\n");
}

TEST_F(RunTest, VariableArgumentsFollowTheNamedOnes) {
  // int sum(int n, ...): adds n ints.
  RUN_FUNCTION* sum = func("sum", t_int());
  SYMTAB* n = param(sum, "n", t_int());
  SYMTAB* ap = local(sum, "ap", ptr(t_char()));
  SYMTAB* total = local(sum, "total", t_int(), SC_REGISTER);
  begin_body(sum);
  E(sum, asg(N(ap), va_start_()));
  E(sum, asg(N(total), I(0)));
  L(sum, 1);
  if_goto(sum, op(LE, t_int(), N(n), I(0)), 2);
  E(sum, op(PLUSASG, t_int(), N(total), va_arg_(ap, t_int())));
  E(sum, op(MINUSASG, t_int(), N(n), I(1)));
  goto_(sum, 1);
  L(sum, 2);
  E(sum, ret(sum, N(total)));

  // void show(char *fmt, ...): passes its arguments on to vprintf.
  SYMTAB* vpf = extern_fn("vprintf", t_int());
  RUN_FUNCTION* show = func("show", t_void());
  SYMTAB* fmt = param(show, "fmt", ptr(t_char()));
  SYMTAB* ap2 = local(show, "ap", ptr(t_char()), SC_REGISTER);
  begin_body(show);
  E(show, asg(N(ap2), va_start_()));
  E(show, call(vpf, t_int(), {N(fmt), N(ap2)}));
  // A pointer and a float after an int.
  E(show, print("%d ", {va_arg_(ap2, t_int())}));
  E(show, print("%s ", {va_arg_(ap2, ptr(t_char()))}));
  E(show, print("%g\n", {va_arg_(ap2, t_float())}));

  RUN_FUNCTION* m = main_fn();
  E(m, print("%d %d\n", {call(sum, t_int(), {I(3), I(10), I(20), I(30)}, 3), call(sum, t_int(), {I(0)})}));
  E(m, call(show, t_void(), {str("<%d %s %g> "), I(-4), str("four"), F("4.5")}, 3));
  EXPECT_EQ(output(), "60 0\n<-4 four 4.5> -4 four 4.5\n");
}

TEST_F(RunTest, CallsThroughFunctionPointers) {
  RUN_FUNCTION* inc = func("inc", t_int());
  SYMTAB* x = param(inc, "x", t_int());
  begin_body(inc);
  E(inc, ret(inc, op(PLUS, t_int(), N(x), I(1))));
  RUN_FUNCTION* neg = func("neg", t_int());
  SYMTAB* y = param(neg, "y", t_int());
  begin_body(neg);
  E(neg, ret(neg, op(UMINUS, t_int(), N(y))));
  TYPE* fp = ptr(inc->sym->type);
  SYMTAB* table = global("table", array(fp, 2));
  init(table, {op(UAND, fp, N(inc->sym)), op(UAND, fp, N(neg->sym))});

  RUN_FUNCTION* m = main_fn();
  SYMTAB* f = local(m, "f", fp, SC_REGISTER);
  SYMTAB* i = local(m, "i", t_int());
  E(m, asg(N(i), I(0)));
  L(m, 1);
  E(m, asg(N(f), index(N(table), N(i))));
  E(m, print("%d %d\n", {op(CALL, t_int(), N(f), I(10)), op(EQ, t_int(), N(f), op(UAND, fp, N(neg->sym)))}));
  E(m, op(PLUSPLUS, t_int(), N(i), I(1)));
  if_goto(m, op(LT, t_int(), N(i), I(2)), 1);
  E(m, print("%d\n", {op(CALL, t_int(), deref(op(PLUS, ptr(fp), decay(N(table)), I(1))), I(3))}));
  EXPECT_EQ(output(), "11 0\n-10 1\n-3\n");
}

TEST_F(RunTest, SwitchWithAndWithoutDefault) {
  // classify(x): cases 1, 2, -5 and 1000000, default; a dense table and a
  // sparse one.
  auto cases = [&](std::initializer_list<std::pair<long long, uint32_t>> items, TYPE* t, int deflt) {
    NODE* list = deflt >= 0 ? op(DEFAULT, t_void(), label(static_cast<uint32_t>(deflt))) : nullptr;
    std::vector<std::pair<long long, uint32_t>> v(items);
    for (auto it = v.rbegin(); it != v.rend(); ++it) {
      NODE* c = op(CASE, t_void(), I(it->first, t), label(it->second));
      list = list ? op(COMMA, t_void(), c, list) : c;
    }
    return list;
  };
  RUN_FUNCTION* classify = func("classify", t_int());
  SYMTAB* x = param(classify, "x", t_int());
  begin_body(classify);
  NODE* sw = op(SWITCH, t_void(), N(x), cases({{1, 1}, {2, 2}, {-5, 3}, {1000000, 4}}, t_int(), 9));
  sw->mk_switch(4);
  E(classify, sw);
  for (uint32_t l : {1u, 2u, 3u, 4u, 9u}) {
    L(classify, l);
    E(classify, ret(classify, I(l)));
  }
  RUN_FUNCTION* small = func("small", t_int());
  SYMTAB* y = param(small, "y", t_ushort());
  begin_body(small);
  E(small, op(SWITCH, t_void(), N(y), cases({{0, 10}, {3, 13}, {5, 15}, {3, 10}}, t_ushort(), -1)));
  E(small, ret(small, I(-1)));  // no case matched
  for (uint32_t l : {10u, 13u, 15u}) {
    L(small, l);
    E(small, ret(small, I(l)));
  }
  RUN_FUNCTION* m = main_fn();
  for (long long v : {1LL, 2LL, -5LL, 1000000LL, 0LL, 3LL})
    E(m, print("%d ", {call(classify, t_int(), {I(v)})}));
  for (long long v : {0LL, 3LL, 5LL, 1LL, 65535LL})
    E(m, print("%d ", {call(small, t_int(), {I(v, t_ushort())})}));
  EXPECT_EQ(output(), "1 2 3 4 9 9 10 13 15 -1 -1 ");
}

TEST_F(RunTest, ShortCircuitsConditionalsAndTwoWayBranches) {
  SYMTAB* count = global("count", t_int());
  RUN_FUNCTION* tick = func("tick", t_int());
  SYMTAB* v = param(tick, "v", t_int());
  begin_body(tick);
  E(tick, op(PLUSPLUS, t_int(), N(count), I(1)));
  E(tick, ret(tick, N(v)));
  auto t = [&](int k) { return call(tick, t_int(), {I(k)}); };
  RUN_FUNCTION* m = main_fn();
  SYMTAB* r = local(m, "r", t_int());
  E(m, print("%d %d %d %d ", {op(ANDAND, t_int(), t(0), t(1)), op(OROR, t_int(), t(2), t(3)),
                              op(ANDAND, t_int(), t(4), t(0)), op(OROR, t_int(), t(0), F("0.5"))}));
  E(m, print("%d ", {N(count)}));  // five calls: the right sides of the first two are skipped
  E(m, asg(N(r), op(QUEST, t_int(), op(LT, t_int(), N(count), I(3)), op(COLON, t_int(), t(100), t(200)))));
  E(m, print("%d %d ", {N(r), N(count)}));
  E(m, print("%d ", {op(COMMAOP, t_int(), t(7), t(8))}));
  // IF(cond, COLON(true label, false label)), and a label wrapped in EPVAL.
  E(m, op(IF, t_void(), op(EQ, t_int(), N(r), I(200)),
          op(COLON, t_void(), label(1), op(EPVAL, t_int(), label(2)))));
  L(m, 2);
  E(m, print("wrong "));
  L(m, 1);
  E(m, print("%d\n", {N(count)}));
  EXPECT_EQ(output(), "0 1 0 1 5 200 6 8 8\n");
}

TEST_F(RunTest, MainGetsItsArgumentsAndExitEndsTheRun) {
  SYMTAB* ex = extern_fn("exit", t_void());
  RUN_FUNCTION* quit = func("quit", t_void());
  begin_body(quit);
  E(quit, call(ex, t_void(), {I(260)}));
  E(quit, print("not reached\n"));
  RUN_FUNCTION* m = main_fn();
  SYMTAB* argc = param(m, "argc", t_int());
  SYMTAB* argv = param(m, "argv", ptr(ptr(t_char())));
  begin_body(m);
  E(m, print("%d %s %s\n", {N(argc), deref(N(argv)), deref(op(PLUS, argv->type, N(argv), I(2)))}));
  E(m, call(quit, t_void(), {}));
  RUN_RESULT r = run(RUN_OPTIONS(), {"prog.icode", "one", "two"});
  EXPECT_EQ(r.error, "");
  EXPECT_EQ(r.status, 4);
  EXPECT_EQ(r.out, "3 prog.icode two\n");
}
