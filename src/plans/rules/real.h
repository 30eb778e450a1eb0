// The real kinds: where a half spectrum lives in each layout, and the
// builders of the real kernels.
#pragma once
#include <string>
#include <vector>

#include "rules/kernel.h"
#include "rules/network.h"
#include "tables/plan.h"

namespace qrbgen::plans {

// Where the half spectrum of a real sequence of length N lives in a layout:
// the element of R(k) and of I(k) for k = 0..N/2 (-1 where the layout holds
// none), the elements that hold structural zeros, and the array's length.
struct SpectrumMap {
    std::vector<int> re, im;
    std::vector<int> zeros;
    int elems = 0;
};
SpectrumMap spectrumMap(Kind kind, int N);

// R(N) of a plan on real items with the real kernels' direct leaves: Re X[k]
// is C[k], Im X[k] is -S[k].
RW forwardRealNetwork(Dag& d, const PlanNode& plan, const std::vector<Ref>& x);

// Forward real kernels: the network of the length's plan on N real inputs,
// stored in the kind's layout.
KernelDag buildRealForward(const KernelDesc& k);

}  // namespace qrbgen::plans
