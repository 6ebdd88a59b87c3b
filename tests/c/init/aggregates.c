/* Initialisers of globals, statics and locals: arrays, structures, strings,
   designators, partial lists, compound literals, addresses. */
#include <stdio.h>

struct item { const char* name; int qty; float price; };

int primes[8] = {2, 3, 5, 7, 11};
char greeting[] = "hello";
char padded[8] = "ab";
struct item stock[] = {{"apple", 3, 0.5f}, {"pear", 0}, [3] = {.qty = 9, .name = "fig"}};
int* middle = &primes[2];
const char* words[] = {"one", "two", "three"};
int grid[2][3] = {{1, 2, 3}, {4}};
struct item* last = &stock[3];
int* lit = (int[]){7, 8, 9};

static int counter(void) {
  static int calls = 100;
  return ++calls;
}

int main(void) {
  int i;
  for (i = 0; i < 8; i++) printf("%d ", primes[i]);
  printf("\n%s %d %s %d %d\n", greeting, (int)sizeof greeting, padded, padded[2], padded[7]);
  for (i = 0; i < 4; i++)
    printf("%s %d %g\n", stock[i].name ? stock[i].name : "-", stock[i].qty, stock[i].price);
  printf("%d %s %d %d\n", *middle, words[2], grid[1][0], grid[1][2]);
  printf("%s %d\n", last->name, lit[2]);
  counter();
  printf("%d\n", counter());
  int local[5] = {[2] = 4, 6};
  for (i = 0; i < 5; i++) printf("%d ", local[i]);
  printf("\n");
  struct item it = {"plum", 2, 1.25f};
  struct item zero = {0};
  printf("%s %d %g %d\n", it.name, it.qty, it.price, zero.qty);
  char name[10] = "abc";
  printf("%s %d\n", name, name[9]);
  int* cl = (int[]){i, i * 2};
  printf("%d\n", cl[1]);
  struct item* pi = &(struct item){"kiwi", 4, 2.0f};
  printf("%s %d\n", pi->name, pi->qty);
  return 0;
}
