/* Forced in front of csmith's programs. csmith's runtime defines helpers
   for 8-bit integers whether it uses them or not, and Rill has none: its
   smallest integers are 16 bits. The programs are generated without 8-bit
   types, so these names serve only helpers that mask their values to 8
   bits themselves. */
typedef signed char int8_t;
typedef unsigned char uint8_t;
#define INT8_MIN (-128)
#define INT8_MAX 127
#define UINT8_MAX 255
