/* stdio.h for Rill: the output functions that icode-run provides. The
   streams are three FILE objects of a table the library owns; only stdout
   and stderr take output, and nothing reads stdin. */
#ifndef _RILL_STDIO_H
#define _RILL_STDIO_H

#include <stdarg.h>

typedef __SIZE_TYPE__ size_t;

#ifndef NULL
#define NULL ((void*)0)
#endif
#define EOF (-1)
#define BUFSIZ 256

typedef struct __rill_file { int __stream; } FILE;
extern FILE _ftable[3];
#define stdin (&_ftable[0])
#define stdout (&_ftable[1])
#define stderr (&_ftable[2])

int printf(const char* format, ...);
int fprintf(FILE* stream, const char* format, ...);
int sprintf(char* s, const char* format, ...);
int snprintf(char* s, size_t n, const char* format, ...);
int vprintf(const char* format, va_list ap);
int vfprintf(FILE* stream, const char* format, va_list ap);
int vsprintf(char* s, const char* format, va_list ap);
int vsnprintf(char* s, size_t n, const char* format, va_list ap);
int putchar(int c);
int puts(const char* s);
int fputc(int c, FILE* stream);
int putc(int c, FILE* stream);
int fputs(const char* s, FILE* stream);
size_t fwrite(const void* p, size_t size, size_t n, FILE* stream);
int fflush(FILE* stream);

#endif
