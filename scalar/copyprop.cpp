// copyprop: a copy `x = y` (y a variable or a constant) still holds where
// neither x nor y has changed on any path since; a read of x there reads y.
// The copies are assignment triples with their own sets: ASAVLOC (made in
// the block and still holding at its end), ASALTERED (x or y changes in
// the block), and by a forward intersection ASIN and ASOUT. Assertions
// travel the same way: one that still holds may settle a test.
#include <cstring>
#include <functional>
#include <unordered_map>
#include <vector>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/cse.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/triples.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"
#include "scalar/deadasg.h"

namespace {

struct COPY {
  SYMTAB* x = nullptr;
  NODE* x_tree = nullptr;  // NAME x
  NODE* y_tree = nullptr;  // NAME y or the constant
  SYMTAB* y = nullptr;     // null for a constant
};

struct COPYPROP {
  std::vector<COPY> copies;
  std::unordered_map<const SYMTAB*, std::vector<int>> by_symbol;  // copies naming the symbol
  int nassert = 0;
  int nfacts = 0;
  std::vector<BITVEC*> asavloc, asaltered, asin, asout;
  int propagated = 0;
  int folded = 0;

  ~COPYPROP() {
    for (auto* v : {&asavloc, &asaltered, &asin, &asout})
      for (BITVEC* b : *v) erase_bitvec(b);
    for (COPY& c : copies) {
      erase_tree(c.x_tree);
      erase_tree(c.y_tree);
    }
  }
};

bool plain_variable(const SYMTAB* s) {
  if (!s || symbol_is_immutable(s) || !s->type || !s->type->is_scalar()) return false;
  return !(s->alias_marks & ALIAS_VECTOR_OR_COMPLEX);
}

bool is_constant_leaf(const NODE* t) { return t && (t->op == ICON || t->op == FCON); }

// The copy a top-level statement makes, or -1.
int copy_of_statement(COPYPROP& cp, NODE* t, bool make) {
  if (!t || t->op != ASG || !t->left || t->left->op != NAME || !t->right) return -1;
  SYMTAB* x = t->left->name_symbol();
  if (!plain_variable(x)) return -1;
  NODE* r = t->right;
  SYMTAB* y = nullptr;
  if (r->op == NAME) {
    y = r->name_symbol();
    if (!plain_variable(y) || y == x || !types_are_close_enough(t->left, r, 0, 0)) return -1;
  } else if (!is_constant_leaf(r) || !types_are_close_enough(t->left, r, 0, 0)) {
    return -1;
  }
  auto it = cp.by_symbol.find(x);
  if (it != cp.by_symbol.end())
    for (int c : it->second)
      if (cp.copies[c].x == x && trees_are_congruent(cp.copies[c].y_tree, r)) return c;
  if (!make) return -1;
  COPY c;
  c.x = x;
  c.y = y;
  c.x_tree = copy_tree(t->left, false);
  c.y_tree = copy_tree(r, false);
  int id = static_cast<int>(cp.copies.size());
  cp.copies.push_back(c);
  cp.by_symbol[x].push_back(id);
  if (y) cp.by_symbol[y].push_back(id);
  return id;
}

bool reachable(const SYMTAB* s) { return s && (s->lex_level == 0 || s->sclass == SC_STATIC || symbol_is_aliased(s)); }

// The facts a store to `lv` invalidates.
void kill_store(COPYPROP& cp, NODE* lv, BITVEC* valid, BITVEC* altered) {
  LVALUE_DESC d;
  describe_lvalue(lv, d);
  auto kill = [&](int c) {
    valid->bv_del(c);
    if (altered) altered->bv_add(c);
  };
  if (d.object && d.direct && !(d.object->alias_marks & (ALIAS_GROUP_A | ALIAS_GROUP_B))) {
    auto it = cp.by_symbol.find(d.object);
    if (it != cp.by_symbol.end())
      for (int c : it->second) kill(c);
  } else {
    for (int c = 0; c < static_cast<int>(cp.copies.size()); ++c) {
      const COPY& k = cp.copies[c];
      if ((reachable(k.x) || k.x == d.object) && lvalues_may_be_aliased(lv, k.x_tree, nullptr)) kill(c);
      else if (k.y && (reachable(k.y) || k.y == d.object) && lvalues_may_be_aliased(lv, k.y_tree, nullptr)) kill(c);
    }
  }
  if (cp.nassert) {
    // Assertion bits follow the copies.
    BITVEC* a = mkBITVEC(cp.nassert, 0);
    for (int i = 0; i < cp.nassert; ++i)
      if (valid->bv_test(static_cast<int>(cp.copies.size()) + i)) a->bv_add(i);
    kill_assertions_for_store(lv, a);
    for (int i = 0; i < cp.nassert; ++i)
      if (valid->bv_test(static_cast<int>(cp.copies.size()) + i) && !a->bv_test(i))
        kill(static_cast<int>(cp.copies.size()) + i);
    erase_bitvec(a);
  }
}

// What a call may write: by the callee's known behaviour.
void kill_call(COPYPROP& cp, NODE* call, BITVEC* valid, BITVEC* altered) {
  SYMTAB* f = call ? get_callee_for_call(call) : nullptr;
  FUNINFO* fi = f && f->name ? find_FUNINFO(skip_name_prefix(f->name)) : nullptr;
  bool globals = true, pointers = true;
  if (fi && !function_is_defined(fi) && (fi->flags & FUN_is_SYSTEM) && !(fi->flags & FUN_never_returns)) {
    globals = !(fi->flags & FUN_no_global_asg);
    pointers = !(fi->flags & FUN_no_ind_asg) || !(fi->flags & FUN_no_byref_asg);
    if (!(fi->flags & FUN_is_pure_fun) && errno_symbol) {
      auto it = cp.by_symbol.find(errno_symbol);
      if (it != cp.by_symbol.end())
        for (int c : it->second) {
          valid->bv_del(c);
          if (altered) altered->bv_add(c);
        }
    }
  }
  if (!globals && !pointers) return;
  for (int c = 0; c < static_cast<int>(cp.copies.size()); ++c) {
    const COPY& k = cp.copies[c];
    auto hit = [&](const SYMTAB* s) {
      if (!s) return false;
      if (s->lex_level == 0 || s->sclass == SC_STATIC) return globals || pointers;
      return pointers && symbol_is_aliased(s);
    };
    if (hit(k.x) || hit(k.y)) {
      valid->bv_del(c);
      if (altered) altered->bv_add(c);
    }
  }
  if (cp.nassert && (globals || pointers)) {
    BITVEC* a = mkBITVEC(cp.nassert, 0);
    for (int i = 0; i < cp.nassert; ++i)
      if (valid->bv_test(static_cast<int>(cp.copies.size()) + i)) a->bv_add(i);
    kill_assertions_for_call(a);
    for (int i = 0; i < cp.nassert; ++i) {
      int bit = static_cast<int>(cp.copies.size()) + i;
      if (valid->bv_test(bit) && !a->bv_test(i)) {
        valid->bv_del(bit);
        if (altered) altered->bv_add(bit);
      }
    }
    erase_bitvec(a);
  }
}

// The valid copy of x, or -1.
int valid_copy_of(COPYPROP& cp, const SYMTAB* x, const BITVEC* valid) {
  auto it = cp.by_symbol.find(x);
  if (it == cp.by_symbol.end()) return -1;
  for (int c : it->second)
    if (cp.copies[c].x == x && valid->bv_test(c)) return c;
  return -1;
}

// One walk in the order of evaluation. With `rewrite` the reads of copied
// variables are replaced; without, only the sets are made.
struct WALKER {
  COPYPROP& cp;
  BITVEC* valid;
  BITVEC* altered;  // may be null
  bool rewrite;
  bool changed = false;

  bool worth(const COPY& c, NODE* read) {
    if (!c.y) return true;  // a constant reads for nothing
    // A variable in memory for one in a register costs more.
    return is_likely_register(c.y_tree) || !is_likely_register(read);
  }

  void read(NODE*& slot) {
    NODE* t = slot;
    int c = valid_copy_of(cp, t->name_symbol(), valid);
    if (c < 0 || !rewrite || !worth(cp.copies[c], t)) return;
    NODE* repl = copy_tree(cp.copies[c].y_tree, false);
    repl->scope = t->scope;
    if (!types_are_close_enough(t, repl, 1, 0)) repl = coerce_to_type(t->type, repl);
    erase_tree(t);
    slot = repl;
    changed = true;
    ++cp.propagated;
  }

  void address(NODE*& slot) {
    NODE* lv = slot;
    if (!lv) return;
    switch (lv->op) {
      case NAME: return;
      case STDOT: address(lv->left); return;
      case UMULT:
      case STREF: value(lv->left); return;
      default: value(slot); return;
    }
  }

  void args(NODE*& slot) {
    if (slot && slot->op == COMMA) {
      args(slot->left);
      args(slot->right);
      return;
    }
    value(slot);
  }

  void store(NODE* lv) { kill_store(cp, lv, valid, altered); }

  void value(NODE*& slot) {
    NODE* t = slot;
    if (!t) return;
    switch (t->op) {
      case NAME:
        read(slot);
        return;
      case ICON: case FCON: case SCON: case LCON: case LABEL: case FIELD:
        return;
      case UAND:
      case ARGREF:
        address(t->left);
        return;
      case STDOT:
        address(t->left);
        return;
      case ASG: case STASG: case ARASG: case PLUSPLUS: case MINMIN:
        address(t->left);
        value(t->right);
        store(t->left);
        return;
      case CALL:
      case UCALL:
        value(t->left);
        if (t->op == CALL) args(t->right);
        kill_call(cp, t, valid, altered);
        return;
      case ICALL: case MCALL: case UICALL: case UMCALL:
        if (t->op == ICALL || t->op == MCALL) args(t->left);
        if (!t->sym || !is_pure_intrinsic_name(static_cast<const char*>(t->sym))) kill_call(cp, nullptr, valid, altered);
        return;
      case QUEST:
      case ANDAND:
      case OROR: {
        value(t->left);
        // What runs only sometimes may read the copies; its stores count
        // as if they ran.
        NODE** arms[2] = {&t->right, nullptr};
        if (t->op == QUEST && t->right && t->right->op == COLON) {
          arms[0] = &t->right->left;
          arms[1] = &t->right->right;
        }
        for (NODE** a : arms)
          if (a) value(*a);
        return;
      }
      case MEMCPY:
        value(t->left);
        kill_call(cp, nullptr, valid, altered);
        return;
      case ASM:
        kill_call(cp, nullptr, valid, altered);
        for (int c = 0; c < cp.nfacts; ++c) {
          valid->bv_del(c);
          if (altered) altered->bv_add(c);
        }
        return;
      case ASSERT:
      case NASSERT:
        return;
      default:
        if (op_of_opASG[t->op] != 255) {
          address(t->left);
          value(t->right);
          store(t->left);
          return;
        }
        if (t->left && number_of_operands[t->op] >= 1) value(t->left);
        if (t->right && number_of_operands[t->op] >= 2) value(t->right);
        return;
    }
  }

  static bool is_pure_intrinsic_name(const char* name);

  void statement(LIST* cell) {
    NODE*& t = cell->tree;
    if (!t) return;
    if (tree_is_arg_prolog(t)) {
      bool keep = rewrite;
      rewrite = false;
      value(t);
      rewrite = keep;
      return;
    }
    switch (t->op) {
      case IF: case SWITCH: value(t->left); return;
      case RETURN: value(t->right); return;
      case URETURN: case BRANCH: case LABELDEF: case PPRAGMA: case SKIP: case NOP: return;
      case ASSERT:
      case NASSERT: {
        int a = -1;
        for (int i = 0; i < cp.nassert; ++i)
          if (assertion_tree(i) == t) a = i;
        if (a >= 0) valid->bv_add(static_cast<int>(cp.copies.size()) + a);
        return;
      }
      default: break;
    }
    int c = copy_of_statement(cp, t, false);
    value(t);
    if (c >= 0) valid->bv_add(c);
  }
};

bool WALKER::is_pure_intrinsic_name(const char* name) {
  static const char* const kPure[] = {"MAX", "MAXU", "MIN", "MINU", "LMAX", "LMAXU", "LMIN", "LMINU", "LLMAX",
                                      "LLMAXU", "LLMIN", "LLMINU", "FMAX", "FMIN", "DMAX", "DMIN", "LDMAX",
                                      "LDMIN", "__strict_ternary"};
  for (const char* p : kPure)
    if (strcmp(name, p) == 0) return true;
  return false;
}

// An IF whose test is settled goes to its one target.
bool fold_settled_IF(BBLK* b, LIST* cell, int truth) {
  NODE* t = cell->tree;
  if (!t || t->op != IF || !t->right || t->right->op != COLON) return false;
  BBLK* live = label_target(truth ? t->right->left : t->right->right);
  if (!live) return false;
  NODE* effects = peel_for_effect(t->left);
  t->left = nullptr;
  LS* scope = t->scope;
  erase_tree(t);
  cell->tree = mk_BRANCH(live, scope);
  if (effects) insert_stmt_before_stmt_in_bb(effects, cell->tree, b, cell->psn);
  recompute_successors(b);
  return true;
}

}  // namespace

void copyprop(int) {
  dprintf("\n\n\t\t\t---------- ENTERING 'copyprop' ----------\n");
  if (opt_level < 1 || !cfg.bb_list || pass_disable("copyprop")) return;
  init_aliasing_info();
  COPYPROP cp;
  cp.nassert = init_assertions();
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next)
      if (!tree_is_arg_prolog(l->tree)) copy_of_statement(cp, l->tree, true);
  if (cp.copies.empty() && cp.nassert == 0) {
    dprintf("\tNo copies.\n");
    return;
  }
  cp.nfacts = static_cast<int>(cp.copies.size()) + cp.nassert;
  int nb = cfg.bb_count;
  for (auto* v : {&cp.asavloc, &cp.asaltered, &cp.asin, &cp.asout}) {
    v->assign(nb + 1, nullptr);
    for (auto& x : *v) x = mkBITVEC(cp.nfacts, 0);
  }
  // Local sets, on copies of the statements' state: nothing is rewritten.
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    WALKER w{cp, cp.asavloc[b->dfn], cp.asaltered[b->dfn], false};
    for (LIST* l = b->statements; l; l = l->next) w.statement(l);
  }
  // ASIN(b) = the intersection of ASOUT over the predecessors;
  // ASOUT(b) = ASAVLOC(b) + (ASIN(b) - ASALTERED(b)).
  int nw = cp.asin[0]->nwords;
  auto full = [&](int w) {
    uint32_t u = ~0u;
    if (w == nw - 1 && (cp.nfacts & 31)) u = (1u << (cp.nfacts & 31)) - 1;
    return u;
  };
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (int w = 0; w < nw; ++w) cp.asout[b->dfn]->words[w] = b == cfg.bb_list ? cp.asavloc[b->dfn]->words[w] : full(w);
  for (bool changed = true; changed;) {
    changed = false;
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      int d = b->dfn;
      for (int w = 0; w < nw; ++w) {
        uint32_t in = b == cfg.bb_list || !b->predecessors ? 0 : full(w);
        for (EDGE* e = b->predecessors; e; e = e->next) in &= cp.asout[e->bb->dfn]->words[w];
        if (b == cfg.bb_list) in = 0;
        cp.asin[d]->words[w] = in;
        uint32_t out = cp.asavloc[d]->words[w] | (in & ~cp.asaltered[d]->words[w]);
        if (out != cp.asout[d]->words[w]) {
          cp.asout[d]->words[w] = out;
          changed = true;
        }
      }
    }
  }
  // The rewrite.
  bool folded_any = false;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    BITVEC* valid = mkBITVEC(cp.nfacts, 0);
    *valid = *cp.asin[b->dfn];
    WALKER w{cp, valid, nullptr, true};
    for (LIST* l = b->statements; l; l = l->next) {
      w.changed = false;
      if (l->tree && tree_is_arg_prolog(l->tree)) {
        w.statement(l);
        continue;
      }
      w.statement(l);
      if (!l->tree) continue;
      if (w.changed) {
        if (l->tree->op == IF || l->tree->op == SWITCH) l->tree->left = simp_tree(l->tree->left);
        else if (l->tree->op == RETURN) l->tree->right = simp_tree(l->tree->right);
        else l->tree = simp_tree(l->tree);
      }
      if (l->tree && l->tree->op == IF && l->tree->left) {
        NODE* c = l->tree->left;
        int truth = c->op == ICON ? (c->value == INT65(0) ? 0 : 1) : test_implied_by_assertions(c, valid);
        if (truth >= 0 && fold_settled_IF(b, l, truth)) {
          ++cp.folded;
          folded_any = true;
        }
      }
    }
    erase_bitvec(valid);
  }
  // A statement simplified to nothing leaves an empty cell.
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    LIST** link = &b->statements;
    while (*link) {
      if (!(*link)->tree) {
        LIST* dead = *link;
        *link = dead->next;
        dead->next = nullptr;
        erase_tree_list_only(dead);
      } else {
        link = &(*link)->next;
      }
    }
  }
  copies_propagated += cp.propagated;
  dprintf("\tcopyprop: %d copies, %d reads propagated, %d tests settled\n", static_cast<int>(cp.copies.size()),
          cp.propagated, cp.folded);
  if (cp.propagated || folded_any) {
    rebuildcfg();
    simpcfg(false, false);
  }
  note_not_built("subst_ICALLs_in_tree (in copyprop)");
  // The copies whose reads all went over are dead now.
  if (cp.propagated || folded_any) elim_dead_assigns(0, 0);
}
