/* CRC-16/CCITT computed bit by bit, without a table. */
#include <stdio.h>

#define LEN 2048

static volatile unsigned seed_source = 777u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static unsigned short data[LEN];

static unsigned short crc16(const unsigned short* p, int n, unsigned short crc) {
  int i, bit;
  for (i = 0; i < n; i++) {
    crc ^= (unsigned short)((p[i] & 0xff) << 8);
    for (bit = 0; bit < 8; bit++) {
      if (crc & 0x8000)
        crc = (unsigned short)((crc << 1) ^ 0x1021);
      else
        crc = (unsigned short)(crc << 1);
    }
  }
  return crc;
}

int main(void) {
  unsigned sum = 0;
  int i, round;
  rng = seed_source;
  for (i = 0; i < LEN; i++) data[i] = (unsigned short)(next_rand() & 0xff);
  for (round = 0; round < 4; round++) {
    unsigned short crc = crc16(data, LEN - round * 100, 0xffff);
    sum = sum * 65599u + crc;
    data[round] ^= crc & 0xff;
  }
  printf("crc16 %u\n", sum);
  return 0;
}
