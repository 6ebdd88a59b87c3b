// Every debug keyword the program reads, declared in one place until the
// pass that reads it declares its own. A pass may use these handles:
//   if (kw::debug_split_odb) ...;  int n = kw::debug_inline_n;
// A pass that declares its own register_option of the same key shares it.
#pragma once

#include "options/register_option.h"

namespace kw {

// "debug:" keywords
extern register_option debug_SIMD;
extern register_option debug_abort;
extern register_option debug_aggressive_vec;
extern register_option debug_alias;
extern register_option debug_align;
extern register_option debug_allochist;
// Checking mode: the checkers run after every pass (driver/checking.h).
extern register_option debug_check;
extern register_option debug_clone;
extern register_option debug_conservative_vec;
extern register_option debug_debug_SIMD;
extern register_option debug_dump_infix;
extern register_option debug_dump_infix_regs;
extern register_option debug_dump_infix_types;
extern register_option debug_dump_minimal;
extern register_option debug_dump_psn;
extern register_option debug_dump_scope;
extern register_option debug_dump_serial;
extern register_option debug_dump_sym_addr;
extern register_option debug_dump_tree_hint;
extern register_option debug_dumprules;
extern register_option debug_inform_SIMD;
extern register_option debug_inline_auto_limit;
extern register_option debug_inline_benefit_call;
extern register_option debug_inline_benefit_fold;
extern register_option debug_inline_benefit_pressure;
extern register_option debug_inline_commentary;
extern register_option debug_inline_n;
extern register_option debug_inline_pressure_limit;
extern register_option debug_inline_restrict;
extern register_option debug_inline_small_limit;
extern register_option debug_inline_static_limit;
extern register_option debug_lir_compare;
extern register_option debug_lir_full_types;
extern register_option debug_lir_revert_dump_dag;
extern register_option debug_lir_serial_compact;
extern register_option debug_lir_show;
extern register_option debug_lir_time;
extern register_option debug_max_unroll_size;
extern register_option debug_mdebug;
extern register_option debug_nfa_by_cost;
extern register_option debug_noinstrument;
extern register_option debug_oldrestrict;
extern register_option debug_optimizer_estimates;
extern register_option debug_parsemd;
extern register_option debug_parser;
// Lists the pass order with the passes not built yet.
extern register_option debug_passes;
// The time-per-pass table at the end of the run (driver/pass_times.h).
extern register_option debug_pass_times;
extern register_option debug_split_odb;
extern register_option debug_synrules;
extern register_option debug_unroll;
extern register_option debug_unroll_Complete_only;
extern register_option debug_unroll_MULTI;
extern register_option debug_zalloc;

// "enable:" keywords
extern register_option enable_dfn_ordering;
extern register_option enable_dom_ordering;
extern register_option enable_dont_do_critical_edges;
extern register_option enable_groupall;
extern register_option enable_innermost_loop_ordering;
extern register_option enable_interference_graph_phi_node_instantiation;
extern register_option enable_lir;
extern register_option enable_lir_early;
extern register_option enable_lir_late;
extern register_option enable_lir_late_ssa;
extern register_option enable_lir_mid;
extern register_option enable_lir_revert_simp;
extern register_option enable_lir_ssa_remove_useless_phis;
extern register_option enable_naive_phi_node_instantiation;
extern register_option enable_no_headers;
extern register_option enable_postdom_ordering;
extern register_option enable_static_profiling;

// "disable:" keywords
extern register_option disable_cliqueclusters;
extern register_option disable_downcounters;
extern register_option disable_ilp;
extern register_option disable_inline_folding;
extern register_option disable_inline_profiled;
extern register_option disable_inline_tiny_leaves;
extern register_option disable_inline_waves;
extern register_option disable_lir;
extern register_option disable_lir_early;
extern register_option disable_lir_mid;
extern register_option disable_lir_revert_clean;
extern register_option disable_lir_revert_detect_expr_trees;
extern register_option disable_lir_revert_trees;
extern register_option disable_lir_ssa_coalesce;
extern register_option disable_lir_ssa_remove_copies;
extern register_option disable_newinline;
extern register_option disable_serial_reset;
extern register_option disable_superblock_opt;
extern register_option disable_switch_hoisting;
extern register_option disable_tail_duplication;
extern register_option disable_target_expansion;
extern register_option disable_trace_straighten;
extern register_option disable_vecvec;
extern register_option disable_vn;

}  // namespace kw
