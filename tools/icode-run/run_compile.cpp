// Translation: frames, variables, lvalues, and statements.
#include "tools/icode-run/run_compile.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_ops.h"
#include "tools/icode-run/run_program.h"

namespace {

bool is_register_class(int sclass) {
  return sclass == SC_REGISTER || sclass == SC_REG17 || sclass == SC_REG22;
}

template <template <class> class T>
XFN pick(VK vk) {
  switch (acc_of(vk)) {
    case ACC_16S: return &T<A16S>::run;
    case ACC_16U: return &T<A16U>::run;
    case ACC_PTR: return &T<APTR>::run;
    default: return &T<A32>::run;
  }
}

template <bool POST>
XFN pick_inc_reg(VK vk) {
  switch (vk) {
    case VK_I16S: return &XIncReg<StepInt<C16S>, POST>::run;
    case VK_I16U: return &XIncReg<StepInt<C16U>, POST>::run;
    case VK_PTR: return &XIncReg<StepPtr, POST>::run;
    default: return &XIncReg<StepInt<C32>, POST>::run;
  }
}

template <template <class, class, bool> class T, bool POST>
XFN pick_inc_mem(VK vk) {
  switch (vk) {
    case VK_I16S: return &T<A16S, StepInt<C16S>, POST>::run;
    case VK_I16U: return &T<A16U, StepInt<C16U>, POST>::run;
    case VK_PTR: return &T<APTR, StepPtr, POST>::run;
    default: return &T<A32, StepInt<C32>, POST>::run;
  }
}

}  // namespace

RUN_COMPILER::RUN_COMPILER(RUN_MACHINE& m, XFUNC* fn, bool no_stat) : m_(m), fn_(fn), no_stat_(no_stat) {}

XN* RUN_COMPILER::mk(XFN fn, NODE* src, uint16_t nsrc, uint16_t cost) {
  XN* x = m_.new_xn();
  x->fn = fn;
  x->src = src;
  x->nsrc = nsrc;
  x->cost = cost;
  if (no_stat_) x->flags |= XF_NOSTAT;
  return x;
}

XN* RUN_COMPILER::constant(VAL v, NODE* src, uint16_t nsrc) {
  XN* x = mk(&XConst::run, src, nsrc, W_CONST);
  x->imm = v;
  return x;
}

XN* RUN_COMPILER::fail_node(NODE* src, const std::string& text) {
  XN* x = mk(&x_fail, src, 1, 0);
  x->p = const_cast<char*>(m_.keep_text(text));
  return x;
}

void RUN_COMPILER::bad(const char* format, ...) {
  char buf[512];
  va_list ap;
  va_start(ap, format);
  vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  if (fn_) run_bad_input("%s in function %s", buf, fn_->name);
  run_bad_input("%s in an initialiser", buf);
}

// ---- Frame.

// Variables whose address is taken live in memory whatever their class.
void RUN_COMPILER::find_addressed(NODE* n) {
  for (; n; n = n->right) {
    if (n->op == UAND || n->op == ARGREF || n->op == STARG) {
      NODE* x = n->left;
      while (x && (x->op == STDOT || x->op == EPVAL)) x = x->left;
      if (x && x->op == NAME && x->sym) addressed_.insert(static_cast<SYMTAB*>(x->sym));
    }
    if (n->op == FIELD || n->op == NAME) return;
    find_addressed(n->left);
  }
}

uint32_t RUN_COMPILER::add_var(SYMTAB* sym, const char* name, uint32_t units, uint32_t align) {
  XVAR v;
  v.sym = sym;
  v.name = name;
  v.off = align_up(fn_->frame_units, align);
  v.units = units;
  fn_->frame_units = v.off + units;
  fn_->frame_align = std::max(fn_->frame_align, align);
  fn_->vars.push_back(v);
  return static_cast<uint32_t>(fn_->vars.size() - 1);
}

void RUN_COMPILER::layout_frame() {
  RUN_FUNCTION* rf = fn_->body;
  for (RUN_STMT& st : rf->body) find_addressed(st.tree);
  const TYPE* ft = fn_->sym ? fn_->sym->type : nullptr;
  TYPE* result = nullptr;
  if (ft && vk_of(ft) == VK_FUNC) result = (ft->rep ? ft->rep : ft)->getr_func()->result;
  fn_->ret_vk = vk_of(result);
  fn_->ret_units = units_of(result);

  auto units_for = [](SYMTAB* s, VK vk) {
    uint32_t u = std::max(units_of(s->type), static_cast<uint32_t>((s->size + 15) / 16));
    return std::max(u, vk_units(vk));
  };
  for (SYMTAB* p : rf->params) {
    XPARAM xp;
    xp.vk = vk_of(p->type);
    if (xp.vk == VK_BAD || xp.vk == VK_VOID || xp.vk == VK_FUNC)
      bad("parameter %s has a type the target does not have (%s)", p->name, type_text(p->type));
    xp.units = units_for(p, xp.vk);
    BINDING b;
    if (is_register_class(p->sclass) && vk_is_scalar(xp.vk) && !addressed_.count(p)) {
      xp.in_reg = true;
      xp.index = fn_->nregs++;
      b.kind = LK_REG;
    } else {
      xp.index = add_var(p, p->name, xp.units, symbol_align_units(p));
      b.kind = LK_LOCAL;
    }
    b.index = xp.index;
    locals_[p] = b;
    fn_->params.push_back(xp);
  }
  for (SYMTAB* s : rf->locals) {
    // Statics and externs live with the globals; a function declared in a
    // block is the global function.
    if (s->sclass == SC_STATIC || s->sclass == SC_EXTREF || s->sclass == SC_EXTDEF) continue;
    VK vk = vk_of(s->type);
    if (vk == VK_FUNC) continue;
    BINDING b;
    if (is_register_class(s->sclass) && vk_is_scalar(vk) && !addressed_.count(s)) {
      b.kind = LK_REG;
      b.index = fn_->nregs++;
    } else {
      b.kind = LK_LOCAL;
      b.index = add_var(s, s->name, units_for(s, vk), symbol_align_units(s));
    }
    locals_[s] = b;
  }
}

RUN_COMPILER::BINDING RUN_COMPILER::bind(SYMTAB* sym) {
  auto l = locals_.find(sym);
  if (l != locals_.end()) return l->second;
  BINDING b;
  b.kind = LK_GLOBAL;
  auto d = m_.data_of.find(sym);
  if (d != m_.data_of.end()) {
    b.addr = d->second;
    return b;
  }
  auto f = m_.func_of.find(sym);
  if (f != m_.func_of.end()) {
    b.addr = f->second->addr;
    return b;
  }
  if (sym->name) {
    auto dn = m_.data_by_name.find(sym->name);
    if (dn != m_.data_by_name.end()) {
      b.addr = dn->second;
      return b;
    }
    auto fnm = m_.func_by_name.find(sym->name);
    if (fnm != m_.func_by_name.end()) {
      b.addr = fnm->second->addr;
      return b;
    }
  }
  bad("symbol %s is not declared", sym->name ? sym->name : "(unnamed)");
}

// ---- Lvalues.

void RUN_COMPILER::lvalue(NODE* n, LOC& L) {
  if (!n) bad("an operand is missing");
  switch (n->op) {
    case NAME: {
      SYMTAB* s = static_cast<SYMTAB*>(n->sym);
      if (!s) bad("NAME without a symbol");
      BINDING b = bind(s);
      L.kind = b.kind;
      if (b.kind == LK_REG) L.reg = b.index;
      else if (b.kind == LK_LOCAL) {
        L.var = b.index;
        L.off = fn_->vars[b.index].off;
      } else {
        L.gaddr = b.addr;
      }
      L.nsrc = 1;
      break;
    }
    case UMULT:
      L.kind = LK_PTR;
      L.ptr = rvalue(n->left);
      L.off = 0;
      L.nsrc = 1;
      break;
    case STDOT:
      lvalue(n->left, L);
      L.nsrc += 1;
      add_member(L, n->right, n);
      break;
    case STREF:
      L.kind = LK_PTR;
      L.ptr = rvalue(n->left);
      L.off = 0;
      L.nsrc = 1;
      add_member(L, n->right, n);
      break;
    case SCON:
      L.kind = LK_GLOBAL;
      L.gaddr = m_.literal(n);
      L.nsrc = 1;
      break;
    case EPVAL:
      lvalue(n->left, L);
      break;
    default:
      // A structure value that is no lvalue (a call, a conditional): its
      // address.
      if (vk_of(n->type) != VK_AGG) bad("operator %s is not an lvalue", op_text(n->op).c_str());
      L.kind = LK_PTR;
      L.ptr = rvalue(n);
      L.off = 0;
      L.nsrc = 0;
      break;
  }
  L.type = n->type;
  L.vk = vk_of(n->type);
}

void RUN_COMPILER::add_member(LOC& L, NODE* field, NODE* src) {
  (void)src;
  if (!field || field->op != FIELD || !field->mval) bad("member access without a FIELD");
  if (L.bitfield) bad("member of a bit-field");
  const fkMDATA* md = field->mval;
  uint32_t bits = static_cast<uint32_t>(md->offset);
  uint32_t units = bits / 16;
  uint32_t bit = bits % 16;
  if (md->is_bitfield || bit != 0) {
    VK vk = vk_of(md->type ? md->type : field->type);
    L.bitfield = true;
    L.bit = bit;
    L.width = md->is_bitfield ? md->width : vk_units(vk) * 16;
    L.bf_signed = vk_is_signed(vk);
    if (L.width == 0 || L.width > 32 || !vk_is_int(vk))
      bad("bit-field %s of width %u and type %s", md->name.c_str(), L.width, vk_name(vk));
  }
  switch (L.kind) {
    case LK_LOCAL:
    case LK_PTR: L.off += units; break;
    case LK_GLOBAL: L.gaddr = ptr_add(L.gaddr, units); break;
    case LK_REG: bad("member of a register variable");
  }
}

// Generic nodes find their lvalue through lk, u, v, imm and a.
static void set_loc(XN* x, LOC_KIND kind, uint32_t reg, uint32_t off, uint32_t var, VAL gaddr, XN* ptr) {
  x->lk = kind;
  x->u = kind == LK_REG ? reg : off;
  x->v = var;
  x->imm = gaddr;
  x->a = ptr;
}

XN* RUN_COMPILER::load(LOC& L, NODE* src) {
  if (L.vk == VK_AGG || L.vk == VK_FUNC) return address(L);
  if (!vk_is_scalar(L.vk)) return fail_node(src, std::string("read of a value of type ") + type_text(L.type));
  if (L.bitfield) {
    XN* x = mk(&x_load_bf, src, L.nsrc, W_MEM_READ + W_BITFIELD);
    set_loc(x, L.kind, L.reg, L.off, L.var, L.gaddr, L.ptr);
    x->acc = ACC_BF;
    MODIFY_INFO& mi = m_.infos.emplace_back();
    mi.bit = L.bit;
    mi.width = L.width;
    mi.bf_signed = L.bf_signed;
    x->p = &mi;
    x->mem_loads = 1;
    return x;
  }
  XN* x;
  switch (L.kind) {
    case LK_REG:
      x = mk(&XReg::run, src, L.nsrc, W_REG_READ);
      x->u = L.reg;
      x->reg_loads = 1;
      return x;
    case LK_LOCAL:
      x = mk(pick<XLdLocal>(L.vk), src, L.nsrc, W_MEM_READ);
      x->u = L.off;
      break;
    case LK_GLOBAL:
      x = mk(pick<XLdGlobal>(L.vk), src, L.nsrc, W_MEM_READ);
      x->u = p_addr(L.gaddr);
      break;
    default:
      x = mk(pick<XLdPtr>(L.vk), src, L.nsrc, W_MEM_READ);
      x->a = L.ptr;
      x->u = L.off;
      break;
  }
  x->mem_loads = 1;
  return x;
}

XN* RUN_COMPILER::address(LOC& L) {
  if (L.bitfield) bad("address of a bit-field");
  XN* x;
  switch (L.kind) {
    case LK_REG: bad("address of a register variable");
    case LK_LOCAL:
      x = mk(&XLocalAddr::run, nullptr, L.nsrc, W_ALU);
      x->u = L.off;
      x->v = L.var;
      return x;
    case LK_GLOBAL: return constant(L.gaddr, nullptr, L.nsrc);
    default:
      if (L.off == 0) {
        L.ptr->nsrc += L.nsrc;
        return L.ptr;
      }
      x = mk(&XPAddK::run, nullptr, L.nsrc, W_ALU);
      x->a = L.ptr;
      x->imm = L.off;
      return x;
  }
}

XN* RUN_COMPILER::store(LOC& L, XN* value, NODE* src) {
  uint16_t nsrc = static_cast<uint16_t>(L.nsrc + 1);
  if (!vk_is_scalar(L.vk)) return fail_node(src, std::string("store of a value of type ") + type_text(L.type));
  XN* x;
  if (L.bitfield) {
    x = mk(&x_store_bf, src, nsrc, W_MEM_READ + W_MEM_WRITE + W_BITFIELD);
    set_loc(x, L.kind, L.reg, L.off, L.var, L.gaddr, L.ptr);
    x->acc = ACC_BF;
    MODIFY_INFO& mi = m_.infos.emplace_back();
    mi.bit = L.bit;
    mi.width = L.width;
    mi.bf_signed = L.bf_signed;
    x->p = &mi;
    x->b = value;
    x->mem_loads = 1;
    x->mem_stores = 1;
    return x;
  }
  switch (L.kind) {
    case LK_REG:
      x = mk(&XStReg::run, src, nsrc, W_REG_WRITE);
      x->u = L.reg;
      x->b = value;
      x->reg_stores = 1;
      return x;
    case LK_LOCAL:
      x = mk(pick<XStLocal>(L.vk), src, nsrc, W_MEM_WRITE);
      x->u = L.off;
      break;
    case LK_GLOBAL:
      x = mk(pick<XStGlobal>(L.vk), src, nsrc, W_MEM_WRITE);
      x->u = p_addr(L.gaddr);
      break;
    default:
      x = mk(pick<XStPtr>(L.vk), src, nsrc, W_MEM_WRITE);
      x->a = L.ptr;
      x->u = L.off;
      break;
  }
  x->b = value;
  x->mem_stores = 1;
  return x;
}

// l op= r, ++ and --: op is the plain operator.
XN* RUN_COMPILER::modify(LOC& L, int op, NODE* rhs_node, bool post, NODE* src) {
  VK lvk = L.vk;
  if (!vk_is_scalar(lvk)) return fail_node(src, std::string("assignment operator on type ") + type_text(L.type));
  XN* rhs;
  VK rvk;
  if (rhs_node) {
    rhs = rvalue(rhs_node);
    rvk = vk_of(rhs_node->type);
  } else {
    rhs = constant(1, nullptr, 0);
    rvk = VK_I32S;
  }
  BINFN fn;
  CVFN to_op = nullptr;
  CVFN from_op = nullptr;
  uint16_t cost;
  if (lvk == VK_PTR) {
    if ((op != PLUS && op != MINUS) || !vk_is_int(rvk))
      return fail_node(src, "operator " + op_text(op) + " on a pointer");
    fn = op == PLUS ? &ptr_add_fn : &ptr_sub_fn;
    cost = W_ALU;
  } else {
    // C computes on the promoted operands, then converts back to the
    // lvalue's type.
    VK comp;
    if (lvk == VK_F32 || rvk == VK_F32) comp = VK_F32;
    else if (op == SLL || op == SRL) comp = lvk == VK_I32U ? VK_I32U : VK_I32S;
    else comp = lvk == VK_I32U || rvk == VK_I32U ? VK_I32U : VK_I32S;
    OPSEL s;
    if (comp == VK_F32) {
      rhs = convert(rhs, rvk, VK_F32, nullptr);
      if (lvk != VK_F32) {
        to_op = conv_sel(lvk, VK_F32).fn;
        from_op = conv_sel(VK_F32, lvk).fn;
      }
      s = arith_sel(op, VK_F32, VK_F32);
    } else {
      if (!vk_is_int(rvk)) rhs = convert(rhs, rvk, VK_I32S, nullptr);
      s = arith_sel(op, comp, lvk);
    }
    if (!s.fn) return fail_node(src, "operator " + op_text(op) + " on type " + type_text(L.type));
    fn = s.fn;
    cost = s.cost;
  }
  bool in_reg = L.kind == LK_REG;
  uint16_t rw = in_reg ? W_REG_READ + W_REG_WRITE : W_MEM_READ + W_MEM_WRITE;
  XN* x;
  bool step = rhs->fn == &XConst::run && (op == PLUS || op == MINUS) && !to_op && !L.bitfield &&
              L.kind != LK_PTR && lvk != VK_F32 && lvk != VK_BOOL;
  if (step) {
    uint32_t k = lo32(rhs->imm);
    if (op == MINUS) k = 0u - k;
    XFN f;
    if (in_reg) f = post ? pick_inc_reg<true>(lvk) : pick_inc_reg<false>(lvk);
    else if (L.kind == LK_LOCAL) f = post ? pick_inc_mem<XIncLocal, true>(lvk) : pick_inc_mem<XIncLocal, false>(lvk);
    else f = post ? pick_inc_mem<XIncGlobal, true>(lvk) : pick_inc_mem<XIncGlobal, false>(lvk);
    x = mk(f, src, static_cast<uint16_t>(L.nsrc + 1 + rhs->nsrc), static_cast<uint16_t>(cost + rw));
    x->u = in_reg ? L.reg : L.kind == LK_LOCAL ? L.off : p_addr(L.gaddr);
    x->imm = k;
  } else {
    x = mk(&x_modify, src, static_cast<uint16_t>(L.nsrc + 1), static_cast<uint16_t>(cost + rw + (L.bitfield ? W_BITFIELD : 0)));
    set_loc(x, L.kind, L.reg, L.off, L.var, L.gaddr, L.ptr);
    x->acc = L.bitfield ? static_cast<uint8_t>(ACC_BF) : acc_of(lvk);
    x->b = rhs;
    MODIFY_INFO& mi = m_.infos.emplace_back();
    mi.op = fn;
    mi.to_op = to_op;
    mi.from_op = from_op;
    mi.bit = L.bit;
    mi.width = L.width;
    mi.bf_signed = L.bf_signed;
    x->p = &mi;
    if (post) x->flags |= XF_POST;
  }
  if (in_reg) {
    x->reg_loads = 1;
    x->reg_stores = 1;
  } else {
    x->mem_loads = 1;
    x->mem_stores = 1;
  }
  return x;
}

XN* RUN_COMPILER::address_of(NODE* n, NODE* src) {
  LOC L;
  lvalue(n, L);
  XN* x = address(L);
  x->nsrc += 1;
  if (!x->src) x->src = src;
  return x;
}

// ---- Statements.

uint32_t RUN_COMPILER::label_of(NODE* n) {
  while (n && n->op == EPVAL) n = n->left;
  if (!n || n->op != LABEL) bad("a branch target is not a LABEL");
  return static_cast<uint32_t>(n->value.low);
}

void RUN_COMPILER::statement(NODE* t) {
  XSTMT s;
  s.tree = t;
  s.nsrc = 1;
  switch (t->op) {
    case LABELDEF: label_at_[static_cast<uint32_t>(t->value.low)] = static_cast<uint32_t>(fn_->code.size()); return;
    case NOP:
    case PPRAGMA: return;
    case ASM:
      if (t->value.low != 36) return;  // a comment
      s.kind = S_EXPR;
      s.x = fail_node(t, "inline assembly cannot be run");
      s.nsrc = 0;
      break;
    case BRANCH:
      s.kind = S_BRANCH;
      s.target = label_of(t->left);
      break;
    case CBRANCH:
      s.kind = S_CBRANCH;
      s.x = test(t->left);
      s.target = label_of(t->right);
      s.cost = W_TEST;
      break;
    case IF: {
      NODE* c = t->right;
      while (c && c->op == EPVAL) c = c->left;
      if (!c || c->op != COLON) bad("IF without two targets");
      s.kind = S_IF;
      s.x = test(t->left);
      s.target = label_of(c->left);
      s.target2 = label_of(c->right);
      s.cost = W_TEST;
      break;
    }
    case SWITCH: {
      if (!t->left) bad("SWITCH without an expression");
      VK vk = vk_of(t->left->type);
      if (!vk_is_int(vk)) bad("SWITCH on a value of type %s", type_text(t->left->type));
      s.kind = S_SWITCH;
      s.x = rvalue(t->left);
      s.cost = W_SWITCH;
      PENDING_SWITCH ps;
      ps.stmt = static_cast<uint32_t>(fn_->code.size());
      ps.vk = vk;
      std::vector<NODE*> items;
      flatten(t->right, COMMA, items);
      for (NODE* c : items) {
        while (c && c->op == EPVAL) c = c->left;
        if (c && c->op == CASE && c->left && c->left->op == ICON) {
          ps.cases.emplace_back(lo32(canon(c->left->value.low, vk)), label_of(c->right));
        } else if (c && c->op == DEFAULT) {
          if (!ps.has_default) ps.default_label = label_of(c->left);
          ps.has_default = true;
        } else {
          bad("a SWITCH holds %s where a CASE or DEFAULT belongs", c ? op_text(c->op).c_str() : "nothing");
        }
      }
      switches_.push_back(ps);
      break;
    }
    case RETURN:
      s.kind = S_RETURN;
      if (t->right) {
        if (fn_->ret_vk == VK_VOID) s.x = rvalue(t->right);
        else s.x = value_as(t->right, fn_->ret_vk);
      }
      break;
    case URETURN: s.kind = S_RETURN; break;
    case ASSERT:
    case NASSERT: {
      if (!m_.opts.strict) return;
      bool saved = no_stat_;
      no_stat_ = true;
      s.kind = S_ASSERT;
      s.x = test(t->left);
      no_stat_ = saved;
      s.nsrc = 0;
      break;
    }
    default:
      s.kind = S_EXPR;
      s.x = rvalue(t);
      s.nsrc = 0;
      break;
  }
  fn_->code.push_back(s);
}

void RUN_COMPILER::resolve_labels() {
  auto at = [this](uint32_t label) -> uint32_t {
    auto it = label_at_.find(label);
    if (it == label_at_.end()) bad("branch to undefined label %u", label);
    return it->second;
  };
  for (XSTMT& s : fn_->code) {
    if (s.kind == S_BRANCH || s.kind == S_CBRANCH || s.kind == S_IF) s.target = at(s.target);
    if (s.kind == S_IF) s.target2 = at(s.target2);
  }
  for (PENDING_SWITCH& ps : switches_) {
    SWITCH_TABLE& tb = m_.tables.emplace_back();
    tb.is_signed = vk_is_signed(ps.vk);
    tb.dflt = ps.has_default ? at(ps.default_label) : ps.stmt + 1;
    auto wide = [&tb](uint32_t v) -> int64_t {
      return tb.is_signed ? static_cast<int64_t>(static_cast<int32_t>(v)) : static_cast<int64_t>(v);
    };
    if (!ps.cases.empty()) {
      int64_t lo = wide(ps.cases[0].first);
      int64_t hi = lo;
      for (auto& c : ps.cases) {
        lo = std::min(lo, wide(c.first));
        hi = std::max(hi, wide(c.first));
      }
      if (hi - lo < 2 * static_cast<int64_t>(ps.cases.size()) + 16) {
        tb.lo = static_cast<uint32_t>(lo);
        tb.dense.assign(static_cast<size_t>(hi - lo + 1), tb.dflt);
        for (auto c = ps.cases.rbegin(); c != ps.cases.rend(); ++c) tb.dense[c->first - tb.lo] = at(c->second);
      } else {
        for (auto& c : ps.cases) tb.sorted.emplace_back(c.first, at(c.second));
        std::stable_sort(tb.sorted.begin(), tb.sorted.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        tb.sorted.erase(std::unique(tb.sorted.begin(), tb.sorted.end(),
                                    [](const auto& a, const auto& b) { return a.first == b.first; }),
                        tb.sorted.end());
      }
    }
    fn_->code[ps.stmt].table = &tb;
  }
}

void RUN_COMPILER::compile_function() {
  layout_frame();
  for (RUN_STMT& st : fn_->body->body) {
    if (!st.tree) label_at_[st.label] = static_cast<uint32_t>(fn_->code.size());
    else statement(st.tree);
  }
  XSTMT end;
  end.kind = S_END;
  end.nsrc = 0;
  fn_->code.push_back(end);
  resolve_labels();
}
