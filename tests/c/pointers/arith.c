/* Pointer arithmetic, differences, arrays of arrays, pointers to pointers. */
#include <stdio.h>

int sum(const int* p, int n) {
  int s = 0;
  while (n-- > 0) s += *p++;
  return s;
}

int main(void) {
  int a[6] = {1, 2, 3, 4, 5, 6};
  int* p = a + 2;
  int* q = &a[5];
  printf("%d %d %d %d\n", *p, p[1], *(q - 1), (int)(q - p));
  printf("%d\n", sum(a, 6));
  p += 2;
  --p;
  printf("%d %d\n", *p, p > a);
  int m[3][4];
  int i, j;
  for (i = 0; i < 3; i++)
    for (j = 0; j < 4; j++) m[i][j] = i * 10 + j;
  int (*row)[4] = m + 1;
  printf("%d %d %d\n", (*row)[2], row[1][3], (int)(&m[2][1] - &m[0][0]));
  int** pp = &p;
  **pp = 40;
  printf("%d\n", a[3]);
  short sh[4] = {7, 8, 9, 10};
  short* sp = sh;
  sp++;
  printf("%d %d\n", *sp, sp[2]);
  char str[] = "pointer";
  char* c = str;
  while (*c) c++;
  printf("%d\n", (int)(c - str));
  void* v = a;
  printf("%d\n", *(int*)v);
  printf("%d\n", p == &a[3] && q != 0 && !(p == 0));
  return 0;
}
