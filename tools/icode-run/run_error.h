// How a run ends early: an error of the program or of its input, or exit().
#pragma once
#include <string>

// Exit statuses of icode-run besides the program's own.
enum : int {
  RUN_STATUS_BAD_INPUT = 1,  // unreadable file, malformed or unsupported program
  RUN_STATUS_ERROR = 3,      // undefined behaviour met, or a limit reached
};

struct RUN_ERROR {
  std::string text;  // without the "icode-run: error: " head
  int status;
};

// exit() and abort() of the program; a return from main ends the same way.
struct RUN_EXIT {
  int status;
};

// Stops the run for something the program did; " in function F" naming the
// function being run is appended.
[[noreturn]] void run_fail(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Stops the run for a program that cannot be run at all.
[[noreturn]] void run_bad_input(const char* format, ...) __attribute__((format(printf, 1, 2)));
