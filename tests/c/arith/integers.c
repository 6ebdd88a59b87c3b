/* Integer arithmetic with C's conversions: promotions, unsigned wrap,
   division toward zero, shifts, compound assignment in a wider type. */
#include <stdio.h>

int main(void) {
  int a = 17, b = -5;
  unsigned u = 0;
  short s = 30000;
  unsigned short us = 65535;
  printf("%d %d %d %d\n", a / b, a % b, -a / 4, -a % 4);
  printf("%u %u\n", u - 1, (u - 1) / 3);
  printf("%d\n", s + s);            /* promoted to int: no wrap */
  s += s;                           /* computed in int, stored in short */
  printf("%d\n", s);
  us += 2;
  printf("%u\n", us);
  printf("%d %d\n", -1 >> 1, (int)(0x80000000u >> 31));
  printf("%d %u\n", 1 << 30, 3u << 31);
  printf("%d\n", (unsigned)-1 > 0);  /* unsigned comparison */
  printf("%d\n", -1 < 0u ? 1 : 0);   /* -1 becomes UINT_MAX */
  int x = 7;
  x *= 3; x -= 1; x /= 4; x %= 3; x <<= 4; x >>= 2; x |= 1; x &= 13; x ^= 6;
  printf("%d\n", x);
  printf("%d %d %d\n", ~5, !5, !0);
  printf("%d\n", (a > b) + (a < b) * 2 + (a == 17) * 4 + (b != -5) * 8);
  unsigned m = 0xdeadbeef;
  printf("%x %x %x\n", m & 0xffff, m | 0xf, m ^ 0xffffffffu);
  int i = 5, j = 0;
  j = i++ * 10;
  j += ++i;
  printf("%d %d\n", i, j);
  return 0;
}
