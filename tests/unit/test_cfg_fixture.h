// Functions built in memory for the flow-graph tests, and an evaluator that
// runs both the statement list (before blocks exist) and the flow graph, so
// that every rewrite can be checked against what the program computes.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
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
#include "scalar/dominator.h"
#include "scalar/simpcfg.h"

namespace cfgtest {

// What one run of the function did: the values passed to out(), and the
// value returned. `finished` is false when the step budget ran out.
struct RUN {
  std::vector<long> out;
  long result = 0;
  bool finished = false;
  bool operator==(const RUN& o) const { return finished == o.finished && out == o.out && result == o.result; }
};

inline std::string describe(const RUN& r) {
  std::string s = r.finished ? "returns " + std::to_string(r.result) : std::string("runs out of steps");
  s += " out:";
  for (long v : r.out) s += " " + std::to_string(v);
  return s;
}

class CfgTest : public testing::Test {
 public:
  TYPE* int_t = nullptr;
  TYPE* uint_t = nullptr;
  TYPE* void_t = nullptr;
  TYPE* bool_t = nullptr;
  SYMTAB* fn = nullptr;
  SYMTAB* out_fn = nullptr;
  FUNINFO* fi = nullptr;
  std::map<std::string, SYMTAB*> locals;
  std::map<std::string, SYMTAB*> params;
  std::vector<std::string> param_order;
  FILE* log = nullptr;

  void SetUp() override {
    if (!tp) {
      tp = new TYPE_PKG();
      tp->init_type_pkg();
    }
    if_node_table_init();
    init_opcode_tables();
    lex = 1;
    reset_global_flags();
    opt_level = 2;
    size_speed_goal = 3;
    fileinfo.stage = 2;
    int_t = tp->basic[TYPE_PKG::BT_INT];
    uint_t = tp->basic[TYPE_PKG::BT_UINT];
    void_t = tp->basic[TYPE_PKG::BT_VOID];
    bool_t = tp->basic[TYPE_PKG::BT_BOOL];
    static int serial = 0;
    std::string name = "cfgfn" + std::to_string(++serial);
    fn = global_symbol(name.c_str(), tp->mk_func(int_t, false, false, false, 0, 0, 0));
    // Symbols of level 0 live for the whole run: one out() for all tests.
    static SYMTAB* the_out = global_symbol("out", tp->mk_func(int_t, false, false, false, 0, 0, 0));
    out_fn = the_out;
    fi = make_FUNINFO(name.c_str());
    fi->sym = fn;
    fi->stmts = nullptr;
    fi->profile_mode = 0;
    currfunc = fn;
    currfuninfo = fi;
    log = tmpfile();
    fdebug = log;
    print_debug = 1;
    write_opt_info = 0;
    cfg_validate_always = true;
    simpcfg_gate_closed = false;
  }

  void TearDown() override {
    print_debug = 0;
    fdebug = nullptr;
    if (log) fclose(log);
    cfg_validate_always = false;
    erase_all();
    currfunc = nullptr;
    currfuninfo = nullptr;
    lex = 0;
  }

  // A new function in place of the current one, the flags left as they
  // are: for tests that make many functions in a loop.
  void fresh_function(const char* prefix) {
    print_debug = 0;
    erase_all();
    print_debug = 1;
    locals.clear();
    params.clear();
    param_order.clear();
    static int serial = 0;
    std::string name = prefix + std::to_string(++serial);
    fn = global_symbol(name.c_str(), tp->mk_func(int_t, false, false, false, 0, 0, 0));
    fi = make_FUNINFO(name.c_str());
    fi->sym = fn;
    fi->stmts = nullptr;
    currfunc = fn;
    currfuninfo = fi;
    fclose(log);
    log = tmpfile();
    fdebug = log;
  }

  // A new function in place of the current one, within one test.
  void reset() {
    TearDown();
    locals.clear();
    params.clear();
    param_order.clear();
    SetUp();
  }

  SYMTAB* global_symbol(const char* name, TYPE* type) {
    SYMTAB* s = new (zalloc0(0, sizeof(SYMTAB))) SYMTAB();
    s->name = zstrdup(0, name);
    s->type = s->decl_type = type;
    s->sclass = SC_EXTDEF;
    s->lex_level = 0;
    return s;
  }

  SYMTAB* var(const std::string& name, TYPE* type = nullptr) {
    auto it = locals.find(name);
    if (it != locals.end()) return it->second;
    SYMTAB* s = new (zalloc(sizeof(SYMTAB))) SYMTAB();
    s->name = zstrdup(1, name.c_str());
    s->type = s->decl_type = type ? type : int_t;
    s->size = static_cast<int32_t>(s->type->size);
    s->sclass = SC_LOCAL;
    s->lex_level = 2;
    locals[name] = s;
    return s;
  }

  // A parameter: its symbol of class 9 and the local the body uses.
  SYMTAB* param(const std::string& name, TYPE* type = nullptr) {
    SYMTAB* l = var(name, type);
    SYMTAB* p = new (zalloc(sizeof(SYMTAB))) SYMTAB();
    p->name = zstrdup(1, name.c_str());
    p->type = p->decl_type = l->type;
    p->sclass = SC_PARAM;
    p->lex_level = 1;
    params[name] = p;
    param_order.push_back(name);
    return l;
  }

  // ---- Trees ----
  NODE* n(const std::string& v) { return mk_NAME(var(v), nullptr); }
  NODE* k(long v, TYPE* t = nullptr) { return mk_ICON(INT65(v), t ? t : int_t); }
  NODE* op2(int op, NODE* a, NODE* b, TYPE* t = nullptr) { return maketree(op, a, b, t ? t : int_t, nullptr); }
  NODE* op1(int op, NODE* a, TYPE* t = nullptr) { return maketree(op, a, nullptr, t ? t : int_t, nullptr); }
  NODE* asg(const std::string& v, NODE* e) { return mk_ASG(n(v), e); }
  NODE* call_out(NODE* arg) {
    NODE* f = maketree(UAND, mk_NAME(out_fn, nullptr), nullptr, tp->mk_ptr(out_fn->type), nullptr);
    return maketree(CALL, f, arg, int_t, nullptr);
  }
  // A call of the function itself with the arguments in order.
  NODE* self_call(std::vector<NODE*> args) {
    NODE* f = maketree(UAND, mk_NAME(fn, nullptr), nullptr, tp->mk_ptr(fn->type), nullptr);
    if (args.empty()) return maketree(UCALL, f, nullptr, int_t, nullptr);
    NODE* a = args[0];
    for (size_t i = 1; i < args.size(); ++i) a = maketree(COMMA, a, args[i], void_t, nullptr);
    return maketree(CALL, f, a, int_t, nullptr);
  }

  // ---- Statements, in source order ----
  void stmt(NODE* t) { fi->stmts = mkelist(t, fi->stmts, nullptr); }
  void label(int l) { stmt(mk_LABELDEF(l)); }
  void go(int l) { stmt(mk_BRANCH_to_label(l)); }
  void cbranch(NODE* cond, int l) { stmt(maketree(CBRANCH, cond, mk_LABELREF(l, nullptr), void_t, nullptr)); }
  void ret(NODE* e) { stmt(maketree(RETURN, mk_NAME(fn, nullptr), e, int_t, nullptr)); }
  void uret() { stmt(maketree(URETURN, mk_NAME(fn, nullptr), nullptr, void_t, nullptr)); }
  void out(NODE* e) { stmt(call_out(e)); }
  // switch (e) { case v: goto l; ... } with the default given or not (-1).
  void switch_(NODE* e, const std::vector<std::pair<long, int>>& cases, int dflt) {
    NODE* list = dflt >= 0 ? maketree(DEFAULT, mk_LABELREF(dflt, nullptr), nullptr, void_t, nullptr) : nullptr;
    for (auto it = cases.rbegin(); it != cases.rend(); ++it) {
      NODE* c = maketree(CASE, mk_ICON(INT65(it->first), e->type), mk_LABELREF(it->second, nullptr), void_t, nullptr);
      list = list ? maketree(COMMA, c, list, void_t, nullptr) : c;
    }
    NODE* sw = maketree(SWITCH, e, list, void_t, nullptr);
    sw->value = INT65(static_cast<long>(cases.size()));
    stmt(sw);
  }
  // The argument prolog of the parameters declared so far.
  void prolog() {
    NODE* p = nullptr;
    for (const std::string& name : param_order) {
      NODE* a = mk_ASG(mk_NAME(locals[name], nullptr), mk_NAME(params[name], nullptr));
      p = p ? maketree(PCOMMA, p, a, void_t, nullptr) : a;
    }
    if (p) stmt(p);
  }

  // seq_trees and buildcfg, the graph checked.
  void build() {
    seq_trees();
    buildcfg();
    expect_valid("buildcfg");
  }

  void expect_valid(const char* after) {
    // Validation after each pass, by the passes themselves, found nothing.
    EXPECT_FALSE(log_has("CFG errors!!!")) << "after " << after << "\n" << log_text();
    validate_cfg();
    EXPECT_EQ(cfg_errors_uncorrected, 0) << "after " << after << "\n" << log_text();
    EXPECT_EQ(cfg_errors_corrected, 0) << "after " << after << "\n" << log_text();
  }

  std::string log_text() {
    fflush(log);
    long end = ftell(log);
    std::string s(static_cast<size_t>(end), '\0');
    rewind(log);
    size_t got = fread(&s[0], 1, s.size(), log);
    s.resize(got);
    fseek(log, 0, SEEK_END);
    return s;
  }
  bool log_has(const std::string& text) { return log_text().find(text) != std::string::npos; }
  int log_count(const std::string& text) {
    std::string s = log_text();
    int c = 0;
    for (size_t p = s.find(text); p != std::string::npos; p = s.find(text, p + 1)) ++c;
    return c;
  }

  // Runs the statement list on each input, then builds the graph, applies
  // `transform` and checks that the graph computes the same.
  void expect_same_runs(const std::vector<std::vector<long>>& inputs, const std::function<void()>& transform) {
    std::vector<RUN> before;
    for (const auto& in : inputs) before.push_back(run_list(in));
    build();
    transform();
    expect_valid("the transformation");
    for (size_t i = 0; i < inputs.size(); ++i) {
      RUN after = run_graph(inputs[i]);
      if (!before[i].finished) continue;
      EXPECT_EQ(after, before[i]) << "input #" << i << ": before " << describe(before[i]) << ", after "
                                  << describe(after) << "\n" << shape();
    }
  }

  // ---- The graph ----
  std::vector<BBLK*> blocks() {
    std::vector<BBLK*> v;
    for (BBLK* b = cfg.bb_list; b; b = b->dflink) v.push_back(b);
    return v;
  }
  // The block a source label ended up in.
  BBLK* block_of(int source_label) {
    LBL* l = find_label(source_label);
    return l ? l->bb : nullptr;
  }
  int count_ops(int op) {
    int c = 0;
    std::function<void(const NODE*)> walk = [&](const NODE* t) {
      for (; t; t = t->right) {
        if (t->op == op) ++c;
        walk(t->left);
      }
    };
    for (BBLK* b : blocks())
      for (LIST* l = b->statements; l; l = l->next) walk(l->tree);
    return c;
  }
  // Block shape as text: "1:ASG,IF>2,3 2:RETURN" with dfn numbers.
  std::string shape() {
    std::string s;
    for (BBLK* b : blocks()) {
      if (!s.empty()) s += " ";
      s += std::to_string(b->dfn) + ":";
      bool first = true;
      for (LIST* l = b->statements; l; l = l->next) {
        if (!first) s += ",";
        first = false;
        s += l->tree ? std::string(node_operator_name[l->tree->op] ? node_operator_name[l->tree->op] : "?") : "null";
      }
      if (b->successors) {
        s += ">";
        bool f2 = true;
        for (EDGE* e = sort_edge_list(copy_edge_list(b->successors)); e; e = e->next) {
          if (!f2) s += ",";
          f2 = false;
          s += std::to_string(e->bb->dfn);
        }
      }
    }
    return s;
  }

  // ---- Running the function ----
  // Runs the statement list as given (source order), before seq_trees.
  RUN run_list(const std::vector<long>& args, int budget = 4000) {
    std::vector<LIST*> cells;
    for (LIST* l = fi->stmts; l; l = l->next) cells.insert(cells.begin(), l);
    EVAL ev(this, args, budget);
    ev.run_list(cells);
    return ev.run;
  }
  RUN run_graph(const std::vector<long>& args, int budget = 40000) {
    EVAL ev(this, args, budget);
    ev.run_graph();
    return ev.run;
  }

  class EVAL {
   public:
    RUN run;
    EVAL(CfgTest* t, const std::vector<long>& args, int budget) : t_(t), budget_(budget) {
      frames_.push_back({});
      for (size_t i = 0; i < t->param_order.size() && i < args.size(); ++i)
        frames_.back()[t->params[t->param_order[i]]] = args[i];
    }

    void run_list(const std::vector<LIST*>& cells) {
      list_ = &cells;
      run.result = list_from(0);
      run.finished = !out_of_steps_;
    }
    void run_graph() {
      graph_ = true;
      run.result = graph_from(cfg.bb_list);
      run.finished = !out_of_steps_;
    }

   private:
    CfgTest* t_;
    int budget_;
    bool out_of_steps_ = false;
    bool graph_ = false;
    const std::vector<LIST*>* list_ = nullptr;
    std::vector<std::map<const SYMTAB*, long>> frames_;
    bool returned_ = false;

    bool step() {
      if (--budget_ < 0) out_of_steps_ = true;
      return !out_of_steps_;
    }

    static long wrap(long v, const TYPE* type) {
      const TYPE* r = type && type->rep ? type->rep : type;
      int bits = r ? static_cast<int>(r->size) : 32;
      if (bits <= 0 || bits > 32) bits = 32;
      unsigned long m = bits == 64 ? ~0UL : ((1UL << bits) - 1);
      unsigned long u = static_cast<unsigned long>(v) & m;
      bool is_unsigned = r && (r->is_unsigned() || r->is_bool());
      if (!is_unsigned && bits < 64 && (u >> (bits - 1)) & 1) return static_cast<long>(u | ~m);
      return static_cast<long>(u);
    }

    long& slot(const NODE* name) { return frames_.back()[name->name_symbol()]; }

    long eval(NODE* e) {
      if (!e || out_of_steps_) return 0;
      TYPE* ty = e->type;
      // Operands left to right, as the target evaluates them.
      auto bin = [&](long (*f)(long, long)) {
        long l = eval(e->left);
        long r = eval(e->right);
        return wrap(f(l, r), ty);
      };
      auto is_uns = [](const NODE* x) {
        const TYPE* r = x && x->type && x->type->rep ? x->type->rep : x ? x->type : nullptr;
        return r && (r->is_unsigned() || r->is_bool());
      };
      switch (e->op) {
        case ICON: return wrap(e->value.as_int64(), ty);
        case NAME: return slot(e);
        case ASG: {
          long v = wrap(eval(e->right), e->left->type);
          slot(e->left) = v;
          return v;
        }
        case PLUS: return bin([](long a, long b) { return a + b; });
        case MINUS: return bin([](long a, long b) { return a - b; });
        case MULT: return bin([](long a, long b) { return a * b; });
        case ANDB: return bin([](long a, long b) { return a & b; });
        case ORB: return bin([](long a, long b) { return a | b; });
        case XORB: return bin([](long a, long b) { return a ^ b; });
        case SLL: return bin([](long a, long b) { return static_cast<long>(static_cast<unsigned long>(a) << (b & 31)); });
        case SRL: {
          long a = eval(e->left), b = eval(e->right) & 31;
          if (is_uns(e->left)) return wrap(static_cast<long>(static_cast<unsigned long>(wrap(a, uint_of(e->left))) >> b), ty);
          return wrap(a >> b, ty);
        }
        case UMINUS: return wrap(-eval(e->left), ty);
        case NOTB: return wrap(~eval(e->left), ty);
        case EXCLAIM: return eval(e->left) == 0;
        case EQ: case NEQ: case LT: case LE: case GT: case GE:
        case ULT: case ULE: case UGT: case UGE: {
          long a = eval(e->left), b = eval(e->right);
          if (e->op >= ULE || is_uns(e->left)) {
            a = static_cast<long>(static_cast<unsigned long>(a) & 0xffffffffUL);
            b = static_cast<long>(static_cast<unsigned long>(b) & 0xffffffffUL);
          }
          switch (e->op) {
            case EQ: return a == b;
            case NEQ: return a != b;
            case LT: case ULT: return a < b;
            case LE: case ULE: return a <= b;
            case GT: case UGT: return a > b;
            default: return a >= b;
          }
        }
        case ANDAND: return eval(e->left) ? eval(e->right) != 0 : 0;
        case OROR: return eval(e->left) ? 1 : eval(e->right) != 0;
        case QUEST: return eval(e->left) ? eval(e->right->left) : eval(e->right->right);
        case COMMAOP: eval(e->left); return eval(e->right);
        case PCOMMA: eval(e->left); eval(e->right); return 0;
        case SCONV: return wrap(eval(e->left), ty);
        case PLUSPLUS: case MINMIN: {
          long old = slot(e->left);
          long d = eval(e->right);
          slot(e->left) = wrap(e->op == PLUSPLUS ? old + d : old - d, e->left->type);
          return old;
        }
        case ICALL: {
          // The strict conditional: both arms evaluated, one chosen.
          NODE* args = e->left;
          if (e->sym && std::string(static_cast<const char*>(e->sym)) == "__strict_ternary" && args &&
              args->op == COMMA && args->left && args->left->op == COMMA) {
            long c = eval(args->left->left), a = eval(args->left->right), b = eval(args->right);
            return c ? a : b;
          }
          ADD_FAILURE() << "intrinsic " << (e->sym ? static_cast<const char*>(e->sym) : "?");
          out_of_steps_ = true;
          return 0;
        }
        case CALL: case UCALL: {
          const NODE* f = e->left && e->left->op == UAND ? e->left->left : nullptr;
          const SYMTAB* s = f ? f->name_symbol() : nullptr;
          std::vector<long> args;
          collect_args(e->op == CALL ? e->right : nullptr, args);
          if (s == t_->out_fn) {
            long v = args.empty() ? 0 : args[0];
            run.out.push_back(v);
            return v;
          }
          if (s == t_->fn) return self_call(args);
          ADD_FAILURE() << "call of an unknown function";
          out_of_steps_ = true;
          return 0;
        }
        default:
          if (e->op > 0 && e->op < 256 && op_of_opASG[e->op] != 255) {
            long a = slot(e->left), b = eval(e->right), r = 0;
            switch (op_of_opASG[e->op]) {
              case PLUS: r = a + b; break;
              case MINUS: r = a - b; break;
              case MULT: r = a * b; break;
              case ANDB: r = a & b; break;
              case ORB: r = a | b; break;
              case XORB: r = a ^ b; break;
              case SLL: r = static_cast<long>(static_cast<unsigned long>(a) << (b & 31)); break;
              case SRL: r = a >> (b & 31); break;
              default: ADD_FAILURE() << "operator-assignment " << opname(e->op); break;
            }
            return slot(e->left) = wrap(r, e->left->type);
          }
          ADD_FAILURE() << "no evaluation for " << opname(e->op);
          out_of_steps_ = true;
          return 0;
      }
    }

    TYPE* uint_of(const NODE* x) { return x->type; }

    void collect_args(NODE* a, std::vector<long>& out) {
      if (!a) return;
      if (a->op == COMMA) {
        collect_args(a->left, out);
        collect_args(a->right, out);
        return;
      }
      out.push_back(eval(a));
    }

    long self_call(const std::vector<long>& args) {
      std::map<const SYMTAB*, long> frame;
      for (size_t i = 0; i < t_->param_order.size() && i < args.size(); ++i)
        frame[t_->params[t_->param_order[i]]] = args[i];
      frames_.push_back(frame);
      long r = graph_ ? graph_from(cfg.bb_list) : list_from(0);
      frames_.pop_back();
      return r;
    }

    int find_labeldef(long l) {
      for (size_t i = 0; i < list_->size(); ++i) {
        NODE* t = (*list_)[i]->tree;
        if (t && t->op == LABELDEF && t->value.as_int64() == l) return static_cast<int>(i);
      }
      ADD_FAILURE() << "no label " << l;
      out_of_steps_ = true;
      return static_cast<int>(list_->size());
    }

    // The statement list: fall-through between statements.
    long list_from(int pc) {
      while (pc < static_cast<int>(list_->size()) && step()) {
        NODE* t = (*list_)[pc]->tree;
        switch (t->op) {
          case LABELDEF: case ASM: case PPRAGMA: ++pc; break;
          case BRANCH: pc = find_labeldef(t->left->value.as_int64()); break;
          case CBRANCH: pc = eval(t->left) ? find_labeldef(t->right->value.as_int64()) : pc + 1; break;
          case RETURN: return eval(t->right);
          case URETURN: return 0;
          case SWITCH: {
            long v = eval(t->left);
            long target = -1, dflt = -1;
            switch_targets(t->right, v, t->left->type, target, dflt);
            if (target < 0) target = dflt;
            pc = target < 0 ? pc + 1 : find_labeldef(target);
            break;
          }
          default: eval(t); ++pc; break;
        }
      }
      return 0;
    }

    void switch_targets(NODE* c, long v, TYPE* ty, long& target, long& dflt) {
      if (!c) return;
      if (c->op == COMMA) {
        switch_targets(c->left, v, ty, target, dflt);
        switch_targets(c->right, v, ty, target, dflt);
      } else if (c->op == CASE) {
        if (target < 0 && wrap(c->left->value.as_int64(), ty) == v) target = label_value(c->right);
      } else if (c->op == DEFAULT) {
        dflt = label_value(c->left);
      }
    }
    long label_value(NODE* l) { return graph_ ? reinterpret_cast<long>(label_target(l)) : l->value.as_int64(); }

    long graph_from(BBLK* b) {
      while (b && step()) {
        BBLK* next = nullptr;
        for (LIST* l = b->statements; l && !out_of_steps_; l = l->next) {
          NODE* t = l->tree;
          if (!t) continue;
          switch (t->op) {
            case ASM: case PPRAGMA: break;
            case BRANCH: next = label_target(t->left); break;
            case IF: next = label_target(eval(t->left) ? t->right->left : t->right->right); break;
            case RETURN: return eval(t->right);
            case URETURN: return 0;
            case SWITCH: {
              long v = eval(t->left);
              long target = 0, dflt = 0;
              target = -1;
              switch_targets(t->right, v, t->left->type, target, dflt);
              next = reinterpret_cast<BBLK*>(target < 0 ? dflt : target);
              break;
            }
            default: eval(t); break;
          }
          if (next || !step()) break;
        }
        if (!next && !out_of_steps_) {
          ADD_FAILURE() << "block " << b->dfn << " has no transfer";
          out_of_steps_ = true;
        }
        b = next;
      }
      return 0;
    }
  };
};

}  // namespace cfgtest
