#!/usr/bin/env python3
"""zopt never makes a program costlier, not even its own output.

  no_cost_rise.py ZOPT ICODE_RUN INPUT WORKDIR

The input goes through zopt at every level; each output goes through zopt
again at every level. Every file must run as the input runs (standard
output and exit status), and its weighted cost (icode-run --stats) must not
exceed that of the file it was made from. One exception: level 0 lays the
input's blocks out anew and may add jumps to a file that zopt did not
write, so there only the memory accesses are held to the input's (every
register stays a register); zopt's own output is held to its cost at every
level. One line per level: "level L: BEFORE -> AFTER (registers R/W,
memory R/W)", then "no rise". Exit status 1 at the first file that runs
differently or costs more.
"""
import os
import re
import subprocess
import sys

LEVELS = range(5)


def stats(icode_run, path):
    r = subprocess.run([icode_run, "--stats", path], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=300)
    counts = {}
    for key in ("weighted cost", "register loads", "register stores", "memory loads", "memory stores"):
        m = re.search(key + r"\s+(\d+)", r.stderr.decode(errors="replace"))
        counts[key] = int(m.group(1)) if m else None
    return r.returncode, r.stdout, counts


def main():
    zopt, icode_run, source, work = sys.argv[1:5]
    os.makedirs(work, exist_ok=True)
    ref_status, ref_out, ref = stats(icode_run, source)
    if ref["weighted cost"] is None:
        sys.exit("no cost for the input %s" % source)

    def made(src, level, dst, base, memory_only=False):
        z = subprocess.run([zopt, "--opt_level=%d" % level, src, dst], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if z.returncode != 0:
            sys.exit("zopt --opt_level=%d %s failed:\n%s" % (level, src, z.stderr.decode(errors="replace")))
        status, out, got = stats(icode_run, dst)
        if status != ref_status or out != ref_out:
            sys.exit("%s runs differently from the input (status %d, input %d)" % (dst, status, ref_status))
        if memory_only:
            for key in ("memory loads", "memory stores"):
                if got[key] > base[key]:
                    sys.exit("%s has %d %s, more than the %d of %s" % (dst, got[key], key, base[key], src))
        elif got["weighted cost"] > base["weighted cost"]:
            sys.exit("%s costs %d, more than the %d of %s" % (dst, got["weighted cost"], base["weighted cost"], src))
        return got

    for level in LEVELS:
        out = os.path.join(work, "o%d.icode" % level)
        got = made(source, level, out, ref, memory_only=level == 0)
        print("level %d: %d -> %d (registers %d/%d, memory %d/%d)" % (
            level, ref["weighted cost"], got["weighted cost"], got["register loads"], got["register stores"],
            got["memory loads"], got["memory stores"]))
        for again in LEVELS:
            made(out, again, os.path.join(work, "o%d.o%d.icode" % (level, again)), got)
    print("no rise")


if __name__ == "__main__":
    main()
