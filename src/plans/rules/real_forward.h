// The forward real network on complex values: every bin is a pair of
// signed references (real part, imaginary part), built from the plan with
// the direct leaves, Cooley-Tukey with twiddles and Good-Thomas with the
// inverse-factor roots. Which imaginary parts come out negated, and so
// which outputs the kernel stores as 0 - s*v, follows from these rules.
#pragma once
#include <vector>

#include "ir/dag.h"
#include "rules/network.h"
#include "tables/plan.h"

namespace qrbgen::plans {

// R(N) of a plan made of direct leaves (2, 3, 4, 5, 7, 11), Cooley-Tukey
// and Good-Thomas splits, on N real inputs: C[k] = Re X[k] and
// S[k] = -Im X[k] for k = 0..N/2 (S is zero at 0 and N/2).
RW complexFormRealNetwork(Dag& d, const PlanNode& plan, const std::vector<Ref>& x);

}  // namespace qrbgen::plans
