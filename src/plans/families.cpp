#include "families.h"

namespace qrbgen::plans {

namespace {

// Families whose kernels are written by hand rather than generated say here
// whether they are part of the library yet.
constexpr bool kWhtBuilt = true;
constexpr bool kDct4Built = true;

std::function<std::string(int)> fixed(const std::string& p) {
    return [p](int) { return p; };
}
std::function<bool(int)> always(bool b) {
    return [b](int) { return b; };
}
std::function<bool(int)> in(const std::set<int>& s) {
    return [s](int n) { return s.count(n) != 0; };
}

}  // namespace

std::string memberName(const Family& f, int size) {
    std::string s = f.pattern;
    auto pos = s.find("{N}");
    if (pos != std::string::npos) s.replace(pos, 3, std::to_string(size));
    return s;
}

std::vector<Family> families(const BuiltKernels& dft) {
    const std::string c32 = "const Qrbg32fc* src, Qrbg32fc* dst, int32_t flag";
    const std::string c64 = "const Qrbg64fc* src, Qrbg64fc* dst, int32_t flag";
    const std::string r32 = "const Qrbg32f* src, Qrbg32f* dst, int32_t flag";
    const std::string r64 = "const Qrbg64f* src, Qrbg64f* dst, int32_t flag";
    std::vector<Family> f;
    f.push_back({"qrbgenGetLibVersion", "const LibVersion*", fixed("void"), 0, 0, always(true),
                 "The library's constant version record; the same pointer on every call."});

    f.push_back({"qrbgDFTFwd_CToC_{N}_32fc", "Status", fixed(c32), 2, 64, in(dft.fwd32fc),
                 "Forward complex DFT of length N: X[k] = s * sum x[n] exp(-2 pi i nk/N)."});
    f.push_back({"qrbgDFTInv_CToC_{N}_32fc", "Status", fixed(c32), 2, 64, in(dft.inv32fc),
                 "Inverse complex DFT of length N: X[k] = s * sum x[n] exp(+2 pi i nk/N)."});
    f.push_back({"qrbgDFTFwd_CToC_{N}_64fc", "Status", fixed(c64), 2, 64, in(dft.fwd64fc),
                 "Forward complex DFT of length N, double precision."});
    f.push_back({"qrbgDFTInv_CToC_{N}_64fc", "Status", fixed(c64), 2, 64, in(dft.inv64fc),
                 "Inverse complex DFT of length N, double precision."});

    for (const char* t : {"32f", "64f"}) {
        const std::string rp = std::string(t) == "32f" ? r32 : r64;
        for (const char* fmt : {"RToCCS", "RToPack", "RToPerm"})
            f.push_back({std::string("qrbgDFTFwd_") + fmt + "_{N}_" + t, "Status", fixed(rp), 2, 64,
                         always(false), "Forward real DFT of length N into a packed half spectrum."});
        for (const char* fmt : {"CCSToR", "PackToR", "PermToR"})
            f.push_back({std::string("qrbgDFTInv_") + fmt + "_{N}_" + t, "Status", fixed(rp), 2, 64,
                         always(false), "Inverse real DFT of length N from a packed half spectrum."});
        f.push_back({std::string("qrbgHartley_{N}_") + t, "Status", fixed(rp), 2, 64, always(false),
                     "Discrete Hartley transform of length N."});
    }

    for (const char* t : {"32f", "64f"}) {
        const std::string T = t;
        const std::string et = T == "32f" ? "Qrbg32f" : "Qrbg64f";
        const std::string base = "const " + et + "* src, " + et + "* dst, int32_t flag";
        f.push_back({"qrbgWHT_{N}_" + T, "Status",
                     [base](int order) { return order <= 3 ? base : base + ", uint8_t* buffer"; }, 1, 13,
                     always(kWhtBuilt),
                     "Walsh-Hadamard transform of 2^order elements; from order 8 on `buffer` is the scratch "
                     "(null: allocated per call)."});
        f.push_back({"qrbgWHTGetBufferSize_" + T, "Status", fixed("int32_t order, int32_t* size"), 0, 0,
                     always(kWhtBuilt), "Scratch size in bytes of a WHT order (0 below order 8)."});
        f.push_back({"qrbgWHT_" + T, "Status",
                     fixed("const " + et + "* src, " + et + "* dst, int32_t order, int32_t flag, uint8_t* buffer"),
                     0, 0, always(kWhtBuilt), "WHT of any order 1 to 13, forwarded to the kernel of that order."});
    }

    for (const char* t : {"32f", "64f"}) {
        const std::string T = t;
        const std::string et = T == "32f" ? "Qrbg32f" : "Qrbg64f";
        f.push_back({"qrbgDCT4GetSize_" + T, "Status", fixed("int32_t len, int32_t* pSize"), 0, 0,
                     always(kDct4Built), "Size in bytes of the block that holds a DCT-IV plan of length len."});
        f.push_back({"qrbgDCT4Init_" + T, "Status", fixed("Dct4Spec** ppSpec, int32_t len, uint8_t* pMem"),
                     0, 0, always(kDct4Built), "Builds a DCT-IV plan in a block of the caller's."});
        f.push_back({"qrbgDCT4InitAlloc_" + T, "Status", fixed("Dct4Spec** ppSpec, int32_t len"), 0, 0,
                     always(kDct4Built), "Allocates a block with qrbMalloc and builds a DCT-IV plan in it."});
        f.push_back({"qrbgDCT4_" + T, "Status",
                     fixed("const " + et + "* pSrc, " + et + "* pDst, Dct4Spec* pSpec"), 0, 0, always(kDct4Built),
                     "Type-IV DCT without scaling: y[k] = sum x[n] cos(pi/N (n+1/2)(k+1/2))."});
        f.push_back({"qrbgDCT4Free_" + T, "Status", fixed("Dct4Spec* pSpec"), 0, 0, always(kDct4Built),
                     "Tears down a plan made by InitAlloc and releases its block with qrbFree."});
    }

    for (const char* name : {"qrbgDFTFwd_CToC_32fc", "qrbgDFTInv_CToC_32fc"})
        f.push_back({name, "Status", fixed("const Qrbg32fc* src, Qrbg32fc* dst, int32_t len, int32_t flag"),
                     0, 0, always(false), "Complex DFT of any length 2 to 64."});
    for (const char* name : {"qrbgDFTFwd_CToC_64fc", "qrbgDFTInv_CToC_64fc"})
        f.push_back({name, "Status", fixed("const Qrbg64fc* src, Qrbg64fc* dst, int32_t len, int32_t flag"),
                     0, 0, always(false), "Complex DFT of any length 2 to 64."});
    for (const char* t : {"32f", "64f"}) {
        const std::string T = t;
        const std::string et = T == "32f" ? "Qrbg32f" : "Qrbg64f";
        const std::string p = "const " + et + "* src, " + et + "* dst, int32_t len, int32_t flag";
        for (const char* fam : {"DFTFwd_RToCCS", "DFTFwd_RToPack", "DFTFwd_RToPerm", "DFTInv_CCSToR", "DFTInv_PackToR",
                                "DFTInv_PermToR", "Hartley"})
            f.push_back({std::string("qrbg") + fam + "_" + T, "Status", fixed(p), 0, 0, always(false),
                         "Real or Hartley transform of any length 2 to 64."});
    }
    return f;
}

}  // namespace qrbgen::plans
