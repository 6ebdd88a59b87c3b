// The promise of `restrict`: an object reached through a restricted pointer
// and modified is reached by no pointer that isn't based on it, while the
// pointer's block runs. Pointer variables are grouped by the values they
// hand one another; a group that holds a restricted pointer, takes in no
// other value and lets none out is apart from every access that goes
// through none of its members (docs/aliasing.md).
#include <algorithm>
#include <functional>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"

namespace {

struct PTR_TABLE {
  std::vector<std::unique_ptr<PTR>> entries;
  std::unordered_map<const SYMTAB*, PTR*> by_sym;
  std::vector<SYMTAB*> roots;
  std::unordered_set<const SYMTAB*> sourced;  // took a value from outside the group
  bool built = false;
};
PTR_TABLE table;

bool is_pointer_sym(const SYMTAB* s) {
  const TYPE* t = s && s->type ? (s->type->rep ? s->type->rep : s->type) : nullptr;
  return t && t->is_pointer();
}

bool is_restrict_sym(const SYMTAB* s) {
  return s && ((s->type && (s->type->qual_kind(true) & TYPE::Q_RESTRICT)) ||
               (s->decl_type && (s->decl_type->qual_kind(true) & TYPE::Q_RESTRICT)));
}

template <class F>
void for_each_statement(F&& f) {
  if (cfg.bb_list) {
    for (BBLK* b = cfg.bb_list; b; b = b->dflink)
      for (LIST* l = b->statements; l; l = l->next) f(b, l->tree);
  } else if (currfuninfo) {
    for (LIST* l = currfuninfo->stmts; l; l = l->next) f(nullptr, l->tree);
  }
}

// Blocks that lie on a cycle of the flow graph (Tarjan's strongly
// connected components, without recursion).
std::unordered_set<const BBLK*> blocks_on_cycles() {
  std::unordered_set<const BBLK*> on_cycle;
  std::unordered_map<const BBLK*, int> index, low;
  std::vector<BBLK*> stack;
  std::unordered_set<const BBLK*> on_stack;
  int counter = 0;
  struct FRAME {
    BBLK* b;
    EDGE* next;
  };
  for (BBLK* root = cfg.bb_list; root; root = root->dflink) {
    if (index.count(root)) continue;
    std::vector<FRAME> frames{{root, root->successors}};
    index[root] = low[root] = counter++;
    stack.push_back(root);
    on_stack.insert(root);
    while (!frames.empty()) {
      FRAME& fr = frames.back();
      if (fr.next) {
        BBLK* s = fr.next->bb;
        fr.next = fr.next->next;
        if (s == fr.b) on_cycle.insert(s);
        if (!index.count(s)) {
          index[s] = low[s] = counter++;
          stack.push_back(s);
          on_stack.insert(s);
          frames.push_back({s, s->successors});
        } else if (on_stack.count(s)) {
          low[fr.b] = std::min(low[fr.b], index[s]);
        }
        continue;
      }
      BBLK* b = fr.b;
      frames.pop_back();
      if (!frames.empty()) low[frames.back().b] = std::min(low[frames.back().b], low[b]);
      if (low[b] == index[b]) {
        std::vector<BBLK*> comp;
        BBLK* x;
        do {
          x = stack.back();
          stack.pop_back();
          on_stack.erase(x);
          comp.push_back(x);
        } while (x != b);
        if (comp.size() > 1) on_cycle.insert(comp.begin(), comp.end());
      }
    }
  }
  return on_cycle;
}

void unite(PTR* a, PTR* b) {
  a = PTR_group(a);
  b = PTR_group(b);
  if (a == b) return;
  if (a->count < b->count) std::swap(a, b);
  b->rep = a;
  a->count += b->count;
  a->restricted = a->restricted || b->restricted;
  a->escapes = a->escapes || b->escapes;
}

void escape(PTR* p) {
  if (p) PTR_group(p)->escapes = true;
}

enum CTX { STMT, ESCAPE, DEREF, COMPARE, INTO };

struct GROUP_WALK {
  void value(NODE* t, CTX ctx, SYMTAB* into);
  void lvalue(NODE* t, CTX address_ctx, SYMTAB* into);
};

bool is_null_constant(NODE* t) {
  t = strip_transparent_marks(t);
  while (t && (t->op == PCONV || t->op == ISP2CHAR || t->op == SCONV)) t = t->left;
  return t && t->op == ICON && t->value == INT65(0);
}

// The value of `rhs` derives from a pointer variable (or is null).
bool derives_from_pointer_var(NODE* rhs) {
  rhs = strip_transparent_marks(rhs);
  if (is_null_constant(rhs)) return true;
  if (rhs && rhs->op == QUEST && rhs->right && rhs->right->op == COLON)
    return derives_from_pointer_var(rhs->right->left) && derives_from_pointer_var(rhs->right->right);
  if (rhs && (rhs->op == ASG || rhs->op == COMMAOP)) return derives_from_pointer_var(rhs->right);
  LVALUE_DESC d;
  describe_address(rhs, d);
  return !d.object && d.base_var && find_PTR_entry(d.base_var);
}

void GROUP_WALK::lvalue(NODE* t, CTX address_ctx, SYMTAB* into) {
  t = strip_transparent_marks(t);
  if (!t) return;
  switch (t->op) {
    case NAME: return;
    case STDOT: lvalue(t->left, address_ctx, into); return;
    case UMULT:
    case STREF: value(t->left, address_ctx, into); return;
    default: value(t, ESCAPE, nullptr); return;
  }
}

void GROUP_WALK::value(NODE* t, CTX ctx, SYMTAB* into) {
  t = strip_transparent_marks(t);
  if (!t) return;
  switch (t->op) {
    case NAME: {
      PTR* p = find_PTR_entry(t->name_symbol());
      if (!p) return;
      if (ctx == INTO) {
        if (PTR* q = find_PTR_entry(into)) unite(p, q);
        else escape(p);
      } else if (ctx == ESCAPE) {
        escape(p);
      }
      return;
    }
    case ASG: {
      NODE* l = strip_transparent_marks(t->left);
      SYMTAB* q = l && l->op == NAME ? l->name_symbol() : nullptr;
      if (q && find_PTR_entry(q)) {
        if (!derives_from_pointer_var(t->right)) table.sourced.insert(q);
        value(t->right, INTO, q);
        if (ctx != STMT) value(l, ctx, into);  // the assigned value goes on
        return;
      }
      lvalue(t->left, DEREF, nullptr);
      value(t->right, ESCAPE, nullptr);
      return;
    }
    case PLUSPLUS:
    case MINMIN:
      lvalue(t->left, DEREF, nullptr);
      if (ctx != STMT) value(t->left, ctx, into);
      return;
    case UMULT:
    case STREF:
      value(t->left, DEREF, nullptr);
      return;
    case STDOT:
      lvalue(t->left, DEREF, nullptr);
      return;
    case UAND:
    case ARGREF:
      // &*p is p: the address goes where the value goes.
      lvalue(t->left, ctx == STMT ? ESCAPE : ctx, into);
      return;
    case PLUS:
    case MINUS: {
      const TYPE* ty = t->type && t->type->rep ? t->type->rep : t->type;
      if (ty && ty->is_pointer()) {
        value(t->left, ctx, into);
        value(t->right, ctx, into);
      } else {
        value(t->left, ESCAPE, nullptr);
        value(t->right, ESCAPE, nullptr);
      }
      return;
    }
    case PCONV:
    case ISP2CHAR:
      value(t->left, ctx, into);
      return;
    case QUEST:
      value(t->left, COMPARE, nullptr);
      if (t->right && t->right->op == COLON) {
        value(t->right->left, ctx, into);
        value(t->right->right, ctx, into);
      }
      return;
    case COMMAOP:
      value(t->left, STMT, nullptr);
      value(t->right, ctx, into);
      return;
    case EQ: case NEQ: case LT: case LE: case GT: case GE: case ULT: case ULE: case UGT: case UGE:
    case EXCLAIM: case ANDAND: case OROR:
      value(t->left, COMPARE, nullptr);
      value(t->right, COMPARE, nullptr);
      return;
    case IF:
      value(t->left, COMPARE, nullptr);
      return;
    case SWITCH:
      value(t->left, ESCAPE, nullptr);
      return;
    case CALL:
    case UCALL:
      value(t->left, DEREF, nullptr);
      if (t->op == CALL) value(t->right, ESCAPE, nullptr);
      return;
    case PCOMMA:
    case COMMA:
      value(t->left, ctx == STMT ? STMT : ESCAPE, nullptr);
      value(t->right, ctx == STMT ? STMT : ESCAPE, nullptr);
      return;
    case LABEL: case ICON: case FCON: case SCON: case FIELD: case LABELDEF: case BRANCH:
      return;
    default:
      if (t->op >= 0 && t->op < 256 && op_of_opASG[t->op] != 255) {
        lvalue(t->left, DEREF, nullptr);
        NODE* l = strip_transparent_marks(t->left);
        SYMTAB* q = l && l->op == NAME ? l->name_symbol() : nullptr;
        // p += k steps p within what it points to; anything else brings in
        // a value of its own.
        const TYPE* rt = t->right && t->right->type ? (t->right->type->rep ? t->right->type->rep : t->right->type)
                                                     : nullptr;
        bool steps = (t->op == PLUSASG || t->op == MINUSASG) && rt && rt->is_integral();
        if (q && find_PTR_entry(q) && !steps) table.sourced.insert(q);
        value(t->right, ESCAPE, nullptr);
        if (ctx != STMT) value(t->left, ctx, into);
        return;
      }
      if (t->left) value(t->left, ESCAPE, nullptr);
      if (t->right && number_of_operands[t->op] >= 2) value(t->right, ESCAPE, nullptr);
      return;
  }
}

void make_entries(SYMTAB* chain) {
  for (SYMTAB* s = chain; s; s = s->next)
    if (is_pointer_sym(s) && s->lex_level >= 1 && s->sclass != SC_STATIC) find_or_make_PTR_entry(s);
}

// The parameter that the argument prolog copies into `local`.
SYMTAB* prolog_source_of(SYMTAB* local) {
  if (!cfg.bb_list || !cfg.bb_list->statements) return nullptr;
  NODE* t = cfg.bb_list->statements->tree;
  if (!t || !tree_is_arg_prolog(t)) return nullptr;
  SYMTAB* found = nullptr;
  std::function<void(NODE*)> walk = [&](NODE* x) {
    if (!x) return;
    if (x->op == PCOMMA) {
      walk(x->left);
      walk(x->right);
      return;
    }
    if (x->op != ASG || !x->left || x->left->op != NAME || x->left->name_symbol() != local) return;
    NODE* r = x->right;
    while (r && (r->op == SCONV || r->op == PCONV || r->op == ISP2CHAR)) r = r->left;
    if (r && r->op == NAME) found = r->name_symbol();
  };
  walk(t);
  return found;
}

}  // namespace

// ---- Entries ---------------------------------------------------------------------

PTR* make_PTR_entry(SYMTAB* sym) {
  table.entries.push_back(std::make_unique<PTR>());
  PTR* p = table.entries.back().get();
  p->sym = sym;
  p->rep = p;
  table.by_sym[sym] = p;
  return p;
}

PTR* find_PTR_entry(SYMTAB* sym) {
  if (!sym) return nullptr;
  auto it = table.by_sym.find(sym);
  return it == table.by_sym.end() ? nullptr : it->second;
}

PTR* find_or_make_PTR_entry(SYMTAB* sym) {
  PTR* p = find_PTR_entry(sym);
  return p ? p : make_PTR_entry(sym);
}

PTR* copy_PTR_entry(PTR* from, SYMTAB* to) {
  PTR* p = find_or_make_PTR_entry(to);
  if (from) unite(from, p);
  return p;
}

PTR* PTR_group(PTR* p) {
  if (!p) return nullptr;
  PTR* r = p;
  while (r->rep != r) r = r->rep;
  while (p->rep != r) {  // path compression
    PTR* next = p->rep;
    p->rep = r;
    p = next;
  }
  return r;
}

// ---- Roots and groups --------------------------------------------------------------

void find_restricted_roots() {
  table.roots.clear();
  if (!currfuninfo || !cfg.bb_list) return;
  // The promise holds for one run of the pointer's block. Our front end
  // declares every local at the function's level, so a pointer given its
  // value inside a loop may be one declared in the loop's body, whose
  // promise is new at each iteration: only pointers assigned off every
  // cycle of the graph keep it for the whole run.
  std::unordered_set<const BBLK*> cyclic = blocks_on_cycles();
  note_not_built("maybe_clear_restrict_in_inner_loops (restrict roots are kept off cycles instead)");
  std::unordered_set<const SYMTAB*> candidates, assigned_in_cycle;
  for (SYMTAB* chain : {currfuninfo->params, currfuninfo->symbols, currfuninfo->temps})
    for (SYMTAB* s = chain; s; s = s->next)
      if (is_restrict_sym(s) && is_pointer_sym(s) && !symbol_is_aliased(s) && !symbol_is_immutable(s) &&
          s->sclass != SC_STATIC && s->lex_level >= 1)
        candidates.insert(s);
  if (candidates.empty()) return;
  // Repeat until stable: a walk finds the assignments of each candidate.
  bool changed = true;
  while (changed) {
    changed = false;
    for_each_statement([&](BBLK* b, NODE* tree) {
      std::function<void(NODE*)> walk = [&](NODE* t) {
        for (; t; t = t->right) {
          if (t->op == CSE_DUPE) return;
          bool store = t->op == ASG || t->op == PLUSPLUS || t->op == MINMIN ||
                       (t->op < 256 && op_of_opASG[t->op] != 255);
          if (store && t->left && t->left->op == NAME && cyclic.count(b)) {
            const SYMTAB* s = t->left->name_symbol();
            if (candidates.count(s) && assigned_in_cycle.insert(s).second) changed = true;
          }
          if (number_of_operands[t->op] == 0) return;
          walk(t->left);
          if (number_of_operands[t->op] < 2) return;
        }
      };
      walk(tree);
    });
  }
  for (SYMTAB* chain : {currfuninfo->params, currfuninfo->symbols, currfuninfo->temps})
    for (SYMTAB* s = chain; s; s = s->next)
      if (candidates.count(s) && !assigned_in_cycle.count(s)) {
        table.roots.push_back(s);
        if (pass_debug("alias")) dprintf("Restricted root: %s\n", s->name ? s->name : "?");
      }
}

const std::vector<SYMTAB*>& restricted_roots() { return table.roots; }

void LS::build_PTR_equivalence_groups() {
  table.entries.clear();
  table.by_sym.clear();
  table.sourced.clear();
  table.built = true;
  if (!currfuninfo) return;
  for (SYMTAB* chain : {currfuninfo->params, currfuninfo->symbols, currfuninfo->temps}) make_entries(chain);
  GROUP_WALK w;
  for_each_statement([&](BBLK*, NODE* tree) { w.value(tree, STMT, nullptr); });
  // A variable that something else can change, or that takes a value from
  // outside, taints its group; so does a parameter's entry value unless the
  // prolog hands it to a restricted root.
  std::unordered_set<const SYMTAB*> root_set(table.roots.begin(), table.roots.end());
  for (SYMTAB* r : table.roots)
    if (SYMTAB* p = prolog_source_of(r)) root_set.insert(p);
  for (auto& e : table.entries) {
    SYMTAB* s = e->sym;
    bool outside = symbol_is_aliased(s) || symbol_is_immutable(s);
    if (!root_set.count(s)) outside = outside || table.sourced.count(s) || s->lex_level == 1;
    if (outside) escape(e.get());
  }
  for (SYMTAB* r : table.roots)
    if (PTR* p = find_PTR_entry(r)) PTR_group(p)->restricted = true;
  if (pass_debug("alias"))
    for (auto& e : table.entries) {
      PTR* g = PTR_group(e.get());
      dprintf("PTR %s: group of %s, %d members%s%s\n", e->sym->name ? e->sym->name : "?",
              g->sym->name ? g->sym->name : "?", g->count, g->restricted ? ", restricted" : "",
              g->escapes ? ", open" : "");
    }
}

// ---- Answers ----------------------------------------------------------------------

namespace {

// The clean restricted group an access goes through, or null.
PTR* restricted_group_of(NODE* lvalue) {
  LVALUE_DESC d;
  describe_lvalue(lvalue, d);
  if (d.object || !d.base_var || d.side_effects) return nullptr;
  PTR* g = PTR_group(find_PTR_entry(d.base_var));
  return g && g->restricted && !g->escapes ? g : nullptr;
}

bool tree_reads_group(NODE* t, PTR* g) {
  for (; t; t = t->right) {
    if (t->op == NAME) {
      PTR* p = find_PTR_entry(t->name_symbol());
      return p && PTR_group(p) == g;
    }
    if (t->op == CSE_DUPE) return tree_reads_group(t->left, g);
    if (tree_reads_group(t->left, g)) return true;
  }
  return false;
}

bool outside_group(NODE* lvalue, PTR* g) { return !tree_reads_group(strip_transparent_marks(lvalue), g); }

}  // namespace

bool unaliased_by_scope(NODE* a, NODE* b) {
  if (!aliasing_info_is_valid()) return false;
  PTR* ga = restricted_group_of(a);
  PTR* gb = restricted_group_of(b);
  if (pass_debug("oldrestrict")) {
    // The narrower rule: both accesses through restricted groups, apart.
    return ga && gb && ga != gb;
  }
  if (ga && outside_group(b, ga)) return true;
  if (gb && outside_group(a, gb)) return true;
  return false;
}

bool unaliased_by_restriction(NODE* pa, NODE* pb) {
  if (!aliasing_info_is_valid() || !pa || !pb) return false;
  LVALUE_DESC da, db;
  describe_address(pa, da);
  describe_address(pb, db);
  if (!da.base_var || !db.base_var || da.object || db.object) return false;
  PTR* ga = PTR_group(find_PTR_entry(da.base_var));
  PTR* gb = PTR_group(find_PTR_entry(db.base_var));
  if (!ga || !gb || ga == gb) return false;
  bool a_ok = ga->restricted && !ga->escapes;
  bool b_ok = gb->restricted && !gb->escapes;
  return pass_debug("oldrestrict") ? a_ok && b_ok : a_ok || b_ok;
}

bool pointers_are_antialiased(NODE* pa, NODE* pb) { return unaliased_by_restriction(pa, pb); }
