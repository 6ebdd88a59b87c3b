// Numbered diagnostics: headers, wrapping, counting, severity overrides and
// the USER_MSG facade.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "diag/diag_classes.h"
#include "diag/diagnostic.h"
#include "diag/user_msg.h"

namespace {

std::string read_all(FILE* f) {
  fflush(f);
  rewind(f);
  std::string all;
  for (int c; (c = fgetc(f)) != EOF;) all += static_cast<char>(c);
  return all;
}

// Each test starts from the default settings, with output to a file.
class Diag : public ::testing::Test {
 protected:
  void SetUp() override {
    out_ = tmpfile();
    DIAGNOSTIC::fp_m = out_;
    DIAGNOSTIC::display_code_m = false;
    DIAGNOSTIC::display_ipos_m = false;
    DIAGNOSTIC::remarks_m = false;
    DIAGNOSTIC::verbose_m = false;
    DIAGNOSTIC::wrap_enabled_m = true;
    DIAGNOSTIC::debug_mode_m = false;
    DIAGNOSTIC::indent_m = 0;
    saved_count_ = DIAGNOSTIC::error_count_m;
  }
  void TearDown() override {
    DIAGNOSTIC::fp_m = nullptr;
    DIAGNOSTIC::error_count_m = saved_count_;
    fclose(out_);
  }
  std::string output() { return read_all(out_); }

  FILE* out_ = nullptr;
  int saved_count_ = 0;
};

TEST_F(Diag, HeaderForms) {
  DIAG::raise<DIAG::optgen_missing_parameter>("x.cpp", 7, "--opt_level", "value");
  DIAGNOSTIC::display_code_m = true;
  DIAG::raise<DIAG::optgen_missing_parameter>("x.cpp", 7, "--opt_level", "value");
  DIAGNOSTIC::push_debug_mode(true);  // a fatal row must not end the test
  DIAG::raise<DIAG::invalid_option>("x.cpp", 8, "--bogus");
  DIAG::raise<DIAG::gadvice>("x.cpp", 8, "hint");  // advice is not shown by default
  DIAGNOSTIC::display_code_m = false;
  DIAG::raise<DIAG::gapperror>("lib.cpp", 42, "bad state");
  DIAGNOSTIC::pop_debug_mode();
  EXPECT_EQ(output(),
            "error: option --opt_level is missing its parameter 'value'\n"
            "error #24010-D: option --opt_level is missing its parameter 'value'\n"
            "fatal error #6006: invalid option:  --bogus\n"
            "lib.cpp:42:internal error #99924: (bad state)\n");
}

TEST_F(Diag, SourcePositionAndRaisingPosition) {
  DIAG_SRCINFO_DATA where("prog.c", 12, 4, false);
  DIAG_SRCINFO_DATA guess("prog.c", 0, 0, true);
  DIAG_SRCINFO_DATA nowhere("", 3, 1, false);
  {
    DIAG::gwarning w(DIAGNOSTIC::get_info(99922), "y.cpp", 3, "odd");
    w.set_src(&where);
    w.report();
    w.set_src(&guess);
    w.report();
    w.set_src(&nowhere);
    w.report();
  }
  DIAGNOSTIC::display_ipos_m = true;
  DIAG::raise<DIAG::gerror>("y.cpp", 5, "with position");
  EXPECT_EQ(output(),
            "\"prog.c\", line 12: warning: odd\n"
            "\"prog.c\" (approximate): warning: odd\n"
            "warning: odd\n"
            "y.cpp:5:error: with position\n");
  EXPECT_TRUE(where.is_equal(&where));
  EXPECT_FALSE(where.is_equal(&guess));
}

TEST_F(Diag, LongWordsAreCutAndNewlinesKept) {
  std::string word(100, 'w');
  DIAG::raise<DIAG::gerror>("z.cpp", 1, word.c_str());
  DIAG::raise<DIAG::gerror>("z.cpp", 2, "first line\nsecond line\n  third");
  std::string words;
  for (int i = 0; i < 30; ++i) words += (i ? " word" : "word") + std::to_string(i % 10);
  DIAG::raise<DIAG::gerror>("z.cpp", 3, words.c_str());
  std::string expected = "error: " + word.substr(0, 72) + "\n   " + word.substr(72) + "\n" +
                         "error: first line\n   second line\n   third\n";
  // Words of 5 characters and a blank: 12 fit after "error: ", 12 after the indent.
  std::string lines[3] = {"error:", "  ", "  "};
  for (int i = 0; i < 30; ++i) lines[i / 12] += " word" + std::to_string(i % 10);
  expected += lines[0] + "\n" + lines[1] + "\n" + lines[2] + "\n";
  std::string got = output();
  EXPECT_EQ(got, expected);
  for (size_t start = 0, end; (end = got.find('\n', start)) != std::string::npos; start = end + 1)
    EXPECT_LE(end - start, 79u);
}

TEST_F(Diag, WrappingHelpers) {
  EXPECT_STREQ(DIAGNOSTIC::last_printable_char("abc def", 20), "f");
  EXPECT_STREQ(DIAGNOSTIC::last_printable_char("abc def", 3), "c def");
  EXPECT_STREQ(DIAGNOSTIC::last_printable_char("abc  def", 6), "c  def");
  EXPECT_STREQ(DIAGNOSTIC::last_printable_char("abcdef", 3), "abcdef");
  EXPECT_STREQ(DIAGNOSTIC::last_printable_char("abc def", -1), "f");

  DIAG::gerror holder(DIAGNOSTIC::get_info(99923), "w.cpp", 1, "");
  std::string text = "alpha beta gamma delta epsilon zeta eta theta iota kappa lambda mu nu xi "
                     "omicron pi rho sigma";
  const char* wrapped = holder.sp_print("%s", text.c_str());
  EXPECT_STREQ(wrapped,
               "alpha beta gamma delta epsilon zeta eta theta iota kappa lambda mu\n"
               "          nu xi omicron pi rho sigma");
  EXPECT_EQ(holder.get_sp_buffer(), wrapped);
  EXPECT_DEATH(
      {
        int left = 10;
        holder.print_formatted("x", true, &left, 13, 10, 3);
      },
      "diag_cols > \\(indent \\+ wrap_indent\\)");
}

TEST_F(Diag, SuppressedMessagesPrintNothing) {
  DIAG::gremark remark(DIAGNOSTIC::get_info(99921), "r.cpp", 1, "quiet");
  EXPECT_EQ(remark.report(), 0);
  DIAGNOSTIC::remarks_m = true;
  DIAG::gremark shown(DIAGNOSTIC::get_info(99921), "r.cpp", 1, "loud");
  EXPECT_EQ(shown.report(), static_cast<int>(strlen("remark: loud")));
  EXPECT_EQ(output(), "remark: loud\n");
  DIAGNOSTIC::fp_m = nullptr;
  EXPECT_EQ(shown.fp(), stdout);
  DIAG::gwarning warning(DIAGNOSTIC::get_info(99922), "r.cpp", 1, "w");
  EXPECT_EQ(warning.fp(), stderr);
}

TEST_F(Diag, ErrorsCountAndDebugModeIsHarmless) {
  int before = DIAGNOSTIC::error_count_m;
  DIAG::raise<DIAG::gerror>("c.cpp", 1, "one");
  DIAG::raise<DIAG::gwarning>("c.cpp", 1, "not counted");
  EXPECT_EQ(DIAGNOSTIC::error_count_m, before + 1);
  EXPECT_EQ(USER_MSG::get_error_count(), before + 1);
  DIAGNOSTIC::push_debug_mode(true);
  DIAG::raise<DIAG::gfatal>("c.cpp", 2, "survived");
  DIAG::raise<DIAG::gerror>("c.cpp", 3, "not counted either");
  DIAGNOSTIC::pop_debug_mode();
  EXPECT_EQ(DIAGNOSTIC::error_count_m, before + 1);
  EXPECT_NE(output().find("fatal error: survived"), std::string::npos);
  DIAGNOSTIC::pop_debug_mode();  // empty: back to false without failing
  EXPECT_FALSE(DIAGNOSTIC::debug_mode_m);
  DIAGNOSTIC::push_indent(4);
  DIAGNOSTIC::pop_indent();
  DIAGNOSTIC::pop_indent();
  EXPECT_EQ(DIAGNOSTIC::indent_m, 0);
}

TEST_F(Diag, TheErrorAfterTheLimitEndsTheRun) {
  DIAGNOSTIC::fp_m = nullptr;
  DIAGNOSTIC::error_count_m = 0;
  EXPECT_EXIT(
      {
        for (int i = 1; i <= 100; ++i) DIAG::raise<DIAG::gerror>("e.cpp", 1, "bad");
        fprintf(stderr, "STILL RUNNING\n");
        DIAG::raise<DIAG::gerror>("e.cpp", 1, "one too many");
        fprintf(stderr, "NOT REACHED\n");
        exit(0);
      },
      testing::ExitedWithCode(1),
      "STILL RUNNING\nerror: one too many\nfatal error: error limit reached; 100 errors "
      "detected\n$");
}

TEST_F(Diag, FatalRowsEndTheRun) {
  DIAGNOSTIC::fp_m = nullptr;
  EXPECT_EXIT(USER_MSG::get_umsg_obj().fatal("cannot go on"), testing::ExitedWithCode(1),
              "fatal error: cannot go on");
  DIAGNOSTIC::diag_cols_m = 1000;
  EXPECT_EXIT(USER_MSG::get_umsg_obj().die("reader", "bad %s", "record"),
              testing::KilledBySignal(SIGABRT),
              "^user_msg.cpp:[0-9]+:internal fatal error #99926: \\(reader: bad record\\)\n$");
  DIAGNOSTIC::diag_cols_m = 79;
}

class SeverityOverride : public Diag {
 protected:
  void SetUp() override {
    Diag::SetUp();
    for (DIAG_INFO* row = DIAG_INFO_ENTRY; row->code; ++row) saved_.push_back(row->severity);
  }
  void TearDown() override {
    size_t i = 0;
    for (DIAG_INFO* row = DIAG_INFO_ENTRY; row->code; ++row) row->severity = saved_[i++];
    Diag::TearDown();
  }
  static dc_SEVERITY of(int code) { return DIAGNOSTIC::get_info(code)->severity; }
  std::vector<dc_SEVERITY> saved_;
};

TEST_F(SeverityOverride, OnlyDiscretionaryRowsChange) {
  DIAGNOSTIC::override_severity("99924, 12345,24002", dc_WARNING);
  EXPECT_EQ(of(24002), dc_WARNING);
  EXPECT_EQ(of(99924), dc_ERROR);  // unchanged: internal and generic
  DIAGNOSTIC::override_severity("99922", dc_ERROR);
  EXPECT_EQ(of(99922), dc_WARNING);  // generic
  DIAGNOSTIC::override_severity(6006, dc_WARNING);
  EXPECT_EQ(of(6006), dc_FATAL);  // a fatal row is never lowered
  DIAGNOSTIC::override_severity(24016, dc_ADVICE);
  DIAGNOSTIC::override_severity(24016, dc_DEBUG);
  DIAGNOSTIC::override_severity(24016, dc_NO_ERROR);
  EXPECT_EQ(of(24016), dc_WARNING);
  DIAGNOSTIC::override_severity(24016, dc_SUPPRESSED);
  EXPECT_EQ(of(24016), dc_SUPPRESSED);
  DIAG::raise<DIAG::optgen_case_insensitivity_deprecated>("s.cpp", 1, "-Q", "-q");
  EXPECT_EQ(output(), "");

  DIAGNOSTIC::override_severity(dc_REMARK, dc_WARNING);
  EXPECT_EQ(of(24004), dc_WARNING);
  EXPECT_EQ(of(24038), dc_WARNING);
  EXPECT_EQ(of(99921), dc_REMARK);  // generic
  DIAGNOSTIC::override_severity(dc_WARNING, dc_DEBUG);
  EXPECT_EQ(of(24004), dc_WARNING);
  DIAGNOSTIC::override_severity(99999, dc_ERROR);  // no such row: nothing
  EXPECT_EQ(DIAGNOSTIC::get_info(99999), nullptr);
  EXPECT_STREQ(DIAGNOSTIC::sev_str(static_cast<dc_SEVERITY>(8)), "(unknown)");
}

TEST_F(Diag, RowsOfTheTable) {
  int rows = 0;
  for (DIAG_INFO* row = DIAG_INFO_ENTRY; row->code; ++row, ++rows) {
    EXPECT_EQ(DIAGNOSTIC::get_info(row->code), row);
    EXPECT_EQ(row->vrb_msg, nullptr);
  }
  EXPECT_EQ(rows, 59);
  DIAG::gerror e(DIAGNOSTIC::get_info(99923), "t.cpp", 1, "x");
  DIAG::gwarning w(DIAGNOSTIC::get_info(99922), "t.cpp", 1, "x");
  DIAG::optgen_bad_argument b(DIAGNOSTIC::get_info(24015), "t.cpp", 1, "--a", "b");
  DIAG::optgen_bad_argument d(DIAGNOSTIC::get_info(24004), "t.cpp", 1, "--a", "b");
  EXPECT_FALSE(e.is_discretionary());
  EXPECT_TRUE(b.is_discretionary());
  EXPECT_TRUE(d.is_discretionary());
  EXPECT_TRUE(b.is_equal(&b));
  EXPECT_FALSE(b.is_equal(&e));
  DIAGNOSTIC* copy = b.alloc();
  EXPECT_TRUE(copy->is_equal(&b));
  delete copy;
}

TEST_F(Diag, AnnotatedSourceUnderVerbose) {
  char name[] = "/tmp/diag_srcXXXXXX";
  int fd = mkstemp(name);
  ASSERT_GE(fd, 0);
  FILE* src = fdopen(fd, "w");
  fputs("int a;\nint b = c;\n", src);
  fclose(src);
  DIAGNOSTIC::verbose_m = true;
  DIAG_SRCINFO_DATA where(name, 2, 9, false);
  DIAG::gwarning w(DIAGNOSTIC::get_info(99922), "v.cpp", 1, "c is unknown");
  w.set_src(&where);
  w.report();
  EXPECT_EQ(output(), "\"" + std::string(name) + "\", line 2: warning: c is unknown\n" +
                          "int b = c;\n        ^\n");
  remove(name);
}

TEST_F(Diag, WarningsAsErrorsPassTheBareFormat) {
  DIAGNOSTIC::fp_m = nullptr;
  EXPECT_EXIT(
      {
        USER_MSG& msg = USER_MSG::get_umsg_obj();
        msg.warning(7, "first %d", 1);
        msg.emit_warnings_as_errors();
        msg.warning(7, "value %d", 5);
        exit(0);
      },
      testing::ExitedWithCode(0), "^warning: first 1\nerror: value %d\n$");
}

}  // namespace
