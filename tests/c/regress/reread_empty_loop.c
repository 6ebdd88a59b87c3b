/* Reduced from a test program: zopt at level 2 kept this loop, and a
   level-0 reading of its output deleted it. */
int g, l;
int main(void) {
  for (g = 0; g != 28; ++g) { int *p = 0; l = (p == 0); }
  return g + l - 29;
}
