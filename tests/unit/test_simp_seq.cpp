// The sequencer: conditional operators out of expressions, evaluation
// order, constant branches, global constants, never-returning calls,
// variable shortening; and random statement lists that must compute the
// same after sequencing.
#include <cstdlib>
#include <random>

#include "scalar/cfg.h"
#include "test_simp_eval.h"
#include "scalar/simp_internal.h"
#include "test_simp_util.h"

namespace simp_test {
namespace {

class Seq : public SimpTest {
 public:
  void SetUp() override {
    SimpTest::SetUp();
    SYMTAB* f = add_sym("fn", "i32");
    f->lex_level = 0;
    f->sclass = SC_EXTDEF;
    currfunc = f;
    currfuninfo = make_FUNINFO("seq_test_fn");
    currfuninfo->sym = f;
    currfuninfo->stmts = nullptr;
    currfuninfo->temps = nullptr;
    temp_count = 0;
  }
  void TearDown() override {
    currfuninfo->stmts = nullptr;
    currfuninfo->temps = nullptr;
    currfuninfo = nullptr;
    currfunc = nullptr;
    SimpTest::TearDown();
  }

  // Statements in source order, sequenced; the result one line each.
  std::vector<std::string> sequence(const std::vector<std::string>& source, bool simplify_first = true) {
    LIST* list = nullptr;
    for (const std::string& s : source) {
      NODE* t = parse_stmt(s);
      if (simplify_first) t = simp_tree(t);
      list = mkelist(t, list, nullptr);  // newest first, as read
    }
    currfuninfo->stmts = list;
    seq_trees();
    std::vector<std::string> out;
    for (LIST* l = currfuninfo->stmts; l; l = l->next) out.push_back(show_stmt(l->tree));
    return out;
  }

  NODE* parse_stmt(const std::string& s) {
    if (s.rfind("label ", 0) == 0) return mk_LABELDEF(std::stoi(s.substr(6)));
    if (s.rfind("goto ", 0) == 0) return mk_BRANCH_to_label(std::stoi(s.substr(5)));
    if (s.rfind("if ", 0) == 0) {  // "if N cond": CBRANCH to label N
      size_t sp = s.find(' ', 3);
      int label = std::stoi(s.substr(3, sp - 3));
      return maketree(CBRANCH, parse(s.substr(sp + 1)), mk_LABELREF(label, nullptr), type_named("void"), nullptr);
    }
    return parse(s);
  }

  static std::string show_stmt(const NODE* t) {
    if (!t) return "null";
    switch (t->op) {
      case LABELDEF: return "label " + std::to_string(t->value.as_int64());
      case BRANCH: return "goto " + std::to_string(t->left->value.as_int64());
      case IF:
        return "if " + show(t->left) + " " + std::to_string(t->right->left->value.as_int64()) + " else " +
               std::to_string(t->right->right->value.as_int64());
      case CBRANCH: return "cbranch " + show(t->left) + " " + std::to_string(t->right->value.as_int64());
      default: return show(t);
    }
  }

  bool is_plain(const NODE* t) {
    for (; t; t = t->right) {
      if (t->op == QUEST || t->op == ANDAND || t->op == OROR || t->op == COMMAOP) return false;
      if (!is_plain(t->left)) return false;
    }
    return true;
  }
};

TEST_F(Seq, ConditionalValueBecomesBranchesToOneTemporary) {
  // A load through p may only happen when the test says so.
  auto out = sequence({"(ASG i32 #z (PLUS i32 (QUEST i32 (LT i32 #x #y) (COLON i32 (UMULT i32 #p) #y)) 1:i32))"});
  ASSERT_EQ(out.size(), 8u);
  EXPECT_EQ(out[0], "if (LT i32 #x #y) 1 else 2");
  EXPECT_EQ(out[1], "label 1");
  EXPECT_EQ(out[2], "(ASG i32 #$O$T1 (UMULT i32 #p))");
  EXPECT_EQ(out[3], "goto 3");
  EXPECT_EQ(out[4], "label 2");
  EXPECT_EQ(out[5], "(ASG i32 #$O$T1 #y)");
  EXPECT_EQ(out[6], "label 3");
  EXPECT_EQ(out[7], "(ASG i32 #z (PLUS i32 #$O$T1 1:i32))");
}

TEST_F(Seq, AssignmentOfAConditionalGoesIntoItsArms) {
  auto out = sequence({"(ASG i32 #z (QUEST i32 #x (COLON i32 (UMULT i32 #p) 5:i32)))"});
  std::vector<std::string> want = {"if #x 1 else 2", "label 1", "(ASG i32 #z (UMULT i32 #p))", "goto 3",
                                   "label 2",        "(ASG i32 #z 5:i32)", "label 3"};
  EXPECT_EQ(out, want);
}

TEST_F(Seq, ConditionalWithoutRiskStaysOneStatement) {
  // Both arms can be evaluated without the test: no branch is made.
  auto out = sequence({"(ASG i32 #z (QUEST i32 (LT i32 #x #y) (COLON i32 #x (PLUS i32 #y 1:i32))))"});
  std::vector<std::string> want = {"(ASG i32 #z (ICALL i32 (COMMA void (COMMA void (LT i32 #x #y) #x) "
                                   "(PLUS i32 #y 1:i32))))"};
  EXPECT_EQ(out, want);
  EXPECT_STREQ(static_cast<const char*>(currfuninfo->stmts->tree->right->sym), "__strict_ternary");
  EXPECT_EQ(show(revert_strict_ternary_ICALL(copy_tree(currfuninfo->stmts->tree->right, false))),
            "(QUEST i32 (LT i32 #x #y) (COLON i32 #x (PLUS i32 #y 1:i32)))");
}

TEST_F(Seq, ReturnOfAConditionalReturnsInEachArm) {
  auto out = sequence({"(RETURN i32 #fn (QUEST i32 (LT i32 #x 2:i32) (COLON i32 #x (DIV i32 #y #x))))"});
  std::vector<std::string> want = {"if (LT i32 #x 2:i32) 1 else 2", "label 1", "(RETURN i32 #fn #x)", "label 2",
                                   "(RETURN i32 #fn (DIV i32 #y #x))"};
  EXPECT_EQ(out, want);
}

TEST_F(Seq, ShortCircuitConditionsBecomeTwoTests) {
  // if (x < y || (z = w, z)) goto 9;   with an assignment the test can't be
  // evaluated eagerly.
  auto out = sequence({"if 9 (OROR i32 (LT i32 #x #y) (COMMAOP i32 (ASG i32 #z #w) #z))", "label 9"});
  std::vector<std::string> want = {"if (LT i32 #x #y) 9 else 11", "label 11", "(ASG i32 #z #w)",
                                   "if #z 9 else 10",             "label 10", "label 9"};
  EXPECT_EQ(out, want);
  for (LIST* l = currfuninfo->stmts; l; l = l->next) EXPECT_TRUE(is_plain(l->tree));
}

TEST_F(Seq, EarlierOperandsAreFixedBeforeLaterCode) {
  // z = x + (y ? (x = 1) : 2): x is read before the assignment.
  auto out = sequence({"(ASG i32 #z (PLUS i32 #x (QUEST i32 #y (COLON i32 (ASG i32 #x 1:i32) 2:i32))))"}, false);
  ASSERT_GE(out.size(), 2u);
  EXPECT_EQ(out[0], "(ASG i32 #$O$T1 #x)");
  EXPECT_EQ(out.back(), "(ASG i32 #z (PLUS i32 #$O$T1 #$O$T2))");
  // Without effects on the right, no temporary is needed for x.
  auto out2 = sequence({"(ASG i32 #z (PLUS i32 #x (QUEST i32 #y (COLON i32 (DIV i32 #w #z) 2:i32))))"}, false);
  EXPECT_NE(out2[0].find("if #y"), std::string::npos);
}

TEST_F(Seq, ConstantBranchesAndDeadStatements) {
  auto out = sequence({"if 4 (LT i32 1:i32 2:i32)", "if 5 (EQ i32 #x #x)", "if 6 0:i32", "#x", "(PLUS i32 #y 1:i32)",
                       "label 4", "label 5", "label 6"});
  std::vector<std::string> want = {"goto 4", "goto 5", "label 4", "label 5", "label 6"};
  EXPECT_EQ(out, want);
}

TEST_F(Seq, OrderOfStatementsIsTheSourceOrder) {
  auto out = sequence({"(ASG i32 #x 1:i32)", "(ASG i32 #y 2:i32)", "(PLUSPLUS i32 #z 1:i32)"});
  std::vector<std::string> want = {"(ASG i32 #x 1:i32)", "(ASG i32 #y 2:i32)", "(PLUSASG i32 #z 1:i32)"};
  EXPECT_EQ(out, want);
}

TEST_F(Seq, OptLevelZeroOnlyReverses) {
  opt_level = 0;
  auto out = sequence({"(ASG i32 #z (QUEST i32 #x (COLON i32 #y 5:i32)))", "#x"}, false);
  std::vector<std::string> want = {"(ASG i32 #z (QUEST i32 #x (COLON i32 #y 5:i32)))", "#x"};
  EXPECT_EQ(out, want);
}

TEST_F(Seq, ConstGlobalsWithAKnownValue) {
  SYMTAB* k = add_sym("kg", "i32");
  k->lex_level = 0;
  k->sclass = SC_STATIC;
  k->decl_type = tp->mk_qual(type_named("i32"), TYPE::Q_CONST);
  k->type = k->decl_type->normalized_type();
  EXPR_LIST init;
  EXPR_ELEM e1, e2;
  e1.tree = mk_ICON(INT65(42), type_named("i32"));
  e2.tree = maketree(ENDINIT, nullptr, nullptr, type_named("void"), nullptr);
  e1.next = &e2;
  init.head = &e1;
  init.tail = &e2;
  k->init = &init;
  auto out = sequence({"(ASG i32 #x (PLUS i32 #kg 1:i32))"});
  EXPECT_EQ(out[0], "(ASG i32 #x 43:i32)");
  opt_level = 1;
  out = sequence({"(ASG i32 #x (PLUS i32 #kg 1:i32))"});
  EXPECT_EQ(out[0], "(ASG i32 #x (PLUS i32 #kg 1:i32))") << "only above level 1";
  opt_level = 2;
  k->decl_type = type_named("i32");
  out = sequence({"(ASG i32 #x (PLUS i32 #kg 1:i32))"});
  EXPECT_EQ(out[0], "(ASG i32 #x (PLUS i32 #kg 1:i32))") << "not const: may change";
}

TEST_F(Seq, CallsThatNeverReturnEndThePath) {
  SYMTAB* die = add_sym("die", "i32");
  die->lex_level = 0;
  NODE* call = maketree(UCALL, maketree(UAND, mk_NAME(die, nullptr), nullptr, type_named("p.i32"), nullptr), nullptr,
                        type_named("void"), nullptr);
  call->fun = make_FUNINFO("die");
  call->fun->flags |= FUN_never_returns;
  currfuninfo->stmts = mkelist(call, nullptr, nullptr);
  seq_trees();
  std::vector<std::string> ops;
  for (LIST* l = currfuninfo->stmts; l; l = l->next) ops.push_back(opname(l->tree->op));
  ASSERT_EQ(ops.size(), 4u);
  EXPECT_EQ(ops[1], "ASM     ");
  EXPECT_STREQ(currfuninfo->stmts->next->tree->text, "***\t; the preceding call never returns");
  EXPECT_STREQ(static_cast<const char*>(currfuninfo->stmts->next->next->tree->sym), "_never_executed");
  EXPECT_EQ(ops[3], "URETURN ");
  call->fun->flags &= ~static_cast<uint32_t>(FUN_never_returns);
}

TEST_F(Seq, LocalsAssignedOnlyNarrowValuesAreShortened) {
  // x = (int)s; y = x + 1; x = 7;  x only ever holds 16-bit values.
  auto out = sequence({"(ASG i32 #x (SCONV i32 #s))", "(ASG i32 #y (PLUS i32 #x 1:i32))", "(ASG i32 #x 7:i32)"});
  EXPECT_EQ(type_text(syms["x"]->type), "i16");
  EXPECT_EQ(syms["x"]->size, 16);
  EXPECT_EQ(out[0], "(ASG i16 #x #s)");
  EXPECT_EQ(out[1], "(ASG i32 #y (PLUS i32 (SCONV i32 #x) 1:i32))");
  EXPECT_EQ(out[2], "(ASG i16 #x 7:i16)");
}

TEST_F(Seq, ShorteningIsStruckByOtherUses) {
  // A 16-bit signed and a 16-bit unsigned source: no common type.
  sequence({"(ASG i32 #x (SCONV i32 #s))", "(ASG i32 #x (SCONV i32 #us))"});
  EXPECT_EQ(type_text(syms["x"]->type), "i32");
  // An update in place, a constant out of range, a wide value, an address.
  sequence({"(ASG i32 #y (SCONV i32 #s))", "(PLUSASG i32 #y 1:i32)"});
  EXPECT_EQ(type_text(syms["y"]->type), "i32");
  sequence({"(ASG i32 #z (SCONV i32 #s))", "(ASG i32 #z 40000:i32)"});
  EXPECT_EQ(type_text(syms["z"]->type), "i32");
  sequence({"(ASG i32 #w (SCONV i32 #s))", "(ASG i32 #w #x)"});
  EXPECT_EQ(type_text(syms["w"]->type), "i32");
  sequence({"(ASG u32 #u (SCONV u32 #us))", "(ASG p.i32 #p (UAND p.u32 #u))"});
  EXPECT_EQ(type_text(syms["u"]->type), "u32");
}

// Random statement lists with conditional operators, assignments inside
// expressions and forward branches: the sequenced list computes the same.
class SeqTorture : public Seq {
 public:
  void SetUp() override {
    Seq::SetUp();
    // The variables start with values here, like statics: no shortening,
    // which may assume a local is never read before it is assigned.
    for (auto& e : syms) e.second->sclass = SC_STATIC;
  }
  std::mt19937 rng{99};
  unsigned pick(unsigned n) { return rng() % n; }
  const char* ivars[7] = {"x", "y", "z", "w", "s", "us", "u"};

  std::string var() { return std::string("#") + ivars[pick(7)]; }
  std::string type_of(const std::string& v) {
    const SYMTAB* s = syms[v.substr(1)];
    return type_text(s->type);
  }

  std::string expr(int depth) {
    if (depth <= 0 || pick(5) == 0) return pick(3) ? "(SCONV i32 " + var() + ")" : std::to_string(pick(20)) + ":i32";
    switch (pick(9)) {
      case 0: return "(PLUS i32 " + expr(depth - 1) + " " + expr(depth - 1) + ")";
      case 1: return "(MULT i32 " + expr(depth - 1) + " " + expr(depth - 1) + ")";
      case 2: return "(LT i32 " + expr(depth - 1) + " " + expr(depth - 1) + ")";
      case 3: return "(QUEST i32 " + expr(depth - 1) + " (COLON i32 " + expr(depth - 1) + " " + expr(depth - 1) + "))";
      case 4: return "(ANDAND i32 " + expr(depth - 1) + " " + expr(depth - 1) + ")";
      case 5: return "(OROR i32 " + expr(depth - 1) + " " + expr(depth - 1) + ")";
      case 6: return "(COMMAOP i32 " + assign(depth - 1) + " " + expr(depth - 1) + ")";
      case 7: return "(SCONV i32 " + assign(depth - 1) + ")";
      default: return "(EXCLAIM i32 " + expr(depth - 1) + ")";
    }
  }
  std::string assign(int depth) {
    std::string v = var();
    std::string t = type_of(v);
    if (pick(4) == 0) return "(PLUSPLUS " + t + " " + v + " 1:" + t + ")";
    return "(ASG " + t + " " + v + " (SCONV " + t + " " + expr(depth) + "))";
  }
};

TEST_F(SeqTorture, SequencedListsComputeTheSame) {
  int compared = 0;
  int iterations = 1500;
  if (const char* e = getenv("ZOPT_TORTURE_SEED")) rng.seed(static_cast<unsigned>(atol(e)));
  if (const char* e = getenv("ZOPT_TORTURE_ITERATIONS")) iterations = atoi(e);
  for (int iter = 0; iter < iterations; ++iter) {
    std::vector<std::string> src;
    int labels = 0;
    int n = 2 + pick(6);
    for (int i = 0; i < n; ++i) {
      switch (pick(5)) {
        case 0:
          src.push_back("if " + std::to_string(100 + labels) + " " + expr(3));
          src.push_back(assign(2));
          src.push_back("label " + std::to_string(100 + labels++));
          break;
        case 1: src.push_back(expr(3)); break;
        default: src.push_back(assign(3)); break;
      }
    }
    // The reference: the statements as written, evaluated directly.
    std::vector<NODE*> orig;
    LIST* orig_list = nullptr;
    LIST** tail = &orig_list;
    for (const std::string& s : src) {
      NODE* t = parse_stmt(s);
      *tail = mkelist(t, nullptr, nullptr);
      tail = &(*tail)->next;
      orig.push_back(t);
    }
    LIST* list = nullptr;
    for (LIST* l = orig_list; l; l = l->next) list = mkelist(simp_tree(copy_tree(l->tree, false)), list, nullptr);
    currfuninfo->stmts = list;
    seq_trees();
    for (LIST* l = currfuninfo->stmts; l; l = l->next)
      ASSERT_TRUE(is_plain(l->tree)) << show_stmt(l->tree) << " from\n" << [&] {
        std::string all;
        for (const std::string& s2 : src) all += s2 + "\n";
        return all;
      }();
    for (int run = 0; run < 6; ++run) {
      EVAL a, b;
      for (const char* v : ivars) {
        SYMTAB* s = syms[v];
        uint32_t w = canon_word(pick(2) ? static_cast<uint32_t>(pick(7)) - 2 : static_cast<uint32_t>(rng()),
                                kind_of(s->type));
        a.vars[s] = w;
      }
      b.vars = a.vars;
      try {
        a.run(orig_list);
      } catch (TRAP&) {
        continue;
      }
      b.run(currfuninfo->stmts);
      ++compared;
      for (const char* v : ivars) {
        SYMTAB* s = syms[v];
        // A shortened variable holds the same value in fewer bits.
        uint32_t got = convert(b.vars[s], kind_of(s->type), kind_of(a.vars.count(s) ? s->decl_type : s->type));
        ASSERT_EQ(a.vars[s], got) << v << " after:\n" << [&] {
          std::string all;
          for (const std::string& s2 : src) all += s2 + "\n";
          all += "--\n";
          for (LIST* l = currfuninfo->stmts; l; l = l->next) all += show_stmt(l->tree) + "\n";
          return all;
        }();
      }
    }
    // Shortening may have retyped a variable: put the fixture back.
    for (const char* v : ivars) {
      SYMTAB* s = syms[v];
      s->type = s->decl_type->normalized_type();
      s->size = static_cast<int32_t>(s->type->size);
    }
    currfuninfo->temps = nullptr;
  }
  EXPECT_GT(compared, iterations * 3);
  EXPECT_EQ(simp::rounds_exhausted, 0) << "rules that undo each other";
}

}  // namespace
}  // namespace simp_test
