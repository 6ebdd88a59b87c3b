// The alias answers on a table of lvalue pairs. tests/c/alias/pairs.c runs
// the same pairs, writing through one and reading through the other, under
// every level of zopt: an answer "apart" that is wrong there shows as a
// difference.
#include <memory>

#include "ssa/alias.h"
#include "ssa/pointsto.h"
#include "test_cfg_fixture.h"

namespace cfgtest {
namespace {

class AliasPairs : public CfgTest {
 public:
  TYPE* short_t() { return tp->basic[TYPE_PKG::BT_SHORT]; }
  TYPE* ptr_t() { return tp->mk_ptr(int_t); }
  TYPE* arr_t() { return tp->mk_array(int_t, 4, 128, 32, false, true); }
  TYPE* restrict_ptr_t() { return tp->mk_qual(ptr_t(), TYPE::Q_RESTRICT); }
  TYPE* vol_t() { return tp->mk_qual(int_t, TYPE::Q_VOLATILE); }

  std::vector<std::unique_ptr<fkMDATA>> members;
  NODE* field(int offset, TYPE* type) {
    members.push_back(std::make_unique<fkMDATA>());
    members.back()->offset = offset;
    members.back()->type = type;
    NODE* f = maketree(FIELD, nullptr, nullptr, type, nullptr);
    f->mval = members.back().get();
    return f;
  }
  NODE* dot(const std::string& v, int offset, TYPE* type) { return maketree(STDOT, n(v), field(offset, type), type, nullptr); }
  NODE* arrow(const std::string& p, int offset, TYPE* type) {
    return maketree(STREF, n(p), field(offset, type), type, nullptr);
  }
  NODE* addr(const std::string& v, TYPE* t = nullptr) { return maketree(UAND, n(v), nullptr, t ? t : ptr_t(), nullptr); }
  NODE* elem(const std::string& a, NODE* index_units) {
    NODE* p = maketree(PLUS, addr(a), index_units, ptr_t(), nullptr);
    return maketree(UMULT, p, nullptr, int_t, nullptr);
  }
  NODE* deref(const std::string& p, TYPE* t = nullptr) { return maketree(UMULT, n(p), nullptr, t ? t : int_t, nullptr); }

  // Puts the variables made so far on the function's lists, as the reader
  // does, so that the analyses find them.
  void declare() {
    for (auto& [name, s] : locals) {
      s->next = fi->symbols;
      fi->symbols = s;
    }
    for (auto& [name, s] : params) {
      s->next = fi->params;
      fi->params = s;
    }
  }

  bool alias(NODE* a, NODE* b) { return lvalues_may_be_aliased(a, b, nullptr); }
};

TEST_F(AliasPairs, TableOfPairs) {
  var("x");
  var("y");
  var("i");
  var("s", tp->mk_struct("S2", 64, 32));
  var("u", tp->mk_struct("U2", 32, 32));
  var("arr", arr_t());
  var("p", ptr_t());
  var("q", ptr_t());
  var("v1", vol_t());
  var("v2", vol_t());
  var("pv", tp->mk_ptr(vol_t()));
  var("pw", tp->mk_ptr(vol_t()));
  param("pi", ptr_t());
  param("r1", restrict_ptr_t());
  param("r2", restrict_ptr_t());
  SYMTAB* g = global_symbol("alias_g", int_t);
  g->next = global_symbols;
  global_symbols = g;
  declare();
  prolog();
  // p = &arr[1]; q = &y; pv = &v1; pw = pv
  stmt(mk_ASG(n("p"), maketree(PLUS, addr("arr"), k(2), ptr_t(), nullptr)));
  stmt(mk_ASG(n("q"), addr("y")));
  stmt(mk_ASG(n("pv"), addr("v1", tp->mk_ptr(vol_t()))));
  stmt(mk_ASG(n("pw"), n("pv")));
  out(deref("p"));
  ret(k(0));
  build();
  init_aliasing_info();
  ASSERT_TRUE(aliasing_info_is_valid());
  NODE* gname = mk_NAME(g, nullptr);

  struct CASE {
    const char* what;
    NODE* a;
    NODE* b;
    bool expected;
  };
  std::vector<CASE> cases = {
      {"two locals", n("x"), n("y"), false},
      {"a local and itself", n("x"), n("x"), true},
      {"a local and a global", n("x"), gname, false},
      {"two fields of a structure", dot("s", 0, int_t), dot("s", 32, int_t), false},
      {"a field and its structure", dot("s", 32, int_t), n("s"), true},
      {"two members of a union", dot("u", 0, int_t), dot("u", 0, short_t()), true},
      {"the high half of a union member", dot("u", 16, short_t()), dot("u", 0, short_t()), false},
      {"elements 1 and 2", elem("arr", k(2)), elem("arr", k(4)), false},
      {"element i and element 2", elem("arr", op2(MULT, n("i"), k(2))), elem("arr", k(4)), true},
      {"element i and itself", elem("arr", op2(MULT, n("i"), k(2))), elem("arr", op2(MULT, n("i"), k(2))), true},
      {"elements i and i+1", elem("arr", op2(MULT, n("i"), k(2))),
       elem("arr", op2(PLUS, op2(MULT, n("i"), k(2)), k(2))), false},
      {"*p and a local whose address is never taken", deref("p"), n("x"), false},
      {"*p (p = &arr[1]) and y, exposed by q", deref("p"), n("y"), false},
      {"*q (q = &y) and y", deref("q"), n("y"), true},
      {"*p and *q, pointing to different objects", deref("p"), deref("q"), false},
      {"*p and arr[1], its target", deref("p"), elem("arr", k(2)), true},
      {"*p and arr[2], beside its target", deref("p"), elem("arr", k(4)), false},
      {"a parameter's target and a local array", deref("pi"), elem("arr", k(0)), false},
      {"a parameter's target and a global", deref("pi"), gname, true},
      {"a parameter's target and *q (q = &y)", deref("pi"), deref("q"), false},
      {"two restrict parameters", deref("r1"), deref("r2"), false},
      {"a restrict parameter and a global", deref("r1"), gname, false},
      {"a restrict parameter and a plain one", deref("r1"), deref("pi"), false},
      {"a restrict parameter and itself, moved", deref("r1"),
       maketree(UMULT, op2(PLUS, n("r1"), k(0), ptr_t()), nullptr, int_t, nullptr), true},
      {"two volatile variables", n("v1"), n("v2"), false},
      {"two volatile accesses through pointers", deref("pv", vol_t()), deref("pw", vol_t()), true},
      {"a volatile variable and a pointer to it", n("v1"), deref("pv", vol_t()), true},
  };
  for (const CASE& c : cases) EXPECT_EQ(alias(c.a, c.b), c.expected) << c.what;
  // The answer does not depend on the order of the question.
  for (const CASE& c : cases) EXPECT_EQ(alias(c.b, c.a), c.expected) << c.what << " (turned round)";
  // Object names.
  EXPECT_EQ(object_name_if_known(elem("arr", n("i")), true, false), var("arr"));
  EXPECT_EQ(object_name_if_known(elem("arr", n("i")), false, false), nullptr);
  EXPECT_EQ(object_name_if_known(deref("q"), true, true), var("y"));
  EXPECT_EQ(object_name_if_known(deref("q"), true, false), nullptr);
  EXPECT_EQ(pointee_name_if_known(addr("arr"), false, false), var("arr"));
  EXPECT_EQ(pointee_name_if_known(maketree(PLUS, addr("arr"), k(2), ptr_t(), nullptr), false, false), nullptr);
  EXPECT_EQ(pointee_name_if_known(maketree(PLUS, addr("arr"), k(2), ptr_t(), nullptr), false, true), var("arr"));
}

// Without the analysis only what the trees themselves show is apart.
TEST_F(AliasPairs, WithoutAnalysisPointersMayReachAnything) {
  var("x");
  var("p", ptr_t());
  declare();
  stmt(mk_ASG(n("p"), addr("x")));
  ret(k(0));
  build();
  reset_alias_info();
  EXPECT_TRUE(alias(deref("p"), n("x")));
  EXPECT_TRUE(alias(deref("p"), n("y")));
  EXPECT_FALSE(alias(n("x"), n("y")));
  EXPECT_FALSE(alias(dot("x", 0, short_t()), dot("x", 16, short_t())));
}

// restrict holds only where nothing else can be based on the pointer.
TEST_F(AliasPairs, RestrictIsKeptOnlyWhileThePointerIsClosedAndAssignedOffLoops) {
  param("r1", restrict_ptr_t());
  param("r2", restrict_ptr_t());
  param("pi", ptr_t());
  var("t", restrict_ptr_t());
  var("i");
  declare();
  prolog();
  // out(r1): r1's value leaves; t is given a value in a loop.
  out(n("r1"));
  stmt(mk_ASG(n("i"), k(0)));
  label(1);
  stmt(mk_ASG(n("t"), op2(PLUS, n("r2"), n("i"), ptr_t())));
  stmt(mk_ASG(n("i"), op2(PLUS, n("i"), k(1))));
  cbranch(op2(LT, n("i"), k(4)), 1);
  ret(k(0));
  build();
  init_aliasing_info();
  EXPECT_TRUE(alias(deref("r1"), deref("pi"))) << "r1 escapes through the call";
  // t is based on r2 and given values inside the loop: r2's group still
  // holds the promise, since t's values derive from r2.
  EXPECT_FALSE(alias(deref("r2"), deref("pi")));
  EXPECT_TRUE(alias(deref("t"), deref("r2")));
  const std::vector<SYMTAB*>& roots = restricted_roots();
  EXPECT_EQ(std::count(roots.begin(), roots.end(), var("t")), 0) << "assigned on a cycle";
  EXPECT_EQ(std::count(roots.begin(), roots.end(), var("r2")), 1);
}

// Points-to over a loop: a pointer stepped through an array keeps to it.
TEST_F(AliasPairs, PointerSteppedInALoopStaysInItsArray) {
  var("a", arr_t());
  var("b", arr_t());
  var("p", ptr_t());
  var("q", ptr_t());
  declare();
  stmt(mk_ASG(n("p"), addr("a")));
  stmt(mk_ASG(n("q"), maketree(PLUS, addr("b"), k(2), ptr_t(), nullptr)));
  label(1);
  stmt(mk_ASG(deref("p"), k(1)));
  stmt(mk_ASG(n("p"), maketree(PLUS, n("p"), k(2), ptr_t(), nullptr)));
  cbranch(op2(NEQ, n("p"), maketree(PLUS, addr("a"), k(8), ptr_t(), nullptr)), 1);
  ret(deref("q"));
  build();
  print_debug = 2;  // the dump of the bindings comes on the deeper level
  init_aliasing_info();
  const PTENV* e = pointer_PT_summary(var("p"));
  ASSERT_NE(e, nullptr);
  ASSERT_FALSE(e->all);
  ASSERT_EQ(e->targets.size(), 1u);
  EXPECT_EQ(e->targets[0].sym, var("a"));
  EXPECT_EQ(e->targets[0].stride, 2) << "steps of one int";
  EXPECT_FALSE(alias(deref("p"), deref("q")));
  EXPECT_TRUE(alias(deref("p"), elem("a", k(6))));
  // Ints at even units never meet an int at an odd unit... of another array.
  EXPECT_FALSE(alias(deref("p"), elem("b", k(1))));
  EXPECT_EQ(single_pointsto_target_if_known(var("q")), var("b"));
  EXPECT_TRUE(log_has("ENTERING 'propagate_PT_info'"));
  EXPECT_TRUE(log_has("VARIABLE:   Offset=0 (bytes), stride=2 (bytes)"));
}

}  // namespace
}  // namespace cfgtest
