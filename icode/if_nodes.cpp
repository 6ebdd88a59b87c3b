// Expression node records (101): one node per record, operands following in
// prefix order. The operand count of an op comes from if_node_info, except
// for the leaves that carry a value, which never have operand records.
#include <cstring>

#include "icode/if_file.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"

// Operators 164 and up live only in memory.
static const int kFirstMemoryOp = 164;

// How many operand records follow a node of `op`; -1 for an op that cannot
// stand in a file.
static int if_operand_count(int op) {
  switch (op) {
    case LABEL:
    case NAME:
    case SCON:
    case ICON:
    case FCON:
    case LCON:
    case FIELD:
    case SKIP:
    case VREG:  // the virtual register of old, a leaf
      return 0;
    default:
      break;
  }
  if (op < 0 || op >= kFirstMemoryOp) return -1;
  int n = if_node_info[op].operands;
  return n <= 2 ? n : -1;
}

static bool icon_is_signed(const TYPE* type) { return type && type->is_signed(); }

// ---------------------------------------------------------------------------
// Reading

NODE* I_FILE::if_read_node(int& operands) {
  int id;
  uint32_t length;
  i_read_header(id, length);
  if (id != IREC_NODE) if_bad_record();
  int op = i_read_u8();
  operands = if_operand_count(op);
  if (operands < 0) if_bad_record();
  TYPE* type = find_typeref(i_read_typeref());
  NODE* n = new_node(op, type);
  switch (op) {
    case LABEL:
      n->mk_label(i_read_uint());
      break;
    case NAME: {
      int32_t level = static_cast<int32_t>(i_read_uint());
      uint32_t index = i_read_uint();
      n->mk_name(if_symbol_ref(level, index));
      break;
    }
    case SCON: {
      uint32_t len = i_read_uint();
      n->mk_scon(len ? i_read_string(len) : "", len);
      break;
    }
    case ICON:
      if (icon_is_signed(type))
        n->mk_icon(static_cast<int64_t>(i_read_sint()));
      else
        n->mk_icon(static_cast<int64_t>(i_read_uint()));
      break;
    case FCON:
      n->mk_fcon(i_read_string(0));
      break;
    case LCON:
      n->mk_lcon(i_read_string(0));
      break;
    case FIELD: {
      int kind = i_read_s8();
      uint32_t member = i_read_uint();
      uint32_t csu_id = i_read_typeref();
      TYPE* csu = find_typeref(csu_id);
      fkMDATA* m = kind == 1 && csu ? find_mdataref(csu_id, member) : nullptr;
      if (!m) if_bad_record();
      n->mk_field(kind, m, csu);
      break;
    }
    case SWITCH:
      n->mk_switch(i_read_uint());
      break;
    case CALL: {
      uint32_t nvargs = i_read_uint();
      n->mk_call(nvargs, i_read_uint());
      break;
    }
    case UCALL:
      n->mk_ucall(i_read_uint());
      break;
    case EPVAL:
      n->set_edge_profile_value(static_cast<double>(i_read_uint()));
      break;
    case SKIP:
      n->mk_skip(i_read_uint());
      break;
    case DDNODE: {
      uint32_t ddid = i_read_uint();
      uint32_t locale = i_read_uint();
      n->mk_ddnode(ddid, locale, i_read_u8());
      break;
    }
    case ICALL:
    case UICALL:
    case MCALL:
    case UMCALL:
      n->mk_icall(i_read_string(0));
      break;
    case VREG:
      n->mk_vreg(i_read_sint());
      break;
    default:
      break;
  }
  return n;
}

// Iterative, so that a deep tree cannot exhaust the stack.
NODE* I_FILE::if_read_tree() {
  int operands;
  NODE* root = if_read_node(operands);
  if (operands == 0) return root;
  std::vector<READ_FRAME>& stack = rstack_;
  size_t bottom = stack.size();
  stack.push_back({root, operands, 0});
  while (stack.size() > bottom) {
    READ_FRAME& f = stack.back();
    if (f.have == f.need) {
      stack.pop_back();
      continue;
    }
    int child_operands;
    NODE* child = if_read_node(child_operands);
    if (f.have++ == 0)
      f.node->left = child;
    else
      f.node->right = child;
    if (child_operands > 0) {
      if (stack.size() - bottom >= IF_MAX_TREE_DEPTH) if_bad_record();
      stack.push_back({child, child_operands, 0});
    }
  }
  return root;
}

// ---------------------------------------------------------------------------
// Writing

void I_FILE::if_write_expr_icon(NODE* node) {
  if (icon_is_signed(node->type))
    i_write_sint(static_cast<int32_t>(node->icon_svalue()));
  else
    i_write_uint(static_cast<uint32_t>(node->icon_uvalue()));
}

void I_FILE::if_write_expr_field(NODE* node) {
  fkMDATA* m = node->field_mval();
  if (!m) if_bad_record();
  i_write_i8(node->field_kind());
  i_write_uint(m->member_id);
  i_write_typeref(node->field_csu());
}

void I_FILE::if_write_one_node(NODE* n) {
  int op = n->op;
  i_write_byte(static_cast<uint8_t>(op));
  i_write_typeref(n->type);
  switch (op) {
    case LABEL:
      i_write_uint(n->label_id());
      break;
    case NAME: {
      SYMTAB* sym = n->name_symbol();
      int32_t level = -1;
      uint32_t index = 0;
      if (sym) if_symbol_numbers(sym, level, index);
      i_write_uint(static_cast<uint32_t>(level));
      i_write_uint(index);
      break;
    }
    case SCON: {
      uint32_t len = n->scon_length();
      i_write_uint(len);
      if (len) i_write_string(n->scon_value(), len);
      break;
    }
    case ICON:
      if_write_expr_icon(n);
      break;
    case FCON:
      i_write_string(n->fcon_value(), 0);
      break;
    case LCON:
      i_write_string(n->lcon_value().c_str(), 0);
      break;
    case FIELD:
      if_write_expr_field(n);
      break;
    case SWITCH:
      i_write_uint(n->case_count());
      break;
    case CALL:
      i_write_uint(n->call_num_vargs());
      i_write_uint(static_cast<uint32_t>(n->eh_entry_id()));
      break;
    case UCALL:
      i_write_uint(static_cast<uint32_t>(n->eh_entry_id()));
      break;
    case EPVAL: {
      // Counts are whole and not negative; "no count" (-1) travels as 0.
      double v = n->get_edge_profile_value();
      i_write_uint(v <= 0 ? 0u : v >= 4294967295.0 ? 0xffffffffu : static_cast<uint32_t>(v));
      break;
    }
    case SKIP:
      i_write_uint(n->skip_count());
      break;
    case DDNODE:
      i_write_uint(n->ddnode_id());
      i_write_uint(n->ddnode_locale());
      i_write_byte(n->ddnode_flags());
      break;
    case ICALL:
    case UICALL:
    case MCALL:
    case UMCALL:
      i_write_string(n->icall_name(), 0);
      break;
    case VREG:
      i_write_sint(n->vreg_id());
      break;
    default:
      break;
  }
  i_flush(IREC_NODE);
}

// A tree goes out exactly as the reader will take it back: a node whose
// operands differ from its op's count would shift every record behind it,
// so it is refused here rather than written.
void I_FILE::if_write_expr_node(NODE* tree) {
  std::vector<NODE*>& stack = wstack_;
  size_t bottom = stack.size();
  stack.push_back(tree);
  while (stack.size() > bottom) {
    NODE* n = stack.back();
    stack.pop_back();
    int want = if_operand_count(n->op);
    int have = (n->left ? 1 : 0) + (n->right ? 1 : 0);
    if (want < 0 || want != have || (want == 1 && !n->left)) if_bad_record();
    if_write_one_node(n);
    if (want == 0) continue;
    if (n->right) stack.push_back(n->right);
    stack.push_back(n->left);
  }
}
