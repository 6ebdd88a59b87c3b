#!/usr/bin/env python3
"""Checks of the benchmarks' own judgement: bench/quality must fail loudly
when an optimised program prints otherwise or zopt fails, and the readers of
other tools' output (callgrind, LLVM IR, icode-run --stats, zopt's time per
pass) must count what they claim to.

  test_bench.py BUILD_DIR
"""
import os
import shutil
import stat
import subprocess
import sys
import tempfile
import textwrap
import unittest

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(TOP, "bench"))
import benchlib  # noqa: E402
from benchlib import zdiff  # noqa: E402

BUILD = None


def tool(*parts):
    path = os.path.join(BUILD, *parts)
    if not os.access(path, os.X_OK):
        raise unittest.SkipTest("%s is not built" % path)
    return path


class Readers(unittest.TestCase):
    def test_ir_instructions_are_the_lines_of_function_bodies(self):
        ir = textwrap.dedent("""\
            ; ModuleID = 'x.c'
            @g = dso_local global i32 0, align 4
            declare i32 @printf(i8*, ...)

            ; Function Attrs: noinline
            define dso_local i32 @f(i32 %0) #0 {
              %2 = alloca i32, align 4
              store i32 %0, i32* %2, align 4
              br label %3

            3:                                                ; preds = %1
              %4 = load i32, i32* %2, align 4
              ; a comment
              ret i32 %4
            }

            define i32 @main() {
            entry:
              call void @llvm.dbg.value(metadata i32 0)
              ret i32 0
            }
            attributes #0 = { noinline }
            """)
        self.assertEqual(benchlib.count_ir_instructions(ir), 7)

    def test_callgrind_total_prefers_the_totals_line(self):
        with tempfile.NamedTemporaryFile("w", suffix=".out", delete=False) as f:
            f.write("version: 1\ncmd: ./a.out\nevents: Ir\nsummary: 999\n\nfn=main\n10 20\ntotals: 12345\n")
        try:
            self.assertEqual(benchlib.callgrind_total(f.name), 12345)
            with open(f.name, "w") as g:
                g.write("events: Ir\nsummary: 777\n")
            self.assertEqual(benchlib.callgrind_total(f.name), 777)
            with open(f.name, "w") as g:
                g.write("events: Ir\n")
            with self.assertRaises(ValueError):
                benchlib.callgrind_total(f.name)
        finally:
            os.unlink(f.name)

    def test_stats_and_pass_times_are_read_by_name(self):
        stats = benchlib.parse_stats(b"icode-run statistics\n  statements executed        405\n"
                                     b"  memory loads               402\n  weighted cost              2235\n")
        self.assertEqual(stats, {"statements executed": 405, "memory loads": 402, "weighted cost": 2235})
        text = ("noise\ntime per pass (debug:pass_times): CPU seconds of the run, shared out by cycle counts\n"
                "pass                      runs      seconds   share\n"
                "(outside the passes and readings)          0.100000   50.0%\n"
                "simpcfg(false, false)        3     0.060000   30.0%\n"
                "first reading                1     0.040000   20.0%\n"
                "total                                      0.200000  100.0%\n")
        rows, total = benchlib.parse_pass_times(text)
        self.assertEqual(total, 0.2)
        self.assertEqual(rows, [("(outside the passes and readings)", None, 0.1),
                                ("simpcfg(false, false)", 3, 0.06), ("first reading", 1, 0.04)])
        self.assertIsNone(benchlib.parse_pass_times("no table here"))
        self.assertIsNone(benchlib.parse_pass_times(text.replace("total", "totally")))

    def test_means_and_lists(self):
        self.assertAlmostEqual(benchlib.geomean([1.0, 4.0, None, 16.0]), 4.0)
        self.assertIsNone(benchlib.geomean([None]))
        self.assertEqual(benchlib.parse_levels("2, 0,2"), [0, 2])
        self.assertRaises(ValueError, benchlib.parse_levels, "5")
        self.assertEqual(benchlib.parse_seeds("3-5"), [3, 4, 5])
        self.assertEqual(benchlib.parse_seeds("none"), [])


class Programs(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="bench-test-")

    def tearDown(self):
        shutil.rmtree(self.dir, ignore_errors=True)

    def test_node_count_agrees_with_the_record_walk(self):
        gen = tool("tools", "icode-gen", "icode-gen")
        path = os.path.join(self.dir, "g.icode")
        subprocess.run([gen, "--functions", "7", "--nodes", "90", "-o", path], check=True)
        with open(path, "rb") as f:
            records = zdiff._records(f.read())
        expected = sum(1 for r in records if r[1] == benchlib.EXPRESSION_NODE)
        self.assertGreater(expected, 7 * 90)
        self.assertEqual(benchlib.count_nodes(path), expected)
        with open(path, "ab") as f:
            f.write(bytes([101, 40]))  # a record that runs past the end
        with self.assertRaises(ValueError):
            benchlib.count_nodes(path)

    def test_kernels_print_a_checksum_natively_as_the_interpreter_does(self):
        tools = zdiff.Tools(BUILD)
        if tools.missing():
            raise unittest.SkipTest("missing: " + ", ".join(tools.missing()))
        cc = benchlib.find_tool("gcc", "clang")
        names = benchlib.kernel_names()
        self.assertGreaterEqual(len(names), 9)
        for name in names:
            src = os.path.join(benchlib.KERNELS, name + ".c")
            icode = os.path.join(self.dir, name + ".icode")
            self.assertEqual(zdiff.compile_c(tools, src, icode).status, 0, name)
            ref = zdiff.run_icode(tools, icode, 50000000, 120)
            self.assertEqual(ref.status, 0, name)
            out = ref.out.decode()
            self.assertRegex(out, r"^%s -?[0-9.e+-]+\n$" % name)
            if cc:
                exe = os.path.join(self.dir, name)
                subprocess.run([cc, "-O1", "-w", src, "-o", exe], check=True)
                self.assertEqual(subprocess.run([exe], stdout=subprocess.PIPE).stdout.decode(), out, name)


class QualityVerdicts(unittest.TestCase):
    """bench/quality run with an optimiser that lies."""

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="bench-quality-")
        self.tools = zdiff.Tools(BUILD)
        if self.tools.missing():
            raise unittest.SkipTest("missing: " + ", ".join(self.tools.missing()))

    def tearDown(self):
        shutil.rmtree(self.dir, ignore_errors=True)

    def fake_zopt(self, body):
        path = os.path.join(self.dir, "fake-zopt")
        with open(path, "w") as f:
            f.write("#!/bin/sh\n" + body + "\n")
        os.chmod(path, os.stat(path).st_mode | stat.S_IEXEC)
        return path

    def quality(self, *args):
        r = subprocess.run([sys.executable, os.path.join(TOP, "bench", "quality"), "--build", BUILD, "--no-native",
                            "--no-cache"] + list(args), stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return r.returncode, r.stdout.decode(errors="replace")

    def test_honest_run_passes(self):
        status, out = self.quality("--programs", "crc16", "--levels", "0,2")
        self.assertEqual(status, 0, out)
        self.assertRegex(out, r"\ncrc16 +\d+ +\d+\.\d{3} +\d+\.\d{3}\n")

    def test_wrong_output_is_a_miscompile(self):
        # "Optimises" every program into the FIR kernel, which prints
        # something else.
        other = os.path.join(self.dir, "fir.icode")
        self.assertEqual(zdiff.compile_c(self.tools, os.path.join(benchlib.KERNELS, "fir.c"), other).status, 0)
        fake = self.fake_zopt('for a; do out="$a"; done; cp "%s" "$out"' % other)
        status, out = self.quality("--zopt", fake, "--programs", "crc16", "--levels", "1")
        self.assertEqual(status, 1, out)
        self.assertIn("MISCOMPILE at --opt_level=1", out)
        self.assertIn("FAIL", out)

    def test_optimiser_failure_fails_the_run(self):
        fake = self.fake_zopt("echo broken >&2; exit 1")
        status, out = self.quality("--zopt", fake, "--programs", "crc16", "--levels", "2")
        self.assertEqual(status, 1, out)
        self.assertIn("zopt --opt_level=2 failed", out)

    def test_unknown_program_is_an_error(self):
        status, out = self.quality("--programs", "no_such_kernel")
        self.assertEqual(status, 2, out)
        self.assertIn("unknown program no_such_kernel", out)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        print(__doc__)
        sys.exit(2)
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main()
