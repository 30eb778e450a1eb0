#include "ir/transpose.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace qrbgen::plans {

std::vector<Ref> transposeInto(const Dag& src, int inputCount, const std::vector<Ref>& roots, Dag& dst,
                               const std::vector<Ref>& rootValues) {
    if (roots.size() != rootValues.size()) throw std::invalid_argument("transpose: one value per root");
    const auto& nodes = src.nodes();
    // What flows back into each node, in the order it arrives; the sum of a
    // node's contributions is its value in the dual.
    std::vector<std::vector<Ref>> back(nodes.size());
    for (std::size_t i = 0; i < roots.size(); ++i) {
        const Ref r = roots[i], v = rootValues[i];
        if (r.isZero() || v.isZero()) continue;
        back[static_cast<std::size_t>(r.id)].push_back(r.neg ? -v : v);
    }
    std::vector<Ref> out(static_cast<std::size_t>(inputCount), dst.zero());
    // The nodes of the dual made while node i was replayed: the dual of an
    // instance of the network (ir/dag.h) is made of those of its nodes.
    std::vector<std::vector<int>> made(nodes.size());
    for (std::size_t i = nodes.size(); i-- > 0;) {
        auto& in = back[i];
        if (in.empty()) continue;
        const std::size_t before = dst.nodes().size();
        struct Made {
            const Dag& d;
            std::size_t from;
            std::vector<int>& into;
            ~Made() {
                for (std::size_t j = from; j < d.nodes().size(); ++j) into.push_back(static_cast<int>(j));
            }
        } record{dst, before, made[i]};
        // A value used in several places: the sum of what comes back.
        Ref sum = in[0];
        for (std::size_t k = 1; k < in.size(); ++k) sum = dst.add(sum, in[k]);
        in.clear();
        in.shrink_to_fit();
        if (sum.isZero()) continue;
        const Node& n = nodes[i];
        auto give = [&](int id, Ref v) {
            if (!v.isZero()) back[static_cast<std::size_t>(id)].push_back(v);
        };
        switch (n.op) {
            case Op::Input:
                if (n.imm < 0 || n.imm >= inputCount)
                    throw std::invalid_argument("transpose: input slot " + std::to_string(n.imm) + " out of range");
                out[static_cast<std::size_t>(n.imm)] = dst.add(out[static_cast<std::size_t>(n.imm)], sum);
                break;
            case Op::Add:
                give(n.a, sum);
                give(n.b, sum);
                break;
            case Op::Sub:
                give(n.a, sum);
                give(n.b, -sum);
                break;
            case Op::Mul: {
                const Node& k = nodes[static_cast<std::size_t>(n.a)];
                if (k.op != Op::Const) throw std::invalid_argument("transpose: a product with the scale is not linear");
                const auto& lanes = src.constants()[static_cast<std::size_t>(k.imm)].lanes;
                give(n.b, lanes.size() == 1 ? dst.mulC(lanes[0], sum) : dst.mulK(lanes, sum));
                break;
            }
            case Op::Xchg: give(n.a, dst.xchg(sum)); break;
            case Op::Mask: give(n.a, dst.mask(sum)); break;
            case Op::Const:
            case Op::Scale:
            case Op::Splat:
            case Op::Shuf: throw std::invalid_argument("transpose: not a linear network node");
        }
    }
    // The duals of the instances, in groups of their own: alike as the
    // instances are, each made by the same replay.
    const int groupBase = dst.newGroups(src.groups());
    for (const Dag::Instance& in : src.instances()) {
        Dag::Instance dual{groupBase + in.group, {}, {}};
        for (int id : in.nodes) dual.nodes.insert(dual.nodes.end(), made[static_cast<std::size_t>(id)].begin(), made[static_cast<std::size_t>(id)].end());
        std::sort(dual.nodes.begin(), dual.nodes.end());
        // It starts from the values it takes from outside, in the order
        // first taken: alike instances take theirs in the same order.
        for (int id : dual.nodes) {
            const Node& n = dst.node(id);
            for (int o : {n.a, n.b}) {
                if (o < 0 || std::binary_search(dual.nodes.begin(), dual.nodes.end(), o)) continue;
                const Op op = dst.node(o).op;
                if (op == Op::Const || op == Op::Scale || op == Op::Splat) continue;
                if (std::find(dual.seeds.begin(), dual.seeds.end(), o) == dual.seeds.end()) dual.seeds.push_back(o);
            }
        }
        if (!dual.nodes.empty()) dst.addInstance(std::move(dual));
    }
    return out;
}

}  // namespace qrbgen::plans
