// The model as text: header, option sets, file names, types, globals,
// initialisers, then the function section record by record. Whatever the
// text leaves out is what icode-as fills in by itself, so the two agree on
// every default (see docs/icode-text.md).
#include <algorithm>
#include <cstring>
#include <map>
#include <unordered_map>

#include "tools/icode-text/itext.h"

namespace {

struct SYM {
  std::string name;
  uint32_t type = 0;
  int level = 0;
  bool known = false;  // false for a symbol record that didn't decode
};

class PRINTER {
 public:
  explicit PRINTER(IT_MODEL& m) : m_(m), types_(m) { types_.rebuild(); }
  std::string run();

 private:
  // Pieces.
  std::string name_text(const std::string& n) const;
  std::string psn(const IT_PSN& p) const;
  std::string value(const IT_VAL& v) const;
  std::string extra(const IT_BYTES& b) const;
  std::string symref(int64_t level, int64_t index, bool uint_level, int64_t none_index) const;
  std::string field_text(const IT_FIELD& f, const IT_VAL& v) const;
  // Positional and keyed fields; the position goes to `at`.
  std::string fields(const std::vector<IT_FIELD>& layout, const IT_VAL* f, size_t n, int code,
                     std::string& at) const;
  void tree(const IT_NODE& n, std::string& out) const;
  std::string symbol_line(const IT_REC& r, const char* keyword, int64_t default_fileoff) const;
  std::string raw(const char* section, const IT_REC& r) const;

  // Sections.
  void header();
  void options();
  void files();
  void types();
  void globals();
  void inits();
  void code();
  void code_record(const IT_REC& r);

  void line(const std::string& s) { out_ += s + "\n"; }

  IT_MODEL& m_;
  IT_TYPES types_;
  std::string out_;
  std::vector<std::string> file_names_;
  std::vector<bool> file_ok_;
  std::vector<SYM> globals_;
  std::vector<SYM> locals_;
  std::unordered_map<std::string, int> global_names_;     // name to how many globals have it
  std::unordered_map<std::string, size_t> latest_local_;  // name to the latest local of it
  void add_global(const SYM& s) {
    globals_.push_back(s);
    if (s.known) global_names_[s.name]++;
  }
  void add_local(const SYM& s) {
    if (s.known) latest_local_[s.name] = locals_.size();
    locals_.push_back(s);
  }
  void clear_locals() {
    locals_.clear();
    latest_local_.clear();
  }
  std::map<int64_t, uint32_t> placed_;  // global index to its function or initialiser
  int depth_ = 0;
};

std::string PRINTER::name_text(const std::string& n) const {
  if (it_is_ident(n) && !it_reserved_word(n) && !types_.is_typedef_name(n)) return n;
  return it_quote(n);
}

std::string PRINTER::psn(const IT_PSN& p) const {
  std::string file;
  if (p.file >= 1 && p.file <= file_names_.size() && file_ok_[p.file - 1]) {
    const std::string& n = file_names_[p.file - 1];
    bool plain = !n.empty() && n[0] != '#' && n[0] != '"' &&
                 n.find_first_of(": \t;\"\\") == std::string::npos;
    for (unsigned char c : n)
      if (c < 0x21 || c > 0x7e) plain = false;
    file = plain ? n : it_quote(n);
  } else {
    file = "#" + std::to_string(p.file);
  }
  return "@" + file + ":" + std::to_string(p.line) + ":" + std::to_string(p.col);
}

std::string PRINTER::value(const IT_VAL& v) const {
  switch (v.kind) {
    case K_STR: case K_COUNTED: return it_quote(v.s);
    case K_PSN: return psn(v.psn);
    case K_TREF: return types_.ref(static_cast<uint32_t>(v.n));
    default: return std::to_string(v.n);
  }
}

std::string PRINTER::extra(const IT_BYTES& b) const {
  return b.empty() ? "" : " extra=\"" + it_hex(b) + "\"";
}

// A symbol as trees name it: a bare name when the parser's rule (the latest
// local of that name, else the one global of that name) finds it, otherwise
// with its index.
std::string PRINTER::symref(int64_t level, int64_t index, bool uint_level, int64_t none_index) const {
  bool none = uint_level ? level == 0xffffffffLL : level == -1;
  if (none) return index == none_index ? "-" : "- index=" + std::to_string(index);
  std::string num = "#" + std::to_string(index);
  if (level == 0) {
    if (index < 0 || static_cast<size_t>(index) >= globals_.size() || !globals_[index].known)
      return "::" + num;
    const SYM& g = globals_[index];
    int same = global_names_.at(g.name);
    bool shadowed = latest_local_.count(g.name) != 0;
    if (same == 1 && !shadowed) return name_text(g.name);
    if (same == 1) return "::" + name_text(g.name);
    return "::" + name_text(g.name) + num;
  }
  std::string lv = " level=" + std::to_string(level);
  if (index < 0 || static_cast<size_t>(index) >= locals_.size() || !locals_[index].known)
    return "\"\"" + num + lv;
  const SYM& s = locals_[index];
  int64_t latest = static_cast<int64_t>(latest_local_.at(s.name));
  std::string t = latest == index ? name_text(s.name) : name_text(s.name) + num;
  return level == s.level ? t : t + lv;
}

std::string PRINTER::field_text(const IT_FIELD& f, const IT_VAL& v) const {
  if (v.kind == K_TREF) return v.n ? "#" + std::to_string(v.n) : "-";
  if (v.kind == K_STR && f.role == ROLE_POS && it_is_ident(v.s)) return v.s;
  return value(v);
}

// The fields of a type record behind its id and code, or of a record with
// a fixed layout: positional ones in order, then what differs from its
// default, then the position.
std::string PRINTER::fields(const std::vector<IT_FIELD>& layout, const IT_VAL* f, size_t n,
                            int code, std::string& at) const {
  std::string s, keys;
  at.clear();
  for (size_t i = 0; i < layout.size() && i < n; i++) {
    const IT_FIELD& fd = layout[i];
    const IT_VAL& v = f[i];
    switch (fd.role) {
      case ROLE_POS:
        // Names in type records stand bare; texts of other records are quoted.
        s += " " + (code >= 0 ? field_text(fd, v) : value(v));
        break;
      case ROLE_PSN:
        if (v.psn.file) at = " " + psn(v.psn);
        break;
      case ROLE_KEY:
        if (v.kind == K_STR ? !v.s.empty()
                            : v.n != (code >= 0 ? it_type_default(types_, code, f, n, layout, i) : 0))
          keys += std::string(" ") + fd.key + "=" + field_text(fd, v);
        break;
      case ROLE_FLAG: {
        int64_t d = code >= 0 ? it_type_default(types_, code, f, n, layout, i) : 0;
        if (v.n == d) break;
        keys += std::string(" ") + fd.key;
        if (v.n != 1) keys += "=" + std::to_string(v.n);
        break;
      }
    }
  }
  return s + keys;
}

void PRINTER::tree(const IT_NODE& n, std::string& out) const {
  const char* name = it_op_name(n.op);
  out += "(";
  out += name ? name : "OP" + std::to_string(n.op);
  out += " " + types_.ref(n.type);
  const std::vector<IT_VAL>& v = n.v;
  switch (n.op) {
    case OP_LABEL: out += " L" + std::to_string(v[0].n); break;
    case OP_NAME: out += " " + symref(v[0].n, v[1].n, true, 0); break;
    case OP_SCON: case OP_ICALL: case OP_UICALL: case OP_MCALL: case OP_UMCALL:
      out += " " + it_quote(v[0].s);
      break;
    case OP_ICON: case OP_EPVAL: case OP_SKIP: case OP_VREG:
      out += " " + std::to_string(v[0].n);
      break;
    case OP_FCON: case OP_LCON:
      out += " " + (it_number_like(v[0].s) ? v[0].s : it_quote(v[0].s));
      break;
    case OP_FIELD: {
      uint32_t csu = static_cast<uint32_t>(v[2].n);
      uint32_t id = static_cast<uint32_t>(v[1].n);
      std::string member = "#" + std::to_string(id);
      if (const IT_REC* r = types_.member_by_id(csu, id)) {
        const std::string& mn = r->f[3].s;
        uint32_t found, type;
        if (it_is_ident(mn) && types_.member_by_name(csu, mn, found, type) && found == id) member = mn;
      }
      out += " " + types_.ref(csu) + "::" + member;
      if (v[0].n != 1) out += " kind=" + std::to_string(v[0].n);
      break;
    }
    case OP_SWITCH: {
      int64_t cases = 0;
      const IT_NODE* c = n.kids.size() == 2 ? n.kids[1].get() : nullptr;
      for (; c && c->op == OP_COMMA && c->kids.size() == 2; c = c->kids[1].get())
        cases += c->kids[0]->op == OP_CASE;
      if (c) cases += c->op == OP_CASE;
      if (v[0].n != cases) out += " cases=" + std::to_string(v[0].n);
      break;
    }
    case OP_CALL:
      if (v[0].n) out += " vargs=" + std::to_string(v[0].n);
      if (v[1].n) out += " callarg=" + std::to_string(v[1].n);
      break;
    case OP_UCALL:
      if (v[0].n) out += " callarg=" + std::to_string(v[0].n);
      break;
    case OP_DDNODE:
      out += " " + std::to_string(v[0].n);
      if (v[1].n) out += " locale=" + std::to_string(v[1].n);
      if (v[2].n) out += " flags=" + std::to_string(v[2].n);
      break;
    default:
      break;
  }
  out += extra(n.extra);
  for (const auto& k : n.kids) {
    out += " ";
    tree(*k, out);
  }
  out += ")";
}

int64_t symbol_default_size(const IT_TYPES& t, uint32_t type) {
  return type == 0 || t.is_function(type) ? 0 : t.size(type);
}

int64_t symbol_default_align(const IT_TYPES& t, uint32_t type) {
  if (type == 0 || t.is_function(type)) return 0;
  return t.align(type) ? t.align(type) : 16;
}

// A symbol record: name, type, and the fields that differ from what the
// assembler would give; the class is always shown.
std::string PRINTER::symbol_line(const IT_REC& r, const char* keyword, int64_t default_fileoff) const {
  const std::vector<IT_VAL>& f = r.f;
  uint32_t type = static_cast<uint32_t>(f[5].n);
  std::string s = std::string(keyword) + " " + name_text(f[0].s) + " : " + types_.ref(type);
  if (f[1].n != symbol_default_size(types_, type)) s += " size=" + std::to_string(f[1].n);
  if (f[2].n) s += " offset=" + std::to_string(f[2].n);
  const char* cls = it_sclass_name(static_cast<int>(f[3].n));
  s += " class=" + (cls ? std::string(cls) : std::to_string(f[3].n));
  if (f[4].n) {
    char buf[24];
    snprintf(buf, sizeof buf, "0x%llx", static_cast<unsigned long long>(f[4].n));
    s += std::string(" qual=") + buf;
  }
  if (f[6].n) s += " type2=" + types_.ref(static_cast<uint32_t>(f[6].n));
  if (f[7].n != symbol_default_align(types_, type)) s += " align=" + std::to_string(f[7].n);
  if (f[9].n != default_fileoff) s += " fileoff=" + std::to_string(f[9].n);
  if (f[10].n) s += " optset=" + std::to_string(f[10].n);
  for (const IT_REC& p : r.pragmas) {
    s += " pragma(" + std::to_string(p.f[0].n);
    for (size_t i = 2; i < p.f.size(); i++) s += " " + it_quote(p.f[i].s);
    s += ")";
  }
  if (f[8].n != static_cast<int64_t>(r.pragmas.size())) s += " pragmas=" + std::to_string(f[8].n);
  s += extra(r.extra);
  if (f[11].psn.file) s += " " + psn(f[11].psn);
  return s;
}

std::string PRINTER::raw(const char* section, const IT_REC& r) const {
  return std::string("raw ") + section + " " + std::to_string(r.id) + " \"" + it_hex(r.extra) + "\"";
}

// ---------------------------------------------------------------------------

void PRINTER::header() {
  std::string s = "icode version=" + std::to_string(m_.version) + " cpu=" + std::to_string(m_.cpu) +
                  " source=" + it_quote(m_.source);
  if (m_.extra_word) s += " extra=" + std::to_string(m_.extra_word);
  if (!m_.magic_extra.empty()) s += " magic=\"" + it_hex(m_.magic_extra) + "\"";
  line(s);
}

void PRINTER::options() {
  for (const IT_REC& r : m_.options) {
    if (r.raw) {
      line(raw("options", r));
      continue;
    }
    std::string s = "options " + std::to_string(r.f[0].n);
    for (size_t i = 2; i < r.f.size(); i++) s += " " + it_quote(r.f[i].s);
    line(s);
  }
}

void PRINTER::files() {
  std::map<std::string, int> count;
  for (const IT_REC& r : m_.files)
    if (!r.raw) count[r.f[0].s]++;
  for (const IT_REC& r : m_.files) {
    file_names_.push_back(r.raw ? "" : r.f[0].s);
    file_ok_.push_back(!r.raw && count[r.f[0].s] == 1);
  }
  std::string pending;
  for (const IT_REC& r : m_.files) {
    if (r.raw) {
      if (!pending.empty()) line("files" + pending);
      pending.clear();
      line(raw("files", r));
      continue;
    }
    pending += " " + it_quote(r.f[0].s);
  }
  if (!pending.empty()) line("files" + pending);
}

void PRINTER::types() {
  struct BLOCK {
    int64_t owner, kind;
  };
  // A list header and the trailer of the same type that closes it are
  // printed as a block; a header or trailer without its partner stands
  // alone, so that the blocks of the text nest as the parser reads them.
  std::vector<bool> paired(m_.types.size(), false);
  std::vector<size_t> open;
  for (size_t i = 0; i < m_.types.size(); i++) {
    const IT_REC& r = m_.types[i];
    if (r.raw) continue;
    if (r.f[1].n == TC_LIST_HEADER) open.push_back(i);
    if (r.f[1].n == TC_LIST_TRAILER && !open.empty() && m_.types[open.back()].f[0].n == r.f[0].n) {
      paired[open.back()] = paired[i] = true;
      open.pop_back();
    }
  }
  std::vector<BLOCK> blocks;
  for (size_t index = 0; index < m_.types.size(); index++) {
    const IT_REC& r = m_.types[index];
    std::string ind(2 * blocks.size(), ' ');
    if (r.raw) {
      line(ind + raw("types", r));
      continue;
    }
    int64_t id = r.f[0].n;
    int code = static_cast<int>(r.f[1].n);
    std::string head = "type #" + std::to_string(id) + " ";
    bool in_block = !blocks.empty() && blocks.back().owner == id;
    if (code == TC_LIST_HEADER || code == TC_LIST_TRAILER) {
      int64_t kind = r.f[2].n;
      const char* kn = it_list_kind_name(static_cast<int>(kind));
      std::string kt = kn ? kn : "kind=" + std::to_string(kind);
      if (code == TC_LIST_HEADER && paired[index]) {
        line(ind + head + kt + extra(r.extra) + " {");
        blocks.push_back({id, kind});
      } else if (code == TC_LIST_HEADER) {
        line(ind + head + "header " + kt + extra(r.extra));
      } else if (paired[index]) {
        std::string s = "}";
        if (kind != blocks.back().kind) s += " " + kt;
        blocks.pop_back();
        line(std::string(2 * blocks.size(), ' ') + s + extra(r.extra));
      } else {
        line(ind + head + "} " + kt + extra(r.extra));
      }
      continue;
    }
    const std::vector<IT_FIELD>& layout = *it_type_layout(code, m_.version);
    const IT_VAL* f = r.f.data() + 2;
    size_t n = r.f.size() - 2;
    std::string kw = it_type_keyword(code);
    std::string body, at;
    if (code == TC_CSU_SHORT || code == TC_CSU_LONG) {
      int64_t csu = f[0].n;
      kw = csu == 1 ? "union" : csu == 2 ? "class" : "struct";
      std::vector<IT_FIELD> rest(layout.begin() + 1, layout.end());
      body = fields(rest, f + 1, n - 1, code, at);
      if (csu < 0 || csu > 2) body += " csu=" + std::to_string(csu);
      if (code == TC_CSU_LONG) {
        bool other = false;
        for (size_t i = 0; i < layout.size(); i++) {
          const char* k = layout[i].key;
          if (strcmp(k, "classword") == 0 || (layout[i].role == ROLE_FLAG && it_list_kind(k) >= 0 &&
                                              strcmp(k, "members") != 0))
            other |= f[i].n != 0;
        }
        if (!other) body += " long";
      }
    } else {
      body = fields(layout, f, n, code, at);
    }
    bool element = it_element_list_kind(code) >= 0;
    std::string s = (element && in_block ? ind : ind + head) + kw + body + extra(r.extra) + at;
    std::string nm = element ? "" : types_.name(static_cast<uint32_t>(id));
    if (!nm.empty()) s += "  ; " + nm;
    line(s);
  }
}

void PRINTER::globals() {
  for (const IT_REC& r : m_.code)
    if (r.id == R_BEGIN_FUNC && !r.raw) placed_[r.f[1].n] = r.at;
  for (const IT_REC& r : m_.inits)
    if (r.id == R_INIT && !r.raw) placed_[r.f[0].n] = r.at;
  for (const IT_REC& r : m_.globals) {
    if (r.id != R_SYMBOL) continue;
    SYM s;
    if (!r.raw) s = SYM{r.f[0].s, static_cast<uint32_t>(r.f[5].n), 0, true};
    add_global(s);
  }
  int64_t index = 0;
  for (const IT_REC& r : m_.globals) {
    if (r.raw) {
      line(raw("globals", r));
    } else {
      auto it = placed_.find(index);
      std::string s = symbol_line(r, "global", it == placed_.end() ? 0 : it->second);
      if (symref(0, index, false, -1) != name_text(r.f[0].s)) s += "  ; #" + std::to_string(index);
      line(s);
    }
    if (r.id == R_SYMBOL) index++;
  }
}

void PRINTER::inits() {
  for (const IT_REC& r : m_.inits) {
    if (r.raw) {
      line(raw("inits", r));
      continue;
    }
    std::string s = "init " + symref(0, r.f[0].n, false, -1);
    if (r.open) s += " open";
    line(s + extra(r.extra) + " {");
    size_t n = r.trees.size();
    const IT_NODE* last = n ? r.trees.back().get() : nullptr;
    if (!r.open && last && last->op == OP_ENDINIT && last->type == 0 && last->extra.empty()) n--;
    for (size_t i = 0; i < n; i++) {
      std::string t = "  ";
      tree(*r.trees[i], t);
      line(t);
    }
    line("}");
  }
}

void PRINTER::code_record(const IT_REC& r) {
  int block_indent = depth_ > 2 ? 2 * (depth_ - 1) : depth_ ? 2 : 0;
  std::string ind(static_cast<size_t>(block_indent), ' ');
  if (r.raw) {
    line(ind + raw("code", r));
    return;
  }
  const std::vector<IT_VAL>& f = r.f;
  switch (r.id) {
    case R_BEGIN_FUNC: {
      clear_locals();
      if (!out_.empty()) line("");
      std::string s = "function " + symref(0, f[1].n, false, -1);
      if (r.bare) s += " bare";
      s += extra(r.extra);
      if (f[0].psn.file) s += " " + psn(f[0].psn);
      line(s);
      return;
    }
    case R_SYMBOL: {
      const char* kw = depth_ == 0 ? "symbol" : depth_ == 1 ? "param" : "local";
      std::string s = symbol_line(r, kw, 0);
      SYM sym{f[0].s, static_cast<uint32_t>(f[5].n), depth_, true};
      if (depth_ == 0) {
        s += "  ; #" + std::to_string(globals_.size());
        add_global(sym);
      } else {
        s += "  ; #" + std::to_string(locals_.size()) + " level " + std::to_string(depth_);
        add_local(sym);
      }
      line(ind + s);
      return;
    }
    case R_LABEL:
      line(std::string(block_indent >= 2 ? block_indent - 2 : 0, ' ') + "L" + std::to_string(f[0].n) +
           ":" + extra(r.extra));
      return;
    case R_EXPR: {
      std::string s = ind;
      if (r.trees.empty())
        s += "expr";
      else
        tree(*r.trees[0], s);
      s += extra(r.extra);
      if (f[0].psn.file) s += "  " + psn(f[0].psn);
      line(s);
      return;
    }
    case R_DEP_VECTOR: {
      std::string s = ind + "depvec " + std::to_string(f[0].n) + " " + std::to_string(f[1].n);
      for (size_t i = 3; i + 1 < f.size(); i += 2)
        s += " (" + std::to_string(f[i].n) + " " + std::to_string(f[i + 1].n) + ")";
      line(s + extra(r.extra));
      return;
    }
    case R_EHT_CATCH: {
      std::string s = ind + "catch";
      for (size_t i = 0; i + 2 < f.size(); i += 3)
        s += " (" + it_quote(f[i].s) + " " + std::to_string(f[i + 1].n) + " " +
             std::to_string(f[i + 2].n) + ")";
      line(s + extra(r.extra));
      return;
    }
    case R_PRAGMA: {
      std::string s = ind + "pragma " + std::to_string(f[0].n);
      for (size_t i = 2; i < f.size(); i++) s += " " + it_quote(f[i].s);
      line(s);
      return;
    }
    case R_LDSPEC: {
      std::string s = ind + "ldspec " + std::to_string(f[0].n);
      if (f[1].n == 2) {
        s += " region " + std::to_string(f[2].n);
      } else {
        s += (f[1].n == 0 ? " induct " : " rand ") + std::to_string(f[2].n) + " " +
             std::to_string(f[3].n) + " " + types_.ref(static_cast<uint32_t>(f[4].n)) + " " +
             symref(f[5].n, f[6].n, false, 0);
      }
      line(s + extra(r.extra));
      return;
    }
    case R_INLOOP:
      line(ind + "inloop " + std::to_string(f[0].n) + " " + std::to_string(f[3].n) + " " +
           symref(f[1].n, f[2].n, false, -1) + extra(r.extra));
      return;
    case R_FUNC_INFO:
      if (f[0].n == 76 && r.extra.empty()) {
        line(ind + "leaf");
        return;
      }
      break;
    default:
      break;
  }
  const IT_RECORD_LAYOUT* l = it_record_layout(r.id);
  if (r.id == R_END_BLOCK) ind = std::string(depth_ > 3 ? 2 * (depth_ - 2) : 2, ' ');
  if (r.id == R_END_FUNC || r.id == R_IR_END) ind.clear();
  std::string at;
  std::string body = fields(l->fields, f.data(), f.size(), -1, at);
  line(ind + l->keyword + body + extra(r.extra) + at);
}

void PRINTER::code() {
  for (const IT_REC& r : m_.code) {
    if (!r.raw && r.id == R_IR_BEGIN) {
      clear_locals();
      if (!out_.empty()) line("");
    }
    code_record(r);
    if (r.raw) continue;
    switch (r.id) {
      case R_END_FUNC: case R_IR_END: depth_ = 0; break;
      case R_BEGIN_BLOCK: depth_++; break;
      case R_END_BLOCK: depth_--; break;
      case R_END_ARGS: depth_ = 2; break;
      case R_BEGIN_FUNC: case R_IR_BEGIN: depth_ = 1; break;
      default: break;
    }
  }
}

std::string PRINTER::run() {
  header();
  options();
  files();
  if (!m_.types.empty()) line("");
  types();
  if (!m_.globals.empty()) line("");
  globals();
  if (!m_.inits.empty()) line("");
  inits();
  code();
  return out_;
}

}  // namespace

std::string it_print(IT_MODEL& model) { return PRINTER(model).run(); }
