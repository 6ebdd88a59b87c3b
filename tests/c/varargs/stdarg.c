/* Variadic functions with stdarg.h, and passing a va_list on. */
#include <stdarg.h>
#include <stdio.h>

static int total(int count, ...) {
  va_list ap;
  int s = 0;
  va_start(ap, count);
  while (count-- > 0) s += va_arg(ap, int);
  va_end(ap);
  return s;
}

static void say(const char* fmt, ...) {
  va_list ap, again;
  va_start(ap, fmt);
  va_copy(again, ap);
  vprintf(fmt, ap);
  va_end(ap);
  printf("[%d]\n", va_arg(again, int));
  va_end(again);
}

static float mean(int n, ...) {
  va_list ap;
  float s = 0;
  int i;
  va_start(ap, n);
  for (i = 0; i < n; i++) s += (float)va_arg(ap, double);
  va_end(ap);
  return s / n;
}

int main(void) {
  printf("%d %d\n", total(3, 1, 2, 3), total(0));
  say("%d-%s ", 42, "x");
  printf("%g\n", mean(4, 1.0f, 2.0f, 3.5f, 5.5f));
  return 0;
}
