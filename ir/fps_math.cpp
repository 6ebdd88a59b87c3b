// Elementary functions in the simulated format, after Cody and Waite. The
// coefficient texts are part of the result: they are read with f_atof at
// each call, so the digits below are what every host computes with.
#include "ir/fps.h"

namespace {

simul_fval K(const char* text) {
  simul_fval v;
  f_atof(text, &v);
  return v;
}

simul_fval add(const simul_fval& a, const simul_fval& b) {
  simul_fval r;
  f_add(&a, &b, &r);
  return r;
}
simul_fval sub(const simul_fval& a, const simul_fval& b) {
  simul_fval r;
  f_sub(&a, &b, &r);
  return r;
}
simul_fval mul(const simul_fval& a, const simul_fval& b) {
  simul_fval r;
  f_mul(&a, &b, &r);
  return r;
}
simul_fval div(const simul_fval& a, const simul_fval& b) {
  simul_fval r;
  f_div(&a, &b, &r);
  return r;
}
simul_fval neg(const simul_fval& a) {
  simul_fval r;
  f_neg(&a, &r);
  return r;
}
simul_fval absval(const simul_fval& a) {
  simul_fval r;
  f_abs(&a, &r);
  return r;
}
simul_fval with_sign(simul_fval v, unsigned sign) {
  v.sign = static_cast<uint16_t>(sign);
  return v;
}

// c[n] * z^n + ... + c[0], by Horner's rule.
simul_fval poly(const simul_fval& z, const char* const* coef, int n) {
  simul_fval r = K(coef[n]);
  for (int i = n - 1; i >= 0; --i) r = add(mul(r, z), K(coef[i]));
  return r;
}

// z^(n+1) + c[n] * z^n + ... + c[0]: a polynomial with a leading 1.
simul_fval poly_monic(const simul_fval& z, const char* const* coef, int n) {
  simul_fval r = add(z, K(coef[n]));
  for (int i = n - 1; i >= 0; --i) r = add(mul(r, z), K(coef[i]));
  return r;
}

int invalid(simul_fval* r, const simul_fval& value) {
  *r = value;
  fp_error |= FP_INVALID;
  return -1;
}

// Nearest integer of x * scale, halves away from zero, in floating form.
simul_fval nearest_multiple(const simul_fval& x, const char* scale) {
  simul_fval n;
  simul_fval t = mul(x, K(scale));
  f_round(&t, &n);
  return n;
}

bool is_odd_integer(const simul_fval& v) {
  long whole = 0;
  f_int(&v, &whole);
  if (!whole || f_is_zero(&v) || v.exponent <= 0 || v.exponent > 64) return false;
  return (f_mantissa64(&v) >> (64 - v.exponent)) & 1;
}

const char* const kExpP[] = {"0.25", "7.5753180159422776666e-3", "3.1555192765684646356e-5"};
const char* const kExpQ[] = {"0.5", "5.6817302698551221787e-2", "6.3121894374398503557e-4",
                             "7.5104028399870046114e-7"};

const char* const kLogA[] = {"-0.64124943423745581147e2", "0.16383943563021534222e2", "-0.78956112887491257267"};
const char* const kLogB[] = {"-0.76949932108494879777e3", "0.31203222091924532844e3", "-0.35667977739034646171e2"};

const char* const kSinR[] = {"-0.16666666666666665052",   "0.83333333333331650314e-2", "-0.19841269841201840457e-3",
                             "0.27557319210152756119e-5",  "-0.25052106798274584544e-7", "0.16058936490371589114e-9",
                             "-0.76429178068910467734e-12", "0.27204790957888846175e-14"};

const char* const kTanP[] = {"-0.13338350006421960681", "0.34248878235890589960e-2", "-0.17861707342254426711e-4"};
const char* const kTanQ[] = {"1", "-0.46671683339755294240", "0.25663832289440112864e-1", "-0.31181531907010027307e-3",
                             "0.49819433993786512270e-6"};

const char* const kAtanP[] = {"-0.13688768894191926929e2", "-0.20505855195861651981e2", "-0.84946240351320683534e1",
                              "-0.83758299368150059274"};
const char* const kAtanQ[] = {"0.41066306682575781263e2", "0.86157349597130242515e2", "0.59578436142597344465e2",
                              "0.15024001160028576121e2"};

const char* const kAsinP[] = {"-0.27368494524164255994e2", "0.57208227877891731407e2", "-0.39688862997504877339e2",
                              "0.10152522233806463645e2", "-0.69674573447350646411"};
const char* const kAsinQ[] = {"-0.16421096714498560795e3", "0.41714430248260412556e3", "-0.38186303361750149284e3",
                              "0.15095270841030604719e3", "-0.23823859153670238830e2"};

const char* const kSinhP[] = {"-0.35181283430177117881e6", "-0.11563521196851768270e5", "-0.16375798202630751372e3",
                              "-0.78966127417357099479"};
const char* const kSinhQ[] = {"-0.21108770058106271242e7", "0.36162723109421836460e5", "-0.27773523119650701667e3"};

const char* const kTanhP[] = {"-0.16134119023996228053e4", "-0.99225929672236083313e2", "-0.96437492777225469787"};
const char* const kTanhQ[] = {"0.48402357071988688686e4", "0.22337720718962312926e4", "0.11274474380534949335e3"};

const char* const kPiOver2 = "1.57079632679489661923";

// sin(|x|) with the sign `sign`, or cos(x) as sin(|x| + pi/2): the common
// body of f_sin and f_cos. The sum with pi/2 only picks the multiple of pi;
// the reduction subtracts (N - 1/2) pi from |x| itself, so that no bits of
// |x| are lost to the sum.
int sine_body(const simul_fval& ax, bool cosine, unsigned sign, simul_fval* r) {
  simul_fval y = cosine ? add(ax, K(kPiOver2)) : ax;
  simul_fval n = nearest_multiple(y, "0.31830988618379067154");
  if (is_odd_integer(n)) sign ^= 1;
  simul_fval xn = cosine ? sub(n, one_half) : n;
  simul_fval f = sub(sub(ax, mul(xn, K("3.1416015625"))), mul(xn, K("-8.908910206761537356617e-6")));
  simul_fval g = mul(f, f);
  simul_fval rg = mul(poly(g, kSinR, 7), g);
  *r = add(f, mul(f, rg));
  if (sign) f_neg(r, r);
  return 0;
}

// Rational part of asin and acos: y + y * g P(g) / Q(g).
simul_fval asin_kernel(const simul_fval& y, const simul_fval& g) {
  simul_fval rg = div(mul(g, poly(g, kAsinP, 4)), poly_monic(g, kAsinQ, 4));
  return add(y, mul(y, rg));
}

}  // namespace

int f_sqrt(const simul_fval* x, simul_fval* r) {
  if (f_is_zero(x) || f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  if (x->sign) return invalid(r, pos_zero);
  if (f_is_inf(x)) {
    *r = *x;
    return 0;
  }
  long e = 0;
  simul_fval m;
  f_frexp(x, &e, &m);
  simul_fval y;
  f_ldexp(&three_q, -(e / 2), &y);
  simul_fval half_x = mul(*x, one_half);
  for (int i = 0; i < 10; ++i) y = mul(y, sub(one_p_five, mul(mul(half_x, y), y)));
  *r = mul(*x, y);
  return 0;
}

int f_exp(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  simul_fval limit = K("89.41598624");
  if (f_gt(x, &limit)) {
    *r = pos_infin;
    fp_error |= FP_OVERFLOW;
    return -1;
  }
  if (f_is_inf(x)) {  // -inf
    *r = pos_zero;
    return 0;
  }
  simul_fval t = mul(*x, K("1.4426950408889634074"));
  t = x->sign ? sub(t, one_half) : add(t, one_half);
  simul_fval xn;
  f_trunc(&t, &xn);
  simul_fval g = sub(sub(*x, mul(xn, K("0.693359375"))), mul(xn, K("-2.121944400546905827679e-4")));
  simul_fval z = mul(g, g);
  simul_fval num = mul(g, poly(z, kExpP, 2));
  simul_fval den = poly(z, kExpQ, 3);
  simul_fval res = add(one_half, div(num, sub(den, num)));
  // Far below the range the scale only needs to be small enough to underflow.
  simul_fval floor_n;
  f_itof(-100000LL, &floor_n);
  long long n = -100000;
  if (f_gt(&xn, &floor_n)) f_ftoi(&xn, &n);
  return f_ldexp(&res, static_cast<long>(n) + 1, r);
}

int f_log(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  if (f_is_zero(x) || x->sign) return invalid(r, a_nan);
  if (f_is_inf(x)) {
    *r = *x;
    return 0;
  }
  long n = 0;
  simul_fval f;
  f_frexp(x, &n, &f);
  simul_fval znum, zden;
  simul_fval c0 = K("0.70710678118654752440");
  if (f_gt(&f, &c0)) {
    znum = sub(sub(f, one_half), one_half);
    zden = add(mul(f, one_half), one_half);
  } else {
    --n;
    znum = sub(f, one_half);
    zden = add(mul(znum, one_half), one_half);
  }
  simul_fval z = div(znum, zden);
  simul_fval w = mul(z, z);
  simul_fval rz = add(z, mul(z, div(mul(w, poly(w, kLogA, 2)), poly_monic(w, kLogB, 2))));
  simul_fval xn;
  f_itof(static_cast<long long>(n), &xn);
  *r = add(add(mul(xn, K("-2.121944400546905827679e-4")), rz), mul(xn, K("0.693359375")));
  return 0;
}

int f_log10(const simul_fval* x, simul_fval* r) {
  simul_fval l;
  int rc = f_log(x, &l);
  if (rc != 0 || !f_is_finite(&l)) {
    *r = l;
    return rc;
  }
  *r = mul(l, K("0.4342944819032518"));
  return 0;
}

int f_pow(const simul_fval* x, const simul_fval* y, simul_fval* r) {
  if (f_is_zero(y)) {
    *r = one;
    return 0;
  }
  if (f_is_nan(x) || f_is_nan(y)) {
    *r = f_is_nan(x) ? *x : *y;
    return 0;
  }
  if (f_is_zero(x)) {
    unsigned sign = x->sign && is_odd_integer(*y);
    if (y->sign) {
      *r = sign ? neg_infin : pos_infin;
      fp_error |= FP_DIVBYZERO;
      return -1;
    }
    *r = sign ? neg_zero : pos_zero;
    return 0;
  }
  if (f_eq(y, &one)) {
    *r = *x;
    return 0;
  }
  bool flip = false;
  simul_fval ax = *x;
  if (x->sign) {
    long whole = 0;
    f_int(y, &whole);
    if (!whole) return invalid(r, pos_zero);
    flip = is_odd_integer(*y);
    ax.sign = 0;
  }
  simul_fval l;
  if (f_log(&ax, &l) != 0) {
    *r = l;
    return -1;
  }
  simul_fval t = mul(*y, l);
  simul_fval res;
  int rc = f_exp(&t, &res);
  if (flip && f_is_finite(&res) && !f_is_zero(&res)) f_neg(&res, &res);
  *r = res;
  return rc < 0 ? -1 : 0;
}

int f_sin(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  if (f_is_inf(x)) return invalid(r, a_nan);
  if (f_is_zero(x)) {
    *r = *x;
    return 0;
  }
  return sine_body(absval(*x), false, x->sign, r);
}

int f_cos(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  if (f_is_inf(x)) return invalid(r, a_nan);
  return sine_body(absval(*x), true, 0, r);
}

int f_tan(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  if (f_is_inf(x)) return invalid(r, a_nan);
  if (f_is_zero(x)) {
    *r = *x;
    return 0;
  }
  simul_fval y = absval(*x);
  simul_fval n = nearest_multiple(y, "0.63661977236758134308");
  simul_fval f = sub(sub(y, mul(n, K("1.57080078125"))), mul(n, K("-4.454455103380768678308e-6")));
  simul_fval g = mul(f, f);
  simul_fval xnum = add(mul(mul(f, g), poly(g, kTanP, 2)), f);
  simul_fval xden = poly(g, kTanQ, 4);
  int rc = 0;
  simul_fval res;
  if (is_odd_integer(n)) {  // the negative reciprocal
    rc = f_div(&xden, &xnum, &res);
    f_neg(&res, &res);
  } else {
    rc = f_div(&xnum, &xden, &res);
  }
  if (x->sign) f_neg(&res, &res);
  *r = res;
  return rc;
}

int f_atan(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  if (f_is_zero(x)) {
    *r = *x;
    return 0;
  }
  static const char* const kAngle[] = {nullptr, "0.52359877559829887308", kPiOver2, "1.04719755119659774615"};
  simul_fval f = absval(*x);
  int n = 0;
  if (f_gt(&f, &one)) {
    f = div(one, f);
    n = 2;
  }
  simul_fval threshold = K("0.26794919243112270647");
  if (f_gt(&f, &threshold)) {
    simul_fval sqrt3 = K("1.73205080756887729353");
    f = div(sub(mul(f, sqrt3), one), add(sqrt3, f));
    ++n;
  }
  simul_fval g = mul(f, f);
  simul_fval rg = div(mul(g, poly(g, kAtanP, 3)), poly_monic(g, kAtanQ, 3));
  simul_fval res = add(f, mul(f, rg));
  if (n > 1) res = neg(res);
  if (n > 0) res = add(res, K(kAngle[n]));
  *r = with_sign(res, x->sign);
  return 0;
}

int f_atan2(const simul_fval* y, const simul_fval* x, simul_fval* r) {
  if (f_is_nan(y) || f_is_nan(x)) {
    *r = f_is_nan(y) ? *y : *x;
    return 0;
  }
  simul_fval pi = K("3.14159265358979323846");
  simul_fval res;
  if (f_is_zero(y) || (f_is_inf(x) && f_is_finite(y))) {
    res = x->sign ? pi : pos_zero;
  } else if (f_is_zero(x) || (f_is_inf(y) && f_is_finite(x))) {
    res = K(kPiOver2);
  } else if (f_is_inf(x)) {  // both infinite
    res = mul(K(kPiOver2), one_half);
    if (x->sign) res = sub(pi, res);
  } else {
    simul_fval q = absval(div(*y, *x));
    f_atan(&q, &res);
    if (x->sign) res = sub(pi, res);
  }
  *r = with_sign(res, y->sign);
  return 0;
}

int f_asin(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  simul_fval y = absval(*x);
  if (f_gt(&y, &one)) return invalid(r, a_nan);
  simul_fval res;
  if (f_gt(&y, &one_half)) {
    simul_fval g = mul(add(sub(one_half, y), one_half), one_half);
    simul_fval s;
    f_sqrt(&g, &s);
    res = asin_kernel(neg(add(s, s)), g);
    simul_fval quarter_pi = K("0.78539816339744830962");
    res = add(add(quarter_pi, res), quarter_pi);
  } else {
    res = asin_kernel(y, mul(y, y));
  }
  *r = with_sign(res, x->sign);
  return 0;
}

int f_acos(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  simul_fval y = absval(*x);
  if (f_gt(&y, &one)) return invalid(r, a_nan);
  simul_fval quarter_pi = K("0.78539816339744830962");
  simul_fval res;
  if (f_gt(&y, &one_half)) {
    // -2 sqrt((1 - |x|) / 2), as -sqrt(2) sqrt(1 - |x|)
    simul_fval g = mul(add(sub(one_half, y), one_half), one_half);
    simul_fval s, d = sub(one, y);
    f_sqrt(&d, &s);
    res = asin_kernel(neg(mul(s, K("1.4142135623730950"))), g);
    if (x->sign) {
      simul_fval half_pi = K(kPiOver2);
      res = add(add(half_pi, res), half_pi);
    } else {
      res = neg(res);
    }
  } else {
    res = asin_kernel(y, mul(y, y));
    res = x->sign ? add(add(quarter_pi, res), quarter_pi) : add(sub(quarter_pi, res), quarter_pi);
  }
  *r = res;
  return 0;
}

int f_sinh(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x) || f_is_zero(x)) {
    *r = *x;
    return 0;
  }
  simul_fval y = absval(*x);
  simul_fval res;
  int rc = 0;
  if (f_le(&y, &one)) {
    simul_fval g = mul(y, y);
    simul_fval rg = div(mul(g, poly(g, kSinhP, 3)), poly_monic(g, kSinhQ, 2));
    res = add(y, mul(y, rg));
  } else {
    simul_fval z;
    rc = f_exp(&y, &z);
    res = f_is_finite(&z) ? mul(sub(z, div(one, z)), one_half) : z;
  }
  *r = with_sign(res, x->sign);
  return rc;
}

int f_cosh(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x)) {
    *r = *x;
    return 0;
  }
  simul_fval y = absval(*x), z;
  int rc = f_exp(&y, &z);
  *r = f_is_finite(&z) ? mul(add(z, div(one, z)), one_half) : z;
  return rc;
}

int f_tanh(const simul_fval* x, simul_fval* r) {
  if (f_is_nan(x) || f_is_zero(x)) {
    *r = *x;
    return 0;
  }
  simul_fval f = absval(*x);
  simul_fval big = K("8.664339757"), mid = K("0.54930614433405484570");
  simul_fval res;
  if (f_gt(&f, &big)) {
    res = one;
  } else if (f_gt(&f, &mid)) {
    simul_fval e, twice = add(f, f);
    f_exp(&twice, &e);
    res = sub(one_half, div(one, add(e, one)));
    res = add(res, res);
  } else {
    simul_fval g = mul(f, f);
    simul_fval rg = div(mul(g, poly(g, kTanhP, 2)), poly_monic(g, kTanhQ, 2));
    res = add(f, mul(f, rg));
  }
  *r = with_sign(res, x->sign);
  return 0;
}
