/* Enumerations, typedefs, the comma and conditional operators, sizeof of
   expressions that are not evaluated, recursion, static storage. */
#include <stdio.h>

typedef enum { NORTH, EAST = 4, SOUTH, WEST = EAST * 3 } direction;
typedef struct node { int value; struct node* next; } node;
typedef unsigned int uint;

static int fib(int n) { return n < 2 ? n : fib(n - 1) + fib(n - 2); }

static int depth(const node* n) { return n ? 1 + depth(n->next) : 0; }

int main(void) {
  direction d = SOUTH;
  printf("%d %d %d\n", NORTH, d, WEST);
  node c = {3, 0}, b = {2, &c}, a = {1, &b};
  printf("%d %d\n", depth(&a), a.next->next->value);
  uint u = (1, 2, 3u);
  int i = 0;
  int s = sizeof(i++);
  printf("%u %d %d\n", u, i, s > 0);
  printf("%d\n", fib(15));
  int x = 5;
  int y = x > 3 ? x < 10 ? 1 : 2 : 3;
  printf("%d\n", y);
  int k = (x++, x++, x);
  printf("%d %d\n", k, x);
  switch (d) {
    case SOUTH: printf("south\n"); break;
    default: printf("?\n");
  }
  _Bool flag = 7;
  printf("%d %d\n", flag, (_Bool)0.5f);
  return 0;
}
