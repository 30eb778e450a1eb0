// The packing pass on the DAGs of the real kernels: a wide program is run
// slot by slot by a small interpreter beside the DAG itself, and every value
// must come out with the same bits where the program says it lives. This
// holds the pass's bookkeeping (operands, slots, gathers, operand order of
// additions) without a compiler in the loop; the bit-exact tests of the
// compiled variants hold the printers.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <string>

#include "emit/printers.h"
#include "ir/pack.h"
#include "registry/kinds.h"
#include "registry/schemes.h"
#include "rules/kernel.h"
#include "rules/split32.h"

using namespace qrbgen::plans;

namespace {

// One 16-byte block: two doubles or four floats, held as doubles.
struct Block {
    double l[4] = {0, 0, 0, 0};
};

class Interpreter {
public:
    Interpreter(const Dag& d, bool single) : d_(d), single_(single), lanes_(single ? 4 : 2) {}

    double round(double x) const { return single_ ? static_cast<double>(static_cast<float>(x)) : x; }

    // The value of node id from the blocks of its operands.
    Block apply(int id, const Block* a, const Block* b) const {
        const Node& n = d_.node(id);
        Block r;
        switch (n.op) {
            case Op::Add:
                for (int i = 0; i < lanes_; ++i) r.l[i] = round(a->l[i] + b->l[i]);
                break;
            case Op::Sub:
                for (int i = 0; i < lanes_; ++i) r.l[i] = round(a->l[i] - b->l[i]);
                break;
            case Op::Mul: {
                const Node& k = d_.node(n.a);
                for (int i = 0; i < lanes_; ++i) {
                    double c = kScale;
                    if (k.op == Op::Const) {
                        const auto& kl = d_.constants()[static_cast<std::size_t>(k.imm)].lanes;
                        c = kl.size() == 1 ? kl[0] : kl[static_cast<std::size_t>(i)];
                    }
                    r.l[i] = round(round(c) * b->l[i]);
                }
                break;
            }
            case Op::Xchg:
                r.l[0] = a->l[1];
                r.l[1] = a->l[0];
                break;
            case Op::Mask:
                r.l[0] = -a->l[0];
                r.l[1] = a->l[1];
                break;
            case Op::Shuf: {
                const double* x = a->l;
                const double* y = b->l;
                switch (static_cast<ShufKind>(n.imm)) {
                    case ShufEven: r = {{x[0], x[2], y[0], y[2]}}; break;
                    case ShufOdd: r = {{x[1], x[3], y[1], y[3]}}; break;
                    case UnpackLo: r = {{x[0], y[0], x[1], y[1]}}; break;
                    case UnpackHi: r = {{x[2], y[2], x[3], y[3]}}; break;
                    case MoveLH: r = {{x[0], x[1], y[0], y[1]}}; break;
                    case MoveHL: r = {{y[2], y[3], x[2], x[3]}}; break;
                }
                break;
            }
            default: ADD_FAILURE() << "unexpected operation";
        }
        return r;
    }

    static constexpr double kScale = 0.125;

private:
    const Dag& d_;
    bool single_;
    int lanes_;
};

// Runs the DAG and the wide program on the same random inputs; returns the
// number of live values whose bits differ where the program computes them.
int mismatches(const KernelDag& kd, int slots, const std::vector<int>& classes = {}) {
    const Dag& d = kd.dag;
    // A scalar network is run in double: the bookkeeping is what is held.
    const bool single = kd.desc.type == Type::C32;
    const WideProgram w = packDag(d, slots, classes);
    EXPECT_EQ(w.slots, slots);
    Interpreter in(d, single);
    std::mt19937 gen(static_cast<unsigned>(kd.desc.n));
    std::uniform_real_distribution<double> dist(-1, 1);
    const std::vector<bool> lv = d.live();
    std::vector<Block> value(d.nodes().size());
    for (std::size_t i = 0; i < d.nodes().size(); ++i) {
        const Node& n = d.nodes()[i];
        if (!lv[i]) continue;
        if (n.op == Op::Input) {
            for (double& x : value[i].l) x = in.round(dist(gen));
        } else if (n.op != Op::Const && n.op != Op::Scale && n.op != Op::Splat) {
            const bool mul = n.op == Op::Mul;
            value[i] = in.apply(static_cast<int>(i), mul ? nullptr : &value[static_cast<std::size_t>(n.a)],
                                mul ? &value[static_cast<std::size_t>(n.b)]
                                    : (n.b >= 0 ? &value[static_cast<std::size_t>(n.b)] : nullptr));
        }
    }
    std::vector<std::vector<Block>> wide(w.nodes.size(), std::vector<Block>(static_cast<std::size_t>(slots)));
    for (std::size_t i = 0; i < w.nodes.size(); ++i) {
        const WideNode& n = w.nodes[i];
        for (int s = 0; s < slots; ++s) {
            const auto us = static_cast<std::size_t>(s);
            if (n.kind == WideNode::Gather) {
                const Pick& p = n.pick[us];
                if (p.src < 0) continue;
                const int src = p.src == 0 ? n.a : n.b;
                EXPECT_LT(src, static_cast<int>(i)) << "a gather before its source";
                wide[i][us] = wide[static_cast<std::size_t>(src)][static_cast<std::size_t>(p.slot)];
                continue;
            }
            const int b = n.base[us];
            if (b < 0) continue;
            if (n.kind == WideNode::Load) {
                wide[i][us] = value[static_cast<std::size_t>(b)];
                continue;
            }
            // Every slot of an operation does what its DAG node does, with
            // the operands found in the same slot of the wide operands.
            const Node& bn = d.node(b);
            auto slot = [&](int wn) { return &wide[static_cast<std::size_t>(wn)][us]; };
            if (bn.op == Op::Mul) wide[i][us] = in.apply(b, nullptr, slot(n.b));
            else if (n.swapped[us]) wide[i][us] = in.apply(b, slot(n.b), slot(n.a));
            else wide[i][us] = in.apply(b, slot(n.a), n.b >= 0 ? slot(n.b) : nullptr);
        }
    }
    int bad = 0, placed = 0;
    for (std::size_t i = 0; i < d.nodes().size(); ++i) {
        const Place p = w.place[i];
        if (p.node < 0) continue;
        ++placed;
        bad += std::memcmp(&wide[static_cast<std::size_t>(p.node)][static_cast<std::size_t>(p.slot)], &value[i],
                           sizeof(Block)) != 0;
    }
    int live = 0;
    for (std::size_t i = 0; i < d.nodes().size(); ++i) {
        const Op op = d.nodes()[i].op;
        live += lv[i] && op != Op::Const && op != Op::Scale && op != Op::Splat;
    }
    EXPECT_EQ(placed, live) << kernelName(kd.desc) << ": every live value has exactly one place";
    return bad;
}

}  // namespace

TEST(Packing, EveryValueKeepsItsBitsInEveryWidth) {
    int kernels = 0;
    for (const KernelDesc& k : allKernels()) {
        if (pending(k) || k.kind != Kind::CToC) continue;
        const SchemeRow& s = schemeFor(k);
        if (s.id == SchemeId::Scalar32fc) continue;
        const KernelDag kd = buildKernel(k, s);
        for (int slots : {1, 2, 4}) EXPECT_EQ(mismatches(kd, slots), 0) << kernelName(k) << " in " << slots << " slots";
        ++kernels;
    }
    EXPECT_GT(kernels, 0);
}

// The real and Hartley networks, one value per lane: in double, and in
// single under the precision classes that keep a register of one kind.
TEST(Packing, ScalarNetworksKeepTheirBitsInLanes) {
    for (Kind kind : {Kind::RToCCS, Kind::CCSToR, Kind::Hartley})
        for (Type t : {Type::F64, Type::F32})
            for (int n : {6, 12, 16, 23, 30, 48, 64}) {
                const KernelDesc k{kind, t, n, false};
                const KernelDag kd = buildKernel(k, schemeFor(k));
                const std::vector<int> classes = lanePackClasses(kd);
                EXPECT_EQ(classes.empty(), t == Type::F64);
                for (int slots : {2, 4, 8}) EXPECT_EQ(mismatches(kd, slots, classes), 0) << kernelName(k) << " in " << slots;
            }
}

// A pack of a 32f network holds one precision class: its operations and
// their operands agree in single or double, and so what each lane widens
// and rounds.
TEST(Packing, SinglePrecisionClassesStayApart) {
    for (Kind kind : {Kind::RToCCS, Kind::CCSToR}) {
        const KernelDesc k{kind, Type::F32, 36, false};
        const KernelDag kd = buildKernel(k, schemeFor(k));
        const std::vector<int> classes = lanePackClasses(kd);
        std::set<int> seen;
        for (int c : classes) seen.insert(c);
        EXPECT_GE(seen.size(), 3u) << "singles, doubles and rounded doubles";
        const WideProgram w = packDag(kd.dag, 4, classes);
        for (const WideNode& n : w.nodes) {
            if (n.kind != WideNode::Apply) continue;
            int cls = -1;
            for (int b : n.base) {
                if (b < 0) continue;
                if (cls < 0) cls = classes[static_cast<std::size_t>(b)];
                EXPECT_EQ(classes[static_cast<std::size_t>(b)], cls) << kernelName(k);
            }
        }
    }
}

// The conversions between single and double that the cost of a packing
// counts: for the one-value form they are those the scalar printer writes,
// each single value widened once and each double expression rounded once at
// its root; a 64f kernel has none.
TEST(Packing, ConversionsAreThoseTheScalarKernelMakes) {
    for (Kind kind : {Kind::RToCCS, Kind::CCSToR, Kind::Hartley})
        for (int n : {5, 9, 13, 16, 36}) {
            const KernelDesc k{kind, Type::F32, n, false};
            const KernelDag kd = buildKernel(k, schemeFor(k));
            const std::string text = printScalar(kd, schemeFor(k)).text;
            int narrowed = 0;
            std::set<std::string> widened;
            for (std::size_t at = 0; (at = text.find("static_cast<", at)) != std::string::npos; ++at) {
                if (text.compare(at, 19, "static_cast<float>(") == 0) ++narrowed;
                if (text.compare(at, 20, "static_cast<double>(") != 0) continue;
                const std::size_t from = at + 20, to = text.find(')', from);
                const std::string v = text.substr(from, to - from);
                if (v != "s") widened.insert(v);
            }
            EXPECT_GT(narrowed, 0) << kernelName(k);
            const int counted = laneConversions(kd, packDag(kd.dag, 1, lanePackClasses(kd)));
            EXPECT_EQ(counted, narrowed + static_cast<int>(widened.size())) << kernelName(k);
            const KernelDesc k64{kind, Type::F64, n, false};
            const KernelDag kd64 = buildKernel(k64, schemeFor(k64));
            EXPECT_EQ(laneConversions(kd64, packDag(kd64.dag, 4)), 0) << kernelName(k64);
        }
}

// The sub-transforms of the real splits are declared as instances: the
// forward network of 64 points runs most of its operations four at a time.
// The dual of a network inherits its instances; the inverse and Hartley
// networks, whose duals sum what comes back from unlike places, pack less
// tightly but still run in less than six tenths of their operations.
TEST(Packing, RealSplitsRunSideBySide) {
    for (Kind kind : {Kind::RToCCS, Kind::CCSToR, Kind::Hartley}) {
        const KernelDesc k{kind, Type::F64, 64, false};
        const KernelDag kd = buildKernel(k, schemeFor(k));
        EXPECT_GT(kd.dag.instances().size(), 8u) << kernelName(k);
        const WideProgram::Stats s = packDag(kd.dag, 4).stats();
        if (kind == Kind::RToCCS) {
            EXPECT_GT(static_cast<double>(s.baseOps) / (4.0 * s.applies), 0.75);
            EXPECT_LT(s.applies, s.baseOps * 4 / 10);
        } else {
            EXPECT_LT(s.applies, s.baseOps * 6 / 10) << kernelName(k);
        }
    }
}

// The stages of a split are parallel instances: the first stage of
// C(C(4,4),4) in pair form is four identical 16-point transforms, and in
// four slots every one of its operations runs once for all four.
TEST(Packing, IdenticalSubTransformsShareEveryOperation) {
    const KernelDesc k{Kind::CToC, Type::C64, 64, false};
    const KernelDag kd = buildKernel(k, schemeFor(k));
    const WideProgram w = packDag(kd.dag, 4);
    int loads = 0;
    for (const WideNode& n : w.nodes) {
        if (n.kind != WideNode::Load) continue;
        ++loads;
        for (int b : n.base) EXPECT_GE(b, 0) << "a load with an empty slot";
    }
    EXPECT_EQ(loads, 16);
    const WideProgram::Stats s = w.stats();
    const OpCounts c = kd.dag.counts();
    const int ops = c.add + c.sub + c.mul + c.xchg + c.mask + c.shuf;
    // Most operations share a wide operation with three others.
    EXPECT_GT(static_cast<double>(s.baseOps) / (4.0 * s.applies), 0.8);
    EXPECT_LT(s.applies + s.gathers, ops * 6 / 10);
}

// An operation never shares a wide operation with one of another kind, and
// the gathers only copy.
TEST(Packing, SlotsOfAnOperationAgree) {
    const KernelDesc k{Kind::CToC, Type::C32, 60, true};
    const KernelDag kd = buildKernel(k, schemeFor(k));
    const WideProgram w = packDag(kd.dag, 2);
    for (const WideNode& n : w.nodes) {
        if (n.kind != WideNode::Apply) continue;
        int first = -1;
        for (int b : n.base) {
            if (b < 0) continue;
            if (first < 0) {
                first = b;
                continue;
            }
            const Node& x = kd.dag.node(first);
            const Node& y = kd.dag.node(b);
            EXPECT_EQ(x.op, y.op);
            if (x.op == Op::Shuf) {
                EXPECT_EQ(x.imm, y.imm);
            }
            if (x.op == Op::Mul) {
                EXPECT_EQ(kd.dag.node(x.a).op == Op::Const, kd.dag.node(y.a).op == Op::Const);
            }
        }
    }
}
