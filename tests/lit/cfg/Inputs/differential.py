#!/usr/bin/env python3
"""Differential runs of zopt: C programs through c2icode, then icode-run on
the file as c2icode wrote it and on what zopt --opt_level=N makes of it, for
N in 0..4. The outputs and exit statuses must agree. Optionally the weighted
cost that icode-run --stats reports is summed per level.

  differential.py --build build --c2icode PATH [--corpus tests/c]
                  [--csmith N] [--first S] [--cost]

The corpus is every *.c below the corpus directory except those under
refuse/ and csmith/. csmith programs are made without 8- and 64-bit types
(Rill has neither), with the prelude of the corpus's csmith/ directory when
there is one. Exit status 0 when nothing differs.
"""
import argparse
import os
import subprocess
import sys
import tempfile

LEVELS = [0, 1, 2, 3, 4]


def run(cmd, timeout):
    try:
        return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout)
    except subprocess.TimeoutExpired:
        return None


def cost(icode_run, path, steps):
    r = run([icode_run, path, "--stats", "--max-steps", str(steps)], 600)
    if r is None:
        return None
    for line in r.stderr.decode(errors="replace").splitlines():
        if line.strip().startswith("weighted cost"):
            return int(line.split()[-1])
    return None


def compare(name, icode, tools, args, tally, tmp):
    before = run([tools["run"], icode, "--max-steps", str(args.max_steps)], 600)
    if before is None:
        tally["unjudged"] += 1
        return
    for level in LEVELS:
        out = os.path.join(tmp, "o%d.icode" % level)
        z = run([tools["zopt"], "--opt_level=%d" % level, icode, out], 600)
        if z is None or z.returncode != 0:
            err = z.stderr.decode(errors="replace").strip().splitlines()[-1:] if z else ["timed out"]
            print("%s -o%d: zopt failed: %s" % (name, level, " ".join(err)), flush=True)
            tally["failed"] += 1
            continue
        after = run([tools["run"], out, "--max-steps", str(args.max_steps)], 600)
        if after is not None and after.returncode == before.returncode and after.stdout == before.stdout:
            tally["agree"] += 1
        else:
            print("%s -o%d: MISMATCH (status %d, then %s)" %
                  (name, level, before.returncode, after.returncode if after else "timeout"), flush=True)
            tally["differ"] += 1
        if args.cost and level in (1, 2):
            c0, c1 = cost(tools["run"], icode, args.max_steps), cost(tools["run"], out, args.max_steps)
            if c0 is not None and c1 is not None:
                tally["cost"][0] += c0 if level == 1 else 0
                tally["cost"][level] += c1


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", required=True)
    ap.add_argument("--c2icode", required=True)
    ap.add_argument("--corpus")
    ap.add_argument("--csmith", type=int, default=0, help="number of csmith seeds")
    ap.add_argument("--first", type=int, default=1)
    ap.add_argument("--max-steps", type=int, default=20000000)
    ap.add_argument("--cost", action="store_true")
    args = ap.parse_args()
    tools = {"zopt": os.path.join(args.build, "zopt"),
             "run": os.path.join(args.build, "tools", "icode-run", "icode-run")}
    tally = {"agree": 0, "differ": 0, "failed": 0, "unjudged": 0, "cost": {0: 0, 1: 0, 2: 0}}
    with tempfile.TemporaryDirectory() as tmp:
        icode = os.path.join(tmp, "p.icode")
        if args.corpus:
            for root, dirs, files in os.walk(args.corpus):
                dirs[:] = sorted(d for d in dirs if d not in ("refuse", "csmith"))
                for f in sorted(files):
                    if not f.endswith(".c"):
                        continue
                    src = os.path.join(root, f)
                    r = run([args.c2icode, src, "-o", icode], 120)
                    if r is None or r.returncode != 0:
                        tally["unjudged"] += 1
                        continue
                    compare(os.path.relpath(src, args.corpus), icode, tools, args, tally, tmp)
        prelude = os.path.join(args.corpus or "", "csmith", "rill_csmith.h")
        for seed in range(args.first, args.first + args.csmith):
            src = os.path.join(tmp, "s.c")
            r = run(["csmith", "--no-longlong", "--no-int8", "--no-uint8", "-s", str(seed), "-o", src], 60)
            if r is None or r.returncode != 0:
                tally["unjudged"] += 1
                continue
            cmd = [args.c2icode, "-I", "/usr/include/csmith", src, "-o", icode]
            if os.path.exists(prelude):
                cmd[1:1] = ["-include", prelude]
            r = run(cmd, 120)
            if r is None or r.returncode != 0:
                tally["unjudged"] += 1
                continue
            compare("csmith seed %d" % seed, icode, tools, args, tally, tmp)
    print("%d runs agree, %d differ, %d zopt failures, %d programs not judged" %
          (tally["agree"], tally["differ"], tally["failed"], tally["unjudged"]))
    if args.cost:
        c = tally["cost"]
        print("weighted cost: as written %d, after -o1 %d, after -o2 %d" % (c[0], c[1], c[2]))
    return 0 if tally["differ"] == 0 and tally["failed"] == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
