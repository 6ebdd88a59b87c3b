// Numbered diagnostics: the message table, the DIAGNOSTIC base that formats
// one message and decides whether the process goes on, and source positions.
#pragma once
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <deque>

// Order matters: comparisons use it.
enum dc_SEVERITY : int32_t {
  dc_SUPPRESSED = 0,
  dc_NO_ERROR = 1,
  dc_ADVICE = 2,
  dc_DEBUG = 3,
  dc_REMARK = 4,
  dc_WARNING = 5,
  dc_ERROR = 6,
  dc_FATAL = 7,
};

struct DIAG_INFO {
  int32_t code;         // 0 ends the table
  const char* std_msg;  // format, may be null
  const char* vrb_msg;  // always null
  dc_SEVERITY severity; // may be changed at run time
  uint8_t internal;     // a defect of the tool
  uint8_t generic;      // carries text formed elsewhere
};

// The message table, ended by a row of code 0.
extern DIAG_INFO DIAG_INFO_ENTRY[];

class DIAG_SRCINFO {
 public:
  virtual const char* file() const = 0;
  virtual uint32_t line() const = 0;
  virtual uint32_t column() const = 0;
  virtual bool approx() const = 0;
  virtual ~DIAG_SRCINFO() = default;
  virtual bool is_equal(const DIAG_SRCINFO* other) const = 0;
};

class DIAG_SRCINFO_DATA : public DIAG_SRCINFO {
 public:
  DIAG_SRCINFO_DATA(const char* file, uint32_t line, uint32_t column, bool approx);
  explicit DIAG_SRCINFO_DATA(const DIAG_SRCINFO* from);
  DIAG_SRCINFO_DATA(const DIAG_SRCINFO_DATA& from);
  DIAG_SRCINFO_DATA& operator=(const DIAG_SRCINFO_DATA&) = delete;
  ~DIAG_SRCINFO_DATA() override;
  const char* file() const override { return file_; }
  uint32_t line() const override { return line_; }
  uint32_t column() const override { return column_; }
  bool approx() const override { return approx_ != 0; }
  bool is_equal(const DIAG_SRCINFO* other) const override;

 private:
  char* file_;
  uint32_t line_;
  uint32_t column_;
  uint8_t approx_;
};

class DIAGNOSTIC {
 public:
  DIAGNOSTIC(DIAG_INFO* info, const char* file, unsigned line);
  DIAGNOSTIC(const DIAGNOSTIC& from);
  DIAGNOSTIC& operator=(const DIAGNOSTIC&) = delete;
  virtual ~DIAGNOSTIC();

  virtual DIAGNOSTIC* alloc() const = 0;
  // Prints the header only; concrete classes add their text.
  virtual int report();
  virtual const char* get_sp_buffer() const;
  virtual bool is_equal(const DIAGNOSTIC* other) const;
  virtual void free_mem();
  virtual void dump() const;

  static DIAG_INFO* get_info(int code);
  static void override_severity(int code, dc_SEVERITY severity);
  static void override_severity(dc_SEVERITY from, dc_SEVERITY to);
  static void override_severity(const char* list, dc_SEVERITY severity);
  static const char* sev_str(dc_SEVERITY severity);

  bool suppress() const;
  bool is_discretionary() const;
  FILE* fp() const;
  dc_SEVERITY severity() const;
  const DIAG_INFO* info() const { return info_; }

  int print_header();
  int print(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int vprint(const char* format, va_list args);
  // Formats into a wrapped text kept for get_sp_buffer.
  const char* sp_print(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void start_new_line();
  void flush();
  void set_src(const DIAG_SRCINFO* src);
  const DIAG_SRCINFO_DATA* src() const { return src_; }

  static void push_indent(int indent);
  static void pop_indent();
  static void push_debug_mode(bool on);
  static void pop_debug_mode();

  static const char* last_printable_char(const char* text, int limit);
  // Writes `text` wrapped to the stream, or returns it wrapped in a new
  // malloc'ed buffer when `to_buffer` is set; `left` is the room on the
  // current line and is updated.
  char* print_formatted(const char* text, bool to_buffer, int* left, int cols, int indent,
                        int wrap_indent);
  void show_annotated_source();
  static const char* srcinfo_str(const DIAG_SRCINFO* src);

  // Settings shared by every message.
  static int diag_cols_m;
  static int wrap_indent_m;
  static int max_errors_m;
  static bool wrap_enabled_m;
  static bool warnings_m;
  static bool remarks_m;
  static bool advice_m;
  static bool debug_m;
  static bool verbose_m;
  static bool display_code_m;
  static bool display_ipos_m;
  static bool wrap_headers_m;
  static bool debug_mode_m;
  static int indent_m;
  static FILE* fp_m;
  static int error_count_m;
  static std::deque<int> indent_stack_m;
  static std::deque<bool> debug_mode_stack_m;
  static char* sp_buffer_m;

 protected:
  DIAG_INFO* info_;
  int32_t left_;  // characters left on the current line
  DIAG_SRCINFO_DATA* src_;
  const char* raise_file_;
  uint32_t raise_line_;
  uint8_t header_printed_;
};

// Raising position for a concrete diagnostic.
#define DIAG_HERE __FILE__, __LINE__
