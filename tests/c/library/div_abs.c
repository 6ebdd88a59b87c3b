/* abs, labs and the structures of div and ldiv, with their signs. */
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>

int main(void) {
  int n[] = { 7, -7, 7, -7, 0, 100 };
  int d[] = { 2, 2, -2, -2, 5, 7 };
  for (int i = 0; i < 6; ++i) {
    div_t r = div(n[i], d[i]);
    ldiv_t l = ldiv((long)n[i] * 1000, d[i]);
    printf("%d/%d: %d %d | %ld %ld\n", n[i], d[i], r.quot, r.rem, l.quot, l.rem);
  }
  printf("%d %d %ld %d\n", abs(-5), abs(5), labs(-123456L), abs(INT_MIN + 1));
  div_t q = div(INT_MAX, 10);
  printf("%d %d %d\n", q.quot, q.rem, div(-1, 3).rem);
  return 0;
}
