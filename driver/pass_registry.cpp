// The registry of passes: every name the order of driver/pipeline.cpp calls,
// by base name with the kinds of its arguments. The tables are resolved
// against it when the program starts; a name that is neither here nor on the
// not-built list, or a call whose arguments do not fit, stops the run.
//
// To add a pass: write it (void fast_CP(int, int)), include its header, and
// move its line from the not-built list to the built list as
//     pass("fast_CP", fast_CP),
// The signature comes from the function; ints and bools only. A pass that
// needs something else (the current FUNINFO, say) gets a small adapter here.
#include "driver/globals.h"
#include "driver/pass_table.h"
#include "driver/pipeline.h"
#include "icode/opt_write.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/deadasg.h"
#include "scalar/fcp.h"
#include "scalar/loop.h"
#include "scalar/regalloc.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/subrange.h"
#include "scalar/superblocks.h"
#include "ssa/alias.h"

namespace {

void validate_function_scope() {
  if (currfuninfo->root_scope) currfuninfo->root_scope->validate();
}

}  // namespace

const std::vector<PASS_DEF>& pass_registry() {
  static const std::vector<PASS_DEF> registry = {
      // Built.
      pass("LS::validate", validate_function_scope),
      pass("hidden-result rewrite", hidden_result_rewrite),
      pass("seq_trees", seq_trees),
      pass("buildcfg", buildcfg),
      pass("rebuildcfg", rebuildcfg),
      pass("simpcfg", simpcfg),
      pass("optimize_SWITCH_cases", optimize_SWITCH_cases),
      pass("unsimplify", unsimplify),
      pass("write_func_header", write_func_header),
      pass("write_func_body", write_func_body),
      pass("restore_global_flags", restore_global_flags),

      // Not built yet: the pipeline writes "~~~ pass not built yet, skipped:"
      // in the debug log in their place. In order of first use.
      not_built("init_skewed_offset_syms"),
      not_built("convert_safe_fl_statics_to_auto"),
      not_built("disguise_vector_operations"),
      not_built("beta_convert_using_mvp_ip"),
      not_built("beta_convert"),
      not_built("promote_all_embedded_assignments"),
      not_built("straighten_cond_paths"),
      not_built("LIR early run"),
      not_built("rename_symbols"),
      pass("fast_CP", fast_CP),
      not_built("add_MVP_IP_global_assertions"),
      not_built("repair_llvm_IV_copies"),
      not_built("disclose_vector_operations"),
      not_built("matcher_init"),
      not_built("coalesce_local_vector_symbols"),
      not_built("lower_vector_statements"),
      not_built("initialize_ssa_pointsto_mvp"),
      not_built("do_integer_value_propagation"),
      not_built("wrap_up_ssa_pointsto_mvp"),
      not_built("do_value_propagation"),
      not_built("explode_auto_struct_vars"),
      not_built("build_stack_sharing_type"),
      not_built<bool, bool, bool>("construct_SSA_form"),
      not_built("clone_SSA_NASSERTs"),
      not_built<int>("propagate_SSA_constants"),
      not_built("deconstruct_SSA_form"),
      not_built("eliminate_dead_SSA_assignments"),
      not_built<bool>("promote_vars_to_registers"),
      not_built("expand_bitfields"),
      not_built("add_loop_annotation_from_profile"),
      not_built("do_cd_vectorization"),
      not_built("do_dd_optimizations"),
      not_built("do_cd_ilp"),
      pass("copyprop", copyprop),
      pass("annotate_cfg", annotate_cfg),
      pass("gcse", gcse),
      pass("restructure_loops", restructure_loops),
      not_built("expand_cluster_refs"),
      pass("merge_symbols", merge_symbols),
      not_built("LIR mid run"),
      not_built("subst_csu_returning_temp_for_local_var"),
      pass("optimize_superblocks_in_cfg", optimize_superblocks_in_cfg),
      pass("reset_alias_info", reset_alias_info),
      pass("lcse_subrange_assignments", lcse_subrange_assignments),
      pass("elim_dead_subrange_assigns", elim_dead_subrange_assigns),
      not_built("convert_sti_to_cinit"),
      pass("lcse", lcse),
      not_built("propagate_increments"),
      not_built("LIR late run"),
      pass("combine_asgs_to_memory", combine_asgs_to_memory),
      pass("init_reg_defs", init_reg_defs),
      pass("allocate_regs", allocate_regs),
      pass("elim_dead_assigns", elim_dead_assigns),
      not_built("fold_ANDBASGs"),
      not_built("do_dd_analysis_for_be"),
      pass("rotate_loops", rotate_loops),
      pass("straighten_traces_in_cfg", straighten_traces_in_cfg),
      not_built("finalize_dd_edges"),
      // The pre-pass.
      not_built("check_for_synonym_function_in_pass_1"),
      not_built("check_integrable_definition"),
      not_built("preprocess_fundef"),
      not_built("identify_fl_statics_safe_for_auto"),
      not_built("save_call_sites"),
      not_built("collect_pass_1_info"),
      not_built("init_IP_MVP_for_current_function"),
  };
  return registry;
}
