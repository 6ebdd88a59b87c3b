// Constant folding. Integers are computed on INT65 values read in the
// operator's type and brought back with truncate_to_type; floating values go
// through the simulated target arithmetic and are rounded to the target
// format. Nothing is folded that the target would trap on or that C leaves
// undefined: division by zero, a quotient that overflows its type, shift
// counts the machine refuses, floating-to-integer conversions out of range,
// and any floating result with fp_error set or a NaN.
#include "options/global_flags.h"
#include "scalar/simp_internal.h"

using namespace simp;

namespace {

// The 32-bit word the machine compares: true values, or both as unsigned 32
// when one side is an unsigned 32-bit operand of another type.
bool compare_ints(int op, const NODE* a, const NODE* b, bool& result) {
  INT65 x = a->value, y = b->value;
  TYPE* ta = a->type;
  TYPE* tb = b->type;
  bool both_same = same_type(ta, tb);
  bool any_u32 = (!type_is_signed(ta) && type_bits(ta) == 32 && !is_bool_type(ta)) ||
                 (!type_is_signed(tb) && type_bits(tb) == 32 && !is_bool_type(tb));
  if (type_bits(ta) > 32 || type_bits(tb) > 32) return false;
  if (!both_same && any_u32) {
    x = truncate_to_width(x, 32, false);
    y = truncate_to_width(y, 32, false);
  }
  bool is_unsigned = is_unsigned_relop(op);
  INT65 sx = truncate_to_width(x, 32, !is_unsigned);
  INT65 sy = truncate_to_width(y, 32, !is_unsigned);
  switch (op) {
    case EQ: result = sx == sy; return true;
    case NEQ: result = sx != sy; return true;
    case LT: case ULT: result = sx < sy; return true;
    case LE: case ULE: result = sx <= sy; return true;
    case GT: case UGT: result = sx > sy; return true;
    case GE: case UGE: result = sx >= sy; return true;
    default: return false;
  }
}

bool compare_floats(int op, const simul_fval* a, const simul_fval* b, bool& result) {
  switch (op) {
    case EQ: result = f_eq(a, b); return true;
    case NEQ: result = f_ne(a, b); return true;
    case LT: case ULT: result = f_lt(a, b); return true;
    case LE: case ULE: result = f_le(a, b); return true;
    case GT: case UGT: result = f_gt(a, b); return true;
    case GE: case UGE: result = f_ge(a, b); return true;
    default: return false;
  }
}

// The shift count as the machine reads it: the operand's 32-bit word.
bool shift_count(const NODE* c, int& n) {
  INT65 w = truncate_to_width(c->value, 32, false);
  if (w > INT65(31)) return false;
  n = static_cast<int>(w.low);
  return true;
}

bool fold_int_binary(int op, const NODE* l, const NODE* r, TYPE* t, INT65& out) {
  if (!is_wrap_int(t) || type_bits(t) > 32) return false;
  INT65 a = truncate_to_type(l->value, t);
  INT65 b = truncate_to_type(r->value, t);
  INT65 v;
  switch (op) {
    case PLUS: v = a + b; break;
    case MINUS: v = a - b; break;
    case MULT: v = a * b; break;
    case ANDB: v = a & b; break;
    case ORB: v = a | b; break;
    case XORB: v = a ^ b; break;
    case DIV:
    case MOD: {
      if (b.is_zero()) return false;
      INT65 q = a / b;
      if (!fits_type(q, t)) return false;  // MIN / -1
      v = op == DIV ? q : a % b;
      break;
    }
    case SLL:
    case SRL: {
      int n;
      if (!is_int_type(r->type) || !shift_count(r, n)) return false;
      v = op == SLL ? a << n : a >> n;
      break;
    }
    default: return false;
  }
  out = truncate_to_type(v, t);
  return true;
}

// A binary32 value as significand and exponent: value = n * 2^e.
struct BINARY32 {
  bool negative;
  int field;  // the biased exponent field
  __int128 n;
  int e;
};

BINARY32 decode32(const simul_fval* v) {
  uint32_t bits = 0;
  ieee_cvt_stof(v, &bits);
  BINARY32 d;
  d.negative = bits >> 31;
  d.field = static_cast<int>((bits >> 23) & 0xff);
  uint32_t frac = bits & 0x7fffff;
  d.n = d.field ? (frac | 0x800000u) : frac;
  d.e = (d.field ? d.field : 1) - 150;
  return d;
}

// Whether r is a / b rounded to nearest even in binary32. The simulation
// divides to 49 bits or more and then rounds again, which can land a
// quotient right on a midpoint; this checks it in exact integer arithmetic.
// In units of a quarter of r's last place, r is 4R and its rounding
// interval reaches to the midpoints 4R - 2 (4R - 1 at the bottom of a
// binade, where the spacing below halves) and 4R + 2.
bool quotient_is_correctly_rounded(const simul_fval* a, const simul_fval* b, const simul_fval* r) {
  BINARY32 x = decode32(a), y = decode32(b), q = decode32(r);
  if (y.n == 0) return false;
  if (x.n == 0) return q.n == 0 && q.negative == (x.negative != y.negative);
  if (q.n == 0) return false;
  if (q.negative != (x.negative != y.negative)) return false;
  // Compare x.n * 2^s with y.n * (4R + k), s = x.e - y.e - q.e + 2.
  int s = x.e - y.e - q.e + 2;
  if (s > 60 || s < -60) return false;
  __int128 lhs = x.n, scale = 1;
  if (s >= 0) lhs <<= s;
  else scale <<= -s;
  __int128 four_r = q.n * 4;
  __int128 below = four_r - ((q.n == 0x800000 && q.field > 1) ? 1 : 2);
  __int128 above = four_r + 2;
  __int128 lo = y.n * below * scale, hi = y.n * above * scale;
  bool even = (q.n & 1) == 0;
  if (lhs < lo || lhs > hi) return false;
  if ((lhs == lo || lhs == hi) && !even) return false;
  return true;
}

// A floating result is kept only when the simulation ran clean and the value
// is an ordinary number of the target format.
bool finish_float(simul_fval& r, int status, TYPE* t) {
  if (status != 0 || fp_error) return false;
  if (f_is_nan(&r)) return false;
  truncate_fval_to_target(&r, t);
  return fp_error == 0 && !f_is_nan(&r);
}

bool fold_float_binary(int op, const NODE* l, const NODE* r, TYPE* t, simul_fval& out) {
  if (f_is_nan(fval(l)) || f_is_nan(fval(r))) return false;
  fp_error = 0;
  int st;
  switch (op) {
    case PLUS: st = f_add(fval(l), fval(r), &out); break;
    case MINUS: st = f_sub(fval(l), fval(r), &out); break;
    case MULT: st = f_mul(fval(l), fval(r), &out); break;
    case DIV:
      if (f_is_zero(fval(r))) return false;
      st = f_div(fval(l), fval(r), &out);
      if (!finish_float(out, st, t)) return false;
      return quotient_is_correctly_rounded(fval(l), fval(r), &out);
    default: return false;
  }
  return finish_float(out, st, t);
}

// Square root only when the result is exact: the simulation's elementary
// functions are not correctly rounded, the target's square root is.
bool exact_sqrt(const simul_fval* x, TYPE* t, simul_fval& out) {
  if (f_is_nan(x) || f_lt(x, &pos_zero) || f_is_inf(x)) return false;
  if (f_is_zero(x)) {  // sqrt(+0) is +0, sqrt(-0) is -0
    out = *x;
    return true;
  }
  fp_error = 0;
  if (f_sqrt(x, &out) != 0 || fp_error) return false;
  truncate_fval_to_target(&out, t);
  simul_fval sq;
  fp_error = 0;
  if (f_mul(&out, &out, &sq) != 0 || fp_error) return false;
  return f_bit_eq(&sq, x);
}

NODE* fold_unary(NODE* t) {
  NODE* l = t->left;
  TYPE* ty = t->type;
  if (is_icon(l)) {
    if (t->op == EXCLAIM) return mk_int_icon(l->value.is_zero() ? 1 : 0);
    if (t->op == SCONV) {
      if (is_int_type(ty)) return mk_icon(truncate_to_type(l->value, ty), ty);
      if (is_flt_type(ty)) {
        simul_fval r;
        fp_error = 0;
        int st = f_itof(truncate_to_type(l->value, l->type), &r);
        if (!finish_float(r, st, ty)) return nullptr;
        return mk_FCON(r, ty);
      }
      return nullptr;
    }
    if (!is_wrap_int(ty) || type_bits(ty) > 32) return nullptr;
    INT65 a = truncate_to_type(l->value, ty);
    switch (t->op) {
      case UMINUS: return mk_icon(truncate_to_type(-a, ty), ty);
      case NOTB: return mk_icon(truncate_to_type(~a, ty), ty);
      case SQR: return mk_icon(truncate_to_type(a * a, ty), ty);
      case ABS:
        // The machine's ABS reads the word as signed; only signed types
        // agree with C, and the most negative value has no magnitude.
        if (!type_is_signed(ty) || a == type_min(ty)) return nullptr;
        return mk_icon(a.is_negative() ? -a : a, ty);
      default: return nullptr;
    }
  }
  if (!is_fcon(l)) return nullptr;
  const simul_fval* x = fval(l);
  if (t->op == EXCLAIM) {
    if (f_is_nan(x)) return mk_int_icon(0);
    return mk_int_icon(f_is_zero(x) ? 1 : 0);
  }
  if (t->op == SCONV) {
    if (is_flt_type(ty)) {
      if (f_is_nan(x)) return nullptr;
      simul_fval r = *x;
      fp_error = 0;
      truncate_fval_to_target(&r, ty);
      if (fp_error) return nullptr;
      return mk_FCON(r, ty);
    }
    if (is_bool_type(ty)) return mk_icon(INT65(f_is_zero(x) ? 0 : 1), ty);
    if (!is_wrap_int(ty) || f_is_nan(x) || f_is_inf(x)) return nullptr;
    INT65 v;
    fp_error = 0;
    if (f_ftoi(x, &v) != 0 || fp_error) return nullptr;
    if (!fits_type(v, ty)) return nullptr;  // the target traps
    return mk_icon(v, ty);
  }
  if (!is_flt_type(ty) || f_is_nan(x)) return nullptr;
  simul_fval r;
  int st;
  fp_error = 0;
  switch (t->op) {
    case UMINUS: st = f_neg(x, &r); break;
    case ABS: st = f_abs(x, &r); break;
    case SQR: st = f_mul(x, x, &r); break;
    case RECIP:
      if (f_is_zero(x)) return nullptr;
      st = f_div(&const_one, x, &r);
      if (!finish_float(r, st, ty) || !quotient_is_correctly_rounded(&const_one, x, &r))
        return nullptr;
      return mk_FCON(r, ty);
    case SQRT:
      if (!exact_sqrt(x, ty, r)) return nullptr;
      return mk_FCON(r, ty);
    default: return nullptr;
  }
  if (!finish_float(r, st, ty)) return nullptr;
  return mk_FCON(r, ty);
}

NODE* fold_binary(NODE* t) {
  NODE* l = t->left;
  NODE* r = t->right;
  if (is_relop(t->op)) {
    bool result;
    bool ok = false;
    if (is_icon(l) && is_icon(r)) ok = compare_ints(t->op, l, r, result);
    else if (is_fcon(l) && is_fcon(r)) ok = compare_floats(t->op, fval(l), fval(r), result);
    if (!ok) return nullptr;
    return mk_icon(INT65(result ? 1 : 0), is_int_type(t->type) ? t->type : int_type());
  }
  if (t->op == ANDAND || t->op == OROR) {
    bool a = const_is_true(l), b = const_is_true(r);
    bool v = t->op == ANDAND ? a && b : a || b;
    return mk_icon(INT65(v ? 1 : 0), is_int_type(t->type) ? t->type : int_type());
  }
  if (is_icon(l) && is_icon(r)) {
    INT65 v;
    if (!fold_int_binary(t->op, l, r, t->type, v)) return nullptr;
    return mk_icon(v, t->type);
  }
  if (is_fcon(l) && is_fcon(r) && is_flt_type(t->type)) {
    simul_fval v;
    if (!fold_float_binary(t->op, l, r, t->type, v)) return nullptr;
    return mk_FCON(v, t->type);
  }
  return nullptr;
}

bool foldable_op(int op) {
  switch (op) {
    case PLUS: case MINUS: case MULT: case DIV: case MOD: case ANDB: case ORB: case XORB:
    case SLL: case SRL: case EQ: case NEQ: case LT: case LE: case GT: case GE: case ULT:
    case ULE: case UGT: case UGE: case ANDAND: case OROR: case UMINUS: case NOTB: case ABS:
    case SQR: case SQRT: case RECIP: case EXCLAIM: case SCONV:
      return true;
    default:
      return false;
  }
}

}  // namespace

NODE* fold_constants(NODE* t) {
  if (!t || !foldable_op(t->op) || !is_const(t->left)) return t;
  NODE* folded;
  if (number_of_operands[t->op] == 1) {
    folded = fold_unary(t);
  } else {
    if (!is_const(t->right)) return t;
    folded = fold_binary(t);
  }
  fp_error = 0;
  if (!folded) return t;
  folded->scope = t->scope;
  erase_tree(t);
  return folded;
}
