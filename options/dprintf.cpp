#include <cstdarg>
#include <cstdio>

#include "driver/globals.h"
#include "options/global_flags.h"

void dprintf(const char* fmt, ...) {
  if (!print_debug) return;
  optassert(fdebug != nullptr);
  va_list ap;
  va_start(ap, fmt);
  int written = vfprintf(fdebug, fmt, ap);
  va_end(ap);
  optassert(written >= 0);
  optassert(fflush(fdebug) == 0);
}
