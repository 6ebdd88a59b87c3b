/* Lvalue pairs written through one and read through the other, around
   computations the CSE passes would like to keep: where the two may share
   memory the second computation must see the store. The same pairs are
   answered in tests/unit/test_alias_pairs.cpp. */
#include <stdio.h>

int g = 3;
int *gp;
struct S { int a; int b; } s = {4, 5};
union U { int i; short h[2]; } u;
struct B { unsigned x : 3; unsigned y : 5; } bf;

void bump(void) { g = g + 1; }
void poke(void) { *gp = 7; }

/* *p and a global, through a parameter that points at it. */
int param_and_global(int *p) {
  int t = g * g + 1;
  *p = 4;
  return t * 100 + g * g + 1;
}

/* A call changes a global. */
int call_and_global(void) {
  int t = g * g + 1;
  bump();
  return t * 100 + g * g + 1;
}

/* A local whose address escapes to a global pointer is changed by a call. */
int escaped_local(void) {
  int x = 5;
  int t;
  gp = &x;
  t = x * x + 1;
  poke();
  return t * 100 + x * x + 1;
}

/* Two members of a union overlap. */
int union_members(void) {
  int t;
  u.i = 0x10001;
  t = u.h[0] * 5 + u.h[1];
  u.i = 0x20003;
  return t * 100 + u.h[0] * 5 + u.h[1];
}

/* Element i and element 2 of one array. */
int symbolic_index(int i) {
  int a[4] = {1, 2, 3, 4};
  int t = a[2] * a[2] + 1;
  a[i] = 10;
  return t * 1000 + a[2] * a[2] + 1;
}

/* Elements i and i + 1 never meet; element i and i do. */
int neighbours(int i) {
  int a[5] = {1, 2, 3, 4, 5};
  int t = a[i + 1] * a[i + 1] + 1;
  a[i] = 9;
  t = t * 100 + a[i + 1] * a[i + 1] + 1;
  a[i + 1] = 8;
  return t * 100 + a[i + 1] * a[i + 1] + 1;
}

/* A pointer that points into one of two arrays. */
int pointsto_pair(int k) {
  int a[4] = {1, 2, 3, 4};
  int b[4] = {5, 6, 7, 8};
  int *p = k ? &a[1] : &b[1];
  int t = a[1] * a[1] + 1;
  *p = 9;
  return t * 1000 + a[1] * a[1] + 1;
}

/* A structure member through a pointer and by name. */
int member_through_pointer(struct S *ps) {
  int t = s.a * s.a + s.b;
  ps->a = 8;
  return t * 1000 + s.a * s.a + s.b;
}

/* Bit-fields of one unit: apart in their bits, together in the whole. */
int bitfields(void) {
  struct B copy;
  int t;
  bf.x = 1;
  bf.y = 3;
  t = bf.y * bf.y + 1;
  bf.x = 6;
  t = t * 100 + bf.y * bf.y + 1;
  copy.x = 2;
  copy.y = 9;
  bf = copy;
  return t * 100 + bf.y * bf.y + 1;
}

/* restrict parameters that keep their promise. */
int restricted(int *restrict p, int *restrict q) {
  int t = *q * *q + 1;
  *p = 3;
  return t * 100 + *q * *q + 1;
}

/* restrict pointers of a loop's body: a promise per iteration only. */
int restrict_in_loop(int **v, int n) {
  int sum = 0;
  int i;
  for (i = 0; i < n; i++) {
    int *restrict w = v[i];
    int *restrict r = v[i + 1];
    sum = sum * 3 + *r * *r;
    *w = sum & 7;
  }
  return sum;
}

/* A pointer stepped through an array and the array by name. */
int stepping(void) {
  int a[4] = {1, 2, 3, 4};
  int *p = a;
  int t = 0;
  int i;
  for (i = 0; i < 4; i++) {
    t = t * 10 + a[3] * 2;
    *p = *p + 1;
    p = p + 1;
  }
  return t;
}

int main(void) {
  int x0 = 1, x1 = 2, x2 = 3, x3 = 4;
  int *v[4];
  int r1 = 0, r2 = 0;
  int k;
  struct S *ps = &s;
  v[0] = &x0;
  v[1] = &x1;
  v[2] = &x2;
  v[3] = &x3;
  printf("%d\n", param_and_global(&g));
  g = 3;
  printf("%d\n", call_and_global());
  printf("%d\n", escaped_local());
  printf("%d\n", union_members());
  printf("%d %d\n", symbolic_index(2), symbolic_index(0));
  printf("%d %d\n", neighbours(0), neighbours(2));
  printf("%d %d\n", pointsto_pair(1), pointsto_pair(0));
  printf("%d\n", member_through_pointer(ps));
  printf("%d\n", bitfields());
  k = restricted(&r1, &r2);
  printf("%d %d %d\n", k, r1, r2);
  k = restrict_in_loop(v, 3);
  printf("%d %d %d %d %d\n", k, x0, x1, x2, x3);
  printf("%d\n", stepping());
  return 0;
}
