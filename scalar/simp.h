// The tree simplifier: the one canonicaliser of expression trees. Every pass
// that builds or edits a tree hands it to simp_tree or simp_node and uses the
// tree that comes back; the argument is consumed (nodes of it may be freed or
// reused), and a statement whose result is null had no effect.
//
// Two optional arguments run through the entry points: the innermost loop
// the tree lies in and a range environment. Both only sharpen value bounds;
// null gives the conservative answer.
#pragma once
#include "ir/int65.h"

struct NODE;
struct LIST;
struct TYPE;
struct LOOP;  // the loop record; write "struct LOOP" (LOOP is also an operator)
struct CONTEXT;
struct simul_fval;

// ---- Entry points ----------------------------------------------------------

// Bottom-up: operands first, then the node.
NODE* simp_tree(NODE* tree, struct LOOP* loop = nullptr, CONTEXT* context = nullptr);
// One node whose operands are already simple.
NODE* simp_node(NODE* tree, struct LOOP* loop = nullptr, CONTEXT* context = nullptr);
// simp_tree on every statement of every block of the current function.
void simp_all_trees();
// A tree used only for its truth value.
NODE* simp_for_control(NODE* tree, struct LOOP* loop, CONTEXT* context);
// A tree of value 0 or 1 with the truth of `tree`.
NODE* make_boolean(NODE* tree, struct LOOP* loop, CONTEXT* context);
// The logical opposite of a tree, without simplification.
NODE* invert_boolean_tree(NODE* tree);
// Peels `tree` for effect and links what remains, as statements, behind
// `cell`.
void promote_tree(NODE* tree, LIST* cell);
// Evaluates an operator whose operands are ICON or FCON leaves; gives the
// tree back unchanged when it can't (division by zero, a floating result
// with fp_error, a value the target would trap on).
NODE* fold_constants(NODE* tree);

// ---- Known bits and value bounds ---------------------------------------------
// Masks over the bits of `type` (bit i set: bit i of the value's pattern is
// known to be 0, or 1). Only integer kinds know anything.
INT65 find_known_zeros(NODE* tree, TYPE* type);
INT65 find_known_ones(NODE* tree, TYPE* type);
// Bits common to every value of [lo, hi] (lo <= hi, as 65-bit values).
INT65 find_known_zeros_in_range(const INT65& lo, const INT65& hi);
INT65 find_known_ones_in_range(const INT65& lo, const INT65& hi);
// Known zeros of ANDB(a, b) from the value bounds of both sides.
INT65 find_known_zeros_in_ANDB(NODE* tree, struct LOOP* loop, CONTEXT* context);
// Bounds of the value of an integer tree in its own type's reading.
INT65 calculate_maxval_for_tree(NODE* tree, struct LOOP* loop, CONTEXT* context);
INT65 calculate_minval_for_tree(NODE* tree, struct LOOP* loop, CONTEXT* context);
bool tree_is_non_negative(NODE* tree, struct LOOP* loop, CONTEXT* context);
// `num` divided by `d` leaves no remainder, for every value num can take.
bool integer_DIV_is_exact(NODE* num, const INT65& d);
// The largest constant known to divide the value of `tree` (1 when none).
INT65 max_ICON_factor(NODE* tree);

// ---- Division by constants ----------------------------------------------------
NODE* warp_DIV_to_MULT(NODE* tree, bool flag, struct LOOP* loop, CONTEXT* context, bool flag2);
NODE* transform_DIV_or_MOD(NODE* tree, struct LOOP* loop);
// transform_DIV_or_MOD on every statement of the current function.
void transform_DIVs_by_ICONs();

// ---- Strictness -------------------------------------------------------------------
// `rhs` can't be evaluated ahead of the test `lhs` that guards it.
bool rhs_may_need_guard_in_lhs(NODE* rhs, NODE* lhs);
// The lvalue can be read at any time.
bool lvalue_is_inherently_strict(NODE* lvalue);
// Evaluating `a` makes evaluating `b` safe.
bool strict_expr_allows_strict_expr(NODE* a, NODE* b, struct LOOP* loop);
// Both arms of QUEST(c, COLON(a, b)) may be evaluated without branches.
bool quest_colon_is_strict(NODE* quest);
// QUEST as the intrinsic call that evaluates both arms; and back.
NODE* make_strict_ternary_ICALL(NODE* quest);
NODE* revert_strict_ternary_ICALL(NODE* call);
// A chain of ANDB can stand for ANDAND: every term but the last returns 1 or 0.
bool find_or_make_safe_for_ANDB(NODE* tree);
bool tree_is_16x16_mpy(NODE* tree);

// ---- Tree predicates shared with other passes ---------------------------------------
bool tree_has_side_effects(const NODE* tree);
// The same question at a bounded cost: past `budget` nodes the answer is
// yes, so a caller that only moves pure trees stays correct and linear.
bool tree_may_have_side_effects(const NODE* tree, int& budget);
// Same shape, operators, types, symbols and constants. Says nothing about
// side effects: callers that merge two trees check those themselves.
bool trees_are_congruent(const NODE* a, const NODE* b);
bool returns_1_or_0(const NODE* tree);
// What of `tree` must still run when its value is not wanted; null when
// nothing. Consumes the tree.
NODE* peel_for_effect(NODE* tree);
// The argument prolog: parameter copies, alone or joined by PCOMMA.
bool tree_is_arg_prolog(const NODE* tree);
// An operator-assignment as ASG of the plain operator, with C's conversions;
// the tree unchanged when its target can't be read twice.
NODE* opASG_to_ASG(NODE* tree);
// A FCON of `type` holding `value` (already in the target's format).
NODE* mk_FCON(const simul_fval& value, TYPE* type);

// ---- Clean-up before output --------------------------------------------------------
void unsimplify();
// The slot under *slot of the one occurrence of `sym`, when there is exactly
// one and it is read as a value (not assigned, not under UAND); else null.
NODE** find_sole_use(struct SYMTAB* sym, NODE** slot);
// Puts a chain of a function's locals in stack order (scalars before
// aggregates, the most used first, then by alignment and size) and gives
// each its frame offset; the writer follows the new order. Parameters,
// register-class and other-level symbols keep theirs. Gives the chain,
// still newest first.
struct SYMTAB* sort_stack_variables(struct SYMTAB* chain);
