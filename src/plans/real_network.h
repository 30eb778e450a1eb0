// Forward real networks: the transform R(N) of the forward plan of a length
// on N scalar inputs, and the whole kernel DAG around it (scale and stores).
#pragma once
#include <string>
#include <vector>

#include "dag.h"
#include "plan.h"

namespace qrbgen::plans {

// The half spectrum X[k] = R(k) + i I(k), k = 0..N/2, as network values;
// I(0) and, for even N, I(N/2) are the zero reference.
struct RealSpectrum {
    std::vector<Ref> re, im;
};

// Whether a plan of the real tables holds a Rader network (an "R").
bool hasRaderPart(const std::string& plan);

// Parses a plan of the real tables: "8" is the network C(4,2).
PlanNode parseRealPlan(const std::string& text, int n);

// R(N) of the plan on the items x, with the real direct leaves.
RealSpectrum forwardRealSpectrum(Dag& d, const PlanNode& plan, const std::vector<Ref>& x);

// Output slots in the order of the Pack layout: slot 0 holds R(0), slots
// 2k-1 and 2k hold R(k) and I(k) for 0 < k < N/2, slot N-1 holds R(N/2) for
// even N. The other layouts are maps of these slots.
int packSlotRe(int n, int k);
int packSlotIm(int n, int k);

struct ForwardRealKernel {
    int n = 0;
    std::string plan;
    Dag dag;  // inputs 0..N-1, outputs in Pack slots
};

// The forward real kernel of length n from its row of the plan table: the
// network, then the scale as the last product of every output; an output
// that the network yields negated is stored as 0 - s*v.
ForwardRealKernel buildForwardReal(int n);

}  // namespace qrbgen::plans
