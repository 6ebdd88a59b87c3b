/* Loops, break and continue, goto, nested control flow. */
#include <stdio.h>

int main(void) {
  int i, j, n = 0;
  for (i = 0; i < 10; i++) {
    if (i == 2) continue;
    if (i == 7) break;
    n += i;
  }
  printf("for %d %d\n", i, n);
  i = 0;
  while (i < 100) {
    i += 7;
    if (i % 5 == 0) break;
  }
  printf("while %d\n", i);
  i = 10;
  do {
    i -= 3;
  } while (i > 0);
  printf("do %d\n", i);
  n = 0;
  for (i = 0; i < 4; i++)
    for (j = 0; j < 4; j++) {
      if (j > i) break;
      n += i * j;
    }
  printf("nested %d\n", n);
  i = 0;
again:
  i++;
  if (i < 5) goto again;
  printf("goto %d\n", i);
  for (;;) {
    if (++i > 8) break;
  }
  printf("forever %d\n", i);
  n = 0;
  for (int k = 0, m = 10; k < m; k++, m--) n += k * m;
  printf("decl %d\n", n);
  i = 3;
  while (i--) printf("%d", i);
  printf("\n");
  if (i < 0 && n > 0 || i > 100) printf("cond yes\n"); else printf("cond no\n");
  return 0;
}
