/* expect: clang_error.c:3:14: error: use of undeclared identifier 'missing' */
int main(void) {
  return 1 + missing;
}
