// Building the forward real kernels' DAGs for tests at the IR level.
#pragma once

#include <string>

#include "registry/schemes.h"
#include "rules/kernel.h"

namespace qrbgen::plans {

inline bool hasRaderPart(const char* plan) { return std::string(plan).find('R') != std::string::npos; }

// The forward real kernel of length n, its outputs in the slots of the Pack
// layout (R(0), then R(k) and I(k) in pairs, R(N/2) last).
inline KernelDag forwardKernel(int n, Type type = Type::F64) {
    const KernelDesc k{Kind::RToPack, type, n, false};
    return buildKernel(k, schemeFor(k));
}

inline int negations(const Dag& d) {
    int n = 0;
    for (const Output& o : d.outputs()) n += o.neg;
    return n;
}

}  // namespace qrbgen::plans
