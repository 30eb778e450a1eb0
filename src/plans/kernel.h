// Whole complex kernels as DAGs: the network of the plan, the join of the
// top (the only place where i is applied) and the scale.
#pragma once
#include <string>

#include "dag.h"
#include "plan.h"

namespace qrbgen::plans {

struct KernelDag {
    Elem elem;
    int n = 0;
    bool inverse = false;
    std::string plan;
    Dag dag;
};

// 64fc, pair form: inputs and outputs are slots 0..N-1, one complex value each.
KernelDag buildPair64fc(int n, const std::string& plan, bool inverse);

// 32fc lengths 2 to 5, scalar: slot 2k is the real part and 2k+1 the
// imaginary part of element k.
KernelDag buildScalar32fc(int n, const std::string& plan, bool inverse);

}  // namespace qrbgen::plans
