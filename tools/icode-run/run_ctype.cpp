// ctype.h in the C locale. A character is a 16-bit unit; only the ASCII
// values 0 to 127 belong to a class, EOF and every other value to none.
// The tests answer 0 or 1, and read no memory.
#include "tools/icode-run/run_libc.h"

namespace {

bool is_digit(int c) { return c >= '0' && c <= '9'; }
bool is_lower(int c) { return c >= 'a' && c <= 'z'; }
bool is_upper(int c) { return c >= 'A' && c <= 'Z'; }
bool is_alpha(int c) { return is_lower(c) || is_upper(c); }
bool is_alnum(int c) { return is_alpha(c) || is_digit(c); }
bool is_xdigit(int c) { return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool is_space(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_blank(int c) { return c == ' ' || c == '\t'; }
bool is_cntrl(int c) { return (c >= 0 && c < 32) || c == 127; }
bool is_print(int c) { return c >= 32 && c < 127; }
bool is_graph(int c) { return c > 32 && c < 127; }
bool is_punct(int c) { return is_graph(c) && !is_alnum(c); }

struct CLASS {
  bool (*test)(int);
};

VAL test_class(LIBCALL& c) {
  auto* k = static_cast<const CLASS*>(c.fn->builtin_data);
  return k->test(lib_int(c, 0)) ? 1 : 0;
}

VAL lib_tolower(LIBCALL& c) {
  int ch = lib_int(c, 0);
  return static_cast<uint32_t>(is_upper(ch) ? ch - 'A' + 'a' : ch);
}

VAL lib_toupper(LIBCALL& c) {
  int ch = lib_int(c, 0);
  return static_cast<uint32_t>(is_lower(ch) ? ch - 'a' + 'A' : ch);
}

const CLASS k_digit{is_digit}, k_lower{is_lower}, k_upper{is_upper}, k_alpha{is_alpha}, k_alnum{is_alnum},
    k_xdigit{is_xdigit}, k_space{is_space}, k_blank{is_blank}, k_cntrl{is_cntrl}, k_print{is_print},
    k_graph{is_graph}, k_punct{is_punct};

}  // namespace

const LIB_ENTRY lib_ctype_entries[] = {
    {"isdigit", test_class, &k_digit}, {"islower", test_class, &k_lower}, {"isupper", test_class, &k_upper},
    {"isalpha", test_class, &k_alpha}, {"isalnum", test_class, &k_alnum}, {"isxdigit", test_class, &k_xdigit},
    {"isspace", test_class, &k_space}, {"isblank", test_class, &k_blank}, {"iscntrl", test_class, &k_cntrl},
    {"isprint", test_class, &k_print}, {"isgraph", test_class, &k_graph}, {"ispunct", test_class, &k_punct},
    {"tolower", lib_tolower, nullptr}, {"toupper", lib_toupper, nullptr}, {nullptr, nullptr, nullptr},
};
