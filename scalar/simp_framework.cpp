// The simplifier's framework: the bottom-up walk, the per-node loop (type
// normalisation, constant folding, operand order, dispatch) and the walk over
// the whole flow graph.
#include <cstdio>

#include "driver/globals.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp_internal.h"

using namespace simp;

namespace {

// Rules move constants up and operands into place; a ping-pong between two
// rules would be a bug, and this bound keeps it from hanging the tool.
const int kMaxRounds = 64;

[[noreturn]] void bad_opcode(int op) {
  fprintf(stderr, "\n\n   !!! Bad opcode in simplifier (%d) %s !!!\n", op, opname(op));
  if (print_debug && fdebug) fprintf(fdebug, "\n\n   !!! Bad opcode in simplifier (%d) %s !!!\n", op, opname(op));
  abort_optimizer();
}

bool is_vector_op(int op) {
  switch (op) {
    case VPACK: case VPACKM: case VPACK1P: case OP_UNNAMED_137: case VFIELD: case VRCONV: case VSCONV:
    case COMPLEX: case REAL: case IMAG: case SIMDHI: case SIMDLO:
      return true;
    default:
      return false;
  }
}

// Operators that carry structure or control and have no rules of their own.
bool is_passive_op(int op) {
  switch (op) {
    case NOP: case LABEL: case NAME: case SCON: case ICON: case FCON: case LCON: case FIELD: case COLON:
    case RETURN: case DEFAULT: case CASE: case COMMA: case PCOMMA: case LOOP: case ENDLOOP: case PLUSPLUS:
    case MINMIN: case STFIELD: case STASG: case STARG: case ARASG: case PMCONV: case PVCONV: case EPVAL:
    case ENDINIT: case SKIP: case URETURN: case DDNODE: case TOIEEE: case FRIEEE: case RECIP: case OUIALIGN:
    case NONALIGN: case PPRAGMA: case EXPRSTUB: case ASM: case LABELDEF: case INITLOOP: case IDENTITY:
    case ISP2CHAR: case MIXVALUE: case MIX_CONJ: case MIX_DISJ: case MIX_SET: case BGNBLOCK: case ENDBLOCK:
    case SSA_PHI: case SSA_USE: case SSA_DEF: case SSA_MU: case SSA_CHI: case OP_UNNAMED_100:
    case OP_UNNAMED_102: case OP_UNNAMED_116: case OP_UNNAMED_117:
      return true;
    default:
      return false;
  }
}

// Whether the operands of a commutative operator may change places: the
// machine evaluates left to right, so two sides whose effects could meet
// stay in their order.
// Each node of a chain of one operator asks this of the rest of the chain:
// the walk is bounded so that a long chain costs linear time, and a side
// too large to look through counts as having effects.
bool may_exchange(const NODE* a, const NODE* b) {
  int budget_a = 64, budget_b = 64;
  bool ea = tree_may_have_side_effects(a, budget_a), eb = tree_may_have_side_effects(b, budget_b);
  if (!ea && !eb) return true;
  return (!ea && is_const(a)) || (!eb && is_const(b));
}

NODE* dispatch(NODE* t, SIMP_CTX& c) {
  switch (t->op) {
    case PLUS: return simp_PLUS(t, c);
    case MINUS: return simp_MINUS(t, c);
    case UMINUS: return simp_UMINUS(t, c);
    case MULT: return simp_MULT(t, c);
    case DIV: return simp_DIV(t, c);
    case MOD: return simp_MOD(t, c);
    case SLL:
    case SRL: return simp_shift(t, c);
    case EQ: case NEQ: case LE: case LT: case GE: case GT: case ULE: case ULT: case UGE: case UGT:
      return simp_relop(t, c);
    case QUEST: return simp_QUEST(t, c);
    case ANDAND:
    case OROR: return simp_ANDOR_ANDOR(t, c);
    case UMULT: return simp_UMULT(t, c);
    case STREF: return simp_STREF(t, c);
    case ASG: case PLUSASG: case MINUSASG: case MULTASG: case ANDBASG: case ORBASG: case XORBASG:
    case DIVASG: case MODASG: case SLLASG: case SRLASG:
      return simp_ASG(t, c);
    case SCONV: return simp_SCONV(t, c);
    case PCONV: return simp_PCONV(t, c);
    case CALL: case UCALL: case ICALL: case UICALL: case MCALL: case UMCALL: return simp_call(t, c);
    case MEMCPY: return simp_MEMCPY(t, c);
    case ANDB: case ORB: case XORB: case NOTB: return simp_bitwise(t, c);
    case ABS: case SQRT: case SQR: return simp_SQR_ABS_SQRT(t, c);
    case EXCLAIM: return simp_EXCLAIM(t, c);
    case UAND: return simp_UAND(t, c);
    case STDOT: return simp_STDOT(t, c);
    case COMMAOP: return simp_COMMAOP(t, c);
    case SWITCH: case IF: case CBRANCH: case BRANCH: return simp_control(t, c);
    case EXPT: return simp_EXPT(t, c);
    case ARGREF: case ACONV: case ASSERT: case NASSERT: return t;
    default: break;
  }
  if (is_vector_op(t->op)) return simp_vector_node(t, c);
  if (t->op == CSE_DUPE || t->op == CSE_ORIG || t->op < 0 || t->op > 255 || number_of_operands[t->op] == 255 ||
      !is_passive_op(t->op))
    bad_opcode(t->op);
  return t;
}

// op((a, b), c) is (a, op(b, c)): a still runs first. On the right only
// past a constant, which no effect can change.
NODE* hoist_comma(NODE* t, SIMP_CTX& c) {
  if (!may_hoist_comma(t->op)) return nullptr;
  NODE** slot = nullptr;
  if (t->left && t->left->op == COMMAOP && t->left->right) slot = &t->left;
  else if (t->right && t->right->op == COMMAOP && t->right->right && is_const(t->left) && t->op != QUEST &&
           t->op != ANDAND && t->op != OROR)  // their right side runs only sometimes
    slot = &t->right;
  if (!slot) return nullptr;
  NODE* comma = *slot;
  *slot = comma->right;
  comma->right = resimp(t, c);
  comma->type = comma->cast_type = comma->right->type;
  return comma;
}

}  // namespace

namespace simp {

int rounds_exhausted = 0;

// Operand order of commutative operators, and constants of a chain of one
// associative integer operator brought to its top: (a + 1) + 2 is a + 3.
NODE* simp_assoc(NODE* t, SIMP_CTX& c) {
  int op = t->op;
  if (!is_commutative(op) || !t->left || !t->right) return t;
  NODE* l = t->left;
  NODE* r = t->right;
  bool chained = r->op == op && is_icon(r->right) && same_type(r->type, t->type) && is_wrap_int(t->type);
  bool swap = (is_const_like(l) && !is_const_like(r)) ||
              (!is_leaf_like(r) && is_leaf_like(l) && !is_const_like(r) && !chained);
  // Pointer arithmetic keeps its pointer on the left.
  if (is_ptr_type(l->type) && !is_ptr_type(r->type)) swap = false;
  // Of two NaN operands the machine passes on the first: floating operands
  // change places only when one is an ordinary constant.
  if (is_flt_type(l->type) || is_flt_type(r->type)) {
    bool plain_const = (is_fcon(l) && !f_is_nan(fval(l))) || (is_fcon(r) && !f_is_nan(fval(r)));
    if (!plain_const) swap = false;
  }
  if (swap && may_exchange(l, r)) {
    t->left = r;
    t->right = l;
    t->op = commute_inv[op];
    c.changed = true;
    return t;
  }
  if (op != PLUS && op != MULT && op != ANDB && op != ORB && op != XORB) return t;
  if (!is_wrap_int(t->type)) return t;
  auto same_chain = [&](const NODE* n) { return n && n->op == op && same_type(n->type, t->type); };
  // OP(OP(x, c1), c2) -> OP(x, c1 op c2)
  if (is_icon(r) && same_chain(l) && is_icon(l->right)) {
    NODE* k = fold_constants(maketree(op, l->right, r, t->type, t->scope));
    if (is_icon(k)) {
      l->right = k;
      t->left = t->right = nullptr;
      erase_tree(t);
      c.changed = true;
      return l;
    }
    // Unfoldable constants stay where they were.
    l->right = k->left;
    t->right = k->right;
    k->left = k->right = nullptr;
    erase_tree(k);
    return t;
  }
  // OP(OP(x, c1), y) -> OP(OP(x, y), c1): x still runs before y.
  if (!is_const(r) && same_chain(l) && is_icon(l->right)) {
    NODE* k = l->right;
    l->right = r;
    t->right = k;
    t->left = resimp(l, c);
    c.changed = true;
    return t;
  }
  // OP(x, OP(y, c1)) -> OP(OP(x, y), c1)
  if (same_chain(r) && is_icon(r->right) && !is_const(l)) {
    NODE* k = r->right;
    r->right = r->left;
    r->left = l;
    t->left = resimp(r, c);
    t->right = k;
    c.changed = true;
    return t;
  }
  return t;
}

}  // namespace simp

NODE* simp_node(NODE* t, struct LOOP* loop, CONTEXT* context) {
  SIMP_CTX c;
  c.loop = loop;
  c.context = context;
  for (int round = 0; t && round < kMaxRounds; ++round) {
    if (t->type) t->type = t->type->normalized_type();
    if (t->op == CSE_DUPE || t->op == CSE_ORIG) bad_opcode(t->op);
    NODE* folded = fold_constants(t);
    if (folded != t) return folded;
    c.changed = false;
    t = simp_assoc(t, c);
    if (c.changed) continue;
    if (NODE* h = hoist_comma(t, c)) {
      t = h;
      continue;
    }
    NODE* r = dispatch(t, c);
    if (!c.changed && r == t) return t;
    t = r;
  }
  ++simp::rounds_exhausted;
  if (t && print_debug && fdebug)
    fprintf(fdebug, "~~~#SIMP#1 rule rounds exhausted at %s: %s\n", opname(t->op), tree2infix(t, false));
  return t;
}

NODE* simp_tree(NODE* t, struct LOOP* loop, CONTEXT* context) {
  if (!t) return t;
  if (t->op == CSE_DUPE || t->op == CSE_ORIG) bad_opcode(t->op);
  // The function's assertion context would clear around an ASSERT here; this
  // target keeps none, so an assertion is simplified like any tree.
  if (t->left) t->left = simp_tree(t->left, loop, context);
  if (t->right) t->right = simp_tree(t->right, loop, context);
  return simp_node(t, loop, context);
}

void simp_all_trees() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'simp_all_trees' ----------\n");
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
    for (LIST* l = bb->statements; l; l = l->next) {
      if (l->tree) l->tree = simp_tree(l->tree, bb->loop, nullptr);
    }
  }
}
