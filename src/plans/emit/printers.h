// Printing a kernel: one body printer per register scheme, inside a frame
// that every kernel shares.
#pragma once
#include <string>

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
BodyInfo printScalar(const KernelDag& k, const SchemeRow& s);

// The frame around a body: the exported function with its argument tests in
// order, the flag's scale, the choice of memory form and the unaligned twin.
std::string printFrame(const KernelDag& k, const SchemeRow& s, const BodyInfo& body);

// A whole kernel: body and frame.
std::string printKernel(const KernelDag& k, const SchemeRow& s);

// The name of the body function of a kernel, and of a value.
std::string bodyName(const KernelDesc& k);
std::string valueName(int id);

}  // namespace qrbgen::plans
