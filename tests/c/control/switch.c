/* switch: fall through, default anywhere, nested switch, no default, break. */
#include <stdio.h>

static const char* name(int v) {
  switch (v) {
    case 0: return "zero";
    case 1:
    case 2: return "small";
    default: return "other";
    case 10: return "ten";
  }
}

int main(void) {
  int i, total = 0;
  for (i = -1; i < 12; i++) printf("%d:%s ", i, name(i));
  printf("\n");
  for (i = 0; i < 6; i++) {
    switch (i) {
      case 1: total += 1;
      case 2: total += 10; break;
      case 3:
        switch (i * 2) {
          case 6: total += 100; break;
          default: total += 1000;
        }
        break;
      case 5: total += 10000;
    }
  }
  printf("%d\n", total);
  char c = 'b';
  switch (c) {
    case 'a': printf("a\n"); break;
    case 'b': printf("b\n"); break;
  }
  unsigned u = 4000000000u;
  switch (u) {
    case 4000000000u: printf("big\n"); break;
    default: printf("no\n");
  }
  switch (3) {
    default:
      printf("only default\n");
  }
  return 0;
}
