// The forward real kernels of lengths 2, 3, 4, 5 and 8 written out by hand,
// apart from the generator, in the precisions of the single-precision rule.
#pragma once

#include <stdexcept>
#include <vector>

namespace qrbtest {

// The forward kernels of lengths 2, 3, 4, 5 and 8 written out by hand in
// the precisions that the rule gives them, outputs in Pack order. T is the
// type of the single operations; D that of the operations with a constant.
template <class T, class D>
std::vector<T> byHand(int n, const std::vector<T>& x, T s) {
    auto rd = [](D v) { return static_cast<T>(v); };  // the rounding at a root
    const D ds = s;
    switch (n) {
        case 2: return {(x[0] + x[1]) * s, (x[0] - x[1]) * s};
        case 3: {
            const T t = x[1] + x[2], d = x[1] - x[2];
            return {(t + x[0]) * s, rd((D(x[0]) - 0.5 * D(t)) * ds),
                    rd(0.0 - ds * (0.8660254037844386 * D(d)))};
        }
        case 4: {
            const T s0 = x[0] + x[2], d0 = x[0] - x[2], s1 = x[1] + x[3], d1 = x[1] - x[3];
            return {(s0 + s1) * s, d0 * s, T(0) - d1 * s, (s0 - s1) * s};
        }
        case 5: {
            const D c1 = 0.30901699437494745, c2 = 0.8090169943749475;
            const D s1 = 0.9510565162951535, s2 = 0.5877852522924731;
            const T t1 = x[1] + x[4], t2 = x[2] + x[3], d1 = x[1] - x[4], d2 = x[2] - x[3];
            return {((t1 + t2) + x[0]) * s,
                    rd(((c1 * D(t1) - c2 * D(t2)) + D(x[0])) * ds),
                    rd(0.0 - ds * (s1 * D(d1) + s2 * D(d2))),
                    rd(((D(x[0]) - c2 * D(t1)) + c1 * D(t2)) * ds),
                    rd((s1 * D(d2) - s2 * D(d1)) * ds)};
        }
        case 8: {
            const D c = 0.7071067811865476;
            const T s0 = x[0] + x[4], d0 = x[0] - x[4], s1 = x[2] + x[6], d1 = x[2] - x[6];
            const T t0 = x[1] + x[5], e0 = x[1] - x[5], t1 = x[3] + x[7], e1 = x[3] - x[7];
            // The two products each have two consumers: rounded at once.
            const T u = rd(c * D(e0)), v = rd(c * D(e1));
            const T P = u - v, Q = u + v;
            const T c0 = s0 + s1, c0o = t0 + t1;
            // I(3) = d1 - Q comes as the conjugate of bin 5, whose imaginary
            // part -d1 + Q is Q - d1: a negated store.
            return {(c0 + c0o) * s, (d0 + P) * s, T(0) - (d1 + Q) * s, (s0 - s1) * s,
                    T(0) - (t0 - t1) * s, (d0 - P) * s, T(0) - (Q - d1) * s, (c0 - c0o) * s};
        }
    }
    throw std::invalid_argument("no hand evaluation of this length");
}

}  // namespace qrbtest
