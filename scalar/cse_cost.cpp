// What the CSE passes weigh: the cost of an expression under the
// interpreter's weights, the cost of a temporary, which trees are worth one,
// which may be evaluated early, and which types read alike.
#include <algorithm>
#include <functional>

#include "driver/pass_table.h"
#include "driver/pipeline.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/simp_internal.h"
#include "scalar/triples.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"

using namespace simp;

namespace {

// Weights of docs/icode-semantics.md.
constexpr int W_MEM = 2;
constexpr int W_REG_WRITE = 1;
constexpr int W_ALU = 1;
constexpr int W_MUL = 4;
constexpr int W_DIV = 24;
constexpr int W_FLOAT = 8;
constexpr int W_FLOAT_DIV = 24;
constexpr int W_BITFIELD = 2;

bool register_allocation_runs() {
  // The registry does not change during a run; asked once.
  static const bool built = pass_is_built("allocate_regs");
  return cse_assume_registers < 0 ? built : cse_assume_registers != 0;
}

bool is_register_class(const SYMTAB* s) {
  return s && (s->sclass == SC_REGISTER || s->sclass == SC_REG17 || s->sclass == SC_REG22);
}

bool is_frame_symbol(const SYMTAB* s) { return s && s->lex_level >= 1 && s->sclass != SC_STATIC; }

bool is_bitfield_access(const NODE* t) {
  return t && (t->op == STDOT || t->op == STREF) && t->right && t->right->op == FIELD && t->right->mval &&
         t->right->mval->is_bitfield;
}

// The cost of the address of an lvalue, as the interpreter folds it: a
// named object at a constant offset costs nothing more than its access.
int address_cost(NODE* lvalue);

int pointer_value_cost(NODE* p) {
  LVALUE_DESC d;
  describe_address(p, d);
  if (d.object && d.index.empty()) return 0;  // folded into the access
  return cse_cost(p);
}

int address_cost(NODE* lv) {
  lv = skip_dupes(lv);
  if (!lv) return 0;
  switch (lv->op) {
    case NAME: return 0;
    case STDOT: return address_cost(lv->left);
    case UMULT:
    case STREF: return pointer_value_cost(lv->left);
    default: return cse_cost(lv);
  }
}

int op_weight(const NODE* t) {
  const TYPE* ty = rep(t->type);
  bool flt = is_flt_type(ty);
  switch (t->op) {
    case MULT: return flt ? W_FLOAT : W_MUL;
    case DIV:
    case MOD: return flt ? W_FLOAT_DIV : W_DIV;
    case SQRT:
    case RECIP: return W_FLOAT_DIV;
    case SCONV: {
      bool from_flt = t->left && is_flt_type(rep(t->left->type));
      return flt || from_flt ? W_FLOAT : W_ALU;
    }
    case EQ: case NEQ: case LT: case LE: case GT: case GE: case ULT: case ULE: case UGT: case UGE: {
      bool fcmp = t->left && is_flt_type(rep(t->left->type));
      return fcmp ? W_FLOAT : W_ALU;
    }
    case PCONV:
    case ISP2CHAR:
    case IDENTITY:
    case TOIEEE:
    case FRIEEE:
      return 0;
    default: return flt ? W_FLOAT : W_ALU;
  }
}

bool is_pointer_relop(const NODE* t) {
  if (!is_relop(t->op) || t->op == EQ || t->op == NEQ || !t->left) return false;
  return is_ptr_type(rep(t->left->type));
}

bool is_pointer_difference(const NODE* t) {
  return t->op == MINUS && t->left && t->right && is_ptr_type(rep(t->left->type)) && is_ptr_type(rep(t->right->type));
}

bool count_in_range(const NODE* k) { return is_icon(k) && k->value >= INT65(0) && k->value <= INT65(31); }

bool non_zero_constant(const NODE* k) { return is_const(k) && !(is_icon(k) && k->value == INT65(0)); }

}  // namespace

// ---- Marks ----------------------------------------------------------------------

NODE* skip_dupes(NODE* t) {
  while (t && (t->op == CSE_ORIG || t->op == CSE_DUPE)) t = t->left;
  return t;
}

NODE* copy_tree_without_dupes(NODE* t) {
  t = skip_dupes(t);
  if (!t) return nullptr;
  NODE* n = copy_tree(t, false);  // shares nothing: the tree has no CSE_DUPE at its top
  // The copy holds copies of the marks below; replace them.
  std::function<void(NODE*&)> clean = [&](NODE*& slot) {
    while (slot && (slot->op == CSE_ORIG || slot->op == CSE_DUPE)) {
      NODE* mark = slot;
      if (mark->op == CSE_DUPE) {
        slot = copy_tree_without_dupes(mark->left);
        mark->left = mark->right = nullptr;
      } else {
        slot = mark->left;
        mark->left = nullptr;
      }
      erase_tree(mark);
    }
    if (!slot) return;
    clean(slot->left);
    clean(slot->right);
  };
  clean(n);
  return n;
}

bool tree_has_cse_marks(const NODE* t) {
  for (; t; t = t->right) {
    if (t->op == CSE_ORIG || t->op == CSE_DUPE) return true;
    if (tree_has_cse_marks(t->left)) return true;
  }
  return false;
}

// ---- Costs --------------------------------------------------------------------------

int cse_assume_registers = -1;

int temp_write_cost() { return register_allocation_runs() ? W_REG_WRITE : W_MEM; }
int temp_read_cost() { return register_allocation_runs() ? 0 : W_MEM; }

bool is_likely_register(NODE* t) {
  t = skip_dupes(t);
  if (!t || t->op != NAME) return false;
  SYMTAB* s = t->name_symbol();
  if (!s) return false;
  if (is_register_class(s)) return true;
  if (!register_allocation_runs()) return false;
  if (s->lex_level < 1 || s->sclass == SC_STATIC || s->sclass == SC_PARAM) return false;
  if (symbol_is_aliased(s) || symbol_is_immutable(s) || (s->alias_marks & ALIAS_VECTOR_OR_COMPLEX)) return false;
  return s->type && s->type->is_scalar();
}

int cse_cost(NODE* t) {
  t = skip_dupes(t);
  if (!t) return 0;
  switch (t->op) {
    case ICON: case FCON: case SCON: case LCON: case LABEL: case FIELD:
      return 0;
    case NAME: {
      const TYPE* ty = rep(t->type);
      if (ty && (ty->is_array() || ty->is_func())) return is_frame_symbol(t->name_symbol()) ? W_ALU : 0;
      return is_likely_register(t) ? 0 : W_MEM;
    }
    case UAND:
    case ARGREF: {
      NODE* l = skip_dupes(t->left);
      while (l && l->op == STDOT) l = skip_dupes(l->left);
      if (l && l->op == NAME) return is_frame_symbol(l->name_symbol()) ? W_ALU : 0;
      if (l && (l->op == UMULT || l->op == STREF)) return cse_cost(l->left) + (l->op == STREF ? W_ALU : 0);
      return W_ALU;
    }
    case UMULT:
    case STREF:
    case STDOT:
      return W_MEM + address_cost(t) + (is_bitfield_access(t) ? W_BITFIELD : 0);
    case PLUS:
    case MINUS:
      if (is_ptr_type(rep(t->type))) {
        LVALUE_DESC d;
        describe_address(t, d);
        if (d.object && d.index.empty()) return d.object->lex_level >= 1 && d.object->sclass != SC_STATIC ? W_ALU : 0;
      }
      break;
    case QUEST:
      if (t->right && t->right->op == COLON)
        return cse_cost(t->left) + W_ALU + 2 + std::max(cse_cost(t->right->left), cse_cost(t->right->right));
      break;
    case COMMAOP:
      return cse_cost(t->left) + cse_cost(t->right);
    default:
      break;
  }
  int c = op_weight(t);
  if (t->left && number_of_operands[t->op] >= 1) c += cse_cost(t->left);
  if (t->right && number_of_operands[t->op] >= 2) c += cse_cost(t->right);
  return c;
}

// ---- Candidates ------------------------------------------------------------------------

bool good_CSE_tree(NODE* tree, bool allow_struct) {
  NODE* t = skip_dupes(tree);
  if (!t || !t->type) return false;
  const TYPE* ty = rep(t->type);
  if (!ty || is_void_kind(ty)) return false;
  // Aggregates: none fits a register here, whatever `allow_struct` says.
  (void)allow_struct;
  if (!ty->is_scalar()) return false;
  switch (t->op) {
    case ICON: case FCON: case SCON: case LCON: case LABEL: case FIELD:
    case QUEST: case COLON: case ANDAND: case OROR: case COMMAOP: case COMMA: case PCOMMA:
    case ICALL: case UICALL: case MCALL: case UMCALL: case CALL: case UCALL:
    case ASSERT: case NASSERT: case IDENTITY: case EPVAL:
      return false;
    case NAME: {
      // Only variables in memory are worth reading once: by storage class.
      SYMTAB* s = t->name_symbol();
      if (!s || (s->alias_marks & ALIAS_VECTOR_OR_COMPLEX)) return false;
      // Each read of a volatile object is an access of its own.
      if (symbol_is_immutable(s) || is_volatile_type(t->type)) return false;
      return s->sclass == SC_EXTDEF || s->sclass == SC_STATIC || s->sclass == SC_EXTREF ||
             (!is_likely_register(t) && s->lex_level >= 1);
    }
    case PLUS:
      // p + 1 is an addressing mode; x + 1 of an integer is a value.
      if (ty->is_pointer() && t->left && t->right && skip_dupes(t->left)->op == NAME && is_icon(skip_dupes(t->right)))
        return false;
      break;
    default:
      break;
  }
  if (tree_has_side_effects(t)) return false;
  // A string literal is a new object at each evaluation.
  std::function<bool(const NODE*)> has_scon = [&](const NODE* x) {
    for (; x; x = x->right) {
      if (x->op == SCON) return true;
      if (x->op == CSE_DUPE) return has_scon(x->left);
      if (has_scon(x->left)) return true;
    }
    return false;
  };
  return !has_scon(t);
}

bool tree_is_benign(NODE* tree) {
  NODE* t = skip_dupes(tree);
  if (!t) return true;
  switch (t->op) {
    case UMULT:
    case STREF: {
      // Safe only inside a named object at a constant place within it.
      LVALUE_DESC d;
      describe_lvalue(t, d);
      if (!d.object || !d.index.empty() || d.size_bits < 0) return false;
      int64_t size = d.object->size > 0 ? d.object->size : (d.object->type ? d.object->type->size : 0);
      if (d.offset_bits < 0 || d.offset_bits + d.size_bits > size) return false;
      return tree_is_benign(t->left);
    }
    case STDOT:
      return tree_is_benign(t->left);
    case DIV:
    case MOD:
      if (!is_flt_type(rep(t->type)) && !non_zero_constant(skip_dupes(t->right))) return false;
      break;
    case SLL:
    case SRL:
      if (!count_in_range(skip_dupes(t->right))) return false;
      break;
    case SCONV:
      // A floating value out of the integer's range stops the program.
      if (t->left && is_flt_type(rep(skip_dupes(t->left)->type)) && !is_flt_type(rep(t->type))) return false;
      break;
    default:
      if (is_pointer_relop(t) || is_pointer_difference(t)) return false;
      break;
  }
  if (t->left && number_of_operands[t->op] >= 1 && !tree_is_benign(t->left)) return false;
  if (t->right && number_of_operands[t->op] >= 2 && !tree_is_benign(t->right)) return false;
  return true;
}

bool types_are_close_enough(NODE* a, NODE* b, int strict, int) {
  if (!a || !b || !a->type || !b->type) return false;
  const TYPE* ta = a->type->stqs();
  const TYPE* tb = b->type->stqs();
  if (!ta || !tb) return false;
  if (same_type(ta, tb)) return true;
  if (strict) return false;
  if (ta->is_pointer() && tb->is_pointer()) return true;  // all pointers are one unit
  if (is_int_type(ta) && is_int_type(tb) && !is_bool_type(ta) && !is_bool_type(tb))
    return ta->size == tb->size && type_is_signed(ta) == type_is_signed(tb);
  return false;
}
