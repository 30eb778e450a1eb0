// Body printers of the vector schemes: pair registers of two doubles
// (64fc) and split registers of four floats (32fc).
#include <sstream>
#include <stdexcept>

#include "emit/literals.h"
#include "emit/printers.h"
#include "emit/schedule.h"
#include "rules/split32.h"

namespace qrbgen::plans {
namespace {

bool isScaleOperand(const Dag& d, int id) {
    const Op op = d.node(id).op;
    return op == Op::Scale || op == Op::Splat;
}

// The pool of vector constants: one aligned row per constant of the DAG, a
// scalar constant in every lane, then the rows a printer adds of its own
// (such as the sign mask of the pair form). The body reads it through an
// address the optimiser cannot see through, so that every constant vector
// is one aligned load and none is rebuilt from scalars.
std::string constantPool(const Dag& d, const std::string& name, const char* type, int lanes, bool single,
                         const std::vector<std::vector<double>>& extra = {}) {
    std::ostringstream o;
    o << "alignas(16) const " << type << " " << name << "[][" << lanes << "] = {\n";
    auto row = [&](const std::vector<double>& v) {
        o << "    {";
        for (int l = 0; l < lanes; ++l) {
            const double x = v.size() == 1 ? v[0] : v.at(static_cast<std::size_t>(l));
            o << (l ? ", " : "") << litIn(x, single);
        }
        o << "},\n";
    };
    for (const Constant& c : d.constants()) row(c.lanes);
    for (const auto& e : extra) row(e);
    if (d.constants().empty() && extra.empty()) row({0.0});
    o << "};\n\n";
    return o.str();
}

bool uses(const Dag& d, Op op) {
    const std::vector<bool> lv = d.live();
    for (std::size_t i = 0; i < d.nodes().size(); ++i)
        if (lv[i] && d.nodes()[i].op == op) return true;
    return false;
}

void noNegatedOutput(const Output& out) {
    if (out.neg) throw std::logic_error("a vector kernel stores a negated output");
}

}  // namespace

BodyInfo printPair64(const KernelDag& k) {
    const Dag& d = k.dag;
    const std::string base = baseName(k.desc), pool = "kK_" + base;
    std::ostringstream o;
    // The sign mask (-0.0, +0.0) of the multiplication by i follows the
    // constants of the DAG.
    const std::size_t maskRow = d.constants().size();
    std::vector<std::vector<double>> extra;
    if (uses(d, Op::Mask)) extra.push_back({-0.0, 0.0});
    o << "namespace {\n\n" << constantPool(d, pool, "double", 2, false, extra);
    o << "template <bool kAligned>\nQRBG_INLINE void " << bodyName(k.desc)
      << "(const double* x, double* y, const double* vs) {\n";
    o << "    const double* const k = qrbg::opaque(" << pool << "[0]);\n    (void)k;\n";
    ScheduleHooks h;
    h.node = [&](int id) {
        const Node& n = d.node(id);
        o << "    const __m128d " << valueName(id) << " = ";
        switch (n.op) {
            case Op::Add: o << "_mm_add_pd(" << valueName(n.a) << ", " << valueName(n.b) << ")"; break;
            case Op::Sub: o << "_mm_sub_pd(" << valueName(n.a) << ", " << valueName(n.b) << ")"; break;
            case Op::Mul:
                if (isScaleOperand(d, n.a)) o << "_mm_mul_pd(" << valueName(n.b) << ", _mm_load_pd(vs))";
                else o << "_mm_mul_pd(" << valueName(n.b) << ", _mm_load_pd(k + " << 2 * d.node(n.a).imm << "))";
                break;
            case Op::Xchg: o << "_mm_shuffle_pd(" << valueName(n.a) << ", " << valueName(n.a) << ", 1)"; break;
            case Op::Mask: o << "_mm_xor_pd(" << valueName(n.a) << ", _mm_load_pd(k + " << 2 * maskRow << "))"; break;
            default: throw std::logic_error("pair printer: unexpected operation");
        }
        o << ";\n";
    };
    h.load = [&](int id) {
        const Move& m = k.layout.loads.at(static_cast<std::size_t>(d.node(id).imm));
        o << "    const __m128d " << valueName(id) << " = qrbg::ld2<kAligned>(x + " << 2 * m.e0 << ");\n";
    };
    h.store = [&](const Output& out) {
        noNegatedOutput(out);
        const Move& m = k.layout.stores.at(static_cast<std::size_t>(out.slot));
        o << "    qrbg::st2<kAligned>(y + " << 2 * m.e0 << ", " << valueName(out.id) << ");\n";
    };
    schedule(d, h, false, {kRegistersI386, kRegistersX8664});
    o << "}\n\n";
    return {o.str(), 2};
}

BodyInfo printSplit32(const KernelDag& k) {
    const Dag& d = k.dag;
    const std::string base = baseName(k.desc), pool = "kK_" + base;
    std::ostringstream o;
    o << "namespace {\n\n" << constantPool(d, pool, "float", 4, true);
    o << "template <bool kAligned>\nQRBG_INLINE void " << bodyName(k.desc)
      << "(const float* x, float* y, const float* vs) {\n";
    o << "    const float* const k = qrbg::opaque(" << pool << "[0]);\n    (void)k;\n";
    auto at = [](const char* p, int e) { return std::string(p) + " + " + std::to_string(2 * e); };
    ScheduleHooks h;
    h.node = [&](int id) {
        const Node& n = d.node(id);
        const std::string a = valueName(n.a), b = n.b >= 0 ? valueName(n.b) : "";
        o << "    const __m128 " << valueName(id) << " = ";
        switch (n.op) {
            case Op::Add: o << "_mm_add_ps(" << a << ", " << b << ")"; break;
            case Op::Sub: o << "_mm_sub_ps(" << a << ", " << b << ")"; break;
            case Op::Mul:
                if (isScaleOperand(d, n.a)) o << "_mm_mul_ps(" << b << ", _mm_load_ps(vs))";
                else o << "_mm_mul_ps(" << b << ", _mm_load_ps(k + " << 4 * d.node(n.a).imm << "))";
                break;
            case Op::Shuf:
                switch (static_cast<ShufKind>(n.imm)) {
                    case ShufEven: o << "_mm_shuffle_ps(" << a << ", " << b << ", _MM_SHUFFLE(2, 0, 2, 0))"; break;
                    case ShufOdd: o << "_mm_shuffle_ps(" << a << ", " << b << ", _MM_SHUFFLE(3, 1, 3, 1))"; break;
                    case UnpackLo: o << "_mm_unpacklo_ps(" << a << ", " << b << ")"; break;
                    case UnpackHi: o << "_mm_unpackhi_ps(" << a << ", " << b << ")"; break;
                    case MoveLH: o << "_mm_movelh_ps(" << a << ", " << b << ")"; break;
                    case MoveHL: o << "_mm_movehl_ps(" << a << ", " << b << ")"; break;
                }
                break;
            default: throw std::logic_error("split printer: unexpected operation");
        }
        o << ";\n";
    };
    h.load = [&](int id) {
        const Node& n = d.node(id);
        const Move& m = k.layout.loads.at(static_cast<std::size_t>(n.imm));
        o << "    const __m128 " << valueName(id) << " = ";
        if (m.e0 < 0) o << "_mm_setzero_ps()";  // a zero the network takes as data
        else if (m.e1 == m.e0 + 1 && m.e0 % 2 == 0) o << "qrbg::ld4<kAligned>(" << at("x", m.e0) << ")";
        else if (m.e1 == m.e0 + 1 && n.aux == LoadMerged)
            o << "kAligned ? qrbg::ldMerge(" << at("x", m.e0) << ") : qrbg::ld4<false>(" << at("x", m.e0) << ")";
        else if (m.e1 == m.e0 + 1)
            o << "kAligned ? qrbg::ldHalves(" << at("x", m.e0) << ", " << at("x", m.e1) << ") : qrbg::ld4<false>("
              << at("x", m.e0) << ")";
        else if (m.e1 >= 0) o << "qrbg::ldHalves(" << at("x", m.e0) << ", " << at("x", m.e1) << ")";
        else o << "qrbg::ldHalves(" << at("x", m.e0) << ")";
        o << ";\n";
    };
    h.store = [&](const Output& out) {
        noNegatedOutput(out);
        const Move& m = k.layout.stores.at(static_cast<std::size_t>(out.slot));
        const std::string val = valueName(out.id);
        if (m.e1 == m.e0 + 1 && m.e0 % 2 == 0) o << "    qrbg::st4<kAligned>(" << at("y", m.e0) << ", " << val << ");\n";
        else if (m.e1 == m.e0 + 1) o << "    qrbg::st4<false>(" << at("y", m.e0) << ", " << val << ");\n";
        else {
            o << "    qrbg::stLo(" << at("y", m.e0) << ", " << val << ");\n";
            if (m.e1 >= 0) o << "    qrbg::stHi(" << at("y", m.e1) << ", " << val << ");\n";
        }
    };
    schedule(d, h, false, {kRegistersI386, kRegistersX8664});
    o << "}\n\n";
    return {o.str(), 4};
}

}  // namespace qrbgen::plans
