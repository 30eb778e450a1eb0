#include "ir/merge.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>

namespace qrbgen::plans {
namespace {

std::uint64_t bitsOf(double v) {
    std::uint64_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

std::map<std::uint64_t, DD>& recorded() {
    static std::map<std::uint64_t, DD> m;
    return m;
}

bool roundsTo(DD exact, double v, ConstPrecision p) {
    return p == ConstPrecision::Single ? static_cast<double>(roundToFloat(exact)) == v : roundToDouble(exact) == v;
}

// cos or sin of 2 pi p / q that rounds to v, found from the angle of v.
bool trigValue(double v, ConstPrecision prec, DD& out) {
    if (!(v > 0.0 && v <= 1.0)) return false;
    const double twoPi = 6.283185307179586;
    for (int which = 0; which < 2; ++which) {
        const double t = (which == 0 ? std::acos(v) : std::asin(v)) / twoPi;
        for (std::int64_t q = 1; q <= 256; ++q) {
            const std::int64_t p = std::llround(t * static_cast<double>(q));
            if (std::fabs(t - static_cast<double>(p) / static_cast<double>(q)) > 1e-9) continue;
            DD e = which == 0 ? cosPiFracDD(2 * p, q) : sinPiFracDD(2 * p, q);
            if (roundsTo(e, v, prec)) {
                out = e;
                return true;
            }
        }
    }
    return false;
}

bool isConstProduct(const Dag& d, int id) {
    const Node& n = d.node(id);
    return n.op == Op::Mul && d.node(n.a).op == Op::Const &&
           d.constants()[static_cast<std::size_t>(d.node(n.a).imm)].lanes.size() == 1;
}

double constOf(const Dag& d, int productId) {
    return d.constants()[static_cast<std::size_t>(d.node(d.node(productId).a).imm)].lanes[0];
}

double merged(double k, double c, ConstPrecision p) {
    DD e = ddMul(exactConstant(k, p), exactConstant(c, p));
    return p == ConstPrecision::Single ? static_cast<double>(roundToFloat(e)) : roundToDouble(e);
}

// One pass: decides the merges on the old structure, then replays the live
// nodes into a new DAG, leaving out the products and sums that a merge
// absorbs. Returns the number of merges.
int mergePass(Dag& dag, std::vector<Ref>& roots, ConstPrecision prec) {
    const auto& nodes = dag.nodes();
    const std::size_t count = nodes.size();
    std::vector<bool> live(count, false);
    std::vector<int> uses(count, 0);
    for (const Ref& r : roots)
        if (!r.isZero()) {
            live[static_cast<std::size_t>(r.id)] = true;
            ++uses[static_cast<std::size_t>(r.id)];
        }
    for (const Output& o : dag.outputs()) {
        live[static_cast<std::size_t>(o.id)] = true;
        ++uses[static_cast<std::size_t>(o.id)];
    }
    for (std::size_t i = count; i-- > 0;) {
        if (!live[i]) continue;
        for (int o : {nodes[i].a, nodes[i].b})
            if (o >= 0) {
                live[static_cast<std::size_t>(o)] = true;
                ++uses[static_cast<std::size_t>(o)];
            }
    }
    auto single = [&](int id) { return uses[static_cast<std::size_t>(id)] == 1; };
    enum Kind : char { Keep, Chain, Sum, Absorbed };
    std::vector<char> kind(count, Keep);
    int merges = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (!live[i] || !isConstProduct(dag, static_cast<int>(i))) continue;
        const int x = nodes[i].b;
        if (!single(x) || kind[static_cast<std::size_t>(x)] != Keep) continue;
        const Node& nx = nodes[static_cast<std::size_t>(x)];
        if (isConstProduct(dag, x)) {
            kind[i] = Chain;
            kind[static_cast<std::size_t>(x)] = Absorbed;
            ++merges;
        } else if ((nx.op == Op::Add || nx.op == Op::Sub) && nx.a != nx.b && isConstProduct(dag, nx.a) &&
                   isConstProduct(dag, nx.b) && single(nx.a) && single(nx.b) &&
                   kind[static_cast<std::size_t>(nx.a)] == Keep && kind[static_cast<std::size_t>(nx.b)] == Keep) {
            kind[i] = Sum;
            kind[static_cast<std::size_t>(x)] = Absorbed;
            kind[static_cast<std::size_t>(nx.a)] = Absorbed;
            kind[static_cast<std::size_t>(nx.b)] = Absorbed;
            ++merges;
        }
    }
    if (merges == 0) return 0;

    Dag out;
    for (const Node& n : nodes)
        if (n.op == Op::Splat) out.splatScale(n.aux);
    std::vector<Ref> map(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (static_cast<int>(i) == dag.outputSide()) out.markOutputSide();
        if (!live[i] || kind[i] == Absorbed) continue;
        const Node& n = nodes[i];
        auto m = [&](int id) { return map[static_cast<std::size_t>(id)]; };
        switch (n.op) {
            case Op::Input: map[i] = out.input(n.imm, static_cast<LoadKind>(n.aux)); break;
            case Op::Const:
            case Op::Scale:
            case Op::Splat: break;
            case Op::Add: map[i] = out.add(m(n.a), m(n.b)); break;
            case Op::Sub: map[i] = out.sub(m(n.a), m(n.b)); break;
            case Op::Xchg: map[i] = out.xchg(m(n.a)); break;
            case Op::Mask: map[i] = out.mask(m(n.a)); break;
            case Op::Shuf: map[i] = out.shuf(n.imm, m(n.a), m(n.b)); break;
            case Op::Mul: {
                const Node& k = nodes[static_cast<std::size_t>(n.a)];
                if (k.op == Op::Scale || k.op == Op::Splat) {
                    map[i] = out.scale(m(n.b));
                    break;
                }
                const auto& lanes = dag.constants()[static_cast<std::size_t>(k.imm)].lanes;
                if (kind[i] == Keep) {
                    map[i] = lanes.size() == 1 ? out.mulC(lanes[0], m(n.b)) : out.mulK(lanes, m(n.b));
                    break;
                }
                const Node& x = nodes[static_cast<std::size_t>(n.b)];
                if (kind[i] == Chain) {
                    map[i] = out.mulC(merged(lanes[0], constOf(dag, n.b), prec), m(x.b));
                    break;
                }
                const Node& ya = nodes[static_cast<std::size_t>(x.a)];
                const Node& yb = nodes[static_cast<std::size_t>(x.b)];
                Ref pa = out.mulC(merged(lanes[0], constOf(dag, x.a), prec), m(ya.b));
                Ref pb = out.mulC(merged(lanes[0], constOf(dag, x.b), prec), m(yb.b));
                map[i] = x.op == Op::Add ? out.add(pa, pb) : out.sub(pa, pb);
                break;
            }
        }
    }
    for (Ref& r : roots)
        if (!r.isZero()) r = r.neg ? -map[static_cast<std::size_t>(r.id)] : map[static_cast<std::size_t>(r.id)];
    for (std::size_t i = 0; i < count; ++i)
        if (live[i] && kind[i] != Absorbed && dag.hasTag(Ref{static_cast<int>(i), false}, TagLeafSine))
            out.tag(map[i], TagLeafSine);
    for (const Output& o : dag.outputs()) {
        const Ref v = map[static_cast<std::size_t>(o.id)];
        out.output(o.slot, o.neg ? -v : v);
    }
    // The parallel instances that the builder declared stay declared.
    out.adoptInstances(dag, map);
    dag = std::move(out);
    return merges;
}

}  // namespace

void noteExactConstant(double rounded, DD exact) { recorded()[bitsOf(rounded)] = exact; }

DD exactConstant(double rounded, ConstPrecision precision) {
    auto it = recorded().find(bitsOf(rounded));
    if (it != recorded().end() && roundsTo(it->second, rounded, precision)) return it->second;
    DD e;
    if (trigValue(rounded, precision, e)) return e;
    return DD{rounded, 0.0};
}

int mergeConstantChains(Dag& dag, std::vector<Ref>& roots, ConstPrecision precision) {
    int total = 0;
    while (int n = mergePass(dag, roots, precision)) total += n;
    return total;
}

}  // namespace qrbgen::plans
