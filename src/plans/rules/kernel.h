// Whole kernels as DAGs, and where their values live in the caller's arrays.
#pragma once
#include <string>
#include <utility>
#include <vector>

#include "ir/dag.h"
#include "tables/plan.h"
#include "registry/kinds.h"
#include "tunables.h"

namespace qrbgen::plans {

// The elements one load or store moves: e0 alone, or e0 and e1 in the two
// halves of one vector (e1 < 0 when only the low half holds an element).
struct Move {
    int e0 = -1, e1 = -1;
};

// The layout of a kernel: what input slot k loads and output slot k stores,
// in elements of the kernel's arrays (reals for scalar schemes), and the
// elements that receive a structural zero.
struct Layout {
    std::vector<Move> loads, stores;
    std::vector<int> zeros;
    static Layout identity(int inputs, int outputs);
};

struct KernelDag {
    KernelDesc desc;
    std::string plan;
    Dag dag;
    Layout layout;
};

// Whether the plan holds a real-coefficient prime network (Rp, a bare prime
// of 13 or more, or 7r).
bool hasPrimeNetwork(const PlanNode& plan);

// The number of distinct magnitudes among the constants that a kernel
// multiplies by, its scale counted as one.
int distinctConstantMagnitudes(const Dag& d);

// The one entry of the builders: the kernel's DAG and layout.
KernelDag buildKernel(const KernelDesc& k, const SchemeRow& scheme);

// Builders of the complex kinds, one per register scheme.
// 64fc, pair form: inputs and outputs are slots 0..N-1, one complex value each.
KernelDag buildPair64fc(const KernelDesc& k, const SchemeRow& s, const std::string& plan);
// 32fc lengths 2 to 5, scalar: slot 2k is the real part and 2k+1 the
// imaginary part of element k.
KernelDag buildScalar32fc(const KernelDesc& k, const SchemeRow& s, const std::string& plan);
// 32fc lengths 6 to 64: complex arithmetic in split registers of four lanes.
KernelDag buildSplit32fc(const KernelDesc& k, const SchemeRow& s, const std::string& plan);

// The join of the top, the one place where i is applied: the bins of a
// complex transform of length M from its cosine and sine sums, X[0] = C[0],
// X[M/2] = C[M/2] for even M, and for 0 < k < M/2 forward X[k] = C - iS,
// X[M-k] = C + iS, inverse the other way round. `minusPlus(k)` forms the
// pair (C - iS, C + iS) of bin k in the representation at hand.
template <class V, class MinusPlus>
std::vector<V> joinTop(int M, bool inverse, V c0, V cHalf, MinusPlus minusPlus) {
    std::vector<V> X(static_cast<std::size_t>(M));
    X[0] = c0;
    if (M % 2 == 0) X[static_cast<std::size_t>(M / 2)] = cHalf;
    for (int k = 1; 2 * k < M; ++k) {
        auto [minus, plus] = minusPlus(k);
        X[static_cast<std::size_t>(k)] = inverse ? plus : minus;
        X[static_cast<std::size_t>(M - k)] = inverse ? minus : plus;
    }
    return X;
}

}  // namespace qrbgen::plans
