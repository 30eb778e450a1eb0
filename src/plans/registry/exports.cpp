#include "registry/exports.h"

#include "tunables.h"

namespace qrbgen::plans {

std::vector<KernelDesc> KernelGroup::members() const {
    std::vector<KernelDesc> m;
    for (int n = kMinLength; n <= kMaxLength; ++n) {
        KernelDesc k = first;
        k.n = n;
        m.push_back(k);
    }
    return m;
}

std::vector<KernelGroup> kernelGroups() {
    std::vector<KernelGroup> g;
    for (const KindRow& row : kindRegistry())
        for (Type t : row.types) {
            g.push_back({KernelDesc{row.kind, t, kMinLength, false}});
            if (row.bothDirections) g.push_back({KernelDesc{row.kind, t, kMinLength, true}});
        }
    return g;
}

std::string kernelParams(const KernelDesc& k) {
    const std::string e = elemCType(k.type);
    return "const " + e + "* src, " + e + "* dst, int32_t flag";
}
std::string generalParams(const KernelDesc& k) {
    const std::string e = elemCType(k.type);
    return "const " + e + "* src, " + e + "* dst, int32_t len, int32_t flag";
}

namespace {

std::string groupDoc(const KernelDesc& k) {
    const std::string prec = isSingle(k.type) ? "single" : "double";
    switch (k.kind) {
        case Kind::CToC:
            return std::string(k.inverse ? "Inverse" : "Forward") + " complex DFT of length N, " + prec +
                   " precision: X[k] = s * sum x[n] exp(" + (k.inverse ? "+" : "-") + "2 pi i nk/N).";
        case Kind::RToCCS:
        case Kind::RToPack:
        case Kind::RToPerm:
            return "Forward real DFT of length N into the " + std::string(formatName(k.kind) + 3) +
                   " half spectrum, " + prec + " precision.";
        case Kind::CCSToR:
        case Kind::PackToR:
        case Kind::PermToR: {
            std::string f = formatName(k.kind);
            return "Inverse real DFT of length N from the " + f.substr(0, f.size() - 3) + " half spectrum, " + prec +
                   " precision.";
        }
        case Kind::Hartley: return "Discrete Hartley transform of length N, " + prec + " precision.";
    }
    return "";
}

void handWritten(std::vector<Declaration>& out) {
    for (const char* t : {"32f", "64f"}) {
        const std::string T = t, et = T == "32f" ? "Qrbg32f" : "Qrbg64f";
        const std::string base = "const " + et + "* src, " + et + "* dst, int32_t flag";
        for (int order = 1; order <= 13; ++order)
            out.push_back({order == 1 ? "Walsh-Hadamard transform of 2^order elements; from order 8 on `buffer` is the "
                                        "scratch (null: allocated per call)."
                                      : "",
                           "Status", "qrbgWHT_" + std::to_string(order) + "_" + T,
                           order <= 3 ? base : base + ", uint8_t* buffer"});
        out.push_back({"Scratch size in bytes of a WHT order (0 below order 8).", "Status", "qrbgWHTGetBufferSize_" + T,
                       "int32_t order, int32_t* size"});
        out.push_back({"WHT of any order 1 to 13, forwarded to the kernel of that order.", "Status", "qrbgWHT_" + T,
                       "const " + et + "* src, " + et + "* dst, int32_t order, int32_t flag, uint8_t* buffer"});
    }
    for (const char* t : {"32f", "64f"}) {
        const std::string T = t, et = T == "32f" ? "Qrbg32f" : "Qrbg64f";
        out.push_back({"Size in bytes of the block that holds a DCT-IV plan of length len.", "Status",
                       "qrbgDCT4GetSize_" + T, "int32_t len, int32_t* pSize"});
        out.push_back({"Builds a DCT-IV plan in a block of the caller's.", "Status", "qrbgDCT4Init_" + T,
                       "Dct4Spec** ppSpec, int32_t len, uint8_t* pMem"});
        out.push_back({"Allocates a block with qrbMalloc and builds a DCT-IV plan in it.", "Status",
                       "qrbgDCT4InitAlloc_" + T, "Dct4Spec** ppSpec, int32_t len"});
        out.push_back({"Type-IV DCT without scaling: y[k] = sum x[n] cos(pi/N (n+1/2)(k+1/2)).", "Status",
                       "qrbgDCT4_" + T, "const " + et + "* pSrc, " + et + "* pDst, Dct4Spec* pSpec"});
        out.push_back({"Tears down a plan made by InitAlloc and releases its block with qrbFree.", "Status",
                       "qrbgDCT4Free_" + T, "Dct4Spec* pSpec"});
    }
}

}  // namespace

std::vector<Declaration> exportedFunctions(const std::function<bool(const KernelDesc&)>& built) {
    std::vector<Declaration> out;
    out.push_back({"The library's constant version record; the same pointer on every call.", "const LibVersion*",
                   "qrbgenGetLibVersion", "void"});
    std::vector<KernelGroup> complete;
    for (const KernelGroup& g : kernelGroups()) {
        bool first = true, all = true;
        for (const KernelDesc& k : g.members()) {
            if (!built(k)) {
                all = false;
                continue;
            }
            out.push_back({first ? groupDoc(k) : "", "Status", kernelName(k), kernelParams(k)});
            first = false;
        }
        if (all) complete.push_back(g);
    }
    handWritten(out);
    bool first = true;
    for (const KernelGroup& g : complete) {
        out.push_back({first ? "General entries: the length as an argument, forwarded to the kernel of that length "
                               "(StatusBadSize outside 2 to 64)."
                             : "",
                       "Status", generalEntryName(g.first), generalParams(g.first)});
        first = false;
    }
    return out;
}

}  // namespace qrbgen::plans
