// What a loop's MUST_ITERATE pragma says of its trip count.
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "scalar/cfg.h"
#include "scalar/loop.h"

namespace {

PRAGMA* pragma_of(NODE* p) { return p && p->op == PPRAGMA ? static_cast<PRAGMA*>(p->sym) : nullptr; }

NODE* trip_pragma_in(BBLK* b) {
  for (LIST* l = b ? b->statements : nullptr; l; l = l->next) {
    PRAGMA* pr = pragma_of(l->tree);
    if (pr && pr->id == PRAGMA_MUST_ITERATE) return l->tree;
  }
  return nullptr;
}

}  // namespace

long get_PPRAGMA_tree_int_arg(NODE* pragma, int index) {
  PRAGMA* pr = pragma_of(pragma);
  if (!pr || index < 0 || static_cast<uint32_t>(index) >= pr->argc || !pr->argv[index]) return -1;
  const char* text = pr->argv[index];
  char* end = nullptr;
  errno = 0;
  long v = strtol(text, &end, 10);
  if (errno || end == text || *end || v < 0) return -1;
  return v;
}

void set_PPRAGMA_tree_int_arg(NODE* pragma, int index, long value) {
  PRAGMA* pr = pragma_of(pragma);
  if (!pr || index < 0) return;
  if (static_cast<uint32_t>(index) >= pr->argc) {
    char** grown = static_cast<char**>(zalloc(sizeof(char*) * static_cast<size_t>(index + 1)));
    for (uint32_t i = 0; i < pr->argc; ++i) grown[i] = pr->argv[i];
    for (int i = static_cast<int>(pr->argc); i <= index; ++i) grown[i] = zstrdup(1, "");
    pr->argv = grown;
    pr->argc = static_cast<uint32_t>(index + 1);
  }
  char text[32];
  snprintf(text, sizeof text, "%ld", value);
  pr->argv[index] = zstrdup(1, text);
}

NODE* find_loop_trip_pragma(struct LOOP* loop) {
  if (!loop) return nullptr;
  if (NODE* p = trip_pragma_in(loop->head)) return p;
  return trip_pragma_in(loop->preheader);
}
