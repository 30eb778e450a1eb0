// The body printer of the scalar schemes: one C++ variable per value.
// Double kernels compute in double throughout. Single kernels mix single
// and double arithmetic by the precision rule (emit/precision.h): variables
// and stored values are singles, an operation on two singles is single, an
// expression that touches a double constant is evaluated in double and
// rounded to single once, at its root. A negated output is stored as 0 - v,
// the subtraction being the root of its expression, so that a zero is
// stored as +0.0.
#include <sstream>
#include <stdexcept>

#include "emit/literals.h"
#include "emit/precision.h"
#include "emit/printers.h"
#include "emit/schedule.h"

namespace qrbgen::plans {
std::vector<double> singleConstantsOf(const KernelDesc& k) {
    if (k.kind == Kind::CCSToR || k.kind == Kind::PackToR || k.kind == Kind::PermToR) return {2.0};
    return {};
}

BodyInfo printScalar(const KernelDag& k, const SchemeRow& s, const std::string& helpers) {
    const Dag& d = k.dag;
    const bool single = isSingle(k.desc.type);
    const std::string real = realCType(k.desc.type);
    const std::vector<double> singles = singleConstantsOf(k.desc);
    const PrecisionPlan p = single ? analysePrecision(d, singles) : PrecisionPlan{};
    auto v = valueName;
    auto isSingleConst = [&](int id) {
        const double c = d.constValue(id);
        for (double x : singles)
            if (x == c) return true;
        return false;
    };
    // An operand as a double: a double value as it is, a single widened
    // (exactly), a constant as its double literal.
    auto asDouble = [&](int id) {
        const Op op = d.node(id).op;
        if (op == Op::Const) return lit(d.constValue(id));
        if (op == Op::Scale) return std::string("static_cast<double>(s)");
        return p.heldDouble(id) ? v(id) : "static_cast<double>(" + v(id) + ")";
    };
    auto asSingle = [&](int id) {
        const Op op = d.node(id).op;
        if (op == Op::Const) {
            if (!isSingleConst(id)) throw std::logic_error("a double constant in a single operation");
            return litF(static_cast<float>(d.constValue(id)));
        }
        return op == Op::Scale ? std::string("s") : v(id);
    };

    std::ostringstream o;
    o << "namespace {\n\nQRBG_INLINE void " << bodyName(k.desc) << "(const " << real << "* x, " << real << "* y, "
      << real << " s) {\n";
    ScheduleHooks h;
    h.node = [&](int id) {
        const Node& n = d.node(id);
        const char* opc = n.op == Op::Add ? " + " : n.op == Op::Sub ? " - " : " * ";
        if (n.op != Op::Add && n.op != Op::Sub && n.op != Op::Mul)
            throw std::logic_error("scalar printer: unexpected operation");
        // A product is printed value first: v * c.
        const int first = n.op == Op::Mul ? n.b : n.a, second = n.op == Op::Mul ? n.a : n.b;
        if (!single) {
            o << "    const double " << v(id) << " = " << (d.node(first).op == Op::Scale ? "s" : v(first)) << opc
              << (d.node(second).op == Op::Scale ? std::string("s")
                  : d.node(second).op == Op::Const ? lit(d.constValue(second))
                                                   : v(second))
              << ";\n";
            return;
        }
        const auto i = static_cast<std::size_t>(id);
        if (!p.dbl[i]) {
            o << "    const float " << v(id) << " = " << asSingle(first) << opc << asSingle(second) << ";\n";
            return;
        }
        // A product with the scale keeps the scale's own spelling.
        const std::string rhs = d.node(second).op == Op::Scale ? v(first) + " * static_cast<double>(s)"
                                                               : asDouble(first) + opc + asDouble(second);
        if (p.rounded[i]) o << "    const float " << v(id) << " = static_cast<float>(" << rhs << ");\n";
        else o << "    const double " << v(id) << " = " << rhs << ";\n";
    };
    h.load = [&](int id) {
        const Move& m = k.layout.loads.at(static_cast<std::size_t>(d.node(id).imm));
        o << "    const " << real << " " << v(id) << " = " << helpers << "::ld1(x + " << m.e0 << ");\n";
    };
    std::vector<std::size_t> outIndex(d.nodes().size());
    for (std::size_t i = 0; i < d.outputs().size(); ++i) outIndex[static_cast<std::size_t>(d.outputs()[i].id)] = i;
    h.store = [&](const Output& out) {
        const Move& m = k.layout.stores.at(static_cast<std::size_t>(out.slot));
        std::string val = v(out.id);
        if (out.neg) {
            if (!single) val = "0.0 - " + val;
            else if (p.negDbl.at(outIndex[static_cast<std::size_t>(out.id)])) val = "static_cast<float>(0.0 - " + val + ")";
            else val = "0.0f - " + val;
        }
        o << "    " << helpers << "::st1(y + " << m.e0 << ", " << val << ");\n";
    };
    schedule(d, h, s.loadsFirst, {kRegistersI386, kRegistersX8664});
    // Structural zeros, stored after every load so that src == dst works.
    for (int z : k.layout.zeros) o << "    " << helpers << "::st1(y + " << z << ", " << (single ? "0.0f" : "0.0") << ");\n";
    o << "}\n\n";
    return {o.str(), 0};
}

}  // namespace qrbgen::plans
