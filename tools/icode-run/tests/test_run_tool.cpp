// The icode-run program on icode files written by the file layer: reading,
// arguments, output, exit statuses and --stats.
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "icode/if_file.h"
#include "tools/icode-run/tests/run_test_util.h"

namespace {

struct TOOL_RUN {
  int status = -1;
  std::string out;
  std::string err;
};

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

}  // namespace

class RunToolTest : public RunTest {
 public:
  void SetUp() override {
    char dir[] = "/tmp/icode-run-test-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
  }
  void TearDown() override {
    std::string cmd = "rm -rf " + dir_;
    EXPECT_EQ(system(cmd.c_str()), 0);
  }

  // Writes the program built so far as an icode file.
  std::string write(const char* name) {
    std::string path = dir_ + "/" + name;
    FILE* f = fopen(path.c_str(), "wb");
    I_FILE* out = I_FILE::if_create(f, tp, "test.c");
    for (SYMTAB* s : prog.globals) out->if_enter_global(s);
    for (auto& fn : prog.functions) {
      out->if_write_begin_func(fn->sym, nullptr);
      for (SYMTAB* p : fn->params) {
        out->if_enter_local(p);
        out->if_write_symbol(p);
      }
      out->if_write_end_args(nullptr);
      for (SYMTAB* l : fn->locals) {
        out->if_enter_local(l);
        out->if_write_symbol(l);
      }
      out->if_write_end_locals(nullptr);
      for (RUN_STMT& st : fn->body) {
        if (st.tree) out->if_write_expr(st.tree, nullptr);
        else out->if_write_label(st.label);
      }
      out->if_write_end_func(nullptr);
    }
    for (SYMTAB* s : prog.globals) {
      if (!s->init) continue;
      out->if_write_init(s);
      for (EXPR_ELEM* e = s->init->head; e; e = e->next) out->if_write_expr_node(e->tree);
    }
    EXPECT_EQ(out->if_close(true, false), 0);
    return path;
  }

  TOOL_RUN tool(const std::string& args) {
    std::string out = dir_ + "/out", err = dir_ + "/err";
    std::string cmd = std::string(ICODE_RUN_BINARY) + " " + args + " >" + out + " 2>" + err;
    int raw = system(cmd.c_str());
    TOOL_RUN r;
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = slurp(out);
    r.err = slurp(err);
    return r;
  }

  std::string dir_;
};

TEST_F(RunToolTest, RunsAFileWithArgumentsAndCounts) {
  SYMTAB* base = global("base", t_int());
  init(base, {I(40)});
  RUN_FUNCTION* add = func("add", t_int());
  SYMTAB* a = param(add, "a", t_int());
  begin_body(add);
  E(add, ret(add, op(PLUS, t_int(), N(a), N(base))));
  RUN_FUNCTION* m = main_fn();
  SYMTAB* argc = param(m, "argc", t_int());
  SYMTAB* argv = param(m, "argv", ptr(ptr(t_char())));
  begin_body(m);
  E(m, print("%s %d %d\n", {deref(op(PLUS, argv->type, N(argv), I(1))), N(argc), call(add, t_int(), {N(argc)})}));
  E(m, ret(m, I(7)));
  std::string file = write("prog.icode");

  TOOL_RUN r = tool(file + " -- hello world");
  EXPECT_EQ(r.status, 7);
  EXPECT_EQ(r.out, "hello 3 43\n");
  EXPECT_EQ(r.err, "");
  r = tool("--stats " + file + " -- x");
  EXPECT_EQ(r.status, 7);
  EXPECT_EQ(r.out, "x 2 42\n");
  EXPECT_NE(r.err.find("icode-run statistics\n  statements executed        5\n"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("  calls                      2\n"), std::string::npos) << r.err;
}

TEST_F(RunToolTest, ErrorsAndBadInput) {
  RUN_FUNCTION* m = main_fn();
  SYMTAB* z = local(m, "z", t_int());
  E(m, print("before\n"));
  E(m, op(DIV, t_int(), I(1), N(z)));
  std::string file = write("div.icode");
  TOOL_RUN r = tool(file);
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.out, "before\n");
  EXPECT_EQ(r.err, "icode-run: error: division by zero in function main\n");

  r = tool("--max-steps 1 " + file);
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.err, "icode-run: error: step limit of 1 statements reached in function main\n");

  std::string junk = dir_ + "/junk.icode";
  FILE* f = fopen(junk.c_str(), "wb");
  fputs("not icode at all", f);
  fclose(f);
  r = tool(junk);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "icode-run: " + junk + " is not an icode file\n");

  r = tool(dir_ + "/missing.icode");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "icode-run: cannot open " + dir_ + "/missing.icode: No such file or directory\n");

  r = tool("--frob " + file);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.substr(0, 31), "icode-run: unknown option --fro");

  // A file cut short: the reader's own message and status 1.
  std::string whole = slurp(file);
  std::string cut = dir_ + "/cut.icode";
  std::ofstream(cut, std::ios::binary) << whole.substr(0, whole.size() * 2 / 3);
  r = tool(cut);
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out + r.err, "");
}
