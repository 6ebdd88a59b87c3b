// The C library of the interpreter.
#include <cmath>
#include <cstdarg>

#include "tools/icode-run/tests/run_test_util.h"

TEST_F(RunTest, PrintfConversionsFlagsWidthsAndLengths) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* s = local(m, "s", t_short());
  E(m, asg(N(s), I(-2, t_short())));
  E(m, print("[%5d|%-5d|%+d|% d|%05d|%.3d]\n", {I(42), I(42), I(42), I(42), I(-42), I(7)}));
  E(m, print("[%u|%x|%X|%#o|%#x|%hd|%hu|%ld|%lld|%hhd]\n",
             {I(-1), I(48879), I(48879), I(8), I(255), I(65535 + 65536), I(-1), I(-5), I(-6), I(65537)}));
  E(m, print("[%c%c|%s|%8s|%-4s|%.2s|%*d|%-*d|%.*s]\n",
             {I('o'), I(0x100 + 'k'), str("str"), str("right"), str("l"), str("cut"), I(4), I(9), I(3), I(1), I(2),
              str("xyz")}));
  E(m, print("[%f|%.2f|%e|%.3E|%g|%G|%10.4f|%-8.1f|%%]\n",
             {F("1.5"), F("2.345"), F("-1234.5"), F("0.000123"), F("1e-10"), F("1e20"), F("3.14159265"), F("-2.25")}));
  E(m, print("[%d]\n", {conv(N(s), t_int())}));
  std::string expect = "[   42|42   |+42| 42|-0042|007]\n";
  expect += "[4294967295|beef|BEEF|010|0xff|-1|65535|-5|-6|1]\n";
  expect += "[ok|str|   right|l   |cu|   9|1  |xy]\n";
  char buf[200];
  snprintf(buf, sizeof buf, "[%f|%.2f|%e|%.3E|%g|%G|%10.4f|%-8.1f|%%]\n", 1.5, static_cast<double>(2.345f), -1234.5,
           static_cast<double>(0.000123f), static_cast<double>(1e-10f), static_cast<double>(1e20f),
           static_cast<double>(3.14159265f), -2.25);
  expect += buf;
  expect += "[-2]\n";
  EXPECT_EQ(output(), expect);
}

TEST_F(RunTest, StringFormattingIntoMemory) {
  SYMTAB* sp = extern_fn("sprintf", t_int());
  SYMTAB* snp = extern_fn("snprintf", t_int());
  SYMTAB* pc = extern_fn("putchar", t_int());
  SYMTAB* ps = extern_fn("puts", t_int());
  RUN_FUNCTION* m = main_fn();
  SYMTAB* buf = local(m, "buf", array(t_char(), 16));
  SYMTAB* n = local(m, "n", t_int());
  E(m, asg(N(n), call(sp, t_int(), {decay(N(buf)), str("%d-%s"), I(12), str("ab")}, 2)));
  E(m, call(ps, t_int(), {decay(N(buf))}));
  E(m, asg(N(n), op(PLUS, t_int(), N(n), call(snp, t_int(), {decay(N(buf)), I(4, t_uint()), str("%d"), I(123456)}, 1))));
  E(m, call(ps, t_int(), {decay(N(buf))}));
  E(m, call(pc, t_int(), {I('A' + 256)}));
  E(m, print(" %d\n", {N(n)}));
  EXPECT_EQ(output(), "12-ab\n123\nA 11\n");
}

TEST_F(RunTest, StringAndMemoryFunctions) {
  SYMTAB* len = extern_fn("strlen", t_uint());
  SYMTAB* cmp = extern_fn("strcmp", t_int());
  SYMTAB* ncmp = extern_fn("strncmp", t_int());
  SYMTAB* cpy = extern_fn("strcpy", ptr(t_char()));
  SYMTAB* ncpy = extern_fn("strncpy", ptr(t_char()));
  SYMTAB* cat = extern_fn("strcat", ptr(t_char()));
  SYMTAB* chr = extern_fn("strchr", ptr(t_char()));
  SYMTAB* mcpy = extern_fn("memcpy", ptr(t_void()));
  SYMTAB* mmov = extern_fn("memmove", ptr(t_void()));
  SYMTAB* mset = extern_fn("memset", ptr(t_void()));
  SYMTAB* mcmp = extern_fn("memcmp", t_int());
  SYMTAB* ab = extern_fn("abs", t_int());
  RUN_FUNCTION* m = main_fn();
  SYMTAB* a = local(m, "a", array(t_char(), 12));
  SYMTAB* b = local(m, "b", array(t_char(), 12));
  TYPE* pv = ptr(t_void());
  E(m, call(cpy, ptr(t_char()), {decay(N(a)), str("hello")}));
  E(m, call(cat, ptr(t_char()), {decay(N(a)), str(" you")}));
  E(m, print("%s %u %d %d %d %d\n",
             {decay(N(a)), call(len, t_uint(), {decay(N(a))}), call(cmp, t_int(), {str("abc"), str("abd")}),
              call(cmp, t_int(), {str("b"), str("abc")}), call(ncmp, t_int(), {str("abcX"), str("abcY"), I(3, t_uint())}),
              call(cmp, t_int(), {decay(N(a)), str("hello you")})}));
  E(m, call(ncpy, ptr(t_char()), {decay(N(b)), str("xy"), I(5, t_uint())}));
  E(m, print("%s %d %d ", {decay(N(b)), conv(index(N(b), I(4)), t_int()),
                           op(MINUS, t_int(), call(chr, ptr(t_char()), {decay(N(a)), I('y')}), decay(N(a)))}));
  E(m, call(mset, pv, {conv(decay(N(b)), pv), I('z'), I(3, t_uint())}));
  E(m, call(mcpy, pv, {conv(op(PLUS, ptr(t_char()), decay(N(a)), I(6)), pv), conv(decay(N(b)), pv), I(2, t_uint())}));
  E(m, call(mmov, pv, {conv(op(PLUS, ptr(t_char()), decay(N(a)), I(1)), pv), conv(decay(N(a)), pv), I(4, t_uint())}));
  E(m, print("%s %d %d %d\n",
             {decay(N(a)), call(mcmp, t_int(), {conv(decay(N(a)), pv), conv(decay(N(b)), pv), I(1, t_uint())}),
              op(EQ, t_int(), call(chr, ptr(t_char()), {decay(N(a)), I('q')}), conv(I(0), ptr(t_char()))),
              call(ab, t_int(), {I(-2147483647 - 1)})}));
  EXPECT_EQ(output(), "hello you 9 -1 1 0 0\nxy 0 6 hhell zzu -18 1 -2147483648\n");
}

TEST_F(RunTest, MathFunctionsAreBinary32) {
  const char* names[] = {"sqrt", "sin", "cos", "exp", "log", "atan", "floor", "ceil", "fabs", "tanhf"};
  double (*host[])(double) = {std::sqrt, std::sin, std::cos, std::exp, std::log,
                              std::atan, std::floor, std::ceil, std::fabs, std::tanh};
  RUN_FUNCTION* m = main_fn();
  std::string expect;
  for (size_t k = 0; k < sizeof names / sizeof names[0]; ++k) {
    SYMTAB* f = extern_fn(names[k], t_double());
    for (const char* v : {"0.5", "2", "-1.75", "10.125"}) {
      float x = strtof(v, nullptr);
      double r = host[k](static_cast<double>(x));
      if (std::isnan(r)) continue;
      E(m, print("%.9g\n", {call(f, t_double(), {F(v, t_double())})}));
      char buf[40];
      snprintf(buf, sizeof buf, "%.9g\n", static_cast<double>(static_cast<float>(r)));
      expect += buf;
    }
  }
  SYMTAB* pw = extern_fn("powf", t_float());
  SYMTAB* fm = extern_fn("fmod", t_double());
  SYMTAB* fx = extern_fn("frexp", t_double());
  SYMTAB* e = local(m, "e", t_int());
  E(m, print("%.9g %g %g %d\n", {call(pw, t_float(), {F("2"), F("0.5")}), call(fm, t_double(), {F("7.5"), F("2")}),
                                 call(fx, t_double(), {F("12"), addr(N(e))}), N(e)}));
  char buf[80];
  snprintf(buf, sizeof buf, "%.9g 1.5 0.75 4\n", static_cast<double>(static_cast<float>(std::pow(2.0, 0.5))));
  expect += buf;
  EXPECT_EQ(output(), expect);
}

TEST_F(RunTest, LibraryArgumentsAreChecked) {
  RUN_FUNCTION* m = main_fn();
  E(m, print("%d %d\n", {I(1), F("2")}));
  expect_error("printf: argument 3 is a float; %d takes an integer in function main");
  reset();
  RUN_FUNCTION* m2 = main_fn();
  E(m2, print("%d %d\n", {I(1)}));
  expect_error("printf: too few arguments for the format in function main");
  reset();
  RUN_FUNCTION* m3 = main_fn();
  SYMTAB* a = local(m3, "a", array(t_char(), 2));
  SYMTAB* sl = extern_fn("strlen", t_uint());
  E(m3, asg(index(N(a), I(0)), I('x', t_char())));
  E(m3, asg(index(N(a), I(1)), I('y', t_char())));
  E(m3, call(sl, t_uint(), {decay(N(a))}));
  expect_error("strlen: the string in a has no terminating zero in function main");
  reset();
  RUN_FUNCTION* m4 = main_fn();
  SYMTAB* b = local(m4, "b", array(t_char(), 4));
  SYMTAB* mc = extern_fn("memcpy", ptr(t_void()));
  E(m4, call(mc, ptr(t_void()), {conv(op(PLUS, ptr(t_char()), decay(N(b)), I(1)), ptr(t_void())),
                                  conv(decay(N(b)), ptr(t_void())), I(2, t_uint())}));
  expect_error("memcpy with overlapping source and destination in function main");
}
