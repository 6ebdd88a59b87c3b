/* alloca.h for Rill: a block of the calling function's frame, released
   when that function returns. */
#ifndef _RILL_ALLOCA_H
#define _RILL_ALLOCA_H

typedef __SIZE_TYPE__ size_t;
void* alloca(size_t size);
#define alloca(size) __builtin_alloca(size)

#endif
