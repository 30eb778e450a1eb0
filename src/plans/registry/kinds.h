// What names one fixed-size kernel, and the registry of kernel kinds.
//
// A kernel kind is a row of the registry: its name parts, the element types
// it exists in, how it reads the flag, how its network is built and where
// its values live in the caller's arrays. Everything that lists kernels (the
// public header, the export list, the generated sources, the test tables,
// the general entries) walks this registry, so a new kind is one row, one
// builder and one layout.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace qrbgen::plans {

enum class Kind : std::uint8_t { CToC, RToCCS, RToPack, RToPerm, CCSToR, PackToR, PermToR, Hartley };

// Element types, named by their suffix: 32f, 64f, 32fc, 64fc.
enum class Type : std::uint8_t { F32, F64, C32, C64 };

// One fixed-size kernel.
struct KernelDesc {
    Kind kind;
    Type type;
    int n;
    bool inverse;  // the direction of a complex kernel; the real kinds carry theirs in the kind
};

const char* typeSuffix(Type t);
bool isSingle(Type t);
bool isComplex(Type t);
// The C type of one element, e.g. "Qrbg32fc", and of one real in it.
const char* elemCType(Type t);
const char* realCType(Type t);

// The transform and format parts of a name: "DFTFwd", "CToC".
std::string transformName(const KernelDesc& k);
const char* formatName(Kind k);

// The one naming rule: qrbg<Transform>_<Format>_<N>_<Type>, with the format
// left out where a kind has none (Hartley).
std::string baseName(const KernelDesc& k);      // DFTFwd_CToC_13_32fc
std::string kernelName(const KernelDesc& k);    // qrbgDFTFwd_CToC_13_32fc
std::string internalName(const KernelDesc& k, const std::string& role);  // owngDFTFwd_CToC_13_32fc_<role>
// The general entry of a kind and type: the same name without the length.
std::string generalEntryName(const KernelDesc& k);

// What a flag selects.
enum class ScaleSel : std::uint8_t { One, InvN, InvSqrtN };

// How a kind reads the flags: the scale that each flag selects, and the
// order in which the flag values are tested.
struct FlagTable {
    ScaleSel fwdByN, invByN, bySqrtN, none;
    int order[4];  // flag values in order of testing
};

// How the scale constants of a kind are made.
enum class ScaleRule : std::uint8_t {
    DoubleExpr,      // the double expressions 1.0/N and 1.0/sqrt(N), rounded once to single
    CorrectlyRounded // 1/N and 1/sqrt(N) correctly rounded to the element type
};

// A row of the registry.
struct KindRow {
    Kind kind;
    std::vector<Type> types;
    bool bothDirections;  // a complex kind exists forward and inverse
    ScaleRule scaleRule;
    // Elements of the source and destination arrays of a kernel of length n.
    int (*srcElems)(int n);
    int (*dstElems)(int n);
};

const std::vector<KindRow>& kindRegistry();
const KindRow& kindRow(Kind k);
FlagTable flagTable(const KernelDesc& k);

// Every fixed-size kernel of the library, in the order of the generated
// sources (by length, then kind, type and direction).
std::vector<KernelDesc> allKernels();

// Kernels that the generator does not build yet, as data: the one place that
// says so. Everything else must build, or the generator stops.
bool pending(const KernelDesc& k);

}  // namespace qrbgen::plans
