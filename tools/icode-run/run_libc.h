// The C library icode-run provides for functions that have no body in the
// file.
#pragma once
#include <string>

#include "tools/icode-run/run_machine.h"

struct LIB_ENTRY {
  const char* name;
  BUILTIN_FN fn;
  const void* data;
};

// Null when the library has no function of that name.
const LIB_ENTRY* find_library_function(const char* name);

// Helpers the library functions share (run_libc.cpp).
// The i-th argument checked against what the function takes.
int32_t lib_int(LIBCALL& c, uint32_t i);
uint32_t lib_uint(LIBCALL& c, uint32_t i);
VAL lib_ptr(LIBCALL& c, uint32_t i);
float lib_float(LIBCALL& c, uint32_t i);
void lib_need_args(LIBCALL& c, uint32_t n);
// A zero-terminated string of units, each unit one character.
std::string read_cstring(VAL p, const char* who);
// Stores text and, when zero is set, a terminating 0 unit.
void write_units(VAL p, const std::string& text, bool zero);
VAL float_result(float x);

// printf formatting (run_printf.cpp). The arguments come from the call
// (first at index `first`) or, for the v-forms, from a variable-argument area.
std::string lib_format(LIBCALL& c, const char* who, VAL fmt, uint32_t first);
std::string lib_vformat(LIBCALL& c, const char* who, VAL fmt, VAL va);

// Tables of the other families.
extern const LIB_ENTRY lib_math_entries[];
extern const LIB_ENTRY lib_io_entries[];
extern const LIB_ENTRY lib_stdio_entries[];
extern const LIB_ENTRY lib_ctype_entries[];
extern const LIB_ENTRY lib_sort_entries[];
extern const LIB_ENTRY lib_stack_entries[];
