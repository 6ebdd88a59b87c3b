// What c2icode cannot translate it refuses, with the construct and the place.
#include <clang/Basic/SourceManager.h>

#include "c2i_unit.h"

namespace c2i {

void refuse(const UNIT& u, const std::string& what, clang::SourceLocation loc) {
  std::string where = "<unknown>";
  if (loc.isValid()) {
    clang::PresumedLoc p = u.sm.getPresumedLoc(u.sm.getExpansionLoc(loc));
    if (p.isValid())
      where = std::string(p.getFilename()) + ":" + std::to_string(p.getLine()) + ":" +
              std::to_string(p.getColumn());
  }
  throw REFUSAL{"c2icode: unsupported: " + what + " at " + where};
}

}  // namespace c2i
