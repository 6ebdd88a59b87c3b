/* expect: c2icode: unsupported: address of a label at label_address.c:3:13 */
int main(void) {
  void* p = &&out;
  goto *p;
out:
  return 0;
}
