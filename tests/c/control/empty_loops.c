/* Loops that only count, and tests that an earlier test decides. */
#include <stdio.h>

static volatile int ticks;

/* Counting with an entry value known only at run time. */
static int up_to(int start, int k_unused) {
  int i = start;
  (void)k_unused;
  do i++; while (i < 10);
  return i;
}

static int down_to(int start) {
  int i = start;
  do i--; while (i > -3);
  return i;
}

static int up_to_le(int start) {
  int i = start;
  do i += 1; while (i <= 20);
  return i;
}

static unsigned odd_step(unsigned start) {
  unsigned u = start;
  do u -= 3; while (u != 1);
  return u;
}

static int equal_again(int start) {
  int x = start;
  do x += 5; while (x == 7);
  return x;
}

static unsigned short wraps(unsigned short start) {
  unsigned short u = start;
  do u += 1; while (u != 3);
  return u;
}

static short short_down(short start) {
  short s = start;
  do s -= 1; while (s >= 4);
  return s;
}

/* A store into volatile memory in the loop: the loop stays. */
static int with_volatile(int n) {
  int i;
  for (i = 0; i < n; i++) ticks = i;
  return i;
}

/* Tests decided by an earlier one. */
static int classify(int x) {
  int r = 0;
  if (x < 5) {
    if (x < 10) r += 1; else r += 100;
    if (x >= 5) r += 1000;
  } else if (x > 7) {
    if (x <= 7) r += 10000; else r += 2;
  }
  if (x == 3) {
    if (x != 4) r += 4;
    if (x <= 3) r += 8;
  }
  return r;
}

static int classify_u(unsigned u) {
  int r = 0;
  if (u < 10u) {
    if (u <= 20u) r += 1;
    if (u == 4294967295u) r += 100;
  }
  if (u > 4000000000u && u != 5u) r += 2;
  return r;
}

static int classify_s(short s, short t) {
  int r = 0;
  if (s < t) {
    if (s != t) r += 1;
    if (t > s) r += 2;
    if (s >= t) r += 100;
  }
  if (s == -32768 || s == 32767) {
    if (s != 0) r += 4;
  }
  return r;
}

/* B's true way and its false target's test meet: B's test is not needed. */
static int same_goal(int x) {
  if (x == 2 || x < 6) return 1;
  return 0;
}

int main(void) {
  int i, j, v;
  unsigned u, n;
  short s;
  float f = 0.0f;
  int flag = 0;
  for (i = 0; i < 10; i++) ;
  printf("for %d\n", i);
  for (i = 10; i > 0; i--) ;
  printf("down %d\n", i);
  for (j = 20; j >= 5; j -= 1) flag = 1;
  printf("ge %d %d\n", j, flag);
  for (u = 0; u <= 9u; u++) f = 2.5f;
  printf("le %u %.1f\n", u, f);
  u = 3;
  do u += 2; while (u != 17);
  printf("even %u\n", u);
  for (s = 100; s != 7; s -= 3) ;
  printf("short %d\n", s);
  for (i = 0; i < 100000; i++) ;
  printf("long %d\n", i);
  n = 0;
  for (i = -5; i <= 5; i++) n = n * 3 + up_to(i, 0) + down_to(i) + up_to_le(i) + equal_again(i);
  printf("entry %u\n", n);
  printf("odd %u %u %u\n", odd_step(10u), odd_step(7u), odd_step(4u));
  printf("wraps %u %u %u\n", wraps(65533), wraps(2), wraps(3));
  printf("shorts %d %d %d\n", short_down(10), short_down(4), short_down(-32768 + 1));
  v = with_volatile(6);
  printf("volatile %d %d\n", v, ticks);
  n = 0;
  for (i = -12; i <= 12; i++) n = n * 7 + classify(i) + same_goal(i);
  printf("classify %u %d %d\n", n, classify(-2147483647 - 1), classify(2147483647));
  printf("unsigned %d %d %d %d\n", classify_u(0), classify_u(9), classify_u(10), classify_u(4294967295u));
  n = 0;
  for (i = -3; i <= 3; i++)
    for (j = -3; j <= 3; j++) n = n * 3 + classify_s((short)i, (short)j);
  printf("pairs %u %d %d\n", n, classify_s(-32768, 0), classify_s(32767, -1));
  return 0;
}
