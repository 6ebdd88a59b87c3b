/* Every class of ctype.h over the ASCII range, EOF, and tolower/toupper. */
#include <ctype.h>
#include <stdio.h>

typedef int (*test)(int);

int main(void) {
  static const test tests[] = { isalnum, isalpha, isblank, iscntrl, isdigit, isgraph,
                                islower, isprint, ispunct, isspace, isupper, isxdigit };
  static const char* const names[] = { "alnum", "alpha", "blank", "cntrl", "digit", "graph",
                                       "lower", "print", "punct", "space", "upper", "xdigit" };
  for (int t = 0; t < 12; ++t) {
    unsigned sum = 0;
    int count = 0;
    for (int c = 0; c < 128; ++c)
      if (tests[t](c)) {
        sum = sum * 31 + c;
        ++count;
      }
    printf("%-6s %3d %10u %d\n", names[t], count, sum, !!tests[t](EOF));
  }
  int changed = 0;
  for (int c = -1; c < 128; ++c) changed += (tolower(c) != c) + 2 * (toupper(c) != c);
  printf("%d %c%c %c%c %d\n", changed, tolower('A'), toupper('z'), tolower('['), toupper('{'), tolower(EOF));
  printf("%d %d %d\n", !!isprint(' '), !!isgraph(' '), !!ispunct('_'));
  return 0;
}
