// The stand-alone prime kernels of 32fc in split registers: the complex
// Rader form and the chirp form.
#pragma once
#include <string>

#include "rules/kernel.h"

namespace qrbgen::plans {

// A prime p in complex Rader form (plan "Rp"): the halves come from the
// 32fc prime table.
KernelDag buildRader32fc(const KernelDesc& k, const SchemeRow& s, const std::string& plan);

// A prime p in chirp form (plan "chirp p").
KernelDag buildChirp32fc(const KernelDesc& k, const SchemeRow& s, const std::string& plan);

}  // namespace qrbgen::plans
