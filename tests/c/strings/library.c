/* The string and memory functions of the target, and character handling. */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
  char buf[32];
  strcpy(buf, "Hello");
  strcat(buf, ", world");
  printf("%s %d\n", buf, (int)strlen(buf));
  printf("%d %d %d\n", strcmp("abc", "abd") < 0, strcmp("b", "a") > 0, strncmp("abcx", "abcy", 3));
  char* comma = strchr(buf, ',');
  printf("%s|%s\n", comma, strrchr(buf, 'o'));
  memset(buf, 'z', 3);
  printf("%s\n", buf);
  char copy[8];
  memcpy(copy, "12345678", 8);
  memmove(copy + 2, copy, 4);
  printf("%.8s %d\n", copy, memcmp(copy, "121234", 6));
  strncpy(copy, "ab", 8);
  printf("%s %d\n", copy, copy[5]);
  int n = 0;
  const char* p;
  for (p = "a1 B2-c3"; *p; p++) n += !!isalpha(*p) * 100 + !!isdigit(*p) * 10 + !!isspace(*p);
  printf("%d %c %c\n", n, toupper('q'), tolower('Q'));
  printf("%d %d %ld\n", atoi("-123"), abs(-7), labs(-8L));
  int* heap = malloc(4 * sizeof(int));
  int i;
  for (i = 0; i < 4; i++) heap[i] = i * i;
  int* zeros = calloc(3, sizeof(int));
  printf("%d %d\n", heap[3], zeros[2]);
  free(heap);
  free(zeros);
  sprintf(buf, "%05d|%-3s|%x", 42, "ab", 255);
  puts(buf);
  putchar('!');
  putchar('\n');
  return 0;
}
