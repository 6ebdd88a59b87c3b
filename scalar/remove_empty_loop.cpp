// remove_empty_loop: a block that loops on itself doing nothing but step a
// counter and store constants runs once, with the counter's final value.
// Only loops whose end is certain are touched: the final value follows from
// the step and the test for every entry value, or from the constant the
// counter enters with. Anything else, an infinite loop among them, stays.
#include <cstdio>
#include <utility>
#include <vector>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg_rules.h"

namespace {

// Steps tried when the entry value is known: a 16-bit counter's whole cycle.
constexpr long kMaxSimulatedTrips = 1L << 17;

const char* const kDeletedNote = "+       ----------------------- /* EMPTY LOOP DELETED */ ";

bool is_comment(const NODE* t) { return t && t->op == ASM && t->value.as_int64() == ASM_COMMENT; }

// A plain counter: a non-volatile variable of an integral type of at most
// 32 bits, bool excluded (its arithmetic does not wrap).
bool counter_type_ok(const TYPE* t) {
  const TYPE* r = simp::rep(t);
  return r && r->kind == TYPE::KIND_INTEGRAL && !r->is_bool() && simp::type_bits(t) >= 1 && simp::type_bits(t) <= 32;
}

bool is_counter_name(const NODE* x) {
  return x && x->op == NAME && x->name_symbol() && counter_type_ok(x->type) && !tree_has_side_effects(x);
}

struct LOOP_TEST {
  NODE* x = nullptr;     // the counter as the test reads it
  int op = 0;            // x op k holds exactly when the loop goes round again
  INT65 k;               // in the counter's type
};

// The test of the IF, on `x op k`, turned so that it says when the block
// runs again.
bool read_loop_test(NODE* test, bool again_when_true, LOOP_TEST& lt) {
  if (!test) return false;
  NODE* x = nullptr;
  int op = 0;
  INT65 k(0);
  if (test->op >= EQ && test->op <= UGT) {
    NODE* l = test->left;
    NODE* r = test->right;
    op = test->op;
    if (l && l->op == ICON) {
      std::swap(l, r);
      op = commute_inv[op];
    }
    if (!is_counter_name(l) || !r || r->op != ICON || !simp::same_type(l->type, r->type)) return false;
    x = l;
    k = truncate_to_type(r->value, l->type);
  } else if (is_counter_name(test)) {
    x = test;
    op = NEQ;
  } else if (test->op == EXCLAIM && is_counter_name(test->left)) {
    x = test->left;
    op = EQ;
  } else {
    return false;
  }
  lt.x = x;
  lt.op = again_when_true ? op : boolean_inv[op];
  lt.k = k;
  return true;
}

INT65 read_word(const INT65& v, int op) { return truncate_to_width(v, 32, !simp::is_unsigned_relop(op)); }

// The comparison as the machine makes it on two values of the counter's type.
bool compare(int op, const INT65& a, const INT65& b) {
  INT65 x = read_word(a, op);
  INT65 y = read_word(b, op);
  switch (op) {
    case EQ: return x == y;
    case NEQ: return x != y;
    case LT: case ULT: return x < y;
    case LE: case ULE: return x <= y;
    case GT: case UGT: return x > y;
    default: return x >= y;
  }
}

// The step of x in `x = x + c` and its other spellings, sign-extended by the
// size of the counter's type: a constant added modulo 2^size.
bool read_update(NODE* t, const NODE* x, INT65& step) {
  if (!t || !t->left || !trees_are_congruent(t->left, x)) return false;
  const TYPE* xt = x->type;
  auto constant = [](const NODE* c, INT65& v) {
    if (!c || c->op != ICON) return false;
    v = truncate_to_type(c->value, c->type);
    return true;
  };
  INT65 c;
  switch (t->op) {
    case PLUSASG:
    case PLUSPLUS:
    case MINUSASG:
    case MINMIN:
      if (!constant(t->right, c)) return false;
      if (t->op == MINUSASG || t->op == MINMIN) c = -c;
      break;
    case ASG: {
      NODE* e = t->right;
      if (e && e->op == SCONV && simp::same_type(e->type, xt)) e = e->left;
      if (!e || (e->op != PLUS && e->op != MINUS) || !simp::is_wrap_int(e->type)) return false;
      // Wider arithmetic leaves the same value modulo the counter's size.
      int bits = simp::type_bits(e->type);
      if (bits < simp::type_bits(xt) || bits > 32) return false;
      NODE* l = e->left;
      if (l && l->op == SCONV && simp::is_int_type(l->type) && simp::same_type(l->type, e->type)) l = l->left;
      if (!l || !trees_are_congruent(l, x) || !constant(e->right, c)) return false;
      c = truncate_to_type(c, e->type);
      if (e->op == MINUS) c = -c;
      break;
    }
    default:
      return false;
  }
  step = sign_extend_by_type(c, xt);
  return true;
}

struct EMPTY_LOOP {
  LOOP_TEST test;
  LIST* update = nullptr;           // the counter's step
  INT65 step;
  std::vector<LIST*> constants;     // stores of constants, in order
};

// Apart from a leading LOOP statement, comments and assertions, the block
// holds the counter's one step and stores of constants into other plain
// variables.
bool block_is_essentially_empty(BBLK* bb, EMPTY_LOOP& el) {
  LIST* l = bb->statements;
  if (l && l->tree && l->tree->op == LOOP) l = l->next;
  const SYMTAB* xs = el.test.x->name_symbol();
  for (; l && l->next; l = l->next) {
    NODE* t = l->tree;
    if (!t || is_comment(t) || t->op == ASSERT || t->op == NASSERT) continue;
    INT65 step;
    if (read_update(t, el.test.x, step)) {
      if (el.update) return false;
      el.update = l;
      el.step = step;
      continue;
    }
    if (t->op == ASG && t->left && t->left->op == NAME && t->left->name_symbol() != xs &&
        !tree_has_side_effects(t->left) && t->right && (t->right->op == ICON || simp::is_fcon(t->right))) {
      const TYPE* r = simp::rep(t->left->type);
      if (r && (r->kind == TYPE::KIND_INTEGRAL || r->kind == TYPE::KIND_FLOATING || r->kind == TYPE::KIND_ENUM)) {
        el.constants.push_back(l);
        continue;
      }
    }
    return false;
  }
  return el.update != nullptr && !truncate_to_type(el.step, el.test.x->type).is_zero();
}

// The value the counter enters with when the other way in stores a
// constant in it just before it leaves, maybe through blocks that are only
// a test or a jump and have one predecessor each.
bool entry_value(BBLK* bb, const NODE* x, INT65& x0) {
  if (edge_length(bb->predecessors) != 2) return false;
  BBLK* p = bb->predecessors->bb == bb ? bb->predecessors->next->bb : bb->predecessors->bb;
  for (int hop = 0; hop < 4; ++hop) {
    if (!p || p == bb || !p->statements) return false;
    NODE* transfer = last_stmt(p);
    if (!transfer || (transfer->op != BRANCH && (transfer->op != IF || tree_has_side_effects(transfer->left))))
      return false;
    LIST* before = nullptr;
    for (LIST* l = p->statements; l && l->next; l = l->next) before = l;
    if (before) {
      NODE* t = before->tree;
      if (!t || t->op != ASG || !trees_are_congruent(t->left, x) || !t->right || t->right->op != ICON) return false;
      x0 = truncate_to_type(truncate_to_type(t->right->value, t->right->type), x->type);
      return true;
    }
    if (edge_length(p->predecessors) != 1) return false;
    p = p->predecessors->bb;
  }
  return false;
}

struct FINAL {
  bool constant = false;  // the final value whatever the entry value
  INT65 value;            // the final value, or the value once the loop goes round again
};

// The final value in closed form, for every entry value, when it exists.
// The first pass always runs; the value after it decides the rest.
bool closed_form(const EMPTY_LOOP& el, FINAL& f) {
  const TYPE* t = el.test.x->type;
  INT65 k = el.test.k;
  INT65 step = el.step;
  INT65 tmin = simp::type_min(t), tmax = simp::type_max(t);
  int op = el.test.op;
  switch (op) {
    case NEQ:
      // An odd step meets every value of the type: the loop ends at k.
      if ((step.low & 1u) == 0) return false;
      f.constant = true;
      f.value = k;
      return true;
    case EQ:
      // Round once more at most: the next step leaves k.
      f.value = truncate_to_type(k + step, t);
      return true;
    default:
      break;
  }
  // Ordered tests: only when the words compared are the values themselves,
  // and the counter walks one by one towards k without passing an end.
  if (read_word(tmin, op) != tmin || read_word(tmax, op) != tmax) return false;
  bool up = op == LT || op == ULT || op == LE || op == ULE;
  if (step != (up ? INT65(1) : INT65(-1))) return false;
  switch (op) {
    case LT: case ULT: case GT: case UGT:
      f.value = k;
      return true;
    case LE: case ULE:
      if (k == tmax) return false;  // never ends
      f.value = k + INT65(1);
      return true;
    default:
      if (k == tmin) return false;
      f.value = k - INT65(1);
      return true;
  }
}

bool again(const EMPTY_LOOP& el, const INT65& v) { return compare(el.test.op, v, el.test.k); }

// The final value from a known entry value, by running the steps.
bool simulate(const EMPTY_LOOP& el, const INT65& x0, INT65& final_value) {
  const TYPE* t = el.test.x->type;
  INT65 v = x0;
  for (long n = 0; n < kMaxSimulatedTrips; ++n) {
    v = truncate_to_type(v + el.step, t);
    if (!again(el, v)) {
      final_value = v;
      return true;
    }
  }
  return false;
}

// The loop of `bb` and its counter's final value, when the loop can go:
// what remove_empty_loop needs before it changes anything.
bool analyse(BBLK* bb, EMPTY_LOOP& el, FINAL& f, bool& again_when_true) {
  if (!bb || bb->pinned) return false;
  NODE* bi = last_stmt(bb);
  if (!bi || bi->op != IF) return false;
  BBLK* on_true = if_target(bi, true);
  BBLK* on_false = if_target(bi, false);
  if (on_true == on_false || (on_true != bb && on_false != bb)) return false;
  again_when_true = on_true == bb;
  if (!read_loop_test(bi->left, again_when_true, el.test)) return false;
  if (!block_is_essentially_empty(bb, el)) return false;
  const TYPE* t = el.test.x->type;
  bool known = closed_form(el, f);
  INT65 x0;
  if (entry_value(bb, el.test.x, x0)) {
    INT65 v;
    if (simulate(el, x0, v)) {
      f.constant = true;
      f.value = v;
      known = true;
    } else if (known && !f.constant) {
      INT65 first = truncate_to_type(x0 + el.step, t);
      f.constant = true;
      f.value = again(el, first) ? f.value : first;
    }
  }
  return known;
}

LIST* append_cell(LIST**& tail, NODE* tree, PSN* psn) {
  LIST* cell = mkelist(tree, nullptr, psn);
  *tail = cell;
  tail = &cell->next;
  return cell;
}

}  // namespace

bool empty_loop_is_removable(BBLK* bb) {
  EMPTY_LOOP el;
  FINAL f;
  bool again_when_true;
  return analyse(bb, el, f, again_when_true);
}

bool remove_empty_loop(BBLK* bb) {
  EMPTY_LOOP el;
  FINAL f;
  bool again_when_true;
  if (!analyse(bb, el, f, again_when_true)) return false;
  NODE* bi = last_stmt(bb);

  if (print_debug && fdebug) fprintf(fdebug, "\t\tThe loop [%d] is essentially empty.\n", bb->dfn);
  LIST* last = last_cell(bb);
  PSN* psn = last->psn;
  LS* scope = bi->scope;
  TYPE* xt = el.test.x->type;
  LIST* head = nullptr;
  LIST** tail = &head;
  NODE* note = maketree(ASM, nullptr, nullptr, tp->basic[TYPE_PKG::BT_VOID], scope);
  note->text = zstrdup(1, kDeletedNote);
  note->value = INT65(ASM_COMMENT);
  append_cell(tail, note, psn);
  // Keep the stores of constants and, unless the final value is a
  // constant, the first step; free everything else but the IF.
  LIST* keep_update = f.constant ? nullptr : el.update;
  for (LIST* l = bb->statements; l != last;) {
    LIST* next = l->next;
    bool keep = l == keep_update;
    for (LIST* c : el.constants) keep = keep || c == l;
    l->next = nullptr;
    if (keep) {
      *tail = l;
      tail = &l->next;
    } else {
      erase_tree_list(l);
    }
    l = next;
  }
  NODE* value;
  if (f.constant) {
    value = mk_ICON(f.value, xt);
  } else {
    // The loop may not go round again after its first pass: then the
    // counter keeps the value of that pass.
    NODE* fin = mk_ICON(f.value, xt);
    NODE* stay = copy_tree(el.test.x, false);
    NODE* colon = again_when_true ? maketree(COLON, fin, stay, xt, scope) : maketree(COLON, stay, fin, xt, scope);
    value = maketree(QUEST, copy_tree(bi->left, false), colon, xt, scope);
    if (quest_colon_is_strict(value)) value = make_strict_ternary_ICALL(value);
  }
  NODE* store = simp_tree(mk_ASG(copy_tree(el.test.x, false), value), bb->loop, nullptr);
  if (store) append_cell(tail, store, psn);
  *tail = last;
  bb->statements = head;
  turn_into_BRANCH(bb, if_label(bi, !again_when_true), true);
  return true;
}
