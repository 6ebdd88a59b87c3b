// Target memory: 65,536 units of 16 bits, and the objects that live in it.
//
// Every object (global, string literal, stack variable, variable-argument
// area, heap block, function) takes one slot of a table. A pointer value
// carries the slot and its generation (its provenance), so each access
// through a pointer is checked against the bounds of the object the pointer
// was made from, and a pointer to a dead object is caught. A pointer stored
// in memory keeps its provenance in a shadow word per unit; a pointer made
// from an integer has none and is matched to the object that holds its
// address when it is used.
#pragma once
#include <cstdint>
#include <vector>

#include "tools/icode-run/run_types.h"

struct XFUNC;

enum OBJ_KIND : uint8_t {
  OBJ_NONE,
  OBJ_GLOBAL,
  OBJ_LITERAL,
  OBJ_STACK,
  OBJ_VARARGS,
  OBJ_HEAP,
  OBJ_FUNCTION,
  OBJ_ARGV,
};

struct RUN_OBJ {
  uint32_t base = 0;
  uint32_t end = 0;   // [base, end) may be read
  uint32_t wend = 0;  // [base, wend) may be written: base for a constant object
  uint16_t gen = 0;
  uint8_t kind = OBJ_NONE;
  bool live = false;
  const char* name = nullptr;
  XFUNC* fn = nullptr;  // OBJ_FUNCTION
};

constexpr uint32_t ADDRESS_UNITS = 65536;

struct RUN_MEMORY {
  uint16_t mem[ADDRESS_UNITS + 8];
  uint32_t shadow[ADDRESS_UNITS + 8];  // provenance of a pointer stored at the unit, else 0
  uint16_t owner[ADDRESS_UNITS];       // slot of the live object holding the unit, else 0
  RUN_OBJ objs[ADDRESS_UNITS];
  std::vector<uint16_t> free_slots;

  void reset();
  // A new live object; its units are zeroed. Returns its provenance word.
  uint32_t create(uint32_t base, uint32_t units, OBJ_KIND kind, const char* name, bool readonly);
  void destroy(uint32_t prov);
  // Copies units with their shadow, as memmove does.
  void move(uint32_t dst, uint32_t src, uint32_t units);
};

extern RUN_MEMORY run_mem;

inline uint32_t p_addr(VAL p) { return static_cast<uint32_t>(p) & 0xffffu; }
inline uint32_t p_prov(VAL p) { return static_cast<uint32_t>(p >> 32); }
inline VAL make_ptr(uint32_t addr, uint32_t prov) {
  return static_cast<VAL>(addr & 0xffffu) | static_cast<VAL>(prov) << 32;
}
inline VAL ptr_add(VAL p, uint32_t units) {
  return ((static_cast<uint32_t>(p) + units) & 0xffffu) | (p & 0xffffffff00000000ull);
}

// The slow path of the access checks: lets the access go on when a pointer
// without provenance falls inside a live object, otherwise reports the error.
void mem_fault(VAL p, uint32_t units, bool write);

inline void check_read(VAL p, uint32_t units) {
  uint32_t prov = p_prov(p);
  const RUN_OBJ& o = run_mem.objs[prov & 0xffffu];
  uint32_t a = static_cast<uint32_t>(p);
  if (__builtin_expect(o.gen != (prov >> 16) || a < o.base || a + units > o.end, 0)) mem_fault(p, units, false);
}
inline void check_write(VAL p, uint32_t units) {
  uint32_t prov = p_prov(p);
  const RUN_OBJ& o = run_mem.objs[prov & 0xffffu];
  uint32_t a = static_cast<uint32_t>(p);
  if (__builtin_expect(o.gen != (prov >> 16) || a < o.base || a + units > o.wend, 0)) mem_fault(p, units, true);
}

// The live object a pointer refers to (by provenance, or by address when it
// has none); null when there is none.
const RUN_OBJ* object_of(VAL p);
// Provenance word of an object's slot.
inline uint32_t prov_of_slot(uint32_t slot) { return static_cast<uint32_t>(run_mem.objs[slot].gen) << 16 | slot; }
