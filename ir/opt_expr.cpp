#include "ir/opt_expr.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "driver/globals.h"
#include "ir/fps.h"
#include "ir/mmgt.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"

#include "ir/op_table.inc"

IF_NODE_INFO if_node_info[201];
const char* node_operator_name[256];
uint8_t number_of_operands[256];
uint8_t commute_inv[256];
uint8_t boolean_result[256];
uint8_t boolean_inv[256];
uint8_t op_of_opASG[256];
uint8_t op_OK_for_SP[256];
uint8_t precedence[256];
uint8_t side_effects[256];

namespace {

NODE* free_NODE_list = nullptr;

// The fixed tables indexed by op are data; fill them once before main runs.
struct TableFiller {
  TableFiller() {
    for (int i = 0; i < 256; ++i) {
      node_operator_name[i] = nullptr;
      number_of_operands[i] = commute_inv[i] = boolean_inv[i] = op_of_opASG[i] = 255;
      side_effects[i] = 255;
      boolean_result[i] = op_OK_for_SP[i] = precedence[i] = 0;
    }
    for (const OP_ROW& r : kOperatorRows) {
      if (r.op != EPVAL) node_operator_name[r.op] = r.name;
      number_of_operands[r.op] = static_cast<uint8_t>(r.operands);
      commute_inv[r.op] = static_cast<uint8_t>(r.commuted);
      boolean_inv[r.op] = static_cast<uint8_t>(r.inverse);
      op_of_opASG[r.op] = static_cast<uint8_t>(r.base_op);
      op_OK_for_SP[r.op] = static_cast<uint8_t>(r.sp);
      precedence[r.op] = static_cast<uint8_t>(r.prec);
      side_effects[r.op] = static_cast<uint8_t>(r.side);
    }
    for (int op : {ANDAND, OROR, EXCLAIM, MIX_CONJ, MIX_DISJ}) boolean_result[op] = 1;
    for (int op = EQ; op <= UGT; ++op) boolean_result[op] = 1;
  }
} table_filler;

NODE* alloc_node(bool from_function_pool) {
  void* mem;
  if (free_NODE_list && (from_function_pool || lex != 0)) {
    NODE* n = free_NODE_list;
    free_NODE_list = n->right;
    n->~NODE();
    mem = n;
  } else {
    mem = from_function_pool ? zalloc0(1, sizeof(NODE)) : zalloc0(lex, sizeof(NODE));
  }
  return new (mem) NODE();
}

char* pool_text(const char* bytes, size_t len) {
  char* p = static_cast<char*>(zalloc0(lex, len + 1));
  if (len) memcpy(p, bytes, len);
  p[len] = 0;
  return p;
}

}  // namespace

// Statement cells come from chunks of their own, so that the cells of a
// function lie together in the order they were made: a walk down a long
// list, or to the end of a block, then stays in a few cache lines instead of
// one line for each statement among the trees. Under debug_zalloc every
// cell is a request of its own, as everything else is.
namespace {
const size_t kCellsPerChunk = 128;
LIST* cell_chunk_next = nullptr;
LIST* cell_chunk_end = nullptr;

void* alloc_cell() {
  if (void* mem = take_from_freemap(sizeof(LIST))) return mem;
  if (debug_zalloc) return zalloc(sizeof(LIST));
  if (cell_chunk_next == cell_chunk_end) {
    cell_chunk_next = static_cast<LIST*>(zalloc(kCellsPerChunk * sizeof(LIST)));
    cell_chunk_end = cell_chunk_next + kCellsPerChunk;
  }
  return cell_chunk_next++;
}
}  // namespace

void reset_node_free_lists() {
  free_NODE_list = nullptr;
  cell_chunk_next = cell_chunk_end = nullptr;
}

// ---- the operator table of the file layer -------------------------------

void if_enter_node(int op, const char* name, int operands) {
  if (op < 0 || op > 200) {
    fputs("\nINTERNAL ERROR: Invalid opcode, aborting", stderr);
    exit(1);
  }
  if_node_info[op] = IF_NODE_INFO{op, name, operands};
}

void if_node_table_init() {
  for (const OP_ROW& r : kOperatorRows)
    if (r.op < VREG) if_enter_node(r.op, r.name, r.operands);
  if_enter_node(VREG, "VREG", 0);
}

void init_opcode_tables() {
  if (print_debug && fdebug) fprintf(fdebug, " *** VALIDATING OPCODE TABLES\n");
  auto anchor_ok = [](int op, const char* name, int operands) {
    return if_node_info[op].op == op && if_node_info[op].name && strcmp(if_node_info[op].name, name) == 0 &&
           if_node_info[op].operands == operands;
  };
  if (!anchor_ok(NAME, "NAME", 0) || !anchor_ok(UMINUS, "UMINUS", 1) || !anchor_ok(CALL, "CALL", 2)) {
    fputs("INTERNAL ERROR: if_node_info[] mismatch\n", stderr);
    if (print_debug && fdebug) fputs("INTERNAL ERROR: if_node_info[] mismatch\n", fdebug);
    abort_optimizer();
  }
  for (const OP_ROW& r : kOperatorRows)
    if (r.op >= VREG) if_enter_node(r.op, r.name, r.operands);
  bool bad = false;
  for (int op = 0; op <= SSA_CHI; ++op) {
    const char* name = node_operator_name[op];
    if (!name) continue;
    const IF_NODE_INFO& e = if_node_info[op];
    bool same_name = e.name && strcmp(e.name, name) == 0;
    if (e.op != op || e.operands != number_of_operands[op] || !same_name) {
      bad = true;
      if (print_debug && fdebug) {
        fprintf(fdebug, "OP#%d: %d || %d || (%d != %d) <<%s>> <<%s>>\n", op, e.op, op, e.operands,
                number_of_operands[op], e.name ? e.name : "", name);
        fprintf(fdebug, "\tNo match for %s\n", name);
      }
    }
  }
  if (bad) abort_optimizer();
  if (print_debug && fdebug) fprintf(fdebug, " *** OPCODE TABLES ARE OK\n\n");
}

const char* opname(int op) {
  static char buf[16];
  const char* sym = nullptr;
  switch (op) {
    case LABEL: sym = "LABELREF"; break;
    case PLUS: sym = "+"; break;
    case PLUSASG: sym = "+="; break;
    case MINUS: sym = "-"; break;
    case MINUSASG: sym = "-="; break;
    case UMINUS: sym = "U-"; break;
    case MULT: sym = "*"; break;
    case MULTASG: sym = "*="; break;
    case UMULT: sym = "U*"; break;
    case ANDB: sym = "&"; break;
    case ANDBASG: sym = "&="; break;
    case UAND: sym = "U&"; break;
    case ORB: sym = "|"; break;
    case ORBASG: sym = "|="; break;
    case XORB: sym = "^"; break;
    case XORBASG: sym = "^="; break;
    case QUEST: sym = "?"; break;
    case COLON: sym = ":"; break;
    case ANDAND: sym = "&&"; break;
    case OROR: sym = "||"; break;
    case COMMA: sym = ","; break;
    case ASG: sym = "="; break;
    case COMMAOP: sym = ",OP"; break;
    case DIV: sym = "/"; break;
    case DIVASG: sym = "/="; break;
    case MOD: sym = "%"; break;
    case MODASG: sym = "%="; break;
    case SLL: sym = "<<"; break;
    case SLLASG: sym = "<<="; break;
    case SRL: sym = ">>"; break;
    case SRLASG: sym = ">>="; break;
    case STDOT: sym = "."; break;
    case STREF: sym = "->"; break;
    case EXCLAIM: sym = "!"; break;
    case NOTB: sym = "~"; break;
    case PLUSPLUS: sym = "++"; break;
    case MINMIN: sym = "--"; break;
    case EQ: sym = "=="; break;
    case NEQ: sym = "!="; break;
    case LE: sym = "<="; break;
    case LT: sym = "<"; break;
    case GE: sym = ">="; break;
    case GT: sym = ">"; break;
    case ULE: return "ULE";
    case SQR: sym = "SQUARE"; break;
    case 255: return " ?ILLOP?";
    default:
      if (op >= 0 && op < 256) sym = node_operator_name[op];
      if (!sym && op >= 0 && op <= 200 && if_node_info[op].name) sym = if_node_info[op].name;
      if (!sym) return "?NODE?";
  }
  snprintf(buf, sizeof buf, "%-8s", sym);
  return buf;
}

// ---- NODE value setters and getters ---------------------------------------

std::string NODE::lcon_value() const {
  const TYPE* t = type && type->is_unsigned() ? tp->basic[TYPE_PKG::BT_UINT] : tp->basic[TYPE_PKG::BT_INT];
  return int2text(value, t, -1, 9);
}

const char* NODE::fcon_value() {
  if (!text && sym) {
    char buf[FPS_FCON_TEXT_MAX];
    fval2text(buf, static_cast<const simul_fval*>(sym));
    text = pool_text(buf, strlen(buf));
  }
  return text;
}

void NODE::mk_name(SYMTAB* s) {
  sym = s;
  if (s && s->scqual == SQ_INTRINSIC && currfuninfo) currfuninfo->intrinsic_used = 1;
}

void NODE::mk_field(int kind, fkMDATA* m, TYPE* csu) {
  if (kind != 1) abort_optimizer();
  mval = m;
  sym = csu;
  if (type) type = type->normalized_type();
  if (m && m->is_bitfield && currfuninfo) currfuninfo->bitfield_used = 1;
}

void NODE::mk_icon(int64_t v) {
  if (type && type->is_unsigned()) value = INT65(static_cast<unsigned long long>(v));
  else value = INT65(static_cast<long long>(v));
}

void NODE::mk_lcon(const char* t) {
  bool neg = *t == '-';
  if (neg) ++t;
  INT65 v;
  for (; *t >= '0' && *t <= '9'; ++t) v = v * INT65(10) + INT65(*t - '0');
  if (neg) v = -v;
  value = truncate_to_type(v, type);
  op = ICON;
}

void NODE::mk_fcon(const char* t) {
  simul_fval* v = static_cast<simul_fval*>(zalloc0(lex, sizeof(simul_fval)));
  f_atof(t, v);
  truncate_fval_to_target(v, type);
  sym = v;
  text = nullptr;
}

void NODE::mk_scon(const char* bytes, uint32_t len) {
  text = pool_text(bytes, len);
  text_len = len;
}

void NODE::mk_label(uint32_t n) { value = INT65(static_cast<unsigned long long>(n)); }
void NODE::mk_skip(uint32_t n) { value = INT65(static_cast<long long>(static_cast<int32_t>(n))); }
void NODE::mk_switch(uint32_t n) { value = INT65(static_cast<long long>(static_cast<int32_t>(n))); }

void NODE::mk_call(uint32_t nvargs, uint32_t call_arg) {
  value = INT65(static_cast<unsigned long long>(nvargs));
  eh_entry = static_cast<int32_t>(call_arg);
  if (currfuninfo) currfuninfo->leaf = 0;
}

void NODE::mk_ucall(uint32_t call_arg) {
  eh_entry = static_cast<int32_t>(call_arg);
  if (currfuninfo) currfuninfo->leaf = 0;
}

void NODE::mk_icall(const char* name) { sym = pool_text(name, strlen(name)); }

// ---- constructors ----------------------------------------------------------

NODE* new_node(int op, TYPE* type) {
  NODE* n = alloc_node(false);
  if (op == SCONV && type && type->rep && type->rep->kind == TYPE::KIND_ENUM)
    type = normalized_underlying_type(type);
  if (op == PCONV && chars_alias_other_types && tp &&
      tp->basic[TYPE_PKG::BT_CHAR]->size == tp->basic[TYPE_PKG::BT_SHORT]->size && type && type->is_pointer()) {
    TYPE* target = type->type_pointed_to();
    if (target && (target->is_schar() || target->is_uchar() || target->is_plain_char())) op = ISP2CHAR;
  }
  if (op == UCALL && currfuninfo) currfuninfo->leaf = 0;
  n->op = op;
  n->type = type;
  n->cast_type = type;
  return n;
}

NODE* maketree(int op, NODE* left, NODE* right, TYPE* type, LS* scope) {
  if ((op == SCONV || op == PCONV || op == ACONV) && type) type = type->type_qualified();
  NODE* n = alloc_node(true);
  n->op = op;
  n->left = left;
  n->right = right;
  n->type = type;
  n->cast_type = type;
  n->scope = scope;
  return n;
}

NODE* mktree(int op, NODE* left, NODE* right, TYPE* type, void* sym, const INT65& value) {
  NODE* n = maketree(op, left, right, type, nullptr);
  if (sym) n->sym = sym;
  else n->value = value;
  return n;
}

NODE* mk_NAME(SYMTAB* sym, LS* scope) {
  NODE* n = maketree(NAME, nullptr, nullptr, sym->type, scope ? scope : sym->scope);
  n->sym = sym;
  n->cast_type = sym->decl_type ? sym->decl_type : sym->type;
  return n;
}

NODE* mk_ICON(const INT65& value, TYPE* type) {
  if (type && type->is_pointer()) type = tp->basic[TYPE_PKG::BT_SHORT];
  optassert(type && (type->is_integral() || (type->rep && type->rep->kind == TYPE::KIND_ENUM)));
  NODE* n = maketree(ICON, nullptr, nullptr, type, nullptr);
  n->value = truncate_to_type(value, type);
  return n;
}

NODE* mk_LABELREF(int value, void* extra) {
  NODE* n = maketree(LABEL, nullptr, nullptr, tp->basic[TYPE_PKG::BT_INT], nullptr);
  n->value = INT65(value);
  n->lbl = static_cast<LBL*>(extra);
  return n;
}

NODE* mk_ASG(NODE* left, NODE* right) {
  TYPE* t = left->type;
  TYPE* r = t && t->rep ? t->rep : t;
  int op = ASG;
  if (r && r->kind == TYPE::KIND_ARRAY && !r->getr_array()->vector) op = ARASG;
  else if (r && r->kind >= TYPE::KIND_CLASS && r->kind <= TYPE::KIND_UNION) op = STASG;
  NODE* n = maketree(op, left, right, t, left->scope);
  if (op == STASG) n->sym = left->sym;
  return n;
}

NODE* mk_MINUS(NODE* left, NODE* right, TYPE* type) { return maketree(MINUS, left, right, type, left->scope); }
NODE* mk_EXCLAIM(NODE* operand) { return maketree(EXCLAIM, operand, nullptr, tp->basic[TYPE_PKG::BT_INT], operand->scope); }
NODE* mk_COMMAOP(NODE* left, NODE* right) { return maketree(COMMAOP, left, right, right->type, left->scope); }

NODE* mk_LABELDEF(int label) {
  NODE* n = maketree(LABELDEF, nullptr, nullptr, tp->basic[TYPE_PKG::BT_VOID], nullptr);
  n->value = INT65(label);
  return n;
}

NODE* mk_ICALL(const char* name, NODE* args, TYPE* type) {
  NODE* n = maketree(ICALL, args, nullptr, type, nullptr);
  n->sym = pool_text(name, strlen(name));
  return n;
}

NODE* mk_MCALL(const char* name, NODE* args, TYPE* type) {
  NODE* n = maketree(args ? MCALL : UMCALL, args, nullptr, type, nullptr);
  n->sym = pool_text(name, strlen(name));
  return n;
}

NODE* mk_BRANCH_to_label(int label) {
  return maketree(BRANCH, mk_LABELREF(label, nullptr), nullptr, tp->basic[TYPE_PKG::BT_VOID], nullptr);
}

LIST* mkelist(NODE* tree, LIST* next, PSN* psn) {
  LIST* l = new (alloc_cell()) LIST();
  l->tree = tree;
  l->next = next;
  l->psn = psn;
  return l;
}

LIST* mklist(NODE* tree, LIST* next, uint16_t a, uint16_t b) {
  LIST* l = mkelist(tree, next, nullptr);
  l->a = a;
  l->b = b;
  return l;
}

// ---- copying and erasing ----------------------------------------------------

namespace {
NODE* copy_node(const NODE* src, bool into_file_pool) {
  NODE* n = into_file_pool ? new (zalloc0(0, sizeof(NODE))) NODE() : alloc_node(true);
  *n = *src;
  return n;
}
}  // namespace

NODE* copy_tree(NODE* tree, bool flag) {
  if (!tree) return nullptr;
  NODE* n = copy_node(tree, false);
  if (tree->op == CSE_DUPE) return n;  // shares its operands
  n->left = copy_tree(tree->left, flag);
  n->right = copy_tree(tree->right, flag);
  return n;
}

NODE* copy_tree_0(NODE* tree, FUNINFO* funinfo) {
  if (!tree) return nullptr;
  NODE* n = copy_node(tree, true);
  switch (tree->op) {
    case NAME:
      if (funinfo && tree->sym) n->sym = intern_symbol(static_cast<SYMTAB*>(tree->sym), funinfo);
      break;
    case SCON:
      if (tree->text) {
        char* t = static_cast<char*>(zalloc0(0, tree->text_len + 1));
        memcpy(t, tree->text, tree->text_len + 1);
        n->text = t;
      }
      break;
    case ASM:
      if (tree->text) n->text = zstrdup(0, tree->text);
      break;
    case ICALL:
    case MCALL:
    case UMCALL:
      if (tree->sym) n->sym = zstrdup(0, static_cast<const char*>(tree->sym));
      break;
    default:
      break;
  }
  if (tree->op == CSE_DUPE) return n;
  n->left = copy_tree_0(tree->left, funinfo);
  n->right = copy_tree_0(tree->right, funinfo);
  return n;
}

void erase_tree(NODE* tree) {
  while (tree) {
    if (tree->op == CSE_DUPE) {
      tree->left = tree->right = nullptr;
    }
    erase_tree(tree->left);
    NODE* right = tree->right;
    tree->op = NOP;
    tree->left = nullptr;
    tree->right = free_NODE_list;
    free_NODE_list = tree;
    tree = right;
  }
}

void erase_tree_list(LIST* list) {
  while (list) {
    LIST* next = list->next;
    erase_tree(list->tree);
    list->tree = nullptr;
    add_to_freemap(list, sizeof(LIST));
    list = next;
  }
}

void erase_tree_list_only(LIST* list) {
  while (list) {
    LIST* next = list->next;
    list->tree = nullptr;
    add_to_freemap(list, sizeof(LIST));
    list = next;
  }
}

SYMTAB* get_callee_for_call(NODE* node) {
  if (!node || (node->op != CALL && node->op != UCALL)) return nullptr;
  NODE* l = node->left;
  if (l && l->op == UAND && l->left && l->left->op == NAME) return static_cast<SYMTAB*>(l->left->sym);
  return nullptr;
}

NODE* get_arguments_to_call(NODE* node) {
  if (!node) return nullptr;
  switch (node->op) {
    case MEMCPY:
    case ICALL:
    case MCALL:
      return node->left;
    case CALL:
      return node->right;
    default:
      return nullptr;
  }
}
