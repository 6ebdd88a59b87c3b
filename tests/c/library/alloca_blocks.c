/* alloca gives blocks of the calling function's frame, released when it
   returns: a loop of calls does not run out of stack. */
#include <alloca.h>
#include <stdio.h>
#include <string.h>

static int fill_and_sum(int n) {
  int* v = alloca(n * sizeof(int));
  char* s = __builtin_alloca(n + 1);
  int sum = 0;
  for (int i = 0; i < n; ++i) {
    v[i] = i * i;
    s[i] = 'a' + i % 26;
  }
  s[n] = 0;
  for (int i = 0; i < n; ++i) sum += v[i];
  return sum + (int)strlen(s);
}

static const char* join(const char* a, const char* b) {
  char* buf = alloca(strlen(a) + strlen(b) + 1);
  strcpy(buf, a);
  strcat(buf, b);
  printf("%s\n", buf);
  return a;
}

int main(void) {
  long total = 0;
  for (int round = 0; round < 2000; ++round) total += fill_and_sum(10 + round % 50);
  printf("%ld\n", total);
  join("frame", "-local");
  printf("%d\n", fill_and_sum(0));
  return 0;
}
