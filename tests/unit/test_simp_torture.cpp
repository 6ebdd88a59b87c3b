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

#include "test_simp_util.h"

namespace simp_test {
namespace {

enum VKIND { K_I16S, K_I16U, K_I32S, K_I32U, K_BOOL, K_F32, K_OTHER };

VKIND kind_of(const TYPE* t) {
  const TYPE* r = t->rep ? t->rep : t;
  if (r->kind == TYPE::KIND_FLOATING) return K_F32;
  if (r->kind != TYPE::KIND_INTEGRAL) return K_OTHER;
  if (r->is_bool()) return K_BOOL;
  if (r->size == 16) return r->is_signed() ? K_I16S : K_I16U;
  return r->is_signed() ? K_I32S : K_I32U;
}

struct TRAP {};

float b2f(uint32_t b) {
  float f;
  memcpy(&f, &b, 4);
  return f;
}
uint32_t f2b(float f) {
  uint32_t b;
  memcpy(&b, &f, 4);
  return b;
}

uint32_t canon_word(uint32_t w, VKIND k) {
  switch (k) {
    case K_I16S: return static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(w)));
    case K_I16U: return w & 0xffff;
    case K_BOOL: return w != 0;
    default: return w;
  }
}

bool is_signed_kind(VKIND k) { return k == K_I16S || k == K_I32S; }

uint32_t convert(uint32_t w, VKIND from, VKIND to) {
  if (from == to) return w;
  if (to == K_F32) {
    if (from == K_F32) return w;
    if (is_signed_kind(from)) return f2b(static_cast<float>(static_cast<int32_t>(w)));
    return f2b(static_cast<float>(w));
  }
  if (from == K_F32) {
    float x = b2f(w);
    if (to == K_BOOL) return x != 0.0f;
    double d = x;
    double lo = to == K_I16S ? -32768.0 : to == K_I32S ? -2147483648.0 : 0.0;
    double hi = to == K_I16S ? 32767.0 : to == K_I16U ? 65535.0 : to == K_I32S ? 2147483647.0 : 4294967295.0;
    if (!(d > lo - 1.0 && d < hi + 1.0)) throw TRAP();
    return canon_word(static_cast<uint32_t>(static_cast<int64_t>(d)), to);
  }
  return canon_word(w, to);
}

struct EVAL {
  std::map<const SYMTAB*, uint32_t> vars;

  uint32_t test(NODE* n) {
    uint32_t w = rv(n);
    if (kind_of(n->type) == K_F32) return b2f(w) != 0.0f;
    return w != 0;
  }
  uint32_t as(NODE* n, VKIND k) { return convert(rv(n), kind_of(n->type), k); }

  uint32_t rv(NODE* n) {
    VKIND k = kind_of(n->type);
    switch (n->op) {
      case ICON: return canon_word(static_cast<uint32_t>(n->value.low), k);
      case FCON: {
        uint32_t bits;
        ieee_cvt_stof(static_cast<const simul_fval*>(n->sym), &bits);
        return bits;
      }
      case NAME: return vars.at(n->name_symbol());
      case ASG: {
        const SYMTAB* s = n->left->name_symbol();
        uint32_t v = as(n->right, kind_of(s->type));
        vars[s] = v;
        return v;
      }
      case COMMAOP: rv(n->left); return rv(n->right);
      case SCONV: return as(n->left, k);
      case EXCLAIM: return !test(n->left);
      case ANDAND: return test(n->left) && test(n->right);
      case OROR: return test(n->left) || test(n->right);
      case QUEST: return test(n->left) ? as(n->right->left, k) : as(n->right->right, k);
      default: break;
    }
    if (n->op >= EQ && n->op <= UGT) return compare(n);
    if (k == K_F32) return flt(n);
    uint32_t a = as(n->left, k);
    if (n->right == nullptr) {
      switch (n->op) {
        case UMINUS: return canon_word(0u - a, k);
        case NOTB: return canon_word(~a, k);
        case ABS: return canon_word(static_cast<int32_t>(a) < 0 ? 0u - a : a, k);
        case SQR: return canon_word(a * a, k);
        default: throw std::runtime_error(std::string("no unary ") + opname(n->op));
      }
    }
    bool shift = n->op == SLL || n->op == SRL;
    uint32_t b = shift ? rv(n->right) : as(n->right, k);
    bool sgn = is_signed_kind(k);
    uint32_t r;
    switch (n->op) {
      case PLUS: r = a + b; break;
      case MINUS: r = a - b; break;
      case MULT: r = a * b; break;
      case ANDB: r = a & b; break;
      case ORB: r = a | b; break;
      case XORB: r = a ^ b; break;
      case DIV:
        if (b == 0) throw TRAP();
        if (sgn) r = (a == 0x80000000u && b == 0xffffffffu) ? a : uint32_t(int32_t(a) / int32_t(b));
        else r = a / b;
        break;
      case MOD:
        if (b == 0) throw TRAP();
        if (sgn) r = b == 0xffffffffu ? 0 : uint32_t(int32_t(a) % int32_t(b));
        else r = a % b;
        break;
      case SLL:
        if (b > 31) throw TRAP();
        r = a << b;
        break;
      case SRL:
        if (b > 31) throw TRAP();
        r = sgn ? uint32_t(int32_t(a) >> b) : a >> b;
        break;
      default: throw std::runtime_error(std::string("no binary ") + opname(n->op));
    }
    return canon_word(r, k);
  }

  uint32_t flt(NODE* n) {
    float a = b2f(as(n->left, K_F32));
    if (!n->right) {
      switch (n->op) {
        case UMINUS: return f2b(-a);
        case ABS: return f2b(std::fabs(a));
        case SQR: return f2b(a * a);
        default: throw std::runtime_error(std::string("no float unary ") + opname(n->op));
      }
    }
    float b = b2f(as(n->right, K_F32));
    switch (n->op) {
      case PLUS: return f2b(a + b);
      case MINUS: return f2b(a - b);
      case MULT: return f2b(a * b);
      case DIV: return f2b(a / b);
      default: throw std::runtime_error(std::string("no float binary ") + opname(n->op));
    }
  }

  uint32_t compare(NODE* n) {
    VKIND a = kind_of(n->left->type), b = kind_of(n->right->type);
    VKIND cv;
    if (a == K_F32 || b == K_F32) cv = K_F32;
    else if (a == b) cv = a;
    else cv = K_I32S;
    if (cv != K_F32 && (a == K_I32U || b == K_I32U) && a != b) cv = K_I32U;
    uint32_t x = as(n->left, cv), y = as(n->right, cv);
    if (cv == K_F32) {
      float fx = b2f(x), fy = b2f(y);
      switch (n->op) {
        case EQ: return fx == fy;
        case NEQ: return fx != fy;
        case LT: case ULT: return fx < fy;
        case LE: case ULE: return fx <= fy;
        case GT: case UGT: return fx > fy;
        default: return fx >= fy;
      }
    }
    int32_t sx = int32_t(x), sy = int32_t(y);
    switch (n->op) {
      case EQ: return x == y;
      case NEQ: return x != y;
      case LT: return sx < sy;
      case LE: return sx <= sy;
      case GT: return sx > sy;
      case GE: return sx >= sy;
      case ULT: return x < y;
      case ULE: return x <= y;
      case UGT: return x > y;
      default: return x >= y;
    }
  }
};

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
}

}  // namespace
}  // namespace simp_test
