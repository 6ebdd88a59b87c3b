/* expect: c2icode: unsupported: variable-length array at vla.c:5:7 */
int f(int n);
int f(int n) {
  int total = 0;
  int a[n];
  a[0] = n;
  total += a[0];
  return total;
}
