/* expect: c2icode: unsupported: statement expression at statement_expr.c:3:11 */
int main(void) {
  int x = ({ int y = 2; y * 3; });
  return x;
}
