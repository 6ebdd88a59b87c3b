/* Counted loops of every relation and both step signs, with 16- and 32-bit
   counters started and stopped near the ends of their types, tested at the
   top and at the bottom, with the counter read after the loop or not. */
#include <limits.h>
#include <stdio.h>

static int trips;

/* Up and down with int counters: the trip count and the final value. */
int up_lt(int a, int b, int step) {
  int i, n = 0;
  for (i = a; i < b; i += step) n++;
  return n * 1000 + (i - a);
}

int up_le_3(int a, int b) {
  int i, n = 0;
  for (i = a; i <= b; i += 3) n++;
  return n;
}

int down_gt(int a, int b) {
  int i, n = 0;
  for (i = a; i > b; i -= 2) n++;
  return n * 1000 + (a - i);
}

int down_ge_7(int a, int b) {
  int i, n = 0;
  for (i = a; i >= b; i -= 7) n += i & 1;
  return n;
}

/* Known counts: none, one, a few, many. */
int known(void) {
  int i, s = 0;
  for (i = 10; i < 5; i++) s += 100;
  for (i = 3; i > 2; i--) s += 1;
  for (i = 0; i < 4; i++) s += i;
  for (i = -20; i <= 20; i += 2) s += i * i;
  for (i = 100; i != 0; i -= 4) s -= 1;
  return s * 10 + (i & 7);
}

/* Unsigned counters that wrap through 0 on the way, by design. */
unsigned wrap_u(unsigned start, unsigned stop) {
  unsigned u, n = 0;
  for (u = start; u != stop; u++) n += u & 3;
  return n;
}

unsigned down_u(unsigned n) {
  unsigned u, s = 0;
  for (u = n; u != 0; u--) s += u;
  for (u = n; u > 1; u -= 2) s += 1;
  return s;
}

unsigned ule_near_max(unsigned a) {
  unsigned u, n = 0;
  for (u = a; u <= UINT_MAX - 4; u += 2) n++;
  return n;
}

/* 16-bit counters near their ends: an unsigned short that wraps, shorts
   that stop just short of their limits. */
int ushort_wrap(unsigned short a, unsigned short b) {
  unsigned short u;
  int n = 0;
  for (u = a; u != b; u++) n++;
  return n;
}

int short_up(short a) {
  short s;
  int n = 0;
  for (s = a; s < 32767; s++) n++;
  return n * 10 + (s & 7);
}

int short_down(short a) {
  short s;
  int n = 0;
  for (s = a; s > -32768; s -= 1) n += s & 1;
  return n;
}

int ushort_down_3(unsigned short a) {
  unsigned short u;
  int n = 0;
  for (u = a; u >= 3; u -= 3) n++;
  return n * 10 + u;
}

/* Bottom-tested. */
int do_up(int a, int b) {
  int i = a, n = 0;
  do {
    n++;
    i++;
  } while (i < b);
  return n;
}

int do_down_short(short a) {
  short s = a;
  int n = 0;
  do {
    n += 2;
    s -= 5;
  } while (s > 0);
  return n + s;
}

/* Nested, the inner count fixed or depending on the outer counter. */
int nest(int n) {
  int i, j, s = 0, v = 0;
  for (i = 0; i < n; i++)
    for (j = 0; j < 6; j++) s += i ^ j;
  for (i = 0; i < 5; i++) {
    v = i * 4 + 1;
    for (j = 0; j < 4; j++) {
      s += v;
      v++;
    }
  }
  for (i = 0; i < n; i++)
    for (j = 0; j < i; j++) s += 1;
  return s + v;
}

/* The body leaves early. */
int early(int a, int b) {
  int i;
  for (i = a; i < b; i++) {
    if (i * i > 50) break;
    trips++;
  }
  return i;
}

int main(void) {
  int k;
  printf("up %d %d %d %d\n", up_lt(0, 10, 1), up_lt(-5, 7, 3), up_lt(3, 3, 2), up_lt(INT_MAX - 5, INT_MAX, 1));
  printf("up %d %d %d\n", up_lt(INT_MIN, INT_MIN + 9, 4), up_lt(10, -10, 1), up_lt(-100, 100, 7));
  printf("le %d %d %d %d\n", up_le_3(0, 9), up_le_3(1, 1), up_le_3(5, 4), up_le_3(INT_MAX - 8, INT_MAX - 3));
  printf("gt %d %d %d %d\n", down_gt(10, 0), down_gt(11, 0), down_gt(0, 0), down_gt(INT_MIN + 6, INT_MIN + 1));
  printf("ge %d %d %d\n", down_ge_7(50, 0), down_ge_7(0, 1), down_ge_7(INT_MIN + 30, INT_MIN + 7));
  printf("known %d\n", known());
  printf("wrap %u %u %u %u\n", wrap_u(UINT_MAX - 5, 3), wrap_u(7, 7), wrap_u(0, 10), wrap_u(UINT_MAX, 0));
  printf("downu %u %u %u %u\n", down_u(0), down_u(1), down_u(9), down_u(100));
  printf("ule %u %u %u\n", ule_near_max(UINT_MAX - 20), ule_near_max(UINT_MAX - 4), ule_near_max(UINT_MAX - 3));
  printf("us %d %d %d %d\n", ushort_wrap(65530, 4), ushort_wrap(65535, 0), ushort_wrap(9, 9), ushort_wrap(1, 0));
  printf("short %d %d %d\n", short_up(32760), short_up(32767), short_up(-32768 + 32700));
  printf("shortd %d %d %d\n", short_down(-32760), short_down(-32768), short_down(5));
  printf("us3 %d %d %d %d\n", ushort_down_3(65535), ushort_down_3(2), ushort_down_3(3), ushort_down_3(10));
  printf("do %d %d %d\n", do_up(0, 5), do_up(5, 0), do_up(INT_MAX - 3, INT_MAX));
  printf("dos %d %d %d\n", do_down_short(12), do_down_short(-3), do_down_short(32767));
  for (k = -1; k < 5; k++) printf("nest %d %d\n", k, nest(k));
  k = early(0, 100);
  k += 100 * early(-3, 2);
  k += 10000 * early(9, 4);
  printf("early %d %d\n", k, trips);
  return 0;
}
