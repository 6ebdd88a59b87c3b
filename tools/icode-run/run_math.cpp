// math.h on binary32: float, double and long double are all binary32 here.
// Each function is computed in host double precision on the exact binary32
// argument and rounded once to binary32 (round to nearest even), so sqrt,
// fabs, floor, ceil, trunc, round, fmod, ldexp, frexp and modf are exact and
// the others are as close as the host's double functions allow.
#include <cmath>

#include "tools/icode-run/run_libc.h"
#include "tools/icode-run/run_ops.h"

namespace {

struct MATH_FN {
  double (*f1)(double);
  double (*f2)(double, double);
};

VAL math1(LIBCALL& c) {
  auto* m = static_cast<const MATH_FN*>(c.fn->builtin_data);
  return float_result(static_cast<float>(m->f1(static_cast<double>(lib_float(c, 0)))));
}

VAL math2(LIBCALL& c) {
  auto* m = static_cast<const MATH_FN*>(c.fn->builtin_data);
  return float_result(
      static_cast<float>(m->f2(static_cast<double>(lib_float(c, 0)), static_cast<double>(lib_float(c, 1)))));
}

VAL lib_ldexp(LIBCALL& c) {
  return float_result(static_cast<float>(std::ldexp(static_cast<double>(lib_float(c, 0)), lib_int(c, 1))));
}

VAL lib_frexp(LIBCALL& c) {
  float x = lib_float(c, 0);
  VAL p = lib_ptr(c, 1);
  int e = 0;
  float m = std::frexp(x, &e);
  check_write(p, 2);
  A32::st(p_addr(p), static_cast<uint32_t>(e));
  return float_result(m);
}

VAL lib_modf(LIBCALL& c) {
  float x = lib_float(c, 0);
  VAL p = lib_ptr(c, 1);
  float whole = 0;
  float frac = std::modf(x, &whole);
  check_write(p, 2);
  A32::st(p_addr(p), f2b(whole));
  return float_result(frac);
}

#define F1(name, expr) const MATH_FN m_##name = {[](double x) { return expr; }, nullptr};
F1(sqrt, std::sqrt(x))
F1(sin, std::sin(x))
F1(cos, std::cos(x))
F1(tan, std::tan(x))
F1(asin, std::asin(x))
F1(acos, std::acos(x))
F1(atan, std::atan(x))
F1(sinh, std::sinh(x))
F1(cosh, std::cosh(x))
F1(tanh, std::tanh(x))
F1(exp, std::exp(x))
F1(log, std::log(x))
F1(log10, std::log10(x))
F1(fabs, std::fabs(x))
F1(floor, std::floor(x))
F1(ceil, std::ceil(x))
F1(trunc, std::trunc(x))
F1(round, std::round(x))
#undef F1
const MATH_FN m_atan2 = {nullptr, [](double y, double x) { return std::atan2(y, x); }};
const MATH_FN m_pow = {nullptr, [](double x, double y) { return std::pow(x, y); }};
const MATH_FN m_fmod = {nullptr, [](double x, double y) { return std::fmod(x, y); }};

}  // namespace

#define M1(name) {#name, math1, &m_##name}, {#name "f", math1, &m_##name}, {#name "l", math1, &m_##name}
#define M2(name) {#name, math2, &m_##name}, {#name "f", math2, &m_##name}, {#name "l", math2, &m_##name}
const LIB_ENTRY lib_math_entries[] = {
    M1(sqrt),  M1(sin),   M1(cos),   M1(tan),   M1(asin),  M1(acos),   M1(atan),
    M1(sinh),  M1(cosh),  M1(tanh),  M1(exp),   M1(log),   M1(log10),  M1(fabs),
    M1(floor), M1(ceil),  M1(trunc), M1(round), M2(atan2), M2(pow),    M2(fmod),
    {"ldexp", lib_ldexp, nullptr},   {"ldexpf", lib_ldexp, nullptr},   {"frexp", lib_frexp, nullptr},
    {"frexpf", lib_frexp, nullptr},  {"modf", lib_modf, nullptr},      {"modff", lib_modf, nullptr},
    {nullptr, nullptr, nullptr},
};
