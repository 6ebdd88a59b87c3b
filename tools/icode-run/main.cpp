// icode-run: runs an icode file's main on the Rill machine model.
//   icode-run FILE [--stats] [--max-steps N] [--strict] [-- args]
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "icode/if_file.h"
#include "ir/types.h"
#include "tools/icode-run/run_client.h"
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_machine.h"
#include "tools/icode-run/run_thread.h"

namespace {

const char* const kUsage = "usage: icode-run FILE [--stats] [--max-steps N] [--strict] [-- args]\n";

[[noreturn]] void usage_error(const char* text, const char* arg) {
  fprintf(stderr, "icode-run: %s%s\n%s", text, arg, kUsage);
  exit(1);
}

int run(int argc, char** argv) {
  const char* file = nullptr;
  bool stats = false;
  RUN_OPTIONS opts;
  std::vector<std::string> args;
  int i = 1;
  for (; i < argc; ++i) {
    const char* a = argv[i];
    if (strcmp(a, "--") == 0) {
      ++i;
      break;
    }
    if (strcmp(a, "--stats") == 0) {
      stats = true;
    } else if (strcmp(a, "--strict") == 0) {
      opts.strict = true;
    } else if (strcmp(a, "--max-steps") == 0) {
      if (++i >= argc) usage_error("--max-steps needs a number", "");
      char* end = nullptr;
      errno = 0;
      unsigned long long n = strtoull(argv[i], &end, 10);
      if (!*argv[i] || *end || errno || argv[i][0] == '-') usage_error("not a step count: ", argv[i]);
      opts.max_steps = n;
    } else if (a[0] == '-' && a[1]) {
      usage_error("unknown option ", a);
    } else if (!file) {
      file = a;
    } else {
      usage_error("more than one file: ", a);
    }
  }
  if (!file) usage_error("no file given", "");
  args.push_back(file);
  for (; i < argc; ++i) args.push_back(argv[i]);

  FILE* in = fopen(file, "rb");
  if (!in) {
    fprintf(stderr, "icode-run: cannot open %s: %s\n", file, strerror(errno));
    return 1;
  }
  RUN_PROGRAM program;
  RUN_CLIENT client(program);
  I_FILE* icode = I_FILE::if_open(in, &client);
  if (!icode) {
    fprintf(stderr, "icode-run: %s is not an icode file\n", file);
    return 1;
  }
  tp = new (tp_alloc(sizeof(TYPE_PKG))) TYPE_PKG();
  tp->init_type_pkg();
  icode->if_type_init(tp);
  icode->if_read_file();

  RUN_MACHINE machine(opts);
  int status;
  try {
    machine.load(program);
    status = machine.run_main(args);
  } catch (const RUN_ERROR& e) {
    machine.flush_output();
    fprintf(stderr, "icode-run: error: %s\n", e.text.c_str());
    status = e.status;
  }
  if (stats) machine.print_stats(stderr);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  int status = 1;
  run_with_stack(RUN_STACK_BYTES, [&] {
    try {
      status = run(argc, argv);
    } catch (const std::bad_alloc&) {
      fprintf(stderr, "icode-run: out of memory\n");
      status = 1;
    }
  });
  fflush(stdout);
  return status;
}
