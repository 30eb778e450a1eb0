#include "ir/pack.h"

#include "tunables.h"

#include <algorithm>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>

namespace qrbgen::plans {

std::vector<int> valueOperands(const Dag& d, int id) {
    const Node& n = d.node(id);
    switch (n.op) {
        case Op::Add:
        case Op::Sub:
        case Op::Shuf: return {n.a, n.b};
        case Op::Mul: return {n.b};
        case Op::Xchg:
        case Op::Mask: return {n.a};
        default: return {};
    }
}

WideProgram::Stats WideProgram::stats() const {
    Stats s;
    for (const WideNode& n : nodes) {
        if (n.kind == WideNode::Load) ++s.loads;
        if (n.kind == WideNode::Gather) ++s.gathers;
        if (n.kind != WideNode::Apply) continue;
        ++s.applies;
        for (int b : n.base) s.baseOps += b >= 0;
    }
    return s;
}

namespace {

bool isValueOp(Op op) {
    switch (op) {
        case Op::Input:
        case Op::Add:
        case Op::Sub:
        case Op::Mul:
        case Op::Xchg:
        case Op::Mask:
        case Op::Shuf: return true;
        default: return false;
    }
}

constexpr int kFar = 1 << 20;

class Bits {
public:
    explicit Bits(std::size_t n = 0) : w_((n + 63) / 64, 0) {}
    void set(std::size_t i) { w_[i / 64] |= std::uint64_t{1} << (i % 64); }
    bool test(std::size_t i) const { return (w_[i / 64] >> (i % 64)) & 1u; }
    void unite(const Bits& o) {
        for (std::size_t i = 0; i < w_.size(); ++i) w_[i] |= o.w_[i];
    }
    // The lowest position set in both, or -1.
    long firstCommon(const Bits& o) const {
        for (std::size_t i = 0; i < w_.size(); ++i)
            if (std::uint64_t x = w_[i] & o.w_[i]) return static_cast<long>(i * 64 + static_cast<std::size_t>(__builtin_ctzll(x)));
        return -1;
    }

private:
    std::vector<std::uint64_t> w_;
};

class Packer {
public:
    Packer(const Dag& d, int slots, const std::vector<int>& classes) : d_(d), P_(slots), classes_(classes) {}

    WideProgram run() {
        analyse();
        if (P_ > 1) {
            // The instances the builders declared, then what follows from
            // them; then parallel inputs and outputs the declarations did
            // not reach, followed forward and backward.
            for (const char* c = "gfifobf"; *c; ++c) {
                phase_ = *c;
                switch (*c) {
                    case 'g': packGroups(); break;
                    case 'i': seedInputs(); break;
                    case 'f': forward(); break;
                    case 'o': seedOutputs(); break;
                    case 'b': backward(); break;
                }
            }
        }
        phase_ = 'l';
        fill();
        breakCycles();
        return build();
    }

private:
    // ---- Analysis ------------------------------------------------------------

    void analyse() {
        const std::vector<bool> lv = d_.live();
        idx_.assign(d_.nodes().size(), -1);
        for (std::size_t i = 0; i < d_.nodes().size(); ++i)
            if (lv[i] && isValueOp(d_.nodes()[i].op)) {
                idx_[i] = static_cast<int>(ids_.size());
                ids_.push_back(static_cast<int>(i));
            }
        const std::size_t n = ids_.size();
        ops_.assign(n, {});
        users_.assign(n, {});
        for (std::size_t u = 0; u < n; ++u) {
            for (int o : valueOperands(d_, ids_[u])) {
                const int ou = idx_.at(static_cast<std::size_t>(o));
                if (ou < 0) throw std::logic_error("packing: an operand that is not a live value");
                ops_[u].push_back(ou);
            }
            for (std::size_t p = 0; p < ops_[u].size(); ++p)
                if (p == 0 || ops_[u][p] != ops_[u][0]) users_[static_cast<std::size_t>(ops_[u][p])].push_back(static_cast<int>(u));
        }
        depth_.assign(n, 0);
        for (std::size_t u = 0; u < n; ++u)
            for (int o : ops_[u]) depth_[u] = std::max(depth_[u], depth_[static_cast<std::size_t>(o)] + 1);
        height_.assign(n, 0);
        for (std::size_t u = n; u-- > 0;)
            for (int w : users_[u]) height_[u] = std::max(height_[u], height_[static_cast<std::size_t>(w)] + 1);
        // Descendants by rank of depth, ancestors by rank of height: the
        // first common bit is then the nearest meeting point.
        rankD_ = ranks(depth_);
        rankH_ = ranks(height_);
        byRankD_.assign(n, 0);
        byRankH_.assign(n, 0);
        for (std::size_t u = 0; u < n; ++u) {
            byRankD_[static_cast<std::size_t>(rankD_[u])] = static_cast<int>(u);
            byRankH_[static_cast<std::size_t>(rankH_[u])] = static_cast<int>(u);
        }
        desc_.assign(n, Bits(n));
        anc_.assign(n, Bits(n));
        for (std::size_t u = n; u-- > 0;) {
            desc_[u].set(static_cast<std::size_t>(rankD_[u]));
            for (int w : users_[u]) desc_[u].unite(desc_[static_cast<std::size_t>(w)]);
        }
        for (std::size_t u = 0; u < n; ++u) {
            anc_[u].set(static_cast<std::size_t>(rankH_[u]));
            for (int o : ops_[u]) anc_[u].unite(anc_[static_cast<std::size_t>(o)]);
        }
        outIndex_.assign(n, std::numeric_limits<int>::max());
        for (std::size_t i = 0; i < d_.outputs().size(); ++i) {
            const int u = idx_.at(static_cast<std::size_t>(d_.outputs()[i].id));
            if (u < 0) throw std::logic_error("packing: an output that is not a value");
            outIndex_[static_cast<std::size_t>(u)] = std::min(outIndex_[static_cast<std::size_t>(u)], static_cast<int>(i));
        }
        packOf_.assign(n, -1);
        slotOf_.assign(n, -1);
    }

    static std::vector<int> ranks(const std::vector<int>& key) {
        std::vector<int> order(key.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
        std::stable_sort(order.begin(), order.end(), [&](int x, int y) { return key[static_cast<std::size_t>(x)] < key[static_cast<std::size_t>(y)]; });
        std::vector<int> r(key.size());
        for (std::size_t i = 0; i < order.size(); ++i) r[static_cast<std::size_t>(order[i])] = static_cast<int>(i);
        return r;
    }

    const Node& node(int u) const { return d_.node(ids_[static_cast<std::size_t>(u)]); }
    std::size_t z(int u) const { return static_cast<std::size_t>(u); }

    // What must agree for two values to share a wide operation: the
    // operation, its lane-move kind, for a product whether it is the scale,
    // and the class the caller gave.
    int kind(int u) const {
        const Node& n = node(u);
        const bool scale = n.op == Op::Mul && d_.node(n.a).op != Op::Const;
        const int imm = n.op == Op::Shuf ? n.imm : 0;
        const int cls = classes_.empty() ? 0 : classes_.at(static_cast<std::size_t>(ids_[z(u)]));
        return (cls * 16 + static_cast<int>(n.op)) * 4096 + imm * 2 + (scale ? 1 : 0);
    }
    bool commutative(int u) const { return node(u).op == Op::Add; }

    // Operations from the later of u and v to the first value that depends
    // on both; 0 when one depends on the other.
    int meet(int u, int v) const {
        const long r = desc_[z(u)].firstCommon(desc_[z(v)]);
        if (r < 0) return kFar;
        return depth_[z(byRankD_[static_cast<std::size_t>(r)])] - std::max(depth_[z(u)], depth_[z(v)]);
    }
    // The same towards the inputs: operations from the earlier of u and v
    // back to the last value both depend on.
    int comeet(int u, int v) const {
        const long r = anc_[z(u)].firstCommon(anc_[z(v)]);
        if (r < 0) return kFar;
        return height_[z(byRankH_[static_cast<std::size_t>(r)])] - std::max(height_[z(u)], height_[z(v)]);
    }
    bool dependent(int u, int v) const {
        return desc_[z(u)].test(static_cast<std::size_t>(rankD_[z(v)])) ||
               desc_[z(v)].test(static_cast<std::size_t>(rankD_[z(u)]));
    }
    bool placed(int u) const { return packOf_[z(u)] >= 0; }

    // Whether v may join the values of `members` in one wide operation.
    bool compatible(const std::vector<int>& members, int v) const {
        for (int m : members) {
            if (m < 0) continue;
            if (m == v || kind(m) != kind(v) || dependent(m, v)) return false;
            if (meet(m, v) < kMinMeet || comeet(m, v) < kMinMeet) return false;
        }
        return true;
    }

    int newPack(const std::vector<int>& slots) {
        const int p = static_cast<int>(packs_.size());
        for (std::size_t s = 0; s < slots.size(); ++s) {
            const int u = slots[s];
            if (u < 0) continue;
            if (placed(u)) throw std::logic_error("packing: a value placed twice");
            packOf_[z(u)] = p;
            slotOf_[z(u)] = static_cast<int>(s);
        }
        packs_.push_back(slots);
        origin_.push_back(phase_);
        work_.push_back(p);
        return p;
    }

    // The slot order of a group of parallel values: by the cluster each
    // belongs to, a cluster being the values of the group's class that meet
    // it sooner than the group's members meet each other. Consistent
    // orders make the packs of one stage line up slot by slot.
    template <class Meet, class Key>
    std::vector<int> orderByCluster(std::vector<int> group, const std::vector<int>& cls, Meet m, Key key) const {
        int least = kFar;
        for (std::size_t i = 0; i < group.size(); ++i)
            for (std::size_t j = i + 1; j < group.size(); ++j) least = std::min(least, m(group[i], group[j]));
        std::map<int, long> k;
        for (int g : group) {
            long best = key(g);
            for (int c : cls)
                if (m(g, c) < least) best = std::min(best, key(c));
            k[g] = best;
        }
        std::stable_sort(group.begin(), group.end(), [&](int x, int y) { return k[x] != k[y] ? k[x] < k[y] : x < y; });
        return group;
    }

    // Groups of parallel values among `cls` (all of one role), chosen so
    // that the members of a group meet as late as possible; the groups
    // become packs in cluster order.
    template <class Meet, class Key>
    void groupParallel(const std::vector<int>& cls, Meet m, Key key) {
        std::vector<bool> taken(cls.size(), false);
        for (std::size_t i = 0; i < cls.size(); ++i) {
            if (taken[i] || placed(cls[i])) continue;
            std::vector<int> group = {cls[i]};
            taken[i] = true;
            while (static_cast<int>(group.size()) < P_) {
                long best = -1;
                int bestScore = -1;
                for (std::size_t j = 0; j < cls.size(); ++j) {
                    if (taken[j] || placed(cls[j]) || !compatible(group, cls[j])) continue;
                    int score = kFar;
                    for (int g : group) score = std::min(score, m(g, cls[j]));
                    if (score > bestScore) {
                        bestScore = score;
                        best = static_cast<long>(j);
                    }
                }
                if (best < 0) break;
                taken[static_cast<std::size_t>(best)] = true;
                group.push_back(cls[static_cast<std::size_t>(best)]);
            }
            if (group.size() < 2) continue;
            std::vector<int> ordered = orderByCluster(group, cls, m, key);
            ordered.resize(static_cast<std::size_t>(P_), -1);
            newPack(ordered);
        }
    }

    // ---- Parallel instances ----------------------------------------------------

    // The instances of each group that the builder declared, outer groups
    // first, are matched with each other and run side by side: a group of
    // n instances gives sets of P, each instance paired with the ones that
    // match it best.
    void packGroups() {
        const auto& ins = d_.instances();
        std::vector<std::vector<int>> byGroup(static_cast<std::size_t>(d_.groups()));
        for (std::size_t i = 0; i < ins.size(); ++i) byGroup[static_cast<std::size_t>(ins[i].group)].push_back(static_cast<int>(i));
        for (const std::vector<int>& members : byGroup) {
            std::vector<bool> taken(members.size(), false);
            for (std::size_t i = 0; i < members.size(); ++i) {
                if (taken[i]) continue;
                taken[i] = true;
                std::vector<int> set = {members[i]};
                std::vector<std::vector<int>> corrs;
                while (static_cast<int>(corrs.size()) + 1 < P_) {
                    long best = -1;
                    double bestScore = kMinMatch;
                    std::vector<int> bestCorr;
                    for (std::size_t j = i + 1; j < members.size(); ++j) {
                        if (taken[j]) continue;
                        std::vector<int> c = correspond(members[i], members[j]);
                        const double q = matchQuality(members[i], c);
                        if (q > bestScore) {
                            bestScore = q;
                            best = static_cast<long>(j);
                            bestCorr = std::move(c);
                        }
                    }
                    if (best < 0) break;
                    taken[static_cast<std::size_t>(best)] = true;
                    set.push_back(members[static_cast<std::size_t>(best)]);
                    corrs.push_back(std::move(bestCorr));
                }
                if (!corrs.empty()) packInstances(members[i], set, corrs);
            }
        }
    }

    // The dense live values made in an instance, in the order made.
    std::vector<int> valuesOf(int instance) const {
        std::vector<int> v;
        for (int id : d_.instances()[static_cast<std::size_t>(instance)].nodes) {
            const int u = idx_[static_cast<std::size_t>(id)];
            if (u >= 0) v.push_back(u);
        }
        return v;
    }

    // Which value of instance b does what each value of instance a does:
    // the seeds correspond in order, an operand made outside both stands
    // for itself, and a value corresponds to the value of b of its kind
    // whose operands correspond to its own. A value none of whose operands
    // is known yet takes the next unmatched value of its kind in b.
    std::vector<int> correspond(int a, int b) const {
        const auto& A = d_.instances()[static_cast<std::size_t>(a)];
        const auto& B = d_.instances()[static_cast<std::size_t>(b)];
        const std::size_t n = ids_.size();
        std::vector<int> corr(n, -1);
        std::vector<char> inA(n, 0), inB(n, 0), used(n, 0);
        const std::vector<int> va = valuesOf(a), vb = valuesOf(b);
        for (int u : va) inA[z(u)] = 1;
        std::vector<int> posB(n, -1);
        for (std::size_t i = 0; i < vb.size(); ++i) {
            inB[z(vb[i])] = 1;
            posB[z(vb[i])] = static_cast<int>(i);
        }
        for (std::size_t j = 0; j < A.seeds.size() && j < B.seeds.size(); ++j) {
            const int sa = A.seeds[j], sb = B.seeds[j];
            if (sa < 0 || sb < 0) continue;
            const int ua = idx_[static_cast<std::size_t>(sa)], ub = idx_[static_cast<std::size_t>(sb)];
            if (ua >= 0 && ub >= 0 && corr[z(ua)] < 0) corr[z(ua)] = ub;
        }
        std::size_t cursor = 0;
        for (int u : va) {
            const auto& o = ops_[z(u)];
            std::vector<int> known(o.size(), -1);
            int anchor = -1;
            for (std::size_t p = 0; p < o.size(); ++p) {
                const int x = o[p];
                if (corr[z(x)] >= 0) known[p] = corr[z(x)];
                else if (!inA[z(x)]) known[p] = x;
                if (known[p] >= 0 && anchor < 0) anchor = known[p];
            }
            int v = -1;
            if (anchor >= 0) {
                for (int w : users_[z(anchor)]) {
                    if (!inB[z(w)] || used[z(w)] || kind(w) != kind(u)) continue;
                    if (operandsFit(u, w, known)) {
                        v = w;
                        break;
                    }
                }
            } else {
                for (std::size_t i = cursor; i < vb.size(); ++i) {
                    const int w = vb[i];
                    if (!used[z(w)] && kind(w) == kind(u)) {
                        v = w;
                        break;
                    }
                }
            }
            if (v < 0) continue;
            corr[z(u)] = v;
            used[z(v)] = 1;
            cursor = std::max(cursor, static_cast<std::size_t>(posB[z(v)]) + 1);
        }
        return corr;
    }

    // Whether w's operands are those known for u, position by position
    // (either order for an addition).
    bool operandsFit(int u, int w, const std::vector<int>& known) const {
        const auto& o = ops_[z(w)];
        if (o.size() != known.size()) return false;
        bool straight = true, crossed = o.size() == 2 && commutative(u);
        for (std::size_t p = 0; p < o.size(); ++p) {
            if (known[p] < 0) continue;
            if (o[p] != known[p]) straight = false;
            if (crossed && o[1 - p] != known[p]) crossed = false;
        }
        return straight || crossed;
    }

    // The share of a's unplaced values that have a partner in b.
    double matchQuality(int a, const std::vector<int>& corr) const {
        int total = 0, matched = 0;
        for (int u : valuesOf(a)) {
            if (placed(u)) continue;
            ++total;
            if (corr[z(u)] >= 0 && !placed(corr[z(u)])) ++matched;
        }
        return total == 0 ? 0.0 : static_cast<double>(matched) / total;
    }

    // Packs of each unplaced value of instance a with its partners in the
    // other instances of the set, slot by slot in the order of the set; the
    // values the instances start from first, where nothing has placed them
    // (the inputs of a first stage).
    void packInstances(int a, const std::vector<int>& set, const std::vector<std::vector<int>>& corrs) {
        const auto& ins = d_.instances();
        for (std::size_t j = 0; j < ins[static_cast<std::size_t>(a)].seeds.size(); ++j) {
            std::vector<int> slots(static_cast<std::size_t>(P_), -1);
            std::vector<int> members;
            for (std::size_t t = 0; t < set.size(); ++t) {
                const auto& seeds = ins[static_cast<std::size_t>(set[t])].seeds;
                const int id = j < seeds.size() ? seeds[j] : -1;
                const int u = id >= 0 ? idx_[static_cast<std::size_t>(id)] : -1;
                if (u < 0 || placed(u) || std::find(members.begin(), members.end(), u) != members.end()) continue;
                if (!members.empty() && kind(u) != kind(members[0])) continue;
                bool apart = true;
                for (int m : members) apart = apart && !dependent(u, m);
                if (!apart) continue;
                slots[t] = u;
                members.push_back(u);
            }
            if (members.size() >= 2) newPack(slots);
        }
        for (int u : valuesOf(a)) {
            if (placed(u)) continue;
            std::vector<int> slots(static_cast<std::size_t>(P_), -1);
            slots[0] = u;
            std::vector<int> members = {u};
            for (std::size_t t = 0; t < corrs.size(); ++t) {
                const int v = corrs[t][z(u)];
                if (v < 0 || placed(v) || kind(v) != kind(u)) continue;
                bool ok = true;
                for (int m : members) ok = ok && m != v && !dependent(m, v);
                if (!ok) continue;
                slots[t + 1] = v;
                members.push_back(v);
            }
            if (members.size() >= 2) newPack(slots);
        }
    }

    // ---- Seeds -----------------------------------------------------------------

    // The role of a value among its users: which operations use it, and in
    // which operand position (either, for an addition).
    std::vector<int> userRole(int u) const {
        std::vector<int> r;
        for (int w : users_[z(u)]) {
            const auto& o = ops_[z(w)];
            for (std::size_t p = 0; p < o.size(); ++p)
                if (o[p] == u) r.push_back(kind(w) * 4 + (commutative(w) ? 3 : static_cast<int>(p)));
        }
        std::sort(r.begin(), r.end());
        return r;
    }

    void seedInputs() {
        std::map<std::vector<int>, std::vector<int>> classes;
        for (std::size_t u = 0; u < ids_.size(); ++u)
            if (node(static_cast<int>(u)).op == Op::Input) classes[userRole(static_cast<int>(u))].push_back(static_cast<int>(u));
        for (const auto& [role, cls] : classes)
            groupParallel(cls, [&](int a, int b) { return meet(a, b); }, [&](int a) { return static_cast<long>(a); });
    }

    // The role of an output: its operation and those of its operands.
    std::vector<int> operandRole(int u) const {
        std::vector<int> r = {kind(u)};
        std::vector<int> o;
        for (int x : ops_[z(u)]) o.push_back(kind(x));
        if (commutative(u)) std::sort(o.begin(), o.end());
        r.insert(r.end(), o.begin(), o.end());
        return r;
    }

    void seedOutputs() {
        std::map<std::vector<int>, std::vector<int>> classes;
        std::vector<bool> seen(ids_.size(), false);
        for (const Output& o : d_.outputs()) {
            const int u = idx_[static_cast<std::size_t>(o.id)];
            if (seen[z(u)] || placed(u)) continue;
            seen[z(u)] = true;
            classes[operandRole(u)].push_back(u);
        }
        for (auto& [role, cls] : classes) {
            std::stable_sort(cls.begin(), cls.end(), [&](int a, int b) { return outIndex_[z(a)] < outIndex_[z(b)]; });
            groupParallel(cls, [&](int a, int b) { return comeet(a, b); }, [&](int a) { return static_cast<long>(outIndex_[z(a)]); });
        }
    }

    // ---- Propagation -----------------------------------------------------------

    // Among the users of x, one of kind k whose operands are `want` (in
    // this order, or either order for an addition), unplaced, that fits
    // beside `like`.
    int findUser(int x, int k, const std::vector<int>& want, int like) const {
        int best = -1;
        int bestScore = -1;
        for (int v : users_[z(x)]) {
            if (placed(v) || kind(v) != k || v == like) continue;
            const auto& o = ops_[z(v)];
            if (o.size() != want.size()) continue;
            bool ok = o == want;
            if (!ok && commutative(v) && o.size() == 2) ok = o[0] == want[1] && o[1] == want[0];
            if (!ok) continue;
            // Several products of one value: prefer the one whose users look
            // like those of `like`, then the same constant.
            int score = 0;
            if (userRole(v) == userRole(like)) score += 2;
            if (node(v).op == Op::Mul && node(like).op == Op::Mul && node(v).a == node(like).a) score += 1;
            if (score > bestScore) {
                bestScore = score;
                best = v;
            }
        }
        return best;
    }

    // A pack for w and the values in the other slots that do to the same
    // slots of w's operand packs what w does: no gather needed.
    void tryForward(int w) {
        if (placed(w)) return;
        const auto& o = ops_[z(w)];
        if (o.empty()) return;
        for (int x : o)
            if (!placed(x)) return;
        const int s = slotOf_[z(o[0])];
        for (int x : o)
            if (slotOf_[z(x)] != s) return;
        std::vector<int> slots(static_cast<std::size_t>(P_), -1);
        slots[static_cast<std::size_t>(s)] = w;
        std::vector<int> members = {w};
        for (int t = 0; t < P_; ++t) {
            if (t == s) continue;
            std::vector<int> want;
            bool ok = true;
            for (int x : o) {
                const int m = packs_[static_cast<std::size_t>(packOf_[z(x)])][static_cast<std::size_t>(t)];
                if (m < 0) ok = false;
                want.push_back(m);
            }
            if (!ok) continue;
            const int v = findUser(want[0], kind(w), want, w);
            if (v < 0 || !compatible(members, v)) continue;
            slots[static_cast<std::size_t>(t)] = v;
            members.push_back(v);
        }
        if (members.size() >= 2) newPack(slots);
    }

    void forward() {
        for (std::size_t i = 0; i < work_.size(); ++i) {
            const std::vector<int> pack = packs_[static_cast<std::size_t>(work_[i])];
            for (int m : pack) {
                if (m < 0) continue;
                const std::vector<int> us = users_[z(m)];
                for (int w : us) tryForward(w);
            }
        }
        work_.clear();
    }

    // The operands of a pack, position by position, become packs in the
    // same slots where they are parallel and unplaced.
    void backward() {
        for (std::size_t i = 0; i < work_.size(); ++i) {
            const std::vector<int> pack = packs_[static_cast<std::size_t>(work_[i])];
            int first = -1;
            for (int m : pack)
                if (m >= 0) {
                    first = m;
                    break;
                }
            const std::size_t arity = ops_[z(first)].size();
            for (std::size_t p = 0; p < arity; ++p) {
                std::vector<int> slots(static_cast<std::size_t>(P_), -1);
                std::vector<int> members;
                for (std::size_t s = 0; s < pack.size(); ++s) {
                    const int m = pack[s];
                    if (m < 0) continue;
                    const auto& o = ops_[z(m)];
                    int x = o[p];
                    // An addition may hold its operands the other way round.
                    if (commutative(m) && o.size() == 2 && m != first) {
                        const int ref = ops_[z(first)][p];
                        if (kind(o[p]) != kind(ref) && kind(o[1 - p]) == kind(ref)) x = o[1 - p];
                    }
                    if (placed(x) || !compatible(members, x)) continue;
                    slots[s] = x;
                    members.push_back(x);
                }
                if (members.size() >= 2) newPack(slots);
            }
        }
        work_.clear();
    }

    // ---- Fill ------------------------------------------------------------------

    // The slot of an operand's pack, for the operands of u that are placed.
    int preferredSlot(int u) const {
        for (int x : ops_[z(u)])
            if (placed(x)) return slotOf_[z(x)];
        return -1;
    }

    // Number of operand positions at which v's operand shares a pack with
    // u's operand.
    int alignment(int u, int v) const {
        const auto& a = ops_[z(u)];
        const auto& b = ops_[z(v)];
        int n = 0;
        for (std::size_t p = 0; p < a.size() && p < b.size(); ++p)
            if (placed(a[p]) && placed(b[p]) && packOf_[z(a[p])] == packOf_[z(b[p])]) ++n;
        return n;
    }

    // Gathers that the operands of a pack need with this slot assignment.
    int gathersFor(const std::vector<int>& slots) const {
        int first = -1;
        for (int m : slots)
            if (m >= 0) {
                first = m;
                break;
            }
        if (first < 0) return 0;
        int g = 0;
        for (std::size_t p = 0; p < ops_[z(first)].size(); ++p) {
            int pack = -2;
            bool ok = true;
            for (std::size_t s = 0; s < slots.size(); ++s) {
                const int m = slots[s];
                if (m < 0) continue;
                const int x = ops_[z(m)][p];
                if (!placed(x) || slotOf_[z(x)] != static_cast<int>(s)) {
                    ok = false;
                    break;
                }
                if (pack == -2) pack = packOf_[z(x)];
                else if (pack != packOf_[z(x)]) ok = false;
            }
            g += ok ? 0 : 1;
        }
        return g;
    }

    // Values that no stage pairing reached: packed greedily with values of
    // the same kind, preferring those whose operands share packs with
    // theirs, then the most parallel; the slots are assigned to need the
    // fewest gathers.
    void fill() {
        std::map<int, std::vector<int>> byKind;
        for (std::size_t u = 0; u < ids_.size(); ++u)
            if (!placed(static_cast<int>(u))) byKind[kind(static_cast<int>(u))].push_back(static_cast<int>(u));
        for (std::size_t u0 = 0; u0 < ids_.size(); ++u0) {
            const int u = static_cast<int>(u0);
            if (placed(u)) continue;
            std::vector<int> members = {u};
            if (P_ > 1) {
                const std::vector<int>& cand = byKind[kind(u)];
                while (static_cast<int>(members.size()) < P_) {
                    int best = -1;
                    long bestScore = -1;
                    for (int v : cand) {
                        if (std::abs(v - u) > kFillWindow || placed(v) || !compatible(members, v)) continue;
                        int par = kFar;
                        for (int m : members) par = std::min({par, meet(m, v), comeet(m, v)});
                        const long score = static_cast<long>(alignment(u, v)) * (1L << 24) + std::min(par, 1 << 12) * 4096L +
                                           (4095 - std::min(4095, std::abs(v - u)));
                        if (score > bestScore) {
                            bestScore = score;
                            best = v;
                        }
                    }
                    if (best < 0) break;
                    members.push_back(best);
                }
            }
            // A pack whose operands must be gathered can cost more than its
            // members one by one.
            std::vector<int> slots = assignSlots(members);
            if (members.size() > 1 && 1 + gathersFor(slots) * kGatherCost >= static_cast<double>(members.size())) {
                for (int m : members) newPack(assignSlots({m}));
                continue;
            }
            newPack(slots);
        }
        work_.clear();
    }

    // The slot assignment of a group with the fewest gathers for its
    // operands, then with each member in the slot of its operands.
    std::vector<int> assignSlots(std::vector<int> members) const {
        // Past four slots the permutations are too many to try: each member
        // takes the slot of its operands where that is free, the others the
        // free slots in order.
        if (P_ > 4) {
            std::vector<int> slots(static_cast<std::size_t>(P_), -1);
            std::vector<int> rest;
            for (int m : members) {
                const int want = preferredSlot(m);
                if (want >= 0 && slots[static_cast<std::size_t>(want)] < 0) slots[static_cast<std::size_t>(want)] = m;
                else rest.push_back(m);
            }
            std::size_t s = 0;
            for (int m : rest) {
                while (slots[s] >= 0) ++s;
                slots[s] = m;
            }
            return slots;
        }
        std::vector<int> perm(static_cast<std::size_t>(P_));
        for (int i = 0; i < P_; ++i) perm[static_cast<std::size_t>(i)] = i;
        members.resize(static_cast<std::size_t>(P_), -1);
        std::vector<int> best;
        long bestCost = std::numeric_limits<long>::max();
        do {
            std::vector<int> slots(static_cast<std::size_t>(P_), -1);
            for (int i = 0; i < P_; ++i) slots[static_cast<std::size_t>(perm[static_cast<std::size_t>(i)])] = members[static_cast<std::size_t>(i)];
            long cost = static_cast<long>(gathersFor(slots)) * 1000;
            for (int s = 0; s < P_; ++s) {
                const int m = slots[static_cast<std::size_t>(s)];
                if (m < 0) continue;
                const int want = preferredSlot(m);
                if (want >= 0 && want != s) cost += 10;
                if (want < 0 && m >= 0) cost += s;  // plain order for values without placed operands
            }
            if (cost < bestCost) {
                bestCost = cost;
                best = slots;
            }
        } while (std::next_permutation(perm.begin(), perm.end()));
        return best;
    }

    // ---- Acyclic packs ---------------------------------------------------------

    // A pack graph with a cycle (a pack that depends on another which
    // depends on it) cannot be executed; the packs of such a cycle are
    // taken apart into single values, which follow the DAG's own order.
    void breakCycles() {
        for (;;) {
            const std::vector<int> bad = packsInCycles();
            if (bad.empty()) return;
            for (int p : bad) {
                const std::vector<int> members = packs_[static_cast<std::size_t>(p)];
                packs_[static_cast<std::size_t>(p)].assign(static_cast<std::size_t>(P_), -1);
                bool first = true;
                for (std::size_t s = 0; s < members.size(); ++s) {
                    const int m = members[s];
                    if (m < 0) continue;
                    if (first) {
                        packs_[static_cast<std::size_t>(p)][s] = m;
                        first = false;
                        continue;
                    }
                    packOf_[z(m)] = -1;
                    std::vector<int> single(static_cast<std::size_t>(P_), -1);
                    single[s] = m;
                    newPack(single);
                }
            }
            work_.clear();
        }
    }

    std::vector<std::vector<int>> packEdges() const {
        std::vector<std::vector<int>> e(packs_.size());
        for (std::size_t u = 0; u < ids_.size(); ++u)
            for (int x : ops_[u]) {
                const int from = packOf_[z(x)], to = packOf_[u];
                if (from != to) e[static_cast<std::size_t>(from)].push_back(to);
                else throw std::logic_error("packing: a value packed beside its own operand");
            }
        return e;
    }

    // Packs that lie on a cycle (Tarjan's strongly connected components).
    std::vector<int> packsInCycles() const {
        const auto e = packEdges();
        const std::size_t n = packs_.size();
        std::vector<int> index(n, -1), low(n, 0), stack;
        std::vector<bool> on(n, false);
        std::vector<int> bad;
        int counter = 0;
        struct Frame {
            int v;
            std::size_t next;
        };
        for (std::size_t root = 0; root < n; ++root) {
            if (index[root] >= 0) continue;
            std::vector<Frame> call = {{static_cast<int>(root), 0}};
            index[root] = low[root] = counter++;
            stack.push_back(static_cast<int>(root));
            on[root] = true;
            while (!call.empty()) {
                Frame& f = call.back();
                const auto v = static_cast<std::size_t>(f.v);
                if (f.next < e[v].size()) {
                    const auto w = static_cast<std::size_t>(e[v][f.next++]);
                    if (index[w] < 0) {
                        index[w] = low[w] = counter++;
                        stack.push_back(static_cast<int>(w));
                        on[w] = true;
                        call.push_back({static_cast<int>(w), 0});
                    } else if (on[w]) {
                        low[v] = std::min(low[v], index[w]);
                    }
                    continue;
                }
                if (low[v] == index[v]) {
                    std::vector<int> comp;
                    int w;
                    do {
                        w = stack.back();
                        stack.pop_back();
                        on[static_cast<std::size_t>(w)] = false;
                        comp.push_back(w);
                    } while (w != f.v);
                    if (comp.size() > 1) bad.insert(bad.end(), comp.begin(), comp.end());
                }
                const int done = f.v;
                call.pop_back();
                if (!call.empty()) {
                    const auto parent = static_cast<std::size_t>(call.back().v);
                    low[parent] = std::min(low[parent], low[static_cast<std::size_t>(done)]);
                }
            }
        }
        return bad;
    }

    // ---- The wide program ------------------------------------------------------

    WideProgram build() {
        WideProgram w;
        w.slots = P_;
        w.place.assign(d_.nodes().size(), Place{});
        // Packs in an order in which operands come first: by their earliest
        // member among the ready ones.
        const auto e = packEdges();
        std::vector<int> waiting(packs_.size(), 0);
        for (const auto& out : e)
            for (int to : out) ++waiting[static_cast<std::size_t>(to)];
        std::vector<int> firstMember(packs_.size(), kFar);
        for (std::size_t u = 0; u < ids_.size(); ++u)
            if (packOf_[u] >= 0) firstMember[static_cast<std::size_t>(packOf_[u])] = std::min(firstMember[static_cast<std::size_t>(packOf_[u])], static_cast<int>(u));
        std::map<std::pair<int, int>, int> ready;  // (first member, pack)
        for (std::size_t p = 0; p < packs_.size(); ++p)
            if (waiting[p] == 0 && firstMember[p] < kFar) ready[{firstMember[p], static_cast<int>(p)}] = 1;
        std::vector<int> wideOf(packs_.size(), -1);
        while (!ready.empty()) {
            const int p = ready.begin()->first.second;
            ready.erase(ready.begin());
            wideOf[static_cast<std::size_t>(p)] = emitPack(w, p, wideOf);
            for (int to : e[static_cast<std::size_t>(p)])
                if (--waiting[static_cast<std::size_t>(to)] == 0) ready[{firstMember[static_cast<std::size_t>(to)], to}] = 1;
        }
        for (std::size_t p = 0; p < packs_.size(); ++p)
            if (firstMember[p] < kFar && wideOf[p] < 0) throw std::logic_error("packing: packs left out of the order");
        return w;
    }

    // The wide value that holds want[s] in slot s for every s with a
    // value: a pack as it stands, or gathers that take two sources at a time.
    int operandValue(WideProgram& w, const std::vector<int>& want, const std::vector<int>& wideOf) {
        std::vector<Place> at(want.size());
        std::vector<int> sources;
        bool inPlace = true;
        for (std::size_t s = 0; s < want.size(); ++s) {
            if (want[s] < 0) continue;
            at[s] = Place{wideOf[static_cast<std::size_t>(packOf_[z(want[s])])], slotOf_[z(want[s])]};
            if (at[s].slot != static_cast<int>(s)) inPlace = false;
            if (std::find(sources.begin(), sources.end(), at[s].node) == sources.end()) sources.push_back(at[s].node);
        }
        if (sources.empty()) throw std::logic_error("packing: an operation without operands");
        if (inPlace && sources.size() == 1) return sources[0];
        int acc = gather(w, at, sources[0], sources.size() > 1 ? sources[1] : -1);
        for (std::size_t next = 2; next < sources.size(); ++next) {
            for (std::size_t s = 0; s < at.size(); ++s)
                if (at[s].node >= 0 && w.nodes[static_cast<std::size_t>(acc)].pick[s].src >= 0) at[s] = Place{acc, static_cast<int>(s)};
            acc = gather(w, at, acc, sources[next]);
        }
        return acc;
    }

    // A gather of the slots of `at` that come from a or b; the others stay
    // undefined. The same gather is made once.
    int gather(WideProgram& w, const std::vector<Place>& at, int a, int b) {
        WideNode g{WideNode::Gather, {}, a, b, {}, {}};
        g.base.assign(static_cast<std::size_t>(P_), -1);
        g.pick.assign(static_cast<std::size_t>(P_), Pick{});
        std::vector<int> key = {a, b};
        for (std::size_t s = 0; s < at.size(); ++s) {
            if (at[s].node >= 0 && at[s].node == a) g.pick[s] = Pick{0, at[s].slot};
            else if (at[s].node >= 0 && at[s].node == b) g.pick[s] = Pick{1, at[s].slot};
            if (g.pick[s].src >= 0) {
                const WideNode& src = w.nodes[static_cast<std::size_t>(at[s].node)];
                g.base[s] = src.base[static_cast<std::size_t>(at[s].slot)];
            }
            key.push_back(g.pick[s].src);
            key.push_back(g.pick[s].slot);
        }
        auto it = gathers_.find(key);
        if (it != gathers_.end()) return it->second;
        w.nodes.push_back(g);
        const int id = static_cast<int>(w.nodes.size() - 1);
        gathers_[key] = id;
        return id;
    }

    // The number of source packs that the operands of a pack come from at
    // each position, less those that are in place: what its gathers cost.
    int operandCost(const std::vector<std::vector<int>>& want) const {
        int cost = 0;
        for (const auto& wv : want) {
            std::vector<int> src;
            bool inPlace = true;
            for (std::size_t s = 0; s < wv.size(); ++s) {
                if (wv[s] < 0) continue;
                if (slotOf_[z(wv[s])] != static_cast<int>(s)) inPlace = false;
                if (std::find(src.begin(), src.end(), packOf_[z(wv[s])]) == src.end()) src.push_back(packOf_[z(wv[s])]);
            }
            if (!inPlace || src.size() > 1) cost += static_cast<int>(src.size());
        }
        return cost;
    }

    int emitPack(WideProgram& w, int p, const std::vector<int>& wideOf) {
        const std::vector<int>& slots = packs_[static_cast<std::size_t>(p)];
        WideNode n{WideNode::Apply, {}, -1, -1, {}, {}};
        n.base.assign(static_cast<std::size_t>(P_), -1);
        n.swapped.assign(static_cast<std::size_t>(P_), false);
        int first = -1;
        for (std::size_t s = 0; s < slots.size(); ++s)
            if (slots[s] >= 0) {
                n.base[s] = ids_[z(slots[s])];
                if (first < 0) first = slots[s];
            }
        if (node(first).op == Op::Input) {
            n.kind = WideNode::Load;
        } else {
            const std::size_t arity = ops_[z(first)].size();
            auto wantOf = [&](unsigned swaps) {
                std::vector<std::vector<int>> want(arity, std::vector<int>(static_cast<std::size_t>(P_), -1));
                for (std::size_t s = 0; s < slots.size(); ++s) {
                    if (slots[s] < 0) continue;
                    const auto& o = ops_[z(slots[s])];
                    const bool sw = (swaps >> s) & 1u;
                    for (std::size_t i = 0; i < arity; ++i) want[i][s] = o[sw ? arity - 1 - i : i];
                }
                return want;
            };
            // An addition takes its operands in either order, slot by slot:
            // the orders that need the fewest gathers.
            unsigned bestSwaps = 0;
            if (commutative(first) && arity == 2) {
                int bestCost = operandCost(wantOf(0));
                for (unsigned sw = 1; sw < (1u << P_); ++sw) {
                    bool valid = true;
                    for (std::size_t s = 0; s < slots.size(); ++s)
                        if (((sw >> s) & 1u) && slots[s] < 0) valid = false;
                    if (!valid) continue;
                    const int c = operandCost(wantOf(sw));
                    if (c < bestCost) {
                        bestCost = c;
                        bestSwaps = sw;
                    }
                }
            }
            for (std::size_t s = 0; s < slots.size(); ++s) n.swapped[s] = (bestSwaps >> s) & 1u;
            const auto want = wantOf(bestSwaps);
            const int a = operandValue(w, want[0], wideOf);
            if (arity == 2) {
                n.a = a;
                n.b = operandValue(w, want[1], wideOf);
            } else if (node(first).op == Op::Mul) {
                n.b = a;
            } else {
                n.a = a;
            }
        }
        n.origin = origin_[static_cast<std::size_t>(p)];
        w.nodes.push_back(n);
        const int id = static_cast<int>(w.nodes.size() - 1);
        for (std::size_t s = 0; s < slots.size(); ++s)
            if (slots[s] >= 0) w.place[static_cast<std::size_t>(ids_[z(slots[s])])] = Place{id, static_cast<int>(s)};
        return id;
    }

    const Dag& d_;
    const int P_;
    const std::vector<int>& classes_;  // by DAG node; empty: one class
    std::vector<int> ids_, idx_;  // dense index <-> DAG node
    std::vector<std::vector<int>> ops_, users_;
    std::vector<int> depth_, height_, rankD_, rankH_, byRankD_, byRankH_, outIndex_;
    std::vector<Bits> desc_, anc_;
    std::vector<int> packOf_, slotOf_;
    std::vector<std::vector<int>> packs_;
    std::vector<char> origin_;
    char phase_ = 'l';
    std::vector<int> work_;
    std::map<std::vector<int>, int> gathers_;
};

}  // namespace

WideProgram packDag(const Dag& d, int slots, const std::vector<int>& classes) {
    if (slots < 1) throw std::invalid_argument("packing into fewer than one slot");
    if (!classes.empty() && classes.size() != d.nodes().size()) throw std::invalid_argument("packing: one class per node");
    return Packer(d, slots, classes).run();
}

}  // namespace qrbgen::plans
