// zopt for the mutation campaign: the program's own main, started once and
// forked for every run, which costs a fraction of a process start (exec and
// loading are most of a run on a small file).
//
// Requests on standard input, one a line, fields separated by tabs:
//   TIMEOUT_MS  FSIZE_LIMIT  AS_LIMIT  SAID_PATH  ARG...
// A limit of 0 is none. The child writes standard output and standard error
// to SAID_PATH and runs zopt with ARG... as its arguments. The answer, one
// line on standard output: "exit N", "signal N" or "timeout".
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// zopt's main under another name; everything else of zopt is in zoptcore.
#define main zopt_main
#include "driver/main.cpp"
#undef main

namespace {

void answer(const std::string& line) {
  std::string out = line + "\n";
  const char* p = out.data();
  size_t left = out.size();
  while (left) {
    ssize_t n = write(STDOUT_FILENO, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) exit(1);
    p += n;
    left -= static_cast<size_t>(n);
  }
}

std::vector<std::string> split_tabs(const std::string& line) {
  std::vector<std::string> f;
  size_t at = 0;
  for (;;) {
    size_t tab = line.find('\t', at);
    f.push_back(line.substr(at, tab == std::string::npos ? std::string::npos : tab - at));
    if (tab == std::string::npos) return f;
    at = tab + 1;
  }
}

void set_limit(int which, unsigned long long value) {
  if (!value) return;
  struct rlimit r;
  getrlimit(which, &r);
  r.rlim_cur = value;
  if (r.rlim_max != RLIM_INFINITY && r.rlim_cur > r.rlim_max) r.rlim_cur = r.rlim_max;
  setrlimit(which, &r);
}

[[noreturn]] void child(const std::vector<std::string>& f) {
  setpgid(0, 0);
  set_limit(RLIMIT_FSIZE, strtoull(f[1].c_str(), nullptr, 10));
  set_limit(RLIMIT_AS, strtoull(f[2].c_str(), nullptr, 10));
  int said = open(f[3].c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (said < 0) _exit(125);
  dup2(said, STDOUT_FILENO);
  dup2(said, STDERR_FILENO);
  close(said);
  int null = open("/dev/null", O_RDONLY);
  dup2(null, STDIN_FILENO);
  close(null);
  // As a fresh process has them: zopt installs its own handlers.
  signal(SIGXFSZ, SIG_DFL);
  signal(SIGPIPE, SIG_DFL);
  std::vector<char*> argv;
  static char name[] = "zopt";
  argv.push_back(name);
  for (size_t i = 4; i < f.size(); i++) argv.push_back(const_cast<char*>(f[i].c_str()));
  argv.push_back(nullptr);
  exit(zopt_main(static_cast<int>(argv.size() - 1), argv.data()));
}

// Waits for the child at most `ms` milliseconds; false on a time-out.
bool wait_for(pid_t pid, long ms, int& status) {
  int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  if (fd >= 0) {
    struct pollfd p = {fd, POLLIN, 0};
    int r;
    do {
      r = poll(&p, 1, static_cast<int>(ms));
    } while (r < 0 && errno == EINTR);
    close(fd);
    if (r == 0) return false;
  } else {
    // No descriptors for processes: poll the status.
    for (long waited = 0; waitpid(pid, &status, WNOHANG) == 0; waited += 1) {
      if (waited >= ms) return false;
      usleep(1000);
    }
    return true;
  }
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return true;
}

}  // namespace

int main() {
  signal(SIGPIPE, SIG_IGN);
  std::string line;
  int c;
  for (;;) {
    line.clear();
    while ((c = getchar()) != EOF && c != '\n') line.push_back(static_cast<char>(c));
    if (c == EOF && line.empty()) return 0;
    std::vector<std::string> f = split_tabs(line);
    if (f.size() < 5) {
      answer("bad request");
      continue;
    }
    long ms = strtol(f[0].c_str(), nullptr, 10);
    fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0) {
      answer("fork failed");
      continue;
    }
    if (pid == 0) child(f);
    int status = 0;
    if (!wait_for(pid, ms, status)) {
      kill(-pid, SIGKILL);
      kill(pid, SIGKILL);
      while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
      answer("timeout");
      continue;
    }
    if (WIFSIGNALED(status))
      answer("signal " + std::to_string(WTERMSIG(status)));
    else
      answer("exit " + std::to_string(WEXITSTATUS(status)));
  }
}
