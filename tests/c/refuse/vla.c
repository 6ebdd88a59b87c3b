/* expect: c2icode: unsupported: sizeof of a variable-length array expression with side effects at vla.c:6:10 */
/* C evaluates the operand of sizeof when it is a variable-length array;
   the front end takes the size from the counts and refuses to drop effects. */
int f(int n) {
  int a[n][n];
  return sizeof(a[n++]);
}
int main(void) { return f(2); }
