// The last-resort paths: signal exits with status 2 and their banner, and
// the out-of-memory report. Each case runs in a child process.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

#include "diag/signals.h"
#include "driver/globals.h"

namespace {

void forward_to_common(int sig) {
  common_signal_handler(sig, "zopt", "while processing function %s file %s", "main", "t.if");
}

void report_callback(int sig) { fprintf(stderr, "callback %d\n", sig); }

// A fault inside the handler: enters it again with another signal once.
void faulting_callback(int) {
  static bool again = false;
  if (again) return;
  again = true;
  common_signal_handler(SIGFPE, "zopt", nullptr);
}

TEST(Signals, InterruptAndTerminateExitWithStatusTwo) {
  EXPECT_EXIT(common_signal_handler(SIGINT, "zopt", nullptr), testing::ExitedWithCode(2),
              "^\\[zopt forced exit\\]\n$");
  EXPECT_EXIT(common_signal_handler(SIGHUP, nullptr, nullptr), testing::ExitedWithCode(2),
              "^\\[unknown forced exit\\]\n$");
  EXPECT_EXIT(
      {
        install_common_handlers(forward_to_common, report_callback);
        raise(SIGTERM);
      },
      testing::ExitedWithCode(2), "^\\[zopt received a terminate signal\\]\n$");
}

TEST(Signals, FaultPrintsTheBannerAndCallsBack) {
  std::string banner = support_message_text();
  EXPECT_EQ(banner.find("This is caused by a defect in the Zelkor C/C++ Optimizer.\n"), 0u);
  EXPECT_NE(banner.find("Include the .pp file created by option --preproc_with_comment\n\n"),
            std::string::npos);
  EXPECT_EXIT(
      {
        install_common_handlers(forward_to_common, report_callback);
        raise(SIGSEGV);
      },
      testing::ExitedWithCode(2),
      "^\nINTERNAL ERROR: zopt experienced a segmentation fault\n"
      "                  while processing function main file t.if\n\n"
      "This is caused by a defect(.|\n)*reproducable(.|\n)*--preproc_with_comment\n\n"
      "callback 11\n$");
  // Garbage in the pointer arguments is treated as missing.
  EXPECT_EXIT(common_signal_handler(SIGBUS, reinterpret_cast<const char*>(16),
                                    reinterpret_cast<const char*>(8)),
              testing::ExitedWithCode(2), "^\nINTERNAL ERROR: unknown experienced a bus alignment fault\n\n");
  EXPECT_EXIT(common_signal_handler(SIGUSR1, "zopt", nullptr), testing::ExitedWithCode(2),
              "INTERNAL ERROR: zopt experienced a fatal internal fault\n");
}

TEST(Signals, ASecondFaultKeepsTheFirstText) {
  EXPECT_EXIT(
      {
        install_common_handlers(forward_to_common, faulting_callback);
        raise(SIGILL);
      },
      testing::ExitedWithCode(2),
      "executed an illegal instruction(.|\n)*INTERNAL ERROR: zopt executed an illegal "
      "instruction\n");
}

TEST(Signals, AppendToAFixedBuffer) {
  char buffer[12] = "ab";
  sigstrnappend(buffer, sizeof buffer, "%d-%s", 42, "xyz");
  EXPECT_STREQ(buffer, "ab42-xyz");
  sigstrnappend(buffer, sizeof buffer, "%s", "0123456789");
  EXPECT_STREQ(buffer, "ab42-xyz012");
  sigstrnappend(nullptr, 8, "%s", "x");
  sigstrnappend(buffer, sizeof buffer, nullptr);
  EXPECT_STREQ(buffer, "ab42-xyz012");
}

TEST(OutOfMemory, ReportGoesToBothStreamsAndAborts) {
  char log_name[] = "/tmp/oom_logXXXXXX";
  int fd = mkstemp(log_name);
  ASSERT_GE(fd, 0);
  EXPECT_EXIT(
      {
        fdebug = fdopen(fd, "w");
        print_debug = 1;
        report_allocation_error("pool.cpp", 88);
      },
      testing::ExitedWithCode(1),
      "\n>>>ERROR - OUT OF MEMORY - OPTIMIZER ABORTED(.|\n)*>>>> Optimizer terminated "
      "abnormally\n");
  close(fd);
  FILE* log = fopen(log_name, "r");
  ASSERT_NE(log, nullptr);
  std::string text;
  for (int c; (c = fgetc(log)) != EOF;) text += static_cast<char>(c);
  fclose(log);
  remove(log_name);
  EXPECT_NE(text.find("\n>>>ERROR - pool.cpp(88) IS OUT OF MEMORY\n>>>      - OPTIMIZER ABORTED\n"),
            std::string::npos)
      << text;
}

}  // namespace
