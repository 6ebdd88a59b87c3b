#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>
#include <llvm/Support/raw_ostream.h>
#include "clang_parse.h"
using namespace c2i;
int main(int argc, char** argv) {
  C2I_OPTIONS o;
  o.input = argv[1];
  o.system_include_dir = C2ICODE_INCLUDE_DIR;
  bool ok = parse_c_file(o, [](clang::CompilerInstance&, clang::ASTContext& ctx, FILE_REMAPS&) {
    for (auto* d : ctx.getTranslationUnitDecl()->decls())
      if (auto* v = llvm::dyn_cast<clang::VarDecl>(d))
        llvm::outs() << v->getName() << " " << v->getType().getAsString() << " size " << ctx.getTypeSize(v->getType()) << "\n";
    return AST_VERDICT::DONE;
  });
  return ok ? 0 : 1;
}
