/* Function pointers: tables, passing, returning, calling through. */
#include <stdio.h>

static int add(int a, int b) { return a + b; }
static int sub(int a, int b) { return a - b; }
static int mul(int a, int b) { return a * b; }

typedef int (*binop)(int, int);

static binop pick(int i) {
  static binop table[] = {add, sub, mul};
  return table[i % 3];
}

static int apply(binop f, int x, int y) { return f(x, y); }

int main(void) {
  int i;
  for (i = 0; i < 4; i++) printf("%d ", pick(i)(7, 3));
  printf("\n");
  printf("%d %d\n", apply(mul, 6, 7), (*add)(1, 2));
  binop f = &sub;
  printf("%d %d\n", f(10, 4), (*f)(4, 10));
  printf("%d\n", f == sub);
  int (*ops[2])(int, int) = {mul, add};
  printf("%d\n", ops[0](ops[1](1, 2), 5));
  return 0;
}
