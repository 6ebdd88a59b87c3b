// The streams of stdio.h: stdout and stderr take output, stdin none. The
// header names them &_ftable[0] to &_ftable[2], three FILE objects of a
// table that the program declares and the library owns; a FILE pointer is
// known by where it points into that table. stdout is the tool's standard
// output, stderr its standard error, written after what stdout holds.
#include <cstdio>
#include <string>

#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_libc.h"
#include "tools/icode-run/run_ops.h"

namespace {

enum STREAM { IN, OUT, ERR };

STREAM stream_of(LIBCALL& c, VAL fp) {
  auto table = c.m.data_by_name.find("_ftable");
  const RUN_OBJ* o = object_of(fp);
  if (table != c.m.data_by_name.end() && o && o->base == p_addr(table->second)) {
    uint32_t each = (o->end - o->base) / 3;
    uint32_t off = p_addr(fp) - o->base;
    if (each && off % each == 0 && off / each < 3) return static_cast<STREAM>(off / each);
  }
  if (p_addr(fp) == 0) run_fail("%s: the stream is a null pointer", c.fn->name);
  run_fail("%s: the stream is not stdin, stdout or stderr", c.fn->name);
}

uint32_t put(LIBCALL& c, VAL fp, const std::string& text) {
  switch (stream_of(c, fp)) {
    case OUT: c.m.out_text(text.data(), text.size()); break;
    case ERR:
      c.m.flush_output();
      fwrite(text.data(), 1, text.size(), stderr);
      fflush(stderr);
      break;
    default: run_fail("%s: stdin cannot be written", c.fn->name);
  }
  c.m.lib_work += text.size();
  return static_cast<uint32_t>(text.size());
}

VAL lib_fprintf(LIBCALL& c) { return put(c, lib_ptr(c, 0), lib_format(c, "fprintf", lib_ptr(c, 1), 2)); }

VAL lib_vfprintf(LIBCALL& c) {
  return put(c, lib_ptr(c, 0), lib_vformat(c, "vfprintf", lib_ptr(c, 1), lib_ptr(c, 2)));
}

VAL lib_fputs(LIBCALL& c) {
  put(c, lib_ptr(c, 1), read_cstring(lib_ptr(c, 0), c.fn->name));
  return 0;
}

VAL lib_fputc(LIBCALL& c) {
  uint32_t ch = lib_uint(c, 0);
  put(c, lib_ptr(c, 1), std::string(1, static_cast<char>(ch & 0xffu)));
  return ch & 0xffffu;
}

// fwrite(p, size, n, stream): n elements of `size` units, each unit as its low byte.
VAL lib_fwrite(LIBCALL& c) {
  VAL p = lib_ptr(c, 0);
  uint64_t units = static_cast<uint64_t>(lib_uint(c, 1)) * lib_uint(c, 2);
  if (units == 0) return 0;
  if (units >= ADDRESS_UNITS) run_fail("fwrite: %llu units do not fit in memory", static_cast<unsigned long long>(units));
  check_read(p, static_cast<uint32_t>(units));
  std::string text;
  for (uint32_t i = 0; i < units; ++i) text.push_back(static_cast<char>(run_mem.mem[p_addr(p) + i] & 0xffu));
  c.m.lib_work += units;
  put(c, lib_ptr(c, 3), text);
  return lib_uint(c, 2);
}

VAL lib_fflush(LIBCALL& c) {
  VAL fp = lib_ptr(c, 0);
  if (p_addr(fp) == 0 || stream_of(c, fp) == OUT) c.m.flush_output();
  return 0;
}

}  // namespace

const LIB_ENTRY lib_stdio_entries[] = {
    {"fprintf", lib_fprintf, nullptr}, {"vfprintf", lib_vfprintf, nullptr}, {"fputs", lib_fputs, nullptr},
    {"fputc", lib_fputc, nullptr},     {"putc", lib_fputc, nullptr},        {"fwrite", lib_fwrite, nullptr},
    {"fflush", lib_fflush, nullptr},   {nullptr, nullptr, nullptr},
};
