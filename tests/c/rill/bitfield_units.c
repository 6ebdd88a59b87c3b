/* rill-only: bit-fields and the units that hold them, seen through a union
   (bit b of a structure is bit b % 16 of unit b / 16). */
#include <stdio.h>

struct bits { unsigned a : 4; unsigned b : 8; unsigned c : 12; unsigned d : 8; };
union view { struct bits f; unsigned short u[2]; };

static union view global = {{0xa, 0xbc, 0xdef, 0x12}};

int main(void) {
  union view v;
  v.u[0] = 0;
  v.u[1] = 0;
  v.f.a = 0x3;
  v.f.b = 0x45;
  v.f.c = 0x678;
  v.f.d = 0x9a;
  printf("%04x %04x\n", v.u[0], v.u[1]);
  printf("%04x %04x %x %x\n", global.u[0], global.u[1], global.f.c, global.f.d);
  return 0;
}
