#include "tests/fuzz/fuzz_fork.h"

#include <fcntl.h>
#include <sanitizer/common_interface_defs.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// The inline 8-bit counters of -fsanitize=fuzzer, one section for the whole
// program.
extern "C" {
extern uint8_t __start___sancov_cntrs[] __attribute__((weak));
extern uint8_t __stop___sancov_cntrs[] __attribute__((weak));
[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status);

// A sanitizer's report ends a process with a status of its own, never the 1
// of a bad input; zopt's signal handler must not hide a fault from them.
const char* __asan_default_options() { return "exitcode=86:allow_user_segv_handler=0:handle_abort=1"; }
const char* __ubsan_default_options() { return "exitcode=86:halt_on_error=1:print_stacktrace=1"; }
}

namespace {

int child_pipe = -1;  // set in the child only

size_t counter_bytes() {
  return __start___sancov_cntrs ? static_cast<size_t>(__stop___sancov_cntrs - __start___sancov_cntrs) : 0;
}

[[noreturn]] void leave_child(int status) {
  fflush(nullptr);
  const uint8_t* p = __start___sancov_cntrs;
  size_t left = counter_bytes();
  while (left > 0) {
    ssize_t n = write(child_pipe, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    p += n;
    left -= static_cast<size_t>(n);
  }
  _exit(status);
}

std::string report_prefix() { return std::string(fuzz_scratch_dir()) + "/report"; }

// The child's sanitizer report, from the file it went to.
std::string take_report(pid_t pid) {
  std::string name = report_prefix() + "." + std::to_string(pid);
  std::string text;
  FILE* f = fopen(name.c_str(), "r");
  if (!f) return text;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
  fclose(f);
  remove(name.c_str());
  return text;
}

// Faults already reported to their owners, from the file FUZZ_KNOWN names
// (tests/fuzz/known_faults): a piece of the report's error line or first
// frame, " -- ", the owner. Such a fault counts as a bad input.
std::vector<std::pair<std::string, std::string>> known_faults() {
  std::vector<std::pair<std::string, std::string>> known;
  const char* path = getenv("FUZZ_KNOWN");
  FILE* f = path ? fopen(path, "r") : nullptr;
  if (!f) return known;
  char line[1024];
  while (fgets(line, sizeof line, f)) {
    std::string l = line;
    while (!l.empty() && (l.back() == '\n' || l.back() == ' ')) l.pop_back();
    size_t sep = l.find(" -- ");
    if (l.empty() || l[0] == '#' || sep == std::string::npos) continue;
    known.emplace_back(l.substr(0, sep), l.substr(sep + 4));
  }
  fclose(f);
  return known;
}

// The lines that name a fault: the error line and the first frame.
std::string headline(const std::string& report) {
  std::string out;
  size_t pos = 0;
  while (pos < report.size()) {
    size_t end = report.find('\n', pos);
    if (end == std::string::npos) end = report.size();
    std::string line = report.substr(pos, end - pos);
    if (line.find("runtime error:") != std::string::npos || line.find("ERROR: ") != std::string::npos) out += line + "\n";
    if (line.find("#0 ") != std::string::npos) return out + line;
    pos = end + 1;
  }
  return out;
}

bool is_known(const std::string& report) {
  static const auto known = known_faults();
  static std::vector<bool> told(known.size());
  std::string head = headline(report);
  for (size_t i = 0; i < known.size(); i++) {
    if (head.find(known[i].first) == std::string::npos) continue;
    if (!told[i]) fprintf(stderr, "fuzz: known fault, not counted: %s (%s)\n", known[i].first.c_str(),
                          known[i].second.c_str());
    told[i] = true;
    return true;
  }
  return false;
}

}  // namespace

extern "C" void __wrap_exit(int status) {
  if (child_pipe >= 0) leave_child(status);
  __real_exit(status);
}

void fuzz_in_child(const std::function<int()>& body, unsigned long long output_limit) {
  int fds[2];
  if (pipe(fds) != 0) {
    perror("fuzz: pipe");
    abort();
  }
  fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) {
    perror("fuzz: fork");
    abort();
  }
  if (pid == 0) {
    close(fds[0]);
    child_pipe = fds[1];
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (output_limit) {
      struct rlimit r;
      getrlimit(RLIMIT_FSIZE, &r);
      r.rlim_cur = output_limit;
      setrlimit(RLIMIT_FSIZE, &r);
    }
    // The fuzzer saves a crashing input itself, once the child has told.
    __sanitizer_set_death_callback(nullptr);
    // The program's own messages are not the fuzzer's business (set
    // FUZZ_VERBOSE to see them); a sanitizer report goes to a file.
    if (!getenv("FUZZ_VERBOSE")) {
      int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      close(null);
      __sanitizer_set_report_path(report_prefix().c_str());
    }
    leave_child(body());
  }
  close(fds[1]);
  // The counters of the child add to ours (saturating), whatever it reached.
  size_t size = counter_bytes();
  std::vector<uint8_t> got(size);
  size_t have = 0;
  while (have < size) {
    // The fuzzer's timer interrupts reads; stopping early would leave the
    // child writing into a closed pipe.
    ssize_t n = read(fds[0], got.data() + have, size - have);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    have += static_cast<size_t>(n);
  }
  close(fds[0]);
  for (size_t i = 0; i < have; i++) {
    unsigned sum = __start___sancov_cntrs[i] + got[i];
    __start___sancov_cntrs[i] = static_cast<uint8_t>(sum > 255 ? 255 : sum);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 1)) return;
  std::string report = take_report(pid);
  if (!report.empty() && is_known(report)) return;
  fputs(report.c_str(), stderr);
  if (WIFSIGNALED(status))
    fprintf(stderr, "fuzz: the child died of signal %d\n", WTERMSIG(status));
  else
    fprintf(stderr, "fuzz: the child ended with status %d\n", WEXITSTATUS(status));
  abort();
}

const char* fuzz_scratch_dir() {
  static std::string dir;
  if (dir.empty()) {
    const char* base = getenv("TMPDIR");
    std::string templ = std::string(base && *base ? base : "/tmp") + "/zopt-fuzz-XXXXXX";
    if (!mkdtemp(&templ[0])) {
      perror("fuzz: mkdtemp");
      abort();
    }
    dir = templ;
  }
  return dir.c_str();
}
