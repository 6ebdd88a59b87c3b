// What a consistency checker found in the current function: its report in
// the words of the debug log, and each error as one line, split into those
// it could not correct and those it repaired.
#pragma once
#include <string>
#include <vector>

struct CHECK_REPORT {
  std::string log;
  std::vector<std::string> uncorrected;
  std::vector<std::string> corrected;

  // Appends printf-style text to the log.
  void print(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // An error: its log line is "<mark> <text>\n", and the text is kept.
  void error(bool was_corrected, const char* format, ...) __attribute__((format(printf, 3, 4)));
};
