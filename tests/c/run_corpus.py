#!/usr/bin/env python3
"""Runs the C corpus through c2icode and icode-run.

Each NAME.c below the corpus directory (refuse/ aside) is translated; the
file must be read back whole by icode-dis. When NAME.expected exists the
program runs under icode-run and its output must match. Programs whose
output does not depend on Rill's sizes (no "rill-only" in their first
comment) are also built natively with gcc, whose output must match the same
file: that keeps the expected outputs honest.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile


def find_tool(build_dir, *parts):
    path = os.path.join(build_dir, *parts)
    return path if os.path.isfile(path) and os.access(path, os.X_OK) else None


def run(cmd, **kw):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120, **kw)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--c2icode", required=True)
    ap.add_argument("--build-dir", required=True)
    ap.add_argument("--gcc", default="")
    ap.add_argument("corpus")
    ap.add_argument("only", nargs="*", help="run only these programs")
    args = ap.parse_args()

    icode_run = find_tool(args.build_dir, "tools", "icode-run", "icode-run")
    icode_dis = find_tool(args.build_dir, "tools", "icode-text", "icode-dis")
    gcc = args.gcc if args.gcc and os.path.exists(args.gcc) else None
    if not icode_run:
        print("note: icode-run is not built; programs are translated and read back only")

    programs = []
    for root, dirs, files in os.walk(args.corpus):
        dirs[:] = sorted(d for d in dirs if d != "refuse")
        for f in sorted(files):
            if f.endswith(".c"):
                programs.append(os.path.join(root, f))
    if args.only:
        programs = [p for p in programs if any(o in p for o in args.only)]

    passed = failed = 0
    with tempfile.TemporaryDirectory() as tmp:
        for src in programs:
            name = os.path.relpath(src, args.corpus)
            problems = check_program(src, tmp, args.c2icode, icode_run, icode_dis, gcc)
            if problems:
                failed += 1
                print("FAIL %s" % name)
                for p in problems:
                    print("    " + p.replace("\n", "\n    "))
            else:
                passed += 1
                print("ok   %s" % name)
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed else 0


def check_program(src, tmp, c2icode, icode_run, icode_dis, gcc):
    problems = []
    base = os.path.splitext(os.path.basename(src))[0]
    out = os.path.join(tmp, base + ".icode")
    with open(src) as f:
        head = f.read(400)
    rill_only = "rill-only" in head
    m = re.search(r"exit: (\d+)", head)
    want_status = int(m.group(1)) if m else 0
    expected_path = os.path.splitext(src)[0] + ".expected"
    expected = open(expected_path).read() if os.path.exists(expected_path) else None

    r = run([c2icode, src, "-o", out])
    if r.returncode != 0 or not os.path.exists(out):
        return ["c2icode failed (%d):\n%s" % (r.returncode, r.stderr.decode(errors="replace")[-2000:])]
    if icode_dis:
        r = run([icode_dis, out])
        if r.returncode != 0:
            problems.append("icode-dis cannot read the file:\n" + r.stderr.decode(errors="replace")[-1000:])
    if expected is None:
        return problems
    if icode_run:
        r = run([icode_run, out])
        got = r.stdout.decode(errors="replace")
        if got != expected or r.returncode != want_status:
            problems.append("icode-run: status %d (want %d)\n--- got\n%s--- want\n%s%s" %
                            (r.returncode, want_status, got, expected,
                             r.stderr.decode(errors="replace")[-1000:]))
    if gcc and not rill_only:
        exe = os.path.join(tmp, base + ".native")
        r = run([gcc, "-std=gnu11", "-w", "-o", exe, src, "-lm"])
        if r.returncode != 0:
            problems.append("gcc failed:\n" + r.stderr.decode(errors="replace")[-1000:])
        else:
            r = run([exe])
            got = r.stdout.decode(errors="replace")
            if got != expected or r.returncode != want_status:
                problems.append("native run differs: status %d\n--- got\n%s--- want\n%s" %
                                (r.returncode, got, expected))
    return problems


if __name__ == "__main__":
    sys.exit(main())
