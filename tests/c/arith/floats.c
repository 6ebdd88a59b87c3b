/* Binary32 arithmetic and conversions; every value printed is exact in
   binary32, so the output is the same wherever float is binary32. */
#include <stdio.h>

int main(void) {
  float a = 1.5f, b = -2.25f, c;
  int i;
  c = a * b + 0.5f;
  printf("%g %g %g\n", a + b, a * b, c);
  printf("%g\n", a / 4);
  i = (int)(b * 3);                 /* toward zero */
  printf("%d %d\n", i, (int)-0.75f);
  printf("%g %g\n", (float)7 / 2, (float)(7 / 2));
  unsigned u = 3000000000u;
  printf("%g\n", (float)u);
  printf("%d %d %d\n", a > b, a == 1.5f, b <= -2.25f);
  c = 0;
  for (i = 0; i < 10; i++) c += 0.25f;
  printf("%g\n", c);
  c = 10;
  c /= 4;
  c -= 0.5f;
  printf("%g %d\n", c, c ? 1 : 0);
  float h = 0x1.8p3f;              /* hexadecimal constant: 12 */
  printf("%g\n", h);
  return 0;
}
