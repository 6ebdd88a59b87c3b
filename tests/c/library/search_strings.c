/* The searching functions of string.h: strrchr, strstr, strpbrk, strspn,
   strcspn, memchr, and strncat. */
#include <stdio.h>
#include <string.h>

static const char* or_none(const char* p) { return p ? p : "(none)"; }

int main(void) {
  const char* path = "/usr/local/lib/librill.a";
  printf("%s %s %s\n", strrchr(path, '/') + 1, or_none(strrchr(path, 'q')), strrchr(path, '\0') == path + strlen(path) ? "end" : "?");
  printf("%s|%s|%s\n", or_none(strstr(path, "lib")), or_none(strstr(path, "rillx")), strstr(path, "") == path ? "all" : "?");
  printf("%s %s\n", or_none(strpbrk("key=value;x", "=;")), or_none(strpbrk("plain", "=;")));
  printf("%d %d %d\n", (int)strspn("  \t tab", " \t"), (int)strcspn("word, word", ",;"), (int)strspn("abc", ""));
  char buf[16] = "ab";
  strncat(buf, "cdefgh", 3);
  strncat(buf, "!", 10);
  printf("%s %d\n", buf, (int)strlen(buf));
  char mem[6] = { 'x', 'y', 0, 'z', 'y', 'w' };
  char* y2 = memchr(mem + 2, 'y', 4);
  printf("%d %d %d\n", (int)(y2 - mem), memchr(mem, 'w', 5) == NULL, (int)((char*)memchr(mem, 0, 6) - mem));
  int words = 0;
  for (const char* s = "one two  three"; *s; ) {
    s += strspn(s, " ");
    if (!*s) break;
    ++words;
    s += strcspn(s, " ");
  }
  printf("%d\n", words);
  return 0;
}
