#include "dag.h"

#include <cmath>
#include <cstring>
#include <stdexcept>

namespace qrbgen::plans {

int laneMoves(const Node& n) {
    switch (n.op) {
        case Op::Shuf: return 1;
        case Op::Splat: return n.aux;
        case Op::Input: return n.aux == LoadMerged ? 3 : 0;
        default: return 0;
    }
}

int Dag::make(Op op, int a, int b, int imm, int aux) {
    Key k{op, a, b, imm, aux};
    auto it = index_.find(k);
    if (it != index_.end()) return it->second;
    int id = static_cast<int>(nodes_.size());
    nodes_.push_back(Node{op, a, b, imm, aux});
    tags_.push_back(TagNone);
    index_.emplace(k, id);
    for (int i : open_) instances_[static_cast<std::size_t>(i)].nodes.push_back(id);
    return id;
}

Dag::InstanceScope::InstanceScope(Dag& d, int group, const std::vector<Ref>& seeds) : d_(d) {
    Instance in{group, {}, {}};
    for (const Ref& r : seeds) in.seeds.push_back(r.id);
    d_.instances_.push_back(std::move(in));
    d_.open_.push_back(static_cast<int>(d_.instances_.size() - 1));
}

Dag::InstanceScope::~InstanceScope() { d_.open_.pop_back(); }

void Dag::adoptInstances(const Dag& from, const std::vector<Ref>& map) {
    auto to = [&](int id) { return id < 0 || map[static_cast<std::size_t>(id)].isZero() ? -1 : map[static_cast<std::size_t>(id)].id; };
    groups_ = from.groups_;
    instances_.clear();
    for (const Instance& in : from.instances_) {
        Instance out{in.group, {}, {}};
        for (int s : in.seeds) out.seeds.push_back(to(s));
        for (int id : in.nodes)
            if (to(id) >= 0) out.nodes.push_back(to(id));
        instances_.push_back(std::move(out));
    }
}

void Dag::tag(Ref x, Tag t) {
    if (!x.isZero()) tags_[static_cast<std::size_t>(x.id)] |= t;
}
bool Dag::hasTag(Ref x, Tag t) const { return !x.isZero() && (tags_[static_cast<std::size_t>(x.id)] & t) != 0; }

double Dag::constValue(int constNodeId) const {
    return consts_.at(static_cast<std::size_t>(node(constNodeId).imm)).lanes.at(0);
}

int Dag::constIndex(const std::vector<double>& lanes) {
    for (std::size_t i = 0; i < consts_.size(); ++i) {
        const auto& l = consts_[i].lanes;
        if (l.size() == lanes.size() && std::memcmp(l.data(), lanes.data(), l.size() * sizeof(double)) == 0)
            return static_cast<int>(i);
    }
    consts_.push_back(Constant{lanes});
    return static_cast<int>(consts_.size() - 1);
}

Ref Dag::input(int slot, LoadKind kind) { return Ref{make(Op::Input, -1, -1, slot, kind), false}; }

// Addition is commutative: one node serves both operand orders.
Ref Dag::addPos(int x, int y) {
    if (x > y) std::swap(x, y);
    return Ref{make(Op::Add, x, y, 0), false};
}

// x - y and y - x are the same operation up to the sign of the result; the
// one that exists already is reused.
Ref Dag::subPos(int x, int y) {
    auto it = index_.find(Key{Op::Sub, y, x, 0, 0});
    if (it != index_.end()) return Ref{it->second, true};
    return Ref{make(Op::Sub, x, y, 0), false};
}

Ref Dag::add(Ref x, Ref y) {
    if (x.isZero()) return y;
    if (y.isZero()) return x;
    if (!x.neg && !y.neg) return addPos(x.id, y.id);
    if (!x.neg && y.neg) return subPos(x.id, y.id);
    if (x.neg && !y.neg) return subPos(y.id, x.id);
    return -addPos(x.id, y.id);
}

Ref Dag::sub(Ref x, Ref y) { return add(x, -y); }

Ref Dag::mulC(double c, Ref x) {
    if (x.isZero() || c == 0.0) return zero();
    if (c == 1.0) return x;
    if (c == -1.0) return -x;
    int k = constIndex({std::fabs(c)});
    int kn = make(Op::Const, -1, -1, k);
    Ref r{make(Op::Mul, kn, x.id, 0), false};
    return (c < 0) != x.neg ? -r : r;
}

Ref Dag::mulK(const std::vector<double>& lanes, Ref x) {
    if (x.isZero()) return zero();
    int k = constIndex(lanes);
    int kn = make(Op::Const, -1, -1, k);
    Ref r{make(Op::Mul, kn, x.id, 0), false};
    return x.neg ? -r : r;
}

Ref Dag::scale(Ref x) {
    if (x.isZero()) throw std::logic_error("scale of an exact zero");
    if (scaleNode_ < 0) {
        scaleNode_ = make(Op::Scale, -1, -1, 0);
        if (splatMoves_ >= 0) scaleNode_ = make(Op::Splat, scaleNode_, -1, 0, splatMoves_);
    }
    return Ref{make(Op::Mul, scaleNode_, x.id, 0), x.neg};
}

void Dag::splatScale(int laneMovesOfSplat) {
    if (scaleNode_ >= 0) throw std::logic_error("the scale is splat before its first use");
    splatMoves_ = laneMovesOfSplat;
}

Ref Dag::xchg(Ref x) {
    if (x.isZero()) return x;
    return Ref{make(Op::Xchg, x.id, -1, 0), x.neg};
}

Ref Dag::mask(Ref x) {
    if (x.isZero()) return x;
    return Ref{make(Op::Mask, x.id, -1, 0), x.neg};
}

Ref Dag::shuf(int kind, Ref x, Ref y) {
    if (x.neg || y.neg) throw std::logic_error("shuffle of a negated value");
    return Ref{make(Op::Shuf, x.id, y.id, kind), false};
}

void Dag::output(int slot, Ref value) {
    if (value.isZero()) throw std::logic_error("output " + std::to_string(slot) + " is an exact zero");
    outputs_.push_back(Output{slot, value.id, value.neg});
}

std::vector<bool> Dag::live() const {
    std::vector<bool> lv(nodes_.size(), false);
    for (const Output& o : outputs_) lv[static_cast<std::size_t>(o.id)] = true;
    for (std::size_t i = nodes_.size(); i-- > 0;) {
        if (!lv[i]) continue;
        const Node& n = nodes_[i];
        if (n.a >= 0) lv[static_cast<std::size_t>(n.a)] = true;
        if (n.b >= 0) lv[static_cast<std::size_t>(n.b)] = true;
    }
    return lv;
}

std::vector<int> Dag::consumers() const {
    std::vector<bool> lv = live();
    std::vector<int> c(nodes_.size(), 0);
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        if (!lv[i]) continue;
        const Node& n = nodes_[i];
        if (n.a >= 0) ++c[static_cast<std::size_t>(n.a)];
        if (n.b >= 0) ++c[static_cast<std::size_t>(n.b)];
    }
    for (const Output& o : outputs_) ++c[static_cast<std::size_t>(o.id)];
    return c;
}

OpCounts Dag::counts() const {
    std::vector<bool> lv = live();
    OpCounts c;
    for (const Output& o : outputs_) c.neg += o.neg;
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        if (!lv[i]) continue;
        c.shuf += laneMoves(nodes_[i]);
        switch (nodes_[i].op) {
            case Op::Add: ++c.add; break;
            case Op::Sub: ++c.sub; break;
            case Op::Mul: ++c.mul; break;
            case Op::Xchg: ++c.xchg; break;
            case Op::Mask: ++c.mask; break;
            default: break;
        }
    }
    return c;
}

}  // namespace qrbgen::plans
