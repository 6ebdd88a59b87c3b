/* expect: c2icode: unsupported: inline assembly at asm.c:3:3 */
int main(void) {
  __asm__("nop");
  return 0;
}
