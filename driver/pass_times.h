// Time per pass. With the debug keyword "pass_times" zopt charges the time
// of the run to the pass, or the reading of the file, that it is spent in,
// and prints a table at the end of a normal run: to the debug log when one
// is open, else to standard error.
#pragma once
#include <string>

// At the start of main: the clock of the whole run starts.
void pass_times_start_run();
// Once the options are read: whether the keyword asks for the table.
void pass_times_init();
bool pass_times_on();

// Charges the time of its life to one row of the table (a nested clock
// takes its own time out of the enclosing one) and counts one run of it.
// `key` names the row: the same key, the same row; it must stay valid for
// the run (a literal, or an entry of a static table). The name of the row
// is asked for once, when the key is first seen. Does nothing unless the
// table was asked for.
class PASS_CLOCK {
 public:
  explicit PASS_CLOCK(const char* literal) : PASS_CLOCK(literal, [literal] { return std::string(literal); }) {}
  template <class NAME>
  PASS_CLOCK(const void* key, const NAME& name_of) : on_(pass_times_on()) {
    if (on_) enter(key, pass_row_known(key) ? std::string() : name_of());
  }
  ~PASS_CLOCK();
  PASS_CLOCK(const PASS_CLOCK&) = delete;
  PASS_CLOCK& operator=(const PASS_CLOCK&) = delete;

 private:
  static bool pass_row_known(const void* key);
  static void enter(const void* key, const std::string& name);
  bool on_;
};

// The table, at the end of a normal run.
void report_pass_times();
