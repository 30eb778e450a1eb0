// The rows of the 32fc prime kernels. The factor orders of the halves are
// those of the plan table's counts; a composite factor is one step. The
// second half mirrors the first: its factors in reverse order, and at 53
// the even bins of the nested 13-point network too.
#include "tables/prime32_table.h"

namespace qrbgen::plans {

namespace {

const ComplexRaderRow kComplexRader[] = {
    {7, 3, "G(2,3)", "G(3,2)"},
    {11, 2, "G(5,2)", "G(2,5)"},
    {13, 2, "G(4,3)", "G(3,4)"},
    {17, 3, "C(4,4)", "C(4,4)"},
    {19, 2, "C(G(3,2),3)", "C(3,G(3,2))"},
    {23, 5, "G(2,11)", "G(11,2)"},
    {29, 2, "G(4,7)", "G(7,4)"},
    {31, 3, "G(5,2,3)", "G(3,G(5,2))"},
    {37, 2, "G(4,C(3,3))", "G(C(3,3),4)"},
    {41, 6, "C(G(5,2),4)", "C(4,G(5,2))"},
    {43, 3, "G(7,2,3)", "G(3,G(7,2))"},
    {53, 2, "G(4,R13)", "G(R13[G(3,4);G(3,2);OG(2,3)],4)"},
    {61, 2, "C(4,G(5,3))", "C(G(5,3),4)"},
};

// The first transform starts with a 3-point (L = 96) or 4-point (L = 128)
// step at stride 32 elements, of which only the first two inputs can hold
// data, and goes on by radix 2.
const ChirpRow kChirp[] = {
    {47, 96, "G(3,8)", "C(2,G(4,3))"},
    {59, 128, "C(4,8)", "C(8,4)"},
};

}  // namespace

const ComplexRaderRow* complexRaderRow(int p) {
    for (const ComplexRaderRow& r : kComplexRader)
        if (r.p == p) return &r;
    return nullptr;
}

const ChirpRow* chirpRow(int p) {
    for (const ChirpRow& r : kChirp)
        if (r.p == p) return &r;
    return nullptr;
}

}  // namespace qrbgen::plans
