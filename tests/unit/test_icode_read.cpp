// The reader on files built byte by byte from the format's description, in
// several versions: what the client is handed, and the types it gets.
#include <algorithm>

#include "test_icode_fixture.h"

namespace icode_test {
namespace {

using IcodeReadTest = IcodeTest;

std::string expected_log(int version, const SMALL_FILE& f) {
  std::string v = std::to_string(version);
  return "magic " + v + " 1000\n"
         "source t.c\n"
         "options 0: -o2 -g\n"
         "options 1: -o0\n"
         "symbol g void() / - size=0 align=0 off=0 class=5 qual=0 fo=0 set=0 @-\n"
         "def g 0:0\n"
         "symbol f i6() / i6() size=0 align=16 off=0 class=2 qual=4 fo=" + std::to_string(f.func_at) +
         " set=1 @t.c:5:1\n"
         "pragma f 49 C\n"
         "def f 0:1\n"
         "symbol s struct S / - size=48 align=32 off=0 class=3 qual=32768 fo=" + std::to_string(f.init_s_at) +
         " set=0 @t.h:3:1\n"
         "def s 0:2\n"
         "symbol tab i6[4] / - size=128 align=32 off=0 class=2 qual=0 fo=" + std::to_string(f.init_tab_at) +
         " set=0 @-\n"
         "def tab 0:3\n"
         "init s: (ICON 7) (SKIP 16) (SCON \"ab\\0c\") (ENDINIT)\n"
         "init tab: (ENDINIT)\n"
         "begin f @t.c:5:1\n"
         "symbol a i6 / - size=32 align=32 off=0 class=9 qual=0 fo=0 set=0 @t.c:5:8\n"
         "def a 1:0\n"
         "symbol b i1* / - size=16 align=16 off=2 class=9 qual=0 fo=0 set=0 @t.c:5:15\n"
         "def b 1:1\n"
         "end args @t.c:5:20\n"
         "symbol x i6 / typedef myint size=32 align=32 off=4 class=1 qual=1 fo=0 set=0 @t.c:6:5\n"
         "pragma x 44\n"
         "def x 2:2\n"
         "end locals @t.c:6:10\n"
         "info 76\n"
         "comment regs: x=r1\n"
         "expr @t.c:7:3 (ASG (NAME x) (NAME a))\n"
         "label 1\n"
         "block @t.c:8:1\n"
         "symbol y enum ns::E / - size=32 align=32 off=0 class=1 qual=0 fo=0 set=0 @-\n"
         "def y 3:3\n"
         "expr @t.c:9:5 (ASG (NAME y) (ICON -5))\n"
         "end block @t.c:10:1\n"
         "expr @t.c:11:3 (CBRANCH (NEQ (NAME x) (ICON 0)) (LABEL L1))\n"
         "expr @t.c:11:3 (BRANCH (LABEL L2))\n"
         "label 2\n"
         "expr @- (ASG (STDOT (NAME s) (FIELD .c)) (ICON 3))\n"
         "expr @- (CALL v0 a5 (UAND (NAME g)) (NAME x))\n"
         "expr @- (ASG (NAME x) (ICON -7))\n"
         "expr @- (UCALL a0 (UAND (NAME g)))\n"
         "asm nop @t.c:12:1\n"
         "pragma - 41 x\n"
         "source t.h\n"
         "loop 1 2 3 4 5 -2\n"
         "inloop 7 x 1\n"
         "ddvec 9 -1 1/-3 2/4\n"
         "ddedge 10 11 12\n"
         "mbank 1 2 3 4 5\n"
         "ldspec0 1 2 -3 i6 x\n"
         "ldspec1 4 5 6 - -\n"
         "ldspec2 7 8\n"
         "expr @- (RETURN (NAME f) (NAME x))\n"
         "eht 2 [1 k1 0 0 (ICON 1)] [2 k2 10 2 int/3/1 .../4294967295/0]\n"
         "end @t.c:13:1\n"
         "irbegin 1 -2 3 4 @-\n"
         "irins @t.c:1:1 3\n"
         "irend @-\n";
}

TEST_F(IcodeReadTest, WholeSmallFileInEveryVersionThatDiffers) {
  for (int version : {-73, -74, -75, -76, -80, -81, -82, -83, -84, -85, -86}) {
    SCOPED_TRACE(version);
    fresh_package();
    SMALL_FILE f = small_file(version);
    LOG_CLIENT client;
    ASSERT_TRUE(read_file(f.bytes, &client));
    EXPECT_EQ(client.joined(), expected_log(version, f));

    ASSERT_EQ(client.symbols.size(), 8u);
    SYMTAB* s = client.symbols[2];
    CSU_RECORD* r = s->type->getr_csu();
    EXPECT_TRUE(r->complete);
    EXPECT_EQ(r->no_stack_sharing, version >= -84) << "the flag exists from -84";
    EXPECT_EQ(r->union_compat, false);
    ASSERT_NE(r->mdata, nullptr);
    fkMDATA* x = r->mdata;
    fkMDATA* c = x->next;
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(x->name, "x");
    EXPECT_EQ(x->type, int_t());
    EXPECT_FALSE(x->is_bitfield);
    EXPECT_EQ(c->name, "c");
    EXPECT_EQ(c->offset, 32);
    EXPECT_EQ(c->width, 5u);
    EXPECT_TRUE(c->is_bitfield);
    EXPECT_TRUE(c->flag1);
    EXPECT_EQ(c->flag2, version >= -85) << "older files have no second flag";
    EXPECT_EQ(c->field_type_text, version >= -74 ? "fti:1f" : "");
    EXPECT_EQ(c->next, nullptr);

    // The function type and its parameter list.
    FUNC_RECORD* fr = client.symbols[1]->type->getr_func();
    EXPECT_EQ(fr->result, int_t());
    ASSERT_NE(fr->params, nullptr);
    EXPECT_EQ(fr->params->name, "a");
    EXPECT_EQ(fr->params->type, int_t());
    ASSERT_NE(fr->params->next, nullptr);
    EXPECT_EQ(fr->params->next->name, "b");
    EXPECT_TRUE(fr->params->next->flag);
    EXPECT_EQ(fr->params->next->word, 7u);
    // A function without parameters still has its (empty) list.
    EXPECT_TRUE(client.symbols[0]->type->getr_func()->has_params);
    EXPECT_EQ(client.symbols[0]->type->getr_func()->params, nullptr);

    // The typedef, the enum and its values; an older enum takes its C++
    // flag from its name.
    TYPE* td = client.symbols[6]->type2;
    ASSERT_EQ(td->kind, TYPE::KIND_TYPEDEF);
    ASSERT_NE(td->psn, nullptr);
    EXPECT_STREQ(td->psn->file, "t.h");
    EXPECT_EQ(td->psn->line, 1u);
    TYPE* e = client.symbols[7]->type;
    ASSERT_EQ(e->kind, TYPE::KIND_ENUM);
    EXPECT_EQ(e->is_cpp, version < -81) << "ns::E is a C++ name; newer files say so themselves";
    ENUM_RECORD* er = e->getr_enum();
    ASSERT_NE(er->etors, nullptr);
    EXPECT_EQ(er->etors->value, -1);
    ASSERT_NE(er->etors->next, nullptr);
    EXPECT_EQ(er->etors->next->name, "B");
    EXPECT_EQ(er->etors->next->value, 300);
    TYPE* arr = client.symbols[3]->type;
    EXPECT_EQ(arr->getr_array()->vector, false);
    EXPECT_EQ(arr->getr_array()->count, 4u);
  }
}

TEST_F(IcodeReadTest, ReadingOneFunctionAgainAndSkipping) {
  SMALL_FILE f = small_file(-73);
  LOG_CLIENT client;
  I_FILE* in = I_FILE::if_open(stream_of(f.bytes), &client);
  ASSERT_NE(in, nullptr);
  in->if_type_init(pkg);
  in->if_read_file();
  size_t first = client.log.size();
  ASSERT_TRUE(in->if_check_lengths());
  in->if_read_func(f.func_at);
  std::vector<std::string> again(client.log.begin() + static_cast<long>(first), client.log.end());
  ASSERT_GT(again.size(), 3u);
  EXPECT_EQ(again.front(), "begin f @t.c:5:1");
  EXPECT_EQ(again.back(), "end @t.c:13:1");
  // The same text the first reading gave for the function.
  auto at = std::find(client.log.begin(), client.log.end(), again.front());
  EXPECT_TRUE(std::equal(again.begin(), again.end(), at));
  EXPECT_EQ(in->block_depth, 0);

  in->if_seek(f.func_at);
  in->if_skip_func();
  EXPECT_EQ(client.log.size(), first + again.size()) << "skipping hands nothing to the client";
  EXPECT_EQ(in->block_depth, 0);
  int id;
  uint32_t length;
  in->i_read_header(id, length);
  EXPECT_EQ(id, IREC_IR_BEGIN);
  EXPECT_EQ(in->if_close(true, false), 0);
}

TEST_F(IcodeReadTest, ExtractingCopiesTheImageAndItsGlobals) {
  // Everything up to the globals goes raw, the globals record by record and
  // the pragmas through the writer: a file that ends with its globals comes
  // out whole.
  SMALL_FILE f = small_file(-84);
  std::string path = temp_path();
  LOG_CLIENT client;
  I_FILE* in = I_FILE::if_open(stream_of(f.bytes), &client);
  ASSERT_NE(in, nullptr);
  uint32_t at = in->if_tell();
  EXPECT_EQ(in->if_extract_file(path.c_str()), 1);
  EXPECT_EQ(in->if_tell(), at);
  EXPECT_TRUE(read_all(path) == f.bytes);
  in->if_close(true, false);
  remove(path.c_str());
}

TEST_F(IcodeReadTest, CpuId500ReadsShortLongsAsInts) {
  for (int cpu : {1000, 500}) {
    ENC types;
    types.rec(116, ENC().uint(1).u8(8).u8(1).uint(32).uint(32).u8(0).u8(0));
    types.rec(116, ENC().uint(2).u8(9).u8(0).uint(64).uint(64).u8(0).u8(0)).eof();
    ENC file = magic(-73, 0, 0, 0, 0, 0);
    uint32_t at = static_cast<uint32_t>(file.size() + 1);
    file = magic(-73, 0, 0, at, 0, 0);
    file.eof().bytes(types.b);
    LOG_CLIENT client;
    I_FILE* in = I_FILE::if_open(stream_of(file.b), &client);
    ASSERT_NE(in, nullptr);
    in->if_type_init(pkg);
    icode_cpu_id = cpu;
    in->if_read_type_defs();
    EXPECT_EQ(in->find_typeref(1)->ikind, cpu == 500 ? TYPE::IK_INT : TYPE::IK_LONG);
    EXPECT_EQ(in->find_typeref(2)->ikind, TYPE::IK_ULONG) << "only 32-bit longs";
    EXPECT_EQ(in->find_typeref(0), nullptr);
    in->if_close(true, false);
  }
}

TEST_F(IcodeReadTest, UnknownRecordsAndTypeCodesAreReadPast) {
  ENC types;
  types.rec(116, ENC().uint(1).u8(48));                       // the writer's "cannot name"
  types.rec(116, ENC().uint(2).u8(77).uint(5).str("junk"));   // unknown code with a body
  types.rec(116, ENC().uint(3).u8(6).u8(1).uint(32).uint(32).u8(0).u8(0)).eof();
  ENC body;
  body.rec(33, ENC().uint(1)).rec(60, ENC()).rec(47, ENC().str("after")).eof();
  ENC file = magic(-73, 0, 0, 0, 0, 0);
  uint32_t types_at = static_cast<uint32_t>(file.size() + body.size());
  uint32_t globals_at = types_at + static_cast<uint32_t>(types.size());
  file = magic(-73, 0, 0, types_at, 0, globals_at);
  file.bytes(body.b).bytes(types.b).eof();
  LOG_CLIENT client;
  testing::internal::CaptureStdout();
  bool ok = read_file(file.b, &client);
  std::string out = testing::internal::GetCapturedStdout();
  ASSERT_TRUE(ok);
  size_t magic_size = magic(-73, 0, 0, 0, 0, 0).size();
  char expect[64];
  snprintf(expect, sizeof expect, "\n///ERROR @0x%zx\n\n\n///ERROR @0x%zx\n\n", magic_size, magic_size + 3);
  EXPECT_EQ(out, expect);
  EXPECT_EQ(client.log.back(), "comment after");
}

}  // namespace
}  // namespace icode_test
