// Array bounds that Clang computed in its own sizes. A bound such as
// "sizeof(int)" is 4 to Clang and 2 on Rill, and the bound is part of the
// type that Clang gives every use of the array. Such bounds are written
// into the source as the numbers Rill gives them, and Clang parses again.
// A bound that measures an array or a structure waits for a later round
// unless it is the first one, so that what it measures is settled first.
// GCC sees a null `this` in the visitor's C++ base-class walk, which C never
// reaches.
#pragma GCC diagnostic ignored "-Wnonnull"
#include <clang/AST/RecursiveASTVisitor.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Lex/Lexer.h>

#include <algorithm>

#include "c2i_unit.h"

namespace c2i {

namespace {

struct EDIT {
  std::string file;
  unsigned begin = 0, end = 0;
  std::string text;
};

// Whether evaluating `e` depends on the layout of arrays or structures.
bool measures_aggregates(const clang::Stmt* s) {
  if (!s) return false;
  if (const auto* t = llvm::dyn_cast<clang::UnaryExprOrTypeTraitExpr>(s)) {
    clang::QualType q = t->getTypeOfArgument().getCanonicalType();
    if (q->isArrayType() || q->isRecordType()) return true;
  }
  if (llvm::isa<clang::OffsetOfExpr>(s)) return true;
  for (const clang::Stmt* c : s->children())
    if (measures_aggregates(c)) return true;
  return false;
}

class BOUNDS : public clang::RecursiveASTVisitor<BOUNDS> {
 public:
  explicit BOUNDS(UNIT& u) : u_(u) {}

  // The declaration a bound belongs to, for messages.
  bool TraverseDecl(clang::Decl* d) {
    const auto* nd = llvm::dyn_cast_or_null<clang::NamedDecl>(d);
    bool named = nd && nd->getIdentifier() && !llvm::isa<clang::FunctionDecl>(nd);
    if (named) decls_.push_back(nd);
    bool ok = clang::RecursiveASTVisitor<BOUNDS>::TraverseDecl(d);
    if (named) decls_.pop_back();
    return ok;
  }

  bool VisitConstantArrayTypeLoc(clang::ConstantArrayTypeLoc tl) {
    const clang::Expr* size = tl.getSizeExpr();
    if (!size) return true;
    CVALUE v;
    if (!eval_const(u_, size, v) || v.kind != CVALUE::INT) return true;
    uint64_t clang_count = tl.getTypePtr()->getSize().getZExtValue();
    if (static_cast<uint64_t>(v.i) == clang_count) return true;
    if (v.i < 0) refuse(u_, "array bound that is negative on Rill", size->getExprLoc());
    // Clang keeps counts in 16 bits here, as many as Rill can address.
    if (static_cast<uint64_t>(v.i) > kLargestObjectUnits) too_large_array(tl, v.i);
    found_.push_back({size, v.i, measures_aggregates(size)});
    return true;
  }

  struct DIVERGENT {
    const clang::Expr* size;
    int64_t value;
    bool waits;
  };
  const std::vector<DIVERGENT>& found() const { return found_; }

 private:
  [[noreturn]] void too_large_array(clang::ConstantArrayTypeLoc tl, int64_t count) {
    uint64_t units = static_cast<uint64_t>(count);
    try {
      units *= size_bits(u_, tl.getElementLoc().getType(), tl.getLBracketLoc()) / kUnitBits;
    } catch (const REFUSAL&) {
      // An element whose size is not known yet: the count is enough.
    } catch (const TOO_LARGE&) {
    }
    std::string what = decls_.empty() ? "an array of " + std::to_string(count) + " elements"
                                      : "'" + decls_.back()->getName().str() + "'";
    too_large(u_, what, units, decls_.empty() ? tl.getLBracketLoc() : decls_.back()->getLocation());
  }

  UNIT& u_;
  std::vector<DIVERGENT> found_;
  std::vector<const clang::NamedDecl*> decls_;
};

}  // namespace

bool settle_constants(UNIT& u, std::map<std::string, std::string>& remaps) {
  BOUNDS b(u);
  b.TraverseDecl(u.ctx.getTranslationUnitDecl());
  if (b.found().empty()) return true;
  std::vector<EDIT> edits;
  std::map<std::string, clang::FileID> files;
  for (size_t i = 0; i < b.found().size(); ++i) {
    const auto& d = b.found()[i];
    if (i > 0 && d.waits) continue;
    clang::CharSourceRange r = clang::Lexer::makeFileCharRange(
        clang::CharSourceRange::getTokenRange(d.size->getSourceRange()), u.sm, u.ctx.getLangOpts());
    if (r.isInvalid())
      refuse(u, "array bound that depends on sizes, written inside a macro", d.size->getExprLoc());
    clang::FileID fid = u.sm.getFileID(r.getBegin());
    const clang::FileEntry* fe = u.sm.getFileEntryForID(fid);
    if (!fe) refuse(u, "array bound that depends on sizes, outside a file", d.size->getExprLoc());
    std::string name = fe->getName().str();
    files[name] = fid;
    edits.push_back({name, u.sm.getFileOffset(r.getBegin()), u.sm.getFileOffset(r.getEnd()),
                     "(" + std::to_string(d.value) + ")"});
  }
  std::sort(edits.begin(), edits.end(), [](const EDIT& a, const EDIT& b) {
    return a.file != b.file ? a.file < b.file : a.begin > b.begin;
  });
  edits.erase(std::unique(edits.begin(), edits.end(),
                          [](const EDIT& a, const EDIT& b) { return a.file == b.file && a.begin == b.begin; }),
              edits.end());
  for (const auto& f : files) {
    std::string text = u.sm.getBufferData(f.second).str();
    for (const EDIT& e : edits)
      if (e.file == f.first) text.replace(e.begin, e.end - e.begin, e.text);
    remaps[f.first] = text;
  }
  return false;
}

}  // namespace c2i
