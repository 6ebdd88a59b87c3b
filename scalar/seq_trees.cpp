// The sequencer: the statement list of a function, held newest first while
// it is read, is put into source order, and every conditional operator
// inside an expression (?:, &&, ||, the comma) becomes statements of its
// own: IF, LABELDEF and assignments to temporaries. What stays is one plain
// tree per statement, which is what block construction and the analyses
// expect. Evaluation order is kept: anything evaluated before a conditional
// part that could be changed by it goes to a temporary first.
#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <vector>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/fcp.h"
#include "scalar/simp_internal.h"

using namespace simp;

namespace {

LIST* reverse_list(LIST* l) {
  LIST* out = nullptr;
  while (l) {
    LIST* next = l->next;
    l->next = out;
    out = l;
    l = next;
  }
  return out;
}

// ---- Output ----------------------------------------------------------------------

struct OUT {
  LIST* head = nullptr;
  LIST* tail = nullptr;
  PSN* psn = nullptr;
  // Told of each statement as it joins the list, while its tree is still in
  // the cache.
  std::function<void(LIST*)> added;
  void add(NODE* t) {
    if (!t) return;
    LIST* c = mkelist(t, nullptr, psn);
    if (tail) tail->next = c;
    else head = c;
    tail = c;
    if (added) added(c);
  }
};

int next_label = 1;

int max_label(const NODE* t) {
  if (!t) return 0;
  int m = (t->op == LABEL || t->op == LABELDEF) ? static_cast<int>(t->value.as_int64()) : 0;
  if (t->op == CSE_DUPE) return m;
  return std::max(m, std::max(max_label(t->left), max_label(t->right)));
}

TYPE* void_t() { return tp->basic[TYPE_PKG::BT_VOID]; }

NODE* label_ref(int n) { return mk_LABELREF(n, nullptr); }

NODE* mk_if(NODE* cond, int yes, int no, LS* scope) {
  NODE* colon = maketree(COLON, label_ref(yes), label_ref(no), void_t(), scope);
  return maketree(IF, cond, colon, void_t(), scope);
}

NODE* mk_branch(int n, LS* scope) { return maketree(BRANCH, label_ref(n), nullptr, void_t(), scope); }

NODE* mk_labeldef(int n, LS* scope) {
  NODE* d = mk_LABELDEF(n);
  d->scope = scope;
  return d;
}

bool is_embedded_flow(int op) { return op == QUEST || op == ANDAND || op == OROR || op == COMMAOP; }

bool has_flow(const NODE* t) {
  for (; t; t = t->right) {
    if (is_embedded_flow(t->op)) return true;
    if (t->op == CSE_DUPE) return false;
    if (has_flow(t->left)) return true;
  }
  return false;
}

// a && b as a ? (b != 0) : 0, and a || b as a ? 1 : (b != 0): a value that
// can then go straight to where it is wanted.
NODE* andor_as_quest(NODE* t) {
  if (t->op != ANDAND && t->op != OROR) return t;
  TYPE* ty = is_int_type(t->type) ? t->type : int_type();
  NODE* a = t->left;
  NODE* b = make_boolean(t->right, nullptr, nullptr);
  LS* scope = t->scope;
  bool is_and = t->op == ANDAND;
  t->left = t->right = nullptr;
  erase_tree(t);
  NODE* k = mk_icon(INT65(is_and ? 0 : 1), ty);
  b = coerce_to_type(ty, b);
  NODE* colon = is_and ? maketree(COLON, b, k, ty, scope) : maketree(COLON, k, b, ty, scope);
  return maketree(QUEST, a, colon, ty, scope);
}

NODE* seq_value(NODE* t, OUT& out);
void seq_effect(NODE* t, OUT& out);
void seq_cond(NODE* t, int yes, int no, OUT& out);

NODE* new_temp_for(NODE* value, OUT& out) {
  LS* scope = value->scope;
  SYMTAB* s = sym_temp('T', -1, value->type->type_qualified(), nullptr);
  out.add(mk_ASG(mk_NAME(s, scope), value));
  return mk_NAME(s, scope);
}

// A value computed ahead of later code keeps its value when that code runs.
bool is_stable(const NODE* t, bool later_has_effects) {
  if (is_const_like(t) || (is_leaf_like(t) && t->op != NAME)) return true;
  if (tree_has_side_effects(t)) return false;
  return !later_has_effects;
}

// The address of an lvalue fixed now, for an assignment whose right side
// has code of its own.
NODE* freeze_lvalue(NODE* lv, bool later_has_effects, OUT& out) {
  switch (lv->op) {
    case NAME:
      return lv;
    case UMULT:
    case STREF:
      lv->left = seq_value(lv->left, out);
      if (!is_stable(lv->left, later_has_effects)) lv->left = new_temp_for(lv->left, out);
      return lv;
    case STDOT:
      lv->left = freeze_lvalue(lv->left, later_has_effects, out);
      return lv;
    default:
      return seq_value(lv, out);
  }
}

// An operand evaluated before a later operand with code of its own.
NODE* freeze(NODE* t, bool later_has_effects, OUT& out) {
  if (!t) return t;
  if (t->op == COMMA) {  // an argument list: each argument by itself
    bool right_effects = tree_has_side_effects(t->right);
    t->left = freeze(t->left, later_has_effects || right_effects, out);
    t->right = freeze(t->right, later_has_effects, out);
    return t;
  }
  t = seq_value(t, out);
  if (is_stable(t, later_has_effects)) return t;
  if (t->op == STARG) {
    t->left = freeze_lvalue(t->left, later_has_effects, out);
    return t;
  }
  if (is_void_kind(t->type) || !t->type) {
    out.add(t);
    return nullptr;
  }
  return new_temp_for(t, out);
}

bool is_lvalue_operand(const NODE* parent) {
  switch (parent->op) {
    case ASG: case STASG: case ARASG: case PLUSPLUS: case MINMIN: case UAND: case STDOT:
      return true;
    default:
      return is_opASG(parent->op);
  }
}

// A tree with no conditional operator left in it; what ran before goes to
// `out`.
NODE* seq_value(NODE* t, OUT& out) {
  if (!t || !has_flow(t)) return t;
  LS* scope = t->scope;
  switch (t->op) {
    case COMMAOP: {
      NODE* a = t->left;
      NODE* b = t->right;
      t->left = t->right = nullptr;
      erase_tree(t);
      seq_effect(a, out);
      return seq_value(b, out);
    }
    case QUEST: {
      NODE* colon = t->right;
      if (!colon || colon->op != COLON) break;
      // Both arms may run without a branch: the conditional stays whole, as
      // the intrinsic that evaluates both arms.
      if (!is_void_kind(t->type) && quest_colon_is_strict(t)) return make_strict_ternary_ICALL(t);
      NODE* c = t->left;
      NODE* a = colon->left;
      NODE* b = colon->right;
      TYPE* ty = t->type;
      t->left = colon->left = colon->right = nullptr;
      erase_tree(t);
      if (is_void_kind(ty)) {
        int la = next_label++, lb = next_label++, le = next_label++;
        seq_cond(c, la, lb, out);
        out.add(mk_labeldef(la, scope));
        seq_effect(a, out);
        out.add(mk_branch(le, scope));
        out.add(mk_labeldef(lb, scope));
        seq_effect(b, out);
        out.add(mk_labeldef(le, scope));
        return nullptr;
      }
      SYMTAB* s = sym_temp('T', -1, ty->type_qualified(), nullptr);
      int la = next_label++, lb = next_label++, le = next_label++;
      seq_cond(c, la, lb, out);
      out.add(mk_labeldef(la, scope));
      out.add(mk_ASG(mk_NAME(s, scope), seq_value(a, out)));
      out.add(mk_branch(le, scope));
      out.add(mk_labeldef(lb, scope));
      out.add(mk_ASG(mk_NAME(s, scope), seq_value(b, out)));
      out.add(mk_labeldef(le, scope));
      return mk_NAME(s, scope);
    }
    case ANDAND:
    case OROR: {
      TYPE* ty = is_int_type(t->type) ? t->type : int_type();
      SYMTAB* s = sym_temp('T', -1, ty->type_qualified(), nullptr);
      int lt = next_label++, lf = next_label++, le = next_label++;
      seq_cond(t, lt, lf, out);
      out.add(mk_labeldef(lt, scope));
      out.add(mk_ASG(mk_NAME(s, scope), mk_icon(INT65(1), ty)));
      out.add(mk_branch(le, scope));
      out.add(mk_labeldef(lf, scope));
      out.add(mk_ASG(mk_NAME(s, scope), mk_icon(INT65(0), ty)));
      out.add(mk_labeldef(le, scope));
      return mk_NAME(s, scope);
    }
    default:
      break;
  }
  // An operator whose operands hold conditional code: the left operand runs
  // first, so it is fixed before the right one's code when that could
  // change it.
  if (t->left && t->right && has_flow(t->right)) {
    bool effects = tree_has_side_effects(t->right);
    if (is_lvalue_operand(t)) t->left = freeze_lvalue(t->left, effects, out);
    else t->left = freeze(t->left, effects, out);
  } else {
    t->left = seq_value(t->left, out);
  }
  t->right = seq_value(t->right, out);
  return t;
}

// A tree evaluated for its effects only.
void seq_effect(NODE* t, OUT& out) {
  if (!t) return;
  LS* scope = t->scope;
  switch (t->op) {
    case COMMAOP: {
      NODE* a = t->left;
      NODE* b = t->right;
      t->left = t->right = nullptr;
      erase_tree(t);
      seq_effect(a, out);
      seq_effect(b, out);
      return;
    }
    case ANDAND:
    case OROR: {
      // a && b as a statement: if (a) b.
      if (!tree_has_side_effects(t->right)) {
        NODE* a = take_left(t);
        seq_effect(a, out);
        return;
      }
      NODE* a = t->left;
      NODE* b = t->right;
      bool is_and = t->op == ANDAND;
      t->left = t->right = nullptr;
      erase_tree(t);
      int lb = next_label++, le = next_label++;
      if (is_and) seq_cond(a, lb, le, out);
      else seq_cond(a, le, lb, out);
      out.add(mk_labeldef(lb, scope));
      seq_effect(b, out);
      out.add(mk_labeldef(le, scope));
      return;
    }
    case QUEST: {
      NODE* colon = t->right;
      if (!colon || colon->op != COLON) break;
      NODE* c = t->left;
      NODE* a = colon->left;
      NODE* b = colon->right;
      t->left = colon->left = colon->right = nullptr;
      erase_tree(t);
      int la = next_label++, lb = next_label++, le = next_label++;
      seq_cond(c, la, lb, out);
      out.add(mk_labeldef(la, scope));
      seq_effect(a, out);
      out.add(mk_branch(le, scope));
      out.add(mk_labeldef(lb, scope));
      seq_effect(b, out);
      out.add(mk_labeldef(le, scope));
      return;
    }
    case PLUSPLUS:
    case MINMIN:
      // The old value is not wanted.
      t->op = t->op == PLUSPLUS ? PLUSASG : MINUSASG;
      break;
    default:
      break;
  }
  // x = c ? a : b with a target that stays put: the assignment goes into
  // each arm, and no temporary is needed.
  bool is_assign = t->op == ASG || t->op == STASG || is_opASG(t->op);
  if (is_assign && t->right && (t->right->op == ANDAND || t->right->op == OROR) && t->left &&
      !tree_has_side_effects(t->left) && !has_flow(t->left))
    t->right = andor_as_quest(t->right);
  if (is_assign && t->right && t->right->op == QUEST && t->right->right && t->right->right->op == COLON &&
      t->left && !tree_has_side_effects(t->left) && !has_flow(t->left) && !quest_colon_is_strict(t->right)) {
    NODE* q = t->right;
    NODE* c = q->left;
    NODE* a = q->right->left;
    NODE* b = q->right->right;
    q->left = q->right->left = q->right->right = nullptr;
    erase_tree(q);
    NODE* target = t->left;
    t->left = t->right = nullptr;
    int op = t->op;
    TYPE* ty = t->type;
    void* sym = t->sym;
    erase_tree(t);
    auto assign = [&](NODE* lhs, NODE* rhs) {
      NODE* n = maketree(op, lhs, rhs, ty, scope);
      n->sym = sym;
      return n;
    };
    int la = next_label++, lb = next_label++, le = next_label++;
    seq_cond(c, la, lb, out);
    out.add(mk_labeldef(la, scope));
    seq_effect(assign(copy_tree(target, false), a), out);
    out.add(mk_branch(le, scope));
    out.add(mk_labeldef(lb, scope));
    seq_effect(assign(target, b), out);
    out.add(mk_labeldef(le, scope));
    return;
  }
  out.add(seq_value(t, out));
}

// Jumps to `yes` when t is true, else to `no`.
void seq_cond(NODE* t, int yes, int no, OUT& out) {
  LS* scope = t->scope;
  switch (t->op) {
    case ANDAND:
    case OROR: {
      int mid = next_label++;
      NODE* a = t->left;
      NODE* b = t->right;
      bool is_and = t->op == ANDAND;
      t->left = t->right = nullptr;
      erase_tree(t);
      if (is_and) seq_cond(a, mid, no, out);
      else seq_cond(a, yes, mid, out);
      out.add(mk_labeldef(mid, scope));
      seq_cond(b, yes, no, out);
      return;
    }
    case EXCLAIM:
      seq_cond(take_left(t), no, yes, out);
      return;
    case COMMAOP: {
      NODE* a = t->left;
      NODE* b = t->right;
      t->left = t->right = nullptr;
      erase_tree(t);
      seq_effect(a, out);
      seq_cond(b, yes, no, out);
      return;
    }
    case QUEST: {
      NODE* colon = t->right;
      if (!colon || colon->op != COLON) break;
      NODE* c = t->left;
      NODE* a = colon->left;
      NODE* b = colon->right;
      t->left = colon->left = colon->right = nullptr;
      erase_tree(t);
      int la = next_label++, lb = next_label++;
      seq_cond(c, la, lb, out);
      out.add(mk_labeldef(la, scope));
      seq_cond(a, yes, no, out);
      out.add(mk_labeldef(lb, scope));
      seq_cond(b, yes, no, out);
      return;
    }
    default:
      break;
  }
  NODE* v = simp_for_control(seq_value(t, out), nullptr, nullptr);
  if (is_const(v)) {
    bool taken = const_is_true(v);
    erase_tree(v);
    out.add(mk_branch(taken ? yes : no, scope));
    return;
  }
  out.add(mk_if(v, yes, no, scope));
}

int label_number(const NODE* label) { return static_cast<int>(label->value.as_int64()); }


// A two-way branch on a constant is a branch, or nothing.
NODE* decide_constant_branch(NODE* s) {
  if (!s || !is_const(s->left)) return s;
  bool taken = const_is_true(s->left);
  if (s->op == CBRANCH && s->right && s->right->op == LABEL) {
    int target = label_number(s->right);
    LS* scope = s->scope;
    erase_tree(s);
    return taken ? mk_branch(target, scope) : nullptr;
  }
  if (s->op == IF && s->right && s->right->op == COLON) {
    int target = label_number(taken ? s->right->left : s->right->right);
    LS* scope = s->scope;
    erase_tree(s);
    return mk_branch(target, scope);
  }
  return s;
}

// One statement of the source, as statements without conditional operators.
void seq_statement(NODE* t, OUT& out) {
  LS* scope = t->scope;
  switch (t->op) {
    case LABELDEF:
    case ASM:
    case PPRAGMA:
    case BRANCH:
    case URETURN:
      out.add(t);
      return;
    case CBRANCH: {
      if (!t->right || t->right->op != LABEL) break;
      NODE* cond = t->left;
      if (!has_flow(cond)) {
        t->left = simp_for_control(cond, nullptr, nullptr);
        if (is_const(t->left)) {
          bool taken = const_is_true(t->left);
          int target = label_number(t->right);
          erase_tree(t);
          if (taken) out.add(mk_branch(target, scope));
          return;
        }
        out.add(t);
        return;
      }
      int target = label_number(t->right);
      t->left = nullptr;
      erase_tree(t);
      int after = next_label++;
      seq_cond(cond, target, after, out);
      out.add(mk_labeldef(after, scope));
      return;
    }
    case IF:
      if (t->right && t->right->op == COLON && t->left && has_flow(t->left)) {
        int yes = label_number(t->right->left), no = label_number(t->right->right);
        NODE* cond = take_left(t);
        seq_cond(cond, yes, no, out);
        return;
      }
      out.add(t);
      return;
    case RETURN:
      if (t->right && (t->right->op == ANDAND || t->right->op == OROR)) t->right = andor_as_quest(t->right);
      // return c ? a : b is if (c) return a; else return b.
      if (t->right && t->right->op == QUEST && t->right->right && t->right->right->op == COLON &&
          !quest_colon_is_strict(t->right)) {
        NODE* q = t->right;
        NODE* c = q->left;
        NODE* a = q->right->left;
        NODE* b = q->right->right;
        q->left = q->right->left = q->right->right = nullptr;
        erase_tree(q);
        NODE* fn = t->left;
        TYPE* ty = t->type;
        t->left = t->right = nullptr;
        erase_tree(t);
        int la = next_label++, lb = next_label++;
        seq_cond(c, la, lb, out);
        out.add(mk_labeldef(la, scope));
        seq_statement(maketree(RETURN, copy_tree(fn, false), a, ty, scope), out);
        out.add(mk_labeldef(lb, scope));
        seq_statement(maketree(RETURN, fn, b, ty, scope), out);
        return;
      }
      t->right = seq_value(t->right, out);
      out.add(t);
      return;
    case SWITCH:
      t->left = seq_value(t->left, out);
      out.add(t);
      return;
    case PCOMMA:
      out.add(t);  // the argument prolog
      return;
    case STASG:
      // A copy whose value feeds another copy: the inner one first.
      if (t->right && t->right->op == STASG && t->right->left && !tree_has_side_effects(t->right->left)) {
        NODE* inner = t->right;
        t->right = copy_tree(inner->left, false);
        seq_statement(inner, out);
        seq_statement(t, out);
        return;
      }
      break;
    default:
      break;
  }
  seq_effect(t, out);
}

void emit_simplified(LIST* cells, OUT& out, int depth);

// ---- Calls that never return, vector and complex trees ---------------------------

// Our own output read again already has the marks behind the call.
bool already_marked(const LIST* cell) {
  const NODE* next = cell->next ? cell->next->tree : nullptr;
  return next && (next->op == ASM || next->op == UMCALL);
}

// Behind a call that never returns, tell the code generator so and end the
// path.
LIST* mark_never_returning_call(LIST* cell) {
  TYPE* v = void_t();
  LS* scope = cell->tree->scope;
  NODE* note = maketree(ASM, nullptr, nullptr, v, scope);
  note->text = zstrdup(1, "***\t; the preceding call never returns");
  note->value = INT65(ASM_COMMENT);
  NODE* never = mk_MCALL("_never_executed", nullptr, v);
  NODE* ret = maketree(URETURN, mk_NAME(currfunc, scope), nullptr, v, scope);
  LIST* c3 = mkelist(ret, cell->next, cell->psn);
  LIST* c2 = mkelist(never, c3, cell->psn);
  cell->next = mkelist(note, c2, cell->psn);
  return c3;
}

bool type_is_vector(const TYPE* t) {
  const TYPE* r = rep(t);
  return r && r->kind == TYPE::KIND_ARRAY && r->getr_array()->vector;
}

bool type_is_complex(const TYPE* t) {
  const TYPE* r = rep(t);
  return r && r->kind == TYPE::KIND_COMPLEX;
}

struct STMT_SCAN {
  bool vector = false;
  bool complex = false;
  bool never_returns = false;  // of this statement
};

// One walk per statement for what the sequencer needs to know of it: calls
// that never return, and vector or complex types (for a SWITCH, only in the
// controlling expression).
void scan_statement(const NODE* t, STMT_SCAN& s, bool types_wanted) {
  for (; t; t = t->right) {
    if ((t->op == CALL || t->op == UCALL) && t->fun && (t->fun->flags & FUN_never_returns)) s.never_returns = true;
    if (types_wanted) {
      s.vector = s.vector || type_is_vector(t->type);
      s.complex = s.complex || type_is_complex(t->type);
    }
    if (t->op == CSE_DUPE) return;
    scan_statement(t->left, s, types_wanted);
    if (t->op == SWITCH) types_wanted = false;
  }
}

// ---- Variable shortening ------------------------------------------------------------

struct SHORT_CAND {
  TYPE* narrow = nullptr;
  bool struck = false;
  std::vector<INT65> constants;
};

bool is_shortening_candidate(const SYMTAB* s) {
  if (!s || s->lex_level != 2 || (s->sclass != SC_LOCAL && s->sclass != SC_REGISTER)) return false;
  if (!is_wrap_int(s->type) || is_volatile_type(s->type) || is_volatile_type(s->decl_type) || volit_vars) return false;
  return type_bits(s->type) > 16;
}

// The narrow type a value stands for: the source of a widening that keeps
// every value.
TYPE* narrow_source(const NODE* rhs, const TYPE* wide) {
  if (!rhs || rhs->op != SCONV || !rhs->left) return nullptr;
  const TYPE* n = rhs->left->type;
  if (!is_wrap_int(n) || type_bits(n) >= type_bits(wide)) return nullptr;
  if (type_is_signed(n) && !type_is_signed(wide)) return nullptr;
  return rhs->left->type;
}

void note_assignment(std::map<SYMTAB*, SHORT_CAND>& cands, SYMTAB* s, const NODE* rhs) {
  SHORT_CAND& c = cands[s];
  if (c.struck) return;
  if (is_icon(rhs)) {
    c.constants.push_back(rhs->value);
    return;
  }
  TYPE* n = narrow_source(rhs, s->type);
  if (!n) {
    c.struck = true;
    return;
  }
  if (!c.narrow) {
    c.narrow = n;
    return;
  }
  // Values of one size and signedness only: a signed and an unsigned 16-bit
  // source have no common 16-bit type.
  if (type_bits(n) != type_bits(c.narrow) || type_is_signed(n) != type_is_signed(c.narrow)) c.struck = true;
}

void gather_shortening(NODE* t, bool statement_level, std::map<SYMTAB*, SHORT_CAND>& cands) {
  if (!t) return;
  if (t->op == ASG && t->left && t->left->op == NAME) {
    SYMTAB* s = t->left->name_symbol();
    if (is_shortening_candidate(s)) {
      if (statement_level) note_assignment(cands, s, t->right);
      else cands[s].struck = true;
    }
    gather_shortening(t->right, false, cands);
    return;
  }
  if ((is_opASG(t->op) || t->op == PLUSPLUS || t->op == MINMIN || t->op == UAND) && t->left && t->left->op == NAME) {
    SYMTAB* s = t->left->name_symbol();
    if (is_shortening_candidate(s)) cands[s].struck = true;
  }
  if (t->op == NAME) {
    SYMTAB* s = t->name_symbol();
    if (is_shortening_candidate(s)) cands[s];  // read: fine
  }
  if (t->op == CSE_DUPE) return;
  bool stmt = t->op == PCOMMA && statement_level;
  gather_shortening(t->left, stmt, cands);
  gather_shortening(t->right, stmt, cands);
}

NODE* rewrite_shortened(NODE* t, const std::map<SYMTAB*, TYPE*>& retyped, TYPE** wide_of, bool& changed) {
  if (!t) return t;
  if (t->op == ASG && t->left && t->left->op == NAME) {
    auto it = retyped.find(t->left->name_symbol());
    if (it != retyped.end()) {
      TYPE* n = it->second;
      NODE* r = t->right;
      if (r->op == SCONV) r = take_left(r);
      r = rewrite_shortened(r, retyped, wide_of, changed);
      t->right = coerce_to_type(n, r);
      t->left->type = n;
      t->type = n;
      changed = true;
      return t;
    }
  }
  if (t->op == NAME) {
    auto it = retyped.find(t->name_symbol());
    if (it != retyped.end()) {
      TYPE* wide = t->type;
      t->type = it->second;
      changed = true;
      return coerce_to_type(wide, t);
    }
    return t;
  }
  if (t->op == CSE_DUPE) return t;
  t->left = rewrite_shortened(t->left, retyped, wide_of, changed);
  t->right = rewrite_shortened(t->right, retyped, wide_of, changed);
  return t;
}

void make_shortened_symbol_entry(SYMTAB* s, TYPE* narrow) {
  s->type = narrow->normalized_type()->type_qualified();
  s->size = static_cast<int32_t>(s->type->size);
  s->align = static_cast<int32_t>(s->type->align);
}

// `cands` holds what gather_shortening found in every statement of `list`.
void shorten_variables(LIST* list, std::map<SYMTAB*, SHORT_CAND>& cands) {
  std::map<SYMTAB*, TYPE*> retyped;
  for (auto& e : cands) {
    SHORT_CAND& c = e.second;
    if (c.struck || !c.narrow) continue;
    bool fits = true;
    for (const INT65& k : c.constants)
      if (!fits_type(truncate_to_type(k, e.first->type), c.narrow)) fits = false;
    if (!fits) continue;
    retyped[e.first] = c.narrow->normalized_type()->type_qualified();
  }
  if (retyped.empty()) return;
  for (auto& e : retyped) {
    if (print_debug && fdebug) {
      fprintf(fdebug, "\nShortening this variable: %s\n", e.first->name);
      fprintf(fdebug, "to this narrower type:    %s\n", e.second->printstr(false));
    }
    make_shortened_symbol_entry(e.first, e.second);
  }
  // Changed statements are simplified again, and sequenced again when that
  // leaves a comma; the list is rebuilt around them.
  OUT out;
  for (LIST* l = list; l;) {
    LIST* next = l->next;
    l->next = nullptr;
    bool changed = false;
    l->tree = rewrite_shortened(l->tree, retyped, nullptr, changed);
    out.psn = l->psn;
    if (changed && l->tree && l->tree->op != PCOMMA) {
      emit_simplified(l, out, 0);
    } else {
      if (out.tail) out.tail->next = l;
      else out.head = l;
      out.tail = l;
    }
    l = next;
  }
  currfuninfo->stmts = out.head;
}

// ---- Branch probabilities -------------------------------------------------------------

void set_probability(NODE* label, double p) {
  if (label && label->op == LABEL && label->edge_profile < 0) label->edge_profile = p;
}

void initialize_labelref_probabilities(NODE* t) {
  if (!t) return;
  switch (t->op) {
    case BRANCH:
      set_probability(t->left, 1.0);
      return;
    case CBRANCH:
      set_probability(t->right, 0.5);
      return;
    case IF:
      if (t->right && t->right->op == COLON) {
        set_probability(t->right->left, 0.5);
        set_probability(t->right->right, 0.5);
      }
      return;
    case SWITCH: {
      std::vector<NODE*> labels;
      std::vector<NODE*> stack{t->right};
      while (!stack.empty()) {
        NODE* n = stack.back();
        stack.pop_back();
        if (!n) continue;
        if (n->op == LABEL) labels.push_back(n);
        else if (n->op == COMMA || n->op == CASE || n->op == DEFAULT) stack.push_back(n->right), stack.push_back(n->left);
      }
      for (NODE* l : labels) set_probability(l, 1.0 / static_cast<double>(labels.size()));
      return;
    }
    default:
      return;
  }
}

// Simplifies sequenced statements into `out`. Simplification can leave a
// comma (the effects of a dropped operand) or peel a statement into several
// effects; those are sequenced again.
void emit_simplified(LIST* cells, OUT& out, int depth) {
  for (LIST* c = cells; c;) {
    LIST* cn = c->next;
    NODE* s = c->tree;
    c->tree = nullptr;
    c->next = nullptr;
    erase_tree_list_only(c);
    c = cn;
    if (!s) continue;
    if (s->op != LABELDEF) {
      s = simp_tree(s, nullptr, nullptr);
      s = decide_constant_branch(s);
      if (s && !is_transfer(s->op) && s->op != LABELDEF && s->op != PCOMMA && s->op != ASM && s->op != PPRAGMA)
        s = peel_for_effect(s);
    }
    if (!s) continue;
    if (depth < 4 && s->op != PCOMMA && has_flow(s)) {
      OUT again;
      again.psn = out.psn;
      seq_statement(s, again);
      emit_simplified(again.head, out, depth + 1);
      continue;
    }
    out.add(s);
  }
}

}  // namespace

bool file_has_vector_trees = false;

void seq_trees() {
  LIST* list = reverse_list(currfuninfo->stmts);
  currfuninfo->stmts = list;
  if (opt_level == 0) {
    for (LIST* l = list; l; l = l->next) initialize_labelref_probabilities(l->tree);
    return;
  }

  // Each walk over every statement costs a cache miss per node once a
  // function outgrows the cache, so the walks that need one statement at a
  // time share it: the global constants with the largest label, and the
  // sequencing with the scan for calls that never return, vector and
  // complex types, and the gathering for variable shortening.
  next_label = 1;
  for (LIST* l = list; l; l = l->next) {
    if (opt_level > 1) propagate_global_constants(l->tree, l, true);
    next_label = std::max(next_label, max_label(l->tree) + 1);
  }

  // Sequence each statement, simplify what comes out, drop what has no effect.
  bool vector = false, complex = false;
  std::map<SYMTAB*, SHORT_CAND> cands;
  LIST* pending = nullptr;  // a call that never returns, until the next statement tells whether it is marked
  auto mark_pending = [&]() {  // once the statement behind it is in the list, or none will be
    if (!pending) return;
    if (!already_marked(pending)) {
      LIST* last = mark_never_returning_call(pending);
      for (LIST* m = pending->next; m != last->next; m = m->next) gather_shortening(m->tree, true, cands);
    }
    pending = nullptr;
  };
  OUT out;
  out.added = [&](LIST* c) {
    mark_pending();
    STMT_SCAN scan;
    scan_statement(c->tree, scan, !(vector && complex));
    vector = vector || scan.vector;
    complex = complex || scan.complex;
    if (scan.never_returns) pending = c;
    gather_shortening(c->tree, true, cands);
  };
  for (LIST* l = list; l;) {
    LIST* next = l->next;
    NODE* t = l->tree;
    PSN* psn = l->psn;
    l->tree = nullptr;
    l->next = nullptr;
    erase_tree_list_only(l);
    l = next;
    if (!t) continue;
    OUT part;
    part.psn = psn;
    seq_statement(t, part);
    out.psn = psn;
    emit_simplified(part.head, out, 0);
  }
  mark_pending();
  list = out.head;
  currfuninfo->stmts = list;
  note_not_built("seq_trees: profile counts of split || tests (no profile data on this target)");
  if (vector) file_has_vector_trees = true;
  currfuninfo->byte0 = static_cast<uint8_t>((vector ? 1 : 0) | (complex ? 2 : 0));

  shorten_variables(list, cands);
  list = currfuninfo->stmts;

  for (LIST* l = list; l; l = l->next) initialize_labelref_probabilities(l->tree);
}
