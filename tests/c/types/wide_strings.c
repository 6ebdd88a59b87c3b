/* wchar.h: wide strings and the wide string and memory functions, on
   values gcc's 32-bit wchar_t and Rill's 16-bit one hold alike. */
#include <stdio.h>
#include <wchar.h>

static int sign(int v) { return (v > 0) - (v < 0); }

int main(void) {
  wchar_t buf[32];
  const wchar_t* hello = L"hello";
  wcscpy(buf, hello);
  wcscat(buf, L", wide");
  printf("%d %d\n", (int)wcslen(buf), (int)wcslen(L""));
  printf("%d %d %d\n", sign(wcscmp(buf, hello)), sign(wcscmp(L"abc", L"abd")), sign(wcsncmp(L"abcx", L"abcy", 3)));
  wchar_t* comma = wcschr(buf, L',');
  wchar_t* last = wcsrchr(buf, L'e');
  wchar_t* wide = wcsstr(buf, L"wide");
  printf("%d %d %d %d\n", (int)(comma - buf), (int)(last - buf), (int)(wide - buf), wcschr(buf, L'q') == NULL);
  printf("%d %d %d\n", (int)wcsspn(L"aab", L"a"), (int)wcscspn(L"key=v", L"="), (int)(wcspbrk(buf, L"ow") - buf));
  wchar_t copy[8];
  wmemset(copy, L'z', 8);
  wmemcpy(copy, L"1234", 4);
  wmemmove(copy + 1, copy, 3);
  printf("%d %d %d %d\n", copy[0], copy[3], copy[7], sign(wmemcmp(copy, L"1123", 4)));
  printf("%d %d\n", (int)(wmemchr(copy, L'3', 8) - copy), wmemchr(copy, L'9', 8) == NULL);
  wcsncpy(copy, L"ab", 4);
  wcsncat(copy, L"cdef", 2);
  printf("%d %d %d\n", (int)wcslen(copy), copy[3], (int)WEOF == -1);
  wint_t big = 0xFFFF;
  printf("%u\n", (unsigned)big);
  return 0;
}
