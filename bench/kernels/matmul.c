/* Integer matrix product, 16x16, repeated with the product fed back. */
#include <stdio.h>

#define N 16

static volatile unsigned seed_source = 4242u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static int a[N][N], b[N][N], c[N][N];

static void matmul(int x[N][N], int y[N][N], int z[N][N]) {
  int i, j, k;
  for (i = 0; i < N; i++)
    for (j = 0; j < N; j++) {
      int s = 0;
      for (k = 0; k < N; k++) s += x[i][k] * y[k][j];
      z[i][j] = s;
    }
}

int main(void) {
  unsigned sum = 0;
  int i, j, round;
  rng = seed_source;
  for (i = 0; i < N; i++)
    for (j = 0; j < N; j++) {
      a[i][j] = (int)(next_rand() % 201u) - 100;
      b[i][j] = (int)(next_rand() % 201u) - 100;
    }
  for (round = 0; round < 8; round++) {
    matmul(a, b, c);
    for (i = 0; i < N; i++)
      for (j = 0; j < N; j++) {
        sum = sum * 17u + (unsigned)c[i][j];
        a[i][j] = c[i][j] % 97;
      }
  }
  printf("matmul %u\n", sum);
  return 0;
}
