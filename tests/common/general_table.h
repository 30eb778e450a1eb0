// The general entries the generator built, as one table, with a uniform way
// to call them and the sizes of their arrays at each length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kernel_table.h"

namespace qrbtest {

using InvokeGeneral = Status (*)(const void* src, void* dst, int32_t len, int32_t flag);

template <class>
struct GeneralSignature;
template <class E>
struct GeneralSignature<Status (*)(const E*, E*, int32_t, int32_t)> {
    using Elem = E;
};
template <auto F>
Status invokeGeneral(const void* src, void* dst, int32_t len, int32_t flag) {
    using E = typename GeneralSignature<decltype(F)>::Elem;
    return F(static_cast<const E*>(src), static_cast<E*>(dst), len, flag);
}

// Elements of the source and destination arrays of a kind at length n: a
// CCS spectrum holds 2(n/2) + 2 reals, every other array n elements.
inline int srcElemsOf(Kind k, int n) { return k == Kind::CCSToR ? 2 * (n / 2) + 2 : n; }
inline int dstElemsOf(Kind k, int n) { return k == Kind::RToCCS ? 2 * (n / 2) + 2 : n; }
inline std::size_t elemBytesOf(Type t) { return t == Type::F32 ? 4 : t == Type::C64 ? 16 : 8; }

struct GeneralInfo {
    const char* name;
    Kind kind;
    Type type;
    bool inverse;
    InvokeGeneral call;
    std::size_t srcBytes(int n) const { return elemBytesOf(type) * static_cast<std::size_t>(srcElemsOf(kind, n)); }
    std::size_t dstBytes(int n) const { return elemBytesOf(type) * static_cast<std::size_t>(dstElemsOf(kind, n)); }
};

inline const std::vector<GeneralInfo>& allGeneralEntries() {
    static const std::vector<GeneralInfo> v = {
#define QRBG_GENERAL(f, kind, type, inv) {#f, Kind::kind, Type::type, inv, invokeGeneral<f>},
#include "general.inc"
#undef QRBG_GENERAL
    };
    return v;
}

}  // namespace qrbtest
