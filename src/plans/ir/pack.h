// Packing a kernel's DAG into registers wider than the ones it was built for.
//
// The vector schemes compute on 16-byte registers: a pair of doubles (64fc)
// or four floats (32fc). A wide variant sets P such registers side by side
// in one register of 16*P bytes, its slots, and runs each operation on all
// its slots at once. Every slot executes exactly the operation that the
// 16-byte kernel executes on that value: the same DAG node, with the same
// operands, constants and order. Where an operand sits in another slot or
// another register it is brought over by a gather, a move of whole slots
// that copies bits and computes nothing. So a wide variant gives the bits of
// the kernel it packs by construction; the packing only decides how many
// wide operations and gathers it takes.
//
// The pass knows nothing of plans or transforms. It looks for parallel
// work in the DAG itself: values of the same operation whose dependence
// cones stay apart, such as the identical sub-transforms of a split stage
// (each with its own constants), and follows them through their operands
// and users while they stay slot-aligned. Where the pairing changes from
// one stage to the next (the transposes of a split), gathers appear.
#pragma once
#include <cstdint>
#include <vector>

#include "ir/dag.h"

namespace qrbgen::plans {

// Where a value lives in a wide program.
struct Place {
    int node = -1, slot = -1;
};

// One slot of a gather: which of its two sources (0 or 1) and which slot
// of it; src -1 leaves the slot undefined.
struct Pick {
    int src = -1, slot = -1;
};

struct WideNode {
    enum Kind : std::uint8_t { Load, Apply, Gather } kind;
    // The DAG node that each slot computes (Load, Apply); -1 for an empty slot.
    std::vector<int> base;
    // Apply: the wide operands, in the order of the DAG operation (a Mul
    // has only its value operand, in b, its constant comes per slot from
    // the DAG). Gather: the two sources (b may be -1).
    int a = -1, b = -1;
    // Apply of an addition: the slots whose DAG node has its operands the
    // other way round (addition is commutative in every bit of its value).
    std::vector<bool> swapped;
    // Gather: per slot, where the value comes from.
    std::vector<Pick> pick;
    // How the pass found the pack (for reports): 'i' parallel inputs, 'f'
    // followed forward, 'o' parallel outputs, 'b' followed backward, 'l'
    // the greedy fill; 'g' a gather.
    char origin = 'g';
};

struct WideProgram {
    int slots = 0;
    std::vector<WideNode> nodes;  // in an order in which operands come first
    std::vector<Place> place;     // by DAG node: where its value is computed (node -1: not a value)

    struct Stats {
        int loads = 0, applies = 0, gathers = 0;
        int baseOps = 0;  // DAG operations packed into applies
    };
    Stats stats() const;
};

// Packs the live values of d into slots of width P (P >= 1). Where
// `classes` is given (one entry per DAG node), only values of the same
// class share a wide operation: a printer that holds values of one kind
// of register per class (singles and doubles, say) gets packs of one kind.
WideProgram packDag(const Dag& d, int slots, const std::vector<int>& classes = {});

// The operations of a DAG node that count as its operands in a wide
// program: values only (a product's constant or scale is not one).
std::vector<int> valueOperands(const Dag& d, int id);

}  // namespace qrbgen::plans
