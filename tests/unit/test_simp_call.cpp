// The minimum and maximum intrinsics, MEMCPY, and the pieces of the last
// clean-up: find_sole_use and the stack order of sort_stack_variables.
#include "scalar/cfg.h"
#include "test_simp_util.h"

namespace simp_test {
namespace {

class Calls : public SimpTest {
 public:
  // An intrinsic call of two operands given as text.
  std::string icall(const char* name, const std::string& a, const std::string& b, const char* type = "i32") {
    NODE* args = maketree(COMMA, parse(a), parse(b), type_named("void"), nullptr);
    return show(simp_tree(mk_ICALL(name, args, type_named(type)), nullptr, nullptr));
  }
  std::string memcpy_of(const std::string& d, const std::string& s, const std::string& n, const char* type = "void") {
    return simp("(MEMCPY " + std::string(type) + " (COMMA void (COMMA void " + d + " " + s + ") " + n + "))");
  }
};

TEST_F(Calls, MinMaxFoldAndKeepEffects) {
  EXPECT_EQ(icall("MAX", "#x", "#x"), "#x");
  EXPECT_EQ(icall("MAX", "(ASG i32 #x #y)", "(ASG i32 #x #y)"), "(ICALL i32 (COMMA void (ASG i32 #x #y) (ASG i32 #x #y)))")
      << "two assignments are two effects";
  EXPECT_EQ(icall("MAX", "3:i32", "5:i32"), "5:i32");
  EXPECT_EQ(icall("MIN", "-3:i32", "5:i32"), "-3:i32");
  EXPECT_EQ(icall("MAXU", "-1:u32", "1:u32", "u32"), "4294967295:u32") << "compared unsigned";
  EXPECT_EQ(icall("MIN", "#x", "2147483647:i32"), "#x");
  EXPECT_EQ(icall("MAX", "-2147483648:i32", "#x"), "#x");
  EXPECT_EQ(icall("MINU", "#u", "0:u32", "u32"), "0:u32");
  EXPECT_EQ(icall("MAX", "(ASG i32 #x #y)", "2147483647:i32"), "(COMMAOP i32 (ASG i32 #x #y) 2147483647:i32)");
  EXPECT_EQ(icall("MAX", "#x", "7:i32"), "(ICALL i32 (COMMA void #x 7:i32))");
  NODE* inner = maketree(COMMA, parse("#x"), parse("3:i32"), type_named("void"), nullptr);
  NODE* outer = maketree(COMMA, mk_ICALL("MAX", inner, type_named("i32")), parse("5:i32"), type_named("void"), nullptr);
  EXPECT_EQ(show(simp_tree(mk_ICALL("MAX", outer, type_named("i32")), nullptr, nullptr)),
            "(ICALL i32 (COMMA void #x 5:i32))");
  EXPECT_EQ(icall("FMAX", "1.0:f32", "2.0:f32", "f32"), canon("2.0:f32"));
  EXPECT_EQ(icall("FMIN", "0.0:f32", "-0.0:f32", "f32"), canon("(ICALL f32 (COMMA void 0.0:f32 -0.0:f32))"))
      << "a tie of signed zeros";
}

TEST_F(Calls, MemcpyOfNothingOrOntoItself) {
  EXPECT_EQ(memcpy_of("#p", "#q", "0:u32"), "#p");
  EXPECT_EQ(memcpy_of("#p", "#p", "2:u32"), "#p");
  EXPECT_EQ(memcpy_of("#p", "#p", "#u"), "#p");
  EXPECT_EQ(memcpy_of("#p", "#p", "(ASG u32 #u #v)"), "(MEMCPY void (COMMA void (COMMA void #p #p) (ASG u32 #u #v)))")
      << "the size has an effect";
  // The source's effect stays; the copy goes.
  std::string kept = memcpy_of("#p", "(ASG p.i32 #q #p)", "0:u32");
  EXPECT_NE(kept.find("(ASG p.i32 #q #p)"), std::string::npos) << kept;
  EXPECT_EQ(kept.find("MEMCPY"), std::string::npos) << kept;
  // Its value is dest; dest can't run after the source unless it is fixed.
  EXPECT_EQ(memcpy_of("#p", "(ASG p.i32 #q #p)", "0:u32", "p.i32"),
            "(MEMCPY p.i32 (COMMA void (COMMA void #p (ASG p.i32 #q #p)) 0:u32))");
  EXPECT_EQ(memcpy_of("#p", "#q", "1:u32"), "(MEMCPY void (COMMA void (COMMA void #p #q) 1:u32))");
}

TEST_F(Calls, MemcpyOfOneScalarIsAnAssignment) {
  add_sym("pv", "p.v.i32");
  add_sym("ps", "p.i16");
  add_sym("pu", "p.u32");
  EXPECT_EQ(memcpy_of("(PCONV p.void #p)", "(PCONV p.void #q)", "2:u32"), "(ASG i32 (UMULT i32 #p) (UMULT i32 #q))");
  EXPECT_EQ(memcpy_of("(PCONV p.void #p)", "(PCONV p.void #pu)", "2:u32"),
            "(ASG i32 (UMULT i32 #p) (SCONV i32 (UMULT u32 #pu)))");
  EXPECT_EQ(memcpy_of("(PCONV p.void #p)", "(PCONV p.void #q)", "1:u32"),
            "(MEMCPY void (COMMA void (COMMA void (PCONV p.void #p) (PCONV p.void #q)) 1:u32))")
      << "half of an int";
  EXPECT_EQ(memcpy_of("(PCONV p.void #p)", "(PCONV p.void #ps)", "2:u32"),
            "(MEMCPY void (COMMA void (COMMA void (PCONV p.void #p) (PCONV p.void #ps)) 2:u32))")
      << "a short is one unit";
  EXPECT_EQ(memcpy_of("(PCONV p.void #pv)", "(PCONV p.void #q)", "2:u32"),
            "(MEMCPY void (COMMA void (COMMA void (PCONV p.void #pv) (PCONV p.void #q)) 2:u32))")
      << "volatile";
  EXPECT_EQ(memcpy_of("(PCONV p.void #p)", "(PCONV p.void #q)", "2:u32", "p.void"),
            "(MEMCPY p.void (COMMA void (COMMA void (PCONV p.void #p) (PCONV p.void #q)) 2:u32))")
      << "the value is dest, not the stored int";
}

TEST_F(Calls, FindSoleUseReadsOnly) {
  SYMTAB* x = syms["x"];
  SYMTAB* p = syms["p"];
  NODE* t = parse("(PLUS i32 (MULT i32 #y #x) #z)");
  NODE** slot = find_sole_use(x, &t);
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(*slot, t->left->right);
  NODE* two = parse("(PLUS i32 #x #x)");
  EXPECT_EQ(find_sole_use(x, &two), nullptr);
  NODE* asg = parse("(ASG i32 #x #y)");
  EXPECT_EQ(find_sole_use(x, &asg), nullptr);
  NODE* inc = parse("(PLUSASG i32 #x 1:i32)");
  EXPECT_EQ(find_sole_use(x, &inc), nullptr);
  NODE* addr = parse("(UAND p.i32 #x)");
  EXPECT_EQ(find_sole_use(x, &addr), nullptr);
  NODE* store = parse("(ASG i32 (UMULT i32 #p) #y)");
  slot = find_sole_use(p, &store);
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(*slot, store->left->left) << "the pointer is read to store through it";
  EXPECT_EQ(find_sole_use(x, &store), nullptr);
}

TEST_F(Calls, StackOrderByUseAlignmentAndSize) {
  ASSERT_EQ(cfg.bb_list, nullptr);
  SYMTAB* arr = syms["arr"];
  SYMTAB* x = syms["x"];
  SYMTAB* s = syms["s"];
  SYMTAB* y = syms["y"];
  SYMTAB* reg = add_sym("reg", "i32");
  reg->sclass = SC_REGISTER;
  SYMTAB* order[] = {arr, y, s, x, reg};
  SYMTAB* chain = nullptr;
  for (int i = 0; i < 5; ++i) {
    order[i]->serial = 10 + i;
    order[i]->align = 0;
    order[i]->next = chain;
    chain = order[i];
  }
  FUNINFO fi;
  fi.stmts = mkelist(parse("(ASG i32 #x (PLUS i32 #x (SCONV i32 #s)))"), nullptr, nullptr);
  fi.stmts = mkelist(parse("(ASG i16 #s (SCONV i16 (PLUS i32 #x (SCONV i32 #s))))"), fi.stmts, nullptr);
  fi.stmts = mkelist(parse("(ASG i32 #y (PLUS i32 #y #reg))"), fi.stmts, nullptr);
  currfuninfo = &fi;
  chain = sort_stack_variables(chain);
  // x and s are used three times each, x more aligned; y twice; the array last.
  EXPECT_EQ(x->serial, 10);
  EXPECT_EQ(s->serial, 11);
  EXPECT_EQ(y->serial, 12);
  EXPECT_EQ(arr->serial, 13);
  EXPECT_EQ(reg->serial, 14) << "a register has no slot";
  EXPECT_EQ(x->offset, 0);
  EXPECT_EQ(s->offset, 32);
  EXPECT_EQ(y->offset, 64) << "aligned past the short";
  EXPECT_EQ(arr->offset, 96);
  std::string names;
  for (SYMTAB* c = chain; c; c = c->next) names += std::string(c->name) + " ";
  EXPECT_EQ(names, "reg arr y s x ") << "newest first";
  // Sorted already: a second sort changes nothing.
  chain = sort_stack_variables(chain);
  EXPECT_EQ(x->serial, 10);
  EXPECT_EQ(arr->serial, 13);
  currfuninfo = nullptr;
}

}  // namespace
}  // namespace simp_test
