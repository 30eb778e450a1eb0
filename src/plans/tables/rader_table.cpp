// The Rader rows. Each is the factorisation, in the rules of the networks,
// that gives the operation counts of the plan table of its family; where
// the order inside a half is free it is the one that gives those counts.
#include "tables/rader_table.h"

#include <stdexcept>
#include <vector>

namespace qrbgen::plans {

namespace {

// Complex kernels. The odd bins of 17, 37, 41 and 53 take O(H) with a first
// factor 2: the dual then ends in rotation pairs, whose products can take
// exchanged operands at the join of the top.
const std::vector<RaderRow> kComplex = {
    {7, 3, "G(2,3)", "3", "3"},
    {11, 2, "G(5,2)", "5", "5"},
    {13, 2, "G(3,4)", "G(3,2)", "O(3,2)"},
    {17, 3, "C(C(4,2),2)", "C(4,2)", "O(2,4)"},
    {19, 2, "G(2,C(3,3))", "C(3,3)", "C(3,3)"},
    {23, 5, "G(2,11)", "R11", "R11"},
    {29, 2, "G(4,7)", "G(2,7)", "O(7,2)"},
    {31, 3, "G(3,5,2)", "G(5,3)", "G(5,3)"},
    {37, 2, "G(4,C(3,3))", "G(2,C(3,3))", "O(2,C(3,3))"},
    {41, 6, "G(5s,C(4,2))", "G(5s,4)", "O(2,G(5,2))"},
    {43, 3, "G(2,7,3)", "G(3,7)", "C(7,3)"},
    {47, 5, "G(R23,2)", "R23", "R23"},
    {53, 2, "G(R13,4)", "G(R13,2)", "O(2,R13)"},
    {59, 2, "G(R29,2)", "R29[G(4,7);G(7,2);O(2,7)]", "R29[G(4,7);G(7,2);O(2,7)]"},
    {61, 2, "G(3,4,5)", "G(5,3,2)", "O(G(5,3),2)"},
};

// Prime factors inside the 32fc split-form kernels: the odd bins of 13 and
// 29 take O(H) without twiddles, the real-weighted 5-point steps of 31 and
// of the 11-point networks inside 23 the sum-difference form.
const std::vector<RaderRow> kSplit = {
    {11, 2, "G(5,2)", "5", "5"},
    {13, 2, "G(4,3)", "G(2,3)", "OG(3,2)"},
    {17, 3, "C(4,4)", "C(2,4)", "O(2,4)"},
    {19, 2, "G(2,C(3,3))", "C(3,3)", "C(3,3)"},
    {23, 5, "G(2,11)", "R11[G(5s,2);5;5]", "R11[G(5s,2);5;5]"},
    {29, 2, "G(4,7)", "G(2,7)", "OG(7,2)"},
    {31, 3, "G(3,5s,2)", "G(5,3)", "G(5,3)"},
};

// Forward real kernels: the first transforms of their table, the even bins
// by the inverse plan of length H (the dual of its mirror), the odd bins of
// even H in the factor orders of that table. A prime network inside a half
// takes the inverse rows below.
const std::vector<RaderRow> kReal = {
    {7, 3, "G(2,3)", "3", "3"},
    {11, 2, "G(5,2)", "5", "5"},
    {13, 2, "G(3,4)", "G(3,2)", "O(3,2)"},
    {17, 3, "C(4,4)", "C(2,4)", "O(2,4)"},
    {19, 2, "G(C(3,3),2)", "C(3,3)", "C(3,3)"},
    {23, 5, "G(2,11)", "R11", "R11"},
    {29, 2, "G(7,4)", "G(7,2)", "O(7,2)"},
    {31, 3, "G(3,2,5)", "G(5,3)", "G(5,3)"},
    {37, 2, "G(4,C(3,3))", "G(C(3,3),2)", "O(C(3,3),2)"},
    {41, 6, "G(5,C(4,2))", "G(4,5)", "O(5,4)"},
    {43, 3, "G(2,7,3)", "G(7,3)", "G(7,3)"},
    {47, 5, "G(R23,2)", "R23", "R23"},
    // The odd bins of 53 keep the forward rows of 13, which take fewer
    // operations there.
    {53, 2, "G(4,R13)", "G(R13,2)", "O(R13[G(3,4);G(3,2);O(3,2)],2)"},
    {59, 2, "G(R29,2)", "R29", "R29"},
    {61, 2, "G(3,5,4)", "G(2,5,3)", "O(G(5,3),2)"},
};

// Inverse real kernels, as the forward networks they are the duals of: the
// first transform is the mirror of the last transform of the inverse
// kernel, the even bins the dual of its first transform (the forward plan
// of length H).
const std::vector<RaderRow> kRealInverse = {
    {11, 2, "G(5,2)", "5", "5"},
    {13, 2, "G(4,3)", "G(3,2)", "O(2,3)"},
    {17, 3, "C(4,4)", "8", "O(2,4)"},
    {19, 2, "G(C(3,3),2)", "C(3,3)", "C(3,3)"},
    {23, 5, "G(2,11)", "11", "11"},
    {29, 2, "G(4,7)", "G(2,7)", "O(7,2)"},
    {31, 3, "G(5,G(3,2))", "G(3,5)", "G(3,5)"},
    {37, 2, "G(4,C(3,3))", "G(2,C(3,3))", "O(C(3,3),2)"},
    {41, 6, "G(8,5)", "G(5,4)", "O(5,4)"},
    {43, 3, "G(7,G(2,3))", "G(7,3)", "G(7,3)"},
    {47, 5, "G(2,R23)", "R23", "R23"},
    {53, 2, "G(4,R13)", "G(R13,2)", "O(R13,2)"},
    {59, 2, "G(R29,2)", "R29", "R29"},
    {61, 2, "G(5,G(3,4))", "G(5,3,2)", "O(G(5,3),2)"},
};

}  // namespace

RaderFamily halfFamily(RaderFamily f) {
    if (f == RaderFamily::Real) return RaderFamily::RealInverse;
    if (f == RaderFamily::RealInverse) return RaderFamily::Real;
    return f;
}

const RaderRow& raderRow(int p, RaderFamily family) {
    const auto& rows = family == RaderFamily::Complex ? kComplex
                       : family == RaderFamily::Split ? kSplit
                       : family == RaderFamily::Real  ? kReal
                                                      : kRealInverse;
    for (const RaderRow& r : rows)
        if (r.p == p) return r;
    throw std::invalid_argument("no Rader row for " + std::to_string(p));
}

}  // namespace qrbgen::plans
