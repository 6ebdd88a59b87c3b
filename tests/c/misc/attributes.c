/* Attributes that do not change the program are accepted and ignored. */
#include <stdio.h>

static int used_once(int x) __attribute__((unused));
static int used_once(int x) { return x + 1; }

__attribute__((noreturn)) void stop(void);

static inline __attribute__((always_inline)) int square(int v) { return v * v; }

int __attribute__((format(printf, 1, 2))) say(const char* f, ...);

int main(void) {
  int unused_var __attribute__((unused)) = 3;
  int d __attribute__((aligned(4))) = square(used_once(4));
  printf("%d\n", d);
  return 0;
}
