/* GNU C: an object with static storage may initialise its structure's
   flexible array member, and is then as large as its initialiser; sizeof
   keeps the structure's size. */
#include <stdio.h>

struct F { int i; int j[]; };
struct F x = { 1, { 2, 3 } };
struct F none = { 7 };
const struct F k = { 4, { 5, 6, 7 } };
struct F sparse = { .j = { [3] = 9 } };

struct P { int n; struct { short a, b; } pt[]; };
struct P path = { 2, { { 1, 2 }, { 3, 4 } } };

struct G { int n; int g[][2]; };
struct G grid = { 2, { { 1, 2 }, { 3, 4 } } };

static int sum(const struct F* f, int n) {
  int s = f->i;
  for (int m = 0; m < n; ++m) s += f->j[m];
  return s;
}

int main(void) {
  static struct F local = { 10, { 20, 30 } };
  printf("%d %d %d\n", x.j[0], x.j[1], sum(&x, 2));
  printf("%d %d\n", none.i, sum(&k, 3));
  printf("%d %d\n", sparse.j[3], sparse.j[0]);
  printf("%d %d\n", path.pt[1].a, path.pt[1].b);
  printf("%d %d\n", grid.g[1][0], grid.g[1][1]);
  local.j[1] += 5;
  printf("%d %d\n", sum(&local, 2), (int)(sizeof x == sizeof(struct F)));
  return x.j[1] == 3 ? 0 : 1;
}
