// Calls: CALL(fn, args) with a left-nested COMMA list in source order, or
// UCALL(fn); structure arguments as STARG; the count of arguments past a
// prototype's "..." in the CALL node. Builtins become what they stand for:
// a library call, a constant, or one of the ICALLs of variable arguments.
#include <clang/AST/Attr.h>
#include <clang/Basic/Builtins.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

TYPE* rvalue_type(UNIT& u, const clang::Expr* e) {
  return rill_unqualified(u, e->getType(), e->getExprLoc());
}

NODE* argument(UNIT& u, const clang::Expr* a) {
  if (a->getType()->isRecordType())
    return tree(STARG, struct_lvalue(u, a), nullptr, rvalue_type(u, a));
  return translate_expr(u, a);
}

NODE* make_call(NODE* fn, const std::vector<NODE*>& args, uint32_t nvargs, TYPE* result) {
  if (args.empty()) {
    NODE* n = tree(UCALL, fn, nullptr, result);
    n->mk_ucall(0);
    return n;
  }
  NODE* n = tree(CALL, fn, comma_list(args), result);
  n->mk_call(nvargs, 0);
  return n;
}

// The va_list object an argument names.
NODE* va_list_object(UNIT& u, const clang::Expr* a) {
  NODE* l = translate_expr(u, a->IgnoreParenImpCasts());
  if (!is_lvalue_node(l)) refuse(u, "va_list that is not an object", a->getExprLoc());
  return l;
}

// A call of the library function `name` with the builtin call's arguments.
NODE* library_call(UNIT& u, const clang::CallExpr* call, const std::string& name) {
  const clang::FunctionDecl* fd = call->getDirectCallee();
  TYPE* ft = rill_type(u, fd->getType(), call->getExprLoc());
  SYMTAB* f = library_function(u, name, ft, make_psn(u, fd->getLocation()));
  std::vector<NODE*> args;
  for (const clang::Expr* a : call->arguments()) args.push_back(argument(u, a));
  const auto* proto = fd->getType()->getAs<clang::FunctionProtoType>();
  uint32_t nvargs = proto && proto->isVariadic() ? call->getNumArgs() - proto->getNumParams() : 0;
  return make_call(tree(UAND, name_node(f), nullptr, tp->mk_ptr(ft)), args, nvargs, rvalue_type(u, call));
}

}  // namespace

NODE* translate_builtin(UNIT& u, const clang::CallExpr* call, unsigned id, bool& handled) {
  handled = true;
  TYPE* vt = tp->basic[TYPE_PKG::BT_VOID];
  switch (id) {
    // Variable arguments as the interpreter lays them out: va_list is a
    // pointer into the call's area of variable arguments.
    case clang::Builtin::BI__builtin_va_start:
    case clang::Builtin::BI__va_start: {
      NODE* ap = va_list_object(u, call->getArg(0));
      NODE* start = tree(UICALL, nullptr, nullptr, strip_quals(ap->type));
      start->mk_icall("__va_start");
      return mk_ASG(ap, start);
    }
    case clang::Builtin::BI__builtin_va_end: {
      // Nothing to release, but the operand is evaluated: va_end(*p++)
      // still steps p.
      return va_list_object(u, call->getArg(0));
    }
    case clang::Builtin::BI__builtin_va_copy: {
      NODE* dst = translate_expr(u, call->getArg(0)->IgnoreParenImpCasts());
      NODE* src = translate_expr(u, call->getArg(1));
      return mk_ASG(dst, convert(src, dst->type));
    }
    case clang::Builtin::BI__builtin_expect:
      return translate_expr(u, call->getArg(0));
    case clang::Builtin::BI__builtin_constant_p:
    case clang::Builtin::BI__builtin_inf:
    case clang::Builtin::BI__builtin_inff:
    case clang::Builtin::BI__builtin_infl:
    case clang::Builtin::BI__builtin_huge_val:
    case clang::Builtin::BI__builtin_huge_valf:
    case clang::Builtin::BI__builtin_huge_vall:
    case clang::Builtin::BI__builtin_nan:
    case clang::Builtin::BI__builtin_nanf:
    case clang::Builtin::BI__builtin_nanl: {
      CVALUE v;
      if (!eval_const(u, call, v)) refuse(u, "builtin argument", call->getExprLoc());
      return v.kind == CVALUE::INT ? icon(v.i, v.type) : fcon(static_cast<float>(v.f), v.type);
    }
    case clang::Builtin::BI__builtin_unreachable:
      return icon(0, tp->basic[TYPE_PKG::BT_INT]);
    case clang::Builtin::BI__builtin_trap:
    case clang::Builtin::BI__builtin_abort: {
      clang::QualType ft = u.ctx.getFunctionType(u.ctx.VoidTy, {}, clang::FunctionProtoType::ExtProtoInfo());
      SYMTAB* f = library_function(u, "abort", rill_type(u, ft, call->getExprLoc()), nullptr);
      return make_call(tree(UAND, name_node(f), nullptr, tp->mk_ptr(f->type)), {}, 0, vt);
    }
    default:
      break;
  }
  std::string name = u.ctx.BuiltinInfo.getName(id);
  // A library function Clang knows (printf, memcpy...) is an ordinary call.
  if (name.rfind("__builtin_", 0) != 0 && name.rfind("__", 0) != 0) {
    handled = false;
    return nullptr;
  }
  // __builtin_memcpy and its kind stand for the library function.
  std::string plain = name.substr(name.rfind("__builtin_", 0) == 0 ? 10 : 2);
  if (u.ctx.BuiltinInfo.isPredefinedLibFunction(id) || name.rfind("__builtin_", 0) == 0) {
    static const char* const kLibrary[] = {
        "printf", "sprintf", "snprintf", "vprintf", "vsprintf", "vsnprintf", "putchar", "puts",
        "fprintf", "vfprintf", "fputs", "fputc", "putc", "fwrite", "fflush", "abort", "exit",
        "malloc", "calloc", "realloc", "free", "alloca", "memcpy", "memmove", "memset", "memcmp",
        "memchr", "strlen", "strcmp", "strncmp", "strcpy", "strncpy", "strcat", "strncat", "strchr",
        "strrchr", "strstr", "strpbrk", "strspn", "strcspn", "abs", "labs", "llabs", "sqrt", "sqrtf",
        "sin", "sinf", "cos", "cosf", "tan", "tanf", "exp", "expf", "log", "logf", "pow", "powf",
        "fabs", "fabsf", "floor", "floorf", "ceil", "ceilf", "fmod", "fmodf", "atan", "atanf",
        "atan2", "atan2f", "isalnum", "isalpha", "isblank", "iscntrl", "isdigit", "isgraph",
        "islower", "isprint", "ispunct", "isspace", "isupper", "isxdigit", "tolower", "toupper"};
    for (const char* lib : kLibrary)
      if (plain == lib) return library_call(u, call, plain);
  }
  refuse(u, "builtin function '" + name + "'", call->getExprLoc());
}

NODE* translate_call(UNIT& u, const clang::CallExpr* call) {
  if (unsigned id = call->getBuiltinCallee()) {
    bool handled = false;
    NODE* n = translate_builtin(u, call, id, handled);
    if (handled) return n;
  }
  const clang::Expr* callee = call->getCallee();
  NODE* fn = translate_expr(u, callee);
  clang::QualType fty = callee->getType();
  if (const auto* pt = fty->getAs<clang::PointerType>()) fty = pt->getPointeeType();
  const auto* proto = fty->getAs<clang::FunctionProtoType>();
  std::vector<NODE*> args;
  for (const clang::Expr* a : call->arguments()) args.push_back(argument(u, a));
  uint32_t nvargs = proto && proto->isVariadic() ? call->getNumArgs() - proto->getNumParams() : 0;
  return make_call(fn, args, nvargs, rvalue_type(u, call));
}

// va_arg(ap, T) is *(T *)((ap += n) - n), n the units of T.
NODE* translate_va_arg(UNIT& u, const clang::VAArgExpr* e) {
  NODE* ap = va_list_object(u, e->getSubExpr());
  TYPE* t = rill_type(u, e->getType(), e->getExprLoc());
  TYPE* apt = strip_quals(ap->type);
  TYPE* it = tp->basic[TYPE_PKG::BT_INT];
  uint32_t n = size_bits(u, e->getType(), e->getExprLoc()) / kUnitBits;
  NODE* bump = tree(PLUSASG, ap, icon(n, it), apt);
  NODE* at = tree(MINUS, bump, icon(n, it), apt);
  return tree(UMULT, convert(at, tp->mk_ptr(t)), nullptr, t);
}

}  // namespace c2i
