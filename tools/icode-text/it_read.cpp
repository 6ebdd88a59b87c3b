// Reading an icode file into the model. I_FILE opens the file, checks the
// header, seeks to the sections and frames the records; the bodies are
// decoded here, because the text must show every field exactly as it stands
// (the reader proper would fold types and build trees). A body that doesn't
// decode in canonical form is kept whole as a raw record, so that nothing is
// lost on the way back.
#include <cerrno>
#include <cstring>
#include <set>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "tools/icode-text/itext.h"

namespace {

struct RAW {
  int id;
  uint32_t at;
  IT_BYTES body;
};

// A decoder over one body: every field must be in the form the writer gives
// it, or the record is not decoded.
class CURSOR {
 public:
  explicit CURSOR(const IT_BYTES& b) : b_(b) {}
  bool ok() const { return ok_; }
  bool at_end() const { return p_ == b_.size(); }
  IT_BYTES rest() const { return IT_BYTES(b_.begin() + static_cast<long>(p_), b_.end()); }

  uint32_t uint() {
    size_t start = p_;
    uint32_t v = 0;
    for (int shift = 0;; shift += 7) {
      if (p_ >= b_.size() || shift > 28) return fail();
      uint8_t c = b_[p_++];
      v |= static_cast<uint32_t>(c & 0x7f) << shift;
      if (!(c & 0x80)) break;
    }
    IT_BYTES canon;
    it_put_uint(canon, v);
    if (!same(start, canon)) return fail();
    return v;
  }

  int32_t sint() {
    size_t start = p_;
    uint32_t v = 0;
    int shift = 0;
    uint8_t c;
    do {
      if (p_ >= b_.size() || shift >= 35) return static_cast<int32_t>(fail());
      c = b_[p_++];
      v |= static_cast<uint32_t>(c & 0x7f) << shift;
      shift += 7;
    } while (c & 0x80);
    if (shift < 32 && (c & 0x40)) v |= ~0u << shift;
    IT_BYTES canon;
    it_put_sint(canon, static_cast<int32_t>(v));
    if (!same(start, canon)) return static_cast<int32_t>(fail());
    return static_cast<int32_t>(v);
  }

  uint8_t byte() {
    if (p_ >= b_.size()) return static_cast<uint8_t>(fail());
    return b_[p_++];
  }

  uint32_t fixed(int n) {
    if (b_.size() - p_ < static_cast<size_t>(n)) return fail();
    uint32_t v = 0;
    for (int i = 0; i < n; i++) v |= static_cast<uint32_t>(b_[p_ + static_cast<size_t>(i)]) << (8 * i);
    p_ += static_cast<size_t>(n);
    return v;
  }

  std::string str() {
    for (size_t q = p_; q < b_.size(); q++) {
      if (b_[q] == 0) {
        std::string s(b_.begin() + static_cast<long>(p_), b_.begin() + static_cast<long>(q));
        p_ = q + 1;
        return s;
      }
    }
    fail();
    return "";
  }

  std::string counted() {
    uint32_t n = uint();
    if (!ok_ || b_.size() - p_ < n) {
      fail();
      return "";
    }
    std::string s(b_.begin() + static_cast<long>(p_), b_.begin() + static_cast<long>(p_ + n));
    p_ += n;
    return s;
  }

  IT_VAL get(IT_KIND k) {
    switch (k) {
      case K_UINT: case K_TREF: return it_num(k, uint());
      case K_SINT: return it_num(k, sint());
      case K_BOOL: case K_U8: return it_num(k, byte());
      case K_I8: return it_num(k, static_cast<int8_t>(byte()));
      case K_I16: return it_num(k, static_cast<int16_t>(fixed(2)));
      case K_U16: return it_num(k, fixed(2));
      case K_U32: return it_num(k, fixed(4));
      case K_STR: return it_str(str());
      case K_COUNTED: return it_str(counted(), K_COUNTED);
      case K_PSN: {
        IT_PSN p;
        p.file = uint();
        if (p.file) {
          p.line = uint();
          p.col = uint();
        }
        return it_psn(p);
      }
      case K_EVAL:
        break;
    }
    fail();
    return IT_VAL();
  }

 private:
  uint32_t fail() {
    ok_ = false;
    p_ = b_.size();
    return 0;
  }
  bool same(size_t start, const IT_BYTES& canon) const {
    return p_ - start == canon.size() && std::equal(canon.begin(), canon.end(), b_.begin() + static_cast<long>(start));
  }
  const IT_BYTES& b_;
  size_t p_ = 0;
  bool ok_ = true;
};

IT_REC raw_rec(const RAW& r) {
  IT_REC rec;
  rec.id = r.id;
  rec.raw = true;
  rec.extra = r.body;
  rec.at = r.at;
  return rec;
}

class READER {
 public:
  READER(I_FILE* in, IT_MODEL& m, std::vector<std::string>& warnings)
      : in_(in), m_(m), types_(m), warnings_(warnings) {}

  void read();

 private:
  std::vector<RAW> section(uint32_t offset, bool& closed);
  void read_types(const std::vector<RAW>& raws);
  IT_REC symbol(const RAW& r);
  bool pragma(const RAW& r, IT_REC& rec);
  void attach_pragmas(const std::vector<RAW>& raws, size_t& i, IT_REC& sym);
  std::unique_ptr<IT_NODE> tree(const std::vector<RAW>& raws, size_t& i);
  std::unique_ptr<IT_NODE> node(const RAW& r, int& operands);
  IT_REC code_record(const RAW& r);
  void read_code(const std::vector<RAW>& raws);
  void read_inits(const std::vector<RAW>& raws);
  void mark_bare();
  void check_type_refs();
  void warn(const std::string& w) { warnings_.push_back(w); }

  I_FILE* in_;
  IT_MODEL& m_;
  IT_TYPES types_;
  std::vector<std::string>& warnings_;
  uint32_t end_ = 0;  // where the section read last ended
};

// The records of a section up to its end mark.
std::vector<RAW> READER::section(uint32_t offset, bool& closed) {
  std::vector<RAW> out;
  in_->if_seek(offset);
  closed = false;
  for (;;) {
    uint32_t at = in_->if_tell();
    int id;
    uint32_t length;
    in_->i_read_header(id, length);
    if (id == IREC_EOF) {
      closed = true;
      break;
    }
    RAW r{id, at, IT_BYTES(length)};
    if (length) in_->i_read_raw(r.body.data(), length);
    if (in_->if_tell() - at != 1 + it_uint_size(length) + length)
      warn("the length of the record at offset " + std::to_string(at) + " is not in canonical form");
    out.push_back(std::move(r));
  }
  end_ = in_->if_tell();
  return out;
}

void READER::read_types(const std::vector<RAW>& raws) {
  for (const RAW& r : raws) {
    IT_REC rec;
    rec.id = r.id;
    rec.at = r.at;
    CURSOR c(r.body);
    const std::vector<IT_FIELD>* layout = nullptr;
    if (r.id == R_TYPE) {
      rec.f.push_back(c.get(K_UINT));
      rec.f.push_back(c.get(K_U8));
      layout = it_type_layout(static_cast<int>(rec.f[1].n), m_.version);
    }
    if (layout) {
      uint32_t owner = static_cast<uint32_t>(rec.f[0].n);
      for (const IT_FIELD& f : *layout) {
        IT_KIND k = f.kind;
        if (k == K_EVAL) k = types_.is_signed(types_.ref_field(owner, "under")) ? K_SINT : K_UINT;
        rec.f.push_back(c.get(k));
      }
    }
    if (!layout || !c.ok()) {
      m_.types.push_back(raw_rec(r));
      continue;
    }
    rec.extra = c.rest();
    m_.types.push_back(std::move(rec));
    types_.add(m_.types.size() - 1);
  }
  types_.rebuild();
}

IT_REC READER::symbol(const RAW& r) {
  static const IT_KIND kinds[] = {K_STR, K_UINT, K_UINT, K_U8,  K_U16, K_TREF,
                                  K_TREF, K_UINT, K_I8, K_UINT, K_UINT, K_PSN};
  IT_REC rec;
  rec.id = r.id;
  rec.at = r.at;
  CURSOR c(r.body);
  for (IT_KIND k : kinds) rec.f.push_back(c.get(k));
  if (!c.ok()) return raw_rec(r);
  rec.extra = c.rest();
  return rec;
}

// A pragma is decoded only when nothing is left over: its text has no
// place for extra bytes.
bool READER::pragma(const RAW& r, IT_REC& rec) {
  if (r.id != R_PRAGMA) return false;
  CURSOR c(r.body);
  rec = IT_REC();
  rec.id = r.id;
  rec.at = r.at;
  rec.f.push_back(c.get(K_UINT));
  IT_VAL count = c.get(K_UINT);
  rec.f.push_back(count);
  for (int64_t i = 0; i < count.n && c.ok(); i++) rec.f.push_back(c.get(K_STR));
  return c.ok() && c.at_end();
}

void READER::attach_pragmas(const std::vector<RAW>& raws, size_t& i, IT_REC& sym) {
  int64_t count = sym.raw ? 0 : sym.f[8].n;
  IT_REC p;
  while (count-- > 0 && i < raws.size() && pragma(raws[i], p)) {
    sym.pragmas.push_back(std::move(p));
    i++;
  }
}

std::unique_ptr<IT_NODE> READER::node(const RAW& r, int& operands) {
  if (r.id != R_NODE) return nullptr;
  CURSOR c(r.body);
  auto n = std::make_unique<IT_NODE>();
  n->op = c.byte();
  n->type = c.uint();
  operands = it_operand_count(n->op);
  if (!c.ok() || operands < 0) return nullptr;
  for (IT_KIND k : it_op_values(n->op, types_.is_signed(n->type))) n->v.push_back(c.get(k));
  if (!c.ok()) return nullptr;
  n->extra = c.rest();
  return n;
}

// One tree from the records at `i`; on success `i` is behind it, otherwise
// it stays and the records are left to be shown raw.
std::unique_ptr<IT_NODE> READER::tree(const std::vector<RAW>& raws, size_t& i) {
  struct FRAME {
    IT_NODE* node;
    int need;
  };
  size_t j = i;
  int operands;
  if (j >= raws.size()) return nullptr;
  std::unique_ptr<IT_NODE> root = node(raws[j++], operands);
  if (!root) return nullptr;
  std::vector<FRAME> stack;
  if (operands) stack.push_back({root.get(), operands});
  while (!stack.empty()) {
    FRAME& f = stack.back();
    if (static_cast<int>(f.node->kids.size()) == f.need) {
      stack.pop_back();
      continue;
    }
    if (j >= raws.size()) return nullptr;
    std::unique_ptr<IT_NODE> kid = node(raws[j++], operands);
    if (!kid) return nullptr;
    IT_NODE* k = kid.get();
    f.node->kids.push_back(std::move(kid));
    if (operands) {
      // Deeper than any reader takes: shown raw, and never walked recursively.
      if (stack.size() >= IF_MAX_TREE_DEPTH) return nullptr;
      stack.push_back({k, operands});
    }
  }
  i = j;
  return root;
}

// A function-section record other than a symbol or a pragma of one.
IT_REC READER::code_record(const RAW& r) {
  IT_REC rec;
  rec.id = r.id;
  rec.at = r.at;
  CURSOR c(r.body);
  auto take = [&](IT_KIND k) { rec.f.push_back(c.get(k)); };
  if (const IT_RECORD_LAYOUT* l = it_record_layout(r.id)) {
    for (const IT_FIELD& f : l->fields) take(f.kind);
  } else {
    switch (r.id) {
      case R_BEGIN_FUNC:
        take(K_PSN);
        take(K_UINT);
        break;
      case R_LABEL:
        take(K_UINT);
        break;
      case R_EXPR:
        take(K_PSN);
        break;
      case R_DEP_VECTOR: {
        take(K_UINT);
        take(K_I8);
        take(K_I8);
        for (int64_t i = 0; i < rec.f[2].n && c.ok(); i++) {
          take(K_U8);
          take(K_I8);
        }
        if (rec.f[2].n < 0) return raw_rec(r);
        break;
      }
      case R_EHT_CATCH:
        while (c.ok() && !c.at_end()) {
          take(K_STR);
          take(K_UINT);
          take(K_BOOL);
        }
        break;
      case R_PRAGMA:
        if (!pragma(r, rec)) return raw_rec(r);
        return rec;
      case R_LDSPEC: {
        take(K_UINT);
        take(K_U8);
        switch (rec.f[1].n) {
          case 0: for (IT_KIND k : {K_UINT, K_SINT, K_TREF, K_SINT, K_UINT}) take(k); break;
          case 1: for (IT_KIND k : {K_UINT, K_UINT, K_TREF, K_SINT, K_UINT}) take(k); break;
          case 2: take(K_UINT); break;
          default: return raw_rec(r);
        }
        break;
      }
      case R_INLOOP:
        for (IT_KIND k : {K_UINT, K_SINT, K_SINT, K_I8}) take(k);
        break;
      default:
        return raw_rec(r);
    }
  }
  if (!c.ok()) return raw_rec(r);
  rec.extra = c.rest();
  return rec;
}

void READER::read_code(const std::vector<RAW>& raws) {
  for (size_t i = 0; i < raws.size();) {
    const RAW& r = raws[i++];
    if (r.id == R_SYMBOL) {
      IT_REC rec = symbol(r);
      attach_pragmas(raws, i, rec);
      m_.code.push_back(std::move(rec));
      continue;
    }
    IT_REC rec = code_record(r);
    if (rec.id == R_EXPR && !rec.raw) {
      std::unique_ptr<IT_NODE> t = tree(raws, i);
      if (t) rec.trees.push_back(std::move(t));
    }
    m_.code.push_back(std::move(rec));
  }
  mark_bare();
}

// A function with neither end-of-arguments nor end-of-locals records must
// say so, or the text would get them back.
void READER::mark_bare() {
  IT_REC* func = nullptr;
  bool seen = false;
  auto close = [&] {
    if (func && !seen) func->bare = true;
    func = nullptr;
  };
  for (IT_REC& r : m_.code) {
    if (r.id == R_BEGIN_FUNC && !r.raw) {
      close();
      func = &r;
      seen = false;
    } else if (r.id == R_END_ARGS || r.id == R_END_LOCALS) {
      seen = true;
    } else if (r.id == R_END_FUNC || r.id == R_IR_BEGIN) {
      close();
    }
  }
  close();
}

void READER::read_inits(const std::vector<RAW>& raws) {
  for (size_t i = 0; i < raws.size();) {
    const RAW& r = raws[i++];
    if (r.id != R_INIT) {
      m_.inits.push_back(raw_rec(r));
      continue;
    }
    IT_REC rec;
    rec.id = r.id;
    rec.at = r.at;
    CURSOR c(r.body);
    rec.f.push_back(c.get(K_UINT));
    if (!c.ok()) {
      m_.inits.push_back(raw_rec(r));
      continue;
    }
    rec.extra = c.rest();
    rec.open = true;
    while (std::unique_ptr<IT_NODE> t = tree(raws, i)) {
      bool last = t->op == OP_ENDINIT;
      rec.trees.push_back(std::move(t));
      if (last) {
        rec.open = false;
        break;
      }
    }
    m_.inits.push_back(std::move(rec));
  }
}

void READER::read() {
  m_.version = in_->version;
  m_.cpu = icode_cpu_id;
  m_.source = in_->source_name ? in_->source_name : "";
  m_.extra_word = in_->extra_word;
  uint32_t left = in_->i_body_left();
  m_.magic_extra.resize(left);
  if (left) in_->i_read_raw(m_.magic_extra.data(), left);
  uint32_t code_start = in_->if_tell();
  uint32_t magic_len = 10 + 2 + 2 + 20 + static_cast<uint32_t>(m_.source.size()) + 1 +
                       (m_.version >= -83 ? 4 : 0) + left;
  if (code_start != 1 + it_uint_size(magic_len) + magic_len)
    warn("the header record is not in the form the writer gives it");

  // Sections in the reader's order: types first, so that trees can be
  // decoded by their types; the layout is checked in file order below.
  bool closed;
  struct SECTION {
    const char* name;
    uint32_t offset;
    std::vector<RAW> raws;
    uint32_t end;
  };
  SECTION code{"function", code_start, {}, 0}, inits{"initialiser", in_->init_offset, {}, 0},
      options{"option-set", in_->options_offset, {}, 0}, types{"type", in_->types_offset, {}, 0},
      files{"file-name", in_->files_offset, {}, 0}, globals{"globals", in_->globals_offset, {}, 0};
  SECTION* order[] = {&code, &inits, &options, &types, &files, &globals};
  for (SECTION* s : order) {
    if (!s->offset) continue;
    s->raws = section(s->offset, closed);
    s->end = end_;
  }
  uint32_t at = code.end;
  for (SECTION* s : order) {
    if (s == &code) continue;
    if (s->offset == 0 && s != &globals) continue;
    if (s->offset != at)
      warn(std::string("the ") + s->name + " section is not where the writer puts it");
    if (s->raws.empty() && s != &globals)
      warn(std::string("the ") + s->name + " section is empty; the writer leaves such a section out");
    at = s->end;
  }
  if (in_->globals_offset && fseek(in_->stream, 0, SEEK_END) == 0) {
    long size = ftell(in_->stream) - in_->base;
    if (size != static_cast<long>(at)) warn("the file goes on behind the globals section");
  }

  read_types(types.raws);
  for (const RAW& r : options.raws) {
    IT_REC rec;
    rec.id = r.id;
    CURSOR c(r.body);
    rec.f.push_back(c.get(K_UINT));
    IT_VAL count = c.get(K_UINT);
    rec.f.push_back(count);
    for (int64_t i = 0; i < count.n && c.ok(); i++) rec.f.push_back(c.get(K_STR));
    m_.options.push_back(r.id == R_OPTION_SET && c.ok() && c.at_end() ? std::move(rec) : raw_rec(r));
  }
  for (const RAW& r : files.raws) {
    IT_REC rec;
    rec.id = r.id;
    CURSOR c(r.body);
    rec.f.push_back(c.get(K_STR));
    m_.files.push_back(r.id == R_SOURCE && c.ok() && c.at_end() ? std::move(rec) : raw_rec(r));
  }
  for (size_t i = 0; i < globals.raws.size();) {
    const RAW& r = globals.raws[i++];
    if (r.id != R_SYMBOL) {
      m_.globals.push_back(raw_rec(r));
      continue;
    }
    IT_REC rec = symbol(r);
    attach_pragmas(globals.raws, i, rec);
    m_.globals.push_back(std::move(rec));
  }
  read_inits(inits.raws);
  read_code(code.raws);
  check_type_refs();
}

// Symbols and trees name types by id; text names an id the file doesn't
// define only as #ID, which icode-as refuses.
void READER::check_type_refs() {
  std::set<uint32_t> missing;
  auto note = [&](int64_t id) {
    if (id && !types_.known(static_cast<uint32_t>(id))) missing.insert(static_cast<uint32_t>(id));
  };
  std::vector<const IT_NODE*> stack;
  auto rec = [&](const IT_REC& r) {
    if (r.raw) return;
    if (r.id == R_SYMBOL) {
      note(r.f[5].n);
      note(r.f[6].n);
    }
    if (r.id == R_LDSPEC && r.f.size() > 4) note(r.f[4].n);
    for (const auto& t : r.trees) stack.push_back(t.get());
    while (!stack.empty()) {
      const IT_NODE* n = stack.back();
      stack.pop_back();
      note(n->type);
      for (const IT_VAL& v : n->v)
        if (v.kind == K_TREF) note(v.n);
      for (const auto& k : n->kids) stack.push_back(k.get());
    }
  };
  for (const IT_REC& r : m_.globals) rec(r);
  for (const IT_REC& r : m_.inits) rec(r);
  for (const IT_REC& r : m_.code) rec(r);
  if (!missing.empty())
    warn("type #" + std::to_string(*missing.begin()) + " is named but not defined" +
         (missing.size() > 1 ? " (and " + std::to_string(missing.size() - 1) + " more)" : std::string()) +
         "; icode-as will not take the text");
}

}  // namespace

bool it_read_file(const char* path, IT_MODEL& model, std::string& error,
                  std::vector<std::string>& warnings) {
  FILE* f = fopen(path, "rb");
  if (!f) {
    error = std::string("cannot open ") + path + ": " + strerror(errno);
    return false;
  }
  I_FILE* in = I_FILE::if_open_basic(f, nullptr);
  if (!in) {
    fclose(f);
    error = std::string(path) + " is not an icode file";
    return false;
  }
  READER(in, model, warnings).read();
  in->if_close(false, false);
  return true;
}
