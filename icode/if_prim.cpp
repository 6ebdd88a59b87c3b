// The icode container: opening and closing, the primitive encodings, record
// framing, the header, the option-set and file-name sections, and copying
// raw stretches between files.
#include <cstdlib>
#include <cstring>
#include <new>

#include "driver/globals.h"
#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/mmgt.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"

const char* const IF_MSG_INVALID_RECORD = "\nINTERNAL ERROR: Invalid I-code record, aborting";
const char* const IF_MSG_INVALID_EHT = "\nINTERNAL ERROR: Invalid EHT record in I-code, aborting";

static const char kMagic[] = "!<icode>\n";  // stored with its terminating 0
static const uint32_t kStreamBuffer = 32768;
static const uint32_t kInBuffer = 65536;
static const uint32_t kOutBuffer = 65536;
static const uint32_t kBufferStep = 32768;
static const uint32_t kFileNameStep = 20;

// Reading without a client still has to make symbols somewhere.
namespace {
class PLAIN_CLIENT : public IF_CLIENT {
 public:
  SYMTAB* cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size,
                           uint32_t align, uint32_t offset, int sclass, int qualifier, PSN* psn,
                           uint32_t file_offset, uint32_t option_set) override {
    SYMTAB* s = new SYMTAB;
    s->name = strdup(name);
    s->type = s->decl_type = type;
    s->type2 = type2;
    s->size = static_cast<int32_t>(size);
    s->align = static_cast<int32_t>(align);
    s->offset = static_cast<int32_t>(offset);
    s->sclass = s->orig_sclass = static_cast<uint8_t>(sclass);
    s->scqual = static_cast<uint16_t>(qualifier);
    s->psn = psn;
    s->file_offset = file_offset;
    s->option_set = option_set;
    return s;
  }
};
PLAIN_CLIENT plain_client;
}  // namespace

void I_FILE::if_fail(const char* text) {
  fflush(stderr);
  puts(text);
  fflush(stdout);
  exit(1);
}

void I_FILE::if_bad_record() { if_fail(IF_MSG_INVALID_RECORD); }

// Arrays of the file layer grow by a fixed step; running out of memory there
// is fatal with the layer's own words.
template <class T>
static void grow_array(T*& array, uint32_t& capacity, uint32_t step) {
  uint64_t want = static_cast<uint64_t>(capacity) + step;
  if (want > 0xffffffffu / sizeof(T)) I_FILE::if_fail(">> out of memory");
  T* grown = static_cast<T*>(realloc(array, want * sizeof(T)));
  if (!grown) I_FILE::if_fail(">> out of memory");
  array = grown;
  capacity = static_cast<uint32_t>(want);
}

I_FILE::~I_FILE() {
  free(buffer);
  free(in_buf_);
  free(out_buf_);
  free(body_store_);
  free(strbuf_);
  free(locals);
  free(globals);
  free(source_name);
  for (IF_OPTION_SET* o = options; o;) {
    IF_OPTION_SET* next = o->next;
    for (uint32_t i = 0; i < o->count; i++) free(o->texts[i]);
    free(o->texts);
    delete o;
    o = next;
  }
  // The names and positions themselves live in the global zone: symbols and
  // trees of the client keep pointing at them after the file is closed.
  free(file_names);
}

void I_FILE::if_init_stream(FILE* f) {
  stream = f;
  setvbuf(f, nullptr, _IOFBF, kStreamBuffer);
  long at = ftell(f);
  base = at < 0 ? 0 : at;
  pos_ = 0;
}

// ---------------------------------------------------------------------------
// Opening and closing

I_FILE* I_FILE::if_open_basic(FILE* stream, IF_CLIENT* client) {
  if (!stream) return nullptr;
  I_FILE* f = new I_FILE;
  f->writing = false;
  f->client = client ? client : &plain_client;
  f->if_init_stream(stream);
  f->in_buf_ = static_cast<uint8_t*>(malloc(kInBuffer));
  if (!f->in_buf_) if_fail(">> out of memory");
  f->image_end_ = UINT64_MAX;
  if (fseek(stream, 0, SEEK_END) == 0) {
    long end = ftell(stream);
    if (end >= f->base) f->image_end_ = static_cast<uint64_t>(end - f->base);
  }
  fseek(stream, f->base, SEEK_SET);
  if (!f->if_read_magic() || !f->client->cl_magic(f->version, icode_cpu_id)) {
    delete f;
    return nullptr;
  }
  return f;
}

I_FILE* I_FILE::if_open(FILE* stream, IF_CLIENT* client) {
  I_FILE* f = if_open_basic(stream, client);
  if (!f) return nullptr;
  if_node_table_init();
  f->client->cl_source(f->source_name);
  f->if_read_options();
  return f;
}

I_FILE* I_FILE::if_create(FILE* stream, TYPE_PKG* type_pkg, const char* source_name) {
  if (!stream) return nullptr;
  I_FILE* f = new I_FILE;
  f->writing = true;
  f->if_init_stream(stream);
  f->type_pkg = type_pkg;
  f->source_name = strdup(source_name ? source_name : "");
  f->version = ICODE_VERSION;
  f->buffer = static_cast<uint8_t*>(malloc(kBufferStep));
  if (!f->buffer) if_fail(">> ICODE Buffer size exceeded and realloc failed");
  f->buffer_size = kBufferStep;
  f->out_buf_ = static_cast<uint8_t*>(malloc(kOutBuffer));
  if (!f->out_buf_) if_fail(">> out of memory");
  if (type_pkg) f->if_clear_type_marks();
  f->if_write_magic();
  return f;
}

int I_FILE::if_close(bool all_named, bool discard) {
  int failed = 0;
  if (writing) {
    if (!discard) {
      i_write_eof();
      if_write_all_options();
      if_write_all_types(all_named);
      if_write_all_files();
      if_write_all_globals();
      if_seek(0);
      if_write_magic();
    }
    i_out_drain();
    if (fflush(stream) != 0) failed = 1;
  }
  if (ferror(stream) || stream_failed_) failed = 1;
  if (fclose(stream) != 0) failed = 1;
  delete this;
  return failed;
}

void I_FILE::if_type_init(TYPE_PKG* pkg) { type_pkg = pkg; }

void I_FILE::if_seek(uint32_t offset) {
  body_len_ = body_pos_ = 0;
  if (writing) i_out_drain();
  if (!writing && offset >= in_base_ && offset <= in_base_ + in_len_) {
    in_pos_ = static_cast<uint32_t>(offset - in_base_);
    pos_ = offset;
    return;
  }
  if (fseek(stream, base + static_cast<long>(offset), SEEK_SET) != 0) {
    if (!writing) if_bad_record();
    stream_failed_ = true;
  }
  pos_ = offset;
  in_base_ = offset;
  in_pos_ = in_len_ = 0;
}

void I_FILE::if_flush() {
  if (writing) i_out_drain();
  if (fflush(stream) != 0) stream_failed_ = true;
}

// ---------------------------------------------------------------------------
// Reading: the input buffer and record framing
//
// The reader keeps its own buffer over the stream, so that a record whose
// bytes are all in it is read in place, without a copy.

bool I_FILE::i_fill() {
  in_base_ += in_len_;
  in_pos_ = 0;
  in_len_ = static_cast<uint32_t>(fread_unlocked(in_buf_, 1, kInBuffer, stream));
  return in_len_ > 0;
}

int I_FILE::i_getc() {
  if (in_pos_ == in_len_ && !i_fill()) return EOF;
  pos_++;
  return in_buf_[in_pos_++];
}

// A uint read straight from the stream (the length of a record).
uint32_t I_FILE::i_read_stream_uint(bool& ok) {
  uint32_t v = 0;
  for (int shift = 0; shift < 35; shift += 7) {
    int c = i_getc();
    if (c == EOF) break;
    rec_hdr_[rec_hdr_len_++] = static_cast<uint8_t>(c);
    v |= static_cast<uint32_t>(c & 0x7f) << shift;
    if (!(c & 0x80)) {
      ok = true;
      return v;
    }
  }
  ok = false;
  return 0;
}

bool I_FILE::i_load_body(uint32_t length) {
  body_pos_ = 0;
  uint32_t avail = in_len_ - in_pos_;
  if (length <= avail) {
    body_ = in_buf_ + in_pos_;
    in_pos_ += length;
    pos_ += length;
    body_len_ = length;
    return true;
  }
  // Across the end of the buffer: gather it in a store of its own, grown as
  // the bytes arrive, so that a length from a stream of unknown size costs
  // no more memory than the stream holds.
  body_ = body_store_;
  uint32_t got = 0;
  while (got < length) {
    if (in_pos_ == in_len_ && !i_fill()) return false;
    uint32_t n = in_len_ - in_pos_;
    if (n > length - got) n = length - got;
    if (got + n > body_store_size_) {
      uint32_t size = body_store_size_ ? body_store_size_ : 256;
      while (size < got + n) size = size > 0x7fffffffu ? got + n : size * 2;
      uint8_t* grown = static_cast<uint8_t*>(realloc(body_store_, size));
      if (!grown) if_fail(">> out of memory");
      body_store_ = body_ = grown;
      body_store_size_ = size;
    }
    memcpy(body_store_ + got, in_buf_ + in_pos_, n);
    in_pos_ += n;
    pos_ += n;
    got += n;
  }
  body_len_ = length;
  return true;
}

void I_FILE::i_read_header(int& id, uint32_t& length) {
  rec_start_ = static_cast<uint32_t>(pos_);
  body_len_ = body_pos_ = 0;
  // The common case: the whole header is in the buffer.
  if (in_len_ - in_pos_ >= sizeof rec_hdr_) {
    const uint8_t* p = in_buf_ + in_pos_;
    id = p[0];
    uint32_t n = 1;
    length = 0;
    if (id != IREC_EOF) {
      uint32_t v = 0;
      for (int shift = 0;; shift += 7) {
        if (shift == 35) if_bad_record();
        uint8_t b = p[n++];
        v |= static_cast<uint32_t>(b & 0x7f) << shift;
        if (!(b & 0x80)) break;
      }
      length = v;
    }
    memcpy(rec_hdr_, p, sizeof rec_hdr_);
    rec_hdr_len_ = static_cast<uint8_t>(n);
    in_pos_ += n;
    pos_ += n;
    if (id == IREC_EOF) return;
  } else {
    rec_hdr_len_ = 0;
    int c = i_getc();
    if (c == EOF) if_bad_record();
    rec_hdr_[rec_hdr_len_++] = static_cast<uint8_t>(c);
    id = c;
    length = 0;
    if (c == IREC_EOF) return;
    bool ok;
    length = i_read_stream_uint(ok);
    if (!ok) if_bad_record();
  }
  // A length that the rest of the image cannot hold is garbage; refusing it
  // here also keeps one bad number from sizing the body store.
  if (length > image_end_ - pos_) if_bad_record();
  if (length <= in_len_ - in_pos_) {
    body_ = in_buf_ + in_pos_;
    in_pos_ += length;
    pos_ += length;
    body_len_ = length;
  } else if (!i_load_body(length)) {
    if_bad_record();
  }
}

// ---------------------------------------------------------------------------
// Reading: primitives over the body of the current record

bool I_FILE::i_read_bool() { return i_read_u8() != 0; }

int8_t I_FILE::i_read_s8() { return static_cast<int8_t>(i_read_u8()); }

uint16_t I_FILE::i_read_u16() {
  if (body_len_ - body_pos_ < 2) if_bad_record();
  const uint8_t* p = body_ + body_pos_;
  body_pos_ += 2;
  return static_cast<uint16_t>(p[0] | p[1] << 8);
}

int16_t I_FILE::i_read_s16() { return static_cast<int16_t>(i_read_u16()); }

uint32_t I_FILE::i_read_u32() {
  if (body_len_ - body_pos_ < 4) if_bad_record();
  const uint8_t* p = body_ + body_pos_;
  body_pos_ += 4;
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

int32_t I_FILE::i_read_s32() { return static_cast<int32_t>(i_read_u32()); }

uint32_t I_FILE::i_read_uint_slow() {
  uint32_t v = 0;
  for (int shift = 0; shift < 35; shift += 7) {
    if (body_pos_ >= body_len_) break;
    uint8_t b = body_[body_pos_++];
    v |= static_cast<uint32_t>(b & 0x7f) << shift;
    if (!(b & 0x80)) return v;
  }
  if_bad_record();
}

int32_t I_FILE::i_read_sint() {
  uint32_t v = 0;
  int shift = 0;
  uint8_t b;
  do {
    if (body_pos_ >= body_len_ || shift >= 35) if_bad_record();
    b = body_[body_pos_++];
    v |= static_cast<uint32_t>(b & 0x7f) << shift;
    shift += 7;
  } while (b & 0x80);
  if (shift < 32 && (b & 0x40)) v |= ~0u << shift;
  return static_cast<int32_t>(v);
}

char* I_FILE::i_read_string(uint32_t n) {
  if (n == 0) {
    uint8_t* start = body_ + body_pos_;
    void* zero = memchr(start, 0, body_len_ - body_pos_);
    if (!zero) if_bad_record();
    body_pos_ += static_cast<uint32_t>(static_cast<uint8_t*>(zero) - start) + 1;
    return reinterpret_cast<char*>(start);
  }
  if (n > body_len_ - body_pos_) if_bad_record();
  if (n >= strbuf_size_) {
    uint32_t size = n + 1 > kStreamBuffer ? n + 1 : kStreamBuffer;
    char* grown = static_cast<char*>(realloc(strbuf_, size));
    if (!grown) if_fail(">> out of memory");
    strbuf_ = grown;
    strbuf_size_ = size;
  }
  memcpy(strbuf_, body_ + body_pos_, n);
  strbuf_[n] = 0;
  body_pos_ += n;
  return strbuf_;
}

void I_FILE::i_read_raw(void* target, uint32_t n) {
  if (n > body_len_ - body_pos_) if_bad_record();
  memcpy(target, body_ + body_pos_, n);
  body_pos_ += n;
}

void I_FILE::i_read_skip(uint32_t n) {
  if (n > body_len_ - body_pos_) if_bad_record();
  body_pos_ += n;
}

// Positions are interned: a function read twice gets the same PSN records,
// and memory stays bounded by the distinct positions of the file.
PSN* I_FILE::if_intern_psn(uint32_t file, uint32_t line, uint32_t col) {
  PSN_KEY key{file, line, col};
  auto it = psns_.find(key);
  if (it != psns_.end()) return it->second;
  if (psn_chunk_left_ == 0) {
    psn_chunk_ = static_cast<PSN*>(zalloc0(0, 1024 * sizeof(PSN)));
    psn_chunk_left_ = 1024;
  }
  PSN* p = new (psn_chunk_++) PSN;
  psn_chunk_left_--;
  p->file = file_names[file];
  p->line = line;
  p->col = col;
  psns_.emplace(key, p);
  return p;
}

PSN* I_FILE::i_read_psn() {
  uint32_t file = i_read_uint();
  if (file == 0) return nullptr;
  uint32_t line = i_read_uint();
  uint32_t col = i_read_uint();
  if (file > file_count) if_bad_record();
  return if_intern_psn(file, line, col);
}

// A count read from a record must fit the rest of its body when every
// element takes at least `min_bytes_each` bytes.
uint32_t I_FILE::if_check_count(uint32_t count, uint32_t min_bytes_each) {
  if (min_bytes_each && count > i_body_left() / min_bytes_each) if_bad_record();
  return count;
}

void* I_FILE::if_alloc(size_t size) { return block_depth > 0 ? zalloc(size) : zalloc0(0, size); }

char* I_FILE::if_strdup(const char* text) {
  size_t n = strlen(text) + 1;
  char* copy = static_cast<char*>(if_alloc(n));
  memcpy(copy, text, n);
  return copy;
}

// ---------------------------------------------------------------------------
// Writing primitives

void I_FILE::i_buffer_reserve(uint32_t n) {
  if (n <= buffer_size - buffer_end) return;
  uint64_t need = static_cast<uint64_t>(buffer_end) + n;
  uint64_t size = (need + kBufferStep - 1) / kBufferStep * kBufferStep;
  uint8_t* grown = size > 0xffffffffu ? nullptr : static_cast<uint8_t*>(realloc(buffer, size));
  if (!grown) if_fail(">> ICODE Buffer size exceeded and realloc failed");
  buffer = grown;
  buffer_size = static_cast<uint32_t>(size);
}

void I_FILE::i_put(const void* data, uint32_t n) {
  i_buffer_reserve(n);
  memcpy(buffer + buffer_end, data, n);
  buffer_end += n;
}

void I_FILE::i_write_byte(uint8_t v) {
  i_buffer_reserve(1);
  buffer[buffer_end++] = v;
}

void I_FILE::i_write_i8(int v) { i_write_byte(static_cast<uint8_t>(v)); }

void I_FILE::i_write_bool(bool v) { i_write_byte(v ? 1 : 0); }

void I_FILE::i_write_i16(int v) {
  if (v < -32768 || v > 65535) if_fail(">> Value exceeds size of short");
  uint8_t b[2] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)};
  i_put(b, 2);
}

void I_FILE::i_write_u32(uint32_t v) {
  uint8_t b[4] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8),
                  static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 24)};
  i_put(b, 4);
}

void I_FILE::i_write_i32(int32_t v) { i_write_u32(static_cast<uint32_t>(v)); }

static uint32_t encode_uint(uint32_t v, uint8_t* out) {
  uint32_t n = 0;
  while (v > 0x7f) {
    out[n++] = static_cast<uint8_t>(v | 0x80);
    v >>= 7;
  }
  out[n++] = static_cast<uint8_t>(v);
  return n;
}

void I_FILE::i_write_uint(uint32_t v) {
  uint8_t b[5];
  i_put(b, encode_uint(v, b));
}

void I_FILE::i_write_sint(int32_t v) {
  uint8_t b[5];
  uint32_t n = 0;
  for (;;) {
    uint8_t low = static_cast<uint8_t>(v & 0x7f);
    v >>= 7;  // arithmetic
    if ((v == 0 && !(low & 0x40)) || (v == -1 && (low & 0x40))) {
      b[n++] = low;
      break;
    }
    b[n++] = low | 0x80;
  }
  i_put(b, n);
}

void I_FILE::i_write_string(const char* text, uint32_t n) {
  if (n == 0) {
    if (!text) text = "";
    i_put(text, static_cast<uint32_t>(strlen(text)) + 1);
  } else {
    i_put(text, n);
  }
}

void I_FILE::i_write_psn(const PSN* psn) {
  uint32_t file = psn && psn->file ? i_enter_file_name(psn->file) : 0;
  if (file == 0) {
    i_write_uint(0);
    return;
  }
  i_write_uint(file);
  i_write_uint(psn->line);
  i_write_uint(psn->col);
}

// The writer stages what goes to the stream, so that a record costs a copy
// rather than calls into stdio.
void I_FILE::i_stream_write(const void* data, size_t n) {
  if (n > kOutBuffer - out_len_) {
    i_out_drain();
    if (n >= kOutBuffer) {
      if (fwrite_unlocked(data, 1, n, stream) != n) stream_failed_ = true;
      pos_ += n;
      return;
    }
  }
  memcpy(out_buf_ + out_len_, data, n);
  out_len_ += static_cast<uint32_t>(n);
  pos_ += n;
}

void I_FILE::i_out_drain() {
  if (out_len_ && fwrite_unlocked(out_buf_, 1, out_len_, stream) != out_len_) stream_failed_ = true;
  out_len_ = 0;
}

void I_FILE::i_flush(int id) {
  uint8_t head[6];
  head[0] = static_cast<uint8_t>(id);
  uint32_t n = 1 + encode_uint(buffer_end, head + 1);
  i_stream_write(head, n);
  i_stream_write(buffer, buffer_end);
  buffer_end = 0;
}

void I_FILE::i_write_raw(const void* data, uint32_t n) { i_stream_write(data, n); }

void I_FILE::i_write_eof() {
  uint8_t b = IREC_EOF;
  i_stream_write(&b, 1);
}

// ---------------------------------------------------------------------------
// Header

void I_FILE::if_write_magic() {
  i_write_string(kMagic, 0);
  i_write_i16(version);
  // The cpu id travels from the file read; a file written from nothing
  // gets this system's own.
  i_write_i16(icode_cpu_id ? icode_cpu_id : ICODE_CPU_ID);
  i_write_u32(options_offset);
  i_write_u32(init_offset);
  i_write_u32(types_offset);
  i_write_u32(files_offset);
  i_write_u32(globals_offset);
  i_write_string(source_name, 0);
  if (version >= -83) i_write_u32(extra_word);
  i_flush(IREC_MAGIC);
}

// Any flaw in the header makes the file a stranger rather than a broken
// icode file: the answer is false, not an exit.
bool I_FILE::if_read_magic() {
  rec_start_ = static_cast<uint32_t>(pos_);
  rec_hdr_len_ = 0;
  if (i_getc() != IREC_MAGIC) return false;
  bool ok;
  uint32_t length = i_read_stream_uint(ok);
  const uint32_t fixed = sizeof kMagic + 2 + 2 + 5 * 4;
  if (!ok || length > image_end_ - pos_ || length < fixed + 1 || !i_load_body(length)) return false;
  if (memcmp(body_, kMagic, sizeof kMagic) != 0) return false;
  body_pos_ = sizeof kMagic;
  int v = i_read_s16();
  int cpu = i_read_s16();
  if (v < ICODE_OLDEST_VERSION || v > ICODE_VERSION || cpu != ICODE_CPU_ID) return false;
  version = v;
  options_offset = i_read_u32();
  init_offset = i_read_u32();
  types_offset = i_read_u32();
  files_offset = i_read_u32();
  globals_offset = i_read_u32();
  if (!memchr(body_ + body_pos_, 0, body_len_ - body_pos_)) return false;
  source_name = strdup(i_read_string(0));
  if (version >= -83) {
    if (i_body_left() < 4) return false;
    extra_word = i_read_u32();
  }
  icode_cpu_id = cpu;
  magic_end_ = static_cast<uint32_t>(pos_);
  return true;
}

// ---------------------------------------------------------------------------
// Option sets

void I_FILE::if_read_options() {
  if (!options_offset) return;
  uint32_t back = if_tell();
  if_seek(options_offset);
  for (;;) {
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id == IREC_EOF) break;
    if (id != IREC_OPTION_SET) if_bad_record();
    if_read_option_set();
  }
  if_seek(back);
}

void I_FILE::if_read_option_set() {
  uint32_t id = i_read_uint();
  uint32_t count = if_check_count(i_read_uint(), 1);
  char** texts = static_cast<char**>(if_alloc((count + 1) * sizeof(char*)));
  for (uint32_t i = 0; i < count; i++) texts[i] = if_strdup(i_read_string(0));
  texts[count] = nullptr;
  client->cl_option_set(id, count, texts);
}

void I_FILE::if_enter_option_set(uint32_t id, uint32_t count, const char* const* texts) {
  IF_OPTION_SET* o = new IF_OPTION_SET;
  o->id = id;
  o->count = count;
  o->texts = static_cast<char**>(calloc(count + 1, sizeof(char*)));
  if (!o->texts) if_fail(">> out of memory");
  for (uint32_t i = 0; i < count; i++) o->texts[i] = strdup(texts[i] ? texts[i] : "");
  if (options_tail)
    options_tail->next = o;
  else
    options = o;
  options_tail = o;
}

void I_FILE::if_write_all_options() {
  if (!options) return;
  options_offset = if_tell();
  for (IF_OPTION_SET* o = options; o; o = o->next) {
    i_write_uint(o->id);
    i_write_uint(o->count);
    for (uint32_t i = 0; i < o->count; i++) i_write_string(o->texts[i], 0);
    i_flush(IREC_OPTION_SET);
  }
  i_write_eof();
}

// ---------------------------------------------------------------------------
// File names

void I_FILE::if_read_file_names() {
  if (!files_offset) return;
  uint32_t back = if_tell();
  if_seek(files_offset);
  for (;;) {
    int id;
    uint32_t length;
    i_read_header(id, length);
    if (id != IREC_SOURCE) break;
    i_enter_file_name(i_read_string(0));
  }
  if_seek(back);
}

uint32_t I_FILE::i_enter_file_name(const char* name) {
  if (writing) {
    // Most names come again and again by the same pointer (the reader's
    // table); the text decides.
    auto hit = name_ptr_ids_.find(name);
    if (hit != name_ptr_ids_.end() && strcmp(file_names[hit->second], name) == 0) return hit->second;
    auto known = name_ids_.find(name);
    if (known != name_ids_.end()) {
      name_ptr_ids_[name] = known->second;
      return known->second;
    }
  }
  if (file_count + 1 >= file_capacity) grow_array(file_names, file_capacity, kFileNameStep);
  char* copy = zstrdup(0, name);
  file_names[++file_count] = copy;
  if (writing) {
    name_ids_.emplace(copy, file_count);
    name_ptr_ids_[name] = file_count;
  }
  return file_count;
}

uint32_t I_FILE::i_get_file_id(const char* name) {
  if (!name) return 0;
  if (writing) {
    auto known = name_ids_.find(name);
    return known == name_ids_.end() ? 0 : known->second;
  }
  for (uint32_t id = 1; id <= file_count; id++)
    if (file_names[id] == name || strcmp(file_names[id], name) == 0) return id;
  return 0;
}

const char* I_FILE::i_get_file_name(uint32_t id) const {
  return id == 0 || id > file_count ? nullptr : file_names[id];
}

void I_FILE::if_write_all_files() {
  if (file_count == 0) return;
  files_offset = if_tell();
  for (uint32_t id = 1; id <= file_count; id++) {
    i_write_string(file_names[id], 0);
    i_flush(IREC_SOURCE);
  }
  i_write_eof();
}

// ---------------------------------------------------------------------------
// Copying raw stretches

void I_FILE::if_copy_raw(uint32_t offset, uint32_t length, I_FILE* target) {
  if_seek(offset);
  while (length) {
    if (in_pos_ == in_len_ && !i_fill()) if_bad_record();
    uint32_t n = in_len_ - in_pos_;
    if (n > length) n = length;
    if (n > 8192) n = 8192;
    target->i_write_raw(in_buf_ + in_pos_, n);
    in_pos_ += n;
    pos_ += n;
    length -= n;
  }
}

void I_FILE::if_copy_symbols(I_FILE* target) {
  if (globals_offset) {
    if_seek(globals_offset);
    for (;;) {
      int id;
      uint32_t length;
      i_read_header(id, length);
      if (id == IREC_EOF) break;
      if (id == IREC_PRAGMA) {
        target->if_write_pragma(if_read_pragma());
      } else {
        target->i_write_raw(rec_hdr_, rec_hdr_len_);
        target->i_write_raw(body_, body_len_);
      }
    }
  }
  target->i_write_eof();
}

int I_FILE::if_extract_file(const char* name) {
  FILE* out = fopen(name, "wb");
  if (!out) return 0;
  uint32_t back = if_tell();
  I_FILE* target = if_create(out, nullptr, name);
  // The copy starts with this file's own header, whose offsets stay right
  // because everything up to the globals is copied as it stands.
  if (globals_offset) {
    target->if_seek(0);
    if_copy_raw(0, globals_offset, target);
  }
  if_copy_symbols(target);
  int failed = target->if_close(true, true);
  if_seek(back);
  return failed ? 0 : 1;
}
