// The body printer of the scalar schemes: one value per variable. Double
// kernels compute in double throughout. Single kernels mix single and double
// arithmetic by one rule: a value with several consumers (a variable) or a
// stored value is held as a single; an operation on two singles is single;
// an expression that touches a double constant is evaluated in double, its
// single operands widened (exactly), and rounded to single once, at its
// root. A negated output is stored as 0 - v, the subtraction being the root
// of its expression.
#include <sstream>
#include <stdexcept>

#include "emit/literals.h"
#include "emit/printers.h"
#include "emit/schedule.h"

namespace qrbgen::plans {

BodyInfo printScalar(const KernelDag& k, const SchemeRow& s) {
    const Dag& d = k.dag;
    const bool single = isSingle(k.desc.type);
    const std::string real = realCType(k.desc.type);
    const std::vector<int> cons = d.consumers();
    // Values stored as they are; a negated output's root is its subtraction.
    std::vector<bool> stored(d.nodes().size(), false);
    for (const Output& out : d.outputs())
        if (!out.neg) stored[static_cast<std::size_t>(out.id)] = true;
    // Precision of every node: true = double.
    std::vector<char> dbl(d.nodes().size(), single ? 0 : 1);
    std::ostringstream o;
    o << "namespace {\n\nQRBG_INLINE void " << bodyName(k.desc) << "(const " << real << "* x, " << real << "* y, "
      << real << " s) {\n";
    auto v = valueName;
    auto operand = [&](int id) {
        // A single operand of a double operation is widened, which is exact.
        return dbl[static_cast<std::size_t>(id)] ? v(id) : "static_cast<double>(" + v(id) + ")";
    };
    ScheduleHooks h;
    h.node = [&](int id) {
        const Node& n = d.node(id);
        if (!single) {
            o << "    const double " << v(id) << " = ";
            switch (n.op) {
                case Op::Add: o << v(n.a) << " + " << v(n.b); break;
                case Op::Sub: o << v(n.a) << " - " << v(n.b); break;
                case Op::Mul:
                    o << v(n.b) << " * " << (d.node(n.a).op == Op::Scale ? std::string("s") : lit(d.constValue(n.a)));
                    break;
                default: throw std::logic_error("scalar printer: unexpected operation");
            }
            o << ";\n";
            return;
        }
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
        const bool variable = cons[static_cast<std::size_t>(id)] > 1 || stored[static_cast<std::size_t>(id)];
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
        o << "    const " << real << " " << v(id) << " = qrbg::ld1(x + " << m.e0 << ");\n";
    };
    h.store = [&](const Output& out) {
        const Move& m = k.layout.stores.at(static_cast<std::size_t>(out.slot));
        std::string val = v(out.id);
        if (out.neg) {
            // 0 - v rather than -v, so that a zero is stored as +0.0.
            if (!single) val = "0.0 - " + val;
            else if (dbl[static_cast<std::size_t>(out.id)]) val = "static_cast<float>(0.0 - " + val + ")";
            else val = "0.0f - " + val;
        }
        o << "    qrbg::st1(y + " << m.e0 << ", " << val << ");\n";
    };
    schedule(d, h, s.loadsFirst);
    // Structural zeros, stored after every load so that src == dst works.
    for (int z : k.layout.zeros) o << "    qrbg::st1(y + " << z << ", " << (single ? "0.0f" : "0.0") << ");\n";
    o << "}\n\n";
    return {o.str(), "s"};
}

}  // namespace qrbgen::plans
