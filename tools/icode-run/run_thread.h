// The interpreter recurses on the host stack once per call of the program
// and per level of an expression, so it runs on a thread with a large stack.
#pragma once
#include <cstddef>
#include <functional>

constexpr size_t RUN_STACK_BYTES = static_cast<size_t>(512) << 20;

// Runs job on a thread with a stack of this size and waits for it; job must
// not let an exception escape.
void run_with_stack(size_t bytes, const std::function<void()>& job);
