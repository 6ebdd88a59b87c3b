#!/usr/bin/env python3
"""csmith programs through zopt: each seed's program is translated with
c2icode (as tests/c/run_csmith.py does), run with icode-run, then optimised
at every level and run again; output and exit status must not change.

    tools/simp-torture/csmith_diff.py --build build [--first 1] [--seeds 50] [--levels 0,1,2,3,4]

A program that does not end within the step limit before optimisation is
skipped: its output can't be compared.
"""
import argparse
import os
import subprocess
import sys
import tempfile

CSMITH_FLAGS = ["--no-longlong", "--no-int8", "--no-uint8"]


def run(cmd, timeout=600, **kw):
    try:
        return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout, **kw)
    except subprocess.TimeoutExpired:
        return None


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    top = os.path.dirname(os.path.dirname(here))
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--csmith", default="csmith")
    ap.add_argument("--csmith-include", default="/usr/include/csmith")
    ap.add_argument("--first", type=int, default=1)
    ap.add_argument("--seeds", type=int, default=50)
    ap.add_argument("--levels", default="0,1,2,3,4")
    ap.add_argument("--max-steps", type=int, default=20000000)
    ap.add_argument("--keep", default="")
    args = ap.parse_args()
    c2icode = os.path.join(args.build, "tools", "c2icode", "c2icode")
    icode_run = os.path.join(args.build, "tools", "icode-run", "icode-run")
    zopt = os.path.join(args.build, "zopt")
    for tool in (c2icode, icode_run, zopt):
        if not os.access(tool, os.X_OK):
            sys.exit("csmith_diff: %s is not built" % tool)
    prelude = os.path.join(top, "tests", "c", "csmith", "rill_csmith.h")
    levels = [int(x) for x in args.levels.split(",")]
    work = args.keep or tempfile.mkdtemp(prefix="csmith-diff-")
    os.makedirs(work, exist_ok=True)
    compared = mismatches = skipped = 0
    for seed in range(args.first, args.first + args.seeds):
        src = os.path.join(work, "s%d.c" % seed)
        icode = os.path.join(work, "s%d.icode" % seed)
        r = run([args.csmith] + CSMITH_FLAGS + ["-s", str(seed), "-o", src], 60, cwd=work)
        if r is None or r.returncode != 0:
            print("seed %d: csmith failed" % seed)
            skipped += 1
            continue
        r = run([c2icode, "-I", args.csmith_include, "-include", prelude, src, "-o", icode], 120)
        if r is None or r.returncode != 0:
            print("seed %d: c2icode refused it" % seed)
            skipped += 1
            continue
        ref = run([icode_run, icode, "--max-steps", str(args.max_steps)])
        if ref is None or ref.returncode != 0:
            print("seed %d: skipped (the input does not end cleanly)" % seed)
            skipped += 1
            continue
        bad = []
        for n in levels:
            opt = os.path.join(work, "s%d.o%d.icode" % (seed, n))
            r = run([zopt, "--opt_level=%d" % n, icode, opt])
            if r is None or r.returncode != 0:
                bad.append("-o%d: zopt status %s %s" % (n, r.returncode if r else "timeout",
                                                         r.stderr.decode(errors="replace").strip()[-300:] if r else ""))
                continue
            got = run([icode_run, opt, "--max-steps", str(args.max_steps)])
            compared += 1
            if got is None or got.returncode != ref.returncode or got.stdout != ref.stdout:
                bad.append("-o%d: status %s, output %s %s" % (
                    n, got.returncode if got else "timeout", "same" if got and got.stdout == ref.stdout else "differs",
                    got.stderr.decode(errors="replace").strip()[-200:] if got else ""))
        if bad:
            mismatches += len(bad)
            print("seed %d: MISMATCH %s" % (seed, "; ".join(bad)))
        else:
            print("seed %d: ok" % seed)
        sys.stdout.flush()
    print("%d seeds, %d skipped, %d optimised runs compared, %d mismatches" % (args.seeds, skipped, compared, mismatches))
    return 1 if mismatches else 0


if __name__ == "__main__":
    sys.exit(main())
