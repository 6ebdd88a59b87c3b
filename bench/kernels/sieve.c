/* Sieve of Eratosthenes over a flag array of 16-bit units. */
#include <stdio.h>

#define LIMIT 8192

static volatile int limit_source = LIMIT;
static unsigned short composite[LIMIT];

static int sieve(int n) {
  int i, j, count = 0;
  for (i = 0; i < n; i++) composite[i] = 0;
  for (i = 2; i * i < n; i++)
    if (!composite[i])
      for (j = i * i; j < n; j += i) composite[j] = 1;
  for (i = 2; i < n; i++)
    if (!composite[i]) count++;
  return count;
}

int main(void) {
  int n = limit_source;
  unsigned sum = 0;
  int round, i;
  for (round = 0; round < 3; round++) {
    int count = sieve(n - round * 1000);
    sum = sum * 1009u + (unsigned)count;
  }
  for (i = n - 1000; i < n - 900; i++)
    if (!composite[i]) sum += (unsigned)i;
  printf("sieve %u\n", sum);
  return 0;
}
