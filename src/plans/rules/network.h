// Real-weighted transform networks: R, T and the Cooley-Tukey and
// Good-Thomas rules on items. An item is whatever one DAG node holds (a
// pair register in 64fc, a scalar in the real kernels, a whole vector of
// independent lanes inside a split-form stage); the network never lets two
// items' lanes interact.
#pragma once
#include <stdexcept>
#include <vector>

#include "ir/dag.h"
#include "tables/plan.h"
#include "tables/rader_table.h"

namespace qrbgen::plans {

// Cosine sums C[k] = sum x[n] cos(2 pi r k n / M), k = 0..M/2, and sine sums
// S[k] = sum x[n] sin(2 pi r k n / M), 0 < k < M/2 (other entries are zero).
struct RW {
    std::vector<Ref> C, S;
};

// What the items of a transform are. Real-weighted data are items that a
// real transform may treat as real numbers; formal data are the two
// halves p, q of formal complex values p - i'q inside T(b), on which a 5s
// leaf keeps its direct form.
enum class Data { RealWeighted, Formal };

// The formulas of the direct leaves: those of the complex kernels, or the
// plain quadratic evaluation with the term order of the real kernels.
enum class LeafForm { Complex, RealQuadratic };

// Options that a kernel gives the leaves it contains.
struct NetOptions {
    ConstPrecision precision = ConstPrecision::Double;
    // X[0] of a direct 5-point leaf as (x0 + a) + b instead of x0 + (a + b).
    bool five0Left = false;
    // The family of forms of the direct leaves.
    LeafForm leaves = LeafForm::Complex;
    // The table whose rows factor the prime networks.
    RaderFamily raderFamily = RaderFamily::Complex;
};

class Network {
public:
    Network(Dag& dag, NetOptions opt) : dag_(dag), opt_(opt) {}

    // R(M) of the plan on the items x with root rotation r (coprime to M).
    RW R(const PlanNode& plan, const std::vector<Ref>& x, int r, Data data = Data::RealWeighted);

    // O(n) of the plan on the items d with root rotation r (odd, coprime to
    // 2n): the odd-frequency sums O[m] = C[m] - i S[m] = sum over t of
    // d[t] W(2n)^(r t (2m+1)), m = 0..ceil(n/2)-1, as the C and S parts
    // (S is zero where O[m] is real). O[n-1-m] is the conjugate of O[m].
    // A split plan (a,b) is taken with twiddles whether or not a and b are
    // coprime.
    RW O(const PlanNode& plan, const std::vector<Ref>& d, int r);

    // cos(2 pi p / q) and sin(2 pi p / q) in the kernel's constant precision.
    double cos2pi(long p, long q) const;
    double sin2pi(long p, long q) const;
    // A constant of the kernel's precision.
    double k(double v) const;

    Dag& dag() const { return dag_; }
    const NetOptions& options() const { return opt_; }

private:
    // The data kind passes down: inside T(b) every stage works on formal data.
    RW split(const PlanNode& plan, const std::vector<Ref>& x, int r, Data data);
    // The real-coefficient prime network; it takes a root rotation into its
    // constants. Its sine sums that end in a rotation pair are tagged: at the
    // join of the top their products can take exchanged operands.
    RW prime(const PlanNode& plan, const std::vector<Ref>& x, int r);
    // T(b) on z[n] = p[n] - i' q[n]: C and S parts of all b formal bins.
    void T(const PlanNode& plan, const std::vector<Ref>& p, const std::vector<Ref>& q, int r,
           std::vector<Ref>& Cout, std::vector<Ref>& Sout);

    Dag& dag_;
    NetOptions opt_;
};

// ---- Leaf forms ----------------------------------------------------------
//
// The base transforms that a plan does not split further, keyed by length
// and form: 2, 3, 4, 5, 5s (sum-difference form on real-weighted data), 7,
// 11. A leaf gives its cosine and sine sums for the standard root; the
// network renumbers them for a rotated root.
struct LeafContext {
    Network& net;
    Data data;
};
using LeafBuilder = RW (*)(const LeafContext& c, const PlanNode& plan, const std::vector<Ref>& x);

// The builder of a leaf in a family of forms, or null if no such form exists.
LeafBuilder leafForm(const PlanNode& plan, LeafForm family);

}  // namespace qrbgen::plans
