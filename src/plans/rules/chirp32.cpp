// 32fc prime kernels in chirp form, for a prime p and a transform length
// L >= 2p - 1:
//
//   y[n] = c[n] x[n]                          n = 0..p-1, zeros up to L
//   Y    = DFT of length L of y, root exp(-2 pi i / L)
//   Z[j] = G[j] Y[j]
//   z    = DFT of length L of Z, root exp(+2 pi i / L), bins 0..p-1 only
//   X[k] = s c[k] z[k]
//
// since nk = (n^2 + k^2 - (k - n)^2) / 2 turns the DFT into a convolution
// with the chirp. The forward kernel takes c[n] = (-1)^n exp(-i pi n^2 / p),
// a p-th root of unity, the inverse c[n] = exp(+i pi n^2 / p), and
// G[j] = (1/L) sum over |m| < p of conj(c[|m|]) exp(-2 pi i j m / L).
//
// The data are rows of four consecutive elements. Both transforms are
// splits (L/4, 4) and (4, L/4). The first is pruned by whole inputs of its
// first step across the rows: that step takes its inputs at stride L / a,
// and all but the first two lie in the zero tail, so the rows from 2L / a
// on are left out; the rows before them that lie beyond p - 1 are zeros
// transformed as data (nothing is read for them). Of the second transform
// only the rows that hold outputs 0..p-1 are computed.
#include <cmath>
#include <stdexcept>

#include "ir/trig.h"
#include "rules/prime32.h"
#include "rules/two_pass32.h"
#include "tables/prime32_table.h"

namespace qrbgen::plans {
namespace {

struct Complex {
    double re, im;
};

// exp(i pi e / q) for an integer e, in double-double, rounded once to single.
Complex unitRoot(std::int64_t e, std::int64_t q) {
    e %= 2 * q;
    return {static_cast<double>(roundToFloat(cosPiFracDD(e, q))), static_cast<double>(roundToFloat(sinPiFracDD(e, q)))};
}

// A part of G rounded once to single. Some parts are exact zeros (G[L/2]
// of the forward kernel and G[0] of the inverse are real); a sum of 2p - 1
// unit terms in double-double leaves them as a trace far below 2^-80,
// which no other part comes near.
double exactPart(DD v) {
    const double tiny = 0x1p-80;
    return std::fabs(v.hi) < tiny ? 0.0 : static_cast<double>(roundToFloat(v));
}

// The exponent of the chirp c[n] = exp(i pi e / p).
std::int64_t chirpExponent(int p, int n, bool inverse) {
    const std::int64_t nn = static_cast<std::int64_t>(n) * n;
    return inverse ? nn % (2 * p) : (2 * p - (nn + static_cast<std::int64_t>(p) * n) % (2 * p)) % (2 * p);
}

// The first step of the transform across the rows takes its inputs at
// stride L / a, a being its length; all but the first two are in the zero
// tail.
int firstStepEnd(const ChirpRow& row) {
    const PlanNode rows = parsePlan(row.rows);
    const int a = rows.kids.empty() ? rows.n : rows.kids[0].n;
    return 2 * row.L / a;
}

class Chirp : public TwoPassSplit {
public:
    Chirp(KernelDag& k, const ChirpRow& row)
        : TwoPassSplit(k, parsePlanFor("C(" + std::string(row.rows) + ",4)", row.L),
                       parsePlanFor("C(4," + std::string(row.rowsBack) + ")", row.L)),
          p_(row.p), L_(row.L), dataEnd_(firstStepEnd(row)) {
        const bool inv = k.desc.inverse;
        for (int n = 0; n < p_; ++n) chirp_.push_back(unitRoot(chirpExponent(p_, n, inv), p_));
        // G[j] in double-double: the terms exp(i pi (-e(|m|) L - 2 j m p) / (p L)),
        // the conjugate chirp times the root, summed and divided by L once.
        const std::int64_t q = static_cast<std::int64_t>(p_) * L_;
        for (int j = 0; j < L_; ++j) {
            DD re{0.0, 0.0}, im{0.0, 0.0};
            for (int m = -(p_ - 1); m <= p_ - 1; ++m) {
                const std::int64_t e = chirpExponent(p_, m < 0 ? -m : m, inv);
                std::int64_t t = (-e * L_ - 2LL * j * m * p_) % (2 * q);
                if (t < 0) t += 2 * q;
                re = ddAdd(re, cosPiFracDD(t, q));
                im = ddAdd(im, sinPiFracDD(t, q));
            }
            const DD l{static_cast<double>(L_), 0.0};
            G_.push_back({exactPart(ddDiv(re, l)), exactPart(ddDiv(im, l))});
        }
    }

protected:
    int inputElement(int row, int lane) const override {
        const int n = kLanes * row + lane;
        return n < p_ ? n : n < dataEnd_ ? kDataZero : -1;
    }
    int outputElement(int row, int lane) const override {
        const int m = m2_.out(lane, row);
        return m < p_ ? m : -1;
    }
    // The chirp of the elements of a row; lanes beyond p - 1 take 0.0 and
    // stay exact zeros.
    CVec chirpRow(int row, CVec v) {
        std::vector<double> re(kLanes, 0.0), im(kLanes, 0.0);
        for (int t = 0; t < kLanes; ++t) {
            const int n = kLanes * row + t;
            if (n >= p_) continue;
            re[t] = chirp_[static_cast<std::size_t>(n)].re;
            im[t] = chirp_[static_cast<std::size_t>(n)].im;
        }
        return laneProduct(d_, v, re, im);
    }
    CVec beforeFirst(int row, int, CVec v) override { return kLanes * row < p_ ? chirpRow(row, v) : v; }
    CVec afterSecond(int row, int, CVec v) override { return chirpRow(row, v); }
    CVec centre(int block, int k2, CVec v) override {
        std::vector<double> re(kLanes, 0.0), im(kLanes, 0.0);
        for (int t = 0; t < kLanes; ++t) {
            const int bin = firstBin(block, t, k2);
            if (bin < 0) continue;
            re[t] = G_[static_cast<std::size_t>(bin)].re;
            im[t] = G_[static_cast<std::size_t>(bin)].im;
        }
        return laneProduct(d_, v, re, im);
    }

private:
    const int p_, L_;
    const int dataEnd_;  // elements from here on are left out of the first transform
    std::vector<Complex> chirp_, G_;
};

}  // namespace

KernelDag buildChirp32fc(const KernelDesc& k, const SchemeRow& s, const std::string& planText) {
    KernelDag kd{k, planText, Dag{}, Layout{}};
    const PlanNode plan = parsePlanFor(planText, k.n);
    const ChirpRow* row = chirpRow(k.n);
    if (plan.kind != PlanNode::Chirp || row == nullptr) throw std::invalid_argument("no chirp form for " + planText);
    kd.dag.splatScale(s.splatMoves);
    Chirp(kd, *row).build();
    return kd;
}

}  // namespace qrbgen::plans
