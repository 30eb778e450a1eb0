// The single-precision rule of the 32f real kernels, as an analysis of a
// reduced network: which value is computed in single and which in double,
// where a single is widened and where a double is rounded to single.
//
// The rule: inputs, the scale and every variable are singles; a variable is
// a value with more than one consumer, or a stored value. An operation on
// two singles is single. An operation with a double operand is double (a
// product with a network constant always is, the constants being doubles
// unless listed as singles) and stays double up to the root of its
// expression, where it is rounded to single once. A negated store 0 - s*v
// is the root of its expression, the product s*v inside it.
#pragma once
#include <vector>

#include "ir/dag.h"
#include "tables/real_tables.h"

namespace qrbgen::plans {

struct PrecisionPlan {
    // Per node: the operation runs in double.
    std::vector<char> dbl;
    // Per node: a double result that is rounded to single at once, being
    // the root of its expression. Its consumers see a single.
    std::vector<char> rounded;
    // Per node: a single value that some double operation takes as an
    // operand, converted once (inputs, the scale and single results).
    std::vector<char> widened;
    // Per output (index into Dag::outputs()) stored as 0 - s*v: the
    // subtraction runs in double and is rounded at the store.
    std::vector<char> negDbl;
    Split32f split{};

    // Whether the value of a node reaches its consumers as a double.
    bool heldDouble(int id) const { return dbl[static_cast<std::size_t>(id)] && !rounded[static_cast<std::size_t>(id)]; }
};

// singleConstants lists the constants that are singles like the scale (the
// doubling 2.0 of the inverse kernels); every other constant is a double.
PrecisionPlan analysePrecision(const Dag& d, const std::vector<double>& singleConstants = {});

// Evaluation of a network by the rule, as the kernel computes it: inputs by
// input slot, outputs by output slot, s the scale. The scale node and the
// constants of the DAG supply the operands of every product.
std::vector<float> evaluate32f(const Dag& d, const PrecisionPlan& p, const std::vector<float>& in, float s);

// The same network in plain double arithmetic, as the 64f kernel computes it.
std::vector<double> evaluate64f(const Dag& d, const std::vector<double>& in, double s);

}  // namespace qrbgen::plans
