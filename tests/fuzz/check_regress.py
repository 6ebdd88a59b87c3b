#!/usr/bin/env python3
"""Runs the inputs that once broke a program through the ordinary programs.

  check_regress.py --build DIR REGRESS_DIR

Icode files (any name but *.itxt and *.expect) go through zopt at every
level and through icode-dis; icode texts (*.itxt) through icode-as. Each
program must end with status 0, or with status 1 and a message: never a
signal, another status, a sanitizer report, a hang or an output beyond a
fixed multiple of the input. With --check zopt runs in checking mode, and
an invariant it finds broken after a pass is a failure too.

Every input has a file NAME.expect beside it that says how its first
program (zopt, or icode-as for a text) ends, at every level:

  # why the input is here
  exit 1
  INTERNAL ERROR: Invalid I-code record, aborting

The "exit N" line gives the status; every further line is text that the
program's output must hold.
"""
import argparse
import os
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import outcome  # noqa: E402

# Generous: the sanitizer build on a busy machine is many times slower.
TIMEOUT = 60
# What zopt says in checking mode when a pass broke an invariant.
CHECK_FAILURE = b"!!! Opt error after "


def read_expectation(path):
    """(status, [texts]) from NAME.expect, or None when there is none."""
    if not os.path.exists(path):
        return None
    status, texts = None, []
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if not line.strip() or line.startswith("#"):
                continue
            if status is None:
                words = line.split()
                if len(words) != 2 or words[0] != "exit" or not words[1].isdigit():
                    raise SystemExit("%s: the first line must be 'exit N', not %r" % (path, line))
                status = int(words[1])
            else:
                texts.append(line)
    if status is None:
        raise SystemExit("%s: no 'exit N' line" % path)
    return status, texts


def commands(build, path, scratch, check):
    """The programs an input goes through; the first is the one its .expect speaks of."""
    if path.endswith(".itxt"):
        return [[os.path.join(build, "tools", "icode-text", "icode-as"), path, "-o",
                 os.path.join(scratch, "out.icode")]]
    # zopt writes its output and logs beside the names it is given.
    zopt = [os.path.join(build, "zopt")] + (["--debug=check"] if check else [])
    cmds = [zopt + ["--opt_level=%d" % level, path, os.path.join(scratch, "out.icode")] for level in range(5)]
    cmds.append([os.path.join(build, "tools", "icode-text", "icode-dis"), path, "-o",
                 os.path.join(scratch, "out.itxt")])
    return cmds


def verdict(cmd, scratch, limit, expect):
    r = outcome.run(cmd, cwd=scratch, timeout=TIMEOUT, fsize=limit)
    if r.outcome not in outcome.ACCEPTABLE:
        detail = r.said.decode(errors="replace")[-3000:]
        return "%s (%s):\n%s" % (r.outcome, r.detail, detail)
    if CHECK_FAILURE in r.said:
        return "checking mode:\n" + r.said.decode(errors="replace")[-2000:]
    if expect is None:
        return None
    status, texts = expect
    if r.status != status:
        return "status %d, expected %d:\n%s" % (r.status, status, r.said.decode(errors="replace")[-2000:])
    missing = [t for t in texts if t.encode() not in r.said]
    if missing:
        return "the output lacks %r:\n%s" % (missing[0], r.said.decode(errors="replace")[-2000:])
    return None


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", required=True)
    ap.add_argument("--check", action="store_true", help="zopt in checking mode (--debug=check)")
    ap.add_argument("regress")
    args = ap.parse_args()
    args.build = os.path.abspath(args.build)
    args.regress = os.path.abspath(args.regress)
    files = []
    for root, _, names in os.walk(args.regress):
        files += [os.path.join(root, n) for n in sorted(names)
                  if not n.startswith(".") and n != "README.md" and not n.endswith(".expect")]
    failed = checked = 0
    with tempfile.TemporaryDirectory() as scratch:
        for path in sorted(files):
            expect_path = os.path.splitext(path)[0] + ".expect"
            expect = read_expectation(expect_path)
            if expect is None:
                failed += 1
                print("FAIL %s\n  has no %s: say how zopt is to end on it" % (path, os.path.basename(expect_path)))
            limit = outcome.output_limit(os.path.getsize(path))
            for cmd in commands(args.build, path, scratch, args.check):
                if not os.access(cmd[0], os.X_OK):
                    continue
                checked += 1
                # The expectation speaks of zopt (every level) or icode-as.
                why = verdict(cmd, scratch, limit, expect if os.path.basename(cmd[0]) != "icode-dis" else None)
                if why:
                    failed += 1
                    print("FAIL %s\n  %s" % (" ".join(cmd), why.replace("\n", "\n  ")))
    print("fuzz regressions: %d files, %d runs, %d failed" % (len(files), checked, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
