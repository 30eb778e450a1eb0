#!/usr/bin/env python3
"""Stack traffic of the generated kernels, read from their machine code.

For every form of every complex kernel (the exported or 16-byte form, its
unaligned twin, and the wide variants) it counts the vector values the
compiler moves through the stack: spills (stores of a vector register to the
stack frame) and reloads (loads from the stack frame, memory operands of
arithmetic included), beside the vector arithmetic the function executes.

Usage: stack_traffic.py OBJDUMP LIBRARY KERNEL_TABLE [VARIANT_TABLE] [--check RATIO] [--quiet]

With --check, the run fails if any function moves more values through the
stack than RATIO times the arithmetic it computes.
"""
import re
import subprocess
import sys

STACK = re.compile(r"\((%[re]sp|%[re]bp)(,[^)]*)?\)")
VREG = r"%[xyz]mm[0-9]+"
ARITH = re.compile(r"^v?((add|sub|mul|xor)[ps][sd]|cvt\w+)$")


def plain(symbol):
    m = re.search(r"(?:^|::)((?:qrbg|owng)\w+)(?:\(|\.|@|$)", symbol)
    return m.group(1) if m else symbol


def functions(objdump, lib, wanted):
    text = subprocess.run([objdump, "-d", "-C", "--no-show-raw-insn", lib], capture_output=True, text=True,
                          check=True).stdout
    funcs, cur = {}, None
    for line in text.splitlines():
        m = re.match(r"^[0-9a-f]+ <(.+)>:$", line)
        if m:
            cur = plain(m.group(1))
            cur = cur if cur in wanted and "@plt" not in m.group(1) else None
            if cur:
                funcs.setdefault(cur, [])
            continue
        if cur:
            m = re.match(r"^\s+[0-9a-f]+:\s+(\S+)\s*(.*)$", line)
            if m:
                funcs[cur].append((m.group(1), m.group(2)))
    return funcs


def traffic(ins):
    spills = reloads = arith = 0
    for op, args in ins:
        if ARITH.match(op):
            arith += 1
        if not STACK.search(args) or not re.search(VREG, args):
            continue
        # AT&T order: the destination is the last operand.
        if re.search(r"^" + VREG + r",", args) and STACK.search(args.split(",", 1)[1]) and op.startswith(("mov", "vmov")):
            spills += 1
        else:
            reloads += 1
    return spills, reloads, arith


def main():
    args = [a for a in sys.argv[1:] if not a.startswith("--")]
    ratio = None
    if "--check" in sys.argv:
        ratio = float(sys.argv[sys.argv.index("--check") + 1])
        args.remove(sys.argv[sys.argv.index("--check") + 1])
    quiet = "--quiet" in sys.argv
    objdump, lib, table = args[0], args[1], args[2]
    kernels = re.findall(r"^QRBG_KERNEL\((\w+), CToC,", open(table).read(), re.M)
    forms = {}
    for k in kernels:
        forms[k] = [k, "owng" + k[4:] + "_unaligned"]
    if len(args) > 3:
        for kernel, sse2, variant in re.findall(r"^QRBG_VARIANT\((\w+), \w+, \d+, \w+, (\w+), (\w+),",
                                                open(args[3]).read(), re.M):
            if kernel in forms:
                if sse2 not in forms[kernel]:
                    forms[kernel].insert(1, sse2)
                forms[kernel].append(variant)
    wanted = {f for fs in forms.values() for f in fs}
    funcs = functions(objdump, lib, wanted)
    failures = 0
    total = {}
    if not quiet:
        print(f"{'function':48} {'spills':>7} {'reloads':>8} {'arith':>6}")
    for k in kernels:
        for f in forms[k]:
            if f not in funcs:
                continue
            s, r, a = traffic(funcs[f])
            form = "twin" if f.endswith("_unaligned") else (f.rsplit("_", 1)[1] if f.startswith("owng") else "sse2")
            t = total.setdefault(form, [0, 0, 0, 0])
            t[0] += s
            t[1] += r
            t[2] += a
            t[3] += 1
            bad = ratio is not None and s + r > ratio * a
            failures += bad
            if not quiet or bad:
                print(f"{f:48} {s:7} {r:8} {a:6}{'  too much stack traffic' if bad else ''}")
    for form, (s, r, a, n) in sorted(total.items()):
        print(f"total {form:12} {n:4} functions: {s:6} spills, {r:6} reloads, {a:7} arithmetic")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
