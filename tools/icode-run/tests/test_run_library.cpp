// The library functions that call back into the program or own part of
// the stack (qsort, bsearch, alloca and the stack marks), the streams,
// div, and where objects are placed. Their ordinary results are checked by
// the C corpus against gcc; here are the counts and the errors.
#include "tools/icode-run/tests/run_test_util.h"

namespace {

// int cmp(const void* a, const void* b) { return *(int*)a - *(int*)b; }
RUN_FUNCTION* int_compare(RunTest& t) {
  TYPE* pi = t.ptr(t.t_int());
  RUN_FUNCTION* f = t.func("cmp", t.t_int());
  SYMTAB* a = t.param(f, "a", t.ptr(t.t_void()));
  SYMTAB* b = t.param(f, "b", t.ptr(t.t_void()));
  t.begin_body(f);
  t.E(f, t.ret(f, t.op(MINUS, t.t_int(), t.deref(t.conv(t.N(a), pi)), t.deref(t.conv(t.N(b), pi)))));
  return f;
}

}  // namespace

TEST_F(RunTest, QsortAndBsearchCallTheComparisonAndCountIt) {
  SYMTAB* qs = extern_fn("qsort", t_void());
  SYMTAB* bs = extern_fn("bsearch", ptr(t_void()));
  RUN_FUNCTION* cmp = int_compare(*this);
  RUN_FUNCTION* m = main_fn();
  SYMTAB* v = local(m, "v", array(t_int(), 5));
  SYMTAB* key = local(m, "key", t_int());
  TYPE* pv = ptr(t_void());
  NODE* fp = op(UAND, ptr(cmp->sym->type), N(cmp->sym));
  const long long values[5] = {40, -7, 13, 0, 13};
  for (int i = 0; i < 5; ++i) E(m, asg(index(N(v), I(i)), I(values[i])));
  E(m, call(qs, t_void(), {conv(decay(N(v)), pv), I(5, t_uint()), I(2, t_uint()), copy_tree(fp, false)}));
  E(m, print("%d %d %d %d %d\n", {index(N(v), I(0)), index(N(v), I(1)), index(N(v), I(2)), index(N(v), I(3)),
                                  index(N(v), I(4))}));
  E(m, asg(N(key), I(13)));
  NODE* found = call(bs, pv, {conv(addr(N(key)), pv), conv(decay(N(v)), pv), I(5, t_uint()), I(2, t_uint()),
                              copy_tree(fp, false)});
  E(m, print("%d\n", {op(MINUS, t_int(), conv(found, ptr(t_int())), decay(N(v)))}));
  E(m, asg(N(key), I(1)));
  E(m, print("%d\n", {op(EQ, t_int(),
                         call(bs, pv, {conv(addr(N(key)), pv), conv(decay(N(v)), pv), I(5, t_uint()), I(2, t_uint()),
                                       copy_tree(fp, false)}),
                         conv(I(0), pv))}));
  RUN_RESULT r = run();
  ASSERT_EQ(r.error, "");
  // The first probe, element 2 of two-unit ints, is a 13 already.
  EXPECT_EQ(r.out, "-7 0 13 13 40\n4\n1\n");

  // The same program without the library's own calls of the comparison:
  // each such call counts as a call of two arguments.
  uint64_t with_library = r.stats.calls;
  EXPECT_GT(r.stats.library_work, 0u);
  reset();
  RUN_FUNCTION* m2 = main_fn();
  E(m2, print("%d %d %d %d %d\n", {I(-7), I(0), I(13), I(13), I(40)}));
  E(m2, print("%d\n", {I(4)}));
  E(m2, print("%d\n", {I(1)}));
  RUN_RESULT plain = run();
  uint64_t library_calls = 3;  // qsort and the two bsearches
  uint64_t comparisons = with_library - plain.stats.calls - library_calls;
  // Five elements take at least 5 and at most 8 comparisons to sort; the
  // searches take 2 and 3.
  EXPECT_GE(comparisons, 5u + 2u + 2u);
  EXPECT_LE(comparisons, 8u + 3u + 3u);
}

TEST_F(RunTest, AllocaBlocksLiveUntilTheirCallReturns) {
  SYMTAB* al = extern_fn("alloca", ptr(t_void()));
  TYPE* pi = ptr(t_int());
  // int* grab(int n) { int* p = alloca(n * 2); p[n - 1] = n; return p; }
  RUN_FUNCTION* grab = func("grab", pi);
  SYMTAB* n = param(grab, "n", t_int());
  SYMTAB* p = local(grab, "p", pi);
  begin_body(grab);
  E(grab, asg(N(p), conv(call(al, ptr(t_void()), {op(MULT, t_uint(), conv(N(n), t_uint()), I(2, t_uint()))}), pi)));
  E(grab, asg(deref(op(PLUS, pi, N(p), op(MULT, t_int(), op(MINUS, t_int(), N(n), I(1)), I(2)))), N(n)));
  E(grab, ret(grab, N(p)));

  // 100 calls of 1000 units each fit only when each call gives its block back.
  RUN_FUNCTION* m = main_fn();
  SYMTAB* i = local(m, "i", t_int());
  E(m, asg(N(i), I(0)));
  L(m, 1);
  E(m, call(grab, pi, {I(500)}));
  E(m, op(PLUSASG, t_int(), N(i), I(1)));
  if_goto(m, op(LT, t_int(), N(i), I(100)), 1);
  E(m, print("%d\n", {N(i)}));
  EXPECT_EQ(output(), "100\n");

  // The block is gone once grab has returned.
  reset();
  grab = func("grab", pi);
  n = param(grab, "n", t_int());
  p = local(grab, "p", pi);
  begin_body(grab);
  E(grab, asg(N(p), conv(call(al, ptr(t_void()), {I(4, t_uint())}), pi)));
  E(grab, ret(grab, N(p)));
  m = main_fn();
  E(m, deref(call(grab, pi, {I(1)})));
  expect_error("read through a pointer to an object that no longer exists in function main");

  // And it has the size asked for.
  reset();
  m = main_fn();
  SYMTAB* q = local(m, "q", pi);
  E(m, asg(N(q), conv(call(al, ptr(t_void()), {I(4, t_uint())}), pi)));
  E(m, asg(deref(op(PLUS, pi, N(q), I(4))), I(1)));
  expect_error("out-of-bounds write of a block of alloca: units 4 to 5 of an object of 4 units in function main");
}

TEST_F(RunTest, StackMarksReleaseTheBlocksAfterThem) {
  SYMTAB* al = extern_fn("alloca", ptr(t_void()));
  SYMTAB* save = extern_fn("__stack_save", ptr(t_void()));
  SYMTAB* restore = extern_fn("__stack_restore", t_void());
  TYPE* pv = ptr(t_void());
  TYPE* pi = ptr(t_int());
  // A loop that takes a large block each time round, between a save and a
  // restore, as the front end does for a variable-length array.
  RUN_FUNCTION* m = main_fn();
  SYMTAB* i = local(m, "i", t_int());
  SYMTAB* mark = local(m, "mark", pv);
  SYMTAB* keep = local(m, "keep", pi);
  SYMTAB* p = local(m, "p", pi);
  E(m, asg(N(keep), conv(call(al, pv, {I(2, t_uint())}), pi)));
  E(m, asg(deref(N(keep)), I(7)));
  E(m, asg(N(i), I(0)));
  L(m, 1);
  E(m, asg(N(mark), op(UCALL, pv, op(UAND, ptr(save->type), N(save)))));
  E(m, asg(N(p), conv(call(al, pv, {I(30000, t_uint())}), pi)));
  E(m, asg(deref(N(p)), N(i)));
  E(m, call(restore, t_void(), {N(mark)}));
  E(m, op(PLUSASG, t_int(), N(i), I(1)));
  if_goto(m, op(LT, t_int(), N(i), I(10)), 1);
  E(m, print("%d %d\n", {N(i), deref(N(keep))}));
  EXPECT_EQ(output(), "10 7\n");

  // A block after the mark is gone once the stack is restored.
  reset();
  m = main_fn();
  mark = local(m, "mark", pv);
  p = local(m, "p", pi);
  E(m, asg(N(mark), op(UCALL, pv, op(UAND, ptr(save->type), N(save)))));
  E(m, asg(N(p), conv(call(al, pv, {I(2, t_uint())}), pi)));
  E(m, call(restore, t_void(), {N(mark)}));
  E(m, deref(N(p)));
  expect_error("read through a pointer to an object that no longer exists in function main");

  // A mark is good only in the call that saved it.
  reset();
  RUN_FUNCTION* saver = func("saver", pv);
  begin_body(saver);
  E(saver, ret(saver, op(UCALL, pv, op(UAND, ptr(save->type), N(save)))));
  m = main_fn();
  E(m, call(restore, t_void(), {call(saver, pv, {})}));
  expect_error("__stack_restore: the mark was not saved by this call in function main");
}

TEST_F(RunTest, StreamsAreTheLibrarysTable) {
  TYPE* file = struct_type("__rill_file", 32, {{"__stream", t_int(), 0}});
  TYPE* pf = ptr(file);
  SYMTAB* table = global("_ftable", array(file, 3), SC_EXTREF);
  SYMTAB* fputs_ = extern_fn("fputs", t_int());
  SYMTAB* fputc_ = extern_fn("fputc", t_int());
  SYMTAB* fprintf_ = extern_fn("fprintf", t_int());
  auto stream = [&](int k) { return conv(op(PLUS, pf, decay(N(table)), I(2 * k)), pf); };
  RUN_FUNCTION* m = main_fn();
  E(m, call(fputs_, t_int(), {str("out "), stream(1)}));
  E(m, call(fprintf_, t_int(), {stream(1), str("%d\n"), I(5)}, 1));
  E(m, call(fputc_, t_int(), {I('!'), stream(1)}));
  RUN_RESULT r = run();
  EXPECT_EQ(r.error, "");
  EXPECT_EQ(r.out, "out 5\n!");
  // "out " read as a string (5 units) and written (4), the format read (4)
  // and "5\n" written (2), "!" written (1).
  EXPECT_EQ(r.stats.library_work, 5u + 4u + 4u + 2u + 1u);

  struct CASE {
    int which;  // -1: a pointer into another object, -2: null
    const char* text;
  };
  for (const CASE& c : std::vector<CASE>{{0, "fputs: stdin cannot be written in function main"},
                                         {-1, "fputs: the stream is not stdin, stdout or stderr in function main"},
                                         {-2, "fputs: the stream is a null pointer in function main"}}) {
    reset();
    table = global("_ftable", array(file, 3), SC_EXTREF);
    fputs_ = extern_fn("fputs", t_int());
    m = main_fn();
    SYMTAB* other = local(m, "other", file);
    NODE* s = c.which == 0 ? stream(0) : c.which == -1 ? addr(N(other)) : conv(I(0), pf);
    E(m, call(fputs_, t_int(), {str("x"), s}));
    expect_error(c.text);
  }
}

TEST_F(RunTest, DivReturnsAStructureAndChecksItsDivisor) {
  TYPE* div_t = struct_type("div_t", 64, {{"quot", t_int(), 0}, {"rem", t_int(), 32}});
  SYMTAB* dv = extern_fn("div", div_t);
  RUN_FUNCTION* m = main_fn();
  SYMTAB* r = local(m, "r", div_t);
  E(m, op(STASG, div_t, N(r), call(dv, div_t, {I(-7), I(2)})));
  E(m, print("%d %d\n", {dot(N(r), "quot"), dot(N(r), "rem")}));
  E(m, op(STASG, div_t, N(r), call(dv, div_t, {I(-2147483647 - 1), I(-1)})));
  E(m, print("%d %d\n", {dot(N(r), "quot"), dot(N(r), "rem")}));
  E(m, call(dv, div_t, {I(1), I(0)}));
  RUN_RESULT res = run();
  EXPECT_EQ(res.out, "-3 -1\n-2147483648 0\n");
  EXPECT_EQ(res.error, "division by zero in function main");
}

TEST_F(RunTest, ObjectsStartAtMultiplesOfTheirAlignment) {
  // Globals, a frame's variables and heap blocks, each after an object of
  // one unit that would put it at an odd address.
  SYMTAB* pad = global("pad", t_char());
  SYMTAB* wide = global("wide", t_int());
  wide->align = 8 * 16;
  SYMTAB* pad2 = global("pad2", t_char());
  SYMTAB* pair = global("pair", array(t_int(), 2));
  SYMTAB* ma = extern_fn("malloc", ptr(t_void()));
  RUN_FUNCTION* f = func("f", t_int());
  SYMTAB* c = local(f, "c", t_char());
  SYMTAB* v = local(f, "v", t_int());
  v->align = 4 * 16;
  SYMTAB* c2 = local(f, "c2", t_char());
  SYMTAB* w = local(f, "w", t_int());
  begin_body(f);
  E(f, asg(N(c), I(1, t_char())));
  E(f, asg(N(c2), I(1, t_char())));
  E(f, print("%d %d ", {op(MOD, t_int(), conv(addr(N(v)), t_int()), I(4)),
                        op(MOD, t_int(), conv(addr(N(w)), t_int()), I(2))}));
  E(f, ret(f, I(0)));
  RUN_FUNCTION* m = main_fn();
  E(m, asg(N(pad), I(1, t_char())));
  E(m, asg(N(pad2), I(1, t_char())));
  E(m, print("%d %d ", {op(MOD, t_int(), conv(addr(N(wide)), t_int()), I(8)),
                        op(MOD, t_int(), conv(decay(N(pair)), t_int()), I(2))}));
  E(m, call(f, t_int(), {}));
  E(m, call(f, t_int(), {}));
  E(m, call(ma, ptr(t_void()), {I(1, t_uint())}));
  E(m, print("%d\n", {op(MOD, t_int(), conv(call(ma, ptr(t_void()), {I(1, t_uint())}), t_int()), I(2))}));
  EXPECT_EQ(output(), "0 0 0 0 0 0 0\n");
}
