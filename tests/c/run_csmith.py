#!/usr/bin/env python3
"""csmith programs through c2icode and icode-run, checked against gcc.

Seeds 1..N are generated without 8-bit and 64-bit types, so that their
checksums do not depend on the integer widths where Rill and the host
differ; each program is translated, run by icode-run, and its output
compared with the same program built natively by gcc. A seed passes when
the outputs agree. A program that does not finish natively within the time
limit cannot be judged on its output: it must then run under icode-run,
without any error, until the step limit. The test passes when no seed fails
and at least --need seeds pass one way or the other.
"""
import argparse
import os
import subprocess
import sys
import tempfile

CSMITH_FLAGS = ["--no-longlong", "--no-int8", "--no-uint8"]


def run(cmd, timeout, **kw):
    try:
        return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout, **kw)
    except subprocess.TimeoutExpired:
        return None


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    ap = argparse.ArgumentParser()
    ap.add_argument("--c2icode", required=True)
    ap.add_argument("--build-dir", required=True)
    ap.add_argument("--csmith", default="csmith")
    ap.add_argument("--csmith-include", default="/usr/include/csmith")
    ap.add_argument("--gcc", default="gcc")
    ap.add_argument("--seeds", type=int, default=100)
    ap.add_argument("--first", type=int, default=1)
    ap.add_argument("--need", type=int, default=95)
    ap.add_argument("--max-steps", type=int, default=100000000)
    ap.add_argument("--long-steps", type=int, default=20000000,
                    help="steps given to a program that runs too long natively")
    args = ap.parse_args()
    icode_run = os.path.join(args.build_dir, "tools", "icode-run", "icode-run")
    if not os.path.exists(icode_run):
        print("icode-run is not built")
        print("0 passed, 1 failed")
        return 1
    prelude = os.path.join(here, "csmith", "rill_csmith.h")
    passed, failed, unjudged = [], [], []
    with tempfile.TemporaryDirectory() as tmp:
        for seed in range(args.first, args.first + args.seeds):
            src = os.path.join(tmp, "s%d.c" % seed)
            r = run([args.csmith] + CSMITH_FLAGS + ["-s", str(seed), "-o", src], 60, cwd=tmp)
            if r is None or r.returncode != 0:
                failed.append((seed, "csmith failed"))
                continue
            native = os.path.join(tmp, "native")
            r = run([args.gcc, "-w", "-O1", "-I", args.csmith_include, "-o", native, src], 120)
            want = None
            if r is not None and r.returncode == 0:
                r = run([native], 5)
                if r is not None and r.returncode == 0:
                    want = r.stdout
            icode = os.path.join(tmp, "s.icode")
            r = run([args.c2icode, "-I", args.csmith_include, "-include", prelude, src, "-o", icode], 120)
            if r is None or r.returncode != 0:
                msg = "c2icode: " + (r.stderr.decode(errors="replace").strip().splitlines() or ["?"])[-1] if r else "c2icode timed out"
                failed.append((seed, msg))
                continue
            if want is None:
                r = run([icode_run, icode, "--max-steps", str(args.long_steps)], 600)
                err = r.stderr.decode(errors="replace") if r else ""
                if r is not None and (r.returncode == 0 or (r.returncode == 3 and "step limit" in err)):
                    unjudged.append((seed, "runs past the native time limit; ran %d steps without error" % args.long_steps))
                else:
                    failed.append((seed, "long run: " + (err.strip().splitlines() or ["timed out"])[-1]))
                print("seed %d: %s" % (seed, "long" if not failed or failed[-1][0] != seed else "FAIL " + failed[-1][1]))
                continue
            r = run([icode_run, icode, "--max-steps", str(args.max_steps)], 600)
            if r is None:
                failed.append((seed, "icode-run timed out"))
            elif r.returncode != 0 or r.stdout != want:
                err = r.stderr.decode(errors="replace").strip().splitlines()
                failed.append((seed, "icode-run status %d: %s | %s" % (
                    r.returncode, r.stdout.decode(errors="replace").strip()[-80:], err[-1] if err else "")))
            else:
                passed.append(seed)
            print("seed %d: %s" % (seed, "ok" if passed and passed[-1] == seed else "FAIL " + failed[-1][1]))
            sys.stdout.flush()
    for seed, why in unjudged:
        print("seed %d: output not judged (%s)" % (seed, why))
    print("csmith: %d of %d seeds agree with gcc, %d run too long to compare, %d failed (need %d)" %
          (len(passed), args.seeds, len(unjudged), len(failed), args.need))
    ok = not failed and len(passed) + len(unjudged) >= args.need
    print("%d passed, %d failed" % (1 if ok else 0, 0 if ok else 1))
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
