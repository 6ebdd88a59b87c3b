/* expect: too_large_local.c:3:22: error: 'grid' is 120000 units, more than fit in Rill's 65536-unit address space */
/* Two units an element make the object too large, where one would not. */
int main(void) { int grid[300][200]; grid[1][1] = 0; return grid[1][1]; }
