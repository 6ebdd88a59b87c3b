// The zopt program end to end: operands, files, messages and exit statuses.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"

namespace {

struct ZoptRun {
  int status = -1;
  std::string out;
  std::string err;
};

std::string slurp(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

class ZoptDriver : public testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/zopt-driver-XXXXXX";
    dir_ = mkdtemp(tmpl);
  }
  void TearDown() override { std::system(("rm -rf " + dir_).c_str()); }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }

  // Runs zopt in the test directory with `args` (already quoted).
  ZoptRun zopt(const std::string& args) {
    ZoptRun r;
    std::string cmd = "cd " + dir_ + " && " + ZOPT_BINARY + " " + args + " >" + path("stdout") + " 2>" + path("stderr");
    int st = std::system(cmd.c_str());
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    r.out = slurp(path("stdout"));
    r.err = slurp(path("stderr"));
    return r;
  }

  // A small well-formed file: int g; int f(int p) { if (p) goto L1; g = p; L1: return p; }
  // With `bad_label`, f branches to a label it never defines.
  void write_program(const std::string& name, bool bad_label = false) {
    if_node_table_init();
    if (!tp) {
      tp = new TYPE_PKG();
      tp->init_type_pkg();
    }
    FILE* f = fopen(path(name).c_str(), "wb");
    ASSERT_NE(f, nullptr);
    I_FILE* out = I_FILE::if_create(f, tp, "prog.c");
    const char* opts[] = {"--opt_level=2"};
    out->if_enter_option_set(0, 1, const_cast<char**>(opts));
    TYPE* int_t = tp->basic[TYPE_PKG::BT_INT];
    TYPE* void_t = tp->basic[TYPE_PKG::BT_VOID];
    TYPE* fn = tp->mk_func(int_t, false, false, false, 0, 0, 0);
    tp->type_frozen(fn);
    auto sym = [](const char* n, TYPE* t, int sclass, int level) {
      SYMTAB* s = new (zalloc0(level, sizeof(SYMTAB))) SYMTAB();
      s->name = zstrdup(level, n);
      s->type = s->decl_type = t;
      s->size = s->align = t->is_func() ? 0 : static_cast<int32_t>(t->size);
      s->sclass = static_cast<uint8_t>(sclass);
      s->lex_level = static_cast<uint8_t>(level);
      return s;
    };
    SYMTAB* g = sym("g", int_t, SC_EXTDEF, 0);
    SYMTAB* fs = sym("f", fn, SC_EXTDEF, 0);
    out->if_enter_global(g);
    out->if_enter_global(fs);
    out->if_write_begin_func(fs, nullptr);
    lex = 1;
    SYMTAB* p = sym("p", int_t, SC_PARAM, 1);
    out->if_enter_local(p);
    out->if_write_symbol(p);
    out->if_write_end_args(nullptr);
    out->if_write_end_locals(nullptr);
    out->if_write_expr(maketree(CBRANCH, mk_NAME(p, nullptr), mk_LABELREF(bad_label ? 7 : 1, nullptr), void_t, nullptr),
                       nullptr);
    out->if_write_expr(mk_ASG(mk_NAME(g, nullptr), mk_NAME(p, nullptr)), nullptr);
    out->if_write_label(1);
    out->if_write_expr(maketree(RETURN, mk_NAME(fs, nullptr), mk_NAME(p, nullptr), int_t, nullptr), nullptr);
    out->if_write_end_func(nullptr);
    lex = 0;
    ASSERT_EQ(out->if_close(true, false), 0);
    zfree_all();
  }

  std::string dir_;
};

TEST_F(ZoptDriver, OperandsNameTheOutput) {
  write_program("prog.icode");
  ZoptRun one = zopt("prog.icode");
  EXPECT_EQ(one.status, 0) << one.err;
  EXPECT_TRUE(exists(path("prog.opt"))) << "one name: the base name plus .opt";

  ZoptRun two = zopt("prog.icode other.out");
  EXPECT_EQ(two.status, 0) << two.err;
  EXPECT_TRUE(exists(path("other.out")));

  ZoptRun three = zopt("prog.icode third.out ignored");
  EXPECT_EQ(three.status, 0);
  EXPECT_EQ(three.err, "") << "a third name is accepted without a word";
  EXPECT_TRUE(exists(path("third.out")));
  EXPECT_FALSE(exists(path("ignored")));

  ZoptRun four = zopt("prog.icode a.out b c");
  EXPECT_EQ(four.status, 1);
  EXPECT_NE(four.err.find("\n>>>> OPTIMIZER ERROR: Unexpected options: prog.icode a.out c\n"), std::string::npos)
      << four.err;
  EXPECT_NE(four.err.find("\n>>>> OPTIMIZER ERROR: Garbage on command line\n\n"), std::string::npos) << four.err;
}

TEST_F(ZoptDriver, InputThatCannotBeReadStopsWithItsMessage) {
  ZoptRun missing = zopt("missing.icode");
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "\n>> Cannot Open Input icode File, No such file or directory : missing.icode, Aborting\n");

  // With no name at all the empty name fails to open first.
  ZoptRun none = zopt("");
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err, "\n>> Cannot Open Input icode File, No such file or directory : , Aborting\n");

  std::ofstream(path("text.icode")) << "this is not icode\n";
  ZoptRun bad = zopt("text.icode");
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.err, "\n>> Error when opening input icode file : text.icode, Aborting\n");
  EXPECT_FALSE(exists(path("text.opt")));
}

TEST_F(ZoptDriver, OutputThatCannotBeOpened) {
  write_program("prog.icode");
  ZoptRun r = zopt("prog.icode no/such/dir/out.icode");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "\n>> Cannot Open Output icode File, No such file or directory : no/such/dir/out.icode, Aborting\n");
}

TEST_F(ZoptDriver, InternalErrorRemovesThePartialOutput) {
  write_program("prog.icode", true);
  ZoptRun r = zopt("prog.icode out.icode");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("\n>>>> Optimizer terminated abnormally\n"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find(">>>>    in function f()\n"), std::string::npos) << r.err;
  EXPECT_FALSE(exists(path("out.icode"))) << "no partial output survives";
}

TEST_F(ZoptDriver, OwnOutputReadsBackToTheSameFile) {
  write_program("prog.icode");
  ASSERT_EQ(zopt("prog.icode first.icode").status, 0);
  ASSERT_EQ(zopt("first.icode second.icode").status, 0);
  ASSERT_EQ(zopt("second.icode third.icode").status, 0);
  std::string a = slurp(path("second.icode"));
  std::string b = slurp(path("third.icode"));
  EXPECT_NE(a.find(";\t"), std::string::npos);
  EXPECT_NE(a.find("first.icode second.icode"), std::string::npos) << "the command line is in the output";
  EXPECT_NE(b.find("prog.icode first.icode"), std::string::npos) << "earlier command lines are passed on";
  // Each run adds a comment in front of the functions; from the first
  // function to the end of the function section the files are the same.
  auto functions = [](const std::string& f) {
    size_t pos = 1;
    while (static_cast<unsigned char>(f[pos]) & 0x80) ++pos;  // the record length
    pos += 1 + 10 + 4;                                          // magic text, version, cpu id
    uint32_t end = UINT32_MAX;
    for (int i = 0; i < 5; ++i) {
      uint32_t off = 0;
      for (int k = 0; k < 4; ++k) off |= static_cast<uint32_t>(static_cast<unsigned char>(f[pos + 4 * i + k])) << (8 * k);
      if (off) end = std::min(end, off);
    }
    size_t begin = f.find('\x01');  // first begin-function record behind the comments
    for (size_t c = f.rfind(";\t"); c != std::string::npos && begin < c;) begin = f.find('\x01', begin + 1);
    return f.substr(begin, end - begin);
  };
  EXPECT_EQ(functions(a), functions(b));
  EXPECT_GT(functions(a).size(), 20u);
}

TEST_F(ZoptDriver, DebugLogAndInformationFile) {
  write_program("prog.icode");
  ZoptRun r = zopt("--debug_level=1 prog.icode out.icode");
  EXPECT_EQ(r.status, 0) << r.err;
  ASSERT_TRUE(exists(path("prog.odb")));
  ASSERT_TRUE(exists(path("prog.nfo"))) << "the debug option turns the information file on";
  std::string odb = slurp(path("prog.odb"));
  EXPECT_NE(odb.find(" *** OPCODE TABLES ARE OK\n"), std::string::npos);
  EXPECT_NE(odb.find("Option set 0 (file-level options):\n\t--opt_level=2\n"), std::string::npos) << odb;
  EXPECT_NE(odb.find("~~~ pass not built yet, skipped: "), std::string::npos);
  EXPECT_NE(odb.find("f() has these properties: 0x"), std::string::npos);
  EXPECT_EQ(odb.substr(odb.size() - 26), "\n== END OF DEBUG OUTPUT==\n");
  std::string nfo = slurp(path("prog.nfo"));
  EXPECT_NE(nfo.find("Rillcore 8000 C/C++ Optimizer"), std::string::npos) << nfo;
  EXPECT_EQ(nfo.substr(nfo.size() - 25), "\n== END OF INFO OUTPUT==\n");
  EXPECT_NE(r.out.find("Rillcore 8000 C/C++ Optimizer Pass 2\n"), std::string::npos) << r.out;
}

TEST_F(ZoptDriver, SplitLogsGetOneFilePerFunction) {
  write_program("prog.icode");
  ZoptRun r = zopt("--debug_level=1 --debug=split_odb prog.icode out.icode");
  EXPECT_EQ(r.status, 0) << r.err;
  ASSERT_TRUE(exists(path("prog.f.odb")));
  EXPECT_NE(slurp(path("prog.odb")).find(">>>> SWITCHING LOG TO prog.f.odb\n"), std::string::npos);
  EXPECT_NE(slurp(path("prog.f.odb")).find("f() has these properties"), std::string::npos);
}

TEST_F(ZoptDriver, BadOptionLevelEndsTheRun) {
  write_program("prog.icode");
  ZoptRun r = zopt("--opt_level=9 prog.icode out.icode");
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_FALSE(exists(path("out.icode")));
}

}  // namespace
