#include "emit/schedule.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <vector>

namespace qrbgen::plans {

// A list schedule under one policy. Among the ready nodes the first key
// decides, output side before the rest; `late` nodes only when nothing else
// is ready. Under Plain the creation order follows; under Recent the node
// whose operands were touched last comes first, so that a value is used up
// while it is still in a register (the outputs of a direct leaf, for
// example, take their terms one operand at a time across all outputs).
// Under Critical the node with the longest chain of operations ahead comes
// first, output side or not and late or not, so that each chain starts as
// early as it can; where many short chains hang off a long one this ends
// values sooner than the other policies do.
std::vector<int> listOrderBy(const ListGraph& g, SchedulePolicy policy) {
    const std::size_t n = g.operands.size();
    std::vector<int> waiting(n, 0);
    std::vector<std::vector<int>> users(n);
    for (std::size_t i = 0; i < n; ++i)
        for (int o : g.operands[i]) {
            ++waiting[i];
            users[static_cast<std::size_t>(o)].push_back(static_cast<int>(i));
        }
    std::vector<long long> touched(n, -1);
    std::vector<int> usesLeft(n, 0);
    for (std::size_t i = 0; i < n; ++i)
        for (int o : g.operands[i]) ++usesLeft[static_cast<std::size_t>(o)];
    // Values a node ends the life of, less the one it starts.
    auto frees = [&](std::size_t i) {
        int f = 0;
        for (int o : g.operands[i]) f += usesLeft[static_cast<std::size_t>(o)] == 1;
        return f - (users[i].empty() ? 0 : 1);
    };
    // Operations on the longest path from a node to the end of the graph.
    std::vector<int> height(n, 0);
    if (policy == SchedulePolicy::Critical)
        for (std::size_t i = n; i-- > 0;)
            for (int u : users[i]) height[i] = std::max(height[i], height[static_cast<std::size_t>(u)] + 1);
    std::vector<int> ready, order;
    for (std::size_t i = 0; i < n; ++i)
        if (waiting[i] == 0) ready.push_back(static_cast<int>(i));
    auto recency = [&](std::size_t i) {
        long long r = -1;
        for (int o : g.operands[i]) r = std::max(r, touched[static_cast<std::size_t>(o)]);
        return r;
    };
    while (!ready.empty()) {
        std::size_t best = 0;
        for (std::size_t r = 1; r < ready.size(); ++r) {
            const auto a = static_cast<std::size_t>(ready[r]), b = static_cast<std::size_t>(ready[best]);
            if (policy == SchedulePolicy::Critical) {
                if (height[a] != height[b] ? height[a] > height[b] : g.key[a] < g.key[b]) best = r;
                continue;
            }
            if (g.late[a] != g.late[b]) {
                if (!g.late[a]) best = r;
                continue;
            }
            const bool outA = g.key[a] < 0, outB = g.key[b] < 0;
            if (outA != outB) {
                if (outA) best = r;
                continue;
            }
            if ((policy == SchedulePolicy::Frees || policy == SchedulePolicy::FreesRecent) && !g.late[a]) {
                const int fa = frees(a), fb = frees(b);
                if (fa != fb) {
                    if (fa > fb) best = r;
                    continue;
                }
            }
            if ((policy == SchedulePolicy::Recent || policy == SchedulePolicy::FreesRecent) && !g.late[a]) {
                const long long ra = recency(a), rb = recency(b);
                if (ra != rb) {
                    if (ra > rb) best = r;
                    continue;
                }
            }
            if (g.key[a] < g.key[b]) best = r;
        }
        const int id = ready[best];
        ready[best] = ready.back();
        ready.pop_back();
        const long long step = static_cast<long long>(order.size());
        order.push_back(id);
        touched[static_cast<std::size_t>(id)] = step;
        for (int o : g.operands[static_cast<std::size_t>(id)]) {
            touched[static_cast<std::size_t>(o)] = step;
            --usesLeft[static_cast<std::size_t>(o)];
        }
        for (int u : users[static_cast<std::size_t>(id)])
            if (--waiting[static_cast<std::size_t>(u)] == 0) ready.push_back(u);
    }
    if (order.size() != n) throw std::logic_error("list schedule: a cycle");
    return order;
}

int stackTraffic(const ListGraph& g, const std::vector<int>& order, int registers) {
    const std::size_t n = g.operands.size();
    std::vector<std::vector<int>> uses(n);  // positions in the order at which a value is used
    std::vector<int> pos(n, 0);
    for (std::size_t t = 0; t < order.size(); ++t) pos[static_cast<std::size_t>(order[t])] = static_cast<int>(t);
    for (std::size_t t = 0; t < order.size(); ++t)
        for (int o : g.operands[static_cast<std::size_t>(order[t])]) uses[static_cast<std::size_t>(o)].push_back(static_cast<int>(t));
    for (auto& u : uses) std::sort(u.begin(), u.end());
    std::vector<std::size_t> nextUse(n, 0);  // index into uses
    std::vector<char> inReg(n, 0), stored(n, 0);
    std::vector<int> regs;
    int traffic = 0;
    constexpr int kNever = std::numeric_limits<int>::max();
    auto next = [&](int v) {
        const auto& u = uses[static_cast<std::size_t>(v)];
        const std::size_t i = nextUse[static_cast<std::size_t>(v)];
        return i < u.size() ? u[i] : kNever;
    };
    // Makes room for one value: the one used furthest ahead leaves, and is
    // stored once if it is used again.
    auto evict = [&](const std::vector<int>& keep) {
        int victim = -1, far = -1;
        for (int r : regs) {
            if (std::find(keep.begin(), keep.end(), r) != keep.end()) continue;
            const int nu = next(r);
            if (nu > far) {
                far = nu;
                victim = r;
            }
        }
        if (victim < 0) return;
        regs.erase(std::find(regs.begin(), regs.end(), victim));
        inReg[static_cast<std::size_t>(victim)] = 0;
        if (far != kNever && !stored[static_cast<std::size_t>(victim)]) {
            stored[static_cast<std::size_t>(victim)] = 1;
            ++traffic;
        }
    };
    for (std::size_t t = 0; t < order.size(); ++t) {
        const int v = order[t];
        const auto& ops = g.operands[static_cast<std::size_t>(v)];
        for (int o : ops) {
            if (inReg[static_cast<std::size_t>(o)]) continue;
            ++traffic;  // a reload
            if (static_cast<int>(regs.size()) >= registers) evict(ops);
            regs.push_back(o);
            inReg[static_cast<std::size_t>(o)] = 1;
        }
        for (int o : ops) ++nextUse[static_cast<std::size_t>(o)];
        for (int o : ops)
            if (inReg[static_cast<std::size_t>(o)] && next(o) == kNever) {
                regs.erase(std::find(regs.begin(), regs.end(), o));
                inReg[static_cast<std::size_t>(o)] = 0;
            }
        if (next(v) == kNever) continue;  // stored at once, or unused
        if (static_cast<int>(regs.size()) >= registers) {
            // The new value itself leaves at once if it is used furthest ahead.
            int far = -1;
            for (int r : regs) far = std::max(far, next(r));
            if (next(v) >= far) {
                stored[static_cast<std::size_t>(v)] = 1;
                ++traffic;
                continue;
            }
            evict({});
        }
        regs.push_back(v);
        inReg[static_cast<std::size_t>(v)] = 1;
    }
    (void)pos;
    return traffic;
}

std::vector<int> listOrder(const ListGraph& g, const std::vector<int>& registers) {
    std::vector<int> best;
    long long bestTraffic = std::numeric_limits<long long>::max();
    for (SchedulePolicy p : {SchedulePolicy::Plain, SchedulePolicy::Recent, SchedulePolicy::Frees,
                             SchedulePolicy::FreesRecent}) {
        std::vector<int> order = listOrderBy(g, p);
        long long t = 0;
        for (int r : registers) t += stackTraffic(g, order, r);
        if (t < bestTraffic) {
            bestTraffic = t;
            best = std::move(order);
        }
    }
    return best;
}

void schedule(const Dag& d, const ScheduleHooks& hooks, bool loadsFirst, const std::vector<int>& registers) {
    const std::size_t count = d.nodes().size();
    const std::vector<bool> lv = d.live();
    std::vector<int> outIndex(count, -1);
    for (std::size_t i = 0; i < d.outputs().size(); ++i)
        outIndex[static_cast<std::size_t>(d.outputs()[i].id)] = static_cast<int>(i);
    // Values that are printed as code: everything live but the operands
    // that the frame provides (constants and the scale).
    auto isValue = [&](std::size_t i) {
        Op op = d.nodes()[i].op;
        return lv[i] && op != Op::Const && op != Op::Scale && op != Op::Splat;
    };
    std::vector<int> ids, idx(count, -1);
    for (std::size_t i = 0; i < count; ++i)
        if (isValue(i)) {
            idx[i] = static_cast<int>(ids.size());
            ids.push_back(static_cast<int>(i));
        }
    ListGraph g;
    g.operands.resize(ids.size());
    g.key.resize(ids.size());
    g.late.resize(ids.size());
    for (std::size_t v = 0; v < ids.size(); ++v) {
        const int id = ids[v];
        const Node& n = d.node(id);
        for (int o : {n.a, n.b}) {
            if (o < 0 || idx[static_cast<std::size_t>(o)] < 0) continue;
            const int ov = idx[static_cast<std::size_t>(o)];
            if (std::find(g.operands[v].begin(), g.operands[v].end(), ov) == g.operands[v].end()) g.operands[v].push_back(ov);
        }
        // Output side first (negative keys), then the order in which the
        // network was built, which walks the plan stage by stage; loads wait.
        g.key[v] = id >= d.outputSide() ? id - (1LL << 40) : id;
        g.late[v] = n.op == Op::Input && !loadsFirst;
    }
    std::vector<int> order;
    if (loadsFirst) {
        // Every load at the top, then the rest.
        ListGraph rest = g;
        for (std::size_t v = 0; v < ids.size(); ++v)
            if (d.node(ids[v]).op == Op::Input) rest.key[v] = std::numeric_limits<long long>::min() / 2 + ids[v];
        order = listOrderBy(rest, SchedulePolicy::Plain);
    } else {
        order = listOrder(g, registers);
    }
    // A store waits until every load has been made, so that src == dst is
    // safe also where an output does not depend on every input.
    std::size_t lastLoad = 0;
    for (std::size_t i = 0; i < order.size(); ++i)
        if (d.node(ids[static_cast<std::size_t>(order[i])]).op == Op::Input) lastLoad = i;
    std::vector<int> held;
    auto store = [&](int id) { hooks.store(d.outputs()[static_cast<std::size_t>(outIndex[static_cast<std::size_t>(id)])]); };
    for (std::size_t i = 0; i < order.size(); ++i) {
        const int id = ids[static_cast<std::size_t>(order[i])];
        if (d.node(id).op == Op::Input) hooks.load(id);
        else hooks.node(id);
        if (outIndex[static_cast<std::size_t>(id)] >= 0) {
            if (i < lastLoad) held.push_back(id);
            else store(id);
        }
        if (i == lastLoad) {
            for (int h : held) store(h);
            held.clear();
        }
    }
}

}  // namespace qrbgen::plans
