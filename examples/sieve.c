/* The bundled example: primes below 200 by the sieve of Eratosthenes. */
#include <stdio.h>

#define N 200

static char composite[N];

static int count_primes(int n) {
  int count = 0;
  for (int i = 2; i < n; i++) {
    if (composite[i]) continue;
    count++;
    for (int j = i * i; j < n; j += i) composite[j] = 1;
  }
  return count;
}

int main(void) {
  int primes = count_primes(N);
  printf("%d primes below %d; the last ones:", primes, N);
  for (int i = N - 1, shown = 0; i > 1 && shown < 5; i--)
    if (!composite[i]) {
      printf(" %d", i);
      shown++;
    }
  printf("\n");
  return 0;
}
