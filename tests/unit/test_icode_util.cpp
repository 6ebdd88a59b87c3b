// Helpers of the icode tests: tree text, the logging and copying clients and
// the fixture.
#include "ir/mmgt.h"
#include "test_icode_util.h"

#include <new>
#include <string>

namespace icode_test {

static std::string psn_text(const PSN* p) {
  if (!p) return "-";
  return std::string(p->file ? p->file : "?") + ":" + std::to_string(p->line) + ":" + std::to_string(p->col);
}

// A short structural name, so that expectations do not hang on printstr.
static std::string type_text(const TYPE* t) {
  if (!t) return "-";
  auto sub = [](const TYPE* x) { return static_cast<const TYPE*>(x->subpart); };
  switch (t->kind) {
    case TYPE::KIND_VOID: return "void";
    case TYPE::KIND_INTEGRAL: return "i" + std::to_string(t->ikind);
    case TYPE::KIND_FLOATING: return "f" + std::to_string(t->fkind);
    case TYPE::KIND_POINTER: return type_text(sub(t)) + "*";
    case TYPE::KIND_REFERENCE: return type_text(sub(t)) + "&";
    case TYPE::KIND_QUALIFIED: return type_text(sub(t)) + "{q" + std::to_string(t->subpart2) + "}";
    case TYPE::KIND_TYPEDEF: return "typedef " + t->name;
    case TYPE::KIND_ARRAY: return type_text(t->getr_array()->elem) + "[" + std::to_string(t->getr_array()->count) + "]";
    case TYPE::KIND_FUNCTION: return type_text(t->getr_func()->result) + "()";
    case TYPE::KIND_ENUM: return "enum " + t->name;
    case TYPE::KIND_CLASS: return "class " + t->name;
    case TYPE::KIND_STRUCT: return "struct " + t->name;
    case TYPE::KIND_UNION: return "union " + t->name;
    default: return "kind" + std::to_string(t->kind);
  }
}

static std::string quoted(const char* p, uint32_t n) {
  std::string s = "\"";
  for (uint32_t i = 0; i < n; i++) {
    if (p[i] == 0)
      s += "\\0";
    else
      s += p[i];
  }
  return s + "\"";
}

std::string tree_text(NODE* n, int depth) {
  if (!n) return "nil";
  // The deepest trees a file may hold would overflow the stack here (the
  // sanitizers' frames are large); nothing compares that far down.
  if (depth > 1000) return "...";
  std::string s = "(";
  s += n->op >= 0 && n->op <= 200 && if_node_info[n->op].name ? if_node_info[n->op].name
                                                                : std::to_string(n->op);
  switch (n->op) {
    case NAME:
      s += std::string(" ") + (n->name_symbol() ? n->name_symbol()->name : "-");
      break;
    case ICON:
      s += " " + std::to_string(n->icon_svalue());
      break;
    case LABEL:
      s += " L" + std::to_string(n->label_id());
      break;
    case SCON:
      s += " " + quoted(n->scon_value(), n->scon_length());
      break;
    case FIELD:
      s += " ." + (n->field_mval() ? n->field_mval()->name : std::string("?"));
      break;
    case CALL:
      s += " v" + std::to_string(n->call_num_vargs()) + " a" + std::to_string(n->eh_entry_id());
      break;
    case UCALL:
      s += " a" + std::to_string(n->eh_entry_id());
      break;
    case SWITCH:
      s += " #" + std::to_string(n->case_count());
      break;
    case SKIP:
      s += " " + std::to_string(n->skip_count());
      break;
    case EPVAL:
      s += " p" + std::to_string(static_cast<long>(n->get_edge_profile_value()));
      break;
    case ICALL:
    case UICALL:
    case MCALL:
    case UMCALL:
      s += std::string(" ") + n->icall_name();
      break;
    default:
      break;
  }
  if (n->left) s += " " + tree_text(n->left, depth + 1);
  if (n->right) s += " " + tree_text(n->right, depth + 1);
  return s + ")";
}

// ---------------------------------------------------------------------------
// LOG_CLIENT

std::string LOG_CLIENT::joined() const {
  std::string s;
  for (const std::string& line : log) s += line + "\n";
  return s;
}

SYMTAB* LOG_CLIENT::make_symbol(const char* name, TYPE* type, TYPE* type2, uint32_t size,
                                uint32_t align, uint32_t offset, int sclass, int qualifier, PSN* psn,
                                uint32_t file_offset, uint32_t option_set) {
  SYMTAB* s = new (zalloc0(0, sizeof(SYMTAB))) SYMTAB;
  s->name = zstrdup(0, name);
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
  symbols.push_back(s);
  return s;
}

bool LOG_CLIENT::cl_magic(int version, int cpu) {
  note("magic " + std::to_string(version) + " " + std::to_string(cpu));
  return true;
}

void LOG_CLIENT::cl_source(const char* name) { note(std::string("source ") + name); }

void LOG_CLIENT::cl_option_set(uint32_t id, uint32_t count, char** texts) {
  std::string s = "options " + std::to_string(id) + ":";
  for (uint32_t i = 0; i < count; i++) s += std::string(" ") + texts[i];
  note(s);
}

SYMTAB* LOG_CLIENT::cl_symbol_create(const char* name, TYPE* type, TYPE* type2, uint32_t size,
                                     uint32_t align, uint32_t offset, int sclass, int qualifier,
                                     PSN* psn, uint32_t file_offset, uint32_t option_set) {
  note(std::string("symbol ") + name + " " + type_text(type) + " / " + type_text(type2) + " size=" +
       std::to_string(size) + " align=" + std::to_string(align) + " off=" + std::to_string(offset) +
       " class=" + std::to_string(sclass) + " qual=" + std::to_string(qualifier) + " fo=" +
       std::to_string(file_offset) + " set=" + std::to_string(option_set) + " @" + psn_text(psn));
  return make_symbol(name, type, type2, size, align, offset, sclass, qualifier, psn, file_offset,
                     option_set);
}

void LOG_CLIENT::cl_symbol_def(SYMTAB* sym) {
  note(std::string("def ") + sym->name + " " + std::to_string(sym->file_level) + ":" +
       std::to_string(sym->file_index));
}

void LOG_CLIENT::cl_symbol_init(SYMTAB* sym, EXPR_LIST* list) {
  std::string s = std::string("init ") + sym->name + ":";
  for (EXPR_ELEM* e = list->head; e; e = e->next) s += " " + tree_text(e->tree);
  note(s);
  inits.emplace_back(sym, list);
}

void LOG_CLIENT::cl_pragma(SYMTAB* sym, PRAGMA* pragma) {
  std::string s = std::string("pragma ") + (sym ? sym->name : "-") + " " + std::to_string(pragma->id);
  for (uint32_t i = 0; i < pragma->argc; i++) s += std::string(" ") + pragma->argv[i];
  note(s);
  if (sym) {
    PRAGMA** link = &sym->pragmas;
    while (*link) link = &(*link)->next;
    *link = pragma;
  }
}

void LOG_CLIENT::cl_func_info(int value) { note("info " + std::to_string(value)); }
void LOG_CLIENT::cl_begin_func(SYMTAB* sym, PSN* psn) {
  lex = 1;
  note(std::string("begin ") + sym->name + " @" + psn_text(psn));
}
void LOG_CLIENT::cl_end_args(PSN* psn) { note("end args @" + psn_text(psn)); }
void LOG_CLIENT::cl_end_locals(PSN* psn) { note("end locals @" + psn_text(psn)); }
void LOG_CLIENT::cl_begin_block(PSN* psn) { note("block @" + psn_text(psn)); }
void LOG_CLIENT::cl_end_block(PSN* psn) { note("end block @" + psn_text(psn)); }
void LOG_CLIENT::cl_expr(NODE* tree, PSN* psn) { note("expr @" + psn_text(psn) + " " + tree_text(tree)); }
void LOG_CLIENT::cl_label(uint32_t id) { note("label " + std::to_string(id)); }
void LOG_CLIENT::cl_comment(const char* text) { note(std::string("comment ") + text); }
void LOG_CLIENT::cl_inline_asm(const char* text, PSN* psn) {
  note(std::string("asm ") + text + " @" + psn_text(psn));
}
void LOG_CLIENT::cl_end_func(PSN* psn) {
  lex = 0;
  note("end @" + psn_text(psn));
}

void LOG_CLIENT::cl_func_eht(EHT_ENTRY* entries, uint32_t count) {
  std::string s = "eht " + std::to_string(count);
  for (uint32_t i = 0; i < count; i++) {
    const EHT_ENTRY& e = entries[i];
    s += " [" + std::to_string(e.id) + " k" + std::to_string(e.kind) + " " + std::to_string(e.a) + " " +
         std::to_string(e.b);
    if (e.tree) s += " " + tree_text(e.tree);
    if (e.kind == EHT_KIND_CATCH)
      for (uint32_t j = 0; j < e.b; j++)
        s += std::string(" ") + e.catches[j].type_name + "/" + std::to_string(e.catches[j].number) + "/" +
             std::to_string(e.catches[j].flag);
    s += "]";
  }
  note(s);
}

static std::string words(const uint32_t* w, int n) {
  std::string s;
  for (int i = 0; i < n; i++) s += " " + std::to_string(w[i]);
  return s;
}

static std::string sym_name(const SYMTAB* s) { return s ? s->name : "-"; }

void LOG_CLIENT::cl_loop_def(const uint32_t* w, int16_t value) {
  note("loop" + words(w, 5) + " " + std::to_string(value));
}
void LOG_CLIENT::cl_loop_header(uint32_t word, SYMTAB* sym, int8_t value) {
  note("inloop " + std::to_string(word) + " " + sym_name(sym) + " " + std::to_string(value));
}
void LOG_CLIENT::cl_dd_vector(const IF_DD_PAIR* entries, uint32_t a, int8_t b, int8_t count) {
  std::string s = "ddvec " + std::to_string(a) + " " + std::to_string(b);
  for (int i = 0; i < count; i++)
    s += " " + std::to_string(entries[i].level) + "/" + std::to_string(entries[i].distance);
  note(s);
}
void LOG_CLIENT::cl_dd_edge(const uint32_t* w) { note("ddedge" + words(w, 3)); }
void LOG_CLIENT::cl_mbank(const uint32_t* w) { note("mbank" + words(w, 5)); }
void LOG_CLIENT::cl_ldspec_induct(uint32_t word, uint32_t a, int32_t b, TYPE* type, SYMTAB* sym) {
  note("ldspec0 " + std::to_string(word) + " " + std::to_string(a) + " " + std::to_string(b) + " " +
       type_text(type) + " " + sym_name(sym));
}
void LOG_CLIENT::cl_ldspec_rand(uint32_t word, uint32_t a, uint32_t b, TYPE* type, SYMTAB* sym) {
  note("ldspec1 " + std::to_string(word) + " " + std::to_string(a) + " " + std::to_string(b) + " " +
       type_text(type) + " " + sym_name(sym));
}
void LOG_CLIENT::cl_ldspec_region(uint32_t word, uint32_t a) {
  note("ldspec2 " + std::to_string(word) + " " + std::to_string(a));
}
void LOG_CLIENT::cl_ir_begin_func(uint32_t a, int32_t b, int8_t c, uint32_t d, PSN* psn) {
  note("irbegin " + std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c) + " " +
       std::to_string(d) + " @" + psn_text(psn));
}
void LOG_CLIENT::cl_ir_end_func(PSN* psn) { note("irend @" + psn_text(psn)); }
void LOG_CLIENT::cl_ir_ins(PSN* psn, const uint8_t*, uint32_t length) {
  note("irins @" + psn_text(psn) + " " + std::to_string(length));
}

// ---------------------------------------------------------------------------
// COPY_CLIENT

void COPY_CLIENT::finish() {
  for (auto& init : inits) {
    out->if_write_init(init.first);
    for (EXPR_ELEM* e = init.second->head; e; e = e->next) out->if_write_expr_node(e->tree);
  }
}

// Types that equal types of an earlier reading only once their own lists
// are complete give way now.
void COPY_CLIENT::cl_merge_type_defs() { in->if_merge_type_defs(); }

// Option sets come with the header, before the output exists.
void COPY_CLIENT::cl_option_set(uint32_t id, uint32_t count, char** texts) {
  LOG_CLIENT::cl_option_set(id, count, texts);
  option_sets.emplace_back(id, std::vector<const char*>(texts, texts + count));
}

void COPY_CLIENT::cl_symbol_def(SYMTAB* sym) {
  LOG_CLIENT::cl_symbol_def(sym);
  if (!in_body) {
    out->if_enter_global(sym);
    return;
  }
  out->if_enter_local(sym);
  out->if_write_symbol(sym);
}

void COPY_CLIENT::cl_pragma(SYMTAB* sym, PRAGMA* pragma) {
  LOG_CLIENT::cl_pragma(sym, pragma);
  if (!sym) out->if_write_pragma(pragma);
}

void COPY_CLIENT::cl_source(const char* name) {
  LOG_CLIENT::cl_source(name);
  if (in_body) out->if_write_source(name);
}

void COPY_CLIENT::cl_func_info(int value) { out->if_write_func_info(value); }
void COPY_CLIENT::cl_begin_func(SYMTAB* sym, PSN* psn) {
  LOG_CLIENT::cl_begin_func(sym, psn);
  in_body = true;
  out->if_write_begin_func(sym, psn);
}
void COPY_CLIENT::cl_end_args(PSN* psn) { out->if_write_end_args(psn); }
void COPY_CLIENT::cl_end_locals(PSN* psn) { out->if_write_end_locals(psn); }
void COPY_CLIENT::cl_begin_block(PSN* psn) { out->if_write_begin_block(psn); }
void COPY_CLIENT::cl_end_block(PSN* psn) { out->if_write_end_block(psn); }
void COPY_CLIENT::cl_expr(NODE* tree, PSN* psn) { out->if_write_expr(tree, psn); }
void COPY_CLIENT::cl_label(uint32_t id) { out->if_write_label(id); }
void COPY_CLIENT::cl_comment(const char* text) { out->if_write_comment(text); }
void COPY_CLIENT::cl_inline_asm(const char* text, PSN* psn) { out->if_write_assembly(text, psn); }
void COPY_CLIENT::cl_end_func(PSN* psn) {
  LOG_CLIENT::cl_end_func(psn);
  in_body = false;
  out->if_write_end_func(psn);
}
void COPY_CLIENT::cl_func_eht(EHT_ENTRY* entries, uint32_t count) { out->if_write_func_eht(entries, count); }
void COPY_CLIENT::cl_loop_def(const uint32_t* w, int16_t value) { out->if_write_loop(w, value); }
void COPY_CLIENT::cl_loop_header(uint32_t word, SYMTAB* sym, int8_t value) {
  out->if_write_inloop(word, sym, value);
}
void COPY_CLIENT::cl_dd_vector(const IF_DD_PAIR* entries, uint32_t a, int8_t b, int8_t count) {
  out->if_write_dep_vector(entries, a, b, count);
}
void COPY_CLIENT::cl_dd_edge(const uint32_t* w) { out->if_write_dep_edge(w); }
void COPY_CLIENT::cl_mbank(const uint32_t* w) { out->if_write_mbank(w); }
void COPY_CLIENT::cl_ldspec_induct(uint32_t word, uint32_t a, int32_t b, TYPE* type, SYMTAB* sym) {
  out->if_write_ldspec_induct(word, a, b, type, sym);
}
void COPY_CLIENT::cl_ldspec_rand(uint32_t word, uint32_t a, uint32_t b, TYPE* type, SYMTAB* sym) {
  out->if_write_ldspec_rand(word, a, b, type, sym);
}
void COPY_CLIENT::cl_ldspec_region(uint32_t word, uint32_t a) { out->if_write_ldspec_region(word, a); }
void COPY_CLIENT::cl_ir_begin_func(uint32_t a, int32_t b, int8_t c, uint32_t d, PSN* psn) {
  in_body = true;
  out->if_write_ir_begin_func(a, b, c, d, psn);
}
void COPY_CLIENT::cl_ir_end_func(PSN* psn) {
  in_body = false;
  out->if_write_ir_end_func(psn);
}
void COPY_CLIENT::cl_ir_ins(PSN* psn, const uint8_t* data, uint32_t length) {
  out->if_write_ir_ins(psn, data, length);
}

// ---------------------------------------------------------------------------
// Fixture

void IcodeTest::SetUp() {
  saved_tp = tp;
  saved_root = TYPE_PKG::root_type;
  TYPE_PKG::root_type = nullptr;
  pkg = new TYPE_PKG();
  tp = pkg;
  pkg->init_type_pkg();
  icode_cpu_id = 0;
  lex = 0;
  currfuninfo = &funinfo;
}

void IcodeTest::TearDown() {
  currfuninfo = nullptr;
  lex = 0;
  delete_type_tree(TYPE_PKG::root_type, true, false);
  delete pkg;
  pkg = nullptr;
  TYPE_PKG::root_type = saved_root;
  tp = saved_tp;
}

bool IcodeTest::read_file(const BYTES& bytes, IF_CLIENT* client) {
  I_FILE* f = I_FILE::if_open(stream_of(bytes), client);
  if (!f) return false;
  f->if_type_init(pkg);
  f->if_read_file();
  EXPECT_EQ(f->if_close(true, false), 0);
  return true;
}

BYTES IcodeTest::copy_file(const BYTES& bytes) {
  std::string path = temp_path();
  COPY_CLIENT copier;
  I_FILE* in = I_FILE::if_open(stream_of(bytes), &copier);
  EXPECT_NE(in, nullptr);
  if (!in) return {};
  in->if_type_init(pkg);
  copier.in = in;
  copier.out = I_FILE::if_create(fopen(path.c_str(), "wb"), pkg, in->source_name);
  for (auto& set : copier.option_sets)
    copier.out->if_enter_option_set(set.first, static_cast<uint32_t>(set.second.size()), set.second.data());
  in->if_read_file();
  copier.finish();
  EXPECT_EQ(copier.out->if_close(false, false), 0);
  EXPECT_EQ(in->if_close(true, false), 0);
  BYTES out = read_all(path);
  remove(path.c_str());
  return out;
}

}  // namespace icode_test
