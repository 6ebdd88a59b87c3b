// Types written as text: parsing C-like type text, resolving it to the id
// of a type of the file, and making the type records a hand-written text
// asks for (basic types as the type package makes them, pointers, arrays,
// functions, and the structures, unions, enums and typedefs it declares).
#include <algorithm>
#include <cstring>

#include "tools/icode-text/it_parse.h"

namespace {

const char* const kQualWords[] = {"const", "volatile", "packed", "near",
                                  "far",   "ioport",   "restrict", "onchip"};

int qual_bit(const IT_TOKEN& t) {
  if (t.kind != TK_IDENT) return -1;
  for (int i = 0; i < 8; i++)
    if (t.text == kQualWords[i]) return i;
  return -1;
}

bool is_base_word(const std::string& w) {
  static const char* const words[] = {"void",   "bool", "char",   "signed", "unsigned", "short", "int",
                                      "long",   "float", "double", "wchar_t", "struct", "union",
                                      "class",  "enum"};
  for (const char* x : words)
    if (w == x) return true;
  return false;
}

IT_TYPE_TEXT wrap(IT_TYPE_TEXT::KIND k, IT_TYPE_TEXT inner) {
  IT_TYPE_TEXT s;
  s.k = k;
  s.at = inner.at;
  s.sub.push_back(std::move(inner));
  return s;
}

bool is_simple_code(int code) {
  return (code >= TC_BOOL && code <= TC_LDOUBLE && code != TC_FIXED) || code == TC_LLONG ||
         code == TC_ULLONG || code == TC_VOID || code == TC_CSU_SHORT || code == TC_CSU_LONG ||
         code == TC_ENUM || code == TC_TYPEDEF;
}

}  // namespace

bool IT_PARSER::type_start(const IT_TOKEN& t) const {
  if (t.kind == TK_PUNCT && t.text == "#") return true;
  if (t.kind != TK_IDENT) return false;
  return is_base_word(t.text) || qual_bit(t) >= 0 || types_.is_typedef_name(t.text);
}

IT_TYPE_TEXT IT_PARSER::parse_base(CUR& c) {
  const IT_TOKEN& t = c.peek();
  IT_TYPE_TEXT s;
  s.at = &t;
  s.k = IT_TYPE_TEXT::S_BASIC;
  if (c.punct("#")) {
    c.next();
    s.k = IT_TYPE_TEXT::S_ID;
    s.id = static_cast<uint32_t>(number_in(c, 1, 0xffffffffLL, "a type id"));
    return s;
  }
  if (t.kind != TK_IDENT) fail(t, "expected a type, found " + (t.kind == TK_END ? std::string("the end of the line") : "'" + t.text + "'"));
  const std::string w = t.text;
  c.next();
  auto word = [&](const char* x) {
    if (!c.ident(x)) return false;
    c.next();
    return true;
  };
  if (w == "void") {
    s.code = TC_VOID;
  } else if (w == "bool") {
    s.code = TC_BOOL;
  } else if (w == "float") {
    s.code = TC_FLOAT;
  } else if (w == "double") {
    s.code = TC_DOUBLE;
  } else if (w == "wchar_t") {
    s.code = TC_WCHAR;
  } else if (w == "char") {
    s.code = TC_CHAR;
  } else if (w == "signed" || w == "unsigned") {
    bool u = w == "unsigned";
    if (word("char")) {
      s.code = u ? TC_UCHAR : TC_CHAR;
      s.sign = !u;
    } else if (word("short")) {
      word("int");
      s.code = u ? TC_USHORT : TC_SHORT;
    } else if (word("long")) {
      s.code = word("long") ? (u ? TC_ULLONG : TC_LLONG) : (u ? TC_ULONG : TC_LONG);
      word("int");
    } else {
      word("int");
      s.code = u ? TC_UINT : TC_INT;
    }
  } else if (w == "short") {
    word("int");
    s.code = TC_SHORT;
  } else if (w == "int") {
    s.code = TC_INT;
  } else if (w == "long") {
    if (word("double")) {
      s.code = TC_LDOUBLE;
    } else {
      s.code = word("long") ? TC_LLONG : TC_LONG;
      word("int");
    }
  } else if (w == "struct" || w == "union" || w == "class" || w == "enum") {
    s.k = IT_TYPE_TEXT::S_TAG;
    s.tag = w == "struct" ? 0 : w == "union" ? 1 : w == "class" ? 2 : 3;
    s.name = string_or_ident(c, "a tag name");
  } else if (types_.is_typedef_name(w)) {
    s.k = IT_TYPE_TEXT::S_TYPEDEF;
    s.name = w;
  } else {
    fail(t, "expected a type, found '" + w + "'");
  }
  return s;
}

IT_TYPE_TEXT IT_PARSER::parse_type(CUR& c) {
  const IT_TOKEN& at = c.peek();
  int quals = 0;
  while (qual_bit(c.peek()) >= 0) quals |= 1 << qual_bit(c.next());
  IT_TYPE_TEXT s = parse_base(c);
  if (quals) {
    s = wrap(IT_TYPE_TEXT::S_QUAL, s);
    s.count = quals;
  }
  s.at = &at;
  for (;;) {
    if (c.punct("*") || c.punct("&")) {
      s = wrap(c.punct("*") ? IT_TYPE_TEXT::S_PTR : IT_TYPE_TEXT::S_REF, s);
      c.next();
    } else if (c.punct("[")) {
      c.next();
      s = wrap(IT_TYPE_TEXT::S_ARRAY, s);
      if (c.punct("]")) {
        s.complete = false;
      } else {
        s.count = number(c, K_UINT, "an element count");
      }
      expect(c, "]", "']'");
    } else if (qual_bit(c.peek()) >= 0) {
      s = wrap(IT_TYPE_TEXT::S_QUAL, s);
      while (qual_bit(c.peek()) >= 0) s.count |= 1 << qual_bit(c.next());
    } else if (c.punct("(") && (c.punct(")", 1) || c.punct("...", 1) || type_start(c.peek(1)))) {
      c.next();
      s = wrap(IT_TYPE_TEXT::S_FUNC, s);
      if (c.punct(")")) {
        s.proto = false;
      } else if (c.ident("void") && c.punct(")", 1)) {
        c.next();
      } else {
        for (;;) {
          if (c.punct("...")) {
            c.next();
            s.variadic = true;
            break;
          }
          s.sub.push_back(parse_type(c));
          if (!c.punct(",")) break;
          c.next();
        }
      }
      expect(c, ")", "')' to end the parameter types");
    } else {
      break;
    }
    s.at = &at;
  }
  return s;
}

uint32_t IT_PARSER::type_ref(CUR& c) {
  if (c.punct("-")) {
    c.next();
    return 0;
  }
  const IT_TOKEN& t = c.peek();
  if (!type_start(t)) {
    std::string found = t.kind == TK_END ? "the end of the line"
                        : t.kind == TK_STR ? "a string"
                                           : "'" + t.text + "'";
    fail(t, "expected a type, found " + found);
  }
  return resolve(parse_type(c));
}

uint32_t IT_PARSER::pointer_to(uint32_t id, const IT_TOKEN& at) {
  IT_TYPE_TEXT inner;
  inner.k = IT_TYPE_TEXT::S_ID;
  inner.id = id;
  inner.at = &at;
  return resolve(wrap(IT_TYPE_TEXT::S_PTR, inner));
}

// ---------------------------------------------------------------------------
// Making type records

size_t IT_PARSER::make_record(uint32_t id, int code, const std::vector<std::pair<const char*, IT_VAL>>& set) {
  const std::vector<IT_FIELD>& layout = *it_type_layout(code, m_.version);
  std::vector<IT_VAL> vals(layout.size());
  std::vector<bool> given(layout.size(), false);
  for (size_t i = 0; i < layout.size(); i++) {
    IT_KIND k = layout[i].kind;
    if (k == K_EVAL) k = types_.is_signed(types_.ref_field(id, "under")) ? K_SINT : K_UINT;
    vals[i].kind = k;
    for (const auto& s : set) {
      if (strcmp(s.first, layout[i].key) != 0) continue;
      IT_VAL v = s.second;
      v.kind = k;
      vals[i] = v;
      given[i] = true;
    }
  }
  for (size_t i = 0; i < layout.size(); i++)
    if (!given[i] && vals[i].kind != K_STR && vals[i].kind != K_PSN)
      vals[i].n = it_type_default(types_, code, vals.data(), vals.size(), layout, i);
  IT_REC r;
  r.id = R_TYPE;
  r.f = {it_num(K_UINT, id), it_num(K_U8, code)};
  r.f.insert(r.f.end(), vals.begin(), vals.end());
  m_.types.push_back(std::move(r));
  types_.add(m_.types.size() - 1);
  return m_.types.size() - 1;
}

void IT_PARSER::list_frame(uint32_t owner, int code, int kind) {
  IT_REC r;
  r.id = R_TYPE;
  r.f = {it_num(K_UINT, owner), it_num(K_U8, code), it_num(K_I8, kind)};
  m_.types.push_back(std::move(r));
  types_.add(m_.types.size() - 1);
}

namespace {
IT_VAL num(int64_t n) { return it_num(K_UINT, n); }
}  // namespace

uint32_t IT_PARSER::resolve(const IT_TYPE_TEXT& s) {
  const IT_TOKEN& at = *s.at;
  auto found = [&](const std::string& name) -> uint32_t {
    if (name.empty()) return 0;
    std::vector<uint32_t> ids = types_.lookup(name);
    if (ids.size() > 1)
      fail(at, "the type '" + name + "' is ambiguous here: name it by its id (#" + std::to_string(ids[0]) +
                   " or #" + std::to_string(ids[1]) + ")");
    return ids.empty() ? 0 : ids[0];
  };
  switch (s.k) {
    case IT_TYPE_TEXT::S_ID:
      if (!types_.known(s.id)) fail(at, "type #" + std::to_string(s.id) + " is not defined");
      return s.id;
    case IT_TYPE_TEXT::S_BASIC: {
      if (uint32_t id = found(IT_TYPES::basic_name(s.code, s.sign))) return id;
      uint32_t id = types_.next_id();
      if (s.sign)
        make_record(id, s.code, {{"sign", num(1)}});
      else
        make_record(id, s.code, {});
      types_.named(id);
      return id;
    }
    case IT_TYPE_TEXT::S_TAG: {
      static const char* const words[] = {"struct ", "union ", "class ", "enum "};
      if (uint32_t id = found(words[s.tag] + s.name)) {
        auto p = pending_.find(id);
        if (p != pending_.end()) layout_csu(p->second);
        return id;
      }
      uint32_t id = types_.next_id();
      if (s.tag == 3) {
        // An enum nobody declared: int underneath and no enumerators.
        IT_TYPE_TEXT i;
        i.k = IT_TYPE_TEXT::S_BASIC;
        i.code = TC_INT;
        i.at = s.at;
        uint32_t under = resolve(i);
        id = types_.next_id();
        make_record(id, TC_ENUM, {{"name", it_str(s.name)}, {"under", num(under)}});
        list_frame(id, TC_LIST_HEADER, 1);
        list_frame(id, TC_LIST_TRAILER, 1);
      } else {
        make_record(id, TC_CSU_SHORT, {{"csu", num(s.tag)}, {"name", it_str(s.name)}});
      }
      types_.named(id);
      return id;
    }
    case IT_TYPE_TEXT::S_TYPEDEF: {
      uint32_t id = found(s.name);
      if (!id) fail(at, "unknown type name " + s.name);
      return id;
    }
    case IT_TYPE_TEXT::S_PTR: case IT_TYPE_TEXT::S_REF: {
      int code = s.k == IT_TYPE_TEXT::S_PTR ? TC_POINTER : TC_REFERENCE;
      uint32_t target = resolve(s.sub[0]);
      if (uint32_t id = found(IT_TYPES::compose(code, {types_.ref(target)}, 0, false, false, false)))
        return id;
      uint32_t id = types_.next_id();
      make_record(id, code, {{"target", num(target)}});
      types_.named(id);
      return id;
    }
    case IT_TYPE_TEXT::S_QUAL: {
      uint32_t target = resolve(s.sub[0]);
      std::string r = types_.ref(target);
      bool prefix = r[0] == '#' || is_simple_code(types_.code(target));
      if (uint32_t id = found(IT_TYPES::compose(TC_QUALIFIED, {r}, s.count, prefix, false, false)))
        return id;
      uint32_t id = types_.next_id();
      make_record(id, TC_QUALIFIED, {{"target", num(target)}, {"quals", num(s.count)}});
      types_.named(id);
      return id;
    }
    case IT_TYPE_TEXT::S_ARRAY: {
      uint32_t elem = resolve(s.sub[0]);
      if (uint32_t id = found(IT_TYPES::compose(TC_ARRAY, {types_.ref(elem)}, s.count, false, false, s.complete)))
        return id;
      uint32_t id = types_.next_id();
      make_record(id, TC_ARRAY,
                  {{"elem", num(elem)}, {"count", num(s.count)}, {"complete", num(s.complete)}});
      types_.named(id);
      return id;
    }
    case IT_TYPE_TEXT::S_FUNC: {
      std::vector<uint32_t> ids;
      std::vector<std::string> parts;
      for (const IT_TYPE_TEXT& p : s.sub) {
        ids.push_back(resolve(p));
        parts.push_back(types_.ref(ids.back()));
      }
      if (uint32_t id = found(IT_TYPES::compose(TC_FUNCTION, parts, 0, s.variadic, s.proto, false)))
        return id;
      uint32_t id = types_.next_id();
      make_record(id, TC_FUNCTION,
                  {{"result", num(ids[0])}, {"variadic", num(s.variadic)}, {"prototype", num(s.proto)}});
      list_frame(id, TC_LIST_HEADER, 0);
      for (size_t i = 1; i < ids.size(); i++) make_record(id, TC_PARAM, {{"type", num(ids[i])}});
      list_frame(id, TC_LIST_TRAILER, 0);
      types_.named(id);
      return id;
    }
  }
  return 0;
}

// ---------------------------------------------------------------------------
// Declarations: struct, union, class, enum and typedef

void IT_PARSER::decl_items() {
  std::vector<const IT_ITEM*> typedefs;
  for (const IT_ITEM& it : items_) {
    if (it.kind != IT_ITEM::DECL) continue;
    if (tok(it, 0).text == "typedef") {
      typedefs.push_back(&it);
      continue;
    }
    CUR c(toks_, it, 0);
    const IT_TOKEN& kw = c.next();
    int tag = kw.text == "struct" ? 0 : kw.text == "union" ? 1 : kw.text == "class" ? 2 : 3;
    const IT_TOKEN& nt = c.peek();
    std::string name = value(c, K_STR, "a tag name").s;
    std::string full = kw.text + " " + name;
    if (!types_.lookup(full).empty()) fail(nt, full + " is defined twice");
    if (tag == 3) {
      uint32_t under;
      if (c.punct(":")) {
        c.next();
        under = type_ref(c);
      } else {
        IT_TYPE_TEXT i;
        i.k = IT_TYPE_TEXT::S_BASIC;
        i.code = TC_INT;
        i.at = &kw;
        under = resolve(i);
      }
      uint32_t id = types_.next_id();
      make_record(id, TC_ENUM, {{"name", it_str(name)}, {"under", num(under)}});
      list_frame(id, TC_LIST_HEADER, 1);
      if (c.punct("{")) {
        c.next();
        bool is_signed = types_.is_signed(under);
        int64_t next = 0;
        for (;;) {
          skip_nl(c);
          if (c.punct("}")) break;
          const IT_TOKEN& et = c.peek();
          std::string en;
          bool has_value = false;
          if (et.kind == TK_KEY) {
            en = et.text;
            c.next();
            has_value = true;
          } else {
            en = value(c, K_STR, "an enumerator").s;
            if (c.punct("=")) {
              c.next();
              has_value = true;
            }
          }
          if (has_value) next = is_signed ? number(c, K_SINT, "a value") : number(c, K_UINT, "a value");
          make_record(id, TC_ETOR, {{"name", it_str(en)}, {"value", it_num(K_SINT, next)}});
          next++;
          if (c.punct(",")) c.next();
        }
        c.next();
      }
      list_frame(id, TC_LIST_TRAILER, 1);
      expect_end(c);
      types_.named(id);
      continue;
    }
    uint32_t id = types_.next_id();
    bool body = c.punct("{");
    size_t index = make_record(id, TC_CSU_SHORT, {{"csu", num(tag)}, {"name", it_str(name)}, {"complete", num(body)}});
    types_.named(id);
    DECL d;
    d.item = &it;
    d.id = id;
    d.tag = tag;
    d.record = index;
    if (body) {
      c.next();
      d.body = c.i;
      pending_[id] = decls_.size();
    } else {
      expect_end(c);
      d.done = true;
    }
    decls_.push_back(d);
  }
  for (const IT_ITEM* it : typedefs) {
    CUR c(toks_, *it, 1);
    uint32_t target = type_ref(c);
    const IT_TOKEN& nt = c.peek();
    if (nt.kind != TK_IDENT || it_reserved_word(nt.text)) fail(nt, "expected the typedef's name");
    c.next();
    expect_end(c);
    if (!types_.lookup(nt.text).empty()) fail(nt, nt.text + " is defined twice");
    uint32_t id = types_.next_id();
    make_record(id, TC_TYPEDEF, {{"name", it_str(nt.text)}, {"target", num(target)}});
    types_.named(id);
  }
  for (size_t k = 0; k < decls_.size(); k++) layout_csu(k);
}

// Lays out the members of a declared structure, union or class: each at the
// next multiple of its alignment (a union's all at 0), a bit-field in the
// current storage unit while it fits; the size rounded up to the largest
// alignment.
void IT_PARSER::layout_csu(size_t k) {
  if (decls_[k].done || decls_[k].visiting) return;
  decls_[k].visiting = true;
  const DECL d = decls_[k];
  CUR c(toks_, *d.item, d.body - d.item->begin);
  struct MEMBER {
    std::string name;
    uint32_t type;
    int64_t offset, width;
    bool bitfield;
  };
  std::vector<MEMBER> members;
  for (;;) {
    skip_nl(c);
    if (c.punct("}")) break;
    MEMBER m{value(c, K_STR, "a member name").s, 0, -1, 0, false};
    expect(c, ":", "':' and the member's type");
    m.type = type_ref(c);
    while (c.peek().kind == TK_KEY) {
      const IT_TOKEN& key = c.next();
      if (key.text == "offset") {
        m.offset = number(c, K_SINT, "an offset");
      } else if (key.text == "bits") {
        m.width = number(c, K_UINT, "a width");
        m.bitfield = true;
      } else {
        fail(key, "a member has offset= and bits=, not " + key.text + "=");
      }
    }
    if (c.punct(",")) c.next();
    else if (!c.punct("}") && c.peek().kind != TK_NL) fail(c.peek(), "expected ',' or the end of the line");
    members.push_back(m);
  }
  c.next();
  expect_end(c);
  int64_t cur = 0, size = 0, align = 16;
  for (MEMBER& m : members) {
    int64_t ts = types_.size(m.type), ta = types_.align(m.type) ? types_.align(m.type) : 16;
    auto round = [](int64_t v, int64_t a) { return (v + a - 1) / a * a; };
    if (m.offset < 0) {
      if (d.tag == 1)
        m.offset = 0;
      else if (m.bitfield)
        m.offset = (cur % ta) + m.width > ts ? round(cur, ta) : cur;
      else
        m.offset = round(cur, ta);
    }
    int64_t end = m.offset + (m.bitfield ? m.width : ts);
    if (d.tag != 1) cur = end;
    size = std::max(size, end);
    align = std::max(align, ta);
  }
  size = (size + align - 1) / align * align;
  if (!members.empty()) {
    list_frame(d.id, TC_LIST_HEADER, 7);
    for (size_t i = 0; i < members.size(); i++) {
      const MEMBER& m = members[i];
      make_record(d.id, TC_MDATA,
                  {{"id", num(static_cast<int64_t>(i))}, {"name", it_str(m.name)}, {"type", num(m.type)},
                   {"offset", it_num(K_SINT, m.offset)}, {"width", num(m.width)},
                   {"bitfield", num(m.bitfield)}});
    }
    list_frame(d.id, TC_LIST_TRAILER, 7);
  }
  IT_REC& r = m_.types[d.record];
  set_field(r, "size", size);
  set_field(r, "align", align);
  set_field(r, "members", !members.empty());
  decls_[k].done = true;
  decls_[k].visiting = false;
}
