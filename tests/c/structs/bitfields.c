/* Bit-field values: truncation on store, signed and unsigned fields,
   compound assignment, initialisation. */
#include <stdio.h>

struct flags {
  unsigned a : 3;
  unsigned b : 5;
  int c : 6;
  unsigned d : 1;
};

struct flags g = {5, 17, -3, 1};

int main(void) {
  struct flags f = {1, 2, 3, 0};
  printf("%u %u %d %u\n", g.a, g.b, g.c, g.d);
  f.a = 9;          /* keeps the low 3 bits */
  f.b += 40;
  f.c = -32;
  f.d = 3;
  printf("%u %u %d %u\n", f.a, f.b, f.c, f.d);
  f.c++;
  f.a--;
  printf("%d %u\n", f.c, f.a);
  struct flags* p = &f;
  p->b = p->a * 4;
  printf("%u\n", p->b);
  return 0;
}
