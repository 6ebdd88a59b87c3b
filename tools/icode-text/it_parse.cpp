// Parsing the icode text into the model. The text is split into items (a
// line, or a block of lines), and the items are taken section by section:
// header, option sets and file names; type records; declarations of
// structures, enums and typedefs; globals; initialisers; and the function
// section in order. What a hand-written text leaves out is filled in here:
// types named by C-like text, symbol fields, the end-of-arguments and
// end-of-locals records, the final ENDINIT of an initialiser, pragma counts
// and file offsets.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>

#include "tools/icode-text/it_parse.h"

// ---------------------------------------------------------------------------
// Cursor helpers

void IT_PARSER::fail(const IT_TOKEN& at, const std::string& what) const {
  throw IT_ERROR(it_error_text(file_, at.line, at.col, what));
}

namespace {
std::string describe(const IT_TOKEN& t) {
  switch (t.kind) {
    case TK_END: case TK_NL: return "the end of the line";
    case TK_IDENT: return "'" + t.text + "'";
    case TK_KEY: return "'" + t.text + "='";
    case TK_NUM: return "'" + t.text + "'";
    case TK_STR: return "a string";
    case TK_POS: return "a position";
    case TK_PUNCT: return "'" + t.text + "'";
  }
  return "?";
}

bool kind_range(IT_KIND k, int64_t& lo, int64_t& hi) {
  switch (k) {
    case K_UINT: case K_TREF: case K_U32: lo = 0; hi = 0xffffffffLL; return true;
    case K_SINT: lo = INT32_MIN; hi = INT32_MAX; return true;
    case K_BOOL: case K_U8: lo = 0; hi = 255; return true;
    case K_I8: lo = -128; hi = 127; return true;
    case K_I16: lo = -32768; hi = 32767; return true;
    case K_U16: lo = 0; hi = 65535; return true;
    default: return false;
  }
}
}  // namespace

void IT_PARSER::expect(CUR& c, const char* punct, const char* what) {
  if (!c.punct(punct)) fail(c.peek(), std::string("expected ") + what + ", found " + describe(c.peek()));
  c.next();
}

void IT_PARSER::expect_end(CUR& c) {
  if (!c.end()) fail(c.peek(), "expected the end of the line, found " + describe(c.peek()));
}

void IT_PARSER::skip_nl(CUR& c) {
  while (c.peek().kind == TK_NL) c.next();
}

int64_t IT_PARSER::number_in(CUR& c, int64_t lo, int64_t hi, const char* what) {
  const IT_TOKEN& t = c.peek();
  if (t.kind != TK_NUM) fail(t, std::string("expected ") + what + ", found " + describe(t));
  const std::string& s = t.text;
  bool neg = s[0] == '-';
  size_t i = neg ? 1 : 0;
  int base = 10;
  if (s.size() > i + 2 && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X')) {
    base = 16;
    i += 2;
  }
  if (i >= s.size()) fail(t, std::string("expected ") + what);
  uint64_t v = 0;
  for (; i < s.size(); i++) {
    int d = isdigit(static_cast<unsigned char>(s[i])) ? s[i] - '0'
            : base == 16 && isxdigit(static_cast<unsigned char>(s[i])) ? tolower(s[i]) - 'a' + 10
                                                                        : -1;
    if (d < 0) fail(t, std::string("expected ") + what + ", found '" + s + "'");
    v = v * static_cast<uint64_t>(base) + static_cast<uint64_t>(d);
    if (v > (1ull << 40)) fail(t, "the number " + s + " is out of range");
  }
  int64_t n = neg ? -static_cast<int64_t>(v) : static_cast<int64_t>(v);
  if (n < lo || n > hi)
    fail(t, "the number " + s + " is out of range (" + std::to_string(lo) + " to " + std::to_string(hi) + ")");
  c.next();
  return n;
}

int64_t IT_PARSER::number(CUR& c, IT_KIND kind, const char* what) {
  int64_t lo = 0, hi = 0;
  kind_range(kind, lo, hi);
  return number_in(c, lo, hi, what);
}

std::string IT_PARSER::string_or_ident(CUR& c, const char* what) {
  const IT_TOKEN& t = c.peek();
  if (t.kind != TK_STR && t.kind != TK_IDENT) fail(t, std::string("expected ") + what + ", found " + describe(t));
  c.next();
  return t.text;
}

IT_BYTES IT_PARSER::hex(const IT_TOKEN& t) {
  if (t.kind != TK_STR) fail(t, "expected bytes in hex, as a string");
  const std::string& s = t.text;
  if (s.size() % 2) fail(t, "expected an even number of hex digits");
  IT_BYTES out;
  for (size_t i = 0; i < s.size(); i += 2) {
    auto h = [&](char x) -> int {
      if (isdigit(static_cast<unsigned char>(x))) return x - '0';
      if (x >= 'a' && x <= 'f') return x - 'a' + 10;
      if (x >= 'A' && x <= 'F') return x - 'A' + 10;
      fail(t, "expected hex digits");
    };
    out.push_back(static_cast<uint8_t>(h(s[i]) * 16 + h(s[i + 1])));
  }
  return out;
}

IT_PSN IT_PARSER::psn(const IT_TOKEN& t) {
  IT_PSN p;
  p.line = t.pline;
  p.col = t.pcol;
  if (t.file_by_id) {
    if (t.file_id == 0) fail(t, "file ids start at 1");
    p.file = t.file_id;
    return p;
  }
  if (t.text.find('\0') != std::string::npos) fail(t, "a file name cannot hold a zero byte");
  uint32_t found = 0;
  for (size_t i = 0; i < m_.files.size(); i++) {
    const IT_REC& r = m_.files[i];
    if (r.raw || r.f[0].s != t.text) continue;
    if (found) fail(t, "the file name " + t.text + " is listed twice: name it by its id (@#N:...)");
    found = static_cast<uint32_t>(i + 1);
  }
  if (!found) {
    IT_REC r;
    r.id = R_SOURCE;
    r.f.push_back(it_str(t.text));
    m_.files.push_back(std::move(r));
    found = static_cast<uint32_t>(m_.files.size());
  }
  p.file = found;
  return p;
}

IT_VAL IT_PARSER::value(CUR& c, IT_KIND kind, const char* what) {
  switch (kind) {
    case K_STR: case K_COUNTED: {
      const IT_TOKEN& t = c.peek();
      std::string s = string_or_ident(c, what);
      if (kind == K_STR && s.find('\0') != std::string::npos) fail(t, "this string cannot hold a zero byte");
      return it_str(s, kind);
    }
    case K_TREF:
      return it_num(K_TREF, type_ref(c));
    case K_PSN: {
      const IT_TOKEN& t = c.next();
      if (t.kind != TK_POS) fail(t, "expected a position @FILE:LINE:COL");
      return it_psn(psn(t));
    }
    default:
      return it_num(kind, number(c, kind, what));
  }
}

// ---------------------------------------------------------------------------
// Items

void IT_PARSER::split() {
  // Lines: [begin, end) with `end` at the newline or end token behind them.
  struct LINE {
    size_t begin, end;
  };
  std::vector<LINE> lines;
  size_t start = 0;
  for (size_t i = 0; i < toks_.size(); i++) {
    if (toks_[i].kind != TK_NL && toks_[i].kind != TK_END) continue;
    if (i > start) lines.push_back({start, i});
    start = i + 1;
  }
  struct BLOCK {
    uint32_t owner;
    int64_t kind;
  };
  std::vector<BLOCK> blocks;
  auto first = [&](const LINE& l) -> const IT_TOKEN& { return toks_[l.begin]; };
  auto closes = [&](const LINE& l) { return first(l).kind == TK_PUNCT && first(l).text == "}"; };
  auto has = [&](const LINE& l, const char* punct) {
    for (size_t k = l.begin; k < l.end; k++)
      if (toks_[k].kind == TK_PUNCT && toks_[k].text == punct) return true;
    return false;
  };
  // A block goes on up to the line that starts with "}".
  auto gather = [&](size_t& i, IT_ITEM& item) {
    while (!closes(lines[i])) {
      if (++i >= lines.size()) fail(toks_[item.end], "the block has no closing '}'");
      item.end = lines[i].end;
    }
  };
  for (size_t i = 0; i < lines.size(); i++) {
    const LINE& l = lines[i];
    const IT_TOKEN& f = first(l);
    IT_ITEM item{IT_ITEM::CODE, l.begin, l.end, 0, 0};
    bool is_ident = f.kind == TK_IDENT;
    const std::string& w = f.text;
    size_t n = l.end - l.begin;
    bool opens = n >= 1 && toks_[l.end - 1].kind == TK_PUNCT && toks_[l.end - 1].text == "{";
    if (is_ident && w == "type") {
      item.kind = IT_ITEM::TYPE;
      if (opens) {
        const IT_TOKEN* t = &toks_[l.begin];
        if (n < 5 || t[1].text != "#" || t[2].kind != TK_NUM) fail(f, "expected 'type #ID'");
        int64_t kind = t[3].kind == TK_IDENT ? it_list_kind(t[3].text) : -1;
        if (t[3].kind == TK_KEY && t[3].text == "kind" && t[4].kind == TK_NUM) kind = std::stoll(t[4].text);
        CUR c(toks_, item, 2);
        blocks.push_back({static_cast<uint32_t>(number(c, K_UINT, "a type id")), kind});
      }
    } else if (!blocks.empty() && closes(l)) {
      item.kind = IT_ITEM::TYPE_CLOSE;
      item.owner = blocks.back().owner;
      item.list_kind = blocks.back().kind;
      blocks.pop_back();
    } else if (!blocks.empty() && !(is_ident && w == "raw")) {
      item.kind = IT_ITEM::TYPE_ELEM;
      item.owner = blocks.back().owner;
    } else if (is_ident && (w == "struct" || w == "union" || w == "class" || w == "enum")) {
      item.kind = IT_ITEM::DECL;
      if (has(l, "{") && !has(l, "}")) gather(i, item);
    } else if (is_ident && w == "typedef") {
      item.kind = IT_ITEM::DECL;
    } else if (is_ident && w == "init") {
      item.kind = IT_ITEM::INIT;
      gather(i, item);
    } else if (is_ident && w == "icode") {
      item.kind = IT_ITEM::HEADER;
    } else if (is_ident && w == "files") {
      item.kind = IT_ITEM::FILES;
    } else if (is_ident && w == "options") {
      item.kind = IT_ITEM::OPTIONS;
    } else if (is_ident && w == "global") {
      item.kind = IT_ITEM::GLOBAL;
    } else if (is_ident && w == "raw") {
      item.kind = n > 1 && toks_[l.begin + 1].text == "code" ? IT_ITEM::CODE : IT_ITEM::RAW;
    }
    items_.push_back(item);
  }
  if (!blocks.empty()) fail(toks_.back(), "a type list has no closing '}'");
}

void IT_PARSER::header_item(const IT_ITEM& it) {
  CUR c(toks_, it, 1);
  while (!c.end()) {
    const IT_TOKEN& k = c.next();
    if (k.kind != TK_KEY) fail(k, "expected version=, cpu=, source=, extra= or magic=");
    if (k.text == "version") {
      m_.version = static_cast<int>(number(c, K_I16, "a version number"));
    } else if (k.text == "cpu") {
      m_.cpu = static_cast<int>(number(c, K_I16, "a cpu id"));
    } else if (k.text == "source") {
      m_.source = value(c, K_STR, "the source name").s;
    } else if (k.text == "extra") {
      m_.extra_word = static_cast<uint32_t>(number(c, K_U32, "the header's extra word"));
    } else if (k.text == "magic") {
      m_.magic_extra = hex(c.next());
    } else {
      fail(k, "unknown header field " + k.text);
    }
  }
}

void IT_PARSER::files_item(const IT_ITEM& it) {
  CUR c(toks_, it, 1);
  while (!c.end()) {
    IT_REC r;
    r.id = R_SOURCE;
    r.f.push_back(value(c, K_STR, "a file name"));
    m_.files.push_back(std::move(r));
  }
}

void IT_PARSER::options_item(const IT_ITEM& it) {
  CUR c(toks_, it, 1);
  IT_REC r;
  r.id = R_OPTION_SET;
  r.f.push_back(it_num(K_UINT, number(c, K_UINT, "an option set id")));
  r.f.push_back(it_num(K_UINT, 0));
  while (!c.end()) r.f.push_back(value(c, K_STR, "an option text"));
  r.f[1].n = static_cast<int64_t>(r.f.size() - 2);
  m_.options.push_back(std::move(r));
}

void IT_PARSER::raw_item(const IT_ITEM& it, std::vector<IT_REC>& section) {
  CUR c(toks_, it, 2);
  IT_REC r;
  r.raw = true;
  r.id = static_cast<int>(number_in(c, 0, 254, "a record id"));
  r.extra = hex(c.next());
  expect_end(c);
  section.push_back(std::move(r));
}

// ---------------------------------------------------------------------------
// Type records

// Positional fields in order, then keys, flags and the position in any
// order; what is left out takes its default.
void IT_PARSER::fields(CUR& c, int code, const std::vector<IT_FIELD>& layout, std::vector<IT_VAL>& vals,
                       std::vector<bool>& given, bool* long_form) {
  vals.assign(layout.size(), IT_VAL());
  given.assign(layout.size(), false);
  for (size_t i = 0; i < layout.size(); i++) vals[i].kind = layout[i].kind == K_EVAL ? K_SINT : layout[i].kind;
  size_t next_pos = 0;
  auto advance_pos = [&] {
    while (next_pos < layout.size() && layout[next_pos].role != ROLE_POS) next_pos++;
  };
  advance_pos();
  while (!c.end() && !c.punct("{") && !(c.peek().kind == TK_KEY && c.peek().text == "extra")) {
    const IT_TOKEN& t = c.peek();
    if (t.kind == TK_POS) {
      c.next();
      size_t i = 0;
      while (i < layout.size() && layout[i].role != ROLE_PSN) i++;
      if (i == layout.size()) fail(t, "this record has no position");
      vals[i] = it_psn(psn(t));
      given[i] = true;
      continue;
    }
    if (t.kind != TK_KEY && next_pos < layout.size()) {
      // The next positional field.
      size_t i = next_pos++;
      advance_pos();
      given[i] = true;
      if (vals[i].kind == K_TREF) {
        if (c.punct("-")) {
          c.next();
          vals[i] = it_num(K_TREF, 0);
        } else if (c.punct("#")) {
          c.next();
          vals[i] = it_num(K_TREF, number_in(c, 1, 0xffffffffLL, "a type id"));
        } else {
          fail(t, std::string("expected a type id #N for ") + layout[i].key + ", found " + describe(t));
        }
      } else if (layout[i].kind == K_EVAL) {
        vals[i] = it_num(K_SINT, number_in(c, INT32_MIN, 0xffffffffLL, "an enumerator value"));
      } else {
        vals[i] = value(c, vals[i].kind, layout[i].key);
      }
      continue;
    }
    c.next();
    if (t.kind == TK_IDENT && long_form && t.text == "long") {
      *long_form = true;
      continue;
    }
    if (t.kind != TK_KEY && t.kind != TK_IDENT) fail(t, "expected a field, found " + describe(t));
    size_t i = 0;
    while (i < layout.size() && !(layout[i].role != ROLE_POS && layout[i].role != ROLE_PSN &&
                                  t.text == layout[i].key))
      i++;
    if (i == layout.size()) fail(t, "this record has no field " + t.text);
    if (given[i]) fail(t, "the field " + t.text + " is given twice");
    given[i] = true;
    if (t.kind == TK_IDENT) {
      if (layout[i].role != ROLE_FLAG) fail(t, "expected " + t.text + "=VALUE");
      vals[i] = it_num(vals[i].kind, 1);
    } else {
      vals[i] = value(c, vals[i].kind, layout[i].key);
    }
  }
  if (next_pos < layout.size())
    fail(c.peek(), std::string("expected ") + layout[next_pos].key + ", found " + describe(c.peek()));
  for (size_t i = 0; i < layout.size(); i++) {
    if (given[i] || layout[i].role == ROLE_PSN || vals[i].kind == K_STR) continue;
    if (code >= 0) vals[i].n = it_type_default(types_, code, vals.data(), vals.size(), layout, i);
  }
}

void IT_PARSER::set_field(IT_REC& r, const char* key, int64_t v) {
  const std::vector<IT_FIELD>& layout = *it_type_layout(static_cast<int>(r.f[1].n), m_.version);
  for (size_t i = 0; i < layout.size(); i++)
    if (strcmp(layout[i].key, key) == 0) r.f[i + 2].n = v;
}

void IT_PARSER::type_record(CUR& c, uint32_t owner) {
  const IT_TOKEN& kw = c.peek();
  IT_REC r;
  r.id = R_TYPE;
  if (c.punct("}") || c.ident("header") || (kw.kind == TK_IDENT && it_list_kind(kw.text) >= 0) ||
      (kw.kind == TK_KEY && kw.text == "kind")) {
    // A list header "KIND {"; a header "header KIND" or a trailer "} KIND"
    // standing alone.
    bool trailer = c.punct("}"), alone = c.ident("header");
    if (trailer || alone) c.next();
    const IT_TOKEN& k = c.next();
    int64_t kind = k.kind == TK_IDENT ? it_list_kind(k.text) : -1;
    if (k.kind == TK_KEY && k.text == "kind") kind = number(c, K_I8, "a list kind");
    if (kind < 0 && !(k.kind == TK_KEY)) fail(k, "expected a list kind, found " + describe(k));
    r.f = {it_num(K_UINT, owner), it_num(K_U8, trailer ? TC_LIST_TRAILER : TC_LIST_HEADER), it_num(K_I8, kind)};
    if (c.peek().kind == TK_KEY && c.peek().text == "extra") {
      c.next();
      r.extra = hex(c.next());
    }
    if (!trailer && !alone) expect(c, "{", "'{'");
    expect_end(c);
    m_.types.push_back(std::move(r));
    return;
  }
  if (kw.kind != TK_IDENT) fail(kw, "expected a type record keyword, found " + describe(kw));
  c.next();
  int code = it_type_code(kw.text);
  if (code < 0) fail(kw, "unknown type record " + kw.text);
  int csu = kw.text == "union" ? 1 : kw.text == "class" ? 2 : 0;
  if (code == TC_CSU_SHORT) {
    // Parsed in the long form, which has every field; the record is written
    // short when nothing needs the long form.
    std::vector<IT_FIELD> layout = *it_type_layout(TC_CSU_LONG, m_.version);
    std::vector<IT_VAL> vals;
    std::vector<bool> given;
    bool long_form = false;
    fields(c, TC_CSU_LONG, layout, vals, given, &long_form);
    if (given[0]) csu = static_cast<int>(vals[0].n);
    vals[0] = it_num(K_I8, csu);
    for (size_t i = 0; i < layout.size(); i++) {
      const char* k = layout[i].key;
      if (strcmp(k, "classword") == 0 || (layout[i].role == ROLE_FLAG && it_list_kind(k) >= 0 &&
                                          strcmp(k, "members") != 0))
        long_form |= vals[i].n != 0;
    }
    code = long_form ? TC_CSU_LONG : TC_CSU_SHORT;
    r.f = {it_num(K_UINT, owner), it_num(K_U8, code)};
    for (const IT_FIELD& f : *it_type_layout(code, m_.version))
      for (size_t i = 0; i < layout.size(); i++)
        if (strcmp(layout[i].key, f.key) == 0) r.f.push_back(vals[i]);
  } else {
    const std::vector<IT_FIELD>& layout = *it_type_layout(code, m_.version);
    std::vector<IT_VAL> vals;
    std::vector<bool> given;
    fields(c, code, layout, vals, given, nullptr);
    r.f = {it_num(K_UINT, owner), it_num(K_U8, code)};
    for (size_t i = 0; i < layout.size(); i++) {
      if (layout[i].kind == K_EVAL) {
        // The enumerator's encoding follows its enum's underlying type.
        bool is_signed = types_.is_signed(types_.ref_field(owner, "under"));
        int64_t v = vals[i].n;
        if (is_signed ? v > INT32_MAX : v < 0)
          fail(kw, "the value " + std::to_string(v) + " does not fit the enum's underlying type");
        vals[i].kind = is_signed ? K_SINT : K_UINT;
      }
      r.f.push_back(vals[i]);
    }
  }
  if (c.peek().kind == TK_KEY && c.peek().text == "extra") {
    c.next();
    r.extra = hex(c.next());
  }
  expect_end(c);
  m_.types.push_back(std::move(r));
  types_.add(m_.types.size() - 1);
}

void IT_PARSER::type_item(const IT_ITEM& it) {
  CUR c(toks_, it, 0);
  if (it.kind == IT_ITEM::TYPE_CLOSE) {
    c.next();
    IT_REC r;
    r.id = R_TYPE;
    int64_t kind = it.list_kind;
    if (c.peek().kind == TK_IDENT) {
      kind = it_list_kind(c.peek().text);
      if (kind < 0) fail(c.peek(), "expected a list kind, found " + describe(c.peek()));
      c.next();
    } else if (c.peek().kind == TK_KEY && c.peek().text == "kind") {
      c.next();
      kind = number(c, K_I8, "a list kind");
    }
    r.f = {it_num(K_UINT, it.owner), it_num(K_U8, TC_LIST_TRAILER), it_num(K_I8, kind)};
    if (c.peek().kind == TK_KEY && c.peek().text == "extra") {
      c.next();
      r.extra = hex(c.next());
    }
    expect_end(c);
    m_.types.push_back(std::move(r));
    return;
  }
  uint32_t owner = it.owner;
  if (it.kind == IT_ITEM::TYPE) {
    c.next();
    if (!c.punct("#")) fail(c.peek(), "expected a type id #N");
    c.next();
    owner = static_cast<uint32_t>(number_in(c, 1, 0xffffffffLL, "a type id"));
  }
  type_record(c, owner);
}

// ---------------------------------------------------------------------------
// Symbols

IT_REC IT_PARSER::symbol(CUR& c, int default_class, bool global) {
  IT_REC r;
  r.id = R_SYMBOL;
  const IT_TOKEN& at = c.peek();
  std::string name = value(c, K_STR, "a symbol name").s;
  expect(c, ":", "':' and the symbol's type");
  uint32_t type = type_ref(c);
  int64_t size = type == 0 || types_.is_function(type) ? 0 : types_.size(type);
  int64_t align = type == 0 || types_.is_function(type) ? 0 : types_.align(type) ? types_.align(type) : 16;
  int64_t offset = 0, sclass = default_class, qual = 0, type2 = 0, fileoff = 0, optset = 0;
  int64_t pragmas = 0;
  bool pragmas_given = false;
  IT_PSN where;
  bool fileoff_given = false;
  std::set<std::string> seen;
  while (!c.end()) {
    const IT_TOKEN& t = c.next();
    if (t.kind == TK_POS) {
      where = psn(t);
      continue;
    }
    if (t.kind == TK_IDENT && t.text == "pragma") {
      expect(c, "(", "'(' after pragma");
      IT_REC p;
      p.id = R_PRAGMA;
      p.f.push_back(it_num(K_UINT, number(c, K_UINT, "a pragma id")));
      p.f.push_back(it_num(K_UINT, 0));
      while (!c.punct(")")) {
        if (c.end()) fail(c.peek(), "expected ')' after the pragma's texts");
        p.f.push_back(value(c, K_STR, "a pragma text"));
      }
      c.next();
      p.f[1].n = static_cast<int64_t>(p.f.size() - 2);
      r.pragmas.push_back(std::move(p));
      continue;
    }
    if (t.kind != TK_KEY) fail(t, "expected a symbol field, found " + describe(t));
    if (!seen.insert(t.text).second) fail(t, "the field " + t.text + " is given twice");
    if (t.text == "size") {
      size = number(c, K_UINT, "a size");
    } else if (t.text == "offset") {
      offset = number(c, K_UINT, "an offset");
    } else if (t.text == "class") {
      if (c.peek().kind == TK_IDENT) {
        sclass = it_sclass_number(c.peek().text);
        if (sclass < 0) fail(c.peek(), "unknown storage class " + c.peek().text);
        c.next();
      } else {
        sclass = number(c, K_U8, "a storage class");
      }
    } else if (t.text == "qual") {
      qual = number(c, K_U16, "a qualifier");
    } else if (t.text == "type2") {
      type2 = type_ref(c);
    } else if (t.text == "align") {
      align = number(c, K_UINT, "an alignment");
    } else if (t.text == "fileoff") {
      fileoff = number(c, K_UINT, "a file offset");
      fileoff_given = true;
    } else if (t.text == "optset") {
      optset = number(c, K_UINT, "an option set");
    } else if (t.text == "pragmas") {
      pragmas = number(c, K_I8, "a pragma count");
      pragmas_given = true;
    } else if (t.text == "extra") {
      r.extra = hex(c.next());
    } else {
      fail(t, "unknown symbol field " + t.text);
    }
  }
  if (r.pragmas.size() > 127) fail(at, "a symbol can carry at most 127 pragmas");
  if (!pragmas_given) pragmas = static_cast<int64_t>(r.pragmas.size());
  r.f = {it_str(name),          it_num(K_UINT, size),   it_num(K_UINT, offset), it_num(K_U8, sclass),
         it_num(K_U16, qual),   it_num(K_TREF, type),   it_num(K_TREF, type2),  it_num(K_UINT, align),
         it_num(K_I8, pragmas), it_num(K_UINT, fileoff), it_num(K_UINT, optset), it_psn(where)};
  r.derive_fileoff = global && !fileoff_given;
  return r;
}

void IT_PARSER::global_items() {
  // A function whose text gives its type declares its global, unless a
  // global line does.
  std::set<std::string> declared;
  for (const IT_ITEM& it : items_)
    if (it.kind == IT_ITEM::GLOBAL && length(it) > 1 &&
        (tok(it, 1).kind == TK_IDENT || tok(it, 1).kind == TK_STR))
      declared.insert(tok(it, 1).text);
  for (const IT_ITEM& it : items_) {
    if (it.kind == IT_ITEM::RAW && tok(it, 1).text == "globals") {
      raw_item(it, m_.globals);
      if (m_.globals.back().id == R_SYMBOL) add_global(SYM{"", 0, 0, false});
      continue;
    }
    if (it.kind == IT_ITEM::GLOBAL) {
      CUR c(toks_, it, 1);
      IT_REC r = symbol(c, 2, true);
      add_global(SYM{r.f[0].s, static_cast<uint32_t>(r.f[5].n), 0, true});
      m_.globals.push_back(std::move(r));
      continue;
    }
    if (it.kind != IT_ITEM::CODE || !(tok(it, 0).kind == TK_IDENT && tok(it, 0).text == "function"))
      continue;
    CUR c(toks_, it, 1);
    const IT_TOKEN& nt = c.peek();
    if (nt.kind != TK_IDENT && nt.kind != TK_STR) continue;
    if (!c.punct(":", 1) || declared.count(nt.text)) continue;
    std::string name = nt.text;
    c.next();
    c.next();
    uint32_t type = type_ref(c);
    declared.insert(name);
    IT_REC r;
    r.id = R_SYMBOL;
    r.f = {it_str(name),         it_num(K_UINT, 0),      it_num(K_UINT, 0), it_num(K_U8, 2),
           it_num(K_U16, 0),     it_num(K_TREF, type),   it_num(K_TREF, 0), it_num(K_UINT, 0),
           it_num(K_I8, 0),      it_num(K_UINT, 0),      it_num(K_UINT, 0), it_psn(IT_PSN())};
    r.derive_fileoff = true;
    add_global(SYM{name, type, 0, true});
    m_.globals.push_back(std::move(r));
  }
}

// ---------------------------------------------------------------------------
// Initialisers

void IT_PARSER::init_item(const IT_ITEM& it) {
  CUR c(toks_, it, 1);
  IT_REC r;
  r.id = R_INIT;
  int64_t level, index;
  uint32_t type;
  bool none, level_known;
  const IT_TOKEN& at = c.peek();
  symref(c, level, index, type, none, level_known);
  if (none || level != 0) fail(at, "an initialiser belongs to a global");
  r.f.push_back(it_num(K_UINT, index));
  for (;;) {
    if (c.ident("open")) {
      c.next();
      r.open = true;
    } else if (c.peek().kind == TK_KEY && c.peek().text == "extra") {
      c.next();
      r.extra = hex(c.next());
    } else {
      break;
    }
  }
  expect(c, "{", "'{'");
  for (;;) {
    skip_nl(c);
    if (c.punct("}")) break;
    r.trees.push_back(parse_node(c));
    if (!c.punct("}") && c.peek().kind != TK_NL) fail(c.peek(), "expected one tree a line");
  }
  c.next();
  expect_end(c);
  if (!r.open && (r.trees.empty() || r.trees.back()->op != OP_ENDINIT)) {
    auto end = std::make_unique<IT_NODE>();
    end->op = OP_ENDINIT;
    r.trees.push_back(std::move(end));
  }
  m_.inits.push_back(std::move(r));
}

// ---------------------------------------------------------------------------
// The function section

void IT_PARSER::new_function_scope(uint32_t function_type) {
  clear_locals();
  depth_ = 1;
  func_type_ = function_type;
}

void IT_PARSER::generic_record(CUR& c, const IT_RECORD_LAYOUT& l, IT_REC& r) {
  for (const IT_FIELD& f : l.fields) {
    if (f.role == ROLE_PSN) {
      r.f.push_back(it_psn(IT_PSN()));
      continue;
    }
    r.f.push_back(value(c, f.kind, f.key));
  }
  while (!c.end()) {
    const IT_TOKEN& t = c.next();
    if (t.kind == TK_KEY && t.text == "extra") {
      r.extra = hex(c.next());
      continue;
    }
    if (t.kind == TK_POS) {
      size_t i = 0;
      while (i < l.fields.size() && l.fields[i].role != ROLE_PSN) i++;
      if (i == l.fields.size()) fail(t, std::string(l.keyword) + " has no position");
      r.f[i] = it_psn(psn(t));
      continue;
    }
    fail(t, "unexpected " + describe(t));
  }
}

void IT_PARSER::code_item(const IT_ITEM& it) {
  CUR c(toks_, it, 0);
  const IT_TOKEN& first = c.peek();
  IT_REC r;
  if (first.kind == TK_PUNCT && first.text == "(") {
    r.id = R_EXPR;
    r.trees.push_back(parse_node(c));
    r.f.push_back(it_psn(IT_PSN()));
    while (!c.end()) {
      const IT_TOKEN& t = c.next();
      if (t.kind == TK_POS)
        r.f[0] = it_psn(psn(t));
      else if (t.kind == TK_KEY && t.text == "extra")
        r.extra = hex(c.next());
      else
        fail(t, "expected a position or the end of the line after the tree, found " + describe(t));
    }
    m_.code.push_back(std::move(r));
    return;
  }
  if (first.kind == TK_IDENT && first.text.size() > 1 && first.text[0] == 'L' &&
      first.text.find_first_not_of("0123456789", 1) == std::string::npos && c.punct(":", 1)) {
    c.next();
    c.next();
    r.id = R_LABEL;
    if (first.text.size() > 11 || std::stoull(first.text.substr(1)) > 0xffffffffull)
      fail(first, "the label number is out of range");
    r.f.push_back(it_num(K_UINT, static_cast<int64_t>(std::stoull(first.text.substr(1)))));
    if (c.peek().kind == TK_KEY && c.peek().text == "extra") {
      c.next();
      r.extra = hex(c.next());
    }
    expect_end(c);
    m_.code.push_back(std::move(r));
    return;
  }
  if (first.kind != TK_IDENT && !(first.kind == TK_PUNCT && (first.text == "{" || first.text == "}")))
    fail(first, "expected a record, found " + describe(first));
  const std::string w = first.text;
  c.next();
  auto take_extra = [&] {
    if (c.peek().kind == TK_KEY && c.peek().text == "extra") {
      c.next();
      r.extra = hex(c.next());
    }
  };
  if (w == "raw") {
    raw_item(it, m_.code);
    return;
  }
  if (w == "function") {
    r.id = R_BEGIN_FUNC;
    clear_locals();
    int64_t level, index;
    uint32_t type;
    bool none, level_known;
    const IT_TOKEN& at = c.peek();
    symref(c, level, index, type, none, level_known);
    if (none || level != 0) fail(at, "a function is a global");
    if (c.punct(":")) {
      c.next();
      const IT_TOKEN& tt = c.peek();
      if (type_ref(c) != type) fail(tt, "the function is declared with another type");
    }
    IT_PSN where;
    while (!c.end()) {
      const IT_TOKEN& t = c.next();
      if (t.kind == TK_IDENT && t.text == "bare")
        r.bare = true;
      else if (t.kind == TK_KEY && t.text == "extra")
        r.extra = hex(c.next());
      else if (t.kind == TK_POS)
        where = psn(t);
      else
        fail(t, "expected bare, extra= or a position, found " + describe(t) +
                    " (the global's own fields go on a global line)");
    }
    r.f = {it_psn(where), it_num(K_UINT, index)};
    new_function_scope(type);
    m_.code.push_back(std::move(r));
    return;
  }
  if (w == "param" || w == "local" || w == "symbol") {
    bool top = depth_ == 0;
    IT_REC s = symbol(c, w == "param" ? 9 : w == "local" ? 1 : 2, false);
    SYM sym{s.f[0].s, static_cast<uint32_t>(s.f[5].n), depth_, true};
    if (top)
      add_global(sym);
    else
      add_local(sym);
    m_.code.push_back(std::move(s));
    return;
  }
  if (w == "expr") {
    r.id = R_EXPR;
    r.f.push_back(it_psn(IT_PSN()));
    while (!c.end()) {
      const IT_TOKEN& t = c.next();
      if (t.kind == TK_POS)
        r.f[0] = it_psn(psn(t));
      else if (t.kind == TK_KEY && t.text == "extra")
        r.extra = hex(c.next());
      else
        fail(t, "unexpected " + describe(t));
    }
    m_.code.push_back(std::move(r));
    return;
  }
  if (w == "leaf") {
    r.id = R_FUNC_INFO;
    r.f.push_back(it_num(K_I8, 76));
    expect_end(c);
    m_.code.push_back(std::move(r));
    return;
  }
  if (w == "depvec") {
    r.id = R_DEP_VECTOR;
    r.f.push_back(it_num(K_UINT, number(c, K_UINT, "a word")));
    r.f.push_back(it_num(K_I8, number(c, K_I8, "a byte")));
    r.f.push_back(it_num(K_I8, 0));
    while (c.punct("(")) {
      c.next();
      r.f.push_back(it_num(K_U8, number(c, K_U8, "a level")));
      r.f.push_back(it_num(K_I8, number(c, K_I8, "a distance")));
      expect(c, ")", "')'");
    }
    size_t pairs = (r.f.size() - 3) / 2;
    if (pairs > 127) fail(first, "a dependence vector holds at most 127 pairs");
    r.f[2].n = static_cast<int64_t>(pairs);
    take_extra();
    expect_end(c);
    m_.code.push_back(std::move(r));
    return;
  }
  if (w == "catch") {
    r.id = R_EHT_CATCH;
    while (c.punct("(")) {
      c.next();
      r.f.push_back(value(c, K_STR, "a type name"));
      r.f.push_back(it_num(K_UINT, number(c, K_UINT, "a number")));
      r.f.push_back(it_num(K_BOOL, number(c, K_BOOL, "a flag")));
      expect(c, ")", "')'");
    }
    take_extra();
    expect_end(c);
    m_.code.push_back(std::move(r));
    return;
  }
  if (w == "pragma") {
    r.id = R_PRAGMA;
    r.f.push_back(it_num(K_UINT, number(c, K_UINT, "a pragma id")));
    r.f.push_back(it_num(K_UINT, 0));
    while (!c.end()) r.f.push_back(value(c, K_STR, "a pragma text"));
    r.f[1].n = static_cast<int64_t>(r.f.size() - 2);
    m_.code.push_back(std::move(r));
    return;
  }
  if (w == "ldspec" || w == "inloop") {
    r.id = w == "ldspec" ? R_LDSPEC : R_INLOOP;
    int64_t word = number(c, K_UINT, "a word");
    int64_t level = -1, index = 0, value_ = 0, form = 0, a = 0, b = 0;
    uint32_t type = 0;
    if (r.id == R_LDSPEC) {
      const IT_TOKEN& ft = c.next();
      form = ft.text == "induct" ? 0 : ft.text == "rand" ? 1 : ft.text == "region" ? 2 : -1;
      if (ft.kind != TK_IDENT || form < 0) fail(ft, "expected induct, rand or region");
      a = number(c, K_UINT, "a word");
      if (form != 2) {
        b = number(c, form == 0 ? K_SINT : K_UINT, "a word");
        type = type_ref(c);
      }
    } else {
      value_ = number(c, K_I8, "a value");
    }
    bool need_sym = r.id == R_INLOOP || form != 2;
    bool none = true, level_known = true;
    if (need_sym) {
      uint32_t st;
      symref(c, level, index, st, none, level_known);
      if (none) {
        level = -1;
        index = r.id == R_INLOOP ? -1 : 0;
      }
      while (c.peek().kind == TK_KEY && (c.peek().text == "level" || c.peek().text == "index")) {
        const IT_TOKEN& k = c.next();
        if (k.text == "level") {
          level = number(c, K_SINT, "a level");
          level_known = true;
        } else {
          index = number(c, r.id == R_INLOOP ? K_SINT : K_UINT, "an index");
        }
      }
      if (!level_known) fail(c.peek(), "give level= for a symbol this text doesn't define");
    }
    take_extra();
    expect_end(c);
    if (r.id == R_LDSPEC) {
      r.f = {it_num(K_UINT, word), it_num(K_U8, form), it_num(K_UINT, a)};
      if (form != 2) {
        r.f.push_back(it_num(form == 0 ? K_SINT : K_UINT, b));
        r.f.push_back(it_num(K_TREF, type));
        r.f.push_back(it_num(K_SINT, level));
        r.f.push_back(it_num(K_UINT, index));
      }
    } else {
      r.f = {it_num(K_UINT, word), it_num(K_SINT, level), it_num(K_SINT, index), it_num(K_I8, value_)};
    }
    m_.code.push_back(std::move(r));
    return;
  }
  const IT_RECORD_LAYOUT* l = it_record_layout(w);
  if (!l) fail(first, "unknown record " + w);
  r.id = l->id;
  generic_record(c, *l, r);
  m_.code.push_back(std::move(r));
}

void IT_PARSER::code_items() {
  std::vector<const IT_ITEM*> code;
  for (const IT_ITEM& it : items_)
    if (it.kind == IT_ITEM::CODE) code.push_back(&it);
  auto word = [&](size_t k) -> std::string {
    const IT_TOKEN& t = tok(*code[k], 0);
    return t.kind == TK_IDENT || t.kind == TK_PUNCT ? t.text : "";
  };
  // A function that has neither end-of-arguments nor end-of-locals gets
  // them where the symbols end, unless it is marked bare.
  bool implicit = false, args_done = true, locals_done = true;
  auto insert = [&](int id) {
    IT_REC r;
    r.id = id;
    r.f.push_back(it_psn(IT_PSN()));
    m_.code.push_back(std::move(r));
    if (id == R_END_ARGS) depth_ = 2;
  };
  for (size_t k = 0; k < code.size(); k++) {
    std::string w = word(k);
    if (implicit) {
      if (!args_done && w != "param") {
        insert(R_END_ARGS);
        args_done = true;
      }
      if (args_done && !locals_done && w != "param" && w != "local") {
        insert(R_END_LOCALS);
        locals_done = true;
      }
      if (locals_done) implicit = false;
    }
    code_item(*code[k]);
    if (w == "function") {
      bool bare = m_.code.back().bare, explicit_ = false;
      for (size_t j = k + 1; j < code.size(); j++) {
        std::string x = word(j);
        if (x == "end" || x == "function" || x == "irbegin") break;
        explicit_ |= x == "endargs" || x == "endlocals";
      }
      implicit = !bare && !explicit_;
      args_done = locals_done = !implicit;
    }
    if (m_.code.back().raw) continue;
    switch (m_.code.back().id) {
      case R_END_FUNC: case R_IR_END: depth_ = 0; break;
      case R_BEGIN_BLOCK: depth_++; break;
      case R_END_BLOCK: depth_--; break;
      case R_END_ARGS: depth_ = 2; break;
      case R_IR_BEGIN: new_function_scope(0); break;
      default: break;
    }
  }
}

// ---------------------------------------------------------------------------

void IT_PARSER::run(const std::string& text) {
  toks_ = it_lex(text, file_);
  split();
  for (const IT_ITEM& it : items_) {
    switch (it.kind) {
      case IT_ITEM::HEADER: header_item(it); break;
      case IT_ITEM::FILES: files_item(it); break;
      case IT_ITEM::OPTIONS: options_item(it); break;
      case IT_ITEM::RAW:
        if (length(it) < 2) fail(tok(it, 0), "expected raw SECTION ID \"HEX\"");
        if (tok(it, 1).text == "options") raw_item(it, m_.options);
        else if (tok(it, 1).text == "files") raw_item(it, m_.files);
        else if (tok(it, 1).text != "types" && tok(it, 1).text != "globals" && tok(it, 1).text != "inits")
          fail(tok(it, 1), "expected a section: code, inits, options, types, files or globals");
        break;
      default: break;
    }
  }
  for (const IT_ITEM& it : items_) {
    if (it.kind == IT_ITEM::TYPE || it.kind == IT_ITEM::TYPE_ELEM || it.kind == IT_ITEM::TYPE_CLOSE)
      type_item(it);
    else if (it.kind == IT_ITEM::RAW && tok(it, 1).text == "types")
      raw_item(it, m_.types);
  }
  types_.rebuild();
  decl_items();
  global_items();
  for (const IT_ITEM& it : items_) {
    if (it.kind == IT_ITEM::INIT) init_item(it);
    else if (it.kind == IT_ITEM::RAW && tok(it, 1).text == "inits") raw_item(it, m_.inits);
  }
  code_items();
}

void it_parse(const std::string& text, const std::string& file_name, IT_MODEL& model) {
  IT_PARSER(file_name, model).run(text);
}
