// c2icode: a C front end for Rill that writes icode.
//
//   c2icode file.c [-o file.icode] [-I dir] [-D name[=value]] [-U name]
//           [-include file] [-std=c99|gnu99|c11|gnu11|...] [--dump]
//
// Clang parses and checks; the translator walks the AST and writes the
// file. Exit status 0 on success; 1 after Clang's errors, a construct
// c2icode refuses, or a file that cannot be written (no output is left).
#include <clang/Basic/SourceManager.h>
#include <clang/Frontend/CompilerInstance.h>

#include <cstdio>
#include <cstring>
#include <iostream>

#include "c2i_unit.h"
#include "clang_parse.h"
#include "driver/globals.h"

namespace {

void usage() {
  std::cerr << "usage: c2icode file.c [-o file.icode] [-I dir] [-D name[=value]] [-U name]\n"
               "               [-include file] [-std=STD] [--dump]\n";
}

// The value of an option given as "-Xvalue" or "-X value".
bool take(int argc, char** argv, int& i, const char* opt, std::string& value) {
  size_t n = strlen(opt);
  if (strncmp(argv[i], opt, n) != 0) return false;
  if (argv[i][n]) {
    value = argv[i] + n;
    return true;
  }
  if (i + 1 >= argc) {
    std::cerr << "c2icode: missing value after " << opt << "\n";
    exit(1);
  }
  value = argv[++i];
  return true;
}

c2i::C2I_OPTIONS parse_command_line(int argc, char** argv) {
  c2i::C2I_OPTIONS o;
  o.system_include_dir = C2ICODE_INCLUDE_DIR;
  for (int i = 1; i < argc; ++i) {
    std::string v;
    const char* a = argv[i];
    if (!strcmp(a, "-h") || !strcmp(a, "--help")) {
      usage();
      exit(0);
    } else if (!strcmp(a, "--dump")) {
      o.dump_trees = true;
    } else if (!strncmp(a, "-std=", 5)) {
      o.std_name = a + 5;
    } else if (!strcmp(a, "-include")) {
      if (i + 1 >= argc) {
        std::cerr << "c2icode: missing value after -include\n";
        exit(1);
      }
      o.forced_includes.push_back(argv[++i]);
    } else if (take(argc, argv, i, "-o", v)) {
      o.output = v;
    } else if (take(argc, argv, i, "-I", v)) {
      o.include_dirs.push_back(v);
    } else if (take(argc, argv, i, "-D", v)) {
      o.macros.emplace_back('D', v);
    } else if (take(argc, argv, i, "-U", v)) {
      o.macros.emplace_back('U', v);
    } else if (a[0] == '-' && a[1]) {
      std::cerr << "c2icode: unknown option " << a << "\n";
      usage();
      exit(1);
    } else if (o.input.empty()) {
      o.input = a;
    } else {
      std::cerr << "c2icode: more than one input file\n";
      exit(1);
    }
  }
  if (o.input.empty()) {
    usage();
    exit(1);
  }
  if (o.output.empty()) {
    std::string base = o.input;
    size_t slash = base.rfind('/');
    if (slash != std::string::npos) base = base.substr(slash + 1);
    size_t dot = base.rfind('.');
    if (dot != std::string::npos) base = base.substr(0, dot);
    o.output = base + ".icode";
  }
  return o;
}

}  // namespace

int main(int argc, char** argv) {
  c2i::C2I_OPTIONS o = parse_command_line(argc, argv);
  if_node_table_init();
  init_opcode_tables();
  tp = tp_new<TYPE_PKG>();
  tp->init_type_pkg();

  FILE* stream = fopen(o.output.c_str(), "wb");
  if (!stream) {
    std::cerr << "c2icode: cannot open " << o.output << ": " << strerror(errno) << "\n";
    return 1;
  }
  I_FILE* out = I_FILE::if_create(stream, tp, o.input.c_str());
  std::string refusal;
  bool ok = c2i::parse_c_file(o, [&](clang::CompilerInstance& ci, clang::ASTContext& ctx,
                                     c2i::FILE_REMAPS& remaps) {
    c2i::UNIT u(ctx, ci.getSourceManager());
    u.out = out;
    try {
      if (!c2i::settle_constants(u, remaps)) return c2i::AST_VERDICT::PARSE_AGAIN;
      if (o.dump_trees) {
        fdebug = stdout;
        print_debug = 1;
      }
      c2i::translate_unit(u);
    } catch (const c2i::REFUSAL& r) {
      refusal = r.message;
      return c2i::AST_VERDICT::FAILED;
    } catch (const c2i::TOO_LARGE& t) {
      refusal = c2i::too_large_message(u, t);
      return c2i::AST_VERDICT::FAILED;
    }
    return c2i::AST_VERDICT::DONE;
  });
  if (!refusal.empty()) std::cerr << refusal << "\n";
  if (!ok) {
    out->if_close(false, true);
    remove(o.output.c_str());
    return 1;
  }
  if (out->if_close(false, false) != 0) {
    std::cerr << "c2icode: cannot write " << o.output << "\n";
    remove(o.output.c_str());
    return 1;
  }
  return 0;
}
