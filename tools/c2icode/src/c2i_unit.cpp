// The translation unit: every function defined (static ones only when
// used), every object defined, then the initialisers of all objects with
// static storage, which the format keeps after the functions.
#include <clang/AST/Decl.h>
#include <clang/AST/DeclCXX.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

bool wanted(const clang::Decl* d) {
  const auto* nd = llvm::cast<clang::NamedDecl>(d);
  // Unused static functions and objects, such as the helpers of a header,
  // are left out as a compiler would.
  if (nd->getFormalLinkage() == clang::InternalLinkage) return d->isUsed() || d->isReferenced();
  return true;
}

void write_initialisers(UNIT& u) {
  // The list grows while it is written: an initialiser may name a literal
  // object that needs an initialiser of its own.
  for (size_t i = 0; i < u.initialised.size(); ++i) {
    SYMTAB* s = u.initialised[i];
    const clang::Expr* init = u.init_exprs[s];
    clang::QualType type;
    auto d = u.init_decls.find(s);
    if (d != u.init_decls.end()) {
      type = d->second->getType();
      for (const clang::VarDecl* r : d->second->redecls())
        if (!r->getType()->isIncompleteArrayType()) type = r->getType();
    } else if (const auto* cl = llvm::dyn_cast<clang::CompoundLiteralExpr>(init)) {
      type = cl->getType();
      init = cl->getInitializer();
    } else {
      type = init->getType();
    }
    std::vector<NODE*> trees = global_init_trees(u, type, init, init->getExprLoc(), s->type->size);
    if (trees.empty()) continue;
    u.out->if_write_init(s);
    for (NODE* t : trees) u.out->if_write_expr_node(t);
  }
}

}  // namespace

void translate_unit(UNIT& u) {
  for (const clang::Decl* d : u.ctx.getTranslationUnitDecl()->decls()) {
    if (const auto* fd = llvm::dyn_cast<clang::FunctionDecl>(d)) {
      if (fd->doesThisDeclarationHaveABody() && wanted(fd)) translate_function(u, fd);
    } else if (const auto* vd = llvm::dyn_cast<clang::VarDecl>(d)) {
      if (vd->isThisDeclarationADefinition() != clang::VarDecl::DeclarationOnly && wanted(vd))
        global_symbol(u, vd);
    } else if (const auto* sa = llvm::dyn_cast<clang::StaticAssertDecl>(d)) {
      if (eval_int(u, sa->getAssertExpr(), "static assertion") == 0)
        program_error(u, "static assertion failed on Rill", sa->getLocation());
    }
  }
  write_initialisers(u);
}

}  // namespace c2i
