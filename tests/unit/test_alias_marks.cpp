// Which variables the exposure walk lets escape: only an address that can be
// stored or passed on, never one that is dereferenced on the spot.
#include "icode/if_client.h"
#include "ssa/alias.h"
#include "test_cfg_fixture.h"

namespace cfgtest {
namespace {

class AliasMarks : public CfgTest {
 public:
  TYPE* ptr_t() { return tp->mk_ptr(int_t); }
  NODE* addr(const std::string& v) { return maketree(UAND, n(v), nullptr, ptr_t(), nullptr); }
  NODE* deref(NODE* p) { return maketree(UMULT, p, nullptr, int_t, nullptr); }
  bool exposed_after(NODE* tree, const std::string& v) {
    var(v)->alias_marks = 0;
    mark_address_exposed_symbols(tree, false);
    return symbol_is_aliased(var(v));
  }
};

TEST_F(AliasMarks, OnlyAnEscapingAddressExposes) {
  var("p", ptr_t());
  // p = &x: x escapes.
  EXPECT_TRUE(exposed_after(mk_ASG(n("p"), addr("x")), "x"));
  // y = *(&x + 4) reads through x's own address: no escape.
  NODE* offset = maketree(PLUS, addr("x"), k(4), ptr_t(), nullptr);
  EXPECT_FALSE(exposed_after(mk_ASG(n("y"), deref(offset)), "x"));
  // *&x = 1 likewise.
  EXPECT_FALSE(exposed_after(mk_ASG(deref(addr("x")), k(1)), "x"));
  // out(&x): passed to a callee.
  EXPECT_TRUE(exposed_after(call_out(addr("x")), "x"));
  // A conversion keeps the context: *(char*)&x does not expose, (long)&x does.
  NODE* conv = maketree(PCONV, addr("x"), nullptr, ptr_t(), nullptr);
  EXPECT_FALSE(exposed_after(mk_ASG(n("y"), deref(conv)), "x"));
  NODE* to_int = maketree(SCONV, addr("x"), nullptr, int_t, nullptr);
  EXPECT_TRUE(exposed_after(mk_ASG(n("y"), to_int), "x"));
  // The address under a dereference of a value loaded through it escapes:
  // **(&p) is fine, but *(p = &x) stores it.
  EXPECT_TRUE(exposed_after(deref(mk_ASG(n("p"), addr("x"))), "x"));
  // A plain read or write never exposes.
  EXPECT_FALSE(exposed_after(mk_ASG(n("x"), maketree(PLUS, n("x"), k(1), int_t, nullptr)), "x"));
}

TEST_F(AliasMarks, VolatileAndExceptionTableSymbols) {
  SYMTAB* v = var("v", tp->mk_qual(int_t, TYPE::Q_VOLATILE));
  EXPECT_TRUE(symbol_is_immutable(v));
  EXPECT_FALSE(symbol_is_immutable(var("w")));
  EHT_ENTRY entries[1];
  entries[0].kind = EHT_KIND_EXPR;
  entries[0].tree = maketree(PLUS, n("w"), k(1), int_t, nullptr);
  fi->eht = entries;
  fi->eht_count = 1;
  EXPECT_TRUE(sym_appears_in_EHT(var("w")));
  EXPECT_FALSE(sym_appears_in_EHT(v));
  fi->eht = nullptr;
  fi->eht_count = 0;
}

}  // namespace
}  // namespace cfgtest
