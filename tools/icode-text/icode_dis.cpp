// icode-dis: prints an icode file as text that icode-as reads back.
#include <cstdio>
#include <cstring>
#include <new>

#include "tools/icode-text/itext.h"

namespace {
[[noreturn]] void usage() {
  fprintf(stderr, "usage: icode-dis FILE [-o OUTPUT]\n");
  exit(1);
}
}  // namespace

int main(int argc, char** argv) {
  const char* in = nullptr;
  const char* out = nullptr;
  for (int i = 1; i < argc; i++) {
    if (strcmp(argv[i], "-o") == 0 && i + 1 < argc)
      out = argv[++i];
    else if (argv[i][0] == '-' && argv[i][1])
      usage();
    else if (!in)
      in = argv[i];
    else
      usage();
  }
  if (!in) usage();
  try {
    IT_MODEL model;
    std::string error;
    std::vector<std::string> warnings;
    if (!it_read_file(in, model, error, warnings)) {
      fprintf(stderr, "icode-dis: error: %s\n", error.c_str());
      return 1;
    }
    for (const std::string& w : warnings) fprintf(stderr, "icode-dis: warning: %s: %s\n", in, w.c_str());
    std::string text = it_print(model);
    FILE* f = out ? fopen(out, "w") : stdout;
    if (!f) {
      fprintf(stderr, "icode-dis: error: cannot create %s\n", out);
      return 1;
    }
    bool ok = fwrite(text.data(), 1, text.size(), f) == text.size();
    ok &= (out ? fclose(f) : fflush(f)) == 0;
    if (!ok) {
      fprintf(stderr, "icode-dis: error: cannot write %s\n", out ? out : "the output");
      return 1;
    }
  } catch (const std::bad_alloc&) {
    fprintf(stderr, "icode-dis: error: out of memory\n");
    return 1;
  }
  return 0;
}
