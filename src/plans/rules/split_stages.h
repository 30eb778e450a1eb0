// Pieces of the split-form (32fc) kernels that several builders share:
// complex transforms on whole vectors, the 4x4 transpose of lanes and the
// lane-wise complex products with vectors of four constants.
#pragma once
#include <utility>
#include <vector>

#include "rules/cvec.h"
#include "rules/network.h"
#include "tables/plan.h"

namespace qrbgen::plans {

inline constexpr int kLanes = 4;

// Complex transforms on split-form vectors: leaves are the real-weighted
// base networks on the real and the imaginary registers and a join; splits
// follow rule C (twiddles common to all lanes) and rule G. The direction is
// that of the root: forward exp(-2 pi i / M), inverse exp(+2 pi i / M).
class ComplexNet {
public:
    ComplexNet(Dag& d, bool inverse);

    std::vector<CVec> dft(const PlanNode& p, const std::vector<CVec>& z, int r);

    // The root of the direction raised to e / M, as (cos, sin) in single precision.
    std::pair<double, double> root(long e, long M) const;

    // z times a root common to all lanes: 1, -1 and +-i cost nothing, an odd
    // multiple of pi/4 a sum, a difference and two products, any other root
    // four products, a subtraction and an addition.
    CVec twiddle(CVec z, long e, long M);

    bool inverse() const { return inverse_; }

private:
    std::vector<CVec> leaf(const PlanNode& p, const std::vector<CVec>& z, int r);

    Dag& d_;
    Network net_;
    bool inverse_;
};

// The 4x4 transpose of up to four row registers: column u of the result
// holds lane u of every row. Rows that do not exist are padding; the DAG
// drops the moves whose results nobody uses.
std::vector<Ref> transpose(Dag& d, std::vector<Ref> rows);

// The registers of complex values, real and imaginary part of each in turn
// (the seeds of a parallel instance).
std::vector<Ref> refs(const std::vector<CVec>& v);

// Lane moves take their operands with positive sign; the plans never carry
// a value negated into a transpose or an interleave.
Ref positive(Ref x);

// z times the complex vector (c + i s) lane by lane: four products, a
// subtraction and an addition, whatever the lanes hold.
CVec laneProduct(Dag& d, CVec z, const std::vector<double>& c, const std::vector<double>& s);

}  // namespace qrbgen::plans
