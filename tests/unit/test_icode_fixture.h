// A small but complete icode file, built byte by byte for a given version:
// header, a function with parameters, locals, a block, statements, labels,
// comments and every other record of a function, an exception table, a
// low-level function, initialisers, option sets, types (a structure with
// data members, a function type with parameters, an enum...), file names
// and globals with pragmas. And a file whose types name every type code and
// every list of a class.
#pragma once
#include "test_icode_util.h"

namespace icode_test {

struct TREE {
  int op;
  uint32_t type;
  ENC value;
  std::vector<TREE> kids;
};

inline TREE T(int op, uint32_t type, ENC value = ENC(), std::vector<TREE> kids = {}) {
  return TREE{op, type, value, kids};
}
inline TREE T(int op, uint32_t type, std::vector<TREE> kids) { return TREE{op, type, ENC(), kids}; }
inline TREE name_node(uint32_t level, uint32_t index, uint32_t type) {
  return T(NAME, type, ENC().uint(level).uint(index));
}
inline TREE icon_s(int32_t v, uint32_t type) { return T(ICON, type, ENC().sint(v)); }
inline TREE label_node(uint32_t n) { return T(LABEL, 0, ENC().uint(n)); }

// Prefix order: the node, then its operands.
inline void emit(ENC& out, const TREE& t) {
  ENC body;
  body.u8(t.op).uint(t.type).bytes(t.value.b);
  out.rec(101, body);
  for (const TREE& k : t.kids) emit(out, k);
}

inline void stmt(ENC& out, const ENC& psn, const TREE& t) {
  out.rec(46, psn);
  emit(out, t);
}

inline ENC psn(uint32_t file, uint32_t line = 0, uint32_t col = 0) { return ENC().psn(file, line, col); }

inline ENC sym_rec(const std::string& name, uint32_t size, uint32_t offset, int sclass, int qual, uint32_t type,
                   uint32_t type2, uint32_t align, int pragmas, uint32_t file_offset, uint32_t set, const ENC& where) {
  ENC b;
  b.str(name).uint(size).uint(offset).u8(sclass).i16(qual).uint(type).uint(type2).uint(align);
  b.u8(pragmas).uint(file_offset).uint(set).bytes(where.b);
  ENC r;
  return r.rec(35, b);
}

struct SMALL_FILE {
  BYTES bytes;
  uint32_t func_at = 0;
  uint32_t init_s_at = 0;
  uint32_t init_tab_at = 0;
};

inline ENC small_types(int v) {
  ENC types;
  auto type = [&](uint32_t id, int code, const ENC& body) {
    ENC r;
    r.uint(id).u8(code).bytes(body.b);
    types.rec(116, r);
  };
  auto frame = [&](uint32_t id, int code, int kind) { type(id, code, ENC().u8(kind)); };
  type(1, 6, ENC().u8(1).uint(32).uint(32).u8(0).u8(0));   // int
  type(2, 1, ENC().u8(0).uint(16).uint(16).u8(0).u8(0));   // char
  type(3, 15, ENC().uint(2).uint(16).uint(16));            // char*
  type(4, 49, ENC());                                      // void
  type(5, 17, ENC().uint(1).uint(1).uint(32).uint(32));    // const int
  type(6, 14, ENC().str("myint").uint(1).uint(32).uint(32).u8(0).u8(0).psn(2, 1, 1));
  ENC arr;
  arr.uint(1).uint(4).uint(128).uint(32).u8(0).u8(1);
  if (v >= -76) arr.u8(0);
  if (v == -75 || v == -74) arr.u8(0);
  type(7, 18, arr);
  ENC s;
  s.u8(0).str("S").u8(1).u8(0).uint(48).uint(32).u8(1);
  if (v >= -84) s.u8(1);
  if (v >= -81) s.u8(0);
  s.psn(2, 3, 8);
  type(8, 24, s);
  frame(8, 254, 7);
  auto member = [&](uint32_t id, const char* name, uint32_t t, int off, uint32_t width, int bitfield, int f1,
                    int f2, int fti) {
    ENC m;
    m.uint(id).str(name).uint(t).u8(0).sint(off);
    if (v >= -74) m.u8(fti);
    if (v >= -85)
      m.uint(width).u8(bitfield).u8(f1).u8(f2);
    else
      m.u8(bitfield).uint(width).u8(f1);
    m.psn(0);
    type(8, 28, m);
  };
  member(1, "x", 1, 0, 0, 0, 0, 0, 0);
  member(2, "c", 2, 32, 5, 1, 1, 1, 0x1f);
  frame(8, 255, 7);
  type(9, 20, ENC().uint(1).u8(0).u8(0).u8(0).u8(0));  // int (int a, char* b)
  frame(9, 254, 0);
  type(9, 21, ENC().uint(1).u8(0).uint(0).str("a"));
  type(9, 21, ENC().uint(3).u8(1).uint(7).str("b"));
  frame(9, 255, 0);
  ENC e;
  e.str("ns::E").uint(32).uint(32).uint(1);
  if (v >= -81) e.u8(0);
  e.psn(1, 2, 1);
  type(10, 22, e);
  frame(10, 254, 1);
  type(10, 23, ENC().str("A").sint(-1).psn(1, 2, 10));
  type(10, 23, ENC().str("B").sint(300).psn(0));
  frame(10, 255, 1);
  type(11, 15, ENC().uint(8).uint(16).uint(16));        // S*
  type(12, 20, ENC().uint(4).u8(0).u8(0).u8(0).u8(0));  // void (void)
  frame(12, 254, 0);
  frame(12, 255, 0);
  types.eof();
  return types;
}

inline ENC small_function() {
  ENC fn;
  ENC none = psn(0);
  fn.rec(1, ENC().psn(1, 5, 1).uint(1));
  fn.bytes(sym_rec("a", 32, 0, 9, 0, 1, 0, 32, 0, 0, 0, psn(1, 5, 8)).b);
  fn.bytes(sym_rec("b", 16, 2, 9, 0, 3, 0, 16, 0, 0, 0, psn(1, 5, 15)).b);
  fn.rec(5, psn(1, 5, 20));
  fn.bytes(sym_rec("x", 32, 4, 1, 1, 1, 6, 32, 1, 0, 0, psn(1, 6, 5)).b);
  fn.rec(94, ENC().uint(300).uint(0));
  fn.rec(6, psn(1, 6, 10));
  fn.rec(64, ENC().u8(76));
  fn.rec(47, ENC().str("regs: x=r1"));
  stmt(fn, psn(1, 7, 3), T(ASG, 1, {name_node(2, 2, 1), name_node(1, 0, 1)}));
  fn.rec(42, ENC().uint(1));
  fn.rec(3, psn(1, 8, 1));
  fn.bytes(sym_rec("y", 32, 0, 1, 0, 10, 0, 32, 0, 0, 0, none).b);
  stmt(fn, psn(1, 9, 5), T(ASG, 1, {name_node(3, 3, 10), icon_s(-5, 1)}));
  fn.rec(4, psn(1, 10, 1));
  stmt(fn, psn(1, 11, 3), T(CBRANCH, 0, {T(NEQ, 1, {name_node(2, 2, 1), icon_s(0, 1)}), label_node(1)}));
  stmt(fn, psn(1, 11, 3), T(BRANCH, 0, {label_node(2)}));
  fn.rec(42, ENC().uint(2));
  TREE field = T(FIELD, 2, ENC().u8(1).uint(2).uint(8));
  stmt(fn, none, T(ASG, 2, {T(STDOT, 2, {name_node(0, 2, 8), field}), icon_s(3, 2)}));
  stmt(fn, none, T(CALL, 1, ENC().uint(0).uint(5), {T(UAND, 0, {name_node(0, 0, 12)}), name_node(2, 2, 1)}));
  stmt(fn, none, T(ASG, 1, {name_node(2, 2, 1), T(LCON, 1, ENC().str("-7"))}));
  stmt(fn, none, T(UCALL, 4, ENC().uint(0), {T(UAND, 0, {name_node(0, 0, 12)})}));
  fn.rec(36, ENC().str("nop").psn(1, 12, 1));
  fn.rec(94, ENC().uint(41).uint(1).str("x"));
  fn.rec(126, ENC().str("t.h"));
  fn.rec(38, ENC().uint(1).uint(2).uint(3).uint(4).uint(5).i16(-2));
  fn.rec(124, ENC().uint(7).sint(2).sint(2).u8(1));
  fn.rec(59, ENC().uint(9).u8(0xff).u8(2).u8(1).u8(0xfd).u8(2).u8(4));
  fn.rec(58, ENC().uint(10).uint(11).uint(12));
  fn.rec(45, ENC().uint(1).uint(2).uint(3).uint(4).uint(5));
  fn.rec(108, ENC().uint(1).u8(0).uint(2).sint(-3).uint(1).sint(2).uint(2));
  fn.rec(108, ENC().uint(4).u8(1).uint(5).uint(6).uint(0).sint(-1).uint(0));
  fn.rec(108, ENC().uint(7).u8(2).uint(8));
  stmt(fn, none, T(RETURN, 1, {name_node(0, 1, 9), name_node(2, 2, 1)}));
  fn.rec(93, ENC().uint(2));
  fn.rec(91, ENC().uint(1).uint(1).uint(0).uint(0));
  stmt(fn, none, icon_s(1, 1));
  fn.rec(91, ENC().uint(2).uint(2).uint(10).uint(2));
  fn.rec(63, ENC().str("int").uint(3).u8(1).str("...").uint(0xffffffffu).u8(0));
  fn.rec(2, psn(1, 13, 1));
  fn.rec(123, ENC().uint(1).sint(-2).u8(3).uint(4).psn(0));
  fn.rec(34, ENC().psn(1, 1, 1).raw("xyz"));
  fn.rec(125, none);
  fn.eof();
  return fn;
}

inline SMALL_FILE small_file(int v) {
  SMALL_FILE out;
  ENC fn = small_function();
  ENC init_s;
  init_s.rec(105, ENC().uint(2));
  emit(init_s, icon_s(7, 1));
  emit(init_s, T(SKIP, 0, ENC().uint(16)));
  emit(init_s, T(SCON, 0, ENC().uint(4).raw(std::string("ab\0c", 4))));
  emit(init_s, T(ENDINIT, 0));
  ENC inits;
  inits.bytes(init_s.b).rec(105, ENC().uint(3));
  emit(inits, T(ENDINIT, 0));
  inits.eof();
  ENC opts;
  opts.rec(111, ENC().uint(0).uint(2).str("-o2").str("-g")).rec(111, ENC().uint(1).uint(1).str("-o0")).eof();
  ENC types = small_types(v);
  ENC files;
  files.rec(126, ENC().str("t.c")).rec(126, ENC().str("t.h")).eof();

  uint32_t header = static_cast<uint32_t>(magic(v, 0, 0, 0, 0, 0).size());
  out.func_at = header;
  uint32_t init_at = header + static_cast<uint32_t>(fn.size());
  out.init_s_at = init_at;
  out.init_tab_at = init_at + static_cast<uint32_t>(init_s.size());
  uint32_t options_at = init_at + static_cast<uint32_t>(inits.size());
  uint32_t types_at = options_at + static_cast<uint32_t>(opts.size());
  uint32_t files_at = types_at + static_cast<uint32_t>(types.size());
  uint32_t globals_at = files_at + static_cast<uint32_t>(files.size());

  ENC globals;
  globals.bytes(sym_rec("g", 0, 0, 5, 0, 12, 0, 0, 0, 0, 0, psn(0)).b);
  globals.bytes(sym_rec("f", 0, 0, 2, 4, 9, 9, 16, 1, out.func_at, 1, psn(1, 5, 1)).b);
  globals.rec(94, ENC().uint(49).uint(1).str("C"));
  globals.bytes(sym_rec("s", 48, 0, 3, 0x8000, 8, 0, 32, 0, out.init_s_at, 0, psn(2, 3, 1)).b);
  globals.bytes(sym_rec("tab", 128, 0, 2, 0, 7, 0, 32, 0, out.init_tab_at, 0, psn(0)).b);
  globals.eof();

  ENC file = magic(v, options_at, init_at, types_at, files_at, globals_at);
  file.bytes(fn.b).bytes(inits.b).bytes(opts.b).bytes(types.b).bytes(files.b).bytes(globals.b);
  out.bytes = file.b;
  return out;
}

// A types section that names every type code and every list of a class.
inline BYTES rich_file() {
  ENC types;
  auto type = [&](uint32_t id, int code, const ENC& body) {
    ENC r;
    r.uint(id).u8(code).bytes(body.b);
    types.rec(116, r);
  };
  auto frame = [&](uint32_t id, int code, int kind) { type(id, code, ENC().u8(kind)); };
  struct {
    int code, sign, size, is_bool;
  } ints[] = {{0, 0, 32, 1}, {1, 0, 16, 0}, {2, 0, 16, 0}, {3, 0, 16, 0},  {4, 1, 16, 0},  {5, 0, 16, 0},
              {6, 1, 32, 0}, {7, 0, 32, 0}, {8, 1, 32, 0}, {9, 0, 32, 0}, {50, 1, 32, 0}, {51, 0, 32, 0}};
  uint32_t id = 1;
  for (auto& i : ints) type(id++, i.code, ENC().u8(i.sign).uint(i.size).uint(i.size).u8(i.is_bool).u8(i.code == 9));
  type(13, 10, ENC().uint(32).uint(32));
  type(14, 11, ENC().uint(32).uint(32));
  type(15, 12, ENC().uint(32).uint(32));
  type(16, 13, ENC().u8(15).u8(1).uint(5).uint(16).uint(16));
  type(17, 36, ENC().uint(64).uint(32).uint(13));
  type(18, 49, ENC());
  type(19, 16, ENC().uint(7).uint(16).uint(16));
  type(20, 17, ENC().uint(7).uint(2).uint(32).uint(32));
  type(21, 14, ENC().str("word").uint(8).uint(32).uint(32).u8(1).u8(1).psn(1, 3, 1));
  type(22, 22, ENC().str("color").uint(32).uint(32).uint(8).u8(0).psn(1, 4, 1));
  frame(22, 254, 1);
  type(22, 23, ENC().str("RED").uint(0).psn(1, 4, 9));
  type(22, 23, ENC().str("BLUE").uint(0x80000000u).psn(0));
  frame(22, 255, 1);
  type(24, 24, ENC().u8(2).str("B").u8(1).u8(0).uint(0).uint(16).u8(0).u8(0).u8(1).psn(0));
  // class K: the long form with all nine lists.
  type(23, 25, ENC().u8(2).str("K").u8(1).u8(1).uint(256).uint(32).uint(6).u8(1).u8(1).u8(1).u8(1).u8(1).u8(1).u8(1)
                   .u8(1).u8(1).u8(1).u8(1).psn(1, 6, 1));
  type(26, 15, ENC().uint(23).uint(16).uint(16));
  type(25, 20, ENC().uint(7).u8(1).u8(0).u8(2).u8(1));
  frame(25, 254, 0);
  type(25, 21, ENC().uint(26).u8(0).uint(0).str("self"));
  frame(25, 255, 0);
  type(27, 19, ENC().uint(7).uint(23).uint(32).uint(32));
  type(28, 18, ENC().uint(22).uint(3).uint(96).uint(32).u8(0).u8(1).u8(0));
  type(29, 18, ENC().uint(13).uint(4).uint(128).uint(32).u8(0).u8(1).u8(1));
  type(30, 24, ENC().u8(0).str("node").u8(1).u8(0).uint(48).uint(16).u8(1).u8(0).u8(0).psn(0));
  type(31, 15, ENC().uint(30).uint(16).uint(16));
  frame(30, 254, 7);
  type(30, 28, ENC().uint(1).str("next").uint(31).u8(0).sint(0).u8(0).uint(0).u8(0).u8(0).u8(0).psn(0));
  type(30, 28, ENC().uint(2).str("val").uint(7).u8(0).sint(16).u8(0).uint(0).u8(0).u8(0).u8(0).psn(0));
  frame(30, 255, 7);
  type(32, 24, ENC().u8(1).str("U").u8(1).u8(0).uint(32).uint(32).u8(1).u8(0).u8(0).psn(0));
  frame(32, 254, 7);
  type(32, 28, ENC().uint(1).str("a").uint(7).u8(0).sint(0).u8(0).uint(0).u8(0).u8(0).u8(0).psn(0));
  type(32, 28, ENC().uint(2).str("f").uint(13).u8(0).sint(0).u8(0).uint(0).u8(0).u8(0).u8(0).psn(0));
  frame(32, 255, 7);
  type(33, 15, ENC().uint(18).uint(16).uint(16));
  // The lists of K.
  frame(23, 254, 2);
  type(23, 29, ENC().uint(24).sint(-16).u8(1).u8(1));
  frame(23, 255, 2);
  frame(23, 254, 3);
  type(23, 30, ENC().uint(0).u8(2));
  frame(23, 255, 3);
  frame(23, 254, 4);
  type(23, 31, ENC().str("frob").uint(25));
  frame(23, 255, 4);
  frame(23, 254, 5);
  type(23, 32, ENC().uint(24));
  frame(23, 255, 5);
  frame(23, 254, 6);
  type(23, 33, ENC().uint(22));
  frame(23, 255, 6);
  frame(23, 254, 7);
  uint32_t member_types[] = {1, 3, 4, 6, 9, 10, 11, 12, 14, 15, 16, 17, 19, 20, 21, 27, 28, 29, 30, 32, 33};
  uint32_t mid = 1;
  for (uint32_t t : member_types) {
    std::string n = "m" + std::to_string(mid);
    type(23, 28, ENC().uint(mid).str(n).uint(t).u8(mid % 3).sint(static_cast<int32_t>(16 * mid)).u8(mid == 2 ? 7 : 0)
                     .uint(mid == 2 ? 3 : 0).u8(mid == 2).u8(mid == 3).u8(mid == 4).psn(mid == 5 ? 1 : 0, 7, 2));
    mid++;
  }
  frame(23, 255, 7);
  frame(23, 254, 8);
  type(23, 34, ENC().str("count").uint(7).u8(1));
  frame(23, 255, 8);
  frame(23, 254, 9);
  type(23, 35, ENC().str("get").uint(25).u8(3).sint(-4).u8(1).u8(0).u8(1).u8(0));
  frame(23, 255, 9);
  frame(23, 254, 0);
  type(23, 21, ENC().uint(7).u8(0).uint(2).str("T"));
  frame(23, 255, 0);
  types.eof();

  ENC fn;
  fn.rec(1, ENC().psn(1, 9, 1).uint(1));
  fn.rec(5, psn(0));
  fn.bytes(sym_rec("p", 16, 0, 1, 0, 26, 0, 16, 0, 0, 0, psn(0)).b);
  fn.rec(6, psn(0));
  stmt(fn, psn(1, 10, 2), T(ASG, 7, {T(STREF, 7, {name_node(2, 0, 26), T(FIELD, 7, ENC().u8(1).uint(9).uint(23))}),
                                     T(LCON, 11, ENC().str("-2147483648"))}));
  stmt(fn, psn(0), T(ASG, 8, {name_node(0, 0, 8), T(ICON, 8, ENC().uint(0xffffffffu))}));
  stmt(fn, psn(0), T(SWITCH, 0, ENC().uint(1), {name_node(0, 0, 8), T(COMMA, 0, {T(CASE, 0, {T(ICON, 8, ENC().uint(1)),
                                                  label_node(3)}), T(DEFAULT, 0, {label_node(4)})})}));
  fn.rec(42, ENC().uint(3));
  stmt(fn, psn(0), T(EPVAL, 7, ENC().uint(12), {T(ICALL, 7, ENC().str("__abs"), {name_node(0, 0, 8)})}));
  stmt(fn, psn(0), T(UMCALL, 7, ENC().str("__nop")));
  stmt(fn, psn(0), T(DDNODE, 0, ENC().uint(3).uint(0).u8(0), {T(NOP, 0)}));
  fn.rec(42, ENC().uint(4));
  stmt(fn, psn(0), T(URETURN, 0, {name_node(0, 1, 25)}));
  fn.rec(2, psn(0));
  fn.eof();

  ENC files;
  files.rec(126, ENC().str("r.cc")).eof();
  uint32_t header = static_cast<uint32_t>(magic(-73, 0, 0, 0, 0, 0, "r.cc").size());
  uint32_t types_at = header + static_cast<uint32_t>(fn.size());
  uint32_t files_at = types_at + static_cast<uint32_t>(types.size());
  uint32_t globals_at = files_at + static_cast<uint32_t>(files.size());
  ENC globals;
  globals.bytes(sym_rec("k", 256, 0, 3, 0, 23, 0, 32, 0, 0, 0, psn(1, 8, 1)).b);
  globals.bytes(sym_rec("main", 0, 0, 2, 0, 25, 0, 16, 2, header, 0, psn(1, 9, 1)).b);
  globals.rec(94, ENC().uint(49).uint(2).str("C++").str("x"));
  globals.rec(94, ENC().uint(88).uint(0));
  globals.bytes(sym_rec("n", 48, 0, 2, 0, 30, 0, 16, 0, 0, 0, psn(0)).b);
  globals.bytes(sym_rec("u", 32, 0, 2, 0, 32, 0, 32, 0, 0, 0, psn(0)).b);
  globals.eof();
  ENC file = magic(-73, 0, 0, types_at, files_at, globals_at, "r.cc");
  file.bytes(fn.b).bytes(types.b).bytes(files.b).bytes(globals.b);
  return file.b;
}

}  // namespace icode_test
