// A program as icode-run holds it before translation: the functions with
// their statements in file order, and the global symbols. Initialisers stay
// on their symbols (SYMTAB::init). The icode reader's client fills it; tests
// build it by hand.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

struct NODE;
struct PSN;
struct SYMTAB;

// One statement of a body: a tree, or a label when tree is null.
struct RUN_STMT {
  NODE* tree = nullptr;
  uint32_t label = 0;
  PSN* psn = nullptr;
};

struct RUN_FUNCTION {
  SYMTAB* sym = nullptr;
  std::vector<SYMTAB*> params;  // lexical level 1, in order
  std::vector<SYMTAB*> locals;  // deeper levels; statics and externs among them are ignored here
  std::vector<RUN_STMT> body;
};

struct RUN_PROGRAM {
  std::vector<SYMTAB*> globals;  // level 0 and the statics of functions, in file order
  std::vector<std::unique_ptr<RUN_FUNCTION>> functions;
};
