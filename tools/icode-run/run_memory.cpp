#include "tools/icode-run/run_memory.h"

#include <cstring>

#include "tools/icode-run/run_error.h"

RUN_MEMORY run_mem;

void RUN_MEMORY::reset() {
  memset(mem, 0, sizeof mem);
  memset(shadow, 0, sizeof shadow);
  memset(owner, 0, sizeof owner);
  for (RUN_OBJ& o : objs) o = RUN_OBJ();
  // Slot 0 is "no object": its empty range fails every check.
  free_slots.clear();
  free_slots.reserve(ADDRESS_UNITS);
  for (uint32_t s = ADDRESS_UNITS - 1; s > 0; --s) free_slots.push_back(static_cast<uint16_t>(s));
}

uint32_t RUN_MEMORY::create(uint32_t base, uint32_t units, OBJ_KIND kind, const char* name, bool readonly) {
  if (free_slots.empty()) run_fail("too many live objects (%u)", ADDRESS_UNITS - 1);
  uint16_t slot = free_slots.back();
  free_slots.pop_back();
  RUN_OBJ& o = objs[slot];
  o.base = base;
  o.end = base + units;
  o.wend = readonly ? base : o.end;
  o.kind = kind;
  o.live = true;
  o.name = name;
  o.fn = nullptr;
  for (uint32_t a = base; a < o.end; ++a) owner[a] = slot;
  memset(&mem[base], 0, units * sizeof mem[0]);
  memset(&shadow[base], 0, units * sizeof shadow[0]);
  return prov_of_slot(slot);
}

void RUN_MEMORY::destroy(uint32_t prov) {
  uint16_t slot = static_cast<uint16_t>(prov & 0xffffu);
  RUN_OBJ& o = objs[slot];
  for (uint32_t a = o.base; a < o.end; ++a) owner[a] = 0;
  o.live = false;
  ++o.gen;
  free_slots.push_back(slot);
}

void RUN_MEMORY::move(uint32_t dst, uint32_t src, uint32_t units) {
  memmove(&mem[dst], &mem[src], units * sizeof mem[0]);
  memmove(&shadow[dst], &shadow[src], units * sizeof shadow[0]);
}

const RUN_OBJ* object_of(VAL p) {
  uint32_t prov = p_prov(p);
  uint32_t slot = prov & 0xffffu;
  if (slot == 0) slot = run_mem.owner[p_addr(p)];
  else if (run_mem.objs[slot].gen != (prov >> 16)) return nullptr;
  const RUN_OBJ& o = run_mem.objs[slot];
  return slot && o.live ? &o : nullptr;
}

static const char* object_name(const RUN_OBJ& o) { return o.name ? o.name : "an unnamed object"; }

void mem_fault(VAL p, uint32_t units, bool write) {
  uint32_t a = p_addr(p);
  uint32_t prov = p_prov(p);
  uint32_t slot = prov & 0xffffu;
  const char* what = write ? "write" : "read";
  if (slot == 0) {
    if (a == 0) run_fail("null pointer %s", what);
    slot = run_mem.owner[a];
    if (slot == 0) run_fail("%s at address 0x%04x, which lies in no object", what, a);
  } else if (run_mem.objs[slot].gen != (prov >> 16) || !run_mem.objs[slot].live) {
    run_fail("%s through a pointer to an object that no longer exists", what);
  }
  const RUN_OBJ& o = run_mem.objs[slot];
  if (o.kind == OBJ_FUNCTION) run_fail("%s of function %s as data", what, object_name(o));
  if (a < o.base || a + units > o.end) {
    long off = static_cast<long>(a) - static_cast<long>(o.base);
    run_fail("out-of-bounds %s of %s: units %ld to %ld of an object of %u units", what, object_name(o), off,
             off + static_cast<long>(units) - 1, o.end - o.base);
  }
  if (write && a + units > o.wend) run_fail("write to constant object %s", object_name(o));
  // A pointer without provenance that falls inside a live object: allowed.
}
