/* expect: c2icode: unsupported: thread-local variable at thread_local.c:2:26 */
static _Thread_local int counter;
int main(void) { return counter; }
