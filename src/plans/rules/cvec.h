// Complex values held as a register of real parts and a register of
// imaginary parts (the scalar 32fc kernels and the split form).
#pragma once
#include <utility>
#include <vector>

#include "rules/kernel.h"
#include "rules/network.h"

namespace qrbgen::plans {

struct CVec {
    Ref re, im;
};

// The complex bins of a transform of length M from the real-weighted
// transforms wr of the real parts and wi of the imaginary parts: the join of
// the top in split registers, with C - iS = (C.re + S.im, C.im - S.re) and
// C + iS the other way.
inline std::vector<CVec> splitJoin(Dag& d, int M, bool inverse, const RW& wr, const RW& wi) {
    const auto h = static_cast<std::size_t>(M / 2);
    return joinTop<CVec>(M, inverse, CVec{wr.C[0], wi.C[0]}, CVec{wr.C[h], wi.C[h]}, [&](int k) {
        CVec minus{d.add(wr.C[k], wi.S[k]), d.sub(wi.C[k], wr.S[k])};
        CVec plus{d.sub(wr.C[k], wi.S[k]), d.add(wi.C[k], wr.S[k])};
        return std::pair{minus, plus};
    });
}

}  // namespace qrbgen::plans
