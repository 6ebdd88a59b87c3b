// The triple table: numbering of the function's expressions, the alias
// table of its lvalues and the kill classes, and the local walk that marks
// every occurrence and fills the per-block sets.
//
// Two walks over the blocks. The first numbers every expression worth a
// temporary and every lvalue read or written. Then, with all triples known,
// each store's kill set is exact: the triples that read an lvalue the
// stored one may overlap. The second walk follows the order of evaluation
// (operands left to right, an assignment's address, then its value, then
// the store) and marks each occurrence.
#include "scalar/triples.h"

#include <cstring>
#include <functional>
#include <string>
#include <unordered_map>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp_internal.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"

using namespace simp;

NODE** unique_triples = nullptr;
int unique_triple_count = 0;
SYMTAB** unique_triple_temp = nullptr;
BITVEC* triple_TRIVIAL = nullptr;
BITVEC* triple_BENIGN = nullptr;
BITVEC* triple_CONSTANT = nullptr;
BITVEC* triple_LVALUE = nullptr;
BITVEC** triple_ANTLOC = nullptr;
BITVEC** triple_AVLOC = nullptr;
BITVEC** triple_ALTERED = nullptr;
BITVEC** triple_OCCURS = nullptr;
BITVEC** triple_ANTIN = nullptr;
BITVEC** triple_ANTOUT = nullptr;
BITVEC** triple_AVIN = nullptr;
BITVEC** triple_AVOUT = nullptr;
BITVEC** triple_PAVIN = nullptr;
BITVEC** triple_PAVOUT = nullptr;
BITVEC* triple_kills_global_vars = nullptr;
BITVEC* triple_kills_aliased_vars = nullptr;
BITVEC* triple_kills_aliased_scalars = nullptr;
BITVEC* triple_kills_ASSERTs = nullptr;
BITVEC* triple_kills_indirect_refs = nullptr;
BITVEC* triple_kills_indirect_refs_NL = nullptr;
BITVEC* triple_kills_indirect_NKV = nullptr;
BITVEC* triple_kills_indirect_NS_maybe = nullptr;
BITVEC* triple_kills_indirect_NS_yes = nullptr;
BITVEC* triple_kills_indirect_ICON = nullptr;
int errno_triple = -1;
std::vector<BLOCK_CSE> block_cse;
long cse_expressions_removed = 0;
long copies_propagated = 0;
long constants_propagated = 0;

namespace {

// ---- Table --------------------------------------------------------------------------

struct TRIPLE {
  NODE* tree = nullptr;        // clean copy
  uint64_t hash = 0;
  bool lvalue = false;
  bool candidate = false;      // worth a temporary
  std::vector<int> reads;      // lvalue triples read (an lvalue reads itself)
  BITVEC* dep = nullptr;       // lvalue triple: the triples that read it
  BITVEC* alias_row = nullptr; // lvalue triple: the lvalue triples that may overlap it
  BITVEC* kill = nullptr;      // lvalue triple: what a store to it invalidates
  bool store_target = false;
  LVALUE_DESC desc;
};

std::vector<TRIPLE> table;
std::vector<NODE*> tree_index;    // backs unique_triples
std::vector<SYMTAB*> temp_index;  // backs unique_triple_temp
std::unordered_map<uint64_t, std::vector<int>> by_hash;
bool built = false;
BITVEC* all_memory_kill = nullptr;  // what an unknown store or an asm invalidates
BITVEC* everything = nullptr;

uint64_t mix(uint64_t h, uint64_t v) {
  h ^= v + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2);
  return h;
}

uint64_t tree_hash(const NODE* t) {
  t = skip_dupes(const_cast<NODE*>(t));
  if (!t) return 0x51;
  uint64_t h = mix(static_cast<uint64_t>(t->op), reinterpret_cast<uintptr_t>(t->type ? t->type->stqs() : nullptr));
  switch (t->op) {
    case NAME: h = mix(h, reinterpret_cast<uintptr_t>(t->sym)); break;
    case ICON: h = mix(mix(h, t->value.low), t->value.high); break;
    case FIELD: h = mix(h, reinterpret_cast<uintptr_t>(t->mval)); break;
    case SCON: h = mix(h, t->text_len); break;
    case ICALL: case UICALL: case MCALL: case UMCALL:
      if (t->sym) h = mix(h, std::hash<std::string>()(static_cast<const char*>(t->sym)));
      break;
    default: h = mix(h, t->value.low); break;
  }
  if (t->left) h = mix(h, tree_hash(t->left));
  if (t->right) h = mix(h, tree_hash(t->right) * 31);
  return h;
}

// trees_are_congruent, seeing through CSE marks.
bool congruent(NODE* a, NODE* b) {
  for (;;) {
    a = skip_dupes(a);
    b = skip_dupes(b);
    if (a == b) return true;
    if (!a || !b || a->op != b->op || !same_type(a->type, b->type)) return false;
    switch (a->op) {
      case NAME:
        if (a->sym != b->sym) return false;
        break;
      case ICON:
      case LABEL:
        if (a->value != b->value) return false;
        break;
      case FCON:
        if (!a->sym || !b->sym || !f_bit_eq(fval(a), fval(b))) return false;
        break;
      case SCON:
        return false;  // each evaluation is an object of its own
      case FIELD:
        if (a->mval != b->mval || a->sym != b->sym) return false;
        break;
      case ICALL: case UICALL: case MCALL: case UMCALL:
        if (!a->sym || !b->sym || strcmp(static_cast<const char*>(a->sym), static_cast<const char*>(b->sym)) != 0)
          return false;
        break;
      default:
        if (a->value != b->value) return false;
        break;
    }
    if (!congruent(a->left, b->left)) return false;
    a = a->right;
    b = b->right;
  }
}

int lookup(NODE* t, uint64_t h) {
  auto it = by_hash.find(h);
  if (it == by_hash.end()) return -1;
  for (int i : it->second)
    if (congruent(table[i].tree, t)) return i;
  return -1;
}

bool is_lvalue_op(int op) { return op == NAME || op == UMULT || op == STREF || op == STDOT; }

int intern(NODE* t);

// The lvalues a tree reads, interned.
void gather_reads(NODE* t, std::vector<int>& out) {
  t = skip_dupes(t);
  if (!t) return;
  switch (t->op) {
    case NAME:
      out.push_back(intern(t));
      return;
    case UMULT:
    case STREF:
      out.push_back(intern(t));
      gather_reads(t->left, out);
      return;
    case STDOT: {
      out.push_back(intern(t));
      NODE* base = skip_dupes(t->left);
      while (base && base->op == STDOT) base = skip_dupes(base->left);
      if (base && (base->op == UMULT || base->op == STREF)) gather_reads(base->left, out);
      return;
    }
    case UAND:
    case ARGREF: {
      NODE* l = skip_dupes(t->left);
      while (l && l->op == STDOT) l = skip_dupes(l->left);
      if (l && (l->op == UMULT || l->op == STREF)) gather_reads(l->left, out);
      return;
    }
    default:
      if (number_of_operands[t->op] >= 1) gather_reads(t->left, out);
      if (number_of_operands[t->op] >= 2) gather_reads(t->right, out);
      return;
  }
}

int intern(NODE* t) {
  t = skip_dupes(t);
  uint64_t h = tree_hash(t);
  int found = lookup(t, h);
  if (found >= 0) return found;
  int id = static_cast<int>(table.size());
  table.emplace_back();
  table[id].tree = copy_tree_without_dupes(t);
  table[id].hash = h;
  table[id].lvalue = is_lvalue_op(t->op);
  by_hash[h].push_back(id);
  if (table[id].lvalue) {
    table[id].reads.push_back(id);
    describe_lvalue(table[id].tree, table[id].desc);
  }
  std::vector<int> reads;
  if (table[id].lvalue) {
    // An lvalue reads its address parts.
    NODE* x = table[id].tree;
    while (x->op == STDOT) x = x->left;
    if (x->op == UMULT || x->op == STREF) gather_reads(x->left, reads);
  } else {
    gather_reads(table[id].tree, reads);
  }
  for (int r : reads) table[id].reads.push_back(r);
  return id;
}

// ---- Kill sets -------------------------------------------------------------------

int n_triples() { return static_cast<int>(table.size()); }

BITVEC* new_set() { return mkBITVEC(n_triples(), 0); }

void or_into(BITVEC* dst, const BITVEC* src) {
  if (!dst || !src) return;
  int n = std::min(dst->nwords, src->nwords);
  for (int w = 0; w < n; ++w) dst->words[w] |= src->words[w];
}

bool reachable_by_pointer(const TRIPLE& t) {
  const SYMTAB* o = t.desc.object;
  return !o || o->lex_level == 0 || o->sclass == SC_STATIC || symbol_is_aliased(o);
}

std::unordered_map<const SYMTAB*, std::vector<int>> lvalues_by_object;
std::vector<int> lvalues_unknown;
std::vector<int> lvalues_reachable;

void bucket_lvalues() {
  lvalues_by_object.clear();
  lvalues_unknown.clear();
  lvalues_reachable.clear();
  for (int i = 0; i < n_triples(); ++i) {
    if (!table[i].lvalue) continue;
    if (table[i].desc.object) lvalues_by_object[table[i].desc.object].push_back(i);
    else lvalues_unknown.push_back(i);
    if (table[i].desc.object && reachable_by_pointer(table[i])) lvalues_reachable.push_back(i);
  }
}

void build_alias_row(int l) {
  TRIPLE& t = table[l];
  t.alias_row = new_set();
  t.alias_row->bv_add(l);
  bool trace = print_debug && pass_debug("alias");
  if (trace) {
    std::string text = tree2infix(t.tree, false);
    dprintf(t.desc.object ? " +++ alias test (1): add %s \n" : " +++ alias test (2): add %s \n", text.c_str());
  }
  auto test = [&](int x) {
    if (x == l || t.alias_row->bv_test(x)) return;
    bool may = lvalues_may_be_aliased(t.tree, table[x].tree, nullptr);
    if (trace) {
      std::string a = tree2infix(t.tree, false);
      std::string b = tree2infix(table[x].tree, false);
      dprintf(" --- alias test: %s and", a.c_str());
      dprintf(" %s%s", b.c_str(), may ? " MAY be aliased\n" : " NOT aliased\n");
    }
    if (may) t.alias_row->bv_add(x);
  };
  const SYMTAB* o = t.desc.object;
  if (o) {
    auto it = lvalues_by_object.find(o);
    if (it != lvalues_by_object.end())
      for (int x : it->second) test(x);
    if (o->alias_marks & (ALIAS_GROUP_A | ALIAS_GROUP_B))
      for (auto& [sym, list] : lvalues_by_object)
        if (sym != o && (sym->alias_marks & (ALIAS_GROUP_A | ALIAS_GROUP_B)))
          for (int x : list) test(x);
    if (reachable_by_pointer(t))
      for (int x : lvalues_unknown) test(x);
  } else {
    for (int x : lvalues_unknown) test(x);
    for (int x : lvalues_reachable) test(x);
  }
}

BITVEC* kill_of(int l) {
  TRIPLE& t = table[l];
  if (t.kill) return t.kill;
  if (!t.alias_row) build_alias_row(l);
  t.kill = new_set();
  for (int x = 0; x < n_triples(); ++x)
    if (t.alias_row->bv_test(x) && table[x].dep) or_into(t.kill, table[x].dep);
  return t.kill;
}

void build_kill_classes() {
  int n = n_triples();
  BITVEC** classes[] = {&triple_kills_global_vars,   &triple_kills_aliased_vars,    &triple_kills_aliased_scalars,
                        &triple_kills_ASSERTs,       &triple_kills_indirect_refs,   &triple_kills_indirect_refs_NL,
                        &triple_kills_indirect_NKV,  &triple_kills_indirect_NS_maybe, &triple_kills_indirect_NS_yes,
                        &triple_kills_indirect_ICON};
  for (BITVEC** c : classes) *c = mkBITVEC(n, 0);
  errno_triple = -1;
  for (int i = 0; i < n; ++i) {
    const TRIPLE& t = table[i];
    if (!t.lvalue || !t.dep) continue;
    const LVALUE_DESC& d = t.desc;
    const SYMTAB* o = d.object;
    if (o && errno_symbol && o == errno_symbol) errno_triple = i;
    if (o && (o->lex_level == 0 || o->sclass == SC_STATIC)) {
      or_into(triple_kills_global_vars, t.dep);
    } else if (o && symbol_is_aliased(o)) {
      or_into(triple_kills_aliased_vars, t.dep);
      if (o->type && o->type->is_scalar()) or_into(triple_kills_aliased_scalars, t.dep);
    }
    if (!o) {
      or_into(triple_kills_indirect_refs, t.dep);
      bool local_base = d.base_var && d.base_var->lex_level >= 1 && d.base_var->sclass != SC_STATIC;
      if (!local_base) or_into(triple_kills_indirect_refs_NL, t.dep);
      if (d.absolute) or_into(triple_kills_indirect_ICON, t.dep);
      // A store of an aggregate through a pointer may overlap any place
      // reached through a pointer, and does overlap the ones of its base.
      or_into(triple_kills_indirect_NS_maybe, t.dep);
    } else if (!d.direct && !symbol_is_aliased(o) && o->lex_level >= 1) {
      or_into(triple_kills_indirect_NKV, t.dep);
    }
  }
  or_into(triple_kills_indirect_NS_maybe, triple_kills_aliased_vars);
  or_into(triple_kills_indirect_NS_maybe, triple_kills_global_vars);
  // What the assertions of the function read.
  std::function<void(NODE*)> asserts = [&](NODE* t) {
    if (!t) return;
    if ((t->op == ASSERT || t->op == NASSERT) && t->left) {
      std::vector<int> reads;
      for (int i = 0; i < n; ++i)
        if (table[i].lvalue && table[i].dep) {
          // An assertion reads the lvalues of its operand.
          std::function<bool(NODE*)> names = [&](NODE* x) -> bool {
            x = skip_dupes(x);
            if (!x) return false;
            if (is_lvalue_op(x->op) && congruent(x, table[i].tree)) return true;
            return names(x->left) || (number_of_operands[x->op] >= 2 && names(x->right));
          };
          if (names(t->left)) or_into(triple_kills_ASSERTs, table[i].dep);
        }
    }
  };
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) asserts(l->tree);
  all_memory_kill = mkBITVEC(n, 0);
  or_into(all_memory_kill, triple_kills_global_vars);
  or_into(all_memory_kill, triple_kills_aliased_vars);
  or_into(all_memory_kill, triple_kills_indirect_refs);
  everything = mkBITVEC(n, 0);
  for (int i = 0; i < n; ++i) everything->bv_add(i);
}

// Which library calls write nothing the function can see.
const BITVEC* call_kill(NODE* call, bool& may_stop) {
  may_stop = true;
  SYMTAB* f = call ? get_callee_for_call(call) : nullptr;
  FUNINFO* fi = f && f->name ? find_FUNINFO(skip_name_prefix(f->name)) : nullptr;
  if (!fi || function_is_defined(fi) || !(fi->flags & FUN_is_SYSTEM) || (fi->flags & FUN_never_returns))
    return all_memory_kill;
  uint32_t fl = fi->flags;
  static BITVEC* scratch = nullptr;
  if (scratch) erase_bitvec(scratch);
  scratch = mkBITVEC(n_triples(), 0);
  if (!(fl & FUN_no_global_asg)) or_into(scratch, triple_kills_global_vars);
  if (!(fl & FUN_no_ind_asg) || !(fl & FUN_no_byref_asg)) or_into(scratch, all_memory_kill);
  if (!(fl & FUN_is_pure_fun) && errno_symbol) {
    // It may set errno, which a pointer may reach too.
    if (errno_triple >= 0 && table[errno_triple].dep) or_into(scratch, table[errno_triple].dep);
    or_into(scratch, triple_kills_indirect_refs);
  }
  may_stop = !(fl & FUN_is_pure_fun);
  return scratch;
}

// ---- The walks -----------------------------------------------------------------------

enum WALK_MODE { NUMBERING, MARKING };

struct WALK {
  explicit WALK(WALK_MODE m) : mode(m) {}
  WALK_MODE mode;
  bool keep_holders = false;
  // Marking state of one block.
  BLOCK_CSE* blk = nullptr;
  BITVEC* avail = nullptr;
  BITVEC* altered = nullptr;
  BITVEC* antloc = nullptr;
  BITVEC* occurs = nullptr;
  BITVEC* seen = nullptr;
  BITVEC* stmt_kills = nullptr;
  std::vector<NODE*> current_orig;
  bool call_seen = false;
  bool occurrences = true;  // false in the argument prolog

  void kill(const BITVEC* k) {
    if (mode != MARKING || !k) return;
    for (int w = 0; w < avail->nwords; ++w) {
      uint32_t x = w < k->nwords ? k->words[w] : 0;
      avail->words[w] &= ~x;
      altered->words[w] |= x;
      stmt_kills->words[w] |= x;
    }
  }

  void store(NODE* lv) {
    lv = skip_dupes(lv);
    if (!lv) return;
    if (!is_lvalue_op(lv->op)) {
      kill(all_memory_kill);
      return;
    }
    if (mode == NUMBERING) {
      int id = intern(lv);
      table[id].store_target = true;
      return;
    }
    int id = lookup(lv, tree_hash(lv));
    kill(id >= 0 ? kill_of(id) : all_memory_kill);
  }

  void occurrence(NODE** slot, bool cond) {
    NODE* t = *slot;
    if (!t) return;
    if (mode == NUMBERING) {
      if (is_lvalue_op(t->op) || good_CSE_tree(t, false)) intern(t);
      return;
    }
    int id = lookup(t, tree_hash(t));
    if (id < 0) return;
    occurs->bv_add(id);
    if (!occurrences || !table[id].candidate) return;
    if (avail->bv_test(id) && current_orig[id] && !contains_orig(t)) {
      NODE* dupe = maketree(CSE_DUPE, current_orig[id], nullptr, t->type, t->scope);
      dupe->value = INT65(id);
      *slot = dupe;
      erase_tree(t);
      return;
    }
    if (cond) return;
    NODE* orig = maketree(CSE_ORIG, t, nullptr, t->type, t->scope);
    orig->value = INT65(id);
    *slot = orig;
    current_orig[id] = orig;
    avail->bv_add(id);
    if (!seen->bv_test(id)) {
      seen->bv_add(id);
      if (!altered->bv_test(id) && (!call_seen || triple_BENIGN->bv_test(id))) {
        antloc->bv_add(id);
        if (keep_holders) blk->first_orig.emplace_back(id, orig);
      }
    }
  }

  static bool contains_orig(const NODE* t) {
    for (; t; t = t->right) {
      if (t->op == CSE_ORIG) return true;
      if (t->op == CSE_DUPE) return false;
      if (contains_orig(t->left)) return true;
    }
    return false;
  }

  void call(NODE* t) {
    if (mode != MARKING) return;
    bool may_stop = true;
    const BITVEC* k = call_kill(t, may_stop);
    kill(k);
    if (may_stop) call_seen = true;
  }

  // The address parts of an lvalue, which are values; not the lvalue.
  void address(NODE** slot, bool cond) {
    NODE* lv = *slot;
    if (!lv) return;
    switch (lv->op) {
      case NAME: return;
      case STDOT: address(&lv->left, cond); return;
      case UMULT:
      case STREF: value(&lv->left, cond); return;
      default: value(slot, cond); return;
    }
  }

  void args(NODE** slot, bool cond) {
    NODE* a = *slot;
    if (!a) return;
    if (a->op == COMMA) {
      args(&a->left, cond);
      args(&a->right, cond);
      return;
    }
    value(slot, cond);
  }

  void value(NODE** slot, bool cond) {
    NODE* t = *slot;
    if (!t) return;
    switch (t->op) {
      case CSE_ORIG:
      case CSE_DUPE:
        return;
      case ICON: case FCON: case SCON: case LCON: case LABEL: case FIELD:
        return;
      case NAME:
        occurrence(slot, cond);
        return;
      case UMULT:
      case STREF:
        value(&t->left, cond);
        occurrence(slot, cond);
        return;
      case STDOT:
        address(&t->left, cond);
        occurrence(slot, cond);
        return;
      case UAND:
      case ARGREF:
        address(&t->left, cond);
        occurrence(slot, cond);
        return;
      case ASG:
      case STASG:
      case ARASG:
        address(&t->left, cond);
        value(&t->right, cond);
        store(t->left);
        return;
      case PLUSPLUS:
      case MINMIN:
        address(&t->left, cond);
        if (mode == NUMBERING) intern(skip_dupes(t->left));  // it is read as well
        value(&t->right, cond);
        store(t->left);
        return;
      case CALL:
      case UCALL:
        value(&t->left, cond);
        if (t->op == CALL) args(&t->right, cond);
        call(t);
        return;
      case ICALL:
      case MCALL:
      case UICALL:
      case UMCALL:
        if (t->op == ICALL || t->op == MCALL) args(&t->left, cond);
        if (!is_pure_intrinsic(static_cast<const char*>(t->sym))) call(nullptr);
        return;
      case QUEST:
        value(&t->left, cond);
        if (t->right && t->right->op == COLON) {
          value(&t->right->left, true);
          value(&t->right->right, true);
        }
        return;
      case ANDAND:
      case OROR:
        value(&t->left, cond);
        value(&t->right, true);
        return;
      case COMMAOP:
      case COMMA:
      case PCOMMA:
        value(&t->left, cond);
        value(&t->right, cond);
        return;
      case MEMCPY:
        value(&t->left, cond);
        kill(all_memory_kill);
        call_seen = call_seen || mode == MARKING;
        return;
      case ASM:
        kill(everything);
        call_seen = call_seen || mode == MARKING;
        return;
      case ASSERT:
      case NASSERT:
        return;  // facts, not evaluated
      default:
        if (op_of_opASG[t->op] != 255) {
          address(&t->left, cond);
          if (mode == NUMBERING) intern(skip_dupes(t->left));
          value(&t->right, cond);
          store(t->left);
          return;
        }
        if (number_of_operands[t->op] >= 1) value(&t->left, cond);
        if (number_of_operands[t->op] >= 2) value(&t->right, cond);
        occurrence(slot, cond);
        return;
    }
  }

  void statement(NODE** slot) {
    NODE* t = *slot;
    if (!t) return;
    occurrences = !tree_is_arg_prolog(t);
    switch (t->op) {
      case IF:
      case SWITCH:
      case CBRANCH:
        value(&t->left, false);
        break;
      case RETURN:
        value(&t->right, false);
        break;
      case URETURN: case BRANCH: case LABELDEF: case PPRAGMA: case SKIP: case NOP: case ASSERT: case NASSERT:
        break;
      default:
        value(slot, false);
        break;
    }
    occurrences = true;
  }
};

// Blocks from which no path leaves the function: a program that runs into
// them never ends, and nothing may fail there that would not have.
std::vector<bool> blocks_reaching_exit() {
  std::vector<bool> reach(cfg.bb_count + 1, false);
  std::vector<BBLK*> work;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (!b->successors) {
      reach[b->dfn] = true;
      work.push_back(b);
    }
  while (!work.empty()) {
    BBLK* b = work.back();
    work.pop_back();
    for (EDGE* e = b->predecessors; e; e = e->next)
      if (e->bb->dfn > 0 && e->bb->dfn <= cfg.bb_count && !reach[e->bb->dfn]) {
        reach[e->bb->dfn] = true;
        work.push_back(e->bb);
      }
  }
  return reach;
}

BITVEC** new_block_array() {
  BITVEC** a = new BITVEC*[cfg.bb_count + 1]();
  for (int i = 0; i <= cfg.bb_count; ++i) a[i] = new_set();
  return a;
}

void free_block_array(BITVEC**& a, int count) {
  if (!a) return;
  for (int i = 0; i <= count; ++i) erase_bitvec(a[i]);
  delete[] a;
  a = nullptr;
}

int arrays_count = 0;

}  // namespace

// ---- Building and freeing ------------------------------------------------------------

bool triples_exist() { return built; }

void free_triples() {
  for (TRIPLE& t : table) {
    erase_tree(t.tree);
    erase_bitvec(t.dep);
    erase_bitvec(t.alias_row);
    erase_bitvec(t.kill);
  }
  table.clear();
  by_hash.clear();
  tree_index.clear();
  temp_index.clear();
  lvalues_by_object.clear();
  lvalues_unknown.clear();
  lvalues_reachable.clear();
  unique_triples = nullptr;
  unique_triple_temp = nullptr;
  unique_triple_count = 0;
  for (BITVEC** v : {&triple_TRIVIAL, &triple_BENIGN, &triple_CONSTANT, &triple_LVALUE, &triple_kills_global_vars,
                     &triple_kills_aliased_vars, &triple_kills_aliased_scalars, &triple_kills_ASSERTs,
                     &triple_kills_indirect_refs, &triple_kills_indirect_refs_NL, &triple_kills_indirect_NKV,
                     &triple_kills_indirect_NS_maybe, &triple_kills_indirect_NS_yes, &triple_kills_indirect_ICON,
                     &all_memory_kill, &everything}) {
    erase_bitvec(*v);
    *v = nullptr;
  }
  for (BITVEC*** a : {&triple_ANTLOC, &triple_AVLOC, &triple_ALTERED, &triple_OCCURS, &triple_ANTIN, &triple_ANTOUT,
                      &triple_AVIN, &triple_AVOUT, &triple_PAVIN, &triple_PAVOUT})
    free_block_array(*a, arrays_count);
  for (BLOCK_CSE& b : block_cse) {
    erase_bitvec(b.antblock);
    erase_bitvec(b.noinsert);
  }
  block_cse.clear();
  errno_triple = -1;
  arrays_count = 0;
  built = false;
}

bool build_triples(bool for_global) {
  free_triples();
  if (!currfuninfo || !cfg.bb_list) return false;
  init_aliasing_info();  // renumbers the blocks
  mark_aliased_vector_and_complex_symbols(true, true);

  WALK numbering(NUMBERING);
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    for (LIST* l = b->statements; l; l = l->next) numbering.statement(&l->tree);

  int n = n_triples();
  int w = temp_write_cost(), r = temp_read_cost();
  bool any = false;
  for (int i = 0; i < n; ++i) {
    TRIPLE& t = table[i];
    bool good = good_CSE_tree(t.tree, false);
    t.candidate = good && cse_cost(t.tree) > w + r;
    any = any || t.candidate;
  }
  if (!any) {
    free_triples();  // nothing per triple stays
    return false;
  }
  built = true;
  dprintf(" Building triples_alias_table\n");
  triple_TRIVIAL = mkBITVEC(n, 0);
  triple_BENIGN = mkBITVEC(n, 0);
  triple_CONSTANT = mkBITVEC(n, 0);
  triple_LVALUE = mkBITVEC(n, 0);
  for (int i = 0; i < n; ++i) {
    TRIPLE& t = table[i];
    if (!t.candidate) triple_TRIVIAL->bv_add(i);
    if (tree_is_benign(t.tree)) triple_BENIGN->bv_add(i);
    if (t.reads.empty()) triple_CONSTANT->bv_add(i);
    if (t.lvalue) {
      triple_LVALUE->bv_add(i);
      t.dep = mkBITVEC(n, 0);
    }
  }
  for (int i = 0; i < n; ++i)
    for (int x : table[i].reads) table[x].dep->bv_add(i);
  bucket_lvalues();
  // The rows every store needs, made once.
  for (int i = 0; i < n; ++i)
    if (table[i].store_target) kill_of(i);
  build_kill_classes();
  tree_index.clear();
  for (TRIPLE& t : table) tree_index.push_back(t.tree);
  temp_index.assign(n, nullptr);
  unique_triples = tree_index.data();
  unique_triple_temp = temp_index.data();
  unique_triple_count = n;

  arrays_count = cfg.bb_count;
  triple_ANTLOC = new_block_array();
  triple_AVLOC = new_block_array();
  triple_ALTERED = new_block_array();
  triple_OCCURS = new_block_array();
  block_cse.assign(cfg.bb_count + 1, BLOCK_CSE());
  std::vector<bool> reach = blocks_reaching_exit();

  WALK marking(MARKING);
  marking.keep_holders = for_global;
  marking.current_orig.assign(n, nullptr);
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
    BLOCK_CSE& blk = block_cse[b->dfn];
    blk.bb = b;
    marking.blk = &blk;
    marking.avail = new_set();
    marking.altered = triple_ALTERED[b->dfn];
    marking.antloc = triple_ANTLOC[b->dfn];
    marking.occurs = triple_OCCURS[b->dfn];
    marking.seen = new_set();
    marking.stmt_kills = new_set();
    marking.call_seen = false;
    std::fill(marking.current_orig.begin(), marking.current_orig.end(), nullptr);
    for (LIST* l = b->statements; l; l = l->next) {
      marking.stmt_kills->bv_clear();
      marking.statement(&l->tree);
    }
    // What the ending transfer alters can't be computed before it.
    blk.noinsert = marking.stmt_kills;
    BITVEC* avloc = triple_AVLOC[b->dfn];
    *avloc = *marking.avail;
    if (for_global)
      for (int i = 0; i < n; ++i)
        if (avloc->bv_test(i) && marking.current_orig[i]) blk.last_orig.emplace_back(i, marking.current_orig[i]);
    blk.has_call = marking.call_seen;
    blk.antblock = new_set();
    *blk.antblock = *triple_ALTERED[b->dfn];
    if (blk.has_call || !reach[b->dfn])
      for (int wd = 0; wd < blk.antblock->nwords; ++wd) blk.antblock->words[wd] |= ~triple_BENIGN->words[wd];
    blk.antblock->bv_resize(n);  // no stray bits above the count
    erase_bitvec(marking.avail);
    erase_bitvec(marking.seen);
  }
  return true;
}

// ---- Queries ------------------------------------------------------------------------------

const BITVEC* triple_alias_row(int l) {
  if (l < 0 || l >= n_triples() || !table[l].lvalue) return nullptr;
  if (!table[l].alias_row) build_alias_row(l);
  return table[l].alias_row;
}

void kill_aliases_of_lvalue(int triple, BITVEC* result) {
  if (!result || triple < 0 || triple >= n_triples()) return;
  if (result->nbits < n_triples()) result->bv_resize(n_triples());
  result->bv_add(triple);
  or_into(result, triple_alias_row(triple));
}

const BITVEC* triples_killed_by_store(int l) {
  if (l < 0 || l >= n_triples() || !table[l].lvalue) return all_memory_kill;
  return kill_of(l);
}

int find_triple(NODE* tree) {
  tree = skip_dupes(tree);
  if (!tree || !built) return -1;
  return lookup(tree, tree_hash(tree));
}

SYMTAB* triple_temp(int i) {
  if (i < 0 || i >= n_triples()) return nullptr;
  if (!temp_index[i]) {
    NODE* t = table[i].tree;
    temp_index[i] = sym_temp('C', -1, t->type, nullptr);
  }
  return temp_index[i];
}

NODE* copy_triple_tree(int i) { return i < 0 || i >= n_triples() ? nullptr : copy_tree(table[i].tree, false); }

void mark_altered_triples(NODE* stmt, BITVEC* result) {
  if (!built || !stmt || !result) return;
  WALK w(MARKING);
  w.current_orig.assign(n_triples(), nullptr);
  BITVEC* scratch = new_set();
  BITVEC* scratch2 = new_set();
  w.avail = scratch;
  w.altered = result;
  w.stmt_kills = scratch2;
  w.antloc = scratch2;
  w.occurs = scratch2;
  w.seen = scratch2;
  w.occurrences = false;
  // A walk on a copy: the statement keeps its marks as they are.
  NODE* copy = copy_tree_without_dupes(stmt);
  BLOCK_CSE dummy;
  w.blk = &dummy;
  w.statement(&copy);
  erase_tree(copy);
  erase_bitvec(scratch);
  erase_bitvec(scratch2);
}

bool tree_is_unaltered(NODE* tree, BITVEC* altered, int flag) {
  if (!built || !altered) return true;
  int id = find_triple(tree);
  if (id < 0) return false;
  if (flag && altered->bv_test(id)) return false;
  for (int x : table[id].reads)
    if (altered->bv_test(x)) return false;
  return true;
}

const char* triple_set_text(const BITVEC* set) {
  static std::string text;
  text = "[";
  bool first = true;
  for (int i = 0; set && i < set->nbits && i < n_triples(); ++i) {
    if (!set->bv_test(i)) continue;
    if (!first) text += ", ";
    first = false;
    text += std::to_string(i) + " " + tree2infix(table[i].tree, false);
  }
  text += "]";
  return text.c_str();
}

void dump_altered() {
  if (!print_debug || !built) return;
  for (BBLK* b = cfg.bb_list; b; b = b->dflink)
    if (b->dfn <= arrays_count) dprintf("   ALTERED[%d]:\t%s\n", b->dfn, triple_set_text(triple_ALTERED[b->dfn]));
}
