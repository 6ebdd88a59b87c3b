// zopt: the optimizer stage. Reads one icode file, optimises every function
// and writes an icode file of the same format.
#include <new>

#include "driver/epilogue.h"
#include "driver/files.h"
#include "driver/globals.h"
#include "driver/pass_times.h"
#include "driver/pipeline.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/option_sets.h"
#include "options/global_flags.h"
#include "options/keywords.h"

namespace {

[[noreturn]] void fatal_user_errors() {
  fprintf(stderr, "\n***** %d fatal errors: Compilation ends.\n", user_error_count);
  exit(1);
}

// The pseudo root of the call graph, named " ? ".
void init_fileopts() {
  FUNINFO* root = new (zalloc0(0, sizeof(FUNINFO))) FUNINFO();
  root->name = zstrdup(0, " ? ");
  fileinfo.cg_root = root;
  fileinfo.funlist = mkFUNLIST(root, nullptr);
  fileinfo.cg_count = 1;
}

int run(int argc, char** argv) {
  pass_times_start_run();
  resolve_pass_order();
  open_files(argc, argv);
  pass_times_init();
  init_opcode_tables();
  TYPE_PKG::cpu_version = icode_cpu_id;
  init_symbols();
  init_fileopts();
  save_global_flags();
  if (kw::debug_passes) print_pass_order(stdout);

  if (pass_debug("parser")) {
    // The machine-description checking mode: no input is optimised.
    if (print_debug && fdebug) fprintf(fdebug, "~~~ pass not built yet, skipped: parse_md_file\n");
    close_files();
    finish_run();
  }

  user_error_count = 0;
  firstExternFuninfo = nullptr;
  function_prepass = true;
  fileinfo.stage = STAGE_FIRST_READING;
  {
    PASS_CLOCK clock("first reading");
    i_file->if_read_file();
  }
  if (user_error_count) fatal_user_errors();

  function_prepass = false;
  if (print_debug && fdebug) fprintf(fdebug, "~~~ pass not built yet, skipped: analyze_call_graph\n");
  erase_all();
  restore_global_flags();

  global_symbols = revsymtab(global_symbols, nullptr);
  for (SYMTAB* s = global_symbols; s; s = s->next) o_file->if_enter_global(s);
  global_symbols = revsymtab(global_symbols, nullptr);
  if (user_error_count) fatal_user_errors();

  fileinfo.stage = STAGE_SECOND_READING;
  if (write_opt_info && finfo) fflush(finfo);
  if (print_debug) {
    if (fdebug) fflush(fdebug);
    printf("%s Pass 2\n", OPTIMIZER_BANNER);
  }
  process_functions_in_order();
  write_global_epilogue();
  report_pass_times();
  close_files();
  finish_run();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    report_allocation_error(nullptr, 0);
  }
}
