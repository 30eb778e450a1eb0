// The index maps of the two splits of a length N = a*b, written once for
// every rule that uses them.
//
// Cooley-Tukey C(a,b): input n = b*n1 + n2, output k = k1 + a*k2, and the
// rows n2 > 0 are rotated by the root raised to n2*k1 between the stages.
// Good-Thomas G(a,b), a and b coprime: input n = (b*n1 + a*n2) mod N, output
// k = (b*k1 + a*k2) mod N, no rotation between the stages, and the stages
// run with rotated roots: b mod a for the first, a mod b for the second.
#pragma once

#include "tables/plan.h"

namespace qrbgen::plans {

struct SplitMap {
    int a, b, N;
    bool ct;  // Cooley-Tukey; otherwise Good-Thomas

    static SplitMap of(const PlanNode& p) {
        return {p.kids[0].n, p.kids[1].n, p.n, p.kind == PlanNode::CT};
    }
    int in(int n1, int n2) const { return ct ? b * n1 + n2 : (b * n1 + a * n2) % N; }
    int out(int k1, int k2) const { return ct ? k1 + a * k2 : (b * k1 + a * k2) % N; }
    // Roots of the two stages under a root rotation r of the whole.
    int rootA(int r) const { return ct ? r : static_cast<int>(static_cast<long>(r) * b % a); }
    int rootB(int r) const { return ct ? r : static_cast<int>(static_cast<long>(r) * a % b); }
    // Exponent of the twiddle of row n2, bin k1 of a Cooley-Tukey split, in
    // units of 1/N of a turn.
    long twiddle(int r, int n2, int k1) const { return static_cast<long>(r) * n2 * k1 % N; }
};

}  // namespace qrbgen::plans
