// The library: argument helpers, the table of names, and the functions of
// string.h, stdlib.h and the heap. A character is one 16-bit unit.
#include "tools/icode-run/run_libc.h"

#include <cstring>
#include <string>

#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_ops.h"

void lib_need_args(LIBCALL& c, uint32_t n) {
  if (c.nargs < n) run_fail("%s called with %u arguments; it takes %u", c.fn->name, c.nargs, n);
}

int32_t lib_int(LIBCALL& c, uint32_t i) {
  lib_need_args(c, i + 1);
  VK vk = c.cs.arg_vk[i];
  if (!vk_is_int(vk)) run_fail("argument %u of %s is a %s; an integer is expected", i + 1, c.fn->name, vk_name(vk));
  return static_cast<int32_t>(lo32(c.args[i]));
}

uint32_t lib_uint(LIBCALL& c, uint32_t i) { return static_cast<uint32_t>(lib_int(c, i)); }

VAL lib_ptr(LIBCALL& c, uint32_t i) {
  lib_need_args(c, i + 1);
  VK vk = c.cs.arg_vk[i];
  if (vk == VK_PTR) return c.args[i];
  if (vk_is_int(vk)) return lo32(c.args[i]) & 0xffffu;  // an integer: no provenance
  run_fail("argument %u of %s is a %s; a pointer is expected", i + 1, c.fn->name, vk_name(vk));
}

float lib_float(LIBCALL& c, uint32_t i) {
  lib_need_args(c, i + 1);
  VK vk = c.cs.arg_vk[i];
  if (vk == VK_F32) return b2f(lo32(c.args[i]));
  if (vk_is_int(vk)) return b2f(lo32(convert_value(c.args[i], vk, VK_F32)));
  run_fail("argument %u of %s is a %s; a floating value is expected", i + 1, c.fn->name, vk_name(vk));
}

VAL float_result(float x) { return f2b(x); }

// The units of a zero-terminated string, checked to end inside its object.
static std::u16string read_units(VAL p, const char* who) {
  check_read(p, 1);
  const RUN_OBJ* o = object_of(p);
  std::u16string s;
  for (uint32_t a = p_addr(p); a < o->end; ++a) {
    uint16_t u = run_mem.mem[a];
    if (!u) {
      run_machine->lib_work += s.size() + 1;
      return s;
    }
    s.push_back(u);
  }
  run_fail("%s: the string in %s has no terminating zero", who, o->name ? o->name : "an object");
}

std::string read_cstring(VAL p, const char* who) {
  std::u16string u = read_units(p, who);
  return std::string(u.begin(), u.end());  // a character unit prints as its low byte
}

static void store_units(VAL p, const std::u16string& text, bool zero) {
  uint32_t n = static_cast<uint32_t>(text.size() + (zero ? 1 : 0));
  if (!n) return;
  check_write(p, n);
  uint32_t a = p_addr(p);
  for (uint32_t i = 0; i < text.size(); ++i) A16U::st(a + i, text[i]);
  if (zero) A16U::st(a + static_cast<uint32_t>(text.size()), 0);
  run_machine->lib_work += n;
}

void write_units(VAL p, const std::string& text, bool zero) {
  std::u16string u;
  for (char ch : text) u.push_back(static_cast<unsigned char>(ch));
  store_units(p, u, zero);
}

namespace {

VAL lib_memcpy(LIBCALL& c) {
  VAL d = lib_ptr(c, 0);
  VAL s = lib_ptr(c, 1);
  uint32_t n = lib_uint(c, 2);
  if (!n) return d;
  check_write(d, n);
  check_read(s, n);
  bool no_overlap = strcmp(c.fn->name, "memcpy") == 0 || strcmp(c.fn->name, "wmemcpy") == 0;
  if (no_overlap && object_of(d) == object_of(s) && p_addr(d) < p_addr(s) + n &&
      p_addr(s) < p_addr(d) + n)
    run_fail("%s with overlapping source and destination", c.fn->name);
  run_mem.move(p_addr(d), p_addr(s), n);
  c.m.lib_work += n;
  return d;
}

VAL lib_memset(LIBCALL& c) {
  VAL d = lib_ptr(c, 0);
  uint32_t v = lib_uint(c, 1);
  uint32_t n = lib_uint(c, 2);
  if (!n) return d;
  check_write(d, n);
  for (uint32_t i = 0; i < n; ++i) A16U::st(p_addr(d) + i, v);
  c.m.lib_work += n;
  return d;
}

VAL lib_memcmp(LIBCALL& c) {
  VAL a = lib_ptr(c, 0);
  VAL b = lib_ptr(c, 1);
  uint32_t n = lib_uint(c, 2);
  if (!n) return 0;
  check_read(a, n);
  check_read(b, n);
  c.m.lib_work += n;
  for (uint32_t i = 0; i < n; ++i) {
    int x = run_mem.mem[p_addr(a) + i];
    int y = run_mem.mem[p_addr(b) + i];
    if (x != y) return static_cast<uint32_t>(x - y);
  }
  return 0;
}

VAL lib_strlen(LIBCALL& c) { return static_cast<uint32_t>(read_units(lib_ptr(c, 0), c.fn->name).size()); }

VAL lib_strcmp(LIBCALL& c) {
  std::u16string a = read_units(lib_ptr(c, 0), c.fn->name);
  std::u16string b = read_units(lib_ptr(c, 1), c.fn->name);
  int r = a.compare(b);
  return static_cast<uint32_t>(r < 0 ? -1 : r > 0 ? 1 : 0);
}

// Reads at most n units, stopping after a zero.
std::u16string read_at_most(VAL p, uint32_t n) {
  std::u16string s;
  for (uint32_t i = 0; i < n; ++i) {
    VAL q = ptr_add(p, i);
    check_read(q, 1);
    uint16_t u = run_mem.mem[p_addr(q)];
    if (!u) break;
    s.push_back(u);
  }
  run_machine->lib_work += s.size() + 1;
  return s;
}

VAL lib_strncmp(LIBCALL& c) {
  uint32_t n = lib_uint(c, 2);
  std::u16string a = read_at_most(lib_ptr(c, 0), n);
  std::u16string b = read_at_most(lib_ptr(c, 1), n);
  int r = a.compare(b);
  return static_cast<uint32_t>(r < 0 ? -1 : r > 0 ? 1 : 0);
}

VAL lib_strcpy(LIBCALL& c) {
  VAL d = lib_ptr(c, 0);
  store_units(d, read_units(lib_ptr(c, 1), c.fn->name), true);
  return d;
}

VAL lib_strncpy(LIBCALL& c) {
  VAL d = lib_ptr(c, 0);
  uint32_t n = lib_uint(c, 2);
  std::u16string s = read_at_most(lib_ptr(c, 1), n);
  s.resize(n, 0);
  store_units(d, s, false);
  return d;
}

VAL lib_strcat(LIBCALL& c) {
  VAL d = lib_ptr(c, 0);
  uint32_t len = static_cast<uint32_t>(read_units(d, c.fn->name).size());
  store_units(ptr_add(d, len), read_units(lib_ptr(c, 1), c.fn->name), true);
  return d;
}

VAL lib_strchr(LIBCALL& c) {
  VAL s = lib_ptr(c, 0);
  uint16_t ch = static_cast<uint16_t>(lib_uint(c, 1));
  std::u16string u = read_units(s, c.fn->name);
  if (ch == 0) return ptr_add(s, static_cast<uint32_t>(u.size()));
  size_t i = u.find(static_cast<char16_t>(ch));
  return i == std::u16string::npos ? 0 : ptr_add(s, static_cast<uint32_t>(i));
}

VAL lib_strrchr(LIBCALL& c) {
  VAL s = lib_ptr(c, 0);
  uint16_t ch = static_cast<uint16_t>(lib_uint(c, 1));
  std::u16string u = read_units(s, c.fn->name);
  if (ch == 0) return ptr_add(s, static_cast<uint32_t>(u.size()));
  size_t i = u.rfind(static_cast<char16_t>(ch));
  return i == std::u16string::npos ? 0 : ptr_add(s, static_cast<uint32_t>(i));
}

VAL lib_strstr(LIBCALL& c) {
  VAL s = lib_ptr(c, 0);
  std::u16string hay = read_units(s, c.fn->name);
  std::u16string needle = read_units(lib_ptr(c, 1), c.fn->name);
  size_t i = hay.find(needle);
  return i == std::u16string::npos ? 0 : ptr_add(s, static_cast<uint32_t>(i));
}

// The first unit of s that is (or, for strcspn's sense, is not) in `set`.
size_t span(const std::u16string& s, const std::u16string& set, bool in_set) {
  size_t i = 0;
  while (i < s.size() && (set.find(s[i]) != std::u16string::npos) == in_set) ++i;
  return i;
}

VAL lib_strpbrk(LIBCALL& c) {
  VAL s = lib_ptr(c, 0);
  std::u16string u = read_units(s, c.fn->name);
  size_t i = span(u, read_units(lib_ptr(c, 1), c.fn->name), false);
  return i == u.size() ? 0 : ptr_add(s, static_cast<uint32_t>(i));
}

VAL lib_strspn(LIBCALL& c) {
  std::u16string u = read_units(lib_ptr(c, 0), c.fn->name);
  return static_cast<uint32_t>(span(u, read_units(lib_ptr(c, 1), c.fn->name), true));
}

VAL lib_strcspn(LIBCALL& c) {
  std::u16string u = read_units(lib_ptr(c, 0), c.fn->name);
  return static_cast<uint32_t>(span(u, read_units(lib_ptr(c, 1), c.fn->name), false));
}

VAL lib_strncat(LIBCALL& c) {
  VAL d = lib_ptr(c, 0);
  uint32_t n = lib_uint(c, 2);
  uint32_t len = static_cast<uint32_t>(read_units(d, c.fn->name).size());
  store_units(ptr_add(d, len), read_at_most(lib_ptr(c, 1), n), true);
  return d;
}

// memchr and wmemchr: the units compared are the low 16 bits of c.
VAL lib_memchr(LIBCALL& c) {
  VAL s = lib_ptr(c, 0);
  uint16_t ch = static_cast<uint16_t>(lib_uint(c, 1));
  uint32_t n = lib_uint(c, 2);
  for (uint32_t i = 0; i < n; ++i) {
    VAL q = ptr_add(s, i);
    check_read(q, 1);
    c.m.lib_work += 1;
    if (run_mem.mem[p_addr(q)] == ch) return q;
  }
  return 0;
}

VAL lib_malloc(LIBCALL& c) {
  uint32_t n = lib_uint(c, 0);
  return n >= ADDRESS_UNITS ? 0 : c.m.heap_alloc(n);
}

VAL lib_calloc(LIBCALL& c) {
  uint64_t n = static_cast<uint64_t>(lib_uint(c, 0)) * lib_uint(c, 1);
  if (n >= ADDRESS_UNITS) return 0;
  c.m.lib_work += n;
  return c.m.heap_alloc(static_cast<uint32_t>(n));  // heap blocks start zeroed
}

VAL lib_realloc(LIBCALL& c) {
  VAL p = lib_ptr(c, 0);
  uint32_t n = lib_uint(c, 1);
  if (p_addr(p) == 0) return n >= ADDRESS_UNITS ? 0 : c.m.heap_alloc(n);
  uint32_t old = c.m.heap_block_units(p, "realloc");
  if (n == 0) {
    c.m.heap_free(p, "realloc");
    return 0;
  }
  VAL q = n >= ADDRESS_UNITS ? 0 : c.m.heap_alloc(n);
  if (!q) return 0;
  uint32_t k = old < n ? old : n;
  run_mem.move(p_addr(q), p_addr(p), k);
  c.m.lib_work += k;
  c.m.heap_free(p, "realloc");
  return q;
}

VAL lib_free(LIBCALL& c) {
  c.m.heap_free(lib_ptr(c, 0), "free");
  return 0;
}

VAL lib_abs(LIBCALL& c) {
  uint32_t x = lib_uint(c, 0);
  return static_cast<int32_t>(x) < 0 ? 0u - x : x;
}

// div, ldiv, lldiv: a structure of quotient and remainder, both int-sized
// on Rill, returned as a structure is. The quotient truncates towards zero.
VAL lib_div(LIBCALL& c) {
  int32_t n = lib_int(c, 0);
  int32_t d = lib_int(c, 1);
  if (d == 0) run_fail("division by zero");
  uint32_t q = d == -1 ? 0u - static_cast<uint32_t>(n) : static_cast<uint32_t>(n / d);
  uint32_t r = d == -1 ? 0u : static_cast<uint32_t>(n % d);
  if (!c.ret_slot) return 0;  // the value is not used
  check_write(c.ret_slot, 4);
  A32::st(p_addr(c.ret_slot), q);
  A32::st(p_addr(c.ret_slot) + 2, r);
  return c.ret_slot;
}

VAL lib_exit(LIBCALL& c) { throw RUN_EXIT{lib_int(c, 0)}; }

VAL lib_abort(LIBCALL& c) {
  c.m.flush_output();
  fprintf(stderr, "icode-run: abort called in function %s\n", c.m.current_function());
  throw RUN_EXIT{134};
}

const LIB_ENTRY lib_entries[] = {
    {"memcpy", lib_memcpy, nullptr},   {"memmove", lib_memcpy, nullptr}, {"memset", lib_memset, nullptr},
    {"memcmp", lib_memcmp, nullptr},   {"strlen", lib_strlen, nullptr},  {"strcmp", lib_strcmp, nullptr},
    {"strncmp", lib_strncmp, nullptr}, {"strcpy", lib_strcpy, nullptr},  {"strncpy", lib_strncpy, nullptr},
    {"strcat", lib_strcat, nullptr},   {"strchr", lib_strchr, nullptr},  {"strrchr", lib_strrchr, nullptr},
    {"strstr", lib_strstr, nullptr},   {"strpbrk", lib_strpbrk, nullptr}, {"strspn", lib_strspn, nullptr},
    {"strcspn", lib_strcspn, nullptr}, {"strncat", lib_strncat, nullptr}, {"memchr", lib_memchr, nullptr},
    {"div", lib_div, nullptr},         {"ldiv", lib_div, nullptr},       {"lldiv", lib_div, nullptr},
    // wchar.h: a wide character is one unit, as a character is, and both
    // compare unsigned, so the wide functions are the narrow ones.
    {"wcslen", lib_strlen, nullptr},   {"wcscmp", lib_strcmp, nullptr},  {"wcsncmp", lib_strncmp, nullptr},
    {"wcscpy", lib_strcpy, nullptr},   {"wcsncpy", lib_strncpy, nullptr}, {"wcscat", lib_strcat, nullptr},
    {"wcsncat", lib_strncat, nullptr}, {"wcschr", lib_strchr, nullptr},  {"wcsrchr", lib_strrchr, nullptr},
    {"wcsstr", lib_strstr, nullptr},   {"wcspbrk", lib_strpbrk, nullptr}, {"wcsspn", lib_strspn, nullptr},
    {"wcscspn", lib_strcspn, nullptr}, {"wmemcpy", lib_memcpy, nullptr}, {"wmemmove", lib_memcpy, nullptr},
    {"wmemset", lib_memset, nullptr},  {"wmemcmp", lib_memcmp, nullptr}, {"wmemchr", lib_memchr, nullptr},
    {"malloc", lib_malloc, nullptr},
    {"calloc", lib_calloc, nullptr},   {"realloc", lib_realloc, nullptr}, {"free", lib_free, nullptr},
    {"abs", lib_abs, nullptr},         {"labs", lib_abs, nullptr},       {"llabs", lib_abs, nullptr},
    {"exit", lib_exit, nullptr},       {"abort", lib_abort, nullptr},    {nullptr, nullptr, nullptr},
};

}  // namespace

const LIB_ENTRY* find_library_function(const char* name) {
  for (const LIB_ENTRY* table : {lib_entries, lib_io_entries, lib_stdio_entries, lib_math_entries, lib_ctype_entries,
                                 lib_sort_entries, lib_stack_entries})
    for (const LIB_ENTRY* e = table; e->name; ++e)
      if (strcmp(e->name, name) == 0) return e;
  return nullptr;
}
