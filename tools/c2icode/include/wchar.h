/* wchar.h for Rill: a wide character is one unsigned 16-bit unit, as wide
   as char, so the wide string functions of icode-run work as the narrow
   ones do on units. */
#ifndef _RILL_WCHAR_H
#define _RILL_WCHAR_H

typedef __SIZE_TYPE__ size_t;
typedef __WCHAR_TYPE__ wchar_t;
typedef __WINT_TYPE__ wint_t;
typedef struct { int __state; } mbstate_t;

#ifndef NULL
#define NULL ((void*)0)
#endif
#define WCHAR_MIN 0
#define WCHAR_MAX 65535
#define WEOF ((wint_t)-1)

size_t wcslen(const wchar_t* s);
int wcscmp(const wchar_t* a, const wchar_t* b);
int wcsncmp(const wchar_t* a, const wchar_t* b, size_t n);
wchar_t* wcscpy(wchar_t* dest, const wchar_t* src);
wchar_t* wcsncpy(wchar_t* dest, const wchar_t* src, size_t n);
wchar_t* wcscat(wchar_t* dest, const wchar_t* src);
wchar_t* wcsncat(wchar_t* dest, const wchar_t* src, size_t n);
wchar_t* wcschr(const wchar_t* s, wchar_t c);
wchar_t* wcsrchr(const wchar_t* s, wchar_t c);
wchar_t* wcsstr(const wchar_t* hay, const wchar_t* needle);
wchar_t* wcspbrk(const wchar_t* s, const wchar_t* accept);
size_t wcsspn(const wchar_t* s, const wchar_t* accept);
size_t wcscspn(const wchar_t* s, const wchar_t* reject);
wchar_t* wmemcpy(wchar_t* dest, const wchar_t* src, size_t n);
wchar_t* wmemmove(wchar_t* dest, const wchar_t* src, size_t n);
wchar_t* wmemset(wchar_t* s, wchar_t c, size_t n);
int wmemcmp(const wchar_t* a, const wchar_t* b, size_t n);
wchar_t* wmemchr(const wchar_t* s, wchar_t c, size_t n);

#endif
