// Constants as exact C++ literals.
#pragma once
#include <string>

namespace qrbgen::plans {

// A double or float as an exact literal (hexadecimal, "1.0" for one).
std::string lit(double v);
std::string litF(float v);
// The literal of v in the precision of a kernel.
std::string litIn(double v, bool single);

}  // namespace qrbgen::plans
