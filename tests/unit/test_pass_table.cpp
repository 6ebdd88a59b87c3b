// The typed pass table: every name of the order resolves, resolution finds
// the mistakes a table can hold, and the steps run as their records say.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "driver/pass_table.h"
#include "driver/pipeline.h"

namespace {

bool contains(const std::vector<std::string>& lines, const std::string& piece) {
  return std::any_of(lines.begin(), lines.end(), [&](const std::string& l) { return l.find(piece) != std::string::npos; });
}

std::string joined(const std::vector<std::string>& lines) {
  std::string s;
  for (const std::string& l : lines) s += l + "\n";
  return s;
}

TEST(PassTable, EveryNameOfTheOrderResolves) {
  // Unknown names, misfit arguments, a pass both built and on the not-built
  // list, and registrations no step calls all show up here.
  std::vector<std::string> problems = pass_table_problems();
  EXPECT_TRUE(problems.empty()) << joined(problems);
  for (const std::vector<STEP>* steps : {&function_steps(), &prepass_steps()}) {
    int last = 0;
    for (const STEP& s : *steps) {
      EXPECT_GE(s.number, last) << "steps run in the order of their numbers";
      last = s.number;
      for (const PASS_CALL& c : s.passes) EXPECT_NE(c.def, nullptr) << "step " << s.number << ": " << c.text();
    }
  }
}

std::vector<std::string> ran;
void pass_a() { ran.push_back("a"); }
void pass_b() { ran.push_back("b"); }
void pass_args(int n, bool flag) { ran.push_back("args " + std::to_string(n) + (flag ? " true" : " false")); }
int pass_with_result(int n) {
  ran.push_back("result " + std::to_string(n));
  return n;
}
bool yes() { return true; }
bool no() { return false; }
void trace() { ran.push_back("trace"); }

const CONDITION kYes{"yes", yes};
const CONDITION kNo{"no", no};

TEST(PassTable, ResolutionFindsEachKindOfMistake) {
  std::vector<PASS_DEF> registry = {pass("a", pass_a), pass("args", pass_args), not_built<int, int>("later"),
                                    not_built("a"), pass("unused", pass_b)};
  std::vector<STEP> steps = {
      {1, kYes, {"a", "aa", call("args", 1, true)}},
      {2, kYes, {call("args", true, 1), call("later", 4, 1), call("later", 4), "args"}},
  };
  std::vector<std::string> p = resolve_steps({&steps}, registry);
  EXPECT_TRUE(contains(p, "a is built and also on the not-built list")) << joined(p);
  EXPECT_TRUE(contains(p, "step 1: aa is neither registered nor on the not-built list")) << joined(p);
  EXPECT_TRUE(contains(p, "step 2: args(true, 1) does not fit args(int, bool), given (bool, int)")) << joined(p);
  EXPECT_TRUE(contains(p, "step 2: later(4) does not fit later(int, int)")) << joined(p);
  EXPECT_TRUE(contains(p, "step 2: args does not fit args(int, bool), given ()")) << joined(p);
  EXPECT_TRUE(contains(p, "unused is registered but no step calls it")) << joined(p);
  EXPECT_EQ(p.size(), 6u) << joined(p);
  EXPECT_NE(steps[0].passes[0].def, nullptr);
  EXPECT_EQ(steps[0].passes[1].def, nullptr);
  EXPECT_NE(steps[0].passes[2].def, nullptr) << "args(1, true) fits";
  EXPECT_NE(steps[1].passes[1].def, nullptr) << "a not-built pass is still checked against its signature";
  EXPECT_EQ(steps[1].passes[2].def, nullptr);
}

TEST(PassTable, StepsRunAsTheirRecordsSay) {
  FILE* log = tmpfile();
  fdebug = log;
  print_debug = 1;
  std::vector<PASS_DEF> registry = {pass("a", pass_a), pass("b", pass_b), pass("args", pass_args),
                                    pass("result", pass_with_result), not_built<int, int>("later")};
  std::vector<STEP> steps = {
      {1, kYes, {"a", call("args", 4, true), call("result", 7)}},
      {2, kNo, {"b"}, trace},
      {3, kYes, {PASS_CALL("b", {}, no), call("later", 4, 1), call("args", 0, false)}, trace},
      {4, kYes, {"a"}, nullptr, true},
      {5, kYes, {"b"}},
  };
  ASSERT_TRUE(resolve_steps({&steps}, registry).empty());
  ran.clear();
  EXPECT_FALSE(run_steps(steps)) << "step 4 ends the function";
  std::vector<std::string> want = {"a", "args 4 true", "result 7", "trace", "args 0 false", "a"};
  EXPECT_EQ(ran, want);
  // The not-built pass is named in the log with its arguments.
  fflush(log);
  rewind(log);
  char line[200] = {0};
  ASSERT_NE(fgets(line, sizeof line, log), nullptr);
  EXPECT_STREQ(line, "~~~ pass not built yet, skipped: later(4, 1)\n");
  // Without a stop, every step runs.
  steps[3].ends_function = false;
  ran.clear();
  EXPECT_TRUE(run_steps(steps));
  EXPECT_EQ(ran.back(), "b");
  print_debug = 0;
  fdebug = nullptr;
  fclose(log);
}

TEST(PassTable, CallsReadAsTheOrderWritesThem) {
  EXPECT_EQ(call("construct_SSA_form", false, false, true).text(), "construct_SSA_form(false, false, true)");
  EXPECT_EQ(call("fast_CP", 4, 1).text(), "fast_CP(4, 1)");
  EXPECT_EQ(PASS_CALL("seq_trees").text(), "seq_trees");
}

}  // namespace
