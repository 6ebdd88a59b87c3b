/* Calls that never return: exit and abort in the middle of a function, at
   its end, one after another; locals assigned only from narrower values
   (variable shortening). */
#include <stdio.h>
#include <stdlib.h>

static short table[8] = {3, -4, 5, -6, 7, -8, 9, -10};

static int check(int v) {
  if (v > 1000) {
    printf("too big\n");
    exit(3);
  }
  if (v < -1000) abort();
  return v * 2;
}

static void fail(void) { exit(4); }

static int last_is_exit(int v) {
  int w = v + 1;
  if (w == 77) exit(5);
  printf("w %d\n", w);
  exit(0);
}

int main(void) {
  int i, narrow = 0, sum = 0;
  unsigned u = 0;
  for (i = 0; i < 8; i++) {
    narrow = table[i];
    u = (unsigned short)table[i];
    sum += check(narrow) + (int)(u & 7);
  }
  printf("%d\n", sum);
  if (sum == 12345) {
    fail();
    abort();
  }
  last_is_exit(sum);
  return 0;
}
