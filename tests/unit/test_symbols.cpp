#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/symbol.h"
#include "ir/types.h"

namespace {

// The classic shift-4 name hash, written out independently.
unsigned reference_hash(const char* s) {
  unsigned h = 0;
  while (*s) {
    h = (h << 4) + static_cast<unsigned char>(*s++);
    if (unsigned g = h & 0xf0000000u) {
      h ^= g >> 28;
      h ^= g;
    }
  }
  return (h & 0x7fff) % 73;
}

TEST(Funinfo, HashMatchesTheShift4Scheme) {
  for (const char* n : {"main", "a", "", "a_rather_long_function_name_that_folds_the_top_bits", "__sti__x"})
    EXPECT_EQ(funinfo_hash(n), reference_hash(n)) << n;
}

TEST(Funinfo, OneRecordPerNameWithPresets) {
  FUNINFO* m = make_FUNINFO("main");
  EXPECT_EQ(make_FUNINFO("main"), m);
  EXPECT_EQ(find_FUNINFO("main"), m);
  EXPECT_TRUE(m->flags & FUN_is_main);
  EXPECT_EQ(find_FUNINFO("mainx"), nullptr);
  EXPECT_TRUE(make_FUNINFO("exit")->flags & FUN_never_returns);
  EXPECT_EQ(make_FUNINFO("strlen")->flags, static_cast<uint32_t>(FUN_is_SYSTEM | 0x410180));
  EXPECT_EQ(make_FUNINFO("sqrt")->flags, static_cast<uint32_t>(FUN_is_SYSTEM | 0xc10180));
  EXPECT_TRUE(make_FUNINFO("__sti__init")->flags & FUN_is_cg_root);
  EXPECT_EQ(make_FUNINFO("my_function")->flags, 0u);
}

TEST(Symbols, TemporariesAreNamedAndTypedForTheTarget) {
  if (!tp) {
    tp = new TYPE_PKG();
    tp->init_type_pkg();
  }
  FUNINFO* f = make_FUNINFO("temps_owner");
  currfuninfo = f;
  temp_count = 0;
  TYPE* e = tp->mk_enum("E", 32, 32, tp->basic[TYPE_PKG::BT_INT], false);
  tp->type_frozen(e);
  SYMTAB* t1 = sym_temp('T', -1, e, nullptr);
  SYMTAB* t2 = sym_temp('C', 42, tp->mk_qual(tp->basic[TYPE_PKG::BT_SHORT], TYPE::Q_CONST), nullptr);
  EXPECT_STREQ(t1->name, "$O$T1");
  EXPECT_STREQ(t2->name, "$O$C42");
  EXPECT_EQ(t1->type, tp->basic[TYPE_PKG::BT_INT]) << "an enum temporary is an int";
  EXPECT_EQ(t2->type, tp->basic[TYPE_PKG::BT_SHORT]) << "qualifiers are dropped";
  EXPECT_EQ(t1->sclass, SC_LOCAL);
  EXPECT_EQ(t1->lex_level, 2);
  EXPECT_EQ(f->temps, t2);
  EXPECT_EQ(t2->next, t1);
  EXPECT_TRUE(is_optimizer_temp(t1->name, 'T', 0));
  currfuninfo = nullptr;
  zfree_all();
}

TEST(Symbols, ErrnoIsRecognisedByNameAndType) {
  if (!tp) {
    tp = new TYPE_PKG();
    tp->init_type_pkg();
  }
  SYMTAB a;
  a.name = const_cast<char*>("_errno");
  a.type = tp->basic[TYPE_PKG::BT_INT];
  errno_symbol = nullptr;
  sym_def(&a);
  EXPECT_EQ(errno_symbol, &a);
  SYMTAB b;
  b.name = const_cast<char*>("errno");
  b.type = tp->basic[TYPE_PKG::BT_FLOAT];
  errno_symbol = nullptr;
  sym_def(&b);
  EXPECT_EQ(errno_symbol, nullptr);
  global_symbols = nullptr;
}

TEST(Symbols, RevsymtabReversesOntoATail) {
  SYMTAB a, b, c, t;
  a.next = &b;
  b.next = &c;
  c.next = nullptr;
  SYMTAB* r = revsymtab(&a, &t);
  EXPECT_EQ(r, &c);
  EXPECT_EQ(c.next, &b);
  EXPECT_EQ(b.next, &a);
  EXPECT_EQ(a.next, &t);
}

TEST(Funinfo, ThousandsOfNamesEachFindTheirOwnRecord) {
  // Enough names to fill every bucket with long chains and to grow the
  // index several times; names alike in their first two characters, and
  // names that are prefixes of others.
  std::vector<std::string> names;
  for (int i = 0; i < 5000; ++i) names.push_back("fn" + std::to_string(i));
  for (int i = 0; i < 200; ++i) names.push_back(std::string(static_cast<size_t>(i % 40 + 1), 'q') + "_" + std::to_string(i));
  std::vector<FUNINFO*> made;
  for (const std::string& n : names) made.push_back(make_FUNINFO(n.c_str()));
  for (size_t i = 0; i < names.size(); ++i) {
    ASSERT_EQ(find_FUNINFO(names[i].c_str()), made[i]) << names[i];
    ASSERT_STREQ(made[i]->name, names[i].c_str());
    ASSERT_EQ(make_FUNINFO(names[i].c_str()), made[i]) << "made once";
  }
  for (const char* absent : {"fn5000", "fn", "f", "q", "qq_", "fn12x", "nf12"})
    EXPECT_EQ(find_FUNINFO(absent), nullptr) << absent;
}

}  // namespace

namespace {

std::vector<LS*> children_of(const LS* s) {
  std::vector<LS*> v;
  for (LS* c = s->first_child; c; c = c->next_sibling) v.push_back(c);
  return v;
}

// Blocks are appended in order, each at once; a new function's scopes start
// from nothing, whatever the last function left behind.
TEST(Scopes, SiblingBlocksKeepTheirOrderFromFunctionToFunction) {
  FUNINFO* saved = currfuninfo;
  currfuninfo = nullptr;
  reset_function_scopes();
  // The function's scope (the file level itself when nothing was open yet).
  LS* fa = LS::open(nullptr, nullptr, 0);
  std::vector<LS*> blocks;
  for (int i = 0; i < 3; i++) {
    blocks.push_back(LS::open(nullptr, nullptr, 0));
    LS* inner = LS::open(nullptr, nullptr, 0);
    EXPECT_EQ(inner->parent, blocks.back());
    LS::close(nullptr, nullptr, 0);
    LS::close(nullptr, nullptr, 0);
  }
  EXPECT_EQ(children_of(fa), blocks);
  EXPECT_EQ(fa->last_child, blocks.back());
  LS::close(nullptr, nullptr, 0);

  reset_function_scopes();
  LS* fb = LS::open(nullptr, nullptr, 0);
  LS* b = LS::open(nullptr, nullptr, 0);
  ASSERT_NE(fb->parent, nullptr) << "the file level stays open";
  EXPECT_EQ(children_of(fb->parent), std::vector<LS*>{fb}) << "the last function's scopes are gone";
  EXPECT_EQ(children_of(fb), std::vector<LS*>{b});
  EXPECT_EQ(fb->parent->last_child, fb);
  LS::close(nullptr, nullptr, 0);
  LS::close(nullptr, nullptr, 0);
  reset_function_scopes();
  currfuninfo = saved;
}

}  // namespace
