// The order in which a kernel's nodes are printed.
#pragma once
#include <functional>
#include <vector>

#include "ir/dag.h"

namespace qrbgen::plans {

struct ScheduleHooks {
    std::function<void(int id)> node;             // an operation
    std::function<void(int id)> load;             // an Input node
    std::function<void(const Output& o)> store;   // an output, right after its value
};

// A list schedule over the live nodes. The output side (join, scale, store)
// goes first as soon as it is ready, so results leave the registers early;
// the network follows its creation order, which walks the plan stage by
// stage and sub-transform by sub-transform; a load is taken only when
// nothing else is ready, so it sits right before its first use. Every
// output of a transform depends on every input, so all loads still come
// before the first store, which keeps src == dst safe; the scheduler checks
// it. With loadsFirst every load is emitted at the top instead (for kernels
// in which an output does not depend on every input slot).
void schedule(const Dag& d, const ScheduleHooks& hooks, bool loadsFirst);

// The same list schedule on any graph: among the ready nodes the one of
// lowest key, `late` nodes (loads, moves of whole slots) only when no other
// node is ready.
struct ListGraph {
    std::vector<std::vector<int>> operands;
    std::vector<long long> key;
    std::vector<char> late;
};
std::vector<int> listOrder(const ListGraph& g);

}  // namespace qrbgen::plans
