// The last act of lcse and gcse: CSE marks become temporaries.
#pragma once
#include <unordered_set>

struct NODE;

struct CSE_REWRITE {
  // CSE_ORIG nodes that store their value: `temp = expr`.
  std::unordered_set<const NODE*> save;
  // CSE_ORIG nodes whose value is in the temporary already: `temp`.
  std::unordered_set<const NODE*> deleted;
  // CSE_DUPE nodes whose value isn't in the temporary: a fresh evaluation.
  std::unordered_set<const NODE*> recompute;
};

// Every CSE_DUPE whose CSE_ORIG keeps its value asks that CSE_ORIG to save
// it: the local half of every rewrite.
void save_sources_of_dupes(CSE_REWRITE& rw);
// Rewrites every statement of the flow graph by the decisions and removes
// every mark; the number of evaluations that went away. The changed
// statements are simplified.
int rewrite_cse_marks(const CSE_REWRITE& rw);
