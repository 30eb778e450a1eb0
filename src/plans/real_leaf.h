// The direct leaves of the real networks: lengths 2, 3, 4, 5, 7 and 11 by
// the plain quadratic evaluation, a peer of the leaf forms of the complex
// kernels.
#pragma once
#include <vector>

#include "dag.h"
#include "network.h"
#include "plan.h"

namespace qrbgen::plans {

// R(p) of the leaf on the items x. For odd p, with the pair sums A[j] =
// x[j] + x[p-j] and differences B[j] = x[j] - x[p-j], j = 1..(p-1)/2:
// C[k] = x[0] + sum of A[j] cos(2 pi j k / p), summed from the j = 1 term
// with x[0] added last when that term is positive, and from x[0] otherwise;
// the imaginary part -S[k] = sum of B[j] (-sin(2 pi j k / p)) is summed in
// the order of j, so that the network yields I(k) itself wherever one of
// its terms is positive. Every constant is a positive double.
RW realQuadraticLeaf(Dag& d, const PlanNode& plan, const std::vector<Ref>& x);

}  // namespace qrbgen::plans
