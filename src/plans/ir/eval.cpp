#include "ir/eval.h"

#include <stdexcept>
#include <string>

namespace qrbgen::plans {

std::vector<Lanes> evaluate(const Dag& dag, const std::vector<Lanes>& inputs, const std::vector<Ref>& roots,
                            long double scale) {
    const std::size_t width = inputs.empty() ? 1 : inputs[0].size();
    const auto& nodes = dag.nodes();
    // Only what the roots need is evaluated: the DAG also holds dead nodes.
    std::vector<bool> need(nodes.size(), false);
    for (const Ref& r : roots)
        if (!r.isZero()) need[static_cast<std::size_t>(r.id)] = true;
    for (std::size_t i = nodes.size(); i-- > 0;) {
        if (!need[i]) continue;
        if (nodes[i].a >= 0) need[static_cast<std::size_t>(nodes[i].a)] = true;
        if (nodes[i].b >= 0) need[static_cast<std::size_t>(nodes[i].b)] = true;
    }
    std::vector<Lanes> val(nodes.size());
    auto constLane = [&](const Node& k, std::size_t l) -> long double {
        if (k.op == Op::Scale || k.op == Op::Splat) return scale;
        const auto& lanes = dag.constants()[static_cast<std::size_t>(k.imm)].lanes;
        return lanes.size() == 1 ? lanes[0] : lanes.at(l);
    };
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (!need[i]) continue;
        const Node& n = nodes[i];
        Lanes v(width, 0.0L);
        switch (n.op) {
            case Op::Input:
                if (static_cast<std::size_t>(n.imm) >= inputs.size() || inputs[n.imm].size() != width)
                    throw std::invalid_argument("evaluate: no value for input slot " + std::to_string(n.imm));
                v = inputs[static_cast<std::size_t>(n.imm)];
                break;
            case Op::Const:
            case Op::Scale:
            case Op::Splat: continue;
            case Op::Add:
            case Op::Sub:
                for (std::size_t l = 0; l < width; ++l) {
                    const long double a = val[static_cast<std::size_t>(n.a)][l], b = val[static_cast<std::size_t>(n.b)][l];
                    v[l] = n.op == Op::Add ? a + b : a - b;
                }
                break;
            case Op::Mul:
                for (std::size_t l = 0; l < width; ++l)
                    v[l] = constLane(nodes[static_cast<std::size_t>(n.a)], l) * val[static_cast<std::size_t>(n.b)][l];
                break;
            case Op::Xchg:
                v = val[static_cast<std::size_t>(n.a)];
                if (width < 2) throw std::invalid_argument("evaluate: lane exchange of a scalar");
                std::swap(v[0], v[1]);
                break;
            case Op::Mask:
                v = val[static_cast<std::size_t>(n.a)];
                v[0] = -v[0];
                break;
            case Op::Shuf: throw std::invalid_argument("evaluate: lane moves are not evaluated");
        }
        val[i] = std::move(v);
    }
    std::vector<Lanes> out;
    out.reserve(roots.size());
    for (const Ref& r : roots) {
        if (r.isZero()) {
            out.emplace_back(width, 0.0L);
            continue;
        }
        Lanes v = val[static_cast<std::size_t>(r.id)];
        if (r.neg)
            for (auto& x : v) x = -x;
        out.push_back(std::move(v));
    }
    return out;
}

std::vector<long double> evaluateScalar(const Dag& dag, const std::vector<long double>& inputs,
                                        const std::vector<Ref>& roots) {
    std::vector<Lanes> in;
    in.reserve(inputs.size());
    for (long double x : inputs) in.push_back(Lanes{x});
    std::vector<long double> out;
    for (const Lanes& v : evaluate(dag, in, roots)) out.push_back(v[0]);
    return out;
}

}  // namespace qrbgen::plans
