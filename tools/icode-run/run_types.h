// How the interpreter holds the values of each type of the target.
#pragma once
#include <cstdint>

struct TYPE;
struct SYMTAB;

typedef uint64_t VAL;

// Every scalar is one 64-bit word:
//   16-bit integers: extended to 32 bits by their own sign, in the low word;
//   32-bit integers, bool (0 or 1) and binary32 floats: the low word;
//   pointers: the unit address in the low 16 bits, the provenance (object
//   slot and generation) in the high word.
// An aggregate (structure, union, array) is handled through its address,
// held like a pointer.
enum VK : uint8_t {
  VK_VOID,
  VK_I16S,
  VK_I16U,
  VK_I32S,
  VK_I32U,
  VK_BOOL,
  VK_F32,
  VK_PTR,
  VK_AGG,
  VK_FUNC,
  VK_BAD,  // a type this target does not have (fixed point, complex, wide integers)
};

VK vk_of(const TYPE* type);
// Size in 16-bit units, rounded up.
uint32_t units_of(const TYPE* type);
// Alignment in units, at least 1.
uint32_t align_units_of(const TYPE* type);
// Alignment of a variable in units: its own or its type's, the larger.
uint32_t symbol_align_units(const SYMTAB* sym);
// Rounds `units` up to a multiple of `align`.
inline uint32_t align_up(uint32_t units, uint32_t align) {
  return align > 1 ? (units + align - 1) / align * align : units;
}
// Units a value of this kind takes in memory (scalars only).
uint32_t vk_units(VK vk);
const char* vk_name(VK vk);
// A constant object: const itself, or an array of constant elements.
bool type_is_readonly(const TYPE* type);
// The text of a type for messages.
const char* type_text(const TYPE* type);

inline bool vk_is_int(VK k) { return k >= VK_I16S && k <= VK_BOOL; }
inline bool vk_is_signed(VK k) { return k == VK_I16S || k == VK_I32S; }
inline bool vk_is_scalar(VK k) { return k >= VK_I16S && k <= VK_PTR; }
