// Random trees over every integer and floating type and operator, evaluated
// before and after simplification by a small evaluator with the machine's
// semantics (32-bit words, values brought back to their type, traps on
// division by zero, bad shift counts and floating conversions out of
// range, IEEE binary32 arithmetic). Whenever the original runs without a
// trap, the simplified tree must run without one and give the same value
// and the same variables.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

#include "test_simp_eval.h"
#include "scalar/simp_internal.h"
#include "test_simp_util.h"

namespace simp_test {
namespace {

class Torture : public SimpTest {
 public:
  std::mt19937 rng{2024};
  const char* int_types[4] = {"i16", "u16", "i32", "u32"};
  std::map<std::string, std::vector<std::string>> vars_of = {
      {"i32", {"x", "y", "z"}}, {"u32", {"u", "v"}}, {"i16", {"s", "t"}}, {"u16", {"us", "ut"}}, {"f32", {"f", "g"}}};

  unsigned pick(unsigned n) { return rng() % n; }

  NODE* constant(const std::string& tn) {
    TYPE* ty = type_named(tn);
    if (tn == "f32") {
      static const char* fl[] = {"0.0", "-0.0", "1.0", "-1.0", "2.0", "0.5", "3.0", "0.1", "1e30", "-7.25", "65536.0"};
      simul_fval v;
      f_atof(fl[pick(11)], &v);
      truncate_fval_to_target(&v, ty);
      fp_error = 0;
      return mk_FCON(v, ty);
    }
    static const long long iv[] = {0, 1, -1, 2, 3, 4, 7, 8, 15, 16, 31, 32, 255, 256, 1000, 32767, -32768,
                                   65535, 65536, 2147483647LL, -2147483647LL - 1, 0x55555555, -100};
    long long v = pick(4) == 0 ? static_cast<long long>(static_cast<int32_t>(rng())) : iv[pick(23)];
    return mk_ICON(INT65(v), ty);
  }

  NODE* leaf(const std::string& tn) {
    if (pick(3) == 0) return constant(tn);
    const auto& names = vars_of[tn];
    return mk_NAME(syms[names[pick(names.size())]], nullptr);
  }

  // Subtrees made so far, by type: reusing them gives the congruent
  // operands that many rules look for.
  std::map<std::string, std::vector<NODE*>> made;

  NODE* gen(const std::string& tn, int depth) {
    auto& pool = made[tn];
    if (!pool.empty() && pick(6) == 0) return copy_tree(pool[pick(pool.size())], false);
    NODE* n = gen_new(tn, depth);
    if (!tree_has_side_effects(n) && pool.size() < 64) pool.push_back(copy_tree(n, false));
    return n;
  }

  NODE* gen_new(const std::string& tn, int depth) {
    TYPE* ty = type_named(tn);
    if (depth <= 0 || pick(8) == 0) return leaf(tn);
    bool fl = tn == "f32";
    unsigned choice = pick(fl ? 9 : 16);
    if (fl) {
      static const int fops[] = {PLUS, MINUS, MULT, DIV};
      switch (choice) {
        case 0: case 1: case 2: case 3:
          return maketree(fops[choice], gen(tn, depth - 1), gen(tn, depth - 1), ty, nullptr);
        case 4: return maketree(UMINUS, gen(tn, depth - 1), nullptr, ty, nullptr);
        case 5: return maketree(SCONV, gen(int_types[pick(4)], depth - 1), nullptr, ty, nullptr);
        case 6: return quest(tn, depth);
        case 7: return maketree(COMMAOP, assign(depth), gen(tn, depth - 1), ty, nullptr);
        default: return leaf(tn);
      }
    }
    static const int iops[] = {PLUS, MINUS, MULT, DIV, MOD, ANDB, ORB, XORB};
    switch (choice) {
      case 0: case 1: case 2: case 3: case 4: case 5: case 6: case 7:
        return maketree(iops[choice], gen(tn, depth - 1), gen(tn, depth - 1), ty, nullptr);
      case 8: {
        NODE* count = pick(3) ? mk_ICON(INT65(static_cast<long long>(pick(34))), type_named("i32"))
                              : gen("i32", depth - 1);
        return maketree(pick(2) ? SLL : SRL, gen(tn, depth - 1), count, ty, nullptr);
      }
      case 9: {
        static const int un[] = {UMINUS, NOTB, ABS};
        return maketree(un[pick(3)], gen(tn, depth - 1), nullptr, ty, nullptr);
      }
      case 10: {
        std::string from = pick(5) == 0 ? "f32" : int_types[pick(4)];
        return maketree(SCONV, gen(from, depth - 1), nullptr, ty, nullptr);
      }
      case 11: case 12: {
        // A truth value widened or narrowed to the type.
        NODE* b = boolean(depth - 1);
        return tn == "i32" ? b : maketree(SCONV, b, nullptr, ty, nullptr);
      }
      case 13: return quest(tn, depth);
      case 14: return maketree(COMMAOP, assign(depth), gen(tn, depth - 1), ty, nullptr);
      default: return leaf(tn);
    }
  }

  NODE* boolean(int depth) {
    TYPE* it = type_named("i32");
    unsigned c = pick(5);
    if (c == 0) return maketree(EXCLAIM, gen(any_type(), depth - 1), nullptr, it, nullptr);
    if (c == 1) return maketree(pick(2) ? ANDAND : OROR, gen(any_type(), depth - 1), gen(any_type(), depth - 1), it, nullptr);
    std::string tn = any_type();
    static const int sops[] = {EQ, NEQ, LT, LE, GT, GE}, uops[] = {EQ, NEQ, ULT, ULE, UGT, UGE};
    bool uns = tn == "u16" || tn == "u32";
    int op = uns ? uops[pick(6)] : sops[pick(6)];
    return maketree(op, gen(tn, depth - 1), gen(tn, depth - 1), it, nullptr);
  }

  NODE* quest(const std::string& tn, int depth) {
    TYPE* ty = type_named(tn);
    NODE* colon = maketree(COLON, gen(tn, depth - 1), gen(tn, depth - 1), ty, nullptr);
    return maketree(QUEST, boolean(depth - 1), colon, ty, nullptr);
  }

  NODE* assign(int depth) {
    std::string tn = any_type();
    const auto& names = vars_of[tn];
    SYMTAB* s = syms[names[pick(names.size())]];
    return maketree(ASG, mk_NAME(s, nullptr), gen(tn, depth - 1), s->type, nullptr);
  }

  std::string any_type() {
    static const char* all[] = {"i16", "u16", "i32", "u32", "f32"};
    return all[pick(5)];
  }

  std::map<const SYMTAB*, uint32_t> random_vars() {
    std::map<const SYMTAB*, uint32_t> m;
    static const uint32_t edges[] = {0, 1, 0xffffffffu, 0x80000000u, 0x7fffffffu, 0x8000u, 0x7fffu, 0xffffu, 2, 7, 8,
                                     100};
    for (const auto& e : vars_of)
      for (const std::string& n : e.second) {
        SYMTAB* s = syms[n];
        VKIND k = kind_of(s->type);
        uint32_t w;
        if (k == K_F32) {
          static const float fv[] = {0.0f, -0.0f, 1.0f, -3.5f, 1e20f, 0.3f, 100.0f, -1e-3f, 7.0f};
          w = pick(4) ? f2b(fv[pick(9)]) : f2b(static_cast<float>(static_cast<int32_t>(rng())) / 1024.0f);
        } else {
          w = canon_word(pick(2) ? edges[pick(12)] : static_cast<uint32_t>(rng()), k);
        }
        m[s] = w;
      }
    return m;
  }

  static bool same_value(uint32_t a, uint32_t b, bool fl) {
    if (a == b) return true;
    return fl && std::isnan(b2f(a)) && std::isnan(b2f(b));
  }
};

// ZOPT_TORTURE_SEED and ZOPT_TORTURE_ITERATIONS run it longer by hand.
TEST_F(Torture, SimplifiedTreesComputeTheSame) {
  int compared = 0;
  int failures = 0;
  int iterations = 6000;
  if (const char* s = getenv("ZOPT_TORTURE_SEED")) rng.seed(static_cast<unsigned>(atol(s)));
  if (const char* n = getenv("ZOPT_TORTURE_ITERATIONS")) iterations = atoi(n);
  for (int iter = 0; iter < iterations && failures < 5; ++iter) {
    size_speed_goal = iter % 3 == 0 ? 2 : 4;
    strict_fp = 1;  // relaxed floating point may change results, by request
    std::string tn = iter % 6 == 0 ? "f32" : int_types[pick(4)];
    if (iter % 50 == 0) made.clear();
    NODE* orig = gen(tn, 2 + pick(4));
    std::string before = show(orig);
    NODE* copy = copy_tree(orig, false);
    NODE* simp = simp_tree(copy, nullptr, nullptr);
    if (iter % 2 == 0) simp = transform_DIV_or_MOD(simp, nullptr);
    std::string after = show(simp);
    bool fl = tn == "f32";
    for (int run = 0; run < 8; ++run) {
      EVAL e1, e2;
      e1.vars = random_vars();
      e2.vars = e1.vars;
      uint32_t r1;
      try {
        r1 = e1.rv(orig);
      } catch (TRAP&) {
        continue;
      }
      uint32_t r2 = 0;
      bool trapped = false;
      try {
        r2 = e2.rv(simp);
      } catch (TRAP&) {
        trapped = true;
      }
      ++compared;
      bool vars_same = true;
      for (const auto& kv : e1.vars)
        if (!same_value(kv.second, e2.vars.at(kv.first), kind_of(kv.first->type) == K_F32)) vars_same = false;
      if (trapped || !same_value(r1, r2, fl) || !vars_same) {
        ++failures;
        ADD_FAILURE() << "before: " << before << "\nafter:  " << after << "\nvalues " << r1 << " vs " << r2
                      << (trapped ? " (trap)" : "") << (vars_same ? "" : " (variables differ)");
        break;
      }
    }
    erase_tree(orig);
    erase_tree(simp);
  }
  EXPECT_GT(compared, iterations * 3);
  EXPECT_EQ(simp::rounds_exhausted, 0) << "rules that undo each other";
}

}  // namespace
}  // namespace simp_test
