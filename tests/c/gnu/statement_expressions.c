/* GNU statement expressions: in initialisers, arguments, conditions and
   loops; with declarations, jumps, structures; and only evaluated where C
   evaluates them (the right of && and ||, the arms of ?:, after a comma). */
#include <stdio.h>

#define MAX(a, b) ({ __typeof__(a) _a = (a); __typeof__(b) _b = (b); _a > _b ? _a : _b; })

struct pt { int x, y; };

static int calls;
static int bump(int v) { ++calls; return v; }

static int first_negative(const int* v, int n) {
  for (int i = 0; i < n; ++i) {
    int found = ({ int w = v[i]; if (w < 0) break; w * 0; });
    (void)found;
  }
  return ({ int k = 0; while (k < n && v[k] >= 0) ++k; k; });
}

int main(void) {
  int i = 3, j = 7;
  int m = MAX(i++, j);
  printf("%d %d\n", m, i);
  printf("%d\n", MAX(bump(2), bump(5)) + ({ int t = 10; t * 2; }));
  int v[] = { 4, 1, -2, 8 };
  printf("%d %d\n", first_negative(v, 4), calls);

  calls = 0;
  int zero = 0;
  int a = zero && ({ bump(1); 1; });
  int b = zero || ({ bump(1); 2; });
  int c = zero ? ({ bump(100); 5; }) : ({ bump(1); 6; });
  int d = (bump(1), ({ calls * 10; }));
  int e = zero ?: ({ bump(1); 9; });
  printf("%d %d %d %d %d %d\n", a, b, c, d, e, calls);

  struct pt p = ({ struct pt q = { 1, 2 }; q.y += 10; q; });
  printf("%d %d\n", p.x, p.y);
  int n = 0;
  while (({ ++n; n < 5; })) {
  }
  for (int k = 0; ({ k < 3; }); k = ({ k + 1; })) n += k;
  printf("%d\n", n);
  ({ printf("void %d\n", n); });
  int r = ({ int acc = 0; for (int k = 1; k <= 4; ++k) acc += k; acc; }) * 2;
  printf("%d\n", r);
  return ({ goto out; 1; });
out:
  return 0;
}
