// Printing a kernel: one body printer per register scheme, inside a frame
// that every kernel shares.
#pragma once
#include <string>
#include <vector>

#include "ir/pack.h"
#include "rules/kernel.h"

namespace qrbgen::plans {

// What a body printer tells the frame about the body it printed.
struct BodyInfo {
    std::string text;  // constants and the body function, inside an open anonymous namespace
    // 0: the body takes the scale s as a scalar. Otherwise it takes the
    // address of a row of the scale pool that holds s in this many lanes.
    int scaleLanes = 0;
};

// The body printers. Each prints arithmetic, loads and stores only; the
// addresses come from the kernel's layout.
BodyInfo printPair64(const KernelDag& k);
BodyInfo printSplit32(const KernelDag& k);
// `helpers` is the namespace of the single-element moves.
BodyInfo printScalar(const KernelDag& k, const SchemeRow& s, const std::string& helpers = "qrbg");

// The single constants of a 32f kernel beside its scale (the doubling 2.0
// of the inverse real kernels); every other network constant is a double.
std::vector<double> singleConstantsOf(const KernelDesc& k);

// A scalar kernel (real and Hartley families) packed P values per register
// (ir/pack.h), printed as operations of the lane type `type` (from the
// instruction set's header) whose single registers hold `singleLanes`
// lanes; `packed` is the packing of the kernel's DAG, made with
// lanePackClasses for a 32f kernel.
BodyInfo printLanes(const KernelDag& k, const WideProgram& packed, const std::string& type, int singleLanes,
                    int registers, bool chains = false);
// The stack a packed program is likely to need: the values live at once
// beyond the registers, each of `registerBytes`. A 32f kernel's widened
// copies of single registers count as values of their own.
int laneSpillBytes(const KernelDag& k, const WideProgram& w, int registers, int registerBytes, bool chains = false);
// The conversions between single and double registers that a packed 32f
// program makes (widenings and roundings, each of a whole register); 0 for
// a 64f kernel. With one slot, those of the one-value kernel.
int laneConversions(const KernelDag& k, const WideProgram& packed);
// The classes under which a scalar kernel's values may share a register:
// for 32f, values whose operations and operands agree in precision.
std::vector<int> lanePackClasses(const KernelDag& k);

// The order in which a packed program is printed: the list schedule of the
// 16-byte kernels (emit/schedule.h) for `registers` registers, or with
// `chains` the one that starts the longest chains first.
std::vector<int> wideOrder(const Dag& d, const WideProgram& w, int registers, bool chains = false);

// Values moved through the stack by an allocator with `registers` registers
// under that order (see stackTraffic in emit/schedule.h).
int wideStackTraffic(const Dag& d, const WideProgram& w, int registers, bool chains);

// A packed kernel as operations of the wide register type `type` (from the
// instruction set's header), its constant rows aligned to `align` bytes,
// printed in wideOrder for a processor with `registers` vector registers.
BodyInfo printWide(const KernelDag& k, const WideProgram& w, const std::string& type, int align, int registers,
                   bool chains = false);

// The frame around a body: the exported function with its argument tests in
// order, the flag's scale, the choice of memory form and the unaligned twin.
// A `bound` kernel has wide variants: on x86-64 its 16-byte form is the
// internal function <name>_sse2, and the exported name is bound to the
// widest variant the processor runs when the library loads.
std::string printFrame(const KernelDag& k, const SchemeRow& s, const BodyInfo& body, bool bound = false);

// The frame of a wide variant: the internal function <name>_<variant>, one
// memory form for every address, its scale pool rows aligned to `align`.
std::string printVariantFrame(const KernelDag& k, const BodyInfo& body, const std::string& variant, int align);

// The 16-byte body of a kernel in its scheme, and a whole kernel: body and frame.
BodyInfo printBody(const KernelDag& k, const SchemeRow& s);
std::string printKernel(const KernelDag& k, const SchemeRow& s, bool bound = false);

// The name of the body function of a kernel, and of a value.
std::string bodyName(const KernelDesc& k);
std::string valueName(int id);

}  // namespace qrbgen::plans
