#include "rules/rader.h"

#include <cmath>
#include <numeric>
#include <stdexcept>

#include "ir/merge.h"
#include "tables/rader_table.h"
#include "ir/transpose.h"

namespace qrbgen::plans {
namespace {

// The factor order of an odd-frequency transform O(n): O(2), an odd plan
// (R(n) of the alternated sequence), a split O(a, b) with O(a) on the rows
// d[b n1 + n2], twiddles and T(b) across them, or, for coprime a and b, a
// split OG(a, b) without twiddles: O(a) on the rows d[(b n1 + a n2) mod n]
// and the odd-frequency transform of b points across them.
struct OddPlan {
    int n = 0;
    PlanNode base;                // leaf forms
    std::vector<OddPlan> rows;    // split: {O(a)}
    PlanNode across;              // split: the plan of the transform across
    bool goodThomas = false;      // OG: no twiddles
    bool split() const { return !rows.empty(); }
};

OddPlan parseOdd(const std::string& text) {
    std::size_t s = text.find_first_not_of(' ');
    const bool gt = s != std::string::npos && text.compare(s, 3, "OG(") == 0;
    if (gt || (s != std::string::npos && text.compare(s, 2, "O(") == 0)) {
        const std::size_t open = s + (gt ? 3 : 2);
        int depth = 0;
        std::size_t comma = std::string::npos;
        for (std::size_t i = open; i < text.size(); ++i) {
            const char c = text[i];
            if (c == '(' || c == '[') ++depth;
            else if (c == ')' || c == ']') --depth;
            else if (c == ',' && depth == 0) {
                comma = i;
                break;
            }
        }
        const std::size_t close = text.rfind(')');
        if (comma == std::string::npos || close == std::string::npos || close < comma)
            throw std::invalid_argument("odd-frequency order \"" + text + "\": O(a,b) expected");
        OddPlan o;
        o.rows.push_back(parseOdd(text.substr(open, comma - open)));
        o.across = parsePlan(text.substr(comma + 1, close - comma - 1));
        o.n = o.rows[0].n * o.across.n;
        o.goodThomas = gt;
        if (gt && (std::gcd(o.rows[0].n, o.across.n) != 1 || (o.across.n % 2 == 0 && o.across.n != 2)))
            throw std::invalid_argument("odd-frequency order \"" + text + "\": OG(a,b) needs coprime a and b, b odd or 2");
        return o;
    }
    OddPlan o;
    o.base = parsePlan(text);
    o.n = o.base.n;
    if (o.n != 2 && o.n % 2 == 0)
        throw std::invalid_argument("odd-frequency order \"" + text + "\": an even factor other than 2 needs a split");
    return o;
}

// The bins O[m], m = 0..ceil(n/2)-1, as cosine and sine parts: O[m] = C - i S.
struct OddBins {
    std::vector<Ref> C, S;
};

class OddBuilder {
public:
    OddBuilder(Network& net, Dag& d) : net_(net), d_(d) {}

    OddBins O(const OddPlan& plan, const std::vector<Ref>& x) {
        const int n = plan.n;
        const int half = (n + 1) / 2;
        OddBins o{std::vector<Ref>(static_cast<std::size_t>(half)), std::vector<Ref>(static_cast<std::size_t>(half))};
        if (!plan.split() && n == 2) {
            // O(2)[0] = d0 - i d1
            o.C[0] = x[0];
            o.S[0] = x[1];
            return o;
        }
        if (!plan.split()) {
            // O[m] = R(n)[(2m + 1 + n) / 2 mod n] of the alternated sequence.
            std::vector<Ref> e(x.size());
            for (std::size_t t = 0; t < x.size(); ++t) e[t] = t % 2 ? -x[t] : x[t];
            RW w = net_.R(plan.base, e, 1);
            for (int m = 0; m < half; ++m) {
                const int k = (2 * m + 1 + n) / 2 % n;
                if (2 * k <= n) {
                    o.C[m] = w.C[k];
                    o.S[m] = w.S[k];
                } else {
                    o.C[m] = w.C[n - k];
                    o.S[m] = -w.S[n - k];
                }
            }
            return o;
        }
        if (plan.goodThomas) return goodThomas(plan, x);
        const OddPlan& pa = plan.rows[0];
        const PlanNode& pb = plan.across;
        const int a = pa.n, b = pb.n, ha = (a + 1) / 2;
        std::vector<OddBins> Y(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) {
            std::vector<Ref> col(static_cast<std::size_t>(a));
            for (int n1 = 0; n1 < a; ++n1) col[n1] = x[static_cast<std::size_t>(b * n1 + n2)];
            Y[n2] = O(pa, col);
        }
        std::vector<bool> set(static_cast<std::size_t>(half), false);
        auto put = [&](int m, Ref c, Ref s) {
            if (m >= half) {
                m = n - 1 - m;  // O[n-1-m] is the conjugate of O[m]
                s = -s;
            }
            if (set[m]) return;
            set[m] = true;
            o.C[m] = c;
            o.S[m] = s;
        };
        for (int m1 = 0; m1 < ha; ++m1) {
            // Row n2 rotated by W(2n)^(n2 (2 m1 + 1)), then T(b) across the rows.
            std::vector<Ref> p(static_cast<std::size_t>(b)), q(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) {
                const Ref c = Y[n2].C[m1], s = Y[n2].S[m1];
                if (n2 == 0) {
                    p[0] = c;
                    q[0] = s;
                    continue;
                }
                const long ang = static_cast<long>(n2) * (2 * m1 + 1) % (2 * n);
                const double co = net_.cos2pi(ang, 2 * n), si = net_.sin2pi(ang, 2 * n);
                // The later product first: a call's arguments have no fixed order.
                const Ref sis = d_.mulC(si, s);
                p[n2] = d_.sub(d_.mulC(co, c), sis);
                const Ref cos_ = d_.mulC(co, s);
                q[n2] = d_.add(d_.mulC(si, c), cos_);
            }
            std::vector<Ref> Cb, Sb;
            T(pb, p, q, 1, Cb, Sb);
            for (int k2 = 0; k2 < b; ++k2) {
                const Ref c = Cb[k2], s = Sb[k2];
                put(m1 + a * k2, c, s);
            }
        }
        for (int m = 0; m < half; ++m)
            if (!set[m]) throw std::logic_error("odd-frequency transform leaves bin " + std::to_string(m) + " unset");
        return o;
    }

    // OG(a, b): with r = b r1 + a r2, reduced modulo n at the price of a sign
    // (W(2n)^(n f) = -1 for odd f), the exponent of W(2n)^(r f) splits into
    // W(2a)^(r1 f) W(2b)^(r2 f): O(a) along r1, then the odd-frequency
    // transform of b points along r2, and the odd frequency f of the whole
    // is given by f mod 2a and f mod 2b.
    OddBins goodThomas(const OddPlan& plan, const std::vector<Ref>& x) {
        const OddPlan& pa = plan.rows[0];
        const PlanNode& pb = plan.across;
        const int a = pa.n, b = pb.n, n = plan.n, half = (n + 1) / 2, ha = (a + 1) / 2;
        std::vector<OddBins> Y(static_cast<std::size_t>(b));
        for (int r2 = 0; r2 < b; ++r2) {
            std::vector<Ref> row(static_cast<std::size_t>(a));
            for (int r1 = 0; r1 < a; ++r1) {
                const int r = b * r1 + a * r2;
                row[r1] = r < n ? x[static_cast<std::size_t>(r)] : -x[static_cast<std::size_t>(r - n)];
            }
            Y[r2] = O(pa, row);
        }
        // Row bin m1 of O(a), for all m1 = 0..a-1: the upper half conjugate.
        auto rowBin = [&](int r2, int m1, Ref& c, Ref& s) {
            if (m1 < ha) {
                c = Y[r2].C[m1];
                s = Y[r2].S[m1];
            } else {
                c = Y[r2].C[a - 1 - m1];
                s = -Y[r2].S[a - 1 - m1];
            }
        };
        OddBins o{std::vector<Ref>(static_cast<std::size_t>(half)), std::vector<Ref>(static_cast<std::size_t>(half))};
        std::vector<std::vector<Ref>> acrossC(static_cast<std::size_t>(a)), acrossS(static_cast<std::size_t>(a));
        for (int m = 0; m < half; ++m) {
            const int f = 2 * m + 1, m1 = (f % (2 * a) - 1) / 2, mb = (f % (2 * b) - 1) / 2;
            if (acrossC[m1].empty()) {
                std::vector<Ref> p(static_cast<std::size_t>(b)), q(static_cast<std::size_t>(b));
                for (int r2 = 0; r2 < b; ++r2) rowBin(r2, m1, p[r2], q[r2]);
                oddComplex(pb, p, q, acrossC[m1], acrossS[m1]);
            }
            o.C[m] = acrossC[m1][mb];
            o.S[m] = acrossS[m1][mb];
        }
        return o;
    }

    // The odd-frequency transform of b formal complex values z = p - i q:
    // Z[mb] = sum over r of z[r] W(2b)^(r (2 mb + 1)), mb = 0..b-1. For b = 2
    // it is z0 - i z1 and z0 + i z1; for odd b, T(b) of the alternated
    // sequence at bin (2 mb + 1 - b) / 2 mod b.
    void oddComplex(const PlanNode& plan, const std::vector<Ref>& p, const std::vector<Ref>& q, std::vector<Ref>& C,
                    std::vector<Ref>& S) {
        const int b = plan.n;
        C.assign(static_cast<std::size_t>(b), Ref{});
        S.assign(static_cast<std::size_t>(b), Ref{});
        if (b == 2) {
            // (p0 - i q0) -+ i (p1 - i q1) = (p0 -+ q1) - i (q0 +- p1)
            C[0] = d_.sub(p[0], q[1]);
            S[0] = d_.add(q[0], p[1]);
            C[1] = d_.add(p[0], q[1]);
            S[1] = d_.sub(q[0], p[1]);
            return;
        }
        std::vector<Ref> ap(p.size()), aq(q.size()), tc, ts;
        for (std::size_t r = 0; r < p.size(); ++r) {
            ap[r] = r % 2 ? -p[r] : p[r];
            aq[r] = r % 2 ? -q[r] : q[r];
        }
        T(plan, ap, aq, 1, tc, ts);
        for (int mb = 0; mb < b; ++mb) {
            const int k = ((2 * mb + 1 - b) / 2 % b + b) % b;
            C[mb] = tc[k];
            S[mb] = ts[k];
        }
    }

    // T(b) on formal complex values z[n] = p[n] - i q[n], as the odd-frequency
    // rule takes it: stage by stage in complex arithmetic, T(a), the
    // twiddles of a Cooley-Tukey split as rotations, then T(b); a leaf or a
    // prime network is two real-weighted transforms and a join. Gives the
    // C and S parts of all b bins, Z[k] = C[k] - i S[k].
    void T(const PlanNode& plan, const std::vector<Ref>& p, const std::vector<Ref>& q, int r, std::vector<Ref>& Cout,
           std::vector<Ref>& Sout) {
        const int N = plan.n;
        r = ((r % N) + N) % N;
        Cout.assign(static_cast<std::size_t>(N), Ref{});
        Sout.assign(static_cast<std::size_t>(N), Ref{});
        if (plan.kind != PlanNode::CT && plan.kind != PlanNode::GT) {
            RW A = net_.R(plan, p, r), D = net_.R(plan, q, r);
            for (int k = 0; k < N; ++k) {
                if (2 * k <= N) {
                    Cout[k] = d_.sub(A.C[k], D.S[k]);
                    Sout[k] = d_.add(A.S[k], D.C[k]);
                } else {
                    const int kp = N - k;
                    Cout[k] = d_.add(A.C[kp], D.S[kp]);
                    Sout[k] = d_.sub(D.C[kp], A.S[kp]);
                }
            }
            return;
        }
        const PlanNode& pa = plan.kids[0];
        const PlanNode& pb = plan.kids[1];
        const int a = pa.n, b = pb.n;
        const bool ct = plan.kind == PlanNode::CT;
        const int ra = ct ? r : static_cast<int>(static_cast<long>(r) * b % a);
        const int rb = ct ? r : static_cast<int>(static_cast<long>(r) * a % b);
        std::vector<std::vector<Ref>> YC(static_cast<std::size_t>(b)), YS(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) {
            std::vector<Ref> cp(static_cast<std::size_t>(a)), cq(static_cast<std::size_t>(a));
            for (int n1 = 0; n1 < a; ++n1) {
                const std::size_t n = static_cast<std::size_t>(ct ? b * n1 + n2 : (b * n1 + a * n2) % N);
                cp[n1] = p[n];
                cq[n1] = q[n];
            }
            T(pa, cp, cq, ra, YC[n2], YS[n2]);
            if (!ct || n2 == 0) continue;
            for (int k1 = 1; k1 < a; ++k1) {
                const long ang = static_cast<long>(r) * n2 * k1 % N;
                const double co = net_.cos2pi(ang, N), si = net_.sin2pi(ang, N);
                const Ref c = YC[n2][k1], s = YS[n2][k1];
                // The later product first: a call's arguments have no fixed order.
                const Ref sis = d_.mulC(si, s);
                YC[n2][k1] = d_.sub(d_.mulC(co, c), sis);
                const Ref cos_ = d_.mulC(co, s);
                YS[n2][k1] = d_.add(d_.mulC(si, c), cos_);
            }
        }
        for (int k1 = 0; k1 < a; ++k1) {
            std::vector<Ref> cp(static_cast<std::size_t>(b)), cq(static_cast<std::size_t>(b)), oc, os;
            for (int n2 = 0; n2 < b; ++n2) {
                cp[n2] = YC[n2][k1];
                cq[n2] = YS[n2][k1];
            }
            T(pb, cp, cq, rb, oc, os);
            for (int k2 = 0; k2 < b; ++k2) {
                const std::size_t k = static_cast<std::size_t>(ct ? k1 + a * k2 : (b * k1 + a * k2) % N);
                Cout[k] = oc[k2];
                Sout[k] = os[k2];
            }
        }
    }

private:
    Network& net_;
    Dag& d_;
};

// The forward roots of R(H) in the order C[0..H/2], S[1..(H-1)/2].
std::vector<Ref> rootsOf(const RW& w, int H) {
    std::vector<Ref> r;
    for (int k = 0; 2 * k <= H; ++k) r.push_back(w.C[k]);
    for (int k = 1; 2 * k < H; ++k) r.push_back(w.S[k]);
    return r;
}

// The dual of R(H) by the plan, built in `dag` on the values c[k] (entering
// where C[k] left) and s[k] (where S[k] left): y[m] = sum over k of
// c[k] cos(2 pi k m / H) + s[k] sin(2 pi k m / H).
std::vector<Ref> dualR(Dag& dag, const NetOptions& opt, const PlanNode& plan, const std::vector<Ref>& c,
                       const std::vector<Ref>& s) {
    const int H = plan.n;
    Dag scratch;
    NetOptions inner = opt;
    inner.raderFamily = halfFamily(opt.raderFamily);
    Network net(scratch, inner);
    std::vector<Ref> in(static_cast<std::size_t>(H));
    for (int i = 0; i < H; ++i) in[i] = scratch.input(i);
    RW w = net.R(plan, in, 1);
    std::vector<Ref> values;
    for (int k = 0; 2 * k <= H; ++k) values.push_back(c[k]);
    for (int k = 1; 2 * k < H; ++k) values.push_back(s[k]);
    return transposeInto(scratch, H, rootsOf(w, H), dag, values);
}

// The dual of O(H) on the values c[i], s[i]: y[t] = sum over i of
// c[i] cos(phi) + s[i] sin(phi), phi = 2 pi t (2i + 1) / (2H).
std::vector<Ref> dualO(Dag& dag, const NetOptions& opt, const OddPlan& plan, const std::vector<Ref>& c,
                       const std::vector<Ref>& s) {
    const int H = plan.n;
    Dag scratch;
    NetOptions inner = opt;
    inner.raderFamily = halfFamily(opt.raderFamily);
    Network net(scratch, inner);
    std::vector<Ref> in(static_cast<std::size_t>(H));
    for (int i = 0; i < H; ++i) in[i] = scratch.input(i);
    OddBins o = OddBuilder(net, scratch).O(plan, in);
    std::vector<Ref> roots, values;
    for (std::size_t i = 0; i < o.C.size(); ++i) {
        roots.push_back(o.C[i]);
        values.push_back(c[i]);
        roots.push_back(o.S[i]);
        values.push_back(s[i]);
    }
    return transposeInto(scratch, H, roots, dag, values);
}

bool isConstProduct(const Dag& d, int id) {
    const Node& n = d.node(id);
    return n.op == Op::Mul && d.node(n.a).op == Op::Const;
}

// A value that is the sum or difference of two constant products.
bool isRotationOutput(const Dag& d, Ref v) {
    if (v.isZero()) return false;
    const Node& n = d.node(v.id);
    return (n.op == Op::Add || n.op == Op::Sub) && n.a != n.b && isConstProduct(d, n.a) && isConstProduct(d, n.b);
}

// Splits "first;even;odd" (or just "first") of a node that names its halves.
std::vector<std::string> parts(const std::string& s) {
    std::vector<std::string> out;
    int depth = 0;
    std::string cur;
    for (char c : s) {
        if (c == '(' || c == '[') ++depth;
        if (c == ')' || c == ']') --depth;
        if (c == ';' && depth == 0) {
            out.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    out.push_back(cur);
    return out;
}

}  // namespace

std::vector<Beta> raderBeta(int p, int g, int r) {
    const int M = p - 1;
    const long ginv = powMod(g, p - 2, p);
    std::vector<Beta> beta(static_cast<std::size_t>(M));
    const long pM = static_cast<long>(p) * M;
    for (int j = 0; j < M; ++j) {
        DD re{0.0, 0.0}, im{0.0, 0.0};
        for (int q = 0; q < M; ++q) {
            // w^(r g^-q) W^(jq) = exp(-2 pi i T / (p M))
            const long e = static_cast<long>(r) % p * powMod(ginv, q, p) % p;
            const long T = (e * M + static_cast<long>(p) * (static_cast<long>(j) * q % M)) % pM;
            re = ddAdd(re, cosPiFracDD(2 * T, pM));
            im = ddAdd(im, sinPiFracDD(-2 * T, pM));
        }
        beta[j] = {ddDiv(re, DD{double(M), 0.0}), ddDiv(im, DD{double(M), 0.0})};
    }
    return beta;
}

RaderNetwork raderNetwork(Network& net, Dag& d, const NetOptions& opt, const PlanNode& plan,
                          const std::vector<Ref>& x, int r) {
    const int p = plan.n, M = p - 1, H = M / 2;
    if (static_cast<int>(x.size()) != p) throw std::logic_error("Rader network: input count");
    const RaderRow& row = raderRow(p, opt.raderFamily);
    std::string firstText = row.first, evenText = row.even, oddText = row.odd;
    if (!plan.halves.empty()) {
        auto h = parts(plan.halves);
        firstText = h[0];
        if (h.size() == 3) {
            evenText = h[1];
            oddText = h[2];
        } else if (h.size() != 1) {
            throw std::invalid_argument("Rader node " + plan.str() + ": first, or first;even;odd expected");
        }
    }
    const PlanNode first = parsePlanFor(firstText, M);
    const PlanNode even = parsePlanFor(evenText, H);

    auto rounded = [&](DD v) {
        const double out = opt.precision == ConstPrecision::Single ? static_cast<double>(roundToFloat(v)) : roundToDouble(v);
        noteExactConstant(std::fabs(out), out < 0 ? DD{-v.hi, -v.lo} : v);
        return out;
    };

    // First half on the gathered sequence a[q] = x[g^q mod p]: A[j] = C[j]
    // and B[j] = -S[j] are the two parts of the inner transform's bin j.
    std::vector<Ref> a(static_cast<std::size_t>(M));
    for (int q = 0; q < M; ++q) a[q] = x[static_cast<std::size_t>(powMod(row.g, q, p))];
    const RW A = net.R(first, a, 1);

    RaderNetwork res;
    RW& w = res.w;
    w.C.assign(static_cast<std::size_t>(H + 1), d.zero());
    w.S.assign(static_cast<std::size_t>(H + 1), d.zero());
    const Ref x0 = x[0];
    w.C[0] = d.add(x0, A.C[0]);
    const Ref u = d.sub(x0, d.mulC(rounded(ddDiv(DD{1.0, 0.0}, DD{double(M), 0.0})), A.C[0]));

    // Spectrum: P + i Q = 2 beta[j] (A + i B) for 0 < j < H, beta[H] alone.
    const std::vector<Beta> beta = raderBeta(p, row.g, r);
    std::vector<Ref> P(static_cast<std::size_t>(H)), Q(static_cast<std::size_t>(H));
    for (int j = 1; j < H; ++j) {
        const double U = rounded(ddAdd(beta[j].re, beta[j].re)), V = rounded(ddAdd(beta[j].im, beta[j].im));
        const Ref B = -A.S[j];
        const Ref vb = d.mulC(V, B);  // the later product first, as above
        P[j] = d.sub(d.mulC(U, A.C[j]), vb);
        const Ref ub = d.mulC(U, B);
        Q[j] = d.add(d.mulC(V, A.C[j]), ub);
    }
    const Ref ZH = d.mulC(rounded(H % 2 == 0 ? beta[H].re : beta[H].im), A.C[H]);

    // Even bins: E[m] = u + sum over even j of (P cos - Q sin)(2 pi j m / M),
    // and + (-1)^m ZH for even H: the dual of R(H).
    const int hk = H / 2 + 1;
    std::vector<Ref> c(static_cast<std::size_t>(hk), d.zero()), s(static_cast<std::size_t>(hk), d.zero());
    c[0] = u;
    for (int k = 1; 2 * k < H; ++k) {
        c[k] = P[2 * k];
        s[k] = -Q[2 * k];
    }
    if (H % 2 == 0) c[H / 2] = ZH;
    const std::vector<Ref> E = dualR(d, opt, even, c, s);

    // Odd bins: R[m] = sum over odd j of (P sin + Q cos)(2 pi j m / M).
    std::vector<Ref> R;
    if (H % 2 == 0) {
        const OddPlan odd = parseOdd(oddText);
        if (odd.n != H) throw std::invalid_argument("odd-frequency order \"" + oddText + "\" is not of length H");
        std::vector<Ref> oc(static_cast<std::size_t>(H / 2)), os(static_cast<std::size_t>(H / 2));
        for (int i = 0; i < H / 2; ++i) {
            oc[i] = Q[2 * i + 1];
            os[i] = P[2 * i + 1];
        }
        R = dualO(d, opt, odd, oc, os);
    } else {
        // With j = H - 2k the odd bins are (-1)^m times the dual of R(H).
        const PlanNode odd = parsePlanFor(oddText, H);
        std::vector<Ref> oc(static_cast<std::size_t>(hk), d.zero()), os(static_cast<std::size_t>(hk), d.zero());
        oc[0] = ZH;
        for (int k = 1; 2 * k < H; ++k) {
            oc[k] = Q[H - 2 * k];
            os[k] = -P[H - 2 * k];
        }
        R = dualR(d, opt, odd, oc, os);
        for (int m = 1; m < H; m += 2) R[m] = -R[m];
    }

    // Output pairs: bin k = g^-m gets E[m] + i R[m], bin p - k its conjugate.
    const long ginv = powMod(row.g, p - 2, p);
    for (int m = 0; m < H; ++m) {
        const int k = static_cast<int>(powMod(ginv, m, p));
        if (k <= H) {
            w.C[k] = E[m];
            w.S[k] = -R[m];
        } else {
            w.C[p - k] = E[m];
            w.S[p - k] = R[m];
        }
        if (isRotationOutput(d, R[m])) res.exchangeable.push_back(R[m]);
    }
    return res;
}

}  // namespace qrbgen::plans
