// The CSE passes on functions built in memory: random functions full of
// repeated computations, killed and not, must compute what they computed;
// and the cases the passes must get exactly right.
#include <random>

#include "ir/bitvec.h"
#include "scalar/cse.h"
#include "scalar/fcp.h"
#include "scalar/triples.h"
#include "ssa/alias.h"
#include "test_cfg_fixture.h"

namespace cfgtest {
namespace {

// Fixes the cost model's view of registers for one test.
struct ASSUME_REGISTERS {
  int saved = cse_assume_registers;
  explicit ASSUME_REGISTERS(int v) { cse_assume_registers = v; }
  ~ASSUME_REGISTERS() { cse_assume_registers = saved; }
};

class Cse : public CfgTest {
 public:
  std::mt19937 rng;
  int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }

  void declare() {
    for (auto& [name, s] : locals) {
      bool listed = false;
      for (SYMTAB* x = fi->symbols; x; x = x->next) listed = listed || x == s;
      if (!listed) {
        s->next = fi->symbols;
        fi->symbols = s;
      }
    }
    for (auto& [name, s] : params) {
      bool listed = false;
      for (SYMTAB* x = fi->params; x; x = x->next) listed = listed || x == s;
      if (!listed) {
        s->next = fi->params;
        fi->params = s;
      }
    }
  }

  const char* vars[5] = {"a", "b", "c", "x", "y"};
  NODE* v() { return n(vars[pick(5)]); }
  // A small pool of computations, so that they repeat.
  NODE* pooled() {
    switch (pick(6)) {
      case 0: return op2(PLUS, op2(MULT, n("a"), n("b")), n("c"));
      case 1: return op2(MULT, n("x"), n("y"));
      case 2: return op2(MULT, op2(PLUS, n("a"), n("b")), op2(MINUS, n("x"), n("c")));
      case 3: return op2(MINUS, op2(MULT, n("c"), n("c")), n("y"));
      case 4: return op2(XORB, op2(MULT, n("a"), n("y")), k(5));
      default: return op2(PLUS, op2(MULT, n("b"), k(3)), n("x"));
    }
  }
  NODE* expr() {
    switch (pick(4)) {
      case 0: return pooled();
      case 1: return op2(PLUS, pooled(), pooled());
      case 2: return op2(MINUS, pooled(), v());
      default: return op2(PLUS, v(), k(pick(9)));
    }
  }

  void generate(unsigned seed) {
    rng.seed(seed);
    param("a");
    param("b");
    var("c");
    var("x");
    var("y");
    var("i");
    declare();
    prolog();
    stmt(asg("c", op2(PLUS, n("a"), k(1))));
    stmt(asg("x", n("b")));
    stmt(asg("y", k(pick(7))));
    int label_no = 1;
    int len = 8 + pick(10);
    for (int p = 0; p < len; ++p) {
      switch (pick(9)) {
        case 0: case 1: stmt(asg(vars[2 + pick(3)], expr())); break;
        case 2: out(expr()); break;
        case 3: {  // a diamond: a computation on one arm, again after
          int t = label_no++, j = label_no++;
          cbranch(op2(GT, v(), v()), t);
          if (pick(2)) stmt(asg(vars[2 + pick(3)], expr()));
          go(j);
          label(t);
          out(pooled());
          label(j);
          out(pooled());
          break;
        }
        case 4: {  // a triangle: the false way goes straight to the join
          int j = label_no++;
          cbranch(op2(LT, v(), k(pick(5))), j);
          out(pooled());
          if (pick(2)) stmt(asg(vars[2 + pick(3)], pooled()));
          label(j);
          out(pooled());
          break;
        }
        case 5: {  // a counted loop around computations and kills
          int top = label_no++;
          stmt(asg("i", k(0)));
          label(top);
          out(pooled());
          if (pick(2)) stmt(asg(vars[2 + pick(3)], op2(PLUS, v(), k(1))));
          stmt(asg("i", op2(PLUS, n("i"), k(1))));
          cbranch(op2(LT, n("i"), k(2 + pick(3))), top);
          break;
        }
        case 6: stmt(asg("y", k(pick(4)))); break;
        case 7: {  // a copy and its reads
          stmt(asg("x", n(vars[pick(3)])));
          out(op2(PLUS, n("x"), pooled()));
          break;
        }
        default: out(op2(PLUS, pooled(), pooled())); break;
      }
    }
    ret(op2(PLUS, expr(), n("y")));
  }

  bool marks_left() {
    for (BBLK* b : blocks())
      for (LIST* l = b->statements; l; l = l->next)
        if (tree_has_cse_marks(l->tree)) return true;
    return false;
  }
};

const std::vector<std::vector<long>> kInputs = {{0, 0}, {1, 2}, {5, -3}, {-7, 9}, {100, 3}, {2, 2}};

TEST_F(Cse, RandomFunctionsComputeTheSameAfterEachPass) {
  long removed_before = cse_expressions_removed;
  long copies_before = copies_propagated;
  long constants_before = constants_propagated;
  for (unsigned seed = 1; seed <= 150; ++seed) {
    for (int pass = 0; pass < 4; ++pass) {
      fresh_function("csefn");
      generate(seed);
      print_debug = 0;  // a log of 600 functions is not wanted
      expect_same_runs(kInputs, [&] {
        switch (pass) {
          case 0: fast_CP(4, 0); break;
          case 1:
            copyprop(1);
            annotate_cfg();
            gcse();
            break;
          case 2: lcse(); break;
          default:
            fast_CP(4, 1);
            copyprop(1);
            annotate_cfg();
            gcse();
            copyprop(1);
            lcse();
            break;
        }
      });
      EXPECT_FALSE(marks_left()) << "seed " << seed << " pass " << pass;
      EXPECT_FALSE(triples_exist()) << "seed " << seed << " pass " << pass;
      if (HasFailure()) {
        ADD_FAILURE() << "seed " << seed << ", pass group " << pass;
        return;
      }
    }
  }
  // The functions were written to be improved: each pass found work.
  EXPECT_GT(cse_expressions_removed, removed_before + 100);
  EXPECT_GT(copies_propagated, copies_before + 50);
  EXPECT_GT(constants_propagated, constants_before + 20);
}

// A function without a triple worth a temporary: gcse leaves it as it is
// and allocates nothing per triple; its empty block has all sets empty.
// Temporaries in memory: a read of one costs what the expression saves.
TEST_F(Cse, NoTriplesNoAllocationAndEmptyBlocksEmpty) {
  ASSUME_REGISTERS memory(0);
  param("a");
  var("x");
  declare();
  prolog();
  cbranch(op2(GT, n("a"), k(0)), 1);
  stmt(asg("x", op2(PLUS, n("a"), k(1))));
  label(1);
  ret(n("x"));
  build();
  std::string before = shape();
  annotate_cfg();
  EXPECT_FALSE(triples_exist());
  EXPECT_EQ(unique_triples, nullptr);
  EXPECT_EQ(triple_ANTLOC, nullptr);
  EXPECT_EQ(unique_triple_count, 0);
  gcse();
  EXPECT_EQ(shape(), before);
  EXPECT_TRUE(log_has("No triples worth a temporary"));

  // With one: the block that only branches has every set empty.
  reset();
  param("a");
  param("b");
  var("x");
  declare();
  prolog();
  stmt(asg("x", op2(MULT, n("a"), n("b"))));
  cbranch(op2(GT, n("a"), k(0)), 2);
  go(1);
  label(2);
  go(1);
  label(1);
  ret(op2(PLUS, op2(MULT, n("a"), n("b")), n("x")));
  build();
  ASSERT_TRUE(build_triples(true));
  int empty_blocks = 0;
  for (BBLK* b : blocks()) {
    if (b->statements->next || b->statements->tree->op != BRANCH) continue;  // not empty
    ++empty_blocks;
    EXPECT_EQ(triple_ANTLOC[b->dfn]->bv_count(), 0);
    EXPECT_EQ(triple_AVLOC[b->dfn]->bv_count(), 0);
    EXPECT_EQ(triple_ALTERED[b->dfn]->bv_count(), 0);
    EXPECT_EQ(triple_OCCURS[b->dfn]->bv_count(), 0);
  }
  EXPECT_GT(empty_blocks, 0);
  strip_cse_marks();
  free_triples();
  expect_valid("build_triples");
}

// The expression on one arm and after the join: one temporary, one
// insertion; the critical edge gets its block and loses it again. With
// temporaries in memory the product alone is not worth one.
TEST_F(Cse, DiamondAndTriangleGetOneTemporaryAndOneInsertion) {
  ASSUME_REGISTERS memory(0);
  for (int triangle = 0; triangle < 2; ++triangle) {
    reset();
    param("a");
    param("b");
    param("c");
    var("x");
    var("y");
    declare();
    prolog();
    stmt(asg("x", k(0)));
    cbranch(op2(GT, n("c"), k(2)), 1);
    if (!triangle) {
      stmt(asg("x", k(1)));
      go(2);
      label(1);
    }
    stmt(asg("x", op2(PLUS, op2(MULT, n("a"), n("b")), n("c"))));
    label(2);
    if (triangle) label(1);
    stmt(asg("y", op2(PLUS, op2(MULT, n("a"), n("b")), n("c"))));
    ret(op2(PLUS, n("x"), n("y")));
    expect_same_runs({{1, 2, 3}, {1, 2, 1}, {4, 5, 9}}, [] {
      annotate_cfg();
      gcse();
    });
    EXPECT_EQ(count_ops(MULT), 2) << "computed on each way once: " << shape();
    int temps = 0;
    for (SYMTAB* t = fi->temps; t; t = t->next) ++temps;
    EXPECT_EQ(temps, 1);
    EXPECT_EQ(log_has("insert_useful_blocks: the critical edge"), triangle == 1);
    EXPECT_FALSE(marks_left());
  }
}

// A CSE mark copied from its origin after the origin lost its own marks:
// the edge split makes annotate_cfg strip every mark and start again.
TEST_F(Cse, MarksStripBeforeTheGraphChanges) {
  param("a");
  param("b");
  param("c");
  var("x");
  var("y");
  declare();
  prolog();
  stmt(asg("x", k(0)));
  // (a * b + 6) and (a * b + 12): the inner product repeats inside two
  // computations, the second a CSE_DUPE of the first's.
  out(op2(PLUS, op2(PLUS, op2(MULT, n("a"), n("b")), k(6)), n("c")));
  cbranch(op2(GT, n("c"), k(2)), 1);
  out(op2(PLUS, op2(PLUS, op2(MULT, n("a"), n("b")), k(12)), n("c")));
  label(1);
  out(op2(PLUS, op2(PLUS, op2(MULT, n("a"), n("b")), k(12)), n("c")));
  ret(n("x"));
  expect_same_runs({{1, 2, 3}, {3, 4, 1}}, [] {
    annotate_cfg();
    gcse();
  });
  EXPECT_TRUE(log_has("insert_useful_blocks: the critical edge"));
  EXPECT_FALSE(marks_left());
}

}  // namespace
}  // namespace cfgtest
