// The option parser: argument forms, joined short options, case, errors,
// history and the accessors' limits.
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <set>
#include <string>

#include "diag/diagnostic.h"
#include "options/optobj.h"

namespace {

using O = option_obj;

std::deque<std::string> next_words;
const char* take_next_word() {
  static std::string word;
  if (next_words.empty()) return nullptr;
  word = next_words.front();
  next_words.pop_front();
  return word.c_str();
}

// Diagnostics of one test into a string.
class diag_capture {
 public:
  diag_capture() : file_(tmpfile()) { DIAGNOSTIC::fp_m = file_; }
  ~diag_capture() {
    DIAGNOSTIC::fp_m = nullptr;
    fclose(file_);
  }
  std::string text() {
    fflush(file_);
    rewind(file_);
    std::string all;
    for (int c; (c = fgetc(file_)) != EOF;) all += static_cast<char>(c);
    return all;
  }

 private:
  FILE* file_;
};

class OptionParser : public ::testing::Test {
 protected:
  // Messages on one line each, so that the expectations need not wrap.
  void SetUp() override {
    next_words.clear();
    O::next_arg = take_next_word;
    DIAGNOSTIC::diag_cols_m = 1000;
  }
  void TearDown() override {
    O::next_arg = nullptr;
    DIAGNOSTIC::diag_cols_m = 79;
  }
};

TEST_F(OptionParser, ArgumentFormsGiveTheSameValue) {
  O joined(true), equals(true), next(true), long_next(true);
  EXPECT_TRUE(joined.process_option("o2", nullptr));
  EXPECT_TRUE(equals.process_option("-opt_level=2", nullptr));
  next_words = {"2"};
  EXPECT_TRUE(next.process_option("o", nullptr));
  next_words = {"2", "unused"};
  EXPECT_TRUE(long_next.process_option("-opt_level", nullptr));
  EXPECT_EQ(next_words.size(), 1u);  // exactly one word was taken
  for (O* o : {&joined, &equals, &next, &long_next}) {
    EXPECT_EQ(o->getnumarg(O::OPT_OPT_LEVEL, 0), O::OO_OPT_LEVEL_2);
    EXPECT_EQ(o->getargcount(O::OPT_OPT_LEVEL), 1u);
  }
  EXPECT_EQ(joined.history()[0].spelled, "-o");
  EXPECT_EQ(equals.history()[0].spelled, "--opt_level");

  // "=" with nothing after it takes the next word too.
  O empty_equals(true);
  next_words = {"off"};
  EXPECT_TRUE(empty_equals.process_option("-opt_level=", nullptr));
  EXPECT_EQ(empty_equals.getnumarg(O::OPT_OPT_LEVEL, 0), O::OO_OPT_LEVEL_OFF);
}

TEST_F(OptionParser, NumbersTakeARadixAndShortOptionsJoin) {
  O o(true);
  EXPECT_TRUE(o.process_option("i0x20", nullptr));
  EXPECT_EQ(o.getnumarg(O::OPT_AUTO_INLINE, 0), 32);
  EXPECT_STREQ(o.getstrarg(O::OPT_AUTO_INLINE, 0), "32");
  EXPECT_TRUE(o.process_option("-rpt_threshold=ff", nullptr));  // hexadecimal kind
  EXPECT_EQ(o.getnumarg(O::OPT_RPT_THRESHOLD, 0), 255);
  EXPECT_STREQ(o.getstrarg(O::OPT_RPT_THRESHOLD, 0), "0xFF");

  O shorts(true);
  EXPECT_TRUE(shorts.process_option("qkso3", nullptr));
  EXPECT_TRUE(shorts.parsed_option(O::OPT_QUIET));
  EXPECT_TRUE(shorts.parsed_option(O::OPT_KR_COMPATIBLE));
  EXPECT_TRUE(shorts.parsed_option(O::OPT_OPTIMIZER_INTERLIST));
  EXPECT_EQ(shorts.getnumarg(O::OPT_OPT_LEVEL, 0), O::OO_OPT_LEVEL_3);
  EXPECT_EQ(shorts.history().size(), 4u);

  // An option with an argument takes the rest of the word.
  O rest(true);
  EXPECT_TRUE(rest.process_option("-info_file=a,b.nfo", nullptr));
  EXPECT_STREQ(rest.getstrarg(O::OPT_INFO_FILE, 0), "a,b.nfo");
}

TEST_F(OptionParser, ListsSplitAtCommasAndAccumulate) {
  O o(true);
  EXPECT_TRUE(o.process_option("-debug=split_odb,inline_n=3", nullptr));
  EXPECT_TRUE(o.process_option("-debug=zalloc", nullptr));
  ASSERT_EQ(o.getargcount(O::OPT_DEBUG_KEYWORDS), 3u);
  EXPECT_STREQ(o.getstrarg(O::OPT_DEBUG_KEYWORDS, 1), "inline_n=3");
  const char* const expected[] = {"split_odb", "inline_n=3", "zalloc", nullptr};
  EXPECT_TRUE(o.args_match_list(O::OPT_DEBUG_KEYWORDS, expected));
  const char* const shorter[] = {"split_odb", nullptr};
  EXPECT_FALSE(o.args_match_list(O::OPT_DEBUG_KEYWORDS, shorter));

  EXPECT_TRUE(o.process_option("-silicon_errata=1,0x10", nullptr));
  EXPECT_EQ(o.getnumarg(O::OPT_SILICON_ERRATA, 1), 16);
}

TEST_F(OptionParser, RepeatedOptionKeepsTheLaterValueAndBothSightings) {
  O o(true);
  EXPECT_TRUE(o.process_option("o1", nullptr));
  EXPECT_TRUE(o.process_option("-OPT_LEVEL=3", nullptr));
  EXPECT_EQ(o.getnumarg(O::OPT_OPT_LEVEL, 0), O::OO_OPT_LEVEL_3);
  EXPECT_EQ(o.state(O::OPT_OPT_LEVEL), 2u);
  ASSERT_EQ(o.history().size(), 2u);
  EXPECT_EQ(o.history()[0].arg, "1");
  EXPECT_EQ(o.history()[1].arg, "3");
  O::export_option_list_type pairs;
  o.export_option_pairs(pairs);
  ASSERT_EQ(pairs.size(), 1u);
  EXPECT_EQ(pairs[0].second, "--opt_level=3");
}

TEST_F(OptionParser, CaseIsIgnoredWithAWarning) {
  diag_capture capture;
  O o(true);
  EXPECT_TRUE(o.process_option("-Opt_Level=2", nullptr));
  EXPECT_TRUE(o.process_option("Q", nullptr));
  EXPECT_TRUE(o.process_option("-vectorize=ON", nullptr));  // words: no warning
  EXPECT_EQ(o.getnumarg(O::OPT_OPT_LEVEL, 0), O::OO_OPT_LEVEL_2);
  EXPECT_TRUE(o.parsed_option(O::OPT_QUIET));
  EXPECT_EQ(o.getnumarg(O::OPT_VECTORIZE, 0), O::OO_VECTORIZE_ON);
  std::string text = capture.text();
  EXPECT_NE(text.find("warning: Case insensitivity of options has been deprecated; --Opt_Level "
                      "must be written as --opt_level in future releases"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("-Q must be written as -q in future releases"), std::string::npos) << text;
  EXPECT_EQ(text.find("vectorize"), std::string::npos) << text;

  testing::internal::CaptureStderr();
  O abi(true);
  EXPECT_TRUE(abi.process_option("-abi=coffabi", nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "WARNING: argument 'coffabi' to option '--abi' is deprecated and will be removed in "
            "a future release\n");
}

TEST_F(OptionParser, EmptyArgumentSucceedsAndSetsNothing) {
  O o(true);
  EXPECT_TRUE(o.process_option("", nullptr));
  EXPECT_TRUE(o.process_option(nullptr, nullptr));
  EXPECT_TRUE(o.history().empty());
  for (int id = 0; id < O::OPTION_COUNT; ++id)
    EXPECT_FALSE(o.parsed_option(static_cast<O::option_id>(id)));
}

TEST_F(OptionParser, NamesMustBeWrittenInFull) {
  O o(true);
  const char* failed = nullptr;
  const char* text = "-usa";
  EXPECT_FALSE(o.process_option(text, &failed));
  EXPECT_EQ(failed, text + 4);  // the text ended inside a name

  text = "-quietly";
  EXPECT_FALSE(o.process_option(text, &failed));
  EXPECT_EQ(failed, text + 6);  // no text may follow an option without argument

  text = "-debug_lev=2";
  EXPECT_FALSE(o.process_option(text, &failed));
  EXPECT_EQ(failed, text + 10);

  EXPECT_FALSE(o.process_option("l", &failed));  // no such short option
  EXPECT_FALSE(o.process_option("q9", &failed));
  EXPECT_FALSE(o.process_option("-", &failed));
  EXPECT_FALSE(o.process_option("%", &failed));
  // Options parsed before the failure stand; the parser is usable again.
  EXPECT_TRUE(o.parsed_option(O::OPT_QUIET));
  EXPECT_TRUE(o.process_option("-debug_level=2", nullptr));
  EXPECT_EQ(o.getnumarg(O::OPT_DEBUG, 0), 2);
}

TEST_F(OptionParser, ErrorsEndTheRunWithStatusOne) {
  O o(true);
  EXPECT_EXIT(o.process_option("-bogus", nullptr), testing::ExitedWithCode(1),
              "fatal error: invalid option:  --bogus");
  EXPECT_EXIT(o.process_option("-opt_level", nullptr), testing::ExitedWithCode(1),
              "error: option --opt_level is missing its parameter 'value'");
  EXPECT_EXIT(o.process_option("i", nullptr), testing::ExitedWithCode(1),
              "option -i is missing its parameter 'limit'");
  EXPECT_EXIT(o.process_option("-opt_for_space=4", nullptr), testing::ExitedWithCode(1),
              "argument to option --opt_for_space \\(4\\) is out of range \\(must be a number "
              "from 0 to 3\n");
  EXPECT_EXIT(o.process_option("i-1", nullptr), testing::ExitedWithCode(1),
              "argument to option -i \\(-1\\) is out of range \\(must be a "
              "non-negative_number\\)");
  EXPECT_EXIT(o.process_option("-auto_inline=99999999999999999999", nullptr),
              testing::ExitedWithCode(1), "is out of range");
  EXPECT_EXIT(o.process_option("-auto_inline=12abc", nullptr), testing::ExitedWithCode(1),
              "invalid parameter 12abc to option --auto_inline");
  EXPECT_EXIT(o.process_option("-size_speed_goal=fast", nullptr), testing::ExitedWithCode(1),
              "bad argument to option --size_speed_goal: should be one of \\{0, 1, 2, 3, 4, 5\\}");
}

TEST_F(OptionParser, HelpListsEveryOption) {
  for (const char* text : {"?", "-help", "-usage", "-HELP"}) {
    EXPECT_EXIT(
        {
          if (!freopen("/dev/null", "w", stdout)) exit(3);
          O o(true);
          o.process_option(text, nullptr);
        },
        testing::ExitedWithCode(0), "");
  }
  testing::internal::CaptureStdout();
  O::display_option_help("zopt", -1);
  std::string help = testing::internal::GetCapturedStdout();
  EXPECT_EQ(help.find("Usage: zopt [-options] filename\n\nThis tool is designed to be invoked by "
                      "the compiler."),
            0u);
  EXPECT_NE(help.find("Basic Options:"), std::string::npos);
  for (int id = 0; id < O::OPTION_COUNT; ++id)
    EXPECT_NE(help.find(std::string("--") + O::option_definitions[id].name), std::string::npos)
        << O::option_definitions[id].name;
  EXPECT_NE(help.find("--size_speed_goal=0|1|2|3|4|5"), std::string::npos);
}

TEST_F(OptionParser, IdsAboveTheLastAreIgnored) {
  O o(true);
  auto beyond = static_cast<O::option_id>(70);
  o.setopt(beyond);
  o.setopt(beyond, 5L);
  o.setopt(beyond, "x");
  o.clearopt(beyond);
  EXPECT_EQ(o.getnumarg(beyond, 0), 0);
  EXPECT_EQ(o.getstrarg(beyond, 0), nullptr);
  EXPECT_FALSE(o.parsed_option(beyond));
  EXPECT_EQ(o.getargcount(beyond), 0u);
  EXPECT_TRUE(o.history().empty());
  EXPECT_EQ(o.getnumarg(O::OPT_OPT_LEVEL, 0), 0);  // not seen
  o.setopt(O::OPT_AUTO_INLINE, 7L);
  EXPECT_EQ(o.getnumarg(O::OPT_AUTO_INLINE, 1), 0);  // beyond the count
}

TEST_F(OptionParser, ClearingRemovesAllButPersistentOptions) {
  O o(true);
  EXPECT_TRUE(o.process_option("x", nullptr));
  EXPECT_TRUE(o.process_option("-debug=a,b", nullptr));
  EXPECT_TRUE(o.process_option("q", nullptr));
  o.clearopt(O::OPT_DEBUG_KEYWORDS);
  EXPECT_FALSE(o.parsed_option(O::OPT_DEBUG_KEYWORDS));
  EXPECT_EQ(o.getargcount(O::OPT_DEBUG_KEYWORDS), 0u);
  EXPECT_EQ(o.seen(O::OPT_DEBUG_KEYWORDS), 2u);  // parsed once, cleared once
  o.clearopt(O::OPT_IGNORE_FILE_OPTIONS);
  EXPECT_TRUE(o.parsed_option(O::OPT_IGNORE_FILE_OPTIONS));
  std::vector<std::string> left = o.export_option_list();
  EXPECT_EQ(left, (std::vector<std::string>{"--ignore_file_options", "--quiet"}));
}

TEST_F(OptionParser, ImportAppliesEveryOptionOnTop) {
  O cmdline(true), file(true);
  ASSERT_TRUE(cmdline.process_option("o3", nullptr));
  ASSERT_TRUE(cmdline.process_option("-debug=a,b=2", nullptr));
  ASSERT_TRUE(cmdline.process_option("-info_file=x.nfo", nullptr));
  ASSERT_TRUE(cmdline.process_option("-rpt_threshold=0x1f", nullptr));
  ASSERT_TRUE(file.process_option("-opt_level=1", nullptr));
  ASSERT_TRUE(file.process_option("-volatile", nullptr));
  file.import_options(cmdline);
  EXPECT_EQ(file.getnumarg(O::OPT_OPT_LEVEL, 0), O::OO_OPT_LEVEL_3);
  EXPECT_TRUE(file.parsed_option(O::OPT_VOLATILE));
  EXPECT_STREQ(file.getstrarg(O::OPT_DEBUG_KEYWORDS, 1), "b=2");
  EXPECT_STREQ(file.getstrarg(O::OPT_INFO_FILE, 0), "x.nfo");
  EXPECT_EQ(file.getnumarg(O::OPT_RPT_THRESHOLD, 0), 0x1f);
}

TEST_F(OptionParser, DumpShowsStateKindAndArguments) {
  O o(true);
  ASSERT_TRUE(o.process_option("o2", nullptr));
  ASSERT_TRUE(o.process_option("q", nullptr));
  o.setopt(O::OPT_INFO_FILE);
  testing::internal::CaptureStdout();
  o.dump(0);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("--opt_level                SEEN      ENUMERATED ARG: 2\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("--quiet                    ENABLED   NO ARGS\n"), std::string::npos);
  EXPECT_NE(out.find("--info_file                SEEN      STRING ARG: <arg not provided>\n"),
            std::string::npos);
  EXPECT_NE(out.find("--abi                      not seen  ENUMERATED ARG: <arg not provided>\n"),
            std::string::npos);
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), O::OPTION_COUNT);
}

TEST_F(OptionParser, TracesWhenDebugging) {
  O o(false);
  o.debug_level(1);
  testing::internal::CaptureStdout();
  ASSERT_TRUE(o.process_option("q", nullptr));
  ASSERT_TRUE(o.process_option("-auto_inline=5", nullptr));
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("<options>: Parsed option id OPT_QUIET/49\n"), std::string::npos) << out;
  EXPECT_NE(out.find("<options>: Set    option id OPT_QUIET to state 1\n"), std::string::npos);
  EXPECT_NE(out.find("<options>: check 0 <= 5 <= 2147483647\n"), std::string::npos);
}

TEST_F(OptionParser, ConflictKindsActOnTheOlderOption) {
  // The tables of this tool are all zero; the machinery serves the tool chain.
  O::conflicts[O::OPT_USE_G3][O::OPT_USE_G2] = 2;
  O::conflicts[O::OPT_QUIET][O::OPT_VOLATILE] = 1;
  O o(false);
  {
    diag_capture capture;
    ASSERT_TRUE(o.process_option("-use_g2", nullptr));
    ASSERT_TRUE(o.process_option("-use_g3", nullptr));
    EXPECT_FALSE(o.parsed_option(O::OPT_USE_G2));
    EXPECT_NE(capture.text().find("warning: option --use_g3 overrides preceding option --use_g2"),
              std::string::npos);
  }
  ASSERT_TRUE(o.process_option("v", nullptr));
  EXPECT_EXIT(o.process_option("q", nullptr), testing::ExitedWithCode(1),
              "option -q conflicts with previous option -v");
  O internal(true);  // the internal object skips the check
  ASSERT_TRUE(internal.process_option("-use_g2", nullptr));
  ASSERT_TRUE(internal.process_option("-use_g3", nullptr));
  EXPECT_TRUE(internal.parsed_option(O::OPT_USE_G2));
  O::conflicts[O::OPT_USE_G3][O::OPT_USE_G2] = 0;
  O::conflicts[O::OPT_QUIET][O::OPT_VOLATILE] = 0;
}

TEST(OptionTables, AreConsistent) {
  std::set<std::string> long_names, short_names, spellings;
  for (int id = 0; id < O::OPTION_COUNT; ++id) {
    const O::option_definition& def = O::option_definitions[id];
    std::string name = def.name;
    for (char& c : name) c = static_cast<char>(tolower(c));
    EXPECT_EQ(name, def.name) << "names are written in lower case";
    EXPECT_TRUE(long_names.insert(name).second) << name;
    EXPECT_EQ(std::string("--") + def.name, O::enum_to_optiontxt[id]);
    if (def.short_name) {
      EXPECT_TRUE(short_names.insert(def.short_name).second);
    }
    bool enumerated = O::parm_type[id] == O::ENUMERATED_ARG || O::parm_type[id] == O::ONEOF_LIST_ARG;
    EXPECT_EQ(enumerated, def.items >= 0) << name;
    bool in_class = false;
    for (int c = 0; c < O::CLASS_COUNT; ++c)
      for (const O::option_id* p = O::classes[c]; *p >= 0; ++p)
        if (*p == id) {
          EXPECT_FALSE(in_class) << name << " is in two classes";
          EXPECT_EQ(c, def.cls) << name;
          in_class = true;
        }
    EXPECT_TRUE(in_class) << name;
  }
  // Every enumerator appears once, in the order of the lists.
  int expected = 0;
  for (int l = 0; l < O::OO_ITEMLIST_COUNT; ++l)
    for (int i = 0; i < O::item_lists[l].count; ++i)
      EXPECT_EQ(O::item_lists[l].items[i].value, expected++) << O::item_lists[l].name;
  EXPECT_EQ(expected, O::OO_ENUMERATOR_COUNT);
}

}  // namespace
