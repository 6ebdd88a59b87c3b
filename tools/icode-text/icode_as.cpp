// icode-as: assembles the text that icode-dis prints (or a hand-written
// one) into an icode file.
#include <cstdio>
#include <cstring>
#include <new>

#include "tools/icode-text/itext.h"

namespace {
[[noreturn]] void usage() {
  fprintf(stderr, "usage: icode-as FILE.itxt [-o FILE.icode]   (FILE - reads standard input)\n");
  exit(1);
}

bool slurp(FILE* f, std::string& text) {
  char buf[65536];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
  return !ferror(f);
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
  bool from_stdin = strcmp(in, "-") == 0;
  std::string out_name;
  if (out) {
    out_name = out;
  } else if (from_stdin) {
    usage();
  } else {
    out_name = in;
    size_t slash = out_name.rfind('/'), dot = out_name.rfind('.');
    if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) out_name.erase(dot);
    out_name += ".icode";
  }
  try {
    std::string text;
    FILE* f = from_stdin ? stdin : fopen(in, "r");
    if (!f) {
      fprintf(stderr, "icode-as: error: cannot open %s\n", in);
      return 1;
    }
    bool ok = slurp(f, text);
    if (!from_stdin) fclose(f);
    if (!ok) {
      fprintf(stderr, "icode-as: error: cannot read %s\n", in);
      return 1;
    }
    IT_MODEL model;
    try {
      it_parse(text, from_stdin ? "<stdin>" : in, model);
    } catch (const IT_ERROR& e) {
      fprintf(stderr, "%s\n", e.what());
      return 1;
    }
    std::string error;
    if (!it_write_file(model, out_name.c_str(), error)) {
      fprintf(stderr, "icode-as: error: %s\n", error.c_str());
      remove(out_name.c_str());
      return 1;
    }
  } catch (const std::bad_alloc&) {
    fprintf(stderr, "icode-as: error: out of memory\n");
    return 1;
  }
  return 0;
}
