/* expect: error: 'int64_t' is unavailable: Rill has no 64-bit integer type: its largest is 32 bits (int32_t, intmax_t) */
#include <stdint.h>
int64_t big;
int main(void) { return (int)big; }
