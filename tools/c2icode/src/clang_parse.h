// Runs Clang on one C file for Rill and hands the checked AST to the
// translator. Clang's diagnostics go to standard error.
#pragma once
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace clang {
class ASTContext;
class CompilerInstance;
}  // namespace clang

namespace c2i {

struct C2I_OPTIONS {
  std::string input;
  std::string output;
  std::string std_name = "gnu11";              // -std=
  std::vector<std::string> include_dirs;       // -I, in order
  std::vector<std::pair<char, std::string>> macros;  // 'D' name[=value] or 'U' name
  std::vector<std::string> forced_includes;    // -include
  std::string system_include_dir;              // the target's headers
  bool dump_trees = false;                     // --dump: trees on standard output
};

// Contents to use instead of a file's own when Clang parses again.
using FILE_REMAPS = std::map<std::string, std::string>;

// What the translator wants after seeing one parse.
enum class AST_VERDICT { DONE, FAILED, PARSE_AGAIN };

// Called with the AST of an error-free parse. PARSE_AGAIN asks for another
// parse with the files of `remaps` replaced (a bounded number of times).
using AST_HANDLER =
    std::function<AST_VERDICT(clang::CompilerInstance&, clang::ASTContext&, FILE_REMAPS& remaps)>;

// Parses and calls `handler`. Returns false when Clang reported errors or
// the handler failed; Clang's diagnostics have been printed then.
bool parse_c_file(const C2I_OPTIONS& options, const AST_HANDLER& handler);

}  // namespace c2i
