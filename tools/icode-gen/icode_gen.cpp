// icode-gen: writes synthetic icode files of a chosen size, for benchmarks
// and as seeds for fuzzing. The functions are well formed (symbols, labels,
// two-way branches, returns) but compute nothing in particular.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"

namespace {

struct Options {
  long functions = 100;
  long nodes = 200;  // operator nodes per function, roughly
  unsigned seed = 1;
  const char* out = nullptr;
};

[[noreturn]] void usage() {
  fprintf(stderr, "usage: icode-gen [--functions N] [--nodes N] [--seed N] -o FILE\n");
  exit(1);
}

SYMTAB* new_symbol(const char* name, TYPE* type, int sclass, int level) {
  SYMTAB* s = new (zalloc0(level, sizeof(SYMTAB))) SYMTAB();
  s->name = zstrdup(level, name);
  s->type = s->decl_type = type;
  s->size = static_cast<int32_t>(type->size);
  s->align = static_cast<int32_t>(type->align);
  s->sclass = s->orig_sclass = static_cast<uint8_t>(sclass);
  s->lex_level = static_cast<uint8_t>(level);
  return s;
}

class Generator {
 public:
  Generator(I_FILE* out, unsigned seed) : out_(out), rng_(seed) {
    int_ = tp->basic[TYPE_PKG::BT_INT];
    void_ = tp->basic[TYPE_PKG::BT_VOID];
    func_ = tp->mk_func(int_, false, false, false, 0, 0, 0);
    TYPE* f = func_;
    tp->type_frozen(f);
    func_ = f;
  }

  void globals(long count) {
    for (long i = 0; i < count; ++i) {
      std::string name = "g" + std::to_string(i);
      SYMTAB* g = new_symbol(name.c_str(), int_, SC_EXTDEF, 0);
      out_->if_enter_global(g);
      globals_.push_back(g);
    }
  }

  void function(long index, long nodes) {
    std::string name = index == 0 ? "main" : "f" + std::to_string(index);
    SYMTAB* f = new_symbol(name.c_str(), func_, SC_EXTDEF, 0);
    out_->if_enter_global(f);
    PSN* psn = nullptr;
    out_->if_write_begin_func(f, psn);
    lex = 1;
    SYMTAB* p = new_symbol("p", int_, SC_PARAM, 1);
    out_->if_enter_local(p);
    out_->if_write_symbol(p);
    out_->if_write_end_args(psn);
    lex = 2;
    locals_.clear();
    for (int i = 0; i < 4; ++i) {
      std::string n = "v" + std::to_string(i);
      SYMTAB* v = new_symbol(n.c_str(), int_, SC_LOCAL, 2);
      out_->if_enter_local(v);
      out_->if_write_symbol(v);
      locals_.push_back(v);
    }
    out_->if_write_end_locals(psn);
    long written = 0;
    uint32_t label = 1;
    while (written < nodes) {
      long budget = 1 + static_cast<long>(rng_() % 24);
      NODE* value = expr(budget);
      NODE* target = mk_NAME(locals_[rng_() % locals_.size()], nullptr);
      out_->if_write_expr(mk_ASG(target, value), psn);
      written += budget + 2;
      if (rng_() % 5 == 0) {
        // if (v) goto L; v = v + 1; L:
        NODE* cond = mk_NAME(locals_[rng_() % locals_.size()], nullptr);
        out_->if_write_expr(maketree(CBRANCH, cond, mk_LABELREF(static_cast<int>(label), nullptr), void_, nullptr),
                            psn);
        SYMTAB* v = locals_[rng_() % locals_.size()];
        out_->if_write_expr(
            mk_ASG(mk_NAME(v, nullptr), maketree(PLUS, mk_NAME(v, nullptr), mk_ICON(INT65(1), int_), int_, nullptr)),
            psn);
        out_->if_write_label(label++);
        written += 8;
      }
    }
    NODE* ret = maketree(RETURN, mk_NAME(f, nullptr), mk_NAME(locals_[0], nullptr), int_, nullptr);
    out_->if_write_expr(ret, psn);
    out_->if_write_end_func(psn);
    lex = 0;
    zfree_all();
  }

 private:
  NODE* leaf() {
    switch (rng_() % 3) {
      case 0: return mk_ICON(INT65(static_cast<long long>(rng_() % 1000)), int_);
      case 1: return mk_NAME(locals_[rng_() % locals_.size()], nullptr);
      default: return mk_NAME(globals_[rng_() % globals_.size()], nullptr);
    }
  }

  NODE* expr(long budget) {
    if (budget <= 1) return leaf();
    static const int ops[] = {PLUS, MINUS, MULT, ANDB, ORB, XORB, SLL, LT, EQ};
    int op = ops[rng_() % (sizeof ops / sizeof ops[0])];
    long left = (budget - 1) / 2;
    return maketree(op, expr(left), expr(budget - 1 - left), int_, nullptr);
  }

  I_FILE* out_;
  std::mt19937 rng_;
  TYPE* int_;
  TYPE* void_;
  TYPE* func_;
  std::vector<SYMTAB*> globals_;
  std::vector<SYMTAB*> locals_;
};

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    auto next = [&]() -> const char* {
      if (i + 1 >= argc) usage();
      return argv[++i];
    };
    if (!strcmp(argv[i], "--functions")) o.functions = atol(next());
    else if (!strcmp(argv[i], "--nodes")) o.nodes = atol(next());
    else if (!strcmp(argv[i], "--seed")) o.seed = static_cast<unsigned>(atol(next()));
    else if (!strcmp(argv[i], "-o")) o.out = next();
    else usage();
  }
  if (!o.out || o.functions < 1 || o.nodes < 1) usage();
  FILE* f = fopen(o.out, "wb");
  if (!f) {
    perror(o.out);
    return 1;
  }
  if_node_table_init();
  tp = new TYPE_PKG();
  tp->init_type_pkg();
  icode_cpu_id = ICODE_CPU_ID;
  I_FILE* out = I_FILE::if_create(f, tp, "generated.c");
  Generator g(out, o.seed);
  g.globals(16);
  for (long i = 0; i < o.functions; ++i) g.function(i, o.nodes);
  return out->if_close(true, false) == 0 ? 0 : 1;
}
