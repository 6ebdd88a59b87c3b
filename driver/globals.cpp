#include "driver/globals.h"

#include "ir/symbol.h"

I_FILE* i_file = nullptr;
I_FILE* o_file = nullptr;
char i_file_name[500];
char o_file_name[512];
char bug_file_name[2048];
FILE* fdebug = nullptr;
FILE* finfo = nullptr;
int print_debug = 0;
int write_opt_info = 0;
int user_error_count = 0;
FUNINFO* firstExternFuninfo = nullptr;
SYMTAB* currfunc = nullptr;
FUNINFO* currfuninfo = nullptr;
char curr_file[512];
SYMTAB* global_symbols = nullptr;
int no_outside_callers = 0;
int no_outside_writers = 0;
SYMTAB* csu_returning_function_parameter = nullptr;
int pred_temp_count = 0;
bool function_prepass = false;
int lex = 0;
int icode_cpu_id = 0;

bool do_IP_MVP = false;
bool do_beta_MVP = false;
bool do_int_MVP = false;
bool GO_FOR_INSTRUMENTATION = false;

const char* const OPTIMIZER_BANNER = "Rillcore 8000 C/C++ Optimizer";

FILEINFO fileinfo;
