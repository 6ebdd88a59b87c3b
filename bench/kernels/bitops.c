/* Bit manipulation: population count three ways, bit reversal, parity and
   leading zeros, on 32-bit words. */
#include <stdio.h>

#define N 600

static volatile unsigned seed_source = 65521u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static unsigned pop_loop(unsigned x) {
  unsigned n = 0;
  while (x) {
    n += x & 1u;
    x >>= 1;
  }
  return n;
}

static unsigned pop_kernighan(unsigned x) {
  unsigned n = 0;
  for (; x; n++) x &= x - 1u;
  return n;
}

static unsigned pop_swar(unsigned x) {
  x = x - ((x >> 1) & 0x55555555u);
  x = (x & 0x33333333u) + ((x >> 2) & 0x33333333u);
  x = (x + (x >> 4)) & 0x0f0f0f0fu;
  return (x * 0x01010101u) >> 24;
}

static unsigned reverse(unsigned x) {
  unsigned r = 0;
  int i;
  for (i = 0; i < 32; i++) {
    r = (r << 1) | (x & 1u);
    x >>= 1;
  }
  return r;
}

static unsigned leading_zeros(unsigned x) {
  unsigned n = 0;
  if (!x) return 32;
  while (!(x & 0x80000000u)) {
    x <<= 1;
    n++;
  }
  return n;
}

int main(void) {
  unsigned sum = 0;
  int i;
  rng = seed_source;
  for (i = 0; i < N; i++) {
    unsigned x = (next_rand() << 17) ^ (next_rand() << 2) ^ next_rand();
    unsigned a = pop_loop(x), b = pop_kernighan(x), c = pop_swar(x);
    if (a != b || b != c) sum += 1000000u;
    sum = sum * 3u + a + (reverse(x) >> 7) + leading_zeros(x >> (i & 15)) + (pop_swar(x ^ (x >> 1)) & 1u);
  }
  printf("bitops %u\n", sum);
  return 0;
}
