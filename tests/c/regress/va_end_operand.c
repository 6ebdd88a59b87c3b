/* va_end evaluates its operand: va_end(*p++) steps p even though there is
   nothing to release. The other va_ macros name their va_list once. */
#include <stdarg.h>
#include <stdio.h>

static int f(int n, ...) {
  va_list a[2], *p = a;
  va_start(a[0], n);
  va_end(*p++);
  return p == a + 1;
}

static int sum(int n, ...) {
  va_list ap[3];
  int i = 0, s = 0;
  va_start(ap[i++], n);
  while (n-- > 0) s += va_arg(ap[0], int);
  va_copy(ap[i++], ap[0]);
  va_end(ap[--i]);
  va_end(ap[--i]);
  return s * 10 + i;
}

int main(void) {
  printf("%d %d\n", f(1, 2), sum(3, 4, 5, 6));
  return f(1, 2) ? 0 : 1;
}
