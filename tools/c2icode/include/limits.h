/* limits.h for Rill: char and short are 16 bits; int, long and long long 32. */
#ifndef _RILL_LIMITS_H
#define _RILL_LIMITS_H

#define CHAR_BIT 16
#define MB_LEN_MAX 1

#define SCHAR_MIN (-32767 - 1)
#define SCHAR_MAX 32767
#define UCHAR_MAX 65535
#define CHAR_MIN SCHAR_MIN
#define CHAR_MAX SCHAR_MAX

#define SHRT_MIN (-32767 - 1)
#define SHRT_MAX 32767
#define USHRT_MAX 65535

#define INT_MIN (-2147483647 - 1)
#define INT_MAX 2147483647
#define UINT_MAX 4294967295U

#define LONG_MIN (-2147483647L - 1)
#define LONG_MAX 2147483647L
#define ULONG_MAX 4294967295UL

#define LLONG_MIN (-2147483647LL - 1)
#define LLONG_MAX 2147483647LL
#define ULLONG_MAX 4294967295ULL

#endif
