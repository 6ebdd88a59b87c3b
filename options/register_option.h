// The debug keyword registry: keys "debug:NAME", "enable:NAME" and
// "disable:NAME" with a number each, filled from the keyword options and
// read by the passes.
#pragma once

// A pass's handle on one keyword, declared as a static object:
//   static register_option unroll("debug:unroll");
//   if (unroll) ...;  int limit = unroll;
class register_option {
 public:
  explicit register_option(const char* key);
  operator bool() const;
  operator int() const;
  register_option& operator=(int value);
  const char* key() const { return key_; }
  static bool is_registered(const char* key);
  void dump() const {}

 private:
  const char* key_;  // interned in the array of declared names
};

// Stores each item of the comma-separated `list` under "PREFIX:name": the
// value after '=' (base 0, so 0x10 works), or 1 without '='.
void process_debug_option(const char* prefix, const char* list);

// The stored value of a full key, 0 when it was never set.
int debug_keyword_value(const char* key);
void set_debug_keyword(const char* key, int value);
// How many keys are stored; for listings and tests.
int debug_keyword_count();
// Forgets every stored value (not the declared names); for tests.
void clear_debug_keywords();

// Number of keywords declared in options/keywords.cpp.
int declared_keyword_count();
