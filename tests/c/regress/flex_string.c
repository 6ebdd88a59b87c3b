/* A flexible array of characters initialised by a string literal: the
   object holds the whole string and its terminating zero. */
#include <stdio.h>
#include <string.h>

struct F { char c; char s[]; };
struct F x = { 'o', "wx" };
struct N { int len; char name[]; };
static struct N hello = { 5, "hello" };
struct F empty = { 'e', "" };

int main(void) {
  printf("%c%s %d\n", x.c, x.s, (int)strlen(x.s));
  printf("%s %d %d\n", hello.name, hello.len, (int)strlen(hello.name));
  printf("[%s]\n", empty.s);
  return x.s[1] == 'x' ? 0 : 1;
}
