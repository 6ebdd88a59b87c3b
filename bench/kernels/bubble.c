/* Bubble sort of 16-bit values, with the early exit when a sweep swaps nothing. */
#include <stdio.h>

#define N 300

static volatile unsigned seed_source = 99u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static short v[N];

static void bubble(short* a, int n) {
  int i, j, swapped;
  for (i = 0; i < n - 1; i++) {
    swapped = 0;
    for (j = 0; j < n - 1 - i; j++)
      if (a[j] > a[j + 1]) {
        short t = a[j];
        a[j] = a[j + 1];
        a[j + 1] = t;
        swapped = 1;
      }
    if (!swapped) break;
  }
}

int main(void) {
  unsigned sum = 0;
  int i;
  rng = seed_source;
  for (i = 0; i < N; i++) v[i] = (short)((int)next_rand() - 16384);
  bubble(v, N);
  for (i = 0; i < N; i++) {
    if (i > 0 && v[i - 1] > v[i]) sum += 1000000u;
    sum = sum * 7u + (unsigned)(v[i] & 0xffff);
  }
  printf("bubble %u\n", sum);
  return 0;
}
