#include "scalar/check_report.h"

#include <cstdarg>
#include <cstdio>

namespace {

std::string vformat(const char* format, va_list ap) {
  va_list again;
  va_copy(again, ap);
  char small[256];
  int n = vsnprintf(small, sizeof small, format, ap);
  std::string s;
  if (n < 0) {
    s = format;
  } else if (static_cast<size_t>(n) < sizeof small) {
    s.assign(small, static_cast<size_t>(n));
  } else {
    s.resize(static_cast<size_t>(n) + 1);
    vsnprintf(&s[0], s.size(), format, again);
    s.resize(static_cast<size_t>(n));
  }
  va_end(again);
  return s;
}

}  // namespace

void CHECK_REPORT::print(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  log += vformat(format, ap);
  va_end(ap);
}

void CHECK_REPORT::error(bool was_corrected, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  std::string text = vformat(format, ap);
  va_end(ap);
  log += (was_corrected ? " ----- " : " +++++ ") + text + "\n";
  (was_corrected ? corrected : uncorrected).push_back(text);
}
