// SUBRANGE: which piece of which object an lvalue names, and the list
// operations the block passes build on.
#include "test_cfg_fixture.h"

#include "scalar/subrange.h"
#include "ssa/alias.h"

namespace cfgtest {
namespace {

class Subrange : public CfgTest {
 public:
  TYPE* short_t = nullptr;
  TYPE* pt = nullptr;  // struct { int x; int y; short z : 3; }
  fkMDATA mx, my, mz;

  void SetUp() override {
    CfgTest::SetUp();
    short_t = tp->basic[TYPE_PKG::BT_SHORT];
    pt = tp->mk_struct("subrange_pt", 96, 32);
    mx.type = my.type = int_t;
    mx.offset = 0;
    my.offset = 32;
    mz.type = short_t;
    mz.offset = 64;
    mz.is_bitfield = true;
    mz.width = 3;
  }
  NODE* field(fkMDATA& m) {
    NODE* f = new_node(FIELD, m.type);
    f->mval = &m;
    f->sym = pt;
    return f;
  }
  NODE* dot(const char* s, fkMDATA& m) { return maketree(STDOT, n(s), field(m), m.type, nullptr); }
  NODE* addr(const char* s, TYPE* elem) { return maketree(UAND, n(s), nullptr, tp->mk_ptr(elem), nullptr); }
  NODE* at(NODE* ptr, long k, TYPE* t) {
    NODE* p = k ? maketree(PLUS, ptr, mk_ICON(INT65(k), int_t), ptr->type, nullptr) : ptr;
    return maketree(UMULT, p, nullptr, t, nullptr);
  }
  std::string text(SUBRANGE* r) {
    if (!r) return "none";
    std::string s = std::string(r->sym->name) + "+" + std::to_string(r->offset) + ":" + std::to_string(r->size);
    erase_subrange(r);
    return s;
  }
};

TEST_F(Subrange, PiecesOfNamesMembersAndElements) {
  var("s", pt);
  var("a", tp->mk_array(int_t, 4, 128, 32, false, true));
  var("i");
  EXPECT_EQ(text(compute_subrange(n("i"))), "i+0:2");
  EXPECT_EQ(text(compute_subrange(dot("s", my))), "s+2:2");
  EXPECT_EQ(text(compute_subrange(at(addr("a", int_t), 4, int_t))), "a+4:2");
  // (&s)->y and the high half of s.x through a short pointer.
  EXPECT_EQ(text(compute_subrange(maketree(STREF, addr("s", pt), field(my), int_t, nullptr))), "s+2:2");
  NODE* as_short = maketree(PCONV, addr("s", pt), nullptr, tp->mk_ptr(short_t), nullptr);
  EXPECT_EQ(text(compute_subrange(at(as_short, 1, short_t))), "s+1:1");
  // A bit-field shares its unit; an index that is not constant, a piece
  // outside the object and an access through a pointer variable are no
  // pieces.
  EXPECT_EQ(text(compute_subrange(dot("s", mz))), "none");
  NODE* by_i = maketree(UMULT, maketree(PLUS, addr("a", int_t), n("i"), tp->mk_ptr(int_t), nullptr), nullptr, int_t, nullptr);
  EXPECT_EQ(text(compute_subrange(by_i)), "none");
  EXPECT_EQ(text(compute_subrange(at(addr("a", int_t), 7, int_t))), "none");
  EXPECT_EQ(text(compute_subrange(at(addr("a", int_t), -2, int_t))), "none");
  var("p", tp->mk_ptr(int_t));
  EXPECT_EQ(text(compute_subrange(at(n("p"), 0, int_t))), "none");
  EXPECT_EQ(object_name_if_known(by_i, true, false), var("a"));
  EXPECT_EQ(object_name_if_known(by_i, false, false), nullptr);
  EXPECT_EQ(object_name_if_known(at(n("p"), 0, int_t), true, false), nullptr);
}

TEST_F(Subrange, OverlapContainmentAndKills) {
  var("s", pt);
  var("t", pt);
  var("q", tp->mk_ptr(int_t));
  SUBRANGE* whole = compute_subrange(n("s"));
  SUBRANGE* x = compute_subrange(dot("s", mx));
  SUBRANGE* y = compute_subrange(dot("s", my));
  ASSERT_TRUE(whole && x && y);
  EXPECT_TRUE(subrange_contains(whole, x));
  EXPECT_FALSE(subrange_contains(x, whole));
  EXPECT_FALSE(subranges_overlap(x, y));
  EXPECT_TRUE(subranges_overlap(whole, y));
  // A list of s.x, s.y and t.x.
  y->link = compute_subrange(dot("t", mx));
  x->link = y;
  SUBRANGE* list = x;
  // A store to t.y touches none of them.
  list = kill_aliased_subranges(dot("t", my), list);
  int count = 0;
  for (SUBRANGE* r = list; r; r = r->link) ++count;
  EXPECT_EQ(count, 3);
  // A store through a pointer of unknown target reaches neither s nor t
  // while their addresses do not escape...
  mark_address_exposed_symbols_in_function();
  list = kill_aliased_subranges(at(n("q"), 0, int_t), list);
  count = 0;
  for (SUBRANGE* r = list; r; r = r->link) ++count;
  EXPECT_EQ(count, 3);
  // ...but once t's does, t.x goes; then the whole of s goes with a store to s.
  var("t")->alias_marks |= ALIAS_EXPOSED;
  list = kill_aliased_subranges(at(n("q"), 0, int_t), list);
  list = remove_aliased_subranges(whole, list);
  EXPECT_EQ(list, nullptr);
  erase_subrange(whole);
}

}  // namespace
}  // namespace cfgtest
