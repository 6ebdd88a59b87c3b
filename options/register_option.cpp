#include "options/register_option.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "options/global_flags.h"

namespace {

struct keyword_entry {
  char* key;
  int32_t value;
};

// Sorted by strcmp, grown 100 entries at a time.
struct registry {
  keyword_entry* table = nullptr;
  int count = 0;
  int capacity = 0;
};

registry& keywords() {
  static registry r;
  return r;
}

std::vector<char*>& declared_names() {
  static std::vector<char*> names;
  return names;
}

int compare_entries(const void* a, const void* b) {
  return strcmp(static_cast<const keyword_entry*>(a)->key,
                static_cast<const keyword_entry*>(b)->key);
}

void grow_table(registry& r) {
  int capacity = r.capacity + 100;
  auto* table = static_cast<keyword_entry*>(realloc(r.table, capacity * sizeof(keyword_entry)));
  if (!table) {
    fputs("ERROR: out of memory\n", stderr);
    exit(1);
  }
  r.table = table;
  r.capacity = capacity;
}

keyword_entry* find(const char* key) {
  registry& r = keywords();
  if (r.count == 0) return nullptr;
  keyword_entry probe{const_cast<char*>(key), 0};
  return static_cast<keyword_entry*>(
      bsearch(&probe, r.table, r.count, sizeof(keyword_entry), compare_entries));
}

char* copy_text(const char* text) {
  char* copy = strdup(text);
  if (!copy) {
    fputs("ERROR: out of memory\n", stderr);
    exit(1);
  }
  return copy;
}

int lookup(const char* prefix, const char* name) {
  char key[512];
  snprintf(key, sizeof key, prefix, name);
  return debug_keyword_value(key);
}

}  // namespace

int debug_keyword_value(const char* key) {
  keyword_entry* entry = key ? find(key) : nullptr;
  return entry ? entry->value : 0;
}

void set_debug_keyword(const char* key, int value) {
  if (keyword_entry* entry = find(key)) {
    entry->value = value;
    return;
  }
  registry& r = keywords();
  if (r.count == r.capacity) grow_table(r);
  r.table[r.count++] = keyword_entry{copy_text(key), value};
  qsort(r.table, r.count, sizeof(keyword_entry), compare_entries);
}

int debug_keyword_count() { return keywords().count; }

void clear_debug_keywords() {
  registry& r = keywords();
  for (int i = 0; i < r.count; ++i) free(r.table[i].key);
  r.count = 0;
}

void process_debug_option(const char* prefix, const char* list) {
  if (!list) return;
  char key[512];
  snprintf(key, sizeof key, "%s:", prefix ? prefix : "");
  size_t base = strlen(key);
  std::string copy = list;
  char* cursor = &copy[0];
  for (char* item; (item = strsep(&cursor, ",")) != nullptr;) {
    int value = 1;
    if (char* equals = strchr(item, '=')) {
      *equals = '\0';
      value = static_cast<int>(strtol(equals + 1, nullptr, 0));
    }
    // A name that does not fit is dropped; the bare prefix is set.
    if (base + strlen(item) >= sizeof key) item[0] = '\0';
    snprintf(key + base, sizeof key - base, "%s", item);
    set_debug_keyword(key, value);
  }
}

int pass_debug(const char* name) { return lookup("debug:%s", name); }
int pass_enable(const char* name) { return lookup("enable:%s", name); }
int pass_disable(const char* name) { return lookup("disable:%s", name); }

register_option::register_option(const char* key) : key_(nullptr) {
  for (char* name : declared_names())
    if (strcmp(name, key) == 0) {
      key_ = name;
      return;
    }
  declared_names().push_back(copy_text(key));
  key_ = declared_names().back();
}

register_option::operator bool() const { return debug_keyword_value(key_) != 0; }
register_option::operator int() const { return debug_keyword_value(key_); }

register_option& register_option::operator=(int value) {
  set_debug_keyword(key_, value);
  return *this;
}

bool register_option::is_registered(const char* key) {
  declared_keyword_count();  // brings in the declarations of keywords.cpp
  for (char* name : declared_names())
    if (strcmp(name, key) == 0) return true;
  return false;
}
