#include "driver/pipeline.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>

#include "driver/files.h"
#include "driver/globals.h"
#include "icode/if_file.h"
#include "icode/opt_write.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/option_sets.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/fcp.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "ssa/alias.h"

namespace {

// A step of the order: its number in the table, the condition that enables
// it, and the passes it runs in order.
struct STEP {
  int number;
  std::function<bool()> enabled;
  std::vector<std::string> passes;
};

bool O1() { return opt_level > 0; }
bool O2() { return opt_level > 1; }
bool always() { return true; }
bool lir_run_enabled(const char* which) {
  return (pass_enable(which) || pass_enable("lir")) && !pass_disable(which) && !pass_disable("lir");
}

void hidden_result_rewrite();

// The passes that exist, by the name the order uses.
const std::map<std::string, std::function<void()>>& built_passes() {
  static const std::map<std::string, std::function<void()>> passes = {
      {"LS::validate", [] { if (currfuninfo->root_scope) currfuninfo->root_scope->validate(); }},
      {"hidden-result rewrite", hidden_result_rewrite},
      {"seq_trees", seq_trees},
      {"unsimplify", unsimplify},
      {"buildcfg", buildcfg},
      {"renumber_bblocks", renumber_bblocks},
      {"rebuildcfg", rebuildcfg},
      {"simpcfg(false, false)", [] { simpcfg(false, false); }},
      {"simpcfg(true, false)", [] { simpcfg(true, false); }},
      {"optimize_SWITCH_cases", optimize_SWITCH_cases},
      {"fast_CP(4, 1)", [] { fast_CP(4, 1); }},
      {"fast_CP(0, 1)", [] { fast_CP(0, 1); }},
      {"fast_CP(4, 0)", [] { fast_CP(4, 0); }},
      {"combine_asgs_to_memory", combine_asgs_to_memory},
      {"copyprop(1)", [] { copyprop(1); }},
      {"annotate_cfg", annotate_cfg},
      {"gcse", gcse},
      {"lcse", lcse},
      {"reset_alias_info", reset_alias_info},
      {"write_func_header", write_func_header},
      {"write_func_body", write_func_body},
      {"restore_global_flags", restore_global_flags},
  };
  return passes;
}

const std::vector<STEP>& pipeline() {
  static const std::vector<STEP> steps = {
      {1, always, {"LS::validate"}},
      {2, always, {"init_skewed_offset_syms"}},
      {3, [] {
         return currfunc->type && currfunc->type->getr_func()->result && currfunc->type->getr_func()->result->is_void() &&
                symbol_has_pragma(currfunc, 81) && currfuninfo->stmts;
       },
       {"hidden-result rewrite"}},
      {4, always, {"convert_safe_fl_statics_to_auto"}},
      {5, always, {"seq_trees", "buildcfg", "disguise_vector_operations"}},
      {6, [] { return do_beta_MVP; }, {"beta_convert_using_mvp_ip"}},
      {6, [] { return !do_beta_MVP; }, {"beta_convert"}},
      {7, always, {"simpcfg(false, false)", "promote_all_embedded_assignments", "straighten_cond_paths"}},
      {8, [] { return lir_run_enabled("lir_early"); }, {"LIR early run"}},
      {9, always, {"rename_symbols", "fast_CP(4, 1)"}},
      {10, [] { return do_IP_MVP; }, {"add_MVP_IP_global_assertions"}},
      {11, always,
       {"repair_llvm_IV_copies", "disclose_vector_operations", "matcher_init", "coalesce_local_vector_symbols",
        "lower_vector_statements", "disguise_vector_operations"}},
      {13, [] { return O2() && do_int_MVP; },
       {"initialize_ssa_pointsto_mvp", "do_integer_value_propagation", "wrap_up_ssa_pointsto_mvp"}},
      {14, [] { return O2() && do_MDF_vectorization; },
       {"do_value_propagation", "simpcfg(false, false)", "rebuildcfg", "simpcfg(false, false)"}},
      {15, O2, {"explode_auto_struct_vars"}},
      {16, always, {"build_stack_sharing_type"}},
      {17, O2,
       {"construct_SSA_form(false, false, true)", "clone_SSA_NASSERTs", "propagate_SSA_constants(1)",
        "deconstruct_SSA_form", "construct_SSA_form(false, false, true)", "eliminate_dead_SSA_assignments",
        "deconstruct_SSA_form", "promote_vars_to_registers(true)"}},
      {18, always,
       {"expand_bitfields", "fast_CP(0, 1)", "add_loop_annotation_from_profile", "do_cd_vectorization",
        "do_dd_optimizations", "do_cd_ilp", "fast_CP(4, 1)", "disclose_vector_operations"}},
      {19, [] { return O2() && cfg.bb_count > 1; },
       {"copyprop(1)", "annotate_cfg", "gcse", "restructure_loops", "rename_symbols", "expand_cluster_refs",
        "merge_symbols"}},
      {19, [] { return O2() && cfg.bb_count <= 1; }, {"expand_cluster_refs"}},
      {20, always, {"disguise_vector_operations"}},
      {21, [] { return lir_run_enabled("lir_mid"); }, {"LIR mid run"}},
      {22, always, {"disclose_vector_operations", "subst_csu_returning_temp_for_local_var"}},
      {23, O1,
       {"optimize_superblocks_in_cfg", "reset_alias_info", "lcse_subrange_assignments", "elim_dead_subrange_assigns",
        "copyprop(1)"}},
      {24, O2, {"convert_sti_to_cinit"}},
      {25, O1, {"lcse", "propagate_increments"}},
      {26, always, {"disguise_vector_operations"}},
      {27, [] { return pass_enable("lir_late"); }, {"LIR late run"}},
      {28, always,
       {"combine_asgs_to_memory", "optimize_SWITCH_cases", "init_reg_defs", "allocate_regs", "elim_dead_assigns(0, 0)"}},
      // Step 29, a suppressed function, is decided in do_the_current_function.
      {30, always, {"write_func_header", "fold_ANDBASGs", "do_dd_analysis_for_be", "simpcfg(true, false)", "rotate_loops"}},
      {31, [] { return fileinfo.stage == 2; }, {"straighten_traces_in_cfg"}},
      {32, always,
       {"disclose_vector_operations", "unsimplify", "disguise_vector_operations", "finalize_dd_edges",
        "disclose_vector_operations", "write_func_body", "restore_global_flags"}},
  };
  return steps;
}

const std::vector<std::string> kPrepassPasses = {
    "check_for_synonym_function_in_pass_1", "check_integrable_definition", "seq_trees", "buildcfg",
    "simpcfg(false, false)", "fast_CP(4, 0)", "elim_dead_assigns(0, 0)", "do_value_propagation",
    "preprocess_fundef", "identify_fl_statics_safe_for_auto", "collect_pass_1_info"};

void skipped(const std::string& name) { note_not_built(name); }

void run_pass(const std::string& name) {
  const auto& built = built_passes();
  auto it = built.find(name);
  if (it != built.end()) it->second();
  else skipped(name);
}

// A function returning a class by copy construction copies its hidden result
// pointer to a local first; assert that the pointer is not null so that
// later passes may rely on it.
void hidden_result_rewrite() {
  LIST* first = currfuninfo->stmts;  // still newest first: the function's first statement is last
  if (!first) return;
  while (first->next) first = first->next;
  NODE* t = first->tree;
  while (t && t->op == PCOMMA) t = t->left;
  if (!t || t->op != ASG || !t->left || !t->right || t->left->op != NAME || t->right->op != NAME) return;
  SYMTAB* l = static_cast<SYMTAB*>(t->left->sym);
  SYMTAB* r = static_cast<SYMTAB*>(t->right->sym);
  if (!l || !r || l->lex_level != 2 || r->lex_level != 1 || r->serial != 0) return;
  if (strcmp(l->name, r->name) != 0) return;
  TYPE* lt = l->type && l->type->rep ? l->type->rep : l->type;
  if (!lt || lt->kind != TYPE::KIND_POINTER) return;
  TYPE* target = lt->type_pointed_to();
  TYPE* tr = target && target->rep ? target->rep : target;
  if (!tr || tr->kind < TYPE::KIND_CLASS || tr->kind > TYPE::KIND_UNION) return;
  if (!compatible_types(l->type, r->type, false)) return;
  csu_returning_function_parameter = l;
  TYPE* ctype = tp->mk_qual(r->type, TYPE::Q_CONST);
  t->type = t->left->type = t->right->type = ctype;
  l->type = r->type = ctype;
  NODE* zero = coerce_to_type(ctype, mk_ICON(INT65(0), tp->basic[TYPE_PKG::BT_INT]));
  NODE* neq = maketree(NEQ, mk_NAME(l, nullptr), zero, tp->basic[TYPE_PKG::BT_INT], nullptr);
  NODE* assertion = maketree(NASSERT, neq, nullptr, tp->basic[TYPE_PKG::BT_VOID], nullptr);
  // The cell keeps its position and takes the assertion; the copy moves to a
  // new cell behind it, so that in source order the assertion follows it.
  first->next = mkelist(first->tree, nullptr, first->psn);
  first->tree = assertion;
}

}  // namespace

void note_not_built(const std::string& what) {
  if (print_debug && fdebug) fprintf(fdebug, "~~~ pass not built yet, skipped: %s\n", what.c_str());
}

const std::vector<std::string>& passes_not_built_yet() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> v;
    auto add = [&v](const std::string& n) {
      if (!built_passes().count(n) && std::find(v.begin(), v.end(), n) == v.end()) v.push_back(n);
    };
    for (const STEP& s : pipeline())
      for (const std::string& n : s.passes) add(n);
    for (const std::string& n : kPrepassPasses) add(n);
    return v;
  }();
  return names;
}

std::vector<std::string> pipeline_pass_names() {
  std::vector<std::string> v;
  for (const STEP& s : pipeline()) v.insert(v.end(), s.passes.begin(), s.passes.end());
  return v;
}

bool pass_is_built(const std::string& name) { return built_passes().count(name) != 0; }

void do_the_current_function() {
  pred_temp_count = 0;
  csu_returning_function_parameter = nullptr;
  for (const STEP& s : pipeline()) {
    if (s.number == 12 || s.number == 13) {
      if (O2()) dprintf("~~~#MAIN#1 do_int_MVP=%d %s()\n", do_int_MVP ? 1 : 0, currfunc->name);
    }
    if (s.number == 30 && (currfuninfo->flags & FUN_is_suppressed)) {
      restore_global_flags();
      return;
    }
    if (!s.enabled()) continue;
    for (const std::string& name : s.passes) run_pass(name);
  }
}

void run_prepass_pipeline() {
  if (currfunc->sclass == SC_EXTDEF && !(currfunc->scqual & 0x0004) && !firstExternFuninfo)
    firstExternFuninfo = currfuninfo;
  run_pass("check_for_synonym_function_in_pass_1");
  run_pass("check_integrable_definition");
  run_pass("seq_trees");
  run_pass("buildcfg");
  run_pass("simpcfg(false, false)");
  if (O2()) {
    run_pass("fast_CP(4, 0)");
    run_pass("elim_dead_assigns(0, 0)");
  }
  run_pass("fast_CP(4, 0)");
  if (O2()) run_pass("do_value_propagation");
  run_pass("preprocess_fundef");
  run_pass("identify_fl_statics_safe_for_auto");
  if (!pass_disable("newinline")) run_pass("collect_pass_1_info");
  erase_all();
  restore_global_flags();
  currfuninfo->body[0] = currfuninfo->body[1] = nullptr;
  currfunc = nullptr;
  currfuninfo = nullptr;
}

void do_one_function(FUNLIST* element) {
  currfunc = element->fun->sym;
  uint16_t saved_qualifier = currfunc->scqual;
  currfunc->scqual &= static_cast<uint16_t>(~0x000c);
  FILE* saved_debug = fdebug;
  bool switched_log = false;
  if (print_debug && pass_debug("split_odb")) {
    open_debug_file(1, currfunc->name);
    switched_log = true;
  }
  i_file->if_read_func(currfunc->file_offset);
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
