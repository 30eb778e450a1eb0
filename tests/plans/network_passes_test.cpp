// The IR passes and the prime networks, at the level of the DAG: the dual
// of a network, the constant-chain merges, the evaluator, and the
// real-coefficient Rader networks checked against the defining sums before
// any code is printed.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "ir/eval.h"
#include "ir/merge.h"
#include "rules/network.h"
#include "rules/rader.h"
#include "ir/transpose.h"

using namespace qrbgen::plans;

namespace {

struct Counts {
    int adds = 0, muls = 0;
};

// Operations that the roots depend on.
Counts countsOf(const Dag& d, const std::vector<Ref>& roots) {
    std::vector<bool> need(d.nodes().size(), false);
    for (const Ref& r : roots)
        if (!r.isZero()) need[static_cast<std::size_t>(r.id)] = true;
    Counts c;
    for (std::size_t i = d.nodes().size(); i-- > 0;) {
        if (!need[i]) continue;
        const Node& n = d.nodes()[i];
        if (n.op == Op::Add || n.op == Op::Sub) ++c.adds;
        if (n.op == Op::Mul) ++c.muls;
        if (n.a >= 0) need[static_cast<std::size_t>(n.a)] = true;
        if (n.b >= 0) need[static_cast<std::size_t>(n.b)] = true;
    }
    return c;
}

// A network R(n) of a plan on n inputs, its roots C[0..n/2], S[1..(n-1)/2].
struct Built {
    Dag dag;
    int n = 0;
    std::vector<Ref> roots;
};

Built build(const std::string& plan, int r = 1, NetOptions opt = {}) {
    Built b;
    const PlanNode p = parsePlan(plan);
    b.n = p.n;
    Network net(b.dag, opt);
    std::vector<Ref> x;
    for (int i = 0; i < b.n; ++i) x.push_back(b.dag.input(i));
    const RW w = net.R(p, x, r);
    for (int k = 0; 2 * k <= b.n; ++k) b.roots.push_back(w.C[k]);
    for (int k = 1; 2 * k < b.n; ++k) b.roots.push_back(w.S[k]);
    return b;
}

std::vector<long double> randomInputs(int n, unsigned seed) {
    std::mt19937 g(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<long double> x(static_cast<std::size_t>(n));
    for (auto& v : x) v = u(g);
    return x;
}

// The matrix of a linear network: column j is its response to input j.
std::vector<std::vector<long double>> matrixOf(const Dag& d, int inputs, const std::vector<Ref>& roots) {
    std::vector<std::vector<long double>> cols;
    for (int j = 0; j < inputs; ++j) {
        std::vector<long double> e(static_cast<std::size_t>(inputs), 0.0L);
        e[static_cast<std::size_t>(j)] = 1.0L;
        cols.push_back(evaluateScalar(d, e, roots));
    }
    return cols;
}

// The dual of a built network, on fresh inputs, one per root.
Built dualOf(const Built& b) {
    Built t;
    t.n = static_cast<int>(b.roots.size());
    std::vector<Ref> in;
    for (std::size_t i = 0; i < b.roots.size(); ++i) in.push_back(t.dag.input(static_cast<int>(i)));
    t.roots = transposeInto(b.dag, b.n, b.roots, t.dag, in);
    return t;
}

// The cosine and sine sums of R(n) with root rotation r, in long double.
std::vector<long double> definingSums(const std::vector<long double>& x, int r) {
    const int n = static_cast<int>(x.size());
    const long double pi = 3.141592653589793238462643383279502884L;
    std::vector<long double> out;
    for (int pass = 0; pass < 2; ++pass)
        for (int k = pass; pass == 0 ? 2 * k <= n : 2 * k < n; ++k) {
            long double s = 0;
            for (int t = 0; t < n; ++t) {
                const long double a = 2 * pi * static_cast<long double>(static_cast<long>(r) * k * t % n) / n;
                s += x[static_cast<std::size_t>(t)] * (pass == 0 ? std::cos(a) : std::sin(a));
            }
            out.push_back(s);
        }
    return out;
}

double worstError(const std::vector<long double>& got, const std::vector<long double>& want) {
    long double err = 0, scale = 0;
    for (std::size_t i = 0; i < want.size(); ++i) {
        err = std::max(err, std::fabs(got[i] - want[i]));
        scale = std::max(scale, std::fabs(want[i]));
    }
    return static_cast<double>(err / scale);
}

}  // namespace

TEST(Transpose, IsTheTransposedMatrixAndTwiceGivesTheNetworkBack) {
    for (const char* plan : {"G(3,4)", "C(3,3)", "C(C(4,2),2)", "G(5s,2)", "R13", "R17", "R23"}) {
        const Built b = build(plan);
        const Built t = dualOf(b), tt = dualOf(t);
        const int m = static_cast<int>(b.roots.size());
        const auto F = matrixOf(b.dag, b.n, b.roots), D = matrixOf(t.dag, m, t.roots);
        for (int i = 0; i < m; ++i)
            for (int j = 0; j < b.n; ++j) ASSERT_NEAR(static_cast<double>(D[i][j]), static_cast<double>(F[j][i]), 1e-15) << plan;
        const Counts c = countsOf(b.dag, b.roots), c2 = countsOf(tt.dag, tt.roots);
        EXPECT_EQ(c.adds, c2.adds) << plan;
        EXPECT_EQ(c.muls, c2.muls) << plan;
        const auto x = randomInputs(b.n, 7);
        const auto y = evaluateScalar(b.dag, x, b.roots), y2 = evaluateScalar(tt.dag, x, tt.roots);
        for (std::size_t i = 0; i < y.size(); ++i) EXPECT_NEAR(static_cast<double>(y[i]), static_cast<double>(y2[i]), 1e-15) << plan;
    }
}

namespace {

void checkDual(const Built& b, const char* plan) {
    const Built t = dualOf(b);
    const Counts c = countsOf(b.dag, b.roots), ct = countsOf(t.dag, t.roots);
    EXPECT_EQ(ct.muls, c.muls) << plan << " m=" << b.roots.size();
    EXPECT_EQ(ct.adds, c.adds + static_cast<int>(b.roots.size()) - b.n) << plan << " m=" << b.roots.size();
}

}  // namespace

TEST(Transpose, KeepsEveryProductAndAddsOutputsMinusInputs) {
    // R(n) without its sum C[0] (n inputs, n - 1 outputs), and with the
    // input x[1] as an extra output (n + 1): no dead rows, so the dual has
    // the same products and m - n more additions.
    for (const char* plan : {"C(3,3)", "G(3,4)", "C(C(4,4),4)", "R13", "R19"}) {
        Built b = build(plan);
        b.roots.erase(b.roots.begin());
        checkDual(b, plan);
        b = build(plan);
        b.roots.push_back(b.dag.input(1));
        checkDual(b, plan);
    }
}

TEST(Transpose, IsBuiltInsideAnotherNetwork) {
    // The dual instantiated inside a DAG that already holds the values it
    // takes: the dual of R(12) fed by sums of the inputs.
    Dag d;
    std::vector<Ref> x;
    for (int i = 0; i < 12; ++i) x.push_back(d.input(i));
    std::vector<Ref> feed;
    for (int i = 0; i < 12; ++i) feed.push_back(d.add(x[i], x[(i + 1) % 12]));
    const Built f = build("G(3,4)");
    const std::vector<Ref> y = transposeInto(f.dag, 12, f.roots, d, feed);
    const auto in = randomInputs(12, 3);
    const auto got = evaluateScalar(d, in, y);
    std::vector<long double> fed(12);
    for (int i = 0; i < 12; ++i) fed[i] = in[i] + in[(i + 1) % 12];
    const auto F = matrixOf(f.dag, 12, f.roots);
    for (int j = 0; j < 12; ++j) {
        long double want = 0;
        for (int i = 0; i < 12; ++i) want += F[j][i] * fed[i];
        EXPECT_NEAR(static_cast<double>(got[j]), static_cast<double>(want), 1e-14);
    }
}

TEST(Evaluate, NetworksAgreeWithTheDefiningSums) {
    const std::pair<const char*, int> cases[] = {
        {"G(3,4)", 1}, {"C(C(4,2),4)", 3}, {"G(5s,C(4,2))", 1}, {"G(2,C(3,3))", 5}, {"G(13,4)", 1}, {"G(5s,7r)", 2}};
    for (auto [plan, r] : cases) {
        const Built b = build(plan, r);
        const auto x = randomInputs(b.n, 11);
        EXPECT_LT(worstError(evaluateScalar(b.dag, x, b.roots), definingSums(x, r)), 4e-16) << plan << " r=" << r;
    }
    // Pair items: the two lanes go through the same network independently.
    const Built b = build("R13");
    const auto re = randomInputs(13, 1), im = randomInputs(13, 2);
    std::vector<Lanes> in;
    for (int i = 0; i < 13; ++i) in.push_back({re[i], im[i]});
    const auto v = evaluate(b.dag, in, b.roots);
    const auto sr = evaluateScalar(b.dag, re, b.roots), si = evaluateScalar(b.dag, im, b.roots);
    for (std::size_t i = 0; i < v.size(); ++i) {
        EXPECT_EQ(v[i][0], sr[i]);
        EXPECT_EQ(v[i][1], si[i]);
    }
}

TEST(Merge, ChainOfProductsBecomesOneProductRoundedOnce) {
    Dag d;
    const double c = 0.8660254037844386;  // sin(2 pi / 3)
    const Ref x = d.input(0), y = d.input(1);
    std::vector<Ref> roots = {d.mulC(c, d.mulC(c, x)), d.sub(d.mulC(c, y), d.mulC(0.5, y))};
    EXPECT_EQ(mergeConstantChains(d, roots, ConstPrecision::Double), 1);
    EXPECT_EQ(countsOf(d, roots).muls, 3);
    // The exact 3/4, not the double product of the rounded constants.
    ASSERT_NE(c * c, 0.75);
    bool found = false;
    for (const Constant& k : d.constants()) found |= k.lanes[0] == 0.75;
    EXPECT_TRUE(found);
    const auto v = evaluateScalar(d, {1.0L, 1.0L}, roots);
    EXPECT_EQ(v[0], 0.75L);
}

TEST(Merge, SumOfTwoProductsTakesTheOuterConstantIn) {
    Dag d;
    const Ref a = d.input(0), b = d.input(1);
    std::vector<Ref> roots = {d.mulC(0.5, d.sub(d.mulC(0.3, a), d.mulC(0.7, b)))};
    const auto before = evaluateScalar(d, {0.25L, -1.5L}, roots);
    EXPECT_EQ(mergeConstantChains(d, roots, ConstPrecision::Double), 1);
    const Counts c = countsOf(d, roots);
    EXPECT_EQ(c.muls, 2);
    EXPECT_EQ(c.adds, 1);
    EXPECT_NEAR(static_cast<double>(evaluateScalar(d, {0.25L, -1.5L}, roots)[0]), static_cast<double>(before[0]), 1e-16);
}

TEST(Merge, OnlyWhereTheInnerValuesHaveNoOtherConsumer) {
    // The inner product feeds a second value; the sum is itself an output.
    Dag d;
    const Ref x = d.input(0), a = d.input(1), b = d.input(2);
    const Ref inner = d.mulC(0.3, x), sum = d.add(d.mulC(0.3, a), d.mulC(0.6, b));
    std::vector<Ref> roots = {d.mulC(0.5, inner), d.add(inner, a), d.mulC(0.5, sum), sum};
    const Dag untouched = d;
    EXPECT_EQ(mergeConstantChains(d, roots, ConstPrecision::Double), 0);
    EXPECT_EQ(d.nodes().size(), untouched.nodes().size());
}

TEST(Rader, SpectrumConstants) {
    // p = 13, g = 2: the values of the table of U[j] = 2 Re beta[j],
    // V[j] = 2 Im beta[j], and beta[0] = -1/12, beta[6] = sqrt(13)/12.
    const auto beta = raderBeta(13, 2, 1);
    const double U[] = {0.5124953432, 0.5165207806, 0.5751407295, 0.1518059721, -0.6004772719};
    const double V[] = {-0.3137827821, 0.3071113712, -0.1741386012, 0.5814344829, 0.0231982112};
    for (int j = 1; j <= 5; ++j) {
        EXPECT_NEAR(2 * roundToDouble(beta[j].re), U[j - 1], 1e-10) << j;
        EXPECT_NEAR(2 * roundToDouble(beta[j].im), V[j - 1], 1e-10) << j;
    }
    EXPECT_EQ(roundToDouble(beta[0].re), -1.0 / 12);
    EXPECT_NEAR(roundToDouble(beta[6].re), std::sqrt(13.0) / 12, 1e-16);
    // |beta[j]| = sqrt(p)/M, beta[M-j] = (-1)^j conj(beta[j]), beta[H] real
    // for even H and imaginary for odd H, for any prime and rotation.
    for (auto [p, g, r] : {std::tuple{19, 2, 1}, std::tuple{23, 5, 2}, std::tuple{17, 3, 3}}) {
        const int M = p - 1, H = M / 2;
        const auto b = raderBeta(p, g, r);
        for (int j = 1; j < M; ++j) {
            const double re = roundToDouble(b[j].re), im = roundToDouble(b[j].im);
            EXPECT_NEAR(std::hypot(re, im), std::sqrt(double(p)) / M, 1e-15);
            const double s = j % 2 ? -1.0 : 1.0;
            EXPECT_NEAR(roundToDouble(b[M - j].re), s * re, 1e-15);
            EXPECT_NEAR(roundToDouble(b[M - j].im), -s * im, 1e-15);
        }
        EXPECT_NEAR(H % 2 ? roundToDouble(b[H].re) : roundToDouble(b[H].im), 0.0, 1e-15) << p;
    }
}

TEST(Rader, NetworksAgreeWithTheDefiningSums) {
    const std::vector<int> all = {7, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53, 59, 61};
    const std::pair<RaderFamily, std::vector<int>> families[] = {
        {RaderFamily::Complex, all}, {RaderFamily::Real, all}, {RaderFamily::Split, {11, 13, 17, 19, 23, 29, 31}}};
    for (const auto& [f, primes] : families) {
        NetOptions opt;
        opt.raderFamily = f;
        for (int p : primes)
            for (int r : {1, 2}) {
                const Built b = build("R" + std::to_string(p), r, opt);
                const auto x = randomInputs(p, static_cast<unsigned>(p * r));
                EXPECT_LT(worstError(evaluateScalar(b.dag, x, b.roots), definingSums(x, r)), 1e-15)
                    << "R" << p << " r=" << r << " family " << static_cast<int>(f);
            }
    }
}
