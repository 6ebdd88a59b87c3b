// Icode primitives, record framing, the header and the small sections.
#include <new>

#include "ir/mmgt.h"
#include "test_icode_util.h"

namespace icode_test {
namespace {

using IcodePrimTest = IcodeTest;
using IcodePrimDeathTest = IcodeTest;

// A file whose function section holds one record 47 with `body`, opened and
// positioned at that record.
I_FILE* open_with_record(const BYTES& body, LOG_CLIENT& client) {
  ENC file = magic(-73, 0, 0, 0, 0, 0);
  ENC b;
  b.bytes(body);
  file.rec(47, b).eof();
  return I_FILE::if_open(stream_of(file.b), &client);
}

BYTES written(I_FILE* w) {
  BYTES out(w->buffer, w->buffer + w->buffer_end);
  w->buffer_end = 0;
  return out;
}

const struct {
  uint32_t v;
  BYTES enc;
} kUints[] = {{0, {0x00}},
              {63, {0x3f}},
              {64, {0x40}},
              {127, {0x7f}},
              {128, {0x80, 0x01}},
              {0x7fffffff, {0xff, 0xff, 0xff, 0xff, 0x07}},
              {0x80000000u, {0x80, 0x80, 0x80, 0x80, 0x08}},
              {0xffffffffu, {0xff, 0xff, 0xff, 0xff, 0x0f}}};

const struct {
  int32_t v;
  BYTES enc;
} kSints[] = {{0, {0x00}},
              {63, {0x3f}},
              {64, {0xc0, 0x00}},
              {-1, {0x7f}},
              {-64, {0x40}},
              {-65, {0xbf, 0x7f}},
              {0x7fffffff, {0xff, 0xff, 0xff, 0xff, 0x07}},
              {INT32_MIN, {0x80, 0x80, 0x80, 0x80, 0x78}}};

TEST_F(IcodePrimTest, Base128EncodingsAtTheirEdges) {
  I_FILE* w = I_FILE::if_create(tmpfile(), nullptr, "x.c");
  BYTES all_u, all_s;
  for (auto& c : kUints) {
    w->i_write_uint(c.v);
    EXPECT_EQ(written(w), c.enc) << c.v;
    all_u.insert(all_u.end(), c.enc.begin(), c.enc.end());
  }
  for (auto& c : kSints) {
    w->i_write_sint(c.v);
    EXPECT_EQ(written(w), c.enc) << c.v;
    all_s.insert(all_s.end(), c.enc.begin(), c.enc.end());
  }
  EXPECT_EQ(w->if_close(true, true), 0);

  LOG_CLIENT client;
  BYTES body = all_u;
  body.insert(body.end(), all_s.begin(), all_s.end());
  I_FILE* r = open_with_record(body, client);
  ASSERT_NE(r, nullptr);
  int id;
  uint32_t length;
  r->i_read_header(id, length);
  EXPECT_EQ(id, 47);
  EXPECT_EQ(length, body.size());
  for (auto& c : kUints) EXPECT_EQ(r->i_read_uint(), c.v);
  for (auto& c : kSints) EXPECT_EQ(r->i_read_sint(), c.v);
  EXPECT_EQ(r->i_body_left(), 0u);
  r->if_close(true, false);
}

TEST_F(IcodePrimTest, FixedWidthStringsAndPositions) {
  I_FILE* w = I_FILE::if_create(tmpfile(), nullptr, "x.c");
  w->i_write_i16(-32768);
  w->i_write_i16(65535);
  w->i_write_i32(-2);
  w->i_write_i8(-1);
  w->i_write_bool(true);
  EXPECT_EQ(written(w), (BYTES{0x00, 0x80, 0xff, 0xff, 0xfe, 0xff, 0xff, 0xff, 0xff, 0x01}));

  static const char scon[] = "a\0b\0c";
  w->i_write_uint(5);
  w->i_write_string(scon, 5);
  w->i_write_string("hi", 0);
  EXPECT_EQ(written(w), (BYTES{5, 'a', 0, 'b', 0, 'c', 'h', 'i', 0}));

  PSN p{"a.c", 3, 200};
  PSN same_name{zstrdup(0, "a.c"), 1, 1};
  w->i_write_psn(nullptr);
  w->i_write_psn(&p);
  w->i_write_psn(&same_name);
  EXPECT_EQ(written(w), (BYTES{0, 1, 3, 0xc8, 0x01, 1, 1, 1}));
  EXPECT_EQ(w->file_count, 1u) << "a name entered twice on the writing side gets one id";
  EXPECT_EQ(w->if_close(true, true), 0);

  ENC body;
  body.i16(-2).u32(0xdeadbeef).u8(0x80).u8(2);
  body.uint(5).raw(std::string("a\0b\0c", 5)).str("hi");
  body.psn(0).uint(7);
  LOG_CLIENT client;
  I_FILE* r = open_with_record(body.b, client);
  ASSERT_NE(r, nullptr);
  int id;
  uint32_t length;
  r->i_read_header(id, length);
  EXPECT_EQ(r->i_read_s16(), -2);
  EXPECT_EQ(r->i_read_u32(), 0xdeadbeefu);
  EXPECT_EQ(r->i_read_s8(), -128);
  EXPECT_TRUE(r->i_read_bool()) << "any byte but 0 is true";
  uint32_t n = r->i_read_uint();
  ASSERT_EQ(n, 5u);
  EXPECT_EQ(memcmp(r->i_read_string(n), "a\0b\0c", 6), 0) << "all five bytes and a terminator";
  EXPECT_STREQ(r->i_read_string(0), "hi");
  uint32_t before = r->i_body_left();
  EXPECT_EQ(r->i_read_psn(), nullptr);
  EXPECT_EQ(before - r->i_body_left(), 1u) << "a psn with file id 0 is one byte";
  EXPECT_EQ(r->i_read_uint(), 7u);
  r->if_close(true, false);
}

TEST_F(IcodePrimDeathTest, ShortOutOfRangeIsRefused) {
  I_FILE* w = I_FILE::if_create(tmpfile(), nullptr, "x.c");
  EXPECT_EXIT(
      {
        ICODE_STDOUT_TO_STDERR();
        w->i_write_i16(65536);
      },
      ::testing::ExitedWithCode(1), ">> Value exceeds size of short");
  EXPECT_EXIT(
      {
        ICODE_STDOUT_TO_STDERR();
        w->i_write_i16(-32769);
      },
      ::testing::ExitedWithCode(1), ">> Value exceeds size of short");
  w->if_close(true, true);
}

TEST_F(IcodePrimTest, RecordFramingAndEndMark) {
  std::string path = temp_path();
  I_FILE* w = I_FILE::if_create(fopen(path.c_str(), "wb"), nullptr, "x.c");
  uint32_t start = w->if_tell();
  w->i_write_string("abc", 0);
  w->i_flush(47);
  // A body larger than the first buffer.
  std::string big(40000, 'z');
  w->i_write_string(big.c_str(), 0);
  w->i_flush(47);
  w->i_write_eof();
  EXPECT_EQ(w->if_tell() - start, 1 + 1 + 4 + 1 + 3 + 40001 + 1u);
  EXPECT_EQ(w->if_close(true, true), 0);
  BYTES file = read_all(path);
  remove(path.c_str());
  BYTES head(file.begin() + start, file.begin() + start + 9);
  EXPECT_EQ(head, (BYTES{47, 4, 'a', 'b', 'c', 0, 47, 0xc1, 0xb8}));
  EXPECT_EQ(file.back(), 255);

  LOG_CLIENT client;
  ENC f = magic(-73, 0, 0, 0, 0, 0);
  f.eof().rec(47, ENC().str("x"));
  I_FILE* r = I_FILE::if_open(stream_of(f.b), &client);
  ASSERT_NE(r, nullptr);
  uint32_t at = r->if_tell();
  int id;
  uint32_t length;
  r->i_read_header(id, length);
  EXPECT_EQ(id, 255);
  EXPECT_EQ(r->if_tell(), at + 1) << "an end mark has no length";
  r->i_read_header(id, length);
  EXPECT_EQ(id, 47);
  r->i_read_skip(length);
  r->if_close(true, false);
}

TEST_F(IcodePrimTest, HeaderVersionsAndRefusals) {
  auto opens = [](const ENC& file) {
    LOG_CLIENT client;
    I_FILE* f = I_FILE::if_open(stream_of(file.b), &client);
    if (!f) return std::string("null");
    std::string got = std::to_string(f->version) + "/" + std::to_string(f->extra_word) + "/" + f->source_name;
    f->if_close(true, false);
    return got;
  };
  EXPECT_EQ(opens(magic(-73, 0, 0, 0, 0, 0, "a.c")), "-73/0/a.c");
  EXPECT_EQ(opens(magic(-86, 0, 0, 0, 0, 0)), "-86/0/t.c");
  EXPECT_EQ(opens(magic(-84, 0, 0, 0, 0, 0)), "-84/0/t.c") << "no extra word before -83";
  ENC with_extra;
  with_extra.rec(8, ENC().str("!<icode>\n").i16(-83).i16(1000).u32(0).u32(0).u32(0).u32(0).u32(0).str("t.c").u32(9));
  EXPECT_EQ(opens(with_extra), "-83/9/t.c");
  ENC missing_extra;
  missing_extra.rec(8, ENC().str("!<icode>\n").i16(-83).i16(1000).u32(0).u32(0).u32(0).u32(0).u32(0).str("t.c"));
  EXPECT_EQ(opens(missing_extra), "null");

  EXPECT_EQ(opens(magic(-87, 0, 0, 0, 0, 0)), "null");
  EXPECT_EQ(opens(magic(-72, 0, 0, 0, 0, 0)), "null");
  EXPECT_EQ(opens(magic(-73, 0, 0, 0, 0, 0, "t.c", 999)), "null");
  ENC bad_magic;
  bad_magic.rec(8, ENC().str("!<icodf>\n").i16(-73).i16(1000).u32(0).u32(0).u32(0).u32(0).u32(0).str("t.c").u32(0));
  EXPECT_EQ(opens(bad_magic), "null");
  ENC not_icode;
  not_icode.raw("int main(void) { return 0; }\n");
  EXPECT_EQ(opens(not_icode), "null");
  EXPECT_EQ(opens(ENC()), "null");
  ENC huge_length;
  huge_length.u8(8).uint(0xffffffffu).raw("!<icode>\n");
  EXPECT_EQ(opens(huge_length), "null");

  class REFUSING : public LOG_CLIENT {
    bool cl_magic(int, int) override { return false; }
  } refusing;
  EXPECT_EQ(I_FILE::if_open(stream_of(magic(-73, 0, 0, 0, 0, 0).b), &refusing), nullptr);
}

TEST_F(IcodePrimTest, WriterHeaderOffsetsAndOptionSets) {
  auto write = [](bool with_options, bool discard) {
    std::string path = temp_path();
    I_FILE* w = I_FILE::if_create(fopen(path.c_str(), "wb"), nullptr, "src.c");
    const char* texts[] = {"-o2", "-g"};
    if (with_options) w->if_enter_option_set(3, 2, texts);
    EXPECT_EQ(w->if_close(false, discard), 0);
    BYTES b = read_all(path);
    remove(path.c_str());
    return b;
  };
  // magic: 2 framing bytes, 10 magic, 2 + 2, 5 offsets, "src.c", extra word.
  const size_t header = 2 + 10 + 4 + 20 + 6 + 4;
  auto offset = [](const BYTES& b, int n) {
    size_t at = 2 + 10 + 4 + 4 * n;
    return static_cast<uint32_t>(b[at] | b[at + 1] << 8 | b[at + 2] << 16 | b[at + 3] << 24);
  };
  BYTES plain = write(false, false);
  ASSERT_EQ(plain.size(), header + 2);  // the function section's end and the empty globals section
  EXPECT_EQ(offset(plain, 0), 0u) << "no option set, no options section";
  EXPECT_EQ(offset(plain, 4), header + 1);
  EXPECT_EQ(plain[1], header - 2);

  BYTES opts = write(true, false);
  EXPECT_EQ(offset(opts, 0), header + 1);
  ENC set;
  set.rec(111, ENC().uint(3).uint(2).str("-o2").str("-g")).eof();
  EXPECT_EQ(BYTES(opts.begin() + header + 1, opts.begin() + header + 1 + set.size()), set.b);

  BYTES discarded = write(true, true);
  ASSERT_EQ(discarded.size(), header);
  for (int i = 0; i < 5; i++) EXPECT_EQ(offset(discarded, i), 0u);

  // What the writer wrote, the reader takes back.
  LOG_CLIENT client;
  I_FILE* r = I_FILE::if_open(stream_of(opts), &client);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(client.joined(), "magic -73 1000\nsource src.c\noptions 3: -o2 -g\n");
  r->if_close(true, false);
}

TEST_F(IcodePrimTest, FileNamesOnEachSide) {
  I_FILE* w = I_FILE::if_create(tmpfile(), nullptr, "x.c");
  std::string name = "dir/a.h";
  EXPECT_EQ(w->i_enter_file_name("dir/a.h"), 1u);
  EXPECT_EQ(w->i_enter_file_name(name.c_str()), 1u);
  name = "dir/b.h";  // the same pointer, another text
  EXPECT_EQ(w->i_enter_file_name(name.c_str()), 2u);
  EXPECT_EQ(w->i_get_file_id("dir/a.h"), 1u);
  EXPECT_EQ(w->i_get_file_id("none.h"), 0u);
  w->if_close(true, true);

  ENC body;
  body.str("x");
  ENC f = magic(-73, 0, 0, 0, 0, 0);
  f.eof();
  LOG_CLIENT client;
  I_FILE* r = I_FILE::if_open(stream_of(f.b), &client);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->i_enter_file_name("a.h"), 1u);
  EXPECT_EQ(r->i_enter_file_name("a.h"), 2u) << "the reader keeps the file's ids as they come";
  EXPECT_STREQ(r->i_get_file_name(2), "a.h");
  EXPECT_EQ(r->i_get_file_name(0), nullptr);
  EXPECT_EQ(r->i_get_file_name(3), nullptr);
  r->if_close(true, false);
}

}  // namespace
}  // namespace icode_test
