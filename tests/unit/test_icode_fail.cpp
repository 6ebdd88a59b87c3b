// Bad input: every failure ends with the file layer's message and status 1,
// or with a refused open, never with a crash or a hang.
#include <new>
#include <sys/wait.h>

#include <cstdlib>
#include <random>
#include <string>

#include "ir/mmgt.h"
#include "test_icode_fixture.h"

namespace icode_test {
namespace {

using IcodeFailTest = IcodeTest;
using IcodeFailDeathTest = IcodeTest;

const char kBadRecord[] = "INTERNAL ERROR: Invalid I-code record, aborting";
const char kBadEht[] = "INTERNAL ERROR: Invalid EHT record in I-code, aborting";

// A file of a function section, a types section and globals (f: int (void),
// x: int), with one file name.
BYTES assemble(const ENC& fn, const ENC& types, const ENC& extra_globals = ENC()) {
  ENC files;
  files.rec(126, ENC().str("t.c")).eof();
  uint32_t header = static_cast<uint32_t>(magic(-73, 0, 0, 0, 0, 0).size());
  uint32_t types_at = header + static_cast<uint32_t>(fn.size());
  uint32_t files_at = types_at + static_cast<uint32_t>(types.size());
  uint32_t globals_at = files_at + static_cast<uint32_t>(files.size());
  ENC globals;
  globals.bytes(sym_rec("f", 0, 0, 2, 0, 2, 0, 16, 0, header, 0, psn(1, 1, 1)).b);
  globals.bytes(sym_rec("x", 32, 0, 2, 0, 1, 0, 32, 0, 0, 0, psn(0)).b);
  globals.bytes(extra_globals.b).eof();
  ENC file = magic(-73, 0, 0, types_at, files_at, globals_at);
  file.bytes(fn.b).bytes(types.b).bytes(files.b).bytes(globals.b);
  return file.b;
}

ENC basic_types() {
  ENC t;
  t.rec(116, ENC().uint(1).u8(6).u8(1).uint(32).uint(32).u8(0).u8(0));
  t.rec(116, ENC().uint(2).u8(20).uint(1).u8(0).u8(0).u8(0).u8(0));
  t.rec(116, ENC().uint(2).u8(254).u8(0)).rec(116, ENC().uint(2).u8(255).u8(0));
  return t;
}

// f's body around the given records.
ENC function_with(const ENC& body) {
  ENC fn;
  fn.rec(1, ENC().psn(1, 1, 1).uint(0)).rec(5, psn(0)).rec(6, psn(0)).bytes(body.b).rec(2, psn(0)).eof();
  return fn;
}

BYTES with_statement(const TREE& t) {
  ENC body;
  stmt(body, psn(0), t);
  ENC types = basic_types();
  return assemble(function_with(body), types.eof());
}

BYTES with_types(const ENC& extra) {
  ENC types = basic_types();
  types.bytes(extra.b).eof();
  return assemble(function_with(ENC()), types);
}

#define EXPECT_READ_DIES(bytes, words)                          \
  EXPECT_EXIT(                                                  \
      {                                                         \
        ICODE_STDOUT_TO_STDERR();                               \
        LOG_CLIENT client;                                      \
        read_file(bytes, &client);                              \
        exit(0);                                                \
      },                                                        \
      ::testing::ExitedWithCode(1), words)

TEST_F(IcodeFailTest, TheFixturesOfTheseTestsAreSound) {
  LOG_CLIENT client;
  ASSERT_TRUE(read_file(with_statement(T(ASG, 1, {name_node(0, 1, 1), icon_s(1, 1)})), &client));
  EXPECT_EQ(client.log[client.log.size() - 2], "expr @- (ASG (NAME x) (ICON 1))");
  LOG_CLIENT again;
  ASSERT_TRUE(read_file(with_types(ENC()), &again));
}

TEST_F(IcodeFailDeathTest, TruncatedFilesNeverReadOn) {
  BYTES whole = small_file(-73).bytes;
  size_t header = magic(-73, 0, 0, 0, 0, 0).size();
  for (size_t cut = 0; cut < header; cut++) {
    LOG_CLIENT client;
    EXPECT_FALSE(read_file(BYTES(whole.begin(), whole.begin() + static_cast<long>(cut)), &client)) << cut;
  }
  for (size_t cut = header; cut < whole.size(); cut++) {
    SCOPED_TRACE(cut);
    EXPECT_READ_DIES(BYTES(whole.begin(), whole.begin() + static_cast<long>(cut)), kBadRecord);
  }
}

TEST_F(IcodeFailDeathTest, OperatorsThatCannotStandInAFile) {
  for (int op : {int(IF), int(NONALIGN), int(LABELDEF), 28, 200, 255}) {
    SCOPED_TRACE(op);
    EXPECT_READ_DIES(with_statement(T(op, 0)), kBadRecord);
  }
  // An operand that is not a node record.
  ENC body;
  body.rec(46, psn(0)).rec(101, ENC().u8(UMINUS).uint(1)).rec(47, ENC().str("x"));
  EXPECT_READ_DIES(assemble(function_with(body), basic_types().eof()), kBadRecord);
  // A FIELD of kind other than 1, and of a member that does not exist.
  ENC s;
  s.rec(116, ENC().uint(3).u8(24).u8(0).str("S").u8(1).u8(0).uint(32).uint(32).u8(1).u8(0).u8(0).psn(0));
  s.rec(116, ENC().uint(3).u8(254).u8(7));
  s.rec(116, ENC().uint(3).u8(28).uint(1).str("m").uint(1).u8(0).sint(0).u8(0).uint(0).u8(0).u8(0).u8(0).psn(0));
  s.rec(116, ENC().uint(3).u8(255).u8(7));
  for (int kind_member : {0x21, 0x12}) {
    ENC fb;
    stmt(fb, psn(0), T(FIELD, 1, ENC().u8(kind_member >> 4).uint(kind_member & 0xf).uint(3)));
    ENC types = basic_types();
    types.bytes(s.b).eof();
    EXPECT_READ_DIES(assemble(function_with(fb), types), kBadRecord);
  }
}

TEST_F(IcodeFailDeathTest, ExceptionTableOutOfShape) {
  auto table = [](int kind, int follower) {
    ENC body;
    body.rec(93, ENC().uint(1));
    if (kind) body.rec(91, ENC().uint(1).uint(kind).uint(0).uint(1));
    body.rec(follower, ENC().str("x"));
    return assemble(function_with(body), basic_types().eof());
  };
  EXPECT_READ_DIES(table(0, 47), kBadEht);  // no entry record
  EXPECT_READ_DIES(table(1, 47), kBadEht);  // no expression
  EXPECT_READ_DIES(table(2, 46), kBadEht);  // no catch record
  ENC huge;
  huge.rec(93, ENC().uint(0x7fffffff));
  EXPECT_READ_DIES(assemble(function_with(huge), basic_types().eof()), kBadRecord);
}

TEST_F(IcodeFailDeathTest, TypeRecordsOutOfOrder) {
  auto t = [](uint32_t id, int code, const ENC& body) {
    ENC r;
    r.uint(id).u8(code).bytes(body.b);
    return ENC().rec(116, r);
  };
  EXPECT_READ_DIES(with_types(t(3, 15, ENC().uint(4).uint(16).uint(16))),
                   "TP>> internal error: invalid forward reference");
  EXPECT_READ_DIES(with_statement(T(ICON, 9, ENC().uint(1))), "TP>> internal error: invalid forward reference");
  EXPECT_READ_DIES(with_types(t(1, 49, ENC())), "TP>> internal error: read type twice");

  ENC two_param_lists = t(3, 20, ENC().uint(1).u8(0).u8(0).u8(0).u8(0));
  two_param_lists.bytes(t(3, 254, ENC().u8(0)).b).bytes(t(3, 254, ENC().u8(0)).b);
  EXPECT_READ_DIES(with_types(two_param_lists), "TP>> internal error: Duplicate function parameters");

  ENC two_etor_lists = t(3, 22, ENC().str("E").uint(32).uint(32).uint(1).u8(0).psn(0));
  two_etor_lists.bytes(t(3, 254, ENC().u8(1)).b).bytes(t(3, 254, ENC().u8(1)).b);
  EXPECT_READ_DIES(with_types(two_etor_lists), "TP>> internal error: Duplicate enumerator attributes");

  // A class that announces two lists and brings the same one twice.
  ENC csu = t(3, 25, ENC().u8(0).str("C").u8(1).u8(0).uint(32).uint(32).uint(0).u8(0).u8(0).u8(0).u8(0).u8(0)
                         .u8(1).u8(1).u8(0).u8(0).u8(0).u8(0).psn(0));
  csu.bytes(t(3, 254, ENC().u8(7)).b).bytes(t(3, 255, ENC().u8(7)).b).bytes(t(3, 254, ENC().u8(7)).b);
  EXPECT_READ_DIES(with_types(csu), "TP>> internal error: Duplicate CSU attributes");

  EXPECT_READ_DIES(with_types(t(1, 254, ENC().u8(7))), "TP>> internal error: Unexpected type attribute");
  EXPECT_READ_DIES(with_types(t(2, 254, ENC().u8(0))), "TP>> internal error: Unexpected type attribute");
  EXPECT_READ_DIES(with_types(t(9, 255, ENC().u8(0))), "TP>> internal error: Unexpected type attribute");
  EXPECT_READ_DIES(with_types(t(2, 21, ENC().uint(1).u8(0).uint(0).str("late"))),
                   "TP>> internal error: Unexpected type attribute");
}

TEST_F(IcodeFailDeathTest, ReferencesAndCountsThatCannotBe) {
  EXPECT_READ_DIES(with_statement(name_node(0, 2, 1)), kBadRecord);  // global index
  EXPECT_READ_DIES(with_statement(name_node(2, 0, 1)), kBadRecord);  // no locals
  auto body_of = [](const ENC& body) { return assemble(function_with(body), basic_types().eof()); };
  ENC body;
  stmt(body, psn(2, 1, 1), icon_s(1, 1));  // file id 2 of one name
  EXPECT_READ_DIES(body_of(body), kBadRecord);
  EXPECT_READ_DIES(body_of(ENC().rec(4, psn(0))), kBadRecord);  // no block to end
  EXPECT_READ_DIES(body_of(ENC().rec(124, ENC().uint(1).sint(2).sint(5).u8(0))), kBadRecord);
  EXPECT_READ_DIES(body_of(ENC().rec(108, ENC().uint(1).u8(3).uint(0))), kBadRecord);  // no form 3
  EXPECT_READ_DIES(body_of(ENC().rec(59, ENC().uint(1).u8(0).u8(0x80))), kBadRecord);  // count -128
  EXPECT_READ_DIES(body_of(ENC().rec(59, ENC().uint(1).u8(0).u8(100))), kBadRecord);   // pairs missing
  EXPECT_READ_DIES(body_of(ENC().rec(94, ENC().uint(1).uint(0x7fffffff))), kBadRecord);
    // A record that says it is longer than the file, and a uint of six bytes.
  EXPECT_READ_DIES(body_of(ENC().u8(47).uint(0xfffffff0u)), kBadRecord);
  EXPECT_READ_DIES(body_of(ENC().rec(42, ENC().u8(0x80).u8(0x80).u8(0x80).u8(0x80).u8(0x80).u8(0))), kBadRecord);
  // A function whose record names a global that is not there.
  ENC fn;
  fn.rec(1, ENC().psn(0).uint(7)).rec(2, psn(0)).eof();
  EXPECT_READ_DIES(assemble(fn, basic_types().eof()), kBadRecord);
  // A function that runs into the end of its section.
  ENC open_fn;
  open_fn.rec(1, ENC().psn(0).uint(0)).rec(5, psn(0)).eof();
  BYTES open_file = assemble(open_fn, basic_types().eof());
  EXPECT_EXIT(
      {
        ICODE_STDOUT_TO_STDERR();
        LOG_CLIENT client;
        I_FILE* f = I_FILE::if_open(stream_of(open_file), &client);
        f->if_type_init(pkg);
        f->if_read_file();
        f->if_read_func(static_cast<uint32_t>(magic(-73, 0, 0, 0, 0, 0).size()));
        exit(0);
      },
      ::testing::ExitedWithCode(1), kBadRecord);
  // An option set that counts more texts than it holds.
  ENC opts = magic(-73, 0, 0, 0, 0, 0);
  uint32_t at = static_cast<uint32_t>(opts.size() + 1);
  opts = magic(-73, at, 0, 0, 0, 0);
  opts.eof().rec(111, ENC().uint(0).uint(0x10000000).str("-o")).eof();
  EXPECT_READ_DIES(opts.b, kBadRecord);
}

// Damaged copies of good files: whatever the damage, reading ends normally
// or with status 1, and in bounded time.
TEST_F(IcodeFailDeathTest, DamagedFilesEndCleanly) {
  const BYTES seeds[] = {small_file(-73).bytes, small_file(-82).bytes, rich_file()};
  std::mt19937 rng(20261122);
  auto ends_cleanly = [](int status) { return WIFEXITED(status) && WEXITSTATUS(status) <= 1; };
  for (int i = 0; i < 150; i++) {
    BYTES b = seeds[i % 3];
    size_t header = 40;
    for (int k = 1 + static_cast<int>(rng() % 3); k > 0; k--) {
      size_t at = header + rng() % (b.size() - header);
      b[at] = rng() % 2 ? static_cast<uint8_t>(rng()) : static_cast<uint8_t>(b[at] ^ (1u << (rng() % 8)));
    }
    SCOPED_TRACE(i);
    EXPECT_EXIT(
        {
          alarm(10);
          ICODE_STDOUT_TO_STDERR();
          LOG_CLIENT client;
          read_file(b, &client);
          exit(0);
        },
        ends_cleanly, "");
  }
}

// x = 1 + (1 + (... + 1)) with `depth` operators below the ASG, built
// without recursion.
BYTES with_deep_statement(uint32_t depth) {
  ENC body;
  body.rec(46, psn(0));
  body.rec(101, ENC().u8(ASG).uint(1));
  body.rec(101, ENC().u8(NAME).uint(1).uint(0).uint(0));  // x: global 1
  for (uint32_t i = 0; i < depth; i++) body.rec(101, ENC().u8(PLUS).uint(1)).rec(101, ENC().u8(ICON).uint(1).sint(1));
  body.rec(101, ENC().u8(ICON).uint(1).sint(1));
  ENC types = basic_types();
  return assemble(function_with(body), types.eof());
}

TEST_F(IcodeFailDeathTest, TreesDeeperThanThePassesCanWalkAreRefused) {
  // The reader is iterative; the passes behind it recurse, and a tree of a
  // few hundred thousand levels once overflowed their stack.
  LOG_CLIENT client;
  ASSERT_TRUE(read_file(with_deep_statement(IF_MAX_TREE_DEPTH - 1), &client));
  EXPECT_EXIT(
      {
        ICODE_STDOUT_TO_STDERR();
        LOG_CLIENT c;
        read_file(with_deep_statement(IF_MAX_TREE_DEPTH), &c);
        exit(0);
      },
      ::testing::ExitedWithCode(1), kBadRecord);

  // zopt itself, on a tree that crashed it: the reader's message, not a signal.
  std::string in = temp_path(), out = temp_path();
  BYTES deep = with_deep_statement(300000);
  FILE* f = fopen(in.c_str(), "wb");
  ASSERT_EQ(fwrite(deep.data(), 1, deep.size(), f), deep.size());
  fclose(f);
  std::string cmd = std::string(ZOPT_BINARY) + " --opt_level=2 " + in + " " + out + " >" + out + ".said 2>&1";
  int status = std::system(cmd.c_str());
  ASSERT_TRUE(WIFEXITED(status)) << "status " << status;
  EXPECT_EQ(WEXITSTATUS(status), 1);
  BYTES said = read_all(out + ".said");
  EXPECT_NE(std::string(said.begin(), said.end()).find(kBadRecord), std::string::npos);
  remove(in.c_str());
  remove(out.c_str());
  remove((out + ".said").c_str());
}

// int, then `n` typedefs each of the one before, and a structure whose one
// member has the last of them: the structure rests on the whole chain.
ENC typedef_chain(uint32_t n) {
  ENC t;
  t.rec(116, ENC().uint(1).u8(6).u8(1).uint(32).uint(32).u8(0).u8(0));
  for (uint32_t i = 0; i < n; i++)
    t.rec(116, ENC().uint(i + 3).u8(14).str("t").uint(i ? i + 2 : 1).uint(32).uint(32).u8(0).u8(0).psn(0));
  uint32_t s = n + 3;
  t.rec(116, ENC().uint(s).u8(24).u8(0).str("S").u8(1).u8(0).uint(32).uint(32).u8(1).u8(0).u8(0).psn(0));
  t.rec(116, ENC().uint(s).u8(254).u8(7));
  t.rec(116, ENC().uint(s).u8(28).uint(1).str("m").uint(n + 2).u8(0).sint(0).u8(0).uint(0).u8(0).u8(0).u8(0).psn(0));
  t.rec(116, ENC().uint(s).u8(255).u8(7));
  // The function type the fixture's f has.
  t.rec(116, ENC().uint(2).u8(20).uint(1).u8(0).u8(0).u8(0).u8(0));
  t.rec(116, ENC().uint(2).u8(254).u8(0)).rec(116, ENC().uint(2).u8(255).u8(0));
  return t.eof();
}

TEST_F(IcodeFailDeathTest, TypeChainsLongerThanThePackageCanFollowAreRefused) {
  // The type package follows targets recursively: half a million typedefs
  // of typedefs once overflowed its stack. A chain of the limit reads; one
  // more, reached through a structure's member, is a broken record.
  LOG_CLIENT client;
  ASSERT_TRUE(read_file(assemble(function_with(ENC()), typedef_chain(IF_MAX_TYPE_DEPTH - 2)), &client));
  EXPECT_READ_DIES(assemble(function_with(ENC()), typedef_chain(IF_MAX_TYPE_DEPTH - 1)), kBadRecord);
  EXPECT_READ_DIES(assemble(function_with(ENC()), typedef_chain(IF_MAX_TYPE_DEPTH)), kBadRecord);
}

TEST_F(IcodeFailDeathTest, BlocksNestedDeeperThanALexicalLevelHoldsAreRefused) {
  // Scopes opened past what the scope stack held were once hung on its last
  // entry, each appended by walking all the others: a file of nested blocks
  // took time quadratic in their number (200000 blocks: minutes).
  auto nested = [](int n) {
    ENC body;
    for (int i = 0; i < n; i++) body.rec(3, psn(0));
    stmt(body, psn(0), T(ASG, 1, {name_node(0, 1, 1), icon_s(1, 1)}));
    for (int i = 0; i < n; i++) body.rec(4, psn(0));
    ENC types = basic_types();
    return assemble(function_with(body), types.eof());
  };
  LOG_CLIENT client;
  ASSERT_TRUE(read_file(nested(IF_MAX_BLOCK_NESTING), &client));
  EXPECT_READ_DIES(nested(IF_MAX_BLOCK_NESTING + 1), kBadRecord);
}

TEST_F(IcodeFailTest, LengthWalkFindsForeignRecords) {
  LOG_CLIENT client;
  I_FILE* f = I_FILE::if_open(stream_of(small_file(-73).bytes), &client);
  ASSERT_NE(f, nullptr);
  uint32_t at = f->if_tell();
  EXPECT_TRUE(f->if_check_lengths());
  EXPECT_EQ(f->if_tell(), at);
  f->if_close(true, false);

  ENC foreign;
  foreign.rec(8, ENC().str("x"));
  BYTES bad = assemble(function_with(foreign), basic_types().eof());
  f = I_FILE::if_open(stream_of(bad), &client);
  ASSERT_NE(f, nullptr);
  size_t h = magic(-73, 0, 0, 0, 0, 0).size();
  testing::internal::CaptureStdout();
  EXPECT_FALSE(f->if_check_lengths());
  char expect[128];
  snprintf(expect, sizeof expect, ">>I-file error:@%zu,id=8,sz=2,prev [@%zu,id=6,sz=1]\n", h + 12, h + 9);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expect);
  f->if_close(true, false);
}

TEST_F(IcodeFailDeathTest, WriterRefusesWhatCouldNotBeReadBack) {
  I_FILE* w = I_FILE::if_create(tmpfile(), pkg, "w.c");
  SYMTAB* x = new (zalloc0(0, sizeof(SYMTAB))) SYMTAB;
  x->name = zstrdup(0, "x");
  x->type = int_t();
  w->if_enter_global(x);
  auto dies = [&](NODE* tree) {
    EXPECT_EXIT(
        {
          ICODE_STDOUT_TO_STDERR();
          w->if_write_expr(tree, nullptr);
          exit(0);
        },
        ::testing::ExitedWithCode(1), kBadRecord);
  };
  dies(new_node(UMINUS, int_t()));  // an operand short
  NODE* leaf = new_node(ICON, int_t());
  leaf->left = new_node(ICON, int_t());
  dies(leaf);  // a leaf with an operand
  NODE* two_way = new_node(IF, nullptr);
  two_way->left = new_node(ICON, int_t());
  two_way->right = new_node(ICON, int_t());
  dies(two_way);  // lives only in memory
  SYMTAB* stranger = new (zalloc0(0, sizeof(SYMTAB))) SYMTAB;
  stranger->name = zstrdup(0, "s");
  stranger->file_level = 0;
  stranger->file_index = 0;  // claims x's place
  NODE* name = new_node(NAME, int_t());
  name->mk_name(stranger);
  dies(name);
  NODE* fine = new_node(NAME, int_t());
  fine->mk_name(x);
  w->if_write_expr(fine, nullptr);
  EXPECT_EQ(w->if_close(true, true), 0);
}

}  // namespace
}  // namespace icode_test
