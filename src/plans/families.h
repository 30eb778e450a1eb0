// The families of exported functions: the one list from which the public
// header, the library's export list and the kernel files are all made.
#pragma once
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace qrbgen::plans {

struct Family {
    std::string pattern;  // "{N}" stands for the size (length or order)
    std::string ret;      // C return type
    std::function<std::string(int)> params;  // C parameter list for a size
    int lo = 0, hi = 0;   // size range; 0, 0 for a function without size
    std::function<bool(int)> built;          // implemented so far
    std::string doc;      // one-line description for the header
};

struct BuiltKernels {
    std::set<int> fwd32fc, inv32fc, fwd64fc, inv64fc;
};

std::vector<Family> families(const BuiltKernels& dft);

// The exported name of a family member.
std::string memberName(const Family& f, int size);

}  // namespace qrbgen::plans
