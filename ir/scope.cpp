#include <cstring>
#include <new>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"

namespace {
// The open scopes, innermost last: [0] the file level, [1] the function,
// [2] its outer block, then nested blocks.
const int kMaxDepth = 256;
// The file, the function, its outer block and the nested blocks a file may have.
static_assert(kMaxDepth > IF_MAX_BLOCK_NESTING + 3, "a scope the reader takes must have its place");
LS* open_scopes[kMaxDepth];
int depth = 0;
int scope_counter = 0;
}  // namespace

LS* LS::open(PSN* psn, SYMTAB* sym, uint32_t flags) {
  if (depth == 0 && open_scopes[0]) {
    // Reopening the file level reuses the one record.
    open_scopes[0]->first_child = open_scopes[0]->last_child = nullptr;
    depth = 1;
    return open_scopes[0];
  }
  // The file-level scope outlives functions; the others die with the pool.
  LS* s = new (zalloc0(depth == 0 ? 0 : 1, sizeof(LS))) LS();
  s->open_psn = psn;
  s->owner = sym;
  s->flags = flags;
  s->level = depth;
  s->num1 = ++scope_counter;
  s->num2 = depth;
  if (depth > 0) {
    LS* parent = open_scopes[depth - 1];
    s->parent = parent;
    if (!parent->first_child)
      parent->first_child = s;
    else
      parent->last_child->next_sibling = s;
    parent->last_child = s;
  }
  if (depth < kMaxDepth) open_scopes[depth++] = s;
  if (depth == 2 && currfuninfo) currfuninfo->root_scope = s;
  return s;
}

void LS::close(PSN* psn, SYMTAB*, uint32_t) {
  if (depth == 0) return;
  LS* s = open_scopes[depth - 1];
  s->close_psn = psn;
  --depth;
  if (depth > 0) open_scopes[depth] = nullptr;
}

LS* LS::current() { return depth ? open_scopes[depth - 1] : nullptr; }
LS* LS::level_0_scope() { return open_scopes[0]; }
LS* LS::level_1_scope() { return depth > 1 ? open_scopes[1] : (currfuninfo ? currfuninfo->root_scope : nullptr); }
LS* LS::level_2_scope() {
  if (depth > 2) return open_scopes[2];
  LS* root = currfuninfo ? currfuninfo->root_scope : nullptr;
  return root && root->first_child ? root->first_child : root;
}

void LS::add_symbol(SYMTAB* sym) {
  if (!sym || !sym->name) return;
  if (is_optimizer_temp(sym->name, 104, 0) || is_optimizer_temp(sym->name, 105, 0)) return;
  LS* root = currfuninfo ? currfuninfo->root_scope : nullptr;
  if (this != root || !sym->type) return;
  TYPE* t = sym->type->rep ? sym->type->rep : sym->type;
  if (t->kind == TYPE::KIND_POINTER) {
    pointers = mk_symlist(sym, pointers);
    return;
  }
  if (sym->lex_level < 3 || is_internal_name(sym->name)) return;
  if (t->kind >= TYPE::KIND_CLASS) classes = mk_symlist(sym, classes);
  else if (t->kind == TYPE::KIND_ARRAY) arrays = mk_symlist(sym, arrays);
  else others = mk_symlist(sym, others);
}

bool LS::encloses(const LS* scope) const {
  for (const LS* s = scope; s; s = s->parent)
    if (s == this) return true;
  return false;
}

bool LS::is_strictly_contained_by(const LS* scope) const { return scope && scope != this && scope->encloses(this); }

LS* LS::innermost_common_scope(LS* a, LS* b) {
  if (!a) return b;
  if (!b) return a;
  for (LS* s = a; s; s = s->parent)
    if (s->encloses(b)) return s;
  return nullptr;
}

void LS::validate() const {
  bool ok = true;
  for (const LS* c = first_child; c; c = c->next_sibling) {
    if (c->parent != this || c->level != level + 1) {
      dprintf("LS::validate: scope #%d|%d has a bad parent link\n", c->num1, c->num2);
      ok = false;
    }
    c->validate();
  }
  if (!ok) abort_optimizer();
}

void LS::print(bool, FILE* stream, int indent, bool) const {
  if (!stream) {
    if (!print_debug || !fdebug) return;
    stream = fdebug;
  }
  fprintf(stream, "%*sscope #%d|%d level %d", indent * 2, "", num1, num2, level);
  if (open_psn) fprintf(stream, " from line %u", open_psn->line);
  if (close_psn) fprintf(stream, " to line %u", close_psn->line);
  fputc('\n', stream);
  for (const SYMLIST* l : {pointers, classes, arrays, others})
    for (; l; l = l->next) fprintf(stream, "%*s  %s\n", indent * 2, "", l->sym->name);
  for (const LS* c = first_child; c; c = c->next_sibling) c->print(false, stream, indent + 1, false);
}

// Forgets the scopes of the function just finished; the file level stays.
void reset_function_scopes() {
  depth = open_scopes[0] ? 1 : 0;
  for (int i = 1; i < kMaxDepth; ++i) open_scopes[i] = nullptr;
  if (open_scopes[0]) open_scopes[0]->first_child = open_scopes[0]->last_child = nullptr;
}
