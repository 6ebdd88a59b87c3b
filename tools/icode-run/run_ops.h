// The evaluation functions of XN nodes, one per operator, type and operand
// form. Integer operations work on the 32-bit canonical words and bring the
// result back to the canonical form of their type; so 16-bit arithmetic is
// computed as C computes it on promoted operands and then wraps.
#pragma once
#include <cmath>
#include <cstring>
#include <string>

#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_machine.h"

#define EV(x) ((x)->fn((x), f))


inline float b2f(uint32_t b) {
  float x;
  memcpy(&x, &b, sizeof x);
  return x;
}
inline uint32_t f2b(float x) {
  uint32_t b;
  memcpy(&b, &x, sizeof b);
  return b;
}
inline uint32_t lo32(VAL v) { return static_cast<uint32_t>(v); }

[[noreturn]] void fail_div_zero();
[[noreturn]] void fail_shift(uint32_t count);
[[noreturn]] void fail_float_conversion(float x, VK to);
void check_same_object(VAL x, VAL y, const char* what);

// ---- Canonical forms of a 32-bit result.
struct C16S {
  static VAL c(uint32_t x) { return static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(x))); }
};
struct C16U {
  static VAL c(uint32_t x) { return x & 0xffffu; }
};
struct C32 {
  static VAL c(uint32_t x) { return x; }
};
struct CBOOL {
  static VAL c(uint32_t x) { return x != 0; }
};

// ---- Memory access by kind. The address is in range: the caller checked.
struct A16S {
  static constexpr uint32_t units = 1;
  static VAL ld(uint32_t a) { return C16S::c(run_mem.mem[a]); }
  static void st(uint32_t a, VAL v) {
    run_mem.mem[a] = static_cast<uint16_t>(v);
    run_mem.shadow[a] = 0;
  }
};
struct A16U {
  static constexpr uint32_t units = 1;
  static VAL ld(uint32_t a) { return run_mem.mem[a]; }
  static void st(uint32_t a, VAL v) { A16S::st(a, v); }
};
// Little-endian: the low half at the lower address.
struct A32 {
  static constexpr uint32_t units = 2;
  static VAL ld(uint32_t a) { return run_mem.mem[a] | static_cast<uint32_t>(run_mem.mem[a + 1]) << 16; }
  static void st(uint32_t a, VAL v) {
    run_mem.mem[a] = static_cast<uint16_t>(v);
    run_mem.mem[a + 1] = static_cast<uint16_t>(v >> 16);
    run_mem.shadow[a] = run_mem.shadow[a + 1] = 0;
  }
};
struct APTR {
  static constexpr uint32_t units = 1;
  static VAL ld(uint32_t a) { return run_mem.mem[a] | static_cast<VAL>(run_mem.shadow[a]) << 32; }
  static void st(uint32_t a, VAL v) {
    run_mem.mem[a] = static_cast<uint16_t>(v);
    run_mem.shadow[a] = static_cast<uint32_t>(v >> 32);
  }
};

inline VAL acc_load(uint8_t acc, uint32_t a) {
  switch (acc) {
    case ACC_16S: return A16S::ld(a);
    case ACC_16U: return A16U::ld(a);
    case ACC_PTR: return APTR::ld(a);
    default: return A32::ld(a);
  }
}
inline void acc_store(uint8_t acc, uint32_t a, VAL v) {
  switch (acc) {
    case ACC_16S:
    case ACC_16U: A16S::st(a, v); break;
    case ACC_PTR: APTR::st(a, v); break;
    default: A32::st(a, v); break;
  }
}
inline uint32_t acc_units(uint8_t acc) { return acc == ACC_32 ? 2 : 1; }

// Bit-fields: bit b of an object is bit b % 16 of its unit b / 16.
inline uint32_t bf_units(uint32_t bit, uint32_t width) { return (bit + width + 15) / 16; }
inline VAL bf_load(uint32_t a, uint32_t bit, uint32_t width, bool is_signed) {
  uint64_t w = run_mem.mem[a] | static_cast<uint64_t>(run_mem.mem[a + 1]) << 16 |
               static_cast<uint64_t>(run_mem.mem[a + 2]) << 32;
  uint64_t x = (w >> bit) & ((1ull << width) - 1);
  if (is_signed && (x >> (width - 1) & 1)) x |= ~0ull << width;
  return static_cast<uint32_t>(x);
}
// Stores and returns the value the field now holds.
inline VAL bf_store(uint32_t a, uint32_t bit, uint32_t width, bool is_signed, VAL v) {
  uint32_t n = bf_units(bit, width);
  uint64_t w = 0;
  for (uint32_t i = 0; i < n; ++i) w |= static_cast<uint64_t>(run_mem.mem[a + i]) << (16 * i);
  uint64_t mask = ((1ull << width) - 1) << bit;
  w = (w & ~mask) | ((static_cast<uint64_t>(lo32(v)) << bit) & mask);
  for (uint32_t i = 0; i < n; ++i) {
    run_mem.mem[a + i] = static_cast<uint16_t>(w >> (16 * i));
    run_mem.shadow[a + i] = 0;
  }
  return bf_load(a, bit, width, is_signed);
}

// ---- Operations on 32-bit words.
struct OpAdd {
  static uint32_t ap(uint32_t x, uint32_t y) { return x + y; }
};
struct OpSub {
  static uint32_t ap(uint32_t x, uint32_t y) { return x - y; }
};
struct OpMul {
  static uint32_t ap(uint32_t x, uint32_t y) { return x * y; }
};
struct OpAnd {
  static uint32_t ap(uint32_t x, uint32_t y) { return x & y; }
};
struct OpOr {
  static uint32_t ap(uint32_t x, uint32_t y) { return x | y; }
};
struct OpXor {
  static uint32_t ap(uint32_t x, uint32_t y) { return x ^ y; }
};
struct OpDivS {
  static uint32_t ap(uint32_t x, uint32_t y) {
    if (y == 0) fail_div_zero();
    if (x == 0x80000000u && y == 0xffffffffu) return x;  // wraps
    return static_cast<uint32_t>(static_cast<int32_t>(x) / static_cast<int32_t>(y));
  }
};
struct OpDivU {
  static uint32_t ap(uint32_t x, uint32_t y) {
    if (y == 0) fail_div_zero();
    return x / y;
  }
};
struct OpModS {
  static uint32_t ap(uint32_t x, uint32_t y) {
    if (y == 0) fail_div_zero();
    if (y == 0xffffffffu) return 0;
    return static_cast<uint32_t>(static_cast<int32_t>(x) % static_cast<int32_t>(y));
  }
};
struct OpModU {
  static uint32_t ap(uint32_t x, uint32_t y) {
    if (y == 0) fail_div_zero();
    return x % y;
  }
};
struct OpShl {
  static uint32_t ap(uint32_t x, uint32_t y) {
    if (y > 31) fail_shift(y);
    return x << y;
  }
};
struct OpShrS {
  static uint32_t ap(uint32_t x, uint32_t y) {
    if (y > 31) fail_shift(y);
    return static_cast<uint32_t>(static_cast<int32_t>(x) >> y);
  }
};
struct OpShrU {
  static uint32_t ap(uint32_t x, uint32_t y) {
    if (y > 31) fail_shift(y);
    return x >> y;
  }
};
struct OpEq {
  static uint32_t ap(uint32_t x, uint32_t y) { return x == y; }
};
struct OpNe {
  static uint32_t ap(uint32_t x, uint32_t y) { return x != y; }
};
struct OpLtS {
  static uint32_t ap(uint32_t x, uint32_t y) { return static_cast<int32_t>(x) < static_cast<int32_t>(y); }
};
struct OpLeS {
  static uint32_t ap(uint32_t x, uint32_t y) { return static_cast<int32_t>(x) <= static_cast<int32_t>(y); }
};
struct OpGtS {
  static uint32_t ap(uint32_t x, uint32_t y) { return static_cast<int32_t>(x) > static_cast<int32_t>(y); }
};
struct OpGeS {
  static uint32_t ap(uint32_t x, uint32_t y) { return static_cast<int32_t>(x) >= static_cast<int32_t>(y); }
};
struct OpLtU {
  static uint32_t ap(uint32_t x, uint32_t y) { return x < y; }
};
struct OpLeU {
  static uint32_t ap(uint32_t x, uint32_t y) { return x <= y; }
};
struct OpGtU {
  static uint32_t ap(uint32_t x, uint32_t y) { return x > y; }
};
struct OpGeU {
  static uint32_t ap(uint32_t x, uint32_t y) { return x >= y; }
};
struct OpFAdd {
  static uint32_t ap(uint32_t x, uint32_t y) { return f2b(b2f(x) + b2f(y)); }
};
struct OpFSub {
  static uint32_t ap(uint32_t x, uint32_t y) { return f2b(b2f(x) - b2f(y)); }
};
struct OpFMul {
  static uint32_t ap(uint32_t x, uint32_t y) { return f2b(b2f(x) * b2f(y)); }
};
struct OpFDiv {
  static uint32_t ap(uint32_t x, uint32_t y) { return f2b(b2f(x) / b2f(y)); }
};
struct OpFEq {
  static uint32_t ap(uint32_t x, uint32_t y) { return b2f(x) == b2f(y); }
};
struct OpFNe {
  static uint32_t ap(uint32_t x, uint32_t y) { return b2f(x) != b2f(y); }
};
struct OpFLt {
  static uint32_t ap(uint32_t x, uint32_t y) { return b2f(x) < b2f(y); }
};
struct OpFLe {
  static uint32_t ap(uint32_t x, uint32_t y) { return b2f(x) <= b2f(y); }
};
struct OpFGt {
  static uint32_t ap(uint32_t x, uint32_t y) { return b2f(x) > b2f(y); }
};
struct OpFGe {
  static uint32_t ap(uint32_t x, uint32_t y) { return b2f(x) >= b2f(y); }
};

template <class OP, class C>
VAL bin_fn(VAL x, VAL y) {
  return C::c(OP::ap(lo32(x), lo32(y)));
}
inline VAL ptr_add_fn(VAL p, VAL n) { return ptr_add(p, lo32(n)); }
inline VAL ptr_sub_fn(VAL p, VAL n) { return ptr_add(p, 0u - lo32(n)); }

// ---- Conversions.
struct CvTo16S {
  static VAL cv(VAL v) { return C16S::c(lo32(v)); }
};
struct CvTo16U {
  static VAL cv(VAL v) { return C16U::c(lo32(v)); }
};
struct CvTo32 {  // from a 16-bit integer (already extended) or a pointer
  static VAL cv(VAL v) { return lo32(v); }
};
struct CvToBool {
  static VAL cv(VAL v) { return lo32(v) != 0; }
};
struct CvFToBool {
  static VAL cv(VAL v) { return b2f(lo32(v)) != 0.0f; }
};
struct CvSToF {
  static VAL cv(VAL v) { return f2b(static_cast<float>(static_cast<int32_t>(lo32(v)))); }
};
struct CvUToF {
  static VAL cv(VAL v) { return f2b(static_cast<float>(lo32(v))); }
};
struct CvToPtr {  // an integer's low 16 bits, with no provenance
  static VAL cv(VAL v) { return lo32(v) & 0xffffu; }
};
template <class C, VK TO, int64_t LO, int64_t HI>
struct CvFToI {
  static VAL cv(VAL v) {
    float x = b2f(lo32(v));
    double d = x;
    if (!(d > static_cast<double>(LO) - 1.0 && d < static_cast<double>(HI) + 1.0)) fail_float_conversion(x, TO);
    return C::c(static_cast<uint32_t>(static_cast<int64_t>(d)));
  }
};
template <class CV>
VAL cv_fn(VAL v) {
  return CV::cv(v);
}

// ---- Node functions.
struct XConst {
  static VAL run(XN* n, FRAME*) {
    ++n->hits;
    return n->imm;
  }
};
struct XReg {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return f->regs[n->u];
  }
};
struct XLocalAddr {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return static_cast<VAL>(f->fp + n->u) | f->prov[n->v];
  }
};
template <class OP, class C>
struct XBin {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    uint32_t x = lo32(EV(n->a));
    uint32_t y = lo32(EV(n->b));
    return C::c(OP::ap(x, y));
  }
};
template <class OP, class C>
struct XBinK {  // right operand constant
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return C::c(OP::ap(lo32(EV(n->a)), lo32(n->imm)));
  }
};
template <class CV>
struct XConv {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return CV::cv(EV(n->a));
  }
};
template <class C>
struct XNeg {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return C::c(0u - lo32(EV(n->a)));
  }
};
template <class C>
struct XNotB {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return C::c(~lo32(EV(n->a)));
  }
};
template <class C>
struct XAbsI {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    uint32_t x = lo32(EV(n->a));
    return C::c(static_cast<int32_t>(x) < 0 ? 0u - x : x);
  }
};
template <class C>
struct XSqrI {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    uint32_t x = lo32(EV(n->a));
    return C::c(x * x);
  }
};
struct XFNeg {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return lo32(EV(n->a)) ^ 0x80000000u;
  }
};
struct XFAbs {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return lo32(EV(n->a)) & 0x7fffffffu;
  }
};
struct XFSqrt {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return f2b(std::sqrt(b2f(lo32(EV(n->a)))));
  }
};
struct XFSqr {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    float x = b2f(lo32(EV(n->a)));
    return f2b(x * x);
  }
};
struct XFRecip {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return f2b(1.0f / b2f(lo32(EV(n->a))));
  }
};
struct XNot {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return lo32(EV(n->a)) == 0;
  }
};
// A floating value as a test: 1 when it is not zero (NaN included).
struct XFTest {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return b2f(lo32(EV(n->a))) != 0.0f;
  }
};
struct XAndAnd {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return lo32(EV(n->a)) != 0 && lo32(EV(n->b)) != 0;
  }
};
struct XOrOr {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return lo32(EV(n->a)) != 0 || lo32(EV(n->b)) != 0;
  }
};
struct XQuest {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return lo32(EV(n->a)) != 0 ? EV(n->b) : EV(n->c);
  }
};
struct XComma {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    EV(n->a);
    return EV(n->b);
  }
};

// Pointer arithmetic: a is the pointer, b the integer count of units.
struct XPAdd {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL p = EV(n->a);
    return ptr_add(p, lo32(EV(n->b)));
  }
};
struct XPAddK {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return ptr_add(EV(n->a), lo32(n->imm));
  }
};
struct XPSub {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL p = EV(n->a);
    return ptr_add(p, 0u - lo32(EV(n->b)));
  }
};
template <class C>
struct XPDiff {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL x = EV(n->a);
    VAL y = EV(n->b);
    check_same_object(x, y, "subtraction");
    return C::c(p_addr(x) - p_addr(y));
  }
};
template <class OP>
struct XPCmp {  // relational comparison: both pointers into one object
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL x = EV(n->a);
    VAL y = EV(n->b);
    check_same_object(x, y, "comparison");
    return OP::ap(p_addr(x), p_addr(y));
  }
};

// Loads and stores of memory lvalues.
template <class A>
struct XLdLocal {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    return A::ld(f->fp + n->u);
  }
};
template <class A>
struct XLdGlobal {
  static VAL run(XN* n, FRAME*) {
    ++n->hits;
    return A::ld(n->u);
  }
};
template <class A>
struct XLdPtr {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL p = ptr_add(EV(n->a), n->u);
    check_read(p, A::units);
    return A::ld(p_addr(p));
  }
};
struct XStReg {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL v = EV(n->b);
    f->regs[n->u] = v;
    return v;
  }
};
template <class A>
struct XStLocal {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL v = EV(n->b);
    A::st(f->fp + n->u, v);
    return v;
  }
};
template <class A>
struct XStGlobal {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL v = EV(n->b);
    A::st(n->u, v);
    return v;
  }
};
template <class A>
struct XStPtr {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL p = ptr_add(EV(n->a), n->u);
    VAL v = EV(n->b);
    check_write(p, A::units);
    A::st(p_addr(p), v);
    return v;
  }
};

// Increments by a constant (imm): integers wrap in their type, pointers
// step in units.
template <class C>
struct StepInt {
  static VAL step(VAL old, uint32_t k) { return C::c(lo32(old) + k); }
};
struct StepPtr {
  static VAL step(VAL old, uint32_t k) { return ptr_add(old, k); }
};
template <class S, bool POST>
struct XIncReg {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    VAL old = f->regs[n->u];
    VAL nv = S::step(old, lo32(n->imm));
    f->regs[n->u] = nv;
    return POST ? old : nv;
  }
};
template <class A, class S, bool POST>
struct XIncLocal {
  static VAL run(XN* n, FRAME* f) {
    ++n->hits;
    uint32_t a = f->fp + n->u;
    VAL old = A::ld(a);
    VAL nv = S::step(old, lo32(n->imm));
    A::st(a, nv);
    return POST ? old : nv;
  }
};
template <class A, class S, bool POST>
struct XIncGlobal {
  static VAL run(XN* n, FRAME*) {
    ++n->hits;
    VAL old = A::ld(n->u);
    VAL nv = S::step(old, lo32(n->imm));
    A::st(n->u, nv);
    return POST ? old : nv;
  }
};

// The address of a memory lvalue of a generic node (lk, u, v, imm, a).
inline VAL loc_addr(XN* n, FRAME* f, uint32_t units, bool write) {
  switch (n->lk) {
    case LK_LOCAL: return static_cast<VAL>(f->fp + n->u) | f->prov[n->v];
    case LK_GLOBAL: return n->imm;
    default: {
      VAL p = ptr_add(EV(n->a), n->u);
      if (write) check_write(p, units);
      else check_read(p, units);
      return p;
    }
  }
}

// Generic nodes (run_generic.cpp).
VAL x_modify(XN* n, FRAME* f);
VAL x_load_bf(XN* n, FRAME* f);
VAL x_store_bf(XN* n, FRAME* f);
VAL x_copy(XN* n, FRAME* f);
VAL x_fail(XN* n, FRAME* f);
VAL x_va_start(XN* n, FRAME* f);
VAL x_call(XN* n, FRAME* f);

// ---- Selection of node functions by operator and kinds (run_select.cpp).
struct OPSEL {
  XFN xn = nullptr;   // both operands evaluated
  XFN xnk = nullptr;  // right operand constant (imm); null when there is none
  BINFN fn = nullptr;
  uint16_t cost = 0;
};
// The arithmetic operator op (PLUS to SRL, or the base of an assignment
// operator) computed with the signedness or floating kind of comp, its result
// brought to the canonical form of res. A null xn: no such operation.
OPSEL arith_sel(int op, VK comp, VK res);
// A comparison (EQ to UGT) of two operands of kind vk.
OPSEL compare_sel(int op, VK vk);

struct CONVSEL {
  XFN xn = nullptr;  // null: nothing to do
  CVFN fn = nullptr;
  uint16_t cost = 0;
};
CONVSEL conv_sel(VK from, VK to);
VAL convert_value(VAL v, VK from, VK to);
// Access kind and canonical form of a scalar kind.
uint8_t acc_of(VK vk);
VAL canon(VAL v, VK vk);
// The operator's name for messages.
std::string op_text(int op);
