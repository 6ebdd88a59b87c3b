// The type package: folding of the target's sizes, sharing, queries, printing.
#include <gtest/gtest.h>

#include <string>

#include "ir/types.h"

namespace {

// Each test gets a package and a tree of its own; the package other tests
// keep in `tp` is put aside meanwhile.
class TypesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_tp = tp;
    saved_root = TYPE_PKG::root_type;
    TYPE_PKG::root_type = nullptr;
    tp = &pkg;
    pkg.init_type_pkg();
  }
  void TearDown() override {
    delete_type_tree(TYPE_PKG::root_type, true, false);
    TYPE_PKG::root_type = saved_root;
    tp = saved_tp;
  }

  TYPE* basic(int b) { return pkg.basic[b]; }
  TYPE* int_t() { return basic(TYPE_PKG::BT_INT); }

  // A structure with int members named by `names`, 32 bits apart.
  TYPE* open_struct(const std::string& tag, std::initializer_list<const char*> names) {
    TYPE* s = pkg.mk_struct(tag, 32 * static_cast<uint32_t>(names.size()), 32);
    CSU_RECORD* r = s->getr_csu();
    r->complete = true;
    r->has_list[LK_MDATA] = true;
    uint32_t id = 0;
    for (const char* n : names) {
      auto* m = new fkMDATA;
      m->member_id = ++id;
      m->name = n;
      m->type = int_t();
      m->offset = static_cast<int32_t>(32 * (id - 1));
      tp_append(r->mdata, m);
    }
    return s;
  }
  TYPE* frozen_struct(const std::string& tag, std::initializer_list<const char*> names) {
    TYPE* s = open_struct(tag, names);
    pkg.type_frozen(s);
    return s;
  }
  // struct tag { struct tag* next; }, with `word0` telling otherwise equal
  // records apart.
  TYPE* linked_struct(const std::string& tag, uint32_t word0) {
    TYPE* s = pkg.mk_struct(tag, 16, 16);
    CSU_RECORD* r = s->getr_csu();
    r->complete = true;
    r->word0 = word0;
    r->has_list[LK_MDATA] = true;
    auto* m = new fkMDATA;
    m->member_id = 1;
    m->name = "next";
    m->type = pkg.mk_ptr(s);
    tp_append(r->mdata, m);
    pkg.type_frozen(s);
    return s;
  }
  TYPE* func(TYPE* result, std::initializer_list<TYPE*> params) {
    TYPE* f = pkg.mk_func(result, false, false, false, TYPE::CC_DEFAULT, 0, 0);
    FUNC_RECORD* r = f->getr_func();
    r->has_params = true;
    for (TYPE* p : params) {
      auto* e = new fkPARAM;
      e->type = p;
      tp_append(r->params, e);
    }
    pkg.type_frozen(f);
    return f;
  }

  TYPE_PKG pkg;
  TYPE_PKG* saved_tp = nullptr;
  TYPE* saved_root = nullptr;
};

using TypesDeathTest = TypesTest;

TEST_F(TypesTest, BasicSizesAndFolding) {
  const uint32_t bits[] = {32, 16, 16, 16, 16, 16, 32, 32, 32, 32, 32, 32, 32, 32, 32};
  for (int b = TYPE_PKG::BT_BOOL; b <= TYPE_PKG::BT_LDOUBLE; ++b) {
    EXPECT_EQ(basic(b)->size, bits[b]) << b;
    EXPECT_EQ(basic(b)->align, bits[b]) << b;
  }
  EXPECT_EQ(basic(TYPE_PKG::BT_PVOID)->size, 16u);
  EXPECT_EQ(basic(TYPE_PKG::BT_PVOID)->type_pointed_to(), basic(TYPE_PKG::BT_VOID));
  EXPECT_EQ(basic(TYPE_PKG::BT_SHORT)->size_in_bytes(), 1u);
  EXPECT_EQ(int_t()->size_in_bytes(), 2u);

  auto norm = [&](int b) { return basic(b)->normalized_type(); };
  EXPECT_EQ(norm(TYPE_PKG::BT_LLONG), int_t());
  EXPECT_EQ(norm(TYPE_PKG::BT_ULLONG), basic(TYPE_PKG::BT_UINT));
  EXPECT_EQ(norm(TYPE_PKG::BT_LONG), int_t());
  EXPECT_EQ(norm(TYPE_PKG::BT_ULONG), basic(TYPE_PKG::BT_UINT));
  EXPECT_EQ(norm(TYPE_PKG::BT_DOUBLE), basic(TYPE_PKG::BT_FLOAT));
  EXPECT_EQ(norm(TYPE_PKG::BT_LDOUBLE), basic(TYPE_PKG::BT_FLOAT));
  EXPECT_EQ(norm(TYPE_PKG::BT_SHORT), basic(TYPE_PKG::BT_CHAR));
  EXPECT_EQ(norm(TYPE_PKG::BT_USHORT), basic(TYPE_PKG::BT_UCHAR));
  // wchar_t goes to short, and on through short to char.
  EXPECT_EQ(norm(TYPE_PKG::BT_WCHAR), basic(TYPE_PKG::BT_CHAR));
  EXPECT_EQ(norm(TYPE_PKG::BT_INT), int_t());
  EXPECT_EQ(norm(TYPE_PKG::BT_CHAR), basic(TYPE_PKG::BT_CHAR));
  EXPECT_EQ(norm(TYPE_PKG::BT_BOOL), basic(TYPE_PKG::BT_BOOL));

  // Typedefs, enums and qualifiers on top of folded types.
  TYPE* ll = pkg.mk_typedef("ll_t", basic(TYPE_PKG::BT_LLONG), 32, 32, false, false);
  EXPECT_EQ(ll->normalized_type(), int_t());
  TYPE* e = pkg.mk_enum("E", 32, 32, basic(TYPE_PKG::BT_LONG), false);
  pkg.type_frozen(e);
  EXPECT_EQ(e->normalized_type(), int_t());
  TYPE* cl = pkg.mk_qual(basic(TYPE_PKG::BT_LONG), TYPE::Q_CONST);
  EXPECT_EQ(cl->normalized_type(), pkg.mk_qual(int_t(), TYPE::Q_CONST));
  // A type of another size keeps its identity.
  TYPE* long48 = pkg.mk_int(TYPE::IK_LONG, true, 48, 48, false, false);
  EXPECT_EQ(long48->normalized_type(), long48);
  // Pointers are not looked into.
  TYPE* pll = pkg.mk_ptr(basic(TYPE_PKG::BT_LLONG));
  EXPECT_EQ(pll->normalized_type(), pll);
}

TEST_F(TypesTest, UpdateBasicTypesRefolds) {
  int saved = TYPE_PKG::wchar_t_size_in_bits;
  TYPE_PKG::wchar_t_size_in_bits = 32;
  pkg.update_basic_types();
  TYPE* w = basic(TYPE_PKG::BT_WCHAR);
  EXPECT_EQ(w->size, 32u);
  EXPECT_EQ(w->normalized_type(), w) << "a 32-bit wchar_t no longer folds onto short";
  EXPECT_EQ(basic(TYPE_PKG::BT_SHORT)->normalized_type(), basic(TYPE_PKG::BT_CHAR));
  TYPE_PKG::wchar_t_size_in_bits = saved;
  pkg.update_basic_types();
  EXPECT_EQ(basic(TYPE_PKG::BT_WCHAR)->size, 16u);
  EXPECT_EQ(basic(TYPE_PKG::BT_WCHAR)->normalized_type(), basic(TYPE_PKG::BT_CHAR));
}

TEST_F(TypesTest, TypesWithoutListsAreShared) {
  TYPE* i = int_t();
  TYPE* p = pkg.mk_ptr(i);
  EXPECT_EQ(pkg.mk_ptr(i), p);
  EXPECT_EQ(pkg.mk_ptr(i, 16, 16), p);
  EXPECT_NE(pkg.mk_ptr(i, 32, 32), p);
  EXPECT_NE(pkg.mk_ptr(basic(TYPE_PKG::BT_LONG)), p);
  EXPECT_NE(p->uid, 0u);
  EXPECT_EQ(pkg.by_id.at(static_cast<int>(p->uid)), p);

  EXPECT_EQ(pkg.mk_int(TYPE::IK_INT, true), i);
  EXPECT_EQ(pkg.mk_int(TYPE::IK_INT, true, 32, 32, false, false), i);
  EXPECT_EQ(pkg.mk_fltpt(TYPE::FK_DOUBLE), basic(TYPE_PKG::BT_DOUBLE));
  EXPECT_NE(basic(TYPE_PKG::BT_DOUBLE), basic(TYPE_PKG::BT_FLOAT)) << "folding does not merge the basic types";

  EXPECT_EQ(pkg.mk_qual(i, 0), i);
  TYPE* c = pkg.mk_qual(i, TYPE::Q_CONST);
  EXPECT_EQ(pkg.mk_qual(i, TYPE::Q_CONST), c);
  EXPECT_EQ(pkg.mk_qual(c, TYPE::Q_CONST), c);
  TYPE* cv = pkg.mk_qual(c, TYPE::Q_VOLATILE);
  EXPECT_EQ(cv, pkg.mk_qual(pkg.mk_qual(i, TYPE::Q_VOLATILE), TYPE::Q_CONST));
  EXPECT_EQ(cv->qual_kind(false), TYPE::Q_CONST | TYPE::Q_VOLATILE);
  EXPECT_EQ(cv->rep, i);
  EXPECT_EQ(cv->type_qualified(), i);

  TYPE* a10 = pkg.mk_array(i, 10, 320, 32, false, true);
  EXPECT_EQ(pkg.mk_array(i, 10, 320, 32, false, true), a10);
  EXPECT_NE(pkg.mk_array(i, 5, 160, 32, false, true), a10);
  EXPECT_NE(pkg.mk_vector(i, 10, 320, 32), a10);

  TYPE* t = pkg.mk_typedef("T", i, 32, 32, false, false);
  EXPECT_EQ(pkg.mk_typedef("T", i, 32, 32, false, false), t);
  EXPECT_NE(pkg.mk_typedef("U", i, 32, 32, false, false), t);
  EXPECT_EQ(t->rep, i);
  EXPECT_EQ(pkg.mk_qual(t, TYPE::Q_CONST)->rep, i);
  EXPECT_EQ(pkg.mk_qual(t, TYPE::Q_CONST)->stqs(), i);
  EXPECT_EQ(pkg.mk_qual(t, TYPE::Q_CONST)->stds(), pkg.mk_qual(t, TYPE::Q_CONST));

  EXPECT_EQ(pkg.mk_signed(basic(TYPE_PKG::BT_UINT)), i);
  EXPECT_EQ(pkg.mk_unsigned(i), basic(TYPE_PKG::BT_UINT));
  EXPECT_TRUE(pkg.mk_signed(basic(TYPE_PKG::BT_UCHAR))->is_schar());
}

TEST_F(TypesTest, FrozenTypesWithEqualListsAreShared) {
  TYPE* s1 = frozen_struct("S", {"a", "b"});
  TYPE* open = open_struct("S", {"a", "b"});
  TYPE* s2 = open;
  pkg.type_frozen(s2);
  EXPECT_EQ(s2, s1);
  EXPECT_EQ(open->base, s1) << "the replaced type links to the one that stays";
  EXPECT_EQ(open->last_base(), s1);

  EXPECT_NE(frozen_struct("S", {"a", "c"}), s1);
  EXPECT_NE(frozen_struct("S", {"a"}), s1);
  EXPECT_NE(frozen_struct("R", {"a", "b"}), s1);
  TYPE* u = pkg.mk_union("S", 64, 32);
  pkg.type_frozen(u);
  EXPECT_NE(u, s1);

  // A structure that points to itself.
  TYPE* n1 = linked_struct("N", 0);
  TYPE* n2 = pkg.mk_struct("N", 16, 16);
  TYPE* p2 = pkg.mk_ptr(n2);
  CSU_RECORD* r = n2->getr_csu();
  r->complete = true;
  r->has_list[LK_MDATA] = true;
  auto* m = new fkMDATA;
  m->member_id = 1;
  m->name = "next";
  m->type = p2;
  tp_append(r->mdata, m);
  TYPE* kept = n2;
  pkg.type_frozen(kept);
  EXPECT_EQ(kept, n1);
  EXPECT_EQ(p2->last_base(), pkg.mk_ptr(n1)) << "the pointer made on the open type follows";
  EXPECT_EQ(pkg.mk_ptr(n2), pkg.mk_ptr(n1));
  EXPECT_NE(linked_struct("N", 7), n1);

  // Functions.
  TYPE* pc = pkg.mk_ptr(basic(TYPE_PKG::BT_CHAR));
  TYPE* f1 = func(int_t(), {int_t(), pc});
  EXPECT_EQ(func(int_t(), {int_t(), pc}), f1);
  EXPECT_NE(func(int_t(), {basic(TYPE_PKG::BT_LONG), pc}), f1);
  EXPECT_NE(func(int_t(), {int_t()}), f1);
  EXPECT_NE(func(basic(TYPE_PKG::BT_VOID), {int_t(), pc}), f1);
}

TEST_F(TypesTest, FindEquivalentTypeAfterReading) {
  // As in a file: a function type refers to a structure still open, which
  // then turns out to equal one already there.
  TYPE* s1 = frozen_struct("S", {"a"});
  TYPE* f1 = func(int_t(), {pkg.mk_ptr(s1)});
  TYPE* s2 = open_struct("S", {"a"});
  TYPE* f2 = func(int_t(), {pkg.mk_ptr(s2)});
  EXPECT_NE(f2, f1) << "not equal while the structure is open";
  TYPE* s2_kept = s2;
  pkg.type_frozen(s2_kept);
  EXPECT_EQ(s2_kept, s1);
  EXPECT_EQ(pkg.find_equivalent_type(f2), f1);
  EXPECT_EQ(f2->last_base(), f1);
  EXPECT_EQ(pkg.find_equivalent_type(f1), f1);
  EXPECT_EQ(pkg.find_equivalent_type(s2), s1);
  EXPECT_EQ(pkg.find_equivalent_type(nullptr), nullptr);
  // A typedef of the merged structure moves to the one that stays.
  TYPE* t1 = pkg.mk_typedef("T", s1, 32, 32, false, false);
  EXPECT_EQ(pkg.mk_typedef("T", s2, 32, 32, false, false), t1);
}

TEST_F(TypesTest, BoolAndCharQueries) {
  TYPE* b = basic(TYPE_PKG::BT_BOOL);
  EXPECT_TRUE(b->is_bool());
  EXPECT_EQ(b->ikind, TYPE::IK_BOOL);
  TYPE* b2 = pkg.mk_int(TYPE::IK_INT, true, 32, 32, false, true);
  EXPECT_NE(b2, int_t());
  EXPECT_TRUE(b2->is_bool());
  EXPECT_TRUE(b2->is_int());
  EXPECT_EQ(b2->normalized_type(), b2) << "an int acting as a bool keeps its identity";
  EXPECT_FALSE(int_t()->is_bool());
  EXPECT_TRUE(pkg.mk_qual(b2, TYPE::Q_CONST)->is_bool());
  EXPECT_EQ(pkg.mk_int(TYPE::IK_INT, false, 32, 32, true, false), b) << "the bool flag makes a bool";

  TYPE* c = basic(TYPE_PKG::BT_CHAR);
  TYPE* sc = pkg.mk_int(TYPE::IK_CHAR, true);
  TYPE* uc = basic(TYPE_PKG::BT_UCHAR);
  EXPECT_TRUE(c->is_plain_char());
  EXPECT_FALSE(c->is_schar());
  EXPECT_TRUE(c->is_signed());
  EXPECT_NE(sc, c);
  EXPECT_FALSE(sc->is_plain_char());
  EXPECT_TRUE(sc->is_schar());
  EXPECT_FALSE(uc->is_plain_char());
  EXPECT_TRUE(uc->is_uchar());
  EXPECT_TRUE(uc->is_unsigned());
  EXPECT_TRUE(pkg.mk_typedef("ch", c, 16, 16, false, false)->is_plain_char());
  EXPECT_EQ(sc->normalized_type(), c);

  EXPECT_TRUE(int_t()->is_signed());
  EXPECT_TRUE(basic(TYPE_PKG::BT_UINT)->is_unsigned());
  EXPECT_EQ(basic(TYPE_PKG::BT_LLONG)->rank(), 5);
  EXPECT_EQ(basic(TYPE_PKG::BT_UCHAR)->rank(), 1);
  EXPECT_EQ(b->rank(), 0);
}

TEST_F(TypesTest, EkindAndRecords) {
  EXPECT_EQ(int_t()->ekind(), TYPE::IK_INT);
  EXPECT_EQ(basic(TYPE_PKG::BT_DOUBLE)->ekind(), TYPE::EK_DOUBLE);
  EXPECT_EQ(basic(TYPE_PKG::BT_PVOID)->ekind(), TYPE::EK_POINTER);
  EXPECT_EQ(basic(TYPE_PKG::BT_VOID)->ekind(), TYPE::EK_VOID);
  EXPECT_EQ(frozen_struct("S", {"a"})->ekind(), TYPE::EK_STRUCT);
  TYPE* t = pkg.mk_typedef("T", int_t(), 32, 32, false, false);
  EXPECT_EQ(t->rep->ekind(), TYPE::IK_INT);

  TYPE* flex = pkg.mk_struct("F", 32, 32);
  CSU_RECORD* r = flex->getr_csu();
  auto* n = new fkMDATA;
  n->name = "n";
  n->type = int_t();
  auto* data = new fkMDATA;
  data->name = "data";
  data->type = pkg.mk_array(int_t(), 0, 0, 32, false, false);
  data->offset = 32;
  tp_append(r->mdata, n);
  tp_append(r->mdata, data);
  pkg.type_frozen(flex);
  EXPECT_TRUE(flex->has_flex_array_member(false));
  EXPECT_FALSE(flex->is_complete());
  EXPECT_FALSE(frozen_struct("G", {"a"})->has_flex_array_member(true));
}

TEST_F(TypesDeathTest, EkindStopsOnTypedefAndQualifier) {
  TYPE* t = pkg.mk_typedef("T", int_t(), 32, 32, false, false);
  EXPECT_EXIT(t->ekind(), ::testing::ExitedWithCode(1), "TP>> internal error: unhandled type kind: TYPE::ekind\\(\\)");
  TYPE* c = pkg.mk_qual(int_t(), TYPE::Q_CONST);
  EXPECT_EXIT(c->ekind(), ::testing::ExitedWithCode(1), "unhandled type kind: TYPE::ekind\\(\\)");
  EXPECT_EXIT(int_t()->getr_csu(), ::testing::ExitedWithCode(1), "Bad kind:  TYPE::getr_csu\\(\\)");
  EXPECT_EXIT(pkg.mk_ptr(nullptr), ::testing::ExitedWithCode(1), "TP>> internal error: mk_ptr");
}

TEST_F(TypesTest, PrintstrGivesCForm) {
  TYPE* i = int_t();
  TYPE* pc = pkg.mk_ptr(basic(TYPE_PKG::BT_CHAR));
  EXPECT_STREQ(i->printstr(false), "int");
  EXPECT_STREQ(basic(TYPE_PKG::BT_UINT)->printstr(false), "unsigned");
  EXPECT_STREQ(pkg.mk_int(TYPE::IK_CHAR, true)->printstr(false), "[ExplSign] char");
  EXPECT_STREQ(pkg.mk_ptr(pkg.mk_qual(i, TYPE::Q_CONST))->printstr(false), "const int *");
  EXPECT_STREQ(pkg.mk_qual(pkg.mk_ptr(i), TYPE::Q_CONST | TYPE::Q_RESTRICT)->printstr(false),
               "int *const restrict");
  EXPECT_STREQ(pkg.mk_qual(basic(TYPE_PKG::BT_ULONG), TYPE::Q_VOLATILE | TYPE::Q_IOPORT | TYPE::Q_ONCHIP)->printstr(false),
               "volatile ioport onchip unsigned long");
  TYPE* a10 = pkg.mk_array(i, 10, 320, 32, false, true);
  EXPECT_STREQ(a10->printstr(false), "int [10]");
  EXPECT_STREQ(pkg.mk_ptr(a10)->printstr(false), "int (*)[10]");
  EXPECT_STREQ(pkg.mk_array(pc, 4, 64, 16, false, true)->printstr(false), "char *[4]");
  TYPE* f = func(i, {i, pc});
  EXPECT_STREQ(f->printstr(false), "int (int, char *)");
  EXPECT_STREQ(pkg.mk_ptr(f)->printstr(false), "int (*)(int, char *)");
  EXPECT_STREQ(pkg.mk_ref(basic(TYPE_PKG::BT_DOUBLE), 16, 16)->printstr(false), "double &");
  EXPECT_STREQ(pkg.mk_complex(basic(TYPE_PKG::BT_FLOAT), 64, 32)->printstr(false), "cfloat");

  TYPE* s = pkg.mk_struct("S", 64, 32);
  CSU_RECORD* r = s->getr_csu();
  auto* a = new fkMDATA;
  a->name = "a";
  a->type = i;
  auto* b = new fkMDATA;
  b->name = "b";
  b->type = basic(TYPE_PKG::BT_UINT);
  b->offset = 32;
  b->is_bitfield = true;
  b->width = 3;
  tp_append(r->mdata, a);
  tp_append(r->mdata, b);
  pkg.type_frozen(s);
  EXPECT_STREQ(s->printstr(false), "struct S");
  EXPECT_STREQ(s->printstr(true), "struct S { off:  0 int a; off: 32 bitfld( 3) unsigned b; }");
  EXPECT_STREQ(pkg.mk_ptm(i, s, 16, 16)->printstr(false), "int S::*");
  EXPECT_STREQ(pkg.mk_typedef("T", pkg.mk_ptr(s), 16, 16, false, false)->printstr(false), "T");
}

TEST_F(TypesTest, CompatibleTypes) {
  TYPE* i = int_t();
  TYPE* l = basic(TYPE_PKG::BT_LONG);
  TYPE* ci = pkg.mk_qual(i, TYPE::Q_CONST);
  TYPE* t = pkg.mk_typedef("T", i, 32, 32, false, false);

  // Pointers.
  EXPECT_TRUE(compatible_types(pkg.mk_ptr(i), pkg.mk_ptr(t), true));
  EXPECT_FALSE(compatible_types(pkg.mk_ptr(i), pkg.mk_ptr(l), false)) << "int and long stay apart at equal size";
  EXPECT_FALSE(compatible_types(pkg.mk_ptr(basic(TYPE_PKG::BT_CHAR)), pkg.mk_ptr(pkg.mk_int(TYPE::IK_CHAR, true)), false));
  EXPECT_TRUE(compatible_types(pkg.mk_ptr(i), pkg.mk_ptr(ci), false));
  EXPECT_FALSE(compatible_types(pkg.mk_ptr(i), pkg.mk_ptr(ci), true));
  EXPECT_FALSE(compatible_types(pkg.mk_ptr(i), i, false));

  // Qualifiers and typedefs at the top do not count; exact_types sees them.
  EXPECT_TRUE(compatible_types(ci, i, true));
  EXPECT_TRUE(compatible_types(t, i, true));
  EXPECT_FALSE(exact_types(ci, i));
  EXPECT_TRUE(exact_types(t, i));
  EXPECT_TRUE(exact_types(pkg.mk_qual(t, TYPE::Q_CONST), ci));

  // Arrays: an unknown count matches any count.
  TYPE* a10 = pkg.mk_array(i, 10, 320, 32, false, true);
  TYPE* a_ = pkg.mk_array(i, 0, 0, 32, false, false);
  EXPECT_TRUE(compatible_types(a10, a_, true));
  EXPECT_FALSE(exact_types(a10, a_));
  EXPECT_FALSE(compatible_types(a10, pkg.mk_array(i, 5, 160, 32, false, true), true));
  EXPECT_FALSE(compatible_types(a10, pkg.mk_array(l, 10, 320, 32, false, true), true));
  EXPECT_FALSE(compatible_types(pkg.mk_array(ci, 10, 320, 32, false, true), a10, true));
  EXPECT_TRUE(compatible_types(pkg.mk_array(ci, 10, 320, 32, false, true), a10, false));

  // Functions: results and parameters.
  TYPE* f = func(i, {i, pkg.mk_ptr(i)});
  EXPECT_TRUE(compatible_types(f, func(t, {ci, pkg.mk_ptr(t)}), true)) << "parameter qualifiers are not part of it";
  EXPECT_FALSE(exact_types(f, func(t, {ci, pkg.mk_ptr(t)})));
  EXPECT_FALSE(compatible_types(f, func(i, {i}), false));
  EXPECT_FALSE(compatible_types(f, func(l, {i, pkg.mk_ptr(i)}), false));
  EXPECT_FALSE(compatible_types(f, func(i, {i, pkg.mk_ptr(ci)}), true));
  EXPECT_TRUE(compatible_types(pkg.mk_ptr(f), pkg.mk_ptr(func(i, {t, pkg.mk_ptr(i)})), true));

  // Enums against their underlying type; structures that point to
  // themselves, kept apart by a flag the comparison does not look at.
  TYPE* e = pkg.mk_enum("E", 32, 32, i, false);
  pkg.type_frozen(e);
  EXPECT_TRUE(compatible_types(e, i, true));
  EXPECT_FALSE(exact_types(e, i));
  TYPE* n1 = linked_struct("N", 1);
  TYPE* n2 = linked_struct("N", 2);
  ASSERT_NE(n1, n2);
  EXPECT_TRUE(compatible_types(pkg.mk_ptr(n1), pkg.mk_ptr(n2), true));
  EXPECT_FALSE(compatible_types(n1, linked_struct("M", 1), true));
}

TEST_F(TypesTest, PromotionsAndArithmeticConversions) {
  auto b = [&](int k) { return basic(k); };
  EXPECT_EQ(c_integral_promotions(b(TYPE_PKG::BT_CHAR)), int_t());
  EXPECT_EQ(c_integral_promotions(b(TYPE_PKG::BT_USHORT)), int_t()) << "int holds every 16-bit value";
  EXPECT_EQ(c_integral_promotions(b(TYPE_PKG::BT_BOOL)), int_t());
  EXPECT_EQ(c_integral_promotions(b(TYPE_PKG::BT_UINT)), b(TYPE_PKG::BT_UINT));
  EXPECT_EQ(c_integral_promotions(pkg.mk_qual(b(TYPE_PKG::BT_LONG), TYPE::Q_CONST)), b(TYPE_PKG::BT_LONG));
  EXPECT_EQ(c_integral_promotions(b(TYPE_PKG::BT_FLOAT)), b(TYPE_PKG::BT_FLOAT));
  // A 32-bit unsigned type below int in rank would not fit in int.
  EXPECT_EQ(c_integral_promotions(pkg.mk_int(TYPE::IK_USHORT, false, 32, 32, false, false)), b(TYPE_PKG::BT_UINT));

  EXPECT_EQ(c_usual_arith_conv(int_t(), b(TYPE_PKG::BT_UINT)), b(TYPE_PKG::BT_UINT));
  EXPECT_EQ(c_usual_arith_conv(b(TYPE_PKG::BT_SHORT), b(TYPE_PKG::BT_USHORT)), int_t());
  EXPECT_EQ(c_usual_arith_conv(b(TYPE_PKG::BT_LONG), b(TYPE_PKG::BT_UINT)), b(TYPE_PKG::BT_ULONG));
  EXPECT_EQ(c_usual_arith_conv(b(TYPE_PKG::BT_LLONG), b(TYPE_PKG::BT_INT)), b(TYPE_PKG::BT_LLONG));
  EXPECT_EQ(c_usual_arith_conv(int_t(), b(TYPE_PKG::BT_FLOAT)), b(TYPE_PKG::BT_FLOAT));
  EXPECT_EQ(c_usual_arith_conv(b(TYPE_PKG::BT_DOUBLE), b(TYPE_PKG::BT_FLOAT)), b(TYPE_PKG::BT_DOUBLE));
  TYPE* e = pkg.mk_enum("E", 32, 32, b(TYPE_PKG::BT_UINT), false);
  pkg.type_frozen(e);
  EXPECT_EQ(c_usual_arith_conv(e, int_t()), b(TYPE_PKG::BT_UINT));
}

TEST_F(TypesTest, MarksForWriting) {
  TYPE* target = frozen_struct("T", {"x"});
  TYPE* s = pkg.mk_struct("S", 16, 16);
  CSU_RECORD* r = s->getr_csu();
  auto* m = new fkMDATA;
  m->name = "p";
  m->type = pkg.mk_ptr(pkg.mk_qual(target, TYPE::Q_CONST));
  tp_append(r->mdata, m);
  pkg.type_frozen(s);
  TYPE* td = pkg.mk_typedef("unused_t", basic(TYPE_PKG::BT_SHORT), 16, 16, false, false);
  TYPE* dup = open_struct("T", {"x"});
  TYPE* dup_kept = dup;
  pkg.type_frozen(dup_kept);
  ASSERT_EQ(dup->base, target);

  TYPE::mark_named_types(false);
  EXPECT_FALSE(td->referenced);
  // A merged type stands for the one it was merged with.
  dup->referenced = true;
  TYPE::mark_refed_types();
  EXPECT_TRUE(target->referenced);
  EXPECT_TRUE(int_t()->referenced);
  EXPECT_FALSE(m->type->referenced);
  s->referenced = true;
  TYPE::mark_refed_types();
  EXPECT_TRUE(m->type->referenced);
  EXPECT_TRUE(pkg.mk_qual(target, TYPE::Q_CONST)->referenced);
  EXPECT_FALSE(td->referenced);
  EXPECT_FALSE(basic(TYPE_PKG::BT_SHORT)->referenced);
  TYPE::mark_named_types(true);
  EXPECT_TRUE(td->referenced);
}

}  // namespace
