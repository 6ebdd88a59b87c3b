// Wide sweep of the simulated elementary functions against the host's
// double functions rounded to float: maximum error in binary32 ulps and the
// share of exact results, per function and argument range.
//
// Build against the core library, for example:
//   g++ -std=c++17 -O2 -I. bench/fps/ulp_sweep.cpp build/libzoptcore.a -o ulp_sweep
// Usage: ulp_sweep [arguments-per-range]
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "ir/fps.h"

namespace {

uint32_t bits_of(float f) {
  uint32_t b;
  std::memcpy(&b, &f, 4);
  return b;
}
float float_of(uint32_t b) {
  float f;
  std::memcpy(&f, &b, 4);
  return f;
}
long ulps_apart(float a, float b) {
  auto order = [](float f) {
    int32_t i;
    std::memcpy(&i, &f, 4);
    return i < 0 ? -static_cast<long>(i & 0x7fffffff) : static_cast<long>(i);
  };
  long d = order(a) - order(b);
  return d < 0 ? -d : d;
}

struct RANGE {
  const char* name;
  int (*ours)(const simul_fval*, simul_fval*);
  double (*host)(double);
  float lo, hi;  // lo == hi: random bit patterns of the sign of lo
};

double h_sqrt(double x) { return std::sqrt(x); }
double h_exp(double x) { return std::exp(x); }
double h_log(double x) { return std::log(x); }
double h_log10(double x) { return std::log10(x); }
double h_sin(double x) { return std::sin(x); }
double h_cos(double x) { return std::cos(x); }
double h_tan(double x) { return std::tan(x); }
double h_asin(double x) { return std::asin(x); }
double h_acos(double x) { return std::acos(x); }
double h_atan(double x) { return std::atan(x); }
double h_sinh(double x) { return std::sinh(x); }
double h_cosh(double x) { return std::cosh(x); }
double h_tanh(double x) { return std::tanh(x); }

const RANGE kRanges[] = {
    {"sqrt", f_sqrt, h_sqrt, 1, 1},          {"exp", f_exp, h_exp, -103.9f, 88.7f},
    {"exp", f_exp, h_exp, -1, 1},            {"log", f_log, h_log, 1, 1},
    {"log", f_log, h_log, 0.5f, 2},          {"log10", f_log10, h_log10, 1, 1},
    {"sin", f_sin, h_sin, -10, 10},          {"sin", f_sin, h_sin, -1e5f, 1e5f},
    {"cos", f_cos, h_cos, -10, 10},          {"cos", f_cos, h_cos, -1e5f, 1e5f},
    {"tan", f_tan, h_tan, -10, 10},          {"tan", f_tan, h_tan, -1e5f, 1e5f},
    {"asin", f_asin, h_asin, -1, 1},         {"acos", f_acos, h_acos, -1, 1},
    {"atan", f_atan, h_atan, -1, -1},        {"atan", f_atan, h_atan, -4, 4},
    {"sinh", f_sinh, h_sinh, -89, 89},       {"sinh", f_sinh, h_sinh, -1.5f, 1.5f},
    {"cosh", f_cosh, h_cosh, -89, 89},       {"tanh", f_tanh, h_tanh, -12, 12},
};

}  // namespace

int main(int argc, char** argv) {
  long per_range = argc > 1 ? atol(argv[1]) : 100000;
  std::mt19937 rng(1);
  printf("%-6s %-22s %8s %9s %8s\n", "func", "range", "args", "max ulps", "exact");
  for (const RANGE& r : kRanges) {
    long worst = 0, exact = 0, n = 0;
    float worst_x = 0;
    for (long i = 0; i < per_range; ++i) {
      float x;
      if (r.lo == r.hi) {
        x = float_of((rng() & 0x7fffffff) | (r.lo < 0 ? 0x80000000u : 0));
        if (!std::isfinite(x) || x == 0) continue;
      } else {
        x = std::uniform_real_distribution<float>(r.lo, r.hi)(rng);
      }
      simul_fval v, res;
      ieee_cvt_ftos(bits_of(x), &v);
      r.ours(&v, &res);
      float ours = float_of(get_ieee_flt_fmt(&res));
      float ref = static_cast<float>(r.host(static_cast<double>(x)));
      if (!std::isfinite(ref)) continue;
      long d = ulps_apart(ours, ref);
      ++n;
      exact += d == 0;
      if (d > worst) {
        worst = d;
        worst_x = x;
      }
    }
    char range[40];
    if (r.lo == r.hi)
      snprintf(range, sizeof range, "%s bit patterns", r.lo < 0 ? "negative" : "positive");
    else
      snprintf(range, sizeof range, "[%g, %g]", r.lo, r.hi);
    printf("%-6s %-22s %8ld %9ld %7.3f%%  worst at %a\n", r.name, range, n, worst, 100.0 * exact / n, worst_x);
  }
}
