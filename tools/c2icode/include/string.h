/* string.h for Rill: what icode-run provides, and the rest as pure helpers. */
#ifndef _RILL_STRING_H
#define _RILL_STRING_H

typedef __SIZE_TYPE__ size_t;

#ifndef NULL
#define NULL ((void*)0)
#endif

void* memcpy(void* dest, const void* src, size_t n);
void* memmove(void* dest, const void* src, size_t n);
void* memset(void* s, int c, size_t n);
int memcmp(const void* a, const void* b, size_t n);
size_t strlen(const char* s);
int strcmp(const char* a, const char* b);
char* strcpy(char* dest, const char* src);
char* strncpy(char* dest, const char* src, size_t n);
int strncmp(const char* a, const char* b, size_t n);
char* strcat(char* dest, const char* src);
char* strchr(const char* s, int c);

static inline char* strncat(char* dest, const char* src, size_t n) {
  char* d = dest + strlen(dest);
  while (n-- > 0 && *src) *d++ = *src++;
  *d = 0;
  return dest;
}

static inline char* strrchr(const char* s, int c) {
  const char* found = (char*)0;
  for (;; s++) {
    if (*s == (char)c) found = s;
    if (*s == 0) return (char*)found;
  }
}

static inline char* strstr(const char* hay, const char* needle) {
  size_t n = strlen(needle);
  for (; *hay; hay++)
    if (strncmp(hay, needle, n) == 0) return (char*)hay;
  return n == 0 ? (char*)hay : (char*)0;
}

static inline void* memchr(const void* s, int c, size_t n) {
  const unsigned char* p = (const unsigned char*)s;
  for (; n > 0; p++, n--)
    if (*p == (unsigned char)c) return (void*)p;
  return (void*)0;
}

#endif
