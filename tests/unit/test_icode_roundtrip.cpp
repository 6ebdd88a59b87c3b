// Round trips: read a hand-built file and write what was read; the result,
// read and written again, must come out byte for byte the same, and must
// hold the same program and the same types as the original.
#include <sys/wait.h>

#include <cstdlib>
#include <regex>
#include <set>

#include "test_icode_fixture.h"

namespace icode_test {
namespace {

using IcodeRoundTripTest = IcodeTest;

// Every field of a type and of the types it names, once each.
std::string describe(const TYPE* t, std::set<const TYPE*>& seen) {
  if (!t) return "-";
  t = t->last_base();
  if (!seen.insert(t).second) return "#" + t->name;
  std::string s = "{k" + std::to_string(t->kind) + " " + t->name + " sz" + std::to_string(t->size) + " al" +
                  std::to_string(t->align) + " cpp" + std::to_string(t->is_cpp) + " low" + std::to_string(t->lowered);
  if (t->psn) s += " @" + std::string(t->psn->file) + ":" + std::to_string(t->psn->line);
  auto d = [&](const TYPE* x) { return describe(x, seen); };
  switch (t->kind) {
    case TYPE::KIND_INTEGRAL:
      s += " ik" + std::to_string(t->ikind) + " es" + std::to_string(t->subpart2) + " b2" + std::to_string(t->is_bool2);
      break;
    case TYPE::KIND_FLOATING:
      s += " fk" + std::to_string(t->fkind);
      break;
    case TYPE::KIND_FIXED:
      s += " sc" + std::to_string(t->getr_fixed()->scale) + " es" + std::to_string(t->getr_fixed()->explicit_sign) +
           " " + d(t->getr_fixed()->underlying);
      break;
    case TYPE::KIND_COMPLEX:
      s += " " + d(t->part_type());
      break;
    case TYPE::KIND_POINTER:
    case TYPE::KIND_REFERENCE:
    case TYPE::KIND_TYPEDEF:
      s += " " + d(static_cast<const TYPE*>(t->subpart));
      break;
    case TYPE::KIND_QUALIFIED:
      s += " q" + std::to_string(t->subpart2) + " " + d(static_cast<const TYPE*>(t->subpart));
      break;
    case TYPE::KIND_ARRAY:
      s += " n" + std::to_string(t->getr_array()->count) + " v" + std::to_string(t->getr_array()->vector) + " c" +
           std::to_string(t->getr_array()->complete) + " " + d(t->getr_array()->elem);
      break;
    case TYPE::KIND_PTM:
      s += " " + d(t->getr_ptm()->target) + " " + d(t->getr_ptm()->csu);
      break;
    case TYPE::KIND_FUNCTION: {
      FUNC_RECORD* r = t->getr_func();
      s += " f" + std::to_string(r->flag1) + std::to_string(r->flag2) + " cc" + std::to_string(r->convention) + " " +
           d(r->result) + " (";
      for (fkPARAM* p = r->params; p; p = p->next)
        s += p->name + ":" + std::to_string(p->flag) + std::to_string(p->word) + ":" + d(p->type) + ",";
      s += ")";
      break;
    }
    case TYPE::KIND_ENUM: {
      ENUM_RECORD* r = t->getr_enum();
      s += " " + d(r->underlying) + " [";
      for (fkETOR* e = r->etors; e; e = e->next)
        s += e->name + "=" + std::to_string(e->value) + (e->psn ? "@" + std::to_string(e->psn->line) : "") + ",";
      s += "]";
      break;
    }
    case TYPE::KIND_CLASS:
    case TYPE::KIND_STRUCT:
    case TYPE::KIND_UNION: {
      CSU_RECORD* r = t->getr_csu();
      s += " w" + std::to_string(r->class_word) + " nss" + std::to_string(r->no_stack_sharing) + " c" +
           std::to_string(r->complete);
      for (fkBCLASS* b = r->bclasses; b; b = b->next)
        s += " base(" + d(b->base) + " " + std::to_string(b->offset) + std::to_string(b->byte) + std::to_string(b->flag) + ")";
      for (fkADECL* a = r->adecls; a; a = a->next) s += " adecl(" + std::to_string(a->byte) + ")";
      for (fkFFRIEND* f = r->ffriends; f; f = f->next) s += " ffriend(" + f->name + " " + d(f->type) + ")";
      for (fkTYPE_ELEM* x = r->cfriends; x; x = x->next) s += " cfriend(" + d(x->type) + ")";
      for (fkTYPE_ELEM* x = r->ntypes; x; x = x->next) s += " ntype(" + d(x->type) + ")";
      for (fkMDATA* m = r->mdata; m; m = m->next)
        s += " m" + std::to_string(m->member_id) + "(" + m->name + " " + std::to_string(m->offset) + " w" +
             std::to_string(m->width) + " " + std::to_string(m->byte) + std::to_string(m->is_bitfield) +
             std::to_string(m->flag1) + std::to_string(m->flag2) + " " + m->field_type_text + " " + d(m->type) + ")";
      for (fkSDATA* x = r->sdata; x; x = x->next) s += " sdata(" + x->name + std::to_string(x->byte) + d(x->type) + ")";
      for (fkMFUNC* f = r->mfuncs; f; f = f->next) {
        s += " mfunc(" + f->name + std::to_string(f->byte) + std::to_string(f->offset);
        for (bool b : f->flags) s += std::to_string(b);
        s += d(f->type) + ")";
      }
      for (fkPARAM* p = r->params; p; p = p->next) s += " tparam(" + p->name + std::to_string(p->word) + d(p->type) + ")";
      break;
    }
    default:
      break;
  }
  return s + "}";
}

// A types section that names every type code and every list of a class.
BYTES rich_file() {
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

std::string without_file_offsets(const std::string& log) {
  return std::regex_replace(log, std::regex(" fo=[0-9]+"), "");
}

// What a reading tells of the globals' types, in full.
std::string types_of(const LOG_CLIENT& client) {
  std::set<const TYPE*> seen;
  std::string s;
  for (SYMTAB* sym : client.symbols) s += std::string(sym->name) + ": " + describe(sym->type, seen) + "\n";
  return s;
}

// The independent checker of the format, where this machine has it.
int independent_check(const BYTES& bytes) {
  const char* checker = "../shared/icode-check/icode_check.py";
  std::string path;
  for (const char* up : {"", "../", "../../", "../../../"}) {
    std::string p = std::string(up) + checker;
    if (FILE* f = fopen(p.c_str(), "r")) {
      fclose(f);
      path = p;
      break;
    }
  }
  if (path.empty() || system("python3 -c '' 2>/dev/null") != 0) return -1;
  std::string file = temp_path();
  FILE* f = fopen(file.c_str(), "wb");
  fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
  std::string cmd = "python3 " + path + " -q --werror " + file + " >/dev/null";
  int rc = system(cmd.c_str());
  remove(file.c_str());
  return WIFEXITED(rc) ? WEXITSTATUS(rc) : 99;
}

TEST_F(IcodeRoundTripTest, SmallAndRichFilesComeBackTheSame) {
  for (const BYTES& original : {small_file(-73).bytes, small_file(-86).bytes, rich_file()}) {
    fresh_package();
    LOG_CLIENT from_original;
    ASSERT_TRUE(read_file(original, &from_original));
    std::string types_before = types_of(from_original);
    // The copy is stamped with the newest version.
    std::string log_before = std::regex_replace(without_file_offsets(from_original.joined()),
                                                std::regex("^magic -[0-9]+"), "magic -73");
    BYTES written = copy_file(original);
    ASSERT_FALSE(written.empty());
    EXPECT_TRUE(written == copy_file(written)) << "writing what was read must be stable";

    // A package that has seen nothing but the copy.
    fresh_package();
    LOG_CLIENT from_copy;
    ASSERT_TRUE(read_file(written, &from_copy));
    EXPECT_EQ(without_file_offsets(from_copy.joined()), log_before);
    EXPECT_EQ(types_of(from_copy), types_before);

    int checked = independent_check(written);
    if (checked >= 0) {
      EXPECT_EQ(checked, 0) << "the independent checker refuses what was written";
    }
  }
}

}  // namespace
}  // namespace icode_test
