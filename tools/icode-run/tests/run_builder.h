// Programs built in memory the way the icode reader delivers them, and run
// on a fresh machine: for the tests and the benchmark.
#pragma once
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_machine.h"
#include "tools/icode-run/run_program.h"
#include "tools/icode-run/run_thread.h"

struct MEMBER_SPEC {
  const char* name;
  TYPE* type;
  uint32_t offset;     // bits
  uint32_t width = 0;  // non-zero: a bit-field
};

struct RUN_RESULT {
  int status = -1;    // exit status, or the error's status
  std::string out;    // the program's output
  std::string error;  // the error text, empty when none
  RUN_STATS stats;
};

class RUN_BUILDER {
 public:
  RUN_BUILDER() {
    if (!tp) {
      tp = new TYPE_PKG();
      tp->init_type_pkg();
    }
    if_node_table_init();
    lex = 1;
  }
  ~RUN_BUILDER() {
    lex = 0;
    zfree_all();
  }
  RUN_BUILDER(const RUN_BUILDER&) = delete;
  RUN_BUILDER& operator=(const RUN_BUILDER&) = delete;

  // ---- Types.
  TYPE* bt(int b) { return tp->basic[b]; }
  TYPE* t_int() { return bt(TYPE_PKG::BT_INT); }
  TYPE* t_uint() { return bt(TYPE_PKG::BT_UINT); }
  TYPE* t_short() { return bt(TYPE_PKG::BT_SHORT); }
  TYPE* t_ushort() { return bt(TYPE_PKG::BT_USHORT); }
  TYPE* t_char() { return bt(TYPE_PKG::BT_CHAR); }
  TYPE* t_long() { return bt(TYPE_PKG::BT_LONG); }
  TYPE* t_float() { return bt(TYPE_PKG::BT_FLOAT); }
  TYPE* t_double() { return bt(TYPE_PKG::BT_DOUBLE); }
  TYPE* t_bool() { return bt(TYPE_PKG::BT_BOOL); }
  TYPE* t_void() { return bt(TYPE_PKG::BT_VOID); }
  TYPE* ptr(TYPE* t) { return tp->mk_ptr(t); }
  TYPE* array(TYPE* e, uint32_t n) { return tp->mk_array(e, n, e->size * n, e->align, false, true); }
  TYPE* fn_type(TYPE* ret) { return tp->mk_func(ret, false, false, false, TYPE::CC_DEFAULT, 0, 0); }
  TYPE* const_of(TYPE* t) { return tp->mk_qual(t, TYPE::Q_CONST); }
  TYPE* struct_type(const char* tag, uint32_t bits, std::initializer_list<MEMBER_SPEC> members) {
    TYPE* s = tp->mk_struct(tag, bits, 16);
    CSU_RECORD* r = s->getr_csu();
    r->complete = true;
    r->has_list[LK_MDATA] = true;
    uint32_t id = 0;
    for (const MEMBER_SPEC& m : members) {
      auto* md = tp_new<fkMDATA>();
      md->member_id = ++id;
      md->name = m.name;
      md->type = m.type;
      md->offset = static_cast<int32_t>(m.offset);
      md->width = m.width ? m.width : m.type->size;
      md->is_bitfield = m.width != 0;
      tp_append(r->mdata, md);
    }
    return s;
  }
  fkMDATA* member(TYPE* s, const char* name) {
    for (fkMDATA* m = s->getr_csu()->mdata; m; m = m->next)
      if (m->name == name) return m;
    fprintf(stderr, "no member %s\n", name);
    abort();
    return nullptr;
  }

  // ---- Symbols and functions.
  SYMTAB* sym(const char* name, TYPE* type, int sclass, int level) {
    SYMTAB* s = new (zalloc0(1, sizeof(SYMTAB))) SYMTAB();
    s->name = zstrdup(1, name);
    s->type = s->decl_type = type;
    s->size = static_cast<int32_t>(type->size);
    s->sclass = s->orig_sclass = static_cast<uint8_t>(sclass);
    s->lex_level = static_cast<uint8_t>(level);
    return s;
  }
  SYMTAB* global(const char* name, TYPE* type, int sclass = SC_EXTDEF) {
    SYMTAB* s = sym(name, type, sclass, 0);
    prog.globals.push_back(s);
    return s;
  }
  // A function symbol without body: the library's when it has the name.
  SYMTAB* extern_fn(const char* name, TYPE* ret) { return global(name, fn_type(ret), SC_EXTREF); }
  RUN_FUNCTION* func(const char* name, TYPE* ret) {
    auto* f = new RUN_FUNCTION;
    f->sym = global(name, fn_type(ret));
    prog.functions.emplace_back(f);
    return f;
  }
  // A parameter and its local copy, with the argument prolog statement.
  SYMTAB* param(RUN_FUNCTION* f, const char* name, TYPE* type, int local_class = SC_LOCAL) {
    SYMTAB* p = sym(name, type, SC_PARAM, 1);
    SYMTAB* l = sym(name, type, local_class, 2);
    f->params.push_back(p);
    f->locals.push_back(l);
    prolog.push_back({f, asg(N(l), N(p))});
    return l;
  }
  SYMTAB* local(RUN_FUNCTION* f, const char* name, TYPE* type, int sclass = SC_LOCAL) {
    SYMTAB* s = sym(name, type, sclass, 2);
    f->locals.push_back(s);
    return s;
  }
  // Puts each function's argument prolog first: call once the parameters
  // are made and before the body.
  void begin_body(RUN_FUNCTION* f) {
    NODE* all = nullptr;
    for (auto& p : prolog)
      if (p.first == f) all = all ? op(PCOMMA, t_void(), all, p.second) : p.second;
    if (all) E(f, all);
  }

  // ---- Trees.
  NODE* N(SYMTAB* s) { return mk_NAME(s, nullptr); }
  NODE* I(long long v, TYPE* t = nullptr) { return mk_ICON(INT65(v), t ? t : t_int()); }
  NODE* F(const char* text, TYPE* t = nullptr) {
    NODE* n = new_node(FCON, t ? t : t_float());
    n->mk_fcon(text);
    return n;
  }
  NODE* S(const char* text) {
    uint32_t len = static_cast<uint32_t>(strlen(text));
    NODE* n = new_node(SCON, array(t_char(), len + 1));
    n->mk_scon(text, len);
    return n;
  }
  NODE* op(int o, TYPE* t, NODE* l, NODE* r = nullptr) { return maketree(o, l, r, t, nullptr); }
  NODE* asg(NODE* l, NODE* r) { return maketree(ASG, l, r, l->type, nullptr); }
  NODE* addr(NODE* lv) { return op(UAND, ptr(lv->type), lv); }
  // Array decay: the address of the first element.
  NODE* decay(NODE* arr) { return op(UAND, ptr(arr->type->elem_type()), arr); }
  NODE* str(const char* text) { return op(UAND, ptr(t_char()), S(text)); }
  NODE* deref(NODE* p) { return op(UMULT, p->type->type_pointed_to(), p); }
  NODE* conv(NODE* x, TYPE* t) { return op(t->is_pointer() ? PCONV : SCONV, t, x); }
  NODE* field(TYPE* s, const char* name) {
    fkMDATA* m = member(s, name);
    NODE* n = new_node(FIELD, m->type);
    n->mval = m;
    n->sym = s;
    return n;
  }
  NODE* dot(NODE* s, const char* name) { return op(STDOT, member(s->type, name)->type, s, field(s->type, name)); }
  NODE* arrow(NODE* p, const char* name) {
    TYPE* s = p->type->type_pointed_to();
    return op(STREF, member(s, name)->type, p, field(s, name));
  }
  // a[i] for an array lvalue a and an int index.
  NODE* index(NODE* arr, NODE* i) {
    TYPE* e = arr->type->elem_type();
    NODE* scaled = e->size == 16 ? i : op(MULT, t_int(), i, I(e->size / 16));
    return deref(op(PLUS, ptr(e), decay(arr), scaled));
  }
  NODE* call(SYMTAB* f, TYPE* ret, std::initializer_list<NODE*> args, int nvar = 0) {
    NODE* fn = op(UAND, ptr(f->type), N(f));
    if (args.size() == 0) return op(UCALL, ret, fn);
    NODE* list = nullptr;
    for (NODE* a : args) list = list ? op(COMMA, t_void(), list, a) : a;
    NODE* c = op(CALL, ret, fn, list);
    c->value = INT65(nvar);
    return c;
  }
  NODE* call(RUN_FUNCTION* f, TYPE* ret, std::initializer_list<NODE*> args, int nvar = 0) {
    return call(f->sym, ret, args, nvar);
  }
  // printf(fmt, args...): the arguments after the format are variable.
  NODE* print(const char* fmt, std::initializer_list<NODE*> args = {}) {
    if (!printf_sym) printf_sym = extern_fn("printf", t_int());
    NODE* list = str(fmt);
    for (NODE* a : args) list = op(COMMA, t_void(), list, a);
    NODE* c = op(CALL, t_int(), op(UAND, ptr(printf_sym->type), N(printf_sym)), list);
    c->value = INT65(static_cast<long long>(args.size()));
    return c;
  }
  NODE* label(uint32_t n) { return mk_LABELREF(static_cast<int>(n), nullptr); }
  NODE* ret(RUN_FUNCTION* f, NODE* e) {
    TYPE* t = (f->sym->type->rep)->getr_func()->result;
    return e ? op(RETURN, t, N(f->sym), e) : op(URETURN, t_void(), N(f->sym));
  }
  void E(RUN_FUNCTION* f, NODE* t) { f->body.push_back(RUN_STMT{t, 0, nullptr}); }
  void L(RUN_FUNCTION* f, uint32_t n) { f->body.push_back(RUN_STMT{nullptr, n, nullptr}); }
  void goto_(RUN_FUNCTION* f, uint32_t n) { E(f, op(BRANCH, t_void(), label(n))); }
  void if_goto(RUN_FUNCTION* f, NODE* cond, uint32_t n) { E(f, op(CBRANCH, t_void(), cond, label(n))); }

  // main() { body...; return 0 }: the common shape of a test.
  RUN_FUNCTION* main_fn() {
    if (!main_) main_ = func("main", t_int());
    return main_;
  }

  // An initialiser: the trees in address order, ENDINIT added.
  void init(SYMTAB* s, std::initializer_list<NODE*> trees) {
    auto* list = new (zalloc0(1, sizeof(EXPR_LIST))) EXPR_LIST();
    auto add = [list](NODE* t) {
      auto* e = new (zalloc0(1, sizeof(EXPR_ELEM))) EXPR_ELEM();
      e->tree = t;
      if (list->tail) list->tail->next = e;
      else list->head = e;
      list->tail = e;
    };
    for (NODE* t : trees) add(t);
    add(new_node(ENDINIT, t_void()));
    s->init = list;
  }
  NODE* skip(uint32_t bits) {
    NODE* n = new_node(SKIP, t_void());
    n->mk_skip(bits);
    return n;
  }
  // The variable-argument conventions: ap = __va_start(), and va_arg(ap, T)
  // as the front end expands it, *(T*)((ap += units) - units).
  NODE* va_start_() {
    NODE* n = new_node(UICALL, ptr(t_char()));
    n->mk_icall("__va_start");
    return n;
  }
  NODE* va_arg_(SYMTAB* ap, TYPE* t) {
    long long units = t->size / 16;
    NODE* bumped = op(MINUS, ap->type, op(PLUSASG, ap->type, N(ap), I(units)), I(units));
    return deref(op(PCONV, ptr(t), bumped));
  }
  NODE* intrinsic(int o, const char* name, TYPE* t, NODE* args = nullptr) {
    NODE* n = maketree(o, args, nullptr, t, nullptr);
    n->mk_icall(name);
    return n;
  }

  // Starts a new program in the same test.
  void reset() {
    prog = RUN_PROGRAM();
    prolog.clear();
    printf_sym = nullptr;
    main_ = nullptr;
  }

  RUN_RESULT run(RUN_OPTIONS opts = RUN_OPTIONS(), std::vector<std::string> args = {"prog"}) {
    opts.out = nullptr;
    RUN_RESULT r;
    run_with_stack(RUN_STACK_BYTES, [&] {
      RUN_MACHINE m(opts);
      try {
        m.load(prog);
        r.status = m.run_main(args);
      } catch (const RUN_ERROR& e) {
        r.error = e.text;
        r.status = e.status;
      }
      r.out = m.output();
      r.stats = m.stats();
    });
    return r;
  }

  RUN_PROGRAM prog;
  std::vector<std::pair<RUN_FUNCTION*, NODE*>> prolog;
  SYMTAB* printf_sym = nullptr;
  RUN_FUNCTION* main_ = nullptr;
};
