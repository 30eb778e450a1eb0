// The real-coefficient Rader network of a prime p on items: the gathered
// sequence x[g^q mod p] goes through a real-weighted transform of length
// M = p - 1 (the first half), its bins are multiplied by the spectrum
// constants 2 beta[j] as pairs (a cosine and a sine part at once), and the
// second half, the dual of real-weighted transforms of length H = M / 2,
// gives the cosine sums of the even bins and the sine sums of the odd bins.
// The result is in the currency of every other network: cosine sums C[k]
// and sine sums S[k], k = 0..H.
#pragma once
#include <vector>

#include "ir/dag.h"
#include "rules/network.h"
#include "tables/plan.h"
#include "ir/trig.h"

namespace qrbgen::plans {

// b^e mod m: the powers of a primitive root that order a Rader sequence.
inline long powMod(long b, long e, long m) {
    long r = 1 % m;
    b %= m;
    for (; e > 0; e >>= 1, b = b * b % m)
        if (e & 1) r = r * b % m;
    return r;
}

struct RaderNetwork {
    RW w;
    // Sine sums that end in a rotation pair (two products of two shared
    // operands): at the join of the top their products can take exchanged
    // operands, so that they need no sign mask.
    std::vector<Ref> exchangeable;
};

// R(p) with root rotation r (coprime to p) for a prime network of the plan:
// a Rader node, or the leaf 7r. Sub-networks are built by `net`, on `dag`;
// the halves come from the family's row unless the node names its own.
RaderNetwork raderNetwork(Network& net, Dag& dag, const NetOptions& opt, const PlanNode& plan,
                          const std::vector<Ref>& x, int r);

// The spectrum constants beta[j], j = 0..M-1, of the prime p with primitive
// root g and root rotation r, in double-double: beta[j] = (1/M) sum over q
// of w^(r g^-q) W^(jq), w = exp(-2 pi i / p), W = exp(-2 pi i / M).
struct Beta {
    DD re, im;
};
std::vector<Beta> raderBeta(int p, int g, int r);

}  // namespace qrbgen::plans
