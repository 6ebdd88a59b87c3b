// Structures, bit-fields, arrays and the initialisers of globals.
#include "tools/icode-run/tests/run_test_util.h"

TEST_F(RunTest, StructuresAreCopiedPassedAndReturnedByValue) {
  TYPE* P = struct_type("P", 80, {{"x", t_int(), 0}, {"y", t_short(), 32}, {"z", t_int(), 48}});
  SYMTAB* g = global("g", P);

  RUN_FUNCTION* show = func("show", t_void());
  SYMTAB* s = param(show, "s", P);
  begin_body(show);
  E(show, print("%d %d %d\n", {dot(N(s), "x"), conv(dot(N(s), "y"), t_int()), dot(N(s), "z")}));
  E(show, asg(dot(N(s), "x"), I(99)));  // the callee's copy only

  RUN_FUNCTION* make = func("make", P);
  SYMTAB* k = param(make, "k", t_int());
  SYMTAB* r = local(make, "r", P);
  begin_body(make);
  E(make, asg(dot(N(r), "x"), N(k)));
  E(make, asg(dot(N(r), "y"), conv(op(PLUS, t_int(), N(k), I(1)), t_short())));
  E(make, asg(dot(N(r), "z"), op(PLUS, t_int(), N(k), I(2))));
  E(make, ret(make, N(r)));

  RUN_FUNCTION* m = main_fn();
  SYMTAB* a = local(m, "a", P);
  SYMTAB* b = local(m, "b", P);
  SYMTAB* p = local(m, "p", ptr(P), SC_REGISTER);
  E(m, asg(dot(N(a), "x"), I(1)));
  E(m, asg(dot(N(a), "y"), I(-2, t_short())));
  E(m, asg(dot(N(a), "z"), I(3)));
  E(m, op(STASG, P, N(b), N(a)));
  E(m, op(STASG, P, N(g), N(b)));
  E(m, asg(N(p), addr(N(g))));
  E(m, op(PLUSASG, t_int(), arrow(N(p), "z"), I(10)));
  E(m, call(show, t_void(), {op(STARG, P, N(a))}));
  E(m, call(show, t_void(), {op(STARG, P, deref(N(p)))}));
  E(m, print("%d\n", {dot(N(a), "x")}));
  E(m, op(STASG, P, N(b), call(make, P, {I(5)})));
  E(m, call(show, t_void(), {op(STARG, P, N(b))}));
  E(m, print("%d\n", {dot(call(make, P, {I(7)}), "z")}));
  // Arrays are assigned whole with ARASG.
  SYMTAB* v = local(m, "v", array(t_int(), 3));
  SYMTAB* w = local(m, "w", array(t_int(), 3));
  E(m, asg(index(N(v), I(2)), I(8)));
  E(m, op(ARASG, w->type, N(w), N(v)));
  E(m, print("%d\n", {index(N(w), I(2))}));
  EXPECT_EQ(output(), "1 -2 3\n1 -2 13\n1\n5 6 7\n9\n8\n");
}

// The units of a structure holding these bit-fields, packed the way the
// target lays them out: bit b in bit b % 16 of unit b / 16.
static std::vector<uint16_t> pack(std::initializer_list<std::pair<uint32_t, std::pair<uint32_t, uint64_t>>> fields,
                                  size_t units) {
  std::vector<uint16_t> u(units);
  for (auto& f : fields)
    for (uint32_t i = 0; i < f.second.first; ++i)
      if (f.second.second >> i & 1) u[(f.first + i) / 16] |= static_cast<uint16_t>(1u << ((f.first + i) % 16));
  return u;
}

TEST_F(RunTest, BitFieldsAcrossUnitBoundaries) {
  TYPE* B = struct_type("B", 112,
                        {{"a", t_uint(), 0, 3},
                         {"b", t_int(), 3, 13},
                         {"c", t_uint(), 16, 10},
                         {"d", t_int(), 26, 10},
                         {"e", t_uint(), 40, 16},
                         {"f", t_int(), 64, 32},
                         {"g", t_ushort(), 96, 1}});
  RUN_FUNCTION* m = main_fn();
  SYMTAB* s = local(m, "s", B);
  SYMTAB* p = local(m, "p", ptr(B), SC_REGISTER);
  SYMTAB* u = local(m, "u", ptr(t_ushort()));
  E(m, asg(N(p), addr(N(s))));
  E(m, asg(dot(N(s), "a"), I(5, t_uint())));
  E(m, asg(dot(N(s), "b"), I(-1000)));
  E(m, asg(arrow(N(p), "c"), I(1023, t_uint())));
  E(m, asg(arrow(N(p), "d"), I(-300)));
  E(m, asg(dot(N(s), "e"), I(0xBEEF, t_uint())));
  E(m, asg(dot(N(s), "f"), I(-123456789)));
  E(m, asg(dot(N(s), "g"), I(1, t_ushort())));
  E(m, print("%u %d %u %d %x %d %u\n",
             {dot(N(s), "a"), dot(N(s), "b"), dot(N(s), "c"), dot(N(s), "d"), dot(N(s), "e"), dot(N(s), "f"),
              conv(dot(N(s), "g"), t_uint())}));
  E(m, asg(N(u), conv(addr(N(s)), ptr(t_ushort()))));
  std::string units_fmt;
  for (int i = 0; i < 7; ++i) units_fmt += i ? " %04x" : "%04x";
  auto unit = [&](int i) { return conv(deref(op(PLUS, ptr(t_ushort()), N(u), I(i))), t_uint()); };
  E(m, print((units_fmt + "\n").c_str(), {unit(0), unit(1), unit(2), unit(3), unit(4), unit(5), unit(6)}));
  // Arithmetic on fields wraps in their width and leaves the neighbours.
  E(m, op(PLUSASG, t_uint(), arrow(N(p), "c"), I(2, t_uint())));
  E(m, op(MINUSASG, t_int(), dot(N(s), "d"), I(300)));
  E(m, print("%d %d ", {op(PLUSPLUS, t_int(), dot(N(s), "b"), I(1)), asg(dot(N(s), "b"), I(5000))}));
  E(m, print("%u %d %u %d %x\n", {dot(N(s), "a"), dot(N(s), "b"), dot(N(s), "c"), dot(N(s), "d"), dot(N(s), "e")}));
  std::vector<uint16_t> raw = pack({{0, {3, 5}},
                                    {3, {13, static_cast<uint64_t>(-1000) & 0x1fff}},
                                    {16, {10, 1023}},
                                    {26, {10, static_cast<uint64_t>(-300) & 0x3ff}},
                                    {40, {16, 0xBEEF}},
                                    {64, {32, static_cast<uint32_t>(-123456789)}},
                                    {96, {1, 1}}},
                                   7);
  char line[64];
  snprintf(line, sizeof line, "%04x %04x %04x %04x %04x %04x %04x\n", raw[0], raw[1], raw[2], raw[3], raw[4], raw[5],
           raw[6]);
  // -600 in 10 bits is 424; 5000 in 13 signed bits is -3192.
  EXPECT_EQ(output(), "5 -1000 1023 -300 beef -123456789 1\n" + std::string(line) + "-1000 -3192 5 -3192 1 424 beef\n");
}

TEST_F(RunTest, GlobalsTakeTheirInitialisers) {
  TYPE* B2 = struct_type("B2", 16, {{"lo", t_uint(), 0, 4}, {"hi", t_uint(), 4, 12}});
  RUN_FUNCTION* twice = func("twice", t_int());
  SYMTAB* x = param(twice, "x", t_int());
  begin_body(twice);
  E(twice, ret(twice, op(MULT, t_int(), N(x), I(2))));

  SYMTAB* gi = global("gi", t_int());
  SYMTAB* garr = global("garr", array(t_int(), 4));
  SYMTAB* gs = global("gs", array(t_char(), 6));
  SYMTAB* gp = global("gp", ptr(t_int()));
  SYMTAB* gf = global("gf", t_float());
  SYMTAB* gb = global("gb", B2);
  TYPE* fp = ptr(twice->sym->type);
  SYMTAB* gfp = global("gfp", fp);
  SYMTAB* gc = global("gc", const_of(t_int()));
  SYMTAB* gstr = global("gstr", ptr(t_char()));
  SYMTAB* gz = global("gz", array(t_short(), 3));
  // A declaration and the definition share one object.
  SYMTAB* gi_decl = global("gi", t_int(), SC_EXTREF);
  init(gi, {I(42)});
  init(garr, {I(1), skip(32), I(3)});
  NODE* hi = S("hi");
  hi->type = gs->type;
  init(gs, {hi});
  init(gp, {op(PLUS, ptr(t_int()), decay(N(garr)), I(4))});
  init(gf, {F("2.5")});
  init(gb, {I(0x123 << 4 | 3, t_ushort())});
  init(gfp, {op(UAND, fp, N(twice->sym))});
  init(gc, {I(7)});
  init(gstr, {str("lit")});

  RUN_FUNCTION* m = main_fn();
  E(m, print("%d %d %d %d %d %s|%c%c%d\n",
             {N(gi_decl), index(N(garr), I(0)), index(N(garr), I(1)), index(N(garr), I(2)), index(N(garr), I(3)),
              decay(N(gs)), conv(index(N(gs), I(0)), t_int()), conv(index(N(gs), I(1)), t_int()),
              conv(index(N(gs), I(5)), t_int())}));
  E(m, print("%d %g %u %u %d %d %s %d\n",
             {deref(N(gp)), N(gf), dot(N(gb), "lo"), dot(N(gb), "hi"),
              call(twice, t_int(), {I(21)}) /* direct */, N(gc), N(gstr), conv(index(N(gz), I(2)), t_int())}));
  NODE* through = op(CALL, t_int(), N(gfp), I(4));
  E(m, print("%d\n", {through}));
  EXPECT_EQ(output(), "42 1 0 3 0 hi|hi0\n3 2.5 3 291 42 7 lit 0\n8\n");
}

TEST_F(RunTest, HeapBlocksAreReusedAndZeroed) {
  SYMTAB* mal = extern_fn("malloc", ptr(t_void()));
  SYMTAB* fre = extern_fn("free", t_void());
  SYMTAB* cal = extern_fn("calloc", ptr(t_void()));
  SYMTAB* rea = extern_fn("realloc", ptr(t_void()));
  RUN_FUNCTION* m = main_fn();
  SYMTAB* a = local(m, "a", ptr(t_int()));
  SYMTAB* b = local(m, "b", ptr(t_int()));
  SYMTAB* c = local(m, "c", ptr(t_int()));
  E(m, asg(N(a), conv(call(mal, ptr(t_void()), {I(8, t_uint())}), ptr(t_int()))));
  E(m, asg(deref(op(PLUS, ptr(t_int()), N(a), I(6))), I(1234)));
  E(m, asg(N(b), conv(call(cal, ptr(t_void()), {I(2, t_uint()), I(2, t_uint())}), ptr(t_int()))));
  E(m, call(fre, t_void(), {conv(N(a), ptr(t_void()))}));
  E(m, asg(N(c), conv(call(mal, ptr(t_void()), {I(4, t_uint())}), ptr(t_int()))));  // first fit: a's place
  E(m, print("%d %d %d\n",
             {op(EQ, t_int(), N(a), N(c)), deref(op(PLUS, ptr(t_int()), N(b), I(2))), deref(N(c))}));
  E(m, asg(deref(N(c)), I(55)));
  E(m, asg(N(c), conv(call(rea, ptr(t_void()), {conv(N(c), ptr(t_void())), I(40, t_uint())}), ptr(t_int()))));
  E(m, print("%d %d\n", {deref(N(c)), op(EQ, t_int(), call(mal, ptr(t_void()), {I(70000, t_uint())}), I(0, ptr(t_void())))}));
  EXPECT_EQ(output(), "1 0 0\n55 1\n");
}
