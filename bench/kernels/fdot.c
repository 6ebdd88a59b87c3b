/* Dot products of binary32 vectors, as a filter bank computes them. */
#include <stdio.h>

#define N 512

static volatile unsigned seed_source = 2718u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static float x[N], y[N];

static float dot(const float* a, const float* b, int n) {
  float s = 0.0f;
  int i;
  for (i = 0; i < n; i++) s += a[i] * b[i];
  return s;
}

int main(void) {
  float total = 0.0f;
  int i, round;
  rng = seed_source;
  for (i = 0; i < N; i++) {
    x[i] = (float)((int)(next_rand() % 2001u) - 1000) / 256.0f;
    y[i] = (float)((int)(next_rand() % 2001u) - 1000) / 512.0f;
  }
  for (round = 0; round < 48; round++) {
    float d = dot(x, y, N - round * 8);
    total += d;
    x[round] = d / 1024.0f;
  }
  printf("fdot %.6e\n", (double)total);
  return 0;
}
