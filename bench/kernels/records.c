/* Arrays of structures and a linked list through them: field access,
   pointer chasing and an insertion sort on the list. */
#include <stdio.h>

#define N 400

static volatile unsigned seed_source = 1984u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

struct item {
  short key;
  short weight;
  int value;
  struct item* next;
};

static struct item pool[N];

static struct item* insert_sorted(struct item* head, struct item* it) {
  struct item** link = &head;
  while (*link && (*link)->key < it->key) link = &(*link)->next;
  it->next = *link;
  *link = it;
  return head;
}

static int total_value(const struct item* p, int min_weight) {
  int s = 0;
  for (; p; p = p->next)
    if (p->weight >= min_weight) s += p->value;
  return s;
}

int main(void) {
  struct item* head = 0;
  unsigned sum = 0;
  int i;
  rng = seed_source;
  for (i = 0; i < N; i++) {
    pool[i].key = (short)(next_rand() % 5000u);
    pool[i].weight = (short)(next_rand() % 100u);
    pool[i].value = (int)next_rand() - 16000;
    head = insert_sorted(head, &pool[i]);
  }
  for (i = 0; i < 100; i += 7) sum = sum * 31u + (unsigned)total_value(head, i);
  for (; head; head = head->next) sum = sum * 5u + (unsigned)head->key;
  printf("records %u\n", sum);
  return 0;
}
