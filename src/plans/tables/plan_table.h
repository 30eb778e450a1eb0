// Plan table of the complex kernels (data) and its row type.
#pragma once
#include <string>
#include <vector>

namespace qrbgen::plans {

struct Counts32fc {
    int add, sub, mul, shuffles;
};
struct Counts64fc {
    int add, sub, mul, exchanges, masks;
};

struct PlanRow {
    int n;
    const char* plan32fc;
    Counts32fc counts32fc;
    const char* plan64fc;
    Counts64fc counts64fc;
};

const std::vector<PlanRow>& planTable();
const PlanRow* planRow(int n);
bool inverseSplitDiffers64fc(int n);

// Lengths at which the inverse kernel is the forward kernel read backwards,
// inverse X[k] = forward X[(N-k) mod N] bit for bit ("reversal"), and at
// which it is the forward kernel of the input with real and imaginary parts
// exchanged, with the parts of the result exchanged ("exchange"). Both
// follow from the structure of the plans.
bool reversalIdentity(bool single, int n);
bool exchangeIdentity(bool single, int n);

}  // namespace qrbgen::plans
