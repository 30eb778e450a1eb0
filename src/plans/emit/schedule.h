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
// nothing else is ready, so it sits right before its first use. A store
// waits until the last load has been made, which keeps src == dst safe.
// With loadsFirst every load is emitted at the top instead.
//
// Where the order among the rest is free, two policies compete (see
// listOrder) and the one that a register allocator with `registers`
// registers would spill least wins.
void schedule(const Dag& d, const ScheduleHooks& hooks, bool loadsFirst, const std::vector<int>& registers);

// The same list schedule on any graph: among the ready nodes, output side
// (negative key) first, then the policy's choice, `late` nodes (loads,
// moves of whole slots) only when no other node is ready.
struct ListGraph {
    std::vector<std::vector<int>> operands;
    std::vector<long long> key;
    std::vector<char> late;
};
enum class SchedulePolicy {
    Plain,   // lowest key
    Recent,  // operands touched last, then lowest key
    Frees,   // most values whose life it ends, less the one it starts; then lowest key
    FreesRecent,  // as Frees, then as Recent
    Critical,  // the longest chain of operations still ahead, then lowest key
};
// The order of the policy whose schedule moves the fewest values through
// the stack, summed over the register counts given.
std::vector<int> listOrder(const ListGraph& g, const std::vector<int>& registers);
// The order of one policy.
std::vector<int> listOrderBy(const ListGraph& g, SchedulePolicy policy);

// Values an allocator with `registers` registers moves through the stack
// under an order: reloads, and a store for each value evicted (the one
// used furthest ahead) that is needed again.
int stackTraffic(const ListGraph& g, const std::vector<int>& order, int registers);

}  // namespace qrbgen::plans
