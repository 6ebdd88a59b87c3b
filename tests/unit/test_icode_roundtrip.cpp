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
