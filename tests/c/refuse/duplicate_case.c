/* expect: duplicate_case.c:6:5: error: duplicate case value 2 on Rill */
int f(int x) {
  switch (x) {
    case 2:
      return 1;
    case sizeof(int):
      return 2;
  }
  return 0;
}
