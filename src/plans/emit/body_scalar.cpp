// The body printer of the scalar schemes: one value per variable, single
// and double arithmetic mixed by one rule. A value with several consumers
// (a variable) or a stored value is held as a single; an operation on two
// singles is single; an expression that touches a double constant is
// evaluated in double, its single operands widened (exactly), and rounded to
// single once, at its root.
#include <sstream>
#include <stdexcept>

#include "emit/literals.h"
#include "emit/printers.h"
#include "emit/schedule.h"

namespace qrbgen::plans {

BodyInfo printScalar(const KernelDag& k, const SchemeRow& s, const std::string& helpers) {
    const Dag& d = k.dag;
    const std::vector<int> cons = d.consumers();
    std::vector<bool> isOut(d.nodes().size(), false);
    for (const Output& out : d.outputs()) isOut[static_cast<std::size_t>(out.id)] = true;
    // Precision of every node: true = double.
    std::vector<char> dbl(d.nodes().size(), 0);
    std::ostringstream o;
    o << "namespace {\n\nQRBG_INLINE void " << bodyName(k.desc) << "(const float* x, float* y, float s) {\n";
    auto v = valueName;
    auto operand = [&](int id) {
        // A single operand of a double operation is widened, which is exact.
        return dbl[static_cast<std::size_t>(id)] ? v(id) : "static_cast<double>(" + v(id) + ")";
    };
    ScheduleHooks h;
    h.node = [&](int id) {
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
                    expr = operand(n.b) + " * " + lit(d.constValue(n.a));
                }
                break;
            default: throw std::logic_error("scalar printer: unexpected operation");
        }
        const bool variable = cons[static_cast<std::size_t>(id)] > 1 || isOut[static_cast<std::size_t>(id)];
        if (isD && variable) {
            // A double expression is rounded to single once, at its root.
            o << "    const float " << v(id) << " = static_cast<float>(" << expr << ");\n";
        } else {
            dbl[static_cast<std::size_t>(id)] = isD;
            o << "    const " << (isD ? "double " : "float ") << v(id) << " = " << expr << ";\n";
        }
    };
    h.load = [&](int id) {
        const Move& m = k.layout.loads.at(static_cast<std::size_t>(d.node(id).imm));
        o << "    const float " << v(id) << " = " << helpers << "::ld1(x + " << m.e0 << ");\n";
    };
    h.store = [&](const Output& out) {
        if (out.neg) throw std::logic_error("the scalar 32fc kernels store no negated output");
        const Move& m = k.layout.stores.at(static_cast<std::size_t>(out.slot));
        o << "    " << helpers << "::st1(y + " << m.e0 << ", " << v(out.id) << ");\n";
    };
    schedule(d, h, s.loadsFirst, {kRegistersI386, kRegistersX8664});
    o << "}\n\n";
    return {o.str(), 0};
}

}  // namespace qrbgen::plans
