#include "tools/icode-run/tests/run_test_util.h"

TEST_F(RunTest, PrintsAndReturnsStatus) {
  RUN_FUNCTION* m = main_fn();
  E(m, print("hello %d\n", {I(42)}));
  E(m, ret(m, I(300)));
  EXPECT_EQ(output(300 & 0xff), "hello 42\n");
}
