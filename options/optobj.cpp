// option_obj: state, arguments, history and the exporting of what was seen.
// The parser itself is in opt_parse.cpp.
#include "options/optobj.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "diag/diag_classes.h"
#include "driver/globals.h"

namespace {

bool valid_id(int id) { return id >= 0 && id < option_obj::OPTION_COUNT; }

// Five results of getstrarg may be alive at once.
char* ring_buffer() {
  static char ring[5][2048];
  static int next = 0;
  char* buffer = ring[next];
  next = (next + 1) % 5;
  return buffer;
}

std::vector<std::string> split_at_commas(const char* text) {
  std::vector<std::string> items;
  std::string item;
  for (const char* p = text;; ++p) {
    if (*p == ',' || *p == '\0') {
      items.push_back(item);
      item.clear();
      if (*p == '\0') break;
    } else {
      item += *p;
    }
  }
  return items;
}

// The enumerator of a word of the option's item list, or -1.
long lookup_word(option_obj::option_id id, const char* word) {
  int list = option_obj::option_definitions[id].items;
  if (list < 0) return -1;
  const option_obj::item_list& items = option_obj::item_lists[list];
  for (int i = 0; i < items.count; ++i)
    if (strcasecmp(items.items[i].word, word) == 0) return items.items[i].value;
  return -1;
}

const char* word_of(option_obj::option_id id, long value) {
  int list = option_obj::option_definitions[id].items;
  if (list < 0) return nullptr;
  const option_obj::item_list& items = option_obj::item_lists[list];
  for (int i = 0; i < items.count; ++i)
    if (items.items[i].value == value) return items.items[i].word;
  return nullptr;
}

}  // namespace

option_obj::option_obj(bool internal) : internal_(internal) {}

// ---------------------------------------------------------------------------
// Numbers

int option_obj::get_radix(const char* text, const char** digits) {
  const char* p = text;
  if (*p == '-' || *p == '+') ++p;
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
    if (digits) *digits = p + 2;
    return 16;
  }
  if (digits) *digits = p;
  return 10;
}

long option_obj::strtol_by_radix(const char* text, char** end, int radix) {
  if (radix == 0) radix = get_radix(text, nullptr);
  return strtol(text, end, radix);  // base 16 takes its own "0x"
}

unsigned long option_obj::strtoul_by_radix(const char* text, char** end, int radix) {
  if (radix == 0) radix = get_radix(text, nullptr);
  if (*text == '-') {  // no negative unsigned numbers
    if (end) *end = const_cast<char*>(text);
    return 0;
  }
  return strtoul(text, end, radix);
}

// ---------------------------------------------------------------------------
// Setting and clearing

void option_obj::setarg(option_id id, const char* text, const long* number) {
  parm_kind kind = parm_type[id];
  arg_slot& slot = args_[id];
  switch (kind) {
    case NO_ARGS:
      break;
    case STRING_ARG:
      slot.texts.assign(1, text ? text : "");
      slot.count = 1;
      break;
    case NUMBER_ARG:
    case HEXNUM_ARG:
      slot.numbers.assign(1, number ? *number : strtol_by_radix(text ? text : "", nullptr, 0));
      slot.count = 1;
      break;
    case ENUMERATED_ARG:
      slot.numbers.assign(1, number ? *number : lookup_word(id, text ? text : ""));
      slot.count = 1;
      break;
    case STRING_LIST_ARG:
      if (number) {
        slot.texts.push_back(std::to_string(*number));
      } else {
        for (const std::string& item : split_at_commas(text ? text : "")) slot.texts.push_back(item);
      }
      slot.count = static_cast<unsigned>(slot.texts.size());
      break;
    case NUMBER_LIST_ARG:
    case ONEOF_LIST_ARG:
      if (number) {
        slot.numbers.push_back(*number);
      } else {
        for (const std::string& item : split_at_commas(text ? text : ""))
          slot.numbers.push_back(kind == ONEOF_LIST_ARG
                                     ? lookup_word(id, item.c_str())
                                     : strtol_by_radix(item.c_str(), nullptr, 0));
      }
      slot.count = static_cast<unsigned>(slot.numbers.size());
      break;
    default:
      DIAG::raise<DIAG::optgen_unhandled_clause_in_setarg>(DIAG_HERE,
                                                           static_cast<unsigned long>(kind));
      exit(1);
  }
}

std::string option_obj::argument_text(option_id id) const {
  const arg_slot& slot = args_[id];
  char buffer[64];
  switch (parm_type[id]) {
    case STRING_ARG:
      return slot.texts.empty() ? std::string() : slot.texts[0];
    case NUMBER_ARG:
      snprintf(buffer, sizeof buffer, "%ld", slot.numbers.empty() ? 0L : slot.numbers[0]);
      return buffer;
    case HEXNUM_ARG:
      snprintf(buffer, sizeof buffer, "0x%lX", slot.numbers.empty() ? 0L : slot.numbers[0]);
      return buffer;
    case ENUMERATED_ARG: {
      long value = slot.numbers.empty() ? -1 : slot.numbers[0];
      const char* word = word_of(id, value);
      if (word) return word;
      snprintf(buffer, sizeof buffer, "%ld", value);
      return buffer;
    }
    case STRING_LIST_ARG: {
      std::string joined;
      for (size_t i = 0; i < slot.texts.size(); ++i) joined += (i ? "," : "") + slot.texts[i];
      return joined;
    }
    case NUMBER_LIST_ARG:
    case ONEOF_LIST_ARG: {
      std::string joined;
      for (size_t i = 0; i < slot.numbers.size(); ++i) {
        const char* word = parm_type[id] == ONEOF_LIST_ARG ? word_of(id, slot.numbers[i]) : nullptr;
        joined += (i ? "," : "") + (word ? std::string(word) : std::to_string(slot.numbers[i]));
      }
      return joined;
    }
    default:
      return std::string();
  }
}

void option_obj::add_to_history(option_id id, const char* arg) {
  if (!valid_id(id)) {
    DIAG::raise<DIAG::optgen_unhandled_clause_in_add_hist>(DIAG_HERE,
                                                           static_cast<unsigned long>(id));
    exit(1);
  }
  if (debug_) printf("%s: Add option id %s to history with arg %s\n", name(), enum_to_enumtxt[id],
                     arg ? arg : "(none)");
  an_argument_t entry;
  entry.id = id;
  entry.arg = arg ? arg : "";
  entry.spelled = spelled_[0] ? spelled_ : enum_to_optiontxt[id];
  history_.push_back(entry);
}

void option_obj::setopt_internal(option_id id, const char* text, const long* number) {
  if (!valid_id(id)) return;
  state_[id] += 1;
  if (debug_)
    printf("%s: Set    option id %s to state %d\n", name(), enum_to_enumtxt[id], state_[id]);
  if (!internal_) do_conflicts(id);
  if (text || number) setarg(id, text, number);
}

void option_obj::setopt(option_id id) {
  if (!valid_id(id)) return;
  setopt_internal(id, nullptr, nullptr);
  add_to_history(id, nullptr);
}

void option_obj::setopt(option_id id, const char* arg) {
  if (!valid_id(id)) return;
  setopt_internal(id, arg ? arg : "", nullptr);
  add_to_history(id, arg ? arg : "");
}

void option_obj::setopt(option_id id, long arg) {
  if (!valid_id(id)) return;
  setopt_internal(id, nullptr, &arg);
  const char* word = parm_type[id] == ENUMERATED_ARG ? word_of(id, arg) : nullptr;
  char text[32];
  snprintf(text, sizeof text, parm_type[id] == HEXNUM_ARG ? "0x%lX" : "%ld", arg);
  add_to_history(id, word ? word : text);
}

void option_obj::setopt(class_id cls) {
  if (cls < 0 || cls >= CLASS_COUNT) return;
  for (const option_id* p = classes[cls]; *p >= 0; ++p)
    if (parm_type[*p] == NO_ARGS) setopt(*p);
}

void option_obj::free_args(option_id id) {
  args_[id] = arg_slot();
}

void option_obj::clearopt(option_id id) {
  if (!valid_id(id)) return;
  if (option_definitions[id].persistent) return;
  if (debug_) printf("%s: Clear  option id %s to state 0\n", name(), enum_to_enumtxt[id]);
  seen_[id] += 1;
  state_[id] = 0;
  free_args(id);
  history_.erase(std::remove_if(history_.begin(), history_.end(),
                                [id](const an_argument_t& a) { return a.id == id; }),
                 history_.end());
}

void option_obj::clearopt(class_id cls) {
  if (cls < 0 || cls >= CLASS_COUNT) return;
  for (const option_id* p = classes[cls]; *p >= 0; ++p) clearopt(*p);
}

// The name the user wrote for an option, when the history holds a short form.
const char* option_obj::history_spelling(option_id id) const {
  for (const an_argument_t& a : history_)
    if (a.id == id && a.spelled.size() > 1 && a.spelled[1] != '-') return a.spelled.c_str();
  return enum_to_optiontxt[id];
}

void option_obj::do_conflicts(option_id id) {
  for (int other = 0; other < OPTION_COUNT; ++other) {
    if (other == id || state_[other] == 0) continue;
    option_id older = static_cast<option_id>(other);
    std::string now = spelled_[0] ? spelled_ : enum_to_optiontxt[id];
    std::string before = history_spelling(older);
    switch (conflicts[id][other]) {
      case 0:
        break;
      case 1:
        DIAG::raise<DIAG::optgen_conflict_option>(DIAG_HERE, now.c_str(), before.c_str());
        clearopt(older);
        exit(1);
      case 2:
        DIAG::raise<DIAG::optgen_conflict_override_option>(DIAG_HERE, now.c_str(), before.c_str());
        clearopt(older);
        break;
      case 3:
        DIAG::raise<DIAG::optgen_conflict_quiet_option>(DIAG_HERE, now.c_str(), before.c_str());
        break;
      default:
        DIAG::raise<DIAG::optgen_option_handler_corruption>(DIAG_HERE);
        exit(1);
    }
  }
}

// ---------------------------------------------------------------------------
// Reading

bool option_obj::parsed_option(option_id id) const { return valid_id(id) && state_[id] != 0; }
unsigned option_obj::state(option_id id) const { return valid_id(id) ? state_[id] : 0; }
unsigned option_obj::seen(option_id id) const { return valid_id(id) ? seen_[id] : 0; }

unsigned option_obj::getargcount(option_id id) const {
  return valid_id(id) ? args_[id].count : 0;
}

long option_obj::getnumarg(option_id id, unsigned n) const {
  if (!valid_id(id) || state_[id] == 0 || n >= args_[id].count) return 0;
  const arg_slot& slot = args_[id];
  switch (parm_type[id]) {
    case NUMBER_ARG:
    case HEXNUM_ARG:
    case ENUMERATED_ARG:
    case NUMBER_LIST_ARG:
    case ONEOF_LIST_ARG:
      return slot.numbers[n];
    case STRING_ARG:
    case STRING_LIST_ARG:
      return strtol_by_radix(slot.texts[n].c_str(), nullptr, 0);
    default:
      DIAG::raise<DIAG::optgen_option_handler_corruption>(DIAG_HERE);
      exit(1);
  }
}

const char* option_obj::getstrarg(option_id id, unsigned n) const {
  if (!valid_id(id) || state_[id] == 0 || n >= args_[id].count) return nullptr;
  const arg_slot& slot = args_[id];
  char* buffer = ring_buffer();
  switch (parm_type[id]) {
    case STRING_ARG:
    case STRING_LIST_ARG:
      snprintf(buffer, 2048, "%s", slot.texts[n].c_str());
      return buffer;
    case NUMBER_ARG:
    case ENUMERATED_ARG:
    case NUMBER_LIST_ARG:
    case ONEOF_LIST_ARG:
      snprintf(buffer, 2048, "%ld", slot.numbers[n]);
      return buffer;
    case HEXNUM_ARG:
      snprintf(buffer, 2048, "0x%lX", slot.numbers[n]);
      return buffer;
    default:
      DIAG::raise<DIAG::optgen_option_handler_corruption>(DIAG_HERE);
      exit(1);
  }
}

bool option_obj::get_argument(option_id id, an_argument_t* out) const {
  if (!valid_id(id) || state_[id] == 0) return false;
  if (out) {
    out->id = id;
    out->arg = argument_text(id);
    out->spelled = history_spelling(id);
  }
  return true;
}

bool option_obj::args_match_list(option_id id, const char* const* list) const {
  if (!valid_id(id) || !list) return false;
  unsigned n = 0;
  for (; list[n]; ++n) {
    const char* arg = getstrarg(id, n);
    if (!arg || strcmp(arg, list[n]) != 0) return false;
  }
  return n == getargcount(id);
}

// ---------------------------------------------------------------------------
// Exporting

std::string option_obj::export_option(option_id id, int form) const {
  if (!valid_id(id)) return std::string();
  std::string text = form == 1 ? enum_to_optiontxt[id] + 1 : enum_to_optiontxt[id];
  if (parm_type[id] != NO_ARGS && args_[id].count > 0) text += "=" + argument_text(id);
  return text;
}

void option_obj::export_option_pairs(export_option_list_type& list, class_id cls) const {
  bool done[OPTION_COUNT] = {};
  for (const an_argument_t& a : history_) {
    if (done[a.id] || state_[a.id] == 0) continue;
    done[a.id] = true;
    if (cls != CLASS_ALL && option_definitions[a.id].cls != cls) continue;
    list.emplace_back(a.id, export_option(a.id, 0));
  }
}

std::vector<std::string> option_obj::export_option_list() const {
  return export_option_class(CLASS_ALL);
}

std::vector<std::string> option_obj::export_option_class(class_id cls) const {
  export_option_list_type pairs;
  export_option_pairs(pairs, cls);
  std::vector<std::string> texts;
  for (auto& pair : pairs) texts.push_back(pair.second);
  return texts;
}

option_obj::export_option_list_type option_obj::export_option_pairs() const {
  export_option_list_type pairs;
  export_option_pairs(pairs);
  return pairs;
}

// Each text carries its own argument: none may take a word of the command line.
void option_obj::import_option_pairs(const export_option_list_type& pairs) {
  const char* (*saved)() = next_arg;
  next_arg = nullptr;
  for (auto& pair : pairs) process_option(pair.second.c_str() + 1, nullptr);
  next_arg = saved;
}

void option_obj::import_options(const option_obj& from) {
  import_option_pairs(from.export_option_pairs());
}

// ---------------------------------------------------------------------------
// Files and merging, for tools that see options of several files

void option_obj::addfileopt(std::string file, std::string tool) {
  if (debug_) printf("%s: Add file '%s' to %s's history\n", name(), file.c_str(), tool.c_str());
  if (tool.empty()) {
    DIAG::raise<DIAG::optgen_missing_fileopt>(DIAG_HERE, file.c_str());
    return;
  }
  files_.emplace_back(file, tool);
}

void option_obj::merge_init() { merging_ = false; }

void option_obj::merge_options(option_obj& other) {
  if (!merging_) {
    merging_ = true;
    import_options(other);
    return;
  }
  const char* file = other.files_.empty() ? "" : other.files_.back().first.c_str();
  for (int i = 0; i < OPTION_COUNT; ++i) {
    option_id id = static_cast<option_id>(i);
    if (merge_policy_functions[i]) {
      merge_policy_functions[i](*this, other, id);
      continue;
    }
    for (int j = 0; j < OPTION_COUNT; ++j) {
      unsigned char kind = merge_conflicts[i][j];
      if (kind == 0) continue;
      option_id jd = static_cast<option_id>(j);
      if (i == j && kind == 1 && state_[i] && !other.state_[i])
        DIAG::raise<DIAG::optgen_exact_set_in_previous_files>(DIAG_HERE, enum_to_optiontxt[i], file);
      else if (i == j && kind == 1 && !state_[i] && other.state_[i])
        DIAG::raise<DIAG::optgen_exact_not_set_in_previous_files>(DIAG_HERE, enum_to_optiontxt[i],
                                                                  file);
      else if (i == j && kind == 1 && state_[i] && argument_text(id) != other.argument_text(id))
        DIAG::raise<DIAG::optgen_exact_args_incompatible>(DIAG_HERE, enum_to_optiontxt[i], file,
                                                          history_spelling(id));
      else if (i != j && other.state_[i] && state_[j])
        DIAG::raise<DIAG::optgen_merge_conflict_option>(DIAG_HERE, enum_to_optiontxt[i], file,
                                                        history_spelling(jd));
    }
  }
}

// ---------------------------------------------------------------------------
// Listings

void option_obj::clear_history() { history_.clear(); }

void option_obj::dump_history() const {
  for (const an_argument_t& a : history_)
    printf("%s: history: %s %s%s%s\n", name(), enum_to_enumtxt[a.id], a.spelled.c_str(),
           a.arg.empty() ? "" : " ", a.arg.c_str());
}

void option_obj::dump(int seen_only) const {
  static const char* const words[] = {"NO ARGS",         "STRING ARG:",      "NUMBER ARG:",
                                      "HEXNUM ARG:",     "ENUMERATED ARG:",  "STRING LIST ARG:",
                                      "NUMBER LIST ARG:", "ONEOF LIST ARG:"};
  for (int i = 0; i < OPTION_COUNT; ++i) {
    option_id id = static_cast<option_id>(i);
    if (seen_only && state_[i] == 0 && seen_[i] == 0) continue;
    printf("%-25s  ", enum_to_optiontxt[i]);
    const char* status = state_[i] ? (parm_type[i] == NO_ARGS ? "ENABLED   " : "SEEN      ")
                                   : (seen_[i] ? "disabled  " : "not seen  ");
    printf("%s", status);
    parm_kind kind = parm_type[i];
    if (kind < NO_ARGS || kind > ONEOF_LIST_ARG) {
      printf("<UNKNOWN TYPE!?!?>\n");
      continue;
    }
    printf("%s", words[kind]);
    if (kind != NO_ARGS) {
      if (args_[i].count == 0) {
        printf(" <arg not provided>");
      } else {
        for (unsigned n = 0; n < args_[i].count; ++n) {
          const char* word = kind == ENUMERATED_ARG || kind == ONEOF_LIST_ARG
                                 ? word_of(id, args_[i].numbers[n])
                                 : nullptr;
          printf(" %s", word ? word : getstrarg(id, n));
        }
      }
    }
    printf("\n");
  }
}

void option_obj::print() const {
  for (size_t i = 0; i < history_.size(); ++i) {
    const an_argument_t& a = history_[i];
    printf("%s%s%s%s", i ? " " : "", a.spelled.c_str(), a.arg.empty() ? "" : "=", a.arg.c_str());
  }
  printf("\n");
}

const char* option_obj::rot13(const char* text) {
  char* buffer = ring_buffer();
  size_t i = 0;
  for (; text && text[i] && i < 2047; ++i) {
    char c = text[i];
    if (c >= 'a' && c <= 'z')
      c = static_cast<char>('a' + (c - 'a' + 13) % 26);
    else if (c >= 'A' && c <= 'Z')
      c = static_cast<char>('A' + (c - 'A' + 13) % 26);
    buffer[i] = c;
  }
  buffer[i] = '\0';
  return buffer;
}

void option_obj::print_banner(FILE* stream) {
  fprintf(stream, "%s %s\n", OPTIMIZER_BANNER, tool_version);
}
