// Shared by the icode tests: an encoder for building files byte by byte
// straight from the format's description (independent of I_FILE's writer),
// clients that log or copy what the reader hands them, and a fixture with a
// type package of its own.
#pragma once
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"

namespace icode_test {

using BYTES = std::vector<uint8_t>;

// Little-endian, base-128 and framing, written out longhand.
struct ENC {
  BYTES b;
  ENC& u8(unsigned v) { b.push_back(static_cast<uint8_t>(v)); return *this; }
  ENC& i16(int v) { u8(v & 0xff); return u8((v >> 8) & 0xff); }
  ENC& u32(uint32_t v) { for (int i = 0; i < 4; i++) u8((v >> (8 * i)) & 0xff); return *this; }
  ENC& uint(uint32_t v) {
    while (v >= 0x80) { u8((v & 0x7f) | 0x80); v >>= 7; }
    return u8(v);
  }
  ENC& sint(int32_t v) {
    for (;;) {
      int low = v & 0x7f;
      v >>= 7;
      if ((v == 0 && !(low & 0x40)) || (v == -1 && (low & 0x40))) return u8(low);
      u8(low | 0x80);
    }
  }
  ENC& str(const std::string& s) { b.insert(b.end(), s.begin(), s.end()); return u8(0); }
  ENC& raw(const std::string& s) { b.insert(b.end(), s.begin(), s.end()); return *this; }
  ENC& psn(uint32_t file, uint32_t line = 0, uint32_t col = 0) {
    uint(file);
    if (file) uint(line).uint(col);
    return *this;
  }
  ENC& bytes(const BYTES& x) { b.insert(b.end(), x.begin(), x.end()); return *this; }
  // One record: id, uint length, body.
  ENC& rec(int id, const ENC& body) { u8(id).uint(static_cast<uint32_t>(body.b.size())); return bytes(body.b); }
  ENC& eof() { return u8(255); }
  size_t size() const { return b.size(); }
};

// The magic record with the given offsets.
inline ENC magic(int version, uint32_t options, uint32_t inits, uint32_t types, uint32_t files,
                 uint32_t globals, const std::string& source = "t.c", int cpu = 1000) {
  ENC body;
  body.str("!<icode>\n").i16(version).i16(cpu);
  body.u32(options).u32(inits).u32(types).u32(files).u32(globals).str(source);
  if (version >= -83) body.u32(0);
  ENC r;
  r.rec(8, body);
  return r;
}

inline std::string temp_path() {
  char path[] = "/tmp/icode_testXXXXXX";
  int fd = mkstemp(path);
  close(fd);
  return path;
}

inline BYTES read_all(const std::string& path) {
  BYTES out;
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return out;
  int c;
  while ((c = getc(f)) != EOF) out.push_back(static_cast<uint8_t>(c));
  fclose(f);
  return out;
}

// A stream holding `bytes`, positioned at its start.
inline FILE* stream_of(const BYTES& bytes) {
  FILE* f = tmpfile();
  if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), f);
  rewind(f);
  return f;
}

// Prefix text of a tree: (OP value operands...).
std::string tree_text(NODE* n, int depth = 0);

// A client that makes plain symbols and notes each call-back as a line.
class LOG_CLIENT : public IF_CLIENT {
 public:
  std::vector<std::string> log;
  std::vector<SYMTAB*> symbols;
  std::vector<std::pair<SYMTAB*, EXPR_LIST*>> inits;

  SYMTAB* make_symbol(const char* name, TYPE* type, TYPE* type2, uint32_t size, uint32_t align,
                      uint32_t offset, int sclass, int qualifier, PSN* psn, uint32_t file_offset,
                      uint32_t option_set);
  void note(const std::string& s) { log.push_back(s); }
  std::string joined() const;

  bool cl_magic(int version, int cpu) override;
  void cl_source(const char* name) override;
  void cl_option_set(uint32_t id, uint32_t count, char** texts) override;
  SYMTAB* cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size, uint32_t align,
                           uint32_t offset, int sclass, int qualifier, PSN* psn, uint32_t file_offset,
                           uint32_t option_set) override;
  void cl_symbol_def(SYMTAB* sym) override;
  void cl_symbol_init(SYMTAB* sym, EXPR_LIST* list) override;
  void cl_pragma(SYMTAB* sym, PRAGMA* pragma) override;
  void cl_func_info(int value) override;
  void cl_begin_func(SYMTAB* sym, PSN* psn) override;
  void cl_end_args(PSN* psn) override;
  void cl_end_locals(PSN* psn) override;
  void cl_begin_block(PSN* psn) override;
  void cl_end_block(PSN* psn) override;
  void cl_expr(NODE* tree, PSN* psn) override;
  void cl_label(uint32_t id) override;
  void cl_comment(const char* text) override;
  void cl_inline_asm(const char* text, PSN* psn) override;
  void cl_end_func(PSN* psn) override;
  void cl_func_eht(EHT_ENTRY* entries, uint32_t count) override;
  void cl_loop_def(const uint32_t* w, int16_t value) override;
  void cl_loop_header(uint32_t word, SYMTAB* sym, int8_t value) override;
  void cl_dd_vector(const IF_DD_PAIR* entries, uint32_t a, int8_t b, int8_t count) override;
  void cl_dd_edge(const uint32_t* w) override;
  void cl_mbank(const uint32_t* w) override;
  void cl_ldspec_induct(uint32_t word, uint32_t a, int32_t b, TYPE* type, SYMTAB* sym) override;
  void cl_ldspec_rand(uint32_t word, uint32_t a, uint32_t b, TYPE* type, SYMTAB* sym) override;
  void cl_ldspec_region(uint32_t word, uint32_t a) override;
  void cl_ir_begin_func(uint32_t a, int32_t b, int8_t c, uint32_t d, PSN* psn) override;
  void cl_ir_end_func(PSN* psn) override;
  void cl_ir_ins(PSN* psn, const uint8_t* data, uint32_t length) override;
};

// A client that writes everything it reads to another file, in the order it
// comes; initialisers wait until the functions are through.
class COPY_CLIENT : public LOG_CLIENT {
 public:
  I_FILE* in = nullptr;
  I_FILE* out = nullptr;
  bool in_body = false;
  std::vector<std::pair<uint32_t, std::vector<const char*>>> option_sets;

  void finish();  // the initialisers, after the reading is done
  void cl_merge_type_defs() override;
  void cl_option_set(uint32_t id, uint32_t count, char** texts) override;
  void cl_symbol_def(SYMTAB* sym) override;
  void cl_pragma(SYMTAB* sym, PRAGMA* pragma) override;
  void cl_source(const char* name) override;
  void cl_func_info(int value) override;
  void cl_begin_func(SYMTAB* sym, PSN* psn) override;
  void cl_end_args(PSN* psn) override;
  void cl_end_locals(PSN* psn) override;
  void cl_begin_block(PSN* psn) override;
  void cl_end_block(PSN* psn) override;
  void cl_expr(NODE* tree, PSN* psn) override;
  void cl_label(uint32_t id) override;
  void cl_comment(const char* text) override;
  void cl_inline_asm(const char* text, PSN* psn) override;
  void cl_end_func(PSN* psn) override;
  void cl_func_eht(EHT_ENTRY* entries, uint32_t count) override;
  void cl_loop_def(const uint32_t* w, int16_t value) override;
  void cl_loop_header(uint32_t word, SYMTAB* sym, int8_t value) override;
  void cl_dd_vector(const IF_DD_PAIR* entries, uint32_t a, int8_t b, int8_t count) override;
  void cl_dd_edge(const uint32_t* w) override;
  void cl_mbank(const uint32_t* w) override;
  void cl_ldspec_induct(uint32_t word, uint32_t a, int32_t b, TYPE* type, SYMTAB* sym) override;
  void cl_ldspec_rand(uint32_t word, uint32_t a, uint32_t b, TYPE* type, SYMTAB* sym) override;
  void cl_ldspec_region(uint32_t word, uint32_t a) override;
  void cl_ir_begin_func(uint32_t a, int32_t b, int8_t c, uint32_t d, PSN* psn) override;
  void cl_ir_end_func(PSN* psn) override;
  void cl_ir_ins(PSN* psn, const uint8_t* data, uint32_t length) override;
};

// Each test has a type package and a type tree of its own, and a function
// record for the constructors that note calls and leaves.
class IcodeTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  TYPE* int_t() { return pkg->basic[TYPE_PKG::BT_INT]; }
  // Starts over with a package that has seen nothing.
  void fresh_package() {
    TearDown();
    SetUp();
  }
  // Reads the whole of `bytes` with `client`; false when if_open refuses.
  bool read_file(const BYTES& bytes, IF_CLIENT* client);
  // Reads `bytes` and writes what it holds to a new file; its bytes.
  BYTES copy_file(const BYTES& bytes);

  TYPE_PKG* pkg = nullptr;
  TYPE_PKG* saved_tp = nullptr;
  TYPE* saved_root = nullptr;
  FUNINFO funinfo;
};

// Runs `body` with standard output going to standard error, so that a death
// test sees the file layer's messages.
#define ICODE_STDOUT_TO_STDERR() dup2(STDERR_FILENO, STDOUT_FILENO)

}  // namespace icode_test
