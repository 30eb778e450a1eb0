// The list scheduler and the register simulation it chooses by.
#include <gtest/gtest.h>

#include <algorithm>

#include "emit/schedule.h"

using namespace qrbgen::plans;

namespace {

// Two loads a, b; s = a + b, d = a - b; t = s * d; node 5 an extra load c
// and u = t + c.
ListGraph butterfly() {
    ListGraph g;
    g.operands = {{}, {}, {0, 1}, {0, 1}, {2, 3}, {}, {4, 5}};
    g.key = {0, 1, 2, 3, 4, 5, 6};
    g.late = {1, 1, 0, 0, 0, 1, 0};
    return g;
}

}  // namespace

TEST(Schedule, SimulatedStackTraffic) {
    const ListGraph g = butterfly();
    const std::vector<int> order = {0, 1, 2, 3, 4, 5, 6};
    // Three registers hold everything that is live at once.
    EXPECT_EQ(stackTraffic(g, order, 3), 0);
    // With two, s is computed while a and b are still needed by d: one of
    // the three values leaves (stored once) and comes back (reloaded once).
    EXPECT_EQ(stackTraffic(g, order, 2), 2);
    // An order that loads c before it is needed holds one more value.
    EXPECT_GT(stackTraffic(g, {5, 0, 1, 2, 3, 4, 6}, 2), stackTraffic(g, order, 2));
}

TEST(Schedule, OperandsComeFirstAndLoadsWait) {
    const ListGraph g = butterfly();
    const std::vector<int> order = listOrder(g, {2, 4});
    ASSERT_EQ(order.size(), g.operands.size());
    std::vector<int> at(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) at[static_cast<std::size_t>(order[i])] = static_cast<int>(i);
    for (std::size_t v = 0; v < g.operands.size(); ++v)
        for (int o : g.operands[v]) EXPECT_LT(at[static_cast<std::size_t>(o)], at[v]);
    // The load of c waits until nothing else is ready: right before u.
    EXPECT_EQ(at[5] + 1, at[6]);
}

TEST(Schedule, OutputSideFirst) {
    // Two independent chains 0 -> 1 and 2 -> 3; 3 is on the output side
    // (negative key) and runs as soon as 2 is done, before 0 although 0
    // comes earlier in the network's own order.
    ListGraph g;
    g.operands = {{}, {0}, {}, {2}};
    g.key = {2, 3, 0, 1 - (1LL << 40)};
    g.late = {0, 0, 0, 0};
    const std::vector<int> order = listOrder(g, {16});
    EXPECT_EQ(order, (std::vector<int>{2, 3, 0, 1}));
}
