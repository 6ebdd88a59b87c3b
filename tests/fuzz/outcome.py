"""How one run of a program on one input ended, judged the same way by the
regression check and the mutation runner.

A run is limited three ways: a time-out (past it the run is a hang), a
limit on the size of any file it writes (RLIMIT_FSIZE; past it the run is
"output too large"), and on its address space (RLIMIT_AS; not with the
sanitizers, whose shadow memory needs far more).

The limits are set on the calling process around the spawn rather than in
a preexec function: that keeps subprocess on its vfork path, which is
several times cheaper per run than a fork of the Python process.
"""
import os
import resource
import select
import signal
import subprocess
from dataclasses import dataclass

# Outcomes, in the order the tallies print them. Only the first two are
# acceptable ends of a run on bad input.
OK = "exit 0"
MESSAGE = "exit 1 with message"
SILENT = "exit 1 without message"
CRASH = "crash"
HANG = "hang"
TOO_LARGE = "output too large"
OUT_OF_MEMORY = "out of memory"
OUTCOMES = (OK, MESSAGE, SILENT, CRASH, HANG, TOO_LARGE, OUT_OF_MEMORY)
ACCEPTABLE = (OK, MESSAGE)

SANITIZER_MARKS = (b"ERROR: AddressSanitizer", b"runtime error:", b"ERROR: LeakSanitizer")
FILE_SIZE_WORDS = b"exceeded the file size limit"
OOM_WORDS = b"OUT OF MEMORY"


def output_limit(input_size, factor=16, floor=65536):
    """The most a program may write for an input of this size."""
    return floor + factor * input_size


@dataclass
class Result:
    outcome: str
    status: int  # exit status, or minus the signal number
    said: bytes  # standard output and standard error together
    detail: str = ""


def _set_soft(which, value):
    soft, hard = resource.getrlimit(which)
    if hard != resource.RLIM_INFINITY and (value == resource.RLIM_INFINITY or value > hard):
        value = hard
    resource.setrlimit(which, (value, hard))
    return soft


def run(cmd, cwd=None, timeout=5.0, fsize=None, memory=None, env=None, said_path=None):
    """Runs cmd and classifies its end. fsize and memory are byte limits.

    What the program says goes to a file (said_path, or one in cwd), so that
    the size limit holds for its messages too: a message repeated without
    end is output too large, not a memory burden of the runner.
    """
    said_path = said_path or os.path.join(cwd or ".", ".said")
    old_fsize = _set_soft(resource.RLIMIT_FSIZE, fsize) if fsize else None
    old_as = _set_soft(resource.RLIMIT_AS, memory) if memory else None
    try:
        with open(said_path, "wb") as said_file:
            # A session of its own, so that a hang is killed with all it started.
            p = subprocess.Popen(cmd, cwd=cwd, env=env, stdin=subprocess.DEVNULL, stdout=said_file,
                                 stderr=subprocess.STDOUT, start_new_session=True)
    finally:
        if old_fsize is not None:
            _set_soft(resource.RLIMIT_FSIZE, old_fsize)
        if old_as is not None:
            _set_soft(resource.RLIMIT_AS, old_as)
    # Waiting on a descriptor of the process wakes at its end; the time-out
    # of Popen.wait polls, which costs more than a run of zopt on a small file.
    try:
        fd = os.pidfd_open(p.pid)
    except (AttributeError, OSError):
        fd = None
    if fd is not None:
        poller = select.poll()
        poller.register(fd, select.POLLIN)
        hung = not poller.poll(timeout * 1000)
        os.close(fd)
    else:
        try:
            p.wait(timeout=timeout)
            hung = False
        except subprocess.TimeoutExpired:
            hung = True
    if hung:
        try:
            os.killpg(p.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    p.wait()
    said = _said(said_path)
    if hung:
        return Result(HANG, p.returncode, said, "no end within %g s" % timeout)
    return classify(p.returncode, said)


def _said(path, keep=32768):
    """The start and the end of what a run said."""
    with open(path, "rb") as f:
        head = f.read(keep)
        f.seek(0, os.SEEK_END)
        size = f.tell()
        if size <= keep:
            return head
        f.seek(max(keep, size - keep))
        return head + b"\n[...]\n" + f.read()


def classify(status, said):
    text = said.strip()
    if status < 0:
        sig = -status
        if sig == signal.SIGXFSZ:
            return Result(TOO_LARGE, status, said, "killed by SIGXFSZ")
        return Result(CRASH, status, said, "killed by signal %d" % sig)
    if any(m in said for m in SANITIZER_MARKS):
        return Result(CRASH, status, said, "sanitizer report")
    if status == 0:
        return Result(OK, status, said)
    if status == 1:
        if OOM_WORDS in said:
            return Result(OUT_OF_MEMORY, status, said, "out of memory")
        return Result(MESSAGE if text else SILENT, status, said)
    # zopt's own handler ends every fatal signal with status 2.
    if status == 2 and FILE_SIZE_WORDS in said:
        return Result(TOO_LARGE, status, said, "the file size limit")
    return Result(CRASH, status, said, "status %d" % status)


class ForkServer:
    """zopt-forkserver: one process that forks zopt's main for every run,
    with the limits of run() set in the child. Same results, a fraction of
    the cost of starting zopt each time."""

    def __init__(self, path, cwd):
        self.path, self.cwd = path, cwd
        self.proc = None

    def _start(self):
        self.proc = subprocess.Popen([self.path], cwd=self.cwd, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, start_new_session=True)

    def run(self, args, timeout=5.0, fsize=None, memory=None, said_path=None):
        """args: zopt's arguments, without the program name."""
        said_path = said_path or os.path.join(self.cwd, ".said")
        fields = [str(int(timeout * 1000)), str(fsize or 0), str(memory or 0), said_path] + list(args)
        if any("\t" in f or "\n" in f for f in fields):
            raise ValueError("a tab or a new line in a request: %r" % fields)
        request = ("\t".join(fields) + "\n").encode()
        for attempt in range(2):
            if self.proc is None or self.proc.poll() is not None:
                self._start()
            try:
                self.proc.stdin.write(request)
                self.proc.stdin.flush()
                reply = self.proc.stdout.readline().decode().split()
            except BrokenPipeError:
                reply = []
            if reply:
                break
            self.close()
            if attempt:
                raise RuntimeError("%s gives no answer" % self.path)
        said = _said(said_path)
        if reply[0] == "timeout":
            return Result(HANG, -signal.SIGKILL, said, "no end within %g s" % timeout)
        if reply[0] == "exit":
            return classify(int(reply[1]), said)
        if reply[0] == "signal":
            return classify(-int(reply[1]), said)
        raise RuntimeError("%s answers %r" % (self.path, reply))

    def close(self):
        if self.proc is not None:
            try:
                self.proc.stdin.close()
            except OSError:
                pass
            self.proc.kill()
            self.proc.wait()
            self.proc = None
