#include "real_leaf.h"

#include <string>

#include "trig.h"

namespace qrbgen::plans {

RW realQuadraticLeaf(Dag& d, const PlanNode& plan, const std::vector<Ref>& x) {
    const int p = plan.n;
    if (plan.sumDiff || plan.realRader)
        throw std::invalid_argument("the real kernels have no leaf form " + plan.str());
    RW o;
    o.C.assign(static_cast<std::size_t>(p / 2 + 1), d.zero());
    o.S.assign(static_cast<std::size_t>(p / 2 + 1), d.zero());
    if (p == 2) {
        o.C[0] = d.add(x[0], x[1]);
        o.C[1] = d.sub(x[0], x[1]);
        return o;
    }
    if (p == 4) {
        const Ref s0 = d.add(x[0], x[2]), d0 = d.sub(x[0], x[2]);
        const Ref s1 = d.add(x[1], x[3]), d1 = d.sub(x[1], x[3]);
        o.C[0] = d.add(s0, s1);
        o.C[1] = d0;
        o.S[1] = d1;
        o.C[2] = d.sub(s0, s1);
        return o;
    }
    if (p != 3 && p != 5 && p != 7 && p != 11) {
        if (p >= 13) throw UnsupportedPlan("prime factor " + std::to_string(p) + " is built with the prime networks");
        throw std::invalid_argument("no direct real kernel of length " + std::to_string(p));
    }
    const int h = (p - 1) / 2;
    std::vector<Ref> A(static_cast<std::size_t>(h + 1)), B(static_cast<std::size_t>(h + 1));
    for (int j = 1; j <= h; ++j) {
        A[j] = d.add(x[j], x[p - j]);
        B[j] = d.sub(x[j], x[p - j]);
    }
    Ref sum = A[1];
    for (int j = 2; j <= h; ++j) sum = d.add(sum, A[j]);
    o.C[0] = d.add(sum, x[0]);
    for (int k = 1; k <= h; ++k) {
        const bool firstPositive = cosPiFrac(2L * k, p) > 0;
        auto cosTerm = [&](int j) { return d.mulC(cosPiFrac(2L * j * k, p), A[j]); };
        Ref re = firstPositive ? cosTerm(1) : d.add(x[0], cosTerm(1));
        for (int j = 2; j <= h; ++j) re = d.add(re, cosTerm(j));
        if (firstPositive) re = d.add(re, x[0]);
        // The imaginary part as its own sum of signed terms: the network
        // then holds I(k) wherever one term is positive, and -I(k) only
        // where every term is negative.
        Ref im = d.zero();
        for (int j = 1; j <= h; ++j) im = d.add(im, d.mulC(-sinPiFrac(2L * j * k, p), B[j]));
        o.C[k] = re;
        o.S[k] = -im;
    }
    return o;
}

}  // namespace qrbgen::plans
