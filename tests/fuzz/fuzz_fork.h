// Runs one fuzz input in a child process, for code that ends the process on
// bad input (the file layer and the driver call exit). The child's coverage
// counters travel back to the fuzzer through a pipe, so that libFuzzer still
// sees what each input reached. The target links with -Wl,--wrap=exit: an
// exit in the child sends the counters and leaves with _exit, past the
// fuzzer's own exit handlers.
#pragma once

#include <functional>

// Runs `body` in a child; its return value is the child's exit status. A
// status other than 0 or 1 (a fatal signal, a sanitizer report, zopt's own
// signal exit 2) aborts the fuzzer, which then saves the input, unless the
// child's sanitizer report names a known fault (FUZZ_KNOWN).
// With `output_limit`, no file the child writes may grow past that many
// bytes (RLIMIT_FSIZE): an output without end is a finding, not a full disk.
void fuzz_in_child(const std::function<int()>& body, unsigned long long output_limit = 0);

// A fresh scratch directory for this fuzzer process, made once.
const char* fuzz_scratch_dir();
