// The DAG of real operations that every generated kernel is made of.
//
// A node is one operation on one value of the kernel's element form: a
// scalar, a (re, im) pair register or a 4-lane vector; what a node means in
// registers is the emitter's business. Nodes are hash-consed, so an
// operation on the same operands is formed once: this is what makes
// "identical products are formed once" hold across a whole network.
//
// Builders work with signed references. A negation is never an operation:
// it is carried in the reference and absorbed by the addition or
// subtraction that consumes the value, or by a constant's sign. These are
// the reduction rules of the simplifier; dead nodes are dropped when a
// kernel is counted or emitted.
#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace qrbgen::plans {

enum class Op : std::uint8_t {
    Input,  // imm = input slot
    Const,  // imm = constant index
    Scale,  // the flag-selected scale factor, imm unused
    Add,
    Sub,
    Mul,   // a = Const or Scale node, b = value
    Xchg,  // pair form: exchange the two lanes
    Mask,  // pair form: change the sign of lane 0, giving i*z from the exchanged z
    Shuf,  // vector form: lane moves, imm = kind (emitter-defined), a and b operands
};

struct Node {
    Op op;
    int a = -1, b = -1;
    int imm = 0;
};

// A signed reference to a node; id -1 is the exact zero.
struct Ref {
    int id = -1;
    bool neg = false;
    bool isZero() const { return id < 0; }
    Ref operator-() const { return isZero() ? *this : Ref{id, !neg}; }
    bool operator==(const Ref& o) const { return id == o.id && neg == o.neg; }
};

// A constant operand: its lane values (1 for scalar and splat-pair
// constants, 2 for a signed pair, 4 for a lane vector).
struct Constant {
    std::vector<double> lanes;
};

struct OpCounts {
    int add = 0, sub = 0, mul = 0, xchg = 0, mask = 0, shuf = 0;
};

class Dag {
public:
    Ref input(int slot);
    Ref zero() const { return Ref{}; }

    Ref add(Ref x, Ref y);
    Ref sub(Ref x, Ref y);
    // c * x with a real constant: the sign of c goes into the reference,
    // 1 and -1 cost nothing, 0 gives the zero reference.
    Ref mulC(double c, Ref x);
    // x times an explicit constant with the given lanes (no sign folding).
    Ref mulK(const std::vector<double>& lanes, Ref x);
    // x times the scale factor; this is the last operation on every output.
    Ref scale(Ref x);
    Ref xchg(Ref x);
    Ref mask(Ref x);
    Ref shuf(int kind, Ref x, Ref y);

    // Stores value at the slot. A negated value is stored as 0 - v, a
    // subtraction from +0.0 that the emitter performs after the scale.
    void output(int slot, Ref value);

    const std::vector<Node>& nodes() const { return nodes_; }
    const Node& node(int id) const { return nodes_[static_cast<std::size_t>(id)]; }
    const std::vector<Constant>& constants() const { return consts_; }
    // Output slot -> node id, in the order of the output calls.
    const std::vector<std::pair<int, int>>& outputs() const { return outputs_; }
    // Whether output i (an index into outputs()) is stored as 0 - value.
    bool outputNegated(std::size_t i) const { return outputNeg_[i] != 0; }

    // Nodes that some output depends on.
    std::vector<bool> live() const;
    // Operation counts over the live nodes.
    OpCounts counts() const;
    // Number of live consumers of every node (an output counts as one).
    std::vector<int> consumers() const;

    int constIndex(const std::vector<double>& lanes);

    // Nodes from this id on belong to the output side of the kernel (the
    // join of the top, the scale); the scheduler emits them as soon as they
    // are ready so that results leave the registers early.
    void markOutputSide() { outputSide_ = static_cast<int>(nodes_.size()); }
    int outputSide() const { return outputSide_; }

private:
    int make(Op op, int a, int b, int imm);
    Ref addPos(int x, int y);
    Ref subPos(int x, int y);

    struct Key {
        Op op;
        int a, b, imm;
        bool operator==(const Key& o) const { return op == o.op && a == o.a && b == o.b && imm == o.imm; }
    };
    struct KeyHash {
        std::size_t operator()(const Key& k) const {
            std::size_t h = static_cast<std::size_t>(k.op);
            h = h * 1000003u ^ static_cast<std::size_t>(k.a);
            h = h * 1000003u ^ static_cast<std::size_t>(k.b);
            h = h * 1000003u ^ static_cast<std::size_t>(k.imm);
            return h;
        }
    };
    std::vector<Node> nodes_;
    std::vector<Constant> consts_;
    std::unordered_map<Key, int, KeyHash> index_;
    std::vector<std::pair<int, int>> outputs_;
    std::vector<char> outputNeg_;
    int scaleNode_ = -1;
    int outputSide_ = 1 << 30;
};

}  // namespace qrbgen::plans
