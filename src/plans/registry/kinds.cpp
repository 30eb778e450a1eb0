#include "registry/kinds.h"

#include <algorithm>
#include <stdexcept>

#include "tables/real_tables.h"
#include "tunables.h"

namespace qrbgen::plans {

const char* typeSuffix(Type t) {
    switch (t) {
        case Type::F32: return "32f";
        case Type::F64: return "64f";
        case Type::C32: return "32fc";
        case Type::C64: return "64fc";
    }
    return "?";
}
bool isSingle(Type t) { return t == Type::F32 || t == Type::C32; }
bool isComplex(Type t) { return t == Type::C32 || t == Type::C64; }
const char* elemCType(Type t) {
    switch (t) {
        case Type::F32: return "Qrbg32f";
        case Type::F64: return "Qrbg64f";
        case Type::C32: return "Qrbg32fc";
        case Type::C64: return "Qrbg64fc";
    }
    return "?";
}
const char* realCType(Type t) { return isSingle(t) ? "float" : "double"; }

const char* formatName(Kind k) {
    switch (k) {
        case Kind::CToC: return "CToC";
        case Kind::RToCCS: return "RToCCS";
        case Kind::RToPack: return "RToPack";
        case Kind::RToPerm: return "RToPerm";
        case Kind::CCSToR: return "CCSToR";
        case Kind::PackToR: return "PackToR";
        case Kind::PermToR: return "PermToR";
        case Kind::Hartley: return "";
    }
    return "?";
}

namespace {
bool inverseKind(const KernelDesc& k) {
    switch (k.kind) {
        case Kind::CToC: return k.inverse;
        case Kind::CCSToR:
        case Kind::PackToR:
        case Kind::PermToR: return true;
        default: return false;
    }
}
}  // namespace

std::string transformName(const KernelDesc& k) {
    if (k.kind == Kind::Hartley) return "Hartley";
    return inverseKind(k) ? "DFTInv" : "DFTFwd";
}

namespace {
std::string withFormat(const KernelDesc& k) {
    std::string s = transformName(k);
    if (*formatName(k.kind)) s += std::string("_") + formatName(k.kind);
    return s;
}
}  // namespace

std::string baseName(const KernelDesc& k) {
    return withFormat(k) + "_" + std::to_string(k.n) + "_" + typeSuffix(k.type);
}
std::string kernelName(const KernelDesc& k) { return "qrbg" + baseName(k); }
std::string internalName(const KernelDesc& k, const std::string& role) { return "owng" + baseName(k) + "_" + role; }
std::string generalEntryName(const KernelDesc& k) { return "qrbg" + withFormat(k) + "_" + typeSuffix(k.type); }

namespace {
int same(int n) { return n; }
int ccs(int n) { return 2 * (n / 2) + 2; }
int complexReals(int n) { return n; }  // elements, not reals: a complex element is one
}  // namespace

const std::vector<KindRow>& kindRegistry() {
    static const std::vector<KindRow> rows = {
        {Kind::CToC, {Type::C32, Type::C64}, true, ScaleRule::DoubleExpr, complexReals, complexReals},
        {Kind::RToCCS, {Type::F32, Type::F64}, false, ScaleRule::CorrectlyRounded, same, ccs},
        {Kind::RToPack, {Type::F32, Type::F64}, false, ScaleRule::CorrectlyRounded, same, same},
        {Kind::RToPerm, {Type::F32, Type::F64}, false, ScaleRule::CorrectlyRounded, same, same},
        {Kind::CCSToR, {Type::F32, Type::F64}, false, ScaleRule::CorrectlyRounded, ccs, same},
        {Kind::PackToR, {Type::F32, Type::F64}, false, ScaleRule::CorrectlyRounded, same, same},
        {Kind::PermToR, {Type::F32, Type::F64}, false, ScaleRule::CorrectlyRounded, same, same},
        {Kind::Hartley, {Type::F32, Type::F64}, false, ScaleRule::CorrectlyRounded, same, same},
    };
    return rows;
}

const KindRow& kindRow(Kind k) {
    for (const KindRow& r : kindRegistry())
        if (r.kind == k) return r;
    throw std::logic_error("kind without a registry row");
}

FlagTable flagTable(const KernelDesc& k) {
    using S = ScaleSel;
    // A flag names the direction that carries the division; Hartley has no
    // direction and divides under both.
    if (k.kind == Kind::Hartley) return {S::InvN, S::InvN, S::InvSqrtN, S::One, {8, 4, 1, 2}};
    if (k.kind == Kind::CToC)
        return k.inverse ? FlagTable{S::One, S::InvN, S::InvSqrtN, S::One, {1, 2, 4, 8}}
                         : FlagTable{S::InvN, S::One, S::InvSqrtN, S::One, {1, 2, 4, 8}};
    return inverseKind(k) ? FlagTable{S::One, S::InvN, S::InvSqrtN, S::One, {8, 4, 1, 2}}
                          : FlagTable{S::InvN, S::One, S::InvSqrtN, S::One, {8, 4, 1, 2}};
}

std::vector<KernelDesc> allKernels() {
    std::vector<KernelDesc> all;
    for (int n = kMinLength; n <= kMaxLength; ++n)
        for (const KindRow& row : kindRegistry())
            for (Type t : row.types) {
                all.push_back({row.kind, t, n, false});
                if (row.bothDirections) all.push_back({row.kind, t, n, true});
            }
    return all;
}

bool pending(const KernelDesc&) {
    // Every kernel of every kind is built.
    return false;
}

}  // namespace qrbgen::plans

#include "registry/schemes.h"

namespace qrbgen::plans {

const SchemeRow& schemeFor(const KernelDesc& k) {
    for (const SchemeRow& s : kSchemes)
        if (s.type == k.type && k.n >= s.minN && k.n <= s.maxN) return s;
    throw std::runtime_error("no register scheme computes " + kernelName(k));
}

}  // namespace qrbgen::plans
