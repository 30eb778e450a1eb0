// Constant-chain merges, the reduction rules that change rounding:
//
//   c1 * (c2 * x)            ->  (c1 c2) * x
//   k * (c1 a +- c2 b)       ->  (k c1) a +- (k c2) b
//
// A merge is made only where the inner products (and the sum) have no other
// consumer: then the merged network has fewer products and never more
// additions. A merged constant is the product of the exact values behind
// the two rounded constants, rounded once to the kernel's precision.
#pragma once
#include <vector>

#include "ir/dag.h"
#include "ir/trig.h"

namespace qrbgen::plans {

// Records the exact value behind a rounded network constant (one that is
// not a cosine or sine of a rational multiple of 2 pi, which are found
// without being recorded). The record is a memo of a pure function of the
// rounded value.
void noteExactConstant(double rounded, DD exact);

// The exact value behind a constant of the given precision: a recorded one,
// a cosine or sine of 2 pi p / q for q up to 256, or the constant itself.
DD exactConstant(double rounded, ConstPrecision precision);

// Rebuilds `dag` with every chain above merged, until none is left; the
// values `roots` and the outputs stored so far are what the network must
// keep (they count as consumers), and the roots are mapped to the rebuilt
// DAG. Dead nodes are dropped. Returns the number of products saved; with
// none the DAG is left untouched.
int mergeConstantChains(Dag& dag, std::vector<Ref>& roots, ConstPrecision precision);

}  // namespace qrbgen::plans
