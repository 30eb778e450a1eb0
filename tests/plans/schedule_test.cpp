// The list scheduler and the register simulation it chooses by.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

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

TEST(Schedule, StoresWaitForTheLastLoad) {
    // y0 = x0 * s needs only the first input; y1 = (x0 + x1) * s needs the
    // second, which is loaded late. y0 is ready first, yet its store must
    // follow the load of x1, or an in-place call would read a result.
    for (bool loadsFirst : {false, true}) {
        Dag d;
        const Ref x0 = d.input(0);
        d.output(0, d.scale(x0));
        const Ref x1 = d.input(1);
        d.output(1, d.scale(d.add(x0, x1)));
        std::vector<std::string> events;
        ScheduleHooks h;
        h.node = [&](int) {};
        h.load = [&](int id) { events.push_back("load" + std::to_string(d.node(id).imm)); };
        h.store = [&](const Output& o) { events.push_back("store" + std::to_string(o.slot)); };
        schedule(d, h, loadsFirst, {8});
        ASSERT_EQ(events.size(), 4u);
        const auto at = [&](const std::string& e) { return std::find(events.begin(), events.end(), e) - events.begin(); };
        EXPECT_LT(at("load1"), at("store0")) << "loadsFirst " << loadsFirst;
        EXPECT_LT(at("load1"), at("store1"));
    }
}
