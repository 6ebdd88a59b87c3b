#include "driver/pass_table.h"

#include <cstdio>
#include <map>

#include "driver/checking.h"
#include "driver/globals.h"
#include "driver/pass_times.h"
#include "driver/pipeline.h"

namespace {

const char* kind_name(PASS_ARG::KIND k) { return k == PASS_ARG::INT ? "int" : "bool"; }

std::string signature_text(const PASS_SIGNATURE& sig) {
  std::string s = "(";
  for (size_t i = 0; i < sig.size(); ++i) s += std::string(i ? ", " : "") + kind_name(sig[i]);
  return s + ")";
}

}  // namespace

std::string PASS_CALL::text() const {
  if (args.empty()) return name;
  std::string s = name + "(";
  for (size_t i = 0; i < args.size(); ++i) {
    if (i) s += ", ";
    if (args[i].kind == PASS_ARG::BOOL) s += args[i].value ? "true" : "false";
    else s += std::to_string(args[i].value);
  }
  return s + ")";
}

std::vector<std::string> resolve_steps(std::vector<std::vector<STEP>*> tables, const std::vector<PASS_DEF>& registry) {
  std::vector<std::string> problems;
  std::map<std::string, const PASS_DEF*> by_name;
  for (const PASS_DEF& d : registry) {
    auto seen = by_name.emplace(d.name, &d);
    if (seen.second) continue;
    const PASS_DEF* first = seen.first->second;
    if (first->built() != d.built()) problems.push_back(d.name + " is built and also on the not-built list");
    else problems.push_back(d.name + " is registered twice");
  }
  std::map<std::string, bool> called;
  for (std::vector<STEP>* steps : tables)
    for (STEP& s : *steps)
      for (PASS_CALL& c : s.passes) {
        c.def = nullptr;
        auto it = by_name.find(c.name);
        if (it == by_name.end()) {
          problems.push_back("step " + std::to_string(s.number) + ": " + c.text() +
                             " is neither registered nor on the not-built list");
          continue;
        }
        called[c.name] = true;
        const PASS_DEF* d = it->second;
        bool fits = d->signature.size() == c.args.size();
        for (size_t i = 0; fits && i < c.args.size(); ++i) fits = d->signature[i] == c.args[i].kind;
        if (!fits) {
          PASS_SIGNATURE given;
          for (const PASS_ARG& a : c.args) given.push_back(a.kind);
          problems.push_back("step " + std::to_string(s.number) + ": " + c.text() + " does not fit " + d->name +
                             signature_text(d->signature) + ", given " + signature_text(given));
          continue;
        }
        c.def = d;
      }
  for (const PASS_DEF& d : registry)
    if (!called.count(d.name)) problems.push_back(d.name + " is registered but no step calls it");
  return problems;
}

void run_call(const PASS_CALL& c, const char* row) {
  if (c.guard && !c.guard()) return;
  if (!c.def) {
    // A call the start-up resolution has not seen: never a silent skip.
    fprintf(stderr, "!!! Opt error: pass %s was never resolved !!!\n", c.text().c_str());
    abort_optimizer();
  }
  if (!c.def->built()) {
    note_not_built(c.text());
    return;
  }
  {
    // The call record is static, so its address is the row's key.
    PASS_CLOCK clock(&c, [&] { return row + c.text(); });
    c.def->run(c.args);
  }
  if (checking_mode()) check_after_pass(c);
}

bool run_steps(const std::vector<STEP>& steps, const char* row) {
  for (const STEP& s : steps) {
    if (!s.when.holds()) continue;
    if (s.trace) s.trace();
    for (const PASS_CALL& c : s.passes) run_call(c, row);
    if (s.ends_function) return false;
  }
  return true;
}

bool pass_is_built(const char* name) {
  for (const PASS_DEF& d : pass_registry())
    if (d.name == name) return d.built();
  return false;
}
