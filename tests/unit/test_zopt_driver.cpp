// The zopt program end to end: operands, files, messages and exit statuses.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

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

// The rows of a time-per-pass table: name, runs (-1 when none shown),
// seconds.
struct TimeRow {
  std::string name;
  long runs;
  double seconds;
};

std::vector<TimeRow> time_rows(const std::string& text, double& total) {
  std::vector<TimeRow> rows;
  total = -1;
  size_t at = text.find("time per pass (debug:pass_times)");
  if (at == std::string::npos) return rows;
  std::istringstream in(text.substr(at));
  std::string line;
  std::getline(in, line);  // title
  std::getline(in, line);  // heading
  while (std::getline(in, line) && !line.empty()) {
    // name (may hold blanks), then [runs] seconds share%
    std::istringstream words(line);
    std::vector<std::string> w;
    for (std::string x; words >> x;) w.push_back(x);
    if (w.size() < 3 || w.back().back() != '%') break;
    double secs = std::stod(w[w.size() - 2]);
    bool has_runs = w.size() >= 4 && w[w.size() - 3].find_first_not_of("0123456789") == std::string::npos;
    size_t name_words = w.size() - (has_runs ? 3 : 2);
    std::string name;
    for (size_t i = 0; i < name_words; ++i) name += (i ? " " : "") + w[i];
    if (name == "total") {
      total = secs;
      break;
    }
    rows.push_back({name, has_runs ? std::stol(w[w.size() - 3]) : -1, secs});
  }
  return rows;
}

TEST_F(ZoptDriver, TimePerPassOnRequest) {
  write_program("prog.icode");
  ZoptRun plain = zopt("prog.icode out.icode");
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(plain.err.find("time per pass"), std::string::npos) << "only on request";

  ZoptRun r = zopt("--debug=pass_times prog.icode timed.icode");
  ASSERT_EQ(r.status, 0) << r.err;
  double total = -1;
  std::vector<TimeRow> rows = time_rows(r.err, total);
  ASSERT_FALSE(rows.empty()) << r.err;
  EXPECT_GE(total, 0.0);
  double sum = 0;
  std::map<std::string, long> runs;
  for (const TimeRow& t : rows) {
    sum += t.seconds;
    runs[t.name] = t.runs;
  }
  EXPECT_NEAR(sum, total, 1e-6 * static_cast<double>(rows.size())) << "the rows share out the total";
  EXPECT_EQ(runs["first reading"], 1);
  EXPECT_EQ(runs["simp_tree of each statement read"], 2) << "the one function is read twice";
  EXPECT_EQ(runs.count("(outside the passes and readings)"), 1u);
  EXPECT_EQ(runs["second reading"], 1);
  // The pipeline's passes once each for the one function, the pre-pass's in
  // rows of their own.
  EXPECT_EQ(runs["seq_trees"], 1);
  EXPECT_EQ(runs["pre-pass: seq_trees"], 1);
  EXPECT_EQ(runs["write_func_body"], 1);
  EXPECT_EQ(runs.count("do_dd_optimizations"), 0u) << "a pass not built yet takes no time";
  // With a debug log the table goes there, ahead of its closing line.
  ZoptRun logged = zopt("--debug_level=1 --debug=pass_times prog.icode out.icode");
  ASSERT_EQ(logged.status, 0) << logged.err;
  EXPECT_EQ(logged.err.find("time per pass"), std::string::npos);
  std::string odb = slurp(path("prog.odb"));
  size_t table = odb.find("time per pass (debug:pass_times)");
  ASSERT_NE(table, std::string::npos);
  EXPECT_LT(table, odb.find("== END OF DEBUG OUTPUT=="));
  time_rows(odb, total);
  EXPECT_GE(total, 0.0);
}

}  // namespace
