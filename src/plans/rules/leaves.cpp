// The leaf forms of the real-weighted networks: the base transforms, each
// stopped before its lines X[k] = C - i S, which name its cosine and sine
// sums. Their formulas fix the order and sign of every operation.
#include <string>

#include "ir/trig.h"
#include "rules/network.h"

namespace qrbgen::plans {
namespace {

RW sized(int M) {
    RW o;
    o.C.assign(static_cast<std::size_t>(M / 2 + 1), Ref{});
    o.S.assign(static_cast<std::size_t>(M / 2 + 1), Ref{});
    return o;
}

RW leaf2(const LeafContext& c, const PlanNode&, const std::vector<Ref>& x) {
    Dag& d = c.net.dag();
    RW o = sized(2);
    o.C[0] = d.add(x[0], x[1]);
    o.C[1] = d.sub(x[0], x[1]);
    return o;
}

RW leaf3(const LeafContext& c, const PlanNode&, const std::vector<Ref>& x) {
    Dag& d = c.net.dag();
    RW o = sized(3);
    Ref t = d.add(x[1], x[2]);
    Ref dd = d.sub(x[1], x[2]);
    o.C[0] = d.add(x[0], t);
    o.C[1] = d.sub(x[0], d.mulC(0.5, t));
    o.S[1] = d.mulC(c.net.sin2pi(1, 3), dd);
    d.tag(o.S[1], TagLeafSine);
    return o;
}

RW leaf4(const LeafContext& c, const PlanNode&, const std::vector<Ref>& x) {
    Dag& d = c.net.dag();
    RW o = sized(4);
    Ref a = d.add(x[0], x[2]), b = d.sub(x[0], x[2]);
    Ref cc = d.add(x[1], x[3]), dd = d.sub(x[1], x[3]);
    o.C[0] = d.add(a, cc);
    o.C[2] = d.sub(a, cc);
    o.C[1] = b;
    o.S[1] = dd;
    return o;
}

// Direct form; the second pair is taken in the order 3, 2.
RW leaf5(const LeafContext& c, const PlanNode&, const std::vector<Ref>& x) {
    Dag& d = c.net.dag();
    const Network& net = c.net;
    RW o = sized(5);
    const double s51 = net.sin2pi(1, 5), s52 = net.sin2pi(2, 5);
    const double c51 = net.cos2pi(1, 5), c52 = -net.cos2pi(2, 5);
    Ref a = d.add(x[1], x[4]), dd = d.sub(x[1], x[4]);
    Ref b = d.add(x[3], x[2]), e = d.sub(x[3], x[2]);
    // The order in which a call's arguments are evaluated is unspecified,
    // and the network must not depend on the compiler that built the
    // generator: operands that make nodes are made one statement at a time,
    // the later operand first, which is the order the kernels have always
    // been built in.
    o.C[0] = net.options().five0Left ? d.add(d.add(x[0], a), b) : d.add(x[0], d.add(a, b));
    const Ref c52b = d.mulC(c52, b);
    o.C[1] = d.sub(d.add(d.mulC(c51, a), x[0]), c52b);
    const Ref c51b = d.mulC(c51, b);
    o.C[2] = d.add(d.sub(x[0], d.mulC(c52, a)), c51b);
    const Ref s52e = d.mulC(s52, e);
    o.S[1] = d.sub(d.mulC(s51, dd), s52e);
    const Ref s51e = d.mulC(s51, e);
    o.S[2] = d.add(d.mulC(s52, dd), s51e);
    d.tag(o.S[1], TagLeafSine);
    d.tag(o.S[2], TagLeafSine);
    return o;
}

// Sum-difference form on real-weighted data; on formal complex data the
// direct form.
RW leaf5s(const LeafContext& c, const PlanNode& plan, const std::vector<Ref>& x) {
    if (c.data == Data::Formal) return leaf5(c, plan, x);
    Dag& d = c.net.dag();
    const Network& net = c.net;
    RW o = sized(5);
    const double s51 = net.sin2pi(1, 5), s52 = net.sin2pi(2, 5);
    const double q5 = 0.25, r5 = net.k(sqrtFrac(5, 16));
    Ref a = d.add(x[1], x[4]), dd = d.sub(x[1], x[4]);
    Ref b = d.add(x[2], x[3]), e = d.sub(x[2], x[3]);
    Ref t = d.add(a, b);
    o.C[0] = d.add(x[0], t);
    Ref m = d.sub(x[0], d.mulC(q5, t));
    Ref n = d.mulC(r5, d.sub(a, b));
    o.C[1] = d.add(m, n);
    o.C[2] = d.sub(m, n);
    // Later operands first (see leaf5).
    const Ref s52e = d.mulC(s52, e);
    o.S[1] = d.add(d.mulC(s51, dd), s52e);
    // The network forms s51 e - s52 d and carries the sign.
    const Ref s52d = d.mulC(s52, dd);
    o.S[2] = -d.sub(d.mulC(s51, e), s52d);
    return o;
}

RW leaf7(const LeafContext& c, const PlanNode&, const std::vector<Ref>& x) {
    Dag& d = c.net.dag();
    const Network& net = c.net;
    RW o = sized(7);
    const double c71 = net.cos2pi(1, 7), c72 = -net.cos2pi(2, 7), c73 = -net.cos2pi(3, 7);
    const double s71 = net.sin2pi(1, 7), s72 = net.sin2pi(2, 7), s73 = net.sin2pi(3, 7);
    Ref a1 = d.add(x[1], x[6]), d1 = d.sub(x[1], x[6]);
    Ref a2 = d.add(x[5], x[2]), d2 = d.sub(x[5], x[2]);
    Ref a3 = d.add(x[4], x[3]), d3 = d.sub(x[4], x[3]);
    o.C[0] = d.add(x[0], d.add(a1, d.add(a2, a3)));
    // Later operands first, one statement at a time (see leaf5).
    Ref last = d.mulC(c73, a3), mid = d.mulC(c72, a2);
    o.C[1] = d.sub(d.sub(d.add(d.mulC(c71, a1), x[0]), mid), last);
    last = d.mulC(c71, a3);
    mid = d.mulC(c73, a2);
    o.C[2] = d.add(d.sub(d.sub(x[0], d.mulC(c72, a1)), mid), last);
    last = d.mulC(c72, a3);
    mid = d.mulC(c71, a2);
    o.C[3] = d.sub(d.add(d.sub(x[0], d.mulC(c73, a1)), mid), last);
    last = d.mulC(s73, d3);
    mid = d.mulC(s71, d1);
    const Ref w1 = d.add(d.sub(d.mulC(s72, d2), mid), last);
    mid = d.mulC(s71, d3);
    last = d.add(d.mulC(s73, d2), mid);
    const Ref w2 = d.add(d.mulC(s72, d1), last);
    mid = d.mulC(s71, d2);
    last = d.add(d.mulC(s73, d1), mid);
    const Ref w3 = d.sub(d.mulC(s72, d3), last);
    // X[1] = C1 + i W1 and X[3] = C3 + i W3: those sine sums are carried negated.
    o.S[1] = -w1;
    o.S[2] = w2;
    o.S[3] = -w3;
    return o;
}

// Pairs (1,10), (6,5), (3,8), (7,4), (9,2); plain quadratic sums.
RW leaf11(const LeafContext& c, const PlanNode&, const std::vector<Ref>& x) {
    Dag& d = c.net.dag();
    const Network& net = c.net;
    RW o = sized(11);
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
        Ref cs = x[0];
        Ref s = d.zero();
        for (int j = 0; j < 5; ++j) {
            cs = d.add(cs, d.mulC(net.cos2pi(static_cast<long>(kk) * g[j], 11), a[j]));
            s = d.add(s, d.mulC(net.sin2pi(static_cast<long>(kk) * g[j], 11), dd[j]));
        }
        o.C[kk] = cs;
        o.S[kk] = s;
    }
    return o;
}

// The real kernels' form of the direct leaves: the plain quadratic
// evaluation. For odd p, with the pair sums A[j] = x[j] + x[p-j] and
// differences B[j] = x[j] - x[p-j], j = 1..(p-1)/2: C[k] = x[0] + sum of
// A[j] cos(2 pi j k / p), summed from the j = 1 term with x[0] added last
// when that term is positive, and from x[0] otherwise; the imaginary part
// -S[k] = sum of B[j] (-sin(2 pi j k / p)) is summed in the order of j, so
// that the network yields I(k) itself wherever one of its terms is
// positive. Lengths 2 and 4 are the butterflies of the other form.
RW leafQuadratic(const LeafContext& c, const PlanNode& plan, const std::vector<Ref>& x) {
    const int p = plan.n;
    if (p == 2) return leaf2(c, plan, x);
    if (p == 4) return leaf4(c, plan, x);
    Dag& d = c.net.dag();
    const Network& net = c.net;
    RW o = sized(p);
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
        const bool firstPositive = net.cos2pi(k, p) > 0;
        auto cosTerm = [&](int j) { return d.mulC(net.cos2pi(static_cast<long>(j) * k, p), A[j]); };
        Ref re = firstPositive ? cosTerm(1) : d.add(x[0], cosTerm(1));
        for (int j = 2; j <= h; ++j) re = d.add(re, cosTerm(j));
        if (firstPositive) re = d.add(re, x[0]);
        Ref im = d.zero();
        for (int j = 1; j <= h; ++j) im = d.add(im, d.mulC(-net.sin2pi(static_cast<long>(j) * k, p), B[j]));
        o.C[k] = re;
        o.S[k] = -im;
    }
    return o;
}

struct LeafRow {
    int n;
    char form;  // 0 direct, 's' sum-difference, 'q' the real kernels' quadratic form
    LeafBuilder build;
};

const LeafRow kLeaves[] = {
    {2, 0, leaf2},          {3, 0, leaf3},          {4, 0, leaf4},          {5, 0, leaf5},
    {5, 's', leaf5s},       {7, 0, leaf7},          {11, 0, leaf11},        {2, 'q', leafQuadratic},
    {3, 'q', leafQuadratic}, {4, 'q', leafQuadratic}, {5, 'q', leafQuadratic}, {7, 'q', leafQuadratic},
    {11, 'q', leafQuadratic},
};

}  // namespace

LeafBuilder leafForm(const PlanNode& plan, LeafForm family) {
    if (plan.kind != PlanNode::Leaf) return nullptr;
    // A 7r leaf that reaches here is on formal data, where it is direct.
    char form = plan.sumDiff ? 's' : 0;
    if (family == LeafForm::RealQuadratic) form = form ? '?' : 'q';
    for (const LeafRow& l : kLeaves)
        if (l.n == plan.n && l.form == form) return l.build;
    return nullptr;
}

}  // namespace qrbgen::plans
