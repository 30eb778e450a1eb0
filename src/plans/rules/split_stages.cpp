#include "rules/split_stages.h"

#include <cmath>
#include <stdexcept>

#include "ir/trig.h"
#include "rules/index_maps.h"
#include "rules/split32.h"

namespace qrbgen::plans {

ComplexNet::ComplexNet(Dag& d, bool inverse)
    : d_(d), net_(d, NetOptions{ConstPrecision::Single, false, LeafForm::Complex, RaderFamily::Split}),
      inverse_(inverse) {}

std::vector<CVec> ComplexNet::dft(const PlanNode& p, const std::vector<CVec>& z, int r) {
    const int M = p.n;
    r = ((r % M) + M) % M;
    // A prime factor of 13 or more is the real-coefficient prime network
    // on the real and on the imaginary registers, joined like a leaf.
    if (p.kind == PlanNode::Leaf || p.kind == PlanNode::Rader) return leaf(p, z, r);
    if (p.kind != PlanNode::CT && p.kind != PlanNode::GT)
        throw std::invalid_argument("no split-form rule for " + p.str());
    const SplitMap m = SplitMap::of(p);
    const int a = m.a, b = m.b;
    std::vector<std::vector<CVec>> Y(static_cast<std::size_t>(b));
    const int firstStage = d_.newGroup();
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<CVec> col(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) col[n1] = z[static_cast<std::size_t>(m.in(n1, n2))];
        Dag::InstanceScope run(d_, firstStage, refs(col));
        Y[n2] = dft(p.kids[0], col, m.rootA(r));
        if (m.ct)
            for (int k1 = 1; k1 < a && n2 > 0; ++k1) Y[n2][k1] = twiddle(Y[n2][k1], m.twiddle(r, n2, k1), M);
    }
    std::vector<CVec> X(static_cast<std::size_t>(M));
    const int secondStage = d_.newGroup();
    for (int k1 = 0; k1 < a; ++k1) {
        std::vector<CVec> col(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2][k1];
        Dag::InstanceScope run(d_, secondStage, refs(col));
        std::vector<CVec> W = dft(p.kids[1], col, m.rootB(r));
        for (int k2 = 0; k2 < b; ++k2) X[static_cast<std::size_t>(m.out(k1, k2))] = W[k2];
    }
    return X;
}

std::pair<double, double> ComplexNet::root(long e, long M) const {
    double c = static_cast<double>(cosPiFracF(2 * e, M));
    double s = static_cast<double>(sinPiFracF(2 * e, M));
    return {c, inverse_ ? s : -s};
}

CVec ComplexNet::twiddle(CVec z, long e, long M) {
    e %= M;
    if (e == 0) return z;
    if (4 * e == M || 4 * e == 3 * M) {
        // multiplication by +-i exchanges roles and changes a sign
        const bool plusI = (4 * e == M) == inverse_;
        return plusI ? CVec{-z.im, z.re} : CVec{z.im, -z.re};
    }
    if (2 * e == M) return CVec{-z.re, -z.im};
    auto [c, s] = root(e, M);
    if (std::fabs(c) == std::fabs(s)) {
        const double g = std::fabs(c);
        auto sg = [](double v, Ref x) { return v < 0 ? -x : x; };
        Ref u = d_.sub(sg(c, z.re), sg(s, z.im));
        Ref v = d_.add(sg(s, z.re), sg(c, z.im));
        return {d_.mulC(g, u), d_.mulC(g, v)};
    }
    // The later product first: a call's arguments have no fixed order.
    const Ref si = d_.mulC(s, z.im);
    const Ref re = d_.sub(d_.mulC(c, z.re), si);
    const Ref ci = d_.mulC(c, z.im);
    return {re, d_.add(d_.mulC(s, z.re), ci)};
}

std::vector<CVec> ComplexNet::leaf(const PlanNode& p, const std::vector<CVec>& z, int r) {
    const int M = p.n;
    std::vector<Ref> re(static_cast<std::size_t>(M)), im(static_cast<std::size_t>(M));
    for (int i = 0; i < M; ++i) {
        re[i] = z[i].re;
        im[i] = z[i].im;
    }
    // The real and the imaginary parts run the same network.
    const int halves = d_.newGroup();
    RW wr, wi;
    {
        Dag::InstanceScope run(d_, halves, re);
        wr = net_.R(p, re, r);
    }
    {
        Dag::InstanceScope run(d_, halves, im);
        wi = net_.R(p, im, r);
    }
    return splitJoin(d_, M, inverse_, wr, wi);
}

std::vector<Ref> transpose(Dag& d, std::vector<Ref> rows) {
    if (rows.size() <= 2) {
        Ref r0 = rows[0], r1 = rows.size() > 1 ? rows[1] : rows[0];
        Ref t0 = d.shuf(UnpackLo, r0, r1), t2 = d.shuf(UnpackHi, r0, r1);
        return {t0, d.shuf(MoveHL, t0, t0), t2, d.shuf(MoveHL, t2, t2)};
    }
    while (rows.size() < 4) rows.push_back(rows.back());
    Ref t0 = d.shuf(UnpackLo, rows[0], rows[1]), t1 = d.shuf(UnpackLo, rows[2], rows[3]);
    Ref t2 = d.shuf(UnpackHi, rows[0], rows[1]), t3 = d.shuf(UnpackHi, rows[2], rows[3]);
    return {d.shuf(MoveLH, t0, t1), d.shuf(MoveHL, t1, t0), d.shuf(MoveLH, t2, t3), d.shuf(MoveHL, t3, t2)};
}

std::vector<Ref> refs(const std::vector<CVec>& v) {
    std::vector<Ref> r;
    for (const CVec& c : v) {
        r.push_back(c.re);
        r.push_back(c.im);
    }
    return r;
}

Ref positive(Ref x) {
    if (x.neg) throw std::logic_error("a negated value reaches a lane move");
    return x;
}

CVec laneProduct(Dag& d, CVec z, const std::vector<double>& c, const std::vector<double>& s) {
    const Ref si = d.mulK(s, z.im);
    const Ref re = d.sub(d.mulK(c, z.re), si);
    const Ref ci = d.mulK(c, z.im);
    return {re, d.add(d.mulK(s, z.re), ci)};
}

}  // namespace qrbgen::plans
