// The interpreter: a program translated into a compact executable form, the
// machine state it runs on, and the dynamic counts it keeps.
//
// Each function is translated once into statements (XSTMT) whose expression
// trees are XN nodes: each XN carries the function that evaluates it,
// chosen for its operator, types and operand forms, so that running is a
// walk of direct calls with no decisions left about types or storage.
#pragma once
#include <cstdint>
#include <cstdio>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/icode-run/run_memory.h"
#include "tools/icode-run/run_types.h"

struct NODE;
struct SYMTAB;
struct PSN;
struct TYPE;
struct RUN_PROGRAM;
struct RUN_FUNCTION;
struct XN;
struct FRAME;
struct XFUNC;
struct CALLSITE;
class RUN_MACHINE;

typedef VAL (*XFN)(XN*, FRAME*);
typedef VAL (*BINFN)(VAL, VAL);
typedef VAL (*CVFN)(VAL);

// Where an lvalue lives.
enum LOC_KIND : uint8_t { LK_REG, LK_LOCAL, LK_GLOBAL, LK_PTR };
// How a memory lvalue is read and written.
enum ACC_KIND : uint8_t { ACC_16S, ACC_16U, ACC_32, ACC_PTR, ACC_BF };

enum XN_FLAGS : uint8_t {
  XF_NOSTAT = 1,  // initialisers and assertions: not counted
  XF_CALL = 2,
  XF_POST = 4,    // postfix increment: yields the old value
};

struct XN {
  XFN fn = nullptr;
  XN* a = nullptr;
  XN* b = nullptr;
  XN* c = nullptr;
  VAL imm = 0;       // constant, global address, or offset added to a pointer
  uint32_t u = 0;    // register index, frame offset, global address or unit count
  uint32_t v = 0;    // memory-variable index
  void* p = nullptr; // operation, call site, access details
  uint64_t hits = 0;
  NODE* src = nullptr;
  // What one evaluation stands for, for the counts.
  uint16_t cost = 0;
  uint16_t nsrc = 0;
  uint16_t mem_loads = 0;
  uint16_t mem_stores = 0;
  uint8_t reg_loads = 0;
  uint8_t reg_stores = 0;
  uint8_t lk = LK_REG;
  uint8_t acc = ACC_32;
  uint8_t flags = 0;
};

// Details of the generic access nodes (assignment operators, bit-fields),
// pointed to by XN::p.
struct MODIFY_INFO {
  BINFN op = nullptr;
  CVFN to_op = nullptr;    // the lvalue's value to the operation's type
  CVFN from_op = nullptr;  // and back
  uint32_t bit = 0;        // bit-field: first bit in the unit at the address
  uint32_t width = 0;
  bool bf_signed = false;
};

enum XSTMT_KIND : uint8_t { S_EXPR, S_BRANCH, S_CBRANCH, S_IF, S_SWITCH, S_RETURN, S_ASSERT, S_END };

struct SWITCH_TABLE {
  uint32_t lo = 0;                                    // dense tables: value of entry 0
  std::vector<uint32_t> dense;                        // statement index per value from lo
  std::vector<std::pair<uint32_t, uint32_t>> sorted;  // (value, statement index), by value
  bool is_signed = true;
  uint32_t dflt = 0;
};

struct XSTMT {
  XSTMT_KIND kind = S_EXPR;
  XN* x = nullptr;
  uint32_t target = 0;   // statement index; label number until resolved
  uint32_t target2 = 0;  // IF: the false target
  SWITCH_TABLE* table = nullptr;
  uint64_t hits = 0;
  uint64_t taken = 0;  // transfers to another place than the next statement
  uint16_t cost = 0;
  uint16_t nsrc = 0;
  NODE* tree = nullptr;
};

// A variable of a frame that lives in target memory.
struct XVAR {
  SYMTAB* sym = nullptr;  // null for a result temporary
  const char* name = nullptr;
  uint32_t off = 0;
  uint32_t units = 0;
};

struct XPARAM {
  VK vk = VK_VOID;
  uint32_t units = 0;
  bool in_reg = false;
  uint32_t index = 0;  // register or memory-variable index
};

// A call of a library function: what it was called with.
struct LIBCALL {
  RUN_MACHINE& m;
  XFUNC* fn;
  const CALLSITE& cs;
  const VAL* args;
  uint32_t nargs;
  VAL ret_slot;  // where a structure result goes
};
typedef VAL (*BUILTIN_FN)(LIBCALL& c);

struct XFUNC {
  const char* name = nullptr;
  SYMTAB* sym = nullptr;
  RUN_FUNCTION* body = nullptr;  // null: no body in the file
  BUILTIN_FN builtin = nullptr;  // the library's, for a function without body
  const void* builtin_data = nullptr;
  std::vector<XSTMT> code;
  std::vector<XVAR> vars;
  std::vector<XPARAM> params;
  uint32_t nregs = 0;
  uint32_t frame_units = 0;
  uint32_t frame_align = 1;  // units; the frame starts at a multiple of it
  VK ret_vk = VK_VOID;
  uint32_t ret_units = 0;
  VAL addr = 0;  // the function as a pointer value
};

struct CALLSITE {
  XFUNC* direct = nullptr;  // null: through the pointer of the call node's operand
  std::vector<XN*> args;
  std::vector<VK> arg_vk;  // VK_AGG for a structure argument (its address); one per argument
  std::vector<uint32_t> arg_units;
  int32_t ret_var = -1;    // caller's temporary for a structure result
};

// A block alloca gave the frame: it lives until the call returns or a
// stack restore gives its units back.
struct ALLOCA_BLOCK {
  uint32_t base = 0;
  uint32_t prov = 0;
};

struct FRAME {
  VAL* regs = nullptr;
  VAL* prov = nullptr;  // per memory variable: provenance, shifted into the high word
  uint32_t fp = 0;
  XFUNC* fn = nullptr;
  VAL ret_slot = 0;     // where a structure result goes
  VAL va = 0;           // the variable-argument area
  std::vector<ALLOCA_BLOCK> allocas;  // newest last, lowest address last
};

struct RUN_OPTIONS {
  uint64_t max_steps = 1000000000ull;  // statements
  bool strict = false;                  // check ASSERT and NASSERT
  FILE* out = stdout;                   // null: output is only kept in output()
};

struct RUN_STATS {
  uint64_t statements = 0;
  uint64_t nodes = 0;
  uint64_t mem_loads = 0;
  uint64_t mem_stores = 0;
  uint64_t reg_loads = 0;
  uint64_t reg_stores = 0;
  uint64_t calls = 0;
  uint64_t taken_branches = 0;
  uint64_t library_work = 0;
  uint64_t cost = 0;
};

struct HEAP_BLOCK {
  uint32_t units = 0;
  uint32_t prov = 0;  // 0 when free
};

class RUN_MACHINE {
 public:
  explicit RUN_MACHINE(const RUN_OPTIONS& options);
  ~RUN_MACHINE();
  RUN_MACHINE(const RUN_MACHINE&) = delete;
  RUN_MACHINE& operator=(const RUN_MACHINE&) = delete;

  // Lays out the globals, translates every function and applies the
  // initialisers. Throws RUN_ERROR.
  void load(RUN_PROGRAM& program);
  // Runs main with the arguments (the program's name first); the result is
  // the exit status. Throws RUN_ERROR.
  int run_main(const std::vector<std::string>& args);

  RUN_STATS stats() const;
  void print_stats(FILE* f) const;
  // Output not yet written to the output stream (all of it when there is none).
  std::string& output() { return out_; }
  void flush_output();
  const char* current_function() const;

  // ---- For the translated code and the library.
  // Calls fn with the values of the call site's arguments; a structure
  // result goes to ret_slot.
  VAL invoke(XFUNC* fn, const CALLSITE& cs, const VAL* args, VAL ret_slot);
  VAL exec(FRAME* f);
  XFUNC* function_at(VAL p);
  VAL* hpush(uint32_t n) {
    if (hsp_ + n > hstack_size_) hstack_overflow();
    VAL* p = &hstack_[hsp_];
    hsp_ += n;
    return p;
  }
  void hpop(uint32_t n) { hsp_ -= n; }
  void out_char(int c) {
    out_.push_back(static_cast<char>(c));
    if (out_.size() >= kOutChunk) flush_output();
  }
  void out_text(const char* text, size_t n) {
    out_.append(text, n);
    if (out_.size() >= kOutChunk) flush_output();
  }
  VAL heap_alloc(uint32_t units);
  void heap_free(VAL p, const char* who);
  uint32_t heap_block_units(VAL p, const char* who);

  RUN_OPTIONS opts;
  uint64_t steps = 0;
  uint64_t lib_work = 0;   // units processed by the library
  uint64_t lib_calls = 0;  // calls the library made of the program's functions (qsort's comparisons)
  FRAME* frame = nullptr;
  uint32_t sp = ADDRESS_UNITS;  // lowest unit of the stack
  uint32_t next_static = 0;     // next free unit for static objects
  uint32_t heap_top = 0;
  std::map<uint32_t, HEAP_BLOCK> heap;

  // ---- Translation.
  std::deque<XN> xns;
  std::deque<XFUNC> funcs;
  std::deque<CALLSITE> callsites;
  std::deque<SWITCH_TABLE> tables;
  std::deque<MODIFY_INFO> infos;
  std::deque<std::string> texts;  // names and messages the translated code points to
  std::unordered_map<const NODE*, VAL> literals;
  std::unordered_map<std::string, XFUNC*> func_by_name;
  std::unordered_map<const SYMTAB*, XFUNC*> func_of;
  std::unordered_map<const SYMTAB*, VAL> data_of;
  std::unordered_map<std::string, VAL> data_by_name;
  XN* new_xn() {
    xns.emplace_back();
    return &xns.back();
  }
  XFUNC* function_named(const char* name);
  const char* keep_text(const std::string& text) {
    texts.push_back(text);
    return texts.back().c_str();
  }
  // A new object of static data at the next multiple of `align` units.
  VAL static_object(uint32_t units, OBJ_KIND kind, const char* name, bool readonly, uint32_t align = 1);
  VAL literal(NODE* scon);

 private:
  static constexpr size_t kOutChunk = 1 << 16;
  [[noreturn]] void hstack_overflow();
  void layout_globals(RUN_PROGRAM& program);
  void apply_initialisers(RUN_PROGRAM& program);
  void apply_initialiser(SYMTAB* sym, VAL where, uint32_t units);

  std::string out_;
  std::unique_ptr<VAL[]> hstack_;
  uint32_t hstack_size_ = 0;
  uint32_t hsp_ = 0;
};

// The machine that runs now: the translated code reaches it through here.
extern RUN_MACHINE* run_machine;

// The heap hands out blocks at multiples of the largest alignment of a
// basic type (int, long, float: two units).
constexpr uint32_t kHeapAlign = 2;

// Cost weights of the weighted count, per evaluation.
constexpr uint16_t W_CONST = 0;
constexpr uint16_t W_REG_READ = 0;
constexpr uint16_t W_REG_WRITE = 1;
constexpr uint16_t W_MEM_READ = 2;
constexpr uint16_t W_MEM_WRITE = 2;
constexpr uint16_t W_ALU = 1;
constexpr uint16_t W_MUL = 4;
constexpr uint16_t W_DIV = 24;
constexpr uint16_t W_FLOAT = 8;
constexpr uint16_t W_FLOAT_DIV = 24;
constexpr uint16_t W_FLOAT_CONV = 8;
constexpr uint16_t W_TEST = 1;
constexpr uint16_t W_TAKEN = 2;
constexpr uint16_t W_SWITCH = 4;
constexpr uint16_t W_CALL = 8;
constexpr uint16_t W_ARG = 1;
constexpr uint16_t W_COPY_UNIT = 2;
constexpr uint16_t W_BITFIELD = 2;
constexpr uint16_t W_LIB_UNIT = 1;
