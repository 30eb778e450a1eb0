// Every choice of the generator that is a setting rather than a rule, in
// one place: which register scheme computes which kernels, with its
// thresholds and options.
#pragma once

#include "registry/kinds.h"

namespace qrbgen::plans {

// The lengths of the fixed-size kernels.
inline constexpr int kMinLength = 2;
inline constexpr int kMaxLength = 64;

enum class SchemeId { Pair64fc, Scalar32fc, Split32fc };

// A register scheme: how the values of a kernel sit in registers, for which
// element type and lengths, and its options.
struct SchemeRow {
    SchemeId id;
    const char* name;
    Type type;
    int minN, maxN;
    // Aligned and unaligned memory forms; the unaligned one is a separate
    // function from this length on, and a second copy of the body inside the
    // exported function below it.
    bool memoryForms;
    int separateTwinFrom;
    // X[0] of a direct 5-point leaf as (x0 + a) + b instead of x0 + (a + b).
    bool five0Left;
    // Lane moves of the scale broadcast; -1 when the scale stays a scalar.
    // The vector schemes load the scale ready-made from a pool row: 0.
    int splatMoves;
    // Every load at the top of the kernel, for kernels in which an output
    // does not depend on every input slot (the scalar kernels split a value
    // into its real and imaginary part).
    bool loadsFirst;
};

inline constexpr SchemeRow kSchemes[] = {
    // 64fc: one complex value per register; lengths 2 to 4 carry both forms
    // inside the exported function, where a call would cost more than the
    // transform.
    {SchemeId::Pair64fc, "pair", Type::C64, 2, 64, true, 5, false, 0, false},
    // 32fc up to 5 points: scalar, single elements move at any address.
    {SchemeId::Scalar32fc, "scalar", Type::C32, 2, 5, false, 0, true, -1, true},
    // 32fc from 6 points: split registers of four lanes; the scale comes in
    // all four lanes from its pool row (the plan table's shuffle counts
    // include a broadcast of two lane moves that the kernels do not need).
    {SchemeId::Split32fc, "split", Type::C32, 6, 64, true, 0, false, 0, false},
};

}  // namespace qrbgen::plans
