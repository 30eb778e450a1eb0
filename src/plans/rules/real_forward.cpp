// The forward real network on complex values.
//
// A value is a bin (re, im) of two signed references; im is Im X itself.
// Every subtraction takes its operands in the order of the formula, and the
// DAG keeps one node for a - b and b - a: a sum whose terms are all negated
// comes out negated, any other sum comes out as it stands. That is what
// decides which imaginary parts the network yields negated.
//
// Roots. A transform "at root r" computes sum over n of x[n] W^(r n k): a
// direct leaf at root r evaluates its cosines and sines at r j k, a
// Cooley-Tukey split at root r takes r into its stages and its twiddles.
//
// Good-Thomas G(a,b). Stage a takes the block of residue n2 with the element
// of residue n = g n1 (mod a) at position n1, and runs at root g, where g is
// the inverse of b modulo a; so it yields the bins of the block in natural
// order. Stage b alike with the inverse of a modulo b. Bin q of the whole is
// bin (q b^-1 mod a, q a^-1 mod b) of the stages, the conjugate of the
// mirrored bin where the first index passes a/2. A Cooley-Tukey stage takes
// the other factor itself (b modulo a) in place of its inverse, but for the
// first stage of a split by 2; and G(a,b,2) runs as one split of three
// factors, each stage over its own residue and the conjugate taken once, at
// the output.
#include "rules/real_forward.h"

#include <cstdlib>
#include <map>
#include <numeric>
#include <stdexcept>
#include <string>
#include <tuple>

#include "ir/trig.h"

namespace qrbgen::plans {
namespace {

struct Bin {
    Ref re, im;
};

int mod(long v, long m) { return static_cast<int>(((v % m) + m) % m); }

// v^-1 modulo m (0 for m = 1).
int inverse(int v, int m) {
    if (m == 1) return 0;
    v = mod(v, m);
    for (int t = 1; t < m; ++t)
        if (static_cast<long>(v) * t % m == 1) return t;
    throw std::logic_error("no inverse of " + std::to_string(v) + " modulo " + std::to_string(m));
}

double cos2pi(long p, long q) { return cosPiFrac(2 * p, q); }
double sin2pi(long p, long q) { return sinPiFrac(2 * p, q); }

Bin conj(Bin b) { return {b.re, -b.im}; }

// The bins of a half spectrum, each set once: a bin above N/2 is stored as
// the conjugate of its mirror.
struct HalfSpectrum {
    explicit HalfSpectrum(int n) : N(n), bins(static_cast<std::size_t>(n / 2 + 1)), set(bins.size(), false) {}
    void put(int q, Bin v) {
        q = mod(q, N);
        if (2 * q > N) {
            q = N - q;
            v = conj(v);
        }
        if (set[q]) return;
        set[q] = true;
        if (q == 0 || 2 * q == N) v.im = Ref{};
        bins[q] = v;
    }
    std::vector<Bin> done() const {
        for (std::size_t i = 0; i < set.size(); ++i)
            if (!set[i]) throw std::logic_error("network leaves bin " + std::to_string(i) + " of " + std::to_string(N) + " unset");
        return bins;
    }
    int N;
    std::vector<Bin> bins;
    std::vector<bool> set;
};

class Builder {
public:
    explicit Builder(Dag& d) : d_(d) {}

    std::vector<Bin> R(const PlanNode& p, const std::vector<Ref>& x, int r);
    std::vector<Bin> T(const PlanNode& p, const std::vector<Bin>& z, int r);
    std::vector<Bin> O(const PlanNode& p, const std::vector<Ref>& v, int r);

private:
    Bin add(Bin a, Bin b) { return {d_.add(a.re, b.re), d_.add(a.im, b.im)}; }
    Bin sub(Bin a, Bin b) { return {d_.sub(a.re, b.re), d_.sub(a.im, b.im)}; }
    static Bin timesMinusI(Bin a) { return {a.im, -a.re}; }
    static Bin timesI(Bin a) { return {-a.im, a.re}; }

    // acc + c v with the magnitude of c stored: the sign picks add or sub.
    Ref acc(Ref acc, double c, Ref v) {
        if (c == 0.0) return acc;
        const Ref prod = d_.mulC(std::abs(c), v);
        return c > 0 ? d_.add(acc, prod) : d_.sub(acc, prod);
    }
    // x0 + sum of c[j] v[j]: from the first term when it is positive, with
    // x0 added last; otherwise from x0.
    Ref cosineSum(Ref x0, const std::vector<double>& c, const std::vector<Ref>& v) {
        const bool firstPositive = c[0] > 0;
        Ref s = firstPositive ? d_.mulC(c[0], v[0]) : acc(x0, c[0], v[0]);
        for (std::size_t j = 1; j < v.size(); ++j) s = acc(s, c[j], v[j]);
        return firstPositive ? d_.add(s, x0) : s;
    }
    // (u + iv)(c - is) for W(M)^e: c u + s v and c v - s u; at +-45 degrees
    // both parts are multiplied by the one magnitude first.
    Bin twiddle(Bin z, long e, long M);

    // The values a run of a stage starts from, for declaring it as one
    // instance of the stage's group (ir/dag.h).
    static std::vector<Ref> seeds(const std::vector<Ref>& x) { return x; }
    static std::vector<Ref> seeds(const std::vector<Bin>& z) {
        std::vector<Ref> s;
        for (const Bin& b : z) {
            s.push_back(b.re);
            s.push_back(b.im);
        }
        return s;
    }

    std::vector<Bin> leafR(int p, const std::vector<Ref>& x, int r);
    std::vector<Bin> leafT(int p, const std::vector<Bin>& z, int r);
    std::vector<Bin> goodThomasR(const PlanNode& p, const std::vector<Ref>& x, int r);
    std::vector<Bin> goodThomasT(const PlanNode& p, const std::vector<Bin>& z, int r);
    std::vector<Bin> threeFactorR(const PlanNode& p, const std::vector<Ref>& x, int r);

    Dag& d_;
};

Bin Builder::twiddle(Bin z, long e, long M) {
    e = mod(e, M);
    if (e == 0) return z;
    if (4 * e == M) return timesMinusI(z);
    if (2 * e == M) return {-z.re, -z.im};
    if (4 * e == 3 * M) return timesI(z);
    const double c = cos2pi(e, M), s = sin2pi(e, M);
    if (8 * e % M == 0) {
        const double k = std::abs(c);
        const Ref ku = d_.mulC(k, z.re), kv = d_.mulC(k, z.im);
        const Ref cu = c > 0 ? ku : -ku, cv = c > 0 ? kv : -kv;
        const Ref su = s > 0 ? ku : -ku, sv = s > 0 ? kv : -kv;
        return {d_.add(cu, sv), d_.sub(cv, su)};
    }
    return {acc(acc(Ref{}, c, z.re), s, z.im), acc(acc(Ref{}, c, z.im), -s, z.re)};
}

// The direct leaves. Odd p: pair sums A[j] = x[j] + x[p-j] and differences
// B[j] = x[j] - x[p-j]; Re X[k] = x[0] + sum of A[j] cos(2 pi r j k / p),
// Im X[k] = sum of B[j] (-sin(2 pi r j k / p)) in the order of j. Lengths 2
// and 4 are butterflies; at another root the 4-point leaf gives the mirror.
std::vector<Bin> Builder::leafR(int p, const std::vector<Ref>& x, int r) {
    std::vector<Bin> X(static_cast<std::size_t>(p / 2 + 1));
    if (p == 2) {
        X[0] = {d_.add(x[0], x[1]), Ref{}};
        X[1] = {d_.sub(x[0], x[1]), Ref{}};
        return X;
    }
    if (p == 4) {
        const Ref s0 = d_.add(x[0], x[2]), d0 = d_.sub(x[0], x[2]);
        const Ref s1 = d_.add(x[1], x[3]), d1 = d_.sub(x[1], x[3]);
        X[0] = {d_.add(s0, s1), Ref{}};
        X[1] = {d0, mod(r, 4) == 1 ? -d1 : d1};
        X[2] = {d_.sub(s0, s1), Ref{}};
        return X;
    }
    if (p % 2 == 0) throw std::invalid_argument("no direct leaf of length " + std::to_string(p));
    const int h = (p - 1) / 2;
    std::vector<Ref> A(static_cast<std::size_t>(h)), B(static_cast<std::size_t>(h));
    for (int j = 1; j <= h; ++j) {
        A[j - 1] = d_.add(x[j], x[p - j]);
        B[j - 1] = d_.sub(x[j], x[p - j]);
    }
    Ref sum = A[0];
    for (int j = 1; j < h; ++j) sum = d_.add(sum, A[j]);
    X[0] = {d_.add(sum, x[0]), Ref{}};
    for (int k = 1; k <= h; ++k) {
        std::vector<double> c;
        for (int j = 1; j <= h; ++j) c.push_back(cos2pi(static_cast<long>(j) * k * r, p));
        const Ref re = cosineSum(x[0], c, A);
        Ref im;
        for (int j = 1; j <= h; ++j) im = acc(im, -sin2pi(static_cast<long>(j) * k * r, p), B[j - 1]);
        X[k] = {re, im};
    }
    return X;
}

// Complex input: the same formulas on both parts, X[k] = C + (-i) S and
// X[p-k] = C + i S with S = sum of B[j] sin(2 pi r j k / p).
std::vector<Bin> Builder::leafT(int p, const std::vector<Bin>& z, int r) {
    std::vector<Bin> X(static_cast<std::size_t>(p));
    if (p == 2) {
        X[0] = add(z[0], z[1]);
        X[1] = sub(z[0], z[1]);
        return X;
    }
    if (p == 4) {
        const Bin s0 = add(z[0], z[2]), d0 = sub(z[0], z[2]), s1 = add(z[1], z[3]), d1 = sub(z[1], z[3]);
        Bin Y[4];
        Y[0] = add(s0, s1);
        Y[2] = sub(s0, s1);
        Y[1] = add(d0, timesMinusI(d1));
        Y[3] = add(d0, timesI(d1));
        for (int k = 0; k < 4; ++k) X[k] = Y[mod(static_cast<long>(r) * k, 4)];
        return X;
    }
    if (p % 2 == 0) throw std::invalid_argument("no direct leaf of length " + std::to_string(p));
    const int h = (p - 1) / 2;
    std::vector<Bin> A(static_cast<std::size_t>(h)), B(static_cast<std::size_t>(h));
    for (int j = 1; j <= h; ++j) {
        A[j - 1] = add(z[j], z[p - j]);
        B[j - 1] = sub(z[j], z[p - j]);
    }
    Bin sum = A[0];
    for (int j = 1; j < h; ++j) sum = add(sum, A[j]);
    X[0] = add(sum, z[0]);
    std::vector<Ref> Are, Aim;
    for (const Bin& a : A) {
        Are.push_back(a.re);
        Aim.push_back(a.im);
    }
    for (int k = 1; k <= h; ++k) {
        std::vector<double> c;
        for (int j = 1; j <= h; ++j) c.push_back(cos2pi(static_cast<long>(j) * k * r, p));
        const Bin C{cosineSum(z[0].re, c, Are), cosineSum(z[0].im, c, Aim)};
        Bin S;
        for (int j = 1; j <= h; ++j) {
            const double s = sin2pi(static_cast<long>(j) * k * r, p);
            S.re = acc(S.re, s, B[j - 1].re);
            S.im = acc(S.im, s, B[j - 1].im);
        }
        X[k] = {d_.add(C.re, S.im), d_.sub(C.im, S.re)};
        X[p - k] = {d_.sub(C.re, S.im), d_.add(C.im, S.re)};
    }
    return X;
}

// The arrangement of a Good-Thomas split at root r: stage a reads position
// n1 of block n2 from x[(b u n1 + a w n2) mod N] and runs at root ra, stage
// b at root rb.
struct GoodThomasMap {
    int a, b, N, u, w, ra, rb;
    GoodThomasMap(const PlanNode& p, int r) {
        const PlanNode& pa = p.kids[0];
        const PlanNode& pb = p.kids[1];
        a = pa.n;
        b = pb.n;
        N = p.n;
        // The inverse of the other factor, or the factor itself for a
        // Cooley-Tukey stage (but the first stage of a split by 2).
        const int ga = pa.kind == PlanNode::CT && b != 2 ? mod(b, a) : inverse(b, a);
        const int gb = pb.kind == PlanNode::CT && a != 2 ? mod(a, b) : inverse(a, b);
        // Residue g n1 of position n1: b u = g modulo a.
        u = a == 1 ? 0 : mod(static_cast<long>(ga) * inverse(b, a), a);
        w = b == 1 ? 0 : mod(static_cast<long>(gb) * inverse(a, b), b);
        ra = a == 1 ? 0 : mod(static_cast<long>(ga) * r, a);
        rb = b == 1 ? 0 : mod(static_cast<long>(gb) * r, b);
    }
    int in(int n1, int n2) const { return mod(static_cast<long>(b) * u * n1 + static_cast<long>(a) * w * n2, N); }
    // The stage bins of bin q of the whole at root r.
    int binA(long q, int r) const { return a == 1 ? 0 : mod(static_cast<long>(inverse(ra, a)) * u % a * r % a * q, a); }
    int binB(long q, int r) const { return b == 1 ? 0 : mod(static_cast<long>(inverse(rb, b)) * w % b * r % b * q, b); }
};

std::vector<Bin> Builder::goodThomasR(const PlanNode& p, const std::vector<Ref>& x, int r) {
    const GoodThomasMap m(p, r);
    const int a = m.a, b = m.b;
    std::vector<std::vector<Bin>> Y(static_cast<std::size_t>(b));
    const int first = d_.newGroup();
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<Ref> block(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) block[n1] = x[static_cast<std::size_t>(m.in(n1, n2))];
        Dag::InstanceScope run(d_, first, seeds(block));
        Y[n2] = R(p.kids[0], block, m.ra);
    }
    // Bin 0 of stage a, and bin a/2 for even a, are real: R(b); the others T(b).
    std::vector<std::vector<Bin>> Z(static_cast<std::size_t>(a / 2 + 1));
    const int realSecond = d_.newGroup(), second = d_.newGroup();
    for (int k = 0; 2 * k <= a; ++k) {
        if (k == 0 || 2 * k == a) {
            std::vector<Ref> col(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2][k].re;
            Dag::InstanceScope run(d_, realSecond, seeds(col));
            const std::vector<Bin> h = R(p.kids[1], col, m.rb);
            Z[k].resize(static_cast<std::size_t>(b));
            for (int l = 0; l < b; ++l) Z[k][l] = 2 * l <= b ? h[l] : conj(h[b - l]);
        } else {
            std::vector<Bin> col(static_cast<std::size_t>(b));
            for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2][k];
            Dag::InstanceScope run(d_, second, seeds(col));
            Z[k] = T(p.kids[1], col, m.rb);
        }
    }
    HalfSpectrum H(p.n);
    for (int q = 0; 2 * q <= p.n; ++q) {
        const int ka = m.binA(q, r), kb = m.binB(q, r);
        H.put(q, 2 * ka <= a ? Z[ka][kb] : conj(Z[a - ka][(b - kb) % b]));
    }
    return H.done();
}

std::vector<Bin> Builder::goodThomasT(const PlanNode& p, const std::vector<Bin>& z, int r) {
    const GoodThomasMap m(p, r);
    const int a = m.a, b = m.b;
    std::vector<std::vector<Bin>> Y(static_cast<std::size_t>(b));
    const int first = d_.newGroup();
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<Bin> block(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) block[n1] = z[static_cast<std::size_t>(m.in(n1, n2))];
        Dag::InstanceScope run(d_, first, seeds(block));
        Y[n2] = T(p.kids[0], block, m.ra);
    }
    std::vector<std::vector<Bin>> Z(static_cast<std::size_t>(a));
    const int second = d_.newGroup();
    for (int k = 0; k < a; ++k) {
        std::vector<Bin> col(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2][k];
        Dag::InstanceScope run(d_, second, seeds(col));
        Z[k] = T(p.kids[1], col, m.rb);
    }
    std::vector<Bin> X(static_cast<std::size_t>(p.n));
    for (int q = 0; q < p.n; ++q) X[q] = Z[m.binA(q, r)][m.binB(q, r)];
    return X;
}

// G(G(a,b),2) as one split of three factors: stage i over the residue of its
// factor f in natural order, at root (N/f)^-1 r; the stage bins of bin q are
// q (N/f)^-1 mod f, and a bin that the real stages do not give is the
// conjugate of its mirror.
std::vector<Bin> Builder::threeFactorR(const PlanNode& p, const std::vector<Ref>& x, int r) {
    const int N = p.n;
    const PlanNode* stage[3] = {&p.kids[0].kids[0], &p.kids[0].kids[1], &p.kids[1]};
    int f[3], g[3], inv[3];
    for (int i = 0; i < 3; ++i) {
        f[i] = stage[i]->n;
        inv[i] = inverse(N / f[i], f[i]);
        g[i] = mod(static_cast<long>(inv[i]) * r, f[i]);
    }
    // A stage at root g reads its data in the order of the residues g n.
    auto runR = [&](int i, const std::vector<Ref>& data) {
        std::vector<Ref> z(static_cast<std::size_t>(f[i]));
        for (int t = 0; t < f[i]; ++t) z[t] = data[static_cast<std::size_t>(mod(static_cast<long>(g[i]) * t, f[i]))];
        return R(*stage[i], z, g[i]);
    };
    auto runT = [&](int i, const std::vector<Bin>& data) {
        std::vector<Bin> z(static_cast<std::size_t>(f[i]));
        for (int t = 0; t < f[i]; ++t) z[t] = data[static_cast<std::size_t>(mod(static_cast<long>(g[i]) * t, f[i]))];
        return T(*stage[i], z, g[i]);
    };
    const int A = f[0], B = f[1], C = f[2];
    auto realA = [&](int k) { return k == 0 || 2 * k == A; };
    auto realB = [&](int k) { return k == 0 || 2 * k == B; };
    // Y[jb][jc]: stage one on the residues j mod A of residues (jb, jc).
    std::vector<std::vector<std::vector<Bin>>> Y(static_cast<std::size_t>(B), std::vector<std::vector<Bin>>(static_cast<std::size_t>(C)));
    const int first = d_.newGroup();
    for (int jb = 0; jb < B; ++jb)
        for (int jc = 0; jc < C; ++jc) {
            std::vector<Ref> block(static_cast<std::size_t>(A));
            for (int j = 0; j < N; ++j)
                if (j % B == jb && j % C == jc) block[j % A] = x[static_cast<std::size_t>(j)];
            Dag::InstanceScope run(d_, first, seeds(block));
            Y[jb][jc] = runR(0, block);
        }
    std::map<std::pair<int, int>, std::vector<Bin>> W;  // (ka, kb) over jc
    const int realSecond = d_.newGroup(), second = d_.newGroup();
    for (int ka = 0; 2 * ka <= A; ++ka)
        for (int jc = 0; jc < C; ++jc) {
            std::vector<Bin> out;
            if (realA(ka)) {
                std::vector<Ref> col(static_cast<std::size_t>(B));
                for (int jb = 0; jb < B; ++jb) col[jb] = Y[jb][jc][ka].re;
                Dag::InstanceScope run(d_, realSecond, seeds(col));
                out = runR(1, col);
            } else {
                std::vector<Bin> col(static_cast<std::size_t>(B));
                for (int jb = 0; jb < B; ++jb) col[jb] = Y[jb][jc][ka];
                Dag::InstanceScope run(d_, second, seeds(col));
                out = runT(1, col);
            }
            for (int kb = 0; kb < static_cast<int>(out.size()); ++kb) {
                std::vector<Bin>& v = W[{ka, kb}];
                v.resize(static_cast<std::size_t>(C));
                v[jc] = out[kb];
            }
        }
    std::map<std::tuple<int, int, int>, Bin> V;
    const int realThird = d_.newGroup(), third = d_.newGroup();
    for (const auto& [key, col] : W) {
        const auto [ka, kb] = key;
        if (realA(ka) && realB(kb)) {
            std::vector<Ref> c(static_cast<std::size_t>(C));
            for (int jc = 0; jc < C; ++jc) c[jc] = col[jc].re;
            Dag::InstanceScope run(d_, realThird, seeds(c));
            const std::vector<Bin> h = runR(2, c);
            for (int l = 0; 2 * l <= C; ++l) V[{ka, kb, l}] = h[l];
        } else {
            Dag::InstanceScope run(d_, third, seeds(col));
            const std::vector<Bin> h = runT(2, col);
            for (int l = 0; l < C; ++l) V[{ka, kb, l}] = h[l];
        }
    }
    HalfSpectrum H(N);
    for (int q = 0; 2 * q <= N; ++q) {
        const int ka = mod(static_cast<long>(q) * inv[0], A), kb = mod(static_cast<long>(q) * inv[1], B);
        const int kc = mod(static_cast<long>(q) * inv[2], C);
        auto it = V.find({ka, kb, kc});
        if (it != V.end()) {
            H.put(q, it->second);
            continue;
        }
        it = V.find({mod(-ka, A), mod(-kb, B), mod(-kc, C)});
        if (it == V.end()) throw std::logic_error("three-factor split leaves bin " + std::to_string(q) + " unset");
        H.put(q, conj(it->second));
    }
    return H.done();
}

std::vector<Bin> Builder::R(const PlanNode& p, const std::vector<Ref>& x, int r) {
    const int n = p.n;
    if (static_cast<int>(x.size()) != n) throw std::logic_error("R: input count");
    r = mod(r, n);
    if (std::gcd(r, n) != 1) throw std::logic_error("R: root not coprime");
    if (p.isLeaf()) {
        if (p.sumDiff || p.realRader) throw std::invalid_argument("no direct form of " + p.str());
        return leafR(n, x, r);
    }
    if (p.kind == PlanNode::GT) {
        if (p.kids[0].kind == PlanNode::GT && p.kids[1].n == 2) return threeFactorR(p, x, r);
        return goodThomasR(p, x, r);
    }
    if (p.kind != PlanNode::CT) throw std::invalid_argument("no complex-form network of " + p.str());
    // Cooley-Tukey C(a,b) at root r: R(a) of x[b n1 + n2]; bin 0 by R(b);
    // 0 < k1 < a/2 by the twiddle W(n)^(r n2 k1) and T(b); k1 = a/2 by O(b).
    const int a = p.kids[0].n, b = p.kids[1].n;
    std::vector<std::vector<Bin>> F(static_cast<std::size_t>(b));
    const int first = d_.newGroup();
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<Ref> col(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) col[n1] = x[static_cast<std::size_t>(b * n1 + n2)];
        Dag::InstanceScope run(d_, first, seeds(col));
        F[n2] = R(p.kids[0], col, r);
    }
    HalfSpectrum H(n);
    {
        std::vector<Ref> col(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = F[n2][0].re;
        const std::vector<Bin> h = R(p.kids[1], col, r);
        for (int k2 = 0; 2 * k2 <= b; ++k2) H.put(a * k2, h[k2]);
    }
    const int second = d_.newGroup();
    for (int k1 = 1; 2 * k1 < a; ++k1) {
        std::vector<Bin> col(static_cast<std::size_t>(b));
        std::vector<Bin> start(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) start[n2] = F[n2][k1];
        Dag::InstanceScope run(d_, second, seeds(start));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = twiddle(F[n2][k1], static_cast<long>(r) * n2 * k1, n);
        const std::vector<Bin> t = T(p.kids[1], col, r);
        for (int k2 = 0; k2 < b; ++k2) H.put(k1 + a * k2, t[k2]);
    }
    if (a % 2 == 0) {
        std::vector<Ref> col(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = F[n2][a / 2].re;
        const std::vector<Bin> o = O(p.kids[1], col, r);
        for (std::size_t k = 0; k < o.size(); ++k) H.put(a / 2 + a * static_cast<int>(k), o[k]);
    }
    return H.done();
}

std::vector<Bin> Builder::T(const PlanNode& p, const std::vector<Bin>& z, int r) {
    const int n = p.n;
    if (static_cast<int>(z.size()) != n) throw std::logic_error("T: input count");
    r = mod(r, n);
    if (p.isLeaf()) {
        if (p.sumDiff || p.realRader) throw std::invalid_argument("no direct form of " + p.str());
        return leafT(n, z, r);
    }
    if (p.kind == PlanNode::GT) return goodThomasT(p, z, r);
    if (p.kind != PlanNode::CT) throw std::invalid_argument("no complex-form network of " + p.str());
    const int a = p.kids[0].n, b = p.kids[1].n;
    std::vector<std::vector<Bin>> F(static_cast<std::size_t>(b));
    const int first = d_.newGroup();
    for (int n2 = 0; n2 < b; ++n2) {
        std::vector<Bin> col(static_cast<std::size_t>(a));
        for (int n1 = 0; n1 < a; ++n1) col[n1] = z[static_cast<std::size_t>(b * n1 + n2)];
        Dag::InstanceScope run(d_, first, seeds(col));
        F[n2] = T(p.kids[0], col, r);
    }
    std::vector<Bin> X(static_cast<std::size_t>(n));
    const int second = d_.newGroup();
    for (int k1 = 0; k1 < a; ++k1) {
        std::vector<Bin> col(static_cast<std::size_t>(b));
        std::vector<Bin> start(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) start[n2] = F[n2][k1];
        Dag::InstanceScope run(d_, second, seeds(start));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = twiddle(F[n2][k1], static_cast<long>(r) * n2 * k1, n);
        const std::vector<Bin> t = T(p.kids[1], col, r);
        for (int k2 = 0; k2 < b; ++k2) X[k1 + a * k2] = t[k2];
    }
    return X;
}

// O(n)[m] = sum of v[t] W(2n)^(r t (2m+1)), m = 0..ceil(n/2)-1. Odd n: R(n)
// of the alternated sequence, bin (r(2m+1)+n)/2. O(2) = v0 -/+ i v1. A split
// (a,b), 4 taken as (2,2): O(a) of v[b t1 + t2], the twiddle
// W(2n)^(r t2 (2m1+1)) and T(b).
std::vector<Bin> Builder::O(const PlanNode& p, const std::vector<Ref>& v, int r) {
    const int n = p.n, half = (n + 1) / 2;
    r = mod(r, 2 * n);
    std::vector<Bin> out(static_cast<std::size_t>(half));
    if (n % 2 == 1) {
        std::vector<Ref> alt(v);
        for (int t = 1; t < n; t += 2) alt[t] = -alt[t];
        const std::vector<Bin> h = R(p, alt, 1);
        for (int m = 0; m < half; ++m) {
            const int k = mod((static_cast<long>(r) * (2 * m + 1) + n) / 2, n);
            out[m] = 2 * k <= n ? h[k] : conj(h[n - k]);
            if (2 * m + 1 == n) out[m].im = Ref{};
        }
        return out;
    }
    if (n == 2) {
        out[0] = {v[0], r % 4 == 1 ? -v[1] : v[1]};
        return out;
    }
    PlanNode pa, pb;
    if (p.isLeaf()) {
        if (n != 4) throw std::invalid_argument("no odd-frequency form of " + p.str());
        pa.n = 2;
        pb.n = 2;
    } else {
        pa = p.kids[0];
        pb = p.kids[1];
    }
    const int a = pa.n, b = pb.n;
    std::vector<std::vector<Bin>> Y(static_cast<std::size_t>(b));
    for (int t2 = 0; t2 < b; ++t2) {
        std::vector<Ref> col(static_cast<std::size_t>(a));
        for (int t1 = 0; t1 < a; ++t1) col[t1] = v[static_cast<std::size_t>(b * t1 + t2)];
        Y[t2] = O(pa, col, r);
    }
    std::vector<bool> set(static_cast<std::size_t>(half), false);
    for (int m1 = 0; 2 * m1 < a; ++m1) {
        std::vector<Bin> col(static_cast<std::size_t>(b));
        for (int t2 = 0; t2 < b; ++t2) col[t2] = twiddle(Y[t2][m1], static_cast<long>(r) * t2 * (2 * m1 + 1), 2 * n);
        const std::vector<Bin> t = T(pb, col, r);
        for (int m2 = 0; m2 < b; ++m2) {
            int m = m1 + a * m2;
            Bin val = t[m2];
            if (m >= half) {
                m = n - 1 - m;
                val = conj(val);
            }
            if (!set[m]) {
                set[m] = true;
                out[m] = val;
            }
        }
    }
    return out;
}

}  // namespace

RW complexFormRealNetwork(Dag& d, const PlanNode& plan, const std::vector<Ref>& x) {
    Builder b(d);
    const std::vector<Bin> X = b.R(plan, x, 1);
    RW w;
    for (const Bin& v : X) {
        w.C.push_back(v.re);
        w.S.push_back(-v.im);
    }
    return w;
}

}  // namespace qrbgen::plans
