// 32fc prime kernels in complex Rader form. For a prime p with primitive
// root g, M = p - 1:
//
//   a[q] = x[g^q mod p]                       gathered by the load addresses
//   Y[j] = sum a[q] W^(jq)                    first half, W = exp(-2 pi i / M)
//   X[0] = x[0] + Y[0]
//   Z[j] = beta[j] Y[j],  Z[0] += x[0]        beta[0] = -1/M
//   c[m] = sum Z[j] W^(-jm)                   second half
//   X[g^-m mod p] = s c[m]
//
// with beta[j] = (1/M) sum over q of w^(g^-q) W^(jq), w = exp(-2 pi i / p):
// the convolution of Rader's rule with its 1/M inside. x[0] and Y[0] stand
// in lane 0 of their registers; vectors of 1.0 and 0.0 pick them out. The
// inverse kernel runs the same operations on the constants (-1)^j beta[j]:
// its kernel w^-1 is the forward one shifted by M/2 along q.
#include <stdexcept>

#include "ir/merge.h"
#include "ir/trig.h"
#include "rules/prime32.h"
#include "rules/rader.h"
#include "rules/split32.h"
#include "rules/two_pass32.h"
#include "tables/prime32_table.h"

namespace qrbgen::plans {
namespace {

class ComplexRader : public TwoPassSplit {
public:
    ComplexRader(KernelDag& k, const ComplexRaderRow& row)
        : TwoPassSplit(k, parsePlanFor(row.first, row.p - 1), parsePlanFor(row.second, row.p - 1)), p_(row.p),
          g_(row.g), ginv_(powMod(row.g, row.p - 2, row.p)) {
        std::vector<Beta> beta = raderBeta(p_, g_, 1);
        // beta[0] = -1/M is real, and beta[M/2] is real for even M/2 and
        // imaginary for odd M/2; the other part is an exact zero, which the
        // sums leave as a trace of their rounding.
        const int H = (p_ - 1) / 2;
        beta[0] = {fracDD(-1, p_ - 1), DD{0.0, 0.0}};
        (H % 2 == 0 ? beta[static_cast<std::size_t>(H)].im : beta[static_cast<std::size_t>(H)].re) = DD{0.0, 0.0};
        for (int j = 0; j < p_ - 1; ++j) {
            // The inverse kernel's constants: those of the odd bins negated.
            const double sign = k.desc.inverse && j % 2 ? -1.0 : 1.0;
            betaRe_.push_back(sign * static_cast<double>(roundToFloat(beta[j].re)));
            betaIm_.push_back(sign * static_cast<double>(roundToFloat(beta[j].im)));
        }
    }

protected:
    int inputElement(int row, int lane) const override {
        return lane < b_ ? static_cast<int>(powMod(g_, m1_.in(row, lane), p_)) : -1;
    }
    int outputElement(int row, int lane) const override {
        return lane < b_ ? static_cast<int>(powMod(ginv_, m2_.out(lane, row), p_)) : -1;
    }

    CVec centre(int block, int k2, CVec y) override {
        std::vector<double> re(kLanes, 0.0), im(kLanes, 0.0);
        for (int t = 0; t < kLanes; ++t) {
            const int bin = firstBin(block, t, k2);
            if (bin < 0) continue;
            re[t] = betaRe_[static_cast<std::size_t>(bin)];
            im[t] = betaIm_[static_cast<std::size_t>(bin)];
        }
        CVec z = laneProduct(d_, y, re, im);
        if (firstBin(block, 0, k2) != 0) return z;
        // Bin 0 and x[0] in lane 0: X[0] = x[0] + Y[0], Z[0] = x[0] - Y[0]/M.
        const std::vector<double> lane0 = {1.0, 0.0, 0.0, 0.0};
        k_.layout.loads.push_back(Move{0, -1});
        const Ref v = d_.input(static_cast<int>(k_.layout.loads.size() - 1), LoadPlain);
        const CVec x0{d_.mulK(lane0, d_.shuf(ShufEven, v, v)), d_.mulK(lane0, d_.shuf(ShufOdd, v, v))};
        const CVec y0{d_.mulK(lane0, y.re), d_.mulK(lane0, y.im)};
        const Ref sumRe = positive(d_.add(x0.re, y0.re)), sumIm = positive(d_.add(x0.im, y0.im));
        k_.layout.stores.push_back(Move{0, -1});
        d_.output(static_cast<int>(k_.layout.stores.size() - 1), d_.scale(d_.shuf(UnpackLo, sumRe, sumIm)));
        return {d_.add(z.re, x0.re), d_.add(z.im, x0.im)};
    }

private:
    const int p_, g_;
    const long ginv_;
    std::vector<double> betaRe_, betaIm_;
};

}  // namespace

KernelDag buildRader32fc(const KernelDesc& k, const SchemeRow& s, const std::string& planText) {
    KernelDag kd{k, planText, Dag{}, Layout{}};
    const PlanNode plan = parsePlanFor(planText, k.n);
    const ComplexRaderRow* row = complexRaderRow(k.n);
    if (plan.kind != PlanNode::Rader || row == nullptr)
        throw std::invalid_argument("no complex Rader form for " + planText);
    kd.dag.splatScale(s.splatMoves);
    ComplexRader(kd, *row).build();
    // A prime network inside a half chains products: merging them saves
    // products.
    if (hasPrimeNetwork(parsePlan(row->first)) || hasPrimeNetwork(parsePlan(row->second))) {
        std::vector<Ref> none;
        mergeConstantChains(kd.dag, none, ConstPrecision::Single);
    }
    return kd;
}

}  // namespace qrbgen::plans
