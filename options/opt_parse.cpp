// The option parser: a prefix tree over the option names, walked one
// character at a time without regard to case. A name must be written in
// full; a character that fits no branch, or text that ends inside a name,
// jumps back to the recovery point of process_option.
//
// Nothing with a destructor may live in a frame between process_option and
// parse_failure: the jump does not unwind.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "diag/diag_classes.h"
#include "driver/globals.h"
#include "options/optobj.h"

struct option_obj::recovery_point {
  jmp_buf env;
  recovery_point* link;
  const char* volatile failed_at;
};

option_obj::recovery_point* option_obj::recovery_chain_ = nullptr;

namespace {

constexpr int NO_LEAF = -1;
constexpr int HELP_LEAF = -2;  // --help and --usage
constexpr long NOLIM = 0x7fffffffL;

struct trie_node {
  std::vector<std::pair<char, int>> children;
  int leaf = NO_LEAF;
};

struct prefix_tree {
  std::vector<trie_node> nodes{1};

  void add(const char* name, int leaf) {
    int node = 0;
    for (const char* p = name; *p; ++p) {
      char c = static_cast<char>(tolower(static_cast<unsigned char>(*p)));
      int next = child(node, c);
      if (next < 0) {
        next = static_cast<int>(nodes.size());
        nodes.emplace_back();
        nodes[node].children.emplace_back(c, next);
      }
      node = next;
    }
    nodes[node].leaf = leaf;
  }

  int child(int node, char c) const {
    for (auto& edge : nodes[node].children)
      if (edge.first == c) return edge.second;
    return -1;
  }
};

const prefix_tree& long_tree() {
  static prefix_tree* tree = [] {
    auto* t = new prefix_tree;
    for (int id = 0; id < option_obj::OPTION_COUNT; ++id)
      t->add(option_obj::option_definitions[id].name, id);
    t->add("help", HELP_LEAF);
    t->add("usage", HELP_LEAF);
    return t;
  }();
  return *tree;
}

const prefix_tree& short_tree() {
  static prefix_tree* tree = [] {
    auto* t = new prefix_tree;
    for (int id = 0; id < option_obj::OPTION_COUNT; ++id)
      if (option_obj::option_definitions[id].short_name)
        t->add(option_obj::option_definitions[id].short_name, id);
    return t;
  }();
  return *tree;
}

// The allowed words of an enumerated option, sorted, joined by `separator`.
std::string allowed_words(option_obj::option_id id, const char* separator) {
  int list = option_obj::option_definitions[id].items;
  if (list < 0) return std::string();
  const option_obj::item_list& items = option_obj::item_lists[list];
  std::vector<std::string> words;
  for (int i = 0; i < items.count; ++i) words.push_back(items.items[i].word);
  std::sort(words.begin(), words.end());
  std::string joined;
  for (size_t i = 0; i < words.size(); ++i) joined += (i ? separator : "") + words[i];
  return joined;
}

}  // namespace

void option_obj::parse_failure(const char* at) {
  recovery_chain_->failed_at = at;
  longjmp(recovery_chain_->env, 1);
}

bool option_obj::process_option(const char* text, const char** failed) {
  recovery_point point;
  point.link = recovery_chain_;
  point.failed_at = text;
  recovery_chain_ = &point;
  current_text_ = text;
  if (setjmp(point.env) != 0) {
    recovery_chain_ = point.link;
    spelled_[0] = '\0';
    if (failed) {
      *failed = point.failed_at;
      return false;
    }
    std::string whole = std::string("-") + text;
    DIAG::raise<DIAG::invalid_option>(DIAG_HERE, whole.c_str());
    return false;  // reached only when diagnostics are harmless
  }
  const char* rest = text;
  while (rest && *rest) rest = parse_one(rest);
  recovery_chain_ = point.link;
  spelled_[0] = '\0';
  return true;
}

// One option at the start of `text`; returns what is left of the argument.
const char* option_obj::parse_one(const char* text) {
  char c = text[0];
  if (c == '?') {
    display_option_help(executable_name, CLASS_ALL);
    exit(0);
  }
  if (c == '-') return parse_name(text + 1, true);
  if (isalpha(static_cast<unsigned char>(c))) return parse_name(text, false);
  parse_failure(text);
}

const char* option_obj::parse_name(const char* text, bool long_form) {
  const prefix_tree& tree = long_form ? long_tree() : short_tree();
  int node = 0;
  const char* p = text;
  while (*p) {
    int next = tree.child(node, static_cast<char>(tolower(static_cast<unsigned char>(*p))));
    if (next < 0) break;
    node = next;
    ++p;
  }
  int leaf = tree.nodes[node].leaf;
  if (leaf == NO_LEAF) parse_failure(p);
  size_t length = static_cast<size_t>(p - text);
  snprintf(spelled_, sizeof spelled_, "%s%.*s", long_form ? "--" : "-", static_cast<int>(length),
           text);
  if (leaf == HELP_LEAF) {
    if (*p) parse_failure(p);
    display_option_help(executable_name, CLASS_ALL);
    exit(0);
  }

  option_id id = static_cast<option_id>(leaf);
  const option_definition& def = option_definitions[id];
  if (parm_type[id] == NO_ARGS) {
    if (long_form && *p) parse_failure(p);
    deprecated_case(text, long_form ? def.name : def.short_name, length);
    count_sighting(id);
    setopt(id);
    return long_form ? "" : p;  // joined short options go on
  }
  deprecated_case(text, long_form ? def.name : def.short_name, length);
  return parse_arg(id, p, def.label, 0, nullptr);
}

void option_obj::count_sighting(option_id id) {
  seen_[id] += 1;
  if (debug_) printf("%s: Parsed option id %s/%d\n", name(), enum_to_enumtxt[id], id);
}

void option_obj::deprecated_case(const char* found, const char* expected, size_t length) {
  if (strncmp(found, expected, length) == 0) return;
  std::string proper = std::string(spelled_[1] == '-' ? "--" : "-") + expected;
  DIAG::raise<DIAG::optgen_case_insensitivity_deprecated>(DIAG_HERE, spelled_, proper.c_str());
}

// The argument follows at once, after a '=', or is the next command-line
// word. Argument errors end the run; they are not parse failures.
const char* option_obj::parse_arg(option_id id, const char* text, const char* label,
                                  int /*parse_option_type*/, an_argument_t* arg) {
  const char* value = text;
  if (*value == '=') ++value;
  if (!*value) value = next_arg ? next_arg() : nullptr;
  if (!value) {
    DIAG::raise<DIAG::optgen_missing_parameter>(DIAG_HERE, spelled_, label ? label : "");
    exit(1);
  }
  const option_definition& def = option_definitions[id];
  long number = 0;
  switch (parm_type[id]) {
    case STRING_ARG:
    case STRING_LIST_ARG:
      count_sighting(id);
      setopt(id, value);
      break;
    case NUMBER_ARG:
    case HEXNUM_ARG:
      number = check_numerical_arg(id, value, def.min, def.max, parm_type[id] == HEXNUM_ARG);
      count_sighting(id);
      setopt_internal(id, nullptr, &number);
      add_to_history(id, value);
      break;
    case ENUMERATED_ARG:
      number = parse_oneof(id, value);
      count_sighting(id);
      setopt_internal(id, nullptr, &number);
      add_to_history(id, value);
      break;
    case NUMBER_LIST_ARG:
    case ONEOF_LIST_ARG: {
      std::vector<long> numbers;
      std::string item;
      for (const char* p = value;; ++p) {
        if (*p == ',' || !*p) {
          numbers.push_back(parm_type[id] == ONEOF_LIST_ARG
                                ? parse_oneof(id, item.c_str())
                                : check_numerical_arg(id, item.c_str(), def.min, def.max, false));
          item.clear();
          if (!*p) break;
        } else {
          item += *p;
        }
      }
      count_sighting(id);
      setopt_internal(id, nullptr, nullptr);
      for (long n : numbers) setarg(id, nullptr, &n);
      add_to_history(id, value);
      break;
    }
    default:
      DIAG::raise<DIAG::optgen_unhandled_option_handler>(DIAG_HERE,
                                                         static_cast<unsigned long>(id));
      exit(1);
  }
  if (arg) {
    arg->id = id;
    arg->arg = value;
    arg->spelled = spelled_;
  }
  return "";
}

long option_obj::check_numerical_arg(option_id, const char* text, long min, long max, bool hex) {
  char* end = nullptr;
  errno = 0;
  long value = strtol_by_radix(text, &end, hex ? 16 : 0);
  if (end == text || *end != '\0') {
    DIAG::raise<DIAG::invalid_parameter>(DIAG_HERE, text, spelled_);
    exit(1);
  }
  bool overflow = errno == ERANGE;
  if (debug_) {
    if (hex)
      printf("%s: check 0x%lX <= 0x%lX <= 0x%lX\n", name(), min, value, max);
    else
      printf("%s: check %ld <= %ld <= %ld\n", name(), min, value, max);
  }
  if (overflow || value < min || value > max) {
    if (min == 0 && max >= NOLIM)
      DIAG::raise<DIAG::optgen_arg_out_of_range_non_neg>(DIAG_HERE, spelled_, text);
    else if (max < NOLIM)
      DIAG::raise<DIAG::optgen_arg_out_of_range2>(DIAG_HERE, spelled_, text,
                                                  static_cast<unsigned long>(min),
                                                  static_cast<unsigned long>(max));
    else
      DIAG::raise<DIAG::optgen_arg_out_of_range>(DIAG_HERE, spelled_, text);
    exit(1);
  }
  return value;
}

long option_obj::parse_oneof(option_id id, const char* word) {
  int list = option_definitions[id].items;
  if (list >= 0) {
    const item_list& items = item_lists[list];
    for (int i = 0; i < items.count; ++i) {
      if (strcasecmp(items.items[i].word, word) != 0) continue;
      if (items.items[i].deprecated)
        fprintf(stderr,
                "WARNING: argument '%s' to option '%s' is deprecated and will be removed in a "
                "future release\n",
                word, spelled_);
      return items.items[i].value;
    }
  }
  std::string allowed = allowed_words(id, ", ");
  DIAG::raise<DIAG::optgen_bad_argument>(DIAG_HERE, spelled_, allowed.c_str());
  exit(1);
}

// ---------------------------------------------------------------------------
// Help

void option_obj::display_option_help(const char* program, int cls) {
  printf("Usage: %s [-options] filename\n\n", program ? program : "zopt");
  printf("This tool is designed to be invoked by the compiler.\n\n");
  printf("Options are matched without regard to case but must be written in full.\n");
  printf("An argument follows the option at once, after '=', or as the next word.\n");
  printf("Short options without an argument may be joined: -qk.\n\n");
  for (int c = 0; c < CLASS_COUNT; ++c) {
    if (cls >= 0 && c != cls) continue;
    printf("%s\n", class_descriptions[c]);
    for (const option_id* p = classes[c]; *p >= 0; ++p) {
      const option_definition& def = option_definitions[*p];
      std::string form = std::string("--") + def.name;
      switch (parm_type[*p]) {
        case NO_ARGS: break;
        case ENUMERATED_ARG: form += "=" + allowed_words(*p, "|"); break;
        case STRING_LIST_ARG:
        case NUMBER_LIST_ARG:
        case ONEOF_LIST_ARG: form += std::string("=<") + def.label + ">,..."; break;
        default: form += std::string("=<") + def.label + ">"; break;
      }
      if (def.short_name) form += std::string(", -") + def.short_name;
      if (form.size() > 40)
        printf("  %s\n  %-40s %s\n", form.c_str(), "", def.help);
      else
        printf("  %-40s %s\n", form.c_str(), def.help);
    }
    printf("\n");
  }
  printf("  %-40s %s\n\n", "--help, --usage, -?", "Print this help and stop");
}
