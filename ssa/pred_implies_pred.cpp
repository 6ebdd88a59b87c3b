// Implication between predicates. The known outcome of `a` is taken apart
// into facts (a conjunction; a disjunction splits the proof into cases), and
// `b` is proved from them:
//  - a comparison of an integer expression with a constant is a set of
//    values of that expression, in the reading of its type;
//  - a comparison of two other operands is a set of the outcomes less,
//    equal, greater and (for floating operands) unordered, so that every
//    floating case holds with NaN;
//  - anything else is only known congruent to itself.
// Values are compared as the machine compares them: the 32-bit words of the
// operands, read signed or unsigned by the operator.
#include "ssa/pred_implies_pred.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ir/int65.h"
#include "ir/opt_expr.h"
#include "ir/types.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"

namespace {

using simp::is_const_like;
using simp::is_icon;
using simp::same_type;
using simp::type_bits;

// Steps of one question; a question that needs more is answered no.
constexpr int kBudget = 400;

// ---- Sets of values: sorted, disjoint closed intervals ----------------------

struct SPAN {
  INT65 lo, hi;
};
using SPANS = std::vector<SPAN>;

SPANS normalized(SPANS v) {
  v.erase(std::remove_if(v.begin(), v.end(), [](const SPAN& s) { return s.lo > s.hi; }), v.end());
  std::sort(v.begin(), v.end(), [](const SPAN& a, const SPAN& b) { return a.lo < b.lo; });
  SPANS out;
  for (const SPAN& s : v) {
    if (!out.empty() && s.lo <= out.back().hi + INT65(1)) {
      if (s.hi > out.back().hi) out.back().hi = s.hi;
    } else {
      out.push_back(s);
    }
  }
  return out;
}

SPANS intersect(const SPANS& a, const SPANS& b) {
  SPANS out;
  for (const SPAN& x : a)
    for (const SPAN& y : b) {
      SPAN s{std::max(x.lo, y.lo), std::min(x.hi, y.hi)};
      if (s.lo <= s.hi) out.push_back(s);
    }
  return normalized(out);
}

SPANS complement(const SPANS& a, const SPAN& dom) {
  SPANS out;
  INT65 next = dom.lo;
  for (const SPAN& s : a) {
    if (s.lo > next) out.push_back({next, s.lo - INT65(1)});
    if (s.hi + INT65(1) > next) next = s.hi + INT65(1);
  }
  if (next <= dom.hi) out.push_back({next, dom.hi});
  return normalized(out);
}

bool subset(const SPANS& a, const SPANS& b, const SPAN& dom) { return intersect(a, complement(b, dom)).empty(); }

// ---- Outcomes of a comparison of two operands ----------------------------------

enum : unsigned { O_LT = 1, O_EQ = 2, O_GT = 4, O_UN = 8 };
// The order a comparison reads its operands in. Equality means the same in
// every order; the signed and the unsigned order of integers differ.
enum ORDER { ORD_EQUALITY, ORD_SIGNED, ORD_UNSIGNED, ORD_FLOAT };

unsigned outcomes_where_true(int op) {
  switch (op) {
    case EQ: return O_EQ;
    case NEQ: return O_LT | O_GT | O_UN;
    case LT: case ULT: return O_LT;
    case LE: case ULE: return O_LT | O_EQ;
    case GT: case UGT: return O_GT;
    case GE: case UGE: return O_GT | O_EQ;
    default: return 0;
  }
}

unsigned swapped_outcomes(unsigned o) {
  return (o & (O_EQ | O_UN)) | ((o & O_LT) ? O_GT : 0u) | ((o & O_GT) ? O_LT : 0u);
}

// What outcomes of one order say in another: only whether the operands
// are equal, unordered, or neither.
unsigned order_blind(unsigned o) { return (o & (O_EQ | O_UN)) | ((o & (O_LT | O_GT)) ? O_LT | O_GT : 0u); }

bool is_relational(int op) { return op >= EQ && op <= UGT; }
bool is_unsigned_order(int op) { return op >= ULE && op <= UGT; }

// ---- Atoms --------------------------------------------------------------------

bool int_like(const TYPE* t) { return simp::is_int_type(t) && type_bits(t) >= 1 && type_bits(t) <= 32; }
bool pair_operand_type(const TYPE* t) { return int_like(t) || simp::is_ptr_type(t) || simp::is_flt_type(t); }

bool is_zero_const(const NODE* n) {
  if (!n) return false;
  if (n->op == ICON) return truncate_to_type(n->value, n->type).is_zero();
  if (n->op == FCON) return simp::is_fcon_pos_zero(n) || simp::is_fcon_neg_zero(n);
  if ((n->op == PCONV || n->op == ISP2CHAR) && n->left && n->left->op == ICON)
    return truncate_to_type(n->left->value, n->left->type).is_zero();
  return false;
}

struct ATOM {
  enum KIND { GENERIC, RANGE, PAIR } kind = GENERIC;
  const NODE* x = nullptr;  // RANGE: the expression; PAIR: left operand
  const NODE* y = nullptr;  // PAIR: right operand, null for a zero
  SPAN dom;                 // RANGE: the values of x's type
  SPANS truth;              // RANGE: the values of x for which the atom holds
  int order = ORD_EQUALITY;
  unsigned truth_outcomes = 0;  // PAIR
  unsigned universe = 0;        // PAIR
};

SPAN domain_of(const TYPE* t) { return {simp::type_min(t), simp::type_max(t)}; }

INT65 read_word(const INT65& v, int op) { return truncate_to_width(v, 32, !is_unsigned_order(op)); }

// The values of x (type t) for which `x op c` holds. The words compared
// follow the values linearly on each piece of the domain cut at 0 and 2^31.
SPANS values_where(const TYPE* t, int op, const NODE* c) {
  SPAN dom = domain_of(t);
  INT65 rc = read_word(truncate_to_type(c->value, t), op);
  INT65 wmin = is_unsigned_order(op) ? INT65(0) : -(INT65(1) << 31);
  INT65 wmax = is_unsigned_order(op) ? (INT65(1) << 32) - INT65(1) : (INT65(1) << 31) - INT65(1);
  INT65 one(1);
  SPANS words;
  switch (op) {
    case EQ: words.push_back({rc, rc}); break;
    case NEQ: words.push_back({wmin, rc - one}); words.push_back({rc + one, wmax}); break;
    case LT: case ULT: words.push_back({wmin, rc - one}); break;
    case LE: case ULE: words.push_back({wmin, rc}); break;
    case GT: case UGT: words.push_back({rc + one, wmax}); break;
    case GE: case UGE: words.push_back({rc, wmax}); break;
    default: return {};
  }
  const SPAN pieces[] = {{-(INT65(1) << 31), INT65(-1)},
                         {INT65(0), (INT65(1) << 31) - one},
                         {INT65(1) << 31, (INT65(1) << 32) - one}};
  SPANS out;
  for (const SPAN& p : pieces) {
    SPAN q{std::max(p.lo, dom.lo), std::min(p.hi, dom.hi)};
    if (q.lo > q.hi) continue;
    INT65 d = read_word(q.lo, op) - q.lo;
    for (const SPAN& w : words) out.push_back({std::max(q.lo, w.lo - d), std::min(q.hi, w.hi - d)});
  }
  return normalized(out);
}

void make_pair(ATOM& at, const NODE* l, const NODE* r, int op) {
  bool flt = simp::is_flt_type(l->type) || (r && simp::is_flt_type(r->type));
  at.kind = ATOM::PAIR;
  at.x = l;
  // A zero stands for every spelling of zero of a pointer or a floating value.
  at.y = r && !simp::is_int_type(l->type) && is_zero_const(r) ? nullptr : r;
  at.order = flt ? ORD_FLOAT : op == EQ || op == NEQ ? ORD_EQUALITY : is_unsigned_order(op) ? ORD_UNSIGNED : ORD_SIGNED;
  at.universe = flt ? (O_LT | O_EQ | O_GT | O_UN) : (O_LT | O_EQ | O_GT);
  at.truth_outcomes = outcomes_where_true(op) & at.universe;
}

ATOM classify(const NODE* p) {
  ATOM at;
  if (is_relational(p->op)) {
    const NODE* l = p->left;
    const NODE* r = p->right;
    int op = p->op;
    if (!l || !r) return at;
    if (is_const_like(l) && !is_const_like(r)) {
      std::swap(l, r);
      op = commute_inv[op];
    }
    bool flt = simp::is_flt_type(l->type) || simp::is_flt_type(r->type);
    if (!flt && int_like(l->type) && is_icon(r) && same_type(l->type, r->type)) {
      at.kind = ATOM::RANGE;
      at.x = l;
      at.dom = domain_of(l->type);
      at.truth = values_where(l->type, op, r);
      return at;
    }
    if (pair_operand_type(l->type) && pair_operand_type(r->type)) make_pair(at, l, r, op);
    return at;
  }
  // Any other value is a test against zero.
  if (int_like(p->type)) {
    at.kind = ATOM::RANGE;
    at.x = p;
    at.dom = domain_of(p->type);
    INT65 zero(0);
    at.truth = complement({{zero, zero}}, at.dom);
    return at;
  }
  if (simp::is_ptr_type(p->type) || simp::is_flt_type(p->type)) make_pair(at, p, nullptr, NEQ);
  return at;
}

struct FACT {
  const NODE* node;
  int sense;
  ATOM atom;
};
using FACTS = std::vector<FACT>;
using LITS = std::vector<std::pair<const NODE*, int>>;

bool congruent_or_both_zero(const NODE* a, const NODE* b) { return (!a && !b) || (a && b && trees_are_congruent(a, b)); }

bool range_follows(const ATOM& at, int s, const FACTS& facts) {
  SPANS known{at.dom};
  for (const FACT& f : facts)
    if (f.atom.kind == ATOM::RANGE && trees_are_congruent(f.atom.x, at.x) && same_type(f.atom.x->type, at.x->type)) {
      SPANS held = f.sense ? f.atom.truth : complement(f.atom.truth, f.atom.dom);
      known = intersect(known, held);
    }
  SPANS wanted = s ? at.truth : complement(at.truth, at.dom);
  return subset(known, wanted, at.dom);
}

bool pair_follows(const ATOM& at, int s, const FACTS& facts) {
  unsigned known = at.universe;
  for (const FACT& f : facts) {
    if (f.atom.kind != ATOM::PAIR || (f.atom.order == ORD_FLOAT) != (at.order == ORD_FLOAT)) continue;
    unsigned held = f.sense ? f.atom.truth_outcomes : f.atom.universe & ~f.atom.truth_outcomes;
    if (congruent_or_both_zero(f.atom.x, at.x) && congruent_or_both_zero(f.atom.y, at.y)) {
      // as it stands
    } else if (congruent_or_both_zero(f.atom.x, at.y) && congruent_or_both_zero(f.atom.y, at.x)) {
      held = swapped_outcomes(held);
    } else {
      continue;
    }
    if (f.atom.order != at.order && f.atom.order != ORD_EQUALITY) held = order_blind(held);
    known &= held;
  }
  unsigned wanted = s ? at.truth_outcomes : at.universe & ~at.truth_outcomes;
  return (known & ~wanted) == 0;
}

// A conversion that keeps whether its operand is zero.
bool keeps_truth(const NODE* conv) {
  if (!conv || conv->op != SCONV || !conv->left) return false;
  const TYPE* from = conv->left->type;
  if (simp::is_bool_type(conv->type)) return int_like(from) || simp::is_ptr_type(from);
  return int_like(conv->type) && int_like(from) && type_bits(from) <= type_bits(conv->type);
}

// x | y converted to the type of the ORB: zero only if x is.
bool or_operand_keeps_zero(const NODE* orb, const NODE* x) {
  return int_like(x->type) && (simp::is_bool_type(orb->type) || type_bits(x->type) <= type_bits(orb->type));
}

bool bitwise_on_ints(const NODE* t) { return t->left && t->right && int_like(t->type) && int_like(t->left->type) && int_like(t->right->type); }

// A value of 1 or 0 compared with 0 or 1: the value itself or its opposite.
bool as_boolean_test(const NODE* t, int s, const NODE*& q, int& qs) {
  if ((t->op != EQ && t->op != NEQ) || !t->left || !t->right) return false;
  const NODE* v = t->left;
  const NODE* k = t->right;
  if (is_icon(v) && !is_icon(k)) std::swap(v, k);
  if (!is_icon(k) || is_icon(v) || !returns_1_or_0(v) || !same_type(v->type, k->type) || !int_like(v->type)) return false;
  INT65 kv = truncate_to_type(k->value, v->type);
  if (kv != INT65(0) && kv != INT65(1)) return false;
  q = v;
  qs = ((t->op == EQ) == (kv == INT65(1))) ? s : !s;
  return true;
}

int truth_of_icon(const NODE* c) { return truncate_to_type(c->value, c->type).is_zero() ? 0 : 1; }

bool proves(const NODE* b, int s, const FACTS& facts, int& budget) {
  if (--budget < 0 || !b) return false;
  for (const FACT& f : facts)
    if (f.sense == s && trees_are_congruent(f.node, b)) return true;
  const NODE* q;
  int qs;
  switch (b->op) {
    case ICON:
      if (int_like(b->type) || simp::is_ptr_type(b->type)) return truth_of_icon(b) == s;
      break;
    case EXCLAIM:
      return proves(b->left, !s, facts, budget);
    case ANDAND:
      if (s) return proves(b->left, 1, facts, budget) && proves(b->right, 1, facts, budget);
      return proves(b->left, 0, facts, budget) || proves(b->right, 0, facts, budget);
    case OROR:
      if (s) return proves(b->left, 1, facts, budget) || proves(b->right, 1, facts, budget);
      return proves(b->left, 0, facts, budget) && proves(b->right, 0, facts, budget);
    case ANDB:
      if (!bitwise_on_ints(b)) break;
      if (!s) return proves(b->left, 0, facts, budget) || proves(b->right, 0, facts, budget);
      // 1 & 1 is the only way two values of 1 or 0 give a non-zero.
      if (returns_1_or_0(b->left) && returns_1_or_0(b->right))
        return proves(b->left, 1, facts, budget) && proves(b->right, 1, facts, budget);
      break;
    case ORB:
      if (!bitwise_on_ints(b)) break;
      if (!s) return proves(b->left, 0, facts, budget) && proves(b->right, 0, facts, budget);
      return (or_operand_keeps_zero(b, b->left) && proves(b->left, 1, facts, budget)) ||
             (or_operand_keeps_zero(b, b->right) && proves(b->right, 1, facts, budget));
    case SCONV:
      if (keeps_truth(b)) return proves(b->left, s, facts, budget);
      break;
    default:
      if (as_boolean_test(b, s, q, qs)) return proves(q, qs, facts, budget);
      break;
  }
  ATOM at = classify(b);
  switch (at.kind) {
    case ATOM::RANGE: return range_follows(at, s, facts);
    case ATOM::PAIR: return pair_follows(at, s, facts);
    default: return false;
  }
}

// Every state in which the literals hold (with the facts already drawn)
// gives b the sense bs.
bool holds_under(LITS todo, FACTS facts, const NODE* b, int bs, int& budget) {
  while (!todo.empty()) {
    if (--budget < 0) return false;
    const NODE* p = todo.back().first;
    int s = todo.back().second;
    todo.pop_back();
    // The literal itself, whatever it is taken apart into below.
    facts.push_back({p, s, classify(p)});
    const NODE* q;
    int qs;
    switch (p->op) {
      case ICON:
        if (int_like(p->type) || simp::is_ptr_type(p->type)) {
          // No state gives the constant the other sense.
          if (truth_of_icon(p) != s) return true;
          continue;
        }
        break;
      case EXCLAIM:
        todo.push_back({p->left, !s});
        continue;
      case ANDAND:
      case OROR:
        if ((p->op == ANDAND) == (s == 1)) {
          todo.push_back({p->left, s});
          todo.push_back({p->right, s});
        } else {
          // Either the left side decides, or it does not and the right does.
          LITS second = todo;
          todo.push_back({p->left, s});
          second.push_back({p->left, !s});
          second.push_back({p->right, s});
          return holds_under(todo, facts, b, bs, budget) && holds_under(second, facts, b, bs, budget);
        }
        continue;
      case ANDB:
        if (!bitwise_on_ints(p)) break;
        if (s) {
          todo.push_back({p->left, 1});
          todo.push_back({p->right, 1});
          continue;
        }
        if (returns_1_or_0(p->left) && returns_1_or_0(p->right)) {
          LITS second = todo;
          todo.push_back({p->left, 0});
          second.push_back({p->left, 1});
          second.push_back({p->right, 0});
          return holds_under(todo, facts, b, bs, budget) && holds_under(second, facts, b, bs, budget);
        }
        break;
      case ORB:
        if (!bitwise_on_ints(p)) break;
        if (s) {
          LITS second = todo;
          todo.push_back({p->left, 1});
          second.push_back({p->right, 1});
          return holds_under(todo, facts, b, bs, budget) && holds_under(second, facts, b, bs, budget);
        }
        if (or_operand_keeps_zero(p, p->left) && or_operand_keeps_zero(p, p->right)) {
          todo.push_back({p->left, 0});
          todo.push_back({p->right, 0});
          continue;
        }
        break;
      case SCONV:
        if (keeps_truth(p)) {
          todo.push_back({p->left, s});
          continue;
        }
        break;
      default:
        if (as_boolean_test(p, s, q, qs)) {
          todo.push_back({q, qs});
          continue;
        }
        break;
    }
  }
  return proves(b, bs, facts, budget);
}

// Operators whose meaning is not a value of the state: markers of loops,
// of SSA form and of common subexpressions.
bool has_foreign_op(const NODE* t) {
  for (; t; t = t->right) {
    switch (t->op) {
      case LOOP: case ENDLOOP: case INITLOOP: case DDNODE: case EXPRSTUB: case CSE_DUPE: case CSE_ORIG:
      case SSA_PHI: case SSA_USE: case SSA_DEF: case SSA_MU: case SSA_CHI:
      case MIXVALUE: case MIX_CONJ: case MIX_DISJ: case MIX_SET:
        return true;
      default:
        break;
    }
    if (has_foreign_op(t->left)) return true;
  }
  return false;
}

}  // namespace

bool pred_implies_pred(NODE* a, int a_sense, NODE* b, int b_sense) {
  if (!a || !b) return false;
  if (tree_has_side_effects(a) || tree_has_side_effects(b) || has_foreign_op(a) || has_foreign_op(b)) return false;
  int as = a_sense ? 1 : 0;
  int bs = b_sense ? 1 : 0;
  if (as == bs && trees_are_congruent(a, b)) return true;
  int budget = kBudget;
  return holds_under(LITS{{a, as}}, FACTS(), b, bs, budget);
}
