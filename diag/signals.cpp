#include "diag/signals.h"

#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

signal_handler_t stored_callback = nullptr;

// A handler may be entered with garbage in its pointer arguments.
bool plausible(const void* p) { return reinterpret_cast<uintptr_t>(p) > 100000; }

char detail_buffer[2049];
char append_buffer[2049];

}  // namespace

void install_common_handlers(signal_handler_t handler, signal_handler_t callback) {
  stored_callback = callback;
  static const int fatal_signals[] = {SIGILL,  SIGABRT, SIGFPE,  SIGSEGV, SIGTERM, SIGINT,
                                      SIGHUP,  SIGTRAP, SIGBUS,  SIGSYS,  SIGXCPU, SIGXFSZ};
  for (int sig : fatal_signals) signal(sig, handler);
}

const char* support_message_text() {
  return "This is caused by a defect in the Zelkor C/C++ Optimizer.\n"
         "Zelkor Customer Support may be able to suggest a workaround to avoid this.\n"
         "\n"
         "Upgrading to the newest version of the compiler may fix this problem.\n"
         "\n"
         "Please report the problem to the maintainers of your tool chain, together\n"
         "with the input file and the command line that produced this message.\n"
         "\n"
         "We need to see this ENTIRE error message and a complete, reproducable\n"
         "test case including ALL of the command-line options.\n"
         "Include the .pp file created by option --preproc_with_comment\n"
         "\n";
}

void common_signal_handler(int signal, const char* tool, const char* format, ...) {
  if (!plausible(tool)) tool = nullptr;
  if (!plausible(format)) format = nullptr;
  const char* name = tool ? tool : "unknown";

  if (signal == SIGHUP || signal == SIGINT) {
    fprintf(stderr, "[%s forced exit]\n", name);
    exit(2);
  }
  if (signal == SIGTERM) {
    fprintf(stderr, "[%s received a terminate signal]\n", name);
    exit(2);
  }

  bool have_detail = false;
  if (format) {
    va_list ap;
    va_start(ap, format);
    vsnprintf(detail_buffer, 2049, format, ap);
    va_end(ap);
    have_detail = true;
  }

  // Chosen once: a fault inside this handler keeps the first text.
  static const char* fault = nullptr;
  if (!fault) {
    switch (signal) {
      case SIGILL: fault = "executed an illegal instruction"; break;
      case SIGTRAP: fault = "received a TRAP signal"; break;
      case SIGABRT: fault = "had an internal inconsistency and aborted"; break;
      case SIGBUS: fault = "experienced a bus alignment fault"; break;
      case SIGFPE: fault = "received a floating point exception"; break;
      case SIGSEGV: fault = "experienced a segmentation fault"; break;
      case SIGXCPU: fault = "exceeded the CPU time limit"; break;
      case SIGXFSZ: fault = "exceeded the file size limit"; break;
      case SIGSYS: fault = "experienced a bad system call"; break;
      default: fault = "experienced a fatal internal fault"; break;
    }
  }

  fprintf(stderr, "\nINTERNAL ERROR: %s %s\n", name, fault);
  if (have_detail) fprintf(stderr, "                  %s\n", detail_buffer);
  fputc('\n', stderr);
  fflush(nullptr);
  fputs(support_message_text(), stderr);
  fflush(nullptr);
  if (stored_callback) stored_callback(signal);
  exit(2);
}

void sigstrnappend(char* buffer, unsigned size, const char* format, ...) {
  if (!plausible(buffer) || !plausible(format) || size == 0) return;
  va_list ap;
  va_start(ap, format);
  vsnprintf(append_buffer, 2049, format, ap);
  va_end(ap);
  size_t used = strnlen(buffer, size - 1);
  size_t room = size - 1 - used;
  strncat(buffer + used, append_buffer, room);
  buffer[size - 1] = '\0';
}

void try_gen_corefile(int) {}

void debug_signal_handler(int sig) { signal(sig, debug_signal_handler); }
