/* rill-only: the sizes of the exact-width, least and fast types in 16-bit
   units, and the 8-bit least types, which are the 16-bit char types. */
#include <stdint.h>
#include <stdio.h>

int main(void) {
  printf("%d %d %d %d\n", (int)sizeof(int16_t), (int)sizeof(uint16_t), (int)sizeof(int32_t), (int)sizeof(uint32_t));
  printf("%d %d %d %d\n", (int)sizeof(int_least8_t), (int)sizeof(int_least16_t), (int)sizeof(int_fast8_t),
         (int)sizeof(uint_fast32_t));
  int_least8_t small = 200;
  uint_least8_t usmall = 300;
  printf("%d %u %d %u\n", small, usmall, INT_LEAST8_MAX, UINT_FAST8_MAX);
  printf("%d %d\n", (int)sizeof(intmax_t), (int)sizeof(intptr_t));
  return 0;
}
