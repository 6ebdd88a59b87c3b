// The concrete diagnostics: free-text carriers (gdebug ... gadvice), the error
// limit, and the option parser's generated classes. Each is raised on the
// stack at its site: build with its row, the raising file and line and its
// arguments, optionally set_src, report, destroy.
#pragma once
#include <string>
#include <tuple>
#include <utility>

#include "diag/diagnostic.h"

namespace DIAG {

namespace detail {
// Arguments are kept by value: texts as strings, numbers as unsigned long.
inline std::string hold(const char* text) { return text ? text : "(null)"; }
inline unsigned long hold(unsigned long number) { return number; }
inline const char* view(const std::string& text) { return text.c_str(); }
inline unsigned long view(unsigned long number) { return number; }
template <typename T> struct stored { using type = unsigned long; };
template <> struct stored<const char*> { using type = std::string; };
}  // namespace detail

// A message whose text is the row's format filled with the arguments.
template <class Self, int Code, typename... Args>
class formatted : public DIAGNOSTIC {
 public:
  static constexpr int code = Code;
  formatted(DIAG_INFO* info, const char* file, unsigned line, Args... args)
      : DIAGNOSTIC(info, file, line), args_(detail::hold(args)...) {}

  DIAGNOSTIC* alloc() const override { return new Self(static_cast<const Self&>(*this)); }

  int report() override {
    int n = print_header();
    n += std::apply([this](const auto&... a) { return print_row(text_format(), detail::view(a)...); },
                    args_);
    flush();
    return n;
  }

  const char* get_sp_buffer() const override { return DIAGNOSTIC::get_sp_buffer(); }

  bool is_equal(const DIAGNOSTIC* other) const override {
    auto* same = dynamic_cast<const Self*>(other);
    return same && DIAGNOSTIC::is_equal(other) && same->args_ == args_;
  }

  void free_mem() override { args_ = decltype(args_)(); }

  void dump() const override {
    DIAGNOSTIC::dump();
    std::apply([](const auto&... a) { (dump_arg(a), ...); }, args_);
  }

  const std::tuple<typename detail::stored<Args>::type...>& args() const { return args_; }

 protected:
  virtual const char* text_format() const { return info_ ? info_->std_msg : nullptr; }

 private:
  static void dump_arg(const std::string& text) { printf("(%s)\n", text.c_str()); }
  static void dump_arg(unsigned long) {}
  // The row's text is a run-time format; its conversions match Args.
  int print_row(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    int n = vprint(format, ap);
    va_end(ap);
    return n;
  }

  std::tuple<typename detail::stored<Args>::type...> args_;
};

// Free text printed through the row's "%s".
template <class Self, int Code>
class text_msg : public formatted<Self, Code, const char*> {
 public:
  using formatted<Self, Code, const char*>::formatted;
};

// Free text of an internal or debug row, shown in brackets.
template <class Self, int Code>
class bracketed_msg : public formatted<Self, Code, const char*> {
 public:
  using formatted<Self, Code, const char*>::formatted;

 protected:
  const char* text_format() const override { return "(%s)"; }
};

#define DIAG_CLASS(name, base, ...)              \
  class name : public base<name, __VA_ARGS__> {  \
   public:                                       \
    using base<name, __VA_ARGS__>::base;         \
  }

DIAG_CLASS(gdebug, bracketed_msg, 99920);
DIAG_CLASS(gremark, text_msg, 99921);
DIAG_CLASS(gwarning, text_msg, 99922);
DIAG_CLASS(gerror, text_msg, 99923);
DIAG_CLASS(gapperror, bracketed_msg, 99924);
DIAG_CLASS(gfatal, text_msg, 99925);
DIAG_CLASS(gdie, bracketed_msg, 99926);
DIAG_CLASS(gadvice, text_msg, 99927);
DIAG_CLASS(max_errors, formatted, 99900, unsigned long);

// Rows outside the generated set that the option layer raises.
DIAG_CLASS(invalid_option, formatted, 6006, const char*);
DIAG_CLASS(invalid_parameter, formatted, 6003, const char*, const char*);

// Generated with the option parser.
DIAG_CLASS(optgen_conflict_option, formatted, 24002, const char*, const char*);
DIAG_CLASS(optgen_conflict_override_option, formatted, 24003, const char*, const char*);
DIAG_CLASS(optgen_conflict_quiet_option, formatted, 24004, const char*, const char*);
DIAG_CLASS(optgen_unhandled_clause_in_setarg, formatted, 24007, unsigned long);
DIAG_CLASS(optgen_unhandled_option_handler, formatted, 24008, unsigned long);
DIAG_CLASS(optgen_invalid_list_handler, formatted, 24009, unsigned long);
DIAG_CLASS(optgen_missing_parameter, formatted, 24010, const char*, const char*);
DIAG_CLASS(optgen_arg_out_of_range, formatted, 24011, const char*, const char*);
DIAG_CLASS(optgen_arg_out_of_range_non_neg, formatted, 24012, const char*, const char*);
DIAG_CLASS(optgen_arg_out_of_range2, formatted, 24013, const char*, const char*, unsigned long,
           unsigned long);
DIAG_CLASS(optgen_option_handler_corruption, formatted, 24014);
DIAG_CLASS(optgen_bad_argument, formatted, 24015, const char*, const char*);
DIAG_CLASS(optgen_case_insensitivity_deprecated, formatted, 24016, const char*, const char*);
DIAG_CLASS(optgen_exact_set_in_previous_files, formatted, 24020, const char*, const char*);
DIAG_CLASS(optgen_exact_not_set_in_previous_files, formatted, 24021, const char*, const char*);
DIAG_CLASS(optgen_exact_args_incompatible, formatted, 24022, const char*, const char*,
           const char*);
DIAG_CLASS(optgen_merge_conflict_option, formatted, 24023, const char*, const char*, const char*);
DIAG_CLASS(optgen_unhandled_clause_in_add_hist, formatted, 24031, unsigned long);
DIAG_CLASS(optgen_missing_fileopt, formatted, 24032, const char*);

#undef DIAG_CLASS

// Raises one message of class T at the caller's position: the fixed pattern
// of build, report and destroy.
template <class T, typename... Args>
int raise(const char* file, unsigned line, Args&&... args) {
  T diag(DIAGNOSTIC::get_info(T::code), file, line, std::forward<Args>(args)...);
  return diag.report();
}

}  // namespace DIAG
