/* stdint.h for Rill. The addressable unit is 16 bits, so there are no 8-bit
   and no 64-bit integers: int8_t, uint8_t, int64_t, uint64_t and the least
   and fast 64-bit types do not exist, and naming one is an error that says
   so (their limit macros are not defined either, as C wants for a missing
   type). A program that brings its own, limits included, keeps them. The
   least and fast 8-bit types are the 16-bit char types. */
#ifndef _RILL_STDINT_H
#define _RILL_STDINT_H

#define __RILL_NO_8 __attribute__((unavailable("Rill has no 8-bit integer type: its smallest is 16 bits (int16_t, int_least8_t)")))
#define __RILL_NO_64 __attribute__((unavailable("Rill has no 64-bit integer type: its largest is 32 bits (int32_t, intmax_t)")))
#ifndef INT8_MAX
typedef signed char int8_t __RILL_NO_8;
typedef unsigned char uint8_t __RILL_NO_8;
#endif
#ifndef INT64_MAX
typedef long long int64_t __RILL_NO_64;
typedef unsigned long long uint64_t __RILL_NO_64;
typedef long long int_least64_t __RILL_NO_64;
typedef unsigned long long uint_least64_t __RILL_NO_64;
typedef long long int_fast64_t __RILL_NO_64;
typedef unsigned long long uint_fast64_t __RILL_NO_64;
#endif
#undef __RILL_NO_8
#undef __RILL_NO_64

typedef short int16_t;
typedef unsigned short uint16_t;
typedef int int32_t;
typedef unsigned int uint32_t;

typedef signed char int_least8_t;
typedef unsigned char uint_least8_t;
typedef short int_least16_t;
typedef unsigned short uint_least16_t;
typedef int int_least32_t;
typedef unsigned int uint_least32_t;

typedef signed char int_fast8_t;
typedef unsigned char uint_fast8_t;
typedef short int_fast16_t;
typedef unsigned short uint_fast16_t;
typedef int int_fast32_t;
typedef unsigned int uint_fast32_t;

typedef int intptr_t;
typedef unsigned int uintptr_t;
typedef long long intmax_t;
typedef unsigned long long uintmax_t;

#define INT16_MIN (-32767 - 1)
#define INT16_MAX 32767
#define UINT16_MAX 65535
#define INT32_MIN (-2147483647 - 1)
#define INT32_MAX 2147483647
#define UINT32_MAX 4294967295U

#define INT_LEAST8_MIN (-32767 - 1)
#define INT_LEAST8_MAX 32767
#define UINT_LEAST8_MAX 65535
#define INT_LEAST16_MIN (-32767 - 1)
#define INT_LEAST16_MAX 32767
#define UINT_LEAST16_MAX 65535
#define INT_LEAST32_MIN (-2147483647 - 1)
#define INT_LEAST32_MAX 2147483647
#define UINT_LEAST32_MAX 4294967295U

#define INT_FAST8_MIN (-32767 - 1)
#define INT_FAST8_MAX 32767
#define UINT_FAST8_MAX 65535
#define INT_FAST16_MIN (-32767 - 1)
#define INT_FAST16_MAX 32767
#define UINT_FAST16_MAX 65535
#define INT_FAST32_MIN (-2147483647 - 1)
#define INT_FAST32_MAX 2147483647
#define UINT_FAST32_MAX 4294967295U

#define INTPTR_MIN (-2147483647 - 1)
#define INTPTR_MAX 2147483647
#define UINTPTR_MAX 4294967295U
#define INTMAX_MIN (-2147483647LL - 1)
#define INTMAX_MAX 2147483647LL
#define UINTMAX_MAX 4294967295ULL

#define PTRDIFF_MIN (-2147483647 - 1)
#define PTRDIFF_MAX 2147483647
#define SIZE_MAX 4294967295U
#define SIG_ATOMIC_MIN (-2147483647 - 1)
#define SIG_ATOMIC_MAX 2147483647
#define WCHAR_MIN 0
#define WCHAR_MAX 65535
#define WINT_MIN (-2147483647 - 1)
#define WINT_MAX 2147483647

#define INT8_C(c) c
#define UINT8_C(c) c
#define INT16_C(c) c
#define UINT16_C(c) c
#define INT32_C(c) c
#define UINT32_C(c) c##U
#define INTMAX_C(c) c##LL
#define UINTMAX_C(c) c##ULL

#endif
