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
#include "rules/prime32.h"
#include "rules/split32.h"
#include "rules/split_stages.h"
#include "ir/merge.h"

namespace qrbgen::plans {
namespace {

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
            Z[n2] = laneProduct(d_, z, C, D);
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
    // A prime length has no split: its kernel is one of the prime forms.
    if (plan.kind == PlanNode::Rader) return buildRader32fc(k, s, planText);
    if (plan.kind == PlanNode::Chirp) return buildChirp32fc(k, s, planText);
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
