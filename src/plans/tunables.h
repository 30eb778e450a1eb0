// Every choice of the generator that is a setting rather than a rule, in
// one place: which register scheme computes which kernels, with its
// thresholds and options.
#pragma once

#include "registry/kinds.h"

namespace qrbgen::plans {

// The lengths of the fixed-size kernels.
inline constexpr int kMinLength = 2;
inline constexpr int kMaxLength = 64;

enum class SchemeId { Pair64fc, Scalar32fc, Split32fc, Scalar64f, Scalar32f };

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
    // Every load at the top of the kernel. Otherwise a load sits right
    // before its first use, which keeps fewer values alive at once: the
    // long real networks then fit their frames (stores wait for the last
    // load either way, so src == dst stays safe).
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
    // Real, inverse real and Hartley kernels: scalar, single elements move
    // at any address. An output need not depend on every input (I(k) does
    // not on x[0]), so the loads go to the top.
    {SchemeId::Scalar64f, "scalar", Type::F64, 2, 64, false, 0, false, -1, false},
    {SchemeId::Scalar32f, "scalar", Type::F32, 2, 64, false, 0, false, -1, false},
};

// The packing pass (ir/pack.cpp). Values that meet this soon (in
// operations) after they are formed are consumed together, and packing them
// side by side would only force a gather; parallel values stay apart longer.
inline constexpr int kMinMeet = 2;
// Instances are run side by side when at least this share of the values of
// one has a partner in the other.
inline constexpr double kMinMatch = 0.5;
// How far apart in the DAG's order the greedy fill looks for partners.
inline constexpr int kFillWindow = 1024;

// Vector registers of the 16-byte kernels, which both builds compile: the
// scheduler orders their operations for both register files.
inline constexpr int kRegistersI386 = 8;
inline constexpr int kRegistersX8664 = 16;

// Wide variants of the complex kernels, x86-64 only: the i386 build keeps
// the 16-byte kernels alone. A variant packs a kernel's DAG into registers
// of several 16-byte slots (ir/pack.h) and runs the same operations on
// every slot, so it gives the same bits. Its functions are
// owng<kernel>_<name>, in kernels/len_NN_<name>.cpp, which CMake compiles
// for the variant's instruction set; the exported name is bound to the
// widest variant whose `features` (as __builtin_cpu_supports names them)
// the processor has when the library loads. The register types are those
// of the headers src/dft/wide_*.h.
//
// A variant packs each kernel in one of its packings, narrowest first: a
// wider packing replaces a narrower one when its cost is at most `maxShare`
// of the narrower one's. The cost of a packing is its wide operations, each
// counted as many times as the processor's vector data path must pass over
// it, and its gathers, each counted `kGatherCost` times.
struct Packing {
    int slots;  // 0 ends the list
    const char* type64;  // register types: pair scheme (64fc), split scheme (32fc)
    const char* type32;
};

// The scalar kernels (real and Hartley) pack values of their network side
// by side, one per lane: `slots` values per register of the lane type
// `type`, whose singles sit in registers of `singleLanes` lanes.
struct LanePacking {
    int slots;  // 0 ends the list
    const char* type;
    int singleLanes;
    double gatherCost;  // a gather against one operation (see kGatherCost)
};

struct VariantRow {
    const char* name;
    const char* features[2];  // all required; null for none
    int align;                // bytes of alignment of the constant rows
    Packing packings[3];
    double maxShare;
    int registers;  // vector registers the compiler has for the variant
    LanePacking lanes[3];
};

// Bytes the vector units of the target processors handle in one pass: an
// operation on wider registers costs several passes (AMD Zen 4 runs 64-byte
// operations as two halves).
inline constexpr int kDatapathBytes = 32;
// A gather (a move of whole slots between registers) against one wide
// operation, in the cost of a packing and when the pass's fill weighs a
// pack: it sits on the path from one operation to the next, and the moves
// across register halves take three cycles. Measured on AMD Zen 4 (best of
// batches, ns per call of the AVX-512 variant): with 1 the two-slot forms of
// 10_32fc, 16_32fc, 15_64fc, 27_64fc and 45_64fc were chosen and ran up to
// 1.5 times slower than one slot; with 1.25, 12_64fc 7.7 -> 8.5, 44_64fc
// 59.9 -> 62.7, 24_32fc 19.7 -> 21.8; with 3, 30_64fc 25.7 -> 33.5, 40_32fc
// 26.0 -> 31.9, 48_32fc 32.9 -> 36.0. With 4-slot registers, set
// kDatapathBytes to 64 on processors with full-width AVX-512 units.
inline constexpr double kGatherCost = 2.0;

// A conversion between single and double registers in a 32f kernel (a
// widening of singles or a rounding of doubles), against one operation of
// the one-value kernel, by the lanes it converts. On AMD Zen 4 conversions
// take the adders' pipes: one lane or two cost as much as an addition, four
// lanes (32-byte doubles) 1.5 additions, eight lanes 2.6 (measured, stream
// of independent conversions).
inline constexpr double conversionCost(int slots) { return slots <= 2 ? 1.0 : slots == 4 ? 1.5 : 2.6; }

// A gather of a two-lane packing of a scalar kernel moves doubles within
// 16 bytes (unpcklpd, shufpd, blendpd: one cycle on any shuffle pipe), and
// costs about one operation. Measured on AMD Zen 4 against kGatherCost for
// every width: the 123 kernels that then take two lanes ran 6 to 12 %
// faster (geometric means per family), a few short ones up to 20 % slower;
// 0.5 or 1.5 for four lanes made them slower again.
inline constexpr double kLaneGatherCost2 = 1.0;

// The stack a packing of a scalar kernel may be expected to take (values
// live at once beyond the registers, as laneSpillBytes counts them): past
// it the kernel stays one value per register. The estimate is rough: over
// all packings the compiler's frames (GCC) came to between a tenth and 1.3
// times it, so each limit is the largest that kept every frame below
// 1000 bytes, and the stack test holds them under 1 KB. 32f kernels hold
// more values beside those the estimate sees, hence their lower limit.
inline constexpr int kLaneSpillBytes64 = 900;
inline constexpr int kLaneSpillBytes32 = 800;

// A packed complex kernel is printed in the order that starts the longest
// chains first where the variant has at least kCriticalRegisters registers
// and a register allocator would then move at most kCriticalTrafficShare of
// its wide operations through the stack (stackTraffic); otherwise in the
// spill-driven order. That order keeps more values alive. Measured on AMD
// Zen 4: the AVX-512 variants so printed ran about 5 % faster (geometric
// means over the lengths it takes), 36_32fc 20 %; with a share of 0.9 the
// 62- and 64-point 64fc kernels ran 15 to 30 % slower, and with 16
// registers (AVX2) most kernels from 36 points on ran 10 to 50 % slower.
inline constexpr int kCriticalRegisters = 32;
inline constexpr double kCriticalTrafficShare = 0.4;

inline constexpr VariantRow kVariants[] = {
    // 32-byte registers, VEX encoded, or the 16-byte operations in the same
    // encoding where two slots do not pay.
    {"avx2",
     {"avx2", nullptr},
     32,
     {{1, "qrbg::wide::Vex128F64", "qrbg::wide::Vex128F32"}, {2, "qrbg::wide::Avx2F64", "qrbg::wide::Avx2F32"}},
     0.95,
     16,
     {{2, "qrbg::wide::Lanes2", 4, kLaneGatherCost2}, {4, "qrbg::wide::Lanes4", 4, kGatherCost}}},
    // 64-byte registers where the kernel's rows are long enough to pay, and
    // otherwise narrower ones in the 32 registers of AVX-512 (which takes
    // its VL extension).
    {"avx512",
     {"avx512f", "avx512vl"},
     64,
     {{1, "qrbg::wide::Vex128F64", "qrbg::wide::Vex128F32"},
      {2, "qrbg::wide::Avx2F64", "qrbg::wide::Avx2F32"},
      {4, "qrbg::wide::Avx512F64", "qrbg::wide::Avx512F32"}},
     0.95,
     32,
     {{2, "qrbg::wide::Lanes2", 4, kLaneGatherCost2},
      {4, "qrbg::wide::Lanes4", 4, kGatherCost},
      {8, "qrbg::wide::Lanes8", 8, kGatherCost}}},
};

}  // namespace qrbgen::plans
