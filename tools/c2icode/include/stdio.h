/* stdio.h for Rill: the output functions that icode-run provides. */
#ifndef _RILL_STDIO_H
#define _RILL_STDIO_H

#include <stdarg.h>

typedef __SIZE_TYPE__ size_t;

#ifndef NULL
#define NULL ((void*)0)
#endif
#define EOF (-1)

int printf(const char* format, ...);
int sprintf(char* s, const char* format, ...);
int snprintf(char* s, size_t n, const char* format, ...);
int vprintf(const char* format, va_list ap);
int vsprintf(char* s, const char* format, va_list ap);
int vsnprintf(char* s, size_t n, const char* format, va_list ap);
int putchar(int c);
int puts(const char* s);

#endif
