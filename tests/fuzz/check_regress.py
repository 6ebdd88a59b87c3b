#!/usr/bin/env python3
"""Runs the inputs that once broke a program through the ordinary programs.

  check_regress.py --build DIR REGRESS_DIR

Icode files (any name but *.itxt) go through zopt at every level and
through icode-dis; icode texts (*.itxt) through icode-as. Each program must
end with status 0, or with status 1 and a message: never a signal, another
status, a sanitizer report or a hang. With --check zopt runs in checking
mode, and an invariant it finds broken after a pass is a failure too.
"""
import argparse
import os
import subprocess
import sys
import tempfile

TIMEOUT = 60
SANITIZER_MARKS = (b"ERROR: AddressSanitizer", b"runtime error:", b"ERROR: LeakSanitizer")
# What zopt says in checking mode when a pass broke an invariant.
CHECK_FAILURE = b"!!! Opt error after "



def verdict(cmd, cwd):
    try:
        r = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIMEOUT, cwd=cwd)
    except subprocess.TimeoutExpired:
        return "no end within %d s" % TIMEOUT
    said = (r.stdout + r.stderr).strip()
    if any(m in r.stderr for m in SANITIZER_MARKS):
        return "sanitizer report:\n" + r.stderr.decode(errors="replace")[-3000:]
    if CHECK_FAILURE in r.stderr:
        return "checking mode:\n" + r.stderr.decode(errors="replace")[-2000:]
    if r.returncode == 0:
        return None
    if r.returncode == 1:
        return None if said else "status 1 without a message"
    return "status %d:\n%s" % (r.returncode, said.decode(errors="replace")[-2000:])


def commands(build, path, scratch, check):
    if path.endswith(".itxt"):
        return [[os.path.join(build, "tools", "icode-text", "icode-as"), path, "-o",
                 os.path.join(scratch, "out.icode")]]
    # zopt writes its output and logs beside the names it is given.
    zopt = [os.path.join(build, "zopt")] + (["--debug=check"] if check else [])
    cmds = [zopt + ["--opt_level=%d" % level, path, os.path.join(scratch, "out.icode")] for level in range(5)]
    cmds.append([os.path.join(build, "tools", "icode-text", "icode-dis"), path, "-o",
                 os.path.join(scratch, "out.itxt")])
    return cmds


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", required=True)
    ap.add_argument("--check", action="store_true", help="zopt in checking mode (--debug=check)")
    ap.add_argument("regress")
    args = ap.parse_args()
    files = []
    for root, _, names in os.walk(args.regress):
        files += [os.path.join(root, n) for n in sorted(names) if not n.startswith(".") and n != "README.md"]
    failed = checked = 0
    with tempfile.TemporaryDirectory() as scratch:
        for path in sorted(files):
            for cmd in commands(args.build, path, scratch, args.check):
                if not os.access(cmd[0], os.X_OK):
                    continue
                checked += 1
                why = verdict(cmd, scratch)
                if why:
                    failed += 1
                    print("FAIL %s\n  %s" % (" ".join(cmd), why.replace("\n", "\n  ")))
    print("fuzz regressions: %d files, %d runs, %d failed" % (len(files), checked, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
