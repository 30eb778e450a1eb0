// Whole complex kernels as DAGs: the network of the plan, the join of the
// top (the only place where i is applied) and the scale.
#pragma once
#include <string>
#include <vector>

#include "dag.h"
#include "plan.h"

namespace qrbgen::plans {

// Lane moves of the split-form vector kernels (Op::Shuf kinds).
enum ShufKind {
    ShufEven = 0,  // (a0, a2, b0, b2): real parts of two interleaved vectors
    ShufOdd,       // (a1, a3, b1, b3): imaginary parts
    UnpackLo,      // (a0, b0, a1, b1)
    UnpackHi,      // (a2, b2, a3, b3)
    MoveLH,        // (a0, a1, b0, b1)
    MoveHL,        // (b2, b3, a2, a3)
};

// One interleaved vector of two complex elements moved from or to memory;
// e1 < 0 when only the low half holds an element. `merge` marks a load of
// two neighbours that start at an odd element, which the aligned form builds
// from the two aligned vectors around it.
struct MoveSpec {
    int e0 = -1, e1 = -1;
    bool merge = false;
};

struct KernelDag {
    Elem elem;
    int n = 0;
    bool inverse = false;
    std::string plan;
    Dag dag;
    // Split-form kernels: what each Input node loads and each output stores.
    std::vector<MoveSpec> loads, stores;
    // Lane moves outside the DAG: the broadcast of the scale and the merges.
    int extraShuffles = 0;
};

// The number of distinct magnitudes among the constants that a kernel
// multiplies by, the scale counted as one.
int distinctConstantMagnitudes(const Dag& d);

// Whether the plan holds a real-coefficient prime network (Rp, a bare prime
// of 13 or more, or 7r).
bool hasPrimeNetwork(const PlanNode& plan);

// 64fc, pair form: inputs and outputs are slots 0..N-1, one complex value each.
KernelDag buildPair64fc(int n, const std::string& plan, bool inverse);

// 32fc lengths 2 to 5, scalar: slot 2k is the real part and 2k+1 the
// imaginary part of element k.
KernelDag buildScalar32fc(int n, const std::string& plan, bool inverse);

// 32fc lengths 6 to 64 with a Cooley-Tukey or Good-Thomas plan: complex
// arithmetic in split registers of four lanes. Input node k loads loads[k],
// output slot k stores stores[k].
KernelDag buildSplit32fc(int n, const std::string& plan, bool inverse);

}  // namespace qrbgen::plans
