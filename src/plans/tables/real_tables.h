// Plan tables of the real transforms and the Hartley transform (data) and
// their row types.
#pragma once
#include <vector>

namespace qrbgen::plans {

// How the operations of a 32f real kernel divide between single and double
// precision. Additions count the negations 0 - s*v; multiplications count
// the scale multiplications. Widenings are the singles converted to double
// (once per value), narrowings the roundings of a double to single.
struct Split32f {
    int singleAdds, singleMuls, doubleAdds, doubleMuls, widenings, narrowings;
    bool operator==(const Split32f&) const = default;
};

// Forward real transform of N points. Adds and Muls are the additions and
// constant multiplications of the network; Negations the outputs stored as
// 0 - s*v because the network yields -I(k).
struct ForwardRealRow {
    int n;
    const char* plan;
    int adds, muls, negations;
    Split32f split32f;
};

// Inverse real transform: the plan lists the stages in order of execution;
// Doublings are the multiplications by 2.0 that no constant absorbed.
struct InverseRealRow {
    int n;
    const char* plan;
    int adds, muls, doublings;
};

// Form A: forward network, then R(k) -/+ I(k) at the output. Form B: the
// input folded into R'(k), I'(k), then the inverse network.
enum class HartleyForm { A, B };

struct HartleyRow {
    int n;
    HartleyForm form;
    int adds, muls;
};

const std::vector<ForwardRealRow>& forwardRealTable();
const std::vector<InverseRealRow>& inverseRealTable();
const std::vector<HartleyRow>& hartleyTable();

// The row of length n, or null.
const ForwardRealRow* forwardRealRow(int n);
const InverseRealRow* inverseRealRow(int n);
const HartleyRow* hartleyRow(int n);

}  // namespace qrbgen::plans
