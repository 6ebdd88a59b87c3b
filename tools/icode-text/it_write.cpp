// Writing the model as an icode file through I_FILE: its header writer, its
// field primitives and its record framing. The record writers that take
// the optimizer's own objects (symbols, types, trees) are not used: they
// renumber types and derive fields from memory, while the text names every
// field and type id as it is to stand in the file. Sections go in the
// writer's order, and their offsets are the writer's.
#include <cerrno>
#include <cstring>
#include <map>

#include "driver/globals.h"
#include "icode/if_file.h"
#include "tools/icode-text/itext.h"

namespace {

void put(I_FILE* out, const IT_VAL& v) {
  switch (v.kind) {
    case K_UINT: case K_TREF: out->i_write_uint(static_cast<uint32_t>(v.n)); break;
    case K_SINT: out->i_write_sint(static_cast<int32_t>(v.n)); break;
    case K_BOOL: case K_U8: case K_I8: out->i_write_byte(static_cast<uint8_t>(v.n)); break;
    case K_I16: case K_U16: out->i_write_i16(static_cast<int>(v.n)); break;
    case K_U32: out->i_write_u32(static_cast<uint32_t>(v.n)); break;
    case K_STR: out->i_write_string(v.s.c_str(), 0); break;
    case K_COUNTED:
      out->i_write_uint(static_cast<uint32_t>(v.s.size()));
      if (!v.s.empty()) out->i_write_string(v.s.data(), static_cast<uint32_t>(v.s.size()));
      break;
    case K_PSN:
      out->i_write_uint(v.psn.file);
      if (v.psn.file) {
        out->i_write_uint(v.psn.line);
        out->i_write_uint(v.psn.col);
      }
      break;
    case K_EVAL:
      break;
  }
}

void put_extra(I_FILE* out, const IT_BYTES& extra) {
  if (!extra.empty())
    out->i_write_string(reinterpret_cast<const char*>(extra.data()), static_cast<uint32_t>(extra.size()));
}

void put_fields(I_FILE* out, const IT_REC& r) {
  if (!r.raw)
    for (const IT_VAL& v : r.f) put(out, v);
  put_extra(out, r.extra);
}

void put_tree(I_FILE* out, const IT_NODE& root) {
  std::vector<const IT_NODE*> stack{&root};
  while (!stack.empty()) {
    const IT_NODE* n = stack.back();
    stack.pop_back();
    out->i_write_byte(static_cast<uint8_t>(n->op));
    out->i_write_uint(n->type);
    for (const IT_VAL& v : n->v) put(out, v);
    put_extra(out, n->extra);
    out->i_flush(R_NODE);
    for (auto it = n->kids.rbegin(); it != n->kids.rend(); ++it) stack.push_back(it->get());
  }
}

void put_rec(I_FILE* out, const IT_REC& r) {
  put_fields(out, r);
  out->i_flush(r.id);
  for (const IT_REC& p : r.pragmas) put_rec(out, p);
  for (const auto& t : r.trees) put_tree(out, *t);
}

void put_magic(I_FILE* out, const IT_MODEL& m) {
  out->if_seek(0);
  if (m.magic_extra.empty()) {
    out->if_write_magic();
    return;
  }
  out->i_write_string("!<icode>\n", 0);
  out->i_write_i16(m.version);
  out->i_write_i16(m.cpu);
  for (uint32_t o : {out->options_offset, out->init_offset, out->types_offset, out->files_offset,
                     out->globals_offset})
    out->i_write_u32(o);
  out->i_write_string(m.source.c_str(), 0);
  if (m.version >= -83) out->i_write_u32(m.extra_word);
  put_extra(out, m.magic_extra);
  out->i_flush(IREC_MAGIC);
}

// Writes a section that the writer leaves out when empty.
uint32_t put_section(I_FILE* out, const std::vector<IT_REC>& recs) {
  if (recs.empty()) return 0;
  uint32_t at = out->if_tell();
  for (const IT_REC& r : recs) put_rec(out, r);
  out->i_write_eof();
  return at;
}

}  // namespace

bool it_write_file(const IT_MODEL& m, const char* path, std::string& error) {
  FILE* f = fopen(path, "wb");
  if (!f) {
    error = std::string("cannot create ") + path + ": " + strerror(errno);
    return false;
  }
  icode_cpu_id = m.cpu;
  I_FILE* out = I_FILE::if_create(f, nullptr, m.source.c_str());
  out->version = m.version;
  out->extra_word = m.extra_word;
  // The header of another version has another length: it is written again
  // before anything follows it.
  put_magic(out, m);

  // Where each global's function or initialiser starts: the file offset of
  // a global whose text leaves it to the writer.
  std::map<int64_t, uint32_t> placed;
  for (const IT_REC& r : m.code) {
    if (r.id == R_BEGIN_FUNC && !r.raw) placed[r.f[1].n] = out->if_tell();
    put_rec(out, r);
  }
  out->i_write_eof();
  if (!m.inits.empty()) {
    out->init_offset = out->if_tell();
    for (const IT_REC& r : m.inits) {
      if (r.id == R_INIT && !r.raw) placed[r.f[0].n] = out->if_tell();
      put_rec(out, r);
    }
    out->i_write_eof();
  }
  out->options_offset = put_section(out, m.options);
  out->types_offset = put_section(out, m.types);
  out->files_offset = put_section(out, m.files);
  out->globals_offset = out->if_tell();
  int64_t index = 0;
  for (const IT_REC& r : m.globals) {
    if (r.id == R_SYMBOL && !r.raw && r.derive_fileoff) {
      IT_REC copy;
      copy.id = r.id;
      copy.f = r.f;
      copy.extra = r.extra;
      auto it = placed.find(index);
      copy.f[9].n = it == placed.end() ? 0 : it->second;
      put_rec(out, copy);
      for (const IT_REC& p : r.pragmas) put_rec(out, p);
    } else {
      put_rec(out, r);
    }
    if (r.id == R_SYMBOL) index++;
  }
  out->i_write_eof();
  put_magic(out, m);
  if (out->if_close(true, true)) {
    error = std::string("cannot write ") + path;
    return false;
  }
  return true;
}
