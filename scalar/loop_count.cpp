// The counter of a loop and its trip count, in the target's arithmetic.
//
// The counter is compared as the machine compares it: the values a test can
// see lie on a line [lo, hi] along which the counter steps and from whose
// end it wraps to the other. A count is only given when the loop provably
// leaves before any wrap, or (for a test of inequality stepping by one) when
// the wrap is part of the count; anything else, a possibly endless loop
// among them, is left alone.
#include "scalar/loop_count.h"

#include <map>
#include <set>
#include <vector>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/type_pkg.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/dominator.h"
#include "scalar/loop.h"
#include "scalar/simp.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg.h"
#include "scalar/simpcfg_rules.h"
#include "ssa/alias.h"

namespace {

std::map<const struct LOOP*, COUNTED_LOOP> counted;
std::set<const SYMTAB*> down_counters;
const void* down_counters_owner = nullptr;

// The chain of blocks in front of a loop searched for its entry value and
// guard.
constexpr int kMaxChain = 6;

void say(bool verbose, const char* text) {
  if (verbose) dprintf("%s", text);
}

bool is_relop(int op) { return op >= EQ && op <= UGT; }
bool unsigned_rel(int op) { return op >= ULE && op <= UGT; }

bool counter_symbol_ok(const SYMTAB* s) {
  if (!s || s->lex_level < 1 || symbol_is_aliased(s) || symbol_is_immutable(s)) return false;
  if (s->sclass != SC_LOCAL && s->sclass != SC_REGISTER && s->sclass != SC_REG17 && s->sclass != SC_REG22) return false;
  const TYPE* t = simp::rep(s->type);
  if (!t || t->kind != TYPE::KIND_INTEGRAL || t->is_bool() || simp::is_volatile_type(s->type)) return false;
  int bits = simp::type_bits(s->type);
  return bits == 16 || bits == 32;
}

// The symbol the operand reads when it is the counter: NAME v, or a
// conversion of it that keeps every value of v as the comparison reads it.
SYMTAB* counter_of_operand(NODE* x, int rel) {
  if (!x) return nullptr;
  if (x->op == NAME) return x->name_symbol();
  if (x->op != SCONV || !x->left || x->left->op != NAME) return nullptr;
  const SYMTAB* v = x->left->name_symbol();
  if (!v || !simp::is_int_type(x->type) || simp::is_bool_type(x->type)) return nullptr;
  int wc = simp::type_bits(x->type), wv = simp::type_bits(v->type);
  if (wc != 32 || wv > 32) return nullptr;
  if (wv < 32 && simp::type_is_signed(v->type) && unsigned_rel(rel)) return nullptr;
  return x->left->name_symbol();
}

struct TEST {
  int rel = 0;
  NODE* counter = nullptr;
  NODE* bound = nullptr;
  SYMTAB* var = nullptr;
};

// The test `cond`, read so that `counter rel bound` holds exactly when the
// way `sense` is taken. The counter is the side that reads `want` (or, with
// `want` null, a variable the loop assigns).
bool read_test(NODE* cond, bool sense, const SYMTAB* want, struct LOOP* loop, TEST& t) {
  if (!cond || tree_has_side_effects(cond)) return false;
  int rel = cond->op;
  NODE* l = cond->left;
  NODE* r = cond->right;
  // A counter tested for truth: `i` is i != 0, `!i` is i == 0.
  NODE* alone = cond->op == EXCLAIM ? cond->left : cond;
  if (alone && (alone->op == NAME || (alone->op == SCONV && alone->left && alone->left->op == NAME)) &&
      simp::is_int_type(alone->type)) {
    rel = cond->op == EXCLAIM ? EQ : NEQ;
    l = alone;
    r = mk_ICON(INT65(0), alone->type);
  }
  if (!is_relop(rel) || !l || !r) return false;
  auto is_counter = [&](NODE* side, int as_rel) {
    SYMTAB* s = counter_of_operand(side, as_rel);
    if (!s) return false;
    if (want) return s == want;
    collect_loop_symbols(loop);
    return loop->assigned->contains(s);
  };
  bool lc = is_counter(l, rel), rc = is_counter(r, commute_inv[rel]);
  if (lc == rc) return false;
  if (rc) {
    std::swap(l, r);
    rel = commute_inv[rel];
  }
  // Only integer comparisons: inverting them is exact.
  if (!simp::is_int_type(l->type) || !simp::is_int_type(r->type)) return false;
  if (!sense) rel = boolean_inv[rel];
  t.rel = rel;
  t.counter = l;
  t.bound = r;
  t.var = counter_of_operand(l, rel);
  return true;
}

bool same_test(const TEST& a, const TEST& b) {
  return a.rel == b.rel && trees_are_congruent(a.counter, b.counter) && trees_are_congruent(a.bound, b.bound);
}

bool is_store_op(int op) {
  return op == ASG || op == STASG || op == ARASG || op == PLUSPLUS || op == MINMIN ||
         (op > 0 && op < 256 && op_of_opASG[op] != 255);
}

void stores_of(NODE* t, const SYMTAB* v, std::vector<NODE*>& out) {
  for (; t; t = t->right) {
    if (is_store_op(t->op) && name_below_stdots(t->left) == v) out.push_back(t);
    if (t->op == CSE_DUPE) return;
    stores_of(t->left, v, out);
  }
}

// `x = x + c` and its other spellings as a statement; the step comes back
// sign-extended by the size of x.
bool read_update(NODE* t, const SYMTAB* v, INT65& step) {
  if (!t || !t->left || t->left->op != NAME || t->left->name_symbol() != v) return false;
  const TYPE* vt = t->left->type;
  INT65 c;
  auto constant = [](const NODE* k, INT65& out) {
    if (!k || k->op != ICON) return false;
    out = truncate_to_type(k->value, k->type);
    return true;
  };
  switch (t->op) {
    case PLUSASG:
    case PLUSPLUS:
    case MINUSASG:
    case MINMIN:
      if (!constant(t->right, c)) return false;
      if (simp::type_bits(t->right->type) < simp::type_bits(vt) && !simp::type_is_signed(t->right->type)) return false;
      if (t->op == MINUSASG || t->op == MINMIN) c = -c;
      break;
    case ASG: {
      NODE* e = t->right;
      if (e && e->op == SCONV && simp::is_wrap_int(e->type) && simp::type_bits(e->type) == simp::type_bits(vt)) e = e->left;
      if (!e || (e->op != PLUS && e->op != MINUS) || !simp::is_wrap_int(e->type)) return false;
      int bits = simp::type_bits(e->type);
      if (bits < simp::type_bits(vt) || bits > 32) return false;
      NODE* l = e->left;
      if (l && l->op == SCONV && simp::is_int_type(l->type) && simp::type_bits(l->type) >= simp::type_bits(vt)) l = l->left;
      if (!l || l->op != NAME || l->name_symbol() != v || !constant(e->right, c)) return false;
      c = truncate_to_type(c, e->type);
      if (e->op == MINUS) c = -c;
      break;
    }
    default:
      return false;
  }
  step = sign_extend_by_type(truncate_to_type(c, vt), vt);
  return !truncate_to_type(step, vt).is_zero();
}

INT65 range_min(bool is_signed) { return is_signed ? -(INT65(1) << 31) : INT65(0); }
INT65 range_max(bool is_signed) { return is_signed ? (INT65(1) << 31) - INT65(1) : (INT65(1) << 32) - INT65(1); }

// The value of a constant of type `t` as a comparison of that signedness sees it.
INT65 to_cmp(const INT65& v, const TYPE* t, bool is_signed) {
  return truncate_to_width(truncate_to_type(v, t), 32, is_signed);
}

// Bounds of what the comparison sees of `b`.
void bound_range(NODE* b, bool is_signed, INT65& mn, INT65& mx) {
  if (b->op == ICON) {
    mn = mx = to_cmp(b->value, b->type, is_signed);
    return;
  }
  INT65 lo = calculate_minval_for_tree(b, nullptr, nullptr);
  INT65 hi = calculate_maxval_for_tree(b, nullptr, nullptr);
  if (lo > hi) {
    lo = simp::type_min(b->type);
    hi = simp::type_max(b->type);
  }
  INT65 clo = truncate_to_width(lo, 32, is_signed), chi = truncate_to_width(hi, 32, is_signed);
  if (clo == lo && chi == hi) {
    mn = lo;
    mx = hi;
  } else {
    mn = range_min(is_signed);
    mx = range_max(is_signed);
  }
}

INT65 gcd(INT65 a, INT65 b) {
  if (a.is_negative()) a = -a;
  if (b.is_negative()) b = -b;
  while (!b.is_zero()) {
    INT65 r = a % b;
    a = b;
    b = r;
  }
  return a;
}

// The inverse of an odd number modulo 2^bits.
INT65 odd_inverse(const INT65& a, int bits) {
  uint64_t x = a.as_uint64();
  uint64_t inv = x;  // correct to 3 bits
  for (int i = 0; i < 6; ++i) inv *= 2 - x * inv;
  uint64_t mask = bits >= 64 ? ~0ULL : ((1ULL << bits) - 1);
  return INT65(static_cast<unsigned long long>(inv & mask));
}

TYPE* uint32() { return simp::int_type_of(32, false); }

NODE* icon_u(const INT65& v) { return mk_ICON(v, uint32()); }

// `tree` (of the comparison's type) as unsigned int: the same value modulo 2^32.
NODE* as_u(NODE* tree) {
  if (simp::same_type(tree->type, uint32())) return tree;
  return maketree(SCONV, tree, nullptr, uint32(), tree->scope);
}

NODE* bin_u(int op, NODE* a, NODE* b) { return maketree(op, a, b, uint32(), a ? a->scope : nullptr); }

// Does the loop go round again at line value u against bound b?
bool again(int rel, const INT65& u, const INT65& b) {
  switch (rel) {
    case EQ: return u == b;
    case NEQ: return u != b;
    case LT: case ULT: return u < b;
    case LE: case ULE: return u <= b;
    case GT: case UGT: return u > b;
    default: return u >= b;
  }
}

void names_read(const NODE* t, std::set<const SYMTAB*>& out, bool& memory) {
  for (; t; t = t->right) {
    if (t->op == NAME) {
      const SYMTAB* s = t->name_symbol();
      out.insert(s);
      if (!s || s->lex_level < 1 || symbol_is_aliased(s)) memory = true;
    }
    if (t->op == UMULT || t->op == STREF) memory = true;
    if (t->op == CSE_DUPE) return;
    names_read(t->left, out, memory);
  }
}

// The statement may store something the tree reads.
bool statement_may_change(NODE* stmt, NODE* tree) {
  if (!tree_has_side_effects(stmt)) return false;
  std::set<const SYMTAB*> reads;
  bool memory = false;
  names_read(tree, reads, memory);
  bool changes = false;
  std::vector<NODE*> work{stmt};
  while (!work.empty() && !changes) {
    NODE* t = work.back();
    work.pop_back();
    if (!t) continue;
    if (is_store_op(t->op)) {
      const SYMTAB* s = name_below_stdots(t->left);
      changes = s ? reads.count(s) || (memory && (s->lex_level < 1 || symbol_is_aliased(s))) : memory;
    } else if (t->op == CALL || t->op == UCALL || t->op == MCALL || t->op == UMCALL || t->op == MEMCPY ||
               ((t->op == ICALL || t->op == UICALL) && tree_has_side_effects(t)) || (t->op == ASM && t->value.as_int64() != 47)) {
      changes = memory;
    }
    work.push_back(t->left);
    work.push_back(t->right);
  }
  return changes;
}

class ANALYSIS {
 public:
  ANALYSIS(struct LOOP* loop, COUNTED_LOOP& cl, bool verbose) : loop_(loop), cl_(cl), verbose_(verbose) {}

  bool run() {
    cl_.loop = loop_;
    cl_.head = loop_->head;
    cl_.tail = loop_->tail;
    cl_.preheader = loop_->preheader;
    if (!find_test()) {
      say(verbose_, "\t** No valid loop test found.\n");
      return false;
    }
    if (!find_update()) {
      say(verbose_, "\t** No/invalid loop increment.\n");
      return false;
    }
    if (!check_relation()) {
      if (verbose_) dprintf("\t** Invalid relation for that increment: %s\n", node_operator_name[cl_.rel]);
      return false;
    }
    if (!set_line()) return not_predictable();
    scan_entry();
    cl_.var_uses = count_symbol_in_loop(loop_, cl_.var);
    return count();
  }

 private:
  struct LOOP* loop_;
  COUNTED_LOOP& cl_;
  bool verbose_;
  bool line_signed_ = true;
  INT65 bmin_, bmax_;

  bool not_predictable() {
    say(verbose_, "\t** Loop counter not predictable\n");
    return false;
  }

  bool find_test() {
    BBLK* t = cl_.tail;
    NODE* last = t ? last_stmt(t) : nullptr;
    if (!last || last->op != IF || !cl_.preheader) return false;
    BBLK* yes = if_target(last, true);
    BBLK* no = if_target(last, false);
    if (!yes || !no || yes == no) return false;
    bool again_when_true;
    if (yes == cl_.head && !block_in_loop(no, loop_)) again_when_true = true;
    else if (no == cl_.head && !block_in_loop(yes, loop_)) again_when_true = false;
    else return false;
    TEST test;
    if (!read_test(last->left, again_when_true, nullptr, loop_, test)) return false;
    if (!counter_symbol_ok(test.var)) return false;
    if (count_symbol(test.bound, test.var) || !tree_is_RC_in_loop(test.bound, loop_, false)) return false;
    cl_.test_if = last;
    cl_.test_cell = last_cell(t);
    cl_.exit = again_when_true ? no : yes;
    cl_.rel = test.rel;
    cl_.counter = test.counter;
    cl_.bound = test.bound;
    cl_.var = test.var;
    cl_.var_type = test.var->type;
    cl_.width = simp::type_bits(test.var->type);
    return true;
  }

  bool find_update() { return find_loop_step(loop_, cl_.var, cl_.update, cl_.update_block, cl_.step); }

  bool check_relation() {
    bool up = !cl_.step.is_negative();
    switch (cl_.rel) {
      case LT: case LE: case ULT: case ULE: return up;
      case GT: case GE: case UGT: case UGE: return !up;
      case NEQ: case EQ: return true;
      default: return false;
    }
  }

  bool set_line() {
    bool rel_signed = !unsigned_rel(cl_.rel);
    if (cl_.rel == EQ || cl_.rel == NEQ) rel_signed = simp::type_is_signed(cl_.counter->type);
    bool var_signed = simp::type_is_signed(cl_.var_type);
    if (cl_.width == 32) {
      line_signed_ = rel_signed;
      cl_.lo = range_min(rel_signed);
      cl_.hi = range_max(rel_signed);
    } else {
      if (var_signed && !rel_signed) return false;
      line_signed_ = rel_signed;
      cl_.lo = simp::type_min(cl_.var_type);
      cl_.hi = simp::type_max(cl_.var_type);
    }
    bound_range(cl_.bound, rel_signed, bmin_, bmax_);
    return true;
  }

  // The counter's value on the line after it took the value x in its type.
  INT65 to_line(const INT65& x) const {
    INT65 v = truncate_to_type(x, cl_.var_type);
    return cl_.width == 32 ? truncate_to_width(v, 32, line_signed_) : v;
  }

  // Blocks in front of the loop with no other way in, nearest first: the
  // counter's value on entry, and a test (if any) that lets only a loop
  // that runs in.
  void scan_entry() {
    std::vector<BBLK*> chain;
    BBLK* b = cl_.preheader;
    BBLK* from = cl_.head;
    bool value_found = false;
    for (int hop = 0; b && hop < kMaxChain; ++hop) {
      NODE* last = last_stmt(b);
      if (!last || (last->op != IF && last->op != BRANCH)) break;
      if (last->op == IF) check_guard(b, from, chain);
      if (!value_found) value_found = entry_store(b, chain);
      if (last->op == IF || edge_length(b->predecessors) != 1 || b == cfg.bb_list) break;
      chain.push_back(b);
      from = b;
      b = b->predecessors->bb;
      if (block_in_loop(b, loop_)) break;
    }
    if (cl_.guard && cl_.entry_known && cl_.bound->op == ICON) {
      bool runs = again(cl_.rel, to_line(cl_.entry), bmin_);
      cl_.guard_always = runs;
      cl_.may_skip = !runs;
    }
  }

  // The last store to the counter in b, read backwards from its end; the
  // blocks of `nearer` lie between b and the loop.
  bool entry_store(BBLK* b, const std::vector<BBLK*>& nearer) {
    std::vector<LIST*> cells;
    for (LIST* l = b->statements; l && l->next; l = l->next) cells.push_back(l);
    for (size_t i = cells.size(); i-- > 0;) {
      std::vector<NODE*> stores;
      stores_of(cells[i]->tree, cl_.var, stores);
      if (stores.empty()) continue;
      NODE* t = cells[i]->tree;
      cl_.entry_cell = cells[i];
      cl_.entry_block = b;
      if (stores.size() != 1 || stores[0] != t || t->op != ASG || t->left->op != NAME || !t->right ||
          tree_has_side_effects(t->right) || count_symbol(t->right, cl_.var))
        return true;
      if (t->right->op == ICON) {
        cl_.entry_known = true;
        cl_.entry = truncate_to_type(truncate_to_type(t->right->value, t->right->type), cl_.var_type);
        return true;
      }
      // The value as a tree, while nothing after the store changes what it reads.
      bool kept = true;
      for (size_t j = i + 1; j < cells.size() && kept; ++j) kept = !statement_may_change(cells[j]->tree, t->right);
      for (BBLK* n : nearer) kept = kept && !bb_modifies_lvalue_in_tree(n, t->right);
      if (kept) cl_.entry_tree = t->right;
      return true;
    }
    return false;
  }

  void check_guard(BBLK* g, BBLK* into, const std::vector<BBLK*>& between) {
    NODE* gi = last_stmt(g);
    BBLK* yes = if_target(gi, true);
    BBLK* no = if_target(gi, false);
    if (!yes || !no || yes == no || (yes != into && no != into)) return;
    TEST gt;
    if (!read_test(gi->left, yes == into, cl_.var, loop_, gt)) return;
    TEST lt;
    lt.rel = cl_.rel;
    lt.counter = cl_.counter;
    lt.bound = cl_.bound;
    if (!same_test(gt, lt)) return;
    // What the guard compared must still hold when the loop starts.
    NODE* tested = cl_.test_if->left;
    for (BBLK* b : between)
      if (bb_modifies_lvalue_in_tree(b, tested)) return;
    cl_.guard = g;
    cl_.guard_sense = yes == into;
  }

  // The counter's value as the test reads it, at the end of the preheader.
  NODE* counter_at_entry() {
    if (cl_.entry_known) return subst_symbol(cl_.counter, cl_.var, mk_ICON(cl_.entry, cl_.var_type));
    return copy_tree(cl_.counter, false);
  }

  // The trip count of a loop that is known to run, starting from line value
  // u; `u_tree` gives u at run time. False when it can't be given.
  bool guarded_count(NODE* u_tree, INT65* u_const, NODE*& n, bool& div_needed) {
    INT65 s = cl_.step;
    INT65 d = s.is_negative() ? -s : s;
    INT65 m = cl_.hi - cl_.lo + INT65(1);
    div_needed = false;
    NODE* b = copy_tree(cl_.bound, false);
    switch (cl_.rel) {
      case EQ:
        erase_tree(b);
        erase_tree(u_tree);
        n = icon_u(INT65(1));
        return true;
      case NEQ: {
        if (bmin_ < cl_.lo || bmax_ > cl_.hi) break;
        if (d != INT65(1)) {
          // Only with both ends known: the steps must meet the bound.
          if (!u_const || cl_.bound->op != ICON) break;
          INT65 diff = (bmin_ - *u_const) % m;
          if (diff.is_negative()) diff += m;
          INT65 sm = s % m;
          if (sm.is_negative()) sm += m;
          INT65 g = gcd(sm, m);
          if (diff.is_zero() || !(diff % g).is_zero()) break;
          int bits = cl_.width - simp::log2_exact(g);
          INT65 k = truncate_to_width((diff / g) * odd_inverse(sm / g, bits), bits, false);
          erase_tree(b);
          erase_tree(u_tree);
          n = icon_u(k);
          return true;
        }
        NODE* diff = s.is_negative() ? bin_u(MINUS, as_u(u_tree), as_u(b)) : bin_u(MINUS, as_u(b), as_u(u_tree));
        if (m != (INT65(1) << 32)) diff = bin_u(ANDB, diff, icon_u(m - INT65(1)));
        n = diff;
        return true;
      }
      case LT:
      case ULT:
      case LE:
      case ULE: {
        bool le = cl_.rel == LE || cl_.rel == ULE;
        if (bmax_ > cl_.hi - d + INT65(le ? 0 : 1)) break;
        NODE* diff = bin_u(MINUS, as_u(b), as_u(u_tree));
        n = le ? bin_u(PLUS, divide(diff, d, div_needed), icon_u(INT65(1)))
               : divide(bin_u(PLUS, diff, icon_u(d - INT65(1))), d, div_needed);
        return true;
      }
      case GT:
      case UGT:
      case GE:
      case UGE: {
        bool ge = cl_.rel == GE || cl_.rel == UGE;
        if (bmin_ < cl_.lo + d - INT65(ge ? 0 : 1)) break;
        NODE* diff = bin_u(MINUS, as_u(u_tree), as_u(b));
        n = ge ? bin_u(PLUS, divide(diff, d, div_needed), icon_u(INT65(1)))
               : divide(bin_u(PLUS, diff, icon_u(d - INT65(1))), d, div_needed);
        return true;
      }
      default:
        break;
    }
    erase_tree(b);
    erase_tree(u_tree);
    return false;
  }

  NODE* divide(NODE* x, const INT65& d, bool& div_needed) {
    if (d == INT65(1)) return x;
    int k = simp::log2_exact(d);
    if (k > 0) return bin_u(SRL, x, mk_ICON(INT65(k), simp::int_type()));
    div_needed = true;
    return bin_u(DIV, x, icon_u(d));
  }

  // The distance a counter stepping by |step| runs down instead of the
  // count, when the count would need a division at run time.
  NODE* distance(NODE* u_tree) {
    NODE* b = copy_tree(cl_.bound, false);
    bool up = !cl_.step.is_negative();
    NODE* diff = up ? bin_u(MINUS, as_u(b), as_u(u_tree)) : bin_u(MINUS, as_u(u_tree), as_u(b));
    if (cl_.rel == LE || cl_.rel == ULE || cl_.rel == GE || cl_.rel == UGE) diff = bin_u(PLUS, diff, icon_u(INT65(1)));
    return diff;
  }

  bool count() {
    INT65 s = cl_.step;
    INT65 d = s.is_negative() ? -s : s;
    NODE* n = nullptr;
    bool div_needed = false;
    cl_.counter_step = INT65(1);
    cl_.term_op = NEQ;
    if (cl_.guard) {
      if (cl_.may_skip) {
        cl_.count = icon_u(INT65(0));
        cl_.count_known = true;
        cl_.count_value = INT65(0);
        trace();
        return true;
      }
      INT65 u0 = to_line(cl_.entry);
      if (!guarded_count(counter_at_entry(), cl_.entry_known ? &u0 : nullptr, n, div_needed)) return not_predictable();
    } else if (cl_.entry_known) {
      // Bottom-tested with nothing in front: the first pass always runs,
      // and the bound, read first after it, must not stop the program
      // when it is read before.
      if (tree_may_trap(cl_.bound)) return not_predictable();
      INT65 x1 = truncate_to_type(cl_.entry + s, cl_.var_type);
      INT65 u1 = to_line(x1);
      // Does the second pass run, for every bound the test may meet?
      bool always = false, never = false;
      switch (cl_.rel) {
        case LT: case ULT: always = u1 < bmin_; never = u1 >= bmax_; break;
        case LE: case ULE: always = u1 <= bmin_; never = u1 > bmax_; break;
        case GT: case UGT: always = u1 > bmax_; never = u1 <= bmin_; break;
        case GE: case UGE: always = u1 >= bmax_; never = u1 < bmin_; break;
        case NEQ:
          never = bmin_ == bmax_ && u1 == bmin_;
          // Stepping by one, 1 + (b - u1) counts also a bound met at once.
          always = !never && (bmin_ == bmax_ || u1 < bmin_ || u1 > bmax_ || d == INT65(1));
          break;
        default:
          always = bmin_ == bmax_ && u1 == bmin_;
          never = u1 < bmin_ || u1 > bmax_ || (bmin_ == bmax_ && u1 != bmin_);
          break;
      }
      if (never) {
        n = icon_u(INT65(1));
      } else if (!always) {
        say(verbose_, "\t** Loop upper bound < 0\n");
        return false;
      } else {
        NODE* u1_tree = subst_symbol(cl_.counter, cl_.var, mk_ICON(x1, cl_.var_type));
        NODE* rest = nullptr;
        if (!guarded_count(u1_tree, &u1, rest, div_needed)) return not_predictable();
        rest = simp_tree(rest, nullptr, nullptr);
        // The count must fit the 32 bits of a counter, whatever the bound.
        INT65 far = rest && rest->op == ICON ? truncate_to_width(rest->value, 32, false) : largest_count(u1);
        if (!rest || far >= (INT65(1) << 32) - INT65(1)) {
          erase_tree(rest);
          say(verbose_, "\tInitial value doesn't fit in loop counter.\n");
          return false;
        }
        n = bin_u(PLUS, rest, icon_u(INT65(1)));
      }
    } else if (cl_.entry_tree && is_down_counter(cl_.var) && cl_.rel == NEQ && cl_.step == INT65(-1) &&
               cl_.bound->op == ICON && cl_.bound->value.is_zero() && cl_.counter->op == NAME) {
      // A counter of ours: set to at least 1, so it runs down to 0.
      n = as_u(copy_tree(cl_.entry_tree, false));
    } else {
      return not_predictable();
    }
    n = simp_tree(n, nullptr, nullptr);
    if (!n) return not_predictable();
    if (div_needed && n->op != ICON) {
      // Step by the increment instead: the distance runs down to 0 exactly
      // when it is a multiple of the step, and otherwise past it.
      NODE* u_tree = cl_.guard ? counter_at_entry() : nullptr;
      bool exact = false, fits = false;
      if (u_tree) {
        NODE* dist = simp_tree(distance(u_tree), nullptr, nullptr);
        exact = integer_DIV_is_exact(dist, d);
        // The largest distance must fit a signed counter that runs past 0.
        bool up = !cl_.step.is_negative();
        INT65 from = cl_.entry_known ? to_line(cl_.entry) : (up ? cl_.lo : cl_.hi);
        INT65 far = up ? bmax_ - from : from - bmin_;
        fits = far + INT65(1) <= (INT65(1) << 31) - INT65(1);
        if ((exact || fits) && dist) {
          if (verbose_)
            dprintf("\tUsing loop_increment %s to avoid DIV: %s\n", int2text(d, nullptr, -1, 10).c_str(),
                    tree2infix(n, false));
          erase_tree(n);
          n = dist;
          cl_.counter_step = d;
          cl_.term_op = exact ? NEQ : GT;
        } else {
          erase_tree(dist);
        }
      }
      if (!exact && !fits) {
        if (verbose_) dprintf("\tA nasty DIV occurs in the trip count! %s\n", tree2infix(n, false));
        erase_tree(n);
        return false;
      }
    }
    cl_.count = n;
    if (n->op == ICON && cl_.counter_step == INT65(1)) {
      cl_.count_known = true;
      cl_.count_value = truncate_to_width(n->value, 32, false);
    }
    cl_.existing_down_counter = cl_.rel == NEQ && cl_.step == INT65(-1) && cl_.bound->op == ICON &&
                                cl_.bound->value.is_zero() && cl_.counter->op == NAME;
    trace();
    return true;
  }

  // The count from u1 with the bound at its far end.
  INT65 largest_count(const INT65& u1) const {
    INT65 s = cl_.step;
    INT65 d = s.is_negative() ? -s : s;
    INT65 m = cl_.hi - cl_.lo + INT65(1);
    switch (cl_.rel) {
      case NEQ: return d == INT65(1) ? m - INT65(1) : m;
      case EQ: return INT65(1);
      case LT: case ULT: return (bmax_ - u1 + d - INT65(1)) / d;
      case LE: case ULE: return (bmax_ - u1) / d + INT65(1);
      case GT: case UGT: return (u1 - bmin_ + d - INT65(1)) / d;
      default: return (u1 - bmin_) / d + INT65(1);
    }
  }

  void trace() {
    if (!verbose_) return;
    dprintf("\t\tloop_count_expr: %s\n", tree2infix(cl_.count, false));
    dprintf("\t\tloop_increment:  %s\n", int2text(cl_.step, nullptr, -1, 10).c_str());
    dprintf("\t\tloop_var_use_count:%7d\n", cl_.var_uses);
    collect_loop_symbols(loop_);
    dprintf("\t\tloop_is_busy:%13d\n", loop_->has_calls ? 1 : 0);
    dprintf("\t\t(bbN->dfn - bb1->dfn):%4d\n", cl_.tail->dfn - cl_.head->dfn);
    dprintf("\t\toptimize_code_size:%7d\n", optimize_code_size);
  }
};

}  // namespace

bool find_loop_step(struct LOOP* loop, const SYMTAB* sym, LIST*& cell, BBLK*& block, INT65& step) {
  std::vector<NODE*> stores;
  for (EDGE* c = loop->contents; c; c = c->next)
    for (LIST* s = c->bb->statements; s; s = s->next) stores_of(s->tree, sym, stores);
  if (stores.size() != 1) return false;
  LIST* found = nullptr;
  BBLK* where = nullptr;
  for (EDGE* c = loop->contents; c && !found; c = c->next)
    for (LIST* s = c->bb->statements; s && !found; s = s->next)
      if (s->tree == stores[0]) {
        found = s;
        where = c->bb;
      }
  // A store inside a larger statement is no plain step.
  if (!found || where->loop != loop || !function_dominator()->dominates(where, loop->tail)) return false;
  if (!read_update(found->tree, sym, step)) return false;
  cell = found;
  block = where;
  return true;
}

bool plain_integer_variable(const SYMTAB* sym) { return counter_symbol_ok(sym); }

namespace {

// Each occurrence of the candidates, as a read or as the target of a
// statement that only stores them.
void tally_reads(const NODE* t, const std::set<const SYMTAB*>& cands, std::set<const SYMTAB*>& read) {
  for (; t; t = t->right) {
    if (t->op == NAME && cands.count(t->name_symbol())) read.insert(t->name_symbol());
    if (t->op == CSE_DUPE) return;
    tally_reads(t->left, cands, read);
  }
}

bool plain_store_of(const NODE* t, const std::set<const SYMTAB*>& syms) {
  return t && t->op == ASG && t->left && t->left->op == NAME && syms.count(t->left->name_symbol());
}

}  // namespace

void drop_stores_of_unread(const std::vector<SYMTAB*>& syms) {
  if (syms.empty()) return;
  std::set<const SYMTAB*> cands(syms.begin(), syms.end());
  std::set<const SYMTAB*> read;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) {
      const NODE* t = l->tree;
      if (plain_store_of(t, cands)) tally_reads(t->right, cands, read);
      else tally_reads(t, cands, read);
    }
  std::set<const SYMTAB*> dead;
  for (const SYMTAB* v : cands)
    if (!read.count(v)) dead.insert(v);
  if (dead.empty()) return;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST** p = &b->statements; *p;) {
      LIST* cell = *p;
      NODE* t = cell->tree;
      if (!plain_store_of(t, dead) || !cell->next) {
        p = &cell->next;
        continue;
      }
      NODE* rest = peel_for_effect(t->right);
      t->right = nullptr;
      erase_tree(t);
      if (rest) {
        cell->tree = rest;
        p = &cell->next;
      } else {
        *p = cell->next;
        cell->next = nullptr;
        cell->tree = nullptr;
        erase_tree_list(cell);
      }
    }
  std::set<const SYMTAB*> told;
  for (const SYMTAB* v : syms)
    if (dead.count(v) && told.insert(v).second) dprintf("\tThe stores of %s, which nothing reads, are gone.\n", v->name);
}

bool analyze_counted_loop(struct LOOP* loop, COUNTED_LOOP& cl, bool verbose) {
  cl = COUNTED_LOOP();
  if (!loop || loop == loop_root || loop->irreducible || !loop->tail) return false;
  ANALYSIS a(loop, cl, verbose);
  return a.run();
}

COUNTED_LOOP* counted_loop_of(struct LOOP* loop) {
  auto it = counted.find(loop);
  return it == counted.end() ? nullptr : &it->second;
}

void remember_counted_loop(const COUNTED_LOOP& cl) { counted[cl.loop] = cl; }

void forget_counted_loops() { counted.clear(); }

namespace {
std::set<const BBLK*> touched;
}

void touch_block(BBLK* bb) { touched.insert(bb); }
bool block_touched(const BBLK* bb) { return touched.count(bb) != 0; }
void forget_touched_blocks() { touched.clear(); }

bool counted_loop_untouched(const COUNTED_LOOP& cl) {
  for (const BBLK* b : {cl.head, cl.tail, cl.preheader, cl.exit, cl.guard, cl.down_setup_block, cl.entry_block,
                        cl.update_block})
    if (b && block_touched(b)) return false;
  for (EDGE* e = cl.loop->contents; e; e = e->next)
    if (block_touched(e->bb)) return false;
  return true;
}

void note_down_counter(SYMTAB* sym) {
  if (down_counters_owner != currfuninfo) {
    down_counters.clear();
    down_counters_owner = currfuninfo;
  }
  down_counters.insert(sym);
}

bool is_down_counter(const SYMTAB* sym) { return down_counters_owner == currfuninfo && down_counters.count(sym); }

int count_stores(const NODE* tree, const SYMTAB* sym) {
  std::vector<NODE*> stores;
  stores_of(const_cast<NODE*>(tree), sym, stores);
  return static_cast<int>(stores.size());
}

int count_symbol(const NODE* t, const SYMTAB* sym) {
  int n = 0;
  for (; t; t = t->right) {
    if (t->op == NAME && t->sym == sym) ++n;
    if (t->op == CSE_DUPE) return n;
    n += count_symbol(t->left, sym);
  }
  return n;
}

int count_symbol_in_loop(struct LOOP* loop, const SYMTAB* sym) {
  int n = 0;
  for (EDGE* c = loop->contents; c; c = c->next)
    for (LIST* s = c->bb->statements; s; s = s->next) n += count_symbol(s->tree, sym);
  return n;
}

NODE* subst_symbol(NODE* tree, const SYMTAB* sym, NODE* value) {
  if (!tree) {
    erase_tree(value);
    return nullptr;
  }
  NODE* copy = copy_tree(tree, false);
  std::vector<NODE**> slots;
  std::vector<NODE**> work{&copy};
  while (!work.empty()) {
    NODE** slot = work.back();
    work.pop_back();
    NODE* t = *slot;
    if (!t) continue;
    if (t->op == NAME && t->sym == sym) {
      slots.push_back(slot);
      continue;
    }
    work.push_back(&t->left);
    work.push_back(&t->right);
  }
  for (NODE** slot : slots) {
    erase_tree(*slot);
    *slot = copy_tree(value, false);
  }
  erase_tree(value);
  return copy;
}

namespace {

enum class USE { NONE, READ, KILL };

// What the statement does to sym first: reads it, or stores it without
// reading it before.
USE first_use(const NODE* t, const SYMTAB* sym) {
  if (!count_symbol(t, sym)) return USE::NONE;
  if (t->op == ASG && t->left && t->left->op == NAME && t->left->sym == sym && !count_symbol(t->right, sym))
    return USE::KILL;
  return USE::READ;
}

}  // namespace

bool var_live_after_loop(struct LOOP* loop, const SYMTAB* sym) {
  if (!sym || sym->lex_level < 1 || symbol_is_aliased(sym)) return true;
  std::set<BBLK*> seen;
  std::vector<BBLK*> work;
  for (EDGE* e = loop->exit_targets; e; e = e->next) work.push_back(e->bb);
  while (!work.empty()) {
    BBLK* b = work.back();
    work.pop_back();
    if (!seen.insert(b).second) continue;
    bool killed = false;
    for (LIST* l = b->statements; l && !killed; l = l->next) {
      USE u = first_use(l->tree, sym);
      if (u == USE::READ) return true;
      killed = u == USE::KILL;
    }
    if (killed) continue;
    for (EDGE* e = b->successors; e; e = e->next) work.push_back(e->bb);
  }
  return false;
}

int tree_size(const NODE* t) {
  int n = 0;
  for (; t; t = t->right) n += 1 + tree_size(t->left);
  return n;
}

namespace {

bool in_register(const NODE* name) {
  const SYMTAB* s = name->name_symbol();
  return s && (s->sclass == SC_REGISTER || s->sclass == SC_REG17 || s->sclass == SC_REG22) && !symbol_is_aliased(s) &&
         !simp::rep(s->type)->is_csu() && !simp::rep(s->type)->is_array();
}

int argument_count(const NODE* args) {
  if (!args) return 0;
  if (args->op == COMMA) return argument_count(args->left) + argument_count(args->right);
  return 1;
}

int read_cost(const NODE* lvalue) { return lvalue->op == NAME ? (in_register(lvalue) ? 0 : 2) : 2; }
int write_cost(const NODE* lvalue) { return lvalue->op == NAME ? (in_register(lvalue) ? 1 : 2) : 2; }

int op_cost(const NODE* t) {
  bool flt = simp::is_flt_type(t->type) || (t->left && simp::is_flt_type(t->left->type));
  switch (t->op) {
    case MULT: case MULTASG: return flt ? 8 : 4;
    case DIV: case MOD: case DIVASG: case MODASG: return 24;
    case SQRT: case RECIP: return 24;
    case CALL: case UCALL: return 8;
    case QUEST: return 3;
    case ANDAND: case OROR: case IF: case CBRANCH: return 1;
    case SWITCH: return 4;
    default: return flt ? 8 : 1;
  }
}

}  // namespace

int tree_cost(const NODE* t) {
  if (!t) return 0;
  switch (t->op) {
    case ICON: case FCON: case SCON: case LABEL: case FIELD: return 0;
    case NAME: return read_cost(t);
    case COMMA: case PCOMMA: case COMMAOP: case COLON: case CASE: case DEFAULT: case EPVAL:
      return tree_cost(t->left) + tree_cost(t->right);
    case BRANCH: case URETURN: return 0;
    case RETURN: return tree_cost(t->right);
    case UAND: return t->left && t->left->op == NAME ? 0 : tree_cost(t->left);
    case UMULT: return 2 + tree_cost(t->left);
    case STDOT: return tree_cost(t->left);
    case STREF: return 2 + tree_cost(t->left);
    case ASG: return write_cost(t->left) + (t->left->op == NAME ? 0 : tree_cost(t->left->left)) + tree_cost(t->right);
    case CALL: return 8 + tree_cost(t->left) + tree_cost(t->right) + argument_count(t->right);
    default:
      break;
  }
  if (simp::is_opASG(t->op) || t->op == PLUSPLUS || t->op == MINMIN)
    return read_cost(t->left) + write_cost(t->left) + op_cost(t) + tree_cost(t->right) +
           (t->left->op == NAME ? 0 : tree_cost(t->left->left));
  return op_cost(t) + tree_cost(t->left) + (number_of_operands[t->op] > 1 ? tree_cost(t->right) : 0);
}


TYPE* counter_type() { return uint32(); }
