// pred_implies_pred: every implication it claims is checked against the
// evaluator over the extremes of each type and the values around each
// constant; a table of cases says what it must find.
#include <cmath>
#include <functional>
#include <random>
#include <set>

#include "ssa/pred_implies_pred.h"
#include "test_simp_eval.h"
#include "test_simp_util.h"

namespace simp_test {
namespace {

class PredImplies : public SimpTest {
 public:
  bool implies(const std::string& a, int as, const std::string& b, int bs) {
    return pred_implies_pred(parse(a), as, parse(b), bs);
  }

  // The words a variable of this type can hold, as EVAL keeps them.
  static uint32_t word_of(long long v, const std::string& type) {
    if (type == "i16") return static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(v)));
    if (type == "u16") return static_cast<uint32_t>(v) & 0xffff;
    if (type == "bool") return v != 0;
    return static_cast<uint32_t>(v);
  }
  static std::vector<long long> constants_of(const std::string& type) {
    if (type == "i16") return {-32768, -32767, -1, 0, 1, 3, 4, 5, 7, 10, 32766, 32767};
    if (type == "u16") return {0, 1, 3, 5, 10, 32767, 32768, 65534, 65535};
    if (type == "i32") return {-2147483647LL - 1, -1, 0, 1, 3, 5, 10, 2147483647};
    if (type == "u32") return {0, 1, 5, 10, 2147483647, 2147483648LL, 4294967295LL};
    return {0, 1};
  }
  // The extremes of the type and the values around every constant.
  static std::vector<uint32_t> values_of(const std::string& type) {
    std::set<uint32_t> words;
    for (long long k : constants_of(type))
      for (long long d = -2; d <= 2; ++d) words.insert(word_of(k + d, type));
    return {words.begin(), words.end()};
  }

  // Predicates over one variable: it against each constant by every
  // operator and in both orders, the variable alone and its negation.
  std::vector<std::string> atoms_over(const std::string& var, const std::string& type) {
    static const char* ops[] = {"EQ", "NEQ", "LT", "LE", "GT", "GE", "ULT", "ULE", "UGT", "UGE"};
    std::vector<std::string> out;
    for (const char* op : ops)
      for (long long k : constants_of(type)) {
        std::string c = std::to_string(k) + ":" + type;
        out.push_back(std::string("(") + op + " i32 #" + var + " " + c + ")");
        out.push_back(std::string("(") + op + " i32 " + c + " #" + var + ")");
      }
    out.push_back("#" + var);
    out.push_back("(EXCLAIM i32 #" + var + ")");
    return out;
  }

  struct CHECKED {
    long claims = 0;        // implications claimed
    long distinct = 0;      // claimed between predicates that are not the same text
    long contradicted = 0;  // claims the evaluator refutes
    std::string first_bad;
  };

  // Claims of pred_implies_pred over every pair and pair of senses,
  // each checked on every assignment of `states`.
  CHECKED check_all(const std::vector<std::string>& preds, const std::vector<std::map<const SYMTAB*, uint32_t>>& states) {
    std::vector<NODE*> trees;
    std::vector<std::vector<int>> truth;
    for (const std::string& p : preds) {
      trees.push_back(parse(p));
      std::vector<int> row;
      for (const auto& st : states) {
        EVAL e;
        e.vars = st;
        row.push_back(e.test(trees.back()) ? 1 : 0);
      }
      truth.push_back(row);
    }
    CHECKED c;
    for (size_t i = 0; i < trees.size(); ++i)
      for (size_t j = 0; j < trees.size(); ++j)
        for (int as = 0; as <= 1; ++as)
          for (int bs = 0; bs <= 1; ++bs) {
            if (!pred_implies_pred(trees[i], as, trees[j], bs)) continue;
            ++c.claims;
            if (i != j) ++c.distinct;
            for (size_t k = 0; k < states.size(); ++k)
              if (truth[i][k] == as && truth[j][k] != bs) {
                if (!c.contradicted++)
                  c.first_bad = preds[i] + "=" + std::to_string(as) + " => " + preds[j] + "=" + std::to_string(bs);
                break;
              }
          }
    return c;
  }

  std::vector<std::map<const SYMTAB*, uint32_t>> states_of(const std::string& var, const std::string& type) {
    std::vector<std::map<const SYMTAB*, uint32_t>> out;
    for (uint32_t w : values_of(type)) out.push_back({{syms.at(var), w}});
    return out;
  }
};

TEST_F(PredImplies, FindsWhatACompilerEngineerExpects) {
  // Against constants, on the same operand, in either order.
  EXPECT_TRUE(implies("(LT i32 #x 5:i32)", 1, "(LT i32 #x 10:i32)", 1));
  EXPECT_TRUE(implies("(EQ i32 #x 3:i32)", 1, "(NEQ i32 #x 4:i32)", 1));
  EXPECT_TRUE(implies("(EQ i32 #x 3:i32)", 1, "(LE i32 #x 3:i32)", 1));
  EXPECT_TRUE(implies("(GT i32 #x 7:i32)", 0, "(LE i32 #x 7:i32)", 1));
  EXPECT_TRUE(implies("(GT i32 5:i32 #x)", 1, "(LT i32 #x 10:i32)", 1));
  EXPECT_TRUE(implies("(LT i32 #x 5:i32)", 1, "(GE i32 #x 5:i32)", 0));
  EXPECT_TRUE(implies("(EQ i32 #x 3:i32)", 1, "(GT i32 #x 3:i32)", 0));
  EXPECT_TRUE(implies("(ULT i32 #u 5:u32)", 1, "(ULE i32 #u 9:u32)", 1));
  EXPECT_TRUE(implies("(LT i32 #s 5:i16)", 0, "(GT i32 #s 0:i16)", 1));
  EXPECT_TRUE(implies("(ULT i32 #us 10:u16)", 1, "(LT i32 #us 10:u16)", 1)) << "both readings agree below 2^31";
  // Congruent tests, swapped and inverted ones.
  EXPECT_TRUE(implies("(LT i32 #x #y)", 1, "(LT i32 #x #y)", 1));
  EXPECT_TRUE(implies("(LT i32 #x #y)", 1, "(GT i32 #y #x)", 1));
  EXPECT_TRUE(implies("(LT i32 #x #y)", 0, "(GE i32 #x #y)", 1));
  EXPECT_TRUE(implies("(LT i32 #x #y)", 1, "(LE i32 #x #y)", 1));
  EXPECT_TRUE(implies("(LT i32 #x #y)", 1, "(NEQ i32 #y #x)", 1));
  EXPECT_TRUE(implies("(EQ i32 #x #y)", 1, "(ULE i32 #x #y)", 1)) << "equal in every order";
  EXPECT_FALSE(implies("(LE i32 #x #y)", 1, "(LT i32 #x #y)", 1));
  EXPECT_TRUE(implies("(ANDB i32 #x 4:i32)", 1, "(NEQ i32 (ANDB i32 #x 4:i32) 0:i32)", 1));
  // Negation, conjunctions and disjunctions.
  EXPECT_TRUE(implies("(EXCLAIM i32 (LT i32 #x 5:i32))", 1, "(GE i32 #x 5:i32)", 1));
  EXPECT_TRUE(implies("(LT i32 #x 5:i32)", 1, "(EXCLAIM i32 (GE i32 #x 9:i32))", 1));
  EXPECT_TRUE(implies("(ANDAND i32 (GT i32 #x 0:i32) (LT i32 #y 3:i32))", 1, "(LT i32 #y 4:i32)", 1));
  EXPECT_TRUE(implies("(ANDB i32 (GT i32 #x 0:i32) (LT i32 #y 3:i32))", 1, "(GE i32 #x 0:i32)", 1));
  EXPECT_TRUE(implies("(ANDAND i32 (GT i32 #x 3:i32) (LT i32 #x 5:i32))", 1, "(EQ i32 #x 4:i32)", 1));
  EXPECT_TRUE(implies("(OROR i32 (EQ i32 #x 1:i32) (EQ i32 #x 2:i32))", 0, "(NEQ i32 #x 2:i32)", 1));
  EXPECT_TRUE(implies("(OROR i32 (EQ i32 #x 1:i32) (EQ i32 #x 2:i32))", 1, "(LE i32 #x 2:i32)", 1));
  EXPECT_TRUE(implies("(LT i32 #x 0:i32)", 1, "(OROR i32 (LT i32 #x 3:i32) (EQ i32 #y 2:i32))", 1));
  EXPECT_TRUE(implies("(ANDAND i32 (LT i32 #x 0:i32) (EQ i32 #y 2:i32))", 1,
                      "(ANDAND i32 (NEQ i32 #y 0:i32) (LE i32 #x 0:i32))", 1));
  // Floating comparisons: what holds with NaN, and nothing that does not.
  EXPECT_TRUE(implies("(LT i32 #f #g)", 1, "(GT i32 #g #f)", 1));
  EXPECT_TRUE(implies("(LT i32 #f #g)", 1, "(GE i32 #f #g)", 0));
  EXPECT_TRUE(implies("(EQ i32 #f #g)", 0, "(NEQ i32 #f #g)", 1));
  EXPECT_TRUE(implies("(LT i32 #f #g)", 0, "(EXCLAIM i32 (LT i32 #f #g))", 1));
  EXPECT_FALSE(implies("(LT i32 #f #g)", 0, "(GE i32 #f #g)", 1));
  EXPECT_FALSE(implies("(NEQ i32 #f #g)", 1, "(LT i32 #f #g)", 0));
  EXPECT_FALSE(implies("(LT i32 #f 5.0:f32)", 1, "(LT i32 #f 10.0:f32)", 1));
  // What it must not claim.
  EXPECT_FALSE(implies("(LT i32 #x 10:i32)", 1, "(LT i32 #x 5:i32)", 1));
  EXPECT_FALSE(implies("(LT i32 #x #y)", 1, "(ULT i32 #x #y)", 1)) << "signed and unsigned order differ";
  EXPECT_FALSE(implies("(OROR i32 (EQ i32 #x 1:i32) (EQ i32 #y 2:i32))", 1, "(EQ i32 #x 1:i32)", 1));
  EXPECT_FALSE(implies("(LT i32 #vx 5:i32)", 1, "(LT i32 #vx 10:i32)", 1)) << "a volatile read";
  EXPECT_FALSE(implies("(LT i32 (PLUSPLUS i32 #x 1:i32) 5:i32)", 1, "(LT i32 #x 10:i32)", 1));
  EXPECT_FALSE(implies("(LT i32 #x 5:i32)", 1, "(LT i32 (ASG i32 #y #x) 10:i32)", 1));
  EXPECT_TRUE(implies("(ORB i32 #x #y)", 0, "(EQ i32 #x 0:i32)", 1));
  EXPECT_FALSE(implies("(ORB i16 #x #s)", 0, "(EQ i32 #x 0:i32)", 1))
      << "a truncated operand of ORB may be zero when the operand is not";
}

TEST_F(PredImplies, NoClaimOfOneVariableFailsOverItsRange) {
  for (const auto& vt : std::vector<std::pair<std::string, std::string>>{
           {"s", "i16"}, {"us", "u16"}, {"x", "i32"}, {"u", "u32"}, {"b", "bool"}}) {
    CHECKED c = check_all(atoms_over(vt.first, vt.second), states_of(vt.first, vt.second));
    EXPECT_EQ(c.contradicted, 0) << vt.second << ": " << c.first_bad;
    // The search must find many implications that are not the same test.
    EXPECT_GT(c.distinct, vt.second == "bool" ? 20 : 2000) << vt.second;
  }
}

TEST_F(PredImplies, NoClaimBetweenTwoOperandsFails) {
  // Two variables against each other in every order; floating values
  // include NaN, the zeros and the infinities.
  struct CASE {
    const char *a, *b, *type;
    std::vector<uint32_t> values;
  };
  std::vector<uint32_t> i32v{0x80000000u, 0xffffffffu, 0, 1, 2, 0x7fffffffu};
  std::vector<uint32_t> f32v{f2b(NAN), f2b(-0.0f), 0, f2b(1.0f), f2b(-1.0f), f2b(INFINITY), f2b(-INFINITY)};
  for (const CASE& k : {CASE{"x", "y", "i32", i32v}, CASE{"u", "v", "u32", i32v}, CASE{"f", "g", "f32", f32v}}) {
    static const char* ops[] = {"EQ", "NEQ", "LT", "LE", "GT", "GE", "ULT", "ULE", "UGT", "UGE"};
    std::vector<std::string> preds;
    for (const char* op : ops) {
      preds.push_back(std::string("(") + op + " i32 #" + k.a + " #" + k.b + ")");
      preds.push_back(std::string("(") + op + " i32 #" + k.b + " #" + k.a + ")");
      preds.push_back(std::string("(EXCLAIM i32 (") + op + " i32 #" + k.a + " #" + k.b + "))");
    }
    preds.push_back(std::string("(OROR i32 (LT i32 #") + k.a + " #" + k.b + ") (GT i32 #" + k.a + " #" + k.b + "))");
    preds.push_back(std::string("(ANDAND i32 (LE i32 #") + k.a + " #" + k.b + ") (GE i32 #" + k.b + " #" + k.a + "))");
    preds.push_back(std::string("#") + k.a);
    std::string zero = std::string("0") + (std::string(k.type) == "f32" ? ".0:" : ":") + k.type;
    preds.push_back(std::string("(EQ i32 #") + k.a + " " + zero + ")");
    preds.push_back(std::string("(LT i32 #") + k.a + " " + zero + ")");
    std::vector<std::map<const SYMTAB*, uint32_t>> states;
    for (uint32_t va : k.values)
      for (uint32_t vb : k.values) states.push_back({{syms.at(k.a), va}, {syms.at(k.b), vb}});
    CHECKED c = check_all(preds, states);
    EXPECT_EQ(c.contradicted, 0) << k.type << ": " << c.first_bad;
    EXPECT_GT(c.distinct, 100) << k.type;
  }
}

TEST_F(PredImplies, NoClaimBetweenCompoundPredicatesFails) {
  // Random ANDAND, OROR, ANDB, ORB and EXCLAIM over comparisons of two
  // 16-bit variables of both signednesses.
  std::mt19937 rng(7);
  const char* ops[] = {"EQ", "NEQ", "LT", "LE", "GT", "GE", "ULT", "UGE"};
  const char* vars[] = {"s", "us"};
  auto atom = [&]() {
    int v = static_cast<int>(rng() % 2);
    std::string type = v ? "u16" : "i16";
    auto ks = constants_of(type);
    std::string c = std::to_string(ks[rng() % ks.size()]) + ":" + type;
    std::string op = ops[rng() % 8];
    return rng() % 2 ? "(" + op + " i32 #" + vars[v] + " " + c + ")" : "(" + op + " i32 " + c + " #" + vars[v] + ")";
  };
  std::function<std::string(int)> pred = [&](int depth) -> std::string {
    if (depth == 0 || rng() % 3 == 0) return atom();
    switch (rng() % 5) {
      case 0: return "(ANDAND i32 " + pred(depth - 1) + " " + pred(depth - 1) + ")";
      case 1: return "(OROR i32 " + pred(depth - 1) + " " + pred(depth - 1) + ")";
      case 2: return "(ANDB i32 " + pred(depth - 1) + " " + pred(depth - 1) + ")";
      case 3: return "(ORB i32 " + pred(depth - 1) + " " + pred(depth - 1) + ")";
      default: return "(EXCLAIM i32 " + pred(depth - 1) + ")";
    }
  };
  std::vector<std::string> preds;
  for (int i = 0; i < 160; ++i) preds.push_back(pred(3));
  std::vector<std::map<const SYMTAB*, uint32_t>> states;
  for (uint32_t a : values_of("i16"))
    for (uint32_t b : values_of("u16")) states.push_back({{syms.at("s"), a}, {syms.at("us"), b}});
  CHECKED c = check_all(preds, states);
  EXPECT_EQ(c.contradicted, 0) << c.first_bad;
  EXPECT_GT(c.distinct, 200);
}

}  // namespace
}  // namespace simp_test
