// The wide variants of a kernel: which exist, how each is packed, the text
// they add to the generated sources, and the binding of the exported name.
#pragma once
#include <string>
#include <vector>

#include "ir/pack.h"
#include "rules/kernel.h"
#include "tunables.h"

namespace qrbgen::plans {

struct VariantBuild {
    const VariantRow* row;
    int slots;  // of the packing used: 1 where packing does not pay
    WideProgram::Stats stats;
    std::string text;  // body and frame, for kernels/len_NN_<name>.cpp
};

// Whether a kernel kind has wide variants (the complex kernels).
bool hasVariants(const KernelDesc& k);

// The variants of a kernel, narrowest first.
std::vector<VariantBuild> buildVariants(const KernelDag& k, const SchemeRow& s);

// The binding of the exported name to the widest variant the processor
// runs, for the kernel's 16-byte source (x86-64 only).
std::string printBinding(const KernelDesc& k, const std::vector<VariantBuild>& v);

}  // namespace qrbgen::plans
