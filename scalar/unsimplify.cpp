// unsimplify: the last clean-up before a function is written, turning the
// forms that serve the analyses back into what the code generator takes:
// x = x op y becomes x op= y, x + -c becomes x - c, conditionals kept as
// intrinsic calls become conditionals again, powers become products, a
// two-way branch falls through to the block that follows it, parameter
// copies to locals that nothing reads are dropped from the argument prolog,
// and a value that a local carries only to the next statement's one read
// of it goes straight into that read (find_sole_use). Last, the locals are
// put in their stack order.
#include <cstdio>
#include <unordered_map>
#include <unordered_set>

#include "driver/globals.h"
#include "options/global_flags.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/simp_internal.h"
#include "scalar/simpcfg_rules.h"

namespace simp {

namespace {

int opASG_of(int op) {
  switch (op) {
    case PLUS: return PLUSASG;
    case MINUS: return MINUSASG;
    case MULT: return MULTASG;
    case DIV: return DIVASG;
    case MOD: return MODASG;
    case ANDB: return ANDBASG;
    case ORB: return ORBASG;
    case XORB: return XORBASG;
    case SLL: return SLLASG;
    case SRL: return SRLASG;
    default: return -1;
  }
}

// x = x op y, all of one type, as x op= y. The target is read once either
// way, so it must be free of effects; a volatile one stays as written.
NODE* ASG_to_opASG(NODE* t) {
  if (t->op != ASG || !t->left || !t->right) return t;
  NODE* l = t->left;
  NODE* v = t->right;
  int aop = opASG_of(v->op);
  if (aop < 0 || !v->left || !v->right) return t;
  if (tree_has_side_effects(l) || is_lvalue_volatile(l) || !trees_are_congruent(l, v->left)) return t;
  if (!same_type(l->type, v->type)) return t;
  bool shift = v->op == SLL || v->op == SRL;
  if (is_ptr_type(l->type)) {
    if (v->op != PLUS && v->op != MINUS) return t;
  } else if (!shift && !same_type(v->right->type, v->type)) {
    return t;
  }
  if (!is_wrap_int(l->type) && !is_ptr_type(l->type) && !is_flt_type(l->type)) return t;
  if (is_flt_type(l->type) && (v->op == MOD || !same_type(v->right->type, v->type))) return t;
  NODE* y = v->right;
  v->right = nullptr;
  erase_tree(v);
  t->right = y;
  t->op = aop;
  return t;
}

// EXPT(x, n) for a small n as a product of copies of x.
NODE* expand_EXPT(NODE* t) {
  if (!is_icon(t->right) || !t->left || tree_has_side_effects(t->left)) return t;
  INT65 n = t->right->value;
  if (n < INT65(1) || n > INT65(16)) return t;
  NODE* x = take_left(t);
  NODE* product = x;
  for (long i = 1; i < static_cast<long>(n.low); ++i)
    product = maketree(MULT, product, copy_tree(x, false), x->type, x->scope);
  return product;
}

// x + -c, the form the simplifier keeps, goes out as x - c.
NODE* PLUS_of_negative_to_MINUS(NODE* t) {
  NODE* k = t->right;
  if (!is_icon(k) || !t->left || !is_int_type(k->type) || is_bool_type(k->type)) return t;
  if (!is_wrap_int(t->type) && !is_ptr_type(t->type)) return t;
  INT65 v = sign_extend_by_type(k->value, k->type);
  if (!v.is_negative() || v == type_min(int_type_of(type_bits(k->type), true))) return t;
  k->value = truncate_to_type(-v, k->type);
  t->op = MINUS;
  return t;
}

NODE* unsimp_tree(NODE* t) {
  if (!t) return t;
  t->left = unsimp_tree(t->left);
  t->right = unsimp_tree(t->right);
  if (t->op == PLUS) return PLUS_of_negative_to_MINUS(t);
  // A conversion to a pointer to char is an ordinary pointer conversion in
  // a file.
  if (t->op == ISP2CHAR) t->op = PCONV;
  if (t->op == ICALL) {
    NODE* q = revert_strict_ternary_ICALL(t);
    // The conditional as the simplifier keeps it (its test as a test), so
    // that a reading of the output finds it as written.
    return q != t ? simp_node(q, nullptr, nullptr) : q;
  }
  if (t->op == EXPT) return expand_EXPT(t);
  if (t->op == ASG) return ASG_to_opASG(t);
  return t;
}

// How often each symbol is named in the function; a multiset's count walks
// every copy, which made a large function quadratic.
using NameCounts = std::unordered_map<const SYMTAB*, unsigned>;

unsigned uses_of(const NameCounts& refs, const SYMTAB* sym) {
  auto it = refs.find(sym);
  return it == refs.end() ? 0 : it->second;
}

void count_names(const NODE* t, NameCounts& seen) {
  for (; t; t = t->right) {
    if (t->op == NAME) ++seen[t->name_symbol()];
    count_names(t->left, seen);
  }
}

// A prolog copy whose local is read nowhere else goes; the parameter stays.
NODE* drop_unused_prolog_copies(NODE* prolog, const NameCounts& refs) {
  if (!prolog) return prolog;
  if (prolog->op == PCOMMA) {
    prolog->left = drop_unused_prolog_copies(prolog->left, refs);
    prolog->right = drop_unused_prolog_copies(prolog->right, refs);
    if (!prolog->left) return take_right(prolog);
    if (!prolog->right) return take_left(prolog);
    return prolog;
  }
  if (prolog->op != ASG || !prolog->left || prolog->left->op != NAME) return prolog;
  const SYMTAB* local = prolog->left->name_symbol();
  if (!local || is_lvalue_volatile(prolog->left) || uses_of(refs, local) > 1) return prolog;
  erase_tree(prolog);
  return nullptr;
}

// The test as a reading of the output makes it, simplified on the way in
// and as the test of a branch.
NODE* read_back_test(const NODE* test) {
  NODE* t = simp_tree(copy_tree(const_cast<NODE*>(test), false), nullptr, nullptr);
  return t ? simp_for_control(t, nullptr, nullptr) : t;
}

// A two-way branch goes out as a branch to its true target followed by a
// branch to its false one; when the true target is the next block, the test
// is turned round so that the second branch falls through. Only where the
// next reading finds what we write: the turn must leave the layout as it is,
// since that reading lays the blocks out by the tests as written, and the
// turned test must read back as written (a test that simplifies further
// once turned round stays as it is).
void fall_through_to_next(BBLK* bb, const std::unordered_set<const BBLK*>& free_to_turn) {
  LIST* last = bb->statements;
  while (last && last->next) last = last->next;
  NODE* t = last ? last->tree : nullptr;
  if (!t || t->op != IF || !t->left || !t->right || t->right->op != COLON) return;
  NODE* yes = t->right->left;
  NODE* no = t->right->right;
  if (!yes || !no || !yes->lbl || !no->lbl || !bb->dflink) return;
  if (yes->lbl->bb != bb->dflink || no->lbl->bb == bb->dflink || !free_to_turn.count(bb)) return;
  NODE* turned = invert_boolean_tree(copy_tree(t->left, false));
  NODE* read = read_back_test(turned);
  bool kept = read && trees_are_congruent(read, turned);
  erase_tree(read);
  if (!kept) {
    erase_tree(turned);
    return;
  }
  erase_tree(t->left);
  t->left = turned;
  t->right->left = no;
  t->right->right = yes;
}

// A local whose every occurrence find_sole_use may count: a scalar of the
// function, not volatile.
bool is_plain_local(const SYMTAB* s) {
  if (!s || s->lex_level != 2 || s->sclass == SC_PARAM || !s->type) return false;
  if (is_volatile_type(s->type)) return false;
  return is_int_type(s->type) || is_ptr_type(s->type) || is_flt_type(s->type);
}

// Only the root of the statement has an effect: its operands run first and
// change nothing, so a pure value may be computed anywhere among them.
bool effects_only_at_root(const NODE* t) {
  return !tree_has_side_effects(t->left) && !tree_has_side_effects(t->right);
}

bool contains(const NODE* t, const NODE* part) {
  for (; t; t = t->right) {
    if (t == part || contains(t->left, part)) return true;
  }
  return false;
}

bool has_asm(const NODE* t) {
  for (; t; t = t->right) {
    if (t->op == ASM) return true;
    if (has_asm(t->left)) return true;
  }
  return false;
}

// x = e; S(x) where S reads x once and x is named nowhere else: S(e).
// The definition is the statement before S in the same block, e and the
// operands of S have no effects, so e sees the same memory in S. The
// flow-graph clean-up has run and a later reading runs it again: the tests
// of branches keep the form it gave them, no block is left as one statement
// and a jump (the arm if-conversion looks for), and S(e) must be as the
// simplifier leaves it, or that reading would take up what it finds.
bool move_into_sole_use(const BBLK* bb, LIST* def, NameCounts& refs) {
  NODE* t = def->tree;
  LIST* next = def->next;
  if (!t || t->op != ASG || !t->left || t->left->op != NAME || !t->right || !next || !next->tree) return false;
  SYMTAB* x = t->left->name_symbol();
  NODE* e = t->right;
  // A constant or an address is copy propagation's business, which folds
  // what it gives; here only computed values move.
  if (!is_plain_local(x) || uses_of(refs, x) != 2 || tree_has_side_effects(e) || is_leaf_like(e)) return false;
  if (!same_type(t->left->type, e->type) || !same_type(x->type, e->type)) return false;
  NODE* s = next->tree;
  if (s->op == LABELDEF || s->op == PCOMMA || s->op == ASM || s->op == PPRAGMA || !effects_only_at_root(s))
    return false;
  if (s->op == IF || s->op == SWITCH || s->op == CBRANCH) return false;
  LIST* after = next->next;
  if (bb->statements == def && after && !after->next && after->tree && after->tree->op == BRANCH) return false;
  NODE* moved = copy_tree(s, false);
  NODE** slot = find_sole_use(x, &moved);
  if (!slot || !same_type((*slot)->type, e->type)) {
    erase_tree(moved);
    return false;
  }
  erase_tree(*slot);
  NODE* value = copy_tree(e, false);
  *slot = value;
  // The operand that took the value may simplify with it: x = a + 1;
  // y = x + 2 gives y = a + 3.
  for (NODE** side : {&moved->left, &moved->right}) {
    if (!contains(*side, value)) continue;
    NODE* simpler = simp_tree(copy_tree(*side, false), nullptr, nullptr);
    if (!simpler) break;
    erase_tree(*side);
    *side = simpler;
    break;
  }
  NODE* again = simp_tree(copy_tree(moved, false), nullptr, nullptr);
  bool settled = again && trees_are_congruent(again, moved);
  erase_tree(again);
  if (!settled) {
    erase_tree(moved);
    return false;
  }
  erase_tree(next->tree);
  next->tree = moved;
  erase_tree(t);
  def->tree = nullptr;
  refs.erase(x);
  return true;
}

}  // namespace

}  // namespace simp

using namespace simp;

namespace {

// Finds the occurrences of `sym` under *slot; `read` says whether the
// position is read as a value.
void occurrences(const SYMTAB* sym, NODE** slot, bool read, int& count, NODE**& found) {
  NODE* t = *slot;
  if (!t) return;
  if (t->op == NAME) {
    if (t->name_symbol() == sym) {
      ++count;
      found = read ? slot : nullptr;
    }
    return;
  }
  bool left_read = true;
  switch (t->op) {
    case ASG: case STASG: case ARASG: case PLUSPLUS: case MINMIN: case UAND: case ARGREF:
      left_read = false;  // an object, not its value
      break;
    default:
      if (is_opASG(t->op)) left_read = false;
      break;
  }
  occurrences(sym, &t->left, left_read, count, found);
  if (count > 1) return;
  occurrences(sym, &t->right, true, count, found);
}

}  // namespace

NODE** find_sole_use(SYMTAB* sym, NODE** slot) {
  int count = 0;
  NODE** found = nullptr;
  occurrences(sym, slot, true, count, found);
  return count == 1 ? found : nullptr;
}

namespace {

// The statements of `bb` from `from` up to `stop` (not included).
void unsimp_statements(BBLK* bb, LIST* from, LIST* stop, NameCounts& refs, bool moves) {
  for (LIST* l = from; l != stop; l = l->next) {
    if (!l->tree) continue;
    if (bb == cfg.bb_list && l == bb->statements && tree_is_arg_prolog(l->tree)) {
      l->tree = drop_unused_prolog_copies(l->tree, refs);
      continue;
    }
    // A call standing as a statement: nobody reads its value.
    if (l->tree->op == CALL) {
      l->tree = simp_call_for_effect(l->tree);
      if (!l->tree) continue;
    }
    if (moves && move_into_sole_use(bb, l, refs)) continue;
    l->tree = unsimp_tree(l->tree);
  }
}

bool loops_on_itself(BBLK* bb) {
  NODE* t = last_stmt(bb);
  return t && t->op == IF && (if_target(t, true) == bb || if_target(t, false) == bb);
}

// A block that loops on itself, whose values moved into their uses would
// leave nothing but a counter's step and stores of constants: a later
// reading would delete the loop (remove_empty_loop), so the block keeps its
// statements as they are, unmoved.
void unsimp_self_loop(BBLK* bb, NameCounts& refs) {
  LIST* last = last_cell(bb);
  LIST* before_last = bb->statements;
  while (before_last->next != last) before_last = before_last->next;
  bool removable_before = empty_loop_is_removable(bb);
  before_last->next = nullptr;
  LIST* kept = copy_statements(bb->statements, true);
  before_last->next = last;
  NameCounts kept_refs = refs;
  unsimp_statements(bb, bb->statements, last, refs, true);
  if (removable_before || !empty_loop_is_removable(bb)) {
    erase_tree_list(kept);
    return;
  }
  before_last->next = nullptr;
  erase_tree_list(bb->statements);
  bb->statements = kept;
  last_cell(bb)->next = last;
  refs = std::move(kept_refs);
  unsimp_statements(bb, bb->statements, last, refs, false);
}

}  // namespace

void unsimplify() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'unsimp_blocks' ----------\n");
  renumber_bblocks();
  std::unordered_set<const BBLK*> free_to_turn = tests_free_to_turn();
  NameCounts refs;
  bool any_asm = false;
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink)
    for (LIST* l = bb->statements; l; l = l->next) {
      count_names(l->tree, refs);
      any_asm = any_asm || has_asm(l->tree);
    }
  // Assembly text may name a local the trees do not show.
  bool moves = !any_asm && opt_level > 0;
  for (BBLK* bb = cfg.bb_list; bb; bb = bb->dflink) {
    // Turned while the test is in the simplifier's form, which a reading
    // of the output gives again; the test is then written out like any tree.
    fall_through_to_next(bb, free_to_turn);
    if (moves && bb->statements && bb->statements->next && loops_on_itself(bb)) {
      unsimp_self_loop(bb, refs);
      unsimp_statements(bb, last_cell(bb), nullptr, refs, false);
    } else {
      unsimp_statements(bb, bb->statements, nullptr, refs, moves);
    }
    // Statements emptied above leave their cells.
    LIST** link = &bb->statements;
    while (*link) {
      LIST* cell = *link;
      if (!cell->tree && cell->next) {
        *link = cell->next;
        cell->next = nullptr;
        erase_tree_list_only(cell);
        continue;
      }
      link = &cell->next;
    }
  }
  if (currfuninfo) {
    // The optimizer's temporaries share the frame with the user's locals,
    // and a file read back has them all as locals: one order for all.
    SYMTAB** tail = &currfuninfo->symbols;
    while (*tail) tail = &(*tail)->next;
    *tail = currfuninfo->temps;
    currfuninfo->temps = nullptr;
    currfuninfo->symbols = sort_stack_variables(currfuninfo->symbols);
  }
}
