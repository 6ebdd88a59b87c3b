// Whole-function constants: fast_CP and its helpers.
#pragma once
#include <cstdio>
#include <unordered_map>

struct NODE;
struct LIST;
struct SYMTAB;

// Symbol to the NODE of its single value.
class SNMAP {
 public:
  void set_value(SYMTAB* sym, NODE* value);
  void remove(SYMTAB* sym);
  void clear();
  void print(FILE* stream) const;
  NODE* value_of(const SYMTAB* sym) const;
  bool empty() const { return map_.empty(); }
  size_t size() const { return map_.size(); }

 private:
  std::unordered_map<const SYMTAB*, NODE*> map_;
};

// `rounds` rounds of substituting the variables that are given one constant
// and read only after it; `combine` first joins narrow constant stores.
void fast_CP(int rounds, int combine);
// The maps of the function: cleared after each function.
void clear_fast_CP_maps();
// In one block, consecutive stores of constants to the two halves of a
// 32-bit place become one store.
void combine_asgs_to_memory();
// Replaces in `tree` the reads of const globals whose initialiser is one
// constant; with `cell` the result goes into the cell, with `simplify`
// through simp_tree when anything changed. The tree to use.
NODE* propagate_global_constants(NODE* tree, LIST* cell, bool simplify);
// A constant in the sense of fast_CP: a number, or the address of a named
// object (fixed for the run of the function).
bool expr_is_constant(const NODE* tree);
