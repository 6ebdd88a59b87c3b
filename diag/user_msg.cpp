#include "diag/user_msg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diag/diag_classes.h"
#include "driver/globals.h"

namespace {

// Raises one message of class T with the text already formed; frees it.
template <class T>
void raise_text(char* text, const DIAG_SRCINFO* src, unsigned line) {
  {
    T diag(DIAGNOSTIC::get_info(T::code), __FILE__, line, text);
    if (src) diag.set_src(src);
    diag.report();
  }
  free(text);
}

}  // namespace

USER_MSG& USER_MSG::get_umsg_obj() {
  static USER_MSG* instance = new USER_MSG;
  return *instance;
}

char* USER_MSG::make_msg_str(const char* format, va_list args) {
  if (!format) format = "";
  va_list again;
  va_copy(again, args);
  int n = vsnprintf(nullptr, 0, format, args);
  if (n < 0) n = 0;
  char* text = static_cast<char*>(malloc(static_cast<size_t>(n) + 1));
  if (!text) report_allocation_error(nullptr, 0);
  vsnprintf(text, static_cast<size_t>(n) + 1, format, again);
  va_end(again);
  return text;
}

int USER_MSG::get_error_count() { return DIAGNOSTIC::error_count_m; }

#define FORM_TEXT(fmt)                   \
  va_list ap;                            \
  va_start(ap, fmt);                     \
  char* text = make_msg_str((fmt), ap);  \
  va_end(ap)

void USER_MSG::die(const char* prefix, const char* format, ...) {
  FORM_TEXT(format);
  size_t n = strlen(prefix ? prefix : "") + strlen(text) + 3;
  char* whole = static_cast<char*>(malloc(n));
  if (!whole) report_allocation_error(nullptr, 0);
  snprintf(whole, n, "%s: %s", prefix ? prefix : "", text);
  free(text);
  raise_text<DIAG::gdie>(whole, nullptr, __LINE__);
}

void USER_MSG::fatal(const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gfatal>(text, nullptr, __LINE__);
}

void USER_MSG::fatal(const DIAG_SRCINFO* src, const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gfatal>(text, src, __LINE__);
}

void USER_MSG::error(const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gerror>(text, nullptr, __LINE__);
}

void USER_MSG::error(const DIAG_SRCINFO* src, const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gerror>(text, src, __LINE__);
}

// With warnings as errors only the bare format goes on: the arguments are
// dropped, so such call sites pass texts without conversions.
void USER_MSG::warning(unsigned, const char* format, ...) {
  if (warnings_as_errors_) {
    error("%s", format ? format : "");
    return;
  }
  FORM_TEXT(format);
  raise_text<DIAG::gwarning>(text, nullptr, __LINE__);
}

void USER_MSG::warning(const DIAG_SRCINFO* src, unsigned, const char* format, ...) {
  if (warnings_as_errors_) {
    error(src, "%s", format ? format : "");
    return;
  }
  FORM_TEXT(format);
  raise_text<DIAG::gwarning>(text, src, __LINE__);
}

void USER_MSG::remark(const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gremark>(text, nullptr, __LINE__);
}

void USER_MSG::debug(const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gdebug>(text, nullptr, __LINE__);
}

void USER_MSG::apperror(const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gapperror>(text, nullptr, __LINE__);
}

void USER_MSG::advice(const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gadvice>(text, nullptr, __LINE__);
}

void USER_MSG::advice(const DIAG_SRCINFO* src, const char* format, ...) {
  FORM_TEXT(format);
  raise_text<DIAG::gadvice>(text, src, __LINE__);
}
