// Typed records of the pass order: a pass as it is registered (PASS_DEF), a
// call of it as a step writes it (PASS_CALL), and the steps themselves
// (STEP). The order lives in driver/pipeline.cpp, the registry of passes in
// driver/pass_registry.cpp.
#pragma once
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// An argument of a pass call, written in the order as data.
struct PASS_ARG {
  enum KIND { INT, BOOL };
  KIND kind;
  int value;
  PASS_ARG(int v) : kind(INT), value(v) {}
  PASS_ARG(bool b) : kind(BOOL), value(b ? 1 : 0) {}
};

using PASS_SIGNATURE = std::vector<PASS_ARG::KIND>;

// A pass by its base name, with the kinds of its arguments. `run` is empty
// while the pass is not built.
struct PASS_DEF {
  std::string name;
  PASS_SIGNATURE signature;
  std::function<void(const std::vector<PASS_ARG>&)> run;
  bool built() const { return static_cast<bool>(run); }
};

namespace pass_detail {
template <typename T> struct kind_of;
template <> struct kind_of<int> { static constexpr PASS_ARG::KIND value = PASS_ARG::INT; };
template <> struct kind_of<bool> { static constexpr PASS_ARG::KIND value = PASS_ARG::BOOL; };

template <typename R, typename... A, std::size_t... I>
void call(R (*fn)(A...), const std::vector<PASS_ARG>& args, std::index_sequence<I...>) {
  (void)args;
  fn(static_cast<A>(args[I].value)...);
}
}  // namespace pass_detail

// A built pass: the signature comes from the function's own parameters,
// which may be ints and bools. A result is dropped.
template <typename R, typename... A>
PASS_DEF pass(const char* name, R (*fn)(A...)) {
  PASS_DEF d{name, {pass_detail::kind_of<A>::value...}, nullptr};
  d.run = [fn](const std::vector<PASS_ARG>& args) { pass_detail::call(fn, args, std::index_sequence_for<A...>{}); };
  return d;
}

// A pass of the order that is not built yet, with the signature it will have.
template <typename... A>
PASS_DEF not_built(const char* name) {
  return PASS_DEF{name, {pass_detail::kind_of<A>::value...}, nullptr};
}

// One call of a pass in a step: `fast_CP` with (4, 1). `guard`, when given,
// is tested again right before the call.
struct PASS_CALL {
  std::string name;
  std::vector<PASS_ARG> args;
  bool (*guard)() = nullptr;
  const PASS_DEF* def = nullptr;  // set when the tables are resolved

  PASS_CALL(const char* n) : name(n) {}
  PASS_CALL(const char* n, std::vector<PASS_ARG> a, bool (*g)() = nullptr) : name(n), args(std::move(a)), guard(g) {}
  // The call as the order writes it: "fast_CP(4, 1)", "seq_trees".
  std::string text() const;
};

// A call with arguments: call("fast_CP", 4, 1).
template <typename... A>
PASS_CALL call(const char* name, A... args) {
  return PASS_CALL(name, std::vector<PASS_ARG>{PASS_ARG(args)...});
}

// The condition of a step, with the words the listing of the order shows.
struct CONDITION {
  const char* text;
  bool (*holds)();
};

// A row of the order. When `when` holds: `trace` writes its debug line, the
// passes run in order, and with `ends_function` nothing after this step runs
// for the function.
struct STEP {
  int number;
  CONDITION when;
  std::vector<PASS_CALL> passes;
  void (*trace)() = nullptr;
  bool ends_function = false;
};

// Resolves every call of `steps` against `registry`: sets PASS_CALL::def and
// returns what is wrong (unknown names, arguments that do not fit the
// signature, names registered twice, registered names no step calls).
std::vector<std::string> resolve_steps(std::vector<std::vector<STEP>*> tables, const std::vector<PASS_DEF>& registry);

// Runs the enabled steps in order. False when a step ended the function.
// `row` prefixes the names of the passes' rows in the time-per-pass table,
// so that the pre-pass's runs are counted apart.
bool run_steps(const std::vector<STEP>& steps, const char* row = "");
// Runs one resolved call: the pass, or the not-built line in the debug log;
// in checking mode the checkers after it.
void run_call(const PASS_CALL& c, const char* row = "");

// The registry (driver/pass_registry.cpp): every pass the order names.
const std::vector<PASS_DEF>& pass_registry();
// Whether the registry holds a body for the pass of that name; for passes
// whose cost estimates depend on what a later pass will do.
bool pass_is_built(const char* name);
