/* Old C: K&R definitions with promoted arguments, implicit int, implicit
   declarations, and an unprototyped call. */
#include <stdio.h>

static scale(v, by)
  short v;
  float by;
{
  return v * by;
}

static int twice();

main(argc, argv)
  int argc;
  char** argv;
{
  short s = 21;
  printf("%d %d\n", scale(s, 2.0f), twice(5));
  printf("%d\n", helper(4));
  return argc - 1;
}

static int twice(x) int x; { return 2 * x; }

int helper(int n) { return n * n; }
