#!/usr/bin/env python3
"""A constant-folding torture for zopt.

Writes random programs in icode text: expressions over every integer and
floating type and operator, some of constants only (which zopt folds), some
over globals (which it simplifies), printing every result. Each program is
assembled with icode-as, run with icode-run, then optimised by zopt at every
level and run again: the output and the exit status must not change (the sign of a NaN
aside, which IEEE 754 leaves open).

    tools/simp-torture/simp_torture.py --build build --count 200 [--seed N] [--keep DIR]

The programs have no undefined behaviour: divisors are made odd, shift
counts masked to 0..31, and no floating value is converted to an integer
unless it is a small constant. A mismatch prints the program's name and,
with --keep, leaves the files behind.
"""
import argparse
import os
import random
import subprocess
import sys
import tempfile

INT_TYPES = ["short", "unsigned short", "int", "unsigned"]
ALL_TYPES = INT_TYPES + ["float"]
SIGNED = {"short": True, "unsigned short": False, "int": True, "unsigned": False}
BITS = {"short": 16, "unsigned short": 16, "int": 32, "unsigned": 32}

INT_EDGES = [0, 1, -1, 2, 3, 5, 7, 8, 15, 16, 31, 32, 255, 256, 1000, 32767, -32768, 65535, 65536,
             2147483647, -2147483648, 0x55555555, -100, 12345]
FLOAT_EDGES = ["0.0", "-0.0", "1.0", "-1.0", "2.0", "0.5", "3.0", "0.1", "1e30", "-7.25", "65536.0",
               "1e-40", "3.4e38", "nan", "inf", "0.333333343", "-3.4e38", "0x1p-149"]


def wrap(v, t):
    bits = BITS[t]
    v &= (1 << bits) - 1
    if SIGNED[t] and v >= 1 << (bits - 1):
        v -= 1 << bits
    return v


class Gen:
    def __init__(self, rng):
        self.rng = rng
        self.globals = {t: [] for t in ALL_TYPES}
        self.consts = {t: [] for t in INT_TYPES}
        self.decls = []
        self.sinks = []

    def pick(self, seq):
        return seq[self.rng.randrange(len(seq))]

    def declare(self):
        n = 0
        for t in ALL_TYPES:
            for _ in range(3):
                name = "g%d" % n
                n += 1
                self.globals[t].append(name)
                self.decls.append("global %s : %s" % (name, t))
                self.decls.append("init %s {\n  %s\n}" % (name, self.constant(t)))
            if t in INT_TYPES:
                name = "k%d" % n
                n += 1
                self.consts[t].append(name)
                self.decls.append("global %s : const %s class=static" % (name, t))
                self.decls.append("init %s {\n  %s\n}" % (name, self.constant(t)))

    def sink(self, t):
        """A global that only this one access touches: C leaves the order of
        two unsequenced accesses to one object open, so a program must not
        read what it modifies in the same expression."""
        name = "s%d" % len(self.sinks)
        self.sinks.append((name, t))
        self.decls.append("global %s : %s" % (name, t))
        return name

    def constant(self, t):
        if t == "float":
            if self.rng.random() < 0.3:
                text = "%.9g" % self.rng.uniform(-1000, 1000)
            else:
                text = self.pick(FLOAT_EDGES)
            return "(FCON float %s)" % text
        v = self.pick(INT_EDGES) if self.rng.random() < 0.7 else self.rng.randrange(-2**31, 2**31)
        return "(ICON %s %d)" % (t, wrap(v, t))

    def leaf(self, t, const_only):
        r = self.rng.random()
        if const_only or r < 0.35:
            return self.constant(t)
        if t in INT_TYPES and self.consts[t] and r < 0.5:
            return "(NAME %s)" % self.pick(self.consts[t])
        return "(NAME %s)" % self.pick(self.globals[t])

    def expr(self, t, depth, const_only):
        if depth <= 0 or self.rng.random() < 0.15:
            return self.leaf(t, const_only)
        d = depth - 1
        if t == "float":
            c = self.rng.randrange(8)
            if c < 4:
                op = ["PLUS", "MINUS", "MULT", "DIV"][c]
                return "(%s float %s %s)" % (op, self.expr(t, d, const_only), self.expr(t, d, const_only))
            if c == 4:
                return "(UMINUS float %s)" % self.expr(t, d, const_only)
            if c == 5:
                return "(SCONV float %s)" % self.expr(self.pick(INT_TYPES), d, const_only)
            if c == 6:
                return self.quest(t, d, const_only)
            return self.leaf(t, const_only)
        c = self.rng.randrange(18)
        e = lambda: self.expr(t, d, const_only)
        if c < 8:
            op = ["PLUS", "MINUS", "MULT", "ANDB", "ORB", "XORB", "PLUS", "MINUS"][c]
            return "(%s %s %s %s)" % (op, t, e(), e())
        if c == 8 or c == 9:
            op = "DIV" if c == 8 else "MOD"
            divisor = "(ORB %s %s (ICON %s 1))" % (t, e(), t)
            return "(%s %s %s %s)" % (op, t, e(), divisor)
        if c == 10:
            count = "(ANDB int %s (ICON int 31))" % self.expr("int", d, const_only)
            return "(%s %s %s %s)" % (self.pick(["SLL", "SRL"]), t, e(), count)
        if c == 11:
            return "(%s %s %s)" % (self.pick(["UMINUS", "NOTB", "ABS"]), t, e())
        if c == 12:
            frm = self.pick(INT_TYPES)
            if self.rng.random() < 0.2:
                v = self.rng.randrange(-30000, 30000) if SIGNED[t] else self.rng.randrange(0, 60000)
                return "(SCONV %s (FCON float %s%d.5))" % (t, "-" if v < 0 else "", abs(v))
            return "(SCONV %s %s)" % (t, self.expr(frm, d, const_only))
        if c == 13:
            return "(SCONV %s %s)" % (t, self.boolean(d, const_only))
        if c == 14:
            return self.quest(t, d, const_only)
        if c == 15 and not const_only:
            return "(COMMAOP %s (ASG (NAME %s) %s) %s)" % (t, self.sink(t), e(), e())
        if c == 16 and not const_only:
            return "(PLUSPLUS (NAME %s) (ICON %s 1))" % (self.sink(t), t)
        return self.leaf(t, const_only)

    def boolean(self, d, const_only):
        c = self.rng.randrange(4)
        if c == 0:
            return "(EXCLAIM %s)" % self.expr(self.pick(ALL_TYPES), d, const_only)
        if c == 1:
            op = self.pick(["ANDAND", "OROR"])
            return "(%s %s %s)" % (op, self.expr(self.pick(ALL_TYPES), d, const_only),
                                   self.expr(self.pick(ALL_TYPES), d, const_only))
        t = self.pick(ALL_TYPES)
        if t == "float" or SIGNED[t]:
            op = self.pick(["EQ", "NEQ", "LT", "LE", "GT", "GE"])
        else:
            op = self.pick(["EQ", "NEQ", "ULT", "ULE", "UGT", "UGE"])
        return "(%s %s %s)" % (op, self.expr(t, d, const_only), self.expr(t, d, const_only))

    def quest(self, t, d, const_only):
        return "(QUEST %s %s (COLON %s %s %s))" % (t, self.boolean(d, const_only), t,
                                                   self.expr(t, d, const_only), self.expr(t, d, const_only))

    def print_stmt(self, t, e):
        if t == "float":
            fmt, arg = "%a\\n", "(SCONV double %s)" % e
        elif SIGNED[t]:
            fmt, arg = "%d\\n", "(SCONV int %s)" % e
        else:
            fmt, arg = "%u\\n", "(SCONV unsigned %s)" % e
        n = len(fmt.replace("\\n", "\n")) + 1
        return ("  (CALL vargs=1 (UAND (NAME printf)) (COMMA (UAND const char* (SCON char[%d] \"%s\")) %s))"
                % (n, fmt, arg))

    def program(self, statements):
        self.declare()
        lines = ["; generated by simp_torture.py", "global printf : int(const char*, ...) class=extref"]
        lines += self.decls
        lines.append("function main : int()")
        for _ in range(statements):
            t = self.pick(ALL_TYPES)
            const_only = self.rng.random() < 0.5
            lines.append(self.print_stmt(t, self.expr(t, self.rng.randrange(1, 6), const_only)))
        for t in ALL_TYPES:
            for g in self.globals[t]:
                lines.append(self.print_stmt(t, "(NAME %s)" % g))
        for name, t in self.sinks:
            lines.append(self.print_stmt(t, "(NAME %s)" % name))
        # Globals are declared before the function that uses them.
        lines[2:2] = [d for d in self.decls if d not in lines]
        lines.append("  (RETURN (NAME main) (ICON 0))")
        lines.append("end")
        return "\n".join(lines) + "\n"


def nan_signless(output):
    """The sign of a NaN is left open by IEEE 754 and by C (x * -1.0 and -x
    may differ in it): outputs are compared without it."""
    return output.replace(b"-nan", b"nan")


def run(cmd):
    p = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    return p.returncode, p.stdout, p.stderr


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--count", type=int, default=100)
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--statements", type=int, default=60)
    ap.add_argument("--levels", default="0,1,2,3,4")
    ap.add_argument("--keep", default="")
    args = ap.parse_args()
    tools = {
        "as": os.path.join(args.build, "tools", "icode-text", "icode-as"),
        "run": os.path.join(args.build, "tools", "icode-run", "icode-run"),
        "zopt": os.path.join(args.build, "zopt"),
    }
    for k, v in tools.items():
        if not os.access(v, os.X_OK):
            sys.exit("simp_torture: %s is not built (%s)" % (k, v))
    levels = [int(x) for x in args.levels.split(",")]
    workdir = args.keep or tempfile.mkdtemp(prefix="simp-torture-")
    os.makedirs(workdir, exist_ok=True)
    mismatches = runs = 0
    for i in range(args.count):
        seed = args.seed + i
        base = os.path.join(workdir, "t%d" % seed)
        with open(base + ".itxt", "w") as f:
            f.write(Gen(random.Random(seed)).program(args.statements))
        st, _, err = run([tools["as"], base + ".itxt", "-o", base + ".icode"])
        if st != 0:
            print("t%d: icode-as failed: %s" % (seed, err.decode(errors="replace").strip()))
            mismatches += 1
            continue
        ref = run([tools["run"], base + ".icode"])
        for n in levels:
            opt = "%s.o%d.icode" % (base, n)
            st, _, err = run([tools["zopt"], "--opt_level=%d" % n, base + ".icode", opt])
            if st != 0:
                print("t%d -o%d: zopt failed with status %d: %s" % (seed, n, st, err.decode(errors="replace").strip()))
                mismatches += 1
                continue
            got = run([tools["run"], opt])
            runs += 1
            if got[0] != ref[0] or nan_signless(got[1]) != nan_signless(ref[1]):
                mismatches += 1
                a = ref[1].decode(errors="replace").splitlines()
                b = got[1].decode(errors="replace").splitlines()
                line = next((k for k in range(min(len(a), len(b))) if a[k] != b[k]), min(len(a), len(b)))
                print("t%d -o%d: MISMATCH status %d/%d, first difference at output line %d: %r / %r" %
                      (seed, n, ref[0], got[0], line + 1, a[line] if line < len(a) else None,
                       b[line] if line < len(b) else None))
    print("%d programs, %d optimised runs compared, %d mismatches%s" %
          (args.count, runs, mismatches, "" if args.keep else " (files in %s)" % workdir))
    return 1 if mismatches else 0


if __name__ == "__main__":
    sys.exit(main())
