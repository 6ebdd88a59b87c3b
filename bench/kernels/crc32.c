/* CRC-32 (reflected, polynomial 0xEDB88320) computed bit by bit. */
#include <stdio.h>

#define LEN 2048

static volatile unsigned seed_source = 31337u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static unsigned short data[LEN];

static unsigned crc32(const unsigned short* p, int n) {
  unsigned crc = 0xffffffffu;
  int i, bit;
  for (i = 0; i < n; i++) {
    crc ^= p[i] & 0xffu;
    for (bit = 0; bit < 8; bit++) crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

int main(void) {
  unsigned sum = 0;
  int i, round;
  rng = seed_source;
  for (i = 0; i < LEN; i++) data[i] = (unsigned short)(next_rand() & 0xff);
  for (round = 0; round < 4; round++) {
    unsigned crc = crc32(data, LEN - round * 64);
    sum ^= crc + (unsigned)round;
    data[LEN - 1 - round] = (unsigned short)(crc & 0xff);
  }
  printf("crc32 %u\n", sum);
  return 0;
}
