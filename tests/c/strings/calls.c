/* Library calls the optimizer may rewrite when their value is unused:
   printf of plain text or of one string, strcpy from a literal, memmove
   between distinct objects, copies of nothing; and the minimum and maximum
   written as conditionals. Each rewrite must print the same characters in
   the same order and keep the effects of the arguments. */
#include <stdio.h>
#include <string.h>

#define MIN(a, b) ((a) < (b) ? (a) : (b))
#define MAX(a, b) ((a) > (b) ? (a) : (b))

static int effects;

static char* note(char* s) {
  effects++;
  return s;
}

static int pick(int v) {
  effects += 10;
  return v;
}

static void texts(void) {
  printf("plain line\n");
  printf("x");
  printf("\n");
  printf("");
  printf("100%% sure\n");
  printf("%s\n", "via puts");
  printf("%c", 'Q');
  printf("%c", '\n');
  int n = printf("counted\n");
  printf("%d\n", n);
  puts("");
  puts("after empty");
}

static void copies(void) {
  char a[16];
  char b[16];
  char* r = strcpy(a, "copy");
  printf("%s %d %d\n", r, (int)strlen(a), r == a);
  strcpy(b, "other text");
  memmove(a, b, 6);
  printf("%.6s|%s\n", a, b);
  memmove(b + 1, b, 4);
  printf("%s\n", b);
  char* q = memmove(note(a), note(b), 0);
  memcpy(note(b), a, 0);
  printf("%d %d\n", q == a, effects);
  printf("%d %d\n", (int)strlen("seven.."), (int)strlen("abcdef" + 2));
  printf("%s\n", strcpy(note(b), "tail"));
}

static void minmax(int x, unsigned u) {
  int lo = MIN(x, 3);
  int hi = MAX(x, 3);
  unsigned ul = MIN(u, 7u);
  int same = MAX(x, x);
  int call = MIN(pick(x), pick(x + 1));
  int big = MAX(x, -2147483647 - 1);
  printf("%d %d %u %d %d %d %d\n", lo, hi, ul, same, call, big, effects);
}

static int single_uses(int a, int b) {
  int t = a * 3;
  int s = t + b;
  int w = b - a;
  int arr[4];
  arr[0] = s;
  arr[1] = w;
  arr[2] = arr[0] + arr[1];
  arr[3] = pick(arr[2]);
  return arr[3] + s;
}

int main(void) {
  texts();
  copies();
  minmax(-5, 100u);
  minmax(9, 2u);
  printf("%d\n", single_uses(4, 7));
  printf("%s", "");
  printf("%s", "end");
  printf("%s\n", "");
  return 0;
}
