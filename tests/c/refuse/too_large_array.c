/* expect: too_large_array.c:3:6: error: 'big' is 70000 units, more than fit in Rill's 65536-unit address space */
/* The count alone leaves the address space. */
char big[70000];
int main(void) { return big[1]; }
