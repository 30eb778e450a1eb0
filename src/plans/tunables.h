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

// Wide variants of the complex kernels, x86-64 only: the i386 build keeps
// the 16-byte kernels alone. A variant packs a kernel's DAG into registers
// of `slots` 16-byte slots (ir/pack.h) and runs the same operations on
// every slot, so it gives the same bits. Its functions are
// owng<kernel>_<name>, in kernels/len_NN_<name>.cpp, which CMake compiles
// for the variant's instruction set; the exported name is bound to the
// widest variant the processor has (`feature`, as __builtin_cpu_supports
// names it) when the library loads. The register types are those of the
// variant's header (src/dft/wide_<name>.h).
struct VariantRow {
    const char* name;
    const char* feature;
    int slots;
    int align;  // bytes of alignment of the pool rows
    const char* wide64;  // register types: pair scheme, split scheme
    const char* wide32;
    // A variant whose packing takes more than this share of the operations
    // (gathers included) of the next narrower form does not pay: it runs
    // the 16-byte operations in its own encoding where it must exist
    // (`narrow` types), and does not exist otherwise.
    double maxShare;
    bool always;  // every complex kernel has it
    const char* narrow64;
    const char* narrow32;
};

inline constexpr VariantRow kVariants[] = {
    // 32-byte registers, VEX encoded: every complex kernel.
    {"avx2", "avx2", 2, 32, "qrbg::wide::Avx2F64", "qrbg::wide::Avx2F32", 0.95, true, "qrbg::wide::Vex128F64",
     "qrbg::wide::Vex128F32"},
    // 64-byte registers: where the kernel's rows are long enough to pay.
    {"avx512", "avx512f", 4, 64, "qrbg::wide::Avx512F64", "qrbg::wide::Avx512F32", 0.95, false, nullptr, nullptr},
};

}  // namespace qrbgen::plans
