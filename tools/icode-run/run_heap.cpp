// The heap of malloc and free: blocks between the static data and the
// stack, first fit in address order, each block an object of its own.
#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_machine.h"

VAL RUN_MACHINE::heap_alloc(uint32_t units) {
  // A request of zero units still gets a distinct address; nothing can be
  // accessed through it.
  uint32_t need = align_up(units ? units : 1, kHeapAlign);
  uint32_t base = 0;
  bool found = false;
  for (auto& e : heap) {
    HEAP_BLOCK& b = e.second;
    if (b.prov || b.units < need) continue;
    if (b.units > need) heap[e.first + need] = HEAP_BLOCK{b.units - need, 0};
    b.units = need;
    base = e.first;
    found = true;
    break;
  }
  if (!found) {
    base = heap_top;
    if (static_cast<uint64_t>(base) + need > sp) return 0;
    heap[base] = HEAP_BLOCK{need, 0};
    heap_top = base + need;
  }
  uint32_t prov = run_mem.create(base, units, OBJ_HEAP, "a heap block", false);
  heap[base].prov = prov;
  return make_ptr(base, prov);
}

static const RUN_OBJ& heap_object(VAL p, const char* who) {
  uint32_t slot = p_prov(p) & 0xffffu;
  if (slot && (run_mem.objs[slot].gen != p_prov(p) >> 16 || !run_mem.objs[slot].live) &&
      run_mem.objs[slot].kind == OBJ_HEAP)
    run_fail("%s of a heap block that was already freed", who);
  const RUN_OBJ* o = object_of(p);
  if (!o || o->kind != OBJ_HEAP || o->base != p_addr(p)) run_fail("%s of a pointer that malloc did not return", who);
  return *o;
}

uint32_t RUN_MACHINE::heap_block_units(VAL p, const char* who) {
  const RUN_OBJ& o = heap_object(p, who);
  return o.end - o.base;
}

void RUN_MACHINE::heap_free(VAL p, const char* who) {
  if (p_addr(p) == 0) return;
  const RUN_OBJ& o = heap_object(p, who);
  uint32_t base = o.base;
  auto it = heap.find(base);
  run_mem.destroy(it->second.prov);
  it->second.prov = 0;
  // Merge with free neighbours, and give the top back.
  auto next = std::next(it);
  if (next != heap.end() && !next->second.prov && it->first + it->second.units == next->first) {
    it->second.units += next->second.units;
    heap.erase(next);
  }
  if (it != heap.begin()) {
    auto prev = std::prev(it);
    if (!prev->second.prov && prev->first + prev->second.units == it->first) {
      prev->second.units += it->second.units;
      heap.erase(it);
      it = prev;
    }
  }
  if (std::next(it) == heap.end() && !it->second.prov) {
    heap_top = it->first;
    heap.erase(it);
  }
}
