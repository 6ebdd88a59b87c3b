// Symbols of the output: globals (made when first named, entered in the
// file's global table at once), locals and temporaries of the function
// being translated, the unnamed objects behind wide strings and compound
// literals, and the source positions they and the statements carry.
#include <clang/AST/Attr.h>
#include <clang/Basic/SourceManager.h>

#include <algorithm>
#include <cstring>

#include "c2i_unit.h"

namespace c2i {

// Positions outlive the AST: the file's closing sections still name them.
PSN* make_psn(UNIT& u, clang::SourceLocation loc) {
  static std::set<std::string> file_names;
  static std::deque<PSN> psns;
  if (loc.isInvalid()) return nullptr;
  clang::PresumedLoc p = u.sm.getPresumedLoc(u.sm.getExpansionLoc(loc));
  if (p.isInvalid()) return nullptr;
  const std::string& file = *file_names.insert(p.getFilename()).first;
  psns.push_back(PSN{file.c_str(), p.getLine(), p.getColumn()});
  return &psns.back();
}

SYMTAB* new_symbol(const std::string& name, TYPE* type, int sclass, PSN* psn) {
  auto* s = new SYMTAB;
  s->name = strdup(name.c_str());
  s->type = type;
  s->decl_type = type;
  s->sclass = static_cast<uint8_t>(sclass);
  s->orig_sclass = s->sclass;
  s->psn = psn;
  if (type && !type->is_func()) {
    s->size = static_cast<int32_t>(type->size);
    s->align = static_cast<int32_t>(type->align ? type->align : kUnitBits);
  }
  s->sflags = SF_HAS_HOME | SF_USER;
  return s;
}

std::string unique_global_name(UNIT& u, const std::string& wanted) {
  std::string name = wanted;
  for (int n = 2; u.global_names.count(name); ++n) name = wanted + "." + std::to_string(n);
  u.global_names.insert(name);
  return name;
}

namespace {

// The type of a declared object or function; one too large for the address
// space is reported with the object's name.
TYPE* object_type(UNIT& u, const clang::ValueDecl* d) {
  try {
    return rill_type(u, d->getType(), d->getLocation());
  } catch (const TOO_LARGE& t) {
    too_large(u, "'" + d->getName().str() + "'", t.units, d->getLocation());
  }
}

// A variable's own alignment: its type's, raised by aligned(N) or _Alignas
// on any of its declarations or by the typedef it is declared with.
void align_variable(UNIT& u, SYMTAB* s, const clang::VarDecl* v) {
  uint32_t a = static_cast<uint32_t>(s->align);
  if (!v->getType()->isIncompleteType() && !v->getType()->isVariablyModifiedType())
    a = std::max(a, align_bits(u, v->getType(), v->getLocation()));
  for (const clang::VarDecl* r : v->redecls()) a = std::max(a, decl_align_bits(u, r));
  s->align = static_cast<int32_t>(a);
}

// The declaration whose type is the most complete: the definition if any.
const clang::ValueDecl* defining_decl(const clang::ValueDecl* d) {
  if (const auto* f = llvm::dyn_cast<clang::FunctionDecl>(d)) {
    const clang::FunctionDecl* def = nullptr;
    if (f->isDefined(def)) return def;
    return f->getMostRecentDecl();
  }
  if (const auto* v = llvm::dyn_cast<clang::VarDecl>(d)) {
    if (const clang::VarDecl* def = v->getDefinition()) return def;
    for (const clang::VarDecl* r : v->redecls())
      if (!r->getType()->isIncompleteArrayType()) return r;
    return v->getMostRecentDecl();
  }
  return d;
}

}  // namespace

void check_attributes(UNIT& u, const clang::Decl* d) {
  // Attributes that change what a program does; those that only inform
  // (noreturn, unused, format, ...) are accepted and ignored, and layout
  // attributes are honoured by the layout.
  for (const clang::Attr* a : d->attrs()) {
    if (llvm::isa<clang::CleanupAttr, clang::AliasAttr, clang::IFuncAttr, clang::ConstructorAttr,
                  clang::DestructorAttr, clang::ModeAttr, clang::WeakRefAttr>(a))
      refuse(u, std::string("attribute '") + a->getSpelling() + "'", a->getLocation());
  }
}

SYMTAB* global_symbol(UNIT& u, const clang::ValueDecl* d) {
  check_attributes(u, d);
  const auto* canon = llvm::cast<clang::ValueDecl>(d->getCanonicalDecl());
  auto it = u.globals.find(canon);
  if (it != u.globals.end()) return it->second;
  const clang::ValueDecl* def = defining_decl(d);
  TYPE* type = object_type(u, def);
  int sclass;
  uint16_t scqual = 0;
  std::string name = d->getName().str();
  const clang::VarDecl* init_decl = nullptr;
  if (const auto* f = llvm::dyn_cast<clang::FunctionDecl>(def)) {
    bool defined = f->isDefined();
    bool internal = f->getFormalLinkage() == clang::InternalLinkage;
    if (!internal) {
      // A library function may have been named before through a builtin.
      auto named = u.functions.find(name);
      if (named != u.functions.end()) {
        u.globals[canon] = named->second;
        if (defined) named->second->sclass = SC_EXTDEF;
        return named->second;
      }
    }
    sclass = defined ? (internal ? SC_STATIC : SC_EXTDEF) : SC_EXTREF;
    if (f->isInlineSpecified()) scqual |= 0x0004;
  } else {
    const auto* v = llvm::cast<clang::VarDecl>(def);
    if (v->isStaticLocal()) {
      // A static of a function lives at file level under a name of its own.
      const auto* fn = llvm::dyn_cast<clang::FunctionDecl>(v->getParentFunctionOrMethod());
      name = (fn ? fn->getName().str() + "." : std::string()) + name;
      sclass = SC_STATIC;
    } else if (v->getFormalLinkage() == clang::InternalLinkage) {
      sclass = SC_STATIC;
    } else {
      sclass = v->hasDefinition() == clang::VarDecl::DeclarationOnly ? SC_EXTREF : SC_EXTDEF;
    }
    if (sclass != SC_EXTREF) {
      const clang::VarDecl* with_init = nullptr;
      if (v->getAnyInitializer(with_init) && with_init) init_decl = with_init;
    }
    if (init_decl)
      if (uint64_t bits = flex_object_bits(u, v->getType(), init_decl->getInit(), v->getLocation()))
        type = flex_object_type(u, v->getType(), bits, name, v->getLocation());
    if (v->getTLSKind() != clang::VarDecl::TLS_None) refuse(u, "thread-local variable", v->getLocation());
  }
  if (u.global_names.count(name) && sclass == SC_STATIC) name = unique_global_name(u, name);
  else u.global_names.insert(name);
  SYMTAB* s = new_symbol(name, type, sclass, make_psn(u, def->getLocation()));
  if (const auto* v = llvm::dyn_cast<clang::VarDecl>(def)) align_variable(u, s, v);
  s->scqual = scqual;
  s->sflags = SF_HAS_HOME;
  u.globals[canon] = s;
  if (llvm::isa<clang::FunctionDecl>(def) && sclass != SC_STATIC) u.functions[name] = s;
  u.out->if_enter_global(s);
  if (init_decl) {
    u.initialised.push_back(s);
    u.init_decls[s] = init_decl;
    u.init_exprs[s] = init_decl->getInit();
  }
  return s;
}

SYMTAB* library_function(UNIT& u, const std::string& name, TYPE* type, PSN* psn) {
  auto it = u.functions.find(name);
  if (it != u.functions.end()) return it->second;
  u.global_names.insert(name);
  SYMTAB* s = new_symbol(name, type, SC_EXTREF, psn);
  s->sflags = SF_HAS_HOME;
  u.functions[name] = s;
  u.out->if_enter_global(s);
  return s;
}

SYMTAB* local_symbol(UNIT& u, const clang::VarDecl* d) {
  auto it = u.fn->vars.find(d);
  if (it != u.fn->vars.end()) return it->second;
  check_attributes(u, d);
  TYPE* type = is_vla_object(d) ? vla_object_type(u, d) : object_type(u, d);
  SYMTAB* s = new_symbol(d->getName().str(), type, SC_LOCAL, make_psn(u, d->getLocation()));
  align_variable(u, s, d);
  s->lex_level = 2;
  u.fn->locals.push_back(s);
  u.fn->vars[d] = s;
  return s;
}

SYMTAB* temp_symbol(UNIT& u, TYPE* type) {
  SYMTAB* s = new_symbol("tmp." + std::to_string(++u.fn->temp_count), strip_quals(type), SC_LOCAL, nullptr);
  s->lex_level = 2;
  s->sflags = SF_HAS_HOME;
  u.fn->locals.push_back(s);
  return s;
}

SYMTAB* literal_object(UNIT& u, const clang::Expr* e, TYPE* type, const char* stem) {
  auto it = u.literal_objects.find(e);
  if (it != u.literal_objects.end()) return it->second;
  SYMTAB* s = new_symbol(unique_global_name(u, stem), type, SC_STATIC, make_psn(u, e->getExprLoc()));
  s->sflags = SF_HAS_HOME;
  u.literal_objects[e] = s;
  u.out->if_enter_global(s);
  u.initialised.push_back(s);
  u.init_exprs[s] = e;
  return s;
}

}  // namespace c2i
