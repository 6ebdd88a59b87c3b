/* stdlib.h for Rill: what icode-run provides, and a few pure helpers. */
#ifndef _RILL_STDLIB_H
#define _RILL_STDLIB_H

typedef __SIZE_TYPE__ size_t;
typedef __WCHAR_TYPE__ wchar_t;

#ifndef NULL
#define NULL ((void*)0)
#endif
#define EXIT_SUCCESS 0
#define EXIT_FAILURE 1
#define RAND_MAX 32767

typedef struct { int quot, rem; } div_t;
typedef struct { long quot, rem; } ldiv_t;
typedef struct { long long quot, rem; } lldiv_t;

void abort(void) __attribute__((noreturn));
void exit(int status) __attribute__((noreturn));
void* malloc(size_t size);
void* calloc(size_t count, size_t size);
void* realloc(void* p, size_t size);
void free(void* p);
int abs(int j);
long labs(long j);
long long llabs(long long j);

div_t div(int n, int d);
ldiv_t ldiv(long n, long d);
lldiv_t lldiv(long long n, long long d);
void qsort(void* base, size_t n, size_t size, int (*compare)(const void*, const void*));
void* bsearch(const void* key, const void* base, size_t n, size_t size,
              int (*compare)(const void*, const void*));
/* A block of the calling function's frame, released when it returns. */
void* alloca(size_t size);

static inline long strtol(const char* s, char** end, int base) {
  long v = 0;
  int neg = 0, digit;
  while (*s == ' ' || (*s >= '\t' && *s <= '\r')) s++;
  if (*s == '-' || *s == '+') neg = *s++ == '-';
  if ((base == 0 || base == 16) && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    s += 2;
    base = 16;
  } else if (base == 0) {
    base = *s == '0' ? 8 : 10;
  }
  for (;; s++) {
    if (*s >= '0' && *s <= '9') digit = *s - '0';
    else if (*s >= 'a' && *s <= 'z') digit = *s - 'a' + 10;
    else if (*s >= 'A' && *s <= 'Z') digit = *s - 'A' + 10;
    else break;
    if (digit >= base) break;
    v = v * base + digit;
  }
  if (end) *end = (char*)s;
  return neg ? -v : v;
}

static inline int atoi(const char* s) { return (int)strtol(s, (char**)0, 10); }
static inline long atol(const char* s) { return strtol(s, (char**)0, 10); }

/* The example generator of the C standard, so that runs repeat. */
static unsigned long __rill_rand_next = 1;
static inline int rand(void) {
  __rill_rand_next = __rill_rand_next * 1103515245UL + 12345UL;
  return (int)((__rill_rand_next / 65536UL) % 32768UL);
}
static inline void srand(unsigned seed) { __rill_rand_next = seed; }

#endif
