/* Recursive quicksort of 32-bit values: calls, recursion and pointer walks. */
#include <stdio.h>

#define N 1500

static volatile unsigned seed_source = 8086u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static int v[N];

static void swap(int* a, int* b) {
  int t = *a;
  *a = *b;
  *b = t;
}

static int partition(int* a, int lo, int hi) {
  int pivot = a[(lo + hi) / 2];
  int i = lo - 1, j = hi + 1;
  for (;;) {
    do i++; while (a[i] < pivot);
    do j--; while (a[j] > pivot);
    if (i >= j) return j;
    swap(&a[i], &a[j]);
  }
}

static void quicksort(int* a, int lo, int hi) {
  if (lo < hi) {
    int p = partition(a, lo, hi);
    quicksort(a, lo, p);
    quicksort(a, p + 1, hi);
  }
}

int main(void) {
  unsigned sum = 0;
  int i;
  rng = seed_source;
  for (i = 0; i < N; i++) v[i] = (int)(next_rand() << 8) - (int)next_rand() * 300;
  quicksort(v, 0, N - 1);
  for (i = 0; i < N; i++) {
    if (i > 0 && v[i - 1] > v[i]) sum += 1000000u;
    sum = sum * 13u + (unsigned)v[i];
  }
  printf("quicksort %u\n", sum);
  return 0;
}
