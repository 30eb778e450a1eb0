// The exported functions of the library, in the order of the public
// header: the fixed-size kernels and general entries from the registry, and
// the hand-written families beside them.
#pragma once
#include <functional>
#include <string>
#include <vector>

#include "registry/kinds.h"

namespace qrbgen::plans {

struct Declaration {
    std::string doc;  // a comment before the first of a group, or empty
    std::string ret, name, params;
};

// A group of kernels: one kind, type and direction, all lengths.
struct KernelGroup {
    KernelDesc first;  // the member of length 2
    std::vector<KernelDesc> members() const;
};
std::vector<KernelGroup> kernelGroups();

// The C parameter list of a kernel, and of the general entry of its group.
std::string kernelParams(const KernelDesc& k);
std::string generalParams(const KernelDesc& k);

// Every exported function, given which kernels are built. A general entry
// exists when every member of its group does.
std::vector<Declaration> exportedFunctions(const std::function<bool(const KernelDesc&)>& built);

}  // namespace qrbgen::plans
