// 32fc kernels in split form: the data are rows of the outermost split, a
// register holds four lanes of real parts and its partner the imaginary
// parts. The first stage runs across rows lane by lane, 4x4 blocks are
// transposed so that a register holds a column, the twiddle rows of a
// Cooley-Tukey split are full complex products on all lanes, and the second
// stage runs across columns. Inner splits are complex rules on whole
// vectors, whose lanes are independent transforms.
#include <cmath>
#include <numeric>
#include <stdexcept>

#include "kernel.h"
#include "merge.h"
#include "network.h"
#include "trig.h"

namespace qrbgen::plans {
namespace {

struct CVec {
    Ref re, im;
};

// Complex transforms on split-form vectors: leaves are the real-weighted
// base networks on the real and the imaginary registers and a join; splits
// follow rule C (twiddles common to all lanes) and rule G.
class ComplexNet {
public:
    ComplexNet(Dag& d, bool inverse) : d_(d), net_(d, NetOptions{ConstPrecision::Single, false, RaderFamily::Split}), inverse_(inverse) {}

    std::vector<CVec> dft(const PlanNode& p, const std::vector<CVec>& z, int r) {
        const int M = p.n;
        r = ((r % M) + M) % M;
        // A prime factor of 13 or more is the real-coefficient prime network
        // on the real and on the imaginary registers, joined like a leaf.
        if (p.kind == PlanNode::Leaf || p.kind == PlanNode::Rader) return leaf(p, z, r);
        if (p.kind != PlanNode::CT && p.kind != PlanNode::GT)
            throw UnsupportedPlan("the chirp form is not built yet: " + p.str());
        const PlanNode& pa = p.kids[0];
        const PlanNode& pb = p.kids[1];
        const int a = pa.n, b = pb.n;
        const bool ct = p.kind == PlanNode::CT;
        const int ra = ct ? r : static_cast<int>(static_cast<long>(r) * b % a);
        const int rb = ct ? r : static_cast<int>(static_cast<long>(r) * a % b);
        std::vector<std::vector<CVec>> Y(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) {
            std::vector<CVec> col(static_cast<std::size_t>(a));
            for (int n1 = 0; n1 < a; ++n1)
                col[n1] = z[static_cast<std::size_t>(ct ? b * n1 + n2 : (b * n1 + a * n2) % M)];
            Y[n2] = dft(pa, col, ra);
            if (ct)
                for (int k1 = 1; k1 < a && n2 > 0; ++k1)
                    Y[n2][k1] = twiddle(Y[n2][k1], static_cast<long>(r) * n2 * k1 % M, M);
        }
        std::vector<CVec> X(static_cast<std::size_t>(M));
        for (int k1 = 0; k1 < a; ++k1) {
            std::vector<CVec> col(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2][k1];
            std::vector<CVec> W = dft(pb, col, rb);
            for (int k2 = 0; k2 < b; ++k2) X[static_cast<std::size_t>(ct ? k1 + a * k2 : (b * k1 + a * k2) % M)] = W[k2];
        }
        return X;
    }

    // The root of the direction raised to e / M, as (cos, sin) in single precision.
    std::pair<double, double> root(long e, long M) const {
        double c = static_cast<double>(cosPiFracF(2 * e, M));
        double s = static_cast<double>(sinPiFracF(2 * e, M));
        return {c, inverse_ ? s : -s};
    }

    // z times a root common to all lanes: 1, -1 and +-i cost nothing, an odd
    // multiple of pi/4 a sum, a difference and two products, any other root
    // four products, a subtraction and an addition.
    CVec twiddle(CVec z, long e, long M) {
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
        return {d_.sub(d_.mulC(c, z.re), d_.mulC(s, z.im)), d_.add(d_.mulC(s, z.re), d_.mulC(c, z.im))};
    }

private:
    std::vector<CVec> leaf(const PlanNode& p, const std::vector<CVec>& z, int r) {
        const int M = p.n;
        std::vector<Ref> re(static_cast<std::size_t>(M)), im(static_cast<std::size_t>(M));
        for (int i = 0; i < M; ++i) {
            re[i] = z[i].re;
            im[i] = z[i].im;
        }
        RW wr = net_.R(p, re, r), wi = net_.R(p, im, r);
        std::vector<CVec> X(static_cast<std::size_t>(M));
        X[0] = {wr.C[0], wi.C[0]};
        if (M % 2 == 0) X[M / 2] = {wr.C[M / 2], wi.C[M / 2]};
        for (int k = 1; 2 * k < M; ++k) {
            // C - i S and C + i S
            CVec minus{d_.add(wr.C[k], wi.S[k]), d_.sub(wi.C[k], wr.S[k])};
            CVec plus{d_.sub(wr.C[k], wi.S[k]), d_.add(wi.C[k], wr.S[k])};
            X[k] = inverse_ ? plus : minus;
            X[M - k] = inverse_ ? minus : plus;
        }
        return X;
    }

    Dag& d_;
    Network net_;
    bool inverse_;
};

// The 4x4 transpose of up to four row registers: column u of the result
// holds lane u of every row. Rows that do not exist are padding; the DAG
// drops the moves whose results nobody uses.
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

// Lane moves take their operands with positive sign; the plans never carry
// a value negated into a transpose or an interleave.
Ref positive(Ref x) {
    if (x.neg) throw std::logic_error("a negated value reaches a lane move");
    return x;
}

}  // namespace

KernelDag buildSplit32fc(int N, const std::string& planText, bool inverse) {
    KernelDag k{Elem::C32, N, inverse, planText, Dag{}, {}, {}, 0};
    PlanNode plan = parsePlanFor(planText, N, Elem::C32);
    if (plan.kind != PlanNode::CT && plan.kind != PlanNode::GT)
        throw UnsupportedPlan("prime and chirp forms are not built yet: " + plan.str());
    Dag& d = k.dag;
    ComplexNet cn(d, inverse);
    const PlanNode& pa = plan.kids[0];
    const PlanNode& pb = plan.kids[1];
    const int a = pa.n, b = pb.n;
    const bool ct = plan.kind == PlanNode::CT;
    const int ra = ct ? 1 : b % a, rb = ct ? 1 : a % b;
    const int chunks = (b + 3) / 4, blocks = (a + 3) / 4;
    auto inElem = [&](int row, int lane) { return ct ? b * row + lane : (b * row + a * lane) % N; };
    auto outElem = [&](int k1, int k2) { return ct ? k1 + a * k2 : (b * k1 + a * k2) % N; };

    auto load = [&](MoveSpec m) {
        // Neighbours from an odd element are merged, in the aligned form, from
        // the two aligned vectors around them if both lie inside the array;
        // otherwise they come by two half moves.
        if (m.e1 == m.e0 + 1 && m.e0 % 2 == 1 && m.e0 + 2 <= N - 1) {
            m.merge = true;
            k.extraShuffles += 3;
        }
        k.loads.push_back(m);
        return d.input(static_cast<int>(k.loads.size() - 1));
    };
    // Rows of one chunk of lanes: interleaved loads, split into real and
    // imaginary registers, then the first stage across the rows. Building a
    // chunk's loads right before its transforms keeps them close in the
    // kernel's order.
    std::vector<std::vector<CVec>> Y(static_cast<std::size_t>(a), std::vector<CVec>(static_cast<std::size_t>(chunks)));
    for (int c = 0; c < chunks; ++c) {
        std::vector<CVec> col(static_cast<std::size_t>(a));
        for (int i = 0; i < a; ++i) {
            Ref v[2];
            int nv = 0;
            for (int h = 0; h < 2; ++h) {
                const int t0 = 4 * c + 2 * h;
                if (t0 >= b) break;
                MoveSpec m;
                m.e0 = inElem(i, t0);
                if (t0 + 1 < b) m.e1 = inElem(i, t0 + 1);
                else if (ct && m.e0 + 1 < N) m.e1 = m.e0 + 1;  // a row of odd length is read as b + 1 lanes
                v[nv++] = load(m);
            }
            if (nv == 1) v[1] = v[0];
            col[i] = {d.shuf(ShufEven, v[0], v[1]), d.shuf(ShufOdd, v[0], v[1])};
        }
        std::vector<CVec> out = cn.dft(pa, col, ra);
        for (int k1 = 0; k1 < a; ++k1) Y[k1][c] = out[k1];
    }

    // Then block by block of four first-stage bins: transpose, twiddle row,
    // second stage across the columns, interleave, scale and store.
    d.markOutputSide();
    k.extraShuffles += 2;  // broadcast of the scale
    for (int j = 0; j < blocks; ++j) {
        // Transpose 4x4 blocks: Z[n2] holds k1 = 4j .. 4j+3 in its lanes.
        std::vector<CVec> Z(static_cast<std::size_t>(b));
        for (int c = 0; c < chunks; ++c) {
            std::vector<Ref> re, im;
            for (int t = 0; t < 4 && 4 * j + t < a; ++t) {
                re.push_back(positive(Y[4 * j + t][c].re));
                im.push_back(positive(Y[4 * j + t][c].im));
            }
            std::vector<Ref> cre = transpose(d, re), cim = transpose(d, im);
            for (int u = 0; u < 4 && 4 * c + u < b; ++u) Z[4 * c + u] = {cre[u], cim[u]};
        }
        // Twiddle rows of a Cooley-Tukey split: every lane multiplied, trivial
        // factors and padding lanes (0.0) included; row 0 only where the block
        // has padding lanes, by a mask of 1.0 and 0.0.
        if (ct) {
            const bool padded = 4 * j + 4 > a;
            for (int n2 = 0; n2 < b; ++n2) {
                CVec z = Z[n2];
                if (n2 == 0) {
                    if (!padded) continue;
                    std::vector<double> mask(4, 0.0);
                    for (int t = 0; 4 * j + t < a && t < 4; ++t) mask[t] = 1.0;
                    Z[n2] = {d.mulK(mask, z.re), d.mulK(mask, z.im)};
                    continue;
                }
                std::vector<double> C(4, 0.0), D(4, 0.0);
                for (int t = 0; t < 4 && 4 * j + t < a; ++t) {
                    auto [c, s] = cn.root(static_cast<long>(n2) * (4 * j + t) % N, N);
                    C[t] = c;
                    D[t] = s;
                }
                Ref re = d.sub(d.mulK(C, z.re), d.mulK(D, z.im));
                Ref im = d.add(d.mulK(D, z.re), d.mulK(C, z.im));
                Z[n2] = {re, im};
            }
        }
        std::vector<CVec> W = cn.dft(pb, Z, rb);
        for (int k2 = 0; k2 < b; ++k2) {
            Ref re = positive(W[k2].re), im = positive(W[k2].im);
            for (int h = 0; h < 2; ++h) {
                const int k1 = 4 * j + 2 * h;
                if (k1 >= a) break;
                MoveSpec m;
                m.e0 = outElem(k1, k2);
                if (k1 + 1 < a) m.e1 = outElem(k1 + 1, k2);
                k.stores.push_back(m);
                Ref v = d.shuf(h == 0 ? UnpackLo : UnpackHi, re, im);
                d.output(static_cast<int>(k.stores.size() - 1), d.scale(v));
            }
        }
    }
    // Prime networks chain products: merging them saves products.
    if (hasPrimeNetwork(plan)) {
        std::vector<Ref> none;
        mergeConstantChains(d, none, ConstPrecision::Single);
    }
    return k;
}

}  // namespace qrbgen::plans
