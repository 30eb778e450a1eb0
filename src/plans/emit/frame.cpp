// The frame every kernel shares: argument tests in their order, the scale
// of the flag, the memory forms. What varies by kind comes from the
// registry (the flag table and the rule of the scale constants), what
// varies by register scheme from the scheme table.
#include <cmath>
#include <sstream>
#include <stdexcept>

#include "emit/literals.h"
#include "emit/printers.h"
#include "ir/trig.h"

namespace qrbgen::plans {

std::string bodyName(const KernelDesc& k) { return "body_" + baseName(k); }
std::string valueName(int id) { return "v" + std::to_string(id); }

namespace {

const char* flagName(int flag) {
    switch (flag) {
        case 1: return "ScaleFwdByN";
        case 2: return "ScaleInvByN";
        case 4: return "ScaleBySqrtN";
        case 8: return "ScaleNone";
    }
    throw std::logic_error("unknown flag");
}

ScaleSel selected(const FlagTable& t, int flag) {
    switch (flag) {
        case 1: return t.fwdByN;
        case 2: return t.invByN;
        case 4: return t.bySqrtN;
        default: return t.none;
    }
}

// The literal of a scale constant, by the kind's rule: the complex kernels
// hold the double expressions 1.0/N and 1.0/sqrt(N), rounded once to
// single; the real families hold 1/N and 1/sqrt(N) correctly rounded to
// their element type.
std::string scaleLiteral(const KernelDesc& k, ScaleSel sel) {
    const bool single = isSingle(k.type);
    if (sel == ScaleSel::One) return single ? "1.0f" : "1.0";
    if (kindRow(k.kind).scaleRule == ScaleRule::DoubleExpr) {
        const double v = sel == ScaleSel::InvN ? 1.0 / k.n : 1.0 / std::sqrt(static_cast<double>(k.n));
        return litIn(v, single);
    }
    const DD v = sel == ScaleSel::InvN ? fracDD(1, k.n) : sqrtFracDD(1, k.n);
    return single ? litF(roundToFloat(v)) : lit(v.hi + v.lo);
}

// The scale pool of a vector body: a row for each of 1, 1/N and 1/sqrt(N),
// in that order, the value in every lane. The flag selects a row, so the
// scale reaches the registers by one aligned load, not by lane moves.
std::string scalePool(const KernelDesc& k, int lanes, const std::string& name, int align) {
    std::ostringstream o;
    o << "alignas(" << align << ") const " << realCType(k.type) << " " << name << "[3][" << lanes << "] = {\n";
    for (ScaleSel sel : {ScaleSel::One, ScaleSel::InvN, ScaleSel::InvSqrtN}) {
        o << "    {";
        for (int l = 0; l < lanes; ++l) o << (l ? ", " : "") << scaleLiteral(k, sel);
        o << "},\n";
    }
    o << "};\n\n";
    return o.str();
}

// The tests that follow the choice of memory form: src, dst, then the flag,
// which selects the scale s of the element precision (a scalar, or the row
// of the scale pool `pool`, read through `opaque`). No branch follows.
std::string argumentTests(const KernelDesc& k, int scaleLanes, const std::string& pool = "",
                          const std::string& opaque = "qrbg::opaque") {
    const FlagTable t = flagTable(k);
    std::ostringstream o;
    o << "    if (src == nullptr) return StatusNullPointer;\n";
    o << "    if (dst == nullptr) return StatusNullPointer;\n";
    if (scaleLanes == 0) o << "    " << realCType(k.type) << " s;\n";
    else o << "    const " << realCType(k.type) << "* s;\n";
    o << "    switch (flag) {\n";
    for (int flag : t.order) {
        const ScaleSel sel = selected(t, flag);
        o << "        case " << flagName(flag) << ": s = ";
        if (scaleLanes == 0) o << scaleLiteral(k, sel);
        else o << pool << "[" << static_cast<int>(sel) << "]";
        o << "; break;\n";
    }
    o << "        default: return StatusBadFlag;\n";
    o << "    }\n";
    if (scaleLanes != 0) o << "    s = " << opaque << "(s);\n";
    return o.str();
}

}  // namespace

std::string printFrame(const KernelDag& kd, const SchemeRow& s, const BodyInfo& body, bool bound) {
    const KernelDesc& k = kd.desc;
    const std::string twin = internalName(k, "unaligned"), fn = bodyName(k);
    // A kernel with wide variants is, where they exist, one of them: an
    // internal function that the exported name is bound to when the
    // library loads.
    const std::string name = bound ? "QRBG_SSE2_ENTRY(" + kernelName(k) + ", " + internalName(k, "sse2") + ")"
                                   : "QRBG_API Status " + kernelName(k);
    const std::string elem = elemCType(k.type), real = realCType(k.type);
    const std::string sig = "(const " + elem + "* src, " + elem + "* dst, int32_t flag)";
    const std::string pool = "kS_" + baseName(k);
    const std::string tests = argumentTests(k, body.scaleLanes, pool);
    const std::string args = "(reinterpret_cast<const " + real + "*>(src), reinterpret_cast<" + real + "*>(dst), s);\n";
    std::ostringstream o;
    if (body.scaleLanes != 0) o << scalePool(k, body.scaleLanes, pool, 16);
    if (!s.memoryForms) {
        o << "}  // namespace\n\n";
        o << "extern \"C\" " << name << sig << " {\n" << tests;
        o << "    " << fn << args << "    return StatusOk;\n}\n";
    } else if (k.n >= s.separateTwinFrom) {
        // The unaligned form is a function of its own, which makes the same
        // tests itself; the exported kernel chooses the form first.
        o << "QRBG_NOINLINE Status " << twin << sig << " {\n" << tests;
        o << "    " << fn << "<false>" << args << "    return StatusOk;\n}\n\n";
        o << "}  // namespace\n\n";
        o << "extern \"C\" " << name << sig << " {\n";
        o << "    if (qrbg::misaligned(src, dst)) return " << twin << "(src, dst, flag);\n" << tests;
        o << "    " << fn << "<true>" << args << "    return StatusOk;\n}\n";
    } else {
        o << "}  // namespace\n\n";
        o << "extern \"C\" " << name << sig << " {\n";
        o << "    const bool aligned = !qrbg::misaligned(src, dst);\n" << tests;
        o << "    if (aligned) " << fn << "<true>" << args;
        o << "    else " << fn << "<false>" << args;
        o << "    return StatusOk;\n}\n";
    }
    return o.str();
}

std::string printVariantFrame(const KernelDag& kd, const BodyInfo& body, const std::string& variant, int align) {
    const KernelDesc& k = kd.desc;
    const std::string elem = elemCType(k.type), real = realCType(k.type);
    const std::string pool = "kS_" + baseName(k) + "_" + variant;
    std::ostringstream o;
    if (body.scaleLanes != 0) o << scalePool(k, body.scaleLanes, pool, align);
    o << "}  // namespace\n\n";
    o << "extern \"C\" __attribute__((visibility(\"hidden\"))) Status " << internalName(k, variant) << "(const " << elem
      << "* src, " << elem << "* dst, int32_t flag) {\n";
    o << argumentTests(k, body.scaleLanes, pool, "qrbg::wide::opaque");
    o << "    " << bodyName(k) << "(reinterpret_cast<const " << real << "*>(src), reinterpret_cast<" << real
      << "*>(dst), s);\n    return StatusOk;\n}\n";
    return o.str();
}

BodyInfo printBody(const KernelDag& k, const SchemeRow& s) {
    switch (s.id) {
        case SchemeId::Pair64fc: return printPair64(k);
        case SchemeId::Split32fc: return printSplit32(k);
        case SchemeId::Scalar32fc:
        case SchemeId::Scalar64f:
        case SchemeId::Scalar32f: return printScalar(k, s);
    }
    throw std::logic_error("unknown register scheme");
}

std::string printKernel(const KernelDag& k, const SchemeRow& s, bool bound) {
    const BodyInfo body = printBody(k, s);
    return body.text + printFrame(k, s, body, bound);
}

}  // namespace qrbgen::plans
