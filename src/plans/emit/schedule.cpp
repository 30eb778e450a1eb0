#include "emit/schedule.h"

#include <stdexcept>
#include <vector>

namespace qrbgen::plans {

void schedule(const Dag& d, const ScheduleHooks& hooks, bool loadsFirst) {
    const std::size_t count = d.nodes().size();
    std::vector<bool> lv = d.live();
    std::vector<int> outIndex(count, -1);
    for (std::size_t i = 0; i < d.outputs().size(); ++i)
        outIndex[static_cast<std::size_t>(d.outputs()[i].id)] = static_cast<int>(i);
    // Values that are printed as code: everything live but the operands
    // that the frame provides (constants and the scale).
    auto isValue = [&](std::size_t i) {
        Op op = d.nodes()[i].op;
        return lv[i] && op != Op::Const && op != Op::Scale && op != Op::Splat;
    };
    auto isOperand = [&](int id) { return id >= 0 && isValue(static_cast<std::size_t>(id)); };
    std::vector<int> usesLeft(count, 0), waiting(count, 0);
    std::vector<std::vector<int>> users(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (!isValue(i)) continue;
        const Node& n = d.nodes()[i];
        for (int opnd : {n.a, n.b}) {
            if (!isOperand(opnd)) continue;
            ++usesLeft[static_cast<std::size_t>(opnd)];
            ++waiting[i];
            users[static_cast<std::size_t>(opnd)].push_back(static_cast<int>(i));
        }
        if (n.a >= 0 && n.a == n.b && isOperand(n.a)) {
            // x op x: one operand slot counts once
            --usesLeft[static_cast<std::size_t>(n.a)];
            --waiting[i];
            users[static_cast<std::size_t>(n.a)].pop_back();
        }
    }
    std::vector<int> ready;
    std::vector<bool> done(count, false), queued(count, false);
    bool stored = false;
    auto emit = [&](int id) {
        const Node& n = d.node(id);
        done[static_cast<std::size_t>(id)] = true;
        if (n.op == Op::Input) {
            if (stored) throw std::logic_error("a load would follow a store");
            hooks.load(id);
        } else {
            hooks.node(id);
        }
        if (outIndex[static_cast<std::size_t>(id)] >= 0) {
            hooks.store(d.outputs()[static_cast<std::size_t>(outIndex[static_cast<std::size_t>(id)])]);
            stored = true;
        }
        for (int opnd : {n.a, n.b})
            if (isOperand(opnd)) --usesLeft[static_cast<std::size_t>(opnd)];
        if (n.a >= 0 && n.a == n.b && isOperand(n.a)) ++usesLeft[static_cast<std::size_t>(n.a)];
        for (int u : users[static_cast<std::size_t>(id)])
            if (--waiting[static_cast<std::size_t>(u)] == 0 && !queued[static_cast<std::size_t>(u)]) {
                queued[static_cast<std::size_t>(u)] = true;
                ready.push_back(u);
            }
    };
    if (loadsFirst)
        for (std::size_t i = 0; i < count; ++i)
            if (isValue(i) && d.nodes()[i].op == Op::Input) {
                queued[i] = true;
                emit(static_cast<int>(i));
            }
    for (std::size_t i = 0; i < count; ++i)
        if (isValue(i) && !queued[i] && waiting[i] == 0) {
            queued[i] = true;
            ready.push_back(static_cast<int>(i));
        }
    while (!ready.empty()) {
        // Output side first, then the network in creation order (which
        // follows the plan's stages and sub-transforms), loads last.
        std::size_t best = 0;
        long long bestKey = 0;
        for (std::size_t r = 0; r < ready.size(); ++r) {
            const int id = ready[r];
            long long key = id;
            if (id >= d.outputSide()) key -= 1LL << 40;
            else if (d.node(id).op == Op::Input) key += 1LL << 40;
            if (r == 0 || key < bestKey) {
                best = r;
                bestKey = key;
            }
        }
        const int id = ready[best];
        ready[best] = ready.back();
        ready.pop_back();
        emit(id);
    }
    for (std::size_t i = 0; i < count; ++i)
        if (isValue(i) && !done[i]) throw std::logic_error("scheduler left a node out");
}

std::vector<int> listOrder(const ListGraph& g) {
    const std::size_t n = g.operands.size();
    std::vector<int> waiting(n, 0);
    std::vector<std::vector<int>> users(n);
    for (std::size_t i = 0; i < n; ++i)
        for (int o : g.operands[i]) {
            ++waiting[i];
            users[static_cast<std::size_t>(o)].push_back(static_cast<int>(i));
        }
    std::vector<int> ready, order;
    for (std::size_t i = 0; i < n; ++i)
        if (waiting[i] == 0) ready.push_back(static_cast<int>(i));
    while (!ready.empty()) {
        std::size_t best = 0;
        for (std::size_t r = 1; r < ready.size(); ++r) {
            const auto a = static_cast<std::size_t>(ready[r]), b = static_cast<std::size_t>(ready[best]);
            if (g.late[a] != g.late[b] ? !g.late[a] : g.key[a] < g.key[b]) best = r;
        }
        const int id = ready[best];
        ready[best] = ready.back();
        ready.pop_back();
        order.push_back(id);
        for (int u : users[static_cast<std::size_t>(id)])
            if (--waiting[static_cast<std::size_t>(u)] == 0) ready.push_back(u);
    }
    if (order.size() != n) throw std::logic_error("list schedule: a cycle");
    return order;
}

}  // namespace qrbgen::plans
