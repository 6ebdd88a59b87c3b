// Fuzz target: zopt as a whole on arbitrary bytes as its input file, in a
// child process per input (zopt exits on bad input). The level is the
// input's size modulo 5, so that mutations reach every level; the
// regression tests under regress/ run every level. Built with
// ZOPT_FUZZ_CHECKING, zopt runs in checking mode and a broken invariant is
// a crash the fuzzer keeps. The child may write no more than 16 times the
// input and 64 KiB: zopt then ends on SIGXFSZ, a finding like any other
// signal.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "driver/checking.h"
#include "tests/fuzz/fuzz_fork.h"

int zopt_main(int argc, char** argv);  // driver/main.cpp, renamed for this program

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string dir = fuzz_scratch_dir();
  std::string in = dir + "/in.icode", out = dir + "/out.icode";
  FILE* f = fopen(in.c_str(), "wb");
  if (!f || fwrite(data, 1, size, f) != size || fclose(f) != 0) {
    perror("fuzz: writing the input");
    abort();
  }
  std::string level = "--opt_level=" + std::to_string(size % 5);
  fuzz_in_child([&] {
    std::vector<char*> argv = {const_cast<char*>("zopt"), const_cast<char*>(level.c_str())};
#ifdef ZOPT_FUZZ_CHECKING
    argv.push_back(const_cast<char*>("--debug=check"));
    checking_failure_hook = abort;
#endif
    argv.push_back(const_cast<char*>(in.c_str()));
    argv.push_back(const_cast<char*>(out.c_str()));
    argv.push_back(nullptr);
    return zopt_main(static_cast<int>(argv.size()) - 1, argv.data());
  }, 65536 + 16ull * size);
  remove(out.c_str());
  return 0;
}
