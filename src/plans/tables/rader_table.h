// Rows of the real-coefficient Rader networks: for each prime, its
// primitive root and the plans of the two halves, as data. The complex
// kernels (pair form and the split-form stages) and the real kernels take
// their halves from different tables.
#pragma once
#include <string>

namespace qrbgen::plans {

enum class RaderFamily {
    Complex,  // 64fc pair form
    Split,    // a prime factor inside a 32fc split-form stage
    Real,     // the forward real kernels
    // The inverse real kernels: the forward networks whose duals they are.
    // The halves of a prime network are built as duals, so a prime inside
    // a half takes the rows of the other real family.
    RealInverse,
};

// The family of the prime networks inside the halves of a prime network of
// the given family.
RaderFamily halfFamily(RaderFamily f);

// The network of a prime p, M = p - 1, H = M / 2. Plans are plan strings;
// a prime of 13 or more in them, or "R11", is itself a Rader network of the
// same family.
struct RaderRow {
    int p = 0;
    int g = 0;          // primitive root
    std::string first;  // R(M) on the gathered sequence x[g^q mod p]
    // The second half: the even bins are the dual of R(H) by this plan; the
    // odd bins are, for odd H, the dual of R(H) by this plan on the
    // alternated sequence, and for even H the dual of O(H) by this factor
    // order: "O(a,b)" takes O(a) on the rows and T(b) across them, a being
    // an order itself, 2, or an odd plan (R(a) of the alternated sequence);
    // "OG(a,b)", for coprime a and b, takes no twiddles.
    std::string even, odd;
};

const RaderRow& raderRow(int p, RaderFamily family);

}  // namespace qrbgen::plans
