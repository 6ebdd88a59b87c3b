#!/usr/bin/env python3
"""The C corpus through zopt: differential runs and the interpreter's cost.

Each program below the corpus directory (refuse/ aside) is translated with
c2icode and run with icode-run; then optimised by zopt at each level and run
again. Output and exit status must stay the same. With --cost LEVELS the
weighted cost of icode-run --stats is reported per program, before and
after zopt at those levels, with the totals.

    tools/simp-torture/corpus_diff.py --build build tests/c [--cost 0,2] [--levels 0,1,2,3,4]
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile


def run(cmd):
    try:
        p = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=300)
        return p.returncode, p.stdout, p.stderr
    except subprocess.TimeoutExpired:
        return -1, b"", b"timeout"


def weighted_cost(stderr):
    m = re.search(rb"weighted cost\s+(\d+)", stderr)
    return int(m.group(1)) if m else None


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--levels", default="0,1,2,3,4")
    ap.add_argument("--cost", default="", help="report the weighted cost at these levels (e.g. 0,2)")
    ap.add_argument("--keep", default="")
    ap.add_argument("corpus")
    ap.add_argument("only", nargs="*")
    args = ap.parse_args()
    tools = {
        "c2icode": os.path.join(args.build, "tools", "c2icode", "c2icode"),
        "run": os.path.join(args.build, "tools", "icode-run", "icode-run"),
        "zopt": os.path.join(args.build, "zopt"),
    }
    for k, v in tools.items():
        if not os.access(v, os.X_OK):
            sys.exit("corpus_diff: %s is not built (%s)" % (k, v))
    levels = [int(x) for x in args.levels.split(",")]
    programs = []
    for root, dirs, files in os.walk(args.corpus):
        dirs[:] = sorted(d for d in dirs if d != "refuse")
        programs += [os.path.join(root, f) for f in sorted(files) if f.endswith(".c")]
    if args.only:
        programs = [p for p in programs if any(o in p for o in args.only)]
    work = args.keep or tempfile.mkdtemp(prefix="corpus-diff-")
    os.makedirs(work, exist_ok=True)
    mismatches = compared = 0
    cost_levels = [int(x) for x in args.cost.split(",")] if args.cost else []
    costs = []
    for src in programs:
        name = os.path.relpath(src, args.corpus)
        base = os.path.join(work, name.replace("/", "_")[:-2])
        st, _, err = run([tools["c2icode"], src, "-o", base + ".icode"])
        if st != 0:
            print("skip %s: c2icode refused it" % name)
            continue
        ref = run([tools["run"], "--stats", base + ".icode"])
        row = [name, weighted_cost(ref[2])]
        for n in levels:
            opt = "%s.o%d.icode" % (base, n)
            st, _, err = run([tools["zopt"], "--opt_level=%d" % n, base + ".icode", opt])
            if st != 0:
                print("FAIL %s -o%d: zopt status %d: %s" % (name, n, st, err.decode(errors="replace").strip()[-500:]))
                mismatches += 1
                continue
            got = run([tools["run"], "--stats", opt])
            compared += 1
            if got[0] != ref[0] or got[1] != ref[1]:
                mismatches += 1
                print("FAIL %s -o%d: status %d/%d, output %s" %
                      (name, n, ref[0], got[0], "same" if got[1] == ref[1] else "differs"))
            if n in cost_levels:
                row.append(weighted_cost(got[2]))
        if cost_levels:
            costs.append(row)
        print("ok   %s" % name)
    print("%d programs, %d optimised runs compared, %d mismatches" % (len(programs), compared, mismatches))
    if costs:
        print("\nweighted cost (icode-run --stats): the input, then after zopt at %s" %
              ", ".join("--opt_level=%d" % n for n in cost_levels))
        totals = [0] * (1 + len(cost_levels))
        for row in costs:
            if any(v is None for v in row[1:]):
                print("  %-32s  (no statistics)" % row[0])
                continue
            for k, v in enumerate(row[1:]):
                totals[k] += v
            print("  %-32s %10d" % (row[0], row[1]) +
                  "".join(" %10d %+7.2f%%" % (v, 100.0 * (v - row[1]) / row[1] if row[1] else 0.0) for v in row[2:]))
        print("  %-32s %10d" % ("total", totals[0]) +
              "".join(" %10d %+7.2f%%" % (v, 100.0 * (v - totals[0]) / totals[0] if totals[0] else 0.0)
                      for v in totals[1:]))
    return 1 if mismatches else 0


if __name__ == "__main__":
    sys.exit(main())
