#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"

namespace {

class TreeTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!tp) {
      tp = new TYPE_PKG();
      tp->init_type_pkg();
    }
    lex = 1;
    if_node_table_init();
  }
  void TearDown() override {
    lex = 0;
    zfree_all();
  }
  TYPE* int_type() { return tp->basic[TYPE_PKG::BT_INT]; }
};

TEST_F(TreeTest, OpcodeTablesAgreeAndPrintNames) {
  init_opcode_tables();  // aborts the test binary on any mismatch
  EXPECT_STREQ(if_node_info[OUIALIGN].name, "OUIALIGN");
  EXPECT_EQ(if_node_info[OUIALIGN].operands, 1);
  EXPECT_EQ(number_of_operands[CALL], 2);
  EXPECT_EQ(commute_inv[LT], GT);
  EXPECT_EQ(boolean_inv[ULE], UGT);
  EXPECT_EQ(op_of_opASG[SRLASG], SRL);
  EXPECT_EQ(boolean_result[EXCLAIM], 1);
  EXPECT_EQ(boolean_result[PLUS], 0);
  EXPECT_EQ(node_operator_name[EPVAL], nullptr);
  EXPECT_STREQ(opname(PLUS), "+       ");
  EXPECT_STREQ(opname(LABEL), "LABELREF");
  EXPECT_STREQ(opname(ULE), "ULE");
  EXPECT_STREQ(opname(255), " ?ILLOP?");
  EXPECT_STREQ(opname(30), "?NODE?");
  EXPECT_STREQ(opname(SQR), "SQUARE  ");
}

TEST_F(TreeTest, IconOnPointerTypeTakesTheIntegerOfPointerSize) {
  TYPE* pint = tp->mk_ptr(int_type());
  NODE* n = mk_ICON(INT65(0x12345), pint);
  EXPECT_EQ(n->type, tp->basic[TYPE_PKG::BT_SHORT]);
  EXPECT_EQ(n->type->size, 16u);
  EXPECT_EQ(n->value, INT65(0x2345)) << "the value is truncated to 16 bits";
}

TEST_F(TreeTest, LconReadsDecimalAndBecomesIcon) {
  NODE* n = new_node(LCON, int_type());
  n->mk_lcon("-0");
  EXPECT_EQ(n->op, ICON);
  EXPECT_TRUE(n->value.is_zero());
  NODE* m = new_node(LCON, tp->basic[TYPE_PKG::BT_UINT]);
  m->mk_lcon("4294967297");  // wraps to 32 bits
  EXPECT_EQ(m->value, INT65(1));
  EXPECT_EQ(m->lcon_value(), "1");
}

TEST_F(TreeTest, FieldOfAnotherKindAborts) {
  NODE* n = new_node(FIELD, int_type());
  EXPECT_EXIT(n->mk_field(2, nullptr, nullptr), testing::ExitedWithCode(1), "terminated abnormally");
}

TEST_F(TreeTest, PconvToCharPointerBecomesIsp2charOnlyWhenAliasing) {
  TYPE* pchar = tp->mk_ptr(tp->basic[TYPE_PKG::BT_CHAR]);
  TYPE* pint = tp->mk_ptr(int_type());
  chars_alias_other_types = 1;
  EXPECT_EQ(new_node(PCONV, pchar)->op, ISP2CHAR);
  EXPECT_EQ(new_node(PCONV, pint)->op, PCONV);
  chars_alias_other_types = 0;
  EXPECT_EQ(new_node(PCONV, pchar)->op, PCONV);
}

TEST_F(TreeTest, CopiesAreDeepAndFileCopiesKeepUninternedSymbols) {
  SYMTAB s;
  s.name = const_cast<char*>("x");
  s.type = int_type();
  NODE* name = mk_NAME(&s, nullptr);
  NODE* sum = maketree(PLUS, name, mk_ICON(INT65(3), int_type()), int_type(), nullptr);
  NODE* c = copy_tree(sum, false);
  EXPECT_NE(c, sum);
  EXPECT_NE(c->left, sum->left);
  EXPECT_EQ(c->left->sym, &s);
  EXPECT_EQ(c->right->value, INT65(3));
  NODE* f = copy_tree_0(sum, nullptr);
  EXPECT_EQ(f->left->sym, &s) << "no funinfo: the symbol is kept";
  EXPECT_FALSE(zlocalp(f)) << "file copies live in the file-lifetime pool";
  EXPECT_TRUE(zlocalp(c));
}

TEST_F(TreeTest, ErasingACseDupeLeavesItsSharedOperandsAlive) {
  NODE* shared = maketree(PLUS, mk_ICON(INT65(1), int_type()), mk_ICON(INT65(2), int_type()), int_type(), nullptr);
  NODE* dupe = maketree(CSE_DUPE, shared, shared->right, int_type(), nullptr);
  NODE* stmt = maketree(ASG, dupe, nullptr, int_type(), nullptr);
  erase_tree(stmt);
  // The two erased nodes come back first; none of the shared tree does.
  std::set<NODE*> fresh;
  for (int i = 0; i < 8; ++i) fresh.insert(maketree(NOP, nullptr, nullptr, int_type(), nullptr));
  EXPECT_EQ(fresh.count(shared), 0u);
  EXPECT_EQ(fresh.count(shared->left), 0u);
  EXPECT_EQ(fresh.count(shared->right), 0u);
  EXPECT_EQ(fresh.count(stmt), 1u);
  EXPECT_EQ(fresh.count(dupe), 1u);
  EXPECT_EQ(shared->op, PLUS);
}

TEST_F(TreeTest, AssignmentsPickTheirOperatorByType) {
  SYMTAB a;
  a.name = const_cast<char*>("a");
  a.type = tp->mk_struct("S", 32, 16);
  TYPE* t = a.type;
  tp->type_frozen(t);
  a.type = t;
  NODE* st = mk_ASG(mk_NAME(&a, nullptr), mk_NAME(&a, nullptr));
  EXPECT_EQ(st->op, STASG);
  EXPECT_EQ(st->sym, st->left->sym);
  SYMTAB b;
  b.name = const_cast<char*>("b");
  b.type = tp->mk_array(int_type(), 4, 128, 32, false, true);
  EXPECT_EQ(mk_ASG(mk_NAME(&b, nullptr), mk_NAME(&b, nullptr))->op, ARASG);
  SYMTAB c;
  c.name = const_cast<char*>("c");
  c.type = int_type();
  EXPECT_EQ(mk_ASG(mk_NAME(&c, nullptr), mk_ICON(INT65(1), int_type()))->op, ASG);
}

TEST_F(TreeTest, CallArgumentsAndCallees) {
  SYMTAB f;
  f.name = const_cast<char*>("f");
  f.type = int_type();
  NODE* args = mk_ICON(INT65(7), int_type());
  NODE* call = maketree(CALL, maketree(UAND, mk_NAME(&f, nullptr), nullptr, tp->mk_ptr(int_type()), nullptr), args,
                        int_type(), nullptr);
  EXPECT_EQ(get_callee_for_call(call), &f);
  EXPECT_EQ(get_arguments_to_call(call), args);
  NODE* indirect = maketree(UCALL, mk_NAME(&f, nullptr), nullptr, int_type(), nullptr);
  EXPECT_EQ(get_callee_for_call(indirect), nullptr);
  EXPECT_EQ(get_arguments_to_call(indirect), nullptr);
  EXPECT_STREQ(tree2infix(call, true), "f(7);");
}

}  // namespace
