"""What the benchmarks under bench/ share: the programs they measure, the
tools beside zopt (clang, gcc, callgrind, opt-14), CPU time and peak memory
of a child, and the counts read from icode files and LLVM IR.

The differential runner's module (tests/diff/zdiff.py) gives the front end,
the interpreter and csmith; this module adds what only benchmarks need.
"""
import hashlib
import json
import math
import os
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

BENCH = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.dirname(BENCH)
sys.path.insert(0, os.path.join(TOP, "tests", "diff"))
import zdiff  # noqa: E402,F401  (re-exported for the scripts)

KERNELS = os.path.join(BENCH, "kernels")
SKIP = 77  # the exit status ctest reads as "skipped"

EXPRESSION_NODE = 101  # icode record of one tree node


def kernel_names():
    return sorted(f[:-2] for f in os.listdir(KERNELS) if f.endswith(".c"))


def parse_list(text):
    return [w.strip() for w in text.split(",") if w.strip()] if text else []


def parse_levels(text):
    levels = sorted({int(w) for w in parse_list(text)})
    bad = [l for l in levels if l < 0 or l > 4]
    if bad or not levels:
        raise ValueError("levels are 0 to 4, comma-separated: %s" % text)
    return levels


def parse_seeds(text):
    """'1-10' or '3' or '' (none)."""
    if not text or text == "none":
        return []
    first, _, last = text.partition("-")
    first, last = int(first), int(last or first)
    if last < first:
        raise ValueError("empty seed range %s" % text)
    return list(range(first, last + 1))


class Program:
    """One C program of a benchmark: a kernel of bench/kernels, a csmith
    seed, or a generated file."""

    def __init__(self, name, source, csmith=False, kind="kernel"):
        self.name, self.source, self.csmith, self.kind = name, source, csmith, kind


def select_programs(tools, names, seeds, work, generated=()):
    """The programs named (kernels, `csmith-N`, generated names) or, without
    names, every kernel, the csmith seeds and the generated files. An unknown
    name raises ValueError."""
    kernels = kernel_names()
    gen = dict(generated)
    wanted = names or (kernels + ["csmith-%d" % s for s in seeds] + list(gen))
    out = []
    for name in wanted:
        if name in kernels:
            out.append(Program(name, os.path.join(KERNELS, name + ".c")))
        elif re.fullmatch(r"csmith-\d+", name):
            src = zdiff.csmith_program(tools, int(name.split("-")[1]), work)
            if not src:
                raise ValueError("csmith could not write %s" % name)
            out.append(Program(name, src, csmith=True, kind="csmith"))
        elif name in gen:
            out.append(Program(name, gen[name](work), kind="generated"))
        else:
            raise ValueError("unknown program %s (kernels: %s; csmith-N%s)" % (
                name, ", ".join(kernels), "".join("; " + g for g in gen)))
    return out


def native_flags(program):
    flags = ["-w"]
    if program.csmith:
        flags += ["-I", zdiff.CSMITH_INCLUDE]
    return flags


# ---------------------------------------------------------------------------
# Counts


def count_nodes(icode):
    """Tree nodes in an icode file: its expression-node records."""
    with open(icode, "rb") as f:
        data = f.read()
    count = pos = 0
    end = len(data)
    while pos < end:
        rid = data[pos]
        pos += 1
        if rid == 255:  # the end of a section has no body
            continue
        length, pos = zdiff._uint(data, pos)
        if rid == EXPRESSION_NODE:
            count += 1
        pos += length
    if pos != end:
        raise ValueError("%s: the last record runs past the end" % icode)
    return count


_IR_NOT_INSTRUCTION = re.compile(r"^\s*($|;|[-\w.$\"]+:|})")


def count_ir_instructions(text):
    """Instructions in the function bodies of textual LLVM IR."""
    count, inside = 0, False
    for line in text.splitlines():
        if line.startswith("define "):
            inside = True
            continue
        if not inside:
            continue
        if line.startswith("}"):
            inside = False
            continue
        if not _IR_NOT_INSTRUCTION.match(line):
            count += 1
    return count


def parse_stats(err):
    """The counts of icode-run --stats as {name: number}."""
    text = err.decode(errors="replace") if isinstance(err, bytes) else err
    stats = {}
    for line in text.splitlines():
        m = re.match(r"^  ([a-z][a-z ]*[a-z])\s+(\d+)$", line)
        if m:
            stats[m.group(1)] = int(m.group(2))
    return stats


def callgrind_total(path):
    """Instructions (Ir) that a callgrind output file counts."""
    summary = None
    with open(path, errors="replace") as f:
        for line in f:
            if line.startswith("totals:") or (summary is None and line.startswith("summary:")):
                summary = int(line.split()[1])
    if summary is None:
        raise ValueError("no instruction total in %s" % path)
    return summary


def geomean(values):
    values = [v for v in values if v and v > 0]
    if not values:
        return None
    return math.exp(sum(math.log(v) for v in values) / len(values))


def median(values):
    return statistics.median(values) if values else None


# ---------------------------------------------------------------------------
# Running


class Timed:
    """A finished child: status, output, CPU seconds (user + system), wall
    seconds, peak resident set in KB."""

    def __init__(self, status, out, err, cpu, wall, peak_kb):
        self.status, self.out, self.err = status, out, err
        self.cpu, self.wall, self.peak_kb = cpu, wall, peak_kb


GNU_TIME = "/usr/bin/time"


def run_measured(cmd, timeout=None, env=None, capture=True):
    """Runs `cmd` and measures it: a Timed. CPU time comes from wait4. Peak
    memory comes from GNU time between us and the child, because a child
    exec'd straight from this process inherits the process's own peak in
    its accounting; without GNU time it is None. Output goes through files,
    so that a chatty child never blocks on a full pipe; a child still
    running after `timeout` seconds is killed and its status is None."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err, \
            tempfile.NamedTemporaryFile(prefix="peak-") as peak:
        wrapper = [GNU_TIME, "-q", "-f", "%M", "-o", peak.name] if os.access(GNU_TIME, os.X_OK) else []
        start = time.monotonic()
        p = subprocess.Popen(wrapper + cmd, stdout=out if capture else subprocess.DEVNULL, stderr=err, env=env,
                             start_new_session=True)
        killed = []

        def kill():  # the child and the wrapper's child alike
            killed.append(True)
            try:
                os.killpg(p.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass

        timer = threading.Timer(timeout, kill) if timeout else None
        if timer:
            timer.start()
        try:
            _, status, usage = os.wait4(p.pid, 0)
        finally:
            if timer:
                timer.cancel()
        p.returncode = os.waitstatus_to_exitcode(status)
        out.seek(0)
        err.seek(0)
        peak_kb = None
        if wrapper:
            text = open(peak.name).read().split()
            peak_kb = int(text[-1]) if text and text[-1].isdigit() else None
        return Timed(None if killed else p.returncode, out.read(), err.read(), usage.ru_utime + usage.ru_stime,
                     time.monotonic() - start, peak_kb)


def find_tool(*names):
    for n in names:
        p = shutil.which(n)
        if p:
            return p
    return None


def tool_version(path):
    r = subprocess.run([path, "--version"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return r.stdout.decode(errors="replace").splitlines()[0] if r.stdout else path


def loadavg():
    try:
        with open("/proc/loadavg") as f:
            return " ".join(f.read().split()[:3])
    except OSError:
        return "?"


def machine_line():
    return "load average %s on %d cores" % (loadavg(), os.cpu_count() or 0)


class Cache:
    """Results that depend only on their inputs (native instruction counts),
    kept in a JSON file of the build so that a second run is quick."""

    def __init__(self, path):
        self.path = path
        self.data = {}
        if path and os.path.exists(path):
            try:
                with open(path) as f:
                    self.data = json.load(f)
            except (OSError, ValueError):
                self.data = {}

    @staticmethod
    def key(*parts):
        h = hashlib.sha256()
        for p in parts:
            h.update(p if isinstance(p, bytes) else str(p).encode())
            h.update(b"\0")
        return h.hexdigest()

    def get(self, key):
        return self.data.get(key)

    def put(self, key, value):
        self.data[key] = value

    def save(self):
        if not self.path:
            return
        os.makedirs(os.path.dirname(self.path), exist_ok=True)
        tmp = self.path + ".tmp"
        with open(tmp, "w") as f:
            json.dump(self.data, f, indent=0, sort_keys=True)
        os.replace(tmp, self.path)


def file_digest(path):
    with open(path, "rb") as f:
        return hashlib.sha256(f.read()).hexdigest()


# ---------------------------------------------------------------------------
# zopt's own time-per-pass table (--debug=pass_times, docs/options.md)

PASS_TIMES_TITLE = "time per pass (debug:pass_times)"
_PASS_ROW = re.compile(r"^(\S.*?)\s+(?:(\d+)\s+)?(\d+\.\d+)\s+(\d+\.\d)%$")


def parse_pass_times(err):
    """([(name, runs or None, seconds)], total seconds) from a run's standard
    error, or None when it holds no table."""
    text = err.decode(errors="replace") if isinstance(err, bytes) else err
    at = text.find(PASS_TIMES_TITLE)
    if at < 0:
        return None
    rows, total = [], None
    for line in text[at:].splitlines()[2:]:
        m = _PASS_ROW.match(line.rstrip())
        if not m:
            break
        name, runs, secs = m.group(1), m.group(2), float(m.group(3))
        if name == "total":
            total = secs
            break
        rows.append((name, int(runs) if runs is not None else None, secs))
    return (rows, total) if total is not None else None
