#!/usr/bin/env python3
"""Mutation campaign: real icode files, corrupted the way a disk, a cut
transfer or a tool of another version would, each run once through zopt.

  tests/fuzz/mutate.py [--count N] [-j N] [--seed S]          a campaign
  tests/fuzz/mutate.py --replay I [--seed S]                  file I again, told in full
  tests/fuzz/mutate.py --promote FILE NAME                    a fixed finding into regress/

The files corrupted are the front end's output for the C corpus and for a
few csmith programs, zopt's output for those at every level, the icode texts
of the tests assembled (again with zopt's output at every level), a few
generated files and the regress inputs. File I of a campaign depends only on
the seed, I and those files, whatever -j is.

Each run must end with status 0, or status 1 and a message, within the
time-out, writing no file larger than 16 times the input plus 64 KiB. Any
other end is a finding: its input is saved under WORK/findings/ with a note
of what was done to which file, and one input of each kind of finding is
cut down a little. The tally of outcomes goes to standard output at the end
and to WORK/tally.json as the campaign goes on. Exit status 1 when there was
a finding, 77 when a program the campaign needs is not built.

Python rather than a C++ tool: the mutations are easier to read and extend
here, and the runner's own share of a run is small (half a millisecond).
What costs is starting zopt; the runs go through zopt-forkserver, built
beside the tests, which forks zopt's main for each file instead (half the
cost of a process start on this kind of machine).
"""
import argparse
import hashlib
import json
import multiprocessing
import os
import random
import re
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(TOP, "tests", "diff"))
import icode_image  # noqa: E402
import mutators  # noqa: E402
import outcome  # noqa: E402
import zdiff  # noqa: E402

SKIP = 77
LEVELS = ["--opt_level=%d" % level for level in range(5)]
# Now and then a run with keywords that steer passes.
VARIANTS = [
    ["--opt_level=4", "--enable=lir"],
    ["--opt_level=4", "--enable=lir_early,lir_mid,lir_late,lir_late_ssa"],
    ["--opt_level=3", "--disable=vn,superblock_opt,tail_duplication,inline_folding"],
    ["--opt_level=3", "--opt_for_space=3", "--size_speed_goal=0"],
]
MEMORY_LIMIT = 2 << 30


# ---------------------------------------------------------------------------
# The files to corrupt

def sanitized(build):
    cache = os.path.join(build, "CMakeCache.txt")
    if not os.path.exists(cache):
        return False
    with open(cache, encoding="utf-8", errors="replace") as f:
        return any(line.startswith("ZOPT_SANITIZE:BOOL=ON") for line in f)


def runner_for(build, zopt=None, server=None):
    """("server", path) or ("exec", path): what runs the corrupted files. By
    default the build's fork server when it is as new as zopt (a run costs
    a fork instead of a process start), otherwise zopt itself."""
    if server:
        return "server", os.path.abspath(server)
    if zopt:
        return "exec", os.path.abspath(zopt)
    plain = os.path.join(build, "zopt")
    forks = os.path.join(build, "tests", "fuzz", "zopt-forkserver")
    if os.access(forks, os.X_OK) and os.path.getmtime(forks) >= os.path.getmtime(plain):
        return "server", forks
    if os.access(forks, os.X_OK):
        print("mutate: %s is older than zopt; starting zopt for every run (build zopt-forkserver)" % forks,
              file=sys.stderr)
    return "exec", plain


def parse_range(text):
    first, _, last = text.partition("-")
    return list(range(int(first), int(last or first) + 1)) if text else []


def prepare_seeds(args, tools, directory):
    """Writes the files to corrupt into `directory`; their paths, sorted."""
    os.makedirs(directory, exist_ok=True)
    made = []
    icode_as = os.path.join(args.build, "tools", "icode-text", "icode-as")
    icode_gen = os.path.join(args.build, "tools", "icode-gen", "icode-gen")

    def keep(path):
        if os.path.exists(path) and os.path.getsize(path) > 0:
            made.append(path)
            return True
        return False

    def with_levels(path):
        if not keep(path):
            return
        base = path[:-len(".icode")]
        for level in range(5):
            out = "%s.O%d.icode" % (base, level)
            r = zdiff.run([tools.zopt, "--opt_level=%d" % level, path, out], 120, cwd=directory)
            if r.status == 0:
                keep(out)
            elif os.path.exists(out):
                os.remove(out)

    if os.access(tools.c2icode, os.X_OK):
        for src in zdiff.corpus_programs(tools.corpus):
            name = "c-" + os.path.relpath(src, tools.corpus).replace(os.sep, "_")[:-2] + ".icode"
            out = os.path.join(directory, name)
            if zdiff.compile_c(tools, src, out).status == 0:
                with_levels(out)
        if tools.csmith and os.path.exists(tools.csmith_prelude):
            for seed in args.csmith:
                # Small programs: a file of half a megabyte costs more to
                # corrupt than to run, and a mutation lands in its reader.
                src = os.path.join(directory, "s%d.c" % seed)
                r = zdiff.run([tools.csmith] + zdiff.CSMITH_FLAGS + ["--max-funcs", "3", "--max-block-depth", "3",
                                                                      "-s", str(seed), "-o", src], 60, cwd=directory)
                src = src if r.status == 0 and os.path.exists(src) else None
                out = os.path.join(directory, "csmith-%d.icode" % seed)
                if src and zdiff.compile_c(tools, src, out, csmith=True).status == 0:
                    with_levels(out)
                if src:
                    os.remove(src)
    texts = []
    for root in (os.path.join(TOP, "tests"), os.path.join(TOP, "tools")):
        for where, dirs, files in os.walk(root):
            dirs[:] = sorted(d for d in dirs if not d.startswith("build"))
            texts += [os.path.join(where, f) for f in sorted(files) if f.endswith(".itxt")]
    for text in sorted(texts):
        name = "t-" + os.path.relpath(text, TOP).replace(os.sep, "_")[:-5] + ".icode"
        out = os.path.join(directory, name)
        if zdiff.run([icode_as, text, "-o", out], 60).status == 0:
            with_levels(out)
        elif os.path.exists(out):
            os.remove(out)
    if os.access(icode_gen, os.X_OK):
        for fns, nodes, seed in ((1, 20, 1), (3, 60, 2), (10, 40, 3), (2, 400, 4)):
            out = os.path.join(directory, "gen-%d.icode" % seed)
            zdiff.run([icode_gen, "--functions", str(fns), "--nodes", str(nodes), "--seed", str(seed), "-o", out], 60)
            keep(out)
    regress = os.path.join(HERE, "regress")
    for name in sorted(os.listdir(regress)):
        if name.endswith((".expect", ".itxt", ".md")) or name.startswith("."):
            continue
        out = os.path.join(directory, "r-" + name)
        shutil.copyfile(os.path.join(regress, name), out)
        keep(out)
    return sorted(set(made))


def seeds_stamp(args, tools):
    """What the files to corrupt are made from: the programs and the sources,
    by time of change. The same stamp lets a campaign take the files of the
    one before instead of making them again."""
    paths = [tools.zopt, tools.c2icode, os.path.join(args.build, "tools", "icode-text", "icode-as"),
             os.path.join(args.build, "tools", "icode-gen", "icode-gen"), os.path.join(HERE, "regress")]
    for root in (os.path.join(TOP, "tests"), os.path.join(TOP, "tools")):
        for where, dirs, files in os.walk(root):
            dirs[:] = sorted(d for d in dirs if not d.startswith("build"))
            paths += [os.path.join(where, f) for f in sorted(files) if f.endswith((".c", ".itxt", ".h"))]
    lines = ["csmith %s" % ",".join(map(str, args.csmith))]
    for p in paths:
        lines.append("%s %s" % (p, os.path.getmtime(p) if os.path.exists(p) else "-"))
    return "\n".join(lines) + "\n"


# ---------------------------------------------------------------------------
# Workers

_seeds = []  # (name, bytes, image or None)
_donors = []
_cfg = None


def _init_worker(seed_paths, cfg):
    global _seeds, _donors, _cfg
    _cfg = cfg
    for path in seed_paths:
        with open(path, "rb") as f:
            data = f.read()
        try:
            image = icode_image.parse(data)
        except icode_image.BadImage:
            image = None
        _seeds.append((os.path.basename(path), data, image))
    _donors = [im for _, _, im in _seeds if im is not None]
    cfg["scratch"] = os.path.join(cfg["work"], "w%d" % os.getpid())
    os.makedirs(cfg["scratch"], exist_ok=True)


def make_case(seed, index):
    """File `index` of the campaign of `seed`: (seed name, bytes, options, what was done)."""
    rng = random.Random("%d:%d" % (seed, index))
    name, data, image = _seeds[rng.randrange(len(_seeds))]
    bad, done = mutators.corrupt(rng, data, image, _donors)
    options = rng.choice(VARIANTS) if rng.random() < 0.1 else [LEVELS[rng.randrange(5)]]
    return name, bad, options, done


_server = None


def run_case(data, options, scratch=None, timeout=None):
    global _server
    scratch = scratch or _cfg["scratch"]
    path = os.path.join(scratch, "in.icode")
    with open(path, "wb") as f:
        f.write(data)
    args = options + [path, os.path.join(scratch, "out.icode")]
    limits = dict(timeout=timeout or _cfg["timeout"], fsize=outcome.output_limit(len(data)), memory=_cfg["memory"])
    kind, program = _cfg["runner"]
    if kind == "server":
        if _server is None or _server.cwd != scratch:
            if _server:
                _server.close()
            _server = outcome.ForkServer(program, scratch)
        return _server.run(args, said_path=os.path.join(scratch, ".said"), **limits)
    return outcome.run([program] + args, cwd=scratch, **limits)


def _work(chunk):
    seed, first, last = chunk
    results = []
    for index in range(first, last):
        name, data, options, done = make_case(seed, index)
        r = run_case(data, options)
        item = {"index": index, "outcome": r.outcome, "seed_file": name}
        if r.outcome not in outcome.ACCEPTABLE:
            item.update(data=data, options=options, done=done, said=r.said.decode(errors="replace")[-4000:],
                        detail=r.detail, signature=signature(r))
        results.append(item)
    return results


def signature(r):
    """What tells one fault from another: the outcome and the line that names it."""
    text = r.said.decode(errors="replace")
    for pat in (r"runtime error: [^\n]*", r"ERROR: AddressSanitizer: [\w-]+", r"INTERNAL ERROR: [^\n]*",
                r"Assertion[^\n]*", r"!!![^\n]*!!!"):
        m = re.search(pat, text)
        if m:
            line = re.sub(r"\S*/in\.icode", "INPUT", m.group(0))
            line = re.sub(r"0x[0-9a-f]+|\b\d+\b", "N", line)
            return "%s: %s" % (r.outcome, line.strip())
    return "%s: %s" % (r.outcome, r.detail)


# ---------------------------------------------------------------------------
# Cutting a finding down

def same_fault(data, options, sig, timeout):
    r = run_case(data, options, timeout=timeout)
    return r.outcome not in outcome.ACCEPTABLE and signature(r) == sig


def minimise(data, options, sig, budget):
    """A shorter input with the same fault, by cutting its end and then
    deleting ever smaller slices; at most `budget` runs."""
    timeout = min(_cfg["timeout"], 3) if sig.startswith(outcome.HANG) else None
    runs = 0
    lo, hi = 1, len(data)
    while lo < hi and runs < budget // 4:
        mid = (lo + hi) // 2
        runs += 1
        if same_fault(data[:mid], options, sig, timeout):
            hi = mid
        else:
            lo = mid + 1
    if same_fault(data[:hi], options, sig, timeout):
        data = data[:hi]
    size = max(1, len(data) // 2)
    while size >= 1 and runs < budget:
        at = 0
        while at < len(data) and runs < budget:
            trial = data[:at] + data[at + size:]
            runs += 1
            if trial and same_fault(trial, options, sig, timeout):
                data = trial
            else:
                at += size
        size //= 2
    return data, runs


def _minimise_job(job):
    data, options, sig, budget = job
    return minimise(data, options, sig, budget)


# ---------------------------------------------------------------------------
# The campaign

class Tally:
    def __init__(self):
        self.counts = {o: 0 for o in outcome.OUTCOMES}
        self.by_seed_kind = {}
        self.findings = {}  # signature -> count
        self.files = 0

    def add(self, item):
        self.files += 1
        self.counts[item["outcome"]] += 1
        kind = item["seed_file"].split("-")[0]
        per = self.by_seed_kind.setdefault(kind, {})
        per[item["outcome"]] = per.get(item["outcome"], 0) + 1

    def table(self):
        lines = ["%-24s %10d" % (o, n) for o, n in self.counts.items()]
        lines.append("%-24s %10d" % ("files", self.files))
        return "\n".join(lines)


def save_finding(findings_dir, item, saved_per_sig):
    sig = item["signature"]
    n = saved_per_sig.get(sig, 0)
    saved_per_sig[sig] = n + 1
    if n >= 20:
        return None
    slug = re.sub(r"[^a-z0-9]+", "-", sig.lower()).strip("-")[:60]
    base = os.path.join(findings_dir, "%s-%d" % (slug, item["index"]))
    with open(base + ".icode", "wb") as f:
        f.write(item["data"])
    with open(base + ".txt", "w", encoding="utf-8") as f:
        f.write("signature: %s\nfile index: %d\nseed file: %s\noptions: %s\nmutations:\n  %s\n\n%s\n" % (
            sig, item["index"], item["seed_file"], " ".join(item["options"]), "\n  ".join(item["done"]),
            item["said"]))
    return base


def campaign(args, seed_paths):
    work = args.work
    findings_dir = os.path.join(work, "findings")
    os.makedirs(findings_dir, exist_ok=True)
    cfg = {"work": work, "runner": runner_for(args.build, args.zopt, args.server), "timeout": args.timeout,
           "memory": None if sanitized(args.build) else MEMORY_LIMIT}
    chunk = 100
    chunks = [(args.seed, i, min(i + chunk, args.start + args.count))
              for i in range(args.start, args.start + args.count, chunk)]
    tally = Tally()
    first_of_sig = {}
    saved_per_sig = {}
    started = last_note = time.time()
    tally_path = os.path.join(work, "tally.json")

    def note(final=False):
        elapsed = time.time() - started
        state = {"seed": args.seed, "start": args.start, "count": args.count, "files": tally.files,
                 "seconds": round(elapsed), "outcomes": tally.counts, "by_seed_kind": tally.by_seed_kind,
                 "findings": tally.findings, "seed_files": len(seed_paths), "done": final}
        with open(tally_path + ".tmp", "w") as f:
            json.dump(state, f, indent=1)
        os.replace(tally_path + ".tmp", tally_path)
        bad = sum(n for o, n in tally.counts.items() if o not in outcome.ACCEPTABLE)
        print("mutate: %d/%d files, %.0f/s, %d exit 0, %d with message, %d findings" % (
            tally.files, args.count, tally.files / max(elapsed, 1e-9), tally.counts[outcome.OK],
            tally.counts[outcome.MESSAGE], bad), file=sys.stderr, flush=True)

    with multiprocessing.Pool(args.jobs, _init_worker, (seed_paths, cfg)) as pool:
        for results in pool.imap_unordered(_work, chunks):
            for item in results:
                tally.add(item)
                if item["outcome"] in outcome.ACCEPTABLE:
                    continue
                sig = item["signature"]
                tally.findings[sig] = tally.findings.get(sig, 0) + 1
                base = save_finding(findings_dir, item, saved_per_sig)
                if sig not in first_of_sig:
                    first_of_sig[sig] = (item, base)
                    print("mutate: FINDING %s (file %d, %s, %s; %s)" % (
                        sig, item["index"], item["seed_file"], " ".join(item["options"]), "; ".join(item["done"])),
                        file=sys.stderr, flush=True)
            if time.time() - last_note > args.note_every:
                last_note = time.time()
                note()
        # One input of each fault, cut down.
        jobs = [(it["data"], it["options"], sig, args.minimise_budget) for sig, (it, _) in first_of_sig.items()]
        for (sig, (it, base)), (small, runs) in zip(first_of_sig.items(), pool.map(_minimise_job, jobs)):
            if base:
                with open(base + ".min.icode", "wb") as f:
                    f.write(small)
            print("mutate: %s cut from %d to %d bytes in %d runs: %s" % (
                sig, len(it["data"]), len(small), runs, (base or "(not saved)") + ".min.icode"), file=sys.stderr)
    note(final=True)
    print("mutation campaign, seed %d, files %d-%d, %d files to corrupt, %.0f s" % (
        args.seed, args.start, args.start + args.count - 1, len(seed_paths), time.time() - started))
    print(tally.table())
    for sig, n in sorted(tally.findings.items()):
        print("finding %6d  %s" % (n, sig))
    if tally.findings:
        print("inputs: %s" % findings_dir)
    return 1 if tally.findings else 0


# ---------------------------------------------------------------------------
# The other two modes

def replay(args, seed_paths):
    cfg = {"work": args.work, "runner": runner_for(args.build, args.zopt, args.server), "timeout": args.timeout,
           "memory": None if sanitized(args.build) else MEMORY_LIMIT}
    _init_worker(seed_paths, cfg)
    name, data, options, done = make_case(args.seed, args.replay)
    r = run_case(data, options)
    out = os.path.join(args.work, "replay-%d.icode" % args.replay)
    with open(out, "wb") as f:
        f.write(data)
    print("file %d: %s, %d bytes, zopt %s\n  %s\n%s: %s\n%s" % (
        args.replay, name, len(data), " ".join(options), "\n  ".join(done), r.outcome, r.detail,
        r.said.decode(errors="replace")[-3000:]))
    print("input kept: %s" % out)
    return 0 if r.outcome in outcome.ACCEPTABLE else 1


def promote(args):
    """A finding that zopt now takes well becomes a regress input with the
    end it has now."""
    src, name = args.promote
    regress = os.path.join(HERE, "regress")
    data = open(src, "rb").read()
    scratch = os.path.join(args.work, "promote")
    os.makedirs(scratch, exist_ok=True)
    global _cfg
    _cfg = {"runner": ("exec", os.path.join(args.build, "zopt")), "timeout": 60, "memory": None, "scratch": scratch}
    ends = set()
    for level in LEVELS:
        r = run_case(data, [level])
        if r.outcome not in outcome.ACCEPTABLE:
            print("%s still fails at %s: %s (%s)" % (src, level, r.outcome, r.detail))
            return 1
        lines = [ln for ln in r.said.decode(errors="replace").splitlines() if ln.strip()]
        ends.add((r.status, lines[0] if lines else ""))
    if len(ends) != 1:
        print("%s ends differently at different levels: %s; write the .expect by hand" % (src, sorted(ends)))
        return 1
    status, line = ends.pop()
    dst = os.path.join(regress, name + ".icode")
    shutil.copyfile(src, dst)
    with open(os.path.join(regress, name + ".expect"), "w", encoding="utf-8") as f:
        f.write("# Found by the mutation campaign: say what it holds and what broke.\nexit %d\n" % status)
        if line:
            f.write(line + "\n")
    print("wrote %s and %s.expect; complete the comment in the latter" % (dst, name))
    return 0


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--build", default=os.path.join(TOP, "build"), help="build directory")
    ap.add_argument("--c2icode", help="the C front end (default: the build's)")
    ap.add_argument("--zopt", help="a zopt to start for every run (default: the build's fork server, else its zopt)")
    ap.add_argument("--server", help="a zopt-forkserver to run the files (a copy keeps a long campaign apart from "
                                     "rebuilds)")
    ap.add_argument("--csmith", type=parse_range, default=parse_range("1-6"),
                    help="csmith seeds A-B whose programs join the files to corrupt (default 1-6; '' for none)")
    ap.add_argument("--count", type=int, default=1000, help="files to corrupt and run")
    ap.add_argument("--start", type=int, default=0, help="index of the first file")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("-j", "--jobs", type=int, default=2)
    ap.add_argument("--timeout", type=float, default=5.0, help="seconds a run may take")
    ap.add_argument("--work", help="work directory (default: BUILD/mutate)")
    ap.add_argument("--reuse-seeds", action="store_true",
                    help="take the files of an earlier campaign's WORK/seeds even when the programs have changed")
    ap.add_argument("--minimise-budget", type=int, default=300, help="runs spent cutting down each fault")
    ap.add_argument("--note-every", type=float, default=60.0, help="seconds between progress lines")
    ap.add_argument("--replay", type=int, metavar="I", help="make file I of the campaign again and run it")
    ap.add_argument("--promote", nargs=2, metavar=("FILE", "NAME"), help="copy a fixed finding into regress/")
    args = ap.parse_args()
    args.build = os.path.abspath(args.build)
    args.work = os.path.abspath(args.work or os.path.join(args.build, "mutate"))
    os.makedirs(args.work, exist_ok=True)

    tools = zdiff.Tools(args.build, args.c2icode)
    if not os.access(tools.zopt, os.X_OK):
        print("mutate: no zopt in %s" % args.build)
        return SKIP
    if args.promote:
        return promote(args)
    seeds_dir = os.path.join(args.work, "seeds")
    stamp_path = os.path.join(args.work, "seeds.stamp")
    stamp = seeds_stamp(args, tools)
    same = os.path.exists(stamp_path) and open(stamp_path).read() == stamp
    if os.path.isdir(seeds_dir) and (args.reuse_seeds or same):
        seed_paths = sorted(os.path.join(seeds_dir, n) for n in os.listdir(seeds_dir) if n.endswith(".icode"))
    else:
        shutil.rmtree(seeds_dir, ignore_errors=True)
        seed_paths = prepare_seeds(args, tools, seeds_dir)
        with open(stamp_path, "w") as f:
            f.write(stamp)
    if not seed_paths:
        print("mutate: nothing to corrupt")
        return SKIP
    digest = hashlib.sha1(b"".join(open(p, "rb").read() for p in seed_paths)).hexdigest()[:12]
    print("mutate: %d files to corrupt (digest %s)" % (len(seed_paths), digest), file=sys.stderr)
    if args.replay is not None:
        return replay(args, seed_paths)
    return campaign(args, seed_paths)


if __name__ == "__main__":
    sys.exit(main())
