// Fuzz target: the assembler of icode text (icode-as) on arbitrary text.
// A mistake must be an IT_ERROR; text that assembles to a file the reader
// takes must print as text that the assembler reads back to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_fork.h"
#include "tools/icode-text/itext.h"

namespace {

bool slurp(const std::string& path, std::string& out) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return false;
  char buf[65536];
  size_t n;
  out.clear();
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
  fclose(f);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  IT_MODEL model;
  try {
    it_parse(text, "fuzz.itxt", model);
  } catch (const IT_ERROR&) {
    return 0;
  }
  std::string first = std::string(fuzz_scratch_dir()) + "/a.icode";
  std::string error;
  if (!it_write_file(model, first.c_str(), error)) return 0;

  // The round trip: read, print, assemble, write.
  IT_MODEL back;
  std::vector<std::string> warnings;
  // The text may ask for a header the reader refuses (another cpu id or
  // version), and the reader warns of what cannot give the same bytes.
  if (!it_read_file(first.c_str(), back, error, warnings) || !warnings.empty()) return 0;
  std::string printed = it_print(back);
  IT_MODEL again;
  try {
    it_parse(printed, "printed.itxt", again);
  } catch (const IT_ERROR& e) {
    fprintf(stderr, "fuzz: the printed text does not assemble: %s\n", e.what());
    abort();
  }
  std::string second = std::string(fuzz_scratch_dir()) + "/b.icode";
  if (!it_write_file(again, second.c_str(), error)) {
    fprintf(stderr, "fuzz: the printed text cannot be written: %s\n", error.c_str());
    abort();
  }
  std::string a, b;
  if (!slurp(first, a) || !slurp(second, b) || a != b) {
    fprintf(stderr, "fuzz: assembling the printed text gives other bytes\n");
    abort();
  }
  return 0;
}
