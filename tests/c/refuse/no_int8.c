/* expect: error: 'uint8_t' is unavailable: Rill has no 8-bit integer type: its smallest is 16 bits (int16_t, int_least8_t) */
#include <stdint.h>
int16_t fine = 1;
int main(void) { uint8_t byte = 3; return byte + fine; }
