#include "rules/network.h"

#include <numeric>
#include <string>

#include "ir/trig.h"
#include "rules/index_maps.h"
#include "rules/rader.h"

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

namespace {

// A rotated root renumbers the bins of a base transform: bin k of R(M, r) is
// bin r k mod M of R(M), a bin above M/2 standing for its mirror with the
// sine part negated.
RW renumber(const RW& base, int M, int r) {
    RW out;
    out.C.assign(static_cast<std::size_t>(M / 2 + 1), Ref{});
    out.S.assign(static_cast<std::size_t>(M / 2 + 1), Ref{});
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

// Collects the bins of a network of length N; a formal bin above N/2 is
// stored as its mirror with the sine part negated.
struct Bins {
    explicit Bins(int n)
        : N(n), C(static_cast<std::size_t>(n / 2 + 1)), S(static_cast<std::size_t>(n / 2 + 1)),
          set(static_cast<std::size_t>(n / 2 + 1), false) {}
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

RW Network::R(const PlanNode& plan, const std::vector<Ref>& x, int r, Data data) {
    const int M = plan.n;
    if (static_cast<int>(x.size()) != M) throw std::logic_error("R: input count");
    r = ((r % M) + M) % M;
    if (std::gcd(r, M) != 1) throw std::logic_error("R: root rotation not coprime");
    if (plan.kind == PlanNode::CT || plan.kind == PlanNode::GT) return split(plan, x, r, data);
    // 7r is the prime network on real-weighted data only; on formal complex
    // data, inside T(b), the 7-point leaf keeps the direct form.
    if (plan.kind == PlanNode::Rader || (plan.realRader && data == Data::RealWeighted)) return prime(plan, x, r);
    LeafBuilder leaf = leafForm(plan, opt_.leaves);
    if (leaf == nullptr) throw std::invalid_argument("no real-weighted form of " + plan.str());
    RW base = leaf(LeafContext{*this, data}, plan, x);
    return r == 1 ? base : renumber(base, M, r);
}

RW Network::prime(const PlanNode& plan, const std::vector<Ref>& x, int r) {
    RaderNetwork net = raderNetwork(*this, dag_, opt_, plan, x, r);
    for (Ref s : net.exchangeable) dag_.tag(s, TagLeafSine);
    return net.w;
}

void Network::T(const PlanNode& plan, const std::vector<Ref>& p, const std::vector<Ref>& q, int r,
                std::vector<Ref>& Cout, std::vector<Ref>& Sout) {
    // Two real-weighted transforms and one join, at every depth.
    const int b = plan.n;
    const int halves = dag_.newGroup();
    RW A, D;
    {
        Dag::InstanceScope run(dag_, halves, p);
        A = R(plan, p, r, Data::Formal);
    }
    {
        Dag::InstanceScope run(dag_, halves, q);
        D = R(plan, q, r, Data::Formal);
    }
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

RW Network::split(const PlanNode& plan, const std::vector<Ref>& x, int r, Data data) {
    const SplitMap m = SplitMap::of(plan);
    const PlanNode& pa = plan.kids[0];
    const PlanNode& pb = plan.kids[1];
    const int a = m.a, b = m.b;
    const int ra = m.rootA(r), rb = m.rootB(r);

    // First stage: b transforms of a points; each stage is a group of
    // parallel instances.
    std::vector<RW> Y(static_cast<std::size_t>(b));
    const int firstStage = dag_.newGroup();
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<Ref> col(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) col[n1] = x[static_cast<std::size_t>(m.in(n1, n2))];
        Dag::InstanceScope run(dag_, firstStage, col);
        Y[n2] = R(pa, col, ra, data);
    }
    Bins bins(m.N);
    const int secondStage = dag_.newGroup();
    for (int k1 = 0; 2 * k1 <= a; ++k1) {
        std::vector<Ref> seeds;
        for (int n2 = 0; n2 < b; ++n2) {
            seeds.push_back(Y[n2].C[k1]);
            seeds.push_back(Y[n2].S[k1]);
        }
        Dag::InstanceScope run(dag_, secondStage, seeds);
        // In Cooley-Tukey the bin a/2 of an even first stage is real: the
        // odd block, X[a/2 + a m] = O(b)[m], with the twiddles of its own rule.
        if (m.ct && 2 * k1 == a) {
            std::vector<Ref> col(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2].C[k1];
            RW o = O(pb, col, r);
            for (std::size_t mm = 0; mm < o.C.size(); ++mm) bins.put(k1 + a * static_cast<int>(mm), o.C[mm], o.S[mm]);
            continue;
        }
        // Bin 0, and in Good-Thomas the bin a/2 of an even first stage, are
        // real-weighted: R(b).
        const bool real = k1 == 0 || 2 * k1 == a;
        if (real) {
            std::vector<Ref> col(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2].C[k1];
            RW o = R(pb, col, rb, data);
            for (int k2 = 0; k2 < b; ++k2) {
                if (m.ct && 2 * k2 > b) break;  // Cooley-Tukey bin 0 gives the bins a*k2 up to N/2
                int kk = 2 * k2 <= b ? k2 : b - k2;
                Ref s = 2 * k2 <= b ? o.S[kk] : -o.S[kk];
                bins.put(m.out(k1, k2), o.C[kk], s);
            }
            continue;
        }
        // Rotate row n2 of a Cooley-Tukey split by the twiddle, then T(b).
        std::vector<Ref> p(static_cast<std::size_t>(b)), q(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) {
            Ref c = Y[n2].C[k1], s = Y[n2].S[k1];
            if (!m.ct || n2 == 0) {
                p[n2] = c;
                q[n2] = s;
                continue;
            }
            const long e = m.twiddle(r, n2, k1);
            const double co = cos2pi(e, m.N), si = sin2pi(e, m.N);
            // The later product first: a call's arguments have no fixed order.
            const Ref sis = dag_.mulC(si, s);
            p[n2] = dag_.sub(dag_.mulC(co, c), sis);
            const Ref cos_ = dag_.mulC(co, s);
            q[n2] = dag_.add(dag_.mulC(si, c), cos_);
        }
        std::vector<Ref> Cb, Sb;
        T(pb, p, q, rb, Cb, Sb);
        for (int k2 = 0; k2 < b; ++k2) bins.put(m.out(k1, k2), Cb[k2], Sb[k2]);
    }
    return bins.done();
}

}  // namespace qrbgen::plans
