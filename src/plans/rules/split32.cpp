// 32fc kernels in split form: the data are rows of the outermost split, a
// register holds four lanes of real parts and its partner the imaginary
// parts. The first stage runs across rows lane by lane, 4x4 blocks are
// transposed so that a register holds a column, the twiddle rows of a
// Cooley-Tukey split are full complex products on all lanes, and the second
// stage runs across columns. Inner splits are complex rules on whole
// vectors, whose lanes are independent transforms.
#include <cmath>
#include <stdexcept>

#include "ir/trig.h"
#include "rules/cvec.h"
#include "rules/index_maps.h"
#include "rules/kernel.h"
#include "rules/split32.h"
#include "ir/merge.h"

namespace qrbgen::plans {
namespace {

constexpr int kLanes = 4;

// The registers of complex values, real and imaginary part of each in turn.
std::vector<Ref> refs(const std::vector<CVec>& v) {
    std::vector<Ref> r;
    for (const CVec& c : v) {
        r.push_back(c.re);
        r.push_back(c.im);
    }
    return r;
}

// Complex transforms on split-form vectors: leaves are the real-weighted
// base networks on the real and the imaginary registers and a join; splits
// follow rule C (twiddles common to all lanes) and rule G.
class ComplexNet {
public:
    ComplexNet(Dag& d, bool inverse)
        : d_(d), net_(d, NetOptions{ConstPrecision::Single, false, LeafForm::Complex, RaderFamily::Split}),
          inverse_(inverse) {}

    std::vector<CVec> dft(const PlanNode& p, const std::vector<CVec>& z, int r) {
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

// The steps of a split-form kernel of N = a*b, on the rows of its outermost
// split: a rows of b lanes in ceil(b/4) chunks, then ceil(a/4) blocks of
// four first-stage bins.
class SplitKernel {
public:
    SplitKernel(KernelDag& k, const PlanNode& plan)
        : k_(k), d_(k.dag), cn_(k.dag, k.desc.inverse), plan_(plan), m_(SplitMap::of(plan)),
          chunks_((m_.b + kLanes - 1) / kLanes), blocks_((m_.a + kLanes - 1) / kLanes) {}

    void build() {
        Y_.assign(static_cast<std::size_t>(m_.a), std::vector<CVec>(static_cast<std::size_t>(chunks_)));
        // Building a chunk's loads right before its transforms keeps them
        // close in the kernel's order.
        // The chunks of the first stage, and the blocks of the second, are
        // parallel instances.
        const int chunkGroup = d_.newGroup();
        for (int c = 0; c < chunks_; ++c) {
            Dag::InstanceScope run(d_, chunkGroup, {});
            firstStage(c, loadRows(c));
        }
        d_.markOutputSide();
        const int blockGroup = d_.newGroup();
        for (int j = 0; j < blocks_; ++j) {
            std::vector<CVec> seeds;
            for (int c = 0; c < chunks_; ++c)
                for (int t = 0; t < kLanes; ++t) seeds.push_back(kLanes * j + t < m_.a ? Y_[kLanes * j + t][c] : CVec{});
            Dag::InstanceScope run(d_, blockGroup, refs(seeds));
            std::vector<CVec> Z = transposeBlock(j);
            if (m_.ct) twiddleRows(j, Z);
            secondStageAndStore(j, Z);
        }
    }

private:
    // An interleaved vector of two input elements. Neighbours from an odd
    // element are merged, in the aligned form, from the two aligned vectors
    // around them if both lie inside the array; otherwise they come by two
    // half moves.
    Ref load(Move mv) {
        const bool merged = mv.e1 == mv.e0 + 1 && mv.e0 % 2 == 1 && mv.e0 + 2 <= m_.N - 1;
        k_.layout.loads.push_back(mv);
        return d_.input(static_cast<int>(k_.layout.loads.size() - 1), merged ? LoadMerged : LoadPlain);
    }

    // The rows of chunk c: interleaved loads, split into real and imaginary
    // registers.
    std::vector<CVec> loadRows(int c) {
        std::vector<CVec> col(static_cast<std::size_t>(m_.a));
        for (int i = 0; i < m_.a; ++i) {
            Ref v[2];
            int nv = 0;
            for (int h = 0; h < 2; ++h) {
                const int t0 = kLanes * c + 2 * h;
                if (t0 >= m_.b) break;
                Move mv;
                mv.e0 = m_.in(i, t0);
                if (t0 + 1 < m_.b) mv.e1 = m_.in(i, t0 + 1);
                else if (m_.ct && mv.e0 + 1 < m_.N) mv.e1 = mv.e0 + 1;  // a row of odd length is read as b + 1 lanes
                v[nv++] = load(mv);
            }
            if (nv == 1) v[1] = v[0];
            col[i] = {d_.shuf(ShufEven, v[0], v[1]), d_.shuf(ShufOdd, v[0], v[1])};
        }
        return col;
    }

    // The first stage across the rows of chunk c.
    void firstStage(int c, const std::vector<CVec>& rows) {
        std::vector<CVec> out = cn_.dft(plan_.kids[0], rows, m_.rootA(1));
        for (int k1 = 0; k1 < m_.a; ++k1) Y_[k1][c] = out[k1];
    }

    // Transposes the 4x4 blocks of first-stage bins 4j..4j+3: Z[n2] holds
    // them in its lanes.
    std::vector<CVec> transposeBlock(int j) {
        std::vector<CVec> Z(static_cast<std::size_t>(m_.b));
        for (int c = 0; c < chunks_; ++c) {
            std::vector<Ref> re, im;
            for (int t = 0; t < kLanes && kLanes * j + t < m_.a; ++t) {
                re.push_back(positive(Y_[kLanes * j + t][c].re));
                im.push_back(positive(Y_[kLanes * j + t][c].im));
            }
            std::vector<Ref> cre = transpose(d_, re), cim = transpose(d_, im);
            for (int u = 0; u < kLanes && kLanes * c + u < m_.b; ++u) Z[kLanes * c + u] = {cre[u], cim[u]};
        }
        return Z;
    }

    // Twiddle rows of a Cooley-Tukey split: every lane multiplied, trivial
    // factors and padding lanes (0.0) included; row 0 only where the block
    // has padding lanes, by a mask of 1.0 and 0.0.
    void twiddleRows(int j, std::vector<CVec>& Z) {
        const bool padded = kLanes * j + kLanes > m_.a;
        for (int n2 = 0; n2 < m_.b; ++n2) {
            CVec z = Z[n2];
            if (n2 == 0) {
                if (!padded) continue;
                std::vector<double> mask(kLanes, 0.0);
                for (int t = 0; kLanes * j + t < m_.a && t < kLanes; ++t) mask[t] = 1.0;
                Z[n2] = {d_.mulK(mask, z.re), d_.mulK(mask, z.im)};
                continue;
            }
            std::vector<double> C(kLanes, 0.0), D(kLanes, 0.0);
            for (int t = 0; t < kLanes && kLanes * j + t < m_.a; ++t) {
                auto [c, s] = cn_.root(m_.twiddle(1, n2, kLanes * j + t), m_.N);
                C[t] = c;
                D[t] = s;
            }
            Ref re = d_.sub(d_.mulK(C, z.re), d_.mulK(D, z.im));
            Ref im = d_.add(d_.mulK(D, z.re), d_.mulK(C, z.im));
            Z[n2] = {re, im};
        }
    }

    // The second stage across the columns of block j, then interleave, scale
    // and store.
    void secondStageAndStore(int j, const std::vector<CVec>& Z) {
        std::vector<CVec> W = cn_.dft(plan_.kids[1], Z, m_.rootB(1));
        for (int k2 = 0; k2 < m_.b; ++k2) {
            Ref re = positive(W[k2].re), im = positive(W[k2].im);
            for (int h = 0; h < 2; ++h) {
                const int k1 = kLanes * j + 2 * h;
                if (k1 >= m_.a) break;
                Move mv;
                mv.e0 = m_.out(k1, k2);
                if (k1 + 1 < m_.a) mv.e1 = m_.out(k1 + 1, k2);
                k_.layout.stores.push_back(mv);
                Ref v = d_.shuf(h == 0 ? UnpackLo : UnpackHi, re, im);
                d_.output(static_cast<int>(k_.layout.stores.size() - 1), d_.scale(v));
            }
        }
    }

    KernelDag& k_;
    Dag& d_;
    ComplexNet cn_;
    const PlanNode& plan_;
    const SplitMap m_;
    const int chunks_, blocks_;
    std::vector<std::vector<CVec>> Y_;  // first-stage bins by k1 and chunk
};

}  // namespace

KernelDag buildSplit32fc(const KernelDesc& k, const SchemeRow& s, const std::string& planText) {
    KernelDag kd{k, planText, Dag{}, Layout{}};
    PlanNode plan = parsePlanFor(planText, k.n);
    if (plan.kind != PlanNode::CT && plan.kind != PlanNode::GT)
        throw std::invalid_argument("the split form needs a split at the top: " + planText);
    kd.dag.splatScale(s.splatMoves);
    SplitKernel(kd, plan).build();
    // Prime networks chain products: merging them saves products.
    if (hasPrimeNetwork(plan)) {
        std::vector<Ref> none;
        mergeConstantChains(kd.dag, none, ConstPrecision::Single);
    }
    return kd;
}

}  // namespace qrbgen::plans
