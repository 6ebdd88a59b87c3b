/* rill-only: aligned(N) and _Alignas place members and objects at
   multiples of N units, globals, locals and typedefs alike. */
#include <stdio.h>

struct S { int __attribute__((aligned(8))) a; };
typedef int aint __attribute__((aligned(8)));
struct T { char c; aint x; };
struct { char c; struct S m; } v;
char pad1;
int w __attribute__((aligned(16)));
char pad2;
_Alignas(4) char z;
_Alignas(struct S) char z2;

static int misaligned(void* p, int n) { return ((int)p % n) != 0; }

static int in_a_frame(char c) {
  char c1 = c;
  _Alignas(8) int loc = c1;
  struct S ls = { loc };
  return misaligned(&loc, 8) + misaligned(&ls, 8) + misaligned(&c1, 1);
}

int main(void) {
  printf("%d %d %d %d\n", (int)sizeof(struct S), (int)_Alignof(struct S), (int)sizeof(struct T),
         (int)_Alignof(aint));
  printf("%d %d %d %d\n", misaligned(&v.m, 8), misaligned(&w, 16), misaligned(&z, 4), misaligned(&z2, 8));
  printf("%d %d\n", in_a_frame(1), in_a_frame(2));
  return ((int)&v.m & 7) ? 1 : 0;
}
