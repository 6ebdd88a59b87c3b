// The assembler's side of the text: tokens, the parser object, and the type
// text it resolves to type ids. Internal to icode-as.
#pragma once
#include <map>
#include <set>

#include "tools/icode-text/itext.h"

enum IT_TK { TK_END, TK_NL, TK_IDENT, TK_KEY, TK_NUM, TK_STR, TK_POS, TK_PUNCT };

struct IT_TOKEN {
  IT_TK kind = TK_END;
  bool file_by_id = false;  // a position token that names its file by id
  int line = 0, col = 0;
  // Name, key, number text, string bytes, punctuation; a position's file name.
  std::string text;
  uint32_t file_id = 0, pline = 0, pcol = 0;  // a position token's numbers
};

// Splits text into tokens; newlines count only outside parentheses.
std::vector<IT_TOKEN> it_lex(const std::string& text, const std::string& file);
std::string it_error_text(const std::string& file, int line, int col, const std::string& what);

// A type as written in text, before it is given an id.
struct IT_TYPE_TEXT {
  enum KIND { S_ID, S_BASIC, S_TAG, S_TYPEDEF, S_PTR, S_REF, S_QUAL, S_ARRAY, S_FUNC } k = S_ID;
  uint32_t id = 0;
  int code = 0;        // S_BASIC
  bool sign = false;   // S_BASIC: "signed char"
  int tag = 0;         // S_TAG: 0 struct, 1 union, 2 class, 3 enum
  std::string name;    // S_TAG, S_TYPEDEF
  int64_t count = 0;   // S_ARRAY: elements; S_QUAL: bits
  bool complete = true;
  bool variadic = false, proto = true;  // S_FUNC
  std::vector<IT_TYPE_TEXT> sub;  // the part (result first for S_FUNC, then parameters)
  const IT_TOKEN* at = nullptr;
};

// A line (or a block of lines) of text, by what it is about: the tokens
// from `begin` up to the newline or end at `end`.
struct IT_ITEM {
  enum KIND { HEADER, FILES, OPTIONS, TYPE, TYPE_ELEM, TYPE_CLOSE, DECL, GLOBAL, RAW, INIT, CODE } kind;
  size_t begin = 0, end = 0;
  uint32_t owner = 0;     // TYPE_ELEM, TYPE_CLOSE: the type of the open list
  int64_t list_kind = 0;  // TYPE_CLOSE: the kind of the open list
};

class IT_PARSER {
 public:
  IT_PARSER(const std::string& file, IT_MODEL& m) : file_(file), m_(m), types_(m) {}
  void run(const std::string& text);

  // ---- Cursor over one item; behind its last token it sees an end token.
  struct CUR {
    CUR(const std::vector<IT_TOKEN>& toks, const IT_ITEM& item, size_t skip)
        : t(&toks), i(item.begin + skip), limit(item.end), end_tok(toks[item.end]) {
      end_tok.kind = TK_END;
      if (i > limit) i = limit;
    }
    CUR(const CUR&) = delete;
    CUR& operator=(const CUR&) = delete;
    const std::vector<IT_TOKEN>* t;
    size_t i, limit;
    IT_TOKEN end_tok;
    const IT_TOKEN& peek(size_t k = 0) const { return i + k < limit ? (*t)[i + k] : end_tok; }
    const IT_TOKEN& next() {
      const IT_TOKEN& tok = peek();
      if (i < limit) i++;
      return tok;
    }
    bool punct(const char* p, size_t k = 0) const {
      return peek(k).kind == TK_PUNCT && peek(k).text == p;
    }
    bool ident(const char* w, size_t k = 0) const {
      return peek(k).kind == TK_IDENT && peek(k).text == w;
    }
    bool end() const { return peek().kind == TK_END; }
  };
  [[noreturn]] void fail(const IT_TOKEN& at, const std::string& what) const;
  void expect(CUR& c, const char* punct, const char* what);
  void expect_end(CUR& c);
  void skip_nl(CUR& c);
  int64_t number(CUR& c, IT_KIND kind, const char* what);
  int64_t number_in(CUR& c, int64_t lo, int64_t hi, const char* what);
  std::string string_or_ident(CUR& c, const char* what);
  IT_BYTES hex(const IT_TOKEN& tok);
  IT_VAL value(CUR& c, IT_KIND kind, const char* what);
  IT_PSN psn(const IT_TOKEN& tok);

 private:
  // ---- Splitting and the passes over the items (it_parse.cpp).
  void split();
  void header_item(const IT_ITEM& it);
  void files_item(const IT_ITEM& it);
  void options_item(const IT_ITEM& it);
  void raw_item(const IT_ITEM& it, std::vector<IT_REC>& section);
  void type_item(const IT_ITEM& it);
  void type_record(CUR& c, uint32_t owner);
  void fields(CUR& c, int code, const std::vector<IT_FIELD>& layout, std::vector<IT_VAL>& vals,
              std::vector<bool>& given, bool* long_form);
  void global_items();
  IT_REC symbol(CUR& c, int default_class, bool global);
  void init_item(const IT_ITEM& it);
  void code_items();
  void code_item(const IT_ITEM& it);
  void generic_record(CUR& c, const IT_RECORD_LAYOUT& l, IT_REC& r);
  void new_function_scope(uint32_t function_type);

  // ---- Type text (it_typetext.cpp).
 public:
  bool type_start(const IT_TOKEN& t) const;
  IT_TYPE_TEXT parse_type(CUR& c);
  uint32_t resolve(const IT_TYPE_TEXT& s);
  uint32_t type_ref(CUR& c);  // a type in text, or "-" for none
  uint32_t pointer_to(uint32_t id, const IT_TOKEN& at);

 private:
  IT_TYPE_TEXT parse_base(CUR& c);
  uint32_t find_or_make(const std::string& name, const IT_TYPE_TEXT& s);
  uint32_t make_type(const IT_TYPE_TEXT& s);
  size_t make_record(uint32_t id, int code, const std::vector<std::pair<const char*, IT_VAL>>& set);
  void set_field(IT_REC& r, const char* key, int64_t v);
  void list_frame(uint32_t owner, int code, int kind);
  void decl_items();
  void layout_csu(size_t decl);

  struct DECL {
    const IT_ITEM* item;
    uint32_t id = 0;
    int tag = 0;
    bool done = false, visiting = false;
    size_t body = 0;    // token index of the member list
    size_t record = 0;  // index of its type record
  };
  std::vector<DECL> decls_;
  std::map<uint32_t, size_t> pending_;  // type id to its declaration

  // ---- Trees and symbols (it_tree.cpp).
 public:
  std::unique_ptr<IT_NODE> parse_node(CUR& c);
  // A symbol reference; `type` gets the symbol's type (0 for none or unknown).
  void symref(CUR& c, int64_t& level, int64_t& index, uint32_t& type, bool& none, bool& level_known);
  bool global_by_name(const std::string& name, int64_t& index, const IT_TOKEN& at, bool must);

 private:
  uint32_t infer(const IT_NODE& n, const IT_TOKEN& at);

  struct SYM {
    std::string name;
    uint32_t type = 0;
    int level = 0;
    bool known = true;
  };

  std::string file_;
  IT_MODEL& m_;
  IT_TYPES types_;
  std::vector<IT_TOKEN> toks_;
  std::vector<IT_ITEM> items_;
  const IT_TOKEN& tok(const IT_ITEM& it, size_t k) const {
    return it.begin + k < it.end ? toks_[it.begin + k] : toks_[it.end];
  }
  size_t length(const IT_ITEM& it) const { return it.end - it.begin; }
  std::vector<SYM> globals_;
  std::vector<SYM> locals_;
  std::map<std::string, std::vector<size_t>> global_names_;  // name to the globals of it
  std::map<std::string, size_t> latest_local_;               // name to the latest local of it
  void add_global(const SYM& s) {
    if (s.known) global_names_[s.name].push_back(globals_.size());
    globals_.push_back(s);
  }
  void add_local(const SYM& s) {
    if (s.known) latest_local_[s.name] = locals_.size();
    locals_.push_back(s);
  }
  void clear_locals() {
    locals_.clear();
    latest_local_.clear();
  }
  int depth_ = 0;
  uint32_t tree_depth_ = 0;  // trees open in parse_node
  uint32_t func_type_ = 0;
};
