// fast_CP: a local variable given one constant, whose address never
// escapes, and that is read only where that assignment has run on every
// path, has that constant everywhere it is read. Its reads become the
// constant and the assignment goes.
#include "scalar/fcp.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/type_pkg.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg.h"
#include "scalar/triples.h"
#include "ssa/alias.h"
#include "scalar/deadasg.h"

namespace {

SNMAP constant_map;  // the function's map of single values

struct COUNTS {
  int assigns = 0;
  int uses = 0;
  int refs = 0;          // any NAME of it, also under an address
  LIST* only_asg = nullptr;  // the statement of a single top-level ASG
  BBLK* only_bb = nullptr;
  bool prolog_asg = false;  // assigned by the argument prolog
};

bool is_store(const NODE* t) {
  return t->op == ASG || t->op == STASG || t->op == ARASG || t->op == PLUSPLUS || t->op == MINMIN ||
         (t->op < 256 && op_of_opASG[t->op] != 255);
}

// Counts assignments and uses of each NAME of `t`.
void count(NODE* t, std::unordered_map<const SYMTAB*, COUNTS>& c, bool lvalue) {
  if (!t) return;
  if (t->op == NAME) {
    COUNTS& k = c[t->name_symbol()];
    ++k.refs;
    if (lvalue) ++k.assigns;
    else ++k.uses;
    return;
  }
  if (t->op == CSE_DUPE) return;
  if (is_store(t)) {
    NODE* l = t->left;
    if (l && l->op == NAME) {
      COUNTS& k = c[l->name_symbol()];
      ++k.refs;
      ++k.assigns;
      if (t->op != ASG) ++k.uses;  // x += 1 reads x too
    } else {
      count(l, c, false);
    }
    count(t->right, c, false);
    return;
  }
  if (t->op == UAND || t->op == ARGREF) {
    // The object itself isn't read; its address escapes (alias marks).
    NODE* l = t->left;
    while (l && l->op == STDOT) l = l->left;
    if (l && l->op == NAME) {
      ++c[l->name_symbol()].refs;
      return;
    }
    count(t->left, c, false);
    return;
  }
  count(t->left, c, false);
  if (number_of_operands[t->op] >= 2 || t->op == COLON) count(t->right, c, false);
}

bool is_far(const SYMTAB* s) { return s->type && (s->type->qual_kind(true) & TYPE::Q_FAR); }

// Replaces the reads of mapped variables; true when it did.
bool substitute(NODE*& slot, bool lvalue) {
  NODE* t = slot;
  if (!t) return false;
  if (t->op == NAME) {
    if (lvalue) return false;
    NODE* v = constant_map.value_of(t->name_symbol());
    if (!v) return false;
    NODE* k = coerce_to_type(t->type->type_qualified(), copy_tree(v, false));
    k->scope = t->scope;
    erase_tree(t);
    slot = k;
    ++constants_propagated;
    return true;
  }
  if (t->op == CSE_DUPE) return false;
  bool changed = false;
  if (is_store(t)) {
    // The target is written, not read; its address parts are read.
    NODE* l = t->left;
    if (l && l->op != NAME) changed |= substitute(t->left, true);
    changed |= substitute(t->right, false);
    return changed;
  }
  if (t->op == UAND || t->op == ARGREF || t->op == STDOT) {
    changed |= substitute(t->left, true);
    if (t->op == STDOT) return changed;
    return changed;
  }
  if (lvalue && (t->op == UMULT || t->op == STREF)) {
    changed |= substitute(t->left, false);
    return changed;
  }
  changed |= substitute(t->left, false);
  changed |= substitute(t->right, false);
  return changed;
}

// The candidates that some path reads before their assignment ran.
void drop_live_at_entry(std::vector<SYMTAB*>& cands, std::unordered_map<const SYMTAB*, COUNTS>& counts) {
  int n = static_cast<int>(cands.size());
  if (!n) return;
  std::unordered_map<const SYMTAB*, int> index;
  for (int i = 0; i < n; ++i) index[cands[i]] = i;
  int nb = cfg.bb_count;
  std::vector<BITVEC*> defs(nb + 1), in(nb + 1), out(nb + 1);
  for (int i = 0; i <= nb; ++i) {
    defs[i] = mkBITVEC(n, 0);
    in[i] = mkBITVEC(n, 0);
    out[i] = mkBITVEC(n, 0);
  }
  for (int i = 0; i < n; ++i) defs[counts[cands[i]].only_bb->dfn]->bv_add(i);
  // Assigned on every path: the greatest fixed point of an intersection.
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (int i = 0; i < n; ++i) out[b->dfn]->bv_add(i);
  for (bool changed = true; changed;) {
    changed = false;
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      BITVEC* x = in[b->dfn];
      x->bv_clear();
      if (b != cfg.bb_list && b->predecessors) {
        for (int i = 0; i < n; ++i) x->bv_add(i);
        for (EDGE* e = b->predecessors; e; e = e->next) x->bv_intersect(*out[e->bb->dfn]);
      }
      BITVEC* o = mkBITVEC(n, 0);
      *o = *x;
      o->bv_union(*defs[b->dfn]);
      if (!o->bv_equal(*out[b->dfn])) {
        *out[b->dfn] = *o;
        changed = true;
      }
      erase_bitvec(o);
    }
  }
  std::vector<bool> live(n, false);
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    BITVEC* cur = mkBITVEC(n, 0);
    *cur = *in[b->dfn];
    for (LIST* l = b->statements; l; l = l->next) {
      std::function<void(NODE*, bool)> reads = [&](NODE* t, bool lv) {
        if (!t) return;
        if (t->op == NAME) {
          auto it = index.find(t->name_symbol());
          if (!lv && it != index.end() && !cur->bv_test(it->second)) live[it->second] = true;
          return;
        }
        if (t->op == CSE_DUPE) return;
        if (is_store(t)) {
          bool plain = t->op == ASG && t->left && t->left->op == NAME;
          reads(t->left, plain);
          reads(t->right, false);
          return;
        }
        if (t->op == UAND || t->op == ARGREF) {
          reads(t->left, true);
          return;
        }
        reads(t->left, lv && t->op == STDOT);
        reads(t->right, false);
      };
      reads(l->tree, false);
      for (int i = 0; i < n; ++i)
        if (counts[cands[i]].only_asg == l) cur->bv_add(i);
    }
    erase_bitvec(cur);
  }
  for (int i = 0; i <= nb; ++i) {
    erase_bitvec(defs[i]);
    erase_bitvec(in[i]);
    erase_bitvec(out[i]);
  }
  std::vector<SYMTAB*> kept;
  for (int i = 0; i < n; ++i)
    if (!live[i]) kept.push_back(cands[i]);
  cands.swap(kept);
}

// The local that the argument prolog fills from each parameter.
void prolog_targets(std::unordered_map<const SYMTAB*, bool>& out) {
  if (!cfg.bb_list || !cfg.bb_list->statements) return;
  NODE* t = cfg.bb_list->statements->tree;
  if (!tree_is_arg_prolog(t)) return;
  std::function<void(NODE*)> walk = [&](NODE* x) {
    if (!x) return;
    if (x->op == PCOMMA) {
      walk(x->left);
      walk(x->right);
    } else if (x->op == ASG && x->left && x->left->op == NAME) {
      out[x->left->name_symbol()] = true;
    }
  };
  walk(t);
}

// One round; true when something changed.
bool one_round() {
  dprintf("\n\n\t\t\t---------- ENTERING 'fast_CP' -----------------\n");
  std::unordered_map<const SYMTAB*, COUNTS> counts;
  for (SYMTAB* s = global_symbols; s; s = s->next) counts[s].assigns = 65535;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) {
      if (!l->tree) continue;
      count(l->tree, counts, false);
      NODE* t = l->tree;
      if (t->op == ASG && t->left && t->left->op == NAME) {
        COUNTS& k = counts[t->left->name_symbol()];
        k.only_asg = l;
        k.only_bb = b;
      }
    }
  mark_aliased_vector_and_complex_symbols(false, true);
  std::unordered_map<const SYMTAB*, bool> from_prolog;
  prolog_targets(from_prolog);

  std::vector<SYMTAB*> cands;
  bool changed = false;
  for (SYMTAB** link : {&currfuninfo->symbols, &currfuninfo->temps}) {
    while (*link) {
      SYMTAB* s = *link;
      COUNTS& k = counts[s];
      bool outside = is_internal_name(s->name) || is_far(s) || s->sclass == SC_STATIC || s->lex_level == 0;
      if (!outside && k.refs == 0 && !sym_appears_in_EHT(s) && s != csu_returning_function_parameter) {
        dprintf("\tNo references in the function for '%s'\n", s->name ? s->name : "?");
        *link = s->next;  // dropped
        s->next = nullptr;
        continue;
      }
      link = &s->next;
      if (outside || symbol_is_aliased(s) || symbol_is_immutable(s) || sym_appears_in_EHT(s)) continue;
      if (!s->type || !s->type->is_scalar() || (s->alias_marks & ALIAS_VECTOR_OR_COMPLEX)) continue;
      if (k.assigns == 0 && k.uses > 0) {
        dprintf("\n\tVariable is used but never assigned: %s\n", s->name ? s->name : "?");
        continue;
      }
      if (from_prolog.count(s)) {
        if (k.assigns == 1 && !(s->type->qual_kind(false) & TYPE::Q_CONST)) {
          dprintf("\n\tArgument variable is not re-assigned: %s\n", s->name ? s->name : "?");
          s->type = tp->mk_qual(s->type, TYPE::Q_CONST);
        }
        continue;
      }
      if (k.assigns != 1 || !k.only_asg || !k.only_asg->tree) continue;
      NODE* asg = k.only_asg->tree;
      if (asg->op != ASG || asg->left->name_symbol() != s || !expr_is_constant(asg->right)) continue;
      cands.push_back(s);
    }
  }
  drop_live_at_entry(cands, counts);
  for (SYMTAB* s : cands) {
    NODE* v = counts[s].only_asg->tree->right;
    constant_map.set_value(s, v);
    std::string name = s->name ? s->name : "?";
    std::string value = tree2infix(v, false);
    dprintf("\n\tGlobally constant assignment: %s = %s\n", name.c_str(), value.c_str());
  }
  if (constant_map.empty()) return changed;
  // The assignments go first: their values are copied into the reads.
  std::vector<NODE*> values;
  for (SYMTAB* s : cands) {
    LIST* cell = counts[s].only_asg;
    NODE* asg = cell->tree;
    NODE* v = asg->right;
    asg->right = nullptr;
    erase_tree(asg);
    cell->tree = nullptr;
    constant_map.set_value(s, v);
    values.push_back(v);
  }
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    LIST** link = &b->statements;
    while (*link) {
      LIST* l = *link;
      if (l->tree && substitute(l->tree, false)) {
        NODE* t = l->tree;
        if (t->op == IF || t->op == SWITCH) t->left = simp_tree(t->left);
        else if (t->op == RETURN) t->right = simp_tree(t->right);
        else if (t->op != BRANCH && t->op != URETURN) l->tree = peel_for_effect(simp_tree(t));
      }
      if (!l->tree) {
        *link = l->next;
        l->next = nullptr;
        erase_tree_list_only(l);
        continue;
      }
      link = &l->next;
    }
  }
  for (NODE* v : values) erase_tree(v);
  constant_map.clear();
  return true;
}

}  // namespace

// ---- SNMAP ------------------------------------------------------------------------

void SNMAP::set_value(SYMTAB* sym, NODE* value) { map_[sym] = value; }
void SNMAP::remove(SYMTAB* sym) { map_.erase(sym); }
void SNMAP::clear() { map_.clear(); }
NODE* SNMAP::value_of(const SYMTAB* sym) const {
  auto it = map_.find(sym);
  return it == map_.end() ? nullptr : it->second;
}
void SNMAP::print(FILE* stream) const {
  if (!stream) return;
  for (auto& [sym, value] : map_) {
    std::string v = value ? tree2infix(value, false) : "?";
    fprintf(stream, "\t%s = %s\n", sym && sym->name ? sym->name : "?", v.c_str());
  }
}

void clear_fast_CP_maps() { constant_map.clear(); }

bool expr_is_constant(const NODE* t) {
  if (!t) return false;
  switch (t->op) {
    case ICON:
    case FCON:
      return true;
    case PCONV:
    case SCONV:
    case ISP2CHAR:
      return t->left && (t->left->op == ICON || t->left->op == FCON);
    case UAND: {
      // The address of a named object is fixed for the run of the function.
      const NODE* l = t->left;
      while (l && l->op == STDOT) l = l->left;
      if (!l || l->op != NAME) return false;
      const SYMTAB* s = l->name_symbol();
      return s && s->sclass != SC_REGISTER && s->sclass != SC_REG17 && s->sclass != SC_REG22;
    }
    case PLUS:
      return expr_is_constant(t->left) && t->left->op == UAND && t->right && t->right->op == ICON;
    default:
      return false;
  }
}

void fast_CP(int rounds, int combine) {
  if (opt_level <= 0 || !currfuninfo || !cfg.bb_list || pass_disable("fast_CP")) return;
  if (combine) combine_asgs_to_memory();
  // Every address taken counts here: a variable read through its own
  // address is read all the same.
  int saved = alias_vars;
  auto init = [saved] {
    alias_vars = 1;
    init_aliasing_info();
    alias_vars = saved;
  };
  init();
  note_not_built("sym_split (in fast_CP)");
  bool any = false;
  for (int r = 0; r < rounds; ++r) {
    if (r > 0) {
      reset_alias_info();
      init();
    }
    if (!one_round()) break;
    any = true;
    rebuildcfg();
    simpcfg(false, false);
  }
  reset_alias_info();
  if (any) elim_dead_assigns(0, 0);
}
