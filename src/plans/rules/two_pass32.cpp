#include "rules/two_pass32.h"

#include <stdexcept>

#include "rules/split32.h"

namespace qrbgen::plans {

TwoPassSplit::TwoPassSplit(KernelDag& k, const PlanNode& first, const PlanNode& second)
    : k_(k), d_(k.dag), fwd_(k.dag, false), back_(k.dag, true), first_(first), second_(second),
      m1_(SplitMap::of(first)), m2_(SplitMap::of(second)), a_(m1_.a), b_(m1_.b),
      chunks_((b_ + kLanes - 1) / kLanes), blocks_((a_ + kLanes - 1) / kLanes) {
    auto isSplit = [](const PlanNode& p) { return p.kind == PlanNode::CT || p.kind == PlanNode::GT; };
    if (!isSplit(first) || !isSplit(second) || first.n != second.n)
        throw std::invalid_argument("two passes need two splits of one length: " + first.str() + ", " + second.str());
    if (m2_.a != b_ || m2_.b != a_ || m1_.ct != m2_.ct)
        throw std::invalid_argument("the second split must exchange the factors of the first: " + first.str() + ", " +
                                    second.str());
    for (int k1 = 0; k1 < a_; ++k1)
        for (int k2 = 0; k2 < b_; ++k2)
            if (m2_.in(k2, k1) != m1_.out(k1, k2))
                throw std::logic_error("the second split does not read where the first writes");
}

int TwoPassSplit::firstBin(int block, int lane, int k2) const {
    const int k1 = kLanes * block + lane;
    return k1 < a_ ? m1_.out(k1, k2) : -1;
}

Ref TwoPassSplit::load(Move mv) {
    k_.layout.loads.push_back(mv);
    return d_.input(static_cast<int>(k_.layout.loads.size() - 1), LoadPlain);
}

// Two interleaved vectors give one split pair. A lane without an element
// is an exact zero: a half move fills the low half only, and a row with no
// element at all is the zero reference.
CVec TwoPassSplit::loadRow(int row, int chunk) {
    Ref v[2];
    int nv = 0;
    for (int h = 0; h < 2; ++h) {
        const int t0 = kLanes * chunk + 2 * h;
        if (t0 >= b_) break;
        Move mv;
        mv.e0 = inputElement(row, t0);
        if (t0 + 1 < b_) mv.e1 = inputElement(row, t0 + 1);
        if (mv.e0 < 0 && mv.e1 >= 0) throw std::logic_error("a row's element follows an empty lane");
        if (mv.e0 == kDataZero) {
            // Loads of nothing: zero registers that the network cannot see
            // through, for the real and the imaginary parts at once where
            // the whole row is such a zero.
            if (h == 0) {
                const Ref re = load(Move{});
                return {re, load(Move{})};
            }
            v[nv++] = load(Move{});
            continue;
        }
        if (mv.e1 == kDataZero) mv.e1 = -1;
        if (mv.e0 < 0) break;
        v[nv++] = load(mv);
        if (mv.e1 < 0) break;
    }
    if (nv == 0) return {d_.zero(), d_.zero()};
    if (nv == 1) v[1] = v[0];
    return {d_.shuf(ShufEven, v[0], v[1]), d_.shuf(ShufOdd, v[0], v[1])};
}

void TwoPassSplit::laneTwiddles(std::vector<CVec>& regs, int block, const ComplexNet& net, int M) {
    const int valid = std::min(kLanes, a_ - kLanes * block);
    for (std::size_t r = 0; r < regs.size(); ++r) {
        if (r == 0) {
            if (valid == kLanes) continue;
            std::vector<double> mask(kLanes, 0.0);
            for (int t = 0; t < valid; ++t) mask[t] = 1.0;
            regs[0] = {d_.mulK(mask, regs[0].re), d_.mulK(mask, regs[0].im)};
            continue;
        }
        std::vector<double> C(kLanes, 0.0), S(kLanes, 0.0);
        for (int t = 0; t < valid; ++t) {
            auto [c, s] = net.root(static_cast<long>(r) * (kLanes * block + t) % M, M);
            C[t] = c;
            S[t] = s;
        }
        regs[r] = laneProduct(d_, regs[r], C, S);
    }
}

void TwoPassSplit::storeRow(int row, int chunk, CVec v) {
    const Ref re = positive(v.re), im = positive(v.im);
    for (int h = 0; h < 2; ++h) {
        const int t0 = kLanes * chunk + 2 * h;
        if (t0 >= b_) break;
        Move mv;
        mv.e0 = outputElement(row, t0);
        if (t0 + 1 < b_) mv.e1 = outputElement(row, t0 + 1);
        if (mv.e0 < 0 && mv.e1 >= 0) throw std::logic_error("a stored lane follows one that is not stored");
        if (mv.e0 < 0) break;
        k_.layout.stores.push_back(mv);
        const Ref w = d_.shuf(h == 0 ? UnpackLo : UnpackHi, re, im);
        d_.output(static_cast<int>(k_.layout.stores.size() - 1), d_.scale(w));
    }
}

void TwoPassSplit::build() {
    const int M = first_.n;
    // First pass, stage across the rows, chunk by chunk.
    // The chunks of the first and the last stage, and the blocks between,
    // are parallel instances.
    std::vector<std::vector<CVec>> Y(static_cast<std::size_t>(a_), std::vector<CVec>(static_cast<std::size_t>(chunks_)));
    const int firstChunks = d_.newGroup();
    for (int c = 0; c < chunks_; ++c) {
        Dag::InstanceScope run(d_, firstChunks, {});
        std::vector<CVec> rows(static_cast<std::size_t>(a_));
        for (int i = 0; i < a_; ++i) {
            rows[i] = loadRow(i, c);
            if (!rows[i].re.isZero()) rows[i] = beforeFirst(i, c, rows[i]);
        }
        std::vector<CVec> out = fwd_.dft(first_.kids[0], rows, m1_.rootA(1));
        for (int k1 = 0; k1 < a_; ++k1) Y[k1][c] = out[k1];
    }
    // Block by block: transpose, the rest of the first pass, the centre and
    // the first stage of the second pass.
    std::vector<std::vector<CVec>> V(static_cast<std::size_t>(blocks_));
    const int blockGroup = d_.newGroup();
    for (int j = 0; j < blocks_; ++j) {
        std::vector<CVec> seeds;
        for (int c = 0; c < chunks_; ++c)
            for (int t = 0; t < kLanes; ++t) seeds.push_back(kLanes * j + t < a_ ? Y[kLanes * j + t][c] : CVec{});
        Dag::InstanceScope run(d_, blockGroup, refs(seeds));
        std::vector<CVec> Z(static_cast<std::size_t>(b_));
        for (int c = 0; c < chunks_; ++c) {
            std::vector<Ref> re, im;
            for (int t = 0; t < kLanes && kLanes * j + t < a_; ++t) {
                re.push_back(positive(Y[kLanes * j + t][c].re));
                im.push_back(positive(Y[kLanes * j + t][c].im));
            }
            std::vector<Ref> cre = transpose(d_, re), cim = transpose(d_, im);
            for (int u = 0; u < kLanes && kLanes * c + u < b_; ++u) Z[kLanes * c + u] = {cre[u], cim[u]};
        }
        if (m1_.ct) laneTwiddles(Z, j, fwd_, M);
        std::vector<CVec> W = fwd_.dft(first_.kids[1], Z, m1_.rootB(1));
        for (int k2 = 0; k2 < b_; ++k2) W[k2] = centre(j, k2, W[k2]);
        V[j] = back_.dft(second_.kids[0], W, m2_.rootA(1));
        if (m2_.ct) laneTwiddles(V[j], j, back_, M);
    }
    d_.markOutputSide();
    // Transposes back, the second pass's stage across the rows, and out.
    const int lastChunks = d_.newGroup();
    for (int c = 0; c < chunks_; ++c) {
        std::vector<CVec> seeds;
        for (int j = 0; j < blocks_; ++j)
            for (int t = 0; t < kLanes; ++t) seeds.push_back(kLanes * c + t < b_ ? V[j][kLanes * c + t] : CVec{});
        Dag::InstanceScope run(d_, lastChunks, refs(seeds));
        std::vector<CVec> R(static_cast<std::size_t>(a_));
        for (int j = 0; j < blocks_; ++j) {
            std::vector<Ref> re, im;
            for (int t = 0; t < kLanes && kLanes * c + t < b_; ++t) {
                re.push_back(positive(V[j][kLanes * c + t].re));
                im.push_back(positive(V[j][kLanes * c + t].im));
            }
            std::vector<Ref> rre = transpose(d_, re), rim = transpose(d_, im);
            for (int u = 0; u < kLanes && kLanes * j + u < a_; ++u) R[kLanes * j + u] = {rre[u], rim[u]};
        }
        std::vector<CVec> out = back_.dft(second_.kids[1], R, m2_.rootB(1));
        for (int i = 0; i < a_; ++i) {
            bool stored = false;
            for (int t = kLanes * c; t < kLanes * c + kLanes && t < b_; ++t) stored = stored || outputElement(i, t) >= 0;
            if (stored) storeRow(i, c, afterSecond(i, c, out[i]));
        }
    }
}

}  // namespace qrbgen::plans
