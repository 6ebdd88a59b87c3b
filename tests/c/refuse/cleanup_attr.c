/* expect: c2icode: unsupported: attribute 'cleanup' at cleanup_attr.c:5:24 */
static void done(int* p) { *p = 0; }

int main(void) {
  int x __attribute__((cleanup(done))) = 1;
  return x - 1;
}
