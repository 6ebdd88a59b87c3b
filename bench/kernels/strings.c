/* String routines written out by hand: length, copy, reverse, search and
   word counting over generated text. */
#include <stdio.h>

#define TEXT 3000

static volatile unsigned seed_source = 1618u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static char text[TEXT + 1];
static char copy[TEXT + 1];

static int str_len(const char* s) {
  const char* p = s;
  while (*p) p++;
  return (int)(p - s);
}

static void str_copy(char* d, const char* s) {
  while ((*d++ = *s++) != 0) {
  }
}

static void str_reverse(char* s) {
  int i = 0, j = str_len(s) - 1;
  while (i < j) {
    char t = s[i];
    s[i++] = s[j];
    s[j--] = t;
  }
}

static int count_matches(const char* s, const char* pat) {
  int count = 0;
  for (; *s; s++) {
    const char* a = s;
    const char* b = pat;
    while (*b && *a == *b) {
      a++;
      b++;
    }
    if (!*b) count++;
  }
  return count;
}

static int count_words(const char* s) {
  int words = 0, in_word = 0;
  for (; *s; s++) {
    if (*s == ' ') in_word = 0;
    else if (!in_word) {
      in_word = 1;
      words++;
    }
  }
  return words;
}

int main(void) {
  unsigned sum = 0;
  int i;
  rng = seed_source;
  for (i = 0; i < TEXT; i++) {
    unsigned r = next_rand() % 8u;
    text[i] = r == 0 ? ' ' : (char)('a' + (int)(next_rand() % 4u));
  }
  text[TEXT] = 0;
  str_copy(copy, text);
  str_reverse(copy);
  sum = (unsigned)str_len(copy);
  sum = sum * 131u + (unsigned)count_words(text);
  sum = sum * 131u + (unsigned)count_matches(text, "ab");
  sum = sum * 131u + (unsigned)count_matches(copy, "cab");
  sum = sum * 131u + (unsigned)count_matches(text, "dd d");
  for (i = 0; i < TEXT; i += 97) sum = sum * 3u + (unsigned)copy[i];
  printf("strings %u\n", sum);
  return 0;
}
