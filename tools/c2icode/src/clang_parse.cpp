#include "clang_parse.h"

#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/Basic/Diagnostic.h>
#include <clang/Basic/DiagnosticOptions.h>
#include <clang/Basic/DiagnosticSema.h>
#include <clang/Basic/TargetInfo.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/CompilerInvocation.h>
#include <clang/Frontend/FrontendAction.h>
#include <clang/Frontend/TextDiagnosticPrinter.h>
#include <clang/Lex/PreprocessorOptions.h>
#include <llvm/Support/MemoryBuffer.h>
#include <llvm/Support/raw_ostream.h>

#include <memory>

#include "rill_target.h"

namespace c2i {

namespace {

// Clang's diagnostics, less its verdict on static assertions: Clang
// measures sizes in its own bytes, so the translator judges them again on
// Rill's. Errors are counted here for the same reason, and here what GNU C
// only warns about is a warning.
class RILL_DIAGNOSTICS : public clang::DiagnosticConsumer {
 public:
  RILL_DIAGNOSTICS(llvm::raw_ostream& os, clang::DiagnosticOptions* opts) : printer_(os, opts) {}
  void BeginSourceFile(const clang::LangOptions& lo, const clang::Preprocessor* pp) override {
    printer_.BeginSourceFile(lo, pp);
  }
  void EndSourceFile() override { printer_.EndSourceFile(); }
  void finish() override { printer_.finish(); }
  void HandleDiagnostic(clang::DiagnosticsEngine::Level level, const clang::Diagnostic& info) override {
    unsigned id = info.getID();
    if (id == clang::diag::err_static_assert_failed || id == clang::diag::err_static_assert_requirement_failed)
      return;
    // GNU C accepts "return;" in a function that returns a value, with a
    // warning; the caller then sees an unspecified value (0 on Rill).
    if (id == clang::diag::ext_return_missing_expr || id == clang::diag::warn_return_missing_expr)
      level = clang::DiagnosticsEngine::Warning;
    clang::DiagnosticConsumer::HandleDiagnostic(level, info);
    if (level >= clang::DiagnosticsEngine::Error) ++errors;
    printer_.HandleDiagnostic(level, info);
  }
  unsigned errors = 0;

 private:
  clang::TextDiagnosticPrinter printer_;
};

class HANDOFF_CONSUMER : public clang::ASTConsumer {
 public:
  HANDOFF_CONSUMER(clang::CompilerInstance& ci, const AST_HANDLER& handler, AST_VERDICT& verdict,
                   FILE_REMAPS& remaps, RILL_DIAGNOSTICS& diags)
      : ci_(ci), handler_(handler), verdict_(verdict), remaps_(remaps), diags_(diags) {}
  void HandleTranslationUnit(clang::ASTContext& ctx) override {
    if (diags_.errors) {
      verdict_ = AST_VERDICT::FAILED;
      return;
    }
    verdict_ = handler_(ci_, ctx, remaps_);
  }

 private:
  clang::CompilerInstance& ci_;
  const AST_HANDLER& handler_;
  AST_VERDICT& verdict_;
  FILE_REMAPS& remaps_;
  RILL_DIAGNOSTICS& diags_;
};

class HANDOFF_ACTION : public clang::ASTFrontendAction {
 public:
  HANDOFF_ACTION(const AST_HANDLER& handler, AST_VERDICT& verdict, FILE_REMAPS& remaps,
                 RILL_DIAGNOSTICS& diags)
      : handler_(handler), verdict_(verdict), remaps_(remaps), diags_(diags) {}
  std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance& ci,
                                                        llvm::StringRef) override {
    return std::make_unique<HANDOFF_CONSUMER>(ci, handler_, verdict_, remaps_, diags_);
  }

 private:
  const AST_HANDLER& handler_;
  AST_VERDICT& verdict_;
  FILE_REMAPS& remaps_;
  RILL_DIAGNOSTICS& diags_;
};

std::vector<std::string> cc1_arguments(const C2I_OPTIONS& o) {
  std::vector<std::string> a = {"-triple", kClangTriple, "-fsyntax-only", "-x", "c",
                                "-std=" + o.std_name, "-fwchar-type=short", "-fno-signed-wchar",
                                "-nostdsysteminc", "-nobuiltininc", "-fmessage-length=0",
                                "-ferror-limit", "20"};
  for (const std::string& d : o.include_dirs) {
    a.push_back("-I");
    a.push_back(d);
  }
  if (!o.system_include_dir.empty()) {
    a.push_back("-isystem");
    a.push_back(o.system_include_dir);
  }
  a.push_back(o.input);
  return a;
}

// One parse. Diagnostics are collected in `diag_text`, so that only the
// last of several parses speaks.
bool parse_once(const C2I_OPTIONS& o, const AST_HANDLER& handler, const FILE_REMAPS& in_remaps,
                FILE_REMAPS& out_remaps, AST_VERDICT& verdict, std::string& diag_text) {
  llvm::raw_string_ostream diag_stream(diag_text);
  auto diag_opts = llvm::makeIntrusiveRefCnt<clang::DiagnosticOptions>();
  diag_opts->ShowColors = false;
  auto* printer = new RILL_DIAGNOSTICS(diag_stream, diag_opts.get());

  clang::CompilerInstance ci;
  ci.createDiagnostics(printer, true);
  std::vector<std::string> args = cc1_arguments(o);
  std::vector<const char*> argv;
  for (const std::string& s : args) argv.push_back(s.c_str());
  auto invocation = std::make_shared<clang::CompilerInvocation>();
  if (!clang::CompilerInvocation::CreateFromArgs(*invocation, argv, ci.getDiagnostics(), "c2icode")) {
    diag_stream.flush();
    return false;
  }
  ci.setInvocation(invocation);
  // Rill's own predefined macros replace Clang's, which describe the host.
  clang::PreprocessorOptions& pp = ci.getPreprocessorOpts();
  pp.UsePredefines = false;
  for (const std::string& m : rill_predefined_macros(o.std_name.find("99") != std::string::npos))
    pp.addMacroDef(m);
  for (const auto& m : o.macros) {
    if (m.first == 'D') pp.addMacroDef(m.second);
    else pp.addMacroUndef(m.second);
  }
  for (const std::string& f : o.forced_includes) pp.Includes.push_back(f);
  for (const auto& r : in_remaps)
    pp.addRemappedFile(r.first, llvm::MemoryBuffer::getMemBufferCopy(r.second, r.first).release());

  clang::TargetInfo* target =
      clang::TargetInfo::CreateTargetInfo(ci.getDiagnostics(), invocation->TargetOpts);
  if (!target) {
    diag_stream.flush();
    return false;
  }
  ci.setTarget(target);
  target->adjust(ci.getDiagnostics(), ci.getLangOpts());
  rill_patch_target(*target);

  HANDOFF_ACTION action(handler, verdict, out_remaps, *printer);
  verdict = AST_VERDICT::FAILED;
  if (action.BeginSourceFile(ci, ci.getFrontendOpts().Inputs[0])) {
    if (llvm::Error e = action.Execute()) {
      llvm::consumeError(std::move(e));
      verdict = AST_VERDICT::FAILED;
    }
    action.EndSourceFile();
  }
  ci.getDiagnostics().getClient()->finish();
  diag_stream.flush();
  return printer->errors == 0 && verdict != AST_VERDICT::FAILED;
}

}  // namespace

bool parse_c_file(const C2I_OPTIONS& o, const AST_HANDLER& handler) {
  FILE_REMAPS remaps;
  // Each further parse settles at least one more constant that Clang
  // measured in its own sizes; a few rounds settle any real program.
  for (int round = 0; round < 6; ++round) {
    FILE_REMAPS next = remaps;
    AST_VERDICT verdict = AST_VERDICT::FAILED;
    std::string diags;
    bool ok = parse_once(o, handler, remaps, next, verdict, diags);
    if (!ok || verdict != AST_VERDICT::PARSE_AGAIN || round == 5) {
      llvm::errs() << diags;
      if (ok && verdict == AST_VERDICT::PARSE_AGAIN) {
        llvm::errs() << "c2icode: constant expressions that depend on sizes did not settle\n";
        return false;
      }
      return ok;
    }
    remaps = std::move(next);
  }
  return false;
}

}  // namespace c2i
