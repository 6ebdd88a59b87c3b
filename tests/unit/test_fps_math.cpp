// Arithmetic of binary32 values through the simulated format against the
// host's binary32 arithmetic, and the elementary functions against the
// host's double functions rounded to float.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

#include "ir/fps.h"

namespace {

float float_of(uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, 4);
  return f;
}
uint32_t bits_of(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  return bits;
}
simul_fval sf(float f) {
  simul_fval v;
  ieee_cvt_ftos(bits_of(f), &v);
  return v;
}
float fs(const simul_fval& v) { return float_of(get_ieee_flt_fmt(&v)); }

// Distance in binary32 units of the last place, across zero.
long ulps_apart(float a, float b) {
  auto order = [](float f) {
    int32_t i;
    std::memcpy(&i, &f, 4);
    return i < 0 ? -static_cast<long>(i & 0x7fffffff) : static_cast<long>(i);
  };
  long d = order(a) - order(b);
  return d < 0 ? -d : d;
}

// As for the decimal reader: a different binary32 result is explained when
// the 64-bit intermediate lies on or across the midpoint of the two
// candidates, within the error of its rounding.
bool explained_by_double_rounding(const simul_fval& s, float ours, float host) {
  if (!std::isfinite(ours) || !std::isfinite(host) || ulps_apart(ours, host) != 1) return false;
  simul_fval m, diff, lo = sf(ours), hi = sf(host), to_host, bound;
  f_add(&lo, &hi, &m);
  f_mul(&m, &one_half, &m);
  f_sub(&s, &m, &diff);
  if (f_is_zero(&diff)) return true;
  f_sub(&hi, &m, &to_host);
  if (diff.sign == to_host.sign) return false;
  f_abs(&m, &bound);
  f_ldexp(&bound, -48, &bound);
  f_abs(&diff, &diff);
  return f_le(&diff, &bound);
}

float random_finite(std::mt19937& rng) {
  for (;;) {
    float f = float_of(rng());
    if (std::isfinite(f)) return f;
  }
}

}  // namespace

TEST(FpsMathProperty, ArithmeticMatchesHostBinary32) {
  std::mt19937 rng(99);
  long compared = 0, agree = 0, explained = 0;
  for (int i = 0; i < 250000; ++i) {
    float a = random_finite(rng), b;
    switch (i % 4) {
      case 0: b = random_finite(rng); break;
      case 1: b = std::ldexp(a, static_cast<int>(rng() % 60) - 30) * (rng() & 1 ? -1.0f : 1.0f); break;
      case 2: b = float_of(bits_of(a) ^ (rng() & 0x3ff)); break;  // close to a
      default: b = float_of(rng() & 0x80ffffff); a = float_of(rng() & 0x81ffffff); break;  // subnormal range
    }
    if (!std::isfinite(b)) continue;
    simul_fval sa = sf(a), sb = sf(b), s;
    for (int op = 0; op < 4; ++op) {
      volatile float va = a, vb = b;
      float host;
      switch (op) {
        case 0: f_add(&sa, &sb, &s); host = va + vb; break;
        case 1: f_sub(&sa, &sb, &s); host = va - vb; break;
        case 2: f_mul(&sa, &sb, &s); host = va * vb; break;
        default: f_div(&sa, &sb, &s); host = va / vb; break;
      }
      float ours = fs(s);
      ++compared;
      if (std::isnan(host) ? std::isnan(ours) : bits_of(ours) == bits_of(host)) {
        ++agree;
        continue;
      }
      ASSERT_TRUE(explained_by_double_rounding(s, ours, host))
          << "op " << op << " " << std::hexfloat << a << " " << b << ": ours " << ours << " host " << host;
      ++explained;
    }
  }
  printf("binary32 arithmetic: %ld results, %ld equal to the host, %ld explained by the 64-bit rounding\n", compared,
         agree, explained);
  EXPECT_EQ(agree + explained, compared);
}

namespace {

struct SWEEP {
  const char* name;
  int (*ours)(const simul_fval*, simul_fval*);
  double (*host)(double);
  long limit;  // ulps allowed
};

double host_sqrt(double x) { return std::sqrt(x); }
double host_exp(double x) { return std::exp(x); }
double host_log(double x) { return std::log(x); }
double host_log10(double x) { return std::log10(x); }
double host_sin(double x) { return std::sin(x); }
double host_cos(double x) { return std::cos(x); }
double host_tan(double x) { return std::tan(x); }
double host_asin(double x) { return std::asin(x); }
double host_acos(double x) { return std::acos(x); }
double host_atan(double x) { return std::atan(x); }
double host_sinh(double x) { return std::sinh(x); }
double host_cosh(double x) { return std::cosh(x); }
double host_tanh(double x) { return std::tanh(x); }

// Arguments for one function: spread over its domain, with a share of
// random bit patterns where the domain is the whole line.
std::vector<float> arguments(const char* name, std::mt19937& rng, int count) {
  std::vector<float> xs;
  auto uniform = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng); };
  for (int i = 0; i < count; ++i) {
    float x;
    std::string n = name;
    if (n == "sqrt" || n == "log" || n == "log10") {
      x = std::fabs(random_finite(rng));
      if (x == 0) continue;
    } else if (n == "exp") {
      x = uniform(-103.0f, 88.7f);
    } else if (n == "sin" || n == "cos" || n == "tan") {
      x = i % 4 == 0 ? uniform(-1.0e5f, 1.0e5f) : uniform(-10.0f, 10.0f);
    } else if (n == "asin" || n == "acos") {
      x = uniform(-1.0f, 1.0f);
    } else if (n == "atan") {
      x = i % 2 ? uniform(-10.0f, 10.0f) : random_finite(rng);
    } else if (n == "sinh" || n == "cosh") {
      x = i % 2 ? uniform(-89.0f, 89.0f) : uniform(-2.0f, 2.0f);
    } else {
      x = uniform(-10.0f, 10.0f);
    }
    xs.push_back(x);
  }
  return xs;
}

}  // namespace

TEST(FpsMathProperty, ElementaryFunctionsWithinUlpsOfTheHost) {
  const SWEEP sweeps[] = {
      {"sqrt", f_sqrt, host_sqrt, 1}, {"exp", f_exp, host_exp, 1},    {"log", f_log, host_log, 1},
      {"sin", f_sin, host_sin, 1},    {"cos", f_cos, host_cos, 1},    {"log10", f_log10, host_log10, 1},
      {"tan", f_tan, host_tan, 1},    {"asin", f_asin, host_asin, 1}, {"acos", f_acos, host_acos, 1},
      {"atan", f_atan, host_atan, 1}, {"sinh", f_sinh, host_sinh, 1}, {"cosh", f_cosh, host_cosh, 1},
      {"tanh", f_tanh, host_tanh, 1},
  };
  std::mt19937 rng(12345);
  printf("%-6s %7s %9s %10s\n", "func", "args", "max ulps", "exact");
  for (const SWEEP& w : sweeps) {
    long worst = 0, exact = 0, n = 0;
    float worst_x = 0;
    for (float x : arguments(w.name, rng, 1500)) {
      simul_fval v = sf(x), r;
      w.ours(&v, &r);
      float ours = fs(r);
      float ref = static_cast<float>(w.host(static_cast<double>(x)));
      if (!std::isfinite(ref)) continue;
      long d = ulps_apart(ours, ref);
      ++n;
      if (d == 0) ++exact;
      if (d > worst) {
        worst = d;
        worst_x = x;
      }
    }
    printf("%-6s %7ld %9ld %9.2f%%   worst at %a\n", w.name, n, worst, 100.0 * exact / n, worst_x);
    EXPECT_LE(worst, w.limit) << w.name << " at " << worst_x;
  }

  // Two-argument functions.
  long worst_pow = 0, worst_atan2 = 0;
  for (int i = 0; i < 1500; ++i) {
    float x = std::uniform_real_distribution<float>(0.01f, 100.0f)(rng);
    float y = std::uniform_real_distribution<float>(-10.0f, 10.0f)(rng);
    if (i % 3 == 0) {  // a negative base with an integer exponent
      x = -x;
      y = std::round(y);
    }
    simul_fval sx = sf(x), sy = sf(y), r;
    f_pow(&sx, &sy, &r);
    float ref = static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(y)));
    if (std::isfinite(ref) && ref != 0) worst_pow = std::max(worst_pow, ulps_apart(fs(r), ref));
    float a = random_finite(rng), b = i % 2 ? random_finite(rng) : std::uniform_real_distribution<float>(-5, 5)(rng);
    simul_fval sa = sf(a), sb = sf(b);
    f_atan2(&sa, &sb, &r);
    worst_atan2 = std::max(worst_atan2, ulps_apart(fs(r), static_cast<float>(std::atan2(double(a), double(b)))));
  }
  printf("%-6s %7d %9ld\n%-6s %7d %9ld\n", "pow", 1500, worst_pow, "atan2", 1500, worst_atan2);
  EXPECT_LE(worst_pow, 1);
  EXPECT_LE(worst_atan2, 1);
}

TEST(FpsMath, DomainErrorsAndSpecialArguments) {
  simul_fval r, x;
  // sqrt of a negative number is +0 with the invalid bit, not a NaN.
  x = sf(-4.0f);
  fp_error = 0;
  EXPECT_EQ(f_sqrt(&x, &r), -1);
  EXPECT_TRUE(f_bit_eq(&r, &pos_zero));
  EXPECT_EQ(fp_error, FP_INVALID);
  f_sqrt(&neg_zero, &r);
  EXPECT_TRUE(f_bit_eq(&r, &neg_zero));
  x = sf(16.0f);
  f_sqrt(&x, &r);
  EXPECT_EQ(fs(r), 4.0f);

  fp_error = 0;
  x = sf(89.5f);
  EXPECT_EQ(f_exp(&x, &r), -1);
  EXPECT_TRUE(f_bit_eq(&r, &pos_infin));
  EXPECT_EQ(fp_error, FP_OVERFLOW);
  fp_error = 0;
  EXPECT_EQ(f_exp(&neg_infin, &r), 0);
  EXPECT_TRUE(f_bit_eq(&r, &pos_zero));
  x = sf(-1.0e6f);
  EXPECT_EQ(f_exp(&x, &r), -1);  // far below the range: a zero, with underflow
  EXPECT_TRUE(f_is_zero(&r));
  EXPECT_EQ(fp_error, FP_UNDERFLOW);
  EXPECT_EQ(f_exp(&pos_zero, &r), 0);
  EXPECT_EQ(fs(r), 1.0f);

  fp_error = 0;
  EXPECT_EQ(f_log(&pos_zero, &r), -1);
  x = sf(-2.0f);
  EXPECT_EQ(f_log10(&x, &r), -1);
  EXPECT_EQ(fp_error, FP_INVALID);
  EXPECT_EQ(f_log(&one, &r), 0);
  EXPECT_TRUE(f_is_zero(&r));
  x = sf(1000.0f);
  f_log10(&x, &r);
  EXPECT_EQ(fs(r), 3.0f);

  fp_error = 0;
  x = sf(1.5f);
  EXPECT_EQ(f_asin(&x, &r), -1);
  EXPECT_EQ(f_acos(&x, &r), -1);
  EXPECT_EQ(f_sin(&pos_infin, &r), -1);
  EXPECT_EQ(fp_error, FP_INVALID);
  f_acos(&neg_one, &r);
  EXPECT_EQ(fs(r), static_cast<float>(M_PI));
  f_asin(&one, &r);
  EXPECT_EQ(fs(r), static_cast<float>(M_PI / 2));

  x = sf(20.0f);
  f_tanh(&x, &r);
  EXPECT_EQ(fs(r), 1.0f);
  x = sf(-20.0f);
  f_tanh(&x, &r);
  EXPECT_EQ(fs(r), -1.0f);
  f_atan(&neg_infin, &r);
  EXPECT_EQ(fs(r), static_cast<float>(-M_PI / 2));
  f_sin(&neg_zero, &r);
  EXPECT_TRUE(f_bit_eq(&r, &neg_zero));

  // pow: simple cases without logarithms, signs of negative bases.
  simul_fval y;
  x = sf(-2.0f);
  y = sf(3.0f);
  f_pow(&x, &y, &r);
  EXPECT_EQ(fs(r), -8.0f);
  y = sf(-2.0f);
  f_pow(&x, &y, &r);
  EXPECT_EQ(fs(r), 0.25f);
  y = sf(0.5f);
  fp_error = 0;
  EXPECT_EQ(f_pow(&x, &y, &r), -1);
  EXPECT_TRUE(f_bit_eq(&r, &pos_zero));
  EXPECT_EQ(fp_error, FP_INVALID);
  f_pow(&a_nan, &pos_zero, &r);
  EXPECT_TRUE(f_bit_eq(&r, &one));
  x = sf(7.25f);
  f_pow(&x, &one, &r);
  EXPECT_TRUE(f_bit_eq(&r, &x));
  y = sf(-3.0f);
  fp_error = 0;
  EXPECT_EQ(f_pow(&neg_zero, &y, &r), -1);
  EXPECT_TRUE(f_bit_eq(&r, &neg_infin));
  EXPECT_EQ(fp_error, FP_DIVBYZERO);
  x = sf(-10.0f);
  y = sf(41.0f);
  fp_error = 0;
  EXPECT_EQ(f_pow(&x, &y, &r), -1);  // overflow: the infinity keeps the sign f_exp gave
  EXPECT_TRUE(f_bit_eq(&r, &pos_infin));
  EXPECT_EQ(fp_error, FP_OVERFLOW);

  // atan2 by quadrant, against the host.
  const float pts[][2] = {{1, 1}, {1, -1}, {-1, -1}, {-1, 1}, {0, -1}, {-0.0f, -1}, {0, 1}, {3, 0}, {-3, 0}};
  for (const auto& p : pts) {
    simul_fval a = sf(p[0]), b = sf(p[1]);
    f_atan2(&a, &b, &r);
    EXPECT_EQ(bits_of(fs(r)), bits_of(static_cast<float>(std::atan2(double(p[0]), double(p[1]))))) << p[0] << " " << p[1];
  }
}
