#include "driver/pass_times.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <unordered_map>
#include <vector>

#include "driver/globals.h"
#include "options/global_flags.h"
#include "options/keywords.h"

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

namespace {

// Pass boundaries are counted with the processor's cycle counter: a CPU-time
// clock is a system call, and tens of thousands of functions times dozens of
// passes would make the measurement cost more than some passes. The run's
// CPU time, read twice, turns the shares into seconds.
uint64_t ticks() {
#if defined(__x86_64__) || defined(__i386__)
  return __rdtsc();
#else
  return static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

double cpu_seconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

struct ROW {
  std::string name;
  long runs = 0;
  uint64_t ticks = 0;
};

const char* const kOutside = "(outside the passes and readings)";

bool enabled = false;
double run_cpu_start = 0;
uint64_t run_ticks_start = 0;
std::vector<ROW> rows;                   // in order of first appearance
std::unordered_map<const void*, size_t> row_of_key;
std::unordered_map<std::string, size_t> row_of_name;  // two keys may share a name
std::vector<size_t> stack;               // the activities now open, innermost last
uint64_t last_tick = 0;

size_t row_for(const std::string& name) {
  auto it = row_of_name.find(name);
  if (it != row_of_name.end()) return it->second;
  rows.push_back(ROW{name, 0, 0});
  row_of_name.emplace(name, rows.size() - 1);
  return rows.size() - 1;
}

// Charges the ticks since the last boundary to the innermost activity.
void charge() {
  uint64_t now = ticks();
  rows[stack.back()].ticks += now - last_tick;
  last_tick = now;
}

}  // namespace

void pass_times_start_run() {
  run_cpu_start = cpu_seconds();
  run_ticks_start = ticks();
}

void pass_times_init() {
  enabled = kw::debug_pass_times;
  if (!enabled) return;
  rows.clear();
  row_of_key.clear();
  row_of_name.clear();
  stack.assign(1, row_for(kOutside));
  last_tick = run_ticks_start;
}

bool pass_times_on() { return enabled; }

bool PASS_CLOCK::pass_row_known(const void* key) { return row_of_key.count(key) != 0; }

void PASS_CLOCK::enter(const void* key, const std::string& name) {
  charge();
  auto it = row_of_key.find(key);
  size_t r = it != row_of_key.end() ? it->second : row_of_key.emplace(key, row_for(name)).first->second;
  rows[r].runs++;
  stack.push_back(r);
}

PASS_CLOCK::~PASS_CLOCK() {
  if (!on_ || stack.size() < 2) return;
  charge();
  stack.pop_back();
}

void report_pass_times() {
  if (!enabled) return;
  charge();
  double cpu = cpu_seconds() - run_cpu_start;
  uint64_t all = 0;
  for (const ROW& r : rows) all += r.ticks;
  FILE* out = print_debug && fdebug ? fdebug : stderr;
  fprintf(out, "\ntime per pass (debug:pass_times): CPU seconds of the run, shared out by cycle counts\n");
  fprintf(out, "%-48s %8s %12s %7s\n", "pass", "runs", "seconds", "share");
  for (const ROW& r : rows) {
    double share = all ? static_cast<double>(r.ticks) / static_cast<double>(all) : 0.0;
    if (r.name == kOutside)
      fprintf(out, "%-48s %8s %12.6f %6.1f%%\n", r.name.c_str(), "", share * cpu, 100.0 * share);
    else
      fprintf(out, "%-48s %8ld %12.6f %6.1f%%\n", r.name.c_str(), r.runs, share * cpu, 100.0 * share);
  }
  fprintf(out, "%-48s %8s %12.6f %6.1f%%\n", "total", "", cpu, 100.0);
  fflush(out);
}
