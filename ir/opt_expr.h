// Expression trees: NODE, the statement list LIST, source positions PSN, the
// operator table and the constructors every pass uses. Operator numbers are a
// file-format fact and must never change.
#pragma once
#include <cstdint>
#include <cstdio>
#include <string>

#include "ir/int65.h"

struct TYPE;
struct SYMTAB;
struct FUNINFO;
struct LS;
struct fkMDATA;
struct LBL;

// Operator numbers.
enum OPCODE {
  NOP = 0, LABEL = 1, NAME = 2, SCON = 3, ICON = 4, FCON = 5, PLUS = 6, PLUSASG = 7,
  MINUS = 8, MINUSASG = 9, UMINUS = 10, MULT = 11, MULTASG = 12, UMULT = 13, ANDB = 14,
  ANDBASG = 15, UAND = 16, ORB = 17, ORBASG = 18, XORB = 19, XORBASG = 20, QUEST = 21,
  COLON = 22, ANDAND = 23, OROR = 24, LCON = 25, FIELD = 26, ABS = 27, RETURN = 36,
  SWITCH = 40, DEFAULT = 46, CASE = 47, COMMA = 56, PCOMMA = 57, ASG = 58, COMMAOP = 59,
  DIV = 60, DIVASG = 61, MOD = 62, MODASG = 63, SLL = 64, SLLASG = 65, SRL = 66,
  SRLASG = 67, STDOT = 68, STREF = 69, CALL = 70, UCALL = 72, LOOP = 74, ENDLOOP = 75,
  EXCLAIM = 76, NOTB = 77, PLUSPLUS = 78, MINMIN = 79, EQ = 80, NEQ = 81, LE = 82,
  LT = 83, GE = 84, GT = 85, ULE = 86, ULT = 87, UGE = 88, UGT = 89, STFIELD = 96,
  ARGREF = 97, STASG = 98, STARG = 99, ARASG = 103, SCONV = 104, PCONV = 105,
  PMCONV = 106, PVCONV = 107, ACONV = 108, CBRANCH = 109, EPVAL = 110, ENDINIT = 112,
  BRANCH = 114, SKIP = 115, URETURN = 118, DDNODE = 119, SQRT = 121, SQR = 122,
  NASSERT = 123, ASSERT = 124, MEMCPY = 125, TOIEEE = 127, FRIEEE = 128, ICALL = 129,
  UICALL = 130, RECIP = 131, MCALL = 132, UMCALL = 133, VPACK = 134, VPACKM = 135,
  VPACK1P = 136, VFIELD = 138, VRCONV = 139, COMPLEX = 140, REAL = 141, IMAG = 142,
  VREG = 163, OUIALIGN = 163, NONALIGN = 164, SIMDHI = 165, SIMDLO = 166, PPRAGMA = 167,
  VSCONV = 168, EXPT = 169, EXPRSTUB = 170, CSE_DUPE = 171, CSE_ORIG = 172, ASM = 173,
  IF = 174, LABELDEF = 175, INITLOOP = 176, IDENTITY = 177, ISP2CHAR = 178,
  MIXVALUE = 179, MIX_CONJ = 180, MIX_DISJ = 181, MIX_SET = 182, BGNBLOCK = 183,
  ENDBLOCK = 184, SSA_PHI = 185, SSA_USE = 186, SSA_DEF = 187, SSA_MU = 188,
  SSA_CHI = 189,
  // Operators with an operand count and no name; 137 is a vector operator.
  OP_UNNAMED_100 = 100, OP_UNNAMED_102 = 102, OP_UNNAMED_116 = 116, OP_UNNAMED_117 = 117,
  OP_UNNAMED_137 = 137,
};

// The `value` of an ASM node: the kind of record its text came from, a
// comment or assembly text.
enum ASM_KIND { ASM_TEXT = 36, ASM_COMMENT = 47 };

// A source position; null PSN* means none. The file name text is owned by the
// file-name table of the icode reader.
struct PSN {
  const char* file = nullptr;
  uint32_t line = 0;
  uint32_t col = 0;
};

struct BASE_NODE {
  virtual ~BASE_NODE() = default;
};

struct NODE : BASE_NODE {
  int32_t op = NOP;
  TYPE* type = nullptr;
  NODE* left = nullptr;
  NODE* right = nullptr;  // also the link of the free list
  INT65 value;
  // By operator: SYMTAB* (NAME), target float value (FCON), name text
  // (ICALL, UICALL, MCALL, UMCALL), class type (FIELD), call number
  // (CALL, UCALL; held in `value2`).
  void* sym = nullptr;
  fkMDATA* mval = nullptr;
  FUNINFO* fun = nullptr;
  void* reserved[3] = {nullptr, nullptr, nullptr};  // flow graph and value passes
  LS* scope = nullptr;
  int32_t depnum = 0;
  TYPE* cast_type = nullptr;
  int32_t ssa_info = -1;
  double edge_profile = -1.0;
  void* ddnode = nullptr;
  char* text = nullptr;  // SCON bytes, cached FCON text, ASM text
  uint32_t text_len = 0; // length of SCON text (it may hold zeros)
  uint32_t value2 = 0;   // call argument word of CALL/UCALL, DDNODE locale
  uint8_t flags2 = 0;    // DDNODE flags
  int32_t eh_entry = 0;
  uint8_t marks[6] = {0, 0, 0, 0, 0, 0};
  uint8_t mark_flag = 0;
  LBL* lbl = nullptr;    // the label record of a LABEL node once blocks exist

  // Accessors and setters used by the file reader and writer, so that they
  // can fill a node of a client's own class.
  virtual SYMTAB* name_symbol() const { return static_cast<SYMTAB*>(sym); }
  virtual int field_kind() const { return 1; }
  virtual fkMDATA* field_mval() const { return mval; }
  virtual TYPE* field_csu() const { return static_cast<TYPE*>(sym); }
  virtual uint64_t icon_uvalue() const { return value.as_uint64(); }
  virtual int64_t icon_svalue() const { return value.as_int64(); }
  virtual std::string lcon_value() const;
  virtual const char* fcon_value();
  virtual const char* scon_value() const { return text; }
  virtual uint32_t scon_length() const { return text_len; }
  virtual uint32_t label_id() const { return static_cast<uint32_t>(value.low); }
  virtual int vreg_id() const { return 0; }
  virtual uint32_t skip_count() const { return value.low; }
  virtual uint32_t case_count() const { return value.low; }
  virtual uint32_t ddnode_id() const { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(ddnode) & 0xffff); }
  virtual uint32_t ddnode_locale() const { return 0; }
  virtual uint8_t ddnode_flags() const { return 0; }
  virtual uint32_t call_num_vargs() const { return value.low; }
  virtual const char* icall_name() const { return static_cast<const char*>(sym); }
  virtual int32_t eh_entry_id() const { return eh_entry; }
  virtual double get_edge_profile_value() const { return edge_profile; }
  virtual void set_edge_profile_value(double v) { edge_profile = v; }
  virtual void mk_name(SYMTAB* s);
  virtual void mk_field(int kind, fkMDATA* m, TYPE* csu);
  virtual void mk_icon(int64_t v);
  virtual void mk_lcon(const char* text);
  virtual void mk_fcon(const char* text);
  virtual void mk_scon(const char* bytes, uint32_t len);
  virtual void mk_label(uint32_t n);
  virtual void mk_vreg(int) {}
  virtual void mk_skip(uint32_t n);
  virtual void mk_switch(uint32_t n);
  virtual void mk_ddnode(uint32_t, uint32_t, uint8_t) {}
  virtual void mk_call(uint32_t nvargs, uint32_t call_arg);
  virtual void mk_ucall(uint32_t call_arg);
  virtual void mk_icall(const char* name);
};

// One statement or expression of a list.
struct LIST {
  NODE* tree = nullptr;
  PSN* psn = nullptr;
  uint16_t a = 0;
  uint16_t b = 0;
  LIST* next = nullptr;
};

// Operator table entry as the file layer knows it.
struct IF_NODE_INFO {
  int op = 255;
  const char* name = nullptr;
  int operands = 255;
};
extern IF_NODE_INFO if_node_info[201];
void if_enter_node(int op, const char* name, int operands);
void if_node_table_init();
void init_opcode_tables();

extern const char* node_operator_name[256];
extern uint8_t number_of_operands[256];
extern uint8_t commute_inv[256];
extern uint8_t boolean_result[256];
extern uint8_t boolean_inv[256];
extern uint8_t op_of_opASG[256];
extern uint8_t op_OK_for_SP[256];
extern uint8_t precedence[256];
extern uint8_t side_effects[256];

// 8-character dump name of an operator.
const char* opname(int op);

// Constructors.
NODE* new_node(int op, TYPE* type);
NODE* maketree(int op, NODE* left, NODE* right, TYPE* type, LS* scope);
NODE* mktree(int op, NODE* left, NODE* right, TYPE* type, void* sym, const INT65& value);
NODE* mk_NAME(SYMTAB* sym, LS* scope);
NODE* mk_ICON(const INT65& value, TYPE* type);
NODE* mk_LABELREF(int value, void* extra);
NODE* mk_ASG(NODE* left, NODE* right);
NODE* mk_MINUS(NODE* left, NODE* right, TYPE* type);
NODE* mk_EXCLAIM(NODE* operand);
NODE* mk_COMMAOP(NODE* left, NODE* right);
NODE* mk_LABELDEF(int label);
NODE* mk_ICALL(const char* name, NODE* args, TYPE* type);
NODE* mk_MCALL(const char* name, NODE* args, TYPE* type);
NODE* mk_BRANCH_to_label(int label);

LIST* mkelist(NODE* tree, LIST* next, PSN* psn);
LIST* mklist(NODE* tree, LIST* next, uint16_t a, uint16_t b);

NODE* copy_tree(NODE* tree, bool flag);
NODE* copy_tree_0(NODE* tree, FUNINFO* funinfo);
void erase_tree(NODE* tree);
void erase_tree_list(LIST* list);
void erase_tree_list_only(LIST* list);
// Forgets the free lists of nodes and list cells; they live in the function
// pool, which is about to be released.
void reset_node_free_lists();

SYMTAB* get_callee_for_call(NODE* node);
NODE* get_arguments_to_call(NODE* node);

// Debug checks and printers.
void validate_tree_structure(NODE* tree);
void validate_tree(NODE* tree);
const char* tree2infix(NODE* tree, bool semicolon);
const char* stmt2infix(NODE* tree);
void prtree1(NODE* tree, int indent);
void prlist1(LIST* list);
void dump_tree_debug(NODE* tree);

// Converts a tree to `type` with the conversion C would use; folds constants.
NODE* coerce_to_type(TYPE* type, NODE* tree);
