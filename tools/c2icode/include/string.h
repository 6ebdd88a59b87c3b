/* string.h for Rill: what icode-run provides. A character is one 16-bit unit. */
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
char* strncat(char* dest, const char* src, size_t n);
char* strchr(const char* s, int c);
char* strrchr(const char* s, int c);
char* strstr(const char* hay, const char* needle);
char* strpbrk(const char* s, const char* accept);
size_t strspn(const char* s, const char* accept);
size_t strcspn(const char* s, const char* reject);
void* memchr(const void* s, int c, size_t n);

#endif
