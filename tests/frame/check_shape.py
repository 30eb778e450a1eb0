#!/usr/bin/env python3
"""Checks that the straight-line kernels are straight lines in machine code.

A fixed-size kernel, and a Walsh-Hadamard kernel of an order that has no
passes over a scratch, has no loop and calls nothing but its own unaligned
form; no form of a kernel has a fused multiply-add. The compiler is free to arrange the code, so this is checked on the
machine code: the control-flow graph of each function is built from the
disassembly and its back edges and calls are listed.

Usage: check_shape.py OBJDUMP LIBRARY KERNEL_TABLE [VARIANT_TABLE]
"""
import re
import subprocess
import sys

# WHT orders up to this one are one unrolled block; the others loop over
# rows and columns of their scratch by design.
WHT_STRAIGHT_ORDERS = 7


def plain(symbol):
    """The kernel name in a demangled symbol, without namespace and parameters."""
    m = re.search(r"(?:^|::)((?:qrbg|owng)\w+)(?:\(|\.|@|$)", symbol)
    return m.group(1) if m else symbol


def functions(objdump, lib, wanted):
    text = subprocess.run([objdump, "-d", "-C", "--no-show-raw-insn", lib], capture_output=True, text=True,
                          check=True).stdout
    funcs, cur = {}, None
    for line in text.splitlines():
        m = re.match(r"^[0-9a-f]+ <(.+)>:$", line)
        if m:
            # A function's cold part (name.cold) is part of the function.
            cur = plain(m.group(1))
            cur = cur if wanted(cur) and "@plt" not in m.group(1) else None
            if cur:
                funcs.setdefault(cur, [])
            continue
        if cur:
            m = re.match(r"^\s+([0-9a-f]+):\s+(\S+)\s*(.*)$", line)
            if m:
                funcs[cur].append((int(m.group(1), 16), m.group(2), m.group(3)))
    return funcs


def back_edges(ins):
    addrs = [a for a, _, _ in ins]
    inside = set(addrs)
    succ = {}
    for i, (a, op, arg) in enumerate(ins):
        nxt = addrs[i + 1] if i + 1 < len(ins) else None
        s = []
        if op.startswith("j"):
            m = re.match(r"([0-9a-f]+) <", arg)
            if m and int(m.group(1), 16) in inside:
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


def calls(ins):
    """Targets of calls and of jumps that leave the function."""
    inside = {a for a, _, _ in ins}
    out = []
    for _, op, arg in ins:
        if op.startswith("call") or op.startswith("j"):
            m = re.match(r"([0-9a-f]+) <([^>]+)>", arg)
            if m and int(m.group(1), 16) not in inside:
                out.append(plain(m.group(2)))
            elif op.startswith("call") and not m:
                out.append(arg)  # an indirect call
    return out


def main():
    objdump, lib, table = sys.argv[1], sys.argv[2], sys.argv[3]
    kernels = set(re.findall(r"^QRBG_KERNEL\((\w+),", open(table).read(), re.M))
    # Kernels with wide variants (x86-64): the exported name is bound to one
    # of them when the library loads; the 16-byte form is <kernel>_sse2.
    sse2_of, variants = {}, []
    if len(sys.argv) > 4:
        for kernel, sse2, variant in re.findall(r"^QRBG_VARIANT\((\w+), \w+, \d+, \w+, (\w+), (\w+),",
                                                open(sys.argv[4]).read(), re.M):
            sse2_of[kernel] = sse2
            variants.append(variant)
    # The unaligned form a function may call: that of its kernel.
    twin_of = {}
    straight = set(kernels) | set(sse2_of.values()) | set(variants)
    for name in kernels:
        twin = "owng" + name[4:] + "_unaligned"
        straight.add(twin)
        twin_of[name] = twin
        if name in sse2_of:
            twin_of[sse2_of[name]] = twin
    for t in ("32f", "64f"):
        for order in range(1, WHT_STRAIGHT_ORDERS + 1):
            straight.add(f"qrbgWHT_{order}_{t}")
            straight.add(f"owngWHT_{order}_{t}_unaligned")
            twin_of[f"qrbgWHT_{order}_{t}"] = f"owngWHT_{order}_{t}_unaligned"
    funcs = functions(objdump, lib, lambda n: n in straight)
    failures = []
    missing = [k for k in kernels if k not in funcs and sse2_of.get(k) not in funcs]
    if missing:
        failures.append(f"{len(missing)} kernels not found, e.g. {missing[0]}")
    present = [v for v in variants if v in funcs]
    if present and len(present) != len(variants):
        failures.append(f"{len(variants) - len(present)} wide variants not found")
    for name, ins in sorted(funcs.items()):
        loops = back_edges(ins)
        if loops:
            failures.append(f"{name}: {loops} loops")
        # Same bits on every processor: no kernel form fuses a product into
        # an addition, whatever instruction set it is compiled for.
        fused = [op for _, op, _ in ins if re.match(r"^vf(n)?m(add|sub)", op)]
        if fused:
            failures.append(f"{name}: fused multiply-adds ({', '.join(sorted(set(fused)))})")
        own_twin = twin_of.get(name)
        # 32-bit position-independent code reads its own address through a
        # thunk; that is no call of anything the kernel computes with.
        foreign = [c for c in calls(ins) if c.split("@")[0] != own_twin and not c.startswith("__x86.get_pc_thunk")]
        if foreign:
            failures.append(f"{name}: calls {', '.join(sorted(set(foreign)))}")
    for f in failures:
        print(f)
    print(f"{len(funcs)} functions checked ({len(present)} wide variants), {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
