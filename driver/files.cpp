#include "driver/files.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "diag/signals.h"
#include "driver/globals.h"
#include "icode/if_file.h"
#include "ir/opt_expr.h"
#include "icode/opt_client.h"
#include "icode/opt_write.h"
#include "ir/mmgt.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"
#include "options/option_sets.h"
#include "options/optobj.h"

option_obj* cmdline_options = nullptr;
option_obj* file_options = nullptr;
// Never destroyed: exit paths may still ask for an option set.
std::vector<option_obj*>& all_option_sets = *new std::vector<option_obj*>;

namespace {

int saved_argc = 0;
char** saved_argv = nullptr;
int arg_index = 0;

// The name less its extension: the last dot after the last slash goes.
std::string fn_delext(const char* name) {
  std::string s = name;
  size_t slash = s.find_last_of('/');
  size_t dot = s.find_last_of('.');
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) s.erase(dot);
  return s;
}

const char* const kSignalNames[32] = {
    "<unknown>", "SIGHUP",  "SIGINT",    "SIGQUIT", "SIGILL",    "SIGTRAP", "SIGABRT",  "SIGBUS",
    "SIGFPE",    "SIGKILL", "SIGUSR1",   "SIGSEGV", "SIGUSR2",   "SIGPIPE", "SIGALRM",  "SIGTERM",
    "SIGSTKFLT", "SIGCHLD", "SIGCONT",   "SIGSTOP", "SIGTSTP",   "SIGTTIN", "SIGTTOU",  "SIGURG",
    "SIGXCPU",   "SIGXFSZ", "SIGVTALRM", "SIGPROF", "SIGWINCH",  "SIGIO",   "SIGPWR",   "SIGSYS"};

void fatal_signal_report(int sig) {
  common_signal_handler(sig, i_file_name, "while processing function %s file %s",
                        currfunc && currfunc->name ? currfunc->name : "<unknown>", i_file_name);
}

void close_reports_on_signal(int sig) {
  const char* name = sig > 0 && sig < 32 ? kSignalNames[sig] : "<unknown>";
  fflush(nullptr);
  if (print_debug && fdebug) {
    fprintf(fdebug, "\n>>>> Optimizer terminated by signal: %s.\n", name);
    fclose(fdebug);
    fdebug = nullptr;
  }
  if (write_opt_info && finfo) {
    fprintf(finfo, "\n>>>> Optimizer terminated by signal: %s.\n", name);
    fclose(finfo);
    finfo = nullptr;
  }
}

[[noreturn]] void cannot_open(const char* what, const char* name) {
  fprintf(stderr, "\n>> Cannot Open %s, %s : %s, Aborting\n", what, strerror(errno), name);
  exit(1);
}

}  // namespace

const char* next_arg() {
  if (!saved_argv || arg_index + 1 >= saved_argc) return nullptr;
  return saved_argv[++arg_index];
}

void open_debug_file(int fatal, const char* suffix) {
  if (fdebug && !suffix) return;
  std::string name = fn_delext(i_file_name);
  if (suffix) name += std::string(".") + suffix;
  name += ".odb";
  if (fdebug) fprintf(fdebug, ">>>> SWITCHING LOG TO %s\n", name.c_str());
  FILE* f = fopen(name.c_str(), "w");
  if (!f) {
    fprintf(stderr, "\n>> Cannot Open Debug File, %s : %s, Aborting\n", strerror(errno), name.c_str());
    if (fatal) exit(1);
    f = stderr;
  }
  snprintf(bug_file_name, sizeof bug_file_name, "%s", name.c_str());
  fdebug = f;
}

void open_files(int argc, char** argv) {
  cmdline_options = new option_obj(true);
  if (argc > 0 && argv[0]) option_obj::executable_name = argv[0];
  option_obj::next_arg = next_arg;
  saved_argc = argc;
  saved_argv = argv;
  install_common_handlers(fatal_signal_report, close_reports_on_signal);

  // 2. Options and up to three names.
  int names = 0;
  i_file_name[0] = o_file_name[0] = 0;
  for (arg_index = 1; arg_index < argc && argv[arg_index]; ++arg_index) {
    const char* arg = argv[arg_index];
    if (arg[0] == '-') {
      cmdline_options->process_option(arg + 1, nullptr);
    } else if (names == 0) {
      snprintf(i_file_name, sizeof i_file_name, "%s", arg);
      ++names;
    } else if (names == 1) {
      snprintf(o_file_name, sizeof o_file_name, "%s", arg);
      ++names;
    } else if (names == 2) {
      ++names;
    } else {
      fprintf(stderr, "\n>>>> OPTIMIZER ERROR: Unexpected options: %s %s %s\n", i_file_name, o_file_name, arg);
      ++names;
    }
  }

  // 3. The input, before the count of names is judged.
  FILE* in = fopen(i_file_name, "rb");
  if (!in) cannot_open("Input icode File", i_file_name);
  i_file = I_FILE::if_open(in, &opt_client);
  if (!i_file) {
    fprintf(stderr, "\n>> Error when opening input icode file : %s, Aborting\n", i_file_name);
    exit(1);
  }

  // 4. One option object per option set of the file, the command line on top.
  bool ignore_file = cmdline_options->state(option_obj::OPT_IGNORE_FILE_OPTIONS) != 0;
  if (icode_optionlist.empty()) {
    all_option_sets.push_back(new option_obj(true));
  } else {
    for (const OPTION_SET_TEXT& set : icode_optionlist) {
      option_obj* o = new option_obj(true);
      if (!ignore_file)
        for (const std::string& text : set.texts) o->process_option(text.c_str() + (text[0] == '-' ? 1 : 0), nullptr);
      all_option_sets.push_back(o);
    }
  }
  for (option_obj* o : all_option_sets) o->import_options(*cmdline_options);
  file_options = all_option_sets[0];

  // 5.
  if (file_options->state(option_obj::OPT_DUMP_OPTIONS)) {
    file_options->dump(0);
    exit(0);
  }

  // 6. Flags.
  assign_default_global_flags();
  set_global_flags(file_options);

  // 7. Types.
  tp = new (tp_alloc(sizeof(TYPE_PKG))) TYPE_PKG();
  tp->init_type_pkg();
  i_file->if_type_init(tp);

  // 8.
  bool debug = file_options->state(option_obj::OPT_DEBUG) != 0;
  if (debug) {
    quiet_mode = 0;
    if (!file_options->state(option_obj::OPT_INFO) || file_options->getnumarg(option_obj::OPT_INFO, 0) == 0)
      file_options->setopt(option_obj::OPT_INFO, 1L);
    if (size_speed_goal <= 3) fprintf(stderr, "\n\t*** Optimizing code size, not speed ***\n\n");
  }

  // 9. The count of names.
  if (names == 1) {
    snprintf(o_file_name, sizeof o_file_name, "%s.opt", fn_delext(i_file_name).c_str());
  } else if (names == 0) {
    fprintf(stderr, "Usage: %s [-options] filename\n", argc > 0 && argv[0] ? argv[0] : "zopt");
    exit(1);
  } else if (names > 3) {
    fprintf(stderr, "\n>>>> OPTIMIZER ERROR: Garbage on command line\n\n");
    exit(1);
  }

  // 10. The information file.
  if (opt_level > 2 || debug) {
    if (file_options->state(option_obj::OPT_INFO) && file_options->getnumarg(option_obj::OPT_INFO, 0) != 0) {
      std::string name = file_options->state(option_obj::OPT_INFO_FILE)
                             ? std::string(file_options->getstrarg(option_obj::OPT_INFO_FILE, 0))
                             : fn_delext(i_file_name) + ".nfo";
      finfo = fopen(name.c_str(), "w");
      if (!finfo) {
        fprintf(stderr, "\n>> Cannot Open Info File, %s : %s, Aborting\n", strerror(errno), name.c_str());
        exit(1);
      }
      write_opt_info = static_cast<int>(file_options->getnumarg(option_obj::OPT_INFO, 0));
      option_obj::print_banner(finfo);
      fprintf(finfo, "Build Number %s\n", option_obj::tool_version);
    }
  } else {
    file_options->clearopt(option_obj::OPT_INFO);
  }

  // 11. The debug file.
  if (debug) {
    open_debug_file(1, nullptr);
    print_debug = static_cast<int>(file_options->getnumarg(option_obj::OPT_DEBUG, 0));
    if (print_debug == 0) print_debug = 1;
  }

  // 12.
  do_MDF_vectorization = pass_debug("SIMD") || (file_options->state(option_obj::OPT_VECTORIZE) &&
                                                file_options->getnumarg(option_obj::OPT_VECTORIZE, 0) == 50);

  // 14. The output.
  FILE* out = fopen(o_file_name, "wb");
  if (!out) cannot_open("Output icode File", o_file_name);
  o_file = I_FILE::if_create(out, tp, i_file->source_name);
  for (const OPTION_SET_TEXT& set : icode_optionlist) {
    std::vector<char*> texts;
    for (const std::string& t : set.texts) texts.push_back(const_cast<char*>(t.c_str()));
    o_file->if_enter_option_set(set.id, static_cast<uint32_t>(texts.size()), texts.data());
  }

  // 15.
  if (volit_vars) {
    if (fdebug) fprintf(fdebug, "\n>>>> Warning: All non-auto lvalues are considered VOLATILE.\n\n");
    fprintf(stderr, "\n>>>> Warning: All non-auto lvalues are considered VOLATILE.\n\n");
  }

  // 16.
  debug_zalloc = pass_debug("zalloc");
  debug_allochist = pass_debug("allochist");

  // 17.
  emit_cmd_line_text();
  if (print_debug && fdebug) {
    for (size_t i = 0; i < icode_optionlist.size(); ++i) {
      fprintf(fdebug, "Option set %d%s:\n", static_cast<int>(i), i == 0 ? " (file-level options)" : "");
      if (!ignore_file)
        for (const std::string& t : icode_optionlist[i].texts) fprintf(fdebug, "\t%s\n", t.c_str());
      fprintf(fdebug, "\n");
    }
  }
}

void emit_cmd_line_text() {
  if (saved_argc == 0) return;
  std::string text = ";\t";
  for (int i = 0; i < saved_argc && saved_argv[i]; ++i) {
    text += saved_argv[i];
    text += ' ';
  }
  saved_argc = 0;
  snprintf(bug_file_name, sizeof bug_file_name, "%s", text.c_str());
  wrasmr(ASM_COMMENT, text.c_str(), nullptr);
}

void close_files() {
  if (i_file) {
    i_file->if_close(true, false);
    i_file = nullptr;
  }
  if (o_file) {
    o_file->if_close(true, false);
    o_file = nullptr;
  }
  if (print_debug && fdebug) {
    fprintf(fdebug, "\n== END OF DEBUG OUTPUT==\n");
    if (fdebug != stderr) fclose(fdebug);
    fdebug = nullptr;
  }
  if (write_opt_info && finfo) {
    fprintf(finfo, "\n== END OF INFO OUTPUT==\n");
    fclose(finfo);
    finfo = nullptr;
  }
}

void abort_optimizer() {
  static bool aborting = false;
  if (!aborting) {
    aborting = true;
    if (i_file) i_file->if_close(true, false);
    if (o_file) o_file->if_close(true, false);
    i_file = o_file = nullptr;
    if (o_file_name[0]) remove(o_file_name);
  }
  if (print_debug && fdebug) {
    fprintf(fdebug, "\n>>>> Optimizer terminated abnormally.\n");
    if (fdebug != stderr) fclose(fdebug);
    fdebug = nullptr;
  }
  fprintf(stderr, "\n>>>> Optimizer terminated abnormally\n");
  if (currfunc && currfunc->name) fprintf(stderr, ">>>>    in function %s()\n", currfunc->name);
  fprintf(stderr, ">>>>    in file \"%s\"\n", curr_file);
  if (pass_debug("abort")) abort();
  exit(1);
}

void optassert_fail(const char* expr, const char* file, int line) {
  fprintf(stderr, "\n>>>> Assertion failed: %s, file %s, line %d\n", expr, file, line);
  abort_optimizer();
}

void report_allocation_error(const char* name, unsigned size) {
  if (print_debug && fdebug) {
    if (name) fprintf(fdebug, "\n>>>ERROR - %s(%u) IS OUT OF MEMORY", name, size);
    else fprintf(fdebug, "\n>>>ERROR - OUT OF MEMORY");
    fprintf(fdebug, "\n>>>      - OPTIMIZER ABORTED\n");
    fflush(fdebug);
  }
  fprintf(stderr, "\n>>>ERROR - OUT OF MEMORY - OPTIMIZER ABORTED");
  if (currfunc && currfunc->name) fprintf(stderr, " IN %s\n", currfunc->name);
  abort_optimizer();
}

void finish_run() {
  if (tp) {
    --TYPE_PKG::tp_count;
    if (TYPE_PKG::tp_count == 0) delete_type_tree(TYPE_PKG::root_type, true, false);
    tp->~TYPE_PKG();
    tp_free(tp, sizeof(TYPE_PKG));
    tp = nullptr;
  }
  exit(0);
}
