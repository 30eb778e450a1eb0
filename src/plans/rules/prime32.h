// The stand-alone prime kernels of 32fc in split registers: the complex
// Rader form and the chirp form.
#pragma once
#include <string>

#include "rules/kernel.h"

namespace qrbgen::plans {

// A prime p in complex Rader form (plan "Rp"): the halves come from the
// 32fc prime table.
KernelDag buildRader32fc(const KernelDesc& k, const SchemeRow& s, const std::string& plan);

// How the first transform of the chirp form leaves out its zero tail: by
// element, every lane from p on being an exact zero (the kernels), or by
// whole inputs of its first step only, the elements from 2L/3 (L = 96) or
// L/2 (L = 128) on, the rows before them being transformed as data (the
// plan table counts the operations so).
enum class ChirpPruning { ByElement, ByFirstStep };

// A prime p in chirp form (plan "chirp p").
KernelDag buildChirp32fc(const KernelDesc& k, const SchemeRow& s, const std::string& plan,
                         ChirpPruning pruning = ChirpPruning::ByElement);

}  // namespace qrbgen::plans
