// Runs a network on given inputs in long double, before any code is
// printed: a network is checked against a reference transform this way,
// and a pass is checked by comparing the values before and after it.
#pragma once
#include <vector>

#include "ir/dag.h"

namespace qrbgen::plans {

// A value of one node: its lanes (1 for a scalar network, 2 for a pair
// register, 4 for a split-form vector).
using Lanes = std::vector<long double>;

// Values of the given roots, the input of slot s being inputs[s]. Constants
// of one lane act on every lane, constants of several lanes lane by lane;
// the scale node takes the value `scale`. Exchanges swap lanes 0 and 1 and
// sign masks negate lane 0, as in pair form; lane moves of the split form
// are not evaluated.
std::vector<Lanes> evaluate(const Dag& dag, const std::vector<Lanes>& inputs, const std::vector<Ref>& roots,
                            long double scale = 1.0L);

// The same for networks of scalars.
std::vector<long double> evaluateScalar(const Dag& dag, const std::vector<long double>& inputs,
                                        const std::vector<Ref>& roots);

}  // namespace qrbgen::plans
