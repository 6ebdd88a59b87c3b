// Where an lvalue lies: the named object or the base pointer its address
// starts from, a constant offset and the symbolic index terms. The alias
// answers compare these.
#pragma once
#include <cstdint>
#include <vector>

struct NODE;
struct SYMTAB;
struct TYPE;

struct INDEX_TERM {
  NODE* tree = nullptr;  // an integer tree, counted in addressable units
  int sign = 1;
};

struct LVALUE_DESC {
  NODE* lvalue = nullptr;   // the access, marks stripped
  SYMTAB* object = nullptr; // the named object, when the address says so
  bool direct = false;      // reached by name (NAME and STDOTs), not through an address
  bool whole = false;       // a plain NAME: the whole object
  NODE* base = nullptr;     // object unknown: the pointer tree the address starts from
  SYMTAB* base_var = nullptr;  // that tree is a pointer variable (under pointer conversions)
  int64_t offset_bits = 0;  // constant part of the place, from the object or the base value
  std::vector<INDEX_TERM> index;  // symbolic part
  int64_t size_bits = -1;   // bits touched; -1 unknown
  bool volatile_access = false;
  bool side_effects = false;  // the address computation changes something
  bool absolute = false;      // the address is an integer made a pointer
};

// Marks of other passes that stand for their operand: CSE_ORIG and
// CSE_DUPE (whose left is the computation it repeats), SSA_USE.
NODE* strip_transparent_marks(NODE* tree);
// Fills `d` for an lvalue tree.
void describe_lvalue(NODE* lvalue, LVALUE_DESC& d);
// Fills `d` for the place a pointer value points to (size left unknown).
void describe_address(NODE* pointer, LVALUE_DESC& d);
// The same index terms, in any order, by congruence.
bool same_index_terms(const LVALUE_DESC& a, const LVALUE_DESC& b);
// Units of 16 bits.
constexpr int64_t kBitsPerUnit = 16;
