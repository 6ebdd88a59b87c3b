/* Structures and unions: assignment, passing and returning by value,
   nesting, arrays of structures, pointers to members, unions. */
#include <stdio.h>

struct point { int x, y; };
struct rect { struct point a, b; char tag; };
union word { unsigned u; unsigned short h[2]; };

static struct point make(int x, int y) {
  struct point p;
  p.x = x;
  p.y = y;
  return p;
}

static int area(struct rect r) { return (r.b.x - r.a.x) * (r.b.y - r.a.y); }

static void grow(struct rect* r, int d) {
  r->b.x += d;
  r->b.y += d;
}

int main(void) {
  struct rect r;
  r.a = make(1, 2);
  r.b = make(4, 6);
  r.tag = 'r';
  printf("%d\n", area(r));
  grow(&r, 2);
  printf("%d %d %c\n", r.b.x, area(r), r.tag);
  struct rect copy = r;
  copy.a.x = 0;
  printf("%d %d\n", r.a.x, copy.a.x);
  struct point pts[3];
  int i;
  for (i = 0; i < 3; i++) pts[i] = make(i, i * i);
  struct point* pp = &pts[2];
  printf("%d %d %d\n", pp->x, pp->y, (pp - 1)->y);
  printf("%d\n", make(5, 9).y);
  struct point q = i > 1 ? pts[1] : pts[0];
  printf("%d %d\n", q.x, q.y);
  union word w;
  w.u = 0;
  w.h[0] = 3;
  printf("%d\n", w.u != 0);
  struct { int n; struct { int k; } in; } anon = {1, {2}};
  printf("%d %d\n", anon.n, anon.in.k);
  return 0;
}
