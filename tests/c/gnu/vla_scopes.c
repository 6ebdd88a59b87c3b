/* Variable-length arrays leaving their scope every way a block can be left
   (end, break, continue, goto out of nested blocks, a switch), pointers to
   them stepped both ways, and arrays of structures. Each loop runs often
   enough that a stack that kept every array would overflow. */
#include <stdio.h>

struct cell { short tag; int value; };

static int rows_of(int n, int k, int (*m)[k]);

static long scopes(int n) {
  long acc = 0;
  int i = 0;
  while (i < 4000) {
    ++i;
    int a[n + i % 3];
    a[0] = i;
    if (i % 2) continue;
    {
      int b[n];
      b[n - 1] = a[0];
      switch (i % 4) {
        case 0: {
          int c[n * 2];
          c[2 * n - 1] = b[n - 1];
          acc += c[2 * n - 1];
          break;
        }
        default:
          acc -= 1;
      }
      if (i > 3990) break;
    }
  }
  for (int j = 0; j < 4000; ++j) {
    int outer[n];
    outer[0] = j;
    for (;;) {
      int inner[n + 1];
      inner[n] = outer[0];
      if (inner[n] % 2) goto next;
      acc += inner[n];
      break;
    }
  next:;
  }
  return acc;
}

static int rows_of(int n, int k, int (*m)[k]) {
  int (*p)[k] = m;
  int (*end)[k] = m + n;
  int s = 0;
  while (p < end) s += (*p++)[k - 1];
  p--;
  --p;
  return s * 100 + (int)(end - p) * 10 + (int)(p - m);
}

int main(void) {
  printf("%ld\n", scopes(50));
  int n = 4, k = 3;
  int m[n][k];
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < k; ++j) m[i][j] = i * k + j;
  printf("%d\n", rows_of(n, k, m));
  struct cell cells[n + 1];
  for (int i = 0; i <= n; ++i) cells[i] = (struct cell){ (short)i, i * i };
  printf("%d %d %d\n", cells[n].tag, cells[n].value, (int)(sizeof cells / sizeof cells[0]));
  int total = ({ int t[k]; t[0] = 5; t[k - 1] = 6; t[0] + t[k - 1]; });
  printf("%d %d\n", total, (int)(sizeof(int[n * k]) / sizeof(int)));
  return 0;
}
