#!/usr/bin/env python3
"""Checks the loop structure of the compiled WHT kernels.

Orders 1 to 7 must be straight-line code; the two-pass kernels have exactly
two loops (rows, columns) and the three-pass kernels four (rows and columns
of a group, groups, final columns), in both memory forms. The compiler is
free to unroll, peel or split loops, so this is checked on the machine code:
the control-flow graph of each function is built from the disassembly and
its back edges are counted.

Usage: check_shape.py OBJDUMP LIBRARY
"""
import re
import subprocess
import sys

# Orders with two passes; the orders from 8 on not listed are three-pass.
TWO_PASS = {"32f": {8, 9, 10, 11}, "64f": {8, 9, 10}}


def functions(objdump, lib):
    text = subprocess.run([objdump, "-d", "--no-show-raw-insn", lib], capture_output=True, text=True,
                          check=True).stdout
    funcs, cur = {}, None
    for line in text.splitlines():
        m = re.match(r"^[0-9a-f]+ <((?:qrbg|owng)WHT_(\d+)_(32f|64f)(?:_unaligned)?)>:$", line)
        if m:
            cur = m.group(1)
            funcs[cur] = (int(m.group(2)), m.group(3), [])
            continue
        if re.match(r"^[0-9a-f]+ <", line):
            cur = None
            continue
        if cur:
            m = re.match(r"^\s+([0-9a-f]+):\s+(\S+)\s*(.*)$", line)
            if m:
                funcs[cur][2].append((int(m.group(1), 16), m.group(2), m.group(3)))
    return funcs


def back_edges(ins):
    addrs = [a for a, _, _ in ins]
    lo, hi = addrs[0], addrs[-1]
    succ = {}
    for i, (a, op, arg) in enumerate(ins):
        nxt = addrs[i + 1] if i + 1 < len(ins) else None
        s = []
        if op.startswith("j"):
            m = re.match(r"([0-9a-f]+) <", arg)
            if m and lo <= int(m.group(1), 16) <= hi:
                s.append(int(m.group(1), 16))
            if op != "jmp" and nxt is not None:
                s.append(nxt)
        elif not (op.startswith("ret") or op == "ud2") and nxt is not None:
            s.append(nxt)
        succ[a] = s
    state, count = {addrs[0]: 1}, 0
    stack = [(addrs[0], iter(succ[addrs[0]]))]
    while stack:
        node, it = stack[-1]
        for t in it:
            if state.get(t) == 1:
                count += 1
            elif t not in state:
                state[t] = 1
                stack.append((t, iter(succ.get(t, []))))
                break
        else:
            state[node] = 2
            stack.pop()
    return count


def main():
    objdump, lib = sys.argv[1], sys.argv[2]
    funcs = functions(objdump, lib)
    failures = []
    kernels = {(o, t) for o, t, _ in funcs.values()}
    if len(kernels) != 26:
        failures.append(f"found {len(kernels)} kernels instead of 26")
    for name, (order, typ, ins) in sorted(funcs.items()):
        want = 0 if order <= 7 else (2 if order in TWO_PASS[typ] else 4)
        got = back_edges(ins)
        if got != want:
            failures.append(f"{name}: {got} loops, expected {want}")
    for f in failures:
        print(f)
    print(f"{len(funcs)} functions checked, {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
