/* expect: c2icode: unsupported: complex type at complex.c:2:16 */
_Complex float z;
int main(void) { return (int)__real__ z; }
