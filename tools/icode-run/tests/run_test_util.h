// The fixture of the interpreter's tests.
#pragma once
#include <gtest/gtest.h>

#include "tools/icode-run/tests/run_builder.h"

class RunTest : public testing::Test, public RUN_BUILDER {
 public:
  // Runs and expects a normal end.
  std::string output(int status = 0) {
    RUN_RESULT r = run();
    EXPECT_EQ(r.error, "");
    EXPECT_EQ(r.status, status);
    return r.out;
  }
  // Runs and expects an error of the program with this text.
  void expect_error(const std::string& text) {
    RUN_RESULT r = run();
    EXPECT_EQ(r.status, RUN_STATUS_ERROR) << r.error;
    EXPECT_EQ(r.error, text);
  }
};
