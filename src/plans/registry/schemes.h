// The register scheme that computes a kernel: the first row of the scheme
// table that covers its element type and length.
#pragma once

#include "registry/kinds.h"
#include "tunables.h"

namespace qrbgen::plans {

const SchemeRow& schemeFor(const KernelDesc& k);

}  // namespace qrbgen::plans
