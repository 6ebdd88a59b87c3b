// Small helpers of the text tools: quoting, hex, identifiers, the base-128
// encodings used to judge whether a decoded field is in canonical form, and
// the value fields of each operator.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "tools/icode-text/itext.h"

std::string it_quote(const std::string& bytes) {
  std::string out = "\"";
  for (unsigned char c : bytes) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c >= 0x20 && c < 0x7f) {
          out += static_cast<char>(c);
        } else {
          char buf[8];
          snprintf(buf, sizeof buf, "\\x%02x", c);
          out += buf;
        }
    }
  }
  return out + "\"";
}

std::string it_hex(const IT_BYTES& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (uint8_t b : bytes) {
    out += digits[b >> 4];
    out += digits[b & 15];
  }
  return out;
}

bool it_is_ident(const std::string& s) {
  if (s.empty()) return false;
  char c = s[0];
  if (!(isalpha(static_cast<unsigned char>(c)) || c == '_' || c == '$')) return false;
  for (char d : s)
    if (!(isalnum(static_cast<unsigned char>(d)) || d == '_' || d == '$' || d == '.')) return false;
  return true;
}

// The lexer's number: a digit (after an optional '-', or a '.'), then
// letters, digits, '_' and '.', and a sign only right after an exponent
// letter.
bool it_number_like(const std::string& s) {
  size_t i = 0;
  if (i < s.size() && s[i] == '-') i++;
  if (i >= s.size()) return false;
  bool lead = isdigit(static_cast<unsigned char>(s[i])) ||
              (s[i] == '.' && i + 1 < s.size() && isdigit(static_cast<unsigned char>(s[i + 1])));
  if (!lead) return false;
  for (size_t j = i; j < s.size(); j++) {
    char c = s[j];
    if (isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.') continue;
    if ((c == '+' || c == '-') && j > i && strchr("eEpP", s[j - 1])) continue;
    return false;
  }
  return true;
}

uint32_t it_uint_size(uint32_t v) {
  uint32_t n = 1;
  while (v > 0x7f) {
    v >>= 7;
    n++;
  }
  return n;
}

void it_put_uint(IT_BYTES& out, uint32_t v) {
  while (v > 0x7f) {
    out.push_back(static_cast<uint8_t>(v | 0x80));
    v >>= 7;
  }
  out.push_back(static_cast<uint8_t>(v));
}

void it_put_sint(IT_BYTES& out, int32_t v) {
  for (;;) {
    uint8_t low = static_cast<uint8_t>(v & 0x7f);
    v >>= 7;
    if ((v == 0 && !(low & 0x40)) || (v == -1 && (low & 0x40))) {
      out.push_back(low);
      return;
    }
    out.push_back(low | 0x80);
  }
}

std::vector<IT_KIND> it_op_values(int op, bool icon_signed) {
  switch (op) {
    case OP_LABEL: return {K_UINT};
    case OP_NAME: return {K_UINT, K_UINT};
    case OP_SCON: return {K_COUNTED};
    case OP_ICON: return {icon_signed ? K_SINT : K_UINT};
    case OP_FCON: case OP_LCON: return {K_STR};
    case OP_FIELD: return {K_I8, K_UINT, K_TREF};
    case OP_SWITCH: return {K_UINT};
    case OP_CALL: return {K_UINT, K_UINT};
    case OP_UCALL: return {K_UINT};
    case OP_EPVAL: return {K_UINT};
    case OP_SKIP: return {K_UINT};
    case OP_DDNODE: return {K_UINT, K_UINT, K_U8};
    case OP_ICALL: case OP_UICALL: case OP_MCALL: case OP_UMCALL: return {K_STR};
    case OP_VREG: return {K_SINT};
    default: return {};
  }
}
