// Emitters: one per element form, each turning a kernel DAG into C++ with
// the exported kernel, its argument tests and its memory forms.
#pragma once
#include <string>

#include "kernel.h"

namespace qrbgen::plans {

// Exported and internal function names of a complex kernel.
std::string dftName(const KernelDag& k);
std::string dftUnalignedName(const KernelDag& k);

// 64fc pair form (memory forms inside the exported function for
// N = 2..4, a separate unaligned twin from N = 5 on).
std::string emitPair64fc(const KernelDag& k);

// 32fc scalar kernels of lengths 2 to 5: single and double arithmetic mixed
// by the rule that a value with several consumers is held as a single and a
// product with a double constant keeps its expression in double.
std::string emitScalar32fc(const KernelDag& k);

// 32fc lengths 6 to 64, split form; the aligned kernel and its separate
// unaligned twin.
std::string emitSplit32fc(const KernelDag& k);

// A double constant as an exact C++ literal.
std::string lit(double v);
std::string litF(float v);

}  // namespace qrbgen::plans
