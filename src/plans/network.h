// Real-weighted transform networks: R, T and the Cooley-Tukey and
// Good-Thomas rules on items. An item is whatever one DAG node holds (a
// pair register in 64fc, a scalar in the real kernels, a whole vector of
// independent lanes inside a split-form stage); the network never lets two
// items' lanes interact.
#pragma once
#include <set>
#include <stdexcept>
#include <vector>

#include "dag.h"
#include "plan.h"
#include "rader_table.h"

namespace qrbgen::plans {

// Cosine sums C[k] = sum x[n] cos(2 pi r k n / M), k = 0..M/2, and sine sums
// S[k] = sum x[n] sin(2 pi r k n / M), 0 < k < M/2 (other entries are zero).
struct RW {
    std::vector<Ref> C, S;
};

// Constants of a network come in the precision of the kernel's arithmetic.
enum class ConstPrecision { Double, Single };

// Options that a kernel gives the leaves it contains.
struct NetOptions {
    ConstPrecision precision = ConstPrecision::Double;
    // X[0] of a direct 5-point leaf as (x0 + a) + b instead of x0 + (a + b).
    bool five0Left = false;
    // The table whose rows factor the prime networks.
    RaderFamily raderFamily = RaderFamily::Complex;
};

class UnsupportedPlan : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Network {
public:
    Network(Dag& dag, NetOptions opt) : dag_(dag), opt_(opt) {}

    // R(M) of the plan on the items x with root rotation r (coprime to M).
    RW R(const PlanNode& plan, const std::vector<Ref>& x, int r);

    // cos(2 pi p / q) and sin(2 pi p / q) in the kernel's constant precision.
    double cos2pi(long p, long q) const;
    double sin2pi(long p, long q) const;

    // Whether a sine sum is the sine output of a 3- or 5-point leaf, formed
    // as one product or as the sum or difference of two products of the
    // leaf's differences, or a sine sum of a prime network that ends in a
    // rotation pair. When such a value reaches the join of the top
    // unchanged, its products take exchanged operands and need no sign mask.
    bool isLeafSine(Ref s) const { return !s.isZero() && leafSines_.count(s.id) != 0; }

private:
    RW leaf(const PlanNode& plan, const std::vector<Ref>& x);
    RW prime(const PlanNode& plan, const std::vector<Ref>& x, int r);
    RW ct(const PlanNode& plan, const std::vector<Ref>& x, int r);
    RW gt(const PlanNode& plan, const std::vector<Ref>& x, int r);
    // T(b) on z[n] = p[n] - i' q[n]: C and S parts of all b formal bins.
    void T(const PlanNode& plan, const std::vector<Ref>& p, const std::vector<Ref>& q, int r,
           std::vector<Ref>& Cout, std::vector<Ref>& Sout);
    double k(double v) const;

    Dag& dag_;
    NetOptions opt_;
    // Inside T(b) the data are formal complex values: a 5s leaf there keeps
    // the direct form.
    int formalDepth_ = 0;
    std::set<int> leafSines_;
};

}  // namespace qrbgen::plans
