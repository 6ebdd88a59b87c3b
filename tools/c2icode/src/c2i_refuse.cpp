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

std::string too_large_message(const UNIT& u, const TOO_LARGE& t) {
  return place(u, t.loc) + ": error: " + t.what + " is " + std::to_string(t.units) +
         " units, more than fit in Rill's " + std::to_string(kAddressUnits) + "-unit address space";
}

void too_large(const UNIT& u, const std::string& what, uint64_t units, clang::SourceLocation loc) {
  throw REFUSAL{too_large_message(u, TOO_LARGE{what, units, loc})};
}

}  // namespace c2i
