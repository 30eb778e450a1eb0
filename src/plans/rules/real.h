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

// A plan with the order of the stages reversed at every level.
PlanNode mirrored(const PlanNode& plan);

// The inverse real network of a plan (stages in order of execution): the
// dual of the forward network of the mirrored plan, on the values that
// enter where R(k) and I(k) left it. Returns x[0..N-1], unscaled.
std::vector<Ref> inverseRealNetwork(Dag& d, const PlanNode& plan, const std::vector<Ref>& re,
                                    const std::vector<Ref>& im);

// Inverse real kernels: the layout's elements loaded, every value but R(0)
// and R(N/2) doubled, the inverse network, the scale.
KernelDag buildRealInverse(const KernelDesc& k);

// Hartley kernels: form A, the forward network and R(k) -/+ I(k) at its
// output; form B, the input folded into R'(k), I'(k) for the inverse
// network, with no doubling.
KernelDag buildHartley(const KernelDesc& k);

}  // namespace qrbgen::plans
