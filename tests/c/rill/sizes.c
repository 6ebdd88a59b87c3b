/* rill-only: what a program sees of Rill's sizes at run time: 16-bit
   characters, 32-bit long, binary32 double, layouts in units. */
#include <limits.h>
#include <stdio.h>

struct mixed { char c; int i; short s; };

int main(void) {
  printf("%d %d %d %d %d %d %d\n", (int)sizeof(char), (int)sizeof(short), (int)sizeof(int),
         (int)sizeof(long), (int)sizeof(void*), (int)sizeof(double), (int)sizeof(struct mixed));
  printf("%d %d %d\n", CHAR_BIT, UCHAR_MAX, SCHAR_MIN);
  unsigned char uc = 255;
  uc++;
  printf("%d\n", uc);
  char c = 'A' + 200;
  printf("%d %d\n", c, '\xff');
  unsigned long ul = 4294967295UL;
  ul++;
  printf("%lu\n", ul);
  double d = 16777217.0;
  printf("%.1f\n", d);
  struct mixed m;
  printf("%d %d\n", (int)((char*)&m.i - (char*)&m), (int)((char*)&m.s - (char*)&m));
  int arr[sizeof(int) * 2];
  printf("%d %d\n", (int)(sizeof arr / sizeof arr[0]), (int)((char*)(arr + 1) - (char*)arr));
  unsigned short us = 65535;
  printf("%d %d\n", us + 1, (short)us);
  printf("%d\n", (int)sizeof("hi"));
  return 0;
}
