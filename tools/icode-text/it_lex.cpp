// Tokens of the icode text. Lines matter (one record a line), except inside
// parentheses, where a tree may go on over several lines.
#include <cctype>
#include <cstring>

#include "tools/icode-text/it_parse.h"

std::string it_error_text(const std::string& file, int line, int col, const std::string& what) {
  return file + ":" + std::to_string(line) + ":" + std::to_string(col) + ": error: " + what;
}

namespace {

class LEXER {
 public:
  LEXER(const std::string& text, const std::string& file) : s_(text), file_(file) {}

  std::vector<IT_TOKEN> run() {
    std::vector<IT_TOKEN> out;
    int depth = 0;
    for (;;) {
      skip_blank();
      IT_TOKEN t;
      t.line = line_;
      t.col = col();
      if (p_ >= s_.size()) {
        t.kind = TK_END;
        out.push_back(t);
        return out;
      }
      char c = s_[p_];
      if (c == '\n') {
        advance();
        if (depth == 0) {
          t.kind = TK_NL;
          out.push_back(t);
        }
        continue;
      }
      if (c == '"') {
        t.kind = TK_STR;
        t.text = string();
      } else if (c == '@') {
        advance();
        position(t);
      } else if (starts_number()) {
        t.kind = TK_NUM;
        t.text = number();
      } else if (isalpha(static_cast<unsigned char>(c)) || c == '_' || c == '$') {
        size_t start = p_;
        while (p_ < s_.size() && (isalnum(static_cast<unsigned char>(s_[p_])) || s_[p_] == '_' ||
                                  s_[p_] == '$' || s_[p_] == '.'))
          advance();
        t.text = s_.substr(start, p_ - start);
        t.kind = TK_IDENT;
        if (p_ < s_.size() && s_[p_] == '=') {
          advance();
          t.kind = TK_KEY;
        }
      } else if (s_.compare(p_, 3, "...") == 0) {
        t.kind = TK_PUNCT;
        t.text = "...";
        advance(3);
      } else if (s_.compare(p_, 2, "::") == 0) {
        t.kind = TK_PUNCT;
        t.text = "::";
        advance(2);
      } else if (strchr("(){}[]*&,:#-=", c)) {
        t.kind = TK_PUNCT;
        t.text = std::string(1, c);
        if (c == '(') depth++;
        if (c == ')' && depth > 0) depth--;
        advance();
      } else {
        fail(std::string("unexpected character '") + (isprint(static_cast<unsigned char>(c)) ? std::string(1, c) : "?") + "'");
      }
      out.push_back(t);
    }
  }

 private:
  int col() const { return static_cast<int>(p_ - line_start_) + 1; }
  void advance(size_t n = 1) {
    for (size_t i = 0; i < n && p_ < s_.size(); i++) {
      if (s_[p_] == '\n') {
        line_++;
        line_start_ = p_ + 1;
      }
      p_++;
    }
  }
  [[noreturn]] void fail(const std::string& what) const {
    throw IT_ERROR(it_error_text(file_, line_, col(), what));
  }
  void skip_blank() {
    while (p_ < s_.size()) {
      char c = s_[p_];
      if (c == ' ' || c == '\t' || c == '\r') {
        advance();
      } else if (c == ';') {
        while (p_ < s_.size() && s_[p_] != '\n') advance();
      } else {
        break;
      }
    }
  }
  bool starts_number() const {
    auto digit = [&](size_t q) { return q < s_.size() && isdigit(static_cast<unsigned char>(s_[q])); };
    char c = s_[p_];
    if (isdigit(static_cast<unsigned char>(c))) return true;
    if (c == '.') return digit(p_ + 1);
    if (c == '-') return digit(p_ + 1) || (p_ + 2 < s_.size() && s_[p_ + 1] == '.' && digit(p_ + 2));
    return false;
  }
  std::string number() {
    size_t start = p_;
    advance();
    while (p_ < s_.size()) {
      char c = s_[p_];
      if (isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.') {
        advance();
      } else if ((c == '+' || c == '-') && strchr("eEpP", s_[p_ - 1])) {
        advance();
      } else {
        break;
      }
    }
    return s_.substr(start, p_ - start);
  }
  std::string string() {
    int line = line_, column = col();
    advance();  // the quote
    std::string out;
    for (;;) {
      if (p_ >= s_.size() || s_[p_] == '\n')
        throw IT_ERROR(it_error_text(file_, line, column, "the string has no closing quote"));
      char c = s_[p_];
      if (c == '"') {
        advance();
        return out;
      }
      if (c != '\\') {
        out += c;
        advance();
        continue;
      }
      advance();
      if (p_ >= s_.size()) throw IT_ERROR(it_error_text(file_, line, column, "the string has no closing quote"));
      char e = s_[p_];
      advance();
      switch (e) {
        case 'n': out += '\n'; break;
        case 't': out += '\t'; break;
        case 'r': out += '\r'; break;
        case '0': out += '\0'; break;
        case '\\': out += '\\'; break;
        case '"': out += '"'; break;
        case 'x': {
          int v = 0;
          for (int i = 0; i < 2; i++) {
            if (p_ >= s_.size() || !isxdigit(static_cast<unsigned char>(s_[p_])))
              fail("expected two hex digits after \\x");
            char h = s_[p_];
            v = v * 16 + (isdigit(static_cast<unsigned char>(h)) ? h - '0' : (tolower(h) - 'a' + 10));
            advance();
          }
          out += static_cast<char>(v);
          break;
        }
        default:
          fail(std::string("unknown escape \\") + e);
      }
    }
  }
  // "@file:line:col", the file as a plain word, a string or "#id".
  void position(IT_TOKEN& t) {
    t.kind = TK_POS;
    if (p_ < s_.size() && s_[p_] == '"') {
      t.text = string();
    } else if (p_ < s_.size() && s_[p_] == '#') {
      advance();
      t.file_by_id = true;
      t.file_id = static_cast<uint32_t>(digits("expected a file id after @#"));
    } else {
      size_t start = p_;
      while (p_ < s_.size() && !strchr(": \t\r\n;\"", s_[p_])) advance();
      t.text = s_.substr(start, p_ - start);
      if (t.text.empty()) fail("expected a position FILE:LINE:COL after @");
    }
    if (p_ >= s_.size() || s_[p_] != ':') fail("expected ':' and a line number in the position");
    advance();
    t.pline = static_cast<uint32_t>(digits("expected a line number in the position"));
    if (p_ >= s_.size() || s_[p_] != ':') fail("expected ':' and a column number in the position");
    advance();
    t.pcol = static_cast<uint32_t>(digits("expected a column number in the position"));
  }
  uint64_t digits(const char* what) {
    if (p_ >= s_.size() || !isdigit(static_cast<unsigned char>(s_[p_]))) fail(what);
    uint64_t v = 0;
    while (p_ < s_.size() && isdigit(static_cast<unsigned char>(s_[p_]))) {
      v = v * 10 + static_cast<uint64_t>(s_[p_] - '0');
      if (v > 0xffffffffu) fail("the number is too large");
      advance();
    }
    return v;
  }

  const std::string& s_;
  const std::string& file_;
  size_t p_ = 0;
  int line_ = 1;
  size_t line_start_ = 0;
};

}  // namespace

std::vector<IT_TOKEN> it_lex(const std::string& text, const std::string& file) {
  return LEXER(text, file).run();
}
