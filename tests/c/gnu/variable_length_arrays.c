/* Variable-length arrays: locals of one and two dimensions, parameters,
   typedefs, pointers to them, sizeof taken at the declaration, and a loop
   whose body declares one (the stack does not grow with the loop). */
#include <stdio.h>

static int sum2(int rows, int cols, int m[rows][cols]) {
  int s = 0;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j) s += m[i][j] * (i + 1);
  return s;
}

static void fill(int n, int v[n]) {
  for (int i = 0; i < n; ++i) v[i] = i * i;
}

static int walk(int n, int k) {
  int grid[n][k];
  int (*row)[k] = grid;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < k; ++j) grid[i][j] = i * 10 + j;
  row += 2;
  int* last = &grid[n - 1][k - 1];
  return (*row)[1] + (int)(row - grid) * 1000 + *last * 100000 + (int)(sizeof grid / sizeof grid[0][0]);
}

static int search(int n, int target) {
  for (int round = 0; round < 3; ++round) {
    int v[n];
    fill(n, v);
    for (int i = 0; i < n; ++i) {
      if (v[i] == target) return round * 100 + i;
      if (v[i] > target) break;
    }
    target += 7;
  }
  return -1;
}

int main(void) {
  int n = 5;
  int v[n];
  n = 100;  /* the array keeps the size it was declared with */
  fill(5, v);
  printf("%d %d\n", v[4], (int)(sizeof v / sizeof v[0]));
  typedef double row_t[n / 20];
  row_t r;
  n = 1;
  r[4] = 2.5;
  printf("%d %g\n", (int)(sizeof(row_t) / sizeof(double)), r[4]);
  int m[3][4];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 4; ++j) m[i][j] = i + j;
  printf("%d %d\n", sum2(3, 4, m), walk(4, 3));
  long total = 0;
  for (int i = 0; i < 3000; ++i) {
    int big[200 + i % 7];
    big[199] = i;
    total += big[199] + (long)(sizeof big / sizeof big[0]);
    if (i == 2998) continue;
  }
  printf("%ld\n", total);
  printf("%d %d\n", search(10, 16), search(10, 17));
  int count = 0;
again:
  {
    char text[count + 2];
    text[count] = 'a' + count;
    text[count + 1] = 0;
    if (++count < 2000) goto again;
    printf("%s %d\n", text + count - 1, (int)sizeof text);
  }
  return 0;
}
