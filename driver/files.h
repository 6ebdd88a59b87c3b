// Opening and closing the run's files, and the failure exits around them.
#pragma once

void open_files(int argc, char** argv);
void close_files();
void open_debug_file(int fatal, const char* suffix);
// Writes the command line as a comment record into the output, once.
void emit_cmd_line_text();
// Deletes the type package and ends the run with status 0.
[[noreturn]] void finish_run();
