// A size plan as a tree: leaves are base transforms, inner nodes are
// Cooley-Tukey (C) and Good-Thomas (G) splits; the first child is the stage
// that touches the input.
#pragma once
#include <memory>
#include <string>
#include <vector>

namespace qrbgen::plans {

struct PlanNode {
    enum Kind { Leaf, CT, GT, Rader, Chirp } kind = Leaf;
    int n = 0;             // transform length of this node
    bool sumDiff = false;  // leaf 5s: sum-difference form on real-weighted data
    bool realRader = false;  // leaf 7r: real-coefficient prime network
    std::vector<PlanNode> kids;  // CT/GT: {first stage, second stage}
    // A prime network written Rp[first] or Rp[first;even;odd]: the plans of
    // its halves, in place of those of its row (empty: the row's).
    std::string halves;

    std::string str() const;
    bool isLeaf() const { return kind == Leaf; }
};

// Parses a plan string such as "C(4,G(3,2))" or "G(5s,7r)" and checks it:
// the factors must multiply to the node's length and Good-Thomas factors
// must be coprime. A prime of 13 or more, bare or written Rp, is the
// real-coefficient prime network (kind Rader); so is R7 or R11, while a bare
// 7 or 11 is the direct leaf. Throws std::invalid_argument otherwise.
// Whether a rule can build the plan in a given register scheme is the
// rule's business.
PlanNode parsePlan(const std::string& text);

// The same, and also checks that the plan has length n.
PlanNode parsePlanFor(const std::string& text, int n);

}  // namespace qrbgen::plans
