// Debug printers and checks of trees.
#include <cstring>
#include <string>

#include "driver/globals.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "options/global_flags.h"

namespace {
bool in_tree2infix = false;

const char* infix_op(int op) {
  switch (op) {
    case PLUS: return "+";
    case MINUS: return "-";
    case MULT: return "*";
    case DIV: return "/";
    case MOD: return "%";
    case ANDB: return "&";
    case ORB: return "|";
    case XORB: return "^";
    case SLL: return "<<";
    case SRL: return ">>";
    case ANDAND: return "&&";
    case OROR: return "||";
    case EQ: return "==";
    case NEQ: return "!=";
    case LE: case ULE: return "<=";
    case LT: case ULT: return "<";
    case GE: case UGE: return ">=";
    case GT: case UGT: return ">";
    case ASG: case STASG: case ARASG: return "=";
    case PLUSASG: return "+=";
    case MINUSASG: return "-=";
    case MULTASG: return "*=";
    case DIVASG: return "/=";
    case MODASG: return "%=";
    case ANDBASG: return "&=";
    case ORBASG: return "|=";
    case XORBASG: return "^=";
    case SLLASG: return "<<=";
    case SRLASG: return ">>=";
    case COMMA: case COMMAOP: case PCOMMA: return ",";
    case QUEST: return "?";
    case COLON: return ":";
    default: return nullptr;
  }
}

void infix(const NODE* t, std::string& out) {
  if (!t) {
    out += "<nil>";
    return;
  }
  char buf[64];
  switch (t->op) {
    case NAME:
      out += t->sym ? static_cast<const SYMTAB*>(t->sym)->name : "<nosym>";
      return;
    case ICON:
      out += int2text(t->value, t->type, -1, 10);
      return;
    case FCON:
      out += const_cast<NODE*>(t)->fcon_value() ? const_cast<NODE*>(t)->fcon_value() : "<fcon>";
      return;
    case SCON:
      out += "\"";
      for (uint32_t i = 0; i < t->text_len; ++i) {
        unsigned char c = static_cast<unsigned char>(t->text[i]);
        if (c >= 32 && c < 127 && c != '"' && c != '\\') out += static_cast<char>(c);
        else {
          snprintf(buf, sizeof buf, "\\%03o", c);
          out += buf;
        }
      }
      out += "\"";
      return;
    case LABEL:
      snprintf(buf, sizeof buf, "L%ld", static_cast<long>(t->value.as_int64()));
      out += buf;
      return;
    case LABELDEF:
      snprintf(buf, sizeof buf, "L%ld:", static_cast<long>(t->value.as_int64()));
      out += buf;
      return;
    case BRANCH:
      out += "goto ";
      infix(t->left, out);
      return;
    case RETURN:
      out += "return ";
      infix(t->right ? t->right : t->left, out);
      return;
    case URETURN:
      out += "return";
      return;
    case UMULT: out += "*("; infix(t->left, out); out += ")"; return;
    case UAND: out += "&"; infix(t->left, out); return;
    case UMINUS: out += "-("; infix(t->left, out); out += ")"; return;
    case EXCLAIM: out += "!("; infix(t->left, out); out += ")"; return;
    case NOTB: out += "~("; infix(t->left, out); out += ")"; return;
    case CALL:
    case UCALL:
      infix(t->left && t->left->op == UAND ? t->left->left : t->left, out);
      out += "(";
      if (t->op == CALL) infix(t->right, out);
      out += ")";
      return;
    case IF:
      out += "if (";
      infix(t->left, out);
      out += ") goto ";
      if (t->right) {
        infix(t->right->left, out);
        out += " else goto ";
        infix(t->right->right, out);
      }
      return;
    case CBRANCH:
      out += "if (";
      infix(t->left, out);
      out += ") goto ";
      infix(t->right, out);
      return;
    default:
      break;
  }
  if (const char* o = infix_op(t->op)) {
    out += "(";
    infix(t->left, out);
    out += " ";
    out += o;
    out += " ";
    infix(t->right, out);
    out += ")";
    return;
  }
  std::string name = opname(t->op);
  while (!name.empty() && name.back() == ' ') name.pop_back();
  out += name;
  if (t->left || t->right) {
    out += "(";
    if (t->left) infix(t->left, out);
    if (t->right) {
      out += ", ";
      infix(t->right, out);
    }
    out += ")";
  }
}
}  // namespace

const char* tree2infix(NODE* tree, bool semicolon) {
  if (in_tree2infix) return "+*+*+ tree2infix called recursively +*+*+";
  in_tree2infix = true;
  std::string s;
  if (tree && tree->op == PCOMMA) s = "/* argument prolog */ ";
  infix(tree, s);
  if (semicolon) s += ";";
  const size_t limit = sizeof bug_file_name - 4;
  if (s.size() > limit) s = s.substr(0, limit) + "...";
  memcpy(bug_file_name, s.c_str(), s.size() + 1);
  in_tree2infix = false;
  return bug_file_name;
}

const char* stmt2infix(NODE* tree) { return tree2infix(tree, true); }

void prtree1(NODE* tree, int indent) {
  if (!print_debug || !fdebug) return;
  if (!tree) {
    fprintf(fdebug, "   >>>>>>>>>> ILLEGAL TREE: (nil) <<<<<<<<<<<<\n");
    return;
  }
  if (tree->scope) fprintf(fdebug, "(#%u|%u) ", tree->scope->num1, tree->scope->num2);
  else fprintf(fdebug, "(    ) ");
  fprintf(fdebug, "%d: ", zlocalp(tree) ? 1 : 0);
  fprintf(fdebug, "%*s", indent * 3, "");
  const char* tname = tree->type ? tree->type->printstr(false) : "";
  fprintf(fdebug, "%s depnum:%ld\tsize:%2ld type:%-16s ", opname(tree->op), static_cast<long>(tree->depnum),
          static_cast<long>(tree->type ? tree->type->size : 0), tname);
  if (tree->cast_type && tree->cast_type != tree->type) fprintf(fdebug, "(%s) ", tree->cast_type->printstr(false));
  switch (tree->op) {
    case NAME: fprintf(fdebug, "%s", tree->sym ? static_cast<SYMTAB*>(tree->sym)->name : "?"); break;
    case ICON: case LABEL: case LABELDEF: fprintf(fdebug, "%s", int2text(tree->value, tree->type, -1, 10).c_str()); break;
    case FCON: fprintf(fdebug, "%s", tree->fcon_value() ? tree->fcon_value() : ""); break;
    default: break;
  }
  fputc('\n', fdebug);
  if (tree->op == CSE_DUPE) return;
  if (tree->left) prtree1(tree->left, indent + 1);
  if (tree->right) prtree1(tree->right, indent + 1);
}

void prlist1(LIST* list) {
  if (!print_debug || !fdebug) return;
  for (; list; list = list->next) {
    if (list->psn) fprintf(fdebug, "-- line %u\n", list->psn->line);
    prtree1(list->tree, 0);
  }
}

void dump_tree_debug(NODE* tree) {
  if (!print_debug || !fdebug) return;
  fprintf(fdebug, "%s\n", tree2infix(tree, true));
}

namespace {
bool structure_ok(const NODE* t) {
  if (!t || t->op == CSE_DUPE) return true;
  if (t->op >= 0 && t->op < 256 && commute_inv[t->op] != 255 && (!t->left || !t->right)) return false;
  return structure_ok(t->right) && structure_ok(t->left);
}
}  // namespace

void validate_tree_structure(NODE* tree) {
  if (!print_debug || !fdebug) return;
  if (!structure_ok(tree)) {
    fprintf(fdebug, "\n\nInvalid tree structure at node %p, op %s\n", static_cast<void*>(tree), opname(tree->op));
    prtree1(tree, 0);
  }
}

void validate_tree(NODE* tree) {
  if (!tree || !print_debug || !fdebug) return;
  bool here = zlocalp(tree);
  for (NODE* k : {tree->left, tree->right})
    if (k && tree->op != CSE_DUPE && zlocalp(k) != here)
      fprintf(fdebug, "Warning: operand in another pool: %s\n", tree2infix(tree, false));
  if (tree->ddnode && tree->op != SCON && tree->op != FCON && zlocalp(tree->ddnode) != here)
    fprintf(fdebug, "Warning: ddnode in another pool: %s\n", tree2infix(tree, false));
  if (tree->op == CSE_DUPE) return;
  validate_tree(tree->left);
  validate_tree(tree->right);
}
