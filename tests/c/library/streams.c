/* The streams of stdio.h: stdout and stderr through fprintf, fputs,
   fputc, putc, fwrite, vfprintf and fflush. Only stdout is compared. */
#include <stdarg.h>
#include <stdio.h>

static void log_to(FILE* f, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vfprintf(f, fmt, ap);
  va_end(ap);
}

int main(void) {
  FILE* out = stdout;
  fprintf(stdout, "%d %s\n", 42, "to stdout");
  fprintf(stderr, "to stderr %d\n", 1);
  fputs("fputs", out);
  fputc(' ', out);
  putc('p', stdout);
  fputc('\n', stdout);
  fwrite("abcdef", 1, 3, stdout);
  fwrite("\n", sizeof(char), 1, stdout);
  log_to(stdout, "%s=%x\n", "hex", 255);
  log_to(stderr, "again to %s\n", "stderr");
  fflush(stdout);
  fflush(NULL);
  printf("%d %d\n", stdout != stderr, out == stdout);
  fputs("done\n", stdout);
  return 0;
}
