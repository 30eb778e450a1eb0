#include "emit.h"

#include <cmath>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace qrbgen::plans {

std::string lit(double v) {
    if (v == 1.0) return "1.0";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%a", v);
    return buf;
}
std::string litF(float v) {
    if (v == 1.0f) return "1.0f";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%af", static_cast<double>(v));
    return buf;
}

namespace {

const char* elemSuffix(Elem e) { return e == Elem::C64 ? "64fc" : "32fc"; }

std::string baseName(const KernelDag& k) {
    return std::string(k.inverse ? "DFTInv" : "DFTFwd") + "_CToC_" + std::to_string(k.n) + "_" + elemSuffix(k.elem);
}

// The scale constants of a kernel: 1/N and 1/sqrt(N) evaluated in double.
struct Scales {
    double invN, invSqrtN;
};
Scales scales(int n) { return {1.0 / n, 1.0 / std::sqrt(static_cast<double>(n))}; }

// The flag test and scale selection: one switch, no other branch follows.
// `assign` is called with the scale's literal and must give a statement.
template <class F>
std::string flagSwitch(const KernelDag& k, F assign, bool single) {
    Scales s = scales(k.n);
    auto L = [&](double v) { return single ? litF(static_cast<float>(v)) : lit(v); };
    std::string one = single ? "1.0f" : "1.0";
    std::string byN = L(s.invN), bySqrt = L(s.invSqrtN);
    std::ostringstream o;
    o << "    switch (flag) {\n";
    o << "        case ScaleFwdByN: " << assign(k.inverse ? one : byN) << " break;\n";
    o << "        case ScaleInvByN: " << assign(k.inverse ? byN : one) << " break;\n";
    o << "        case ScaleBySqrtN: " << assign(bySqrt) << " break;\n";
    o << "        case ScaleNone: " << assign(one) << " break;\n";
    o << "        default: return StatusBadFlag;\n";
    o << "    }\n";
    return o.str();
}

// Emission order: a list schedule over the live nodes. The output side (join,
// scale, store) goes first as soon as it is ready, so results leave the
// registers early; the network follows its creation order, which walks the
// plan stage by stage and sub-transform by sub-transform; a load is taken
// only when nothing else is ready, so it sits right before its first use.
// Every output of a transform depends on every input, so all loads still
// come before the first store, which keeps src == dst safe; the scheduler
// checks it. With loadsFirst every load is emitted at the top instead (for
// kernels in which an output does not depend on every input slot).
template <class EmitNode, class EmitLoad, class EmitStore>
void schedule(const Dag& d, EmitNode emitNode, EmitLoad emitLoad, EmitStore emitStore, bool loadsFirst = false) {
    const std::size_t count = d.nodes().size();
    std::vector<bool> lv = d.live();
    std::vector<int> outSlot(count, -1);
    for (auto& o : d.outputs()) outSlot[static_cast<std::size_t>(o.second)] = o.first;
    // Values that are emitted as code: everything live but constants and the scale.
    auto isValue = [&](std::size_t i) {
        Op op = d.nodes()[i].op;
        return lv[i] && op != Op::Const && op != Op::Scale;
    };
    auto isOperand = [&](int id) { return id >= 0 && isValue(static_cast<std::size_t>(id)); };
    std::vector<int> usesLeft(count, 0), waiting(count, 0);
    std::vector<std::vector<int>> users(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (!isValue(i)) continue;
        const Node& n = d.nodes()[i];
        for (int opnd : {n.a, n.b}) {
            if (!isOperand(opnd)) continue;
            ++usesLeft[static_cast<std::size_t>(opnd)];
            ++waiting[i];
            users[static_cast<std::size_t>(opnd)].push_back(static_cast<int>(i));
        }
        if (n.a >= 0 && n.a == n.b && isOperand(n.a)) {
            // x op x: one operand slot counts once
            --usesLeft[static_cast<std::size_t>(n.a)];
            --waiting[i];
            users[static_cast<std::size_t>(n.a)].pop_back();
        }
    }
    std::vector<int> ready;
    std::vector<bool> done(count, false), queued(count, false);
    bool stored = false;
    auto emit = [&](int id) {
        const Node& n = d.node(id);
        done[static_cast<std::size_t>(id)] = true;
        if (n.op == Op::Input) {
            if (stored) throw std::logic_error("a load would follow a store");
            emitLoad(id);
        } else {
            emitNode(id);
        }
        if (outSlot[static_cast<std::size_t>(id)] >= 0) {
            emitStore(outSlot[static_cast<std::size_t>(id)], id);
            stored = true;
        }
        for (int opnd : {n.a, n.b})
            if (isOperand(opnd)) --usesLeft[static_cast<std::size_t>(opnd)];
        if (n.a >= 0 && n.a == n.b && isOperand(n.a)) ++usesLeft[static_cast<std::size_t>(n.a)];
        for (int u : users[static_cast<std::size_t>(id)])
            if (--waiting[static_cast<std::size_t>(u)] == 0 && !queued[static_cast<std::size_t>(u)]) {
                queued[static_cast<std::size_t>(u)] = true;
                ready.push_back(u);
            }
    };
    if (loadsFirst)
        for (std::size_t i = 0; i < count; ++i)
            if (isValue(i) && d.nodes()[i].op == Op::Input) {
                queued[i] = true;
                emit(static_cast<int>(i));
            }
    for (std::size_t i = 0; i < count; ++i)
        if (isValue(i) && !queued[i] && waiting[i] == 0) {
            queued[i] = true;
            ready.push_back(static_cast<int>(i));
        }
    while (!ready.empty()) {
        // Output side first, then the network in creation order (which
        // follows the plan's stages and sub-transforms), loads last.
        std::size_t best = 0;
        long long bestKey = 0;
        for (std::size_t r = 0; r < ready.size(); ++r) {
            const int id = ready[r];
            long long key = id;
            if (id >= d.outputSide()) key -= 1LL << 40;
            else if (d.node(id).op == Op::Input) key += 1LL << 40;
            if (r == 0 || key < bestKey) {
                best = r;
                bestKey = key;
            }
        }
        const int id = ready[best];
        ready[best] = ready.back();
        ready.pop_back();
        emit(id);
    }
    for (std::size_t i = 0; i < count; ++i)
        if (isValue(i) && !done[i]) throw std::logic_error("scheduler left a node out");
}

// The argument tests that follow the choice of memory form: src, dst, then
// the flag, which selects the scale s of the element precision.
std::string argumentTests(const KernelDag& k, bool single) {
    std::ostringstream t;
    t << "    if (src == nullptr) return StatusNullPointer;\n";
    t << "    if (dst == nullptr) return StatusNullPointer;\n";
    t << (single ? "    float s;\n" : "    double s;\n");
    t << flagSwitch(k, [](const std::string& l) { return "s = " + l + ";"; }, single);
    return t.str();
}

// The exported kernel around body_<base><kAligned>: the memory form is
// chosen first, either by a call of the separate unaligned twin (which makes
// the same tests itself) or inside the function; then the argument tests,
// then the body with the scale argument `scaleArg`.
std::string vectorFrame(const KernelDag& k, const char* elem, const char* real, const std::string& scaleArg,
                        bool separateTwin) {
    const std::string base = baseName(k), name = dftName(k), un = dftUnalignedName(k);
    const bool single = k.elem == Elem::C32;
    const std::string sig = std::string("(const ") + elem + "* src, " + elem + "* dst, int32_t flag)";
    const std::string tests = argumentTests(k, single);
    const std::string call = std::string("(reinterpret_cast<const ") + real + "*>(src), reinterpret_cast<" + real +
                             "*>(dst), " + scaleArg + ");\n";
    std::ostringstream o;
    if (separateTwin) {
        o << "QRBG_NOINLINE Status " << un << sig << " {\n" << tests;
        o << "    body_" << base << "<false>" << call << "    return StatusOk;\n}\n\n";
        o << "}  // namespace\n\n";
        o << "extern \"C\" QRBG_API Status " << name << sig << " {\n";
        o << "    if (qrbg::misaligned(src, dst)) return " << un << "(src, dst, flag);\n" << tests;
        o << "    body_" << base << "<true>" << call << "    return StatusOk;\n}\n";
    } else {
        o << "}  // namespace\n\n";
        o << "extern \"C\" QRBG_API Status " << name << sig << " {\n";
        o << "    const bool aligned = !qrbg::misaligned(src, dst);\n" << tests;
        o << "    if (aligned) body_" << base << "<true>" << call;
        o << "    else body_" << base << "<false>" << call;
        o << "    return StatusOk;\n}\n";
    }
    return o.str();
}

std::string v(int id) { return "v" + std::to_string(id); }

}  // namespace

std::string dftName(const KernelDag& k) { return "qrbg" + baseName(k); }
std::string dftUnalignedName(const KernelDag& k) { return "owng" + baseName(k) + "_unaligned"; }

std::string emitPair64fc(const KernelDag& k) {
    const Dag& d = k.dag;
    const std::string base = baseName(k);
    std::ostringstream o;
    // Constant table: one aligned pair per constant.
    o << "alignas(16) const double kK_" << base << "[][2] = {\n";
    for (const Constant& c : d.constants()) {
        if (c.lanes.size() == 1) o << "    {" << lit(c.lanes[0]) << ", " << lit(c.lanes[0]) << "},\n";
        else o << "    {" << lit(c.lanes[0]) << ", " << lit(c.lanes[1]) << "},\n";
    }
    if (d.constants().empty()) o << "    {0.0, 0.0},\n";
    o << "};\n\n";
    o << "template <bool kAligned>\nQRBG_INLINE void body_" << base
      << "(const double* x, double* y, __m128d vs) {\n";
    o << "    (void)vs;\n";
    schedule(
        d,
        [&](int id) {
            const Node& n = d.node(id);
            o << "    const __m128d " << v(id) << " = ";
            switch (n.op) {
                case Op::Add: o << "_mm_add_pd(" << v(n.a) << ", " << v(n.b) << ")"; break;
                case Op::Sub: o << "_mm_sub_pd(" << v(n.a) << ", " << v(n.b) << ")"; break;
                case Op::Mul:
                    if (d.node(n.a).op == Op::Scale) o << "_mm_mul_pd(" << v(n.b) << ", vs)";
                    else o << "_mm_mul_pd(" << v(n.b) << ", _mm_load_pd(kK_" << base << "[" << d.node(n.a).imm << "]))";
                    break;
                case Op::Xchg: o << "_mm_shuffle_pd(" << v(n.a) << ", " << v(n.a) << ", 1)"; break;
                case Op::Mask: o << "_mm_xor_pd(" << v(n.a) << ", qrbg::signMaskLo())"; break;
                default: throw std::logic_error("pair emitter: unexpected operation");
            }
            o << ";\n";
        },
        [&](int id) {
            o << "    const __m128d " << v(id) << " = qrbg::ld2<kAligned>(x + " << 2 * d.node(id).imm << ");\n";
        },
        [&](int slot, int id) { o << "    qrbg::st2<kAligned>(y + " << 2 * slot << ", " << v(id) << ");\n"; });
    o << "}\n\n";

    o << vectorFrame(k, "Qrbg64fc", "double", "_mm_set1_pd(s)", k.n >= 5);
    return "namespace {\n\n" + o.str();
}

std::string emitSplit32fc(const KernelDag& k) {
    const Dag& d = k.dag;
    const std::string base = baseName(k);
    std::ostringstream o;
    o << "alignas(16) const float kK_" << base << "[][4] = {\n";
    for (const Constant& c : d.constants()) {
        o << "    {";
        for (int l = 0; l < 4; ++l) {
            const double v = c.lanes.size() == 1 ? c.lanes[0] : c.lanes.at(static_cast<std::size_t>(l));
            o << (l ? ", " : "") << litF(static_cast<float>(v));
        }
        o << "},\n";
    }
    if (d.constants().empty()) o << "    {0.0f, 0.0f, 0.0f, 0.0f},\n";
    o << "};\n\n";
    o << "template <bool kAligned>\nQRBG_INLINE void body_" << base << "(const float* x, float* y, __m128 vs) {\n";
    auto at = [](const char* p, int e) { return std::string(p) + " + " + std::to_string(2 * e); };
    schedule(
        d,
        [&](int id) {
            const Node& n = d.node(id);
            o << "    const __m128 " << v(id) << " = ";
            switch (n.op) {
                case Op::Add: o << "_mm_add_ps(" << v(n.a) << ", " << v(n.b) << ")"; break;
                case Op::Sub: o << "_mm_sub_ps(" << v(n.a) << ", " << v(n.b) << ")"; break;
                case Op::Mul:
                    if (d.node(n.a).op == Op::Scale) o << "_mm_mul_ps(" << v(n.b) << ", vs)";
                    else o << "_mm_mul_ps(" << v(n.b) << ", _mm_load_ps(kK_" << base << "[" << d.node(n.a).imm << "]))";
                    break;
                case Op::Shuf:
                    switch (static_cast<ShufKind>(n.imm)) {
                        case ShufEven: o << "_mm_shuffle_ps(" << v(n.a) << ", " << v(n.b) << ", _MM_SHUFFLE(2, 0, 2, 0))"; break;
                        case ShufOdd: o << "_mm_shuffle_ps(" << v(n.a) << ", " << v(n.b) << ", _MM_SHUFFLE(3, 1, 3, 1))"; break;
                        case UnpackLo: o << "_mm_unpacklo_ps(" << v(n.a) << ", " << v(n.b) << ")"; break;
                        case UnpackHi: o << "_mm_unpackhi_ps(" << v(n.a) << ", " << v(n.b) << ")"; break;
                        case MoveLH: o << "_mm_movelh_ps(" << v(n.a) << ", " << v(n.b) << ")"; break;
                        case MoveHL: o << "_mm_movehl_ps(" << v(n.a) << ", " << v(n.b) << ")"; break;
                    }
                    break;
                default: throw std::logic_error("split emitter: unexpected operation");
            }
            o << ";\n";
        },
        [&](int id) {
            const MoveSpec& m = k.loads.at(static_cast<std::size_t>(d.node(id).imm));
            o << "    const __m128 " << v(id) << " = ";
            if (m.e1 == m.e0 + 1 && m.e0 % 2 == 0) o << "qrbg::ld4<kAligned>(" << at("x", m.e0) << ")";
            else if (m.e1 == m.e0 + 1 && m.merge)
                o << "kAligned ? qrbg::ldMerge(" << at("x", m.e0) << ") : qrbg::ld4<false>(" << at("x", m.e0) << ")";
            else if (m.e1 == m.e0 + 1)
                o << "kAligned ? qrbg::ldHalves(" << at("x", m.e0) << ", " << at("x", m.e1) << ") : qrbg::ld4<false>(" << at("x", m.e0) << ")";
            else if (m.e1 >= 0) o << "qrbg::ldHalves(" << at("x", m.e0) << ", " << at("x", m.e1) << ")";
            else o << "qrbg::ldHalves(" << at("x", m.e0) << ")";
            o << ";\n";
        },
        [&](int slot, int id) {
            const MoveSpec& m = k.stores.at(static_cast<std::size_t>(slot));
            if (m.e1 == m.e0 + 1 && m.e0 % 2 == 0) o << "    qrbg::st4<kAligned>(" << at("y", m.e0) << ", " << v(id) << ");\n";
            else if (m.e1 == m.e0 + 1) o << "    qrbg::st4<false>(" << at("y", m.e0) << ", " << v(id) << ");\n";
            else {
                o << "    qrbg::stLo(" << at("y", m.e0) << ", " << v(id) << ");\n";
                if (m.e1 >= 0) o << "    qrbg::stHi(" << at("y", m.e1) << ", " << v(id) << ");\n";
            }
        });
    o << "}\n\n";
    o << vectorFrame(k, "Qrbg32fc", "float", "qrbg::broadcast(s)", true);
    return "namespace {\n\n" + o.str();
}

std::string emitScalar32fc(const KernelDag& k) {
    const Dag& d = k.dag;
    const std::string base = baseName(k);
    std::vector<int> cons = d.consumers();
    std::vector<bool> isOut(d.nodes().size(), false);
    for (auto& out : d.outputs()) isOut[static_cast<std::size_t>(out.second)] = true;
    // Precision of every node: true = double.
    std::vector<char> dbl(d.nodes().size(), 0);
    std::ostringstream o;
    o << "namespace {\n\nQRBG_INLINE void body_" << base << "(const float* x, float* y, float s) {\n";
    auto operand = [&](int id) {
        // A single operand of a double operation is widened, which is exact.
        return dbl[static_cast<std::size_t>(id)] ? v(id) : "static_cast<double>(" + v(id) + ")";
    };
    schedule(
        d,
        [&](int id) {
            const Node& n = d.node(id);
            std::string expr;
            bool isD = false;
            switch (n.op) {
                case Op::Add:
                case Op::Sub: {
                    const char* opc = n.op == Op::Add ? " + " : " - ";
                    isD = dbl[static_cast<std::size_t>(n.a)] || dbl[static_cast<std::size_t>(n.b)];
                    expr = isD ? operand(n.a) + opc + operand(n.b) : v(n.a) + opc + v(n.b);
                    break;
                }
                case Op::Mul:
                    if (d.node(n.a).op == Op::Scale) {
                        isD = dbl[static_cast<std::size_t>(n.b)];
                        expr = isD ? v(n.b) + " * static_cast<double>(s)" : v(n.b) + " * s";
                    } else {
                        isD = true;
                        expr = operand(n.b) + " * " + lit(d.constants()[static_cast<std::size_t>(d.node(n.a).imm)].lanes.at(0));
                    }
                    break;
                default: throw std::logic_error("scalar emitter: unexpected operation");
            }
            const bool variable = cons[static_cast<std::size_t>(id)] > 1 || isOut[static_cast<std::size_t>(id)];
            if (isD && variable) {
                // A double expression is rounded to single once, at its root.
                o << "    const float " << v(id) << " = static_cast<float>(" << expr << ");\n";
            } else {
                dbl[static_cast<std::size_t>(id)] = isD;
                o << "    const " << (isD ? "double " : "float ") << v(id) << " = " << expr << ";\n";
            }
        },
        [&](int id) { o << "    const float " << v(id) << " = qrbg::ld1(x + " << d.node(id).imm << ");\n"; },
        [&](int slot, int id) { o << "    qrbg::st1(y + " << slot << ", " << v(id) << ");\n"; }, true);
    o << "}\n\n}  // namespace\n\n";
    o << "extern \"C\" QRBG_API Status " << dftName(k) << "(const Qrbg32fc* src, Qrbg32fc* dst, int32_t flag) {\n";
    o << argumentTests(k, true);
    o << "    body_" << base << "(reinterpret_cast<const float*>(src), reinterpret_cast<float*>(dst), s);\n";
    o << "    return StatusOk;\n}\n";
    return o.str();
}

}  // namespace qrbgen::plans
