// icode-dis and icode-as: round trips over a file written by the icode
// writer with every record kind, over hand-written fixtures, the real
// reader on what the assembler writes, and the assembler's messages.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "driver/globals.h"
#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/type_pkg.h"
#include "tools/icode-text/itext.h"

namespace {

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::string temp_path(const std::string& name) {
  const char* dir = getenv("TMPDIR");
  return std::string(dir ? dir : "/tmp") + "/icode_text_" + std::to_string(getpid()) + "_" + name;
}

// The files of a test stay behind for a look when ICODE_TEXT_KEEP is set.
void drop(const std::string& path) {
  if (!getenv("ICODE_TEXT_KEEP")) remove(path.c_str());
}

// What the tests make for the writer or take from the reader lives as long
// as the process, as it does in the tools of the chain.
template <class T>
T* kept(T* p) {
  static std::vector<void*>* all = new std::vector<void*>;
  all->push_back(p);
  return p;
}

TYPE_PKG* package() {
  if (!tp) {
    tp = tp_new<TYPE_PKG>();
    tp->init_type_pkg();
  }
  return tp;
}

// ---------------------------------------------------------------------------
// A file with every record kind, written by the icode writer.

// Nodes of the generator's own class: the writer asks a node for its
// values through these calls, as it does for every tool of the chain.
struct GEN_NODE : NODE {
  std::string number_text;
  const char* fcon_value() override { return number_text.c_str(); }
  std::string lcon_value() const override { return number_text; }
};

NODE* nd(int op, TYPE* t, NODE* l = nullptr, NODE* r = nullptr) {
  GEN_NODE* n = kept(new GEN_NODE);
  n->op = op;
  n->type = t;
  n->left = l;
  n->right = r;
  return n;
}
NODE* icon(TYPE* t, long long v) {
  NODE* n = nd(ICON, t);
  n->value = INT65(v);
  return n;
}
NODE* name(SYMTAB* s) {
  NODE* n = nd(NAME, s->type);
  n->sym = s;
  return n;
}
NODE* label(int l) {
  NODE* n = nd(LABEL, tp->basic[TYPE_PKG::BT_INT]);
  n->value = INT65(l);
  return n;
}
NODE* text_node(int op, TYPE* t, const char* text) {
  GEN_NODE* n = static_cast<GEN_NODE*>(nd(op, t));
  n->number_text = text;
  return n;
}

PSN* at(const char* file, uint32_t line, uint32_t col) { return kept(new PSN{file, line, col}); }

SYMTAB* sym(const char* nm, TYPE* t, int sclass, PSN* psn = nullptr) {
  SYMTAB* s = kept(new SYMTAB);
  s->name = strdup(nm);
  s->type = s->decl_type = t;
  s->size = t && !t->is_func() ? static_cast<int32_t>(t->size) : 0;
  s->align = t && !t->is_func() ? static_cast<int32_t>(t->align ? t->align : 16) : 0;
  s->sclass = s->orig_sclass = static_cast<uint8_t>(sclass);
  s->psn = psn;
  return s;
}

PRAGMA* pragma(uint32_t id, std::vector<const char*> args) {
  PRAGMA* p = kept(new PRAGMA);
  p->id = id;
  p->argc = static_cast<uint32_t>(args.size());
  p->argv = new char*[args.size() + 1];
  for (size_t i = 0; i < args.size(); i++) p->argv[i] = strdup(args[i]);
  p->argv[args.size()] = nullptr;
  return p;
}

template <class E>
E* link(E*& head, E* e) {
  tp_append(head, e);
  return e;
}

void write_everything(const std::string& path) {
  package();
  if_node_table_init();  // the writer checks operand counts against it
  icode_cpu_id = ICODE_CPU_ID;
  TYPE* i = tp->basic[TYPE_PKG::BT_INT];
  TYPE* u = tp->basic[TYPE_PKG::BT_UINT];
  TYPE* c = tp->basic[TYPE_PKG::BT_CHAR];
  TYPE* ll = tp->basic[TYPE_PKG::BT_LLONG];
  TYPE* f = tp->basic[TYPE_PKG::BT_FLOAT];
  TYPE* v = tp->basic[TYPE_PKG::BT_VOID];
  TYPE* sc = tp->mk_int(TYPE::IK_CHAR, true);
  TYPE* pc = tp->mk_ptr(c);
  TYPE* cpc = tp->mk_ptr(tp->mk_qual(c, TYPE::Q_CONST));
  TYPE* ref = tp->mk_ref(i, 16, 16);
  TYPE* arr = tp->mk_array(i, 10, 320, 32, false, true);
  TYPE* carr = tp->mk_array(c, 4, 64, 16, false, true);
  TYPE* inc = tp->mk_array(i, 0, 0, 32, false, false);
  TYPE* vec = tp->mk_vector(i, 4, 128, 32);
  TYPE* td = tp->mk_typedef("myint", i, 32, 32, false, false);
  TYPE* fx = tp->mk_fxtpt(i, 15, true, 32, 32);
  TYPE* cx = tp->mk_complex(f, 64, 32);

  TYPE* color = tp->mk_enum("color", 32, 32, i, false);
  for (auto e : {std::make_pair("red", 0), std::make_pair("green", -1), std::make_pair("blue", 100)}) {
    fkETOR* et = link(color->getr_enum()->etors, new fkETOR);
    et->name = e.first;
    et->value = e.second;
  }
  color->getr_enum()->has_etors = true;
  tp->type_frozen(color);
  TYPE* flags = tp->mk_enum("flags", 32, 32, u, false);
  fkETOR* big = link(flags->getr_enum()->etors, new fkETOR);
  big->name = "big";
  big->value = 4000000000LL;
  big->psn = at("t.c", 2, 3);
  flags->getr_enum()->has_etors = true;
  tp->type_frozen(flags);

  TYPE* fmain = tp->mk_func(i, false, true, false, 0, 0, 0);
  fmain->getr_func()->has_params = true;
  tp->type_frozen(fmain);
  TYPE* fadd = tp->mk_func(i, false, true, false, 0, 0, 0);
  for (const char* pn : {"x", "y"}) {
    fkPARAM* p = link(fadd->getr_func()->params, new fkPARAM);
    p->type = i;
    p->name = pn;
  }
  fadd->getr_func()->has_params = true;
  tp->type_frozen(fadd);
  TYPE* fvar = tp->mk_func(i, true, true, false, 0, 0, 0);
  link(fvar->getr_func()->params, new fkPARAM)->type = cpc;
  fvar->getr_func()->has_params = true;
  tp->type_frozen(fvar);

  TYPE* s = tp->mk_struct("S", 64, 32);
  fkMDATA* ma = link(s->getr_csu()->mdata, new fkMDATA);
  ma->member_id = 0;
  ma->name = "a";
  ma->type = i;
  fkMDATA* mb = link(s->getr_csu()->mdata, new fkMDATA);
  mb->member_id = 1;
  mb->name = "b";
  mb->type = pc;
  mb->offset = 32;
  mb->psn = at("t.c", 4, 9);
  fkMDATA* mbf = link(s->getr_csu()->mdata, new fkMDATA);
  mbf->member_id = 2;
  mbf->name = "bits";
  mbf->type = u;
  mbf->offset = 48;
  mbf->width = 3;
  mbf->is_bitfield = true;
  mbf->field_type = 2;
  mbf->flag2 = true;
  s->getr_csu()->complete = true;
  s->getr_csu()->has_list[LK_MDATA] = true;
  s->psn = at("t.c", 3, 8);
  tp->type_frozen(s);

  TYPE* un = tp->mk_union("U", 32, 32);
  fkMDATA* ua = link(un->getr_csu()->mdata, new fkMDATA);
  ua->name = "i";
  ua->type = i;
  fkMDATA* uf = link(un->getr_csu()->mdata, new fkMDATA);
  uf->member_id = 1;
  uf->name = "f";
  uf->type = f;
  un->getr_csu()->complete = true;
  tp->type_frozen(un);

  // A class with every list of the long form.
  TYPE* k = tp->mk_class("K", 96, 32);
  CSU_RECORD* kr = k->getr_csu();
  kr->class_word = 7;
  kr->complete = true;
  kr->no_stack_sharing = true;
  k->is_cpp = true;
  fkBCLASS* base = link(kr->bclasses, new fkBCLASS);
  base->base = s;
  base->byte = 1;
  base->flag = true;
  link(kr->adecls, new fkADECL)->byte = 2;
  fkFFRIEND* ff = link(kr->ffriends, new fkFFRIEND);
  ff->name = "friend_f";
  ff->type = fadd;
  link(kr->cfriends, new fkTYPE_ELEM)->type = s;
  link(kr->ntypes, new fkTYPE_ELEM)->type = color;
  fkMDATA* kx = link(kr->mdata, new fkMDATA);
  kx->member_id = 5;
  kx->name = "x";
  kx->type = i;
  kx->offset = 64;
  fkSDATA* sd = link(kr->sdata, new fkSDATA);
  sd->name = "count";
  sd->type = i;
  fkMFUNC* mf = link(kr->mfuncs, new fkMFUNC);
  mf->name = "get";
  mf->type = fadd;
  mf->byte = 3;
  mf->offset = -4;
  mf->flags[1] = mf->flags[3] = true;
  fkPARAM* kp = link(kr->params, new fkPARAM);
  kp->type = i;
  kp->flag = true;
  kp->word = 9;
  kp->name = "T";
  for (int lk : {LK_BCLASS, LK_ADECL, LK_FFRIEND, LK_CFRIEND, LK_NTYPE, LK_MDATA, LK_SDATA, LK_MFUNC, LK_PARAM})
    kr->has_list[lk] = true;
  tp->type_frozen(k);
  TYPE* ptm = tp->mk_ptm(i, k, 32, 16);

  FILE* out_stream = fopen(path.c_str(), "wb");
  ASSERT_TRUE(out_stream);
  I_FILE* out = I_FILE::if_create(out_stream, tp, "t.c");
  const char* o0[] = {"-O2", "-g"};
  const char* o1[] = {"-O3"};
  out->if_enter_option_set(0, 2, o0);
  out->if_enter_option_set(1, 1, o1);

  // Globals, one of every type so that every type is written.
  SYMTAB* counter = sym("counter", i, SC_EXTDEF, at("t.c", 1, 5));
  counter->pragmas = pragma(3, {"a", "b c"});
  counter->pragmas->next = pragma(4, {});
  SYMTAB* table = sym("table", arr, SC_STATIC);
  table->option_set = 1;
  SYMTAB* msg = sym("msg", carr, SC_STATIC);
  SYMTAB* gs = sym("s", s, SC_EXTDEF);
  SYMTAB* smain = sym("main", fmain, SC_EXTDEF, at("t.c", 20, 5));
  SYMTAB* add = sym("add", fadd, SC_STATIC, at("t.c", 10, 12));
  SYMTAB* printf_ = sym("printf", fvar, SC_EXTREF);
  SYMTAB* weird = sym("two words", i, SC_EXTREF);
  weird->scqual = 0x8004;
  weird->type2 = u;
  weird->offset = 6;
  std::vector<SYMTAB*> globals{counter, table, msg, gs, smain, add, printf_, weird};
  for (TYPE* t : {sc, ref, inc, vec, td, fx, cx, color, flags, un, k, ptm, ll, v, cpc})
    globals.push_back(sym(("g" + std::to_string(globals.size())).c_str(), t, SC_EXTDEF));
  for (SYMTAB* g : globals) out->if_enter_global(g);

  // add(x, y): every kind of record a function can hold.
  out->if_write_comment("file-level comment");
  out->if_write_begin_func(add, at("t.c", 10, 1));
  SYMTAB* px = sym("x", i, SC_PARAM, at("t.c", 10, 13));
  px->pragmas = pragma(7, {"p"});
  SYMTAB* py = sym("y", i, SC_PARAM);
  for (SYMTAB* p : {px, py}) {
    out->if_enter_local(p);
    out->if_write_symbol(p);
  }
  out->if_write_end_args(at("t.c", 10, 20));
  SYMTAB* x = sym("x", i, SC_LOCAL);
  SYMTAB* y = sym("y", i, SC_LOCAL);
  SYMTAB* t = sym("tmp.1", i, SC_LOCAL);
  t->file_offset = 77;
  for (SYMTAB* l : {x, y, t}) {
    out->if_enter_local(l);
    out->if_write_symbol(l);
  }
  out->if_write_end_locals(at("t.c", 10, 20));
  out->if_write_func_info(76);
  out->if_write_comment("*****");
  auto stmt = [&](NODE* tree, PSN* p = nullptr) { out->if_write_expr(tree, p); };
  auto stmt_with_header = [&](NODE* tree, PSN* p) {
    out->if_write_expr(nullptr, p);
    out->if_write_expr_node(tree);
  };
  stmt(nd(PCOMMA, v, nd(ASG, i, name(x), name(px)), nd(ASG, i, name(y), name(py))), at("t.c", 10, 1));
  stmt_with_header(nd(ASG, i, name(t), nd(PLUS, i, name(x), name(y))), at("t.c", 11, 5));
  out->if_write_begin_block(at("t.c", 12, 3));
  SYMTAB* z = sym("z", i, SC_LOCAL);
  out->if_enter_local(z);
  out->if_write_symbol(z);
  stmt(nd(ASG, i, name(z), icon(i, -5)));
  stmt(nd(ASG, i, name(x), name(z)));
  out->if_write_end_block(at("t.c", 14, 3));
  out->if_write_label(1);
  stmt(nd(CBRANCH, v, nd(LT, i, name(x), icon(i, 10)), label(2)));
  stmt(nd(BRANCH, v, label(1)));
  out->if_write_label(2);
  NODE* cases = nd(COMMA, v, nd(CASE, v, icon(i, 1), label(3)),
                   nd(COMMA, v, nd(CASE, v, icon(i, 2), label(4)), nd(DEFAULT, v, label(5))));
  NODE* sw = nd(SWITCH, v, name(x), cases);
  sw->value = INT65(2);
  stmt(sw);
  NODE* odd = nd(SWITCH, v, name(x), nd(DEFAULT, v, label(5)));
  odd->value = INT65(9);
  stmt(odd);
  out->if_write_label(3);
  NODE* fld = nd(FIELD, pc);
  fld->mval = mb;
  fld->sym = s;
  NODE* bits = nd(FIELD, u);
  bits->mval = mbf;
  bits->sym = s;
  stmt(nd(ASG, pc, nd(STDOT, pc, name(gs), fld), nd(PCONV, pc, icon(i, 0))));
  stmt(nd(ASG, u, nd(STDOT, u, name(gs), bits), icon(u, 4000000000LL)));
  NODE* call = nd(CALL, i, nd(UAND, tp->mk_ptr(fadd), name(add)), nd(COMMA, v, name(x), name(y)));
  call->eh_entry = 3;
  stmt(nd(ASG, i, name(t), call));
  NODE* pcall = nd(CALL, i, nd(UAND, tp->mk_ptr(fvar), name(printf_)),
                   nd(COMMA, v, nd(UAND, cpc, text_node(SCON, carr, "")), icon(i, 1)));
  pcall->left->left->sym = printf_;
  pcall->right->left->left->text = const_cast<char*>("hi\n\0\"");
  pcall->right->left->left->text_len = 5;
  pcall->value = INT65(1);
  stmt(pcall);
  NODE* ucall = nd(UCALL, i, nd(UAND, tp->mk_ptr(fmain), name(smain)));
  ucall->eh_entry = 2;
  stmt(ucall);
  stmt(nd(ASG, ll, nd(UMULT, ll, nd(PCONV, tp->mk_ptr(ll), icon(i, 0))), text_node(LCON, ll, "-4294967296")));
  stmt(nd(ASG, f, nd(UMULT, f, nd(PCONV, tp->mk_ptr(f), icon(i, 0))), text_node(FCON, f, "0x1.8p+1")));
  stmt(nd(ASG, f, nd(UMULT, f, nd(PCONV, tp->mk_ptr(f), icon(i, 0))), text_node(FCON, f, "inf")));
  NODE* ep = nd(EPVAL, i, icon(i, 1));
  ep->edge_profile = 7;
  stmt(ep);
  NODE* dd = nd(DDNODE, i, icon(i, 1));
  dd->ddnode = reinterpret_cast<void*>(static_cast<uintptr_t>(5));
  stmt(dd);
  NODE* ic = nd(ICALL, i, name(x));
  ic->sym = const_cast<char*>("__builtin_abs");
  stmt(ic);
  NODE* uic = nd(UICALL, i);
  uic->sym = const_cast<char*>("__clock");
  stmt(uic);
  NODE* mc = nd(MCALL, i, name(x));
  mc->sym = const_cast<char*>("barrier");
  stmt(mc);
  NODE* umc = nd(UMCALL, v);
  umc->sym = const_cast<char*>("fence");
  stmt(umc);
  stmt(nd(VREG, i));
  stmt(nd(ASG, i, name(x), nd(SCONV, i, nd(UMULT, sc, nd(PCONV, tp->mk_ptr(sc), icon(i, 0))))));
  out->if_write_assembly("nop", at("t.c", 15, 3));
  uint32_t words5[5] = {1, 2, 3, 4, 5};
  out->if_write_loop(words5, -7);
  out->if_write_mbank(words5);
  uint32_t words3[3] = {7, 8, 9};
  out->if_write_dep_edge(words3);
  IF_DD_PAIR pairs[2];
  pairs[0].level = 1;
  pairs[0].distance = -2;
  pairs[1].level = 2;
  pairs[1].distance = 3;
  out->if_write_dep_vector(pairs, 9, -1, 2);
  out->if_write_ldspec_induct(1, 2, -3, i, x);
  out->if_write_ldspec_rand(4, 5, 6, nullptr, nullptr);
  out->if_write_ldspec_region(7, 8);
  out->if_write_inloop(1, y, -2);
  out->if_write_inloop(2, nullptr, 3);
  PRAGMA* alone = pragma(41, {"unroll", "4"});
  out->if_write_pragma(alone);
  out->if_write_source("inc.h");
  I_CATCH_ENTRY catches[2];
  catches[0].type_name = const_cast<char*>("int");
  catches[0].number = 3;
  catches[0].flag = true;
  catches[1].type_name = const_cast<char*>("char*");
  catches[1].number = 4;
  EHT_ENTRY eht[3];
  eht[0].id = 1;
  eht[0].kind = EHT_KIND_EXPR;
  eht[0].tree = icon(i, 11);
  eht[1].id = 2;
  eht[1].kind = EHT_KIND_CATCH;
  eht[1].b = 2;
  eht[1].catches = catches;
  eht[2].id = 3;
  eht[2].kind = 5;
  eht[2].a = 6;
  out->if_write_func_eht(eht, 3);
  stmt(nd(RETURN, i, name(add), name(t)), at("t.c", 16, 3));
  out->if_write_end_func(at("t.c", 17, 1));

  // main(): the shortest function, and no positions.
  out->if_write_begin_func(smain, nullptr);
  out->if_write_end_args(nullptr);
  out->if_write_end_locals(nullptr);
  stmt(nd(RETURN, i, name(smain), icon(i, 0)));
  out->if_write_end_func(nullptr);

  // A function of the low-level form.
  out->if_write_ir_begin_func(1, -2, 3, 4, at("t.c", 30, 1));
  const uint8_t data[3] = {0, 1, 255};
  out->if_write_ir_ins(at("t.c", 30, 2), data, 3);
  out->if_write_ir_end_func(nullptr);

  // Initialisers.
  out->if_write_init(counter);
  out->if_write_expr_node(icon(i, 42));
  out->if_write_expr_node(nd(ENDINIT, nullptr));
  out->if_write_init(msg);
  NODE* str = text_node(SCON, carr, "");
  str->text = const_cast<char*>("abc\0");
  str->text_len = 4;
  out->if_write_expr_node(str);
  out->if_write_expr_node(nd(ENDINIT, nullptr));
  out->if_write_init(table);
  out->if_write_expr_node(icon(i, 1));
  NODE* skip = nd(SKIP, i);
  skip->value = INT65(288);
  out->if_write_expr_node(skip);
  out->if_write_expr_node(nd(ENDINIT, v));
  out->if_write_init(gs);
  out->if_write_expr_node(nd(PLUS, tp->mk_ptr(i), nd(UAND, tp->mk_ptr(i), name(counter)), icon(i, 2)));
  out->if_write_expr_node(nd(ENDINIT, nullptr));
  ASSERT_EQ(out->if_close(false, false), 0);
}

struct FILE_TEXT {
  std::string bytes, text;
};

FILE_TEXT disassemble(const std::string& path) {
  IT_MODEL m;
  std::string error;
  std::vector<std::string> warnings;
  EXPECT_TRUE(it_read_file(path.c_str(), m, error, warnings)) << error;
  for (const std::string& w : warnings) ADD_FAILURE() << path << ": " << w;
  return {slurp(path), it_print(m)};
}

std::string assemble(const std::string& text, const std::string& path) {
  IT_MODEL m;
  it_parse(text, "test.itxt", m);
  std::string error;
  EXPECT_TRUE(it_write_file(m, path.c_str(), error)) << error;
  return slurp(path);
}

// dis | as gives the same bytes; as | dis | as gives the same bytes and text.
void expect_round_trip(const std::string& path) {
  FILE_TEXT first = disassemble(path);
  std::string again = temp_path("again.icode");
  ASSERT_EQ(assemble(first.text, again), first.bytes) << first.text;
  EXPECT_EQ(disassemble(again).text, first.text);
  drop(again);
}

TEST(IcodeText, WriterFileRoundTripsByteForByte) {
  std::string path = temp_path("everything.icode");
  write_everything(path);
  expect_round_trip(path);
  std::string text = disassemble(path).text;
  // Every record family shows up in the text.
  for (const char* word :
       {"options 0 \"-O2\" \"-g\"", "files \"t.c\"\n", "type #", "members {", "bases {",
        "methods {", "enumerators {", "params {", "global counter : int class=extdef pragma(3 \"a\" \"b c\") pragma(4)",
        "global \"two words\"", "init counter {", "init msg {", "(SKIP int 288)", "function add", "param x",
        "endargs @t.c:10:20", "local tmp.1 : int class=local fileoff=77", "leaf", "comment \"*****\"",
        "{ @t.c:12:3", "} @t.c:14:3", "L1:", "(FIELD unsigned struct S::bits)", "vargs=1", "callarg=3",
        "(LCON long long -4294967296)", "(FCON float 0x1.8p+1)", "(FCON float \"inf\")", "(EPVAL int 7",
        "(DDNODE int 5", "(ICALL int \"__builtin_abs\"", "(VREG int 0)", "asm \"nop\" @t.c:15:3",
        "loop 1 2 3 4 5 -7", "mbank 1 2 3 4 5", "depedge 7 8 9", "depvec 9 -1 (1 -2) (2 3)",
        "ldspec 1 induct 2 -3 int x", "ldspec 4 rand 5 6 - -", "ldspec 7 region 8", "inloop 1 -2 y",
        "inloop 2 3 -", "pragma 41 \"unroll\" \"4\"", "source \"inc.h\"", "eht 3", "ehtentry 2 2 0 2",
        "catch (\"int\" 3 1) (\"char*\" 4 0)", "irbegin 1 -2 3 4 @t.c:30:1", "irins extra=\"0001ff\" @t.c:30:2",
        "irend", "(SCON char[4] \"hi\\n\\x00\\\"\")", "cases=9", "(NAME int x#0)"})
    EXPECT_NE(text.find(word), std::string::npos) << word << "\n" << text;
  drop(path);
}

// A client of the reader proper that counts what it is handed and keeps
// it.
struct COUNTING_CLIENT : IF_CLIENT {
  int symbols = 0, exprs = 0, labels = 0, funcs = 0, inits = 0, options = 0, blocks = 0;
  std::string names;
  SYMTAB* cl_symbol_create(const char* name, TYPE* type, TYPE*, uint32_t, uint32_t, uint32_t, int sclass,
                           int, PSN*, uint32_t, uint32_t) override {
    symbols++;
    names += std::string(name) + ":" + std::to_string(sclass) + (type ? "" : "?") + " ";
    SYMTAB* s = kept(new SYMTAB);
    s->name = strdup(name);
    s->type = type;
    return s;
  }
  void cl_expr(NODE* tree, PSN*) override {
    exprs++;
    kept(tree);
  }
  void cl_label(uint32_t) override { labels++; }
  void cl_begin_func(SYMTAB*, PSN*) override { funcs++; }
  void cl_symbol_init(SYMTAB*, EXPR_LIST* list) override {
    inits++;
    kept(list);
  }
  void cl_option_set(uint32_t, uint32_t, char** texts) override {
    options++;
    kept(texts);
  }
  void cl_pragma(SYMTAB*, PRAGMA* p) override { kept(p); }
  void cl_begin_block(PSN*) override { blocks++; }
};

// What icode-dis decodes is what the signedness of types says: the reader
// proper and the text tools must agree on which constants are signed.
TEST(IcodeText, SignednessAgreesWithTheTypePackage) {
  std::string path = temp_path("signs.icode");
  write_everything(path);
  IT_MODEL m;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(it_read_file(path.c_str(), m, error, warnings));
  IT_TYPES types(m);
  types.rebuild();
  FILE* f = fopen(path.c_str(), "rb");
  COUNTING_CLIENT client;
  I_FILE* in = I_FILE::if_open(f, &client);
  ASSERT_TRUE(in);
  in->if_type_init(package());
  in->if_read_file_names();
  in->if_read_type_defs();
  int checked = 0;
  for (const IT_REC& r : m.types) {
    int code = static_cast<int>(r.f[1].n);
    if (code >= TC_LIST_HEADER || it_element_list_kind(code) >= 0) continue;
    uint32_t id = static_cast<uint32_t>(r.f[0].n);
    TYPE* t = in->find_typeref(id);
    ASSERT_TRUE(t);
    EXPECT_EQ(types.is_signed(id), t->is_signed()) << types.ref(id);
    if (!types.is_function(id) && code != TC_VOID) {
      EXPECT_EQ(types.size(id), t->size) << types.ref(id);
    }
    checked++;
  }
  EXPECT_GT(checked, 25);
  kept(in->file_names);  // a reader's file names outlive it
  in->if_close(false, false);
  drop(path);
}

// ---------------------------------------------------------------------------
// Hand-written text

const char* kSmall = R"(; a function of a few statements
struct S { a : int, b : char* }
global g : int @t.c:1:5
init g {
  (ICON 5)
}
function main : int() @t.c:3:1
  local x : int
  local p : struct S*
  (ASG (NAME x) (ICON 1))   @t.c:4:5
  (ASG (STREF (NAME p) (FIELD struct S::a)) (NAME x))
L1:
  (CBRANCH (LT (NAME x) (ICON 10)) (LABEL L1))
  (RETURN (NAME main) (NAME g))
end
)";

TEST(IcodeText, HandWrittenTextFillsInTheRest) {
  std::string path = temp_path("small.icode");
  assemble(kSmall, path);
  std::string text = disassemble(path).text;
  for (const char* want :
       {"type #1 struct S complete size=64 align=32 members  ; struct S", "member 1 b #4 offset=32",
        "global g : int class=extdef @t.c:1:5", "global main : int() class=extdef", "init g {\n  (ICON int 5)\n}",
        "function main @t.c:3:1\n  endargs\n  local x : int class=local  ; #0 level 2",
        "  endlocals\n  (ASG int (NAME int x) (ICON int 1))  @t.c:4:5",
        "(ASG int (STREF int (NAME struct S* p) (FIELD int struct S::a)) (NAME int x))",
        "L1:\n  (CBRANCH void (LT int (NAME int x) (ICON int 10)) (LABEL int L1))",
        "(RETURN int (NAME int() main) (NAME int g))\nend\n"})
    EXPECT_NE(text.find(want), std::string::npos) << want << "\n----\n" << text;
  expect_round_trip(path);
  drop(path);
}

TEST(IcodeText, TheReaderTakesAssembledText) {
  package();
  const char* text = R"(icode version=-73 cpu=1000 source="r.c"
options 0 "-O1"
enum color { red, green = 5, blue }
union U { i : int, c : char }
typedef unsigned long ulong_t
struct node { next : struct node*, v : ulong_t, b : unsigned bits=3, u : union U }
global list : struct node* pragma(9 "x")
global table : int[4]
init table {
  (ICON 1)
  (SKIP int 96)
}
function walk : int(struct node*, enum color)
  param n : struct node*
  param c : enum color
  local n : struct node*
  local s : int
  (PCOMMA (ASG (NAME n) (NAME n#0)) (ASG (NAME s) (ICON 0)))
  {
  local t : unsigned
  (ASG (NAME t) (ICON unsigned 4000000000))
  }
L1:
  (CBRANCH (EQ (NAME n) (PCONV struct node* (ICON 0))) (LABEL L2))
  (ASG (NAME s) (PLUS (NAME s) (SCONV int (STREF (NAME n) (FIELD struct node::b)))))
  (ASG (NAME n) (STREF (NAME n) (FIELD struct node::next)))
  (BRANCH (LABEL L1))
L2:
  (RETURN (NAME walk) (NAME s))
end
)";
  std::string path = temp_path("reader.icode");
  assemble(text, path);
  expect_round_trip(path);
  FILE* f = fopen(path.c_str(), "rb");
  COUNTING_CLIENT client;
  I_FILE* in = I_FILE::if_open(f, &client);
  ASSERT_TRUE(in);
  in->if_type_init(package());
  in->if_read_file();
  EXPECT_EQ(client.options, 1);
  EXPECT_EQ(client.funcs, 1);
  EXPECT_EQ(client.inits, 1);
  EXPECT_EQ(client.exprs, 7);
  EXPECT_EQ(client.labels, 2);
  EXPECT_EQ(client.blocks, 1);
  EXPECT_EQ(client.names, "list:2 table:2 walk:2 n:9 c:9 n:1 s:1 t:1 ");
  in->if_close(false, false);
  drop(path);
}

// Files of older versions have other fields: the text follows the version.
TEST(IcodeText, OlderVersionsKeepTheirLayouts) {
  for (int version : {-86, -85, -84, -83, -81, -80, -76, -75, -74, -73}) {
    std::string text = "icode version=" + std::to_string(version) + R"( cpu=1000 source="old.c"
enum e { a = -1 }
struct S { x : int bits=4, y : int[2] }
class K { m : int }
global s : struct S
global k : class K
global v : enum e
)";
    std::string path = temp_path("old.icode");
    assemble(text, path);
    expect_round_trip(path);
    FILE* f = fopen(path.c_str(), "rb");
    COUNTING_CLIENT client;
    I_FILE* in = I_FILE::if_open(f, &client);
    ASSERT_TRUE(in) << version;
    in->if_type_init(package());
    in->if_read_file();
    EXPECT_EQ(client.symbols, 3) << version;
    fkMDATA* y = nullptr;
    in->types.for_each([&](uint32_t, TYPE_INFO& info) {
      if (CSU_RECORD* r = info.type->get_csu())
        for (fkMDATA* m = r->mdata; m; m = m->next)
          if (m->name == "y") y = m;
    });
    ASSERT_TRUE(y) << version;
    EXPECT_EQ(y->offset, 32) << version;
    EXPECT_FALSE(y->is_bitfield) << version;
    in->if_close(false, false);
    drop(path);
  }
}

TEST(IcodeText, FixturesRoundTrip) {
  for (const char* name : {"statements.itxt", "types.itxt", "rare.itxt"}) {
    SCOPED_TRACE(name);
    std::string text = slurp(std::string(ICODE_TEXT_FIXTURES) + "/" + name);
    ASSERT_FALSE(text.empty());
    std::string path = temp_path("fixture.icode");
    assemble(text, path);
    expect_round_trip(path);
    drop(path);
  }
}

// ---------------------------------------------------------------------------
// Mistakes in the text

std::string error_of(const std::string& text) {
  IT_MODEL m;
  try {
    it_parse(text, "bad.itxt", m);
  } catch (const IT_ERROR& e) {
    return e.what();
  }
  return "(no error)";
}

TEST(IcodeText, MistakesNameTheLineAndWhatWasExpected) {
  const std::string f = "function main : int()\n";
  struct CASE {
    std::string text, message;
  } cases[] = {
      {f + "  (FOO int)\nend\n", "bad.itxt:2:4: error: unknown operator FOO"},
      {f + "  local x : int\n  (ASG int (NAME x))\nend\n", "bad.itxt:3:4: error: ASG takes 2 operands, not 1"},
      {f + "  (ASG (NAME nosuch) (ICON 1))\nend\n", "bad.itxt:2:14: error: unknown symbol nosuch"},
      {f + "  local x : int\n  (ASG (NAME x) (ICON 1)\nend\n", "bad.itxt:4:1: error: expected '(' or ')', found 'end'"},
      {f + "  local x : strukt S\nend\n", "bad.itxt:2:13: error: expected a type, found 'strukt'"},
      {f + "  local x : unsigned\n  (ASG (NAME x) (ICON unsigned -1))\nend\n",
       "bad.itxt:3:32: error: the value -1 does not fit the unsigned type unsigned"},
      {"global s : char*\ninit s {\n  (SCON \"abc)\n}\n", "bad.itxt:3:9: error: the string has no closing quote"},
      {f + "  (RETURN (NAME main) (ICON 0)) @t.c:x\nend\n",
       "bad.itxt:2:38: error: expected a line number in the position"},
      {f + "  frobnicate 3\nend\n", "bad.itxt:2:3: error: unknown record frobnicate"},
      {"global g : #99\n", "bad.itxt:1:12: error: type #99 is not defined"},
      {"global g : int\nglobal g : char\nfunction f : void()\n  (ASG (NAME g) (ICON 1))\nend\n",
       "bad.itxt:4:14: error: there are several globals named g: name one by its index (::g#0)"},
      {"type #1 int\ntype #2 int\nglobal g : int\n",
       "bad.itxt:3:12: error: the type 'int' is ambiguous here: name it by its id (#1 or #2)"},
      {f + "  (UMULT (ICON 1))\nend\n", "bad.itxt:2:4: error: write the type of UMULT: it cannot be inferred from its operands"},
      {"struct S { a : int }\nglobal s : struct S\nfunction f : void()\n  (STDOT (NAME s) (FIELD struct S::b))\nend\n",
       "bad.itxt:4:36: error: struct S has no member b"},
      {"global g : int loud=1\n", "bad.itxt:1:16: error: unknown symbol field loud"},
      {"type #1 pointer #2 size=16 size=16\n", "bad.itxt:1:28: error: the field size is given twice"},
      {"icode version=-99999\n", "bad.itxt:1:15: error: the number -99999 is out of range (-32768 to 32767)"},
      {"global g : int\ninit g {\n  (ICON 1)\n", "bad.itxt:3:11: error: the block has no closing '}'"},
      {"raw types 116 \"0g\"\n", "bad.itxt:1:15: error: expected hex digits"},
  };
  for (const CASE& c : cases) EXPECT_EQ(error_of(c.text), c.message) << c.text;
}

}  // namespace
