#include "driver/epilogue.h"

#include <algorithm>
#include <vector>

#include "driver/globals.h"
#include "driver/pipeline.h"
#include "icode/if_file.h"
#include "icode/opt_write.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"

void process_functions_in_order() {
  std::vector<FUNLIST*> order;
  for (FUNLIST* f = fileinfo.funlist ? fileinfo.funlist->next : nullptr; f; f = f->next) order.push_back(f);
  if (order.empty()) return;
  if (opt_level > 1) {
    // Callees before callers.
    std::reverse(order.begin(), order.end());
  } else {
    // Source order: by creation serial, equal serials keeping their order.
    std::stable_sort(order.begin(), order.end(),
                     [](const FUNLIST* a, const FUNLIST* b) { return a->fun->sym->serial < b->fun->sym->serial; });
  }
  for (FUNLIST* f : order)
    if (!(f->fun->flags & (FUN_is_suppressed | FUN_is_processed))) do_one_function(f);
  run_unsuppress_sweeps(order, do_one_function);
}

// Optimising a caller may make a suppressed inline function needed after
// all. A sweep goes on only while the one before wrote a function that was
// not written yet, so there are never more sweeps than functions, whatever
// the flags say.
void run_unsuppress_sweeps(const std::vector<FUNLIST*>& order, const std::function<void(FUNLIST*)>& do_one) {
  for (bool progress = true; progress;) {
    progress = false;
    for (FUNLIST* f : order) {
      uint32_t fl = f->fun->flags;
      if (fl & FUN_is_processed) continue;
      if ((fl & FUN_is_suppressed) && !(fl & FUN_cannot_suppress)) continue;
      if (print_debug && opt_level > 2 && fdebug) fprintf(fdebug, "\n!!! %s() must be unsuppressed !!!\n\n", f->fun->name);
      f->fun->flags &= ~static_cast<uint32_t>(FUN_is_suppressed);
      do_one(f);
      if (f->fun->flags & FUN_is_processed) progress = true;
    }
  }
}

namespace {

PRAGMA* new_dead_pragma(PRAGMA* next) {
  PRAGMA* p = static_cast<PRAGMA*>(zalloc0(0, sizeof(PRAGMA)));
  p->id = PRAGMA_DEAD;
  p->argc = 0;
  p->argv = nullptr;
  p->next = next;
  return p;
}

void print_pragmas(const SYMTAB* s) {
  for (const PRAGMA* p = s->pragmas; p; p = p->next) {
    const char* a0 = p->argc > 0 ? p->argv[0] : "";
    switch (p->id & 0xff) {
      case PRAGMA_SOURCE_LANGUAGE: fprintf(fdebug, "\t  Symbol pragma: SOURCE LANGUAGE = '%s'\n", a0); break;
      case PRAGMA_LOCAL_STATIC_OF: fprintf(fdebug, "\t  Symbol pragma: SYMBOL IS LOCAL STATIC OF %s()\n", a0); break;
      case PRAGMA_TRANSLATION_UNIT: fprintf(fdebug, "\t  Symbol pragma: TRANSLATION UNIT ID #%s\n", a0); break;
      case PRAGMA_CLASS_MEMBER: fprintf(fdebug, "\t  Symbol pragma: SYMBOL IS CLASS MEMBER\n"); break;
      case PRAGMA_DEAD: fprintf(fdebug, "\t  Symbol pragma: SYMBOL IS DEAD\n"); break;
      case PRAGMA_COMDAT_GROUP: fprintf(fdebug, "\t  Symbol pragma: COMDAT GROUP %s\n", a0); break;
      case PRAGMA_CTOR_DTOR:
        if (p->argc > 0 && a0[0] == 'C' && a0[1] == 0) fprintf(fdebug, "\t  Symbol pragma: SYMBOL IS CONSTRUCTOR\n");
        else if (p->argc > 0 && a0[0] == 'D' && a0[1] == 0) fprintf(fdebug, "\t  Symbol pragma: SYMBOL IS DESTRUCTOR\n");
        else fprintf(fdebug, "\t  Symbol pragma: SYMBOL IS CONSTRUCTOR/DESTRUCTOR\n");
        break;
      case PRAGMA_EXCEPTION_SPEC:
        fprintf(fdebug, "\t  Symbol pragma: EXCEPTION SPEC: (");
        for (uint32_t i = 0; i < p->argc; ++i) fprintf(fdebug, " %s", p->argv[i]);
        fprintf(fdebug, " )\n");
        break;
      case PRAGMA_FUNCTION_SYNONYM: fprintf(fdebug, "\t  Symbol pragma: SYMBOL IS FUNCTION SYNONYM of %s\n", a0); break;
      case PRAGMA_RET_BY_CCTOR: fprintf(fdebug, "\t  Symbol pragma: FUNC_RET_BY_CCTOR\n"); break;
      case PRAGMA_ALWAYS_INLINE: fprintf(fdebug, "\t  Symbol pragma: FUNCTION ALWAYS INLINE\n"); break;
      default:
        fprintf(fdebug, "\t  Symbol pragma #%d has %d arguments:", static_cast<int>(p->id), static_cast<int>(p->argc));
        for (uint32_t i = 0; i < p->argc; ++i) fprintf(fdebug, " %s", p->argv[i]);
        fprintf(fdebug, "\n");
    }
  }
}

}  // namespace

void write_global_epilogue() {
  if (print_debug && fdebug) fprintf(fdebug, "~~~ pass not built yet, skipped: dump_psnrefs\n");
  for (SYMTAB* s = global_symbols; s; s = s->next) {
    if (s->sflags & SF_CLUSTERED) s->sclass = s->sclass == SC_EXTDEF ? SC_CLUSTER_EXTDEF : SC_CLUSTER_OTHER;
    revert_symbol_type(s);
    if (s->sclass != SC_EXTDEF && s->sclass != SC_STATIC) continue;
    if (symbol_has_pragma(s, PRAGMA_KEEP_ALIVE)) continue;
    if (s->type && s->type->is_func()) {
      FUNINFO* f = find_FUNINFO(skip_name_prefix(s->name));
      const uint32_t keep = FUN_is_main | FUN_is_interrupt | FUN_is_anonymous | FUN_is_processed | FUN_is_pragma_EXT;
      if (f && function_is_defined(f) && !(f->flags & keep)) s->pragmas = new_dead_pragma(s->pragmas);
    } else if (s->sclass == SC_STATIC && !(s->scqual & SQ_REFERENCED) && no_outside_writers) {
      s->pragmas = new_dead_pragma(s->pragmas);
    }
  }
  if (!global_symbols) return;
  if (print_debug && fdebug) {
    fprintf(fdebug, "Global symbols\n");
    fprintf(fdebug, "-- variable -- size -- offset/class/scqual/aln/stype;\n");
  }
  for (SYMTAB* s = global_symbols; s; s = s->next) {
    if (print_debug && fdebug) {
      fprintf(fdebug, "%c   %-11.32s %2ld\t%4ld   %2d  %#6x  %2ld %-16s", '#', s->name, static_cast<long>(s->size),
              static_cast<long>(s->offset), s->sclass, s->scqual, static_cast<long>(s->align),
              s->type ? s->type->printstr(false) : "");
      fprintf(fdebug, "\t; (%d,%d)\n", s->lex_level, s->block);
    }
    if (s->init) {
      o_file->if_write_init(s);
      for (EXPR_ELEM* e = s->init->head; e; e = e->next) wrtree(e->tree);
    }
    if (print_debug && fdebug) print_pragmas(s);
  }
  interned_stats();
}
