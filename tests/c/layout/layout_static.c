/* rill-only: Rill's sizes, alignments and layouts, checked where c2icode
   evaluates them itself: a failing assertion is an error. Sizes count
   16-bit units. */
#include <limits.h>
#include <stddef.h>
#include <stdint.h>

#define CHECK(e) _Static_assert(e, #e)

CHECK(CHAR_BIT == 16);
CHECK(sizeof(char) == 1 && sizeof(short) == 1 && sizeof(int) == 2);
CHECK(sizeof(long) == 2 && sizeof(long long) == 2 && sizeof(_Bool) == 2);
CHECK(sizeof(float) == 2 && sizeof(double) == 2 && sizeof(long double) == 2);
CHECK(sizeof(void*) == 1 && sizeof(int (*)(void)) == 1 && sizeof(size_t) == 2);
CHECK(_Alignof(char) == 1 && _Alignof(int) == 2 && _Alignof(void*) == 1);
CHECK((size_t)-1 == 4294967295U && (unsigned char)-1 == 65535);
CHECK((char)300 == 300 && '\xff' == 255 && (signed char)40000 == 40000 - 65536);
CHECK(sizeof("abc") == 4 && sizeof(L"ab") == 3);

struct A { char c; int i; };
CHECK(sizeof(struct A) == 4 && offsetof(struct A, i) == 2 && _Alignof(struct A) == 2);

struct B { char a, b, c; };
CHECK(sizeof(struct B) == 3 && _Alignof(struct B) == 1);

struct C { int i; char c; };
CHECK(sizeof(struct C) == 4);

struct D { short s; char c; int* p; };
CHECK(sizeof(struct D) == 3 && offsetof(struct D, p) == 2);

struct E { char c; struct A a; };
CHECK(sizeof(struct E) == 6 && offsetof(struct E, a.i) == 4);

union U { char c; int i; short s[3]; };
CHECK(sizeof(union U) == 4);

/* Bit-fields: a field stays in the storage unit of its type if it fits. */
struct BF { unsigned a : 3; unsigned b : 5; unsigned c : 30; };
CHECK(sizeof(struct BF) == 4);

struct BF2 { char c; unsigned short x : 4; unsigned short y : 12; unsigned short z : 4; };
CHECK(sizeof(struct BF2) == 3);

struct BF3 { int a : 4; int : 0; int b : 4; };
CHECK(sizeof(struct BF3) == 4);

/* Unnamed bit-fields do not align the structure; this one crosses the
   32-bit boundary from bit 16, so it moves to bit 32 and ends at bit 52. */
struct BF4 { char c; int : 20; };
CHECK(sizeof(struct BF4) == 4 && _Alignof(struct BF4) == 1);

#pragma pack(1)
struct P1 { char c; int i; };
#pragma pack()
CHECK(sizeof(struct P1) == 3 && offsetof(struct P1, i) == 1);

struct __attribute__((packed)) P2 { char c; int i; short s; };
CHECK(sizeof(struct P2) == 4 && offsetof(struct P2, s) == 3);

struct AL { char c __attribute__((aligned(4))); };
CHECK(sizeof(struct AL) == 4 && _Alignof(struct AL) == 4);

struct FLEX { int n; char data[]; };
CHECK(sizeof(struct FLEX) == 2 && offsetof(struct FLEX, data) == 2);

int m[3][5];
CHECK(sizeof m == 30 && sizeof m[0] == 10 && sizeof m[0][0] == 2);

/* Bounds that Clang alone would measure in 8-bit bytes. */
char bytes[sizeof(int) * 3];
CHECK(sizeof bytes == 6);
struct A pair[sizeof(struct B)];
CHECK(sizeof pair == 12);
char again[sizeof pair];
CHECK(sizeof again == 12);

enum colour { RED, GREEN = 5, BLUE };
CHECK(sizeof(enum colour) == 2 && BLUE == 6);

int main(void) { return sizeof(struct A) - 4; }
