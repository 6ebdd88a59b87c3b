// allocate_regs: every liveness candidate goes into a register (class 4,
// no memory home); everything else of the frame stays on the stack. The
// candidates exclude whatever a register cannot hold: variables whose
// address is taken anywhere, volatile, aliased, exception-table, vector,
// complex and aggregate ones. Registers are unlimited here, but the number
// each variable would take is chosen by colouring the conflicts, copies
// first, so that the log shows how many registers the function needs.
// At level 0 the file's own choice stands: a candidate that the input
// holds in a register keeps it, and no other gets one.
#include <algorithm>
#include <cstdio>

#include "driver/globals.h"
#include "ir/bitvec.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "options/global_flags.h"
#include "scalar/cfg.h"
#include "scalar/lva.h"
#include "scalar/regalloc.h"
#include "scalar/simp.h"
#include "ssa/alias.h"

namespace {

bool input_had_register(const SYMTAB* s) { return s->orig_sclass == SC_REGISTER || s->orig_sclass == SC_REG22; }

bool is_frame_local(const SYMTAB* s) {
  return s->lex_level == 2 && (s->sclass == SC_LOCAL || s->sclass == SC_REGISTER || s->sclass == SC_REG22);
}

// The lowest register no conflicting candidate has, a preferred one first.
int choose_register(int i, const std::vector<int>& reg) {
  const BITVEC* c = var_conflicts[static_cast<size_t>(i)];
  std::vector<bool> taken;
  for (int j = 0; j < c->nbits; ++j)
    if (c->bv_test(j) && reg[static_cast<size_t>(j)] >= 0) {
      size_t r = static_cast<size_t>(reg[static_cast<size_t>(j)]);
      if (taken.size() <= r) taken.resize(r + 1, false);
      taken[r] = true;
    }
  auto is_free = [&](int r) { return static_cast<size_t>(r) >= taken.size() || !taken[static_cast<size_t>(r)]; };
  for (int p : var_preferences[static_cast<size_t>(i)]) {
    int r = reg[static_cast<size_t>(p)];
    if (r >= 0 && is_free(r)) return r;
  }
  int r = 0;
  while (!is_free(r)) ++r;
  return r;
}

}  // namespace

void report_allocation(int index, char* reg, int sclass, SYMTAB* sym) {
  const char* name = sym && sym->name ? sym->name : "";
  for (FILE* f : {print_debug ? fdebug : nullptr, write_opt_info ? finfo : nullptr}) {
    if (!f) continue;
    if (reg) fprintf(f, "\t(%d) '%s' is allocated to register %s (class %d).\n", index, name, reg, sclass);
    else fprintf(f, "\t(%d) '%s' remains allocated on the stack.\n", index, name);
  }
}

void allocate_regs() {
  if (print_debug && fdebug) fprintf(fdebug, "\n\n\t\t\t---------- ENTERING 'allocate_regs' ----------\n");
  if (!currfuninfo || !cfg.bb_list) return;
  find_live_variables(0, false);
  mark_aliased_vector_and_complex_symbols(true, true);
  init_reg_defs();
  find_conflicts();
  int n = lva_candidate_count();
  std::vector<int> reg(static_cast<size_t>(n), -1);
  int used = 0, in_registers = 0;
  for (int i = 0; i < n; ++i) {
    SYMTAB* s = lva_candidate(i);
    // A register kind of its own (17) keeps its class.
    if (s->sclass == SC_REG17) continue;
    if (opt_level < 1 && !input_had_register(s)) continue;
    reg[static_cast<size_t>(i)] = choose_register(i, reg);
    used = std::max(used, reg[static_cast<size_t>(i)] + 1);
    ++in_registers;
    s->sclass = s->orig_sclass == SC_REG22 ? SC_REG22 : SC_REGISTER;
    s->sflags &= static_cast<uint8_t>(~SF_HAS_HOME);
    s->offset = 0;
    char text[16];
    snprintf(text, sizeof text, "r%d", reg[static_cast<size_t>(i)]);
    report_allocation(i, text, s->sclass, s);
  }
  // Everything else of the frame has its home in memory.
  int stack_index = n, on_stack = 0;
  for (SYMTAB* chain : {currfuninfo->symbols, currfuninfo->chain4, currfuninfo->temps})
    for (SYMTAB* s = chain; s; s = s->next) {
      int i = lva_index(s);
      if (!is_frame_local(s) || (i >= 0 && reg[static_cast<size_t>(i)] >= 0)) continue;
      s->sclass = SC_LOCAL;
      s->sflags |= SF_HAS_HOME;
      ++on_stack;
      report_allocation(i >= 0 ? i : stack_index++, nullptr, SC_LOCAL, s);
    }
  if (print_debug && fdebug)
    fprintf(fdebug, "\n\t%d variables in registers, which %d registers can hold; %d on the stack.\n", in_registers,
            used, on_stack);
  currfuninfo->symbols = sort_stack_variables(currfuninfo->symbols);
  init_reg_defs();
}
