// The tree checker of checking mode: every statement of the current function
// against the operator table and the shape of blocks.
#pragma once
#include <array>

struct CHECK_REPORT;

// For each operator, the pass after which it may no longer appear in the
// function, or null while it may.
using ABSENT_OPS = std::array<const char*, 256>;

// Checks, statement by statement (by block once a flow graph exists):
// - each node's operands against the operator table's count;
// - a type on every node that computes a value;
// - each LABEL names a label defined in the function, or once blocks exist,
//   a block still in the flow graph;
// - no block holds a transfer before its last statement;
// - no operator that `absent` rules out.
// Errors are uncorrected; nothing is changed. Linear in the function.
void validate_trees(const ABSENT_OPS& absent, CHECK_REPORT& report);
