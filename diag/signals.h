// The last-resort paths: fatal signals end here with a banner and status 2.
#pragma once

typedef void (*signal_handler_t)(int);

// Installs `handler` for the fatal signals and keeps `callback`, which
// common_signal_handler calls before the process exits.
void install_common_handlers(signal_handler_t handler, signal_handler_t callback);

// The common body of a fatal-signal handler. `tool` names the program;
// `format` and its arguments add a line of detail. Never returns.
[[noreturn]] void common_signal_handler(int signal, const char* tool, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The banner that asks the user to report the defect.
const char* support_message_text();

// Appends formatted text to a fixed buffer, always terminated.
void sigstrnappend(char* buffer, unsigned size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

void try_gen_corefile(int signal);

// Handler of a debugging build: re-arms itself and does nothing else.
void debug_signal_handler(int signal);
