// Transposition: the dual of a linear network, built by replaying it last
// node first through the same hash-consing, sign-folding constructors of
// Dag. A constant product stays a product, a value used in several places
// becomes the sum of what comes back from those places, an addition becomes
// a copy to each operand and a subtraction a copy and a negated copy; a
// negation is absorbed where the value is used, as everywhere in the DAG.
//
// In a linear network with n inputs, m roots and no dead rows, the dual
// keeps every product and has m - n more additions.
#pragma once
#include <vector>

#include "ir/dag.h"

namespace qrbgen::plans {

// Builds, inside `dst`, the dual of the network of `src` that maps the
// input slots 0..inputCount-1 to the values `roots`: `rootValues[i]` is the
// value that enters the dual where root i left the network (the zero
// reference for a root that takes nothing). Returns, for every input slot,
// the value of the dual there (the zero reference if it does not depend on
// any root). `src` must be linear: sums, differences and constant products,
// with exchanges and sign masks allowed since they are their own duals.
std::vector<Ref> transposeInto(const Dag& src, int inputCount, const std::vector<Ref>& roots, Dag& dst,
                               const std::vector<Ref>& rootValues);

}  // namespace qrbgen::plans
