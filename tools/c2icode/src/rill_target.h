// What Clang is told about Rill. Clang keeps char at 8 bits and measures
// sizes in 8-bit bytes, so it cannot lay Rill out; what it can be given are
// the value ranges and formats of the arithmetic types, so that its integer
// promotions, usual conversions and literal types are Rill's. Sizes, layout
// and constant expressions that involve them are computed by c2icode itself.
#pragma once
#include <string>
#include <vector>

namespace clang {
class TargetInfo;
}

namespace c2i {

// The triple Clang parses for; its target record is then given Rill's widths.
extern const char* const kClangTriple;

// Rill's arithmetic types as values: int, long and long long of 32 bits,
// every floating type IEEE binary32, _Bool 32, pointers 16, wchar_t an
// unsigned 16-bit type, size_t unsigned int, ptrdiff_t int.
void rill_patch_target(clang::TargetInfo& target);

// The predefined macros that describe Rill and the language, as NAME=VALUE
// texts for the preprocessor (Clang's own host-describing set is not used).
std::vector<std::string> rill_predefined_macros(bool c99);

}  // namespace c2i
