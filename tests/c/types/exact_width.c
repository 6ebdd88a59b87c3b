/* The exact-width types Rill has, int16_t to uint32_t, and the least and
   fast families, on values both gcc and Rill give alike: each type wraps
   at its own width. */
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>

int main(void) {
  int16_t s16 = INT16_MAX;
  uint16_t u16 = UINT16_MAX;
  int32_t s32 = INT32_MIN;
  uint32_t u32 = UINT32_MAX;
  s16 = (int16_t)(s16 + 1);
  u16++;
  u32 += 2;
  printf("%d %u %" PRId32 " %" PRIu32 "\n", s16, u16, s32, u32);
  int_least16_t l16 = -300;
  uint_least32_t lu32 = 70000;
  int_fast16_t f16 = 1000;
  uint_fast32_t fu32 = 0xdeadbeefu;
  printf("%d %" PRIu32 " %d %" PRIx32 "\n", l16 * 2, (uint32_t)(lu32 * 3), f16 / 7, (uint32_t)(fu32 >> 4));
  uint16_t a = 40000, b = 30000;
  uint16_t sum = (uint16_t)(a + b);
  int16_t neg = (int16_t)0x8001;
  printf("%u %d %d %d\n", sum, neg, (int)(a * b > 0), (int)INT16_C(-5));
  intmax_t m = INTMAX_C(123456);
  uintptr_t up = (uintptr_t)&sum != 0;
  printf("%" PRIdMAX " %u %d\n", m, (unsigned)up, (int)(sizeof(int32_t) == 2 * sizeof(int16_t)));
  return 0;
}
