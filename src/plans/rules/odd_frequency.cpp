// The odd-frequency transform O(n) of the real-weighted networks: the bins
// of half-integer frequency that an even first stage of a Cooley-Tukey
// split leaves over, and the odd bins of the real prime networks.
#include <numeric>
#include <stdexcept>

#include "rules/network.h"

namespace qrbgen::plans {
namespace {

// The half spectrum O[0..ceil(n/2)-1] of a transform of length n; the value
// m >= ceil(n/2) that a rule yields stands for its conjugate at n-1-m.
struct OddBins {
    explicit OddBins(int len) : n(len), half((len + 1) / 2) {
        out.C.assign(static_cast<std::size_t>(half), Ref{});
        out.S.assign(static_cast<std::size_t>(half), Ref{});
        set.assign(static_cast<std::size_t>(half), false);
    }
    void put(int m, Ref c, Ref s) {
        if (m >= half) {
            m = n - 1 - m;
            s = -s;
        }
        if (set[m]) return;
        set[m] = true;
        out.C[m] = c;
        out.S[m] = 2 * m + 1 == n ? Ref{} : s;
    }
    RW done() const {
        for (bool b : set)
            if (!b) throw std::logic_error("odd-frequency transform leaves a bin unset");
        return out;
    }
    int n, half;
    RW out;
    std::vector<bool> set;
};

}  // namespace

RW Network::O(const PlanNode& plan, const std::vector<Ref>& d, int r) {
    const int n = plan.n;
    if (static_cast<int>(d.size()) != n) throw std::logic_error("O: input count");
    r = ((r % (2 * n)) + 2 * n) % (2 * n);
    if (r % 2 == 0 || std::gcd(r, n) != 1) throw std::logic_error("O: root rotation not odd and coprime");
    OddBins bins(n);

    if (n % 2 == 1) {
        // W(2n)^(r t (2m+1)) = (-1)^t W(n)^(r t (2m+1+n)/2): R(n) of the
        // alternated sequence, bin (2m+1+n)/2.
        std::vector<Ref> alt(d);
        for (int t = 1; t < n; t += 2) alt[t] = -alt[t];
        RW w = R(plan, alt, r % n);
        for (int m = 0; m < bins.half; ++m) {
            const int k = (2 * m + 1 + n) / 2 % n;
            if (2 * k <= n) bins.put(m, w.C[k], w.S[k]);
            else bins.put(m, w.C[n - k], -w.S[n - k]);
        }
        return bins.done();
    }

    if (plan.isLeaf()) {
        // O[m] = sum of (d[t] W(2n)^(r t)) W(n)^(r t m): each item rotated by
        // its own twiddle, then T(n). For n = 2 this is d[0] -/+ i d[1]; for
        // n = 4 the two products c d[1] and c d[3] and their sum and
        // difference.
        std::vector<Ref> p(static_cast<std::size_t>(n)), q(static_cast<std::size_t>(n));
        p[0] = d[0];
        q[0] = dag_.zero();
        for (int t = 1; t < n; ++t) {
            const long ang = static_cast<long>(r) * t % (2 * n);
            p[t] = dag_.mulC(cos2pi(ang, 2 * n), d[t]);
            q[t] = dag_.mulC(sin2pi(ang, 2 * n), d[t]);
        }
        std::vector<Ref> Cb, Sb;
        T(plan, p, q, r, Cb, Sb);
        for (int m = 0; m < n; ++m) bins.put(m, Cb[m], Sb[m]);
        return bins.done();
    }

    // Split (a,b), t = b t1 + t2, m = m1 + a m2: O(a) over t1, the twiddle
    // W(2n)^(r t2 (2 m1 + 1)), then T(b) over t2.
    const PlanNode& pa = plan.kids.at(0);
    const PlanNode& pb = plan.kids.at(1);
    const int a = pa.n, b = pb.n;
    std::vector<RW> Y(static_cast<std::size_t>(b));
    for (int t2 = 0; t2 < b; ++t2) {
        std::vector<Ref> col(static_cast<std::size_t>(a));
        for (int t1 = 0; t1 < a; ++t1) col[t1] = d[static_cast<std::size_t>(b * t1 + t2)];
        Y[t2] = O(pa, col, r);
    }
    for (int m1 = 0; 2 * m1 < a; ++m1) {
        std::vector<Ref> p(static_cast<std::size_t>(b)), q(static_cast<std::size_t>(b));
        for (int t2 = 0; t2 < b; ++t2) {
            const Ref c = Y[t2].C[m1], s = Y[t2].S[m1];
            if (t2 == 0) {
                p[0] = c;
                q[0] = s;
                continue;
            }
            const long ang = static_cast<long>(r) * t2 * (2 * m1 + 1) % (2 * n);
            const double co = cos2pi(ang, 2 * n), si = sin2pi(ang, 2 * n);
            // The later product first: a call's arguments have no fixed order.
            const Ref sis = dag_.mulC(si, s);
            p[t2] = dag_.sub(dag_.mulC(co, c), sis);
            const Ref cos_ = dag_.mulC(co, s);
            q[t2] = dag_.add(dag_.mulC(si, c), cos_);
        }
        std::vector<Ref> Cb, Sb;
        T(pb, p, q, r, Cb, Sb);
        for (int m2 = 0; m2 < b; ++m2) bins.put(m1 + a * m2, Cb[m2], Sb[m2]);
    }
    return bins.done();
}

}  // namespace qrbgen::plans
