"""The pieces of a differential run of zopt, shared by tests/diff/run,
tests/diff/reduce and the benchmarks under bench/.

A C program becomes icode through c2icode; icode-run on that file is the
reference. zopt then optimises it under each option variant, the output must
be well formed (zopt reads it back, and a second reading at level 0 gives the
same file but for the command-line comments, both of the output itself and
of the file a reading at the default level makes of it), and it must run
exactly as the reference: the same standard output and the same exit status.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Option variants of zopt: every level, then keywords and options that steer
# passes. A debug log or an information file must never change the code.
VARIANTS = [
    "--opt_level=0",
    "--opt_level=1",
    "--opt_level=2",
    "--opt_level=3",
    "--opt_level=4",
    "--opt_level=2 --debug_level=1 --info_level=1 --debug=split_odb,pass_times",
    "--opt_level=4 --enable=lir",
    "--opt_level=4 --enable=lir_early,lir_mid,lir_late,lir_late_ssa",
    "--opt_level=3 --disable=vn,superblock_opt,tail_duplication,inline_folding",
    "--opt_level=3 --opt_for_space=3 --size_speed_goal=0",
]

# csmith without 8-bit and 64-bit types: Rill's smallest integer has 16 bits,
# and the front end's csmith prelude relies on these flags.
CSMITH_FLAGS = ["--no-longlong", "--no-int8", "--no-uint8"]
# Further flags by configuration. "pointers": deeper pointers, more
# structures and unions, and more stores through pointers (the
# probabilities keep the 8-bit and 64-bit types out, as the flags above do).
CSMITH_CONFIGS = {
    "default": [],
    "pointers": ["--max-pointer-depth", "3", "--max-struct-fields", "6", "--max-union-fields", "4",
                 "--probability-configuration",
                 os.path.join(os.path.dirname(os.path.abspath(__file__)), "csmith_pointers.prob")],
}
CSMITH_INCLUDE = "/usr/include/csmith"

# icode-run's exit status for an error of the program (undefined behaviour,
# the step limit) and for a file it cannot run at all.
RUN_PROGRAM_ERROR = 3
RUN_CANNOT_RUN = 1


class Tools:
    """Paths of the programs of one build."""

    def __init__(self, build, c2icode=None, csmith=None, corpus=None, check=False):
        self.build = os.path.abspath(build)
        self.zopt = os.path.join(self.build, "zopt")
        # In checking mode every run of zopt checks the function after each
        # pass and stops at the first broken invariant.
        self.check = check
        self.icode_run = os.path.join(self.build, "tools", "icode-run", "icode-run")
        self.icode_dis = os.path.join(self.build, "tools", "icode-text", "icode-dis")
        self.c2icode = os.path.abspath(c2icode) if c2icode else os.path.join(
            self.build, "tools", "c2icode", "c2icode")
        self.csmith = csmith or shutil.which("csmith")
        self.corpus = corpus or os.path.join(TOP, "tests", "c")
        self.csmith_prelude = os.path.join(self.corpus, "csmith", "rill_csmith.h")

    def zopt_cmd(self):
        """zopt with the options every run of it gets."""
        return [self.zopt] + (["--debug=check"] if self.check else [])

    def missing(self, want_csmith=False):
        """Names of the programs a run needs and this build lacks."""
        need = [self.zopt, self.icode_run, self.c2icode]
        gone = [p for p in need if not os.access(p, os.X_OK)]
        if want_csmith:
            if not self.csmith:
                gone.append("csmith")
            if not os.path.exists(self.csmith_prelude):
                gone.append(self.csmith_prelude)
        return gone


class Result:
    """What came of one command: status (None on a time-out) and output."""

    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err

    @property
    def timed_out(self):
        return self.status is None


def run(cmd, timeout, cwd=None):
    try:
        r = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout, cwd=cwd)
        return Result(r.returncode, r.stdout, r.stderr)
    except subprocess.TimeoutExpired as e:
        return Result(None, e.stdout or b"", e.stderr or b"")
    except OSError as e:  # a program that vanished or cannot be started
        return Result(127, b"", str(e).encode())


SANITIZER_MARKS = (b"ERROR: AddressSanitizer", b"ERROR: LeakSanitizer", b"runtime error:")


def sanitizer_report(result):
    """The sanitizer's report in a run's standard error, or None."""
    if any(m in result.err for m in SANITIZER_MARKS):
        return tail(result.err, 30)
    return None


def tail(data, lines=6):
    text = data.decode(errors="replace").rstrip() if isinstance(data, bytes) else data.rstrip()
    return "\n".join(text.splitlines()[-lines:])


def csmith_program(tools, seed, directory, timeout=60, config="default"):
    """Writes csmith's program of `seed` (under a configuration of
    CSMITH_CONFIGS) into `directory`; its path, or None."""
    src = os.path.join(directory, "s%d.c" % seed)
    # csmith leaves platform.info in its working directory.
    flags = CSMITH_FLAGS + CSMITH_CONFIGS[config]
    r = run([tools.csmith] + flags + ["-s", str(seed), "-o", src], timeout, cwd=directory)
    return src if r.status == 0 and os.path.exists(src) else None


def front_end_flags(tools, csmith):
    if not csmith:
        return []
    return ["-I", CSMITH_INCLUDE, "-include", tools.csmith_prelude]


def compile_c(tools, src, out, csmith=False, timeout=120):
    return run([tools.c2icode] + front_end_flags(tools, csmith) + [src, "-o", out], timeout)


def run_icode(tools, icode, max_steps, timeout, stats=False):
    cmd = [tools.icode_run, icode, "--max-steps", str(max_steps)]
    if stats:
        cmd.append("--stats")
    return run(cmd, timeout)


def weighted_cost(result):
    """The weighted cost from icode-run --stats, or None."""
    for line in result.err.decode(errors="replace").splitlines():
        if line.strip().startswith("weighted cost"):
            return int(line.split()[-1])
    return None


def reference_skip_reason(result):
    """Why a reference run cannot judge zopt; None when it can."""
    if result.timed_out:
        return "reference timed out"
    if result.status == RUN_PROGRAM_ERROR:
        if b"step limit" in result.err:
            return "reference reached the step limit"
        return "reference has undefined behaviour"
    if result.status == RUN_CANNOT_RUN:
        return "reference cannot run"
    return None


# ---------------------------------------------------------------------------
# Icode records, for comparing two files that differ only in the comments
# that zopt writes with its command line.


def _uint(data, pos):
    value = shift = 0
    for i in range(5):
        if pos >= len(data):
            raise ValueError("truncated number at %d" % pos)
        b = data[pos]
        pos += 1
        value |= (b & 0x7F) << shift
        shift += 7
        if not b & 0x80:
            return value, pos
    raise ValueError("number of more than five bytes at %d" % pos)


def _records(data):
    """(position, id, body start, end) of every record; 255 has no body."""
    pos = 0
    out = []
    while pos < len(data):
        start = pos
        rid = data[pos]
        pos += 1
        if rid == 255:
            out.append((start, rid, pos, pos))
            continue
        length, pos = _uint(data, pos)
        if pos + length > len(data):
            raise ValueError("record %d at %d runs past the end" % (rid, start))
        out.append((start, rid, pos, pos + length))
        pos += length
    return out


COMMENT = 47
SYMBOL = 35
MAGIC = 8


def _is_command_line(data, rid, body, end):
    return rid == COMMENT and data[body:body + 2] == b";\t"


def _is_passing_comment(data, rid, body, end):
    """Comments that no reading keeps as they stand: each run adds its command
    line, and a reading drops zopt's own notes (text beginning with '*'),
    which the optimising run that made them may make again or not."""
    return _is_command_line(data, rid, body, end) or (rid == COMMENT and data[body:body + 1] == b"*")


def _symbol_file_offset(data, body, end):
    """Start and end of the file-offset field of a symbol record."""
    pos = data.index(b"\0", body, end) + 1  # name
    for _ in range(2):  # size, offset
        _, pos = _uint(data, pos)
    pos += 1 + 2  # storage class, qualifier
    for _ in range(3):  # type, second type, align
        _, pos = _uint(data, pos)
    pos += 1  # number of pragmas
    _, after = _uint(data, pos)
    return pos, after


def normalized_records(path):
    """The records of an icode file with the passing comments (command lines,
    zopt's own notes) left out, the header's section offsets blanked, and the
    file offsets of symbols moved back by the bytes of the comments in front
    of them."""
    with open(path, "rb") as f:
        data = f.read()
    recs = _records(data)
    if not recs or recs[0][1] != MAGIC:
        raise ValueError("no header record")
    dropped = [(start, end - start) for start, rid, body, end in recs
               if _is_passing_comment(data, rid, body, end)]

    def moved(offset):
        return offset - sum(size for start, size in dropped if start < offset)

    out = []
    for start, rid, body, end in recs:
        if _is_passing_comment(data, rid, body, end):
            continue
        chunk = data[body:end]
        if rid == MAGIC:
            magic_end = data.index(b"\0", body, end) + 1
            offsets = magic_end - body + 4  # behind version and cpu id
            chunk = chunk[:offsets] + b"\0" * 20 + chunk[offsets + 20:]
        elif rid == SYMBOL:
            field, after = _symbol_file_offset(data, body, end)
            offset, _ = _uint(data, field)
            chunk = (data[body:field], moved(offset) if offset else 0, data[after:end])
        out.append((rid, chunk))
    return out


def same_but_comments(a, b, icode_dis=None):
    """None when the files are the same but for passing comments, else a short
    description of the first difference. With `icode_dis`, files that differ
    only in the numbers of their types count as the same: types get their
    numbers in the order a run makes them, so a run that drops the last use of
    a type leaves a gap that the next reading closes."""
    try:
        ra, rb = normalized_records(a), normalized_records(b)
    except ValueError as e:
        return "cannot split into records: %s" % e
    found = None
    for i, (x, y) in enumerate(zip(ra, rb)):
        if x != y:
            found = "record %d differs (id %d against id %d)" % (i, x[0], y[0])
            break
    if not found and len(ra) != len(rb):
        found = "%d records against %d" % (len(ra), len(rb))
    if found and icode_dis:
        ta, tb = text_with_types_renumbered(icode_dis, a), text_with_types_renumbered(icode_dis, b)
        if ta is not None and ta == tb:
            return None
    return found


def same_functions(a, b, icode_dis):
    """None when the files hold the same functions and the same rest, in
    whatever order the functions stand (a level-0 reading writes them in
    source order, levels above 1 in call-graph order), else a short
    description of the difference."""
    found = same_but_comments(a, b, icode_dis)
    if not found or not icode_dis:
        return found
    ta, tb = text_with_types_renumbered(icode_dis, a), text_with_types_renumbered(icode_dis, b)
    if ta is None or tb is None:
        return found
    (ra, fa), (rb, fb) = functions_apart(ta), functions_apart(tb)
    if ra != rb:
        return found
    if sorted(fa) != sorted(fb):
        names = sorted(set(f[0] for f in fa) ^ set(f[0] for f in fb)) or \
            sorted(x[0] for x in set(map(tuple, fa)) ^ set(map(tuple, fb)))
        return "function %s differs" % (names[0] if names else "?")
    return None


def functions_apart(lines):
    """The text of a file as its lines outside functions, and its functions
    (each the list of its lines, from "function" to "end")."""
    rest, functions, current = [], [], None
    for line in lines:
        if line.startswith("function "):
            current = [line]
        elif current is not None:
            current.append(line)
            if line.startswith("end"):
                functions.append(current)
                current = None
        else:
            rest.append(line)
    return rest, functions


TYPE_NUMBER = re.compile(r"#(\d+)")


def text_with_types_renumbered(icode_dis, path):
    """The text icode-dis gives of a file, without passing comments, its types
    numbered 1, 2, ... in the order they are defined; None if icode-dis fails.
    Type numbers stand in the types section (type lines and the lists below
    them), and elsewhere where a type has no name to show: the type of a
    symbol line (": #N"), of a tree ("(OP #N"), a member's class ("#N::").
    Symbol numbers look alike ("; #N level", "name#N") and stay."""
    r = subprocess.run([icode_dis, path], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    if r.returncode != 0:
        return None
    lines = r.stdout.decode(errors="replace").splitlines()
    number = {}
    for line in lines:
        if line.startswith("type #"):
            number.setdefault(TYPE_NUMBER.match(line, 5).group(1), len(number) + 1)
    out = []
    in_list = False
    for line in lines:
        text = line.lstrip()
        if text.startswith('comment ";\\t') or text.startswith('comment "*'):
            continue
        if line.startswith("type ") or in_list:
            in_list = (line.startswith("type ") and line.endswith("{")) or (in_list and line != "}")
            line = TYPE_NUMBER.sub(lambda m: "#%s" % number.get(m.group(1), "?" + m.group(1)), line)
        else:
            line = TYPE_IN_TEXT.sub(
                lambda m: "%s#%s%s" % (m.group(1), number.get(m.group(2), "?" + m.group(2)), m.group(3)), line)
        out.append(line)
    return out


# A type number outside the types section: the type of a symbol line or of
# a tree node, or a member's class; not a symbol's number ("; #N level").
TYPE_IN_TEXT = re.compile(r"((?<!;) : |\([A-Z_0-9]+ |[ (])#(\d+)(::|[ )*\[])(?!level)")


# ---------------------------------------------------------------------------
# One program under every variant.


class Outcome:
    """What one program gave: a skip reason, or the failures of its variants
    (pairs of variant and text) and the weighted cost of each run."""

    def __init__(self, name):
        self.name = name
        self.skipped = None
        self.failures = []
        self.costs = {}
        self.compared = 0


def check_variant(tools, ref_icode, ref, variant, work, max_steps, timeout, icode_check=None, seen=None):
    """Optimises `ref_icode` under `variant` and judges the result. Gives the
    text of the failure (None when all is well) and the run's weighted cost.
    `seen` maps outputs judged already (their records but for comments) to
    their verdicts: variants that give the same code are judged once."""
    tag = variant.replace("--", "").replace("=", "").replace(" ", "_").replace(",", "+")[:60]
    out = os.path.join(work, "o_%s.icode" % tag)
    r = run(tools.zopt_cmd() + variant.split() + [ref_icode, out], timeout)
    if sanitizer_report(r):
        return "zopt: %s" % sanitizer_report(r), None
    if r.timed_out:
        return "zopt timed out after %d s" % timeout, None
    if r.status != 0:
        return "zopt failed with status %d:\n%s" % (r.status, tail(r.err or r.out)), None
    if not os.path.exists(out):
        return "zopt wrote no output", None
    try:
        key = repr(normalized_records(out))
    except ValueError as e:
        return "the output cannot be split into records: %s" % e, None
    if seen is not None and key in seen:
        return seen[key]
    verdict = judge_output(tools, out, ref, max_steps, timeout, icode_check, reads_alike_at_0(variant))
    if seen is not None:
        seen[key] = verdict
    return verdict


def reads_alike_at_0(variant):
    """Whether the output of `variant` must come out of a level-0 reading as
    it went in. A reading below level 3 marks the globals it reads (bits of
    their storage qualifier), which levels 3 and 4 do not: their output is
    judged through the reading at the default level only."""
    m = re.search(r"--opt_level=(\d+)", variant)
    return (int(m.group(1)) if m else 1) < 3


def judge_output(tools, out, ref, max_steps, timeout, icode_check, direct_reread=False):
    """Reads zopt's output `out` back, checks it, runs it against `ref`."""
    dis = tools.icode_dis if os.access(tools.icode_dis, os.X_OK) else None
    if direct_reread:
        direct = out + ".0"
        r = run([tools.zopt, "--opt_level=0", out, direct], timeout)
        if r.status != 0 or sanitizer_report(r):
            return "zopt --opt_level=0 cannot read the output (status %s):\n%s" % (r.status, tail(r.err or r.out)), None
        diff = same_functions(out, direct, dis)
        if diff:
            return "a reading at level 0 changes the output: %s" % diff, None
    again = out + ".2"
    r = run(tools.zopt_cmd() + [out, again], timeout)
    if r.status != 0 or sanitizer_report(r):
        return "zopt cannot read its own output (status %s):\n%s" % (r.status, tail(r.err or r.out)), None
    third = out + ".3"
    r = run(tools.zopt_cmd() + ["--opt_level=0", again, third], timeout)
    if r.status != 0 or sanitizer_report(r):
        return "zopt --opt_level=0 cannot read its output again (status %s):\n%s" % (
            r.status, tail(r.err or r.out)), None
    diff = same_but_comments(again, third, dis)
    if diff:
        return "a second reading at level 0 changes the file: %s" % diff, None
    if icode_check:
        r = run([sys.executable, icode_check, "-q", out], timeout)
        if r.status != 0:
            return "the output is not well formed:\n%s" % tail(r.out + r.err), None
    got = run_icode(tools, out, 2 * max_steps, timeout, stats=True)
    if sanitizer_report(got):
        return "icode-run on the output: %s" % sanitizer_report(got), None
    if got.timed_out:
        return "the optimised program timed out after %d s" % timeout, None
    cost = weighted_cost(got)
    if got.status != ref.status or got.out != ref.out:
        return describe_mismatch(ref, got), cost
    return None, cost


def describe_mismatch(ref, got):
    lines = []
    if got.status != ref.status:
        lines.append("exit status %d, reference %d" % (got.status, ref.status))
    if got.out != ref.out:
        a, b = ref.out.decode(errors="replace").splitlines(), got.out.decode(errors="replace").splitlines()
        for i in range(max(len(a), len(b))):
            x = a[i] if i < len(a) else "<end of output>"
            y = b[i] if i < len(b) else "<end of output>"
            if x != y:
                lines.append("output line %d: %r, reference %r" % (i + 1, y[:200], x[:200]))
                break
    if got.err.strip():
        lines.append("stderr: " + tail(got.err, 3))
    return "runs differently from the reference: " + "; ".join(lines)


def check_program(tools, src, work, variants, max_steps, timeout, csmith=False, icode_check=None):
    """Runs one C program through every variant in `work`."""
    outcome = Outcome(src)
    ref_icode = os.path.join(work, "ref.icode")
    r = compile_c(tools, src, ref_icode, csmith=csmith, timeout=timeout)
    if r.timed_out or r.status != 0 or not os.path.exists(ref_icode):
        outcome.skipped = "front end refused"
        return outcome
    ref = run_icode(tools, ref_icode, max_steps, timeout, stats=True)
    if sanitizer_report(ref):
        outcome.failures.append(("reference run", "icode-run: %s" % sanitizer_report(ref)))
        return outcome
    outcome.skipped = reference_skip_reason(ref)
    if outcome.skipped:
        return outcome
    outcome.costs["reference"] = weighted_cost(ref)
    seen = {}
    for variant in variants:
        failure, cost = check_variant(tools, ref_icode, ref, variant, work, max_steps, timeout, icode_check, seen)
        outcome.costs[variant] = cost
        outcome.compared += 1
        if failure:
            outcome.failures.append((variant, failure))
    return outcome


class WorkDir:
    """A scratch directory for one program: kept under `keep` when given."""

    def __init__(self, keep, name):
        self.keep, self.name = keep, name

    def __enter__(self):
        if self.keep:
            self.path = os.path.join(self.keep, self.name)
            os.makedirs(self.path, exist_ok=True)
        else:
            self.path = tempfile.mkdtemp(prefix="zdiff-")
        return self.path

    def __exit__(self, *exc):
        if not self.keep:
            shutil.rmtree(self.path, ignore_errors=True)
        return False


def corpus_programs(corpus):
    """The C programs below `corpus`, refuse/ and csmith/ aside, in order."""
    programs = []
    for root, dirs, files in os.walk(corpus):
        dirs[:] = sorted(d for d in dirs if d not in ("refuse", "csmith"))
        programs += [os.path.join(root, f) for f in sorted(files) if f.endswith(".c")]
    return programs


def icode_check_script():
    """The independent icode checker beside the project, when there is one."""
    path = os.path.join(TOP, "..", "shared", "icode-check", "icode_check.py")
    return os.path.abspath(path) if os.path.exists(path) else None


def known_failures(path):
    """(piece of failure text, owner and reason) of each line of `path`."""
    known = []
    if path and os.path.exists(path):
        with open(path) as f:
            for line in f:
                line = line.strip()
                if line and not line.startswith("#"):
                    piece, _, why = line.partition(" -- ")
                    known.append((piece.strip(), why.strip()))
    return known


def known_owner(known, text):
    for piece, why in known:
        if piece in text:
            return why or piece
    return None
