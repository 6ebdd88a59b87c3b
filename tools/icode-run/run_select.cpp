// Which node function carries out an operator on given kinds.
#include "ir/opt_expr.h"
#include "tools/icode-run/run_ops.h"

namespace {

template <class OP, class C>
OPSEL sel(uint16_t cost) {
  OPSEL s;
  s.xn = &XBin<OP, C>::run;
  s.xnk = &XBinK<OP, C>::run;
  s.fn = &bin_fn<OP, C>;
  s.cost = cost;
  return s;
}

template <class OP>
OPSEL int_sel(VK res, uint16_t cost) {
  switch (res) {
    case VK_I16S: return sel<OP, C16S>(cost);
    case VK_I16U: return sel<OP, C16U>(cost);
    case VK_BOOL: return sel<OP, CBOOL>(cost);
    default: return sel<OP, C32>(cost);
  }
}

template <class OPS, class OPU>
OPSEL signed_sel(VK comp, VK res, uint16_t cost) {
  return vk_is_signed(comp) ? int_sel<OPS>(res, cost) : int_sel<OPU>(res, cost);
}

template <class OP>
OPSEL ptr_cmp_sel() {
  OPSEL s;
  s.xn = &XPCmp<OP>::run;
  s.fn = &bin_fn<OP, C32>;
  s.cost = W_ALU;
  return s;
}

}  // namespace

OPSEL arith_sel(int op, VK comp, VK res) {
  if (comp == VK_F32) {
    if (res != VK_F32) return OPSEL();
    switch (op) {
      case PLUS: return sel<OpFAdd, C32>(W_FLOAT);
      case MINUS: return sel<OpFSub, C32>(W_FLOAT);
      case MULT: return sel<OpFMul, C32>(W_FLOAT);
      case DIV: return sel<OpFDiv, C32>(W_FLOAT_DIV);
      default: return OPSEL();
    }
  }
  if (!vk_is_int(comp) || !vk_is_int(res)) return OPSEL();
  switch (op) {
    case PLUS: return int_sel<OpAdd>(res, W_ALU);
    case MINUS: return int_sel<OpSub>(res, W_ALU);
    case MULT: return int_sel<OpMul>(res, W_MUL);
    case ANDB: return int_sel<OpAnd>(res, W_ALU);
    case ORB: return int_sel<OpOr>(res, W_ALU);
    case XORB: return int_sel<OpXor>(res, W_ALU);
    case DIV: return signed_sel<OpDivS, OpDivU>(comp, res, W_DIV);
    case MOD: return signed_sel<OpModS, OpModU>(comp, res, W_DIV);
    case SLL: return int_sel<OpShl>(res, W_ALU);
    case SRL: return signed_sel<OpShrS, OpShrU>(comp, res, W_ALU);
    default: return OPSEL();
  }
}

OPSEL compare_sel(int op, VK vk) {
  if (vk == VK_F32) {
    switch (op) {
      case EQ: return sel<OpFEq, C32>(W_FLOAT);
      case NEQ: return sel<OpFNe, C32>(W_FLOAT);
      case LT:
      case ULT: return sel<OpFLt, C32>(W_FLOAT);
      case LE:
      case ULE: return sel<OpFLe, C32>(W_FLOAT);
      case GT:
      case UGT: return sel<OpFGt, C32>(W_FLOAT);
      case GE:
      case UGE: return sel<OpFGe, C32>(W_FLOAT);
      default: return OPSEL();
    }
  }
  if (vk == VK_PTR) {
    // Equality looks at addresses only; order is defined within one object.
    switch (op) {
      case EQ: return sel<OpEq, C32>(W_ALU);
      case NEQ: return sel<OpNe, C32>(W_ALU);
      case LT:
      case ULT: return ptr_cmp_sel<OpLtU>();
      case LE:
      case ULE: return ptr_cmp_sel<OpLeU>();
      case GT:
      case UGT: return ptr_cmp_sel<OpGtU>();
      case GE:
      case UGE: return ptr_cmp_sel<OpGeU>();
      default: return OPSEL();
    }
  }
  if (!vk_is_int(vk)) return OPSEL();
  switch (op) {
    case EQ: return sel<OpEq, C32>(W_ALU);
    case NEQ: return sel<OpNe, C32>(W_ALU);
    case LT: return sel<OpLtS, C32>(W_ALU);
    case LE: return sel<OpLeS, C32>(W_ALU);
    case GT: return sel<OpGtS, C32>(W_ALU);
    case GE: return sel<OpGeS, C32>(W_ALU);
    case ULT: return sel<OpLtU, C32>(W_ALU);
    case ULE: return sel<OpLeU, C32>(W_ALU);
    case UGT: return sel<OpGtU, C32>(W_ALU);
    case UGE: return sel<OpGeU, C32>(W_ALU);
    default: return OPSEL();
  }
}

namespace {

template <class CV>
CONVSEL csel(uint16_t cost) {
  CONVSEL s;
  s.xn = &XConv<CV>::run;
  s.fn = &cv_fn<CV>;
  s.cost = cost;
  return s;
}

CONVSEL float_to_int(VK to) {
  switch (to) {
    case VK_I16S: return csel<CvFToI<C16S, VK_I16S, -32768, 32767>>(W_FLOAT_CONV);
    case VK_I16U: return csel<CvFToI<C16U, VK_I16U, 0, 65535>>(W_FLOAT_CONV);
    case VK_I32S: return csel<CvFToI<C32, VK_I32S, INT32_MIN, INT32_MAX>>(W_FLOAT_CONV);
    case VK_I32U: return csel<CvFToI<C32, VK_I32U, 0, UINT32_MAX>>(W_FLOAT_CONV);
    case VK_BOOL: return csel<CvFToBool>(W_FLOAT_CONV);
    default: return CONVSEL();
  }
}

}  // namespace

CONVSEL conv_sel(VK from, VK to) {
  if (from == to) return CONVSEL();
  if (from == VK_F32) return float_to_int(to);
  if (from == VK_BOOL) from = VK_I32U;  // 0 or 1 already
  if (from == to) return CONVSEL();
  bool from_int = vk_is_int(from) || from == VK_PTR;
  if (!from_int) return CONVSEL();  // aggregates and functions are their address
  switch (to) {
    case VK_I16S: return from == VK_I16S ? CONVSEL() : csel<CvTo16S>(W_ALU);
    case VK_I16U: return from == VK_I16U ? CONVSEL() : csel<CvTo16U>(W_ALU);
    case VK_I32S:
    case VK_I32U:
      // 16-bit values are extended already; a pointer loses its provenance.
      return from == VK_PTR ? csel<CvTo32>(W_CONST) : CONVSEL();
    case VK_BOOL: return csel<CvToBool>(W_ALU);
    case VK_F32: return vk_is_signed(from) ? csel<CvSToF>(W_FLOAT_CONV) : csel<CvUToF>(W_FLOAT_CONV);
    case VK_PTR: return csel<CvToPtr>(W_CONST);
    default: return CONVSEL();
  }
}

VAL convert_value(VAL v, VK from, VK to) {
  CONVSEL s = conv_sel(from, to);
  return s.fn ? s.fn(v) : v;
}

uint8_t acc_of(VK vk) {
  switch (vk) {
    case VK_I16S: return ACC_16S;
    case VK_I16U: return ACC_16U;
    case VK_PTR: return ACC_PTR;
    default: return ACC_32;
  }
}

VAL canon(VAL v, VK vk) {
  switch (vk) {
    case VK_I16S: return C16S::c(lo32(v));
    case VK_I16U: return C16U::c(lo32(v));
    case VK_BOOL: return lo32(v) != 0;
    case VK_PTR: return v & 0xffffffff0000ffffull;
    default: return lo32(v);
  }
}

std::string op_text(int op) {
  const char* name = op >= 0 && op < 256 && node_operator_name[op] ? node_operator_name[op] : opname(op);
  std::string s = name;
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}
