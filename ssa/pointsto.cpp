// Points-to bindings: what the pointer variables of the current function may
// point to. A variable is tracked when nothing but its own assignments can
// change it: a local or parameter of pointer type whose address never
// escapes and that is not volatile. Its binding changes only where it is
// assigned, so a forward pass over the blocks finds it at every block entry,
// and the join of every value it is given is its binding anywhere.
#include "ssa/pointsto.h"

#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <unordered_map>

#include "driver/globals.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/simp.h"
#include "ssa/alias.h"
#include "ssa/lvalue_desc.h"

namespace {

// More targets than this and a binding is anything.
constexpr size_t kMaxTargets = 12;

int64_t gcd64(int64_t a, int64_t b) {
  a = a < 0 ? -a : a;
  b = b < 0 ? -b : b;
  while (b) {
    int64_t t = a % b;
    a = b;
    b = t;
  }
  return a;
}

// offset + n * stride in a canonical form: 0 <= offset < stride when the
// stride is not 0.
void normalize(PT_TARGET& t) {
  if (t.stride < 0) t.stride = -t.stride;
  if (t.stride > 0) {
    t.offset %= t.stride;
    if (t.offset < 0) t.offset += t.stride;
  }
}

bool is_pointer_type(const TYPE* t) {
  const TYPE* r = t && t->rep ? t->rep : t;
  return r && r->is_pointer();
}

uint32_t category_of(const SYMTAB* s, bool param) {
  if (param) return PT_AUTOF;
  if (!s) return PT_ADCON;
  if (s->lex_level == 1) return PT_AUTOF;
  if (s->lex_level >= 2 && s->sclass != SC_STATIC) return PT_AUTOL;
  switch (s->sclass) {
    case SC_STATIC: return symbol_has_pragma(s, 51) ? PT_STATICL : PT_STATICF;
    case SC_EXTREF: return PT_EXTERN;
    default: return PT_STATICG;
  }
}

// A variable of this call: no pointer that existed at entry reaches it.
bool is_frame_variable(const SYMTAB* s) {
  return s && s->lex_level >= 1 && s->sclass != SC_STATIC && s->sclass != SC_EXTDEF && s->sclass != SC_EXTREF;
}

const char* const kCategoryOn[] = {"+NULL", "+ADCON", "+SCON", "+HEAP", "+AUTOF",
                                   "+AUTOL", "+STATICF", "+STATICL", "+STATICG", "+EXTERN"};
const char* const kCategoryOff[] = {"-null", "-adcon", "-scon", "-heap", "-autoF",
                                    "-autoL", "-staticF", "-staticL", "-staticG", "-extern"};

// ---- The state of the current function ----------------------------------------

struct PT_STATE {
  bool valid = false;
  std::vector<SYMTAB*> vars;                      // tracked pointers
  std::unordered_map<const SYMTAB*, int> index;   // symbol -> place in vars
  std::vector<std::vector<PTENV>> in, out;        // by block dfn
  std::vector<PTENV> summary;                     // by var
  std::unordered_map<const BBLK*, int> dfn_of;    // the numbering of the run
};
PT_STATE pt;

int tracked(const SYMTAB* s) {
  auto it = pt.index.find(s);
  return it == pt.index.end() ? -1 : it->second;
}

bool is_heap_source(NODE* call) {
  if (!call || (call->op != CALL && call->op != UCALL)) return false;
  SYMTAB* f = get_callee_for_call(call);
  if (!f || !f->name) return false;
  const char* name = skip_name_prefix(f->name);
  if (strcmp(name, "malloc") != 0 && strcmp(name, "calloc") != 0) return false;
  FUNINFO* fi = find_FUNINFO(name);
  return !fi || !function_is_defined(fi);
}

bool assigns_tracked(NODE* t) {
  for (; t; t = t->right) {
    if (t->op == CSE_DUPE) return false;
    if ((t->op == ASG || t->op == PLUSPLUS || t->op == MINMIN || op_of_opASG[t->op] != 255) && t->left &&
        t->left->op == NAME && tracked(t->left->name_symbol()) >= 0)
      return true;
    if (assigns_tracked(t->left)) return true;
  }
  return false;
}

PTENV binding_of_target(SYMTAB* object, const LVALUE_DESC& d) {
  PTENV e;
  PT_TARGET t;
  t.sym = object;
  t.offset = d.offset_bits / kBitsPerUnit;
  t.stride = d.index.empty() ? 0 : 1;
  if (d.offset_bits % kBitsPerUnit) t.stride = 1;
  normalize(t);
  e.targets.push_back(t);
  e.categories = category_of(object, false);
  return e;
}

// The binding of a pointer value; `state` gives the tracked variables'.
PTENV value_binding(NODE* p, const std::vector<PTENV>* state) {
  p = strip_transparent_marks(p);
  if (!p) return PTENV::bottom();
  switch (p->op) {
    case QUEST:
      if (p->right && p->right->op == COLON) {
        PTENV a = value_binding(p->right->left, state);
        a.join(value_binding(p->right->right, state));
        return a;
      }
      return PTENV::bottom();
    case COMMAOP:
      return value_binding(p->right, state);
    case ASG:
      return value_binding(p->right, state);
    case CALL:
    case UCALL:
      if (is_heap_source(p)) {
        PTENV e;
        e.categories = PT_HEAP;
        return e;
      }
      return PTENV::bottom();
    case PCONV:
    case ISP2CHAR:
      if (p->left && p->left->op == ICON) {
        PTENV e;
        e.categories = p->left->value == INT65(0) ? PT_NULL : PT_ADCON;
        return e;
      }
      break;
    case ICON: {
      PTENV e;
      e.categories = p->value == INT65(0) ? PT_NULL : PT_ADCON;
      return e;
    }
    default:
      break;
  }
  LVALUE_DESC d;
  describe_address(p, d);
  if (d.object) return binding_of_target(d.object, d);
  if (d.absolute) return PTENV::bottom();
  if (d.base && (d.base->op == UAND || d.base->op == ARGREF) && d.base->left && d.base->left->op == SCON) {
    PTENV e;
    e.categories = PT_SCON;
    return e;
  }
  int v = d.base_var ? tracked(d.base_var) : -1;
  if (v < 0) return PTENV::bottom();
  PTENV e = state ? (*state)[v] : pt.summary[v];
  if (e.all) return e;
  if (!d.index.empty() || d.offset_bits % kBitsPerUnit) e.shift_unknown();
  else e.shift(d.offset_bits / kBitsPerUnit);
  return e;
}

// Applies the assignments to tracked variables in a tree, in the order
// they run. `calls` sees each call with the state at the call.
void transfer(NODE* t, std::vector<PTENV>& state, const std::function<void(NODE*, std::vector<PTENV>&)>* calls) {
  for (; t; t = t->right) {
    if (t->op == CSE_DUPE) return;
    bool store = t->op == ASG || t->op == PLUSPLUS || t->op == MINMIN || op_of_opASG[t->op] != 255;
    int v = store && t->left && t->left->op == NAME ? tracked(t->left->name_symbol()) : -1;
    if (v >= 0) {
      NODE* rhs = t->right;
      PTENV value;
      if (t->op == ASG) {
        value = assigns_tracked(rhs) ? PTENV::bottom() : value_binding(rhs, &state);
      } else if ((t->op == PLUSPLUS || t->op == PLUSASG || t->op == MINMIN || t->op == MINUSASG) && rhs &&
                 rhs->op == ICON) {
        value = state[v];
        int64_t k = rhs->value.as_int64();
        bool down = t->op == MINMIN || t->op == MINUSASG;
        if (!value.all) value.shift(down ? -k : k);
      } else {
        value = PTENV::bottom();
      }
      transfer(rhs, state, calls);
      state[v] = value;
      return;
    }
    if (t->op == QUEST && t->right && t->right->op == COLON) {
      transfer(t->left, state, calls);
      std::vector<PTENV> other = state;
      transfer(t->right->left, state, calls);
      transfer(t->right->right, other, calls);
      for (size_t i = 0; i < state.size(); ++i) state[i].join(other[i]);
      return;
    }
    if (t->op == ANDAND || t->op == OROR) {
      transfer(t->left, state, calls);
      std::vector<PTENV> skipped = state;
      transfer(t->right, state, calls);
      for (size_t i = 0; i < state.size(); ++i) state[i].join(skipped[i]);
      return;
    }
    if (t->op == IF || t->op == SWITCH) {
      transfer(t->left, state, calls);
      return;
    }
    if ((t->op == CALL || t->op == UCALL) && calls) {
      transfer(t->left, state, calls);
      if (t->op == CALL) transfer(t->right, state, calls);
      (*calls)(t, state);
      return;
    }
    if (number_of_operands[t->op] == 0) return;
    transfer(t->left, state, calls);
    if (number_of_operands[t->op] < 2) return;
  }
}

std::vector<PTENV> entry_state() {
  std::vector<PTENV> s(pt.vars.size());
  for (size_t i = 0; i < pt.vars.size(); ++i) {
    SYMTAB* v = pt.vars[i];
    if (v->lex_level == 1) {
      PT_TARGET t;
      t.sym = v;
      t.param = true;
      s[i].targets.push_back(t);
      s[i].categories = PT_AUTOF;
    }
    // A local starts unassigned: reading it is an error of the program, so
    // it adds nothing.
  }
  return s;
}

void collect_tracked(SYMTAB* chain) {
  for (SYMTAB* s = chain; s; s = s->next) {
    if (!is_pointer_type(s->type) || symbol_is_aliased(s) || symbol_is_immutable(s)) continue;
    if (s->sclass == SC_STATIC || s->lex_level == 0) continue;
    pt.index[s] = static_cast<int>(pt.vars.size());
    pt.vars.push_back(s);
  }
}

void print_bindings(const std::vector<PTENV>& state) {
  bool any = false;
  for (size_t i = 0; i < state.size(); ++i) {
    if (state[i].empty()) continue;
    any = true;
    fprintf(fdebug, "\t%s (level %d):\n", pt.vars[i]->name ? pt.vars[i]->name : "?", pt.vars[i]->lex_level);
    dump_ptr_PT_binding(&state[i]);
  }
  if (!any) fprintf(fdebug, "\t<NO POINTS-TO BINDINGS>\n");
}

std::vector<std::unique_ptr<FPARM>> fparms;

// Calls of functions of this file pass their pointer arguments' bindings
// on to the callee's parameters.
void push_to_callees(NODE* call, std::vector<PTENV>& state) {
  SYMTAB* f = get_callee_for_call(call);
  if (!f || !f->name || call->op != CALL) return;
  FUNINFO* callee = find_FUNINFO(skip_name_prefix(f->name));
  if (!callee || !function_is_defined(callee)) return;
  std::vector<NODE*> args;
  std::function<void(NODE*)> gather = [&](NODE* a) {
    if (a && a->op == COMMA) {
      gather(a->left);
      gather(a->right);
    } else if (a) {
      args.push_back(a);
    }
  };
  gather(call->right);
  for (size_t i = 0; i < args.size(); ++i) {
    if (!is_pointer_type(args[i]->type)) continue;
    AARG actual;
    actual.tree = args[i];
    actual.binding = value_binding(args[i], &state);
    actual.caller = currfuninfo;
    meet_FPARM_with_PT_info(find_or_make_FPARM(callee, static_cast<int>(i)), &actual);
  }
}

}  // namespace

// ---- PTENV ------------------------------------------------------------------------

PTENV PTENV::bottom() {
  PTENV e;
  e.all = true;
  return e;
}

bool PTENV::operator==(const PTENV& o) const {
  if (all != o.all || categories != o.categories || targets.size() != o.targets.size()) return false;
  for (size_t i = 0; i < targets.size(); ++i) {
    const PT_TARGET& a = targets[i];
    const PT_TARGET& b = o.targets[i];
    if (a.sym != b.sym || a.param != b.param || a.offset != b.offset || a.stride != b.stride) return false;
  }
  return true;
}

bool PTENV::join(const PTENV& o) {
  if (all) return false;
  if (o.all) {
    *this = bottom();
    return true;
  }
  bool changed = (categories | o.categories) != categories;
  categories |= o.categories;
  for (const PT_TARGET& t : o.targets) {
    bool merged = false;
    for (PT_TARGET& m : targets) {
      if (m.sym != t.sym || m.param != t.param) continue;
      merged = true;
      int64_t g = gcd64(gcd64(m.stride, t.stride), m.offset - t.offset);
      if (g != m.stride) {
        m.stride = g;
        normalize(m);
        changed = true;
      }
      break;
    }
    if (!merged) {
      targets.push_back(t);
      changed = true;
    }
  }
  if (targets.size() > kMaxTargets) {
    *this = bottom();
    return true;
  }
  return changed;
}

void PTENV::shift(int64_t units) {
  for (PT_TARGET& t : targets) {
    t.offset += units;
    normalize(t);
  }
  if (units != 0 && (categories & PT_NULL)) {
    // Null moved is no object either; the access through it is an error.
    categories &= ~static_cast<uint32_t>(PT_NULL);
    categories |= PT_ADCON;
  }
}

void PTENV::shift_unknown() {
  for (PT_TARGET& t : targets) {
    t.offset = 0;
    t.stride = 1;
  }
  if (categories & PT_NULL) {
    categories &= ~static_cast<uint32_t>(PT_NULL);
    categories |= PT_ADCON;
  }
}

int64_t overall_PT_align(const PTENV* env) {
  if (!env || env->all || env->targets.empty()) return 0;
  int64_t align = 0;
  for (const PT_TARGET& t : env->targets) {
    int64_t a = t.sym && !t.param && t.sym->align > 0 ? t.sym->align : kBitsPerUnit;
    int64_t place = gcd64(t.offset * kBitsPerUnit, t.stride * kBitsPerUnit);
    if (place) a = gcd64(a, place);
    align = align ? gcd64(align, a) : a;
  }
  return align;
}

void dump_ptr_PT_binding(const PTENV* env) {
  if (!fdebug) return;
  if (!env || env->all) {
    fprintf(fdebug, "*ALL*\n");
    return;
  }
  if (env->empty()) {
    fprintf(fdebug, "\t<NO POINTS-TO BINDINGS>\n");
    return;
  }
  uint32_t cats = env->categories;
  for (const PT_TARGET& t : env->targets) cats |= category_of(t.sym, t.param);
  fprintf(fdebug, "\t\tCATEGORIES: ");
  for (int i = 0; i < 10; ++i) fprintf(fdebug, "%s%s", i ? " " : "", (cats >> i) & 1 ? kCategoryOn[i] : kCategoryOff[i]);
  fprintf(fdebug, "\n");
  fprintf(fdebug, "\t\tALIGNMENT:  %ld (bits)\n", static_cast<long>(overall_PT_align(env)));
  for (const PT_TARGET& t : env->targets) {
    const char* name = t.sym && t.sym->name ? t.sym->name : "?";
    if (t.param)
      fprintf(fdebug, "\t\tPARAMETER VALUE: (1,%d) %s  offset=%ld, stride=%ld\n", t.sym ? t.sym->serial : 0, name,
              static_cast<long>(t.offset), static_cast<long>(t.stride));
    else
      fprintf(fdebug, "\t\tVARIABLE:   Offset=%ld (bytes), stride=%ld (bytes), align=%ld (bits)  %s\n",
              static_cast<long>(t.offset), static_cast<long>(t.stride),
              static_cast<long>(t.sym && t.sym->align > 0 ? t.sym->align : kBitsPerUnit), name);
  }
}

SYMTAB* single_pointsto_target_if_known(const PTENV* env) {
  if (!env || env->all || env->targets.size() != 1 || env->targets[0].param) return nullptr;
  if (env->categories & ~static_cast<uint32_t>(PT_NULL | PT_AUTOF | PT_AUTOL | PT_STATICF | PT_STATICL |
                                               PT_STATICG | PT_EXTERN))
    return nullptr;
  return env->targets[0].sym;
}

SYMTAB* single_pointsto_target_if_known(SYMTAB* pointer) {
  return single_pointsto_target_if_known(pointer_PT_summary(pointer));
}

// ---- The analysis ----------------------------------------------------------------

void clear_PT_vectors() {
  pt.valid = false;
  pt.in.clear();
  pt.out.clear();
  pt.summary.clear();
  pt.vars.clear();
  pt.index.clear();
  pt.dfn_of.clear();
}

void propagate_PT_info() {
  if (print_debug) dprintf("\n\n\t\t\t---------- ENTERING 'propagate_PT_info' -------\n");
  renumber_bblocks();  // clears the vectors as well
  if (!currfuninfo || !cfg.bb_list) return;
  collect_tracked(currfuninfo->params);
  collect_tracked(currfuninfo->symbols);
  collect_tracked(currfuninfo->temps);
  int nblocks = cfg.bb_count;
  pt.in.assign(nblocks + 1, std::vector<PTENV>(pt.vars.size()));
  pt.out.assign(nblocks + 1, std::vector<PTENV>(pt.vars.size()));
  for (BBLK* b = cfg.bb_list; b; b = b->dflink) pt.dfn_of[b] = b->dfn;
  if (!pt.vars.empty()) {
    std::vector<PTENV> entry = entry_state();
    int rounds = 0;
    bool changed = true;
    while (changed) {
      changed = false;
      ++rounds;
      for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
        std::vector<PTENV> state = b == cfg.bb_list ? entry : std::vector<PTENV>(pt.vars.size());
        for (EDGE* e = b->predecessors; e; e = e->next)
          if (e->bb->dfn > 0 && e->bb->dfn <= nblocks)
            for (size_t i = 0; i < state.size(); ++i) state[i].join(pt.out[e->bb->dfn][i]);
        pt.in[b->dfn] = state;
        for (LIST* l = b->statements; l; l = l->next) transfer(l->tree, state, nullptr);
        if (!(state == pt.out[b->dfn])) {
          pt.out[b->dfn] = std::move(state);
          changed = true;
        }
      }
    }
    dprintf("\n\t\t%d+1 iterations needed for FW pass #%d convergence.\n", rounds - 1, 1);
    // Anywhere: the entry values and every value assigned.
    pt.summary = entry;
    std::function<void(NODE*, std::vector<PTENV>&)> calls = [](NODE* call, std::vector<PTENV>& state) {
      push_to_callees(call, state);
    };
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      std::vector<PTENV> state = pt.in[b->dfn];
      for (size_t i = 0; i < state.size(); ++i) pt.summary[i].join(state[i]);
      for (LIST* l = b->statements; l; l = l->next) {
        transfer(l->tree, state, &calls);
        for (size_t i = 0; i < state.size(); ++i) pt.summary[i].join(state[i]);
      }
    }
  }
  pt.valid = true;
  // The full dump on the deeper debug level or on request.
  if (print_debug && fdebug && (print_debug > 1 || pass_debug("alias"))) {
    fprintf(fdebug, "\n\n\t\t\tPoints-to data for %s()\n", currfunc && currfunc->name ? currfunc->name : "?");
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) {
      fprintf(fdebug, "\n  IN[%d]\n", b->dfn);
      print_bindings(pt.in[b->dfn]);
      fprintf(fdebug, "\n  OUT[%d]\n", b->dfn);
      print_bindings(pt.out[b->dfn]);
    }
  }
}

const PTENV* pointer_PT_summary(const SYMTAB* pointer) {
  if (!pt.valid) return nullptr;
  int v = tracked(pointer);
  return v < 0 ? nullptr : &pt.summary[v];
}

const PTENV* PT_binding_at_entry(const SYMTAB* pointer, const BBLK* bb) {
  if (!pt.valid || !bb) return nullptr;
  int v = tracked(pointer);
  auto it = pt.dfn_of.find(bb);
  if (v < 0 || it == pt.dfn_of.end()) return nullptr;
  return &pt.in[it->second][v];
}

PTENV PT_binding_of_value(NODE* pointer) {
  if (!pt.valid) return PTENV::bottom();
  return value_binding(pointer, nullptr);
}

namespace {

// Some place o1 + n*s1 + [0, size1) meets some place o2 + m*s2 + [0, size2)
// (bits; a size of -1 is unknown).
bool places_meet(int64_t o1, int64_t s1, int64_t size1, int64_t o2, int64_t s2, int64_t size2) {
  if (size1 < 0 || size2 < 0) return true;
  int64_t g = gcd64(s1, s2);
  int64_t d = o1 - o2;  // the places differ by d + k*g
  if (g == 0) return d < size2 && -d < size1;
  // The differences d + k*g: is one of them in (-size1, size2)?
  int64_t r = ((d % g) + g) % g;  // 0 <= r < g
  int64_t k = (r + size1 + g - 1) / g - 1;  // the most steps down that stay above -size1
  return r - k * g < size2;
}

bool targets_meet(const PT_TARGET& a, int64_t size_a, const PT_TARGET& b, int64_t size_b) {
  if (a.param != b.param) {
    const PT_TARGET& var = a.param ? b : a;
    // A parameter's value existed before this call's variables did.
    return !is_frame_variable(var.sym);
  }
  if (a.sym != b.sym) {
    if (a.param) return true;  // two parameters may hold one address
    // Two variables are apart unless their group marks pair them.
    uint8_t ma = a.sym ? a.sym->alias_marks : 0, mb = b.sym ? b.sym->alias_marks : 0;
    return ((ma & ALIAS_GROUP_A) && (mb & ALIAS_GROUP_B)) || ((ma & ALIAS_GROUP_B) && (mb & ALIAS_GROUP_A));
  }
  return places_meet(a.offset * kBitsPerUnit, a.stride * kBitsPerUnit, size_a, b.offset * kBitsPerUnit,
                     b.stride * kBitsPerUnit, size_b);
}

}  // namespace

bool PT_bindings_may_overlap(const PTENV& a, int64_t size_a, const PTENV& b, int64_t size_b) {
  if (a.all || b.all) return true;
  // An absolute address may be inside anything.
  if ((a.categories | b.categories) & PT_ADCON) return true;
  bool a_param = false, b_param = false;
  for (const PT_TARGET& t : a.targets) a_param = a_param || t.param;
  for (const PT_TARGET& t : b.targets) b_param = b_param || t.param;
  // Literals and heap blocks are objects of their own; a parameter's value
  // may be a literal but no block allocated after entry.
  if ((a.categories & PT_SCON) && ((b.categories & PT_SCON) || b_param)) return true;
  if ((b.categories & PT_SCON) && a_param) return true;
  if ((a.categories & PT_HEAP) && (b.categories & PT_HEAP)) return true;
  for (const PT_TARGET& ta : a.targets)
    for (const PT_TARGET& tb : b.targets)
      if (targets_meet(ta, size_a, tb, size_b)) return true;
  return false;
}

bool UMULT_PT_targets_may_overlap(NODE* a, NODE* b) {
  LVALUE_DESC da, db;
  describe_lvalue(a, da);
  describe_lvalue(b, db);
  auto binding = [](const LVALUE_DESC& d) {
    if (d.object) return binding_of_target(d.object, d);
    int v = d.base_var && pt.valid ? tracked(d.base_var) : -1;
    if (v < 0) {
      if (d.base && (d.base->op == UAND || d.base->op == ARGREF) && d.base->left && d.base->left->op == SCON) {
        PTENV e;
        e.categories = PT_SCON;
        return e;
      }
      return PTENV::bottom();
    }
    PTENV e = pt.summary[v];
    if (e.all) return e;
    if (!d.index.empty()) e.shift_unknown();
    return e;
  };
  PTENV ea = binding(da), eb = binding(db);
  // The bindings give places at unit granularity; the access adds its own
  // bit offset within (offsets beyond a unit are in the binding already
  // when the base is an object).
  int64_t sa = da.size_bits, sb = db.size_bits;
  if (!da.object && da.index.empty()) {
    if (!ea.all) ea.shift(da.offset_bits / kBitsPerUnit);
    sa = sa < 0 ? -1 : sa + da.offset_bits % kBitsPerUnit;
  } else if (da.object) {
    sa = sa < 0 ? -1 : sa + da.offset_bits % kBitsPerUnit;
  }
  if (!db.object && db.index.empty()) {
    if (!eb.all) eb.shift(db.offset_bits / kBitsPerUnit);
    sb = sb < 0 ? -1 : sb + db.offset_bits % kBitsPerUnit;
  } else if (db.object) {
    sb = sb < 0 ? -1 : sb + db.offset_bits % kBitsPerUnit;
  }
  // Both sizes from the start of their unit: compare whole units.
  auto units = [](int64_t bits) { return bits < 0 ? -1 : ((bits + kBitsPerUnit - 1) / kBitsPerUnit) * kBitsPerUnit; };
  return PT_bindings_may_overlap(ea, units(sa), eb, units(sb));
}

// ---- Parameters of callees ---------------------------------------------------------

FPARM* find_or_make_FPARM(FUNINFO* callee, int index) {
  for (auto& f : fparms)
    if (f->callee == callee && f->index == index) return f.get();
  fparms.push_back(std::make_unique<FPARM>());
  FPARM* f = fparms.back().get();
  f->callee = callee;
  f->index = index;
  return f;
}

bool meet_FPARM_with_PT_info(FPARM* formal, AARG* actual) {
  if (!formal || !actual) return false;
  // What outlives the caller: the categories, and the targets that are
  // globals. The caller's own variables are only "some frame variable".
  PTENV kept;
  kept.all = actual->binding.all;
  kept.categories = actual->binding.categories;
  for (const PT_TARGET& t : actual->binding.targets) {
    if (t.param || is_frame_variable(t.sym)) kept.categories |= category_of(t.sym, t.param);
    else kept.targets.push_back(t);
  }
  if (kept.categories & (PT_AUTOF | PT_AUTOL)) kept = PTENV::bottom();
  bool changed = formal->calls_seen == 0 ? (formal->binding = kept, true) : formal->binding.join(kept);
  ++formal->calls_seen;
  if (print_debug && fdebug) {
    std::string arg = actual->tree ? tree2infix(actual->tree, false) : "?";
    NODE* base = actual->tree ? get_umult_base(actual->tree) : nullptr;
    (void)base;
    const char* callee = formal->callee && formal->callee->name ? formal->callee->name : "?";
    std::string parm = "#" + std::to_string(formal->index);
    fprintf(fdebug, "\n%s() is propagating points-to info\n\tfor parm %s", actual->caller && actual->caller->name
                                                                                 ? actual->caller->name
                                                                                 : "?",
            parm.c_str());
    fprintf(fdebug, " in aarg %s\n\tto parm %s of callee %s()\n", arg.c_str(), parm.c_str(), callee);
  }
  return changed;
}
