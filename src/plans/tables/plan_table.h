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

}  // namespace qrbgen::plans
