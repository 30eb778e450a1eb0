// Every fixed-size kernel the generator built, as one table: what it is,
// the sizes of its arrays, its operation counts, and a uniform way to call
// it. Tests that hold for every kernel walk this table, so a new kind of
// kernel is covered as soon as it is generated.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "qrbgen.h"
#include "test_util.h"

namespace qrbtest {

enum class Kind { CToC, RToCCS, RToPack, RToPerm, CCSToR, PackToR, PermToR, Hartley };
enum class Type { F32, F64, C32, C64 };

using Invoke = Status (*)(const void* src, void* dst, int32_t flag);

template <class>
struct KernelSignature;
template <class E>
struct KernelSignature<Status (*)(const E*, E*, int32_t)> {
    using Elem = E;
};
// Calls a kernel through untyped pointers, with the kernel's own type.
template <auto F>
Status invoke(const void* src, void* dst, int32_t flag) {
    using E = typename KernelSignature<decltype(F)>::Elem;
    return F(static_cast<const E*>(src), static_cast<E*>(dst), flag);
}

struct KernelInfo {
    const char* name;
    Kind kind;
    Type type;
    int n;
    bool inverse;
    int srcElems, dstElems;  // elements of the source and destination arrays
    int add, sub, mul, xchg, mask, shuf, neg, magnitudes;
    Invoke call;

    // Bytes of one element, and of one real in it.
    std::size_t elemBytes() const { return type == Type::F32 ? 4 : type == Type::C64 ? 16 : 8; }
    std::size_t realBytes() const { return type == Type::F32 || type == Type::C32 ? 4 : 8; }
    bool single() const { return realBytes() == 4; }
    std::size_t srcBytes() const { return elemBytes() * static_cast<std::size_t>(srcElems); }
    std::size_t dstBytes() const { return elemBytes() * static_cast<std::size_t>(dstElems); }
    bool complexKind() const { return kind == Kind::CToC; }
    // Whether the kernel runs in the inverse direction.
    bool inverseDirection() const {
        return kind == Kind::CToC ? inverse : kind == Kind::CCSToR || kind == Kind::PackToR || kind == Kind::PermToR;
    }
};

inline const std::vector<KernelInfo>& allKernels() {
    static const std::vector<KernelInfo> v = {
#define QRBG_KERNEL(f, kind, type, n, inv, se, de, add, sub, mul, xchg, mask, shuf, neg, mag) \
    {#f, Kind::kind, Type::type, n, inv, se, de, add, sub, mul, xchg, mask, shuf, neg, mag, invoke<f>},
#include "kernels.inc"
#undef QRBG_KERNEL
    };
    return v;
}

// The kernel of a kind, type, length and direction; null if none is built.
inline const KernelInfo* findKernel(Kind kind, Type type, int n, bool inverse) {
    for (const KernelInfo& k : allKernels())
        if (k.kind == kind && k.type == type && k.n == n && k.inverse == inverse) return &k;
    return nullptr;
}

// The complex kernels of a type as {forward, inverse} pairs, by length.
inline std::vector<std::pair<const KernelInfo*, const KernelInfo*>> complexPairs(Type type) {
    std::vector<std::pair<const KernelInfo*, const KernelInfo*>> v;
    for (const KernelInfo& k : allKernels())
        if (k.kind == Kind::CToC && k.type == type && !k.inverse) v.push_back({&k, findKernel(Kind::CToC, type, k.n, true)});
    return v;
}

// Random input of a kernel as bytes: reals in [-1, 1], as many as its source holds.
inline std::vector<unsigned char> randomInput(const KernelInfo& k, std::uint32_t seed) {
    std::vector<unsigned char> bytes(k.srcBytes());
    if (k.single()) std::memcpy(bytes.data(), randomReals<float>(bytes.size() / 4, seed).data(), bytes.size());
    else std::memcpy(bytes.data(), randomReals<double>(bytes.size() / 8, seed).data(), bytes.size());
    return bytes;
}

// Where R(k) stands in a real spectrum (I(k) follows it): CCS holds R(k),
// I(k) at 2k, 2k+1; Pack holds R(0), then the pairs from index 1, then
// R(N/2) last for even N; Perm holds R(0), R(N/2) (even N) and then the
// pairs, and is Pack for odd N. Written out apart from the generator.
inline int reIndex(Kind kind, int n, int k) {
    const bool perm = kind == Kind::PermToR || kind == Kind::RToPerm;
    if (kind == Kind::CCSToR || kind == Kind::RToCCS) return 2 * k;
    if (k == 0) return 0;
    if (2 * k == n) return perm ? 1 : n - 1;
    return perm && n % 2 == 0 ? 2 * k : 2 * k - 1;
}

inline const int kFlags[] = {ScaleFwdByN, ScaleInvByN, ScaleBySqrtN, ScaleNone};
inline const int kBadFlags[] = {0, 3, 5, 6, 7, 9, 12, 16, -1};

// The scale a kernel applies under a flag, as a long double: 1, 1/N or
// 1/sqrt(N). A flag names the direction that carries the division; the
// Hartley transform divides under both.
inline long double scaleValue(const KernelInfo& k, int flag) {
    if (flag == ScaleBySqrtN) return 1.0L / std::sqrt(static_cast<long double>(k.n));
    const bool divides = k.kind == Kind::Hartley ? flag == ScaleFwdByN || flag == ScaleInvByN
                                                 : flag == (k.inverseDirection() ? ScaleInvByN : ScaleFwdByN);
    return divides ? 1.0L / k.n : 1.0L;
}

// The scale constant a kernel holds, in its precision: the complex kernels
// hold the double expressions 1.0/N and 1.0/sqrt(N) rounded once to single,
// the real families the correctly rounded values.
template <class T>
T scaleConstant(const KernelInfo& k, int flag) {
    if (k.complexKind()) {
        double s = 1.0;
        if (flag == ScaleBySqrtN) s = 1.0 / std::sqrt(static_cast<double>(k.n));
        else if (scaleValue(k, flag) != 1.0L) s = 1.0 / k.n;
        return static_cast<T>(s);
    }
    return static_cast<T>(scaleValue(k, flag));
}

}  // namespace qrbtest
