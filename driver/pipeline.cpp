// The fixed order of passes. `function_steps` is the order that
// do_the_current_function runs on each function of the second reading,
// `prepass_steps` the shorter one run at the end of each function of the
// first reading. Each row is a step of typed records (driver/pass_table.h):
// its number, its condition, the passes with their arguments as data, and
// the two special cases as fields (a debug line; the stop of a suppressed
// function). Passes are looked up by name in driver/pass_registry.cpp once,
// at start-up; a pass that is registered but not built writes
// "~~~ pass not built yet, skipped: NAME" in the debug log. In checking mode
// (driver/checking.h) the checkers run after each pass.
#include "driver/pipeline.h"

#include <cstdio>
#include <string>

#include "driver/checking.h"
#include "driver/files.h"
#include "driver/globals.h"
#include "driver/pass_table.h"
#include "driver/pass_times.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "options/option_sets.h"
#include "scalar/cfg.h"
#include "scalar/fcp.h"

namespace {

bool O1() { return opt_level > 0; }
bool O2() { return opt_level > 1; }
bool always() { return true; }

bool lir_run_enabled(const char* which) {
  return (pass_enable(which) || pass_enable("lir")) && !pass_disable(which) && !pass_disable("lir");
}

bool returns_by_copy_constructor() {
  TYPE* ft = currfunc->type;
  return ft && ft->getr_func()->result && ft->getr_func()->result->is_void() &&
         symbol_has_pragma(currfunc, PRAGMA_RET_BY_CCTOR) && currfuninfo->stmts;
}

bool int_MVP() { return do_int_MVP; }

void main_trace() { dprintf("~~~#MAIN#1 do_int_MVP=%d %s()\n", do_int_MVP ? 1 : 0, currfunc->name); }

const CONDITION kAlways{"always", always};
const CONDITION kO1{"O1", O1};
const CONDITION kO2{"O2", O2};

std::vector<STEP>& function_steps_unresolved() {
  static std::vector<STEP> steps = {
      {1, kAlways, {"LS::validate"}},
      {2, kAlways, {"init_skewed_offset_syms"}},
      {3, {"void result, pragma FUNC_RET_BY_CCTOR, statements", returns_by_copy_constructor},
       {"hidden-result rewrite"}},
      {4, kAlways, {"convert_safe_fl_statics_to_auto"}},
      {5, kAlways, {"seq_trees", "buildcfg", "disguise_vector_operations"}},
      {6, {"do_beta_MVP", [] { return do_beta_MVP; }}, {"beta_convert_using_mvp_ip"}},
      {6, {"not do_beta_MVP", [] { return !do_beta_MVP; }}, {"beta_convert"}},
      {7, kAlways, {call("simpcfg", false, false), "promote_all_embedded_assignments", "straighten_cond_paths"}},
      {8, {"lir_early", [] { return lir_run_enabled("lir_early"); }}, {"LIR early run"}},
      {9, kAlways, {"rename_symbols", call("fast_CP", 4, 1)}},
      {10, {"do_IP_MVP", [] { return do_IP_MVP; }}, {"add_MVP_IP_global_assertions"}},
      {11, kAlways,
       {"repair_llvm_IV_copies", "disclose_vector_operations", "matcher_init", "coalesce_local_vector_symbols",
        "lower_vector_statements", "disguise_vector_operations"}},
      {12, kO2, {}, main_trace},
      // do_int_MVP is tested again before each pass of step 13.
      {13, {"O2 and do_int_MVP", [] { return O2() && do_int_MVP; }},
       {PASS_CALL("initialize_ssa_pointsto_mvp", {}, int_MVP), PASS_CALL("do_integer_value_propagation", {}, int_MVP),
        PASS_CALL("wrap_up_ssa_pointsto_mvp", {}, int_MVP)}},
      {14, {"O2 and do_MDF_vectorization", [] { return O2() && do_MDF_vectorization; }},
       {"do_value_propagation", call("simpcfg", false, false), "rebuildcfg", call("simpcfg", false, false)}},
      {15, kO2, {"explode_auto_struct_vars"}},
      {16, kAlways, {"build_stack_sharing_type"}},
      {17, kO2,
       {call("construct_SSA_form", false, false, true), "clone_SSA_NASSERTs", call("propagate_SSA_constants", 1),
        "deconstruct_SSA_form", call("construct_SSA_form", false, false, true), "eliminate_dead_SSA_assignments",
        "deconstruct_SSA_form", call("promote_vars_to_registers", true)}},
      {18, kAlways,
       {"expand_bitfields", call("fast_CP", 0, 1), "add_loop_annotation_from_profile", "do_cd_vectorization",
        "do_dd_optimizations", "do_cd_ilp", call("fast_CP", 4, 1), "disclose_vector_operations"}},
      {19, {"O2 and more than one block", [] { return O2() && cfg.bb_count > 1; }},
       {call("copyprop", 1), "annotate_cfg", "gcse", "restructure_loops", "rename_symbols", "expand_cluster_refs",
        "merge_symbols"}},
      {19, {"O2 and at most one block", [] { return O2() && cfg.bb_count <= 1; }}, {"expand_cluster_refs"}},
      {20, kAlways, {"disguise_vector_operations"}},
      {21, {"lir_mid", [] { return lir_run_enabled("lir_mid"); }}, {"LIR mid run"}},
      {22, kAlways, {"disclose_vector_operations", "subst_csu_returning_temp_for_local_var"}},
      {23, kO1,
       {"optimize_superblocks_in_cfg", "reset_alias_info", "lcse_subrange_assignments", "elim_dead_subrange_assigns",
        call("copyprop", 1)}},
      {24, kO2, {"convert_sti_to_cinit"}},
      {25, kO1, {"lcse", "propagate_increments"}},
      {26, kAlways, {"disguise_vector_operations"}},
      {27, {"enable:lir_late", [] { return pass_enable("lir_late") != 0; }}, {"LIR late run"}},
      {28, kAlways,
       {"combine_asgs_to_memory", "optimize_SWITCH_cases", "init_reg_defs", "allocate_regs",
        call("elim_dead_assigns", 0, 0)}},
      // A function suppressed while it was optimised is not written.
      {29, {"FUN_is_suppressed", [] { return (currfuninfo->flags & FUN_is_suppressed) != 0; }},
       {"restore_global_flags"}, nullptr, true},
      {30, kAlways,
       {"write_func_header", "fold_ANDBASGs", "do_dd_analysis_for_be", call("simpcfg", true, false), "rotate_loops"}},
      {31, {"stage 2", [] { return fileinfo.stage == STAGE_SECOND_READING; }}, {"straighten_traces_in_cfg"}},
      {32, kAlways,
       {"disclose_vector_operations", "unsimplify", "disguise_vector_operations", "finalize_dd_edges",
        "disclose_vector_operations", "write_func_body", "restore_global_flags"}},
  };
  return steps;
}

// Steps 2 to 10 of the pre-pass; steps 1 and 11 are run_prepass_pipeline's
// own.
std::vector<STEP>& prepass_steps_unresolved() {
  static std::vector<STEP> steps = {
      {2, kAlways, {"check_for_synonym_function_in_pass_1", "check_integrable_definition"}},
      {3, kAlways, {"seq_trees", "buildcfg", call("simpcfg", false, false)}},
      {4, kO2, {call("fast_CP", 4, 0), call("elim_dead_assigns", 0, 0)}},
      {5, kAlways, {call("fast_CP", 4, 0)}},
      {6, kO2, {"do_value_propagation"}},
      {7, kAlways, {"preprocess_fundef", "identify_fl_statics_safe_for_auto"}},
      {8, kAlways, {"save_call_sites"}},
      {9, {"not disable:newinline", [] { return !pass_disable("newinline"); }}, {"collect_pass_1_info"}},
      {10, {"do_IP_MVP", [] { return do_IP_MVP; }}, {"init_IP_MVP_for_current_function"}},
  };
  return steps;
}

// The tables resolved against the registry; an internal error stops the run
// when anything does not resolve.
void resolve_once() {
  static bool done = false;
  if (done) return;
  done = true;
  std::vector<std::string> problems = pass_table_problems();
  if (problems.empty()) return;
  for (const std::string& p : problems) fprintf(stderr, "!!! Opt error in the pass order: %s !!!\n", p.c_str());
  abort_optimizer();
}

void print_steps(FILE* out, const std::vector<STEP>& steps) {
  for (const STEP& s : steps) {
    fprintf(out, "%3d  [%s]\n", s.number, s.when.text);
    if (s.trace) fprintf(out, "       (debug line)\n");
    for (const PASS_CALL& c : s.passes) {
      if (c.def && c.def->built()) fprintf(out, "       %s\n", c.text().c_str());
      else fprintf(out, "       %-44snot built\n", c.text().c_str());
    }
    if (s.ends_function) fprintf(out, "       (the function ends here)\n");
  }
}

}  // namespace

void resolve_pass_order() { resolve_once(); }

std::vector<std::string> pass_table_problems() {
  return resolve_steps({&function_steps_unresolved(), &prepass_steps_unresolved()}, pass_registry());
}

const std::vector<STEP>& function_steps() {
  resolve_once();
  return function_steps_unresolved();
}

const std::vector<STEP>& prepass_steps() {
  resolve_once();
  return prepass_steps_unresolved();
}

void print_pass_order(FILE* out) {
  fprintf(out, "Pass order of each function (step, [condition], pass):\n");
  print_steps(out, function_steps());
  fprintf(out, "Pre-pass of each function:\n");
  print_steps(out, prepass_steps());
}

void note_not_built(const std::string& what) {
  if (print_debug && fdebug) fprintf(fdebug, "~~~ pass not built yet, skipped: %s\n", what.c_str());
}

void do_the_current_function() {
  pred_temp_count = 0;
  csu_returning_function_parameter = nullptr;
  checking_begin_function();
  run_steps(function_steps());
}

void run_prepass_pipeline() {
  if (currfunc->sclass == SC_EXTDEF && !(currfunc->scqual & SQ_INLINE) && !firstExternFuninfo)
    firstExternFuninfo = currfuninfo;
  checking_begin_function();
  run_steps(prepass_steps(), "pre-pass: ");
  erase_all();
  restore_global_flags();
  currfuninfo->body[0] = currfuninfo->body[1] = nullptr;
  currfunc = nullptr;
  currfuninfo = nullptr;
}

void do_one_function(FUNLIST* element) {
  currfunc = element->fun->sym;
  uint16_t saved_qualifier = currfunc->scqual;
  currfunc->scqual &= static_cast<uint16_t>(~SQ_CLEARED_WHILE_OPTIMISED);
  FILE* saved_debug = fdebug;
  bool switched_log = false;
  if (print_debug && pass_debug("split_odb")) {
    open_debug_file(1, currfunc->name);
    switched_log = true;
  }
  SYMTAB* promised = currfunc;
  {
    PASS_CLOCK clock("second reading");
    i_file->if_read_func(promised->file_offset);
  }
  // The offset is the file's own word: a record there that begins another
  // function (or the same name under another symbol) is a broken file, and
  // going on would optimise one function in the place of another.
  if (currfunc != promised || currfuninfo != element->fun) I_FILE::if_bad_record();
  if (write_opt_info && finfo) fprintf(finfo, "\n%s\n", std::string(78, '=').c_str());
  dump_FUNINFO(currfuninfo, nullptr);
  if (currfuninfo->root_scope) currfuninfo->root_scope->print(true, nullptr, 0, true);
  do_the_current_function();
  currfunc->scqual = saved_qualifier;
  clear_fast_CP_maps();
  erase_all();
  if (switched_log && fdebug && fdebug != saved_debug) {
    if (fdebug != stderr) fclose(fdebug);
    fdebug = saved_debug;
  }
}
