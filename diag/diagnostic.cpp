#include "diag/diagnostic.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "diag/diag_classes.h"
#include "driver/globals.h"

int DIAGNOSTIC::diag_cols_m = 79;
int DIAGNOSTIC::wrap_indent_m = 3;
int DIAGNOSTIC::max_errors_m = 100;
bool DIAGNOSTIC::wrap_enabled_m = true;
bool DIAGNOSTIC::warnings_m = true;
bool DIAGNOSTIC::remarks_m = false;
bool DIAGNOSTIC::advice_m = false;
bool DIAGNOSTIC::debug_m = false;
bool DIAGNOSTIC::verbose_m = false;
bool DIAGNOSTIC::display_code_m = false;
bool DIAGNOSTIC::display_ipos_m = false;
bool DIAGNOSTIC::wrap_headers_m = false;
bool DIAGNOSTIC::debug_mode_m = false;
int DIAGNOSTIC::indent_m = 0;
FILE* DIAGNOSTIC::fp_m = nullptr;
int DIAGNOSTIC::error_count_m = 0;
std::deque<int> DIAGNOSTIC::indent_stack_m;
std::deque<bool> DIAGNOSTIC::debug_mode_stack_m;
char* DIAGNOSTIC::sp_buffer_m = nullptr;

namespace {

// The formatting buffer of print, grown when a message does not fit.
char* print_buffer = nullptr;
size_t print_buffer_size = 0;

char* copy_text(const char* text) {
  if (!text) return nullptr;
  size_t n = strlen(text) + 1;
  char* copy = static_cast<char*>(malloc(n));
  if (!copy) report_allocation_error(nullptr, 0);
  memcpy(copy, text, n);
  return copy;
}

// How many characters of text[0..len) to put on a line with `limit` places:
// the longest run that ends before a blank. 0 when not even one word fits.
int fit_count(const char* text, int len, int limit) {
  if (!DIAGNOSTIC::wrap_enabled_m || limit < 0 || len <= limit) return len;
  if (text[limit] == ' ') return limit;
  int i = limit;
  while (i > 0 && text[i] != ' ') --i;
  while (i > 0 && text[i - 1] == ' ') --i;
  return i;
}

}  // namespace

// ---------------------------------------------------------------------------
// Source positions

DIAG_SRCINFO_DATA::DIAG_SRCINFO_DATA(const char* file, uint32_t line, uint32_t column,
                                     bool approx)
    : file_(copy_text(file ? file : "")), line_(line), column_(column), approx_(approx) {}

DIAG_SRCINFO_DATA::DIAG_SRCINFO_DATA(const DIAG_SRCINFO* from)
    : DIAG_SRCINFO_DATA(from->file(), from->line(), from->column(), from->approx()) {}

DIAG_SRCINFO_DATA::DIAG_SRCINFO_DATA(const DIAG_SRCINFO_DATA& from)
    : DIAG_SRCINFO_DATA(static_cast<const DIAG_SRCINFO*>(&from)) {}

DIAG_SRCINFO_DATA::~DIAG_SRCINFO_DATA() { free(file_); }

bool DIAG_SRCINFO_DATA::is_equal(const DIAG_SRCINFO* other) const {
  return other && strcmp(file_, other->file() ? other->file() : "") == 0 &&
         line_ == other->line() && column_ == other->column() && approx() == other->approx();
}

// ---------------------------------------------------------------------------
// Construction and the table

DIAGNOSTIC::DIAGNOSTIC(DIAG_INFO* info, const char* file, unsigned line)
    : info_(info),
      left_(diag_cols_m),
      src_(nullptr),
      raise_file_(file),
      raise_line_(line),
      header_printed_(false) {}

DIAGNOSTIC::DIAGNOSTIC(const DIAGNOSTIC& from)
    : info_(from.info_),
      left_(from.left_),
      src_(from.src_ ? new DIAG_SRCINFO_DATA(*from.src_) : nullptr),
      raise_file_(from.raise_file_),
      raise_line_(from.raise_line_),
      header_printed_(from.header_printed_) {}

DIAGNOSTIC::~DIAGNOSTIC() { delete src_; }

DIAG_INFO* DIAGNOSTIC::get_info(int code) {
  static std::map<int, DIAG_INFO*> rows;
  if (rows.empty()) {
    for (DIAG_INFO* row = DIAG_INFO_ENTRY; row->code != 0; ++row) rows[row->code] = row;
  }
  return rows[code];  // an unknown code stays in the map as null
}

const char* DIAGNOSTIC::sev_str(dc_SEVERITY severity) {
  static const char* const words[] = {"(suppressed)", "(no error)", "advice", "debug",
                                      "remark",       "warning",    "error",  "fatal error"};
  if (severity < dc_SUPPRESSED || severity > dc_FATAL) return "(unknown)";
  return words[severity];
}

dc_SEVERITY DIAGNOSTIC::severity() const { return info_ ? info_->severity : dc_FATAL; }

bool DIAGNOSTIC::suppress() const {
  switch (severity()) {
    case dc_SUPPRESSED: return true;
    case dc_ADVICE: return !advice_m;
    case dc_DEBUG: return !debug_m;
    case dc_REMARK: return !remarks_m;
    case dc_WARNING: return !warnings_m;
    default: return false;
  }
}

bool DIAGNOSTIC::is_discretionary() const {
  if (!info_ || info_->internal || info_->generic) return false;
  return severity() <= dc_ERROR && severity() != dc_ADVICE;
}

FILE* DIAGNOSTIC::fp() const {
  if (fp_m) return fp_m;
  return severity() <= dc_REMARK ? stdout : stderr;
}

// ---------------------------------------------------------------------------
// Severity overrides

void DIAGNOSTIC::override_severity(int code, dc_SEVERITY severity) {
  DIAG_INFO* row = get_info(code);
  if (!row) return;
  // Only a discretionary row changes, and never into a class of its own.
  if (severity == dc_NO_ERROR || severity == dc_DEBUG || severity == dc_ADVICE) return;
  if (row->severity == dc_ADVICE || row->severity == dc_FATAL) return;
  if (row->internal || row->generic) return;
  row->severity = severity;
}

void DIAGNOSTIC::override_severity(dc_SEVERITY from, dc_SEVERITY to) {
  if (to == dc_NO_ERROR || to == dc_DEBUG) return;
  for (DIAG_INFO* row = DIAG_INFO_ENTRY; row->code != 0; ++row)
    if (row->severity == from) override_severity(row->code, to);
}

void DIAGNOSTIC::override_severity(const char* list, dc_SEVERITY severity) {
  if (!list) return;
  std::string digits;
  auto close = [&] {
    if (!digits.empty()) override_severity(atoi(digits.c_str()), severity);
    digits.clear();
  };
  for (const char* p = list; *p; ++p) {
    if (*p >= '0' && *p <= '9')
      digits += *p;
    else if (*p == ',')
      close();
  }
  close();
}

// ---------------------------------------------------------------------------
// Output

int DIAGNOSTIC::report() { return print_header(); }

const char* DIAGNOSTIC::get_sp_buffer() const { return sp_buffer_m; }

bool DIAGNOSTIC::is_equal(const DIAGNOSTIC* other) const {
  if (!other || other->info_ != info_) return false;
  if (!src_ || !other->src_) return !src_ && !other->src_;
  return src_->is_equal(other->src_);
}

void DIAGNOSTIC::free_mem() {}

void DIAGNOSTIC::dump() const {
  printf("Code : %d\n", info_ ? info_->code : 0);
  printf("std_msg : %s\n", info_ && info_->std_msg ? info_->std_msg : "(null)");
  printf("vrb_msg : %s\n", info_ && info_->vrb_msg ? info_->vrb_msg : "(null)");
  if (src_) {
    printf("File : %s\n", src_->file());
    printf("Line : %d\n", static_cast<int>(src_->line()));
    printf("Column: %d\n", static_cast<int>(src_->column()));
  }
}

void DIAGNOSTIC::set_src(const DIAG_SRCINFO* src) {
  delete src_;
  src_ = src ? new DIAG_SRCINFO_DATA(src) : nullptr;
}

const char* DIAGNOSTIC::srcinfo_str(const DIAG_SRCINFO* src) {
  static std::string text;
  text.clear();
  if (!src || !src->file() || !*src->file()) return "";
  text = "\"";
  text += src->file();
  text += "\"";
  if (src->line() != 0) text += ", line " + std::to_string(src->line());
  if (src->approx()) text += " (approximate)";
  return text.c_str();
}

int DIAGNOSTIC::print_header() {
  header_printed_ = true;
  if (suppress()) return 0;
  flush();
  bool saved_wrap = wrap_enabled_m;
  if (!wrap_headers_m) wrap_enabled_m = false;
  bool internal = info_ && info_->internal;
  int n = print("%*s", indent_m, "");
  if (display_ipos_m || internal) {
    const char* file = raise_file_ ? raise_file_ : "";
    if (const char* slash = strrchr(file, '/')) file = slash + 1;
    n += print("%s:%u:", file, raise_line_);
  }
  const char* where = srcinfo_str(src_);
  if (*where) n += print("%s: ", where);
  if (!display_code_m && !internal) {
    n += print("%s: ", sev_str(severity()));
  } else {
    // "-D" marks a message whose severity the user may change.
    bool may_override = info_ && !info_->internal && !info_->generic && severity() < dc_FATAL &&
                        severity() != dc_ADVICE;
    n += print("%s%s #%u%s: ", internal ? "internal " : "", sev_str(severity()),
               info_ ? static_cast<unsigned>(info_->code) : 0u, may_override ? "-D" : "");
  }
  if (!wrap_headers_m) wrap_enabled_m = saved_wrap;
  return n;
}

int DIAGNOSTIC::print(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  int n = vprint(format, ap);
  va_end(ap);
  return n;
}

int DIAGNOSTIC::vprint(const char* format, va_list args) {
  if (suppress()) return 0;
  if (!format) format = "";
  va_list again;
  va_copy(again, args);
  int n = vsnprintf(print_buffer, print_buffer_size, format, args);
  if (n >= 0 && static_cast<size_t>(n) >= print_buffer_size) {
    free(print_buffer);
    print_buffer_size = static_cast<size_t>(n) + 1;
    print_buffer = static_cast<char*>(malloc(print_buffer_size));
    if (!print_buffer) report_allocation_error(nullptr, 0);
    vsnprintf(print_buffer, print_buffer_size, format, again);
  }
  va_end(again);
  if (n <= 0) return n < 0 ? 0 : n;
  if (wrap_enabled_m && left_ < 1) start_new_line();
  print_formatted(print_buffer, false, &left_, diag_cols_m, indent_m, wrap_indent_m);
  return n;
}

const char* DIAGNOSTIC::sp_print(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  char* text = nullptr;
  int n = vasprintf(&text, format ? format : "", ap);
  va_end(ap);
  if (n < 0) {
    fputs("OUT OF MEMORY - APPLICATION ABORTED\n", stderr);
    exit(1);
  }
  int left = 66;
  char* wrapped = print_formatted(text, true, &left, 79, 0, 10);
  free(text);
  free(sp_buffer_m);
  sp_buffer_m = wrapped;
  return sp_buffer_m;
}

void DIAGNOSTIC::start_new_line() {
  FILE* f = fp();
  fputc('\n', f);
  left_ = diag_cols_m - indent_m - wrap_indent_m;
  fprintf(f, "%*s", indent_m + wrap_indent_m, "");
}

const char* DIAGNOSTIC::last_printable_char(const char* text, int limit) {
  int len = static_cast<int>(strlen(text));
  if (len == 0) return text;
  int n = fit_count(text, len, limit);
  return n > 0 ? text + n - 1 : text;
}

char* DIAGNOSTIC::print_formatted(const char* text, bool to_buffer, int* left, int cols,
                                  int indent, int wrap_indent) {
  int diag_cols = cols;
  optassert(diag_cols > (indent + wrap_indent));
  const int width = cols - indent - wrap_indent;
  if (!text) text = "";

  std::string out;
  size_t planned = 0;
  if (to_buffer) {
    size_t length = strlen(text);
    size_t words = 0;
    for (const char* p = text; *p; ++p)
      if (*p != ' ' && (p == text || p[-1] == ' ')) ++words;
    int room = std::max(1, std::min(*left, width));
    planned = (length / room + words + 1) * cols;
  }
  FILE* f = to_buffer ? nullptr : fp();
  auto emit = [&](const char* s, int n) {
    if (to_buffer)
      out.append(s, n);
    else
      fprintf(f, "%.*s", n, s);
  };
  auto new_line = [&] {
    emit("\n", 1);
    std::string blanks(indent + wrap_indent, ' ');
    emit(blanks.data(), static_cast<int>(blanks.size()));
    *left = width;
  };

  const char* p = text;
  while (*p) {
    const char* nl = strchr(p, '\n');
    int seglen = nl ? static_cast<int>(nl - p) : static_cast<int>(strlen(p));
    int n = fit_count(p, seglen, *left);
    if (n == 0 && seglen > 0) {
      int on_new_line = fit_count(p, seglen, width);
      if (on_new_line > 0 && *left < width) {
        new_line();
        n = on_new_line;
      } else {
        // A word longer than a line is cut hard.
        int word = 0;
        while (word < seglen && p[word] == ' ') ++word;
        while (word < seglen && p[word] != ' ') ++word;
        if (*left <= 0) new_line();
        n = std::min(*left, word);
      }
    }
    emit(p, n);
    *left -= n;
    p += n;
    if (p == nl) ++p;
    while (*p == ' ') ++p;
    if (*p) new_line();
  }

  if (!to_buffer) return nullptr;
  size_t size = std::max(planned, out.size() + 1);
  char* result = static_cast<char*>(malloc(size));
  if (!result) report_allocation_error(nullptr, 0);
  memcpy(result, out.c_str(), out.size() + 1);
  return result;
}

void DIAGNOSTIC::flush() {
  if (left_ >= diag_cols_m) return;
  left_ = diag_cols_m;
  fputc('\n', fp());
  if (verbose_m) show_annotated_source();
  dc_SEVERITY sev = severity();
  if (sev >= dc_ERROR && !debug_mode_m) ++error_count_m;
  if (sev > dc_ERROR && !debug_mode_m) {
    fflush(nullptr);
    if (info_ && info_->internal) abort();
    exit(1);
  }
  if (error_count_m > max_errors_m && !debug_mode_m) {
    DIAG::max_errors limit(get_info(DIAG::max_errors::code), __FILE__, 148,
                           static_cast<unsigned long>(max_errors_m));
    limit.report();
  }
}

void DIAGNOSTIC::show_annotated_source() {
  if (!src_ || !*src_->file() || src_->line() == 0 || src_->approx()) return;
  FILE* in = fopen(src_->file(), "r");
  if (!in) return;
  std::string line;
  uint32_t number = 1;
  bool found = false;
  for (int c; (c = fgetc(in)) != EOF;) {
    if (c == '\n') {
      if (number == src_->line()) {
        found = true;
        break;
      }
      ++number;
      line.clear();
    } else {
      line += static_cast<char>(c);
    }
  }
  if (!found && number == src_->line() && !line.empty()) found = true;
  fclose(in);
  if (!found) return;
  FILE* f = fp();
  fprintf(f, "%s\n", line.c_str());
  if (src_->column() != 0) fprintf(f, "%-*s^\n", static_cast<int>(src_->column()) - 1, "");
}

// ---------------------------------------------------------------------------
// Settings stacks

void DIAGNOSTIC::push_indent(int indent) {
  indent_stack_m.push_back(indent_m);
  indent_m = indent;
}

void DIAGNOSTIC::pop_indent() {
  if (indent_stack_m.empty()) {
    indent_m = 0;
    return;
  }
  indent_m = indent_stack_m.back();
  indent_stack_m.pop_back();
}

void DIAGNOSTIC::push_debug_mode(bool on) {
  debug_mode_stack_m.push_back(debug_mode_m);
  debug_mode_m = on;
}

void DIAGNOSTIC::pop_debug_mode() {
  if (debug_mode_stack_m.empty()) {
    debug_mode_m = false;
    return;
  }
  debug_mode_m = debug_mode_stack_m.back();
  debug_mode_stack_m.pop_back();
}
