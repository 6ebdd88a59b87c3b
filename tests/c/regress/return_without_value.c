/* GNU C accepts "return;" in a function that returns a value (with a
   warning), as long as the caller does not use the value. */
#include <stdio.h>

static int count;

static int note(int x) {
  if (x < 0) return;
  count += x;
  return count;
}

int main(void) {
  note(-1);
  note(3);
  int r = note(4);
  printf("%d %d\n", r, count);
  return 0;
}
