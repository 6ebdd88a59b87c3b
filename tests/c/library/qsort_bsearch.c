/* qsort and bsearch call the program's comparison function; the sort is
   checked on numbers, strings through pointers, and structures. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct item { int key; const char* name; };

static int calls;

static int by_int(const void* a, const void* b) {
  int x = *(const int*)a, y = *(const int*)b;
  ++calls;
  return (x > y) - (x < y);
}

static int by_int_down(const void* a, const void* b) { return by_int(b, a); }

static int by_string(const void* a, const void* b) {
  return strcmp(*(const char* const*)a, *(const char* const*)b);
}

static int by_key(const void* a, const void* b) {
  const struct item* x = a;
  const struct item* y = b;
  return x->key - y->key;
}

static void show(const int* v, int n) {
  for (int i = 0; i < n; ++i) printf("%d%c", v[i], i + 1 < n ? ' ' : '\n');
}

int main(void) {
  int v[12] = { 5, -3, 12, 0, 7, 7, -40, 1000, 2, 9, -3, 6 };
  qsort(v, 12, sizeof v[0], by_int);
  show(v, 12);
  printf("sorted with %d\n", calls > 0);
  qsort(v, 12, sizeof v[0], by_int_down);
  show(v, 12);
  qsort(v, 12, sizeof v[0], by_int);
  int keys[] = { -40, 7, 1000, 8, -41 };
  for (int i = 0; i < 5; ++i) {
    int* at = bsearch(&keys[i], v, 12, sizeof v[0], by_int);
    printf("%d: %s\n", keys[i], at ? (*at == keys[i] ? "found" : "wrong") : "absent");
  }
  const char* words[] = { "pear", "apple", "fig", "banana", "cherry" };
  qsort(words, 5, sizeof words[0], by_string);
  for (int i = 0; i < 5; ++i) printf("%s%c", words[i], i < 4 ? ' ' : '\n');
  struct item items[] = { { 3, "three" }, { 1, "one" }, { 2, "two" } };
  qsort(items, 3, sizeof items[0], by_key);
  struct item probe = { 2, 0 };
  struct item* hit = bsearch(&probe, items, 3, sizeof items[0], by_key);
  printf("%s %s %s -> %s\n", items[0].name, items[1].name, items[2].name, hit ? hit->name : "none");
  qsort(v, 0, sizeof v[0], by_int);
  qsort(v, 1, sizeof v[0], by_int);
  printf("%d\n", bsearch(&keys[0], v, 0, sizeof v[0], by_int) == NULL);
  return 0;
}
