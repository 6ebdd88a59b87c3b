#!/usr/bin/env python3
"""Checks of the differential runner's own judgement, on files the build
makes without the front end: the comparison that ignores zopt's command-line
comments must still see any other change, and a run that differs from its
reference must be reported.

  test_zdiff.py BUILD_DIR
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import zdiff  # noqa: E402

BUILD = None


def read(path):
    with open(path, "rb") as f:
        return f.read()


def tool(*parts):
    path = os.path.join(BUILD, *parts)
    if not os.access(path, os.X_OK):
        raise unittest.SkipTest("%s is not built" % path)
    return path


class ZdiffTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="zdiff-test-")
        self.zopt = tool("zopt")

    def tearDown(self):
        shutil.rmtree(self.dir, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.dir, name)

    def zopt_run(self, src, dst, *opts):
        subprocess.run([self.zopt] + list(opts) + [src, dst], check=True, stdout=subprocess.DEVNULL)

    def test_comments_ignored_other_changes_seen(self):
        gen = tool("tools", "icode-gen", "icode-gen")
        subprocess.run([gen, "--functions", "4", "--nodes", "60", "-o", self.path("g.icode")], check=True,
                       stdout=subprocess.DEVNULL)
        self.zopt_run(self.path("g.icode"), self.path("a.icode"))
        self.zopt_run(self.path("a.icode"), self.path("b.icode"), "--opt_level=0")
        a, b = read(self.path("a.icode")), read(self.path("b.icode"))
        self.assertGreater(len(b), len(a), "each run adds its command line")
        self.assertIsNone(zdiff.same_but_comments(self.path("a.icode"), self.path("b.icode")))

        # The same file with one byte of the last expression node changed.
        recs = zdiff._records(b)
        start, rid, body, end = [r for r in recs if r[1] == 101 and r[3] > r[2]][-1]
        changed = bytearray(b)
        changed[end - 1] ^= 1
        with open(self.path("c.icode"), "wb") as f:
            f.write(changed)
        self.assertIn("differs", zdiff.same_but_comments(self.path("a.icode"), self.path("c.icode")))

        # A record fewer.
        with open(self.path("d.icode"), "wb") as f:
            f.write(b[:start] + b[end:])
        self.assertIsNotNone(zdiff.same_but_comments(self.path("a.icode"), self.path("d.icode")))

        # A comment that is not a command line counts.
        with open(self.path("e.icode"), "wb") as f:
            f.write(b[:start] + bytes([47, 3]) + b"hi\0" + b[start:])
        self.assertIsNotNone(zdiff.same_but_comments(self.path("b.icode"), self.path("e.icode")))

    def test_notes_and_type_numbers_pass(self):
        gen = tool("tools", "icode-gen", "icode-gen")
        dis, asm = tool("tools", "icode-text", "icode-dis"), tool("tools", "icode-text", "icode-as")
        subprocess.run([gen, "--functions", "3", "--nodes", "40", "-o", self.path("g.icode")], check=True,
                       stdout=subprocess.DEVNULL)
        self.zopt_run(self.path("g.icode"), self.path("a.icode"))
        a = read(self.path("a.icode"))

        # zopt's own notes (text beginning with '*') are dropped by a reading.
        start = [r for r in zdiff._records(a) if r[1] == 101][-1][0]
        with open(self.path("n.icode"), "wb") as f:
            f.write(a[:start] + bytes([47, 5]) + b"*** \0" + a[start:])
        self.assertIsNone(zdiff.same_but_comments(self.path("a.icode"), self.path("n.icode")))

        # The same file with its types numbered otherwise: the same but for
        # the numbers, and only with icode-dis at hand.
        text = subprocess.run([dis, self.path("a.icode")], check=True, stdout=subprocess.PIPE).stdout.decode()
        defined = sorted({int(n) for n in re.findall(r"^type #(\d+)", text, re.M)})
        self.assertGreater(len(defined), 1)
        moved = defined[-2]

        def renumber(t):
            return "\n".join(re.sub(r"#%d\b" % moved, "#%d" % (defined[-1] + 7), line)
                             if line.startswith(("type ", "  param #")) else line for line in t.split("\n"))

        for name, body in (("r", renumber(text)), ("s", renumber(text).replace("(ICON int 1)", "(ICON int 2)", 1))):
            with open(self.path(name + ".txt"), "w") as f:
                f.write(body)
            subprocess.run([asm, self.path(name + ".txt"), "-o", self.path(name + ".icode")], check=True)
        self.assertNotEqual(read(self.path("r.icode")), a)
        self.assertIsNotNone(zdiff.same_but_comments(self.path("a.icode"), self.path("r.icode")))
        self.assertIsNone(zdiff.same_but_comments(self.path("a.icode"), self.path("r.icode"), dis))
        self.assertIn("(ICON int 2)", read(self.path("s.txt")).decode())
        self.assertIsNotNone(zdiff.same_but_comments(self.path("a.icode"), self.path("s.icode"), dis))

    def test_run_that_differs_is_reported(self):
        src = os.path.join(zdiff.TOP, "tests", "run", "arith.itxt")
        if not os.path.exists(src):
            self.skipTest("no program in tests/run")
        subprocess.run([tool("tools", "icode-text", "icode-as"), src, "-o", self.path("p.icode")], check=True)
        tools = zdiff.Tools(BUILD)
        ref = zdiff.run_icode(tools, self.path("p.icode"), 1000000, 60)
        self.assertIsNone(zdiff.reference_skip_reason(ref))
        failure, cost = zdiff.check_variant(tools, self.path("p.icode"), ref, "--opt_level=2", self.dir, 1000000, 60)
        self.assertIsNone(failure)
        self.assertGreater(cost, 0)
        wrong = zdiff.Result(ref.status, ref.out + b"more\n", b"")
        failure, _ = zdiff.check_variant(tools, self.path("p.icode"), wrong, "--opt_level=2", self.dir, 1000000, 60)
        self.assertIn("runs differently", failure)
        self.assertIn("<end of output>", failure)
        wrong = zdiff.Result(ref.status + 1, ref.out, b"")
        failure, _ = zdiff.check_variant(tools, self.path("p.icode"), wrong, "--opt_level=0", self.dir, 1000000, 60)
        self.assertIn("exit status", failure)

    def test_zopt_failure_is_reported(self):
        with open(self.path("bad.icode"), "wb") as f:
            f.write(b"\x08\x03not icode")
        tools = zdiff.Tools(BUILD)
        failure, _ = zdiff.check_variant(tools, self.path("bad.icode"), zdiff.Result(0, b"", b""), "--opt_level=1",
                                         self.dir, 1000, 60)
        self.assertIn("zopt failed with status 1", failure)

    def test_known_failures(self):
        with open(self.path("known"), "w") as f:
            f.write("# comment\n\nOpt error in foo() -- the foo pass: bar\n")
        known = zdiff.known_failures(self.path("known"))
        self.assertEqual(zdiff.known_owner(known, "zopt failed:\n!!! Opt error in foo() !!!"), "the foo pass: bar")
        self.assertIsNone(zdiff.known_owner(known, "zopt failed:\n!!! Opt error in baz() !!!"))


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main()
