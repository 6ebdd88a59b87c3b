#!/usr/bin/env python3
"""zopt on the compiled C corpus: its speed and peak memory per level, and
the code it gives: the interpreter's weighted cost (icode-run --stats) of
each program before zopt and after it at every level. The cost table is the
code-quality figure we track; lower is better.

  bench/corpus.py [--build DIR] [--c2icode PATH] [--corpus DIR] [--seeds A-B] [--repeat N]

A benchmark, not a test: it never fails on its figures. A run whose output
differs from the reference is marked with '!' (tests/diff/run tells why).
Times are wall-clock on whatever else the machine is doing.
"""
import argparse
import math
import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests", "diff"))
import zdiff  # noqa: E402

LEVELS = [0, 1, 2, 3, 4]


def timed(cmd):
    """Runs `cmd`; its status, wall seconds and peak resident memory in KB."""
    start = time.monotonic()
    p = subprocess.Popen(cmd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(p.pid, 0)
    p.returncode = os.waitstatus_to_exitcode(status)
    return p.returncode, time.monotonic() - start, usage.ru_maxrss


def parse_seeds(text):
    first, _, last = text.partition("-")
    return list(range(int(first), int(last or first) + 1))


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--build", default=os.path.join(zdiff.TOP, "build"))
    ap.add_argument("--c2icode")
    ap.add_argument("--corpus", default=os.path.join(zdiff.TOP, "tests", "c"))
    ap.add_argument("--seeds", type=parse_seeds, help="csmith programs to add, seeds A-B")
    ap.add_argument("--repeat", type=int, default=3, help="zopt runs per file and level for the times")
    ap.add_argument("--max-steps", type=int, default=20000000)
    args = ap.parse_args()
    tools = zdiff.Tools(args.build, args.c2icode, None, os.path.abspath(args.corpus))
    missing = tools.missing(want_csmith=bool(args.seeds))
    if missing:
        print("bench: not run, missing: " + ", ".join(missing))
        return 0

    with tempfile.TemporaryDirectory() as work:
        programs = [(os.path.relpath(p, args.corpus), p, False) for p in zdiff.corpus_programs(args.corpus)]
        for seed in args.seeds or []:
            src = zdiff.csmith_program(tools, seed, work)
            if src:
                programs.append(("csmith %d" % seed, src, True))

        compiled = []  # (name, icode, reference result)
        for name, src, csmith in programs:
            icode = os.path.join(work, name.replace("/", "_").replace(" ", "_") + ".icode")
            r = zdiff.compile_c(tools, src, icode, csmith=csmith)
            if r.status != 0:
                continue
            ref = zdiff.run_icode(tools, icode, args.max_steps, 600, stats=True)
            compiled.append((name, icode, ref))

        print("zopt on the compiled corpus: %d files, %d bytes; best of %d runs per file" % (
            len(compiled), sum(os.path.getsize(c[1]) for c in compiled), args.repeat))
        print("%-6s %10s %10s %10s %12s" % ("level", "seconds", "files/s", "MB/s", "peak_KB"))
        for level in LEVELS:
            total, peak, failed = 0.0, 0, 0
            for name, icode, _ in compiled:
                best = None
                for _ in range(args.repeat):
                    status, secs, kb = timed([tools.zopt, "--opt_level=%d" % level, icode, icode + ".t"])
                    failed += status != 0
                    best = secs if best is None else min(best, secs)
                    peak = max(peak, kb)
                total += best
            size = sum(os.path.getsize(c[1]) for c in compiled)
            print("%-6s %10.3f %10.1f %10.2f %12d%s" % (
                "-o%d" % level, total, len(compiled) / total if total else 0, size / total / 1e6 if total else 0,
                peak, "  (%d runs failed)" % failed if failed else ""))

        print()
        print("weighted cost (icode-run --stats) before zopt and after it at each level")
        head = "%-30s %12s" % ("program", "before") + "".join("%12s" % ("-o%d" % l) for l in LEVELS) + "%9s" % "-o4/bef"
        print(head)
        ratios = {level: [] for level in LEVELS}
        for name, icode, ref in compiled:
            skip = zdiff.reference_skip_reason(ref)
            before = zdiff.weighted_cost(ref)
            if skip or before is None:
                print("%-30s %12s" % (name[:30], "(%s)" % skip if skip else "-"))
                continue
            cells = []
            for level in LEVELS:
                out = icode + ".o%d" % level
                z = zdiff.run([tools.zopt, "--opt_level=%d" % level, icode, out], 600)
                if z.status != 0:
                    cells.append("zopt-fail")
                    continue
                got = zdiff.run_icode(tools, out, 2 * args.max_steps, 600, stats=True)
                cost = zdiff.weighted_cost(got)
                mark = "" if got.status == ref.status and got.out == ref.out else "!"
                cells.append("%s%s" % (cost if cost is not None else "-", mark))
                if cost and before and not mark:
                    ratios[level].append(cost / before)
            last = cells[-1].rstrip("!")
            rel = "%.3f" % (int(last) / before) if last.isdigit() and before else "-"
            print("%-30s %12d" % (name[:30], before) + "".join("%12s" % c for c in cells) + "%9s" % rel)
        geo = []
        for level in LEVELS:
            r = ratios[level]
            geo.append("%.3f" % math.exp(sum(math.log(x) for x in r) / len(r)) if r else "-")
        print("%-30s %12s" % ("geometric mean, after/before", "1.000") + "".join("%12s" % g for g in geo))
    return 0


if __name__ == "__main__":
    sys.exit(main())
