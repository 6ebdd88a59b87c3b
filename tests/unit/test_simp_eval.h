// An evaluator of trees and statement lists with the machine's semantics,
// for the simplifier's differential tests: 32-bit words brought back to
// their type, traps on division by zero, on shift counts above 31 and on
// floating conversions out of range, IEEE binary32 arithmetic.
#pragma once
#include <cmath>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

#include "ir/fps.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"

namespace simp_test {

enum VKIND { K_I16S, K_I16U, K_I32S, K_I32U, K_BOOL, K_F32, K_OTHER };

inline VKIND kind_of(const TYPE* t) {
  const TYPE* r = t->rep ? t->rep : t;
  if (r->kind == TYPE::KIND_FLOATING) return K_F32;
  if (r->kind != TYPE::KIND_INTEGRAL) return K_OTHER;
  if (r->is_bool()) return K_BOOL;
  if (r->size == 16) return r->is_signed() ? K_I16S : K_I16U;
  return r->is_signed() ? K_I32S : K_I32U;
}

struct TRAP {};

inline float b2f(uint32_t b) {
  float f;
  memcpy(&f, &b, 4);
  return f;
}
inline uint32_t f2b(float f) {
  uint32_t b;
  memcpy(&b, &f, 4);
  return b;
}

inline uint32_t canon_word(uint32_t w, VKIND k) {
  switch (k) {
    case K_I16S: return static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(w)));
    case K_I16U: return w & 0xffff;
    case K_BOOL: return w != 0;
    default: return w;
  }
}

inline bool is_signed_kind(VKIND k) { return k == K_I16S || k == K_I32S; }

inline uint32_t convert(uint32_t w, VKIND from, VKIND to) {
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
  // Runs a statement list in source order; labels, IF, BRANCH and CBRANCH
  // jump, a return ends it.
  void run(LIST* list, int step_limit = 100000) {
    std::map<long long, LIST*> labels;
    for (LIST* l = list; l; l = l->next)
      if (l->tree && l->tree->op == LABELDEF) labels[l->tree->value.as_int64()] = l;
    auto jump = [&](const NODE* label) {
      auto it = labels.find(label->value.as_int64());
      if (it == labels.end()) throw std::runtime_error("no label");
      return it->second;
    };
    for (LIST* l = list; l;) {
      if (--step_limit < 0) throw std::runtime_error("statement list does not end");
      NODE* t = l->tree;
      if (!t) {
        l = l->next;
        continue;
      }
      switch (t->op) {
        case LABELDEF: case ASM: l = l->next; continue;
        case BRANCH: l = jump(t->left); continue;
        case CBRANCH: l = test(t->left) ? jump(t->right) : l->next; continue;
        case IF: l = test(t->left) ? jump(t->right->left) : jump(t->right->right); continue;
        case URETURN: case RETURN: return;
        default: rv(t); l = l->next; continue;
      }
    }
  }


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
      case PLUSPLUS: case MINMIN: case PLUSASG: case MINUSASG: case MULTASG: case DIVASG: case MODASG:
      case ANDBASG: case ORBASG: case XORBASG: case SLLASG: case SRLASG:
        return modify(n);
      case ASG: {
        const SYMTAB* s = n->left->name_symbol();
        uint32_t v = as(n->right, kind_of(s->type));
        vars[s] = v;
        return v;
      }
      case COMMAOP: rv(n->left); return rv(n->right);
      case ICALL:
        // The conditional that evaluates both arms: COMMA(COMMA(c, a), b).
        if (n->sym && strcmp(static_cast<const char*>(n->sym), "__strict_ternary") == 0) {
          NODE* args = n->left;
          bool c = test(args->left->left);
          uint32_t a = as(args->left->right, k), b = as(args->right, k);
          return c ? a : b;
        }
        throw std::runtime_error("unknown intrinsic");
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
    return arith(n->op, a, b, k);
  }

  // The machine's integer operators on words of kind k.
  static uint32_t arith(int op, uint32_t a, uint32_t b, VKIND k) {
    if (k == K_F32) {
      float x = b2f(a), y = b2f(b);
      switch (op) {
        case PLUS: return f2b(x + y);
        case MINUS: return f2b(x - y);
        case MULT: return f2b(x * y);
        case DIV: return f2b(x / y);
        default: throw std::runtime_error(std::string("no float binary ") + opname(op));
      }
    }
    bool sgn = is_signed_kind(k);
    uint32_t r;
    switch (op) {
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
      default: throw std::runtime_error(std::string("no binary ") + opname(op));
    }
    return canon_word(r, k);
  }

  // x op= y and x++, x--: C's promotions, then back to x's type.
  uint32_t modify(NODE* n) {
    const SYMTAB* s = n->left->name_symbol();
    VKIND lk = kind_of(s->type);
    int op = n->op == PLUSPLUS ? int(PLUS) : n->op == MINMIN ? int(MINUS) : int(op_of_opASG[n->op]);
    uint32_t rhs = rv(n->right);
    VKIND rk = kind_of(n->right->type);
    VKIND comp;
    if (lk == K_F32 || rk == K_F32) comp = K_F32;
    else if (op == SLL || op == SRL) comp = lk == K_I32U ? K_I32U : K_I32S;
    else comp = lk == K_I32U || rk == K_I32U ? K_I32U : K_I32S;
    uint32_t old = vars.at(s);
    uint32_t a = convert(old, lk, comp);
    uint32_t b = (op == SLL || op == SRL) ? rhs : convert(rhs, rk, comp);
    uint32_t v = convert(arith(op, a, b, comp), comp, lk);
    vars[s] = v;
    return n->op == PLUSPLUS || n->op == MINMIN ? old : v;
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

}  // namespace simp_test
