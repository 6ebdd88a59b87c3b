// Trees in text: "(OP TYPE VALUE KEY=V... OPERAND...)", symbol references,
// and the types the assembler gives a node whose text leaves it out.
#include "icode/if_file.h"
#include "tools/icode-text/it_parse.h"

bool IT_PARSER::global_by_name(const std::string& name, int64_t& index, const IT_TOKEN& at, bool must) {
  auto it = global_names_.find(name);
  if (it == global_names_.end()) {
    if (must) fail(at, "unknown global " + name);
    return false;
  }
  if (it->second.size() > 1)
    fail(at, "there are several globals named " + name + ": name one by its index (::" + name + "#" +
                 std::to_string(it->second[0]) + ")");
  index = static_cast<int64_t>(it->second[0]);
  return true;
}

// NAME, NAME#N (local N), ::NAME, ::NAME#N or ::#N (global), or - (none).
// A bare name is the latest local of that name, else the one global of it.
void IT_PARSER::symref(CUR& c, int64_t& level, int64_t& index, uint32_t& type, bool& none,
                       bool& level_known) {
  none = false;
  level_known = true;
  type = 0;
  level = 0;
  index = 0;
  const IT_TOKEN& at = c.peek();
  if (c.punct("-")) {
    c.next();
    none = true;
    return;
  }
  if (c.punct("::")) {
    c.next();
    std::string name;
    bool named = c.peek().kind == TK_IDENT || c.peek().kind == TK_STR;
    if (named) name = c.next().text;
    if (c.punct("#")) {
      c.next();
      index = number(c, K_UINT, "a global's index");
      if (static_cast<size_t>(index) < globals_.size()) {
        const SYM& g = globals_[static_cast<size_t>(index)];
        if (named && !name.empty() && g.known && g.name != name)
          fail(at, "global #" + std::to_string(index) + " is " + g.name + ", not " + name);
        type = g.type;
      } else if (named && !name.empty()) {
        fail(at, "there is no global #" + std::to_string(index));
      }
      return;
    }
    if (!named) fail(at, "expected a global's name or #N after ::");
    global_by_name(name, index, at, true);
    type = globals_[static_cast<size_t>(index)].type;
    return;
  }
  if (c.peek().kind != TK_IDENT && c.peek().kind != TK_STR)
    fail(at, "expected a symbol, found " + (at.kind == TK_END ? std::string("the end of the line") : "'" + at.text + "'"));
  std::string name = c.next().text;
  if (c.punct("#")) {
    c.next();
    index = number(c, K_UINT, "a local's index");
    if (static_cast<size_t>(index) < locals_.size()) {
      const SYM& s = locals_[static_cast<size_t>(index)];
      if (!name.empty() && s.known && s.name != name)
        fail(at, "local #" + std::to_string(index) + " is " + s.name + ", not " + name);
      type = s.type;
      level = s.level;
    } else {
      if (!name.empty()) fail(at, "there is no local #" + std::to_string(index));
      level_known = false;
    }
    return;
  }
  auto latest = latest_local_.find(name);
  if (latest != latest_local_.end()) {
    const SYM& s = locals_[latest->second];
    index = static_cast<int64_t>(latest->second);
    level = s.level;
    type = s.type;
    return;
  }
  if (global_by_name(name, index, at, false)) {
    type = globals_[static_cast<size_t>(index)].type;
    return;
  }
  fail(at, "unknown symbol " + name);
}

std::unique_ptr<IT_NODE> IT_PARSER::parse_node(CUR& c) {
  expect(c, "(", "'(' to start a tree");
  const IT_TOKEN& opt = c.peek();
  if (opt.kind != TK_IDENT) fail(opt, "expected an operator name");
  int op = it_op_number(opt.text);
  if (op < 0) fail(opt, "unknown operator " + opt.text);
  int operands = it_operand_count(op);
  if (operands < 0) fail(opt, "the operator " + opt.text + " cannot stand in a file");
  c.next();
  auto n = std::make_unique<IT_NODE>();
  n->op = op;

  bool have_type = false, have_class = false;
  uint32_t type = 0;
  IT_TYPE_TEXT class_text;
  if (c.punct("-")) {
    c.next();
    have_type = true;
  } else if (type_start(c.peek())) {
    IT_TYPE_TEXT s = parse_type(c);
    if (op == OP_FIELD && c.punct("::")) {
      class_text = s;
      have_class = true;
    } else {
      type = resolve(s);
      have_type = true;
    }
  }

  // The value, then keys and operands.
  const IT_TOKEN& vt = c.peek();
  int64_t a = 0, b = 0, d = 0;
  std::string text;
  uint32_t sym_type = 0;
  bool none = false, level_known = true;
  int64_t icon = 0;
  bool icon_given = false;
  switch (op) {
    case OP_LABEL: {
      if (vt.kind == TK_IDENT && vt.text.size() > 1 && vt.text[0] == 'L' &&
          vt.text.find_first_not_of("0123456789", 1) == std::string::npos && vt.text.size() < 12) {
        a = static_cast<int64_t>(std::stoull(vt.text.substr(1)));
        if (a > 0xffffffffLL) fail(vt, "the label number is out of range");
        c.next();
      } else {
        a = number(c, K_UINT, "a label L<number>");
      }
      break;
    }
    case OP_NAME:
      symref(c, a, b, sym_type, none, level_known);
      if (none) a = 0xffffffffLL;
      break;
    case OP_SCON: case OP_ICALL: case OP_UICALL: case OP_MCALL: case OP_UMCALL:
      text = string_or_ident(c, "a string");
      if (op != OP_SCON && text.find('\0') != std::string::npos) fail(vt, "a call name cannot hold a zero byte");
      break;
    case OP_ICON:
      if (vt.kind == TK_NUM) {
        icon = number_in(c, INT32_MIN, 0xffffffffLL, "an integer");
        icon_given = true;
      } else {
        fail(vt, "expected an integer");
      }
      break;
    case OP_FCON: case OP_LCON:
      if (vt.kind == TK_NUM) {
        text = c.next().text;
      } else {
        text = string_or_ident(c, "a number");
        if (text.find('\0') != std::string::npos) fail(vt, "the number text cannot hold a zero byte");
      }
      break;
    case OP_FIELD: {
      if (!have_class) {
        if (!type_start(c.peek())) fail(c.peek(), "expected the member's class, as in struct S::member");
        class_text = parse_type(c);
      }
      expect(c, "::", "'::' and a member");
      uint32_t csu = resolve(class_text);
      const IT_TOKEN& mt = c.peek();
      uint32_t member = 0, mtype = 0;
      if (c.punct("#")) {
        c.next();
        // By id, a member the class lacks is taken as it stands: the node's
        // type must then be written.
        member = static_cast<uint32_t>(number(c, K_UINT, "a member id"));
        if (const IT_REC* r = types_.member_by_id(csu, member)) mtype = static_cast<uint32_t>(r->f[4].n);
      } else {
        std::string mn = string_or_ident(c, "a member name");
        if (!types_.member_by_name(csu, mn, member, mtype)) fail(mt, types_.ref(csu) + " has no member " + mn);
      }
      a = 1;
      b = member;
      d = csu;
      sym_type = mtype;
      break;
    }
    case OP_EPVAL: case OP_SKIP:
      a = number(c, K_UINT, "a number");
      break;
    case OP_DDNODE:
      a = number(c, K_UINT, "a dependence node id");
      break;
    case OP_VREG:
      a = number(c, K_SINT, "a register number");
      break;
    default:
      break;
  }
  int64_t cases = -1;
  for (;;) {
    const IT_TOKEN& t = c.peek();
    if (c.punct(")")) {
      c.next();
      break;
    }
    if (c.punct("(")) {
      // The parse recurses; the readers refuse such a tree anyway.
      if (++tree_depth_ >= IF_MAX_TREE_DEPTH)
        fail(c.peek(), "a tree deeper than " + std::to_string(IF_MAX_TREE_DEPTH) + " levels");
      n->kids.push_back(parse_node(c));
      --tree_depth_;
      continue;
    }
    if (t.kind == TK_KEY) {
      c.next();
      const std::string& k = t.text;
      if (k == "extra") {
        n->extra = hex(c.next());
      } else if (op == OP_NAME && k == "level") {
        a = number(c, K_UINT, "a level");
        level_known = true;
      } else if (op == OP_NAME && k == "index") {
        b = number(c, K_UINT, "an index");
      } else if (op == OP_FIELD && k == "kind") {
        a = number(c, K_I8, "a field kind");
      } else if (op == OP_SWITCH && k == "cases") {
        cases = number(c, K_UINT, "a case count");
      } else if (op == OP_CALL && k == "vargs") {
        a = number(c, K_UINT, "a count");
      } else if ((op == OP_CALL || op == OP_UCALL) && k == "callarg") {
        (op == OP_CALL ? b : a) = number(c, K_UINT, "a call argument");
      } else if (op == OP_DDNODE && k == "locale") {
        b = number(c, K_UINT, "a locale");
      } else if (op == OP_DDNODE && k == "flags") {
        d = number(c, K_U8, "flags");
      } else {
        fail(t, std::string("the operator ") + opt.text + " has no field " + k);
      }
      continue;
    }
    if (t.kind == TK_END || t.kind == TK_NL) fail(t, "expected ')' to end the tree");
    fail(t, "expected '(' or ')', found " +
                (t.kind == TK_STR ? std::string("a string") : t.kind == TK_POS ? "a position" : "'" + t.text + "'"));
  }
  if (static_cast<int>(n->kids.size()) != operands)
    fail(opt, opt.text + " takes " + std::to_string(operands) + " operand" + (operands == 1 ? "" : "s") +
                  ", not " + std::to_string(n->kids.size()));
  if (op == OP_NAME && !level_known) fail(vt, "give level= for a symbol this text doesn't define");

  if (!have_type) {
    if (op == OP_NAME) {
      if (none) fail(opt, "write the type of a NAME without a symbol");
      type = sym_type;
    } else if (op == OP_FIELD) {
      if (!sym_type) fail(opt, "write the type of a FIELD of a member the class doesn't have");
      type = sym_type;
    } else {
      type = infer(*n, opt);
    }
  }
  n->type = type;
  bool is_signed = types_.is_signed(type);
  for (IT_KIND k : it_op_values(op, is_signed)) n->v.push_back(it_num(k, 0));
  switch (op) {
    case OP_LABEL: case OP_EPVAL: case OP_SKIP: case OP_VREG: case OP_UCALL:
      n->v[0].n = a;
      break;
    case OP_NAME: case OP_CALL:
      n->v[0].n = a;
      n->v[1].n = b;
      break;
    case OP_SCON: case OP_FCON: case OP_LCON: case OP_ICALL: case OP_UICALL: case OP_MCALL:
    case OP_UMCALL:
      n->v[0].s = text;
      break;
    case OP_ICON:
      if (icon_given && (is_signed ? icon > INT32_MAX : icon < 0))
        fail(vt, "the value " + std::to_string(icon) + " does not fit the " +
                     std::string(is_signed ? "signed" : "unsigned") + " type " + types_.ref(type));
      n->v[0].n = icon;
      break;
    case OP_FIELD: case OP_DDNODE:
      n->v[0].n = a;
      n->v[1].n = b;
      n->v[2].n = d;
      break;
    case OP_SWITCH: {
      if (cases < 0) {
        cases = 0;
        const IT_NODE* k = n->kids[1].get();
        for (; k->op == OP_COMMA && k->kids.size() == 2; k = k->kids[1].get()) cases += k->kids[0]->op == OP_CASE;
        cases += k->op == OP_CASE;
      }
      n->v[0].n = cases;
      break;
    }
    default:
      break;
  }
  return n;
}

// The type a node gets when its text leaves the type out; what the front
// end gives such nodes by the tree conventions.
uint32_t IT_PARSER::infer(const IT_NODE& n, const IT_TOKEN& at) {
  auto basic = [&](int code) {
    IT_TYPE_TEXT s;
    s.k = IT_TYPE_TEXT::S_BASIC;
    s.code = code;
    s.at = &at;
    return resolve(s);
  };
  auto kid = [&](size_t i) { return n.kids.size() > i ? n.kids[i]->type : 0; };
  const char* name = it_op_name(n.op);
  std::string op = name ? name : "OP" + std::to_string(n.op);
  uint32_t t = 0;
  switch (n.op) {
    case OP_ICON: case OP_LCON: case OP_LABEL:
    case 23: case 24: case 76:                                       // ANDAND OROR EXCLAIM
    case 80: case 81: case 82: case 83: case 84: case 85: case 86: case 87: case 88: case 89:
      return basic(TC_INT);
    case OP_FCON:
      return basic(TC_DOUBLE);
    case OP_SCON: {
      IT_TYPE_TEXT s;
      s.k = IT_TYPE_TEXT::S_ARRAY;
      s.count = static_cast<int64_t>(n.v.empty() ? 0 : n.v[0].s.size()) + 1;
      s.at = &at;
      IT_TYPE_TEXT ch;
      ch.k = IT_TYPE_TEXT::S_BASIC;
      ch.code = TC_CHAR;
      ch.at = &at;
      s.sub.push_back(ch);
      return resolve(s);
    }
    case 114: case 109: case OP_SWITCH: case OP_CASE: case 46: case 118: case 57: case OP_COMMA:
      return basic(TC_VOID);                      // BRANCH CBRANCH SWITCH CASE DEFAULT URETURN PCOMMA COMMA
    case OP_ENDINIT:
      return 0;
    case 36:                                      // RETURN: the function's result type
      t = types_.result(func_type_);
      if (!t) t = kid(1);
      break;
    case OP_CALL: case OP_UCALL:
      t = types_.result(kid(0));
      break;
    case 16:                                      // UAND
      return kid(0) ? pointer_to(kid(0), at) : 0;
    case 13:                                      // UMULT
      t = types_.pointee(kid(0));
      break;
    case 68: case 69: case 21: case 59:           // STDOT STREF QUEST COMMAOP
      t = kid(1);
      break;
    case 6: case 7: case 8: case 9: case 10: case 11: case 12: case 14: case 15: case 17: case 18:
    case 19: case 20: case 22: case 27: case 58: case 60: case 61: case 62: case 63: case 64: case 65:
    case 66: case 67: case 77: case 78: case 79: case 98: case 99: case 103: case OP_EPVAL:
      t = kid(0);
      break;
    default:
      fail(at, "write the type of " + op + ": it cannot be inferred");
  }
  if (!t) fail(at, "write the type of " + op + ": it cannot be inferred from its operands");
  return t;
}
