// USER_MSG: the facade for free-form messages. Each call forms its text,
// raises one generic diagnostic and lets it decide whether the run goes on.
#pragma once
#include <cstdarg>

class DIAG_SRCINFO;

#define USER_MSG_FORMAT(i, j) __attribute__((format(printf, i, j)))

class USER_MSG {
 public:
  static USER_MSG& get_umsg_obj();

  void die(const char* prefix, const char* format, ...) USER_MSG_FORMAT(3, 4);
  void fatal(const char* format, ...) USER_MSG_FORMAT(2, 3);
  void fatal(const DIAG_SRCINFO* src, const char* format, ...) USER_MSG_FORMAT(3, 4);
  void error(const char* format, ...) USER_MSG_FORMAT(2, 3);
  void error(const DIAG_SRCINFO* src, const char* format, ...) USER_MSG_FORMAT(3, 4);
  // The id is accepted for the tool chain's sake and not used.
  void warning(unsigned id, const char* format, ...) USER_MSG_FORMAT(3, 4);
  void warning(const DIAG_SRCINFO* src, unsigned id, const char* format, ...)
      USER_MSG_FORMAT(4, 5);
  void remark(const char* format, ...) USER_MSG_FORMAT(2, 3);
  void debug(const char* format, ...) USER_MSG_FORMAT(2, 3);
  void apperror(const char* format, ...) USER_MSG_FORMAT(2, 3);
  void advice(const char* format, ...) USER_MSG_FORMAT(2, 3);
  void advice(const DIAG_SRCINFO* src, const char* format, ...) USER_MSG_FORMAT(3, 4);

  // Formats onto the heap; the caller frees. A null format gives "".
  static char* make_msg_str(const char* format, va_list args);
  static int get_error_count();
  // For good: nothing clears it.
  void emit_warnings_as_errors() { warnings_as_errors_ = true; }
  bool warnings_as_errors() const { return warnings_as_errors_; }

 private:
  USER_MSG() = default;
  bool warnings_as_errors_ = false;
};
