// Translation of expressions.
#include <cstring>

#include "ir/fps.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "tools/icode-run/run_compile.h"
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_ops.h"

namespace {

template <template <class> class T>
XFN pick_canon(VK vk) {
  switch (vk) {
    case VK_I16S: return &T<C16S>::run;
    case VK_I16U: return &T<C16U>::run;
    case VK_BOOL: return &T<CBOOL>::run;
    default: return &T<C32>::run;
  }
}

bool is_const(const XN* x) { return x->fn == &XConst::run; }

}  // namespace

void RUN_COMPILER::flatten(NODE* n, int op, std::vector<NODE*>& out) {
  if (!n) return;
  if (n->op == op) {
    flatten(n->left, op, out);
    flatten(n->right, op, out);
  } else {
    out.push_back(n);
  }
}

VAL RUN_COMPILER::icon_value(NODE* n, VK vk) {
  switch (vk) {
    case VK_F32: return f2b(static_cast<float>(static_cast<double>(n->value.i128())));
    case VK_PTR: return n->value.low & 0xffffu;
    default: return canon(n->value.low, vk);
  }
}

XN* RUN_COMPILER::convert(XN* x, VK from, VK to, NODE* src) {
  uint16_t ns = src ? 1 : 0;
  if (from == VK_AGG || from == VK_FUNC) from = VK_PTR;  // an address
  CONVSEL s = to == VK_VOID || to == VK_AGG ? CONVSEL() : conv_sel(from, to);
  if (!s.xn) {
    x->nsrc += ns;
    return x;
  }
  if (is_const(x) && from != VK_F32) {  // folded; a float conversion may fail at run time only
    x->imm = s.fn(x->imm);
    x->nsrc += ns;
    return x;
  }
  XN* c = mk(s.xn, src, ns, s.cost);
  c->a = x;
  return c;
}

XN* RUN_COMPILER::as_test(XN* x, VK vk) {
  if (vk != VK_F32) return x;
  XN* t = mk(&XFTest::run, nullptr, 0, W_FLOAT);
  t->a = x;
  return t;
}

XN* RUN_COMPILER::test(NODE* n) {
  if (!n) bad("a condition is missing");
  return as_test(rvalue(n), vk_of(n->type));
}

XN* RUN_COMPILER::value_as(NODE* n, VK to) {
  if (!n) bad("an operand is missing");
  return convert(rvalue(n), vk_of(n->type), to, nullptr);
}

XN* RUN_COMPILER::binary(NODE* n, VK vk) {
  if (!n->left || !n->right) bad("%s without two operands", op_text(n->op).c_str());
  VK a = vk_of(n->left->type);
  VK b = vk_of(n->right->type);
  if (a == VK_AGG || a == VK_FUNC) a = VK_PTR;
  if (b == VK_AGG || b == VK_FUNC) b = VK_PTR;
  if ((n->op == PLUS || n->op == MINUS) && (a == VK_PTR || b == VK_PTR || vk == VK_PTR)) {
    XN* x;
    if (n->op == MINUS && a == VK_PTR && b == VK_PTR) {
      x = mk(pick_canon<XPDiff>(vk == VK_PTR ? VK_I32S : vk), n, 1, W_ALU);
      x->a = rvalue(n->left);
      x->b = rvalue(n->right);
      return x;
    }
    bool left_ptr = a == VK_PTR || b != VK_PTR;
    NODE* pn = left_ptr ? n->left : n->right;
    NODE* in = left_ptr ? n->right : n->left;
    if (n->op == MINUS && !left_ptr) return fail_node(n, "integer minus pointer");
    XN* p = value_as(pn, VK_PTR);
    XN* i = rvalue(in);
    VK ik = vk_of(in->type);
    if (!vk_is_int(ik)) return fail_node(n, std::string("pointer arithmetic with a value of type ") + type_text(in->type));
    if (is_const(i)) {
      uint32_t k = lo32(i->imm);
      x = mk(&XPAddK::run, n, static_cast<uint16_t>(1 + i->nsrc), W_ALU);
      x->a = p;
      x->imm = n->op == MINUS ? 0u - k : k;
    } else {
      x = mk(n->op == PLUS ? &XPAdd::run : &XPSub::run, n, 1, W_ALU);
      x->a = p;
      x->b = i;
    }
    return convert(x, VK_PTR, vk, nullptr);
  }
  bool shift = n->op == SLL || n->op == SRL;
  OPSEL s = arith_sel(n->op, vk, vk);
  if (!s.xn || (shift && !vk_is_int(b)))
    return fail_node(n, "operator " + op_text(n->op) + " on type " + type_text(n->type));
  XN* l = value_as(n->left, vk);
  XN* r = shift ? rvalue(n->right) : value_as(n->right, vk);
  XN* x;
  if (is_const(r) && s.xnk) {
    x = mk(s.xnk, n, static_cast<uint16_t>(1 + r->nsrc), s.cost);
    x->imm = r->imm;
  } else {
    x = mk(s.xn, n, 1, s.cost);
    x->b = r;
  }
  x->a = l;
  return x;
}

XN* RUN_COMPILER::compare(NODE* n) {
  if (!n->left || !n->right) bad("%s without two operands", op_text(n->op).c_str());
  VK a = vk_of(n->left->type);
  VK b = vk_of(n->right->type);
  if (a == VK_AGG || a == VK_FUNC) a = VK_PTR;
  if (b == VK_AGG || b == VK_FUNC) b = VK_PTR;
  VK cv;
  if (a == VK_F32 || b == VK_F32) cv = VK_F32;
  else if (a == VK_PTR || b == VK_PTR) cv = VK_PTR;
  else if (a == b) cv = a;
  else cv = VK_I32S;  // both canonical words hold the true values
  if (cv != VK_PTR && cv != VK_F32 && (a == VK_I32U || b == VK_I32U) && a != b) cv = VK_I32U;
  OPSEL s = compare_sel(n->op, cv);
  if (!s.xn) return fail_node(n, std::string("comparison of values of type ") + type_text(n->left->type));
  XN* l = value_as(n->left, cv);
  XN* r = value_as(n->right, cv);
  XN* x;
  if (is_const(r) && s.xnk) {
    x = mk(s.xnk, n, static_cast<uint16_t>(1 + r->nsrc), s.cost);
    x->imm = r->imm;
  } else {
    x = mk(s.xn, n, 1, s.cost);
    x->b = r;
  }
  x->a = l;
  return x;
}

XN* RUN_COMPILER::unary(NODE* n, VK vk) {
  if (!n->left) bad("%s without an operand", op_text(n->op).c_str());
  if (n->op == EXCLAIM) {
    XN* x = mk(&XNot::run, n, 1, W_ALU);
    x->a = test(n->left);
    return x;
  }
  bool fl = vk == VK_F32;
  if (!fl && !vk_is_int(vk)) return fail_node(n, "operator " + op_text(n->op) + " on type " + type_text(n->type));
  XFN f = nullptr;
  uint16_t cost = W_ALU;
  switch (n->op) {
    case UMINUS: f = fl ? &XFNeg::run : pick_canon<XNeg>(vk); break;
    case NOTB: f = fl ? nullptr : pick_canon<XNotB>(vk); break;
    case ABS: f = fl ? &XFAbs::run : pick_canon<XAbsI>(vk); break;
    case SQRT:
      f = fl ? &XFSqrt::run : nullptr;
      cost = W_FLOAT_DIV;
      break;
    case SQR:
      f = fl ? &XFSqr::run : pick_canon<XSqrI>(vk);
      cost = fl ? W_FLOAT : W_MUL;
      break;
    case RECIP:
      f = fl ? &XFRecip::run : nullptr;
      cost = W_FLOAT_DIV;
      break;
  }
  if (!f) return fail_node(n, "operator " + op_text(n->op) + " on type " + type_text(n->type));
  XN* x = mk(f, n, 1, cost);
  x->a = value_as(n->left, vk);
  return x;
}

XN* RUN_COMPILER::call(NODE* n) {
  CALLSITE& cs = m_.callsites.emplace_back();
  NODE* callee = n->left;
  if (!callee) bad("a call without a function");
  XN* x = mk(&x_call, n, 1, W_CALL);
  x->flags |= XF_CALL;
  x->p = &cs;
  NODE* c = callee;
  while (c->op == EPVAL) c = c->left;
  if (c->op == UAND && c->left && c->left->op == NAME) c = c->left;
  if (c->op == NAME && c->sym && vk_of(c->type) == VK_FUNC) {
    SYMTAB* s = static_cast<SYMTAB*>(c->sym);
    auto it = m_.func_of.find(s);
    cs.direct = it != m_.func_of.end() ? it->second : m_.function_named(s->name);
  } else {
    x->a = value_as(callee, VK_PTR);
  }
  std::vector<NODE*> args;
  if (n->op == CALL) flatten(n->right, COMMA, args);
  for (NODE* a : args) {
    VK vk = vk_of(a->type);
    if (a->op == STARG) vk = VK_AGG;
    if (!vk_is_scalar(vk) && vk != VK_AGG)
      return fail_node(n, std::string("argument of type ") + type_text(a->type));
    cs.args.push_back(rvalue(a));
    cs.arg_vk.push_back(vk);
    cs.arg_units.push_back(vk == VK_AGG ? units_of(a->type) : vk_units(vk));
    x->cost += W_ARG;
  }
  if (vk_of(n->type) == VK_AGG) {
    if (!fn_) bad("a call in an initialiser");
    cs.ret_var = static_cast<int32_t>(add_var(nullptr, "the result of a call", units_of(n->type), align_units_of(n->type)));
  }
  return x;
}

// ICALL, UICALL, MCALL, UMCALL: what they mean on this target.
XN* RUN_COMPILER::intrinsic(NODE* n) {
  const char* name = static_cast<const char*>(n->sym);
  if (!name) bad("%s without a name", op_text(n->op).c_str());
  if (strcmp(name, "_never_executed") == 0) return fail_node(n, "reached code marked _never_executed");
  if (strcmp(name, "__va_start") == 0) {
    if (!fn_) bad("__va_start outside a function");
    return mk(&x_va_start, n, 1, W_ALU);
  }
  XFUNC* f = m_.function_named(name);
  if (!f->builtin && !f->body) return fail_node(n, std::string("unknown intrinsic ") + name);
  CALLSITE& cs = m_.callsites.emplace_back();
  cs.direct = f;
  XN* x = mk(&x_call, n, 1, W_CALL);
  x->flags |= XF_CALL;
  x->p = &cs;
  std::vector<NODE*> args;
  if (n->op == ICALL || n->op == MCALL) flatten(n->left, COMMA, args);
  for (NODE* a : args) {
    VK vk = vk_of(a->type);
    if (!vk_is_scalar(vk)) return fail_node(n, std::string("argument of type ") + type_text(a->type));
    cs.args.push_back(rvalue(a));
    cs.arg_vk.push_back(vk);
    cs.arg_units.push_back(vk_units(vk));
    x->cost += W_ARG;
  }
  return x;
}

XN* RUN_COMPILER::block_copy(NODE* n) {
  LOC L;
  lvalue(n->left, L);
  uint32_t units = units_of(n->left->type);
  XN* x = mk(&x_copy, n, 1, static_cast<uint16_t>(std::min<uint32_t>(W_COPY_UNIT * units + W_ALU, 65535)));
  x->a = address(L);
  x->b = rvalue(n->right);
  x->u = units;
  x->mem_loads = static_cast<uint16_t>(units);
  x->mem_stores = static_cast<uint16_t>(units);
  return x;
}

XN* RUN_COMPILER::rvalue(NODE* n) {
  if (!n) bad("an operand is missing");
  VK vk = vk_of(n->type);
  switch (n->op) {
    case ICON: return constant(icon_value(n, vk), n, 1);
    case FCON: {
      uint32_t bits = 0;
      if (n->sym) ieee_cvt_stof(static_cast<simul_fval*>(n->sym), &bits);
      if (vk != VK_F32) return convert(constant(bits, n, 1), VK_F32, vk, nullptr);
      return constant(bits, n, 1);
    }
    case SCON: return constant(m_.literal(n), n, 1);
    case NAME:
    case UMULT:
    case STDOT:
    case STREF: {
      LOC L;
      lvalue(n, L);
      return load(L, n);
    }
    case UAND:
    case ARGREF: return address_of(n->left, n);
    case STARG: return rvalue(n->left);
    case ASG: {
      LOC L;
      lvalue(n->left, L);
      if (L.vk == VK_AGG) return block_copy(n);
      return store(L, value_as(n->right, L.vk), n);
    }
    case STASG:
    case ARASG: return block_copy(n);
    case PLUSASG:
    case MINUSASG:
    case MULTASG:
    case ANDBASG:
    case ORBASG:
    case XORBASG:
    case DIVASG:
    case MODASG:
    case SLLASG:
    case SRLASG: {
      LOC L;
      lvalue(n->left, L);
      return modify(L, op_of_opASG[n->op], n->right, false, n);
    }
    case PLUSPLUS:
    case MINMIN: {
      LOC L;
      lvalue(n->left, L);
      return modify(L, n->op == PLUSPLUS ? PLUS : MINUS, n->right, true, n);
    }
    case PLUS:
    case MINUS:
    case MULT:
    case DIV:
    case MOD:
    case ANDB:
    case ORB:
    case XORB:
    case SLL:
    case SRL: return binary(n, vk);
    case EQ:
    case NEQ:
    case LT:
    case LE:
    case GT:
    case GE:
    case ULT:
    case ULE:
    case UGT:
    case UGE: return compare(n);
    case UMINUS:
    case NOTB:
    case ABS:
    case SQRT:
    case SQR:
    case RECIP:
    case EXCLAIM: return unary(n, vk);
    case ANDAND:
    case OROR: {
      XN* x = mk(n->op == ANDAND ? &XAndAnd::run : &XOrOr::run, n, 1, W_TEST);
      x->a = test(n->left);
      x->b = test(n->right);
      return x;
    }
    case QUEST: {
      NODE* c = n->right;
      while (c && c->op == EPVAL) c = c->left;
      if (!c || c->op != COLON) bad("QUEST without COLON");
      // Without a conditional move the target jumps once either way: over
      // the first arm, or from its end over the second.
      XN* x = mk(&XQuest::run, n, 1, W_TEST + W_TAKEN);
      x->a = test(n->left);
      x->b = value_as(c->left, vk);
      x->c = value_as(c->right, vk);
      return x;
    }
    case COMMAOP:
    case COMMA:
    case PCOMMA: {
      if (!n->right) return rvalue(n->left);
      XN* x = mk(&XComma::run, n, 0, 0);
      x->a = rvalue(n->left);
      x->b = rvalue(n->right);
      return x;
    }
    case SCONV:
    case PCONV:
    case ISP2CHAR:
    case ACONV:
      if (!n->left) bad("%s without an operand", op_text(n->op).c_str());
      return convert(rvalue(n->left), vk_of(n->left->type), vk, n);
    case TOIEEE:
    case FRIEEE:
    case IDENTITY: {
      if (!n->left) bad("%s without an operand", op_text(n->op).c_str());
      XN* x = rvalue(n->left);
      x->nsrc += 1;
      return x;
    }
    case EPVAL: return rvalue(n->left);
    case NOP: return constant(0, n, 0);
    case CALL:
    case UCALL: return call(n);
    case ICALL:
    case UICALL:
    case MCALL:
    case UMCALL: return intrinsic(n);
    default: return fail_node(n, "operator " + op_text(n->op) + " is not supported");
  }
}
