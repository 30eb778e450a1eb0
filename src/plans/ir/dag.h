// The DAG of real operations that every generated kernel is made of.
//
// A node is one operation on one value of the kernel's register scheme: a
// scalar, a (re, im) pair register or a 4-lane vector; what a node means in
// registers is the printer's business. Nodes are hash-consed, so an
// operation on the same operands is formed once: this is what makes
// "identical products are formed once" hold across a whole network.
//
// Builders work with signed references. A negation is never an operation:
// it is carried in the reference and absorbed by the addition or
// subtraction that consumes the value, or by a constant's sign. These are
// the reduction rules of the simplifier; dead nodes are dropped when a
// kernel is counted or printed. An output may be carried negated: a kernel
// of the real family then stores 0 - s*v.
//
// Everything a kernel executes between its loads and stores is a node, so
// its operation counts come from the DAG alone.
#pragma once
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace qrbgen::plans {

enum class Op : std::uint8_t {
    Input,  // imm = input slot; aux = load kind (LoadPlain, LoadMerged)
    Const,  // imm = constant index
    Scale,  // the flag-selected scale factor, imm unused
    Splat,  // the scale in every lane of a register: a = Scale, aux = lane moves it takes
    Add,
    Sub,
    Mul,   // a = Const, Scale or Splat node, b = value
    Xchg,  // pair form: exchange the two lanes
    Mask,  // pair form: change the sign of lane 0, giving i*z from the exchanged z
    Shuf,  // vector form: lane moves, imm = kind (printer-defined), a and b operands
};

// How an input reaches its register. A merged load builds a vector that
// starts at an odd element from the two aligned vectors around it: three
// lane moves in the aligned form.
enum LoadKind { LoadPlain = 0, LoadMerged = 1 };

// Marks that a builder attaches to a value for a later stage to read.
enum Tag : std::uint8_t {
    TagNone = 0,
    // The sine output of a 3- or 5-point leaf, formed as one product or as
    // the sum or difference of two products of the leaf's differences. When
    // such a value reaches the join of the top unchanged, its products take
    // exchanged operands and need no sign mask.
    TagLeafSine = 1,
};

struct Node {
    Op op;
    int a = -1, b = -1;  // operands
    int imm = 0;
    int aux = 0;  // what an operation needs beyond its operands and immediate
};

// A signed reference to a node; id -1 is the exact zero.
struct Ref {
    int id = -1;
    bool neg = false;
    bool isZero() const { return id < 0; }
    Ref operator-() const { return isZero() ? *this : Ref{id, !neg}; }
    bool operator==(const Ref& o) const { return id == o.id && neg == o.neg; }
};

// Constants of a network come in the precision of the kernel's arithmetic.
enum class ConstPrecision { Double, Single };

// A constant operand: its lane values (1 for scalar and splat-pair
// constants, 2 for a signed pair, 4 for a lane vector).
struct Constant {
    std::vector<double> lanes;
};

// An output slot and the value stored there; `neg` asks for 0 - value.
struct Output {
    int slot;
    int id;
    bool neg;
};

struct OpCounts {
    int add = 0, sub = 0, mul = 0, xchg = 0, mask = 0, shuf = 0;
    int neg = 0;  // outputs stored as 0 - value
};

// Lane moves an operation takes: what the shuffle counts of the plan tables
// count.
int laneMoves(const Node& n);

class Dag {
public:
    // ---- Parallel instances ------------------------------------------------
    // A builder that runs one construction on several sets of values (the
    // sub-transforms of a split stage, the real and imaginary halves of a
    // complex leaf) declares them: a group, and in it one instance per run,
    // opened with the values the run starts from, in order. The instances
    // of a group are alike but for their values and constants; a packing
    // pass may run them side by side. Declaring them changes no node.
    struct Instance {
        int group;
        std::vector<int> seeds;  // the starting values (-1 for an exact zero)
        std::vector<int> nodes;  // the nodes made while it was open, those of nested instances included
    };
    int newGroup() { return groups_++; }
    // `count` new groups at once; returns the first.
    int newGroups(int count) {
        const int first = groups_;
        groups_ += count;
        return first;
    }
    // Declares an instance after the fact, from the nodes it is made of.
    void addInstance(Instance in) { instances_.push_back(std::move(in)); }
    class InstanceScope {
    public:
        InstanceScope(Dag& d, int group, const std::vector<Ref>& seeds);
        ~InstanceScope();
        InstanceScope(const InstanceScope&) = delete;
        InstanceScope& operator=(const InstanceScope&) = delete;

    private:
        Dag& d_;
    };
    const std::vector<Instance>& instances() const { return instances_; }
    int groups() const { return groups_; }
    // Carries the instances of `from` over to this DAG, a rebuilt copy of
    // it in which node i of `from` became map[i] (the zero reference where
    // the node was left out).
    void adoptInstances(const Dag& from, const std::vector<Ref>& map);

    Ref input(int slot, LoadKind kind = LoadPlain);
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
    // From now on the scale is taken from a register that holds it in every
    // lane, formed once with `laneMovesOfSplat` lane moves.
    void splatScale(int laneMovesOfSplat);
    Ref xchg(Ref x);
    Ref mask(Ref x);
    Ref shuf(int kind, Ref x, Ref y);

    // Stores `value` at `slot`; a negated value is stored as 0 - value.
    void output(int slot, Ref value);

    void tag(Ref x, Tag t);
    bool hasTag(Ref x, Tag t) const;

    const std::vector<Node>& nodes() const { return nodes_; }
    const Node& node(int id) const { return nodes_[static_cast<std::size_t>(id)]; }
    const std::vector<Constant>& constants() const { return consts_; }
    const std::vector<Output>& outputs() const { return outputs_; }
    // The value of a constant operand node (lane 0 for a lane vector).
    double constValue(int constNodeId) const;

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
    int make(Op op, int a, int b, int imm, int aux = 0);
    Ref addPos(int x, int y);
    Ref subPos(int x, int y);

    struct Key {
        Op op;
        int a, b, imm, aux;
        bool operator==(const Key& o) const {
            return op == o.op && a == o.a && b == o.b && imm == o.imm && aux == o.aux;
        }
    };
    struct KeyHash {
        std::size_t operator()(const Key& k) const {
            std::size_t h = static_cast<std::size_t>(k.op);
            h = h * 1000003u ^ static_cast<std::size_t>(k.a);
            h = h * 1000003u ^ static_cast<std::size_t>(k.b);
            h = h * 1000003u ^ static_cast<std::size_t>(k.imm);
            h = h * 1000003u ^ static_cast<std::size_t>(k.aux);
            return h;
        }
    };
    std::vector<Node> nodes_;
    std::vector<std::uint8_t> tags_;
    std::vector<Constant> consts_;
    std::unordered_map<Key, int, KeyHash> index_;
    std::vector<Output> outputs_;
    std::vector<Instance> instances_;
    std::vector<int> open_;  // the instances open now, innermost last
    int groups_ = 0;
    int scaleNode_ = -1;   // the Scale or Splat operand of the scale products
    int splatMoves_ = -1;  // lane moves of the splat, or -1 for a scalar scale
    int outputSide_ = 1 << 30;
};

}  // namespace qrbgen::plans
