/* expect: too_large_struct.c:4:42: error: 's' is 80000 units, more than fit in Rill's 65536-unit address space */
/* Each member fits; the structure does not. A local is named the same way. */
int main(void) { int ok[20000]; ok[0] = 0; return ok[0]; }
struct S { int a[20000]; int b[20000]; } s;
