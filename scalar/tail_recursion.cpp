// Self tail call removal, tried by buildcfg once the edges exist: a call of
// the function to itself whose value is the function's result becomes
// assignments to the parameter locals and a branch back behind the argument
// prolog.
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/type_pkg.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "scalar/simpcfg_rules.h"

namespace {

struct PARALLEL_ASG {
  NODE* target;  // NAME of the local
  NODE* value;
};

const SYMTAB* sym_of(const NODE* n) { return n && n->op == NAME ? n->name_symbol() : nullptr; }

// One prolog leaf against one argument: local = [conversions] param.
bool match_leaf(NODE* leaf, NODE* arg, std::vector<PARALLEL_ASG>& out) {
  if (!leaf || leaf->op != ASG || !arg || arg->op == COMMA) return false;
  NODE* local = leaf->left;
  const SYMTAB* l = sym_of(local);
  NODE* r = leaf->right;
  std::vector<NODE*> convs;
  while (r && (r->op == SCONV || r->op == PCONV)) {
    convs.push_back(r);
    r = r->left;
  }
  const SYMTAB* p = sym_of(r);
  if (!l || !p || l->sclass != SC_LOCAL || p->sclass != SC_PARAM || !l->name || !p->name || strcmp(l->name, p->name))
    return false;
  if (!compatible_types(arg->type, p->type, false)) return false;
  NODE* v = copy_tree(arg, false);
  if (v->op == ARGREF) v->op = UAND;
  if (v->op == ACONV) {
    const TYPE* t = v->type && v->type->rep ? v->type->rep : v->type;
    v->op = t && t->is_pointer() ? PCONV : SCONV;
  }
  // The conversions the prolog makes, innermost first.
  for (auto it = convs.rbegin(); it != convs.rend(); ++it) v = maketree((*it)->op, v, nullptr, (*it)->type, (*it)->scope);
  out.push_back({copy_tree(local, false), simp_tree(v, nullptr, nullptr)});
  return true;
}

// The prolog's PCOMMA tree and the argument COMMA tree side by side.
bool match_args(NODE* prolog, NODE* args, std::vector<PARALLEL_ASG>& out) {
  if (!prolog || !args) return !prolog && !args;
  if (prolog->op == PCOMMA) {
    if (args->op != COMMA) return false;
    return match_args(prolog->left, args->left, out) && match_args(prolog->right, args->right, out);
  }
  return match_leaf(prolog, args, out);
}

void collect_address_taken(const NODE* t, std::set<const SYMTAB*>& out) {
  for (; t; t = t->right) {
    if (t->op == UAND || t->op == ARGREF) {
      const NODE* b = t->left;
      while (b && b->op == STDOT) b = b->left;
      if (const SYMTAB* s = sym_of(b)) out.insert(s);
    }
    if (t->op == CSE_DUPE) return;
    collect_address_taken(t->left, out);
  }
}

bool reads_param(const NODE* t) {
  for (; t; t = t->right) {
    const SYMTAB* s = sym_of(t);
    if (s && s->sclass == SC_PARAM) return true;
    if (t->op == CSE_DUPE) return false;
    if (reads_param(t->left)) return true;
  }
  return false;
}

// A frame reused by the callee must hold nothing that outlives the call in
// the original: no local may have its address taken, and only the prolog
// may read the parameters themselves.
bool frame_may_be_reused(const std::vector<BBLK*>& blocks, NODE* prolog) {
  std::set<const SYMTAB*> taken;
  for (BBLK* b : blocks)
    for (LIST* l = b->statements; l; l = l->next) {
      collect_address_taken(l->tree, taken);
      if (l->tree != prolog && reads_param(l->tree)) return false;
    }
  for (const SYMTAB* s : taken)
    if (s->lex_level >= 1 && (s->sclass == SC_LOCAL || s->sclass == SC_REGISTER || s->sclass == SC_PARAM))
      return false;
  return true;
}

// Reads the value of `sym`: a NAME by identity; an address is no read.
bool reads(const NODE* t, const SYMTAB* sym) {
  for (; t; t = t->right) {
    if (t->op == UAND) {
      const NODE* b = t->left;
      while (b && b->op == STDOT) b = b->left;
      if (b && b->op == NAME) return false;
    }
    if (sym_of(t) == sym) return true;
    if (t->op == CSE_DUPE) return false;
    if (reads(t->left, sym)) return true;
  }
  return false;
}

void replace_reads(NODE* t, const SYMTAB* sym, SYMTAB* temp) {
  for (; t; t = t->right) {
    if (t->op == UAND) {
      const NODE* b = t->left;
      while (b && b->op == STDOT) b = b->left;
      if (b && b->op == NAME) return;
    }
    if (sym_of(t) == sym) {
      t->sym = temp;
      return;
    }
    replace_reads(t->left, sym, temp);
  }
}

void drop_const(SYMTAB* s, NODE* name) {
  if (!s->type || !(s->type->qual_kind(false) & TYPE::Q_CONST)) return;
  uint8_t q = s->type->qual_kind(false) & static_cast<uint8_t>(~TYPE::Q_CONST);
  TYPE* plain = s->type->type_qualified();
  s->type = q ? tp->mk_qual(plain, q) : plain;
  name->type = s->type;
}

NODE* new_temp_for(const NODE* target) {
  SYMTAB* t = sym_temp('T', -1, target->type, nullptr);
  return mk_NAME(t, nullptr);
}

// Orders assignments that happen "at once": one may go when no other value
// still to be computed reads its target; a cycle is broken by saving one
// target in a temporary first.
std::vector<NODE*> order_parallel_assignments(std::vector<PARALLEL_ASG> todo) {
  std::vector<NODE*> head, body;
  // Values with effects keep their order, each saved before any store.
  bool effects = false;
  for (const PARALLEL_ASG& a : todo) effects = effects || tree_has_side_effects(a.value);
  if (effects)
    for (PARALLEL_ASG& a : todo) {
      NODE* t = new_temp_for(a.target);
      head.push_back(mk_ASG(copy_tree(t, false), a.value));
      a.value = t;
    }
  while (!todo.empty()) {
    size_t pick = todo.size();
    for (size_t i = 0; i < todo.size() && pick == todo.size(); ++i) {
      bool read = false;
      for (size_t j = 0; j < todo.size() && !read; ++j)
        read = j != i && reads(todo[j].value, sym_of(todo[i].target));
      if (!read) pick = i;
    }
    if (pick == todo.size()) {
      // A cycle: the first target's old value goes into a temporary.
      const SYMTAB* s = sym_of(todo[0].target);
      NODE* t = new_temp_for(todo[0].target);
      head.push_back(mk_ASG(copy_tree(t, false), copy_tree(todo[0].target, false)));
      for (size_t j = 1; j < todo.size(); ++j) replace_reads(todo[j].value, s, static_cast<SYMTAB*>(t->sym));
      erase_tree(t);
      pick = 0;
    }
    drop_const(const_cast<SYMTAB*>(sym_of(todo[pick].target)), todo[pick].target);
    body.push_back(mk_ASG(todo[pick].target, todo[pick].value));
    todo.erase(todo.begin() + static_cast<long>(pick));
  }
  head.insert(head.end(), body.begin(), body.end());
  return head;
}

NODE* comment(const char* text, LS* scope) {
  NODE* n = maketree(ASM, nullptr, nullptr, tp->basic[TYPE_PKG::BT_VOID], scope);
  n->text = zstrdup(1, text);
  n->value = INT65(ASM_COMMENT);
  return n;
}

// Where the branch back goes: behind the argument prolog, the entry split
// there if need be. Without a prolog the entry is split at its start, since
// the entry block never has predecessors.
BBLK* loop_head(BBLK* entry) {
  LIST* first = entry->statements;
  if (first && tree_is_arg_prolog(first->tree)) {
    NODE* next = first->next ? first->next->tree : nullptr;
    if (next && next->op == BRANCH) return label_target(next->left);
    return split_block(entry, first->next);
  }
  return split_block(entry, first);
}

struct TAIL_CALL {
  LIST* call_cell = nullptr;  // holds the call, or the RETURN of it
  NODE* call = nullptr;
};

bool find_tail_call(BBLK* bb, TAIL_CALL& tc) {
  int ns = edge_length(bb->successors);
  if (ns > 1) return false;
  if (ns == 1) {
    NODE* f = first_stmt(bb->successors->bb);
    if (!f || f->op != URETURN) return false;
  }
  LIST* last = last_cell(bb);
  if (!last || !last->tree) return false;
  if (last->tree->op == RETURN) {
    tc.call_cell = last;
    tc.call = last->tree->right;
  } else if (last->tree->op == URETURN || last->tree->op == BRANCH) {
    LIST* prev = nullptr;
    for (LIST* l = bb->statements; l != last; l = l->next) prev = l;
    if (!prev) return false;
    tc.call_cell = prev;
    tc.call = prev->tree;
  } else {
    return false;
  }
  NODE* c = tc.call;
  if (!c || (c->op != CALL && c->op != UCALL) || !c->value.is_zero()) return false;
  return c->left && c->left->op == UAND && sym_of(c->left->left) == currfunc;
}

}  // namespace

bool tail_recursion_allowed() {
  return opt_level >= 2 && fileinfo.stage == STAGE_SECOND_READING && !pass_disable("tail_recursion") && currfunc && currfuninfo;
}

bool remove_self_tail_call(BBLK* bb, const std::vector<BBLK*>& blocks) {
  BBLK* entry = cfg.bb_list;
  TAIL_CALL tc;
  if (!find_tail_call(bb, tc)) return false;
  NODE* prolog = entry->statements && tree_is_arg_prolog(entry->statements->tree) ? entry->statements->tree : nullptr;
  std::vector<PARALLEL_ASG> asgs;
  if (!match_args(prolog, tc.call->op == CALL ? tc.call->right : nullptr, asgs)) {
    for (PARALLEL_ASG& a : asgs) {
      erase_tree(a.target);
      erase_tree(a.value);
    }
    return false;
  }
  if (!frame_may_be_reused(blocks, prolog)) {
    for (PARALLEL_ASG& a : asgs) {
      erase_tree(a.target);
      erase_tree(a.value);
    }
    return false;
  }
  bool is_entry = bb == entry;
  NODE* stmt = tc.call_cell->tree;
  bool was_return = stmt->op == RETURN;
  std::string text = tree2infix(stmt, true);
  PSN* psn = tc.call_cell->psn;
  LS* scope = stmt->scope;
  BBLK* head = loop_head(entry);
  // The entry was split: its code, the call among it, moved on.
  if (is_entry) bb = entry->successors->bb;

  // Everything from the call on is replaced.
  std::vector<NODE*> seq = order_parallel_assignments(asgs);
  NODE* chain = nullptr;
  for (auto it = seq.rbegin(); it != seq.rend(); ++it) chain = chain ? mk_COMMAOP(*it, chain) : *it;
  LIST** link = &bb->statements;
  while (*link && *link != tc.call_cell) link = &(*link)->next;
  optassert(*link == tc.call_cell);
  erase_tree_list(*link);
  *link = nullptr;
  if (chain) chain = peel_for_effect(chain);
  if (chain) append_statements(bb, mkelist(chain, nullptr, psn));
  append_statements(bb, mkelist(comment("***\t; tail recursive call occurs here", scope), nullptr, psn));
  if (source_interlist) {
    std::string listed = text + (was_return ? "" : "  return;");
    append_statements(bb, mkelist(comment(listed.c_str(), scope), nullptr, psn));
  }
  append_statements(bb, mkelist(mk_BRANCH(head, scope), nullptr, psn));
  erase_edge_list(bb->successors);
  bb->successors = mkedge(head, -1.0);
  dprintf("\n  ===> Tail recursive self-call removed at line %ld: %s\n\n", psn ? static_cast<long>(psn->line) : 0L,
          text.c_str());
  return true;
}
