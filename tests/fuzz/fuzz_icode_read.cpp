// Fuzz target: the readers of icode files on arbitrary bytes, in a child
// process, since both end the process on a bad file: the text tools' reader
// and printer (icode-dis), then zopt's file layer with a client that keeps
// nothing.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "driver/globals.h"
#include "icode/if_client.h"
#include "icode/if_file.h"
#include "ir/opt_expr.h"
#include "ir/symbol.h"
#include "ir/types.h"
#include "tests/fuzz/fuzz_fork.h"
#include "tools/icode-text/itext.h"

namespace {

class NULL_CLIENT : public IF_CLIENT {
 public:
  SYMTAB* cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size, uint32_t align,
                           uint32_t offset, int sclass, int qualifier, PSN* psn, uint32_t file_offset,
                           uint32_t option_set) override {
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

std::string write_input(const uint8_t* data, size_t size) {
  std::string path = std::string(fuzz_scratch_dir()) + "/in.icode";
  FILE* f = fopen(path.c_str(), "wb");
  if (!f || fwrite(data, 1, size, f) != size || fclose(f) != 0) {
    perror("fuzz: writing the input");
    abort();
  }
  return path;
}

int read_with_file_layer(const std::string& path) {
  FILE* in = fopen(path.c_str(), "rb");
  if (!in) return 0;
  init_opcode_tables();
  tp = new TYPE_PKG();
  tp->init_type_pkg();
  FUNINFO funinfo;
  currfuninfo = &funinfo;
  NULL_CLIENT client;
  I_FILE* f = I_FILE::if_open(in, &client);
  if (!f) return 0;  // not icode: refused without a word
  f->if_type_init(tp);
  f->if_read_file();
  f->if_close(true, false);
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string path = write_input(data, size);
  fuzz_in_child([&] {
    IT_MODEL model;
    std::string error;
    std::vector<std::string> warnings;
    if (it_read_file(path.c_str(), model, error, warnings)) it_print(model);
    return read_with_file_layer(path);
  });
  return 0;
}
