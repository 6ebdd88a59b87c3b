// State of the run that every part of the optimizer may read. The system is
// single-threaded; these are plain globals.
#pragma once
#include <cstdio>

struct SYMTAB;
struct FUNINFO;
struct I_FILE;
class IF_CLIENT;
struct FUNLIST;

extern I_FILE* i_file;
extern I_FILE* o_file;
extern char i_file_name[500];
extern char o_file_name[512];
extern char bug_file_name[2048];
extern FILE* fdebug;
extern FILE* finfo;
extern int print_debug;
extern int write_opt_info;
extern int user_error_count;
extern FUNINFO* firstExternFuninfo;
extern SYMTAB* currfunc;
extern FUNINFO* currfuninfo;
extern char curr_file[512];
extern SYMTAB* global_symbols;
extern int no_outside_callers;
extern int no_outside_writers;
extern SYMTAB* csu_returning_function_parameter;
extern int pred_temp_count;
extern bool function_prepass;
extern int lex;  // current lexical level: 0 outside functions
extern int icode_cpu_id;

extern bool do_IP_MVP;
extern bool do_beta_MVP;
extern bool do_int_MVP;
extern bool GO_FOR_INSTRUMENTATION;

// Banner of the tool, also used by the debug and information files.
extern const char* const OPTIMIZER_BANNER;

// Ends the run after an internal failure: closes files, removes the output,
// exit status 1.
[[noreturn]] void abort_optimizer();
[[noreturn]] void optassert_fail(const char* expr, const char* file, int line);
#define optassert(e) ((e) ? (void)0 : optassert_fail(#e, __FILE__, __LINE__))
[[noreturn]] void report_allocation_error(const char* name, unsigned size);
