// Global flags from option objects, the command line over the file's option
// sets, per-function overrides, and the keyword registry.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "options/keywords.h"
#include "options/option_sets.h"
#include "options/optobj.h"
#include "options/register_option.h"

namespace {

using O = option_obj;

O parsed(std::initializer_list<const char*> texts) {
  O o(true);
  for (const char* text : texts) EXPECT_TRUE(o.process_option(text, nullptr)) << text;
  return o;
}

std::string read_all(FILE* f) {
  fflush(f);
  rewind(f);
  std::string all;
  for (int c; (c = fgetc(f)) != EOF;) all += static_cast<char>(c);
  return all;
}

class Flags : public ::testing::Test {
 protected:
  void SetUp() override {
    assign_default_global_flags();
    remove_hooks_when_inlining = 0;
    use_llvm = 0;
    inhibit_clustering = 0;
    clear_debug_keywords();
  }
  void TearDown() override {
    print_debug = 0;
    fdebug = nullptr;
    all_option_sets.clear();
    assign_default_global_flags();
    save_global_flags();
  }
};

TEST_F(Flags, DefaultsAreTheBuiltInOnes) {
  opt_level = 3;
  max_unrolled_loop_size = 7;
  aux_cmd_flag[4] = 1;
  use_llvm = 1;
  assign_default_global_flags();
  EXPECT_EQ(opt_level, 1);
  EXPECT_EQ(auto_inline, 1);
  EXPECT_EQ(optimize_code_size, -1);
  EXPECT_EQ(size_speed_goal, 4);
  EXPECT_EQ(program_mode, -1);
  EXPECT_EQ(max_unrolled_loop_size, 195);
  EXPECT_EQ(cache_sys_funinfo, 2);
  EXPECT_EQ(strict_fp, 1);
  EXPECT_EQ(aux_cmd_flag[4], 0);
  EXPECT_EQ(use_llvm, 1);  // a flag without a default is left alone
}

// Each option id lands on its flag; a wrong id in the switch shows here.
TEST_F(Flags, EveryOptionRowSetsItsFlag) {
  struct row {
    const char* option;
    int* flag;
    int expected;
  };
  const row rows[] = {
      {"-aliased_variables", &alias_vars, 1},
      {"-auto_inline=40", &auto_inline, 40},
      {"-single_inline", &inline_single, 1},
      {"-opt_for_space=2", &optimize_code_size, 2},
      {"-program_mode=3", &program_mode, 3},
      {"-no_bad_aliases", &dwim_aliases, 1},
      {"-no_bad_aliases", &dwim_loops, 1},
      {"-dwim_loops", &dwim_loops, 1},
      {"-big_endian", &memory_is_big_endian, 1},
      {"-endian=big", &memory_is_big_endian, 1},
      {"-fp_mode=relaxed", &strict_fp, 0},
      {"-fp_reassoc=off", &fp_add_is_associative, 0},
      {"-sat_reassoc=on", &saturating_add_is_associative, 1},
      {"-far_externs", &far_externs, 1},
      {"k", &kr_flag, 1},
      {"-pass_args_in_regs", &pass_args_in_regs, 1},
      {"q", &quiet_mode, 1},
      {"s", &source_interlist, 1},
      {"-remove_hooks_when_inlining", &remove_hooks_when_inlining, 1},
      {"-interrupt_threshold=900", &interrupt_threshold, 900},
      {"-max_unroll_size=64", &max_unrolled_loop_size, 64},
      {"-non_reentrant", &code_is_reentrant, 0},
      {"-std_lib_func_defined", &cache_sys_funinfo, 1},
      {"-std_lib_func_redefined", &cache_sys_funinfo, 0},
      {"-unsigned_rpt_count", &unsigned_ok_for_RPTB, 1},
      {"-old_const_pointers", &old_const_pointer_behavior, 1},
      {"-use_g2", &use_g2, 1},
      {"-use_llvm", &use_llvm, 1},
      {"v", &volit_vars, 1},
      {"-dump_ocg_gdl", &dump_ocg_in_GDL, 1},
      {"-disable_rptk", &enable_kv5_RPTK, 0},
  };
  for (const row& r : rows) {
    SetUp();
    O o = parsed({r.option});
    set_global_flags(&o);
    EXPECT_EQ(*r.flag, r.expected) << r.option;
  }
  // Later options win over earlier ones that set the same flag.
  SetUp();
  O later = parsed({"-big_endian", "-fp_mode=relaxed", "-endian=little", "-fp_mode=strict"});
  set_global_flags(&later);
  EXPECT_EQ(memory_is_big_endian, 0);
  EXPECT_EQ(strict_fp, 1);
  SetUp();
  O g = parsed({"-use_g2", "-use_g3", "-std_lib_func_redefined", "-std_lib_func_not_defined"});
  set_global_flags(&g);
  EXPECT_EQ(use_g2, 0);
  EXPECT_EQ(cache_sys_funinfo, 2);
}

TEST_F(Flags, OptLevelAndSizeSpeedGoalMaps) {
  const int levels[] = {0, 1, 2, 3, 4, 0};  // enumerators 33 to 38
  for (int e = 33; e <= 38; ++e) {
    O o(true);
    o.setopt(O::OPT_OPT_LEVEL, static_cast<long>(e));
    opt_level = 9;
    set_global_flags(&o);
    EXPECT_EQ(opt_level, levels[e - 33]) << e;
  }
  const int goals[] = {5, 0, 3, 2, 4, 1};  // enumerators 43 to 48
  for (int e = 43; e <= 48; ++e) {
    O o(true);
    o.setopt(O::OPT_SIZE_SPEED_GOAL, static_cast<long>(e));
    set_global_flags(&o);
    EXPECT_EQ(size_speed_goal, goals[e - 43]) << e;
  }
  // The words a user writes are the goals and levels themselves.
  for (int goal = 0; goal <= 5; ++goal) {
    O o = parsed({("-size_speed_goal=" + std::to_string(goal)).c_str()});
    set_global_flags(&o);
    EXPECT_EQ(size_speed_goal, goal);
  }
  O off = parsed({"-opt_level=off"});
  O zero = parsed({"o0"});
  set_global_flags(&off);
  EXPECT_EQ(opt_level, 0);
  opt_level = 2;
  set_global_flags(&zero);
  EXPECT_EQ(opt_level, 0);
}

TEST_F(Flags, InvalidEnumeratorAbortsTheRun) {
  O level(true), goal(true);
  level.setopt(O::OPT_OPT_LEVEL, 39L);
  goal.setopt(O::OPT_SIZE_SPEED_GOAL, 42L);
  EXPECT_EXIT(set_global_flags(&level), testing::ExitedWithCode(1),
              "--opt_level given invalid value: 39\n");
  EXPECT_EXIT(set_global_flags(&goal), testing::ExitedWithCode(1),
              "--size_speed_goal given invalid value:  42\n");
}

// As open_files does it: each option set of the file, the command line on top.
TEST_F(Flags, CommandLineOverridesTheFileOptionSets) {
  O cmdline = parsed({"o3", "-fp_mode=relaxed", "-disable=vn,ilp=0"});
  O set0 = parsed({"-opt_level=2", "q", "-size_speed_goal=0", "-fp_mode=strict"});
  O set1 = parsed({"o0", "-volatile"});
  set0.import_options(cmdline);
  set1.import_options(cmdline);

  assign_default_global_flags();
  set_global_flags(&set0);
  EXPECT_EQ(opt_level, 3);
  EXPECT_EQ(quiet_mode, 1);
  EXPECT_EQ(size_speed_goal, 0);
  EXPECT_EQ(strict_fp, 0);
  EXPECT_EQ(volit_vars, 0);
  EXPECT_EQ(pass_disable("vn"), 1);
  EXPECT_EQ(pass_disable("ilp"), 0);
  EXPECT_EQ(pass_enable("vn"), 0);

  assign_default_global_flags();
  set_global_flags(&set1);
  EXPECT_EQ(opt_level, 3);
  EXPECT_EQ(volit_vars, 1);
}

TEST_F(Flags, PerFunctionOptionsAreRestoredAfterTheFunction) {
  O set0 = parsed({"o2", "-auto_inline=9"});
  O set1 = parsed({"o0", "-fp_reassoc=off"});
  all_option_sets = {&set0, &set1};
  set_global_flags(&set0);
  save_global_flags();

  FUNINFO plain;
  apply_function_options(&plain, 0);  // set 0: nothing changes
  EXPECT_EQ(opt_level, 2);
  EXPECT_EQ(auto_inline, 9);

  apply_function_options(&plain, 1);
  EXPECT_EQ(opt_level, 0);
  EXPECT_EQ(auto_inline, 1);  // reset, not inherited from set 0
  EXPECT_EQ(fp_add_is_associative, 0);
  EXPECT_EQ(inhibit_clustering, 1);
  restore_global_flags();
  EXPECT_EQ(opt_level, 2);
  EXPECT_EQ(auto_inline, 9);
  EXPECT_EQ(fp_add_is_associative, 1);

  // An override text wins over the option set; words without '-' are skipped.
  char text[] = "-o3 junk -z2 --fp_mode=relaxed";
  FUNINFO overridden;
  overridden.override_options = text;
  apply_function_options(&overridden, 1);
  EXPECT_EQ(opt_level, 3);
  EXPECT_EQ(optimize_code_size, 2);
  EXPECT_EQ(strict_fp, 0);
  EXPECT_EQ(auto_inline, 1);
  restore_global_flags();
  EXPECT_EQ(opt_level, 2);
  EXPECT_EQ(optimize_code_size, -1);
  EXPECT_EQ(strict_fp, 1);

  EXPECT_EXIT(apply_function_options(&plain, 5), testing::ExitedWithCode(1),
              "option set 5, the file has 2");
}

TEST_F(Flags, TracesOfRestoreAndOverride) {
  FILE* log = tmpfile();
  fdebug = log;
  print_debug = 1;
  save_global_flags();
  set_override_options("-o0 -z1");
  restore_global_flags();
  EXPECT_EQ(read_all(log),
            "[Overriding options to be \"-o0 -z1\" --> -o0 -i1 -Z1 --opt_for_speed=4]\n"
            "[Restoring options --> -o1 -i1 --opt_for_speed=4]\n");
  fclose(log);
}

TEST_F(Flags, FilePragmaOverridesPersistAcrossFunctions) {
  EXPECT_FALSE(apply_file_option_pragma("-o3"));
  EXPECT_EQ(opt_level, 1);
  EXPECT_TRUE(apply_file_option_pragma("$-o3 -q"));
  EXPECT_EQ(opt_level, 3);
  EXPECT_EQ(quiet_mode, 1);
  opt_level = 0;  // what a function's own options would do
  restore_global_flags();
  EXPECT_EQ(opt_level, 3);
  EXPECT_EQ(quiet_mode, 1);
}

TEST_F(Flags, AuxiliaryFlagsNeedThePrivateOption) {
  O without = parsed({"-aux_flags=3,rev2"});
  set_global_flags(&without);
  EXPECT_EQ(aux_cmd_flag[3], 0);
  EXPECT_EQ(XDEV_Si, 1);
  assign_default_global_flags();
  O with = parsed({"-aux_flags=3,7", "-private_flags"});
  set_global_flags(&with);
  EXPECT_EQ(aux_cmd_flag[3], 1);
  EXPECT_EQ(aux_cmd_flag[7], 1);
  EXPECT_EQ(XDEV_Si, 0);
  save_global_flags();
  aux_cmd_flag[3] = 0;
  restore_global_flags();
  EXPECT_EQ(aux_cmd_flag[3], 1);
}

TEST_F(Flags, KeywordRegistry) {
  process_debug_option("debug", "inline_n=0x10,split_odb,unroll=0");
  EXPECT_EQ(pass_debug("inline_n"), 16);
  EXPECT_EQ(pass_debug("split_odb"), 1);
  EXPECT_EQ(pass_debug("unroll"), 0);
  EXPECT_EQ(pass_debug("absent"), 0);
  process_debug_option("enable", "lir");
  process_debug_option("disable", "lir");
  EXPECT_EQ(pass_enable("lir"), 1);
  EXPECT_EQ(pass_disable("lir"), 1);

  // Keys stay sorted and findable as the table grows past its steps.
  for (int i = 299; i >= 0; --i)
    process_debug_option("debug", ("k" + std::to_string(i) + "=" + std::to_string(i)).c_str());
  for (int i = 0; i < 300; ++i) EXPECT_EQ(pass_debug(("k" + std::to_string(i)).c_str()), i);
  int before = debug_keyword_count();
  process_debug_option("debug", "k5=50");
  EXPECT_EQ(debug_keyword_count(), before);
  EXPECT_EQ(pass_debug("k5"), 50);

  // A name too long for the key buffer is dropped; the bare prefix is set.
  process_debug_option("debug", std::string(600, 'n').c_str());
  EXPECT_EQ(debug_keyword_value("debug:"), 1);

  register_option unroll("debug:unroll");
  register_option same("debug:unroll");
  EXPECT_EQ(unroll.key(), same.key());
  EXPECT_FALSE(unroll);
  unroll = 4;
  EXPECT_EQ(static_cast<int>(same), 4);
  EXPECT_EQ(pass_debug("unroll"), 4);
  EXPECT_TRUE(register_option::is_registered("debug:split_odb"));
  EXPECT_TRUE(register_option::is_registered("disable:serial_reset"));
  EXPECT_FALSE(register_option::is_registered("debug:no_such_keyword"));
  EXPECT_EQ(declared_keyword_count(), 92);
  EXPECT_EQ(kw::disable_vn.key(), std::string("disable:vn"));
}

TEST_F(Flags, DebugLinesGoToTheDebugStreamOnlyWhenOn) {
  FILE* log = tmpfile();
  fdebug = log;
  print_debug = 0;
  dprintf("~~~#BP#1 %s\n", "hidden");
  print_debug = 1;
  dprintf("~~~#BP#1 %s\n", "f");
  EXPECT_EQ(read_all(log), "~~~#BP#1 f\n");
  fclose(log);
}

}  // namespace
