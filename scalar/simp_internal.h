// Helpers shared by the files of the simplifier: type and constant queries,
// small constructors, and the handlers simp_node dispatches to.
#pragma once
#include <initializer_list>

#include "ir/fps.h"
#include "ir/int65.h"
#include "ir/opt_expr.h"
#include "ir/type_pkg.h"
#include "ir/types.h"
#include "scalar/simp.h"

// The state of one simp_node call: the optional bound sources and whether a
// rule has rewritten the node (the rules then run again on the result).
struct SIMP_CTX {
  struct LOOP* loop = nullptr;
  CONTEXT* context = nullptr;
  bool changed = false;
};

namespace simp {

// Times simp_node gave up on a node after its bound on rule rounds: rules
// that undo each other. Tests watch it stay 0.
extern int rounds_exhausted;

// ---- Types -----------------------------------------------------------------
inline const TYPE* rep(const TYPE* t) { return t && t->rep ? t->rep : t; }
// Integral or enum, bool included.
bool is_int_type(const TYPE* t);
// An integer type whose arithmetic wraps modulo 2^size: integral or enum,
// not bool, 1 to 64 bits.
bool is_wrap_int(const TYPE* t);
bool is_flt_type(const TYPE* t);
bool is_ptr_type(const TYPE* t);
bool is_bool_type(const TYPE* t);
bool is_volatile_type(const TYPE* t);
bool is_void_kind(const TYPE* t);
// The name of the intrinsic that evaluates both arms of a conditional.
constexpr const char* kStrictTernaryName = "__strict_ternary";
// Intrinsics without effects: their calls may be dropped or merged.
bool is_pure_intrinsic(const char* name);
int type_bits(const TYPE* t);
bool type_is_signed(const TYPE* t);
// The two types are the same once qualifiers and typedefs are set aside.
bool same_type(const TYPE* a, const TYPE* b);
TYPE* int_type();
TYPE* uint_type();
TYPE* void_type();
// The signed or unsigned integer type of `bits` bits (16 or 32 here).
TYPE* int_type_of(int bits, bool is_signed);
// The type C's usual arithmetic conversions give two operands.
TYPE* combined_type(TYPE* a, TYPE* b);

// Range of an integer type as 65-bit values.
INT65 type_min(const TYPE* t);
INT65 type_max(const TYPE* t);
INT65 width_mask(int bits);  // 2^bits - 1
bool fits_type(const INT65& v, const TYPE* t);
// Exact power of two: the exponent, else -1.
int log2_exact(const INT65& v);

// ---- Nodes -----------------------------------------------------------------
inline bool is_icon(const NODE* t) { return t && t->op == ICON; }
inline bool is_fcon(const NODE* t) { return t && t->op == FCON && t->sym; }
inline bool is_const(const NODE* t) { return is_icon(t) || is_fcon(t); }
// A constant, or an integer constant converted to a pointer.
inline bool is_const_like(const NODE* t) {
  return is_const(t) || (t && (t->op == PCONV || t->op == ISP2CHAR) && is_icon(t->left));
}
inline const simul_fval* fval(const NODE* t) { return static_cast<const simul_fval*>(t->sym); }
bool is_icon_value(const NODE* t, long long v);
// An FCON equal (f_eq) to the small integer v; bit-exact for zeros with sign.
bool is_fcon_value(const NODE* t, long long v);
bool is_fcon_pos_zero(const NODE* t);
bool is_fcon_neg_zero(const NODE* t);
// The truth of a constant.
bool const_is_true(const NODE* t);
bool is_leaf(const NODE* t);
// A leaf or the address of a named object: what stands on the right of a
// commutative operator.
bool is_leaf_like(const NODE* t);
bool is_lvalue_volatile(const NODE* t);
bool is_commutative(int op);
bool is_relop(int op);
bool is_unsigned_relop(int op);
bool is_opASG(int op);
// The value of an ICON read in the type `t`.
INT65 icon_in(const NODE* c, const TYPE* t);

NODE* mk_icon(const INT65& v, TYPE* t);
NODE* mk_int_icon(long long v);
// Node `t` detached from its parent: frees t except the operand returned.
NODE* take_left(NODE* t);
NODE* take_right(NODE* t);
// `x` seen in type `t`: x itself when the type agrees, else converted.
NODE* as_type(NODE* x, TYPE* t, SIMP_CTX& c);
// `value` in place of the tree `dropped`, keeping what of `dropped` has to run.
NODE* keep_effects(NODE* dropped, NODE* value);
// A zero of the node's type (int, float or pointer).
NODE* mk_zero_of(TYPE* t);
NODE* mk_binary(int op, NODE* l, NODE* r, TYPE* t, SIMP_CTX& c);
NODE* mk_unary(int op, NODE* l, TYPE* t, SIMP_CTX& c);
// Runs simp_node on a node built by a rule.
NODE* resimp(NODE* t, SIMP_CTX& c);

// ---- The run-time library (simp_library.cpp) ---------------------------------
// The callee of a direct call of the library routine `name`: declared, not
// defined, in this unit. Null for anything else.
SYMTAB* library_callee(NODE* call, const char* name);
// The declaration of routine `name`, a prototyped function of these result
// and parameter types, for a call a rewrite makes: the unit's own when it
// agrees, a new one when there is none, null when the unit defines the
// name or declares it otherwise.
SYMTAB* library_function(const char* name, TYPE* result, std::initializer_list<TYPE*> params);
// The unit has a global of this name.
bool library_declared(const char* name);
// The callee operand UAND(NAME f) of a direct call.
NODE* mk_callee(SYMTAB* f, LS* scope);
// Makes `call` a call of f: callee, result type, no variable arguments.
void set_callee(NODE* call, SYMTAB* f);
// The type of parameter `index` of function f; null when it has none.
TYPE* param_type(const SYMTAB* f, int index);
// Rewrites of a call whose value is not wanted (printf as puts and the
// like); the call itself when none applies. Consumes the call.
NODE* simp_call_for_effect(NODE* call);

// ---- Rule families (one file each) -----------------------------------------
NODE* simp_PLUS(NODE* t, SIMP_CTX& c);
NODE* simp_MINUS(NODE* t, SIMP_CTX& c);
NODE* simp_UMINUS(NODE* t, SIMP_CTX& c);
NODE* simp_bitwise(NODE* t, SIMP_CTX& c);  // ANDB, ORB, XORB, NOTB
NODE* simp_MULT(NODE* t, SIMP_CTX& c);
NODE* simp_SQR_ABS_SQRT(NODE* t, SIMP_CTX& c);
NODE* simp_DIV(NODE* t, SIMP_CTX& c);
NODE* simp_DIV_by_ICON(NODE* t, SIMP_CTX& c);
NODE* simp_MOD(NODE* t, SIMP_CTX& c);
NODE* simp_shift(NODE* t, SIMP_CTX& c);
NODE* simp_relop(NODE* t, SIMP_CTX& c);
NODE* simp_EXCLAIM(NODE* t, SIMP_CTX& c);
NODE* simp_QUEST(NODE* t, SIMP_CTX& c);
NODE* simp_ANDOR_ANDOR(NODE* t, SIMP_CTX& c);
NODE* simp_COMMAOP(NODE* t, SIMP_CTX& c);
NODE* simp_control(NODE* t, SIMP_CTX& c);  // IF, CBRANCH, SWITCH
NODE* simp_UMULT(NODE* t, SIMP_CTX& c);
NODE* simp_UAND(NODE* t, SIMP_CTX& c);
NODE* simp_STREF(NODE* t, SIMP_CTX& c);
NODE* simp_STDOT(NODE* t, SIMP_CTX& c);
NODE* simp_ASG(NODE* t, SIMP_CTX& c);
NODE* simp_SCONV(NODE* t, SIMP_CTX& c);
NODE* simp_PCONV(NODE* t, SIMP_CTX& c);
NODE* simp_call(NODE* t, SIMP_CTX& c);
NODE* simp_MEMCPY(NODE* t, SIMP_CTX& c);
NODE* simp_EXPT(NODE* t, SIMP_CTX& c);
NODE* simp_vector_node(NODE* t, SIMP_CTX& c);

// invert_boolean_tree gives something other than tree == 0.
bool inverts_without_wrapper(const NODE* t);
// Operators out of whose left operand a COMMAOP may move.
bool may_hoist_comma(int op);

// Moves constants of a chain of one associative operator to its top.
NODE* simp_assoc(NODE* t, SIMP_CTX& c);

// Value bounds with the depth limit of the known-bits walk.
bool value_range(NODE* t, INT65& lo, INT65& hi, SIMP_CTX* c);
// The exact result of PLUS, MINUS, MULT, SLL or UMINUS can't leave its type.
bool arith_cannot_wrap(NODE* t, SIMP_CTX* c);
// Known bits over the type's width.
void known_bits(NODE* t, const TYPE* type, INT65& zeros, INT65& ones);

}  // namespace simp
