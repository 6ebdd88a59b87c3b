// printf and its family, putchar and puts. Each character unit is written
// as its low byte. Integer conversions take 32-bit int arguments (h and hh
// narrow to 16 bits, l and ll mean 32 bits as int does); floating
// conversions take binary32 values, which double is on this target.
#include <cstring>
#include <string>

#include "tools/icode-run/run_error.h"
#include "tools/icode-run/run_libc.h"
#include "tools/icode-run/run_ops.h"

namespace {

constexpr int kMaxField = 65536;

// The values the conversions consume: the call's own arguments, checked
// against the conversion, or a variable-argument area in target memory.
class FORMAT_ARGS {
 public:
  FORMAT_ARGS(LIBCALL& c, uint32_t first, const char* who) : c_(&c), next_(first), who_(who) {}
  FORMAT_ARGS(VAL va, const char* who) : va_(va), who_(who) {}

  uint32_t next_int(char conv) { return lo32(take(conv, 2, vk_is_int, "an integer")); }
  VAL next_ptr(char conv) { return take(conv, 1, [](VK k) { return k == VK_PTR; }, "a pointer"); }
  float next_float(char conv) { return b2f(lo32(take(conv, 2, [](VK k) { return k == VK_F32; }, "a floating value"))); }

 private:
  VAL take(char conv, uint32_t units, bool (*fits)(VK), const char* what) {
    if (!c_) {
      VAL v = units == 1 ? APTR::ld(checked(units)) : A32::ld(checked(units));
      va_ = ptr_add(va_, units);
      return v;
    }
    if (next_ >= c_->nargs) run_fail("%s: too few arguments for the format", who_);
    VK vk = c_->cs.arg_vk[next_];
    if (!fits(vk))
      run_fail("%s: argument %u is a %s; %%%c takes %s", who_, next_ + 1, vk_name(vk), conv, what);
    return c_->args[next_++];
  }
  uint32_t checked(uint32_t units) {
    check_read(va_, units);
    return p_addr(va_);
  }

  LIBCALL* c_ = nullptr;
  uint32_t next_ = 0;
  VAL va_ = 0;
  const char* who_;
};

template <class T>
void append_formatted(std::string& out, const std::string& form, T value) {
  char small[128];
  int n = snprintf(small, sizeof small, form.c_str(), value);
  if (n < static_cast<int>(sizeof small)) {
    out.append(small, static_cast<size_t>(n));
    return;
  }
  std::string big(static_cast<size_t>(n) + 1, '\0');
  snprintf(&big[0], big.size(), form.c_str(), value);
  out.append(big.data(), static_cast<size_t>(n));
}

int read_number(const std::string& f, size_t& i) {
  long n = 0;
  while (i < f.size() && f[i] >= '0' && f[i] <= '9') {
    n = n * 10 + (f[i++] - '0');
    if (n > kMaxField) n = kMaxField + 1;
  }
  return static_cast<int>(n);
}

std::string format(const char* who, const std::string& f, FORMAT_ARGS& args) {
  std::string out;
  for (size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '%') {
      out.push_back(f[i]);
      continue;
    }
    ++i;
    std::string flags;
    while (i < f.size() && strchr("-+ #0", f[i]) && f[i]) flags.push_back(f[i++]);
    int width = -1;
    if (i < f.size() && f[i] == '*') {
      int w = static_cast<int32_t>(args.next_int('*'));
      if (w < 0) {
        flags.push_back('-');
        w = -w;
      }
      width = w;
      ++i;
    } else if (i < f.size() && f[i] >= '0' && f[i] <= '9') {
      width = read_number(f, i);
    }
    int prec = -1;
    if (i < f.size() && f[i] == '.') {
      ++i;
      if (i < f.size() && f[i] == '*') {
        int p = static_cast<int32_t>(args.next_int('*'));
        prec = p < 0 ? -1 : p;
        ++i;
      } else {
        prec = read_number(f, i);
      }
    }
    if (width > kMaxField || prec > kMaxField) run_fail("%s: field width or precision too large", who);
    bool narrow = false;
    while (i < f.size() && strchr("hlLjzt", f[i]) && f[i]) narrow = f[i++] == 'h';
    if (i >= f.size()) run_fail("%s: the format ends inside a conversion", who);
    char conv = f[i];
    std::string form = "%" + flags;
    if (width >= 0) form += std::to_string(width);
    if (prec >= 0) form += "." + std::to_string(prec);
    switch (conv) {
      case 'd':
      case 'i': {
        int32_t v = static_cast<int32_t>(args.next_int(conv));
        if (narrow) v = static_cast<int16_t>(v);
        append_formatted(out, form + "lld", static_cast<long long>(v));
        break;
      }
      case 'u':
      case 'o':
      case 'x':
      case 'X': {
        uint32_t v = args.next_int(conv);
        if (narrow) v &= 0xffffu;
        append_formatted(out, form + "ll" + conv, static_cast<unsigned long long>(v));
        break;
      }
      case 'c': append_formatted(out, form + "c", static_cast<int>(args.next_int(conv) & 0xffu)); break;
      case 's': {
        VAL p = args.next_ptr(conv);
        std::string s;
        if (prec >= 0) {
          for (int k = 0; k < prec; ++k) {
            VAL q = ptr_add(p, static_cast<uint32_t>(k));
            check_read(q, 1);
            uint16_t u = run_mem.mem[p_addr(q)];
            if (!u) break;
            s.push_back(static_cast<char>(u));
          }
        } else {
          s = read_cstring(p, who);
        }
        append_formatted(out, form + "s", s.c_str());
        break;
      }
      case 'p': {
        char buf[16];
        snprintf(buf, sizeof buf, "0x%04x", p_addr(args.next_ptr(conv)));
        std::string pform = "%" + flags;
        if (width >= 0) pform += std::to_string(width);
        append_formatted(out, pform + "s", buf);
        break;
      }
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
      case 'a':
      case 'A': append_formatted(out, form + conv, static_cast<double>(args.next_float(conv))); break;
      case '%': out.push_back('%'); break;
      default: run_fail("%s: the conversion %%%c is not supported", who, conv);
    }
  }
  return out;
}

uint32_t emit(LIBCALL& c, const std::string& s) {
  c.m.out_text(s.data(), s.size());
  c.m.lib_work += s.size();
  return static_cast<uint32_t>(s.size());
}

// snprintf: at most n - 1 characters and a terminating zero.
void store_bounded(VAL buf, uint32_t n, const std::string& s) {
  if (n == 0) return;
  write_units(buf, s.size() < n ? s : s.substr(0, n - 1), true);
}

VAL lib_printf(LIBCALL& c) { return emit(c, lib_format(c, "printf", lib_ptr(c, 0), 1)); }
VAL lib_vprintf(LIBCALL& c) { return emit(c, lib_vformat(c, "vprintf", lib_ptr(c, 0), lib_ptr(c, 1))); }

VAL lib_sprintf(LIBCALL& c) {
  std::string s = lib_format(c, "sprintf", lib_ptr(c, 1), 2);
  write_units(lib_ptr(c, 0), s, true);
  return static_cast<uint32_t>(s.size());
}

VAL lib_vsprintf(LIBCALL& c) {
  std::string s = lib_vformat(c, "vsprintf", lib_ptr(c, 1), lib_ptr(c, 2));
  write_units(lib_ptr(c, 0), s, true);
  return static_cast<uint32_t>(s.size());
}

VAL lib_snprintf(LIBCALL& c) {
  std::string s = lib_format(c, "snprintf", lib_ptr(c, 2), 3);
  store_bounded(lib_ptr(c, 0), lib_uint(c, 1), s);
  return static_cast<uint32_t>(s.size());
}

VAL lib_vsnprintf(LIBCALL& c) {
  std::string s = lib_vformat(c, "vsnprintf", lib_ptr(c, 2), lib_ptr(c, 3));
  store_bounded(lib_ptr(c, 0), lib_uint(c, 1), s);
  return static_cast<uint32_t>(s.size());
}

VAL lib_putchar(LIBCALL& c) {
  uint32_t ch = lib_uint(c, 0);
  c.m.out_char(static_cast<int>(ch & 0xffu));
  c.m.lib_work += 1;
  return ch & 0xffffu;
}

VAL lib_puts(LIBCALL& c) {
  emit(c, read_cstring(lib_ptr(c, 0), "puts") + "\n");
  return 0;
}

}  // namespace

std::string lib_format(LIBCALL& c, const char* who, VAL fmt, uint32_t first) {
  FORMAT_ARGS args(c, first, who);
  return format(who, read_cstring(fmt, who), args);
}

std::string lib_vformat(LIBCALL&, const char* who, VAL fmt, VAL va) {
  FORMAT_ARGS args(va, who);
  return format(who, read_cstring(fmt, who), args);
}

const LIB_ENTRY lib_io_entries[] = {
    {"printf", lib_printf, nullptr},     {"vprintf", lib_vprintf, nullptr},   {"sprintf", lib_sprintf, nullptr},
    {"vsprintf", lib_vsprintf, nullptr}, {"snprintf", lib_snprintf, nullptr}, {"vsnprintf", lib_vsnprintf, nullptr},
    {"putchar", lib_putchar, nullptr},   {"puts", lib_puts, nullptr},         {nullptr, nullptr, nullptr},
};
