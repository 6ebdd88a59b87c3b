// What c2icode cannot translate it refuses, with the construct and the place.
#include <clang/Basic/SourceManager.h>

#include "c2i_unit.h"

namespace c2i {

namespace {

std::string place(const UNIT& u, clang::SourceLocation loc) {
  if (loc.isValid()) {
    clang::PresumedLoc p = u.sm.getPresumedLoc(u.sm.getExpansionLoc(loc));
    if (p.isValid())
      return std::string(p.getFilename()) + ":" + std::to_string(p.getLine()) + ":" +
             std::to_string(p.getColumn());
  }
  return "<unknown>";
}

}  // namespace

void refuse(const UNIT& u, const std::string& what, clang::SourceLocation loc) {
  throw REFUSAL{"c2icode: unsupported: " + what + " at " + place(u, loc)};
}

void program_error(const UNIT& u, const std::string& what, clang::SourceLocation loc) {
  throw REFUSAL{place(u, loc) + ": error: " + what};
}

}  // namespace c2i
