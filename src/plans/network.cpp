#include "network.h"

#include <cmath>
#include <numeric>
#include <optional>

#include "rader.h"
#include "trig.h"

namespace qrbgen::plans {

double Network::k(double v) const {
    return opt_.precision == ConstPrecision::Single ? static_cast<double>(static_cast<float>(v)) : v;
}

double Network::cos2pi(long p, long q) const {
    return opt_.precision == ConstPrecision::Single ? static_cast<double>(cosPiFracF(2 * p, q))
                                                    : cosPiFrac(2 * p, q);
}
double Network::sin2pi(long p, long q) const {
    return opt_.precision == ConstPrecision::Single ? static_cast<double>(sinPiFracF(2 * p, q))
                                                    : sinPiFrac(2 * p, q);
}

RW Network::R(const PlanNode& plan, const std::vector<Ref>& x, int r) {
    const int M = plan.n;
    if (static_cast<int>(x.size()) != M) throw std::logic_error("R: input count");
    r = ((r % M) + M) % M;
    if (std::gcd(r, M) != 1) throw std::logic_error("R: root rotation not coprime");
    switch (plan.kind) {
        case PlanNode::CT: return ct(plan, x, r);
        case PlanNode::GT: return gt(plan, x, r);
        case PlanNode::Rader: return prime(plan, x, r);
        case PlanNode::Leaf:
            // 7r is the prime network on real-weighted data only; on formal
            // complex data, inside T(b), the 7-point leaf keeps the direct form.
            if (plan.realRader && formalDepth_ == 0) return prime(plan, x, r);
            break;
        default: throw UnsupportedPlan("the chirp form is not built yet: " + plan.str());
    }
    RW base = leaf(plan, x);
    if (r == 1) return base;
    // A rotated root renumbers the bins of a base kernel: bin k of R(M, r) is
    // bin r k mod M of R(M), a bin above M/2 standing for its mirror with the
    // sine part negated.
    RW out;
    out.C.assign(static_cast<std::size_t>(M / 2 + 1), dag_.zero());
    out.S.assign(static_cast<std::size_t>(M / 2 + 1), dag_.zero());
    for (int kk = 0; kk <= M / 2; ++kk) {
        int j = static_cast<int>((static_cast<long>(r) * kk) % M);
        if (j <= M / 2) {
            out.C[kk] = base.C[j];
            out.S[kk] = base.S[j];
        } else {
            out.C[kk] = base.C[M - j];
            out.S[kk] = -base.S[M - j];
        }
    }
    return out;
}

// The real-coefficient prime network takes the root rotation into its
// constants. Its sine sums that end in rotation pairs can take exchanged
// operands at the join of the top, like the sines of the small leaves.
RW Network::prime(const PlanNode& plan, const std::vector<Ref>& x, int r) {
    RaderNetwork net = raderNetwork(*this, dag_, opt_, plan, x, r);
    for (Ref s : net.exchangeable) leafSines_.insert(s.id);
    return net.w;
}

RW Network::leaf(const PlanNode& plan, const std::vector<Ref>& x) {
    Dag& d = dag_;
    const int M = plan.n;
    RW o;
    o.C.assign(static_cast<std::size_t>(M / 2 + 1), d.zero());
    o.S.assign(static_cast<std::size_t>(M / 2 + 1), d.zero());
    switch (M) {
        case 2:
            o.C[0] = d.add(x[0], x[1]);
            o.C[1] = d.sub(x[0], x[1]);
            return o;
        case 3: {
            Ref t = d.add(x[1], x[2]);
            Ref dd = d.sub(x[1], x[2]);
            o.C[0] = d.add(x[0], t);
            o.C[1] = d.sub(x[0], d.mulC(0.5, t));
            o.S[1] = d.mulC(sin2pi(1, 3), dd);
            leafSines_.insert(o.S[1].id);
            return o;
        }
        case 4: {
            Ref a = d.add(x[0], x[2]), b = d.sub(x[0], x[2]);
            Ref c = d.add(x[1], x[3]), dd = d.sub(x[1], x[3]);
            o.C[0] = d.add(a, c);
            o.C[2] = d.sub(a, c);
            o.C[1] = b;
            o.S[1] = dd;
            return o;
        }
        case 5: {
            const double s51 = sin2pi(1, 5), s52 = sin2pi(2, 5);
            if (plan.sumDiff && formalDepth_ == 0) {
                const double q5 = 0.25, r5 = k(sqrtFrac(5, 16));
                Ref a = d.add(x[1], x[4]), dd = d.sub(x[1], x[4]);
                Ref b = d.add(x[2], x[3]), e = d.sub(x[2], x[3]);
                Ref t = d.add(a, b);
                o.C[0] = d.add(x[0], t);
                Ref m = d.sub(x[0], d.mulC(q5, t));
                Ref n = d.mulC(r5, d.sub(a, b));
                o.C[1] = d.add(m, n);
                o.C[2] = d.sub(m, n);
                o.S[1] = d.add(d.mulC(s51, dd), d.mulC(s52, e));
                // The network forms s51 e - s52 d and carries the sign.
                o.S[2] = -d.sub(d.mulC(s51, e), d.mulC(s52, dd));
                return o;
            }
            const double c51 = cos2pi(1, 5), c52 = -cos2pi(2, 5);
            // The second pair is taken in the order 3, 2.
            Ref a = d.add(x[1], x[4]), dd = d.sub(x[1], x[4]);
            Ref b = d.add(x[3], x[2]), e = d.sub(x[3], x[2]);
            o.C[0] = opt_.five0Left ? d.add(d.add(x[0], a), b) : d.add(x[0], d.add(a, b));
            o.C[1] = d.sub(d.add(d.mulC(c51, a), x[0]), d.mulC(c52, b));
            o.C[2] = d.add(d.sub(x[0], d.mulC(c52, a)), d.mulC(c51, b));
            o.S[1] = d.sub(d.mulC(s51, dd), d.mulC(s52, e));
            o.S[2] = d.add(d.mulC(s52, dd), d.mulC(s51, e));
            leafSines_.insert(o.S[1].id);
            leafSines_.insert(o.S[2].id);
            return o;
        }
        case 7: {
            const double c71 = cos2pi(1, 7), c72 = -cos2pi(2, 7), c73 = -cos2pi(3, 7);
            const double s71 = sin2pi(1, 7), s72 = sin2pi(2, 7), s73 = sin2pi(3, 7);
            Ref a1 = d.add(x[1], x[6]), d1 = d.sub(x[1], x[6]);
            Ref a2 = d.add(x[5], x[2]), d2 = d.sub(x[5], x[2]);
            Ref a3 = d.add(x[4], x[3]), d3 = d.sub(x[4], x[3]);
            o.C[0] = d.add(x[0], d.add(a1, d.add(a2, a3)));
            o.C[1] = d.sub(d.sub(d.add(d.mulC(c71, a1), x[0]), d.mulC(c72, a2)), d.mulC(c73, a3));
            o.C[2] = d.add(d.sub(d.sub(x[0], d.mulC(c72, a1)), d.mulC(c73, a2)), d.mulC(c71, a3));
            o.C[3] = d.sub(d.add(d.sub(x[0], d.mulC(c73, a1)), d.mulC(c71, a2)), d.mulC(c72, a3));
            Ref w1 = d.add(d.sub(d.mulC(s72, d2), d.mulC(s71, d1)), d.mulC(s73, d3));
            Ref w2 = d.add(d.mulC(s72, d1), d.add(d.mulC(s73, d2), d.mulC(s71, d3)));
            Ref w3 = d.sub(d.mulC(s72, d3), d.add(d.mulC(s73, d1), d.mulC(s71, d2)));
            // X[1] = C1 + i W1 and X[3] = C3 + i W3: those sine sums are carried negated.
            o.S[1] = -w1;
            o.S[2] = w2;
            o.S[3] = -w3;
            return o;
        }
        case 11: {
            // Pairs (1,10), (6,5), (3,8), (7,4), (9,2); plain quadratic sums.
            static const int g[5] = {1, 6, 3, 7, 9};
            Ref a[5], dd[5];
            for (int j = 0; j < 5; ++j) {
                a[j] = d.add(x[g[j]], x[11 - g[j]]);
                dd[j] = d.sub(x[g[j]], x[11 - g[j]]);
            }
            Ref x0 = x[0];
            for (int j = 0; j < 5; ++j) x0 = d.add(x0, a[j]);
            o.C[0] = x0;
            for (int kk = 1; kk <= 5; ++kk) {
                Ref c = x[0];
                Ref s = d.zero();
                for (int j = 0; j < 5; ++j) {
                    c = d.add(c, d.mulC(cos2pi(static_cast<long>(kk) * g[j], 11), a[j]));
                    s = d.add(s, d.mulC(sin2pi(static_cast<long>(kk) * g[j], 11), dd[j]));
                }
                o.C[kk] = c;
                o.S[kk] = s;
            }
            return o;
        }
        default:
            throw std::invalid_argument("no base kernel of length " + std::to_string(M));
    }
}

namespace {

// Collects the bins of a network of length N; a formal bin above N/2 is
// stored as its mirror with the sine part negated.
struct Bins {
    explicit Bins(int n) : N(n), C(static_cast<std::size_t>(n / 2 + 1)), S(static_cast<std::size_t>(n / 2 + 1)), set(static_cast<std::size_t>(n / 2 + 1), false) {}
    void put(int kk, Ref c, Ref s) {
        kk %= N;
        if (kk > N / 2) {
            kk = N - kk;
            s = -s;
        }
        if (set[kk]) return;
        set[kk] = true;
        C[kk] = c;
        S[kk] = (kk == 0 || 2 * kk == N) ? Ref{} : s;
    }
    RW done() const {
        for (std::size_t i = 0; i < set.size(); ++i)
            if (!set[i]) throw std::logic_error("network leaves bin " + std::to_string(i) + " unset");
        return RW{C, S};
    }
    int N;
    std::vector<Ref> C, S;
    std::vector<bool> set;
};

}  // namespace

void Network::T(const PlanNode& plan, const std::vector<Ref>& p, const std::vector<Ref>& q, int r,
                std::vector<Ref>& Cout, std::vector<Ref>& Sout) {
    // Two real-weighted transforms and one join, at every depth.
    const int b = plan.n;
    ++formalDepth_;
    RW A = R(plan, p, r);
    RW D = R(plan, q, r);
    --formalDepth_;
    Cout.assign(static_cast<std::size_t>(b), Ref{});
    Sout.assign(static_cast<std::size_t>(b), Ref{});
    for (int k2 = 0; k2 < b; ++k2) {
        if (2 * k2 <= b) {
            Cout[k2] = dag_.sub(A.C[k2], D.S[k2]);
            Sout[k2] = dag_.add(A.S[k2], D.C[k2]);
        } else {
            int kp = b - k2;
            Cout[k2] = dag_.add(A.C[kp], D.S[kp]);
            Sout[k2] = dag_.sub(D.C[kp], A.S[kp]);
        }
    }
}

RW Network::ct(const PlanNode& plan, const std::vector<Ref>& x, int r) {
    const PlanNode& pa = plan.kids[0];
    const PlanNode& pb = plan.kids[1];
    const int a = pa.n, b = pb.n, N = plan.n;
    // First stage: b transforms of a points at stride b.
    std::vector<RW> Y(static_cast<std::size_t>(b));
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<Ref> col(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) col[n1] = x[static_cast<std::size_t>(b * n1 + n2)];
        Y[n2] = R(pa, col, r);
    }
    Bins bins(N);
    // Bin 0: real-weighted.
    {
        std::vector<Ref> col(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2].C[0];
        RW o = R(pb, col, r);
        for (int k2 = 0; 2 * k2 <= b; ++k2) bins.put(a * k2, o.C[k2], o.S[k2]);
    }
    // Bins 0 < k1 <= a/2: rotate row n2 by 2 pi r n2 k1 / N, then T(b). At
    // k1 = a/2 the sine parts are absent and this is the odd block.
    for (int k1 = 1; 2 * k1 <= a; ++k1) {
        std::vector<Ref> p(static_cast<std::size_t>(b)), q(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) {
            Ref c = Y[n2].C[k1], s = Y[n2].S[k1];
            if (n2 == 0) {
                p[0] = c;
                q[0] = s;
                continue;
            }
            long ang = static_cast<long>(r) * n2 * k1 % N;
            double co = cos2pi(ang, N), si = sin2pi(ang, N);
            p[n2] = dag_.sub(dag_.mulC(co, c), dag_.mulC(si, s));
            q[n2] = dag_.add(dag_.mulC(si, c), dag_.mulC(co, s));
        }
        std::vector<Ref> Cb, Sb;
        T(pb, p, q, r, Cb, Sb);
        for (int k2 = 0; k2 < b; ++k2) bins.put(k1 + a * k2, Cb[k2], Sb[k2]);
    }
    return bins.done();
}

RW Network::gt(const PlanNode& plan, const std::vector<Ref>& x, int r) {
    const PlanNode& pa = plan.kids[0];
    const PlanNode& pb = plan.kids[1];
    const int a = pa.n, b = pb.n, N = plan.n;
    const int ra = static_cast<int>(static_cast<long>(r) * b % a);
    const int rb = static_cast<int>(static_cast<long>(r) * a % b);
    std::vector<RW> Y(static_cast<std::size_t>(b));
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<Ref> col(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) col[n1] = x[static_cast<std::size_t>((b * n1 + a * n2) % N)];
        Y[n2] = R(pa, col, ra);
    }
    Bins bins(N);
    for (int k1 = 0; 2 * k1 <= a; ++k1) {
        const bool real = k1 == 0 || 2 * k1 == a;
        if (real) {
            std::vector<Ref> col(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2].C[k1];
            RW o = R(pb, col, rb);
            for (int k2 = 0; k2 < b; ++k2) {
                int kk = 2 * k2 <= b ? k2 : b - k2;
                Ref s = 2 * k2 <= b ? o.S[kk] : -o.S[kk];
                bins.put((b * k1 + a * k2) % N, o.C[kk], s);
            }
        } else {
            std::vector<Ref> p(static_cast<std::size_t>(b)), q(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) {
                p[n2] = Y[n2].C[k1];
                q[n2] = Y[n2].S[k1];
            }
            std::vector<Ref> Cb, Sb;
            T(pb, p, q, rb, Cb, Sb);
            for (int k2 = 0; k2 < b; ++k2) bins.put((b * k1 + a * k2) % N, Cb[k2], Sb[k2]);
        }
    }
    return bins.done();
}

}  // namespace qrbgen::plans
