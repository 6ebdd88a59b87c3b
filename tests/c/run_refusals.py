#!/usr/bin/env python3
"""Checks that c2icode refuses what it cannot translate: each file of the
directory starts with "/* expect: MESSAGE */"; c2icode must exit with status
1, print MESSAGE on standard error, and leave no output file behind."""
import argparse
import os
import re
import subprocess
import sys
import tempfile


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--c2icode", required=True)
    ap.add_argument("directory")
    args = ap.parse_args()
    c2icode = os.path.abspath(args.c2icode)
    passed = failed = 0
    with tempfile.TemporaryDirectory() as tmp:
        for f in sorted(os.listdir(args.directory)):
            if not f.endswith(".c"):
                continue
            with open(os.path.join(args.directory, f)) as fh:
                m = re.match(r"/\* expect: (.*?) \*/", fh.readline())
            if not m:
                print("FAIL %s: no expected message" % f)
                failed += 1
                continue
            out = os.path.join(tmp, f + ".icode")
            r = subprocess.run([c2icode, f, "-o", out], cwd=args.directory, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, timeout=60)
            err = r.stderr.decode(errors="replace")
            problems = []
            if r.returncode != 1:
                problems.append("exit status %d, want 1" % r.returncode)
            if m.group(1) not in err:
                problems.append("message missing: %s\n    stderr: %s" % (m.group(1), err.strip()[-600:]))
            if os.path.exists(out):
                problems.append("an output file was left behind")
            if problems:
                failed += 1
                print("FAIL %s: %s" % (f, "; ".join(problems)))
            else:
                passed += 1
                print("ok   %s" % f)
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
