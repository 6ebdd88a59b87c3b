/* expect: static_assert.c:3:1: error: static assertion failed on Rill */
/* Clang measures int in 8-bit bytes; on Rill it is two 16-bit units. */
_Static_assert(sizeof(int) == 4, "four bytes");
int main(void) { return 0; }
