// Points-to bindings of the current function's pointer variables: what each
// may point to, per block (IN and OUT) and over the whole function.
#pragma once
#include <cstdint>
#include <vector>

struct NODE;
struct SYMTAB;
struct BBLK;
struct FUNINFO;

// Target categories of a binding.
enum PT_CATEGORY : uint32_t {
  PT_NULL = 0x001, PT_ADCON = 0x002, PT_SCON = 0x004, PT_HEAP = 0x008, PT_AUTOF = 0x010,
  PT_AUTOL = 0x020, PT_STATICF = 0x040, PT_STATICL = 0x080, PT_STATICG = 0x100, PT_EXTERN = 0x200,
};

// One target: a variable (`param` false) or the value a parameter had at
// entry (`param` true), at the places offset + n * stride (addressable
// units; stride 0: exactly at offset).
struct PT_TARGET {
  SYMTAB* sym = nullptr;
  bool param = false;
  int64_t offset = 0;
  int64_t stride = 0;
};

// The binding of one pointer. `all` is the bottom: anything.
struct PTENV {
  bool all = false;
  uint32_t categories = 0;
  std::vector<PT_TARGET> targets;

  bool empty() const { return !all && categories == 0 && targets.empty(); }
  bool operator==(const PTENV& o) const;
  // Joins `o` in; true when this changed.
  bool join(const PTENV& o);
  // Moves every target by `units`, or by an unknown amount.
  void shift(int64_t units);
  void shift_unknown();
  static PTENV bottom();
};

void dump_ptr_PT_binding(const PTENV* env);
// The alignment, in bits, that every place of the binding has; 0 for none.
int64_t overall_PT_align(const PTENV* env);
// The one variable the binding can point into, or null.
SYMTAB* single_pointsto_target_if_known(const PTENV* env);
SYMTAB* single_pointsto_target_if_known(SYMTAB* pointer);

// Computes the bindings of the current function: prints the ENTERING
// banner, renumbers the blocks, iterates forward to a fixed point and, with
// print_debug, dumps them.
void propagate_PT_info();
// Drops the bindings (renumber_bblocks calls it).
void clear_PT_vectors();
// The binding a pointer variable may have anywhere in the function; null
// when the variable isn't tracked (its binding is then anything).
const PTENV* pointer_PT_summary(const SYMTAB* pointer);
// The binding of a tracked pointer at the entry of a block (after
// propagate_PT_info); null when unknown.
const PTENV* PT_binding_at_entry(const SYMTAB* pointer, const BBLK* bb);
// The binding of a pointer value (an expression) by the summaries.
PTENV PT_binding_of_value(NODE* pointer);
// The places two bindings, each accessed with `size_a` and `size_b` units
// from its places, may share.
bool PT_bindings_may_overlap(const PTENV& a, int64_t size_a, const PTENV& b, int64_t size_b);

// Formal parameters and actual arguments of the calls between the
// functions of the file, as far as points-to needs them.
struct FPARM {
  FUNINFO* callee = nullptr;
  int index = 0;
  PTENV binding;        // the meet over the calls seen
  int calls_seen = 0;
  FPARM* next = nullptr;
};
struct AARG {
  NODE* tree = nullptr;  // the argument
  PTENV binding;         // its binding at the call
  FUNINFO* caller = nullptr;
};
// The formal-parameter record of a callee's parameter, made on first use.
FPARM* find_or_make_FPARM(FUNINFO* callee, int index);
// Meets the argument's binding into the parameter's; true when it changed.
bool meet_FPARM_with_PT_info(FPARM* formal, AARG* actual);
